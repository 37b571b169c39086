// A line on standard error that says what a long operation is doing, for a
// person at a terminal: it appears once the operation has run for a while
// (half a second, or RPL_TOC_PROGRESS_AFTER seconds), is rewritten in
// place as its text changes, and is erased when the operation ends, so
// that what stays on the screen is the command's output alone. Never shown
// when standard error is not a terminal.
//
// A thread of its own keeps the line while the caller's thread runs the
// library, which never sees that thread: the text comes from `describe`,
// which may read only what is safe to read from another thread (atomics).
#ifndef TOOLS_CLI_STATUS_LINE_H
#define TOOLS_CLI_STATUS_LINE_H

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace rpl_toc {

// The text of the line after `seconds` of the operation, without "rpl-toc: ".
using Describe = std::function<std::string(double seconds)>;

class StatusLine {
public:
    // Shows nothing when `wanted` is false or standard error is not a terminal.
    StatusLine(bool wanted, Describe describe);
    ~StatusLine();  // erases the line
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

private:
    void keep(double delay);  // on the thread: shows the line after `delay` seconds, until done
    void show(double seconds);

    Describe m_describe;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_done = false;
    std::string m_shown;  // the text on the screen; empty: nothing shown
    std::thread m_thread;
};

}  // namespace rpl_toc

#endif
