// `rpl-toc view`: the viewer's local web server. It listens on 127.0.0.1
// only, hands every request to ViewHandler and serves until SIGINT or
// SIGTERM.
#ifndef TOOLS_VIEW_SERVER_H
#define TOOLS_VIEW_SERVER_H

#include <string>

#include "tools/commands.h"

namespace rpl_toc {

struct ViewOptions {
    int port = 0;               // 0: a free port
    bool open_browser = true;  // xdg-open the address when there is a display
};

// 128 random bits from the system's random source, as 32 hex digits.
// Throws CommandError (kExitFailure) when the source cannot be read.
std::string new_session_token();

// Prints "rpl-toc: viewing REPORT at http://127.0.0.1:PORT/?token=TOKEN",
// serves until SIGINT or SIGTERM and returns kExitOk. Throws CommandError
// (kExitError) when it cannot listen on the port.
int run_view(Session& session, const std::string& report, const ViewOptions& options);

}  // namespace rpl_toc

#endif
