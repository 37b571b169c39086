# Compares the binary interface of a built librpl with the baseline dump
# kept in the repository for its SONAME (abi/<SONAME>.dump), with Debian's
# abi-dumper and abi-compliance-checker. A break (an incompatible change to
# a class's layout, a removed or changed symbol, a changed vtable) fails the
# check unless the SONAME announces it: a new SONAME has no baseline yet,
# and the check then asks for one. Additions pass.
#
#   cmake -DLIBRARY=<librpl.so.N> -DBASELINE_DIR=<abi/> -DWORK_DIR=<scratch> -DVERSION=<x.y.z>
#         -DREADELF=<readelf> [-DABI_DUMPER=<abi-dumper>] [-DABI_CHECKER=<abi-compliance-checker>]
#         [-DUPDATE=ON] [-DPLANT=ON -DCXX=<compiler> -DCXX_FLAGS=<flags> -DSOURCE_DIR=<repository>
#         -DINCLUDE_DIR=<generated include dir> -DVERSION_SCRIPT=<librpl.map> -DSOURCES=<a|b|c>]
#         -P check_abi.cmake
#
# UPDATE=ON writes the baseline for the library's SONAME instead.
# PLANT=ON first builds a copy of the library with a field added to a
# public class (RPL_REPORT_SECTION) and checks that copy: the check must
# then fail, which the test of the check itself expects.
#
# Without the two tools it prints "ABI check skipped" (the test is then
# skipped): scripts/install-deps.sh test installs them.

foreach(var LIBRARY BASELINE_DIR WORK_DIR VERSION READELF)
  if(NOT ${var})
    message(FATAL_ERROR "${var} is not set")
  endif()
endforeach()
if(NOT ABI_DUMPER OR NOT ABI_CHECKER)
  message(STATUS "ABI check skipped: abi-dumper and abi-compliance-checker are not installed "
                 "(scripts/install-deps.sh test installs them)")
  return()
endif()

include(${CMAKE_CURRENT_LIST_DIR}/check_steps.cmake)

# The SONAME the library carries, e.g. librpl.so.1.
function(soname_of library result)
  execute_process(COMMAND ${READELF} -d ${library} OUTPUT_VARIABLE dynamic RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0 OR NOT dynamic MATCHES "\\(SONAME\\)[^\n]*\\[([^]\n]*)\\]")
    message(FATAL_ERROR "${library} has no SONAME")
  endif()
  set(${result} ${CMAKE_MATCH_1} PARENT_SCOPE)
endfunction()

# A copy of the sources with one int added at the end of the public fields
# of RPL_REPORT_SECTION, the base of every section kind, built as the
# library is (the baseline's flags, hidden visibility, the version script,
# the same SONAME).
function(build_planted_break soname result)
  foreach(var CXX CXX_FLAGS SOURCE_DIR INCLUDE_DIR VERSION_SCRIPT SOURCES)
    if(NOT ${var})
      message(FATAL_ERROR "${var} is not set")
    endif()
  endforeach()
  set(copy ${WORK_DIR}/planted)
  file(REMOVE_RECURSE ${copy})
  file(COPY ${SOURCE_DIR}/rpl ${SOURCE_DIR}/h DESTINATION ${copy})
  set(header ${copy}/rpl/rpl_report_section.h)
  file(READ ${header} text)
  set(field "    bool m_settings_changed;")
  string(FIND "${text}" "${field}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "the planted break found no \"${field}\" in rpl_report_section.h")
  endif()
  string(REPLACE "${field}" "int m_planted_field;\n${field}" text "${text}")
  file(WRITE ${header} "${text}")
  string(REPLACE "|" ";" sources "${SOURCES}")
  list(TRANSFORM sources PREPEND ${copy}/)
  separate_arguments(flags UNIX_COMMAND "${CXX_FLAGS}")
  step("building the library with a planted field" ${CXX} -std=c++17 ${flags} -shared -fPIC
       -fvisibility=hidden -fvisibility-inlines-hidden -I${copy} -I${INCLUDE_DIR} ${sources}
       -Wl,--version-script=${VERSION_SCRIPT} -Wl,-soname,${soname} -o ${copy}/${soname})
  set(${result} ${copy}/${soname} PARENT_SCOPE)
endfunction()

# The problems of an XML report, one line each: "TYPE or SYMBOL: problem".
function(problems_of report result)
  file(READ ${report} xml)
  string(REGEX MATCHALL "<(type|symbol) name=\"[^\"]*\">|<problem id=\"[^\"]*\">" items "${xml}")
  set(lines "")
  set(owner "")
  foreach(item ${items})
    if(item MATCHES "^<(type|symbol) name=\"([^\"]*)\">")
      set(owner "${CMAKE_MATCH_2}")
    elseif(item MATCHES "problem id=\"([^\"]*)\"")
      string(APPEND lines "  ${owner}: ${CMAKE_MATCH_1}\n")
    endif()
  endforeach()
  set(${result} "${lines}" PARENT_SCOPE)
endfunction()

file(MAKE_DIRECTORY ${WORK_DIR})
soname_of(${LIBRARY} soname)
if(PLANT)
  build_planted_break(${soname} LIBRARY)
endif()

execute_process(COMMAND ${READELF} -S ${LIBRARY} OUTPUT_VARIABLE sections)
if(NOT sections MATCHES "\\.debug_info")
  message(FATAL_ERROR "${LIBRARY} has no debug information, which abi-dumper needs")
endif()

set(baseline ${BASELINE_DIR}/${soname}.dump)
set(current ${WORK_DIR}/${soname}.dump)
step("abi-dumper" ${ABI_DUMPER} ${LIBRARY} -o ${current} -lver ${VERSION})
if(UPDATE)
  file(COPY_FILE ${current} ${baseline})
  message(STATUS "baseline of ${soname} written: ${baseline}")
  return()
endif()
if(NOT EXISTS ${baseline})
  message(FATAL_ERROR "no baseline for ${soname}: a new SONAME needs one (${baseline}). Make it from the "
                      "release's library with `cmake --build <build> --target update-abi-baseline` and commit it.")
endif()

# Binary and source compatibility, each in a report of its own. The tool
# answers 1 for an incompatible change, other codes for its own failures.
set(verdict "")
set(problems "")
foreach(kind binary source)
  set(report ${WORK_DIR}/${kind}.xml)
  file(REMOVE ${report})
  execute_process(COMMAND ${ABI_CHECKER} -l librpl -old ${baseline} -new ${current} -${kind}
                          -report-format xml -report-path ${report}
    WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT EXISTS ${report} OR NOT (rc EQUAL 0 OR rc EQUAL 1))
    message(FATAL_ERROR "abi-compliance-checker -${kind} failed (${rc}):\n${out}\n${err}")
  endif()
  string(REGEX MATCH "[A-Za-z]+ compatibility: [^\n]*" line "${out}")
  string(APPEND verdict "  ${line}\n")
  if(rc EQUAL 1)
    problems_of(${report} found)
    string(APPEND problems "${kind} problems:\n${found}")
  endif()
endforeach()
if(NOT problems)
  message(STATUS "${LIBRARY} keeps the interface of ${soname}:\n${verdict}")
  return()
endif()
message(FATAL_ERROR "the interface of ${soname} broke:\n${verdict}${problems}"
  "A break needs a new SONAME: raise the major version in CMakeLists.txt (docs/abi.md), or undo the change.")
