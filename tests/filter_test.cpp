// Linear filters: every variant against a direct convolution written here
// from the rule (flipped kernel, divisor plan, rounding and saturation), the
// documented edge cases, argument-check order, step rounding and untouched
// bytes.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "filter/linear.h"
#include "tests/harness.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxtest::expectVariantsMatchGeneric;
using tpxtest::forEachVariant;
using tpxtest::Image;
using tpxtest::Outcome;

// A kernel's shape and where its anchor sits (anywhere, also outside it).
struct KernelShape {
  int kw, kh, ax, ay;
};

// Kernels from 1x1 to 7x7 with anchors at the centre, the corners, and
// outside the kernel on either side.
const KernelShape kKernelShapes[] = {
    {1, 1, 0, 0}, {1, 1, -1, -1}, {3, 3, 1, 1}, {3, 3, 0, 0}, {3, 3, 2, 2},  {5, 5, 2, 2},
    {7, 7, 3, 3}, {2, 3, 1, 0},   {4, 1, 3, 0}, {1, 5, 0, 4}, {7, 2, -2, 3}, {3, 4, 5, -1},
    {6, 6, 0, 5}, {2, 2, 1, 1},   {5, 3, 4, 1}, {7, 1, 3, 0},
};

// A source that holds the region plus every pixel the kernel reaches around
// it, as a guarded image; roi() is the region's first pixel.
template <typename T>
struct Bordered {
  Bordered(int w, int h, const KernelShape& k, int padElems)
      : left(std::max(0, k.kw - 1 - k.ax)),
        top(std::max(0, k.kh - 1 - k.ay)),
        img(left + w + std::max(0, k.ax), top + h + std::max(0, k.ay),
            int(sizeof(T)) * (left + w + std::max(0, k.ax) + padElems)) {}

  const T* roi() const {
    return reinterpret_cast<const T*>(reinterpret_cast<const char*>(img.ptr()) +
                                      std::ptrdiff_t(top) * img.step() + left * int(sizeof(T)));
  }
  // Pixel (x, y) relative to the region's first pixel.
  T at(int x, int y) const { return img.get(left + x, top + y); }

  int left, top;
  Image<T> img;
};

// ----- References from the rule --------------------------------------------------

int64_t sum8u(const Bordered<Tpx8u>& src, const std::vector<int32_t>& k, const KernelShape& s,
              int x, int y) {
  int64_t sum = 0;
  for (int i = 0; i < s.kh; ++i)
    for (int j = 0; j < s.kw; ++j)
      sum += int64_t(k[size_t(i * s.kw + j)]) * src.at(x + s.ax - j, y + s.ay - i);
  return sum;
}

// The 8u divisor rule on an exact 32-bit sum.
Tpx8u scale8u(int64_t sum64, int divisor) {
  const int32_t sum = static_cast<int32_t>(static_cast<uint32_t>(sum64));  // 32-bit wrap
  int64_t v;
  if (divisor == 1) {
    v = sum;
  } else if (divisor > 0 && (divisor & (divisor - 1)) == 0) {
    v = sum <= 0 ? 0 : (int64_t(sum) + divisor / 2) / divisor;
  } else {
    const double p = double(sum) * double(float(1.0 / divisor));
    v = p <= 0 ? 0 : p + 0.5 >= 256.0 ? 256 : int64_t(std::floor(p + 0.5));
  }
  return Tpx8u(v < 0 ? 0 : v > 255 ? 255 : v);
}

std::vector<float> foldTaps(const std::vector<int32_t>& k, int divisor) {
  const float r = float(1.0 / divisor);
  std::vector<float> t;
  for (int32_t v : k) t.push_back(float(v) * r);
  return t;
}

// In ascending source position (kernel from its last cell backwards), the
// order the rule prescribes: extended-precision sums may depend on it.
template <typename T>
long double sumFloat(const Bordered<T>& src, const std::vector<float>& t, const KernelShape& s,
                     int x, int y) {
  long double sum = 0;
  for (int i = s.kh - 1; i >= 0; --i)
    for (int j = s.kw - 1; j >= 0; --j)
      sum += (long double)t[size_t(i * s.kw + j)] * src.at(x + s.ax - j, y + s.ay - i);
  return sum;
}

Tpx16s round16s(long double v) {
  const long double r = v > 0 ? std::floor(v + 0.5L) : std::ceil(v - 0.5L);
  return Tpx16s(r > 32767 ? 32767 : r < -32768 ? -32768 : r);
}

template <typename T>
Outcome run(TpxStatus status, const Image<T>& dst) {
  Outcome o;
  o.status = status;
  o.add(dst.bytes());
  return o;
}

std::vector<int32_t> randomKernel(std::mt19937& rng, int n, int lo, int hi) {
  std::uniform_int_distribution<int32_t> d(lo, hi);
  std::vector<int32_t> k(size_t(n), 0);
  for (auto& v : k) v = d(rng);
  return k;
}

// ----- 8u ------------------------------------------------------------------------

TEST(Filter8u, EveryVariantMatchesTheDirectConvolution) {
  const int divisors[] = {1, 2, 16, 3, -1, -5, 7, 1024, 100};
  std::mt19937 rng(7);
  int n = 0;
  for (const auto& shape : tpxtest::awkwardShapes()) {
    for (const KernelShape& k : kKernelShapes) {
      ++n;
      const int divisor = divisors[n % 9];
      const auto kernel = randomKernel(rng, k.kw * k.kh, -20, 40);
      Bordered<Tpx8u> src(shape.width, shape.height, k, shape.padBytes);
      src.img.fillRandom(uint32_t(n), 0, 255);
      SCOPED_TRACE(testing::Message()
                   << shape.width << "x" << shape.height << " pad " << shape.padBytes << " kernel "
                   << k.kw << "x" << k.kh << " anchor " << k.ax << "," << k.ay << " divisor "
                   << divisor);
      const Outcome generic = expectVariantsMatchGeneric([&] {
        Image<Tpx8u> dst(shape.width, shape.height, shape.width + shape.padBytes);
        const TpxStatus st =
            tpxiFilter_8u_C1R(src.roi(), src.img.step(), dst.ptr(), dst.step(), dst.size(),
                              kernel.data(), {k.kw, k.kh}, {k.ax, k.ay}, divisor);
        EXPECT_TRUE(dst.guardsIntact());
        return run(st, dst);
      });
      ASSERT_EQ(generic.status, tpxStsNoErr);
      Image<Tpx8u> expected(shape.width, shape.height, shape.width + shape.padBytes);
      expected.fill([&](int x, int y) { return scale8u(sum8u(src, kernel, k, x, y), divisor); });
      ASSERT_EQ(tpxtest::firstDifference(run(0, expected), generic), "");
    }
  }
}

// Taps beyond 16 bits, sums that wrap past 32 bits, and every divisor mode.
TEST(Filter8u, WideTapsAndWrappingSums) {
  const int divisors[] = {1, 1 << 20, 100003, -3, std::numeric_limits<int>::min()};
  std::mt19937 rng(11);
  for (int divisor : divisors) {
    for (const KernelShape& k : {KernelShape{3, 3, 1, 1}, KernelShape{5, 2, 2, 0}}) {
      auto kernel = randomKernel(rng, k.kw * k.kh, -3000000, 3000000);
      kernel[0] = std::numeric_limits<int32_t>::max();  // wraps the sum
      for (int w : {1, 5, 19, 37}) {
        Bordered<Tpx8u> src(w, 3, k, 2);
        src.img.fillRandom(uint32_t(w), 0, 255);
        const Outcome generic = expectVariantsMatchGeneric([&] {
          Image<Tpx8u> dst(w, 3, w + 1);
          return run(tpxiFilter_8u_C1R(src.roi(), src.img.step(), dst.ptr(), dst.step(), dst.size(),
                                       kernel.data(), {k.kw, k.kh}, {k.ax, k.ay}, divisor),
                     dst);
        });
        Image<Tpx8u> expected(w, 3, w + 1);
        expected.fill([&](int x, int y) { return scale8u(sum8u(src, kernel, k, x, y), divisor); });
        EXPECT_EQ(tpxtest::firstDifference(run(0, expected), generic), "")
            << "divisor " << divisor << " width " << w;
      }
    }
  }
}

// Kernels of small taps (8-bit, few in all) with mixed signs, taps that
// cannot share a 16-bit lane (|k0| + |k1| > 128), zero taps, and many taps:
// sums computed in narrow lanes must still be the exact 32-bit sums.
TEST(Filter8u, SmallTapKernels) {
  struct Kernel {
    KernelShape shape;
    std::vector<int32_t> taps;
  };
  std::vector<Kernel> kernels = {
      {{3, 3, 1, 1}, {127, -128, 1, 0, 0, 0, 0, 0, 1}},
      {{3, 3, 0, 2}, {-128, -127, 0, 0, 1, 0, 0, 0, -1}},
      {{2, 2, 1, 1}, {100, 100, -28, 28}},
      {{5, 5, 2, 2}, std::vector<int32_t>(25, 10)},
      {{5, 5, 2, 2}, std::vector<int32_t>(25, -10)},
      {{7, 7, 3, 3}, std::vector<int32_t>(49, 5)},
      {{11, 11, 5, 5}, std::vector<int32_t>(121, -2)},
      {{15, 15, 7, 7}, std::vector<int32_t>(225, 1)},  // more pairs than a lane table holds
  };
  for (int i = 0; i < 49; i += 3) kernels[5].taps[size_t(i)] = -5;
  const int divisors[] = {1, 4, 9, -1, -3};
  int n = 0;
  for (const Kernel& k : kernels) {
    for (int divisor : divisors) {
      for (int w : {1, 4, 15, 16, 17, 33, 50}) {
        Bordered<Tpx8u> src(w, 3, k.shape, 1);
        src.img.fillRandom(uint32_t(++n), 0, 255);
        const Outcome generic = expectVariantsMatchGeneric([&] {
          Image<Tpx8u> dst(w, 3, w + 3);
          return run(tpxiFilter_8u_C1R(src.roi(), src.img.step(), dst.ptr(), dst.step(), dst.size(),
                                       k.taps.data(), {k.shape.kw, k.shape.kh},
                                       {k.shape.ax, k.shape.ay}, divisor),
                     dst);
        });
        Image<Tpx8u> expected(w, 3, w + 3);
        expected.fill(
            [&](int x, int y) { return scale8u(sum8u(src, k.taps, k.shape, x, y), divisor); });
        EXPECT_EQ(tpxtest::firstDifference(run(0, expected), generic), "")
            << k.shape.kw << "x" << k.shape.kh << " divisor " << divisor << " width " << w;
      }
    }
  }
}

// Images large enough for the vector paths to evaluate the reciprocal in
// single precision where that was found to round like the double rule (for
// 1/9, say), and to keep double where it does not (1/100 rounds 50 x 0.01f
// differently).
TEST(Filter8u, ReciprocalOnLargeImages) {
  const std::vector<std::vector<int32_t>> kernels = {
      {1, 1, 1, 1, 1, 1, 1, 1, 1}, {1, 2, 1, 2, 4, 2, 1, 2, 1}, {-1, 3, -1, 2, 5, 2, -1, 3, -1}};
  const KernelShape k{3, 3, 1, 1};
  const int w = 241, h = 160;
  Bordered<Tpx8u> src(w, h, k, 5);
  src.img.fillRandom(99, 0, 255);
  for (const auto& kernel : kernels) {
    for (int divisor : {9, 3, -9, 7, 100, 6, 1000}) {
      const Outcome generic = expectVariantsMatchGeneric([&] {
        Image<Tpx8u> dst(w, h);
        return run(tpxiFilter_8u_C1R(src.roi(), src.img.step(), dst.ptr(), dst.step(), dst.size(),
                                     kernel.data(), {3, 3}, {1, 1}, divisor),
                   dst);
      });
      Image<Tpx8u> expected(w, h);
      expected.fill([&](int x, int y) { return scale8u(sum8u(src, kernel, k, x, y), divisor); });
      EXPECT_EQ(tpxtest::firstDifference(run(0, expected), generic), "")
          << "kernel " << kernel[1] << " divisor " << divisor;
    }
  }
}

// One pixel whose sum is set through a 1x1 kernel {sum / src} or a 1x2
// kernel, checked against the documented examples in every variant.
TEST(Filter8u, DivisorExamples) {
  struct Row {
    int32_t tap0, tap1;  // taps of a 1x2 kernel over the pixels (1, 1)
    int divisor;
    Tpx8u expected;
  };
  const Row rows[] = {
      {3, 0, 2, 2},                         // 3 / 2 = 1.5 rounds half up
      {1, 0, 2, 1},                         // 0.5 rounds up
      {-3, 0, 2, 0},                        // a negative sum gives 0
      {-200, 0, -1, 200},                   // a negative divisor flips the sign
      {200, 0, -1, 0},                      // ... and a positive sum gives 0
      {400, 400, 3, 255},                   // 800 / 3 = 266.67 -> 267, saturated
      {100, 50, 3, 50},                     // 150 / 3 = 50
      {511, 0, 2, 255},                     // 255.5 -> 256 -> 255
      {509, 0, 2, 255},                     // 254.5 rounds up
      {507, 0, 2, 254},                     // 253.5 rounds up
      {300, 0, 1, 255},                     // divisor 1: saturated as is
      {-1, 0, 1, 0},      {120, 0, 8, 15},  // shift: 15
      {116, 0, 8, 15},                      // 14.5 -> 15
      {115, 0, 8, 14},
  };
  for (const Row& r : rows) {
    // Every source pixel is 1, so the sum is tap0 + tap1.
    const Tpx8u src[4] = {1, 1, 1, 1};
    const int32_t kernel[2] = {r.tap0, r.tap1};
    forEachVariant([&](int) {
      Tpx8u dst[2] = {7, 7};
      EXPECT_EQ(tpxiFilter_8u_C1R(src + 1, 4, dst, 1, {1, 1}, kernel, {2, 1}, {1, 0}, r.divisor),
                tpxStsNoErr);
      EXPECT_EQ(dst[0], r.expected) << r.tap0 << "+" << r.tap1 << " / " << r.divisor;
      EXPECT_EQ(dst[1], 7);
    });
  }
}

// ----- 16s -----------------------------------------------------------------------

TEST(Filter16s, EveryVariantMatchesTheDirectConvolution) {
  const int divisors[] = {1, 2, 3, -1, 7, 1000, -16};
  std::mt19937 rng(5);
  int n = 0;
  for (const auto& shape : tpxtest::awkwardShapes()) {
    for (const KernelShape& k : kKernelShapes) {
      ++n;
      const int divisor = divisors[n % 7];
      const auto kernel = randomKernel(rng, k.kw * k.kh, -9, 9);
      // Padding in whole elements here: odd steps have their own test.
      Bordered<Tpx16s> src(shape.width, shape.height, k, shape.padBytes);
      src.img.fillRandom(uint32_t(n), -32768, 32767);
      SCOPED_TRACE(testing::Message()
                   << shape.width << "x" << shape.height << " kernel " << k.kw << "x" << k.kh
                   << " anchor " << k.ax << "," << k.ay << " divisor " << divisor);
      const int dstStep = 2 * (shape.width + shape.padBytes);
      const Outcome generic = expectVariantsMatchGeneric([&] {
        Image<Tpx16s> dst(shape.width, shape.height, dstStep);
        const TpxStatus st =
            tpxiFilter_16s_C1R(src.roi(), src.img.step(), dst.ptr(), dst.step(), dst.size(),
                               kernel.data(), {k.kw, k.kh}, {k.ax, k.ay}, divisor);
        EXPECT_TRUE(dst.guardsIntact());
        return run(st, dst);
      });
      ASSERT_EQ(generic.status, tpxStsNoErr);
      const auto taps = foldTaps(kernel, divisor);
      Image<Tpx16s> expected(shape.width, shape.height, dstStep);
      expected.fill([&](int x, int y) { return round16s(sumFloat(src, taps, k, x, y)); });
      ASSERT_EQ(tpxtest::firstDifference(run(0, expected), generic), "");
    }
  }
}

// Taps whose products span more bits than a double holds: the sum is no
// longer exact in double, and every variant must still give the generic
// (extended precision) bytes.
TEST(Filter16s, TapsOfVeryDifferentMagnitude) {
  const KernelShape k{3, 1, 1, 0};
  const std::vector<int32_t> kernel = {1, 1 << 30, -7};
  Bordered<Tpx16s> src(40, 2, k, 0);
  src.img.fillRandom(3, -32768, 32767);
  for (int divisor : {3, 1 << 29, -(1 << 30)}) {
    const Outcome generic = expectVariantsMatchGeneric([&] {
      Image<Tpx16s> dst(40, 2);
      return run(tpxiFilter_16s_C1R(src.roi(), src.img.step(), dst.ptr(), dst.step(), dst.size(),
                                    kernel.data(), {3, 1}, {1, 0}, divisor),
                 dst);
    });
    const auto taps = foldTaps(kernel, divisor);
    Image<Tpx16s> expected(40, 2);
    expected.fill([&](int x, int y) { return round16s(sumFloat(src, taps, k, x, y)); });
    EXPECT_EQ(tpxtest::firstDifference(run(0, expected), generic), "") << divisor;
  }
}

TEST(Filter16s, RoundingExamples) {
  struct Row {
    Tpx16s pixel;
    int32_t tap;
    int divisor;
    Tpx16s expected;
  };
  const Row rows[] = {
      {-5, 1, 2, -3},                                // -2.5 rounds away from zero
      {5, 1, 2, 3},                                  // 2.5
      {3, 1, 2, 2},                                  // 1.5
      {-3, 1, 2, -2},         {20000, 2, 1, 32767},  // 40000 saturates
      {-20000, 2, 1, -32768}, {10, 1, 4, 3},         // 2.5
      {1, 1, 3, 0},                                  // 0.333
      {-32768, -1, 1, 32767},                        // 32768 saturates
      {7, 3, -2, -11},                               // -10.5
  };
  for (const Row& r : rows) {
    const Tpx16s src[1] = {r.pixel};
    forEachVariant([&](int) {
      Tpx16s dst[2] = {99, 99};
      EXPECT_EQ(tpxiFilter_16s_C1R(src, 2, dst, 2, {1, 1}, &r.tap, {1, 1}, {0, 0}, r.divisor),
                tpxStsNoErr);
      EXPECT_EQ(dst[0], r.expected) << r.pixel << " x " << r.tap << " / " << r.divisor;
      EXPECT_EQ(dst[1], 99);
    });
  }
}

// ----- 32f -----------------------------------------------------------------------

// The generic variant equals the extended-precision reference exactly; the
// vector variants sum in single precision, within n float roundings of the
// sum of |terms|.
void expect32fClose(const Bordered<Tpx32f>& src, const std::vector<float>& kernel,
                    const KernelShape& k, const Image<Tpx32f>& got, bool exact) {
  for (int y = 0; y < got.height(); ++y) {
    for (int x = 0; x < got.width(); ++x) {
      const float want = float(sumFloat(src, kernel, k, x, y));
      if (exact) {
        ASSERT_EQ(want, got.get(x, y)) << x << "," << y;
        continue;
      }
      double magnitude = 0;
      for (int i = 0; i < k.kh; ++i)
        for (int j = 0; j < k.kw; ++j)
          magnitude +=
              std::fabs(double(kernel[size_t(i * k.kw + j)]) * src.at(x + k.ax - j, y + k.ay - i));
      const double tol = (k.kw * k.kh + 1) * magnitude * 0x1p-23;
      ASSERT_NEAR(want, got.get(x, y), tol) << x << "," << y;
    }
  }
}

std::vector<float> randomKernel32f(std::mt19937& rng, int n) {
  std::uniform_real_distribution<float> d(-1.0f, 1.0f);
  std::vector<float> k(static_cast<size_t>(n), 0.0f);
  for (auto& v : k) v = d(rng);
  return k;
}

TEST(Filter32f, EveryVariantMatchesTheDirectConvolution) {
  std::mt19937 rng(3);
  int n = 0;
  for (const auto& shape : tpxtest::awkwardShapes()) {
    for (const KernelShape& k : kKernelShapes) {
      ++n;
      const auto kernel = randomKernel32f(rng, k.kw * k.kh);
      Bordered<Tpx32f> src(shape.width, shape.height, k, shape.padBytes);
      src.img.fillRandom(uint32_t(n), -100.0f, 100.0f);
      SCOPED_TRACE(testing::Message() << shape.width << "x" << shape.height << " kernel " << k.kw
                                      << "x" << k.kh << " anchor " << k.ax << "," << k.ay);
      forEachVariant([&](int index) {
        Image<Tpx32f> dst(shape.width, shape.height, 4 * (shape.width + shape.padBytes));
        ASSERT_EQ(tpxiFilter_32f_C1R(src.roi(), src.img.step(), dst.ptr(), dst.step(), dst.size(),
                                     kernel.data(), {k.kw, k.kh}, {k.ax, k.ay}),
                  tpxStsNoErr);
        EXPECT_TRUE(dst.guardsIntact());
        expect32fClose(src, kernel, k, dst, index == 0);
      });
    }
  }
}

// Row and column kernels are the 2-D filter with a one-row or one-column
// kernel, in every variant, to the byte.
TEST(Filter32f, RowAndColumnEqualTheTwoDimensionalFilter) {
  std::mt19937 rng(9);
  for (int len : {1, 2, 3, 5, 7, 9}) {
    for (int anchor : {0, len / 2, len - 1, -2, len + 1}) {
      const auto kernel = randomKernel32f(rng, len);
      for (int w : {1, 3, 4, 17, 35}) {
        const int h = 3;
        const KernelShape rowShape{len, 1, anchor, 0}, colShape{1, len, 0, anchor};
        Bordered<Tpx32f> rsrc(w, h, rowShape, 3), csrc(w, h, colShape, 1);
        rsrc.img.fillRandom(uint32_t(w + len), -5.0f, 5.0f);
        csrc.img.fillRandom(uint32_t(w * len), -5.0f, 5.0f);
        forEachVariant([&](int) {
          Image<Tpx32f> a(w, h), b(w, h), c(w, h), d(w, h);
          ASSERT_EQ(tpxiFilterRow_32f_C1R(rsrc.roi(), rsrc.img.step(), a.ptr(), a.step(), a.size(),
                                          kernel.data(), len, anchor),
                    tpxStsNoErr);
          ASSERT_EQ(tpxiFilter_32f_C1R(rsrc.roi(), rsrc.img.step(), b.ptr(), b.step(), b.size(),
                                       kernel.data(), {len, 1}, {anchor, 0}),
                    tpxStsNoErr);
          EXPECT_EQ(a.bytes(), b.bytes()) << "row kernel " << len << " anchor " << anchor;
          ASSERT_EQ(tpxiFilterColumn_32f_C1R(csrc.roi(), csrc.img.step(), c.ptr(), c.step(),
                                             c.size(), kernel.data(), len, anchor),
                    tpxStsNoErr);
          ASSERT_EQ(tpxiFilter_32f_C1R(csrc.roi(), csrc.img.step(), d.ptr(), d.step(), d.size(),
                                       kernel.data(), {1, len}, {0, anchor}),
                    tpxStsNoErr);
          EXPECT_EQ(c.bytes(), d.bytes()) << "column kernel " << len << " anchor " << anchor;
        });
      }
    }
  }
}

// {1, 2} as a row kernel with anchor 0: dst(x) = src(x) + 2 src(x - 1).
TEST(Filter32f, RowKernelIsFlipped) {
  const float src[6] = {1, 10, 100, 1000, 10000, 100000};
  const float kernel[2] = {1, 2};
  forEachVariant([&](int) {
    float dst[5] = {};
    ASSERT_EQ(tpxiFilterRow_32f_C1R(src + 1, 24, dst, 20, {5, 1}, kernel, 2, 0), tpxStsNoErr);
    const float want[5] = {12, 120, 1200, 12000, 120000};
    for (int x = 0; x < 5; ++x) EXPECT_EQ(dst[x], want[x]) << x;
  });
}

// A 1x1 kernel {1} copies exactly, except that the sum starting from +0
// turns -0 into +0; NaN and infinities reach exactly the pixels whose
// neighbourhood holds them.
TEST(Filter32f, SpecialValues) {
  const float inf = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float values[7] = {1.5f, -0.0f, 3.0e38f, 1e-40f, -2.25f, inf, -7.0f};
  const float one = 1.0f;
  forEachVariant([&](int) {
    float dst[7];
    ASSERT_EQ(tpxiFilter_32f_C1R(values, 28, dst, 28, {7, 1}, &one, {1, 1}, {0, 0}), tpxStsNoErr);
    for (int x = 0; x < 7; ++x) {
      const float want = values[x] == 0 ? 0.0f : values[x];
      EXPECT_EQ(std::memcmp(&dst[x], &want, 4), 0) << x;
    }
  });
  // 3x3 box over a 9x8 source with a NaN at (3, 2) and +inf at (6, 5): the
  // 7x6 destination (anchor 1,1) has NaN around (2, 1), inf around (5, 4).
  Image<Tpx32f> src(9, 8);
  src.fill([](int x, int y) { return float(x + 2 * y); });
  src.set(3, 2, nan);
  src.set(6, 5, inf);
  const std::vector<float> box(9, 1.0f);
  forEachVariant([&](int) {
    Image<Tpx32f> dst(7, 6);
    const Tpx32f* roi = src.ptr() + 9 + 1;
    ASSERT_EQ(tpxiFilter_32f_C1R(roi, src.step(), dst.ptr(), dst.step(), dst.size(), box.data(),
                                 {3, 3}, {1, 1}),
              tpxStsNoErr);
    for (int y = 0; y < 6; ++y) {
      for (int x = 0; x < 7; ++x) {
        const bool nearNan = std::abs(x - 2) <= 1 && std::abs(y - 1) <= 1;
        const bool nearInf = std::abs(x - 5) <= 1 && std::abs(y - 4) <= 1;
        const float v = dst.get(x, y);
        if (nearNan) {
          EXPECT_TRUE(std::isnan(v)) << x << "," << y;
        } else if (nearInf) {
          EXPECT_EQ(v, inf) << x << "," << y;
        } else {
          EXPECT_EQ(v, 9.0f * float(x + 1 + 2 * (y + 1))) << x << "," << y;
        }
      }
    }
  });
}

#ifdef TPX_HAVE_OPENCV
// OpenCV's correlation with the kernel flipped both ways, on the pixels
// around the region (no border generated), agrees within float rounding.
TEST(Filter32f, AgreesWithOpenCv) {
  std::mt19937 rng(21);
  for (int ks : {3, 5, 7}) {
    const int w = 53, h = 11, r = ks / 2;
    cv::Mat big(h + 2 * r, w + 2 * r, CV_32FC1);
    cv::randu(big, -10.0, 10.0);
    const auto kernel = randomKernel32f(rng, ks * ks);
    cv::Mat flipped(ks, ks, CV_32FC1);
    for (int i = 0; i < ks; ++i)
      for (int j = 0; j < ks; ++j) flipped.at<float>(ks - 1 - i, ks - 1 - j) = kernel[i * ks + j];
    cv::Mat full;
    cv::filter2D(big, full, CV_32F, flipped, cv::Point(r, r), 0, cv::BORDER_REPLICATE);
    const cv::Mat want = full(cv::Rect(r, r, w, h));
    forEachVariant([&](int) {
      std::vector<float> dst(size_t(w * h));
      ASSERT_EQ(tpxiFilter_32f_C1R(big.ptr<float>(r) + r, int(big.step), dst.data(), 4 * w, {w, h},
                                   kernel.data(), {ks, ks}, {r, r}),
                tpxStsNoErr);
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
          ASSERT_NEAR(dst[size_t(y * w + x)], want.at<float>(y, x), 2e-3) << x << "," << y;
    });
  }
}
#endif

// ----- Anchors, steps, checks ----------------------------------------------------

// Anchor (-1, -1) with {1}: each destination pixel is the source pixel one
// row up and one column left, for every type.
TEST(FilterAnchor, OutsideTheKernelShiftsTheNeighbourhood) {
  Image<Tpx8u> s8(6, 5);
  s8.fill([](int x, int y) { return Tpx8u(10 * y + x); });
  Image<Tpx16s> s16(6, 5, 2 * 6);
  s16.fill([](int x, int y) { return Tpx16s(-100 * y + x); });
  Image<Tpx32f> s32(6, 5);
  s32.fill([](int x, int y) { return 0.5f * float(7 * y + x); });
  const int32_t one = 1;
  const float onef = 1.0f;
  forEachVariant([&](int) {
    Image<Tpx8u> d8(5, 4);
    Image<Tpx16s> d16(5, 4);
    Image<Tpx32f> d32(5, 4);
    ASSERT_EQ(tpxiFilter_8u_C1R(s8.ptr() + 6 + 1, s8.step(), d8.ptr(), d8.step(), d8.size(), &one,
                                {1, 1}, {-1, -1}, 1),
              tpxStsNoErr);
    ASSERT_EQ(tpxiFilter_16s_C1R(s16.ptr() + 6 + 1, s16.step(), d16.ptr(), d16.step(), d16.size(),
                                 &one, {1, 1}, {-1, -1}, 1),
              tpxStsNoErr);
    ASSERT_EQ(tpxiFilter_32f_C1R(s32.ptr() + 6 + 1, s32.step(), d32.ptr(), d32.step(), d32.size(),
                                 &onef, {1, 1}, {-1, -1}),
              tpxStsNoErr);
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 5; ++x) {
        EXPECT_EQ(d8.get(x, y), s8.get(x, y));
        EXPECT_EQ(d16.get(x, y), s16.get(x, y));
        EXPECT_EQ(d32.get(x, y), s32.get(x, y));
      }
    }
  });
}

// Steps that are not multiples of the element size advance rows by whole
// elements (rounded down); nothing else in the buffer changes.
TEST(FilterSteps, RoundedDownToWholeElements) {
  const int w = 21, h = 4;
  const int srcStep = 4 * (w + 2) + 3, dstStep = 4 * w + 6;  // 23.75 and 22.5 elements
  std::vector<float> src(size_t(23 * (h + 2) + 8));
  for (size_t i = 0; i < src.size(); ++i) src[i] = float(int(i * 37 % 101) - 50);
  const float kernel[9] = {1, -2, 3, 0.5f, 4, -1, 2, 1, -3};
  const Tpx32f* roi = src.data() + 23 + 1;  // rows 23 elements apart, border of 1
  std::vector<uint8_t> pristine(size_t(22 * h + 9) * 4);
  for (size_t i = 0; i < pristine.size(); ++i) pristine[i] = tpxtest::guardByte(i);
  forEachVariant([&](int index) {
    std::vector<uint8_t> buf = pristine;
    float* dst = reinterpret_cast<float*>(buf.data() + 4);
    ASSERT_EQ(tpxiFilter_32f_C1R(roi, srcStep, dst, dstStep, {w, h}, kernel, {3, 3}, {1, 1}),
              tpxStsNoErr);
    std::vector<uint8_t> want = pristine;
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        long double s = 0;
        for (int i = 0; i < 3; ++i)
          for (int j = 0; j < 3; ++j)
            s += (long double)kernel[i * 3 + j] * roi[(y + 1 - i) * 23 + x + 1 - j];
        const float v = float(s);  // small integers: exact in every variant
        std::memcpy(want.data() + 4 + size_t(y * 22 + x) * 4, &v, 4);
      }
    }
    EXPECT_EQ(want, buf) << "variant " << index;
  });
}

// The same for 16s through the folded taps: odd byte steps on both sides.
TEST(FilterSteps, RoundedDownFor16s) {
  const int w = 19, h = 3;
  const int srcStep = 2 * (w + 2) + 1, dstStep = 2 * w + 3;  // 21.5 and 20.5 elements
  std::vector<Tpx16s> src(size_t(21 * (h + 2) + 4));
  for (size_t i = 0; i < src.size(); ++i) src[i] = Tpx16s(int(i * 7919 % 60001) - 30000);
  const int32_t kernel[9] = {1, -2, 3, 4, 5, -1, 2, 1, -3};
  const Tpx16s* roi = src.data() + 21 + 1;
  const float r = float(1.0 / 3);
  std::vector<uint8_t> pristine(size_t(20 * h + 4) * 2);
  for (size_t i = 0; i < pristine.size(); ++i) pristine[i] = tpxtest::guardByte(i);
  std::vector<uint8_t> want = pristine;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      long double s = 0;
      for (int i = 2; i >= 0; --i)
        for (int j = 2; j >= 0; --j)
          s += (long double)(float(kernel[i * 3 + j]) * r) * roi[(y + 1 - i) * 21 + x + 1 - j];
      const Tpx16s v = round16s(s);
      std::memcpy(want.data() + 2 + size_t(y * 20 + x) * 2, &v, 2);
    }
  }
  forEachVariant([&](int index) {
    std::vector<uint8_t> buf = pristine;
    Tpx16s* dst = reinterpret_cast<Tpx16s*>(buf.data() + 2);
    ASSERT_EQ(tpxiFilter_16s_C1R(roi, srcStep, dst, dstStep, {w, h}, kernel, {3, 3}, {1, 1}, 3),
              tpxStsNoErr);
    EXPECT_EQ(want, buf) << "variant " << index;
  });
}

}  // namespace
