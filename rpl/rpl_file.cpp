#include "rpl/rpl_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

// ---- Reading ----------------------------------------------------------------------------

// Reads `fd` to its end into `text`, expecting `expected` bytes. A read
// error part-way fails the whole read.
bool read_all(int fd, std::size_t expected, string& text) {
    // One byte more than expected, so a file that has not grown is read
    // with a single call and its end seen with a second.
    text.resize(expected + 1);
    std::size_t used = 0;
    for (;;) {
        if (used == text.size()) text.resize(text.size() * 2);
        ssize_t n = ::read(fd, &text[used], text.size() - used);
        if (n > 0) {
            used += static_cast<std::size_t>(n);
        } else if (n == 0) {
            break;
        } else if (errno != EINTR) {
            text.resize(used);
            return false;
        }
    }
    text.resize(used);
    return true;
}

// ---- Writing into the file itself -------------------------------------------------------

bool write_all(int fd, const string& text) {
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

// Whether a file of `size` bytes stays within the process's file size
// limit. A write past the limit fails part-way even where the file does not
// grow, and a reservation sees the limit only where it does.
bool within_size_limit(std::size_t size) {
    struct rlimit limit;
    return ::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY ||
           size <= limit.rlim_cur;
}

// Reserves the first `size` bytes of the file. False only when there is no
// room for them; a file system that cannot reserve lets the write go ahead.
bool reserve(int fd, std::size_t size) {
    if (size == 0) return true;
    int error;
    do error = ::posix_fallocate(fd, 0, static_cast<off_t>(size));
    while (error == EINTR);
    return error != ENOSPC && error != EFBIG && error != EDQUOT;
}

// Overwrites the open regular file with `text`: room first, then the bytes
// from the start, then the cut to the new length. Until the room is there
// not a byte changes. True when the file holds the text.
bool overwrite(int fd, const string& text) {
    if (!within_size_limit(text.size()) || !reserve(fd, text.size())) return false;
    return write_all(fd, text) && ::ftruncate(fd, static_cast<off_t>(text.size())) == 0;
}

// Writes `text` into the open file: a regular file is overwritten, anything
// else (a device) takes the bytes.
void write_in_place(int fd, const string& text) {
    struct stat st;
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode))
        overwrite(fd, text);
    else
        write_all(fd, text);
}

// Opens (creating it if need be) and writes the file at `path` in place.
// True when it could be opened.
bool create_in_place(const string& path, const string& text) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) return false;
    write_in_place(fd, text);
    ::close(fd);
    return true;
}

// ---- Replacing the file through a rename ------------------------------------------------

// The file a save must replace: a symbolic link is followed, so the link
// stays and its target receives the content. A dangling link gives "".
string save_target(const string& path) {
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return path;
    char* resolved = ::realpath(path.c_str(), nullptr);
    if (resolved == nullptr) return string();
    string target = resolved;
    ::free(resolved);
    return target;
}

// Creates a new, empty file beside `target` under a name nobody else uses,
// with `mode` as open(2) takes it, so a new settings file gets the umask's
// bits as a plain create would. Only the start of the target's name goes
// into the temporary name: a long name must still leave room for it.
int create_temporary(const string& target, mode_t mode, string& temp) {
    string::size_type slash = target.rfind('/');
    string::size_type base_at = slash == string::npos ? 0 : slash + 1;
    string prefix = target.substr(0, base_at) + "." + target.substr(base_at, 64);
    static unsigned long counter = 0;
    for (int attempt = 0; attempt < 64; ++attempt) {
        char suffix[64];
        std::snprintf(suffix, sizeof suffix, ".%ld.%lu.tmp", static_cast<long>(::getpid()), ++counter);
        temp = prefix + suffix;
        int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

// Gives the new file the owner, group and permission bits of the one it
// replaces (owner first: a change of owner clears set-id bits). False when
// the owner cannot be kept: the replacement would take the file away from
// its owner, who might then no longer write it.
bool keep_owner_and_mode(int fd, const struct stat& old_st) {
    struct stat st;
    if (::fstat(fd, &st) != 0) return false;
    if ((st.st_uid != old_st.st_uid || st.st_gid != old_st.st_gid) &&
        ::fchown(fd, old_st.st_uid, old_st.st_gid) != 0)
        return false;
    return ::fchmod(fd, old_st.st_mode & 07777) == 0;
}

// Gives the new file every extended attribute of the old one, and with
// them its ACL (system.posix_acl_access). False when one cannot be copied:
// the replacement would quietly drop it.
bool keep_extended_attributes(int from, int to) {
    ssize_t size = ::flistxattr(from, nullptr, 0);
    if (size < 0) return errno == ENOTSUP;  // a file system without them: none to keep
    string names(static_cast<std::size_t>(size), '\0');
    size = ::flistxattr(from, &names[0], names.size());
    if (size < 0) return false;
    const char* end = names.data() + size;
    for (const char* name = names.data(); name < end; name += std::strlen(name) + 1) {
        ssize_t length = ::fgetxattr(from, name, nullptr, 0);
        if (length < 0) return false;
        string value(static_cast<std::size_t>(length), '\0');
        length = ::fgetxattr(from, name, &value[0], value.size());
        if (length < 0 || ::fsetxattr(to, name, value.data(), static_cast<std::size_t>(length), 0) != 0)
            return false;
    }
    return true;
}

enum MOVE_RESULT { MOVED, NOT_WRITTEN, NOT_RENAMED };

// Writes `text` into the temporary file and renames it onto `target`. The
// temporary file is gone afterwards, whatever happened.
//
// write(2) hands the text to the kernel, so there is no buffer of ours to
// flush: a reader, or this process dying, sees the old file or the new one.
MOVE_RESULT move_into_place(int temp_fd, const string& temp, const string& target, const string& text) {
    bool written = write_all(temp_fd, text);
    // A close error may mean the text never reached the file: keep the old one.
    if (::close(temp_fd) != 0) written = false;
    if (written && ::rename(temp.c_str(), target.c_str()) == 0) return MOVED;
    ::unlink(temp.c_str());
    return written ? NOT_RENAMED : NOT_WRITTEN;
}

// Saves where there is no file yet.
bool save_new(const string& target, const string& text) {
    string temp;
    int temp_fd = create_temporary(target, 0666, temp);
    if (temp_fd < 0) return create_in_place(target, text);
    if (move_into_place(temp_fd, temp, target, text) == NOT_RENAMED) return create_in_place(target, text);
    return true;
}

// Saves over the regular file `target`, open for writing as `fd`.
void replace_existing(int fd, const struct stat& old_st, const string& target, const string& text) {
    // Every name of a file with several must show the new text.
    if (old_st.st_nlink > 1) {
        overwrite(fd, text);
        return;
    }
    string temp;
    int temp_fd = create_temporary(target, 0600, temp);
    if (temp_fd < 0) {
        overwrite(fd, text);
        return;
    }
    if (!keep_owner_and_mode(temp_fd, old_st) || !keep_extended_attributes(fd, temp_fd)) {
        ::close(temp_fd);
        ::unlink(temp.c_str());
        overwrite(fd, text);
        return;
    }
    if (move_into_place(temp_fd, temp, target, text) == NOT_RENAMED) overwrite(fd, text);
}

}  // namespace

RPL_READ_RESULT rpl_read_file(const char* path, string& text) {
    // O_NONBLOCK: opening a pipe must not wait for a writer.
    int fd = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return RPL_READ_NOT_OPENED;
    struct stat st;
    RPL_READ_RESULT result = RPL_READ_FAILED;
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && read_all(fd, static_cast<std::size_t>(st.st_size), text))
        result = RPL_READ_DONE;
    ::close(fd);
    return result;
}

bool rpl_save_file(const string& path, const string& text) {
    string target = save_target(path);
    if (target.empty()) return create_in_place(path, text);
    // Opening the file for writing is also the check that its user may
    // write it: a file that may not be written is never replaced.
    int fd = ::open(target.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return errno == ENOENT && save_new(target, text);
    struct stat st;
    bool opened = ::fstat(fd, &st) == 0;
    if (opened && S_ISREG(st.st_mode))
        replace_existing(fd, st, target, text);
    else if (opened)
        write_all(fd, text);  // a device or a pipe takes the text
    ::close(fd);
    return opened;
}
