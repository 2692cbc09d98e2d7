// Image moments on a full-HD image, beside OpenCV's moments + HuMoments.
// The 8u row converts to 32f first (the library fills from 32f only) and is
// timed against OpenCV's integer tiles on the same 8-bit pixels.
#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxbench::Plane;

const tpxbench::Region kFull = tpxbench::kRegions[0];
constexpr TpxiSize kSize = {tpxbench::kFullWidth, tpxbench::kFullHeight};

// The same random pixels in 0..255 as 8u and as 32f, and a 32f scratch plane.
struct Data {
  Plane<Tpx8u> u8{0.0, 255.0};
  Plane<Tpx32f> f32{0.0, 255.0};
  Plane<Tpx32f> scratch{0.0, 0.0};
  TpxiMomentState* state = nullptr;
  Data() { tpxiMomentInitAlloc_64f(&state, tpxAccuracyHintAccurate); }
  ~Data() { tpxiMomentFree_64f(state); }
};
Data& data() {
  static Data d;
  return d;
}

void tpxMomentsHu(benchmark::State& st, bool from8u) {
  Data& d = data();
  Tpx64f hu[7];
  for (auto _ : st) {
    if (from8u) tpxiConvert_8u32f_C1R(d.u8.data, d.u8.step, d.scratch.data, d.scratch.step, kSize);
    const Plane<Tpx32f>& src = from8u ? d.scratch : d.f32;
    tpxiMoments64f_32f_C1R(src.data, src.step, kSize, d.state);
    tpxiGetHuMoments_64f(d.state, 0, hu);
    benchmark::DoNotOptimize(hu);
  }
  tpxbench::setBytes(st, kFull, from8u ? 1 : 4);
}

#ifdef TPX_HAVE_OPENCV
void cvMomentsHu(benchmark::State& st, bool from8u) {
  const cv::Mat mat = from8u ? data().u8.mat(kFull) : data().f32.mat(kFull);
  double hu[7];
  for (auto _ : st) {
    cv::HuMoments(cv::moments(mat), hu);
    benchmark::DoNotOptimize(hu);
  }
  tpxbench::setBytes(st, kFull, from8u ? 1 : 4);
}
#endif

const tpxbench::Registrar kRegister([] {
  for (bool from8u : {false, true}) {
    const std::string name = from8u ? "moments_hu_8u/1920x1080" : "moments_hu_32f/1920x1080";
    tpxbench::registerTpx(name, [from8u](benchmark::State& st) { tpxMomentsHu(st, from8u); });
#ifdef TPX_HAVE_OPENCV
    tpxbench::registerOpenCv(name, [from8u](benchmark::State& st) { cvMomentsHu(st, from8u); });
#endif
  }
});

}  // namespace
