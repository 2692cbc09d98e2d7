// Rank filters beside OpenCV on a full-HD region: the median against
// medianBlur, minimum and maximum against erode and dilate with a
// rectangular element. The caller-memory filters run on a region with real
// pixels around it, and erode/dilate on the same submatrix read them too;
// the BorderReplicate forms face erode/dilate on a plain Mat with
// BORDER_REPLICATE. medianBlur always builds its own border.
#include <vector>

#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxbench::Region;
using tpxbench::setBytes;

const Region kFull = tpxbench::kRegions[0];

// A kFull region with `border` pixels of real memory on every side.
template <typename T>
struct Framed {
  explicit Framed(int border) : border(border) {
    const int w = kFull.width + 2 * border, h = kFull.height + 2 * border;
    data = sizeof(T) == 1 ? static_cast<void*>(tpxiMalloc_8u_C1(w, h, &step))
                          : static_cast<void*>(tpxiMalloc_32f_C1(w, h, &step));
    std::mt19937 rng(23);
    for (int y = 0; y < h; ++y) {
      T* row = reinterpret_cast<T*>(static_cast<char*>(data) + size_t(y) * step);
      for (int x = 0; x < w; ++x) row[x] = static_cast<T>(rng() % 256);
    }
  }
  ~Framed() { tpxiFree(data); }
  Framed(const Framed&) = delete;
  Framed& operator=(const Framed&) = delete;
  T* roi() const {
    return reinterpret_cast<T*>(static_cast<char*>(data) + size_t(border) * step) + border;
  }
#ifdef TPX_HAVE_OPENCV
  cv::Mat roiMat() const {
    const cv::Mat whole(kFull.height + 2 * border, kFull.width + 2 * border,
                        sizeof(T) == 1 ? CV_8UC1 : CV_32FC1, data, step);
    return whole(cv::Rect(border, border, kFull.width, kFull.height));
  }
#endif
  int border;
  void* data;
  int step;
};

const TpxiSize kRoi{kFull.width, kFull.height};

void registerMedian(int k) {
  const std::string name =
      "median_8u_" + std::to_string(k) + "x" + std::to_string(k) + "/" + kFull.name;
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    Framed<Tpx8u> src(k / 2), dst(0);
    for (auto _ : state) {
      tpxiFilterMedian_8u_C1R(src.roi(), src.step, dst.roi(), dst.step, kRoi, {k, k},
                              {k / 2, k / 2});
      benchmark::ClobberMemory();
    }
    setBytes(state, kFull, 2);
  });
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    Framed<Tpx8u> src(k / 2), dst(0);
    const cv::Mat s = src.roiMat();
    cv::Mat d = dst.roiMat();
    for (auto _ : state) {
      cv::medianBlur(s, d, k);
      benchmark::ClobberMemory();
    }
    setBytes(state, kFull, 2);
  });
#endif
}

// kind: 0 Min, 1 Max, 2 MinBorderReplicate, 3 MaxBorderReplicate.
void registerMinMax(int kind, int k) {
  static const char* const kNames[] = {"min", "max", "min_replicate", "max_replicate"};
  const std::string name = std::string(kNames[kind]) + "_32f_" + std::to_string(k) + "x" +
                           std::to_string(k) + "/" + kFull.name;
  const bool replicate = kind >= 2;
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    Framed<Tpx32f> src(replicate ? 0 : k / 2), dst(0);
    int size = 0;
    tpxiFilterMinGetBufferSize_32f_C1R(kFull.width, {k, k}, &size);
    std::vector<Tpx8u> buffer(static_cast<size_t>(size));
    for (auto _ : state) {
      switch (kind) {
        case 0:
          tpxiFilterMin_32f_C1R(src.roi(), src.step, dst.roi(), dst.step, kRoi, {k, k},
                                {k / 2, k / 2});
          break;
        case 1:
          tpxiFilterMax_32f_C1R(src.roi(), src.step, dst.roi(), dst.step, kRoi, {k, k},
                                {k / 2, k / 2});
          break;
        case 2:
          tpxiFilterMinBorderReplicate_32f_C1R(src.roi(), src.step, dst.roi(), dst.step, kRoi,
                                               {k, k}, {k / 2, k / 2}, buffer.data());
          break;
        default:
          tpxiFilterMaxBorderReplicate_32f_C1R(src.roi(), src.step, dst.roi(), dst.step, kRoi,
                                               {k, k}, {k / 2, k / 2}, buffer.data());
      }
      benchmark::ClobberMemory();
    }
    setBytes(state, kFull, 8);
  });
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    Framed<Tpx32f> src(replicate ? 0 : k / 2), dst(0);
    const cv::Mat s = src.roiMat();
    cv::Mat d = dst.roiMat();
    const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, {k, k});
    for (auto _ : state) {
      if (kind % 2 == 0) {
        cv::erode(s, d, element, {k / 2, k / 2}, 1, cv::BORDER_REPLICATE);
      } else {
        cv::dilate(s, d, element, {k / 2, k / 2}, 1, cv::BORDER_REPLICATE);
      }
      benchmark::ClobberMemory();
    }
    setBytes(state, kFull, 8);
  });
#endif
}

const tpxbench::Registrar kRegister([] {
  for (int k : {3, 5, 7, 15}) registerMedian(k);
  for (int kind = 0; kind < 4; ++kind)
    for (int k : {3, 5, 7, 15}) registerMinMax(kind, k);
});

}  // namespace
