// Remap of a 32f image: every destination pixel of the region fetches its
// value from the source position that two coordinate maps give for it.
//
// A position is used only when it lies inside the clipped source region,
// compared in single precision with inclusive bounds (a NaN never passes);
// other destination pixels keep their value. The kernels are the warps':
// nearest copies bits, cubic is the warp's cubic; bilinear interpolates in
// single precision here. Index sums (s + 0.5, s + 1e-7) are formed on the map
// value widened to double, so 0.49999997f still picks column 0 and
// 1.99999988f stays in the cell of column 1.
#include <cstddef>
#include <cstdint>

#include "core/image.h"
#include "geometry/warp.h"

#if TPX_VARIANT == 0

namespace tpx::TPX_NS {
namespace {

template <typename Sample>
void remapRows(const Plane& src, const float bounds[4], const Tpx32f* pxMap, int xMapStep,
               const Tpx32f* pyMap, int yMapStep, Tpx32f* pDst, int dstStep, TpxiSize roi,
               Sample sample) {
  for (int y = 0; y < roi.height; ++y) {
    const Tpx32f* mx = row(pxMap, xMapStep, y);
    const Tpx32f* my = row(pyMap, yMapStep, y);
    Tpx32f* d = row(pDst, dstStep, y);
    for (int x = 0; x < roi.width; ++x) {
      const float sx = load(mx + x), sy = load(my + x);
      if (sx >= bounds[0] && sx <= bounds[1] && sy >= bounds[2] && sy <= bounds[3]) {
        sample(src, sx, sy, d + x);
      }
    }
  }
}

}  // namespace
}  // namespace tpx::TPX_NS

// Checks differ from the warps': the whole interpolation value is checked
// (bit 31 is an error here) and before the steps; there is no quadrangle, so
// a call that writes nothing still succeeds.
TpxStatus tpx::TPX_NS::tpxiRemap_32f_C1R(const Tpx32f* pSrc, TpxiSize srcSize, int srcStep,
                                         TpxiRect srcRoi, const Tpx32f* pxMap, int xMapStep,
                                         const Tpx32f* pyMap, int yMapStep, Tpx32f* pDst,
                                         int dstStep, TpxiSize dstRoiSize, int interpolation) {
  if (pSrc == nullptr || pDst == nullptr || pxMap == nullptr || pyMap == nullptr) {
    return tpxStsNullPtrErr;
  }
  if (srcSize.width < 1 || srcSize.height < 1 || srcRoi.x < 0 || srcRoi.y < 0 || srcRoi.width < 1 ||
      srcRoi.height < 1 || dstRoiSize.width < 1 || dstRoiSize.height < 1) {
    return tpxStsSizeErr;
  }
  if (interpolation != kModeNearest && interpolation != kModeLinear &&
      interpolation != kModeCubic) {
    return tpxStsInterpolationErr;
  }
  if (srcStep < 1 || dstStep < 1 || xMapStep < 1 || yMapStep < 1) return tpxStsStepErr;
  if (srcRoi.x >= srcSize.width || srcRoi.y >= srcSize.height) return tpxStsWrongIntersectROI;
  const int mode = adjustMode(interpolation, srcSize);
  const int w = srcRoi.width < srcSize.width - srcRoi.x ? srcRoi.width : srcSize.width - srcRoi.x;
  const int h =
      srcRoi.height < srcSize.height - srcRoi.y ? srcRoi.height : srcSize.height - srcRoi.y;
  const float bounds[4] = {float(srcRoi.x), float(srcRoi.x + w - 1), float(srcRoi.y),
                           float(srcRoi.y + h - 1)};
  const Plane src{reinterpret_cast<const char*>(pSrc), srcStep, srcSize.width - 1,
                  srcSize.height - 1};
  if (mode == kModeNearest) {
    remapRows(src, bounds, pxMap, xMapStep, pyMap, yMapStep, pDst, dstStep, dstRoiSize,
              [](const Plane& s, float sx, float sy, Tpx32f* d) {
                store(reinterpret_cast<uint32_t*>(d), nearestAt<uint32_t>(s, sx, sy));
              });
  } else if (mode == kModeLinear) {
    remapRows(src, bounds, pxMap, xMapStep, pyMap, yMapStep, pDst, dstStep, dstRoiSize,
              [](const Plane& s, float sx, float sy, Tpx32f* d) {
                store(d, linearAt<Tpx32f, float>(s, sx, sy));
              });
  } else {
    remapRows(src, bounds, pxMap, xMapStep, pyMap, yMapStep, pDst, dstStep, dstRoiSize,
              [](const Plane& s, float sx, float sy, Tpx32f* d) {
                store(d, static_cast<Tpx32f>(cubicAt<Tpx32f>(s, sx, sy)));
              });
  }
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0
