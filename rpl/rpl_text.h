// A block of text of the report, plain or HTML.
#ifndef RPL_TEXT_H
#define RPL_TEXT_H

#include "rpl/rpl_report_section.h"

class RPL_EXPORT RPL_TEXT : public RPL_REPORT_SECTION {
public:
    RPL_TEXT();
    explicit RPL_TEXT(const string& name);
    ~RPL_TEXT() override;

    RPL_TEXT* dynamic_cast_to_RPL_TEXT() override;
    const RPL_TEXT* dynamic_cast_to_RPL_TEXT() const override;

    bool m_is_html;  // the text is HTML rather than plain text
};

#endif
