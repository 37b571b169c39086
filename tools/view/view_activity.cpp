#include "tools/view/view_activity.h"

#include <algorithm>

#include "tools/core/progress_words.h"

namespace rpl_toc {

std::uint64_t Activity::begin(const std::string& what, std::size_t expected_saves,
                              std::vector<ActivityCheckpoint> checkpoints, bool marked) {
    std::uint64_t number = start(what, expected_saves, std::move(checkpoints), marked);
    if (m_on_begin) m_on_begin();
    return number;
}

void Activity::on_begin(std::function<void()> hook) { m_on_begin = std::move(hook); }

std::uint64_t Activity::start(const std::string& what, std::size_t expected_saves,
                              std::vector<ActivityCheckpoint> checkpoints, bool marked) {
    std::lock_guard<std::mutex> lock(m_lock);
    m_busy = true;
    m_what = what;
    m_expected = expected_saves;
    m_landed = 0;
    m_checkpoints = std::move(checkpoints);
    m_next_checkpoint = 0;
    m_marked = marked;
    m_start = std::chrono::steady_clock::now();
    return ++m_begun;
}

void Activity::advance(std::size_t written, std::size_t total) {
    if (m_on_advance) m_on_advance(written, total);
}

void Activity::landed(std::size_t saves) {
    std::lock_guard<std::mutex> lock(m_lock);
    if (m_busy) m_landed += saves;
}

void Activity::on_advance(std::function<void(std::size_t written, std::size_t total)> hook) {
    m_on_advance = std::move(hook);
}

std::pair<bool, std::uint64_t> Activity::state() const {
    std::lock_guard<std::mutex> lock(m_lock);
    return {m_busy, m_begun};
}

void Activity::end() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_busy = false;
    m_checkpoints.clear();
}

// Another program's save may land during the change too: the count never
// passes what the change is expected to make.
std::size_t Activity::done() const { return m_expected ? std::min(m_landed, m_expected) : m_landed; }

std::string Activity::progress_words() const {
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    return rpl_toc::progress_words({m_what, done(), m_expected, seconds});
}

ActivityProgress Activity::take_progress() {
    std::lock_guard<std::mutex> lock(m_lock);
    ActivityProgress out;
    out.busy = m_busy;
    out.change = m_begun;
    if (!m_busy) return out;
    out.sentence = progress_words();
    out.saves_done = done();
    out.expected_saves = m_expected;
    out.elapsed_ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - m_start).count();
    for (; m_next_checkpoint < m_checkpoints.size() && m_checkpoints[m_next_checkpoint].saves <= out.saves_done;
         ++m_next_checkpoint)
        out.passed.push_back(m_checkpoints[m_next_checkpoint].path);
    out.marked = m_marked;
    return out;
}

Json Activity::document() const {
    std::lock_guard<std::mutex> lock(m_lock);
    Json out = json_document();
    out["busy"] = m_busy;
    if (!m_busy) return out;
    out["what"] = m_what;
    out["expected_saves"] = m_expected;
    out["saves_done"] = done();
    out["elapsed_ms"] = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - m_start).count();
    return out;
}

std::string Activity::sentence() const {
    std::lock_guard<std::mutex> lock(m_lock);
    if (!m_busy) return "busy: the viewer is answering another request; try again";
    return "busy: " + progress_words();
}

}  // namespace rpl_toc
