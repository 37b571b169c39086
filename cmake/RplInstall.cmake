# Installation: the two libraries, every header under include/rpl/ (rpl/,
# h/, host/ and the generated rpl/rpl_version.h), a package config for
# find_package(rpl CONFIG) and pkg-config files for rpl and rpl-host.
#
# Each file belongs to one component, which is one Debian package
# (cmake/RplPackage.cmake): runtime, the library a host loads (librplN);
# dev, what a program is built against, the stand-in host among it
# (librpl-dev); tool, rpl-toc (tools/cli).
include(CMakePackageConfigHelpers)

install(TARGETS rpl EXPORT rplTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(TARGETS rpl_host EXPORT rplTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
foreach(folder rpl h host)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${folder}/ DESTINATION ${RPL_INSTALL_INCLUDEDIR}/${folder}
          COMPONENT dev FILES_MATCHING PATTERN "*.h"
          PATTERN "rpl_file.h" EXCLUDE  # the library's own file calls and reading of the settings text,
          PATTERN "rpl_settings_text.h" EXCLUDE)  # not part of its interface
endforeach()
install(FILES ${RPL_GENERATED_INCLUDEDIR}/rpl/rpl_version.h DESTINATION ${RPL_INSTALL_INCLUDEDIR}/rpl COMPONENT dev)

install(EXPORT rplTargets NAMESPACE rpl:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/rpl COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/rplConfig.cmake.in ${PROJECT_BINARY_DIR}/rplConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/rpl)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/rplConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/rplConfig.cmake ${PROJECT_BINARY_DIR}/rplConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/rpl COMPONENT dev)

# The .pc files find the prefix from their own place (${pcfiledir}), so an
# installed tree can be moved, or installed with --prefix, and still work.
file(RELATIVE_PATH RPL_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
foreach(pc rpl rpl-host)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/docs/abi.md ${PROJECT_SOURCE_DIR}/docs/embedding.md
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/librpl-dev COMPONENT dev)
