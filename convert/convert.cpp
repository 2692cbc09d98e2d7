// Type conversions between 8u, 16s and 32f images.
//
// Integer-to-integer and integer-to-float conversions are exact (16s to 8u
// saturates). Float-to-integer conversions follow one rule:
//   v >= hi        -> hi
//   not (v > lo)   -> lo      (below the range, lo itself, and NaN)
//   otherwise      -> v rounded (roundMode 1: nearest, ties to even) or
//                     truncated toward zero (any other roundMode)
// The comparisons are made on the float before rounding, so 254.7 rounds to
// 255 and 255.0 saturates to 255.
//
// When both operands are contiguous the region is converted as one long row.
// The SSE2 kernels serve indices 2, 3 and 4 (SSSE3 adds nothing here); the
// SSE level runs the generic code. Float-to-integer kernels convert with the
// rounding control of MXCSR, set for the call and restored afterwards, after
// clamping so that NaN and out-of-range values land where the rule puts them.
#include <cmath>

#include "core/image.h"

// Only the generic copy and the SSE2 copy exist (see the table in
// core/exports.def).
#if TPX_VARIANT == 0 || TPX_VARIANT == 2

namespace tpx::TPX_NS {
namespace {

TpxStatus checkConvert(const void* pSrc, int srcStep, const void* pDst, int dstStep, TpxiSize roi) {
  if (pSrc == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  if (srcStep < 1 || dstStep < 1) return tpxStsStepErr;
  return tpxStsNoErr;
}

// ----- The scalar rules -------------------------------------------------------

constexpr int kRoundNearestEven = 1;

// Nearest integer, ties to even, for lo <= v <= hi: v +/- 0.5 is exact in
// double, so a tie shows up as an odd r equal to t and moves one step toward
// zero (r has the sign of v then). Written without branches: on image data
// signs and ties are unpredictable. (-0 takes -0.5 here rather than +0.5;
// both give 0.)
inline int roundHalfEven(float v) {
  const double d = v;
  const double t = d + std::copysign(0.5, d);
  const int r = static_cast<int>(t);
  const int tie = (r & 1) & static_cast<int>(static_cast<double>(r) == t);
  const int sign = (r > 0) - (r < 0);
  return r - tie * sign;
}

template <int kLo, int kHi>
inline int floatToInt(float v, bool nearest) {
  // Saturate on the float before rounding (max/min selects, no branches):
  // NaN fails v > lo and lands on lo; v >= hi ends on hi.
  float c = v > static_cast<float>(kLo) ? v : static_cast<float>(kLo);
  c = c < static_cast<float>(kHi) ? c : static_cast<float>(kHi);
  return nearest ? roundHalfEven(c) : static_cast<int>(c);
}

template <typename S, typename D>
inline void widenRow(const S* src, D* dst, std::size_t i, std::size_t n) {
  for (; i < n; ++i) store(dst + i, static_cast<D>(load(src + i)));
}

inline void saturateRow16s8u(const Tpx16s* src, Tpx8u* dst, std::size_t i, std::size_t n) {
  for (; i < n; ++i) {
    const int v = load(src + i);
    store(dst + i, static_cast<Tpx8u>(v >= 255 ? 255 : v <= 0 ? 0 : v));
  }
}

template <typename D, int kLo, int kHi>
inline void floatRow(const Tpx32f* src, D* dst, std::size_t i, std::size_t n, bool nearest) {
  for (; i < n; ++i) store(dst + i, static_cast<D>(floatToInt<kLo, kHi>(load(src + i), nearest)));
}

// ----- SSE2 row kernels -------------------------------------------------------

#if TPX_ISA >= TPX_ISA_SSE2

inline __m128i loadu(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void storeu(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
inline void storeu(void* p, __m128 v) { _mm_storeu_ps(static_cast<float*>(p), v); }

void row8u16s(const Tpx8u* src, Tpx16s* dst, std::size_t n) {
  const __m128i zero = _mm_setzero_si128();
  std::size_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m128i v = loadu(src + i);
    storeu(dst + i, _mm_unpacklo_epi8(v, zero));
    storeu(dst + i + 8, _mm_unpackhi_epi8(v, zero));
  }
  widenRow(src, dst, i, n);
}

void row8u32f(const Tpx8u* src, Tpx32f* dst, std::size_t n) {
  const __m128i zero = _mm_setzero_si128();
  std::size_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m128i v = loadu(src + i);
    const __m128i lo = _mm_unpacklo_epi8(v, zero);
    const __m128i hi = _mm_unpackhi_epi8(v, zero);
    storeu(dst + i, _mm_cvtepi32_ps(_mm_unpacklo_epi16(lo, zero)));
    storeu(dst + i + 4, _mm_cvtepi32_ps(_mm_unpackhi_epi16(lo, zero)));
    storeu(dst + i + 8, _mm_cvtepi32_ps(_mm_unpacklo_epi16(hi, zero)));
    storeu(dst + i + 12, _mm_cvtepi32_ps(_mm_unpackhi_epi16(hi, zero)));
  }
  widenRow(src, dst, i, n);
}

void row16s32f(const Tpx16s* src, Tpx32f* dst, std::size_t n) {
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m128i v = loadu(src + i);
    // Each 16-bit value into the high half of a 32-bit lane, then an
    // arithmetic shift brings it down sign-extended.
    storeu(dst + i, _mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16)));
    storeu(dst + i + 4, _mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16)));
  }
  widenRow(src, dst, i, n);
}

void row16s8u(const Tpx16s* src, Tpx8u* dst, std::size_t n) {
  std::size_t i = 0;
  // packus saturates signed 16-bit to 0..255: exactly the rule.
  for (; i + 16 <= n; i += 16)
    storeu(dst + i, _mm_packus_epi16(loadu(src + i), loadu(src + i + 8)));
  saturateRow16s8u(src, dst, i, n);
}

// Four floats to four 32-bit integers under the current rounding control.
// minps returns its second operand when either is NaN: min(hi, v) keeps a
// NaN, which cvtps2dq turns into 0x80000000 and the signed packs below
// saturate to the lower bound; values above hi become hi. Values below lo
// convert to integers below lo (or 0x80000000) and saturate to lo as well.
inline __m128i clampConvert(__m128 v, __m128 hi) { return _mm_cvtps_epi32(_mm_min_ps(hi, v)); }

void row32f16s(const Tpx32f* src, Tpx16s* dst, std::size_t n, bool nearest) {
  const __m128 hi = _mm_set1_ps(32767.0f);
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m128i a = clampConvert(_mm_loadu_ps(src + i), hi);
    const __m128i b = clampConvert(_mm_loadu_ps(src + i + 4), hi);
    storeu(dst + i, _mm_packs_epi32(a, b));
  }
  floatRow<Tpx16s, -32768, 32767>(src, dst, i, n, nearest);
}

void row32f8u(const Tpx32f* src, Tpx8u* dst, std::size_t n, bool nearest) {
  const __m128 hi = _mm_set1_ps(255.0f);
  std::size_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m128i a = clampConvert(_mm_loadu_ps(src + i), hi);
    const __m128i b = clampConvert(_mm_loadu_ps(src + i + 4), hi);
    const __m128i c = clampConvert(_mm_loadu_ps(src + i + 8), hi);
    const __m128i d = clampConvert(_mm_loadu_ps(src + i + 12), hi);
    storeu(dst + i, _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
  }
  floatRow<Tpx8u, 0, 255>(src, dst, i, n, nearest);
}

// Sets the MXCSR rounding control for the lifetime of the object and puts
// the caller's back afterwards (the exception flags raised meanwhile stay).
class RoundingControl {
 public:
  explicit RoundingControl(bool nearest) : saved_(_mm_getcsr() & kMask) {
    const unsigned want = nearest ? kNearest : kTowardZero;
    changed_ = want != saved_;
    if (changed_) _mm_setcsr((_mm_getcsr() & ~kMask) | want);
  }
  ~RoundingControl() {
    if (changed_) _mm_setcsr((_mm_getcsr() & ~kMask) | saved_);
  }
  RoundingControl(const RoundingControl&) = delete;
  RoundingControl& operator=(const RoundingControl&) = delete;

 private:
  static constexpr unsigned kMask = 0x6000;
  static constexpr unsigned kNearest = 0x0000;
  static constexpr unsigned kTowardZero = 0x6000;
  unsigned saved_;
  bool changed_;
};

#else  // generic rows

void row8u16s(const Tpx8u* src, Tpx16s* dst, std::size_t n) { widenRow(src, dst, 0, n); }
void row8u32f(const Tpx8u* src, Tpx32f* dst, std::size_t n) { widenRow(src, dst, 0, n); }
void row16s32f(const Tpx16s* src, Tpx32f* dst, std::size_t n) { widenRow(src, dst, 0, n); }
void row16s8u(const Tpx16s* src, Tpx8u* dst, std::size_t n) { saturateRow16s8u(src, dst, 0, n); }
void row32f16s(const Tpx32f* src, Tpx16s* dst, std::size_t n, bool nearest) {
  floatRow<Tpx16s, -32768, 32767>(src, dst, 0, n, nearest);
}
void row32f8u(const Tpx32f* src, Tpx8u* dst, std::size_t n, bool nearest) {
  floatRow<Tpx8u, 0, 255>(src, dst, 0, n, nearest);
}

// The scalar rule does not depend on the rounding control.
struct RoundingControl {
  explicit RoundingControl(bool) {}
};

#endif  // TPX_ISA >= TPX_ISA_SSE2

template <typename S, typename D>
TpxStatus convert(const S* pSrc, int srcStep, D* pDst, int dstStep, TpxiSize roi,
                  void (*rowKernel)(const S*, D*, std::size_t)) {
  const TpxStatus status = checkConvert(pSrc, srcStep, pDst, dstStep, roi);
  if (status != tpxStsNoErr) return status;
  forEachRow(pSrc, srcStep, pDst, dstStep, roi, rowKernel);
  return tpxStsNoErr;
}

template <typename D>
TpxStatus convertFloat(const Tpx32f* pSrc, int srcStep, D* pDst, int dstStep, TpxiSize roi,
                       int roundMode, void (*rowKernel)(const Tpx32f*, D*, std::size_t, bool)) {
  const TpxStatus status = checkConvert(pSrc, srcStep, pDst, dstStep, roi);
  if (status != tpxStsNoErr) return status;
  const bool nearest = roundMode == kRoundNearestEven;
  const RoundingControl rounding(nearest);
  forEachRow(pSrc, srcStep, pDst, dstStep, roi,
             [&](const Tpx32f* s, D* d, std::size_t n) { rowKernel(s, d, n, nearest); });
  return tpxStsNoErr;
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxiConvert_8u16s_C1R(const Tpx8u* pSrc, int srcStep, Tpx16s* pDst,
                                             int dstStep, TpxiSize roiSize) {
  return convert(pSrc, srcStep, pDst, dstStep, roiSize, row8u16s);
}

TpxStatus tpx::TPX_NS::tpxiConvert_8u32f_C1R(const Tpx8u* pSrc, int srcStep, Tpx32f* pDst,
                                             int dstStep, TpxiSize roiSize) {
  return convert(pSrc, srcStep, pDst, dstStep, roiSize, row8u32f);
}

TpxStatus tpx::TPX_NS::tpxiConvert_16s32f_C1R(const Tpx16s* pSrc, int srcStep, Tpx32f* pDst,
                                              int dstStep, TpxiSize roiSize) {
  return convert(pSrc, srcStep, pDst, dstStep, roiSize, row16s32f);
}

TpxStatus tpx::TPX_NS::tpxiConvert_16s8u_C1R(const Tpx16s* pSrc, int srcStep, Tpx8u* pDst,
                                             int dstStep, TpxiSize roiSize) {
  return convert(pSrc, srcStep, pDst, dstStep, roiSize, row16s8u);
}

TpxStatus tpx::TPX_NS::tpxiConvert_32f8u_C1R(const Tpx32f* pSrc, int srcStep, Tpx8u* pDst,
                                             int dstStep, TpxiSize roiSize,
                                             TpxRoundMode roundMode) {
  return convertFloat(pSrc, srcStep, pDst, dstStep, roiSize, roundMode, row32f8u);
}

TpxStatus tpx::TPX_NS::tpxiConvert_32f16s_C1R(const Tpx32f* pSrc, int srcStep, Tpx16s* pDst,
                                              int dstStep, TpxiSize roiSize,
                                              TpxRoundMode roundMode) {
  return convertFloat(pSrc, srcStep, pDst, dstStep, roiSize, roundMode, row32f16s);
}

#endif  // TPX_VARIANT == 0 || TPX_VARIANT == 2
