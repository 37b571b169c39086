#include "tools/core/json_text.h"

namespace rpl_toc {

std::string ParsePlace::pointer() const {
    std::string out;
    for (const Level& level : m_levels)
        out += "/" + (level.array ? std::to_string(level.index) : json_pointer_token(level.key));
    return out;
}

std::string line_and_column(const std::string& text, std::size_t offset) {
    std::size_t line = 1;
    std::size_t line_start = 0;
    for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
        if (text[i] == '\n') {
            ++line;
            line_start = i + 1;
        }
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(offset - line_start + 1);
}

std::string json_pointer_token(const std::string& key) {
    std::string out;
    for (char c : key) {
        if (c == '~')
            out += "~0";
        else if (c == '/')
            out += "~1";
        else
            out += c;
    }
    return out;
}

std::string parse_error_text(const std::string& what) {
    const std::string tag = "parse error at ";
    std::size_t at = what.find(tag);
    std::string rest = at == std::string::npos ? what : what.substr(at + tag.size());
    for (char& c : rest)
        if (c == '\n' || c == '\r') c = ' ';
    return rest;
}

}  // namespace rpl_toc
