// nextpnr's report as `--report FILE` writes it: the utilisation of each
// kind of resource, the achieved and constrained frequency of each clock,
// and the critical paths with their steps.
//
//   { "utilization": { "ICESTORM_LC": { "available": 1280, "used": 169 }, ... },
//     "fmax": { "clk$SB_IO_IN_$glb_clk": { "achieved": 171.06, "constraint": 12.0 } },
//     "critical_paths": [ { "from": "posedge clk", "to": "posedge clk",
//         "path": [ { "type": "routing", "delay": 0.588, "budget": 78.663, "net": "count[0]",
//                     "from": { "cell": "...", "port": "O", "loc": [11, 6] },
//                     "to": { ... } }, ... ] } ] }
#ifndef TOOLS_CORE_NEXTPNR_REPORT_H
#define TOOLS_CORE_NEXTPNR_REPORT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/core/tool_json.h"

namespace rpl_toc {

struct ResourceUse {
    std::string resource;  // "ICESTORM_LC"
    std::optional<std::uint64_t> used, available;
};

struct ClockFrequency {
    std::string clock;
    std::optional<double> achieved, constraint;  // MHz
};

// One end of a step: a cell's port at a location of the device grid.
struct PathEnd {
    std::string cell, port;
    std::vector<std::int64_t> location;  // (x, y), as many coordinates as given
};

struct PathStep {
    std::string type;  // "clk-to-q", "routing", "logic", "setup", "source"...
    std::optional<double> delay, budget;  // ns
    std::string net;   // routing steps only
    PathEnd from, to;
};

struct CriticalPath {
    std::string from, to;  // "posedge clk$SB_IO_IN_$glb_clk", "<async>"
    std::vector<PathStep> steps;
};

struct NextpnrReport {
    std::vector<ResourceUse> utilisation;  // in the file's order
    std::vector<ClockFrequency> clocks;
    std::vector<CriticalPath> paths;
};

// Whether `doc` is a report file: an object with "utilization", "fmax" or
// "critical_paths" (and no "modules", which Yosys's files have).
bool is_nextpnr_report(const ToolJson& doc);

// Reads a report file; throws ImportError naming the place of a field of
// the wrong type. Fields it does not know ("detailed_net_timings" and any a
// newer nextpnr adds) are left alone.
NextpnrReport read_nextpnr_report(const ToolJson& doc);

}  // namespace rpl_toc

#endif
