// Image and vector allocation entries.
//
// One plain copy (the generic one) serves indices 0, 1, 2 and 4; the SSE3
// copy also prefetches the first line past the block's start, which suits
// processors of that level that fill the image right after allocating it.
// The block layout is the same in both, and one release serves all five.
#include "core/alloc.h"
#include "core/variant.h"

#if TPX_VARIANT == 0 || TPX_VARIANT == 3

namespace tpx::TPX_NS {
namespace {

void* warm(void* p) {
#if TPX_VARIANT == 3
  if (p != nullptr) _mm_prefetch(static_cast<const char*>(p) + 128, _MM_HINT_T0);
#endif
  return p;
}

template <typename T>
T* image(int widthPixels, int heightPixels, int* pStepBytes) {
  return static_cast<T*>(
      warm(mallocImage(widthPixels, heightPixels, static_cast<int32_t>(sizeof(T)), pStepBytes)));
}

}  // namespace
}  // namespace tpx::TPX_NS

Tpx8u* tpx::TPX_NS::tpxiMalloc_8u_C1(int widthPixels, int heightPixels, int* pStepBytes) {
  return image<Tpx8u>(widthPixels, heightPixels, pStepBytes);
}

Tpx16s* tpx::TPX_NS::tpxiMalloc_16s_C1(int widthPixels, int heightPixels, int* pStepBytes) {
  return image<Tpx16s>(widthPixels, heightPixels, pStepBytes);
}

Tpx32s* tpx::TPX_NS::tpxiMalloc_32s_C1(int widthPixels, int heightPixels, int* pStepBytes) {
  return image<Tpx32s>(widthPixels, heightPixels, pStepBytes);
}

Tpx32f* tpx::TPX_NS::tpxiMalloc_32f_C1(int widthPixels, int heightPixels, int* pStepBytes) {
  return image<Tpx32f>(widthPixels, heightPixels, pStepBytes);
}

Tpx32f* tpx::TPX_NS::tpxsMalloc_32f(int len) {
  if (len < 1) return nullptr;
  // len x 4 + 36 wraps like every other size; only len itself is tested.
  return static_cast<Tpx32f*>(warm(mallocBlock(static_cast<uint32_t>(len) * 4u + kAllocSpare)));
}

#endif  // TPX_VARIANT == 0 || TPX_VARIANT == 3

#if TPX_VARIANT == 0

void tpx::TPX_NS::tpxiFree(void* ptr) { freeAligned(ptr); }

void tpx::TPX_NS::tpxsFree(void* ptr) { freeAligned(ptr); }

#endif
