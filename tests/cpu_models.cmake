# Runs the i386 tpxinfo under qemu-i386's models of real processors and checks
# what the probe decoded and which variant it chose against what each model
# presents: its leaf-1 signature (family, base model, stepping) and features.
# usage: cmake -DQEMU=<qemu-i386> -DINFO=<tpxinfo> -P cpu_models.cmake

if(NOT QEMU)
  message(FATAL_ERROR "qemu-i386 was not found: install Debian's qemu-user (scripts/deps.sh)")
endif()

# model | leaf-1 EAX | sse sse2 sse3 ssse3 | variant | status of the initialisation
set(rows
    "pentium3|0x673|1 0 0 0|1 a6|0"     # Pentium III: SSE only
    "coreduo|0x6E8|1 1 1 0|3 t7|0"      # Core Duo T2600: SSE3, no SSSE3
    "Conroe|0x6F3|1 1 1 1|4 v8|0"       # Core 2 (Conroe/Merom): SSSE3
    "Penryn|0x10673|1 1 1 1|4 v8|0"     # Core 2 Penryn: model 23, of which base model 7
)

set(failures 0)
foreach(row IN LISTS rows)
  string(REPLACE "|" ";" f "${row}")
  list(GET f 0 model)
  list(GET f 1 sig)
  list(GET f 2 feats)
  list(GET f 3 variant)
  string(REPLACE " " " [(]" variantre "${variant}")
  list(GET f 4 status)
  math(EXPR stepping "${sig} & 15")
  math(EXPR basemodel "(${sig} >> 4) & 15")
  math(EXPR family "(${sig} >> 8) & 15")
  string(REPLACE " " ";" fl "${feats}")
  list(GET fl 0 sse)
  list(GET fl 1 sse2)
  list(GET fl 2 sse3)
  list(GET fl 3 ssse3)
  execute_process(COMMAND ${QEMU} -cpu ${model} ${INFO} OUTPUT_VARIABLE out ERROR_QUIET
                  RESULT_VARIABLE rc)
  set(expect
      "vendor +GenuineIntel"
      "family/model +${family} / ${basemodel}, stepping ${stepping}\n"
      "sse ${sse}  sse2 ${sse2}  sse3 ${sse3}  ssse3 ${ssse3} "
      "variant +${variantre}"
      "init status +${status}:")
  foreach(e IN LISTS expect)
    if(NOT rc EQUAL 0 OR NOT out MATCHES "${e}")
      message(SEND_ERROR "${model}: expected '${e}' (exit ${rc}) in:\n${out}")
      math(EXPR failures "${failures} + 1")
    endif()
  endforeach()
  message(STATUS "${model}: family ${family}, model ${basemodel}, stepping ${stepping}, variant ${variant}")
endforeach()

# qemu's default model reports another vendor: the feature flags choose the
# variant and the initialisation says so with its warning.
execute_process(COMMAND ${QEMU} ${INFO} OUTPUT_VARIABLE out ERROR_QUIET RESULT_VARIABLE rc)
if(NOT rc EQUAL 0 OR out MATCHES "vendor +GenuineIntel" OR NOT out MATCHES "init status +20:")
  message(SEND_ERROR "default model: expected another vendor and status 20 (exit ${rc}) in:\n${out}")
  math(EXPR failures "${failures} + 1")
endif()
if(failures GREATER 0)
  message(FATAL_ERROR "${failures} mismatches")
endif()
