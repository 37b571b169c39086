// The import of a design flow: the recorded outputs of one real run of
// Yosys 0.23 and nextpnr-ice40 0.4 on examples/flow (examples/flow/outputs), every
// imported number checked against the file it came from; any subset of the
// four files; and inputs that are not what they claim, each refused in one
// line that names the file and the place.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/test_support.h"
#include "tools/core/flow_logs.h"
#include "tools/core/import_inputs.h"
#include "tools/core/import_layout.h"
#include "tools/core/report_json.h"

using rpl_toc::Import;
using rpl_toc::import_inputs;
using rpl_toc::ReportJson;

namespace {

const std::string kFlow = std::string(RPL_FLOW_OUTPUTS_DIR) + "/";
const std::string kStat = kFlow + "stat.json";
const std::string kReport = kFlow + "report.json";
const std::string kYosysLog = kFlow + "yosys.log";
const std::string kNextpnrLog = kFlow + "nextpnr.log";

ReportJson source(const std::string& path) { return ReportJson::parse(rpltest::read_file(path)); }

Import imported(const std::vector<std::string>& inputs) {
    Import import = import_inputs(inputs);
    EXPECT_TRUE(import.ok()) << import.error;
    return import;
}

// The object at an rdb path of an imported report, or null.
const ReportJson* at_path(const ReportJson& report, const std::string& path) {
    const ReportJson* object = &report["root"];
    std::string rest = path;
    std::string first = "||" + (*object)["name"].get<std::string>();
    if (rest.compare(0, first.size(), first) != 0) return nullptr;
    rest = rest.substr(first.size());
    while (!rest.empty()) {
        std::size_t next = rest.find("||", 2);
        std::string name = rest.substr(2, next == std::string::npos ? std::string::npos : next - 2);
        rest = next == std::string::npos ? std::string() : rest.substr(next);
        const ReportJson* found = nullptr;
        for (const ReportJson& child : (*object)["children"])
            if (child["name"] == name) {
                found = &child;
                break;
            }
        if (!found) return nullptr;
        object = found;
    }
    return object;
}

const ReportJson& section(const Import& import, const std::string& path) {
    const ReportJson* found = at_path(import.report, path);
    if (!found) throw std::runtime_error("no section " + path);
    return *found;
}

const std::string kRoot = "||Design Flow";

// ---- The whole flow ---------------------------------------------------------------------

TEST(ImportFlow, AllFourOutputsMakeACompilationReportNamedAfterTheTopModule) {
    Import import = imported({kStat, kReport, kYosysLog, kNextpnrLog});
    EXPECT_EQ(import.report["name"], "top");
    EXPECT_EQ(import.report["type"], 1);
    std::vector<std::string> names;
    for (const ReportJson& child : import.report["root"]["children"]) names.push_back(child["name"]);
    EXPECT_EQ(names, (std::vector<std::string>{"Flow Summary", "Synthesis", "Resources", "Timing", "Messages"}));
    EXPECT_TRUE(import.notes.empty());
    EXPECT_TRUE(rpl_toc::load_report_json(import.text).ok());
}

TEST(ImportFlow, UtilisationHoldsNextpnrsNumbers) {
    Import import = imported({kReport});
    const ReportJson& table = section(import, kRoot + "||Resources||Utilisation");
    const ReportJson& gauges = section(import, kRoot + "||Resources||Utilisation Gauges")["gauges"];
    ReportJson use = source(kReport)["utilization"];
    ASSERT_EQ(table["cells"].size(), use.size());
    std::size_t row = 0;
    for (const auto& entry : use.items()) {
        SCOPED_TRACE(entry.key());
        const ReportJson& cells = table["cells"][row];
        EXPECT_EQ(cells[0], entry.key());
        EXPECT_EQ(cells[1], entry.value()["used"]);
        EXPECT_EQ(cells[2], entry.value()["available"]);
        double share = 100.0 * entry.value()["used"].get<double>() / entry.value()["available"].get<double>();
        EXPECT_NEAR(cells[3].get<double>(), share, 0.05);
        EXPECT_EQ(gauges[row]["value"], entry.value()["used"]);
        EXPECT_EQ(gauges[row]["maximum"], entry.value()["available"]);
        EXPECT_EQ(gauges[row]["percentage"], true);
        ++row;
    }
}

TEST(ImportFlow, ClocksHoldAchievedAndConstrainedFrequencyAndTheSlack) {
    Import import = imported({kReport});
    const ReportJson& rows = section(import, kRoot + "||Timing||Clocks")["cells"];
    ReportJson fmax = source(kReport)["fmax"];
    ASSERT_EQ(rows.size(), fmax.size());
    std::size_t row = 0;
    for (const auto& clock : fmax.items()) {
        SCOPED_TRACE(clock.key());
        double achieved = clock.value()["achieved"], constraint = clock.value()["constraint"];
        EXPECT_EQ(rows[row][0], clock.key());
        EXPECT_NEAR(rows[row][1].get<double>(), achieved, 0.005);
        EXPECT_NEAR(rows[row][2].get<double>(), constraint, 0.005);
        EXPECT_NEAR(rows[row][3].get<double>(), 1000 / constraint - 1000 / achieved, 0.0005);
        EXPECT_EQ(rows[row][4], achieved >= constraint ? "met" : "FAILED");
        ++row;
    }
}

TEST(ImportFlow, EachCriticalPathIsATableOfItsSteps) {
    Import import = imported({kReport});
    ReportJson paths = source(kReport)["critical_paths"];
    const ReportJson& folder = section(import, kRoot + "||Timing||Critical Paths");
    ASSERT_EQ(folder["children"].size(), paths.size());
    for (std::size_t p = 0; p < paths.size(); ++p) {
        const ReportJson& table = folder["children"][p];
        const ReportJson& steps = paths[p]["path"];
        SCOPED_TRACE(table["name"].get<std::string>());
        EXPECT_EQ(table["name"], "Path " + std::to_string(p + 1) + ": " + paths[p]["from"].get<std::string>() +
                                     " -> " + paths[p]["to"].get<std::string>());
        ASSERT_EQ(table["cells"].size(), steps.size());
        double total = 0;
        for (std::size_t s = 0; s < steps.size(); ++s) {
            const ReportJson& cells = table["cells"][s];
            const ReportJson& step = steps[s];
            total += step["delay"].get<double>();
            EXPECT_EQ(cells[0], s + 1);
            EXPECT_EQ(cells[1], step["type"]);
            EXPECT_NEAR(cells[2].get<double>(), step["delay"].get<double>(), 0.0005);
            EXPECT_NEAR(cells[3].get<double>(), total, 0.0005);
            if (step.contains("budget"))
                EXPECT_NEAR(cells[4].get<double>(), step["budget"].get<double>(), 0.0005);
            else
                EXPECT_TRUE(cells[4].is_null());
            EXPECT_EQ(cells[5], step.value("net", ""));
            EXPECT_EQ(cells[6], step["from"]["cell"].get<std::string>() + "." + step["from"]["port"].get<std::string>());
            EXPECT_EQ(cells[7], "(" + std::to_string(step["from"]["loc"][0].get<int>()) + ", " +
                                    std::to_string(step["from"]["loc"][1].get<int>()) + ")");
            EXPECT_EQ(cells[8], step["to"]["cell"].get<std::string>() + "." + step["to"]["port"].get<std::string>());
        }
    }
}

// The design's and every module's cells by type, largest first.
TEST(ImportFlow, CellsByTypeHoldYosyssCountsForTheDesignAndEachModule) {
    Import import = imported({kStat});
    ReportJson stat = source(kStat);
    std::vector<std::pair<std::string, ReportJson>> expected{{"||Whole Design", stat["design"]}};
    for (const auto& module : stat["modules"].items())
        expected.emplace_back("||Modules||" + module.key().substr(module.key()[0] == '\\' ? 1 : 0), module.value());
    for (const auto& [where, module] : expected) {
        SCOPED_TRACE(where);
        const ReportJson& rows = section(import, kRoot + "||Synthesis" + where + "||Cells by Type")["cells"];
        const ReportJson& bars = section(import, kRoot + "||Synthesis" + where + "||Cell Chart")["cells"];
        ASSERT_EQ(rows.size(), module["num_cells_by_type"].size());
        std::uint64_t previous = UINT64_MAX;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            std::string type = rows[i][0];
            std::uint64_t count = rows[i][1];
            EXPECT_EQ(count, module["num_cells_by_type"][type].get<std::uint64_t>()) << type;
            EXPECT_NEAR(rows[i][2].get<double>(), 100.0 * count / module["num_cells"].get<double>(), 0.05);
            EXPECT_LE(count, previous);
            previous = count;
            EXPECT_EQ(bars[i][0], type);
            EXPECT_EQ(bars[i][1], count);
        }
    }
    const ReportJson& statistics = section(import, kRoot + "||Synthesis||Netlist Statistics");
    EXPECT_EQ(statistics["cells"][0][0], "(whole design)");
    EXPECT_EQ(statistics["cells"][0][1], stat["design"]["num_cells"]);
    EXPECT_EQ(statistics["cells"][0][2], stat["design"]["num_wires"]);
}

TEST(ImportFlow, TheHistogramIsNextpnrsLastOneAsABarChart) {
    Import import = imported({kNextpnrLog});
    const ReportJson& chart = section(import, kRoot + "||Timing||Slack Histogram");
    EXPECT_EQ(chart["chart_type"], 1);
    // Its bars from the log: the last "Slack histogram" block, after routing.
    std::istringstream log(rpltest::read_file(kNextpnrLog));
    std::vector<std::string> bars;
    std::uint64_t per_star = 1;
    for (std::string line; std::getline(log, line);) {
        if (line.find("Slack histogram") != std::string::npos) bars.clear();
        if (line.find("* represents") != std::string::npos) per_star = std::stoull(line.substr(line.find("represents") + 11));
        if (line.rfind("Info: [", 0) == 0) bars.push_back(line);
    }
    ASSERT_EQ(chart["cells"].size(), bars.size());
    for (std::size_t i = 0; i < bars.size(); ++i) {
        const std::string& line = bars[i];
        std::size_t stars = std::count(line.begin(), line.end(), '*');
        bool plus = line.find('+') != std::string::npos;
        EXPECT_EQ(chart["cells"][i][1], stars * per_star + (plus ? 1 : 0)) << line;
        std::string low = line.substr(line.find('[') + 1, line.find(',') - line.find('[') - 1);
        EXPECT_EQ(chart["cells"][i][0].get<std::string>().rfind(low.substr(low.find_first_not_of(' ')), 0), 0u) << line;
    }
}

TEST(ImportFlow, WarningsAndInformationComeFromBothLogs) {
    Import import = imported({kYosysLog, kNextpnrLog});
    EXPECT_EQ(section(import, kRoot + "||Messages||Warnings")["text"],
              "nextpnr: Warning: unmatched constraint 'button' (on line 13)");
    std::string yosys = section(import, kRoot + "||Messages||Yosys Information")["text"];
    EXPECT_NE(yosys.find("2. Executing SYNTH_ICE40 pass."), std::string::npos);
    EXPECT_NE(yosys.find("End of script."), std::string::npos);
    std::string nextpnr = section(import, kRoot + "||Messages||nextpnr Information")["text"];
    EXPECT_NE(nextpnr.find("Info: Max frequency for clock"), std::string::npos);
    // Imported elsewhere, or progress: not repeated here.
    for (const char* left_out : {"Critical path report", "Slack histogram", "at iteration #", "IterCnt"})
        EXPECT_EQ(nextpnr.find(left_out), std::string::npos) << left_out;
}

TEST(ImportFlow, TheSummaryNamesToolsDesignDeviceAndFrequencies) {
    Import import = imported({kStat, kReport, kYosysLog, kNextpnrLog});
    std::map<std::string, std::string> items;
    for (const ReportJson& item : section(import, kRoot + "||Flow Summary")["items"]) items[item["name"]] = item["value"];
    EXPECT_EQ(items["Top-level design"], "top");
    EXPECT_EQ(items["Synthesis"], source(kStat)["creator"]);
    EXPECT_EQ(items["Cells after synthesis"], std::to_string(source(kStat)["design"]["num_cells"].get<int>()));
    EXPECT_EQ(items["Device"].rfind("iCE40, 1280 logic cells, 112 I/O", 0), 0u);
    EXPECT_EQ(items["Fmax, clk$SB_IO_IN_$glb_clk"], "171.06 MHz (constraint 12.00 MHz): met");
    EXPECT_EQ(items["Flow status"], "Synthesised, placed and routed; timing met on every clock");
    EXPECT_EQ(items["Warnings"], "1 (Yosys 0, nextpnr 1)");
}

// Any subset of the four files, in any order, is a report that loads.
TEST(ImportFlow, AnySubsetOfTheOutputsImports) {
    const std::vector<std::string> files{kStat, kReport, kYosysLog, kNextpnrLog};
    for (unsigned mask = 1; mask < 16; ++mask) {
        std::vector<std::string> inputs;
        for (unsigned i = 0; i < 4; ++i)
            if (mask & (1u << i)) inputs.insert(inputs.begin(), files[i]);  // reversed order
        SCOPED_TRACE(mask);
        Import import = imported(inputs);
        EXPECT_NE(at_path(import.report, kRoot + "||Flow Summary"), nullptr);
        EXPECT_EQ(at_path(import.report, kRoot + "||Synthesis") != nullptr, (mask & 1) != 0);
        EXPECT_EQ(at_path(import.report, kRoot + "||Resources") != nullptr, (mask & 2) != 0);
        EXPECT_EQ(at_path(import.report, kRoot + "||Messages") != nullptr, (mask & 12) != 0);
    }
}

// ---- Newer and broken inputs -------------------------------------------------------------

TEST(ImportFlow, FieldsItDoesNotKnowAreLeftAlone) {
    rpltest::TempDir dir;
    ReportJson report = source(kReport);
    report["detailed_net_timings"] = ReportJson::array({{{"net", "x"}}});
    report["fmax"]["clk$SB_IO_IN_$glb_clk"]["fmax_margin"] = "new";
    report["critical_paths"][0]["path"][0]["from"]["loc"].push_back(3);  // a z coordinate
    rpltest::write_file(dir.file("newer.json"), report.dump());
    ReportJson stat = source(kStat);
    stat["design"]["estimated_num_transistors"] = "12k";
    rpltest::write_file(dir.file("stat.json"), stat.dump());
    Import newer = imported({dir.file("stat.json"), dir.file("newer.json")});
    Import before = imported({kStat, kReport});
    EXPECT_EQ(section(newer, kRoot + "||Timing||Clocks"), section(before, kRoot + "||Timing||Clocks"));
    EXPECT_EQ(section(newer, kRoot + "||Synthesis"), section(before, kRoot + "||Synthesis"));
    const ReportJson& loc = report["critical_paths"][0]["path"][0]["from"]["loc"];
    EXPECT_EQ(section(newer, kRoot + "||Timing||Critical Paths")["children"][0]["cells"][0][7],
              "(" + loc[0].dump() + ", " + loc[1].dump() + ", 3)");
}

std::string repeated(const std::string& text, int times) {
    std::string out;
    for (int i = 0; i < times; ++i) out += text;
    return out;
}

struct Broken {
    const char* what;
    std::string bytes;
    std::string error;  // after "FILE: "
};

TEST(ImportFlow, AnInputThatIsNotWhatItClaimsIsRefusedInOneLineWithItsPlace) {
    const std::vector<Broken> cases{
        {"invalid JSON", "{\"fmax\": {", "line 1, column 11: invalid JSON: syntax error"},
        {"a mistyped frequency", R"({"fmax": {"clk": {"achieved": "fast"}}})",
         "/fmax/clk/achieved: expected a number, found a string"},
        {"a negative count", R"({"utilization": {"LC": {"used": -1}}})",
         "/utilization/LC/used: expected an integer >= 0, found -1"},
        {"a fractional count", R"({"utilization": {"LC": {"used": 1.5}}})",
         "/utilization/LC/used: expected an integer >= 0, found 1.5"},
        {"a huge number", R"({"fmax": {"clk": {"achieved": 1e999}}})",
         "line 1, column 31: invalid JSON: a number too large to hold: 1e999"},
        {"a count beyond 64 bits", R"({"utilization": {"LC": {"used": 123456789012345678901234567890}}})",
         "/utilization/LC/used: expected an integer >= 0, found 1.2345678901234568e+29"},
        {"paths that are not a list", R"({"critical_paths": {}})", "/critical_paths: expected an array, found an object"},
        {"a step that is not an object", R"({"critical_paths": [{"path": [7]}]})",
         "/critical_paths/0/path/0: expected an object, found a number"},
        {"a location of text", R"({"critical_paths": [{"path": [{"from": {"loc": ["x"]}}]}]})",
         "/critical_paths/0/path/0/from/loc/0: expected an integer, found a string"},
        {"a key with a slash", R"({"fmax": {"a/b~c": 3}})", "/fmax/a~1b~0c: expected an object, found a number"},
        {"a mistyped cell count", R"({"modules": {"\\top": {"num_cells_by_type": {"SB_LUT4": "75"}}}, "design": {}})",
         "/modules/\\top/num_cells_by_type/SB_LUT4: expected an integer >= 0, found a string"},
        {"modules that are not an object", R"({"modules": [], "design": {}})",
         "/modules: expected an object, found an array"},
        {"deep nesting", std::string(40, '[') + std::string(40, ']'),
         repeated("/0", 32) + ": nesting too deep: at most 32 levels are read"},
        {"JSON of another tool", R"({"name": "x"})", "JSON that is neither"},
        {"text that is no log", "hello\n", "neither a Yosys log nor a nextpnr log"},
    };
    rpltest::TempDir dir;
    for (const Broken& c : cases) {
        SCOPED_TRACE(c.what);
        std::string file = dir.file("input");
        rpltest::write_file(file, c.bytes);
        Import import = import_inputs({file});
        EXPECT_EQ(import.error.rfind(file + ": " + c.error, 0), 0u) << import.error;
        EXPECT_EQ(import.error.find('\n'), std::string::npos);
    }
}

TEST(ImportFlow, TwoFilesOfOneKindAndMissingFilesAreRefused) {
    EXPECT_EQ(import_inputs({kStat, kStat}).error, kStat + ": a second Yosys stat file; give one of each");
    EXPECT_EQ(import_inputs({kFlow + "missing.json"}).error, kFlow + "missing.json: No such file or directory");
}

// ---- The first view -----------------------------------------------------------------------

TEST(ImportFlow, TablesGetWidthsThatFitAndNumbersOnTheRight) {
    Import import = imported({kReport});
    std::vector<rpl_toc::SectionLayout> layouts = rpl_toc::first_layouts(import.report);
    const rpl_toc::SectionLayout* utilisation = nullptr;
    const rpl_toc::SectionLayout* path = nullptr;
    for (const auto& layout : layouts) {
        if (layout.path == kRoot + "||Resources||Utilisation") utilisation = &layout;
        if (layout.path.find("||Path 1: ") != std::string::npos) path = &layout;
    }
    ASSERT_TRUE(utilisation && path);
    // "ICESTORM_RAM" is 12 characters, "Available" 9, "Used (%)" 8: 3 more for room, 8 px each.
    std::vector<int> widths;
    std::vector<int> right;
    for (const auto& w : utilisation->change.widths) widths.push_back(w.value);
    for (const auto& a : utilisation->change.alignments) right.push_back(a.alignment == RPL_TABLE::RIGHT);
    EXPECT_EQ(widths, (std::vector<int>{15 * 8, 7 * 8, 12 * 8, 11 * 8}));
    EXPECT_EQ(right, (std::vector<int>{0, 1, 1, 1}));
    EXPECT_FALSE(utilisation->change.orientation.has_value());
    EXPECT_EQ(path->change.orientation, 2);  // ten columns do not fit a portrait page
}

}  // namespace
