// The operations that only look: find, step, count a mark's saves, read
// the settings file, and export, which writes a file of its own but
// changes nothing the library holds.
#include "tools/core/operations.h"

#include <set>

#include "host/host_strings.h"
#include "tools/core/section_info.h"

namespace rpl_toc {
namespace {

// A table or a chart saves its own keys after the common ones: two saves.
std::size_t saves_of_one_write(const RPL_REPORT_SECTION& section) {
    return section.dynamic_cast_to_RPL_TABLE() || section.dynamic_cast_to_RPL_CHART() ? 2 : 1;
}

// The saves of a mark of `section`, at `depth`: each section of its subtree
// writes itself, then each of its ancestors (a folder, one save each).
std::size_t saves_below(const RPL_REPORT_SECTION& section, std::size_t depth) {
    std::size_t saves = saves_of_one_write(section) + depth;
    if (section.m_children)
        for (const RPL_REPORT_SECTION* child : *section.m_children)
            if (child) saves += saves_below(*child, depth + 1);
    return saves;
}

// Appends the checkpoints of a mark of `section`, at `depth`, after `saves`
// saves: the section writes itself, its children each their own subtree
// and ancestors, and then, its subtree all written, its ancestors.
void add_checkpoints(const RPL_REPORT_SECTION& section, std::size_t depth, std::size_t& saves,
                     std::vector<MarkCheckpoint>& out) {
    saves += saves_of_one_write(section);
    if (section.m_children)
        for (const RPL_REPORT_SECTION* child : *section.m_children)
            if (child) add_checkpoints(*child, depth + 1, saves, out);
    out.push_back({saves, &section});
    saves += depth;
}

}  // namespace

std::vector<MarkCheckpoint> mark_checkpoints(Session& session, const std::vector<std::string>& paths) {
    std::vector<MarkCheckpoint> out;
    std::set<const RPL_REPORT_SECTION*> named;
    std::size_t saves = 0;
    for (const std::string& path : paths)
        if (const RPL_REPORT_SECTION* section = session.section(path))
            if (named.insert(section).second)
                add_checkpoints(*section, static_cast<std::size_t>(section_depth(*section)), saves, out);
    return out;
}

Outcome<RPL_REPORT_SECTION*> find_section(Session& session, const std::string& path) {
    RPL_REPORT_SECTION* section = session.section(path);
    if (!section) return Refusal{Refused::unknown_path, path};
    return section;
}

std::optional<std::string> step_from(Session& session, const std::string& path, bool forward) {
    string from = to_rpl(path);
    string to = forward ? session.toc().get_next_section(from) : session.toc().get_previous_section(from);
    if (to.empty()) return std::nullopt;
    return to_std(to);
}

Outcome<std::optional<std::string>> step_from_section(Session& session, const std::string& path, bool forward) {
    if (!session.section(path)) return Refusal{Refused::unknown_path, path};
    return step_from(session, path, forward);
}

std::size_t saves_of_mark(Session& session, const std::vector<std::string>& paths) {
    std::size_t saves = 0;
    for (const std::string& path : std::set<std::string>(paths.begin(), paths.end()))
        if (const RPL_REPORT_SECTION* section = session.section(path))
            saves += saves_below(*section, static_cast<std::size_t>(section_depth(*section)));
    return saves;
}

SettingsFileRead read_settings_file(Session& session) {
    SettingsFileRead out;
    out.settings_file = session.settings_file();
    out.state = settings_file_state(out.settings_file);
    return out;
}

Outcome<ReportWritten> export_report(Session& session, ReportFormat format, const std::string& file) {
    ReportWritten written = write_report_file(session.toc(), file, format);
    if (written.error.empty()) return written;
    Refusal refusal{Refused::report_not_written, file};
    refusal.detail = written.error;
    return refusal;
}

}  // namespace rpl_toc
