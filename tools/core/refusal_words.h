// Every refusal of tools/core worded once, for every front end. A front end
// hands in how it names what a person gives (the command line its flags and
// the option as typed, the page its form's fields) and how it ends a
// sentence; the rest of the words are the same everywhere.
#ifndef TOOLS_CORE_REFUSAL_WORDS_H
#define TOOLS_CORE_REFUSAL_WORDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/core/refusal.h"

namespace rpl_toc {

class FrontNames {
public:
    virtual ~FrontNames() = default;
    // Where a person gives `setting`: "--width", "Width".
    virtual std::string field(Setting setting) const = 0;
    // What a person gave for `setting` at `column` (any of its items when
    // none): "--width '3=10'", "Width of column 3".
    virtual std::string given(Setting setting, std::optional<std::uint64_t> column) const = 0;
    // Said after "no section has the path P": where the paths are found.
    virtual std::string where_paths_are() const { return std::string(); }
    // Whether the words are a sentence (a capital and a full stop), as on
    // a page, or a line after "rpl-toc: error: ".
    virtual bool sentences() const = 0;
};

// The refusal in one line.
std::string refusal_words(const Refusal& refusal, const FrontNames& names);

// "1, 2 and 3": a list as every message of rpl-toc joins one.
std::string joined_list(const std::vector<std::string>& items);

}  // namespace rpl_toc

#endif
