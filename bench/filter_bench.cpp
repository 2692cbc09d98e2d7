// Linear filters beside OpenCV on a full-HD region whose border pixels are
// real memory around it: filter2D with the kernel flipped (it correlates,
// we convolve) and sepFilter2D with a one-tap other direction for the row and
// column filters. OpenCV reads the pixels around a submatrix instead of
// generating a border, so both libraries do the same work.
#include <memory>
#include <vector>

#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxbench::Region;
using tpxbench::setBytes;

const Region kFull = tpxbench::kRegions[0];

// A kFull region with `border` pixels of real memory on every side.
template <typename T>
struct BorderedPlane {
  explicit BorderedPlane(int border) : border(border) {
    const int w = kFull.width + 2 * border, h = kFull.height + 2 * border;
    if constexpr (sizeof(T) == 1) {
      data = tpxiMalloc_8u_C1(w, h, &step);
    } else {
      data = reinterpret_cast<T*>(tpxiMalloc_32f_C1(w, h, &step));
    }
    std::mt19937 rng(17);
    std::uniform_real_distribution<double> d(0, 255);
    for (int y = 0; y < h; ++y) {
      T* row = reinterpret_cast<T*>(reinterpret_cast<char*>(data) + size_t(y) * step);
      for (int x = 0; x < w; ++x) row[x] = static_cast<T>(d(rng));
    }
  }
  ~BorderedPlane() { tpxiFree(data); }
  BorderedPlane(const BorderedPlane&) = delete;
  BorderedPlane& operator=(const BorderedPlane&) = delete;

  T* roi() const {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(data) + size_t(border) * step) + border;
  }
#ifdef TPX_HAVE_OPENCV
  cv::Mat roiMat() const {
    const int type = sizeof(T) == 1 ? CV_8UC1 : CV_32FC1;
    const cv::Mat whole(kFull.height + 2 * border, kFull.width + 2 * border, type, data, step);
    return whole(cv::Rect(border, border, kFull.width, kFull.height));
  }
#endif
  int border;
  T* data;
  int step;
};

// Binomial rows 1 2 1, 1 4 6 4 1, 1 6 15 20 15 6 1: a Gaussian-like kernel
// with a power-of-two divisor, the common integer case.
std::vector<int32_t> binomial(int n) {
  std::vector<int32_t> row(1, 1);
  for (int i = 1; i < n; ++i) {
    std::vector<int32_t> next(row.size() + 1, 0);
    for (size_t j = 0; j < row.size(); ++j) {
      next[j] += row[j];
      next[j + 1] += row[j];
    }
    row = next;
  }
  std::vector<int32_t> k;
  for (int a : row)
    for (int b : row) k.push_back(a * b);
  return k;
}

std::vector<float> randomTaps(int n) {
  std::mt19937 rng(static_cast<uint32_t>(n));
  std::uniform_real_distribution<float> d(-1.0f, 1.0f);
  std::vector<float> k(static_cast<size_t>(n), 0.0f);
  for (auto& v : k) v = d(rng);
  return k;
}

#ifdef TPX_HAVE_OPENCV
// The kernel rotated by 180 degrees, so that OpenCV's correlation is our
// convolution; the anchor moves with it.
cv::Mat flipped(const float* k, int kw, int kh) {
  cv::Mat m(kh, kw, CV_32FC1);
  for (int i = 0; i < kh; ++i)
    for (int j = 0; j < kw; ++j) m.at<float>(kh - 1 - i, kw - 1 - j) = k[i * kw + j];
  return m;
}
#endif

void register8u(const std::string& op, int ks, std::vector<int32_t> kernel, int divisor) {
  const std::string name = op + "/" + kFull.name;
  const int r = ks / 2;
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    BorderedPlane<Tpx8u> src(r), dst(0);
    for (auto _ : state) {
      tpxiFilter_8u_C1R(src.roi(), src.step, dst.roi(), dst.step, {kFull.width, kFull.height},
                        kernel.data(), {ks, ks}, {r, r}, divisor);
      benchmark::ClobberMemory();
    }
    setBytes(state, kFull, 2);
  });
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    BorderedPlane<Tpx8u> src(r), dst(0);
    std::vector<float> scaled;
    for (int32_t v : kernel) scaled.push_back(float(v) / float(divisor));
    const cv::Mat k = flipped(scaled.data(), ks, ks);
    const cv::Mat s = src.roiMat();
    cv::Mat d = dst.roiMat();
    for (auto _ : state) {
      cv::filter2D(s, d, -1, k, cv::Point(ks - 1 - r, ks - 1 - r), 0, cv::BORDER_REPLICATE);
      benchmark::ClobberMemory();
    }
    setBytes(state, kFull, 2);
  });
#endif
}

enum class Shape1D { kSquare, kRow, kColumn };

void register32f(const std::string& op, int ks, Shape1D shape) {
  const std::string name = op + "/" + kFull.name;
  const int r = ks / 2;
  const std::vector<float> kernel = randomTaps(shape == Shape1D::kSquare ? ks * ks : ks);
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    BorderedPlane<Tpx32f> src(r), dst(0);
    const TpxiSize roi{kFull.width, kFull.height};
    for (auto _ : state) {
      if (shape == Shape1D::kSquare) {
        tpxiFilter_32f_C1R(src.roi(), src.step, dst.roi(), dst.step, roi, kernel.data(), {ks, ks},
                           {r, r});
      } else if (shape == Shape1D::kRow) {
        tpxiFilterRow_32f_C1R(src.roi(), src.step, dst.roi(), dst.step, roi, kernel.data(), ks, r);
      } else {
        tpxiFilterColumn_32f_C1R(src.roi(), src.step, dst.roi(), dst.step, roi, kernel.data(), ks,
                                 r);
      }
      benchmark::ClobberMemory();
    }
    setBytes(state, kFull, 8);
  });
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    BorderedPlane<Tpx32f> src(r), dst(0);
    const cv::Mat s = src.roiMat();
    cv::Mat d = dst.roiMat();
    const cv::Point anchor(ks - 1 - r, ks - 1 - r);
    const cv::Mat one = cv::Mat::ones(1, 1, CV_32FC1);
    const cv::Mat k =
        shape == Shape1D::kSquare ? flipped(kernel.data(), ks, ks) : flipped(kernel.data(), ks, 1);
    for (auto _ : state) {
      if (shape == Shape1D::kSquare) {
        cv::filter2D(s, d, -1, k, anchor, 0, cv::BORDER_REPLICATE);
      } else if (shape == Shape1D::kRow) {
        cv::sepFilter2D(s, d, -1, k, one, cv::Point(anchor.x, 0), 0, cv::BORDER_REPLICATE);
      } else {
        cv::sepFilter2D(s, d, -1, one, k, cv::Point(0, anchor.y), 0, cv::BORDER_REPLICATE);
      }
      benchmark::ClobberMemory();
    }
    setBytes(state, kFull, 8);
  });
#endif
}

const tpxbench::Registrar kRegister([] {
  register8u("filter_8u_3x3", 3, binomial(3), 16);
  register8u("filter_8u_3x3_div9", 3, std::vector<int32_t>(9, 1), 9);
  register8u("filter_8u_5x5", 5, binomial(5), 256);
  register8u("filter_8u_7x7", 7, binomial(7), 4096);
  register32f("filter_32f_3x3", 3, Shape1D::kSquare);
  register32f("filter_32f_5x5", 5, Shape1D::kSquare);
  register32f("filter_32f_7x7", 7, Shape1D::kSquare);
  register32f("filter_row_32f_3", 3, Shape1D::kRow);
  register32f("filter_row_32f_5", 5, Shape1D::kRow);
  register32f("filter_row_32f_7", 7, Shape1D::kRow);
  register32f("filter_column_32f_3", 3, Shape1D::kColumn);
  register32f("filter_column_32f_5", 5, Shape1D::kColumn);
  register32f("filter_column_32f_7", 7, Shape1D::kColumn);
});

}  // namespace
