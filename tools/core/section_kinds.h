// Every kind of section rpl-toc knows, one row each: its name, what it
// shows to people and in JSON, and how the report objects it is built from
// are read from a report file. Adding a kind is adding a row in
// section_kinds.cpp and its fields to docs/report.schema.json.
#ifndef TOOLS_CORE_SECTION_KINDS_H
#define TOOLS_CORE_SECTION_KINDS_H

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "h/rdb.h"
#include "rpl/rpl.h"

namespace rpl_toc {

using LabelledValues = std::vector<std::pair<std::string, std::string>>;

// The fields of one report-file object, as a kind's builder reads them.
// The report schema has checked each field's type and range; what a
// builder refuses is what the schema cannot state, with the place of the
// field.
class ReportFields {
public:
    virtual ~ReportFields() = default;
    virtual bool has(const char* key) const = 0;
    virtual std::string read_string(const char* key) = 0;        // "" when absent
    virtual bool read_bool(const char* key) = 0;                 // false when absent
    virtual std::int64_t read_integer(const char* key, std::int64_t fallback) = 0;
    virtual std::vector<bool> read_bool_array(const char* key) = 0;  // empty when absent
    virtual std::vector<std::string> read_string_array(const char* key) = 0;  // empty when absent
    // Rows of cells (strings, numbers, nulls); a row of more than
    // `max_columns` cells is refused. Empty when absent.
    virtual std::vector<std::vector<RDB_CELL>> read_cells(const char* key, std::uint64_t max_columns) = 0;
    // Gauges, each `true`/`false` (whether it shows a percentage) or an
    // object with "name", "value", "maximum" and "percentage".
    virtual std::vector<RDB_GAUGE_DATA> read_gauges(const char* key) = 0;
    // [{"name": ..., "value": string or number}, ...]
    virtual std::vector<std::pair<std::string, std::string>> read_items(const char* key) = 0;
    // Refuses the field `key` of the object with `what`; does not return.
    [[noreturn]] virtual void refuse(const char* key, const std::string& what) = 0;
    // Builds the objects of the "children" array into `folder`.
    virtual void read_children(RDB_FOLDER_OBJECT& folder) = 0;
};

struct SectionKind {
    const char* name;                          // "table"
    std::vector<RDB_OBJECT_TYPE> object_types;  // the report objects built into this kind
    // Whether `section` is of this kind (its checked downcast).
    bool (*matches)(const RPL_REPORT_SECTION& section);
    // The kind's values for people: ("columns", "5"), ("HTML", "yes")... A
    // table's lists that hold nothing are given as "(none stored)", or left
    // out when `with_empty_lists` is false.
    LabelledValues (*values)(const RPL_REPORT_SECTION& section, bool with_empty_lists);
    // The kind in a few words for one line of a tree: "table, 5 columns".
    std::string (*summary)(const RPL_REPORT_SECTION& section);
    // Adds the kind's values to a section's JSON object.
    void (*add_json)(nlohmann::ordered_json& out, const RPL_REPORT_SECTION& section);
    // An empty section of this kind shaped like `section` (a table's column
    // count), for the library to read the kind's settings into; null for
    // kinds that keep no settings of their own, which a plain section reads.
    std::unique_ptr<RPL_REPORT_SECTION> (*blank_like)(const RPL_REPORT_SECTION& section);
    // Whether `read`, read from the file by the library, holds the kind's
    // settings that `held` saves. A value the library does not save (a chart
    // type other than 1 and 2, a list short of the columns) is not compared.
    bool (*holds_kind_settings)(const RPL_REPORT_SECTION& held, const RPL_REPORT_SECTION& read);
    // The report object a report-file object of `type` describes.
    std::unique_ptr<RDB_OBJECT> (*build)(ReportFields& fields, int type, const std::string& name);
};

// The row of `section`'s kind; null for a plain section, which the builder
// never makes.
const SectionKind* kind_of(const RPL_REPORT_SECTION& section);
// The row that builds report objects of `type`; null for the types the
// library does not present.
const SectionKind* kind_of_object_type(int type);

}  // namespace rpl_toc

#endif
