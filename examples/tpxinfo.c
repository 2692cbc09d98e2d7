/*
 * tpxinfo: what the library found when it was loaded -- the processor's
 * features, its type code, the code variant that runs every call, the
 * initialisation status, both version records and the time-stamp counter
 * rate.
 */
#define _POSIX_C_SOURCE 199309L
#include <stdio.h>
#include <time.h>

#include "core/cpu.h"
#include "tpx.h"

static double secondsNow(void) {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return (double)ts.tv_sec + 1e-9 * (double)ts.tv_nsec;
}

static void printVersion(const char* domain, const TpxVersionRecord* v) {
  printf("%-8s %d.%d.%d.%d  cpu %.2s  %s  \"%s\"  %s\n", domain, v->major, v->minor,
         v->buildSeries, v->buildNumber, v->cpuCode, v->libraryName, v->versionText,
         v->buildDate);
}

int main(void) {
  /* Read before anything else could change it: the index chosen at load. */
  const int index = tpxGetVariantIndex();
  static const char* const kCodes[] = {"px", "a6", "w7", "t7", "v8"};
  static const char* const kLevels[] = {"generic", "SSE", "SSE2", "SSE3", "SSSE3"};

  TpxCpuFeatures f = {0};
  int vendorOk = 0;
  const int haveCpuid = tpxCpuidAvailable();
  char vendor[13] = {0};
  if (haveCpuid) {
    TpxCpuidLeaves leaves;
    tpxReadCpuid(&leaves);
    tpxDecodeCpuid(&leaves, &f);
    vendorOk = tpxIsPreferredVendor(&leaves);
    /* The vendor string is EBX, EDX, ECX of leaf 0. */
    const uint32_t words[3] = {leaves.leaf0[1], leaves.leaf0[3], leaves.leaf0[2]};
    for (int i = 0; i < 12; ++i) vendor[i] = (char)(words[i / 4] >> (8 * (i % 4)));
  }

  printf("TPX %s\n\n", tpxiGetLibVersion()->versionText);
  printf("processor\n");
  printf("  cpuid          %s\n", haveCpuid ? "available" : "not available");
  printf("  vendor         %s%s\n", vendor, vendorOk ? " (family rules apply)" : " (feature flags decide)");
  printf("  family/model   %d / %d, stepping %d\n", f.family, f.model, f.stepping);
  printf("  features       mmx %d  sse %d  sse2 %d  sse3 %d  ssse3 %d  64-bit %d\n", f.hasMmx,
         f.hasSse, f.hasSse2, f.hasSse3, f.hasSsse3, f.has64BitExtension);
  printf("  threads        multi-threaded %d, cores per package %d\n", f.isMultiThreaded,
         f.coresPerPackage);
  printf("  cache leaf 2   eax 0x%08x  edx 0x%08x\n", (unsigned)f.cacheDescriptorsA,
         (unsigned)f.cacheDescriptorsD);

  const TpxCpuType type = tpxGetCpuType();
  printf("\ndispatch\n");
  printf("  cpu type       0x%02x\n", (unsigned)type);
  printf("  variant        %d (%s, %s)\n", index, kCodes[index], kLevels[index]);
  /* Initialising again is harmless: the same probe stores the same index. */
  const TpxStatus init = tpxLibraryInit();
  printf("  init status    %d: %s\n", (int)init, tpxGetStatusString(init));

  printf("\nversions\n");
  printVersion("  image", tpxiGetLibVersion());
  printVersion("  signal", tpxsGetLibVersion());

  /* The counter rate over a short, busy-waited interval. */
  const double t0 = secondsNow();
  const uint64_t c0 = tpxGetCpuClocks();
  double t1;
  do t1 = secondsNow();
  while (t1 - t0 < 0.1);
  const uint64_t c1 = tpxGetCpuClocks();
  printf("\ntime-stamp counter\n");
  printf("  rate           %.1f MHz (over %.0f ms)\n", (double)(c1 - c0) / (t1 - t0) * 1e-6,
         (t1 - t0) * 1e3);
  return 0;
}
