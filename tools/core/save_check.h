// Whether a change reached the settings file. The library saves what it
// can and tells nobody when it could not, so the operations that change
// settings ask it to read the sections back and compare.
#ifndef TOOLS_CORE_SAVE_CHECK_H
#define TOOLS_CORE_SAVE_CHECK_H

#include <vector>

#include "tools/core/operations.h"

namespace rpl_toc {

// Reads each of `written` back from the settings file through the library
// (a blank section of its kind, with its path, given to read_acf_settings)
// and compares it with the section as the session holds it. Sections that
// share an rdb path share a block of the file, which holds whichever of
// them was saved last, so any one of them will do. Only sections whose
// settings the library saves (m_settings_changed) are checked.
SaveCheck check_saved(Session& session, const std::vector<const RPL_REPORT_SECTION*>& written);

}  // namespace rpl_toc

#endif
