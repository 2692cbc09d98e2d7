// Small-matrix operands and the checks and kernel choice every matrix
// operation shares.
//
// Element (i, j) of a matrix lies i * stride1 + j * stride2 bytes from its
// pointer, vector element i at i * stride2. Offsets are formed in ptrdiff_t,
// 64 bits wide on x86-64, so that large strides cannot overflow an int.
//
// Every operation has two kernels built from one template: one for operands
// whose element stride (stride2) is 4 bytes, where that stride is a constant
// and vector loads reach four neighbouring elements, and one for any stride.
// The unit-stride kernel is further instantiated for the sizes 3 to 6, where
// the compiler unrolls the loops completely. All instances run the same
// source, so they give the same bytes.
//
// Included only by family sources, after core/variant.h.
#ifndef TPX_MATRIX_OPERAND_H
#define TPX_MATRIX_OPERAND_H

#include <cstddef>
#include <type_traits>

#include "core/image.h"

// Loops over rows and columns: completely unrolled where the size is a
// template constant, unrolled by up to eight otherwise.
#define TPX_MATRIX_UNROLL _Pragma("GCC unroll 8")

namespace tpx::TPX_NS {
namespace {

// A matrix or vector of T (Tpx32f or const Tpx32f). kUnit: stride2 is 4.
template <bool kUnit, typename T>
struct Operand {
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  Byte* base;
  std::ptrdiff_t stride1;
  std::ptrdiff_t stride2;

  T* at(int i, int j) const {
    const std::ptrdiff_t s2 = kUnit ? std::ptrdiff_t(sizeof(Tpx32f)) : stride2;
    return reinterpret_cast<T*>(base + i * stride1 + j * s2);
  }
  T* at(int i) const { return at(0, i); }  // vector element i
  Tpx32f operator()(int i, int j) const { return load(at(i, j)); }
  Tpx32f operator[](int i) const { return load(at(i)); }
  void set(int i, int j, Tpx32f v) const { store(at(i, j), v); }
  void set(int i, Tpx32f v) const { store(at(i), v); }
};

template <bool kUnit, typename T>
inline Operand<kUnit, T> mat(T* p, int stride1, int stride2) {
  using Byte = typename Operand<kUnit, T>::Byte;
  return {reinterpret_cast<Byte*>(p), stride1, stride2};
}
template <bool kUnit, typename T>
inline Operand<kUnit, T> vec(T* p, int stride2) {
  return mat<kUnit>(p, 0, stride2);
}

// A stride is usable when it is positive and a whole number of elements.
inline bool strideOk(int stride) { return stride > 0 && stride % int(sizeof(Tpx32f)) == 0; }

template <typename... S>
inline bool stridesOk(S... strides) {
  return (strideOk(strides) && ...);
}

// Runs body(size) with size a std::integral_constant: 3 to 6 when n is one of
// them and the unit-stride kernel applies, else 0 (the size is then read at
// run time).
template <class Body>
inline TpxStatus bySize(int n, Body&& body) {
  switch (n) {
    case 3:
      return body(std::integral_constant<int, 3>{});
    case 4:
      return body(std::integral_constant<int, 4>{});
    case 5:
      return body(std::integral_constant<int, 5>{});
    case 6:
      return body(std::integral_constant<int, 6>{});
    default:
      return body(std::integral_constant<int, 0>{});
  }
}

}  // namespace
}  // namespace tpx::TPX_NS

#endif  // TPX_MATRIX_OPERAND_H
