// Test helpers shared by every family:
//
//  - forEachVariant / expectVariantsMatchGeneric run a body under each code
//    variant this machine can execute (forced through tpxSetCpuType) and
//    compare what it produced with the generic variant, byte for byte;
//  - Image<T> is a region of interest inside a larger buffer, at any step
//    (padded, odd, zero or negative), with guard bytes everywhere outside the
//    region so that a stray write shows up.
#ifndef TPX_TESTS_HARNESS_H
#define TPX_TESTS_HARNESS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/cpu.h"
#include "tpx.h"

namespace tpxtest {

constexpr int kVariantCount = 5;

// "px", "a6", "w7", "t7", "v8".
const char* variantCode(int index);

// The indices whose instruction set this processor has (always includes 0).
const std::vector<int>& runnableVariants();

// The variant index selected when the library was loaded.
int loadTimeVariant();

// Forces a variant for the lifetime of the object, then restores the index.
class ScopedVariant {
 public:
  explicit ScopedVariant(int index);
  ~ScopedVariant();
  ScopedVariant(const ScopedVariant&) = delete;
  ScopedVariant& operator=(const ScopedVariant&) = delete;

 private:
  int saved_;
};

// Runs body(index) once under each runnable variant, with a trace naming it.
template <class Body>
void forEachVariant(Body&& body) {
  for (int index : runnableVariants()) {
    SCOPED_TRACE(std::string("variant ") + variantCode(index));
    ScopedVariant scoped(index);
    body(index);
  }
}

// What one run of an operation produced: its status and every byte it could
// have touched (outputs with their guards, filled records, ...).
struct Outcome {
  TpxStatus status = 0;
  std::vector<uint8_t> bytes;

  template <typename T>
  Outcome& add(const T& value) {
    const auto* p = reinterpret_cast<const uint8_t*>(&value);
    bytes.insert(bytes.end(), p, p + sizeof(T));
    return *this;
  }
  template <typename T>
  Outcome& add(const std::vector<T>& values) {
    const auto* p = reinterpret_cast<const uint8_t*>(values.data());
    bytes.insert(bytes.end(), p, p + values.size() * sizeof(T));
    return *this;
  }
};

// Describes the first difference between two outcomes, or "" if none.
std::string firstDifference(const Outcome& expected, const Outcome& actual);

// Runs body() (returning an Outcome, starting from the same inputs each time)
// under the generic variant and then under every other runnable variant, and
// expects each outcome to equal the generic one byte for byte. Returns the
// generic outcome, for checks against an independent reference.
template <class Body>
Outcome expectVariantsMatchGeneric(Body&& body) {
  Outcome generic;
  {
    ScopedVariant scoped(0);
    generic = body();
  }
  for (int index : runnableVariants()) {
    if (index == 0) continue;
    ScopedVariant scoped(index);
    const Outcome got = body();
    EXPECT_EQ(firstDifference(generic, got), "")
        << "variant " << variantCode(index) << " differs from generic";
  }
  return generic;
}

// The bit pattern of a float and back.
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

// The byte every guard position holds: varies with the offset, so that a
// block written one position off is caught too.
inline uint8_t guardByte(size_t offset) { return static_cast<uint8_t>(0xA5 ^ (offset * 29)); }

// A region of interest of width x height elements of T inside a guarded
// buffer. stepBytes is the distance between row starts and may be anything:
// 0 picks the tight row length, and odd, zero-row (kZeroStep) or negative
// steps are honoured. Elements are read and written through memcpy, so rows
// need not be aligned for T.
template <typename T>
class Image {
 public:
  static constexpr int kTight = 0;
  static constexpr int kZeroStep = INT32_MIN;  // every row at the same address

  Image(int width, int height, int stepBytes = kTight, size_t guard = 19)
      : width_(width), height_(height) {
    const int64_t rowBytes = int64_t(width < 0 ? 0 : width) * int64_t(sizeof(T));
    step_ = stepBytes == kTight ? int32_t(rowBytes) : stepBytes == kZeroStep ? 0 : stepBytes;
    const int64_t rows = height < 1 ? 0 : height - 1;
    const int64_t span = rows * (step_ < 0 ? -int64_t(step_) : int64_t(step_)) + rowBytes;
    origin_ = guard + size_t(step_ < 0 ? rows * -int64_t(step_) : 0);
    buffer_.resize(size_t(span) + 2 * guard);
    for (size_t i = 0; i < buffer_.size(); ++i) buffer_[i] = guardByte(i);
    inRoi_.assign(buffer_.size(), false);
    for (int y = 0; y < height_; ++y) {
      for (int64_t b = 0; b < rowBytes; ++b) inRoi_[offset(0, y) + size_t(b)] = true;
    }
  }

  T* ptr() { return reinterpret_cast<T*>(buffer_.data() + origin_); }
  const T* ptr() const { return reinterpret_cast<const T*>(buffer_.data() + origin_); }
  int step() const { return step_; }
  int width() const { return width_; }
  int height() const { return height_; }
  TpxiSize size() const { return TpxiSize{width_, height_}; }

  T get(int x, int y) const {
    T v;
    std::memcpy(&v, buffer_.data() + offset(x, y), sizeof(T));
    return v;
  }
  void set(int x, int y, T v) { std::memcpy(buffer_.data() + offset(x, y), &v, sizeof(T)); }

  template <class F>  // F(x, y) -> T
  void fill(F&& f) {
    for (int y = 0; y < height_; ++y)
      for (int x = 0; x < width_; ++x) set(x, y, f(x, y));
  }

  // Uniform random values in [lo, hi] (integers) or [lo, hi) (floating).
  void fillRandom(uint32_t seed, T lo, T hi) {
    std::mt19937 rng(seed);
    if constexpr (std::is_floating_point_v<T>) {
      std::uniform_real_distribution<double> d(lo, hi);
      fill([&](int, int) { return static_cast<T>(d(rng)); });
    } else {
      std::uniform_int_distribution<int64_t> d(lo, hi);
      fill([&](int, int) { return static_cast<T>(d(rng)); });
    }
  }

  // True when every byte outside the region still holds its guard value.
  bool guardsIntact() const { return firstDamagedGuard() < 0; }
  // Offset of the first damaged guard byte, or -1.
  int64_t firstDamagedGuard() const {
    for (size_t i = 0; i < buffer_.size(); ++i) {
      if (!inRoi_[i] && buffer_[i] != guardByte(i)) return int64_t(i);
    }
    return -1;
  }

  // The whole buffer, guards included: what variants are compared on.
  const std::vector<uint8_t>& bytes() const { return buffer_; }

 private:
  size_t offset(int x, int y) const {
    return size_t(int64_t(origin_) + int64_t(y) * step_ + int64_t(x) * int64_t(sizeof(T)));
  }

  int width_, height_;
  int32_t step_;
  size_t origin_;
  std::vector<uint8_t> buffer_;
  std::vector<bool> inRoi_;
};

// Awkward region shapes for variant comparisons: widths around every vector
// length, single rows and columns, and steps padded by odd byte counts.
struct Shape {
  int width;
  int height;
  int padBytes;  // step = width * elemSize + padBytes
};
std::vector<Shape> awkwardShapes();

// ----- Argument checks -----------------------------------------------------------
//
// One export's argument checks, in the order the export makes them. call(bad,
// arena) makes a valid call whose pointers all lie in arena and spoils the
// argument of check k wherever bit k of bad is set (a null pointer, a size or
// step just past what is allowed, ...). Checks of one group spoil the same
// argument in different ways and are never combined.
struct Check {
  const char* what;
  TpxStatus status;
  int group = -1;  // -1: a group of its own
};
struct CheckRow {
  const char* name;
  std::vector<Check> checks;
  TpxStatus (*call)(uint32_t bad, uint8_t* arena);
  TpxStatus valid = tpxStsNoErr;  // the status of the unspoilt call
};

// In every variant: the unspoilt call gives row.valid; each check alone gives
// its status; any two together give the status of the one listed first; and
// a call that fails leaves the whole arena (sources and outputs) as it was.
void expectCheckOrder(const CheckRow& row);

constexpr size_t kArenaSlot = 2048, kArenaSlots = 8;
// Slot k of an arena: kArenaSlot bytes, 64-byte aligned, with room before it
// for steps that walk backwards.
template <typename T>
T* slot(uint8_t* arena, int k) {
  return reinterpret_cast<T*>(arena + 64 + kArenaSlot * size_t(k));
}

}  // namespace tpxtest

#endif  // TPX_TESTS_HARNESS_H
