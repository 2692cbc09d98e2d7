// The affine rules shared by the geometry family: mapping a rectangle of pixel
// centres to a quadrangle, the quadrangle test, and the three-point solver.
//
// Included only by family sources, after core/variant.h: everything here lives
// in the variant namespace (see core/image.h for why).
#ifndef TPX_GEOMETRY_AFFINE_H
#define TPX_GEOMETRY_AFFINE_H

#include <cmath>

#include "core/variant.h"

namespace tpx::TPX_NS {
namespace {

// Vertex order of a quadrangle: the rectangle's top-left, top-right,
// bottom-right and bottom-left pixel centres.
using QuadArray = double[4][2];

inline double cross(double ax, double ay, double bx, double by) { return ax * by - ay * bx; }

struct QuadCheck {
  bool usable;
  bool positive;  // all four turns positive: clockwise on screen (y grows downward)
};

// The turn at each vertex must be nonzero and share the sign of the turn at
// P3. No tolerance: a turn of 1e-300 is a turn. A NaN is neither above nor
// below zero, so it counts as degenerate.
inline QuadCheck testQuad(const double q[4][2]) {
  double turn[4];
  for (int k = 0; k < 4; ++k) {
    // k = 0 is the turn at P3, then P0, P1, P2.
    const double* a = q[(k + 2) & 3];
    const double* b = q[(k + 3) & 3];
    const double* c = q[k];
    turn[k] = cross(b[0] - a[0], b[1] - a[1], c[0] - b[0], c[1] - b[1]);
  }
  for (double t : turn) {
    if (!(t > 0 || t < 0)) return {false, false};
  }
  const bool positive = turn[0] > 0;
  for (int k = 1; k < 4; ++k) {
    if ((turn[k] > 0) != positive) return {false, false};
  }
  return {true, positive};
}

// The inclusive corners of a rectangle, in double: x + width - 1 may not fit
// an int.
struct Corners {
  double x0, y0, x1, y1;
};
inline Corners cornersOf(int x, int y, int width, int height) {
  return {double(x), double(y), (double(x) + double(width)) - 1.0,
          (double(y) + double(height)) - 1.0};
}

// The corners in vertex order through c: X = (c00 u + c01 v) + c02.
inline void mapCorners(const Corners& r, const double c[2][3], double q[4][2]) {
  const double u[4] = {r.x0, r.x1, r.x1, r.x0};
  const double v[4] = {r.y0, r.y0, r.y1, r.y1};
  for (int k = 0; k < 4; ++k) {
    q[k][0] = (c[0][0] * u[k] + c[0][1] * v[k]) + c[0][2];
    q[k][1] = (c[1][0] * u[k] + c[1][1] * v[k]) + c[1][2];
  }
}

// The solver's orientation: the sign of the turn from P0 over P1 to P2.
inline bool solverOrientation(const double q[4][2]) {
  return (q[1][0] - q[0][0]) * (q[2][1] - q[1][1]) - (q[2][0] - q[1][0]) * (q[1][1] - q[0][1]) > 0;
}

// Forward mode: the coefficients that carry the corners (x, y), (x + w1, y),
// (x + w1, y + h1) onto P0, P1, P2; P3 is not looked at. Products with the
// reciprocals of w1 and h1 rather than divisions.
inline bool solveForward(double x, double y, double w1, double h1, const double q[4][2],
                         double c[2][3]) {
  const double rw = 1.0 / w1;
  const double rh = 1.0 / h1;
  for (int i = 0; i < 2; ++i) {
    c[i][0] = (q[1][i] - q[0][i]) * rw;
    c[i][1] = (q[2][i] - q[1][i]) * rh;
    c[i][2] = (q[0][i] - c[i][0] * x) - c[i][1] * y;
  }
  return solverOrientation(q);
}

// Inverse mode: the coefficients that carry P0, P1, P2 back onto those
// corners, solved from the three vertices rather than by inverting a forward
// solution (one division per coefficient, by the vertices' own determinant).
inline bool solveInverse(double x, double y, double w1, double h1, const double q[4][2],
                         double b[2][3]) {
  const double dx1 = q[1][0] - q[0][0], dy1 = q[1][1] - q[0][1];
  const double dx2 = q[2][0] - q[1][0], dy2 = q[2][1] - q[1][1];
  const double det = dx1 * dy2 - dx2 * dy1;
  b[0][0] = (w1 * dy2) / det;
  b[0][1] = -(w1 * dx2) / det;
  b[1][0] = -(h1 * dy1) / det;
  b[1][1] = (h1 * dx1) / det;
  b[0][2] = (x - b[0][0] * q[0][0]) - b[0][1] * q[0][1];
  b[1][2] = (y - b[1][0] * q[0][0]) - b[1][1] * q[0][1];
  return det > 0;
}

}  // namespace
}  // namespace tpx::TPX_NS

#endif  // TPX_GEOMETRY_AFFINE_H
