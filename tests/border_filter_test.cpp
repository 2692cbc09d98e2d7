// Border filters: every variant against a reference written here from the
// rule (index bouncing done step by step, sums in double), OpenCV with the
// matching border, the documented examples, argument-check order, and the
// work buffer: it fits the reported size at any alignment and its content
// never shows in the result.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "tests/harness.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxtest::Image;
using tpxtest::Outcome;

using Filter = decltype(&tpxiFilterLowpassBorder_32f_C1R);
using Query = decltype(&tpxiFilterLowpassGetBufferSize_32f_C1R);
const Filter kFilters[3] = {tpxiFilterLowpassBorder_32f_C1R, tpxiFilterSobelHorizBorder_32f_C1R,
                            tpxiFilterSobelVertBorder_32f_C1R};
const Query kQueries[3] = {tpxiFilterLowpassGetBufferSize_32f_C1R,
                           tpxiFilterSobelHorizGetBufferSize_32f_C1R,
                           tpxiFilterSobelVertGetBufferSize_32f_C1R};
const float kNan = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// Row taps H and column taps V of filter op (0 lowpass, 1 horizontal, 2
// vertical Sobel), as correlation.
void kernels(int op, int n, double* h, double* v) {
  const double box[5] = {1, 1, 1, 1, 1}, s3[3] = {1, 2, 1}, d3[3] = {1, 0, -1};
  const double s5[5] = {1, 4, 6, 4, 1}, d5[5] = {1, 2, 0, -2, -1};
  const double* smooth = n == 3 ? s3 : s5;
  const double* diff = n == 3 ? d3 : d5;
  for (int k = 0; k < n; ++k) {
    h[k] = op == 0 ? box[k] : op == 1 ? smooth[k] : diff[k];
    v[k] = op == 0 ? box[k] : op == 1 ? -diff[k] : smooth[k];
  }
}

// The border rule, one reflection (or wrap) at a time.
int source(int i, int size, int type) {
  while (i < 0 || i >= size) {
    if (type == tpxBorderReplicate) i = i < 0 ? 0 : size - 1;
    if (type == tpxBorderPeriodic) i += i < 0 ? size : -size;
    if (type == tpxBorderReflect) i = size == 1 ? 0 : i < 0 ? -i : 2 * (size - 1) - i;
    if (type == tpxBorderReflectEdge) i = i < 0 ? -1 - i : 2 * size - 1 - i;
  }
  return i;
}

// dst(x, y) in double (*abs gets the sum of |terms|); the lowpass scale is
// applied by the caller.
double reference(const Image<float>& s, int op, int n, int type, float v, int x, int y,
                 double* abs) {
  double h[5], vt[5], sum = 0, hsum = 0;
  kernels(op, n, h, vt);
  for (int k = 0; k < n; ++k) hsum += h[k];
  *abs = 0;
  const int r = n / 2, w = s.width(), ht = s.height();
  for (int j = 0; j < n; ++j) {
    const int yy = y + j - r;
    if (vt[j] == 0) continue;
    if (type == tpxBorderConstant && (yy < 0 || yy >= ht)) {
      const double row = float(hsum) * v;  // one float product
      sum += vt[j] * row, *abs += std::fabs(vt[j] * row);
      continue;
    }
    for (int k = 0; k < n; ++k) {
      const int xx = x + k - r;
      const bool out = xx < 0 || xx >= w;
      const double p =
          type == tpxBorderConstant && out ? v : s.get(source(xx, w, type), source(yy, ht, type));
      if (h[k] != 0) sum += vt[j] * h[k] * p, *abs += std::fabs(vt[j] * h[k] * p);
    }
  }
  return sum;
}

float scaleOf(int op, int n) { return op != 0 ? 1.0f : n == 3 ? 0.11111111f : 0.04f; }

// A work buffer of exactly the reported size at a chosen misalignment, after
// `offset` guard bytes; the end of the allocation is the end of the buffer.
struct WorkBuffer {
  WorkBuffer(int size, int offset, uint8_t fill) : mem(new uint8_t[size_t(size + offset)]) {
    std::memset(mem.get(), 0x5A, size_t(offset));
    std::memset(mem.get() + offset, fill, size_t(size));
    p = mem.get() + offset;
  }
  bool frontIntact(int offset) const {
    for (int i = 0; i < offset; ++i)
      if (mem[size_t(i)] != 0x5A) return false;
    return true;
  }
  std::unique_ptr<uint8_t[]> mem;
  uint8_t* p;
};

int bufferSize(int op, int w, int mask) {
  int size = -1;
  EXPECT_EQ(kQueries[op]({w, 1}, mask, &size), tpxStsNoErr);
  return size;
}

// Widths 1-67, heights 1-9, every type, mask and filter. Integer images (and
// borderValue 2.5 or -3) make every sum exact: the result is float(exact) x
// scale to the bit. Real images stay within a few ulps of the sum of |terms|.
// Variants, buffer alignment and buffer content give the same bytes.
TEST(BorderFilter, EveryVariantFollowsTheRule) {
  int count = 0;
  for (int w = 1; w <= 67; ++w) {
    for (int h = 1 + w % 3; h <= 9; h += 3 + w % 2) {
      ++count;
      Image<float> src(w, h, 4 * (w + count % 3));
      const bool exact = count % 2 == 0;
      std::mt19937 rng{uint32_t(count)};
      std::uniform_real_distribution<double> real(-100, 100);
      src.fill([&](int, int) { return exact ? float(rng() % 256) : float(real(rng)); });
      for (int op = 0; op < 3; ++op) {
        for (int mask : {33, 55}) {
          for (int type = 0; type < 5; ++type) {
            const float v = count % 4 < 2 ? 2.5f : -3.0f;
            const int size = bufferSize(op, w, mask), offset = (count + op + type) % 32;
            SCOPED_TRACE(testing::Message() << w << "x" << h << " op " << op << " mask " << mask
                                            << " type " << type << " offset " << offset);
            uint8_t fill = 0;
            Image<float> dst(w, h);
            const Outcome out = tpxtest::expectVariantsMatchGeneric([&] {
              dst = Image<float>(w, h, 4 * (w + 1 + type));
              WorkBuffer buf(size, offset, fill ^= 0xFF);
              Outcome o;
              o.status = kFilters[op](src.ptr(), src.step(), dst.ptr(), dst.step(), src.size(),
                                      mask, type, v, buf.p);
              EXPECT_TRUE(buf.frontIntact(offset));
              return o.add(dst.bytes());
            });
            ASSERT_EQ(out.status, tpxStsNoErr);
            ASSERT_TRUE(dst.guardsIntact());
            const float scale = scaleOf(op, mask / 11);
            for (int y = 0; y < h; ++y) {
              for (int x = 0; x < w; ++x) {
                double abs;
                const double sum = reference(src, op, mask / 11, type, v, x, y, &abs);
                if (exact) {
                  ASSERT_EQ(dst.get(x, y), float(sum) * scale) << x << "," << y;
                } else {
                  ASSERT_NEAR(dst.get(x, y), sum * scale, abs * scale * 0x1p-21) << x << "," << y;
                }
              }
            }
          }
        }
      }
    }
  }
}

// Any run of the filter on an image ringed by NaN (pads, rows above and
// below) and one with infinities, NaN and overflowing values inside, with
// special border values: nothing from outside shows, and every variant gives
// the generic bytes.
TEST(BorderFilter, ReadsOnlyTheRegionAndAgreesOnSpecialValues) {
  const float specials[] = {kInf, -kInf, kNan, -0.0f, 3e38f, -3e38f, 1e-40f};
  for (int w : {1, 2, 5, 8, 13}) {
    for (int h : {1, 2, 4, 7}) {
      Image<float> ring(w + 5, h + 4), odd(w, h, 4 * w + 8);
      ring.fill([](int, int) { return kNan; });
      std::mt19937 rng{uint32_t(w * h)};
      odd.fill([&](int, int) { return rng() % 3 ? float(rng() % 9) : specials[rng() % 7]; });
      const float* inner = ring.ptr() + 2 * (w + 5) + 2;
      for (int op = 0; op < 3; ++op) {
        for (int mask : {33, 55}) {
          for (int type = 0; type < 5; ++type) {
            SCOPED_TRACE(testing::Message()
                         << w << "x" << h << " op " << op << " mask " << mask << " type " << type);
            std::vector<uint8_t> buf(size_t(bufferSize(op, w, mask)));
            for (int y = 0; y < h; ++y)
              for (int x = 0; x < w; ++x) ring.set(x + 2, y + 2, float((x * 7 + y) % 5));
            Image<float> dst(w, h);
            ASSERT_EQ(kFilters[op](inner, ring.step(), dst.ptr(), dst.step(), dst.size(), mask,
                                   type, 1.0f, buf.data()),
                      tpxStsNoErr);
            for (int y = 0; y < h; ++y)
              for (int x = 0; x < w; ++x) ASSERT_FALSE(std::isnan(dst.get(x, y))) << x << "," << y;
            for (float v : {1.0f, kInf, kNan, -0.0f}) {
              tpxtest::expectVariantsMatchGeneric([&] {
                Image<float> out(w, h);
                Outcome o;
                o.status = kFilters[op](odd.ptr(), odd.step(), out.ptr(), out.step(), out.size(),
                                        mask, type, v, buf.data());
                return o.add(out.bytes());
              });
            }
          }
        }
      }
    }
  }
}

// The documented examples, 3x3 unless noted, in every variant.
TEST(BorderFilter, Examples) {
  struct Example {
    const char* what;
    int op, mask, type;
    float v;
    float (*pixel)(int x, int y);
    float (*want)(int x, int y, int w, int h);  // 7 x 5 region
  };
  const float nine7 = 63.0f * 0.11111111f, twentyFive7 = 175.0f * 0.04f;
  static float n7, t7;
  n7 = nine7, t7 = twentyFive7;
  const Example examples[] = {
      {"constant image, replicate", 0, 33, 1, 0, [](int, int) { return 7.0f; },
       [](int, int, int, int) { return n7; }},
      {"constant image, reflect 5x5", 0, 55, 3, 0, [](int, int) { return 7.0f; },
       [](int, int, int, int) { return t7; }},
      {"constant image, Sobel", 1, 55, 4, 0, [](int, int) { return 7.0f; },
       [](int, int, int, int) { return 0.0f; }},
      {"single 1.0", 0, 33, 0, 0, [](int x, int y) { return x == 3 && y == 2 ? 1.0f : 0.0f; },
       [](int x, int y, int, int) {
         return std::abs(x - 3) <= 1 && y >= 1 && y <= 3 ? 0.11111111f : 0.0f;
       }},
      {"rows 0, 1, 2...", 1, 33, 1, 0, [](int, int y) { return float(y); },
       [](int, int y, int, int h) { return y == 0 || y == h - 1 ? 4.0f : 8.0f; }},
      {"columns 0, 1, 2...", 2, 33, 1, 0, [](int x, int) { return float(x); },
       [](int x, int, int w, int) { return x == 0 || x == w - 1 ? -4.0f : -8.0f; }},
      {"0 x Inf above and below", 2, 33, 0, kInf, [](int, int) { return 1.0f; },
       [](int x, int y, int w, int h) {
         return y == 0 || y == h - 1 ? kNan : x == 0 ? kInf : x == w - 1 ? -kInf : 0.0f;
       }},
  };
  for (const Example& e : examples) {
    Image<float> src(7, 5);
    src.fill(e.pixel);
    std::vector<uint8_t> buf(size_t(bufferSize(e.op, 7, e.mask)));
    tpxtest::forEachVariant([&](int) {
      Image<float> dst(7, 5);
      ASSERT_EQ(kFilters[e.op](src.ptr(), src.step(), dst.ptr(), dst.step(), dst.size(), e.mask,
                               e.type, e.v, buf.data()),
                tpxStsNoErr);
      for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 7; ++x) {
          const float want = e.want(x, y, 7, 5), got = dst.get(x, y);
          EXPECT_TRUE(std::isnan(want) ? std::isnan(got) : got == want)
              << e.what << " " << x << "," << y << ": " << got;
        }
      }
    });
  }
}

// Which error wins when two arguments are bad; errors write nothing, the
// work buffer included. Then the buffer queries.
TEST(BorderFilter, CheckOrder) {
  float src[32] = {};
  struct Call {
    const char* what;
    bool nullSrc, nullDst, nullBuf;
    TpxiSize roi;
    int srcStep, dstStep, mask, type;
    TpxStatus want;
  };
  const Call calls[] = {
      {"null src beats size", true, false, false, {0, 2}, 8, 8, 33, 0, tpxStsNullPtrErr},
      {"null dst", false, true, false, {2, 2}, 8, 8, 33, 0, tpxStsNullPtrErr},
      {"null buffer beats mask", false, false, true, {2, 2}, 8, 8, 35, 0, tpxStsNullPtrErr},
      {"height beats step", false, false, false, {2, 0}, 1, 8, 33, 0, tpxStsSizeErr},
      {"width", false, false, false, {0, 2}, 8, 8, 33, 0, tpxStsSizeErr},
      {"short dst step beats odd src step",
       false,
       false,
       false,
       {2, 2},
       10,
       4,
       33,
       0,
       tpxStsStepErr},
      {"short src step", false, false, false, {2, 2}, 4, 8, 33, 0, tpxStsStepErr},
      {"negative step", false, false, false, {2, 2}, -8, 8, 33, 0, tpxStsStepErr},
      {"4 w + 2 beats type", false, false, false, {2, 2}, 10, 8, 33, 5, tpxStsNotPixelStepErr},
      {"odd dst step", false, false, false, {2, 2}, 8, 14, 33, 0, tpxStsNotPixelStepErr},
      {"type 5 beats mask 35", false, false, false, {2, 2}, 8, 8, 35, 5, tpxStsBadArgErr},
      {"type -1", false, false, false, {2, 2}, 8, 8, 33, -1, tpxStsBadArgErr},
      {"mask 35", false, false, false, {2, 2}, 8, 8, 35, 4, tpxStsMaskSizeErr},
      {"mask 53", false, false, false, {2, 2}, 8, 8, 53, 0, tpxStsMaskSizeErr},
      {"passes", false, false, false, {2, 2}, 8, 8, 55, 4, tpxStsNoErr},
  };
  for (const Call& c : calls) {
    for (int op = 0; op < 3; ++op) {
      tpxtest::forEachVariant([&](int) {
        std::vector<uint8_t> dst(64, 0xA5), buf(1000, 0xA5);
        const TpxStatus st =
            kFilters[op](c.nullSrc ? nullptr : src, c.srcStep,
                         c.nullDst ? nullptr : reinterpret_cast<float*>(dst.data()), c.dstStep,
                         c.roi, c.mask, c.type, 1.0f, c.nullBuf ? nullptr : buf.data());
        EXPECT_EQ(st, c.want) << c.what << " op " << op;
        if (st != tpxStsNoErr) {
          EXPECT_EQ(dst, std::vector<uint8_t>(64, 0xA5)) << c.what;
          EXPECT_EQ(buf, std::vector<uint8_t>(1000, 0xA5)) << c.what;
        }
      });
    }
  }
  struct QueryCall {
    TpxiSize roi;
    int mask;
    bool null;
    TpxStatus want;
    int size;
  };
  const QueryCall queries[] = {
      {{0, 1}, 35, true, tpxStsNullPtrErr, -1},  {{0, 1}, 35, false, tpxStsSizeErr, -1},
      {{10, 0}, 33, false, tpxStsSizeErr, -1},   {{10, 5}, 35, false, tpxStsMaskSizeErr, -1},
      {{10, 5}, 33, false, tpxStsNoErr, 1372},   {{10, 1}, 55, false, tpxStsNoErr, 1620},
      {{12, 900}, 55, false, tpxStsNoErr, 1620}, {{1, 1}, 33, false, tpxStsNoErr, 84 * 4 + 364}};
  for (const QueryCall& q : queries) {
    for (int op = 0; op < 3; ++op) {
      tpxtest::forEachVariant([&](int) {
        int size = -1;
        EXPECT_EQ(kQueries[op](q.roi, q.mask, q.null ? nullptr : &size), q.want);
        EXPECT_EQ(size, q.size);
      });
    }
  }
}

// The buffer fits the reported size for widths 1-300 at every alignment:
// nothing is written before or after it.
TEST(BorderFilter, BufferFitsTheReportedSize) {
  std::vector<float> src(300 * 3, 1.0f), dst(300 * 3);
  for (int mask : {33, 55}) {
    for (int w = 1; w <= 300; ++w) {
      const int size = bufferSize(w % 3, w, mask);
      for (int offset = 0; offset < 32; ++offset) {
        std::vector<uint8_t> mem(size_t(size + offset + 64), 0x3C);
        std::fill(mem.begin() + offset, mem.begin() + offset + size, 0);
        ASSERT_EQ(kFilters[w % 3](src.data(), 4 * w, dst.data(), 4 * w, {w, 3}, mask, w % 5, 2.0f,
                                  mem.data() + offset),
                  tpxStsNoErr);
        for (int i = 0; i < offset; ++i) ASSERT_EQ(mem[size_t(i)], 0x3C) << w << " " << offset;
        for (int i = offset + size; i < size + offset + 64; ++i) ASSERT_EQ(mem[size_t(i)], 0x3C);
      }
    }
  }
}

#ifdef TPX_HAVE_OPENCV
// OpenCV computes the same quantity on a copy padded by the matching border
// (separable filter, interior cropped), and directly with its own Sobel and
// box filters for the border types they accept.
TEST(BorderFilter, AgreesWithOpenCv) {
  const int cvType[5] = {cv::BORDER_CONSTANT, cv::BORDER_REPLICATE, cv::BORDER_WRAP,
                         cv::BORDER_REFLECT_101, cv::BORDER_REFLECT};
  for (int w : {1, 2, 3, 6, 17, 40}) {
    for (int h : {1, 2, 5, 9}) {
      cv::Mat src(h, w, CV_32FC1);
      cv::randu(src, -100.0, 100.0);
      for (int op = 0; op < 3; ++op) {
        for (int mask : {33, 55}) {
          const int n = mask / 11;
          double ht[5], vt[5];
          kernels(op, n, ht, vt);
          cv::Mat hk(1, n, CV_32FC1), vk(n, 1, CV_32FC1);
          for (int k = 0; k < n; ++k)
            hk.at<float>(k) = float(ht[k]), vk.at<float>(k) = float(vt[k]);
          for (int type = 0; type < 5; ++type) {
            const float v = type == 0 && w % 2 ? -3.0f : 0.0f;
            cv::Mat padded, full, direct;
            cv::copyMakeBorder(src, padded, n / 2, n / 2, n / 2, n / 2, cvType[type],
                               cv::Scalar(v));
            cv::sepFilter2D(padded, full, CV_32F, hk, vk);
            const cv::Mat want = full(cv::Rect(n / 2, n / 2, w, h)) * scaleOf(op, n);
            if (type != 2 && v == 0) {
              if (op == 0) cv::blur(src, direct, {n, n}, {-1, -1}, cvType[type]);
              if (op != 0)
                cv::Sobel(src, direct, CV_32F, op == 2, op == 1, n, op == 2 ? -1 : 1, 0,
                          cvType[type]);
            }
            std::vector<uint8_t> buf(size_t(bufferSize(op, w, mask)));
            cv::Mat dst(h, w, CV_32FC1);
            ASSERT_EQ(kFilters[op](src.ptr<float>(), int(src.step), dst.ptr<float>(), int(dst.step),
                                   {w, h}, mask, type, v, buf.data()),
                      tpxStsNoErr);
            const double tol = 1e-5 * 100 * (op == 0 ? 1 : n == 3 ? 8 : 96);
            for (int y = 0; y < h; ++y) {
              for (int x = 0; x < w; ++x) {
                SCOPED_TRACE(testing::Message() << w << "x" << h << " op " << op << " mask " << mask
                                                << " type " << type << " at " << x << "," << y);
                ASSERT_NEAR(dst.at<float>(y, x), want.at<float>(y, x), tol);
                if (!direct.empty()) {
                  ASSERT_NEAR(dst.at<float>(y, x), direct.at<float>(y, x), tol);
                }
              }
            }
          }
        }
      }
    }
  }
}
#endif

}  // namespace
