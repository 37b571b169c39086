// What both JSON readers (report files, the flow's tool files) need around
// the parser: a parse that stops at a depth, the place of a value as a JSON
// pointer, and a byte offset as a person finds it in an editor.
#ifndef TOOLS_CORE_JSON_TEXT_H
#define TOOLS_CORE_JSON_TEXT_H

#include <cstddef>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace rpl_toc {

// Thrown by parse_within_depth: `at` is the JSON pointer of the first array
// or object that lies deeper than the limit.
struct TooDeep {
    std::string at;
};

// `key` as one token of a JSON pointer: "~" as "~0", "/" as "~1".
std::string json_pointer_token(const std::string& key);

// Tracks where the parser is, from the events of its callback, so that a
// value can be named before the document holding it is built.
class ParsePlace {
public:
    // Whether the parser may go on; throws TooDeep at the first array or
    // object deeper than `limit` levels (the top value is level 1).
    template <class Json>
    bool step(std::size_t limit, int depth, nlohmann::detail::parse_event_t event, Json& parsed) {
        using Event = nlohmann::detail::parse_event_t;
        switch (event) {
            case Event::object_start:
            case Event::array_start:
                if (static_cast<std::size_t>(depth) >= limit) throw TooDeep{pointer()};
                m_levels.push_back(Level{event == Event::array_start, 0, std::string()});
                break;
            case Event::key:
                m_levels.back().key = parsed.template get_ref<const typename Json::string_t&>();
                break;
            case Event::object_end:
            case Event::array_end:
                m_levels.pop_back();
                next();
                break;
            case Event::value:
                next();
                break;
        }
        return true;
    }

    // The place the parser is at: of the value it reads next.
    std::string pointer() const;

private:
    struct Level {
        bool array;
        std::size_t index;  // of the array's next item
        std::string key;    // of the object's current member
    };
    void next() {
        if (!m_levels.empty() && m_levels.back().array) ++m_levels.back().index;
    }
    std::vector<Level> m_levels;
};

// `text` parsed as Json::parse parses it, except that the parse stops with
// TooDeep as soon as it opens an array or object deeper than `limit`
// levels: the parser's own callback reports the depth, so a text of any
// depth costs no more than its first `limit` levels, and no walk of the
// document meets a deeper tree than it allows.
template <class Json>
Json parse_within_depth(const std::string& text, std::size_t limit) {
    ParsePlace place;
    return Json::parse(text, [&](int depth, nlohmann::detail::parse_event_t event, Json& parsed) {
        return place.step(limit, depth, event, parsed);
    });
}

// "line 3, column 14" for a byte offset of `text`.
std::string line_and_column(const std::string& text, std::size_t offset);

// The parser's message ("[json.exception.parse_error.101] parse error at
// line 1, column 5: syntax error ...") without its tag and on one line:
// "line 1, column 5: syntax error ...".
std::string parse_error_text(const std::string& what);

}  // namespace rpl_toc

#endif
