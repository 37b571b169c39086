// What a section's layout settings may hold. Every check of a change, every
// comparison of what was saved with what was meant, every drawing and every
// front end asks here, so that a rule is decided in one place.
#ifndef TOOLS_CORE_SETTINGS_RULES_H
#define TOOLS_CORE_SETTINGS_RULES_H

#include <cstddef>
#include <cstdint>

namespace rpl_toc {

// Page orientations: 1 portrait, 2 landscape. The library saves these two
// only; any other reads back as 1.
constexpr int kPortrait = 1;
constexpr int kLandscape = 2;
bool is_orientation(std::int64_t value);

// Chart types: 1 bar, 2 line. The library saves these two only, and the
// report writer draws no other.
constexpr int kBarChart = 1;
constexpr int kLineChart = 2;
bool is_chart_type(std::int64_t value);

// The widest column, in pixels: wider than any page, and small enough that
// a sum of widths never overflows.
constexpr std::int64_t kMaxColumnWidth = 10000;
bool is_column_width(std::int64_t value);

// Display columns of a table of `columns` columns run from 0 to columns-1,
// each used by one column.
bool is_display_column(std::int64_t value, std::uint32_t columns);

// The library saves a column list (widths with their alignments, or display
// columns) only when it holds an entry for every column of the table; a
// shorter list stays in memory and is never written.
bool list_is_stored(std::size_t entries, std::uint32_t columns);

}  // namespace rpl_toc

#endif
