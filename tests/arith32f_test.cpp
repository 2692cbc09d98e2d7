// Single-precision arithmetic: Add, Sub, Mul, Div (two images and in place),
// AddC, MulC, DivC.
//
// References are computed in double and rounded once: double has more than
// twice the bits of single plus two, so that is the correctly rounded single
// result of + - * /. NaN results are checked for being NaN only; which NaN
// comes out is pinned by the variant comparison.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
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

using Binary = TpxStatus (*)(const Tpx32f*, int, const Tpx32f*, int, Tpx32f*, int, TpxiSize);
using InPlace = TpxStatus (*)(const Tpx32f*, int, Tpx32f*, int, TpxiSize);

// The zero-divisor rule, written from its description: d is the divisor.
float divisionRule(float n, float d, bool* zero) {
  if (d == 0.0f || std::isnan(d)) {
    *zero = true;
    if (n > 0) return fromBits(arithtest::kPosInf);
    if (n == 0) return fromBits(arithtest::kNegQNan);
    return fromBits(arithtest::kNegInf);
  }
  return static_cast<float>(static_cast<double>(n) / static_cast<double>(d));
}

// Expected value of each form given (src1, src2) or (src, srcDst); sets
// *zero when the division rule met a zero divisor.
struct BinaryForm {
  const char* name;
  Binary twoImage;  // or null for an in-place form
  InPlace inPlace;  // or null
  std::function<float(float first, float second, bool* zero)> rule;
  bool checksSteps;
};

const BinaryForm kBinaryForms[] = {
    {"Add", tpxiAdd_32f_C1R, nullptr,
     [](float a, float b, bool*) { return float(double(a) + double(b)); }, false},
    {"AddI", nullptr, tpxiAdd_32f_C1IR,
     [](float s, float sd, bool*) { return float(double(sd) + double(s)); }, false},
    {"Sub", tpxiSub_32f_C1R, nullptr,
     [](float a, float b, bool*) { return float(double(b) - double(a)); }, false},
    {"Mul", tpxiMul_32f_C1R, nullptr,
     [](float a, float b, bool*) { return float(double(a) * double(b)); }, false},
    {"MulI", nullptr, tpxiMul_32f_C1IR,
     [](float s, float sd, bool*) { return float(double(sd) * double(s)); }, false},
    {"Div", tpxiDiv_32f_C1R, nullptr,
     [](float a, float b, bool* z) { return divisionRule(b, a, z); }, true},
    {"DivI", nullptr, tpxiDiv_32f_C1IR,
     [](float s, float sd, bool* z) { return divisionRule(sd, s, z); }, true},
};

// Bit-exact comparison for numbers, NaN-ness only for NaN.
void expectSameFloat(float expected, float got, const char* what) {
  if (std::isnan(expected)) {
    EXPECT_TRUE(std::isnan(got)) << what << ": expected NaN, got " << got;
  } else {
    EXPECT_EQ(bitsOf(got), bitsOf(expected))
        << what << ": expected " << expected << ", got " << got;
  }
}

// Runs one binary form on (first, second) images; the in-place forms write
// into second.
TpxStatus runForm(const BinaryForm& f, const Image<Tpx32f>& first, Image<Tpx32f>& second,
                  Image<Tpx32f>& dst, TpxiSize size) {
  if (f.twoImage) {
    return f.twoImage(first.ptr(), first.step(), second.ptr(), second.step(), dst.ptr(), dst.step(),
                      size);
  }
  return f.inPlace(first.ptr(), first.step(), second.ptr(), second.step(), size);
}

TEST(Arith32f, BinaryFormsOnAwkwardShapesMatchReferenceInEveryVariant) {
  uint32_t seed = 1;
  for (const BinaryForm& f : kBinaryForms) {
    for (const tpxtest::Shape& s : tpxtest::awkwardShapes()) {
      SCOPED_TRACE(testing::Message()
                   << f.name << " " << s.width << "x" << s.height << " pad " << s.padBytes);
      ++seed;
      Image<Tpx32f> first(s.width, s.height, s.width * 4 + s.padBytes);
      Image<Tpx32f> second(s.width, s.height, s.width * 4 + (s.padBytes * 7) % 11);
      arithtest::fillMixed(first, seed, -100.0f, 100.0f);
      arithtest::fillMixed(second, seed + 1000, -1e6f, 1e6f);
      if (s.width > 2) first.set(1, 0, 0.0f);  // a zero divisor in most shapes
      const Image<Tpx32f> firstIn = first, secondIn = second;
      Image<Tpx32f> dstOut(s.width, s.height, s.width * 4 + s.padBytes + 4);

      const Outcome generic = expectVariantsMatchGeneric([&] {
        Image<Tpx32f> a = firstIn, b = secondIn, d = dstOut;
        Outcome o;
        o.status = runForm(f, a, b, d, a.size());
        o.add(b.bytes()).add(d.bytes());
        return o;
      });

      // The generic result against the rule, and nothing outside the region.
      Image<Tpx32f> a = firstIn, b = secondIn, d = dstOut;
      TpxStatus status;
      {
        tpxtest::ScopedVariant v(0);
        status = runForm(f, a, b, d, a.size());
      }
      EXPECT_EQ(status, generic.status);
      Image<Tpx32f>& out = f.twoImage ? d : b;
      bool zero = false;
      for (int y = 0; y < s.height; ++y) {
        for (int x = 0; x < s.width; ++x) {
          const float want = f.rule(firstIn.get(x, y), secondIn.get(x, y), &zero);
          expectSameFloat(want, out.get(x, y), f.name);
        }
      }
      EXPECT_EQ(status, zero ? tpxStsDivByZero : tpxStsNoErr);
      EXPECT_TRUE(out.guardsIntact());
      EXPECT_EQ(a.bytes(), firstIn.bytes());
      if (f.twoImage) {
        EXPECT_EQ(b.bytes(), secondIn.bytes());
      }
      if (!f.twoImage) {
        EXPECT_TRUE(d.guardsIntact());
      }
    }
  }
}

TEST(Arith32f, SubtractsAndDividesByTheFirstOperand) {
  forEachVariant([](int) {
    const Tpx32f one = 1, five = 5, two = 2;
    Tpx32f out = 0;
    EXPECT_EQ(tpxiSub_32f_C1R(&one, 4, &five, 4, &out, 4, {1, 1}), tpxStsNoErr);
    EXPECT_EQ(out, 4.0f);
    EXPECT_EQ(tpxiDiv_32f_C1R(&two, 4, &five, 4, &out, 4, {1, 1}), tpxStsNoErr);
    EXPECT_EQ(out, 2.5f);
    Tpx32f sd = 5;
    EXPECT_EQ(tpxiDiv_32f_C1IR(&two, 4, &sd, 4, {1, 1}), tpxStsNoErr);
    EXPECT_EQ(sd, 2.5f);
  });
}

TEST(Arith32f, DivisionByZeroOrNanTable) {
  struct Case {
    uint32_t divisor, dividend, result;
  };
  const uint32_t k3 = 0x40400000u, kMinus3 = 0xc0400000u;
  const Case kCases[] = {
      {0x00000000u, k3, arithtest::kPosInf},
      {0x00000000u, kMinus3, arithtest::kNegInf},
      {0x00000000u, 0x00000000u, arithtest::kNegQNan},
      {0x00000000u, 0x80000000u, arithtest::kNegQNan},
      {0x80000000u, k3, arithtest::kPosInf},
      {0x80000000u, kMinus3, arithtest::kNegInf},
      {0x80000000u, 0x00000000u, arithtest::kNegQNan},
      {arithtest::kPosQNan, 0x3f800000u, arithtest::kPosInf},
      {0xffc00001u, 0x3f800000u, arithtest::kPosInf},
      {0x7f800001u, kMinus3, arithtest::kNegInf},
      {0x00000000u, arithtest::kPosQNan, arithtest::kNegInf},
      {0x00000000u, 0xffc00000u, arithtest::kNegInf},
      {0x00000000u, arithtest::kPosInf, arithtest::kPosInf},
      {0x00000000u, arithtest::kNegInf, arithtest::kNegInf},
      {arithtest::kPosQNan, arithtest::kPosQNan, arithtest::kNegInf},
  };
  // Each case sits at every position of a 9-wide row (vector lanes and
  // tail), the other divisors being ordinary; the warning comes back only
  // with the case present.
  forEachVariant([&](int) {
    for (const Case& c : kCases) {
      for (int pos = 0; pos < 9; ++pos) {
        SCOPED_TRACE(testing::Message()
                     << std::hex << c.divisor << " / " << c.dividend << " at " << pos);
        std::vector<float> d(9, 2.0f), n(9, 1.0f), out(9, -7.0f);
        d[pos] = fromBits(c.divisor);
        n[pos] = fromBits(c.dividend);
        EXPECT_EQ(tpxiDiv_32f_C1R(d.data(), 36, n.data(), 36, out.data(), 36, {9, 1}),
                  tpxStsDivByZero);
        EXPECT_EQ(bitsOf(out[pos]), c.result);
        for (int x = 0; x < 9; ++x) {
          if (x != pos) {
            EXPECT_EQ(out[x], 0.5f) << x;
          }
        }
      }
    }
    // Infinite divisors and dividends that are not zero divisors.
    const float inf = std::numeric_limits<float>::infinity();
    std::vector<float> d = {inf, -inf, 3.0f, 1e-45f}, n = {1.0f, 1.0f, inf, 1.0f}, out(4);
    EXPECT_EQ(tpxiDiv_32f_C1R(d.data(), 16, n.data(), 16, out.data(), 16, {4, 1}), tpxStsNoErr);
    EXPECT_EQ(bitsOf(out[0]), 0x00000000u);
    EXPECT_EQ(bitsOf(out[1]), 0x80000000u);
    EXPECT_EQ(out[2], inf);
    EXPECT_EQ(out[3], inf);
  });
}

TEST(Arith32f, UncheckedStepsAreHonouredAsGiven) {
  // Add, Sub and Mul take any step: a zero step reads (and writes) one row
  // again and again, a negative one walks upwards.
  forEachVariant([](int) {
    for (int step : {-(11 * 4 + 6), tpxtest::Image<Tpx32f>::kZeroStep}) {
      Image<Tpx32f> a(11, 3, step), b(11, 3, step), d(11, 3, step);
      a.fill([](int x, int y) { return float(x - 3 * y); });
      b.fill([](int x, int y) { return 0.5f * float(x * y); });
      const Image<Tpx32f> a0 = a, b0 = b;
      EXPECT_EQ(tpxiSub_32f_C1R(a.ptr(), a.step(), b.ptr(), b.step(), d.ptr(), d.step(), d.size()),
                tpxStsNoErr);
      for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 11; ++x) {
          EXPECT_EQ(d.get(x, y), b0.get(x, y) - a0.get(x, y));
        }
      }
      EXPECT_TRUE(d.guardsIntact());
    }
  });
}

// ---------------------------------------------------------------------------
// Constant forms

TEST(Arith32f, ConstantFormsOnAwkwardShapes) {
  struct Form {
    const char* name;
    float value;
    std::function<TpxStatus(const Image<Tpx32f>&, Image<Tpx32f>&, Image<Tpx32f>&, float)> run;
    std::function<float(float x, float value)> rule;
  };
  const Form kForms[] = {
      {"AddC", 0.375f,
       [](const Image<Tpx32f>&, Image<Tpx32f>& sd, Image<Tpx32f>&, float v) {
         return tpxiAddC_32f_C1IR(v, sd.ptr(), sd.step(), sd.size());
       },
       [](float x, float v) { return float(double(x) + double(v)); }},
      {"MulC", -1.7f,
       [](const Image<Tpx32f>& s, Image<Tpx32f>&, Image<Tpx32f>& d, float v) {
         return tpxiMulC_32f_C1R(s.ptr(), s.step(), v, d.ptr(), d.step(), d.size());
       },
       [](float x, float v) { return float(double(x) * double(v)); }},
      {"MulCI", 3e30f,
       [](const Image<Tpx32f>&, Image<Tpx32f>& sd, Image<Tpx32f>&, float v) {
         return tpxiMulC_32f_C1IR(v, sd.ptr(), sd.step(), sd.size());
       },
       [](float x, float v) { return float(double(x) * double(v)); }},
      // Division by a constant multiplies by the reciprocal rounded to single.
      {"DivC", 3.0f,
       [](const Image<Tpx32f>&, Image<Tpx32f>& sd, Image<Tpx32f>&, float v) {
         return tpxiDivC_32f_C1IR(v, sd.ptr(), sd.step(), sd.size());
       },
       [](float x, float v) { return float(double(x) * double(float(1.0 / double(v)))); }},
      {"DivC tiny", 1e-40f,
       [](const Image<Tpx32f>&, Image<Tpx32f>& sd, Image<Tpx32f>&, float v) {
         return tpxiDivC_32f_C1IR(v, sd.ptr(), sd.step(), sd.size());
       },
       [](float x, float v) { return float(double(x) * double(float(1.0 / double(v)))); }},
  };
  uint32_t seed = 77;
  for (const Form& f : kForms) {
    for (const tpxtest::Shape& s : tpxtest::awkwardShapes()) {
      SCOPED_TRACE(testing::Message() << f.name << " " << s.width << "x" << s.height);
      Image<Tpx32f> src(s.width, s.height, s.width * 4 + s.padBytes);
      arithtest::fillMixed(src, ++seed, -1e3f, 1e3f);
      const Image<Tpx32f> src0 = src;
      const Image<Tpx32f> dst0(s.width, s.height, s.width * 4 + 2 * s.padBytes + 1);
      // The generic outcome comes back from the comparison; the rule is
      // checked on a generic run.
      expectVariantsMatchGeneric([&] {
        Image<Tpx32f> a = src0, d = dst0;
        Outcome o;
        o.status = f.run(a, a, d, f.value);
        o.add(a.bytes()).add(d.bytes());
        return o;
      });
      tpxtest::ScopedVariant v(0);
      Image<Tpx32f> a = src0, d = dst0;
      EXPECT_EQ(f.run(a, a, d, f.value), tpxStsNoErr);
      const bool inPlace = d.bytes() == dst0.bytes();
      const Image<Tpx32f>& out = inPlace ? a : d;
      for (int y = 0; y < s.height; ++y) {
        for (int x = 0; x < s.width; ++x) {
          expectSameFloat(f.rule(src0.get(x, y), f.value), out.get(x, y), f.name);
        }
      }
      EXPECT_TRUE(a.guardsIntact());
      EXPECT_TRUE(d.guardsIntact());
    }
  }
}

TEST(Arith32f, DivCIsNotAQuotient) {
  // With the divisor 10 the reciprocal product differs from the true quotient
  // for some pixels: the rule above is the one that is followed.
  forEachVariant([](int) {
    std::vector<float> px(1000);
    for (int i = 0; i < 1000; ++i) px[i] = float(i) * 1.25f + 0.03125f;
    const std::vector<float> in = px;
    ASSERT_EQ(tpxiDivC_32f_C1IR(10.0f, px.data(), 4000, {1000, 1}), tpxStsNoErr);
    const float r = 0.1f;
    int differ = 0;
    for (int i = 0; i < 1000; ++i) {
      EXPECT_EQ(px[i], float(double(in[i]) * double(r))) << i;
      differ += px[i] != float(double(in[i]) / 10.0);
    }
    EXPECT_GT(differ, 0);
  });
}

TEST(Arith32f, TwoNansGiveTheFirstOperandsNanQuieted) {
  // The processor would return whichever NaN it was handed first; Add and Mul
  // fix it to the first operand, in every lane and in the tail.
  const uint32_t kFirst = 0x7fc12345u, kSecond = 0xffa00001u, kFirstSignalling = 0xff800123u;
  const uint32_t kFirstQuieted = 0xffc00123u;
  forEachVariant([&](int) {
    for (uint32_t first : {kFirst, kFirstSignalling}) {
      const uint32_t want = first == kFirst ? kFirst : kFirstQuieted;
      std::vector<uint32_t> a(9, first), b(9, kSecond), d(9, 0);
      for (Binary fn : {tpxiAdd_32f_C1R, tpxiMul_32f_C1R}) {
        ASSERT_EQ(fn(reinterpret_cast<const float*>(a.data()), 36,
                     reinterpret_cast<const float*>(b.data()), 36,
                     reinterpret_cast<float*>(d.data()), 36, {9, 1}),
                  tpxStsNoErr);
        EXPECT_EQ(d, std::vector<uint32_t>(9, want));
      }
      for (InPlace fn : {tpxiAdd_32f_C1IR, tpxiMul_32f_C1IR}) {
        std::vector<uint32_t> sd(9, first);
        ASSERT_EQ(fn(reinterpret_cast<const float*>(b.data()), 36,
                     reinterpret_cast<float*>(sd.data()), 36, {9, 1}),
                  tpxStsNoErr);
        EXPECT_EQ(sd, std::vector<uint32_t>(9, want));
      }
      std::vector<uint32_t> sd(9, first);
      float value;
      std::memcpy(&value, &kSecond, 4);
      ASSERT_EQ(tpxiAddC_32f_C1IR(value, reinterpret_cast<float*>(sd.data()), 36, {9, 1}),
                tpxStsNoErr);
      EXPECT_EQ(sd, std::vector<uint32_t>(9, want));
      sd.assign(9, first);
      ASSERT_EQ(tpxiMulC_32f_C1IR(value, reinterpret_cast<float*>(sd.data()), 36, {9, 1}),
                tpxStsNoErr);
      EXPECT_EQ(sd, std::vector<uint32_t>(9, want));
    }
  });
}

}  // namespace
