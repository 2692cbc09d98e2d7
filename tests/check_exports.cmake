# Compares the dynamic symbols that libtpx.so defines with the functions the
# public header declares: both sets must be equal.
#   cmake -DLIB=<libtpx.so> -DHEADER=<tpx.h> -DNM=<nm> -P check_exports.cmake
execute_process(COMMAND ${NM} -D --defined-only ${LIB} OUTPUT_VARIABLE nm_out RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIB}")
endif()
string(REGEX MATCHALL "[ \t][TtWw][ \t]+[A-Za-z_][A-Za-z0-9_]*" text_syms "${nm_out}")
set(exported)
foreach(s IN LISTS text_syms)
  string(REGEX REPLACE "^[ \t][TtWw][ \t]+" "" s "${s}")
  list(APPEND exported ${s})
endforeach()
# Anything that is not code (data, absolute version nodes) must not leak either.
string(REGEX MATCHALL "[ \t][BbDdRr][ \t]+[A-Za-z_][A-Za-z0-9_]*" data_syms "${nm_out}")
if(data_syms)
  message(FATAL_ERROR "libtpx.so exports data symbols: ${data_syms}")
endif()

file(READ ${HEADER} header)
string(REGEX MATCHALL "\nTPX_API [^;(]*[ *]([A-Za-z_][A-Za-z0-9_]*)\\(" decls "${header}")
set(declared)
foreach(d IN LISTS decls)
  string(REGEX MATCH "([A-Za-z_][A-Za-z0-9_]*)\\($" name "${d}")
  list(APPEND declared ${CMAKE_MATCH_1})
endforeach()

list(SORT exported)
list(SORT declared)
list(LENGTH declared n)
if(NOT exported STREQUAL declared)
  message(FATAL_ERROR "exports differ from the header\n  exported: ${exported}\n  declared: ${declared}")
endif()
message(STATUS "libtpx.so exports exactly the ${n} functions of tpx.h")
