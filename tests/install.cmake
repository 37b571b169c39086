# The installed package is usable from an outside CMake project.
add_test(NAME installed_package_serves_an_outside_project
  COMMAND ${CMAKE_COMMAND}
          -DBUILD_DIR=${PROJECT_BINARY_DIR}
          -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/install-check
          -DCONSUMER_SOURCE=${CMAKE_CURRENT_SOURCE_DIR}/install_consumer
          "-DGENERATOR=${CMAKE_GENERATOR}"
          -DCXX_COMPILER=${CMAKE_CXX_COMPILER}
          "-DSANITIZE=${RPL_SANITIZE}"
          -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_install.cmake)
set_tests_properties(installed_package_serves_an_outside_project PROPERTIES LABELS install TIMEOUT 120)
