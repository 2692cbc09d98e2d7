// Rank filters: every variant against a median by nth_element and a literal
// first-kept fold written here, the replicated border against the fold on a
// padded copy, OpenCV's medianBlur/erode/dilate, check orders and guards.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "tests/bordered.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxtest::Bordered;
using tpxtest::expectVariantsMatchGeneric;
using tpxtest::Image;
using tpxtest::Margins;
using tpxtest::Outcome;

struct Mask {
  int w, h, ax, ay;
};
Margins marginsOf(const Mask& m) { return {m.ax, m.ay, m.w - 1 - m.ax, m.h - 1 - m.ay}; }

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

uint8_t medianRef(const Bordered<Tpx8u>& s, const Mask& m, int x, int y) {
  std::vector<uint8_t> v;
  for (int i = 0; i < m.h; ++i)
    for (int j = 0; j < m.w; ++j) v.push_back(s.at(x - m.ax + j, y - m.ay + i));
  std::nth_element(v.begin(), v.begin() + long(v.size() / 2), v.end());
  return v[v.size() / 2];
}

// The fold rule, literally, over a window of get(col, row).
template <class Get>
float foldRef(bool isMin, int x0, int x1, int y0, int y1, Get get) {
  float acc = 0;
  for (int y = y0; y <= y1; ++y) {
    float r = get(x0, y);
    for (int x = x0 + 1; x <= x1; ++x) {
      const float v = get(x, y);
      if (isMin ? v < r : v > r) r = v;
    }
    if (y == y0 || (isMin ? r < acc : r > acc)) acc = r;
  }
  return acc;
}

// Values with ties, spikes and flat runs; for 32f also NaN, +-0 and +-inf.
template <typename T>
void fillAwkward(Image<T>& img, uint32_t seed, bool specials) {
  std::mt19937 rng(seed);
  const float pool[] = {kNaN, 0.0f, -0.0f, kInf, -kInf, 1.0f, -1.0f};
  img.fill([&](int x, int y) {
    const uint32_t r = rng() % 16;
    if constexpr (sizeof(T) == 1) {
      return T(r < 2 ? 255 * r : (y % 3 == 0 && x % 7 < 4) ? 9 : rng() % 256);
    } else {
      return specials && r < 6 ? pool[rng() % 7] : T(int(rng() % 64) - 32) / 4;
    }
  });
}

// Runs call(dst) under every variant on a guarded destination (rows padded
// by pad bytes) and returns the generic region, row by row.
template <typename T, class Call>
std::vector<T> runVariants(int w, int h, int pad, Call&& call) {
  const Outcome o = expectVariantsMatchGeneric([&] {
    Image<T> dst(w, h, int(sizeof(T)) * w + pad);
    Outcome r;
    r.status = call(dst);
    EXPECT_TRUE(dst.guardsIntact());
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) r.add(dst.get(x, y));
    return r;
  });
  EXPECT_EQ(o.status, tpxStsNoErr);
  std::vector<T> v(size_t(w) * size_t(h));
  std::memcpy(v.data(), o.bytes.data(), std::min(o.bytes.size(), v.size() * sizeof(T)));
  return v;
}

const Mask kMedianMasks[] = {{1, 1, 0, 0}, {3, 1, 1, 0}, {5, 1, 4, 0}, {1, 3, 0, 2}, {1, 5, 0, 0},
                             {3, 3, 1, 1}, {3, 3, 0, 2}, {5, 5, 2, 2}, {5, 5, 4, 0}, {7, 1, 3, 0},
                             {1, 7, 0, 6}, {3, 5, 2, 4}, {9, 3, 0, 1}, {7, 7, 6, 0}, {15, 15, 7, 7},
                             {1, 9, 0, 4}, {5, 1, 2, 0}, {1, 3, 0, 1}};

// Centred 3- and 5-pixel masks also run the one-dimensional forms.
TEST(RankMedian, EveryMaskAndVariantMatchesTheSortedWindow) {
  const auto shapes = tpxtest::awkwardShapes();
  int n = 0;
  for (const Mask& m : kMedianMasks) {
    const bool big = m.w * m.h > 25;
    for (size_t i = n % 2; i < shapes.size(); i += big ? 5 : 2) {
      const auto& sh = shapes[i];
      SCOPED_TRACE(testing::Message() << m.w << "x" << m.h << " at " << m.ax << "," << m.ay
                                      << " on " << sh.width << "x" << sh.height);
      Bordered<Tpx8u> src(sh.width, sh.height, marginsOf(m), sh.padBytes);
      fillAwkward(src.img, uint32_t(++n), false);
      const int code = m.w * 10 + m.h;
      const bool oneD = (code == 31 || code == 51 || code == 13 || code == 15) && m.ax == m.w / 2 &&
                        m.ay == m.h / 2;
      for (int form = 0; form < (oneD ? 2 : 1); ++form) {
        const auto got = runVariants<Tpx8u>(sh.width, sh.height, sh.padBytes, [&](auto& dst) {
          if (form == 0) {
            return tpxiFilterMedian_8u_C1R(src.roi(), src.step(), dst.ptr(), dst.step(), dst.size(),
                                           {m.w, m.h}, {m.ax, m.ay});
          }
          auto f = m.w == 1 ? tpxiFilterMedianVert_8u_C1R : tpxiFilterMedianHoriz_8u_C1R;
          return f(src.roi(), src.step(), dst.ptr(), dst.step(), dst.size(), code);
        });
        for (int y = 0, k = 0; y < sh.height; ++y)
          for (int x = 0; x < sh.width; ++x, ++k) ASSERT_EQ(got[k], medianRef(src, m, x, y));
      }
    }
  }
  const Tpx8u row[] = {9, 1, 8, 2, 7, 3, 6};
  Tpx8u out = 0;
  EXPECT_EQ(tpxiFilterMedian_8u_C1R(row + 3, 7, &out, 1, {1, 1}, {7, 1}, {3, 0}), tpxStsNoErr);
  EXPECT_EQ(out, 6);
}

// Min and Max with NaN, +-0 and +-inf anywhere, even mask sides, odd steps.
TEST(RankMinMax, EveryVariantMatchesTheFirstKeptFold) {
  const Mask masks[] = {{1, 1, 0, 0}, {2, 2, 1, 1}, {3, 3, 1, 1}, {3, 3, 0, 2},   {5, 1, 4, 0},
                        {1, 4, 0, 3}, {7, 7, 3, 3}, {9, 3, 8, 0}, {15, 15, 7, 7}, {4, 6, 2, 5}};
  const auto shapes = tpxtest::awkwardShapes();
  int n = 0;
  for (const Mask& m : masks) {
    for (size_t i = n % 3; i < shapes.size(); i += 3) {
      const auto& sh = shapes[i];
      Bordered<Tpx32f> src(sh.width, sh.height, marginsOf(m), sh.padBytes);
      ++n;
      fillAwkward(src.img, uint32_t(n), n % 2 == 0);
      for (bool isMin : {true, false}) {
        const auto got = runVariants<Tpx32f>(sh.width, sh.height, sh.padBytes, [&](auto& dst) {
          return (isMin ? tpxiFilterMin_32f_C1R : tpxiFilterMax_32f_C1R)(
              src.roi(), src.step(), dst.ptr(), dst.step(), dst.size(), {m.w, m.h}, {m.ax, m.ay});
        });
        for (int y = 0, k = 0; y < sh.height; ++y)
          for (int x = 0; x < sh.width; ++x, ++k) {
            const float e = foldRef(isMin, x - m.ax, x - m.ax + m.w - 1, y - m.ay,
                                    y - m.ay + m.h - 1, [&](int c, int r) { return src.at(c, r); });
            ASSERT_EQ(tpxtest::bitsOf(got[k]), tpxtest::bitsOf(e)) << m.w << "x" << m.h;
          }
      }
    }
  }
}

// Small windows spelled out: the NaN is kept only when it starts the top
// row, a later NaN row is skipped, of +-0 the first stays.
TEST(RankMinMax, NaNAndSignedZeroCases) {
  struct Case {
    float v[4];  // 2x2 window, row by row
    float min, max;
  } cases[] = {{{1, 5, kNaN, 0}, 1, 5},         {{kNaN, 5, 1, 0}, kNaN, kNaN},
               {{1, kNaN, 3, 0}, 0, 3},         {{0.0f, -0.0f, -0.0f, 0.0f}, 0.0f, 0.0f},
               {{-0.0f, 0.0f, 1, 2}, -0.0f, 2}, {{-kInf, kInf, 1, kNaN}, -kInf, kInf}};
  for (const Case& c : cases) {
    float out[2];
    EXPECT_EQ(tpxiFilterMin_32f_C1R(c.v, 8, out, 4, {1, 1}, {2, 2}, {0, 0}), 0);
    EXPECT_EQ(tpxiFilterMax_32f_C1R(c.v, 8, out + 1, 4, {1, 1}, {2, 2}, {0, 0}), 0);
    EXPECT_EQ(tpxtest::bitsOf(out[0]), tpxtest::bitsOf(c.min)) << c.v[0] << c.v[1];
    EXPECT_EQ(tpxtest::bitsOf(out[1]), tpxtest::bitsOf(c.max)) << c.v[0] << c.v[1];
  }
}

// Fold over the clipped window, that is on a replicate-padded copy; the
// region is ringed by -inf / +inf so that a read outside it shows, and the
// buffer is exactly the reported size (ASan sees overruns) at offsets 0..31,
// prefilled with 0x00 or 0xFF.
TEST(RankReplicate, MatchesTheFoldOnAPaddedCopy) {
  const Mask masks[] = {{3, 3, 1, 1}, {1, 1, 0, 0},   {5, 5, 0, 4},
                        {2, 7, 1, 0}, {15, 3, 14, 2}, {101, 101, 50, 50},
                        {9, 9, 4, 4}, {16, 1, 3, 0},  {3, 65, 1, 64}};
  const TpxiSize sizes[] = {{1, 1}, {4, 4}, {64, 5}, {65, 3}, {64, 64}, {64, 65}, {17, 2}, {33, 1}};
  int n = 0;
  for (const Mask& m : masks) {
    for (const TpxiSize& s : sizes) {
      for (bool isMin : {true, false}) {
        Bordered<Tpx32f> src(s.width, s.height, {2, 2, 2, 2}, 4 * (n % 3));
        src.img.fill([&](int, int) { return isMin ? -kInf : kInf; });
        Image<Tpx32f> inner(s.width, s.height);
        ++n;
        fillAwkward(inner, uint32_t(n), n % 3 == 0);
        for (int y = 0; y < s.height; ++y)
          for (int x = 0; x < s.width; ++x) src.set(x, y, inner.get(x, y));
        int size = 0;
        ASSERT_EQ((isMin ? tpxiFilterMinGetBufferSize_32f_C1R : tpxiFilterMaxGetBufferSize_32f_C1R)(
                      s.width, {m.w, m.h}, &size),
                  0);
        const int offset = n % 32;
        const auto got = runVariants<Tpx32f>(s.width, s.height, 8, [&](auto& dst) {
          std::unique_ptr<Tpx8u[]> block(new Tpx8u[size_t(size + offset)]);
          std::memset(block.get(), n % 2 ? 0xFF : 0, size_t(size + offset));
          return (isMin ? tpxiFilterMinBorderReplicate_32f_C1R
                        : tpxiFilterMaxBorderReplicate_32f_C1R)(src.roi(), src.step(), dst.ptr(),
                                                                dst.step(), s, {m.w, m.h},
                                                                {m.ax, m.ay}, block.get() + offset);
        });
        auto padded = [&](int c, int r) {
          return inner.get(std::clamp(c, 0, s.width - 1), std::clamp(r, 0, s.height - 1));
        };
        for (int y = 0, k = 0; y < s.height; ++y)
          for (int x = 0; x < s.width; ++x, ++k) {
            const float e =
                foldRef(isMin, x - m.ax, x - m.ax + m.w - 1, y - m.ay, y - m.ay + m.h - 1, padded);
            ASSERT_EQ(tpxtest::bitsOf(got[k]), tpxtest::bitsOf(e))
                << m.w << "x" << m.h << " on " << s.width << "x" << s.height;
          }
      }
    }
  }
  const float row[] = {5, 1, 4};
  float out[3];
  Tpx8u buf[2672];
  ASSERT_EQ(tpxiFilterMinBorderReplicate_32f_C1R(row, 12, out, 12, {3, 1}, {3, 3}, {1, 1}, buf), 0);
  EXPECT_EQ(std::vector<float>(out, out + 3), (std::vector<float>{1, 1, 1}));
  ASSERT_EQ(tpxiFilterMaxBorderReplicate_32f_C1R(row, 12, out, 12, {3, 1}, {3, 3}, {1, 1}, buf), 0);
  EXPECT_EQ(std::vector<float>(out, out + 3), (std::vector<float>{5, 5, 4}));
}

// Which check wins, and that a failing call writes nothing.
TEST(RankChecks, OrderAndNothingWritten) {
  std::vector<Tpx8u> src(4096, 7);
  Image<Tpx8u> dst(8, 4);
  const Tpx8u* s = src.data() + 2048;
  const auto untouched = dst.bytes();
  const float* sf = reinterpret_cast<const float*>(s);
  float* df = reinterpret_cast<float*>(dst.ptr());
  const TpxiSize roi{2, 2};
  Tpx8u buf[4096];
  auto med = [&](const void* p, int ss, TpxiSize r, TpxiSize m, TpxiPoint a) {
    return tpxiFilterMedian_8u_C1R(static_cast<const Tpx8u*>(p), ss, dst.ptr(), 8, r, m, a);
  };
  auto mn = [&](const void* p, int ss, TpxiSize r, TpxiSize m, TpxiPoint a) {
    return tpxiFilterMin_32f_C1R(static_cast<const float*>(p), ss, df, 8, r, m, a);
  };
  auto br = [&](Tpx8u* b, int ss, int ds, TpxiSize r, TpxiSize m, TpxiPoint a) {
    return tpxiFilterMaxBorderReplicate_32f_C1R(sf, ss, df, ds, r, m, a, b);
  };
  struct Case {
    TpxStatus got, expected;
  } cases[] = {
      {med(nullptr, 0, {0, 2}, {3, 3}, {1, 1}), tpxStsNullPtrErr},
      {med(s, 0, {0, 2}, {2, 3}, {1, 1}), tpxStsSizeErr},
      {med(s, 0, roi, {2, 3}, {1, 1}), tpxStsStepErr},
      {med(s, 8, roi, {4, 3}, {5, 1}), tpxStsMaskSizeErr},
      {med(s, 8, roi, {3, 0}, {1, 0}), tpxStsMaskSizeErr},
      {med(s, 8, roi, {3, 3}, {3, 0}), tpxStsAnchorErr},
      {med(s, 8, roi, {3, 3}, {0, -1}), tpxStsAnchorErr},
      {med(s, 8, roi, {1, (1 << 29) + 1}, {0, 0}), tpxStsMemAllocErr},
      {tpxiFilterMedianHoriz_8u_C1R(s, 0, dst.ptr(), 8, roi, 13), tpxStsStepErr},
      {tpxiFilterMedianHoriz_8u_C1R(s, 8, dst.ptr(), 8, roi, 13), tpxStsMaskSizeErr},
      {tpxiFilterMedianVert_8u_C1R(s, 8, dst.ptr(), 8, roi, 31), tpxStsMaskSizeErr},
      {tpxiFilterMedianVert_8u_C1R(s, 8, nullptr, 8, {0, 0}, 31), tpxStsNullPtrErr},
      {mn(s, 0, roi, {0, 3}, {0, 0}), tpxStsStepErr},
      {mn(s, 8, {1, 0}, {0, 3}, {0, 0}), tpxStsSizeErr},
      {mn(s, 8, roi, {0, 3}, {5, 0}), tpxStsMaskSizeErr},
      {mn(s, 8, roi, {2, 4}, {2, 0}), tpxStsAnchorErr},
      {mn(s, 8, {60000, 1}, {3, 60000}, {1, 1}), tpxStsMemAllocErr},
      {br(nullptr, 8, 8, roi, {3, 3}, {1, 1}), tpxStsNullPtrErr},
      {br(buf, 0, 0, {2, 0}, {0, 3}, {1, 1}), tpxStsSizeErr},
      {br(buf, 0, 0, roi, {0, 3}, {1, 1}), tpxStsMaskSizeErr},
      {br(buf, 0, 0, roi, {2, 3}, {2, 1}), tpxStsAnchorErr},
      {br(buf, 7, 6, roi, {2, 2}, {1, 1}), tpxStsStepErr},
      {br(buf, 9, 6, roi, {2, 2}, {1, 1}), tpxStsNotPixelStepErr},
      {br(buf, 8, 6, roi, {2, 2}, {1, 1}), tpxStsStepErr},
      {br(buf, 8, 10, roi, {2, 2}, {1, 1}), tpxStsNotPixelStepErr},
      {tpxiFilterMinGetBufferSize_32f_C1R(0, {0, 0}, nullptr), tpxStsNullPtrErr},
  };
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    EXPECT_EQ(cases[i].got, cases[i].expected) << "case " << i;
  }
  EXPECT_TRUE(dst.bytes() == untouched);
  int size = -1;
  EXPECT_EQ(tpxiFilterMaxGetBufferSize_32f_C1R(0, {0, 3}, &size), tpxStsSizeErr);
  EXPECT_EQ(tpxiFilterMaxGetBufferSize_32f_C1R(5, {3, 0}, &size), tpxStsMaskSizeErr);
  EXPECT_EQ(size, -1);
  EXPECT_EQ(tpxiFilterMinGetBufferSize_32f_C1R(100, {3, 3}, &size), 0);
  EXPECT_EQ(size, 2672);
}

#ifdef TPX_HAVE_OPENCV
// OpenCV reads the real pixels around a submatrix, like the caller-memory
// filters; medianBlur makes its own border, so it runs on the padded plane.
TEST(RankOpenCv, MedianBlurErodeDilate) {
  for (int k : {3, 5, 7, 9}) {
    cv::Mat plane(40 + k, 53 + k, CV_8UC1), med;
    cv::randu(plane, 0, 256);
    cv::medianBlur(plane, med, k);
    Image<Tpx8u> dst(53, 40);
    ASSERT_EQ(tpxiFilterMedian_8u_C1R(plane.ptr(k / 2) + k / 2, int(plane.step), dst.ptr(),
                                      dst.step(), dst.size(), {k, k}, {k / 2, k / 2}),
              0);
    for (int y = 0; y < 40; ++y)
      for (int x = 0; x < 53; ++x) ASSERT_EQ(dst.get(x, y), med.at<uint8_t>(y + k / 2, x + k / 2));
  }
  const Mask masks[] = {{3, 3, 1, 1}, {5, 2, 0, 1}, {15, 15, 7, 7}, {1, 7, 0, 2}};
  for (const Mask& m : masks) {
    cv::Mat plane(60, 70, CV_32FC1), sub = plane(cv::Rect(15, 15, 40, 30)), kernel, outs[4];
    cv::randu(plane, -100.0f, 100.0f);
    kernel = cv::getStructuringElement(cv::MORPH_RECT, {m.w, m.h});
    cv::erode(sub, outs[0], kernel, {m.ax, m.ay}, 1, cv::BORDER_REPLICATE);
    cv::dilate(sub, outs[1], kernel, {m.ax, m.ay}, 1, cv::BORDER_REPLICATE);
    const cv::Mat plain = sub.clone();
    cv::erode(plain, outs[2], kernel, {m.ax, m.ay}, 1, cv::BORDER_REPLICATE);
    cv::dilate(plain, outs[3], kernel, {m.ax, m.ay}, 1, cv::BORDER_REPLICATE);
    int size = 0;
    tpxiFilterMinGetBufferSize_32f_C1R(40, {m.w, m.h}, &size);
    std::vector<Tpx8u> buf(static_cast<size_t>(size));
    for (int i = 0; i < 4; ++i) {
      cv::Mat ours(30, 40, CV_32FC1);
      const cv::Mat& s = i < 2 ? sub : plain;
      const float* p = s.ptr<float>();
      const int ss = int(s.step), ds = int(ours.step);
      float* d = ours.ptr<float>();
      const TpxStatus st =
          i == 0   ? tpxiFilterMin_32f_C1R(p, ss, d, ds, {40, 30}, {m.w, m.h}, {m.ax, m.ay})
          : i == 1 ? tpxiFilterMax_32f_C1R(p, ss, d, ds, {40, 30}, {m.w, m.h}, {m.ax, m.ay})
          : i == 2 ? tpxiFilterMinBorderReplicate_32f_C1R(p, ss, d, ds, {40, 30}, {m.w, m.h},
                                                          {m.ax, m.ay}, buf.data())
                   : tpxiFilterMaxBorderReplicate_32f_C1R(p, ss, d, ds, {40, 30}, {m.w, m.h},
                                                          {m.ax, m.ay}, buf.data());
      ASSERT_EQ(st, 0);
      EXPECT_EQ(cv::norm(ours, outs[i], cv::NORM_INF), 0.0) << m.w << "x" << m.h << " " << i;
    }
  }
}
#endif

}  // namespace
