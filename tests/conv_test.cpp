// Convolution: every path on each side of its threshold against exact double
// sums, the direct paths pinned to the filters they are built from, integer
// rounding and saturation, check order, step handling, every variant agreeing
// with the generic one, and OpenCV's filter2D as an outside reference.
#include <gtest/gtest.h>

#include <cmath>
#include <type_traits>

#include "tests/harness.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxtest::expectVariantsMatchGeneric;
using tpxtest::Image;
using tpxtest::Outcome;
using tpxtest::ScopedVariant;

template <typename T>
TpxStatus conv(bool full, const Image<T>& a, const Image<T>& b, Image<T>& d, int divisor,
               int aStep = 0, int dStep = 0) {
  aStep = aStep ? aStep : a.step();
  dStep = dStep ? dStep : d.step();
  const auto args = [&](auto fn, auto... div) {
    return fn(a.ptr(), aStep, a.size(), b.ptr(), b.step(), b.size(), d.ptr(), dStep, div...);
  };
  if constexpr (std::is_same_v<T, Tpx32f>) {
    return args(full ? tpxiConvFull_32f_C1R : tpxiConvValid_32f_C1R);
  } else if constexpr (std::is_same_v<T, Tpx16s>) {
    return args(full ? tpxiConvFull_16s_C1R : tpxiConvValid_16s_C1R, divisor);
  } else {
    return args(full ? tpxiConvFull_8u_C1R : tpxiConvValid_8u_C1R, divisor);
  }
}

// Float operands uniform in [-1, 1); integer ones sparse and small, so that
// every sum is an exact small integer and the frequency path's error stays far
// below one half.
template <typename T>
Image<T> operand(int w, int h, uint32_t seed, int pad = 4) {
  Image<T> m(w, h, w * int(sizeof(T)) + pad);
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> v(std::is_same_v<T, Tpx8u> ? 0 : -3, 3), keep(0, 3);
  m.fill([&](int, int) {
    if constexpr (std::is_same_v<T, Tpx32f>) return float(v(rng)) / 3 + float(keep(rng)) / 7;
    return keep(rng) == 0 ? T(v(rng)) : T(0);
  });
  return m;
}

template <typename T>
double norm(const Image<T>& m) {
  double n = 0;
  for (int j = 0; j < m.height(); ++j)
    for (int i = 0; i < m.width(); ++i) n += double(m.get(i, j)) * m.get(i, j);
  return std::sqrt(n);
}

enum Path { kFilter, kRows, kDirect, kFft };

// Runs a case under every variant, checks the bytes agree, and returns the
// generic result.
template <typename T>
Image<T> runAll(bool full, const Image<T>& a, const Image<T>& b, int divisor, int w, int h,
                int pad = 4) {
  Image<T> d(w, h, w * int(sizeof(T)) + pad);
  Image<T> out = d;
  bool first = true;  // the generic variant runs first
  const Outcome generic = expectVariantsMatchGeneric([&] {
    Image<T> dst = d;
    Outcome o;
    o.status = conv(full, a, b, dst, divisor);
    if (first) out = dst;
    first = false;
    return o.add(dst.bytes());
  });
  EXPECT_EQ(generic.status, tpxStsNoErr);
  return out;
}

// What the documented building blocks give, run under the generic variant.
template <typename T>
Image<T> pinned(Path path, const Image<T>& img, const Image<T>& ker, int divisor) {
  ScopedVariant generic(0);
  const int w = ker.width(), h = ker.height(), ow = img.width() - w + 1, oh = img.height() - h + 1;
  Image<T> d(ow, oh, ow * int(sizeof(T)) + 4);
  std::vector<Tpx32f> kf;
  std::vector<Tpx32s> ki;
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w; ++i) kf.push_back(float(ker.get(i, j))), ki.push_back(ker.get(i, j));
  if constexpr (std::is_same_v<T, Tpx32f>) {
    if (path == kFilter) {
      tpxiFilter_32f_C1R(img.ptr(), img.step(), d.ptr(), d.step(), d.size(), kf.data(), {w, h},
                         {w - 1, h - 1});
    } else {
      std::vector<Tpx32f> rows(size_t((ow + 3) / 4 * 4 * oh));
      tpxiSet_32f_C1R(0.0f, d.ptr(), d.step(), d.size());
      for (int r = 0; r < h; ++r) {
        tpxiFilterRow_32f_C1R(img.ptr() + r * (img.step() / 4), img.step(), rows.data(),
                              (ow + 3) / 4 * 16, d.size(), &kf[size_t((h - 1 - r) * w)], w, w - 1);
        tpxiAdd_32f_C1IR(rows.data(), (ow + 3) / 4 * 16, d.ptr(), d.step(), d.size());
      }
    }
  } else if constexpr (std::is_same_v<T, Tpx16s>) {
    tpxiFilter_16s_C1R(img.ptr(), img.step(), d.ptr(), d.step(), d.size(), ki.data(), {w, h},
                       {w - 1, h - 1}, divisor);
  } else {
    tpxiFilter_8u_C1R(img.ptr(), img.step(), d.ptr(), d.step(), d.size(), ki.data(), {w, h},
                      {w - 1, h - 1}, divisor);
  }
  return d;
}

struct Case {
  bool full;
  int w1, h1, w2, h2;
  Path path;
};

// The sums of the documented formula in double, with the error allowed: a
// few float roundings of the terms (direct) or of the operands' norms (FFT);
// integers exact for divisors 1 and -1, else within one.
template <typename T>
void runCases(std::initializer_list<Case> cases) {
  const bool isFloat = std::is_same_v<T, Tpx32f>;
  uint32_t seed = 1;
  for (const Case& c : cases) {
    // Whole-element steps where the filters round them down, odd ones elsewhere.
    const int pad = c.path == kFilter || c.path == kRows ? 4 : 3;
    const Image<T> a = operand<T>(c.w1, c.h1, seed++, pad), b = operand<T>(c.w2, c.h2, seed++, 0);
    const bool aIsImage = c.w1 >= c.w2 && c.h1 >= c.h2;  // Valid only
    const int ox = c.full ? 0 : (aIsImage ? b : a).width() - 1;
    const int oy = c.full ? 0 : (aIsImage ? b : a).height() - 1;
    const int w = c.w1 + c.w2 - 1 - 2 * ox, h = c.h1 + c.h2 - 1 - 2 * oy;
    const double norms = norm(a) * norm(b);
    for (int divisor : isFloat ? std::vector<int>{1} : std::vector<int>{1, -1, 2, 7}) {
      SCOPED_TRACE(testing::Message() << (c.full ? "Full " : "Valid ") << c.w1 << "x" << c.h1
                                      << " * " << c.w2 << "x" << c.h2 << " divisor " << divisor);
      const Image<T> got = runAll(c.full, a, b, divisor, w, h, pad);
      ASSERT_TRUE(got.guardsIntact());
      if (c.path == kFilter || c.path == kRows) {
        const Image<T> want = pinned(c.path, aIsImage ? a : b, aIsImage ? b : a, divisor);
        for (int y = 0; y < h; ++y)
          for (int x = 0; x < w; ++x) ASSERT_EQ(got.get(x, y), want.get(x, y)) << x << "," << y;
        if (isFloat) continue;
      }
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
          double s = 0, m = 0;
          for (int j = 0; j < c.h2; ++j)
            for (int i = 0; i < c.w2; ++i) {
              const int ax = x + ox - i, ay = y + oy - j;
              if (ax < 0 || ay < 0 || ax >= c.w1 || ay >= c.h1) continue;
              s += double(a.get(ax, ay)) * double(b.get(i, j));
              m += std::abs(double(a.get(ax, ay)) * double(b.get(i, j)));
            }
          const double lo = std::is_same_v<T, Tpx8u> ? 0 : -32768, hi = lo ? 32767 : 255;
          const double want = isFloat ? s : std::min(hi, std::max(lo, std::nearbyint(s / divisor)));
          // Our own direct paths round ties to even; the filters and the FFT
          // may land either side of a half.
          const bool exact = divisor * divisor == 1 || (divisor == 2 && c.path == kDirect);
          const double tol = !isFloat ? (exact ? 0 : 1) : 1e-5 * (c.path == kFft ? norms : m);
          ASSERT_LE(std::abs(double(got.get(x, y)) - want), tol) << x << "," << y;
        }
    }
  }
}

// Each side of every threshold, tiles with remainders, 1 x N kernels (four
// pixels per tile row), the taller kernel in Full, operands either way round.
TEST(Conv, Float32AroundEveryThreshold) {
  runCases<Tpx32f>({{false, 40, 30, 12, 10, kFilter},
                    {false, 11, 11, 20, 18, kRows},
                    {false, 130, 3, 121, 1, kRows},
                    {false, 11, 11, 19, 19, kFft},
                    {true, 14, 61, 11, 11, kDirect},
                    {true, 45, 21, 11, 11, kFft},
                    {true, 60, 50, 12, 10, kDirect},
                    {true, 300, 150, 17, 9, kFft},
                    {false, 300, 150, 17, 9, kFft},
                    {true, 20, 40, 1, 130, kFft},
                    {false, 10, 140, 1, 130, kFft},
                    {true, 11, 11, 65, 1, kDirect}});
}

TEST(Conv, Signed16AroundEveryThreshold) {
  runCases<Tpx16s>({{false, 30, 20, 16, 14, kFilter},
                    {false, 22, 20, 15, 15, kDirect},
                    {false, 15, 15, 21, 21, kFft},
                    {true, 12, 22, 11, 11, kDirect},
                    {true, 37, 5, 11, 11, kFft},
                    {true, 300, 150, 17, 9, kFft},
                    {false, 300, 150, 17, 15, kFft},
                    {true, 20, 40, 1, 130, kFft},
                    {false, 1, 1, 1, 1, kFilter},
                    {true, 3, 2, 1, 1, kDirect}});
}

TEST(Conv, Unsigned8AroundEveryThreshold) {
  runCases<Tpx8u>({{false, 30, 20, 12, 10, kFilter},
                   {false, 21, 19, 11, 11, kDirect},
                   {false, 20, 20, 11, 11, kFft},
                   {true, 86, 4, 121, 1, kDirect},
                   {true, 65, 1, 11, 11, kFft},
                   {true, 300, 150, 17, 9, kFft},
                   {false, 300, 150, 17, 9, kFft},
                   {false, 10, 140, 1, 130, kFft}});
}

TEST(Conv, SaturationAndExactSumsPastInt32) {
  Image<Tpx16s> img(3, 2), one(1, 1);
  img.fill([](int x, int) { return Tpx16s(x == 0 ? -32768 : x == 1 ? 32767 : -3); });
  one.fill([](int, int) { return Tpx16s(1); });
  for (bool full : {false, true}) {
    const Image<Tpx16s> d = runAll(full, img, one, -1, 3, 2);
    EXPECT_EQ(d.get(0, 1), 32767);
    EXPECT_EQ(d.get(1, 1), -32767);
    EXPECT_EQ(d.get(2, 1), 3);
  }
  // Output branch of 8u: a sum of 295 x 295 x 255 x 255 passes 2^32.
  Image<Tpx8u> big(296, 296), ker(295, 295);
  big.fill([](int, int) { return Tpx8u(255); });
  ker.fill([](int, int) { return Tpx8u(255); });
  const Image<Tpx8u> d = runAll(false, big, ker, 100000000, 2, 2);
  EXPECT_EQ(d.get(1, 1), 57);  // 5658800625 / 1e8
}

TEST(Conv, CheckOrderAndGuards) {
  Image<Tpx16s> a(8, 6), wide(9, 2), tall(2, 7), d(20, 20);
  const auto run = [&](const Image<Tpx16s>& b, bool full, int div, TpxiSize sa, int stepA,
                       Tpx16s* dst) {
    return (full ? tpxiConvFull_16s_C1R : tpxiConvValid_16s_C1R)(a.ptr(), stepA, sa, b.ptr(),
                                                                 b.step(), b.size(), dst, 40, div);
  };
  for (bool full : {false, true}) {
    EXPECT_EQ(run(tall, full, 1, {0, 6}, 16, nullptr), tpxStsNullPtrErr);
    EXPECT_EQ(run(tall, full, 1, {0, 6}, 0, d.ptr()), tpxStsSizeErr);
    EXPECT_EQ(run(tall, full, 0, a.size(), 0, d.ptr()), tpxStsStepErr);
  }
  // Crossed shapes fail in Valid only, after the steps and the divisor.
  EXPECT_EQ(run(wide, false, 0, a.size(), 16, d.ptr()), tpxStsDivisorErr);
  EXPECT_EQ(run(wide, false, 1, a.size(), 0, d.ptr()), tpxStsStepErr);
  EXPECT_EQ(run(wide, false, 1, a.size(), 16, d.ptr()), tpxStsSizeErr);
  EXPECT_EQ(run(wide, true, 1, a.size(), 16, d.ptr()), tpxStsNoErr);
  // The filter's own step check (image rows shorter than the image) passes
  // through, and so does nothing to the destination.
  Image<Tpx32f> f(8, 6), k(3, 3), fd(6, 4), k11(11, 11), f16(16, 16), fd6(6, 6);
  EXPECT_EQ(conv(false, f, k, fd, 1, 28), tpxStsStepErr);
  EXPECT_EQ(conv(false, f16, k11, fd6, 1, 60), tpxStsStepErr);
  EXPECT_TRUE(d.guardsIntact() && fd.guardsIntact() && fd6.guardsIntact());
}

// On the filter paths a step S + r (0 < r < element size) gives S's bytes.
TEST(Conv, FilterPathsRoundStepsToWholeElements) {
  const Image<Tpx32f> img = operand<Tpx32f>(20, 18, 3, 4), k3 = operand<Tpx32f>(3, 3, 4, 2);
  const Image<Tpx32f> k11 = operand<Tpx32f>(11, 11, 5, 2);
  for (const Image<Tpx32f>* k : {&k3, &k11}) {
    const int ow = 20 - k->width() + 1, oh = 18 - k->height() + 1;
    Image<Tpx32f> d1(ow, oh, ow * 4 + 4), d2 = d1;
    ASSERT_EQ(conv(false, img, *k, d1, 1), tpxStsNoErr);
    ASSERT_EQ(conv(false, img, *k, d2, 1, img.step() + 3, k == &k3 ? d2.step() + 2 : 0), 0);
    EXPECT_EQ(d1.bytes(), d2.bytes());
  }
}

#ifdef TPX_HAVE_OPENCV
// OpenCV correlates: flip the kernel both ways; Full pads the image by the
// kernel's extent less one on every side.
TEST(Conv, AgreesWithOpenCvFilter2D) {
  const Image<Tpx32f> img = operand<Tpx32f>(300, 150, 8), ker = operand<Tpx32f>(17, 9, 9);
  cv::Mat m, k, flipped;
  cv::Mat(150, 300, CV_32F, const_cast<Tpx32f*>(img.ptr()), size_t(img.step()))
      .convertTo(m, CV_64F);
  cv::Mat(9, 17, CV_32F, const_cast<Tpx32f*>(ker.ptr()), size_t(ker.step())).convertTo(k, CV_64F);
  cv::flip(k, flipped, -1);
  for (bool full : {false, true}) {
    cv::Mat src = m, want;
    if (full) cv::copyMakeBorder(m, src, 8, 8, 16, 16, cv::BORDER_CONSTANT, 0);
    cv::filter2D(src, want, CV_64F, flipped, cv::Point(0, 0), 0, cv::BORDER_CONSTANT);
    const int w = full ? 316 : 284, h = full ? 158 : 142;
    const Image<Tpx32f> got = runAll(full, img, ker, 1, w, h);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) ASSERT_NEAR(got.get(x, y), want.at<double>(y, x), 2e-3);
  }
}
#endif

}  // namespace
