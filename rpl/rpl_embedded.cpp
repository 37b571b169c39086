#include "rpl/rpl_embedded.h"

RPL_EMBEDDED::RPL_EMBEDDED() : m_embedded_type(static_cast<RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM>(0)) {}
RPL_EMBEDDED::RPL_EMBEDDED(const string& name)
    : RPL_REPORT_SECTION(name), m_embedded_type(static_cast<RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM>(0)) {}
RPL_EMBEDDED::~RPL_EMBEDDED() {}

RPL_EMBEDDED* RPL_EMBEDDED::dynamic_cast_to_RPL_EMBEDDED() { return this; }
const RPL_EMBEDDED* RPL_EMBEDDED::dynamic_cast_to_RPL_EMBEDDED() const { return this; }

void RPL_EMBEDDED::set_embedded_type(RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM type) { m_embedded_type = type; }
