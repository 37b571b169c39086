// Files and paths of the stand-in host.
#include <sys/stat.h>

#include "host/host.h"
#include "host/host_strings.h"

namespace {

std::string& db_dir() {
    static auto* dir = new std::string(".");  // never destroyed: used at unload
    return *dir;
}

}  // namespace

void host_set_db_dir(const std::string& directory) { db_dir() = directory; }
std::string host_db_dir() { return db_dir(); }

FIO_PATH::FIO_PATH() = default;
FIO_PATH::FIO_PATH(const std::string& directory) : m_directory(directory) {}

void FIO_PATH::base(const string& name) { m_base = to_std(name); }

void FIO_PATH::extension(FIO_EXTENSION_TYPE type, FIO_EXTENSION_TYPE alternative) {
    const char* text = fio_extension_text(type);
    if (*text == '\0' && alternative != FIO_EXTENSION_NONE) text = fio_extension_text(alternative);
    m_extension = text;
}

string FIO_PATH::fullpath() const {
    std::string path = m_directory;
    if (!path.empty() && path.back() != '/') path += '/';
    path += m_base;
    if (!m_extension.empty()) path += "." + m_extension;
    return to_rpl(path);
}

FIO_PATH gen_get_db_dir_path() { return FIO_PATH(db_dir()); }

const char* fio_extension_text(FIO_EXTENSION_TYPE type) {
    switch (type) {
        case FIO_EXTENSION_REPORT_SETTINGS:
            return "rplset";
        default:
            return "";
    }
}

bool FIO_FILE_SYSTEM::exists(const char* path) {
    struct stat st;
    return path != nullptr && ::stat(path, &st) == 0;
}
