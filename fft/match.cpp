// Template matching: normalised cross-correlation (plain and mean-removed)
// and normalised squared distance, in Full, Same and Valid modes.
//
// The correlation sums come from the FFT engine, tile by tile (overlap-
// save): the template is staged and transformed once, then each tile of
// output positions gets its source block staged, transformed, multiplied by
// the conjugated template spectrum and transformed back. The normalisation
// is composed from the library's own image operations, called through this
// variant's entries (all of them give the same bytes in every variant, so
// every variant of these operations does too); window statistics come from
// the running sums of fft/match.h.
#include "fft/match.h"

#include <cmath>

#include "core/image.h"
#include "fft/engine.h"

namespace tpx::TPX_NS {
namespace {

constexpr Tpx32f kEpsilon = 0.0005f;

enum class Mode { kFull, kSame, kValid };
enum class Measure { kNorm, kNormLevel, kSqrDistance };

// Calls of this variant's entry of a library operation.
#define TPX_CALL(name) tpx::table::name[TPX_VARIANT]

int transformOrder(int templateExtent, int outputExtent) {
  int order = 1;
  while ((int64_t(1) << order) < 2 * int64_t(templateExtent)) ++order;
  if (order < 7 && (int64_t(1) << order) < outputExtent) ++order;
  return order;
}

inline int roundUp4(int64_t v) { return static_cast<int>((v + 3) & ~int64_t(3)); }

// Values below epsilon become epsilon.
void floorAtEpsilon(Tpx32f* p, int stride, int w, int h) {
  for (int y = 0; y < h; ++y) {
    Tpx32f* r = p + static_cast<int64_t>(y) * stride;
    for (int x = 0; x < w; ++x) r[x] = r[x] < kEpsilon ? kEpsilon : r[x];
  }
}

// Everything a call needs beyond its arguments, freed on every exit.
struct Scratch {
  TpxFft2DSpecR* plan = nullptr;
  Tpx32f* block = nullptr;
  ~Scratch() {
    if (plan != nullptr) tpxiFftFree(plan);
    TPX_CALL(tpxsFree)(block);
  }
};

TpxStatus match(const Tpx32f* pSrc, int srcStep, TpxiSize srcSize, const Tpx32f* pTpl, int tplStep,
                TpxiSize tplSize, Tpx32f* pDst, int dstStep, Mode mode, Measure measure) {
  if (pSrc == nullptr || pTpl == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (srcSize.width < 1 || srcSize.height < 1 || tplSize.width < 1 || tplSize.height < 1) {
    return tpxStsSizeErr;
  }
  // The template must fit inside the source in every mode.
  if (srcSize.width - tplSize.width + 1 < 1 || srcSize.height - tplSize.height + 1 < 1) {
    return tpxStsSizeErr;
  }
  if (srcStep < 1 || tplStep < 1 || dstStep < 1) return tpxStsStepErr;

  const int tw = tplSize.width, th = tplSize.height;
  int outW, outH, dx, dy;
  switch (mode) {
    case Mode::kValid:
      outW = srcSize.width - tw + 1;
      outH = srcSize.height - th + 1;
      dx = dy = 0;
      break;
    case Mode::kSame:
      outW = srcSize.width;
      outH = srcSize.height;
      dx = -(tw >> 1);
      dy = -(th >> 1);
      break;
    default:
      outW = srcSize.width + tw - 1;
      outH = srcSize.height + th - 1;
      dx = -(tw - 1);
      dy = -(th - 1);
      break;
  }

  Scratch scratch;
  const int orderX = transformOrder(tw, outW), orderY = transformOrder(th, outH);
  TpxStatus status = tpxiFftInitR_32f(&scratch.plan, orderX, orderY, tpxFftScaleInv, 0);
  if (status != tpxStsNoErr) return status;
  int bufferBytes = 0;
  status = tpxiFftGetBufSize(scratch.plan, &bufferBytes);
  if (status != tpxStsNoErr) return status;
  const int nx = 1 << orderX, ny = 1 << orderY;
  int tileW = nx - tw + 1, tileH = ny - th + 1;
  // Full output that fits one transform is one tile; its windows may reach
  // past the tile, where the staged zeros stand for the outside.
  const bool singleTile = mode == Mode::kFull && nx >= outW && ny >= outH;
  if (singleTile) {
    tileW = outW;
    tileH = outH;
  }
  const int statsFloats = roundUp4(int64_t(tileW) * tileH);
  int workFloats = (bufferBytes + 3) / 4;
  if (measure == Measure::kNormLevel && workFloats < statsFloats) workFloats = statsFloats;
  const int64_t total = 2 * int64_t(nx) * ny + statsFloats + workFloats;
  if (total > INT32_MAX) return tpxStsMemAllocErr;
  scratch.block = TPX_CALL(tpxsMalloc_32f)(static_cast<int>(total));
  if (scratch.block == nullptr) return tpxStsMemAllocErr;
  Tpx32f* const tplSpectrum = scratch.block;
  Tpx32f* const tile = tplSpectrum + int64_t(nx) * ny;
  Tpx32f* const stats = tile + int64_t(nx) * ny;
  Tpx32f* const work = stats + statsFloats;  // also the second statistics area
  Tpx8u* const engineBuffer = reinterpret_cast<Tpx8u*>(work);
  const int tileStep = nx * 4, statsStep = tileW * 4;

  // The template, once: staged, its statistics, transformed and conjugated.
  TPX_CALL(tpxiCopyPadZero_32f_C1R)(pTpl, tplStep, tw, th, tplSpectrum, nx, ny, 0, 0);
  Tpx64f norm = 0;
  TPX_CALL(tpxiNorm_L2_32f_C1R)(pTpl, tplStep, tplSize, &norm, tpxAccuracyHintAccurate);
  const int64_t area = int64_t(tw) * th;
  Tpx32f tplNorm = 0, tplEnergy = 0, levelFactor = 0, invArea = 0;
  if (measure == Measure::kNormLevel) {
    Tpx64f mean = 0;
    TPX_CALL(tpxiMean_32f_C1R)(pTpl, tplStep, tplSize, &mean, tpxAccuracyHintAccurate);
    TPX_CALL(tpxiAddC_32f_C1IR)(-static_cast<Tpx32f>(mean), tplSpectrum, tileStep, tplSize);
    double dt = norm * norm - mean * (static_cast<double>(area) * mean);
    if (dt < static_cast<double>(kEpsilon)) dt = kEpsilon;
    levelFactor = static_cast<Tpx32f>(dt);
    invArea = static_cast<Tpx32f>(1.0 / static_cast<double>(area));
  } else {
    tplEnergy = static_cast<Tpx32f>(norm * norm);
    tplNorm = static_cast<Tpx32f>(norm < static_cast<double>(kEpsilon) ? kEpsilon : norm);
  }
  status = TPX_CALL(tpxiFftFwd_RToPack_32f_C1R)(tplSpectrum, tileStep, tplSpectrum, tileStep,
                                                scratch.plan, engineBuffer);
  if (status != tpxStsNoErr) return status;
  TPX_CALL(tpxiConjPack_32f_C1IR)(tplSpectrum, tileStep, nx, ny);

  for (int y0 = 0; y0 < outH; y0 += tileH) {
    for (int x0 = 0; x0 < outW; x0 += tileW) {
      const int w = tileW < outW - x0 ? tileW : outW - x0;
      const int h = tileH < outH - y0 ? tileH : outH - y0;
      const TpxiSize region{w, h};
      // 1. The source block under this tile's windows; outside the source,
      // zeros (the block starts at the source edge, placed further in).
      const int sx = x0 + dx, sy = y0 + dy;
      const int ox = sx < 0 ? -sx : 0, oy = sy < 0 ? -sy : 0;
      const int bx = sx < 0 ? 0 : sx, by = sy < 0 ? 0 : sy;
      TPX_CALL(tpxiCopyPadZero_32f_C1R)
      (row(pSrc, srcStep, by) + bx, srcStep, srcSize.width - bx, srcSize.height - by, tile, nx, ny,
       ox, oy);
      // 2. Window statistics of the staged tile.
      const bool level = measure == Measure::kNormLevel;
      tpxiWinSums_32f(tile, nx, {nx, ny}, tplSize, stats, level ? work : nullptr, tileW, region);
      if (level) {
        TPX_CALL(tpxiSqr_32f_C1IR)(work, statsStep, region);
        // S2 - S1^2/A, as S2 + S1^2 x (-1/A): the same bits as a subtraction.
        TPX_CALL(tpxiMulC_32f_C1IR)(-invArea, work, statsStep, region);
        TPX_CALL(tpxiAdd_32f_C1IR)(work, statsStep, stats, statsStep, region);
      }
      // 3. Denominators (squared distance: after the correlation).
      if (measure == Measure::kNorm) {
        floorAtEpsilon(stats, tileW, w, h);
        TPX_CALL(tpxiSqrt_32f_C1IR)(stats, statsStep, region);
        TPX_CALL(tpxiMulC_32f_C1IR)(tplNorm, stats, statsStep, region);
      } else if (measure == Measure::kNormLevel) {
        floorAtEpsilon(stats, tileW, w, h);
        TPX_CALL(tpxiMulC_32f_C1IR)(levelFactor, stats, statsStep, region);
        TPX_CALL(tpxiSqrt_32f_C1IR)(stats, statsStep, region);
      }
      // 4. The correlation X of every position of the tile.
      status = TPX_CALL(tpxiFftFwd_RToPack_32f_C1R)(tile, tileStep, tile, tileStep, scratch.plan,
                                                    engineBuffer);
      if (status != tpxStsNoErr) return status;
      TPX_CALL(tpxiMulPack_32f_C1IR)(tplSpectrum, tileStep, tile, tileStep, nx, ny);
      status = TPX_CALL(tpxiFftInv_PackToR_32f_C1R)(tile, tileStep, tile, tileStep, scratch.plan,
                                                    engineBuffer);
      if (status != tpxStsNoErr) return status;
      // 5. Squared distance: S2 - 2X + T2 over the floored norms.
      if (measure == Measure::kSqrDistance) {
        TPX_CALL(tpxiMulC_32f_C1IR)(-2.0f, tile, tileStep, region);
        TPX_CALL(tpxiAdd_32f_C1IR)(stats, statsStep, tile, tileStep, region);
        TPX_CALL(tpxiAddC_32f_C1IR)(tplEnergy, tile, tileStep, region);
        floorAtEpsilon(stats, tileW, w, h);
        TPX_CALL(tpxiSqrt_32f_C1IR)(stats, statsStep, region);
        TPX_CALL(tpxiMulC_32f_C1IR)(tplNorm, stats, statsStep, region);
      }
      // 6. Normalise and write out.
      TPX_CALL(tpxiDiv_32f_C1IR)(stats, statsStep, tile, tileStep, region);
      TPX_CALL(tpxiCopy_32f_C1R)(tile, tileStep, row(pDst, dstStep, y0) + x0, dstStep, region);
    }
  }
  return tpxStsNoErr;
}

#undef TPX_CALL

}  // namespace
}  // namespace tpx::TPX_NS

#define TPX_MATCH_ENTRY(name, mode, measure)                                                      \
  TpxStatus tpx::TPX_NS::name(const Tpx32f* pSrc, int srcStep, TpxiSize srcRoiSize,               \
                              const Tpx32f* pTpl, int tplStep, TpxiSize tplRoiSize, Tpx32f* pDst, \
                              int dstStep) {                                                      \
    return match(pSrc, srcStep, srcRoiSize, pTpl, tplStep, tplRoiSize, pDst, dstStep, mode,       \
                 measure);                                                                        \
  }
TPX_MATCH_ENTRY(tpxiCrossCorrFull_Norm_32f_C1R, Mode::kFull, Measure::kNorm)
TPX_MATCH_ENTRY(tpxiCrossCorrSame_Norm_32f_C1R, Mode::kSame, Measure::kNorm)
TPX_MATCH_ENTRY(tpxiCrossCorrValid_Norm_32f_C1R, Mode::kValid, Measure::kNorm)
TPX_MATCH_ENTRY(tpxiCrossCorrFull_NormLevel_32f_C1R, Mode::kFull, Measure::kNormLevel)
TPX_MATCH_ENTRY(tpxiCrossCorrSame_NormLevel_32f_C1R, Mode::kSame, Measure::kNormLevel)
TPX_MATCH_ENTRY(tpxiCrossCorrValid_NormLevel_32f_C1R, Mode::kValid, Measure::kNormLevel)
TPX_MATCH_ENTRY(tpxiSqrDistanceFull_Norm_32f_C1R, Mode::kFull, Measure::kSqrDistance)
TPX_MATCH_ENTRY(tpxiSqrDistanceSame_Norm_32f_C1R, Mode::kSame, Measure::kSqrDistance)
TPX_MATCH_ENTRY(tpxiSqrDistanceValid_Norm_32f_C1R, Mode::kValid, Measure::kSqrDistance)
#undef TPX_MATCH_ENTRY
