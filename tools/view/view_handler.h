// The viewer's HTTP interface as one function: a request in, a response
// out. It refuses requests that do not come from the viewer's own page
// (Host, Origin, token, content type, size), serves the built-in page and
// runs /api/ requests on the library, one at a time. The server hands it
// every request; the fuzz harness calls it directly, without sockets.
#ifndef TOOLS_VIEW_VIEW_HANDLER_H
#define TOOLS_VIEW_VIEW_HANDLER_H

#include <mutex>
#include <string>

#include "tools/core/session.h"
#include "tools/view/view_api.h"
#include "tools/view/view_http.h"

namespace rpl_toc {

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

    // The cookie that carries the token after GET /?token=TOKEN. Named for
    // the port, as a browser sends a host's cookies to all of its ports.
    std::string cookie_name() const;

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
};

}  // namespace rpl_toc

#endif
