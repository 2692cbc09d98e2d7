// Unary single-precision functions in place: Abs, Sqr, Sqrt, Exp, Ln.
//
// Abs, Sqr and Sqrt are single IEEE operations (a square root computed in
// double and rounded to single is the correctly rounded single square root),
// so their vector paths match the scalar rule by construction. Exp and Ln
// compute in double precision and round once; their vector paths do the very
// same double operations in the same order, two lanes at a time, so every
// variant gives the generic bytes. Rows of fewer than four elements take the
// C library's exp and log instead, in every variant alike.
//
// Row advance differs between the two groups on purpose: Abs, Sqr and Sqrt
// clear the two low bits of the step before use, Exp and Ln take it as it is.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/image.h"
#include "core/variant.h"

// Built for the generic, SSE and SSE2 indices; the SSE2 copy also serves
// SSE3 and SSSE3. Exp and Ln work in double precision, which SSE cannot
// vectorise: the SSE index runs their generic entries (core/exports.def).
#if TPX_VARIANT <= 2

namespace tpx::TPX_NS {
namespace {

// ---------------------------------------------------------------------------
// Scalar rules

inline uint32_t bitsOf(float f) {
  uint32_t u;
  std::memcpy(&u, &f, sizeof u);
  return u;
}
inline float fromBits(uint32_t u) {
  float f;
  std::memcpy(&f, &u, sizeof f);
  return f;
}
inline uint64_t bitsOf(double d) {
  uint64_t u;
  std::memcpy(&u, &d, sizeof u);
  return u;
}
inline double fromBits(uint64_t u) {
  double d;
  std::memcpy(&d, &u, sizeof d);
  return d;
}

constexpr uint32_t kSignBit = 0x80000000u;
constexpr uint32_t kPosInfBits = 0x7f800000u;
constexpr uint32_t kNegInfBits = 0xff800000u;
constexpr uint32_t kPosQuietNanBits = 0x7fc00000u;
constexpr uint32_t kNegQuietNanBits = 0xffc00000u;
constexpr uint32_t kOneBits = 0x3f800000u;
constexpr uint32_t kSmallestNormalBits = 0x00800000u;

inline float sqrRule(float x) { return x * x; }

// Square root: +0 and -0 stay as they are; negatives and NaN become the
// negative quiet NaN and are reported.
inline float sqrtRule(float x, bool* negative) {
  if (x > 0.0f) return std::sqrt(x);
  if (x == 0.0f) return x;
  *negative = true;
  return fromBits(kNegQuietNanBits);
}

#if TPX_VARIANT != 1
// Exponential, rows of four or more. The arguments whose result is fixed are
// told apart on their bit patterns: below the smallest normal magnitude the
// result is 1; from 0x42b17218 (88.72284) up, +Inf, and from 0xc2aeac50
// (-87.33655) down, 0, with NaN turned into the quiet NaN of its sign.
constexpr uint32_t kExpOverflowBits = 0x42b17218u;
constexpr uint32_t kExpUnderflowBits = 0xc2aeac50u;

// e^x for x within the ordinary range, in double precision. With
// k = nearest(x / ln 2) and r = x - k ln 2, |r| <= ln 2 / 2 and e^x = 2^k e^r.
// k ln 2 is taken off in two parts: kLn2Hi has 32 significant bits, so
// k kLn2Hi (|k| <= 128) and x - k kLn2Hi are exact. e^r is its Taylor
// polynomial of degree 7: the remainder is below r^8/8! < 5.3e-9 relative,
// a tenth of a single-precision unit, so the result rounded to single stays
// within one unit of the true value. 2^k goes straight into the exponent
// field. kShifter rounds x / ln 2 to an integer held in its low mantissa
// bits, the same in the scalar and the vector code.
constexpr double kLog2e = 1.4426950408889634;
constexpr double kShifter = 6755399441055744.0;  // 1.5 * 2^52
constexpr double kLn2Hi = 6.93147180369123816490e-01;
constexpr double kLn2Lo = 1.90821492927058770002e-10;
constexpr double kExpC2 = 1.0 / 2;
constexpr double kExpC3 = 1.0 / 6;
constexpr double kExpC4 = 1.0 / 24;
constexpr double kExpC5 = 1.0 / 120;
constexpr double kExpC6 = 1.0 / 720;
constexpr double kExpC7 = 1.0 / 5040;

inline double expCore(double x) {
  const double t = x * kLog2e + kShifter;
  const double k = t - kShifter;
  const double r = (x - k * kLn2Hi) - k * kLn2Lo;
  double p = kExpC7;
  p = p * r + kExpC6;
  p = p * r + kExpC5;
  p = p * r + kExpC4;
  p = p * r + kExpC3;
  p = p * r + kExpC2;
  p = p * r + 1.0;
  p = p * r + 1.0;
  // The low 52 bits of t hold k (two's complement under the 1.5 * 2^52
  // bias); shifted up by 52 they add k to p's exponent.
  return fromBits(bitsOf(p) + (bitsOf(t) << 52));
}

inline float expRule(float x) {
  const uint32_t bits = bitsOf(x);
  const uint32_t magnitude = bits & ~kSignBit;
  if (magnitude < kSmallestNormalBits) return fromBits(kOneBits);
  if (magnitude > kPosInfBits)
    return fromBits(bits & kSignBit ? kNegQuietNanBits : kPosQuietNanBits);
  if (!(bits & kSignBit) && bits >= kExpOverflowBits) return fromBits(kPosInfBits);
  if ((bits & kSignBit) && bits >= kExpUnderflowBits) return 0.0f;
  return static_cast<float>(expCore(x));
}

// Rows of fewer than four elements: only the overflow side is caught; NaN
// stays NaN and deep negative arguments give subnormals.
inline float expShortRule(float x) {
  if (x > fromBits(kExpOverflowBits)) return fromBits(kPosInfBits);
  return static_cast<float>(std::exp(static_cast<double>(x)));
}

// Natural logarithm. Arguments are classified by the sign bit first, so -0
// and NaNs with the sign set are negative arguments.
enum LnKind { kLnOrdinary, kLnNegative, kLnZero, kLnPosInfOrNan };

inline LnKind lnKind(uint32_t bits) {
  if (bits & kSignBit) return kLnNegative;
  if (bits == 0) return kLnZero;
  if (bits >= kPosInfBits) return kLnPosInfOrNan;
  return kLnOrdinary;
}

inline float lnSpecial(LnKind kind, uint32_t bits) {
  switch (kind) {
    case kLnNegative:
      return fromBits(kNegQuietNanBits);
    case kLnZero:
      return fromBits(kNegInfBits);
    default:
      return fromBits(bits == kPosInfBits ? kPosInfBits : kPosQuietNanBits);
  }
}

inline TpxStatus lnNote(LnKind kind) {
  return kind == kLnNegative ? tpxStsLnNegArg : kind == kLnZero ? tpxStsLnZeroArg : tpxStsNoErr;
}

// ln x for a positive finite x, rows of four or more: x = 2^k m with m in
// [0.7071, 1.4142), s = (m - 1) / (m + 1), ln x = k ln 2 + s P(s^2), where
// s P(s^2) is a short odd series for ln((1 + s) / (1 - s)).
constexpr uint64_t kMantissaMask = 0x000fffffffffffffull;
constexpr uint64_t kHalfExponent = 0x3fe0000000000000ull;  // m in [0.5, 1)
constexpr uint64_t kOneExponent = 0x3ff0000000000000ull;   // m in [1, 2)
constexpr uint32_t kSqrtHalfHigh = 0x3fe6a09eu;
constexpr double kLn2 = 0.6931471805599453;
constexpr double kLnP0 = 2.000000000046727;
constexpr double kLnP1 = 0.666666635059382;
constexpr double kLnP2 = 0.4000059794795;
constexpr double kLnP3 = 0.28525381498;
constexpr double kLnP4 = 0.2376245609;

inline double lnCore(double x) {
  const uint64_t bits = bitsOf(x);
  const int e = static_cast<int>(bits >> 52) & 0x7ff;
  const uint64_t mantissa = bits & kMantissaMask;
  uint64_t mBits = mantissa | kHalfExponent;
  int k = e - 0x3fe;
  if (static_cast<uint32_t>(mBits >> 32) < kSqrtHalfHigh) {
    mBits = mantissa | kOneExponent;
    k = e - 0x3ff;
  }
  const double m = fromBits(mBits);
  const double s = (m - 1.0) / (m + 1.0);
  const double z = s * s;
  const double p = kLnP0 + z * (kLnP1 + z * (kLnP2 + z * (kLnP3 + z * kLnP4)));
  return static_cast<double>(k) * kLn2 + s * p;
}
#endif  // TPX_VARIANT != 1

// ---------------------------------------------------------------------------
// Vector row kernels

#if TPX_ISA >= TPX_ISA_SSE
inline __m128 splat(uint32_t bits) { return _mm_set1_ps(fromBits(bits)); }

inline __m128 select(__m128 mask, __m128 a, __m128 b) {
  return _mm_or_ps(_mm_and_ps(mask, a), _mm_andnot_ps(mask, b));
}
#endif

void absRow(float* p, int width) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE
  const __m128 magnitude = splat(~kSignBit);
  for (; x + 8 <= width; x += 8) {
    const __m128 a = _mm_and_ps(_mm_loadu_ps(p + x), magnitude);
    const __m128 b = _mm_and_ps(_mm_loadu_ps(p + x + 4), magnitude);
    _mm_storeu_ps(p + x, a);
    _mm_storeu_ps(p + x + 4, b);
  }
  for (; x + 4 <= width; x += 4) _mm_storeu_ps(p + x, _mm_and_ps(_mm_loadu_ps(p + x), magnitude));
#endif
  // On the bit pattern, so that not even a signalling NaN passes through a
  // floating-point register (the i386 return convention would quiet it).
  for (; x < width; ++x) {
    uint32_t bits;
    std::memcpy(&bits, p + x, sizeof bits);
    bits &= ~kSignBit;
    std::memcpy(p + x, &bits, sizeof bits);
  }
}

void sqrRow(float* p, int width) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE
  for (; x + 8 <= width; x += 8) {
    const __m128 a = _mm_loadu_ps(p + x);
    const __m128 b = _mm_loadu_ps(p + x + 4);
    _mm_storeu_ps(p + x, _mm_mul_ps(a, a));
    _mm_storeu_ps(p + x + 4, _mm_mul_ps(b, b));
  }
  for (; x + 4 <= width; x += 4) {
    const __m128 a = _mm_loadu_ps(p + x);
    _mm_storeu_ps(p + x, _mm_mul_ps(a, a));
  }
#endif
  for (; x < width; ++x) store(p + x, sqrRule(load(p + x)));
}

// True if a negative or NaN argument was met.
bool sqrtRow(float* p, int width) {
  bool negative = false;
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE
  const __m128 zero = _mm_setzero_ps();
  const __m128 negNan = splat(kNegQuietNanBits);
  int badLanes = 0;
  for (; x + 4 <= width; x += 4) {
    const __m128 v = _mm_loadu_ps(p + x);
    const __m128 positive = _mm_cmpgt_ps(v, zero);
    const __m128 keep = _mm_or_ps(positive, _mm_cmpeq_ps(v, zero));
    badLanes |= _mm_movemask_ps(keep) ^ 0xf;
    const __m128 root = _mm_sqrt_ps(v);
    _mm_storeu_ps(p + x, select(positive, root, select(keep, v, negNan)));
  }
  negative = badLanes != 0;
#endif
  for (; x < width; ++x) store(p + x, sqrtRule(load(p + x), &negative));
  return negative;
}

#if TPX_ISA >= TPX_ISA_SSE2
inline __m128i splatInt(uint32_t bits) { return _mm_set1_epi32(static_cast<int>(bits)); }

// expCore on two lanes: the same operations in the same order.
inline __m128d expCore2(__m128d x) {
  const __m128d shifter = _mm_set1_pd(kShifter);
  const __m128d t = _mm_add_pd(_mm_mul_pd(x, _mm_set1_pd(kLog2e)), shifter);
  const __m128d k = _mm_sub_pd(t, shifter);
  const __m128d r = _mm_sub_pd(_mm_sub_pd(x, _mm_mul_pd(k, _mm_set1_pd(kLn2Hi))),
                               _mm_mul_pd(k, _mm_set1_pd(kLn2Lo)));
  __m128d p = _mm_set1_pd(kExpC7);
  p = _mm_add_pd(_mm_mul_pd(p, r), _mm_set1_pd(kExpC6));
  p = _mm_add_pd(_mm_mul_pd(p, r), _mm_set1_pd(kExpC5));
  p = _mm_add_pd(_mm_mul_pd(p, r), _mm_set1_pd(kExpC4));
  p = _mm_add_pd(_mm_mul_pd(p, r), _mm_set1_pd(kExpC3));
  p = _mm_add_pd(_mm_mul_pd(p, r), _mm_set1_pd(kExpC2));
  p = _mm_add_pd(_mm_mul_pd(p, r), _mm_set1_pd(1.0));
  p = _mm_add_pd(_mm_mul_pd(p, r), _mm_set1_pd(1.0));
  const __m128i scale = _mm_slli_epi64(_mm_castpd_si128(t), 52);
  return _mm_castsi128_pd(_mm_add_epi64(_mm_castpd_si128(p), scale));
}

// expRule on four lanes.
inline __m128 exp4(__m128 v) {
  const __m128i bits = _mm_castps_si128(v);
  const __m128i magnitude = _mm_and_si128(bits, splatInt(~kSignBit));
  const __m128i negative = _mm_srai_epi32(bits, 31);
  const __m128i tiny = _mm_cmplt_epi32(magnitude, splatInt(kSmallestNormalBits));
  const __m128i nan = _mm_cmpgt_epi32(magnitude, splatInt(kPosInfBits));
  // Signed compares: a positive pattern is never above the negative bound
  // and the other way round, so each bound only catches its own sign.
  const __m128i over = _mm_cmpgt_epi32(bits, splatInt(kExpOverflowBits - 1));
  const __m128i under =
      _mm_and_si128(negative, _mm_cmpgt_epi32(bits, splatInt(kExpUnderflowBits - 1)));
  const __m128i fixed = _mm_or_si128(tiny, _mm_or_si128(over, under));
  // Fixed results: 1, +Inf or the positive quiet NaN, 0 or the negative
  // quiet NaN.
  const __m128i overValue =
      _mm_or_si128(splatInt(kPosInfBits), _mm_and_si128(nan, splatInt(0x00400000u)));
  const __m128i fixedValue = _mm_or_si128(
      _mm_or_si128(_mm_and_si128(tiny, splatInt(kOneBits)), _mm_and_si128(over, overValue)),
      _mm_and_si128(_mm_and_si128(under, nan), splatInt(kNegQuietNanBits)));
  // Fixed lanes run the core on 0, which is harmless, and are replaced.
  const __m128 x = _mm_andnot_ps(_mm_castsi128_ps(fixed), v);
  const __m128 lo = _mm_cvtpd_ps(expCore2(_mm_cvtps_pd(x)));
  const __m128 hi = _mm_cvtpd_ps(expCore2(_mm_cvtps_pd(_mm_movehl_ps(x, x))));
  const __m128 e = _mm_movelh_ps(lo, hi);
  return select(_mm_castsi128_ps(fixed), _mm_castsi128_ps(fixedValue), e);
}

// lnCore on two lanes.
inline __m128d lnCore2(__m128d x) {
  const __m128i bits = _mm_castpd_si128(x);
  const __m128i mantissa =
      _mm_and_si128(bits, _mm_set1_epi64x(static_cast<long long>(kMantissaMask)));
  const __m128i half =
      _mm_or_si128(mantissa, _mm_set1_epi64x(static_cast<long long>(kHalfExponent)));
  // Compare the high words, then spread each result over its 64-bit lane.
  const __m128i lowHigh =
      _mm_shuffle_epi32(_mm_cmplt_epi32(half, splatInt(kSqrtHalfHigh)), _MM_SHUFFLE(3, 3, 1, 1));
  const __m128i one = _mm_or_si128(mantissa, _mm_set1_epi64x(static_cast<long long>(kOneExponent)));
  const __m128d m =
      _mm_castsi128_pd(_mm_or_si128(_mm_and_si128(lowHigh, one), _mm_andnot_si128(lowHigh, half)));
  // The biased exponent as a double: planted under 2^52 and the 2^52 taken
  // off again, exactly.
  const __m128i e = _mm_srli_epi64(bits, 52);
  const __m128d two52 = _mm_set1_pd(4503599627370496.0);
  const __m128d eD = _mm_sub_pd(_mm_castsi128_pd(_mm_or_si128(e, _mm_castpd_si128(two52))), two52);
  const __m128d bias = _mm_or_pd(_mm_and_pd(_mm_castsi128_pd(lowHigh), _mm_set1_pd(1023.0)),
                                 _mm_andnot_pd(_mm_castsi128_pd(lowHigh), _mm_set1_pd(1022.0)));
  const __m128d k = _mm_sub_pd(eD, bias);
  const __m128d oneD = _mm_set1_pd(1.0);
  const __m128d s = _mm_div_pd(_mm_sub_pd(m, oneD), _mm_add_pd(m, oneD));
  const __m128d z = _mm_mul_pd(s, s);
  __m128d p = _mm_add_pd(_mm_set1_pd(kLnP3), _mm_mul_pd(z, _mm_set1_pd(kLnP4)));
  p = _mm_add_pd(_mm_set1_pd(kLnP2), _mm_mul_pd(z, p));
  p = _mm_add_pd(_mm_set1_pd(kLnP1), _mm_mul_pd(z, p));
  p = _mm_add_pd(_mm_set1_pd(kLnP0), _mm_mul_pd(z, p));
  return _mm_add_pd(_mm_mul_pd(k, _mm_set1_pd(kLn2)), _mm_mul_pd(s, p));
}
#endif

#if TPX_VARIANT != 1
// Exponential of a row of four or more.
void expRow(float* p, int width) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  for (; x + 4 <= width; x += 4) _mm_storeu_ps(p + x, exp4(_mm_loadu_ps(p + x)));
#endif
  for (; x < width; ++x) store(p + x, expRule(load(p + x)));
}

// Logarithm of a row of four or more; returns the row's note.
TpxStatus lnRow(float* p, int width) {
  TpxStatus note = tpxStsNoErr;
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  const __m128 oneF = splat(kOneBits);
  for (; x + 4 <= width; x += 4) {
    const __m128 v = _mm_loadu_ps(p + x);
    const __m128i bits = _mm_castps_si128(v);
    const __m128i negative = _mm_srai_epi32(bits, 31);
    const __m128i zero = _mm_cmpeq_epi32(bits, _mm_setzero_si128());
    const __m128i infOrNan = _mm_cmpgt_epi32(bits, splatInt(kPosInfBits - 1));
    const __m128i special = _mm_or_si128(_mm_or_si128(negative, zero), infOrNan);
    if (note == tpxStsNoErr) {
      const int noted = _mm_movemask_ps(_mm_castsi128_ps(_mm_or_si128(negative, zero)));
      if (noted != 0) {
        // The leftmost noted lane decides.
        const int lane = __builtin_ctz(static_cast<unsigned>(noted));
        note = (_mm_movemask_ps(_mm_castsi128_ps(negative)) >> lane) & 1 ? tpxStsLnNegArg
                                                                         : tpxStsLnZeroArg;
      }
    }
    // Special lanes run the core on 1 and are replaced: negative gives the
    // negative quiet NaN, +0 gives -Inf, +Inf stays, a positive NaN becomes
    // the positive quiet NaN.
    const __m128 safe = select(_mm_castsi128_ps(special), oneF, v);
    const __m128 lo = _mm_cvtpd_ps(lnCore2(_mm_cvtps_pd(safe)));
    const __m128 hi = _mm_cvtpd_ps(lnCore2(_mm_cvtps_pd(_mm_movehl_ps(safe, safe))));
    const __m128 l = _mm_movelh_ps(lo, hi);
    const __m128i isInf = _mm_cmpeq_epi32(bits, splatInt(kPosInfBits));
    const __m128i specialValue = _mm_or_si128(
        _mm_or_si128(_mm_and_si128(negative, splatInt(kNegQuietNanBits)),
                     _mm_and_si128(zero, splatInt(kNegInfBits))),
        _mm_and_si128(
            _mm_andnot_si128(negative, infOrNan),
            _mm_or_si128(splatInt(kPosInfBits), _mm_andnot_si128(isInf, splatInt(0x00400000u)))));
    _mm_storeu_ps(p + x, select(_mm_castsi128_ps(special), _mm_castsi128_ps(specialValue), l));
  }
#endif
  for (; x < width; ++x) {
    const float v = load(p + x);
    const uint32_t bits = bitsOf(v);
    const LnKind kind = lnKind(bits);
    if (kind == kLnOrdinary) {
      store(p + x, static_cast<float>(lnCore(v)));
      continue;
    }
    if (note == tpxStsNoErr) note = lnNote(kind);
    store(p + x, lnSpecial(kind, bits));
  }
  return note;
}

// Rows of fewer than four elements: the C library's logarithm for the
// ordinary arguments, the same special values and notes.
TpxStatus lnShortRow(float* p, int width) {
  TpxStatus note = tpxStsNoErr;
  for (int x = 0; x < width; ++x) {
    const float v = load(p + x);
    const uint32_t bits = bitsOf(v);
    const LnKind kind = lnKind(bits);
    if (kind == kLnOrdinary) {
      store(p + x, static_cast<float>(std::log(static_cast<double>(v))));
      continue;
    }
    if (note == tpxStsNoErr) note = lnNote(kind);
    store(p + x, lnSpecial(kind, bits));
  }
  return note;
}
#endif  // TPX_VARIANT != 1

inline TpxStatus checkUnary(const void* p, int step, TpxiSize roi) {
  if (p == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  if (step < 1) return tpxStsStepErr;
  return tpxStsNoErr;
}

// The step Abs, Sqr and Sqrt advance by: the two low bits cleared.
inline int wholeWordStep(int step) { return step & ~3; }

}  // namespace
}  // namespace tpx::TPX_NS

// ---------------------------------------------------------------------------
// Entries

TpxStatus tpx::TPX_NS::tpxiAbs_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep, TpxiSize roiSize) {
  if (TpxStatus s = checkUnary(pSrcDst, srcDstStep, roiSize)) return s;
  const int step = wholeWordStep(srcDstStep);
  for (int y = 0; y < roiSize.height; ++y) absRow(row(pSrcDst, step, y), roiSize.width);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiSqr_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep, TpxiSize roiSize) {
  if (TpxStatus s = checkUnary(pSrcDst, srcDstStep, roiSize)) return s;
  const int step = wholeWordStep(srcDstStep);
  for (int y = 0; y < roiSize.height; ++y) sqrRow(row(pSrcDst, step, y), roiSize.width);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiSqrt_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep, TpxiSize roiSize) {
  if (TpxStatus s = checkUnary(pSrcDst, srcDstStep, roiSize)) return s;
  const int step = wholeWordStep(srcDstStep);
  bool negative = false;
  for (int y = 0; y < roiSize.height; ++y) {
    negative |= sqrtRow(row(pSrcDst, step, y), roiSize.width);
  }
  return negative ? tpxStsSqrtNegArg : tpxStsNoErr;
}

#if TPX_VARIANT != 1
TpxStatus tpx::TPX_NS::tpxiExp_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep, TpxiSize roiSize) {
  if (TpxStatus s = checkUnary(pSrcDst, srcDstStep, roiSize)) return s;
  for (int y = 0; y < roiSize.height; ++y) {
    Tpx32f* p = row(pSrcDst, srcDstStep, y);
    if (roiSize.width >= 4) {
      expRow(p, roiSize.width);
    } else {
      for (int x = 0; x < roiSize.width; ++x) store(p + x, expShortRule(load(p + x)));
    }
  }
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiLn_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep, TpxiSize roiSize) {
  if (TpxStatus s = checkUnary(pSrcDst, srcDstStep, roiSize)) return s;
  // The first row with a note gives the call's status.
  TpxStatus status = tpxStsNoErr;
  for (int y = 0; y < roiSize.height; ++y) {
    Tpx32f* p = row(pSrcDst, srcDstStep, y);
    const TpxStatus note =
        roiSize.width >= 4 ? lnRow(p, roiSize.width) : lnShortRow(p, roiSize.width);
    if (status == tpxStsNoErr) status = note;
  }
  return status;
}
#endif  // TPX_VARIANT != 1

#endif  // TPX_VARIANT <= 2
