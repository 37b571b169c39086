#include "rpl/rpl_file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "rpl/rpl_msg.h"

namespace {

// ---- Opening ----------------------------------------------------------------------------

// Opens `path` and keeps the descriptor only when it leads to a regular
// file, whose status goes into `st`; -1 otherwise. O_NONBLOCK: a FIFO or a
// device someone put in the file's place, also between a look at the name
// and the open, can never hold the open (a FIFO without a reader fails it,
// one with a reader is refused here), and a regular file reads and writes
// as it would without it. A refused file leaves errno EINVAL.
int open_regular(const char* path, int flags, mode_t mode, struct stat& st) {
    int fd = ::open(path, flags | O_NONBLOCK | O_CLOEXEC, mode);
    if (fd < 0) return -1;
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) return fd;
    ::close(fd);
    errno = EINVAL;
    return -1;
}

// ---- Reading ----------------------------------------------------------------------------

// Reads `fd` to its end into `text`, expecting `expected` bytes. A read
// error part-way fails the whole read, and so does a file that has grown
// past RPL_MAX_FILE_SIZE while it was read: no more than one byte past the
// limit is ever read.
bool read_all(int fd, std::size_t expected, string& text) {
    // One byte more than expected, so a file that has not grown is read
    // with a single call and its end seen with a second.
    text.resize(expected + 1);
    std::size_t used = 0;
    bool whole = true;
    for (;;) {
        if (used > RPL_MAX_FILE_SIZE) {
            whole = false;
            break;
        }
        if (used == text.size()) text.resize(std::min(text.size() * 2, RPL_MAX_FILE_SIZE + 1));
        ssize_t n = ::read(fd, &text[used], text.size() - used);
        if (n > 0) {
            used += static_cast<std::size_t>(n);
        } else if (n == 0) {
            break;
        } else if (errno != EINTR) {
            whole = false;
            break;
        }
    }
    text.resize(used);
    return whole;
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

// Opens (creating it if need be) and writes the regular file at `path` in
// place. True when it could be opened.
bool create_in_place(const string& path, const string& text) {
    // A link made in the name's place since it was looked at is not followed.
    struct stat st;
    int fd = open_regular(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW, 0666, st);
    if (fd < 0) return false;
    overwrite(fd, text);
    ::close(fd);
    return true;
}

// ---- Following symbolic links ----------------------------------------------------------

string directory_of(const string& path) {
    string::size_type slash = path.rfind('/');
    if (slash == string::npos) return ".";
    return slash == 0 ? string("/") : path.substr(0, slash);
}

// Whether a save follows the symbolic link at `path`, whose own status is
// `link_st`: only one owned by the saving user or by the owner of the
// directory that holds it. That is the kernel's rule for sticky
// directories others may write (fs.protected_symlinks), here applied in
// every directory, so a link another user planted in the settings file's
// place never turns a save into a write elsewhere.
bool may_follow(const string& path, const struct stat& link_st) {
    if (link_st.st_uid == ::geteuid()) return true;
    struct stat dir_st;
    return ::stat(directory_of(path).c_str(), &dir_st) == 0 && dir_st.st_uid == link_st.st_uid;
}

// The link's text, made a path from where the link lies. False when it
// cannot be read.
bool link_destination(const string& path, string& destination) {
    char buffer[PATH_MAX];
    ssize_t length = ::readlink(path.c_str(), buffer, sizeof buffer);
    if (length <= 0 || static_cast<std::size_t>(length) >= sizeof buffer) return false;
    destination.assign(buffer, static_cast<std::size_t>(length));
    if (destination[0] != '/') destination = directory_of(path) + "/" + destination;
    return true;
}

// ---- Replacing the file through a rename ------------------------------------------------

// The start of the names of `target`'s temporary files: "." and the start
// of its name. Only the start: a long name must still leave room for the
// rest (".PID.RANDOM.tmp").
string temporary_prefix(const string& target) {
    string::size_type slash = target.rfind('/');
    string prefix(1, '.');
    prefix.append(target, slash == string::npos ? 0 : slash + 1, 64);
    return prefix;
}

// 64 bits from the kernel's random source, as 16 hexadecimal digits. False
// when the kernel gives none.
bool random_part(char (&digits)[17]) {
    unsigned long long bits = 0;
    ssize_t n;
    do n = ::getrandom(&bits, sizeof bits, 0);
    while (n < 0 && errno == EINTR);
    if (n != static_cast<ssize_t>(sizeof bits)) return false;
    std::snprintf(digits, sizeof digits, "%016llx", bits);
    return true;
}

// Creates a new, empty file beside `target` under a name nobody else uses,
// with `mode` as open(2) takes it, so a new settings file gets the umask's
// bits as a plain create would. The name is ".NAME.PID.RANDOM.tmp": the PID
// lets a later save tell a killed save's leftover, and the random part
// means nobody can plant the name beforehand (a FIFO, a link, a file of
// theirs), while O_EXCL makes the name ours alone or fails the open.
int create_temporary(const string& target, mode_t mode, string& temp) {
    string::size_type slash = target.rfind('/');
    string prefix = target.substr(0, slash == string::npos ? 0 : slash + 1) + temporary_prefix(target);
    for (int attempt = 0; attempt < 8; ++attempt) {
        char digits[17];
        if (!random_part(digits)) return -1;
        char suffix[64];
        std::snprintf(suffix, sizeof suffix, ".%ld.%s.tmp", static_cast<long>(::getpid()), digits);
        temp = prefix + suffix;
        struct stat st;
        int fd = open_regular(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL, mode, st);
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

// ---- Temporary files that killed saves left ---------------------------------------------

// Reads the decimal number at `at` in `name` into `number`, moving `at`
// past it. False when there is none or it is larger than an int.
bool read_number(const char* name, std::size_t& at, long& number) {
    std::size_t start = at;
    number = 0;
    while (name[at] >= '0' && name[at] <= '9' && at - start < 10) number = number * 10 + (name[at++] - '0');
    return at > start && !(name[at] >= '0' && name[at] <= '9') && number <= INT_MAX;
}

// Moves `at` past the random part of a temporary file's name: 1 to 16
// lower-case hexadecimal digits (a decimal counter, as older saves named
// them, is one too). False when there is none.
bool skip_random_part(const char* name, std::size_t& at) {
    std::size_t start = at;
    while (at - start < 16 && ((name[at] >= '0' && name[at] <= '9') || (name[at] >= 'a' && name[at] <= 'f'))) ++at;
    return at > start;
}

// The id of the process that made the temporary file `name`, when `name`
// is exactly PREFIX.PID.RANDOM.tmp for `prefix`; otherwise 0.
pid_t maker_of(const char* name, const string& prefix) {
    if (std::strncmp(name, prefix.c_str(), prefix.size()) != 0) return 0;
    std::size_t at = prefix.size();
    long pid = 0;
    if (name[at++] != '.' || !read_number(name, at, pid) || name[at++] != '.' || !skip_random_part(name, at))
        return 0;
    return std::strcmp(name + at, ".tmp") == 0 ? static_cast<pid_t>(pid) : 0;
}

// Removes the temporary files of `target` that saves of processes which no
// longer run left beside it when they were killed: those named as this
// library names them, regular files owned by the saving user, whose maker
// is gone (a process another user runs, or one that runs in another
// machine's or container's process space, counts as running or as gone as
// kill(2) sees it). Nothing is followed: a link of that name is left. One
// pass over the directory `dir` (open).
//
// Since only the start of a long name goes into its temporary files, the
// leftovers of another file whose name starts with the same 64 bytes go
// too; they are as stale as this file's.
void remove_stale_temporaries(DIR* dir, const string& prefix) {
    const uid_t saver = ::geteuid();
    while (const struct dirent* entry = ::readdir(dir)) {
        pid_t maker = maker_of(entry->d_name, prefix);
        if (maker <= 0) continue;
        struct stat st;
        if (::fstatat(::dirfd(dir), entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(st.st_mode) ||
            st.st_uid != saver)
            continue;
        if (::kill(maker, 0) != 0 && errno == ESRCH) ::unlinkat(::dirfd(dir), entry->d_name, 0);
    }
}

// ---- When to sweep ----------------------------------------------------------------------
//
// A sweep reads the whole directory, on every save: a table's mark saves
// four times within milliseconds. A leftover can only be there if the
// directory changed: its name was added. So the process remembers the
// directory as it was after its last save of a file (identity, and the
// times of its last change), and the next save of the same file sweeps
// only when the directory is no longer so before that save changes it
// itself. The directory's own times say whether anyone changed it: every
// entry added or removed sets them.
//
// What this process cannot tell apart are changes others make while it
// saves, since its own temporary file and rename change the directory
// then too. So the record is trusted for a second at most after a sweep:
// a leftover made at that moment goes with the next save that finds the
// directory changed, or with the first save a second after the last sweep.

const long SWEEP_TRUST_NS = 1000000000L;  // one second

struct DIRECTORY_STATE {
    dev_t device;
    ino_t inode;
    struct timespec modified;
    struct timespec changed;
};

// One record: what the process saw after its last save. No allocation
// (the memory manager accounts for every block the library keeps, and this
// lives as long as the process).
struct SWEEP_RECORD {
    bool valid;
    char prefix[80];           // the temporary-file prefix of the file saved
    DIRECTORY_STATE directory;
    struct timespec swept;     // CLOCK_MONOTONIC of the last sweep
};

SWEEP_RECORD& sweep_record() {
    static SWEEP_RECORD record = {};
    return record;
}

bool state_of(const string& directory, DIRECTORY_STATE& state) {
    struct stat st;
    if (::stat(directory.c_str(), &st) != 0) return false;
    state = {st.st_dev, st.st_ino, st.st_mtim, st.st_ctim};
    return true;
}

bool same_time(const struct timespec& a, const struct timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool same_state(const DIRECTORY_STATE& a, const DIRECTORY_STATE& b) {
    return a.device == b.device && a.inode == b.inode && same_time(a.modified, b.modified) &&
           same_time(a.changed, b.changed);
}

struct timespec monotonic_now() {
    struct timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

bool within_trust(const struct timespec& swept, const struct timespec& now) {
    long long elapsed = (now.tv_sec - swept.tv_sec) * 1000000000LL + (now.tv_nsec - swept.tv_nsec);
    return elapsed >= 0 && elapsed < SWEEP_TRUST_NS;
}

// Whether the directory of `target`, seen as `before` just before this
// save changed it, may hold a leftover the last sweep did not see.
bool sweep_needed(const string& prefix, bool seen, const DIRECTORY_STATE& before) {
    const SWEEP_RECORD& record = sweep_record();
    return !seen || !record.valid || prefix.size() >= sizeof record.prefix ||
           std::strcmp(record.prefix, prefix.c_str()) != 0 || !same_state(record.directory, before) ||
           !within_trust(record.swept, monotonic_now());
}

// After the save of `target`: sweeps when `needed`, then records the
// directory as the save and the sweep left it.
void sweep_after_save(const string& target, bool needed) {
    SWEEP_RECORD& record = sweep_record();
    record.valid = false;
    const string prefix = temporary_prefix(target);
    const string directory = directory_of(target);
    if (needed) {
        DIR* dir = ::opendir(directory.c_str());
        if (dir == nullptr) return;
        remove_stale_temporaries(dir, prefix);
        ::closedir(dir);
        record.swept = monotonic_now();
    }
    if (prefix.size() >= sizeof record.prefix || !state_of(directory, record.directory)) return;
    std::memcpy(record.prefix, prefix.c_str(), prefix.size() + 1);
    record.valid = true;
}

}  // namespace

RPL_READ_RESULT rpl_read_file(const char* path, string& text) {
    // O_NONBLOCK: opening a pipe must not wait for a writer.
    int fd = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return RPL_READ_NOT_OPENED;
    struct stat st;
    RPL_READ_RESULT result = RPL_READ_FAILED;
    // The size comes from the file system, so a huge file (a sparse one
    // costs no disk) is refused without a byte read.
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && static_cast<std::size_t>(st.st_size) <= RPL_MAX_FILE_SIZE &&
        read_all(fd, static_cast<std::size_t>(st.st_size), text))
        result = RPL_READ_DONE;
    ::close(fd);
    return result;
}

bool rpl_save_target(const string& path, string& target) {
    target = path;
    // As many links as the kernel follows in one path; past that the end
    // is still a link, which the save then refuses to open (ELOOP).
    for (int links = 0; links < 40; ++links) {
        struct stat st;
        if (::lstat(target.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return true;
        if (!may_follow(target, st)) {
            target.clear();
            return false;
        }
        string destination;
        if (!link_destination(target, destination)) return true;
        target = destination;
    }
    return true;
}

bool rpl_save_file(const string& path, const string& text) {
    // The one cap of the settings file: a text no load would read is never
    // written, so the old file stays whole and stays readable.
    if (text.size() > RPL_MAX_FILE_SIZE) {
        rpl_msg_debug("Settings file %s not saved: %zu bytes, larger than %zu MiB.", path.c_str(), text.size(),
                      RPL_MAX_FILE_SIZE >> 20);
        return false;
    }
    string target;
    if (!rpl_save_target(path, target)) return false;
    // The directory before this save changes it, to tell whether anyone
    // else has since the last sweep.
    DIRECTORY_STATE before;
    bool seen = state_of(directory_of(target), before);
    bool sweep = sweep_needed(temporary_prefix(target), seen, before);
    // Opening the file for writing is also the check that its user may
    // write it: a file that may not be written is never replaced. The
    // target is no link, and one that took its place since is not followed.
    struct stat st;
    int fd = open_regular(target.c_str(), O_WRONLY | O_NOFOLLOW, 0, st);
    // A file without any write bit is one its owner chose to keep as it
    // is. Root may open it all the same; it is left alone for root too.
    if (fd >= 0 && (st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) {
        ::close(fd);
        rpl_msg_debug("Settings file %s left as it is: it has no write permission.", path.c_str());
        return false;
    }
    if (fd < 0) {
        // Only a name with nothing there gets a new file; anything but a
        // regular file in its place (a FIFO, a device) is not written.
        if (errno != ENOENT || !save_new(target, text)) return false;
        sweep_after_save(target, sweep);
        return true;
    }
    replace_existing(fd, st, target, text);
    ::close(fd);
    sweep_after_save(target, sweep);
    return true;
}
