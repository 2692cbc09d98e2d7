// Statistics: sums, means, deviations and norms. Expected values come from
// references written here from the documented accumulation rules (exact
// integer totals, even/odd double chains, sequential 32f chains), and from
// OpenCV within a tolerance; every variant must match the generic one byte
// for byte, except for the single-precision fast path of the 32f sums.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "tests/harness.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

using tpxtest::expectVariantsMatchGeneric;
using tpxtest::forEachVariant;
using tpxtest::Image;
using tpxtest::Outcome;
using tpxtest::Shape;

constexpr TpxAccuracyHint kAccurate = tpxAccuracyHintAccurate;

// ---- references ----------------------------------------------------------

template <typename T>
double exactSum(const Image<T>& img) {
  long double s = 0;
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x) s += img.get(x, y);
  return static_cast<double>(s);
}

template <typename T>
double exactAbsSum(const Image<T>& img) {
  long double s = 0;
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x) s += std::fabs(static_cast<long double>(img.get(x, y)));
  return static_cast<double>(s);
}

// Sum of squares of an integer image, exact in 64 bits.
template <typename T>
uint64_t exactSumSq(const Image<T>& img) {
  uint64_t s = 0;
  for (int y = 0; y < img.height(); ++y) {
    for (int x = 0; x < img.width(); ++x) {
      const int64_t v = img.get(x, y);
      s += static_cast<uint64_t>(v * v);
    }
  }
  return s;
}

template <typename T>
double count(const Image<T>& img) {
  return double(img.width()) * img.height();
}

// The 32f rule: even columns into one double, odd into another, added last.
template <class Term>
double evenOddSum(const Image<Tpx32f>& img, Term term) {
  double even = 0, odd = 0;
  for (int y = 0; y < img.height(); ++y) {
    for (int x = 0; x < img.width(); ++x) {
      const double t = term(static_cast<double>(img.get(x, y)));
      if (x % 2 == 0) {
        even += t;
      } else {
        odd += t;
      }
    }
  }
  return even + odd;
}

const auto kValue = [](double v) { return v; };
const auto kAbs = [](double v) { return std::fabs(v); };
const auto kSquare = [](double v) { return v * v; };

// Mean and deviation from the documented formula, given S and S2.
void meanStdDev(double s, double s2, double n, double* mean, double* stdDev) {
  *mean = s / n;
  *stdDev = std::sqrt(std::fabs(s2 / n - *mean * *mean));
}

// ---- images --------------------------------------------------------------

template <typename T>
Image<T> randomImage(const Shape& s, uint32_t seed, T lo, T hi, int elemAlign = 1) {
  const int pad = s.padBytes / elemAlign * elemAlign;
  Image<T> img(s.width, s.height, s.width * int(sizeof(T)) + pad);
  img.fillRandom(seed, lo, hi);
  return img;
}

// Runs call(img, &result) in every variant, checks the variants agree and
// that the generic result equals ref(img) exactly.
template <typename T, class Call, class Ref>
void expectExact(const char* name, T lo, T hi, Call call, Ref ref) {
  uint32_t seed = 1;
  for (const Shape& s : tpxtest::awkwardShapes()) {
    SCOPED_TRACE(testing::Message()
                 << name << " " << s.width << "x" << s.height << " pad " << s.padBytes);
    Image<T> img = randomImage<T>(s, seed++, lo, hi);
    if constexpr (std::is_floating_point_v<T>) {
      // Magnitudes 2^-30 .. 2^30 make the order of additions visible: a
      // variant that regrouped them would round differently.
      std::mt19937 rng(seed);
      std::uniform_int_distribution<int> e(-30, 30);
      img.fill([&](int x, int y) { return std::ldexp(img.get(x, y) / hi, e(rng)); });
    }
    const Outcome generic = expectVariantsMatchGeneric([&] {
      Tpx64f result = -12345.0;
      Outcome o;
      o.status = call(img, &result);
      return o.add(result);
    });
    ASSERT_EQ(generic.status, tpxStsNoErr);
    Tpx64f result;
    std::memcpy(&result, generic.bytes.data(), sizeof(result));
    EXPECT_EQ(result, ref(img));
    EXPECT_TRUE(img.guardsIntact());
  }
}

template <typename T>
using Reduce = TpxStatus (*)(const T*, int, TpxiSize, Tpx64f*);
using ReduceHinted = TpxStatus (*)(const Tpx32f*, int, TpxiSize, Tpx64f*, TpxAccuracyHint);

template <typename T, Reduce<T> F>
TpxStatus on(const Image<T>& i, Tpx64f* r) {
  return F(i.ptr(), i.step(), i.size(), r);
}
template <ReduceHinted F>
TpxStatus accurate(const Image<Tpx32f>& i, Tpx64f* r) {
  return F(i.ptr(), i.step(), i.size(), r, kAccurate);
}

TEST(StatsSums, IntegerSumsAreExactInEveryVariant) {
  using I8 = const Image<Tpx8u>&;
  using I16 = const Image<Tpx16s>&;
  expectExact<Tpx8u>("Mean_8u", 0, 255, on<Tpx8u, tpxiMean_8u_C1R>,
                     [](I8 i) { return exactSum(i) / count(i); });
  expectExact<Tpx8u>("Norm_L1_8u", 0, 255, on<Tpx8u, tpxiNorm_L1_8u_C1R>,
                     [](I8 i) { return exactSum(i); });
  expectExact<Tpx8u>("Norm_L2_8u", 0, 255, on<Tpx8u, tpxiNorm_L2_8u_C1R>,
                     [](I8 i) { return std::sqrt(double(exactSumSq(i))); });
  expectExact<Tpx16s>("Mean_16s", -32768, 32767, on<Tpx16s, tpxiMean_16s_C1R>,
                      [](I16 i) { return exactSum(i) / count(i); });
  expectExact<Tpx16s>("Norm_L1_16s", -32768, 32767, on<Tpx16s, tpxiNorm_L1_16s_C1R>,
                      [](I16 i) { return exactAbsSum(i); });
  expectExact<Tpx16s>("Norm_L2_16s", -32768, 32767, on<Tpx16s, tpxiNorm_L2_16s_C1R>,
                      [](I16 i) { return std::sqrt(double(exactSumSq(i))); });
}

TEST(StatsSums, AccurateFloatSumsFollowTheEvenOddRuleInEveryVariant) {
  using I = const Image<Tpx32f>&;
  expectExact<Tpx32f>("Sum_32f", -1000.0f, 1000.0f, accurate<tpxiSum_32f_C1R>,
                      [](I i) { return evenOddSum(i, kValue); });
  expectExact<Tpx32f>("Mean_32f", -1000.0f, 1000.0f, accurate<tpxiMean_32f_C1R>,
                      [](I i) { return evenOddSum(i, kValue) / count(i); });
  expectExact<Tpx32f>("Norm_L1_32f", -1000.0f, 1000.0f, accurate<tpxiNorm_L1_32f_C1R>,
                      [](I i) { return evenOddSum(i, kAbs); });
  expectExact<Tpx32f>("Norm_L2_32f", -1000.0f, 1000.0f, accurate<tpxiNorm_L2_32f_C1R>,
                      [](I i) { return std::sqrt(evenOddSum(i, kSquare)); });
}

// Any other hint lets the vector variants sum in single precision: close to
// the exact sum, within what floats summed in blocks can lose.
TEST(StatsSums, FastHintStaysWithinSinglePrecision) {
  const Shape kShapes[] = {{1, 1, 0},    {7, 3, 1},    {67, 9, 3},  {1024, 2, 0},
                           {1031, 3, 5}, {5000, 2, 4}, {20, 200, 8}};
  for (const Shape& s : kShapes) {
    const Image<Tpx32f> img = randomImage<Tpx32f>(s, s.width, -100.0f, 300.0f);
    const double sum = exactSum(img), abs = exactAbsSum(img);
    long double sq = 0;
    for (int y = 0; y < img.height(); ++y)
      for (int x = 0; x < img.width(); ++x) sq += (long double)img.get(x, y) * img.get(x, y);
    for (TpxAccuracyHint hint : {0, 1, 3, -1}) {
      forEachVariant([&](int) {
        SCOPED_TRACE(testing::Message() << s.width << "x" << s.height << " hint " << hint);
        Tpx64f r = 0;
        // Error of block sums in float: a few units of 2^-24 per addition
        // level, against the sum of magnitudes.
        const double tol = abs * 2e-5;
        ASSERT_EQ(tpxiSum_32f_C1R(img.ptr(), img.step(), img.size(), &r, hint), tpxStsNoErr);
        EXPECT_NEAR(r, sum, tol);
        ASSERT_EQ(tpxiMean_32f_C1R(img.ptr(), img.step(), img.size(), &r, hint), tpxStsNoErr);
        EXPECT_NEAR(r, sum / count(img), tol / count(img));
        ASSERT_EQ(tpxiNorm_L1_32f_C1R(img.ptr(), img.step(), img.size(), &r, hint), tpxStsNoErr);
        EXPECT_NEAR(r, abs, tol);
        ASSERT_EQ(tpxiNorm_L2_32f_C1R(img.ptr(), img.step(), img.size(), &r, hint), tpxStsNoErr);
        EXPECT_NEAR(r, std::sqrt(static_cast<double>(sq)),
                    std::sqrt(static_cast<double>(sq)) * 2e-5);
      });
    }
  }
}

// Infinities and NaN go through the double sums the same way in every
// variant.
TEST(StatsSums, NonFiniteValuesPropagateAlikeInEveryVariant) {
  const float inf = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  struct Case {
    const char* what;
    float a, b;
  };
  const Case kCases[] = {
      {"+inf", inf, 1.0f}, {"-inf", -inf, 1.0f}, {"both infinities", inf, -inf},
      {"NaN", nan, 1.0f},  {"-0", -0.0f, -0.0f}, {"max float", 3.4e38f, 3.4e38f}};
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.what);
    Image<Tpx32f> img(9, 3, 44);
    img.fill([&](int x, int y) { return x == 4 && y == 1 ? c.a : x == 7 && y == 2 ? c.b : 0.5f; });
    expectVariantsMatchGeneric([&] {
      Outcome o;
      Tpx64f r[6] = {};
      o.status = tpxiSum_32f_C1R(img.ptr(), img.step(), img.size(), &r[0], kAccurate);
      o.status |= tpxiNorm_L1_32f_C1R(img.ptr(), img.step(), img.size(), &r[1], kAccurate);
      o.status |= tpxiNorm_L2_32f_C1R(img.ptr(), img.step(), img.size(), &r[2], kAccurate);
      o.status |= tpxiMean_32f_C1R(img.ptr(), img.step(), img.size(), &r[3], kAccurate);
      o.status |= tpxiMean_StdDev_32f_C1R(img.ptr(), img.step(), img.size(), &r[4], &r[5]);
      return o.add(r);
    });
  }
}

// ---- the documented limits of the integer accumulators -------------------

// The divisor is width x height in 32-bit integers: 32768 x 65536 = 2^31
// wraps to -2^31, so a mean of ones comes out as -1. A one-byte step lets the
// rows overlap, so the 2^31 pixels need only 96 KiB.
TEST(StatsSums, MeanDividesByTheWrapped32BitCount) {
  const TpxiSize size = {32768, 65536};
  const std::vector<Tpx8u> ones(size.width + size.height, 1);
  forEachVariant([&](int) {
    Tpx64f mean = 0;
    ASSERT_EQ(tpxiMean_8u_C1R(ones.data(), 1, size, &mean), tpxStsNoErr);
    EXPECT_EQ(mean, -1.0);
  });
}

// 16s means sum a row in blocks of 65536 pixels: a 70000-pixel row of 32767
// would overflow one 32-bit total, but not the blocks.
TEST(StatsSums, Mean16sLongRowsDoNotOverflow) {
  for (Tpx16s v : {Tpx16s(32767), Tpx16s(-32768)}) {
    Image<Tpx16s> img(70000, 2);
    img.fill([&](int, int) { return v; });
    forEachVariant([&](int) {
      Tpx64f r = 0;
      ASSERT_EQ(tpxiMean_16s_C1R(img.ptr(), img.step(), img.size(), &r), tpxStsNoErr);
      EXPECT_EQ(r, double(v));
    });
  }
}

// The 16s L1 row total is a 32-bit integer read as signed: 65536 pixels of
// -32768 make exactly 2^31, which wraps to -2^31. One pixel less does not.
TEST(StatsSums, NormL1_16sRowTotalWrapsAtTwoToThe31) {
  // Pixels 0..65534 are -32768; pixel 65535 and (if any) 65536 as given.
  struct Case {
    int width, height;
    Tpx16s at65535, at65536;
    double expected;
  };
  const Case kCases[] = {
      {65536, 1, -32768, 0, -2147483648.0},
      {65536, 2, -32768, 0, -4294967296.0},
      {65536, 1, 0, 0, 2147450880.0},  // 65535 x 32768, just below 2^31
      {65537, 1, -32768, 5, -2147483643.0},
  };
  for (const Case& c : kCases) {
    Image<Tpx16s> img(c.width, c.height);
    img.fill([&](int x, int) {
      return x < 65535 ? Tpx16s(-32768) : x == 65535 ? c.at65535 : c.at65536;
    });
    forEachVariant([&](int) {
      Tpx64f r = 0;
      ASSERT_EQ(tpxiNorm_L1_16s_C1R(img.ptr(), img.step(), img.size(), &r), tpxStsNoErr);
      EXPECT_EQ(r, c.expected) << c.width << " x " << c.height;
    });
  }
}

// Wider than 32768 columns, the 8u L2 norm is taken per strip, and the strip
// norms are squared and added: a 40000-pixel row of 255 gives 51000.
TEST(StatsSums, NormL2_8uWideRowsGoByStrips) {
  Image<Tpx8u> flat(40000, 1);
  flat.fill([](int, int) { return Tpx8u(255); });
  const double a = std::sqrt(32768.0 * 65025.0), b = std::sqrt(7232.0 * 65025.0);
  forEachVariant([&](int) {
    Tpx64f r = 0;
    ASSERT_EQ(tpxiNorm_L2_8u_C1R(flat.ptr(), flat.step(), flat.size(), &r), tpxStsNoErr);
    EXPECT_EQ(r, std::sqrt(a * a + b * b));
    EXPECT_NEAR(r, 51000.0, 51000.0 * 4e-16);
  });
  // Random rows over three strips: the strip rule exactly. Squaring a
  // rounded root does not always give the strip's sum back, so look for data
  // where the rule is visible (differs from the root of the plain total).
  auto stripRule = [](const Image<Tpx8u>& img) {
    double total = 0;
    for (int x0 = 0; x0 < img.width(); x0 += 32768) {
      double strip = 0;
      for (int y = 0; y < img.height(); ++y) {
        uint64_t row = 0;
        for (int x = x0; x < std::min(img.width(), x0 + 32768); ++x) {
          row += img.get(x, y) * img.get(x, y);
        }
        strip += double(row);
      }
      const double n = std::sqrt(strip);
      total += n * n;
    }
    return std::sqrt(total);
  };
  Image<Tpx8u> img(70001, 2, 70013);
  uint32_t seed = 0;
  do {
    img.fillRandom(++seed, 0, 255);
  } while (stripRule(img) == std::sqrt(double(exactSumSq(img))) && seed < 64);
  ASSERT_NE(stripRule(img), std::sqrt(double(exactSumSq(img)))) << "no seed shows the strips";
  expectVariantsMatchGeneric([&] {
    Outcome o;
    Tpx64f r = 0;
    o.status = tpxiNorm_L2_8u_C1R(img.ptr(), img.step(), img.size(), &r);
    EXPECT_EQ(r, stripRule(img));
    return o.add(r);
  });
}

// ---- mean and standard deviation -----------------------------------------

template <typename T>
void expectMeanStdDev(const char* name, T lo, T hi,
                      TpxStatus (*call)(const T*, int, TpxiSize, Tpx64f*, Tpx64f*),
                      void (*sums)(const Image<T>&, double*, double*)) {
  uint32_t seed = 11;
  for (const Shape& s : tpxtest::awkwardShapes()) {
    SCOPED_TRACE(testing::Message() << name << " " << s.width << "x" << s.height);
    const Image<T> img = randomImage<T>(s, seed++, lo, hi, sizeof(T));
    const Outcome generic = expectVariantsMatchGeneric([&] {
      // Both results, then each alone (the other output null).
      Tpx64f r[4] = {-1, -1, -1, -1};
      Outcome o;
      o.status = call(img.ptr(), img.step(), img.size(), &r[0], &r[1]);
      o.status |= call(img.ptr(), img.step(), img.size(), &r[2], nullptr);
      o.status |= call(img.ptr(), img.step(), img.size(), nullptr, &r[3]);
      EXPECT_TRUE(r[2] == r[0] && r[3] == r[1]);
      return o.add(r);
    });
    ASSERT_EQ(generic.status, tpxStsNoErr);
    Tpx64f r[4];
    std::memcpy(r, generic.bytes.data(), sizeof(r));
    double s1, s2, mean, dev;
    sums(img, &s1, &s2);
    meanStdDev(s1, s2, count(img), &mean, &dev);
    EXPECT_EQ(r[0], mean);
    EXPECT_EQ(r[1], dev);
  }
}

// Integer sums are exact, so S and S2 are the exact totals.
template <typename T>
void exactSums(const Image<T>& img, double* s, double* s2) {
  *s = exactSum(img);
  *s2 = static_cast<double>(exactSumSq(img));
}

// 32f: one double chain for values and one for squares, in raster order.
void chainSums(const Image<Tpx32f>& img, double* s, double* s2) {
  *s = 0;
  *s2 = 0;
  for (int y = 0; y < img.height(); ++y) {
    for (int x = 0; x < img.width(); ++x) {
      const double v = img.get(x, y);
      *s += v;
      *s2 += v * v;
    }
  }
}

TEST(StatsMeanStdDev, MatchesTheFormulaInEveryVariant) {
  expectMeanStdDev<Tpx8u>("8u", 0, 255, tpxiMean_StdDev_8u_C1R, exactSums<Tpx8u>);
  expectMeanStdDev<Tpx16u>("16u", 0, 65535, tpxiMean_StdDev_16u_C1R, exactSums<Tpx16u>);
  expectMeanStdDev<Tpx32f>("32f", -50.0f, 70.0f, tpxiMean_StdDev_32f_C1R, chainSums);
}

// Long rows: the 8u and 16u kernels widen their partial sums on the way.
TEST(StatsMeanStdDev, LongRowsOfExtremeValues) {
  Image<Tpx8u> u8(200000, 2);
  u8.fill([](int x, int y) { return Tpx8u((x + y) % 7 == 0 ? 0 : 255); });
  Image<Tpx16u> u16(300000, 2);
  u16.fill([](int x, int y) { return Tpx16u((x + y) % 5 == 0 ? 1 : 65535); });
  double s, s2, mean8, dev8, mean16, dev16;
  exactSums(u8, &s, &s2);
  meanStdDev(s, s2, count(u8), &mean8, &dev8);
  exactSums(u16, &s, &s2);
  meanStdDev(s, s2, count(u16), &mean16, &dev16);
  forEachVariant([&](int) {
    Tpx64f mean = 0, dev = 0;
    ASSERT_EQ(tpxiMean_StdDev_8u_C1R(u8.ptr(), u8.step(), u8.size(), &mean, &dev), tpxStsNoErr);
    EXPECT_EQ(mean, mean8);
    EXPECT_EQ(dev, dev8);
    ASSERT_EQ(tpxiMean_StdDev_16u_C1R(u16.ptr(), u16.step(), u16.size(), &mean, &dev), tpxStsNoErr);
    EXPECT_EQ(mean, mean16);
    EXPECT_EQ(dev, dev16);
  });
}

// A flat 10 x 10 image of 0.1f: rounding leaves S2/N - mean^2 just below
// zero, and the deviation is the root of its magnitude, not NaN.
TEST(StatsMeanStdDev, NegativeRoundedVarianceGivesItsMagnitude) {
  Image<Tpx32f> img(10, 10);
  img.fill([](int, int) { return 0.1f; });
  double s, s2;
  chainSums(img, &s, &s2);
  const double variance = s2 / 100 - (s / 100) * (s / 100);
  ASSERT_LT(variance, 0.0) << "the data no longer rounds below zero";
  forEachVariant([&](int) {
    Tpx64f mean = 0, dev = 0;
    ASSERT_EQ(tpxiMean_StdDev_32f_C1R(img.ptr(), img.step(), img.size(), &mean, &dev), tpxStsNoErr);
    EXPECT_EQ(mean, s / 100);
    EXPECT_EQ(dev, std::sqrt(-variance));
  });
}

#ifdef TPX_HAVE_OPENCV

// OpenCV computes the same quantities with its own summation order: agreement
// to a relative 1e-9 (doubles throughout) or 1e-6 (OpenCV sums floats in
// blocks).
TEST(StatsOpenCv, SumsNormsAndDeviationAgree) {
  const int w = 301, h = 37;
  cv::Mat u8(h, w, CV_8UC1), s16(h, w, CV_16SC1), u16(h, w, CV_16UC1), f32(h, w, CV_32FC1);
  cv::RNG rng(5);
  rng.fill(u8, cv::RNG::UNIFORM, 0, 256);
  rng.fill(s16, cv::RNG::UNIFORM, -32768, 32768);
  rng.fill(u16, cv::RNG::UNIFORM, 0, 65536);
  rng.fill(f32, cv::RNG::UNIFORM, -10.0, 20.0);
  const TpxiSize size = {w, h};
  auto near = [](double got, double want, double rel) {
    EXPECT_NEAR(got, want, std::fabs(want) * rel + 1e-12);
  };
  forEachVariant([&](int) {
    Tpx64f r = 0, dev = 0;
    tpxiMean_8u_C1R(u8.ptr<Tpx8u>(), int(u8.step), size, &r);
    near(r, cv::mean(u8)[0], 1e-12);
    tpxiMean_16s_C1R(s16.ptr<Tpx16s>(), int(s16.step), size, &r);
    near(r, cv::mean(s16)[0], 1e-12);
    tpxiSum_32f_C1R(f32.ptr<Tpx32f>(), int(f32.step), size, &r, kAccurate);
    near(r, cv::sum(f32)[0], 1e-6);
    tpxiNorm_L1_16s_C1R(s16.ptr<Tpx16s>(), int(s16.step), size, &r);
    near(r, cv::norm(s16, cv::NORM_L1), 1e-12);
    tpxiNorm_L2_8u_C1R(u8.ptr<Tpx8u>(), int(u8.step), size, &r);
    near(r, cv::norm(u8, cv::NORM_L2), 1e-12);
    tpxiNorm_L2_16s_C1R(s16.ptr<Tpx16s>(), int(s16.step), size, &r);
    near(r, cv::norm(s16, cv::NORM_L2), 1e-12);
    tpxiNorm_L1_32f_C1R(f32.ptr<Tpx32f>(), int(f32.step), size, &r, 0);
    near(r, cv::norm(f32, cv::NORM_L1), 1e-5);
    tpxiNorm_L2_32f_C1R(f32.ptr<Tpx32f>(), int(f32.step), size, &r, kAccurate);
    near(r, cv::norm(f32, cv::NORM_L2), 1e-6);
    cv::Scalar cvMean, cvDev;
    cv::meanStdDev(u8, cvMean, cvDev);
    tpxiMean_StdDev_8u_C1R(u8.ptr<Tpx8u>(), int(u8.step), size, &r, &dev);
    near(r, cvMean[0], 1e-12);
    near(dev, cvDev[0], 1e-9);
    cv::meanStdDev(u16, cvMean, cvDev);
    tpxiMean_StdDev_16u_C1R(u16.ptr<Tpx16u>(), int(u16.step), size, &r, &dev);
    near(r, cvMean[0], 1e-12);
    near(dev, cvDev[0], 1e-9);
    cv::meanStdDev(f32, cvMean, cvDev);
    tpxiMean_StdDev_32f_C1R(f32.ptr<Tpx32f>(), int(f32.step), size, &r, &dev);
    near(r, cvMean[0], 1e-6);
    near(dev, cvDev[0], 1e-6);
  });
}

#endif  // TPX_HAVE_OPENCV

}  // namespace
