// Small-matrix products and vector operations: matrix times vector, its
// transposed form, dot product, saxpy and transposition.
//
// Sums are single precision, taken left to right from their first product
// (so products that are all -0 sum to -0), and each output of a
// matrix-vector product holds the running sum after every term. Saxpy is
// src1 * scale + src2, one rounding per operation. Transposition moves bit
// patterns: signalling NaNs arrive as they left.
//
// The SSE copy (index 1, serving 1 to 4) works across independent outputs
// when every element stride is 4 bytes: four rows of Mul_mv at once (each 4 x
// 4 block transposed so that a column is one register), four columns of
// Mul_tv, four elements of saxpy, and 4 x 4 blocks of the transposition. Each
// lane does its output's scalar operations in the scalar order. The dot
// product is one chain and stays scalar.
#include <cstring>

#include "matrix/operand.h"

#if TPX_VARIANT <= 1

namespace tpx::TPX_NS {
namespace {

template <bool kUnit>
using In = Operand<kUnit, const Tpx32f>;
template <bool kUnit>
using Out = Operand<kUnit, Tpx32f>;

// ----- Matrix times vector ---------------------------------------------------------

template <int N, bool kUnit>
TpxStatus mulMv(In<kUnit> a, In<kUnit> x, Out<kUnit> y, int width, int height) {
  const int w = N ? N : width, h = N ? N : height;
  int i = 0;
#if TPX_ISA >= TPX_ISA_SSE
  if constexpr (kUnit) {
    for (; i + 4 <= h; i += 4) {
      __m128 sum = _mm_setzero_ps();
      auto term = [&](int j, __m128 column) {
        const __m128 p = _mm_mul_ps(column, _mm_set1_ps(x[j]));
        sum = j == 0 ? p : _mm_add_ps(sum, p);
        _mm_storeu_ps(y.at(i), sum);
      };
      int j = 0;
      TPX_MATRIX_UNROLL
      for (; j + 4 <= w; j += 4) {
        __m128 c0 = _mm_loadu_ps(a.at(i, j)), c1 = _mm_loadu_ps(a.at(i + 1, j));
        __m128 c2 = _mm_loadu_ps(a.at(i + 2, j)), c3 = _mm_loadu_ps(a.at(i + 3, j));
        _MM_TRANSPOSE4_PS(c0, c1, c2, c3);
        term(j, c0);
        term(j + 1, c1);
        term(j + 2, c2);
        term(j + 3, c3);
      }
      TPX_MATRIX_UNROLL
      for (; j < w; ++j) term(j, _mm_setr_ps(a(i, j), a(i + 1, j), a(i + 2, j), a(i + 3, j)));
    }
  }
#endif
  TPX_MATRIX_UNROLL
  for (; i < h; ++i) {
    Tpx32f sum = a(i, 0) * x[0];
    y.set(i, sum);
    TPX_MATRIX_UNROLL
    for (int j = 1; j < w; ++j) {
      sum = sum + a(i, j) * x[j];
      y.set(i, sum);
    }
  }
  return tpxStsNoErr;
}

template <int N, bool kUnit>
TpxStatus mulTv(In<kUnit> a, In<kUnit> x, Out<kUnit> y, int width, int height) {
  const int w = N ? N : width, h = N ? N : height;
  int j = 0;
#if TPX_ISA >= TPX_ISA_SSE
  if constexpr (kUnit) {
    TPX_MATRIX_UNROLL
    for (; j + 4 <= w; j += 4) {
      __m128 sum = _mm_mul_ps(_mm_loadu_ps(a.at(0, j)), _mm_set1_ps(x[0]));
      _mm_storeu_ps(y.at(j), sum);
      TPX_MATRIX_UNROLL
      for (int i = 1; i < h; ++i) {
        sum = _mm_add_ps(sum, _mm_mul_ps(_mm_loadu_ps(a.at(i, j)), _mm_set1_ps(x[i])));
        _mm_storeu_ps(y.at(j), sum);
      }
    }
  }
#endif
  TPX_MATRIX_UNROLL
  for (; j < w; ++j) {
    Tpx32f sum = a(0, j) * x[0];
    y.set(j, sum);
    TPX_MATRIX_UNROLL
    for (int i = 1; i < h; ++i) {
      sum = sum + a(i, j) * x[i];
      y.set(j, sum);
    }
  }
  return tpxStsNoErr;
}

// Mul_mv: the inner dimension is the width; Mul_tv: the height.
inline TpxStatus checkMul(const Tpx32f* pSrc1, int src1Stride1, int src1Stride2, int src1Width,
                          int src1Height, const Tpx32f* pSrc2, int src2Stride2, int src2Len,
                          const Tpx32f* pDst, int dstStride2, int inner) {
  if (pSrc1 == nullptr || pSrc2 == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (src2Len < 1 || src1Width < 1 || src1Height < 1) return tpxStsSizeErr;
  if (inner != src2Len) return tpxStsSizeMatchMatrixErr;
  if (!stridesOk(src1Stride1, src1Stride2, src2Stride2, dstStride2)) return tpxStsStrideMatrixErr;
  return tpxStsNoErr;
}

// ----- Vectors ---------------------------------------------------------------------

#if TPX_VARIANT == 0
template <int N, bool kUnit>
TpxStatus dot(In<kUnit> a, In<kUnit> b, Tpx32f* pDst, int len) {
  const int n = N ? N : len;
  Tpx32f sum = a[0] * b[0];
  TPX_MATRIX_UNROLL
  for (int i = 1; i < n; ++i) sum = sum + a[i] * b[i];
  store(pDst, sum);
  return tpxStsNoErr;
}
#endif

template <int N, bool kUnit>
TpxStatus saxpy(In<kUnit> a, Tpx32f scale, In<kUnit> b, Out<kUnit> y, int len) {
  const int n = N ? N : len;
  int i = 0;
#if TPX_ISA >= TPX_ISA_SSE
  if constexpr (kUnit) {
    const __m128 s = _mm_set1_ps(scale);
    TPX_MATRIX_UNROLL
    for (; i + 4 <= n; i += 4) {
      const __m128 p = _mm_mul_ps(_mm_loadu_ps(a.at(i)), s);
      _mm_storeu_ps(y.at(i), _mm_add_ps(p, _mm_loadu_ps(b.at(i))));
    }
  }
#endif
  TPX_MATRIX_UNROLL
  for (; i < n; ++i) y.set(i, a[i] * scale + b[i]);
  return tpxStsNoErr;
}

// ----- Transposition ---------------------------------------------------------------

template <int N, bool kUnit>
TpxStatus transpose(In<kUnit> src, Out<kUnit> dst, int width, int height) {
  const int w = N ? N : width, h = N ? N : height;
  int blockRows = 0, blockCols = 0;  // the part done in 4 x 4 blocks
#if TPX_ISA >= TPX_ISA_SSE
  if constexpr (kUnit) {
    blockRows = h & ~3;
    blockCols = w & ~3;
    TPX_MATRIX_UNROLL
    for (int i = 0; i < blockRows; i += 4) {
      TPX_MATRIX_UNROLL
      for (int j = 0; j < blockCols; j += 4) {
        __m128 r0 = _mm_loadu_ps(src.at(i, j)), r1 = _mm_loadu_ps(src.at(i + 1, j));
        __m128 r2 = _mm_loadu_ps(src.at(i + 2, j)), r3 = _mm_loadu_ps(src.at(i + 3, j));
        _MM_TRANSPOSE4_PS(r0, r1, r2, r3);  // shuffles only: bit patterns kept
        _mm_storeu_ps(dst.at(j, i), r0);
        _mm_storeu_ps(dst.at(j + 1, i), r1);
        _mm_storeu_ps(dst.at(j + 2, i), r2);
        _mm_storeu_ps(dst.at(j + 3, i), r3);
      }
    }
  }
#endif
  // Copied as bytes: a float load and store could quiet a signalling NaN.
  TPX_MATRIX_UNROLL
  for (int i = 0; i < h; ++i) {
    TPX_MATRIX_UNROLL
    for (int j = i < blockRows ? blockCols : 0; j < w; ++j) {
      std::memcpy(dst.at(j, i), src.at(i, j), sizeof(Tpx32f));
    }
  }
  return tpxStsNoErr;
}

}  // namespace
}  // namespace tpx::TPX_NS

// ----- Entries ---------------------------------------------------------------------

TpxStatus tpx::TPX_NS::tpxmMul_mv_32f(const Tpx32f* pSrc1, int src1Stride1, int src1Stride2,
                                      int src1Width, int src1Height, const Tpx32f* pSrc2,
                                      int src2Stride2, int src2Len, Tpx32f* pDst, int dstStride2) {
  const TpxStatus status = checkMul(pSrc1, src1Stride1, src1Stride2, src1Width, src1Height, pSrc2,
                                    src2Stride2, src2Len, pDst, dstStride2, src1Width);
  if (status != tpxStsNoErr) return status;
  if (src1Stride2 == 4 && src2Stride2 == 4 && dstStride2 == 4) {
    return bySize(src1Width == src1Height ? src1Width : 0, [&](auto size) {
      return mulMv<decltype(size)::value, true>(mat<true>(pSrc1, src1Stride1, src1Stride2),
                                                vec<true>(pSrc2, src2Stride2),
                                                vec<true>(pDst, dstStride2), src1Width, src1Height);
    });
  }
  return mulMv<0, false>(mat<false>(pSrc1, src1Stride1, src1Stride2),
                         vec<false>(pSrc2, src2Stride2), vec<false>(pDst, dstStride2), src1Width,
                         src1Height);
}

TpxStatus tpx::TPX_NS::tpxmMul_tv_32f(const Tpx32f* pSrc1, int src1Stride1, int src1Stride2,
                                      int src1Width, int src1Height, const Tpx32f* pSrc2,
                                      int src2Stride2, int src2Len, Tpx32f* pDst, int dstStride2) {
  const TpxStatus status = checkMul(pSrc1, src1Stride1, src1Stride2, src1Width, src1Height, pSrc2,
                                    src2Stride2, src2Len, pDst, dstStride2, src1Height);
  if (status != tpxStsNoErr) return status;
  if (src1Stride2 == 4 && src2Stride2 == 4 && dstStride2 == 4) {
    return bySize(src1Width == src1Height ? src1Width : 0, [&](auto size) {
      return mulTv<decltype(size)::value, true>(mat<true>(pSrc1, src1Stride1, src1Stride2),
                                                vec<true>(pSrc2, src2Stride2),
                                                vec<true>(pDst, dstStride2), src1Width, src1Height);
    });
  }
  return mulTv<0, false>(mat<false>(pSrc1, src1Stride1, src1Stride2),
                         vec<false>(pSrc2, src2Stride2), vec<false>(pDst, dstStride2), src1Width,
                         src1Height);
}

#if TPX_VARIANT == 0
TpxStatus tpx::TPX_NS::tpxmDotProduct_vv_32f(const Tpx32f* pSrc1, int src1Stride2,
                                             const Tpx32f* pSrc2, int src2Stride2, Tpx32f* pDst,
                                             int len) {
  if (pSrc1 == nullptr || pSrc2 == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (len < 1) return tpxStsSizeErr;
  if (!stridesOk(src1Stride2, src2Stride2)) return tpxStsStrideMatrixErr;
  if (src1Stride2 == 4 && src2Stride2 == 4) {
    return bySize(len, [&](auto size) {
      return dot<decltype(size)::value, true>(vec<true>(pSrc1, src1Stride2),
                                              vec<true>(pSrc2, src2Stride2), pDst, len);
    });
  }
  return dot<0, false>(vec<false>(pSrc1, src1Stride2), vec<false>(pSrc2, src2Stride2), pDst, len);
}
#endif

TpxStatus tpx::TPX_NS::tpxmSaxpy_vv_32f(const Tpx32f* pSrc1, int src1Stride2, Tpx32f scale,
                                        const Tpx32f* pSrc2, int src2Stride2, Tpx32f* pDst,
                                        int dstStride2, int len) {
  if (pSrc1 == nullptr || pSrc2 == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (len < 1) return tpxStsSizeErr;
  if (!stridesOk(src1Stride2, src2Stride2, dstStride2)) return tpxStsStrideMatrixErr;
  if (src1Stride2 == 4 && src2Stride2 == 4 && dstStride2 == 4) {
    return bySize(len, [&](auto size) {
      return saxpy<decltype(size)::value, true>(vec<true>(pSrc1, src1Stride2), scale,
                                                vec<true>(pSrc2, src2Stride2),
                                                vec<true>(pDst, dstStride2), len);
    });
  }
  return saxpy<0, false>(vec<false>(pSrc1, src1Stride2), scale, vec<false>(pSrc2, src2Stride2),
                         vec<false>(pDst, dstStride2), len);
}

TpxStatus tpx::TPX_NS::tpxmTranspose_m_32f(const Tpx32f* pSrc, int srcStride1, int srcStride2,
                                           int width, int height, Tpx32f* pDst, int dstStride1,
                                           int dstStride2) {
  if (pSrc == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (width < 1 || height < 1) return tpxStsSizeErr;
  if (!stridesOk(srcStride1, srcStride2, dstStride1, dstStride2)) return tpxStsStrideMatrixErr;
  if (srcStride2 == 4 && dstStride2 == 4) {
    return bySize(width == height ? width : 0, [&](auto size) {
      return transpose<decltype(size)::value, true>(mat<true>(pSrc, srcStride1, srcStride2),
                                                    mat<true>(pDst, dstStride1, dstStride2), width,
                                                    height);
    });
  }
  return transpose<0, false>(mat<false>(pSrc, srcStride1, srcStride2),
                             mat<false>(pDst, dstStride1, dstStride2), width, height);
}

#endif  // TPX_VARIANT <= 1
