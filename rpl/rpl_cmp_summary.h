// The compilation summary of a report. The default constructor names it
// "Summary"; the builder names it after the report object.
#ifndef RPL_CMP_SUMMARY_H
#define RPL_CMP_SUMMARY_H

#include "rpl/rpl_report_section.h"

class RPL_EXPORT RPL_CMP_SUMMARY : public RPL_REPORT_SECTION {
public:
    RPL_CMP_SUMMARY();
    explicit RPL_CMP_SUMMARY(const string& name);
    ~RPL_CMP_SUMMARY() override;

    RPL_CMP_SUMMARY* dynamic_cast_to_RPL_CMP_SUMMARY() override;
    const RPL_CMP_SUMMARY* dynamic_cast_to_RPL_CMP_SUMMARY() const override;
};

#endif
