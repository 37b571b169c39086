// A chart of the report. Besides what every section persists it keeps its
// chart type in the settings file, under "CHART_TYPE".
#ifndef RPL_CHART_H
#define RPL_CHART_H

#include "rpl/rpl_report_section.h"

class RPL_EXPORT RPL_CHART : public RPL_REPORT_SECTION {
public:
    RPL_CHART();
    explicit RPL_CHART(const string& name);
    ~RPL_CHART() override;

    RPL_CHART* dynamic_cast_to_RPL_CHART() override;
    const RPL_CHART* dynamic_cast_to_RPL_CHART() const override;

    // The base settings, then the chart type. True only when a chart type
    // (stored 0 or 1) was taken from the file.
    bool read_acf_settings() override;
    // The base settings, then the chart type, in a second load and save.
    void write_acf_settings() override;

    // 0 until set; the persisted types are 1 and 2.
    std::int32_t m_chart_type;
};

#endif
