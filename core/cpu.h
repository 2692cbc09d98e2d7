/*
 * Processor detection: the CPUID probe, its classification into a processor
 * type, and the choice of the code variant. Internal: these functions are not
 * exported from libtpx.so, but they keep C linkage in libtpx.a so that tests
 * and tools linked statically can reach them. Usable from C.
 */
#ifndef TPX_CORE_CPU_H
#define TPX_CORE_CPU_H

#include "tpx.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t TpxCpuType;

enum TpxCpuTypeCode {
  tpxCpuNone = 0x00,
  tpxCpuFam5 = 0x01,
  tpxCpuFam5Mmx = 0x02,
  tpxCpuFam6 = 0x03,
  tpxCpuFam6Mmx = 0x04,
  tpxCpuFam6Sse = 0x05,
  tpxCpuFam15Sse2 = 0x06,
  tpxCpuFam15Sse2Mt = 0x07,
  tpxCpuFam15Sse3 = 0x08,
  tpxCpuFam6Sse2 = 0x09,
  tpxCpuFam6Sse3 = 0x0a,
  tpxCpuFam7 = 0x10,
  tpxCpuFam15NoSse2 = 0x11,
  tpxCpuFam15Sse3X64 = 0x20,
  tpxCpuSsse3 = 0x21,
  tpxCpuSsse3Alt = 0x22,
  tpxCpuOtherSse = 0x40,
  tpxCpuOtherSse2 = 0x41,
  tpxCpuOtherSse3 = 0x42
};

/* What the probe found, in the order the classification reads it. Flag
 * fields hold 0 or 1. */
typedef struct TpxCpuFeatures {
  int32_t family;        /* leaf 1 EAX bits 8..11 (no extended family) */
  int32_t stepping;      /* leaf 1 EAX bits 0..3 */
  int32_t model;         /* leaf 1 EAX bits 4..7 (base model only) */
  int32_t processorType; /* always 0; kept, never read */
  int32_t featureFlags;  /* leaf 1 EDX */
  int32_t cacheDescriptorsA; /* leaf 2 EAX, stored only */
  int32_t cacheDescriptorsD; /* leaf 2 EDX, stored only */
  int32_t hasMmx;
  int32_t reserved; /* never set by the probe, never read */
  int32_t hasSse;
  int32_t hasSse2;
  int32_t isMultiThreaded;
  int32_t hasSse3;
  int32_t has64BitExtension;
  int32_t hasSsse3;
  int32_t coresPerPackage;
} TpxCpuFeatures;

/* Raw CPUID results, each as {EAX, EBX, ECX, EDX}. Leaves beyond the
 * maximum reported by leaf 0 (or 0x80000000) are left zero. */
typedef struct TpxCpuidLeaves {
  uint32_t leaf0[4];
  uint32_t leaf1[4];
  uint32_t leaf2[4];
  uint32_t leaf4[4]; /* sub-leaf 0 */
  uint32_t ext0[4];  /* 0x80000000 */
  uint32_t ext1[4];  /* 0x80000001 */
} TpxCpuidLeaves;

/* The documented internal operations. */
TpxStatus tpxLibraryInit(void);         /* 0, or 20 off the preferred vendor */
TpxCpuType tpxGetCpuType(void);         /* probe and classify */
TpxStatus tpxSetCpuType(TpxCpuType cpuType); /* 0, or 21 leaving the index */
/* The loader's entry: reason 1 (process attach) runs tpxLibraryInit. Always 1. */
int tpxDllMain(void* module, uint32_t reason, void* reserved);

/* The pieces of the above, for tools and tests. */
int tpxGetVariantIndex(void);  /* the process-wide index, 0..4 */
int tpxCpuidAvailable(void);   /* the identification-flag toggle */
void tpxReadCpuid(TpxCpuidLeaves* pLeaves); /* requires CPUID */
void tpxDecodeCpuid(const TpxCpuidLeaves* pLeaves, TpxCpuFeatures* pFeatures);
int tpxIsPreferredVendor(const TpxCpuidLeaves* pLeaves); /* leaf 0 vendor test */
TpxCpuType tpxClassifyCpu(const TpxCpuFeatures* pFeatures, int preferredVendor);
int tpxCpuTypeToIndex(TpxCpuType type); /* the load-time table; unknown -> 0 */

#ifdef __cplusplus
}
#endif

#endif /* TPX_CORE_CPU_H */
