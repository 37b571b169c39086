// Marking sections for output. The library marks a whole subtree, saving
// every section of it, then recomputes and saves every ancestor; the result
// names the sections whose state that changed.
#include <set>
#include <tuple>
#include <utility>

#include "tools/core/operations.h"
#include "tools/core/save_check.h"

namespace rpl_toc {
namespace {

void add_subtree(const RPL_REPORT_SECTION& section, std::vector<const RPL_REPORT_SECTION*>& out) {
    out.push_back(&section);
    if (section.m_children)
        for (const RPL_REPORT_SECTION* child : *section.m_children)
            if (child) add_subtree(*child, out);
}

// What a mark of `root` writes: its subtree, then each ancestor.
std::vector<const RPL_REPORT_SECTION*> written_by_mark(const RPL_REPORT_SECTION& root) {
    std::vector<const RPL_REPORT_SECTION*> out;
    add_subtree(root, out);
    for (const RPL_REPORT_SECTION* p = root.m_parent; p; p = p->m_parent) out.push_back(p);
    return out;
}

// The part of a section's state a mark can alter.
using MarkState = std::tuple<bool, int, bool>;

MarkState mark_state(const RPL_REPORT_SECTION& section) {
    return {section.m_marked_for_output, section.get_num_marked_for_output(), section.m_settings_changed};
}

// Each section once, in the order first written.
std::vector<const RPL_REPORT_SECTION*> once_each(const std::vector<std::vector<const RPL_REPORT_SECTION*>>& lists) {
    std::vector<const RPL_REPORT_SECTION*> out;
    std::set<const RPL_REPORT_SECTION*> seen;
    for (const auto& list : lists)
        for (const RPL_REPORT_SECTION* section : list)
            if (seen.insert(section).second) out.push_back(section);
    return out;
}

}  // namespace

Outcome<Change> mark_sections(Session& session, const std::vector<std::string>& paths, bool marked,
                              const MarkProgress& progress) {
    Change out;
    for (const std::string& path : paths) {  // every path known before anything changes
        RPL_REPORT_SECTION* section = session.section(path);
        if (!section) return Refusal{Refused::unknown_path, path};
        out.sections.push_back(section);
    }
    std::vector<std::vector<const RPL_REPORT_SECTION*>> writes;
    std::size_t total = 0;
    for (const RPL_REPORT_SECTION* section : out.sections) {
        writes.push_back(written_by_mark(*section));
        total += writes.back().size();
    }
    std::vector<const RPL_REPORT_SECTION*> written = once_each(writes);
    std::vector<MarkState> before;
    for (const RPL_REPORT_SECTION* section : written) before.push_back(mark_state(*section));
    std::size_t done = 0;
    for (std::size_t i = 0; i < out.sections.size(); ++i) {
        out.sections[i]->set_marked_for_output(marked);
        done += writes[i].size();
        if (progress) progress(done, total);
    }
    for (std::size_t i = 0; i < written.size(); ++i)
        if (mark_state(*written[i]) != before[i]) out.changed.push_back(written[i]);
    out.save = check_saved(session, written);
    return out;
}

}  // namespace rpl_toc
