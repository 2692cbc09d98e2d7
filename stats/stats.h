// Pieces shared by the statistics sources: which copies of the entries a
// variant defines, and the small rules every entry applies the same way.
//
// Included by family sources only, after core/variant.h: everything sits in
// the variant namespace.
#ifndef TPX_STATS_STATS_H
#define TPX_STATS_STATS_H

#include <cstdint>

#include "core/variant.h"

// The entries each variant defines (see the statistics section of
// core/exports.def). Integer kernels need SSE2, so the SSE index borrows the
// generic entry; the 32f kernels also run packed single precision under SSE.
// SSE3 and SSSE3 add nothing these loops use and borrow the SSE2 entries.
#define TPX_STATS_INT_COPY (TPX_VARIANT == 0 || TPX_VARIANT == 2)
#define TPX_STATS_FLOAT_COPY (TPX_VARIANT <= 2)

namespace tpx::TPX_NS {
namespace {

inline bool badSize(TpxiSize size) { return size.width < 1 || size.height < 1; }

// The checks of the norms: null pointer, then size, then a step below 1.
inline TpxStatus checkNorm(const void* pSrc, const void* pNorm, int srcStep, TpxiSize roi) {
  if (pSrc == nullptr || pNorm == nullptr) return tpxStsNullPtrErr;
  if (badSize(roi)) return tpxStsSizeErr;
  if (srcStep < 1) return tpxStsStepErr;
  return tpxStsNoErr;
}

// The divisor of every mean: width x height multiplied in 32-bit integers and
// allowed to wrap, so that huge regions divide by the same (wrong) count on
// every build.
inline int32_t pixelCount(TpxiSize size) {
  return static_cast<int32_t>(static_cast<uint32_t>(size.width) *
                              static_cast<uint32_t>(size.height));
}

inline int minInt(int a, int b) { return a < b ? a : b; }

}  // namespace
}  // namespace tpx::TPX_NS

#endif  // TPX_STATS_STATS_H
