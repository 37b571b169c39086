// The options of `rpl-toc set` as typed, and the settings change they ask
// for.
#ifndef TOOLS_CLI_SET_OPTIONS_H
#define TOOLS_CLI_SET_OPTIONS_H

#include <string>
#include <vector>

#include "tools/core/operations.h"

namespace rpl_toc {

struct SetOptions {
    bool has_orientation = false;
    int orientation = 1;
    bool has_chart_type = false;
    int chart_type = 0;
    std::vector<std::string> widths;  // "I=W"
    std::vector<std::string> aligns;  // "I=L" or "I=R"
    std::vector<std::string> orders;  // "I=D"
};

// The change the options ask for. Throws CommandError (kExitError) naming
// the first option that is not of its form, "--width 'x': expected I=W...".
SettingsChange settings_change(const SetOptions& options);

// The option's flag and the text given for the first item of `setting`
// that names `column` (any item when `column` is negative): "--width '3=10'".
std::string option_given(const SetOptions& options, Setting setting, long long column = -1);

}  // namespace rpl_toc

#endif
