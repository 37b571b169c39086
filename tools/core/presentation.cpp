#include "tools/core/presentation.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <optional>

#include "host/host_strings.h"
#include "tools/core/chart_svg.h"
#include "tools/core/html_sanitizer.h"
#include "tools/core/html_templates.h"
#include "tools/core/section_contents.h"
#include "tools/core/section_info.h"
#include "tools/core/settings_rules.h"

namespace rpl_toc {
namespace {

// One character of text output stands for this many pixels of a width.
constexpr int kPixelsPerCharacter = 8;
// A column whose width is not set (0 or less) is as wide as its widest
// shown cell, within these bounds.
constexpr std::size_t kAutoMinCharacters = 3;
constexpr std::size_t kAutoMaxCharacters = 24;
// In HTML an unset column also has room for its cell padding and a bold
// heading, which run wider than eight pixels a character.
constexpr std::size_t kAutoPadding = 24;
constexpr const char* kCutMark = "\xE2\x80\xA6";  // "…"
// Pixels of a chart's drawing on a portrait and a landscape page.
constexpr int kPortraitChartWidth = 640;
constexpr int kLandscapeChartWidth = 920;

// ---- Characters ---------------------------------------------------------------------

// Code points, not bytes: a column is counted in characters as a reader
// sees them (a wide character still counts one).
std::size_t characters(const std::string& text) {
    std::size_t n = 0;
    for (unsigned char c : text) n += (c & 0xC0) != 0x80;
    return n;
}

// The first `n` characters of `text`, never cutting one in two.
std::string first_characters(const std::string& text, std::size_t n) {
    std::size_t seen = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80 && seen++ == n) return text.substr(0, i);
    }
    return text;
}

// `text` in exactly `width` characters: cut with a mark when longer,
// padded on the side its alignment leaves free when shorter.
std::string fit(const std::string& text, std::size_t width, RPL_TABLE::ALIGNMENT alignment) {
    std::size_t length = characters(text);
    if (length > width) return first_characters(text, width - 1) + kCutMark;
    std::string pad(width - length, ' ');
    return alignment == RPL_TABLE::RIGHT ? pad + text : text + pad;
}

std::string trim_right(std::string line) {
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line;
}

// Lines of at most `width` characters, broken at spaces where a line has
// them; a word longer than a line is broken inside.
std::vector<std::string> wrapped(const std::string& paragraph, std::size_t width) {
    width = std::max<std::size_t>(width, 1);  // a line holds at least one character, or no word would ever fit
    std::vector<std::string> out;
    std::string line;
    std::size_t start = 0;
    while (start <= paragraph.size()) {
        std::size_t end = paragraph.find(' ', start);
        std::string word = paragraph.substr(start, end == std::string::npos ? std::string::npos : end - start);
        start = end == std::string::npos ? paragraph.size() + 1 : end + 1;
        while (characters(word) > width) {
            if (!line.empty()) out.push_back(line), line.clear();
            std::string head = first_characters(word, width);
            out.push_back(head);
            word.erase(0, head.size());
        }
        if (!line.empty() && characters(line) + 1 + characters(word) > width) out.push_back(line), line.clear();
        line += (line.empty() ? "" : " ") + word;
    }
    out.push_back(trim_right(line));
    return out;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> out;
    std::size_t start = 0;
    for (;;) {
        std::size_t end = text.find('\n', start);
        std::string line = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        out.push_back(printable(line));
        if (end == std::string::npos) return out;
        start = end + 1;
    }
}

// At most `decimals` places, trailing zeros dropped: 0.25, 12, 48.4.
std::string number_text(double value, int decimals = 3) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
    std::string out = buffer;
    if (out.find('.') != std::string::npos) {
        while (out.back() == '0') out.pop_back();
        if (out.back() == '.') out.pop_back();
    }
    return out == "-0" ? "0" : out;
}

std::string cell_text(const std::vector<RDB_CELL>& row, std::uint32_t column) {
    return column < row.size() ? printable(row[column].text) : std::string();
}

std::string plural(std::uint64_t n, const char* one, const char* many) {
    return with_separators(static_cast<std::size_t>(n)) + " " + (n == 1 ? one : many);
}

// ---- Tables ---------------------------------------------------------------------------

int width_of(const Layout& layout, std::uint32_t column) { return layout.widths.at(column); }

RPL_TABLE::ALIGNMENT alignment_of(const Layout& layout, std::uint32_t column) { return layout.alignments.at(column); }

// What a table or chart holds, and the part of it that is drawn.
struct Grid {
    const std::vector<std::string>* headings = nullptr;
    const std::vector<std::vector<RDB_CELL>>* cells = nullptr;
    std::vector<std::uint32_t> columns;  // drawn, in display order
    std::size_t rows = 0;                // drawn, from the first
    Drawn drawn;
};

const std::vector<std::string> kNoHeadings;
const std::vector<std::vector<RDB_CELL>> kNoCells;

Grid grid_of(RDB_TABLE_OBJECT* table, std::uint32_t columns, const Layout& layout, const Extent& extent) {
    Grid grid;
    grid.headings = table ? &table->get_headings() : &kNoHeadings;
    grid.cells = table ? &table->get_cells() : &kNoCells;
    grid.columns = display_order(columns, layout.order, extent.max_columns);
    grid.rows = std::min(grid.cells->size(), extent.max_rows);
    grid.drawn = {grid.rows, grid.cells->size(), grid.columns.size(), columns};
    return grid;
}

std::string heading_text(const Grid& grid, std::uint32_t column) {
    return column < grid.headings->size() ? printable((*grid.headings)[column]) : std::string();
}

// A column's width in characters: its width in pixels over eight, at
// least one; unset, its widest drawn text within the automatic bounds.
std::size_t characters_of(const Grid& grid, const Layout& layout, std::uint32_t column) {
    int pixels = width_of(layout, column);
    if (pixels > 0) return std::max<std::size_t>(1, static_cast<std::size_t>(pixels / kPixelsPerCharacter));
    std::size_t widest = characters(heading_text(grid, column));
    for (std::size_t r = 0; r < grid.rows && widest < kAutoMaxCharacters; ++r)
        widest = std::max(widest, characters(cell_text((*grid.cells)[r], column)));
    return std::clamp(widest, kAutoMinCharacters, kAutoMaxCharacters);
}

std::vector<std::size_t> column_characters(const Grid& grid, const Layout& layout) {
    std::vector<std::size_t> out;
    for (std::uint32_t column : grid.columns) out.push_back(characters_of(grid, layout, column));
    return out;
}

void text_rest(std::string& out, const Drawn& drawn) {
    if (drawn.rows_total > drawn.rows_shown)
        out += kCutMark + std::string(" ") + plural(drawn.rows_total - drawn.rows_shown, "more row", "more rows") + "\n";
    if (drawn.columns_total > drawn.columns_shown)
        out += kCutMark + std::string(" ") +
               plural(drawn.columns_total - drawn.columns_shown, "more column", "more columns") + " not shown\n";
}

std::string text_table(const Grid& grid, const Layout& layout) {
    std::vector<std::size_t> widths = column_characters(grid, layout);
    std::string head, rule, out;
    for (std::size_t i = 0; i < grid.columns.size(); ++i) {
        std::string gap = i ? "  " : "";
        head += gap + fit(heading_text(grid, grid.columns[i]), widths[i], alignment_of(layout, grid.columns[i]));
        rule += gap + std::string(widths[i], '-');
    }
    if (!grid.headings->empty() && !grid.columns.empty()) out += trim_right(head) + "\n" + rule + "\n";
    if (grid.drawn.rows_total == 0) out += "(no rows)\n";
    for (std::size_t r = 0; r < grid.rows; ++r) {
        std::string line;
        for (std::size_t i = 0; i < grid.columns.size(); ++i)
            line += (i ? "  " : "") + fit(cell_text((*grid.cells)[r], grid.columns[i]), widths[i],
                                          alignment_of(layout, grid.columns[i]));
        out += trim_right(line) + "\n";
    }
    text_rest(out, grid.drawn);
    return out;
}

const char* align_class(RPL_TABLE::ALIGNMENT alignment) { return alignment == RPL_TABLE::RIGHT ? "r" : "l"; }

// What the rows and columns left out of a table or chart come to, in words.
TemplateData rest_data(const Drawn& drawn) {
    TemplateData out;
    if (drawn.rows_total > drawn.rows_shown) {
        TemplateData rows;
        rows.set("shown", plural(drawn.rows_shown, "row", "rows"));
        rows.set("total", with_separators(static_cast<std::size_t>(drawn.rows_total)));
        rows.set("left", plural(drawn.rows_total - drawn.rows_shown, "more row", "more rows"));
        out.set("more_rows", rows);
    }
    if (drawn.columns_total > drawn.columns_shown) {
        TemplateData columns;
        columns.set("left", plural(drawn.columns_total - drawn.columns_shown, "more column", "more columns"));
        out.set("more_columns", columns);
    }
    out.set("no_rows", drawn.rows_total == 0);
    return out;
}

// A cell: its text, alignment, and whether it is cut short on the page.
TemplateData cell_data(const std::string& text, std::size_t width, const char* align) {
    return TemplateData(kainjow::mustache::object{{"text", text}, {"align", align}, {"cut", characters(text) > width}});
}

// Each row is filled in on its own: mustache copies what it is given, so
// one list of every row would be copied whole at each level it is put in.
std::string html_rows(const Grid& grid, const Layout& layout, const std::vector<std::size_t>& widths) {
    std::vector<const char*> aligns;
    for (std::uint32_t column : grid.columns) aligns.push_back(align_class(alignment_of(layout, column)));
    std::string out;
    for (std::size_t r = 0; r < grid.rows; ++r) {
        TemplateList cells;
        cells.reserve(grid.columns.size());
        for (std::size_t i = 0; i < grid.columns.size(); ++i)
            cells.push_back(cell_data(cell_text((*grid.cells)[r], grid.columns[i]), widths[i], aligns[i]));
        out += fill_template("table_row.html", TemplateData("cells", TemplateData(cells)));
    }
    return out;
}

// An unset column's width in pixels has room for its padding too. `note`,
// when given, goes above the table.
std::string html_table(const Grid& grid, const Layout& layout, const std::string& note = std::string()) {
    std::vector<std::size_t> widths = column_characters(grid, layout);
    std::size_t total = 0;
    TemplateList columns;
    for (std::size_t i = 0; i < grid.columns.size(); ++i) {
        int pixels = width_of(layout, grid.columns[i]);
        std::size_t px = pixels > 0 ? static_cast<std::size_t>(pixels) : widths[i] * kPixelsPerCharacter + kAutoPadding;
        total += px;
        std::string heading = heading_text(grid, grid.columns[i]);
        TemplateData column;
        column.set("width", std::to_string(px));
        column.set("heading", heading);
        column.set("align", align_class(alignment_of(layout, grid.columns[i])));
        column.set("cut", characters(heading) > widths[i]);
        columns.push_back(std::move(column));
    }
    TemplateData table = rest_data(grid.drawn);
    table.set("width", std::to_string(total));
    table.set("columns", columns);
    table.set("has_headings", !grid.headings->empty());
    table.set("note", note.empty() ? TemplateData(false) : TemplateData(note));
    std::string out;
    append_filled(out, "table.html", table, "rows", html_rows(grid, layout, widths));
    return out;
}

// ---- Charts ---------------------------------------------------------------------------

// The first column labels the rows; every other column that holds a
// number is a series, and a cell of it that is not a number is a gap.
ChartData chart_data(const Grid& grid, std::uint32_t columns) {
    ChartData data;
    std::size_t series_columns = std::min<std::size_t>(columns, grid.columns.size() + 1);
    for (std::size_t r = 0; r < grid.rows; ++r) data.labels.push_back(cell_text((*grid.cells)[r], 0));
    for (std::uint32_t c = 1; c < series_columns; ++c) {
        ChartSeries series;
        series.name = heading_text(grid, c);
        if (series.name.empty()) series.name = "Column " + std::to_string(c);
        bool numeric = false;
        for (std::size_t r = 0; r < grid.rows; ++r) {
            const std::vector<RDB_CELL>& row = (*grid.cells)[r];
            bool number = c < row.size() && row[c].kind == RDB_CELL::NUMBER;
            series.values.push_back(number ? std::optional<double>(row[c].number) : std::nullopt);
            numeric = numeric || number;
        }
        if (numeric) data.series.push_back(std::move(series));
    }
    return data;
}


std::string unknown_chart_note(int type) {
    return "Chart type " + std::to_string(type) + " is not one this writer draws (1 bar, 2 line); its data:";
}

// Bars of block characters, one line per label and series, scaled to the
// largest magnitude.
std::string text_bar_chart(const ChartData& data, std::size_t width) {
    double largest = 0;
    std::size_t label_width = 1;
    for (const ChartSeries& s : data.series)
        for (const auto& v : s.values)
            if (v) largest = std::max(largest, std::fabs(*v));
    for (const std::string& label : data.labels) label_width = std::max(label_width, std::min<std::size_t>(characters(label), 20));
    std::size_t bar_room = width > label_width + 16 ? width - label_width - 16 : 10;
    std::string out;
    for (std::size_t i = 0; i < data.labels.size(); ++i)
        for (std::size_t s = 0; s < data.series.size(); ++s) {
            std::string label = s == 0 ? data.labels[i] : std::string();
            std::string line = fit(label, label_width, RPL_TABLE::LEFT) + "  ";
            const auto& v = data.series[s].values[i];
            if (v) {
                auto blocks = largest > 0 ? static_cast<std::size_t>(std::lround(std::fabs(*v) / largest * bar_room)) : 0;
                std::string bar;
                for (std::size_t b = 0; b < blocks; ++b) bar += "\xE2\x96\x88";  // "█"
                line += bar + (*v < 0 ? " -" : " ") + number_text(std::fabs(*v));
            }
            if (data.series.size() > 1) line += "  (" + data.series[s].name + ")";
            out += trim_right(line) + "\n";
        }
    return out;
}

// A line chart in text: each series as a row of eighth-high blocks, one a
// label, lowest to highest; a gap is a space.
std::string text_line_chart(const ChartData& data) {
    static const char* const kLevels[] = {"\xE2\x96\x81", "\xE2\x96\x82", "\xE2\x96\x83", "\xE2\x96\x84",
                                          "\xE2\x96\x85", "\xE2\x96\x86", "\xE2\x96\x87", "\xE2\x96\x88"};
    std::string out;
    std::size_t name_width = 1;
    for (const ChartSeries& s : data.series) name_width = std::max(name_width, std::min<std::size_t>(characters(s.name), 20));
    for (const ChartSeries& s : data.series) {
        double low = 0, high = 0;
        bool any = false;
        for (const auto& v : s.values)
            if (v) low = any ? std::min(low, *v) : *v, high = any ? std::max(high, *v) : *v, any = true;
        std::string line = fit(s.name, name_width, RPL_TABLE::LEFT) + "  ";
        for (const auto& v : s.values) {
            if (!v) {
                line += ' ';
                continue;
            }
            int level = high > low ? static_cast<int>(std::lround((*v - low) / (high - low) * 7)) : 3;
            line += kLevels[level];
        }
        if (any) line += "  " + number_text(low) + " to " + number_text(high);
        out += trim_right(line) + "\n";
    }
    if (!data.labels.empty())
        out += std::string(name_width + 2, ' ') + "from " + data.labels.front() + " to " + data.labels.back() + "\n";
    return out;
}

std::string text_chart(const Grid& grid, std::uint32_t columns, const Layout& layout, std::size_t width) {
    ChartData data = chart_data(grid, columns);
    std::string out;
    if (!is_chart_type(layout.chart_type)) return unknown_chart_note(layout.chart_type) + "\n" + text_table(grid, layout);
    if (data.series.empty() || data.labels.empty()) return "No numeric data to chart.\n";
    out = layout.chart_type == kBarChart ? text_bar_chart(data, width) : text_line_chart(data);
    if (grid.drawn.rows_total > grid.drawn.rows_shown)
        out += kCutMark + std::string(" ") + plural(grid.drawn.rows_total - grid.drawn.rows_shown, "more row", "more rows") +
               " not charted\n";
    return out;
}

// A chart type no drawing exists for gets a note, then its data as a table.
std::string html_chart(const RPL_REPORT_SECTION& section, const Grid& grid, std::uint32_t columns, const Layout& layout) {
    if (!is_chart_type(layout.chart_type)) return html_table(grid, layout, unknown_chart_note(layout.chart_type));
    ChartFrame frame;
    frame.width = layout.orientation == kLandscape ? kLandscapeChartWidth : kPortraitChartWidth;
    ChartKind kind = layout.chart_type == kBarChart ? ChartKind::bar : ChartKind::line;
    std::string out;
    append_filled(out, "chart.html", rest_data(grid.drawn), "svg",
                  chart_svg(chart_data(grid, columns), kind, printable(to_std(section.m_name)), frame));
    return out;
}

// ---- Gauges and summaries ---------------------------------------------------------

struct Reading {
    std::string name;
    std::optional<double> fraction;  // of the maximum, 0 to 1 when in range
    std::string value;
};

// A gauge shown as a percentage reads its value against its maximum, or,
// without one, as a percentage already.
Reading reading_of(const RDB_GAUGE_DATA& gauge, std::size_t index) {
    Reading out;
    out.name = gauge.m_name.empty() ? "Gauge " + std::to_string(index + 1) : printable(gauge.m_name);
    if (gauge.m_limit > 0) out.fraction = gauge.m_value / gauge.m_limit;
    else if (gauge.is_percentage) out.fraction = gauge.m_value / 100.0;
    if (gauge.is_percentage && out.fraction) out.value = number_text(*out.fraction * 100, 1) + " %";
    else out.value = number_text(gauge.m_value);
    if (gauge.m_limit > 0) out.value += gauge.is_percentage ? " (" + number_text(gauge.m_value) + " of " + number_text(gauge.m_limit) + ")"
                                                            : " of " + number_text(gauge.m_limit);
    return out;
}

std::vector<Reading> readings(RDB_OBJECT* object) {
    std::vector<Reading> out;
    RDB_GAUGES_OBJECT* gauges = object ? object->dynamic_cast_to_RDB_GAUGES_OBJECT() : nullptr;
    if (!gauges) return out;
    for (unsigned int i = 0; RDB_GAUGE_DATA* gauge = gauges->get_data_at(i); ++i) out.push_back(reading_of(*gauge, i));
    return out;
}

double clamped(double fraction) { return std::isfinite(fraction) ? std::clamp(fraction, 0.0, 1.0) : 0.0; }

std::string text_gauges(RDB_OBJECT* object) {
    constexpr std::size_t kBar = 20;
    std::vector<Reading> all = readings(object);
    std::size_t name_width = 1;
    for (const Reading& r : all) name_width = std::max(name_width, std::min<std::size_t>(characters(r.name), 32));
    std::string out;
    for (const Reading& r : all) {
        std::string line = fit(r.name, name_width, RPL_TABLE::LEFT) + "  ";
        if (r.fraction) {
            auto filled = static_cast<std::size_t>(std::lround(clamped(*r.fraction) * kBar));
            line += "[" + std::string(filled, '#') + std::string(kBar - filled, '.') + "]  ";
        }
        out += trim_right(line + r.value) + "\n";
    }
    return out;
}

std::string html_gauges(RDB_OBJECT* object) {
    TemplateList gauges;
    for (const Reading& r : readings(object)) {
        TemplateData gauge;
        gauge.set("name", r.name);
        gauge.set("value", r.value);
        if (r.fraction) gauge.set("bar", TemplateData("percent", number_text(clamped(*r.fraction) * 100, 1)));
        else gauge.set("bar", false);
        gauges.push_back(std::move(gauge));
    }
    return fill_template("gauges.html", TemplateData("gauges", gauges));
}

const std::vector<std::pair<std::string, std::string>>& items_of(RDB_OBJECT* object) {
    static const std::vector<std::pair<std::string, std::string>> none;
    RDB_CMP_SUMMARY_OBJECT* summary = object ? object->dynamic_cast_to_RDB_CMP_SUMMARY_OBJECT() : nullptr;
    return summary ? summary->get_items() : none;
}

std::string text_summary(RDB_OBJECT* object) {
    std::size_t name_width = 1;
    for (const auto& item : items_of(object)) name_width = std::max(name_width, std::min<std::size_t>(characters(printable(item.first)), 32));
    std::string out;
    for (const auto& item : items_of(object))
        out += trim_right(fit(printable(item.first), name_width, RPL_TABLE::LEFT) + "  " + printable(item.second)) + "\n";
    return out;
}

std::string html_summary(RDB_OBJECT* object) {
    TemplateList items;
    for (const auto& item : items_of(object)) {
        TemplateData row;
        row.set("name", printable(item.first));
        row.set("value", printable(item.second));
        items.push_back(std::move(row));
    }
    return fill_template("summary.html", TemplateData("items", items));
}

// ---- Texts --------------------------------------------------------------------------------

std::string text_of(RDB_OBJECT* object) {
    RDB_TEXT_OBJECT* text = object ? object->dynamic_cast_to_RDB_TEXT_OBJECT() : nullptr;
    return text ? text->get_text() : std::string();
}

// Runs of white space as one space, as a browser shows text; a line's
// end only where a block ends, and at most one empty line in a row.
std::string folded(const std::string& text) {
    std::string out;
    for (char c : text) {
        bool space = c == ' ' || c == '\t' || c == '\r' || c == '\f';
        if (c == '\n') {
            if (!out.empty() && out.back() == ' ') out.pop_back();
            std::size_t ends = 0;
            for (std::size_t i = out.size(); i > 0 && out[i - 1] == '\n'; --i) ++ends;
            if (!out.empty() && ends < 2) out += '\n';
        } else if (space) {
            if (!out.empty() && out.back() != ' ' && out.back() != '\n') out += ' ';
        } else {
            out += c;
        }
    }
    while (!out.empty() && (out.back() == '\n' || out.back() == ' ')) out.pop_back();
    return out;
}

const char* const kBlockEnds[] = {"/p", "br", "/li", "/div", "/tr", "/h1", "/h2", "/h3", "/h4", "/h5", "/h6",
                                  "/pre", "hr", "/dd", "/dt", "/ul", "/ol", "/table", "/blockquote"};

// An HTML text in a text file: the sanitized markup without its tags, a
// block's end as a line's end, a list item as "- ", the escapes read back.
std::string plain_of_html(const std::string& html) {
    std::string clean = sanitize_html(html), out;
    for (std::size_t i = 0; i < clean.size(); ++i) {
        if (clean[i] != '<') {
            out += clean[i] == '\n' ? ' ' : clean[i];
            continue;
        }
        std::size_t end = clean.find('>', i);
        std::string tag = clean.substr(i + 1, end == std::string::npos ? std::string::npos : end - i - 1);
        std::string name = tag.substr(0, tag.find(' '));
        for (const char* block : kBlockEnds)
            if (name == block) out += '\n';
        if (name == "li") out += "\n- ";
        if (name == "/td" || name == "/th") out += "  ";
        if (end == std::string::npos) break;
        i = end;
    }
    for (auto [from, to] : {std::pair<const char*, const char*>{"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&#39;", "'"}, {"&amp;", "&"}}) {
        std::size_t length = std::string(from).size();
        for (std::size_t at = out.find(from); at != std::string::npos; at = out.find(from, at + 1)) out.replace(at, length, to);
    }
    return folded(out);
}

std::string text_paragraphs(const std::string& text, std::size_t width) {
    std::string out;
    if (text.empty()) return out;
    for (const std::string& line : lines_of(text))
        for (const std::string& part : wrapped(line, width)) out += part + "\n";
    return out;
}

// The text's lines as they are, each made printable.
std::string html_plain_text(const std::string& text) {
    std::string joined;
    std::vector<std::string> lines = lines_of(text);
    for (std::size_t i = 0; i < lines.size(); ++i) joined += (i ? "\n" : "") + lines[i];
    return fill_template("text.html", TemplateData("plain", TemplateData("text", joined)));
}

// ---- Kinds ------------------------------------------------------------------------------

RDB_TABLE_OBJECT* table_object(RDB_OBJECT* object) {
    return object ? object->dynamic_cast_to_RDB_TABLE_OBJECT() : nullptr;
}

std::uint32_t chart_columns(RDB_OBJECT* object) {
    RDB_TABLE_OBJECT* table = table_object(object);
    return table ? table->get_number_of_columns() : 0;
}

std::string embedded_line(const RPL_REPORT_SECTION& section) {
    const RPL_EMBEDDED& e = *section.dynamic_cast_to_RPL_EMBEDDED();
    std::string info = printable(to_std(e.m_info_str));
    return "Embedded object, type " + std::to_string(e.m_embedded_type) + (info.empty() ? "" : ": " + info);
}

// The grid a table or a chart draws, with what it leaves out noted in
// `drawn`. A chart keeps its data's column order: only tables have column
// settings.
struct Shown {
    Grid grid;
    std::uint32_t columns = 0;
    bool chart = false;
};

std::optional<Shown> shown_grid(const RPL_REPORT_SECTION& section, RDB_OBJECT* object, const Layout& layout,
                                const Extent& extent, Drawn* drawn) {
    Shown out;
    if (const RPL_TABLE* table = section.dynamic_cast_to_RPL_TABLE()) {
        out.columns = table->m_num_columns;
        out.grid = grid_of(table_object(object), out.columns, layout, extent);
    } else if (section.dynamic_cast_to_RPL_CHART()) {
        out.columns = chart_columns(object);
        out.grid = grid_of(table_object(object), out.columns, Layout{}, extent);
        out.chart = true;
    } else {
        return std::nullopt;
    }
    if (drawn) *drawn = out.grid.drawn;
    return out;
}

std::string text_body(const RPL_REPORT_SECTION& section, RDB_OBJECT* object, const Layout& layout, std::size_t width,
                      const Extent& extent, Drawn* drawn) {
    if (std::optional<Shown> shown = shown_grid(section, object, layout, extent, drawn))
        return shown->chart ? text_chart(shown->grid, shown->columns, layout, width) : text_table(shown->grid, layout);
    if (const RPL_TEXT* text = section.dynamic_cast_to_RPL_TEXT())
        return text_paragraphs(text->m_is_html ? plain_of_html(text_of(object)) : text_of(object), width);
    if (section.dynamic_cast_to_RPL_GAUGES()) return text_gauges(object);
    if (section.dynamic_cast_to_RPL_CMP_SUMMARY()) return text_summary(object);
    if (section.dynamic_cast_to_RPL_EMBEDDED()) return text_paragraphs(embedded_line(section), width);
    return std::string();
}

std::string html_body(const RPL_REPORT_SECTION& section, RDB_OBJECT* object, const Layout& layout, const Extent& extent,
                      Drawn* drawn) {
    if (std::optional<Shown> shown = shown_grid(section, object, layout, extent, drawn))
        return shown->chart ? html_chart(section, shown->grid, shown->columns, layout) : html_table(shown->grid, layout);
    if (const RPL_TEXT* text = section.dynamic_cast_to_RPL_TEXT())
        return text->m_is_html ? fill_template("text.html", TemplateData("html", TemplateData("markup", sanitize_html(text_of(object)))))
                               : html_plain_text(text_of(object));
    if (section.dynamic_cast_to_RPL_GAUGES()) return html_gauges(object);
    if (section.dynamic_cast_to_RPL_CMP_SUMMARY()) return html_summary(object);
    if (section.dynamic_cast_to_RPL_EMBEDDED())
        return fill_template("text.html", TemplateData("embedded", TemplateData("line", embedded_line(section))));
    return std::string();
}

bool has_contents(const RPL_REPORT_SECTION& section) { return !section.dynamic_cast_to_RPL_FOLDER(); }

}  // namespace

Layout layout_of(const RPL_REPORT_SECTION& section) {
    Layout out;
    out.orientation = section.m_page_orientation;
    if (const RPL_CHART* chart = section.dynamic_cast_to_RPL_CHART()) out.chart_type = chart->m_chart_type;
    if (const RPL_TABLE* table = section.dynamic_cast_to_RPL_TABLE()) {
        out.widths.stored.assign(table->m_column_width.begin(), table->m_column_width.end());
        out.order.stored.assign(table->m_display_column.begin(), table->m_display_column.end());
        out.alignments.stored.assign(table->m_column_alignment.begin(), table->m_column_alignment.end());
    }
    return out;
}

Layout with_change(Layout layout, const SettingsChange& change) {
    // Values past what the section's fields hold are drawn as the nearest
    // they hold; columns past any table's are not drawn.
    auto held = [](std::int64_t v) {
        return static_cast<int>(std::clamp<std::int64_t>(v, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
    };
    auto column = [](std::uint64_t c) { return c <= std::numeric_limits<std::uint32_t>::max(); };
    if (change.orientation) layout.orientation = held(*change.orientation);
    if (change.chart_type) layout.chart_type = held(*change.chart_type);
    for (const ColumnValue& w : change.widths)
        if (column(w.column)) layout.widths.typed[static_cast<std::uint32_t>(w.column)] = held(w.value);
    for (const ColumnAlignment& a : change.alignments)
        if (column(a.column)) layout.alignments.typed[static_cast<std::uint32_t>(a.column)] = a.alignment;
    for (const ColumnValue& o : change.order)
        if (column(o.column)) layout.order.typed[static_cast<std::uint32_t>(o.column)] = held(o.value);
    return layout;
}

// Every column that neither list reaches has display column 0 and keeps
// its index order, so only the first `max_columns` of those can be drawn:
// they lie below the stored list's end plus the typed columns plus
// `max_columns`.
std::vector<std::uint32_t> display_order(std::uint32_t columns, const ColumnList<int>& order, std::size_t max_columns) {
    std::uint64_t reach = order.stored.size() + order.typed.size() + static_cast<std::uint64_t>(max_columns);
    std::vector<std::uint32_t> out(static_cast<std::size_t>(std::min<std::uint64_t>(columns, reach)));
    std::iota(out.begin(), out.end(), 0u);
    for (const auto& typed : order.typed)
        if (typed.first < columns && typed.first >= out.size()) out.push_back(typed.first);
    std::stable_sort(out.begin(), out.end(), [&](std::uint32_t a, std::uint32_t b) {
        int pa = order.at(a), pb = order.at(b);
        return pa != pb ? pa < pb : a < b;
    });
    if (out.size() > max_columns) out.resize(max_columns);
    return out;
}

std::size_t page_width(int orientation) { return orientation == kLandscape ? 132 : 80; }

std::string render_text(const RPL_REPORT_SECTION& section, RDB_OBJECT* object, const Layout& layout, std::size_t width,
                        const Extent& extent, Drawn* drawn) {
    std::string out;
    if (!section.m_header.empty()) out += text_paragraphs(to_std(section.m_header), width);
    if (has_contents(section) && !object) out += "(The report holds no contents for this section.)\n";
    else out += text_body(section, object, layout, width, extent, drawn);
    if (!section.m_footer.empty()) out += text_paragraphs(to_std(section.m_footer), width);
    return out;
}

std::string render_html(const RPL_REPORT_SECTION& section, RDB_OBJECT* object, const Layout& layout,
                        const Extent& extent, Drawn* drawn) {
    TemplateData page;
    page.set("orientation", layout.orientation == kLandscape ? "landscape" : "portrait");
    page.set("has_header", !section.m_header.empty());
    page.set("header", printable(to_std(section.m_header)));
    page.set("has_footer", !section.m_footer.empty());
    page.set("footer", printable(to_std(section.m_footer)));
    bool missing = has_contents(section) && !object;
    page.set("missing", missing);
    std::string out;
    append_filled(out, "section.html", page, "body",
                  missing ? std::string() : html_body(section, object, layout, extent, drawn));
    return out;
}

Outcome<Preview> preview_section(Session& session, const std::string& path, const SettingsChange& typed,
                                 std::size_t max_rows) {
    Outcome<RPL_REPORT_SECTION*> found = find_section(session, path);
    if (!found.ok()) return found.refusal();
    RPL_REPORT_SECTION& section = *found.result();
    Preview out;
    out.section = &section;
    Extent extent;
    extent.max_rows = max_rows;
    BorrowedReport report(section);
    out.html = render_html(section, report.object_of(section), with_change(layout_of(section), typed), extent, &out.drawn);
    return out;
}

}  // namespace rpl_toc
