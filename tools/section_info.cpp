#include "tools/section_info.h"

namespace rpl_toc {
namespace {

using LabelledValues = std::vector<std::pair<std::string, std::string>>;

template <class List, class Format>
std::string joined(const List& list, Format format) {
    if (list.empty()) return "(none stored)";
    std::string out;
    for (std::size_t i = 0; i < list.size(); ++i) out += (i ? ", " : "") + format(list[i]);
    return out;
}

std::string number(long long value) { return std::to_string(value); }

LabelledValues table_values(const RPL_TABLE& table, bool with_empty_lists) {
    auto as_number = [](int v) { return number(v); };
    auto as_letter = [](RPL_TABLE::ALIGNMENT a) { return std::string(a == RPL_TABLE::LEFT ? "L" : "R"); };
    LabelledValues out{{"columns", number(table.m_num_columns)}};
    if (with_empty_lists || !table.m_column_width.empty())
        out.emplace_back("widths", joined(table.m_column_width, as_number));
    if (with_empty_lists || !table.m_column_alignment.empty())
        out.emplace_back("alignments", joined(table.m_column_alignment, as_letter));
    if (with_empty_lists || !table.m_display_column.empty())
        out.emplace_back("order", joined(table.m_display_column, as_number));
    out.emplace_back("row test failed", table.m_row_test_failed ? "yes" : "no");
    return out;
}

LabelledValues gauges_values(const RPL_GAUGES& gauges) {
    auto as_word = [](bool percentage) { return std::string(percentage ? "percentage" : "value"); };
    LabelledValues out{{"gauges", number(static_cast<long long>(gauges.m_percentages.size()))}};
    if (!gauges.m_percentages.empty()) out.emplace_back("shown as", joined(gauges.m_percentages, as_word));
    return out;
}

std::string table_summary(const RPL_TABLE& table) {
    std::string out = "table, " + number(table.m_num_columns) + (table.m_num_columns == 1 ? " column" : " columns");
    if (table.m_row_test_failed) out += ", row test failed";
    return out;
}

std::string gauges_summary(const RPL_GAUGES& gauges) {
    std::size_t percentages = 0;
    for (bool p : gauges.m_percentages) percentages += p ? 1 : 0;
    return "gauges, " + number(static_cast<long long>(gauges.m_percentages.size())) + " (" +
           number(static_cast<long long>(percentages)) + " in %)";
}

}  // namespace

std::string printable(const std::string& text) {
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (char ch : text) {
        unsigned char c = static_cast<unsigned char>(ch);
        if (c >= 0x20 && c != 0x7f) {
            out += ch;
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else {
            out += "\\x";
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

const char* section_kind(const RPL_REPORT_SECTION& section) {
    if (section.dynamic_cast_to_RPL_FOLDER()) return "folder";
    if (section.dynamic_cast_to_RPL_TEXT()) return "text";
    if (section.dynamic_cast_to_RPL_TABLE()) return "table";
    if (section.dynamic_cast_to_RPL_CHART()) return "chart";
    if (section.dynamic_cast_to_RPL_EMBEDDED()) return "embedded";
    if (section.dynamic_cast_to_RPL_CMP_SUMMARY()) return "summary";
    if (section.dynamic_cast_to_RPL_GAUGES()) return "gauges";
    return "section";
}

int section_depth(const RPL_REPORT_SECTION& section) {
    int depth = 0;
    for (const RPL_REPORT_SECTION* p = section.m_parent; p; p = p->m_parent) ++depth;
    return depth;
}

const char* marking_word(int marking) {
    if (marking == 2) return "all";
    if (marking == 1) return "partly";
    return "none";
}

std::vector<std::pair<std::string, std::string>> kind_values(const RPL_REPORT_SECTION& section,
                                                             bool with_empty_lists) {
    if (const RPL_TEXT* text = section.dynamic_cast_to_RPL_TEXT()) return {{"HTML", text->m_is_html ? "yes" : "no"}};
    if (const RPL_TABLE* table = section.dynamic_cast_to_RPL_TABLE()) return table_values(*table, with_empty_lists);
    if (const RPL_CHART* chart = section.dynamic_cast_to_RPL_CHART())
        return {{"chart type", number(chart->m_chart_type)}};
    if (const RPL_EMBEDDED* embedded = section.dynamic_cast_to_RPL_EMBEDDED())
        return {{"embedded type", number(embedded->m_embedded_type)}, {"info", to_std(embedded->m_info_str)}};
    if (const RPL_GAUGES* gauges = section.dynamic_cast_to_RPL_GAUGES()) return gauges_values(*gauges);
    return {};
}

std::string kind_summary(const RPL_REPORT_SECTION& section) {
    std::string out = section_kind(section);
    if (const RPL_TEXT* text = section.dynamic_cast_to_RPL_TEXT()) out += text->m_is_html ? ", HTML" : ", plain";
    if (const RPL_TABLE* table = section.dynamic_cast_to_RPL_TABLE()) out = table_summary(*table);
    if (const RPL_CHART* chart = section.dynamic_cast_to_RPL_CHART()) out += ", type " + number(chart->m_chart_type);
    if (const RPL_EMBEDDED* embedded = section.dynamic_cast_to_RPL_EMBEDDED())
        out += ", type " + number(embedded->m_embedded_type);
    if (const RPL_GAUGES* gauges = section.dynamic_cast_to_RPL_GAUGES()) out = gauges_summary(*gauges);
    if (section.m_page_orientation == 2) out += ", orientation 2";
    return out;
}

}  // namespace rpl_toc
