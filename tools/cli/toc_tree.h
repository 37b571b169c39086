// The TOC as a tree for people: tree lines by depth, each section's marking
// state, name and kind with its key values.
#ifndef TOOLS_CLI_TOC_TREE_H
#define TOOLS_CLI_TOC_TREE_H

#include <ostream>

#include "rpl/rpl.h"

namespace rpl_toc {

struct TreeStyle {
    bool colour = false;  // ANSI colours, for a terminal
    bool paths = false;   // each section's rdb path instead of its name
    bool boxes = false;   // box-drawing tree lines (a UTF-8 locale) instead of ASCII
};

// A heading line, one line per section in reading order ("[x]" all of its
// subtree marked, "[~]" partly, "[ ]" none), then a legend.
void print_tree(std::ostream& out, RPL_REPORT_TOC& toc, const TreeStyle& style);

}  // namespace rpl_toc

#endif
