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

// Tracks where the parser is, from its events, so that a value can be
// named before the document holding it is built.
class ParsePlace {
public:
    // Opens an array or object at the current place; throws TooDeep when it
    // lies deeper than `limit` levels (the top value is level 1).
    void open(bool array, std::size_t limit) {
        if (m_levels.size() >= limit) throw TooDeep{pointer()};
        m_levels.push_back(Level{array, 0, std::string()});
    }
    void key(const std::string& key) { m_levels.back().key = key; }
    void close() {
        m_levels.pop_back();
        next();
    }
    // A value that is no array or object has been read.
    void value() { next(); }

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

// Builds the document from the parser's events as Json::parse does, but
// stops with TooDeep at the first array or object deeper than its limit.
// (The parser's filtering callback would report the depth too, but it
// looks through an array's items at the end of each of them, which makes
// an array of many objects cost the square of its length.)
template <class Json>
class DepthBoundedBuilder : public nlohmann::json_sax<Json> {
public:
    using string_t = typename Json::string_t;

    explicit DepthBoundedBuilder(std::size_t limit) : m_limit(limit) {}
    Json take() { return std::move(m_root); }

    bool null() override { return add(Json(nullptr)); }
    bool boolean(bool value) override { return add(Json(value)); }
    bool number_integer(typename Json::number_integer_t value) override { return add(Json(value)); }
    bool number_unsigned(typename Json::number_unsigned_t value) override { return add(Json(value)); }
    bool number_float(typename Json::number_float_t value, const string_t&) override { return add(Json(value)); }
    bool string(string_t& value) override { return add(Json(std::move(value))); }
    bool binary(typename Json::binary_t& value) override { return add(Json::binary(std::move(value))); }
    bool start_object(std::size_t) override { return open(Json::value_t::object); }
    bool key(string_t& key) override {
        m_place.key(key);
        m_key = std::move(key);
        return true;
    }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(Json::value_t::array); }
    bool end_array() override { return close(); }
    // The parser's own exceptions, as Json::parse throws them.
    bool parse_error(std::size_t, const std::string&, const typename Json::exception& error) override {
        if (auto* parse = dynamic_cast<const typename Json::parse_error*>(&error)) throw *parse;
        if (auto* range = dynamic_cast<const typename Json::out_of_range*>(&error)) throw *range;
        throw error;
    }

private:
    // The value at the current place; the open containers stay where they
    // are, since only the innermost one grows.
    Json* put(Json value) {
        if (m_open.empty()) {
            m_root = std::move(value);
            return &m_root;
        }
        Json& parent = *m_open.back();
        if (parent.is_array()) {
            parent.push_back(std::move(value));
            return &parent.back();
        }
        Json& member = parent[m_key];
        member = std::move(value);
        return &member;
    }
    bool add(Json value) {
        put(std::move(value));
        m_place.value();
        return true;
    }
    bool open(typename Json::value_t type) {
        m_place.open(type == Json::value_t::array, m_limit);
        m_open.push_back(put(Json(type)));
        return true;
    }
    bool close() {
        m_open.pop_back();
        m_place.close();
        return true;
    }

    std::size_t m_limit;
    ParsePlace m_place;
    std::vector<Json*> m_open;
    string_t m_key;
    Json m_root;
};

// `text` parsed as Json::parse parses it, except that the parse stops with
// TooDeep as soon as it opens an array or object deeper than `limit`
// levels: the parser's own events report the depth, so a text of any depth
// costs no more than its first `limit` levels, and no walk of the document
// meets a deeper tree than it allows.
template <class Json>
Json parse_within_depth(const std::string& text, std::size_t limit) {
    DepthBoundedBuilder<Json> builder(limit);
    Json::sax_parse(text, &builder);
    return builder.take();
}

// "line 3, column 14" for a byte offset of `text`.
std::string line_and_column(const std::string& text, std::size_t offset);

// The parser's message ("[json.exception.parse_error.101] parse error at
// line 1, column 5: syntax error ...") without its tag and on one line:
// "line 1, column 5: syntax error ...".
std::string parse_error_text(const std::string& what);

}  // namespace rpl_toc

#endif
