// The shared library as an application sees it: linked by name, loaded by
// the dynamic loader, exporting the public API and nothing else.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>

#include "tpx.h"

namespace {

TEST(SharedLibrary, LoadSelectedARunnableVariant) {
  const TpxVersionRecord* r = tpxiGetLibVersion();
  ASSERT_NE(r, nullptr);
  __builtin_cpu_init();
  // The probe picks the richest level the processor has, and this suite
  // only runs on processors with at least SSE2.
  const char* expected = __builtin_cpu_supports("ssse3")  ? "v8"
                         : __builtin_cpu_supports("sse3") ? "t7"
                                                          : "w7";
  EXPECT_STREQ(r->cpuCode, expected);
  EXPECT_STREQ(tpxsGetLibVersion()->cpuCode, expected);
}

TEST(SharedLibrary, InternalOperationsAreNotExported) {
  void* self = dlopen(nullptr, RTLD_NOW);
  ASSERT_NE(self, nullptr);
  for (const char* name : {"tpxLibraryInit", "tpxGetCpuType", "tpxSetCpuType", "tpxDllMain",
                           "tpxGetVariantIndex", "tpxClassifyCpu"}) {
    EXPECT_EQ(dlsym(RTLD_DEFAULT, name), nullptr) << name;
  }
  for (const char* name : {"tpxGetStatusString", "tpxGetCpuClocks", "tpxiGetLibVersion",
                           "tpxiMalloc_8u_C1", "tpxsFree"}) {
    EXPECT_NE(dlsym(RTLD_DEFAULT, name), nullptr) << name;
  }
  dlclose(self);
}

TEST(SharedLibrary, AllocatesAndReleases) {
  int step = 0;
  Tpx32f* p = tpxiMalloc_32f_C1(9, 2, &step);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(step, 64);
  std::memset(p, 0, 128);
  tpxiFree(p);
  EXPECT_STREQ(tpxGetStatusString(tpxStsNullPtrErr), "Null pointer error");
}

}  // namespace
