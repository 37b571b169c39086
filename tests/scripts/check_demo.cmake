# Checks that `make demo` builds the rpl-toc target alone (the test programs
# take minutes to build on two cores, the library and rpl-toc seconds), and
# that scripts/demo.sh runs to its end with the given rpl-toc.
#
#   cmake -DSOURCE_DIR=<repository> -DRPL_TOC=<rpl-toc> -DSCRATCH=<dir> -P check_demo.cmake

find_program(MAKE NAMES make gmake REQUIRED)
execute_process(COMMAND ${MAKE} --no-print-directory -n -C ${SOURCE_DIR} demo BUILD=${SCRATCH}/build
  RESULT_VARIABLE rc OUTPUT_VARIABLE plan ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "make -n demo failed (${rc}): ${err}")
endif()
string(REPLACE "\n" ";" lines "${plan}")
set(builds 0)
foreach(line IN LISTS lines)
  if(line MATCHES "cmake --build")
    math(EXPR builds "${builds} + 1")
    if(NOT line MATCHES "--target rpl-toc( |$)")
      message(FATAL_ERROR "make demo builds more than rpl-toc: ${line}")
    endif()
  endif()
endforeach()
if(builds EQUAL 0)
  message(FATAL_ERROR "make demo builds nothing:\n${plan}")
endif()

execute_process(COMMAND ${SOURCE_DIR}/scripts/demo.sh ${RPL_TOC}
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "scripts/demo.sh failed (${rc}):\n${out}\n${err}")
endif()
if(NOT out MATCHES "OUTPUT_SECTION=0")
  message(FATAL_ERROR "the demo did not end with the settings file of its unmark:\n${out}")
endif()
# With Yosys and nextpnr-ice40 the demo imports the flow it ran; without
# them it says in one line that it shows the shipped example instead.
if(NOT out MATCHES "\\$ rpl-toc import -o top.json flow/stat.json" AND
   NOT out MATCHES "demo: Yosys and nextpnr-ice40 are not installed, so this shows the shipped example")
  message(FATAL_ERROR "the demo neither imported a flow nor said why not:\n${out}")
endif()
