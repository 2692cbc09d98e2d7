// Processor probe and classification.
//
// The probe only reads CPUID; deciding what the answers mean is a pure
// function of the decoded record and the vendor test, so every rule of the
// classification can be exercised on synthetic records.
#include <cstring>

#include "core/cpu.h"

namespace {

// The classification follows this vendor's family numbering (family 6 for
// the P6 line and its descendants, 15 for the NetBurst line), so the family
// rules only apply to its processors; every other vendor is classified by
// feature flags alone.
constexpr char kPreferredVendor[] = "GenuineIntel";

constexpr uint32_t kIdFlag = 0x200000;  // EFLAGS bit 21

void cpuid(uint32_t leaf, uint32_t subLeaf, uint32_t out[4]) {
  uint32_t a, b, c, d;
  __asm__ volatile("cpuid" : "=a"(a), "=b"(b), "=c"(c), "=d"(d) : "a"(leaf), "c"(subLeaf));
  out[0] = a;
  out[1] = b;
  out[2] = c;
  out[3] = d;
}

int32_t bit(uint32_t word, int n) { return static_cast<int32_t>((word >> n) & 1u); }

}  // namespace

extern "C" int tpxCpuidAvailable(void) {
#if defined(__i386__)
  // CPUID exists when the identification flag can be toggled.
  uint32_t before, after;
  __asm__ volatile(
      "pushfl\n\t"
      "popl %0\n\t"
      "movl %0, %1\n\t"
      "xorl %2, %1\n\t"
      "pushl %1\n\t"
      "popfl\n\t"
      "pushfl\n\t"
      "popl %1\n\t"
      "pushl %0\n\t"  // put the original flags back
      "popfl"
      : "=&r"(before), "=&r"(after)
      : "i"(kIdFlag)
      : "cc");
  return ((before ^ after) & kIdFlag) != 0;
#else
  // Every x86-64 processor has CPUID (and toggling the flag there would mean
  // pushing into the red zone under the compiler's feet).
  (void)kIdFlag;
  return 1;
#endif
}

extern "C" void tpxReadCpuid(TpxCpuidLeaves* pLeaves) {
  std::memset(pLeaves, 0, sizeof(*pLeaves));
  cpuid(0, 0, pLeaves->leaf0);
  const uint32_t maxLeaf = pLeaves->leaf0[0];
  if (maxLeaf >= 1) cpuid(1, 0, pLeaves->leaf1);
  if (maxLeaf >= 2) cpuid(2, 0, pLeaves->leaf2);
  if (maxLeaf >= 4) cpuid(4, 0, pLeaves->leaf4);
  cpuid(0x80000000u, 0, pLeaves->ext0);
  if (pLeaves->ext0[0] >= 0x80000001u) cpuid(0x80000001u, 0, pLeaves->ext1);
}

extern "C" void tpxDecodeCpuid(const TpxCpuidLeaves* pLeaves, TpxCpuFeatures* pFeatures) {
  const uint32_t eax1 = pLeaves->leaf1[0];
  const uint32_t ebx1 = pLeaves->leaf1[1];
  const uint32_t ecx1 = pLeaves->leaf1[2];
  const uint32_t edx1 = pLeaves->leaf1[3];
  TpxCpuFeatures f;
  std::memset(&f, 0, sizeof(f));
  f.family = static_cast<int32_t>((eax1 >> 8) & 0xf);
  f.stepping = static_cast<int32_t>(eax1 & 0xf);
  f.model = static_cast<int32_t>((eax1 >> 4) & 0xf);
  // Shifting the 4-bit family right by 11 always gives 0; the field is kept
  // for the record's layout and nothing reads it.
  f.processorType = (f.family >> 11) & 3;
  f.featureFlags = static_cast<int32_t>(edx1);
  f.cacheDescriptorsA = static_cast<int32_t>(pLeaves->leaf2[0]);
  f.cacheDescriptorsD = static_cast<int32_t>(pLeaves->leaf2[3]);
  f.hasMmx = bit(edx1, 23);
  f.hasSse = bit(edx1, 25);
  f.hasSse2 = bit(edx1, 26);
  // With the hyper-threading bit clear the logical-processor count is
  // meaningless and taken as 0.
  const uint32_t logical = bit(edx1, 28) ? ((ebx1 >> 16) & 0xff) : 0;
  f.isMultiThreaded = logical > 1;
  f.hasSse3 = bit(ecx1, 0);
  f.has64BitExtension =
      pLeaves->ext0[0] >= 0x80000001u ? bit(pLeaves->ext1[3], 29) : 0;
  f.hasSsse3 = bit(ecx1, 9);
  f.coresPerPackage =
      pLeaves->leaf0[0] >= 4 ? static_cast<int32_t>(((pLeaves->leaf4[0] >> 26) & 0x3f) + 1) : 1;
  *pFeatures = f;
}

extern "C" int tpxIsPreferredVendor(const TpxCpuidLeaves* pLeaves) {
  // The vendor string comes in EBX, EDX, ECX, four characters each.
  uint32_t want[3];
  std::memcpy(want, kPreferredVendor, 12);
  return pLeaves->leaf0[1] == want[0] && pLeaves->leaf0[3] == want[1] &&
         pLeaves->leaf0[2] == want[2];
}

extern "C" TpxCpuType tpxClassifyCpu(const TpxCpuFeatures* pFeatures, int preferredVendor) {
  const TpxCpuFeatures& f = *pFeatures;
  if (preferredVendor) {
    switch (f.family) {
      case 7:
        return tpxCpuFam7;
      case 31:  // cannot match a 4-bit field; kept in its place in the order
        return tpxCpuFam15NoSse2;
      case 15:
        if (!f.hasSse2) return tpxCpuFam15NoSse2;
        if (!f.hasSse3) return f.isMultiThreaded ? tpxCpuFam15Sse2Mt : tpxCpuFam15Sse2;
        // Without the 64-bit extension the SSE3 level is kept even when SSSE3
        // is reported.
        if (!f.has64BitExtension) return tpxCpuFam15Sse3;
        return f.hasSsse3 ? tpxCpuSsse3 : tpxCpuFam15Sse3X64;
      case 5:
        return f.hasMmx ? tpxCpuFam5Mmx : tpxCpuFam5;
      case 6:
        if (f.hasSse2) {
          if (f.hasSsse3) return tpxCpuSsse3;
          return f.hasSse3 ? tpxCpuFam6Sse3 : tpxCpuFam6Sse2;
        }
        if (f.hasSse) return tpxCpuFam6Sse;
        return f.hasMmx ? tpxCpuFam6Mmx : tpxCpuFam6;
      default:
        break;
    }
  }
  if (f.hasSsse3) return tpxCpuSsse3;
  if (f.hasSse3) return tpxCpuOtherSse3;
  if (f.hasSse2) return tpxCpuOtherSse2;
  if (f.hasSse) return tpxCpuOtherSse;
  return tpxCpuNone;
}

extern "C" TpxCpuType tpxGetCpuType(void) {
  if (!tpxCpuidAvailable()) return tpxCpuNone;
  TpxCpuidLeaves leaves;
  tpxReadCpuid(&leaves);
  TpxCpuFeatures features;
  tpxDecodeCpuid(&leaves, &features);
  return tpxClassifyCpu(&features, tpxIsPreferredVendor(&leaves));
}

extern "C" int tpxCpuTypeToIndex(TpxCpuType type) {
  switch (type) {
    case tpxCpuFam6Sse:
    case tpxCpuFam7:
    case tpxCpuFam15NoSse2:
    case tpxCpuOtherSse:
      return 1;
    case tpxCpuFam15Sse2:
    case tpxCpuFam15Sse2Mt:
    case tpxCpuFam6Sse2:
    case tpxCpuOtherSse2:
      return 2;
    case tpxCpuFam15Sse3:
    case tpxCpuFam6Sse3:
    case tpxCpuFam15Sse3X64:
    case tpxCpuOtherSse3:
      return 3;
    case tpxCpuSsse3:
    case tpxCpuSsse3Alt:
      return 4;
    default:
      return 0;
  }
}

extern "C" uint64_t tpxGetCpuClocks(void) { return __builtin_ia32_rdtsc(); }
