// Flood fill: every variant byte-compared with the generic one (image, region
// record, work buffer), the generic results against a breadth-first fill
// written here from the membership rules and against cv::floodFill, buffers
// of exactly the queried size on the heap, check order and sizes.
#include <cmath>
#include <deque>
#include <limits>
#include <memory>
#include <vector>

#include "tests/harness.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxtest::expectVariantsMatchGeneric;
using tpxtest::Image;
using tpxtest::Outcome;

enum Kind { kEqual, kRange, kGrad };
struct Fill {
  Kind kind;
  float newVal, minDelta, maxDelta;
};

int bufferSize(Kind kind, TpxiSize roi) {
  int n = 0;
  EXPECT_EQ(kind == kGrad ? tpxiFloodFillGetSize_Grad(roi, &n) : tpxiFloodFillGetSize(roi, &n), 0);
  return n;
}

TpxStatus callFill(const Fill& f, Tpx32f* p, int step, TpxiSize roi, TpxiPoint seed,
                   TpxiConnectedComp* reg, Tpx8u* buf) {
  if (f.kind == kEqual) return tpxiFloodFill_4Con_32f_C1IR(p, step, roi, seed, f.newVal, reg, buf);
  if (f.kind == kRange) {
    return tpxiFloodFill_Range4Con_32f_C1IR(p, step, roi, seed, f.newVal, f.minDelta, f.maxDelta,
                                            reg, buf);
  }
  return tpxiFloodFill_Grad4Con_32f_C1IR(p, step, roi, seed, f.newVal, f.minDelta, f.maxDelta, reg,
                                         buf);
}

// The component from the rules, breadth first: equality and range test each
// pixel on its own, the gradient rule each pixel against an accepted
// 4-neighbour (original values).
std::vector<char> reference(const Fill& f, const Image<float>& im, TpxiPoint seed) {
  const int w = im.width(), h = im.height();
  const double s = im.get(seed.x, seed.y);
  const double half = float((double(f.minDelta) - f.maxDelta) * 0.5);
  const double mid = float((double(f.minDelta) + f.maxDelta) * 0.5);
  auto joins = [&](double v, double c) {
    if (f.kind == kEqual) return v == s;
    if (f.kind == kRange) return s - f.minDelta <= v && v <= s + f.maxDelta;
    return !(std::fabs(v + half - c) > mid);
  };
  std::vector<char> in(size_t(w) * h, 0);
  std::deque<TpxiPoint> todo{seed};
  in[size_t(seed.y) * w + seed.x] = 1;
  while (!todo.empty()) {
    const TpxiPoint c = todo.front();
    todo.pop_front();
    const TpxiPoint next[4] = {{c.x - 1, c.y}, {c.x + 1, c.y}, {c.x, c.y - 1}, {c.x, c.y + 1}};
    for (const TpxiPoint& n : next) {
      if (n.x < 0 || n.y < 0 || n.x >= w || n.y >= h || in[size_t(n.y) * w + n.x]) continue;
      if (!joins(im.get(n.x, n.y), im.get(c.x, c.y))) continue;
      in[size_t(n.y) * w + n.x] = 1;
      todo.push_back(n);
    }
  }
  return in;
}

struct Result {
  TpxStatus status;
  Image<float> img;
  TpxiConnectedComp reg;
  std::vector<uint8_t> buf;
};

// One call on a copy of src with a buffer of exactly the queried size at
// `offset` bytes into a heap block that ends where the buffer does.
Result fillOnce(const Fill& f, const Image<float>& src, TpxiPoint seed, int offset, int stepDelta) {
  Result r{0, src, {}, {}};
  const size_t n = size_t(bufferSize(f.kind, src.size()));
  std::unique_ptr<uint8_t[]> block(new uint8_t[n + offset]);
  std::memset(block.get(), 0xCD, n + offset);
  std::memset(&r.reg, 0xEE, sizeof r.reg);
  r.status = callFill(f, r.img.ptr(), r.img.step() + stepDelta, r.img.size(), seed, &r.reg,
                      block.get() + offset);
  r.buf.assign(block.get() + offset, block.get() + offset + n);
  return r;
}

// Variants agree on everything; the generic result is the reference set.
void checkFill(const Fill& f, const Image<float>& src, TpxiPoint seed, int offset = 0,
               int stepDelta = 0) {
  Result generic{0, src, {}, {}};
  bool first = true;
  expectVariantsMatchGeneric([&] {
    Result r = fillOnce(f, src, seed, offset, stepDelta);
    Outcome o{r.status, r.img.bytes()};
    if (first) generic = r, first = false;
    return o.add(r.reg).add(r.buf), o;
  });
  ASSERT_EQ(generic.status, 0);
  const std::vector<char> in = reference(f, src, seed);
  int64_t area = 0;
  int x0 = src.width(), y0 = src.height(), x1 = -1, y1 = -1;
  for (int y = 0; y < src.height(); ++y) {
    for (int x = 0; x < src.width(); ++x) {
      const bool member = in[size_t(y) * src.width() + x] != 0;
      const float want = member ? f.newVal : src.get(x, y);
      ASSERT_EQ(tpxtest::bitsOf(generic.img.get(x, y)), tpxtest::bitsOf(want)) << x << "," << y;
      if (!member) continue;
      ++area, x0 = std::min(x0, x), x1 = std::max(x1, x), y0 = std::min(y0, y);
      y1 = std::max(y1, y);
      EXPECT_TRUE(f.kind != kGrad || generic.buf[size_t(y + 1) * (src.width() + 2) + x + 1] == 1);
    }
  }
  EXPECT_TRUE(generic.img.guardsIntact());
  const TpxiConnectedComp want{
      double(area), {double(f.newVal), 0, 0}, {x0, y0, x1 - x0 + 1, y1 - y0 + 1}};
  EXPECT_EQ(std::memcmp(&want, &generic.reg, sizeof want), 0) << generic.reg.area;
  if (f.kind == kGrad) {  // the map: ring and accepted pixels 1, the rest 0
    int64_t ones = 0;
    for (size_t i = 0; i < size_t(src.width() + 2) * (src.height() + 2); ++i)
      ones += generic.buf[i];
    EXPECT_EQ(ones, area + 2 * (src.width() + 2) + 2 * src.height());
  }
}

// Images whose fills outgrow the records the buffer promises, and shapes
// that make the scan turn: value 1 joins, 0 does not.
Image<float> pattern(int kind, int w, int h, uint32_t seed) {
  Image<float> im(w, h, 4 * w + 4 * int(seed % 3));
  std::mt19937 rng(seed);
  im.fill([&](int x, int y) -> float {
    switch (kind) {
      case 0:
        return (y % 2 == 1 || x % 2 == 0) ? 1.f : 0.f;  // 1 0 1 / 1 1 1 / ...
      case 1:
        return (x % 2 == 0 || y == h - 1) ? 1.f : 0.f;  // comb
      case 2: {                                         // square spiral wall
        const int d = std::min(std::min(x, y), std::min(w - 1 - x, h - 1 - y));
        return (d % 2 == 0 && !(x == d && y == d + 1)) ? 1.f : 0.f;
      }
      default:
        return float(rng() % (kind == 3 ? 2 : 4));  // noise
    }
  });
  return im;
}

const Fill kFills[] = {{kEqual, 7.f, 0, 0},        {kRange, -5.f, 0.5f, 1.5f},
                       {kRange, 9.f, -0.5f, 1.5f}, {kGrad, 7.f, 0.5f, 0.5f},
                       {kGrad, 9.f, 0.f, 0.f},     {kGrad, 0.5f, 1.5f, 0.5f}};

TEST(FloodFill, MatchesBreadthFirstInEveryVariant) {
  int offset = 0;
  for (const Fill& f : kFills) {
    for (int kind = 0; kind < 5; ++kind) {
      for (const TpxiSize s :
           {TpxiSize{3, 3}, {1, 3}, {1, 17}, {9, 3}, {13, 1}, {23, 9}, {64, 5}, {31, 31}}) {
        const Image<float> im = pattern(kind, s.width, s.height, uint32_t(offset));
        for (const TpxiPoint seed : {TpxiPoint{0, 0},
                                     {s.width - 1, s.height - 1},
                                     {s.width / 2, s.height / 2},
                                     {s.width - 1, 0},
                                     {0, s.height - 1}}) {
          SCOPED_TRACE(testing::Message() << kind << " " << s.width << "x" << s.height << " "
                                          << seed.x << "," << seed.y << " " << f.kind);
          checkFill(f, im, seed, offset++ % 8);
        }
      }
    }
  }
}

TEST(FloodFill, GradientEdgeCases) {
  Image<float> im(6, 4);
  im.fill([](int x, int) { return float(x); });
  im.set(3, 2, std::numeric_limits<float>::quiet_NaN());  // a NaN neighbour joins
  im.set(5, 0, std::numeric_limits<float>::infinity());   // Inf - Inf joins
  im.set(5, 1, std::numeric_limits<float>::infinity());
  checkFill({kGrad, 2.5f, 1, 1}, im, {0, 0});  // newVal inside the range
  checkFill({kGrad, 0.f, 0, 0}, im, {0, 3});   // newVal equal to the seed's
  checkFill({kGrad, 8.f, 0, 0}, im, {5, 0});
  checkFill({kEqual, 1.f, 0, 0}, im, {2, 1}, 3, 2);  // step 4w + 2: rows 4w apart
  checkFill({kRange, -1.f, 0.5f, 2.5f}, im, {2, 1}, 5, 2);
  Result r = fillOnce({kGrad, 1.f, 0, 0}, im, {2, 1}, 0, 2);
  EXPECT_EQ(r.status, tpxStsNotPixelStepErr);
}

TEST(FloodFill, EarlyExitAndChecksWriteNothing) {
  Image<float> im(4, 3);
  im.fill([](int x, int y) { return float(x * y); });
  im.set(1, 1, -0.f);
  checkFill({kEqual, 5.f, 0, 0}, im, {0, 0});  // -0 joins +0
  const float nan = std::numeric_limits<float>::quiet_NaN();
  struct Case {
    Fill f;
    TpxiPoint seed;
    int stepDelta;
    TpxStatus want;
  } cases[] = {
      {{kEqual, 0.f, 0, 0}, {1, 1}, 0, 0},     // +0 == -0: nothing to do
      {{kRange, nan, 0, 0}, {1, 1}, 0, 0},     // unordered
      {{kEqual, 1.f, 0, 0}, {4, 0}, -1, -14},  // step before seed
      {{kEqual, 1.f, 0, 0}, {4, 0}, 1, -108},  // odd step before seed
      {{kRange, 1.f, 0, 0}, {0, -1}, 0, -11},
      {{kGrad, 1.f, -1, 0}, {0, 3}, 2, -108},  // step before seed and deltas
      {{kGrad, 1.f, -1, nan}, {0, 2}, 0, -11},
      {{kGrad, 1.f, nan, 0}, {0, 0}, 0, -11},
      {{kGrad, 1.f, 0, -0.5f}, {0, 0}, 0, -11},
  };
  for (const Case& c : cases) {
    tpxtest::forEachVariant([&](int) {
      const Result r = fillOnce(c.f, im, c.seed, 1, c.stepDelta);
      EXPECT_EQ(r.status, c.want);
      EXPECT_EQ(r.img.bytes(), im.bytes());
      const uint8_t* reg = reinterpret_cast<const uint8_t*>(&r.reg);
      EXPECT_EQ(std::vector<uint8_t>(reg, reg + 48), std::vector<uint8_t>(48, 0xEE));
      EXPECT_EQ(r.buf, std::vector<uint8_t>(r.buf.size(), 0xCD));
    });
  }
  // Two bad arguments: nulls before sizes before steps.
  TpxiConnectedComp reg;
  Tpx8u buf[64];
  float px = 1.f;
  for (const Fill& f : kFills) {
    EXPECT_EQ(callFill(f, nullptr, 0, {0, 0}, {0, 0}, &reg, buf), tpxStsNullPtrErr);
    EXPECT_EQ(callFill(f, &px, 4, {1, 1}, {0, 0}, nullptr, buf), tpxStsNullPtrErr);
    EXPECT_EQ(callFill(f, &px, 0, {1, 0}, {5, 5}, &reg, buf), tpxStsSizeErr);
    EXPECT_EQ(callFill(f, &px, 3, {1, 1}, {5, 5}, &reg, buf), tpxStsStepErr);
  }
}

TEST(FloodFill, BufferSizes) {
  const int cases[][4] = {{1, 1, 38, 47},
                          {3, 3, 86, 111},
                          {1920, 1080, 12441632, 14521236},
                          {20000, 20000, -1894967264, -1494887260}};
  for (const auto& c : cases) {
    EXPECT_EQ(bufferSize(kEqual, {c[0], c[1]}), c[2]);
    EXPECT_EQ(bufferSize(kGrad, {c[0], c[1]}), c[3]);
  }
  int n = 5;
  EXPECT_EQ(tpxiFloodFillGetSize({0, 1}, nullptr), tpxStsNullPtrErr);
  EXPECT_EQ(tpxiFloodFillGetSize_Grad({1, 0}, &n), tpxStsSizeErr);
  EXPECT_EQ(tpxiFloodFillGetSize({-1, 1}, &n), tpxStsSizeErr);
  EXPECT_EQ(n, 5);
  static_assert(sizeof(TpxiConnectedComp) == 48, "region record layout");
}

#ifdef TPX_HAVE_OPENCV
// cv::floodFill on integer images with half-integer deltas: the fixed range
// for the equality and range fills, the floating range for the gradient fill.
TEST(FloodFill, MatchesOpenCv) {
  for (uint32_t seed = 0; seed < 40; ++seed) {
    for (const Fill& f : kFills) {
      if (f.minDelta < 0 || f.maxDelta < 0) continue;
      Image<float> im(37, 29);
      im.fillRandom(seed, 0.f, 4.f);
      im.fill([&](int x, int y) { return std::floor(im.get(x, y)); });
      const TpxiPoint p{int(seed % 37), int(seed * 7 % 29)};
      Result r = fillOnce(f, im, p, int(seed % 8), 0);
      cv::Mat cvImg = cv::Mat(29, 37, CV_32FC1, im.ptr(), size_t(im.step())).clone();
      cv::Rect rect;
      const int flags = 4 | (f.kind == kGrad ? 0 : cv::FLOODFILL_FIXED_RANGE);
      const int area =
          cv::floodFill(cvImg, {p.x, p.y}, f.newVal, &rect, f.minDelta, f.maxDelta, flags);
      EXPECT_EQ(r.reg.area, double(area));
      EXPECT_EQ(cv::Rect(r.reg.rect.x, r.reg.rect.y, r.reg.rect.width, r.reg.rect.height), rect);
      for (int y = 0; y < 29; ++y)
        for (int x = 0; x < 37; ++x) ASSERT_EQ(r.img.get(x, y), cvImg.at<float>(y, x));
    }
  }
}
#endif

}  // namespace
