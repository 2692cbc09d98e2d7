# i386 builds on x86-64 hosts: many kernels run i386 programs, some are built
# without that support. Find out which kind this host is by running a tiny
# i386 program; where it cannot run, every test program (and GoogleTest's
# discovery of the cases in it) goes through qemu-i386's user-mode emulation,
# which CMake applies to add_test() and gtest_discover_tests() through the
# targets' CROSSCOMPILING_EMULATOR property.
#
# qemu-i386 is wanted either way: the processor-model test runs the probe
# under the CPUID records of real Intel processors that qemu presents.

if(NOT CMAKE_SIZEOF_VOID_P EQUAL 4)
  return()
endif()

find_program(TPX_QEMU_I386 qemu-i386)

if(NOT DEFINED TPX_I386_NATIVE)
  try_run(tpx_i386_run_result tpx_i386_compiled
          SOURCE_FROM_CONTENT i386_probe.c "int main(void) { return 0; }")
  if(tpx_i386_compiled AND "${tpx_i386_run_result}" STREQUAL "0")
    set(native ON)
  else()
    set(native OFF)
  endif()
  set(TPX_I386_NATIVE ${native} CACHE BOOL "Whether this host executes i386 programs itself")
endif()

if(TPX_I386_NATIVE)
  message(STATUS "i386 tests: run natively (this host executes i386 programs)")
elseif(TPX_QEMU_I386)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${TPX_QEMU_I386})
  message(STATUS "i386 tests: run through ${TPX_QEMU_I386} "
                 "(this host does not execute i386 programs)")
else()
  message(FATAL_ERROR "i386 tests: this host does not execute i386 programs and qemu-i386 was not "
                      "found; install Debian's qemu-user (scripts/deps.sh does) or build another "
                      "preset")
endif()
