# Compiler settings of the library, and the five-fold compilation of family
# sources.

# Flags shared by every object of the library.
add_library(tpx_build INTERFACE)
target_include_directories(tpx_build INTERFACE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
target_compile_options(tpx_build INTERFACE
  -Wall -Wextra
  # A fused multiply-add or a reassociated sum would change bits between
  # variants; the floating-point model is strict everywhere.
  -ffp-contract=off -fno-fast-math
  -fvisibility=hidden -fvisibility-inlines-hidden
  # Nothing may throw across the C interface.
  -fno-exceptions)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # i386: scalar float math in SSE registers rather than x87 extended
  # precision, and callers may hand over a stack aligned to 4 bytes only.
  target_compile_options(tpx_build INTERFACE -msse2 -mfpmath=sse -mstackrealign)
endif()

set(TPX_SANITIZE_FLAGS)
if(TPX_SANITIZE)
  set(TPX_SANITIZE_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=all
                         -fno-omit-frame-pointer)
  add_compile_options(${TPX_SANITIZE_FLAGS})
  add_link_options(${TPX_SANITIZE_FLAGS})
endif()
if(TPX_TSAN)
  set(TPX_SANITIZE_FLAGS -fsanitize=thread -fno-omit-frame-pointer)
  add_compile_options(${TPX_SANITIZE_FLAGS})
  add_link_options(${TPX_SANITIZE_FLAGS})
endif()

# The five variants: index, code, and the instruction set each may use. The
# generic copy must not be vectorised behind our back (x86-64 has SSE2 in its
# baseline, so only the vectoriser can be switched off there).
set(TPX_VARIANT_CODES px a6 w7 t7 v8)
set(TPX_VARIANT_FLAGS_px -fno-tree-vectorize -fno-tree-slp-vectorize)
set(TPX_VARIANT_FLAGS_a6 -msse)
set(TPX_VARIANT_FLAGS_w7 -msse2)
set(TPX_VARIANT_FLAGS_t7 -msse3)
set(TPX_VARIANT_FLAGS_v8 -mssse3)

# tpx_add_variant_objects(<out-var> sources...)
# Builds one OBJECT library per variant (tpx_px ... tpx_v8) from the same
# sources with -DTPX_VARIANT=<index>, and returns their objects.
function(tpx_add_variant_objects out)
  set(objects)
  set(index 0)
  foreach(code IN LISTS TPX_VARIANT_CODES)
    add_library(tpx_${code} OBJECT ${ARGN})
    target_link_libraries(tpx_${code} PRIVATE tpx_build)
    target_compile_definitions(tpx_${code} PRIVATE TPX_VARIANT=${index})
    # No link-time optimisation: it could merge code across variants.
    target_compile_options(tpx_${code} PRIVATE ${TPX_VARIANT_FLAGS_${code}} -fno-lto)
    set_target_properties(tpx_${code} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    list(APPEND objects $<TARGET_OBJECTS:tpx_${code}>)
    math(EXPR index "${index} + 1")
  endforeach()
  set(${out} ${objects} PARENT_SCOPE)
endfunction()
