// Accumulation of 8-bit images into 32f accumulators: the plain sum and the
// running weighted average.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/arith_common.h"
#include "tests/harness.h"

namespace {

using arithtest::bitsOf;
using arithtest::fromBits;
using tpxtest::expectVariantsMatchGeneric;
using tpxtest::forEachVariant;
using tpxtest::Image;
using tpxtest::Outcome;

// The weighted rule: difference, product, sum, in double, rounded once.
float weightedInDouble(float a, Tpx8u s, float alpha) {
  const double ad = a;
  return float(ad + (double(s) - ad) * double(alpha));
}

TEST(Accumulate8u32f, ResultsOnAwkwardShapesInEveryVariant) {
  const float kAlphas[] = {0.25f, 0.1f, 1.0f, 0.0f, -0.5f, 3.0f};
  uint32_t seed = 900;
  int k = 0;
  for (const tpxtest::Shape& s : tpxtest::awkwardShapes()) {
    const float alpha = kAlphas[k++ % 6];
    SCOPED_TRACE(testing::Message()
                 << s.width << "x" << s.height << " pad " << s.padBytes << " alpha " << alpha);
    // The accumulator step must be whole pixels; the source step may be odd.
    Image<Tpx8u> src(s.width, s.height, s.width + s.padBytes);
    Image<Tpx32f> acc(s.width, s.height, s.width * 4 + (s.padBytes & ~3));
    src.fillRandom(++seed, 0, 255);
    arithtest::fillMixed(acc, ++seed, -300.0f, 300.0f);
    if (s.width > 3) acc.set(3, 0, 1e30f);  // far beyond every byte
    const Image<Tpx32f> acc0 = acc;

    for (int weighted = 0; weighted < 2; ++weighted) {
      SCOPED_TRACE(weighted ? "weighted" : "plain");
      const Outcome generic = expectVariantsMatchGeneric([&] {
        Image<Tpx32f> a = acc0;
        Outcome o;
        o.status = weighted
                       ? tpxiAddWeighted_8u32f_C1IR(src.ptr(), src.step(), a.ptr(), a.step(),
                                                    a.size(), alpha)
                       : tpxiAdd_8u32f_C1IR(src.ptr(), src.step(), a.ptr(), a.step(), a.size());
        o.add(a.bytes());
        return o;
      });
      EXPECT_EQ(generic.status, tpxStsNoErr);
      Image<Tpx32f> a = acc0;
      {
        tpxtest::ScopedVariant v(0);
        if (weighted) {
          tpxiAddWeighted_8u32f_C1IR(src.ptr(), src.step(), a.ptr(), a.step(), a.size(), alpha);
        } else {
          tpxiAdd_8u32f_C1IR(src.ptr(), src.step(), a.ptr(), a.step(), a.size());
        }
      }
      EXPECT_EQ(a.bytes(), generic.bytes);
      for (int y = 0; y < s.height; ++y) {
        for (int x = 0; x < s.width; ++x) {
          const float in = acc0.get(x, y);
          const Tpx8u b = src.get(x, y);
          const float want = weighted ? weightedInDouble(in, b, alpha) : float(double(in) + b);
          if (std::isnan(want)) {
            EXPECT_TRUE(std::isnan(a.get(x, y)));
          } else {
            EXPECT_EQ(bitsOf(a.get(x, y)), bitsOf(want)) << x << "," << y << " from " << in;
          }
        }
      }
      EXPECT_TRUE(a.guardsIntact());
    }
  }
}

TEST(Accumulate8u32f, WeightedIsOneRoundingOfTheDoubleExpression) {
  // Three single-precision steps would round three times; the rule rounds
  // once. Over these accumulators the two differ somewhere, and the library
  // follows the single rounding everywhere.
  forEachVariant([](int) {
    std::vector<float> acc(500);
    for (int i = 0; i < 500; ++i) acc[i] = float(i) * 1.37f - 200.0f;
    const std::vector<float> in = acc;
    const std::vector<Tpx8u> src(500, 201);
    EXPECT_EQ(tpxiAddWeighted_8u32f_C1IR(src.data(), 500, acc.data(), 2000, {500, 1}, 0.3f),
              tpxStsNoErr);
    int differ = 0;
    for (int i = 0; i < 500; ++i) {
      EXPECT_EQ(acc[i], weightedInDouble(in[i], 201, 0.3f)) << i;
      const float single = in[i] + (201.0f - in[i]) * 0.3f;
      differ += single != acc[i];
    }
    EXPECT_GT(differ, 0);
  });
}

// A row length of 4 x width beyond the 32-bit range is a step error, not a
// wrapped comparison (the rest of the check order is in checks_test.cpp).
TEST(Accumulate8u32f, RowLengthBeyond32BitsIsAStepError) {
  forEachVariant([&](int) {
    std::vector<Tpx8u> src(4, 0);
    std::vector<float> acc(4, 0.0f);
    EXPECT_EQ(tpxiAdd_8u32f_C1IR(src.data(), 0x40000001, acc.data(), 16, {0x40000001, 1}),
              tpxStsStepErr);
    EXPECT_EQ(acc, std::vector<float>(4, 0.0f));
  });
}

TEST(Accumulate8u32f, AlphaIsNotRangeChecked) {
  struct Case {
    float alpha;
    float acc;
    Tpx8u src;
  };
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  const Case kCases[] = {{2.0f, 10.0f, 20}, {-1.0f, 10.0f, 20}, {inf, 10.0f, 20},
                         {inf, 20.0f, 20},  {nan, 1.0f, 1},     {1e30f, 3.5f, 255}};
  forEachVariant([&](int) {
    for (const Case& c : kCases) {
      SCOPED_TRACE(c.alpha);
      std::vector<float> acc(6, c.acc);
      const std::vector<Tpx8u> src(6, c.src);
      EXPECT_EQ(tpxiAddWeighted_8u32f_C1IR(src.data(), 6, acc.data(), 24, {6, 1}, c.alpha),
                tpxStsNoErr);
      const float want = weightedInDouble(c.acc, c.src, c.alpha);
      for (float r : acc) {
        if (std::isnan(want)) {
          EXPECT_TRUE(std::isnan(r));
        } else {
          EXPECT_EQ(r, want);
        }
      }
    }
  });
}

}  // namespace
