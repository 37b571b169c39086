#include "tools/view/view_bounded_server.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <optional>
#include <string>

namespace rpl_toc {
namespace {

using Clock = std::chrono::steady_clock;

// Waits until `sock` can be read from or written to (`events`), or the
// deadline passes. A hang-up or an error counts as ready: the read or write
// that follows reports it.
bool wait_until(socket_t sock, short events, Clock::time_point deadline) {
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd one = {sock, events, 0};
        int ready = poll(&one, 1, static_cast<int>(std::max<long long>(left, 0)));
        if (ready > 0) return true;
        if (ready == 0 || errno != EINTR) return false;
    }
}

void address_of(socket_t sock, bool peer, std::string& ip, int& port) {
    sockaddr_storage address = {};
    socklen_t size = sizeof address;
    int got = peer ? getpeername(sock, reinterpret_cast<sockaddr*>(&address), &size)
                   : getsockname(sock, reinterpret_cast<sockaddr*>(&address), &size);
    if (got != 0) return;
    char text[INET6_ADDRSTRLEN] = "";
    if (address.ss_family == AF_INET) {
        const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
        inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
        port = ntohs(v4.sin_port);
    } else if (address.ss_family == AF_INET6) {
        const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
        inet_ntop(AF_INET6, &v6.sin6_addr, text, sizeof text);
        port = ntohs(v6.sin6_port);
    }
    ip = text;
}

// One connection as the transport's Stream, every wait bounded by the
// current request's deadlines. Once a bound is missed, reads and writes
// fail, and the connection is to be closed.
class BoundedStream : public httplib::Stream {
public:
    BoundedStream(socket_t sock, const ServerBounds& bounds) : m_sock(sock), m_bounds(bounds) {}
    BoundedStream(const BoundedStream&) = delete;
    BoundedStream& operator=(const BoundedStream&) = delete;

    // Waits up to the idle bound for the next request to start. False when
    // none came, or when the server stops (`listener` no longer valid).
    bool wait_for_request(const std::atomic<socket_t>& listener) {
        if (m_begin < m_end) return true;  // a pipelined request already read
        const Clock::time_point idle_end = Clock::now() + m_bounds.idle;
        const auto slice = std::chrono::milliseconds(100);  // how soon a stop is noticed
        while (listener != INVALID_SOCKET) {
            Clock::time_point now = Clock::now();
            if (now >= idle_end) return false;
            if (wait_until(m_sock, POLLIN, std::min(idle_end, now + slice))) return true;
        }
        return false;
    }

    void start_request() {
        m_request_end = Clock::now() + m_bounds.request;
        m_answer_end.reset();
    }

    bool out_of_time() const { return m_out_of_time; }

    bool is_readable() const override {
        return m_begin < m_end || wait_until(m_sock, POLLIN, read_end());
    }

    bool is_writable() const override {
        return wait_until(m_sock, POLLOUT, m_answer_end.value_or(Clock::now() + m_bounds.answer));
    }

    ssize_t read(char* ptr, size_t size) override {
        if (m_out_of_time) return -1;
        m_answer_end.reset();  // what was written was an interim "100 Continue"; the answer is yet to come
        if (m_begin == m_end) {
            ssize_t got = receive();
            if (got <= 0) return got;
        }
        std::size_t n = std::min(size, m_end - m_begin);
        std::memcpy(ptr, m_buffer + m_begin, n);
        m_begin += n;
        return static_cast<ssize_t>(n);
    }

    // All of it or -1: the transport writes its header lines with one call
    // each and does not retry the rest of a short write.
    ssize_t write(const char* ptr, size_t size) override {
        if (m_out_of_time) return -1;
        if (!m_answer_end) m_answer_end = Clock::now() + m_bounds.answer;
        for (std::size_t sent = 0; sent < size;) {
            if (!wait_until(m_sock, POLLOUT, *m_answer_end)) return missed_bound();
            ssize_t n = send(m_sock, ptr + sent, size - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
            if (n < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK)) continue;
            if (n < 0) return -1;
            sent += static_cast<std::size_t>(n);
        }
        return static_cast<ssize_t>(size);
    }

    void get_remote_ip_and_port(std::string& ip, int& port) const override { address_of(m_sock, true, ip, port); }
    void get_local_ip_and_port(std::string& ip, int& port) const override { address_of(m_sock, false, ip, port); }
    socket_t socket() const override { return m_sock; }

private:
    // The next read must come by the read bound, and within the request's.
    Clock::time_point read_end() const { return std::min(Clock::now() + m_bounds.read, m_request_end); }

    ssize_t missed_bound() {
        m_out_of_time = true;
        return -1;
    }

    // Fills the empty buffer with what has arrived; 0 when the client has
    // closed, -1 on an error or a missed bound.
    ssize_t receive() {
        for (;;) {
            if (!wait_until(m_sock, POLLIN, read_end())) return missed_bound();
            ssize_t n = recv(m_sock, m_buffer, sizeof m_buffer, MSG_DONTWAIT);
            if (n < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK)) continue;
            if (n <= 0) return n;
            m_begin = 0;
            m_end = static_cast<std::size_t>(n);
            return n;
        }
    }

    const socket_t m_sock;  // not owned: the connection loop closes it
    const ServerBounds& m_bounds;  // not owned
    Clock::time_point m_request_end = Clock::now();
    std::optional<Clock::time_point> m_answer_end;  // set by the answer's first write
    bool m_out_of_time = false;
    // The transport reads a request's head one byte at a time.
    char m_buffer[4096];
    std::size_t m_begin = 0, m_end = 0;
};

}  // namespace

BoundedServer::BoundedServer(const ServerBounds& bounds) : m_bounds(bounds) {
    const std::size_t workers = bounds.workers;
    new_task_queue = [workers] { return new httplib::ThreadPool(workers); };
}

bool BoundedServer::serve() {
    // Listening again on a listening socket only changes its backlog.
    socket_t listener = svr_sock_;
    if (listener == INVALID_SOCKET || ::listen(listener, m_bounds.backlog) != 0) return false;
    return listen_after_bind();
}

bool BoundedServer::process_and_close_socket(socket_t sock) {
    bool answered = true;
    {
        BoundedStream stream(sock, m_bounds);
        bool keep_open = true;
        for (std::size_t left = m_bounds.requests_per_connection; keep_open && left > 0; --left) {
            if (!stream.wait_for_request(svr_sock_)) break;
            stream.start_request();
            bool client_closes = false;
            answered = process_request(stream, left == 1, client_closes, nullptr) && !stream.out_of_time();
            keep_open = answered && !client_closes;
        }
    }
    shutdown(sock, SHUT_RDWR);
    close(sock);
    return answered;
}

}  // namespace rpl_toc
