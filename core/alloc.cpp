// The aligned allocator (not dispatched: one copy serves every variant, so a
// block from any variant can be released by any other).
#include "core/alloc.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace tpx {

static_assert(alignof(std::max_align_t) >= sizeof(void*),
              "the hidden word needs malloc to align to at least a pointer");

namespace {
// Wrapping 32-bit arithmetic, as the sizes are documented to behave.
int32_t wrap(uint32_t v) { return static_cast<int32_t>(v); }
}  // namespace

void* mallocAligned(int32_t n) {
  if (n < 1) return nullptr;
  return mallocBlock(static_cast<uint32_t>(n) + kAllocSpare);
}

void* mallocBlock(uint32_t totalBytes) {
  // A total that wrapped below the spare bytes has no room for the hidden
  // word in front of the aligned block: writing it would land outside.
  if (totalBytes < kAllocSpare) return nullptr;
  void* raw = std::malloc(totalBytes);
  if (raw == nullptr) return nullptr;
  const uintptr_t aligned =
      (reinterpret_cast<uintptr_t>(raw) + kAllocSpare - 1) & ~(kAllocAlign - 1);
  std::memcpy(reinterpret_cast<void*>(aligned - sizeof(void*)), &raw, sizeof(void*));
  return reinterpret_cast<void*>(aligned);
}

void freeAligned(void* p) {
  if (p == nullptr) return;
  void* raw;
  std::memcpy(&raw, static_cast<char*>(p) - sizeof(void*), sizeof(void*));
  std::free(raw);
}

void* mallocImage(int32_t widthPixels, int32_t heightPixels, int32_t elemSize,
                  int32_t* pStepBytes) {
  if (pStepBytes == nullptr) return nullptr;
  if (widthPixels < 1 || heightPixels < 1) {
    *pStepBytes = 0;
    return nullptr;
  }
  const uint32_t rowBytes = static_cast<uint32_t>(widthPixels) * static_cast<uint32_t>(elemSize);
  const int32_t step = wrap((rowBytes + 31u) & ~31u);
  *pStepBytes = step;
  return mallocAligned(wrap(static_cast<uint32_t>(step) * static_cast<uint32_t>(heightPixels)));
}

}  // namespace tpx
