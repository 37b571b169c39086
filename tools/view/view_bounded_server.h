// The viewer's HTTP server: cpp-httplib's, with the time a client may take
// bounded. The transport alone waits a while for each read of a request but
// sets no limit on the whole of it, so a few clients that send one byte now
// and then would hold every worker it has, and nobody else would get an
// answer. Here our own loop reads each connection: a request must arrive
// whole within a deadline from its first byte, a connection that sends
// nothing is closed, and there are enough workers that connections held up
// to those limits leave the others served. Parsing, routing and the answers
// stay the transport's.
#ifndef TOOLS_VIEW_VIEW_BOUNDED_SERVER_H
#define TOOLS_VIEW_VIEW_BOUNDED_SERVER_H

#include <chrono>
#include <cstddef>

#include <httplib.h>

namespace rpl_toc {

struct ServerBounds {
    // Connections served at once; more wait in a queue for a worker. A
    // worker that waits on a slow client costs a thread that sleeps.
    std::size_t workers = 128;
    // Connections the kernel completes and holds before they are accepted,
    // so that a burst is queued rather than refused (the transport's own
    // is 5).
    int backlog = 1024;
    std::chrono::milliseconds idle{2000};      // the wait for a request's first byte
    std::chrono::milliseconds read{2000};      // the wait for each further part of it
    std::chrono::milliseconds request{5000};   // the whole request, from its first byte to its body's last
    std::chrono::milliseconds answer{10000};   // sending the whole answer
    std::size_t requests_per_connection = 100;
};

// A request that misses a bound gets no answer: its connection is closed.
// The transport's own read, write and keep-alive settings are not used.
class BoundedServer : public httplib::Server {
public:
    explicit BoundedServer(const ServerBounds& bounds = ServerBounds());

    // After bind_to_port or bind_to_any_port: serves until stop(), as
    // listen_after_bind does, with the bounds' backlog. False when the
    // listening socket could not be used.
    bool serve();

private:
    // Called by the transport on a worker for each accepted connection.
    bool process_and_close_socket(socket_t sock) override;

    const ServerBounds m_bounds;
};

}  // namespace rpl_toc

#endif
