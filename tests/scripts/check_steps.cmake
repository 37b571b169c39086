# The steps the install, package and ABI checks share. Include it after
# WORK_DIR and EMBED_EXPECTED are set (check_embed reads them).

# Runs one step; stops with its output when it fails.
function(step name)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${name} failed (${rc}):\n${out}\n${err}")
  endif()
  set(step_output "${out}" PARENT_SCOPE)
endfunction()

# Runs the embedding example and compares its output, with its database
# directory written as DB, with the expected text.
function(check_embed name program)
  set(database ${WORK_DIR}/db-${name})
  file(MAKE_DIRECTORY ${database})
  step("run the example built with ${name}" ${program} ${database})
  string(REPLACE "${database}" "DB" output "${step_output}")
  file(READ ${EMBED_EXPECTED} expected)
  if(NOT output STREQUAL expected)
    message(FATAL_ERROR "the example built with ${name} printed:\n${output}\nexpected:\n${expected}")
  endif()
  # A directory that is not there is refused before anything is built.
  execute_process(COMMAND ${program} ${WORK_DIR}/no-such-dir RESULT_VARIABLE status OUTPUT_VARIABLE out
                  ERROR_VARIABLE err)
  if(NOT status EQUAL 2 OR NOT out STREQUAL "" OR NOT err STREQUAL "embed: ${WORK_DIR}/no-such-dir: not a directory\n")
    message(FATAL_ERROR "the example given a missing directory exited ${status}, printed '${out}' and '${err}'")
  endif()
  # A save that cannot reach the file (a directory in its place) is told.
  set(blocked ${WORK_DIR}/db-${name}-blocked)
  file(MAKE_DIRECTORY ${blocked}/timing@timing.rplset)
  execute_process(COMMAND ${program} ${blocked} RESULT_VARIABLE status OUTPUT_QUIET ERROR_VARIABLE err)
  if(NOT status EQUAL 1 OR NOT err STREQUAL "embed: the settings file ${blocked}/timing@timing.rplset was not written\n")
    message(FATAL_ERROR "the example whose save failed exited ${status} and printed '${err}'")
  endif()
endfunction()
