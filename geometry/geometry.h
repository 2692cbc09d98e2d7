// Internal operation of the geometry family: the forward affine warp on 8u
// data behind tpxiRotateCenter_8u_C1R. Dispatched through its own five-entry
// table like an export, kept out of the shared library's symbol table,
// reachable from the static library under its C name for tests.
#ifndef TPX_GEOMETRY_GEOMETRY_H
#define TPX_GEOMETRY_GEOMETRY_H

#include "tpx.h"

#ifdef __cplusplus
extern "C" {
#endif

/* tpxiWarpAffine_32f_C1R on Tpx8u pixels: the same checks, statuses, spans,
 * positions and edge blending. Nearest copies bytes; bilinear is evaluated in
 * double and stored as trunc(v + 0.5); cubic and blended values are clamped
 * to 0..255 first. */
TpxStatus tpxiWarpAffine_8u_C1R(const Tpx8u* pSrc, TpxiSize srcSize, int srcStep, TpxiRect srcRoi,
                                Tpx8u* pDst, int dstStep, TpxiRect dstRoi,
                                const Tpx64f coeffs[2][3], int interpolation);

#ifdef __cplusplus
}
#endif

#endif  // TPX_GEOMETRY_GEOMETRY_H
