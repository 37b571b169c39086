#include "tools/core/save_check.h"

#include <map>
#include <memory>
#include <string>

#include "host/host.h"
#include "host/host_strings.h"
#include "tools/core/section_kinds.h"
#include "tools/core/settings_probe.h"
#include "tools/core/settings_rules.h"

namespace rpl_toc {
namespace {

// Whether the library loads the file as a section does (the whole file
// read, only that section's block kept): a file it cannot load is one no
// save reached.
bool library_loads(const std::string& settings_file, const string& section) {
    RPL_REPORT_SETTINGS_FILE file;
    file.m_filename = to_rpl(settings_file);
    return file.read_section_from_disk(section);
}

// What the library reads from the file for `held`'s path, into a blank
// section of its kind. (A kind's read answers whether it found its own
// keys, not whether it could load the file, which library_loads checked.)
std::unique_ptr<RPL_REPORT_SECTION> read_back(RPL_REPORT_TOC& toc, const RPL_REPORT_SECTION& held) {
    const SectionKind* kind = kind_of(held);
    std::unique_ptr<RPL_REPORT_SECTION> read =
        kind && kind->blank_like ? kind->blank_like(held) : std::make_unique<RPL_REPORT_SECTION>();
    read->m_rdb_path = held.m_rdb_path;
    read->m_toc = &toc;
    read->read_acf_settings();
    return read;
}

bool holds(const RPL_REPORT_SECTION& held, const RPL_REPORT_SECTION& read) {
    if (read.m_marked_for_output != held.m_marked_for_output) return false;
    int orientation = held.m_page_orientation;
    if (is_orientation(orientation) && read.m_page_orientation != orientation) return false;
    const SectionKind* kind = kind_of(held);
    return !kind || kind->holds_kind_settings(held, read);
}

bool held_by_file(RPL_REPORT_TOC& toc, const std::vector<const RPL_REPORT_SECTION*>& candidates) {
    for (const RPL_REPORT_SECTION* held : candidates) {
        if (holds(*held, *read_back(toc, *held))) return true;
    }
    return false;
}

// Whether the library's last word on a save of `settings_file` is that it
// refused the text for passing the size limit: the one refusal the file
// system cannot show, since nothing of it reached the disk.
bool refused_past_the_limit(const std::string& settings_file) {
    const std::string refused = "Settings file " + settings_file + " not saved:";
    const std::vector<HOST_DEBUG_TRACE>& traces = host_message_log().debug_traces;
    for (auto it = traces.rbegin(); it != traces.rend(); ++it)
        if (it->module == "RPL" && it->text.compare(0, refused.size(), refused) == 0) return true;
    return false;
}

std::string unsaved_reason(const std::string& settings_file) {
    if (refused_past_the_limit(settings_file))
        return "the new text would be larger than " + std::to_string(kMaxSettingsFileBytes >> 20) +
               " MiB, the most a settings file may be";
    return unwritable_reason(settings_file);
}

}  // namespace

SaveCheck check_saved(Session& session, const std::vector<const RPL_REPORT_SECTION*>& written) {
    SaveCheck check;
    check.settings_file = session.settings_file();
    if (!library_loads(check.settings_file, written.empty() ? string() : written.front()->m_rdb_path)) {
        check.unsaved = unreadable_reason(check.settings_file);
        if (check.unsaved.empty()) check.unsaved = "cannot be read";
        return check;
    }
    std::map<std::string, std::vector<const RPL_REPORT_SECTION*>> by_path;
    for (const RPL_REPORT_SECTION* section : written)
        if (section->m_settings_changed) by_path[to_std(section->m_rdb_path)].push_back(section);
    for (const auto& entry : by_path) {
        if (held_by_file(session.toc(), entry.second)) continue;
        check.unsaved = unsaved_reason(check.settings_file);
        return check;
    }
    return check;
}

}  // namespace rpl_toc
