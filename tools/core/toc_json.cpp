#include "tools/core/toc_json.h"

#include "tools/core/section_info.h"
#include "tools/core/section_kinds.h"

namespace rpl_toc {

Json section_json(const RPL_REPORT_SECTION& section) {
    Json out = Json::object();
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
    if (const SectionKind* kind = kind_of(section)) kind->add_json(out, section);
    return out;
}

Json json_document(const Json& members) {
    Json out = Json::object();
    out["format"] = kJsonFormat;
    for (auto it = members.begin(); it != members.end(); ++it) out[it.key()] = it.value();
    return out;
}

Json toc_json(RPL_REPORT_TOC& toc) {
    Json sections = Json::array();
    for (const RPL_REPORT_SECTION* section : toc.m_section_index) sections.push_back(section_json(*section));
    Json out = json_document();
    out["report"] = to_std(toc.m_report_name);
    out["type"] = static_cast<int>(toc.m_report_type);
    out["settings_file"] = settings_file_of(toc);
    out["sections"] = sections;
    return out;
}

Json section_document(const RPL_REPORT_SECTION& section) { return json_document(section_json(section)); }

Json sections_document(const std::vector<const RPL_REPORT_SECTION*>& sections) {
    Json list = Json::array();
    for (const RPL_REPORT_SECTION* section : sections) list.push_back(section_json(*section));
    Json out = json_document();
    out["sections"] = list;
    return out;
}

Json change_document(const std::vector<const RPL_REPORT_SECTION*>& sections, bool reloaded) {
    Json list = Json::array();
    for (const RPL_REPORT_SECTION* section : sections) list.push_back(section_json(*section));
    Json out = json_document();
    out["reloaded"] = reloaded;
    out["sections"] = list;
    return out;
}

Json path_document(const std::string* path) {
    Json out = json_document();
    out["path"] = path ? Json(*path) : Json();
    return out;
}

Json settings_file_document(const SettingsFileRead& read) {
    const SettingsFileState& state = read.state;
    bool shown = state.exists && state.unreadable.empty();
    return json_document({{"settings_file", read.settings_file},
                          {"exists", state.exists},
                          {"readable", state.unreadable.empty()},
                          {"content", shown ? Json(state.content) : Json()}});
}

Json export_document(const std::string& file, ReportFormat format, const ReportWritten& written) {
    return json_document({{"file", file},
                          {"as", format == ReportFormat::html ? "html" : "text"},
                          {"sections", written.sections},
                          {"left_out", written.left_out}});
}

std::string dump_json(const Json& value) {
    return value.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json preview_document(const Preview& preview) {
    return json_document({{"path", to_std(preview.section->m_rdb_path)},
                          {"kind", section_kind(*preview.section)},
                          {"html", preview.html},
                          {"rows_shown", preview.drawn.rows_shown},
                          {"rows_total", preview.drawn.rows_total},
                          {"columns_shown", preview.drawn.columns_shown},
                          {"columns_total", preview.drawn.columns_total}});
}

}  // namespace rpl_toc
