// Scaled integer arithmetic beside OpenCV's add, subtract, multiply (with a
// scale of 2^-scaleFactor) and divide, on a full-HD image.
#include "bench/bench.h"

namespace {

using tpxbench::Plane;
using tpxbench::Region;
using tpxbench::setBytes;

const Region kFull = tpxbench::kRegions[0];

// dst = f(src1, src2) on the same three planes for both libraries.
template <typename T, typename TpxCall, typename CvCall>
void registerBinary(const std::string& op, double lo, double hi, TpxCall tpxCall, CvCall cvCall) {
  const std::string name = op + "/" + kFull.name;
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    Plane<T> a(lo, hi, 1), b(lo, hi, 2), d(0, 0);
    const TpxiSize roi{kFull.width, kFull.height};
    for (auto _ : state) {
      tpxCall(a.data, a.step, b.data, b.step, d.data, d.step, roi);
      benchmark::ClobberMemory();
    }
    setBytes(state, kFull, 3 * sizeof(T));
  });
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    Plane<T> a(lo, hi, 1), b(lo, hi, 2), d(0, 0);
    const cv::Mat ma = a.mat(kFull), mb = b.mat(kFull);
    cv::Mat md = d.mat(kFull);
    for (auto _ : state) {
      cvCall(ma, mb, md);
      benchmark::ClobberMemory();
    }
    setBytes(state, kFull, 3 * sizeof(T));
  });
#else
  (void)cvCall;
#endif
}

// Sub and Div take the first operand as subtrahend and divisor.
#define TPX_BINARY(fn, sf)                                                          \
  [](const auto* a, int as, const auto* b, int bs, auto* d, int ds, TpxiSize roi) { \
    fn(a, as, b, bs, d, ds, roi, sf);                                               \
  }
// The in-place multiply runs on a copy kept in the destination: d = b, d *= a.
#define TPX_MUL_INPLACE(fn, sf)                                                     \
  [](const auto* a, int as, const auto* b, int bs, auto* d, int ds, TpxiSize roi) { \
    (void)b;                                                                        \
    (void)bs;                                                                       \
    fn(a, as, d, ds, roi, sf);                                                      \
  }

#ifdef TPX_HAVE_OPENCV
#define CV_CALL(expr) [](const cv::Mat& a, const cv::Mat& b, cv::Mat& d) { expr; }
#else
#define CV_CALL(expr) 0
#endif

const tpxbench::Registrar kRegister([] {
  registerBinary<Tpx8u>("add_8u", 0, 255, TPX_BINARY(tpxiAdd_8u_C1RSfs, 0),
                        CV_CALL(cv::add(a, b, d)));
  registerBinary<Tpx16s>("add_16s", -20000, 20000, TPX_BINARY(tpxiAdd_16s_C1RSfs, 0),
                         CV_CALL(cv::add(a, b, d)));
  registerBinary<Tpx8u>("sub_8u", 0, 255, TPX_BINARY(tpxiSub_8u_C1RSfs, 0),
                        CV_CALL(cv::subtract(b, a, d)));
  registerBinary<Tpx16s>("sub_16s", -20000, 20000, TPX_BINARY(tpxiSub_16s_C1RSfs, 0),
                         CV_CALL(cv::subtract(b, a, d)));
  // Scaled: a sum halved, a product scaled by 2^-8 (rounded to nearest).
  registerBinary<Tpx8u>("add_8u_scaled", 0, 255, TPX_BINARY(tpxiAdd_8u_C1RSfs, 1),
                        CV_CALL(cv::addWeighted(a, 0.5, b, 0.5, 0.0, d)));
  registerBinary<Tpx8u>("mul_8u_scaled", 0, 255, TPX_MUL_INPLACE(tpxiMul_8u_C1IRSfs, 8),
                        CV_CALL(cv::multiply(d, a, d, 1.0 / 256)));
  registerBinary<Tpx16s>("mul_16s_scaled", -2000, 2000, TPX_MUL_INPLACE(tpxiMul_16s_C1IRSfs, 8),
                         CV_CALL(cv::multiply(d, a, d, 1.0 / 256)));
  registerBinary<Tpx8u>("div_8u", 0, 255, TPX_BINARY(tpxiDiv_8u_C1RSfs, 0),
                        CV_CALL(cv::divide(b, a, d)));
  registerBinary<Tpx16s>("div_16s", -20000, 20000, TPX_BINARY(tpxiDiv_16s_C1RSfs, 0),
                         CV_CALL(cv::divide(b, a, d)));
});

}  // namespace
