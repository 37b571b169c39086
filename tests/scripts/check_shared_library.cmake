# Checks that a shared library leaves the host's services to the process
# that loads it: no NEEDED entry names the stand-in host, the services the
# library calls are listed among its undefined dynamic symbols, and none of
# them is the stand-in's own administration (host/host.h).
#
#   cmake -DLIBRARY=<file> -DREADELF=<readelf> -DNM=<nm> -P check_shared_library.cmake

foreach(var LIBRARY READELF NM)
  if(NOT ${var})
    message(FATAL_ERROR "${var} is not set")
  endif()
endforeach()

execute_process(COMMAND ${READELF} -d ${LIBRARY}
  OUTPUT_VARIABLE dynamic RESULT_VARIABLE rc ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "readelf -d ${LIBRARY} failed: ${err}")
endif()
string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*\\[[^]\n]*\\]" needed_lines "${dynamic}")
if(NOT needed_lines)
  message(FATAL_ERROR "readelf found no NEEDED entry in ${LIBRARY}; is it a shared object?")
endif()
set(failures "")
foreach(line ${needed_lines})
  string(REGEX REPLACE ".*\\[([^]]*)\\]" "\\1" needed "${line}")
  if(needed MATCHES "rpl_host")
    message(STATUS "host-library-needed: ${needed}")
    list(APPEND failures "NEEDED ${needed} names the host library; the host's services must stay undefined")
  endif()
  message(STATUS "NEEDED ${needed}")
endforeach()

execute_process(COMMAND ${NM} -DC --undefined-only ${LIBRARY}
  OUTPUT_VARIABLE undefined RESULT_VARIABLE rc ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm -DC --undefined-only ${LIBRARY} failed: ${err}")
endif()

# One service of each kind the library calls: memory manager, report
# database, messages, files and paths, conversions.
set(services
  "MEM_MANAGER::new_wrapper("
  "MEM_MANAGER::delete_wrapper("
  "MEM_INITIALIZER::MEM_INITIALIZER("
  "DBMUI_MANAGER::get_dbmui_manager("
  "DBMUI_MANAGER::get_rdb_report("
  "DBMUI_MANAGER::unget_rdb_report("
  "RDB_REPORT::get_main_folder("
  "MSG_INTERNAL_ERROR::report("
  "MSG_BASE::fill_args("
  "msg_local_vdebug("
  "rdb_make_report_key("
  "rdb_report_type_to_string("
  "gen_get_db_dir_path("
  "FIO_FILE_SYSTEM::exists("
  "gen_local_atoi(")
# The stand-in's administration is for tests and tools, never the library.
string(REGEX MATCHALL " U (host_[A-Za-z_]*|fio_extension_text)\\(" administration "${undefined}")
if(administration)
  string(REGEX REPLACE " U ([^(]*)\\(" "\\1" administration "${administration}")
  message(STATUS "host-administration-called: ${administration}")
  list(APPEND failures "calls the stand-in's administration: ${administration}")
endif()

set(missing "")
foreach(service ${services})
  string(FIND "${undefined}" " U ${service}" at)
  if(at EQUAL -1)
    list(APPEND missing "${service}")
  endif()
endforeach()
if(missing)
  list(APPEND failures "does not import these host services (defined inside, or not used): ${missing}")
endif()
if(failures)
  message(FATAL_ERROR "${LIBRARY}: ${failures}")
endif()
list(LENGTH services count)
message(STATUS "${count} host services are undefined in ${LIBRARY}, as they should be")
