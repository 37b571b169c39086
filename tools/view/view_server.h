// `rpl-toc view`: the viewer's local web server. It listens on 127.0.0.1
// only, hands every request to ViewHandler and serves until SIGINT or
// SIGTERM.
#ifndef TOOLS_VIEW_VIEW_SERVER_H
#define TOOLS_VIEW_VIEW_SERVER_H

#include <stdexcept>
#include <string>

#include "tools/core/session.h"

namespace rpl_toc {

struct ViewOptions {
    int port = 0;               // 0: a free port
    bool open_browser = true;  // xdg-open the address when there is a display
};

// Why the viewer could not start, in one line.
class ViewStartError : public std::runtime_error {
public:
    enum Cause { no_port, no_random_source };
    ViewStartError(Cause cause, const std::string& message) : std::runtime_error(message), m_cause(cause) {}
    Cause cause() const { return m_cause; }

private:
    Cause m_cause;
};

// 128 random bits from the system's random source, as 32 hex digits.
// Throws ViewStartError (no_random_source) when the source cannot be read.
std::string new_session_token();

// Prints "rpl-toc: viewing REPORT at http://127.0.0.1:PORT/#token=TOKEN"
// and serves until SIGINT or SIGTERM. Throws ViewStartError (no_port) when
// it cannot listen on the port.
void run_view(Session& session, const std::string& report, const ViewOptions& options);

}  // namespace rpl_toc

#endif
