// Template matching: all nine operations against a direct reference in
// double built from the documented formulas, tiles that do not divide the
// output evenly, the epsilon floors, check order, agreement of all variants,
// and OpenCV's matchTemplate on well-conditioned windows.
#include "fft/match.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>

#include "tests/harness.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxtest::expectVariantsMatchGeneric;
using tpxtest::forEachVariant;
using tpxtest::Image;
using tpxtest::Outcome;

enum Mode { kFull, kSame, kValid };
enum Measure { kNorm, kNormLevel, kSqrDistance };

using MatchFn = TpxStatus (*)(const Tpx32f*, int, TpxiSize, const Tpx32f*, int, TpxiSize, Tpx32f*,
                              int);

MatchFn function(Mode mode, Measure measure) {
  const MatchFn table[3][3] = {
      {tpxiCrossCorrFull_Norm_32f_C1R, tpxiCrossCorrFull_NormLevel_32f_C1R,
       tpxiSqrDistanceFull_Norm_32f_C1R},
      {tpxiCrossCorrSame_Norm_32f_C1R, tpxiCrossCorrSame_NormLevel_32f_C1R,
       tpxiSqrDistanceSame_Norm_32f_C1R},
      {tpxiCrossCorrValid_Norm_32f_C1R, tpxiCrossCorrValid_NormLevel_32f_C1R,
       tpxiSqrDistanceValid_Norm_32f_C1R}};
  return table[mode][measure];
}

TpxiSize outputSize(Mode mode, TpxiSize s, TpxiSize t) {
  if (mode == kFull) return {s.width + t.width - 1, s.height + t.height - 1};
  if (mode == kSame) return s;
  return {s.width - t.width + 1, s.height - t.height + 1};
}

// The documented formulas, in double, with zeros outside the source.
std::vector<double> reference(const Image<Tpx32f>& src, const Image<Tpx32f>& tpl, Mode mode,
                              Measure measure) {
  const int tw = tpl.width(), th = tpl.height();
  const TpxiSize out = outputSize(mode, src.size(), tpl.size());
  const int dx = mode == kValid ? 0 : mode == kSame ? -(tw >> 1) : -(tw - 1);
  const int dy = mode == kValid ? 0 : mode == kSame ? -(th >> 1) : -(th - 1);
  const double eps = double(0.0005f), area = double(tw) * th;
  double t1 = 0, t2 = 0;
  for (int j = 0; j < th; ++j)
    for (int i = 0; i < tw; ++i) {
      t1 += tpl.get(i, j);
      t2 += double(tpl.get(i, j)) * tpl.get(i, j);
    }
  const double mean = t1 / area;
  std::vector<double> result;
  for (int y = 0; y < out.height; ++y)
    for (int x = 0; x < out.width; ++x) {
      double xs = 0, xlevel = 0, s1 = 0, s2 = 0;
      for (int j = 0; j < th; ++j)
        for (int i = 0; i < tw; ++i) {
          const int sx = x + dx + i, sy = y + dy + j;
          const bool inside = sx >= 0 && sy >= 0 && sx < src.width() && sy < src.height();
          const double s = inside ? src.get(sx, sy) : 0.0, t = tpl.get(i, j);
          xs += s * t;
          xlevel += s * (t - mean);
          s1 += s;
          s2 += s * s;
        }
      const double tnorm = std::max(std::sqrt(t2), eps);
      double v;
      if (measure == kNorm) {
        v = xs / (std::sqrt(std::max(s2, eps)) * tnorm);
      } else if (measure == kNormLevel) {
        v = xlevel /
            std::sqrt(std::max(s2 - s1 * s1 / area, eps) * std::max(t2 - area * mean * mean, eps));
      } else {
        v = (s2 - 2 * xs + t2) / (std::sqrt(std::max(s2, eps)) * tnorm);
      }
      result.push_back(v);
    }
  return result;
}

Image<Tpx32f> run(const Image<Tpx32f>& src, const Image<Tpx32f>& tpl, Mode mode, Measure measure,
                  TpxStatus* status) {
  const TpxiSize out = outputSize(mode, src.size(), tpl.size());
  Image<Tpx32f> dst(out.width, out.height, out.width * 4 + 12);
  *status = function(mode, measure)(src.ptr(), src.step(), src.size(), tpl.ptr(), tpl.step(),
                                    tpl.size(), dst.ptr(), dst.step());
  return dst;
}

void expectClose(const Image<Tpx32f>& got, const std::vector<double>& want, double tolerance) {
  int bad = 0;
  for (int y = 0; y < got.height(); ++y)
    for (int x = 0; x < got.width(); ++x) {
      const double w = want[size_t(y * got.width() + x)];
      if (!(std::abs(got.get(x, y) - w) <= tolerance) && bad++ < 3) {
        ADD_FAILURE() << "at " << x << "," << y << ": " << got.get(x, y) << " want " << w;
      }
    }
  EXPECT_TRUE(got.guardsIntact());
}

const Mode kModes[] = {kFull, kSame, kValid};
const Measure kMeasures[] = {kNorm, kNormLevel, kSqrDistance};

TEST(Match, AllNineAgainstTheFormulasOnAssortedShapes) {
  struct Shape {
    int sw, sh, tw, th;
  };
  // Templates from 1x1 to the whole source; outputs spanning several tiles
  // in both directions with sizes that do not divide evenly.
  const Shape kShapes[] = {{1, 1, 1, 1},    {9, 7, 9, 7},   {13, 11, 4, 4}, {20, 17, 5, 3},
                           {31, 29, 1, 1},  {37, 23, 8, 6}, {70, 45, 7, 9}, {130, 90, 16, 12},
                           {61, 80, 3, 20}, {45, 33, 45, 1}, {2, 8, 1, 3}};
  uint32_t seed = 1;
  for (const Shape& s : kShapes) {
    Image<Tpx32f> src(s.sw, s.sh, s.sw * 4 + 8), tpl(s.tw, s.th, s.tw * 4 + 4);
    src.fillRandom(seed++, 0.1f, 1.0f);
    tpl.fillRandom(seed++, 0.1f, 1.0f);
    for (Mode mode : kModes)
      for (Measure measure : kMeasures) {
        SCOPED_TRACE(testing::Message() << s.sw << "x" << s.sh << " template " << s.tw << "x"
                                        << s.th << " mode " << mode << " measure " << measure);
        TpxStatus status;
        const Image<Tpx32f> got = run(src, tpl, mode, measure, &status);
        ASSERT_EQ(status, tpxStsNoErr);
        expectClose(got, reference(src, tpl, mode, measure), 2e-4);
      }
  }
}

TEST(Match, IdenticalWindowAndTemplate) {
  Image<Tpx32f> src(40, 30);
  src.fillRandom(5, -1.0f, 1.0f);
  Image<Tpx32f> tpl(7, 5);
  tpl.fill([&](int x, int y) { return src.get(x + 11, y + 9); });
  TpxStatus status;
  const Image<Tpx32f> norm = run(src, tpl, kValid, kNorm, &status);
  EXPECT_NEAR(norm.get(11, 9), 1.0f, 1e-5);
  const Image<Tpx32f> level = run(src, tpl, kValid, kNormLevel, &status);
  EXPECT_NEAR(level.get(11, 9), 1.0f, 1e-5);
  const Image<Tpx32f> dist = run(src, tpl, kValid, kSqrDistance, &status);
  EXPECT_NEAR(dist.get(11, 9), 0.0f, 1e-5);
}

TEST(Match, ZeroWindowsZeroAndConstantTemplatesGiveZero) {
  Image<Tpx32f> zeros(30, 20), tpl(5, 4), zeroTpl(5, 4), flat(5, 4), src(30, 20);
  zeros.fill([](int, int) { return 0.0f; });
  tpl.fillRandom(2, 0.5f, 1.0f);
  zeroTpl.fill([](int, int) { return 0.0f; });
  flat.fill([](int, int) { return 3.0f; });
  src.fillRandom(3, 0.0f, 1.0f);
  forEachVariant([&](int) {
    for (Mode mode : kModes) {
      TpxStatus status;
      for (Measure measure : {kNorm, kNormLevel}) {
        for (const auto* pair : {&zeros, &src}) {
          const Image<Tpx32f>& t = pair == &zeros ? tpl : zeroTpl;
          const Image<Tpx32f> out = run(*pair, t, mode, measure, &status);
          ASSERT_EQ(status, tpxStsNoErr);
          for (int y = 0; y < out.height(); ++y)
            for (int x = 0; x < out.width(); ++x) ASSERT_EQ(out.get(x, y), 0.0f) << x << "," << y;
        }
      }
      const Image<Tpx32f> level = run(src, flat, mode, kNormLevel, &status);
      for (int y = 0; y < level.height(); ++y)
        for (int x = 0; x < level.width(); ++x) ASSERT_EQ(level.get(x, y), 0.0f);
    }
  });
}

TEST(Match, SameModeAnchorsEvenTemplatesAtTheirHalf) {
  // A single bright pixel: the Same-mode correlation with an all-ones 4x4
  // template is nonzero exactly where source columns x-2 .. x+1 and rows
  // y-2 .. y+1 cover it.
  Image<Tpx32f> src(12, 12), tpl(4, 4);
  src.fill([](int x, int y) { return x == 6 && y == 5 ? 1.0f : 0.0f; });
  tpl.fill([](int, int) { return 1.0f; });
  TpxStatus status;
  const Image<Tpx32f> out = run(src, tpl, kSame, kNorm, &status);
  ASSERT_EQ(status, tpxStsNoErr);
  for (int y = 0; y < 12; ++y)
    for (int x = 0; x < 12; ++x) {
      const bool covers = x - 2 <= 6 && 6 <= x + 1 && y - 2 <= 5 && 5 <= y + 1;
      EXPECT_EQ(out.get(x, y) > 0.1f, covers) << x << "," << y;
    }
}

TEST(Match, EveryVariantGivesTheGenericBytes) {
  Image<Tpx32f> src(83, 61, 83 * 4 + 4), tpl(9, 6);
  src.fillRandom(8, -2.0f, 2.0f);
  tpl.fillRandom(9, -1.0f, 1.0f);
  for (Mode mode : kModes)
    for (Measure measure : kMeasures) {
      expectVariantsMatchGeneric([&] {
        TpxStatus status;
        const Image<Tpx32f> out = run(src, tpl, mode, measure, &status);
        Outcome o;
        o.status = status;
        return o.add(out.bytes());
      });
    }
}

TEST(Match, WindowSumsAgainstDirectSumsAndTogetherAsAlone) {
  std::mt19937 rng(4);
  std::uniform_real_distribution<float> d(-2, 2);
  struct Case {
    int nx, ny, tw, th, w, h;
  };
  // Windows inside the tile, and windows reaching past its edge (zeros).
  const Case kCases[] = {{32, 32, 5, 3, 28, 30},
                         {16, 64, 1, 9, 16, 56},
                         {64, 32, 17, 4, 48, 29},
                         {16, 16, 4, 4, 16, 16},
                         {32, 16, 8, 8, 32, 16}};
  for (const Case& c : kCases) {
    std::vector<float> tile(size_t(c.nx * c.ny));
    for (float& v : tile) v = d(rng);
    std::vector<float> sq(size_t(c.w * c.h)), sum(sq.size()), sq2(sq.size()), sum2(sq.size());
    tpxiWinSumSqr_32f(tile.data(), c.nx, {c.nx, c.ny}, {c.tw, c.th}, sq.data(), c.w, {c.w, c.h});
    tpxiWinSum_32f(tile.data(), c.nx, {c.nx, c.ny}, {c.tw, c.th}, sum.data(), c.w, {c.w, c.h});
    tpxiWinSums_32f(tile.data(), c.nx, {c.nx, c.ny}, {c.tw, c.th}, sq2.data(), sum2.data(), c.w,
                    {c.w, c.h});
    EXPECT_EQ(sq, sq2);
    EXPECT_EQ(sum, sum2);
    for (int y = 0; y < c.h; ++y)
      for (int x = 0; x < c.w; ++x) {
        double s2 = 0, s1 = 0;
        for (int i = 0; i < c.th; ++i)
          for (int j = 0; j < c.tw; ++j) {
            const bool in = x + j < c.nx && y + i < c.ny;
            const double v = in ? tile[size_t((y + i) * c.nx + x + j)] : 0.0;
            s2 += v * v;
            s1 += v;
          }
        ASSERT_NEAR(sq[size_t(y * c.w + x)], s2, 1e-4 * (1 + s2)) << x << "," << y;
        ASSERT_NEAR(sum[size_t(y * c.w + x)], s1, 1e-4 * (1 + std::abs(s1))) << x << "," << y;
      }
  }
}

#ifdef TPX_HAVE_OPENCV
TEST(Match, AgreesWithOpenCvMatchTemplate) {
  Image<Tpx32f> src(120, 100, 120 * 4), tpl(16, 12, 16 * 4);
  src.fillRandom(11, 0.2f, 1.0f);
  tpl.fill([&](int x, int y) { return src.get(x + 40, y + 30) * 0.9f + 0.05f; });
  const cv::Mat s(100, 120, CV_32FC1, src.ptr(), size_t(src.step()));
  const cv::Mat t(12, 16, CV_32FC1, tpl.ptr(), size_t(tpl.step()));
  const std::pair<Measure, int> kPairs[] = {{kNorm, cv::TM_CCORR_NORMED},
                                            {kNormLevel, cv::TM_CCOEFF_NORMED},
                                            {kSqrDistance, cv::TM_SQDIFF_NORMED}};
  for (const auto& [measure, method] : kPairs) {
    cv::Mat expected;
    cv::matchTemplate(s, t, expected, method);
    TpxStatus status;
    const Image<Tpx32f> got = run(src, tpl, kValid, measure, &status);
    ASSERT_EQ(status, tpxStsNoErr);
    ASSERT_EQ(expected.cols, got.width());
    double worst = 0;
    for (int y = 0; y < got.height(); ++y)
      for (int x = 0; x < got.width(); ++x)
        worst = std::max(worst, std::abs(double(got.get(x, y)) - expected.at<float>(y, x)));
    EXPECT_LT(worst, 2e-3) << "method " << method;
  }
}
#endif

}  // namespace
