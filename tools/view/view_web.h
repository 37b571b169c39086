// The viewer's page, style sheet and scripts (web/), built into the
// binary so that nothing has to be installed beside it. The table is
// generated at build time by view_embed.cmake.
#ifndef TOOLS_VIEW_VIEW_WEB_H
#define TOOLS_VIEW_VIEW_WEB_H

#include <cstddef>
#include <string>

namespace rpl_toc {

struct WebFile {
    const char* name;  // file name under web/, e.g. "index.html", "js/tree.js"
    const unsigned char* data;
    std::size_t size;
};

// The file of that name, or null. Names are compared exactly.
const WebFile* find_web_file(const std::string& name);

}  // namespace rpl_toc

#endif
