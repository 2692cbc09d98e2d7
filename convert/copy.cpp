// Copy and Set: the building blocks that other operations run on their own
// buffers (zero fills, staging copies), so their checks and statuses surface
// through those callers.
//
// Copy examines no step: a zero or negative step is simply followed, so a
// zero destination step leaves the last source row in the first destination
// row. Set rejects steps below 1.
//
// Copy and Set_8u move bytes with the C library's memmove/memset, which are
// already vectorised to the widest registers of the machine; all five
// indices share that one entry. Set of 16- and 32-bit patterns uses the
// string store on long runs and, on short ones, 16-byte stores from the SSE
// level up: pure stores of a bit pattern, so the result is the generic one
// by construction (a NaN pattern never passes through an arithmetic
// instruction and keeps its payload).
#include <cstring>

#include "core/image.h"

// Only the generic copy and the SSE copy exist (see core/exports.def).
#if TPX_VARIANT <= 1

namespace tpx::TPX_NS {
namespace {

#if TPX_VARIANT == 0
TpxStatus checkCopy(const void* pSrc, const void* pDst, TpxiSize roi) {
  if (pSrc == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  return tpxStsNoErr;
}
#endif

TpxStatus checkSet(const void* pDst, int dstStep, TpxiSize roi) {
  if (pDst == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  if (dstStep < 1) return tpxStsStepErr;
  return tpxStsNoErr;
}

#if TPX_VARIANT == 0

template <typename T>
TpxStatus copy(const T* pSrc, int srcStep, T* pDst, int dstStep, TpxiSize roi) {
  const TpxStatus status = checkCopy(pSrc, pDst, roi);
  if (status != tpxStsNoErr) return status;
  // memmove, not memcpy: a caller may copy an image onto itself.
  forEachRow(pSrc, srcStep, pDst, dstStep, roi,
             [](const T* s, T* d, std::size_t n) { std::memmove(d, s, n * sizeof(T)); });
  return tpxStsNoErr;
}

#endif

// Long runs go to the processor's string store: current cores carry out
// rep stos with their widest stores, as fast as memset and well ahead of
// 16-byte stores, but it costs a fixed start-up that short rows do not repay.
constexpr std::size_t kStringStoreBytes = 1024;

template <typename T>
void stringStore(T* dst, std::size_t n, T value) {
  void* d = dst;
  if constexpr (sizeof(T) == 2) {
    uint16_t v;
    std::memcpy(&v, &value, 2);
    __asm__ volatile("rep stosw" : "+D"(d), "+c"(n) : "a"(v) : "memory");
  } else {
    uint32_t v;
    std::memcpy(&v, &value, 4);
    __asm__ volatile("rep stosl" : "+D"(d), "+c"(n) : "a"(v) : "memory");
  }
}

// Fills n elements of 2 or 4 bytes with one bit pattern.
template <typename T>
void fillRow(T* dst, std::size_t n, T value) {
  static_assert(sizeof(T) == 2 || sizeof(T) == 4, "16- and 32-bit patterns");
  if (n * sizeof(T) >= kStringStoreBytes) {
    stringStore(dst, n, value);
    return;
  }
  std::size_t i = 0;
#if TPX_ISA >= TPX_ISA_SSE
  // Replicate the pattern into 16 bytes and store it as floats: moves only.
  uint32_t word;
  if constexpr (sizeof(T) == 2) {
    uint16_t half;
    std::memcpy(&half, &value, 2);
    word = half * 0x10001u;
  } else {
    std::memcpy(&word, &value, 4);
  }
  float lane;
  std::memcpy(&lane, &word, 4);
  const __m128 pattern = _mm_set1_ps(lane);
  constexpr std::size_t kLanes = 16 / sizeof(T);
  char* bytes = reinterpret_cast<char*>(dst);
  for (; i + kLanes <= n; i += kLanes) {
    _mm_storeu_ps(reinterpret_cast<float*>(bytes + i * sizeof(T)), pattern);
  }
#endif
  for (; i < n; ++i) store(dst + i, value);
}

// The fill pattern as bytes, when all its bytes are equal (0 and -1 are the
// common cases): then the C library's memset does the work.
template <typename T>
bool uniformBytes(T value, unsigned char* byte) {
  unsigned char b[sizeof(T)];
  std::memcpy(b, &value, sizeof(T));
  for (std::size_t k = 1; k < sizeof(T); ++k) {
    if (b[k] != b[0]) return false;
  }
  *byte = b[0];
  return true;
}

template <typename T>
TpxStatus set(T value, T* pDst, int dstStep, TpxiSize roi) {
  const TpxStatus status = checkSet(pDst, dstStep, roi);
  if (status != tpxStsNoErr) return status;
  unsigned char byte = 0;
  const bool bytewise = uniformBytes(value, &byte);  // always for 8-bit values
  // Set has one operand: pass the destination as its own source so that the
  // contiguous test looks at dstStep only.
  forEachRow(pDst, dstStep, pDst, dstStep, roi, [&](const T*, T* d, std::size_t n) {
    if (bytewise) {
      std::memset(d, byte, n * sizeof(T));
    } else if constexpr (sizeof(T) > 1) {
      fillRow(d, n, value);
    }
  });
  return tpxStsNoErr;
}

}  // namespace
}  // namespace tpx::TPX_NS

#if TPX_VARIANT == 0

TpxStatus tpx::TPX_NS::tpxiCopy_8u_C1R(const Tpx8u* pSrc, int srcStep, Tpx8u* pDst, int dstStep,
                                       TpxiSize roiSize) {
  return copy(pSrc, srcStep, pDst, dstStep, roiSize);
}

TpxStatus tpx::TPX_NS::tpxiCopy_16s_C1R(const Tpx16s* pSrc, int srcStep, Tpx16s* pDst, int dstStep,
                                        TpxiSize roiSize) {
  return copy(pSrc, srcStep, pDst, dstStep, roiSize);
}

TpxStatus tpx::TPX_NS::tpxiCopy_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst, int dstStep,
                                        TpxiSize roiSize) {
  // Bit patterns are moved, never loaded as floats: NaN payloads and -0 survive.
  return copy(pSrc, srcStep, pDst, dstStep, roiSize);
}

TpxStatus tpx::TPX_NS::tpxiSet_8u_C1R(Tpx8u value, Tpx8u* pDst, int dstStep, TpxiSize roiSize) {
  return set(value, pDst, dstStep, roiSize);
}

#endif

TpxStatus tpx::TPX_NS::tpxiSet_16s_C1R(Tpx16s value, Tpx16s* pDst, int dstStep, TpxiSize roiSize) {
  return set(value, pDst, dstStep, roiSize);
}

TpxStatus tpx::TPX_NS::tpxiSet_32s_C1R(Tpx32s value, Tpx32s* pDst, int dstStep, TpxiSize roiSize) {
  return set(value, pDst, dstStep, roiSize);
}

TpxStatus tpx::TPX_NS::tpxiSet_32f_C1R(Tpx32f value, Tpx32f* pDst, int dstStep, TpxiSize roiSize) {
  // The same operation as the 32s fill: the pattern is stored unchanged.
  Tpx32s bits;
  std::memcpy(&bits, &value, 4);
  return set(bits, reinterpret_cast<Tpx32s*>(pDst), dstStep, roiSize);
}

#endif  // TPX_VARIANT <= 1
