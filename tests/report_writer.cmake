# The report writer's and the operations' suites call tools/core directly.
if(TARGET test_report_writer AND TARGET rpl_toc_core)
  target_link_libraries(test_report_writer PRIVATE rpl_toc_core)
  target_link_libraries(test_toc_operations PRIVATE rpl_toc_core)
  target_link_libraries(test_presentation PRIVATE rpl_toc_core)
  target_compile_definitions(test_toc_operations PRIVATE RPL_EXAMPLES_DIR="${PROJECT_SOURCE_DIR}/examples")
endif()

# The HTML export laid out by headless Chromium at 1200 and 420 pixels and
# for print; the screenshots stay in tests/screenshots/ of the build tree.
find_program(RPL_PYTHON3 python3 PATHS /usr/bin NO_DEFAULT_PATH)
if(TARGET rpl-toc)
  add_test(NAME html_export_lays_out_in_chromium
    COMMAND ${RPL_PYTHON3} ${CMAKE_CURRENT_SOURCE_DIR}/export_in_browser.py $<TARGET_FILE:rpl-toc>
            ${PROJECT_SOURCE_DIR}/examples ${CMAKE_CURRENT_BINARY_DIR}/screenshots)
  set_tests_properties(html_export_lays_out_in_chromium PROPERTIES LABELS browser TIMEOUT 180)
endif()
