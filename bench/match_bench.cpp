// Template matching beside cv::matchTemplate (single thread) on a 1024x1024
// source with square templates of 8 to 128 pixels, for the Valid forms.
#include <random>
#include <vector>

#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int kSource = 1024;

std::vector<float> randomImage(int w, int h, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> d(0, 1);
  std::vector<float> v(static_cast<size_t>(w) * h);
  for (float& x : v) x = d(rng);
  return v;
}

using MatchFn = TpxStatus (*)(const Tpx32f*, int, TpxiSize, const Tpx32f*, int, TpxiSize, Tpx32f*,
                              int);

const tpxbench::Registrar kRegister([] {
  struct Op {
    const char* name;
    MatchFn fn;
    int method;
  };
#ifdef TPX_HAVE_OPENCV
  const Op kOps[] = {{"ccorr_norm", tpxiCrossCorrValid_Norm_32f_C1R, cv::TM_CCORR_NORMED},
                     {"ccoeff_norm", tpxiCrossCorrValid_NormLevel_32f_C1R, cv::TM_CCOEFF_NORMED},
                     {"sqdiff_norm", tpxiSqrDistanceValid_Norm_32f_C1R, cv::TM_SQDIFF_NORMED}};
#else
  const Op kOps[] = {{"ccorr_norm", tpxiCrossCorrValid_Norm_32f_C1R, 0},
                     {"ccoeff_norm", tpxiCrossCorrValid_NormLevel_32f_C1R, 0},
                     {"sqdiff_norm", tpxiSqrDistanceValid_Norm_32f_C1R, 0}};
#endif
  for (const Op& op : kOps) {
    for (int t : {8, 16, 32, 64, 128}) {
      const std::string name = std::string("match_") + op.name + "/1024_t" + std::to_string(t);
      const int out = kSource - t + 1;
      tpxbench::registerTpx(name, [=](benchmark::State& state) {
        const std::vector<float> src = randomImage(kSource, kSource, 1), tpl = randomImage(t, t, 2);
        std::vector<float> dst(static_cast<size_t>(out) * out);
        for (auto _ : state) {
          op.fn(src.data(), kSource * 4, {kSource, kSource}, tpl.data(), t * 4, {t, t}, dst.data(),
                out * 4);
          benchmark::ClobberMemory();
        }
      });
#ifdef TPX_HAVE_OPENCV
      tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
        std::vector<float> src = randomImage(kSource, kSource, 1), tpl = randomImage(t, t, 2);
        const cv::Mat s(kSource, kSource, CV_32FC1, src.data()), tp(t, t, CV_32FC1, tpl.data());
        cv::Mat result;
        for (auto _ : state) {
          cv::matchTemplate(s, tp, result, op.method);
          benchmark::ClobberMemory();
        }
      });
#endif
    }
  }
});

}  // namespace
