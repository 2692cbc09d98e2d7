/*
 * The real FFT engine: single-precision transforms of power-of-two length,
 * one- and two-dimensional, with real data in a packed half spectrum (Pack
 * layout: R0, R1, I1, ..., R(N/2-1), I(N/2-1), R(N/2)), plus the spectrum
 * product, conjugation and the staging of image blocks into zero-padded
 * tiles.
 *
 * Internal: these functions are not exported from libtpx.so; they keep C
 * linkage in libtpx.a for the library's own composite operations and for
 * tests. Transforms and spectrum helpers are dispatched like the exports
 * (every variant computes the same values); plan management is not.
 */
#ifndef TPX_FFT_ENGINE_H
#define TPX_FFT_ENGINE_H

#include "tpx.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct Tpx32fc {
  Tpx32f re;
  Tpx32f im;
} Tpx32fc;

/* Scaling flags of a plan. */
enum TpxFftFlag {
  tpxFftScaleFwd = 1,  /* forward multiplied by 1/N */
  tpxFftScaleInv = 2,  /* inverse multiplied by 1/N */
  tpxFftScaleSqrt = 4, /* both multiplied by 1/sqrt(N) */
  tpxFftScaleNone = 8
};

enum { tpxFftTagReal = 6, tpxFftTagComplex = 4, tpxFftTag2D = 26 };

/* A 1-D plan; the real (tag 6) and complex (tag 4) plans share the shape. */
typedef struct TpxFftSpec {
  int32_t tag;
  int32_t order;
  int32_t scaleFwd;
  int32_t scaleInv;
  Tpx32f scale;
  int32_t hint;
  int32_t workSize; /* bytes; 0 below order 4 */
  int32_t owned;
  int32_t* swapList; /* bit reversal of the complex kernel */
  Tpx32f* twiddles;  /* twiddle factors of the complex kernel */
  Tpx32f* blocks[2]; /* reserved for a blocked scheme of long transforms */
  Tpx32f* postTable; /* real forward split, real plans only */
  Tpx32f* preTable;  /* real inverse merge, real plans only */
} TpxFftSpec;
typedef TpxFftSpec TpxFftSpecR;
typedef TpxFftSpec TpxFftSpecC;

/* A 2-D real plan (tag 26). */
typedef struct TpxFft2DSpecR {
  int32_t tag;
  int32_t orderX;
  int32_t orderY;
  int32_t hint;
  int32_t workSize;
  TpxFftSpecC* columnComplex[2]; /* the first slot stays empty */
  TpxFftSpecR* row;
  TpxFftSpecR* columnReal; /* null when orderY == orderX: the row plan serves */
} TpxFft2DSpecR;

/* Plans: -8 null out pointer, -15 order outside 0..30, -16 unknown flag,
 * -9 allocation failure (nothing is left allocated). */
TpxStatus tpxsFftInitR_32f(TpxFftSpecR** ppSpec, int order, int flag, int hint);
TpxStatus tpxsFftInitC_32fc(TpxFftSpecC** ppSpec, int order, int flag, int hint);
/* Work-buffer size in bytes (16 spare bytes for alignment), 0 if none. */
TpxStatus tpxsFftGetBufSize(const TpxFftSpec* pSpec, int* pSize);
void tpxsFftFree(TpxFftSpec* pSpec);
TpxStatus tpxiFftInitR_32f(TpxFft2DSpecR** ppSpec, int orderX, int orderY, int flag, int hint);
TpxStatus tpxiFftGetBufSize(const TpxFft2DSpecR* pSpec, int* pSize);
TpxStatus tpxiFftFree(TpxFft2DSpecR* pSpec);

/* 1-D transforms; source and destination may be the same. A null work
 * buffer is allocated for the call. */
TpxStatus tpxsFftFwd_RToPack_32f(const Tpx32f* pSrc, Tpx32f* pDst, const TpxFftSpecR* pSpec,
                                 Tpx8u* pBuffer);
TpxStatus tpxsFftInv_PackToR_32f(const Tpx32f* pSrc, Tpx32f* pDst, const TpxFftSpecR* pSpec,
                                 Tpx8u* pBuffer);
TpxStatus tpxsFftFwd_CToC_32fc(const Tpx32fc* pSrc, Tpx32fc* pDst, const TpxFftSpecC* pSpec,
                               Tpx8u* pBuffer);
TpxStatus tpxsFftInv_CToC_32fc(const Tpx32fc* pSrc, Tpx32fc* pDst, const TpxFftSpecC* pSpec,
                               Tpx8u* pBuffer);

/* 2-D transforms of a 2^orderX x 2^orderY image (steps in bytes). */
TpxStatus tpxiFftFwd_RToPack_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst, int dstStep,
                                     const TpxFft2DSpecR* pSpec, Tpx8u* pBuffer);
TpxStatus tpxiFftInv_PackToR_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst, int dstStep,
                                     const TpxFft2DSpecR* pSpec, Tpx8u* pBuffer);

/* pSrcDst = pSrc x pSrcDst, entry by entry of the 2-D Pack layout.
 * Checks: null (-8), step below 1 (-14), size below 1 (-6). */
TpxStatus tpxiMulPack_32f_C1IR(const Tpx32f* pSrc, int srcStep, Tpx32f* pSrcDst, int srcDstStep,
                               int width, int height);
/* Negates every imaginary entry of a 2-D Pack spectrum. */
void tpxiConjPack_32f_C1IR(Tpx32f* pSrcDst, int step, int width, int height);
/* Stages a block into an Nx x Ny tile (row stride Nx floats) at
 * (offsetX, offsetY), cut to the tile, zeros everywhere else. */
void tpxiCopyPadZero_32f_C1R(const Tpx32f* pSrc, int srcStep, int blockWidth, int blockHeight,
                             Tpx32f* pTile, int tileWidth, int tileHeight, int offsetX,
                             int offsetY);

#ifdef __cplusplus
}
#endif

#endif /* TPX_FFT_ENGINE_H */
