// Counts how often one file is loaded and saved, by watching its directory
// with inotify. A load is the file opened without writing and closed; a save
// is new content put in its place, either renamed onto it or written into it.
// A save that only probes whether the file may be written (opens and closes
// it for writing without writing) is not a save.
//
// Events are queued by the kernel as the calls happen, so after an operation
// returns, take() sees everything it did to the file. The kernel merges an
// event with an identical one just before it; opens are watched too so that
// two loads in a row stay two closes.
#ifndef TESTS_SUPPORT_FILE_EVENTS_H
#define TESTS_SUPPORT_FILE_EVENTS_H

#include <cstdint>
#include <filesystem>
#include <string>

#include <sys/inotify.h>
#include <unistd.h>

namespace rpltest {

class FileEvents {
public:
    struct COUNTS {
        int loads = 0;
        int saves = 0;
        std::string order;  // "L" for each load and "S" for each save, as they happened
    };

    explicit FileEvents(const std::string& path)
        : name_(std::filesystem::path(path).filename().string()),
          fd_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        std::string directory = std::filesystem::path(path).parent_path().string();
        if (fd_ >= 0)
            ::inotify_add_watch(fd_, directory.c_str(),
                                IN_OPEN | IN_CLOSE_NOWRITE | IN_CLOSE_WRITE | IN_MODIFY | IN_MOVED_TO);
    }
    ~FileEvents() {
        if (fd_ >= 0) ::close(fd_);
    }
    FileEvents(const FileEvents&) = delete;
    FileEvents& operator=(const FileEvents&) = delete;

    bool ok() const { return fd_ >= 0; }

    // What happened to the file since the last call.
    COUNTS take() {
        COUNTS counts;
        alignas(struct inotify_event) char buffer[64 * 1024];
        for (;;) {
            ssize_t n = ::read(fd_, buffer, sizeof buffer);
            if (n <= 0) break;
            for (char* p = buffer; p < buffer + n;) {
                auto* event = reinterpret_cast<struct inotify_event*>(p);
                if (event->len > 0 && name_ == event->name) count(event->mask, counts);
                p += sizeof(struct inotify_event) + event->len;
            }
        }
        return counts;
    }

private:
    void count(std::uint32_t mask, COUNTS& counts) {
        if (mask & IN_MODIFY) modified_ = true;
        if (mask & IN_CLOSE_NOWRITE) add(counts.loads, 'L', counts);
        if (mask & IN_MOVED_TO) add(counts.saves, 'S', counts);
        if (mask & IN_CLOSE_WRITE) {
            if (modified_) add(counts.saves, 'S', counts);
            modified_ = false;
        }
    }

    static void add(int& count, char letter, COUNTS& counts) {
        ++count;
        counts.order += letter;
    }

    std::string name_;
    int fd_;
    bool modified_ = false;
};

}  // namespace rpltest

#endif
