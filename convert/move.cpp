// Whole-image movements and fills: replicated border, mirror, in-place
// transpose, ramp and two-sided threshold.
//
// Every vector path below produces the generic bytes exactly: the movements
// only load, shuffle and store 32-bit words or bytes; the ramp converts and
// multiplies with the same single-precision operations as the scalar rule;
// the threshold compares integer keys, never floats. Where the generic result
// depends on the order of overlapping writes (steps so small that rows share
// memory), the vector paths stand aside and the scalar loops run, so even
// then all variants agree.
//
// Which copy serves which index is listed in core/exports.def: the border at
// the SSE level and up, Mirror_8u at SSE2 and SSSE3, the rest at SSE2.
#include <climits>
#include <cstdint>
#include <cstring>

#include "core/image.h"

namespace tpx::TPX_NS {
namespace {

// True when the byte ranges [a, a + bytes) and [b, b + bytes) do not meet.
inline bool disjoint(const void* a, const void* b, std::size_t bytes) {
  const auto pa = reinterpret_cast<uintptr_t>(a);
  const auto pb = reinterpret_cast<uintptr_t>(b);
  return pa + bytes <= pb || pb + bytes <= pa;
}

// ----- Replicated border ------------------------------------------------------

#if TPX_VARIANT <= 1

TpxStatus checkBorder(const void* pSrc, int srcStep, TpxiSize src, const void* pDst, int dstStep,
                      TpxiSize dst, int top, int left) {
  if (pSrc == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (srcStep < 1 || dstStep < 1) return tpxStsStepErr;
  // 64-bit sums: a border near INT_MAX must fail the fit test, not wrap.
  if (src.width < 1 || src.height < 1 || dst.width < 1 || dst.height < 1 || top < 0 || left < 0 ||
      int64_t{dst.width} < int64_t{left} + src.width ||
      int64_t{dst.height} < int64_t{top} + src.height) {
    return tpxStsSizeErr;
  }
  return tpxStsNoErr;
}

// n copies of one 32-bit word: broadcast 16-byte stores from the SSE level.
// The word only ever travels as a bit pattern, so any value is stored as is.
void fillWords(Tpx32s* d, int n, Tpx32s value) {
  int i = 0;
#if TPX_ISA >= TPX_ISA_SSE
  float lane;
  std::memcpy(&lane, &value, 4);
  const __m128 pattern = _mm_set1_ps(lane);
  for (; i + 4 <= n; i += 4) _mm_storeu_ps(reinterpret_cast<float*>(d + i), pattern);
#endif
  for (; i < n; ++i) store(d + i, value);
}

// Rows are finished in an order that lets the source sit inside the
// destination at (left, top) with the same step: each source row is read
// before anything is written around it, and rows above and below the copied
// block are filled only afterwards, from finished rows.
TpxStatus replicateBorder(const Tpx32s* pSrc, int srcStep, TpxiSize src, Tpx32s* pDst, int dstStep,
                          TpxiSize dst, int top, int left) {
  const TpxStatus status = checkBorder(pSrc, srcStep, src, pDst, dstStep, dst, top, left);
  if (status != tpxStsNoErr) return status;
  const int right = dst.width - left - src.width;
  const std::size_t srcBytes = static_cast<std::size_t>(src.width) * 4;
  const std::size_t dstBytes = static_cast<std::size_t>(dst.width) * 4;
  for (int y = 0; y < src.height; ++y) {
    const Tpx32s* s = row(pSrc, srcStep, y);
    Tpx32s* d = row(pDst, dstStep, top + y);
    const Tpx32s first = load(s);
    const Tpx32s last = load(s + src.width - 1);
    fillWords(d, left, first);
    // In place the row is already where it belongs.
    if (s != d + left) std::memmove(d + left, s, srcBytes);
    fillWords(d + left + src.width, right, last);
  }
  for (int y = top + src.height; y < dst.height; ++y) {
    std::memmove(row(pDst, dstStep, y), row(pDst, dstStep, y - 1), dstBytes);
  }
  const Tpx32s* firstDone = row(pDst, dstStep, top);
  for (int y = 0; y < top; ++y) std::memmove(row(pDst, dstStep, y), firstDone, dstBytes);
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT <= 1

// ----- Mirror -----------------------------------------------------------------

#if TPX_VARIANT == 0 || TPX_VARIANT == 2 || TPX_VARIANT == 4

TpxStatus checkMirror(const void* pSrc, const void* pDst, TpxiSize roi) {
  if (pSrc == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  return tpxStsNoErr;
}

#if TPX_ISA >= TPX_ISA_SSSE3
inline __m128i reverseBytes(__m128i v) {
  return _mm_shuffle_epi8(v, _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0));
}
#elif TPX_ISA >= TPX_ISA_SSE2
// Dwords reversed, then the words inside each dword, then the bytes inside
// each word.
inline __m128i reverseBytes(__m128i v) {
  v = _mm_shuffle_epi32(v, _MM_SHUFFLE(0, 1, 2, 3));
  v = _mm_shufflelo_epi16(v, _MM_SHUFFLE(2, 3, 0, 1));
  v = _mm_shufflehi_epi16(v, _MM_SHUFFLE(2, 3, 0, 1));
  return _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));
}
#endif

// d[n - 1 - x] = s[x].
void reverseRow8u(const Tpx8u* s, Tpx8u* d, int n) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  if (disjoint(s, d, static_cast<std::size_t>(n))) {
    for (; x + 16 <= n; x += 16) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + x));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + n - 16 - x), reverseBytes(v));
    }
  }
#endif
  for (; x < n; ++x) d[n - 1 - x] = s[x];
}

TpxStatus mirror8u(const Tpx8u* pSrc, int srcStep, Tpx8u* pDst, int dstStep, TpxiSize roi,
                   int flip) {
  const TpxStatus status = checkMirror(pSrc, pDst, roi);
  if (status != tpxStsNoErr) return status;
  if (flip < 0 || flip > 2) return tpxStsFlipErr;
  for (int y = 0; y < roi.height; ++y) {
    const Tpx8u* s = row(pSrc, srcStep, y);
    Tpx8u* d = row(pDst, dstStep, flip == 1 ? y : roi.height - 1 - y);
    if (flip == 0) {
      std::memmove(d, s, static_cast<std::size_t>(roi.width));
    } else {
      reverseRow8u(s, d, roi.width);
    }
  }
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0 || TPX_VARIANT == 2 || TPX_VARIANT == 4

#if TPX_VARIANT == 0 || TPX_VARIANT == 2

#if TPX_ISA >= TPX_ISA_SSE2
inline __m128i loadWords(const Tpx32s* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void storeWords(Tpx32s* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline __m128i reverseWords(__m128i v) { return _mm_shuffle_epi32(v, _MM_SHUFFLE(0, 1, 2, 3)); }
#endif

inline void swapWords(Tpx32s* a, Tpx32s* b) {
  const Tpx32s t = load(a);
  store(a, load(b));
  store(b, t);
}

// a[x] <-> b[x]. Swaps between overlapping rows depend on their order, so
// vectors are used only on rows that do not share memory.
void swapRows(Tpx32s* a, Tpx32s* b, int n) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  if (disjoint(a, b, static_cast<std::size_t>(n) * 4)) {
    for (; x + 4 <= n; x += 4) {
      const __m128i va = loadWords(a + x);
      storeWords(a + x, loadWords(b + x));
      storeWords(b + x, va);
    }
  }
#endif
  for (; x < n; ++x) swapWords(a + x, b + x);
}

// a[x] <-> b[n - 1 - x] for every x.
void swapReversed(Tpx32s* a, Tpx32s* b, int n) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  if (disjoint(a, b, static_cast<std::size_t>(n) * 4)) {
    for (; x + 4 <= n; x += 4) {
      const __m128i va = loadWords(a + x);
      storeWords(a + x, reverseWords(loadWords(b + n - 4 - x)));
      storeWords(b + n - 4 - x, reverseWords(va));
    }
  }
#endif
  for (; x < n; ++x) swapWords(a + x, b + n - 1 - x);
}

// r[x] <-> r[n - 1 - x] for x < n / 2: the two ends move towards the middle
// four words at a time while their blocks stay apart.
void reverseWordsInPlace(Tpx32s* r, int n) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  for (; x + 4 <= n / 2; x += 4) {
    const __m128i lo = loadWords(r + x);
    storeWords(r + x, reverseWords(loadWords(r + n - 4 - x)));
    storeWords(r + n - 4 - x, reverseWords(lo));
  }
#endif
  for (; x < n / 2; ++x) swapWords(r + x, r + n - 1 - x);
}

TpxStatus mirror32s(Tpx32s* p, int step, TpxiSize roi, int flip) {
  const TpxStatus status = checkMirror(p, p, roi);
  if (status != tpxStsNoErr) return status;
  const int w = roi.width;
  const int h = roi.height;
  if (flip == 0) {
    if (h < 2) return tpxStsNoErr;
    for (int y = 0; y < h / 2; ++y) swapRows(row(p, step, y), row(p, step, h - 1 - y), w);
    return tpxStsNoErr;
  }
  if (flip == 1) {
    for (int y = 0; y < h; ++y) reverseWordsInPlace(row(p, step, y), w);
    return tpxStsNoErr;
  }
  if (flip == 2) {
    for (int y = 0; y < h / 2; ++y) swapReversed(row(p, step, y), row(p, step, h - 1 - y), w);
    if (h % 2 != 0) reverseWordsInPlace(row(p, step, h / 2), w);
    return tpxStsNoErr;
  }
  return tpxStsFlipErr;
}

// ----- Transpose --------------------------------------------------------------

constexpr int kTransposeBlock = 16;

inline Tpx32s* at(Tpx32s* p, int step, int y, int x) { return row(p, step, y) + x; }

// The blocked order: diagonal blocks transposed in place, each block above
// the diagonal exchanged, transposed, with its mirror below. Element by
// element, so that rows sharing memory (steps below the row length) give
// one defined result.
void transposeScalar(Tpx32s* p, int step, int n) {
  const int b = n < kTransposeBlock ? n : kTransposeBlock;
  for (int bi = 0; bi < n; bi += b) {
    const int ei = bi + b < n ? bi + b : n;
    for (int bj = bi; bj < n; bj += b) {
      const int ej = bj + b < n ? bj + b : n;
      for (int i = bi; i < ei; ++i) {
        for (int j = bi == bj ? i + 1 : bj; j < ej; ++j) {
          swapWords(at(p, step, i, j), at(p, step, j, i));
        }
      }
    }
  }
}

#if TPX_ISA >= TPX_ISA_SSE2
inline void transpose4(__m128i& r0, __m128i& r1, __m128i& r2, __m128i& r3) {
  const __m128i t0 = _mm_unpacklo_epi32(r0, r1);
  const __m128i t1 = _mm_unpacklo_epi32(r2, r3);
  const __m128i t2 = _mm_unpackhi_epi32(r0, r1);
  const __m128i t3 = _mm_unpackhi_epi32(r2, r3);
  r0 = _mm_unpacklo_epi64(t0, t1);
  r1 = _mm_unpackhi_epi64(t0, t1);
  r2 = _mm_unpacklo_epi64(t2, t3);
  r3 = _mm_unpackhi_epi64(t2, t3);
}

// The 4 x 4 tile at (row i, column j), transposed, goes to (row j, column i)
// and the tile there, transposed, comes back (i == j: the tile in place).
inline void swapTiles(Tpx32s* p, int step, int i, int j) {
  __m128i a0 = loadWords(at(p, step, i, j)), a1 = loadWords(at(p, step, i + 1, j));
  __m128i a2 = loadWords(at(p, step, i + 2, j)), a3 = loadWords(at(p, step, i + 3, j));
  transpose4(a0, a1, a2, a3);
  if (i != j) {
    __m128i b0 = loadWords(at(p, step, j, i)), b1 = loadWords(at(p, step, j + 1, i));
    __m128i b2 = loadWords(at(p, step, j + 2, i)), b3 = loadWords(at(p, step, j + 3, i));
    transpose4(b0, b1, b2, b3);
    storeWords(at(p, step, i, j), b0);
    storeWords(at(p, step, i + 1, j), b1);
    storeWords(at(p, step, i + 2, j), b2);
    storeWords(at(p, step, i + 3, j), b3);
  }
  storeWords(at(p, step, j, i), a0);
  storeWords(at(p, step, j + 1, i), a1);
  storeWords(at(p, step, j + 2, i), a2);
  storeWords(at(p, step, j + 3, i), a3);
}

// On rows that do not overlap every swap touches its own two words, so the
// order is free: 4 x 4 tiles inside the 16 x 16 blocks over the largest
// multiple of 4, then single swaps for the pairs in the last columns.
void transposeVector(Tpx32s* p, int step, int n) {
  const int n4 = n & ~3;
  for (int bi = 0; bi < n4; bi += kTransposeBlock) {
    const int ei = bi + kTransposeBlock < n4 ? bi + kTransposeBlock : n4;
    for (int bj = bi; bj < n4; bj += kTransposeBlock) {
      const int ej = bj + kTransposeBlock < n4 ? bj + kTransposeBlock : n4;
      for (int i = bi; i < ei; i += 4) {
        for (int j = bi == bj ? i : bj; j < ej; j += 4) swapTiles(p, step, i, j);
      }
    }
  }
  for (int i = 0; i < n; ++i) {
    for (int j = i + 1 > n4 ? i + 1 : n4; j < n; ++j) {
      swapWords(at(p, step, i, j), at(p, step, j, i));
    }
  }
}
#endif

TpxStatus transpose(Tpx32s* p, int step, TpxiSize roi) {
  if (p == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1 || roi.width != roi.height) return tpxStsSizeErr;
  const int n = roi.width;
#if TPX_ISA >= TPX_ISA_SSE2
  const int64_t rowBytes = int64_t{n} * 4;
  if (step >= rowBytes || -int64_t{step} >= rowBytes) {
    transposeVector(p, step, n);
    return tpxStsNoErr;
  }
#endif
  transposeScalar(p, step, n);
  return tpxStsNoErr;
}

// ----- Ramp -------------------------------------------------------------------

// (float)coordinate * slope + offset, two single-precision roundings.
inline float rampValue(int32_t coordinate, float slope, float offset) {
  return static_cast<float>(coordinate) * slope + offset;
}

// The rule on the coordinates c, c + d, c + 2d, ... (wrapping 32-bit
// integers), one value per pixel.
void rampRow(Tpx32f* d, int n, uint32_t c, uint32_t inc, float slope, float offset) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  // The integer coordinates advance by adding, exactly, and each is then
  // converted, multiplied and offset like the scalar rule.
  __m128i coords =
      _mm_add_epi32(_mm_set1_epi32(static_cast<int32_t>(c)),
                    _mm_setr_epi32(0, static_cast<int32_t>(inc), static_cast<int32_t>(2u * inc),
                                   static_cast<int32_t>(3u * inc)));
  const __m128i advance = _mm_set1_epi32(static_cast<int32_t>(4u * inc));
  const __m128 s = _mm_set1_ps(slope);
  const __m128 o = _mm_set1_ps(offset);
  for (; x + 4 <= n; x += 4) {
    _mm_storeu_ps(d + x, _mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(coords), s), o));
    coords = _mm_add_epi32(coords, advance);
  }
  c += static_cast<uint32_t>(x) * inc;
#endif
  for (; x < n; ++x, c += inc) store(d + x, rampValue(static_cast<int32_t>(c), slope, offset));
}

// The largest width whose row buffer size, 4 * width + 36 bytes, fits the
// allocator's 32-bit count.
constexpr int kMaxRampBufferWidth = static_cast<int>((UINT32_MAX - 36u) / 4u);

TpxStatus ramp(Tpx32f* pDst, int dstStep, TpxiSize roi, float offset, float slope, int direction) {
  if (pDst == nullptr) return tpxStsNullPtrErr;
  if (dstStep < 1) return tpxStsStepErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  // Whole elements: a step of 4w + 3 bytes advances like 4w.
  const std::ptrdiff_t stride = dstStep / 4;
  const int w = roi.width;
  const int h = roi.height;
  if (direction == tpxRampAlongX) {
    if (w > kMaxRampBufferWidth) return tpxStsMemAllocErr;
    Tpx32f* buffer = tpx::px::tpxsMalloc_32f(w);
    if (buffer == nullptr) return tpxStsMemAllocErr;
    rampRow(buffer, w, 0, 1, slope, offset);
    for (int y = 0; y < h; ++y) {
      std::memmove(pDst + y * stride, buffer, static_cast<std::size_t>(w) * 4);
    }
    tpx::px::tpxsFree(buffer);
    return tpxStsNoErr;
  }
  if (direction == tpxRampAlongY) {
    for (int y = 0; y < h; ++y)
      rampRow(pDst + y * stride, w, static_cast<uint32_t>(y), 0, slope, offset);
    return tpxStsNoErr;
  }
  if (direction == tpxRampAlongXY) {
    // Row y holds the products 0, y, 2y, ... as wrapping 32-bit integers.
    for (int y = 0; y < h; ++y) {
      rampRow(pDst + y * stride, w, 0, static_cast<uint32_t>(y), slope, offset);
    }
    return tpxStsNoErr;
  }
  // An unknown direction is not an error and writes nothing.
  return tpxStsNoErr;
}

// ----- Two-sided threshold ----------------------------------------------------

// A signed key whose integer order is the order of the float bit patterns:
// non-negative patterns keep their value, negative ones have their magnitude
// bits inverted, so -0 sits just below +0, +NaN above +Inf and -NaN below
// -Inf.
inline int32_t orderKey(uint32_t bits) {
  const uint32_t sign = static_cast<uint32_t>(static_cast<int32_t>(bits) >> 31);
  return static_cast<int32_t>(bits ^ (sign & 0x7FFFFFFFu));
}

struct Thresholds {
  int32_t keyLT, keyGT;
  uint32_t valueLT, valueGT;  // bit patterns, stored unchanged
};

void thresholdRow(const Tpx32f* s, Tpx32f* d, int n, const Thresholds& t) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  // Each comparison needs at most one xor instead of the whole key. Against
  // a non-negative key the pattern itself orders correctly (every negative
  // pattern is below it, as its key would be). Against a negative key it is
  // enough to invert the magnitude bits of every pattern: negative ones get
  // their key, non-negative ones stay non-negative and so above it.
  const __m128i flipLT = _mm_set1_epi32(t.keyLT < 0 ? 0x7FFFFFFF : 0);
  const __m128i flipGT = _mm_set1_epi32(t.keyGT < 0 ? 0x7FFFFFFF : 0);
  const __m128i keyLT = _mm_set1_epi32(t.keyLT);
  const __m128i keyGT = _mm_set1_epi32(t.keyGT);
  const __m128i valueLT = _mm_set1_epi32(static_cast<int32_t>(t.valueLT));
  const __m128i valueGT = _mm_set1_epi32(static_cast<int32_t>(t.valueGT));
  for (; x + 4 <= n; x += 4) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + x));
    const __m128i below = _mm_cmpgt_epi32(keyLT, _mm_xor_si128(v, flipLT));
    const __m128i above = _mm_cmpgt_epi32(_mm_xor_si128(v, flipGT), keyGT);
    __m128i r = _mm_or_si128(_mm_and_si128(above, valueGT), _mm_andnot_si128(above, v));
    r = _mm_or_si128(_mm_and_si128(below, valueLT), _mm_andnot_si128(below, r));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + x), r);
  }
#endif
  for (; x < n; ++x) {
    const uint32_t v = bitsOf(load(s + x));
    const int32_t key = orderKey(v);
    const uint32_t r = key < t.keyLT ? t.valueLT : key > t.keyGT ? t.valueGT : v;
    store(d + x, fromBits(r));
  }
}

TpxStatus threshold(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst, int dstStep, TpxiSize roi,
                    float thresholdLT, float valueLT, float thresholdGT, float valueGT) {
  if (pSrc == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  if (srcStep < 1 || dstStep < 1) return tpxStsStepErr;
  if (thresholdLT > thresholdGT) return tpxStsThreshBoundsErr;
  const Thresholds t{orderKey(bitsOf(thresholdLT)), orderKey(bitsOf(thresholdGT)), bitsOf(valueLT),
                     bitsOf(valueGT)};
  // Whole elements per row, as the ramp.
  const std::ptrdiff_t srcStride = srcStep / 4;
  const std::ptrdiff_t dstStride = dstStep / 4;
  for (int y = 0; y < roi.height; ++y) {
    thresholdRow(pSrc + y * srcStride, pDst + y * dstStride, roi.width, t);
  }
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0 || TPX_VARIANT == 2

}  // namespace
}  // namespace tpx::TPX_NS

#if TPX_VARIANT <= 1

TpxStatus tpx::TPX_NS::tpxiCopyReplicateBorder_32s_C1R(const Tpx32s* pSrc, int srcStep,
                                                       TpxiSize srcRoiSize, Tpx32s* pDst,
                                                       int dstStep, TpxiSize dstRoiSize,
                                                       int topBorderHeight, int leftBorderWidth) {
  return replicateBorder(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize, topBorderHeight,
                         leftBorderWidth);
}

#endif

#if TPX_VARIANT == 0 || TPX_VARIANT == 2 || TPX_VARIANT == 4

TpxStatus tpx::TPX_NS::tpxiMirror_8u_C1R(const Tpx8u* pSrc, int srcStep, Tpx8u* pDst, int dstStep,
                                         TpxiSize roiSize, TpxiFlipMode flip) {
  return mirror8u(pSrc, srcStep, pDst, dstStep, roiSize, flip);
}

#endif

#if TPX_VARIANT == 0 || TPX_VARIANT == 2

TpxStatus tpx::TPX_NS::tpxiMirror_32s_C1IR(Tpx32s* pSrcDst, int srcDstStep, TpxiSize roiSize,
                                           TpxiFlipMode flip) {
  return mirror32s(pSrcDst, srcDstStep, roiSize, flip);
}

TpxStatus tpx::TPX_NS::tpxiTranspose_32s_C1IR(Tpx32s* pSrcDst, int srcDstStep, TpxiSize roiSize) {
  return transpose(pSrcDst, srcDstStep, roiSize);
}

TpxStatus tpx::TPX_NS::tpxiImageRamp_32f_C1R(Tpx32f* pDst, int dstStep, TpxiSize roiSize,
                                             Tpx32f offset, Tpx32f slope,
                                             TpxiRampDirection direction) {
  return ramp(pDst, dstStep, roiSize, offset, slope, direction);
}

TpxStatus tpx::TPX_NS::tpxiThreshold_LTValGTVal_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                        Tpx32f* pDst, int dstStep, TpxiSize roiSize,
                                                        Tpx32f thresholdLT, Tpx32f valueLT,
                                                        Tpx32f thresholdGT, Tpx32f valueGT) {
  return threshold(pSrc, srcStep, pDst, dstStep, roiSize, thresholdLT, valueLT, thresholdGT,
                   valueGT);
}

TpxStatus tpx::TPX_NS::tpxiThreshold_LTValGTVal_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep,
                                                         TpxiSize roiSize, Tpx32f thresholdLT,
                                                         Tpx32f valueLT, Tpx32f thresholdGT,
                                                         Tpx32f valueGT) {
  return threshold(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize, thresholdLT, valueLT,
                   thresholdGT, valueGT);
}

#endif
