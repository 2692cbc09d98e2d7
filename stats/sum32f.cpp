// Sums over 32f images: Sum, Mean, and the L1 and L2 norms.
//
// The generic rule runs two double accumulators over the whole image, one for
// even and one for odd columns (an odd last pixel of a row goes to the even
// one), and adds them at the end: two independent chains keep the adder busy
// without changing what is summed. Under tpxAccuracyHintAccurate the vector
// copies must return the same bits, so they keep exactly those two chains,
// as the two lanes of one packed-double register. Under any other hint they
// sum in packed single precision over blocks of a row and collect the block
// totals in double, which is several times faster and good to the accuracy of
// a float.
#include <cmath>
#include <cstring>

#include "core/image.h"
#include "core/variant.h"
#include "stats/stats.h"

#if TPX_STATS_FLOAT_COPY

namespace tpx::TPX_NS {
namespace {

// What is summed for each pixel.
enum class Term { kValue, kAbs, kSquare };

template <Term kTerm>
inline double term(Tpx32f v) {
  const double d = v;
  if constexpr (kTerm == Term::kValue) return d;
  if constexpr (kTerm == Term::kAbs) return std::fabs(d);
  // A float squared in double is exact (24 + 24 bits < 53).
  return d * d;
}

// The even/odd double sums of term(v) over the image.
template <Term kTerm>
double sumEvenOdd(const Tpx32f* pSrc, int srcStep, TpxiSize size) {
  double even = 0.0;
  double odd = 0.0;
  for (int y = 0; y < size.height; ++y) {
    const Tpx32f* r = row(pSrc, srcStep, y);
    int x = 0;
    for (; x + 1 < size.width; x += 2) {
      even += term<kTerm>(load(r + x));
      odd += term<kTerm>(load(r + x + 1));
    }
    if (x < size.width) even += term<kTerm>(load(r + x));
  }
  return even + odd;
}

#if TPX_ISA >= TPX_ISA_SSE2

// Two adjacent floats widened to the two double lanes [even, odd].
inline __m128d loadPairAsDoubles(const Tpx32f* p) {
  double both;
  std::memcpy(&both, p, sizeof(both));
  return _mm_cvtps_pd(_mm_castpd_ps(_mm_set_sd(both)));
}

template <Term kTerm>
inline __m128d termPd(__m128d d) {
  if constexpr (kTerm == Term::kValue) return d;
  if constexpr (kTerm == Term::kAbs) return _mm_andnot_pd(_mm_set1_pd(-0.0), d);
  return _mm_mul_pd(d, d);
}

// The generic rule with the even and odd accumulators as the lanes of one
// register: the same additions in the same order, half the instructions.
template <Term kTerm>
double sumEvenOddPacked(const Tpx32f* pSrc, int srcStep, TpxiSize size) {
  __m128d acc = _mm_setzero_pd();
  for (int y = 0; y < size.height; ++y) {
    const Tpx32f* r = row(pSrc, srcStep, y);
    int x = 0;
    for (; x + 3 < size.width; x += 4) {
      acc = _mm_add_pd(acc, termPd<kTerm>(loadPairAsDoubles(r + x)));
      acc = _mm_add_pd(acc, termPd<kTerm>(loadPairAsDoubles(r + x + 2)));
    }
    if (x + 1 < size.width) {
      acc = _mm_add_pd(acc, termPd<kTerm>(loadPairAsDoubles(r + x)));
      x += 2;
    }
    if (x < size.width) {
      // Only the even lane takes the last pixel: add it to that lane alone.
      acc = _mm_add_sd(acc, _mm_set_sd(term<kTerm>(load(r + x))));
    }
  }
  double lanes[2];
  _mm_storeu_pd(lanes, acc);
  return lanes[0] + lanes[1];
}

#endif  // TPX_ISA >= TPX_ISA_SSE2

#if TPX_ISA >= TPX_ISA_SSE

template <Term kTerm>
inline __m128 termPs(__m128 v) {
  if constexpr (kTerm == Term::kValue) return v;
  if constexpr (kTerm == Term::kAbs) return _mm_andnot_ps(_mm_set1_ps(-0.0f), v);
  return _mm_mul_ps(v, v);
}

template <Term kTerm>
inline float termF(Tpx32f v) {
  if constexpr (kTerm == Term::kValue) return v;
  if constexpr (kTerm == Term::kAbs) return std::fabs(v);
  return v * v;
}

// Pixels summed in single precision before a block total goes to double:
// short enough that a float keeps about 20 good bits of the block total.
constexpr int kSingleBlock = 1024;

// The fast rule: packed single precision within blocks of a row, block totals
// in double.
template <Term kTerm>
double sumSingle(const Tpx32f* pSrc, int srcStep, TpxiSize size) {
  double total = 0.0;
  for (int y = 0; y < size.height; ++y) {
    const Tpx32f* r = row(pSrc, srcStep, y);
    for (int x = 0; x < size.width;) {
      const int end = minInt(size.width, x + kSingleBlock);
      __m128 a0 = _mm_setzero_ps(), a1 = _mm_setzero_ps();
      __m128 a2 = _mm_setzero_ps(), a3 = _mm_setzero_ps();
      for (; x + 16 <= end; x += 16) {
        a0 = _mm_add_ps(a0, termPs<kTerm>(_mm_loadu_ps(r + x)));
        a1 = _mm_add_ps(a1, termPs<kTerm>(_mm_loadu_ps(r + x + 4)));
        a2 = _mm_add_ps(a2, termPs<kTerm>(_mm_loadu_ps(r + x + 8)));
        a3 = _mm_add_ps(a3, termPs<kTerm>(_mm_loadu_ps(r + x + 12)));
      }
      for (; x + 4 <= end; x += 4) a0 = _mm_add_ps(a0, termPs<kTerm>(_mm_loadu_ps(r + x)));
      a0 = _mm_add_ps(_mm_add_ps(a0, a1), _mm_add_ps(a2, a3));
      a0 = _mm_add_ps(a0, _mm_movehl_ps(a0, a0));
      a0 = _mm_add_ss(a0, _mm_shuffle_ps(a0, a0, 1));
      float block = _mm_cvtss_f32(a0);
      for (; x < end; ++x) block += termF<kTerm>(load(r + x));
      total += block;
    }
  }
  return total;
}

#endif  // TPX_ISA >= TPX_ISA_SSE

// The variant's choice of rule for a hint.
template <Term kTerm>
double sum32f(const Tpx32f* pSrc, int srcStep, TpxiSize size, TpxAccuracyHint hint) {
#if TPX_ISA >= TPX_ISA_SSE
  if (hint != tpxAccuracyHintAccurate) return sumSingle<kTerm>(pSrc, srcStep, size);
#else
  (void)hint;  // the generic copy always sums in double
#endif
#if TPX_ISA >= TPX_ISA_SSE2
  return sumEvenOddPacked<kTerm>(pSrc, srcStep, size);
#else
  return sumEvenOdd<kTerm>(pSrc, srcStep, size);
#endif
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxiSum_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                       Tpx64f* pSum, TpxAccuracyHint hint) {
  if (pSrc == nullptr || pSum == nullptr) return tpxStsNullPtrErr;
  if (srcStep < 1) return tpxStsStepErr;
  if (badSize(roiSize)) return tpxStsSizeErr;
  *pSum = sum32f<Term::kValue>(pSrc, srcStep, roiSize, hint);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiMean_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                        Tpx64f* pMean, TpxAccuracyHint hint) {
  if (pMean == nullptr) return tpxStsNullPtrErr;
  Tpx64f sum;
  const TpxStatus status = tpx::TPX_NS::tpxiSum_32f_C1R(pSrc, srcStep, roiSize, &sum, hint);
  if (status != tpxStsNoErr) return status;
  *pMean = sum / static_cast<double>(pixelCount(roiSize));
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiNorm_L1_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                           Tpx64f* pNorm, TpxAccuracyHint hint) {
  const TpxStatus status = checkNorm(pSrc, pNorm, srcStep, roiSize);
  if (status != tpxStsNoErr) return status;
  *pNorm = sum32f<Term::kAbs>(pSrc, srcStep, roiSize, hint);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiNorm_L2_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                           Tpx64f* pNorm, TpxAccuracyHint hint) {
  const TpxStatus status = checkNorm(pSrc, pNorm, srcStep, roiSize);
  if (status != tpxStsNoErr) return status;
  *pNorm = std::sqrt(sum32f<Term::kSquare>(pSrc, srcStep, roiSize, hint));
  return tpxStsNoErr;
}

#endif  // TPX_STATS_FLOAT_COPY
