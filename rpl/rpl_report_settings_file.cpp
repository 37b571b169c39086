#include "rpl/rpl_report_settings_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "h/fio.h"
#include "rpl/rpl_msg.h"

#define RPL_SOURCE_FILE "rpl_report_settings_file.cpp"

namespace {

// ---- Reading the whole file ----------------------------------------------------------

enum READ_RESULT { READ_DONE, READ_NOT_OPENED, READ_FAILED };

// Reads the file into `text` in one go. A read error part-way (a directory
// in the file's place among them) fails the whole read.
READ_RESULT read_whole_file(const char* path, string& text) {
    int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return READ_NOT_OPENED;
    struct stat st;
    std::size_t expected = (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) ? static_cast<std::size_t>(st.st_size) : 0;
    // One byte more than expected, so a file that has not grown is read
    // with a single call and its end seen with a second.
    text.resize(expected + 1);
    std::size_t used = 0;
    READ_RESULT result = READ_DONE;
    for (;;) {
        if (used == text.size()) text.resize(text.size() * 2);
        ssize_t n = ::read(fd, &text[used], text.size() - used);
        if (n > 0) {
            used += static_cast<std::size_t>(n);
        } else if (n == 0) {
            break;
        } else if (errno != EINTR) {
            result = READ_FAILED;
            break;
        }
    }
    ::close(fd);
    text.resize(used);
    return result;
}

// ---- Saving -----------------------------------------------------------------------------

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

// The plain way: open the file itself for writing, truncating it. Used when
// no temporary file can take its place. True when it could be opened.
bool write_in_place(const string& path, const string& text) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) return false;
    write_all(fd, text);
    ::close(fd);
    return true;
}

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

// Writes `text` beside `target` and renames it into place. A failed write
// leaves the old file untouched and removes the temporary file; as with a
// plain save, the result is whether the file could be opened for writing.
//
// write(2) hands the text to the kernel, so there is no buffer of ours to
// flush: a reader, or this process dying, sees the old file or the new one.
// There is deliberately no fsync: every click saves several times, and a
// sync per save would make marking a folder crawl on a slow disk.
bool replace_file(const string& target, const string& text) {
    struct stat old_st;
    bool existed = ::stat(target.c_str(), &old_st) == 0;
    if (existed) {
        // The target itself must be writable, or nothing may replace it.
        int probe = ::open(target.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (probe < 0) return false;
        ::close(probe);
        // Only a regular file is replaced; a device or a pipe takes the text.
        if (!S_ISREG(old_st.st_mode)) return write_in_place(target, text);
    }
    string temp;
    int fd = create_temporary(target, existed ? 0600 : 0666, temp);
    if (fd < 0) return write_in_place(target, text);
    if (existed && !keep_owner_and_mode(fd, old_st)) {
        ::close(fd);
        ::unlink(temp.c_str());
        return write_in_place(target, text);
    }
    bool written = write_all(fd, text);
    // A close error may mean the text never reached the file: keep the old one.
    if (::close(fd) != 0) written = false;
    if (!written) {
        ::unlink(temp.c_str());
        return true;
    }
    if (::rename(temp.c_str(), target.c_str()) != 0) {
        ::unlink(temp.c_str());
        return write_in_place(target, text);
    }
    return true;
}

bool save_file(const string& path, const string& text) {
    string target = save_target(path);
    if (target.empty()) return write_in_place(path, text);
    return replace_file(target, text);
}

}  // namespace

// ---- The store ----------------------------------------------------------------------------

RPL_REPORT_SETTINGS_FILE::RPL_REPORT_SETTINGS_FILE() {}

RPL_REPORT_SETTINGS_FILE::~RPL_REPORT_SETTINGS_FILE() { free_storage(); }

void RPL_REPORT_SETTINGS_FILE::free_storage() {
    for (SECTIONS::value_type& section : m_sections) {
        KEY_VALUES* map = section.second;
        if (!RPL_CHECK(map != NULL)) continue;
        map->clear();
        delete map;
    }
    m_sections.clear();
}

bool RPL_REPORT_SETTINGS_FILE::read_from_disk() {
    free_storage();
    if (m_filename.empty()) return false;
    string text;
    switch (read_whole_file(m_filename.c_str(), text)) {
        case READ_NOT_OPENED:
            // An absent file is an empty settings file; one that is there but
            // cannot be opened must not be taken for empty.
            return !FIO_FILE_SYSTEM::exists(m_filename.c_str());
        case READ_FAILED:
            return false;
        case READ_DONE:
            break;
    }
    parse(text.data(), text.size());
    return true;
}

// One loop over the lines, each classified as the format has it: empty,
// header, key line, anything else. Nothing is trimmed; a line feed ends a
// line and nothing else does (a carriage return stays in the text).
void RPL_REPORT_SETTINGS_FILE::parse(const char* text, std::size_t size) {
    const char* end = text + size;
    KEY_VALUES* current = nullptr;  // null before the first header and under a repeated one
    for (const char* line = text; line < end;) {
        const char* newline = static_cast<const char*>(std::memchr(line, '\n', static_cast<std::size_t>(end - line)));
        const char* line_end = newline ? newline : end;
        std::size_t length = static_cast<std::size_t>(line_end - line);

        if (length == 0) {
            // empty line
        } else if (line[0] == '[') {
            // A file this library wrote is sorted, so the end is the right
            // hint. emplace_hint checks the hint once (try_emplace checks it
            // twice over); a repeated header, which the library never writes,
            // then costs a node made and dropped.
            SECTIONS::iterator it = m_sections.emplace_hint(m_sections.end(), string(line, length), nullptr);
            current = nullptr;
            if (it->second == nullptr) current = it->second = new KEY_VALUES();
        } else if (current != nullptr) {
            const char* equals = static_cast<const char*>(std::memchr(line, '=', length));
            if (equals != nullptr) {
                // The first value of a key stays; later ones are not stored.
                current->emplace_hint(current->end(), string(line, static_cast<std::size_t>(equals - line)),
                                      string(equals + 1, static_cast<std::size_t>(line_end - equals - 1)));
            }
        }
        line = newline ? newline + 1 : end;
    }
}

bool RPL_REPORT_SETTINGS_FILE::write_to_disk() {
    if (m_filename.empty()) {
        free_storage();
        return false;
    }
    // The text goes before the store: freeing one large block while many
    // small ones wait freed makes the C library merge them all there and then.
    bool saved;
    {
        string text;
        format(text);
        saved = save_file(m_filename, text);
    }
    free_storage();
    return saved;
}

// The whole store as the file holds it: sections in order, each header on
// its own line followed by its keys in order as "key=value".
void RPL_REPORT_SETTINGS_FILE::format(string& text) {
    std::size_t size = 0;
    for (const SECTIONS::value_type& section : m_sections) {
        size += section.first.size() + 1;
        if (section.second == nullptr) continue;
        for (const KEY_VALUES::value_type& pair : *section.second) size += pair.first.size() + pair.second.size() + 2;
    }
    text.reserve(size);
    for (const SECTIONS::value_type& section : m_sections) {
        text += section.first;
        text += '\n';
        KEY_VALUES* key_values = section.second;
        if (!RPL_CHECK(key_values != NULL)) continue;
        for (const KEY_VALUES::value_type& pair : *key_values) {
            text += pair.first;
            text += '=';
            text += pair.second;
            text += '\n';
        }
    }
}

// ---- Typed access -------------------------------------------------------------------------

string RPL_REPORT_SETTINGS_FILE::get_value_str(const string& section, const string& key) {
    string header;
    gen_sprintf(&header, "[%s]", section.c_str());
    SECTIONS::iterator it = m_sections.find(header);
    if (it == m_sections.end()) return string();
    KEY_VALUES* key_values = it->second;
    if (!RPL_CHECK(key_values != NULL)) return string();
    KEY_VALUES::iterator pair = key_values->find(key);
    return pair == key_values->end() ? string() : pair->second;
}

int RPL_REPORT_SETTINGS_FILE::get_value_int(const string& section, const string& key, int default_value) {
    string value = get_value_str(section, key);
    return value.empty() ? default_value : gen_local_atoi(value.c_str());
}

void RPL_REPORT_SETTINGS_FILE::set_value_str(const string& section, const string& key, string value) {
    string header;
    gen_sprintf(&header, "[%s]", section.c_str());
    SECTIONS::iterator it = m_sections.find(header);
    if (it == m_sections.end()) it = m_sections.emplace(std::move(header), new KEY_VALUES()).first;
    KEY_VALUES* key_values = it->second;
    if (!RPL_CHECK(key_values != NULL)) return;
    (*key_values)[key] = std::move(value);
}

void RPL_REPORT_SETTINGS_FILE::set_value_int(const string& section, const string& key, int value) {
    string text;
    gen_itoa(value, text, 10);
    set_value_str(section, key, text);
}
