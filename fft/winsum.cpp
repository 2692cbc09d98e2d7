// Sliding-window sums for template matching (see fft/match.h).
#include "fft/match.h"

namespace {

constexpr int kBlockRows = 20;

// The sums of squares (into sq, when kSq) and of values (into sum, when
// kSum) side by side: each has its own sequence of additions, exactly as
// when computed alone, but two independent sequences overlap in the
// processor. kClipped: some windows reach past the tile, where pixels count
// as 0.
template <bool kSq, bool kSum, bool kClipped>
void windowSums(const Tpx32f* tile, int stride, TpxiSize extent, TpxiSize tpl, Tpx32f* sq,
                Tpx32f* sum, int dstStride, TpxiSize out) {
  auto pix = [&](int x, int y) -> long double {
    if (kClipped && (x >= extent.width || y >= extent.height)) return 0;
    return tile[static_cast<int64_t>(y) * stride + x];
  };
  // The change when a window edge moves from leaving pixel b to entering a:
  // (a - b)(a + b) for squares, a - b for values.
  auto changeSq = [](long double a, long double b) { return (a - b) * (a + b); };
  auto at = [&](Tpx32f* p, int x, int y) -> Tpx32f& {
    return p[static_cast<int64_t>(y) * dstStride + x];
  };

  for (int r0 = 0; r0 < out.height; r0 += kBlockRows) {
    const int rows = out.height - r0 < kBlockRows ? out.height - r0 : kBlockRows;
    // The block's first row: a direct sum, then column moves.
    long double s2 = 0, s1 = 0;
    for (int i = 0; i < tpl.height; ++i)
      for (int j = 0; j < tpl.width; ++j) {
        const long double v = pix(j, r0 + i);
        if (kSq) s2 += v * v;
        if (kSum) s1 += v;
      }
    if (kSq) at(sq, 0, r0) = static_cast<Tpx32f>(s2);
    if (kSum) at(sum, 0, r0) = static_cast<Tpx32f>(s1);
    for (int x = 1; x < out.width; ++x) {
      for (int i = 0; i < tpl.height; ++i) {
        const long double a = pix(x - 1 + tpl.width, r0 + i), b = pix(x - 1, r0 + i);
        if (kSq) s2 += changeSq(a, b);
        if (kSum) s1 += a - b;
      }
      if (kSq) at(sq, x, r0) = static_cast<Tpx32f>(s2);
      if (kSum) at(sum, x, r0) = static_cast<Tpx32f>(s1);
    }
    // Further rows: the value above plus the change of bottom and top rows.
    for (int y = r0 + 1; y < r0 + rows; ++y) {
      const int bottom = y + tpl.height - 1, top = y - 1;
      long double d2 = 0, d1 = 0;
      for (int j = 0; j < tpl.width; ++j) {
        const long double a = pix(j, bottom), b = pix(j, top);
        if (kSq) d2 += changeSq(a, b);
        if (kSum) d1 += a - b;
      }
      if (kSq) at(sq, 0, y) = static_cast<Tpx32f>(static_cast<long double>(at(sq, 0, y - 1)) + d2);
      if (kSum) {
        at(sum, 0, y) = static_cast<Tpx32f>(static_cast<long double>(at(sum, 0, y - 1)) + d1);
      }
      for (int x = 1; x < out.width; ++x) {
        const long double ab = pix(x - 1 + tpl.width, bottom), bb = pix(x - 1, bottom);
        const long double at_ = pix(x - 1 + tpl.width, top), bt = pix(x - 1, top);
        if (kSq) {
          d2 += changeSq(ab, bb) - changeSq(at_, bt);
          at(sq, x, y) = static_cast<Tpx32f>(static_cast<long double>(at(sq, x, y - 1)) + d2);
        }
        if (kSum) {
          d1 += (ab - bb) - (at_ - bt);
          at(sum, x, y) = static_cast<Tpx32f>(static_cast<long double>(at(sum, x, y - 1)) + d1);
        }
      }
    }
  }
}

template <bool kSq, bool kSum>
void windowSums(const Tpx32f* tile, int stride, TpxiSize extent, TpxiSize tpl, Tpx32f* sq,
                Tpx32f* sum, int dstStride, TpxiSize out) {
  // The same arithmetic either way; the bounds tests only where needed.
  const bool clipped = int64_t(out.width) + tpl.width - 1 > extent.width ||
                       int64_t(out.height) + tpl.height - 1 > extent.height;
  if (clipped) {
    windowSums<kSq, kSum, true>(tile, stride, extent, tpl, sq, sum, dstStride, out);
  } else {
    windowSums<kSq, kSum, false>(tile, stride, extent, tpl, sq, sum, dstStride, out);
  }
}

}  // namespace

extern "C" void tpxiWinSumSqr_32f(const Tpx32f* pTile, int tileStride, TpxiSize tileExtent,
                                  TpxiSize tplSize, Tpx32f* pDst, int dstStride, TpxiSize outSize) {
  windowSums<true, false>(pTile, tileStride, tileExtent, tplSize, pDst, nullptr, dstStride,
                          outSize);
}

extern "C" void tpxiWinSum_32f(const Tpx32f* pTile, int tileStride, TpxiSize tileExtent,
                               TpxiSize tplSize, Tpx32f* pDst, int dstStride, TpxiSize outSize) {
  windowSums<false, true>(pTile, tileStride, tileExtent, tplSize, nullptr, pDst, dstStride,
                          outSize);
}

extern "C" void tpxiWinSums_32f(const Tpx32f* pTile, int tileStride, TpxiSize tileExtent,
                                TpxiSize tplSize, Tpx32f* pSqr, Tpx32f* pSum, int dstStride,
                                TpxiSize outSize) {
  if (pSum == nullptr) {
    tpxiWinSumSqr_32f(pTile, tileStride, tileExtent, tplSize, pSqr, dstStride, outSize);
  } else {
    windowSums<true, true>(pTile, tileStride, tileExtent, tplSize, pSqr, pSum, dstStride, outSize);
  }
}
