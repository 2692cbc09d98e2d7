// Counting pixels: CountInRange and HistogramRange for 32f.
//
// CountInRange counts lowerBound <= v <= upperBound (NaN pixels never count)
// and walks rows at srcStep rounded down to whole floats, so a step that is
// not a multiple of 4 still works, at the rounded distance.
//
// HistogramRange bins pixels against caller edges, lower edge inclusive,
// upper exclusive. With strictly increasing edges a pixel has at most one
// bin, found by a linear search up to 30 edges and a binary search above.
// Edges that do not strictly increase are valid too: then every bin is
// tested on its own, a pixel may count in several bins, and a bin whose lower
// edge is not below its upper edge never counts.
//
// The vector copies find the same bins by other means, but only where the bin
// is unique (strictly increasing edges without NaN): there, counting the
// edges at or below a pixel, or guessing the bin from the edge spacing and
// correcting the guess, lands on the one bin the search would. Any other edge
// set takes the scalar rule.
#include <cstdint>
#include <cstring>

#include "core/image.h"
#include "core/variant.h"
#include "stats/stats.h"

namespace tpx::TPX_NS {
namespace {

// Edge count up to which the bin is found by linear search.
constexpr int kLinearLevels = 30;

// ---- scalar rules --------------------------------------------------------

inline bool inRange(Tpx32f v, Tpx32f lowerBound, Tpx32f upperBound) {
  return v >= lowerBound && v <= upperBound;
}

// v outside [first edge, last edge) has no bin; written so that a NaN pixel
// fails the first test.
inline bool outsideEdges(Tpx32f v, const Tpx32f* pLevels, int nLevels) {
  return !(v >= pLevels[0]) || v >= pLevels[nLevels - 1];
}

// Bin by linear search from the bottom, or -1. Only a NaN among the edges can
// leave an in-range pixel without a bin.
inline int binLinear(Tpx32f v, const Tpx32f* pLevels, int nLevels) {
  if (outsideEdges(v, pLevels, nLevels)) return -1;
  for (int k = 1; k < nLevels; ++k) {
    if (v < pLevels[k]) return k - 1;
  }
  return -1;
}

// Bin by binary search, or -1: keeps pLevels[lo] <= v < pLevels[hi].
inline int binBinary(Tpx32f v, const Tpx32f* pLevels, int nLevels) {
  if (outsideEdges(v, pLevels, nLevels)) return -1;
  return [&] {
    int lo = 0, hi = nLevels - 1;
    while (hi - lo > 1) {
      const int mid = lo + (hi - lo) / 2;
      if (v < pLevels[mid]) {
        hi = mid;
      } else {
        lo = mid;
      }
    }
    return lo;
  }();
}

template <int (*kBin)(Tpx32f, const Tpx32f*, int)>
void histogramSearch(const Tpx32f* pSrc, int srcStep, TpxiSize size, int* pHist,
                     const Tpx32f* pLevels, int nLevels) {
  for (int y = 0; y < size.height; ++y) {
    const Tpx32f* r = row(pSrc, srcStep, y);
    for (int x = 0; x < size.width; ++x) {
      const int k = kBin(load(r + x), pLevels, nLevels);
      if (k >= 0) ++pHist[k];
    }
  }
}

#if TPX_STATS_INT_COPY

void histogramGeneral(const Tpx32f* pSrc, int srcStep, TpxiSize size, int* pHist,
                      const Tpx32f* pLevels, int nLevels) {
  for (int y = 0; y < size.height; ++y) {
    const Tpx32f* r = row(pSrc, srcStep, y);
    for (int x = 0; x < size.width; ++x) {
      const Tpx32f v = load(r + x);
      for (int k = 0; k + 1 < nLevels; ++k) {
        if (pLevels[k] <= v && v < pLevels[k + 1]) ++pHist[k];
      }
    }
  }
}

inline bool strictlyIncreasing(const Tpx32f* pLevels, int nLevels) {
  // A pair with a NaN compares false and so counts as increasing.
  for (int i = 0; i + 1 < nLevels; ++i) {
    if (pLevels[i] >= pLevels[i + 1]) return false;
  }
  return true;
}

#endif  // TPX_STATS_INT_COPY

// ---- vector kernels ------------------------------------------------------

#if TPX_ISA >= TPX_ISA_SSE

// Pixels of a row inside [lowerBound, upperBound].
inline uint32_t countRow(const Tpx32f* r, int width, Tpx32f lowerBound, Tpx32f upperBound) {
  const __m128 lo = _mm_set1_ps(lowerBound);
  const __m128 hi = _mm_set1_ps(upperBound);
  uint32_t count = 0;
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  // In-range lanes are all ones, -1 as integers: subtracting counts them.
  __m128i a0 = _mm_setzero_si128(), a1 = _mm_setzero_si128();
  for (; x + 8 <= width; x += 8) {
    const __m128 v0 = _mm_loadu_ps(r + x);
    const __m128 v1 = _mm_loadu_ps(r + x + 4);
    a0 =
        _mm_sub_epi32(a0, _mm_castps_si128(_mm_and_ps(_mm_cmpge_ps(v0, lo), _mm_cmple_ps(v0, hi))));
    a1 =
        _mm_sub_epi32(a1, _mm_castps_si128(_mm_and_ps(_mm_cmpge_ps(v1, lo), _mm_cmple_ps(v1, hi))));
  }
  __m128i a = _mm_add_epi32(a0, a1);
  a = _mm_add_epi32(a, _mm_shuffle_epi32(a, _MM_SHUFFLE(1, 0, 3, 2)));
  a = _mm_add_epi32(a, _mm_shuffle_epi32(a, _MM_SHUFFLE(2, 3, 0, 1)));
  count = static_cast<uint32_t>(_mm_cvtsi128_si32(a));
#endif
  // Bits set in a 4-bit movmskps result.
  constexpr uint8_t kBits[16] = {0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4};
  for (; x + 4 <= width; x += 4) {
    const __m128 v = _mm_loadu_ps(r + x);
    count += kBits[_mm_movemask_ps(_mm_and_ps(_mm_cmpge_ps(v, lo), _mm_cmple_ps(v, hi)))];
  }
  for (; x < width; ++x) count += inRange(load(r + x), lowerBound, upperBound) ? 1u : 0u;
  return count;
}

#else

inline uint32_t countRow(const Tpx32f* r, int width, Tpx32f lowerBound, Tpx32f upperBound) {
  uint32_t count = 0;
  for (int x = 0; x < width; ++x) count += inRange(load(r + x), lowerBound, upperBound) ? 1u : 0u;
  return count;
}

#endif  // TPX_ISA >= TPX_ISA_SSE

#if TPX_ISA >= TPX_ISA_SSE2 && TPX_STATS_INT_COPY

// Few unevenly spaced edges: four pixels at a time, the bin of an in-range
// pixel is the number of inner edges at or below it. Counts go to per-lane
// tables so that neighbouring pixels of one bin do not wait on each other's
// increments.
void histogramFewEdges(const Tpx32f* pSrc, int srcStep, TpxiSize size, int* pHist,
                       const Tpx32f* pLevels, int nLevels) {
  uint32_t counts[4][kLinearLevels] = {};
  __m128 inner[kLinearLevels];
  for (int k = 1; k + 1 < nLevels; ++k) inner[k] = _mm_set1_ps(pLevels[k]);
  const __m128 first = _mm_set1_ps(pLevels[0]);
  const __m128 last = _mm_set1_ps(pLevels[nLevels - 1]);
  for (int y = 0; y < size.height; ++y) {
    const Tpx32f* r = row(pSrc, srcStep, y);
    int x = 0;
    for (; x + 4 <= size.width; x += 4) {
      const __m128 v = _mm_loadu_ps(r + x);
      const int in = _mm_movemask_ps(_mm_and_ps(_mm_cmpge_ps(v, first), _mm_cmplt_ps(v, last)));
      if (in == 0) continue;
      __m128i bin = _mm_setzero_si128();
      for (int k = 1; k + 1 < nLevels; ++k) {
        bin = _mm_sub_epi32(bin, _mm_castps_si128(_mm_cmpge_ps(v, inner[k])));
      }
      alignas(16) int32_t bins[4];
      _mm_store_si128(reinterpret_cast<__m128i*>(bins), bin);
      for (int lane = 0; lane < 4; ++lane) {
        if (in & (1 << lane)) ++counts[lane][bins[lane]];
      }
    }
    for (; x < size.width; ++x) {
      const int k = binLinear(load(r + x), pLevels, nLevels);
      if (k >= 0) ++counts[0][k];
    }
  }
  for (int k = 0; k + 1 < nLevels; ++k) {
    pHist[k] = static_cast<int>(static_cast<uint32_t>(pHist[k]) + counts[0][k] + counts[1][k] +
                                counts[2][k] + counts[3][k]);
  }
}

// Evenly spaced edges (and any number of edges above 30): the bin is guessed
// from the mean edge spacing and checked against the edges around it; a
// guess that misses by one is corrected, one further off falls back to a
// binary search on the side it missed.
inline int binFromGuess(Tpx32f v, int guess, const Tpx32f* pLevels, int nLevels) {
  if (v < pLevels[guess]) {
    if (guess > 0 && v >= pLevels[guess - 1]) return guess - 1;
    return binBinary(v, pLevels, guess + 1);
  }
  if (v < pLevels[guess + 1]) return guess;
  if (guess + 2 < nLevels && v < pLevels[guess + 2]) return guess + 1;
  return guess + 1 + binBinary(v, pLevels + guess + 1, nLevels - guess - 1);
}

// {pLevels[k], pLevels[k + 1]} in the low lanes: the two edges of bin k,
// adjacent in memory, in one load.
// The guess for a pixel, from the mean edge spacing.
inline float binScale(const Tpx32f* pLevels, int nLevels) {
  return static_cast<float>(nLevels - 1) / (pLevels[nLevels - 1] - pLevels[0]);
}

// True when every edge sits within a bin of where even spacing would put
// it, so that guesses mostly hit. Few uneven edges are better counted.
inline bool nearlyEven(const Tpx32f* pLevels, int nLevels) {
  const float scale = binScale(pLevels, nLevels);
  for (int k = 1; k + 1 < nLevels; ++k) {
    const float t = (pLevels[k] - pLevels[0]) * scale;
    if (!(t >= float(k - 1) && t <= float(k + 1))) return false;
  }
  return true;
}

inline __m128 binEdges(const Tpx32f* pLevels, int k) {
  double both;
  std::memcpy(&both, pLevels + k, sizeof(both));
  return _mm_castpd_ps(_mm_set_sd(both));
}

void histogramGuessed(const Tpx32f* pSrc, int srcStep, TpxiSize size, int* pHist,
                      const Tpx32f* pLevels, int nLevels) {
  const Tpx32f e0 = pLevels[0];
  const Tpx32f eLast = pLevels[nLevels - 1];
  const int topBin = nLevels - 2;
  // (nLevels - 1) / (eLast - e0) in float may overflow to infinity for edges
  // very close together; the guesses then clamp and the correction searches.
  const __m128 scale = _mm_set1_ps(binScale(pLevels, nLevels));
  const __m128 first = _mm_set1_ps(e0);
  const __m128 last = _mm_set1_ps(eLast);
  const __m128 top = _mm_set1_ps(static_cast<float>(topBin));
  for (int y = 0; y < size.height; ++y) {
    const Tpx32f* r = row(pSrc, srcStep, y);
    int x = 0;
    for (; x + 4 <= size.width; x += 4) {
      const __m128 v = _mm_loadu_ps(r + x);
      const int in = _mm_movemask_ps(_mm_and_ps(_mm_cmpge_ps(v, first), _mm_cmplt_ps(v, last)));
      if (in == 0) continue;
      // Clamped in float before converting, so no lane can overflow (a NaN
      // product clamps to 0 through maxps's operand order); float(topBin)
      // may round up for huge edge counts, hence the integer clamp too.
      const __m128 t = _mm_mul_ps(_mm_sub_ps(v, first), scale);
      alignas(16) int32_t guess[4];
      _mm_store_si128(reinterpret_cast<__m128i*>(guess),
                      _mm_cvttps_epi32(_mm_min_ps(_mm_max_ps(t, _mm_setzero_ps()), top)));
      const int g0 = minInt(guess[0], topBin), g1 = minInt(guess[1], topBin);
      const int g2 = minInt(guess[2], topBin), g3 = minInt(guess[3], topBin);
      // Check all four guesses at once against their bins' edges.
      const __m128 a = _mm_unpacklo_ps(binEdges(pLevels, g0), binEdges(pLevels, g1));
      const __m128 b = _mm_unpacklo_ps(binEdges(pLevels, g2), binEdges(pLevels, g3));
      const __m128 lower = _mm_movelh_ps(a, b);
      const __m128 upper = _mm_movehl_ps(b, a);
      const int hit = _mm_movemask_ps(_mm_and_ps(_mm_cmpge_ps(v, lower), _mm_cmplt_ps(v, upper)));
      if (in == 0xF && hit == 0xF) {
        ++pHist[g0];
        ++pHist[g1];
        ++pHist[g2];
        ++pHist[g3];
        continue;
      }
      const int g[4] = {g0, g1, g2, g3};
      for (int lane = 0; lane < 4; ++lane) {
        if (!(in & (1 << lane))) continue;
        ++pHist[(hit & (1 << lane)) ? g[lane]
                                    : binFromGuess(load(r + x + lane), g[lane], pLevels, nLevels)];
      }
    }
    for (; x < size.width; ++x) {
      const int k = binBinary(load(r + x), pLevels, nLevels);
      if (k >= 0) ++pHist[k];
    }
  }
}

#endif  // TPX_ISA >= TPX_ISA_SSE2 && TPX_STATS_INT_COPY

#if TPX_STATS_INT_COPY

void histogram(const Tpx32f* pSrc, int srcStep, TpxiSize size, int* pHist, const Tpx32f* pLevels,
               int nLevels) {
  if (!strictlyIncreasing(pLevels, nLevels)) {
    return histogramGeneral(pSrc, srcStep, size, pHist, pLevels, nLevels);
  }
#if TPX_ISA >= TPX_ISA_SSE2
  bool anyNan = false;
  for (int i = 0; i < nLevels; ++i) anyNan |= pLevels[i] != pLevels[i];
  if (!anyNan) {
    if (nLevels <= kLinearLevels && !nearlyEven(pLevels, nLevels)) {
      return histogramFewEdges(pSrc, srcStep, size, pHist, pLevels, nLevels);
    }
    return histogramGuessed(pSrc, srcStep, size, pHist, pLevels, nLevels);
  }
#endif
  if (nLevels <= kLinearLevels) {
    return histogramSearch<binLinear>(pSrc, srcStep, size, pHist, pLevels, nLevels);
  }
  histogramSearch<binBinary>(pSrc, srcStep, size, pHist, pLevels, nLevels);
}

#endif  // TPX_STATS_INT_COPY

}  // namespace
}  // namespace tpx::TPX_NS

#if TPX_STATS_FLOAT_COPY

TpxStatus tpx::TPX_NS::tpxiCountInRange_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                                int* pCounts, Tpx32f lowerBound,
                                                Tpx32f upperBound) {
  if (pSrc == nullptr || pCounts == nullptr) return tpxStsNullPtrErr;
  if (srcStep < 1) return tpxStsStepErr;
  if (badSize(roiSize)) return tpxStsSizeErr;
  if (!(upperBound >= lowerBound)) return tpxStsBoundsOrderErr;
  // Whole floats only: a step of 1..3 bytes revisits the first row.
  const int rowAdvance = srcStep & ~3;
  uint32_t count = 0;
  for (int y = 0; y < roiSize.height; ++y) {
    count += countRow(row(pSrc, rowAdvance, y), roiSize.width, lowerBound, upperBound);
  }
  *pCounts = static_cast<int>(count);
  return tpxStsNoErr;
}

#endif  // TPX_STATS_FLOAT_COPY

#if TPX_STATS_INT_COPY

TpxStatus tpx::TPX_NS::tpxiHistogramRange_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                                  int* pHist, const Tpx32f* pLevels, int nLevels) {
  if (pSrc == nullptr || pHist == nullptr || pLevels == nullptr) return tpxStsNullPtrErr;
  if (badSize(roiSize)) return tpxStsSizeErr;
  if (srcStep < 1) return tpxStsStepErr;
  if (nLevels < 2) return tpxStsHistoLevelsErr;
  for (int k = 0; k + 1 < nLevels; ++k) pHist[k] = 0;
  histogram(pSrc, srcStep, roiSize, pHist, pLevels, nLevels);
  return tpxStsNoErr;
}

#endif  // TPX_STATS_INT_COPY
