/*
 * Sliding-window sums over a staged tile, for template matching. Internal,
 * C linkage in libtpx.a; one implementation serves every variant (the
 * running sums are carried in long double, which has no vector form).
 *
 * For each of the w x h output positions (x, y) of pDst (row stride
 * dstStride floats), the sum over the tplW x tplH window whose top-left
 * pixel is tile pixel (x, y), of squares (WinSumSqr) or of values (WinSum).
 * Tile pixels at or beyond tileExtent (in either direction) count as 0, so
 * windows may reach past the tile's edge. Rows are handled in blocks of 20:
 * each block starts from a directly computed sum; its first row moves right
 * by column differences, every further row adds to the value above it the
 * change of the window's bottom and top rows.
 */
#ifndef TPX_FFT_MATCH_H
#define TPX_FFT_MATCH_H

#include "tpx.h"

#ifdef __cplusplus
extern "C" {
#endif

void tpxiWinSumSqr_32f(const Tpx32f* pTile, int tileStride, TpxiSize tileExtent, TpxiSize tplSize,
                       Tpx32f* pDst, int dstStride, TpxiSize outSize);
void tpxiWinSum_32f(const Tpx32f* pTile, int tileStride, TpxiSize tileExtent, TpxiSize tplSize,
                    Tpx32f* pDst, int dstStride, TpxiSize outSize);
/* Both at once, with the same results (pSum may be null). */
void tpxiWinSums_32f(const Tpx32f* pTile, int tileStride, TpxiSize tileExtent, TpxiSize tplSize,
                     Tpx32f* pSqr, Tpx32f* pSum, int dstStride, TpxiSize outSize);

#ifdef __cplusplus
}
#endif

#endif /* TPX_FFT_MATCH_H */
