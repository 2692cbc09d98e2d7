// Down- and up-sampling of 16-bit vectors with a phase carried between
// calls. Scalar: one entry serves every index.
#include <cstring>

#include "core/image.h"

#if TPX_VARIANT == 0

namespace tpx::TPX_NS {
namespace {

// ----- Sampling --------------------------------------------------------------------

TpxStatus checkSampling(const void* pSrc, int srcLen, const void* pDst, const int* pDstLen,
                        int factor, const int* pPhase) {
  if (pSrc == nullptr || pDst == nullptr || pDstLen == nullptr || pPhase == nullptr) {
    return tpxStsNullPtrErr;
  }
  if (srcLen < 1) return tpxStsSizeErr;
  if (factor < 1) return tpxStsSampleFactorErr;
  if (*pPhase < 0 || *pPhase >= factor) return tpxStsSamplePhaseErr;
  return tpxStsNoErr;
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxsSampleDown_16s(const Tpx16s* pSrc, int srcLen, Tpx16s* pDst,
                                          int* pDstLen, int factor, int* pPhase) {
  const TpxStatus status = checkSampling(pSrc, srcLen, pDst, pDstLen, factor, pPhase);
  if (status != tpxStsNoErr) return status;
  if (factor == 1) {
    std::memmove(pDst, pSrc, static_cast<std::size_t>(srcLen) * sizeof(Tpx16s));
    *pDstLen = srcLen;
    return tpxStsNoErr;
  }
  int64_t index = *pPhase;
  int count = 0;
  for (; index < srcLen; index += factor) pDst[count++] = pSrc[index];
  *pDstLen = count;
  // Where the next block continues the same sampling grid.
  *pPhase = static_cast<int>(index - srcLen);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxsSampleUp_16s(const Tpx16s* pSrc, int srcLen, Tpx16s* pDst, int* pDstLen,
                                        int factor, int* pPhase) {
  const TpxStatus status = checkSampling(pSrc, srcLen, pDst, pDstLen, factor, pPhase);
  if (status != tpxStsNoErr) return status;
  const int64_t total = static_cast<int64_t>(factor) * srcLen;
  *pDstLen = static_cast<int>(static_cast<uint32_t>(total));
  if (factor == 1) {
    std::memmove(pDst, pSrc, static_cast<std::size_t>(srcLen) * sizeof(Tpx16s));
    return tpxStsNoErr;
  }
  std::memset(pDst, 0, static_cast<std::size_t>(total) * sizeof(Tpx16s));
  const int phase = *pPhase;
  for (int64_t k = 0; k < srcLen; ++k) pDst[k * factor + phase] = pSrc[k];
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0
