// The viewer's HTTP interface as one function: a request in, a response
// out. It refuses requests that do not come from the viewer's own page
// (Host, Origin, token, content type, size), serves the built-in page and
// runs /api/ requests on the library, one at a time. The server hands it
// every request; the fuzz harness calls it directly, without sockets.
#ifndef TOOLS_VIEW_VIEW_HANDLER_H
#define TOOLS_VIEW_VIEW_HANDLER_H

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "tools/core/session.h"
#include "tools/view/view_api.h"
#include "tools/view/view_events.h"
#include "tools/view/view_live.h"
#include "tools/view/view_watch.h"
#include "tools/view/view_http.h"

namespace rpl_toc {

// The most header lines one request may have; a browser sends about 20.
constexpr std::size_t kMaxHeaderLines = 64;

// The address of the event stream: opened with ?ticket=, not the token.
constexpr const char* kEventStreamPath = "/api/events";

class ViewHandler {
public:
    // `session` is not owned and must outlive the handler. `token`: the
    // session's secret. `port`: the one the server listens on, the only one
    // a request's Host may name.
    ViewHandler(Session& session, std::string token, int port);
    ViewHandler(const ViewHandler&) = delete;
    ViewHandler& operator=(const ViewHandler&) = delete;

    // May be called from several threads at once. The library serves one
    // request at a time: a request that finds a change running is answered
    // at once with 503 and what the change is; one that finds another
    // request in it waits its turn; GET /api/progress never waits.
    HttpResponse handle(const HttpRequest& request);

    // The refusals that need no body, the first that applies: a request
    // that could be read in two ways, too many header lines, a foreign
    // Host, a declared body over the limit, and under /api/ no token or a
    // foreign or empty Origin. Nullopt when the request may go on. The
    // server asks it as soon as the header lines are in, before reading a
    // body; handle() asks it too.
    std::optional<HttpResponse> refuse_head(const HttpRequest& request) const;

    // Whether the server closes the connection after an answer of this
    // status: after every refusal, so that nothing sent after a refused
    // request is read as a request of its own. A busy answer (503) is no
    // refusal.
    static bool closes_connection(int status);

    // What the pages are told without asking, and what tells it: the
    // server streams the one, a FileWatcher feeds the other.
    EventHub& events() { return m_events; }
    LiveUpdates& live() { return m_live; }
    // Starts watching the session's settings file, so that other programs'
    // saves and a change's progress reach the pages as they land; null when
    // the file's directory cannot be watched. Call it once, before serving.
    std::unique_ptr<FileWatcher> watch_settings_file();

private:
    HttpResponse route(const HttpRequest& request);
    HttpResponse page(const HttpRequest& request);
    HttpResponse api(const HttpRequest& request);
    bool is_own_address(const std::string& value, const std::string& scheme) const;
    bool own_host(const HttpRequest& request) const;
    bool own_origin(const HttpRequest& request) const;
    bool has_token(const HttpRequest& request) const;

    Session& m_session;  // not owned
    const std::string m_token;
    const int m_port;
    std::mutex m_library;  // held for every request that touches the library
    Activity m_activity;   // what the holder of m_library is doing
    EventHub m_events;
    LiveUpdates m_live;  // after what it refers to
};

}  // namespace rpl_toc

#endif
