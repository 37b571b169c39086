// A chart drawn as inline SVG: a bar chart or a line chart of one or more
// series over a row of labels, with its axes, grid and legend, so that a
// page or a printed report shows it without any script.
#ifndef TOOLS_CORE_CHART_SVG_H
#define TOOLS_CORE_CHART_SVG_H

#include <optional>
#include <string>
#include <vector>

namespace rpl_toc {

struct ChartSeries {
    std::string name;                          // shown in the legend
    std::vector<std::optional<double>> values;  // one per label; nullopt is a gap
};

struct ChartData {
    std::vector<std::string> labels;  // the category axis, in order
    std::vector<ChartSeries> series;
};

enum class ChartKind { bar, line };

struct ChartFrame {
    int width = 640;   // the SVG's viewBox; it scales to its container
    int height = 320;
};

// The chart as one <svg> element for inline use in an HTML page: HTML puts
// it in the SVG namespace itself, so it names no namespace (and so holds no
// address). It has role="img" and an aria-label made of `title`; every
// text of the data is escaped. A series value that is not finite counts as
// a gap.
std::string chart_svg(const ChartData& data, ChartKind kind, const std::string& title, ChartFrame frame = ChartFrame());

}  // namespace rpl_toc

#endif
