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

}  // namespace
}  // namespace tpx::TPX_NS

#endif  // TPX_CORE_IMAGE_H
