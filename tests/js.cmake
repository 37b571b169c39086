# The page's scripts on their own: the model and the API client under
# node --test (Debian's nodejs; scripts/install-deps.sh test installs it).
# No framework: node:test and node:assert.
find_program(RPL_NODE node)
if(RPL_NODE)
  file(GLOB RPL_JS_TESTS ${CMAKE_CURRENT_SOURCE_DIR}/js/*.test.mjs)
  add_test(NAME viewer_scripts COMMAND ${RPL_NODE} --test ${RPL_JS_TESTS})
  set_tests_properties(viewer_scripts PROPERTIES LABELS unit)
else()
  message(WARNING "node not found: the viewer's script tests are left out (install nodejs)")
endif()
