#include "tools/cli/set_options.h"

#include <climits>
#include <cstdint>
#include <utility>

#include "tools/cli/commands.h"
#include "tools/core/section_info.h"

namespace rpl_toc {
namespace {

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

// "I=VALUE": the column index and the text after "=", or nullopt.
std::optional<std::pair<std::uint32_t, std::string>> split_column(const std::string& text) {
    std::size_t eq = text.find('=');
    long long index = 0;
    if (eq == std::string::npos || !parse_int(text.substr(0, eq), 0, UINT32_MAX, &index)) return std::nullopt;
    return std::make_pair(static_cast<std::uint32_t>(index), text.substr(eq + 1));
}

std::vector<ColumnValue> integer_columns(const char* flag, const std::vector<std::string>& texts, const char* form) {
    std::vector<ColumnValue> out;
    for (const std::string& text : texts) {
        auto column = split_column(text);
        long long value = 0;
        if (!column || !parse_int(column->second, INT_MIN, INT_MAX, &value))
            throw CommandError(kExitError, std::string(flag) + " " + quoted(text) + ": expected " + form);
        out.push_back({column->first, static_cast<int>(value)});
    }
    return out;
}

std::vector<ColumnAlignment> align_columns(const std::vector<std::string>& texts) {
    std::vector<ColumnAlignment> out;
    for (const std::string& text : texts) {
        auto column = split_column(text);
        if (!column) throw CommandError(kExitError, "--align " + quoted(text) + ": expected I=L or I=R");
        if (column->second != "L" && column->second != "R")
            throw CommandError(kExitError, "--align " + quoted(text) + ": the alignment must be L or R");
        out.push_back({column->first, column->second == "L" ? RPL_TABLE::LEFT : RPL_TABLE::RIGHT});
    }
    return out;
}

}  // namespace

SettingsChange settings_change(const SetOptions& options) {
    SettingsChange change;
    if (options.has_orientation) change.orientation = options.orientation;
    if (options.has_chart_type) change.chart_type = options.chart_type;
    change.widths = integer_columns("--width", options.widths, "I=W, a column index and a width");
    change.alignments = align_columns(options.aligns);
    change.order = integer_columns("--order", options.orders, "I=D, a column index and a display column");
    return change;
}

std::string option_given(const SetOptions& options, Setting setting, long long column) {
    struct ListOption {
        Setting setting;
        const char* flag;
        const std::vector<std::string>* texts;
    };
    if (setting == Setting::orientation) return "--orientation " + std::to_string(options.orientation);
    if (setting == Setting::chart_type) return "--chart-type " + std::to_string(options.chart_type);
    for (const ListOption& list : {ListOption{Setting::widths, "--width", &options.widths},
                                   ListOption{Setting::alignments, "--align", &options.aligns},
                                   ListOption{Setting::order, "--order", &options.orders}}) {
        if (list.setting != setting) continue;
        for (const std::string& text : *list.texts) {
            auto split = split_column(text);
            if (column < 0 || (split && split->first == column)) return std::string(list.flag) + " " + quoted(text);
        }
        return list.flag;
    }
    return std::string();
}

}  // namespace rpl_toc
