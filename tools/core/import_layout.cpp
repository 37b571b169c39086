#include "tools/core/import_layout.h"

#include <algorithm>
#include <set>

namespace rpl_toc {
namespace {

// A portrait page's text line holds 80 characters (presentation.md).
constexpr std::size_t kPortraitChars = 80;

std::size_t characters(const std::string& utf8) {
    std::size_t n = 0;
    for (unsigned char c : utf8)
        if ((c & 0xC0) != 0x80) ++n;
    return n;
}

std::string cell_text(const ReportJson& cell) {
    if (cell.is_string()) return cell.get<std::string>();
    if (cell.is_null()) return std::string();
    return cell.dump();
}

// "-12.5", "3e9": a cell a spreadsheet would read as a number.
bool looks_like_number(const std::string& text) {
    std::size_t i = 0, n = text.size();
    auto digits = [&] {
        std::size_t start = i;
        while (i < n && text[i] >= '0' && text[i] <= '9') ++i;
        return i > start;
    };
    if (i < n && (text[i] == '-' || text[i] == '+')) ++i;
    bool whole = digits();
    bool fraction = false;
    if (i < n && text[i] == '.') {
        ++i;
        fraction = digits();
    }
    if (!whole && !fraction) return false;
    if (i < n && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        if (i < n && (text[i] == '-' || text[i] == '+')) ++i;
        if (!digits()) return false;
    }
    return i == n;
}

bool is_empty(const ReportJson& cell) { return cell.is_null() || (cell.is_string() && cell.get<std::string>().empty()); }

bool is_number(const ReportJson& cell) {
    return cell.is_number() || (cell.is_string() && looks_like_number(cell.get<std::string>()));
}

struct ColumnShape {
    std::size_t chars = 3;
    bool numbers = false;  // a cell holds a number, or text that reads as one
    bool other = false;    // a cell holds other text
};

std::vector<ColumnShape> column_shapes(const ReportJson& table) {
    std::vector<ColumnShape> columns;
    auto widen = [&](std::size_t column, std::size_t chars) {
        if (columns.size() <= column) columns.resize(column + 1);
        columns[column].chars = std::max(columns[column].chars, std::min<std::size_t>(chars, kMaxColumnChars));
    };
    const ReportJson& headings = table["headings"];
    for (std::size_t i = 0; i < headings.size(); ++i) widen(i, characters(headings[i].get<std::string>()));
    for (const ReportJson& row : table["cells"])
        for (std::size_t i = 0; i < row.size(); ++i) {
            widen(i, characters(cell_text(row[i])));
            if (is_number(row[i]))
                columns[i].numbers = true;
            else if (!is_empty(row[i]))
                columns[i].other = true;
        }
    return columns;
}

SettingsChange table_change(const ReportJson& table) {
    SettingsChange change;
    std::vector<ColumnShape> columns = column_shapes(table);
    if (columns.empty() || columns.size() > kMaxLaidOutColumns) return change;
    std::size_t line = 0;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const auto column = static_cast<std::uint32_t>(i);
        int chars = static_cast<int>(columns[i].chars) + kRoomChars;
        change.widths.push_back({column, chars * kPixelsPerChar});
        bool right = columns[i].numbers && !columns[i].other;
        change.alignments.push_back({column, right ? RPL_TABLE::RIGHT : RPL_TABLE::LEFT});
        line += static_cast<std::size_t>(chars);
    }
    if (line > kPortraitChars) change.orientation = 2;
    return change;
}

void collect(const ReportJson& object, const std::string& parent, std::set<std::string>& seen,
             std::vector<SectionLayout>& out) {
    if (!object.is_object()) return;
    std::string path = parent + "||" + object.value("name", std::string());
    int type = object.value("type", 0);
    if (type == 1) {
        for (const ReportJson& child : object.value("children", ReportJson::array())) collect(child, path, seen, out);
        return;
    }
    if (!seen.insert(path).second) return;
    SettingsChange change;
    if (type == 4 || type == 8 || type == 14) change = table_change(object);
    // A chart without a stored type is drawn as type 1 already.
    if (type == 5 && object.value("chart_type", 1) != 1) change.chart_type = object.value("chart_type", 1);
    if (!change.names_nothing()) out.push_back({path, change});
}

}  // namespace

std::vector<SectionLayout> first_layouts(const ReportJson& report) {
    std::vector<SectionLayout> out;
    std::set<std::string> seen;
    if (report.contains("root")) collect(report["root"], "", seen, out);
    return out;
}

std::vector<std::string> write_first_layouts(Session& session, const std::vector<SectionLayout>& layouts) {
    std::vector<std::string> problems;
    for (const SectionLayout& layout : layouts) {
        Outcome<Change> change = change_settings(session, layout.path, layout.change);
        if (!change.ok())
            problems.push_back(layout.path + ": the layout was refused");
        else if (!change.result().save.saved())
            problems.push_back(change.result().save.settings_file + ": " + change.result().save.unsaved);
    }
    return problems;
}

}  // namespace rpl_toc
