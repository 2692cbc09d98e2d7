// Copy, Set and type conversion: the float-to-integer rule, saturation,
// check order, step handling, untouched bytes, and agreement of all variants.
#include <gtest/gtest.h>

#include <cfenv>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "tests/harness.h"

namespace {

using tpxtest::bitsOf;
using tpxtest::expectVariantsMatchGeneric;
using tpxtest::forEachVariant;
using tpxtest::fromBits;
using tpxtest::Image;
using tpxtest::Outcome;

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// ----- The float-to-integer rule, written independently -----------------------
// Saturate on the float first, then round to nearest even (nearbyint in the
// default rounding mode) or truncate.
template <int kLo, int kHi>
int referenceFloatToInt(float v, int roundMode) {
  if (v >= kHi) return kHi;
  if (!(v > kLo)) return kLo;
  const double d = v;
  return static_cast<int>(roundMode == 1 ? std::nearbyint(d) : std::trunc(d));
}

struct RuleRow {
  float value;
  int roundMode;
  int expected;
};

// Hand-checked cases, ties and bounds first.
const RuleRow k8uRows[] = {
    {0.5f, 1, 0},       {1.5f, 1, 2},        {2.5f, 1, 2},
    {3.5f, 1, 4},       {254.5f, 1, 254},    {254.7f, 1, 255},
    {253.5f, 1, 254},   {255.0f, 1, 255},    {300.0f, 1, 255},
    {-3.0f, 1, 0},      {-0.5f, 1, 0},       {-0.0f, 1, 0},
    {0.0f, 1, 0},       {kNaN, 1, 0},        {-kNaN, 1, 0},
    {kInf, 1, 255},     {-kInf, 1, 0},       {1e30f, 1, 255},
    {-1e30f, 1, 0},     {0.49999997f, 1, 0}, {FLT_MIN, 1, 0},
    {1.99f, 0, 1},      {254.99f, 0, 254},   {254.99f, 2, 254},
    {254.99f, -1, 254}, {1.99f, INT_MIN, 1}, {0.999f, 0, 0},
    {255.0f, 0, 255},   {-0.9f, 0, 0},       {kNaN, 0, 0},
    {4.5e9f, 0, 255},   {-4.5e9f, 0, 0},     {2147483648.0f, 1, 255},
};

const RuleRow k16sRows[] = {
    {-2.5f, 1, -2},
    {-3.5f, 1, -4},
    {-1.5f, 1, -2},
    {-0.5f, 1, 0},
    {0.5f, 1, 0},
    {32766.5f, 1, 32766},
    {32765.5f, 1, 32766},
    {32767.0f, 1, 32767},
    {32766.7f, 1, 32767},
    {40000.0f, 1, 32767},
    {-40000.0f, 1, -32768},
    {-32767.5f, 1, -32768},
    {-32768.0f, 1, -32768},
    {-32766.5f, 1, -32766},
    {kNaN, 1, -32768},
    {-kNaN, 1, -32768},
    {kInf, 1, 32767},
    {-kInf, 1, -32768},
    {-0.0f, 1, 0},
    {-2.9f, 0, -2},
    {2.9f, 0, 2},
    {-32767.9f, 0, -32767},
    {32766.9f, 0, 32766},
    {kNaN, 0, -32768},
    {-2147483904.0f, 1, -32768},
    {2147483648.0f, 0, 32767},
    {-2.9f, 7, -2},
};

// Runs a one-row conversion of `values` under the current variant: the
// values sit at every position of a 37-wide row (vector body and tail).
template <typename D>
std::vector<D> convertRow(const std::vector<float>& values, int roundMode) {
  Image<Tpx32f> src(int(values.size()), 1);
  src.fill([&](int x, int) { return values[size_t(x)]; });
  Image<D> dst(int(values.size()), 1);
  TpxStatus status;
  if constexpr (sizeof(D) == 1) {
    status =
        tpxiConvert_32f8u_C1R(src.ptr(), src.step(), dst.ptr(), dst.step(), src.size(), roundMode);
  } else {
    status =
        tpxiConvert_32f16s_C1R(src.ptr(), src.step(), dst.ptr(), dst.step(), src.size(), roundMode);
  }
  EXPECT_EQ(status, tpxStsNoErr);
  EXPECT_TRUE(dst.guardsIntact());
  std::vector<D> out;
  for (int x = 0; x < dst.width(); ++x) out.push_back(dst.get(x, 0));
  return out;
}

template <typename D, size_t N>
void checkRuleRows(const RuleRow (&rows)[N]) {
  forEachVariant([&](int) {
    for (const RuleRow& r : rows) {
      for (int width : {1, 5, 16, 37}) {
        for (int at : {0, width / 2, width - 1}) {
          std::vector<float> values(size_t(width), 7.0f);
          values[size_t(at)] = r.value;
          const std::vector<D> got = convertRow<D>(values, r.roundMode);
          EXPECT_EQ(int(got[size_t(at)]), r.expected)
              << "value " << r.value << " (0x" << std::hex << bitsOf(r.value) << std::dec
              << ") mode " << r.roundMode << " width " << width << " at " << at;
        }
      }
    }
  });
}

TEST(ConvertRule, Float8uTable) { checkRuleRows<Tpx8u>(k8uRows); }
TEST(ConvertRule, Float16sTable) { checkRuleRows<Tpx16s>(k16sRows); }

// Every tie and near-tie over both ranges, plus random values and special
// patterns, against the independent reference.
std::vector<float> denseFloats() {
  std::vector<float> v;
  for (int k = -33000; k <= 33000; ++k) {
    v.push_back(float(k) + 0.5f);
    v.push_back(std::nextafter(float(k) + 0.5f, 0.0f));
    v.push_back(float(k));
  }
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> d(-70000.0f, 70000.0f);
  for (int i = 0; i < 20000; ++i) v.push_back(d(rng));
  for (uint32_t bits : {0x00000001u, 0x80000001u, 0x7f7fffffu, 0xff7fffffu, 0x7fc00001u,
                        0xffc12345u, 0x7f800001u, 0x4f000000u, 0xcf000000u, 0x4effffffu}) {
    v.push_back(fromBits(bits));
  }
  return v;
}

TEST(ConvertRule, DenseSweepAgainstReference) {
  const std::vector<float> values = denseFloats();
  forEachVariant([&](int) {
    for (int mode : {0, 1, 2}) {
      const std::vector<Tpx8u> got8 = convertRow<Tpx8u>(values, mode);
      const std::vector<Tpx16s> got16 = convertRow<Tpx16s>(values, mode);
      int bad8 = 0, bad16 = 0;
      for (size_t i = 0; i < values.size(); ++i) {
        if (got8[i] != referenceFloatToInt<0, 255>(values[i], mode) && bad8++ < 5) {
          ADD_FAILURE() << "8u mode " << mode << " value " << values[i] << " gave " << int(got8[i]);
        }
        if (got16[i] != referenceFloatToInt<-32768, 32767>(values[i], mode) && bad16++ < 5) {
          ADD_FAILURE() << "16s mode " << mode << " value " << values[i] << " gave " << got16[i];
        }
      }
    }
  });
}

TEST(ConvertRule, CallersRoundingModeIsIrrelevantAndRestored) {
  const std::vector<float> values = {2.5f, 3.5f,  -2.5f, 1.7f,  -1.7f,  100.5f, 0.5f,  7.49f, 2.5f,
                                     3.5f, -2.5f, 1.7f,  -1.7f, 100.5f, 0.5f,   7.49f, 9.5f};
  const std::vector<Tpx16s> nearest = {2, 4, -2, 2, -2, 100, 0, 7, 2, 4, -2, 2, -2, 100, 0, 7, 10};
  const std::vector<Tpx16s> truncated = {2, 3, -2, 1, -1, 100, 0, 7, 2, 3, -2, 1, -1, 100, 0, 7, 9};
  forEachVariant([&](int) {
    for (int callerMode : {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO, FE_TONEAREST}) {
      ASSERT_EQ(std::fesetround(callerMode), 0);
      const std::vector<Tpx16s> gotNearest = convertRow<Tpx16s>(values, 1);
      const std::vector<Tpx16s> gotTruncated = convertRow<Tpx16s>(values, 0);
      const int after = std::fegetround();
      std::fesetround(FE_TONEAREST);
      EXPECT_EQ(gotNearest, nearest) << "caller mode " << callerMode;
      EXPECT_EQ(gotTruncated, truncated) << "caller mode " << callerMode;
      EXPECT_EQ(after, callerMode);
    }
  });
}

// ----- Integer conversions: every input value -----------------------------------

TEST(ConvertInteger, AllValues) {
  Image<Tpx16s> all16(65536, 1);
  all16.fill([](int x, int) { return Tpx16s(x - 32768); });
  Image<Tpx8u> all8(256, 1);
  all8.fill([](int x, int) { return Tpx8u(x); });
  forEachVariant([&](int) {
    Image<Tpx8u> sat(65536, 1);
    ASSERT_EQ(tpxiConvert_16s8u_C1R(all16.ptr(), all16.step(), sat.ptr(), sat.step(), sat.size()),
              tpxStsNoErr);
    Image<Tpx32f> f16(65536, 1);
    ASSERT_EQ(tpxiConvert_16s32f_C1R(all16.ptr(), all16.step(), f16.ptr(), f16.step(), f16.size()),
              tpxStsNoErr);
    for (int x = 0; x < 65536; ++x) {
      const int v = x - 32768;
      ASSERT_EQ(sat.get(x, 0), v < 0 ? 0 : v > 255 ? 255 : v) << v;
      ASSERT_EQ(f16.get(x, 0), float(v)) << v;
    }
    Image<Tpx16s> w16(256, 1);
    Image<Tpx32f> f8(256, 1);
    ASSERT_EQ(tpxiConvert_8u16s_C1R(all8.ptr(), all8.step(), w16.ptr(), w16.step(), w16.size()),
              tpxStsNoErr);
    ASSERT_EQ(tpxiConvert_8u32f_C1R(all8.ptr(), all8.step(), f8.ptr(), f8.step(), f8.size()),
              tpxStsNoErr);
    for (int x = 0; x < 256; ++x) {
      EXPECT_EQ(w16.get(x, 0), x);
      EXPECT_EQ(f8.get(x, 0), float(x));
    }
    EXPECT_TRUE(sat.guardsIntact() && f16.guardsIntact() && w16.guardsIntact() &&
                f8.guardsIntact());
  });
}

// ----- Every export on awkward shapes: reference and variant agreement --------

// One conversion-like operation: source and destination element types, how
// to call it, and the expected value per source value.
template <typename S, typename D>
struct Op {
  const char* name;
  std::function<TpxStatus(const S*, int, D*, int, TpxiSize)> call;
  std::function<D(S)> expected;
};

template <typename S>
S randomValue(std::mt19937& rng) {
  if constexpr (std::is_same_v<S, Tpx32f>) {
    // Mostly in and around the integer ranges, with ties and specials.
    switch (rng() % 8) {
      case 0:
        return float(int(rng() % 70000) - 35000) + 0.5f;
      case 1: {
        const float specials[] = {kNaN, -kNaN,  kInf,     -kInf,     -0.0f,
                                  0.0f, 255.0f, 32767.0f, -32768.0f, fromBits(0x7fc12345u)};
        return specials[rng() % 10];
      }
      default:
        return std::uniform_real_distribution<float>(-40000.0f, 40000.0f)(rng);
    }
  } else {
    return static_cast<S>(rng());
  }
}

template <typename S, typename D>
void checkOnShapes(const Op<S, D>& op) {
  SCOPED_TRACE(op.name);
  uint32_t seed = 1;
  for (const tpxtest::Shape& shape : tpxtest::awkwardShapes()) {
    SCOPED_TRACE(testing::Message()
                 << shape.width << "x" << shape.height << " pad " << shape.padBytes);
    Image<S> src(shape.width, shape.height, shape.width * int(sizeof(S)) + shape.padBytes);
    std::mt19937 rng(seed++);
    src.fill([&](int, int) { return randomValue<S>(rng); });
    // The destination pads differently (and not at all when the source is
    // tight, so both operands are contiguous and the whole-image path runs).
    const int dstPad = shape.padBytes == 0 ? 0 : shape.padBytes + 5;
    expectVariantsMatchGeneric([&] {
      Image<D> dst(shape.width, shape.height, shape.width * int(sizeof(D)) + dstPad);
      Outcome o;
      o.status = op.call(src.ptr(), src.step(), dst.ptr(), dst.step(), dst.size());
      EXPECT_EQ(o.status, tpxStsNoErr);
      EXPECT_TRUE(dst.guardsIntact());
      for (int y = 0; y < shape.height; ++y) {
        for (int x = 0; x < shape.width; ++x) {
          const D want = op.expected(src.get(x, y));
          const D got = dst.get(x, y);
          if (std::memcmp(&want, &got, sizeof(D)) != 0) {
            ADD_FAILURE() << "pixel " << x << "," << y << " src " << +src.get(x, y) << " gave "
                          << +got << " expected " << +want;
            return o.add(dst.bytes());
          }
        }
      }
      return o.add(dst.bytes());
    });
  }
}

template <typename T>
T same(T v) {
  return v;
}

TEST(ConvertShapes, EveryExportAgreesWithReferenceInEveryVariant) {
  checkOnShapes(Op<Tpx8u, Tpx8u>{"Copy_8u", tpxiCopy_8u_C1R, same<Tpx8u>});
  checkOnShapes(Op<Tpx16s, Tpx16s>{"Copy_16s", tpxiCopy_16s_C1R, same<Tpx16s>});
  checkOnShapes(Op<Tpx32f, Tpx32f>{"Copy_32f", tpxiCopy_32f_C1R, same<Tpx32f>});
  checkOnShapes(
      Op<Tpx8u, Tpx16s>{"Convert_8u16s", tpxiConvert_8u16s_C1R, [](Tpx8u v) { return Tpx16s(v); }});
  checkOnShapes(
      Op<Tpx8u, Tpx32f>{"Convert_8u32f", tpxiConvert_8u32f_C1R, [](Tpx8u v) { return Tpx32f(v); }});
  checkOnShapes(Op<Tpx16s, Tpx32f>{"Convert_16s32f", tpxiConvert_16s32f_C1R,
                                   [](Tpx16s v) { return Tpx32f(v); }});
  checkOnShapes(Op<Tpx16s, Tpx8u>{"Convert_16s8u", tpxiConvert_16s8u_C1R, [](Tpx16s v) {
                                    return Tpx8u(v < 0 ? 0 : v > 255 ? 255 : v);
                                  }});
  for (int mode : {0, 1}) {
    SCOPED_TRACE(mode);
    checkOnShapes(Op<Tpx32f, Tpx8u>{
        "Convert_32f8u",
        [mode](const Tpx32f* s, int ss, Tpx8u* d, int ds, TpxiSize r) {
          return tpxiConvert_32f8u_C1R(s, ss, d, ds, r, mode);
        },
        [mode](Tpx32f v) { return Tpx8u(referenceFloatToInt<0, 255>(v, mode)); }});
    checkOnShapes(Op<Tpx32f, Tpx16s>{
        "Convert_32f16s",
        [mode](const Tpx32f* s, int ss, Tpx16s* d, int ds, TpxiSize r) {
          return tpxiConvert_32f16s_C1R(s, ss, d, ds, r, mode);
        },
        [mode](Tpx32f v) { return Tpx16s(referenceFloatToInt<-32768, 32767>(v, mode)); }});
  }
}

// Set: the value everywhere in the region, guards untouched, in every variant.
template <typename T>
void checkSetOnShapes(const char* name, TpxStatus (*set)(T, T*, int, TpxiSize),
                      const std::vector<T>& values) {
  SCOPED_TRACE(name);
  for (const tpxtest::Shape& shape : tpxtest::awkwardShapes()) {
    for (const T value : values) {
      expectVariantsMatchGeneric([&] {
        Image<T> dst(shape.width, shape.height, shape.width * int(sizeof(T)) + shape.padBytes);
        Outcome o;
        o.status = set(value, dst.ptr(), dst.step(), dst.size());
        EXPECT_EQ(o.status, tpxStsNoErr);
        EXPECT_TRUE(dst.guardsIntact());
        for (int y = 0; y < shape.height; ++y)
          for (int x = 0; x < shape.width; ++x) {
            const T got = dst.get(x, y);
            if (std::memcmp(&got, &value, sizeof(T)) != 0) {
              ADD_FAILURE() << "pixel " << x << "," << y << " of " << shape.width << "x"
                            << shape.height;
              return o.add(dst.bytes());
            }
          }
        return o.add(dst.bytes());
      });
    }
  }
}

TEST(SetShapes, FillsExactPatternsInEveryVariant) {
  checkSetOnShapes<Tpx8u>("Set_8u", tpxiSet_8u_C1R, {0, 0x5a, 255});
  checkSetOnShapes<Tpx16s>("Set_16s", tpxiSet_16s_C1R, {0, -1, -2, 0x1234, -32768});
  checkSetOnShapes<Tpx32s>("Set_32s", tpxiSet_32s_C1R, {0, -1, 0x01020304, INT_MIN});
  // The 32f fill keeps the pattern: -0, infinities and NaNs with payloads.
  checkSetOnShapes<Tpx32f>(
      "Set_32f", tpxiSet_32f_C1R,
      {1.5f, -0.0f, -kInf, fromBits(0x7fc12345u), fromBits(0xffc00001u), fromBits(0x00000001u)});
}

// ----- Step quirks of Copy ---------------------------------------------------------

TEST(CopySteps, ZeroDestinationStepLeavesTheLastRowInTheFirst) {
  forEachVariant([&](int) {
    Image<Tpx8u> src(5, 4);
    src.fill([](int x, int y) { return Tpx8u(10 * y + x); });
    Image<Tpx8u> dst(5, 1);
    EXPECT_EQ(tpxiCopy_8u_C1R(src.ptr(), src.step(), dst.ptr(), 0, {5, 4}), tpxStsNoErr);
    for (int x = 0; x < 5; ++x) EXPECT_EQ(dst.get(x, 0), 30 + x);
    EXPECT_TRUE(dst.guardsIntact());
    // Set refuses the same step.
    EXPECT_EQ(tpxiSet_8u_C1R(1, dst.ptr(), 0, {5, 4}), tpxStsStepErr);
  });
}

TEST(CopySteps, NegativeAndZeroSourceSteps) {
  forEachVariant([&](int) {
    // A source walked bottom-up: row y of the region is row 2 - y in memory.
    Image<Tpx32f> src(3, 3, -12);
    src.fill([](int x, int y) { return float(y * 3 + x); });
    Image<Tpx32f> dst(3, 3, 17);  // odd step: rows not 4-byte aligned
    EXPECT_EQ(tpxiCopy_32f_C1R(src.ptr(), src.step(), dst.ptr(), dst.step(), dst.size()),
              tpxStsNoErr);
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 3; ++x) EXPECT_EQ(dst.get(x, y), float(y * 3 + x));
    // A zero source step repeats the first row.
    Image<Tpx16s> one(4, 1);
    one.fill([](int x, int) { return Tpx16s(x - 2); });
    Image<Tpx16s> rep(4, 3, 9);
    EXPECT_EQ(tpxiCopy_16s_C1R(one.ptr(), 0, rep.ptr(), rep.step(), rep.size()), tpxStsNoErr);
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 4; ++x) EXPECT_EQ(rep.get(x, y), x - 2);
    EXPECT_TRUE(dst.guardsIntact() && rep.guardsIntact());
  });
}

TEST(CopySteps, FloatCopyKeepsBitPatterns) {
  const uint32_t kPatterns[] = {0x80000000u, 0x7fc12345u, 0xffbfffffu, 0x7f800001u, 0x00000001u};
  forEachVariant([&](int) {
    Image<Tpx32f> src(5, 1);
    src.fill([&](int x, int) { return fromBits(kPatterns[x]); });
    Image<Tpx32f> dst(5, 1);
    EXPECT_EQ(tpxiCopy_32f_C1R(src.ptr(), src.step(), dst.ptr(), dst.step(), dst.size()),
              tpxStsNoErr);
    for (int x = 0; x < 5; ++x) EXPECT_EQ(bitsOf(dst.get(x, 0)), kPatterns[x]);
  });
}

}  // namespace
