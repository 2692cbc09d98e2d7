// The affine warp worker shared by the warps, remap and rotation: source
// planes, the three interpolation kernels, span building and edge blending.
//
// Included only by family sources, after core/variant.h: everything here lives
// in the variant namespace (see core/image.h for why).
#ifndef TPX_GEOMETRY_WARP_H
#define TPX_GEOMETRY_WARP_H

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "core/image.h"

namespace tpx::TPX_NS {
namespace {

constexpr int kModeMask = 0x7fffffff;
constexpr int kModeNearest = 1, kModeLinear = 2, kModeCubic = 4;

// Truncation toward zero that cannot overflow: out-of-range values and NaN
// saturate (NaN to the lower end); every index is clamped to the image after.
inline int truncToInt(double v) {
  if (v >= 2147483647.0) return INT32_MAX;
  if (v > -2147483648.0) return static_cast<int>(v);
  return INT32_MIN;
}

inline int clampTo(int v, int lo, int hi) { return v < lo ? lo : v > hi ? hi : v; }

// The whole source image, addressed from pixel (0, 0) by exact byte steps.
struct Plane {
  const char* base;
  std::ptrdiff_t step;
  int xmax, ymax;

  template <typename T>
  T at(int x, int y) const {
    return load(reinterpret_cast<const T*>(base + std::ptrdiff_t(y) * step +
                                           std::ptrdiff_t(x) * std::ptrdiff_t(sizeof(T))));
  }
};

// A source image of one or three pixels a side cannot carry the wider
// kernels: nearest for a one-pixel side, bilinear instead of cubic below four.
inline int adjustMode(int mode, TpxiSize srcSize) {
  if (srcSize.width == 1 || srcSize.height == 1) return kModeNearest;
  if (mode == kModeCubic && (srcSize.width < 4 || srcSize.height < 4)) return kModeLinear;
  return mode;
}

// ----- Kernels ---------------------------------------------------------------------
//
// Positions inside the source rectangle keep every read inside the image by
// the rules themselves (truncation toward zero, the fallback at the last
// column, the cubic block placement). The clamps below only matter for a
// position that rounding pushed well outside, which no usable transform
// produces; they keep such a call from reading outside the image.

// Nearest: trunc(s + 0.5), copied as bits (Bits is the element's same-size
// unsigned type, so no float register can quiet a signalling NaN).
template <typename Bits>
inline Bits nearestAt(const Plane& s, double sx, double sy) {
  const int ix = clampTo(truncToInt(sx + 0.5), 0, s.xmax);
  const int iy = clampTo(truncToInt(sy + 0.5), 0, s.ymax);
  return s.at<Bits>(ix, iy);
}

// Bilinear cell: the top-left index and the fractions. ix = trunc(s + 1e-7),
// fx = s - ix (so a position just below an integer has a tiny negative
// fraction), and on the last column the last pair with weight 1.
template <typename F>
struct Cell {
  int ix, iy;
  F fx, fy;
};
template <typename F>
inline void linearAxis(double s, int max, int& i, F& f) {
  i = truncToInt(s + 1e-7);
  if (i < 0) i = 0;
  if (i < max) {
    f = F(s - double(i));
  } else {
    i = max - 1;
    f = F(1);
  }
}

// The bilinear value in F (long double for the generic 32f warp, double for
// 8u): every term is always evaluated, so a NaN at weight 0 still shows.
template <typename T, typename F>
inline F linearIn(const Plane& s, const Cell<F>& c) {
  const F s00 = F(s.at<T>(c.ix, c.iy)), s10 = F(s.at<T>(c.ix + 1, c.iy));
  const F s01 = F(s.at<T>(c.ix, c.iy + 1)), s11 = F(s.at<T>(c.ix + 1, c.iy + 1));
  const F top = s00 + (s10 - s00) * c.fx;
  const F bottom = s01 + (s11 - s01) * c.fx;
  return top + (bottom - top) * c.fy;
}
template <typename T, typename F>
inline F linearAt(const Plane& s, double sx, double sy) {
  Cell<F> c;
  linearAxis(sx, s.xmax, c.ix, c.fx);
  linearAxis(sy, s.ymax, c.iy, c.fy);
  return linearIn<T, F>(s, c);
}

// Cubic block origin: the 4 samples around the position, kept inside the
// image (extrapolating at the borders).
inline int cubicOrigin(double s, int max) {
  const int i = truncToInt(s + 1e-7);
  return i >= max - 1 ? max - 3 : i < 1 ? 0 : i - 1;
}

// The Lagrange weights through -1, 0, 1, 2, in double from the float offset,
// term by term as written.
inline void cubicWeights(float tf, double w[4]) {
  const double t = tf;
  const double t2 = t * t;
  const double t3 = t * t * t;
  w[0] = (-t3 / 6 + t2 / 2) - t / 3;
  w[1] = ((t3 / 2 - t2) - t / 2) + 1;
  w[2] = (-t3 / 2 + t2 / 2) + t;
  w[3] = t3 / 6 - t / 6;
}

// Rows of the block weighted across, then the row sums weighted down, each
// sum in order and in double; the caller rounds once.
template <typename T>
inline double cubicAt(const Plane& s, double sx, double sy) {
  const int bx = cubicOrigin(sx, s.xmax), by = cubicOrigin(sy, s.ymax);
  double wx[4], wy[4];
  cubicWeights(static_cast<float>((sx - 1) - bx), wx);
  cubicWeights(static_cast<float>((sy - 1) - by), wy);
  double v = 0;
  for (int j = 0; j < 4; ++j) {
    double r = 0;
    for (int i = 0; i < 4; ++i) r += wx[i] * double(s.at<T>(bx + i, by + j));
    v += wy[j] * r;
  }
  return v;
}

// Rounding of a double result to an 8u pixel: saturated, then half up.
inline Tpx8u round8u(double v) {
  if (!(v > 0)) return 0;
  if (v >= 255) return 255;
  return static_cast<Tpx8u>(static_cast<int>(v + 0.5));
}

}  // namespace
}  // namespace tpx::TPX_NS

#endif  // TPX_GEOMETRY_WARP_H
