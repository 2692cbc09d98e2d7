// Linear filters: a rectangular kernel on 8u, 16s and 32f images, and a row or
// column kernel on 32f images, applied as a true convolution (kernel flipped).
//
// No border is generated: the neighbourhood of every destination pixel is
// read from the caller's memory around the region. Every sum starts from zero
// and adds its products in ascending source position (neighbourhood rows top
// to bottom, each row left to right, which is the kernel taken from its last
// tap backwards). Rows advance by step / element size, rounded down.
//
// Results per type:
//   8u   32-bit integer sum (wrapping), then the divisor plan: as is, a
//        round-half-up shift for powers of two, otherwise a multiplication by
//        the single-precision reciprocal in double; saturated to 0..255.
//   16s  the divisor is folded into float taps, (float)K x (float)(1/d); the
//        sum of src x tap is rounded half away from zero and saturated.
//   32f  generic: the sum kept in long double and rounded once.
//
// Vector paths take groups of adjacent destination pixels (16, or 8 for 16s,
// then 4), with each tap loaded once per group:
//   8u   SSE2 pmaddwd on pairs of adjacent taps; at the SSSE3 level, kernels
//        of small taps multiply the bytes directly (pmaddubsw) in 16-bit
//        lanes. Integer sums are the same whatever the order, so the bytes
//        equal the generic ones.
//   16s  SSE2 double sums. They are exact, and so equal to the generic long
//        double sums, whenever every partial sum fits 53 bits; that is decided
//        once per call from the taps (exactSumsInDouble), and kernels that do
//        not qualify run the generic loop in every variant.
//   32f  SSE single-precision sums in the same order, two rows per pass: they
//        differ from the extended-precision generic result by float rounding
//        only.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/alloc.h"
#include "core/image.h"

// Copies built: generic (0), SSE (1: 32f), SSE2 (2: 8u and 16s, also serving
// index 3) and SSSE3 (4: 8u). The SSE3 level adds nothing a filter can use.
#if TPX_VARIANT != 3

namespace tpx::TPX_NS {
namespace {

using std::ptrdiff_t;

// ----- Geometry ------------------------------------------------------------------

// Where a call reads and writes, in whole elements.
template <typename T>
struct Frame {
  const T* origin;  // source pixel the last kernel cell multiplies for dst(0, 0)
  ptrdiff_t srcStride;
  T* dst;
  ptrdiff_t dstStride;
  int width, height;
  int kw, kh;
};

// Rows advance by whole elements; the anchor only moves the neighbourhood.
// The offsets are formed in 64 bits so that a far-off anchor cannot overflow
// an int on the way.
template <typename T>
Frame<T> makeFrame(const T* pSrc, int srcStep, T* pDst, int dstStep, TpxiSize roi, int kw, int kh,
                   int ax, int ay) {
  Frame<T> f;
  f.srcStride = srcStep / static_cast<int>(sizeof(T));
  f.dstStride = dstStep / static_cast<int>(sizeof(T));
  const int64_t top = int64_t(ay) - (kh - 1);
  const int64_t left = int64_t(ax) - (kw - 1);
  f.origin = pSrc + static_cast<ptrdiff_t>(top * f.srcStride + left);
  f.dst = pDst;
  f.width = roi.width;
  f.height = roi.height;
  f.kw = kw;
  f.kh = kh;
  return f;
}

// ----- The scalar rule -----------------------------------------------------------

// One product. 8u products wrap like the 32-bit sum they go into (unsigned
// arithmetic, so that a kernel that overflows is not undefined behaviour).
inline uint32_t term(Tpx8u s, Tpx32s k) { return uint32_t(s) * uint32_t(k); }
inline long double term(Tpx16s s, Tpx32f t) {
  return static_cast<long double>(s) * static_cast<long double>(t);
}
inline long double term(Tpx32f s, Tpx32f t) {
  return static_cast<long double>(s) * static_cast<long double>(t);
}

// The integer rules are not built into the SSE copy, which serves only the
// 32f filters (the integer filters run generic code below SSE2).
#if TPX_VARIANT != 1

// The divisor plan of the 8u filter.
// kReciprocalSingle is the vector paths' own: the reciprocal mode evaluated
// in single precision, used only where it was checked to round every
// possible sum as the double rule does (singleRoundsAlike).
struct DivisorPlan {
  enum Mode { kNone = 0, kShift = 1, kReciprocal = 2, kReciprocalSingle = 3 } mode;
  int shift;
  int addend;
  float reciprocal;
};

DivisorPlan makePlan(int divisor) {
  DivisorPlan plan{DivisorPlan::kNone, 0, 0, 1.0f};
  const uint32_t d = static_cast<uint32_t>(divisor);
  // -2^31 passes the power-of-two test too, but a right shift would turn
  // "divide by a negative number" into "divide by a positive one"; the
  // reciprocal keeps its sign (a positive sum gives 0).
  if (divisor == 1) {
    plan.mode = DivisorPlan::kNone;
  } else if (((d - 1) & (d | 0x80000000u)) == 0 && divisor > 0) {
    plan.mode = DivisorPlan::kShift;
    while ((1u << plan.shift) != d) ++plan.shift;
    plan.addend = 1 << (plan.shift - 1);
  } else {
    plan.mode = DivisorPlan::kReciprocal;
    plan.reciprocal = static_cast<float>(1.0 / divisor);
  }
  return plan;
}

inline Tpx8u finish8u(uint32_t sum, const DivisorPlan& plan) {
  const int32_t s = static_cast<int32_t>(sum);
  int64_t v;
  switch (plan.mode) {
    case DivisorPlan::kNone:
      v = s;
      break;
    case DivisorPlan::kShift:
      // In 64 bits: sum + addend can pass 2^31 - 1.
      v = s <= 0 ? 0 : (int64_t(s) + plan.addend) >> plan.shift;
      break;
    default: {
      // Deliberately a multiplication by the stored single-precision
      // reciprocal, evaluated in double; clamped before the truncation so
      // that no conversion can overflow.
      const double p = double(s) * double(plan.reciprocal);
      const double t = p + 0.5;
      v = p <= 0.0 ? 0 : t >= 255.0 ? 255 : static_cast<int64_t>(t);
      break;
    }
  }
  return static_cast<Tpx8u>(v < 0 ? 0 : v > 255 ? 255 : v);
}

inline Tpx16s finish16s(long double v) {
  if (v > 0) v += 0.5L;
  if (v < 0) v -= 0.5L;
  if (v > 32767) return 32767;
  if (v < -32768) return -32768;
  return static_cast<Tpx16s>(static_cast<int32_t>(v));
}

#endif  // TPX_VARIANT != 1

inline Tpx32f finish32f(long double v) { return static_cast<Tpx32f>(v); }

// One destination pixel: the sum over the neighbourhood in ascending source
// position, that is the kernel from its last cell backwards.
template <typename T, typename Tap>
inline auto sumAt(const Frame<T>& f, const Tap* pKernel, int x, int y) {
  decltype(term(T(), Tap())) s = 0;
  for (int r = 0; r < f.kh; ++r) {
    const T* src = f.origin + (ptrdiff_t(y) + r) * f.srcStride + x;
    const Tap* taps = pKernel + ptrdiff_t(f.kh - 1 - r) * f.kw + (f.kw - 1);
    for (int c = 0; c < f.kw; ++c) s += term(load(src + c), load(taps - c));
  }
  return s;
}

// Pixels x0 .. x1-1 of row y one at a time (the tails of the vector paths).
template <typename T, typename Tap, typename Finish>
void filterPixels(const Frame<T>& f, const Tap* pKernel, int y, int x0, int x1, Finish finish) {
  T* d = f.dst + ptrdiff_t(y) * f.dstStride;
  for (int x = x0; x < x1; ++x) store(d + x, finish(sumAt(f, pKernel, x, y)));
}

// The generic filter: four adjacent pixels per pass with four running sums,
// each tap loaded once for the four, then the row's last 0-3 pixels one at a
// time. Each pixel's terms come in the same order either way.
template <typename T, typename Tap, typename Finish>
void filterGeneric(const Frame<T>& f, const Tap* pKernel, Finish finish) {
  using Acc = decltype(term(T(), Tap()));
  for (int y = 0; y < f.height; ++y) {
    T* d = f.dst + ptrdiff_t(y) * f.dstStride;
    int x = 0;
    for (; x + 4 <= f.width; x += 4) {
      Acc s0 = 0, s1 = 0, s2 = 0, s3 = 0;
      for (int r = 0; r < f.kh; ++r) {
        const T* src = f.origin + (ptrdiff_t(y) + r) * f.srcStride + x;
        const Tap* taps = pKernel + ptrdiff_t(f.kh - 1 - r) * f.kw + (f.kw - 1);
        for (int c = 0; c < f.kw; ++c) {
          const Tap k = load(taps - c);
          s0 += term(load(src + c), k);
          s1 += term(load(src + c + 1), k);
          s2 += term(load(src + c + 2), k);
          s3 += term(load(src + c + 3), k);
        }
      }
      store(d + x, finish(s0));
      store(d + x + 1, finish(s1));
      store(d + x + 2, finish(s2));
      store(d + x + 3, finish(s3));
    }
    filterPixels(f, pKernel, y, x, f.width, finish);
  }
}

// ----- Argument checks (shared by every variant) ---------------------------------

inline bool sizeBad(TpxiSize roi, int kw, int kh) {
  return roi.width < 1 || roi.height < 1 || kw < 1 || kh < 1;
}

// The source row must cover the region plus the kernel's extra columns.
inline bool stepsBad(int srcStep, int dstStep, TpxiSize roi, int kw, int64_t elemSize) {
  return int64_t(srcStep) < elemSize * (int64_t(roi.width) + kw - 1) ||
         int64_t(dstStep) < elemSize * int64_t(roi.width);
}

// ----- Vector paths --------------------------------------------------------------

// Taps prepared for a vector kernel, 16 bytes each: on the stack for
// ordinary kernels, from the aligned allocator for big ones. ok() is false
// when the allocation failed; the caller then runs the generic loop.
class TapTable {
 public:
  static constexpr int64_t kInline = 64;
  explicit TapTable(int64_t n) {
    if (n <= kInline) {
      data_ = inline_;
    } else if (n * 16 <= INT32_MAX) {
      data_ = mallocAligned(static_cast<int32_t>(n * 16));
      heap_ = true;
    }
  }
  ~TapTable() {
    if (heap_) freeAligned(data_);
  }
  TapTable(const TapTable&) = delete;
  TapTable& operator=(const TapTable&) = delete;

  bool ok() const { return data_ != nullptr; }
  template <typename V>
  V* as() {
    static_assert(sizeof(V) == 16, "one 16-byte vector per tap");
    return static_cast<V*>(data_);
  }

 private:
  alignas(16) unsigned char inline_[kInline * 16];
  void* data_ = nullptr;
  bool heap_ = false;
};

// The SSE copy serves the 32f filters at every index from 1 up.
#if TPX_VARIANT == 1

// 32f: one broadcast tap per kernel cell, in neighbourhood order (row r,
// column c multiplies K[kh-1-r][kw-1-c]).
void broadcastTaps32f(const Tpx32f* pKernel, int kw, int kh, __m128* taps) {
  for (int r = 0; r < kh; ++r) {
    for (int c = 0; c < kw; ++c) {
      taps[ptrdiff_t(r) * kw + c] =
          _mm_set1_ps(load(pKernel + ptrdiff_t(kh - 1 - r) * kw + (kw - 1 - c)));
    }
  }
}

// Pixels x .. x+15 of row y: four running sums of four pixels each.
inline void sums16x32f(const Frame<Tpx32f>& f, const __m128* taps, int x, int y, __m128 acc[4]) {
  __m128 a0 = _mm_setzero_ps(), a1 = a0, a2 = a0, a3 = a0;
  for (int r = 0; r < f.kh; ++r) {
    const Tpx32f* src = f.origin + (ptrdiff_t(y) + r) * f.srcStride + x;
    const __m128* t = taps + ptrdiff_t(r) * f.kw;
    for (int c = 0; c < f.kw; ++c) {
      const __m128 k = t[c];
      a0 = _mm_add_ps(a0, _mm_mul_ps(_mm_loadu_ps(src + c), k));
      a1 = _mm_add_ps(a1, _mm_mul_ps(_mm_loadu_ps(src + c + 4), k));
      a2 = _mm_add_ps(a2, _mm_mul_ps(_mm_loadu_ps(src + c + 8), k));
      a3 = _mm_add_ps(a3, _mm_mul_ps(_mm_loadu_ps(src + c + 12), k));
    }
  }
  acc[0] = a0;
  acc[1] = a1;
  acc[2] = a2;
  acc[3] = a3;
}

inline __m128 sums4x32f(const Frame<Tpx32f>& f, const __m128* taps, int x, int y) {
  __m128 a = _mm_setzero_ps();
  for (int r = 0; r < f.kh; ++r) {
    const Tpx32f* src = f.origin + (ptrdiff_t(y) + r) * f.srcStride + x;
    const __m128* t = taps + ptrdiff_t(r) * f.kw;
    for (int c = 0; c < f.kw; ++c) a = _mm_add_ps(a, _mm_mul_ps(_mm_loadu_ps(src + c), t[c]));
  }
  return a;
}

// The row's last 0-3 pixels with the vector path's single-precision sums,
// so that a pixel's value does not depend on where the row ends.
inline Tpx32f sum1x32f(const Frame<Tpx32f>& f, const Tpx32f* pKernel, int x, int y) {
  float s = 0.0f;
  for (int r = 0; r < f.kh; ++r) {
    const Tpx32f* src = f.origin + (ptrdiff_t(y) + r) * f.srcStride + x;
    const Tpx32f* taps = pKernel + ptrdiff_t(f.kh - 1 - r) * f.kw + (f.kw - 1);
    for (int c = 0; c < f.kw; ++c) s += load(src + c) * load(taps - c);
  }
  return s;
}

// Returns false (nothing written) when the tap table could not be had.
// Rows y and y+1 together, 16 pixels each: source row y+s is neighbourhood
// row s of the upper pixels and row s-1 of the lower ones, so each source
// vector is loaded once for both. Each pixel still adds its terms in the
// single-row order, so pairing rows changes no result.
// kKw > 0 fixes the kernel width at compile time (the common small kernels,
// fully unrolled); 0 takes it from kw.
template <int kKw, bool kUpper, bool kLower>
inline void twoRowStep(const Tpx32f* src, const __m128* tu, const __m128* tl, int kw, __m128 u[4],
                       __m128 l[4]) {
  const int n = kKw > 0 ? kKw : kw;
#pragma GCC unroll 8
  for (int c = 0; c < n; ++c) {
    const __m128 v0 = _mm_loadu_ps(src + c), v1 = _mm_loadu_ps(src + c + 4);
    const __m128 v2 = _mm_loadu_ps(src + c + 8), v3 = _mm_loadu_ps(src + c + 12);
    if constexpr (kUpper) {
      const __m128 k = tu[c];
      u[0] = _mm_add_ps(u[0], _mm_mul_ps(v0, k));
      u[1] = _mm_add_ps(u[1], _mm_mul_ps(v1, k));
      u[2] = _mm_add_ps(u[2], _mm_mul_ps(v2, k));
      u[3] = _mm_add_ps(u[3], _mm_mul_ps(v3, k));
    }
    if constexpr (kLower) {
      const __m128 k = tl[c];
      l[0] = _mm_add_ps(l[0], _mm_mul_ps(v0, k));
      l[1] = _mm_add_ps(l[1], _mm_mul_ps(v1, k));
      l[2] = _mm_add_ps(l[2], _mm_mul_ps(v2, k));
      l[3] = _mm_add_ps(l[3], _mm_mul_ps(v3, k));
    }
  }
}

template <int kKw>
inline void sums16x32fTwoRows(const Frame<Tpx32f>& f, const __m128* taps, int x, int y, __m128 u[4],
                              __m128 l[4]) {
  u[0] = u[1] = u[2] = u[3] = l[0] = l[1] = l[2] = l[3] = _mm_setzero_ps();
  const Tpx32f* src = f.origin + ptrdiff_t(y) * f.srcStride + x;
  twoRowStep<kKw, true, false>(src, taps, nullptr, f.kw, u, l);
  for (int s = 1; s < f.kh; ++s) {
    twoRowStep<kKw, true, true>(src + s * f.srcStride, taps + ptrdiff_t(s) * f.kw,
                                taps + ptrdiff_t(s - 1) * f.kw, f.kw, u, l);
  }
  twoRowStep<kKw, false, true>(src + f.kh * f.srcStride, nullptr, taps + ptrdiff_t(f.kh - 1) * f.kw,
                               f.kw, u, l);
}

inline void store16x32f(Tpx32f* d, const __m128 v[4]) {
  _mm_storeu_ps(d, v[0]);
  _mm_storeu_ps(d + 4, v[1]);
  _mm_storeu_ps(d + 8, v[2]);
  _mm_storeu_ps(d + 12, v[3]);
}

// Pixels from x on of row y: groups of 4, then one at a time.
inline void finishRow32f(const Frame<Tpx32f>& f, const __m128* taps, const Tpx32f* pKernel, int x,
                         int y) {
  Tpx32f* d = f.dst + ptrdiff_t(y) * f.dstStride;
  for (; x + 4 <= f.width; x += 4) _mm_storeu_ps(d + x, sums4x32f(f, taps, x, y));
  for (; x < f.width; ++x) store(d + x, sum1x32f(f, pKernel, x, y));
}

template <int kKw>
void filterRows32f(const Frame<Tpx32f>& f, const __m128* taps, const Tpx32f* pKernel) {
  int y = 0;
  for (; y + 2 <= f.height; y += 2) {
    Tpx32f* d = f.dst + ptrdiff_t(y) * f.dstStride;
    int x = 0;
    for (; x + 16 <= f.width; x += 16) {
      __m128 u[4], l[4];
      sums16x32fTwoRows<kKw>(f, taps, x, y, u, l);
      store16x32f(d + x, u);
      store16x32f(d + f.dstStride + x, l);
    }
    finishRow32f(f, taps, pKernel, x, y);
    finishRow32f(f, taps, pKernel, x, y + 1);
  }
  if (y < f.height) {
    Tpx32f* d = f.dst + ptrdiff_t(y) * f.dstStride;
    int x = 0;
    for (; x + 16 <= f.width; x += 16) {
      __m128 acc[4];
      sums16x32f(f, taps, x, y, acc);
      store16x32f(d + x, acc);
    }
    finishRow32f(f, taps, pKernel, x, y);
  }
}

// Returns false (nothing written) when the tap table could not be had.
bool filterVector32f(const Frame<Tpx32f>& f, const Tpx32f* pKernel) {
  TapTable table(int64_t(f.kw) * f.kh);
  if (!table.ok()) return false;
  __m128* taps = table.as<__m128>();
  broadcastTaps32f(pKernel, f.kw, f.kh, taps);
  switch (f.kw) {
    case 1:
      filterRows32f<1>(f, taps, pKernel);
      break;
    case 3:
      filterRows32f<3>(f, taps, pKernel);
      break;
    case 5:
      filterRows32f<5>(f, taps, pKernel);
      break;
    case 7:
      filterRows32f<7>(f, taps, pKernel);
      break;
    default:
      filterRows32f<0>(f, taps, pKernel);
      break;
  }
  return true;
}

#endif  // TPX_VARIANT == 1

#if TPX_ISA >= TPX_ISA_SSE2

// 8u: adjacent source columns c and c+1 are interleaved as 16-bit pairs and
// multiplied by their two taps with one pmaddwd. An odd last column pairs
// with itself under a zero tap. A tap outside 16 bits is split as
// lo + hi x 2^16 (lo signed 16 bits) and the hi products are added shifted
// left by 16: everything is modulo 2^32, as the scalar sum is.
struct PairTaps {
  __m128i* lo;
  __m128i* hi;  // null when every tap fits 16 bits
  int pairsPerRow;
};

inline uint32_t pairWord(int32_t first, int32_t second) {
  return (uint32_t(uint16_t(second)) << 16) | uint32_t(uint16_t(first));
}

// Splits k into lo (signed 16 bits) and hi with k == lo + hi x 2^16 mod 2^32.
inline void splitTap(int32_t k, int32_t* lo, int32_t* hi) {
  *lo = int16_t(uint16_t(uint32_t(k) & 0xFFFFu));
  *hi = int16_t(uint16_t((uint32_t(k) - uint32_t(*lo)) >> 16));
}

bool tapsFit16(const Tpx32s* pKernel, int64_t n) {
  for (int64_t i = 0; i < n; ++i) {
    const int32_t k = load(pKernel + i);
    if (k < -32768 || k > 32767) return false;
  }
  return true;
}

void buildPairTaps(const Tpx32s* pKernel, int kw, int kh, const PairTaps& p) {
  for (int r = 0; r < kh; ++r) {
    const Tpx32s* krow = pKernel + ptrdiff_t(kh - 1 - r) * kw;
    for (int q = 0; q < p.pairsPerRow; ++q) {
      const int c = 2 * q;
      const int32_t k0 = load(krow + (kw - 1 - c));
      const int32_t k1 = c + 1 < kw ? load(krow + (kw - 2 - c)) : 0;
      int32_t lo0, hi0, lo1, hi1;
      splitTap(k0, &lo0, &hi0);
      splitTap(k1, &lo1, &hi1);
      const ptrdiff_t i = ptrdiff_t(r) * p.pairsPerRow + q;
      if (p.hi != nullptr) {
        p.lo[i] = _mm_set1_epi32(static_cast<int>(pairWord(lo0, lo1)));
        p.hi[i] = _mm_set1_epi32(static_cast<int>(pairWord(hi0, hi1)));
      } else {
        p.lo[i] = _mm_set1_epi32(static_cast<int>(pairWord(k0, k1)));
      }
    }
  }
}

inline __m128i load4x8u(const Tpx8u* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return _mm_cvtsi32_si128(static_cast<int>(v));
}

// Sums of pixels x .. x+15 (kGroup 16) or x .. x+3 (kGroup 4), in acc[0..3]
// or acc[0].
template <int kGroup, bool kWide>
inline void sums8u(const Frame<Tpx8u>& f, const PairTaps& p, int x, int y, __m128i acc[4]) {
  const __m128i zero = _mm_setzero_si128();
  __m128i lo[4] = {zero, zero, zero, zero};
  __m128i hi[4] = {zero, zero, zero, zero};
  for (int r = 0; r < f.kh; ++r) {
    const Tpx8u* src = f.origin + (ptrdiff_t(y) + r) * f.srcStride + x;
    const ptrdiff_t base = ptrdiff_t(r) * p.pairsPerRow;
    for (int q = 0; q < p.pairsPerRow; ++q) {
      const int c = 2 * q;
      const bool odd = c + 1 >= f.kw;
      const __m128i tl = p.lo[base + q];
      if constexpr (kGroup == 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + c));
        const __m128i b = odd ? a : _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + c + 1));
        const __m128i ab0 = _mm_unpacklo_epi8(a, b);  // pixels 0-7 as pairs
        const __m128i ab1 = _mm_unpackhi_epi8(a, b);  // pixels 8-15
        const __m128i w0 = _mm_unpacklo_epi8(ab0, zero), w1 = _mm_unpackhi_epi8(ab0, zero);
        const __m128i w2 = _mm_unpacklo_epi8(ab1, zero), w3 = _mm_unpackhi_epi8(ab1, zero);
        lo[0] = _mm_add_epi32(lo[0], _mm_madd_epi16(w0, tl));
        lo[1] = _mm_add_epi32(lo[1], _mm_madd_epi16(w1, tl));
        lo[2] = _mm_add_epi32(lo[2], _mm_madd_epi16(w2, tl));
        lo[3] = _mm_add_epi32(lo[3], _mm_madd_epi16(w3, tl));
        if constexpr (kWide) {
          const __m128i th = p.hi[base + q];
          hi[0] = _mm_add_epi32(hi[0], _mm_madd_epi16(w0, th));
          hi[1] = _mm_add_epi32(hi[1], _mm_madd_epi16(w1, th));
          hi[2] = _mm_add_epi32(hi[2], _mm_madd_epi16(w2, th));
          hi[3] = _mm_add_epi32(hi[3], _mm_madd_epi16(w3, th));
        }
      } else {
        const __m128i a = load4x8u(src + c);
        const __m128i b = odd ? a : load4x8u(src + c + 1);
        const __m128i w0 = _mm_unpacklo_epi8(_mm_unpacklo_epi8(a, b), zero);
        lo[0] = _mm_add_epi32(lo[0], _mm_madd_epi16(w0, tl));
        if constexpr (kWide) hi[0] = _mm_add_epi32(hi[0], _mm_madd_epi16(w0, p.hi[base + q]));
      }
    }
  }
  for (int i = 0; i < (kGroup == 16 ? 4 : 1); ++i) {
    acc[i] = kWide ? _mm_add_epi32(lo[i], _mm_slli_epi32(hi[i], 16)) : lo[i];
  }
}

// The divisor plan on four sums, before saturation: the signed packs that
// follow clamp to 0..255, as the scalar rule does.
inline __m128i scale8u(__m128i s, const DivisorPlan& plan) {
  switch (plan.mode) {
    case DivisorPlan::kNone:
      return s;
    case DivisorPlan::kShift: {
      // sum + addend < 2^32 for a positive sum: a logical shift is exact.
      const __m128i positive = _mm_cmpgt_epi32(s, _mm_setzero_si128());
      const __m128i v = _mm_srl_epi32(_mm_add_epi32(s, _mm_set1_epi32(plan.addend)),
                                      _mm_cvtsi32_si128(plan.shift));
      return _mm_and_si128(v, positive);
    }
    default: {
      // |reciprocal| <= 1, so t = sum x reciprocal + 0.5 stays within
      // (-2^31, 2^31) and cvttpd2dq never overflows; the packs that follow
      // saturate, and a p <= 0 gives trunc(t) <= 0, which they turn into 0.
      const __m128d rec = _mm_set1_pd(double(plan.reciprocal));
      const __m128d half = _mm_set1_pd(0.5);
      const __m128d t0 = _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(s), rec), half);
      const __m128d t1 =
          _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(_mm_unpackhi_epi64(s, s)), rec), half);
      return _mm_unpacklo_epi64(_mm_cvttpd_epi32(t0), _mm_cvttpd_epi32(t1));
    }
    case DivisorPlan::kReciprocalSingle: {
      const __m128 t = _mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(s), _mm_set1_ps(plan.reciprocal)),
                                  _mm_set1_ps(0.5f));
      return _mm_cvttps_epi32(t);
    }
  }
}

// Whether the reciprocal mode gives the same bytes in single precision for
// every sum this kernel can produce. Sums lie within [255 x negative taps,
// 255 x positive taps]; kept within 2^24 they are exact as floats and never
// wrap. Rounding is monotonic, so a sum whose exact product is <= 0 or >= 256
// saturates alike either way; only the sums with a product in (0, 256) can
// differ, and they are tried one by one. Worth it only for images that are
// large beside that count.
bool singleRoundsAlike(const Tpx32s* pKernel, int64_t n, float r, int64_t pixels) {
  int64_t lo = 0, hi = 0;
  for (int64_t i = 0; i < n; ++i) {
    const int64_t k = load(pKernel + i);
    (k < 0 ? lo : hi) += 255 * k;
    if (-lo > (1 << 24) || hi > (1 << 24)) return false;
  }
  const double reach = 256.0 / std::fabs(double(r)) + 1.0;
  const int64_t from = r > 0 ? 1 : std::max(lo, -static_cast<int64_t>(reach));
  const int64_t to = r > 0 ? std::min(hi, static_cast<int64_t>(reach)) : -1;
  if (to - from > 65536 || pixels < 16 * (to - from)) return false;
  const auto clamp = [](int64_t v) { return v < 0 ? 0 : v > 255 ? 255 : v; };
  for (int64_t sum = from; sum <= to; ++sum) {
    const int64_t exact = static_cast<int64_t>(double(sum) * double(r) + 0.5);
    const int64_t single = static_cast<int64_t>(float(sum) * r + 0.5f);
    if (clamp(exact) != clamp(single)) return false;
  }
  return true;
}

#if TPX_ISA >= TPX_ISA_SSSE3

// SSSE3: pmaddubsw multiplies the interleaved source bytes by signed 8-bit
// taps directly, two terms per 16-bit lane. Exact when every tap fits 8 bits
// and the two taps of a lane have |k0| + |k1| <= 128 (no saturation), and the
// 16-bit running sums can be wrapped freely when the whole sum lies in a
// window of 65536: 255 x sum|k| <= 65535, with the least possible sum, low =
// 255 x (sum of negative taps), added back after widening. Any two terms may
// share a lane (integer sums do not depend on the order), so the taps are
// paired across columns and rows alike and zero taps are dropped.
struct BytePairs {
  static constexpr int kMax = 64;
  __m128i taps[kMax];
  ptrdiff_t offA[kMax], offB[kMax];  // element offsets in the neighbourhood
  int count;
  int32_t low;
};

bool buildBytePairs(const Frame<Tpx8u>& f, const Tpx32s* pKernel, BytePairs* bp) {
  int64_t absSum = 0, negSum = 0;
  bp->count = 0;
  bool pending = false;
  int32_t pk = 0;
  ptrdiff_t poff = 0;
  const auto emit = [bp](ptrdiff_t offA, int32_t kA, ptrdiff_t offB, int32_t kB) {
    if (bp->count == BytePairs::kMax) return false;
    const int word = int(uint8_t(int8_t(kA))) | (int(uint8_t(int8_t(kB))) << 8);
    bp->taps[bp->count] = _mm_set1_epi16(static_cast<short>(word));
    bp->offA[bp->count] = offA;
    bp->offB[bp->count] = offB;
    ++bp->count;
    return true;
  };
  for (int r = 0; r < f.kh; ++r) {
    for (int c = 0; c < f.kw; ++c) {
      const int32_t k = load(pKernel + ptrdiff_t(f.kh - 1 - r) * f.kw + (f.kw - 1 - c));
      if (k == 0) continue;
      if (k < -128 || k > 127) return false;
      absSum += k < 0 ? -k : k;
      if (k < 0) negSum += k;
      if (255 * absSum > 65535) return false;
      const ptrdiff_t off = r * f.srcStride + c;
      const int32_t both = (pk < 0 ? -pk : pk) + (k < 0 ? -k : k);
      if (pending && both <= 128) {
        if (!emit(poff, pk, off, k)) return false;
        pending = false;
      } else {
        if (pending && !emit(poff, pk, poff, 0)) return false;
        pk = k;
        poff = off;
        pending = true;
      }
    }
  }
  if (pending && !emit(poff, pk, poff, 0)) return false;
  bp->low = static_cast<int32_t>(255 * negSum);
  return true;
}

inline void sums16Bytes(const Frame<Tpx8u>& f, const BytePairs& bp, int x, int y, __m128i acc[4]) {
  const Tpx8u* base = f.origin + ptrdiff_t(y) * f.srcStride + x;
  __m128i lo = _mm_setzero_si128(), hi = lo;
  for (int i = 0; i < bp.count; ++i) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + bp.offA[i]));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + bp.offB[i]));
    lo = _mm_add_epi16(lo, _mm_maddubs_epi16(_mm_unpacklo_epi8(a, b), bp.taps[i]));
    hi = _mm_add_epi16(hi, _mm_maddubs_epi16(_mm_unpackhi_epi8(a, b), bp.taps[i]));
  }
  const __m128i zero = _mm_setzero_si128();
  const __m128i low16 = _mm_set1_epi16(static_cast<short>(bp.low));
  const __m128i low32 = _mm_set1_epi32(bp.low);
  lo = _mm_sub_epi16(lo, low16);
  hi = _mm_sub_epi16(hi, low16);
  acc[0] = _mm_add_epi32(_mm_unpacklo_epi16(lo, zero), low32);
  acc[1] = _mm_add_epi32(_mm_unpackhi_epi16(lo, zero), low32);
  acc[2] = _mm_add_epi32(_mm_unpacklo_epi16(hi, zero), low32);
  acc[3] = _mm_add_epi32(_mm_unpackhi_epi16(hi, zero), low32);
}

#endif  // TPX_ISA >= TPX_ISA_SSSE3

// sums16(x, y, acc) gives the sums of pixels x .. x+15; groups of four and
// the last pixels take the pair path and the scalar rule.
template <bool kWide, typename Sums16>
void filterRows8u(const Frame<Tpx8u>& f, const Tpx32s* pKernel, const PairTaps& p,
                  const DivisorPlan& plan, Sums16 sums16) {
  const auto finish = [&plan](uint32_t s) { return finish8u(s, plan); };
  for (int y = 0; y < f.height; ++y) {
    Tpx8u* d = f.dst + ptrdiff_t(y) * f.dstStride;
    int x = 0;
    for (; x + 16 <= f.width; x += 16) {
      __m128i acc[4];
      sums16(x, y, acc);
      const __m128i w0 = _mm_packs_epi32(scale8u(acc[0], plan), scale8u(acc[1], plan));
      const __m128i w1 = _mm_packs_epi32(scale8u(acc[2], plan), scale8u(acc[3], plan));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + x), _mm_packus_epi16(w0, w1));
    }
    for (; x + 4 <= f.width; x += 4) {
      __m128i acc[4];
      sums8u<4, kWide>(f, p, x, y, acc);
      const __m128i w = _mm_packs_epi32(scale8u(acc[0], plan), acc[0]);
      const uint32_t v = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(w, w)));
      std::memcpy(d + x, &v, 4);
    }
    filterPixels(f, pKernel, y, x, f.width, finish);
  }
}

bool filterVector8u(const Frame<Tpx8u>& f, const Tpx32s* pKernel, DivisorPlan plan) {
  const int64_t n = int64_t(f.kw) * f.kh;
  if (plan.mode == DivisorPlan::kReciprocal &&
      singleRoundsAlike(pKernel, n, plan.reciprocal, int64_t(f.width) * f.height)) {
    plan.mode = DivisorPlan::kReciprocalSingle;
  }
  const bool wide = !tapsFit16(pKernel, n);
  const int pairs = (f.kw + 1) / 2;
  const int64_t rows = int64_t(pairs) * f.kh;
  TapTable table(wide ? 2 * rows : rows);
  if (!table.ok()) return false;
  __m128i* taps = table.as<__m128i>();
  const PairTaps p{taps, wide ? taps + rows : nullptr, pairs};
  buildPairTaps(pKernel, f.kw, f.kh, p);
  if (wide) {
    filterRows8u<true>(f, pKernel, p, plan,
                       [&](int x, int y, __m128i* acc) { sums8u<16, true>(f, p, x, y, acc); });
    return true;
  }
#if TPX_ISA >= TPX_ISA_SSSE3
  BytePairs bp;
  if (buildBytePairs(f, pKernel, &bp)) {
    filterRows8u<false>(f, pKernel, p, plan,
                        [&](int x, int y, __m128i* acc) { sums16Bytes(f, bp, x, y, acc); });
    return true;
  }
#endif
  filterRows8u<false>(f, pKernel, p, plan,
                      [&](int x, int y, __m128i* acc) { sums8u<16, false>(f, p, x, y, acc); });
  return true;
}

#endif  // TPX_ISA >= TPX_ISA_SSE2

#if TPX_VARIANT == 2

// 16s: the double sums of the vector path equal the generic long double sums
// when they are exact. Every product s x t (16-bit s, float t) is a multiple
// of 2^m, m the lowest bit weight among the taps, and so is every partial sum
// and, for m <= -1, the sum +- 0.5 of the rounding; all are bounded by
// 32768 x sum|t| + 0.5. Below 2^(53 + min(m, -1)) units, with a factor two to
// spare for the rounded bound, double represents them all exactly.
bool exactSumsInDouble(const Tpx32f* pTaps, int64_t n) {
  int lowest = 0;
  double total = 0.0;
  bool any = false;
  for (int64_t i = 0; i < n; ++i) {
    const float t = load(pTaps + i);
    uint32_t bits;
    std::memcpy(&bits, &t, 4);
    const int exponent = int((bits >> 23) & 0xFF);
    uint32_t mantissa = bits & 0x7FFFFFu;
    if (exponent == 0xFF) return false;
    if (exponent == 0 && mantissa == 0) continue;
    // value = significand x 2^(e - 150) for normals, mantissa x 2^-149 else.
    int unit = exponent == 0 ? -149 : exponent - 150;
    if (exponent != 0) mantissa |= 0x800000u;
    while ((mantissa & 1u) == 0) {
      mantissa >>= 1;
      ++unit;
    }
    lowest = any ? (unit < lowest ? unit : lowest) : unit;
    any = true;
    total += std::fabs(double(t));
  }
  if (!any) return true;
  const int m = lowest < -1 ? lowest : -1;
  const double bound = 32768.0 * total * (1.0 + 0x1p-40) + 1.0;
  return bound < std::ldexp(1.0, 52 + m);
}

void broadcastTaps16s(const Tpx32f* pTaps, int kw, int kh, __m128d* taps) {
  for (int r = 0; r < kh; ++r) {
    for (int c = 0; c < kw; ++c) {
      taps[ptrdiff_t(r) * kw + c] =
          _mm_set1_pd(double(load(pTaps + ptrdiff_t(kh - 1 - r) * kw + (kw - 1 - c))));
    }
  }
}

// Eight 16-bit values (or the low four) as doubles, two per register.
inline void widen16s(__m128i v, __m128d out[4]) {
  const __m128i lo = _mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16);
  const __m128i hi = _mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16);
  out[0] = _mm_cvtepi32_pd(lo);
  out[1] = _mm_cvtepi32_pd(_mm_unpackhi_epi64(lo, lo));
  out[2] = _mm_cvtepi32_pd(hi);
  out[3] = _mm_cvtepi32_pd(_mm_unpackhi_epi64(hi, hi));
}

// Pixels x .. x+kGroup-1 (8 or 4) of row y as kGroup / 2 double sums.
template <int kGroup>
inline void sums16s(const Frame<Tpx16s>& f, const __m128d* taps, int x, int y, __m128d acc[4]) {
  acc[0] = acc[1] = acc[2] = acc[3] = _mm_setzero_pd();
  for (int r = 0; r < f.kh; ++r) {
    const Tpx16s* src = f.origin + (ptrdiff_t(y) + r) * f.srcStride + x;
    const __m128d* t = taps + ptrdiff_t(r) * f.kw;
    for (int c = 0; c < f.kw; ++c) {
      __m128d s[4];
      if constexpr (kGroup == 8) {
        widen16s(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + c)), s);
      } else {
        widen16s(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + c)), s);
      }
      for (int i = 0; i < kGroup / 2; ++i) acc[i] = _mm_add_pd(acc[i], _mm_mul_pd(s[i], t[c]));
    }
  }
}

// Round half away from zero (v + 0.5 x sign(v), exact here), saturate, and
// truncate: the clamp comes first so that cvttpd2dq never overflows.
inline __m128i round16s(__m128d v) {
  const __m128d sign = _mm_and_pd(v, _mm_set1_pd(-0.0));
  v = _mm_add_pd(v, _mm_or_pd(_mm_set1_pd(0.5), sign));
  v = _mm_min_pd(_mm_max_pd(v, _mm_set1_pd(-32768.0)), _mm_set1_pd(32767.0));
  return _mm_cvttpd_epi32(v);
}

inline __m128i round4x16s(__m128d a, __m128d b) {
  return _mm_unpacklo_epi64(round16s(a), round16s(b));
}

bool filterVector16s(const Frame<Tpx16s>& f, const Tpx32f* pTaps) {
  const int64_t n = int64_t(f.kw) * f.kh;
  if (!exactSumsInDouble(pTaps, n)) return false;
  TapTable table(n);
  if (!table.ok()) return false;
  __m128d* taps = table.as<__m128d>();
  broadcastTaps16s(pTaps, f.kw, f.kh, taps);
  for (int y = 0; y < f.height; ++y) {
    Tpx16s* d = f.dst + ptrdiff_t(y) * f.dstStride;
    int x = 0;
    __m128d acc[4];
    for (; x + 8 <= f.width; x += 8) {
      sums16s<8>(f, taps, x, y, acc);
      const __m128i v = _mm_packs_epi32(round4x16s(acc[0], acc[1]), round4x16s(acc[2], acc[3]));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + x), v);
    }
    for (; x + 4 <= f.width; x += 4) {
      sums16s<4>(f, taps, x, y, acc);
      const __m128i w = round4x16s(acc[0], acc[1]);
      _mm_storel_epi64(reinterpret_cast<__m128i*>(d + x), _mm_packs_epi32(w, w));
    }
    filterPixels(f, pTaps, y, x, f.width, finish16s);
  }
  return true;
}

#endif  // TPX_VARIANT == 2

// ----- Kernels per type, for this variant ----------------------------------------

#if TPX_VARIANT <= 1

void run32f(const Frame<Tpx32f>& f, const Tpx32f* pKernel) {
#if TPX_ISA >= TPX_ISA_SSE
  if (filterVector32f(f, pKernel)) return;
#endif
  filterGeneric(f, pKernel, finish32f);
}

TpxStatus filter32f(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst, int dstStep, TpxiSize roi,
                    const Tpx32f* pKernel, int kw, int kh, int ax, int ay) {
  run32f(makeFrame(pSrc, srcStep, pDst, dstStep, roi, kw, kh, ax, ay), pKernel);
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT <= 1

}  // namespace
}  // namespace tpx::TPX_NS

// ----- Entries -------------------------------------------------------------------

#if TPX_VARIANT == 0 || TPX_VARIANT == 2 || TPX_VARIANT == 4

TpxStatus tpx::TPX_NS::tpxiFilter_8u_C1R(const Tpx8u* pSrc, int srcStep, Tpx8u* pDst, int dstStep,
                                         TpxiSize roiSize, const Tpx32s* pKernel,
                                         TpxiSize kernelSize, TpxiPoint anchor, int divisor) {
  if (pSrc == nullptr || pDst == nullptr || pKernel == nullptr) return tpxStsNullPtrErr;
  if (sizeBad(roiSize, kernelSize.width, kernelSize.height)) return tpxStsSizeErr;
  if (divisor == 0) return tpxStsDivisorErr;
  if (stepsBad(srcStep, dstStep, roiSize, kernelSize.width, 1)) return tpxStsStepErr;
  const DivisorPlan plan = makePlan(divisor);
  const Frame<Tpx8u> f = makeFrame(pSrc, srcStep, pDst, dstStep, roiSize, kernelSize.width,
                                   kernelSize.height, anchor.x, anchor.y);
#if TPX_ISA >= TPX_ISA_SSE2
  if (filterVector8u(f, pKernel, plan)) return tpxStsNoErr;
#endif
  filterGeneric(f, pKernel, [&plan](uint32_t s) { return finish8u(s, plan); });
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0 || TPX_VARIANT == 2 || TPX_VARIANT == 4

#if TPX_VARIANT == 0 || TPX_VARIANT == 2

// The divisor goes into the taps, so the inner filter needs float scratch
// taps; they are taken before the images are looked at and released on every
// path after that.
TpxStatus tpx::TPX_NS::tpxiFilter_16s_C1R(const Tpx16s* pSrc, int srcStep, Tpx16s* pDst,
                                          int dstStep, TpxiSize roiSize, const Tpx32s* pKernel,
                                          TpxiSize kernelSize, TpxiPoint anchor, int divisor) {
  if (pKernel == nullptr) return tpxStsNullPtrErr;
  if (kernelSize.width < 1 || kernelSize.height < 1) return tpxStsSizeErr;
  if (divisor == 0) return tpxStsDivisorErr;
  const int64_t n = int64_t(kernelSize.width) * kernelSize.height;
  Tpx32f* taps = n * 4 <= INT32_MAX ? static_cast<Tpx32f*>(mallocAligned(int32_t(n * 4))) : nullptr;
  if (taps == nullptr) return tpxStsMemAllocErr;
  const float reciprocal = static_cast<float>(1.0 / divisor);
  for (int64_t i = 0; i < n; ++i) {
    taps[i] = static_cast<float>(load(pKernel + i)) * reciprocal;
  }
  const TpxStatus status = table::tpxiFilter32f_16s_C1R[TPX_VARIANT](
      pSrc, srcStep, pDst, dstStep, roiSize, taps, kernelSize, anchor);
  freeAligned(taps);
  return status;
}

TpxStatus tpx::TPX_NS::tpxiFilter32f_16s_C1R(const Tpx16s* pSrc, int srcStep, Tpx16s* pDst,
                                             int dstStep, TpxiSize roiSize, const Tpx32f* pTaps,
                                             TpxiSize kernelSize, TpxiPoint anchor) {
  if (pSrc == nullptr || pDst == nullptr || pTaps == nullptr) return tpxStsNullPtrErr;
  if (sizeBad(roiSize, kernelSize.width, kernelSize.height)) return tpxStsSizeErr;
  if (stepsBad(srcStep, dstStep, roiSize, kernelSize.width, 2)) return tpxStsStepErr;
  const Frame<Tpx16s> f = makeFrame(pSrc, srcStep, pDst, dstStep, roiSize, kernelSize.width,
                                    kernelSize.height, anchor.x, anchor.y);
#if TPX_VARIANT == 2
  if (filterVector16s(f, pTaps)) return tpxStsNoErr;
#endif
  filterGeneric(f, pTaps, finish16s);
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0 || TPX_VARIANT == 2

#if TPX_VARIANT <= 1

TpxStatus tpx::TPX_NS::tpxiFilter_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                          int dstStep, TpxiSize roiSize, const Tpx32f* pKernel,
                                          TpxiSize kernelSize, TpxiPoint anchor) {
  if (pSrc == nullptr || pDst == nullptr || pKernel == nullptr) return tpxStsNullPtrErr;
  if (sizeBad(roiSize, kernelSize.width, kernelSize.height)) return tpxStsSizeErr;
  if (stepsBad(srcStep, dstStep, roiSize, kernelSize.width, 4)) return tpxStsStepErr;
  return filter32f(pSrc, srcStep, pDst, dstStep, roiSize, pKernel, kernelSize.width,
                   kernelSize.height, anchor.x, anchor.y);
}

TpxStatus tpx::TPX_NS::tpxiFilterRow_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                             int dstStep, TpxiSize roiSize, const Tpx32f* pKernel,
                                             int kernelSize, int xAnchor) {
  if (pSrc == nullptr || pDst == nullptr || pKernel == nullptr) return tpxStsNullPtrErr;
  if (sizeBad(roiSize, kernelSize, 1)) return tpxStsSizeErr;
  if (srcStep < 1 || dstStep < 1 || stepsBad(srcStep, dstStep, roiSize, kernelSize, 4)) {
    return tpxStsStepErr;
  }
  return filter32f(pSrc, srcStep, pDst, dstStep, roiSize, pKernel, kernelSize, 1, xAnchor, 0);
}

// A column kernel adds no columns to the source rows, so its step check is
// that of a 1-wide kernel.
TpxStatus tpx::TPX_NS::tpxiFilterColumn_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                                int dstStep, TpxiSize roiSize,
                                                const Tpx32f* pKernel, int kernelSize,
                                                int yAnchor) {
  if (pSrc == nullptr || pDst == nullptr || pKernel == nullptr) return tpxStsNullPtrErr;
  if (sizeBad(roiSize, 1, kernelSize)) return tpxStsSizeErr;
  if (stepsBad(srcStep, dstStep, roiSize, 1, 4)) return tpxStsStepErr;
  return filter32f(pSrc, srcStep, pDst, dstStep, roiSize, pKernel, 1, kernelSize, 0, yAnchor);
}

#endif  // TPX_VARIANT <= 1

#endif  // TPX_VARIANT != 3
