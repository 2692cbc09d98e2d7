// Aligned allocation: block layout, row steps, size wrapping, release.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "tests/harness.h"

namespace {

using tpxtest::forEachVariant;

// The raw address kept in the pointer-sized word just below a block.
uintptr_t hiddenWord(const void* p) {
  uintptr_t raw;
  std::memcpy(&raw, static_cast<const char*>(p) - sizeof(void*), sizeof(raw));
  return raw;
}

// The block rule: 32-byte aligned, raw within [p - 35, p - sizeof(void*)] so
// that both the hidden word and the usable bytes lie inside the raw block.
void expectBlockLayout(const void* p) {
  ASSERT_NE(p, nullptr);
  const uintptr_t a = reinterpret_cast<uintptr_t>(p);
  EXPECT_EQ(a % 32, 0u);
  const uintptr_t raw = hiddenWord(p);
  EXPECT_GE(raw, a - 35);
  EXPECT_LE(raw, a - sizeof(void*));
}

using ImageAlloc = void* (*)(int, int, int*);

struct ImageAllocator {
  const char* name;
  ImageAlloc alloc;
  int elemSize;
};

const ImageAllocator kImageAllocators[] = {
    {"8u", [](int w, int h, int* s) -> void* { return tpxiMalloc_8u_C1(w, h, s); }, 1},
    {"16s", [](int w, int h, int* s) -> void* { return tpxiMalloc_16s_C1(w, h, s); }, 2},
    {"32s", [](int w, int h, int* s) -> void* { return tpxiMalloc_32s_C1(w, h, s); }, 4},
    {"32f", [](int w, int h, int* s) -> void* { return tpxiMalloc_32f_C1(w, h, s); }, 4},
};

TEST(Alloc, ImageStepIsRowLengthRoundedUpTo32) {
  struct Row {
    int elemSize, width, step;
  };
  const Row kRows[] = {{1, 1, 32},      {1, 31, 32},     {1, 32, 32}, {1, 33, 64},
                       {1, 1920, 1920}, {1, 1921, 1952}, {2, 1, 32},  {2, 16, 32},
                       {2, 17, 64},     {4, 1, 32},      {4, 8, 32},  {4, 9, 64},
                       {4, 1000, 4000}, {4, 1001, 4032}};
  forEachVariant([&](int) {
    for (const ImageAllocator& a : kImageAllocators) {
      for (const Row& r : kRows) {
        if (r.elemSize != a.elemSize) continue;
        SCOPED_TRACE(testing::Message() << a.name << " width " << r.width);
        for (int height : {1, 3}) {
          int step = -1;
          void* p = a.alloc(r.width, height, &step);
          EXPECT_EQ(step, r.step);
          expectBlockLayout(p);
          std::memset(p, 0x5a, size_t(step) * height);  // every row is usable
          tpxiFree(p);
        }
      }
    }
  });
}

TEST(Alloc, BadSizesGiveNullAndStepZero) {
  const int kBad[][2] = {{0, 1}, {1, 0}, {-1, 5}, {5, -1}, {0, 0}, {INT_MIN, 1}, {1, INT_MIN}};
  forEachVariant([&](int) {
    for (const ImageAllocator& a : kImageAllocators) {
      for (const auto& wh : kBad) {
        int step = 12345;
        EXPECT_EQ(a.alloc(wh[0], wh[1], &step), nullptr) << a.name << " " << wh[0] << "x" << wh[1];
        EXPECT_EQ(step, 0);
      }
      // Null step pointer: nothing allocated, whatever the sizes.
      EXPECT_EQ(a.alloc(16, 16, nullptr), nullptr);
      EXPECT_EQ(a.alloc(0, 0, nullptr), nullptr);
    }
  });
}

TEST(Alloc, SizesWrapIn32Bits) {
  forEachVariant([&](int) {
    int step = 0;
    // 0x7fffffff + 31 rounds to 0x80000000: a negative step, stored, and a
    // negative byte count, refused.
    EXPECT_EQ(tpxiMalloc_8u_C1(INT_MAX, 1, &step), nullptr);
    EXPECT_EQ(step, INT_MIN);
    // 0x40000000 floats are 2^32 bytes, which wraps to 0.
    EXPECT_EQ(tpxiMalloc_32f_C1(0x40000000, 7, &step), nullptr);
    EXPECT_EQ(step, 0);
    // 0x40000001 floats wrap to a 4-byte row: a 32-byte step, allocated.
    Tpx32f* p = tpxiMalloc_32f_C1(0x40000001, 2, &step);
    EXPECT_EQ(step, 32);
    expectBlockLayout(p);
    std::memset(p, 0, 64);
    tpxiFree(p);
    // Step x height wrapping to a non-positive count is refused with the
    // step stored: 65536 x 65536 = 2^32.
    EXPECT_EQ(tpxiMalloc_8u_C1(65536, 65536, &step), nullptr);
    EXPECT_EQ(step, 65536);
    // 16384 rows of 2^17 bytes = 2^31, negative as a signed count.
    EXPECT_EQ(tpxiMalloc_16s_C1(65536, 16384, &step), nullptr);
    EXPECT_EQ(step, 131072);
  });
}

TEST(Alloc, VectorBlocks) {
  forEachVariant([&](int) {
    for (int len : {1, 2, 7, 8, 9, 1000, 4097}) {
      Tpx32f* p = tpxsMalloc_32f(len);
      expectBlockLayout(p);
      std::memset(p, 0, size_t(len) * 4);
      tpxsFree(p);
    }
    for (int len : {0, -1, INT_MIN}) EXPECT_EQ(tpxsMalloc_32f(len), nullptr) << len;
    // len x 4 + 36 wraps to 36: a valid block with no usable bytes.
    Tpx32f* tiny = tpxsMalloc_32f(0x40000000);
    expectBlockLayout(tiny);
    tpxsFree(tiny);
    // Totals that wrap below 36 bytes (0, 20, 32) cannot hold the hidden word.
    for (int len : {0x3FFFFFF7, 0x3FFFFFFC, 0x3FFFFFFF}) EXPECT_EQ(tpxsMalloc_32f(len), nullptr);
  });
}

TEST(Alloc, EitherFreeReleasesEitherBlock) {
  forEachVariant([&](int) {
    int step;
    tpxsFree(tpxiMalloc_8u_C1(100, 3, &step));
    tpxiFree(tpxsMalloc_32f(100));
    tpxiFree(nullptr);
    tpxsFree(nullptr);
  });
  // A block from one variant released under another.
  Tpx16s* p;
  int step;
  {
    tpxtest::ScopedVariant v(3);
    p = tpxiMalloc_16s_C1(40, 40, &step);
  }
  {
    tpxtest::ScopedVariant v(0);
    expectBlockLayout(p);
    tpxiFree(p);
  }
}

TEST(Alloc, HiddenWordAlwaysFitsAcrossManySizes) {
  // Many request sizes, so that malloc hands out addresses of every residue
  // its own alignment allows.
  std::vector<void*> blocks;
  for (int n = 1; n <= 600; ++n) {
    blocks.push_back(tpxsMalloc_32f(n));
    expectBlockLayout(blocks.back());
  }
  for (void* p : blocks) tpxsFree(p);
}

}  // namespace
