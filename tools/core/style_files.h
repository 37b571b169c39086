// The report writer's style sheets (styles/), built into the binary: the
// HTML report file carries them inline, and the viewer serves the
// presented sections' sheet to its preview. Generated at build time by
// cmake/embed_files.cmake.
#ifndef TOOLS_CORE_STYLE_FILES_H
#define TOOLS_CORE_STYLE_FILES_H

#include <cstddef>
#include <string>

namespace rpl_toc {

struct StyleFile {
    const char* name;  // file name under styles/, e.g. "presentation.css"
    const unsigned char* data;
    std::size_t size;
};

// The file of that name, or null.
const StyleFile* find_style_file(const std::string& name);

// The file's text; empty for a name that is not built in.
inline std::string style_text(const std::string& name) {
    const StyleFile* file = find_style_file(name);
    return file ? std::string(reinterpret_cast<const char*>(file->data), file->size) : std::string();
}

}  // namespace rpl_toc

#endif
