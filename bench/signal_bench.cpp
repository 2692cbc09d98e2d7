// Signal vectors of 1M elements beside OpenCV (cv::add on a 1xN 16s row,
// cv::polarToCart) and the standard library's sort.
#include <algorithm>
#include <random>
#include <vector>

#include "bench/bench.h"

namespace {

constexpr int kLen = 1 << 20;

template <typename T>
std::vector<T> randomVector(double lo, double hi, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> d(lo, hi);
  std::vector<T> v(kLen);
  for (T& x : v) x = static_cast<T>(d(rng));
  return v;
}

const tpxbench::Registrar kRegister([] {
  tpxbench::registerTpx("vector_add_16s/1M", [](benchmark::State& state) {
    const auto a = randomVector<Tpx16s>(-20000, 20000, 1),
               b = randomVector<Tpx16s>(-20000, 20000, 2);
    std::vector<Tpx16s> d(kLen);
    for (auto _ : state) {
      tpxsAdd_16s(a.data(), b.data(), d.data(), kLen);
      benchmark::ClobberMemory();
    }
  });
  tpxbench::registerTpx("vector_sort_32f/1M", [](benchmark::State& state) {
    const auto input = randomVector<Tpx32f>(-1e6, 1e6, 3);
    std::vector<Tpx32f> v;
    for (auto _ : state) {
      state.PauseTiming();
      v = input;
      state.ResumeTiming();
      tpxsSortAscend_32f_I(v.data(), kLen);
    }
  });
  tpxbench::registerTpx("vector_polar_32f/1M", [](benchmark::State& state) {
    const auto m = randomVector<Tpx32f>(0, 10, 4), p = randomVector<Tpx32f>(-10, 10, 5);
    std::vector<Tpx32f> re(kLen), im(kLen);
    for (auto _ : state) {
      tpxsPolarToCart_32f(m.data(), p.data(), re.data(), im.data(), kLen);
      benchmark::ClobberMemory();
    }
  });
  // The standard library's sort stands in the OpenCV column for the sort.
  tpxbench::registerOpenCv("vector_sort_32f/1M", [](benchmark::State& state) {
    const auto input = randomVector<Tpx32f>(-1e6, 1e6, 3);
    std::vector<Tpx32f> v;
    for (auto _ : state) {
      state.PauseTiming();
      v = input;
      state.ResumeTiming();
      std::sort(v.begin(), v.end());
    }
  });
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv("vector_add_16s/1M", [](benchmark::State& state) {
    auto a = randomVector<Tpx16s>(-20000, 20000, 1), b = randomVector<Tpx16s>(-20000, 20000, 2);
    std::vector<Tpx16s> d(kLen);
    const cv::Mat ma(1, kLen, CV_16SC1, a.data()), mb(1, kLen, CV_16SC1, b.data());
    cv::Mat md(1, kLen, CV_16SC1, d.data());
    for (auto _ : state) {
      cv::add(ma, mb, md);
      benchmark::ClobberMemory();
    }
  });
  tpxbench::registerOpenCv("vector_polar_32f/1M", [](benchmark::State& state) {
    auto m = randomVector<Tpx32f>(0, 10, 4), p = randomVector<Tpx32f>(-10, 10, 5);
    std::vector<Tpx32f> re(kLen), im(kLen);
    const cv::Mat mm(1, kLen, CV_32FC1, m.data()), mp(1, kLen, CV_32FC1, p.data());
    cv::Mat mre(1, kLen, CV_32FC1, re.data()), mim(1, kLen, CV_32FC1, im.data());
    for (auto _ : state) {
      cv::polarToCart(mm, mp, mre, mim);
      benchmark::ClobberMemory();
    }
  });
#endif
});

}  // namespace
