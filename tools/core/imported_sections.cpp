#include "tools/core/imported_sections.h"

#include <cmath>
#include <cstdio>

namespace rpl_toc {
namespace {

// The length of the valid UTF-8 sequence at `i`, or 0 (RFC 3629: no
// overlong forms, no surrogates, nothing above U+10FFFF).
std::size_t utf8_length(const std::string& s, std::size_t i) {
    auto byte = [&](std::size_t k) { return k < s.size() ? static_cast<unsigned char>(s[k]) : 0u; };
    unsigned c = byte(i);
    auto continuation = [&](std::size_t k) { return (byte(k) & 0xC0) == 0x80; };
    if (c >= 0x01 && c < 0x80) return 1;
    if (c >= 0xC2 && c <= 0xDF) return continuation(i + 1) ? 2 : 0;
    if (c >= 0xE0 && c <= 0xEF) {
        unsigned lo = c == 0xE0 ? 0xA0 : 0x80, hi = c == 0xED ? 0x9F : 0xBF;
        return byte(i + 1) >= lo && byte(i + 1) <= hi && continuation(i + 2) ? 3 : 0;
    }
    if (c >= 0xF0 && c <= 0xF4) {
        unsigned lo = c == 0xF0 ? 0x90 : 0x80, hi = c == 0xF4 ? 0x8F : 0xBF;
        return byte(i + 1) >= lo && byte(i + 1) <= hi && continuation(i + 2) && continuation(i + 3) ? 4 : 0;
    }
    return 0;
}

std::string escaped_byte(unsigned char c) {
    char buffer[5];
    std::snprintf(buffer, sizeof buffer, "\\x%02x", c);
    return buffer;
}

std::string valid_utf8(const std::string& bytes, bool one_line) {
    std::string out;
    out.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        std::size_t n = utf8_length(bytes, i);
        if (n == 0 || (one_line && bytes[i] == '\n')) {
            out += escaped_byte(static_cast<unsigned char>(bytes[i]));
            ++i;
        } else {
            out.append(bytes, i, n);
            i += n;
        }
    }
    return out;
}

ReportJson rows_json(const std::vector<Cells>& rows) {
    ReportJson out = ReportJson::array();
    for (const Cells& row : rows) out.push_back(ReportJson(row));
    return out;
}

ReportJson headings_json(const std::vector<std::string>& headings) {
    ReportJson out = ReportJson::array();
    for (const std::string& heading : headings) out.push_back(as_text(heading));
    return out;
}

ReportJson object_of_type(int type, const std::string& name) {
    return ReportJson{{"type", type}, {"name", as_name(name)}};
}

}  // namespace

std::string as_text(const std::string& bytes) { return valid_utf8(bytes, false); }
std::string as_name(const std::string& bytes) { return valid_utf8(bytes, true); }

double rounded(double value, int decimals) {
    double scale = std::pow(10.0, decimals);
    double scaled = value * scale;
    if (!std::isfinite(scaled) || std::fabs(scaled) > 1e15) return value;
    return std::round(scaled) / scale;
}

ReportJson report_document(const std::string& name, int type, ReportJson root) {
    return ReportJson{{"name", as_text(name)}, {"type", type}, {"root", std::move(root)}};
}

ReportJson folder_object(const std::string& name, const std::string& header) {
    ReportJson folder = object_of_type(1, name);
    if (!header.empty()) set_header(folder, header);
    folder["children"] = ReportJson::array();
    return folder;
}

void add_child(ReportJson& folder, ReportJson child) { folder["children"].push_back(std::move(child)); }

ReportJson table_object(const std::string& name, const std::vector<std::string>& headings,
                        const std::vector<Cells>& rows) {
    ReportJson table = object_of_type(14, name);
    table["headings"] = headings_json(headings);
    table["cells"] = rows_json(rows);
    return table;
}

ReportJson chart_object(const std::string& name, int chart_type, const std::vector<std::string>& headings,
                        const std::vector<Cells>& rows) {
    ReportJson chart = object_of_type(5, name);
    chart["chart_type"] = chart_type;
    chart["headings"] = headings_json(headings);
    chart["cells"] = rows_json(rows);
    return chart;
}

ReportJson text_object(const std::string& name, const std::string& text, bool html) {
    ReportJson object = object_of_type(3, name);
    object["html"] = html;
    object["text"] = as_text(text);
    return object;
}

ReportJson summary_object(const std::string& name, const std::vector<std::pair<std::string, ReportJson>>& items) {
    ReportJson summary = object_of_type(7, name);
    summary["items"] = ReportJson::array();
    for (const auto& item : items) summary["items"].push_back({{"name", as_text(item.first)}, {"value", item.second}});
    return summary;
}

ReportJson percent_gauges_object(const std::string& name, const std::vector<Gauge>& gauges) {
    ReportJson object = object_of_type(9, name);
    object["gauges"] = ReportJson::array();
    for (const Gauge& g : gauges)
        object["gauges"].push_back(
            {{"name", as_text(g.name)}, {"value", g.value}, {"maximum", g.maximum}, {"percentage", true}});
    return object;
}

void set_header(ReportJson& object, const std::string& header) { object["header"] = as_text(header); }
void set_footer(ReportJson& object, const std::string& footer) { object["footer"] = as_text(footer); }

ReportJson text_cell(const std::string& text) { return as_text(text); }

}  // namespace rpl_toc
