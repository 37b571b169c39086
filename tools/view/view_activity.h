// What the library is busy with, for the requests that do not wait for it
// (GET /api/progress, the 503 of a request that finds it busy) and for the
// progress the viewer streams to its pages. A change begins on the thread
// that holds the library; the saves it makes are counted as they land in
// the settings file, by the thread that watches it.
#ifndef TOOLS_VIEW_VIEW_ACTIVITY_H
#define TOOLS_VIEW_VIEW_ACTIVITY_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "tools/core/toc_json.h"

namespace rpl_toc {

// A point of a long change: once `saves` saves have landed, the section at
// `path` and its whole subtree are written.
struct ActivityCheckpoint {
    std::size_t saves;
    std::string path;
};

// Where a change stands: the sentence the viewer says, its counts, and the
// checkpoints passed since the last look.
struct ActivityProgress {
    bool busy = false;
    std::uint64_t change = 0;  // which change: every change begun has a number
    std::string sentence;      // progress_words: "marking ||R||F, 1,200 of 4,041 saves, 2.3 s so far"
    std::size_t saves_done = 0, expected_saves = 0;
    long long elapsed_ms = 0;
    std::vector<std::string> passed;  // paths of the checkpoints passed
    bool marked = false;              // what a mark's passed sections now are
};

// Every member function may be called from any thread.
class Activity {
public:
    // A change starts: `what` in a few words ("marking ||R||F"), the saves
    // it is expected to make, and, for a mark, the checkpoints its saves
    // pass and whether it marks. Returns the change's number.
    std::uint64_t begin(const std::string& what, std::size_t expected_saves,
                        std::vector<ActivityCheckpoint> checkpoints = {}, bool marked = false);
    // A mark has written `written` of the `total` sections it writes (its
    // progress callback, after each section named). Saves are counted as
    // they land, not here: this only runs the hook below.
    void advance(std::size_t written, std::size_t total);
    // Saves seen landing in the settings file while the change runs.
    void landed(std::size_t saves);
    // Runs `hook` at the end of each advance, on the thread of the change:
    // a test's way to act at a known point of a change. Set it while no
    // change runs.
    void on_advance(std::function<void(std::size_t written, std::size_t total)> hook);
    // Runs `hook` after each begin, on the thread of the change: the file
    // watcher starts following the change. Set it while no change runs.
    void on_begin(std::function<void()> hook);
    void end();

    // The state now, with the checkpoints passed since the last call.
    ActivityProgress take_progress();
    // {"format", "busy": false} or {"format", "busy": true, "what",
    // "expected_saves", "saves_done", "elapsed_ms"}.
    Json document() const;
    // "busy: marking ||R||F, 1,200 of 4,041 saves, 2.3 s so far", or
    // for a request that holds the library briefly, that it is busy.
    std::string sentence() const;
    // Whether a change runs, and how many have begun: two equal answers
    // around a look at the file mean no change of this viewer ran between.
    std::pair<bool, std::uint64_t> state() const;

private:
    std::uint64_t start(const std::string& what, std::size_t expected_saves,
                        std::vector<ActivityCheckpoint> checkpoints, bool marked);
    std::string progress_words() const;  // m_lock held
    std::size_t done() const;            // m_lock held

    mutable std::mutex m_lock;
    bool m_busy = false;
    std::string m_what;
    std::size_t m_expected = 0;
    std::size_t m_landed = 0;  // saves seen landing in the file
    std::uint64_t m_begun = 0;
    std::chrono::steady_clock::time_point m_start;
    std::vector<ActivityCheckpoint> m_checkpoints;
    std::size_t m_next_checkpoint = 0;
    bool m_marked = false;
    std::function<void(std::size_t, std::size_t)> m_on_advance;
    std::function<void()> m_on_begin;
};

}  // namespace rpl_toc

#endif
