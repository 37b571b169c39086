#include "support/rpl_toc.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "support/test_support.h"

namespace rpltest {

namespace {

[[noreturn]] void exec_child(const std::vector<std::string>& argv, const Launch& launch, int out_fd, int err_fd) {
    int in_fd = open(launch.input.c_str(), O_RDONLY);
    dup2(in_fd, STDIN_FILENO);
    dup2(out_fd, STDOUT_FILENO);
    dup2(err_fd, STDERR_FILENO);
    for (const char* name : {"NO_COLOR", "DISPLAY", "WAYLAND_DISPLAY"}) unsetenv(name);
    setenv("TERM", "xterm", 1);
    setenv("LC_ALL", launch.locale.c_str(), 1);
    for (const std::string& setting : launch.env) putenv(const_cast<char*>(setting.c_str()));
    if (!launch.cwd.empty() && chdir(launch.cwd.c_str()) != 0) _exit(125);
    if (launch.fsize_limit >= 0) {
        rlimit limit{static_cast<rlim_t>(launch.fsize_limit), static_cast<rlim_t>(launch.fsize_limit)};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    if (launch.as_nobody && !become_nobody()) _exit(126);
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
}

}  // namespace

pid_t start_process(const std::vector<std::string>& argv, const Launch& launch, int out_fd, int err_fd) {
    pid_t pid = fork();
    if (pid == 0) exec_child(argv, launch, out_fd, err_fd);
    return pid;
}

Result spawn(const std::vector<std::string>& argv, const std::string& scratch, const Launch& launch) {
    std::string out_path = scratch + "/stdout", err_path = scratch + "/stderr";
    bool on_terminal = launch.terminal || launch.error_terminal;
    int master = on_terminal ? posix_openpt(O_RDWR | O_NOCTTY) : -1;
    if (on_terminal && (grantpt(master) != 0 || unlockpt(master) != 0)) return {};
    int terminal = on_terminal ? open(ptsname(master), O_RDWR | O_NOCTTY) : -1;
    int out_fd = launch.terminal ? terminal : open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int err_fd = launch.error_terminal ? terminal : open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = start_process(argv, launch, out_fd, err_fd);
    for (int fd : {out_fd, err_fd})
        if (fd != terminal) close(fd);
    if (terminal >= 0) close(terminal);
    std::string shown;
    char buffer[4096];
    ssize_t n;
    while (on_terminal && (n = read(master, buffer, sizeof buffer)) > 0)  // until the child closes the terminal
        shown.append(buffer, static_cast<std::size_t>(n));
    int status = 0;
    waitpid(pid, &status, 0);
    Result r;
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    if (on_terminal) close(master);
    r.out = launch.terminal ? shown : read_file(out_path);
    if (!launch.error_terminal)
        r.err = read_file(err_path);
    else if (!launch.terminal)
        r.err = shown;
    return r;
}

const nlohmann::json& section_at(const nlohmann::json& toc, const std::string& path) {
    for (const nlohmann::json& s : toc.at("sections"))
        if (s.at("path") == path) return s;
    static const nlohmann::json none;
    ADD_FAILURE() << "no section " << path;
    return none;
}

}  // namespace rpltest
