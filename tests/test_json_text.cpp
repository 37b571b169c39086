// The depth-bounded parse builds the document the parser's own parse
// builds, refuses the same texts with the same words, and stops at the
// first array or object past its depth, naming where it lies.
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/core/json_text.h"

using rpl_toc::parse_within_depth;
using rpl_toc::TooDeep;

namespace {

template <class Json>
std::string parsed_or_error(const std::string& text, bool bounded) {
    try {
        Json doc = bounded ? parse_within_depth<Json>(text, 1000) : Json::parse(text);
        return "doc " + doc.dump();
    } catch (const typename Json::parse_error& e) {
        return std::string("parse_error ") + e.what() + " at " + std::to_string(e.byte);
    } catch (const typename Json::out_of_range& e) {
        return std::string("out_of_range ") + e.what();
    }
}

std::string file_text(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST(JsonText, TheBoundedParseBuildsWhatTheParserBuildsAndRefusesWhatItRefuses) {
    std::vector<std::string> texts = {
        "", " ", "null", "0", "-0", "-0.0", "1e999", "-1e999", "18446744073709551615", "18446744073709551616",
        "-9223372036854775809", "3.25", "\"\\u00e4\\ud83d\\ude00\"", "\"\\ud800\"", "[]", "{}", "[[], {}, [[]]]",
        R"({"a": 1, "a": 2, "b": {"a": [1, {"c": null}]}})", R"({"z": 1, "y": [true, false], "x": "s"})",
        "[1, 2,]", "{\"a\" 1}", "[1] 2", "{\"a\": [1, 2}", "tru", "\"\x01\"", "[\"a\", {\"k\": [1e5, -2, 0.5]}]",
        std::string("[\"nul\0byte\"]", 12)};
    texts.push_back(file_text(RPL_SOURCE_DIR "/examples/design_flow.json"));
    texts.push_back(file_text(RPL_SOURCE_DIR "/examples/odd_cases.json"));
    for (const std::string& text : texts) {
        EXPECT_EQ(parsed_or_error<nlohmann::json>(text, true), parsed_or_error<nlohmann::json>(text, false)) << text;
        EXPECT_EQ(parsed_or_error<nlohmann::ordered_json>(text, true), parsed_or_error<nlohmann::ordered_json>(text, false))
            << text;
    }
}

TEST(JsonText, TheParseStopsAtTheFirstLevelPastTheLimitAndNamesIt) {
    struct Case {
        std::string text;
        std::size_t limit;
        std::string at;  // empty: within the limit
    };
    const std::vector<Case> cases = {
        {"[[1]]", 2, ""},
        {"[[1]]", 1, "/0"},
        {R"({"a": [0, 1, {"b/c~": []}]})", 3, "/a/2/b~1c~0"},
        {R"({"a": [0, 1, {"b/c~": []}]})", 4, ""},
        {std::string(100000, '['), 64, ""},  // the expected place is made below
    };
    for (const Case& c : cases) {
        std::string at;
        try {
            parse_within_depth<nlohmann::json>(c.text, c.limit);
        } catch (const TooDeep& e) {
            at = e.at;
        } catch (const nlohmann::json::parse_error&) {
            at = "a syntax error";
        }
        std::string expected = c.at;
        if (c.text.size() == 100000)  // far deeper than the limit: stopped at its 65th level, unread beyond it
            for (std::size_t level = 0; level < c.limit; ++level) expected += "/0";
        EXPECT_EQ(at, expected) << c.text.substr(0, 60);
    }
}

}  // namespace
