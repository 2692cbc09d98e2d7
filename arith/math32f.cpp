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

// e^x for x within the ordinary range, in double precision, as 2^y with
// y = x log2(e): k = nearest(y), r = y - k (exact, |r| <= 1/2), and
// e^x = 2^k 2^r. 2^r is the Taylor polynomial of e^(r ln 2) to degree 7: the
// remainder is below (ln 2 / 2)^8 / 8! < 5.3e-9 relative, a tenth of a
// single-precision unit, so the result rounded to single stays within one
// unit of the true value; rounding y costs about 1e-14 more. The polynomial
// is evaluated in Estrin's scheme, whose short dependency chains suit the
// vector code, in the same order in both. kShifter rounds y to an integer
// held in its low mantissa bits, and 2^k goes straight into the exponent
// field of 2^r (in [0.7, 1.5), so the sum never leaves the normal range of
// double for the arguments that get here).
constexpr double kLog2e = 1.4426950408889634;
constexpr double kShifter = 6755399441055744.0;  // 1.5 * 2^52
constexpr double kExpC1 = 0.6931471805599453;    // (ln 2)^n / n!
constexpr double kExpC2 = 0.24022650695910072;
constexpr double kExpC3 = 0.05550410866482158;
constexpr double kExpC4 = 0.009618129107628477;
constexpr double kExpC5 = 0.0013333558146428443;
constexpr double kExpC6 = 0.0001540353039338161;
constexpr double kExpC7 = 1.5252733804059841e-05;

inline double expCore(double x) {
  const double y = x * kLog2e;
  const double t = y + kShifter;
  const double r = y - (t - kShifter);
  const double r2 = r * r;
  const double a01 = 1.0 + kExpC1 * r;
  const double a23 = kExpC2 + kExpC3 * r;
  const double a45 = kExpC4 + kExpC5 * r;
  const double a67 = kExpC6 + kExpC7 * r;
  const double r4 = r2 * r2;
  const double a03 = a01 + a23 * r2;
  const double a47 = a45 + a67 * r2;
  const double p = a03 + a47 * r4;
  // The low bits of t hold k in two's complement under the 1.5 * 2^52 bias;
  // shifted up by 52 they add k to p's exponent.
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
  const __m128d y = _mm_mul_pd(x, _mm_set1_pd(kLog2e));
  const __m128d t = _mm_add_pd(y, shifter);
  const __m128d r = _mm_sub_pd(y, _mm_sub_pd(t, shifter));
  const __m128d r2 = _mm_mul_pd(r, r);
  const __m128d a01 = _mm_add_pd(_mm_set1_pd(1.0), _mm_mul_pd(_mm_set1_pd(kExpC1), r));
  const __m128d a23 = _mm_add_pd(_mm_set1_pd(kExpC2), _mm_mul_pd(_mm_set1_pd(kExpC3), r));
  const __m128d a45 = _mm_add_pd(_mm_set1_pd(kExpC4), _mm_mul_pd(_mm_set1_pd(kExpC5), r));
  const __m128d a67 = _mm_add_pd(_mm_set1_pd(kExpC6), _mm_mul_pd(_mm_set1_pd(kExpC7), r));
  const __m128d r4 = _mm_mul_pd(r2, r2);
  const __m128d a03 = _mm_add_pd(a01, _mm_mul_pd(a23, r2));
  const __m128d a47 = _mm_add_pd(a45, _mm_mul_pd(a67, r2));
  const __m128d p = _mm_add_pd(a03, _mm_mul_pd(a47, r4));
  const __m128i scale = _mm_slli_epi64(_mm_castpd_si128(t), 52);
  return _mm_castsi128_pd(_mm_add_epi64(_mm_castpd_si128(p), scale));
}

// Exponential of four ordinary lanes; false (nothing stored) when a lane has
// a fixed result other than 1, which the scalar rule then handles. Arguments
// below the smallest normal need no special case here: the core gives
// exactly 1 for them (y is below 2^-120, so k = 0 and 1 + y rounds to 1).
inline bool exp4(float* p) {
  const __m128 v = _mm_loadu_ps(p);
  const __m128i bits = _mm_castps_si128(v);
  // Signed compares: a positive pattern is never below the negative bound
  // and a negative one never above the positive bound.
  const __m128i over = _mm_cmpgt_epi32(bits, splatInt(kExpOverflowBits - 1));
  const __m128i under = _mm_and_si128(_mm_cmpgt_epi32(bits, splatInt(kExpUnderflowBits - 1)),
                                      _mm_cmplt_epi32(bits, _mm_setzero_si128()));
  if (_mm_movemask_ps(_mm_castsi128_ps(_mm_or_si128(over, under))) != 0) return false;
  const __m128 lo = _mm_cvtpd_ps(expCore2(_mm_cvtps_pd(v)));
  const __m128 hi = _mm_cvtpd_ps(expCore2(_mm_cvtps_pd(_mm_movehl_ps(v, v))));
  _mm_storeu_ps(p, _mm_movelh_ps(lo, hi));
  return true;
}

// lnCore on two lanes, given m (exactly as lnCore forms it) and k as doubles.
inline __m128d lnCore2(__m128d m, __m128d k) {
  const __m128d one = _mm_set1_pd(1.0);
  const __m128d s = _mm_div_pd(_mm_sub_pd(m, one), _mm_add_pd(m, one));
  const __m128d z = _mm_mul_pd(s, s);
  __m128d p = _mm_add_pd(_mm_set1_pd(kLnP3), _mm_mul_pd(z, _mm_set1_pd(kLnP4)));
  p = _mm_add_pd(_mm_set1_pd(kLnP2), _mm_mul_pd(z, p));
  p = _mm_add_pd(_mm_set1_pd(kLnP1), _mm_mul_pd(z, p));
  p = _mm_add_pd(_mm_set1_pd(kLnP0), _mm_mul_pd(z, p));
  return _mm_add_pd(_mm_mul_pd(k, _mm_set1_pd(kLn2)), _mm_mul_pd(s, p));
}

// Logarithm of four positive normal lanes; false (nothing stored) otherwise,
// and the scalar rule takes the group with its special values and notes.
// For a normal float the split of lnCore can be read off the single-precision
// fields: the double's mantissa is the float's shifted up by 29 bits, so its
// high word is below 0x3fe6a09e exactly when the float's mantissa is below
// 0x3504f0, and m (with 24 significant bits) is exact as a float. k is the
// float's biased exponent less 126, or less 127 when m is moved to [1, 2).
inline bool ln4(float* p) {
  const __m128i bits = _mm_castps_si128(_mm_loadu_ps(p));
  // Normal positive patterns [0x00800000, 0x7f7fffff] are moved to the
  // bottom of the signed range by the wrapping addition.
  const __m128i moved = _mm_add_epi32(bits, splatInt(0x7f800000u));
  const __m128i notNormal = _mm_cmpgt_epi32(moved, splatInt(0xfeffffffu));
  if (_mm_movemask_ps(_mm_castsi128_ps(notNormal)) != 0) return false;
  const __m128i mantissa = _mm_and_si128(bits, splatInt(0x007fffffu));
  const __m128i low = _mm_cmplt_epi32(mantissa, splatInt(0x003504f0u));
  const __m128i mBits = _mm_or_si128(_mm_or_si128(mantissa, splatInt(0x3f000000u)),
                                     _mm_and_si128(low, splatInt(0x00800000u)));
  // low is -1 where m moved up: k = e - 126 - 1 there.
  const __m128i k = _mm_add_epi32(_mm_sub_epi32(_mm_srli_epi32(bits, 23), splatInt(126)), low);
  const __m128 m = _mm_castsi128_ps(mBits);
  const __m128d rLo = lnCore2(_mm_cvtps_pd(m), _mm_cvtepi32_pd(k));
  const __m128d rHi = lnCore2(_mm_cvtps_pd(_mm_movehl_ps(m, m)),
                              _mm_cvtepi32_pd(_mm_shuffle_epi32(k, _MM_SHUFFLE(1, 0, 3, 2))));
  _mm_storeu_ps(p, _mm_movelh_ps(_mm_cvtpd_ps(rLo), _mm_cvtpd_ps(rHi)));
  return true;
}
#endif

#if TPX_VARIANT != 1
// Exponential of a row of four or more.
void expRow(float* p, int width) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  // The inner loop runs on while the groups are ordinary and calls nothing,
  // so that the constants of the core stay in registers across it.
  while (x + 4 <= width) {
    while (x + 4 <= width && exp4(p + x)) x += 4;
    if (x + 4 > width) break;
    for (const int end = x + 4; x < end; ++x) store(p + x, expRule(load(p + x)));
  }
#endif
  for (; x < width; ++x) store(p + x, expRule(load(p + x)));
}

// One element of a row of four or more: its value, and the note if it is
// the first special argument of the row.
inline void lnElement(float* p, TpxStatus* note) {
  const float v = load(p);
  const uint32_t bits = bitsOf(v);
  const LnKind kind = lnKind(bits);
  if (kind == kLnOrdinary) {
    store(p, static_cast<float>(lnCore(v)));
    return;
  }
  if (*note == tpxStsNoErr) *note = lnNote(kind);
  store(p, lnSpecial(kind, bits));
}

// Logarithm of a row of four or more; returns the row's note. Elements are
// visited left to right, so the first special argument sets the note.
TpxStatus lnRow(float* p, int width) {
  TpxStatus note = tpxStsNoErr;
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  // As for Exp: an inner loop over ordinary groups that calls nothing.
  while (x + 4 <= width) {
    while (x + 4 <= width && ln4(p + x)) x += 4;
    if (x + 4 > width) break;
    for (const int end = x + 4; x < end; ++x) lnElement(p + x, &note);
  }
#endif
  for (; x < width; ++x) lnElement(p + x, &note);
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
