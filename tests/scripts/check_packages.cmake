# Makes the Debian packages of a build with CPack and checks them the way
# a user meets them: their contents (dpkg-deb), Debian's own checks
# (lintian, when it is installed), an installation into a scratch root
# (dpkg -x, as dpkg --root would lay them out), the embedding example built
# against that root with CMake and with pkg-config, and the installed
# rpl-toc run.
#
#   cmake -DBUILD_DIR=<build tree> -DWORK_DIR=<scratch> -DVERSION=<x.y.z> -DSOVERSION=<N>
#         -DEMBED_SOURCE=<examples/embed> -DEMBED_EXPECTED=<file> -DCPACK=<cpack>
#         [-DLINTIAN=<lintian>] [-DPKG_CONFIG=<pkg-config>] [-DCXX_COMPILER=<c++>] [-DTOOL=ON]
#         -P check_packages.cmake

foreach(var BUILD_DIR WORK_DIR VERSION SOVERSION EMBED_SOURCE EMBED_EXPECTED CPACK)
  if(NOT ${var})
    message(FATAL_ERROR "${var} is not set")
  endif()
endforeach()
find_program(DPKG_DEB dpkg-deb)
if(NOT DPKG_DEB)
  message(FATAL_ERROR "dpkg-deb is not installed")
endif()
if(NOT CXX_COMPILER)
  set(CXX_COMPILER c++)
endif()

include(${CMAKE_CURRENT_LIST_DIR}/check_steps.cmake)

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
step("cpack" ${CPACK} -G DEB -B ${WORK_DIR}/debs --config ${BUILD_DIR}/CPackConfig.cmake)
file(GLOB debs ${WORK_DIR}/debs/*.deb)

# The package of each name, and what it must and must not hold (paths
# under /usr, as globs).
set(runtime librpl${SOVERSION})
set(packages ${runtime} librpl-dev)
set(${runtime}_holds "lib*/librpl.so.${SOVERSION}" "lib*/librpl.so.${VERSION}" "share/doc/${runtime}/copyright")
set(${runtime}_lacks "lib*/librpl.so" "include/*" "lib*/librpl_host*")
set(librpl-dev_holds "lib*/librpl.so" "include/rpl/rpl/rpl.h" "include/rpl/rpl/rpl_export.h"
    "include/rpl/rpl/rpl_version.h" "include/rpl/h/mem_alloc_sys.h" "include/rpl/host/host.h"
    "lib*/cmake/rpl/rplConfig.cmake" "lib*/pkgconfig/rpl.pc" "lib*/pkgconfig/rpl-host.pc"
    "lib*/librpl_host.so" "lib*/librpl_host.so.0" "share/doc/librpl-dev/embedding.md")
set(librpl-dev_lacks "lib*/librpl.so.${SOVERSION}" "include/rpl/rpl/rpl_file.h" "include/rpl/rpl/rpl_settings_text.h")
if(TOOL)
  list(APPEND packages rpl-toc)
  set(rpl-toc_holds "bin/rpl-toc" "share/man/man1/rpl-toc.1.gz" "share/bash-completion/completions/rpl-toc"
      "share/doc/rpl-toc/copyright")
  set(rpl-toc_lacks "lib*/*" "include/*")
endif()

set(root ${WORK_DIR}/root)
foreach(package ${packages})
  set(deb "")
  foreach(candidate ${debs})
    get_filename_component(name ${candidate} NAME)
    if(name MATCHES "^${package}_${VERSION}_[a-z0-9]+\\.deb$")
      set(deb ${candidate})
    endif()
  endforeach()
  if(NOT deb)
    message(FATAL_ERROR "cpack made no ${package}_${VERSION}_*.deb (made: ${debs})")
  endif()
  step("dpkg-deb --field ${package}" ${DPKG_DEB} --field ${deb} Package Version Depends)
  message(STATUS "${package}:\n${step_output}")
  if(NOT step_output MATCHES "Package: ${package}\nVersion: ${VERSION}\n")
    message(FATAL_ERROR "${deb} says:\n${step_output}")
  endif()
  if(package STREQUAL "librpl-dev" AND NOT step_output MATCHES "Depends: [^\n]*${runtime} \\(= ${VERSION}\\)")
    message(FATAL_ERROR "librpl-dev does not depend on ${runtime} of its own version")
  endif()
  if(package STREQUAL "rpl-toc" AND NOT step_output MATCHES "Depends: [^\n]*${runtime}")
    message(FATAL_ERROR "rpl-toc does not depend on ${runtime}")
  endif()

  # The contents, as paths below /usr.
  step("dpkg-deb --contents ${package}" ${DPKG_DEB} --contents ${deb})
  string(REGEX MATCHALL "\\./usr/[^\n ]*" paths "${step_output}")
  list(TRANSFORM paths REPLACE "^\\./usr/" "")
  foreach(pattern ${${package}_holds})
    string(REPLACE "*" "[^/]*" regex "^${pattern}$")
    string(REPLACE "." "\\." regex "${regex}")
    set(matched ${paths})
    list(FILTER matched INCLUDE REGEX "${regex}")
    if(NOT matched)
      message(FATAL_ERROR "${package} holds no /usr/${pattern}:\n${step_output}")
    endif()
  endforeach()
  foreach(pattern ${${package}_lacks})
    string(REPLACE "." "\\." regex "^${pattern}$")
    string(REPLACE "*" "[^ ]*" regex "${regex}")
    set(matched ${paths})
    list(FILTER matched INCLUDE REGEX "${regex}")
    list(FILTER matched EXCLUDE REGEX "/$")
    if(matched)
      message(FATAL_ERROR "${package} holds ${matched}, which belongs elsewhere")
    endif()
  endforeach()

  step("dpkg -x ${package}" ${DPKG_DEB} -x ${deb} ${root})
  list(APPEND checked_debs ${deb})
endforeach()

# Debian's checks: an error fails, warnings are shown.
if(LINTIAN)
  execute_process(COMMAND ${LINTIAN} --no-tag-display-limit ${checked_debs}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  message(STATUS "lintian:\n${out}${err}")
  if(out MATCHES "(^|\n)E: ")
    message(FATAL_ERROR "lintian found errors in the packages")
  endif()
else()
  message(STATUS "lintian is not installed: Debian's own checks were skipped")
endif()

# The embedding example against the installed root, with CMake and with
# pkg-config, its output compared as the install test does.
set(prefix ${root}/usr)
set(embed_build ${WORK_DIR}/embed-cmake)
step("configure the example" ${CMAKE_COMMAND} -S ${EMBED_SOURCE} -B ${embed_build} -DCMAKE_BUILD_TYPE=Release
     -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
     -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
file(STRINGS ${embed_build}/CMakeCache.txt rpl_dir REGEX "^rpl_DIR:")
if(NOT rpl_dir MATCHES "=${prefix}/")
  message(FATAL_ERROR "the example did not take the package from the installed root: ${rpl_dir}")
endif()
step("build the example" ${CMAKE_COMMAND} --build ${embed_build})

check_embed(cmake ${embed_build}/embed)

if(PKG_CONFIG)
  file(GLOB pc_dir ${prefix}/lib/pkgconfig ${prefix}/lib/*/pkgconfig)
  set(pkg_config ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pc_dir} ${PKG_CONFIG})
  step("pkg-config --cflags --libs" ${pkg_config} --cflags --libs rpl rpl-host)
  string(STRIP "${step_output}" flags)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  file(GLOB so ${prefix}/lib/librpl.so ${prefix}/lib/*/librpl.so)
  get_filename_component(so_dir "${so}" DIRECTORY)
  step("compile with pkg-config's flags" ${CXX_COMPILER} -std=c++17 ${EMBED_SOURCE}/main.cpp ${flags}
       -Wl,-rpath,${so_dir} -o ${WORK_DIR}/embed-pkg-config)
  check_embed(pkg-config ${WORK_DIR}/embed-pkg-config)
endif()

# The installed tool runs with the installed library alone.
if(TOOL)
  file(GLOB so ${prefix}/lib/librpl.so.${SOVERSION} ${prefix}/lib/*/librpl.so.${SOVERSION})
  get_filename_component(so_dir "${so}" DIRECTORY)
  step("the installed rpl-toc --version" ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${so_dir}
       ${prefix}/bin/rpl-toc --version)
  if(NOT step_output MATCHES "${VERSION}")
    message(FATAL_ERROR "the installed rpl-toc --version printed ${step_output}")
  endif()
  execute_process(COMMAND ldd ${prefix}/bin/rpl-toc OUTPUT_VARIABLE ldd_out)
  if(ldd_out MATCHES "librpl_host")
    message(FATAL_ERROR "the installed rpl-toc needs librpl_host, which only librpl-dev carries:\n${ldd_out}")
  endif()
endif()
message(STATUS "packages ${packages} checked: contents, installation, the example built against them")
