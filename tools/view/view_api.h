// The viewer's JSON interface: one function per endpoint of /api/, each
// running the operation of tools/core that `rpl-toc` runs for the same
// question and answering the same document that `rpl-toc --json` prints.
// The caller holds the lock that keeps the library to one thread at a time,
// but for api_progress.
#ifndef TOOLS_VIEW_VIEW_API_H
#define TOOLS_VIEW_VIEW_API_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <utility>
#include <mutex>
#include <string>

#include "tools/core/report_writer.h"
#include "tools/core/session.h"
#include "tools/view/view_activity.h"
#include "tools/view/view_events.h"
#include "tools/view/view_http.h"

namespace rpl_toc {

// Request bodies of POST /api/mark and /api/set beyond this size are refused.
constexpr std::size_t kMaxRequestBodyBytes = 64 * 1024;
// The most paths one /api/mark may list, repeats counted.
constexpr std::size_t kMaxMarkPaths = 10000;

HttpResponse api_toc(Session& session);
// ?path=P: one SECTION; 404 when no section has that path.
HttpResponse api_section(Session& session, const HttpArguments& arguments);
// ?path=P: {"path": the next or previous section that is not a folder, or null}.
HttpResponse api_step(Session& session, const HttpArguments& arguments, bool forward);
// {"paths": [...], "marked": bool}: marks or unmarks each, in order.
// Answers what the change touched (change_document) with "change" (its
// number), "settings" (the file as it now is, block by block, the blocks
// the change rewrote marked) and, when it was not saved, "unsaved" (why).
// When another program changed the settings file since this session last
// read it, the TOC is built again from the file first, and when another
// program saved it while the change ran, after; the answer then has
// "reloaded": true and a "notice" that says what changed. The other pages
// are sent the answer as the event "changed".
HttpResponse api_mark(Session& session, const std::string& body, Activity& activity, EventHub& events);
// {"path", "orientation", "chart_type", "widths", "aligns", "orders"}: the
// change of `rpl-toc set`, refused in the page's words, answered as a mark.
HttpResponse api_set(Session& session, const std::string& body, Activity& activity, EventHub& events);
// {"format", "settings_file", "exists", "readable", "blocks"}: the settings
// file as the library reads it now, block by block.
HttpResponse api_settings(Session& session);
// {"format", "toc", "settings", "notice"}: builds the TOC again from the
// report and the settings file as it now is; "notice" when another program
// had changed the file.
HttpResponse api_reload(Session& session);
// Without the library: what it is busy with, and whether another program
// changed the settings file ("outside_change"). The caller does not hold
// the library's lock.
HttpResponse api_progress(const Session& session, const Activity& activity);
// The marked sections as `rpl-toc export` writes them.
HttpResponse api_export(Session& session, ReportFormat format);

// Rows a preview draws unless it asks for another number, and the most it
// may ask for: a table of any length shows its start at once.
constexpr std::size_t kPreviewRows = 200;
constexpr std::size_t kMaxPreviewRows = 5000;

// {"path", "orientation", "chart_type", "widths", "aligns", "orders",
// "rows"}: the section as the export draws it, with the values of /api/set
// that are given put over its settings, and at most "rows" rows. Nothing
// is checked against the library's rules and nothing is saved.
HttpResponse api_preview(Session& session, const std::string& body);

}  // namespace rpl_toc

#endif
