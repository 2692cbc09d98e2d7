// Rank filters: median of 8u images, minimum and maximum of 32f images.
//
// The neighbourhood of destination pixel (x, y) is the mask laid on the source
// with its anchor cell on (x, y), not mirrored: columns x - anchor.x onwards,
// rows y - anchor.y onwards. The median and the plain Min/Max read it from the
// caller's memory around the region; the BorderReplicate forms read the region
// only and clip the window to it, which is what replicating the edge pixels
// outwards would give (a replica never changes an extremum).
//
// Median: any exact method gives the same bytes, so the paths differ in speed
// only. 3 and 5 along a row or column: branch-free min/max networks; 3x3:
// sorted column triples, med3(max of lows, med3 of mids, min of highs); 5x5:
// forgetful selection (hold 14 values, drop the least and the greatest, take
// the next, down to a median of three); other masks wider than one column: a
// running histogram per row; one-column masks: a float scratch column. The
// SSE2 copy runs the networks on 16 pixels at a time with pminub/pmaxub; the
// running histogram is the same in every copy (column histograms in strips,
// coarse and fine 16-bit counts, measured slower than it here up to 15x15).
//
// Minimum and maximum fold the window with one rule: keep the first value and
// replace it only by a strictly smaller (minimum) or strictly larger (maximum)
// one; each window row left to right, then the row results top to bottom. So
// a NaN is kept only when it comes first, and of +0 and -0 the first stays.
// minps/maxps implement exactly this step when the newcomer is their first
// operand: _mm_min_ps(next, acc) is next < acc ? next : acc. The vector paths
// fold in the same order as the scalar rule, four destination pixels a pass,
// except where the regrouping is provably exact: without NaN the fold is
// associative and keeps the first of equal values (so -0 versus +0 cannot
// tell two groupings apart). There wide rows fold by doubling and two
// destination rows share their common rows; data holding a NaN takes the
// literal fold.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/alloc.h"
#include "core/image.h"

// Copies built: generic (0), SSE (1: minimum and maximum) and SSE2 (2: the
// medians, also serving indices 3 and 4).
#if TPX_VARIANT <= 2

namespace tpx::TPX_NS {
namespace {

using std::ptrdiff_t;

// ----- Argument checks, shared by every copy ---------------------------------------

inline bool anchorOutside(TpxiSize mask, TpxiPoint anchor) {
  return anchor.x < 0 || anchor.y < 0 || anchor.x >= mask.width || anchor.y >= mask.height;
}

#if TPX_VARIANT != 1

TpxStatus checkMedian(const void* pSrc, int srcStep, const void* pDst, int dstStep, TpxiSize roi,
                      TpxiSize mask, TpxiPoint anchor) {
  if (pSrc == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  if (srcStep < 1 || dstStep < 1) return tpxStsStepErr;
  if (mask.width < 1 || mask.height < 1 || mask.width % 2 == 0 || mask.height % 2 == 0) {
    return tpxStsMaskSizeErr;
  }
  if (anchorOutside(mask, anchor)) return tpxStsAnchorErr;
  return tpxStsNoErr;
}

TpxStatus checkMedian1D(const void* pSrc, int srcStep, const void* pDst, int dstStep, TpxiSize roi,
                        int mask, int code3, int code5) {
  if (pSrc == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  if (srcStep < 1 || dstStep < 1) return tpxStsStepErr;
  if (mask != code3 && mask != code5) return tpxStsMaskSizeErr;
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT != 1

#if TPX_VARIANT <= 1

TpxStatus checkMinMax(const void* pSrc, int srcStep, const void* pDst, int dstStep, TpxiSize roi,
                      TpxiSize mask, TpxiPoint anchor) {
  if (pSrc == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  if (srcStep < 1 || dstStep < 1) return tpxStsStepErr;
  if (mask.width < 1 || mask.height < 1) return tpxStsMaskSizeErr;
  if (anchorOutside(mask, anchor)) return tpxStsAnchorErr;
  return tpxStsNoErr;
}

// Here the steps come after the mask, and a source step that is not a whole
// number of pixels wins over a short destination step.
TpxStatus checkReplicate(const void* pSrc, int srcStep, const void* pDst, int dstStep, TpxiSize roi,
                         TpxiSize mask, TpxiPoint anchor, const void* pBuffer) {
  if (pSrc == nullptr || pDst == nullptr || pBuffer == nullptr) return tpxStsNullPtrErr;
  if (roi.height < 1 || roi.width < 1) return tpxStsSizeErr;
  if (mask.height < 1 || mask.width < 1) return tpxStsMaskSizeErr;
  if (anchorOutside(mask, anchor)) return tpxStsAnchorErr;
  const int64_t rowBytes = int64_t(roi.width) * 4;
  if (srcStep < rowBytes) return tpxStsStepErr;
  if (srcStep % 4 != 0) return tpxStsNotPixelStepErr;
  if (dstStep < rowBytes) return tpxStsStepErr;
  if (dstStep % 4 != 0) return tpxStsNotPixelStepErr;
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT <= 1

// Pixel x of row y of an image at pointer base and byte step.
template <typename T>
inline T* at(T* base, int step, int64_t y, int64_t x) {
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(base) + static_cast<ptrdiff_t>(y) * step) +
         static_cast<ptrdiff_t>(x);
}

// ----- Median ------------------------------------------------------------------------

#if TPX_VARIANT != 1

// The comparison networks are written once for a byte and for 16 bytes.
inline uint8_t vmin(uint8_t a, uint8_t b) { return b < a ? b : a; }
inline uint8_t vmax(uint8_t a, uint8_t b) { return b > a ? b : a; }
#if TPX_ISA >= TPX_ISA_SSE2
inline __m128i vmin(__m128i a, __m128i b) { return _mm_min_epu8(a, b); }
inline __m128i vmax(__m128i a, __m128i b) { return _mm_max_epu8(a, b); }
#endif

template <typename V>
inline void sort2(V& a, V& b) {
  const V lo = vmin(a, b);
  b = vmax(a, b);
  a = lo;
}

template <typename V>
inline V med3(V a, V b, V c) {
  return vmax(vmin(a, b), vmin(vmax(a, b), c));
}

// Of five values: after the two pairs are ordered, min(a, d) is the least and
// max(b, e) the greatest of those four; neither can be the median unless a
// tie makes it equal to it, so the median is that of the three left.
template <typename V>
inline V med5(V a, V b, V c, V d, V e) {
  sort2(a, b);
  sort2(d, e);
  return med3(vmin(b, e), c, vmax(a, d));
}

// Three columns of three sorted, each; lo/mid/hi per column.
template <typename V>
inline V med3x3(const V (&c)[3][3]) {
  V lo[3], mid[3], hi[3];
#pragma GCC unroll 3
  for (int k = 0; k < 3; ++k) {
    V a = c[k][0], b = c[k][1], d = c[k][2];
    sort2(a, b);
    sort2(b, d);
    sort2(a, b);
    lo[k] = a;
    mid[k] = b;
    hi[k] = d;
  }
  const V l = vmax(vmax(lo[0], lo[1]), lo[2]);
  const V h = vmin(vmin(hi[0], hi[1]), hi[2]);
  return med3(l, med3(mid[0], mid[1], mid[2]), h);
}

// Forgetful selection over 25 values: of n values still to be ranked with the
// median at rank r, holding r + 1 of them and dropping the least and the
// greatest of the held ones never drops the median; each round takes one new
// value in. From 14 held values and 11 to come, eleven rounds leave three.
template <int kHeld, typename V>
inline void extremesToEnds(V* h) {
  // Least to h[0], greatest to h[kHeld-1]: pairs first, then the lows race
  // for the minimum and the highs for the maximum.
  constexpr int kLastHigh = kHeld % 2 == 0 ? kHeld - 1 : kHeld - 2;
#pragma GCC unroll 16
  for (int i = 0; i + 1 < kHeld; i += 2) sort2(h[i], h[i + 1]);
#pragma GCC unroll 16
  for (int i = 2; i < kHeld; i += 2) sort2(h[0], h[i]);
#pragma GCC unroll 16
  for (int i = 1; i < kLastHigh; i += 2) sort2(h[i], h[kLastHigh]);
  if constexpr (kHeld % 2 == 1) {
    sort2(h[kHeld - 1], h[kLastHigh]);  // an unpaired value may be the greatest
    std::swap(h[kLastHigh], h[kHeld - 1]);
  }
}

// After kRound rounds the held values are v[kRound .. 13]; each round drops
// the least and the greatest and takes v[14 + kRound] in the greatest's place.
template <int kRound, typename V>
inline V forgetful25(V (&v)[25]) {
  if constexpr (kRound == 11) {
    return med3(v[11], v[12], v[13]);
  } else {
    extremesToEnds<14 - kRound>(v + kRound);
    v[13] = v[14 + kRound];
    return forgetful25<kRound + 1>(v);
  }
}

template <typename V>
inline V med25(V (&v)[25]) {
  return forgetful25<0>(v);
}

// Row y's neighbourhood rows, addressed from the centre of the mask.
struct MedianFrame {
  const Tpx8u* centre;  // source pixel under the mask centre for dst(0, 0)
  int srcStep;
  Tpx8u* dst;
  int dstStep;
  int width, height;
};

inline const Tpx8u* srcAt(const MedianFrame& f, int64_t y, int64_t x) {
  return at(f.centre, f.srcStep, y, x);
}

// The per-pixel networks, on one pixel (V = uint8_t) or 16 (__m128i).
template <typename V>
inline V loadV(const Tpx8u* p);
template <>
inline uint8_t loadV<uint8_t>(const Tpx8u* p) {
  return *p;
}
#if TPX_ISA >= TPX_ISA_SSE2
template <>
inline __m128i loadV<__m128i>(const Tpx8u* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
#endif

// Pixel x of the destination row whose neighbourhood rows are r[-2 .. 2]
// (centre row r[0]); kMode is the mask code 10 x width + height.
template <int kMode, typename V>
inline V medianAt(const Tpx8u* const* r, int x) {
  if constexpr (kMode == 31) {
    return med3(loadV<V>(r[0] + x - 1), loadV<V>(r[0] + x), loadV<V>(r[0] + x + 1));
  } else if constexpr (kMode == 51) {
    const Tpx8u* s = r[0] + x;
    return med5(loadV<V>(s - 2), loadV<V>(s - 1), loadV<V>(s), loadV<V>(s + 1), loadV<V>(s + 2));
  } else if constexpr (kMode == 13) {
    return med3(loadV<V>(r[-1] + x), loadV<V>(r[0] + x), loadV<V>(r[1] + x));
  } else if constexpr (kMode == 15) {
    return med5(loadV<V>(r[-2] + x), loadV<V>(r[-1] + x), loadV<V>(r[0] + x), loadV<V>(r[1] + x),
                loadV<V>(r[2] + x));
  } else if constexpr (kMode == 33) {
    V c[3][3];
#pragma GCC unroll 3
    for (int j = 0; j < 3; ++j)
#pragma GCC unroll 3
      for (int i = 0; i < 3; ++i) c[j][i] = loadV<V>(r[i - 1] + x + j - 1);
    return med3x3(c);
  } else {
    V v[25];
#pragma GCC unroll 5
    for (int i = 0; i < 5; ++i)
#pragma GCC unroll 5
      for (int j = 0; j < 5; ++j) v[i * 5 + j] = loadV<V>(r[i - 2] + x + j - 2);
    return med25(v);
  }
}

template <int kMode>
void medianNetwork(const MedianFrame& f) {
  constexpr int kReach = kMode == 31 || kMode == 51 ? 0 : kMode % 10 / 2;
  for (int y = 0; y < f.height; ++y) {
    const Tpx8u* rows[5];
    for (int i = -kReach; i <= kReach; ++i) rows[2 + i] = srcAt(f, int64_t(y) + i, 0);
    const Tpx8u* const* r = rows + 2;
    Tpx8u* d = at(f.dst, f.dstStep, y, 0);
    int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
    for (; x + 16 <= f.width; x += 16) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + x), medianAt<kMode, __m128i>(r, x));
    }
#endif
    for (; x < f.width; ++x) d[x] = medianAt<kMode, uint8_t>(r, x);
  }
}

// Running histogram, one destination row at a time. `below` counts the
// window's values <= m; the threshold t is the median's rank. Each step right
// trades one column for the next and moves m until it is the smallest value
// whose count reaches t. At the row's end the counters still in use are
// cleared, so every row starts from an empty histogram.
void medianHistogram(const MedianFrame& f, int mw, int mh) {
  uint32_t hist[256] = {};
  const int64_t t = int64_t(mw) * mh / 2 + 1;
  const int left = mw / 2, top = mh / 2;
  for (int y = 0; y < f.height; ++y) {
    Tpx8u* d = at(f.dst, f.dstStep, y, 0);
    for (int i = 0; i < mh; ++i) {
      const Tpx8u* s = srcAt(f, int64_t(y) + i - top, -left);
      for (int j = 0; j < mw; ++j) ++hist[s[j]];
    }
    int m = 0;
    int64_t below = hist[0];  // counters 0 .. m
    while (below < t) below += hist[++m];
    d[0] = Tpx8u(m);
    for (int x = 1; x < f.width; ++x) {
      const Tpx8u* s = srcAt(f, int64_t(y) - top, int64_t(x) - 1 - left);
      for (int i = 0; i < mh; ++i, s += f.srcStep) {
        const int out = s[0], in = s[mw];
        --hist[out];
        ++hist[in];
        below += (in <= m) - (out <= m);
      }
      while (below < t) below += hist[++m];
      while (below - hist[m] >= t) below -= hist[m--];
      d[x] = Tpx8u(m);
    }
    for (int i = 0; i < mh; ++i) {
      const Tpx8u* s = srcAt(f, int64_t(y) + i - top, int64_t(f.width) - 1 - left);
      for (int j = 0; j < mw; ++j) hist[s[j]] = 0;
    }
  }
}

// One-column masks of other heights: the column goes through a float scratch
// array and is partially sorted.
void medianColumn(const MedianFrame& f, int mh, Tpx32f* scratch) {
  const int top = mh / 2;
  for (int y = 0; y < f.height; ++y) {
    Tpx8u* d = at(f.dst, f.dstStep, y, 0);
    for (int x = 0; x < f.width; ++x) {
      for (int i = 0; i < mh; ++i) scratch[i] = Tpx32f(*srcAt(f, int64_t(y) + i - top, x));
      std::nth_element(scratch, scratch + top, scratch + mh);
      d[x] = Tpx8u(scratch[top]);
    }
  }
}

void median1D(const MedianFrame& f, int code) {
  switch (code) {
    case 31:
      return medianNetwork<31>(f);
    case 51:
      return medianNetwork<51>(f);
    case 13:
      return medianNetwork<13>(f);
    default:
      return medianNetwork<15>(f);
  }
}

#endif  // TPX_VARIANT != 1

// ----- Minimum and maximum -------------------------------------------------------------

#if TPX_VARIANT <= 1

// One step of the fold: the newcomer replaces the kept value only when
// strictly smaller (kMin) or strictly larger.
template <bool kMin>
inline float pick(float next, float acc) {
  return kMin ? (next < acc ? next : acc) : (next > acc ? next : acc);
}
#if TPX_ISA >= TPX_ISA_SSE
template <bool kMin>
inline __m128 pick(__m128 next, __m128 acc) {
  return kMin ? _mm_min_ps(next, acc) : _mm_max_ps(next, acc);
}
#endif

// r[x] = fold of s[x .. x + taps - 1] for x < n, taken literally; s may sit
// at any byte address.
template <bool kMin>
void foldRowDirect(const Tpx32f* s, Tpx32f* r, int n, int64_t taps) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE
  for (; x + 8 <= n; x += 8) {
    __m128 a = _mm_loadu_ps(s + x), b = _mm_loadu_ps(s + x + 4);
    for (int64_t k = 1; k < taps; ++k) {
      a = pick<kMin>(_mm_loadu_ps(s + x + k), a);
      b = pick<kMin>(_mm_loadu_ps(s + x + 4 + k), b);
    }
    _mm_storeu_ps(r + x, a);
    _mm_storeu_ps(r + x + 4, b);
  }
#endif
  for (; x < n; ++x) {
    float acc = load(s + x);
    for (int64_t k = 1; k < taps; ++k) acc = pick<kMin>(load(s + x + k), acc);
    store(r + x, acc);
  }
}

// d[x] = fold of rows[0][x], rows[1][x], ... rows[count - 1][x], top to bottom.
template <bool kMin>
void foldColumns(const Tpx32f* const* rows, int64_t count, Tpx32f* d, int n) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE
  for (; x + 8 <= n; x += 8) {
    __m128 a = _mm_loadu_ps(rows[0] + x), b = _mm_loadu_ps(rows[0] + x + 4);
    for (int64_t i = 1; i < count; ++i) {
      a = pick<kMin>(_mm_loadu_ps(rows[i] + x), a);
      b = pick<kMin>(_mm_loadu_ps(rows[i] + x + 4), b);
    }
    _mm_storeu_ps(d + x, a);
    _mm_storeu_ps(d + x + 4, b);
  }
#endif
  for (; x < n; ++x) {
    float acc = load(rows[0] + x);
    for (int64_t i = 1; i < count; ++i) acc = pick<kMin>(load(rows[i] + x), acc);
    store(d + x, acc);
  }
}

inline int64_t round8(int64_t n) { return (n + 7) & ~int64_t(7); }

#if TPX_ISA >= TPX_ISA_SSE

// True when none of s[0 .. n-1] is a NaN.
bool noNaN(const Tpx32f* s, int64_t n) {
  __m128 bad = _mm_setzero_ps();
  int64_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128 v = _mm_loadu_ps(s + i);
    bad = _mm_or_ps(bad, _mm_cmpunord_ps(v, v));
  }
  bool clean = _mm_movemask_ps(bad) == 0;
  for (; i < n; ++i) {
    const float v = load(s + i);
    clean = clean && v == v;
  }
  return clean;
}

// out[i] = the fold of an earlier part e[i] followed by a later part l[i]:
// the later one replaces the earlier only when strictly beyond it.
template <bool kMin>
void combine(const Tpx32f* e, const Tpx32f* l, Tpx32f* out, int64_t n) {
  int64_t i = 0;
  for (; i + 4 <= n; i += 4) {
    _mm_storeu_ps(out + i, pick<kMin>(_mm_loadu_ps(l + i), _mm_loadu_ps(e + i)));
  }
  for (; i < n; ++i) store(out + i, pick<kMin>(load(l + i), load(e + i)));
}

// Wide rows by doubling: level k holds the fold of 2^k consecutive pixels,
// built from two halves of level k - 1, and a window of W pixels is the fold
// of two level-k runs that overlap (2^k <= W < 2^(k+1)). Without NaN the fold
// is associative and keeps the first of equal values, so halves and overlaps
// give exactly the literal fold (a value met twice never replaces itself);
// chunks holding a NaN are folded literally. The levels live on the stack.
constexpr int kDoublingChunk = 256;
constexpr int kDoublingMaxTaps = 512;

template <bool kMin>
void foldRowDoubling(const Tpx32f* s, Tpx32f* r, int n, int64_t taps) {
  alignas(16) float levels[2][kDoublingChunk + kDoublingMaxTaps];
  int64_t span = 1;
  while (span * 2 <= taps) span *= 2;
  for (int x0 = 0; x0 < n; x0 += kDoublingChunk) {
    const int c = std::min(kDoublingChunk, n - x0);
    const Tpx32f* src = s + x0;
    int64_t len = c + taps - 1;
    if (!noNaN(src, len)) {
      foldRowDirect<kMin>(src, r + x0, c, taps);
      continue;
    }
    const Tpx32f* prev = src;
    int k = 0;
    for (int64_t w = 1; w < span; w *= 2, k ^= 1) {
      len -= w;
      combine<kMin>(prev, prev + w, levels[k], len);
      prev = levels[k];
    }
    combine<kMin>(prev, prev + (taps - span), r + x0, c);
  }
}

#endif  // TPX_ISA >= TPX_ISA_SSE

// Narrow windows fold literally, with shifted loads; wide ones by doubling.
template <bool kMin>
void foldRow(const Tpx32f* s, Tpx32f* r, int n, int64_t taps) {
#if TPX_ISA >= TPX_ISA_SSE
  if (taps >= 6 && taps <= kDoublingMaxTaps) return foldRowDoubling<kMin>(s, r, n, taps);
#endif
  foldRowDirect<kMin>(s, r, n, taps);
}

// A circular store of row results: row r of the source lives in slot r mod
// slots. The row pointers of one window are gathered per destination row into
// a small array, in chunks, so the store needs no pointer table of its own.
struct RowStore {
  Tpx32f* base;
  int64_t stride;  // floats
  int64_t slots;
  Tpx32f* slot(int64_t r) const {
    const int64_t s = r % slots;
    return base + (s < 0 ? s + slots : s) * stride;
  }
};

// dst row = fold over store rows first .. first + count - 1, top to bottom.
// The fold is split into chunks of kChunk rows only when the window is taller;
// then each chunk's result is the kept operand for the next chunk's rows,
// which is the same sequence of steps as one long fold.
template <bool kMin>
void columnPass(const RowStore& store, int64_t first, int64_t count, Tpx32f* d, int n) {
  constexpr int kChunk = 64;
  const Tpx32f* rows[kChunk + 1];
  int64_t done = 0;
  while (done < count) {
    int k = 0;
    if (done > 0) rows[k++] = d;  // the fold so far (already stored in d)
    while (k < kChunk + 1 && done < count) rows[k++] = store.slot(first + done++);
    foldColumns<kMin>(rows, k, d, n);
  }
}

#if TPX_ISA >= TPX_ISA_SSE
// Two destination rows at once, over store rows first .. first + h - 1 and
// first + 1 .. first + h (the last not made yet). The shared middle rows are
// folded once, into d1; then d0 = r(first) followed by the middle, and d1 =
// the middle followed by r(first + h), which makeRow builds in the slot that
// r(first) leaves. The second is the literal fold's last step; the first
// regroups the fold, exact when no middle row holds a NaN (a NaN in r(first)
// is kept either way).
// Below this height the extra passes cost more than the shared rows save.
constexpr int kPairMinHeight = 5;

template <bool kMin, class MakeRow>
void columnPair(const RowStore& store, int64_t first, int64_t h, Tpx32f* d0, Tpx32f* d1, int n,
                MakeRow&& makeRow) {
  columnPass<kMin>(store, first + 1, h - 1, d1, n);
  combine<kMin>(store.slot(first), d1, d0, n);
  makeRow(first + h);
  combine<kMin>(d1, store.slot(first + h), d1, n);
}
#endif

template <bool kMin>
TpxStatus minMaxCaller(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst, int dstStep, TpxiSize roi,
                       TpxiSize mask, TpxiPoint anchor) {
  if (mask.width == 1 && mask.height == 1) {
    return tpx::px::tpxiCopy_32f_C1R(pSrc, srcStep, pDst, dstStep, roi);
  }
  const int64_t stride = round8(roi.width);
  const int64_t bytes = int64_t(mask.height) * stride * 4;
  if (bytes > INT32_MAX) return tpxStsMemAllocErr;
  Tpx32f* base = tpx::px::tpxsMalloc_32f(int(bytes / 4));
  if (base == nullptr) return tpxStsMemAllocErr;
  const RowStore store{base, stride, mask.height};
  int64_t made = 0;      // source rows (counted from the window's top) already folded
  int64_t lastNaN = -1;  // the last of them whose result holds a NaN
  auto makeRow = [&](int64_t r) {
    const Tpx32f* s = at(pSrc, srcStep, r - anchor.y, -int64_t(anchor.x));
    foldRow<kMin>(s, store.slot(r), roi.width, mask.width);
#if TPX_ISA >= TPX_ISA_SSE
    if (mask.height >= kPairMinHeight && !noNaN(store.slot(r), roi.width)) lastNaN = r;
#endif
    made = r + 1;
  };
  for (int y = 0; y < roi.height;) {
    while (made < int64_t(y) + mask.height) makeRow(made);
    Tpx32f* d = at(pDst, dstStep, y, 0);
#if TPX_ISA >= TPX_ISA_SSE
    if (mask.height >= kPairMinHeight && y + 1 < roi.height && lastNaN < int64_t(y) + 1) {
      columnPair<kMin>(store, y, mask.height, d, at(pDst, dstStep, y + 1, 0), roi.width, makeRow);
      y += 2;
      continue;
    }
#endif
    columnPass<kMin>(store, y, mask.height, d, roi.width);
    ++y;
  }
  (void)lastNaN;
  tpx::px::tpxsFree(base);
  return tpxStsNoErr;
}

// The fold over the window clipped to the region, which equals the fold over
// a replicate-padded copy: a replica of the first pixel repeats the kept
// value (never strictly beyond it), and a replica of the last pixel has
// already been offered to the fold, so it can replace nothing either; NaN
// included. Rows are clipped alike.
template <bool kMin>
void foldRowClipped(const Tpx32f* s, Tpx32f* r, int w, int64_t mw, int64_t ax) {
  // Positions whose window lies wholly inside the row: x - ax >= 0 and
  // x - ax + mw - 1 <= w - 1.
  const int64_t innerBegin = std::min<int64_t>(ax, w);
  const int64_t innerEnd = std::max<int64_t>(innerBegin, std::min<int64_t>(w, w - mw + 1 + ax));
  auto clipped = [&](int64_t x) {
    const int64_t lo = std::max<int64_t>(0, x - ax);
    const int64_t hi = std::min<int64_t>(w - 1, x - ax + mw - 1);
    float acc = load(s + lo);
    for (int64_t k = lo + 1; k <= hi; ++k) acc = pick<kMin>(load(s + k), acc);
    store(r + x, acc);
  };
  for (int64_t x = 0; x < innerBegin; ++x) clipped(x);
  if (innerEnd > innerBegin) {
    foldRow<kMin>(s + (innerBegin - ax), r + innerBegin, int(innerEnd - innerBegin), mw);
  }
  for (int64_t x = innerEnd; x < w; ++x) clipped(x);
}

// The caller's buffer: from its first 32-byte boundary, min(mask height,
// region height) rows of round8(width) floats used as a circular store. Row
// positions are computed, never kept as pointers, so the size reported by the
// query (which budgets 16 bytes per mask row for a table) fits on any host.
template <bool kMin>
TpxStatus minMaxReplicate(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst, int dstStep, TpxiSize roi,
                          TpxiSize mask, TpxiPoint anchor, Tpx8u* pBuffer) {
  const int w = roi.width, h = roi.height;
  const uintptr_t misalign = reinterpret_cast<uintptr_t>(pBuffer) & 31;
  Tpx8u* aligned = pBuffer + (misalign == 0 ? 0 : 32 - misalign);
  const RowStore store{reinterpret_cast<Tpx32f*>(aligned), round8(w),
                       std::min<int64_t>(mask.height, h)};
  const int64_t mh = mask.height, ay = anchor.y;
  int64_t made = 0, lastNaN = -1;
  auto makeRow = [&](int64_t r) {
    foldRowClipped<kMin>(at(pSrc, srcStep, r, 0), store.slot(r), w, mask.width, anchor.x);
#if TPX_ISA >= TPX_ISA_SSE
    if (mh >= kPairMinHeight && !noNaN(store.slot(r), w)) lastNaN = r;
#endif
    made = r + 1;
  };
  for (int y = 0; y < h;) {
    const int64_t lo = std::max<int64_t>(0, y - ay);
    const int64_t hi = std::min<int64_t>(h - 1, y - ay + mh - 1);
    while (made <= hi) makeRow(made);
    Tpx32f* d = at(pDst, dstStep, y, 0);
#if TPX_ISA >= TPX_ISA_SSE
    // Both windows whole: rows lo .. lo + mh - 1 and the same one row down.
    if (mh >= kPairMinHeight && y - ay >= 0 && y + 1 - ay + mh - 1 <= h - 1 && lastNaN < lo + 1) {
      columnPair<kMin>(store, lo, mh, d, at(pDst, dstStep, y + 1, 0), w, makeRow);
      y += 2;
      continue;
    }
#endif
    columnPass<kMin>(store, lo, hi - lo + 1, d, w);
    ++y;
  }
  (void)lastNaN;
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT <= 1

}  // namespace
}  // namespace tpx::TPX_NS

// ----- Entries -----------------------------------------------------------------------

#if TPX_VARIANT == 0 || TPX_VARIANT == 2

TpxStatus tpx::TPX_NS::tpxiFilterMedian_8u_C1R(const Tpx8u* pSrc, int srcStep, Tpx8u* pDst,
                                               int dstStep, TpxiSize roiSize, TpxiSize maskSize,
                                               TpxiPoint anchor) {
  const TpxStatus status = checkMedian(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, anchor);
  if (status != tpxStsNoErr) return status;
  const int mw = maskSize.width, mh = maskSize.height;
  if (mw == 1 && mh == 1) return tpx::px::tpxiCopy_8u_C1R(pSrc, srcStep, pDst, dstStep, roiSize);
  // Every path addresses the neighbourhood from its centre.
  const MedianFrame f{at(pSrc, srcStep, int64_t(mh / 2) - anchor.y, int64_t(mw / 2) - anchor.x),
                      srcStep,
                      pDst,
                      dstStep,
                      roiSize.width,
                      roiSize.height};
  if (mh == 1 && (mw == 3 || mw == 5)) {
    median1D(f, mw * 10 + 1);
  } else if (mw == 1 && (mh == 3 || mh == 5)) {
    median1D(f, 10 + mh);
  } else if (mw == 3 && mh == 3) {
    medianNetwork<33>(f);
  } else if (mw == 5 && mh == 5) {
    medianNetwork<55>(f);
  } else if (mw > 1) {
    medianHistogram(f, mw, mh);
  } else {
    const int64_t bytes = int64_t(mh) * 4;
    Tpx32f* scratch = bytes > INT32_MAX ? nullptr : tpx::px::tpxsMalloc_32f(mh);
    if (scratch == nullptr) return tpxStsMemAllocErr;
    medianColumn(f, mh, scratch);
    tpx::px::tpxsFree(scratch);
  }
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiFilterMedianHoriz_8u_C1R(const Tpx8u* pSrc, int srcStep, Tpx8u* pDst,
                                                    int dstStep, TpxiSize roiSize, int mask) {
  const TpxStatus status = checkMedian1D(pSrc, srcStep, pDst, dstStep, roiSize, mask, 31, 51);
  if (status != tpxStsNoErr) return status;
  median1D(MedianFrame{pSrc, srcStep, pDst, dstStep, roiSize.width, roiSize.height}, mask);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiFilterMedianVert_8u_C1R(const Tpx8u* pSrc, int srcStep, Tpx8u* pDst,
                                                   int dstStep, TpxiSize roiSize, int mask) {
  const TpxStatus status = checkMedian1D(pSrc, srcStep, pDst, dstStep, roiSize, mask, 13, 15);
  if (status != tpxStsNoErr) return status;
  median1D(MedianFrame{pSrc, srcStep, pDst, dstStep, roiSize.width, roiSize.height}, mask);
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0 || TPX_VARIANT == 2

#if TPX_VARIANT <= 1

TpxStatus tpx::TPX_NS::tpxiFilterMin_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                             int dstStep, TpxiSize roiSize, TpxiSize maskSize,
                                             TpxiPoint anchor) {
  const TpxStatus status = checkMinMax(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, anchor);
  if (status != tpxStsNoErr) return status;
  return minMaxCaller<true>(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, anchor);
}

TpxStatus tpx::TPX_NS::tpxiFilterMax_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                             int dstStep, TpxiSize roiSize, TpxiSize maskSize,
                                             TpxiPoint anchor) {
  const TpxStatus status = checkMinMax(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, anchor);
  if (status != tpxStsNoErr) return status;
  return minMaxCaller<false>(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, anchor);
}

TpxStatus tpx::TPX_NS::tpxiFilterMinBorderReplicate_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                            Tpx32f* pDst, int dstStep,
                                                            TpxiSize roiSize, TpxiSize maskSize,
                                                            TpxiPoint anchor, Tpx8u* pBuffer) {
  const TpxStatus status =
      checkReplicate(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, anchor, pBuffer);
  if (status != tpxStsNoErr) return status;
  return minMaxReplicate<true>(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, anchor, pBuffer);
}

TpxStatus tpx::TPX_NS::tpxiFilterMaxBorderReplicate_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                            Tpx32f* pDst, int dstStep,
                                                            TpxiSize roiSize, TpxiSize maskSize,
                                                            TpxiPoint anchor, Tpx8u* pBuffer) {
  const TpxStatus status =
      checkReplicate(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, anchor, pBuffer);
  if (status != tpxStsNoErr) return status;
  return minMaxReplicate<false>(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, anchor, pBuffer);
}

#endif  // TPX_VARIANT <= 1

#if TPX_VARIANT == 0

// 8 x h x roiWidth + 80 x h + 32 bytes, worked out in 32 bits unsigned: 16
// bytes of row table and two rows of 4 x roiWidth + 32 bytes per mask row,
// plus 32 for alignment. The same on every host, whatever its pointer size.
static TpxStatus bufferSize(int roiWidth, TpxiSize maskSize, int* pBufferSize) {
  if (pBufferSize == nullptr) return tpxStsNullPtrErr;
  if (roiWidth < 1) return tpxStsSizeErr;
  if (maskSize.height < 1 || maskSize.width < 1) return tpxStsMaskSizeErr;
  const uint32_t h = uint32_t(maskSize.height), w = uint32_t(roiWidth);
  *pBufferSize = int(8u * h * w + 80u * h + 32u);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiFilterMinGetBufferSize_32f_C1R(int roiWidth, TpxiSize maskSize,
                                                          int* pBufferSize) {
  return bufferSize(roiWidth, maskSize, pBufferSize);
}

TpxStatus tpx::TPX_NS::tpxiFilterMaxGetBufferSize_32f_C1R(int roiWidth, TpxiSize maskSize,
                                                          int* pBufferSize) {
  return bufferSize(roiWidth, maskSize, pBufferSize);
}

#endif  // TPX_VARIANT == 0

#endif  // TPX_VARIANT <= 2
