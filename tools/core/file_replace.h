// Writing a whole file that a user names, as carefully as the library saves
// its settings file: the export's report file. The text goes to a new file
// beside the target, created under a name nobody can plant beforehand
// (".NAME.PID.RANDOM.tmp", 16 random hexadecimal digits, O_EXCL), and is
// renamed over the target, so a reader, a kill or a full disk leaves the
// old file or the new one, whole, and never a temporary file after a
// failure this process saw.
//
// The target is found by the library's link rule (rpl_save_target): a
// symbolic link is followed, through a chain of them, only when it is owned
// by the writing user or by the owner of its directory, and then stays
// while the file it leads to is replaced. Nothing ever waits on the path:
// every open is non-blocking, and something other than a regular file in
// the target's place (a FIFO, a device, a socket, a directory) is refused
// before anything is written. A replaced file's permission bits stay; its
// owner and group are the writing user's, as for any file a user writes.
#ifndef TOOLS_CORE_FILE_REPLACE_H
#define TOOLS_CORE_FILE_REPLACE_H

#include <string>

namespace rpl_toc {

class FileReplacement {
public:
    // Finds the target of `path` and opens the new file beside it. When
    // that fails, error() says why, in a few words and without the path.
    explicit FileReplacement(const std::string& path);
    // Removes the new file unless commit renamed it into place.
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    // Empty once the new file is open.
    const std::string& error() const { return m_error; }
    // Writes `content` into the new file and renames it over the target:
    // empty when the target holds it; otherwise why not, with the target as
    // it was. Call once, and only when error() is empty.
    std::string commit(const std::string& content);

private:
    std::string m_target;     // the file replaced: the path, or the end of its links
    std::string m_temporary;  // the new file's name; empty once renamed or removed
    int m_fd = -1;            // owned: the new file, open for writing
    std::string m_error;

    bool find_target(const std::string& path);
    bool open_temporary();
};

}  // namespace rpl_toc

#endif
