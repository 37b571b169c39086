// Driving the built rpl-toc as a user does: spawned with its arguments, and
// looked at through its exit code, stdout, stderr and the files it leaves.
#ifndef TESTS_SUPPORT_RPL_TOC_H
#define TESTS_SUPPORT_RPL_TOC_H

#include <sys/types.h>

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace rpltest {

struct Result {
    int code = -1;
    std::string out, err;
};

// How the child runs, besides its arguments. It never sees a display, so
// nothing it does can open a browser.
struct Launch {
    bool terminal = false;            // stdout on a pseudo-terminal
    bool error_terminal = false;      // stderr on a pseudo-terminal (stdout too when `terminal`)
    std::vector<std::string> env;     // NAME=VALUE, set besides the usual
    std::string locale = "C.UTF-8";   // LC_ALL
    std::string input = "/dev/null";  // stdin
    std::string cwd;                  // empty: the test's
    long long fsize_limit = -1;       // RLIMIT_FSIZE in bytes; -1: none
    bool as_nobody = false;           // as "nobody" when the suite runs as root, so permissions bind
};

// Starts `argv` with stdout and stderr on the given descriptors; the caller
// waits for it.
pid_t start_process(const std::vector<std::string>& argv, const Launch& launch, int out_fd, int err_fd);

// Runs `argv` to its end with stdout and stderr in files under `scratch`,
// or on a pseudo-terminal as `launch` says: what the terminal shows is the
// result's `out`, or its `err` when only stderr is on it.
Result spawn(const std::vector<std::string>& argv, const std::string& scratch, const Launch& launch = {});

// small.json's settings after unmarking ||R||F.
inline const char* const kSmallAfterUnmarkF =
    "[||R]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
    "[||R||F]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
    "[||R||F||C1]\nCHART_TYPE=0\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
    "[||R||F||G]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n";

// The section of a TOC document with this path; a failure when it has none.
const nlohmann::json& section_at(const nlohmann::json& toc, const std::string& path);

}  // namespace rpltest

#endif
