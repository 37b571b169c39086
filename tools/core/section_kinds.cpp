#include "tools/core/section_kinds.h"

#include <algorithm>
#include <limits>

#include "host/host_strings.h"
#include "tools/core/settings_rules.h"

namespace rpl_toc {

namespace {

using Json = nlohmann::ordered_json;

// The most columns and rows a table can have, as the report schema bounds
// "columns" and "rows".
constexpr std::uint64_t kMostColumns = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t kMostRows = std::numeric_limits<std::int32_t>::max();

std::string number(long long value) { return std::to_string(value); }
std::string yes_no(bool value) { return value ? "yes" : "no"; }

template <class List, class Format>
std::string joined(const List& list, Format format) {
    if (list.empty()) return "(none stored)";
    std::string out;
    for (std::size_t i = 0; i < list.size(); ++i) out += (i ? ", " : "") + format(list[i]);
    return out;
}

const char* letter(RPL_TABLE::ALIGNMENT a) { return a == RPL_TABLE::LEFT ? "L" : "R"; }

LabelledValues no_values(const RPL_REPORT_SECTION&, bool) { return {}; }
void no_json(Json&, const RPL_REPORT_SECTION&) {}
bool no_settings(const RPL_REPORT_SECTION&, const RPL_REPORT_SECTION&) { return true; }

// ---- Folder ---------------------------------------------------------------------

bool is_folder(const RPL_REPORT_SECTION& s) { return s.dynamic_cast_to_RPL_FOLDER() != nullptr; }
std::string folder_summary(const RPL_REPORT_SECTION&) { return "folder"; }

std::unique_ptr<RDB_OBJECT> build_folder(ReportFields& fields, int, const std::string& name) {
    std::unique_ptr<RDB_FOLDER_OBJECT> out;
    if (fields.read_bool("link"))
        out = std::make_unique<RDB_LINK_RPT_OBJECT>(name);
    else
        out = std::make_unique<RDB_FOLDER_OBJECT>(name);
    fields.read_children(*out);
    return out;
}

// ---- Text -----------------------------------------------------------------------

const RPL_TEXT& text(const RPL_REPORT_SECTION& s) { return *s.dynamic_cast_to_RPL_TEXT(); }
bool is_text(const RPL_REPORT_SECTION& s) { return s.dynamic_cast_to_RPL_TEXT() != nullptr; }
LabelledValues text_values(const RPL_REPORT_SECTION& s, bool) { return {{"HTML", yes_no(text(s).m_is_html)}}; }
std::string text_summary(const RPL_REPORT_SECTION& s) { return text(s).m_is_html ? "text, HTML" : "text, plain"; }
void text_json(Json& out, const RPL_REPORT_SECTION& s) { out["html"] = text(s).m_is_html; }

std::unique_ptr<RDB_OBJECT> build_text(ReportFields& fields, int, const std::string& name) {
    auto out = std::make_unique<RDB_TEXT_OBJECT>(name, fields.read_bool("html"));
    out->set_text(fields.read_string("text"));
    return out;
}

// ---- Table ----------------------------------------------------------------------

const RPL_TABLE& table(const RPL_REPORT_SECTION& s) { return *s.dynamic_cast_to_RPL_TABLE(); }
bool is_table(const RPL_REPORT_SECTION& s) { return s.dynamic_cast_to_RPL_TABLE() != nullptr; }

LabelledValues table_values(const RPL_REPORT_SECTION& s, bool with_empty_lists) {
    const RPL_TABLE& t = table(s);
    auto as_number = [](int v) { return number(v); };
    auto as_letter = [](RPL_TABLE::ALIGNMENT a) { return std::string(letter(a)); };
    LabelledValues out{{"columns", number(t.m_num_columns)}};
    if (with_empty_lists || !t.m_column_width.empty()) out.emplace_back("widths", joined(t.m_column_width, as_number));
    if (with_empty_lists || !t.m_column_alignment.empty())
        out.emplace_back("alignments", joined(t.m_column_alignment, as_letter));
    if (with_empty_lists || !t.m_display_column.empty())
        out.emplace_back("order", joined(t.m_display_column, as_number));
    out.emplace_back("row test failed", yes_no(t.m_row_test_failed));
    return out;
}

std::string table_summary(const RPL_REPORT_SECTION& s) {
    const RPL_TABLE& t = table(s);
    std::string out = "table, " + number(t.m_num_columns) + (t.m_num_columns == 1 ? " column" : " columns");
    if (t.m_row_test_failed) out += ", row test failed";
    return out;
}

// The column lists as stored, not padded to the columns.
void table_json(Json& out, const RPL_REPORT_SECTION& s) {
    const RPL_TABLE& t = table(s);
    Json alignments = Json::array();
    for (RPL_TABLE::ALIGNMENT a : t.m_column_alignment) alignments.push_back(letter(a));
    out["columns"] = t.m_num_columns;
    out["widths"] = Json(std::vector<int>(t.m_column_width.begin(), t.m_column_width.end()));
    out["alignments"] = alignments;
    out["order"] = Json(std::vector<int>(t.m_display_column.begin(), t.m_display_column.end()));
    out["row_test_failed"] = t.m_row_test_failed;
}

std::unique_ptr<RPL_REPORT_SECTION> blank_table(const RPL_REPORT_SECTION& s) {
    auto out = std::make_unique<RPL_TABLE>();
    out->m_num_columns = table(s).m_num_columns;
    return out;
}

// The first `columns` items of two lists, a missing item as `fallback`: the
// getters' reading of a list.
template <class List>
bool same_items(const List& a, const List& b, std::uint32_t columns, typename List::value_type fallback) {
    for (std::uint32_t i = 0; i < columns; ++i)
        if ((i < a.size() ? a[i] : fallback) != (i < b.size() ? b[i] : fallback)) return false;
    return true;
}

// The alignments are saved with the widths.
bool table_holds(const RPL_REPORT_SECTION& held, const RPL_REPORT_SECTION& read) {
    const RPL_TABLE& h = table(held);
    const RPL_TABLE& r = table(read);
    std::uint32_t n = h.m_num_columns;
    bool widths_saved = list_is_stored(h.m_column_width.size(), n);
    bool order_saved = list_is_stored(h.m_display_column.size(), n);
    if (widths_saved && !(same_items(h.m_column_width, r.m_column_width, n, 0) &&
                          same_items(h.m_column_alignment, r.m_column_alignment, n, RPL_TABLE::LEFT)))
        return false;
    return !order_saved || same_items(h.m_display_column, r.m_display_column, n, 0);
}

std::size_t longest_row(const std::vector<std::vector<RDB_CELL>>& cells) {
    std::size_t out = 0;
    for (const auto& row : cells) out = std::max(out, row.size());
    return out;
}

// A table's contents: its headings and cells. Without "columns" the table
// has as many columns as its widest line; with it, no line may be wider.
// Returns the column count.
std::uint32_t read_table_contents(ReportFields& fields, RDB_TABLE_OBJECT& table, bool columns_given,
                                  std::uint64_t columns) {
    std::vector<std::string> headings = fields.read_string_array("headings");
    if (columns_given && headings.size() > columns)
        fields.refuse("headings", std::to_string(headings.size()) + " headings; the table has " +
                                      std::to_string(columns) + (columns == 1 ? " column" : " columns"));
    std::vector<std::vector<RDB_CELL>> cells =
        fields.read_cells("cells", columns_given ? columns : kMostColumns);
    if (!columns_given) columns = std::max(headings.size(), longest_row(cells));
    table.set_headings(std::move(headings));
    table.set_cells(std::move(cells));
    return static_cast<std::uint32_t>(columns);
}

// "rows" defaults to the rows of cells given, or to the row test's answers
// when there are more of them.
std::unique_ptr<RDB_OBJECT> build_table(ReportFields& fields, int type, const std::string& name) {
    bool columns_given = fields.has("columns");
    auto columns = static_cast<std::uint32_t>(fields.read_integer("columns", 0));
    std::unique_ptr<RDB_TABLE_OBJECT> out;
    if (fields.has("row_test"))
        out = std::make_unique<RDB_ROW_TEST_TABLE_OBJECT>(name, columns, fields.read_bool_array("row_test"), type);
    else
        out = std::make_unique<RDB_TABLE_OBJECT>(name, columns, 0, type);
    out->set_number_of_columns(read_table_contents(fields, *out, columns_given, columns));
    auto given_rows = static_cast<std::int64_t>(out->get_cells().size());
    std::int64_t rows = std::max<std::int64_t>(out->get_number_of_rows(), std::min<std::int64_t>(given_rows, kMostRows));
    out->set_number_of_rows(static_cast<int>(fields.read_integer("rows", rows)));
    return out;
}

// ---- Chart ----------------------------------------------------------------------

const RPL_CHART& chart(const RPL_REPORT_SECTION& s) { return *s.dynamic_cast_to_RPL_CHART(); }
bool is_chart(const RPL_REPORT_SECTION& s) { return s.dynamic_cast_to_RPL_CHART() != nullptr; }
LabelledValues chart_values(const RPL_REPORT_SECTION& s, bool) {
    return {{"chart type", number(chart(s).m_chart_type)}};
}
std::string chart_summary(const RPL_REPORT_SECTION& s) { return "chart, type " + number(chart(s).m_chart_type); }
void chart_json(Json& out, const RPL_REPORT_SECTION& s) { out["chart_type"] = chart(s).m_chart_type; }
std::unique_ptr<RPL_REPORT_SECTION> blank_chart(const RPL_REPORT_SECTION&) { return std::make_unique<RPL_CHART>(); }

bool chart_holds(const RPL_REPORT_SECTION& held, const RPL_REPORT_SECTION& read) {
    int type = chart(held).m_chart_type;
    return !is_chart_type(type) || chart(read).m_chart_type == type;
}

// A chart is a table drawn as a chart: its columns are those of its data.
std::unique_ptr<RDB_OBJECT> build_chart(ReportFields& fields, int, const std::string& name) {
    auto out = std::make_unique<RDB_CHART_TABLE_OBJECT>(
        name, static_cast<int>(fields.read_integer("chart_type", 0)));
    out->set_number_of_columns(read_table_contents(fields, *out, false, 0));
    out->set_number_of_rows(static_cast<int>(std::min<std::size_t>(out->get_cells().size(), kMostRows)));
    return out;
}

// ---- Embedded -------------------------------------------------------------------

const RPL_EMBEDDED& embedded(const RPL_REPORT_SECTION& s) { return *s.dynamic_cast_to_RPL_EMBEDDED(); }
bool is_embedded(const RPL_REPORT_SECTION& s) { return s.dynamic_cast_to_RPL_EMBEDDED() != nullptr; }

LabelledValues embedded_values(const RPL_REPORT_SECTION& s, bool) {
    return {{"embedded type", number(embedded(s).m_embedded_type)}, {"info", to_std(embedded(s).m_info_str)}};
}

std::string embedded_summary(const RPL_REPORT_SECTION& s) {
    return "embedded, type " + number(embedded(s).m_embedded_type);
}

void embedded_json(Json& out, const RPL_REPORT_SECTION& s) {
    out["embedded_type"] = static_cast<int>(embedded(s).m_embedded_type);
    out["info"] = to_std(embedded(s).m_info_str);
}

std::unique_ptr<RDB_OBJECT> build_embedded(ReportFields& fields, int, const std::string& name) {
    auto type = static_cast<RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM>(fields.read_integer("embedded_type", 0));
    return std::make_unique<RDB_EMBEDDED_OBJECT>(name, type, fields.read_string("info"));
}

// ---- Summary --------------------------------------------------------------------

bool is_summary(const RPL_REPORT_SECTION& s) { return s.dynamic_cast_to_RPL_CMP_SUMMARY() != nullptr; }
std::string summary_summary(const RPL_REPORT_SECTION&) { return "summary"; }

std::unique_ptr<RDB_OBJECT> build_summary(ReportFields& fields, int, const std::string& name) {
    auto out = std::make_unique<RDB_CMP_SUMMARY_OBJECT>(name);
    for (auto& item : fields.read_items("items")) out->add_item(item.first, item.second);
    return out;
}

// ---- Gauges ---------------------------------------------------------------------

const RPL_GAUGES& gauges(const RPL_REPORT_SECTION& s) { return *s.dynamic_cast_to_RPL_GAUGES(); }
bool is_gauges(const RPL_REPORT_SECTION& s) { return s.dynamic_cast_to_RPL_GAUGES() != nullptr; }

LabelledValues gauges_values(const RPL_REPORT_SECTION& s, bool) {
    const RPL_GAUGES& g = gauges(s);
    auto as_word = [](bool percentage) { return std::string(percentage ? "percentage" : "value"); };
    LabelledValues out{{"gauges", number(static_cast<long long>(g.m_percentages.size()))}};
    if (!g.m_percentages.empty()) out.emplace_back("shown as", joined(g.m_percentages, as_word));
    return out;
}

std::string gauges_summary(const RPL_REPORT_SECTION& s) {
    const RPL_GAUGES& g = gauges(s);
    std::size_t percentages = 0;
    for (bool p : g.m_percentages) percentages += p ? 1 : 0;
    return "gauges, " + number(static_cast<long long>(g.m_percentages.size())) + " (" +
           number(static_cast<long long>(percentages)) + " in %)";
}

void gauges_json(Json& out, const RPL_REPORT_SECTION& s) {
    out["percentages"] = Json(std::vector<bool>(gauges(s).m_percentages.begin(), gauges(s).m_percentages.end()));
}

std::unique_ptr<RDB_OBJECT> build_gauges(ReportFields& fields, int, const std::string& name) {
    auto out = std::make_unique<RDB_GAUGES_OBJECT>(name);
    for (const RDB_GAUGE_DATA& gauge : fields.read_gauges("gauges")) out->add_gauge(gauge);
    return out;
}

const std::vector<SectionKind>& kinds() {
    static const std::vector<SectionKind> rows = {
        {"folder", {RDB_OBJECT_TYPE_FOLDER},
         is_folder, no_values, folder_summary, no_json, nullptr, no_settings, build_folder},
        {"text", {RDB_OBJECT_TYPE_TEXT},
         is_text, text_values, text_summary, text_json, nullptr, no_settings, build_text},
        {"table", {RDB_OBJECT_TYPE_TABLE, RDB_OBJECT_TYPE_TABLE_2, RDB_OBJECT_TYPE_TABLE_3},
         is_table, table_values, table_summary, table_json, blank_table, table_holds, build_table},
        {"chart", {RDB_OBJECT_TYPE_CHART},
         is_chart, chart_values, chart_summary, chart_json, blank_chart, chart_holds, build_chart},
        {"embedded", {RDB_OBJECT_TYPE_EMBEDDED},
         is_embedded, embedded_values, embedded_summary, embedded_json, nullptr, no_settings, build_embedded},
        {"summary", {RDB_OBJECT_TYPE_CMP_SUMMARY},
         is_summary, no_values, summary_summary, no_json, nullptr, no_settings, build_summary},
        {"gauges", {RDB_OBJECT_TYPE_GAUGES},
         is_gauges, gauges_values, gauges_summary, gauges_json, nullptr, no_settings, build_gauges},
    };
    return rows;
}

}  // namespace

const SectionKind* kind_of(const RPL_REPORT_SECTION& section) {
    for (const SectionKind& kind : kinds())
        if (kind.matches(section)) return &kind;
    return nullptr;
}

const SectionKind* kind_of_object_type(int type) {
    for (const SectionKind& kind : kinds())
        for (RDB_OBJECT_TYPE t : kind.object_types)
            if (t == type) return &kind;
    return nullptr;
}

}  // namespace rpl_toc
