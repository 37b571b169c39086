# The installed package serves an outside project in all three ways in:
# find_package(rpl CONFIG), pkg-config, and the version macros; the
# embedding example is built both ways and its output checked.
find_program(RPL_PKG_CONFIG pkg-config)
add_test(NAME installed_package_serves_an_outside_project
  COMMAND ${CMAKE_COMMAND}
          -DBUILD_DIR=${PROJECT_BINARY_DIR}
          -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/install-check
          -DVERSION_CONSUMER=${CMAKE_CURRENT_SOURCE_DIR}/install_consumer
          -DEMBED_SOURCE=${PROJECT_SOURCE_DIR}/examples/embed
          -DEMBED_EXPECTED=${CMAKE_CURRENT_SOURCE_DIR}/install_consumer/embed_output.txt
          -DVERSION=${PROJECT_VERSION}
          -DPKG_CONFIG=${RPL_PKG_CONFIG}
          "-DGENERATOR=${CMAKE_GENERATOR}"
          -DCXX_COMPILER=${CMAKE_CXX_COMPILER}
          "-DSANITIZE=${RPL_SANITIZE}"
          -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_install.cmake)
set_tests_properties(installed_package_serves_an_outside_project PROPERTIES LABELS install TIMEOUT 300)
