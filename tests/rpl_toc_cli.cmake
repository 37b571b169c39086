# The command-line host's suite spawns the built rpl-toc on the examples.
if(TARGET test_rpl_toc_cli AND TARGET rpl-toc)
  target_compile_definitions(test_rpl_toc_cli PRIVATE
    RPL_TOC_BINARY="$<TARGET_FILE:rpl-toc>"
    RPL_EXAMPLES_DIR="${PROJECT_SOURCE_DIR}/examples"
    RPL_TOOLS_SOURCE_DIR="${PROJECT_SOURCE_DIR}/tools/cli")
  target_link_libraries(test_rpl_toc_cli PRIVATE rpl_test_rpl_toc)
  add_dependencies(test_rpl_toc_cli rpl-toc)
endif()
