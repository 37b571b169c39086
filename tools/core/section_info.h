// What rpl-toc tells about a section, shared by every output: its kind,
// depth and marking state, and its kind's values as text.
#ifndef TOOLS_CORE_SECTION_INFO_H
#define TOOLS_CORE_SECTION_INFO_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "host/host_strings.h"
#include "rpl/rpl.h"

namespace rpl_toc {

// `text` with control characters shown as escapes ("\n", "\x1b", C1
// controls and bidirectional overrides as "\u009b", "\u202e"), so a name
// cannot break a line, steer a terminal or reorder what follows it.
std::string printable(const std::string& text);
// printable(text) in single quotes, as messages quote a path or a value.
std::string quoted(const std::string& text);
// `text` as a shell word that pastes back as the same bytes, as ls shows
// names: as it is when only letters, digits and % + , - . / : = @ _ ^;
// else in single quotes; else, when it holds a control character, as
// $'...' with C escapes ($'||R||c\rd'), so that a carriage return and the
// four characters \x0d never look alike.
std::string shell_word(const std::string& text);
// `text` with & < > " ' as character references: safe as HTML text and
// inside a double- or single-quoted attribute.
std::string html_escape(const std::string& text);
// "5,151": a count as a person reads it.
std::string with_separators(std::size_t n);

// "folder", "text", "table", "chart", "embedded", "summary" or "gauges"
// ("section" for a plain section, which the builder never makes).
const char* section_kind(const RPL_REPORT_SECTION& section);
// 0 for a root, one more for every parent above.
int section_depth(const RPL_REPORT_SECTION& section);
// The words for get_num_marked_for_output: "none", "partly", "all".
const char* marking_word(int marking);

// The kind's values, labelled, for people: ("columns", "5"), ("HTML", "yes")...
// A table's column lists that hold nothing are given as "(none stored)", or
// left out when `with_empty_lists` is false.
std::vector<std::pair<std::string, std::string>> kind_values(const RPL_REPORT_SECTION& section,
                                                             bool with_empty_lists = true);
// The same in a few words for one line of a tree: "table, 5 columns".
std::string kind_summary(const RPL_REPORT_SECTION& section);

}  // namespace rpl_toc

#endif
