// Image statistics on a full-HD image, beside OpenCV's sum, mean,
// meanStdDev, norm, minMaxLoc, inRange + countNonZero and calcHist.
#include <random>
#include <vector>

#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr TpxiSize kSize = {kWidth, kHeight};

// One image per type, tightly packed, filled once. Integer data stays off the
// type's limits so that the extremum scans cannot stop early, which OpenCV's
// minMaxLoc never does.
template <typename T>
struct Data {
  std::vector<T> pixels;
  int step = kWidth * int(sizeof(T));
  explicit Data(double lo, double hi) : pixels(size_t(kWidth) * kHeight) {
    std::mt19937 rng(1);
    std::uniform_real_distribution<double> d(lo, hi);
    for (T& p : pixels) p = static_cast<T>(d(rng));
  }
  const T* ptr() const { return pixels.data(); }
#ifdef TPX_HAVE_OPENCV
  cv::Mat mat(int type) const {
    return cv::Mat(kHeight, kWidth, type, const_cast<T*>(pixels.data()));
  }
#endif
};

const Data<Tpx8u>& u8() {
  static const Data<Tpx8u> d(1, 255);
  return d;
}
const Data<Tpx16s>& s16() {
  static const Data<Tpx16s> d(-32767, 32767);
  return d;
}
const Data<Tpx16u>& u16() {
  static const Data<Tpx16u> d(0, 65536);
  return d;
}
const Data<Tpx32f>& f32() {
  static const Data<Tpx32f> d(-100.0, 100.0);
  return d;
}

std::vector<Tpx32f> uniformLevels(int bins) {
  std::vector<Tpx32f> levels(bins + 1);
  for (int i = 0; i <= bins; ++i) levels[i] = -100.0f + 200.0f * float(i) / float(bins);
  return levels;
}

// Registers a TPX body and an OpenCV body under one name.
template <class Tpx, class Cv>
void pair(const std::string& name, Tpx tpx, Cv cv) {
  tpxbench::registerTpx(name + "/1920x1080", [tpx](benchmark::State& state) mutable {
    for (auto _ : state) tpx();
  });
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv(name + "/1920x1080", [cv](benchmark::State& state) mutable {
    for (auto _ : state) cv();
  });
#else
  (void)cv;
#endif
}

#ifdef TPX_HAVE_OPENCV
#define CV_BODY(...) [] { __VA_ARGS__; }
#else
#define CV_BODY(...) [] {}
#endif

const tpxbench::Registrar kRegister([] {
  static Tpx64f r, r2;
  pair(
      "sum_32f_accurate",
      [] {
        tpxiSum_32f_C1R(f32().ptr(), f32().step, kSize, &r, tpxAccuracyHintAccurate);
        benchmark::DoNotOptimize(r);
      },
      CV_BODY(benchmark::DoNotOptimize(cv::sum(f32().mat(CV_32FC1)))));
  pair(
      "sum_32f_fast",
      [] {
        tpxiSum_32f_C1R(f32().ptr(), f32().step, kSize, &r, tpxAccuracyHintFast);
        benchmark::DoNotOptimize(r);
      },
      CV_BODY(benchmark::DoNotOptimize(cv::sum(f32().mat(CV_32FC1)))));
  pair(
      "mean_8u",
      [] {
        tpxiMean_8u_C1R(u8().ptr(), u8().step, kSize, &r);
        benchmark::DoNotOptimize(r);
      },
      CV_BODY(benchmark::DoNotOptimize(cv::mean(u8().mat(CV_8UC1)))));
  pair(
      "mean_16s",
      [] {
        tpxiMean_16s_C1R(s16().ptr(), s16().step, kSize, &r);
        benchmark::DoNotOptimize(r);
      },
      CV_BODY(benchmark::DoNotOptimize(cv::mean(s16().mat(CV_16SC1)))));
  pair(
      "meanStdDev_8u",
      [] {
        tpxiMean_StdDev_8u_C1R(u8().ptr(), u8().step, kSize, &r, &r2);
        benchmark::DoNotOptimize(r2);
      },
      CV_BODY(cv::Scalar m, s; cv::meanStdDev(u8().mat(CV_8UC1), m, s);
              benchmark::DoNotOptimize(s)));
  pair(
      "meanStdDev_16u",
      [] {
        tpxiMean_StdDev_16u_C1R(u16().ptr(), u16().step, kSize, &r, &r2);
        benchmark::DoNotOptimize(r2);
      },
      CV_BODY(cv::Scalar m, s; cv::meanStdDev(u16().mat(CV_16UC1), m, s);
              benchmark::DoNotOptimize(s)));
  pair(
      "meanStdDev_32f",
      [] {
        tpxiMean_StdDev_32f_C1R(f32().ptr(), f32().step, kSize, &r, &r2);
        benchmark::DoNotOptimize(r2);
      },
      CV_BODY(cv::Scalar m, s; cv::meanStdDev(f32().mat(CV_32FC1), m, s);
              benchmark::DoNotOptimize(s)));
  pair(
      "norm_l1_8u",
      [] {
        tpxiNorm_L1_8u_C1R(u8().ptr(), u8().step, kSize, &r);
        benchmark::DoNotOptimize(r);
      },
      CV_BODY(benchmark::DoNotOptimize(cv::norm(u8().mat(CV_8UC1), cv::NORM_L1))));
  pair(
      "norm_l1_16s",
      [] {
        tpxiNorm_L1_16s_C1R(s16().ptr(), s16().step, kSize, &r);
        benchmark::DoNotOptimize(r);
      },
      CV_BODY(benchmark::DoNotOptimize(cv::norm(s16().mat(CV_16SC1), cv::NORM_L1))));
  pair(
      "norm_l1_32f_accurate",
      [] {
        tpxiNorm_L1_32f_C1R(f32().ptr(), f32().step, kSize, &r, tpxAccuracyHintAccurate);
        benchmark::DoNotOptimize(r);
      },
      CV_BODY(benchmark::DoNotOptimize(cv::norm(f32().mat(CV_32FC1), cv::NORM_L1))));
  pair(
      "norm_l1_32f_fast",
      [] {
        tpxiNorm_L1_32f_C1R(f32().ptr(), f32().step, kSize, &r, tpxAccuracyHintFast);
        benchmark::DoNotOptimize(r);
      },
      CV_BODY(benchmark::DoNotOptimize(cv::norm(f32().mat(CV_32FC1), cv::NORM_L1))));
  pair(
      "norm_l2_8u",
      [] {
        tpxiNorm_L2_8u_C1R(u8().ptr(), u8().step, kSize, &r);
        benchmark::DoNotOptimize(r);
      },
      CV_BODY(benchmark::DoNotOptimize(cv::norm(u8().mat(CV_8UC1), cv::NORM_L2))));
  pair(
      "norm_l2_16s",
      [] {
        tpxiNorm_L2_16s_C1R(s16().ptr(), s16().step, kSize, &r);
        benchmark::DoNotOptimize(r);
      },
      CV_BODY(benchmark::DoNotOptimize(cv::norm(s16().mat(CV_16SC1), cv::NORM_L2))));
  pair(
      "norm_l2_32f_accurate",
      [] {
        tpxiNorm_L2_32f_C1R(f32().ptr(), f32().step, kSize, &r, tpxAccuracyHintAccurate);
        benchmark::DoNotOptimize(r);
      },
      CV_BODY(benchmark::DoNotOptimize(cv::norm(f32().mat(CV_32FC1), cv::NORM_L2))));
  pair(
      "norm_l2_32f_fast",
      [] {
        tpxiNorm_L2_32f_C1R(f32().ptr(), f32().step, kSize, &r, tpxAccuracyHintFast);
        benchmark::DoNotOptimize(r);
      },
      CV_BODY(benchmark::DoNotOptimize(cv::norm(f32().mat(CV_32FC1), cv::NORM_L2))));
  // minMaxLoc finds both extremes in one pass; TPX takes one call for each.
  pair(
      "minMaxLoc_8u",
      [] {
        Tpx8u lo, hi;
        int x, y;
        tpxiMinIndx_8u_C1R(u8().ptr(), u8().step, kSize, &lo, &x, &y);
        tpxiMaxIndx_8u_C1R(u8().ptr(), u8().step, kSize, &hi, &x, &y);
        benchmark::DoNotOptimize(x);
      },
      CV_BODY(double lo, hi; cv::Point a, b; cv::minMaxLoc(u8().mat(CV_8UC1), &lo, &hi, &a, &b);
              benchmark::DoNotOptimize(b)));
  pair(
      "minMaxLoc_16s",
      [] {
        Tpx16s lo, hi;
        int x, y;
        tpxiMinIndx_16s_C1R(s16().ptr(), s16().step, kSize, &lo, &x, &y);
        tpxiMaxIndx_16s_C1R(s16().ptr(), s16().step, kSize, &hi, &x, &y);
        benchmark::DoNotOptimize(x);
      },
      CV_BODY(double lo, hi; cv::Point a, b; cv::minMaxLoc(s16().mat(CV_16SC1), &lo, &hi, &a, &b);
              benchmark::DoNotOptimize(b)));
  pair(
      "minMaxLoc_32f",
      [] {
        Tpx32f lo, hi;
        int x, y;
        tpxiMinIndx_32f_C1R(f32().ptr(), f32().step, kSize, &lo, &x, &y);
        tpxiMaxIndx_32f_C1R(f32().ptr(), f32().step, kSize, &hi, &x, &y);
        benchmark::DoNotOptimize(x);
      },
      CV_BODY(double lo, hi; cv::Point a, b; cv::minMaxLoc(f32().mat(CV_32FC1), &lo, &hi, &a, &b);
              benchmark::DoNotOptimize(b)));
  pair(
      "countInRange_32f",
      [] {
        int n;
        tpxiCountInRange_32f_C1R(f32().ptr(), f32().step, kSize, &n, -20.0f, 50.0f);
        benchmark::DoNotOptimize(n);
      },
      CV_BODY(static cv::Mat mask; cv::inRange(f32().mat(CV_32FC1), -20.0, 50.0, mask);
              benchmark::DoNotOptimize(cv::countNonZero(mask))));
  // Uniform bins over the data's range: 256 (binary search in the generic
  // code) and 16 (linear search).
  for (int bins : {16, 256}) {
    pair(
        "histogram_32f_" + std::to_string(bins) + "bins",
        [bins, levels = uniformLevels(bins), hist = std::vector<int>(bins)]() mutable {
          tpxiHistogramRange_32f_C1R(f32().ptr(), f32().step, kSize, hist.data(), levels.data(),
                                     bins + 1);
          benchmark::DoNotOptimize(hist.data());
        },
#ifdef TPX_HAVE_OPENCV
        [bins] {
          const cv::Mat src = f32().mat(CV_32FC1);
          const int channels[] = {0};
          const int sizes[] = {bins};
          const float range[] = {-100.0f, 100.0f};
          const float* ranges[] = {range};
          cv::Mat hist;
          cv::calcHist(&src, 1, channels, cv::Mat(), hist, 1, sizes, ranges, true, false);
          benchmark::DoNotOptimize(hist.data);
        });
#else
        [] {});
#endif
  }
});

}  // namespace
