# The documents of docs/ and the README hold what the code does: the JSON
# Schemas validate the examples and every --json output, and the README's
# shell blocks marked as tested run as they stand.
find_program(RPL_PYTHON3 python3 PATHS /usr/bin NO_DEFAULT_PATH)
if(TARGET rpl-toc)
  add_test(NAME json_documents_match_their_schemas
    COMMAND ${RPL_PYTHON3} ${CMAKE_CURRENT_SOURCE_DIR}/json_schemas.py $<TARGET_FILE:rpl-toc> ${PROJECT_SOURCE_DIR})
  set_tests_properties(json_documents_match_their_schemas PROPERTIES LABELS docs TIMEOUT 120)
  add_test(NAME readme_commands_do_what_the_readme_shows
    COMMAND ${RPL_PYTHON3} ${CMAKE_CURRENT_SOURCE_DIR}/readme_check.py $<TARGET_FILE:rpl-toc> ${PROJECT_SOURCE_DIR}
            ${CMAKE_CURRENT_BINARY_DIR}/readme-check)
  set_tests_properties(readme_commands_do_what_the_readme_shows PROPERTIES LABELS docs TIMEOUT 120)
endif()
