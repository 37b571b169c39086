#include "tools/core/settings_probe.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
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

// Whether a save would refuse to follow a symbolic link in `path`'s place
// (one owned by neither the saving user nor the directory's owner): the
// library's own answer, so the tool cannot drift from its rule.
bool leads_through_a_link_of_another_user(const std::string& path) {
    string target;
    return !rpl_save_target(to_rpl(path), target);
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
    } else if ((st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) {
        return system_reason(EACCES);  // the library leaves such a file alone, for root too
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
    // The bytes as the library reads them, not a second reading of ours: a
    // file that grew since the checks above is read no further than the
    // limit, and a FIFO that took its place is not waited on.
    string text;
    if (rpl_read_file(path.c_str(), text) == RPL_READ_DONE)
        state.content = to_std(text);
    else
        state.unreadable = "cannot be read";
    return state;
}

}  // namespace rpl_toc
