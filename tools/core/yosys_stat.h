// Yosys's statistics as `stat -json` writes them: for each module and for
// the whole design, its netlist's figures and its cells by type.
//
//   { "creator": "Yosys 0.23 ...", "invocation": "stat -json ",
//     "modules": { "\\top": { "num_wires": 57, ..., "num_cells": 205,
//                             "num_cells_by_type": { "SB_LUT4": 75, ... } } },
//     "design": { ... as a module ... } }
#ifndef TOOLS_CORE_YOSYS_STAT_H
#define TOOLS_CORE_YOSYS_STAT_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/core/tool_json.h"

namespace rpl_toc {

// A figure of a module's netlist: its name for people and its value, or
// nullopt when the file does not give it.
struct NetlistFigure {
    const char* label;  // "Wires"
    std::optional<std::uint64_t> value;
};

struct ModuleStat {
    std::string name;  // as Yosys names it, a public name without its leading backslash
    std::vector<NetlistFigure> figures;  // in the order of netlist_figure_labels()
    std::vector<std::pair<std::string, std::uint64_t>> cells_by_type;  // in the file's order
};

struct YosysStat {
    std::string creator;  // "Yosys 0.23 (git sha1 7ce5011c24b)"; empty when not given
    std::vector<ModuleStat> modules;
    std::optional<ModuleStat> design;
};

// The labels of the figures read, in order: "Cells", "Wires", ...
std::vector<const char*> netlist_figure_labels();

// Whether `doc` is a stat file: an object with "modules" and either
// "design" or an "invocation" of stat. A Yosys netlist (write_json) has
// "modules" but neither.
bool is_yosys_stat(const ToolJson& doc);

// Reads a stat file; throws ImportError naming the place of a field of the
// wrong type. Fields it does not know are left alone.
YosysStat read_yosys_stat(const ToolJson& doc);

}  // namespace rpl_toc

#endif
