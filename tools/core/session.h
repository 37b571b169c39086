// A report file read, loaded into the stand-in report database and built
// into a TOC: what every operation of tools/core works on, for the command
// line (one session per run) and for the viewer (one for its lifetime).
#ifndef TOOLS_CORE_SESSION_H
#define TOOLS_CORE_SESSION_H

#include <cstdint>
#include <memory>
#include <mutex>
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

    // What the settings file is now: whether it is there, its identity
    // (device, inode), size, modification time and a hash of its bytes.
    // The library saves by rename, so every save gives a new inode.
    struct FileStamp {
        bool exists = false;
        std::uint64_t device = 0, inode = 0, size = 0, mtime_ns = 0, hash = 0;
        bool operator==(const FileStamp& o) const;
        bool operator!=(const FileStamp& o) const { return !(*this == o); }
    };
    // Records the settings file as it is after this session's own read or
    // write; rebuild() records it itself. Call it after every change.
    void note_settings_file();
    // Whether the settings file is no longer as this session last read or
    // wrote it: another program changed it. Safe to call from any thread
    // while another uses the library (it reads the file, never the library).
    bool settings_file_changed_outside() const;

private:
    std::unique_ptr<RPL_REPORT_TOC> m_toc;  // owned
    int m_entries = 0;                      // every entry the build walks
    int m_left_out = 0;
    std::string m_settings_path;  // the settings file's path, kept for other threads
    mutable std::mutex m_stamp_lock;
    FileStamp m_stamp;  // the file after this session's last read or write
};

// Reads `report_file` ("-": standard input) and opens a session on it.
// `db_dir` empty: the directory holding the report file, or the current
// directory when the report comes from standard input or any other file
// that is not a regular one. Refused: report_unreadable, report_too_large,
// report_invalid, no_database_directory.
Outcome<std::unique_ptr<Session>> open_session(const std::string& report_file, const std::string& db_dir);

}  // namespace rpl_toc

#endif
