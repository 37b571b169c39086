// The HTML the report writer and the viewer's preview show is made by
// filling in the mustache templates of templates/, built into the binary.
// What goes into them is worked out in C++; the markup lives in the files.
#ifndef TOOLS_CORE_HTML_TEMPLATES_H
#define TOOLS_CORE_HTML_TEMPLATES_H

#include <string>

#include <kainjow/mustache.hpp>

namespace rpl_toc {

using TemplateData = kainjow::mustache::data;
using TemplateList = kainjow::mustache::list;

// templates/`name` filled in with `data`. A tag in two braces is escaped
// with html_escape as it is filled in, so every text of a report is; one in
// three braces takes markup made by the writer itself. Each template is
// read once per thread.
std::string fill_template(const std::string& name, const TemplateData& data);

}  // namespace rpl_toc

#endif
