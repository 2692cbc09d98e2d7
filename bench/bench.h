// Benchmark helpers. Every operation is registered under one base name in
// up to three forms:
//   <name>/tpx      TPX at the variant chosen at load time (the best here)
//   <name>/tpx-px   TPX forced to the generic variant
//   <name>/opencv   the OpenCV counterpart, single-threaded
// bench/compare.py reads the JSON output and prints one row per base name.
#ifndef TPX_BENCH_BENCH_H
#define TPX_BENCH_BENCH_H

#include <benchmark/benchmark.h>

#include <functional>
#include <random>
#include <string>

#include "core/cpu.h"
#include "tpx.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace tpxbench {

using Body = std::function<void(benchmark::State&)>;

// Registers body as "<name>/tpx" and "<name>/tpx-px".
void registerTpx(const std::string& name, Body body);
// Registers body as "<name>/opencv" (only built when OpenCV was found).
void registerOpenCv(const std::string& name, Body body);

struct Region {
  const char* name;
  int width, height;
};
inline const Region kRegions[] = {{"1920x1080", 1920, 1080}, {"64x64", 64, 64}};
inline constexpr int kFullWidth = 1920, kFullHeight = 1080;

// A full-HD image of T from the library's allocator, filled at random in
// [lo, hi]; region() is its top-left corner of the requested size.
template <typename T>
struct Plane {
  Plane(double lo, double hi, uint32_t seed = 42) {
    data = static_cast<T*>(tpxMallocFor(kFullWidth, kFullHeight, &step));
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> d(lo, hi);
    for (int y = 0; y < kFullHeight; ++y) {
      T* row = reinterpret_cast<T*>(reinterpret_cast<char*>(data) + size_t(y) * step);
      for (int x = 0; x < kFullWidth; ++x) row[x] = static_cast<T>(d(rng));
    }
  }
  ~Plane() { tpxiFree(data); }
  Plane(const Plane&) = delete;
  Plane& operator=(const Plane&) = delete;

  static void* tpxMallocFor(int w, int h, int* step) {
    if constexpr (sizeof(T) == 1) return tpxiMalloc_8u_C1(w, h, step);
    if constexpr (sizeof(T) == 2) return tpxiMalloc_16s_C1(w, h, step);
    return tpxiMalloc_32f_C1(w, h, step);
  }
#ifdef TPX_HAVE_OPENCV
  // The same pixels as an OpenCV header (no copy).
  cv::Mat mat(const Region& r) const { return cv::Mat(r.height, r.width, cvType(), data, step); }
  static int cvType() {
    if constexpr (std::is_same_v<T, Tpx8u>) return CV_8UC1;
    if constexpr (std::is_same_v<T, Tpx16s>) return CV_16SC1;
    if constexpr (std::is_same_v<T, Tpx32s>) return CV_32SC1;
    return CV_32FC1;
  }
#endif
  T* data;
  int step;
};

inline void setBytes(benchmark::State& state, const Region& r, size_t bytesPerPixel) {
  state.SetBytesProcessed(int64_t(state.iterations()) * r.width * r.height *
                          int64_t(bytesPerPixel));
}

// Runs its constructor's function before main, to register benchmarks from
// any source file: static const tpxbench::Registrar r([] { ... });
struct Registrar {
  explicit Registrar(const std::function<void()>& f) { f(); }
};

}  // namespace tpxbench

#endif  // TPX_BENCH_BENCH_H
