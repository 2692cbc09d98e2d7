// Unary single-precision functions in place: Abs, Sqr, Sqrt, Exp, Ln.
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
using arithtest::kNegInf;
using arithtest::kNegQNan;
using arithtest::kPosInf;
using arithtest::kPosQNan;
using tpxtest::expectVariantsMatchGeneric;
using tpxtest::forEachVariant;
using tpxtest::Image;
using tpxtest::Outcome;

using Unary = TpxStatus (*)(Tpx32f*, int, TpxiSize);

// ---------------------------------------------------------------------------
// The rules, written from their descriptions.

float sqrtRule(float x, TpxStatus* status) {
  if (x > 0) return float(std::sqrt(double(x)));
  if (x == 0) return x;
  *status = tpxStsSqrtNegArg;
  return fromBits(kNegQNan);
}

// The fixed results of Exp on rows of four or more, by bit pattern; false for
// ordinary arguments.
bool expFixed(float x, float* out) {
  const uint32_t u = bitsOf(x);
  const uint32_t mag = u & 0x7fffffffu;
  const bool nan = mag > kPosInf;
  if (mag < 0x00800000u) {
    *out = 1.0f;
  } else if (!(u >> 31) && u >= 0x42b17218u) {
    *out = fromBits(nan ? kPosQNan : kPosInf);
  } else if ((u >> 31) && u >= 0xc2aeac50u) {
    *out = fromBits(nan ? kNegQNan : 0u);
  } else {
    return false;
  }
  return true;
}

float expShortRule(float x) {
  if (x > 88.72284f) return fromBits(kPosInf);
  return float(std::exp(double(x)));
}

// The logarithm of rows of four or more, from its description but by other
// means (frexp instead of bit fields): x = f 2^e, f in [0.5, 1), moved to
// [1, 2) when below the double whose high word is 0x3fe6a09e.
float lnPolynomial(float xf) {
  int e;
  double m = std::frexp(double(xf), &e);
  double k = e;
  if (m < 0.70710659027099609375) {
    m *= 2;
    k -= 1;
  }
  const double s = (m - 1) / (m + 1);
  const double z = s * s;
  const double p =
      2.000000000046727 +
      z * (0.666666635059382 + z * (0.4000059794795 + z * (0.28525381498 + z * 0.2376245609)));
  return float(k * 0.6931471805599453 + s * p);
}

// Special arguments of Ln; 0 for ordinary ones, else the note (or -1 for the
// positive NaN and +Inf, which carry none).
int lnSpecial(float x, float* out) {
  const uint32_t u = bitsOf(x);
  if (u >> 31) {
    *out = fromBits(kNegQNan);
    return tpxStsLnNegArg;
  }
  if (u == 0) {
    *out = fromBits(kNegInf);
    return tpxStsLnZeroArg;
  }
  if (u == kPosInf) {
    *out = fromBits(kPosInf);
    return -1;
  }
  if (u > kPosInf) {
    *out = fromBits(kPosQNan);
    return -1;
  }
  return 0;
}

// Expected image of one unary function: rows at origin + y * advance, each
// computed by the rule above. Returns the expected status.
struct UnaryForm {
  const char* name;
  Unary fn;
  bool roundsStep;  // advances by the step with its two low bits cleared
};

const UnaryForm kUnaryForms[] = {{"Abs", tpxiAbs_32f_C1IR, true},
                                 {"Sqr", tpxiSqr_32f_C1IR, true},
                                 {"Sqrt", tpxiSqrt_32f_C1IR, true},
                                 {"Exp", tpxiExp_32f_C1IR, false},
                                 {"Ln", tpxiLn_32f_C1IR, false}};

// Applies the rule to the raw bytes in place; returns the expected status.
// Results the rule leaves open (which NaN comes out of Sqr or the C library,
// the last bit of Exp) are checked against got here as well.
TpxStatus checkUnaryRule(const std::string& name, std::vector<uint8_t> buffer, size_t origin,
                         int width, int height, int step, const std::vector<uint8_t>& got) {
  const int advance = (name == "Abs" || name == "Sqr" || name == "Sqrt") ? (step & ~3) : step;
  TpxStatus status = tpxStsNoErr;
  for (int y = 0; y < height; ++y) {
    TpxStatus note = tpxStsNoErr;
    for (int x = 0; x < width; ++x) {
      const size_t at = origin + size_t(y) * advance + size_t(x) * 4;
      float v, g;
      std::memcpy(&v, &buffer[at], 4);
      std::memcpy(&g, &got[at], 4);
      float want = 0;
      bool loose = false;  // NaN-ness only, or one unit for Exp
      if (name == "Abs") {
        want = fromBits(bitsOf(v) & 0x7fffffffu);
      } else if (name == "Sqr") {
        want = float(double(v) * double(v));
        loose = std::isnan(want);
      } else if (name == "Sqrt") {
        want = sqrtRule(v, &status);
      } else if (name == "Exp") {
        if (width < 4) {
          want = expShortRule(v);
          loose = std::isnan(want);
        } else if (!expFixed(v, &want)) {
          want = float(std::exp(double(v)));
          EXPECT_LE(arithtest::ulpDistance(want, g), 1) << "exp " << v;
          want = g;
        }
      } else {
        const int kind = lnSpecial(v, &want);
        if (kind > 0 && note == tpxStsNoErr) note = kind;
        if (kind == 0) {
          want = width < 4 ? float(std::log(double(v))) : lnPolynomial(v);
        }
      }
      if (loose && std::isnan(g)) want = g;
      EXPECT_EQ(bitsOf(g), bitsOf(want))
          << name << " of " << v << " (0x" << std::hex << bitsOf(v) << ") at " << std::dec << x
          << "," << y << ": got " << g << ", want " << want;
      std::memcpy(&buffer[at], &want, 4);
    }
    if (status == tpxStsNoErr) status = note;
  }
  EXPECT_EQ(buffer, got) << name << ": bytes outside the rows written, or rows misplaced";
  return status;
}

TEST(Math32f, UnaryFunctionsOnAwkwardShapesFollowTheirRulesInEveryVariant) {
  uint32_t seed = 500;
  for (const UnaryForm& f : kUnaryForms) {
    for (const tpxtest::Shape& s : tpxtest::awkwardShapes()) {
      SCOPED_TRACE(testing::Message()
                   << f.name << " " << s.width << "x" << s.height << " pad " << s.padBytes);
      Image<Tpx32f> img(s.width, s.height, s.width * 4 + s.padBytes);
      if (f.name == std::string("Exp")) {
        arithtest::fillMixed(img, ++seed, -90.0f, 90.0f);
      } else {
        arithtest::fillMixed(img, ++seed, -3.0f, 1e4f);
      }
      const Image<Tpx32f> in = img;
      const Outcome generic = expectVariantsMatchGeneric([&] {
        Image<Tpx32f> work = in;
        Outcome o;
        o.status = f.fn(work.ptr(), work.step(), work.size());
        o.add(work.bytes());
        return o;
      });
      const size_t origin = size_t(reinterpret_cast<const uint8_t*>(in.ptr()) - in.bytes().data());
      const TpxStatus want =
          checkUnaryRule(f.name, in.bytes(), origin, s.width, s.height, in.step(), generic.bytes);
      EXPECT_EQ(generic.status, want);
    }
  }
}

TEST(Math32f, AbsSqrSqrtAdvanceByTheStepRoundedDown) {
  // Step 18 on two rows: Abs, Sqr and Sqrt take the second row 16 bytes after
  // the first, Exp and Ln 18 bytes after.
  const float kIn[8] = {-4.0f, -9.0f, -16.0f, -25.0f, -36.0f, -49.0f, -64.0f, -81.0f};
  forEachVariant([&](int) {
    for (Unary fn : {tpxiAbs_32f_C1IR, tpxiSqr_32f_C1IR, tpxiSqrt_32f_C1IR}) {
      uint8_t buf[32];
      std::memcpy(buf, kIn, 32);
      const TpxStatus st = fn(reinterpret_cast<Tpx32f*>(buf), 18, {2, 2});
      float r[8];
      std::memcpy(r, buf, 32);
      // Rows at bytes 0 and 16: elements 0, 1, 4 and 5; the others untouched.
      std::vector<float> want(kIn, kIn + 8);
      for (int i : {0, 1, 4, 5}) {
        want[i] = fn == tpxiAbs_32f_C1IR ? -kIn[i] : fn == tpxiSqr_32f_C1IR ? kIn[i] * kIn[i] : 0;
      }
      if (fn == tpxiSqrt_32f_C1IR) {
        EXPECT_EQ(st, tpxStsSqrtNegArg);
        for (int i : {0, 1, 4, 5}) {
          EXPECT_EQ(bitsOf(r[i]), kNegQNan) << i;
        }
        for (int i : {2, 3, 6, 7}) {
          EXPECT_EQ(r[i], kIn[i]) << i;
        }
      } else {
        EXPECT_EQ(st, tpxStsNoErr);
        EXPECT_EQ(std::vector<float>(r, r + 8), want);
      }
    }
    // Exp and Ln: the second row starts at byte 18, in the middle of
    // element 4; run on ones (Exp, short rows of 2: e) and check by bytes.
    for (Unary fn : {tpxiExp_32f_C1IR, tpxiLn_32f_C1IR}) {
      const bool isExp = fn == tpxiExp_32f_C1IR;
      uint8_t buf[40];
      const float v = isExp ? 0.0f : 1.0f;
      for (int i = 0; i < 10; ++i) std::memcpy(buf + 4 * i, &v, 4);
      const float w = isExp ? 2.0f : 8.0f;
      std::memcpy(buf + 18, &w, 4);
      std::memcpy(buf + 22, &w, 4);
      EXPECT_EQ(fn(reinterpret_cast<Tpx32f*>(buf), 18, {2, 2}), tpxStsNoErr);
      float first[2], second[2], untouched;
      std::memcpy(first, buf, 8);
      std::memcpy(second, buf + 18, 8);
      std::memcpy(&untouched, buf + 8, 4);
      EXPECT_EQ(first[0], isExp ? 1.0f : 0.0f);
      EXPECT_EQ(first[1], isExp ? 1.0f : 0.0f);
      EXPECT_EQ(untouched, v);
      for (float r : second) {
        EXPECT_EQ(r, isExp ? float(std::exp(2.0)) : float(std::log(8.0)));
      }
    }
  });
}

TEST(Math32f, SqrtSpecialValues) {
  struct Case {
    uint32_t in, out;
    bool warns;
  };
  const Case kCases[] = {
      {0x40800000u, 0x40000000u, false},  // 4 -> 2
      {0x80000000u, 0x80000000u, false},  // -0 stays -0
      {0x00000000u, 0x00000000u, false},
      {kPosInf, kPosInf, false},
      {0x00000001u, bitsOf(float(std::sqrt(double(fromBits(1u))))), false},
      {0xbf800000u, kNegQNan, true},  // -1
      {kNegInf, kNegQNan, true},
      {kPosQNan, kNegQNan, true},
      {0x7fa00000u, kNegQNan, true},
      {0x80000001u, kNegQNan, true},
  };
  forEachVariant([&](int) {
    for (const Case& c : kCases) {
      for (int pos : {0, 5, 9}) {  // a vector lane and the tail
        SCOPED_TRACE(testing::Message() << std::hex << c.in << " at " << std::dec << pos);
        std::vector<float> px(10, 2.25f);
        px[pos] = fromBits(c.in);
        // In the last of three rows, so the warning outlives clean rows.
        std::vector<float> img(30, 0.25f);
        std::copy(px.begin(), px.end(), img.begin() + 20);
        EXPECT_EQ(tpxiSqrt_32f_C1IR(img.data(), 40, {10, 3}),
                  c.warns ? tpxStsSqrtNegArg : tpxStsNoErr);
        EXPECT_EQ(bitsOf(img[20 + pos]), c.out);
        EXPECT_EQ(img[0], 0.5f);
        EXPECT_EQ(img[20 + (pos + 1) % 10], 1.5f);
      }
    }
  });
}

TEST(Math32f, ExpSpecialValuesLongAndShortRows) {
  struct Case {
    uint32_t in;
    uint32_t longRow;   // rows of four or more
    uint32_t shortRow;  // rows of fewer than four (0x7fc00000 | x: any NaN)
  };
  const float e = float(std::exp(1.0));
  const uint32_t kAnyNan = 0xffffffffu;
  const Case kCases[] = {
      {0x00000000u, 0x3f800000u, 0x3f800000u},  // 0 -> 1
      {0x80000000u, 0x3f800000u, 0x3f800000u},  // -0 -> 1
      {0x00000001u, 0x3f800000u, 0x3f800000u},  // subnormals -> 1
      {0x807fffffu, 0x3f800000u, 0x3f800000u},
      {0x3f800000u, bitsOf(e), bitsOf(e)},
      {bitsOf(89.0f), kPosInf, kPosInf},
      {0x42b17218u, kPosInf, bitsOf(float(std::exp(double(fromBits(0x42b17218u)))))},
      {bitsOf(-88.0f), 0u, bitsOf(float(std::exp(-88.0)))},  // short: a subnormal
      {0xc2aeac50u, 0u, bitsOf(float(std::exp(double(fromBits(0xc2aeac50u)))))},
      {kPosInf, kPosInf, kPosInf},
      {kNegInf, 0u, 0u},
      {0x7fc12345u, kPosQNan, kAnyNan},
      {0xffc00001u, kNegQNan, kAnyNan},
      {0x7f800001u, kPosQNan, kAnyNan},
  };
  // The short-row subnormal is what the rule says: e^-88 is below the
  // smallest normal.
  ASSERT_LT(std::exp(-88.0), double(std::numeric_limits<float>::min()));
  ASSERT_GT(std::exp(-88.0), 0.0);
  forEachVariant([&](int) {
    for (const Case& c : kCases) {
      for (int width : {1, 3, 4, 7}) {
        for (int pos = 0; pos < width; pos += (width > 3 ? 3 : 1)) {
          SCOPED_TRACE(testing::Message()
                       << std::hex << c.in << std::dec << " width " << width << " at " << pos);
          std::vector<float> px(width, 0.0f);
          px[pos] = fromBits(c.in);
          EXPECT_EQ(tpxiExp_32f_C1IR(px.data(), width * 4, {width, 1}), tpxStsNoErr);
          const uint32_t want = width >= 4 ? c.longRow : c.shortRow;
          if (want == kAnyNan) {
            EXPECT_TRUE(std::isnan(px[pos]));
          } else {
            EXPECT_EQ(bitsOf(px[pos]), want) << px[pos];
          }
        }
      }
    }
    // Just inside the bounds the results are ordinary and within one unit.
    for (uint32_t u : {0x42b17217u, 0xc2aeac4fu, 0x00800000u, 0x80800000u}) {
      std::vector<float> px(4, fromBits(u));
      EXPECT_EQ(tpxiExp_32f_C1IR(px.data(), 16, {4, 1}), tpxStsNoErr);
      const float want = float(std::exp(double(fromBits(u))));
      ASSERT_TRUE(std::isfinite(want) && want > 0);
      for (float r : px) {
        EXPECT_LE(arithtest::ulpDistance(r, want), 1) << std::hex << u;
      }
    }
  });
}

TEST(Math32f, ExpIsWithinOneUnitOfTheTrueValueOverADenseSweep) {
  // Every 509th bit pattern of the ordinary range, both signs (about 4.4
  // million values), against the exponential in long double.
  std::vector<float> args;
  for (uint32_t u = 0x00800000u; u < 0x42b17218u; u += 509) args.push_back(fromBits(u));
  for (uint32_t u = 0x80800000u; u < 0xc2aeac50u; u += 509) args.push_back(fromBits(u));
  // Dense near zero and around the ends, where the result's exponent
  // changes and the reduction is least forgiving.
  for (uint32_t u = 0x3e000000u; u < 0x3f400000u; u += 7) args.push_back(fromBits(u));
  for (uint32_t u = 0x42b00000u; u < 0x42b17218u; u += 3) args.push_back(fromBits(u));
  for (uint32_t u = 0xc2ad0000u; u < 0xc2aeac50u; u += 3) args.push_back(fromBits(u));
  while (args.size() % 1024) args.push_back(1.0f);
  const int rows = int(args.size() / 1024);
  for (int variant : {0, tpxtest::runnableVariants().back()}) {
    SCOPED_TRACE(tpxtest::variantCode(variant));
    tpxtest::ScopedVariant v(variant);
    std::vector<float> got = args;
    ASSERT_EQ(tpxiExp_32f_C1IR(got.data(), 4096, {1024, rows}), tpxStsNoErr);
    int64_t worst = 0;
    float worstArg = 0;
    for (size_t i = 0; i < args.size(); ++i) {
      const float want = float(std::exp(static_cast<long double>(args[i])));
      const int64_t d = arithtest::ulpDistance(got[i], want);
      if (d > worst) {
        worst = d;
        worstArg = args[i];
      }
    }
    EXPECT_LE(worst, 1) << "at " << worstArg;
  }
}

TEST(Math32f, LnSpecialValues) {
  struct Case {
    uint32_t in, out;
    TpxStatus note;
  };
  const Case kCases[] = {
      {0x3f800000u, 0x00000000u, tpxStsNoErr},  // ln 1 = 0
      {0x00000000u, kNegInf, tpxStsLnZeroArg}, {0x80000000u, kNegQNan, tpxStsLnNegArg},
      {0xbf800000u, kNegQNan, tpxStsLnNegArg}, {kNegInf, kNegQNan, tpxStsLnNegArg},
      {0xffc12345u, kNegQNan, tpxStsLnNegArg}, {0x7fc12345u, kPosQNan, tpxStsNoErr},
      {0x7f800001u, kPosQNan, tpxStsNoErr},    {kPosInf, kPosInf, tpxStsNoErr},
  };
  forEachVariant([&](int) {
    for (const Case& c : kCases) {
      for (int width : {1, 3, 4, 9}) {
        const int pos = width - 1;
        SCOPED_TRACE(testing::Message() << std::hex << c.in << std::dec << " width " << width);
        std::vector<float> px(width, 1.0f);
        px[pos] = fromBits(c.in);
        EXPECT_EQ(tpxiLn_32f_C1IR(px.data(), width * 4, {width, 1}), c.note);
        EXPECT_EQ(bitsOf(px[pos]), c.out);
      }
    }
    // Subnormal arguments are ordinary ones: ln of the smallest is -103.28.
    std::vector<float> px(4, fromBits(1u));
    EXPECT_EQ(tpxiLn_32f_C1IR(px.data(), 16, {4, 1}), tpxStsNoErr);
    EXPECT_EQ(px[0], lnPolynomial(fromBits(1u)));
    EXPECT_NEAR(px[0], -103.2789, 1e-3);
  });
}

TEST(Math32f, LnRowReportsItsFirstSpecialArgumentAndTheCallItsFirstReportingRow) {
  const float z = 0.0f, n = -1.0f, nz = -0.0f, o = 2.0f;
  struct Case {
    const char* what;
    std::vector<std::vector<float>> rows;
    TpxStatus want;
  };
  const Case kCases[] = {
      {"(0, -1)", {{z, n}}, tpxStsLnZeroArg},
      {"(-1, 0)", {{n, z}}, tpxStsLnNegArg},
      {"(0, -1) long", {{z, n, o, o}}, tpxStsLnZeroArg},
      {"(-1, 0) long", {{n, z, o, o, o}}, tpxStsLnNegArg},
      {"-0 is negative", {{nz, z, o, o}}, tpxStsLnNegArg},
      {"zero in the tail after a clean vector", {{o, o, o, o, o, z, n}}, tpxStsLnZeroArg},
      {"negative in a later lane, zero in the next group",
       {{o, o, n, o, z, o, o, o, o}},
       tpxStsLnNegArg},
      {"same group, zero lane 1, negative lane 3", {{o, z, o, n, o}}, tpxStsLnZeroArg},
      {"first reporting row decides", {{o, o, o, o}, {n, z, o, o}, {z, n, o, o}}, tpxStsLnNegArg},
      {"first reporting row decides, short", {{o, o}, {z, n}, {n, z}}, tpxStsLnZeroArg},
      {"a late row still reports",
       {{o, o, o, o, o}, {o, o, o, o, o}, {o, o, o, o, z}},
       tpxStsLnZeroArg},
  };
  forEachVariant([&](int) {
    for (const Case& c : kCases) {
      SCOPED_TRACE(c.what);
      const int width = int(c.rows[0].size()), height = int(c.rows.size());
      std::vector<float> img;
      for (const auto& r : c.rows) img.insert(img.end(), r.begin(), r.end());
      EXPECT_EQ(tpxiLn_32f_C1IR(img.data(), width * 4, {width, height}), c.want);
      // Every argument got its value, whatever the status.
      for (size_t i = 0; i < img.size(); ++i) {
        const float in = c.rows[i / width][i % width];
        const uint32_t want = bitsOf(in) == 0u   ? kNegInf
                              : bitsOf(in) >> 31 ? kNegQNan
                              : width < 4        ? bitsOf(float(std::log(double(in))))
                                                 : bitsOf(lnPolynomial(in));
        EXPECT_EQ(bitsOf(img[i]), want) << i;
      }
    }
  });
}

TEST(Math32f, LnPolynomialIsWithinOneUnitOfTheTrueValue) {
  // The polynomial method against the logarithm in long double, every
  // 997th positive finite pattern; rows long enough to take it.
  std::vector<float> args;
  for (uint32_t u = 1; u < kPosInf; u += 997) args.push_back(fromBits(u));
  while (args.size() % 1024) args.push_back(1.0f);
  const int rows = int(args.size() / 1024);
  tpxtest::ScopedVariant v(tpxtest::runnableVariants().back());
  std::vector<float> got = args;
  ASSERT_EQ(tpxiLn_32f_C1IR(got.data(), 4096, {1024, rows}), tpxStsNoErr);
  int64_t worst = 0;
  for (size_t i = 0; i < args.size(); ++i) {
    const float want = float(std::log(static_cast<long double>(args[i])));
    worst = std::max(worst, arithtest::ulpDistance(got[i], want));
  }
  EXPECT_LE(worst, 1);
}

}  // namespace
