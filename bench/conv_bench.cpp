// Convolution beside cv::filter2D (single thread) with the kernel rotated by
// 180 degrees (OpenCV correlates). Valid: filter2D on the submatrix of valid
// positions, reading the real pixels around it. Full: the image padded with
// zeros by the kernel extent less one (copyMakeBorder, timed too), then the
// same. Full HD with 3x3 and 5x5 kernels (direct paths); 1024x1024 with 31x31
// and 64x64 kernels, where both libraries go through the frequency domain.
#include <string>
#include <type_traits>
#include <vector>

#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

template <typename T>
TpxStatus convolve(bool full, const T* a, int aStep, TpxiSize aSize, const T* k, int kStep,
                   TpxiSize kSize, T* d, int dStep, int divisor) {
  if constexpr (std::is_same_v<T, Tpx32f>) {
    return (full ? tpxiConvFull_32f_C1R : tpxiConvValid_32f_C1R)(a, aStep, aSize, k, kStep, kSize,
                                                                 d, dStep);
  } else if constexpr (std::is_same_v<T, Tpx16s>) {
    return (full ? tpxiConvFull_16s_C1R : tpxiConvValid_16s_C1R)(a, aStep, aSize, k, kStep, kSize,
                                                                 d, dStep, divisor);
  } else {
    return (full ? tpxiConvFull_8u_C1R : tpxiConvValid_8u_C1R)(a, aStep, aSize, k, kStep, kSize, d,
                                                               dStep, divisor);
  }
}

// Integer kernels: binomial for small sizes, a box for large ones, with the
// divisor their sum; float kernels random, summing to about one.
template <typename T>
std::vector<T> kernelOf(int k, int* divisor) {
  std::vector<T> taps;
  std::vector<int> row(1, 1);
  for (int i = 1; i < k; ++i) {
    std::vector<int> next(row.size() + 1, 0);
    for (size_t j = 0; j < row.size(); ++j) next[j] += row[j], next[j + 1] += row[j];
    row = next;
  }
  std::mt19937 rng{unsigned(k)};
  std::uniform_real_distribution<float> d(0.0f, 2.0f / float(k * k));
  *divisor = 0;
  for (int i = 0; i < k; ++i)
    for (int j = 0; j < k; ++j) {
      const int v = k <= 5 ? row[size_t(i)] * row[size_t(j)] : 1;
      taps.push_back(std::is_same_v<T, Tpx32f> ? T(d(rng)) : T(v));
      *divisor += v;
    }
  return taps;
}

template <typename T>
void registerConv(bool full, int w, int h, int k) {
  const char* type = std::is_same_v<T, Tpx32f> ? "32f" : std::is_same_v<T, Tpx16s> ? "16s" : "8u";
  const std::string name = std::string("conv_") + (full ? "full_" : "valid_") + type + "/" +
                           std::to_string(w) + "x" + std::to_string(h) + "_k" + std::to_string(k);
  const int s = full ? 1 : -1, outW = w + s * (k - 1), outH = h + s * (k - 1);
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    int divisor;
    const std::vector<T> ker = kernelOf<T>(k, &divisor);
    std::vector<T> img(size_t(w) * h), dst(size_t(outW) * outH);
    std::mt19937 rng(7);
    for (T& v : img) v = T(rng() % 200);
    const int e = int(sizeof(T));
    for (auto _ : state) {
      convolve(full, img.data(), w * e, {w, h}, ker.data(), k * e, {k, k}, dst.data(), outW * e,
               divisor);
      benchmark::ClobberMemory();
    }
  });
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    int divisor;
    const std::vector<T> ker = kernelOf<T>(k, &divisor);
    cv::Mat kf(k, k, CV_32F), flipped;
    for (int i = 0; i < k * k; ++i) {
      kf.at<float>(i / k, i % k) =
          std::is_same_v<T, Tpx32f> ? float(ker[size_t(i)]) : float(ker[size_t(i)]) / divisor;
    }
    cv::flip(kf, flipped, -1);
    cv::Mat img(h, w, tpxbench::Plane<T>::cvType()), padded, dst(outH, outW, img.type());
    cv::randu(img, 0, 200);
    const cv::Point anchor(k / 2, k / 2);
    for (auto _ : state) {
      cv::Mat src = img;
      if (full) {
        cv::copyMakeBorder(img, padded, k - 1, k - 1, k - 1, k - 1, cv::BORDER_CONSTANT, 0);
        src = padded;
      }
      cv::filter2D(src(cv::Rect(anchor.x, anchor.y, outW, outH)), dst, -1, flipped, anchor, 0,
                   cv::BORDER_CONSTANT);
      benchmark::ClobberMemory();
    }
  });
#endif
}

const tpxbench::Registrar kRegister([] {
  for (int k : {3, 5}) {
    registerConv<Tpx8u>(false, 1920, 1080, k);
    registerConv<Tpx16s>(false, 1920, 1080, k);
    registerConv<Tpx32f>(false, 1920, 1080, k);
    registerConv<Tpx32f>(true, 1920, 1080, k);
  }
  for (int k : {31, 64}) {
    for (bool full : {false, true}) {
      registerConv<Tpx32f>(full, 1024, 1024, k);
      registerConv<Tpx8u>(full, 1024, 1024, k);
    }
  }
});

}  // namespace
