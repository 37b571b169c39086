# The command-line host's suite spawns the built rpl-toc on the examples.
if(TARGET test_rpl_toc_cli AND TARGET rpl-toc)
  target_compile_definitions(test_rpl_toc_cli PRIVATE
    RPL_TOC_BINARY="$<TARGET_FILE:rpl-toc>"
    RPL_EXAMPLES_DIR="${PROJECT_SOURCE_DIR}/examples"
    RPL_DOCS_DIR="${PROJECT_SOURCE_DIR}/docs"
    RPL_TOOLS_SOURCE_DIR="${PROJECT_SOURCE_DIR}/tools/cli")
  target_link_libraries(test_rpl_toc_cli PRIVATE rpl_test_rpl_toc)
  add_dependencies(test_rpl_toc_cli rpl-toc)
endif()

# Paths printed to a pipe come back: list's paths to find, next's to next.
if(TARGET rpl-toc)
  add_test(NAME paths_printed_for_scripts_come_back
    COMMAND /bin/sh ${CMAKE_CURRENT_SOURCE_DIR}/scripts/paths_come_back.sh $<TARGET_FILE:rpl-toc>)
  set_tests_properties(paths_printed_for_scripts_come_back PROPERTIES LABELS cli TIMEOUT 60)
endif()
