// Dispatch: the exported stubs, their five-entry tables, the variant index
// and its selection at load time.
//
// Each line of core/exports.def becomes
//
//   const decltype(&::name) table::name[5] = {&px::name, ..., &v8::name};
//   extern "C" R name(params) { return table::name[gVariantIndex](args); }
//
// The table is typed by the public declaration, so an entry of any other
// type does not compile; the stub adds nothing to the call and compiles to
// one load of the index and a tail jump through the table.
#include "core/dispatch.h"

#include "core/cpu.h"
#include "core/entries.h"

namespace tpx {
int32_t gVariantIndex = 0;
}

#define TPX_EXPORT(ret, name, params, args) \
  TPX_EXPORT_SLOTS(ret, name, params, args, px, a6, w7, t7, v8)
#define TPX_EXPORT_SLOTS(ret, name, params, args, s0, s1, s2, s3, s4)                     \
  namespace tpx::table {                                                                 \
  const decltype(&::name) name[kVariantCount] = {&s0::name, &s1::name, &s2::name,       \
                                                 &s3::name, &s4::name};                  \
  }                                                                                      \
  extern "C" ret name params { return tpx::table::name[tpx::gVariantIndex] args; }
#include "core/exports.def"
#include "core/internal.def"
#undef TPX_EXPORT
#undef TPX_EXPORT_SLOTS

extern "C" int tpxGetVariantIndex(void) { return tpx::gVariantIndex; }

extern "C" TpxStatus tpxLibraryInit(void) {
  tpx::gVariantIndex = tpxCpuTypeToIndex(tpxGetCpuType());
  // The index is in force before the vendor is checked: another vendor's
  // processor runs the variant its feature flags allow and only hears 20.
  if (!tpxCpuidAvailable()) return tpxStsNonKorvoCpu;
  TpxCpuidLeaves leaves;
  tpxReadCpuid(&leaves);
  return tpxIsPreferredVendor(&leaves) ? tpxStsNoErr : tpxStsNonKorvoCpu;
}

extern "C" TpxStatus tpxSetCpuType(TpxCpuType cpuType) {
  // Only -1 and the five lowest codes are accepted as generic; other codes
  // that the load-time table would map to 0 are refused.
  if (cpuType >= -1 && cpuType <= tpxCpuFam6Mmx) {
    tpx::gVariantIndex = 0;
    return tpxStsNoErr;
  }
  const int index = tpxCpuTypeToIndex(cpuType);
  if (index == 0) return tpxStsCpuMismatch;
  tpx::gVariantIndex = index;
  return tpxStsNoErr;
}

extern "C" int tpxDllMain(void* module, uint32_t reason, void* reserved) {
  (void)module;
  (void)reserved;
  constexpr uint32_t kProcessAttach = 1;
  // Loading never fails on account of the processor: the status only says
  // whether the vendor is the preferred one.
  if (reason == kProcessAttach) (void)tpxLibraryInit();
  return 1;
}

namespace {
// Runs when libtpx.so is loaded, and in a program linked with libtpx.a as soon
// as it uses any dispatched export (this object file comes with the stubs).
__attribute__((constructor)) void onLoad() { tpxDllMain(nullptr, 1, nullptr); }
}  // namespace
