# Installs the build into a scratch prefix, then builds and runs a consumer
# against it through find_package (shared and static) and through pkg-config.
#   cmake -DBUILD_DIR= -DSOURCE_DIR= -DWORK_DIR= -DCONFIG= -P install_and_consume.cmake
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGV}\n${out}\n${err}")
  endif()
  message(STATUS "${out}")
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --config ${CONFIG})

run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer_shared)
run(${WORK_DIR}/build/consumer_static)

file(GLOB_RECURSE pc_files ${prefix}/*/tpx.pc)
list(GET pc_files 0 pc_file)
get_filename_component(pc_dir ${pc_file} DIRECTORY)
find_program(PKG_CONFIG pkg-config REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs tpx OUTPUT_VARIABLE flags
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
execute_process(COMMAND ${PKG_CONFIG} --variable=libdir tpx OUTPUT_VARIABLE libdir
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
run(cc ${SOURCE_DIR}/main.c ${flags} -Wl,-rpath,${libdir} -o ${WORK_DIR}/consumer_pc)
run(${WORK_DIR}/consumer_pc)
