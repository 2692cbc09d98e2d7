// Scaled integer division, dst = src2 / src1 (the first operand is the
// divisor), on 8u and 16s images.
//
// The quotient is computed in double precision, q = (n x 2^-scaleFactor) / d
// with the power of two formed exactly, and rounded with ties to even:
//   8u:  t = q + 0.5, r = trunc(t), an odd r equal to t steps down by one;
//        with a negative scale factor r saturates at 255.
//   16s: the same on t = (q + 32768) + 0.5, so that t is never negative,
//        and r - 32768 is stored; with a scale factor of 0 or less q is
//        saturated to -32768..32767 before rounding.
// A zero divisor stores a substitute (8u: 255 for a nonzero dividend, else
// 0; 16s: 32767, -32768 or 0 by the dividend's sign) and makes the row
// report tpxStsDivByZero; the call returns the first nonzero row status
// after every row has been written.
//
// The SSE2 kernels (indices 2 to 4) perform the same double operations two
// lanes at a time for 16s; for 8u, single precision four lanes at a time
// provably rounds to the same integers (see VectorDivide8u). Either way the
// results are bit-identical to the generic code.
#include "core/image.h"

#if TPX_VARIANT == 0 || TPX_VARIANT == 2

namespace tpx::TPX_NS {
namespace {

// 2^-scaleFactor by repeated doubling or halving. Doubling stops at 2^1023:
// any larger power saturates every nonzero quotient just the same, and a
// zero dividend must keep giving 0 rather than 0 x infinity.
double powerOfTwo(int scaleFactor) {
  double p = 1.0;
  if (scaleFactor < 0) {
    for (int64_t k = 0; k < -static_cast<int64_t>(scaleFactor) && p < 0x1p1023; ++k) p *= 2.0;
  } else {
    for (int k = 0; k < scaleFactor && p != 0.0; ++k) p *= 0.5;
  }
  return p;
}

// How a call divides: the power, and which of the rule's variations apply.
struct Plan {
  double power;
  bool negativeScale;  // 8u: saturate r at 255
  bool saturateFirst;  // 16s: scale factor <= 0
  enum Mode { kDivide, kAllOrNothing, kZeroUnlessDivByZero } mode;
};

// ----- The scalar rule -----------------------------------------------------------

inline int roundTie(double t) {
  const int r = static_cast<int>(t);
  return ((r & 1) != 0 && static_cast<double>(r) == t) ? r - 1 : r;
}

inline Tpx8u divide8u(int n, int d, const Plan& plan) {
  if (d == 0 || plan.mode == Plan::kAllOrNothing) return n != 0 ? 255 : 0;
  if (plan.mode == Plan::kZeroUnlessDivByZero) return 0;
  const double q = (n * plan.power) / d;
  const int r = roundTie(q + 0.5);
  return static_cast<Tpx8u>(plan.negativeScale && r > 255 ? 255 : r);
}

inline Tpx16s divide16s(int n, int d, const Plan& plan) {
  if (d == 0) return static_cast<Tpx16s>(n > 0 ? 32767 : n < 0 ? -32768 : 0);
  double q = (n * plan.power) / d;
  if (plan.saturateFirst) {
    if (q < -32768.0) return -32768;
    if (q > 32767.0) return 32767;
  }
  return static_cast<Tpx16s>(roundTie((q + 32768.0) + 0.5) - 32768);
}

template <typename T>
TpxStatus divideTail(const T* divisor, const T* dividend, T* dst, std::size_t i, std::size_t n,
                     const Plan& plan) {
  bool zero = false;
  for (; i < n; ++i) {
    const int d = load(divisor + i);
    const int v = load(dividend + i);
    zero |= d == 0;
    if constexpr (std::is_same_v<T, Tpx8u>) {
      store(dst + i, divide8u(v, d, plan));
    } else {
      store(dst + i, divide16s(v, d, plan));
    }
  }
  return zero ? tpxStsDivByZero : tpxStsNoErr;
}

// ----- SSE2 rows ----------------------------------------------------------------------

#if TPX_ISA >= TPX_ISA_SSE2

inline __m128i loadu(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void storeu(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

// Four 16-bit quotients by the double rule: t = (q + 32768) + 0.5,
// truncated, an odd r equal to t stepped down; returns r (still offset by
// 32768).
struct VectorDivide16s {
  explicit VectorDivide16s(const Plan& plan)
      : power(_mm_set1_pd(plan.power)),
        offset(_mm_set1_pd(32768.0)),
        half(_mm_set1_pd(0.5)),
        lo(_mm_set1_pd(-32768.0)),
        hi(_mm_set1_pd(32767.0)),
        one(_mm_set1_epi32(1)),
        saturateFirst(plan.saturateFirst) {}

  __m128d rounded(__m128i n2, __m128i d2) const {
    __m128d q = _mm_div_pd(_mm_mul_pd(_mm_cvtepi32_pd(n2), power), _mm_cvtepi32_pd(d2));
    // Clamping to the bounds rounds to the bounds, as saturating first does.
    if (saturateFirst) q = _mm_min_pd(_mm_max_pd(q, lo), hi);
    return _mm_add_pd(_mm_add_pd(q, offset), half);
  }

  // n4, d4: four 32-bit dividends and (nonzero) divisors.
  __m128i operator()(__m128i n4, __m128i d4) const {
    const __m128d t0 = rounded(n4, d4);
    const __m128d t1 = rounded(_mm_shuffle_epi32(n4, 0x0e), _mm_shuffle_epi32(d4, 0x0e));
    const __m128i r0 = _mm_cvttpd_epi32(t0);
    const __m128i r1 = _mm_cvttpd_epi32(t1);
    const __m128i e0 = _mm_castpd_si128(_mm_cmpeq_pd(_mm_cvtepi32_pd(r0), t0));
    const __m128i e1 = _mm_castpd_si128(_mm_cmpeq_pd(_mm_cvtepi32_pd(r1), t1));
    const __m128i r = _mm_unpacklo_epi64(r0, r1);
    // 64-bit equality masks to 32-bit lanes: dwords 0 and 2 of each.
    const __m128i exact =
        _mm_unpacklo_epi64(_mm_shuffle_epi32(e0, 0x08), _mm_shuffle_epi32(e1, 0x08));
    return _mm_sub_epi32(r, _mm_and_si128(exact, _mm_and_si128(r, one)));
  }

  __m128d power, offset, half, lo, hi;
  __m128i one;
  bool saturateFirst;
};

// Four 8-bit quotients. Single precision gives exactly the double rule's
// results here, at twice the lanes: n x 2^-sf is exact, and the float
// quotient q is within q x 2^-24 of the true one. A true quotient exactly
// half-way between integers is representable and comes out exact. Any other
// lies at least 1/(2d) from a half-way point when the scale factor is 0 or
// less, and at least 1/(2d x 2^sf) when it is positive, while the error is
// below 256 x 2^-24 in the first case (quotients of 256 or more saturate to
// 255 whatever their rounding) and below 255/(d x 2^sf) x 2^-24 in the
// second: q always rounds to the true quotient's integer. Below 256, q + 0.5
// is exact.
struct VectorDivide8u {
  explicit VectorDivide8u(const Plan& plan)
      : power(_mm_set1_ps(static_cast<float>(plan.power))),
        half(_mm_set1_ps(0.5f)),
        one(_mm_set1_epi32(1)) {}

  __m128i operator()(__m128i n4, __m128i d4) const {
    const __m128 q = _mm_div_ps(_mm_mul_ps(_mm_cvtepi32_ps(n4), power), _mm_cvtepi32_ps(d4));
    const __m128 t = _mm_add_ps(q, half);
    const __m128i r = _mm_cvttps_epi32(t);
    const __m128i exact = _mm_castps_si128(_mm_cmpeq_ps(_mm_cvtepi32_ps(r), t));
    return _mm_sub_epi32(r, _mm_and_si128(exact, _mm_and_si128(r, one)));
  }

  __m128 power, half;
  __m128i one;
};

// 16 pixels of 8u.
TpxStatus divideRow(const Tpx8u* divisor, const Tpx8u* dividend, Tpx8u* dst, std::size_t n,
                    const Plan& plan) {
  const __m128i zero = _mm_setzero_si128();
  const VectorDivide8u divide(plan);
  int zeroSeen = 0;
  std::size_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m128i d = loadu(divisor + i);
    const __m128i v = loadu(dividend + i);
    const __m128i dz = _mm_cmpeq_epi8(d, zero);
    zeroSeen |= _mm_movemask_epi8(dz);
    // 255 where the dividend is nonzero: the zero-divisor substitute and the
    // all-or-nothing short-cut.
    const __m128i nonzero = _mm_xor_si128(_mm_cmpeq_epi8(v, zero), _mm_set1_epi8(-1));
    __m128i out;
    if (plan.mode == Plan::kAllOrNothing) {
      out = nonzero;
    } else if (plan.mode == Plan::kZeroUnlessDivByZero) {
      out = _mm_and_si128(dz, nonzero);
    } else {
      // Zero divisors become 1 for the arithmetic; their lanes are replaced.
      const __m128i dd = _mm_sub_epi8(d, dz);
      const __m128i d16[2] = {_mm_unpacklo_epi8(dd, zero), _mm_unpackhi_epi8(dd, zero)};
      const __m128i v16[2] = {_mm_unpacklo_epi8(v, zero), _mm_unpackhi_epi8(v, zero)};
      __m128i r[4];
      for (int h = 0; h < 2; ++h) {
        r[2 * h] = divide(_mm_unpacklo_epi16(v16[h], zero), _mm_unpacklo_epi16(d16[h], zero));
        r[2 * h + 1] = divide(_mm_unpackhi_epi16(v16[h], zero), _mm_unpackhi_epi16(d16[h], zero));
      }
      // r is at most 255 x 2^15: the signed and unsigned packs saturate it
      // at 255, as the rule does for negative scale factors.
      const __m128i q = _mm_packus_epi16(_mm_packs_epi32(r[0], r[1]), _mm_packs_epi32(r[2], r[3]));
      out = _mm_or_si128(_mm_andnot_si128(dz, q), _mm_and_si128(dz, nonzero));
    }
    storeu(dst + i, out);
  }
  const TpxStatus tail = divideTail(divisor, dividend, dst, i, n, plan);
  return zeroSeen != 0 ? tpxStsDivByZero : tail;
}

// 8 pixels of 16s.
TpxStatus divideRow(const Tpx16s* divisor, const Tpx16s* dividend, Tpx16s* dst, std::size_t n,
                    const Plan& plan) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i bias = _mm_set1_epi32(32768);
  const VectorDivide16s divide(plan);
  int zeroSeen = 0;
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m128i d = loadu(divisor + i);
    const __m128i v = loadu(dividend + i);
    const __m128i dz = _mm_cmpeq_epi16(d, zero);
    zeroSeen |= _mm_movemask_epi8(dz);
    const __m128i dd = _mm_sub_epi16(d, dz);
    const __m128i r0 = divide(_mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16),
                              _mm_srai_epi32(_mm_unpacklo_epi16(dd, dd), 16));
    const __m128i r1 = divide(_mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16),
                              _mm_srai_epi32(_mm_unpackhi_epi16(dd, dd), 16));
    const __m128i q = _mm_packs_epi32(_mm_sub_epi32(r0, bias), _mm_sub_epi32(r1, bias));
    // Substitutes by the dividend's sign: 32767, -32768 or 0.
    const __m128i positive = _mm_cmpgt_epi16(v, zero);
    const __m128i negative = _mm_cmplt_epi16(v, zero);
    const __m128i substitute = _mm_or_si128(_mm_and_si128(positive, _mm_set1_epi16(32767)),
                                            _mm_and_si128(negative, _mm_set1_epi16(-32768)));
    storeu(dst + i, _mm_or_si128(_mm_andnot_si128(dz, q), _mm_and_si128(dz, substitute)));
  }
  const TpxStatus tail = divideTail(divisor, dividend, dst, i, n, plan);
  return zeroSeen != 0 ? tpxStsDivByZero : tail;
}

#else

template <typename T>
TpxStatus divideRow(const T* divisor, const T* dividend, T* dst, std::size_t n, const Plan& plan) {
  return divideTail(divisor, dividend, dst, 0, n, plan);
}

#endif  // TPX_ISA >= TPX_ISA_SSE2

template <typename T>
TpxStatus divide(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, T* pDst, int dstStep,
                 TpxiSize roi, int scaleFactor) {
  if (pSrc1 == nullptr || pSrc2 == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  if (src1Step < 1 || src2Step < 1 || dstStep < 1) return tpxStsStepErr;
  Plan plan{powerOfTwo(scaleFactor), scaleFactor < 0, scaleFactor <= 0, Plan::kDivide};
  if constexpr (std::is_same_v<T, Tpx8u>) {
    // Beyond these bounds the 8-bit quotient is known: every nonzero one
    // saturates (the power would also overflow the integer conversion), or
    // every one rounds to 0.
    if (scaleFactor < -15) plan.mode = Plan::kAllOrNothing;
    if (scaleFactor > 8) plan.mode = Plan::kZeroUnlessDivByZero;
  }
  TpxStatus status = tpxStsNoErr;
  for (int y = 0; y < roi.height; ++y) {
    const TpxStatus rowStatus =
        divideRow(row(pSrc1, src1Step, y), row(pSrc2, src2Step, y), row(pDst, dstStep, y),
                  static_cast<std::size_t>(roi.width), plan);
    if (status == tpxStsNoErr) status = rowStatus;
  }
  return status;
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxiDiv_8u_C1RSfs(const Tpx8u* pSrc1, int src1Step, const Tpx8u* pSrc2,
                                         int src2Step, Tpx8u* pDst, int dstStep, TpxiSize roiSize,
                                         int scaleFactor) {
  return divide(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize, scaleFactor);
}

TpxStatus tpx::TPX_NS::tpxiDiv_16s_C1RSfs(const Tpx16s* pSrc1, int src1Step, const Tpx16s* pSrc2,
                                          int src2Step, Tpx16s* pDst, int dstStep, TpxiSize roiSize,
                                          int scaleFactor) {
  return divide(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize, scaleFactor);
}

// In place: srcDst = srcDst / src, the two-image form with srcDst as both
// dividend and destination.
TpxStatus tpx::TPX_NS::tpxiDiv_8u_C1IRSfs(const Tpx8u* pSrc, int srcStep, Tpx8u* pSrcDst,
                                          int srcDstStep, TpxiSize roiSize, int scaleFactor) {
  return divide<Tpx8u>(pSrc, srcStep, pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize,
                       scaleFactor);
}

TpxStatus tpx::TPX_NS::tpxiDiv_16s_C1IRSfs(const Tpx16s* pSrc, int srcStep, Tpx16s* pSrcDst,
                                           int srcDstStep, TpxiSize roiSize, int scaleFactor) {
  return divide<Tpx16s>(pSrc, srcStep, pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize,
                        scaleFactor);
}

#endif  // TPX_VARIANT == 0 || TPX_VARIANT == 2
