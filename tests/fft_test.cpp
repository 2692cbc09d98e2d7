// The FFT engine: transforms against a double-precision reference, the Pack
// layouts, round trips for every flag, 2-D shapes down to 1 and 2, the
// spectrum helpers, check orders, and agreement of all variants.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <random>

#include "fft/engine.h"
#include "tests/harness.h"

namespace {

using tpxtest::expectVariantsMatchGeneric;
using tpxtest::forEachVariant;
using tpxtest::Outcome;
using Cd = std::complex<double>;

// ----- Reference: a recursive radix-2 DFT in double -------------------------------------

void referenceDft(std::vector<Cd>& a, bool inverse) {
  const size_t n = a.size();
  if (n == 1) return;
  std::vector<Cd> even(n / 2), odd(n / 2);
  for (size_t i = 0; i < n / 2; ++i) {
    even[i] = a[2 * i];
    odd[i] = a[2 * i + 1];
  }
  referenceDft(even, inverse);
  referenceDft(odd, inverse);
  const double sign = inverse ? 1.0 : -1.0;
  for (size_t k = 0; k < n / 2; ++k) {
    const Cd w = std::polar(1.0, sign * 2.0 * M_PI * double(k) / double(n)) * odd[k];
    a[k] = even[k] + w;
    a[k + n / 2] = even[k] - w;
  }
}

// The Pack layout of a real signal's spectrum, from the reference.
std::vector<double> referencePack(const std::vector<float>& x) {
  const size_t n = x.size();
  std::vector<Cd> a(x.begin(), x.end());
  referenceDft(a, false);
  std::vector<double> pack(n);
  pack[0] = a[0].real();
  for (size_t k = 1; k < (n + 1) / 2; ++k) {
    pack[2 * k - 1] = a[k].real();
    pack[2 * k] = a[k].imag();
  }
  if (n >= 2) pack[n - 1] = a[n / 2].real();
  return pack;
}

// Largest error relative to the largest value: single precision with the
// rounding growth of log2(n) stages.
template <typename A, typename B>
double relativeError(const A& got, const B& want) {
  double err = 0, scale = 1e-30;
  for (size_t i = 0; i < want.size(); ++i) {
    err = std::max(err, std::abs(double(got[i]) - double(want[i])));
    scale = std::max(scale, std::abs(double(want[i])));
  }
  return err / scale;
}

double bound(int order) { return 2e-7 * (order + 2); }

std::vector<float> randomSignal(size_t n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> d(-1, 1);
  std::vector<float> v(n);
  for (float& x : v) x = d(rng);
  return v;
}

struct Plan1D {
  explicit Plan1D(int order, int flag, bool real) {
    status = real ? tpxsFftInitR_32f(&handle, order, flag, 0)
                  : tpxsFftInitC_32fc(&handle, order, flag, 0);
  }
  ~Plan1D() { tpxsFftFree(handle); }
  TpxFftSpec* handle = nullptr;
  TpxStatus status;
};

// ----- 1-D ---------------------------------------------------------------------------------

TEST(Fft1D, RealForwardAgainstReferenceForOrders0To16) {
  for (int order = 0; order <= 16; ++order) {
    SCOPED_TRACE(order);
    const size_t n = size_t(1) << order;
    const std::vector<float> x = randomSignal(n, uint32_t(order));
    const std::vector<double> want = referencePack(x);
    Plan1D plan(order, tpxFftScaleNone, true);
    ASSERT_EQ(plan.status, tpxStsNoErr);
    const Outcome generic = expectVariantsMatchGeneric([&] {
      std::vector<float> out(n);
      Outcome o;
      o.status = tpxsFftFwd_RToPack_32f(x.data(), out.data(), plan.handle, nullptr);
      return o.add(out);
    });
    ASSERT_EQ(generic.status, tpxStsNoErr);
    std::vector<float> got(n);
    std::memcpy(got.data(), generic.bytes.data(), n * 4);
    EXPECT_LT(relativeError(got, want), bound(order));
    // In place gives the same bytes.
    std::vector<float> inPlace = x;
    ASSERT_EQ(tpxsFftFwd_RToPack_32f(inPlace.data(), inPlace.data(), plan.handle, nullptr),
              tpxStsNoErr);
    EXPECT_EQ(inPlace, got);
  }
}

TEST(Fft1D, ComplexAgainstReferenceForOrders0To14) {
  for (int order = 0; order <= 14; ++order) {
    SCOPED_TRACE(order);
    const size_t n = size_t(1) << order;
    const std::vector<float> x = randomSignal(2 * n, uint32_t(100 + order));
    for (bool inverse : {false, true}) {
      std::vector<Cd> ref(n);
      for (size_t i = 0; i < n; ++i) ref[i] = Cd(x[2 * i], x[2 * i + 1]);
      referenceDft(ref, inverse);
      std::vector<double> want(2 * n);
      for (size_t i = 0; i < n; ++i) {
        want[2 * i] = ref[i].real();
        want[2 * i + 1] = ref[i].imag();
      }
      Plan1D plan(order, tpxFftScaleNone, false);
      ASSERT_EQ(plan.status, tpxStsNoErr);
      const Outcome generic = expectVariantsMatchGeneric([&] {
        std::vector<float> out(2 * n);
        auto* src = reinterpret_cast<const Tpx32fc*>(x.data());
        auto* dst = reinterpret_cast<Tpx32fc*>(out.data());
        Outcome o;
        o.status = inverse ? tpxsFftInv_CToC_32fc(src, dst, plan.handle, nullptr)
                           : tpxsFftFwd_CToC_32fc(src, dst, plan.handle, nullptr);
        return o.add(out);
      });
      std::vector<float> got(2 * n);
      std::memcpy(got.data(), generic.bytes.data(), 8 * n);
      EXPECT_LT(relativeError(got, want), bound(order)) << (inverse ? "inverse" : "forward");
    }
  }
}

TEST(Fft1D, PackLayoutOfKnownSignals) {
  forEachVariant([&](int) {
    // A cosine of one cycle over 16 samples: R1 = 8, everything else 0.
    std::vector<float> x(16);
    for (int i = 0; i < 16; ++i) x[size_t(i)] = float(std::cos(2 * M_PI * i / 16));
    Plan1D plan(4, tpxFftScaleNone, true);
    std::vector<float> pack(16);
    ASSERT_EQ(tpxsFftFwd_RToPack_32f(x.data(), pack.data(), plan.handle, nullptr), tpxStsNoErr);
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(pack[size_t(i)], i == 1 ? 8.0f : 0.0f, 1e-5) << i;
    // Alternating signs over 8 samples: only the real Nyquist term, last.
    std::vector<float> alt = {1, -1, 1, -1, 1, -1, 1, -1};
    Plan1D small(3, tpxFftScaleNone, true);
    ASSERT_EQ(tpxsFftFwd_RToPack_32f(alt.data(), pack.data(), small.handle, nullptr), tpxStsNoErr);
    for (int i = 0; i < 8; ++i) EXPECT_NEAR(pack[size_t(i)], i == 7 ? 8.0f : 0.0f, 1e-6) << i;
  });
}

TEST(Fft1D, RoundTripsForEveryFlag) {
  struct Row {
    int flag;
    double factor;  // inverse(forward(x)) = factor * x
  };
  const Row kRows[] = {
      {tpxFftScaleFwd, 1}, {tpxFftScaleInv, 1}, {tpxFftScaleSqrt, 1}, {tpxFftScaleNone, 0}};
  forEachVariant([&](int) {
    for (const Row& r : kRows) {
      for (int order : {0, 1, 2, 3, 4, 5, 10, 13}) {
        const size_t n = size_t(1) << order;
        const double factor = r.factor == 0 ? double(n) : r.factor;
        const std::vector<float> x = randomSignal(n, 7);
        Plan1D plan(order, r.flag, true);
        ASSERT_EQ(plan.status, tpxStsNoErr);
        std::vector<float> y(n);
        ASSERT_EQ(tpxsFftFwd_RToPack_32f(x.data(), y.data(), plan.handle, nullptr), tpxStsNoErr);
        ASSERT_EQ(tpxsFftInv_PackToR_32f(y.data(), y.data(), plan.handle, nullptr), tpxStsNoErr);
        std::vector<double> want(x.begin(), x.end());
        for (double& v : want) v *= factor;
        EXPECT_LT(relativeError(y, want), bound(order)) << "flag " << r.flag << " order " << order;
        Plan1D cplan(order, r.flag, false);
        std::vector<float> z(2 * n), c = randomSignal(2 * n, 8);
        auto* zc = reinterpret_cast<Tpx32fc*>(z.data());
        ASSERT_EQ(
            tpxsFftFwd_CToC_32fc(reinterpret_cast<Tpx32fc*>(c.data()), zc, cplan.handle, nullptr),
            tpxStsNoErr);
        ASSERT_EQ(tpxsFftInv_CToC_32fc(zc, zc, cplan.handle, nullptr), tpxStsNoErr);
        std::vector<double> cwant(c.begin(), c.end());
        for (double& v : cwant) v *= factor;
        EXPECT_LT(relativeError(z, cwant), bound(order)) << "complex flag " << r.flag;
      }
    }
  });
}

TEST(Fft1D, PlanChecksAndSizes) {
  TpxFftSpec* out = reinterpret_cast<TpxFftSpec*>(uintptr_t(1));
  EXPECT_EQ(tpxsFftInitR_32f(nullptr, 4, tpxFftScaleInv, 0), tpxStsNullPtrErr);
  EXPECT_EQ(tpxsFftInitR_32f(nullptr, 31, 3, 0), tpxStsNullPtrErr);
  for (int order : {-1, 31, 1000}) {
    EXPECT_EQ(tpxsFftInitR_32f(&out, order, 3, 0), tpxStsFftOrderErr);
    EXPECT_EQ(tpxsFftInitC_32fc(&out, order, 2, 0), tpxStsFftOrderErr);
  }
  for (int flag : {0, 3, 5, 16, -1}) {
    EXPECT_EQ(tpxsFftInitR_32f(&out, 5, flag, 0), tpxStsFftFlagErr);
  }
  EXPECT_EQ(out, reinterpret_cast<TpxFftSpec*>(uintptr_t(1)));  // nothing stored on failure
  Plan1D small(3, tpxFftScaleInv, true), big(10, tpxFftScaleSqrt, true);
  EXPECT_EQ(small.handle->tag, 6);
  EXPECT_EQ(small.handle->scale, 1.0f / 8);
  EXPECT_EQ(big.handle->scale, float(1.0 / 32.0));
  int size = -1;
  EXPECT_EQ(tpxsFftGetBufSize(small.handle, &size), tpxStsNoErr);
  EXPECT_EQ(size, 0);
  EXPECT_EQ(tpxsFftGetBufSize(big.handle, &size), tpxStsNoErr);
  EXPECT_EQ(size, big.handle->workSize + 16);
  Plan1D complexPlan(5, tpxFftScaleNone, false);
  EXPECT_EQ(complexPlan.handle->tag, 4);
  // Transform checks: null plan, wrong tag, null data.
  std::vector<float> buf(64);
  forEachVariant([&](int) {
    EXPECT_EQ(tpxsFftFwd_RToPack_32f(nullptr, nullptr, nullptr, nullptr), tpxStsNullPtrErr);
    EXPECT_EQ(tpxsFftFwd_RToPack_32f(nullptr, buf.data(), complexPlan.handle, nullptr),
              tpxStsContextMatchErr);
    EXPECT_EQ(tpxsFftInv_PackToR_32f(buf.data(), nullptr, big.handle, nullptr), tpxStsNullPtrErr);
    auto* c = reinterpret_cast<Tpx32fc*>(buf.data());
    EXPECT_EQ(tpxsFftFwd_CToC_32fc(c, c, big.handle, nullptr), tpxStsContextMatchErr);
    EXPECT_EQ(tpxsFftInv_CToC_32fc(nullptr, c, complexPlan.handle, nullptr), tpxStsNullPtrErr);
  });
}

// ----- 2-D ---------------------------------------------------------------------------------

// The 2-D Pack layout built from a full complex 2-D DFT in double.
std::vector<double> reference2D(const std::vector<float>& img, int nx, int ny) {
  std::vector<std::vector<Cd>> f(static_cast<size_t>(ny), std::vector<Cd>(static_cast<size_t>(nx)));
  for (int y = 0; y < ny; ++y) {
    for (int x = 0; x < nx; ++x) f[size_t(y)][size_t(x)] = img[size_t(y * nx + x)];
    referenceDft(f[size_t(y)], false);
  }
  for (int x = 0; x < nx; ++x) {
    std::vector<Cd> col(static_cast<size_t>(ny));
    for (int y = 0; y < ny; ++y) col[size_t(y)] = f[size_t(y)][size_t(x)];
    referenceDft(col, false);
    for (int y = 0; y < ny; ++y) f[size_t(y)][size_t(x)] = col[size_t(y)];
  }
  std::vector<double> pack(static_cast<size_t>(nx * ny));
  auto at = [&](int y, int x) -> double& { return pack[size_t(y * nx + x)]; };
  // Real columns 0 and nx/2 (stored in columns 0 and nx-1), Pack down the column.
  for (int c = 0; c < (nx >= 2 ? 2 : 1); ++c) {
    const int fx = c == 0 ? 0 : nx / 2, px = c == 0 ? 0 : nx - 1;
    at(0, px) = f[0][size_t(fx)].real();
    for (int k = 1; k < (ny + 1) / 2; ++k) {
      at(2 * k - 1, px) = f[size_t(k)][size_t(fx)].real();
      at(2 * k, px) = f[size_t(k)][size_t(fx)].imag();
    }
    if (ny >= 2) at(ny - 1, px) = f[size_t(ny / 2)][size_t(fx)].real();
  }
  for (int k = 1; k < nx / 2; ++k) {
    for (int y = 0; y < ny; ++y) {
      at(y, 2 * k - 1) = f[size_t(y)][size_t(k)].real();
      at(y, 2 * k) = f[size_t(y)][size_t(k)].imag();
    }
  }
  return pack;
}

struct Plan2D {
  Plan2D(int ox, int oy, int flag) { status = tpxiFftInitR_32f(&handle, ox, oy, flag, 0); }
  ~Plan2D() { tpxiFftFree(handle); }
  TpxFft2DSpecR* handle = nullptr;
  TpxStatus status;
};

TEST(Fft2D, ShapesAgainstReferenceAndRoundTrips) {
  const int kOrders[][2] = {{0, 0}, {0, 3}, {3, 0}, {1, 1}, {1, 4}, {4, 1}, {2, 2},
                            {4, 4}, {5, 3}, {3, 5}, {6, 6}, {7, 4}, {2, 7}};
  for (const auto& o : kOrders) {
    const int nx = 1 << o[0], ny = 1 << o[1];
    SCOPED_TRACE(testing::Message() << nx << "x" << ny);
    const std::vector<float> img = randomSignal(size_t(nx * ny), uint32_t(nx * 1000 + ny));
    const std::vector<double> want = reference2D(img, nx, ny);
    Plan2D plan(o[0], o[1], tpxFftScaleInv);
    ASSERT_EQ(plan.status, tpxStsNoErr);
    int size = 0;
    ASSERT_EQ(tpxiFftGetBufSize(plan.handle, &size), tpxStsNoErr);
    const Outcome generic = expectVariantsMatchGeneric([&] {
      std::vector<float> spectrum(static_cast<size_t>(nx * ny)), back(static_cast<size_t>(nx * ny));
      std::vector<Tpx8u> buffer(static_cast<size_t>(size) + 3);
      Outcome o2;
      // A misaligned caller buffer is aligned by the transform.
      o2.status = tpxiFftFwd_RToPack_32f_C1R(img.data(), nx * 4, spectrum.data(), nx * 4,
                                             plan.handle, buffer.data() + 3);
      o2.status |= tpxiFftInv_PackToR_32f_C1R(spectrum.data(), nx * 4, back.data(), nx * 4,
                                              plan.handle, nullptr);
      return o2.add(spectrum).add(back);
    });
    ASSERT_EQ(generic.status, tpxStsNoErr);
    std::vector<float> spectrum(static_cast<size_t>(nx * ny)), back(static_cast<size_t>(nx * ny));
    std::memcpy(spectrum.data(), generic.bytes.data(), spectrum.size() * 4);
    std::memcpy(back.data(), generic.bytes.data() + spectrum.size() * 4, back.size() * 4);
    EXPECT_LT(relativeError(spectrum, want), bound(o[0] + o[1]));
    EXPECT_LT(relativeError(back, img), bound(o[0] + o[1]));
  }
}

TEST(Fft2D, UnscaledRoundTripAndConstantImage) {
  forEachVariant([&](int) {
    const int nx = 16, ny = 8;
    Plan2D plan(4, 3, tpxFftScaleNone);
    std::vector<float> img(static_cast<size_t>(nx * ny), 1.5f), spectrum(img.size());
    ASSERT_EQ(tpxiFftFwd_RToPack_32f_C1R(img.data(), nx * 4, spectrum.data(), nx * 4, plan.handle,
                                         nullptr),
              tpxStsNoErr);
    EXPECT_EQ(spectrum[0], 1.5f * nx * ny);
    for (size_t i = 1; i < spectrum.size(); ++i) EXPECT_EQ(spectrum[i], 0.0f) << i;
    const std::vector<float> x = randomSignal(img.size(), 3);
    std::vector<float> y(img.size());
    ASSERT_EQ(tpxiFftFwd_RToPack_32f_C1R(x.data(), nx * 4, y.data(), nx * 4, plan.handle, nullptr),
              tpxStsNoErr);
    ASSERT_EQ(tpxiFftInv_PackToR_32f_C1R(y.data(), nx * 4, y.data(), nx * 4, plan.handle, nullptr),
              tpxStsNoErr);
    std::vector<double> want(x.begin(), x.end());
    for (double& v : want) v *= nx * ny;
    EXPECT_LT(relativeError(y, want), bound(7));
  });
}

TEST(Fft2D, ChecksInOrder) {
  Plan2D plan(3, 3, tpxFftScaleInv);
  Plan1D wrong(3, tpxFftScaleInv, true);
  std::vector<float> a(64), b(64);
  const auto* wrongTag = reinterpret_cast<const TpxFft2DSpecR*>(wrong.handle);
  forEachVariant([&](int) {
    EXPECT_EQ(tpxiFftFwd_RToPack_32f_C1R(nullptr, 0, nullptr, 0, nullptr, nullptr),
              tpxStsNullPtrErr);
    EXPECT_EQ(tpxiFftFwd_RToPack_32f_C1R(nullptr, 0, b.data(), 0, wrongTag, nullptr),
              tpxStsContextMatchErr);
    EXPECT_EQ(tpxiFftInv_PackToR_32f_C1R(a.data(), 0, nullptr, 32, plan.handle, nullptr),
              tpxStsNullPtrErr);
    EXPECT_EQ(tpxiFftInv_PackToR_32f_C1R(a.data(), 32, b.data(), 0, plan.handle, nullptr),
              tpxStsStepErr);
  });
  TpxFft2DSpecR* out = nullptr;
  EXPECT_EQ(tpxiFftInitR_32f(nullptr, 31, 3, 7, 0), tpxStsNullPtrErr);
  EXPECT_EQ(tpxiFftInitR_32f(&out, 31, 3, 2, 0), tpxStsFftOrderErr);
  EXPECT_EQ(tpxiFftInitR_32f(&out, 3, -1, 2, 0), tpxStsFftOrderErr);
  EXPECT_EQ(tpxiFftInitR_32f(&out, 3, 4, 3, 0), tpxStsFftFlagErr);
  EXPECT_EQ(out, nullptr);
  int size;
  EXPECT_EQ(tpxiFftGetBufSize(nullptr, &size), tpxStsNullPtrErr);
  EXPECT_EQ(tpxiFftGetBufSize(wrongTag, &size), tpxStsContextMatchErr);
  EXPECT_EQ(tpxiFftFree(nullptr), tpxStsNullPtrErr);
  // Equal orders share the row plan for the columns.
  EXPECT_EQ(plan.handle->columnReal, nullptr);
  EXPECT_EQ(plan.handle->columnComplex[0], nullptr);
  EXPECT_NE(plan.handle->columnComplex[1], nullptr);
}

// ----- Spectrum helpers ------------------------------------------------------------------

TEST(FftSpectrum, ImpulseProductAndDoubleConjugation) {
  const int nx = 16, ny = 8;
  Plan2D plan(4, 3, tpxFftScaleInv);
  std::vector<float> impulse(static_cast<size_t>(nx * ny), 0.0f), one(impulse.size());
  impulse[0] = 1.0f;
  ASSERT_EQ(
      tpxiFftFwd_RToPack_32f_C1R(impulse.data(), nx * 4, one.data(), nx * 4, plan.handle, nullptr),
      tpxStsNoErr);
  const std::vector<float> x = randomSignal(impulse.size(), 9);
  forEachVariant([&](int) {
    std::vector<float> s(x.size());
    ASSERT_EQ(tpxiFftFwd_RToPack_32f_C1R(x.data(), nx * 4, s.data(), nx * 4, plan.handle, nullptr),
              tpxStsNoErr);
    const std::vector<float> before = s;
    ASSERT_EQ(tpxiMulPack_32f_C1IR(one.data(), nx * 4, s.data(), nx * 4, nx, ny), tpxStsNoErr);
    EXPECT_EQ(s, before);
    tpxiConjPack_32f_C1IR(s.data(), nx * 4, nx, ny);
    EXPECT_NE(s, before);
    tpxiConjPack_32f_C1IR(s.data(), nx * 4, nx, ny);
    EXPECT_EQ(s, before);
  });
}

TEST(FftSpectrum, ProductIsCircularConvolutionAndConjugateIsCorrelation) {
  const int nx = 8, ny = 4;
  Plan2D plan(3, 2, tpxFftScaleInv);
  const std::vector<float> a = randomSignal(size_t(nx * ny), 21), b = randomSignal(a.size(), 22);
  forEachVariant([&](int) {
    for (bool correlate : {false, true}) {
      std::vector<float> fa(a.size()), fb(a.size());
      ASSERT_EQ(
          tpxiFftFwd_RToPack_32f_C1R(a.data(), nx * 4, fa.data(), nx * 4, plan.handle, nullptr),
          tpxStsNoErr);
      ASSERT_EQ(
          tpxiFftFwd_RToPack_32f_C1R(b.data(), nx * 4, fb.data(), nx * 4, plan.handle, nullptr),
          tpxStsNoErr);
      if (correlate) tpxiConjPack_32f_C1IR(fa.data(), nx * 4, nx, ny);
      ASSERT_EQ(tpxiMulPack_32f_C1IR(fa.data(), nx * 4, fb.data(), nx * 4, nx, ny), tpxStsNoErr);
      ASSERT_EQ(
          tpxiFftInv_PackToR_32f_C1R(fb.data(), nx * 4, fb.data(), nx * 4, plan.handle, nullptr),
          tpxStsNoErr);
      std::vector<double> want(a.size());
      for (int y = 0; y < ny; ++y)
        for (int x = 0; x < nx; ++x) {
          double sum = 0;
          for (int v = 0; v < ny; ++v)
            for (int u = 0; u < nx; ++u) {
              // convolution: a(u,v) b(x-u, y-v); correlation: a(u,v) b(x+u, y+v)
              const int bx = correlate ? (x + u) % nx : (x - u + nx) % nx;
              const int by = correlate ? (y + v) % ny : (y - v + ny) % ny;
              sum += double(a[size_t(v * nx + u)]) * b[size_t(by * nx + bx)];
            }
          want[size_t(y * nx + x)] = sum;
        }
      EXPECT_LT(relativeError(fb, want), 1e-5) << (correlate ? "correlation" : "convolution");
    }
  });
  std::vector<float> s(8);
  EXPECT_EQ(tpxiMulPack_32f_C1IR(nullptr, 4, s.data(), 4, 1, 1), tpxStsNullPtrErr);
  EXPECT_EQ(tpxiMulPack_32f_C1IR(s.data(), 0, s.data(), 4, 0, 1), tpxStsStepErr);
  EXPECT_EQ(tpxiMulPack_32f_C1IR(s.data(), 4, s.data(), 4, 0, 1), tpxStsSizeErr);
}

TEST(FftSpectrum, CopyPadZeroStagesBlocks) {
  std::vector<float> block(5 * 3);
  for (size_t i = 0; i < block.size(); ++i) block[i] = float(i + 1);
  struct Row {
    int ox, oy, nx, ny;
  };
  const Row kRows[] = {{0, 0, 8, 4}, {2, 1, 8, 4}, {6, 2, 8, 4}, {0, 3, 4, 4}, {9, 9, 4, 4}};
  forEachVariant([&](int) {
    for (const Row& r : kRows) {
      std::vector<float> tile(size_t(r.nx * r.ny), 99.0f);
      tpxiCopyPadZero_32f_C1R(block.data(), 5 * 4, 5, 3, tile.data(), r.nx, r.ny, r.ox, r.oy);
      for (int y = 0; y < r.ny; ++y)
        for (int x = 0; x < r.nx; ++x) {
          const int bx = x - r.ox, by = y - r.oy;
          const float want =
              bx >= 0 && bx < 5 && by >= 0 && by < 3 ? block[size_t(by * 5 + bx)] : 0;
          EXPECT_EQ(tile[size_t(y * r.nx + x)], want)
              << x << "," << y << " offset " << r.ox << "," << r.oy;
        }
    }
  });
}

}  // namespace
