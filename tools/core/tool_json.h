// Reading the JSON files a design tool wrote (Yosys's stat, nextpnr's
// report): parsed with their nesting bounded before the parser runs, then
// walked with the JSON pointer of every place, so that a field of the wrong
// type is refused in one line that names where it is. Unknown fields are
// never looked at, so a newer tool's additions import as before.
#ifndef TOOLS_CORE_TOOL_JSON_H
#define TOOLS_CORE_TOOL_JSON_H

#include <cstdint>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace rpl_toc {

// The tools' files keep their order (a module list, a path's steps).
using ToolJson = nlohmann::ordered_json;

// The deepest nesting of arrays and objects read. nextpnr's report nests
// 5 deep (critical_paths[i].path[j].from.loc), Yosys's stat 4; the bound
// keeps hostile input from driving the parser or a walk into deep stacks.
constexpr std::size_t kMaxToolJsonDepth = 32;

// Why an input is not what it claims to be: the place ("/fmax/clk/achieved"
// or "line 3, column 7") and what was expected there, one line.
struct ImportError {
    std::string place;
    std::string what;
    std::string message() const { return place.empty() ? what : place + ": " + what; }
};

// Parses `text`; throws ImportError for invalid JSON and for nesting deeper
// than kMaxToolJsonDepth.
ToolJson parse_tool_json(const std::string& text);

// The pointer of `key` (or of element `index`) below `place`.
std::string place_of(const std::string& place, const std::string& key);
std::string place_of(const std::string& place, std::size_t index);

// Each read checks the value's type and throws ImportError naming `place`.
const ToolJson& expect_object(const ToolJson& value, const std::string& place);
const ToolJson& expect_array(const ToolJson& value, const std::string& place);
std::string read_text(const ToolJson& value, const std::string& place);
std::uint64_t read_count(const ToolJson& value, const std::string& place);  // an integer >= 0
std::int64_t read_integer(const ToolJson& value, const std::string& place);
double read_number(const ToolJson& value, const std::string& place);  // finite

// A member of an object, or null when it is absent.
const ToolJson* member(const ToolJson& object, const char* key);

// Optional members: absent gives nullopt, a wrong type throws.
std::optional<std::string> optional_text(const ToolJson& object, const char* key, const std::string& place);
std::optional<std::uint64_t> optional_count(const ToolJson& object, const char* key, const std::string& place);
std::optional<double> optional_number(const ToolJson& object, const char* key, const std::string& place);

}  // namespace rpl_toc

#endif
