/*
 * tpx.h -- the public interface of the TPX library.
 *
 * TPX is a library of image-, signal- and small-matrix-processing primitives
 * with a flat C interface. Every operation works on buffers that the caller
 * owns and returns a TpxStatus: 0 on success, a positive warning after the
 * whole output has been written, or a negative error before anything has
 * been written.
 *
 * Images are given as a pointer to the first (top-left) pixel of the region
 * of interest, a row step in BYTES (row y starts at pointer + y * step; the
 * step is never divided by the element size) and a TpxiSize. All images have
 * one channel. Signal vectors are a pointer and an element count.
 *
 * Every exported operation except tpxGetStatusString and tpxGetCpuClocks
 * exists in five code variants (generic, SSE, SSE2, SSE3, SSSE3) with the same
 * results; the library probes the processor when it is loaded and every call
 * runs the variant chosen then. tpxiGetLibVersion()->cpuCode names it.
 */
#ifndef TPX_H
#define TPX_H

#include <stdint.h>

#if defined(__GNUC__)
#define TPX_API __attribute__((visibility("default")))
#else
#define TPX_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------
 * Element types and records
 * ------------------------------------------------------------------------- */

typedef uint8_t Tpx8u;   /* 0..255 */
typedef int16_t Tpx16s;  /* -32768..32767 */
typedef uint16_t Tpx16u; /* 0..65535 */
typedef int32_t Tpx32s;
typedef float Tpx32f;  /* IEEE 754 binary32 */
typedef double Tpx64f; /* IEEE 754 binary64 */

/* Size of a region of interest in pixels; passed by value. */
typedef struct TpxiSize {
  int32_t width;
  int32_t height;
} TpxiSize;

/* A pixel position: x counts columns from the left, y rows from the top. */
typedef struct TpxiPoint {
  int32_t x;
  int32_t y;
} TpxiPoint;

/* A rectangle given by its top-left pixel and its size. */
typedef struct TpxiRect {
  int32_t x;
  int32_t y;
  int32_t width;
  int32_t height;
} TpxiRect;

/* ---------------------------------------------------------------------------
 * Status codes
 *
 * 0 is success, positive values are warnings (the output was written in
 * full), negative values are errors (nothing was written). The numbers are
 * stable. tpxGetStatusString knows further codes that no operation of this
 * library returns; they have no names here.
 * ------------------------------------------------------------------------- */

typedef int32_t TpxStatus;

enum TpxStatusCode {
  tpxStsNoErr = 0,
  tpxStsNoOperation = 1,
  tpxStsMisalignedBuf = 2,
  tpxStsSqrtNegArg = 3,
  tpxStsInvZero = 4,
  tpxStsEvenMedianMaskSize = 5,
  tpxStsDivByZero = 6,
  tpxStsLnZeroArg = 7,
  tpxStsLnNegArg = 8,
  tpxStsNanArg = 9,
  tpxStsResFloor = 11,
  tpxStsOverflow = 12,
  tpxStsUnderflow = 17,
  tpxStsSingularity = 18,
  tpxStsDomain = 19,
  tpxStsNonKorvoCpu = 20,
  tpxStsCpuMismatch = 21,
  tpxStsAffineQuadChanged = 28,
  tpxStsWrongIntersectROI = 29,
  tpxStsWrongIntersectQuad = 30,
  tpxStsNotSupportedCpu = 36,
  tpxStsUnknownCacheSize = 37,
  tpxStsKernelNotSymmetric = 38,
  tpxStsErr = -2,
  tpxStsNoMemErr = -4,
  tpxStsBadArgErr = -5,
  tpxStsSizeErr = -6,
  tpxStsBoundsOrderErr = -7,
  tpxStsNullPtrErr = -8,
  tpxStsMemAllocErr = -9,
  tpxStsDivByZeroErr = -10,
  tpxStsOutOfRangeErr = -11,
  tpxStsDataTypeErr = -12,
  tpxStsScaleRangeErr = -13,
  tpxStsStepErr = -14,
  tpxStsFftOrderErr = -15,
  tpxStsFftFlagErr = -16,
  tpxStsContextMatchErr = -17,
  tpxStsThreshBoundsErr = -18,
  tpxStsThreshNegLevelErr = -19,
  tpxStsMoment00ZeroErr = -20,
  tpxStsFlipErr = -21,
  tpxStsInterpolationErr = -22,
  tpxStsResizeFactorErr = -23,
  tpxStsSamplePhaseErr = -30,
  tpxStsSampleFactorErr = -31,
  tpxStsShiftErr = -32,
  tpxStsMaskSizeErr = -33,
  tpxStsAnchorErr = -34,
  tpxStsStrideErr = -37,
  tpxStsChannelErr = -47,
  tpxStsDivisorErr = -51,
  tpxStsCoeffErr = -56,
  tpxStsRectErr = -57,
  tpxStsQuadErr = -58,
  tpxStsZeroMaskValuesErr = -59,
  tpxStsHistoLevelsErr = -107,
  tpxStsNotPixelStepErr = -108,
  tpxStsNotPosDefErr = -179,
  tpxStsStrideMatrixErr = -182,
  tpxStsSingularErr = -195,
  tpxStsRoiShiftMatrixErr = -202,
  tpxStsCountMatrixErr = -203,
  tpxStsSizeMatchMatrixErr = -204,
  tpxStsCpuNotSupportedErr = -9998,
  tpxStsNotSupportedModeErr = -9999,
};

/* The fixed English message of a status; "Unknown Status Code" for values
 * that are not in the table. The text is constant and lives as long as the
 * library is loaded. */
TPX_API const char* tpxGetStatusString(TpxStatus status);

/* ---------------------------------------------------------------------------
 * Library identification
 * ------------------------------------------------------------------------- */

/* One constant record per domain and code variant. */
typedef struct TpxVersionRecord {
  int32_t major;       /* 5 */
  int32_t minor;       /* 1 */
  int32_t buildSeries; /* 133 */
  int32_t buildNumber; /* 272 for the image domain, 274 for the signal domain */
  char cpuCode[4];     /* the running variant: "px", "a6", "w7", "t7" or "v8" */
  const char* libraryName;
  const char* versionText; /* "5.1.1" */
  const char* buildDate;
} TpxVersionRecord;

/* The processor's time-stamp counter, read at the moment of the call
 * (no serialisation, no scaling). */
TPX_API uint64_t tpxGetCpuClocks(void);

/* The version record of the image domain for the running variant. */
TPX_API const TpxVersionRecord* tpxiGetLibVersion(void);
/* The version record of the signal domain for the running variant. */
TPX_API const TpxVersionRecord* tpxsGetLibVersion(void);

/* ---------------------------------------------------------------------------
 * Aligned memory
 *
 * Blocks start on a 32-byte boundary; image rows are padded to a multiple of
 * 32 bytes, and the step chosen is stored in *pStepBytes (0 when width or
 * height is below 1). Sizes are computed in wrapping 32-bit arithmetic: keep
 * requests well inside the 32-bit range. Failure returns null. Any block may
 * be released by either tpxiFree or tpxsFree; freeing null does nothing.
 * ------------------------------------------------------------------------- */

TPX_API Tpx8u* tpxiMalloc_8u_C1(int widthPixels, int heightPixels, int* pStepBytes);
TPX_API Tpx16s* tpxiMalloc_16s_C1(int widthPixels, int heightPixels, int* pStepBytes);
TPX_API Tpx32s* tpxiMalloc_32s_C1(int widthPixels, int heightPixels, int* pStepBytes);
TPX_API Tpx32f* tpxiMalloc_32f_C1(int widthPixels, int heightPixels, int* pStepBytes);
TPX_API void tpxiFree(void* ptr);

/* A vector of len floats (null when len < 1). */
TPX_API Tpx32f* tpxsMalloc_32f(int len);
TPX_API void tpxsFree(void* ptr);

/* ---------------------------------------------------------------------------
 * Copy, set and type conversion
 *
 * Copy examines no step: zero and negative steps are followed as given.
 * Set and Convert reject steps below 1 (tpxStsStepErr). Steps need not be
 * multiples of the element size. Checks: null pointer (-8), then width or
 * height below 1 (-6), then steps (-14).
 * ------------------------------------------------------------------------- */

/* Rounding of float-to-integer conversions: 1 rounds to nearest with ties to
 * even; any other value truncates toward zero. */
typedef int32_t TpxRoundMode;
enum TpxRoundModeCode { tpxRoundTowardZero = 0, tpxRoundNearestEven = 1 };

/* Bit-exact copies (NaN payloads and -0 survive the 32f copy). */
TPX_API TpxStatus tpxiCopy_8u_C1R(const Tpx8u* pSrc, int srcStep, Tpx8u* pDst, int dstStep,
                                  TpxiSize roiSize);
TPX_API TpxStatus tpxiCopy_16s_C1R(const Tpx16s* pSrc, int srcStep, Tpx16s* pDst, int dstStep,
                                   TpxiSize roiSize);
TPX_API TpxStatus tpxiCopy_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst, int dstStep,
                                   TpxiSize roiSize);

/* Fill with value (the 32f fill stores the bit pattern of value unchanged). */
TPX_API TpxStatus tpxiSet_8u_C1R(Tpx8u value, Tpx8u* pDst, int dstStep, TpxiSize roiSize);
TPX_API TpxStatus tpxiSet_16s_C1R(Tpx16s value, Tpx16s* pDst, int dstStep, TpxiSize roiSize);
TPX_API TpxStatus tpxiSet_32s_C1R(Tpx32s value, Tpx32s* pDst, int dstStep, TpxiSize roiSize);
TPX_API TpxStatus tpxiSet_32f_C1R(Tpx32f value, Tpx32f* pDst, int dstStep, TpxiSize roiSize);

/* Exact widening conversions. */
TPX_API TpxStatus tpxiConvert_8u16s_C1R(const Tpx8u* pSrc, int srcStep, Tpx16s* pDst,
                                        int dstStep, TpxiSize roiSize);
TPX_API TpxStatus tpxiConvert_8u32f_C1R(const Tpx8u* pSrc, int srcStep, Tpx32f* pDst,
                                        int dstStep, TpxiSize roiSize);
TPX_API TpxStatus tpxiConvert_16s32f_C1R(const Tpx16s* pSrc, int srcStep, Tpx32f* pDst,
                                         int dstStep, TpxiSize roiSize);
/* Saturates to 0..255. */
TPX_API TpxStatus tpxiConvert_16s8u_C1R(const Tpx16s* pSrc, int srcStep, Tpx8u* pDst,
                                        int dstStep, TpxiSize roiSize);
/* Float to integer: v >= hi gives hi; otherwise anything not above lo (NaN
 * included) gives lo; otherwise v is rounded as roundMode says. */
TPX_API TpxStatus tpxiConvert_32f8u_C1R(const Tpx32f* pSrc, int srcStep, Tpx8u* pDst,
                                        int dstStep, TpxiSize roiSize, TpxRoundMode roundMode);
TPX_API TpxStatus tpxiConvert_32f16s_C1R(const Tpx32f* pSrc, int srcStep, Tpx16s* pDst,
                                         int dstStep, TpxiSize roiSize, TpxRoundMode roundMode);

/* ---------------------------------------------------------------------------
 * Scaled integer arithmetic (Sfs)
 *
 * The exact integer result R is scaled by 2^-scaleFactor and saturated to
 * the element range: a positive scaleFactor s rounds to nearest with ties to
 * even, (R + 2^(s-1) - 1 + ((R >> s) & 1)) >> s; a negative one multiplies.
 * An 8u difference is clamped at 0 before scaling. Sub and Div take the
 * FIRST operand as the subtrahend and the divisor.
 *
 * Checks: null pointer (-8), width or height below 1 (-6); Div also rejects
 * steps below 1 (-14), the others examine no step. Scale factors beyond the
 * point where every result is 0 fill the destination through
 * tpxiSet_8u_C1R / tpxiSet_16s_C1R and return its status (-14 for a
 * destination step below 1).
 * ------------------------------------------------------------------------- */

TPX_API TpxStatus tpxiAdd_8u_C1RSfs(const Tpx8u* pSrc1, int src1Step, const Tpx8u* pSrc2,
                                    int src2Step, Tpx8u* pDst, int dstStep, TpxiSize roiSize,
                                    int scaleFactor);
TPX_API TpxStatus tpxiAdd_16s_C1RSfs(const Tpx16s* pSrc1, int src1Step, const Tpx16s* pSrc2,
                                     int src2Step, Tpx16s* pDst, int dstStep, TpxiSize roiSize,
                                     int scaleFactor);
/* srcDst = srcDst + src */
TPX_API TpxStatus tpxiAdd_8u_C1IRSfs(const Tpx8u* pSrc, int srcStep, Tpx8u* pSrcDst,
                                     int srcDstStep, TpxiSize roiSize, int scaleFactor);
TPX_API TpxStatus tpxiAdd_16s_C1IRSfs(const Tpx16s* pSrc, int srcStep, Tpx16s* pSrcDst,
                                      int srcDstStep, TpxiSize roiSize, int scaleFactor);
/* dst = src2 - src1 */
TPX_API TpxStatus tpxiSub_8u_C1RSfs(const Tpx8u* pSrc1, int src1Step, const Tpx8u* pSrc2,
                                    int src2Step, Tpx8u* pDst, int dstStep, TpxiSize roiSize,
                                    int scaleFactor);
TPX_API TpxStatus tpxiSub_16s_C1RSfs(const Tpx16s* pSrc1, int src1Step, const Tpx16s* pSrc2,
                                     int src2Step, Tpx16s* pDst, int dstStep, TpxiSize roiSize,
                                     int scaleFactor);
/* srcDst = srcDst * src */
TPX_API TpxStatus tpxiMul_8u_C1IRSfs(const Tpx8u* pSrc, int srcStep, Tpx8u* pSrcDst,
                                     int srcDstStep, TpxiSize roiSize, int scaleFactor);
TPX_API TpxStatus tpxiMul_16s_C1IRSfs(const Tpx16s* pSrc, int srcStep, Tpx16s* pSrcDst,
                                      int srcDstStep, TpxiSize roiSize, int scaleFactor);
/* dst = src2 / src1, quotient in double rounded to nearest even. A zero
 * divisor stores 255 (8u, nonzero dividend) or the saturated sign of the
 * dividend (16s), 0 for a zero dividend, and the call returns
 * tpxStsDivByZero after writing the whole image. */
TPX_API TpxStatus tpxiDiv_8u_C1RSfs(const Tpx8u* pSrc1, int src1Step, const Tpx8u* pSrc2,
                                    int src2Step, Tpx8u* pDst, int dstStep, TpxiSize roiSize,
                                    int scaleFactor);
TPX_API TpxStatus tpxiDiv_16s_C1RSfs(const Tpx16s* pSrc1, int src1Step, const Tpx16s* pSrc2,
                                     int src2Step, Tpx16s* pDst, int dstStep, TpxiSize roiSize,
                                     int scaleFactor);
/* srcDst = srcDst / src */
TPX_API TpxStatus tpxiDiv_8u_C1IRSfs(const Tpx8u* pSrc, int srcStep, Tpx8u* pSrcDst,
                                     int srcDstStep, TpxiSize roiSize, int scaleFactor);
TPX_API TpxStatus tpxiDiv_16s_C1IRSfs(const Tpx16s* pSrc, int srcStep, Tpx16s* pSrcDst,
                                      int srcDstStep, TpxiSize roiSize, int scaleFactor);
/* srcDst = srcDst + value; returns at once for value 0 and scaleFactor 0. */
TPX_API TpxStatus tpxiAddC_8u_C1IRSfs(Tpx8u value, Tpx8u* pSrcDst, int srcDstStep,
                                      TpxiSize roiSize, int scaleFactor);
TPX_API TpxStatus tpxiAddC_16s_C1IRSfs(Tpx16s value, Tpx16s* pSrcDst, int srcDstStep,
                                       TpxiSize roiSize, int scaleFactor);
/* srcDst = srcDst - value */
TPX_API TpxStatus tpxiSubC_16s_C1IRSfs(Tpx16s value, Tpx16s* pSrcDst, int srcDstStep,
                                       TpxiSize roiSize, int scaleFactor);
/* dst = src * value; value 0 fills with 0 through Set, value 1 with
 * scaleFactor 0 copies through tpxiCopy_8u_C1R / tpxiCopy_16s_C1R. */
TPX_API TpxStatus tpxiMulC_8u_C1RSfs(const Tpx8u* pSrc, int srcStep, Tpx8u value, Tpx8u* pDst,
                                     int dstStep, TpxiSize roiSize, int scaleFactor);
TPX_API TpxStatus tpxiMulC_16s_C1RSfs(const Tpx16s* pSrc, int srcStep, Tpx16s value,
                                      Tpx16s* pDst, int dstStep, TpxiSize roiSize,
                                      int scaleFactor);
TPX_API TpxStatus tpxiMulC_8u_C1IRSfs(Tpx8u value, Tpx8u* pSrcDst, int srcDstStep,
                                      TpxiSize roiSize, int scaleFactor);
TPX_API TpxStatus tpxiMulC_16s_C1IRSfs(Tpx16s value, Tpx16s* pSrcDst, int srcDstStep,
                                       TpxiSize roiSize, int scaleFactor);

/* ---------------------------------------------------------------------------
 * Linear filters
 *
 * True convolution: dst(x, y) = sum over kernel rows i and columns j of
 * K[i][j] * src(x + anchor.x - j, y + anchor.y - i), K stored row by row. No
 * border is generated: every source pixel the kernel reaches, also outside
 * the region, is read from the caller's memory. Anchors are not checked and
 * may lie anywhere. Rows advance by step / element size (rounded down).
 * Checks: null pointers (-8), sizes below 1 (-6), then the divisor (-51,
 * 8u and 16s), then steps (-14) as noted per function.
 * ------------------------------------------------------------------------- */

/* 32-bit integer sum, then divisor 1: as is; 2^s: (sum + 2^(s-1)) >> s for a
 * positive sum; else sum * (float)(1/divisor) + 0.5 truncated for a positive
 * product; saturated to 0..255. srcStep >= width + kernel width - 1. */
TPX_API TpxStatus tpxiFilter_8u_C1R(const Tpx8u* pSrc, int srcStep, Tpx8u* pDst, int dstStep,
                                    TpxiSize roiSize, const Tpx32s* pKernel, TpxiSize kernelSize,
                                    TpxiPoint anchor, int divisor);
/* Taps (float)K * (float)(1/divisor); the sum rounded half away from zero and
 * saturated. Checks the kernel and divisor, allocates its scratch taps (-9),
 * then checks the images. */
TPX_API TpxStatus tpxiFilter_16s_C1R(const Tpx16s* pSrc, int srcStep, Tpx16s* pDst, int dstStep,
                                     TpxiSize roiSize, const Tpx32s* pKernel, TpxiSize kernelSize,
                                     TpxiPoint anchor, int divisor);
/* The generic variant sums in extended precision and rounds once; the vector
 * variants sum in single precision. */
TPX_API TpxStatus tpxiFilter_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst, int dstStep,
                                     TpxiSize roiSize, const Tpx32f* pKernel, TpxiSize kernelSize,
                                     TpxiPoint anchor);
/* dst(x, y) = sum over j of K[j] * src(x + xAnchor - j, y). */
TPX_API TpxStatus tpxiFilterRow_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                        int dstStep, TpxiSize roiSize, const Tpx32f* pKernel,
                                        int kernelSize, int xAnchor);
/* dst(x, y) = sum over i of K[i] * src(x, y + yAnchor - i); the step check
 * ignores the kernel length (srcStep, dstStep >= 4 * width). */
TPX_API TpxStatus tpxiFilterColumn_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                           int dstStep, TpxiSize roiSize, const Tpx32f* pKernel,
                                           int kernelSize, int yAnchor);

#ifdef __cplusplus
}
#endif

#endif /* TPX_H */
