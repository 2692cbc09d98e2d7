// Layout of the complex kernel's tables, shared by the plan builder and the
// transforms of every variant.
//
// The kernel works on M = 2^order complex values in bit-reversed order: a
// radix-2 pass first when the order is odd, then radix-4 passes of length
// L = 4^k (times 2): each combines four transforms of length q = L/4 with
// the factors W^j, W^2j, W^3j, W = e^(-2 pi i / L). Passes with q >= 2 read
// their factors from one table, pass after pass; for each pair (j, j+1) it
// holds, for k = 1, 2, 3, eight floats:
//   c_j, c_j, c_j+1, c_j+1        the real part of W^kj twice
//   s_j, -s_j, s_j+1, -s_j+1      with s = sin(2 pi kj / L)
// so that x * W^kj = x * (c, c) + swap(x) * (s, -s) lane by lane.
#ifndef TPX_FFT_TABLES_H
#define TPX_FFT_TABLES_H

#include <cstdint>

namespace tpx {

// Below this order plans have no tables: fixed kernels handle N <= 8.
constexpr int kMinTableOrder = 4;

// The length of the first radix-4 pass: 8 after a radix-2 pass (odd order),
// else 4.
constexpr int64_t firstRadix4Length(int complexOrder) { return complexOrder % 2 ? 8 : 4; }

// Floats of twiddle table for a kernel of 2^complexOrder points.
constexpr int64_t kernelTwiddleFloats(int complexOrder) {
  int64_t floats = 0;
  for (int64_t length = firstRadix4Length(complexOrder); length <= (int64_t(1) << complexOrder);
       length *= 4) {
    if (length / 4 >= 2) floats += 12 * (length / 4);
  }
  return floats;
}

}  // namespace tpx

#endif  // TPX_FFT_TABLES_H
