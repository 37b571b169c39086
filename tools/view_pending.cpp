// TEMPORARY stand-ins for change_settings and unsaved_reason.
#include "tools/view_pending.h"

#include <filesystem>
#include <fstream>

#include "tools/section_info.h"

namespace rpl_toc {

void change_settings(RPL_REPORT_SECTION& section, const SetRequest& request) {
    RPL_TABLE* table = section.dynamic_cast_to_RPL_TABLE();
    if (request.has_chart_type && !section.dynamic_cast_to_RPL_CHART())
        throw CommandError(kExitError, "--chart-type applies to charts only");
    if ((!request.widths.empty() || !request.aligns.empty() || !request.orders.empty()) && !table)
        throw CommandError(kExitError, "--width, --align and --order apply to tables only");
    if (request.has_orientation) section.m_page_orientation = request.orientation;
    if (request.has_chart_type) section.dynamic_cast_to_RPL_CHART()->m_chart_type = request.chart_type;
    auto split = [](const std::string& s) { auto eq = s.find('='); return std::make_pair(std::stoul(s.substr(0, eq)), s.substr(eq + 1)); };
    for (auto& w : request.widths) { auto p = split(w); table->set_column_width(p.first, std::stoi(p.second)); }
    for (auto& a : request.aligns) { auto p = split(a); table->set_alignment(p.first, p.second == "L" ? RPL_TABLE::LEFT : RPL_TABLE::RIGHT); }
    for (auto& o : request.orders) { auto p = split(o); table->set_display_column(p.first, std::stoi(p.second)); }
    section.m_settings_changed = true;
    section.write_acf_settings();
}

std::string unsaved_reason(Session& session, const std::vector<const RPL_REPORT_SECTION*>&) {
    std::string path = to_std(session.toc().get_settings_filename());
    std::error_code ec;
    if (std::filesystem::exists(path, ec) && !std::filesystem::is_regular_file(path, ec)) return path + ": Is a directory";
    return "";
}

}  // namespace rpl_toc
