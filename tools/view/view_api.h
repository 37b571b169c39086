// The viewer's JSON interface: one function per endpoint of /api/, each
// running the operation of tools/core that `rpl-toc` runs for the same
// question and answering the same document that `rpl-toc --json` prints.
// The caller holds the lock that keeps the library to one thread at a time.
#ifndef TOOLS_VIEW_VIEW_API_H
#define TOOLS_VIEW_VIEW_API_H

#include <string>

#include "tools/core/report_writer.h"
#include "tools/core/session.h"
#include "tools/view/view_http.h"

namespace rpl_toc {

// Request bodies of POST /api/mark and /api/set beyond this size are refused.
constexpr std::size_t kMaxRequestBodyBytes = 64 * 1024;
// The most paths one /api/mark may list, repeats counted.
constexpr std::size_t kMaxMarkPaths = 10000;

HttpResponse api_toc(Session& session);
// ?path=P: one SECTION; 404 when no section has that path.
HttpResponse api_section(Session& session, const std::string& query);
// ?path=P: {"path": the next or previous section that is not a folder, or null}.
HttpResponse api_step(Session& session, const std::string& query, bool forward);
// {"paths": [...], "marked": bool}: marks or unmarks each, in order.
HttpResponse api_mark(Session& session, const std::string& body);
// {"path", "orientation", "chart_type", "widths", "aligns", "orders"}: the
// change of `rpl-toc set`, refused in the page's words.
HttpResponse api_set(Session& session, const std::string& body);
HttpResponse api_settings(Session& session);
// Builds the TOC again from the report and the settings file as it now is.
HttpResponse api_reload(Session& session);
// The marked sections as `rpl-toc export` writes them.
HttpResponse api_export(Session& session, ReportFormat format);

}  // namespace rpl_toc

#endif
