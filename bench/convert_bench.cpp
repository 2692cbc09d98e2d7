// Copy, Set and conversions beside OpenCV's copyTo, setTo and convertTo, on a
// full-HD image and on a 64x64 region of one (rows not contiguous).
#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

using tpxbench::kRegions;
using tpxbench::Plane;
using tpxbench::Region;
using tpxbench::setBytes;

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
