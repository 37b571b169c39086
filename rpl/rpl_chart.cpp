#include "rpl/rpl_chart.h"

#include "rpl/rpl_msg.h"
#include "rpl/rpl_report_settings_file.h"

namespace {

const char* const KEY_CHART_TYPE = "CHART_TYPE";

}  // namespace

RPL_CHART::RPL_CHART() : m_chart_type(0) {}
RPL_CHART::RPL_CHART(const string& name) : RPL_REPORT_SECTION(name), m_chart_type(0) {}
RPL_CHART::~RPL_CHART() {}

RPL_CHART* RPL_CHART::dynamic_cast_to_RPL_CHART() { return this; }
const RPL_CHART* RPL_CHART::dynamic_cast_to_RPL_CHART() const { return this; }

bool RPL_CHART::read_acf_settings() {
    RPL_REPORT_SECTION::read_acf_settings();
    RPL_REPORT_SETTINGS_FILE settings;
    if (!load_settings(settings)) return false;

    // An absent key reads as 0, so a chart without a stored type gets type 1
    // whatever the report proposed; other numbers leave the type alone.
    bool taken = true;
    switch (settings.get_value_int(m_rdb_path, KEY_CHART_TYPE, 0)) {
        case 0: m_chart_type = 1; break;
        case 1: m_chart_type = 2; break;
        default: taken = false; break;
    }
    settings.free_storage();
    return taken;
}

void RPL_CHART::write_acf_settings() {
    RPL_REPORT_SECTION::write_acf_settings();
    if (get_report_toc() == nullptr || !m_settings_changed) return;

    int stored = 0;
    if (m_chart_type == 2) {
        stored = 1;
    } else if (m_chart_type != 1) {
        rpl_msg_debug("Warning: Unknown chart type.");
    }
    RPL_REPORT_SETTINGS_FILE settings;
    if (!load_settings(settings)) return;
    settings.set_value_int(m_rdb_path, KEY_CHART_TYPE, stored);
    settings.write_section_to_disk();
}
