// Helpers shared by the 32f arithmetic, math and accumulation tests.
#ifndef TPX_TESTS_ARITH_COMMON_H
#define TPX_TESTS_ARITH_COMMON_H

#include <cstdint>
#include <cstring>
#include <random>

#include "tests/harness.h"

namespace arithtest {

using tpxtest::bitsOf;
using tpxtest::fromBits;

constexpr uint32_t kPosInf = 0x7f800000u;
constexpr uint32_t kNegInf = 0xff800000u;
constexpr uint32_t kPosQNan = 0x7fc00000u;
constexpr uint32_t kNegQNan = 0xffc00000u;

// Values that make arithmetic interesting: signed zeros, subnormals, the
// extremes, infinities and NaNs with payloads of both signs.
inline const std::vector<uint32_t>& specialPatterns() {
  static const std::vector<uint32_t> patterns = {
      0x00000000u, 0x80000000u, 0x00000001u, 0x807fffffu, 0x00800000u, 0x7f7fffffu,
      0xff7fffffu, kPosInf,     kNegInf,     kPosQNan,    kNegQNan,    0x7fc12345u,
      0xffa00001u, 0x7f800001u, 0x3f800000u, 0xbf800000u, 0x42b17218u, 0xc2aeac50u};
  return patterns;
}

// Mostly ordinary values in [lo, hi), with one element in eight taken from
// specialPatterns().
template <class Img>
void fillMixed(Img& img, uint32_t seed, float lo, float hi) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> value(lo, hi);
  const auto& specials = specialPatterns();
  img.fill([&](int, int) {
    if (rng() % 8 == 0) return fromBits(specials[rng() % specials.size()]);
    return static_cast<float>(value(rng));
  });
}

// Distance in units in the last place between two finite floats of one sign.
inline int64_t ulpDistance(float a, float b) {
  auto ordered = [](float f) {
    const int64_t u = bitsOf(f);
    return u & 0x80000000 ? -(u & 0x7fffffff) : u;
  };
  const int64_t d = ordered(a) - ordered(b);
  return d < 0 ? -d : d;
}

}  // namespace arithtest

#endif  // TPX_TESTS_ARITH_COMMON_H
