// Changing a section's layout settings. Every part of a change is checked
// against the section before anything is changed, so a refused change
// leaves the section and the settings file as they were.
#include <algorithm>
#include <map>
#include <set>

#include "host/host_strings.h"
#include "tools/core/operations.h"
#include "tools/core/save_check.h"
#include "tools/core/section_info.h"
#include "tools/core/settings_rules.h"

namespace rpl_toc {
namespace {

// The checks below throw a Refusal, which change_settings returns.
[[noreturn]] void refuse(Refusal refusal) { throw refusal; }

Refusal about(Refused what, Setting setting) {
    Refusal out{what};
    out.setting = setting;
    return out;
}

void check_allowed(const std::optional<std::int64_t>& value, Setting setting, bool (*allows)(std::int64_t)) {
    if (!value || allows(*value)) return;
    Refusal refusal = about(Refused::out_of_range, setting);
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

// Every item names a column of the table, once.
template <class Items>
void check_columns_named(const Items& items, Setting setting, std::uint32_t columns) {
    std::set<std::uint64_t> named;
    for (const auto& item : items) {
        Refusal refusal = about(Refused::no_such_column, setting);
        refusal.column = item.column;
        refusal.columns = columns;
        if (item.column >= columns) refuse(refusal);
        if (named.insert(item.column).second) continue;
        refusal.what = Refused::column_repeated;
        refuse(refusal);
    }
}

void check_values(const std::vector<ColumnValue>& items, Setting setting, std::uint32_t columns) {
    for (const ColumnValue& item : items) {
        bool ok = setting == Setting::widths ? is_column_width(item.value) : is_display_column(item.value, columns);
        if (ok) continue;
        Refusal refusal = about(Refused::out_of_range, setting);
        refusal.column = item.column;
        refusal.columns = columns;
        refusal.value = std::to_string(item.value);
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
    if (list_is_stored(stored, columns)) return Missing();
    const auto start = static_cast<std::uint32_t>(stored);
    std::set<std::uint64_t> named;
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

// The display columns after the change, the given ones over the stored
// ones, each used once. The list is complete by now, so the table's
// columns are no more than the stored list and the change hold.
void check_order_distinct(const RPL_TABLE& table, const std::vector<ColumnValue>& order) {
    std::uint32_t n = table.m_num_columns;
    std::vector<std::int64_t> after(table.m_display_column.begin(),
                                    table.m_display_column.begin() + std::min<std::size_t>(n, table.m_display_column.size()));
    after.resize(n, 0);
    std::vector<bool> given(n, false);
    for (const ColumnValue& o : order) {
        after[o.column] = o.value;
        given[o.column] = true;
    }
    std::map<std::int64_t, std::uint32_t> user;  // display column -> the column that has it
    for (std::uint32_t i = 0; i < n; ++i) {
        auto [at, fresh] = user.emplace(after[i], i);
        if (fresh) continue;
        // Name a column the change gave, so that the person sees what to mend.
        std::uint32_t mine = given[i] ? i : at->second, other = given[i] ? at->second : i;
        Refusal refusal = about(Refused::display_column_shared, Setting::order);
        refusal.column = mine;
        refusal.other_column = other;
        refusal.value = std::to_string(after[i]);
        refuse(refusal);
    }
}

// The library writes a column list only when it reaches every column of
// the table, and alignments only with the widths: a change that would leave
// a list short would be shown but never stored, so it is refused.
void check_columns(const RPL_TABLE& table, const SettingsChange& change) {
    std::uint32_t n = table.m_num_columns;
    check_columns_named(change.widths, Setting::widths, n);
    check_columns_named(change.alignments, Setting::alignments, n);
    check_columns_named(change.order, Setting::order, n);
    check_values(change.widths, Setting::widths, n);
    check_values(change.order, Setting::order, n);
    Missing widths = missing_columns(table.m_column_width.size(), change.widths, n);
    check_complete(!change.widths.empty(), Setting::widths, widths);
    check_complete(!change.alignments.empty(), Setting::alignments, widths);
    check_complete(!change.order.empty(), Setting::order,
                   missing_columns(table.m_display_column.size(), change.order, n));
    if (!change.order.empty()) check_order_distinct(table, change.order);
}

void check_change(const RPL_REPORT_SECTION& section, const SettingsChange& change) {
    if (change.names_nothing()) refuse(Refusal{Refused::nothing_to_change});
    check_allowed(change.orientation, Setting::orientation, is_orientation);
    check_allowed(change.chart_type, Setting::chart_type, is_chart_type);
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

// The checks above put every value in range of the library's types.
void apply_change(RPL_REPORT_SECTION& section, const SettingsChange& change) {
    if (change.orientation) section.m_page_orientation = static_cast<int>(*change.orientation);
    if (change.chart_type) section.dynamic_cast_to_RPL_CHART()->m_chart_type = static_cast<int>(*change.chart_type);
    if (RPL_TABLE* table = section.dynamic_cast_to_RPL_TABLE()) {
        auto column = [](std::uint64_t c) { return static_cast<unsigned int>(c); };
        for (const ColumnValue& w : change.widths) table->set_column_width(column(w.column), static_cast<int>(w.value));
        for (const ColumnAlignment& a : change.alignments) table->set_alignment(column(a.column), a.alignment);
        for (const ColumnValue& o : change.order) table->set_display_column(column(o.column), static_cast<int>(o.value));
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
