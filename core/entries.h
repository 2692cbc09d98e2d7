// Declarations of the variant entries of every dispatched export.
//
// For each line of core/exports.def (and core/internal.def), a function of the export's exact
// signature is declared in each of the five variant namespaces. A family
// source defines its entries with qualified names,
//
//   TpxStatus tpx::TPX_NS::tpxiCopy_8u_C1R(const Tpx8u* pSrc, ...) { ... }
//
// and a qualified definition that matches no declaration is ill-formed, so a
// signature that drifts from the list (and through the list from the public
// header) fails to compile. Composite operations call building blocks through
// these names directly (tpx::px::tpxiSet_8u_C1R), never through the stubs,
// or, to run the entry of their own variant index whichever copy serves it,
// through the export's table: tpx::table::tpxiSet_8u_C1R[TPX_VARIANT](...).
#ifndef TPX_CORE_ENTRIES_H
#define TPX_CORE_ENTRIES_H

#include "fft/engine.h"
#include "tpx.h"
// Internal operations that are dispatched like exports but not exported.
#include "filter/linear.h"
#include "geometry/geometry.h"

#define TPX_EXPORT(ret, name, params, args) ret name params;
#define TPX_EXPORT_SLOTS(ret, name, params, args, s0, s1, s2, s3, s4) ret name params;

namespace tpx::px {
#include "core/exports.def"
#include "core/internal.def"
}
namespace tpx::a6 {
#include "core/exports.def"
#include "core/internal.def"
}
namespace tpx::w7 {
#include "core/exports.def"
#include "core/internal.def"
}
namespace tpx::t7 {
#include "core/exports.def"
#include "core/internal.def"
}
namespace tpx::v8 {
#include "core/exports.def"
#include "core/internal.def"
}

#undef TPX_EXPORT
#undef TPX_EXPORT_SLOTS

// The five-entry table of each export (defined in core/dispatch.cpp).
#define TPX_EXPORT(ret, name, params, args) extern const decltype(&::name) name[5];
#define TPX_EXPORT_SLOTS(ret, name, params, args, s0, s1, s2, s3, s4) \
  extern const decltype(&::name) name[5];
namespace tpx::table {
#include "core/exports.def"
#include "core/internal.def"
}
#undef TPX_EXPORT
#undef TPX_EXPORT_SLOTS

#endif  // TPX_CORE_ENTRIES_H
