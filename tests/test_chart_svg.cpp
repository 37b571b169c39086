#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/core/chart_svg.h"

using namespace rpl_toc;

namespace {

using Values = std::vector<std::optional<double>>;
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

struct Element {
    std::string name;
    std::map<std::string, std::string> attributes;
    std::string text;
    std::string group;  // the class of the nearest enclosing element that has one
};

bool entities_valid(const std::string& text) {
    for (std::size_t at = text.find('&'); at != std::string::npos; at = text.find('&', at + 1)) {
        std::string rest = text.substr(at, 6);
        if (rest.rfind("&amp;", 0) && rest.rfind("&lt;", 0) && rest.rfind("&gt;", 0) && rest.rfind("&quot;", 0) &&
            rest.rfind("&#39;", 0))
            return false;
    }
    return true;
}

// Reads `svg` as the XML subset the renderer writes (one root, balanced
// tags, double-quoted attributes, only the five predefined entities) and
// fails the test on anything else.
class MiniXml {
public:
    explicit MiniXml(const std::string& svg) : svg_(svg) {
        while (i_ < svg_.size() && ok_) {
            if (svg_[i_] != '<')
                text();
            else if (svg_.compare(i_, 2, "</") == 0)
                end_tag();
            else
                start_tag();
        }
        check(open_.empty() && roots_ == 1, "not one closed root");
    }
    std::vector<Element> elements;

private:
    void check(bool good, const char* why) {
        if (!good && ok_) ADD_FAILURE() << why << " at " << i_ << ": " << svg_.substr(i_, 40);
        ok_ = ok_ && good;
    }
    std::string name() {
        std::size_t start = i_;
        while (i_ < svg_.size() && (std::isalnum(static_cast<unsigned char>(svg_[i_])) || svg_[i_] == '-')) ++i_;
        return svg_.substr(start, i_ - start);
    }
    void text() {
        std::size_t end = std::min(svg_.find('<', i_), svg_.size());
        std::string text = svg_.substr(i_, end - i_);
        check(entities_valid(text) && text.find('>') == std::string::npos, "bad text");
        check(!open_.empty() || text.find_first_not_of('\n') == std::string::npos, "text outside the root");
        if (!open_.empty()) elements[open_.back()].text += text;
        i_ = end;
    }
    void end_tag() {
        i_ += 2;
        check(!open_.empty() && elements[open_.back()].name == name() && svg_[i_++] == '>', "bad end tag");
        if (ok_) open_.pop_back();
    }
    void attribute(Element& element) {
        ++i_;
        std::string attribute = name();
        std::size_t end = svg_.find('"', i_ + 2);
        check(svg_.compare(i_, 2, "=\"") == 0 && end != std::string::npos, "bad attribute");
        if (!ok_) return;
        std::string value = svg_.substr(i_ + 2, end - i_ - 2);
        check(value.find('<') == std::string::npos && entities_valid(value), "bad attribute value");
        check(element.attributes.emplace(attribute, value).second, "repeated attribute");
        i_ = end + 1;
    }
    void start_tag() {
        ++i_;
        Element element{name(), {}, "", ""};
        for (auto it = open_.rbegin(); it != open_.rend() && element.group.empty(); ++it)
            element.group = elements[*it].attributes["class"];
        roots_ += open_.empty();
        while (ok_ && i_ < svg_.size() && svg_[i_] == ' ') attribute(element);
        bool empty = svg_.compare(i_, 2, "/>") == 0;
        check(empty || svg_.compare(i_, 1, ">") == 0, "bad start tag");
        i_ += empty ? 2 : 1;
        elements.push_back(element);
        if (!empty) open_.push_back(elements.size() - 1);
    }

    const std::string& svg_;
    std::size_t i_ = 0, roots_ = 0;
    bool ok_ = true;
    std::vector<std::size_t> open_;  // indexes of the elements not yet closed
};

std::vector<Element> parse(const std::string& svg) { return MiniXml(svg).elements; }

std::vector<Element> in_group(const std::vector<Element>& elements, const std::string& group, const std::string& name) {
    std::vector<Element> found;
    for (const Element& element : elements)
        if (element.group == group && element.name == name) found.push_back(element);
    return found;
}

std::vector<std::string> texts(const std::vector<Element>& elements, const std::string& group) {
    std::vector<std::string> found;
    for (const Element& element : in_group(elements, group, "text")) found.push_back(element.text);
    return found;
}

double number(const Element& element, const char* attribute) { return std::stod(element.attributes.at(attribute)); }

std::size_t count(const std::string& text, const std::string& what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

bool valid_utf8(const std::string& text) {
    for (std::size_t i = 0; i < text.size();) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        std::size_t length = c < 0x80                ? 1
                             : c >= 0xC2 && c < 0xE0 ? 2
                             : c >= 0xE0 && c < 0xF0 ? 3
                             : c >= 0xF0 && c < 0xF5 ? 4
                                                     : 0;
        if (length == 0 || i + length > text.size()) return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
        i += length;
    }
    return true;
}

ChartData one_series(const Values& values, const std::string& name = "s") {
    ChartData data;
    for (std::size_t i = 0; i < values.size(); ++i) data.labels.push_back("L" + std::to_string(i));
    data.series.push_back({name, values});
    return data;
}

}  // namespace

TEST(ChartSvg, EachKindIsWellFormedAndStyleFree) {
    ChartData data = one_series({3, -1, std::nullopt, 4.5});
    data.series.push_back({"second", {1, 2, 3, kNaN}});
    for (ChartKind kind : {ChartKind::bar, ChartKind::line}) {
        std::string svg = chart_svg(data, kind, "Sales");
        std::vector<Element> elements = parse(svg);
        ASSERT_FALSE(elements.empty());
        const Element& root = elements.front();
        EXPECT_EQ(root.name, "svg");
        EXPECT_EQ(root.attributes.at("viewBox"), "0 0 640 320");
        EXPECT_EQ(root.attributes.at("role"), "img");
        EXPECT_EQ(root.attributes.at("aria-label"), "Sales");
        EXPECT_EQ(root.attributes.at("class"), "rpl-chart");
        EXPECT_EQ(root.attributes.count("width"), 0u);
        EXPECT_EQ(elements[1].name, "title");
        EXPECT_EQ(elements[1].text, "Sales");
        EXPECT_EQ(svg.find("style"), std::string::npos);
        EXPECT_EQ(texts(elements, "rpl-chart-labels"), (std::vector<std::string>{"L0", "L1", "L2", "L3"}));
    }
    EXPECT_NE(chart_svg(data, ChartKind::line, " ").find("aria-label=\"Line chart\""), std::string::npos);
}

TEST(ChartSvg, TickScales) {
    const struct {
        Values values;
        std::vector<std::string> ticks;
    } cases[] = {
        {{0, 97}, {"0", "20", "40", "60", "80", "100"}},
        {{-5, -47}, {"-50", "-40", "-30", "-20", "-10", "0"}},
        {{-30, 70}, {"-50", "0", "50", "100"}},
        {{5, 5, 5}, {"0", "1", "2", "3", "4", "5"}},
        {{0, 0}, {"0", "0.2", "0.4", "0.6", "0.8", "1"}},
        {{0.23}, {"0", "0.05", "0.1", "0.15", "0.2", "0.25"}},
        {{1500}, {"0", "500", "1k", "1.5k"}},
        {{2.5e6}, {"0", "500k", "1M", "1.5M", "2M", "2.5M"}},
        {{-3e-6}, {"-3e-6", "-2e-6", "-1e-6", "0"}},
        {{1e20}, {"0", "2e19", "4e19", "6e19", "8e19", "1e20"}},
        {{1e308, -1e308}, {"-1e300", "-5e299", "0", "5e299", "1e300"}},
    };
    for (const auto& c : cases) {
        std::string svg = chart_svg(one_series(c.values), ChartKind::bar, "t");
        EXPECT_EQ(texts(parse(svg), "rpl-chart-ticks"), c.ticks) << c.values.front().value_or(0);
        EXPECT_EQ(svg.find("nan"), std::string::npos);
        EXPECT_EQ(svg.find("inf"), std::string::npos);
    }
}

TEST(ChartSvg, OneBarPerValueAndNoneForGaps) {
    ChartData data = one_series({1, std::nullopt, kNaN, kInf, 0, -2});
    data.series.push_back({"b", {std::nullopt, 5}});  // shorter than the labels: the rest are gaps
    std::vector<Element> elements = parse(chart_svg(data, ChartKind::bar, "t"));
    std::vector<Element> bars = in_group(elements, "rpl-chart-series", "rect");
    ASSERT_EQ(bars.size(), 4u);
    std::vector<Element> labels = in_group(elements, "rpl-chart-labels", "text");
    for (const Element& bar : bars) {
        double middle = number(bar, "x") + number(bar, "width") / 2;
        double slot = number(labels[1], "x") - number(labels[0], "x");
        std::size_t label = static_cast<std::size_t>(std::floor((middle - number(labels[0], "x")) / slot + 0.5));
        EXPECT_TRUE(label == 0 || label == 1 || label == 4 || label == 5) << label;
    }
}

TEST(ChartSvg, NegativeBarsGrowDownFromTheBaseline) {
    std::vector<Element> elements = parse(chart_svg(one_series({5, -5}), ChartKind::bar, "t"));
    std::vector<Element> bars = in_group(elements, "rpl-chart-series", "rect");
    std::vector<Element> baseline = in_group(elements, "rpl-chart", "line");
    ASSERT_EQ(bars.size(), 2u);
    ASSERT_EQ(baseline.size(), 1u);
    double zero = number(baseline[0], "y1");
    EXPECT_NEAR(number(bars[0], "y") + number(bars[0], "height"), zero, 0.11);
    EXPECT_NEAR(number(bars[1], "y"), zero, 0.11);
    EXPECT_NEAR(number(bars[0], "height"), number(bars[1], "height"), 0.11);
    EXPECT_GT(number(bars[1], "height"), 10);
}

TEST(ChartSvg, GapsBreakTheLine) {
    std::vector<Element> elements =
        parse(chart_svg(one_series({1, 2, std::nullopt, 4, kNaN, 6, 7}), ChartKind::line, "t"));
    std::vector<Element> paths = in_group(elements, "rpl-chart-series", "path");
    ASSERT_EQ(paths.size(), 1u);
    const std::string& d = paths[0].attributes.at("d");
    EXPECT_EQ(count(d, "M "), 3u) << d;
    EXPECT_EQ(count(d, "L "), 2u) << d;
    EXPECT_EQ(in_group(elements, "rpl-chart-series", "circle").size(), 5u);  // the lone 4 keeps its marker
}

TEST(ChartSvg, LegendHasOneEntryPerSeriesAndWraps) {
    ChartData data = one_series({1, 2});
    for (int i = 1; i < 12; ++i) data.series.push_back({"a rather long series name " + std::to_string(i), {i, 1}});
    for (ChartKind kind : {ChartKind::bar, ChartKind::line}) {
        std::vector<Element> entries = in_group(parse(chart_svg(data, kind, "t")), "rpl-chart-legend", "text");
        ASSERT_EQ(entries.size(), 12u);
        EXPECT_EQ(entries[0].text, "s");
        std::set<std::string> rows;
        for (const Element& entry : entries) rows.insert(entry.attributes.at("y"));
        EXPECT_GT(rows.size(), 1u);
    }
}

TEST(ChartSvg, SeriesDifferByDashOnceThePaletteWraps) {
    ChartData data = one_series({1, 2});
    for (int i = 1; i < 9; ++i) data.series.push_back({"s" + std::to_string(i), {i, 1}});
    std::vector<Element> paths = in_group(parse(chart_svg(data, ChartKind::line, "t")), "rpl-chart-series", "path");
    ASSERT_EQ(paths.size(), 9u);
    EXPECT_EQ(paths[0].attributes.at("stroke"), paths[8].attributes.at("stroke"));
    EXPECT_EQ(paths[0].attributes.count("stroke-dasharray"), 0u);
    EXPECT_EQ(paths[8].attributes.count("stroke-dasharray"), 1u);
}

TEST(ChartSvg, HostileTextIsEscaped) {
    ChartData data;
    data.labels = {"<script>alert(1)</script>", "]]>\x01\x1b\x7f&", "bad \xff\xc3( \xe2\x82"};
    data.series.push_back({"\"onload=\"alert(1)", {1, 2, 3}});
    data.series.push_back({"x' onclick='y", {1, 2, 3}});
    for (ChartKind kind : {ChartKind::bar, ChartKind::line}) {
        std::string svg = chart_svg(data, kind, "\"><script>x</script><svg onload=\"y\x02");
        std::vector<Element> elements = parse(svg);
        EXPECT_EQ(svg.find("<script"), std::string::npos);
        EXPECT_TRUE(valid_utf8(svg));
        for (char c : svg) EXPECT_TRUE((static_cast<unsigned char>(c) >= 0x20 && c != 0x7f) || c == '\n');
        ASSERT_FALSE(elements.empty());
        EXPECT_EQ(elements[0].attributes.size(), 7u);
        EXPECT_EQ(elements[0].attributes.at("aria-label"),
                  "&quot;&gt;&lt;script&gt;x&lt;/script&gt;&lt;svg onload=&quot;y");
        for (const Element& element : elements)
            EXPECT_EQ(element.attributes.count("onload") + element.attributes.count("onclick"), 0u);
        std::vector<std::string> labels = texts(elements, "rpl-chart-labels");
        ASSERT_EQ(labels.size(), 3u);
        EXPECT_EQ(labels[1], "]]&gt;&amp;");
        EXPECT_EQ(labels[2], "bad \xEF\xBF\xBD\xEF\xBF\xBD( \xEF\xBF\xBD\xEF\xBF\xBD");
        EXPECT_EQ(texts(elements, "rpl-chart-legend")[1], "x&#39; onclick=&#39;y");
    }
}

TEST(ChartSvg, LongLabelsAreCutBetweenCodePoints) {
    std::string long_label;
    for (int i = 0; i < 40; ++i) long_label += "\xC3\xA9\xE6\x97\xA5";  // é日
    ChartData data = one_series({1, 2, 3, 4, 5, 6});
    data.labels.assign(6, long_label);
    std::string svg = chart_svg(data, ChartKind::bar, long_label);
    EXPECT_TRUE(valid_utf8(svg));
    for (const std::string& label : texts(parse(svg), "rpl-chart-labels")) {
        EXPECT_LT(label.size(), long_label.size());
        EXPECT_EQ(label.substr(label.size() - 3), "\xE2\x80\xA6");
    }
}

TEST(ChartSvg, ManyLabelsAreThinnedAndCapped) {
    Values values;
    for (int i = 0; i < 3000; ++i) values.push_back(i % 7);
    values[1000] = values[1002] = std::nullopt;  // 1001 stands alone
    ChartData data = one_series(values);
    std::vector<Element> elements = parse(chart_svg(data, ChartKind::line, "t"));
    std::vector<Element> labels = in_group(elements, "rpl-chart-labels", "text");
    ASSERT_EQ(labels.size(), 10u);
    EXPECT_EQ(labels[1].text, "L200") << "every k-th label, k a round step";
    for (std::size_t i = 1; i < labels.size(); ++i)
        EXPECT_GE(number(labels[i], "x") - number(labels[i - 1], "x"), labels[i].text.size() * 6.5);
    EXPECT_EQ(in_group(elements, "rpl-chart-series", "circle").size(), 1u) << "dense: only the lone point's marker";
    EXPECT_EQ(in_group(elements, "rpl-chart", "text").back().text, "first 2000 of 3000 labels shown");

    ChartData wide = one_series({1});
    for (int i = 1; i < 60; ++i) wide.series.push_back({"s" + std::to_string(i), {i}});
    std::vector<Element> wide_elements = parse(chart_svg(wide, ChartKind::bar, "t"));
    EXPECT_EQ(in_group(wide_elements, "rpl-chart-legend", "text").size(), 50u);
    EXPECT_EQ(in_group(wide_elements, "rpl-chart", "text").back().text, "first 50 of 60 series shown");
}

TEST(ChartSvg, NoDataDrawsTheFrameAndSaysSo) {
    ChartData no_labels;
    no_labels.series.push_back({"s", {1}});
    ChartData no_series;
    no_series.labels = {"a"};
    const ChartData cases[] = {ChartData(), no_labels, no_series, one_series({std::nullopt, kNaN, -kInf})};
    for (const ChartData& data : cases) {
        std::string svg = chart_svg(data, ChartKind::line, "Empty", {300, 150});
        EXPECT_EQ(
            svg,
            "<svg viewBox=\"0 0 300 150\" role=\"img\" aria-label=\"Empty\" "
            "class=\"rpl-chart\" preserveAspectRatio=\"xMidYMid meet\" font-family=\"sans-serif\" font-size=\"11\">\n"
            "<title>Empty</title>\n"
            "<rect class=\"rpl-chart-frame\" x=\"0.5\" y=\"0.5\" width=\"299.0\" height=\"149.0\" fill=\"none\" "
            "stroke=\"#bbb\" stroke-width=\"1\"/>\n"
            "<text class=\"rpl-chart-empty\" x=\"150.0\" y=\"79.0\" text-anchor=\"middle\" fill=\"#555\">"
            "No numeric data to chart</text>\n</svg>\n");
    }
}

TEST(ChartSvg, SameInputSameBytes) {
    ChartData data = one_series({1.25, -3.5, std::nullopt, 1e9});
    data.series.push_back({"t", {0.1, 0.2, 0.3, 0.4}});
    for (ChartKind kind : {ChartKind::bar, ChartKind::line}) {
        std::string first = chart_svg(data, kind, "x", {500, 200});
        chart_svg(one_series({7}), kind, "other");
        EXPECT_EQ(chart_svg(data, kind, "x", {500, 200}), first);
    }
}

TEST(ChartSvg, SmallChartsAreStable) {
    ChartData data;
    data.labels = {"a", "b"};
    data.series.push_back({"s", {1, -0.5}});
    std::string bar = chart_svg(data, ChartKind::bar, "T", {300, 150});
    EXPECT_NE(bar.find("<g class=\"rpl-chart-series\" fill=\"#0072B2\">\n"
                       "<rect x=\"52.6\" y=\"37.5\" width=\"100.8\" height=\"57.7\"/>\n"
                       "<rect x=\"178.6\" y=\"95.2\" width=\"100.8\" height=\"28.8\"/>\n</g>\n"
                       "<line class=\"rpl-chart-baseline\" x1=\"40.0\" y1=\"95.2\" x2=\"292.0\" y2=\"95.2\""),
              std::string::npos)
        << bar;
    std::string line = chart_svg(data, ChartKind::line, "T", {300, 150});
    EXPECT_NE(line.find("<path d=\"M 103.0 37.5 L 229.0 124.0\" fill=\"none\" stroke=\"#0072B2\""), std::string::npos)
        << line;
}
