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

/* A vector of len floats (null when len < 1). len x 4 + 36 bytes are taken
   from the heap, computed in 32 bits; where that wraps below 36 (len of
   0x3FFFFFF7 or more) no block can hold the alignment word, and the result
   is null. */
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
TPX_API TpxStatus tpxiConvert_8u16s_C1R(const Tpx8u* pSrc, int srcStep, Tpx16s* pDst, int dstStep,
                                        TpxiSize roiSize);
TPX_API TpxStatus tpxiConvert_8u32f_C1R(const Tpx8u* pSrc, int srcStep, Tpx32f* pDst, int dstStep,
                                        TpxiSize roiSize);
TPX_API TpxStatus tpxiConvert_16s32f_C1R(const Tpx16s* pSrc, int srcStep, Tpx32f* pDst, int dstStep,
                                         TpxiSize roiSize);
/* Saturates to 0..255. */
TPX_API TpxStatus tpxiConvert_16s8u_C1R(const Tpx16s* pSrc, int srcStep, Tpx8u* pDst, int dstStep,
                                        TpxiSize roiSize);
/* Float to integer: v >= hi gives hi; otherwise anything not above lo (NaN
 * included) gives lo; otherwise v is rounded as roundMode says. */
TPX_API TpxStatus tpxiConvert_32f8u_C1R(const Tpx32f* pSrc, int srcStep, Tpx8u* pDst, int dstStep,
                                        TpxiSize roiSize, TpxRoundMode roundMode);
TPX_API TpxStatus tpxiConvert_32f16s_C1R(const Tpx32f* pSrc, int srcStep, Tpx16s* pDst, int dstStep,
                                         TpxiSize roiSize, TpxRoundMode roundMode);

/* ---------------------------------------------------------------------------
 * Border, mirror, transpose, ramp and threshold
 *
 * Each function lists its own check order; codes: null pointer (-8), size
 * (-6), step (-14), flip mode (-21), threshold bounds (-18), allocation (-9).
 * ------------------------------------------------------------------------- */

typedef int32_t TpxiFlipMode;
enum TpxiFlipModeCode {
  tpxFlipAboutHorizontal = 0, /* row order reversed */
  tpxFlipAboutVertical = 1,   /* column order reversed within each row */
  tpxFlipAboutBoth = 2        /* both: a rotation by 180 degrees */
};

typedef int32_t TpxiRampDirection;
enum TpxiRampDirectionCode { tpxRampAlongX = 0, tpxRampAlongY = 1, tpxRampAlongXY = 2 };

/* Copies the source to (leftBorderWidth, topBorderHeight) of the destination
 * and fills the rest of it by replicating the source's edge pixels. The
 * source may lie inside the destination at that position with the same step
 * (in-place border). Checks: null (-8), a step below 1 (-14), then sizes
 * below 1, negative borders or a source that does not fit (-6). */
TPX_API TpxStatus tpxiCopyReplicateBorder_32s_C1R(const Tpx32s* pSrc, int srcStep,
                                                  TpxiSize srcRoiSize, Tpx32s* pDst, int dstStep,
                                                  TpxiSize dstRoiSize, int topBorderHeight,
                                                  int leftBorderWidth);
/* Out of place; steps are not checked. Checks: null (-8), size (-6), flip (-21). */
TPX_API TpxStatus tpxiMirror_8u_C1R(const Tpx8u* pSrc, int srcStep, Tpx8u* pDst, int dstStep,
                                    TpxiSize roiSize, TpxiFlipMode flip);
/* In place by swaps; steps are not checked. Flip 0 with a height below 2
 * returns at once, before the flip value is examined. */
TPX_API TpxStatus tpxiMirror_32s_C1IR(Tpx32s* pSrcDst, int srcDstStep, TpxiSize roiSize,
                                      TpxiFlipMode flip);
/* Square regions only (-6 otherwise); the step is not checked. */
TPX_API TpxStatus tpxiTranspose_32s_C1IR(Tpx32s* pSrcDst, int srcDstStep, TpxiSize roiSize);
/* value = (float)coordinate * slope + offset in single precision, the
 * coordinate being x, y, or the 32-bit integer product x * y. Rows advance
 * by dstStep / 4 elements. Checks: null (-8), dstStep below 1 (-14), size
 * (-6); an unknown direction returns tpxStsNoErr and writes nothing. */
TPX_API TpxStatus tpxiImageRamp_32f_C1R(Tpx32f* pDst, int dstStep, TpxiSize roiSize, Tpx32f offset,
                                        Tpx32f slope, TpxiRampDirection direction);
/* v < thresholdLT gives valueLT, else v > thresholdGT gives valueGT, else v.
 * Values are ordered by their bit patterns: as floats for ordinary values,
 * -0 below +0, +NaN above +Inf and -NaN below -Inf. Rows advance by step / 4
 * elements. Checks: null (-8), size (-6), a step below 1 (-14), then
 * thresholdLT > thresholdGT (-18, a float comparison: NaN passes). */
TPX_API TpxStatus tpxiThreshold_LTValGTVal_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                                   int dstStep, TpxiSize roiSize,
                                                   Tpx32f thresholdLT, Tpx32f valueLT,
                                                   Tpx32f thresholdGT, Tpx32f valueGT);
TPX_API TpxStatus tpxiThreshold_LTValGTVal_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep,
                                                    TpxiSize roiSize, Tpx32f thresholdLT,
                                                    Tpx32f valueLT, Tpx32f thresholdGT,
                                                    Tpx32f valueGT);

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
TPX_API TpxStatus tpxiAdd_8u_C1IRSfs(const Tpx8u* pSrc, int srcStep, Tpx8u* pSrcDst, int srcDstStep,
                                     TpxiSize roiSize, int scaleFactor);
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
TPX_API TpxStatus tpxiMul_8u_C1IRSfs(const Tpx8u* pSrc, int srcStep, Tpx8u* pSrcDst, int srcDstStep,
                                     TpxiSize roiSize, int scaleFactor);
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
TPX_API TpxStatus tpxiDiv_8u_C1IRSfs(const Tpx8u* pSrc, int srcStep, Tpx8u* pSrcDst, int srcDstStep,
                                     TpxiSize roiSize, int scaleFactor);
TPX_API TpxStatus tpxiDiv_16s_C1IRSfs(const Tpx16s* pSrc, int srcStep, Tpx16s* pSrcDst,
                                      int srcDstStep, TpxiSize roiSize, int scaleFactor);
/* srcDst = srcDst + value; returns at once for value 0 and scaleFactor 0. */
TPX_API TpxStatus tpxiAddC_8u_C1IRSfs(Tpx8u value, Tpx8u* pSrcDst, int srcDstStep, TpxiSize roiSize,
                                      int scaleFactor);
TPX_API TpxStatus tpxiAddC_16s_C1IRSfs(Tpx16s value, Tpx16s* pSrcDst, int srcDstStep,
                                       TpxiSize roiSize, int scaleFactor);
/* srcDst = srcDst - value */
TPX_API TpxStatus tpxiSubC_16s_C1IRSfs(Tpx16s value, Tpx16s* pSrcDst, int srcDstStep,
                                       TpxiSize roiSize, int scaleFactor);
/* dst = src * value; value 0 fills with 0 through Set, value 1 with
 * scaleFactor 0 copies through tpxiCopy_8u_C1R / tpxiCopy_16s_C1R. */
TPX_API TpxStatus tpxiMulC_8u_C1RSfs(const Tpx8u* pSrc, int srcStep, Tpx8u value, Tpx8u* pDst,
                                     int dstStep, TpxiSize roiSize, int scaleFactor);
TPX_API TpxStatus tpxiMulC_16s_C1RSfs(const Tpx16s* pSrc, int srcStep, Tpx16s value, Tpx16s* pDst,
                                      int dstStep, TpxiSize roiSize, int scaleFactor);
TPX_API TpxStatus tpxiMulC_8u_C1IRSfs(Tpx8u value, Tpx8u* pSrcDst, int srcDstStep, TpxiSize roiSize,
                                      int scaleFactor);
TPX_API TpxStatus tpxiMulC_16s_C1IRSfs(Tpx16s value, Tpx16s* pSrcDst, int srcDstStep,
                                       TpxiSize roiSize, int scaleFactor);

/* ---------------------------------------------------------------------------
 * Signal vectors
 *
 * A vector is a pointer and a length len in elements. Checks: null pointer
 * (-8), then len below 1 (-6). Subtraction takes the second operand minus
 * the first (the in-place operand minus the source).
 * ------------------------------------------------------------------------- */

TPX_API TpxStatus tpxsAdd_16s(const Tpx16s* pSrc1, const Tpx16s* pSrc2, Tpx16s* pDst, int len);
TPX_API TpxStatus tpxsAdd_16s_I(const Tpx16s* pSrc, Tpx16s* pSrcDst, int len);
/* The scaled rule of the image operations; scaleFactor above 16 zeroes,
 * 16 still rounds, -16 and below saturate by sign. */
TPX_API TpxStatus tpxsAdd_16s_ISfs(const Tpx16s* pSrc, Tpx16s* pSrcDst, int len, int scaleFactor);
/* pDst = pSrc2 - pSrc1 */
TPX_API TpxStatus tpxsSub_16s(const Tpx16s* pSrc1, const Tpx16s* pSrc2, Tpx16s* pDst, int len);
/* pSrcDst = pSrcDst - pSrc */
TPX_API TpxStatus tpxsSub_16s_I(const Tpx16s* pSrc, Tpx16s* pSrcDst, int len);
TPX_API TpxStatus tpxsSub_16s_ISfs(const Tpx16s* pSrc, Tpx16s* pSrcDst, int len, int scaleFactor);
TPX_API TpxStatus tpxsAdd_32f_I(const Tpx32f* pSrc, Tpx32f* pSrcDst, int len);
/* val 0.0 writes nothing. */
TPX_API TpxStatus tpxsAddC_32f_I(Tpx32f val, Tpx32f* pSrcDst, int len);
/* Arithmetic right shift by val: val 0 copies (with the copy's checks only),
 * a negative val is tpxStsShiftErr (-32), above 15 leaves the sign fill. */
TPX_API TpxStatus tpxsRShiftC_16s(const Tpx16s* pSrc, int val, Tpx16s* pDst, int len);
TPX_API TpxStatus tpxsRShiftC_16s_I(int val, Tpx16s* pSrcDst, int len);
/* Keeps samples phase, phase + factor, ...; *pDstLen gets their count and
 * *pPhase where the next block continues the grid. Checks: null (-8),
 * srcLen (-6), factor below 1 (-31), phase outside 0..factor-1 (-30). */
TPX_API TpxStatus tpxsSampleDown_16s(const Tpx16s* pSrc, int srcLen, Tpx16s* pDst, int* pDstLen,
                                     int factor, int* pPhase);
/* Writes pSrc[k] at k * factor + phase and zeros elsewhere, factor * srcLen
 * samples in all; *pPhase is not changed. Checks as tpxsSampleDown_16s. */
TPX_API TpxStatus tpxsSampleUp_16s(const Tpx16s* pSrc, int srcLen, Tpx16s* pDst, int* pDstLen,
                                   int factor, int* pPhase);
/* In-place ascending sort (iterative quicksort; the order of equal keys such
 * as -0 and +0 is deterministic). */
TPX_API TpxStatus tpxsSortAscend_32f_I(Tpx32f* pSrcDst, int len);
/* Re = magn * cos(phase), Im = magn * sin(phase), evaluated in double. */
TPX_API TpxStatus tpxsPolarToCart_32f(const Tpx32f* pSrcMagn, const Tpx32f* pSrcPhase,
                                      Tpx32f* pDstRe, Tpx32f* pDstIm, int len);
TPX_API TpxStatus tpxsCopy_32f(const Tpx32f* pSrc, Tpx32f* pDst, int len);
TPX_API TpxStatus tpxsSet_32s(Tpx32s val, Tpx32s* pDst, int len);
TPX_API TpxStatus tpxsZero_32f(Tpx32f* pDst, int len);

/* ---------------------------------------------------------------------------
 * Image statistics
 *
 * Whole-region reductions. Results go through the output pointers; nothing
 * is written when an argument check fails. Sums of integer images are exact
 * within each row (or block) and collected in double; 32f sums run in two
 * double accumulators, even and odd columns. Extremum positions are counted
 * from the region's first pixel; among equal extremes the first in raster
 * order wins.
 * ------------------------------------------------------------------------- */

/* Accuracy of the 32f sums. tpxAccuracyHintAccurate makes every variant sum
 * in double, with results identical to the generic code; any other value lets
 * a vector variant sum in single precision (the last bits may differ). */
typedef int32_t TpxAccuracyHint;
enum TpxAccuracyHintCode {
  tpxAccuracyHintNone = 0,
  tpxAccuracyHintFast = 1,
  tpxAccuracyHintAccurate = 2,
};

TPX_API TpxStatus tpxiSum_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize, Tpx64f* pSum,
                                  TpxAccuracyHint hint);

/* Sum divided by width x height. */
TPX_API TpxStatus tpxiMean_8u_C1R(const Tpx8u* pSrc, int srcStep, TpxiSize roiSize, Tpx64f* pMean);
TPX_API TpxStatus tpxiMean_16s_C1R(const Tpx16s* pSrc, int srcStep, TpxiSize roiSize,
                                   Tpx64f* pMean);
TPX_API TpxStatus tpxiMean_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize, Tpx64f* pMean,
                                   TpxAccuracyHint hint);

/* Mean and population standard deviation; either output may be null. The
 * step must cover a whole row (and be a multiple of the element size). */
TPX_API TpxStatus tpxiMean_StdDev_8u_C1R(const Tpx8u* pSrc, int srcStep, TpxiSize roiSize,
                                         Tpx64f* pMean, Tpx64f* pStdDev);
TPX_API TpxStatus tpxiMean_StdDev_16u_C1R(const Tpx16u* pSrc, int srcStep, TpxiSize roiSize,
                                          Tpx64f* pMean, Tpx64f* pStdDev);
TPX_API TpxStatus tpxiMean_StdDev_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                          Tpx64f* pMean, Tpx64f* pStdDev);

/* Sum of absolute values. The 16s form sums each row in 32 bits: a row whose
 * total reaches 2^31 (65536 pixels or more) wraps. */
TPX_API TpxStatus tpxiNorm_L1_8u_C1R(const Tpx8u* pSrc, int srcStep, TpxiSize roiSize,
                                     Tpx64f* pNorm);
TPX_API TpxStatus tpxiNorm_L1_16s_C1R(const Tpx16s* pSrc, int srcStep, TpxiSize roiSize,
                                      Tpx64f* pNorm);
TPX_API TpxStatus tpxiNorm_L1_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                      Tpx64f* pNorm, TpxAccuracyHint hint);

/* Square root of the sum of squares. */
TPX_API TpxStatus tpxiNorm_L2_8u_C1R(const Tpx8u* pSrc, int srcStep, TpxiSize roiSize,
                                     Tpx64f* pNorm);
TPX_API TpxStatus tpxiNorm_L2_16s_C1R(const Tpx16s* pSrc, int srcStep, TpxiSize roiSize,
                                      Tpx64f* pNorm);
TPX_API TpxStatus tpxiNorm_L2_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                      Tpx64f* pNorm, TpxAccuracyHint hint);

/* Extremum and its first position in raster order. 32f: a NaN never becomes
 * the maximum unless it is the first pixel, while a NaN pixel does become the
 * current minimum (and the pixel after it replaces it). */
TPX_API TpxStatus tpxiMinIndx_8u_C1R(const Tpx8u* pSrc, int srcStep, TpxiSize roiSize, Tpx8u* pMin,
                                     int* pIndexX, int* pIndexY);
TPX_API TpxStatus tpxiMinIndx_16s_C1R(const Tpx16s* pSrc, int srcStep, TpxiSize roiSize,
                                      Tpx16s* pMin, int* pIndexX, int* pIndexY);
TPX_API TpxStatus tpxiMinIndx_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                      Tpx32f* pMin, int* pIndexX, int* pIndexY);
TPX_API TpxStatus tpxiMaxIndx_8u_C1R(const Tpx8u* pSrc, int srcStep, TpxiSize roiSize, Tpx8u* pMax,
                                     int* pIndexX, int* pIndexY);
TPX_API TpxStatus tpxiMaxIndx_16s_C1R(const Tpx16s* pSrc, int srcStep, TpxiSize roiSize,
                                      Tpx16s* pMax, int* pIndexX, int* pIndexY);
TPX_API TpxStatus tpxiMaxIndx_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                      Tpx32f* pMax, int* pIndexX, int* pIndexY);

/* Number of pixels with lowerBound <= v <= upperBound (-7 unless
 * upperBound >= lowerBound). Rows advance by srcStep rounded down to a
 * multiple of 4 bytes. */
TPX_API TpxStatus tpxiCountInRange_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                           int* pCounts, Tpx32f lowerBound, Tpx32f upperBound);

/* pHist[k] counts pLevels[k] <= v < pLevels[k+1], k = 0 .. nLevels-2. Edges
 * that do not strictly increase are allowed: each bin is then tested on its
 * own, so a pixel may count in several bins. */
TPX_API TpxStatus tpxiHistogramRange_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                             int* pHist, const Tpx32f* pLevels, int nLevels);

/* ---------------------------------------------------------------------------
 * Image moments (32f, one channel)
 *
 * tpxiMoments64f_32f_C1R reads the image once into a state record that the
 * library allocates; the queries are closed forms over the stored raw
 * moments M(p, q) = sum of x^p y^q v, p + q <= 3, x the column and y the row
 * within the region. mOrd is the order in x, nOrd the order in y. Orders
 * summing above 3 give tpxStsSizeErr; a negative order selects no formula and
 * the query returns tpxStsNoErr without writing *pValue. A state never
 * filled answers tpxStsChannelErr; central, normalised and Hu queries give
 * tpxStsMoment00ZeroErr when |M(0,0)| <= 2^-52.
 * ------------------------------------------------------------------------- */

enum { tpxMomentStateTag = 33 };

typedef struct TpxiMomentState {
  int32_t tag;          /* tpxMomentStateTag */
  TpxAccuracyHint hint; /* as given at allocation; not used by the 1-channel fill */
  int32_t channelCount; /* -1 until filled, then 1 */
  Tpx64f rawMoments[3][16]; /* channel c: entry p + 4q holds M(p, q) */
} TpxiMomentState;

/* One aligned block: tag, hint, channelCount -1. -9 when memory is short. */
TPX_API TpxStatus tpxiMomentInitAlloc_64f(TpxiMomentState** ppState, TpxAccuracyHint hint);
TPX_API TpxStatus tpxiMomentFree_64f(TpxiMomentState* pState);
/* Checks: null (-8), tag (-17), srcStep < 1 (-14), size (-6), srcStep below
 * 4 x width (tpxStsStrideErr). The step need not be a multiple of 4. */
TPX_API TpxStatus tpxiMoments64f_32f_C1R(const Tpx32f* pSrc, int srcStep, TpxiSize roiSize,
                                         TpxiMomentState* pState);
/* Sum of (x + roiOffset.x)^mOrd (y + roiOffset.y)^nOrd v. Works for M(0,0) = 0. */
TPX_API TpxStatus tpxiGetSpatialMoment_64f(const TpxiMomentState* pState, int mOrd, int nOrd,
                                           int nChannel, TpxiPoint roiOffset, Tpx64f* pValue);
/* The spatial moment times M(0,0)^(-(mOrd + nOrd + 2) / 2). On
 * tpxStsMoment00ZeroErr *pValue keeps the plain spatial moment. */
TPX_API TpxStatus tpxiGetNormalizedSpatialMoment_64f(const TpxiMomentState* pState, int mOrd,
                                                     int nOrd, int nChannel, TpxiPoint roiOffset,
                                                     Tpx64f* pValue);
/* Moment about the centroid. */
TPX_API TpxStatus tpxiGetCentralMoment_64f(const TpxiMomentState* pState, int mOrd, int nOrd,
                                           int nChannel, Tpx64f* pValue);
TPX_API TpxStatus tpxiGetNormalizedCentralMoment_64f(const TpxiMomentState* pState, int mOrd,
                                                     int nOrd, int nChannel, Tpx64f* pValue);
/* The seven rotation invariants of Hu, in the usual order. */
TPX_API TpxStatus tpxiGetHuMoments_64f(const TpxiMomentState* pState, int nChannel,
                                       Tpx64f pHu[7]);

/* ---------------------------------------------------------------------------
 * Floating-point arithmetic and math functions (32f, one channel)
 *
 * Results are IEEE single precision, each rounded once. Two-image forms take
 * the FIRST source as the subtrahend or divisor. Sub, Mul, Add and the
 * constant forms examine no steps; Div, DivC and the unary functions refuse a
 * step below 1 (tpxStsStepErr). Warnings are returned after the whole image
 * has been written. Where Add or Mul meets two NaNs, the result is the first
 * operand's (src1, srcDst, or the pixel of a constant form), quieted.
 * ------------------------------------------------------------------------- */

TPX_API TpxStatus tpxiAdd_32f_C1R(const Tpx32f* pSrc1, int src1Step, const Tpx32f* pSrc2,
                                  int src2Step, Tpx32f* pDst, int dstStep, TpxiSize roiSize);
TPX_API TpxStatus tpxiAdd_32f_C1IR(const Tpx32f* pSrc, int srcStep, Tpx32f* pSrcDst, int srcDstStep,
                                   TpxiSize roiSize);
/* dst = src2 - src1. */
TPX_API TpxStatus tpxiSub_32f_C1R(const Tpx32f* pSrc1, int src1Step, const Tpx32f* pSrc2,
                                  int src2Step, Tpx32f* pDst, int dstStep, TpxiSize roiSize);
TPX_API TpxStatus tpxiMul_32f_C1R(const Tpx32f* pSrc1, int src1Step, const Tpx32f* pSrc2,
                                  int src2Step, Tpx32f* pDst, int dstStep, TpxiSize roiSize);
TPX_API TpxStatus tpxiMul_32f_C1IR(const Tpx32f* pSrc, int srcStep, Tpx32f* pSrcDst, int srcDstStep,
                                   TpxiSize roiSize);
/* dst = src2 / src1. A zero or NaN divisor stores +Inf (dividend > 0), the
 * negative quiet NaN 0xffc00000 (dividend 0) or -Inf (dividend < 0 or NaN)
 * and makes the status tpxStsDivByZero. */
TPX_API TpxStatus tpxiDiv_32f_C1R(const Tpx32f* pSrc1, int src1Step, const Tpx32f* pSrc2,
                                  int src2Step, Tpx32f* pDst, int dstStep, TpxiSize roiSize);
/* srcDst = srcDst / src, with the zero-divisor rule of tpxiDiv_32f_C1R. */
TPX_API TpxStatus tpxiDiv_32f_C1IR(const Tpx32f* pSrc, int srcStep, Tpx32f* pSrcDst, int srcDstStep,
                                   TpxiSize roiSize);
TPX_API TpxStatus tpxiAddC_32f_C1IR(Tpx32f value, Tpx32f* pSrcDst, int srcDstStep,
                                    TpxiSize roiSize);
TPX_API TpxStatus tpxiMulC_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f value, Tpx32f* pDst,
                                   int dstStep, TpxiSize roiSize);
TPX_API TpxStatus tpxiMulC_32f_C1IR(Tpx32f value, Tpx32f* pSrcDst, int srcDstStep,
                                    TpxiSize roiSize);
/* Multiplies by the single-precision reciprocal of value (which may differ
 * from a true quotient in the last bit); value 0 or NaN: tpxStsDivByZeroErr. */
TPX_API TpxStatus tpxiDivC_32f_C1IR(Tpx32f value, Tpx32f* pSrcDst, int srcDstStep,
                                    TpxiSize roiSize);

/* Clears the sign bit. Rows advance by srcDstStep rounded down to a multiple
 * of 4 bytes (also for Sqr and Sqrt). */
TPX_API TpxStatus tpxiAbs_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep, TpxiSize roiSize);
TPX_API TpxStatus tpxiSqr_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep, TpxiSize roiSize);
/* +0 and -0 are left alone; a negative or NaN argument stores 0xffc00000 and
 * gives tpxStsSqrtNegArg. */
TPX_API TpxStatus tpxiSqrt_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep, TpxiSize roiSize);
/* e^x; on rows of four or more, x >= 88.72284 gives +Inf and x <= -87.33655
 * gives 0 (NaN gives a quiet NaN of its sign). Never a warning. Rows advance
 * by srcDstStep unchanged (also for Ln). */
TPX_API TpxStatus tpxiExp_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep, TpxiSize roiSize);
/* Natural logarithm. Sign bit set (-0 included): 0xffc00000, tpxStsLnNegArg;
 * +0: -Inf, tpxStsLnZeroArg. A row reports the first of these it meets; the
 * call returns the report of the first row that has one. */
TPX_API TpxStatus tpxiLn_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep, TpxiSize roiSize);

/* Accumulation of an 8-bit image into a 32f one: srcDst += src. Steps must
 * cover a row (tpxStsStepErr) and srcDstStep be a multiple of 4
 * (tpxStsNotPixelStepErr). */
TPX_API TpxStatus tpxiAdd_8u32f_C1IR(const Tpx8u* pSrc, int srcStep, Tpx32f* pSrcDst,
                                     int srcDstStep, TpxiSize roiSize);
/* Running average: srcDst = srcDst + (src - srcDst) * alpha, in double
 * precision rounded once; alpha is not range-checked. Steps as above. */
TPX_API TpxStatus tpxiAddWeighted_8u32f_C1IR(const Tpx8u* pSrc, int srcStep, Tpx32f* pSrcDst,
                                             int srcDstStep, TpxiSize roiSize, Tpx32f alpha);

/* ---------------------------------------------------------------------------
 * Template matching
 *
 * For every placement of the template on the source, with X the sum of
 * source x template over the window, S2 the window's sum of squares, S1 its
 * sum, T2 the template's sum of squares, mean T and area A, and floors at
 * eps = 0.0005:
 *   Norm:        X / (sqrt(max(S2, eps)) * max(sqrt(T2), eps))
 *   NormLevel:   X' / sqrt(max(S2 - S1^2/A, eps) * max(T2 - A T^2, eps)),
 *                X' the correlation with the mean-removed template
 *   SqrDistance: (S2 - 2X + T2) / (sqrt(max(S2, eps)) * max(sqrt(T2), eps))
 * Output sizes: Full (srcW + tplW - 1) x (srcH + tplH - 1), anchored at
 * (-(tplW - 1), -(tplH - 1)); Same srcW x srcH, anchored at
 * (-(tplW / 2), -(tplH / 2)); Valid (srcW - tplW + 1) x (srcH - tplH + 1).
 * Source pixels outside the region count as 0. Checks: null (-8), sizes
 * below 1 or a template larger than the source in any mode (-6), steps
 * below 1 (-14); -9 when scratch memory cannot be had.
 * ------------------------------------------------------------------------- */

TPX_API TpxStatus tpxiCrossCorrFull_Norm_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                 TpxiSize srcRoiSize, const Tpx32f* pTpl,
                                                 int tplStep, TpxiSize tplRoiSize, Tpx32f* pDst,
                                                 int dstStep);
TPX_API TpxStatus tpxiCrossCorrSame_Norm_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                 TpxiSize srcRoiSize, const Tpx32f* pTpl,
                                                 int tplStep, TpxiSize tplRoiSize, Tpx32f* pDst,
                                                 int dstStep);
TPX_API TpxStatus tpxiCrossCorrValid_Norm_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                  TpxiSize srcRoiSize, const Tpx32f* pTpl,
                                                  int tplStep, TpxiSize tplRoiSize, Tpx32f* pDst,
                                                  int dstStep);
TPX_API TpxStatus tpxiCrossCorrFull_NormLevel_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                      TpxiSize srcRoiSize, const Tpx32f* pTpl,
                                                      int tplStep, TpxiSize tplRoiSize,
                                                      Tpx32f* pDst, int dstStep);
TPX_API TpxStatus tpxiCrossCorrSame_NormLevel_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                      TpxiSize srcRoiSize, const Tpx32f* pTpl,
                                                      int tplStep, TpxiSize tplRoiSize,
                                                      Tpx32f* pDst, int dstStep);
TPX_API TpxStatus tpxiCrossCorrValid_NormLevel_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                       TpxiSize srcRoiSize, const Tpx32f* pTpl,
                                                       int tplStep, TpxiSize tplRoiSize,
                                                       Tpx32f* pDst, int dstStep);
TPX_API TpxStatus tpxiSqrDistanceFull_Norm_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                   TpxiSize srcRoiSize, const Tpx32f* pTpl,
                                                   int tplStep, TpxiSize tplRoiSize, Tpx32f* pDst,
                                                   int dstStep);
TPX_API TpxStatus tpxiSqrDistanceSame_Norm_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                   TpxiSize srcRoiSize, const Tpx32f* pTpl,
                                                   int tplStep, TpxiSize tplRoiSize, Tpx32f* pDst,
                                                   int dstStep);
TPX_API TpxStatus tpxiSqrDistanceValid_Norm_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                    TpxiSize srcRoiSize, const Tpx32f* pTpl,
                                                    int tplStep, TpxiSize tplRoiSize, Tpx32f* pDst,
                                                    int dstStep);

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
TPX_API TpxStatus tpxiFilterRow_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst, int dstStep,
                                        TpxiSize roiSize, const Tpx32f* pKernel, int kernelSize,
                                        int xAnchor);
/* dst(x, y) = sum over i of K[i] * src(x, y + yAnchor - i); the step check
 * ignores the kernel length (srcStep, dstStep >= 4 * width). */
TPX_API TpxStatus tpxiFilterColumn_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                           int dstStep, TpxiSize roiSize, const Tpx32f* pKernel,
                                           int kernelSize, int yAnchor);

/* ---------------------------------------------------------------------------
 * Gaussian noise
 *
 * Adds normal noise of the given mean and standard deviation to every pixel,
 * in place. The generator starts from *pSeed and writes its new state back,
 * so a seed reproduces the same noise; two calls give different noise from
 * one call over the same pixels. Deviates are used in raster order; 8u and
 * 16s add the noise plus the mean truncated toward zero, then saturate; 32f
 * adds in double precision without clamping. A negative stdDev flips the
 * noise. Checks: null pointers (-8), size (-6), srcDstStep below 1 (-14);
 * on error nothing is written and *pSeed is unchanged.
 * ------------------------------------------------------------------------- */

TPX_API TpxStatus tpxiAddRandGauss_Direct_8u_C1IR(Tpx8u* pSrcDst, int srcDstStep, TpxiSize roiSize,
                                                  Tpx8u mean, Tpx8u stdDev, unsigned int* pSeed);
TPX_API TpxStatus tpxiAddRandGauss_Direct_16s_C1IR(Tpx16s* pSrcDst, int srcDstStep,
                                                   TpxiSize roiSize, Tpx16s mean, Tpx16s stdDev,
                                                   unsigned int* pSeed);
TPX_API TpxStatus tpxiAddRandGauss_Direct_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep,
                                                   TpxiSize roiSize, Tpx32f mean, Tpx32f stdDev,

                                                   unsigned int* pSeed);
/* ---------------------------------------------------------------------------
 * Rank filters
 *
 * The neighbourhood of dst(x, y) is the mask laid with its anchor cell on
 * (x, y), not mirrored: source columns x - anchor.x .. x - anchor.x +
 * maskSize.width - 1, rows alike. The median and Min/Max read it from the
 * caller's memory around the region; rows are found by byte step, which need
 * only be positive. Median of n values: the value of rank n / 2 + 1.
 * Min/Max fold each window row left to right, then the row results top to
 * bottom, keeping the first value and replacing it only by a strictly smaller
 * (Min) or larger (Max) one: a NaN survives only when first, and of +0 and
 * -0 the first stays.
 * ------------------------------------------------------------------------- */

/* Both mask sides odd. Checks: -8, -6, steps < 1 -14, mask side < 1 or even
 * -33, anchor outside the mask -34, then (one-column masks of height 7 or
 * more) -9 when the scratch column cannot be allocated. */
TPX_API TpxStatus tpxiFilterMedian_8u_C1R(const Tpx8u* pSrc, int srcStep, Tpx8u* pDst,
                                          int dstStep, TpxiSize roiSize, TpxiSize maskSize,
                                          TpxiPoint anchor);
/* Centred median along the row: mask 31 (3 pixels) or 51 (5), else -33. */
TPX_API TpxStatus tpxiFilterMedianHoriz_8u_C1R(const Tpx8u* pSrc, int srcStep, Tpx8u* pDst,
                                               int dstStep, TpxiSize roiSize, int mask);
/* Centred median along the column: mask 13 (3 rows) or 15 (5), else -33. */
TPX_API TpxStatus tpxiFilterMedianVert_8u_C1R(const Tpx8u* pSrc, int srcStep, Tpx8u* pDst,
                                              int dstStep, TpxiSize roiSize, int mask);
/* Checks: -8, -6, steps < 1 -14, mask side < 1 -33 (even sides are fine),
 * anchor -34, row store of maskSize.height x roiSize.width floats -9. */
TPX_API TpxStatus tpxiFilterMin_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst, int dstStep,
                                        TpxiSize roiSize, TpxiSize maskSize, TpxiPoint anchor);
TPX_API TpxStatus tpxiFilterMax_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst, int dstStep,
                                        TpxiSize roiSize, TpxiSize maskSize, TpxiPoint anchor);
/* Reads the region only: pixels outside it count as replicas of the nearest
 * edge pixel, so the result is Min/Max over the window clipped to the region
 * (equal, NaN included, to Min/Max on a replicate-padded copy). pBuffer holds
 * at least the size the GetBufferSize query reports, at any alignment.
 * Checks: pSrc, pDst, pBuffer -8; -6; mask -33; anchor -34; srcStep <
 * 4 x width -14, srcStep % 4 -108; then dstStep alike. */
TPX_API TpxStatus tpxiFilterMinBorderReplicate_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                       Tpx32f* pDst, int dstStep, TpxiSize roiSize,
                                                       TpxiSize maskSize, TpxiPoint anchor,
                                                       Tpx8u* pBuffer);
TPX_API TpxStatus tpxiFilterMaxBorderReplicate_32f_C1R(const Tpx32f* pSrc, int srcStep,
                                                       Tpx32f* pDst, int dstStep, TpxiSize roiSize,
                                                       TpxiSize maskSize, TpxiPoint anchor,
                                                       Tpx8u* pBuffer);
/* 8 x maskSize.height x roiWidth + 80 x maskSize.height + 32 bytes (32-bit
 * unsigned arithmetic). Checks: -8, roiWidth < 1 -6, mask side < 1 -33. */
TPX_API TpxStatus tpxiFilterMinGetBufferSize_32f_C1R(int roiWidth, TpxiSize maskSize,
                                                     int* pBufferSize);
TPX_API TpxStatus tpxiFilterMaxGetBufferSize_32f_C1R(int roiWidth, TpxiSize maskSize,
                                                     int* pBufferSize);
/* ---------------------------------------------------------------------------
 * Small matrices
 *
 * Element (i, j) (row i, column j) of a matrix lies i * stride1 + j * stride2
 * BYTES from its pointer, vector element i at i * stride2, so row-major,
 * column-major and padded layouts are all legal. width counts columns,
 * height rows. Single precision throughout: every formula is evaluated in the
 * order written, sums left to right starting from their first term.
 *
 * Checks, the first failing one decides: null pointers (-8), counts below 1
 * (-6), then every stride the operation takes (even one a 1 x 1 or one-row
 * operand never uses) must be positive and a multiple of 4, else
 * tpxStsStrideMatrixErr (-182). Size relations give tpxStsSizeMatchMatrixErr
 * (-204): the products test them BEFORE the strides, the QR operations AFTER.
 * A destination that overlaps a source gives undefined results, except that
 * the QR decomposition may work in place.
 * ------------------------------------------------------------------------- */

/* Householder QR of a height x width matrix (height >= width). pDst receives
 * R on and above the diagonal and, below it in column k, the reflection
 * vector v_k (whose component k is an implicit 1). width steps, or width - 1
 * when square. A column whose squared norm below the diagonal is under 2^-23
 * stops it with tpxStsDivByZeroErr (-10), pDst then holding the steps done
 * so far. pBuffer: height floats of scratch. */
TPX_API TpxStatus tpxmQRDecomp_m_32f(const Tpx32f* pSrc, int srcStride1, int srcStride2,
                                     Tpx32f* pBuffer, Tpx32f* pDst, int dstStride1,
                                     int dstStride2, int width, int height);
/* Least-squares solution x (width elements) of A x = b (height elements), A
 * given as the storage tpxmQRDecomp_m_32f writes. pSrc2 is not written; the
 * back substitution divides by R(i, i) without testing it. pBuffer: height
 * floats of scratch. */
TPX_API TpxStatus tpxmQRBackSubst_mv_32f(const Tpx32f* pSrc, int srcStride1, int srcStride2,
                                         Tpx32f* pBuffer, const Tpx32f* pSrc2, int src2Stride2,
                                         Tpx32f* pDst, int dstStride2, int width, int height);
/* Solves L L^T x = b for an order-widthHeight factor given as L below the
 * diagonal and 1 / L(i, i) on it (multiplied, never divided; the upper
 * triangle is not read). pDst may be pSrc2 with the same stride. */
TPX_API TpxStatus tpxmCholeskyBackSubst_mv_32f(const Tpx32f* pSrc, int srcStride1, int srcStride2,
                                               const Tpx32f* pSrc2, int src2Stride2, Tpx32f* pDst,
                                               int dstStride2, int widthHeight);
/* dst(i) = sum over j of A(i, j) * x(j): src1Height outputs;
 * src1Width != src2Len is -204. */
TPX_API TpxStatus tpxmMul_mv_32f(const Tpx32f* pSrc1, int src1Stride1, int src1Stride2,
                                 int src1Width, int src1Height, const Tpx32f* pSrc2,
                                 int src2Stride2, int src2Len, Tpx32f* pDst, int dstStride2);
/* dst(j) = sum over i of A(i, j) * x(i): src1Width outputs;
 * src1Height != src2Len is -204. */
TPX_API TpxStatus tpxmMul_tv_32f(const Tpx32f* pSrc1, int src1Stride1, int src1Stride2,
                                 int src1Width, int src1Height, const Tpx32f* pSrc2,
                                 int src2Stride2, int src2Len, Tpx32f* pDst, int dstStride2);
/* *pDst = sum of src1(i) * src2(i), in index order. */
TPX_API TpxStatus tpxmDotProduct_vv_32f(const Tpx32f* pSrc1, int src1Stride2, const Tpx32f* pSrc2,
                                        int src2Stride2, Tpx32f* pDst, int len);
/* dst(i) = src1(i) * scale + src2(i): the FIRST source is scaled. */
TPX_API TpxStatus tpxmSaxpy_vv_32f(const Tpx32f* pSrc1, int src1Stride2, Tpx32f scale,
                                   const Tpx32f* pSrc2, int src2Stride2, Tpx32f* pDst,
                                   int dstStride2, int len);
/* dst(j, i) = src(i, j), bit patterns moved as they are; dst has width rows
 * and height columns. */
TPX_API TpxStatus tpxmTranspose_m_32f(const Tpx32f* pSrc, int srcStride1, int srcStride2,
                                      int width, int height, Tpx32f* pDst, int dstStride1,
                                      int dstStride2);
/* ---------------------------------------------------------------------------
 * Two-dimensional convolution
 *
 * dst(x, y) = sum over i, j of img(x - i + ox, y - j + oy) * ker(i, j), the
 * kernel reversed in both directions. Full: (W + w - 1) x (H + h - 1) pixels,
 * ox = oy = 0, image pixels outside the image count as 0. Valid:
 * (W - w + 1) x (H - h + 1) pixels, ox = w - 1, oy = h - 1. The operands are
 * symmetric: Full takes the second as the image when the first is narrower
 * (heights are not compared); Valid when the first is narrower or shorter.
 * The 16s and 8u forms multiply by (float)(1 / divisor) and round to the
 * nearest, saturating. Checks: null (-8), sizes below 1 (-6), steps below 1
 * (-14), divisor 0 (-51), then for Valid an operand pair where neither
 * contains the other (-6); -9 when scratch memory cannot be had. Small
 * problems run on the linear filters, whose step checks (-14) and row
 * advance by whole elements then apply; larger ones in the frequency domain.
 * ------------------------------------------------------------------------- */

TPX_API TpxStatus tpxiConvFull_32f_C1R(const Tpx32f* pSrc1, int src1Step, TpxiSize src1Size,
                                       const Tpx32f* pSrc2, int src2Step, TpxiSize src2Size,
                                       Tpx32f* pDst, int dstStep);
TPX_API TpxStatus tpxiConvFull_16s_C1R(const Tpx16s* pSrc1, int src1Step, TpxiSize src1Size,
                                       const Tpx16s* pSrc2, int src2Step, TpxiSize src2Size,
                                       Tpx16s* pDst, int dstStep, int divisor);
TPX_API TpxStatus tpxiConvFull_8u_C1R(const Tpx8u* pSrc1, int src1Step, TpxiSize src1Size,
                                      const Tpx8u* pSrc2, int src2Step, TpxiSize src2Size,
                                      Tpx8u* pDst, int dstStep, int divisor);
TPX_API TpxStatus tpxiConvValid_32f_C1R(const Tpx32f* pSrc1, int src1Step, TpxiSize src1Size,
                                        const Tpx32f* pSrc2, int src2Step, TpxiSize src2Size,
                                        Tpx32f* pDst, int dstStep);
TPX_API TpxStatus tpxiConvValid_16s_C1R(const Tpx16s* pSrc1, int src1Step, TpxiSize src1Size,
                                        const Tpx16s* pSrc2, int src2Step, TpxiSize src2Size,
                                        Tpx16s* pDst, int dstStep, int divisor);
TPX_API TpxStatus tpxiConvValid_8u_C1R(const Tpx8u* pSrc1, int src1Step, TpxiSize src1Size,
                                       const Tpx8u* pSrc2, int src2Step, TpxiSize src2Size,
                                       Tpx8u* pDst, int dstStep, int divisor);
/* ---------------------------------------------------------------------------
 * Flood fill
 *
 * Fills, in place, the 4-connected region of a 32f image that holds the seed,
 * writes newVal into it and reports its area and bounding rectangle (region
 * coordinates). The caller's work buffer must hold the size the matching
 * GetSize function gives; the fills allocate nothing. Checks: null pointers
 * (-8), sizes (-6), imageStep < 4 * width (-14), step alignment (-108), seed
 * outside the region (-11), then (gradient fill) the deltas (-11).
 * ------------------------------------------------------------------------- */

/* What a fill reports: area, value {newVal, 0, 0}, bounding rectangle. */
typedef struct TpxiConnectedComp {
  Tpx64f area;
  Tpx64f value[3];
  TpxiRect rect;
} TpxiConnectedComp;

/* 6 * width * height + 32 bytes (24 * width * height formed in 64 bits,
 * divided by 4, truncated to 32 bits, then + 32). */
TPX_API TpxStatus tpxiFloodFillGetSize(TpxiSize roiSize, int* pBufferSize);
/* (width + 2) * (height + 2) more than tpxiFloodFillGetSize. */
TPX_API TpxStatus tpxiFloodFillGetSize_Grad(TpxiSize roiSize, int* pBufferSize);
/* Pixels equal to the seed's value join. newVal equal to that value (or
 * either NaN): returns 0 and writes nothing. Odd steps give -108; other steps
 * address rows at imageStep / 4 elements. */
TPX_API TpxStatus tpxiFloodFill_4Con_32f_C1IR(Tpx32f* pImage, int imageStep, TpxiSize roiSize,
                                              TpxiPoint seed, Tpx32f newVal,
                                              TpxiConnectedComp* pRegion, Tpx8u* pBuffer);
/* Pixels in [s - minDelta, s + maxDelta] (double) join, s the seed's value;
 * NaN never joins; the deltas are not checked. newVal must lie outside the
 * range; steps and the early exit as in the equality fill. */
TPX_API TpxStatus tpxiFloodFill_Range4Con_32f_C1IR(Tpx32f* pImage, int imageStep,
                                                   TpxiSize roiSize, TpxiPoint seed, Tpx32f newVal,
                                                   Tpx32f minDelta, Tpx32f maxDelta,
                                                   TpxiConnectedComp* pRegion, Tpx8u* pBuffer);
/* A pixel joins when !(|(v + half) - c| > mid) in double, c an accepted
 * neighbour's value before the fill, half = (float)((minDelta - maxDelta) / 2),
 * mid = (float)((minDelta + maxDelta) / 2): NaN joins. Deltas below 0 or NaN
 * give -11; the step must be a multiple of 4 (-108). */
TPX_API TpxStatus tpxiFloodFill_Grad4Con_32f_C1IR(Tpx32f* pImage, int imageStep,
                                                  TpxiSize roiSize, TpxiPoint seed, Tpx32f newVal,
                                                  Tpx32f minDelta, Tpx32f maxDelta,
                                                  TpxiConnectedComp* pRegion, Tpx8u* pBuffer);
/* ---------------------------------------------------------------------------
 * Affine geometry and warping
 *
 * Coefficients c[2][3] map a point (u, v) to X = c00 u + c01 v + c02,
 * Y = c10 u + c11 v + c12; the centre of pixel (u, v) is the point (u, v).
 * A quadrangle q[4][2] lists the images of a rectangle's corner pixels (x, y),
 * (x + width - 1, y), (x + width - 1, y + height - 1), (x, y + height - 1).
 * It is usable when the turns at its four vertices are all nonzero and of one
 * sign (exactly: no tolerance). None of the helpers checks its array pointers.
 * ------------------------------------------------------------------------- */

/* Interpolation codes of the warps. tpxEdgeBlendFlag (bit 31) may be or-ed
 * into the code of the forward warps to blend the quadrangle's slanted edges
 * with the pixels just outside them. */
enum TpxInterpolationCode {
  tpxInterNearest = 1, /* source (trunc(sx + 0.5), trunc(sy + 0.5)) */
  tpxInterLinear = 2,  /* bilinear; the last column/row uses the last pair */
  tpxInterCubic = 4,   /* four-point Lagrange, extrapolating at the borders */
  tpxEdgeBlendFlag = (-2147483647 - 1)
};

/* The quadrangle of srcRoi under coeffs, written even when it is unusable.
 * -6 for srcRoi.x or .y < 0 or a size below 1; -56 when the quadrangle is
 * degenerate (a one-pixel-wide rectangle always is) or non-convex. */
TPX_API TpxStatus tpxiGetAffineQuad(TpxiRect srcRoi, Tpx64f quad[4][2], const Tpx64f coeffs[2][3]);
/* {{min x, min y}, {max x, max y}} of that quadrangle; also written with -56. */
TPX_API TpxStatus tpxiGetAffineBound(TpxiRect srcRoi, Tpx64f bound[2][2],
                                     const Tpx64f coeffs[2][3]);
/* The coefficients that map srcRoi's corners onto quad's first three
 * vertices. Checks: -6 (srcRoi), -58 (quad unusable), then -57 (width or
 * height 1; coeffs untouched). Returns 28 when the fourth vertex is not where
 * a parallelogram would put it (coeffs written all the same). */
TPX_API TpxStatus tpxiGetAffineTransform(TpxiRect srcRoi, const Tpx64f quad[4][2],
                                         Tpx64f coeffs[2][3]);

/* Warps of a 32f image region. pSrc and pDst point to pixel (0, 0) of their
 * images and the regions are given in those images' coordinates; only
 * destination pixels inside both dstRoi and the quadrangle of the (clipped)
 * source region are written. Kernels read the whole source image (srcSize).
 * A source of width or height 1 is sampled nearest, one below 4 bilinear
 * instead of cubic. Checks, in order: pSrc or pDst null (-8); a size below 1
 * or a region origin below 0 (-6); a step below 1 (-14); the mode without
 * bit 31 not 1, 2 or 4 (-22); singular coeffs (-56); srcRoi origin outside
 * the source (29, nothing written); forward only: clipped source region
 * narrower or lower than 2 (-57); unusable destination quadrangle (-56);
 * nothing to write or no memory (30, nothing written). The generic variant
 * evaluates bilinear in extended precision. */
/* coeffs map source to destination; tpxEdgeBlendFlag honoured. */
TPX_API TpxStatus tpxiWarpAffine_32f_C1R(const Tpx32f* pSrc, TpxiSize srcSize, int srcStep,
                                         TpxiRect srcRoi, Tpx32f* pDst, int dstStep,
                                         TpxiRect dstRoi, const Tpx64f coeffs[2][3],
                                         int interpolation);
/* coeffs map destination to source; bit 31 ignored. */
TPX_API TpxStatus tpxiWarpAffineBack_32f_C1R(const Tpx32f* pSrc, TpxiSize srcSize, int srcStep,
                                             TpxiRect srcRoi, Tpx32f* pDst, int dstStep,
                                             TpxiRect dstRoi, const Tpx64f coeffs[2][3],
                                             int interpolation);

/* Remap: destination pixel (x, y) of the region takes the source value at
 * (pxMap(x, y), pyMap(x, y)) in whole-image coordinates when that position
 * lies inside the clipped srcRoi (inclusive, compared in float; NaN never
 * does); other destination pixels keep their value. pSrc points to source
 * pixel (0, 0); pDst, pxMap and pyMap to the first pixel of their region.
 * Bilinear interpolates in single precision. Checks, in order: null pointers
 * (-8); sizes (-6); interpolation not exactly 1, 2 or 4 (-22: bit 31 is an
 * error here); a step below 1 (-14); srcRoi origin outside the source (29). */
TPX_API TpxStatus tpxiRemap_32f_C1R(const Tpx32f* pSrc, TpxiSize srcSize, int srcStep,
                                    TpxiRect srcRoi, const Tpx32f* pxMap, int xMapStep,
                                    const Tpx32f* pyMap, int yMapStep, Tpx32f* pDst, int dstStep,
                                    TpxiSize dstRoiSize, int interpolation);
/* Rotation by angle degrees (counter-clockwise on screen) about (xCenter,
 * yCenter): the forward warp with {{cos, sin, xShift}, {-sin, cos, yShift}}
 * on 8u data, with its addressing, checks and statuses and edge blending.
 * Right angles use cos and sin of exactly 0 and +-1 and exact shifts. 8u
 * results: bilinear trunc(v + 0.5); cubic and blended values clamped to
 * 0..255 first. A NaN or infinite angle gives -56. */
TPX_API TpxStatus tpxiRotateCenter_8u_C1R(const Tpx8u* pSrc, TpxiSize srcSize, int srcStep,
                                          TpxiRect srcRoi, Tpx8u* pDst, int dstStep,
                                          TpxiRect dstRoi, double angle, double xCenter,
                                          double yCenter, int interpolation);
/* ---------------------------------------------------------------------------
 * Border filters
 *
 * Fixed separable 3x3 (mask 33) or 5x5 (mask 55) kernels on a 32f region,
 * applied as correlation: dst(x, y) = sum over j, k of V[j] H[k]
 * src(x + k - r, y + j - r), r = 1 or 2, where pixels outside the region come
 * from the border type; only the region is read. Rows are filtered first,
 * then columns, all in single precision: 3x3 passes in ascending tap order,
 * 5x5 ones as ((a + e) + 4(b + d)) + 6c, (a - e) + 2(b - d) and a plain sum
 * (a..e in ascending offset); zero taps are skipped; a NaN result is stored
 * as the quiet NaN 0xFFC00000. Under the constant type
 * the rows outside the region enter the column pass as (sum of H) x
 * borderValue. pBuffer holds at least the size the GetBufferSize companion
 * reports; its content on entry does not matter.
 * Checks: pSrc, pDst or pBuffer null (-8), width or height below 1 (-6), a
 * step below 4 x width (-14), a step not a multiple of 4 (-108), borderType
 * outside 0..4 (-5), mask neither 33 nor 55 (-33).
 * ------------------------------------------------------------------------- */

/* Pixels outside the region, at index i < 0 or i >= size of a row or column. */
enum TpxBorderTypeCode {
  tpxBorderConstant = 0,    /* borderValue */
  tpxBorderReplicate = 1,   /* the edge pixel */
  tpxBorderPeriodic = 2,    /* i modulo size */
  tpxBorderReflect = 3,     /* mirrored, edge not repeated: -1 -> 1 */
  tpxBorderReflectEdge = 4, /* mirrored, edge repeated: -1 -> 0 */
};

/* Mean of the neighbourhood: sums times 0.11111111f (3x3) or 0.04f (5x5). */
TPX_API TpxStatus tpxiFilterLowpassBorder_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                                  int dstStep, TpxiSize roiSize, int mask,
                                                  int borderType, Tpx32f borderValue,
                                                  Tpx8u* pBuffer);
/* Lower rows minus upper rows: H = {1 2 1}, V = {-1 0 1} (3x3) or
 * H = {1 4 6 4 1}, V = {-1 -2 0 2 1} (5x5). */
TPX_API TpxStatus tpxiFilterSobelHorizBorder_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                                     int dstStep, TpxiSize roiSize, int mask,
                                                     int borderType, Tpx32f borderValue,
                                                     Tpx8u* pBuffer);
/* Left columns minus right columns: H = {1 0 -1}, V = {1 2 1} (3x3) or
 * H = {1 2 0 -2 -1}, V = {1 4 6 4 1} (5x5). */
TPX_API TpxStatus tpxiFilterSobelVertBorder_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                                    int dstStep, TpxiSize roiSize, int mask,
                                                    int borderType, Tpx32f borderValue,
                                                    Tpx8u* pBuffer);
/* Work buffer size in bytes, the same for the three filters: 84 x W4 + 364
 * (mask 33) or 100 x W4 + 420 (mask 55), W4 = width rounded up to 4. Checks:
 * null (-8), width or height below 1 (-6), mask (-33). */
TPX_API TpxStatus tpxiFilterLowpassGetBufferSize_32f_C1R(TpxiSize roiSize, int mask,
                                                         int* pBufferSize);
TPX_API TpxStatus tpxiFilterSobelHorizGetBufferSize_32f_C1R(TpxiSize roiSize, int mask,
                                                            int* pBufferSize);
TPX_API TpxStatus tpxiFilterSobelVertGetBufferSize_32f_C1R(TpxiSize roiSize, int mask,
                                                           int* pBufferSize);

#ifdef __cplusplus
}
#endif

#endif /* TPX_H */
