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

#ifdef __cplusplus
}
#endif

#endif /* TPX_H */
