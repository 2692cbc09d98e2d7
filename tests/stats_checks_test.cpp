// Statistics: argument checks. Each family checks in its own order, and the
// order is observable when two arguments are bad at once; a failing call
// writes nothing. Every case runs under every variant.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "tests/harness.h"

namespace {

using tpxtest::forEachVariant;

constexpr TpxStatus kOk = tpxStsNoErr;
constexpr TpxStatus kNull = tpxStsNullPtrErr;
constexpr TpxStatus kSize = tpxStsSizeErr;
constexpr TpxStatus kStep = tpxStsStepErr;
constexpr TpxStatus kPixelStep = tpxStsNotPixelStepErr;

// Source memory large enough for a 4 x 3 region at any step used below.
constexpr TpxiSize kGood = {4, 3};
constexpr int kGoodStep = 64;

// Outputs live in one sentinel-filled block so that "nothing written" is a
// comparison of bytes.
constexpr size_t kOutBytes = 64;
constexpr uint8_t kSentinel = 0x5c;

using Call = TpxStatus (*)(const void* src, int step, TpxiSize size, void* const* outs);

struct Export {
  const char* name;
  int outCount;  // output pointers, each of which can be given as null
  Call call;
};

// Adapters from the common call shape to each export's signature.
template <typename T, typename... Rest>
using Fn = TpxStatus (*)(const T*, int, TpxiSize, Rest...);

template <typename T, Fn<T, Tpx64f*> F>
TpxStatus one(const void* s, int step, TpxiSize size, void* const* o) {
  return F(static_cast<const T*>(s), step, size, static_cast<Tpx64f*>(o[0]));
}
template <Fn<Tpx32f, Tpx64f*, TpxAccuracyHint> F>
TpxStatus hinted(const void* s, int step, TpxiSize size, void* const* o) {
  return F(static_cast<const Tpx32f*>(s), step, size, static_cast<Tpx64f*>(o[0]),
           tpxAccuracyHintAccurate);
}
template <typename T, Fn<T, Tpx64f*, Tpx64f*> F>
TpxStatus two(const void* s, int step, TpxiSize size, void* const* o) {
  return F(static_cast<const T*>(s), step, size, static_cast<Tpx64f*>(o[0]),
           static_cast<Tpx64f*>(o[1]));
}
template <typename T, Fn<T, T*, int*, int*> F>
TpxStatus indexed(const void* s, int step, TpxiSize size, void* const* o) {
  return F(static_cast<const T*>(s), step, size, static_cast<T*>(o[0]), static_cast<int*>(o[1]),
           static_cast<int*>(o[2]));
}

const Export kSum = {"Sum_32f", 1, hinted<tpxiSum_32f_C1R>};
const Export kMean[] = {{"Mean_8u", 1, one<Tpx8u, tpxiMean_8u_C1R>},
                        {"Mean_16s", 1, one<Tpx16s, tpxiMean_16s_C1R>},
                        {"Mean_32f", 1, hinted<tpxiMean_32f_C1R>}};
const Export kNorms[] = {{"Norm_L1_8u", 1, one<Tpx8u, tpxiNorm_L1_8u_C1R>},
                         {"Norm_L1_16s", 1, one<Tpx16s, tpxiNorm_L1_16s_C1R>},
                         {"Norm_L1_32f", 1, hinted<tpxiNorm_L1_32f_C1R>},
                         {"Norm_L2_8u", 1, one<Tpx8u, tpxiNorm_L2_8u_C1R>},
                         {"Norm_L2_16s", 1, one<Tpx16s, tpxiNorm_L2_16s_C1R>},
                         {"Norm_L2_32f", 1, hinted<tpxiNorm_L2_32f_C1R>}};
const Export kIndx[] = {{"MinIndx_8u", 3, indexed<Tpx8u, tpxiMinIndx_8u_C1R>},
                        {"MaxIndx_8u", 3, indexed<Tpx8u, tpxiMaxIndx_8u_C1R>},
                        {"MinIndx_16s", 3, indexed<Tpx16s, tpxiMinIndx_16s_C1R>},
                        {"MaxIndx_16s", 3, indexed<Tpx16s, tpxiMaxIndx_16s_C1R>},
                        {"MinIndx_32f", 3, indexed<Tpx32f, tpxiMinIndx_32f_C1R>},
                        {"MaxIndx_32f", 3, indexed<Tpx32f, tpxiMaxIndx_32f_C1R>}};
const Export kCount = {"CountInRange_32f", 1,
                       [](const void* s, int st, TpxiSize z, void* const* o) {
                         return tpxiCountInRange_32f_C1R(static_cast<const Tpx32f*>(s), st, z,
                                                         static_cast<int*>(o[0]), 0.0f, 1.0f);
                       }};
// The levels pointer is treated as a second "output" so that it can be nulled.
const Export kHist = {"HistogramRange_32f", 2,
                      [](const void* s, int st, TpxiSize z, void* const* o) {
                        return tpxiHistogramRange_32f_C1R(static_cast<const Tpx32f*>(s), st, z,
                                                          static_cast<int*>(o[0]),
                                                          static_cast<const Tpx32f*>(o[1]), 3);
                      }};

struct Case {
  const char* what;
  bool nullSrc;
  int nullOut;  // index of an output given as null, or -1
  int step;
  TpxiSize size;
  TpxStatus expected;
};

// Calls e with the case's arguments and checks the status, and that a failing
// call left every output byte alone.
void runCase(const Export& e, const Case& c) {
  SCOPED_TRACE(testing::Message() << e.name << ": " << c.what);
  // Levels for the histogram's second slot: three increasing edges.
  std::vector<uint8_t> src(4096, 0);
  std::vector<uint8_t> outs(kOutBytes * 3, kSentinel);
  const float levels[3] = {0.0f, 0.5f, 1.0f};
  void* ptrs[3] = {outs.data(), outs.data() + kOutBytes, outs.data() + 2 * kOutBytes};
  if (e.outCount == 2) ptrs[1] = const_cast<float*>(levels);
  if (c.nullOut >= 0) ptrs[c.nullOut] = nullptr;
  const TpxStatus got = e.call(c.nullSrc ? nullptr : src.data() + 3, c.step, c.size, ptrs);
  EXPECT_EQ(got, c.expected);
  if (c.expected != kOk) {
    for (size_t i = 0; i < outs.size(); ++i) {
      ASSERT_EQ(outs[i], kSentinel) << "output byte " << i << " written on failure";
    }
  }
}

void runCases(const Export& e, const std::vector<Case>& cases) {
  forEachVariant([&](int) {
    for (const Case& c : cases) runCase(e, c);
    for (int k = 0; k < e.outCount; ++k) {
      runCase(e, Case{"null output", false, k, kGoodStep, kGood, kNull});
      runCase(e, Case{"null output, bad size and step", false, k, 0, {0, 0}, kNull});
    }
  });
}

// Cases every family shares: one bad argument at a time, and all at once.
std::vector<Case> common(TpxStatus sizeAndStepBad) {
  return {
      {"valid", false, -1, kGoodStep, kGood, kOk},
      {"null source", true, -1, kGoodStep, kGood, kNull},
      {"null source, bad size and step", true, -1, 0, {0, 0}, kNull},
      {"zero width", false, -1, kGoodStep, {0, 3}, kSize},
      {"zero height", false, -1, kGoodStep, {4, 0}, kSize},
      {"negative width", false, -1, kGoodStep, {-4, 3}, kSize},
      {"INT_MIN height", false, -1, kGoodStep, {4, std::numeric_limits<int>::min()}, kSize},
      {"zero step", false, -1, 0, kGood, kStep},
      {"negative step", false, -1, -kGoodStep, kGood, kStep},
      {"bad size and step", false, -1, -1, {0, 3}, sizeAndStepBad},
  };
}

// Operations that accept any positive step, however short.
std::vector<Case> anyPositiveStep(TpxStatus sizeAndStepBad) {
  std::vector<Case> cases = common(sizeAndStepBad);
  cases.push_back({"step of one byte", false, -1, 1, kGood, kOk});
  cases.push_back({"odd step", false, -1, 17, kGood, kOk});
  return cases;
}

TEST(StatsChecks, SumChecksStepBeforeSize) { runCases(kSum, anyPositiveStep(kStep)); }

TEST(StatsChecks, MeanChecksItsOutputFirstThenStepBeforeSize) {
  for (const Export& e : kMean) runCases(e, anyPositiveStep(kStep));
}

TEST(StatsChecks, NormsCheckSizeBeforeStep) {
  for (const Export& e : kNorms) runCases(e, anyPositiveStep(kSize));
}

TEST(StatsChecks, ExtremaCheckEveryPointerThenSizeBeforeStep) {
  for (const Export& e : kIndx) runCases(e, anyPositiveStep(kSize));
}

TEST(StatsChecks, CountInRangeChecksStepBeforeSizeBeforeBounds) {
  runCases(kCount, anyPositiveStep(kStep));
  const float nan = std::numeric_limits<float>::quiet_NaN();
  struct Bounds {
    const char* what;
    TpxiSize size;
    int step;
    float lower, upper;
    TpxStatus expected;
  };
  const Bounds kBounds[] = {
      {"lower above upper", kGood, kGoodStep, 2.0f, 1.0f, tpxStsBoundsOrderErr},
      {"equal bounds", kGood, kGoodStep, 1.0f, 1.0f, kOk},
      {"NaN lower", kGood, kGoodStep, nan, 1.0f, tpxStsBoundsOrderErr},
      {"NaN upper", kGood, kGoodStep, 0.0f, nan, tpxStsBoundsOrderErr},
      {"-0 and +0", kGood, kGoodStep, 0.0f, -0.0f, kOk},
      {"bad bounds and size", {0, 3}, kGoodStep, 2.0f, 1.0f, kSize},
      {"bad bounds and step", kGood, 0, 2.0f, 1.0f, kStep},
  };
  forEachVariant([&](int) {
    std::vector<float> src(64, 0.5f);
    for (const Bounds& b : kBounds) {
      int count = -77;
      EXPECT_EQ(tpxiCountInRange_32f_C1R(src.data(), b.step, b.size, &count, b.lower, b.upper),
                b.expected)
          << b.what;
      if (b.expected != kOk) {
        EXPECT_EQ(count, -77) << b.what;
      }
    }
  });
}

TEST(StatsChecks, HistogramChecksSizeBeforeStepBeforeLevels) {
  runCases(kHist, anyPositiveStep(kSize));
  struct Levels {
    const char* what;
    TpxiSize size;
    int step;
    int nLevels;
    TpxStatus expected;
  };
  const Levels kLevels[] = {
      {"one level", kGood, kGoodStep, 1, tpxStsHistoLevelsErr},
      {"no levels", kGood, kGoodStep, 0, tpxStsHistoLevelsErr},
      {"negative count", kGood, kGoodStep, -3, tpxStsHistoLevelsErr},
      {"two levels", kGood, kGoodStep, 2, kOk},
      {"one level and bad step", kGood, 0, 1, kStep},
      {"one level and bad size", {4, 0}, kGoodStep, 1, kSize},
  };
  forEachVariant([&](int) {
    std::vector<float> src(64, 0.5f);
    const float levels[2] = {0.0f, 1.0f};
    for (const Levels& l : kLevels) {
      int hist[2] = {-77, -77};
      EXPECT_EQ(tpxiHistogramRange_32f_C1R(src.data(), l.step, l.size, hist, levels, l.nLevels),
                l.expected)
          << l.what;
      if (l.expected != kOk) {
        EXPECT_EQ(hist[0], -77) << l.what;
      }
    }
    int hist[1] = {-77};
    EXPECT_EQ(tpxiHistogramRange_32f_C1R(src.data(), kGoodStep, kGood, hist, nullptr, 1), kNull);
    EXPECT_EQ(hist[0], -77);
  });
}

// Mean_StdDev compares the step with the row length, and for 16u and 32f
// wants a whole number of pixels; both outputs may be null.
TEST(StatsChecks, MeanStdDevComparesStepWithRowLength) {
  const Export k8u = {"Mean_StdDev_8u", 2, two<Tpx8u, tpxiMean_StdDev_8u_C1R>};
  const Export k16u = {"Mean_StdDev_16u", 2, two<Tpx16u, tpxiMean_StdDev_16u_C1R>};
  const Export k32f = {"Mean_StdDev_32f", 2, two<Tpx32f, tpxiMean_StdDev_32f_C1R>};
  const std::vector<Case> shared = common(kSize);
  auto withNullOutputs = [&](std::vector<Case> cases) {
    cases.push_back({"null mean", false, 0, kGoodStep, kGood, kOk});
    cases.push_back({"null deviation", false, 1, kGoodStep, kGood, kOk});
    return cases;
  };
  std::vector<Case> c8u = withNullOutputs(shared);
  c8u.push_back({"step equal to the width", false, -1, 4, kGood, kOk});
  c8u.push_back({"step one below the width", false, -1, 3, kGood, kStep});
  c8u.push_back({"odd step", false, -1, 5, kGood, kOk});
  std::vector<Case> c16u = withNullOutputs(shared);
  c16u.push_back({"step equal to the row", false, -1, 8, kGood, kOk});
  c16u.push_back({"step one below the row", false, -1, 7, kGood, kStep});
  c16u.push_back({"odd step", false, -1, 9, kGood, kPixelStep});
  c16u.push_back({"odd step below the row", false, -1, 5, kGood, kStep});
  c16u.push_back({"odd step, bad size", false, -1, 9, {0, 1}, kSize});
  std::vector<Case> c32f = withNullOutputs(shared);
  c32f.push_back({"step equal to the row", false, -1, 16, kGood, kOk});
  c32f.push_back({"step one below the row", false, -1, 15, kGood, kStep});
  c32f.push_back({"step not a multiple of 4", false, -1, 18, kGood, kPixelStep});
  c32f.push_back({"step of 2 below the row", false, -1, 2, kGood, kStep});
  forEachVariant([&](int) {
    for (const Case& c : c8u) runCase(k8u, c);
    for (const Case& c : c16u) runCase(k16u, c);
    for (const Case& c : c32f) runCase(k32f, c);
    // Both outputs null: still a success.
    std::vector<uint8_t> src(256, 7);
    EXPECT_EQ(tpxiMean_StdDev_8u_C1R(src.data(), 4, kGood, nullptr, nullptr), kOk);
    EXPECT_EQ(tpxiMean_StdDev_16u_C1R(reinterpret_cast<const Tpx16u*>(src.data()), 8, kGood,
                                      nullptr, nullptr),
              kOk);
  });
}

}  // namespace
