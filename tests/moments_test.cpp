// Image moments. Raw and offset moments of integer images are exact doubles,
// checked against an int64 brute force; real images against the row rule
// restated here, bit for bit; derived moments against OpenCV (1e-9 relative).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "tests/harness.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxtest::Image;

struct State {  // allocated for the test's lifetime
  TpxiMomentState* p = nullptr;
  State() { EXPECT_EQ(tpxiMomentInitAlloc_64f(&p, 7), 0); }
  ~State() { EXPECT_EQ(tpxiMomentFree_64f(p), 0); }
  TpxStatus fill(const Image<Tpx32f>& i) {
    return tpxiMoments64f_32f_C1R(i.ptr(), i.step(), i.size(), p);
  }
};

int64_t ipow(int64_t b, int e) { return e == 0 ? 1 : b * ipow(b, e - 1); }

TEST(Moments, IntegerImagesAreExact) {
  const int shapes[][3] = {{1, 1, 0}, {5, 3, 1}, {19, 4, 3}, {33, 7, 37}, {67, 9, 16}};
  for (auto& sh : shapes) {
    Image<Tpx32f> img(sh[0], sh[1], sh[0] * 4 + sh[2]);
    img.fillRandom(sh[0] * 31 + sh[1], 0.0f, 16.0f);
    img.fill([&](int x, int y) { return std::floor(img.get(x, y)); });
    State st;
    ASSERT_EQ(st.fill(img), 0);
    for (TpxiPoint o : {TpxiPoint{0, 0}, {10, 20}, {-1000, 1000}, {999, -7}}) {
      for (int k = 0; k < 16; ++k) {
        const int m = k % 4, n = k / 4;
        int64_t want = 0;
        for (int y = 0; m + n <= 3 && y < img.height(); ++y)
          for (int x = 0; x < img.width(); ++x)
            want += ipow(x + o.x, m) * ipow(y + o.y, n) * int64_t(img.get(x, y));
        double got = -1;
        ASSERT_EQ(tpxiGetSpatialMoment_64f(st.p, m, n, 0, o, &got), m + n > 3 ? -6 : 0);
        EXPECT_EQ(got, m + n > 3 ? -1.0 : double(want)) << sh[0] << "x" << sh[1] << " k" << k;
      }
    }
  }
}

TEST(Moments, RealImagesFollowTheRowRuleBitForBit) {
  const int shapes[][2] = {{20011, 1}, {20000, 5}, {3, 9}, {66, 7}, {129, 8}, {7, 401}, {1, 999}};
  for (auto [w, h] : shapes) {
    Image<Tpx32f> img(w, h, w * 4 + 3);
    img.fillRandom(w + h, -3.0f, 5.0f);
    // Spread exponents, so that row sums carry all 53 bits and every rounding shows.
    img.fill([&](int x, int y) { return std::ldexp(img.get(x, y), (x * 7 + y * 3) % 41 - 20); });
    double want[48] = {};  // the rule: chained products per row, then y in place
    for (int y = 0; y < h; ++y) {
      double s[4] = {0, 0, 0, 0}, x = 0;
      for (int i = 0; i < w; ++i, x += 1) {
        double t = img.get(i, y);
        for (int p = 0; p < 4; ++p, t *= x) s[p] += t;
      }
      for (int q = 0; q < 4; ++q)
        for (int p = 0; p + q < 4; ++p) want[p + 4 * q] += s[p], s[p] *= double(y);
    }
    tpxtest::forEachVariant([&](int) {
      State st;
      ASSERT_EQ(st.fill(img), 0);
      EXPECT_EQ(st.p->channelCount, 1);
      EXPECT_EQ(std::memcmp(st.p->rawMoments, want, sizeof want), 0) << w << "x" << h;
    });
  }
}

// Hu invariants survive an exact 90-degree rotation; a mirror negates the
// seventh. Raw, central and normalised moments and Hu agree with OpenCV.
TEST(Moments, HuInvariantsAndOpenCv) {
  Image<Tpx32f> img(61, 37), rot(37, 61), mir(61, 37);
  img.fillRandom(5, 0.5f, 1.0f);  // skewed, so that no central moment is near 0
  img.fill([&](int x, int y) { return img.get(x, y) * float((1 + x) * (1 + y * y / 8)); });
  for (int y = 0; y < 37; ++y)
    for (int x = 0; x < 61; ++x)
      rot.set(36 - y, x, img.get(x, y)), mir.set(60 - x, y, img.get(x, y));
  double a[7], b[7], c[7];
  for (auto [i, out] : {std::pair{&img, a}, {&rot, b}, {&mir, c}}) {
    State st;
    ASSERT_EQ(st.fill(*i), 0);
    ASSERT_EQ(tpxiGetHuMoments_64f(st.p, 0, out), 0);
  }
  for (int k = 0; k < 7; ++k) {
    EXPECT_NEAR(b[k], a[k], 1e-9 * std::fabs(a[k])) << k;
    EXPECT_NEAR(c[k], k == 6 ? -a[k] : a[k], 1e-9 * std::fabs(a[k])) << k;
  }
#ifdef TPX_HAVE_OPENCV
  cv::Mat mat(37, 61, CV_32F);
  for (int y = 0; y < 37; ++y)
    for (int x = 0; x < 61; ++x) mat.at<float>(y, x) = img.get(x, y);
  const cv::Moments m = cv::moments(mat);
  double cvHu[7];
  cv::HuMoments(m, cvHu);
  for (int k = 0; k < 7; ++k) EXPECT_NEAR(a[k], cvHu[k], 1e-9 * std::fabs(cvHu[k])) << k;
  // Orders in OpenCV's field order; the first three have no mu or nu.
  const int ord[10][2] = {{0, 0}, {1, 0}, {0, 1}, {2, 0}, {1, 1},
                          {0, 2}, {3, 0}, {2, 1}, {1, 2}, {0, 3}};
  const double want[3][10] = {
      {m.m00, m.m10, m.m01, m.m20, m.m11, m.m02, m.m30, m.m21, m.m12, m.m03},
      {0, 0, 0, m.mu20, m.mu11, m.mu02, m.mu30, m.mu21, m.mu12, m.mu03},
      {0, 0, 0, m.nu20, m.nu11, m.nu02, m.nu30, m.nu21, m.nu12, m.nu03}};
  State st;
  ASSERT_EQ(st.fill(img), 0);
  for (int k = 0; k < 10; ++k) {
    double got[3];
    ASSERT_EQ(tpxiGetSpatialMoment_64f(st.p, ord[k][0], ord[k][1], 0, {0, 0}, &got[0]), 0);
    ASSERT_EQ(tpxiGetCentralMoment_64f(st.p, ord[k][0], ord[k][1], 0, &got[1]), 0);
    ASSERT_EQ(tpxiGetNormalizedCentralMoment_64f(st.p, ord[k][0], ord[k][1], 0, &got[2]), 0);
    for (int f = 0; f < (k < 3 ? 1 : 3); ++f)
      EXPECT_NEAR(got[f], want[f][k], 1e-9 * std::fabs(want[f][k])) << f << k;
  }
#endif
}

TEST(Moments, ChecksInOrderAndErrorsWriteNothing) {
  State st, fresh;
  Image<Tpx32f> zero(4, 2);
  zero.fill([](int, int) { return 0.0f; });
  ASSERT_EQ(st.fill(zero), 0);
  TpxiMomentState bad = *st.p, before = *st.p;
  bad.tag = 0;
  const float* src = zero.ptr();
  double v = 42, hu[7] = {42};
  const TpxiPoint o = {0, 0};
  const TpxStatus rows[][2] = {{tpxiMoments64f_32f_C1R(src, 0, {0, 1}, st.p), -14},
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
                               {tpxiMomentFree_64f(nullptr), -8},
                               {tpxiMomentInitAlloc_64f(nullptr, 0), -8}};
  for (size_t i = 0; i < std::size(rows); ++i) EXPECT_EQ(rows[i][0], rows[i][1]) << i;
  EXPECT_EQ(v, 42.0);
  EXPECT_EQ(hu[0], 42);
  EXPECT_EQ(std::memcmp(&before, st.p, sizeof before), 0);  // failed fills changed nothing
  EXPECT_EQ(fresh.p->channelCount, -1);
  EXPECT_EQ(fresh.p->hint, 7);
  fresh.p->tag = 0;  // refused and kept; freed by the destructor once restored
  EXPECT_EQ(tpxiMomentFree_64f(fresh.p), -17);
  fresh.p->tag = tpxMomentStateTag;
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
  EXPECT_EQ(v, -3.0);                                  // M(1,0) stays behind when M(0,0) = 0
  pair.fill([](int x, int) { return float(x + 1); });  // M(0,0) = 10, one row
  ASSERT_EQ(st.fill(pair), 0);
  v = 7;
  EXPECT_EQ(tpxiGetSpatialMoment_64f(st.p, -1, 0, 0, {0, 0}, &v), 0);
  EXPECT_EQ(tpxiGetCentralMoment_64f(st.p, 1, -3, 0, &v), 0);
  EXPECT_EQ(v, 7.0);
  // The normalised query scales what the caller left in *pValue: 7 * 10^-0.5.
  EXPECT_EQ(tpxiGetNormalizedSpatialMoment_64f(st.p, 0, -1, 0, {0, 0}, &v), 0);
  EXPECT_EQ(v, 7.0 * std::pow(10.0, -0.5));
  // (-2^30 << 2) | 2 wraps to 2: M(0,2) about row offset 3, 10 * 3^2.
  EXPECT_EQ(tpxiGetSpatialMoment_64f(st.p, -(1 << 30), 2, 0, {5, 3}, &v), 0);
  EXPECT_EQ(v, 90.0);
  ASSERT_EQ(st.fill(pair), 0);  // a refill starts from zero
  EXPECT_EQ(st.p->rawMoments[0][0], 10.0);
}

TEST(Moments, VariantsAgreeOnSpecialValues) {
  const float specials[] = {NAN, INFINITY, -INFINITY, -0.0f};
  for (const tpxtest::Shape& sh : tpxtest::awkwardShapes()) {
    Image<Tpx32f> img(sh.width, sh.height, sh.width * 4 + sh.padBytes);
    img.fillRandom(sh.width * 7 + sh.height, -2.0f, 2.0f);
    for (int y = 0; y < sh.height; ++y) img.set((y * 5) % sh.width, y, specials[y % 4]);
    if (sh.height > 4) img.set(0, 4, INFINITY);  // x = 0: Inf * 0 makes s1 NaN
    tpxtest::expectVariantsMatchGeneric([&] {
      State st;
      tpxtest::Outcome out;
      out.status = st.fill(img);
      return out.add(st.p->tag).add(st.p->hint).add(st.p->channelCount).add(st.p->rawMoments);
    });
  }
}

}  // namespace
