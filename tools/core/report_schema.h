// The report file's definition, docs/report.schema.json, applied by
// valijson: whether a parsed report file is one, and if it is not, the
// first place where it is not, in one line. The rules a schema cannot
// state (how a row compares with its table's "columns", the depth of
// objects, the row-tested rows of a whole report) stay with the loader.
#ifndef TOOLS_CORE_REPORT_SCHEMA_H
#define TOOLS_CORE_REPORT_SCHEMA_H

#include <string>

#include <nlohmann/json.hpp>

namespace rpl_toc {

// Empty when `doc` is valid under the report schema. Otherwise the JSON
// pointer of a place where it is not and what the schema expects there,
// as "/root/children/2/columns: expected an integer >= 0" ("top level" for
// the document itself); not yet made printable. `doc` is the same after
// the call: to name the place, parts of it are set aside and put back.
std::string report_schema_error(nlohmann::json& doc);

}  // namespace rpl_toc

#endif
