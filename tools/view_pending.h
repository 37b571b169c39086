// TEMPORARY: the command-line host's settings interface until it lands.
#ifndef TOOLS_VIEW_PENDING_H
#define TOOLS_VIEW_PENDING_H

#include <string>
#include <vector>

#include "tools/commands.h"

namespace rpl_toc {
void change_settings(RPL_REPORT_SECTION& section, const SetRequest& request);
std::string unsaved_reason(Session& session, const std::vector<const RPL_REPORT_SECTION*>& changed);
}  // namespace rpl_toc

#endif
