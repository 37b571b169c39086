# make demo builds only what it runs, and the demo script works with the
# rpl-toc of this build.
if(TARGET rpl-toc)
  add_test(NAME make_demo_builds_only_rpl_toc_and_runs
    COMMAND ${CMAKE_COMMAND} -DSOURCE_DIR=${PROJECT_SOURCE_DIR} -DRPL_TOC=$<TARGET_FILE:rpl-toc>
            -DSCRATCH=${CMAKE_CURRENT_BINARY_DIR}/demo-check -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_demo.cmake)
  set_tests_properties(make_demo_builds_only_rpl_toc_and_runs PROPERTIES LABELS demo TIMEOUT 120)
endif()
