// Host files and paths.
#ifndef H_FIO_H
#define H_FIO_H

#include <string>

#include "h/gen_string.h"

// Default visibility: these are the host's symbols, also where a module
// built with hidden visibility includes them (see h/mem_alloc_sys.h).
#pragma GCC visibility push(default)

// The host's catalogue of file extensions. Only the values the library uses
// are named; -1 means "none" where an alternative is asked for.
enum FIO_EXTENSION_TYPE {
    FIO_EXTENSION_NONE = -1,
    FIO_EXTENSION_REPORT_SETTINGS = 96,
};

// A path made of a directory, a base name and an extension.
class FIO_PATH {
public:
    FIO_PATH();
    explicit FIO_PATH(const std::string& directory);

    // Sets the base name (the file name without extension), as given.
    void base(const string& name);
    // Sets the extension from the catalogue. `alternative` is used when
    // `type` has no text of its own; FIO_EXTENSION_NONE selects none.
    void extension(FIO_EXTENSION_TYPE type, FIO_EXTENSION_TYPE alternative);
    // Directory, "/", base name, then "." and the extension when there is
    // one. An empty directory gives a path relative to the working directory.
    string fullpath() const;

private:
    std::string m_directory;
    std::string m_base;
    std::string m_extension;
};

// The project's database directory. Returned by value; never fails. The
// stand-in host answers what host_set_db_dir set, "." until then.
FIO_PATH gen_get_db_dir_path();

class FIO_FILE_SYSTEM {
public:
    // Whether something exists at `path` (a file, a directory, anything
    // stat can see, following symbolic links, so a dangling link does not
    // exist). A null path does not exist.
    static bool exists(const char* path);
};

#pragma GCC visibility pop

#endif
