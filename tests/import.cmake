# The import of design flows and report folders: its suites call tools/core
# directly on the recorded outputs in examples/flow/outputs and tests/data;
# a check runs the real
# flow (Yosys and nextpnr-ice40) on examples/flow and compares every
# imported number with the tools' own files.
if(TARGET test_import AND TARGET rpl_toc_core)
  foreach(suite test_import test_import_folder test_csv_reader)
    target_link_libraries(${suite} PRIVATE rpl_toc_core)
    target_compile_definitions(${suite} PRIVATE RPL_TEST_DATA_DIR="${CMAKE_CURRENT_SOURCE_DIR}/data"
      RPL_FLOW_OUTPUTS_DIR="${PROJECT_SOURCE_DIR}/examples/flow/outputs")
  endforeach()
endif()

find_program(RPL_PYTHON3 python3 PATHS /usr/bin NO_DEFAULT_PATH)
if(TARGET rpl-toc)
  add_test(NAME imported_flow_holds_the_tools_numbers
    COMMAND ${RPL_PYTHON3} ${CMAKE_CURRENT_SOURCE_DIR}/check_flow_import.py $<TARGET_FILE:rpl-toc>
            ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_BINARY_DIR}/flow-import)
  # Exit 77: Yosys or nextpnr-ice40 is not installed.
  set_tests_properties(imported_flow_holds_the_tools_numbers PROPERTIES LABELS import TIMEOUT 180 SKIP_RETURN_CODE 77)
endif()
