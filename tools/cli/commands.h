// The commands of rpl-toc: each runs an operation of tools/core on the
// session and prints its result as text or as JSON, or its refusal as one
// line with an exit code.
#ifndef TOOLS_CLI_COMMANDS_H
#define TOOLS_CLI_COMMANDS_H

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/cli/set_options.h"
#include "tools/core/refusal.h"
#include "tools/core/session.h"

namespace rpl_toc {

// Exit codes.
constexpr int kExitOk = 0;
constexpr int kExitNotFound = 1;   // find, next, prev found nothing
constexpr int kExitError = 2;      // bad usage, bad report file, unknown PATH, a change not saved
constexpr int kExitFailure = 3;    // the tool itself failed unexpectedly

// An error the user can act on: main prints it as one line and exits with
// its code.
class CommandError : public std::runtime_error {
public:
    CommandError(int exit_code, const std::string& message) : std::runtime_error(message), m_exit_code(exit_code) {}
    int exit_code() const { return m_exit_code; }

private:
    int m_exit_code;
};

// Throws the refusal of an operation as a CommandError (kExitError), worded
// for the command line; `set`: the options of a refused set.
[[noreturn]] void refuse(const Refusal& refusal, const SetOptions* set = nullptr);

// How results are printed.
struct Output {
    bool json = false;    // one JSON document instead of text
    bool colour = false;  // ANSI colours (a terminal on stdout)
    // Standard output is a terminal: paths printed for scripts (list, next,
    // prev) have their control bytes escaped there, and are printed as
    // they are otherwise, so that a script can give them back, as ls does.
    bool terminal = false;
    bool boxes = false;   // box-drawing characters for tree lines (a UTF-8 locale)
    bool debug = false;   // the library's debug traces are shown
    // Standard error is a terminal and no traces go there: long operations
    // show a status line (status_line.h).
    bool progress = false;
};

int run_show(Session& session, const Output& output, bool paths);
// `null`: each path ends with a NUL byte and is printed as it is, even on a
// terminal, so that `xargs -0` gives every path back whatever it holds.
int run_list(Session& session, const Output& output, bool all, bool null = false);
int run_find(Session& session, const Output& output, const std::string& path);
int run_step(Session& session, const Output& output, const std::string& path, bool forward);
int run_mark(Session& session, const Output& output, const std::vector<std::string>& paths, bool marked);
int run_set(Session& session, const Output& output, const std::string& path, const SetOptions& options);
int run_settings(Session& session, const Output& output, bool raw);
// Exactly one of `text_file` and `html_file` is given; "-" is standard output.
int run_export(Session& session, const Output& output, const std::string& text_file, const std::string& html_file);

}  // namespace rpl_toc

#endif
