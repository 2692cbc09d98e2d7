// Flood fill beside cv::floodFill (4-connected) on a full-HD 32f plateau,
// open or with 20% random walls, seeded inside the one large region. Each
// call paints the region with the other of two plateau values, so the next
// call fills the same region again and no copy is timed. Peers: lo = up = 0
// (equality), FLOODFILL_FIXED_RANGE (range), the floating range (gradient).
#include <memory>
#include <random>
#include <string>

#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxbench::kFullHeight;
using tpxbench::kFullWidth;

constexpr float kLow = 1.0f, kHigh = 2.0f, kWall = 100.0f;

struct Plateau {
  explicit Plateau(int wallPercent) {
    data = tpxiMalloc_32f_C1(kFullWidth, kFullHeight, &step);
    std::mt19937 rng(7);
    for (int y = 0; y < kFullHeight; ++y) {
      float* row = reinterpret_cast<float*>(reinterpret_cast<char*>(data) + size_t(y) * step);
      for (int x = 0; x < kFullWidth; ++x) row[x] = int(rng() % 100) < wallPercent ? kWall : kLow;
    }
    // Seed at the centre, opened so that it lies in the large region.
    float* centre =
        reinterpret_cast<float*>(reinterpret_cast<char*>(data) + size_t(kFullHeight / 2) * step);
    for (int x = kFullWidth / 2 - 1; x <= kFullWidth / 2 + 1; ++x) centre[x] = kLow;
  }
  ~Plateau() { tpxiFree(data); }
  Plateau(const Plateau&) = delete;
  Plateau& operator=(const Plateau&) = delete;
  Tpx32f* data;
  int step;
};

enum Rule { kEqual, kRange, kGrad };

void registerFill(Rule rule, int wallPercent) {
  static const char* kNames[] = {"FloodFill_Equal", "FloodFill_Range", "FloodFill_Grad"};
  const std::string name =
      std::string(kNames[rule]) + "/1920x1080/" + (wallPercent ? "walls20" : "open");
  const TpxiSize roi{kFullWidth, kFullHeight};
  const TpxiPoint seed{kFullWidth / 2, kFullHeight / 2};
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    Plateau p(wallPercent);
    int size = 0;
    if (rule == kGrad) {
      tpxiFloodFillGetSize_Grad(roi, &size);
    } else {
      tpxiFloodFillGetSize(roi, &size);
    }
    std::unique_ptr<Tpx8u[]> buffer(new Tpx8u[size_t(size)]);
    TpxiConnectedComp region;
    float next = kHigh;
    for (auto _ : state) {
      if (rule == kEqual) {
        tpxiFloodFill_4Con_32f_C1IR(p.data, p.step, roi, seed, next, &region, buffer.get());
      } else if (rule == kRange) {
        tpxiFloodFill_Range4Con_32f_C1IR(p.data, p.step, roi, seed, next, 0.5f, 0.5f, &region,
                                         buffer.get());
      } else {
        tpxiFloodFill_Grad4Con_32f_C1IR(p.data, p.step, roi, seed, next, 0.5f, 0.5f, &region,
                                        buffer.get());
      }
      next = next == kHigh ? kLow : kHigh;
      benchmark::ClobberMemory();
    }
    state.counters["area"] = region.area;
  });
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    Plateau p(wallPercent);
    cv::Mat m(kFullHeight, kFullWidth, CV_32FC1, p.data, size_t(p.step));
    const double delta = rule == kEqual ? 0.0 : 0.5;
    const int flags = 4 | (rule == kGrad ? 0 : cv::FLOODFILL_FIXED_RANGE);
    float next = kHigh;
    int area = 0;
    for (auto _ : state) {
      area = cv::floodFill(m, cv::Point(seed.x, seed.y), next, nullptr, delta, delta, flags);
      next = next == kHigh ? kLow : kHigh;
      benchmark::ClobberMemory();
    }
    state.counters["area"] = area;
  });
#endif
}

const tpxbench::Registrar kRegister([] {
  for (Rule rule : {kEqual, kRange, kGrad}) {
    registerFill(rule, 0);
    registerFill(rule, 20);
  }
});

}  // namespace
