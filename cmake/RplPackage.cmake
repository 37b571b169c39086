# Debian packages, one per install component (cmake/RplInstall.cmake):
#   librpl<SOVERSION>  runtime: librpl.so.<SOVERSION> and its full version
#   librpl-dev         dev: headers, librpl.so, the CMake package, the .pc
#                      files, the stand-in host (librpl_host) for tests,
#                      docs/abi.md and docs/embedding.md
#   rpl-toc            tool: rpl-toc, its man page and its bash completion
# `cpack -G DEB` in the build tree makes them (the packages test does, then
# installs them into a scratch root and builds the embedding example).
# The runtime package's name carries the SONAME's number, so a break gives
# a new package that installs beside the old one.
set(RPL_PACKAGE_MAINTAINER "RPL developers <rpl-developers@rpl.example.org>" CACHE STRING
  "The Maintainer field of the Debian packages")
set(RPL_PACKAGE_DIR ${PROJECT_BINARY_DIR}/package)

# Every package carries /usr/share/doc/<package>/ with a copyright file and
# a compressed changelog, as Debian's policy asks.
function(rpl_package_docs component package)
  set(dir ${RPL_PACKAGE_DIR}/${package})
  file(MAKE_DIRECTORY ${dir})
  file(WRITE ${dir}/copyright
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: rpl
Comment: built from the rpl repository with CPack.

Files: *
Copyright: the RPL developers
License: unstated
 The repository states no licence.
")
  file(WRITE ${dir}/changelog.Debian
"${package} (${PROJECT_VERSION}) unstable; urgency=medium

  * Release ${PROJECT_VERSION}: SONAME librpl.so.${RPL_SOVERSION}.

 -- ${RPL_PACKAGE_MAINTAINER}  Mon, 23 Nov 2026 00:00:00 +0000
")
  file(ARCHIVE_CREATE OUTPUT ${dir}/changelog.Debian.gz PATHS ${dir}/changelog.Debian
       FORMAT raw COMPRESSION GZip COMPRESSION_LEVEL 9)
  install(FILES ${dir}/copyright ${dir}/changelog.Debian.gz
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
endfunction()

set(RPL_RUNTIME_PACKAGE librpl${RPL_SOVERSION})
rpl_package_docs(runtime ${RPL_RUNTIME_PACKAGE})
rpl_package_docs(dev librpl-dev)
if(TARGET rpl-toc)
  rpl_package_docs(tool rpl-toc)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME rpl)
set(CPACK_PACKAGE_VENDOR "RPL developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${RPL_PACKAGE_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev)
if(TARGET rpl-toc)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://localhost/rpl")
# Dependencies on the system's libraries from the binaries themselves.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${RPL_RUNTIME_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "report-presentation library: tables of contents of a design tool's reports
librpl is loaded into a design tool's process and turns a report of the
tool's report database into a table of contents whose sections can be
found, stepped through and marked for output; the layout choices persist
in one settings file per report. The host services it calls (report
database, messages, memory manager, files) come from the loading process.")
# A shlibs file and the ldconfig trigger for every package with a shared
# library, so packages built against it depend on it.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
file(WRITE ${RPL_PACKAGE_DIR}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${RPL_PACKAGE_DIR}/triggers)
set(CPACK_DEBIAN_DEV_PACKAGE_CONTROL_EXTRA ${RPL_PACKAGE_DIR}/triggers)

set(CPACK_DEBIAN_DEV_PACKAGE_NAME librpl-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${RPL_RUNTIME_PACKAGE} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEV_DESCRIPTION "report-presentation library: development files
Headers, the CMake package (find_package(rpl)), pkg-config files, and the
stand-in host (librpl_host: report database, messages, memory manager and
files as a design tool would provide them) for building and testing a
program against librpl without the design tool. docs/embedding.md tells a
host's authors what the library asks of them.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME rpl-toc)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${RPL_RUNTIME_PACKAGE} (>= ${PROJECT_VERSION})")
# librpl.so.N is found beside the staged package, not among the system's:
# the dependency on it is the line above.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_COMPONENT_TOOL_DESCRIPTION "table of contents of a design tool's report, on the command line
rpl-toc reads a report file (JSON), builds its table of contents with
librpl, and finds, steps through, marks and exports its sections; it
imports a design flow's outputs and serves a viewer to a browser.")

include(CPack)
