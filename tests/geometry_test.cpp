// Affine geometry: the helpers on worked examples and against OpenCV; the
// warps' check order, which pixels they write, their kernels against a
// reference written from the rules, edge blending, and OpenCV's warpAffine.
#include "geometry/geometry.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "tests/harness.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxtest::expectVariantsMatchGeneric;
using tpxtest::Image;
using tpxtest::Outcome;
using Coeffs = double[2][3];
using Quad = double[4][2];
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const float kSentinel = -12345.5f;

// ----- Helpers ---------------------------------------------------------------------

TEST(AffineHelpers, QuadAndBound) {
  struct Case {
    TpxiRect r;
    Coeffs c;
    TpxStatus status;
    Quad quad;  // expected; bound follows from it
  };
  const Case cases[] = {
      {{0, 0, 4, 3}, {{1, 0, 0}, {0, 1, 0}}, 0, {{0, 0}, {3, 0}, {3, 2}, {0, 2}}},
      {{1, 2, 4, 3}, {{0, 0, 0}, {0, 0, 0}}, -56, {{0, 0}, {0, 0}, {0, 0}, {0, 0}}},
      {{1, 2, 1, 3}, {{2, 1, 0}, {1, 3, 0}}, -56, {{4, 7}, {4, 7}, {6, 13}, {6, 13}}},
      {{INT_MAX - 2, 0, 9, 2},
       {{1, 0, 0.5}, {0, -1, 0}},
       0,
       {{2147483645.5, 0}, {2147483653.5, 0}, {2147483653.5, -1}, {2147483645.5, -1}}},
      {{0, 0, 3, 3}, {{-1, 0, 5}, {0, 1, 0}}, 0, {{5, 0}, {3, 0}, {3, 2}, {5, 2}}},
      {{0, 0, 3, 3}, {{kNaN, 0, 0}, {0, 1, 0}}, -56, {{kNaN, 0}, {kNaN, 0}, {kNaN, 2}, {kNaN, 2}}},
  };
  for (const Case& t : cases) {
    Quad q = {{7, 7}, {7, 7}, {7, 7}, {7, 7}};
    double bound[2][2] = {{7, 7}, {7, 7}};
    EXPECT_EQ(tpxiGetAffineQuad(t.r, q, t.c), t.status);
    EXPECT_EQ(tpxiGetAffineBound(t.r, bound, t.c), t.status);
    for (int k = 0; k < 4; ++k)
      for (int a = 0; a < 2; ++a) {
        if (std::isnan(t.quad[k][a])) continue;
        EXPECT_EQ(q[k][a], t.quad[k][a]) << k << "," << a;
        EXPECT_LE(bound[0][a], q[k][a]);
        EXPECT_GE(bound[1][a], q[k][a]);
      }
  }
  // A rectangle that is not one writes nothing.
  Quad q = {{7, 7}, {7, 7}, {7, 7}, {7, 7}};
  double bound[2][2] = {{7, 7}, {7, 7}};
  const Coeffs id = {{1, 0, 0}, {0, 1, 0}};
  for (TpxiRect r : {TpxiRect{-1, 0, 3, 3}, TpxiRect{0, -1, 3, 3}, TpxiRect{0, 0, 0, 3}}) {
    EXPECT_EQ(tpxiGetAffineQuad(r, q, id), -6);
    EXPECT_EQ(tpxiGetAffineBound(r, bound, id), -6);
  }
  EXPECT_EQ(q[2][1], 7);
  EXPECT_EQ(bound[1][1], 7);
}

TEST(AffineHelpers, Transform) {
  struct Case {
    TpxiRect r;
    Quad q;
    TpxStatus status;
    Coeffs c;  // expected (sentinel 9s when untouched)
  };
  const Case cases[] = {
      {{0, 0, 4, 3}, {{0, 0}, {3, 0}, {3, 2}, {0, 2}}, 0, {{1, 0, 0}, {0, 1, 0}}},
      {{0, 0, 4, 3}, {{0, 0}, {3, 0}, {3, 2}, {0, 2.5}}, 28, {{1, 0, 0}, {0, 1, 0}}},
      {{0, 0, 4, 3}, {{3, 0}, {0, 0}, {0, 2}, {3, 2}}, 0, {{-1, 0, 3}, {0, 1, 0}}},   // CCW
      {{0, 0, 4, 3}, {{0, 0}, {3, 0}, {0, 2}, {3, 2}}, -58, {{9, 9, 9}, {9, 9, 9}}},  // bow-tie
      {{0, 0, 4, 3}, {{0, 0}, {1, 0}, {2, 0}, {0, 1}}, -58, {{9, 9, 9}, {9, 9, 9}}},  // collinear
      {{0, 0, 1, 3}, {{0, 0}, {3, 0}, {0, 2}, {3, 2}}, -58, {{9, 9, 9}, {9, 9, 9}}},
      {{0, 0, 1, 3}, {{0, 0}, {3, 0}, {3, 2}, {0, 2}}, -57, {{9, 9, 9}, {9, 9, 9}}},
      {{0, 0, 4, 1}, {{0, 0}, {3, 0}, {3, 2}, {0, 2}}, -57, {{9, 9, 9}, {9, 9, 9}}},
      {{-1, 0, 4, 3}, {{0, 0}, {3, 0}, {3, 2}, {0, 2}}, -6, {{9, 9, 9}, {9, 9, 9}}},
      // Top and bottom parallel, the sides not: the second pair warns.
      {{0, 0, 5, 3}, {{0, 0}, {4, 0}, {3, 2}, {1, 2}}, 28, {{1, -0.5, 0}, {0, 1, 0}}},
      {{2, 1, 3, 5}, {{1, 1}, {5, 1}, {5, 9}, {1, 9}}, 0, {{2, 0, -3}, {0, 2, -1}}},
  };
  for (const Case& t : cases) {
    Coeffs c = {{9, 9, 9}, {9, 9, 9}};
    EXPECT_EQ(tpxiGetAffineTransform(t.r, t.q, c), t.status);
    for (int i = 0; i < 2; ++i)
      for (int j = 0; j < 3; ++j) EXPECT_EQ(c[i][j], t.c[i][j]) << i << j;
  }
  // A turn of 1e-300 is still a turn.
  Coeffs c;
  const Quad thin = {{0, 0}, {1, 0}, {2, 1e-300}, {0, 1}};
  EXPECT_GE(tpxiGetAffineTransform(TpxiRect{0, 0, 3, 3}, thin, c), 0);
}

#ifdef TPX_HAVE_OPENCV
TEST(AffineHelpers, TransformMatchesOpenCv) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> u(-50, 50);
  for (int n = 0; n < 200; ++n) {
    const TpxiRect r{int(rng() % 40), int(rng() % 40), 2 + int(rng() % 90), 2 + int(rng() % 90)};
    const float x0 = float(r.x), y0 = float(r.y), x1 = float(r.x + r.width - 1),
                y1 = float(r.y + r.height - 1);
    Quad q = {{u(rng), u(rng)}, {u(rng), u(rng)}, {u(rng), u(rng)}, {0, 0}};
    q[3][0] = q[0][0] + q[2][0] - q[1][0], q[3][1] = q[0][1] + q[2][1] - q[1][1];
    Coeffs c;
    if (tpxiGetAffineTransform(r, q, c) < 0) continue;
    const cv::Point2f from[3] = {{x0, y0}, {x1, y0}, {x1, y1}};
    cv::Point2f to[3];
    for (int k = 0; k < 3; ++k) to[k] = cv::Point2f(float(q[k][0]), float(q[k][1]));
    const cv::Mat m = cv::getAffineTransform(from, to);
    for (int i = 0; i < 2; ++i)
      for (int j = 0; j < 3; ++j)
        EXPECT_NEAR(c[i][j], m.at<double>(i, j), 1e-12 * (1 + std::fabs(m.at<double>(i, j))));
  }
}
#endif

// ----- Warps: checks -------------------------------------------------------------------

struct Args {
  const float* src;
  TpxiSize srcSize;
  int srcStep;
  TpxiRect srcRoi;
  float* dst;
  int dstStep;
  TpxiRect dstRoi;
  Coeffs c;
  int mode;
};

TpxStatus warp(bool forward, const Args& a) {
  return (forward ? tpxiWarpAffine_32f_C1R : tpxiWarpAffineBack_32f_C1R)(
      a.src, a.srcSize, a.srcStep, a.srcRoi, a.dst, a.dstStep, a.dstRoi, a.c, a.mode);
}

template <typename A>
using Fault = std::pair<TpxStatus, void (*)(A&)>;

// Every fault alone and together with the next one in check order: the
// first must win, and nothing may be written.
template <typename A, typename Call, typename Dst>
void expectCheckOrder(const A& good, const std::vector<Fault<A>>& faults, Call call,
                      const Dst& dst) {
  for (size_t i = 0; i < faults.size(); ++i)
    for (size_t j = i; j <= i + 1 && j < faults.size(); ++j) {
      A a = good;
      faults[j].second(a);
      faults[i].second(a);
      const std::vector<uint8_t> before = dst.bytes();
      EXPECT_EQ(call(a), faults[i].first) << "faults " << i << "," << j;
      EXPECT_EQ(dst.bytes(), before);
    }
}

TEST(AffineWarp, CheckOrder) {
  std::vector<Fault<Args>> faults = {
      {-8, [](Args& a) { a.src = nullptr; }},
      {-6, [](Args& a) { a.dstRoi.width = 0; }},
      {-14, [](Args& a) { a.srcStep = 0; }},
      {-22, [](Args& a) { a.mode = 3 | tpxEdgeBlendFlag; }},
      {-56, [](Args& a) { a.c[0][0] = 1, a.c[0][1] = 2, a.c[1][0] = 2, a.c[1][1] = 4; }},
      {29, [](Args& a) { a.srcRoi.x = a.srcSize.width; }},
      {-57, [](Args& a) { a.srcRoi.width = 1; }},  // forward only
      {-56, [](Args& a) { a.c[0][2] = INFINITY; }},
      {30, [](Args& a) { a.c[1][2] = 1000; }},
  };
  Image<float> src(8, 6), dst(9, 7, 40);
  src.fillRandom(1, 0, 1);
  dst.fillRandom(2, 0, 1);
  const Args good{src.ptr(),     src.size(), src.step(),   {1, 1, 6, 4},
                  dst.ptr(),     dst.step(), {0, 0, 9, 7}, {{1, 0.25, 0.5}, {-0.25, 1, 1}},
                  tpxInterLinear};
  expectCheckOrder(
      good, faults, [](const Args& a) { return warp(true, a); }, dst);
  faults.erase(faults.begin() + 6);
  expectCheckOrder(
      good, faults, [](const Args& a) { return warp(false, a); }, dst);
  for (bool forward : {true, false}) {
    Args a = good;
    EXPECT_EQ(warp(forward, a), 0);
    // A one-column source region passes the backward warp's size rule but maps
    // to a degenerate quadrangle.
    a.srcRoi.width = 1;
    EXPECT_EQ(warp(forward, a), forward ? -57 : -56);
  }
}

// ----- Warps: what is written, and its values ------------------------------------------

// The rules, written out independently: nearest, bilinear in long double,
// cubic Lagrange with double weights from float offsets.
float refSample(const Image<float>& s, double sx, double sy, int mode) {
  const int xmax = s.width() - 1, ymax = s.height() - 1;
  if (mode == 1) return s.get(int(std::trunc(sx + 0.5)), int(std::trunc(sy + 0.5)));
  int ix = int(std::trunc(sx + 1e-7)), iy = int(std::trunc(sy + 1e-7));
  if (mode == 2) {
    long double fx = sx - ix, fy = sy - iy;
    if (ix >= xmax) ix = xmax - 1, fx = 1;
    if (iy >= ymax) iy = ymax - 1, fy = 1;
    auto at = [&](int dx, int dy) -> long double { return s.get(ix + dx, iy + dy); };
    const long double top = at(0, 0) + (at(1, 0) - at(0, 0)) * fx;
    const long double bottom = at(0, 1) + (at(1, 1) - at(0, 1)) * fx;
    return float(top + (bottom - top) * fy);
  }
  auto origin = [](int i, int max) { return i >= max - 1 ? max - 3 : i < 1 ? 0 : i - 1; };
  const int bx = origin(ix, xmax), by = origin(iy, ymax);
  auto weights = [](double t, double w[4]) {
    w[0] = -t * t * t / 6 + t * t / 2 - t / 3;
    w[1] = t * t * t / 2 - t * t - t / 2 + 1;
    w[2] = -t * t * t / 2 + t * t / 2 + t;
    w[3] = t * t * t / 6 - t / 6;
  };
  double wx[4], wy[4], v = 0;
  weights(float(sx - 1 - bx), wx);
  weights(float(sy - 1 - by), wy);
  for (int j = 0; j < 4; ++j) {
    double r = 0;
    for (int i = 0; i < 4; ++i) r += wx[i] * s.get(bx + i, by + j);
    v += wy[j] * r;
  }
  return float(v);
}

struct Map {
  Coeffs b;  // backward (destination to source)
};

// Inverse of an affine map in double (for the forward warp's coverage test).
void invert(const Coeffs c, Coeffs b) {
  const double d = c[0][0] * c[1][1] - c[0][1] * c[1][0];
  b[0][0] = c[1][1] / d, b[0][1] = -c[0][1] / d, b[1][0] = -c[1][0] / d, b[1][1] = c[0][0] / d;
  b[0][2] = -(b[0][0] * c[0][2] + b[0][1] * c[1][2]);
  b[1][2] = -(b[1][0] * c[0][2] + b[1][1] * c[1][2]);
}

// Runs one warp on a copy of dst under every variant; checks coverage (a
// pixel centre more than 1e-9 inside the source rectangle is written, one
// more than 1e-9 outside is untouched), guards, and, when `exact`, every
// written value against the reference at b x + b y + b.
void checkWarp(bool forward, const Image<float>& src, TpxiRect srcRoi, Image<float> dst,
               TpxiRect dstRoi, const Coeffs c, int mode, bool exact) {
  dst.fill([](int, int) { return kSentinel; });
  Coeffs b;
  if (forward) {
    invert(c, b);
  } else {
    for (int i = 0; i < 6; ++i) b[i / 3][i % 3] = c[i / 3][i % 3];
  }
  const double x0 = srcRoi.x, y0 = srcRoi.y;
  const double x1 = std::min(srcRoi.x + srcRoi.width, src.width()) - 1.0;
  const double y1 = std::min(srcRoi.y + srcRoi.height, src.height()) - 1.0;
  Image<float> out = dst;
  const Outcome o = expectVariantsMatchGeneric([&] {
    out = dst;
    Outcome r;
    r.status = (forward ? tpxiWarpAffine_32f_C1R : tpxiWarpAffineBack_32f_C1R)(
        src.ptr(), src.size(), src.step(), srcRoi, out.ptr(), out.step(), dstRoi, c, mode);
    return r.add(out.bytes());
  });
  ASSERT_TRUE(o.status == 0 || o.status == 30) << o.status;
  EXPECT_TRUE(out.guardsIntact());
  int written = 0;
  for (int y = 0; y < dst.height(); ++y)
    for (int x = 0; x < dst.width(); ++x) {
      const double sx = b[0][0] * x + b[0][1] * y + b[0][2];
      const double sy = b[1][0] * x + b[1][1] * y + b[1][2];
      const bool inRoi = x >= dstRoi.x && x < dstRoi.x + dstRoi.width && y >= dstRoi.y &&
                         y < dstRoi.y + dstRoi.height;
      const double e = 1e-9;
      const bool in = sx > x0 + e && sx < x1 - e && sy > y0 + e && sy < y1 - e;
      const bool outside = sx < x0 - e || sx > x1 + e || sy < y0 - e || sy > y1 + e;
      const float v = out.get(x, y);
      written += v != kSentinel;
      if (!inRoi || outside) {
        ASSERT_EQ(v, kSentinel) << x << "," << y;
      }
      if (inRoi && in) {
        ASSERT_NE(v, kSentinel) << x << "," << y;
        if (exact) {
          EXPECT_EQ(v, refSample(src, sx, sy, mode)) << x << "," << y << " " << mode;
        }
      }
    }
  EXPECT_EQ(o.status == 30, written == 0);
}

TEST(AffineWarp, ExactMapsMatchTheRules) {
  // Dyadic coefficients: the incremental positions equal the direct ones, so
  // the reference may evaluate b x + b y + b.
  const Coeffs maps[] = {
      {{1, 0, 0}, {0, 1, 0}},
      {{0.5, 0, 0}, {0, 0.5, 0}},
      {{0.75, 0.25, -1.5}, {-0.25, 0.75, 2.25}},
      {{-1, 0, 13}, {0, 1.5, -0.5}},
      {{0, 1, 0.125}, {-1, 0, 14}},
      {{2, 0.5, -3}, {0.5, -2, 20}},
  };
  Image<float> src(14, 11, 4 * 14 + 3);
  src.fillRandom(3, -1, 1);
  for (const TpxiRect roi : {TpxiRect{0, 0, 14, 11}, TpxiRect{2, 1, 40, 7}}) {
    for (const Coeffs& m : maps) {
      for (int mode : {1, 2, 4}) {
        checkWarp(false, src, roi, Image<float>(23, 19, 4 * 23 + 5), {1, 2, 20, 15}, m, mode, true);
      }
    }
  }
  // Forward maps whose inverse is dyadic (the solver finds it exactly).
  const Coeffs fwd[] = {
      {{2, 0, 1}, {0, -2, 30}}, {{0, 1, 0.5}, {-1, 0, 15}}, {{-2, 0, 30}, {0, 1, 3}}};
  for (const Coeffs& m : fwd)
    for (int mode : {1, 2, 4})
      checkWarp(true, src, {1, 1, 12, 9}, Image<float>(33, 33, 4 * 33 + 1), {0, 0, 33, 33}, m, mode,
                true);
}

TEST(AffineWarp, RandomMapsWriteTheQuadrangleOnly) {
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> u(0, 1);
  Image<float> src(37, 29, 4 * 37 + 7);
  src.fillRandom(4, 0, 1);
  for (int n = 0; n < 40; ++n) {
    const double a = u(rng) * 6.3, s = 0.3 + 2.7 * u(rng), shear = u(rng) - 0.5;
    const double flip = n % 3 == 0 ? -1 : 1;
    Coeffs c = {{s * std::cos(a) * flip, s * (std::sin(a) + shear), 0},
                {-s * std::sin(a) * flip, s * std::cos(a), 0}};
    c[0][2] = 30 - (c[0][0] * 18 + c[0][1] * 14);  // centre to (30, 25)
    c[1][2] = 25 - (c[1][0] * 18 + c[1][1] * 14);
    const TpxiRect srcRoi{int(rng() % 10), int(rng() % 8), 5 + int(rng() % 40),
                          5 + int(rng() % 30)};
    const TpxiRect dstRoi{int(rng() % 20), int(rng() % 20), 10 + int(rng() % 40),
                          10 + int(rng() % 30)};
    const bool forward = n % 2 == 0;
    Coeffs m;
    if (forward) {
      for (int i = 0; i < 6; ++i) m[i / 3][i % 3] = c[i / 3][i % 3];
    } else {
      invert(c, m);
    }
    checkWarp(forward, src, srcRoi, Image<float>(70, 60, 4 * 70 + 2), dstRoi, m, 1 << (n % 3),
              false);
  }
}

TEST(AffineWarp, KernelEdgeCases) {
  // Bilinear reproduces a + bx + cy + dxy up to the last column and row; cubic
  // reproduces p(x) q(y) also where its block extrapolates.
  Image<float> bil(6, 5), cub(7, 6);
  bil.fill([](int x, int y) { return float(3 + 2 * x - y + 0.5 * x * y); });
  auto p = [](double x) { return 1 + x - 0.3 * x * x + 0.05 * x * x * x; };
  cub.fill([&](int x, int y) { return float(p(x) * p(0.5 * y)); });
  const Coeffs up = {{0.625, 0, 0}, {0, 0.5, 0}};
  Image<float> out(9, 9);
  out.fill([](int, int) { return kSentinel; });
  ASSERT_EQ(tpxiWarpAffineBack_32f_C1R(bil.ptr(), bil.size(), bil.step(), {0, 0, 6, 5}, out.ptr(),
                                       out.step(), {0, 0, 9, 9}, up, 2),
            0);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 9; ++x) {
      const double sx = 0.625 * x, sy = 0.5 * y;
      EXPECT_NEAR(out.get(x, y), 3 + 2 * sx - sy + 0.5 * sx * sy, 1e-5) << x << "," << y;
    }
  ASSERT_EQ(tpxiWarpAffineBack_32f_C1R(cub.ptr(), cub.size(), cub.step(), {0, 0, 7, 6}, out.ptr(),
                                       out.step(), {0, 0, 9, 9}, up, 4),
            0);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 9; ++x) {
      const double want = p(0.625 * x) * p(0.25 * y);
      EXPECT_NEAR(out.get(x, y), want, 1e-5 * std::fabs(want) + 1e-6) << x << "," << y;
    }
  // 3x3 asked for cubic is bilinear; an exact-size source (no slack for a
  // stray read) under a map that touches every border.
  std::vector<float> exact(9);
  for (int i = 0; i < 9; ++i) exact[size_t(i)] = float(i * i % 7);
  Image<float> lin(5, 5), cubic(5, 5);
  const Coeffs half = {{0.5, 0, 0}, {0, 0.5, 0}};
  for (auto [img, mode] : {std::pair{&lin, 2}, std::pair{&cubic, 4}}) {
    ASSERT_EQ(tpxiWarpAffineBack_32f_C1R(exact.data(), {3, 3}, 12, {0, 0, 3, 3}, img->ptr(),
                                         img->step(), {0, 0, 5, 5}, half, mode),
              0);
  }
  EXPECT_EQ(lin.bytes(), cubic.bytes());
}

TEST(AffineWarp, EdgeBlending) {
  // A constant 100 sheared over a background of 10: the pixel just outside a
  // slanted edge at distance f from it becomes 100 (1 - f) + 10 f.
  Image<float> src(8, 8);
  src.fill([](int, int) { return 100.0f; });
  for (double flip : {1.0, -1.0}) {
    const Coeffs c = {{flip, flip * 0.25, flip > 0 ? 2.0 : 14.0}, {0, 1, 2}};
    Image<float> dst(20, 12);
    dst.fill([](int, int) { return 10.0f; });
    ASSERT_EQ(
        tpxiWarpAffine_32f_C1R(src.ptr(), src.size(), src.step(), {0, 0, 8, 8}, dst.ptr(),
                               dst.step(), {0, 0, 20, 12}, c, tpxInterNearest | tpxEdgeBlendFlag),
        0);
    for (int y = 0; y < 12; ++y) {
      // Edges at x = c02 + c01 (y - 2) and that + 7 c00.
      const double e0 = c[0][2] + c[0][1] * (y - 2), e1 = e0 + 7 * c[0][0];
      const double xl = std::min(e0, e1), xr = std::max(e0, e1);
      for (int x = 0; x < 20; ++x) {
        double want = 10;
        if (y >= 2 && y <= 9) {
          if (x >= std::ceil(xl) && x <= std::floor(xr)) want = 100;
          const double fl = xl - std::floor(xl), fr = std::ceil(xr) - xr;
          if (x == std::floor(xl) && fl > 0) want = 100 * (1 - fl) + 10 * fl;
          if (x == std::ceil(xr) && fr > 0) want = 100 * (1 - fr) + 10 * fr;
        }
        EXPECT_EQ(dst.get(x, y), float(want)) << flip << " " << x << "," << y;
      }
    }
  }
}

#ifdef TPX_HAVE_OPENCV
// OpenCV's positions are fixed point (1/1024 px for nearest, 1/32 px steps
// for bilinear): nearest must agree away from half-integers, bilinear within
// the gradient over 32.
TEST(AffineWarp, MatchesOpenCv) {
  const int w = 48, h = 40;
  Image<float> src(w, h);
  src.fill([](int x, int y) { return float(50 * std::sin(x / 5.0) * std::cos(y / 7.0)); });
  const double grad = 50 / 5.0 + 50 / 7.0;
  cv::Mat s(h, w, CV_32F);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) s.at<float>(y, x) = src.get(x, y);
  for (int n = 0; n < 6; ++n) {
    const double a = 0.3 + n, sc = 0.6 + 0.3 * n;
    const Coeffs b = {
        {sc * std::cos(a), sc * std::sin(a), 24 - sc * (std::cos(a) * 26 + std::sin(a) * 22)},
        {-sc * std::sin(a), sc * std::cos(a), 20 - sc * (-std::sin(a) * 26 + std::cos(a) * 22)}};
    const cv::Mat m =
        (cv::Mat_<double>(2, 3) << b[0][0], b[0][1], b[0][2], b[1][0], b[1][1], b[1][2]);
    for (int mode : {1, 2}) {
      Image<float> dst(52, 44);
      dst.fill([](int, int) { return kSentinel; });
      cv::Mat ref(44, 52, CV_32F, cv::Scalar(kSentinel));
      ASSERT_EQ(tpxiWarpAffineBack_32f_C1R(src.ptr(), src.size(), src.step(), {0, 0, w, h},
                                           dst.ptr(), dst.step(), {0, 0, 52, 44}, b, mode),
                0);
      cv::warpAffine(s, ref, m, ref.size(),
                     (mode == 1 ? cv::INTER_NEAREST : cv::INTER_LINEAR) | cv::WARP_INVERSE_MAP,
                     cv::BORDER_TRANSPARENT);
      for (int y = 0; y < 44; ++y)
        for (int x = 0; x < 52; ++x) {
          const float v = dst.get(x, y), r = ref.at<float>(y, x);
          if (v == kSentinel || r == kSentinel) continue;
          const double sx = b[0][0] * x + b[0][1] * y + b[0][2];
          const double sy = b[1][0] * x + b[1][1] * y + b[1][2];
          auto nearHalf = [](double t) { return std::fabs(t - std::floor(t) - 0.5) < 1.0 / 256; };
          if (mode == 1 && !nearHalf(sx) && !nearHalf(sy)) {
            EXPECT_EQ(v, r) << x << "," << y;
          }
          if (mode == 2) {
            EXPECT_NEAR(v, r, grad / 32 + 1e-4) << x << "," << y;
          }
        }
    }
  }
}
#endif

// ----- Remap -----------------------------------------------------------------------------

struct RemapArgs {
  const float* src;
  TpxiSize srcSize;
  int srcStep;
  TpxiRect srcRoi;
  const float* mx;
  int mxStep;
  const float* my;
  int myStep;
  float* dst;
  int dstStep;
  TpxiSize size;
  int mode;
};

TpxStatus remap(const RemapArgs& a) {
  return tpxiRemap_32f_C1R(a.src, a.srcSize, a.srcStep, a.srcRoi, a.mx, a.mxStep, a.my, a.myStep,
                           a.dst, a.dstStep, a.size, a.mode);
}

TEST(Remap, CheckOrder) {
  const std::vector<Fault<RemapArgs>> faults = {
      {-8, [](RemapArgs& a) { a.my = nullptr; }},
      {-6, [](RemapArgs& a) { a.size.height = 0; }},
      {-22, [](RemapArgs& a) { a.mode = tpxInterLinear | tpxEdgeBlendFlag; }},
      {-14, [](RemapArgs& a) { a.mxStep = 0; }},
      {29, [](RemapArgs& a) { a.srcRoi.y = a.srcSize.height; }},
  };
  Image<float> src(6, 5), mx(4, 3), my(4, 3), dst(4, 3);
  src.fillRandom(1, 0, 1);
  mx.fillRandom(2, 0, 5);
  my.fillRandom(3, 0, 4);
  dst.fillRandom(4, 0, 1);
  const RemapArgs good{src.ptr(), src.size(), src.step(), {0, 0, 6, 5}, mx.ptr(),   mx.step(),
                       my.ptr(),  my.step(),  dst.ptr(),  dst.step(),   dst.size(), 2};
  expectCheckOrder(good, faults, remap, dst);
  // No destination pixel written is still success.
  RemapArgs a = good;
  a.srcRoi = {0, 0, 1, 1};
  mx.fill([](int, int) { return 3.0f; });
  EXPECT_EQ(remap(a), 0);
}

// Single-precision bilinear, as remap does it.
float refLinearF(const Image<float>& s, float sx, float sy) {
  int ix = int(std::trunc(double(sx) + 1e-7)), iy = int(std::trunc(double(sy) + 1e-7));
  float fx = sx - float(ix), fy = sy - float(iy);
  if (ix >= s.width() - 1) ix = s.width() - 2, fx = 1;
  if (iy >= s.height() - 1) iy = s.height() - 2, fy = 1;
  const float top = s.get(ix, iy) + (s.get(ix + 1, iy) - s.get(ix, iy)) * fx;
  const float bottom = s.get(ix, iy + 1) + (s.get(ix + 1, iy + 1) - s.get(ix, iy + 1)) * fx;
  return top + (bottom - top) * fy;
}

float refRemap(const Image<float>& s, float sx, float sy, int mode) {
  return mode == 2 ? refLinearF(s, sx, sy) : refSample(s, sx, sy, mode);
}

TEST(Remap, Positions) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  // The whole 7 x 5 image is the region: x1 = 6, y1 = 4.
  const float xs[] = {0,           -0.0f, 6,     6.25f, nan, 0.49999997f,
                      1.99999988f, 2.5f,  4.75f, 1.25f, 6,   -0.01f};
  const float ys[] = {0, 1, 4, 1, 1, 2, 1.5f, nan, 3.99999988f, 4.5f, 2, 1};
  const bool inside[] = {1, 1, 1, 0, 0, 1, 1, 0, 1, 0, 1, 0};
  const int n = 12;
  Image<float> src(7, 5, 4 * 7 + 3), mx(n, 1), my(n, 1);
  src.fillRandom(5, -2, 2);
  for (int i = 0; i < n; ++i) mx.set(i, 0, xs[i]), my.set(i, 0, ys[i]);
  src.set(5, 2, 1e8f);  // (6, 2) takes the last pair with weight 1: 1e8 + (1 - 1e8) is 0 in float
  src.set(6, 2, 1.0f);
  for (int mode : {1, 2, 4}) {
    Image<float> dst(n, 1, 4 * n + 1);
    const Outcome o = expectVariantsMatchGeneric([&] {
      dst.fill([](int, int) { return kSentinel; });
      Outcome r;
      r.status =
          tpxiRemap_32f_C1R(src.ptr(), src.size(), src.step(), {0, 0, 7, 5}, mx.ptr(), mx.step(),
                            my.ptr(), my.step(), dst.ptr(), dst.step(), {n, 1}, mode);
      return r.add(dst.bytes());
    });
    EXPECT_EQ(o.status, 0);
    for (int i = 0; i < n; ++i) {
      const float want = inside[i] ? refRemap(src, xs[i], ys[i], mode) : kSentinel;
      EXPECT_EQ(tpxtest::bitsOf(dst.get(i, 0)), tpxtest::bitsOf(want)) << mode << " " << i;
    }
    if (mode == 1) {
      EXPECT_EQ(dst.get(5, 0), src.get(0, 2));
    }
    if (mode == 2) {
      EXPECT_EQ(dst.get(10, 0), 0.0f);
    }
  }
}

TEST(Remap, RandomMapsAndSmallSources) {
  std::mt19937 rng(9);
  std::uniform_real_distribution<float> u(-1, 1);
  for (TpxiSize size : {TpxiSize{13, 9}, TpxiSize{1, 6}, TpxiSize{3, 3}, TpxiSize{5, 1}}) {
    // Exact-size source: a read outside the image is caught by the sanitizer.
    std::vector<float> data(size_t(size.width * size.height));
    for (float& v : data) v = u(rng);
    Image<float> src(size.width, size.height);
    src.fill([&](int x, int y) { return data[size_t(y * size.width + x)]; });
    const TpxiRect roi{size.width > 4 ? 2 : 0, size.height > 4 ? 1 : 0, 9, 6};
    const int w = 17, h = 6;
    Image<float> mx(w, h, 4 * w + 2), my(w, h, 4 * w + 6);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const float fx =
            (x % 3 == 0) ? float(x % size.width) : (size.width + 1) * (u(rng) + 1) / 2 - 0.5f;
        mx.set(x, y, fx);
        my.set(x, y,
               x % 4 == 0 ? float(y % size.height) : (size.height + 1) * (u(rng) + 1) / 2 - 0.5f);
      }
    for (int mode : {1, 2, 4}) {
      Image<float> dst(w, h, 4 * w + 3);
      expectVariantsMatchGeneric([&] {
        dst.fill([](int, int) { return kSentinel; });
        Outcome r;
        r.status = tpxiRemap_32f_C1R(data.data(), size, 4 * size.width, roi, mx.ptr(), mx.step(),
                                     my.ptr(), my.step(), dst.ptr(), dst.step(), {w, h}, mode);
        return r.add(dst.bytes());
      });
      // A one-pixel side samples nearest, three pixels bilinear for cubic.
      const int used = size.width == 1 || size.height == 1                ? 1
                       : mode == 4 && (size.width < 4 || size.height < 4) ? 2
                                                                          : mode;
      const float x1 = float(std::min(roi.x + roi.width, size.width) - 1);
      const float y1 = float(std::min(roi.y + roi.height, size.height) - 1);
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
          const float sx = mx.get(x, y), sy = my.get(x, y);
          const bool in = sx >= roi.x && sx <= x1 && sy >= roi.y && sy <= y1;
          EXPECT_EQ(dst.get(x, y), in ? refRemap(src, sx, sy, used) : kSentinel) << x << "," << y;
        }
      EXPECT_TRUE(dst.guardsIntact());
    }
  }
}

#ifdef TPX_HAVE_OPENCV
TEST(Remap, MatchesOpenCv) {
  const int w = 40, h = 30;
  Image<float> src(w, h), mx(w, h), my(w, h);
  src.fill([](int x, int y) { return float(50 * std::sin(x / 5.0) * std::cos(y / 7.0)); });
  cv::Mat s(h, w, CV_32F), cx(h, w, CV_32F), cy(h, w, CV_32F);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const double r = 1 + 1e-4 * ((x - 20) * (x - 20) + (y - 15) * (y - 15));
      mx.set(x, y, float(20 + r * (0.98 * (x - 20) + 0.17 * (y - 15))));
      my.set(x, y, float(15 + r * (-0.17 * (x - 20) + 0.98 * (y - 15))));
      s.at<float>(y, x) = src.get(x, y), cx.at<float>(y, x) = mx.get(x, y),
                     cy.at<float>(y, x) = my.get(x, y);
    }
  for (int mode : {1, 2}) {
    Image<float> dst(w, h);
    dst.fill([](int, int) { return kSentinel; });
    cv::Mat ref(h, w, CV_32F, cv::Scalar(kSentinel));
    ASSERT_EQ(
        tpxiRemap_32f_C1R(src.ptr(), src.size(), src.step(), {0, 0, w, h}, mx.ptr(), mx.step(),
                          my.ptr(), my.step(), dst.ptr(), dst.step(), {w, h}, mode),
        0);
    cv::remap(s, ref, cx, cy, mode == 1 ? cv::INTER_NEAREST : cv::INTER_LINEAR,
              cv::BORDER_TRANSPARENT);
    int compared = 0;
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const float v = dst.get(x, y), r = ref.at<float>(y, x);
        if (v == kSentinel || r == kSentinel) continue;
        const float sx = mx.get(x, y), sy = my.get(x, y);
        ++compared;
        if (mode == 1 && sx - std::floor(sx) != 0.5f && sy - std::floor(sy) != 0.5f) {
          EXPECT_EQ(v, r);
        }
        if (mode == 2) {
          EXPECT_NEAR(v, r, (50 / 5.0 + 50 / 7.0) / 32 + 1e-4);
        }
      }
    EXPECT_GT(compared, w * h / 2);
  }
}
#endif

// ----- Rotation --------------------------------------------------------------------------

TpxStatus rotateVia(bool warp, const Image<Tpx8u>& src, TpxiRect srcRoi, Image<Tpx8u>& dst,
                    TpxiRect dstRoi, double angle, double xc, double yc, int mode,
                    const Coeffs c = nullptr) {
  if (warp)
    return tpxiWarpAffine_8u_C1R(src.ptr(), src.size(), src.step(), srcRoi, dst.ptr(), dst.step(),
                                 dstRoi, c, mode);
  return tpxiRotateCenter_8u_C1R(src.ptr(), src.size(), src.step(), srcRoi, dst.ptr(), dst.step(),
                                 dstRoi, angle, xc, yc, mode);
}

// Every variant of the rotation gives the bytes the 8u warp gives for the
// coefficients built here from the documented rule.
void expectRotationIsWarp(const Image<Tpx8u>& src, TpxiRect srcRoi, TpxiSize dstSize,
                          TpxiRect dstRoi, double angle, double xc, double yc, int mode,
                          const Coeffs c) {
  Image<Tpx8u> dst(dstSize.width, dstSize.height, dstSize.width + 3);
  auto run = [&](bool warp) {
    dst.fillRandom(8, 0, 255);
    Outcome o;
    o.status = rotateVia(warp, src, srcRoi, dst, dstRoi, angle, xc, yc, mode, c);
    return o.add(dst.bytes());
  };
  const Outcome rot = expectVariantsMatchGeneric([&] { return run(false); });
  const Outcome warp = run(true);
  EXPECT_EQ(rot.status, warp.status) << angle;
  EXPECT_EQ(tpxtest::firstDifference(warp, rot), "") << angle << " mode " << mode;
}

TEST(Rotate, AnglesAndShifts) {
  Image<Tpx8u> src(23, 17, 29);
  src.fillRandom(6, 0, 255);
  const double huge = 1.1204578571091958e18;
  auto reduce = [](double a, bool nearest) {
    a -= (nearest ? std::round(a / 360) : std::trunc(a / 360)) * 360;
    return a < 0 ? a + 360 : a;
  };
  ASSERT_EQ(reduce(huge, true), 232);
  ASSERT_EQ(reduce(huge, false), 256);
  const double xc = 10.5, yc = 7;
  auto cs = [](double a, bool sine) {
    const double t = a / 180 * 3.141592653589793;
    return sine ? std::sin(t) : std::cos(t);
  };
  struct Case {
    double angle;
    Coeffs c;
  };
  const Case cases[] = {
      {-90, {{0, -1, xc + yc}, {1, 0, yc - xc}}},
      {450, {{0, 1, xc - yc}, {-1, 0, xc + yc}}},
      {180, {{-1, 0, 2 * xc}, {0, -1, 2 * yc}}},
      {0, {{1, 0, 0}, {0, 1, 0}}},
      {-330,
       {{cs(30, 0), cs(30, 1), xc - xc * cs(30, 0) - yc * cs(30, 1)},
        {-cs(30, 1), cs(30, 0), yc - yc * cs(30, 0) + xc * cs(30, 1)}}},
      // Shifts from the nearest reduction (232), cos and sin from the truncated one (256).
      {huge,
       {{cs(256, 0), cs(256, 1), xc - xc * cs(232, 0) - yc * cs(232, 1)},
        {-cs(256, 1), cs(256, 0), yc - yc * cs(232, 0) + xc * cs(232, 1)}}},
  };
  for (const Case& t : cases)
    for (int mode : {1, 2, 4, 2 | tpxEdgeBlendFlag})
      expectRotationIsWarp(src, {1, 2, 20, 14}, {30, 26}, {2, 1, 27, 24}, t.angle, xc, yc, mode,
                           t.c);
  // Statuses pass through the warp: NaN angle, a one-column region, no overlap.
  Image<Tpx8u> dst(8, 8);
  EXPECT_EQ(rotateVia(false, src, {0, 0, 5, 5}, dst, {0, 0, 8, 8}, NAN, 2, 2, 1), -56);
  EXPECT_EQ(rotateVia(false, src, {0, 0, 1, 5}, dst, {0, 0, 8, 8}, 30, 2, 2, 1), -57);
  EXPECT_EQ(rotateVia(false, src, {23, 0, 5, 5}, dst, {0, 0, 8, 8}, 30, 2, 2, 1), 29);
  EXPECT_EQ(rotateVia(false, src, {0, 0, 5, 5}, dst, {0, 0, 8, 8}, 30, 200, 2, 1), 30);
}

#ifdef TPX_HAVE_OPENCV
TEST(Rotate, MatchesOpenCv) {
  const int w = 21, h = 14;
  Image<Tpx8u> src(w, h);
  src.fillRandom(7, 0, 255);
  cv::Mat s(h, w, CV_8U);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) s.at<uint8_t>(y, x) = src.get(x, y);
  struct Case {
    double angle, xc, yc;
    int cvCode;
  };
  const Case rightAngles[] = {{90, (w - 1) / 2.0, (w - 1) / 2.0, cv::ROTATE_90_COUNTERCLOCKWISE},
                              {180, (w - 1) / 2.0, (h - 1) / 2.0, cv::ROTATE_180},
                              {270, (h - 1) / 2.0, (h - 1) / 2.0, cv::ROTATE_90_CLOCKWISE}};
  for (const Case& t : rightAngles) {
    cv::Mat ref;
    cv::rotate(s, ref, t.cvCode);
    for (int mode : {1, 2, 4, 4 | tpxEdgeBlendFlag}) {
      Image<Tpx8u> dst(ref.cols, ref.rows);
      ASSERT_EQ(rotateVia(false, src, {0, 0, w, h}, dst, {0, 0, ref.cols, ref.rows}, t.angle, t.xc,
                          t.yc, mode),
                0);
      for (int y = 0; y < ref.rows; ++y)
        for (int x = 0; x < ref.cols; ++x)
          ASSERT_EQ(dst.get(x, y), ref.at<uint8_t>(y, x))
              << t.angle << " " << mode << " " << x << "," << y;
    }
  }
  // A general angle against warpAffine with the same matrix.
  Image<Tpx8u> smooth(40, 30);
  smooth.fill([](int x, int y) { return Tpx8u(128 + 60 * std::sin(x / 8.0 + y / 11.0)); });
  cv::Mat sm(30, 40, CV_8U);
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 40; ++x) sm.at<uint8_t>(y, x) = smooth.get(x, y);
  for (double angle : {17.0, 123.0, -61.0}) {
    const cv::Mat m = cv::getRotationMatrix2D(cv::Point2f(19.5f, 14.25f), angle, 1.0);
    cv::Mat inv;
    cv::invertAffineTransform(m, inv);
    for (int mode : {1, 2}) {
      Image<Tpx8u> dst(40, 30);
      dst.fill([](int, int) { return Tpx8u(0); });
      cv::Mat ref(30, 40, CV_8U, cv::Scalar(0));
      ASSERT_EQ(
          rotateVia(false, smooth, {0, 0, 40, 30}, dst, {0, 0, 40, 30}, angle, 19.5, 14.25, mode),
          0);
      cv::warpAffine(sm, ref, m, ref.size(), mode == 1 ? cv::INTER_NEAREST : cv::INTER_LINEAR,
                     cv::BORDER_TRANSPARENT);
      for (int y = 1; y < 29; ++y)
        for (int x = 1; x < 39; ++x) {
          const double sx =
              inv.at<double>(0, 0) * x + inv.at<double>(0, 1) * y + inv.at<double>(0, 2);
          const double sy =
              inv.at<double>(1, 0) * x + inv.at<double>(1, 1) * y + inv.at<double>(1, 2);
          if (sx < 1 || sy < 1 || sx > 38 || sy > 28) continue;
          auto nearHalf = [](double t) { return std::fabs(t - std::floor(t) - 0.5) < 1.0 / 256; };
          if (mode == 1 && (nearHalf(sx) || nearHalf(sy))) continue;
          EXPECT_NEAR(dst.get(x, y), ref.at<uint8_t>(y, x), mode == 1 ? 0 : 1)
              << angle << " " << x << "," << y;
        }
    }
  }
}
#endif

TEST(Rotate, CubicSaturates) {
  // A 0/255 step: cubic overshoots on both sides; the result must clamp, not
  // wrap, so far from the step every pixel keeps its side's value.
  Image<Tpx8u> src(32, 32);
  src.fill([](int x, int) { return Tpx8u(x < 16 ? 0 : 255); });
  Image<Tpx8u> dst(32, 32);
  dst.fill([](int, int) { return Tpx8u(77); });
  ASSERT_EQ(rotateVia(false, src, {0, 0, 32, 32}, dst, {0, 0, 32, 32}, 30, 15.5, 15.5, 4), 0);
  const double c = std::cos(3.141592653589793 / 6), s = std::sin(3.141592653589793 / 6);
  for (int y = 0; y < 32; ++y)
    for (int x = 0; x < 32; ++x) {
      if (dst.get(x, y) == 77) continue;
      const double sx = c * (x - 15.5) - s * (y - 15.5) + 15.5;  // the source column
      // Blocks 0 0 0 255 undershoot, 0 255 255 255 overshoot.
      if (sx < 14.9) {
        EXPECT_EQ(dst.get(x, y), 0) << x << "," << y;
      }
      if (sx > 16.1) {
        EXPECT_EQ(dst.get(x, y), 255) << x << "," << y;
      }
    }
}

}  // namespace
