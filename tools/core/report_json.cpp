// Loading a report file: JSON text to stand-in report-database objects.
#include "tools/core/report_json.h"

#include <cstdint>
#include <new>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/core/json_text.h"
#include "tools/core/report_schema.h"
#include "tools/core/section_info.h"
#include "tools/core/section_kinds.h"

namespace rpl_toc {

const char* const kMaxReportFileSize = "16 MiB";

namespace {

using nlohmann::json;

// How an error leaves the recursive walk; load_report_json catches it.
struct LoadError {
    std::string message;
};

std::string invalid_json_message(const json::parse_error& e) { return "invalid JSON at " + parse_error_text(e.what()); }

json* field(json& object, const char* key) {
    auto it = object.find(key);
    return it == object.end() ? nullptr : &*it;
}

// Walks a document that the report schema has accepted and builds the
// objects, emptying each part of the document once it is built, so that
// the two are never held whole at once. What remains to check is what the
// schema cannot state: a table's rows and headings against its "columns",
// the depth of objects, the row-tested rows of the whole report. Keeps the
// JSON pointer of the place it is at, so every error can name it.
class Builder {
public:
    explicit Builder(int max_depth) : m_max_depth(max_depth) {}
    ReportFile report(json& doc);

private:
    // Extends the pointer by one token for the life of the scope.
    class Step {
    public:
        Step(std::string& at, const std::string& token) : m_at(at), m_size(at.size()) {
            m_at += "/" + json_pointer_token(token);
        }
        ~Step() { m_at.resize(m_size); }
        Step(const Step&) = delete;
        Step& operator=(const Step&) = delete;

    private:
        std::string& m_at;
        std::size_t m_size;
    };

    // The fields of the object at the current place, for a kind's builder.
    class Fields : public ReportFields {
    public:
        Fields(Builder& builder, json& object) : m_builder(builder), m_object(object) {}
        bool has(const char* key) const override { return field(m_object, key) != nullptr; }
        std::string read_string(const char* key) override { return m_builder.read_string(m_object, key); }
        bool read_bool(const char* key) override { return m_builder.read_bool(m_object, key); }
        std::int64_t read_integer(const char* key, std::int64_t fallback) override {
            return m_builder.read_integer(m_object, key, fallback);
        }
        std::vector<bool> read_bool_array(const char* key) override {
            return m_builder.read_bool_array(m_object, key);
        }
        std::vector<std::string> read_string_array(const char* key) override {
            return m_builder.read_string_array(m_object, key);
        }
        std::vector<std::vector<RDB_CELL>> read_cells(const char* key, std::uint64_t max_columns) override {
            return m_builder.read_cells(m_object, key, max_columns);
        }
        std::vector<RDB_GAUGE_DATA> read_gauges(const char* key) override { return m_builder.read_gauges(m_object, key); }
        std::vector<std::pair<std::string, std::string>> read_items(const char* key) override {
            return m_builder.read_items(m_object, key);
        }
        [[noreturn]] void refuse(const char* key, const std::string& what) override { m_builder.fail_at(key, what); }
        void read_children(RDB_FOLDER_OBJECT& folder) override { m_builder.read_children(m_object, folder); }

    private:
        Builder& m_builder;
        json& m_object;
    };

    [[noreturn]] void fail(const std::string& what) const;
    [[noreturn]] void fail_at(const std::string& token, const std::string& what);

    std::string read_string(json& object, const char* key);
    bool read_bool(json& object, const char* key);
    std::int64_t read_integer(json& object, const char* key, std::int64_t fallback);
    std::vector<bool> read_bool_array(json& object, const char* key);
    std::vector<std::string> read_string_array(json& object, const char* key);
    std::vector<std::vector<RDB_CELL>> read_cells(json& object, const char* key, std::uint64_t max_columns);
    RDB_CELL read_cell(json& value);
    std::vector<RDB_GAUGE_DATA> read_gauges(json& object, const char* key);
    RDB_GAUGE_DATA read_gauge(json& value);
    double read_number(json& object, const char* key);
    std::vector<std::pair<std::string, std::string>> read_items(json& object, const char* key);
    void read_children(json& object, RDB_FOLDER_OBJECT& folder);

    std::unique_ptr<RDB_FOLDER_OBJECT> main_folder(json& root);
    std::unique_ptr<RDB_OBJECT> object(json& value);
    std::unique_ptr<RDB_OBJECT> kind(json& object, int type, const std::string& name);
    void add_children(RDB_FOLDER_OBJECT& folder, json& children);
    void count_row_tested_rows(RDB_OBJECT& built, json& object);

    int m_max_depth;   // levels below the main folder an object may lie at
    int m_level = 0;   // of the folder whose children are being read
    std::string m_at;  // JSON pointer of the value being read
    std::int64_t m_row_tested_rows = 0;  // of the tables read so far
};

// The error promises one line, and a field name may hold any character.
void Builder::fail(const std::string& what) const {
    throw LoadError{printable((m_at.empty() ? std::string("top level") : m_at) + ": " + what)};
}

void Builder::fail_at(const std::string& token, const std::string& what) {
    Step step(m_at, token);
    fail(what);
}

std::string Builder::read_string(json& object, const char* key) {
    json* value = field(object, key);
    return value ? value->get<std::string>() : std::string();
}

bool Builder::read_bool(json& object, const char* key) {
    json* value = field(object, key);
    return value && value->get<bool>();
}

// The schema keeps every integer within the range its field allows.
std::int64_t Builder::read_integer(json& object, const char* key, std::int64_t fallback) {
    json* value = field(object, key);
    if (!value) return fallback;
    if (value->is_number_unsigned()) return static_cast<std::int64_t>(value->get<std::uint64_t>());
    return value->get<std::int64_t>();
}

std::vector<bool> Builder::read_bool_array(json& object, const char* key) {
    std::vector<bool> out;
    json* value = field(object, key);
    if (!value) return out;
    out.reserve(value->size());
    for (const json& item : *value) out.push_back(item.get<bool>());
    return out;
}

std::vector<std::string> Builder::read_string_array(json& object, const char* key) {
    std::vector<std::string> out;
    json* value = field(object, key);
    if (!value) return out;
    out.reserve(value->size());
    for (json& item : *value) out.push_back(std::move(item.get_ref<std::string&>()));
    return out;
}

// A number keeps its value for charts and its shortest exact text for
// tables (0.250 reads as 0.25): the parser keeps no digits of its own.
RDB_CELL Builder::read_cell(json& value) {
    RDB_CELL cell;
    if (value.is_null()) return cell;
    if (value.is_string()) {
        cell.kind = RDB_CELL::TEXT;
        cell.text = value.get<std::string>();
    } else {
        cell.kind = RDB_CELL::NUMBER;
        cell.number = value.get<double>();
        cell.text = value.dump();
    }
    return cell;
}

std::vector<std::vector<RDB_CELL>> Builder::read_cells(json& object, const char* key, std::uint64_t max_columns) {
    std::vector<std::vector<RDB_CELL>> out;
    json* rows = field(object, key);
    if (!rows) return out;
    Step step(m_at, key);
    out.reserve(rows->size());
    for (std::size_t r = 0; r < rows->size(); ++r) {
        Step row_step(m_at, std::to_string(r));
        json& row = (*rows)[r];
        if (row.size() > max_columns)
            fail("a row of " + std::to_string(row.size()) + " cells; the table has " + std::to_string(max_columns) +
                 (max_columns == 1 ? " column" : " columns"));
        std::vector<RDB_CELL> cells;
        cells.reserve(row.size());
        for (json& cell : row) cells.push_back(read_cell(cell));
        out.push_back(std::move(cells));
        row = json();  // read: the document need not hold it beside the table
    }
    return out;
}

double Builder::read_number(json& object, const char* key) {
    json* value = field(object, key);
    return value ? value->get<double>() : 0.0;
}

RDB_GAUGE_DATA Builder::read_gauge(json& value) {
    RDB_GAUGE_DATA gauge;
    if (value.is_boolean()) {
        gauge.is_percentage = value.get<bool>();
        return gauge;
    }
    gauge.m_name = read_string(value, "name");
    gauge.m_value = read_number(value, "value");
    gauge.m_limit = read_number(value, "maximum");
    gauge.is_percentage = read_bool(value, "percentage");
    return gauge;
}

std::vector<RDB_GAUGE_DATA> Builder::read_gauges(json& object, const char* key) {
    std::vector<RDB_GAUGE_DATA> out;
    json* value = field(object, key);
    if (!value) return out;
    for (json& gauge : *value) out.push_back(read_gauge(gauge));
    return out;
}

std::vector<std::pair<std::string, std::string>> Builder::read_items(json& object, const char* key) {
    std::vector<std::pair<std::string, std::string>> out;
    json* value = field(object, key);
    if (!value) return out;
    for (json& entry : *value) {
        json* item_value = field(entry, "value");
        std::string text;
        if (item_value && item_value->is_string())
            text = item_value->get<std::string>();
        else if (item_value && item_value->is_number())
            text = item_value->dump();
        out.emplace_back(read_string(entry, "name"), text);
    }
    return out;
}

void Builder::read_children(json& object, RDB_FOLDER_OBJECT& folder) {
    json* children = field(object, "children");
    if (!children) return;
    Step step(m_at, "children");
    add_children(folder, *children);
}

ReportFile Builder::report(json& doc) {
    ReportFile out;
    out.name = read_string(doc, "name");
    out.type = static_cast<std::int32_t>(read_integer(doc, "type", 0));
    json* root = field(doc, "root");
    if (root && !root->is_null()) {
        Step step(m_at, "root");
        out.main_folder = main_folder(*root);
    }
    return out;
}

// The main folder. One whose type is not a folder's is kept as a folder
// object with that type code: the library then finds no root folder, as it
// would in a real database.
std::unique_ptr<RDB_FOLDER_OBJECT> Builder::main_folder(json& root) {
    auto type = static_cast<int>(read_integer(root, "type", 0));
    std::string name = read_string(root, "name");
    std::unique_ptr<RDB_FOLDER_OBJECT> out;
    if (type == RDB_OBJECT_TYPE_FOLDER) {
        out.reset(kind(root, type, name).release()->dynamic_cast_to_RDB_FOLDER_OBJECT());
    } else {
        kind(root, type, name);  // checks the fields of its type; the object is not used
        out = std::make_unique<RDB_FOLDER_OBJECT>(name, type);
    }
    out->set_header(read_string(root, "header"));
    out->set_footer(read_string(root, "footer"));
    return out;
}

std::unique_ptr<RDB_OBJECT> Builder::object(json& value) {
    auto type = static_cast<int>(read_integer(value, "type", 0));
    std::unique_ptr<RDB_OBJECT> out = kind(value, type, read_string(value, "name"));
    count_row_tested_rows(*out, value);
    out->set_header(read_string(value, "header"));
    out->set_footer(read_string(value, "footer"));
    return out;
}

// Types that no kind presents carry nothing more than a name.
std::unique_ptr<RDB_OBJECT> Builder::kind(json& object, int type, const std::string& name) {
    const SectionKind* kind = kind_of_object_type(type);
    if (!kind) return std::make_unique<RDB_OBJECT>(type, name);
    Fields fields(*this, object);
    return kind->build(fields, type, name);
}

// The build asks a row-tested table about its rows one by one, so their
// sum over the report is bounded. (A root that is a table is never asked.)
void Builder::count_row_tested_rows(RDB_OBJECT& built, json& object) {
    RDB_TABLE_OBJECT* table = built.dynamic_cast_to_RDB_TABLE_OBJECT();
    if (!table || !built.dynamic_cast_to_RDB_ROW_TEST_OBJECT()) return;
    m_row_tested_rows += table->get_number_of_rows();
    if (m_row_tested_rows > kMaxRowTestedRows)
        fail_at(field(object, "rows") ? "rows" : "row_test",
                "the tables with a row test may have at most " + std::to_string(kMaxRowTestedRows) + " rows in all");
}

void Builder::add_children(RDB_FOLDER_OBJECT& folder, json& children) {
    if (!children.empty() && m_level >= m_max_depth)
        fail("nesting too deep: rpl-toc reads objects at most " + std::to_string(m_max_depth) +
             " levels below the main folder");
    struct Level {
        int& level;
        explicit Level(int& l) : level(l) { ++level; }
        ~Level() { --level; }
    } below(m_level);
    for (std::size_t i = 0; i < children.size(); ++i) {
        json& value = children[i];
        if (value.is_null()) {
            folder.add<RDB_OBJECT>(nullptr);
            continue;
        }
        Step step(m_at, std::to_string(i));
        std::unique_ptr<RDB_OBJECT> child = object(value);
        folder.add(child.get());
        child.release();  // the folder owns it now
        value = json();   // and the document need not hold it beside the object
    }
}

}  // namespace

ReportLoad load_report_json(const std::string& json_text, int max_depth) {
    ReportLoad out;
    // An object at level k (the main folder is level 0) is at JSON depth
    // 2 + 2k, its arrays ("children", "row_test", "gauges", "cells") one
    // deeper and the rows, gauges and items in them two deeper. The parse
    // stops at that depth; the walk checks the levels.
    std::size_t limit = 4 + 2 * static_cast<std::size_t>(max_depth < 0 ? 0 : max_depth);
    try {
        json doc = parse_within_depth<json>(json_text, limit);
        std::string fault = report_schema_error(doc);
        if (!fault.empty()) {
            out.error = printable(fault);
            return out;
        }
        out.report = Builder(max_depth).report(doc);
    } catch (const TooDeep& e) {
        out.error = printable((e.at.empty() ? std::string("top level") : e.at) +
                              ": nesting too deep: rpl-toc reads objects at most " + std::to_string(max_depth) +
                              " levels below the main folder");
    } catch (const LoadError& e) {
        out.error = e.message;
    } catch (const json::parse_error& e) {
        out.error = invalid_json_message(e);
    } catch (const std::bad_alloc&) {
        out.error = "out of memory while loading the report";
    } catch (const std::exception& e) {
        out.error = std::string("cannot load the report: ") + e.what();
    }
    if (!out.ok()) out.report = ReportFile();
    return out;
}

}  // namespace rpl_toc
