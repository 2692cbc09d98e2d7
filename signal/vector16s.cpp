// Saturating and scaled 16-bit vector addition and subtraction, and the
// arithmetic right shift.
//
// A vector is a row of len elements: where an image operation of this
// library already computes the same thing on a one-row image, the vector
// operation is that operation, called through the entry of this variant,
// and shares its checks (null pointer -8, then len below 1 -6, as the vector
// checks read) and its results. A one-row image never uses its step; 1
// passes the fills' step check.
//
// The shift runs eight lanes at a time from SSE2 (indices 2 to 4).
#include "core/image.h"

#if TPX_VARIANT == 0 || TPX_VARIANT == 2

namespace tpx::TPX_NS {
namespace {

constexpr int kOneRowStep = 1;

inline TpxStatus checkVector(bool anyNull, int len) {
  if (anyNull) return tpxStsNullPtrErr;
  if (len < 1) return tpxStsSizeErr;
  return tpxStsNoErr;
}

// shift 0..15 as given; larger shifts leave the sign fill, which is what a
// shift by 15 gives.
inline void shiftRow(const Tpx16s* src, Tpx16s* dst, std::size_t n, int shift) {
  const int s = shift > 15 ? 15 : shift;
  std::size_t i = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  const __m128i count = _mm_cvtsi32_si128(s);
  for (; i + 8 <= n; i += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_sra_epi16(v, count));
  }
#endif
  for (; i < n; ++i) dst[i] = static_cast<Tpx16s>(src[i] >> s);
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxsAdd_16s(const Tpx16s* pSrc1, const Tpx16s* pSrc2, Tpx16s* pDst,
                                   int len) {
  return tpx::table::tpxiAdd_16s_C1RSfs[TPX_VARIANT](pSrc1, kOneRowStep, pSrc2, kOneRowStep, pDst,
                                                     kOneRowStep, {len, 1}, 0);
}

TpxStatus tpx::TPX_NS::tpxsAdd_16s_I(const Tpx16s* pSrc, Tpx16s* pSrcDst, int len) {
  return tpxsAdd_16s_ISfs(pSrc, pSrcDst, len, 0);
}

TpxStatus tpx::TPX_NS::tpxsAdd_16s_ISfs(const Tpx16s* pSrc, Tpx16s* pSrcDst, int len,
                                        int scaleFactor) {
  return tpx::table::tpxiAdd_16s_C1IRSfs[TPX_VARIANT](pSrc, kOneRowStep, pSrcDst, kOneRowStep,
                                                      {len, 1}, scaleFactor);
}

// pDst = pSrc2 - pSrc1, the image Sub's order.
TpxStatus tpx::TPX_NS::tpxsSub_16s(const Tpx16s* pSrc1, const Tpx16s* pSrc2, Tpx16s* pDst,
                                   int len) {
  return tpx::table::tpxiSub_16s_C1RSfs[TPX_VARIANT](pSrc1, kOneRowStep, pSrc2, kOneRowStep, pDst,
                                                     kOneRowStep, {len, 1}, 0);
}

TpxStatus tpx::TPX_NS::tpxsSub_16s_I(const Tpx16s* pSrc, Tpx16s* pSrcDst, int len) {
  return tpxsSub_16s_ISfs(pSrc, pSrcDst, len, 0);
}

// pSrcDst = pSrcDst - pSrc: the image Sub with pSrcDst as minuend and result.
TpxStatus tpx::TPX_NS::tpxsSub_16s_ISfs(const Tpx16s* pSrc, Tpx16s* pSrcDst, int len,
                                        int scaleFactor) {
  return tpx::table::tpxiSub_16s_C1RSfs[TPX_VARIANT](pSrc, kOneRowStep, pSrcDst, kOneRowStep,
                                                     pSrcDst, kOneRowStep, {len, 1}, scaleFactor);
}

// ----- Right shift ----------------------------------------------------------------------

TpxStatus tpx::TPX_NS::tpxsRShiftC_16s(const Tpx16s* pSrc, int val, Tpx16s* pDst, int len) {
  // A shift by 0 is a plain copy, with the copy's checks.
  if (val == 0) {
    return tpx::table::tpxiCopy_16s_C1R[TPX_VARIANT](pSrc, kOneRowStep, pDst, kOneRowStep,
                                                     {len, 1});
  }
  const TpxStatus status = checkVector(pSrc == nullptr || pDst == nullptr, len);
  if (status != tpxStsNoErr) return status;
  if (val < 0) return tpxStsShiftErr;
  shiftRow(pSrc, pDst, static_cast<std::size_t>(len), val);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxsRShiftC_16s_I(int val, Tpx16s* pSrcDst, int len) {
  const TpxStatus status = checkVector(pSrcDst == nullptr, len);
  if (status != tpxStsNoErr) return status;
  if (val < 0) return tpxStsShiftErr;
  if (val > 0) shiftRow(pSrcDst, pSrcDst, static_cast<std::size_t>(len), val);
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0 || TPX_VARIANT == 2
