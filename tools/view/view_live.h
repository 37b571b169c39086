// The viewer's pages told at once of what they did not ask: another
// program's save of the settings file (the TOC is built again from it, and
// the pages are sent the sections it changed), and the progress of a long
// change as its saves land. Fed by the FileWatcher's thread.
#ifndef TOOLS_VIEW_VIEW_LIVE_H
#define TOOLS_VIEW_VIEW_LIVE_H

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "tools/core/session.h"
#include "tools/view/view_activity.h"
#include "tools/view/view_events.h"

namespace rpl_toc {

// What a build of the TOC from the settings file as it now is changed:
// the sections that differ in any way, and the sentence that names those
// that show something new ("" when none does).
struct Rebuilt {
    std::vector<const RPL_REPORT_SECTION*> changed;
    std::string notice;
};
// Builds `session`'s TOC again and compares every section with what it
// was. The caller holds the library.
Rebuilt rebuild_and_compare(Session& session);

class LiveUpdates {
public:
    // A change's progress is first sent once it has run this long, so that
    // a quick change shows nothing; then at most every kProgressEvery.
    static constexpr std::chrono::milliseconds kShowAfter{300};
    static constexpr std::chrono::milliseconds kProgressEvery{100};
    static constexpr std::chrono::milliseconds kTickEvery{250};

    // None is owned; all must outlive this.
    LiveUpdates(Session& session, std::mutex& library, Activity& activity, EventHub& events);

    // A request was refused because a change runs: its page shows the
    // refusal on its working line, which the end of the change takes down.
    void told_busy();

    // The FileWatcher's hooks.
    void file_changed(std::size_t saves, std::size_t other);
    void tick();
    bool ticking();

private:
    void send_progress(bool force);
    void take_in_outside_save();

    Session& m_session;
    std::mutex& m_library;
    Activity& m_activity;
    EventHub& m_events;
    std::mutex m_lock;  // guards what follows: the watcher's thread and a change's
    std::uint64_t m_shown_change = 0;  // the change whose progress the pages were sent
    std::chrono::steady_clock::time_point m_last_sent;
    std::uint64_t m_pending_change = 0;  // the change whose passed checkpoints wait in m_pending
    std::vector<std::string> m_pending;
};

}  // namespace rpl_toc

#endif
