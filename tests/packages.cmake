# The Debian packages (cmake/RplPackage.cmake) install and serve: their
# contents, lintian when Debian has it, and the embedding example built
# against them in a scratch root. Not in a sanitized build, whose library
# no package would carry.
if(RPL_SANITIZE)
  return()
endif()
find_program(RPL_LINTIAN lintian)
find_program(RPL_PKG_CONFIG_FOR_PACKAGES pkg-config)
set(rpl_tool_packaged OFF)
if(TARGET rpl-toc)
  set(rpl_tool_packaged ON)
endif()
add_test(NAME debian_packages_install_and_serve_the_example
  COMMAND ${CMAKE_COMMAND}
          -DBUILD_DIR=${PROJECT_BINARY_DIR}
          -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/packages-check
          -DVERSION=${PROJECT_VERSION}
          -DSOVERSION=${RPL_SOVERSION}
          -DEMBED_SOURCE=${PROJECT_SOURCE_DIR}/examples/embed
          -DEMBED_EXPECTED=${CMAKE_CURRENT_SOURCE_DIR}/install_consumer/embed_output.txt
          -DCPACK=${CMAKE_CPACK_COMMAND}
          -DLINTIAN=${RPL_LINTIAN}
          -DPKG_CONFIG=${RPL_PKG_CONFIG_FOR_PACKAGES}
          -DCXX_COMPILER=${CMAKE_CXX_COMPILER}
          -DTOOL=${rpl_tool_packaged}
          -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_packages.cmake)
set_tests_properties(debian_packages_install_and_serve_the_example PROPERTIES LABELS "install;package" TIMEOUT 600)
