// Sliding-window sums for template matching (see fft/match.h).
#include "fft/match.h"

namespace {

constexpr int kBlockRows = 20;

// kClipped: some windows reach past the tile, where pixels count as 0.
template <bool kSquares, bool kClipped>
void windowSums(const Tpx32f* tile, int stride, TpxiSize extent, TpxiSize tpl, Tpx32f* dst,
                int dstStride, TpxiSize out) {
  auto pix = [&](int x, int y) -> long double {
    if (kClipped && (x >= extent.width || y >= extent.height)) return 0;
    return tile[static_cast<int64_t>(y) * stride + x];
  };
  auto term = [](long double v) { return kSquares ? v * v : v; };
  // The change when a window edge moves from leaving pixel b to entering a:
  // (a - b)(a + b) for squares, a - b for values.
  auto change = [](long double a, long double b) { return kSquares ? (a - b) * (a + b) : a - b; };
  auto at = [&](int x, int y) -> Tpx32f& { return dst[static_cast<int64_t>(y) * dstStride + x]; };

  for (int r0 = 0; r0 < out.height; r0 += kBlockRows) {
    const int rows = out.height - r0 < kBlockRows ? out.height - r0 : kBlockRows;
    // The block's first row: a direct sum, then column moves.
    long double sum = 0;
    for (int i = 0; i < tpl.height; ++i)
      for (int j = 0; j < tpl.width; ++j) sum += term(pix(j, r0 + i));
    at(0, r0) = static_cast<Tpx32f>(sum);
    for (int x = 1; x < out.width; ++x) {
      for (int i = 0; i < tpl.height; ++i) {
        sum += change(pix(x - 1 + tpl.width, r0 + i), pix(x - 1, r0 + i));
      }
      at(x, r0) = static_cast<Tpx32f>(sum);
    }
    // Further rows: the value above plus the change of bottom and top rows.
    for (int y = r0 + 1; y < r0 + rows; ++y) {
      const int bottom = y + tpl.height - 1, top = y - 1;
      long double delta = 0;
      for (int j = 0; j < tpl.width; ++j) delta += change(pix(j, bottom), pix(j, top));
      at(0, y) = static_cast<Tpx32f>(static_cast<long double>(at(0, y - 1)) + delta);
      for (int x = 1; x < out.width; ++x) {
        delta += change(pix(x - 1 + tpl.width, bottom), pix(x - 1, bottom)) -
                 change(pix(x - 1 + tpl.width, top), pix(x - 1, top));
        at(x, y) = static_cast<Tpx32f>(static_cast<long double>(at(x, y - 1)) + delta);
      }
    }
  }
}

template <bool kSquares>
void windowSums(const Tpx32f* tile, int stride, TpxiSize extent, TpxiSize tpl, Tpx32f* dst,
                int dstStride, TpxiSize out) {
  // The same arithmetic either way; the bounds tests only where needed.
  const bool clipped = int64_t(out.width) + tpl.width - 1 > extent.width ||
                       int64_t(out.height) + tpl.height - 1 > extent.height;
  if (clipped) {
    windowSums<kSquares, true>(tile, stride, extent, tpl, dst, dstStride, out);
  } else {
    windowSums<kSquares, false>(tile, stride, extent, tpl, dst, dstStride, out);
  }
}

}  // namespace

extern "C" void tpxiWinSumSqr_32f(const Tpx32f* pTile, int tileStride, TpxiSize tileExtent,
                                  TpxiSize tplSize, Tpx32f* pDst, int dstStride, TpxiSize outSize) {
  windowSums<true>(pTile, tileStride, tileExtent, tplSize, pDst, dstStride, outSize);
}

extern "C" void tpxiWinSum_32f(const Tpx32f* pTile, int tileStride, TpxiSize tileExtent,
                               TpxiSize tplSize, Tpx32f* pDst, int dstStride, TpxiSize outSize) {
  windowSums<false>(pTile, tileStride, tileExtent, tplSize, pDst, dstStride, outSize);
}
