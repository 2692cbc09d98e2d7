// Float vector additions, copy and fills.
//
// A vector is a row of len elements: where an image operation of this
// library already computes the same thing on a one-row image, the vector
// operation is that operation, called through the entry of this variant,
// and shares its checks (null pointer -8, then len below 1 -6, as the vector
// checks read) and its results. A one-row image never uses its step; 1
// passes the fills' step check.
//
// The additions run four lanes at a time from the SSE level (indices 1 to
// 4), the same single additions as the generic code.
#include "core/image.h"

#if TPX_VARIANT <= 1

namespace tpx::TPX_NS {
namespace {

constexpr int kOneRowStep = 1;

inline TpxStatus checkVector(bool anyNull, int len) {
  if (anyNull) return tpxStsNullPtrErr;
  if (len < 1) return tpxStsSizeErr;
  return tpxStsNoErr;
}

inline void addRow(const Tpx32f* src, Tpx32f* srcDst, std::size_t n) {
  std::size_t i = 0;
#if TPX_ISA >= TPX_ISA_SSE
  for (; i + 4 <= n; i += 4) {
    _mm_storeu_ps(srcDst + i, _mm_add_ps(_mm_loadu_ps(srcDst + i), _mm_loadu_ps(src + i)));
  }
#endif
  for (; i < n; ++i) srcDst[i] = srcDst[i] + src[i];
}

inline void addConstRow(Tpx32f val, Tpx32f* srcDst, std::size_t n) {
  std::size_t i = 0;
#if TPX_ISA >= TPX_ISA_SSE
  const __m128 v = _mm_set1_ps(val);
  for (; i + 4 <= n; i += 4) _mm_storeu_ps(srcDst + i, _mm_add_ps(_mm_loadu_ps(srcDst + i), v));
#endif
  for (; i < n; ++i) srcDst[i] = srcDst[i] + val;
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxsAdd_32f_I(const Tpx32f* pSrc, Tpx32f* pSrcDst, int len) {
  const TpxStatus status = checkVector(pSrc == nullptr || pSrcDst == nullptr, len);
  if (status != tpxStsNoErr) return status;
  addRow(pSrc, pSrcDst, static_cast<std::size_t>(len));
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxsAddC_32f_I(Tpx32f val, Tpx32f* pSrcDst, int len) {
  const TpxStatus status = checkVector(pSrcDst == nullptr, len);
  if (status != tpxStsNoErr) return status;
  // Adding zero writes nothing: NaN payloads and -0 stay as they are.
  if (val == 0.0f) return tpxStsNoErr;
  addConstRow(val, pSrcDst, static_cast<std::size_t>(len));
  return tpxStsNoErr;
}

// ----- Copy and fills: the image operations on one row -------------------------------

TpxStatus tpx::TPX_NS::tpxsCopy_32f(const Tpx32f* pSrc, Tpx32f* pDst, int len) {
  return tpx::table::tpxiCopy_32f_C1R[TPX_VARIANT](pSrc, kOneRowStep, pDst, kOneRowStep, {len, 1});
}

TpxStatus tpx::TPX_NS::tpxsSet_32s(Tpx32s val, Tpx32s* pDst, int len) {
  return tpx::table::tpxiSet_32s_C1R[TPX_VARIANT](val, pDst, kOneRowStep, {len, 1});
}

TpxStatus tpx::TPX_NS::tpxsZero_32f(Tpx32f* pDst, int len) {
  return tpx::table::tpxiSet_32f_C1R[TPX_VARIANT](0.0f, pDst, kOneRowStep, {len, 1});
}

#endif  // TPX_VARIANT <= 1
