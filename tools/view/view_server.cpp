#include "tools/view/view_server.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <thread>

#include "tools/core/section_info.h"
#include "tools/view/view_daemon.h"
#include "tools/view/view_handler.h"

extern char** environ;

namespace rpl_toc {
namespace {

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

// Waits for SIGINT or SIGTERM, which every thread blocks.
void wait_for_a_signal(const sigset_t& signals) {
    int signal = 0;
    while (sigwait(&signals, &signal) != 0) {
    }
}

}  // namespace

std::string new_session_token() {
    std::optional<std::string> token = random_hex(16);
    if (!token)
        throw ViewStartError(ViewStartError::no_random_source, "cannot read the system's random source for the session token");
    return *token;
}

void run_view(Session& session, const std::string& report, const ViewOptions& options) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // before any thread starts: they all inherit it
    signal(SIGPIPE, SIG_IGN);  // a browser that closes a connection early must not end the server

    ViewDaemon server;
    if (!server.listen(options.port))
        throw ViewStartError(ViewStartError::no_port, "cannot listen on 127.0.0.1:" + std::to_string(options.port) +
                                                          " (the port is in use or not allowed)");
    std::string token = new_session_token();
    ViewHandler handler(session, token, server.port());
    // Without a watch, other programs' saves are found at the next change.
    std::unique_ptr<FileWatcher> watcher = handler.watch_settings_file();
    if (!server.start(handler))
        throw ViewStartError(ViewStartError::no_port, "cannot serve on 127.0.0.1:" + std::to_string(server.port()));

    // The token goes in the fragment, which a browser never sends: the
    // page reads it, keeps it in memory and sends it as X-RPL-Token.
    std::string url = "http://127.0.0.1:" + std::to_string(server.port()) + "/#token=" + token;
    std::cout << "rpl-toc: viewing " << printable(report) << " at " << url << std::endl;
    if (options.open_browser && has_display()) open_browser(url);
    wait_for_a_signal(signals);
    server.stop();
    if (watcher) watcher->stop();
}

}  // namespace rpl_toc
