// Rotation of an 8u image about a centre: the angle becomes forward affine
// coefficients and the forward warp does the rest (checks, spans, kernels,
// edge blending), through this variant's own entry of the 8u warp.
//
// The angle is reduced twice, as the rotation has always done: once to the
// nearest multiple of 360 for the shifts, whose right-angle cases are exact;
// once by truncation for the angle that picks cos and sin. The two agree for
// every angle of ordinary size and differ only far beyond 2^53 degrees.
#include <cmath>

#include "core/image.h"
#include "geometry/geometry.h"

#if TPX_VARIANT == 0

namespace tpx::TPX_NS {
namespace {

constexpr double kPi = 3.141592653589793;

// a - k 360 with k the nearest integer to a / 360 (no int on the way, so
// huge, infinite and NaN angles pass through), then into [0, 360).
inline double reduceNearest(double angle) {
  double a = angle - std::round(angle / 360) * 360;
  if (a < 0) a += 360;
  return a;
}

inline double reduceTruncated(double angle) {
  double a = angle - std::trunc(angle / 360) * 360;
  if (a < 0) a += 360;
  return a;
}

// The shifts that keep (xc, yc) in place; exact for the right angles.
inline void rotationShifts(double angle, double xc, double yc, double& xs, double& ys) {
  const double a = reduceNearest(angle);
  if (a == 0) {
    xs = 0, ys = 0;
  } else if (a == 90) {
    xs = xc - yc, ys = xc + yc;
  } else if (a == 180) {
    xs = 2 * xc, ys = 2 * yc;
  } else if (a == 270) {
    xs = xc + yc, ys = yc - xc;
  } else {
    const double t = a / 180 * kPi;
    xs = (xc - xc * std::cos(t)) - yc * std::sin(t);
    ys = (yc - yc * std::cos(t)) + xc * std::sin(t);
  }
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxiRotateCenter_8u_C1R(const Tpx8u* pSrc, TpxiSize srcSize, int srcStep,
                                               TpxiRect srcRoi, Tpx8u* pDst, int dstStep,
                                               TpxiRect dstRoi, double angle, double xCenter,
                                               double yCenter, int interpolation) {
  double xs, ys;
  rotationShifts(angle, xCenter, yCenter, xs, ys);
  // Right angles get cos and sin of exactly 0 and +-1.
  const double a = reduceTruncated(angle);
  double c, s;
  if (a == 90) {
    c = 0, s = 1;
  } else if (a == 180) {
    c = -1, s = 0;
  } else if (a == 270) {
    c = 0, s = -1;
  } else {
    const double t = a / 180 * kPi;
    c = std::cos(t), s = std::sin(t);
  }
  const Tpx64f coeffs[2][3] = {{c, s, xs}, {-s, c, ys}};
  return table::tpxiWarpAffine_8u_C1R[TPX_VARIANT](pSrc, srcSize, srcStep, srcRoi, pDst, dstStep,
                                                   dstRoi, coeffs, interpolation);
}

#endif  // TPX_VARIANT == 0
