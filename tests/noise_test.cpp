// Gaussian noise: golden generator values, byte-exact images against a
// restatement written here, properties, statistics, checks and variants.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "tests/harness.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

using tpxtest::awkwardShapes;
using tpxtest::expectVariantsMatchGeneric;
using tpxtest::Image;
using tpxtest::Outcome;
using tpxtest::Shape;

// The generator restated in 64-bit words masked to 32 bits, with the LCG's
// second step taken through the two-step constants.
struct RefGenerator {
  static constexpr uint64_t kMask = 0xFFFFFFFFu;
  uint64_t x, a, b, w = kMask, y = 1131199209u;
  long steps = 0;
  explicit RefGenerator(uint32_t s)
      : x(s),
        a((69069u * uint64_t(s) + 1013904243u) & kMask),
        b((69069u * a + 1013904243u) & kMask) {}
  static bool neg(uint64_t v) { return (v >> 31) & 1; }
  static double uniform(uint64_t v) {
    return double(int64_t(v) - (neg(v) ? 0x100000000 : 0)) * 4.656612873077e-10;
  }
  // The next accepted pair and its factor.
  double pair(double& u1, double& u2) {
    for (;;) {
      ++steps;
      const uint64_t t1 = (a + (kMask + 1 - b) + w) & kMask;
      const uint64_t t2 = (x + (kMask + 1 - a) + (neg(t1) ? kMask : 0)) & kMask;
      a = neg(t1) ? t1 - 18 : t1;
      w = neg(t2) ? kMask : 0;
      b = x;
      x = neg(t2) ? t2 - 18 : t2;
      const uint64_t y1 = (69069u * y + 1013904243u) & kMask;
      const uint64_t y2 = (475559465u * y + 924302730u) & kMask;
      y = y2;
      u1 = uniform((a + y1) & kMask);
      u2 = uniform((x + y2) & kMask);
      const double s = u1 * u1 + u2 * u2;
      if (s > 0 && s < 1) return std::sqrt(-2 * std::log(s) / s);
    }
  }
};

template <typename T>
T refPixel(T p, double n, double mean) {
  if constexpr (std::is_floating_point_v<T>) {
    return T(n + mean + double(p));
  } else {
    const double q = double(p) + std::trunc(n + mean);
    return T(std::min<double>(std::max<double>(q, std::numeric_limits<T>::min()),
                              std::numeric_limits<T>::max()));
  }
}

// Adds the noise to img pixel by pixel in raster order; returns the new seed.
template <typename T>
uint32_t refAddNoise(Image<T>& img, T mean, T sigma, uint32_t seed) {
  RefGenerator gen(seed);
  double u[2] = {0, 0}, g = 0;
  long k = 0;
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x, ++k) {
      if (k % 2 == 0) g = double(sigma) * gen.pair(u[0], u[1]);
      img.set(x, y, refPixel(img.get(x, y), g * u[k % 2], double(mean)));
    }
  return uint32_t(gen.x);
}

TpxStatus addNoise(Image<Tpx8u>& i, Tpx8u m, Tpx8u s, unsigned* seed, int step) {
  return tpxiAddRandGauss_Direct_8u_C1IR(i.ptr(), step, i.size(), m, s, seed);
}
TpxStatus addNoise(Image<Tpx16s>& i, Tpx16s m, Tpx16s s, unsigned* seed, int step) {
  return tpxiAddRandGauss_Direct_16s_C1IR(i.ptr(), step, i.size(), m, s, seed);
}
TpxStatus addNoise(Image<Tpx32f>& i, Tpx32f m, Tpx32f s, unsigned* seed, int step) {
  return tpxiAddRandGauss_Direct_32f_C1IR(i.ptr(), step, i.size(), m, s, seed);
}

TEST(NoiseGenerator, GoldenSeedsAndSteps) {
  struct Row {
    uint32_t seed;
    int width, height;
    long steps;
    uint32_t after;
  };
  const Row rows[] = {{0, 1, 1, 2, 3191461505u},
                      {12345, 1, 1, 1, 2428418575u},
                      {0xFFFFFFFFu, 1, 1, 2, 2716040177u},
                      {0, 5, 1, 4, 1998354204u},
                      {0, 1920, 1080, 1319544, 332581897u}};
  for (const Row& r : rows) {
    RefGenerator gen(r.seed);
    double u1, u2;
    for (long k = 0; k < (long(r.width) * r.height + 1) / 2; ++k) gen.pair(u1, u2);
    EXPECT_EQ(gen.steps, r.steps);
    EXPECT_EQ(gen.x, r.after);
    expectVariantsMatchGeneric([&] {
      Image<Tpx8u> img(r.width, r.height);
      unsigned seed = r.seed;
      Outcome o;
      o.status = addNoise(img, 0, 3, &seed, img.step());
      EXPECT_EQ(seed, r.after);
      return o.add(seed).add(img.bytes());
    });
  }
  // A seed whose first T1 = A - B - 1 is exactly 0, which counts as
  // non-negative: 69068 A = -1 - 1013904243 (mod 2^32), solved with inverses.
  const auto inverse = [](uint32_t a) {
    uint32_t x = a;
    for (int i = 0; i < 5; ++i) x *= 2 - a * x;
    return x;
  };
  const uint32_t a = (((0xFFFFFFFFu - 1013904243u) >> 2) * inverse(17267u)) & 0x3FFFFFFFu;
  const uint32_t zeroSeed = (a - 1013904243u) * inverse(69069u);
  ASSERT_EQ(a - (69069u * a + 1013904243u) - 1u, 0u);
  for (int pixels : {1, 2, 7}) {
    Image<Tpx16s> img(pixels, 1), want = img;
    unsigned seed = zeroSeed;
    ASSERT_EQ(addNoise(img, 3, 50, &seed, img.step()), 0);
    EXPECT_EQ(seed, refAddNoise<Tpx16s>(want, 3, 50, zeroSeed));
    EXPECT_TRUE(img.bytes() == want.bytes());
  }
  RefGenerator gen(0);
  double u1, u2;
  gen.pair(u1, u2);
  EXPECT_DOUBLE_EQ(u1, -0.5765874716452768);
  EXPECT_DOUBLE_EQ(u2, -0.1936479667201475);
}

template <typename T>
void checkAgainstReference(T fill, T mean, T sigma, int stepDelta) {
  for (const Shape& sh : awkwardShapes()) {
    // stepDelta < 0: rows shorter than the step overlap and are updated in turn.
    const int step =
        std::max(1, sh.width * int(sizeof(T)) + (stepDelta < 0 ? stepDelta : sh.padBytes));
    Image<T> want(sh.width, sh.height, step);
    want.fill([&](int x, int y) { return T(fill + T((x * 7 + y) % 5)); });
    const Image<T> start = want;
    const uint32_t seedIn = 977u * sh.width + sh.height;
    const uint32_t seedOut = refAddNoise(want, mean, sigma, seedIn);
    const Outcome got = expectVariantsMatchGeneric([&] {
      Image<T> img = start;
      unsigned seed = seedIn;
      Outcome o;
      o.status = addNoise(img, mean, sigma, &seed, step);
      return o.add(seed).add(img.bytes());
    });
    Outcome expected;
    expected.add(seedOut).add(want.bytes());
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(tpxtest::firstDifference(expected, got), "")
        << sh.width << "x" << sh.height << " step " << step << " mean " << double(mean) << " sigma "
        << double(sigma);
  }
}

TEST(NoiseImages, MatchRestatement) {
  for (int delta : {0, -1, -3}) {
    checkAgainstReference<Tpx8u>(100, 0, 10, delta);
    checkAgainstReference<Tpx8u>(0, 0, 100, delta);     // saturates low
    checkAgainstReference<Tpx8u>(251, 0, 100, delta);   // and high
    checkAgainstReference<Tpx8u>(100, 200, 0, delta);   // sigma 0: the mean, saturated
    checkAgainstReference<Tpx8u>(50, 1, 1, delta);      // mean joins before truncation
    checkAgainstReference<Tpx16s>(0, 0, 30000, delta);  // saturates both ways
    checkAgainstReference<Tpx16s>(-1000, -5, -7, delta);
    checkAgainstReference<Tpx16s>(32760, 100, 0, delta);
    checkAgainstReference<Tpx32f>(0.5f, 0, 1, delta);
    checkAgainstReference<Tpx32f>(-3.0f, 5, -2, delta);
    checkAgainstReference<Tpx32f>(1e6f, 0.25f, 0, delta);
  }
}

TEST(NoiseProperties, LayoutRerunSplitAndNegation) {
  const auto run = [](int w, int h, float mean, float sigma, unsigned* seed) {
    Image<Tpx32f> img(w, h);
    img.fill([](int, int) { return 0.0f; });
    EXPECT_EQ(addNoise(img, mean, sigma, seed, img.step()), 0);
    std::vector<float> v;
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) v.push_back(img.get(x, y));
    return v;
  };
  unsigned a = 42, b = 42, c = 42, d = 42, e = 42;
  const std::vector<float> whole = run(37, 5, 0, 3, &a);
  EXPECT_EQ(run(185, 1, 0, 3, &b), whole);  // rows break nowhere in the stream
  EXPECT_EQ(a, b);
  EXPECT_NE(a, 42u);                       // the seed moves on
  EXPECT_EQ(run(37, 5, 0, 3, &c), whole);  // same seed, same bytes
  std::vector<float> halves = run(37, 2, 0, 3, &d);
  const std::vector<float> rest = run(37, 3, 0, 3, &d);
  halves.insert(halves.end(), rest.begin(), rest.end());
  EXPECT_NE(halves, whole);  // only X carries over between calls
  const std::vector<float> negated = run(37, 5, 0, -3, &e);
  for (size_t i = 0; i < whole.size(); ++i) EXPECT_EQ(negated[i], -whole[i]) << i;
}

// Sample mean and deviation, the share within one sigma of the mean, and
// the lag-1 autocorrelation, all in raster order.
void expectNormal(const std::vector<float>& v, double mean, double sigma, const char* who) {
  const double n = double(v.size());
  double sum = 0, sq = 0, inside = 0, lag = 0;
  for (size_t i = 0; i < v.size(); ++i) {
    sum += v[i];
    inside += std::fabs(v[i] - mean) <= sigma;
  }
  const double m = sum / n;
  for (size_t i = 0; i < v.size(); ++i) {
    sq += (v[i] - m) * (v[i] - m);
    if (i > 0) lag += (v[i] - m) * (v[i - 1] - m);
  }
  double sd = std::sqrt(sq / n);
#ifdef TPX_HAVE_OPENCV
  cv::Scalar cvMean, cvSd;
  cv::meanStdDev(cv::Mat(1, int(v.size()), CV_32FC1, const_cast<float*>(v.data())), cvMean, cvSd);
  EXPECT_NEAR(cvMean[0], m, 1e-6) << who;
  sd = cvSd[0];
#endif
  EXPECT_NEAR(m, mean, 4 * sigma / std::sqrt(n)) << who;
  EXPECT_NEAR(sd, sigma, 0.005 * sigma) << who;
  EXPECT_NEAR(inside / n, 0.6827, 0.003) << who;
  EXPECT_LT(std::fabs(lag / sq), 0.005) << who;
}

TEST(NoiseStatistics, FullHdFrame) {
  Image<Tpx32f> img(1920, 1080);
  img.fill([](int, int) { return 0.0f; });
  unsigned seed = 2024;
  ASSERT_EQ(addNoise(img, 5, 2, &seed, img.step()), 0);
  const float* p = img.ptr();
  expectNormal(std::vector<float>(p, p + 1920 * 1080), 5, 2, "tpx");
#ifdef TPX_HAVE_OPENCV
  cv::Mat peer(1080, 1920, CV_32FC1);
  cv::randn(peer, 5, 2);
  expectNormal(std::vector<float>(peer.ptr<float>(), peer.ptr<float>() + 1920 * 1080), 5, 2, "cv");
#endif
}

TEST(NoiseChecks, OrderSeedAndGuards) {
  struct Case {
    bool nullImage, nullSeed;
    int width, step;
    TpxStatus expected;
  };
  const Case cases[] = {{true, false, 0, 0, -8},
                        {false, true, 0, 0, -8},
                        {false, false, 0, 0, -6},
                        {false, false, 8, 0, -14},
                        {false, false, 8, -8, -14}};
  for (const Case& c : cases) {
    expectVariantsMatchGeneric([&] {
      Image<Tpx16s> i16(c.width, 2);
      Image<Tpx32f> i32(c.width, 2);
      Image<Tpx8u> i8(c.width, 2);
      unsigned seed = 99;
      unsigned* ps = c.nullSeed ? nullptr : &seed;
      const TpxiSize size{c.width, 2};
      Outcome o;
      EXPECT_EQ(
          tpxiAddRandGauss_Direct_8u_C1IR(c.nullImage ? nullptr : i8.ptr(), c.step, size, 1, 1, ps),
          c.expected);
      EXPECT_EQ(tpxiAddRandGauss_Direct_16s_C1IR(c.nullImage ? nullptr : i16.ptr(), c.step, size, 1,
                                                 1, ps),
                c.expected);
      EXPECT_EQ(tpxiAddRandGauss_Direct_32f_C1IR(c.nullImage ? nullptr : i32.ptr(), c.step, size, 1,
                                                 1, ps),
                c.expected);
      EXPECT_TRUE(i8.guardsIntact() && i16.guardsIntact() && i32.guardsIntact());
      EXPECT_EQ(seed, 99u);
      return o.add(seed).add(i8.bytes()).add(i16.bytes()).add(i32.bytes());
    });
  }
}

}  // namespace
