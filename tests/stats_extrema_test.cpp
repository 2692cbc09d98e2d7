// Statistics: MinIndx and MaxIndx. The reference is the documented scan
// (first pixel, then strictly better pixels in raster order; the 32f minimum
// is replaced unless new >= current), written here; cases with ties, type
// limits and NaN pin the positions down by hand.
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

template <typename T>
struct Found {
  T value;
  int x, y;
};

template <typename T, bool kMax>
Found<T> reference(const Image<T>& img) {
  Found<T> f{img.get(0, 0), 0, 0};
  for (int y = 0; y < img.height(); ++y) {
    for (int x = 0; x < img.width(); ++x) {
      const T v = img.get(x, y);
      const bool replace = kMax ? v > f.value : !(v >= f.value);
      if (replace) f = Found<T>{v, x, y};
    }
  }
  return f;
}

template <typename T, bool kMax>
TpxStatus call(const Image<T>& img, T* value, int* x, int* y) {
  if constexpr (std::is_same_v<T, Tpx8u>) {
    return (kMax ? tpxiMaxIndx_8u_C1R : tpxiMinIndx_8u_C1R)(img.ptr(), img.step(), img.size(),
                                                            value, x, y);
  } else if constexpr (std::is_same_v<T, Tpx16s>) {
    return (kMax ? tpxiMaxIndx_16s_C1R : tpxiMinIndx_16s_C1R)(img.ptr(), img.step(), img.size(),
                                                              value, x, y);
  } else {
    return (kMax ? tpxiMaxIndx_32f_C1R : tpxiMinIndx_32f_C1R)(img.ptr(), img.step(), img.size(),
                                                              value, x, y);
  }
}

template <typename T>
bool sameBits(T a, T b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// Runs the export in every variant, expects them to agree and the generic
// outcome to equal the reference (NaN compared by bits).
template <typename T, bool kMax>
void expectReference(const Image<T>& img) {
  const Outcome generic = expectVariantsMatchGeneric([&] {
    T value = T(7);
    int xy[2] = {-9, -9};
    Outcome o;
    o.status = call<T, kMax>(img, &value, &xy[0], &xy[1]);
    return o.add(value).add(xy);
  });
  ASSERT_EQ(generic.status, tpxStsNoErr);
  T value;
  int xy[2];
  std::memcpy(&value, generic.bytes.data(), sizeof(T));
  std::memcpy(xy, generic.bytes.data() + sizeof(T), sizeof(xy));
  const Found<T> want = reference<T, kMax>(img);
  EXPECT_TRUE(sameBits(value, want.value)) << +value << " vs " << +want.value;
  EXPECT_EQ(xy[0], want.x);
  EXPECT_EQ(xy[1], want.y);
}

template <typename T>
void expectBoth(const Image<T>& img) {
  expectReference<T, false>(img);
  expectReference<T, true>(img);
}

// Wide ranges find a unique extreme; narrow ones make many ties, where only
// the first position is right.
TEST(StatsExtrema, RandomImagesInEveryVariant) {
  uint32_t seed = 100;
  for (const Shape& s : tpxtest::awkwardShapes()) {
    SCOPED_TRACE(testing::Message() << s.width << "x" << s.height << " pad " << s.padBytes);
    for (bool narrow : {false, true}) {
      Image<Tpx8u> u8(s.width, s.height, s.width + s.padBytes);
      u8.fillRandom(seed++, narrow ? 100 : 0, narrow ? 103 : 255);
      expectBoth(u8);
      Image<Tpx16s> s16(s.width, s.height, 2 * s.width + s.padBytes);
      s16.fillRandom(seed++, narrow ? -2 : -32768, narrow ? 1 : 32767);
      expectBoth(s16);
      Image<Tpx32f> f32(s.width, s.height, 4 * s.width + s.padBytes);
      std::mt19937 rng(seed++);
      const float kFew[] = {-1.5f, -0.0f, 0.0f, 2.0f};
      f32.fill([&](int, int) {
        return narrow ? kFew[rng() % 4] : float(int(rng() % 2000001) - 1000000) / 64.0f;
      });
      expectBoth(f32);
    }
  }
}

// Rows that improve on the previous ones all the way down, so that every row
// updates the position (a descending ramp for the minimum, rising for max).
TEST(StatsExtrema, EveryRowImproves) {
  for (int width : {3, 16, 17, 40}) {
    Image<Tpx8u> u8(width, 9, width + 5);
    u8.fill([&](int x, int y) { return Tpx8u(100 + (x * 7 + y * 13) % 50 - y * 5); });
    expectBoth(u8);
    Image<Tpx16s> s16(width, 9, 2 * width + 3);
    s16.fill([&](int x, int y) { return Tpx16s((x * 7 % 11) * (y + 1) * 300 - y * 900); });
    expectBoth(s16);
    Image<Tpx32f> f32(width, 9, 4 * width + 1);
    f32.fill(
        [&](int x, int y) { return float(x % 5) * 0.25f + float(y) * (y % 2 ? 3.0f : -3.0f); });
    expectBoth(f32);
  }
}

// Hand-made images through the reference scan: two equal extremes (the
// upper, then the left one must win), flat images and a single pixel (the
// origin), and limits of the type met twice (a scan that stops at the first
// must not move on).
TEST(StatsExtrema, TiesFlatImagesAndTypeLimits) {
  struct Pair {
    int ax, ay, bx, by;  // a comes first in raster order
  };
  const Pair kPairs[] = {
      {30, 1, 2, 4}, {5, 2, 33, 2}, {16, 3, 17, 3}, {0, 0, 39, 5}, {39, 2, 0, 3}};
  for (const Pair& p : kPairs) {
    for (int v : {0, 3, 200, 255}) {  // below and above the background, and the limits
      Image<Tpx8u> u8(40, 6, 43);
      u8.fill([](int x, int y) { return Tpx8u(50 + (x + y) % 7); });
      u8.set(p.ax, p.ay, Tpx8u(v));
      u8.set(p.bx, p.by, Tpx8u(v));
      expectBoth(u8);
      Image<Tpx16s> s16(40, 6, 83);
      s16.fill([](int x, int y) { return Tpx16s((x * 1000 + y * 77) % 30000 - 15000); });
      const Tpx16s v16 = Tpx16s(v == 0 ? -32768 : v == 255 ? 32767 : (v - 100) * 300);
      s16.set(p.ax, p.ay, v16);
      s16.set(p.bx, p.by, v16);
      expectBoth(s16);
      Image<Tpx32f> f32(40, 6, 161);
      f32.fill([](int x, int y) { return float((x * 3 + y) % 11) * 0.5f; });
      f32.set(p.ax, p.ay, float(v - 100));
      f32.set(p.bx, p.by, float(v - 100));
      expectBoth(f32);
    }
  }
  for (TpxiSize size : {TpxiSize{1, 1}, TpxiSize{37, 5}}) {
    Image<Tpx16s> flat(size.width, size.height, 2 * size.width + 1);
    flat.fill([](int, int) { return Tpx16s(-7); });
    expectBoth(flat);
  }
}

// NaN: the maximum ignores it unless it is the first pixel; the minimum is
// taken over by it, and then by the pixel right after it.
TEST(StatsExtrema, NaNCasesForFloat) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  struct Pixel {
    int x, y;
    float v;
  };
  struct Case {
    const char* what;
    float background;  // of a 9 x 4 image
    std::vector<Pixel> pixels;
    bool max;
    float value;  // expected (NaN compared by bits)
    int x, y;
  };
  const Case kCases[] = {
      {"max ignores NaN", 5, {{3, 1, nan}, {6, 2, 8.0f}}, true, 8.0f, 6, 2},
      {"max keeps a NaN first pixel", 5, {{0, 0, nan}, {6, 2, 8.0f}}, true, nan, 0, 0},
      {"max over NaNs", 5, {{1, 0, nan}, {2, 0, nan}, {3, 0, nan}}, true, 5.0f, 0, 0},
      {"max: +inf", 5, {{5, 3, inf}}, true, inf, 5, 3},
      {"max: -0 before +0 keeps -0", -3, {{0, 0, -0.0f}, {1, 0, 0.0f}}, true, -0.0f, 0, 0},
      {"min: pixel after a NaN takes over", 10, {{3, 1, nan}, {4, 1, 6.0f}}, false, 6.0f, 4, 1},
      {"min: later smaller pixel still wins",
       10,
       {{3, 1, nan}, {4, 1, 6.0f}, {2, 3, 1.0f}},
       false,
       1.0f,
       2,
       3},
      {"min: NaN last pixel stays", 10, {{2, 0, 1.0f}, {8, 3, nan}}, false, nan, 8, 3},
      {"min: NaN first pixel replaced by the second",
       10,
       {{0, 0, nan}, {1, 0, 7.0f}},
       false,
       7.0f,
       1,
       0},
      {"min: NaN ends a row, next row's first takes over",
       10,
       {{8, 1, nan}, {0, 2, 9.0f}},
       false,
       9.0f,
       0,
       2},
      {"min: two NaNs in a row", 10, {{2, 2, nan}, {3, 2, nan}, {4, 2, 6.5f}}, false, 6.5f, 4, 2},
      {"min: -inf", 10, {{5, 1, -inf}, {6, 3, -inf}}, false, -inf, 5, 1},
      {"min: +0 before -0 keeps +0", 10, {{1, 1, 0.0f}, {2, 1, -0.0f}}, false, 0.0f, 1, 1},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.what);
    Image<Tpx32f> img(9, 4, 37);
    img.fill([&](int, int) { return c.background; });
    for (const Pixel& p : c.pixels) img.set(p.x, p.y, p.v);
    forEachVariant([&](int) {
      Tpx32f v = 0;
      int x = -1, y = -1;
      ASSERT_EQ((c.max ? tpxiMaxIndx_32f_C1R : tpxiMinIndx_32f_C1R)(img.ptr(), img.step(),
                                                                    img.size(), &v, &x, &y),
                tpxStsNoErr);
      EXPECT_TRUE(sameBits(v, c.value)) << v;
      EXPECT_EQ(x, c.x);
      EXPECT_EQ(y, c.y);
    });
    if (c.max) {
      expectReference<Tpx32f, true>(img);
    } else {
      expectReference<Tpx32f, false>(img);
    }
  }
}

// NaNs sprinkled over awkward shapes: every variant follows the scan.
TEST(StatsExtrema, RandomNaNsInEveryVariant) {
  uint32_t seed = 900;
  for (const Shape& s : tpxtest::awkwardShapes()) {
    SCOPED_TRACE(testing::Message() << s.width << "x" << s.height);
    Image<Tpx32f> img(s.width, s.height, 4 * s.width + s.padBytes);
    std::mt19937 rng(seed++);
    img.fill([&](int, int) {
      const uint32_t r = rng() % 100;
      return r < 8 ? std::numeric_limits<float>::quiet_NaN() : float(int(r) - 50);
    });
    expectBoth(img);
  }
}

}  // namespace
