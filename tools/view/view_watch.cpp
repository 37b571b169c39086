#include "tools/view/view_watch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace rpl_toc {
namespace {

// A save replaces the file by a rename. A write closed on the file itself
// is no sure save: the library opens the file for writing to learn whether
// it may replace it, and saves in place only when it cannot rename.
constexpr std::uint32_t kSaves = IN_MOVED_TO;
constexpr std::uint32_t kOthers = IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_ATTRIB;

}  // namespace

FileWatcher::FileWatcher(std::string path, Hooks hooks, std::chrono::milliseconds tick_every)
    : m_path(std::move(path)), m_hooks(std::move(hooks)), m_tick_every(tick_every) {}

FileWatcher::~FileWatcher() { stop(); }

bool FileWatcher::start() {
    std::string::size_type slash = m_path.rfind('/');
    std::string directory = slash == std::string::npos ? "." : slash == 0 ? "/" : m_path.substr(0, slash);
    m_name = slash == std::string::npos ? m_path : m_path.substr(slash + 1);
    m_inotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_inotify < 0) return false;
    m_wake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (m_wake < 0 || inotify_add_watch(m_inotify, directory.c_str(), kSaves | kOthers | IN_ONLYDIR) < 0) {
        stop();
        return false;
    }
    m_thread = std::thread([this] { run(); });
    return true;
}

void FileWatcher::wake() {
    std::uint64_t one = 1;
    if (m_wake >= 0 && write(m_wake, &one, sizeof one) < 0) {
        // the counter is full: the thread is woken already
    }
}

void FileWatcher::stop() {
    if (m_thread.joinable()) {
        m_stopping = true;
        wake();
        m_thread.join();
    }
    if (m_inotify >= 0) close(m_inotify);
    if (m_wake >= 0) close(m_wake);
    m_inotify = m_wake = -1;
}

void FileWatcher::run() {
    bool ticked = false;
    for (;;) {
        bool ticking = m_hooks.ticking && m_hooks.ticking();
        if (ticked && !ticking && m_hooks.tick) m_hooks.tick();  // the last tick, after the change
        ticked = ticking;
        pollfd fds[2] = {{m_inotify, POLLIN, 0}, {m_wake, POLLIN, 0}};
        int timeout = ticking ? static_cast<int>(m_tick_every.count()) : -1;
        int ready = poll(fds, 2, timeout);
        if (ready < 0 && errno != EINTR) return;
        if (fds[1].revents) {
            std::uint64_t count = 0;
            if (read(m_wake, &count, sizeof count) < 0) {
                // already read
            }
            if (m_stopping) return;
        }
        if (ready > 0 && fds[0].revents) read_events();
        if (ticking && m_hooks.tick) m_hooks.tick();
    }
}

// Reads every event queued and tells of those that name the file, as one
// batch.
void FileWatcher::read_events() {
    alignas(inotify_event) char buffer[64 * 1024];
    std::size_t saves = 0, other = 0;
    for (;;) {
        ssize_t size = read(m_inotify, buffer, sizeof buffer);
        if (size <= 0) break;
        for (ssize_t at = 0; at < size;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            if (event->mask & IN_Q_OVERFLOW) {
                ++other;
                continue;
            }
            if (!event->len || std::strcmp(event->name, m_name.c_str()) != 0) continue;
            if (event->mask & kSaves) ++saves;
            else ++other;
        }
    }
    if ((saves || other) && m_hooks.changed) m_hooks.changed(saves, other);
}

}  // namespace rpl_toc
