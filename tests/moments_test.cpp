// Image moments. Raw and offset moments of integer images are exact doubles
// and are checked against an int64 brute force; real images against the row
// rule restated here; derived moments against OpenCV within 1e-9 relative.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "tests/harness.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxtest::Image;

// A state allocated for the test's lifetime.
struct State {
  TpxiMomentState* p = nullptr;
  State() { EXPECT_EQ(tpxiMomentInitAlloc_64f(&p, 7), 0); }
  ~State() { EXPECT_EQ(tpxiMomentFree_64f(p), 0); }
  TpxStatus fill(const Image<Tpx32f>& img) {
    return tpxiMoments64f_32f_C1R(img.ptr(), img.step(), img.size(), p);
  }
  double at(int m, int n) const { return p->rawMoments[0][m + 4 * n]; }
};

// The fill rule restated: per row, chained products over a double x, then
// the sums multiplied by y in place.
void rowRule(const Image<Tpx32f>& img, double mom[16]) {
  for (int i = 0; i < 16; ++i) mom[i] = 0;
  for (int y = 0; y < img.height(); ++y) {
    double s[4] = {0, 0, 0, 0}, x = 0;
    for (int i = 0; i < img.width(); ++i, x += 1) {
      double t = img.get(i, y);
      for (int p = 0; p < 4; ++p, t *= x) s[p] += t;
    }
    for (int q = 0; q < 4; ++q)
      for (int p = 0; p + q < 4; ++p) mom[p + 4 * q] += s[p], s[p] *= double(y);
  }
}

int64_t ipow(int64_t b, int e) { return e == 0 ? 1 : b * ipow(b, e - 1); }

TEST(Moments, IntegerImagesAreExact) {
  const int shapes[][3] = {{1, 1, 0}, {5, 3, 1}, {19, 4, 3}, {33, 7, 37}, {67, 9, 16}};
  const TpxiPoint offsets[] = {{0, 0}, {10, 20}, {-1000, 1000}, {999, -7}};
  for (auto& sh : shapes) {
    Image<Tpx32f> img(sh[0], sh[1], sh[0] * 4 + sh[2]);
    img.fillRandom(sh[0] * 31 + sh[1], 0.0f, 16.0f);
    img.fill([&](int x, int y) { return std::floor(img.get(x, y)); });
    State st;
    ASSERT_EQ(st.fill(img), 0);
    for (const TpxiPoint& o : offsets) {
      for (int m = 0; m <= 3; ++m) {
        for (int n = 0; m + n <= 3; ++n) {
          int64_t want = 0;
          for (int y = 0; y < img.height(); ++y)
            for (int x = 0; x < img.width(); ++x)
              want += ipow(x + o.x, m) * ipow(y + o.y, n) * int64_t(img.get(x, y));
          double got = -1;
          ASSERT_EQ(tpxiGetSpatialMoment_64f(st.p, m, n, 0, o, &got), 0);
          EXPECT_EQ(got, double(want)) << sh[0] << "x" << sh[1] << " m" << m << " n" << n;
        }
      }
    }
  }
}

TEST(Moments, RealImagesFollowTheRowRuleBitForBit) {
  for (const auto& [w, h] :
       {std::pair{20011, 1}, {20000, 5}, {3, 9}, {66, 7}, {129, 8}, {7, 401}, {1, 999}}) {
    Image<Tpx32f> img(w, h, w * 4 + 3);
    img.fillRandom(w + h, -3.0f, 5.0f);
    // Spread exponents, so that row sums carry all 53 bits and every rounding shows.
    img.fill([&](int x, int y) { return std::ldexp(img.get(x, y), (x * 7 + y * 3) % 41 - 20); });
    double want[16];
    rowRule(img, want);
    tpxtest::forEachVariant([&](int) {
      State st;
      ASSERT_EQ(st.fill(img), 0);
      EXPECT_EQ(st.p->channelCount, 1);
      EXPECT_EQ(std::memcmp(st.p->rawMoments[0], want, sizeof want), 0) << w << "x" << h;
      for (int k = 16; k < 48; ++k) EXPECT_EQ(st.p->rawMoments[k / 16][k % 16], 0.0);
    });
  }
}

// A skewed positive image, so that no central moment is close to 0.
Image<Tpx32f> skewed(int w, int h) {
  Image<Tpx32f> img(w, h);
  img.fillRandom(5, 0.5f, 1.0f);
  img.fill([&](int x, int y) { return img.get(x, y) * float((1 + x) * (1 + y * y / 8)); });
  return img;
}

void hu(const Image<Tpx32f>& img, double out[7]) {
  State st;
  ASSERT_EQ(st.fill(img), 0);
  ASSERT_EQ(tpxiGetHuMoments_64f(st.p, 0, out), 0);
}

TEST(Moments, HuInvariantsUnderRotationAndMirror) {
  const Image<Tpx32f> img = skewed(41, 29);
  Image<Tpx32f> rot(29, 41), mir(41, 29);
  for (int y = 0; y < 29; ++y) {
    for (int x = 0; x < 41; ++x)
      rot.set(28 - y, x, img.get(x, y)), mir.set(40 - x, y, img.get(x, y));
  }
  double a[7], b[7], c[7];
  hu(img, a), hu(rot, b), hu(mir, c);
  for (int k = 0; k < 7; ++k) {
    EXPECT_NEAR(b[k], a[k], 1e-9 * std::fabs(a[k])) << k;
    EXPECT_NEAR(c[k], k == 6 ? -a[k] : a[k], 1e-9 * std::fabs(a[k])) << k;
  }
}

#ifdef TPX_HAVE_OPENCV
TEST(Moments, AgreeWithOpenCv) {
  const Image<Tpx32f> img = skewed(61, 37);
  cv::Mat mat(37, 61, CV_32F);
  for (int y = 0; y < 37; ++y)
    for (int x = 0; x < 61; ++x) mat.at<float>(y, x) = img.get(x, y);
  const cv::Moments cv = cv::moments(mat);
  double cvHu[7], ourHu[7];
  cv::HuMoments(cv, cvHu);
  hu(img, ourHu);
  State st;
  ASSERT_EQ(st.fill(img), 0);
  const double* want[3][16] = {
      {&cv.m00, &cv.m10, &cv.m20, &cv.m30, &cv.m01, &cv.m11, &cv.m21, 0, &cv.m02, &cv.m12, 0, 0,
       &cv.m03},
      {0, 0, &cv.mu20, &cv.mu30, 0, &cv.mu11, &cv.mu21, 0, &cv.mu02, &cv.mu12, 0, 0, &cv.mu03},
      {0, 0, &cv.nu20, &cv.nu30, 0, &cv.nu11, &cv.nu21, 0, &cv.nu02, &cv.nu12, 0, 0, &cv.nu03}};
  for (int k = 0; k < 13; ++k) {
    const int m = k % 4, n = k / 4;
    if (m + n > 3) continue;
    double got[3];
    ASSERT_EQ(tpxiGetSpatialMoment_64f(st.p, m, n, 0, {0, 0}, &got[0]), 0);
    ASSERT_EQ(tpxiGetCentralMoment_64f(st.p, m, n, 0, &got[1]), 0);
    ASSERT_EQ(tpxiGetNormalizedCentralMoment_64f(st.p, m, n, 0, &got[2]), 0);
    for (int f = 0; f < 3; ++f)
      if (want[f][k]) {
        EXPECT_NEAR(got[f], *want[f][k], 1e-9 * std::fabs(*want[f][k])) << f << k;
      }
  }
  for (int k = 0; k < 7; ++k) EXPECT_NEAR(ourHu[k], cvHu[k], 1e-9 * std::fabs(cvHu[k])) << k;
}
#endif

TEST(Moments, ChecksInOrderAndErrorsWriteNothing) {
  State st, fresh;
  Image<Tpx32f> zero(4, 2);
  zero.fill([](int, int) { return 0.0f; });
  ASSERT_EQ(st.fill(zero), 0);
  TpxiMomentState bad = *st.p;
  bad.tag = 0;
  const TpxiMomentState before = *st.p;
  const float* src = zero.ptr();
  double v = 42, hu[7] = {42};
  const TpxiPoint o = {0, 0};
  const std::pair<TpxStatus, TpxStatus> rows[] = {
      {tpxiMoments64f_32f_C1R(src, 0, {0, 1}, st.p), -14},
      {tpxiMoments64f_32f_C1R(src, 15, {4, 1}, st.p), -37},
      {tpxiMoments64f_32f_C1R(src, 16, {4, 0}, st.p), -6},
      {tpxiMoments64f_32f_C1R(nullptr, 16, {4, 1}, &bad), -8},
      {tpxiMoments64f_32f_C1R(src, 0, {4, 1}, &bad), -17},
      {tpxiGetSpatialMoment_64f(&bad, 0, 0, 0, o, nullptr), -8},
      {tpxiGetSpatialMoment_64f(&bad, 2, 2, 0, o, &v), -17},
      {tpxiGetSpatialMoment_64f(st.p, 2, 2, 1, o, &v), -6},
      {tpxiGetSpatialMoment_64f(st.p, 0, 0, 1, o, &v), -47},
      {tpxiGetSpatialMoment_64f(fresh.p, 0, 0, 0, o, &v), -47},
      {tpxiGetCentralMoment_64f(st.p, 2, 2, 0, &v), -6},
      {tpxiGetCentralMoment_64f(st.p, 0, 0, -1, &v), -47},
      {tpxiGetCentralMoment_64f(st.p, -1, 0, 0, &v), -20},
      {tpxiGetNormalizedCentralMoment_64f(nullptr, 0, 0, 0, nullptr), -8},
      {tpxiGetNormalizedCentralMoment_64f(st.p, 1, 1, 0, &v), -20},
      {tpxiGetHuMoments_64f(&bad, 0, nullptr), -8},
      {tpxiGetHuMoments_64f(&bad, 1, hu), -17},
      {tpxiGetHuMoments_64f(st.p, 1, hu), -47},
      {tpxiGetHuMoments_64f(st.p, 0, hu), -20},
      {tpxiMomentFree_64f(&bad), -17},
      {tpxiMomentFree_64f(nullptr), -8},
      {tpxiMomentInitAlloc_64f(nullptr, 0), -8}};
  for (size_t i = 0; i < std::size(rows); ++i) EXPECT_EQ(rows[i].first, rows[i].second) << i;
  EXPECT_EQ(v, 42.0);
  EXPECT_EQ(hu[0], 42);
  EXPECT_EQ(std::memcmp(&before, st.p, sizeof before), 0);
  EXPECT_EQ(fresh.p->channelCount, -1);
  EXPECT_EQ(fresh.p->hint, 7);
}

TEST(Moments, Moment00FloorAndNegativeOrders) {
  State st;
  Image<Tpx32f> px(1, 1), pair(4, 1);
  double v = 0;
  for (float f : {0x1p-52f, -0x1p-52f, std::nextafter(0x1p-52f, 1.0f)}) {
    px.set(0, 0, f);
    ASSERT_EQ(st.fill(px), 0);
    EXPECT_EQ(tpxiGetCentralMoment_64f(st.p, 0, 0, 0, &v), f > 0x1p-52f ? 0 : -20);
  }
  pair.fill([](int x, int) { return x == 0 ? 1.0f : x == 3 ? -1.0f : 0.0f; });
  ASSERT_EQ(st.fill(pair), 0);
  EXPECT_EQ(tpxiGetNormalizedSpatialMoment_64f(st.p, 1, 0, 0, {0, 0}, &v), -20);
  EXPECT_EQ(v, -3.0);
  pair.fill([](int x, int) { return float(x + 1); });  // M00 = 10, M02 = 0
  ASSERT_EQ(st.fill(pair), 0);
  v = 7;
  EXPECT_EQ(tpxiGetSpatialMoment_64f(st.p, -1, 0, 0, {0, 0}, &v), 0);
  EXPECT_EQ(tpxiGetCentralMoment_64f(st.p, 1, -3, 0, &v), 0);
  EXPECT_EQ(v, 7.0);
  // The normalised query scales what the caller left in *pValue: 7 * 10^-0.5.
  EXPECT_EQ(tpxiGetNormalizedSpatialMoment_64f(st.p, 0, -1, 0, {0, 0}, &v), 0);
  EXPECT_EQ(v, 7.0 * std::pow(10.0, -0.5));
  // (-2^30 << 2) | 2 wraps to 2: M(0,2) about the offset row 3, 10 * 3^2.
  EXPECT_EQ(tpxiGetSpatialMoment_64f(st.p, -(1 << 30), 2, 0, {5, 3}, &v), 0);
  EXPECT_EQ(v, 90.0);
  // A refill starts from zero.
  ASSERT_EQ(st.fill(pair), 0);
  EXPECT_EQ(st.at(0, 0), 10.0);
}

TEST(Moments, VariantsAgreeOnSpecialValues) {
  const float inf = std::numeric_limits<float>::infinity();
  const float specials[] = {std::numeric_limits<float>::quiet_NaN(), inf, -inf, -0.0f};
  for (const tpxtest::Shape& sh : tpxtest::awkwardShapes()) {
    Image<Tpx32f> img(sh.width, sh.height, sh.width * 4 + sh.padBytes);
    img.fillRandom(sh.width * 7 + sh.height, -2.0f, 2.0f);
    for (int y = 0; y < sh.height; ++y) img.set((y * 5) % sh.width, y, specials[y % 4]);
    if (sh.height > 4) img.set(0, 4, inf);  // x = 0: Inf * 0 makes s1 NaN
    tpxtest::expectVariantsMatchGeneric([&] {
      State st;
      tpxtest::Outcome out;
      out.status = st.fill(img);
      out.add(st.p->tag).add(st.p->hint).add(st.p->channelCount).add(st.p->rawMoments);
      return out;
    });
  }
}

}  // namespace
