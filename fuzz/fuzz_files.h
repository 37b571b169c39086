// Scratch files for the settings-file harnesses: every input is written to
// disk and read back, so they live on a memory file system when there is one.
#ifndef FUZZ_FUZZ_FILES_H
#define FUZZ_FUZZ_FILES_H

#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <unistd.h>

// A directory made once per process, named after `purpose`.
inline std::string fuzz_scratch_dir(const std::string& purpose) {
    for (std::string base : {"/dev/shm/", "/tmp/"}) {
        std::string pattern = base + "rpl-fuzz-" + purpose + "-XXXXXX";
        if (::mkdtemp(&pattern[0]) != nullptr) return pattern;
    }
    std::abort();
}

inline void fuzz_write_file(const std::string& path, const void* data, std::size_t size) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) std::abort();
    for (const char* p = static_cast<const char*>(data); size > 0;) {
        ssize_t n = ::write(fd, p, size);
        if (n <= 0) std::abort();
        p += n;
        size -= static_cast<std::size_t>(n);
    }
    ::close(fd);
}

#endif
