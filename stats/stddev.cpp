// Mean and population standard deviation: Mean_StdDev for 8u, 16u and 32f.
//
// Integer rows are summed exactly (values and squares in integers), so the
// vector kernels may group the additions as they like. The 32f sums are two
// sequential double chains in raster order, one for the values and one for
// their squares: a vector copy could only reorder them, so the 32f entry is
// shared by every index.
//
// The deviation is sqrt(|S2/N - mean^2|): rounding can leave the difference a
// hair below zero for a flat image, and a deviation must never be NaN.
#include <cmath>
#include <cstdint>

#include "core/image.h"
#include "core/variant.h"
#include "stats/stats.h"

namespace tpx::TPX_NS {
namespace {

// Sums of values and of squares, as the integer rows hand them over.
struct Moments {
  uint64_t sum = 0;
  double sumSq = 0.0;
};

inline void writeMeanStdDev(double sum, double sumSq, TpxiSize size, Tpx64f* pMean,
                            Tpx64f* pStdDev) {
  const int32_t n = pixelCount(size);
  double mean = 0.0, stdDev = 0.0;
  if (n != 0) {
    mean = sum / n;
    stdDev = std::sqrt(std::fabs(sumSq / n - mean * mean));
  }
  if (pMean != nullptr) *pMean = mean;
  if (pStdDev != nullptr) *pStdDev = stdDev;
}

#if TPX_STATS_INT_COPY

// ---- scalar rules --------------------------------------------------------

// 8u row: values in 32 bits, squares in 64 bits.
inline void rowMoments8uScalar(const Tpx8u* r, int width, uint32_t* sum, uint64_t* sumSq) {
  uint32_t s = 0;
  uint64_t s2 = 0;
  int x = 0;
  for (; x + 4 <= width; x += 4) {
    const uint32_t a = r[x], b = r[x + 1], c = r[x + 2], d = r[x + 3];
    s += a + b + c + d;
    s2 += a * a + b * b + c * c + d * d;
  }
  for (; x < width; ++x) {
    s += r[x];
    s2 += static_cast<uint32_t>(r[x]) * r[x];
  }
  *sum = s;
  *sumSq = s2;
}

inline void rowMoments16uScalar(const Tpx16u* r, int width, uint64_t* sum, uint64_t* sumSq) {
  uint64_t s = 0, s2 = 0;
  for (int x = 0; x < width; ++x) {
    const uint64_t v = load(r + x);
    s += v;
    s2 += v * v;
  }
  *sum = s;
  *sumSq = s2;
}

// ---- vector row kernels --------------------------------------------------

#if TPX_ISA >= TPX_ISA_SSE2

inline uint64_t quadsSum(__m128i v) {
  alignas(16) uint64_t lanes[2];
  _mm_store_si128(reinterpret_cast<__m128i*>(lanes), v);
  return lanes[0] + lanes[1];
}

// Widens four unsigned 32-bit lanes and adds them to two 64-bit lanes.
inline __m128i addWidened(__m128i acc, __m128i v) {
  const __m128i zero = _mm_setzero_si128();
  return _mm_add_epi64(acc,
                       _mm_add_epi64(_mm_unpacklo_epi32(v, zero), _mm_unpackhi_epi32(v, zero)));
}

// 16 pixels add at most 4 x 255^2 = 260100 to each 32-bit square lane:
// 8192 of them stay below 2^31 before the lanes are widened.
constexpr int kSq8uFlush = 8192;

inline __m128i squares8u(__m128i v) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i lo = _mm_unpacklo_epi8(v, zero);
  const __m128i hi = _mm_unpackhi_epi8(v, zero);
  return _mm_add_epi32(_mm_madd_epi16(lo, lo), _mm_madd_epi16(hi, hi));
}

inline void rowMoments8u(const Tpx8u* r, int width, uint32_t* sum, uint64_t* sumSq) {
  const __m128i zero = _mm_setzero_si128();
  __m128i s0 = zero, s1 = zero, s2 = zero;
  int x = 0;
  while (x + 16 <= width) {
    const int end = x + 16 * minInt((width - x) / 16, kSq8uFlush);
    __m128i q0 = zero, q1 = zero;
    for (; x + 32 <= end; x += 32) {
      const __m128i v0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x));
      const __m128i v1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x + 16));
      s0 = _mm_add_epi64(s0, _mm_sad_epu8(v0, zero));
      s1 = _mm_add_epi64(s1, _mm_sad_epu8(v1, zero));
      q0 = _mm_add_epi32(q0, squares8u(v0));
      q1 = _mm_add_epi32(q1, squares8u(v1));
    }
    if (x < end) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x));
      s0 = _mm_add_epi64(s0, _mm_sad_epu8(v, zero));
      q0 = _mm_add_epi32(q0, squares8u(v));
      x += 16;
    }
    s2 = addWidened(s2, _mm_add_epi32(q0, q1));
  }
  uint32_t ts = static_cast<uint32_t>(quadsSum(_mm_add_epi64(s0, s1)));
  uint64_t ts2 = quadsSum(s2);
  for (; x < width; ++x) {
    ts += r[x];
    ts2 += static_cast<uint32_t>(r[x]) * r[x];
  }
  *sum = ts;
  *sumSq = ts2;
}

// 8 pixels add at most 8 x 65535 to the 32-bit value lanes (131070 each):
// 16384 of them stay below 2^31.
constexpr int kSum16uFlush = 16384;

inline void rowMoments16u(const Tpx16u* r, int width, uint64_t* sum, uint64_t* sumSq) {
  const __m128i zero = _mm_setzero_si128();
  __m128i s = zero, s2 = zero;
  int x = 0;
  while (x + 8 <= width) {
    const int end = x + 8 * minInt((width - x) / 8, kSum16uFlush);
    __m128i part = zero;
    for (; x < end; x += 8) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x));
      part = _mm_add_epi32(part,
                           _mm_add_epi32(_mm_unpacklo_epi16(v, zero), _mm_unpackhi_epi16(v, zero)));
      // v^2 needs all 32 bits: low and high halves of the products, joined.
      const __m128i lo = _mm_mullo_epi16(v, v);
      const __m128i hi = _mm_mulhi_epu16(v, v);
      s2 = addWidened(s2, _mm_unpacklo_epi16(lo, hi));
      s2 = addWidened(s2, _mm_unpackhi_epi16(lo, hi));
    }
    s = addWidened(s, part);
  }
  uint64_t ts = quadsSum(s), ts2 = quadsSum(s2);
  for (; x < width; ++x) {
    const uint64_t v = load(r + x);
    ts += v;
    ts2 += v * v;
  }
  *sum = ts;
  *sumSq = ts2;
}

#else  // generic copy

inline void rowMoments8u(const Tpx8u* r, int width, uint32_t* sum, uint64_t* sumSq) {
  rowMoments8uScalar(r, width, sum, sumSq);
}
inline void rowMoments16u(const Tpx16u* r, int width, uint64_t* sum, uint64_t* sumSq) {
  rowMoments16uScalar(r, width, sum, sumSq);
}

#endif  // TPX_ISA >= TPX_ISA_SSE2

// ---- image walks ---------------------------------------------------------

Moments moments8u(const Tpx8u* pSrc, int srcStep, TpxiSize size) {
  Moments m;
  for (int y = 0; y < size.height; ++y) {
    uint32_t s;
    uint64_t s2;
    rowMoments8u(row(pSrc, srcStep, y), size.width, &s, &s2);
    m.sum += s;
    m.sumSq += static_cast<double>(s2);
  }
  return m;
}

Moments moments16u(const Tpx16u* pSrc, int srcStep, TpxiSize size) {
  Moments m;
  for (int y = 0; y < size.height; ++y) {
    uint64_t s, s2;
    rowMoments16u(row(pSrc, srcStep, y), size.width, &s, &s2);
    m.sum += s;
    m.sumSq += static_cast<double>(s2);
  }
  return m;
}

#endif  // TPX_STATS_INT_COPY

}  // namespace
}  // namespace tpx::TPX_NS

#if TPX_STATS_INT_COPY

TpxStatus tpx::TPX_NS::tpxiMean_StdDev_8u_C1R(const Tpx8u* pSrc, int srcStep, TpxiSize roiSize,
                                              Tpx64f* pMean, Tpx64f* pStdDev) {
  if (pSrc == nullptr) return tpxStsNullPtrErr;
  if (badSize(roiSize)) return tpxStsSizeErr;
  if (srcStep < roiSize.width) return tpxStsStepErr;
  const Moments m = moments8u(pSrc, srcStep, roiSize);
  writeMeanStdDev(static_cast<double>(m.sum), m.sumSq, roiSize, pMean, pStdDev);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiMean_StdDev_16u_C1R(const Tpx16u* pSrc, int srcStep, TpxiSize roiSize,
                                               Tpx64f* pMean, Tpx64f* pStdDev) {
  if (pSrc == nullptr) return tpxStsNullPtrErr;
  if (badSize(roiSize)) return tpxStsSizeErr;
  if (srcStep < 2 * static_cast<int64_t>(roiSize.width)) return tpxStsStepErr;
  if (srcStep % 2 != 0) return tpxStsNotPixelStepErr;
  const Moments m = moments16u(pSrc, srcStep, roiSize);
  writeMeanStdDev(static_cast<double>(m.sum), m.sumSq, roiSize, pMean, pStdDev);
  return tpxStsNoErr;
}

#endif  // TPX_STATS_INT_COPY

#if TPX_VARIANT == 0

TpxStatus tpx::TPX_NS::tpxiMean_StdDev_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                               Tpx64f* pMean, Tpx64f* pStdDev) {
  if (pSrc == nullptr) return tpxStsNullPtrErr;
  if (badSize(roiSize)) return tpxStsSizeErr;
  if (srcStep < 4 * static_cast<int64_t>(roiSize.width)) return tpxStsStepErr;
  if (srcStep % 4 != 0) return tpxStsNotPixelStepErr;
  // One chain each, unrolled by eight pixels to keep the loads ahead of the
  // adds; the additions themselves stay in raster order.
  double sum = 0.0, sumSq = 0.0;
  for (int y = 0; y < roiSize.height; ++y) {
    const Tpx32f* r = row(pSrc, srcStep, y);
    int x = 0;
    for (; x + 8 <= roiSize.width; x += 8) {
      double v[8];
      for (int k = 0; k < 8; ++k) v[k] = load(r + x + k);
      for (int k = 0; k < 8; ++k) {
        sum += v[k];
        sumSq += v[k] * v[k];
      }
    }
    for (; x < roiSize.width; ++x) {
      const double v = load(r + x);
      sum += v;
      sumSq += v * v;
    }
  }
  writeMeanStdDev(sum, sumSq, roiSize, pMean, pStdDev);
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0
