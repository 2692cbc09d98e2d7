// Which of the five code variants this translation unit is compiled as.
//
// Every family source is compiled five times, once per instruction-set level,
// with -DTPX_VARIANT=0..4 and that level's compiler flags. Everything it
// defines lives in namespace tpx::TPX_NS so that the five copies never meet
// at link time. Helpers used by variant code must stay inside that namespace
// (or an anonymous one): an inline function shared between the copies could
// be folded by the linker into the copy built for a richer instruction set.
#ifndef TPX_CORE_VARIANT_H
#define TPX_CORE_VARIANT_H

#ifndef TPX_VARIANT
#error "family sources are compiled once per variant with -DTPX_VARIANT=0..4"
#endif

// Instruction-set levels, in index order. TPX_ISA is the level this copy may
// use: vector paths are written under `#if TPX_ISA >= TPX_ISA_SSE2` and so on.
#define TPX_ISA_GENERIC 0
#define TPX_ISA_SSE 1
#define TPX_ISA_SSE2 2
#define TPX_ISA_SSE3 3
#define TPX_ISA_SSSE3 4
#define TPX_ISA TPX_VARIANT

// TPX_NS names the namespace of this copy, TPX_CODE its two-letter code.
#if TPX_VARIANT == 0
#define TPX_NS px
#define TPX_CODE "px"
#elif TPX_VARIANT == 1
#define TPX_NS a6
#define TPX_CODE "a6"
#elif TPX_VARIANT == 2
#define TPX_NS w7
#define TPX_CODE "w7"
#elif TPX_VARIANT == 3
#define TPX_NS t7
#define TPX_CODE "t7"
#elif TPX_VARIANT == 4
#define TPX_NS v8
#define TPX_CODE "v8"
#else
#error "TPX_VARIANT must be 0..4"
#endif

#if TPX_ISA >= TPX_ISA_SSE
#include <xmmintrin.h>
#endif
#if TPX_ISA >= TPX_ISA_SSE2
#include <emmintrin.h>
#endif
#if TPX_ISA >= TPX_ISA_SSE3
#include <pmmintrin.h>
#endif
#if TPX_ISA >= TPX_ISA_SSSE3
#include <tmmintrin.h>
#endif

#include "core/entries.h"

#endif  // TPX_CORE_VARIANT_H
