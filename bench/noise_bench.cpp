// Gaussian noise on a full-HD frame beside OpenCV's randn into a
// preallocated noise image plus a saturating add into the image type. Our
// noise costs one libm log per pair of pixels; OpenCV's generator needs none.
#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

using tpxbench::Plane;
using tpxbench::Region;
using tpxbench::setBytes;

const Region kFrame{"1920x1080", 1920, 1080};

template <typename T, typename Call>
void registerNoise(const std::string& name, double mean, double sigma, bool floatNoise, Call call) {
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    Plane<T> img(0, 100);
    unsigned seed = 12345;
    for (auto _ : state) {
      call(img.data, img.step, TpxiSize{kFrame.width, kFrame.height}, &seed);
      benchmark::ClobberMemory();
    }
    setBytes(state, kFrame, sizeof(T));
  });
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    Plane<T> img(0, 100);
    cv::Mat m = img.mat(kFrame);
    // Integer images take rounded 16-bit noise, so the add saturates.
    cv::Mat noise(kFrame.height, kFrame.width, floatNoise ? CV_32F : CV_16S);
    for (auto _ : state) {
      cv::randn(noise, mean, sigma);
      cv::add(m, noise, m, cv::noArray(), m.type());
      benchmark::ClobberMemory();
    }
    setBytes(state, kFrame, sizeof(T));
  });
#else
  (void)mean, (void)sigma, (void)floatNoise;
#endif
}

const tpxbench::Registrar kRegister([] {
  registerNoise<Tpx8u>("noise_8u", 0, 10, false,
                       [](Tpx8u* p, int step, TpxiSize roi, unsigned* seed) {
                         tpxiAddRandGauss_Direct_8u_C1IR(p, step, roi, 0, 10, seed);
                       });
  registerNoise<Tpx16s>("noise_16s", 0, 10, false,
                        [](Tpx16s* p, int step, TpxiSize roi, unsigned* seed) {
                          tpxiAddRandGauss_Direct_16s_C1IR(p, step, roi, 0, 10, seed);
                        });
  registerNoise<Tpx32f>("noise_32f", 0, 10, true,
                        [](Tpx32f* p, int step, TpxiSize roi, unsigned* seed) {
                          tpxiAddRandGauss_Direct_32f_C1IR(p, step, roi, 0, 10, seed);
                        });
});

}  // namespace
