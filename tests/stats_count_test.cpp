// Statistics: CountInRange and HistogramRange. References count straight
// from the definitions (lowerBound <= v <= upperBound; bin k holds
// pLevels[k] <= v < pLevels[k+1]), which is what the searches must reproduce
// for increasing edges and what the general method is for any other edges.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "tests/harness.h"

namespace {

using tpxtest::expectVariantsMatchGeneric;
using tpxtest::forEachVariant;
using tpxtest::Image;
using tpxtest::Outcome;
using tpxtest::Shape;

const float kNan = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// Values with many exact hits on bounds and edges (multiples of 1/4), some
// outside every range, and a few NaNs and infinities.
Image<Tpx32f> testImage(const Shape& s, uint32_t seed, int stepBytes) {
  Image<Tpx32f> img(s.width, s.height, stepBytes);
  std::mt19937 rng(seed);
  img.fill([&](int, int) {
    const uint32_t r = rng() % 1000;
    if (r < 10) return kNan;
    if (r < 15) return r % 2 ? kInf : -kInf;
    if (r < 20) return -0.0f;
    return float(int(r) - 500) / 16.0f;
  });
  return img;
}

// ---- CountInRange --------------------------------------------------------

int countRef(const Image<Tpx32f>& img, float lo, float hi) {
  int n = 0;
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x) n += img.get(x, y) >= lo && img.get(x, y) <= hi;
  return n;
}

TEST(StatsCountInRange, MatchesTheDefinitionInEveryVariant) {
  struct Bounds {
    float lo, hi;
  };
  const Bounds kBounds[] = {{-3.0f, 5.25f}, {0.0f, 0.0f},       {-0.0f, 0.0f}, {-kInf, kInf},
                            {2.5f, 2.5f},   {-100.0f, -31.25f}, {kInf, kInf},  {1e-30f, 1e30f}};
  uint32_t seed = 40;
  for (const Shape& s : tpxtest::awkwardShapes()) {
    const Image<Tpx32f> img = testImage(s, seed++, 4 * s.width + s.padBytes / 4 * 4);
    for (const Bounds& b : kBounds) {
      SCOPED_TRACE(testing::Message()
                   << s.width << "x" << s.height << " [" << b.lo << ", " << b.hi << "]");
      const Outcome generic = expectVariantsMatchGeneric([&] {
        int n = -1;
        Outcome o;
        o.status = tpxiCountInRange_32f_C1R(img.ptr(), img.step(), img.size(), &n, b.lo, b.hi);
        return o.add(n);
      });
      ASSERT_EQ(generic.status, tpxStsNoErr);
      int n;
      std::memcpy(&n, generic.bytes.data(), sizeof(n));
      EXPECT_EQ(n, countRef(img, b.lo, b.hi));
    }
  }
}

// The row advance is the step rounded down to whole floats: a step of
// 4 x width + 3 walks rows 4 x width bytes apart, and a step of 1..3 bytes
// reads the first row every time.
TEST(StatsCountInRange, StepIsRoundedDownToWholeFloats) {
  // Packed rows of 21 floats; row y holds 3y + 1 ones, 51 in all.
  const int width = 21, height = 6;
  std::vector<float> packed(width * height, 0.0f);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x <= y * 3; ++x) packed[y * width + x] = 1.0f;
  struct Case {
    int step;
    int expected;
  };
  const Case kCases[] = {
      {84, 51}, {85, 51},  // rounded down to 84
      {87, 51}, {1, 6},    // rounded down to 0: the first row, with its one 1.0, six times
      {3, 6},
  };
  forEachVariant([&](int) {
    for (const Case& c : kCases) {
      int n = -1;
      ASSERT_EQ(tpxiCountInRange_32f_C1R(packed.data(), c.step, {width, height}, &n, 0.5f, 1.5f),
                tpxStsNoErr);
      EXPECT_EQ(n, c.expected) << "step " << c.step;
    }
  });
}

TEST(StatsCountInRange, EqualBoundsCountThatValue) {
  Image<Tpx32f> img(19, 3, 80);
  img.fill([](int x, int y) { return float((x + y) % 4); });
  forEachVariant([&](int) {
    int n = -1;
    ASSERT_EQ(tpxiCountInRange_32f_C1R(img.ptr(), img.step(), img.size(), &n, 2.0f, 2.0f),
              tpxStsNoErr);
    EXPECT_EQ(n, countRef(img, 2.0f, 2.0f));
    EXPECT_EQ(n, 15);
  });
}

// ---- HistogramRange ------------------------------------------------------

// Bin k counts pLevels[k] <= v < pLevels[k+1], each bin on its own.
std::vector<int> histRef(const Image<Tpx32f>& img, const std::vector<float>& levels) {
  std::vector<int> hist(levels.size() - 1, 0);
  for (int y = 0; y < img.height(); ++y) {
    for (int x = 0; x < img.width(); ++x) {
      const float v = img.get(x, y);
      for (size_t k = 0; k + 1 < levels.size(); ++k) hist[k] += levels[k] <= v && v < levels[k + 1];
    }
  }
  return hist;
}

// Runs the histogram in every variant with guard counters either side of the
// bins, expects agreement, and returns the generic bins.
std::vector<int> histogram(const Image<Tpx32f>& img, const std::vector<float>& levels) {
  const int bins = int(levels.size()) - 1;
  const Outcome generic = expectVariantsMatchGeneric([&] {
    std::vector<int> hist(bins + 2, 0x5a5a5a5a);
    Outcome o;
    o.status = tpxiHistogramRange_32f_C1R(img.ptr(), img.step(), img.size(), hist.data() + 1,
                                          levels.data(), int(levels.size()));
    for (int v : hist) o.add(v);
    return o;
  });
  EXPECT_EQ(generic.status, tpxStsNoErr);
  std::vector<int> hist(bins + 2);
  std::memcpy(hist.data(), generic.bytes.data(), hist.size() * sizeof(int));
  EXPECT_EQ(hist.front(), 0x5a5a5a5a);
  EXPECT_EQ(hist.back(), 0x5a5a5a5a);
  return std::vector<int>(hist.begin() + 1, hist.end() - 1);
}

std::vector<float> evenEdges(int n, float lo, float hi) {
  std::vector<float> e(n);
  for (int i = 0; i < n; ++i) e[i] = lo + (hi - lo) * float(i) / float(n - 1);
  return e;
}

// Increasing edges of every count around the linear/binary threshold (30),
// evenly and unevenly spaced, on awkward shapes.
TEST(StatsHistogram, IncreasingEdgesMatchTheDefinitionInEveryVariant) {
  std::vector<std::vector<float>> edgeSets = {
      {0.0f, 1.0f},
      {-5.0f, 0.0f, 0.25f, 7.5f},
      evenEdges(17, -20.0f, 20.0f),
      evenEdges(29, -31.25f, 31.25f),
      evenEdges(30, -10.0f, 25.0f),
      evenEdges(31, -10.0f, 25.0f),
      evenEdges(257, -32.0f, 32.0f),
      {-kInf, -1.0f, 0.0f, 1.0f, kInf},
  };
  // Unevenly spaced: crowded at one end, so that a guess from the mean
  // spacing is often far off.
  std::vector<float> uneven;
  for (int i = 0; i < 60; ++i) uneven.push_back(-31.0f + 0.001f * float(i * i * i));
  edgeSets.push_back(uneven);
  std::vector<float> bigRange = {-3e38f, -1.0f};
  for (int i = 0; i < 40; ++i) bigRange.push_back(float(i) * 0.5f);
  bigRange.push_back(3e38f);
  edgeSets.push_back(bigRange);
  bigRange.front() = -kInf;  // infinite outer edges leave no spacing to guess from
  bigRange.back() = kInf;
  edgeSets.push_back(bigRange);
  uint32_t seed = 70;
  for (const Shape& s : tpxtest::awkwardShapes()) {
    const Image<Tpx32f> img = testImage(s, seed++, 4 * s.width + s.padBytes);
    for (const std::vector<float>& levels : edgeSets) {
      SCOPED_TRACE(testing::Message() << s.width << "x" << s.height << " with " << levels.size()
                                      << " edges from " << levels.front());
      EXPECT_EQ(histogram(img, levels), histRef(img, levels));
    }
  }
}

// Edges that do not strictly increase: each bin on its own, so a pixel may
// count twice and an empty or inverted bin never counts.
TEST(StatsHistogram, OtherEdgesUseTheGeneralMethod) {
  Image<Tpx32f> img(23, 5, 97);
  img.fill([](int x, int y) { return float((x * 3 + y * 7) % 17) / 4.0f - 0.5f; });
  const std::vector<std::vector<float>> edgeSets = {
      {0.0f, 2.0f, 1.0f, 3.0f},  // [0,2) and [1,3) overlap; [2,1) never counts
      {1.0f, 1.0f, 2.0f},        // an empty bin first
      {3.0f, 2.0f, 1.0f, 0.0f},  // decreasing: nothing counts
      {0.0f, 1.0f, 1.0f, 2.0f, 0.5f, 3.0f},
  };
  for (const std::vector<float>& levels : edgeSets) {
    EXPECT_EQ(histogram(img, levels), histRef(img, levels));
  }
  // Many edges that repeat: [0,1) nine times over, with 40 edges in all.
  std::vector<float> repeated;
  for (int i = 0; i < 20; ++i) {
    repeated.push_back(0.0f);
    repeated.push_back(1.0f);
  }
  EXPECT_EQ(histogram(img, repeated), histRef(img, repeated));
  // A pixel in both overlapping bins, by hand.
  Image<Tpx32f> one(1, 1);
  one.set(0, 0, 1.5f);
  EXPECT_EQ(histogram(one, {0.0f, 2.0f, 1.0f, 3.0f}), (std::vector<int>{1, 0, 1}));
}

TEST(StatsHistogram, LastEdgeIsExclusive) {
  Image<Tpx32f> img(4, 1);
  const float kValues[] = {0.0f, 1.0f, 0.999999940f, -0.0f};
  img.fill([&](int x, int) { return kValues[x]; });
  EXPECT_EQ(histogram(img, {0.0f, 1.0f}), (std::vector<int>{3}));
  // The same with many edges (the binary search).
  std::vector<float> levels = evenEdges(41, 0.0f, 1.0f);
  const std::vector<int> hist = histogram(img, levels);
  EXPECT_EQ(hist.front(), 2);
  EXPECT_EQ(hist.back(), 1);
}

// A NaN edge makes its pairs count as increasing, so the search runs: for
// {0, NaN, 2} a pixel of 1 is not below NaN, is below 2, and lands in bin 1
// (the definition alone would count it nowhere). A NaN pixel never counts.
TEST(StatsHistogram, NaNEdgesKeepTheSearch) {
  Image<Tpx32f> img(5, 1);
  const float kValues[] = {1.0f, 0.0f, 2.0f, kNan, 1.9f};
  img.fill([&](int x, int) { return kValues[x]; });
  EXPECT_EQ(histogram(img, {0.0f, kNan, 2.0f}), (std::vector<int>{0, 3}));
  // A NaN first edge: no pixel passes v >= pLevels[0].
  EXPECT_EQ(histogram(img, {kNan, 1.0f, 3.0f}), (std::vector<int>{0, 0}));
  // Many edges with NaNs among them: every variant follows the generic one.
  std::vector<float> levels = evenEdges(45, -1.0f, 3.0f);
  levels[7] = kNan;
  levels[30] = kNan;
  Image<Tpx32f> big(61, 7, 250);
  big.fillRandom(3, -2.0f, 4.0f);
  histogram(big, levels);
  levels.resize(20);
  histogram(big, levels);
}

}  // namespace
