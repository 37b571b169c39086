#include "tools/core/file_replace.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/host_strings.h"
#include "rpl/rpl_file.h"

namespace rpl_toc {
namespace {

std::string directory_part(const std::string& path) {
    std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

std::string name_part(const std::string& path) {
    std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// 16 hexadecimal digits from the kernel's random source; empty when it
// gives none.
std::string random_digits() {
    unsigned long long bits = 0;
    ssize_t n;
    do n = ::getrandom(&bits, sizeof bits, 0);
    while (n < 0 && errno == EINTR);
    if (n != static_cast<ssize_t>(sizeof bits)) return std::string();
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx", bits);
    return digits;
}

bool write_all(int fd, const std::string& text) {
    const char* p = text.data();
    std::size_t left = text.size();
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        p += n;
        left -= static_cast<std::size_t>(n);
    }
    return true;
}

}  // namespace

FileReplacement::FileReplacement(const std::string& path) {
    if (!find_target(path)) return;
    // What is there now, looked at without waiting: a FIFO without a reader
    // fails the open (ENXIO), anything else that opens is checked.
    int fd = ::open(m_target.c_str(), O_WRONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    struct stat st {};
    if (fd < 0 && errno != ENOENT) {
        m_error = errno == ENXIO ? "not a regular file" : std::strerror(errno);
        return;
    }
    bool regular = fd < 0 || (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode));
    if (fd >= 0) ::close(fd);
    if (!regular) {
        m_error = "not a regular file";
        return;
    }
    // A new file gets the umask's bits, a replacement the old file's.
    if (open_temporary() && fd >= 0) ::fchmod(m_fd, st.st_mode & 0777);
}

FileReplacement::~FileReplacement() {
    if (m_fd >= 0) ::close(m_fd);
    if (!m_temporary.empty()) ::unlink(m_temporary.c_str());
}

// The library's rule for links, so an export goes where a save would.
bool FileReplacement::find_target(const std::string& path) {
    string target;
    if (!rpl_save_target(to_rpl(path), target)) {
        m_error = "a link owned by another user";
        return false;
    }
    m_target = to_std(target);
    return true;
}

bool FileReplacement::open_temporary() {
    for (int attempt = 0; attempt < 8; ++attempt) {
        std::string digits = random_digits();
        if (digits.empty()) break;
        std::string name = directory_part(m_target) + "." + name_part(m_target).substr(0, 64) + "." +
                           std::to_string(::getpid()) + "." + digits + ".tmp";
        m_fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK | O_CLOEXEC, 0666);
        if (m_fd >= 0) {
            m_temporary = name;
            return true;
        }
        if (errno != EEXIST) break;
    }
    m_error = std::strerror(errno);
    return false;
}

std::string FileReplacement::commit(const std::string& content) {
    bool written = write_all(m_fd, content);
    int error = errno;
    // A close error may mean the text never reached the file.
    if (::close(m_fd) != 0 && written) {
        written = false;
        error = errno;
    }
    m_fd = -1;
    if (!written) return std::strerror(error);
    if (::rename(m_temporary.c_str(), m_target.c_str()) != 0) return std::strerror(errno);
    m_temporary.clear();
    return std::string();
}

}  // namespace rpl_toc
