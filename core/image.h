// Image addressing for variant code: rows by byte step, elements at any
// alignment.
//
// A step is a signed byte count and need not be a multiple of the element
// size, so a row of Tpx16s or Tpx32f may start at an odd address. Elements are
// therefore read and written through load()/store(), which compile to plain
// moves but carry no alignment assumption (a dereferenced misaligned T* would
// be undefined behaviour, and the vectoriser may rely on it). Vector paths use
// unaligned loads and stores for the same reason.
//
// Included only by family sources, after core/variant.h: everything here is
// inside the variant namespace so that no copy built for a richer instruction
// set can stand in for another.
#ifndef TPX_CORE_IMAGE_H
#define TPX_CORE_IMAGE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "core/variant.h"

namespace tpx::TPX_NS {
namespace {

// Row y of an image whose first row starts at base.
template <typename T>
inline T* row(T* base, int step, int y) {
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(base) +
                              static_cast<std::ptrdiff_t>(y) * step);
}

template <typename T>
inline T load(const T* p) {
  T v;
  std::memcpy(&v, p, sizeof(T));
  return v;
}

template <typename T>
inline void store(T* p, T v) {
  std::memcpy(p, &v, sizeof(T));
}

// Bit patterns of floating-point values and back.
inline uint32_t bitsOf(float f) {
  uint32_t u;
  std::memcpy(&u, &f, sizeof u);
  return u;
}
inline float fromBits(uint32_t u) {
  float f;
  std::memcpy(&f, &u, sizeof f);
  return f;
}
inline uint64_t bitsOf(double d) {
  uint64_t u;
  std::memcpy(&u, &d, sizeof u);
  return u;
}
inline double fromBits(uint64_t u) {
  double d;
  std::memcpy(&d, &u, sizeof d);
  return d;
}

// True when rows of rowBytes bytes follow each other without a gap, so that
// the whole region can be handled as one row.
inline bool contiguous(int step, int width, std::ptrdiff_t elemSize) {
  return static_cast<std::ptrdiff_t>(step) == static_cast<std::ptrdiff_t>(width) * elemSize;
}

// Runs kernel(srcRow, dstRow, n) on every row, top to bottom, or once on the
// whole region as a single row when both operands are contiguous. Only for
// row kernels whose result does not depend on where rows break.
template <typename S, typename D, typename Kernel>
inline void forEachRow(const S* pSrc, int srcStep, D* pDst, int dstStep, TpxiSize roi,
                       Kernel&& kernel) {
  if (contiguous(srcStep, roi.width, sizeof(S)) && contiguous(dstStep, roi.width, sizeof(D))) {
    kernel(pSrc, pDst, static_cast<std::size_t>(roi.width) * static_cast<std::size_t>(roi.height));
    return;
  }
  for (int y = 0; y < roi.height; ++y) {
    kernel(row(pSrc, srcStep, y), row(pDst, dstStep, y), static_cast<std::size_t>(roi.width));
  }
}

}  // namespace
}  // namespace tpx::TPX_NS

#endif  // TPX_CORE_IMAGE_H
