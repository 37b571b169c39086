// A report file read, loaded into the stand-in report database and built
// into a TOC: what every operation of tools/core works on, for the command
// line (one session per run) and for the viewer (one for its lifetime).
#ifndef TOOLS_CORE_SESSION_H
#define TOOLS_CORE_SESSION_H

#include <memory>
#include <string>

#include "rpl/rpl.h"
#include "tools/core/refusal.h"
#include "tools/core/report_json.h"

namespace rpl_toc {

class Session {
public:
    // Hands `report` to the stand-in database, with `database_directory`
    // as the directory of the settings file, and builds the TOC. Use
    // open_session, which checks both first.
    Session(ReportFile report, const std::string& database_directory);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    RPL_REPORT_TOC& toc() { return *m_toc; }
    // The section with that rdb path (the first in reading order), or null.
    RPL_REPORT_SECTION* section(const std::string& path);
    // The path of the report's settings file, as the library computes it.
    std::string settings_file();
    // Builds the TOC again from the report and the settings file as it now is.
    void rebuild();
    // Objects of the report that the build did not turn into sections (null
    // entries, types the library does not present).
    int objects_left_out() const { return m_left_out; }

private:
    std::unique_ptr<RPL_REPORT_TOC> m_toc;  // owned
    int m_entries = 0;                      // every entry the build walks
    int m_left_out = 0;
};

// Reads `report_file` ("-": standard input) and opens a session on it.
// `db_dir` empty: the directory holding the report file, or the current
// directory when the report comes from standard input or any other file
// that is not a regular one. Refused: report_unreadable, report_too_large,
// report_invalid, no_database_directory.
Outcome<std::unique_ptr<Session>> open_session(const std::string& report_file, const std::string& db_dir);

}  // namespace rpl_toc

#endif
