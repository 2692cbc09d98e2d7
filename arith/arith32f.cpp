// Single-precision arithmetic between two images or with a constant: Add, Sub,
// Mul, Div and the constant forms AddC, MulC, DivC.
//
// Every result is one IEEE single-precision operation, which is the exact
// result rounded once, so the vector paths give the generic bytes as long as
// they apply the same operation to the same operands. One thing the operation
// leaves open is which NaN comes out when both operands are NaN: the
// processor returns the one it was handed first, and the compiler may hand
// the operands of an addition or multiplication over in either order. Add and
// Mul therefore pin it: a NaN first operand (src1, srcDst, the pixel of a
// constant form) comes out itself, quieted, in every variant.
// Division is the one operation with a rule of its own: a zero or NaN divisor
// stores a substitute chosen by the dividend's sign and makes the row warn.
#include <cstdint>
#include <cstring>
#include <limits>

#include "core/image.h"
#include "core/variant.h"

// Built for the generic, SSE and SSE2 indices; the SSE2 copy also serves
// SSE3 and SSSE3 (core/exports.def).
#if TPX_VARIANT <= 2

namespace tpx::TPX_NS {
namespace {

// ---------------------------------------------------------------------------
// Scalar rules

constexpr uint32_t kPosInfBits = 0x7f800000u;
constexpr uint32_t kNegInfBits = 0xff800000u;
constexpr uint32_t kNegQuietNanBits = 0xffc00000u;

constexpr uint32_t kQuietBit = 0x00400000u;

inline float quieted(float a) {
  uint32_t bits;
  std::memcpy(&bits, &a, sizeof bits);
  return fromBits(bits | kQuietBit);
}

#if TPX_ISA >= TPX_ISA_SSE
// Lanes where a is NaN take a quieted; the others r.
inline __m128 pinFirstNan(__m128 a, __m128 r) {
  const __m128 nan = _mm_cmpunord_ps(a, a);
  const __m128 quietA = _mm_or_ps(a, _mm_set1_ps(fromBits(kQuietBit)));
  return _mm_or_ps(_mm_and_ps(nan, quietA), _mm_andnot_ps(nan, r));
}
#endif

struct AddOp {
  static float apply(float a, float b) { return a != a ? quieted(a) : a + b; }
#if TPX_ISA >= TPX_ISA_SSE
  static __m128 apply(__m128 a, __m128 b) { return pinFirstNan(a, _mm_add_ps(a, b)); }
#endif
};

// Not commutative, so never swapped: a NaN a already wins.
struct SubOp {
  static float apply(float a, float b) { return a - b; }
#if TPX_ISA >= TPX_ISA_SSE
  static __m128 apply(__m128 a, __m128 b) { return _mm_sub_ps(a, b); }
#endif
};

struct MulOp {
  static float apply(float a, float b) { return a != a ? quieted(a) : a * b; }
#if TPX_ISA >= TPX_ISA_SSE
  static __m128 apply(__m128 a, __m128 b) { return pinFirstNan(a, _mm_mul_ps(a, b)); }
#endif
};

// n / d, where a divisor that compares equal to zero or is NaN counts as zero
// and the dividend picks the substitute: +Inf above zero, the negative quiet
// NaN at zero, -Inf below zero and for a NaN dividend.
inline float divide(float n, float d, bool* zeroDivisor) {
  if (d == 0.0f || d != d) {
    *zeroDivisor = true;
    if (n > 0.0f) return fromBits(kPosInfBits);
    if (n == 0.0f) return fromBits(kNegQuietNanBits);
    return fromBits(kNegInfBits);
  }
  return n / d;
}

// ---------------------------------------------------------------------------
// Row kernels. The vector loops take eight and then four elements at a time;
// the last few go through the scalar rule, which gives the same bytes.

// d[x] = Op(a[x], b[x]).
template <class Op>
void binaryRow(const float* a, const float* b, float* d, int width) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE
  for (; x + 8 <= width; x += 8) {
    const __m128 r0 = Op::apply(_mm_loadu_ps(a + x), _mm_loadu_ps(b + x));
    const __m128 r1 = Op::apply(_mm_loadu_ps(a + x + 4), _mm_loadu_ps(b + x + 4));
    _mm_storeu_ps(d + x, r0);
    _mm_storeu_ps(d + x + 4, r1);
  }
  for (; x + 4 <= width; x += 4) {
    _mm_storeu_ps(d + x, Op::apply(_mm_loadu_ps(a + x), _mm_loadu_ps(b + x)));
  }
#endif
  for (; x < width; ++x) store(d + x, Op::apply(load(a + x), load(b + x)));
}

// d[x] = Op(a[x], c).
template <class Op>
void constantRow(const float* a, float c, float* d, int width) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE
  const __m128 c4 = _mm_set1_ps(c);
  for (; x + 8 <= width; x += 8) {
    const __m128 r0 = Op::apply(_mm_loadu_ps(a + x), c4);
    const __m128 r1 = Op::apply(_mm_loadu_ps(a + x + 4), c4);
    _mm_storeu_ps(d + x, r0);
    _mm_storeu_ps(d + x + 4, r1);
  }
  for (; x + 4 <= width; x += 4) _mm_storeu_ps(d + x, Op::apply(_mm_loadu_ps(a + x), c4));
#endif
  for (; x < width; ++x) store(d + x, Op::apply(load(a + x), c));
}

// d[x] = n[x] / dv[x] with the zero-divisor rule; true if a zero divisor was
// met in the row.
bool divideRow(const float* dv, const float* n, float* d, int width) {
  bool zeroDivisor = false;
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE
  const __m128 zero = _mm_setzero_ps();
  const __m128 posInf = _mm_set1_ps(fromBits(kPosInfBits));
  const __m128 negInf = _mm_set1_ps(fromBits(kNegInfBits));
  const __m128 negNan = _mm_set1_ps(fromBits(kNegQuietNanBits));
  int zeroLanes = 0;
  for (; x + 4 <= width; x += 4) {
    const __m128 d4 = _mm_loadu_ps(dv + x);
    const __m128 n4 = _mm_loadu_ps(n + x);
    const __m128 q = _mm_div_ps(n4, d4);
    const __m128 isZero = _mm_or_ps(_mm_cmpeq_ps(d4, zero), _mm_cmpunord_ps(d4, d4));
    const int lanes = _mm_movemask_ps(isZero);
    if (lanes == 0) {
      _mm_storeu_ps(d + x, q);
      continue;
    }
    zeroLanes |= lanes;
    const __m128 above = _mm_cmpgt_ps(n4, zero);
    const __m128 atZero = _mm_cmpeq_ps(n4, zero);
    // Neither above nor at zero: below zero or NaN, both -Inf.
    const __m128 below = _mm_andnot_ps(_mm_or_ps(above, atZero), negInf);
    const __m128 substitute =
        _mm_or_ps(_mm_or_ps(_mm_and_ps(above, posInf), _mm_and_ps(atZero, negNan)), below);
    _mm_storeu_ps(d + x, _mm_or_ps(_mm_and_ps(isZero, substitute), _mm_andnot_ps(isZero, q)));
  }
  zeroDivisor = zeroLanes != 0;
#endif
  for (; x < width; ++x) store(d + x, divide(load(n + x), load(dv + x), &zeroDivisor));
  return zeroDivisor;
}

// ---------------------------------------------------------------------------
// Row walkers

template <class Op>
void binaryImage(const float* a, int aStep, const float* b, int bStep, float* d, int dStep,
                 TpxiSize roi) {
  for (int y = 0; y < roi.height; ++y) {
    binaryRow<Op>(row(a, aStep, y), row(b, bStep, y), row(d, dStep, y), roi.width);
  }
}

template <class Op>
void constantImage(const float* a, int aStep, float c, float* d, int dStep, TpxiSize roi) {
  for (int y = 0; y < roi.height; ++y) {
    constantRow<Op>(row(a, aStep, y), c, row(d, dStep, y), roi.width);
  }
}

inline bool badSize(TpxiSize roi) { return roi.width < 1 || roi.height < 1; }

// The checks of the two-image forms that look at no step.
inline TpxStatus checkBinary(const void* a, const void* b, const void* d, TpxiSize roi) {
  if (a == nullptr || b == nullptr || d == nullptr) return tpxStsNullPtrErr;
  if (badSize(roi)) return tpxStsSizeErr;
  return tpxStsNoErr;
}

}  // namespace
}  // namespace tpx::TPX_NS

// ---------------------------------------------------------------------------
// Entries

TpxStatus tpx::TPX_NS::tpxiAdd_32f_C1R(const Tpx32f* pSrc1, int src1Step, const Tpx32f* pSrc2,
                                       int src2Step, Tpx32f* pDst, int dstStep, TpxiSize roiSize) {
  if (TpxStatus s = checkBinary(pSrc1, pSrc2, pDst, roiSize)) return s;
  binaryImage<AddOp>(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiAdd_32f_C1IR(const Tpx32f* pSrc, int srcStep, Tpx32f* pSrcDst,
                                        int srcDstStep, TpxiSize roiSize) {
  if (TpxStatus s = checkBinary(pSrc, pSrcDst, pSrcDst, roiSize)) return s;
  binaryImage<AddOp>(pSrcDst, srcDstStep, pSrc, srcStep, pSrcDst, srcDstStep, roiSize);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiSub_32f_C1R(const Tpx32f* pSrc1, int src1Step, const Tpx32f* pSrc2,
                                       int src2Step, Tpx32f* pDst, int dstStep, TpxiSize roiSize) {
  if (TpxStatus s = checkBinary(pSrc1, pSrc2, pDst, roiSize)) return s;
  // The first operand is the subtrahend.
  binaryImage<SubOp>(pSrc2, src2Step, pSrc1, src1Step, pDst, dstStep, roiSize);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiMul_32f_C1R(const Tpx32f* pSrc1, int src1Step, const Tpx32f* pSrc2,
                                       int src2Step, Tpx32f* pDst, int dstStep, TpxiSize roiSize) {
  if (TpxStatus s = checkBinary(pSrc1, pSrc2, pDst, roiSize)) return s;
  binaryImage<MulOp>(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiMul_32f_C1IR(const Tpx32f* pSrc, int srcStep, Tpx32f* pSrcDst,
                                        int srcDstStep, TpxiSize roiSize) {
  if (TpxStatus s = checkBinary(pSrc, pSrcDst, pSrcDst, roiSize)) return s;
  binaryImage<MulOp>(pSrcDst, srcDstStep, pSrc, srcStep, pSrcDst, srcDstStep, roiSize);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiDiv_32f_C1R(const Tpx32f* pSrc1, int src1Step, const Tpx32f* pSrc2,
                                       int src2Step, Tpx32f* pDst, int dstStep, TpxiSize roiSize) {
  if (TpxStatus s = checkBinary(pSrc1, pSrc2, pDst, roiSize)) return s;
  if (src1Step < 1 || src2Step < 1 || dstStep < 1) return tpxStsStepErr;
  // The first operand is the divisor. The warning waits for the last row.
  bool zeroDivisor = false;
  for (int y = 0; y < roiSize.height; ++y) {
    zeroDivisor |= divideRow(row(pSrc1, src1Step, y), row(pSrc2, src2Step, y),
                             row(pDst, dstStep, y), roiSize.width);
  }
  return zeroDivisor ? tpxStsDivByZero : tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiDiv_32f_C1IR(const Tpx32f* pSrc, int srcStep, Tpx32f* pSrcDst,
                                        int srcDstStep, TpxiSize roiSize) {
  return tpx::TPX_NS::tpxiDiv_32f_C1R(pSrc, srcStep, pSrcDst, srcDstStep, pSrcDst, srcDstStep,
                                      roiSize);
}

TpxStatus tpx::TPX_NS::tpxiAddC_32f_C1IR(Tpx32f value, Tpx32f* pSrcDst, int srcDstStep,
                                         TpxiSize roiSize) {
  if (pSrcDst == nullptr) return tpxStsNullPtrErr;
  if (badSize(roiSize)) return tpxStsSizeErr;
  constantImage<AddOp>(pSrcDst, srcDstStep, value, pSrcDst, srcDstStep, roiSize);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiMulC_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f value, Tpx32f* pDst,
                                        int dstStep, TpxiSize roiSize) {
  if (pSrc == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (badSize(roiSize)) return tpxStsSizeErr;
  constantImage<MulOp>(pSrc, srcStep, value, pDst, dstStep, roiSize);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiMulC_32f_C1IR(Tpx32f value, Tpx32f* pSrcDst, int srcDstStep,
                                         TpxiSize roiSize) {
  return tpx::TPX_NS::tpxiMulC_32f_C1R(pSrcDst, srcDstStep, value, pSrcDst, srcDstStep, roiSize);
}

TpxStatus tpx::TPX_NS::tpxiDivC_32f_C1IR(Tpx32f value, Tpx32f* pSrcDst, int srcDstStep,
                                         TpxiSize roiSize) {
  if (pSrcDst == nullptr) return tpxStsNullPtrErr;
  if (badSize(roiSize)) return tpxStsSizeErr;
  if (srcDstStep < 1) return tpxStsStepErr;
  if (value == 0.0f || value != value) return tpxStsDivByZeroErr;
  // A multiplication by the reciprocal, rounded to single precision once: one
  // division per call instead of one per pixel, at the price of a last-bit
  // difference from the true quotient now and then. The multiplication is
  // MulC's, whose variants all give the generic bytes.
  const float reciprocal = 1.0f / value;
  return tpx::TPX_NS::tpxiMulC_32f_C1R(pSrcDst, srcDstStep, reciprocal, pSrcDst, srcDstStep,
                                       roiSize);
}

#endif  // TPX_VARIANT <= 2
