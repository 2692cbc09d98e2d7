// Affine warps beside OpenCV's warpAffine: rotation by 10 degrees about the
// centre with scale 0.9, on a full-HD image and on 64x64, single-threaded.
// The backward warp is timed against WARP_INVERSE_MAP, the forward one
// against the plain call; BORDER_TRANSPARENT on both sides, so each library
// writes only the pixels whose source lies inside the image. Edge blending has
// no OpenCV counterpart. Remap runs on maps of a 10 degree rotation with a
// mild radial distortion, against cv::remap on the same CV_32FC1 maps; the
// 8u rotation by 30 degrees against warpAffine with getRotationMatrix2D, and
// by 90 degrees (1920x1080 to 1080x1920) against cv::rotate.
#include <cmath>
#include <string>

#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxbench::Region;
using tpxbench::setBytes;

// Forward coefficients of the rotation about the region's centre.
void rotation(const Region& r, double c[2][3]) {
  const double a = 10 * 3.141592653589793 / 180, s = 0.9;
  const double cx = (r.width - 1) / 2.0, cy = (r.height - 1) / 2.0;
  c[0][0] = s * std::cos(a), c[0][1] = s * std::sin(a);
  c[1][0] = -s * std::sin(a), c[1][1] = s * std::cos(a);
  c[0][2] = cx - (c[0][0] * cx + c[0][1] * cy);
  c[1][2] = cy - (c[1][0] * cx + c[1][1] * cy);
}

void registerWarp(const std::string& op, const Region& r, int mode, bool forward, bool blend) {
  const std::string name = op + "/" + r.name;
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    tpxbench::Plane<Tpx32f> src(0, 255), dst(0, 0);
    double c[2][3];
    rotation(r, c);
    const TpxiRect roi{0, 0, r.width, r.height};
    const int m = mode | (blend ? tpxEdgeBlendFlag : 0);
    for (auto _ : state) {
      (forward ? tpxiWarpAffine_32f_C1R : tpxiWarpAffineBack_32f_C1R)(
          src.data, {r.width, r.height}, src.step, roi, dst.data, dst.step, roi, c, m);
      benchmark::ClobberMemory();
    }
    setBytes(state, r, 8);
  });
#ifdef TPX_HAVE_OPENCV
  if (blend) return;
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    tpxbench::Plane<Tpx32f> src(0, 255), dst(0, 0);
    double c[2][3];
    rotation(r, c);
    const cv::Mat m =
        (cv::Mat_<double>(2, 3) << c[0][0], c[0][1], c[0][2], c[1][0], c[1][1], c[1][2]);
    const cv::Mat s = src.mat(r);
    cv::Mat d = dst.mat(r);
    const int flags = (mode == tpxInterNearest  ? cv::INTER_NEAREST
                       : mode == tpxInterLinear ? cv::INTER_LINEAR
                                                : cv::INTER_CUBIC) |
                      (forward ? 0 : cv::WARP_INVERSE_MAP);
    for (auto _ : state) {
      cv::warpAffine(s, d, m, d.size(), flags, cv::BORDER_TRANSPARENT);
      benchmark::ClobberMemory();
    }
    setBytes(state, r, 8);
  });
#endif
}

#ifdef TPX_HAVE_OPENCV
int cvMode(int mode) {
  return mode == tpxInterNearest  ? cv::INTER_NEAREST
         : mode == tpxInterLinear ? cv::INTER_LINEAR
                                  : cv::INTER_CUBIC;
}

// Maps of a rotation by 10 degrees about the centre with a mild radial term.
struct Maps {
  explicit Maps(const Region& r) : x(0, 0), y(0, 0) {
    const double a = 10 * 3.141592653589793 / 180, cx = r.width / 2.0, cy = r.height / 2.0;
    const double k = 0.05 / (cx * cx + cy * cy);
    for (int j = 0; j < r.height; ++j) {
      float* mx = reinterpret_cast<float*>(reinterpret_cast<char*>(x.data) + size_t(j) * x.step);
      float* my = reinterpret_cast<float*>(reinterpret_cast<char*>(y.data) + size_t(j) * y.step);
      for (int i = 0; i < r.width; ++i) {
        const double u = i - cx, v = j - cy, f = 1 + k * (u * u + v * v);
        mx[i] = float(cx + f * (std::cos(a) * u + std::sin(a) * v));
        my[i] = float(cy + f * (-std::sin(a) * u + std::cos(a) * v));
      }
    }
  }
  tpxbench::Plane<Tpx32f> x, y;
};

void registerRemap(const Region& r, int mode, const char* modeName) {
  const std::string name = std::string("remap_32f_") + modeName + "/" + r.name;
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    tpxbench::Plane<Tpx32f> src(0, 255), dst(0, 0);
    const Maps maps(r);
    for (auto _ : state) {
      tpxiRemap_32f_C1R(src.data, {r.width, r.height}, src.step, {0, 0, r.width, r.height},
                        maps.x.data, maps.x.step, maps.y.data, maps.y.step, dst.data, dst.step,
                        {r.width, r.height}, mode);
      benchmark::ClobberMemory();
    }
    setBytes(state, r, 16);
  });
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    tpxbench::Plane<Tpx32f> src(0, 255), dst(0, 0);
    const Maps maps(r);
    const cv::Mat mx = maps.x.mat(r), my = maps.y.mat(r);
    cv::Mat d = dst.mat(r);
    for (auto _ : state) {
      cv::remap(src.mat(r), d, mx, my, cvMode(mode), cv::BORDER_TRANSPARENT);
      benchmark::ClobberMemory();
    }
    setBytes(state, r, 16);
  });
}

// Rotation about the region's centre; 90 degrees writes a transposed region.
void registerRotate(const Region& r, double angle, int mode, const std::string& op) {
  const std::string name = op + "/" + r.name;
  const bool right = angle == 90;
  const double cx = (r.width - 1) / 2.0, cy = right ? cx : (r.height - 1) / 2.0;
  const int dw = right ? r.height : r.width, dh = right ? r.width : r.height;
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    tpxbench::Plane<Tpx8u> src(0, 255);
    int step = 0;
    Tpx8u* dst = tpxiMalloc_8u_C1(dw, dh, &step);
    for (auto _ : state) {
      tpxiRotateCenter_8u_C1R(src.data, {r.width, r.height}, src.step, {0, 0, r.width, r.height},
                              dst, step, {0, 0, dw, dh}, angle, cx, cy, mode);
      benchmark::ClobberMemory();
    }
    tpxiFree(dst);
    setBytes(state, r, 2);
  });
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    tpxbench::Plane<Tpx8u> src(0, 255);
    cv::Mat d(dh, dw, CV_8UC1, cv::Scalar(0));
    const cv::Mat m = cv::getRotationMatrix2D(cv::Point2f(float(cx), float(cy)), angle, 1.0);
    for (auto _ : state) {
      if (right) {
        cv::rotate(src.mat(r), d, cv::ROTATE_90_COUNTERCLOCKWISE);
      } else {
        cv::warpAffine(src.mat(r), d, m, d.size(), cvMode(mode), cv::BORDER_TRANSPARENT);
      }
      benchmark::ClobberMemory();
    }
    setBytes(state, r, 2);
  });
}
#endif

const tpxbench::Registrar kRegister([] {
  const char* modes[] = {"nearest", "linear", "cubic"};
  for (const Region& r : tpxbench::kRegions) {
    for (int k = 0; k < 3; ++k) {
      registerWarp(std::string("warp_back_32f_") + modes[k], r, 1 << k, false, false);
      registerWarp(std::string("warp_32f_") + modes[k], r, 1 << k, true, false);
    }
    registerWarp("warp_32f_linear_blend", r, tpxInterLinear, true, true);
#ifdef TPX_HAVE_OPENCV
    for (int k = 0; k < 3; ++k) {
      registerRemap(r, 1 << k, modes[k]);
      registerRotate(r, 30, 1 << k, std::string("rotate_8u_30_") + modes[k]);
    }
    if (r.width == 1920) registerRotate(r, 90, tpxInterNearest, "rotate_8u_90");
#endif
  }
});

}  // namespace
