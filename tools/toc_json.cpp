#include "tools/toc_json.h"

#include "tools/section_info.h"

namespace rpl_toc {
namespace {

using json = Json;

void add_table(json& out, const RPL_TABLE& table) {
    json alignments = json::array();
    for (RPL_TABLE::ALIGNMENT a : table.m_column_alignment) alignments.push_back(a == RPL_TABLE::LEFT ? "L" : "R");
    out["columns"] = table.m_num_columns;
    out["widths"] = json(std::vector<int>(table.m_column_width.begin(), table.m_column_width.end()));
    out["alignments"] = alignments;
    out["order"] = json(std::vector<int>(table.m_display_column.begin(), table.m_display_column.end()));
    out["row_test_failed"] = table.m_row_test_failed;
}

void add_kind_values(json& out, const RPL_REPORT_SECTION& section) {
    if (const RPL_TEXT* text = section.dynamic_cast_to_RPL_TEXT()) out["html"] = text->m_is_html;
    if (const RPL_TABLE* table = section.dynamic_cast_to_RPL_TABLE()) add_table(out, *table);
    if (const RPL_CHART* chart = section.dynamic_cast_to_RPL_CHART()) out["chart_type"] = chart->m_chart_type;
    if (const RPL_EMBEDDED* embedded = section.dynamic_cast_to_RPL_EMBEDDED()) {
        out["embedded_type"] = static_cast<int>(embedded->m_embedded_type);
        out["info"] = to_std(embedded->m_info_str);
    }
    if (const RPL_GAUGES* gauges = section.dynamic_cast_to_RPL_GAUGES())
        out["percentages"] = json(std::vector<bool>(gauges->m_percentages.begin(), gauges->m_percentages.end()));
}

}  // namespace

json section_json(const RPL_REPORT_SECTION& section) {
    json out = json::object();
    out["path"] = to_std(section.m_rdb_path);
    out["name"] = to_std(section.m_name);
    out["kind"] = section_kind(section);
    out["object_type"] = section.m_rdb_object_type;
    out["depth"] = section_depth(section);
    out["marked"] = section.m_marked_for_output;
    out["marking"] = section.get_num_marked_for_output();
    out["orientation"] = section.m_page_orientation;
    out["header"] = to_std(section.m_header);
    out["footer"] = to_std(section.m_footer);
    out["settings_changed"] = section.m_settings_changed;
    add_kind_values(out, section);
    return out;
}

json toc_json(RPL_REPORT_TOC& toc) {
    json sections = json::array();
    for (const RPL_REPORT_SECTION* section : toc.m_section_index) sections.push_back(section_json(*section));
    json out = json::object();
    out["report"] = to_std(toc.m_report_name);
    out["type"] = static_cast<int>(toc.m_report_type);
    out["settings_file"] = to_std(toc.get_settings_filename());
    out["sections"] = sections;
    return out;
}

std::string dump_json(const json& value) {
    return value.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace rpl_toc
