// An embedded object of the report.
#ifndef RPL_EMBEDDED_H
#define RPL_EMBEDDED_H

#include "rpl/rpl_report_section.h"

class RPL_EXPORT RPL_EMBEDDED : public RPL_REPORT_SECTION {
public:
    RPL_EMBEDDED();
    explicit RPL_EMBEDDED(const string& name);
    ~RPL_EMBEDDED() override;

    RPL_EMBEDDED* dynamic_cast_to_RPL_EMBEDDED() override;
    const RPL_EMBEDDED* dynamic_cast_to_RPL_EMBEDDED() const override;

    // Stores the kind. The kind is not persisted, so this neither marks the
    // settings as changed nor touches the settings file.
    void set_embedded_type(RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM type);

    RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM m_embedded_type;  // copied, never interpreted
    string m_info_str;
};

#endif
