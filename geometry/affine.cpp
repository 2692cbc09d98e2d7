// Affine helpers: the quadrangle a rectangle of pixel centres maps to, its
// bounding box, and the transform that maps a rectangle onto a quadrangle.
//
// Plain double arithmetic with nothing to vectorise: one generic entry serves
// every index.
#include "geometry/affine.h"

#include <cmath>

#include "core/image.h"

#if TPX_VARIANT == 0

namespace tpx::TPX_NS {
namespace {

inline bool rectBad(const TpxiRect& r) { return r.x < 0 || r.y < 0 || r.width < 1 || r.height < 1; }

// One pair of opposite sides of a parallelogram: p and q must agree to a
// relative 1e-12, or absolutely when p is too small to divide by.
inline bool sidesDiffer(double p, double q) {
  if (std::fabs(p) > 1e-200) return std::fabs((p - q) / p) > 1e-12;
  return std::fabs(q) > 1e-12;
}

}  // namespace
}  // namespace tpx::TPX_NS

// The quad is written before it is tested, so a caller gets the corners even
// when they are unusable.
TpxStatus tpx::TPX_NS::tpxiGetAffineQuad(TpxiRect srcRoi, Tpx64f quad[4][2],
                                         const Tpx64f coeffs[2][3]) {
  if (rectBad(srcRoi)) return tpxStsSizeErr;
  mapCorners(cornersOf(srcRoi.x, srcRoi.y, srcRoi.width, srcRoi.height), coeffs, quad);
  return testQuad(quad).usable ? tpxStsNoErr : tpxStsCoeffErr;
}

TpxStatus tpx::TPX_NS::tpxiGetAffineBound(TpxiRect srcRoi, Tpx64f bound[2][2],
                                          const Tpx64f coeffs[2][3]) {
  double q[4][2];
  const TpxStatus status = tpx::TPX_NS::tpxiGetAffineQuad(srcRoi, q, coeffs);
  if (status != tpxStsNoErr && status != tpxStsCoeffErr) return status;
  for (int axis = 0; axis < 2; ++axis) {
    double lo = q[0][axis], hi = q[0][axis];
    for (int k = 1; k < 4; ++k) {
      if (q[k][axis] < lo) lo = q[k][axis];
      if (q[k][axis] > hi) hi = q[k][axis];
    }
    bound[0][axis] = lo;
    bound[1][axis] = hi;
  }
  return status;
}

// The quadrangle is judged before the rectangle's extent on purpose: a
// one-pixel-wide rectangle with a bad quadrangle reports the quadrangle.
TpxStatus tpx::TPX_NS::tpxiGetAffineTransform(TpxiRect srcRoi, const Tpx64f quad[4][2],
                                              Tpx64f coeffs[2][3]) {
  if (rectBad(srcRoi)) return tpxStsSizeErr;
  if (!testQuad(quad).usable) return tpxStsQuadErr;
  // Only three vertices determine the transform; warn when the fourth is not
  // where a parallelogram would put it.
  const double ax = quad[1][0] - quad[0][0], ay = quad[1][1] - quad[0][1];
  const double bx = quad[2][0] - quad[1][0], by = quad[2][1] - quad[1][1];
  const double cx = quad[3][0] - quad[2][0], cy = quad[3][1] - quad[2][1];
  const double dx = quad[0][0] - quad[3][0], dy = quad[0][1] - quad[3][1];
  TpxStatus pending = tpxStsNoErr;
  if (sidesDiffer(cx * ay, ax * cy) || sidesDiffer(dy * bx, dx * by)) {
    pending = tpxStsAffineQuadChanged;
  }
  if (srcRoi.width - 1 <= 0 || srcRoi.height - 1 <= 0) return tpxStsRectErr;
  solveForward(srcRoi.x, srcRoi.y, srcRoi.width - 1, srcRoi.height - 1, quad, coeffs);
  return pending;
}

#endif  // TPX_VARIANT == 0
