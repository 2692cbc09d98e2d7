// Minimum and maximum with their position: MinIndx and MaxIndx for 8u, 16s
// and 32f.
//
// The scan starts from the first pixel at (0, 0) and visits pixels in raster
// order; a pixel takes over only if strictly better, so the first of equal
// extremes wins. Integer scans stop after a row that leaves the extremum at
// the type's limit, since nothing can beat it.
//
// 32f and NaN: the maximum follows `v > current`, so a NaN never takes over
// (and a NaN first pixel is never displaced); the minimum keeps its value only
// while `v >= current`, so a NaN pixel does take over, and the pixel after it
// takes over in turn. Both are kept exactly as they are.
//
// Vector copies first reduce a row to its extreme value and, only if that
// beats the current one, search the row for its first occurrence, which is
// what the scalar scan would have stopped on. A 32f row holding a NaN (or a
// NaN current minimum) goes through the scalar rule.
#include <cstdint>
#include <limits>

#include "core/image.h"
#include "core/variant.h"
#include "stats/stats.h"

namespace tpx::TPX_NS {
namespace {

template <typename T>
struct Extremum {
  T value;
  int x;
  int y;
};

// ---- scalar rules --------------------------------------------------------

template <typename T, bool kMax>
inline bool takesOver(T v, T current) {
  if constexpr (kMax) return v > current;
  // Written as the negation of >= so that a NaN on either side takes over.
  return !(v >= current);
}

template <typename T, bool kMax>
inline void scanRowScalar(const T* r, int from, int width, int y, Extremum<T>* e) {
  for (int x = from; x < width; ++x) {
    const T v = load(r + x);
    if (takesOver<T, kMax>(v, e->value)) *e = Extremum<T>{v, x, y};
  }
}

// ---- vector row kernels --------------------------------------------------

inline int lowestBit(unsigned mask) { return __builtin_ctz(mask); }

#if TPX_ISA >= TPX_ISA_SSE2

template <bool kMax>
inline __m128i pick8u(__m128i a, __m128i b) {
  return kMax ? _mm_max_epu8(a, b) : _mm_min_epu8(a, b);
}

template <bool kMax>
inline __m128i pick16s(__m128i a, __m128i b) {
  return kMax ? _mm_max_epi16(a, b) : _mm_min_epi16(a, b);
}

inline __m128i loadBytes(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }

// Rows shorter than a register go through the scalar rule; longer ones are
// covered by whole registers, the last one overlapping its neighbour (which
// changes neither an extreme value nor where it first occurs).
template <bool kMax>
void scanRow(const Tpx8u* r, int width, int y, Extremum<Tpx8u>* e) {
  if (width < 16) return scanRowScalar<Tpx8u, kMax>(r, 0, width, y, e);
  __m128i m0 = loadBytes(r), m1 = m0;
  int x = 16;
  for (; x + 32 <= width; x += 32) {
    m0 = pick8u<kMax>(m0, loadBytes(r + x));
    m1 = pick8u<kMax>(m1, loadBytes(r + x + 16));
  }
  if (x + 16 <= width) m0 = pick8u<kMax>(m0, loadBytes(r + x));
  if (width % 16 != 0) m1 = pick8u<kMax>(m1, loadBytes(r + width - 16));
  __m128i m = pick8u<kMax>(m0, m1);
  m = pick8u<kMax>(m, _mm_srli_si128(m, 8));
  m = pick8u<kMax>(m, _mm_srli_si128(m, 4));
  m = pick8u<kMax>(m, _mm_srli_si128(m, 2));
  m = pick8u<kMax>(m, _mm_srli_si128(m, 1));
  const Tpx8u best = static_cast<Tpx8u>(_mm_cvtsi128_si32(m));
  if (!takesOver<Tpx8u, kMax>(best, e->value)) return;
  const __m128i target = _mm_set1_epi8(static_cast<char>(best));
  for (int x = 0;; x += 16) {
    const int at = minInt(x, width - 16);
    const unsigned hits = _mm_movemask_epi8(_mm_cmpeq_epi8(loadBytes(r + at), target));
    if (hits != 0) {
      *e = Extremum<Tpx8u>{best, at + lowestBit(hits), y};
      return;
    }
  }
}

template <bool kMax>
void scanRow(const Tpx16s* r, int width, int y, Extremum<Tpx16s>* e) {
  if (width < 8) return scanRowScalar<Tpx16s, kMax>(r, 0, width, y, e);
  __m128i m0 = loadBytes(r), m1 = m0;
  int x = 8;
  for (; x + 16 <= width; x += 16) {
    m0 = pick16s<kMax>(m0, loadBytes(r + x));
    m1 = pick16s<kMax>(m1, loadBytes(r + x + 8));
  }
  if (x + 8 <= width) m0 = pick16s<kMax>(m0, loadBytes(r + x));
  if (width % 8 != 0) m1 = pick16s<kMax>(m1, loadBytes(r + width - 8));
  __m128i m = pick16s<kMax>(m0, m1);
  m = pick16s<kMax>(m, _mm_srli_si128(m, 8));
  m = pick16s<kMax>(m, _mm_srli_si128(m, 4));
  m = pick16s<kMax>(m, _mm_srli_si128(m, 2));
  const Tpx16s best = static_cast<Tpx16s>(_mm_cvtsi128_si32(m));
  if (!takesOver<Tpx16s, kMax>(best, e->value)) return;
  const __m128i target = _mm_set1_epi16(best);
  for (int x = 0;; x += 8) {
    const int at = minInt(x, width - 8);
    const unsigned hits = _mm_movemask_epi8(_mm_cmpeq_epi16(loadBytes(r + at), target));
    if (hits != 0) {
      *e = Extremum<Tpx16s>{best, at + lowestBit(hits) / 2, y};
      return;
    }
  }
}

#else

template <bool kMax, typename T>
void scanRow(const T* r, int width, int y, Extremum<T>* e) {
  scanRowScalar<T, kMax>(r, 0, width, y, e);
}

#endif  // TPX_ISA >= TPX_ISA_SSE2

#if TPX_ISA >= TPX_ISA_SSE

// Index of the first of the first `count` floats (a multiple of 4) equal to
// value; the caller knows there is one.
inline int firstEqual(const Tpx32f* r, int count, Tpx32f value) {
  const __m128 target = _mm_set1_ps(value);
  for (int x = 0; x < count; x += 4) {
    const unsigned hits = _mm_movemask_ps(_mm_cmpeq_ps(_mm_loadu_ps(r + x), target));
    if (hits != 0) return x + lowestBit(hits);
  }
  return count;  // not reached
}

// The maximum of a row, given a current maximum that is not NaN. maxps(v, m)
// returns m when v is NaN, which is exactly "a NaN never takes over".
void scanRowMax32f(const Tpx32f* r, int width, int y, Extremum<Tpx32f>* e) {
  const int body = width & ~3;
  if (body > 0) {
    __m128 m = _mm_set1_ps(e->value), m1 = m;
    int x = 0;
    for (; x + 8 <= body; x += 8) {
      m = _mm_max_ps(_mm_loadu_ps(r + x), m);
      m1 = _mm_max_ps(_mm_loadu_ps(r + x + 4), m1);
    }
    if (x < body) m = _mm_max_ps(_mm_loadu_ps(r + x), m);
    m = _mm_max_ps(m, m1);
    m = _mm_max_ps(m, _mm_movehl_ps(m, m));
    m = _mm_max_ss(m, _mm_shuffle_ps(m, m, 1));
    const Tpx32f best = _mm_cvtss_f32(m);
    if (best > e->value) *e = Extremum<Tpx32f>{best, firstEqual(r, body, best), y};
  }
  scanRowScalar<Tpx32f, true>(r, body, width, y, e);
}

// The minimum of a row. A NaN in the row, or a NaN current minimum, makes the
// outcome depend on where the NaN sits: such rows take the scalar rule.
void scanRowMin32f(const Tpx32f* r, int width, int y, Extremum<Tpx32f>* e) {
  const int body = width & ~3;
  int from = 0;
  if (body > 0 && e->value == e->value) {
    __m128 m = _mm_set1_ps(e->value), m1 = m;
    __m128 nan = _mm_setzero_ps();
    int x = 0;
    for (; x + 8 <= body; x += 8) {
      const __m128 v0 = _mm_loadu_ps(r + x);
      const __m128 v1 = _mm_loadu_ps(r + x + 4);
      // unord(v0, v1) is true where either lane is NaN: one test for both.
      nan = _mm_or_ps(nan, _mm_cmpunord_ps(v0, v1));
      m = _mm_min_ps(v0, m);
      m1 = _mm_min_ps(v1, m1);
    }
    if (x < body) {
      const __m128 v = _mm_loadu_ps(r + x);
      nan = _mm_or_ps(nan, _mm_cmpunord_ps(v, v));
      m = _mm_min_ps(v, m);
    }
    m = _mm_min_ps(m, m1);
    if (_mm_movemask_ps(nan) == 0) {
      m = _mm_min_ps(m, _mm_movehl_ps(m, m));
      m = _mm_min_ss(m, _mm_shuffle_ps(m, m, 1));
      const Tpx32f best = _mm_cvtss_f32(m);
      if (best < e->value) *e = Extremum<Tpx32f>{best, firstEqual(r, body, best), y};
      from = body;
    }
  }
  scanRowScalar<Tpx32f, false>(r, from, width, y, e);
}

template <bool kMax>
void scanRow(const Tpx32f* r, int width, int y, Extremum<Tpx32f>* e) {
  if constexpr (kMax) {
    if (e->value != e->value) return;  // a NaN maximum stays where it is
    scanRowMax32f(r, width, y, e);
  } else {
    scanRowMin32f(r, width, y, e);
  }
}

#endif  // TPX_ISA >= TPX_ISA_SSE

// ---- image walks ---------------------------------------------------------

template <typename T, bool kMax>
Extremum<T> findExtremum(const T* pSrc, int srcStep, TpxiSize size) {
  Extremum<T> e{load(pSrc), 0, 0};
  for (int y = 0; y < size.height; ++y) {
    scanRow<kMax>(row(pSrc, srcStep, y), size.width, y, &e);
    if constexpr (std::numeric_limits<T>::is_integer) {
      constexpr T kLimit = kMax ? std::numeric_limits<T>::max() : std::numeric_limits<T>::min();
      if (e.value == kLimit) break;
    }
  }
  return e;
}

template <typename T, bool kMax>
TpxStatus extremumEntry(const T* pSrc, int srcStep, TpxiSize roiSize, T* pValue, int* pIndexX,
                        int* pIndexY) {
  if (pSrc == nullptr || pValue == nullptr || pIndexX == nullptr || pIndexY == nullptr) {
    return tpxStsNullPtrErr;
  }
  if (badSize(roiSize)) return tpxStsSizeErr;
  if (srcStep < 1) return tpxStsStepErr;
  const Extremum<T> e = findExtremum<T, kMax>(pSrc, srcStep, roiSize);
  *pValue = e.value;
  *pIndexX = e.x;
  *pIndexY = e.y;
  return tpxStsNoErr;
}

}  // namespace
}  // namespace tpx::TPX_NS

#if TPX_STATS_INT_COPY

TpxStatus tpx::TPX_NS::tpxiMinIndx_8u_C1R(const Tpx8u* pSrc, int srcStep, TpxiSize roiSize,
                                          Tpx8u* pMin, int* pIndexX, int* pIndexY) {
  return extremumEntry<Tpx8u, false>(pSrc, srcStep, roiSize, pMin, pIndexX, pIndexY);
}

TpxStatus tpx::TPX_NS::tpxiMaxIndx_8u_C1R(const Tpx8u* pSrc, int srcStep, TpxiSize roiSize,
                                          Tpx8u* pMax, int* pIndexX, int* pIndexY) {
  return extremumEntry<Tpx8u, true>(pSrc, srcStep, roiSize, pMax, pIndexX, pIndexY);
}

TpxStatus tpx::TPX_NS::tpxiMinIndx_16s_C1R(const Tpx16s* pSrc, int srcStep, TpxiSize roiSize,
                                           Tpx16s* pMin, int* pIndexX, int* pIndexY) {
  return extremumEntry<Tpx16s, false>(pSrc, srcStep, roiSize, pMin, pIndexX, pIndexY);
}

TpxStatus tpx::TPX_NS::tpxiMaxIndx_16s_C1R(const Tpx16s* pSrc, int srcStep, TpxiSize roiSize,
                                           Tpx16s* pMax, int* pIndexX, int* pIndexY) {
  return extremumEntry<Tpx16s, true>(pSrc, srcStep, roiSize, pMax, pIndexX, pIndexY);
}

#endif  // TPX_STATS_INT_COPY

#if TPX_STATS_FLOAT_COPY

TpxStatus tpx::TPX_NS::tpxiMinIndx_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                           Tpx32f* pMin, int* pIndexX, int* pIndexY) {
  return extremumEntry<Tpx32f, false>(pSrc, srcStep, roiSize, pMin, pIndexX, pIndexY);
}

TpxStatus tpx::TPX_NS::tpxiMaxIndx_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                           Tpx32f* pMax, int* pIndexX, int* pIndexY) {
  return extremumEntry<Tpx32f, true>(pSrc, srcStep, roiSize, pMax, pIndexX, pIndexY);
}

#endif  // TPX_STATS_FLOAT_COPY
