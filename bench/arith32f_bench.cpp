// Single-precision arithmetic, math functions and 8u accumulation on a
// full-HD image, beside OpenCV's add, multiply, divide, sqrt, exp, log,
// accumulate and accumulateWeighted.
//
// The in-place functions (sqrt, exp, log) restore their input outside the
// timed region before every call, on both sides, so that each call sees the
// same ordinary arguments; OpenCV runs them in place too.
#include <cstring>
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
constexpr int kStep = kWidth * 4;
constexpr TpxiSize kSize = {kWidth, kHeight};

std::vector<float> randomFloats(uint32_t seed, float lo, float hi) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> d(lo, hi);
  std::vector<float> v(size_t(kWidth) * kHeight);
  for (float& f : v) f = d(rng);
  return v;
}

std::vector<Tpx8u> randomBytes(uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<Tpx8u> v(size_t(kWidth) * kHeight);
  for (Tpx8u& b : v) b = Tpx8u(rng());
  return v;
}

// Data shared by every benchmark of this file, made once.
struct Data {
  std::vector<float> a = randomFloats(1, 0.5f, 100.0f);
  std::vector<float> b = randomFloats(2, -100.0f, 100.0f);
  std::vector<float> expArgs = randomFloats(3, -80.0f, 80.0f);
  std::vector<Tpx8u> bytes = randomBytes(4);
};

const Data& data() {
  static const Data d;
  return d;
}

#ifdef TPX_HAVE_OPENCV
cv::Mat wrap(const std::vector<float>& v) {
  return cv::Mat(kHeight, kWidth, CV_32FC1, const_cast<float*>(v.data()));
}
#endif

using InPlace = TpxStatus (*)(Tpx32f*, int, TpxiSize);

void timeInPlace(benchmark::State& state, const std::vector<float>& input, InPlace fn) {
  std::vector<float> work(input.size());
  for (auto _ : state) {
    state.PauseTiming();
    std::memcpy(work.data(), input.data(), input.size() * sizeof(float));
    state.ResumeTiming();
    benchmark::DoNotOptimize(fn(work.data(), kStep, kSize));
  }
}

using Binary = TpxStatus (*)(const Tpx32f*, int, const Tpx32f*, int, Tpx32f*, int, TpxiSize);

void timeBinary(benchmark::State& state, Binary fn) {
  std::vector<float> dst(data().a.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        fn(data().a.data(), kStep, data().b.data(), kStep, dst.data(), kStep, kSize));
    benchmark::ClobberMemory();
  }
}

const tpxbench::Registrar kRegister([] {
  struct BinaryCase {
    const char* name;
    Binary fn;
  };
  for (const BinaryCase& c : {BinaryCase{"add_32f/1920x1080", tpxiAdd_32f_C1R},
                              BinaryCase{"multiply_32f/1920x1080", tpxiMul_32f_C1R},
                              BinaryCase{"divide_32f/1920x1080", tpxiDiv_32f_C1R}}) {
    tpxbench::registerTpx(c.name, [fn = c.fn](benchmark::State& s) { timeBinary(s, fn); });
  }
  struct UnaryCase {
    const char* name;
    InPlace fn;
    const std::vector<float>* input;
  };
  for (const UnaryCase& c : {UnaryCase{"sqrt_32f/1920x1080", tpxiSqrt_32f_C1IR, &data().a},
                             UnaryCase{"exp_32f/1920x1080", tpxiExp_32f_C1IR, &data().expArgs},
                             UnaryCase{"log_32f/1920x1080", tpxiLn_32f_C1IR, &data().a}}) {
    tpxbench::registerTpx(c.name, [c](benchmark::State& s) { timeInPlace(s, *c.input, c.fn); });
  }
  tpxbench::registerTpx("accumulate_8u32f/1920x1080", [](benchmark::State& s) {
    std::vector<float> acc(data().a);
    for (auto _ : s) {
      benchmark::DoNotOptimize(
          tpxiAdd_8u32f_C1IR(data().bytes.data(), kWidth, acc.data(), kStep, kSize));
      benchmark::ClobberMemory();
    }
  });
  tpxbench::registerTpx("accumulateWeighted_8u32f/1920x1080", [](benchmark::State& s) {
    std::vector<float> acc(data().a);
    for (auto _ : s) {
      benchmark::DoNotOptimize(tpxiAddWeighted_8u32f_C1IR(data().bytes.data(), kWidth, acc.data(),
                                                          kStep, kSize, 0.125f));
      benchmark::ClobberMemory();
    }
  });

#ifdef TPX_HAVE_OPENCV
  using CvBinary = void (*)(const cv::Mat&, const cv::Mat&, cv::Mat&);
  struct CvBinaryCase {
    const char* name;
    CvBinary fn;
  };
  for (const CvBinaryCase& c :
       {CvBinaryCase{"add_32f/1920x1080",
                     [](const cv::Mat&a, const cv::Mat&b, cv::Mat&d) { cv::add(a, b, d); }},
        CvBinaryCase{"multiply_32f/1920x1080",
                     [](const cv::Mat&a, const cv::Mat&b, cv::Mat&d) { cv::multiply(a, b, d); }},
        // dst = b / a, the divisor first as in tpxiDiv_32f_C1R.
        CvBinaryCase{"divide_32f/1920x1080",
                     [](const cv::Mat&a, const cv::Mat&b, cv::Mat&d) { cv::divide(b, a, d); }}}) {
    tpxbench::registerOpenCv(c.name, [fn = c.fn](benchmark::State& s) {
      const cv::Mat a = wrap(data().a), b = wrap(data().b);
      cv::Mat d(kHeight, kWidth, CV_32FC1);
      for (auto _ : s) {
        fn(a, b, d);
        benchmark::DoNotOptimize(d.data);
        benchmark::ClobberMemory();
      }
    });
  }
  using CvUnary = void (*)(cv::Mat&);
  struct CvUnaryCase {
    const char* name;
    CvUnary fn;
    const std::vector<float>* input;
  };
  for (const CvUnaryCase& c :
       {CvUnaryCase{"sqrt_32f/1920x1080", [](cv::Mat& m) { cv::sqrt(m, m); }, &data().a},
        CvUnaryCase{"exp_32f/1920x1080", [](cv::Mat& m) { cv::exp(m, m); }, &data().expArgs},
        CvUnaryCase{"log_32f/1920x1080", [](cv::Mat& m) { cv::log(m, m); }, &data().a}}) {
    tpxbench::registerOpenCv(c.name, [c](benchmark::State& s) {
      cv::Mat work(kHeight, kWidth, CV_32FC1);
      const cv::Mat in = wrap(*c.input);
      for (auto _ : s) {
        s.PauseTiming();
        in.copyTo(work);
        s.ResumeTiming();
        c.fn(work);
        benchmark::DoNotOptimize(work.data);
        benchmark::ClobberMemory();
      }
    });
  }
  tpxbench::registerOpenCv("accumulate_8u32f/1920x1080", [](benchmark::State& s) {
    const cv::Mat src(kHeight, kWidth, CV_8UC1, const_cast<Tpx8u*>(data().bytes.data()));
    cv::Mat acc = wrap(data().a).clone();
    for (auto _ : s) {
      cv::accumulate(src, acc);
      benchmark::DoNotOptimize(acc.data);
      benchmark::ClobberMemory();
    }
  });
  tpxbench::registerOpenCv("accumulateWeighted_8u32f/1920x1080", [](benchmark::State& s) {
    const cv::Mat src(kHeight, kWidth, CV_8UC1, const_cast<Tpx8u*>(data().bytes.data()));
    cv::Mat acc = wrap(data().a).clone();
    for (auto _ : s) {
      cv::accumulateWeighted(src, acc, 0.125);
      benchmark::DoNotOptimize(acc.data);
      benchmark::ClobberMemory();
    }
  });
#endif
});

}  // namespace
