// The logs of Yosys (`-l yosys.log`) and nextpnr (`-l nextpnr.log`): their
// warnings, errors and information lines, the tool's version and the top
// module Yosys names, and the slack histogram nextpnr draws after routing.
// A log is text: it is never refused, only recognised or not.
#ifndef TOOLS_CORE_FLOW_LOGS_H
#define TOOLS_CORE_FLOW_LOGS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rpl_toc {

enum class LogTool { yosys, nextpnr };

// One bar of nextpnr's histogram, "Info: [ 17262,  20510) |********+": the
// slack range in picoseconds as printed, and the endpoints the bar stands
// for. nextpnr scales the bars: each `*` is `per_star` endpoints and a `+`
// is fewer than that, so the count is stars x per_star, plus 1 for a `+`:
// exact when per_star is 1, otherwise at most per_star - 1 too low.
struct HistogramBar {
    std::string low, high;
    std::uint64_t endpoints = 0;
    bool partial = false;  // the bar ends in `+`
};

struct SlackHistogram {
    std::uint64_t per_star = 1;
    std::vector<HistogramBar> bars;
};

struct FlowLog {
    LogTool tool = LogTool::yosys;
    std::string version;   // Yosys: "0.23 (git sha1 7ce5011c24b)"; nextpnr logs name none
    std::string top;       // Yosys: the last "Top module:", without its backslash
    std::vector<std::string> warnings;  // "Warning: ..." lines, as they are
    std::vector<std::string> errors;    // "ERROR: ..." lines
    // Yosys: its top-level steps ("2. Executing SYNTH_ICE40 pass.") and the
    // closing "End of script." line. nextpnr: its "Info:" lines, less the
    // critical-path reports and histograms (imported from the report and as
    // a chart) and the placer's and router's progress lines.
    std::vector<std::string> information;
    std::optional<SlackHistogram> histogram;  // nextpnr: the last one, drawn after routing
};

// Which tool wrote `text`, or nullopt when it looks like neither's log.
std::optional<LogTool> recognise_log(const std::string& text);

FlowLog read_flow_log(const std::string& text, LogTool tool);

}  // namespace rpl_toc

#endif
