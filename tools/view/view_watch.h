// Watches one file through its directory (inotify): the settings file is
// replaced by rename at every save, so a watch on the file itself would
// follow the old inode. Tells of each batch of events that name the file,
// on a thread of its own, within milliseconds of the save; nothing is read
// or hashed on a timer.
#ifndef TOOLS_VIEW_VIEW_WATCH_H
#define TOOLS_VIEW_VIEW_WATCH_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>

namespace rpl_toc {

class FileWatcher {
public:
    struct Hooks {
        // `saves`: the file replaced by a rename; `other`: written and
        // closed, created, removed, renamed away or its mode changed. A
        // lost event (the kernel's queue overflowed) counts as other.
        std::function<void(std::size_t saves, std::size_t other)> changed;
        // Called every `tick_every` while `ticking()` is true, and once
        // after it turns false.
        std::function<void()> tick;
        std::function<bool()> ticking;
    };

    FileWatcher(std::string path, Hooks hooks, std::chrono::milliseconds tick_every);
    ~FileWatcher();  // stop()s
    FileWatcher(const FileWatcher&) = delete;
    FileWatcher& operator=(const FileWatcher&) = delete;

    // Starts watching; false when the directory cannot be watched (no
    // inotify, too many watches): the viewer then learns of other
    // programs' saves when it next changes something.
    bool start();
    void stop();
    // Makes the thread look at `ticking()` again now (a change began).
    // Safe from any thread.
    void wake();

private:
    void run();
    void read_events();

    const std::string m_path;
    std::string m_name;  // the file's name in its directory
    Hooks m_hooks;
    std::chrono::milliseconds m_tick_every;
    int m_inotify = -1;
    int m_wake = -1;  // eventfd: wake() and stop() end the thread's wait
    std::atomic<bool> m_stopping{false};
    std::thread m_thread;
};

}  // namespace rpl_toc

#endif
