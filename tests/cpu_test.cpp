// Processor probe, classification, variant selection and the loader entry.
#include <cpuid.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <map>

#include "tests/harness.h"

namespace {

using tpxtest::ScopedVariant;

enum Flag : unsigned {
  kMmx = 1,
  kSse = 2,
  kSse2 = 4,
  kSse3 = 8,
  kSsse3 = 16,
  kX64 = 32,
  kMt = 64,
};

TpxCpuFeatures features(int family, unsigned flags) {
  TpxCpuFeatures f;
  std::memset(&f, 0, sizeof(f));
  f.family = family;
  f.hasMmx = (flags & kMmx) != 0;
  f.hasSse = (flags & kSse) != 0;
  f.hasSse2 = (flags & kSse2) != 0;
  f.hasSse3 = (flags & kSse3) != 0;
  f.hasSsse3 = (flags & kSsse3) != 0;
  f.has64BitExtension = (flags & kX64) != 0;
  f.isMultiThreaded = (flags & kMt) != 0;
  f.coresPerPackage = 1;
  return f;
}

struct ClassRow {
  int preferred;
  int family;
  unsigned flags;
  TpxCpuType type;
  int index;
};

constexpr unsigned kP3 = kMmx | kSse;
constexpr unsigned kP4 = kMmx | kSse | kSse2;

// Every row of the documented classification, with the variant each runs.
const ClassRow kClassification[] = {
    {1, 7, 0, 0x10, 1},
    {1, 7, kP4 | kSse3 | kSsse3 | kX64, 0x10, 1},
    {1, 15, kP3, 0x11, 1},
    {1, 15, kP3 | kSse3 | kSsse3 | kX64, 0x11, 1},  // no SSE2 decides before anything else
    {1, 15, kP4, 0x06, 2},
    {1, 15, kP4 | kMt, 0x07, 2},
    {1, 15, kP4 | kSse3, 0x08, 3},
    {1, 15, kP4 | kSse3 | kMt, 0x08, 3},
    {1, 15, kP4 | kSse3 | kSsse3, 0x08, 3},  // held at SSE3 without the 64-bit extension
    {1, 15, kP4 | kSse3 | kX64, 0x20, 3},
    {1, 15, kP4 | kSse3 | kSsse3 | kX64, 0x21, 4},
    {1, 5, 0, 0x01, 0},
    {1, 5, kMmx, 0x02, 0},
    {1, 5, kP4 | kSse3, 0x02, 0},  // family 5 looks at MMX only
    {1, 6, 0, 0x03, 0},
    {1, 6, kMmx, 0x04, 0},
    {1, 6, kP3, 0x05, 1},
    {1, 6, kSse, 0x05, 1},
    {1, 6, kP4, 0x09, 2},
    {1, 6, kSse2, 0x09, 2},  // SSE2 decides even without SSE reported
    {1, 6, kP4 | kSse3, 0x0a, 3},
    {1, 6, kP4 | kSsse3, 0x21, 4},  // SSSE3 without SSE3 reported
    {1, 6, kP4 | kSse3 | kSsse3, 0x21, 4},
    {1, 6, kP3 | kSsse3, 0x05, 1},  // no SSE2: SSSE3 is not consulted
    // Preferred vendor, family outside 5/6/7/15: feature flags decide.
    {1, 4, kP4, 0x41, 2},
    {1, 4, 0, 0x00, 0},
    {1, 0, kSse, 0x40, 1},
    {1, 8, kP4 | kSse3, 0x42, 3},
    {1, 14, kSsse3, 0x21, 4},
    // Another vendor: feature flags only, whatever the family.
    {0, 6, kP4 | kSse3 | kSsse3, 0x21, 4},
    {0, 15, kP4 | kSse3 | kX64, 0x42, 3},
    {0, 6, kP4, 0x41, 2},
    {0, 6, kP3, 0x40, 1},
    {0, 7, 0, 0x00, 0},
    {0, 5, kMmx, 0x00, 0},
    {0, 15, kP4 | kSse3 | kSsse3, 0x21, 4},
};

TEST(CpuClassify, EveryDocumentedRow) {
  for (const ClassRow& row : kClassification) {
    SCOPED_TRACE(testing::Message() << "preferred " << row.preferred << " family " << row.family
                                    << " flags " << row.flags);
    const TpxCpuFeatures f = features(row.family, row.flags);
    const TpxCpuType type = tpxClassifyCpu(&f, row.preferred);
    EXPECT_EQ(type, row.type);
    EXPECT_EQ(tpxCpuTypeToIndex(type), row.index);
  }
}

TEST(CpuClassify, TypeToIndexTable) {
  const std::map<int, int> kListed = {{0x05, 1}, {0x10, 1}, {0x11, 1}, {0x40, 1}, {0x06, 2},
                                      {0x07, 2}, {0x09, 2}, {0x41, 2}, {0x08, 3}, {0x0a, 3},
                                      {0x20, 3}, {0x42, 3}, {0x21, 4}, {0x22, 4}};
  for (int t = -70000; t <= 70000; t += (t > -300 && t < 300) ? 1 : 997) {
    const auto it = kListed.find(t);
    EXPECT_EQ(tpxCpuTypeToIndex(t), it == kListed.end() ? 0 : it->second) << t;
  }
  EXPECT_EQ(tpxCpuTypeToIndex(INT_MIN), 0);
  EXPECT_EQ(tpxCpuTypeToIndex(INT_MAX), 0);
}

// Leaves as the processor returns them: {EAX, EBX, ECX, EDX}.
TpxCpuidLeaves leaves(uint32_t maxLeaf, uint32_t eax1, uint32_t ebx1, uint32_t ecx1,
                      uint32_t edx1) {
  TpxCpuidLeaves l;
  std::memset(&l, 0, sizeof(l));
  l.leaf0[0] = maxLeaf;
  l.leaf1[0] = eax1;
  l.leaf1[1] = ebx1;
  l.leaf1[2] = ecx1;
  l.leaf1[3] = edx1;
  return l;
}

TEST(CpuDecode, FieldsFromLeafOne) {
  // Extended family and model bits are set but must be ignored.
  TpxCpuidLeaves l = leaves(2, 0x0ff906ea, 0, 0, 0);
  l.leaf2[0] = 0x665b5001;
  l.leaf2[3] = 0x007a7000;
  TpxCpuFeatures f;
  tpxDecodeCpuid(&l, &f);
  EXPECT_EQ(f.family, 6);
  EXPECT_EQ(f.model, 0xe);
  EXPECT_EQ(f.stepping, 0xa);
  EXPECT_EQ(f.processorType, 0);
  EXPECT_EQ(f.cacheDescriptorsA, 0x665b5001);
  EXPECT_EQ(f.cacheDescriptorsD, 0x007a7000);
  EXPECT_EQ(f.coresPerPackage, 1);
  EXPECT_EQ(f.has64BitExtension, 0);
}

TEST(CpuDecode, FeatureBits) {
  struct Row {
    uint32_t ecx, edx;
    int mmx, sse, sse2, sse3, ssse3;
  };
  const Row kRows[] = {
      {0, 1u << 23, 1, 0, 0, 0, 0},
      {0, 1u << 25, 0, 1, 0, 0, 0},
      {0, 1u << 26, 0, 0, 1, 0, 0},
      {1u << 0, 0, 0, 0, 0, 1, 0},
      {1u << 9, 0, 0, 0, 0, 0, 1},
      {~0u, ~0u, 1, 1, 1, 1, 1},
      {~((1u << 0) | (1u << 9)), ~((1u << 23) | (1u << 25) | (1u << 26)), 0, 0, 0, 0, 0},
  };
  for (const Row& r : kRows) {
    const TpxCpuidLeaves l = leaves(1, 0xf00, 0, r.ecx, r.edx);
    TpxCpuFeatures f;
    tpxDecodeCpuid(&l, &f);
    EXPECT_EQ(f.hasMmx, r.mmx);
    EXPECT_EQ(f.hasSse, r.sse);
    EXPECT_EQ(f.hasSse2, r.sse2);
    EXPECT_EQ(f.hasSse3, r.sse3);
    EXPECT_EQ(f.hasSsse3, r.ssse3);
    EXPECT_EQ(f.featureFlags, static_cast<int32_t>(r.edx));
  }
}

TEST(CpuDecode, MultiThreadedNeedsTheFlagAndTwoLogicalProcessors) {
  struct Row {
    bool ht;
    uint32_t logical;
    int expected;
  };
  const Row kRows[] = {{true, 2, 1}, {true, 255, 1}, {true, 1, 0},
                       {true, 0, 0}, {false, 2, 0},  {false, 16, 0}};
  for (const Row& r : kRows) {
    const TpxCpuidLeaves l = leaves(1, 0xf00, r.logical << 16, 0, r.ht ? 1u << 28 : 0);
    TpxCpuFeatures f;
    tpxDecodeCpuid(&l, &f);
    EXPECT_EQ(f.isMultiThreaded, r.expected) << r.ht << " " << r.logical;
  }
}

TEST(CpuDecode, ExtendedLeafOnlyWhenReported) {
  TpxCpuidLeaves l = leaves(1, 0xf00, 0, 0, 0);
  l.ext1[3] = 1u << 29;
  l.ext0[0] = 0x80000001u;
  TpxCpuFeatures f;
  tpxDecodeCpuid(&l, &f);
  EXPECT_EQ(f.has64BitExtension, 1);
  l.ext0[0] = 0x80000000u;
  tpxDecodeCpuid(&l, &f);
  EXPECT_EQ(f.has64BitExtension, 0);
  l.ext0[0] = 0x80000008u;
  l.ext1[3] = ~(1u << 29);
  tpxDecodeCpuid(&l, &f);
  EXPECT_EQ(f.has64BitExtension, 0);
}

TEST(CpuDecode, CoresPerPackageFromLeafFour) {
  TpxCpuidLeaves l = leaves(4, 0x6f0, 0, 0, 0);
  l.leaf4[0] = (3u << 26) | 0x121;
  TpxCpuFeatures f;
  tpxDecodeCpuid(&l, &f);
  EXPECT_EQ(f.coresPerPackage, 4);
  l.leaf4[0] = 0xfc000000u;
  tpxDecodeCpuid(&l, &f);
  EXPECT_EQ(f.coresPerPackage, 64);
  l.leaf0[0] = 3;  // leaf 4 not available: its contents do not count
  tpxDecodeCpuid(&l, &f);
  EXPECT_EQ(f.coresPerPackage, 1);
}

TEST(CpuDecode, VendorComparesAllThreeWordsInOrder) {
  auto withVendor = [](const char* ebx, const char* edx, const char* ecx) {
    TpxCpuidLeaves l;
    std::memset(&l, 0, sizeof(l));
    std::memcpy(&l.leaf0[1], ebx, 4);
    std::memcpy(&l.leaf0[3], edx, 4);
    std::memcpy(&l.leaf0[2], ecx, 4);
    return tpxIsPreferredVendor(&l);
  };
  EXPECT_TRUE(withVendor("Genu", "ineI", "ntel"));
  EXPECT_FALSE(withVendor("Genu", "ntel", "ineI"));  // ECX and EDX swapped
  EXPECT_FALSE(withVendor("Auth", "enti", "cAMD"));
  EXPECT_FALSE(withVendor("Genu", "ineI", "ntem"));
  EXPECT_FALSE(withVendor("genu", "ineI", "ntel"));
}

// The real processor, checked against the compiler's own feature detection.
TEST(CpuProbe, AgreesWithCompilerFeatureDetection) {
  ASSERT_TRUE(tpxCpuidAvailable());
  TpxCpuidLeaves l;
  tpxReadCpuid(&l);
  TpxCpuFeatures f;
  tpxDecodeCpuid(&l, &f);
  __builtin_cpu_init();
  EXPECT_EQ(f.hasMmx, __builtin_cpu_supports("mmx") ? 1 : 0);
  EXPECT_EQ(f.hasSse, __builtin_cpu_supports("sse") ? 1 : 0);
  EXPECT_EQ(f.hasSse2, __builtin_cpu_supports("sse2") ? 1 : 0);
  EXPECT_EQ(f.hasSse3, __builtin_cpu_supports("sse3") ? 1 : 0);
  EXPECT_EQ(f.hasSsse3, __builtin_cpu_supports("ssse3") ? 1 : 0);
  EXPECT_GE(f.coresPerPackage, 1);
}

TEST(CpuProbe, LibraryInitStatusFollowsTheVendor) {
  unsigned a = 0, b = 0, c = 0, d = 0;
  ASSERT_TRUE(__get_cpuid(0, &a, &b, &c, &d));
  char vendor[13] = {};
  std::memcpy(vendor, &b, 4);
  std::memcpy(vendor + 4, &d, 4);
  std::memcpy(vendor + 8, &c, 4);
  const TpxStatus expected =
      std::strcmp(vendor, "GenuineIntel") == 0 ? tpxStsNoErr : tpxStsNonKorvoCpu;
  ScopedVariant keep(tpxtest::loadTimeVariant());
  EXPECT_EQ(tpxLibraryInit(), expected) << vendor;
  EXPECT_EQ(tpxGetVariantIndex(), tpxCpuTypeToIndex(tpxGetCpuType()));
}

TEST(CpuProbe, LoadTimeSelectionRanAndIsRunnable) {
  // The constructor ran before main: the index is the probe's, and this
  // processor can execute the variant it names.
  EXPECT_EQ(tpxtest::loadTimeVariant(), tpxCpuTypeToIndex(tpxGetCpuType()));
  const auto& runnable = tpxtest::runnableVariants();
  EXPECT_NE(std::find(runnable.begin(), runnable.end(), tpxtest::loadTimeVariant()),
            runnable.end());
}

TEST(CpuSetType, AcceptedAndRefusedValues) {
  std::map<int, int> accepted = {{-1, 0},   {0x00, 0}, {0x01, 0}, {0x02, 0}, {0x03, 0},
                                 {0x04, 0}, {0x05, 1}, {0x10, 1}, {0x11, 1}, {0x40, 1},
                                 {0x06, 2}, {0x07, 2}, {0x09, 2}, {0x41, 2}, {0x08, 3},
                                 {0x0a, 3}, {0x20, 3}, {0x42, 3}, {0x21, 4}, {0x22, 4}};
  ScopedVariant keep(tpxtest::loadTimeVariant());
  std::vector<int> values = {INT_MIN, INT_MIN + 1, -65536, INT_MAX, 0x43, 0x100, 0x121};
  for (int t = -40; t <= 0x60; ++t) values.push_back(t);
  for (int t : values) {
    SCOPED_TRACE(t);
    // Start from a known index that no accepted value maps to by accident.
    ASSERT_EQ(tpxSetCpuType(0x10), tpxStsNoErr);
    ASSERT_EQ(tpxGetVariantIndex(), 1);
    const auto it = accepted.find(t);
    if (it != accepted.end()) {
      EXPECT_EQ(tpxSetCpuType(t), tpxStsNoErr);
      EXPECT_EQ(tpxGetVariantIndex(), it->second);
    } else {
      EXPECT_EQ(tpxSetCpuType(t), tpxStsCpuMismatch);
      EXPECT_EQ(tpxGetVariantIndex(), 1);  // untouched
    }
  }
}

TEST(CpuLoaderEntry, OnlyProcessAttachInitialises) {
  ScopedVariant keep(0);
  for (uint32_t reason : {0u, 2u, 3u, 4u, 0xffffffffu}) {
    EXPECT_EQ(tpxDllMain(nullptr, reason, nullptr), 1) << reason;
    EXPECT_EQ(tpxGetVariantIndex(), 0) << reason;
  }
  EXPECT_EQ(tpxDllMain(nullptr, 1, nullptr), 1);
  EXPECT_EQ(tpxGetVariantIndex(), tpxtest::loadTimeVariant());
}

TEST(CpuClocks, CounterAdvances) {
  const uint64_t first = tpxGetCpuClocks();
  volatile uint64_t sink = 0;
  for (int i = 0; i < 100000; ++i) sink = sink + i;
  const uint64_t second = tpxGetCpuClocks();
  EXPECT_GT(second, first);
}

}  // namespace
