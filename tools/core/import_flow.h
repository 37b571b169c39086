// The report of a design flow: what Yosys and nextpnr wrote, read by
// yosys_stat, nextpnr_report and flow_logs, laid out as sections a person
// reads from the top: a Flow Summary, then Synthesis, Resources, Timing and
// Messages. docs/import.md says what comes from where, field by field.
#ifndef TOOLS_CORE_IMPORT_FLOW_H
#define TOOLS_CORE_IMPORT_FLOW_H

#include <optional>
#include <string>
#include <vector>

#include "tools/core/flow_logs.h"
#include "tools/core/imported_sections.h"
#include "tools/core/nextpnr_report.h"
#include "tools/core/yosys_stat.h"

namespace rpl_toc {

// Any subset of a flow's four outputs.
struct FlowInputs {
    std::optional<YosysStat> stat;
    std::optional<NextpnrReport> report;
    std::optional<FlowLog> yosys_log, nextpnr_log;
    bool empty() const { return !stat && !report && !yosys_log && !nextpnr_log; }
};

// The sections of the flow, in reading order; a section whose input is
// missing is left out (a Flow Summary is always there).
std::vector<ReportJson> flow_sections(const FlowInputs& flow);

// The design's top module: the one Yosys's log names, or the only module of
// the stat file; empty when neither says.
std::string flow_top_module(const FlowInputs& flow);

}  // namespace rpl_toc

#endif
