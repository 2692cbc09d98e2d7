// Small-matrix solvers: Householder QR decomposition, the least-squares solve
// with its result, and the solve with a Cholesky factor.
//
// One arithmetic rule for every kernel and variant: single precision, each
// formula evaluated in the order written, a sum "a + b1 + b2 + ..." taken
// left to right from its first term, no fused multiply-add. The reflection
// of step k, with v(k) = 1:
//   s = sum over i >= k of A(i, k)^2           (below 2^-23: tpxStsDivByZeroErr)
//   sigma = sqrt(s), negated when A(k, k) <= 0
//   v(i) = A(i, k) * (1 / (sigma + A(k, k)))   for i > k
//   beta = -2 / (1 + v(k+1)^2 + ...)
//   for each column j >= k: t = A(k, j) + A(k+1, j) * v(k+1) + ...,
//                           A(i, j) = A(i, j) + v(i) * t * beta  for i >= k
// The solve recomputes beta from the stored v (same floats, same bits) and
// applies t = beta * (b(k) + v(k+1) * b(k+1) + ...): beta first there, last
// in the decomposition, so the two do not share a helper.
//
// The SSE copy (index 1, serving 1 to 4) updates four columns of the
// decomposition at once, each lane doing its column's scalar operations.
// The solves are one chain of dependent sums and stay scalar.
#include <cmath>

#include "matrix/operand.h"

#if TPX_VARIANT <= 1

namespace tpx::TPX_NS {
namespace {

// The single-precision epsilon, compared with the squared column norm.
constexpr Tpx32f kColumnFloor = 1.1920928955078125e-07f;

// A square matrix needs no reflection of its last column.
inline int reflectionSteps(int width, int height) { return width == height ? width - 1 : width; }

template <bool kUnit>
using In = Operand<kUnit, const Tpx32f>;
template <bool kUnit>
using Out = Operand<kUnit, Tpx32f>;

// ----- Decomposition --------------------------------------------------------------

// Applies the reflection (v, beta) of step k to the columns from..w-1 of a.
template <int N, bool kUnit>
inline void reflectColumns(Out<kUnit> a, const Tpx32f* v, Tpx32f beta, int k, int from, int w,
                           int h) {
  int j = from;
#if TPX_ISA >= TPX_ISA_SSE
  if constexpr (kUnit) {
    const __m128 b = _mm_set1_ps(beta);
    for (; j + 4 <= w; j += 4) {
      __m128 t = _mm_loadu_ps(a.at(k, j));
      TPX_MATRIX_UNROLL
      for (int i = k + 1; i < h; ++i) {
        t = _mm_add_ps(t, _mm_mul_ps(_mm_loadu_ps(a.at(i, j)), _mm_set1_ps(v[i])));
      }
      TPX_MATRIX_UNROLL
      for (int i = k; i < h; ++i) {
        const __m128 d = _mm_mul_ps(_mm_mul_ps(_mm_set1_ps(v[i]), t), b);
        _mm_storeu_ps(a.at(i, j), _mm_add_ps(_mm_loadu_ps(a.at(i, j)), d));
      }
    }
  }
#endif
  TPX_MATRIX_UNROLL
  for (; j < w; ++j) {
    Tpx32f t = a(k, j);
    TPX_MATRIX_UNROLL
    for (int i = k + 1; i < h; ++i) t = t + a(i, j) * v[i];
    TPX_MATRIX_UNROLL
    for (int i = k; i < h; ++i) a.set(i, j, a(i, j) + v[i] * t * beta);
  }
}

template <int N, bool kUnit>
TpxStatus decompose(In<kUnit> src, Tpx32f* v, Out<kUnit> a, int width, int height) {
  const int w = N ? N : width, h = N ? N : height;
  TPX_MATRIX_UNROLL
  for (int i = 0; i < h; ++i) {
    TPX_MATRIX_UNROLL
    for (int j = 0; j < w; ++j) a.set(i, j, src(i, j));
  }
  const int steps = reflectionSteps(w, h);
  TPX_MATRIX_UNROLL
  for (int k = 0; k < steps; ++k) {
    const Tpx32f akk = a(k, k);
    Tpx32f s = akk * akk;
    TPX_MATRIX_UNROLL
    for (int i = k + 1; i < h; ++i) {
      const Tpx32f x = a(i, k);
      s = s + x * x;
    }
    if (std::fabs(s) < kColumnFloor) return tpxStsDivByZeroErr;
    Tpx32f sigma = std::sqrt(s);
    if (akk <= 0.0f) sigma = -sigma;
    const Tpx32f r = 1.0f / (sigma + akk);
    v[k] = 1.0f;
    Tpx32f norm = 1.0f;
    TPX_MATRIX_UNROLL
    for (int i = k + 1; i < h; ++i) {
      const Tpx32f vi = a(i, k) * r;
      v[i] = vi;
      norm = norm + vi * vi;
    }
    const Tpx32f beta = -2.0f / norm;
    // Column k itself: only its diagonal element is kept, v goes below it.
    Tpx32f t = akk;
    TPX_MATRIX_UNROLL
    for (int i = k + 1; i < h; ++i) t = t + a(i, k) * v[i];
    a.set(k, k, akk + v[k] * t * beta);
    TPX_MATRIX_UNROLL
    for (int i = k + 1; i < h; ++i) a.set(i, k, v[i]);
    reflectColumns<N, kUnit>(a, v, beta, k, k + 1, w, h);
  }
  return tpxStsNoErr;
}

inline TpxStatus checkQrDecomp(const Tpx32f* pSrc, int srcStride1, int srcStride2,
                               const Tpx32f* pBuffer, const Tpx32f* pDst, int dstStride1,
                               int dstStride2, int width, int height) {
  if (pSrc == nullptr || pDst == nullptr || pBuffer == nullptr) return tpxStsNullPtrErr;
  if (width < 1 || height < 1) return tpxStsSizeErr;
  if (!stridesOk(srcStride1, srcStride2, dstStride1, dstStride2)) return tpxStsStrideMatrixErr;
  if (width > height) return tpxStsSizeMatchMatrixErr;
  return tpxStsNoErr;
}

// ----- Solves ---------------------------------------------------------------------

#if TPX_VARIANT == 0

template <int N, bool kUnit>
TpxStatus solveQr(In<kUnit> a, Tpx32f* b, In<kUnit> rhs, Out<kUnit> x, int width, int height) {
  const int w = N ? N : width, h = N ? N : height;
  TPX_MATRIX_UNROLL
  for (int i = 0; i < h; ++i) b[i] = rhs[i];
  const int steps = reflectionSteps(w, h);
  TPX_MATRIX_UNROLL
  for (int k = 0; k < steps; ++k) {
    Tpx32f norm = 1.0f;
    TPX_MATRIX_UNROLL
    for (int i = k + 1; i < h; ++i) {
      const Tpx32f vi = a(i, k);
      norm = norm + vi * vi;
    }
    const Tpx32f beta = -2.0f / norm;
    Tpx32f t = b[k];
    TPX_MATRIX_UNROLL
    for (int i = k + 1; i < h; ++i) t = t + a(i, k) * b[i];
    t = beta * t;
    b[k] = b[k] + t;
    TPX_MATRIX_UNROLL
    for (int i = k + 1; i < h; ++i) b[i] = b[i] + a(i, k) * t;
  }
  // Back substitution on R, the top w rows; x replaces b as it is found.
  TPX_MATRIX_UNROLL
  for (int i = w - 1; i >= 0; --i) {
    Tpx32f s = b[i];
    TPX_MATRIX_UNROLL
    for (int j = i + 1; j < w; ++j) s = s - a(i, j) * b[j];
    b[i] = s / a(i, i);
  }
  TPX_MATRIX_UNROLL
  for (int i = 0; i < w; ++i) x.set(i, b[i]);
  return tpxStsNoErr;
}

// d(i) = 1 / L(i, i) is stored on the diagonal. y, then x, are formed in the
// destination, each element read only after it was written, so b may share
// it.
template <int N, bool kUnit>
TpxStatus solveCholesky(In<kUnit> f, In<kUnit> b, Out<kUnit> x, int order) {
  const int n = N ? N : order;
  TPX_MATRIX_UNROLL
  for (int i = 0; i < n; ++i) {
    Tpx32f y = b[i];
    TPX_MATRIX_UNROLL
    for (int j = 0; j < i; ++j) y = y - f(i, j) * x[j];
    x.set(i, y * f(i, i));
  }
  // Backward with L transposed: column i of L below the diagonal.
  TPX_MATRIX_UNROLL
  for (int i = n - 1; i >= 0; --i) {
    Tpx32f s = x[i];
    TPX_MATRIX_UNROLL
    for (int j = i + 1; j < n; ++j) s = s - f(j, i) * x[j];
    x.set(i, s * f(i, i));
  }
  return tpxStsNoErr;
}

inline TpxStatus checkQrBackSubst(const Tpx32f* pSrc, int srcStride1, int srcStride2,
                                  const Tpx32f* pBuffer, const Tpx32f* pSrc2, int src2Stride2,
                                  const Tpx32f* pDst, int dstStride2, int width, int height) {
  if (pSrc == nullptr || pSrc2 == nullptr || pDst == nullptr || pBuffer == nullptr) {
    return tpxStsNullPtrErr;
  }
  if (width < 1 || height < 1) return tpxStsSizeErr;
  if (!stridesOk(srcStride1, srcStride2, src2Stride2, dstStride2)) return tpxStsStrideMatrixErr;
  if (width > height) return tpxStsSizeMatchMatrixErr;
  return tpxStsNoErr;
}

inline TpxStatus checkCholesky(const Tpx32f* pSrc, int srcStride1, int srcStride2,
                               const Tpx32f* pSrc2, int src2Stride2, const Tpx32f* pDst,
                               int dstStride2, int widthHeight) {
  if (pSrc == nullptr || pSrc2 == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (widthHeight < 1) return tpxStsSizeErr;
  if (!stridesOk(srcStride1, srcStride2, src2Stride2, dstStride2)) return tpxStsStrideMatrixErr;
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxmQRDecomp_m_32f(const Tpx32f* pSrc, int srcStride1, int srcStride2,
                                          Tpx32f* pBuffer, Tpx32f* pDst, int dstStride1,
                                          int dstStride2, int width, int height) {
  const TpxStatus status = checkQrDecomp(pSrc, srcStride1, srcStride2, pBuffer, pDst, dstStride1,
                                         dstStride2, width, height);
  if (status != tpxStsNoErr) return status;
  if (srcStride2 == 4 && dstStride2 == 4) {
    const int square = width == height ? width : 0;
    return bySize(square, [&](auto size) {
      return decompose<decltype(size)::value, true>(
          mat<true>(pSrc, srcStride1, srcStride2), pBuffer, mat<true>(pDst, dstStride1, dstStride2),
          width, height);
    });
  }
  return decompose<0, false>(mat<false>(pSrc, srcStride1, srcStride2), pBuffer,
                             mat<false>(pDst, dstStride1, dstStride2), width, height);
}

#if TPX_VARIANT == 0

TpxStatus tpx::TPX_NS::tpxmQRBackSubst_mv_32f(const Tpx32f* pSrc, int srcStride1, int srcStride2,
                                              Tpx32f* pBuffer, const Tpx32f* pSrc2, int src2Stride2,
                                              Tpx32f* pDst, int dstStride2, int width, int height) {
  const TpxStatus status = checkQrBackSubst(pSrc, srcStride1, srcStride2, pBuffer, pSrc2,
                                            src2Stride2, pDst, dstStride2, width, height);
  if (status != tpxStsNoErr) return status;
  if (srcStride2 == 4 && src2Stride2 == 4 && dstStride2 == 4) {
    const int square = width == height ? width : 0;
    return bySize(square, [&](auto size) {
      return solveQr<decltype(size)::value, true>(mat<true>(pSrc, srcStride1, srcStride2), pBuffer,
                                                  vec<true>(pSrc2, src2Stride2),
                                                  vec<true>(pDst, dstStride2), width, height);
    });
  }
  return solveQr<0, false>(mat<false>(pSrc, srcStride1, srcStride2), pBuffer,
                           vec<false>(pSrc2, src2Stride2), vec<false>(pDst, dstStride2), width,
                           height);
}

TpxStatus tpx::TPX_NS::tpxmCholeskyBackSubst_mv_32f(const Tpx32f* pSrc, int srcStride1,
                                                    int srcStride2, const Tpx32f* pSrc2,
                                                    int src2Stride2, Tpx32f* pDst, int dstStride2,
                                                    int widthHeight) {
  const TpxStatus status = checkCholesky(pSrc, srcStride1, srcStride2, pSrc2, src2Stride2, pDst,
                                         dstStride2, widthHeight);
  if (status != tpxStsNoErr) return status;
  if (srcStride2 == 4 && src2Stride2 == 4 && dstStride2 == 4) {
    return bySize(widthHeight, [&](auto size) {
      return solveCholesky<decltype(size)::value, true>(mat<true>(pSrc, srcStride1, srcStride2),
                                                        vec<true>(pSrc2, src2Stride2),
                                                        vec<true>(pDst, dstStride2), widthHeight);
    });
  }
  return solveCholesky<0, false>(mat<false>(pSrc, srcStride1, srcStride2),
                                 vec<false>(pSrc2, src2Stride2), vec<false>(pDst, dstStride2),
                                 widthHeight);
}

#endif  // TPX_VARIANT == 0

#endif  // TPX_VARIANT <= 1
