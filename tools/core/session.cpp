#include "tools/core/session.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>

#include "host/host.h"
#include "host/host_strings.h"
#include "tools/core/report_json.h"
#include "tools/core/settings_probe.h"

namespace rpl_toc {
namespace {

namespace fs = std::filesystem;

// The reading functions below throw a Refusal, which open_session returns.
[[noreturn]] void refuse(Refused what, const std::string& value, const std::string& detail = std::string()) {
    Refusal refusal{what, value};
    refusal.detail = detail;
    throw refusal;
}

// Reads until the end or one byte past the cap, whatever the file is: a
// device or a pipe has no size to trust beforehand.
std::string read_bounded(int fd, const std::string& path) {
    std::string text;
    std::size_t used = 0;
    for (;;) {
        if (used == text.size())
            text.resize(std::min(kMaxReportFileBytes + 1, std::max<std::size_t>(65536, used * 2)));
        ssize_t n = ::read(fd, &text[used], text.size() - used);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) refuse(Refused::report_unreadable, path, std::strerror(errno));
        if (n == 0) break;
        used += static_cast<std::size_t>(n);
        if (used > kMaxReportFileBytes)
            refuse(Refused::report_too_large, path, kMaxReportFileSize);
    }
    text.resize(used);
    return text;
}

std::string read_report_file(const std::string& path) {
    if (path == "-") return read_bounded(STDIN_FILENO, path);
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) refuse(Refused::report_unreadable, path, std::strerror(errno));
    struct stat st;
    if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
        ::close(fd);
        refuse(Refused::report_unreadable, path, "it is a directory");
    }
    // A regular file says its size: one past the limit is refused unread.
    if (S_ISREG(st.st_mode) && static_cast<std::uint64_t>(st.st_size) > kMaxReportFileBytes) {
        ::close(fd);
        refuse(Refused::report_too_large, path, kMaxReportFileSize);
    }
    try {
        std::string text = read_bounded(fd, path);
        ::close(fd);
        return text;
    } catch (...) {
        ::close(fd);
        throw;
    }
}

// Whether `directory` is on one of the kernel's file systems of devices and
// processes, where /dev/stdin and /proc/self/fd/0 lead.
bool is_special_directory(const std::string& directory) {
    std::error_code ec;
    std::string real = fs::weakly_canonical(directory, ec).string();
    for (const char* special : {"/dev", "/proc"})
        if (real == special || real.rfind(std::string(special) + "/", 0) == 0) return true;
    return false;
}

// Beside a regular report file; in the current directory for standard
// input, a pipe or a device, whose directory is no place for settings.
std::string default_database_directory(const std::string& report_file) {
    struct stat st;
    if (report_file == "-" || ::stat(report_file.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return ".";
    std::string parent = fs::path(report_file).parent_path().string();
    if (parent.empty()) return ".";
    return is_special_directory(parent) ? "." : parent;
}

std::string database_directory(const std::string& report_file, const std::string& db_dir) {
    if (db_dir.empty()) return default_database_directory(report_file);
    std::error_code ec;
    if (!fs::is_directory(db_dir, ec)) refuse(Refused::no_database_directory, db_dir);
    return db_dir;
}

std::uint64_t nanoseconds(const struct timespec& t) {
    return static_cast<std::uint64_t>(t.tv_sec) * 1000000000u + static_cast<std::uint64_t>(t.tv_nsec);
}

Session::FileStamp stat_identity(const struct stat& st) {
    Session::FileStamp out;
    out.exists = true;
    out.device = st.st_dev;
    out.inode = st.st_ino;
    out.size = static_cast<std::uint64_t>(st.st_size);
    out.mtime_ns = nanoseconds(st.st_mtim);
    return out;
}

// FNV-1a over the bytes `fd` gives, at most `limit` of them.
std::uint64_t hash_of_bytes(int fd, std::size_t limit) {
    std::uint64_t hash = 14695981039346656037ull;
    char buffer[65536];
    for (std::size_t used = 0; used < limit;) {
        ssize_t n = ::read(fd, buffer, std::min(sizeof buffer, limit - used));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        for (ssize_t i = 0; i < n; ++i) hash = (hash ^ static_cast<unsigned char>(buffer[i])) * 1099511628211ull;
        used += static_cast<std::size_t>(n);
    }
    return hash;
}

// The identity of the bytes as read through one descriptor, so that the
// size and time belong to the bytes hashed. Opening never blocks (a pipe
// in the file's place), and no more is read than the library would read:
// a larger file, like anything but a regular file, is known by its stat.
Session::FileStamp stamp_of(const std::string& path) {
    struct stat st {};
    int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return ::stat(path.c_str(), &st) == 0 ? stat_identity(st) : Session::FileStamp();
    Session::FileStamp out;
    if (::fstat(fd, &st) == 0) {
        out = stat_identity(st);
        if (S_ISREG(st.st_mode) && out.size <= kMaxSettingsFileBytes) out.hash = hash_of_bytes(fd, kMaxSettingsFileBytes);
    } else {
        out.exists = true;
    }
    ::close(fd);
    return out;
}

// The whole file as the library loads it, without its identity.
Session::SettingsRead library_read(const std::string& path) {
    Session::SettingsRead out;
    RPL_REPORT_SETTINGS_FILE file;
    file.m_filename = to_rpl(path);
    out.loaded = file.read_from_disk();
    for (const auto& block : file.m_sections) {
        std::map<std::string, std::string>& keys = out.blocks[to_std(block.first)];
        for (const auto& key : *block.second) keys[to_std(key.first)] = to_std(key.second);
    }
    return out;
}

// Every entry the build walks: the main folder, and every entry of every
// folder below it, null ones included.
int entries_below(RDB_OBJECT* object) {
    int count = 1;
    RDB_FOLDER_OBJECT* folder = object->dynamic_cast_to_RDB_FOLDER_OBJECT();
    if (!folder || object->get_type() != RDB_OBJECT_TYPE_FOLDER) return count;
    for (RDB_OBJECT* child : *folder) count += child ? entries_below(child) : 1;
    return count;
}

}  // namespace

Session::Session(ReportFile report, const std::string& database_directory) {
    host_set_db_dir(database_directory);
    m_entries = report.main_folder ? entries_below(report.main_folder.get()) : 0;
    auto type = static_cast<RDB_REPORT_TYPE>(report.type);
    host_rdb_set_report(type, std::make_unique<RDB_REPORT>(report.main_folder.release()));
    m_toc = std::make_unique<RPL_REPORT_TOC>(type, to_rpl(report.name));
    m_settings_path = settings_file();
    rebuild();
}

Session::~Session() {
    RDB_REPORT_TYPE type = m_toc->m_report_type;
    m_toc.reset();
    host_rdb_remove_report(type);
}

RPL_REPORT_SECTION* Session::section(const std::string& path) { return m_toc->section_exists(to_rpl(path)); }

std::string settings_file_of(RPL_REPORT_TOC& toc) {
    std::string named = to_std(toc.get_settings_filename());
    std::error_code ec;
    fs::path absolute = fs::absolute(named, ec);
    return ec ? named : absolute.lexically_normal().string();
}

std::string Session::settings_file() { return settings_file_of(*m_toc); }

bool Session::rebuild() {
    bool saved_outside = false;
    for (int attempt = 1; attempt <= kReadAttempts; ++attempt) {
        if (build_once()) break;
        saved_outside = true;
    }
    m_left_out = m_entries - static_cast<int>(m_toc->m_section_index.size());
    return saved_outside;
}

bool Session::build_once() {
    FileStamp before = stamp_of(m_settings_path);
    record_stamp(before);
    m_toc->generate_toc(true);
    SettingsRead read = library_read(m_settings_path);
    read.stamp = before;
    if (stamp_of(m_settings_path) != before) {
        m_last_read.reset();  // sections read from two files: nothing to compare a change with
        return false;
    }
    m_last_read = std::move(read);
    return true;
}

bool Session::FileStamp::operator==(const FileStamp& o) const {
    return exists == o.exists && device == o.device && inode == o.inode && size == o.size && mtime_ns == o.mtime_ns &&
           hash == o.hash;
}

void Session::record_stamp(const FileStamp& stamp) {
    std::lock_guard<std::mutex> lock(m_stamp_lock);
    m_stamp = stamp;
}

Session::FileStamp Session::settings_file_stamp() const { return stamp_of(m_settings_path); }

std::optional<Session::SettingsRead> Session::read_settings() const {
    for (int attempt = 0; attempt < kReadAttempts; ++attempt) {
        FileStamp before = stamp_of(m_settings_path);
        SettingsRead read = library_read(m_settings_path);
        read.stamp = before;
        if (stamp_of(m_settings_path) == before) return read;
    }
    return std::nullopt;
}

void Session::note_read(const SettingsRead& read) {
    m_last_read = read;
    record_stamp(read.stamp);
}

// Asked of the library, so that there is one rule for it.
std::string settings_header_of(const RPL_REPORT_SECTION& section) {
    RPL_REPORT_SETTINGS_FILE probe;
    probe.set_value_str(section.m_rdb_path, string("K"), string());
    return to_std(probe.m_sections.begin()->first);
}

bool Session::others_as_last_read(const SettingsRead& now, const std::vector<const RPL_REPORT_SECTION*>& written) const {
    if (!m_last_read || !m_last_read->loaded || !now.loaded) return false;
    std::set<std::string> rewritten;
    for (const RPL_REPORT_SECTION* section : written) rewritten.insert(settings_header_of(*section));
    Blocks before = m_last_read->blocks, after = now.blocks;
    for (const std::string& header : rewritten) {
        before.erase(header);
        after.erase(header);
    }
    return before == after;
}

bool Session::settings_file_changed_outside() const {
    FileStamp now = stamp_of(m_settings_path);
    std::lock_guard<std::mutex> lock(m_stamp_lock);
    return now != m_stamp;
}

Outcome<std::unique_ptr<Session>> open_session(const std::string& report_file, const std::string& db_dir) {
    try {
        ReportLoad load = load_report_json(read_report_file(report_file));
        if (!load.ok()) refuse(Refused::report_invalid, report_file, load.error);
        return std::make_unique<Session>(std::move(load.report), database_directory(report_file, db_dir));
    } catch (const Refusal& refusal) {
        return refusal;
    }
}

}  // namespace rpl_toc
