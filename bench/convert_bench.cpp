// Copy, Set and conversions beside OpenCV's copyTo, setTo and convertTo, on a
// full-HD image and on a 64x64 region of one (rows not contiguous).
#include <random>
#include <vector>

#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

struct Region {
  const char* name;
  int width, height;
};
const Region kRegions[] = {{"1920x1080", 1920, 1080}, {"64x64", 64, 64}};
constexpr int kFullWidth = 1920, kFullHeight = 1080;

// A full-HD image of T from the library's allocator, filled at random in
// [lo, hi]; region() is its top-left corner of the requested size.
template <typename T>
struct Plane {
  Plane(double lo, double hi) {
    data = static_cast<T*>(tpxMallocFor(kFullWidth, kFullHeight, &step));
    std::mt19937 rng(42);
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

void setBytes(benchmark::State& state, const Region& r, size_t bytesPerPixel) {
  state.SetBytesProcessed(int64_t(state.iterations()) * r.width * r.height *
                          int64_t(bytesPerPixel));
}

// Source-to-destination operations: tpx call and OpenCV call on the same data.
template <typename S, typename D, typename TpxCall, typename CvCall>
void registerPair(const std::string& op, double lo, double hi, TpxCall tpxCall, CvCall cvCall) {
  for (const Region& r : kRegions) {
    const std::string name = op + "/" + r.name;
    tpxbench::registerTpx(name, [=](benchmark::State& state) {
      Plane<S> src(lo, hi);
      Plane<D> dst(0, 0);
      for (auto _ : state) {
        tpxCall(src.data, src.step, dst.data, dst.step, TpxiSize{r.width, r.height});
        benchmark::ClobberMemory();
      }
      setBytes(state, r, sizeof(S) + sizeof(D));
    });
#ifdef TPX_HAVE_OPENCV
    tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
      Plane<S> src(lo, hi);
      Plane<D> dst(0, 0);
      const cv::Mat s = src.mat(r);
      cv::Mat d = dst.mat(r);
      for (auto _ : state) {
        cvCall(s, d);
        benchmark::ClobberMemory();
      }
      setBytes(state, r, sizeof(S) + sizeof(D));
    });
#else
    (void)cvCall;
#endif
  }
}

template <typename T, typename TpxSet>
void registerSet(const std::string& op, T value, TpxSet tpxSet) {
  for (const Region& r : kRegions) {
    const std::string name = op + "/" + r.name;
    tpxbench::registerTpx(name, [=](benchmark::State& state) {
      Plane<T> dst(0, 0);
      for (auto _ : state) {
        tpxSet(value, dst.data, dst.step, TpxiSize{r.width, r.height});
        benchmark::ClobberMemory();
      }
      setBytes(state, r, sizeof(T));
    });
#ifdef TPX_HAVE_OPENCV
    tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
      Plane<T> dst(0, 0);
      cv::Mat d = dst.mat(r);
      for (auto _ : state) {
        d.setTo(cv::Scalar(double(value)));
        benchmark::ClobberMemory();
      }
      setBytes(state, r, sizeof(T));
    });
#endif
  }
}

#ifdef TPX_HAVE_OPENCV
auto cvCopy = [](const cv::Mat& s, cv::Mat& d) { s.copyTo(d); };
template <int kType>
void cvConvert(const cv::Mat& s, cv::Mat& d) {
  s.convertTo(d, kType);
}
#else
auto cvCopy = [](...) {};
#define cvConvert [](...) {}
#endif

const tpxbench::Registrar kRegister([] {
  registerPair<Tpx8u, Tpx8u>("copy_8u", 0, 255, tpxiCopy_8u_C1R, cvCopy);
  registerPair<Tpx16s, Tpx16s>("copy_16s", -30000, 30000, tpxiCopy_16s_C1R, cvCopy);
  registerPair<Tpx32f, Tpx32f>("copy_32f", -1, 1, tpxiCopy_32f_C1R, cvCopy);
  registerSet<Tpx8u>("set_8u", 77, tpxiSet_8u_C1R);
  registerSet<Tpx16s>("set_16s", -1234, tpxiSet_16s_C1R);
  registerSet<Tpx32s>("set_32s", 123456, tpxiSet_32s_C1R);
  registerSet<Tpx32f>("set_32f", 1.5f, tpxiSet_32f_C1R);
  registerPair<Tpx8u, Tpx16s>("convert_8u16s", 0, 255, tpxiConvert_8u16s_C1R, cvConvert<CV_16S>);
  registerPair<Tpx8u, Tpx32f>("convert_8u32f", 0, 255, tpxiConvert_8u32f_C1R, cvConvert<CV_32F>);
  registerPair<Tpx16s, Tpx32f>("convert_16s32f", -30000, 30000, tpxiConvert_16s32f_C1R,
                               cvConvert<CV_32F>);
  registerPair<Tpx16s, Tpx8u>("convert_16s8u", -100, 400, tpxiConvert_16s8u_C1R, cvConvert<CV_8U>);
  // OpenCV always rounds to nearest; it stands beside both of our modes.
  for (int mode : {1, 0}) {
    const std::string suffix = mode == 1 ? "_round" : "_trunc";
    registerPair<Tpx32f, Tpx8u>(
        "convert_32f8u" + suffix, -50, 300,
        [mode](const Tpx32f* s, int ss, Tpx8u* d, int ds, TpxiSize roi) {
          tpxiConvert_32f8u_C1R(s, ss, d, ds, roi, mode);
        },
        cvConvert<CV_8U>);
    registerPair<Tpx32f, Tpx16s>(
        "convert_32f16s" + suffix, -40000, 40000,
        [mode](const Tpx32f* s, int ss, Tpx16s* d, int ds, TpxiSize roi) {
          tpxiConvert_32f16s_C1R(s, ss, d, ds, roi, mode);
        },
        cvConvert<CV_16S>);
  }
});

}  // namespace
