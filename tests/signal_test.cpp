// Signal vector operations: scaling, shifts, sampling with phase, the sort's
// documented order, polar conversion accuracy, checks, and agreement of all
// variants.
#include <gtest/gtest.h>

#include <algorithm>
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
using tpxtest::Outcome;

// sum x 2^-f rounded to nearest with ties to even, saturated: computed as an
// exact rational (floor division and the remainder).
int referenceScaled(int64_t s, int f) {
  int64_t v;
  if (f > 40) {
    v = 0;
  } else if (f >= 0) {
    const int64_t den = int64_t(1) << f;
    int64_t q = s / den, rem = s % den;
    if (rem < 0) {
      q -= 1;
      rem += den;
    }
    if (2 * rem > den || (2 * rem == den && (q & 1))) q += 1;
    v = q;
  } else {
    v = s * (int64_t(1) << std::min(-f, 31));
  }
  return int(std::clamp<int64_t>(v, -32768, 32767));
}

std::vector<Tpx16s> samples16s() {
  std::vector<Tpx16s> v = {-32768, -32767, -16384, -3, -2, -1, 0, 1, 2, 3, 16384, 32766, 32767};
  std::mt19937 rng(3);
  for (int i = 0; i < 51; ++i) v.push_back(Tpx16s(rng()));
  return v;
}

// ----- 16-bit add and subtract ---------------------------------------------------------

// Every pair of samples through the scaled forms at every factor, and through
// the unscaled forms (the rule at factor 0); subtraction is second minus first.
TEST(SignalAddSub, AgainstReferenceForEveryFactor) {
  const std::vector<Tpx16s> s = samples16s();
  std::vector<Tpx16s> a, b;  // all pairs
  for (Tpx16s x : s)
    for (Tpx16s y : s) {
      a.push_back(x);
      b.push_back(y);
    }
  const int len = int(a.size());
  auto expectAll = [&](const char* what, const std::vector<Tpx16s>& got, int f, int sign) {
    int bad = 0;
    for (int i = 0; i < len && bad < 3; ++i) {
      const int want = referenceScaled(int64_t(b[size_t(i)]) + sign * a[size_t(i)], f);
      if (got[size_t(i)] != want && ++bad) {
        ADD_FAILURE() << what << " f " << f << " srcDst " << b[size_t(i)] << " src " << a[size_t(i)]
                      << ": " << got[size_t(i)] << " want " << want;
      }
    }
  };
  forEachVariant([&](int) {
    for (int f = -18; f <= 19; ++f) {
      std::vector<Tpx16s> add = b, sub = b;
      ASSERT_EQ(tpxsAdd_16s_ISfs(a.data(), add.data(), len, f), tpxStsNoErr);
      ASSERT_EQ(tpxsSub_16s_ISfs(a.data(), sub.data(), len, f), tpxStsNoErr);
      expectAll("Add_16s_ISfs", add, f, 1);
      expectAll("Sub_16s_ISfs", sub, f, -1);
    }
    std::vector<Tpx16s> add(a.size()), sub(a.size()), addI = b, subI = b;
    ASSERT_EQ(tpxsAdd_16s(a.data(), b.data(), add.data(), len), tpxStsNoErr);
    ASSERT_EQ(tpxsSub_16s(a.data(), b.data(), sub.data(), len), tpxStsNoErr);
    ASSERT_EQ(tpxsAdd_16s_I(a.data(), addI.data(), len), tpxStsNoErr);
    ASSERT_EQ(tpxsSub_16s_I(a.data(), subI.data(), len), tpxStsNoErr);
    expectAll("Add_16s", add, 0, 1);
    expectAll("Sub_16s", sub, 0, -1);
    expectAll("Add_16s_I", addI, 0, 1);
    expectAll("Sub_16s_I", subI, 0, -1);
  });
}

// ----- Float additions -------------------------------------------------------------------

TEST(SignalFloat, AddsAndTheZeroConstantWritesNothing) {
  const std::vector<float> src = {1.5f, -2.0f, 1e30f, -0.0f, 3.25f, 7.0f, -1e-40f, 0.1f, 9.0f};
  forEachVariant([&](int) {
    std::vector<float> sd = {0.25f, 2.0f, 1e30f, 0.0f, -3.25f, 1.0f, 1e-40f, 0.2f, -9.0f};
    const std::vector<float> before = sd;
    ASSERT_EQ(tpxsAdd_32f_I(src.data(), sd.data(), int(sd.size())), tpxStsNoErr);
    for (size_t i = 0; i < sd.size(); ++i)
      EXPECT_EQ(bitsOf(sd[i]), bitsOf(before[i] + src[i])) << i;
    std::vector<float> nan = {fromBits(0x7fc12345u), fromBits(0xffc00001u), -0.0f, 1.0f, 2.0f};
    const std::vector<float> nanBefore = nan;
    for (float zero : {0.0f, -0.0f}) {
      ASSERT_EQ(tpxsAddC_32f_I(zero, nan.data(), int(nan.size())), tpxStsNoErr);
      for (size_t i = 0; i < nan.size(); ++i) EXPECT_EQ(bitsOf(nan[i]), bitsOf(nanBefore[i]));
    }
    ASSERT_EQ(tpxsAddC_32f_I(0.5f, nan.data(), int(nan.size())), tpxStsNoErr);
    EXPECT_TRUE(std::isnan(nan[0]));
    EXPECT_EQ(nan[2], 0.5f);
    EXPECT_EQ(nan[4], 2.5f);
  });
}

// ----- Right shift ------------------------------------------------------------------------

TEST(SignalShift, EveryShiftCount) {
  const std::vector<Tpx16s> s = samples16s();
  forEachVariant([&](int) {
    for (int val = 0; val <= 20; ++val) {
      std::vector<Tpx16s> out(s.size()), inPlace = s;
      ASSERT_EQ(tpxsRShiftC_16s(s.data(), val, out.data(), int(s.size())), tpxStsNoErr);
      ASSERT_EQ(tpxsRShiftC_16s_I(val, inPlace.data(), int(s.size())), tpxStsNoErr);
      for (size_t i = 0; i < s.size(); ++i) {
        // Arithmetic shift = floor division by 2^val; beyond 15 the sign fill.
        const int want = int(std::floor(double(s[i]) / std::ldexp(1.0, std::min(val, 16))));
        EXPECT_EQ(out[i], want) << s[i] << " >> " << val;
        EXPECT_EQ(inPlace[i], want) << s[i] << " >> " << val;
      }
    }
  });
}

// ----- Sampling ------------------------------------------------------------------------------

TEST(SignalSampling, DownSamplingAndItsPhase) {
  std::vector<Tpx16s> src(10);
  for (int i = 0; i < 10; ++i) src[size_t(i)] = Tpx16s(100 + i);
  forEachVariant([&](int) {
    std::vector<Tpx16s> dst(10, -1);
    int dstLen = -1, phase = 2;
    ASSERT_EQ(tpxsSampleDown_16s(src.data(), 10, dst.data(), &dstLen, 3, &phase), tpxStsNoErr);
    EXPECT_EQ(dstLen, 3);
    EXPECT_EQ(phase, 1);
    EXPECT_EQ(dst[0], 102);
    EXPECT_EQ(dst[1], 105);
    EXPECT_EQ(dst[2], 108);
    EXPECT_EQ(dst[3], -1);
    // Factor 1 copies.
    phase = 0;
    ASSERT_EQ(tpxsSampleDown_16s(src.data(), 10, dst.data(), &dstLen, 1, &phase), tpxStsNoErr);
    EXPECT_EQ(dstLen, 10);
    EXPECT_EQ(dst, src);
  });
}

TEST(SignalSampling, PhaseContinuesAcrossBlocks) {
  std::vector<Tpx16s> signal(1000);
  for (size_t i = 0; i < signal.size(); ++i) signal[i] = Tpx16s(i * 7);
  const int kBlocks[] = {1, 2, 3, 5, 7, 11, 13, 100, 258, 600};
  forEachVariant([&](int) {
    for (int factor : {2, 3, 5, 7, 16}) {
      for (int start = 0; start < factor; ++start) {
        // Blocks of assorted lengths give the same samples as the whole signal.
        std::vector<Tpx16s> got;
        int phase = start;
        size_t at = 0;
        for (int k = 0; at < signal.size(); ++k) {
          const int n = int(std::min<size_t>(size_t(kBlocks[k % 10]), signal.size() - at));
          std::vector<Tpx16s> out(static_cast<size_t>(n));
          int outLen = -1;
          ASSERT_EQ(tpxsSampleDown_16s(signal.data() + at, n, out.data(), &outLen, factor, &phase),
                    tpxStsNoErr);
          got.insert(got.end(), out.begin(), out.begin() + outLen);
          at += size_t(n);
        }
        std::vector<Tpx16s> want;
        for (size_t i = size_t(start); i < signal.size(); i += size_t(factor))
          want.push_back(signal[i]);
        EXPECT_EQ(got, want) << "factor " << factor << " phase " << start;
      }
    }
  });
}

TEST(SignalSampling, UpSampling) {
  forEachVariant([&](int) {
    const Tpx16s src[2] = {11, -22};
    std::vector<Tpx16s> dst(8, 99);
    int dstLen = 0, phase = 1;
    ASSERT_EQ(tpxsSampleUp_16s(src, 2, dst.data(), &dstLen, 3, &phase), tpxStsNoErr);
    EXPECT_EQ(dstLen, 6);
    EXPECT_EQ(phase, 1);
    const std::vector<Tpx16s> want = {0, 11, 0, 0, -22, 0, 99, 99};
    EXPECT_EQ(dst, want);
    phase = 0;
    ASSERT_EQ(tpxsSampleUp_16s(src, 2, dst.data(), &dstLen, 1, &phase), tpxStsNoErr);
    EXPECT_EQ(dstLen, 2);
    EXPECT_EQ(dst[0], 11);
    EXPECT_EQ(dst[1], -22);
  });
}

// ----- Sort ---------------------------------------------------------------------------------

std::vector<float> pattern(const std::string& kind, int n, std::mt19937& rng) {
  std::vector<float> v(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) {
    float x;
    if (kind == "random") {
      x = std::uniform_real_distribution<float>(-1000, 1000)(rng);
    } else if (kind == "duplicates") {
      x = float(int(rng() % 7) - 3);
    } else if (kind == "sorted") {
      x = float(i) * 0.5f - 10.0f;
    } else if (kind == "reversed") {
      x = 1000.0f - float(i);
    } else if (kind == "equal") {
      x = 4.25f;
    } else {  // signed zeros among small values
      const float choices[] = {0.0f, -0.0f, 1.0f, -1.0f, 0.0f, -0.0f};
      x = choices[rng() % 6];
    }
    v[size_t(i)] = x;
  }
  return v;
}

TEST(SignalSort, MatchesStdSortOnValues) {
  std::mt19937 rng(5);
  std::vector<int> sizes;
  for (int n = 1; n <= 70; ++n) sizes.push_back(n);
  for (int n : {100, 127, 1000, 4097, 30000}) sizes.push_back(n);
  for (const char* kind : {"random", "duplicates", "sorted", "reversed", "equal", "zeros"}) {
    for (int n : sizes) {
      const std::vector<float> input = pattern(kind, n, rng);
      std::vector<float> want = input;
      std::sort(want.begin(), want.end());
      expectVariantsMatchGeneric([&] {
        std::vector<float> got = input;
        Outcome o;
        o.status = tpxsSortAscend_32f_I(got.data(), n);
        EXPECT_TRUE(std::equal(got.begin(), got.end(), want.begin()))  // by value: -0 == +0
            << kind << " " << n;
        o.bytes.resize(got.size() * 4);
        std::memcpy(o.bytes.data(), got.data(), o.bytes.size());
        return o;
      });
    }
  }
}

TEST(SignalSort, OrderOfSignedZerosAndUnchangedInputs) {
  const float p = 0.0f, m = -0.0f;
  struct Row {
    std::vector<float> in, out;
  };
  // Small parts are sorted by selection: the largest (the first of equals)
  // goes to the end, so two equal zeros swap places.
  const Row kRows[] = {
      {{p, m}, {m, p}},
      {{m, p}, {p, m}},
      {{p, m, 1.0f}, {m, p, 1.0f}},  // 1 is exchanged with itself; then +0 goes last
      {{1.0f, p, m}, {p, m, 1.0f}},  // 1 to the end first: [m, p, 1], then m goes last
  };
  forEachVariant([&](int) {
    for (const Row& r : kRows) {
      std::vector<float> v = r.in;
      ASSERT_EQ(tpxsSortAscend_32f_I(v.data(), int(v.size())), tpxStsNoErr);
      for (size_t i = 0; i < v.size(); ++i) EXPECT_EQ(bitsOf(v[i]), bitsOf(r.out[i])) << i;
    }
    // Ten equal values (alternating zeros) and sorted distinct input: unchanged.
    std::vector<float> zeros;
    for (int i = 0; i < 10; ++i) zeros.push_back(i % 2 ? m : p);
    std::vector<float> v = zeros;
    ASSERT_EQ(tpxsSortAscend_32f_I(v.data(), 10), tpxStsNoErr);
    for (size_t i = 0; i < 10; ++i) EXPECT_EQ(bitsOf(v[i]), bitsOf(zeros[i])) << i;
    std::vector<float> sorted;
    for (int i = 0; i < 50; ++i) sorted.push_back(float(i) - 20.5f);
    v = sorted;
    ASSERT_EQ(tpxsSortAscend_32f_I(v.data(), 50), tpxStsNoErr);
    EXPECT_EQ(v, sorted);
    // Checks.
    EXPECT_EQ(tpxsSortAscend_32f_I(nullptr, 0), tpxStsNullPtrErr);
    EXPECT_EQ(tpxsSortAscend_32f_I(v.data(), 0), tpxStsSizeErr);
  });
}

TEST(SignalSort, NaNsGoLastAndLeaveTheRestAsWithoutThem) {
  // NaN values (several payloads) among zeros of both signs and duplicates;
  // the last case alternates NaN and 1, which once made the sort quadratic.
  std::mt19937 rng(11);
  const uint32_t kNaNs[] = {0x7fc00000u, 0xffc00000u, 0x7fc00123u, 0x7f800001u};
  for (int n : {1, 2, 9, 10, 64, 1001, 1 << 19}) {
    const bool alternate = n == (1 << 19);
    std::vector<float> input =
        alternate ? std::vector<float>(size_t(n), 1.0f) : pattern("zeros", n, rng);
    for (int i = 0; i < n; ++i) {
      if (alternate ? i % 2 == 0 : rng() % 3 == 0) input[size_t(i)] = fromBits(kNaNs[i % 4]);
    }
    std::vector<float> values;
    std::vector<uint32_t> nanBits;
    // Bits read from memory: on i386 a float passed by value may travel
    // through the x87 stack, which quiets a signalling NaN.
    for (const float& x : input) {
      uint32_t bits;
      std::memcpy(&bits, &x, 4);
      if (x == x)
        values.push_back(x);
      else
        nanBits.push_back(bits);
    }
    // The values alone, through the same sort: the NaNs must not disturb them.
    if (!values.empty()) {
      ASSERT_EQ(tpxsSortAscend_32f_I(values.data(), int(values.size())), tpxStsNoErr);
    }
    forEachVariant([&](int) {
      std::vector<float> got = input;
      ASSERT_EQ(tpxsSortAscend_32f_I(got.data(), n), tpxStsNoErr);
      const size_t k = values.size();
      for (size_t i = 0; i < k; ++i) ASSERT_EQ(bitsOf(got[i]), bitsOf(values[i])) << n << " " << i;
      std::vector<uint32_t> tail(got.size() - k);
      std::memcpy(tail.data(), got.data() + k, tail.size() * 4);
      std::vector<uint32_t> want = nanBits;
      std::sort(tail.begin(), tail.end());
      std::sort(want.begin(), want.end());
      EXPECT_EQ(tail, want) << n;  // every NaN kept, bit for bit
    });
  }
}

// ----- Polar to Cartesian -------------------------------------------------------------------

TEST(SignalPolar, SingleElementUsesTheStandardFunctions) {
  forEachVariant([&](int) {
    for (float x : {0.5f, -3.0f, 100.0f, 1e6f}) {
      const float m = 2.5f;
      float re = 0, im = 0;
      ASSERT_EQ(tpxsPolarToCart_32f(&m, &x, &re, &im, 1), tpxStsNoErr);
      EXPECT_EQ(re, float(double(m) * std::cos(double(x))));
      EXPECT_EQ(im, float(double(m) * std::sin(double(x))));
    }
  });
}

TEST(SignalPolar, AccurateToFloatPrecisionForOrdinaryAngles) {
  std::mt19937 rng(9);
  const int n = 20001;
  std::vector<float> magn(n), phase(n);
  for (int i = 0; i < n; ++i) {
    magn[size_t(i)] = std::uniform_real_distribution<float>(-10, 10)(rng);
    phase[size_t(i)] = float(i - n / 2) * 0.0031f;  // about -31 .. 31
  }
  forEachVariant([&](int) {
    std::vector<float> re(n), im(n);
    ASSERT_EQ(tpxsPolarToCart_32f(magn.data(), phase.data(), re.data(), im.data(), n), tpxStsNoErr);
    double worst = 0;
    for (int i = 0; i < n; ++i) {
      const long double x = phase[size_t(i)], m = magn[size_t(i)];
      const double er = double(std::fabs(re[size_t(i)] - m * std::cos(x)));
      const double ei = double(std::fabs(im[size_t(i)] - m * std::sin(x)));
      worst = std::max(worst, std::max(er, ei) / std::max(1.0, double(std::fabs(m))));
    }
    // A few float rounding steps of a value of magnitude |m|.
    EXPECT_LT(worst, 4e-7);
  });
}

TEST(SignalPolar, VariantsAgreeIncludingHugeAndSpecialAngles) {
  std::vector<float> phase = {0.0f,
                              -0.0f,
                              1.5707964f,
                              -1.5707964f,
                              3.1415927f,
                              1e9f,
                              -1e9f,
                              7e9f,
                              -7e9f,
                              3e38f,
                              std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::quiet_NaN(),
                              2.0f,
                              1e10f,
                              6.7e9f};
  std::mt19937 rng(13);
  for (int i = 0; i < 50; ++i)
    phase.push_back(std::uniform_real_distribution<float>(-1e4, 1e4)(rng));
  for (int len = 2; len <= int(phase.size()); ++len) {
    expectVariantsMatchGeneric([&] {
      std::vector<float> magn(size_t(len), 1.75f), re(static_cast<size_t>(len)),
          im(static_cast<size_t>(len));
      Outcome o;
      o.status = tpxsPolarToCart_32f(magn.data(), phase.data(), re.data(), im.data(), len);
      for (int i = 0; i < len; ++i) o.add(re[size_t(i)]).add(im[size_t(i)]);
      return o;
    });
  }
}

// ----- Copy, set, zero and common checks ---------------------------------------------------

TEST(SignalCopySet, FillsAndCopies) {
  forEachVariant([&](int) {
    for (int len : {1, 3, 4, 17, 300, 1000}) {
      std::vector<float> src(static_cast<size_t>(len)), dst(size_t(len) + 1, 9.0f);
      for (int i = 0; i < len; ++i) src[size_t(i)] = fromBits(0x7fc00000u + uint32_t(i));
      ASSERT_EQ(tpxsCopy_32f(src.data(), dst.data(), len), tpxStsNoErr);
      EXPECT_EQ(std::memcmp(src.data(), dst.data(), size_t(len) * 4), 0);
      EXPECT_EQ(dst[size_t(len)], 9.0f);
      ASSERT_EQ(tpxsZero_32f(dst.data(), len), tpxStsNoErr);
      for (int i = 0; i < len; ++i) EXPECT_EQ(bitsOf(dst[size_t(i)]), 0u);
      EXPECT_EQ(dst[size_t(len)], 9.0f);
      std::vector<Tpx32s> s32(size_t(len) + 1, 5);
      ASSERT_EQ(tpxsSet_32s(-123456, s32.data(), len), tpxStsNoErr);
      for (int i = 0; i < len; ++i) EXPECT_EQ(s32[size_t(i)], -123456);
      EXPECT_EQ(s32[size_t(len)], 5);
    }
  });
}

// ----- Element-wise operations: every variant identical to generic ------------------------

// Outputs are followed by guard elements that no operation may touch.
TEST(SignalVariants, ElementWiseOperationsAgreeWithGenericAndStayInBounds) {
  constexpr size_t kGuard = 9;
  constexpr Tpx16s kGuard16 = 0x5a5a;
  constexpr float kGuard32 = -7.75f;
  std::mt19937 rng(21);
  for (int len = 1; len <= 67; ++len) {
    const size_t n = size_t(len);
    std::vector<Tpx16s> a(n), b(n);
    std::vector<float> fa(n), fb(n + kGuard, kGuard32);
    for (size_t i = 0; i < n; ++i) {
      a[i] = Tpx16s(rng());
      b[i] = Tpx16s(rng());
      fa[i] = std::uniform_real_distribution<float>(-100, 100)(rng);
      fb[i] = std::uniform_real_distribution<float>(-1e-38f, 1e-38f)(rng);
    }
    auto guarded = [&](const std::vector<Tpx16s>& v) {
      for (size_t i = n; i < n + kGuard; ++i) EXPECT_EQ(v[i], kGuard16) << "len " << len;
      return v;
    };
    expectVariantsMatchGeneric([&] {
      Outcome o;
      std::vector<Tpx16s> d(n + kGuard, kGuard16), sd = b;
      sd.resize(n + kGuard, kGuard16);
      o.status |= tpxsAdd_16s(a.data(), b.data(), d.data(), len);
      o.add(guarded(d));
      o.status |= tpxsSub_16s(a.data(), b.data(), d.data(), len);
      o.add(guarded(d));
      for (int f : {-17, -5, 0, 1, 7, 16, 17}) {
        o.status |= tpxsAdd_16s_ISfs(a.data(), sd.data(), len, f);
        o.status |= tpxsSub_16s_ISfs(b.data(), sd.data(), len, f);
      }
      o.add(guarded(sd));
      for (int v : {0, 1, 5, 15, 16}) {
        o.status |= tpxsRShiftC_16s(a.data(), v, d.data(), len);
        o.add(guarded(d));
        o.status |= tpxsRShiftC_16s_I(v, sd.data(), len);
        o.add(guarded(sd));
      }
      std::vector<float> f = fb;
      o.status |= tpxsAdd_32f_I(fa.data(), f.data(), len);
      o.status |= tpxsAddC_32f_I(0.3f, f.data(), len);
      o.status |= tpxsCopy_32f(f.data(), f.data() + 0, len);
      for (size_t i = n; i < n + kGuard; ++i) EXPECT_EQ(f[i], kGuard32);
      o.add(f);
      return o;
    });
  }
}

}  // namespace
