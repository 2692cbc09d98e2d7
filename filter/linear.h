// Internal operation of the linear filter family: dispatched through its own
// five-entry table like an export, kept out of the shared library's symbol
// table (hidden visibility), reachable from the static library under its C
// name for tests.
#ifndef TPX_FILTER_LINEAR_H
#define TPX_FILTER_LINEAR_H

#include "tpx.h"

#ifdef __cplusplus
extern "C" {
#endif

/* tpxiFilter_16s_C1R with the divisor already folded into float taps:
 * sums src x tap (generic: extended precision), rounds half away from zero,
 * saturates. Checks: pSrc, pDst or pTaps null (-8); sizes below 1 (-6);
 * srcStep < 2 x (width + kernel width - 1) or dstStep < 2 x width (-14). */
TpxStatus tpxiFilter32f_16s_C1R(const Tpx16s* pSrc, int srcStep, Tpx16s* pDst, int dstStep,
                                TpxiSize roiSize, const Tpx32f* pTaps, TpxiSize kernelSize,
                                TpxiPoint anchor);

#ifdef __cplusplus
}
#endif

#endif  // TPX_FILTER_LINEAR_H
