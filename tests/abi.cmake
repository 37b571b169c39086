# The library's interface as a promise (docs/abi.md): the symbols it
# exports are the list kept in abi/librpl.symbols, and its binary interface
# is that of the baseline dump kept for its SONAME.

# The list is that of an optimised build: unoptimised, the compiler also
# emits standard-library template code over the exported types (a vector
# of RPL_TABLE::ALIGNMENT's emplace_back, whose demangled name begins with
# its return type, RPL_...), which the version script cannot tell from the
# interface. Shipped builds are optimised; a sanitized or Debug build
# checks nothing here, as below.
if(NOT RPL_SANITIZE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  add_test(NAME exported_symbols_are_the_listed_interface
    COMMAND ${CMAKE_COMMAND} -DLIBRARY=$<TARGET_FILE:rpl> -DNM=${CMAKE_NM}
            -DLIST=${PROJECT_SOURCE_DIR}/abi/librpl.symbols
            -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_exported_symbols.cmake)
  set_tests_properties(exported_symbols_are_the_listed_interface PROPERTIES LABELS abi)
endif()
add_custom_target(update-abi-symbols
  COMMAND ${CMAKE_COMMAND} -DLIBRARY=$<TARGET_FILE:rpl> -DNM=${CMAKE_NM}
          -DLIST=${PROJECT_SOURCE_DIR}/abi/librpl.symbols -DUPDATE=ON
          -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_exported_symbols.cmake
  DEPENDS rpl
  COMMENT "Rewriting abi/librpl.symbols from the built library")

# The binary interface check reads the library's debug information, and
# compares like with like: the baseline was dumped from a RelWithDebInfo
# build (-O2 -g), and a build of another type gets a second copy of the
# library built that way, used for nothing else (dumps of differently
# optimised builds differ in details the checker takes for breaks). A
# sanitized build checks nothing here: its interface is the same sources',
# which the plain build of CI checks.
if(RPL_SANITIZE)
  return()
endif()
set(RPL_ABI_FLAGS "-O2 -g -DNDEBUG")
if(CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo" AND CMAKE_CXX_FLAGS_RELWITHDEBINFO STREQUAL RPL_ABI_FLAGS)
  set(RPL_ABI_LIBRARY rpl)
else()
  rpl_add_library(rpl_abi_debug)
  separate_arguments(abi_flags UNIX_COMMAND "${RPL_ABI_FLAGS}")
  target_compile_options(rpl_abi_debug PRIVATE ${abi_flags})
  set_target_properties(rpl_abi_debug PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/abi-debug)
  set(RPL_ABI_LIBRARY rpl_abi_debug)
endif()

find_program(RPL_ABI_DUMPER abi-dumper)
find_program(RPL_ABI_CHECKER abi-compliance-checker)
get_target_property(rpl_sources rpl SOURCES)
string(JOIN "|" rpl_sources ${rpl_sources})
set(abi_check_args
  -DLIBRARY=$<TARGET_FILE:${RPL_ABI_LIBRARY}> -DBASELINE_DIR=${PROJECT_SOURCE_DIR}/abi
  -DVERSION=${PROJECT_VERSION} -DREADELF=${CMAKE_READELF}
  -DABI_DUMPER=${RPL_ABI_DUMPER} -DABI_CHECKER=${RPL_ABI_CHECKER})

add_test(NAME binary_interface_matches_the_baseline_of_its_soname
  COMMAND ${CMAKE_COMMAND} ${abi_check_args} -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/abi-check
          -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_abi.cmake)
set_tests_properties(binary_interface_matches_the_baseline_of_its_soname PROPERTIES
  LABELS abi SKIP_REGULAR_EXPRESSION "ABI check skipped" TIMEOUT 300)

# The check itself must catch a break: a field added to a public class,
# under the same SONAME.
add_test(NAME binary_interface_check_catches_a_planted_field
  COMMAND ${CMAKE_COMMAND} ${abi_check_args} -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/abi-planted -DPLANT=ON
          -DCXX=${CMAKE_CXX_COMPILER} -DSOURCE_DIR=${PROJECT_SOURCE_DIR} -DINCLUDE_DIR=${RPL_GENERATED_INCLUDEDIR}
          -DVERSION_SCRIPT=${RPL_VERSION_SCRIPT} "-DSOURCES=${rpl_sources}" "-DCXX_FLAGS=${RPL_ABI_FLAGS}"
          -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_abi.cmake)
set_tests_properties(binary_interface_check_catches_a_planted_field PROPERTIES
  LABELS abi SKIP_REGULAR_EXPRESSION "ABI check skipped" TIMEOUT 300
  PASS_REGULAR_EXPRESSION "the interface of librpl\\.so\\.[0-9]+ broke.*RPL_REPORT_SECTION: Added_Field")

add_custom_target(update-abi-baseline
  COMMAND ${CMAKE_COMMAND} ${abi_check_args} -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/abi-baseline -DUPDATE=ON
          -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_abi.cmake
  DEPENDS ${RPL_ABI_LIBRARY}
  COMMENT "Writing the baseline dump of the built library's SONAME into abi/")
