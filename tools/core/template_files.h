// The report writer's page templates (templates/), built into the binary:
// the HTML report file is export.html filled in with mustache. Generated
// at build time by cmake/embed_files.cmake.
#ifndef TOOLS_CORE_TEMPLATE_FILES_H
#define TOOLS_CORE_TEMPLATE_FILES_H

#include <cstddef>
#include <string>

namespace rpl_toc {

struct TemplateFile {
    const char* name;  // file name under templates/, e.g. "export.html"
    const unsigned char* data;
    std::size_t size;
};

// The file of that name, or null.
const TemplateFile* find_template_file(const std::string& name);

// The file's text; empty for a name that is not built in.
inline std::string template_text(const std::string& name) {
    const TemplateFile* file = find_template_file(name);
    return file ? std::string(reinterpret_cast<const char*>(file->data), file->size) : std::string();
}

}  // namespace rpl_toc

#endif
