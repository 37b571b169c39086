// Changing a section's layout settings. Every part of a change is checked
// against the section before anything is changed, so a refused change
// leaves the section and the settings file as they were.
#include <algorithm>
#include <set>

#include "host/host_strings.h"
#include "tools/core/operations.h"
#include "tools/core/save_check.h"
#include "tools/core/section_info.h"

namespace rpl_toc {
namespace {

// The checks below throw a Refusal, which change_settings returns.
[[noreturn]] void refuse(Refusal refusal) { throw refusal; }

Refusal about(Refused what, Setting setting) {
    Refusal out{what};
    out.setting = setting;
    return out;
}

void check_one_or_two(const std::optional<int>& value, Setting setting) {
    if (!value || *value == 1 || *value == 2) return;
    Refusal refusal = about(Refused::bad_value, setting);
    refusal.value = std::to_string(*value);
    refuse(refusal);
}

void check_kind(bool applies, Setting setting, const RPL_REPORT_SECTION& section) {
    if (applies) return;
    Refusal refusal = about(Refused::wrong_kind, setting);
    refusal.value = to_std(section.m_rdb_path);
    refusal.kind = section_kind(section);
    refuse(refusal);
}

template <class Items>
void check_columns_exist(const Items& items, Setting setting, std::uint32_t columns) {
    for (const auto& item : items) {
        if (item.column < columns) continue;
        Refusal refusal = about(Refused::no_such_column, setting);
        refusal.column = item.column;
        refusal.columns = columns;
        refuse(refusal);
    }
}

// The columns from `stored` on that `given` does not name: the first
// kMissingNamed of them, and how many more. The cost is that of the named
// columns, whatever count the table declares (up to 2^32-1).
struct Missing {
    std::vector<std::uint32_t> first;
    std::uint64_t more = 0;
    bool empty() const { return first.empty(); }
};

template <class Items>
Missing missing_columns(std::size_t stored, const Items& given, std::uint32_t columns) {
    const auto start = static_cast<std::uint32_t>(std::min<std::size_t>(stored, columns));
    std::set<std::uint32_t> named;
    for (const auto& g : given)
        if (g.column >= start && g.column < columns) named.insert(g.column);
    Missing missing;
    std::uint64_t left_out = std::uint64_t{columns} - start - named.size();
    for (std::uint32_t i = start; i < columns && missing.first.size() < std::min<std::uint64_t>(left_out, kMissingNamed);
         ++i)
        if (named.count(i) == 0) missing.first.push_back(i);
    missing.more = left_out - missing.first.size();
    return missing;
}

void check_complete(bool given, Setting setting, const Missing& missing) {
    if (!given || missing.empty()) return;
    Refusal refusal = about(Refused::columns_missing, setting);
    refusal.missing = missing.first;
    refusal.missing_more = missing.more;
    refuse(refusal);
}

// The library writes a column list only when it reaches every column of
// the table, and alignments only with the widths: a change that would leave
// a list short would be shown but never stored, so it is refused.
void check_columns(const RPL_TABLE& table, const SettingsChange& change) {
    std::uint32_t n = table.m_num_columns;
    check_columns_exist(change.widths, Setting::widths, n);
    check_columns_exist(change.alignments, Setting::alignments, n);
    check_columns_exist(change.order, Setting::order, n);
    Missing widths = missing_columns(table.m_column_width.size(), change.widths, n);
    check_complete(!change.widths.empty(), Setting::widths, widths);
    check_complete(!change.alignments.empty(), Setting::alignments, widths);
    check_complete(!change.order.empty(), Setting::order,
                   missing_columns(table.m_display_column.size(), change.order, n));
}

void check_change(const RPL_REPORT_SECTION& section, const SettingsChange& change) {
    if (change.names_nothing()) refuse(Refusal{Refused::nothing_to_change});
    check_one_or_two(change.orientation, Setting::orientation);
    check_one_or_two(change.chart_type, Setting::chart_type);
    if (change.chart_type) check_kind(section.dynamic_cast_to_RPL_CHART(), Setting::chart_type, section);
    Setting first_list = !change.widths.empty()       ? Setting::widths
                         : !change.alignments.empty() ? Setting::alignments
                         : !change.order.empty()      ? Setting::order
                                                      : Setting::none;
    if (first_list == Setting::none) return;
    const RPL_TABLE* table = section.dynamic_cast_to_RPL_TABLE();
    check_kind(table, first_list, section);
    check_columns(*table, change);
}

void apply_change(RPL_REPORT_SECTION& section, const SettingsChange& change) {
    if (change.orientation) section.m_page_orientation = *change.orientation;
    if (change.chart_type) section.dynamic_cast_to_RPL_CHART()->m_chart_type = *change.chart_type;
    if (RPL_TABLE* table = section.dynamic_cast_to_RPL_TABLE()) {
        for (const ColumnValue& w : change.widths) table->set_column_width(w.column, w.value);
        for (const ColumnAlignment& a : change.alignments) table->set_alignment(a.column, a.alignment);
        for (const ColumnValue& o : change.order) table->set_display_column(o.column, o.value);
    }
    section.m_settings_changed = true;
    section.write_acf_settings();
}

}  // namespace

bool SettingsChange::names_nothing() const {
    return !orientation && !chart_type && widths.empty() && alignments.empty() && order.empty();
}

Outcome<Change> change_settings(Session& session, const std::string& path, const SettingsChange& change) {
    RPL_REPORT_SECTION* section = session.section(path);
    if (!section) return Refusal{Refused::unknown_path, path};
    try {
        check_change(*section, change);
    } catch (const Refusal& refusal) {
        return refusal;
    }
    apply_change(*section, change);
    Change out;
    out.sections = {section};
    out.changed = {section};
    out.save = check_saved(session, {section});
    return out;
}

}  // namespace rpl_toc
