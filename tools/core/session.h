// A report file read, loaded into the stand-in report database and built
// into a TOC: what every operation of tools/core works on, for the command
// line (one session per run) and for the viewer (one for its lifetime).
#ifndef TOOLS_CORE_SESSION_H
#define TOOLS_CORE_SESSION_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

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
    // settings_file_of(toc()).
    std::string settings_file();
    // Builds the TOC again from the report and the settings file as it now
    // is, and records the file's identity taken before the library's first
    // read, so that a save landing during the build makes the file differ
    // from the record. When the file changed during the build it builds
    // again, at most kReadAttempts times in all; after the last the
    // record stays as taken before it, so the difference is still seen.
    // True when another program's save was seen during the build.
    bool rebuild();
    // Objects of the report that the build did not turn into sections (null
    // entries, types the library does not present).
    int objects_left_out() const { return m_left_out; }

    // How many times a build, or a read of the settings file, is made
    // while other saves keep landing during it.
    static constexpr int kReadAttempts = 3;

    // The identity of the settings file's bytes, taken from the descriptor
    // they were read through: whether it is there, its device and inode
    // (the library saves by rename, so every save gives a new inode), size,
    // modification time and a hash of its bytes. A file larger than the
    // library reads, or one that is not a regular file, gives its identity
    // without a byte read.
    struct FileStamp {
        bool exists = false;
        std::uint64_t device = 0, inode = 0, size = 0, mtime_ns = 0, hash = 0;
        bool operator==(const FileStamp& o) const;
        bool operator!=(const FileStamp& o) const { return !(*this == o); }
    };
    // The blocks of the settings file as the library's whole-store load
    // parses them: header line -> key -> value.
    using Blocks = std::map<std::string, std::map<std::string, std::string>>;
    // The settings file read whole through the library, with the identity
    // of the very bytes it parsed.
    struct SettingsRead {
        FileStamp stamp;
        bool loaded = false;  // false when the library cannot load the file; no file loads empty
        Blocks blocks;
    };

    // The settings file's identity now. Safe from any thread.
    FileStamp settings_file_stamp() const;
    // Reads the settings file through the library between two equal
    // identities; nullopt when another save landed each time it tried.
    std::optional<SettingsRead> read_settings() const;
    // The file as this session last read it (its build, or a change of its
    // own found in the file); null when the last build never read it steadily.
    const SettingsRead* last_read() const { return m_last_read ? &*m_last_read : nullptr; }
    // Takes `read` as what this session last read: the file after a change
    // of its own, once it holds that change and nothing else new.
    void note_read(const SettingsRead& read);
    // Whether `now` holds every block as this session last read it, except
    // the blocks of `written`, the sections a change of its own saved.
    bool others_as_last_read(const SettingsRead& now, const std::vector<const RPL_REPORT_SECTION*>& written) const;
    // Whether the settings file is no longer as this session last read it:
    // another program changed it. Safe to call from any thread while
    // another uses the library (it reads the file, never the library).
    bool settings_file_changed_outside() const;

private:
    std::unique_ptr<RPL_REPORT_TOC> m_toc;  // owned
    int m_entries = 0;                      // every entry the build walks
    int m_left_out = 0;
    std::string m_settings_path;  // the settings file's path, kept for other threads
    mutable std::mutex m_stamp_lock;
    FileStamp m_stamp;  // the identity this session vouches for; other threads compare with it
    std::optional<SettingsRead> m_last_read;  // the library's thread only

    // One build, the file's identity recorded before the library's first
    // read: whether the file was the same when the build had read it.
    bool build_once();
    void record_stamp(const FileStamp& stamp);
};

// The header line of `section`'s block in the settings file, "[PATH]".
std::string settings_header_of(const RPL_REPORT_SECTION& section);

// The path of `toc`'s settings file as the library computes it, made
// absolute: the library names it as the database directory was given,
// often "./NAME", and people and scripts are given a path that stays true
// wherever they use it from.
std::string settings_file_of(RPL_REPORT_TOC& toc);

// Reads `report_file` ("-": standard input) and opens a session on it.
// `db_dir` empty: the directory holding the report file, or the current
// directory when the report comes from standard input or any other file
// that is not a regular one. Refused: report_unreadable, report_too_large,
// report_invalid, no_database_directory.
Outcome<std::unique_ptr<Session>> open_session(const std::string& report_file, const std::string& db_dir);

}  // namespace rpl_toc

#endif
