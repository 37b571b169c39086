# rpl_embed_files(<var> DIR <dir> FILES <name>... HEADER <header> FUNCTION <function>)
# Builds the files into the binary: generates a C++ source (its path in
# <var>) holding each file under <dir> as a byte array and <function>, the
# lookup by name declared in <header> (see tools/core/embedded_files.h).
# The source is made again when a file or the script changes.
function(rpl_embed_files var)
  cmake_parse_arguments(EMBED "" "DIR;HEADER;FUNCTION" "FILES" ${ARGN})
  list(TRANSFORM EMBED_FILES PREPEND ${EMBED_DIR}/ OUTPUT_VARIABLE paths)
  list(JOIN EMBED_FILES "," names)  # one argument on the script's command line
  set(output ${CMAKE_CURRENT_BINARY_DIR}/${EMBED_FUNCTION}.cpp)
  add_custom_command(OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -DWEB_DIR=${EMBED_DIR} -DFILES=${names} -DOUTPUT=${output}
            -DHEADER=${EMBED_HEADER} -DFUNCTION=${EMBED_FUNCTION} -P ${PROJECT_SOURCE_DIR}/cmake/embed_files.cmake
    DEPENDS ${paths} ${PROJECT_SOURCE_DIR}/cmake/embed_files.cmake
    COMMENT "Embedding ${EMBED_DIR}")
  set(${var} ${output} PARENT_SCOPE)
endfunction()
