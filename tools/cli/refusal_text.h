// A refusal of tools/core worded for the command line: its flags, one line.
// Every refusal exits with kExitError.
#ifndef TOOLS_CLI_REFUSAL_TEXT_H
#define TOOLS_CLI_REFUSAL_TEXT_H

#include <string>

#include "tools/cli/set_options.h"
#include "tools/core/refusal.h"

namespace rpl_toc {

// `set`: the options of the `set` that was refused, whose texts a refusal
// of a setting quotes; null for any other command.
std::string refusal_text(const Refusal& refusal, const SetOptions* set = nullptr);

}  // namespace rpl_toc

#endif
