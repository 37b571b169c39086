// Changing a section's settings and making sure the change reached the
// settings file: the library saves what it can and tells nobody when it
// could not, so rpl-toc checks before it reports success.
#include <algorithm>
#include <climits>
#include <cstdint>
#include <map>
#include <utility>

#include "host/host_strings.h"
#include "tools/commands.h"
#include "tools/section_info.h"
#include "tools/section_kinds.h"
#include "tools/settings_probe.h"

namespace rpl_toc {
namespace {

using ColumnValues = std::vector<std::pair<unsigned int, int>>;

std::string quoted(const std::string& text) { return "'" + printable(text) + "'"; }

[[noreturn]] void refuse(const std::string& message) { throw CommandError(kExitError, message); }

// The validated changes of one `set`, ready to apply.
struct SetPlan {
    ColumnValues widths;
    std::vector<std::pair<unsigned int, RPL_TABLE::ALIGNMENT>> aligns;
    ColumnValues orders;
};

bool parse_int(const std::string& text, long long lo, long long hi, long long* out) {
    std::size_t i = (!text.empty() && text[0] == '-') ? 1 : 0;
    if (i == text.size() || text.size() - i > 10) return false;
    for (std::size_t k = i; k < text.size(); ++k)
        if (text[k] < '0' || text[k] > '9') return false;
    long long value = std::stoll(text);
    if (value < lo || value > hi) return false;
    *out = value;
    return true;
}

// Splits "I=VALUE" and checks that I is a column of the table.
std::pair<unsigned int, std::string> column_option(const char* option, const std::string& text, const char* form,
                                                   std::uint32_t columns) {
    std::size_t eq = text.find('=');
    long long index = 0;
    if (eq == std::string::npos || !parse_int(text.substr(0, eq), 0, UINT32_MAX, &index))
        refuse(std::string(option) + " " + quoted(text) + ": expected " + form);
    if (index >= columns)
        refuse(std::string(option) + " " + quoted(text) + ": no column " + std::to_string(index) + "; the table has " +
               std::to_string(columns) + " columns, numbered from 0");
    return {static_cast<unsigned int>(index), text.substr(eq + 1)};
}

ColumnValues integer_columns(const char* option, const std::vector<std::string>& texts, const char* form,
                             std::uint32_t columns) {
    ColumnValues out;
    for (const std::string& text : texts) {
        auto column = column_option(option, text, form, columns);
        long long value = 0;
        if (!parse_int(column.second, INT_MIN, INT_MAX, &value))
            refuse(std::string(option) + " " + quoted(text) + ": expected " + form);
        out.emplace_back(column.first, static_cast<int>(value));
    }
    return out;
}

std::vector<std::pair<unsigned int, RPL_TABLE::ALIGNMENT>> align_columns(const std::vector<std::string>& texts,
                                                                         std::uint32_t columns) {
    std::vector<std::pair<unsigned int, RPL_TABLE::ALIGNMENT>> out;
    for (const std::string& text : texts) {
        auto column = column_option("--align", text, "I=L or I=R", columns);
        if (column.second != "L" && column.second != "R")
            refuse("--align " + quoted(text) + ": the alignment must be L or R");
        out.emplace_back(column.first, column.second == "L" ? RPL_TABLE::LEFT : RPL_TABLE::RIGHT);
    }
    return out;
}

// "column 3" or "columns 1, 2, 3": the columns from `stored` on that
// `given` does not name.
std::string missing_columns(std::size_t stored, const ColumnValues& given, std::uint32_t columns) {
    std::vector<std::uint32_t> missing;
    for (std::uint32_t i = static_cast<std::uint32_t>(std::min<std::size_t>(stored, columns)); i < columns; ++i) {
        bool named = false;
        for (const auto& g : given) named = named || g.first == i;
        if (!named) missing.push_back(i);
    }
    std::string out;
    for (std::uint32_t i : missing) out += (out.empty() ? "" : ", ") + std::to_string(i);
    if (out.empty()) return out;
    return (missing.size() == 1 ? "column " : "columns ") + out;
}

// The library writes a column list only when it reaches every column of the
// table, and alignments only with the widths: a change that would leave a
// list short would be shown but never stored, so it is refused.
void check_lists_complete(const RPL_TABLE& table, const SetRequest& request, const SetPlan& plan) {
    std::uint32_t n = table.m_num_columns;
    std::string widths = missing_columns(table.m_column_width.size(), plan.widths, n);
    if (!request.widths.empty() && !widths.empty())
        refuse("--width " + quoted(request.widths.front()) +
               ": widths are stored only when every column has one; give --width for " + widths + " too");
    if (!request.aligns.empty() && !widths.empty())
        refuse("--align " + quoted(request.aligns.front()) +
               ": alignments are stored with the widths, only when every column has a width; give --width for " +
               widths + " too");
    std::string orders = missing_columns(table.m_display_column.size(), plan.orders, n);
    if (!request.orders.empty() && !orders.empty())
        refuse("--order " + quoted(request.orders.front()) +
               ": display columns are stored only when every column has one; give --order for " + orders + " too");
}

// Checks every option against the section before anything is changed, so
// a refused command leaves the settings file as it was.
SetPlan plan_set(RPL_REPORT_SECTION& section, const SetRequest& request) {
    std::string what = quoted(to_std(section.m_rdb_path)) + " is a " + section_kind(section);
    if (request.has_chart_type && !section.dynamic_cast_to_RPL_CHART())
        refuse("--chart-type applies to charts only; " + what);
    bool columns = !request.widths.empty() || !request.aligns.empty() || !request.orders.empty();
    SetPlan plan;
    if (!columns) return plan;
    const RPL_TABLE* table = section.dynamic_cast_to_RPL_TABLE();
    if (!table) refuse("--width, --align and --order apply to tables only; " + what);
    plan.widths = integer_columns("--width", request.widths, "I=W, a column index and a width", table->m_num_columns);
    plan.aligns = align_columns(request.aligns, table->m_num_columns);
    plan.orders = integer_columns("--order", request.orders, "I=D, a column index and a display column",
                                  table->m_num_columns);
    check_lists_complete(*table, request, plan);
    return plan;
}

void apply_set(RPL_REPORT_SECTION& section, const SetRequest& request, const SetPlan& plan) {
    if (request.has_orientation) section.m_page_orientation = request.orientation;
    if (request.has_chart_type) section.dynamic_cast_to_RPL_CHART()->m_chart_type = request.chart_type;
    if (RPL_TABLE* table = section.dynamic_cast_to_RPL_TABLE()) {
        for (const auto& w : plan.widths) table->set_column_width(w.first, w.second);
        for (const auto& a : plan.aligns) table->set_alignment(a.first, a.second);
        for (const auto& o : plan.orders) table->set_display_column(o.first, o.second);
    }
    section.m_settings_changed = true;
    section.write_acf_settings();
}

// What the library writes for `section` when it saves it; nothing for a
// section it does not save.
StoredKeys stored_keys(const RPL_REPORT_SECTION& section) {
    StoredKeys out;
    if (!section.m_settings_changed) return out;
    out.emplace_back("OUTPUT_SECTION", section.m_marked_for_output ? "1" : "0");
    out.emplace_back("PAGE_ORIENTATION", section.m_page_orientation == 2 ? "1" : "0");
    if (const SectionKind* kind = kind_of(section)) kind->add_stored(out, section);
    return out;
}

bool file_holds(RPL_REPORT_SETTINGS_FILE& file, const std::string& path, const StoredKeys& keys) {
    for (const auto& key : keys)
        if (to_std(file.get_value_str(to_rpl(path), to_rpl(key.first))) != key.second) return false;
    return true;
}

// Sections that share an rdb path share a block of the file: the block
// holds whichever of them was saved last, so any one of them will do.
bool file_holds_all(RPL_REPORT_SETTINGS_FILE& file, const std::vector<const RPL_REPORT_SECTION*>& changed) {
    std::map<std::string, std::vector<StoredKeys>> by_path;
    for (const RPL_REPORT_SECTION* section : changed)
        by_path[to_std(section->m_rdb_path)].push_back(stored_keys(*section));
    for (const auto& [path, candidates] : by_path) {
        bool held = false;
        for (const StoredKeys& keys : candidates) held = held || file_holds(file, path, keys);
        if (!held) return false;
    }
    return true;
}

}  // namespace

void change_settings(RPL_REPORT_SECTION& section, const SetRequest& request) {
    SetPlan plan = plan_set(section, request);
    apply_set(section, request, plan);
}

std::string unsaved_reason(Session& session, const std::vector<const RPL_REPORT_SECTION*>& changed) {
    std::string path = to_std(session.toc().get_settings_filename());
    RPL_REPORT_SETTINGS_FILE file;
    file.m_filename = to_rpl(path);
    std::string reason;
    if (!file.read_from_disk()) {
        reason = unreadable_reason(path);
        if (reason.empty()) reason = "cannot be read";
    } else if (file_holds_all(file, changed)) {
        return std::string();
    } else {
        reason = unwritable_reason(path);
    }
    return path + ": " + reason;
}

}  // namespace rpl_toc
