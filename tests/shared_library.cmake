# librpl.so links no host library: the host's services stay undefined in it
# and are resolved from the process that loads it.
add_test(NAME shared_library_leaves_host_services_undefined
  COMMAND ${CMAKE_COMMAND} -DLIBRARY=$<TARGET_FILE:rpl> -DREADELF=${CMAKE_READELF} -DNM=${CMAKE_NM}
          -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_shared_library.cmake)
set_tests_properties(shared_library_leaves_host_services_undefined PROPERTIES LABELS shared-library)

# The check itself must notice a binary that links the stand-in host and
# calls its administration.
add_test(NAME shared_library_check_spots_a_host_link
  COMMAND ${CMAKE_COMMAND} -DLIBRARY=$<TARGET_FILE:test_host> -DREADELF=${CMAKE_READELF}
          -DNM=${CMAKE_NM} -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_shared_library.cmake)
set_tests_properties(shared_library_check_spots_a_host_link PROPERTIES
  LABELS shared-library
  PASS_REGULAR_EXPRESSION "host-library-needed: librpl_host.*host-administration-called: host_")
