// The options of `rpl-toc set` as typed, and the settings change they ask
// for.
#ifndef TOOLS_CLI_SET_OPTIONS_H
#define TOOLS_CLI_SET_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/core/operations.h"

namespace rpl_toc {

// As typed: CLI11 only parses, and tools/core checks every value.
struct SetOptions {
    bool has_orientation = false;
    std::string orientation;
    bool has_chart_type = false;
    std::string chart_type;
    std::vector<std::string> widths;  // "I=W"
    std::vector<std::string> aligns;  // "I=L" or "I=R"
    std::vector<std::string> orders;  // "I=D"
};

// The change the options ask for. Throws CommandError (kExitError) naming
// the first option that is not of its form, "--width 'x': expected I=W...".
SettingsChange settings_change(const SetOptions& options);

// The flag of `setting`: "--width".
std::string option_flag(Setting setting);

// The option's flag and the text given for the first item of `setting`
// that names `column` (any item when none): "--width '3=10'".
std::string option_given(const SetOptions& options, Setting setting,
                         std::optional<std::uint64_t> column = std::nullopt);

}  // namespace rpl_toc

#endif
