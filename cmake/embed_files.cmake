# Turns files (the viewer's page, the report writer's style sheets and
# templates, the report schema) into one C++ source: a byte array per file
# and a lookup by file name, returning the EmbeddedFile of
# tools/core/embedded_files.h. Run by rpl_embed_files (cmake/RplEmbed.cmake):
#   cmake -DWEB_DIR=tools/view/web -DFILES=index.html,js/main.js -DOUTPUT=find_web_file.cpp \
#         -DHEADER=tools/view/view_web.h -DFUNCTION=find_web_file -P embed_files.cmake
# Byte arrays rather than string literals: no delimiter can clash with the
# files' content, and the bytes reach the browser exactly as written.
string(REPLACE "," ";" files "${FILES}")
list(SORT files)

set(arrays "")
set(rows "")
set(index 0)
foreach(name ${files})
  file(READ ${WEB_DIR}/${name} hex HEX)
  string(LENGTH "${hex}" digits)
  math(EXPR size "${digits} / 2")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  # Sixteen bytes a line keeps the generated file readable in a diff.
  string(REGEX REPLACE "((0x..,){16})" "\\1\n    " bytes "${bytes}")
  # The final 0 keeps an empty file's array legal; it is not counted.
  string(APPEND arrays "const unsigned char kFile${index}[] = {\n    ${bytes}0};\n")
  string(APPEND rows "    {\"${name}\", kFile${index}, ${size}},\n")
  math(EXPR index "${index} + 1")
endforeach()

set(content "// Generated from ${WEB_DIR} by cmake/embed_files.cmake; do not edit.
#include \"${HEADER}\"

namespace rpl_toc {
namespace {

${arrays}
const EmbeddedFile kFiles[] = {
${rows}};

}  // namespace

const EmbeddedFile* ${FUNCTION}(const std::string& name) {
    for (const EmbeddedFile& file : kFiles)
        if (name == file.name) return &file;
    return nullptr;
}

}  // namespace rpl_toc
")

# Rewritten only when it changes, so an unchanged page rebuilds nothing.
set(old "")
if(EXISTS ${OUTPUT})
  file(READ ${OUTPUT} old)
endif()
if(NOT old STREQUAL content)
  file(WRITE ${OUTPUT} "${content}")
endif()
