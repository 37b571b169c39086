#include "tools/core/yosys_stat.h"

namespace rpl_toc {
namespace {

struct FigureKey {
    const char* key;
    const char* label;
};

// The figures of stat -json that a report shows, in the order shown.
const FigureKey kFigures[] = {
    {"num_cells", "Cells"},
    {"num_wires", "Wires"},
    {"num_wire_bits", "Wire bits"},
    {"num_pub_wires", "Public wires"},
    {"num_pub_wire_bits", "Public wire bits"},
    {"num_memories", "Memories"},
    {"num_memory_bits", "Memory bits"},
    {"num_processes", "Processes"},
};

// Yosys writes a public identifier with a leading backslash ("\top") and
// an internal one with a dollar sign ("$paramod\lfsr16\SEED=...").
std::string module_name(const std::string& id) { return !id.empty() && id[0] == '\\' ? id.substr(1) : id; }

ModuleStat read_module(const std::string& name, const ToolJson& value, const std::string& place) {
    const ToolJson& object = expect_object(value, place);
    ModuleStat module;
    module.name = name;
    for (const FigureKey& figure : kFigures)
        module.figures.push_back({figure.label, optional_count(object, figure.key, place)});
    if (const ToolJson* by_type = member(object, "num_cells_by_type")) {
        std::string at = place_of(place, "num_cells_by_type");
        for (const auto& entry : expect_object(*by_type, at).items())
            module.cells_by_type.emplace_back(entry.key(), read_count(entry.value(), place_of(at, entry.key())));
    }
    return module;
}

}  // namespace

std::vector<const char*> netlist_figure_labels() {
    std::vector<const char*> labels;
    for (const FigureKey& figure : kFigures) labels.push_back(figure.label);
    return labels;
}

bool is_yosys_stat(const ToolJson& doc) {
    if (!doc.is_object() || !member(doc, "modules")) return false;
    const ToolJson* invocation = member(doc, "invocation");
    bool stat_invocation = invocation && invocation->is_string() &&
                           invocation->get<std::string>().find("stat") != std::string::npos;
    return member(doc, "design") != nullptr || stat_invocation;
}

YosysStat read_yosys_stat(const ToolJson& doc) {
    expect_object(doc, "");
    YosysStat stat;
    stat.creator = optional_text(doc, "creator", "").value_or("");
    const ToolJson* modules = member(doc, "modules");
    if (!modules) throw ImportError{"", "not a Yosys stat file: it has no \"modules\""};
    for (const auto& entry : expect_object(*modules, "/modules").items())
        stat.modules.push_back(read_module(module_name(entry.key()), entry.value(), place_of("/modules", entry.key())));
    if (const ToolJson* design = member(doc, "design")) stat.design = read_module("", *design, "/design");
    return stat;
}

}  // namespace rpl_toc
