#include "tools/view/view_daemon.h"

#include <arpa/inet.h>
#include <malloc.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include <microhttpd.h>

#include "tools/view/view_api.h"

namespace rpl_toc {
namespace {

using Clock = std::chrono::steady_clock;

// The heap is trimmed at most this often, and only when connections have
// closed since.
constexpr std::chrono::seconds kTrimEvery{1};

// Descriptors beside the connections': the listening socket, libmicrohttpd's
// epoll and wake-up, the settings file, the report, the standard streams.
constexpr rlim_t kSpareDescriptors = 64;

// Jobs run in order on a few threads. After close(), the jobs already
// queued still run, and run() refuses new ones.
class WorkQueue {
public:
    explicit WorkQueue(std::size_t threads) {
        for (std::size_t i = 0; i < threads; ++i) m_threads.emplace_back([this] { work(); });
    }
    ~WorkQueue() { close(); }
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;

    bool run(std::function<void()> job) {
        std::lock_guard<std::mutex> lock(m_lock);
        if (m_closed) return false;
        m_jobs.push_back(std::move(job));
        m_wake.notify_one();
        return true;
    }

    void close() {
        {
            std::lock_guard<std::mutex> lock(m_lock);
            m_closed = true;
        }
        m_wake.notify_all();
        for (std::thread& thread : m_threads)
            if (thread.joinable()) thread.join();
    }

private:
    void work() {
        for (;;) {
            std::unique_lock<std::mutex> lock(m_lock);
            m_wake.wait(lock, [this] { return m_closed || !m_jobs.empty(); });
            if (m_jobs.empty()) return;
            std::function<void()> job = std::move(m_jobs.front());
            m_jobs.pop_front();
            lock.unlock();
            job();
        }
    }

    std::mutex m_lock;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_jobs;
    bool m_closed = false;
    std::vector<std::thread> m_threads;
};

// One TCP connection, from libmicrohttpd's notice that it opened to the
// one that it closed.
struct Link {
    int fd = -1;
    Clock::time_point opened = Clock::now();
    std::size_t requests = 0;
    bool answering = false;  // the handler makes an answer: the reaper waits
    bool streaming = false;  // the event stream: it lives as long as the page
    bool reaped = false;
};

// One request, from its header lines to its answer.
struct Exchange {
    HttpRequest request;
    bool close_after = false;  // the connection's last request
    std::optional<HttpResponse> answer;  // set by a worker
};

struct ViewDaemonStreams;

// One page's event stream: what the hub has that it has not sent yet.
struct Stream {
    ViewDaemonStreams* owner = nullptr;
    MHD_Connection* connection = nullptr;
    std::uint64_t cursor = 0;  // the hub's newest event sent
    std::string unsent;
    bool suspended = false;  // waits for an event; guarded by the owner's lock
    bool ending = false;     // the stream ends after what it has; guarded likewise
};

// The open streams, woken when the hub has news. At most `limit` are open:
// a page that goes away leaves its stream until the next event, so the
// oldest gives way to a new one.
struct ViewDaemonStreams {
    EventHub* hub = nullptr;
    std::size_t limit = 8;
    std::mutex lock;
    std::deque<Stream*> open;  // oldest first

    // Resumes a waiting stream; the lock is held.
    static void wake(Stream& stream) {
        if (!stream.suspended) return;
        stream.suspended = false;
        MHD_resume_connection(stream.connection);
    }
    void wake_all() {
        std::lock_guard<std::mutex> guard(lock);
        for (Stream* stream : open) wake(*stream);
    }
    void end_all() {
        std::lock_guard<std::mutex> guard(lock);
        for (Stream* stream : open) {
            stream->ending = true;
            wake(*stream);
        }
    }
    void add(Stream* stream) {
        std::lock_guard<std::mutex> guard(lock);
        open.push_back(stream);
        while (open.size() > limit) {
            open.front()->ending = true;
            wake(*open.front());
            open.pop_front();
        }
    }
    void remove(Stream* stream) {
        std::lock_guard<std::mutex> guard(lock);
        open.erase(std::remove(open.begin(), open.end(), stream), open.end());
    }

    // libmicrohttpd asks for more of a stream when its socket can take it.
    // With nothing to send, the connection is suspended until the hub has
    // an event (returning nothing without suspending would make it ask
    // again at once, in a loop).
    static ssize_t read(void* self, std::uint64_t, char* buffer, std::size_t max) {
        Stream& stream = *static_cast<Stream*>(self);
        ViewDaemonStreams& streams = *stream.owner;
        std::lock_guard<std::mutex> guard(streams.lock);
        if (stream.unsent.empty()) stream.unsent = streams.hub->take(stream.cursor);
        if (stream.unsent.empty()) {
            if (stream.ending) return MHD_CONTENT_READER_END_OF_STREAM;
            stream.suspended = true;
            MHD_suspend_connection(stream.connection);
            return 0;
        }
        std::size_t size = std::min(max, stream.unsent.size());
        std::memcpy(buffer, stream.unsent.data(), size);
        stream.unsent.erase(0, size);
        return static_cast<ssize_t>(size);
    }
    static void release(void* self) {
        Stream* stream = static_cast<Stream*>(self);
        stream->owner->remove(stream);
        delete stream;
    }
};

MHD_Result collect(void* pairs, MHD_ValueKind, const char* key, const char* value) {
    static_cast<std::vector<std::pair<std::string, std::string>>*>(pairs)->emplace_back(key ? key : "",
                                                                                      value ? value : "");
    return MHD_YES;
}

// The request as libmicrohttpd parsed it, without its body.
HttpRequest head_of(MHD_Connection* connection, const char* url, const char* method) {
    HttpRequest request;
    request.method = method;
    request.path = url;
    MHD_get_connection_values(connection, MHD_HEADER_KIND, collect, &request.headers);
    MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, collect, &request.arguments);
    return request;
}

// libmicrohttpd decodes "%XX" only; a page's URLSearchParams writes a space
// as "+".
std::size_t unescape(void*, MHD_Connection*, char* text) { return form_decode(text); }

void add_headers(MHD_Response* response, const HttpResponse& answer, bool close_after) {
    bool closes = false;
    for (const auto& header : answer.headers) {
        MHD_add_response_header(response, header.first.c_str(), header.second.c_str());
        closes = closes || header.first == "Connection";
    }
    if (close_after && !closes) MHD_add_response_header(response, "Connection", "close");
}

MHD_Result send_answer(MHD_Connection* connection, const HttpResponse& answer, bool close_after) {
    MHD_Response* response = MHD_create_response_from_buffer(answer.body.size(), const_cast<char*>(answer.body.data()),
                                                             MHD_RESPMEM_MUST_COPY);
    if (!response) return MHD_NO;
    add_headers(response, answer, close_after);
    MHD_Result queued = MHD_queue_response(connection, static_cast<unsigned>(answer.status), response);
    MHD_destroy_response(response);
    return queued;
}

// The event stream: the hub's events from now on, for as long as the page
// keeps it open; the connection is never idle-closed.
MHD_Result send_stream(MHD_Connection* connection, const HttpResponse& answer, ViewDaemonStreams& streams) {
    auto* stream = new Stream;
    stream->owner = &streams;
    stream->connection = connection;
    stream->cursor = streams.hub->newest();
    stream->unsent = ": the viewer's events\n\n";  // sent at once: the page knows the stream is open
    MHD_Response* response = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, 4096, &ViewDaemonStreams::read,
                                                               stream, &ViewDaemonStreams::release);
    if (!response) {
        delete stream;
        return MHD_NO;
    }
    streams.add(stream);
    add_headers(response, answer, true);
    MHD_set_connection_option(connection, MHD_CONNECTION_OPTION_TIMEOUT, 0u);
    MHD_Result queued = MHD_queue_response(connection, static_cast<unsigned>(answer.status), response);
    MHD_destroy_response(response);
    return queued;
}

}  // namespace

struct ViewDaemon::State {
    int listener = -1;  // owned until libmicrohttpd takes it
    int port = 0;
    ViewHandler* handler = nullptr;  // not owned
    ServerBounds bounds;
    MHD_Daemon* daemon = nullptr;  // owned
    std::unique_ptr<WorkQueue> workers;
    std::mutex links_lock;  // guards links and each Link
    std::map<MHD_Connection*, Link> links;
    std::size_t closed_since_trim = 0;  // guarded by links_lock
    std::atomic<bool> reaping{false};
    std::thread reaper;
    ViewDaemonStreams streams;

    static MHD_Result on_request(void* self, MHD_Connection* connection, const char* url, const char* method,
                                 const char* version, const char* upload, std::size_t* upload_size, void** context);
    static void on_completed(void* self, MHD_Connection*, void** context, MHD_RequestTerminationCode);
    static void on_connection(void* self, MHD_Connection* connection, void** socket_context,
                              MHD_ConnectionNotificationCode code);

    MHD_Result begin(MHD_Connection* connection, Exchange* exchange);
    MHD_Result dispatch(MHD_Connection* connection, Exchange* exchange);
    MHD_Result answer(MHD_Connection* connection, const HttpResponse& response, bool close_after);
    void set_answering(MHD_Connection* connection, bool answering);
    void reap();
};

MHD_Result ViewDaemon::State::on_request(void* self, MHD_Connection* connection, const char* url, const char* method,
                                         const char*, const char* upload, std::size_t* upload_size, void** context) {
    State& state = *static_cast<State*>(self);
    auto* exchange = static_cast<Exchange*>(*context);
    if (!exchange) {  // the header lines are in
        exchange = new Exchange;
        *context = exchange;
        exchange->request = head_of(connection, url, method);
        return state.begin(connection, exchange);
    }
    if (*upload_size) {
        // A declared length over the limit was refused in begin(); a body
        // sent in chunks that passes it has its connection closed.
        if (exchange->request.body.size() + *upload_size > kMaxRequestBodyBytes) return MHD_NO;
        exchange->request.body.append(upload, *upload_size);
        *upload_size = 0;
        return MHD_YES;
    }
    if (exchange->answer) {
        state.set_answering(connection, false);
        return state.answer(connection, *exchange->answer, exchange->close_after);
    }
    return state.dispatch(connection, exchange);
}

// Counts the request on its connection and refuses at once what needs no
// body, before a byte of the body is read.
MHD_Result ViewDaemon::State::begin(MHD_Connection* connection, Exchange* exchange) {
    {
        std::lock_guard<std::mutex> lock(links_lock);
        auto link = links.find(connection);
        if (link != links.end()) {
            Link& l = link->second;
            exchange->close_after = ++l.requests >= bounds.requests_per_connection ||
                                    Clock::now() - l.opened >= bounds.lifetime;
        }
    }
    if (!handler->refuse_head(exchange->request)) return MHD_YES;
    return send_answer(connection, handler->handle(exchange->request), true);
}

// The whole request, to a worker; the connection waits, suspended, and is
// resumed with its answer.
MHD_Result ViewDaemon::State::dispatch(MHD_Connection* connection, Exchange* exchange) {
    set_answering(connection, true);
    MHD_suspend_connection(connection);
    ViewHandler* h = handler;
    bool queued = workers->run([h, connection, exchange] {
        exchange->answer = h->handle(exchange->request);
        MHD_resume_connection(connection);
    });
    if (queued) return MHD_YES;
    // Stopping: the workers are gone, so the answer is made here.
    MHD_resume_connection(connection);
    exchange->answer = handler->handle(exchange->request);
    return MHD_YES;
}

MHD_Result ViewDaemon::State::answer(MHD_Connection* connection, const HttpResponse& response, bool close_after) {
    if (!response.event_stream || response.status != 200) return send_answer(connection, response, close_after);
    {
        std::lock_guard<std::mutex> lock(links_lock);
        auto link = links.find(connection);
        if (link != links.end()) link->second.streaming = true;
    }
    return send_stream(connection, response, streams);
}

void ViewDaemon::State::set_answering(MHD_Connection* connection, bool answering) {
    std::lock_guard<std::mutex> lock(links_lock);
    auto link = links.find(connection);
    if (link != links.end()) link->second.answering = answering;
}

void ViewDaemon::State::on_completed(void*, MHD_Connection*, void** context, MHD_RequestTerminationCode) {
    delete static_cast<Exchange*>(*context);
    *context = nullptr;
}

void ViewDaemon::State::on_connection(void* self, MHD_Connection* connection, void**,
                                      MHD_ConnectionNotificationCode code) {
    State& state = *static_cast<State*>(self);
    std::lock_guard<std::mutex> lock(state.links_lock);
    if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
        state.links.erase(connection);
        ++state.closed_since_trim;
        return;
    }
    Link& link = state.links[connection];
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    link.fd = info ? info->connect_fd : -1;
}

// libmicrohttpd closes a connection that is idle, but not one that sends a
// byte now and then: past its lifetime the reaper shuts its socket down,
// and libmicrohttpd, reading the end, closes it. The lock is held from the
// look-up to the shutdown, and libmicrohttpd tells of a close (which takes
// the lock) before it closes the descriptor, so the descriptor is still
// that connection's.
void ViewDaemon::State::reap() {
    Clock::time_point trimmed = Clock::now();
    while (reaping) {
        std::this_thread::sleep_for(bounds.reap_every);
        std::unique_lock<std::mutex> lock(links_lock);
        const Clock::time_point now = Clock::now();
        for (auto& entry : links) {
            Link& link = entry.second;
            if (link.answering || link.streaming || link.reaped || link.fd < 0 || now - link.opened < bounds.lifetime)
                continue;
            shutdown(link.fd, SHUT_RDWR);
            link.reaped = true;
        }
        const bool closed = closed_since_trim > 0;
        lock.unlock();
        // Each connection's memory is a small block of the heap, which the
        // allocator keeps when it is freed: after a flood of connections,
        // the memory goes back to the system, within a second.
        if (closed && now - trimmed >= kTrimEvery) {
            malloc_trim(0);
            trimmed = now;
            lock.lock();
            closed_since_trim = 0;
        }
    }
}

ViewDaemon::ViewDaemon() : m_state(new State) {}

ViewDaemon::~ViewDaemon() {
    stop();
    if (m_state->listener >= 0) close(m_state->listener);
}

bool ViewDaemon::listen(int port) {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return false;
    // SO_REUSEADDR only: SO_REUSEPORT would let a second viewer share the
    // port and take half the requests.
    int yes = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        close(fd);
        return false;
    }
    m_state->listener = fd;
    m_state->port = ntohs(address.sin_port);
    return true;
}

int ViewDaemon::port() const { return m_state->port; }

namespace {

// A descriptor for every connection the bounds allow, and a few for the
// settings file and the report, as far as the hard limit goes.
void allow_descriptors(unsigned connections) {
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    const rlim_t wanted = connections + kSpareDescriptors;
    if (limit.rlim_cur >= wanted) return;
    limit.rlim_cur = limit.rlim_max == RLIM_INFINITY ? wanted : std::min(wanted, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

bool ViewDaemon::start(ViewHandler& handler, const ServerBounds& bounds) {
    State& s = *m_state;
    allow_descriptors(bounds.connections);
    if (s.listener < 0 || ::listen(s.listener, static_cast<int>(bounds.backlog)) != 0) return false;
    s.handler = &handler;
    s.bounds = bounds;
    s.streams.hub = &handler.events();
    s.streams.limit = bounds.streams;
    handler.events().on_publish([&s] { s.streams.wake_all(); });
    s.workers = std::make_unique<WorkQueue>(bounds.workers);
    s.daemon = MHD_start_daemon(
        MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, &State::on_request, &s,
        MHD_OPTION_LISTEN_SOCKET, s.listener,
        MHD_OPTION_CONNECTION_LIMIT, bounds.connections,
        MHD_OPTION_PER_IP_CONNECTION_LIMIT, bounds.connections_per_address,
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, bounds.connection_memory,
        MHD_OPTION_CONNECTION_TIMEOUT, bounds.idle_seconds,
        MHD_OPTION_NOTIFY_COMPLETED, &State::on_completed, &s,
        MHD_OPTION_NOTIFY_CONNECTION, &State::on_connection, &s,
        MHD_OPTION_UNESCAPE_CALLBACK, &unescape, nullptr,
        MHD_OPTION_STRICT_FOR_CLIENT, 1,
        MHD_OPTION_END);
    if (!s.daemon) {
        s.workers.reset();
        return false;
    }
    s.listener = -1;  // libmicrohttpd's now
    s.reaping = true;
    s.reaper = std::thread([&s] { s.reap(); });
    return true;
}

void ViewDaemon::stop() {
    State& s = *m_state;
    if (!s.daemon) return;
    // No new connections; the requests the workers hold are answered; the
    // streams end (libmicrohttpd may not stop with a connection suspended).
    int listener = MHD_quiesce_daemon(s.daemon);
    s.handler->events().on_publish(nullptr);
    s.streams.end_all();
    s.workers->close();
    MHD_stop_daemon(s.daemon);
    s.daemon = nullptr;
    if (listener >= 0) close(listener);
    s.reaping = false;
    s.reaper.join();
}

}  // namespace rpl_toc
