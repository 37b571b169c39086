// What both JSON readers (report files, the flow's tool files) need of the
// raw text before and around the parser: how deep its brackets go, and a
// byte offset as a person finds it in an editor.
#ifndef TOOLS_CORE_JSON_TEXT_H
#define TOOLS_CORE_JSON_TEXT_H

#include <cstddef>
#include <string>

namespace rpl_toc {

// The offset of the first bracket, outside strings, that nests deeper than
// `limit`; npos when there is none. Runs before the parser, so that no
// later walk meets a deeper tree than it allows.
std::size_t too_deep_at(const std::string& text, std::size_t limit);

// "line 3, column 14" for a byte offset of `text`.
std::string line_and_column(const std::string& text, std::size_t offset);

// `key` as one token of a JSON pointer: "~" as "~0", "/" as "~1".
std::string json_pointer_token(const std::string& key);

// The parser's message ("[json.exception.parse_error.101] parse error at
// line 1, column 5: syntax error ...") without its tag and on one line:
// "line 1, column 5: syntax error ...".
std::string parse_error_text(const std::string& what);

}  // namespace rpl_toc

#endif
