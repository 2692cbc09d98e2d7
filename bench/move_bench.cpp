// Border, mirror, transpose, threshold and ramp on a full-HD frame (the
// transpose on 1080 x 1080), beside OpenCV's copyMakeBorder, flip, transpose
// and threshold. OpenCV has no two-sided threshold: THRESH_TRUNC, one bound,
// is the nearest single call. OpenCV's flip writes a second image, ours of
// 32s works in place. The ramp has no counterpart.
#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxbench::Plane;
using tpxbench::Region;
using tpxbench::setBytes;

const Region kFrame{"1920x1080", 1920, 1080};
const Region kSquare{"1080x1080", 1080, 1080};
constexpr int kBorder = 16;

// Registers a tpx body and an OpenCV body, both given a source and a
// destination plane (the OpenCV one as Mats of the region).
template <typename T, typename TpxCall, typename CvCall>
void registerPair(const std::string& name, const Region& r, size_t bytesPerPixel, TpxCall tpxCall,
                  CvCall cvCall) {
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    Plane<T> src(0, 100), dst(0, 0);
    for (auto _ : state) {
      tpxCall(src, dst, TpxiSize{r.width, r.height});
      benchmark::ClobberMemory();
    }
    setBytes(state, r, bytesPerPixel);
  });
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    Plane<T> src(0, 100), dst(0, 0);
    cv::Mat s = src.mat(r), d = dst.mat(r);
    for (auto _ : state) {
      cvCall(s, d);
      benchmark::ClobberMemory();
    }
    setBytes(state, r, bytesPerPixel);
  });
#else
  (void)cvCall;
#endif
}

#ifdef TPX_HAVE_OPENCV
#define CV_BODY(body) [=](cv::Mat& s, cv::Mat& d) { body; }
#else
#define CV_BODY(body) [](...) {}
#endif

const tpxbench::Registrar kRegister([] {
  registerPair<Tpx32s>(
      "border_32s_16px", kFrame, 8,
      [](Plane<Tpx32s>& s, Plane<Tpx32s>& d, TpxiSize roi) {
        tpxiCopyReplicateBorder_32s_C1R(s.data, s.step,
                                        {roi.width - 2 * kBorder, roi.height - 2 * kBorder}, d.data,
                                        d.step, roi, kBorder, kBorder);
      },
      CV_BODY(
          cv::Mat inner = s(cv::Rect(0, 0, s.cols - 2 * kBorder, s.rows - 2 * kBorder));
          cv::copyMakeBorder(inner, d, kBorder, kBorder, kBorder, kBorder, cv::BORDER_REPLICATE)));
  const char* names[] = {"rows", "columns", "both"};
  for (int flip = 0; flip < 3; ++flip) {
    const int code = flip == 2 ? -1 : flip;
    registerPair<Tpx8u>(
        std::string("mirror_8u_") + names[flip], kFrame, 2,
        [flip](Plane<Tpx8u>& s, Plane<Tpx8u>& d, TpxiSize roi) {
          tpxiMirror_8u_C1R(s.data, s.step, d.data, d.step, roi, flip);
        },
        CV_BODY(cv::flip(s, d, code)));
    registerPair<Tpx32s>(
        std::string("mirror_32s_") + names[flip], kFrame, 8,
        [flip](Plane<Tpx32s>& s, Plane<Tpx32s>&, TpxiSize roi) {
          tpxiMirror_32s_C1IR(s.data, s.step, roi, flip);
        },
        CV_BODY(cv::flip(s, d, code)));
  }
  registerPair<Tpx32s>(
      "transpose_32s_inplace", kSquare, 8,
      [](Plane<Tpx32s>& s, Plane<Tpx32s>&, TpxiSize roi) {
        tpxiTranspose_32s_C1IR(s.data, s.step, roi);
      },
      CV_BODY(cv::transpose(s, s); (void)d));
  registerPair<Tpx32f>(
      "threshold_32f", kFrame, 8,
      [](Plane<Tpx32f>& s, Plane<Tpx32f>& d, TpxiSize roi) {
        tpxiThreshold_LTValGTVal_32f_C1R(s.data, s.step, d.data, d.step, roi, 20, 20, 80, 80);
      },
      CV_BODY(cv::threshold(s, d, 80, 0, cv::THRESH_TRUNC)));
  const char* directions[] = {"x", "y", "xy"};
  for (int dir = 0; dir < 3; ++dir) {
    tpxbench::registerTpx(
        std::string("ramp_32f_") + directions[dir], [dir](benchmark::State& state) {
          Plane<Tpx32f> d(0, 0);
          for (auto _ : state) {
            tpxiImageRamp_32f_C1R(d.data, d.step, {kFrame.width, kFrame.height}, 1.0f, 0.5f, dir);
            benchmark::ClobberMemory();
          }
          setBytes(state, kFrame, 4);
        });
  }
});

}  // namespace
