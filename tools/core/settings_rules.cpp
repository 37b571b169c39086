#include "tools/core/settings_rules.h"

namespace rpl_toc {

bool is_orientation(std::int64_t value) { return value == kPortrait || value == kLandscape; }

bool is_chart_type(std::int64_t value) { return value == kBarChart || value == kLineChart; }

bool is_column_width(std::int64_t value) { return value >= 0 && value <= kMaxColumnWidth; }

bool is_display_column(std::int64_t value, std::uint32_t columns) { return value >= 0 && value < columns; }

bool list_is_stored(std::size_t entries, std::uint32_t columns) { return columns > 0 && entries >= columns; }

}  // namespace rpl_toc
