#include "tools/core/input_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace rpl_toc {
namespace {

// Closes the descriptor on every way out.
class Descriptor {
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() {
        if (m_fd >= 0) ::close(m_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;  // owned
};

std::string system_reason(int error) { return std::strerror(error); }

EntryKind kind_of(const std::string& path) {
    struct stat link;
    if (::lstat(path.c_str(), &link) != 0) return EntryKind::other;
    if (S_ISDIR(link.st_mode)) return EntryKind::folder;
    struct stat target;
    bool followed = ::stat(path.c_str(), &target) == 0;
    if (S_ISLNK(link.st_mode) && followed && S_ISDIR(target.st_mode)) return EntryKind::link_to_folder;
    if (followed && S_ISREG(target.st_mode)) return EntryKind::file;
    return EntryKind::other;
}

}  // namespace

FileRead read_input_file(const std::string& path) {
    FileRead out;
    Descriptor fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat info;
    if (fd.get() < 0 || ::fstat(fd.get(), &info) != 0) {
        out.error = system_reason(errno);
        return out;
    }
    if (S_ISDIR(info.st_mode)) {
        out.error = "a folder";
        return out;
    }
    if (!S_ISREG(info.st_mode)) {
        out.error = "not a regular file";
        return out;
    }
    if (static_cast<std::uint64_t>(info.st_size) > kMaxInputFileBytes) {
        out.error = "larger than " + std::to_string(kMaxInputFileBytes >> 20) + " MiB";
        return out;
    }
    char buffer[1 << 16];
    for (;;) {
        ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
        if (n == 0) break;
        if (n < 0) {
            if (errno == EINTR) continue;
            out.error = system_reason(errno);
            return out;
        }
        out.bytes.append(buffer, static_cast<std::size_t>(n));
        if (out.bytes.size() > kMaxInputFileBytes) {  // it grew while read
            out.error = "larger than " + std::to_string(kMaxInputFileBytes >> 20) + " MiB";
            return out;
        }
    }
    return out;
}

FolderList list_folder(const std::string& path) {
    FolderList out;
    DIR* dir = ::opendir(path.c_str());
    if (!dir) {
        out.error = system_reason(errno);
        return out;
    }
    while (const dirent* entry = ::readdir(dir)) {
        std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        out.entries.push_back({name, kind_of(path + "/" + name)});
    }
    ::closedir(dir);
    std::sort(out.entries.begin(), out.entries.end(),
              [](const FolderEntry& a, const FolderEntry& b) { return a.name < b.name; });
    return out;
}

bool is_folder(const std::string& path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace rpl_toc
