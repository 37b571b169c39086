// Why a settings file cannot be read or written, in the system's words.
// The library reports neither to its caller: it leaves an unreadable file
// alone and uses defaults, and a failed save changes nothing. rpl-toc
// finds the reason itself, without changing the file.
#ifndef TOOLS_CORE_SETTINGS_PROBE_H
#define TOOLS_CORE_SETTINGS_PROBE_H

#include <string>

namespace rpl_toc {

// Empty when the library can load the file at `path` or no file is there;
// otherwise why not: "Permission denied", "Is a directory", "Too many
// levels of symbolic links", "not a regular file", "cannot be read".
std::string unreadable_reason(const std::string& path);

// Why a save of `path` could fail: the file or its directory refuses
// writing, the file system is full, or a file-size limit applies. Opens
// the file for writing without truncating it and writes nothing.
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
