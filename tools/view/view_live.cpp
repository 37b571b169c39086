#include "tools/view/view_live.h"

#include <thread>

#include "tools/core/section_info.h"
#include "tools/core/settings_blocks.h"
#include "tools/core/toc_json.h"

namespace rpl_toc {
namespace {

// Paths a notice names before it says how many more there are.
constexpr std::size_t kPathsNamed = 3;

// "" when no section shows anything new.
std::string outside_notice(const std::vector<const RPL_REPORT_SECTION*>& changed) {
    if (changed.empty()) return "";
    std::string out = "Another program saved the settings file; " +
                      (changed.size() == 1 ? std::string("1 section now shows") : with_separators(changed.size()) + " sections now show") +
                      " what it holds: ";
    for (std::size_t i = 0; i < changed.size() && i < kPathsNamed; ++i)
        out += (i ? ", " : "") + printable(to_std(changed[i]->m_rdb_path));
    if (changed.size() > kPathsNamed) out += " and " + with_separators(changed.size() - kPathsNamed) + " more";
    return out + ".";
}

// A section as a person sees it: whether it was changed since it was read
// is no news of the file.
std::string shown_state(const RPL_REPORT_SECTION& section) {
    Json json = section_json(section);
    json.erase("settings_changed");
    return json.dump();
}

}  // namespace

Rebuilt rebuild_and_compare(Session& session) {
    std::vector<std::string> before, shown_before;
    for (const RPL_REPORT_SECTION* section : session.toc().m_section_index) {
        before.push_back(section_json(*section).dump());
        shown_before.push_back(shown_state(*section));
    }
    session.rebuild();
    Rebuilt out;
    std::vector<const RPL_REPORT_SECTION*> shown_changed;
    const auto& index = session.toc().m_section_index;
    bool same_sections = before.size() == index.size();
    for (std::size_t i = 0; i < index.size(); ++i) {
        if (same_sections && section_json(*index[i]).dump() == before[i]) continue;
        out.changed.push_back(index[i]);
        if (!same_sections || shown_state(*index[i]) != shown_before[i]) shown_changed.push_back(index[i]);
    }
    out.notice = outside_notice(shown_changed);
    return out;
}

LiveUpdates::LiveUpdates(Session& session, std::mutex& library, Activity& activity, EventHub& events)
    : m_session(session), m_library(library), m_activity(activity), m_events(events) {}

void LiveUpdates::file_changed(std::size_t saves, std::size_t) {
    if (m_activity.state().first) {
        m_activity.landed(saves);
        send_progress(false);
        return;
    }
    take_in_outside_save();
}

void LiveUpdates::told_busy() {
    std::pair<bool, std::uint64_t> now = m_activity.state();
    std::lock_guard<std::mutex> lock(m_lock);
    if (now.first) m_shown_change = now.second;
}

bool LiveUpdates::ticking() {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_activity.state().first || m_shown_change != 0;
}

void LiveUpdates::tick() {
    if (m_activity.state().first) {
        send_progress(false);
        return;
    }
    std::lock_guard<std::mutex> lock(m_lock);
    if (!m_shown_change) return;
    m_events.publish("idle", {{"change", m_shown_change}});
    m_shown_change = 0;
}

void LiveUpdates::send_progress(bool force) {
    std::lock_guard<std::mutex> lock(m_lock);
    const auto now = std::chrono::steady_clock::now();
    if (!force && m_shown_change && now - m_last_sent < kProgressEvery) return;
    ActivityProgress progress = m_activity.take_progress();
    if (!progress.busy) return;
    // Checkpoints passed before the first event are sent with it.
    if (progress.change != m_pending_change) m_pending.clear();
    m_pending_change = progress.change;
    m_pending.insert(m_pending.end(), progress.passed.begin(), progress.passed.end());
    if (std::chrono::milliseconds(progress.elapsed_ms) < kShowAfter) return;
    Json data = {{"change", progress.change},
                 {"sentence", progress.sentence},
                 {"saves_done", progress.saves_done},
                 {"expected_saves", progress.expected_saves},
                 {"elapsed_ms", progress.elapsed_ms}};
    if (!m_pending.empty()) data["written"] = {{"paths", m_pending}, {"marked", progress.marked}, {"marking", progress.marked ? 2 : 0}};
    m_pending.clear();
    m_events.publish("progress", data);
    m_shown_change = progress.change;
    m_last_sent = now;
}

// The TOC is built again at once, so that a page shows what the file holds
// and the next change starts from it; a change of this viewer that runs
// meanwhile finds the save itself, before and after it saves.
void LiveUpdates::take_in_outside_save() {
    if (!m_session.settings_file_changed_outside()) return;
    std::unique_lock<std::mutex> library(m_library, std::defer_lock);
    while (!library.try_lock()) {
        if (m_activity.state().first) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (!m_session.settings_file_changed_outside()) return;  // a change of this viewer took it in
    std::uint64_t change = m_activity.begin("reading the settings file another program saved", 0);
    Rebuilt rebuilt = rebuild_and_compare(m_session);
    Json sections = Json::array();
    for (const RPL_REPORT_SECTION* section : rebuilt.changed) sections.push_back(section_json(*section));
    Json data = {{"change", change}, {"sections", sections}};
    if (!rebuilt.notice.empty()) data["notice"] = rebuilt.notice;
    data["settings"] = settings_blocks_json(m_session.settings_file(), m_session.last_read(), headers_of(rebuilt.changed));
    m_activity.end();
    library.unlock();
    m_events.publish("outside", data);
}

}  // namespace rpl_toc
