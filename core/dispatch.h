// The process-wide variant index that every dispatch stub reads.
#ifndef TPX_CORE_DISPATCH_H
#define TPX_CORE_DISPATCH_H

#include <cstdint>

namespace tpx {

constexpr int kVariantCount = 5;

// 0..4 = generic, SSE, SSE2, SSE3, SSSE3. Written when the library is loaded
// (and by tpxSetCpuType), read once by each call. A plain aligned word: the
// loader serialises the only write that matters, so no lock or atomic.
extern int32_t gVariantIndex;

}  // namespace tpx

#endif  // TPX_CORE_DISPATCH_H
