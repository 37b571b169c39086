// Reading an import's input files and listing its folders: the platform's
// calls apart from what the bytes mean. A file is opened without blocking
// (a FIFO or a device named as an input must not hang the import) and read
// only when it is a regular file no larger than a bound; nothing in it is
// ever executed or followed.
#ifndef TOOLS_CORE_INPUT_FILE_H
#define TOOLS_CORE_INPUT_FILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace rpl_toc {

// The largest input file read. The report an import writes must also stay
// within what rpl-toc reads back (kMaxReportFileBytes, report_json.h).
constexpr std::uint64_t kMaxInputFileBytes = std::uint64_t{64} << 20;

struct FileRead {
    std::string bytes;
    std::string error;  // empty on success: "No such file or directory", "not a regular file"...
    bool ok() const { return error.empty(); }
};

// Reads the whole regular file at `path`, following a symbolic link.
FileRead read_input_file(const std::string& path);

enum class EntryKind { file, folder, link_to_folder, other };

struct FolderEntry {
    std::string name;  // the entry's name, its bytes as the file system gives them
    EntryKind kind;
};

struct FolderList {
    std::vector<FolderEntry> entries;  // sorted by name, byte by byte
    std::string error;                 // empty on success
};

// The entries of the folder at `path`, "." and ".." left out.
FolderList list_folder(const std::string& path);

// Whether `path` is a folder (a link to one counts).
bool is_folder(const std::string& path);

}  // namespace rpl_toc

#endif
