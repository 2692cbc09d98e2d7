// Border filters: every variant against a reference written here from the
// rule (borders bounced one reflection at a time, sums in double), OpenCV with
// the matching border, the documented examples, argument-check order, and the
// work buffer (it fits the reported size at any alignment, and neither its
// content nor its alignment shows in the result).
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "tests/harness.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxtest::Image;
using tpxtest::Outcome;

const decltype(&tpxiFilterLowpassBorder_32f_C1R) kFilters[3] = {tpxiFilterLowpassBorder_32f_C1R,
                                                                tpxiFilterSobelHorizBorder_32f_C1R,
                                                                tpxiFilterSobelVertBorder_32f_C1R};
const decltype(&tpxiFilterLowpassGetBufferSize_32f_C1R) kQueries[3] = {
    tpxiFilterLowpassGetBufferSize_32f_C1R, tpxiFilterSobelHorizGetBufferSize_32f_C1R,
    tpxiFilterSobelVertGetBufferSize_32f_C1R};
const float kNan = std::numeric_limits<float>::quiet_NaN(), kInf = INFINITY;

// Row taps h and column taps v of filter op (lowpass, Sobel horizontal,
// vertical) as correlation, and the lowpass scale.
void kernels(int op, int n, double* h, double* v) {
  const double box[5] = {1, 1, 1, 1, 1}, s3[3] = {1, 2, 1}, d3[3] = {1, 0, -1};
  const double s5[5] = {1, 4, 6, 4, 1}, d5[5] = {1, 2, 0, -2, -1};
  for (int k = 0; k < n; ++k) {
    const double s = n == 3 ? s3[k] : s5[k], d = n == 3 ? d3[k] : d5[k];
    h[k] = op == 0 ? box[k] : op == 1 ? s : d;
    v[k] = op == 0 ? box[k] : op == 1 ? -d : s;
  }
}
float scaleOf(int op, int n) { return op != 0 ? 1.0f : n == 3 ? 0.11111111f : 0.04f; }

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

// dst(x, y) before the lowpass scale, in double; *abs = sum of |terms|.
double reference(const Image<float>& s, int op, int n, int type, float v, int x, int y,
                 double* abs) {
  double h[5], vt[5], sum = 0, hsum = 0;
  kernels(op, n, h, vt);
  for (int k = 0; k < n; ++k) hsum += h[k];
  *abs = 0;
  for (int j = 0; j < n; ++j) {
    const int yy = y + j - n / 2;
    for (int k = 0; k < n; ++k) {
      const int xx = x + k - n / 2;
      double t;
      if (type == tpxBorderConstant && (yy < 0 || yy >= s.height())) {
        t = k == 0 ? vt[j] * (float(hsum) * v) : 0;  // the row pass as one float product
      } else if (type == tpxBorderConstant && (xx < 0 || xx >= s.width())) {
        t = h[k] == 0 ? 0 : vt[j] * h[k] * v;
      } else {
        const float p = s.get(source(xx, s.width(), type), source(yy, s.height(), type));
        t = vt[j] == 0 || h[k] == 0 ? 0 : vt[j] * h[k] * p;
      }
      sum += t, *abs += std::fabs(t);
    }
  }
  return sum;
}

int bufferSize(int op, int w, int mask) {
  int size = -1;
  EXPECT_EQ(kQueries[op]({w, 1}, mask, &size), tpxStsNoErr);
  return size;
}

// Widths 1-67, heights 1-9, every filter, mask and type, the region ringed by
// NaN. Integer images with borderValue 2.5 or -3 make every sum exact: the
// result is float(exact) x scale to the bit. Real images stay within a few
// ulps of the sum of |terms|; images with Inf and NaN (and such border
// values) are compared between variants only. The work buffer has exactly
// the reported size, at offsets 0-31, prefilled 0x00 or 0xFF.
TEST(BorderFilter, EveryVariantFollowsTheRule) {
  const float specials[] = {kInf, -kInf, kNan, -0.0f, 3e38f, -3e38f, 7.0f};
  int count = 0;
  for (int w = 1; w <= 67; ++w) {
    for (int h = 1 + w % 3; h <= 9; h += 3 + w % 2) {
      const int kind = ++count % 3;  // exact, real, special
      Image<float> ring(w + 4 + count % 3, h + 4);
      ring.fill([](int, int) { return kNan; });
      std::mt19937 rng{uint32_t(count)};
      std::uniform_real_distribution<float> real(-100, 100);
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
          ring.set(x + 2, y + 2,
                   kind == 0   ? float(rng() % 256)
                   : kind == 1 ? real(rng)
                               : specials[rng() % 7]);
      Image<float> src(w, h);
      src.fill([&](int x, int y) { return ring.get(x + 2, y + 2); });
      const float* inner = &ring.ptr()[2 * (w + 4 + count % 3) + 2];
      for (int op = 0; op < 3; ++op) {
        for (int mask : {33, 55}) {
          for (int type = 0; type < 5; ++type) {
            const float v = kind == 2 ? specials[type] : count % 4 < 2 ? 2.5f : -3.0f;
            const int size = bufferSize(op, w, mask), offset = (count + op + type) % 32;
            SCOPED_TRACE(testing::Message() << w << "x" << h << " op " << op << " mask " << mask
                                            << " type " << type << " kind " << kind);
            uint8_t fill = 0;
            Image<float> dst(w, h);
            const Outcome out = tpxtest::expectVariantsMatchGeneric([&] {
              dst = Image<float>(w, h, 4 * (w + 1 + type));
              std::unique_ptr<uint8_t[]> mem(new uint8_t[size_t(size + offset)]);
              std::memset(mem.get(), fill ^= 0xFF, size_t(size + offset));
              Outcome o;
              o.status = kFilters[op](inner, ring.step(), dst.ptr(), dst.step(), dst.size(), mask,
                                      type, v, mem.get() + offset);
              for (int i = 0; i < offset; ++i) EXPECT_EQ(mem[size_t(i)], fill);
              return o.add(dst.bytes());
            });
            ASSERT_EQ(out.status, tpxStsNoErr);
            ASSERT_TRUE(dst.guardsIntact());
            const float scale = scaleOf(op, mask / 11);
            for (int y = 0; y < h && kind != 2; ++y) {
              for (int x = 0; x < w; ++x) {
                double abs;
                const double sum = reference(src, op, mask / 11, type, v, x, y, &abs);
                if (kind == 0) {
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

// The documented examples on a 7x5 region, 3x3 masks, and 0 x Inf for the
// rows above and below under the vertical Sobel filter.
TEST(BorderFilter, Examples) {
  struct Example {
    int op, type;
    float v;
    int image;  // constant 7, a single 1.0 at (3, 2), value = row, value = column
  };
  for (const Example e : {Example{0, 1, 0, 0},
                          {1, 3, 0, 0},
                          {2, 4, 0, 0},
                          {0, 0, 0, 1},
                          {1, 1, 0, 2},
                          {2, 1, 0, 3},
                          {2, 0, kInf, 0}}) {
    Image<float> src(7, 5);
    src.fill([&](int x, int y) {
      return e.image == 0   ? 7.0f
             : e.image == 1 ? float(x == 3 && y == 2)
                            : float(e.image == 2 ? y : x);
    });
    const auto want = [&](int x, int y) {
      const bool topOrBottom = y == 0 || y == 4, side = x == 0 || x == 6;
      if (e.image == 1) return std::abs(x - 3) <= 1 && std::abs(y - 2) <= 1 ? 0.11111111f : 0.0f;
      if (e.image == 2) return topOrBottom ? 4.0f : 8.0f;
      if (e.image == 3) return side ? -4.0f : -8.0f;
      if (e.v == kInf) return topOrBottom ? kNan : x == 0 ? kInf : x == 6 ? -kInf : 0.0f;
      return e.op == 0 ? 63.0f * 0.11111111f : 0.0f;
    };
    std::vector<uint8_t> buf(size_t(bufferSize(e.op, 7, 33)));
    tpxtest::forEachVariant([&](int) {
      Image<float> dst(7, 5);
      ASSERT_EQ(kFilters[e.op](src.ptr(), src.step(), dst.ptr(), dst.step(), dst.size(), 33, e.type,
                               e.v, buf.data()),
                tpxStsNoErr);
      for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x)
          EXPECT_TRUE(std::isnan(want(x, y)) ? std::isnan(dst.get(x, y))
                                             : dst.get(x, y) == want(x, y))
              << "op " << e.op << " image " << e.image << " at " << x << "," << y;
    });
  }
}

// Which error wins when two arguments are bad; errors write nothing, the work
// buffer included. Then the buffer queries.
TEST(BorderFilter, CheckOrder) {
  float src[32] = {};
  struct Call {
    int nulls;  // 1 src, 2 dst, 4 buffer
    TpxiSize roi;
    int srcStep, dstStep, mask, type;
    TpxStatus want;
  };
  // clang-format off
  const Call calls[] = {
      {1, {0, 2}, 8, 8, 33, 0, tpxStsNullPtrErr}, {2, {2, 2}, 8, 8, 33, 0, tpxStsNullPtrErr},
      {4, {2, 2}, 8, 8, 35, 0, tpxStsNullPtrErr}, {0, {2, 0}, 1, 8, 33, 0, tpxStsSizeErr},
      {0, {0, 2}, 8, 8, 33, 0, tpxStsSizeErr},    {0, {2, 2}, 10, 4, 33, 0, tpxStsStepErr},
      {0, {2, 2}, -8, 8, 33, 0, tpxStsStepErr},   {0, {2, 2}, 10, 8, 33, 5, tpxStsNotPixelStepErr},
      {0, {2, 2}, 8, 14, 33, 0, tpxStsNotPixelStepErr}, {0, {2, 2}, 8, 8, 35, 5, tpxStsBadArgErr},
      {0, {2, 2}, 8, 8, 33, -1, tpxStsBadArgErr}, {0, {2, 2}, 8, 8, 53, 0, tpxStsMaskSizeErr},
      {0, {2, 2}, 8, 8, 55, 4, tpxStsNoErr}};
  // clang-format on
  for (const Call& c : calls) {
    for (int op = 0; op < 3; ++op) {
      tpxtest::forEachVariant([&](int) {
        std::vector<uint8_t> dst(64, 0xA5), buf(1000, 0xA5);
        const TpxStatus st =
            kFilters[op](c.nulls & 1 ? nullptr : src, c.srcStep,
                         c.nulls & 2 ? nullptr : reinterpret_cast<float*>(dst.data()), c.dstStep,
                         c.roi, c.mask, c.type, 1.0f, c.nulls & 4 ? nullptr : buf.data());
        EXPECT_EQ(st, c.want) << "call " << &c - calls << " op " << op;
        if (st != tpxStsNoErr) {
          EXPECT_EQ(dst, std::vector<uint8_t>(64, 0xA5));
          EXPECT_EQ(buf, std::vector<uint8_t>(1000, 0xA5));
        }
      });
    }
  }
  struct QueryCall {
    TpxiSize roi;
    int mask;
    TpxStatus want;
    int size;  // 0: null pointer passed
  };
  for (const QueryCall& q : {QueryCall{{0, 1}, 35, tpxStsNullPtrErr, 0},
                             {{0, 1}, 35, tpxStsSizeErr, -1},
                             {{10, 0}, 33, tpxStsSizeErr, -1},
                             {{10, 5}, 35, tpxStsMaskSizeErr, -1},
                             {{10, 5}, 33, tpxStsNoErr, 1372},
                             {{12, 900}, 55, tpxStsNoErr, 1620},
                             {{1, 1}, 33, tpxStsNoErr, 700}}) {
    for (int op = 0; op < 3; ++op) {
      int size = -1;
      EXPECT_EQ(kQueries[op](q.roi, q.mask, q.size == 0 ? nullptr : &size), q.want);
      EXPECT_EQ(size, q.size == 0 ? -1 : q.size);
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
        std::vector<uint8_t> mem(size_t(size + offset + 64), 0x3C), want = mem;
        std::fill(mem.begin() + offset, mem.begin() + offset + size, 0);
        ASSERT_EQ(kFilters[w % 3](src.data(), 4 * w, dst.data(), 4 * w, {w, 3}, mask, w % 5, 2.0f,
                                  mem.data() + offset),
                  tpxStsNoErr);
        std::copy(mem.begin() + offset, mem.begin() + offset + size, want.begin() + offset);
        ASSERT_EQ(mem, want) << "width " << w << " offset " << offset;
      }
    }
  }
}

#ifdef TPX_HAVE_OPENCV
// OpenCV computes the same quantity on a copy padded by the matching border
// (separable filter, interior cropped), and with its own box and Sobel
// filters for the border types they accept.
TEST(BorderFilter, AgreesWithOpenCv) {
  const int cvBorder[5] = {cv::BORDER_CONSTANT, cv::BORDER_REPLICATE, cv::BORDER_WRAP,
                           cv::BORDER_REFLECT_101, cv::BORDER_REFLECT};
  for (int w : {1, 2, 3, 6, 17, 40}) {
    for (int h : {1, 2, 5, 9}) {
      cv::Mat src(h, w, CV_32FC1), hk(1, 5, CV_32FC1), vk(5, 1, CV_32FC1);
      cv::randu(src, -100.0, 100.0);
      for (int op = 0; op < 3; ++op) {
        for (int n : {3, 5}) {
          double ht[5], vt[5];
          kernels(op, n, ht, vt);
          for (int k = 0; k < n; ++k)
            hk.at<float>(k) = float(ht[k]), vk.at<float>(k) = float(vt[k]);
          for (int type = 0; type < 5; ++type) {
            const float v = type == 0 && w % 2 ? -3.0f : 0.0f;
            cv::Mat padded, full, direct, dst(h, w, CV_32FC1);
            cv::copyMakeBorder(src, padded, n / 2, n / 2, n / 2, n / 2, cvBorder[type], v);
            cv::sepFilter2D(padded, full, CV_32F, hk.colRange(0, n), vk.rowRange(0, n));
            const cv::Mat want = full(cv::Rect(n / 2, n / 2, w, h)) * scaleOf(op, n);
            if (type != 2 && v == 0 && op == 0)
              cv::blur(src, direct, {n, n}, {-1, -1}, cvBorder[type]);
            if (type != 2 && v == 0 && op != 0)
              cv::Sobel(src, direct, CV_32F, op == 2, op == 1, n, op == 2 ? -1 : 1, 0,
                        cvBorder[type]);
            std::vector<uint8_t> buf(size_t(bufferSize(op, w, 11 * n)));
            ASSERT_EQ(kFilters[op](src.ptr<float>(), int(src.step), dst.ptr<float>(), int(dst.step),
                                   {w, h}, 11 * n, type, v, buf.data()),
                      tpxStsNoErr);
            const double tol = 1e-3 * (op == 0 ? 1 : n == 3 ? 8 : 96);
            SCOPED_TRACE(testing::Message()
                         << w << "x" << h << " op " << op << " n " << n << " type " << type);
            EXPECT_LE(cv::norm(dst, want, cv::NORM_INF), tol);
            EXPECT_LE(direct.empty() ? 0 : cv::norm(dst, direct, cv::NORM_INF), tol);
          }
        }
      }
    }
  }
}
#endif

}  // namespace
