// Sums over integer images: Mean and the L1 and L2 norms of 8u and 16s.
//
// Integer pixels are summed exactly in integers, over spans short enough that
// the integer cannot overflow (a row for 8u, blocks of 65536 pixels for 16s,
// strips of 32768 columns for the 8u sum of squares); only those totals enter
// floating point, in row order. Integer addition does not care about order,
// so the vector kernels may regroup freely and still return the generic bits.
// The one overflow kept on purpose is the 16s L1 row total, a 32-bit integer
// taken as signed: rows of 65536 pixels or more can wrap it.
#include <cmath>
#include <cstdint>

#include "core/image.h"
#include "core/variant.h"
#include "stats/stats.h"

#if TPX_STATS_INT_COPY

namespace tpx::TPX_NS {
namespace {

// A 16s row is summed in blocks of this many pixels: 65536 x 32768 = 2^31 is
// the most a 32-bit block total can be asked to hold.
constexpr int kBlock16s = 65536;

// The 8u sum of squares runs over strips this wide: 32768 x 255^2 < 2^31.
constexpr int kStrip8u = 32768;

// ---- scalar rules --------------------------------------------------------

// Row sum of 8u pixels in two 32-bit partial sums, even and odd columns.
inline uint32_t rowSum8uScalar(const Tpx8u* r, int width) {
  uint32_t even = 0, odd = 0;
  int x = 0;
  for (; x + 1 < width; x += 2) {
    even += r[x];
    odd += r[x + 1];
  }
  if (x < width) even += r[x];
  return even + odd;
}

inline int32_t blockSum16sScalar(const Tpx16s* r, int count) {
  int32_t s = 0;
  for (int x = 0; x < count; ++x) s += load(r + x);
  return s;
}

// Sum of |v| in 32 bits, allowed to wrap (unsigned, so that wrapping is
// defined); the caller reads it as signed.
inline uint32_t rowAbsSum16sScalar(const Tpx16s* r, int width) {
  uint32_t s = 0;
  for (int x = 0; x < width; ++x) {
    const int32_t v = load(r + x);
    s += static_cast<uint32_t>(v < 0 ? -v : v);
  }
  return s;
}

inline uint32_t rowSumSq8uScalar(const Tpx8u* r, int width) {
  uint32_t s = 0;
  for (int x = 0; x < width; ++x) s += static_cast<uint32_t>(r[x]) * r[x];
  return s;
}

inline uint64_t rowSumSq16sScalar(const Tpx16s* r, int width) {
  uint64_t s = 0;
  for (int x = 0; x < width; ++x) {
    const int32_t v = load(r + x);
    s += static_cast<uint64_t>(v * v);
  }
  return s;
}

// ---- vector row kernels --------------------------------------------------

#if TPX_ISA >= TPX_ISA_SSE2

inline uint32_t lowWordsSum(__m128i v) {  // sum of the 32-bit lanes, modulo 2^32
  v = _mm_add_epi32(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(1, 0, 3, 2)));
  v = _mm_add_epi32(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(2, 3, 0, 1)));
  return static_cast<uint32_t>(_mm_cvtsi128_si32(v));
}

inline uint64_t quadsSum(__m128i v) {  // sum of the two 64-bit lanes
  alignas(16) uint64_t lanes[2];
  _mm_store_si128(reinterpret_cast<__m128i*>(lanes), v);
  return lanes[0] + lanes[1];
}

inline uint32_t rowSum8u(const Tpx8u* r, int width) {
  const __m128i zero = _mm_setzero_si128();
  __m128i a0 = zero, a1 = zero;
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    a0 = _mm_add_epi64(
        a0, _mm_sad_epu8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x)), zero));
    a1 = _mm_add_epi64(
        a1, _mm_sad_epu8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x + 16)), zero));
  }
  if (x + 16 <= width) {
    a0 = _mm_add_epi64(
        a0, _mm_sad_epu8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x)), zero));
    x += 16;
  }
  // Only the low 32 bits matter: the row total is a 32-bit integer.
  uint32_t s = static_cast<uint32_t>(quadsSum(_mm_add_epi64(a0, a1)));
  for (; x < width; ++x) s += r[x];
  return s;
}

inline int32_t blockSum16s(const Tpx16s* r, int count) {
  const __m128i ones = _mm_set1_epi16(1);
  __m128i a0 = _mm_setzero_si128(), a1 = _mm_setzero_si128();
  int x = 0;
  for (; x + 16 <= count; x += 16) {
    a0 = _mm_add_epi32(
        a0, _mm_madd_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x)), ones));
    a1 = _mm_add_epi32(
        a1, _mm_madd_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x + 8)), ones));
  }
  for (; x + 8 <= count; x += 8) {
    a0 = _mm_add_epi32(
        a0, _mm_madd_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x)), ones));
  }
  uint32_t s = lowWordsSum(_mm_add_epi32(a0, a1));
  for (; x < count; ++x) s += static_cast<uint32_t>(static_cast<int32_t>(load(r + x)));
  return static_cast<int32_t>(s);
}

// |v| as an unsigned 16-bit value (32768 for -32768), then biased by -32768
// so that pmaddwd, which multiplies signed words, can add pairs of them; the
// bias is given back per pixel at the end. All of it modulo 2^32, like the
// scalar row total.
inline uint32_t rowAbsSum16s(const Tpx16s* r, int width) {
  const __m128i ones = _mm_set1_epi16(1);
  const __m128i bias = _mm_set1_epi16(static_cast<int16_t>(0x8000));
  __m128i acc = _mm_setzero_si128();
  int x = 0;
  for (; x + 8 <= width; x += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x));
    const __m128i sign = _mm_srai_epi16(v, 15);
    const __m128i abs = _mm_sub_epi16(_mm_xor_si128(v, sign), sign);
    acc = _mm_add_epi32(acc, _mm_madd_epi16(_mm_xor_si128(abs, bias), ones));
  }
  uint32_t s = lowWordsSum(acc) + static_cast<uint32_t>(x) * 32768u;
  for (; x < width; ++x) {
    const int32_t v = load(r + x);
    s += static_cast<uint32_t>(v < 0 ? -v : v);
  }
  return s;
}

inline uint32_t rowSumSq8u(const Tpx8u* r, int width) {
  const __m128i zero = _mm_setzero_si128();
  __m128i a0 = zero, a1 = zero;
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x));
    const __m128i lo = _mm_unpacklo_epi8(v, zero);
    const __m128i hi = _mm_unpackhi_epi8(v, zero);
    a0 = _mm_add_epi32(a0, _mm_madd_epi16(lo, lo));
    a1 = _mm_add_epi32(a1, _mm_madd_epi16(hi, hi));
  }
  uint32_t s = lowWordsSum(_mm_add_epi32(a0, a1));
  for (; x < width; ++x) s += static_cast<uint32_t>(r[x]) * r[x];
  return s;
}

// pmaddwd gives v0^2 + v1^2, at most 2^31 (two -32768s): read as unsigned it
// is exact, and is widened to 64 bits before it is added.
inline uint64_t rowSumSq16s(const Tpx16s* r, int width) {
  const __m128i zero = _mm_setzero_si128();
  __m128i a0 = zero, a1 = zero;
  int x = 0;
  for (; x + 8 <= width; x += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x));
    const __m128i sq = _mm_madd_epi16(v, v);
    a0 = _mm_add_epi64(a0, _mm_unpacklo_epi32(sq, zero));
    a1 = _mm_add_epi64(a1, _mm_unpackhi_epi32(sq, zero));
  }
  uint64_t s = quadsSum(_mm_add_epi64(a0, a1));
  for (; x < width; ++x) {
    const int32_t v = load(r + x);
    s += static_cast<uint64_t>(v * v);
  }
  return s;
}

#else  // generic copy

inline uint32_t rowSum8u(const Tpx8u* r, int width) { return rowSum8uScalar(r, width); }
inline int32_t blockSum16s(const Tpx16s* r, int count) { return blockSum16sScalar(r, count); }
inline uint32_t rowAbsSum16s(const Tpx16s* r, int width) { return rowAbsSum16sScalar(r, width); }
inline uint32_t rowSumSq8u(const Tpx8u* r, int width) { return rowSumSq8uScalar(r, width); }
inline uint64_t rowSumSq16s(const Tpx16s* r, int width) { return rowSumSq16sScalar(r, width); }

#endif  // TPX_ISA >= TPX_ISA_SSE2

// ---- image walks ---------------------------------------------------------

double sum8u(const Tpx8u* pSrc, int srcStep, TpxiSize size) {
  double total = 0.0;
  for (int y = 0; y < size.height; ++y) total += rowSum8u(row(pSrc, srcStep, y), size.width);
  return total;
}

double sum16s(const Tpx16s* pSrc, int srcStep, TpxiSize size) {
  double total = 0.0;
  for (int y = 0; y < size.height; ++y) {
    const Tpx16s* r = row(pSrc, srcStep, y);
    for (int x = 0; x < size.width; x += kBlock16s) {
      total += blockSum16s(r + x, minInt(kBlock16s, size.width - x));
    }
  }
  return total;
}

double absSum16s(const Tpx16s* pSrc, int srcStep, TpxiSize size) {
  double total = 0.0;
  for (int y = 0; y < size.height; ++y) {
    total += static_cast<int32_t>(rowAbsSum16s(row(pSrc, srcStep, y), size.width));
  }
  return total;
}

// L2 norm of a strip at most kStrip8u wide.
double stripNormL2_8u(const Tpx8u* pSrc, int srcStep, int width, int height) {
  double total = 0.0;
  for (int y = 0; y < height; ++y) total += rowSumSq8u(row(pSrc, srcStep, y), width);
  return std::sqrt(total);
}

double normL2_8u(const Tpx8u* pSrc, int srcStep, TpxiSize size) {
  if (size.width <= kStrip8u) return stripNormL2_8u(pSrc, srcStep, size.width, size.height);
  // Wider regions: the strips' norms, squared again and added. The square of
  // a rounded square root is not the strip's sum, and that is the result.
  double total = 0.0;
  for (int x = 0; x < size.width; x += kStrip8u) {
    const double n =
        stripNormL2_8u(pSrc + x, srcStep, minInt(kStrip8u, size.width - x), size.height);
    total += n * n;
  }
  return std::sqrt(total);
}

double normL2_16s(const Tpx16s* pSrc, int srcStep, TpxiSize size) {
  uint64_t total = 0;
  for (int y = 0; y < size.height; ++y) total += rowSumSq16s(row(pSrc, srcStep, y), size.width);
  return std::sqrt(static_cast<double>(total));
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxiMean_8u_C1R(const Tpx8u* pSrc, int srcStep, TpxiSize roiSize,
                                       Tpx64f* pMean) {
  if (pMean == nullptr) return tpxStsNullPtrErr;
  if (pSrc == nullptr) return tpxStsNullPtrErr;
  if (srcStep < 1) return tpxStsStepErr;
  if (badSize(roiSize)) return tpxStsSizeErr;
  *pMean = sum8u(pSrc, srcStep, roiSize) / static_cast<double>(pixelCount(roiSize));
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiMean_16s_C1R(const Tpx16s* pSrc, int srcStep, TpxiSize roiSize,
                                        Tpx64f* pMean) {
  if (pMean == nullptr) return tpxStsNullPtrErr;
  if (pSrc == nullptr) return tpxStsNullPtrErr;
  if (srcStep < 1) return tpxStsStepErr;
  if (badSize(roiSize)) return tpxStsSizeErr;
  *pMean = sum16s(pSrc, srcStep, roiSize) / static_cast<double>(pixelCount(roiSize));
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiNorm_L1_8u_C1R(const Tpx8u* pSrc, int srcStep, TpxiSize roiSize,
                                          Tpx64f* pNorm) {
  const TpxStatus status = checkNorm(pSrc, pNorm, srcStep, roiSize);
  if (status != tpxStsNoErr) return status;
  *pNorm = sum8u(pSrc, srcStep, roiSize);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiNorm_L1_16s_C1R(const Tpx16s* pSrc, int srcStep, TpxiSize roiSize,
                                           Tpx64f* pNorm) {
  const TpxStatus status = checkNorm(pSrc, pNorm, srcStep, roiSize);
  if (status != tpxStsNoErr) return status;
  *pNorm = absSum16s(pSrc, srcStep, roiSize);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiNorm_L2_8u_C1R(const Tpx8u* pSrc, int srcStep, TpxiSize roiSize,
                                          Tpx64f* pNorm) {
  const TpxStatus status = checkNorm(pSrc, pNorm, srcStep, roiSize);
  if (status != tpxStsNoErr) return status;
  *pNorm = normL2_8u(pSrc, srcStep, roiSize);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiNorm_L2_16s_C1R(const Tpx16s* pSrc, int srcStep, TpxiSize roiSize,
                                           Tpx64f* pNorm) {
  const TpxStatus status = checkNorm(pSrc, pNorm, srcStep, roiSize);
  if (status != tpxStsNoErr) return status;
  *pNorm = normL2_16s(pSrc, srcStep, roiSize);
  return tpxStsNoErr;
}

#endif  // TPX_STATS_INT_COPY
