#include "tools/cli/status_line.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <utility>

namespace rpl_toc {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kDefaultDelaySeconds = 0.5;
constexpr auto kRefresh = std::chrono::milliseconds(200);

double delay_seconds() {
    const char* text = std::getenv("RPL_TOC_PROGRESS_AFTER");
    if (!text || !*text) return kDefaultDelaySeconds;
    char* end = nullptr;
    double seconds = std::strtod(text, &end);
    return *end == '\0' && seconds >= 0 ? seconds : kDefaultDelaySeconds;
}

// A line longer than the terminal would wrap, and a carriage return could
// then no longer take it back.
std::size_t terminal_columns() {
    struct winsize size {};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1) return size.ws_col - 1;
    return 79;
}

void write_all(const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        ssize_t n = ::write(STDERR_FILENO, text.data() + done, text.size() - done);
        if (n <= 0) return;
        done += static_cast<std::size_t>(n);
    }
}

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace

StatusLine::StatusLine(bool wanted, Describe describe) : m_describe(std::move(describe)) {
    if (!wanted || !::isatty(STDERR_FILENO)) return;
    double delay = delay_seconds();
    if (delay == 0) show(0);  // before the operation starts, so it is seen however short
    m_thread = std::thread([this, delay] { keep(delay); });
}

StatusLine::~StatusLine() {
    if (!m_thread.joinable()) return;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_done = true;
    }
    m_wake.notify_one();
    m_thread.join();
    // Blanks over the text, not an escape sequence: any terminal erases so.
    if (!m_shown.empty()) write_all("\r" + std::string(m_shown.size(), ' ') + "\r");
}

void StatusLine::keep(double delay) {
    const Clock::time_point start = Clock::now();
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_wake.wait_for(lock, std::chrono::duration<double>(delay), [this] { return m_done; })) return;
    for (;;) {
        show(seconds_since(start));
        if (m_wake.wait_for(lock, kRefresh, [this] { return m_done; })) return;
    }
}

void StatusLine::show(double seconds) {
    std::string text = "rpl-toc: " + m_describe(seconds);
    text.resize(std::min(text.size(), terminal_columns()));
    if (text == m_shown) return;
    std::string padding(m_shown.size() > text.size() ? m_shown.size() - text.size() : 0, ' ');
    write_all("\r" + text + padding);
    m_shown = text;
}

}  // namespace rpl_toc
