// Files built into the binaries at build time by cmake/embed_files.cmake,
// so that nothing has to be installed beside them: each set is a table of
// these with a lookup by file name.
#ifndef TOOLS_CORE_EMBEDDED_FILES_H
#define TOOLS_CORE_EMBEDDED_FILES_H

#include <cstddef>
#include <string>

namespace rpl_toc {

struct EmbeddedFile {
    const char* name;  // the file's name within its set, e.g. "presentation.css", "js/tree.js"
    const unsigned char* data;
    std::size_t size;

    std::string text() const { return std::string(reinterpret_cast<const char*>(data), size); }
};

// The sets of tools/core, each file looked up by its exact name; null for
// a name that is not built in.
const EmbeddedFile* find_style_file(const std::string& name);     // styles/: the presented sections' look
const EmbeddedFile* find_template_file(const std::string& name);  // templates/: the HTML the writer fills in
const EmbeddedFile* find_schema_file(const std::string& name);    // docs/report.schema.json

// A built-in style sheet's text; empty for a name that is not built in.
inline std::string style_text(const std::string& name) {
    const EmbeddedFile* file = find_style_file(name);
    return file ? file->text() : std::string();
}

}  // namespace rpl_toc

#endif
