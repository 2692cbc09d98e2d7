// Gaussian noise added in place from a caller-held 32-bit seed.
//
// The uniform source is a subtract-with-borrow generator (three words and a
// borrow, results reduced by 18 when they come out negative) combined with a
// linear congruential one; normal deviates come in pairs from the polar
// method. Everything is fixed down to the decimal scale constant and the
// order of the multiplications, so a seed reproduces the same image on every
// processor that has the same libm `log`.
//
// The generator and the logarithm are one sequential chain per pair: there
// is nothing for vectors to share, and a vector or approximate log would
// change the bits. One entry therefore serves every index.
#include <cmath>
#include <cstdint>

#include "core/image.h"

#if TPX_VARIANT == 0

namespace tpx::TPX_NS {
namespace {

constexpr uint32_t kLcgMul = 69069u;
constexpr uint32_t kLcgAdd = 1013904243u;
constexpr uint32_t kLcgStart = 1131199209u;
constexpr uint32_t kBorrowFix = 18u;
// Used as written: slightly below 2^-31, and not interchangeable with it.
constexpr double kUniformScale = 4.656612873077e-10;

inline bool negative(uint32_t v) { return static_cast<int32_t>(v) < 0; }

// The state lives for one call; only X goes back to the caller.
class Generator {
 public:
  explicit Generator(uint32_t seed)
      : x_(seed), a_(kLcgMul * seed + kLcgAdd), b_(kLcgMul * a_ + kLcgAdd) {}

  uint32_t seed() const { return x_; }

  // The next pair (u1, u2) with 0 < u1^2 + u2^2 < 1, and its polar factor
  // sqrt(-2 ln S / S).
  double acceptedPair(double* u1, double* u2) {
    double s;
    do {
      step(u1, u2);
      s = *u1 * *u1 + *u2 * *u2;
    } while (!(s > 0.0 && s < 1.0));
    return std::sqrt(-2.0 * std::log(s) / s);
  }

 private:
  // Two uniform values in [-1, 1).
  void step(double* u1, double* u2) {
    const uint32_t t1 = a_ - b_ + w_;
    const uint32_t w2 = negative(t1) ? 0xFFFFFFFFu : 0u;
    const uint32_t t2 = x_ - a_ + w2;
    a_ = negative(t1) ? t1 - kBorrowFix : t1;
    w_ = negative(t2) ? 0xFFFFFFFFu : 0u;
    b_ = x_;
    x_ = negative(t2) ? t2 - kBorrowFix : t2;
    const uint32_t y1 = kLcgMul * y_ + kLcgAdd;
    const uint32_t y2 = kLcgMul * y1 + kLcgAdd;
    y_ = y2;
    *u1 = static_cast<double>(static_cast<int32_t>(a_ + y1)) * kUniformScale;
    *u2 = static_cast<double>(static_cast<int32_t>(x_ + y2)) * kUniformScale;
  }

  uint32_t x_, a_, b_;
  uint32_t w_ = 0xFFFFFFFFu;
  uint32_t y_ = kLcgStart;
};

// The pixel updates. The mean joins the noise before the conversion, so a
// mean of 1 with noise -0.7 truncates to +0.
inline Tpx32f addNoise(Tpx32f p, double n, double mean) {
  return static_cast<Tpx32f>((n + mean) + static_cast<double>(p));
}

template <typename T, int kLo, int kHi>
inline T addNoiseInt(T p, double n, double mean) {
  // The cast truncates toward zero whatever the rounding mode. It cannot
  // overflow: |f * u| <= sqrt(-2 ln S) < 9.4 for the smallest S the
  // generator can give, so |n + mean| stays far inside 32 bits.
  const int q = static_cast<int>(p) + static_cast<int>(n + mean);
  return static_cast<T>(q < kLo ? kLo : q > kHi ? kHi : q);
}

inline Tpx8u addNoise(Tpx8u p, double n, double mean) {
  return addNoiseInt<Tpx8u, 0, 255>(p, n, mean);
}
inline Tpx16s addNoise(Tpx16s p, double n, double mean) {
  return addNoiseInt<Tpx16s, -32768, 32767>(p, n, mean);
}

template <typename T>
TpxStatus addRandGauss(T* p, int step, TpxiSize roi, T mean, T stdDev, unsigned int* pSeed) {
  if (p == nullptr || pSeed == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  if (step < 1) return tpxStsStepErr;
  Generator gen(*pSeed);
  const double m = static_cast<double>(mean);
  const double sigma = static_cast<double>(stdDev);
  // Deviates go out in raster order, z1 then z2; a pair may straddle a row
  // end. Each row is finished before the next is read: rows may overlap.
  double g = 0.0, u1 = 0.0, u2 = 0.0;
  bool secondPending = false;
  for (int y = 0; y < roi.height; ++y) {
    T* r = row(p, step, y);
    for (int x = 0; x < roi.width; ++x) {
      double u;
      if (secondPending) {
        u = u2;
      } else {
        // stdDev * f first, then times u: the order fixes the bits.
        g = sigma * gen.acceptedPair(&u1, &u2);
        u = u1;
      }
      secondPending = !secondPending;
      store(r + x, addNoise(load(r + x), g * u, m));
    }
  }
  *pSeed = gen.seed();
  return tpxStsNoErr;
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxiAddRandGauss_Direct_8u_C1IR(Tpx8u* pSrcDst, int srcDstStep,
                                                       TpxiSize roiSize, Tpx8u mean, Tpx8u stdDev,
                                                       unsigned int* pSeed) {
  return addRandGauss(pSrcDst, srcDstStep, roiSize, mean, stdDev, pSeed);
}

TpxStatus tpx::TPX_NS::tpxiAddRandGauss_Direct_16s_C1IR(Tpx16s* pSrcDst, int srcDstStep,
                                                        TpxiSize roiSize, Tpx16s mean,
                                                        Tpx16s stdDev, unsigned int* pSeed) {
  return addRandGauss(pSrcDst, srcDstStep, roiSize, mean, stdDev, pSeed);
}

TpxStatus tpx::TPX_NS::tpxiAddRandGauss_Direct_32f_C1IR(Tpx32f* pSrcDst, int srcDstStep,
                                                        TpxiSize roiSize, Tpx32f mean,
                                                        Tpx32f stdDev, unsigned int* pSeed) {
  return addRandGauss(pSrcDst, srcDstStep, roiSize, mean, stdDev, pSeed);
}

#endif  // TPX_VARIANT == 0
