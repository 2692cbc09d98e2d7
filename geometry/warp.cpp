// Affine warps of 32f images, forward (source to destination coefficients)
// and backward (destination to source), and the 8u forward warp behind the
// rotation.
//
// Both directions reduce to the same steps: the destination quadrangle of
// the clipped source rectangle, clipped again to the destination rectangle;
// the rows and column spans inside it; for each pixel of a span, its source
// position from the backward coefficients, advanced by one addition per
// column and per row; a kernel that reads the whole source image. The forward
// warp may then blend the pixels straddling the quadrangle's slanted edges.
//
// Pinned readings where the rule leaves room:
//   positions   rowX = b01 y0 + b02, then += b01 per row; sx = b00 first + rowX,
//               then += b00 per column (and likewise for y): one serial chain;
//   cubic       float offsets t, double weights term by term, the row sums
//               and then the column sum in order, one rounding;
//   blending    float weights, double sum, one rounding; only pixels of the
//               destination rectangle change.
#include "geometry/warp.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "core/alloc.h"
#include "core/image.h"
#include "geometry/affine.h"
#include "geometry/geometry.h"

#if TPX_VARIANT == 0

namespace tpx::TPX_NS {
namespace {

using std::ptrdiff_t;

// ----- Spans -----------------------------------------------------------------------

struct Pt {
  double x, y;
};

// A convex polygon: the quadrangle clipped by up to four lines adds at most
// one vertex per line.
struct Polygon {
  Pt v[8];
  int n = 0;
};

// One Sutherland-Hodgman pass against the line coordinate(axis) = bound,
// keeping the side where coordinate >= bound (keepAbove) or <= bound. A cut
// vertex takes the bound exactly and the other coordinate by interpolation.
Polygon clipAgainst(const Polygon& in, int axis, double bound, bool keepAbove) {
  Polygon out;
  auto coord = [axis](const Pt& p) { return axis == 0 ? p.x : p.y; };
  auto inside = [&](const Pt& p) { return keepAbove ? coord(p) >= bound : coord(p) <= bound; };
  auto cut = [&](const Pt& a, const Pt& b) {
    if (axis == 0) return Pt{bound, a.y + (bound - a.x) * ((b.y - a.y) / (b.x - a.x))};
    return Pt{a.x + (bound - a.y) * ((b.x - a.x) / (b.y - a.y)), bound};
  };
  for (int k = 0; k < in.n; ++k) {
    const Pt& a = in.v[(k + in.n - 1) % in.n];
    const Pt& b = in.v[k];
    const bool ina = inside(a), inb = inside(b);
    if (inb) {
      if (!ina) out.v[out.n++] = cut(a, b);
      out.v[out.n++] = b;
    } else if (ina) {
      out.v[out.n++] = cut(a, b);
    }
  }
  return out;
}

// The destination rectangle's bounds in double (x + width - 1 may overflow).
struct Bounds {
  double left, right, top, bottom;
};
inline Bounds boundsOf(const TpxiRect& r) {
  const Corners c = cornersOf(r.x, r.y, r.width, r.height);
  return {c.x0, c.x1, c.y0, c.y1};
}

Polygon clipQuad(const double q[4][2], const Bounds& b) {
  Polygon p;
  for (int k = 0; k < 4; ++k) p.v[k] = Pt{q[k][0], q[k][1]};
  p.n = 4;
  p = clipAgainst(p, 0, b.left, true);
  p = clipAgainst(p, 0, b.right, false);
  p = clipAgainst(p, 1, b.top, true);
  return clipAgainst(p, 1, b.bottom, false);
}

// The rows to write and, per row, the first and last column (a pair of
// int32 per row, with room for one pair more, from the internal allocator).
struct Spans {
  int firstRow = 0, rows = 0;
  int32_t* cols = nullptr;
};

// One chain of edges walked downward from the topmost vertex.
struct Chain {
  const Polygon* poly;
  int step;       // +1 or n - 1: the direction around the polygon
  int cur, left;  // start vertex of the current edge; edges not yet taken

  const Pt& from() const { return poly->v[cur]; }
  const Pt& to() const { return poly->v[(cur + step) % poly->n]; }

  // Moves to the edge that reaches row y, skipping edges of zero height;
  // false once the chain has turned upward or run out (the chains met).
  bool reach(double y) {
    while (left > 0) {
      const Pt &a = from(), &b = to();
      if (b.y < a.y) return false;
      if (b.y > a.y && b.y >= y) return a.y <= y;
      cur = (cur + step) % poly->n;
      --left;
    }
    return false;
  }

  // x on the current edge at row y, in extended precision.
  long double xAt(double y) const {
    const Pt &a = from(), &b = to();
    const long double dx = (long double)b.x - (long double)a.x;
    const long double dy = (long double)b.y - (long double)a.y;
    return (long double)a.x + ((long double)y - (long double)a.y) * (dx / dy);
  }
};

// Builds the span table of the clipped polygon, or returns false when there
// is no pixel to write or no memory for the table (both reported as 30).
bool buildSpans(const Polygon& p, bool positive, const Bounds& b, Spans& s) {
  if (p.n == 0) return false;
  double minX = p.v[0].x, maxX = minX, minY = p.v[0].y, maxY = minY;
  int top = 0;
  for (int k = 0; k < p.n; ++k) {
    const Pt& v = p.v[k];
    if (std::isnan(v.x) || std::isnan(v.y)) return false;
    if (v.x < minX) minX = v.x;
    if (v.x > maxX) maxX = v.x;
    if (v.y > maxY) maxY = v.y;
    if (v.y < minY) {
      minY = v.y;
      top = k;
    }
  }
  // The clipped vertices lie inside the destination rectangle: these fit int.
  const int firstRow = int(std::ceil(minY)), lastRow = int(std::floor(maxY));
  if (firstRow > lastRow || std::ceil(minX) > std::floor(maxX)) return false;
  const int64_t rows = int64_t(lastRow) - firstRow + 1;
  const int64_t bytes = (rows + 1) * 2 * int64_t(sizeof(int32_t));
  if (bytes > INT32_MAX) return false;
  s.cols = static_cast<int32_t*>(mallocAligned(int32_t(bytes)));
  if (s.cols == nullptr) return false;
  s.firstRow = firstRow;
  s.rows = int(rows);
  // With y growing downward, a positive orientation runs clockwise on screen:
  // ascending vertex order is the right-hand chain.
  Chain right{&p, positive ? 1 : p.n - 1, top, p.n};
  Chain leftc{&p, positive ? p.n - 1 : 1, top, p.n};
  const long double lo = b.left, hi = b.right;
  for (int r = 0; r < s.rows; ++r) {
    const double y = double(firstRow) + r;
    int32_t first = 0, last = -1;
    if (leftc.reach(y) && right.reach(y)) {
      const long double xl = leftc.xAt(y), xr = right.xAt(y);
      long double f = std::ceil(xl), l = std::floor(xr);
      if (f - xl > 1 - 1e-14L) f -= 1;
      if (l + 1 - xr < 1e-14L) l += 1;
      if (f < lo) f = lo;
      if (l > hi) l = hi;
      if (f <= l) {
        first = int32_t(f);
        last = int32_t(l);
      }
    }
    s.cols[2 * r] = first;
    s.cols[2 * r + 1] = last;
  }
  return true;
}

// ----- Resampling ------------------------------------------------------------------

using RowKernel = void (*)(const Plane& src, char* dstRow, int first, int last, double sx,
                           double sy, double dx, double dy);

template <typename Bits>
void rowNearest(const Plane& src, char* dstRow, int first, int last, double sx, double sy,
                double dx, double dy) {
  Bits* d = reinterpret_cast<Bits*>(dstRow);
  for (int x = first; x <= last; ++x, sx += dx, sy += dy) {
    store(d + x, nearestAt<Bits>(src, sx, sy));
  }
}

// The generic 32f bilinear kernel evaluates in extended precision.
void rowLinear32f(const Plane& src, char* dstRow, int first, int last, double sx, double sy,
                  double dx, double dy) {
  Tpx32f* d = reinterpret_cast<Tpx32f*>(dstRow);
  for (int x = first; x <= last; ++x, sx += dx, sy += dy) {
    store(d + x, static_cast<Tpx32f>(linearAt<Tpx32f, long double>(src, sx, sy)));
  }
}

void rowLinear8u(const Plane& src, char* dstRow, int first, int last, double sx, double sy,
                 double dx, double dy) {
  Tpx8u* d = reinterpret_cast<Tpx8u*>(dstRow);
  for (int x = first; x <= last; ++x, sx += dx, sy += dy) {
    store(d + x, round8u(linearAt<Tpx8u, double>(src, sx, sy)));
  }
}

inline Tpx32f finishAs(Tpx32f, double v) { return static_cast<Tpx32f>(v); }
inline Tpx8u finishAs(Tpx8u, double v) { return round8u(v); }

template <typename T>
void rowCubic(const Plane& src, char* dstRow, int first, int last, double sx, double sy, double dx,
              double dy) {
  T* d = reinterpret_cast<T*>(dstRow);
  for (int x = first; x <= last; ++x, sx += dx, sy += dy) {
    store(d + x, finishAs(T(), cubicAt<T>(src, sx, sy)));
  }
}

// [element type][mode >> 1]: 0 = Tpx32f, 1 = Tpx8u; nearest, bilinear, cubic.
constexpr RowKernel kRowKernels[2][3] = {
    {rowNearest<uint32_t>, rowLinear32f, rowCubic<Tpx32f>},
    {rowNearest<uint8_t>, rowLinear8u, rowCubic<Tpx8u>},
};
template <typename T>
constexpr int kTypeIndex = sizeof(T) == 4 ? 0 : 1;

// The chain of step 8: each row's start advances by b01 and b11, each
// column by b00 and b10.
void resample(const Plane& src, char* dst0, int dstStep, const Spans& spans, const double b[2][3],
              RowKernel kernel) {
  double rowX = b[0][1] * spans.firstRow + b[0][2];
  double rowY = b[1][1] * spans.firstRow + b[1][2];
  for (int r = 0; r < spans.rows; ++r, rowX += b[0][1], rowY += b[1][1]) {
    const int first = spans.cols[2 * r], last = spans.cols[2 * r + 1];
    if (first > last) continue;
    kernel(src, dst0 + ptrdiff_t(spans.firstRow + r) * dstStep, first, last, b[0][0] * first + rowX,
           b[1][0] * first + rowY, b[0][0], b[1][0]);
  }
}

// A map that turns or flips by right angles and shifts by whole pixels puts
// every position exactly on a pixel centre (the chain adds integers), where
// all three 8u kernels return that pixel's byte: nearest and bilinear exactly,
// cubic within far less than half a unit before rounding. Such maps copy.
inline bool wholePixelTurn(const double b[2][3]) {
  auto unit = [](double v) { return v == 0 || v == 1 || v == -1; };
  auto whole = [](double v) { return std::fabs(v) < 1e9 && std::floor(v) == v; };
  return unit(b[0][0]) && unit(b[0][1]) && unit(b[1][0]) && unit(b[1][1]) &&
         (b[0][0] != 0) != (b[0][1] != 0) && (b[0][0] != 0) != (b[1][0] != 0) &&
         (b[1][0] != 0) != (b[1][1] != 0) && whole(b[0][2]) && whole(b[1][2]);
}

void copyTurned(const Plane& src, char* dst0, int dstStep, const Spans& spans,
                const double b[2][3]) {
  const ptrdiff_t stride = ptrdiff_t(b[0][0]) + ptrdiff_t(b[1][0]) * src.step;
  for (int r = 0; r < spans.rows; ++r) {
    const int first = spans.cols[2 * r], last = spans.cols[2 * r + 1];
    const int y = spans.firstRow + r;
    if (first > last) continue;
    const ptrdiff_t sx = ptrdiff_t(b[0][0]) * first + ptrdiff_t(b[0][1]) * y + ptrdiff_t(b[0][2]);
    const ptrdiff_t sy = ptrdiff_t(b[1][0]) * first + ptrdiff_t(b[1][1]) * y + ptrdiff_t(b[1][2]);
    const char* p = src.base + sy * src.step + sx;
    char* d = dst0 + ptrdiff_t(y) * dstStep;
    for (int x = first; x <= last; ++x, p += stride) d[x] = *p;
  }
}

// ----- Edge blending ---------------------------------------------------------------

template <typename T>
struct DstImage {
  char* base;
  ptrdiff_t step;
  T* at(int x, int y) const {
    return reinterpret_cast<T*>(base + ptrdiff_t(y) * step + ptrdiff_t(x) * ptrdiff_t(sizeof(T)));
  }
};

// Along each slanted edge of the clipped polygon, at every integer position
// of its longer axis, the edge crosses the other axis between two pixels;
// the outer one (not covered by the quadrangle) takes in the inner one in
// proportion to how close the edge passes it.
template <typename T>
void blendEdges(const Polygon& p, bool positive, const TpxiRect& roi, const DstImage<T>& dst) {
  if (p.n < 3) return;
  const int64_t x1 = int64_t(roi.x) + roi.width - 1, y1 = int64_t(roi.y) + roi.height - 1;
  auto inRoi = [&](int64_t x, int64_t y) { return x >= roi.x && x <= x1 && y >= roi.y && y <= y1; };
  for (int k = 0; k < p.n; ++k) {
    const Pt& a = p.v[k];
    const Pt& b = p.v[(k + 1) % p.n];
    const double ex = b.x - a.x, ey = b.y - a.y;
    if (ex == 0 || ey == 0) continue;
    // Major axis m (the edge's longer extent), minor axis n.
    const bool alongX = std::fabs(ey) <= std::fabs(ex);
    const double am = alongX ? a.x : a.y, an = alongX ? a.y : a.x;
    const double bm = alongX ? b.x : b.y, bn = alongX ? b.y : b.x;
    const long double slope = ((long double)bn - an) / ((long double)bm - am);
    const double lo = std::ceil(am < bm ? am : bm), hi = std::floor(am < bm ? bm : am);
    for (double m = lo; m <= hi; m += 1) {
      const long double d = (long double)an + ((long double)m - am) * slope;
      const long double fl = std::floor(d);
      if (fl == d || fl < 0) continue;
      // Which of the two pixels lies outside: the one on the side of the edge
      // opposite to the interior (interior turns share the orientation).
      const double cm = m, cn = double(fl);
      const double cx = alongX ? cm : cn, cy = alongX ? cn : cm;
      const double side = cross(ex, ey, cx - a.x, cy - a.y);
      const bool floorOuter = positive ? side < 0 : side > 0;
      const int64_t nOut = int64_t(fl) + (floorOuter ? 0 : 1);
      const int64_t nIn = int64_t(fl) + (floorOuter ? 1 : 0);
      const int64_t mi = int64_t(m);
      const int64_t xo = alongX ? mi : nOut, yo = alongX ? nOut : mi;
      const int64_t xi = alongX ? mi : nIn, yi = alongX ? nIn : mi;
      if (!inRoi(xo, yo) || !inRoi(xi, yi)) continue;
      const float wIn = static_cast<float>(std::fabs(d - (long double)nIn));
      const float wOut = static_cast<float>(std::fabs(d - (long double)nOut));
      T* out = dst.at(int(xo), int(yo));
      const double v =
          double(load(dst.at(int(xi), int(yi)))) * double(wIn) + double(load(out)) * double(wOut);
      store(out, finishAs(T(), v));
    }
  }
}

// ----- The worker ------------------------------------------------------------------

// Checks, in the order both directions share: pointers, the ten sizes,
// steps, the mode (bit 31 masked off), singular coefficients.
inline TpxStatus checkWarp(const void* pSrc, TpxiSize srcSize, int srcStep, TpxiRect srcRoi,
                           const void* pDst, int dstStep, TpxiRect dstRoi, const double c[2][3],
                           int interpolation) {
  if (pSrc == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (srcSize.width < 1 || srcSize.height < 1 || srcRoi.x < 0 || srcRoi.y < 0 || srcRoi.width < 1 ||
      srcRoi.height < 1 || dstRoi.x < 0 || dstRoi.y < 0 || dstRoi.width < 1 || dstRoi.height < 1) {
    return tpxStsSizeErr;
  }
  if (srcStep < 1 || dstStep < 1) return tpxStsStepErr;
  const int mode = interpolation & kModeMask;
  if (mode != kModeNearest && mode != kModeLinear && mode != kModeCubic) {
    return tpxStsInterpolationErr;
  }
  const double p = c[0][0] * c[1][1];
  const double r = std::fabs(p) > 1e-200 ? (p - c[0][1] * c[1][0]) / p : c[0][1] * c[1][0];
  if (std::fabs(r) <= 1e-12) return tpxStsCoeffErr;
  return tpxStsNoErr;
}

template <typename T>
TpxStatus warpAffine(bool forward, const T* pSrc, TpxiSize srcSize, int srcStep, TpxiRect srcRoi,
                     T* pDst, int dstStep, TpxiRect dstRoi, const double c[2][3],
                     int interpolation) {
  const TpxStatus bad =
      checkWarp(pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoi, c, interpolation);
  if (bad != tpxStsNoErr) return bad;
  const int mode = adjustMode(interpolation & kModeMask, srcSize);
  if (srcRoi.x >= srcSize.width || srcRoi.y >= srcSize.height) return tpxStsWrongIntersectROI;
  const int w = srcRoi.width < srcSize.width - srcRoi.x ? srcRoi.width : srcSize.width - srcRoi.x;
  const int h =
      srcRoi.height < srcSize.height - srcRoi.y ? srcRoi.height : srcSize.height - srcRoi.y;
  if (forward && (w < 2 || h < 2)) return tpxStsRectErr;

  const Corners rect = cornersOf(srcRoi.x, srcRoi.y, w, h);
  double quad[4][2], b[2][3];
  if (forward) {
    mapCorners(rect, c, quad);
    solveInverse(rect.x0, rect.y0, w - 1, h - 1, quad, b);
  } else {
    const double D = 1 / (c[0][0] * c[1][1] - c[0][1] * c[1][0]);
    const double f[2][3] = {
        {c[1][1] * D, -c[0][1] * D, (c[0][1] * c[1][2] - c[1][1] * c[0][2]) * D},
        {-c[1][0] * D, c[0][0] * D, (c[0][2] * c[1][0] - c[1][2] * c[0][0]) * D}};
    mapCorners(rect, f, quad);
    for (int i = 0; i < 2; ++i)
      for (int j = 0; j < 3; ++j) b[i][j] = c[i][j];
  }
  const QuadCheck check = testQuad(quad);
  if (!check.usable) return tpxStsCoeffErr;

  const Bounds bounds = boundsOf(dstRoi);
  const Polygon poly = clipQuad(quad, bounds);
  Spans spans;
  if (!buildSpans(poly, check.positive, bounds, spans)) return tpxStsWrongIntersectQuad;

  const Plane src{reinterpret_cast<const char*>(pSrc), srcStep, srcSize.width - 1,
                  srcSize.height - 1};
  const DstImage<T> dst{reinterpret_cast<char*>(pDst), dstStep};
  if (sizeof(T) == 1 && wholePixelTurn(b)) {
    copyTurned(src, reinterpret_cast<char*>(pDst), dstStep, spans, b);
  } else {
    resample(src, reinterpret_cast<char*>(pDst), dstStep, spans, b,
             kRowKernels[kTypeIndex<T>][mode >> 1]);
  }
  freeAligned(spans.cols);
  if (forward && (interpolation & ~kModeMask) != 0) blendEdges(poly, check.positive, dstRoi, dst);
  return tpxStsNoErr;
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxiWarpAffine_32f_C1R(const Tpx32f* pSrc, TpxiSize srcSize, int srcStep,
                                              TpxiRect srcRoi, Tpx32f* pDst, int dstStep,
                                              TpxiRect dstRoi, const Tpx64f coeffs[2][3],
                                              int interpolation) {
  return warpAffine(true, pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoi, coeffs,
                    interpolation);
}

TpxStatus tpx::TPX_NS::tpxiWarpAffineBack_32f_C1R(const Tpx32f* pSrc, TpxiSize srcSize, int srcStep,
                                                  TpxiRect srcRoi, Tpx32f* pDst, int dstStep,
                                                  TpxiRect dstRoi, const Tpx64f coeffs[2][3],
                                                  int interpolation) {
  return warpAffine(false, pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoi, coeffs,
                    interpolation);
}

TpxStatus tpx::TPX_NS::tpxiWarpAffine_8u_C1R(const Tpx8u* pSrc, TpxiSize srcSize, int srcStep,
                                             TpxiRect srcRoi, Tpx8u* pDst, int dstStep,
                                             TpxiRect dstRoi, const Tpx64f coeffs[2][3],
                                             int interpolation) {
  return warpAffine(true, pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoi, coeffs,
                    interpolation);
}

#endif  // TPX_VARIANT == 0
