// The commands of rpl-toc. Each loads the report file into the stand-in
// report database, builds the TOC with generate_toc and works on it through
// the library's public interface.
#ifndef TOOLS_COMMANDS_H
#define TOOLS_COMMANDS_H

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "rpl/rpl.h"

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

// How results are printed.
struct Output {
    bool json = false;    // one JSON document instead of text
    bool colour = false;  // ANSI colours (a terminal on stdout)
    bool boxes = false;   // box-drawing characters for tree lines (a UTF-8 locale)
    bool debug = false;   // the library's debug traces are shown
};

// A report file loaded into the stand-in database, with its TOC built.
class Session {
public:
    // `report_file` "-" reads standard input. `db_dir` empty: the directory
    // holding the report file, or the current directory when the report
    // comes from standard input or any other file that is not a regular
    // one. Throws CommandError when the file cannot be read or is not a
    // valid report, or the directory does not exist.
    Session(const std::string& report_file, const std::string& db_dir);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    RPL_REPORT_TOC& toc() { return *m_toc; }
    // The section with that rdb path; CommandError (exit 2) when there is none.
    RPL_REPORT_SECTION& section(const std::string& path);
    // Objects of the report that the build did not turn into sections (null
    // entries, types the library does not present).
    int objects_left_out() const { return m_left_out; }

private:
    std::unique_ptr<RPL_REPORT_TOC> m_toc;  // owned; built once
    int m_left_out = 0;
};

// The options of `set`, as given on the command line.
struct SetRequest {
    bool has_orientation = false;
    int orientation = 1;
    bool has_chart_type = false;
    int chart_type = 0;
    std::vector<std::string> widths;  // "I=W"
    std::vector<std::string> aligns;  // "I=L" or "I=R"
    std::vector<std::string> orders;  // "I=D"
};

// Checks every option of `request` against `section` (kind, column indexes, values, and that a column list
// would cover every column of the table), then applies them and saves through write_acf_settings. Throws
// CommandError (kExitError) with the one-line text of the first refused option; nothing has changed then.
void change_settings(RPL_REPORT_SECTION& section, const SetRequest& request);
// After a change: empty when the settings file now holds what the library meant to write for `changed`
// (loaded again and compared key by key), otherwise the reason, "FILE: Permission denied" and the like.
std::string unsaved_reason(Session& session, const std::vector<const RPL_REPORT_SECTION*>& changed);
// What marking `roots` writes: every section of each subtree, and every
// ancestor, which the marking recomputes.
std::vector<const RPL_REPORT_SECTION*> marked_sections(const std::vector<RPL_REPORT_SECTION*>& roots);

int run_show(Session& session, const Output& output, bool paths);
int run_list(Session& session, const Output& output, bool all);
int run_find(Session& session, const Output& output, const std::string& path);
int run_step(Session& session, const Output& output, const std::string& path, bool forward);
int run_mark(Session& session, const Output& output, const std::vector<std::string>& paths, bool marked);
int run_set(Session& session, const Output& output, const std::string& path, const SetRequest& request);
int run_settings(Session& session, const Output& output, bool raw);
// Exactly one of `text_file` and `html_file` is given; "-" is standard output.
int run_export(Session& session, const Output& output, const std::string& text_file, const std::string& html_file);

}  // namespace rpl_toc

#endif
