// Why a settings file cannot be read or written, in the system's words.
// The library reports neither to its caller: it leaves an unreadable file
// alone and uses defaults, and a failed save changes nothing. rpl-toc
// finds the reason itself, without changing the file.
#ifndef TOOLS_CORE_SETTINGS_PROBE_H
#define TOOLS_CORE_SETTINGS_PROBE_H

#include <cstddef>
#include <string>

namespace rpl_toc {

// The largest settings file the library reads, 16 MiB: a larger one counts
// as a file that cannot be read, so defaults are used and nothing is saved
// over it. This mirrors the library's own limit, which is no part of its
// interface; settings_probe.cpp checks at compile time that they agree.
constexpr std::size_t kMaxSettingsFileBytes = std::size_t{16} << 20;

// Empty when the library can load the file at `path` or no file is there;
// otherwise why not: "Permission denied", "Is a directory", "Too many
// levels of symbolic links", "not a regular file", "larger than 16 MiB,
// the most a settings file may be", "cannot be read".
std::string unreadable_reason(const std::string& path);

// Why a save of `path` could fail: a symbolic link the library does not
// follow ("a link owned by another user": owned neither by the saving user
// nor by the owner of its directory, for any link of a chain), the file or
// its directory refuses writing, the file system is full, or a file-size
// limit applies. Opens the file for writing without truncating it and
// writes nothing.
std::string unwritable_reason(const std::string& path);

// The settings file as the user would find it on disk.
struct SettingsFileState {
    bool exists = false;
    std::string unreadable;  // why the library cannot load it; empty when it can or no file is there
    std::string content;     // its bytes, when it exists and can be read
};
SettingsFileState settings_file_state(const std::string& path);

}  // namespace rpl_toc

#endif
