// Scaled integer arithmetic: the scale rule against an independent
// reference, every short-cut and its status, division ties and zero
// divisors, check order, step quirks, and agreement of all variants.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <random>

#include "tests/harness.h"

namespace {

using tpxtest::expectVariantsMatchGeneric;
using tpxtest::forEachVariant;
using tpxtest::Image;
using tpxtest::Outcome;

// ----- Independent references ------------------------------------------------------

// Round-half-even of the rational num / den (den > 0), exactly.
int64_t roundRational(int64_t num, int64_t den);

// R x 2^-sf rounded to nearest with ties to even, computed exactly as a
// rational, then saturated.
template <typename T>
int referenceScale(int64_t r, int sf) {
  const int lo = std::is_same_v<T, Tpx8u> ? 0 : -32768;
  const int hi = std::is_same_v<T, Tpx8u> ? 255 : 32767;
  // |R| < 2^31: beyond a shift of 40 the exact value is below 1/2 in size.
  const int64_t v = sf > 40   ? 0
                    : sf >= 0 ? roundRational(r, int64_t(1) << sf)
                              : r * (int64_t(1) << std::min(-sf, 31));
  return v < lo ? lo : v > hi ? hi : static_cast<int>(v);
}

// Round-half-even of the rational num / den (den > 0), exactly.
int64_t roundRational(int64_t num, int64_t den) {
  int64_t q = num / den, rem = num % den;
  if (rem < 0) {  // floor
    q -= 1;
    rem += den;
  }
  if (2 * rem > den || (2 * rem == den && (q & 1) != 0)) q += 1;
  return static_cast<int64_t>(q);
}

// n x 2^-sf / d, exactly rounded and saturated; zero divisors give the
// documented substitutes. Valid where the double quotient cannot misround
// (all 8u cases, 16s up to |sf| of about 20).
template <typename T>
int referenceDivide(int n, int d, int sf) {
  const int lo = std::is_same_v<T, Tpx8u> ? 0 : -32768;
  const int hi = std::is_same_v<T, Tpx8u> ? 255 : 32767;
  if (d == 0) return n > 0 ? hi : n < 0 ? lo : 0;
  int64_t num = n, den = d;
  if (den < 0) {
    num = -num;
    den = -den;
  }
  if (sf < 0) {
    num *= int64_t(1) << -sf;
  } else {
    den <<= sf;
  }
  const int64_t r = roundRational(num, den);
  return r < lo ? lo : r > hi ? hi : static_cast<int>(r);
}

// ----- The operations, described uniformly --------------------------------------

// Every export as a function of (x, y) images and a destination, where x is
// the first source (or the in-place operand) and y the second source (or a
// constant, taken from y's first pixel).
enum class Form { kTwo, kInPlace, kConstInPlace, kConstOut };

template <typename T>
struct OpCase {
  const char* name;
  Form form;
  std::function<TpxStatus(const T*, int, const T*, int, T*, int, TpxiSize, int)> call;
  // The exact result from the pixel values in documented order.
  std::function<int64_t(int x, int y)> exact;
  int zeroAbove, signBelow;  // short-cut bounds
};

template <typename T>
std::vector<OpCase<T>> opCases();

// The constant of the constant forms: the first pixel of b, which may sit
// at an odd address.
template <typename T>
T firstValue(const T* b) {
  T v;
  std::memcpy(&v, b, sizeof(T));
  return v;
}

// Adapters: (a, aStep, b, bStep, d, dStep) map onto each form's arguments.
// Two images: a = src1, b = src2. In place: a = src, d = srcDst (prefilled
// with b by the caller). Constant: b's first pixel is the value.
template <>
std::vector<OpCase<Tpx8u>> opCases<Tpx8u>() {
  using T = Tpx8u;
  return {
      {"Add_8u_C1RSfs", Form::kTwo, tpxiAdd_8u_C1RSfs, [](int a, int b) { return a + b; }, 9, -7},
      {"Sub_8u_C1RSfs", Form::kTwo, tpxiSub_8u_C1RSfs,
       [](int a, int b) { return std::max(b - a, 0); }, 8, -7},
      {"Add_8u_C1IRSfs", Form::kInPlace,
       [](const T* a, int as, const T*, int, T* d, int ds, TpxiSize r, int sf) {
         return tpxiAdd_8u_C1IRSfs(a, as, d, ds, r, sf);
       },
       [](int a, int b) { return a + b; }, 9, -7},
      {"Mul_8u_C1IRSfs", Form::kInPlace,
       [](const T* a, int as, const T*, int, T* d, int ds, TpxiSize r, int sf) {
         return tpxiMul_8u_C1IRSfs(a, as, d, ds, r, sf);
       },
       [](int a, int b) { return a * b; }, 16, -7},
      {"AddC_8u_C1IRSfs", Form::kConstInPlace,
       [](const T*, int, const T* b, int, T* d, int ds, TpxiSize r, int sf) {
         return tpxiAddC_8u_C1IRSfs(firstValue(b), d, ds, r, sf);
       },
       [](int a, int b) { return a + b; }, 9, -7},
      {"MulC_8u_C1RSfs", Form::kConstOut,
       [](const T* a, int as, const T* b, int, T* d, int ds, TpxiSize r, int sf) {
         return tpxiMulC_8u_C1RSfs(a, as, firstValue(b), d, ds, r, sf);
       },
       [](int a, int b) { return a * b; }, 16, -7},
      {"MulC_8u_C1IRSfs", Form::kConstInPlace,
       [](const T*, int, const T* b, int, T* d, int ds, TpxiSize r, int sf) {
         return tpxiMulC_8u_C1IRSfs(firstValue(b), d, ds, r, sf);
       },
       [](int a, int b) { return a * b; }, 16, -7},
  };
}

template <>
std::vector<OpCase<Tpx16s>> opCases<Tpx16s>() {
  using T = Tpx16s;
  return {
      {"Add_16s_C1RSfs", Form::kTwo, tpxiAdd_16s_C1RSfs, [](int a, int b) { return a + b; }, 16,
       -15},
      {"Sub_16s_C1RSfs", Form::kTwo, tpxiSub_16s_C1RSfs, [](int a, int b) { return b - a; }, 16,
       -15},
      {"Add_16s_C1IRSfs", Form::kInPlace,
       [](const T* a, int as, const T*, int, T* d, int ds, TpxiSize r, int sf) {
         return tpxiAdd_16s_C1IRSfs(a, as, d, ds, r, sf);
       },
       [](int a, int b) { return a + b; }, 16, -15},
      {"Mul_16s_C1IRSfs", Form::kInPlace,
       [](const T* a, int as, const T*, int, T* d, int ds, TpxiSize r, int sf) {
         return tpxiMul_16s_C1IRSfs(a, as, d, ds, r, sf);
       },
       [](int a, int b) { return int64_t(a) * b; }, 30, -14},
      {"AddC_16s_C1IRSfs", Form::kConstInPlace,
       [](const T*, int, const T* b, int, T* d, int ds, TpxiSize r, int sf) {
         return tpxiAddC_16s_C1IRSfs(firstValue(b), d, ds, r, sf);
       },
       [](int a, int b) { return a + b; }, 16, -15},
      {"SubC_16s_C1IRSfs", Form::kConstInPlace,
       [](const T*, int, const T* b, int, T* d, int ds, TpxiSize r, int sf) {
         return tpxiSubC_16s_C1IRSfs(firstValue(b), d, ds, r, sf);
       },
       [](int a, int b) { return a - b; }, 16, -15},
      {"MulC_16s_C1RSfs", Form::kConstOut,
       [](const T* a, int as, const T* b, int, T* d, int ds, TpxiSize r, int sf) {
         return tpxiMulC_16s_C1RSfs(a, as, firstValue(b), d, ds, r, sf);
       },
       [](int a, int b) { return int64_t(a) * b; }, 30, -14},
      {"MulC_16s_C1IRSfs", Form::kConstInPlace,
       [](const T*, int, const T* b, int, T* d, int ds, TpxiSize r, int sf) {
         return tpxiMulC_16s_C1IRSfs(firstValue(b), d, ds, r, sf);
       },
       [](int a, int b) { return int64_t(a) * b; }, 30, -14},
  };
}

// Runs one case on operand images a, b (b only its first pixel for the
// constant forms) and returns the destination image. For in-place forms the
// destination starts as a copy of b (two-image forms: the first operand of
// exact() is a, the second b; in place the documented order is
// srcDst op src, so exact(a, b) receives (srcDst, src)).
template <typename T>
struct OpRun {
  TpxStatus status;
  Image<T> dst;
};

template <typename T>
OpRun<T> runCase(const OpCase<T>& op, const Image<T>& a, const Image<T>& b, int sf, int dstPad) {
  const int w = a.width(), h = a.height();
  OpRun<T> run{0, Image<T>(w, h, w * int(sizeof(T)) + dstPad)};
  Image<T>& d = run.dst;
  if (op.form == Form::kInPlace) {
    d.fill([&](int x, int y) { return b.get(x, y); });
  } else if (op.form == Form::kConstInPlace) {
    d.fill([&](int x, int y) { return a.get(x, y); });
  }
  run.status = op.call(a.ptr(), a.step(), b.ptr(), b.step(), d.ptr(), d.step(), a.size(), sf);
  return run;
}

// The expected value of pixel (x, y) for a case.
template <typename T>
int expectedPixel(const OpCase<T>& op, const Image<T>& a, const Image<T>& b, int x, int y, int sf) {
  switch (op.form) {
    case Form::kTwo:
      return referenceScale<T>(op.exact(a.get(x, y), b.get(x, y)), sf);
    case Form::kInPlace:  // srcDst (= b) op src (= a)
      return referenceScale<T>(op.exact(b.get(x, y), a.get(x, y)), sf);
    default:  // pixel (= a) op value
      return referenceScale<T>(op.exact(a.get(x, y), b.get(0, 0)), sf);
  }
}

// ----- The rule, densely ------------------------------------------------------------

// Sampled 16s pairs: extremes, small values around ties, random.
std::vector<int> samples16s() {
  std::vector<int> v = {-32768, -32767, -32766, -16385, -16384, -257, -256, -255,  -3,    -2,
                        -1,     0,      1,      2,      3,      255,  256,  16384, 32766, 32767};
  std::mt19937 rng(11);
  for (int i = 0; i < 44; ++i) v.push_back(int(rng() % 65536) - 32768);
  return v;
}

// Every pair of the given values (a = column, b = row) through every case, for
// every scale factor from below the saturating bound to above the zeroing
// one; the constant forms take each of the given constants in turn.
template <typename T>
void checkRuleOnPairs(const std::vector<int>& s, const std::vector<int>& constants, int dstPad) {
  const int n = int(s.size());
  Image<T> a(n, n), b(n, n);
  a.fill([&](int x, int) { return T(s[size_t(x)]); });
  b.fill([&](int, int y) { return T(s[size_t(y)]); });
  for (const OpCase<T>& op : opCases<T>()) {
    SCOPED_TRACE(op.name);
    const bool constant = op.form == Form::kConstInPlace || op.form == Form::kConstOut;
    for (int sf = op.signBelow - 3; sf <= op.zeroAbove + 3; ++sf) {
      for (int value : constant ? constants : std::vector<int>{INT32_MIN}) {
        Image<T> bb(n, n);
        bb.fill([&](int x, int y) { return value == INT32_MIN ? b.get(x, y) : T(value); });
        std::vector<int> expected;
        for (int y = 0; y < n; ++y)
          for (int x = 0; x < n; ++x) expected.push_back(expectedPixel(op, a, bb, x, y, sf));
        forEachVariant([&](int) {
          const OpRun<T> run = runCase(op, a, bb, sf, dstPad);
          ASSERT_EQ(run.status, tpxStsNoErr) << "sf " << sf;
          int bad = 0;
          for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x) {
              const int want = expected[size_t(y * n + x)];
              if (run.dst.get(x, y) != want && bad++ < 3) {
                ADD_FAILURE() << "sf " << sf << " a " << int(a.get(x, y)) << " b "
                              << int(bb.get(x, y)) << " gave " << int(run.dst.get(x, y)) << " want "
                              << want;
              }
            }
          EXPECT_TRUE(run.dst.guardsIntact());
        });
      }
    }
  }
}

TEST(ScaledRule, All8uPairsForEveryScaleFactor) {
  std::vector<int> all(256);
  for (int v = 0; v < 256; ++v) all[size_t(v)] = v;
  checkRuleOnPairs<Tpx8u>(all, {0, 1, 2, 3, 100, 255}, 0);
}

TEST(ScaledRule, Sampled16sPairsForEveryScaleFactor) {
  checkRuleOnPairs<Tpx16s>(samples16s(), {0, 1, -1, 3, -32768, 32767, 12345}, 3);
}

// ----- Short-cuts and their statuses ---------------------------------------------------

TEST(ScaledShortCuts, ZeroFillGoesThroughSetAndItsStepCheck) {
  forEachVariant([&](int) {
    Image<Tpx8u> a(6, 3), b(6, 3);
    a.fillRandom(1, 0, 255);
    b.fillRandom(2, 0, 255);
    Image<Tpx8u> d(6, 1);
    // Step 0, scale factor 0: every row written over the first one.
    EXPECT_EQ(tpxiAdd_8u_C1RSfs(a.ptr(), a.step(), b.ptr(), b.step(), d.ptr(), 0, {6, 3}, 0),
              tpxStsNoErr);
    for (int x = 0; x < 6; ++x) EXPECT_EQ(d.get(x, 0), std::min(a.get(x, 2) + b.get(x, 2), 255));
    // Scale factor 10: the zero fill's Set refuses the step.
    EXPECT_EQ(tpxiAdd_8u_C1RSfs(a.ptr(), a.step(), b.ptr(), b.step(), d.ptr(), 0, {6, 3}, 10),
              tpxStsStepErr);
    Image<Tpx16s> s(6, 1);
    EXPECT_EQ(tpxiMul_16s_C1IRSfs(s.ptr(), 0, s.ptr(), -12, {6, 1}, 31), tpxStsStepErr);
    EXPECT_EQ(tpxiMul_16s_C1IRSfs(s.ptr(), 0, s.ptr(), -12, {6, 1}, 30), tpxStsNoErr);
    EXPECT_TRUE(d.guardsIntact() && s.guardsIntact());
  });
}

TEST(ScaledShortCuts, ConstantForms) {
  forEachVariant([&](int) {
    Image<Tpx8u> img(7, 3);
    img.fillRandom(5, 0, 3);  // some zeros
    img.set(0, 0, 0);
    img.set(1, 0, 1);
    const std::vector<uint8_t> before = img.bytes();
    std::vector<int> original;
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 7; ++x) original.push_back(img.get(x, y));
    // AddC 0 with scale factor 0: untouched, even with a step Set would refuse.
    EXPECT_EQ(tpxiAddC_8u_C1IRSfs(0, img.ptr(), 0, img.size(), 0), tpxStsNoErr);
    EXPECT_EQ(img.bytes(), before);
    // Far below the bound a nonzero constant fills with 255 through Set.
    EXPECT_EQ(tpxiAddC_8u_C1IRSfs(1, img.ptr(), 0, img.size(), -8), tpxStsStepErr);
    EXPECT_EQ(img.bytes(), before);
    // A zero constant keeps zeros and saturates the rest.
    EXPECT_EQ(tpxiAddC_8u_C1IRSfs(0, img.ptr(), img.step(), img.size(), -20), tpxStsNoErr);
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 7; ++x) EXPECT_EQ(img.get(x, y), original[size_t(y * 7 + x)] ? 255 : 0);
    EXPECT_EQ(img.get(0, 0), 0);
    EXPECT_EQ(img.get(1, 0), 255);

    // MulC by 0: zero fill through Set whatever the scale factor.
    Image<Tpx8u> src(5, 2), dst(5, 2);
    src.fillRandom(6, 1, 255);
    dst.fillRandom(7, 1, 255);
    EXPECT_EQ(tpxiMulC_8u_C1RSfs(src.ptr(), src.step(), 0, dst.ptr(), dst.step(), dst.size(), -20),
              tpxStsNoErr);
    for (int x = 0; x < 5; ++x) EXPECT_EQ(dst.get(x, 1), 0);
    EXPECT_EQ(tpxiMulC_8u_C1RSfs(src.ptr(), src.step(), 0, dst.ptr(), 0, dst.size(), 3),
              tpxStsStepErr);
    // MulC by 1 with scale factor 0: a copy (Copy examines no step), or
    // nothing at all in place.
    EXPECT_EQ(tpxiMulC_8u_C1RSfs(src.ptr(), src.step(), 1, dst.ptr(), dst.step(), dst.size(), 0),
              tpxStsNoErr);
    for (int x = 0; x < 5; ++x) EXPECT_EQ(dst.get(x, 1), src.get(x, 1));
    Image<Tpx16s> s16(4, 2);
    s16.fillRandom(8, -100, 100);
    const std::vector<uint8_t> s16before = s16.bytes();
    EXPECT_EQ(tpxiMulC_16s_C1IRSfs(1, s16.ptr(), -3, s16.size(), 0), tpxStsNoErr);
    EXPECT_EQ(tpxiSubC_16s_C1IRSfs(0, s16.ptr(), -3, s16.size(), 0), tpxStsNoErr);
    EXPECT_EQ(s16.bytes(), s16before);
    EXPECT_TRUE(img.guardsIntact() && dst.guardsIntact() && s16.guardsIntact());
  });
}

// ----- Division ------------------------------------------------------------------------

// Every pair of the given values (divisor = column, dividend = row; column 0
// divides by zero, so the warning must come after the whole image), through
// the two-image form at even scale factors and in place at odd ones.
template <typename T, class Div, class DivInPlace>
void checkDivisionOnPairs(const std::vector<int>& s, int sfLo, int sfHi, Div div,
                          DivInPlace divInPlace) {
  const int n = int(s.size());
  Image<T> divisor(n, n), dividend(n, n);
  divisor.fill([&](int x, int) { return T(s[size_t(x)]); });
  dividend.fill([&](int, int y) { return T(s[size_t(y)]); });
  for (int sf = sfLo; sf <= sfHi; ++sf) {
    forEachVariant([&](int) {
      Image<T> d(n, n, n * int(sizeof(T)) + 5);
      TpxStatus st;
      if (sf % 2 == 0) {
        st = div(divisor.ptr(), divisor.step(), dividend.ptr(), dividend.step(), d.ptr(), d.step(),
                 d.size(), sf);
      } else {
        d.fill([&](int x, int y) { return dividend.get(x, y); });
        st = divInPlace(divisor.ptr(), divisor.step(), d.ptr(), d.step(), d.size(), sf);
      }
      EXPECT_EQ(st, tpxStsDivByZero);
      int bad = 0;
      for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
          const int want = referenceDivide<T>(s[size_t(y)], s[size_t(x)], sf);
          if (d.get(x, y) != want && bad++ < 3) {
            ADD_FAILURE() << "sf " << sf << " " << s[size_t(y)] << "/" << s[size_t(x)] << " gave "
                          << int(d.get(x, y)) << " want " << want;
          }
        }
      EXPECT_TRUE(d.guardsIntact());
    });
  }
}

TEST(Divide, All8uPairsForEveryScaleFactor) {
  std::vector<int> all(256);
  for (int v = 0; v < 256; ++v) all[size_t(v)] = v;
  checkDivisionOnPairs<Tpx8u>(all, -18, 11, tpxiDiv_8u_C1RSfs, tpxiDiv_8u_C1IRSfs);
}

TEST(Divide, Sampled16sPairs) {
  checkDivisionOnPairs<Tpx16s>(samples16s(), -20, 20, tpxiDiv_16s_C1RSfs, tpxiDiv_16s_C1IRSfs);
}

// Far scale factors, where the double quotient's own rounding decides:
// checked against the documented double formula itself.
TEST(Divide, Extreme16sScaleFactorsFollowTheDoubleFormula) {
  auto documented = [](int n, int d, int sf) {
    double p = 1.0;
    for (int k = 0; k < std::abs(sf); ++k) p = sf < 0 ? std::min(p * 2.0, 0x1p1023) : p * 0.5;
    double q = (n * p) / d;
    if (sf <= 0 && q < -32768.0) return -32768;
    if (sf <= 0 && q > 32767.0) return 32767;
    const double t = (q + 32768.0) + 0.5;
    int r = static_cast<int>(t);
    if ((r & 1) && r == t) r -= 1;
    return r - 32768;
  };
  const std::vector<int> s = samples16s();
  forEachVariant([&](int) {
    for (int sf : {22, 23, 25, 31, 40, 1074, 1075, 2000, -31, -1023, -1024, -5000}) {
      for (int n : s)
        for (int d : {1, -1, 3, -7, 32767, -32768, 12345}) {
          Tpx16s dd = Tpx16s(d), nn = Tpx16s(n), out = 0;
          ASSERT_EQ(tpxiDiv_16s_C1RSfs(&dd, 2, &nn, 2, &out, 2, {1, 1}, sf), tpxStsNoErr);
          EXPECT_EQ(out, documented(n, d, sf)) << n << "/" << d << " sf " << sf;
        }
    }
  });
}

// ----- Check order ---------------------------------------------------------------------

// ----- Every variant identical to generic on awkward shapes ---------------------------

template <typename T>
void variantsOnShapes(const std::vector<int>& scaleFactors) {
  uint32_t seed = 100;
  for (const OpCase<T>& op : opCases<T>()) {
    SCOPED_TRACE(op.name);
    for (const tpxtest::Shape& shape : tpxtest::awkwardShapes()) {
      Image<T> a(shape.width, shape.height, shape.width * int(sizeof(T)) + shape.padBytes);
      Image<T> b(shape.width, shape.height, shape.width * int(sizeof(T)) + shape.padBytes + 2);
      a.fillRandom(seed++, std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
      b.fillRandom(seed++, std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
      for (int sf : scaleFactors) {
        expectVariantsMatchGeneric([&] {
          OpRun<T> run = runCase(op, a, b, sf, shape.padBytes == 0 ? 0 : 7);
          EXPECT_TRUE(run.dst.guardsIntact());
          Outcome o;
          o.status = run.status;
          return o.add(run.dst.bytes());
        });
      }
    }
  }
}

TEST(ScaledVariants, AgreeWithGenericOnAwkwardShapes) {
  variantsOnShapes<Tpx8u>({-9, -3, 0, 1, 2, 5, 9, 17});
  variantsOnShapes<Tpx16s>({-16, -14, -2, 0, 1, 3, 15, 29, 31});
}

TEST(ScaledVariants, DivisionAgreesWithGenericOnAwkwardShapes) {
  uint32_t seed = 500;
  for (const tpxtest::Shape& shape : tpxtest::awkwardShapes()) {
    Image<Tpx8u> a8(shape.width, shape.height, shape.width + shape.padBytes);
    Image<Tpx16s> a16(shape.width, shape.height, 2 * shape.width + shape.padBytes);
    a8.fillRandom(seed++, 0, 255);
    a16.fillRandom(seed++, -40, 40);  // many zero divisors and small quotients
    for (int sf : {-17, -3, 0, 2, 9}) {
      expectVariantsMatchGeneric([&] {
        Image<Tpx8u> d(shape.width, shape.height, shape.width + 1);
        d.fillRandom(seed, 0, 255);
        Outcome o;
        o.status = tpxiDiv_8u_C1IRSfs(a8.ptr(), a8.step(), d.ptr(), d.step(), d.size(), sf);
        return o.add(d.bytes());
      });
      expectVariantsMatchGeneric([&] {
        Image<Tpx16s> d(shape.width, shape.height, 2 * shape.width + 3);
        d.fillRandom(seed, -32768, 32767);
        Outcome o;
        o.status = tpxiDiv_16s_C1IRSfs(a16.ptr(), a16.step(), d.ptr(), d.step(), d.size(), sf);
        return o.add(d.bytes());
      });
    }
  }
}

}  // namespace
