#include "tests/harness.h"

#include <sstream>

namespace tpxtest {

namespace {
// A processor type that tpxSetCpuType maps to each index.
constexpr TpxCpuType kTypeForIndex[kVariantCount] = {tpxCpuNone, tpxCpuFam6Sse, tpxCpuOtherSse2,
                                                     tpxCpuOtherSse3, tpxCpuSsse3};
constexpr const char* kCodes[kVariantCount] = {"px", "a6", "w7", "t7", "v8"};

int forceVariant(int index) {
  const int saved = tpxGetVariantIndex();
  if (tpxSetCpuType(kTypeForIndex[index]) != tpxStsNoErr || tpxGetVariantIndex() != index) {
    ADD_FAILURE() << "cannot force variant " << index;
  }
  return saved;
}
}  // namespace

const char* variantCode(int index) {
  return index >= 0 && index < kVariantCount ? kCodes[index] : "??";
}

const std::vector<int>& runnableVariants() {
  static const std::vector<int> variants = [] {
    __builtin_cpu_init();
    std::vector<int> v{0};
    if (__builtin_cpu_supports("sse")) v.push_back(1);
    if (__builtin_cpu_supports("sse2")) v.push_back(2);
    if (__builtin_cpu_supports("sse3")) v.push_back(3);
    if (__builtin_cpu_supports("ssse3")) v.push_back(4);
    return v;
  }();
  return variants;
}

int loadTimeVariant() {
  // Captured before any test can force a variant (see main.cpp).
  static const int index = tpxGetVariantIndex();
  return index;
}

ScopedVariant::ScopedVariant(int index) : saved_(forceVariant(index)) {}
ScopedVariant::~ScopedVariant() { forceVariant(saved_); }

std::string firstDifference(const Outcome& expected, const Outcome& actual) {
  std::ostringstream out;
  if (expected.status != actual.status) {
    out << "status " << actual.status << ", expected " << expected.status;
    return out.str();
  }
  if (expected.bytes.size() != actual.bytes.size()) {
    out << actual.bytes.size() << " bytes, expected " << expected.bytes.size();
    return out.str();
  }
  for (size_t i = 0; i < expected.bytes.size(); ++i) {
    if (expected.bytes[i] != actual.bytes[i]) {
      out << "byte " << i << " is 0x" << std::hex << int(actual.bytes[i]) << ", expected 0x"
          << int(expected.bytes[i]);
      return out.str();
    }
  }
  return "";
}

std::vector<Shape> awkwardShapes() {
  std::vector<Shape> shapes;
  const int widths[] = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65, 67};
  const int heights[] = {1, 2, 3, 9};
  const int pads[] = {0, 1, 3, 16, 37};
  int k = 0;
  for (int w : widths) {
    for (int h : heights) {
      shapes.push_back(Shape{w, h, pads[k++ % 5]});
    }
  }
  return shapes;
}

void expectCheckOrder(const CheckRow& row) {
  const size_t n = row.checks.size();
  std::vector<uint8_t> arena(64 + kArenaSlot * kArenaSlots), fresh(arena.size());
  for (size_t i = 0; i < fresh.size(); ++i) fresh[i] = guardByte(i);
  auto run = [&](uint32_t bad, TpxStatus want, const std::string& what) {
    arena = fresh;
    const TpxStatus got = row.call(bad, arena.data());
    EXPECT_EQ(got, want) << row.name << ": " << what;
    if (got < 0) EXPECT_TRUE(arena == fresh) << row.name << ": " << what << " wrote on failure";
  };
  forEachVariant([&](int) {
    run(0, row.valid, "no bad argument");
    for (size_t i = 0; i < n; ++i) {
      run(1u << i, row.checks[i].status, row.checks[i].what);
      for (size_t j = i + 1; j < n; ++j) {
        const int gi = row.checks[i].group, gj = row.checks[j].group;
        if (gi >= 0 && gi == gj) continue;
        run((1u << i) | (1u << j), row.checks[i].status,
            std::string(row.checks[i].what) + " and " + row.checks[j].what);
      }
    }
  });
}

}  // namespace tpxtest
