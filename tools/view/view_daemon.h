// The viewer's HTTP server: libmicrohttpd's, event-driven, with its bounds.
// libmicrohttpd owns the connections, parses each request and enforces the
// limits it has (connections at once and per address, memory per
// connection, idle time); this file adds the two it lacks (a connection's
// whole lifetime, its number of requests), hands every request to
// ViewHandler and answers. The handler runs on a few worker threads, so
// that a long change never holds the thread that serves every connection.
#ifndef TOOLS_VIEW_VIEW_DAEMON_H
#define TOOLS_VIEW_VIEW_DAEMON_H

#include <chrono>
#include <cstddef>
#include <memory>

#include "tools/view/view_handler.h"

namespace rpl_toc {

struct ServerBounds {
    // Connections held at once, and from one address. Every client of the
    // viewer is local, and one local user can take any 127.x.y.z, so the
    // limit per address only keeps one address from taking all of them.
    unsigned connections = 4000;
    unsigned connections_per_address = 3000;
    // Memory of one connection: its header lines and its read buffer. A
    // request whose header lines do not fit is refused (431) and its
    // connection closed, so all connections together hold at most
    // connections × connection_memory.
    std::size_t connection_memory = 16 * 1024;
    // A connection that sends nothing for this long is closed.
    unsigned idle_seconds = 2;
    // A connection is closed this long after it opened, whatever it sends,
    // unless the handler is making its answer (a long change). The reaper
    // looks every `reap_every`.
    std::chrono::milliseconds lifetime{10000};
    std::chrono::milliseconds reap_every{200};
    // After this many requests the answer closes the connection.
    std::size_t requests_per_connection = 100;
    // Connections the kernel completes before they are accepted, so that a
    // burst waits rather than being refused.
    unsigned backlog = 1024;
    // Threads that run the handler.
    std::size_t workers = 4;
    // Event streams open at once (each needs a ticket, which only a request
    // with the token gets); a new one ends the oldest.
    std::size_t streams = 8;
};

class ViewDaemon {
public:
    ViewDaemon();
    ~ViewDaemon();  // stop()s
    ViewDaemon(const ViewDaemon&) = delete;
    ViewDaemon& operator=(const ViewDaemon&) = delete;

    // Listens on 127.0.0.1:port (0: a free port); false when that port
    // cannot be had. Nothing is served before start().
    bool listen(int port);
    // The port listened on, after listen().
    int port() const;

    // Serves every request through `handler`, which must outlive the
    // daemon, within `bounds`. False when libmicrohttpd cannot start.
    bool start(ViewHandler& handler, const ServerBounds& bounds = ServerBounds());

    // Stops accepting, lets the handler finish the requests it runs and
    // answers them, then closes every connection.
    void stop();

private:
    struct State;
    std::unique_ptr<State> m_state;  // owned
};

}  // namespace rpl_toc

#endif
