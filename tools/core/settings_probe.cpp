#include "tools/core/settings_probe.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "host/host_strings.h"
#include "rpl/rpl.h"
#include "rpl/rpl_file.h"

namespace rpl_toc {

static_assert(kMaxSettingsFileBytes == RPL_MAX_FILE_SIZE, "the tool words the library's limit");

namespace {

std::string system_reason(int error) { return std::strerror(error); }

std::string directory_of(const std::string& path) {
    std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// A device or pipe in the file's place is never opened for reading here:
// opening one may block.
std::string open_reason(const std::string& path) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) return errno == ENOENT ? std::string() : system_reason(errno);
    if (S_ISDIR(st.st_mode)) return system_reason(EISDIR);
    if (!S_ISREG(st.st_mode)) return "not a regular file";
    if (static_cast<std::size_t>(st.st_size) > kMaxSettingsFileBytes)
        return "larger than " + std::to_string(kMaxSettingsFileBytes >> 20) + " MiB, the most a settings file may be";
    int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return system_reason(errno);
    ::close(fd);
    return std::string();
}

// Where the link at `link` leads, as a path from where the link lies; empty
// when it cannot be read.
std::string link_destination(const std::string& link) {
    char buffer[PATH_MAX];
    ssize_t length = ::readlink(link.c_str(), buffer, sizeof buffer);
    if (length <= 0 || static_cast<std::size_t>(length) >= sizeof buffer) return std::string();
    std::string destination(buffer, static_cast<std::size_t>(length));
    if (destination[0] == '/') return destination;
    return directory_of(link) + "/" + destination;
}

// Whether `path`, or a link it leads to, is a symbolic link that a save
// does not follow: owned by neither the saving user nor the owner of the
// directory holding it. As many links as the kernel follows in one path.
bool leads_through_a_link_of_another_user(const std::string& path) {
    std::string at = path;
    for (int links = 0; links < 40 && !at.empty(); ++links) {
        struct stat link;
        if (::lstat(at.c_str(), &link) != 0 || !S_ISLNK(link.st_mode)) return false;
        struct stat directory;
        bool directory_owner = ::stat(directory_of(at).c_str(), &directory) == 0 && directory.st_uid == link.st_uid;
        if (link.st_uid != ::geteuid() && !directory_owner) return true;
        at = link_destination(at);
    }
    return false;
}

}  // namespace

std::string unreadable_reason(const std::string& path) {
    std::string reason = open_reason(path);
    if (!reason.empty()) return reason;
    RPL_REPORT_SETTINGS_FILE file;
    file.m_filename = to_rpl(path);
    return file.read_from_disk() ? std::string() : "cannot be read";
}

std::string unwritable_reason(const std::string& path) {
    if (leads_through_a_link_of_another_user(path)) return "a link owned by another user";
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) {
        if (errno != ENOENT) return system_reason(errno);
        if (::access(directory_of(path).c_str(), W_OK | X_OK) != 0) return system_reason(errno);
    } else if (S_ISDIR(st.st_mode)) {
        return system_reason(EISDIR);
    } else if (!S_ISREG(st.st_mode)) {
        return "not a regular file";
    } else {
        int fd = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) return system_reason(errno);
        ::close(fd);
    }
    struct statvfs fs;
    if (::statvfs(directory_of(path).c_str(), &fs) == 0 && fs.f_bavail == 0) return system_reason(ENOSPC);
    struct rlimit limit;
    if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) return system_reason(EFBIG);
    return "the file does not hold the change";
}

SettingsFileState settings_file_state(const std::string& path) {
    SettingsFileState state;
    struct stat info;
    state.exists = stat(path.c_str(), &info) == 0 || (errno != ENOENT && errno != ENOTDIR);
    state.unreadable = unreadable_reason(path);
    if (!state.exists || !state.unreadable.empty()) return state;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    char buffer[65536];
    std::size_t n;
    while (file && (n = std::fread(buffer, 1, sizeof buffer, file)) > 0) state.content.append(buffer, n);
    if (!file || std::ferror(file)) state.unreadable = "cannot be read";
    if (file) std::fclose(file);
    return state;
}

}  // namespace rpl_toc
