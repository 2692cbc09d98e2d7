// Image moments up to order 3: the state record, the raw-moment fill, and the
// closed-form queries over it (spatial about an origin, central, both
// normalised forms, the seven Hu invariants).
//
// The fill decides every bit a query can return, so its order of operations
// is the contract: per row, four double sums run left to right with x a double
// counter and the products chained (t = v, then t *= x between the sums);
// each row's sums then go into the moments, multiplied by y in place step by
// step, rows top to bottom. The SSE2 copy runs four rows at once, one row per
// double lane, and adds the row sums into the moments in row order: every
// lane performs exactly the generic operations, so the bits are the same, and
// the four independent chains hide the latency of the adds.
//
// Everything else (allocation, queries) is a handful of scalar operations and
// lives in the generic copy only.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/alloc.h"
#include "core/image.h"
#include "core/variant.h"

#if TPX_VARIANT == 0 || TPX_VARIANT == 2

namespace tpx::TPX_NS {
namespace {

// The moments of channel 0 in storage order (entry p + 4q holds M(p, q)).
using Moments = double[16];

// Adds the sums of row y, s[p] = sum of x^p v, into M.
inline void addRow(Moments& m, const double s[4], double y) {
  double s0 = s[0], s1 = s[1], s2 = s[2];
  m[0] += s0;
  m[1] += s1;
  m[2] += s2;
  m[3] += s[3];
  // y^2 and y^3 come from multiplying the sums again, never from a power of y.
  s0 *= y;
  s1 *= y;
  s2 *= y;
  m[4] += s0;
  m[5] += s1;
  m[6] += s2;
  s0 *= y;
  s1 *= y;
  m[8] += s0;
  m[9] += s1;
  s0 *= y;
  m[12] += s0;
}

// The four sums of one row.
inline void sumRow(const Tpx32f* r, int width, double s[4]) {
  double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
  double x = 0.0;
  for (int i = 0; i < width; ++i) {
    double t = load(r + i);
    s0 += t;
    t *= x;
    s1 += t;
    t *= x;
    s2 += t;
    t *= x;
    s3 += t;
    x += 1.0;
  }
  s[0] = s0;
  s[1] = s1;
  s[2] = s2;
  s[3] = s3;
}

#if TPX_ISA >= TPX_ISA_SSE2

// Rows summed side by side: two registers of two rows each.
constexpr int kRowGroup = 4;

// One pixel per lane into that lane's four sums, as in sumRow.
inline void accumulate(__m128d t, __m128d x, __m128d& s0, __m128d& s1, __m128d& s2, __m128d& s3) {
  s0 = _mm_add_pd(s0, t);
  t = _mm_mul_pd(t, x);
  s1 = _mm_add_pd(s1, t);
  t = _mm_mul_pd(t, x);
  s2 = _mm_add_pd(s2, t);
  t = _mm_mul_pd(t, x);
  s3 = _mm_add_pd(s3, t);
}

// sumRow on the four rows r[0..3] at once: s[k] receives the sums of r[k].
inline void sumFourRows(const Tpx32f* const r[kRowGroup], int width, double s[kRowGroup][4]) {
  __m128d a0 = _mm_setzero_pd(), a1 = a0, a2 = a0, a3 = a0;  // rows 0 and 1
  __m128d b0 = a0, b1 = a0, b2 = a0, b3 = a0;                // rows 2 and 3
  __m128d x = a0;
  const __m128d one = _mm_set1_pd(1.0);
  int i = 0;
  for (; i + 4 <= width; i += 4) {
    const __m128 p0 = _mm_loadu_ps(r[0] + i), p1 = _mm_loadu_ps(r[1] + i);
    const __m128 p2 = _mm_loadu_ps(r[2] + i), p3 = _mm_loadu_ps(r[3] + i);
    // Column pairs [row 0, row 1] and [row 2, row 3], columns i .. i + 3.
    const __m128 lo01 = _mm_unpacklo_ps(p0, p1), hi01 = _mm_unpackhi_ps(p0, p1);
    const __m128 lo23 = _mm_unpacklo_ps(p2, p3), hi23 = _mm_unpackhi_ps(p2, p3);
    accumulate(_mm_cvtps_pd(lo01), x, a0, a1, a2, a3);
    accumulate(_mm_cvtps_pd(lo23), x, b0, b1, b2, b3);
    x = _mm_add_pd(x, one);
    accumulate(_mm_cvtps_pd(_mm_movehl_ps(lo01, lo01)), x, a0, a1, a2, a3);
    accumulate(_mm_cvtps_pd(_mm_movehl_ps(lo23, lo23)), x, b0, b1, b2, b3);
    x = _mm_add_pd(x, one);
    accumulate(_mm_cvtps_pd(hi01), x, a0, a1, a2, a3);
    accumulate(_mm_cvtps_pd(hi23), x, b0, b1, b2, b3);
    x = _mm_add_pd(x, one);
    accumulate(_mm_cvtps_pd(_mm_movehl_ps(hi01, hi01)), x, a0, a1, a2, a3);
    accumulate(_mm_cvtps_pd(_mm_movehl_ps(hi23, hi23)), x, b0, b1, b2, b3);
    x = _mm_add_pd(x, one);
  }
  for (; i < width; ++i) {
    const __m128 v01 = _mm_unpacklo_ps(_mm_set_ss(load(r[0] + i)), _mm_set_ss(load(r[1] + i)));
    const __m128 v23 = _mm_unpacklo_ps(_mm_set_ss(load(r[2] + i)), _mm_set_ss(load(r[3] + i)));
    accumulate(_mm_cvtps_pd(v01), x, a0, a1, a2, a3);
    accumulate(_mm_cvtps_pd(v23), x, b0, b1, b2, b3);
    x = _mm_add_pd(x, one);
  }
  const __m128d pairs[2][4] = {{a0, a1, a2, a3}, {b0, b1, b2, b3}};
  for (int h = 0; h < 2; ++h) {
    for (int p = 0; p < 4; ++p) {
      double lanes[2];
      _mm_storeu_pd(lanes, pairs[h][p]);
      s[2 * h][p] = lanes[0];
      s[2 * h + 1][p] = lanes[1];
    }
  }
}

#endif  // TPX_ISA >= TPX_ISA_SSE2

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxiMoments64f_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                              TpxiMomentState* pState) {
  if (pSrc == nullptr || pState == nullptr) return tpxStsNullPtrErr;
  if (pState->tag != tpxMomentStateTag) return tpxStsContextMatchErr;
  if (srcStep < 1) return tpxStsStepErr;
  if (roiSize.width < 1 || roiSize.height < 1) return tpxStsSizeErr;
  if (int64_t{srcStep} < 4 * int64_t{roiSize.width}) return tpxStsStrideErr;

  // Summed locally from +0 exactly as into zeroed entries, then stored.
  Moments m = {};
  int y = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  for (; y + kRowGroup <= roiSize.height; y += kRowGroup) {
    const Tpx32f* rows[kRowGroup];
    for (int k = 0; k < kRowGroup; ++k) rows[k] = row(pSrc, srcStep, y + k);
    double s[kRowGroup][4];
    sumFourRows(rows, roiSize.width, s);
    for (int k = 0; k < kRowGroup; ++k) addRow(m, s[k], static_cast<double>(y + k));
  }
#endif
  for (; y < roiSize.height; ++y) {
    double s[4];
    sumRow(row(pSrc, srcStep, y), roiSize.width, s);
    addRow(m, s, static_cast<double>(y));
  }
  std::memset(pState->rawMoments, 0, sizeof(pState->rawMoments));
  pState->channelCount = 1;
  std::memcpy(pState->rawMoments[0], m, sizeof(m));
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0 || TPX_VARIANT == 2

#if TPX_VARIANT == 0

namespace tpx::TPX_NS {
namespace {

// |M(0,0)| at or below 2^-52 is too small to divide by.
constexpr double kMoment00Floor = 2.220446049250313e-16;

inline bool moment00TooSmall(double m00) { return std::fabs(m00) <= kMoment00Floor; }

// Orders are combined in wrapping 32-bit arithmetic: out-of-range orders are
// not errors, and their sums and indices must be defined for any int.
inline int32_t orderSum(int mOrd, int nOrd) {
  return static_cast<int32_t>(static_cast<uint32_t>(mOrd) + static_cast<uint32_t>(nOrd));
}

// The formula a query answers, 4 mOrd + nOrd formed as (mOrd << 2) | nOrd.
// Only the ten orders with a stored moment select one; any other index
// (negative orders, and 7, 10, 11 that wrapping orders can reach) selects none.
inline bool formulaIndex(int mOrd, int nOrd, uint32_t* pIndex) {
  const uint32_t index = (static_cast<uint32_t>(mOrd) << 2) | static_cast<uint32_t>(nOrd);
  *pIndex = index;
  return index <= 12 && index != 7 && index != 10 && index != 11;
}

// The exponent of M(0,0) in both normalised forms.
inline double normExponent(int mOrd, int nOrd) {
  const int32_t k = static_cast<int32_t>(static_cast<uint32_t>(orderSum(mOrd, nOrd)) + 2u);
  return -0.5 * static_cast<double>(k);
}

// The checks every moment query shares: null pointers, tag, orders, channel.
// A channel beyond the three reserved is refused even if channelCount claims
// more, so a damaged state cannot send a read outside the record.
TpxStatus checkQuery(const TpxiMomentState* pState, int mOrd, int nOrd, int nChannel,
                     const void* pOut) {
  if (pState == nullptr || pOut == nullptr) return tpxStsNullPtrErr;
  if (pState->tag != tpxMomentStateTag) return tpxStsContextMatchErr;
  if (orderSum(mOrd, nOrd) > 3) return tpxStsSizeErr;
  if (nChannel < 0 || nChannel >= pState->channelCount || nChannel >= 3) return tpxStsChannelErr;
  return tpxStsNoErr;
}

// Binomial coefficients C(n, k) for n <= 3.
constexpr double kBinomial[4][4] = {{1, 0, 0, 0}, {1, 1, 0, 0}, {1, 2, 1, 0}, {1, 3, 3, 1}};

// Sum of (x + a)^m (y + b)^n v, the binomial expansion over the raw moments,
// highest raw order first: M(m,n) + ... + a^m b^n M(0,0).
double spatialMoment(const double* mom, uint32_t index, double a, double b) {
  const int m = static_cast<int>(index >> 2), n = static_cast<int>(index & 3);
  double sum = mom[m + 4 * n];
  if (a == 0.0 && b == 0.0) return sum;  // the stored bits, even for Inf or NaN
  for (int i = m; i >= 0; --i) {
    for (int j = n; j >= 0; --j) {
      if (i == m && j == n) continue;
      double w = kBinomial[m][i] * kBinomial[n][j];
      for (int k = i; k < m; ++k) w *= a;
      for (int k = j; k < n; ++k) w *= b;
      sum += w * mom[i + 4 * j];
    }
  }
  return sum;
}

// Moment about the centroid; the mean position is a product with 1 / M(0,0).
double centralMoment(const double* mom, uint32_t index) {
  const double inv = 1.0 / mom[0];
  const double xm = mom[1] * inv, ym = mom[4] * inv;
  switch (index) {
    case 0:
      return mom[0];
    case 1:
    case 4:
      return 0.0;
    case 8:
      return mom[2] - xm * mom[1];  // mu20
    case 5:
      return mom[5] - xm * mom[4];  // mu11
    case 2:
      return mom[8] - ym * mom[4];  // mu02
    case 12:
      return mom[3] - 3.0 * xm * mom[2] + 2.0 * xm * xm * mom[1];  // mu30
    case 3:
      return mom[12] - 3.0 * ym * mom[8] + 2.0 * ym * ym * mom[4];  // mu03
    case 9:                                                         // mu21
      return mom[6] - 2.0 * xm * mom[5] - ym * mom[2] + 2.0 * xm * xm * mom[4];
    default:  // mu12
      return mom[9] - 2.0 * ym * mom[5] - xm * mom[8] + 2.0 * ym * ym * mom[1];
  }
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxiMomentInitAlloc_64f(TpxiMomentState** ppState, TpxAccuracyHint hint) {
  if (ppState == nullptr) return tpxStsNullPtrErr;
  void* block = mallocAligned(static_cast<int32_t>(sizeof(TpxiMomentState)));
  if (block == nullptr) return tpxStsMemAllocErr;
  TpxiMomentState* state = static_cast<TpxiMomentState*>(block);
  std::memset(state, 0, sizeof(*state));
  state->tag = tpxMomentStateTag;
  state->hint = hint;
  state->channelCount = -1;
  *ppState = state;
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiMomentFree_64f(TpxiMomentState* pState) {
  if (pState == nullptr) return tpxStsNullPtrErr;
  if (pState->tag != tpxMomentStateTag) return tpxStsContextMatchErr;
  freeAligned(pState);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiGetSpatialMoment_64f(const TpxiMomentState* pState, int mOrd, int nOrd,
                                                int nChannel, TpxiPoint roiOffset, Tpx64f* pValue) {
  const TpxStatus status = checkQuery(pState, mOrd, nOrd, nChannel, pValue);
  if (status != tpxStsNoErr) return status;
  uint32_t index;
  if (!formulaIndex(mOrd, nOrd, &index)) return tpxStsNoErr;
  *pValue = spatialMoment(pState->rawMoments[nChannel], index, roiOffset.x, roiOffset.y);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiGetCentralMoment_64f(const TpxiMomentState* pState, int mOrd, int nOrd,
                                                int nChannel, Tpx64f* pValue) {
  const TpxStatus status = checkQuery(pState, mOrd, nOrd, nChannel, pValue);
  if (status != tpxStsNoErr) return status;
  const double* mom = pState->rawMoments[nChannel];
  if (moment00TooSmall(mom[0])) return tpxStsMoment00ZeroErr;
  uint32_t index;
  if (!formulaIndex(mOrd, nOrd, &index)) return tpxStsNoErr;
  *pValue = centralMoment(mom, index);
  return tpxStsNoErr;
}

// The normalised forms run the plain query first and then test M(0,0), so a
// plain query that selected no formula leaves *pValue as the caller set it and
// that value is what gets scaled.
TpxStatus tpx::TPX_NS::tpxiGetNormalizedSpatialMoment_64f(const TpxiMomentState* pState, int mOrd,
                                                          int nOrd, int nChannel,
                                                          TpxiPoint roiOffset, Tpx64f* pValue) {
  if (pValue == nullptr) return tpxStsNullPtrErr;
  const TpxStatus status =
      tpx::TPX_NS::tpxiGetSpatialMoment_64f(pState, mOrd, nOrd, nChannel, roiOffset, pValue);
  if (status != tpxStsNoErr) return status;
  const double m00 = pState->rawMoments[nChannel][0];
  if (moment00TooSmall(m00)) return tpxStsMoment00ZeroErr;
  *pValue = *pValue * std::pow(m00, normExponent(mOrd, nOrd));
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiGetNormalizedCentralMoment_64f(const TpxiMomentState* pState, int mOrd,
                                                          int nOrd, int nChannel, Tpx64f* pValue) {
  if (pValue == nullptr) return tpxStsNullPtrErr;
  const TpxStatus status =
      tpx::TPX_NS::tpxiGetCentralMoment_64f(pState, mOrd, nOrd, nChannel, pValue);
  if (status != tpxStsNoErr) return status;
  const double m00 = pState->rawMoments[nChannel][0];
  if (moment00TooSmall(m00)) return tpxStsMoment00ZeroErr;
  *pValue = *pValue * std::pow(m00, normExponent(mOrd, nOrd));
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiGetHuMoments_64f(const TpxiMomentState* pState, int nChannel,
                                            Tpx64f pHu[7]) {
  if (pState == nullptr || pHu == nullptr) return tpxStsNullPtrErr;
  if (pState->tag != tpxMomentStateTag) return tpxStsContextMatchErr;
  if (nChannel < 0 || nChannel >= pState->channelCount || nChannel >= 3) return tpxStsChannelErr;
  const double* mom = pState->rawMoments[nChannel];
  if (moment00TooSmall(mom[0])) return tpxStsMoment00ZeroErr;

  const double s2 = std::pow(mom[0], -2.0), s3 = std::pow(mom[0], -2.5);
  const double n20 = centralMoment(mom, 8) * s2, n11 = centralMoment(mom, 5) * s2;
  const double n02 = centralMoment(mom, 2) * s2;
  const double n30 = centralMoment(mom, 12) * s3, n21 = centralMoment(mom, 9) * s3;
  const double n12 = centralMoment(mom, 6) * s3, n03 = centralMoment(mom, 3) * s3;

  const double d = n20 - n02;
  const double p = n30 + n12, q = n21 + n03;              // the two sums
  const double u = n30 - 3.0 * n12, v = 3.0 * n21 - n03;  // the two differences
  const double pp = p * p, qq = q * q;
  pHu[0] = n20 + n02;
  pHu[1] = d * d + 4.0 * (n11 * n11);
  pHu[2] = u * u + v * v;
  pHu[3] = pp + qq;
  pHu[4] = u * p * (pp - 3.0 * qq) + v * q * (3.0 * pp - qq);
  pHu[5] = d * (pp - qq) + 4.0 * n11 * p * q;
  pHu[6] = v * p * (pp - 3.0 * qq) - u * q * (3.0 * pp - qq);
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0
