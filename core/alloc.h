// The aligned allocator behind tpxiMalloc_*/tpxsMalloc_32f and every scratch
// buffer the library takes for itself.
//
// A request for n bytes takes n + 36 bytes from malloc at raw and hands out
// aligned = (raw + 35) & ~31; the pointer-sized word just below aligned holds
// raw. malloc's own alignment (at least that of a pointer) puts aligned at
// least one word above raw, and aligned + n at most raw + n + 35, so the
// hidden word and the n bytes always lie inside the block. Sizes are 32-bit
// values that wrap as they fall; only the sign of the final count is tested.
#ifndef TPX_CORE_ALLOC_H
#define TPX_CORE_ALLOC_H

#include <cstdint>

namespace tpx {

// 36 spare bytes: up to 31 to reach the boundary plus the hidden word.
constexpr uint32_t kAllocSpare = 36;
constexpr uintptr_t kAllocAlign = 32;

// n bytes aligned to 32, or null when n < 1 or the heap is exhausted.
void* mallocAligned(int32_t n);

// The block rule on a total that already includes the spare bytes (the
// vector allocator computes len x 4 + 36 itself and tests only len). A total
// below the spare bytes (a wrapped one) gives null.
void* mallocBlock(uint32_t totalBytes);

// Releases a block of mallocAligned; null does nothing.
void freeAligned(void* p);

// The image rule: null when pStepBytes is null; step 0 and null for sizes
// below 1; else the row length rounded up to 32 bytes is stored in
// *pStepBytes and step x height bytes are allocated.
void* mallocImage(int32_t widthPixels, int32_t heightPixels, int32_t elemSize,
                  int32_t* pStepBytes);

}  // namespace tpx

#endif  // TPX_CORE_ALLOC_H
