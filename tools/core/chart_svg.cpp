#include "tools/core/chart_svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "tools/core/html_templates.h"

namespace rpl_toc {

namespace {

// Whatever the caller passes, the drawing stays bounded: past these the
// chart shows the first ones and a note says so.
constexpr std::size_t kMaxLabels = 2000;
constexpr std::size_t kMaxSeries = 50;

// Values are flushed to zero or clamped to these, so that the scale's
// arithmetic (ranges, steps, ratios) can neither overflow nor underflow.
constexpr double kTiniest = 1e-300;
constexpr double kHugest = 1e300;

// There is no text measurement without a script, so widths are estimated
// from a mean advance per code point of the sans-serif font at this size;
// wide (CJK) characters are underestimated, which long labels' cut bounds.
constexpr double kFontSize = 11;
constexpr double kCharWidth = 6.5;

constexpr double kMargin = 8;
constexpr int kMinWidth = 200;
constexpr int kMinHeight = 120;
constexpr int kMaxSide = 10000;
constexpr double kMinPlotHeight = 80;
constexpr double kLabelRow = 18;
constexpr double kNoteRow = 14;
constexpr double kLegendRow = 16;
constexpr double kLegendGap = 16;
constexpr double kSwatch = 10;
constexpr double kSwatchLine = 16;
constexpr std::size_t kLegendChars = 24;
// A category label is cut at the room it has, but never wider than this.
constexpr std::size_t kLabelChars = 20;
// Labels are thinned until each shown one has room for this many code points.
constexpr std::size_t kLabelCharsWanted = 8;
constexpr double kLabelPadding = 6;
constexpr long kMaxIntervals = 5;
// Line points closer than this (in viewBox units) are too dense for markers.
constexpr double kDenseSlot = 8;

const char* const kReplacement = "\xEF\xBF\xBD";  // U+FFFD
const char* const kEllipsis = "\xE2\x80\xA6";     // U+2026

// Okabe and Ito's palette, which stays distinct under the common colour
// vision deficiencies; blue first because it also survives grey printing.
// Yellow comes late since it is weak on white paper.
const char* const kPalette[] = {"#0072B2", "#E69F00", "#009E73", "#D55E00", "#CC79A7", "#56B4E9", "#F0E442", "#000000"};
constexpr std::size_t kPaletteSize = sizeof kPalette / sizeof kPalette[0];
// Once the palette wraps, colours repeat: the dash pattern keeps series apart.
const char* const kDashes[] = {"", "6 3", "2 2", "8 3 2 3"};
constexpr std::size_t kDashCount = sizeof kDashes / sizeof kDashes[0];

// ---- Text ------------------------------------------------------------------

// The code point at `i` and the length of its UTF-8 sequence; length 0 when
// the bytes there are not well-formed UTF-8 (overlong forms, surrogates and
// values past U+10FFFF are not).
struct CodePoint {
    char32_t value;
    std::size_t length;
};

CodePoint decode_at(const std::string& text, std::size_t i) {
    auto byte = [&](std::size_t k) -> unsigned {
        return i + k < text.size() ? static_cast<unsigned char>(text[i + k]) : 0u;
    };
    unsigned lead = byte(0);
    if (lead < 0x80) return {lead, 1};
    if (lead < 0xC2 || lead > 0xF4) return {0, 0};  // a stray continuation byte or an overlong lead
    std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    // The first continuation byte's range is what rules out the remaining
    // overlong forms, the surrogates and code points past U+10FFFF.
    unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t value = lead & (0x7Fu >> length);  // the lead's payload bits
    for (std::size_t k = 1; k < length; ++k) {
        unsigned next = byte(k);
        if (next < (k == 1 ? low : 0x80u) || next > (k == 1 ? high : 0xBFu)) return {0, 0};
        value = (value << 6) | (next & 0x3Fu);
    }
    return {value, length};
}

// XML 1.0 forbids the C0 controls and U+FFFE/U+FFFF; DEL and the C1
// controls are allowed but print as nothing or as boxes, so they go too.
bool worth_showing(char32_t c) { return (c >= 0x20 && c < 0x7F) || (c >= 0xA0 && c != 0xFFFE && c != 0xFFFF); }

// `text` as well-formed UTF-8 on one line: malformed bytes become U+FFFD,
// line breaks and tabs spaces, and what XML cannot hold is dropped.
std::string clean_text(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        CodePoint point = decode_at(text, i);
        if (point.length == 0) {
            out += kReplacement;
            ++i;
            continue;
        }
        if (point.value == '\t' || point.value == '\n' || point.value == '\r')
            out += ' ';
        else if (worth_showing(point.value))
            out.append(text, i, point.length);
        i += point.length;
    }
    return out;
}

bool continuation_byte(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

std::size_t code_points(const std::string& clean) {
    return static_cast<std::size_t>(
        std::count_if(clean.begin(), clean.end(), [](char c) { return !continuation_byte(c); }));
}

// `clean` cut to at most `limit` code points, the last of them an ellipsis
// when anything was cut. Cuts fall between code points only.
std::string shortened(const std::string& clean, std::size_t limit) {
    if (code_points(clean) <= limit) return clean;
    if (limit == 0) return "";
    std::size_t kept = 0, end = 0;
    for (; end < clean.size(); ++end) {
        if (!continuation_byte(clean[end]) && kept++ == limit - 1) break;
    }
    return clean.substr(0, end) + kEllipsis;
}

// ---- Numbers ---------------------------------------------------------------

// Every coordinate is printed with one decimal, so the same input gives the
// same bytes, and "-0.0" never appears.
std::string coordinate(double value) {
    char text[48];
    std::snprintf(text, sizeof text, "%.1f", value);
    return std::string(text) == "-0.0" ? "0.0" : text;
}

std::string printed(const char* format, int decimals, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, decimals, value);
    return text;
}

// "1.50" as "1.5", "2.0" as "2", "-0" as "0".
std::string without_trailing_zeros(std::string number) {
    if (number.find('.') != std::string::npos) {
        number.erase(number.find_last_not_of('0') + 1);
        if (number.back() == '.') number.pop_back();
    }
    return number == "-0" ? "0" : number;
}

// ---- Value scale -----------------------------------------------------------

// Ticks at first × step … last × step, the step being 1, 2 or 5 × 10^k, so
// every tick label is short and the ticks are whole multiples of the step.
struct ValueScale {
    int multiplier = 1;
    int exponent = 0;
    long first = 0;
    long last = 1;

    double step() const { return multiplier * std::pow(10.0, exponent); }
    // 0 at the lowest tick, 1 at the highest; dividing by the step first
    // keeps huge values from overflowing.
    double fraction(double value) const {
        return (value / step() - static_cast<double>(first)) / static_cast<double>(last - first);
    }
};

// The smallest 1-2-5 step that covers [low, high] in at most five
// intervals, zero included, so that there are about four to six ticks.
ValueScale nice_scale(double low, double high) {
    low = std::min(low, 0.0);
    high = std::max(high, 0.0);
    if (high - low <= 0) high = 1;  // all values zero
    static const int kMultipliers[] = {1, 2, 5};
    ValueScale scale;
    int smallest = static_cast<int>(std::floor(std::log10((high - low) / kMaxIntervals)));
    // Within three decades the step exceeds the whole range, which always fits.
    for (int exponent = smallest; exponent <= smallest + 3; ++exponent) {
        for (int multiplier : kMultipliers) {
            scale.multiplier = multiplier;
            scale.exponent = exponent;
            // The tolerance absorbs 0.3 / 0.1 = 2.9999…, which is no extra interval.
            scale.first = static_cast<long>(std::floor(low / scale.step() + 1e-9));
            scale.last = static_cast<long>(std::ceil(high / scale.step() - 1e-9));
            if (scale.last - scale.first <= kMaxIntervals) return scale;
        }
    }
    return scale;
}

// "2.5e-7", "1e20": the mantissa has as many decimals as the step needs.
std::string scientific_label(double value, int step_exponent) {
    int magnitude = static_cast<int>(std::floor(std::log10(std::fabs(value)) + 1e-9));
    int decimals = std::clamp(magnitude - step_exponent, 0, 15);
    std::string text = printed("%.*e", decimals, value);
    std::size_t e = text.find('e');
    return without_trailing_zeros(text.substr(0, e)) + "e" + std::to_string(std::atoi(text.c_str() + e + 1));
}

// "250", "1.5k", "2M": each tick takes the largest SI prefix it reaches, and
// as many decimals as the step needs under that prefix.
std::string prefixed_label(double value, int step_exponent) {
    static const struct {
        int exponent;
        const char* suffix;
    } kPrefixes[] = {{12, "T"}, {9, "G"}, {6, "M"}, {3, "k"}, {0, ""}};
    for (const auto& prefix : kPrefixes) {
        double unit = std::pow(10.0, prefix.exponent);
        if (std::fabs(value) < unit * (1 - 1e-9) && prefix.exponent > 0) continue;
        int decimals = std::max(0, prefix.exponent - step_exponent);
        return without_trailing_zeros(printed("%.*f", decimals, value / unit)) + prefix.suffix;
    }
    return "0";
}

// Tick labels are compact and follow one rule per axis: scientific when the
// step is below 0.001 or a tick reaches 10^15, SI prefixes otherwise.
std::string tick_label(long index, const ValueScale& scale) {
    if (index == 0) return "0";
    double value = static_cast<double>(index) * scale.step();
    if (scale.exponent <= -4 || std::fabs(value) >= 1e15) return scientific_label(value, scale.exponent);
    return prefixed_label(value, scale.exponent);
}

// ---- Data ------------------------------------------------------------------

// The part of the data that is drawn, its texts cleaned, its values finite
// and within the range the scale can handle.
struct DrawnData {
    std::vector<std::string> labels;
    std::vector<std::string> names;
    std::vector<std::vector<std::optional<double>>> values;  // [series][label]
    std::size_t all_labels = 0;
    std::size_t all_series = 0;
    double low = 0;
    double high = 0;
    bool any_value = false;
};

std::optional<double> drawable(const std::optional<double>& value) {
    if (!value || !std::isfinite(*value)) return std::nullopt;
    if (std::fabs(*value) < kTiniest) return 0.0;
    return std::clamp(*value, -kHugest, kHugest);
}

std::vector<std::optional<double>> drawn_values(const ChartSeries& series, std::size_t count, DrawnData& data) {
    std::vector<std::optional<double>> values(count);
    for (std::size_t i = 0; i < count && i < series.values.size(); ++i) {
        values[i] = drawable(series.values[i]);
        if (!values[i]) continue;
        data.low = data.any_value ? std::min(data.low, *values[i]) : *values[i];
        data.high = data.any_value ? std::max(data.high, *values[i]) : *values[i];
        data.any_value = true;
    }
    return values;
}

DrawnData drawn_data(const ChartData& chart) {
    DrawnData data;
    data.all_labels = chart.labels.size();
    data.all_series = chart.series.size();
    std::size_t label_count = std::min(data.all_labels, kMaxLabels);
    for (std::size_t i = 0; i < label_count; ++i) data.labels.push_back(clean_text(chart.labels[i]));
    for (std::size_t s = 0; s < std::min(data.all_series, kMaxSeries); ++s) {
        data.names.push_back(clean_text(chart.series[s].name));
        data.values.push_back(drawn_values(chart.series[s], label_count, data));
    }
    return data;
}

// "first 2000 of 3500 labels shown", or empty when everything is drawn.
std::string truncation_note(const DrawnData& data) {
    std::string note;
    auto add = [&note](std::size_t shown, std::size_t all, const char* what) {
        if (shown == all) return;
        if (!note.empty()) note += ", ";
        note += "first " + std::to_string(shown) + " of " + std::to_string(all) + " " + what + " shown";
    };
    add(data.labels.size(), data.all_labels, "labels");
    add(data.names.size(), data.all_series, "series");
    return note;
}

// ---- Layout ----------------------------------------------------------------

struct LegendEntry {
    double x;          // the swatch's left edge
    double y;          // the text's baseline
    std::string name;
};

struct Layout {
    double width = 0;
    double height = 0;
    double left = 0, top = 0, right = 0, bottom = 0;  // the plot area
    std::vector<LegendEntry> legend;
    std::size_t label_every = 1;
    std::string note;  // what is left out, or empty
};

// The legend runs along the top, one entry after another, wrapping to a new
// row when the next entry would pass the right margin.
std::vector<LegendEntry> legend_entries(const std::vector<std::string>& names, double width) {
    std::vector<LegendEntry> entries;
    double x = kMargin;
    int row = 0;
    for (const std::string& clean : names) {
        std::string name = shortened(clean, kLegendChars);
        double entry_width = kSwatchLine + 4 + static_cast<double>(code_points(name)) * kCharWidth;
        if (x > kMargin && x + entry_width > width - kMargin) {
            ++row;
            x = kMargin;
        }
        entries.push_back({x, kMargin + row * kLegendRow + kFontSize, name});
        x += entry_width + kLegendGap;
    }
    return entries;
}

double legend_height(const std::vector<LegendEntry>& legend) {
    return legend.empty() ? 0 : legend.back().y - kFontSize - kMargin + kLegendRow;
}

double tick_labels_width(const ValueScale& scale) {
    std::size_t widest = 0;
    for (long i = scale.first; i <= scale.last; ++i) widest = std::max(widest, tick_label(i, scale).size());
    return static_cast<double>(widest) * kCharWidth;
}

// Category labels stay horizontal, easiest to read on paper; when they do
// not fit side by side, only every k-th is shown (the first always), k
// chosen so each shown label has room for a useful part of its text. Rotated
// labels would take height from the plot and still collide past a few
// hundred labels.
std::size_t label_every(const std::vector<std::string>& labels, double slot) {
    std::size_t longest = 0;
    for (const std::string& label : labels) longest = std::max(longest, code_points(label));
    double wanted = static_cast<double>(std::min(longest, kLabelCharsWanted)) * kCharWidth + kLabelPadding;
    auto needed = static_cast<std::size_t>(std::ceil(wanted / slot - 1e-9));
    // Rounded up to 1, 2 or 5 × 10^k, so the shown labels fall on round
    // positions (1, 51, 101, …) a reader can count on.
    std::size_t every = 1;
    for (std::size_t decade = 1; every < needed && decade <= labels.size(); decade *= 10) {
        for (std::size_t multiplier : {1, 2, 5}) {
            every = multiplier * decade;
            if (every >= needed) break;
        }
    }
    return std::clamp<std::size_t>(every, 1, labels.size());
}

Layout chart_layout(const DrawnData& data, const ValueScale& scale, const ChartFrame& frame) {
    Layout layout;
    layout.width = std::clamp(frame.width, kMinWidth, kMaxSide);
    layout.legend = legend_entries(data.names, layout.width);
    layout.note = truncation_note(data);
    double legend = legend_height(layout.legend);
    layout.top = kMargin + legend + (legend > 0 ? kMargin : 0) + kFontSize / 2;
    double below = kLabelRow + (layout.note.empty() ? 0 : kNoteRow) + kMargin;
    // A long legend makes the chart taller rather than squeezing the plot.
    double height = std::clamp(frame.height, kMinHeight, kMaxSide);
    layout.height = std::ceil(std::max(height, layout.top + kMinPlotHeight + below));
    layout.bottom = layout.height - below;
    layout.left = kMargin + tick_labels_width(scale) + 6;
    layout.right = layout.width - kMargin;
    layout.label_every =
        label_every(data.labels, (layout.right - layout.left) / static_cast<double>(data.labels.size()));
    return layout;
}

// ---- Drawing ---------------------------------------------------------------

struct Geometry {
    const Layout& layout;
    const ValueScale& scale;
    std::size_t label_count;

    double slot() const { return (layout.right - layout.left) / static_cast<double>(label_count); }
    double centre(std::size_t label) const { return layout.left + slot() * (static_cast<double>(label) + 0.5); }
    double y(double value) const { return layout.bottom - scale.fraction(value) * (layout.bottom - layout.top); }
};

TemplateData line_data(double x1, double y1, double x2, double y2) {
    return TemplateData(kainjow::mustache::object{
        {"x1", coordinate(x1)}, {"y1", coordinate(y1)}, {"x2", coordinate(x2)}, {"y2", coordinate(y2)}});
}

TemplateData text_data(double x, double y, const std::string& text) {
    return TemplateData(kainjow::mustache::object{{"x", coordinate(x)}, {"y", coordinate(y)}, {"text", text}});
}

TemplateData point_data(double x, double y) {
    return TemplateData(kainjow::mustache::object{{"x", coordinate(x)}, {"y", coordinate(y)}});
}

TemplateData rect_data(double x, double y, double width, double height) {
    return TemplateData(kainjow::mustache::object{
        {"x", coordinate(x)}, {"y", coordinate(y)}, {"width", coordinate(width)}, {"height", coordinate(height)}});
}

// The zero line is drawn darker, over the data, so the grid leaves it out.
TemplateList grid(const Geometry& at) {
    TemplateList out;
    for (long i = at.scale.first; i <= at.scale.last; ++i) {
        if (i == 0) continue;
        double y = at.y(static_cast<double>(i) * at.scale.step());
        out.push_back(line_data(at.layout.left, y, at.layout.right, y));
    }
    return out;
}

TemplateList value_ticks(const Geometry& at) {
    TemplateList out;
    for (long i = at.scale.first; i <= at.scale.last; ++i) {
        double y = at.y(static_cast<double>(i) * at.scale.step());
        out.push_back(text_data(at.layout.left - 6, y + 4, tick_label(i, at.scale)));
    }
    return out;
}

// A shown label may use the slots up to the next shown one, but never runs
// past the edges of the chart.
std::size_t label_room(const Geometry& at, std::size_t label) {
    double room = std::min(at.slot() * static_cast<double>(at.layout.label_every),
                           2 * std::min(at.centre(label), at.layout.width - at.centre(label)));
    double chars = std::floor((room - kLabelPadding) / kCharWidth);
    return chars < 1 ? 1 : std::min(kLabelChars, static_cast<std::size_t>(chars));
}

// The two axes and a tick under each shown label, and the labels.
void category_axis(const Geometry& at, const std::vector<std::string>& labels, TemplateData& drawn) {
    TemplateList axis{line_data(at.layout.left, at.layout.top, at.layout.left, at.layout.bottom),
                      line_data(at.layout.left, at.layout.bottom, at.layout.right, at.layout.bottom)};
    TemplateList texts;
    for (std::size_t i = 0; i < labels.size(); i += at.layout.label_every) {
        double x = at.centre(i);
        axis.push_back(line_data(x, at.layout.bottom, x, at.layout.bottom + 4));
        texts.push_back(text_data(x, at.layout.bottom + 15, shortened(labels[i], label_room(at, i))));
    }
    drawn.set("axis", axis);
    drawn.set("labels", texts);
}

// What gives series `index` its look: its colour and, once the palette
// repeats, its dash pattern, as a bar's outline or a line's stroke.
TemplateData series_look(std::size_t index, ChartKind kind) {
    TemplateData out;
    out.set("colour", kPalette[index % kPaletteSize]);
    const char* dash = kDashes[(index / kPaletteSize) % kDashCount];
    TemplateData pattern = *dash ? TemplateData("dash", dash) : TemplateData(false);
    out.set("outline", kind == ChartKind::bar ? pattern : TemplateData(false));
    out.set("dashed", kind == ChartKind::line ? pattern : TemplateData(false));
    return out;
}

// The bars of one label sit side by side in the middle 80% of its slot,
// each growing from the zero line, down for negative values. Each series
// is filled in on its own, as chart_series.svg: mustache copies what it is
// given at every level it is put in, and the series hold most of a chart.
std::string bars(const Geometry& at, const DrawnData& data) {
    std::string out;
    double bar_width = at.slot() * 0.8 / static_cast<double>(data.values.size());
    double zero = at.y(0);
    for (std::size_t s = 0; s < data.values.size(); ++s) {
        TemplateList rects;
        for (std::size_t i = 0; i < data.labels.size(); ++i) {
            if (!data.values[s][i]) continue;
            double x = at.centre(i) - at.slot() * 0.4 + bar_width * static_cast<double>(s);
            double y = at.y(*data.values[s][i]);
            rects.push_back(rect_data(x, std::min(y, zero), bar_width, std::fabs(zero - y)));
        }
        TemplateData series = series_look(s, ChartKind::bar);
        series.set("bars", rects);
        out += fill_template("chart_series.svg", series);
    }
    return out;
}

bool alone(const std::vector<std::optional<double>>& values, std::size_t i) {
    return (i == 0 || !values[i - 1]) && (i + 1 == values.size() || !values[i + 1]);
}

// One path per series; a gap starts a new subpath ("M"), so the line
// breaks there. A point alone between gaps shows as its marker only. When
// points are closer than a marker, markers would merge into a thick rope
// hiding the dash patterns, so only the lone points keep theirs.
TemplateData line_series(const Geometry& at, const std::vector<std::optional<double>>& values, std::size_t index) {
    std::string path;
    TemplateList markers;
    bool dense = at.slot() < kDenseSlot;
    bool in_segment = false;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!values[i]) {
            in_segment = false;
            continue;
        }
        double x = at.centre(i), y = at.y(*values[i]);
        path += std::string(path.empty() ? "" : " ") + (in_segment ? "L " : "M ") + coordinate(x) + " " + coordinate(y);
        if (!dense || alone(values, i)) markers.push_back(point_data(x, y));
        in_segment = true;
    }
    TemplateData out = series_look(index, ChartKind::line);
    out.set("path", path.empty() ? TemplateData(false) : TemplateData("d", path));
    out.set("markers", markers);
    return out;
}

std::string lines(const Geometry& at, const DrawnData& data) {
    std::string out;
    for (std::size_t s = 0; s < data.values.size(); ++s)
        out += fill_template("chart_series.svg", line_series(at, data.values[s], s));
    return out;
}

// A swatch in the series' look: a square for bars, a stretch of line with
// its marker for lines; the name after it.
TemplateData legend_entry(const LegendEntry& entry, std::size_t index, ChartKind kind) {
    double middle = entry.y - 4;
    TemplateData out = series_look(index, kind);
    if (kind == ChartKind::bar) {
        out.set("bar", rect_data(entry.x + (kSwatchLine - kSwatch) / 2, middle - kSwatch / 2, kSwatch, kSwatch));
        out.set("line", false);
    } else {
        out.set("bar", false);
        out.set("line", TemplateData(kainjow::mustache::object{{"x1", coordinate(entry.x)},
                                                               {"x2", coordinate(entry.x + kSwatchLine)},
                                                               {"y", coordinate(middle)},
                                                               {"marker_x", coordinate(entry.x + kSwatchLine / 2)}}));
    }
    out.set("text_x", coordinate(entry.x + kSwatchLine + 4));
    out.set("text_y", coordinate(entry.y));
    out.set("name", entry.name);
    return out;
}

TemplateList legend(const Layout& layout, ChartKind kind) {
    TemplateList out;
    for (std::size_t i = 0; i < layout.legend.size(); ++i) out.push_back(legend_entry(layout.legend[i], i, kind));
    return out;
}

TemplateData note(const Layout& layout) {
    if (layout.note.empty()) return TemplateData(false);
    return text_data(layout.width - kMargin, layout.height - kMargin, layout.note);
}

// The svg element's own attributes: its viewBox and accessible name.
TemplateData svg_data(double width, double height, const std::string& name) {
    TemplateData out;
    out.set("width", std::to_string(std::lround(width)));
    out.set("height", std::to_string(std::lround(height)));
    out.set("name", name);
    return out;
}

std::string no_data_svg(const ChartFrame& frame, const std::string& name) {
    double width = std::clamp(frame.width, kMinWidth, kMaxSide);
    double height = std::clamp(frame.height, kMinHeight, kMaxSide);
    TemplateData svg = svg_data(width, height, name);
    TemplateData empty = point_data(width / 2, height / 2 + 4);
    empty.set("width", coordinate(width - 1));
    empty.set("height", coordinate(height - 1));
    svg.set("empty", empty);
    svg.set("drawn", false);
    return fill_template("chart.svg", svg);
}

// The chart's accessible name: its title, or what it is when untitled.
std::string chart_name(const std::string& title, ChartKind kind) {
    std::string name = clean_text(title);
    if (name.find_first_not_of(' ') == std::string::npos) name = kind == ChartKind::bar ? "Bar chart" : "Line chart";
    return name;
}

}  // namespace

std::string chart_svg(const ChartData& data, ChartKind kind, const std::string& title, ChartFrame frame) {
    std::string name = chart_name(title, kind);
    DrawnData drawn = drawn_data(data);
    if (!drawn.any_value) return no_data_svg(frame, name);
    ValueScale scale = nice_scale(drawn.low, drawn.high);
    Layout layout = chart_layout(drawn, scale, frame);
    Geometry at{layout, scale, drawn.labels.size()};
    TemplateData drawing = svg_data(layout.width, layout.height, name);
    drawing.set("empty", false);
    drawing.set("drawn", true);
    drawing.set("grid", grid(at));
    drawing.set("ticks", value_ticks(at));
    category_axis(at, drawn.labels, drawing);
    drawing.set("series", kind == ChartKind::bar ? bars(at, drawn) : lines(at, drawn));
    drawing.set("zero_x1", coordinate(layout.left));
    drawing.set("zero_x2", coordinate(layout.right));
    drawing.set("zero_y", coordinate(at.y(0)));
    drawing.set("legend", legend(layout, kind));
    drawing.set("note", note(layout));
    return fill_template("chart.svg", drawing);
}

}  // namespace rpl_toc
