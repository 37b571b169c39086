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

// The same, appended to `out`, for a template whose top level holds the
// tag {{{`slot`}}}: `part` goes there as it is, without passing through
// mustache, which copies what it fills in several times over. The
// writer's largest pieces (a table's rows, a report's sections) take this
// road.
void append_filled(std::string& out, const std::string& name, const TemplateData& data, const std::string& slot,
                   const std::string& part);

}  // namespace rpl_toc

#endif
