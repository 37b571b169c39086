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
#include "tools/view/view_http.h"

namespace rpl_toc {

// Request bodies of POST /api/mark and /api/set beyond this size are refused.
constexpr std::size_t kMaxRequestBodyBytes = 64 * 1024;
// The most paths one /api/mark may list, repeats counted.
constexpr std::size_t kMaxMarkPaths = 10000;

// What the library is busy with, for the requests that do not wait for it
// (GET /api/progress, and the 503 of a request that finds it busy). Every
// member function may be called from any thread.
class Activity {
public:
    // A change starts: `what` in a few words ("marking ||R||F"), and the
    // saves it is expected to make.
    void begin(const std::string& what, std::size_t expected_saves);
    // Saves made so far, of how many (a mark's progress callback).
    void advance(std::size_t written, std::size_t total);
    // Runs `hook` at the end of each advance, on the thread of the change:
    // a test's way to act at a known point of a change. Set it while no
    // change runs.
    void on_advance(std::function<void(std::size_t written, std::size_t total)> hook);
    void end();
    // {"format", "busy": false} or {"format", "busy": true, "what",
    // "expected_saves", "saves_done", "elapsed_ms"}.
    Json document() const;
    // "busy: marking ||R||F, 4,041 saves expected, 2.3 s so far".
    std::string sentence() const;
    // Whether a change runs, and how many have begun: two equal answers
    // around a look at the file mean no change of this viewer ran between.
    std::pair<bool, std::uint64_t> state() const;

private:
    mutable std::mutex m_lock;
    bool m_busy = false;
    std::string m_what;
    std::size_t m_expected = 0;
    std::size_t m_done = 0;
    std::uint64_t m_begun = 0;
    std::chrono::steady_clock::time_point m_start;
    std::function<void(std::size_t, std::size_t)> m_on_advance;
};

HttpResponse api_toc(Session& session);
// ?path=P: one SECTION; 404 when no section has that path.
HttpResponse api_section(Session& session, const HttpArguments& arguments);
// ?path=P: {"path": the next or previous section that is not a folder, or null}.
HttpResponse api_step(Session& session, const HttpArguments& arguments, bool forward);
// {"paths": [...], "marked": bool}: marks or unmarks each, in order.
// Answers what the change touched (change_document); when another program
// changed the settings file since this session last read it, the TOC is
// built again from the file first, and when another program saved it while
// the change ran, after; the answer says so.
HttpResponse api_mark(Session& session, const std::string& body, Activity& activity);
// {"path", "orientation", "chart_type", "widths", "aligns", "orders"}: the
// change of `rpl-toc set`, refused in the page's words.
HttpResponse api_set(Session& session, const std::string& body, Activity& activity);
HttpResponse api_settings(Session& session);
// Builds the TOC again from the report and the settings file as it now is.
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
