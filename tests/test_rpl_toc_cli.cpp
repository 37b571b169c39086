// The command-line host rpl-toc, driven as a user drives it: every test
// spawns the built binary and looks at its exit code, its stdout and stderr,
// and the files it leaves.
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/rpl_toc.h"
#include "support/test_support.h"

#ifndef RPL_TOC_BINARY  // the tool is not built: every test skips
#define RPL_TOC_BINARY ""
#define RPL_EXAMPLES_DIR ""
#define RPL_DOCS_DIR ""
#define RPL_TOOLS_SOURCE_DIR ""
#endif

using nlohmann::json;
using namespace rpltest;
namespace fs = std::filesystem;

namespace {

using Args = std::vector<std::string>;
const char* const kAfterUnmarkF = kSmallAfterUnmarkF;

// A failure as the tool promises it: exit 2, nothing on stdout, one line on
// stderr in the tool's error form that contains `says`.
void expect_error(const Result& r, const std::string& says) {
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err.rfind("rpl-toc: error: ", 0), 0u) << r.err;
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "one line: " << r.err;
    EXPECT_NE(r.err.find(says), std::string::npos) << r.err;
}

bool set_append_only(const std::string& path, bool on) {
    int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    if (fd < 0) return false;
    int flags = 0;
    bool done = ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
    flags = on ? flags | FS_APPEND_FL : flags & ~FS_APPEND_FL;
    done = done && ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
    close(fd);
    return done;
}

class RplTocCli : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::string(RPL_TOC_BINARY).empty()) GTEST_SKIP() << "rpl-toc is not built (RPL_BUILD_TOOLS is off)";
    }
    // rpl-toc with exactly these arguments.
    Result raw(Args args, const Launch& launch = {}) {
        args.insert(args.begin(), RPL_TOC_BINARY);
        return spawn(args, scratch_.path(), launch);
    }
    // rpl-toc with the scratch database directory in front.
    Result toc(Args args, const Launch& launch = {}) {
        args.insert(args.begin(), {"--db-dir", db_.path()});
        return raw(args, launch);
    }
    json toc_json(Args args) {
        args.insert(args.begin(), "--json");
        Result r = toc(args);
        EXPECT_EQ(r.code, 0) << r.err;
        return json::parse(r.out);
    }
    std::string report(const std::string& name, const std::string& text) {
        write_file(files_.file(name), text);
        return files_.file(name);
    }
    std::string settings() { return read_file(db_.file("small@timing.rplset")); }

    const std::string small_ = RPL_EXAMPLES_DIR "/small.json";  // R: T1, F (C1, G), X1; "small", type 3
    const std::string flow_ = RPL_EXAMPLES_DIR "/design_flow.json";
    TempDir db_;       // the database directory of most tests
    TempDir files_;    // report files and report output
    TempDir scratch_;  // the spawned process's stdout and stderr
};

// Every failure before the library is reached, and every refused change, is
// exit 2 with one error line, and leaves the settings file as it was.
TEST_F(RplTocCli, FailuresAreOneErrorLineExitTwoAndWriteNothing) {
    ASSERT_EQ(toc({"unmark", small_, "||R||F"}).code, 0);
    std::string absent = files_.file("absent.json");
    for (const auto& [args, says] : std::vector<std::pair<Args, std::string>>{
             {{}, "A subcommand is required"},
             {{"frob", small_}, "unknown command 'frob'"},
             {{"--frob", "show", small_}, "--frob"},
             {{"show"}, "REPORT is required"},
             {{"show", absent}, "cannot read report file '" + absent + "'"},
             {{"show", files_.path()}, "cannot read report file '" + files_.path() + "': it is a directory"},
             {{"export", small_}, "exactly one of --text FILE and --html FILE"},
             {{"export", small_, "--text", "a", "--html", "b"}, "exactly one of --text FILE and --html FILE"},
             {{"mark", small_, "||R||F", "||R||nope"}, "no section has the path '||R||nope'"},
             {{"unmark", small_, "||R||T1", "R||X1"}, "no section has the path 'R||X1'"},
             {{"set", small_, "||R||nope", "--orientation", "2"}, "no section has the path '||R||nope'"},
             {{"set", small_, "||R||T1", "--orientation", "3"}, "--orientation '3': out of range"},
             {{"set", small_, "||R||T1", "--orientation", "2", "--align", "0=X"}, "--align '0=X': the alignment must"},
             {{"set", small_, "||R||T1", "--width", "0=1", "1=2"}, "1=2"},  // one value per option
             {{"set", small_, "||R||T1", "--width", "3=10"}, "no column 3; the table has 3 columns"},
             {{"set", small_, "||R||T1", "--chart-type", "2"}, "--chart-type applies to charts only"},
             {{"set", small_, "||R||F||C1", "--width", "0=1"}, "apply to tables only"},
             {{"set", small_, "||R||F||C1", "--chart-type", "3"}, "--chart-type"},  // stored as 0: never shown
             {{"set", small_, "||R||T1"},
              "the change names no setting; give at least one of --orientation, --chart-type, --width, --align and "
              "--order"},
             {{"--json", "export", small_, "--text", "-"}, "export --json prints to standard output"},
             // The library's own words, with the reason, and nothing before them.
             {{"export", small_, "--text", "/no/such/dir/out.txt"},
              "Can't open Text-Format or HTML-Format Report File /no/such/dir/out.txt: No such file or directory"},
             {{"next", small_, "||R||nope"}, "no section has the path '||R||nope' (rpl-toc list --all prints"},
             {{"prev", small_, "||r||t1"}, "no section has the path '||r||t1'"},
             // A column list shorter than the table is not stored, so it is refused.
             {{"set", small_, "||R||T1", "--width", "0=120", "--width", "2=60"},
              "--width '0=120': widths are stored only when every column has one; give --width for column 1 too"},
             {{"set", small_, "||R||T1", "--order", "1=0"},
              "--order '1=0': display columns are stored only when every column has one; "
              "give --order for columns 0 and 2 too"},
             {{"set", small_, "||R||T1", "--align", "2=R"},
              "--align '2=R': alignments are stored with the widths, only when every column has a width; "
              "give --width for columns 0, 1 and 2 too"},
             // What a table's layout can mean: each refusal says which rule, and nothing is written.
             {{"set", small_, "||R||T1", "--chart-type", "3"}, "--chart-type '3': out of range; the chart type is 1 (bar)"
                                                               " or 2 (line)"},
             {{"set", small_, "||R||T1", "--orientation", "99999999999999999999999"},
              "--orientation '99999999999999999999999': out of range; the page orientation is 1 (portrait) or 2"},
             {{"set", small_, "||R||T1", "--width", "0=99999999999", "--width", "1=1", "--width", "2=1"},
              "--width '0=99999999999': out of range; a width runs from 0 to 10,000"},
             {{"set", small_, "||R||T1", "--width", "0=1", "--width", "1=-5", "--width", "2=1"},
              "--width '1=-5': out of range; a width runs from 0 to 10,000"},
             {{"set", small_, "||R||T1", "--width", "0=1", "--width", "1=1", "--width", "0=2", "--width", "2=1"},
              "--width: column 0 is given more than once"},
             {{"set", small_, "||R||T1", "--order", "0=9", "--order", "1=3", "--order", "2=3"},
              "--order '0=9': out of range; display columns run from 0 to 2, one for each of the table's 3 columns"},
             {{"set", small_, "||R||T1", "--order", "0=2", "--order", "1=2", "--order", "2=0"},
              "--order '1=2': display column 2 would also be that of column 0; each display column is used once"},
             {{"set", small_, "||R||T1", "--width", "99999999999=1"},
              "--width '99999999999=1': no column 99999999999; the table has 3 columns, numbered from 0"},
             {{"view", small_, "--port", "70000"}, "--port 70000: out of range; a port runs from 0 to 65535"},
         }) {
        SCOPED_TRACE(args.empty() ? "(none)" : args.back());
        expect_error(toc(args), says);
        EXPECT_EQ(settings(), kAfterUnmarkF);
    }
    expect_error(raw({"--db-dir", "/no/such/dir", "show", small_}), "database directory '/no/such/dir'");
}

TEST_F(RplTocCli, BadReportFilesNameThePlaceOfTheFault) {
    auto child = [](const std::string& object) { return "{\"root\": {\"type\": 1, \"children\": [" + object + "]}}"; };
    auto rows = [](const std::string& first, const std::string& second) {
        return "{\"root\": {\"type\": 1, \"children\": [{\"type\": 4, \"rows\": " + first +
               ", \"row_test\": [true]}, {\"type\": 4, \"row_test\": [true], \"rows\": " + second + "}]}}";
    };
    for (const auto& [text, error] : std::vector<std::pair<std::string, std::string>>{
             // A null child still counts in the pointer's index.
             {child("{\"type\": 4}, null, {\"type\": 4, \"columns\": -1}"),
              "/root/children/2/columns: expected an integer >= 0"},
             {child("{\"type\": 4, \"columns\": 4294967296}"),
              "/root/children/0/columns: expected an integer <= 4294967295"},
             {child("{\"name\": \"no type\"}"), "/root/children/0: missing \"type\""},
             {child("{\"type\": 3, \"a/b~\": 1}"), "/root/children/0/a~1b~0: unknown field"},
             {child("7"), "/root/children/0: expected an object or null"},
             {"{\"root\": {\"type\": 3, \"a\\nb\": 1}}", "/root/a\\nb: unknown field"},  // the error stays one line
             {"{\"root\": {\"type\": 3, \"columns\": 1}}", "/root/columns: not a field of an object of type 3"},
             {"{\"root\": {\"type\": 1, \"children\": {}}}", "/root/children: expected an array"},
             {"{\"root\": {\"type\": 1, \"name\": 5}}", "/root/name: expected a string"},
             {"{\"root\": {\"type\": \"1\"}}", "/root/type: expected an integer"},
             {"{\"root\": {\"type\": 9, \"gauges\": [true, 0]}}", "/root/gauges/1: expected true, false or an object"},
             {"[]", "top level: expected an object"},
             {"{\"name\": \"x\",\n \"type\": tru}", "invalid JSON at line 2, column 13: "},
             // The row test is asked about every row: the report's row-tested rows are bounded in all.
             {rows("6000000", "4000001"),
              "/root/children/1/rows: the tables with a row test may have at most 10000000 rows in all"},
             // A name is a line of the settings file: a line feed would name another section's block.
             {child("{\"type\": 3, \"name\": \"A\\n[||R||Victim\"}"),
              "/root/children/0/name: a name may not contain a line feed or a NUL byte"},
             {"{\"root\": {\"type\": 1, \"name\": \"R\\u0000x\"}}", "/root/name: a name may not contain a line feed or a NUL byte"},
         }) {
        SCOPED_TRACE(text.substr(0, 80));
        std::string file = report("bad.json", text);
        expect_error(toc({"show", file}), "rpl-toc: error: " + file + ": " + error);  // names file, then place
    }
    // Far into a large report, the place is still the first fault's.
    std::string large = "{\"root\": {\"type\": 1, \"children\": [";
    for (int i = 0; i < 100000; ++i) large += "null, ";
    large += "{\"type\": 4, \"cells\": [[1], [2], [true], [true]]}, {\"type\": \"x\"}]}}";
    const std::string large_file = report("large.json", large);
    expect_error(toc({"show", large_file}),
                 "rpl-toc: error: " + large_file + ": /root/children/100000/cells/2/0: expected a string, a number or null");
    for (const std::string& text : {rows("6000000", "4000000"), child("{\"type\": 4, \"rows\": 2147483647}")}) {
        Result r = toc({"list", report("rows.json", text)});
        EXPECT_EQ(r.code, 0) << text << r.err;
    }
}

// The depth a report may have is the one its documentation states: a
// table at that depth is read, with its "row_test" array one bracket
// deeper, and any object one level deeper is refused, naming the limit.
TEST_F(RplTocCli, ReportsNestAsDeepAsTheDocsSayAndNoDeeper) {
    std::smatch stated;
    const std::string docs = read_file(RPL_DOCS_DIR "/report-format.md");
    ASSERT_TRUE(std::regex_search(docs, stated, std::regex(R"(objects lie at most (\d+) levels below the main)")));
    const int limit = std::stoi(stated[1]);
    auto chain = [](int levels, const std::string& deepest) {
        std::string text = "{\"root\": ";
        for (int i = 0; i < levels; ++i) text += "{\"type\": 1, \"children\": [";
        text += deepest;
        for (int i = 0; i < levels; ++i) text += "]}";
        return text + "}";
    };
    const std::string table = "{\"type\": 4, \"name\": \"T\", \"row_test\": [true]}";
    Result at = toc({"list", report("at.json", chain(limit, table))});
    EXPECT_EQ(at.code, 0) << at.err;
    EXPECT_EQ(at.out, "||" + std::string(2 * (limit - 1), '|') + "||T\n");  // unnamed folders above T
    const std::string past = report("past.json", chain(limit + 1, "{\"type\": 3}"));
    Result r = toc({"list", past});
    expect_error(r, "nesting too deep: rpl-toc reads objects at most " + std::to_string(limit) +
                        " levels below the main folder");
}

// A text nested far deeper than any report is refused at the limit, with
// the place where it went too deep: the parse stops there, so its depth
// costs neither stack nor memory.
TEST_F(RplTocCli, AReportNestedAHundredThousandDeepIsRefusedAtTheLimit) {
    const std::string deep = report("deep.json", std::string(100000, '[') + std::string(100000, ']'));
    Result r = toc({"list", deep});
    expect_error(r, "rpl-toc: error: " + deep + ": /0/0/0/");
    expect_error(r, "/0: nesting too deep: rpl-toc reads objects at most");
    const std::string objects = report("objects.json", [] {
        std::string text;
        for (int i = 0; i < 100000; ++i) text += "{\"a\": ";
        return text + "1" + std::string(100000, '}');
    }());
    expect_error(toc({"list", objects}), "rpl-toc: error: " + objects + ": /a/a/a/");
}

// Box characters only where the locale says UTF-8, colour only on a
// terminal; kinds line up by display width, so a wide character takes two
// columns.
TEST_F(RplTocCli, ShowPrintsATreeThatFollowsTheLocaleAndTheTerminal) {
    ASSERT_EQ(toc({"unmark", small_, "||R||F||G"}).code, 0);
    Result r = toc({"show", small_});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out,
              "report \"small\", type 3 (timing), 6 sections\n"
              "[~] R           folder\n"
              "├── [x] T1      table, 3 columns\n"
              "├── [~] F       folder\n"
              "│   ├── [x] C1  chart, type 1\n"
              "│   └── [ ] G   folder\n"
              "└── [x] X1      text, plain\n"
              "[x] all marked for output   [~] partly   [ ] none\n");
    std::string wide = report("wide.json", R"({"root": {"type": 1, "name": "R", "children": [
        {"type": 3, "name": "\u4e2d\u6587\u540d"}, {"type": 3, "name": "ab"}]}})");
    const std::string ascii_small = "\n[~] R           folder\n|-- [x] T1      table, 3 columns\n";
    for (const auto& [locale, terminal, args, lines] : std::vector<std::tuple<std::string, bool, Args, std::string>>{
             {"C.UTF-8", false, {"show", "--paths", small_}, "│   └── [ ] ||R||F||G"},
             {"C.UTF-8", true, {"show", small_}, "\x1b[32m[x]\x1b[0m"},
             {"C.UTF-8", false, {"show", wide},
              "\n[x] R           folder\n├── [x] \u4e2d\u6587\u540d  text, plain\n└── [x] ab      text, plain\n"},
             {"C.UTF-8", false, {"--ascii", "show", wide},
              "\n[x] R           folder\n|-- [x] \u4e2d\u6587\u540d  text, plain\n`-- [x] ab      text, plain\n"},
             {"C", false, {"show", small_}, ascii_small},
             {"POSIX", false, {"show", small_}, ascii_small},
         }) {
        SCOPED_TRACE(locale + " " + args[0] + (terminal ? " on a terminal" : ""));
        Launch launch;
        launch.locale = locale;
        launch.terminal = terminal;
        EXPECT_NE(toc(args, launch).out.find(lines), std::string::npos) << lines;
    }
}

TEST_F(RplTocCli, ShowJsonHoldsEverySectionInIndexOrderWithItsKindsValues) {
    json tree = toc_json({"show", flow_});
    EXPECT_EQ(json({tree["report"], tree["type"], tree["settings_file"]}),
              json({"design_flow", 1, db_.file("design_flow@compilation.rplset")}));
    ASSERT_EQ(tree.at("sections").size(), 20u);
    EXPECT_EQ(tree["sections"][19].at("path"), "||Design Flow||Power||Power Trend");
    EXPECT_EQ(tree["sections"][3], json::parse(R"json({
        "path": "||Design Flow||Timing||Setup Slack", "name": "Setup Slack",
        "kind": "table", "object_type": 4, "depth": 2, "marked": true, "marking": 2, "orientation": 1,
        "header": "Worst setup slack per clock domain (ns)", "footer": "Negative slack is a violation",
        "settings_changed": false, "columns": 5, "widths": [], "alignments": [], "order": [],
        "row_test_failed": true})json"));

    // Each kind's own values; which keys each kind has is pinned by the JSON Schema's check.
    for (const auto& [path, own] : std::vector<std::pair<std::string, json>>{
             {"||Design Flow||Timing||Slack Histogram", {{"kind", "chart"}, {"chart_type", 1}}},
             {"||Design Flow||Timing||Timing Margins", {{"kind", "gauges"}, {"percentages", {true, true, false}}}},
             {"||Design Flow||Messages||Warnings", {{"kind", "text"}, {"html", true}}},
             {"||Design Flow||Floorplan",
              {{"kind", "embedded"}, {"embedded_type", 1}, {"info", "floorplan.png, 1600 x 1200"}}},
             {"||Design Flow||Flow Summary", {{"kind", "summary"}, {"object_type", 7}}},
         }) {
        for (const auto& [key, value] : own.items()) EXPECT_EQ(section_at(tree, path).at(key), value) << path;
    }
    // A freshly built chart counts as changed; the report's chart type 2
    // gave way above to the absent settings' type 1.
    EXPECT_EQ(section_at(tree, "||Design Flow||Timing||Slack Histogram").at("settings_changed"), true);
    EXPECT_FALSE(file_exists(db_.file("design_flow@compilation.rplset")));  // show writes nothing
}

TEST_F(RplTocCli, FindNextAndPrevPrintTheSectionOrExitOne) {
    const std::string c1 =
        "path:             ||R||F||C1\nname:             C1\nkind:             chart (object type 5)\n"
        "depth:            2\nmarked:           yes (subtree: all)\norientation:      1\nheader:           \n"
        "footer:           \nchart type:       1\nsettings:         changed\n";
    // Stepping passes over folders. A path no section has is no answer of
    // "none": find notes it, next and prev refuse it (FailuresAre...).
    const std::string none = "rpl-toc: note: no section has the path 'R||F||C1' (rpl-toc list --all prints every path)\n";
    for (const auto& [args, code, out, err] : std::vector<std::tuple<Args, int, std::string, std::string>>{
             {{"find", small_, "||R||F||C1"}, 0, c1, ""},
             {{"find", small_, "R||F||C1"}, 1, "", none},
             {{"--json", "find", small_, "R||F||C1"}, 1, "{\n  \"format\": 1,\n  \"path\": null\n}\n", none},
             {{"next", small_, "||R||F||C1"}, 0, "||R||X1\n", ""},
             {{"next", small_, "||R||X1"}, 1, "", ""},
             {{"prev", small_, "||R||F||C1"}, 0, "||R||T1\n", ""},
             {{"prev", small_, "||R||T1"}, 1, "", ""}}) {
        SCOPED_TRACE(args[args.size() - 3] + " " + args.back());
        Result r = toc(args);
        EXPECT_EQ(r.code, code);
        EXPECT_EQ(r.out, out);
        EXPECT_EQ(r.err, err);
    }
    // find --json prints exactly the section that show --json lists.
    json section = section_at(toc_json({"show", small_}), "||R||F||C1");
    section["format"] = 1;
    EXPECT_EQ(toc_json({"find", small_, "||R||F||C1"}), section);
}

// list walks the whole index, also past a repeated path, which next cannot.
TEST_F(RplTocCli, ListPrintsEveryPathInIndexOrder) {
    for (const auto& [args, out] : std::vector<std::pair<Args, std::string>>{
             {{"list", small_}, "||R||T1\n||R||F||C1\n||R||X1\n"},
             {{"list", "--all", small_}, "||R\n||R||T1\n||R||F\n||R||F||C1\n||R||F||G\n||R||X1\n"},
         }) {
        Result r = toc(args);
        EXPECT_EQ(r.code, 0);
        EXPECT_EQ(r.out, out);
        json listed = toc_json(args);
        std::string paths;
        for (const json& section : listed.at("sections")) paths += section.at("path").get<std::string>() + "\n";
        EXPECT_EQ(paths, out);
    }
    std::string odd = toc({"list", RPL_EXAMPLES_DIR "/odd_cases.json"}).out;
    EXPECT_NE(odd.find("||Odd Cases||Twin\n||Odd Cases||Twin\n"), std::string::npos) << odd;
    // Bytes as they are for a script (tests/scripts/paths_come_back.sh),
    // escaped for a person at a terminal.
    // On a terminal, as ls shows names: a word the shell gives back as the
    // same bytes, so a carriage return and the four characters \x0d differ.
    const std::string cr = report("cr.json", R"({"root": {"type": 1, "name": "R", "children": [
        {"type": 3, "name": "c\rd"}]}})");
    const std::string text = report("text.json", R"({"root": {"type": 1, "name": "R", "children": [
        {"type": 3, "name": "c\\x0dd"}]}})");
    const std::string quote = report("quote.json", R"({"root": {"type": 1, "name": "R", "children": [
        {"type": 3, "name": "it's"}, {"type": 3, "name": "\u202e\u0007'\\"}]}})");
    Launch terminal;
    terminal.terminal = true;
    for (const auto& [file, launch, out] : std::vector<std::tuple<std::string, Launch, std::string>>{
             {cr, {}, "||R||c\rd\n"},
             {cr, terminal, "$'||R||c\\rd'\r\n"},  // the terminal turns \n into \r\n
             {text, {}, "||R||c\\x0dd\n"},
             {text, terminal, "'||R||c\\x0dd'\r\n"},
             {quote, terminal, "'||R||it'\\''s'\r\n$'||R||\\u202e\\x07\\'\\\\'\r\n"}}) {
        EXPECT_EQ(toc({"list", file}, launch).out, out);
        if (file != quote) {
            EXPECT_EQ(toc({"next", file, "||R"}, launch).out, out);
        }
    }
}

// With -z (or -0) a path holding spaces, tabs or a carriage return comes
// back whole through `xargs -0`, also from a terminal.
TEST_F(RplTocCli, ListZeroEndsEachPathWithANulAndPrintsItAsItIs) {
    const std::string odd = report("odd.json", R"({"root": {"type": 1, "name": "R", "children": [
        {"type": 3, "name": "a b"}, {"type": 3, "name": "t\tu\rv"}]}})");
    const std::string expected = std::string("||R||a b") + '\0' + "||R||t\tu\rv" + '\0';
    Launch terminal;
    terminal.terminal = true;
    for (const char* flag : {"-z", "-0", "--null"}) {
        EXPECT_EQ(toc({"list", flag, odd}).out, expected) << flag;
        EXPECT_EQ(toc({"list", flag, odd}, terminal).out, expected) << flag << " on a terminal";
    }
    EXPECT_EQ(toc({"list", "-z", "--all", odd}).out.substr(0, 4), std::string("||R") + '\0');
    expect_error(toc({"--json", "list", "-z", odd}), "rpl-toc: error: list -z prints paths, not JSON: give -z or --json");
}

// A mark says on a terminal what it is doing while it runs, as does the
// build before it, and erases it after; never where stderr is not a
// terminal. (Shown at once here; after half a second by default.)
TEST_F(RplTocCli, MarkShowsWhatItDoesOnATerminalOnly) {
    auto shown = [](const std::string& text) {
        const std::string line = "rpl-toc: " + text;
        return "\r" + line + "\r" + std::string(line.size(), ' ') + "\r";
    };
    Launch terminal;
    terminal.error_terminal = true;
    terminal.env = {"RPL_TOC_PROGRESS_AFTER=0"};
    Launch file = terminal;
    file.error_terminal = false;
    for (const auto& [launch, err] : std::vector<std::pair<Launch, std::string>>{
             // ||R||F at depth 1, its chart and folder at depth 2: 2 + (3 + 1) + 3 saves.
             {terminal, shown("reading the report and building its table of contents") +
                            shown("unmarking ||R||F, 9 saves expected")},
             {file, ""}}) {
        Result r = toc({"unmark", small_, "||R||F"}, launch);
        EXPECT_EQ(r.code, 0);
        EXPECT_EQ(r.out, "||R||F  unmarked (subtree: none)\n");
        EXPECT_EQ(r.err, err);
    }
}

// The library's information is said as the tool's own line.
TEST_F(RplTocCli, ExportSaysWhereItWritesWithTheToolsPrefix) {
    const std::string text = files_.file("out.txt");
    Result r = toc({"export", small_, "--text", text});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.err, "rpl-toc: Writing Report file " + text + "\n");
}

// The step, settings and export documents, value for value.
TEST_F(RplTocCli, SmallJsonDocumentsHoldTheirValues) {
    const std::string text = files_.file("out.txt"), settings_file = db_.file("small@timing.rplset");
    for (const auto& [args, code, expected] : std::vector<std::tuple<Args, int, json>>{
             {{"next", small_, "||R||F"}, 0, {{"format", 1}, {"path", "||R||F||C1"}}},
             {{"prev", small_, "||R||T1"}, 1, {{"format", 1}, {"path", nullptr}}},
             {{"settings", small_}, 0,
              {{"format", 1}, {"settings_file", settings_file}, {"exists", false}, {"readable", true},
               {"content", nullptr}}},
             {{"export", small_, "--text", text}, 0,
              {{"format", 1}, {"file", text}, {"as", "text"}, {"sections", 6}, {"left_out", 0}}},
             {{"unmark", small_, "||R||F"}, 0, nullptr},
             {{"export", small_, "--html", text}, 0,
              {{"format", 1}, {"file", text}, {"as", "html"}, {"sections", 3}, {"left_out", 3}}},
         }) {
        SCOPED_TRACE(args[0]);
        Args with_json = args;
        with_json.insert(with_json.begin(), "--json");
        Result r = toc(with_json);
        EXPECT_EQ(r.code, code) << r.err;
        EXPECT_EQ(r.err, "") << "under --json, stderr holds warnings and errors only";
        if (!expected.is_null()) {
            EXPECT_EQ(json::parse(r.out), expected);
        }
    }
}

// Reading a report costs many times its size in memory (an object of 22
// bytes becomes a section of the library), so the size is capped at 16 MiB:
// a valid report one byte over is refused with one line, and a regular file
// that says it is larger is refused unread, however large (a sparse 1 TiB).
TEST_F(RplTocCli, AReportOverTheSizeLimitIsRefusedInOneLineUnread) {
    const std::size_t limit = std::size_t{16} << 20;
    std::string text = read_file(small_);
    const std::string over = report("over.json", text + std::string(limit + 1 - text.size(), ' '));
    const std::string at = report("at.json", text + std::string(limit - text.size(), ' '));
    expect_error(toc({"list", over}), "report file '" + over + "' is larger than 16 MiB");
    EXPECT_EQ(toc({"list", at}).code, 0);
    const std::string huge = files_.file("huge.json");
    write_file(huge, "");
    ASSERT_EQ(::truncate(huge.c_str(), std::int64_t{1} << 40), 0);
    expect_error(toc({"list", huge}), "report file '" + huge + "' is larger than 16 MiB");
    Launch from_huge;
    from_huge.input = over;  // standard input says no size: read up to one byte past the limit
    expect_error(toc({"list", "-"}, from_huge), "standard input is larger than 16 MiB");
}

// The settings file goes to --db-dir, given before or after the command,
// else beside a regular report file, else to the current directory: "-" is
// standard input, and /dev/stdin never puts it in /dev. Reading stops at
// the cap whatever the file.
TEST_F(RplTocCli, SettingsGoBesideARegularReportElseToTheCurrentDirectory) {
    expect_error(toc({"show", "/dev/zero"}), "report file '/dev/zero' is larger than 16 MiB");
    const std::string file = report("r.json", read_file(small_));
    TempDir work;
    Launch from_small;
    from_small.input = small_;
    from_small.cwd = work.path();
    for (const auto& [args, settings_dir] : std::vector<std::pair<Args, std::string>>{
             {{"unmark", file, "||R||X1"}, files_.path()},
             {{"unmark", file, "||R||X1", "--db-dir", db_.path()}, db_.path()},
             {{"unmark", "-", "||R||X1"}, work.path()},
             {{"unmark", "/dev/stdin", "||R||X1"}, work.path()},
             {{"--db-dir", db_.path(), "unmark", "-", "||R||X1"}, db_.path()},
         }) {
        SCOPED_TRACE(args[args.size() - 2]);
        ASSERT_EQ(raw(args, from_small).code, 0);
        EXPECT_EQ(read_file(settings_dir + "/small@timing.rplset"),
                  "[||R]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n[||R||X1]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");
        fs::remove(settings_dir + "/small@timing.rplset");
    }
    std::string pipe = files_.file("pipe.json");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread writer([&] { write_file(pipe, read_file(small_)); });
    Result piped = raw({"list", pipe}, from_small);
    close(open(pipe.c_str(), O_RDONLY | O_NONBLOCK));  // frees the writer should rpl-toc not have read
    writer.join();
    EXPECT_EQ(piped.out, "||R||T1\n||R||F||C1\n||R||X1\n");

    // The path is printed absolute, as text and as JSON, wherever the
    // database directory came from.
    const std::string absolute = work.path() + "/small@timing.rplset";
    EXPECT_EQ(raw({"settings", "-"}, from_small).out, "settings file: " + absolute + " does not exist yet\n");
    EXPECT_EQ(json::parse(raw({"--json", "settings", "-"}, from_small).out).at("settings_file"), absolute);
    EXPECT_EQ(json::parse(raw({"--json", "show", "-"}, from_small).out).at("settings_file"), absolute);

    Result out = raw({"export", "-", "--text", "-"}, from_small);
    EXPECT_EQ(out.code, 0);
    EXPECT_EQ(out.out.rfind("Report \"small\"", 0), 0u) << out.out;
    EXPECT_EQ(entries_of(work.path()), std::vector<std::string>{}) << "no file named -";
}

// Names reach the terminal escaped, C1 controls and bidirectional overrides
// too; --raw gives the file's bytes.
TEST_F(RplTocCli, SettingsEscapesControlBytesUnlessRaw) {
    std::string file = report("r.json", R"({"name": "small", "type": 3,
        "root": {"type": 1, "name": "R\u001b]0;pwned\u0007\u009b2J\u202e"}})");
    const std::string name = "R\x1b]0;pwned\x07\u009b2J\u202e";
    ASSERT_EQ(toc({"unmark", file, "||" + name}).code, 0);
    const std::string head = "settings file: " + db_.file("small@timing.rplset") + "\n";
    const std::string keys = "]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n";
    EXPECT_EQ(toc({"settings", file}).out, head + "[||R\\x1b]0;pwned\\x07\\u009b2J\\u202e" + keys);
    EXPECT_EQ(toc({"settings", "--raw", file}).out, head + "[||" + name + keys);
    EXPECT_NE(toc({"show", file}).out.find("[ ] R\\x1b]0;pwned\\x07\\u009b2J\\u202e  folder"), std::string::npos);
}

TEST_F(RplTocCli, MarkAndUnmarkWriteThroughToTheSettingsFile) {
    std::string path = db_.file("small@timing.rplset");
    EXPECT_EQ(toc({"settings", small_}).out, "settings file: " + path + " does not exist yet\n");
    Result unmark = toc({"unmark", small_, "||R||F"});
    EXPECT_EQ(unmark.code, 0) << unmark.err;
    EXPECT_EQ(unmark.out, "||R||F  unmarked (subtree: none)\n");
    EXPECT_EQ(settings(), kAfterUnmarkF);
    EXPECT_EQ(toc({"settings", small_}).out, "settings file: " + path + "\n" + kAfterUnmarkF);

    json marked = toc_json({"mark", small_, "||R||F||C1"});
    EXPECT_EQ(section_at(marked, "||R||F").at("marking"), 1);
    EXPECT_NE(settings().find("[||R||F||C1]\nCHART_TYPE=0\nOUTPUT_SECTION=1\n"), std::string::npos);
    // Paths apply in the order given: the last word on ||R||T1 wins.
    EXPECT_EQ(section_at(toc_json({"unmark", small_, "||R", "||R||T1"}), "||R").at("marking"), 0);
}

TEST_F(RplTocCli, SetChangesLayoutAndTheNextRunReadsItBack) {
    json table = toc_json({"set", small_, "||R||T1", "--orientation", "2", "--width", "0=120", "--width", "1=80",
                           "--width", "2=60", "--align", "1=R", "--order", "0=0", "--order", "1=2", "--order", "2=1"});
    // The lists as stored: the alignments are not padded to the columns.
    EXPECT_EQ(section_at(table, "||R||T1"), json::parse(R"({"path": "||R||T1", "name": "T1", "kind": "table",
        "object_type": 4, "depth": 1, "marked": true, "marking": 2, "orientation": 2, "header": "", "footer": "",
        "settings_changed": true, "columns": 3, "widths": [120, 80, 60], "alignments": ["L", "R"],
        "order": [0, 2, 1], "row_test_failed": false})"));
    ASSERT_EQ(toc({"set", small_, "||R||F||C1", "--chart-type", "2"}).code, 0);
    EXPECT_EQ(settings(),
              "[||R||F||C1]\nCHART_TYPE=1\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||R||T1]\nCOLUMN_ORDER=0,2,1,\nCOLUMN_WIDTHS=120L,80R,60L,\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=1\n");

    // The next run reads it all back.
    json again = toc_json({"show", small_});
    const json& t1 = section_at(again, "||R||T1");
    EXPECT_EQ(json({t1["widths"], t1["alignments"], t1["order"], t1["orientation"]}),
              json::parse(R"([[120, 80, 60], ["L", "R", "L"], [0, 2, 1], 2])"));
    EXPECT_EQ(section_at(again, "||R||F||C1").at("chart_type"), 2);
}

// The library tells nobody when a save fails, so the tool checks: a change
// that did not reach the settings file is an error naming the file and the
// reason, the file stays as it was and nothing is left beside it. Reading
// commands warn when the file cannot be read. Run as "nobody" where
// permissions matter, since root may write anything.
TEST_F(RplTocCli, ChangesThatWereNotSavedAreErrorsAndLeaveTheFileAsItWas) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root: to act as nobody, to mount a full file system, to set append-only";
    ASSERT_EQ(chmod(scratch_.path().c_str(), 0777), 0);
    std::string big = kAfterUnmarkF;  // more than the limit below, in lines a save keeps
    for (int i = 0; big.size() < 100000; ++i) big += "[||S" + std::to_string(i) + "]\nOUTPUT_SECTION=0\n";
    struct Case {
        std::string what;
        std::function<bool(const std::string& dir, const std::string& file)> make;  // false: cannot be made here
        std::string reason;
        bool unreadable;  // reading commands warn
        Launch launch;
    };
    Launch nobody;
    nobody.as_nobody = true;
    Launch size_limit;
    size_limit.fsize_limit = 32768;
    auto old_file = [](mode_t mode, const std::string& text) {
        return [mode, text](const std::string&, const std::string& file) {
            write_file(file, text);
            return chmod(file.c_str(), mode) == 0;
        };
    };
    for (const Case& c : std::vector<Case>{
             {"unreadable file", old_file(0222, kAfterUnmarkF), "Permission denied", true, nobody},
             {"directory in its place",
              [](const std::string&, const std::string& file) { return mkdir(file.c_str(), 0755) == 0; },
              "Is a directory", true, nobody},
             {"symbolic link loop",
              [](const std::string&, const std::string& file) {
                  return symlink(fs::path(file).filename().c_str(), file.c_str()) == 0;
              },
              "Too many levels of symbolic links", true, nobody},
             {"pipe in its place",
              [](const std::string&, const std::string& file) { return mkfifo(file.c_str(), 0666) == 0; },
              "not a regular file", true, nobody},
             {"read-only file", old_file(0444, kAfterUnmarkF), "Permission denied", false, nobody},
             // Root may write any file, but one without a write bit is left as it is, as for anyone.
             {"read-only file, as root", old_file(0444, kAfterUnmarkF), "Permission denied", false, {}},
             {"append-only file",
              [&](const std::string& dir, const std::string& file) {
                  return old_file(0666, kAfterUnmarkF)(dir, file) && set_append_only(file, true);
              },
              "Operation not permitted", false, nobody},
             {"read-only directory without a file",
              [](const std::string& dir, const std::string&) { return chmod(dir.c_str(), 0555) == 0; },
              "Permission denied", false, nobody},
             {"full disk",
              [](const std::string& dir, const std::string& file) {
                  if (mount("tmpfs", dir.c_str(), "tmpfs", 0, "size=64k,mode=0777") != 0) return false;
                  write_file(file, kAfterUnmarkF);
                  fill_up(dir + "/filler");
                  return true;
              },
              "No space left on device", false, {}},
             {"file-size limit", old_file(0644, big), "File too large", false, size_limit},
             // Owned by neither the saving user nor the directory's owner: a
             // save does not follow it, and creates nothing where it leads.
             {"link owned by another user",
              [](const std::string&, const std::string& file) {
                  return symlink("victim", file.c_str()) == 0 && lchown(file.c_str(), 4242, 4242) == 0;
              },
              "a link owned by another user", false, nobody},
             {"file larger than the library reads",
              [](const std::string&, const std::string& file) {
                  write_file(file, kAfterUnmarkF);
                  return truncate(file.c_str(), (16 << 20) + 1) == 0;  // sparse: no disk used
              },
              "larger than 16 MiB, the most a settings file may be", true, {}},
         }) {
        SCOPED_TRACE(c.what);
        TempDir dir;
        ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
        const std::string file = dir.file("small@timing.rplset");
        if (!c.make(dir.path(), file)) {
            std::cerr << "[ skipped  ] " << c.what << ": " << std::strerror(errno) << " on this machine\n";
            continue;
        }
        const std::vector<std::string> entries = entries_of(dir.path());
        auto content = [&file] {
            std::error_code ec;
            return fs::is_regular_file(file, ec) ? read_file(file) : std::string();
        };
        const std::string before = content();
        for (Args args : {Args{"unmark", small_, "||R||X1"}, Args{"set", small_, "||R||T1", "--orientation", "2"}}) {
            args.insert(args.begin(), {"--db-dir", dir.path()});
            Result r = raw(args, c.launch);
            EXPECT_EQ(r.code, 2) << args[0];
            EXPECT_EQ(r.err, "rpl-toc: error: the change was not saved: " + file + ": " + c.reason + "\n");
            EXPECT_TRUE(content() == before) << "the file changed";
            EXPECT_EQ(entries_of(dir.path()), entries) << "nothing left beside it";
        }
        struct stat after {};
        if (c.what.rfind("read-only file", 0) == 0) {
            ASSERT_EQ(::stat(file.c_str(), &after), 0);
            EXPECT_EQ(after.st_mode & 07777, 0444u) << "the mode changed";
        }
        Result show = raw({"--db-dir", dir.path(), "show", small_}, c.launch);
        EXPECT_EQ(show.code, 0);
        const std::string warning = "rpl-toc: warning: the settings file cannot be read, so defaults are used: ";
        EXPECT_EQ(show.err, c.unreadable ? warning + file + ": " + c.reason + "\n" : "");
        set_append_only(file, false);
        umount(dir.path().c_str());
    }
}

// A change whose settings text would pass 16 MiB is refused before a byte
// is written: the file just under the limit keeps its bytes and still
// loads, and the tool says why in one line, exit 2. (Before, the save
// wrote the file past the limit, and every later load read defaults.)
TEST_F(RplTocCli, AChangePastTheSizeLimitIsRefusedAndTheFileKept) {
    const std::string file = db_.file("small@timing.rplset");
    const std::string head = std::string(kSmallAfterUnmarkF) + "[||R||Z]\nV=";
    const std::string text = head + std::string((16 << 20) - head.size() - 10, 'v') + "\n";
    write_file(file, text);
    const std::string why = "rpl-toc: error: the change was not saved: " + file +
                            ": the new text would be larger than 16 MiB, the most a settings file may be\n";
    // Unmarking the root saves each section on its own: those whose block
    // keeps its length (the root's mark) still fit, and are saved.
    for (const auto& [args, kept] : std::vector<std::pair<Args, bool>>{
             {{"unmark", small_, "||R||X1"}, true},
             {{"set", small_, "||R||T1", "--orientation", "2"}, true},
             {{"unmark", small_, "||R"}, false}}) {
        SCOPED_TRACE(args[0] + " " + args[2]);
        Result r = toc(args);
        EXPECT_EQ(r.code, 2);
        EXPECT_EQ(r.err, why);
        EXPECT_TRUE(!kept || read_file(file) == text) << "the file changed";
        EXPECT_LE(read_file(file).size(), std::size_t{16} << 20);
        EXPECT_EQ(entries_of(db_.path()), std::vector<std::string>{"small@timing.rplset"});
    }
    EXPECT_EQ(toc({"show", small_}).err, "") << "the file still loads";
}

// set costs what it names: on a table that declares 2^32-1 columns a
// short width list is refused at once, naming five missing columns and
// counting the rest (it passed 8.2 GB before).
TEST_F(RplTocCli, SetOnATableOfTwoToTheThirtyTwoColumnsIsRefusedByCount) {
    const std::string huge = report("huge.json", R"({"name": "huge", "type": 3, "root": {"type": 1, "name": "R",)"
                                                 R"( "children": [{"type": 4, "name": "T", "columns": 4294967295}]}})");
    Result r = toc({"set", huge, "||R||T", "--width", "0=1"});
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(r.err,
              "rpl-toc: error: --width '0=1': widths are stored only when every column has one; give --width for "
              "columns 1, 2, 3, 4, 5 and 4,294,967,289 more too\n");
    EXPECT_FALSE(file_exists(db_.file("huge@timing.rplset")));
}

// Objects the build leaves out are counted in a note; --debug says which.
// A report without a main folder is noted too, where the output would not
// say it (show's tree does).
TEST_F(RplTocCli, ObjectsLeftOutAreNotedAndDebugSaysWhich) {
    std::string odd = RPL_EXAMPLES_DIR "/odd_cases.json";  // null children and unknown object types
    const std::string note = "rpl-toc: note: 5 objects of the report were left out";
    const std::string no_root = report("no_root.json", "{\"name\": \"x\"}");
    const std::string table_root = report("table_root.json", "{\"root\": {\"type\": 4}}");
    const std::string empty = "rpl-toc: note: the report has no main folder, so its table of contents is empty\n";
    for (const auto& [args, err] : std::vector<std::pair<Args, std::string>>{
             {{"show", odd}, note + " (run with --debug to see which)\n"},
             {{"list", odd}, note + " (run with --debug to see which)\n"},
             {{"show", small_}, ""},
             {{"list", no_root}, empty},
             {{"list", table_root}, empty},
             {{"--json", "show", no_root}, empty},
             {{"show", no_root}, ""},
         }) {
        SCOPED_TRACE(args[args.size() - 2] + " " + args.back());
        EXPECT_EQ(toc(args).err, err);
    }
    Result r = toc({"--debug", "show", odd});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.err,
              "debug: Eeeeeek! The RDB object was NULL\n"
              "debug: Unhandled RDB Object type: 2\n"
              "debug: Unhandled RDB Object type: 42\n"
              "debug: Unhandled RDB Object type: -1\n"
              "debug: Eeeeeek! The RDB object was NULL\n" +
                  note + "\n");
}

// The man page renders without a warning and names exactly the options
// --help gives, which states the exit codes; the completion loads and
// completes commands and paths.
TEST_F(RplTocCli, ManPageCompletionAndHelpAgree) {
    const std::string page = RPL_TOOLS_SOURCE_DIR "/rpl-toc.1";
    Result man = spawn({"/usr/bin/man", "--warnings", "-l", page}, scratch_.path());
    EXPECT_EQ(man.code, 0);
    EXPECT_EQ(man.err, "");
    EXPECT_NE(man.out.find("EXIT STATUS"), std::string::npos);

    auto options = [](const std::string& text) {
        std::set<std::string> found;
        std::regex option("--[a-z][a-z-]*");
        for (auto it = std::sregex_iterator(text.begin(), text.end(), option); it != std::sregex_iterator(); ++it)
            found.insert(it->str());
        return found;
    };
    std::string help = raw({"--help"}).out;
    EXPECT_NE(help.find("Exit codes: 0 success; 1 nothing found"), std::string::npos);
    for (const char* command : {"show", "list", "find", "next", "prev", "mark", "unmark", "set", "settings", "export", "view"}) {
        Result r = raw({command, "--help"});
        EXPECT_EQ(r.code, 0);
        EXPECT_NE(r.out.find(std::string("Usage: rpl-toc ") + command + " [OPTIONS] REPORT"), std::string::npos);
        help += r.out;
    }
    Result import = raw({"import", "--help"});
    EXPECT_EQ(import.code, 0);
    EXPECT_NE(import.out.find("Usage: rpl-toc import [OPTIONS] INPUT..."), std::string::npos);
    help += import.out;
    EXPECT_TRUE(std::regex_match(raw({"--version"}).out, std::regex("rpl-toc [0-9]+\\.[0-9]+\\.[0-9]+\n")));
    EXPECT_EQ(options(std::regex_replace(read_file(page), std::regex(R"(\\-)"), "-")), options(help));

    Result completion = spawn(
        {"/bin/bash", "-c",
         "PATH=" + fs::path(RPL_TOC_BINARY).parent_path().string() + ":$PATH; source " RPL_TOOLS_SOURCE_DIR
         "/rpl-toc.bash; complete -p rpl-toc; COMP_WORDS=(rpl-toc se); COMP_CWORD=1; _rpl_toc; "
         "printf '%s\\n' \"${COMPREPLY[@]}\"; COMP_WORDS=(rpl-toc mark " + small_ + " '||R||F'); COMP_CWORD=3; "
         "_rpl_toc; printf '%s\\n' \"${COMPREPLY[@]}\""},
        scratch_.path());
    EXPECT_EQ(completion.out, "complete -F _rpl_toc rpl-toc\nset\nsettings\n||R||F\n||R||F||C1\n||R||F||G\n");
    EXPECT_EQ(completion.err, "");
}

}  // namespace
