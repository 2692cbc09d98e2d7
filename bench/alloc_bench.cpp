// Image allocation and release: a full-HD 8-bit image and a small one.
#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

const tpxbench::Registrar kRegister([] {
  struct Size {
    const char* name;
    int width, height;
  };
  for (const Size s : {Size{"1920x1080", 1920, 1080}, Size{"64x64", 64, 64}}) {
    const std::string name = std::string("malloc_8u/") + s.name;
    tpxbench::registerTpx(name, [s](benchmark::State& state) {
      for (auto _ : state) {
        int step;
        Tpx8u* p = tpxiMalloc_8u_C1(s.width, s.height, &step);
        benchmark::DoNotOptimize(p);
        tpxiFree(p);
      }
    });
#ifdef TPX_HAVE_OPENCV
    tpxbench::registerOpenCv(name, [s](benchmark::State& state) {
      for (auto _ : state) {
        cv::Mat m(s.height, s.width, CV_8UC1);
        benchmark::DoNotOptimize(m.data);
      }
    });
#endif
  }
});

}  // namespace
