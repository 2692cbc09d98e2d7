// Concurrent calls: the library keeps no state between calls beyond the
// variant index fixed at load time, so threads working on distinct buffers
// must neither disturb each other nor get other results than one thread
// alone. Built with ThreadSanitizer (the tsan preset), this also shows that
// nothing written during loading or by a call is read unsynchronised.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>
#include <thread>
#include <vector>

#include "tpx.h"

namespace {

constexpr int kW = 67, kH = 23;

// One round of calls from every family on the caller's own buffers; returns
// every output byte and every status, so that rounds can be compared.
std::vector<uint8_t> oneRound(uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<Tpx8u> u8(kW * kH), u8b(kW * kH);
  std::vector<Tpx16s> s16(kW * kH), s16b(kW * kH);
  std::vector<Tpx32f> f(kW * kH), g(kW * kH), h(kW * kH), acc(kW * kH, 1.0f);
  for (int i = 0; i < kW * kH; ++i) {
    u8[size_t(i)] = Tpx8u(rng());
    u8b[size_t(i)] = Tpx8u(rng());
    s16[size_t(i)] = Tpx16s(rng());
    s16b[size_t(i)] = Tpx16s(rng() | 1);
    f[size_t(i)] = float(int(rng() % 2001) - 1000) / 7.0f;
    g[size_t(i)] = float(int(rng() % 1000) + 1) / 3.0f;
  }
  const TpxiSize roi = {kW, kH}, inner = {kW - 4, kH - 4};
  std::vector<uint8_t> out;
  auto keep = [&out](const void* p, size_t n) {
    const auto* b = static_cast<const uint8_t*>(p);
    out.insert(out.end(), b, b + n);
  };
  std::vector<TpxStatus> st;
  std::vector<Tpx8u> d8(kW * kH);
  std::vector<Tpx16s> d16(kW * kH);
  std::vector<Tpx32f> d32(kW * kH);
  st.push_back(tpxiAdd_8u_C1RSfs(u8.data(), kW, u8b.data(), kW, d8.data(), kW, roi, 1));
  st.push_back(
      tpxiDiv_16s_C1RSfs(s16b.data(), 2 * kW, s16.data(), 2 * kW, d16.data(), 2 * kW, roi, -3));
  st.push_back(tpxiConvert_32f8u_C1R(f.data(), 4 * kW, d8.data() + 1, kW, inner, 1));
  st.push_back(tpxiDiv_32f_C1R(g.data(), 4 * kW, f.data(), 4 * kW, d32.data(), 4 * kW, roi));
  st.push_back(tpxiLn_32f_C1IR(g.data(), 4 * kW, roi));
  st.push_back(tpxiAddWeighted_8u32f_C1IR(u8.data(), kW, acc.data(), 4 * kW, roi, 0.3f));
  keep(d8.data(), d8.size());
  keep(d16.data(), d16.size() * 2);
  keep(d32.data(), d32.size() * 4);
  keep(g.data(), g.size() * 4);
  keep(acc.data(), acc.size() * 4);

  Tpx64f r[6] = {};
  Tpx32f mn = 0;
  int pos[2] = {}, hist[4] = {};
  const Tpx32f levels[5] = {-100, -10, 0, 10, 100};
  st.push_back(tpxiSum_32f_C1R(f.data(), 4 * kW, roi, &r[0], tpxAccuracyHintAccurate));
  st.push_back(tpxiNorm_L2_16s_C1R(s16.data(), 2 * kW, roi, &r[1]));
  st.push_back(tpxiMean_StdDev_8u_C1R(u8.data(), kW, roi, &r[2], &r[3]));
  st.push_back(tpxiMinIndx_32f_C1R(f.data(), 4 * kW, roi, &mn, &pos[0], &pos[1]));
  st.push_back(tpxiHistogramRange_32f_C1R(f.data(), 4 * kW, roi, hist, levels, 5));
  keep(r, sizeof r);
  keep(&mn, 4);
  keep(pos, sizeof pos);
  keep(hist, sizeof hist);

  // A filter, a sort, polar conversion and template matching (which plans an
  // FFT and allocates its own scratch).
  const Tpx32f kernel[9] = {1, 2, 1, 0, -1, 0, 0.5f, 0.25f, 3};
  st.push_back(tpxiFilter_32f_C1R(f.data() + 2 * kW + 2, 4 * kW, h.data(), 4 * kW, inner, kernel,
                                  {3, 3}, {1, 1}));
  std::vector<Tpx32f> sorted = f, re(f.size()), im(f.size());
  st.push_back(tpxsSortAscend_32f_I(sorted.data(), int(sorted.size())));
  st.push_back(tpxsPolarToCart_32f(f.data(), g.data(), re.data(), im.data(), int(f.size())));
  std::vector<Tpx32f> map((kW - 8) * (kH - 6));
  st.push_back(tpxiCrossCorrValid_NormLevel_32f_C1R(f.data(), 4 * kW, roi, f.data() + 3 * kW + 5,
                                                    4 * kW, {9, 7}, map.data(), 4 * (kW - 8)));
  keep(h.data(), h.size() * 4);
  keep(sorted.data(), sorted.size() * 4);
  keep(re.data(), re.size() * 4);
  keep(im.data(), im.size() * 4);
  keep(map.data(), map.size() * 4);
  keep(st.data(), st.size() * sizeof(TpxStatus));
  return out;
}

TEST(Concurrency, ThreadsOnDistinctBuffersGetTheSingleThreadResults) {
  constexpr int kThreads = 4, kRounds = 6;
  std::vector<std::vector<uint8_t>> alone(kThreads);
  for (int t = 0; t < kThreads; ++t) alone[size_t(t)] = oneRound(uint32_t(t));
  std::vector<std::vector<uint8_t>> got(kThreads * kRounds);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &got] {
      for (int k = 0; k < kRounds; ++k) got[size_t(t * kRounds + k)] = oneRound(uint32_t(t));
    });
  }
  for (std::thread& th : threads) th.join();
  for (int t = 0; t < kThreads; ++t) {
    for (int k = 0; k < kRounds; ++k) {
      EXPECT_TRUE(got[size_t(t * kRounds + k)] == alone[size_t(t)])
          << "thread " << t << " round " << k;
    }
  }
}

}  // namespace
