// A folder of the report: groups other sections. Every TOC's root is one.
#ifndef RPL_FOLDER_H
#define RPL_FOLDER_H

#include "rpl/rpl_report_section.h"

class RPL_EXPORT RPL_FOLDER : public RPL_REPORT_SECTION {
public:
    RPL_FOLDER();
    explicit RPL_FOLDER(const string& name);
    ~RPL_FOLDER() override;

    RPL_FOLDER* dynamic_cast_to_RPL_FOLDER() override;
    const RPL_FOLDER* dynamic_cast_to_RPL_FOLDER() const override;
};

#endif
