#include "tools/settings_probe.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/host_strings.h"
#include "rpl/rpl.h"

namespace rpl_toc {
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
    int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return system_reason(errno);
    ::close(fd);
    return std::string();
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

}  // namespace rpl_toc
