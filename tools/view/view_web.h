// The viewer's page, style sheet and scripts (web/), built into the
// binary so that nothing has to be installed beside it.
#ifndef TOOLS_VIEW_VIEW_WEB_H
#define TOOLS_VIEW_VIEW_WEB_H

#include <string>

#include "tools/core/embedded_files.h"

namespace rpl_toc {

// The file of that name under web/, e.g. "index.html", "js/tree.js", or
// null. Names are compared exactly.
const EmbeddedFile* find_web_file(const std::string& name);

}  // namespace rpl_toc

#endif
