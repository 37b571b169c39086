# Installs a build of the library into a scratch prefix and uses it from
# outside, the three ways a user can: find_package(rpl CONFIG) with an exact
# version (whose headers' version macros must agree), the embedding example
# built with CMake, and the same example built with pkg-config alone.
#
#   cmake -DBUILD_DIR=<build tree> -DWORK_DIR=<scratch dir> -DVERSION=<x.y.z>
#         -DVERSION_CONSUMER=<project> -DEMBED_SOURCE=<examples/embed> -DEMBED_EXPECTED=<file>
#         [-DPKG_CONFIG=<pkg-config>] [-DGENERATOR=<generator>] [-DCXX_COMPILER=<compiler>]
#         [-DSANITIZE=<list>] -P check_install.cmake

foreach(var BUILD_DIR WORK_DIR VERSION VERSION_CONSUMER EMBED_SOURCE EMBED_EXPECTED)
  if(NOT ${var})
    message(FATAL_ERROR "${var} is not set")
  endif()
endforeach()
if(NOT PKG_CONFIG)
  message(FATAL_ERROR "pkg-config is not installed (scripts/install-deps.sh test installs it)")
endif()
if(NOT CXX_COMPILER)
  set(CXX_COMPILER c++)
endif()

set(prefix ${WORK_DIR}/prefix)

include(${CMAKE_CURRENT_LIST_DIR}/check_steps.cmake)

# The names directly inside `dir`, sorted and joined by spaces.
function(entries_of dir result)
  file(GLOB found RELATIVE ${dir} ${dir}/*)
  list(SORT found)
  string(JOIN " " joined ${found})
  set(${result} "${joined}" PARENT_SCOPE)
endfunction()

function(expect_entries dir expected)
  entries_of(${dir} found)
  if(NOT found STREQUAL expected)
    message(FATAL_ERROR "${dir} holds \"${found}\", expected \"${expected}\"")
  endif()
endfunction()

function(check_layout)
  expect_entries(${prefix}/include "rpl")
  expect_entries(${prefix}/include/rpl "h host rpl")
  if(EXISTS ${prefix}/include/rpl/rpl/rpl_file.h)
    message(FATAL_ERROR "the library's internal rpl_file.h is installed")
  endif()
  foreach(pattern include/rpl/rpl/rpl.h include/rpl/rpl/rpl_version.h include/rpl/h/rdb.h
                  include/rpl/host/host.h lib*/librpl.so lib*/librpl_host.so lib*/cmake/rpl/rplConfig.cmake
                  lib*/pkgconfig/rpl.pc lib*/pkgconfig/rpl-host.pc)
    file(GLOB found ${prefix}/${pattern})
    if(NOT found)
      message(FATAL_ERROR "the installed tree lacks ${pattern}")
    endif()
  endforeach()
endfunction()

# Configures and builds an outside project that only the scratch prefix
# may provide the package to.
function(build_outside name source binary)
  set(args -S ${source} -B ${binary} -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH=${prefix}
      -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF
      -DCMAKE_CXX_COMPILER=${CXX_COMPILER} ${ARGN})
  if(GENERATOR)
    list(APPEND args -G ${GENERATOR})
  endif()
  if(SANITIZE)
    # A sanitized library needs its runtime loaded first, by the program.
    list(APPEND args "-DCMAKE_CXX_FLAGS=-fsanitize=${SANITIZE}" "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=${SANITIZE}")
  endif()
  step("configure ${name}" ${CMAKE_COMMAND} ${args})
  file(STRINGS ${binary}/CMakeCache.txt rpl_dir REGEX "^rpl_DIR:")
  file(REAL_PATH ${prefix} real_prefix)
  if(NOT rpl_dir MATCHES "^rpl_DIR:[A-Z]*=(${real_prefix}|${prefix})/")
    message(FATAL_ERROR "${name} did not take the package from the installed tree: ${rpl_dir}")
  endif()
  step("build ${name}" ${CMAKE_COMMAND} --build ${binary})
endfunction()


function(build_with_pkg_config)
  file(GLOB pc_dir ${prefix}/lib*/pkgconfig)
  set(pkg_config ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pc_dir} ${PKG_CONFIG})
  step("pkg-config --modversion" ${pkg_config} --modversion rpl rpl-host)
  if(NOT step_output STREQUAL "${VERSION}\n${VERSION}\n")
    message(FATAL_ERROR "pkg-config reports version ${step_output}, expected ${VERSION}")
  endif()
  step("pkg-config --cflags --libs" ${pkg_config} --cflags --libs rpl rpl-host)
  string(STRIP "${step_output}" flags)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  file(GLOB lib_dir LIST_DIRECTORIES true ${prefix}/lib*)
  set(sanitize)
  if(SANITIZE)
    set(sanitize -fsanitize=${SANITIZE})
  endif()
  step("compile with pkg-config's flags" ${CXX_COMPILER} -std=c++17 ${sanitize} ${EMBED_SOURCE}/main.cpp ${flags}
       -Wl,-rpath,${lib_dir} -o ${WORK_DIR}/embed-pkg-config)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
step("install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
check_layout()

build_outside("the version check" ${VERSION_CONSUMER} ${WORK_DIR}/version -DRPL_EXPECTED_VERSION=${VERSION})
step("run the version check" ${WORK_DIR}/version/version)
if(NOT step_output STREQUAL "${VERSION}\n")
  message(FATAL_ERROR "RPL_VERSION_STRING is ${step_output}, expected ${VERSION}")
endif()

build_outside("the example" ${EMBED_SOURCE} ${WORK_DIR}/embed-cmake)
check_embed(cmake ${WORK_DIR}/embed-cmake/embed)
build_with_pkg_config()
check_embed(pkg-config ${WORK_DIR}/embed-pkg-config)
message(STATUS "installed package: layout, find_package, pkg-config and version ${VERSION} checked")
