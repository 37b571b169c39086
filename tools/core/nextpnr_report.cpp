#include "tools/core/nextpnr_report.h"

namespace rpl_toc {
namespace {

std::vector<ResourceUse> read_utilisation(const ToolJson& value, const std::string& place) {
    std::vector<ResourceUse> out;
    for (const auto& entry : expect_object(value, place).items()) {
        std::string at = place_of(place, entry.key());
        const ToolJson& use = expect_object(entry.value(), at);
        out.push_back({entry.key(), optional_count(use, "used", at), optional_count(use, "available", at)});
    }
    return out;
}

std::vector<ClockFrequency> read_fmax(const ToolJson& value, const std::string& place) {
    std::vector<ClockFrequency> out;
    for (const auto& entry : expect_object(value, place).items()) {
        std::string at = place_of(place, entry.key());
        const ToolJson& clock = expect_object(entry.value(), at);
        out.push_back({entry.key(), optional_number(clock, "achieved", at), optional_number(clock, "constraint", at)});
    }
    return out;
}

PathEnd read_end(const ToolJson& value, const std::string& place) {
    const ToolJson& object = expect_object(value, place);
    PathEnd end;
    end.cell = optional_text(object, "cell", place).value_or("");
    end.port = optional_text(object, "port", place).value_or("");
    if (const ToolJson* loc = member(object, "loc")) {
        std::string at = place_of(place, "loc");
        const ToolJson& coordinates = expect_array(*loc, at);
        for (std::size_t i = 0; i < coordinates.size(); ++i)
            end.location.push_back(read_integer(coordinates[i], place_of(at, i)));
    }
    return end;
}

PathStep read_step(const ToolJson& value, const std::string& place) {
    const ToolJson& object = expect_object(value, place);
    PathStep step;
    step.type = optional_text(object, "type", place).value_or("");
    step.delay = optional_number(object, "delay", place);
    step.budget = optional_number(object, "budget", place);
    step.net = optional_text(object, "net", place).value_or("");
    if (const ToolJson* from = member(object, "from")) step.from = read_end(*from, place_of(place, "from"));
    if (const ToolJson* to = member(object, "to")) step.to = read_end(*to, place_of(place, "to"));
    return step;
}

CriticalPath read_path(const ToolJson& value, const std::string& place) {
    const ToolJson& object = expect_object(value, place);
    CriticalPath path;
    path.from = optional_text(object, "from", place).value_or("");
    path.to = optional_text(object, "to", place).value_or("");
    if (const ToolJson* steps = member(object, "path")) {
        std::string at = place_of(place, "path");
        const ToolJson& list = expect_array(*steps, at);
        for (std::size_t i = 0; i < list.size(); ++i) path.steps.push_back(read_step(list[i], place_of(at, i)));
    }
    return path;
}

}  // namespace

bool is_nextpnr_report(const ToolJson& doc) {
    return doc.is_object() && !member(doc, "modules") &&
           (member(doc, "utilization") || member(doc, "fmax") || member(doc, "critical_paths"));
}

NextpnrReport read_nextpnr_report(const ToolJson& doc) {
    expect_object(doc, "");
    NextpnrReport report;
    if (const ToolJson* use = member(doc, "utilization")) report.utilisation = read_utilisation(*use, "/utilization");
    if (const ToolJson* fmax = member(doc, "fmax")) report.clocks = read_fmax(*fmax, "/fmax");
    if (const ToolJson* paths = member(doc, "critical_paths")) {
        const ToolJson& list = expect_array(*paths, "/critical_paths");
        for (std::size_t i = 0; i < list.size(); ++i)
            report.paths.push_back(read_path(list[i], place_of("/critical_paths", i)));
    }
    return report;
}

}  // namespace rpl_toc
