// The settings file as the viewer shows it: block by block, as the library
// reads it, each block's text as the library writes it. A file the library
// saved reads back as its very bytes; a file edited by hand shows what the
// library makes of it. The page never splits the file itself.
#ifndef TOOLS_CORE_SETTINGS_BLOCKS_H
#define TOOLS_CORE_SETTINGS_BLOCKS_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/core/session.h"
#include "tools/core/toc_json.h"

namespace rpl_toc {

// "[header]\nkey=value\n…", keys in the library's order.
std::string settings_block_text(const std::string& header, const std::map<std::string, std::string>& keys);

// The header lines of the blocks of `sections`.
std::set<std::string> headers_of(const std::vector<const RPL_REPORT_SECTION*>& sections);

// {"settings_file", "exists", "readable", "whole", "blocks": [{"header",
// "text", "rewritten"}]}: `read` null when the file could not be read
// steadily (then no block is shown); "rewritten" for the headers in
// `rewritten`. Not `whole`: only the rewritten blocks, each with "after",
// the header of the block before it in the file (null for the first), so
// that a page that holds the rest puts each in its place: a leaf's change
// answers a few hundred bytes, not the whole file.
Json settings_blocks_json(const std::string& settings_file, const Session::SettingsRead* read,
                          const std::set<std::string>& rewritten, bool whole = true);

}  // namespace rpl_toc

#endif
