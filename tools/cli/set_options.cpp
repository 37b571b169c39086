#include "tools/cli/set_options.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <utility>

#include "tools/cli/commands.h"
#include "tools/core/section_info.h"

namespace rpl_toc {
namespace {

// A whole number as typed: digits after an optional minus. One past what
// 64 bits hold reads as the nearest they hold, which no setting allows, so
// that the operation says it is out of range rather than misshapen.
std::optional<std::int64_t> parse_whole(const std::string& text) {
    std::size_t i = (!text.empty() && text[0] == '-') ? 1 : 0;
    if (i == text.size()) return std::nullopt;
    for (std::size_t k = i; k < text.size(); ++k)
        if (text[k] < '0' || text[k] > '9') return std::nullopt;
    errno = 0;
    long long value = std::strtoll(text.c_str(), nullptr, 10);
    return static_cast<std::int64_t>(value);  // ERANGE gives the nearest, as meant
}

// "I=VALUE": the column index and the text after "=", or nullopt.
std::optional<std::pair<std::uint64_t, std::string>> split_column(const std::string& text) {
    std::size_t eq = text.find('=');
    std::optional<std::int64_t> index = eq == std::string::npos ? std::nullopt : parse_whole(text.substr(0, eq));
    if (!index || *index < 0 || text[0] == '-') return std::nullopt;
    return std::make_pair(static_cast<std::uint64_t>(*index), text.substr(eq + 1));
}

std::vector<ColumnValue> integer_columns(Setting setting, const std::vector<std::string>& texts, const char* form) {
    std::vector<ColumnValue> out;
    for (const std::string& text : texts) {
        auto column = split_column(text);
        std::optional<std::int64_t> value = column ? parse_whole(column->second) : std::nullopt;
        if (!value) throw CommandError(kExitError, option_flag(setting) + " " + quoted(text) + ": expected " + form);
        out.push_back({column->first, *value});
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

// A whole number given to --orientation or --chart-type; CLI11 only hands
// over the text.
std::optional<std::int64_t> one_value(bool given, const char* flag, const std::string& text) {
    if (!given) return std::nullopt;
    std::optional<std::int64_t> value = parse_whole(text);
    if (!value) throw CommandError(kExitError, std::string(flag) + " " + quoted(text) + ": expected 1 or 2");
    return value;
}

}  // namespace

SettingsChange settings_change(const SetOptions& options) {
    SettingsChange change;
    change.orientation = one_value(options.has_orientation, "--orientation", options.orientation);
    change.chart_type = one_value(options.has_chart_type, "--chart-type", options.chart_type);
    change.widths = integer_columns(Setting::widths, options.widths, "I=W, a column index and a width");
    change.alignments = align_columns(options.aligns);
    change.order = integer_columns(Setting::order, options.orders, "I=D, a column index and a display column");
    return change;
}

std::string option_flag(Setting setting) {
    switch (setting) {
        case Setting::orientation: return "--orientation";
        case Setting::chart_type: return "--chart-type";
        case Setting::widths: return "--width";
        case Setting::alignments: return "--align";
        case Setting::order: return "--order";
        case Setting::none: break;
    }
    return "set";
}

std::string option_given(const SetOptions& options, Setting setting, std::optional<std::uint64_t> column) {
    if (setting == Setting::orientation) return "--orientation " + quoted(options.orientation);
    if (setting == Setting::chart_type) return "--chart-type " + quoted(options.chart_type);
    const std::vector<std::string>* texts = setting == Setting::widths       ? &options.widths
                                            : setting == Setting::alignments ? &options.aligns
                                            : setting == Setting::order      ? &options.orders
                                                                             : nullptr;
    if (!texts) return option_flag(setting);
    for (const std::string& text : *texts) {
        auto split = split_column(text);
        if (!column || (split && split->first == *column)) return option_flag(setting) + " " + quoted(text);
    }
    return option_flag(setting);
}

}  // namespace rpl_toc
