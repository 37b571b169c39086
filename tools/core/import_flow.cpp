#include "tools/core/import_flow.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace rpl_toc {
namespace {

// Decimals kept: nextpnr computes delays in picoseconds and prints
// frequencies to 10 kHz; its report's floats carry noise beyond that.
constexpr int kNanosecondDecimals = 3;
constexpr int kMegahertzDecimals = 2;
constexpr int kPercentDecimals = 1;

std::string fixed(double value, int decimals) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
    return buffer;
}

ReportJson number_or_null(const std::optional<double>& value, int decimals) {
    return value ? ReportJson(rounded(*value, decimals)) : ReportJson();
}

ReportJson count_or_null(const std::optional<std::uint64_t>& value) {
    return value ? ReportJson(*value) : ReportJson();
}

std::optional<double> percent(std::uint64_t share, std::uint64_t whole) {
    if (whole == 0) return std::nullopt;
    return 100.0 * static_cast<double>(share) / static_cast<double>(whole);
}

std::string plural(std::size_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

// ---- What the flow says of itself -------------------------------------------------------

const ResourceUse* resource(const FlowInputs& flow, const char* name) {
    if (!flow.report) return nullptr;
    for (const ResourceUse& use : flow.report->utilisation)
        if (use.resource == name) return &use;
    return nullptr;
}

std::optional<std::uint64_t> figure(const ModuleStat& module, const char* label) {
    for (const NetlistFigure& f : module.figures)
        if (std::string(f.label) == label) return f.value;
    return std::nullopt;
}

// The design's figures: Yosys's "design" entry, or the only module's.
const ModuleStat* design_stat(const FlowInputs& flow) {
    if (!flow.stat) return nullptr;
    if (flow.stat->design) return &*flow.stat->design;
    return flow.stat->modules.size() == 1 ? &flow.stat->modules.front() : nullptr;
}

bool clock_met(const ClockFrequency& clock) {
    return !clock.achieved || !clock.constraint || *clock.achieved >= *clock.constraint;
}

std::size_t count_warnings(const FlowInputs& flow) {
    return (flow.yosys_log ? flow.yosys_log->warnings.size() : 0) +
           (flow.nextpnr_log ? flow.nextpnr_log->warnings.size() : 0);
}

std::size_t count_errors(const FlowInputs& flow) {
    return (flow.yosys_log ? flow.yosys_log->errors.size() : 0) +
           (flow.nextpnr_log ? flow.nextpnr_log->errors.size() : 0);
}

std::string flow_status(const FlowInputs& flow) {
    std::vector<std::string> done;
    if (flow.stat || flow.yosys_log) done.push_back("synthesised");
    if (flow.report) done.push_back("placed and routed");
    std::string status = done.empty() ? "Logs only" : done.front();
    if (done.size() > 1) status += ", " + done[1];
    status[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(status[0])));
    if (flow.report && !flow.report->clocks.empty()) {
        std::size_t failed = std::count_if(flow.report->clocks.begin(), flow.report->clocks.end(),
                                           [](const ClockFrequency& c) { return !clock_met(c); });
        status += failed == 0 ? "; timing met on every clock" : "; timing failed on " + plural(failed, "clock", "clocks");
    }
    std::size_t errors = count_errors(flow);
    if (errors > 0) status += "; " + plural(errors, "error", "errors") + " in the logs";
    return status;
}

std::string device(const FlowInputs& flow) {
    const ResourceUse* cells = resource(flow, "ICESTORM_LC");
    if (!cells || !cells->available) return std::string();
    std::string text = "iCE40, " + std::to_string(*cells->available) + " logic cells";
    const ResourceUse* io = resource(flow, "SB_IO");
    if (io && io->available) text += ", " + std::to_string(*io->available) + " I/O";
    return text + " (nextpnr's report names no device)";
}

std::string yosys_version(const FlowInputs& flow) {
    if (flow.stat && !flow.stat->creator.empty()) return flow.stat->creator;
    if (flow.yosys_log && !flow.yosys_log->version.empty()) return "Yosys " + flow.yosys_log->version;
    return flow.stat || flow.yosys_log ? "Yosys (no version given)" : std::string();
}

std::string frequency_reading(const ClockFrequency& clock) {
    std::string text = clock.achieved ? fixed(*clock.achieved, kMegahertzDecimals) + " MHz" : "no Fmax given";
    if (clock.constraint)
        text += " (constraint " + fixed(*clock.constraint, kMegahertzDecimals) + " MHz): " +
                (clock_met(clock) ? "met" : "FAILED");
    return text;
}

// ---- Flow Summary -------------------------------------------------------------------------

ReportJson flow_summary(const FlowInputs& flow) {
    std::vector<std::pair<std::string, ReportJson>> items;
    auto add = [&](const std::string& name, const std::string& value) {
        if (!value.empty()) items.emplace_back(name, text_cell(value));
    };
    add("Flow status", flow_status(flow));
    add("Top-level design", flow_top_module(flow));
    add("Device", device(flow));
    add("Synthesis", yosys_version(flow));
    if (flow.report || flow.nextpnr_log) add("Place and route", "nextpnr (its report and log name no version)");
    if (const ModuleStat* design = design_stat(flow))
        if (auto cells = figure(*design, "Cells")) add("Cells after synthesis", std::to_string(*cells));
    const ResourceUse* cells = resource(flow, "ICESTORM_LC");
    if (cells && cells->used && cells->available) {
        std::optional<double> share = percent(*cells->used, *cells->available);
        add("Logic cells", std::to_string(*cells->used) + " of " + std::to_string(*cells->available) +
                               (share ? " (" + fixed(*share, kPercentDecimals) + " %)" : ""));
    }
    if (flow.report)
        for (const ClockFrequency& clock : flow.report->clocks) add("Fmax, " + clock.clock, frequency_reading(clock));
    if (flow.yosys_log || flow.nextpnr_log)
        add("Warnings", std::to_string(count_warnings(flow)) + " (Yosys " +
                            std::to_string(flow.yosys_log ? flow.yosys_log->warnings.size() : 0) + ", nextpnr " +
                            std::to_string(flow.nextpnr_log ? flow.nextpnr_log->warnings.size() : 0) + ")");
    ReportJson summary = summary_object("Flow Summary", items);
    set_header(summary, "Imported from the outputs of Yosys and nextpnr");
    return summary;
}

// ---- Synthesis ----------------------------------------------------------------------------

ReportJson netlist_statistics(const YosysStat& stat) {
    std::vector<std::string> headings{"Module"};
    for (const char* label : netlist_figure_labels()) headings.push_back(label);
    std::vector<Cells> rows;
    auto add_row = [&](const std::string& name, const ModuleStat& module) {
        Cells row{text_cell(name)};
        for (const NetlistFigure& f : module.figures) row.push_back(count_or_null(f.value));
        rows.push_back(std::move(row));
    };
    if (stat.design) add_row("(whole design)", *stat.design);
    for (const ModuleStat& module : stat.modules) add_row(module.name, module);
    ReportJson table = table_object("Netlist Statistics", headings, rows);
    set_header(table, "The netlist of each module after synthesis, as Yosys's stat counts it");
    return table;
}

// Largest first, so that the chart reads from the tallest bar; ties by name.
std::vector<std::pair<std::string, std::uint64_t>> by_count(const ModuleStat& module) {
    auto cells = module.cells_by_type;
    std::stable_sort(cells.begin(), cells.end(), [](const auto& a, const auto& b) {
        return a.second != b.second ? a.second > b.second : a.first < b.first;
    });
    return cells;
}

std::uint64_t total_cells(const ModuleStat& module) {
    if (auto cells = figure(module, "Cells")) return *cells;
    std::uint64_t sum = 0;
    for (const auto& type : module.cells_by_type) sum += type.second;
    return sum;
}

ReportJson cells_folder(const std::string& name, const ModuleStat& module) {
    auto cells = by_count(module);
    std::uint64_t total = total_cells(module);
    std::vector<Cells> table_rows, chart_rows;
    for (const auto& type : cells) {
        table_rows.push_back({text_cell(type.first), type.second, number_or_null(percent(type.second, total), kPercentDecimals)});
        chart_rows.push_back({text_cell(type.first), type.second});
    }
    ReportJson folder = folder_object(name);
    ReportJson table = table_object("Cells by Type", {"Cell type", "Cells", "Share (%)"}, table_rows);
    set_footer(table, std::to_string(total) + " cells in all");
    add_child(folder, std::move(table));
    add_child(folder, chart_object("Cell Chart", kBarChart, {"Cell type", "Cells"}, chart_rows));
    return folder;
}

ReportJson synthesis(const YosysStat& stat) {
    ReportJson folder = folder_object("Synthesis", stat.creator);
    add_child(folder, netlist_statistics(stat));
    if (stat.design) add_child(folder, cells_folder("Whole Design", *stat.design));
    if (!stat.modules.empty()) {
        ReportJson modules = folder_object("Modules");
        for (const ModuleStat& module : stat.modules) add_child(modules, cells_folder(module.name, module));
        add_child(folder, std::move(modules));
    }
    return folder;
}

// ---- Resources ----------------------------------------------------------------------------

ReportJson resources(const NextpnrReport& report) {
    std::vector<Cells> rows;
    std::vector<Gauge> gauges;
    for (const ResourceUse& use : report.utilisation) {
        std::optional<double> share = use.used && use.available ? percent(*use.used, *use.available) : std::nullopt;
        rows.push_back({text_cell(use.resource), count_or_null(use.used), count_or_null(use.available),
                        number_or_null(share, kPercentDecimals)});
        if (use.used && use.available && *use.available > 0)
            gauges.push_back({use.resource, static_cast<double>(*use.used), static_cast<double>(*use.available)});
    }
    ReportJson folder = folder_object("Resources");
    ReportJson table = table_object("Utilisation", {"Resource", "Used", "Available", "Used (%)"}, rows);
    set_header(table, "The device's resources after placement, by kind");
    add_child(folder, std::move(table));
    add_child(folder, percent_gauges_object("Utilisation Gauges", gauges));
    return folder;
}

// ---- Timing -------------------------------------------------------------------------------

// How far the achieved clock period is inside the constrained one.
std::optional<double> slack_ns(const ClockFrequency& clock) {
    if (!clock.achieved || !clock.constraint || *clock.achieved <= 0 || *clock.constraint <= 0) return std::nullopt;
    return 1000.0 / *clock.constraint - 1000.0 / *clock.achieved;
}

ReportJson clocks_table(const NextpnrReport& report) {
    std::vector<Cells> rows;
    for (const ClockFrequency& clock : report.clocks) {
        ReportJson met = clock.achieved && clock.constraint ? text_cell(clock_met(clock) ? "met" : "FAILED") : ReportJson();
        rows.push_back({text_cell(clock.clock), number_or_null(clock.achieved, kMegahertzDecimals),
                        number_or_null(clock.constraint, kMegahertzDecimals),
                        number_or_null(slack_ns(clock), kNanosecondDecimals), met});
    }
    ReportJson table = table_object("Clocks", {"Clock", "Fmax (MHz)", "Constraint", "Slack (ns)", "Timing"}, rows);
    set_header(table, "Achieved against constrained frequency, in MHz; the slack is the constrained period less the "
                      "achieved one");
    return table;
}

std::string location(const PathEnd& end) {
    if (end.location.empty()) return std::string();
    std::string text = "(";
    for (std::size_t i = 0; i < end.location.size(); ++i) text += (i ? ", " : "") + std::to_string(end.location[i]);
    return text + ")";
}

std::string port_of(const PathEnd& end) { return end.port.empty() ? end.cell : end.cell + "." + end.port; }

ReportJson path_table(const CriticalPath& path, std::size_t number) {
    std::vector<Cells> rows;
    double total = 0, routing = 0;
    for (std::size_t i = 0; i < path.steps.size(); ++i) {
        const PathStep& step = path.steps[i];
        double delay = step.delay.value_or(0);
        total += delay;
        if (step.type == "routing") routing += delay;
        rows.push_back({i + 1, text_cell(step.type), number_or_null(step.delay, kNanosecondDecimals),
                        rounded(total, kNanosecondDecimals), number_or_null(step.budget, kNanosecondDecimals),
                        text_cell(step.net), text_cell(port_of(step.from)), text_cell(location(step.from)),
                        text_cell(port_of(step.to)), text_cell(location(step.to))});
    }
    ReportJson table = table_object("Path " + std::to_string(number) + ": " + path.from + " -> " + path.to,
                                    {"Step", "Type", "Delay (ns)", "Total (ns)", "Budget (ns)", "Net", "From",
                                     "From at", "To", "To at"},
                                    rows);
    set_header(table, "From " + path.from + " to " + path.to + ": " + fixed(total, kNanosecondDecimals) + " ns, " +
                          fixed(total - routing, kNanosecondDecimals) + " ns logic and " +
                          fixed(routing, kNanosecondDecimals) + " ns routing, in " +
                          plural(path.steps.size(), "step", "steps"));
    return table;
}

ReportJson histogram_chart(const SlackHistogram& histogram) {
    std::vector<Cells> rows;
    for (const HistogramBar& bar : histogram.bars) rows.push_back({text_cell(bar.low + " to " + bar.high), bar.endpoints});
    ReportJson chart = chart_object("Slack Histogram", kBarChart, {"Slack (ps)", "Endpoints"}, rows);
    set_header(chart, "Endpoints by slack after routing, from nextpnr's log");
    if (histogram.per_star > 1)
        set_footer(chart, "The log draws one * per " + std::to_string(histogram.per_star) +
                              " endpoints and a + for fewer; a + is counted as 1, so a bar may be up to " +
                              std::to_string(histogram.per_star - 1) + " short");
    return chart;
}

ReportJson timing(const FlowInputs& flow) {
    ReportJson folder = folder_object("Timing");
    if (flow.report) {
        add_child(folder, clocks_table(*flow.report));
        ReportJson paths = folder_object("Critical Paths");
        for (std::size_t i = 0; i < flow.report->paths.size(); ++i)
            add_child(paths, path_table(flow.report->paths[i], i + 1));
        add_child(folder, std::move(paths));
    }
    if (flow.nextpnr_log && flow.nextpnr_log->histogram)
        add_child(folder, histogram_chart(*flow.nextpnr_log->histogram));
    return folder;
}

// ---- Messages -----------------------------------------------------------------------------

std::string joined_lines(const std::vector<std::string>& lines, const char* prefix) {
    std::string text;
    for (const std::string& line : lines) text += (text.empty() ? "" : "\n") + (prefix + line);
    return text;
}

ReportJson lines_text(const char* name, const std::string& text, const char* none) {
    return text_object(name, text.empty() ? none : text, false);
}

ReportJson messages(const FlowInputs& flow) {
    const FlowLog* yosys = flow.yosys_log ? &*flow.yosys_log : nullptr;
    const FlowLog* nextpnr = flow.nextpnr_log ? &*flow.nextpnr_log : nullptr;
    std::vector<std::string> warning_lines, error_lines;
    for (const FlowLog* log : {yosys, nextpnr}) {
        if (!log) continue;
        const char* tool = log == yosys ? "yosys: " : "nextpnr: ";
        for (const std::string& line : log->warnings) warning_lines.push_back(tool + line);
        for (const std::string& line : log->errors) error_lines.push_back(tool + line);
    }
    std::string warnings = joined_lines(warning_lines, "");
    std::string errors = joined_lines(error_lines, "");
    ReportJson folder = folder_object("Messages");
    ReportJson warning_text = lines_text("Warnings", warnings, "No warnings.");
    set_header(warning_text, plural(count_warnings(flow), "warning", "warnings") + " in the logs");
    add_child(folder, std::move(warning_text));
    if (!errors.empty()) add_child(folder, text_object("Errors", errors, false));
    if (yosys) add_child(folder, lines_text("Yosys Information", joined_lines(yosys->information, ""), "None."));
    if (nextpnr) add_child(folder, lines_text("nextpnr Information", joined_lines(nextpnr->information, ""), "None."));
    return folder;
}

}  // namespace

std::string flow_top_module(const FlowInputs& flow) {
    if (flow.yosys_log && !flow.yosys_log->top.empty()) return flow.yosys_log->top;
    if (flow.stat && flow.stat->modules.size() == 1) return flow.stat->modules.front().name;
    return std::string();
}

std::vector<ReportJson> flow_sections(const FlowInputs& flow) {
    std::vector<ReportJson> sections{flow_summary(flow)};
    if (flow.stat) sections.push_back(synthesis(*flow.stat));
    if (flow.report) sections.push_back(resources(*flow.report));
    if (flow.report || (flow.nextpnr_log && flow.nextpnr_log->histogram)) sections.push_back(timing(flow));
    if (flow.yosys_log || flow.nextpnr_log) sections.push_back(messages(flow));
    return sections;
}

}  // namespace rpl_toc
