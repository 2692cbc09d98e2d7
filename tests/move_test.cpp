// Replicated border, mirror, transpose, ramp and threshold: check orders,
// the rules written independently here (OpenCV alongside where it computes
// the same thing), untouched bytes, and agreement of all variants.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>
#include <limits>

#include "tests/harness.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

using tpxtest::awkwardShapes;
using tpxtest::bitsOf;
using tpxtest::expectVariantsMatchGeneric;
using tpxtest::forEachVariant;
using tpxtest::fromBits;
using tpxtest::Image;
using tpxtest::Outcome;
using tpxtest::Shape;

template <typename T>
Image<T> imageOf(const Shape& s, uint32_t seed, int extraPad = 0) {
  Image<T> img(s.width, s.height, s.width * int(sizeof(T)) + s.padBytes + extraPad);
  img.fill([&](int x, int y) { return T(seed * 2654435761u + uint32_t(y * 977 + x) * 40503u); });
  return img;
}

#ifdef TPX_HAVE_OPENCV
// OpenCV wants steps in whole elements: a tight copy.
template <typename T>
cv::Mat toMat(const Image<T>& img) {
  cv::Mat m(img.height(), img.width(), cv::traits::Type<T>::value);
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x) m.at<T>(y, x) = img.get(x, y);
  return m;
}
#endif

template <typename T>
Outcome outcomeOf(TpxStatus status, const Image<T>& img) {
  Outcome o;
  o.status = status;
  o.add(img.bytes());
  return o;
}

// ----- Check orders: two bad arguments at once; nothing written --------------

TEST(MoveChecks, OrderAndNothingWritten) {
  Image<Tpx32s> s(8, 8), d(8, 8);
  Image<Tpx8u> s8(8, 8), d8(8, 8);
  Image<Tpx32f> f(8, 8);
  Tpx32s *ps = s.ptr(), *pd = d.ptr();
  Tpx8u *p8 = s8.ptr(), *q8 = d8.ptr();
  float* pf = f.ptr();
  const TpxiSize k8{8, 8}, k0{0, 8};
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const std::vector<uint8_t> before = d.bytes(), before8 = d8.bytes(), beforeF = f.bytes();
  forEachVariant([&](int) {
    // Each with two bad arguments where the order matters.
    const std::pair<TpxStatus, TpxStatus> cases[] = {
        {tpxiCopyReplicateBorder_32s_C1R(ps, 0, k8, nullptr, 32, k8, 0, 0), -8},
        {tpxiCopyReplicateBorder_32s_C1R(ps, 0, k0, pd, 32, k8, -1, 0), -14},
        {tpxiCopyReplicateBorder_32s_C1R(ps, 32, k8, pd, -32, k8, 0, 0), -14},
        {tpxiCopyReplicateBorder_32s_C1R(ps, 32, {1, 1}, pd, 32, k8, 0, INT_MAX), -6},
        {tpxiCopyReplicateBorder_32s_C1R(ps, 32, k8, pd, 32, k8, 1, 0), -6},
        {tpxiCopyReplicateBorder_32s_C1R(ps, 32, {2, 2}, pd, 32, k8, -1, 0), -6},
        {tpxiMirror_8u_C1R(nullptr, 8, q8, 8, k0, 3), -8},
        {tpxiMirror_8u_C1R(p8, 8, q8, 8, k0, 3), -6},
        {tpxiMirror_8u_C1R(p8, 8, q8, 8, k8, 3), -21},
        {tpxiMirror_8u_C1R(p8, 0, q8, -8, k8, -1), -21},
        {tpxiMirror_32s_C1IR(pd, 32, {8, 0}, -1), -6},
        {tpxiMirror_32s_C1IR(pd, 32, {8, 1}, 7), -21},  // only flip 0 returns early
        {tpxiMirror_32s_C1IR(pd, 32, {8, 1}, 0), 0},
        {tpxiTranspose_32s_C1IR(nullptr, 32, {4, 5}), -8},
        {tpxiTranspose_32s_C1IR(pd, 32, {4, 5}), -6},
        {tpxiImageRamp_32f_C1R(nullptr, 0, k0, 0, 1, 0), -8},
        {tpxiImageRamp_32f_C1R(pf, 0, k0, 0, 1, 0), -14},
        {tpxiImageRamp_32f_C1R(pf, 32, {8, -1}, 0, 1, 7), -6},
        {tpxiImageRamp_32f_C1R(pf, 32, k8, 0, 1, 7), 0},  // unknown direction: nothing written
        {tpxiImageRamp_32f_C1R(pf, 32, k8, 0, 1, -1), 0},
        {tpxiThreshold_LTValGTVal_32f_C1R(pf, 0, nullptr, 0, k0, 2, 0, 1, 0), -8},
        {tpxiThreshold_LTValGTVal_32f_C1R(pf, 0, pf, 32, k0, 2, 0, 1, 0), -6},
        {tpxiThreshold_LTValGTVal_32f_C1IR(pf, 0, k8, 2, 0, 1, 0), -14},
        {tpxiThreshold_LTValGTVal_32f_C1IR(pf, 32, k8, 2, 0, 1, 0), -18},
    };
    for (size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].first, cases[i].second) << i;
    EXPECT_TRUE(d.bytes() == before && d8.bytes() == before8 && f.bytes() == beforeF);
    Image<Tpx32f> g(8, 2);  // a NaN bound passes the bounds check
    EXPECT_EQ(tpxiThreshold_LTValGTVal_32f_C1IR(g.ptr(), g.step(), g.size(), nan, 0, 1, 0), 0);
    // Step 1 is the smallest legal step (every row then starts at the first).
    EXPECT_EQ(tpxiThreshold_LTValGTVal_32f_C1R(g.ptr(), 1, g.ptr(), 1, g.size(), 0, 0, 1, 0), 0);
    EXPECT_EQ(tpxiImageRamp_32f_C1R(g.ptr(), 1, g.size(), 0, 1, 0), 0);
    EXPECT_EQ(tpxiCopyReplicateBorder_32s_C1R(ps, 1, {1, 2}, pd, 1, {1, 2}, 0, 0), 0);
  });
}

// ----- Replicated border ------------------------------------------------------

TEST(ReplicateBorder, RuleOpenCvAndInPlace) {
  const int borders[][4] = {
      {0, 0, 0, 0}, {1, 1, 1, 1}, {0, 3, 17, 2}, {17, 0, 5, 16}, {4, 9, 0, 1}};
  for (const Shape& sh : awkwardShapes()) {
    for (const auto& b : borders) {  // top, left, bottom, right
      const int top = b[0], left = b[1], dw = sh.width + b[1] + b[3], dh = sh.height + b[0] + b[2];
      const Image<Tpx32s> src = imageOf<Tpx32s>(sh, 1);
      const Outcome got = expectVariantsMatchGeneric([&] {
        Image<Tpx32s> dst(dw, dh, dw * 4 + sh.padBytes);
        return outcomeOf(
            tpxiCopyReplicateBorder_32s_C1R(src.ptr(), src.step(), src.size(), dst.ptr(),
                                            dst.step(), dst.size(), top, left),
            dst);
      });
      // The same layout done in place: the source already sits at (left, top).
      Image<Tpx32s> want(dw, dh, dw * 4 + sh.padBytes), inPlace = want;
      want.fill([&](int x, int y) {
        return src.get(std::clamp(x - left, 0, sh.width - 1),
                       std::clamp(y - top, 0, sh.height - 1));
      });
      for (int y = 0; y < sh.height; ++y)
        for (int x = 0; x < sh.width; ++x) inPlace.set(x + left, y + top, src.get(x, y));
      const Tpx32s* inner = reinterpret_cast<const Tpx32s*>(
          reinterpret_cast<const char*>(inPlace.ptr()) + top * inPlace.step() + left * 4);
      ASSERT_EQ(tpxiCopyReplicateBorder_32s_C1R(inner, inPlace.step(), src.size(), inPlace.ptr(),
                                                inPlace.step(), inPlace.size(), top, left),
                0);
      ASSERT_EQ(got.status, 0);
      EXPECT_TRUE(got.bytes == want.bytes()) << sh.width << "x" << sh.height << " top " << top;
      EXPECT_TRUE(inPlace.bytes() == want.bytes()) << "in place " << sh.width << "x" << sh.height;
#ifdef TPX_HAVE_OPENCV
      const cv::Mat s = toMat(src);
      cv::Mat cvOut;
      cv::copyMakeBorder(s, cvOut, top, b[2], left, b[3], cv::BORDER_REPLICATE);
      for (int y = 0; y < dh; ++y)
        for (int x = 0; x < dw; ++x) ASSERT_EQ(cvOut.at<int32_t>(y, x), want.get(x, y));
#endif
    }
  }
}

// ----- Mirror -----------------------------------------------------------------

template <typename T>
T mirroredPixel(const Image<T>& src, int flip, int x, int y) {
  const int sx = flip == 0 ? x : src.width() - 1 - x, sy = flip == 1 ? y : src.height() - 1 - y;
  return src.get(sx, sy);
}

TEST(Mirror, BothTypesRuleAndOpenCv) {
  for (Shape sh : awkwardShapes()) {
    for (int flip = 0; flip < 3; ++flip) {
      for (bool negative : {false, true}) {
        const Image<Tpx8u> src8 = imageOf<Tpx8u>(sh, 2);
        const int step8 = sh.width + sh.padBytes, step32 = sh.width * 4 + sh.padBytes;
        const Outcome got8 = expectVariantsMatchGeneric([&] {
          Image<Tpx8u> dst(sh.width, sh.height, negative ? -step8 : step8);
          return outcomeOf(
              tpxiMirror_8u_C1R(src8.ptr(), src8.step(), dst.ptr(), dst.step(), dst.size(), flip),
              dst);
        });
        Image<Tpx8u> want8(sh.width, sh.height, negative ? -step8 : step8);
        want8.fill([&](int x, int y) { return mirroredPixel(src8, flip, x, y); });
        EXPECT_TRUE(got8.status == 0 && got8.bytes == want8.bytes())
            << sh.width << "x" << sh.height;

        const Image<Tpx32s> src32 = [&] {
          Image<Tpx32s> img(sh.width, sh.height, negative ? -step32 : step32);
          img.fill([](int x, int y) { return Tpx32s(y * 1000 + x); });
          return img;
        }();
        const Outcome got32 = expectVariantsMatchGeneric([&] {
          Image<Tpx32s> img = src32;
          return outcomeOf(tpxiMirror_32s_C1IR(img.ptr(), img.step(), img.size(), flip), img);
        });
        Image<Tpx32s> want32 = src32;
        want32.fill([&](int x, int y) { return mirroredPixel(src32, flip, x, y); });
        EXPECT_TRUE(got32.status == 0 && got32.bytes == want32.bytes())
            << sh.width << " flip " << flip;
#ifdef TPX_HAVE_OPENCV
        const cv::Mat s = toMat(src8);
        cv::Mat cvOut;
        cv::flip(s, cvOut, flip == 2 ? -1 : flip);
        for (int y = 0; y < sh.height; ++y)
          for (int x = 0; x < sh.width; ++x) ASSERT_EQ(cvOut.at<uint8_t>(y, x), want8.get(x, y));
#endif
      }
    }
  }
}

// ----- Transpose --------------------------------------------------------------

TEST(Transpose, PlainTransposeAndOpenCv) {
  for (int n : {1, 2, 3, 15, 16, 17, 20, 33}) {
    for (int pad : {0, 3, 36, -8 * n}) {  // the last: a negative step
      const int step = pad < 0 ? -(n * 4 + 5) : n * 4 + pad;
      Image<Tpx32s> src(n, n, step);
      src.fill([](int x, int y) { return Tpx32s(y * 1000 + x); });
      const Outcome got = expectVariantsMatchGeneric([&] {
        Image<Tpx32s> img = src;
        return outcomeOf(tpxiTranspose_32s_C1IR(img.ptr(), img.step(), img.size()), img);
      });
      Image<Tpx32s> want = src;
      want.fill([&](int x, int y) { return src.get(y, x); });
      EXPECT_TRUE(got.status == 0 && got.bytes == want.bytes()) << n << " step " << step;
#ifdef TPX_HAVE_OPENCV
      if (step > 0) {
        cv::Mat t = toMat(src);
        cv::transpose(t, t);
        for (int y = 0; y < n; ++y)
          for (int x = 0; x < n; ++x) ASSERT_EQ(t.at<int32_t>(y, x), want.get(x, y));
      }
#endif
    }
  }
}

// Rows that share memory (zero or short steps): the swaps then depend on
// their order, which must be the same in every variant.
TEST(MoveInPlace, SharedRowsAgreeAcrossVariants) {
  for (int step : {0, 4, 12, 20}) {
    for (int op = 0; op < 4; ++op) {
      expectVariantsMatchGeneric([&] {
        Image<Tpx32s> img(21, 21, step == 0 ? Image<Tpx32s>::kZeroStep : step);
        img.fill([](int x, int y) { return Tpx32s(y * 100 + x); });
        return outcomeOf(op == 3 ? tpxiTranspose_32s_C1IR(img.ptr(), img.step(), img.size())
                                 : tpxiMirror_32s_C1IR(img.ptr(), img.step(), img.size(), op),
                         img);
      });
    }
  }
}

// ----- Ramp -------------------------------------------------------------------

TEST(Ramp, RuleInFloatAndWholeElementSteps) {
  const float params[][2] = {{0.0f, 1.0f}, {-3.25f, 0.1f}, {1e7f, -0.3333f}, {0.5f, 1e-30f}};
  for (Shape sh : awkwardShapes()) {
    for (int dir = 0; dir < 3; ++dir) {
      for (const auto& p : params) {
        const int tight = sh.width * 4 + (sh.padBytes & ~3);
        Outcome first;
        for (int extra = 0; extra < 4; ++extra) {  // steps S .. S + 3 give S's values
          const Outcome got = expectVariantsMatchGeneric([&] {
            Image<Tpx32f> img(sh.width, sh.height, tight + extra);
            return outcomeOf(
                tpxiImageRamp_32f_C1R(img.ptr(), img.step(), img.size(), p[0], p[1], dir), img);
          });
          Image<Tpx32f> ref(sh.width, sh.height, tight + extra);
          if (extra == 0) {
            ref.fill([&](int x, int y) {
              const int32_t c = dir == 0 ? x : dir == 1 ? y : int32_t(uint32_t(x) * uint32_t(y));
              return float(c) * p[1] + p[0];
            });
            first = outcomeOf(0, ref);
            EXPECT_TRUE(got.status == 0 && got.bytes == first.bytes) << sh.width << " dir " << dir;
          } else {
            // Rows land at y * (tight / 4) floats, whatever the extra bytes.
            std::vector<float> g(size_t(sh.width)), w(size_t(sh.width));
            for (int y = 0; y < sh.height; ++y) {
              std::memcpy(g.data(), got.bytes.data() + 19 + size_t(y) * tight, g.size() * 4);
              std::memcpy(w.data(), first.bytes.data() + 19 + size_t(y) * tight, w.size() * 4);
              EXPECT_EQ(g, w) << "extra " << extra;
            }
          }
        }
      }
    }
  }
}

TEST(Ramp, ProductsBeyondFloatPrecision) {
  const int n = 4100;  // x * y passes 2^24: an incremented float would drift
  std::vector<float> buf(size_t(n) * n);
  const Outcome got = expectVariantsMatchGeneric([&] {
    std::fill(buf.begin(), buf.end(), 0.0f);
    Outcome o;
    o.status = tpxiImageRamp_32f_C1R(buf.data(), n * 4, {n, n}, 0.25f, 0.7f, tpxRampAlongXY);
    o.add(buf);
    return o;
  });
  size_t bad = 0;
  for (int y = 0; y < n; ++y)
    for (int x = 0; x < n; ++x)
      bad += bitsOf(buf[size_t(y) * n + x]) != bitsOf(float(int32_t(x * y)) * 0.7f + 0.25f);
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(bad, 0u);
}

// ----- Threshold --------------------------------------------------------------

// The order of the bit patterns, written out: by sign, then by magnitude bits.
bool patternBelow(float a, float b) {
  const uint32_t ua = bitsOf(a), ub = bitsOf(b);
  const bool na = ua >> 31, nb = ub >> 31;
  if (na != nb) return na;
  return na ? (ua & 0x7FFFFFFF) > (ub & 0x7FFFFFFF) : ua < ub;
}

float thresholdRule(float v, float lt, float vlt, float gt, float vgt) {
  if (patternBelow(v, lt)) return vlt;
  if (patternBelow(gt, v)) return vgt;
  return v;
}

TEST(Threshold, SignCombinationsAndSpecials) {
  const float inf = std::numeric_limits<float>::infinity();
  const float nan = fromBits(0x7FC00000u), negNan = fromBits(0xFFC00000u);
  const float den = std::numeric_limits<float>::denorm_min();
  const std::vector<float> values = {0.0f,   -0.0f, 1.0f, -1.0f, 2.5f,   -2.5f, inf,    -inf, nan,
                                     negNan, den,   -den, 1e30f, -1e30f, 0.75f, -0.75f, 3.0f};
  const float bounds[][2] = {{-2.0f, -1.0f}, {-1.0f, 2.5f},  {0.0f, 1.0f},   {-0.0f, 0.0f},
                             {1.0f, 3.0f},   {2.5f, 2.5f},   {-inf, inf},    {nan, nan},
                             {-den, den},    {-2.5f, -2.5f}, {negNan, 0.75f}};
  const int width = int(values.size());
  for (const auto& b : bounds) {
    Image<Tpx32f> src(width, 3, width * 4 + 8);
    src.fill([&](int x, int y) { return values[size_t((x + y) % width)]; });
    Image<Tpx32f> want = src;
    want.fill([&](int x, int y) { return thresholdRule(src.get(x, y), b[0], -7.0f, b[1], 9.0f); });
    const Outcome got = expectVariantsMatchGeneric([&] {
      Image<Tpx32f> dst = src;
      return outcomeOf(
          tpxiThreshold_LTValGTVal_32f_C1R(src.ptr(), src.step(), dst.ptr(), dst.step(), dst.size(),
                                           b[0], -7.0f, b[1], 9.0f),
          dst);
    });
    EXPECT_TRUE(got.status == 0 && got.bytes == want.bytes()) << b[0] << " " << b[1];
    Image<Tpx32f> inPlace = src;
    EXPECT_EQ(tpxiThreshold_LTValGTVal_32f_C1IR(inPlace.ptr(), inPlace.step(), inPlace.size(), b[0],
                                                -7.0f, b[1], 9.0f),
              0);
    EXPECT_TRUE(inPlace.bytes() == want.bytes());
  }
}

TEST(Threshold, OrdinaryValuesMatchOpenCvAndStepsRoundDown) {
  for (Shape sh : awkwardShapes()) {
    const int tight = sh.width * 4 + (sh.padBytes & ~3);
    Image<Tpx32f> src(sh.width, sh.height, tight);
    src.fillRandom(sh.width * 7 + sh.height, -10.0f, 10.0f);
    Image<Tpx32f> want = src;
    want.fill(
        [&](int x, int y) { return thresholdRule(src.get(x, y), -3.0f, -100.0f, 4.0f, 50.0f); });
    for (int extra = 0; extra < 4; ++extra) {  // S + 1 .. S + 3 advance like S
      const Outcome got = expectVariantsMatchGeneric([&] {
        Image<Tpx32f> img = src;
        return outcomeOf(tpxiThreshold_LTValGTVal_32f_C1IR(img.ptr(), tight + extra, img.size(),
                                                           -3.0f, -100.0f, 4.0f, 50.0f),
                         img);
      });
      EXPECT_TRUE(got.status == 0 && got.bytes == want.bytes()) << sh.width << " +" << extra;
    }
#ifdef TPX_HAVE_OPENCV
    const cv::Mat s(sh.height, sh.width, CV_32FC1, src.ptr(), size_t(tight));
    cv::Mat cvOut = s.clone();
    cvOut.setTo(-100.0f, s < -3.0f);
    cvOut.setTo(50.0f, s > 4.0f);
    for (int y = 0; y < sh.height; ++y)
      for (int x = 0; x < sh.width; ++x) ASSERT_EQ(cvOut.at<float>(y, x), want.get(x, y));
#endif
  }
}

}  // namespace
