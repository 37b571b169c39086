#include "tools/view/view_server.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/random.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>

#include <httplib.h>

#include "tools/core/section_info.h"
#include "tools/view/view_api.h"
#include "tools/view/view_bounded_server.h"
#include "tools/view/view_handler.h"

extern char** environ;

namespace rpl_toc {
namespace {

bool read_random(unsigned char* bytes, std::size_t size) {
    std::size_t got = 0;
    while (got < size) {
        ssize_t n = getrandom(bytes + got, size - got, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) break;
        got += static_cast<std::size_t>(n);
    }
    if (got == size) return true;
    int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    got = 0;
    ssize_t n = 0;
    while (got < size && (n = read(fd, bytes + got, size - got)) > 0) got += static_cast<std::size_t>(n);
    close(fd);
    return got == size;
}

HttpHeaders request_headers(const httplib::Request& request) {
    HttpHeaders out;
    for (const auto& header : request.headers) out.emplace_back(header.first, header.second);
    return out;
}

HttpRequest plain_request(const httplib::Request& request) {
    HttpRequest out;
    out.method = request.method;
    std::size_t question = request.target.find('?');
    out.path = request.target.substr(0, question);
    if (question != std::string::npos) out.query = request.target.substr(question + 1);
    out.headers = request_headers(request);
    out.body = request.body;
    return out;
}

void send(const HttpResponse& response, httplib::Response& out) {
    out.status = response.status;
    std::string type = "application/octet-stream";
    for (const auto& header : response.headers) {
        if (header.first == "Content-Type")
            type = header.second;
        else
            out.set_header(header.first, header.second);
    }
    out.set_content(response.body, type);
}

// The transport's own refusals (a body over the limit, a request it cannot
// parse) come without a body; they get the interface's JSON form.
httplib::Server::HandlerResponse fill_error(const httplib::Request&, httplib::Response& response) {
    if (!response.body.empty()) return httplib::Server::HandlerResponse::Unhandled;
    const char* message = response.status == 413 ? "The request body is larger than 64 KiB."
                                                 : "The request could not be understood.";
    HttpResponse error = error_response(response.status, message);
    send(error, response);
    return httplib::Server::HandlerResponse::Handled;
}

void route_everything(httplib::Server& server, ViewHandler& handler) {
    auto serve = [&handler](const httplib::Request& request, httplib::Response& response) {
        send(handler.handle(plain_request(request)), response);
    };
    const char* any = "[\\s\\S]*";  // every path, line feeds in a decoded path included
    server.Get(any, serve);
    server.Post(any, serve);
    server.Put(any, serve);
    server.Patch(any, serve);
    server.Delete(any, serve);
    server.Options(any, serve);
}

// The browser must not inherit the terminal: its output would mix with the
// server's, and Ctrl-C there would reach it too.
void open_browser(const std::string& url) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", fd == STDIN_FILENO ? O_RDONLY : O_WRONLY, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    char* argv[] = {const_cast<char*>("xdg-open"), const_cast<char*>(url.c_str()), nullptr};
    pid_t pid = 0;
    if (posix_spawnp(&pid, "xdg-open", &actions, &attributes, argv, environ) == 0)
        std::thread([pid] { waitpid(pid, nullptr, 0); }).detach();  // xdg-open may wait for the browser
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
}

bool has_display() {
    const char* x = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return (x && *x) || (wayland && *wayland);
}

// Ends the server on SIGINT or SIGTERM. The signals are blocked in every
// other thread, so they reach only this one's sigwait.
class SignalWatch {
public:
    SignalWatch(httplib::Server& server, const sigset_t& signals)
        : m_server(server), m_signals(signals), m_thread([this] { watch(); }) {}
    ~SignalWatch() {
        m_done = true;
        pthread_kill(m_thread.native_handle(), SIGTERM);  // wakes sigwait if no signal came
        m_thread.join();
    }
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;

private:
    void watch() {
        int signal = 0;
        sigwait(&m_signals, &signal);
        // A signal before the server runs would find nothing to stop.
        while (!m_done && !m_server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        m_server.stop();
    }

    httplib::Server& m_server;  // not owned
    sigset_t m_signals;
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

}  // namespace

std::string new_session_token() {
    unsigned char bytes[16];
    if (!read_random(bytes, sizeof bytes))
        throw ViewStartError(ViewStartError::no_random_source, "cannot read the system's random source for the session token");
    static const char hex[] = "0123456789abcdef";
    std::string token;
    for (unsigned char b : bytes) {
        token += hex[b >> 4];
        token += hex[b & 15];
    }
    return token;
}

void run_view(Session& session, const std::string& report, const ViewOptions& options) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // before any thread starts: they all inherit it
    signal(SIGPIPE, SIG_IGN);  // a browser that closes a connection early must not end the server

    BoundedServer server;
    // SO_REUSEADDR only: the transport's default also sets SO_REUSEPORT,
    // which would let a second viewer share the port and take half the
    // requests.
    server.set_socket_options([](socket_t sock) {
        int yes = 1;
        setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    int port = options.port;
    bool bound = port == 0 ? (port = server.bind_to_any_port("127.0.0.1")) > 0 : server.bind_to_port("127.0.0.1", port);
    if (!bound)
        throw ViewStartError(ViewStartError::no_port, "cannot listen on 127.0.0.1:" + std::to_string(options.port) +
                                                          " (the port is in use or not allowed)");
    std::string token = new_session_token();
    ViewHandler handler(session, token, port);
    server.set_payload_max_length(kMaxRequestBodyBytes);
    server.set_error_handler(httplib::Server::HandlerWithResponse(fill_error));
    route_everything(server, handler);

    std::string url = "http://127.0.0.1:" + std::to_string(port) + "/?token=" + token;
    std::cout << "rpl-toc: viewing " << printable(report) << " at " << url << std::endl;
    if (options.open_browser && has_display()) open_browser(url);
    {
        SignalWatch watch(server, signals);
        server.serve();
    }
}

}  // namespace rpl_toc
