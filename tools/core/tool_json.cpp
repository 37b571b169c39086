#include "tools/core/tool_json.h"

#include <cmath>
#include <limits>

#include "tools/core/json_text.h"

namespace rpl_toc {
namespace {

// nlohmann's message without its tag, on one line: "line 1, column 5:
// syntax error while parsing value - ...".
ImportError parse_failure(const ToolJson::parse_error& e) {
    std::string rest = parse_error_text(e.what());
    std::size_t colon = rest.find(": ");
    if (colon == std::string::npos) return ImportError{"", "invalid JSON: " + rest};
    return ImportError{rest.substr(0, colon), "invalid JSON: " + rest.substr(colon + 2)};
}

// The place of the number the parser could not hold, found by its text.
ImportError overflow_failure(const std::string& text, const ToolJson::out_of_range& e) {
    std::string what = e.what();
    std::size_t open = what.find('\''), close = what.rfind('\'');
    std::string token = open != std::string::npos && close > open ? what.substr(open + 1, close - open - 1) : "";
    std::size_t at = token.empty() ? std::string::npos : text.find(token);
    return ImportError{at == std::string::npos ? "" : line_and_column(text, at),
                       "invalid JSON: a number too large to hold" + (token.empty() ? "" : ": " + token)};
}

std::string type_of(const ToolJson& value) {
    if (value.is_object()) return "an object";
    if (value.is_array()) return "an array";
    if (value.is_string()) return "a string";
    if (value.is_boolean()) return "a boolean";
    if (value.is_null()) return "null";
    return "a number";
}

[[noreturn]] void refuse(const std::string& place, const std::string& expected, const ToolJson& found) {
    throw ImportError{place, "expected " + expected + ", found " + type_of(found)};
}

}  // namespace

ToolJson parse_tool_json(const std::string& text) {
    try {
        return parse_within_depth<ToolJson>(text, kMaxToolJsonDepth);
    } catch (const TooDeep& e) {
        throw ImportError{e.at, "nesting too deep: at most " + std::to_string(kMaxToolJsonDepth) + " levels are read"};
    } catch (const ToolJson::parse_error& e) {
        throw parse_failure(e);
    } catch (const ToolJson::out_of_range& e) {  // "number overflow parsing '1e999'": no place given
        throw overflow_failure(text, e);
    }
}

std::string place_of(const std::string& place, const std::string& key) { return place + "/" + json_pointer_token(key); }

std::string place_of(const std::string& place, std::size_t index) { return place + "/" + std::to_string(index); }

const ToolJson& expect_object(const ToolJson& value, const std::string& place) {
    if (!value.is_object()) refuse(place, "an object", value);
    return value;
}

const ToolJson& expect_array(const ToolJson& value, const std::string& place) {
    if (!value.is_array()) refuse(place, "an array", value);
    return value;
}

std::string read_text(const ToolJson& value, const std::string& place) {
    if (!value.is_string()) refuse(place, "a string", value);
    return value.get<std::string>();
}

std::uint64_t read_count(const ToolJson& value, const std::string& place) {
    if (value.is_number_unsigned()) return value.get<std::uint64_t>();
    if (value.is_number_integer() && value.get<std::int64_t>() >= 0) return value.get<std::uint64_t>();
    if (value.is_number()) throw ImportError{place, "expected an integer >= 0, found " + value.dump()};
    refuse(place, "an integer >= 0", value);
}

std::int64_t read_integer(const ToolJson& value, const std::string& place) {
    if (value.is_number_integer() && !value.is_number_unsigned()) return value.get<std::int64_t>();
    if (value.is_number_unsigned() && value.get<std::uint64_t>() <= std::uint64_t(std::numeric_limits<std::int64_t>::max()))
        return value.get<std::int64_t>();
    if (value.is_number()) throw ImportError{place, "expected a 64-bit integer, found " + value.dump()};
    refuse(place, "an integer", value);
}

double read_number(const ToolJson& value, const std::string& place) {
    if (!value.is_number()) refuse(place, "a number", value);
    double number = value.get<double>();
    if (!std::isfinite(number)) throw ImportError{place, "expected a finite number"};
    return number;
}

const ToolJson* member(const ToolJson& object, const char* key) {
    auto it = object.find(key);
    return it == object.end() ? nullptr : &*it;
}

std::optional<std::string> optional_text(const ToolJson& object, const char* key, const std::string& place) {
    const ToolJson* value = member(object, key);
    if (!value) return std::nullopt;
    return read_text(*value, place_of(place, key));
}

std::optional<std::uint64_t> optional_count(const ToolJson& object, const char* key, const std::string& place) {
    const ToolJson* value = member(object, key);
    if (!value) return std::nullopt;
    return read_count(*value, place_of(place, key));
}

std::optional<double> optional_number(const ToolJson& object, const char* key, const std::string& place) {
    const ToolJson* value = member(object, key);
    if (!value) return std::nullopt;
    return read_number(*value, place_of(place, key));
}

}  // namespace rpl_toc
