// The FFT engine beside FFTW (single precision, FFTW_ESTIMATE and
// FFTW_MEASURE plans) and cv::dft: forward real transforms, 1-D and 2-D.
// Each benchmark reports MFLOP/s counted as 2.5 N log2 N for N real points.
#include <cmath>
#include <random>
#include <vector>

#include "bench/bench.h"
#include "fft/engine.h"

#ifdef TPX_HAVE_FFTW
#include <fftw3.h>
#endif

namespace {

double flops(int64_t n) { return 2.5 * double(n) * std::log2(double(n)); }

void setFlops(benchmark::State& state, int64_t n) {
  state.counters["MFLOPS"] =
      benchmark::Counter(flops(n) * 1e-6, benchmark::Counter::kIsIterationInvariantRate);
}

std::vector<float> randomData(int64_t n) {
  std::mt19937 rng(1);
  std::uniform_real_distribution<float> d(-1, 1);
  std::vector<float> v(static_cast<size_t>(n));
  for (float& x : v) x = d(rng);
  return v;
}

// Order pairs (x, y); y = -1 for a 1-D transform.
void registerShape(int orderX, int orderY) {
  const bool twoD = orderY >= 0;
  const int64_t nx = int64_t(1) << orderX, ny = twoD ? int64_t(1) << orderY : 1;
  const int64_t n = nx * ny;
  const std::string name = twoD ? "fft_real_2d/" + std::to_string(nx) + "x" + std::to_string(ny)
                                : "fft_real_1d/" + std::to_string(nx);
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    const std::vector<float> x = randomData(n);
    std::vector<float> y(static_cast<size_t>(n));
    if (twoD) {
      TpxFft2DSpecR* plan = nullptr;
      tpxiFftInitR_32f(&plan, orderX, orderY, tpxFftScaleNone, 0);
      int size = 0;
      tpxiFftGetBufSize(plan, &size);
      std::vector<Tpx8u> buffer(static_cast<size_t>(size));
      for (auto _ : state) {
        tpxiFftFwd_RToPack_32f_C1R(x.data(), int(nx * 4), y.data(), int(nx * 4), plan,
                                   buffer.data());
        benchmark::ClobberMemory();
      }
      tpxiFftFree(plan);
    } else {
      TpxFftSpecR* plan = nullptr;
      tpxsFftInitR_32f(&plan, orderX, tpxFftScaleNone, 0);
      for (auto _ : state) {
        tpxsFftFwd_RToPack_32f(x.data(), y.data(), plan, nullptr);
        benchmark::ClobberMemory();
      }
      tpxsFftFree(plan);
    }
    setFlops(state, n);
  });
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    std::vector<float> x = randomData(n);
    const cv::Mat src(int(ny), int(nx), CV_32FC1, x.data());
    cv::Mat dst;
    for (auto _ : state) {
      cv::dft(src, dst);
      benchmark::ClobberMemory();
    }
    setFlops(state, n);
  });
#endif
#ifdef TPX_HAVE_FFTW
  for (const unsigned flag : {unsigned(FFTW_ESTIMATE), unsigned(FFTW_MEASURE)}) {
    const std::string kind = flag == FFTW_ESTIMATE ? "/fftw-estimate" : "/fftw-measure";
    benchmark::RegisterBenchmark((name + kind).c_str(), [=](benchmark::State& state) {
      float* in = fftwf_alloc_real(size_t(n));
      fftwf_complex* out = fftwf_alloc_complex(size_t(ny * (nx / 2 + 1)));
      fftwf_plan plan = twoD ? fftwf_plan_dft_r2c_2d(int(ny), int(nx), in, out, flag)
                             : fftwf_plan_dft_r2c_1d(int(nx), in, out, flag);
      const std::vector<float> x = randomData(n);
      std::copy(x.begin(), x.end(), in);
      for (auto _ : state) {
        fftwf_execute(plan);
        benchmark::ClobberMemory();
      }
      fftwf_destroy_plan(plan);
      fftwf_free(in);
      fftwf_free(out);
      setFlops(state, n);
    });
  }
#endif
}

const tpxbench::Registrar kRegister([] {
  for (int order = 8; order <= 16; order += 2) registerShape(order, -1);
  for (int order = 6; order <= 10; ++order) registerShape(order, order);
});

}  // namespace
