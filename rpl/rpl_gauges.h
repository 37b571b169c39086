// A gauges object of the report: one percentage flag per gauge, copied at
// build time so callers need not go back to the report database.
#ifndef RPL_GAUGES_H
#define RPL_GAUGES_H

#include "rpl/rpl_report_section.h"

class RPL_EXPORT RPL_GAUGES : public RPL_REPORT_SECTION {
public:
    RPL_GAUGES();
    explicit RPL_GAUGES(const string& name);
    ~RPL_GAUGES() override;

    RPL_GAUGES* dynamic_cast_to_RPL_GAUGES() override;
    const RPL_GAUGES* dynamic_cast_to_RPL_GAUGES() const override;

    // Appends each gauge's is_percentage, from index 0 up to the first null
    // record. A null object changes nothing. Appends to what is there.
    void init_percentages(RDB_GAUGES_OBJECT* gauges);

    RPL_BOOL_VECTOR m_percentages;
};

#endif
