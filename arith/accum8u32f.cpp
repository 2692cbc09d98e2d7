// Accumulation of 8-bit images into a single-precision accumulator: the plain
// sum and the running (exponentially weighted) average.
//
// Unlike the other operations of the library, these check both steps against
// the row length, and the accumulator step against whole pixels.
//
// The plain sum is a single-precision addition: a byte converts exactly, and
// the single sum of a float and a small integer is the exact sum rounded
// once. The weighted form is defined as a double-precision expression
// rounded once at the end, which single-precision vectors cannot reproduce;
// its vector path works on pairs of doubles (SSE2), and the SSE index runs
// the generic entry.
#include <cstdint>
#include <cstring>

#include "core/image.h"
#include "core/variant.h"

#if TPX_VARIANT <= 2

namespace tpx::TPX_NS {
namespace {

// ---------------------------------------------------------------------------
// Scalar rules

inline float addRule(float a, Tpx8u s) { return a + static_cast<float>(s); }

constexpr uint32_t kQuietBit = 0x00400000u;

// Difference, product, sum, in that order, in double precision. A NaN
// accumulator comes out itself, quieted: with a NaN alpha as well, the
// product and the sum would each meet two NaNs, and which one wins depends
// on an operand order the compiler is free to choose.
inline float weightedRule(float a, Tpx8u s, double alpha) {
  if (a != a) {
    uint32_t bits;
    std::memcpy(&bits, &a, sizeof bits);
    bits |= kQuietBit;
    std::memcpy(&a, &bits, sizeof bits);
    return a;
  }
  const double ad = a;
  return static_cast<float>(ad + (static_cast<double>(s) - ad) * alpha);
}

// ---------------------------------------------------------------------------
// Row kernels

#if TPX_ISA >= TPX_ISA_SSE2
// Four bytes from any address, widened to four 32-bit integers.
inline __m128i widen4(const Tpx8u* s) {
  int32_t word;
  std::memcpy(&word, s, sizeof word);
  const __m128i zero = _mm_setzero_si128();
  return _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(word), zero), zero);
}
#endif

void addRow(const Tpx8u* s, float* a, int width) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  const __m128i zero = _mm_setzero_si128();
  for (; x + 16 <= width; x += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + x));
    const __m128i lo = _mm_unpacklo_epi8(bytes, zero);
    const __m128i hi = _mm_unpackhi_epi8(bytes, zero);
    const __m128 s0 = _mm_cvtepi32_ps(_mm_unpacklo_epi16(lo, zero));
    const __m128 s1 = _mm_cvtepi32_ps(_mm_unpackhi_epi16(lo, zero));
    const __m128 s2 = _mm_cvtepi32_ps(_mm_unpacklo_epi16(hi, zero));
    const __m128 s3 = _mm_cvtepi32_ps(_mm_unpackhi_epi16(hi, zero));
    _mm_storeu_ps(a + x, _mm_add_ps(_mm_loadu_ps(a + x), s0));
    _mm_storeu_ps(a + x + 4, _mm_add_ps(_mm_loadu_ps(a + x + 4), s1));
    _mm_storeu_ps(a + x + 8, _mm_add_ps(_mm_loadu_ps(a + x + 8), s2));
    _mm_storeu_ps(a + x + 12, _mm_add_ps(_mm_loadu_ps(a + x + 12), s3));
  }
  for (; x + 4 <= width; x += 4) {
    _mm_storeu_ps(a + x, _mm_add_ps(_mm_loadu_ps(a + x), _mm_cvtepi32_ps(widen4(s + x))));
  }
#elif TPX_ISA >= TPX_ISA_SSE
  // SSE has no integer vectors: the bytes are converted one by one, the
  // additions done four at a time.
  for (; x + 4 <= width; x += 4) {
    const __m128 s4 = _mm_setr_ps(static_cast<float>(s[x]), static_cast<float>(s[x + 1]),
                                  static_cast<float>(s[x + 2]), static_cast<float>(s[x + 3]));
    _mm_storeu_ps(a + x, _mm_add_ps(_mm_loadu_ps(a + x), s4));
  }
#endif
  for (; x < width; ++x) store(a + x, addRule(load(a + x), s[x]));
}

#if TPX_VARIANT != 1
void weightedRow(const Tpx8u* s, float* a, int width, double alpha) {
  int x = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  const __m128d alpha2 = _mm_set1_pd(alpha);
  for (; x + 4 <= width; x += 4) {
    const __m128 a4 = _mm_loadu_ps(a + x);
    const __m128i s4 = widen4(s + x);
    const __m128d aLo = _mm_cvtps_pd(a4);
    const __m128d aHi = _mm_cvtps_pd(_mm_movehl_ps(a4, a4));
    const __m128d sLo = _mm_cvtepi32_pd(s4);
    const __m128d sHi = _mm_cvtepi32_pd(_mm_shuffle_epi32(s4, _MM_SHUFFLE(1, 0, 3, 2)));
    const __m128d rLo = _mm_add_pd(aLo, _mm_mul_pd(_mm_sub_pd(sLo, aLo), alpha2));
    const __m128d rHi = _mm_add_pd(aHi, _mm_mul_pd(_mm_sub_pd(sHi, aHi), alpha2));
    __m128 r4 = _mm_movelh_ps(_mm_cvtpd_ps(rLo), _mm_cvtpd_ps(rHi));
    const __m128 nan = _mm_cmpunord_ps(a4, a4);
    if (_mm_movemask_ps(nan) != 0) {
      const __m128 quietA = _mm_or_ps(a4, _mm_castsi128_ps(_mm_set1_epi32(kQuietBit)));
      r4 = _mm_or_ps(_mm_and_ps(nan, quietA), _mm_andnot_ps(nan, r4));
    }
    _mm_storeu_ps(a + x, r4);
  }
#endif
  for (; x < width; ++x) store(a + x, weightedRule(load(a + x), s[x], alpha));
}
#endif

// The accumulation checks: pointers, size, both steps against the row
// length, then the accumulator step against whole pixels.
TpxStatus checkAccumulation(const void* src, int srcStep, const void* acc, int accStep,
                            TpxiSize roi) {
  if (src == nullptr || acc == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  if (srcStep < roi.width || int64_t(accStep) < int64_t(roi.width) * 4) return tpxStsStepErr;
  if (accStep % 4 != 0) return tpxStsNotPixelStepErr;
  return tpxStsNoErr;
}

}  // namespace
}  // namespace tpx::TPX_NS

// ---------------------------------------------------------------------------
// Entries

TpxStatus tpx::TPX_NS::tpxiAdd_8u32f_C1IR(const Tpx8u* pSrc, int srcStep, Tpx32f* pSrcDst,
                                          int srcDstStep, TpxiSize roiSize) {
  if (TpxStatus s = checkAccumulation(pSrc, srcStep, pSrcDst, srcDstStep, roiSize)) return s;
  for (int y = 0; y < roiSize.height; ++y) {
    addRow(row(pSrc, srcStep, y), row(pSrcDst, srcDstStep, y), roiSize.width);
  }
  return tpxStsNoErr;
}

#if TPX_VARIANT != 1
TpxStatus tpx::TPX_NS::tpxiAddWeighted_8u32f_C1IR(const Tpx8u* pSrc, int srcStep, Tpx32f* pSrcDst,
                                                  int srcDstStep, TpxiSize roiSize, Tpx32f alpha) {
  if (TpxStatus s = checkAccumulation(pSrc, srcStep, pSrcDst, srcDstStep, roiSize)) return s;
  for (int y = 0; y < roiSize.height; ++y) {
    weightedRow(row(pSrc, srcStep, y), row(pSrcDst, srcDstStep, y), roiSize.width, alpha);
  }
  return tpxStsNoErr;
}
#endif

#endif  // TPX_VARIANT <= 2
