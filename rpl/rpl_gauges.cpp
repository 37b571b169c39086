#include "rpl/rpl_gauges.h"

RPL_GAUGES::RPL_GAUGES() {}
RPL_GAUGES::RPL_GAUGES(const string& name) : RPL_REPORT_SECTION(name) {}
RPL_GAUGES::~RPL_GAUGES() {}

RPL_GAUGES* RPL_GAUGES::dynamic_cast_to_RPL_GAUGES() { return this; }
const RPL_GAUGES* RPL_GAUGES::dynamic_cast_to_RPL_GAUGES() const { return this; }

void RPL_GAUGES::init_percentages(RDB_GAUGES_OBJECT* gauges) {
    if (gauges == nullptr) return;
    // The count is not asked in advance: the first missing record ends it.
    for (unsigned int index = 0;; ++index) {
        RDB_GAUGE_DATA* gauge = gauges->get_data_at(index);
        if (gauge == nullptr) return;
        m_percentages.push_back(gauge->is_percentage);
    }
}
