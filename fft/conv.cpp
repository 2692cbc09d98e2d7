// Two-dimensional convolution, Full and Valid, of 32f images and of 16s and
// 8u images with an integer divisor.
//
// The operands are symmetric: each call decides which one is the image
// (W x H) and which the kernel (w x h). Full exchanges them only when the
// first is narrower (so the kernel may be the taller one); Valid when the
// first is narrower or shorter, and then refuses a pair where neither operand
// contains the other.
//
// Small problems are computed directly, larger ones in the frequency domain
// with overlap-save tiles, as in fft/match.cpp but without the conjugation:
// the plain spectrum product convolves. Thresholds (areas in 64 bits, strict
// "less than"; Valid tries the kernel branch first):
//
//          Full: direct when               Valid: kernel branch, output branch
//   32f    output < 1705 or kernel < 121   kernel < 121          output < 81
//   16s    output < 705  or kernel < 121   kernel < 225          output < 49
//   8u     output < 825  or kernel < 121   kernel < 121          output < 100
//
// Direct paths, and how they round (f = (float)(1 / divisor), formed in long
// double):
//   Valid kernel branch: the library's linear filters with anchor (w-1, h-1).
//     32f runs the generic tpxiFilter_32f_C1R (extended-precision sums; its
//     vector copies sum in float and would make our variants differ); 16s
//     tpxiFilter32f_16s_C1R with taps (float)K x f, rounding half away from
//     zero; 8u tpxiFilter_8u_C1R with the divisor, its divisor plan rounding
//     half up. The filters advance rows by step / element size and check the
//     steps against the row lengths; both show through.
//   Valid output branch: 32f adds, row by row of the kernel, the generic row
//     filter's results in float; 16s and 8u take exact 64-bit integer sums S
//     and store S x f (in double) rounded half to even, saturated.
//   Full: float products summed in float, each pixel's terms in ascending
//     source position (rows top to bottom, each left to right), into the
//     cleared destination (32f) or a cleared float scratch that is then
//     multiplied by f and converted with ties to even, saturating.
// The frequency path converts likewise: x f, then ties to even.
//
// Every building block is called through this variant's entry except the
// 32f filters (generic entries); all of them give the same bytes in every
// variant, and so does the Full sum loop below, whose SSE form does the
// scalar operations in the scalar order.
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "core/alloc.h"
#include "core/image.h"
#include "fft/engine.h"
#include "filter/linear.h"

namespace tpx::TPX_NS {
namespace {

// Calls of this variant's entry of a library operation.
#define TPX_CALL(name) tpx::table::name[TPX_VARIANT]

enum class Mode { kFull, kValid };

// The image and the kernel after the role choice.
template <typename T>
struct Operands {
  const T* img;
  int imgStep;
  int W, H;
  const T* ker;
  int kerStep;
  int w, h;
};

// Direct-path thresholds per element type.
struct Limits {
  int64_t fullOutput, validKernel, validOutput;
};
template <typename T>
constexpr Limits limitsOf() {
  if constexpr (std::is_same_v<T, Tpx32f>) return {1705, 121, 81};
  if constexpr (std::is_same_v<T, Tpx16s>) return {705, 225, 49};
  return {825, 121, 100};
}
constexpr int64_t kFullKernel = 121;

// Scratch of one call, released on every exit.
struct Scratch {
  TpxFft2DSpecR* plan = nullptr;
  Tpx32f* block = nullptr;
  void* wide = nullptr;
  ~Scratch() {
    if (plan != nullptr) tpxiFftFree(plan);
    TPX_CALL(tpxsFree)(block);
    freeAligned(wide);
  }
  // n floats; false when n is not positive, its bytes pass INT32_MAX, or the
  // heap is exhausted.
  bool take(int64_t n) {
    if (n < 1 || n > INT32_MAX / 4) return false;
    block = TPX_CALL(tpxsMalloc_32f)(static_cast<int>(n));
    return block != nullptr;
  }
};

inline int64_t roundUp4(int64_t v) { return (v + 3) & ~int64_t(3); }

// ----- Staging and writing out ------------------------------------------------

// An image block, converted to float, at the origin of an nx x ny tile (row
// stride nx floats), zeros everywhere else.
template <typename T>
TpxStatus stage(const T* pSrc, int srcStep, int bw, int bh, Tpx32f* tile, int nx, int ny) {
  if constexpr (std::is_same_v<T, Tpx32f>) {
    TPX_CALL(tpxiCopyPadZero_32f_C1R)(pSrc, srcStep, bw, bh, tile, nx, ny, 0, 0);
    return tpxStsNoErr;
  } else {
    const int tileStep = nx * 4;
    TpxStatus status;
    if constexpr (std::is_same_v<T, Tpx8u>) {
      status = TPX_CALL(tpxiConvert_8u32f_C1R)(pSrc, srcStep, tile, tileStep, {bw, bh});
    } else {
      status = TPX_CALL(tpxiConvert_16s32f_C1R)(pSrc, srcStep, tile, tileStep, {bw, bh});
    }
    if (status != tpxStsNoErr) return status;
    if (bw < nx) status = TPX_CALL(tpxiSet_32f_C1R)(0.0f, tile + bw, tileStep, {nx - bw, bh});
    if (status == tpxStsNoErr && bh < ny) {
      status = TPX_CALL(tpxiSet_32f_C1R)(0.0f, tile + int64_t(bh) * nx, tileStep, {nx, ny - bh});
    }
    return status;
  }
}

// Float results to the destination: 32f as they are, integers times f,
// rounded to the nearest (ties to even) and saturated.
template <typename T>
TpxStatus writeOut(Tpx32f* pSrc, int srcStep, T* pDst, int dstStep, TpxiSize region, Tpx32f f) {
  if constexpr (std::is_same_v<T, Tpx32f>) {
    return TPX_CALL(tpxiCopy_32f_C1R)(pSrc, srcStep, pDst, dstStep, region);
  } else {
    const TpxStatus status = TPX_CALL(tpxiMulC_32f_C1IR)(f, pSrc, srcStep, region);
    if (status != tpxStsNoErr) return status;
    if constexpr (std::is_same_v<T, Tpx8u>) {
      return TPX_CALL(tpxiConvert_32f8u_C1R)(pSrc, srcStep, pDst, dstStep, region,
                                             tpxRoundNearestEven);
    } else {
      return TPX_CALL(tpxiConvert_32f16s_C1R)(pSrc, srcStep, pDst, dstStep, region,
                                              tpxRoundNearestEven);
    }
  }
}

// ----- Frequency path ---------------------------------------------------------

// Twice the kernel extent rounded up to a power of two, doubled once more
// while short and still below the output extent.
int transformOrder(int kernelExtent, int outputExtent) {
  int order = 1;
  while ((int64_t(1) << order) < 2 * int64_t(kernelExtent)) ++order;
  if (order < 8 && (int64_t(1) << order) < outputExtent) ++order;
  return order;
}

template <typename T>
TpxStatus frequency(const Operands<T>& o, T* pDst, int dstStep, Mode mode, int outW, int outH,
                    Tpx32f f) {
  Scratch scratch;
  const int orderX = transformOrder(o.w, outW), orderY = transformOrder(o.h, outH);
  TpxStatus status = tpxiFftInitR_32f(&scratch.plan, orderX, orderY, tpxFftScaleInv, 0);
  if (status != tpxStsNoErr) return status;
  int bufferBytes = 0;
  status = tpxiFftGetBufSize(scratch.plan, &bufferBytes);
  if (status != tpxStsNoErr) return status;
  const int64_t area = (int64_t(1) << orderX) << orderY;
  const int64_t workBytes = (int64_t(bufferBytes) + 15) & ~int64_t(15);
  if (!scratch.take(2 * area + workBytes / 4)) return tpxStsMemAllocErr;
  const int nx = 1 << orderX, ny = 1 << orderY, tileStep = nx * 4;
  Tpx32f* const kerSpectrum = scratch.block;
  Tpx32f* const tile = kerSpectrum + area;
  Tpx8u* const work = reinterpret_cast<Tpx8u*>(tile + area);

  // The kernel, once; no conjugation: the plain product convolves.
  status = stage(o.ker, o.kerStep, o.w, o.h, kerSpectrum, nx, ny);
  if (status != tpxStsNoErr) return status;
  status = TPX_CALL(tpxiFftFwd_RToPack_32f_C1R)(kerSpectrum, tileStep, kerSpectrum, tileStep,
                                                scratch.plan, work);
  if (status != tpxStsNoErr) return status;

  // Tile pixel (p, q) holds the circular convolution of the kernel with the
  // staged block. Valid reads it from (w-1, h-1) on, where no term wraps.
  // Full stages the first tile column (row) from the image's edge and reads
  // from 0: its block is at most tileW (tileH) wide, so the terms that wrap
  // land in the zero padding, as the zeros left of the image should. Later
  // columns (rows) start the block w-1 (h-1) pixels early and read from there.
  const int tileW = nx - o.w + 1, tileH = ny - o.h + 1;
  for (int y0 = 0; y0 < outH; y0 += tileH) {
    for (int x0 = 0; x0 < outW; x0 += tileW) {
      int bx, by, bw, bh, rx, ry;
      if (mode == Mode::kValid) {
        bx = x0;
        by = y0;
        bw = nx < o.W - x0 ? nx : o.W - x0;
        bh = ny < o.H - y0 ? ny : o.H - y0;
        rx = o.w - 1;
        ry = o.h - 1;
      } else {
        rx = x0 == 0 ? 0 : o.w - 1;
        ry = y0 == 0 ? 0 : o.h - 1;
        bx = x0 - rx;
        by = y0 - ry;
        const int64_t wx = o.W - int64_t(x0) + rx, wy = o.H - int64_t(y0) + ry;
        int64_t cw = int64_t(tileW) + rx, ch = int64_t(tileH) + ry;
        cw = cw < wx ? cw : wx;
        ch = ch < wy ? ch : wy;
        bw = static_cast<int>(cw < o.W ? cw : o.W);
        bh = static_cast<int>(ch < o.H ? ch : o.H);
      }
      status = stage(row(o.img, o.imgStep, by) + bx, o.imgStep, bw, bh, tile, nx, ny);
      if (status != tpxStsNoErr) return status;
      status =
          TPX_CALL(tpxiFftFwd_RToPack_32f_C1R)(tile, tileStep, tile, tileStep, scratch.plan, work);
      if (status != tpxStsNoErr) return status;
      status = TPX_CALL(tpxiMulPack_32f_C1IR)(kerSpectrum, tileStep, tile, tileStep, nx, ny);
      if (status != tpxStsNoErr) return status;
      status =
          TPX_CALL(tpxiFftInv_PackToR_32f_C1R)(tile, tileStep, tile, tileStep, scratch.plan, work);
      if (status != tpxStsNoErr) return status;
      const TpxiSize region{tileW < outW - x0 ? tileW : outW - x0,
                            tileH < outH - y0 ? tileH : outH - y0};
      status = writeOut(tile + int64_t(ry) * nx + rx, tileStep, row(pDst, dstStep, y0) + x0,
                        dstStep, region, f);
      if (status != tpxStsNoErr) return status;
    }
  }
  return tpxStsNoErr;
}

// ----- Full, direct -----------------------------------------------------------

// A float image (byte step) and its kernel as contiguous float taps, plus,
// for the SSE copies, every tap broadcast to four lanes.
struct FullJob {
  const Tpx32f* img;
  int imgStep;
  int W, H;
  const Tpx32f* taps;  // w x h, row by row
  const Tpx32f* wide;  // 4 floats per tap, same order (vector copies only)
  int w, h;
};

// One pixel: acc plus every term in ascending source position.
inline Tpx32f fullPixel(const FullJob& j, int X, int Y, Tpx32f acc) {
  const int kyHi = Y < j.h - 1 ? Y : j.h - 1, kyLo = Y - j.H + 1 > 0 ? Y - j.H + 1 : 0;
  const int kxHi = X < j.w - 1 ? X : j.w - 1, kxLo = X - j.W + 1 > 0 ? X - j.W + 1 : 0;
  for (int ky = kyHi; ky >= kyLo; --ky) {
    const Tpx32f* s = row(j.img, j.imgStep, Y - ky) + X;
    const Tpx32f* t = j.taps + int64_t(ky) * j.w;
    for (int kx = kxHi; kx >= kxLo; --kx) acc = acc + load(s - kx) * t[kx];
  }
  return acc;
}

#if TPX_ISA >= TPX_ISA_SSE

// Pixels X .. X + 4N - 1 of row Y, all with the whole kernel row span: the
// same terms in the same order as fullPixel, four pixels per register.
template <int N>
inline void fullGroup(const FullJob& j, int X, int Y, int kyLo, int kyHi, Tpx32f* d) {
  __m128 a[N];
  for (int n = 0; n < N; ++n) a[n] = _mm_loadu_ps(d + X + 4 * n);
  for (int ky = kyHi; ky >= kyLo; --ky) {
    const Tpx32f* s = row(j.img, j.imgStep, Y - ky) + X;
    const Tpx32f* t = j.wide + int64_t(ky) * j.w * 4;
    for (int kx = j.w - 1; kx >= 0; --kx) {
      const __m128 k = _mm_load_ps(t + 4 * kx);
      for (int n = 0; n < N; ++n) {
        a[n] = _mm_add_ps(a[n], _mm_mul_ps(_mm_loadu_ps(s - kx + 4 * n), k));
      }
    }
  }
  for (int n = 0; n < N; ++n) _mm_storeu_ps(d + X + 4 * n, a[n]);
}

#endif  // TPX_ISA >= TPX_ISA_SSE

// Adds the Full convolution to the outW x outH destination (byte step).
void fullSums(const FullJob& j, Tpx32f* pDst, int dstStep, int outW, int outH) {
  for (int Y = 0; Y < outH; ++Y) {
    Tpx32f* d = row(pDst, dstStep, Y);
    int X = 0;
#if TPX_ISA >= TPX_ISA_SSE
    // Pixels w-1 .. W-1 see the whole kernel row span.
    const int kyHi = Y < j.h - 1 ? Y : j.h - 1, kyLo = Y - j.H + 1 > 0 ? Y - j.H + 1 : 0;
    for (; X < j.w - 1; ++X) store(d + X, fullPixel(j, X, Y, load(d + X)));
    for (; X + 16 <= j.W; X += 16) fullGroup<4>(j, X, Y, kyLo, kyHi, d);
    for (; X + 4 <= j.W; X += 4) fullGroup<1>(j, X, Y, kyLo, kyHi, d);
#endif
    for (; X < outW; ++X) store(d + X, fullPixel(j, X, Y, load(d + X)));
  }
}

template <typename T>
TpxStatus fullDirect(const Operands<T>& o, T* pDst, int dstStep, int64_t outW, int64_t outH,
                     Tpx32f f) {
  constexpr bool kFloat = std::is_same_v<T, Tpx32f>;
  const int64_t taps = int64_t(o.w) * o.h;
#if TPX_ISA >= TPX_ISA_SSE
  const int64_t wideFloats = 4 * taps;
#else
  const int64_t wideFloats = 0;
#endif
  const int64_t imgFloats = kFloat ? 0 : int64_t(o.W) * o.H;
  const int64_t outFloats = kFloat ? 0 : outW * outH;
  Scratch scratch;
  if (!scratch.take(wideFloats + taps + imgFloats + outFloats)) return tpxStsMemAllocErr;
  Tpx32f* const wide = scratch.block;
  Tpx32f* const tapsF = wide + wideFloats;
  for (int ky = 0; ky < o.h; ++ky) {
    const T* k = row(o.ker, o.kerStep, ky);
    for (int kx = 0; kx < o.w; ++kx) {
      const Tpx32f v = static_cast<Tpx32f>(load(k + kx));
      const int64_t i = int64_t(ky) * o.w + kx;
      tapsF[i] = v;
      if (wideFloats != 0) wide[4 * i] = wide[4 * i + 1] = wide[4 * i + 2] = wide[4 * i + 3] = v;
    }
  }
  const TpxiSize out{static_cast<int>(outW), static_cast<int>(outH)};
  if constexpr (kFloat) {
    const TpxStatus status = TPX_CALL(tpxiSet_32f_C1R)(0.0f, pDst, dstStep, out);
    if (status != tpxStsNoErr) return status;
    fullSums(FullJob{o.img, o.imgStep, o.W, o.H, tapsF, wide, o.w, o.h}, pDst, dstStep, out.width,
             out.height);
    return tpxStsNoErr;
  } else {
    // The image as contiguous floats (exact), the sums in a float scratch.
    Tpx32f* const imgF = tapsF + taps;
    Tpx32f* const sums = imgF + imgFloats;
    const int imgStepF = o.W * 4, outStepF = out.width * 4;
    TpxStatus status = stage(o.img, o.imgStep, o.W, o.H, imgF, o.W, o.H);
    if (status != tpxStsNoErr) return status;
    status = TPX_CALL(tpxiSet_32f_C1R)(0.0f, sums, outStepF, out);
    if (status != tpxStsNoErr) return status;
    fullSums(FullJob{imgF, imgStepF, o.W, o.H, tapsF, wide, o.w, o.h}, sums, outStepF, out.width,
             out.height);
    return writeOut(sums, outStepF, pDst, dstStep, out, f);
  }
}

// ----- Valid, direct ----------------------------------------------------------

// Kernel branch: the library's filters with anchor (w-1, h-1).
template <typename T>
TpxStatus validKernel(const Operands<T>& o, T* pDst, int dstStep, TpxiSize out, int divisor,
                      Tpx32f f) {
  const TpxiSize kernel{o.w, o.h};
  const TpxiPoint anchor{o.w - 1, o.h - 1};
  const int tapStep = o.w * 4;  // small kernels only: no overflow
  Scratch scratch;
  if constexpr (std::is_same_v<T, Tpx32f>) {
    // The filter wants its taps without row padding.
    const Tpx32f* taps = o.ker;
    if (o.kerStep != tapStep) {
      if (!scratch.take(int64_t(o.w) * o.h)) return tpxStsMemAllocErr;
      const TpxStatus status =
          TPX_CALL(tpxiCopy_32f_C1R)(o.ker, o.kerStep, scratch.block, tapStep, kernel);
      if (status != tpxStsNoErr) return status;
      taps = scratch.block;
    }
    (void)divisor;
    (void)f;
    return tpx::px::tpxiFilter_32f_C1R(o.img, o.imgStep, pDst, dstStep, out, taps, kernel, anchor);
  } else if constexpr (std::is_same_v<T, Tpx16s>) {
    // Taps (float)K x f, as tpxiFilter_16s_C1R folds its divisor.
    (void)divisor;
    if (!scratch.take(int64_t(o.w) * o.h)) return tpxStsMemAllocErr;
    TpxStatus status =
        TPX_CALL(tpxiConvert_16s32f_C1R)(o.ker, o.kerStep, scratch.block, tapStep, kernel);
    if (status == tpxStsNoErr)
      status = TPX_CALL(tpxiMulC_32f_C1IR)(f, scratch.block, tapStep, kernel);
    if (status != tpxStsNoErr) return status;
    return TPX_CALL(tpxiFilter32f_16s_C1R)(o.img, o.imgStep, pDst, dstStep, out, scratch.block,
                                           kernel, anchor);
  } else {
    (void)f;
    const int64_t n = int64_t(o.w) * o.h;
    scratch.wide = mallocAligned(static_cast<int32_t>(n * 4));
    if (scratch.wide == nullptr) return tpxStsMemAllocErr;
    Tpx32s* const taps = static_cast<Tpx32s*>(scratch.wide);
    for (int ky = 0; ky < o.h; ++ky) {
      const Tpx8u* k = row(o.ker, o.kerStep, ky);
      for (int kx = 0; kx < o.w; ++kx) taps[int64_t(ky) * o.w + kx] = k[kx];
    }
    return TPX_CALL(tpxiFilter_8u_C1R)(o.img, o.imgStep, pDst, dstStep, out, taps, kernel, anchor,
                                       divisor);
  }
}

// Output branch, 32f: for each kernel row r from the top, the image shifted
// down by r rows through the generic row filter with kernel row h-1-r, added
// into the destination. The shift is r rows of the row filter's own advance
// (step / 4 floats), so each pass reads the rows the filter itself would.
TpxStatus validRows32f(const Operands<Tpx32f>& o, Tpx32f* pDst, int dstStep, TpxiSize out) {
  const int64_t stride = roundUp4(out.width);
  Scratch scratch;
  if (!scratch.take(stride * out.height)) return tpxStsMemAllocErr;
  const int sumStep = static_cast<int>(stride * 4);
  const int64_t imgStride = o.imgStep / 4;
  for (int r = 0; r < o.h; ++r) {
    TpxStatus status =
        tpx::px::tpxiFilterRow_32f_C1R(o.img + r * imgStride, o.imgStep, scratch.block, sumStep,
                                       out, row(o.ker, o.kerStep, o.h - 1 - r), o.w, o.w - 1);
    // Cleared only once the first pass has passed its checks, so that a
    // refused step leaves the destination as it was.
    if (status == tpxStsNoErr && r == 0)
      status = TPX_CALL(tpxiSet_32f_C1R)(0.0f, pDst, dstStep, out);
    if (status == tpxStsNoErr) {
      status = TPX_CALL(tpxiAdd_32f_C1IR)(scratch.block, sumStep, pDst, dstStep, out);
    }
    if (status != tpxStsNoErr) return status;
  }
  return tpxStsNoErr;
}

// Round to the nearest, ties to even, saturated to T.
template <typename T>
inline T roundEven(double v) {
  constexpr double lo = std::is_same_v<T, Tpx8u> ? 0.0 : -32768.0;
  constexpr double hi = std::is_same_v<T, Tpx8u> ? 255.0 : 32767.0;
  if (v >= hi) return static_cast<T>(hi);
  if (v <= lo) return static_cast<T>(lo);
  const double down = std::floor(v);
  const double frac = v - down;
  int64_t r = static_cast<int64_t>(down);
  if (frac > 0.5 || (frac == 0.5 && (r & 1) != 0)) ++r;
  return static_cast<T>(r);
}

// Output branch, integers: exact sums, S x f in double, ties to even.
template <typename T>
void validSums(const Operands<T>& o, T* pDst, int dstStep, TpxiSize out, Tpx32f f) {
  for (int y = 0; y < out.height; ++y) {
    T* d = row(pDst, dstStep, y);
    for (int x = 0; x < out.width; ++x) {
      int64_t s = 0;
      for (int ky = 0; ky < o.h; ++ky) {
        const T* src = row(o.img, o.imgStep, y + o.h - 1 - ky) + x + o.w - 1;
        const T* k = row(o.ker, o.kerStep, ky);
        for (int kx = 0; kx < o.w; ++kx) s += int64_t(load(src - kx)) * int64_t(load(k + kx));
      }
      store(d + x, roundEven<T>(static_cast<double>(s) * static_cast<double>(f)));
    }
  }
}

// ----- Entry ------------------------------------------------------------------

template <typename T>
TpxStatus convolve(const T* pSrc1, int src1Step, TpxiSize src1Size, const T* pSrc2, int src2Step,
                   TpxiSize src2Size, T* pDst, int dstStep, int divisor, Mode mode) {
  constexpr bool kFloat = std::is_same_v<T, Tpx32f>;
  if (pSrc1 == nullptr || pSrc2 == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (src1Size.width < 1 || src1Size.height < 1 || src2Size.width < 1 || src2Size.height < 1) {
    return tpxStsSizeErr;
  }
  if (src1Step < 1 || src2Step < 1 || dstStep < 1) return tpxStsStepErr;
  if (!kFloat && divisor == 0) return tpxStsDivisorErr;

  // Full decides by width alone; Valid by either side.
  const bool swap = mode == Mode::kFull
                        ? src1Size.width < src2Size.width
                        : src1Size.width < src2Size.width || src1Size.height < src2Size.height;
  Operands<T> o{pSrc1, src1Step, src1Size.width, src1Size.height,
                pSrc2, src2Step, src2Size.width, src2Size.height};
  if (swap) {
    o = {pSrc2, src2Step, src2Size.width, src2Size.height,
         pSrc1, src1Step, src1Size.width, src1Size.height};
  }
  int64_t outW, outH;
  if (mode == Mode::kValid) {
    outW = int64_t(o.W) - o.w + 1;
    outH = int64_t(o.H) - o.h + 1;
    if (outW < 1 || outH < 1) return tpxStsSizeErr;  // one wider, the other taller
  } else {
    outW = int64_t(o.W) + o.w - 1;
    outH = int64_t(o.H) + o.h - 1;
    // An output side past the int range cannot be addressed by a TpxiSize.
    if (outW > INT32_MAX || outH > INT32_MAX) return tpxStsSizeErr;
  }
  const Tpx32f f = kFloat ? 1.0f : static_cast<Tpx32f>(1.0L / static_cast<long double>(divisor));
  constexpr Limits kLimits = limitsOf<T>();
  const int64_t kernelArea = int64_t(o.w) * o.h, outArea = outW * outH;
  const TpxiSize out{static_cast<int>(outW), static_cast<int>(outH)};
  if (mode == Mode::kFull) {
    if (outArea < kLimits.fullOutput || kernelArea < kFullKernel) {
      return fullDirect(o, pDst, dstStep, outW, outH, f);
    }
  } else if (kernelArea < kLimits.validKernel) {
    return validKernel(o, pDst, dstStep, out, divisor, f);
  } else if (outArea < kLimits.validOutput) {
    if constexpr (kFloat) {
      return validRows32f(o, pDst, dstStep, out);
    } else {
      validSums(o, pDst, dstStep, out, f);
      return tpxStsNoErr;
    }
  }
  return frequency(o, pDst, dstStep, mode, out.width, out.height, f);
}

#undef TPX_CALL

}  // namespace
}  // namespace tpx::TPX_NS

// ----- Exports ----------------------------------------------------------------

#define TPX_CONV_ENTRY(name, T, mode)                                                              \
  TpxStatus tpx::TPX_NS::name(const T* pSrc1, int src1Step, TpxiSize src1Size, const T* pSrc2,     \
                              int src2Step, TpxiSize src2Size, T* pDst, int dstStep) {             \
    return convolve(pSrc1, src1Step, src1Size, pSrc2, src2Step, src2Size, pDst, dstStep, 1, mode); \
  }
#define TPX_CONV_ENTRY_DIV(name, T, mode)                                                         \
  TpxStatus tpx::TPX_NS::name(const T* pSrc1, int src1Step, TpxiSize src1Size, const T* pSrc2,    \
                              int src2Step, TpxiSize src2Size, T* pDst, int dstStep,              \
                              int divisor) {                                                      \
    return convolve(pSrc1, src1Step, src1Size, pSrc2, src2Step, src2Size, pDst, dstStep, divisor, \
                    mode);                                                                        \
  }
TPX_CONV_ENTRY(tpxiConvFull_32f_C1R, Tpx32f, Mode::kFull)
TPX_CONV_ENTRY(tpxiConvValid_32f_C1R, Tpx32f, Mode::kValid)
TPX_CONV_ENTRY_DIV(tpxiConvFull_16s_C1R, Tpx16s, Mode::kFull)
TPX_CONV_ENTRY_DIV(tpxiConvValid_16s_C1R, Tpx16s, Mode::kValid)
TPX_CONV_ENTRY_DIV(tpxiConvFull_8u_C1R, Tpx8u, Mode::kFull)
TPX_CONV_ENTRY_DIV(tpxiConvValid_8u_C1R, Tpx8u, Mode::kValid)
#undef TPX_CONV_ENTRY
#undef TPX_CONV_ENTRY_DIV
