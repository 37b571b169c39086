# Compares the dynamic symbols a library defines with the list kept in the
# repository, so a change to the interface is always a visible diff: one
# line per symbol, "TYPE NAME@@VERSION" as `nm -D --defined-only` prints
# them (mangled; `c++filt` reads them), sorted. Lines starting with "#" in
# the list are comments (kept by an update; they may hold no semicolon).
#
#   cmake -DLIBRARY=<file> -DNM=<nm> -DLIST=<file> [-DUPDATE=ON] -P check_exported_symbols.cmake
#
# With UPDATE=ON the list is rewritten from the library instead (the
# update-abi-symbols target does that for the built librpl).

foreach(var LIBRARY NM LIST)
  if(NOT ${var})
    message(FATAL_ERROR "${var} is not set")
  endif()
endforeach()

execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
  OUTPUT_VARIABLE out RESULT_VARIABLE rc ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm -D --defined-only ${LIBRARY} failed: ${err}")
endif()
string(REPLACE "\n" ";" lines "${out}")
set(found "")
foreach(line ${lines})
  # "ADDRESS TYPE NAME": the address changes with every build, so it goes.
  if(line MATCHES "^[0-9a-fA-F]+ ([A-Za-z]) (.+)$")
    list(APPEND found "${CMAKE_MATCH_1} ${CMAKE_MATCH_2}")
  endif()
endforeach()
list(SORT found)
list(LENGTH found count)

if(UPDATE)
  file(READ ${LIST} old)
  string(REGEX MATCHALL "(^|\n)#[^\n]*" comments "${old}")
  string(JOIN "" header ${comments})
  string(REGEX REPLACE "^\n" "" header "${header}")
  string(JOIN "\n" body ${found})
  file(WRITE ${LIST} "${header}\n${body}\n")
  message(STATUS "${LIST}: ${count} symbols written")
  return()
endif()

file(STRINGS ${LIST} listed REGEX "^[^#]")
list(SORT listed)
if(found STREQUAL listed)
  message(STATUS "${LIBRARY} exports the ${count} symbols of ${LIST}")
  return()
endif()

set(added ${found})
list(REMOVE_ITEM added ${listed})
set(removed ${listed})
list(REMOVE_ITEM removed ${found})
set(report "")
foreach(symbol ${removed})
  string(APPEND report "- ${symbol}\n")
endforeach()
foreach(symbol ${added})
  string(APPEND report "+ ${symbol}\n")
endforeach()
message(FATAL_ERROR "${LIBRARY} does not export what ${LIST} lists "
  "(- listed but not exported, + exported but not listed):\n${report}"
  "A change of the interface is a change of the list: read docs/abi.md, then rewrite the list with "
  "`cmake --build <build> --target update-abi-symbols` and commit it with the change.")
