// Scaled integer arithmetic: Add, Sub, Mul and their constant forms on 8u
// and 16s images.
//
// Every result is the exact integer R of the operation (32-bit, it always
// fits) scaled by 2^-scaleFactor and saturated to the element range:
//   scaleFactor  0:  R
//   scaleFactor  s > 0: (R + 2^(s-1) - 1 + ((R >> s) & 1)) >> s, arithmetic
//                shift: round to nearest, ties to even, for either sign
//   scaleFactor -k < 0: R x 2^k (R is saturated to 16 bits first, which
//                changes nothing after the final saturation but keeps the
//                product inside 32 bits)
// Beyond fixed bounds per operation the answer is known without computing:
// above the upper bound every result is 0 and the destination is zero-filled
// by Set (whose status, including its step check, is returned); below the
// lower bound every nonzero R saturates, which is the shift-up path with a
// shift of 16. The path is chosen once per call.
//
// The SSE2 kernels (serving indices 2 to 4) apply the same integer formula
// to 16-bit lanes for 8u images and to 32-bit lanes for 16s images, and
// saturate while packing; with a scale factor of 0 the saturating 8- and
// 16-bit instructions give the same results directly. Indices 0 and 1 run
// the generic code.
#include "core/image.h"

#if TPX_VARIANT == 0 || TPX_VARIANT == 2

namespace tpx::TPX_NS {
namespace {

// ----- The scalar rule ---------------------------------------------------------

template <typename T>
struct Range;
template <>
struct Range<Tpx8u> {
  static constexpr int kLo = 0, kHi = 255;
};
template <>
struct Range<Tpx16s> {
  static constexpr int kLo = -32768, kHi = 32767;
};

template <typename T>
inline T saturate(int v) {
  return static_cast<T>(v < Range<T>::kLo ? Range<T>::kLo : v > Range<T>::kHi ? Range<T>::kHi : v);
}

enum class Path { kExact, kRoundDown, kShiftUp };

// shift is s for kRoundDown (bias = 2^(s-1) - 1) and k for kShiftUp; the
// sign short-cut is kShiftUp with k = 16, enough to saturate any R != 0.
struct Scale {
  Path path;
  int shift;
  int bias;
};
constexpr int kSignShift = 16;

template <Path P>
inline int scale(int r, const Scale& s) {
  if constexpr (P == Path::kExact) {
    return r;
  } else if constexpr (P == Path::kRoundDown) {
    return (r + s.bias + ((r >> s.shift) & 1)) >> s.shift;
  } else {
    const int c = r < -32768 ? -32768 : r > 32767 ? 32767 : r;
    return c * (1 << s.shift);  // |c| <= 2^15, shift <= 16: no overflow
  }
}

// The exact results. x is the first operand of the formula (the minuend of
// Sub), y the second.
struct Add {
  template <typename T>
  static int exact(int x, int y) {
    return x + y;
  }
};
struct Sub {
  template <typename T>
  static int exact(int x, int y) {
    // An 8-bit difference is clamped at 0 before it is scaled.
    const int r = x - y;
    return std::is_same_v<T, Tpx8u> && r < 0 ? 0 : r;
  }
};
struct Mul {
  template <typename T>
  static int exact(int x, int y) {
    return x * y;
  }
};

// ----- SSE2 block kernels ------------------------------------------------------

#if TPX_ISA >= TPX_ISA_SSE2

inline __m128i loadu(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void storeu(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

// A block is 16 bytes of elements: 16 pixels of 8u (four 32-bit lane
// groups) or 8 of 16s (two groups).
template <typename T>
constexpr int kGroups = 16 / sizeof(T) / 4;

inline void widenU16(__m128i v, __m128i* out) {
  const __m128i zero = _mm_setzero_si128();
  out[0] = _mm_unpacklo_epi16(v, zero);
  out[1] = _mm_unpackhi_epi16(v, zero);
}
inline void widenS16(__m128i v, __m128i* out) {
  out[0] = _mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16);
  out[1] = _mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16);
}
inline __m128i lo8(__m128i v) { return _mm_unpacklo_epi8(v, _mm_setzero_si128()); }
inline __m128i hi8(__m128i v) { return _mm_unpackhi_epi8(v, _mm_setzero_si128()); }

// Exact results of a block as 32-bit lanes.
template <class Op, typename T>
inline void exactLanes(__m128i x, __m128i y, __m128i* r) {
  if constexpr (std::is_same_v<T, Tpx8u>) {
    __m128i lo, hi;
    if constexpr (std::is_same_v<Op, Add>) {
      lo = _mm_add_epi16(lo8(x), lo8(y));
      hi = _mm_add_epi16(hi8(x), hi8(y));
    } else if constexpr (std::is_same_v<Op, Sub>) {
      const __m128i d = _mm_subs_epu8(x, y);  // clamped at 0
      lo = lo8(d);
      hi = hi8(d);
    } else {
      lo = _mm_mullo_epi16(lo8(x), lo8(y));  // exact as unsigned 16-bit
      hi = _mm_mullo_epi16(hi8(x), hi8(y));
    }
    widenU16(lo, r);
    widenU16(hi, r + 2);
  } else {
    if constexpr (std::is_same_v<Op, Mul>) {
      const __m128i lo = _mm_mullo_epi16(x, y);
      const __m128i hi = _mm_mulhi_epi16(x, y);
      r[0] = _mm_unpacklo_epi16(lo, hi);
      r[1] = _mm_unpackhi_epi16(lo, hi);
    } else {
      __m128i a[2], b[2];
      widenS16(x, a);
      widenS16(y, b);
      const bool add = std::is_same_v<Op, Add>;
      r[0] = add ? _mm_add_epi32(a[0], b[0]) : _mm_sub_epi32(a[0], b[0]);
      r[1] = add ? _mm_add_epi32(a[1], b[1]) : _mm_sub_epi32(a[1], b[1]);
    }
  }
}

// The scale of the rule on 32-bit lanes.
template <Path P>
struct VectorScale {
  explicit VectorScale(const Scale& s)
      : count(_mm_cvtsi32_si128(s.shift)), bias(_mm_set1_epi32(s.bias)), one(_mm_set1_epi32(1)) {}
  __m128i operator()(__m128i r) const {
    if constexpr (P == Path::kExact) {
      return r;
    } else if constexpr (P == Path::kRoundDown) {
      const __m128i odd = _mm_and_si128(_mm_sra_epi32(r, count), one);
      return _mm_sra_epi32(_mm_add_epi32(_mm_add_epi32(r, bias), odd), count);
    } else {
      // Saturate to 16 bits (pack, then sign-extend back), then shift.
      const __m128i p = _mm_packs_epi32(r, r);
      return _mm_sll_epi32(_mm_srai_epi32(_mm_unpacklo_epi16(p, p), 16), count);
    }
  }
  __m128i count, bias, one;
};

template <typename T>
inline __m128i packSaturated(const __m128i* r) {
  if constexpr (std::is_same_v<T, Tpx8u>) {
    return _mm_packus_epi16(_mm_packs_epi32(r[0], r[1]), _mm_packs_epi32(r[2], r[3]));
  } else {
    return _mm_packs_epi32(r[0], r[1]);
  }
}

// With no scaling, the saturating instructions give the rule directly.
template <class Op, typename T>
constexpr bool kHasSaturatingForm = !std::is_same_v<Op, Mul> || std::is_same_v<T, Tpx8u>;

template <class Op, typename T>
inline __m128i saturating(__m128i x, __m128i y) {
  if constexpr (std::is_same_v<T, Tpx8u>) {
    if constexpr (std::is_same_v<Op, Add>) return _mm_adds_epu8(x, y);
    if constexpr (std::is_same_v<Op, Sub>) return _mm_subs_epu8(x, y);
    // min(p, 255) for unsigned 16-bit p, as p - (p -sat 255).
    const __m128i k255 = _mm_set1_epi16(255);
    __m128i lo = _mm_mullo_epi16(lo8(x), lo8(y));
    __m128i hi = _mm_mullo_epi16(hi8(x), hi8(y));
    lo = _mm_sub_epi16(lo, _mm_subs_epu16(lo, k255));
    hi = _mm_sub_epi16(hi, _mm_subs_epu16(hi, k255));
    return _mm_packus_epi16(lo, hi);
  } else {
    if constexpr (std::is_same_v<Op, Add>) return _mm_adds_epi16(x, y);
    return _mm_subs_epi16(x, y);
  }
}

// 8-bit images fit the rule into 16-bit lanes, twice as many per
// instruction: sums are at most 510 and products 65025 (as unsigned).
template <class Op>
inline void exactU16(__m128i x, __m128i y, __m128i* r) {
  if constexpr (std::is_same_v<Op, Add>) {
    r[0] = _mm_add_epi16(lo8(x), lo8(y));
    r[1] = _mm_add_epi16(hi8(x), hi8(y));
  } else if constexpr (std::is_same_v<Op, Sub>) {
    const __m128i d = _mm_subs_epu8(x, y);
    r[0] = lo8(d);
    r[1] = hi8(d);
  } else {
    r[0] = _mm_mullo_epi16(lo8(x), lo8(y));
    r[1] = _mm_mullo_epi16(hi8(x), hi8(y));
  }
}

// The scale on unsigned 16-bit R, for shifts the lanes can hold:
//  - rounding down by s <= 15, split so nothing overflows: with q = R >> s,
//    (R + bias + (q & 1)) >> s = q + (((R mod 2^s) + bias + (q & 1)) >> s),
//    whose second term is 0 or 1;
//  - shifting up by k <= 7 after clamping R to 255 (which saturates the same);
//  - the sign short-cut, 255 for any R != 0.
template <Path P>
struct VectorScaleU16 {
  explicit VectorScaleU16(const Scale& s)
      : count(_mm_cvtsi32_si128(s.shift)),
        bias(_mm_set1_epi16(static_cast<short>(s.bias))),
        mask(_mm_set1_epi16(static_cast<short>((1 << (s.shift & 15)) - 1))),
        one(_mm_set1_epi16(1)),
        k255(_mm_set1_epi16(255)),
        sign(s.shift == kSignShift) {}
  static bool fits(const Scale& s) { return P != Path::kRoundDown || s.shift <= 15; }
  __m128i operator()(__m128i r) const {
    if constexpr (P == Path::kRoundDown) {
      const __m128i q = _mm_srl_epi16(r, count);
      const __m128i low = _mm_add_epi16(_mm_and_si128(r, mask), _mm_and_si128(q, one));
      return _mm_add_epi16(q, _mm_srl_epi16(_mm_add_epi16(low, bias), count));
    } else if constexpr (P == Path::kShiftUp) {
      if (sign) return _mm_andnot_si128(_mm_cmpeq_epi16(r, _mm_setzero_si128()), k255);
      return _mm_sll_epi16(_mm_sub_epi16(r, _mm_subs_epu16(r, k255)), count);
    } else {
      return _mm_sub_epi16(r, _mm_subs_epu16(r, k255));  // min(R, 255)
    }
  }
  __m128i count, bias, mask, one, k255;
  bool sign;
};

#endif  // TPX_ISA >= TPX_ISA_SSE2

// ----- Rows and images -----------------------------------------------------------

// The second operand: another image row, or a constant.
template <typename T>
struct RowOperand {
  const T* p;
  int step;
  RowOperand at(int y) const { return {row(p, step, y), step}; }
  int get(std::size_t i) const { return load(p + i); }
#if TPX_ISA >= TPX_ISA_SSE2
  __m128i vec(std::size_t i) const { return loadu(p + i); }
#endif
};

template <typename T>
struct ConstOperand {
  T value;
  ConstOperand at(int) const { return *this; }
  int get(std::size_t) const { return value; }
#if TPX_ISA >= TPX_ISA_SSE2
  __m128i vec(std::size_t) const {
    return sizeof(T) == 1 ? _mm_set1_epi8(static_cast<char>(value)) : _mm_set1_epi16(value);
  }
#endif
};

template <typename T, class Op, Path P, class Y>
void scaleRow(const T* x, const Y& y, T* d, std::size_t n, const Scale& s) {
  std::size_t i = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  constexpr std::size_t kBlock = 16 / sizeof(T);
  if constexpr (P == Path::kExact && kHasSaturatingForm<Op, T>) {
    for (; i + kBlock <= n; i += kBlock) storeu(d + i, saturating<Op, T>(loadu(x + i), y.vec(i)));
  } else if (std::is_same_v<T, Tpx8u> && VectorScaleU16<P>::fits(s)) {
    const VectorScaleU16<P> vs(s);
    for (; i + kBlock <= n; i += kBlock) {
      __m128i r[2];
      exactU16<Op>(loadu(x + i), y.vec(i), r);
      storeu(d + i, _mm_packus_epi16(vs(r[0]), vs(r[1])));
    }
  } else {
    const VectorScale<P> vs(s);
    for (; i + kBlock <= n; i += kBlock) {
      __m128i r[4];
      exactLanes<Op, T>(loadu(x + i), y.vec(i), r);
      for (int g = 0; g < kGroups<T>; ++g) r[g] = vs(r[g]);
      storeu(d + i, packSaturated<T>(r));
    }
  }
#endif
  for (; i < n; ++i)
    store(d + i, saturate<T>(scale<P>(Op::template exact<T>(load(x + i), y.get(i)), s)));
}

template <typename T, class Op, Path P, class Y>
void scaleImage(const T* pX, int xStep, const Y& y, T* pD, int dStep, TpxiSize roi,
                const Scale& s) {
  for (int j = 0; j < roi.height; ++j) {
    scaleRow<T, Op, P>(row(pX, xStep, j), y.at(j), row(pD, dStep, j),
                       static_cast<std::size_t>(roi.width), s);
  }
}

// Bounds of the short-cuts: zero fill above, sign (shift of 16) below.
struct Bounds {
  int zeroAbove;
  int signBelow;
};

template <typename T>
TpxStatus setAll(T value, T* pDst, int dstStep, TpxiSize roi) {
  // Set's variants are identical: run the one of this index.
  if constexpr (std::is_same_v<T, Tpx8u>) {
    return tpx::table::tpxiSet_8u_C1R[TPX_VARIANT](value, pDst, dstStep, roi);
  } else {
    return tpx::table::tpxiSet_16s_C1R[TPX_VARIANT](value, pDst, dstStep, roi);
  }
}

// The shared body once pointers and sizes have been checked: x op y into d.
template <typename T, class Op, class Y>
TpxStatus scaled(const T* pX, int xStep, const Y& y, T* pD, int dStep, TpxiSize roi,
                 int scaleFactor, Bounds bounds) {
  if (scaleFactor > bounds.zeroAbove) return setAll<T>(0, pD, dStep, roi);
  if (scaleFactor == 0) {
    scaleImage<T, Op, Path::kExact>(pX, xStep, y, pD, dStep, roi, Scale{Path::kExact, 0, 0});
  } else if (scaleFactor > 0) {
    const Scale s{Path::kRoundDown, scaleFactor, (1 << (scaleFactor - 1)) - 1};
    scaleImage<T, Op, Path::kRoundDown>(pX, xStep, y, pD, dStep, roi, s);
  } else {
    const int shift = scaleFactor < bounds.signBelow ? kSignShift : -scaleFactor;
    scaleImage<T, Op, Path::kShiftUp>(pX, xStep, y, pD, dStep, roi,
                                      Scale{Path::kShiftUp, shift, 0});
  }
  return tpxStsNoErr;
}

template <typename T>
constexpr Bounds kAddBounds = std::is_same_v<T, Tpx8u> ? Bounds{9, -7} : Bounds{16, -15};
template <typename T>
constexpr Bounds kSubBounds = std::is_same_v<T, Tpx8u> ? Bounds{8, -7} : Bounds{16, -15};
template <typename T>
constexpr Bounds kMulBounds = std::is_same_v<T, Tpx8u> ? Bounds{16, -7} : Bounds{30, -14};

TpxStatus checkImages(const void* a, const void* b, const void* c, TpxiSize roi) {
  if (a == nullptr || b == nullptr || c == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  return tpxStsNoErr;
}

// ----- The entries' bodies -------------------------------------------------------

template <typename T, class Op>
TpxStatus binary(const T* pX, int xStep, const T* pY, int yStep, T* pD, int dStep, TpxiSize roi,
                 int scaleFactor, Bounds bounds) {
  const TpxStatus status = checkImages(pX, pY, pD, roi);
  if (status != tpxStsNoErr) return status;
  return scaled<T, Op>(pX, xStep, RowOperand<T>{pY, yStep}, pD, dStep, roi, scaleFactor, bounds);
}

// AddC and SubC in place.
template <typename T, class Op>
TpxStatus addConstant(T value, T* pSrcDst, int srcDstStep, TpxiSize roi, int scaleFactor) {
  const TpxStatus status = checkImages(pSrcDst, pSrcDst, pSrcDst, roi);
  if (status != tpxStsNoErr) return status;
  if (scaleFactor == 0 && value == 0) return tpxStsNoErr;  // nothing would change
  const Bounds bounds = kAddBounds<T>;
  if constexpr (std::is_same_v<T, Tpx8u>) {
    // Far below the lower bound any nonzero constant saturates every pixel.
    if (scaleFactor < bounds.signBelow && value != 0) {
      return setAll<T>(255, pSrcDst, srcDstStep, roi);
    }
  }
  return scaled<T, Op>(pSrcDst, srcDstStep, ConstOperand<T>{value}, pSrcDst, srcDstStep, roi,
                       scaleFactor, bounds);
}

// MulC, in place (pSrc == pDst) or not.
template <typename T>
TpxStatus mulConstant(const T* pSrc, int srcStep, T value, T* pDst, int dstStep, TpxiSize roi,
                      int scaleFactor, bool inPlace) {
  const TpxStatus status = checkImages(pSrc, pDst, pDst, roi);
  if (status != tpxStsNoErr) return status;
  if (value == 0) return setAll<T>(0, pDst, dstStep, roi);
  if (value == 1 && scaleFactor == 0) {
    if (inPlace) return tpxStsNoErr;
    if constexpr (std::is_same_v<T, Tpx8u>) {
      return tpx::table::tpxiCopy_8u_C1R[TPX_VARIANT](pSrc, srcStep, pDst, dstStep, roi);
    } else {
      return tpx::table::tpxiCopy_16s_C1R[TPX_VARIANT](pSrc, srcStep, pDst, dstStep, roi);
    }
  }
  return scaled<T, Mul>(pSrc, srcStep, ConstOperand<T>{value}, pDst, dstStep, roi, scaleFactor,
                        kMulBounds<T>);
}

}  // namespace
}  // namespace tpx::TPX_NS

// Two images. Sub computes src2 - src1: the first operand is subtracted.

TpxStatus tpx::TPX_NS::tpxiAdd_8u_C1RSfs(const Tpx8u* pSrc1, int src1Step, const Tpx8u* pSrc2,
                                         int src2Step, Tpx8u* pDst, int dstStep, TpxiSize roiSize,
                                         int scaleFactor) {
  return binary<Tpx8u, Add>(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize, scaleFactor,
                            kAddBounds<Tpx8u>);
}

TpxStatus tpx::TPX_NS::tpxiAdd_16s_C1RSfs(const Tpx16s* pSrc1, int src1Step, const Tpx16s* pSrc2,
                                          int src2Step, Tpx16s* pDst, int dstStep, TpxiSize roiSize,
                                          int scaleFactor) {
  return binary<Tpx16s, Add>(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize, scaleFactor,
                             kAddBounds<Tpx16s>);
}

TpxStatus tpx::TPX_NS::tpxiSub_8u_C1RSfs(const Tpx8u* pSrc1, int src1Step, const Tpx8u* pSrc2,
                                         int src2Step, Tpx8u* pDst, int dstStep, TpxiSize roiSize,
                                         int scaleFactor) {
  return binary<Tpx8u, Sub>(pSrc2, src2Step, pSrc1, src1Step, pDst, dstStep, roiSize, scaleFactor,
                            kSubBounds<Tpx8u>);
}

TpxStatus tpx::TPX_NS::tpxiSub_16s_C1RSfs(const Tpx16s* pSrc1, int src1Step, const Tpx16s* pSrc2,
                                          int src2Step, Tpx16s* pDst, int dstStep, TpxiSize roiSize,
                                          int scaleFactor) {
  return binary<Tpx16s, Sub>(pSrc2, src2Step, pSrc1, src1Step, pDst, dstStep, roiSize, scaleFactor,
                             kSubBounds<Tpx16s>);
}

// In place: srcDst = srcDst op src.

TpxStatus tpx::TPX_NS::tpxiAdd_8u_C1IRSfs(const Tpx8u* pSrc, int srcStep, Tpx8u* pSrcDst,
                                          int srcDstStep, TpxiSize roiSize, int scaleFactor) {
  return binary<Tpx8u, Add>(pSrcDst, srcDstStep, pSrc, srcStep, pSrcDst, srcDstStep, roiSize,
                            scaleFactor, kAddBounds<Tpx8u>);
}

TpxStatus tpx::TPX_NS::tpxiAdd_16s_C1IRSfs(const Tpx16s* pSrc, int srcStep, Tpx16s* pSrcDst,
                                           int srcDstStep, TpxiSize roiSize, int scaleFactor) {
  return binary<Tpx16s, Add>(pSrcDst, srcDstStep, pSrc, srcStep, pSrcDst, srcDstStep, roiSize,
                             scaleFactor, kAddBounds<Tpx16s>);
}

TpxStatus tpx::TPX_NS::tpxiMul_8u_C1IRSfs(const Tpx8u* pSrc, int srcStep, Tpx8u* pSrcDst,
                                          int srcDstStep, TpxiSize roiSize, int scaleFactor) {
  return binary<Tpx8u, Mul>(pSrcDst, srcDstStep, pSrc, srcStep, pSrcDst, srcDstStep, roiSize,
                            scaleFactor, kMulBounds<Tpx8u>);
}

TpxStatus tpx::TPX_NS::tpxiMul_16s_C1IRSfs(const Tpx16s* pSrc, int srcStep, Tpx16s* pSrcDst,
                                           int srcDstStep, TpxiSize roiSize, int scaleFactor) {
  return binary<Tpx16s, Mul>(pSrcDst, srcDstStep, pSrc, srcStep, pSrcDst, srcDstStep, roiSize,
                             scaleFactor, kMulBounds<Tpx16s>);
}

// With a constant.

TpxStatus tpx::TPX_NS::tpxiAddC_8u_C1IRSfs(Tpx8u value, Tpx8u* pSrcDst, int srcDstStep,
                                           TpxiSize roiSize, int scaleFactor) {
  return addConstant<Tpx8u, Add>(value, pSrcDst, srcDstStep, roiSize, scaleFactor);
}

TpxStatus tpx::TPX_NS::tpxiAddC_16s_C1IRSfs(Tpx16s value, Tpx16s* pSrcDst, int srcDstStep,
                                            TpxiSize roiSize, int scaleFactor) {
  return addConstant<Tpx16s, Add>(value, pSrcDst, srcDstStep, roiSize, scaleFactor);
}

TpxStatus tpx::TPX_NS::tpxiSubC_16s_C1IRSfs(Tpx16s value, Tpx16s* pSrcDst, int srcDstStep,
                                            TpxiSize roiSize, int scaleFactor) {
  return addConstant<Tpx16s, Sub>(value, pSrcDst, srcDstStep, roiSize, scaleFactor);
}

TpxStatus tpx::TPX_NS::tpxiMulC_8u_C1RSfs(const Tpx8u* pSrc, int srcStep, Tpx8u value, Tpx8u* pDst,
                                          int dstStep, TpxiSize roiSize, int scaleFactor) {
  return mulConstant(pSrc, srcStep, value, pDst, dstStep, roiSize, scaleFactor, false);
}

TpxStatus tpx::TPX_NS::tpxiMulC_16s_C1RSfs(const Tpx16s* pSrc, int srcStep, Tpx16s value,
                                           Tpx16s* pDst, int dstStep, TpxiSize roiSize,
                                           int scaleFactor) {
  return mulConstant(pSrc, srcStep, value, pDst, dstStep, roiSize, scaleFactor, false);
}

TpxStatus tpx::TPX_NS::tpxiMulC_8u_C1IRSfs(Tpx8u value, Tpx8u* pSrcDst, int srcDstStep,
                                           TpxiSize roiSize, int scaleFactor) {
  return mulConstant<Tpx8u>(pSrcDst, srcDstStep, value, pSrcDst, srcDstStep, roiSize, scaleFactor,
                            true);
}

TpxStatus tpx::TPX_NS::tpxiMulC_16s_C1IRSfs(Tpx16s value, Tpx16s* pSrcDst, int srcDstStep,
                                            TpxiSize roiSize, int scaleFactor) {
  return mulConstant<Tpx16s>(pSrcDst, srcDstStep, value, pSrcDst, srcDstStep, roiSize, scaleFactor,
                             true);
}

#endif  // TPX_VARIANT == 0 || TPX_VARIANT == 2
