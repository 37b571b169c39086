# Installs a build of the library into a scratch prefix, then configures,
# builds and runs a small outside project against the installed package.
#
#   cmake -DBUILD_DIR=<build tree> -DWORK_DIR=<scratch dir> -DCONSUMER_SOURCE=<project>
#         [-DGENERATOR=<generator>] [-DCXX_COMPILER=<compiler>] [-DSANITIZE=<list>]
#         -P check_install.cmake

foreach(var BUILD_DIR WORK_DIR CONSUMER_SOURCE)
  if(NOT ${var})
    message(FATAL_ERROR "${var} is not set")
  endif()
endforeach()

set(prefix ${WORK_DIR}/prefix)
set(consumer_build ${WORK_DIR}/consumer)
set(database ${WORK_DIR}/db)

# Runs one step; stops with its output when it fails.
function(step name)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${name} failed (${rc}):\n${out}\n${err}")
  endif()
  set(step_output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${database})

step("install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(pattern include/rpl/rpl.h include/h/rdb.h include/host/host.h
                lib*/librpl.so lib*/librpl_host.so lib*/cmake/rpl/rplConfig.cmake)
  file(GLOB found ${prefix}/${pattern})
  if(NOT found)
    message(FATAL_ERROR "the installed tree lacks ${pattern}")
  endif()
endforeach()

# Only the scratch prefix may provide the package.
set(configure_args -S ${CONSUMER_SOURCE} -B ${consumer_build} -DCMAKE_BUILD_TYPE=Release
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
    -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF)
if(GENERATOR)
  list(APPEND configure_args -G ${GENERATOR})
endif()
if(CXX_COMPILER)
  list(APPEND configure_args -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
endif()
if(SANITIZE)
  # A sanitized library needs its runtime loaded first, by the program.
  list(APPEND configure_args "-DCMAKE_CXX_FLAGS=-fsanitize=${SANITIZE}"
       "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=${SANITIZE}")
endif()
step("configure the outside project" ${CMAKE_COMMAND} ${configure_args})

file(STRINGS ${consumer_build}/CMakeCache.txt rpl_dir REGEX "^rpl_DIR:")
file(REAL_PATH ${prefix} real_prefix)
if(NOT rpl_dir MATCHES "^rpl_DIR:[A-Z]*=${real_prefix}/" AND NOT rpl_dir MATCHES "^rpl_DIR:[A-Z]*=${prefix}/")
  message(FATAL_ERROR "the package was not taken from the installed tree: ${rpl_dir}")
endif()

step("build the outside project" ${CMAKE_COMMAND} --build ${consumer_build})
step("run the outside project" ${consumer_build}/app ${database})
message(STATUS "${step_output}")
if(NOT step_output MATCHES "\nok\n$")
  message(FATAL_ERROR "the outside project did not report ok")
endif()
