// The command-line host rpl-toc, driven as a user drives it: every test
// spawns the built binary and looks at its exit code, its stdout and stderr,
// and the files it leaves.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/test_support.h"

#ifndef RPL_TOC_BINARY  // the tool is not built: every test skips
#define RPL_TOC_BINARY ""
#define RPL_EXAMPLES_DIR ""
#endif

using nlohmann::json;
using rpltest::read_file;
using rpltest::TempDir;

namespace {

struct Result {
    int code = -1;
    std::string out, err;
};

// Runs `argv` with stdout and stderr in files under `scratch`, or with
// stdout on a pseudo-terminal.
Result spawn(const std::vector<std::string>& argv, const std::string& scratch, bool terminal = false) {
    std::string out_path = scratch + "/stdout", err_path = scratch + "/stderr";
    int err_fd = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int master = terminal ? posix_openpt(O_RDWR | O_NOCTTY) : -1;
    if (terminal && (grantpt(master) != 0 || unlockpt(master) != 0)) return {};
    int out_fd = terminal ? open(ptsname(master), O_RDWR | O_NOCTTY)
                          : open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = fork();
    if (pid == 0) {
        dup2(out_fd, STDOUT_FILENO);
        dup2(err_fd, STDERR_FILENO);
        unsetenv("NO_COLOR");
        setenv("TERM", "xterm", 1);
        std::vector<char*> args;
        for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    close(out_fd);
    close(err_fd);
    Result r;
    char buffer[4096];
    ssize_t n;
    while (terminal && (n = read(master, buffer, sizeof buffer)) > 0)  // until the child closes the terminal
        r.out.append(buffer, static_cast<std::size_t>(n));
    int status = 0;
    waitpid(pid, &status, 0);
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    if (terminal)
        close(master);
    else
        r.out = read_file(out_path);
    r.err = read_file(err_path);
    return r;
}

// A failure as the tool promises it: exit 2, nothing on stdout, one line on
// stderr in the tool's error form that contains `says`.
void expect_error(const Result& r, const std::string& says) {
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err.rfind("rpl-toc: error: ", 0), 0u) << r.err;
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "one line: " << r.err;
    EXPECT_NE(r.err.find(says), std::string::npos) << r.err;
}

std::set<std::string> keys_of(const json& object) {
    std::set<std::string> keys;
    for (auto it = object.begin(); it != object.end(); ++it) keys.insert(it.key());
    return keys;
}

const json& section_at(const json& toc, const std::string& path) {
    for (const json& s : toc.at("sections"))
        if (s.at("path") == path) return s;
    static const json none;
    ADD_FAILURE() << "no section " << path;
    return none;
}

using Args = std::vector<std::string>;

// small.json's settings after "unmark ||R||F".
const char* const kAfterUnmarkF =
    "[||R]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
    "[||R||F]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
    "[||R||F||C1]\nCHART_TYPE=0\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
    "[||R||F||G]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n";

class RplTocCli : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::string(RPL_TOC_BINARY).empty()) GTEST_SKIP() << "rpl-toc is not built (RPL_BUILD_TOOLS is off)";
    }
    // rpl-toc with exactly these arguments.
    Result raw(Args args, bool terminal = false) {
        args.insert(args.begin(), RPL_TOC_BINARY);
        return spawn(args, scratch_.path(), terminal);
    }
    // rpl-toc with the scratch database directory in front.
    Result toc(Args args, bool terminal = false) {
        args.insert(args.begin(), {"--db-dir", db_.path()});
        return raw(args, terminal);
    }
    // --json output; every command but find and settings prints the whole TOC.
    json toc_json(Args args) {
        args.insert(args.begin(), "--json");
        Result r = toc(args);
        EXPECT_EQ(r.code, 0) << r.err;
        json j = json::parse(r.out);
        if (args[1] != "find" && args[1] != "settings") {
            EXPECT_EQ(keys_of(j), (std::set<std::string>{"format", "report", "type", "settings_file", "sections"}));
        }
        return j;
    }
    std::string report(const std::string& name, const std::string& text) {
        rpltest::write_file(files_.file(name), text);
        return files_.file(name);
    }
    std::string settings() { return read_file(db_.file("small@timing.rplset")); }

    const std::string small_ = RPL_EXAMPLES_DIR "/small.json";  // R: T1, F (C1, G), X1; "small", type 3
    const std::string flow_ = RPL_EXAMPLES_DIR "/design_flow.json";
    TempDir db_;       // the database directory of most tests
    TempDir files_;    // report files and report output
    TempDir scratch_;  // the spawned process's stdout and stderr
};

TEST_F(RplTocCli, HelpAndVersionPrintOnStdoutAndSucceed) {
    for (const auto& [args, expect] : std::vector<std::pair<Args, std::string>>{
             {{"--help"}, "Usage: rpl-toc [OPTIONS] SUBCOMMAND"},
             {{"set", "--help"}, "Usage: rpl-toc set [OPTIONS] REPORT PATH"}}) {
        Result r = raw(args);
        EXPECT_EQ(r.code, 0) << args[0];
        EXPECT_NE(r.out.find(expect), std::string::npos) << r.out;
        EXPECT_EQ(r.err, "");
    }
    EXPECT_TRUE(std::regex_match(raw({"--version"}).out, std::regex("rpl-toc [0-9]+\\.[0-9]+\\.[0-9]+\n")));
}

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
             {{"mark", small_, "||R||F", "||R||nope"}, "no section with the path '||R||nope'"},
             {{"unmark", small_, "||R||T1", "R||X1"}, "no section with the path 'R||X1'"},
             {{"set", small_, "||R||nope", "--orientation", "2"}, "no section with the path '||R||nope'"},
             {{"set", small_, "||R||T1", "--orientation", "3"}, "--orientation"},
             {{"set", small_, "||R||T1", "--orientation", "2", "--align", "0=X"}, "--align '0=X': the alignment must"},
             {{"set", small_, "||R||T1", "--width", "0=1", "1=2"}, "1=2"},  // one value per option
             {{"set", small_, "||R||T1", "--width", "3=10"}, "no column 3; the table has 3 columns"},
             {{"set", small_, "||R||T1", "--chart-type", "2"}, "--chart-type applies to charts only"},
             {{"set", small_, "||R||F||C1", "--width", "0=1"}, "apply to tables only"},
         }) {
        SCOPED_TRACE(args.empty() ? "(none)" : args.back());
        expect_error(toc(args), says);
        EXPECT_EQ(settings(), kAfterUnmarkF);
    }
    expect_error(raw({"--db-dir", "/no/such/dir", "show", small_}), "database directory '/no/such/dir'");
}

TEST_F(RplTocCli, BadReportFilesNameThePlaceOfTheFault) {
    auto child = [](const std::string& object) { return "{\"root\": {\"type\": 1, \"children\": [" + object + "]}}"; };
    auto deep = [](int folders) {
        std::string text = "{\"root\":";
        for (int i = 0; i < folders; ++i) text += "{\"type\":1,\"children\":[";
        for (int i = 0; i < folders; ++i) text += "]}";
        return text + "}";
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
             {"{\"root\": {\"type\": 9, \"gauges\": [true, 0]}}", "/root/gauges/1: expected true or false"},
             {"[]", "top level: expected a JSON object"},
             {"{\"name\": \"x\",\n \"type\": tru}", "invalid JSON at line 2, column 13: "},
             {deep(1002), "line 1, column 22031: nesting too deep: rpl-toc reads folders at most 1000 levels below "
                          "the main folder"},
         }) {
        SCOPED_TRACE(text.substr(0, 80));
        std::string file = report("bad.json", text);
        expect_error(toc({"show", file}), "rpl-toc: error: " + file + ": " + error);  // names file, then place
    }
    Result deepest = toc({"show", report("deep.json", deep(1001))});  // 1000 levels below the main folder
    EXPECT_EQ(deepest.code, 0) << deepest.err;
}

TEST_F(RplTocCli, ShowPrintsATreeColouredOnlyOnATerminal) {
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
    EXPECT_NE(toc({"show", "--paths", small_}).out.find("│   └── [ ] ||R||F||G"), std::string::npos);
    Result terminal = toc({"show", small_}, true);
    EXPECT_EQ(terminal.code, 0);
    EXPECT_NE(terminal.out.find("\x1b[32m[x]\x1b[0m"), std::string::npos) << terminal.out;
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

    // Every other kind has the common keys and exactly its own.
    const char* const common[] = {"path",    "name",        "kind",   "object_type", "depth",           "marked",
                                  "marking", "orientation", "header", "footer",      "settings_changed"};
    for (const auto& [path, kind, own] : std::vector<std::tuple<std::string, std::string, json>>{
             {"||Design Flow", "folder", json::object()},
             {"||Design Flow||Flow Summary", "summary", json::object()},
             {"||Design Flow||Timing||Slack Histogram", "chart", {{"chart_type", 1}}},
             {"||Design Flow||Timing||Timing Margins", "gauges", {{"percentages", {true, true, false}}}},
             {"||Design Flow||Messages||Warnings", "text", {{"html", true}}},
             {"||Design Flow||Floorplan", "embedded", {{"embedded_type", 1}, {"info", "floorplan.png, 1600 x 1200"}}},
         }) {
        json rest = section_at(tree, path);
        EXPECT_EQ(rest.at("kind"), kind) << path;
        for (const char* key : common) EXPECT_EQ(rest.erase(key), 1u) << path << " lacks " << key;
        EXPECT_EQ(rest, own) << path;
    }
    // A freshly built chart counts as changed; the report's chart type 2
    // gave way above to the absent settings' type 1.
    EXPECT_EQ(section_at(tree, "||Design Flow||Timing||Slack Histogram").at("settings_changed"), true);
    EXPECT_FALSE(rpltest::file_exists(db_.file("design_flow@compilation.rplset")));  // show writes nothing
}

TEST_F(RplTocCli, FindNextAndPrevPrintTheSectionOrExitOne) {
    const std::string c1 =
        "path:          ||R||F||C1\nname:          C1\nkind:          chart (object type 5)\ndepth:         2\n"
        "marked:        yes (subtree: all)\norientation:   1\nheader:        \nfooter:        \n"
        "chart type:    1\nsettings:      changed\n";
    // Paths match exactly; next and prev step over folders. "" : nothing found.
    for (const auto& [command, path, out] : std::vector<std::tuple<std::string, std::string, std::string>>{
             {"find", "||R||F||C1", c1},         {"find", "R||F||C1", ""},         {"find", "||r||F||C1", ""},
             {"find", "||R||F||C1||", ""},       {"next", "||R", "||R||T1\n"},     {"next", "||R||F", "||R||F||C1\n"},
             {"next", "||R||F||C1", "||R||X1\n"}, {"next", "||R||X1", ""},         {"next", "||r||T1", ""},
             {"prev", "||R||X1", "||R||F||C1\n"}, {"prev", "||R||F||C1", "||R||T1\n"}, {"prev", "||R||T1", ""}}) {
        SCOPED_TRACE(command + " " + path);
        Result r = toc({command, small_, path});
        EXPECT_EQ(r.code, out.empty() ? 1 : 0);
        EXPECT_EQ(r.out, out);
        EXPECT_EQ(r.err, "");
    }
    // find --json prints exactly the section that show --json lists.
    json section = section_at(toc_json({"show", small_}), "||R||F||C1");
    section.insert(section.begin(), {"format", 1});
    EXPECT_EQ(toc_json({"find", small_, "||R||F||C1"}), section);
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
    EXPECT_EQ(section_at(marked, "||R||F||G").at("marked"), false);
    EXPECT_EQ(settings(),
              "[||R]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||R||F]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||R||F||C1]\nCHART_TYPE=0\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||R||F||G]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");
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

TEST_F(RplTocCli, CommandsInARowShareTheDatabaseDirectory) {
    // By default the settings live beside the report file.
    std::string file = report("r.json", read_file(small_));
    ASSERT_EQ(raw({"unmark", file, "||R||X1"}).code, 0);
    json beside = json::parse(raw({"--json", "show", file}).out);
    EXPECT_EQ(section_at(beside, "||R||X1").at("marked"), false);
    EXPECT_EQ(beside.at("settings_file"), files_.file("small@timing.rplset"));
    // With --db-dir, also given after the command, they live there instead, apart from the others.
    EXPECT_EQ(section_at(json::parse(raw({"show", file, "--json", "--db-dir", db_.path()}).out), "||R||X1")["marked"],
              true);
    ASSERT_EQ(toc({"set", file, "||R||T1", "--orientation", "2"}).code, 0);
    EXPECT_EQ(section_at(toc_json({"show", file}), "||R||T1").at("orientation"), 2);
    EXPECT_EQ(section_at(json::parse(raw({"--json", "show", file}).out), "||R||T1").at("orientation"), 1);
}

// A settings file that exists but cannot be read is never overwritten; the
// commands work on the defaults. Run as "nobody", since root reads anything.
TEST_F(RplTocCli, AnUnreadableSettingsFileIsLeftUnchanged) {
    for (const TempDir* dir : {&db_, &files_, &scratch_}) ASSERT_EQ(chmod(dir->path().c_str(), 0777), 0);
    const std::string old_text = "[||R||X1]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n";
    rpltest::write_file(db_.file("small@timing.rplset"), old_text);
    ASSERT_EQ(chmod(db_.file("small@timing.rplset").c_str(), 0222), 0);
    std::string out = files_.file("out.txt");
    EXPECT_EQ(rpltest::run_as_nobody([&] {
                  return toc({"mark", small_, "||R"}).code == 0 &&
                         toc({"set", small_, "||R||T1", "--orientation", "2"}).code == 0 &&
                         toc({"export", small_, "--text", out}).code == 0;
              }),
              0);
    EXPECT_EQ(settings(), old_text);
    EXPECT_NE(read_file(out).find("1.3 X1  [text]"), std::string::npos) << "X1 is marked by default";
}

TEST_F(RplTocCli, DebugTracesShowOnlyWithDebug) {
    std::string odd = RPL_EXAMPLES_DIR "/odd_cases.json";  // null children and unknown object types
    EXPECT_EQ(toc({"show", odd}).err, "");
    Result r = toc({"--debug", "show", odd});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.err,
              "debug: Eeeeeek! The RDB object was NULL\n"
              "debug: Unhandled RDB Object type: 2\n"
              "debug: Unhandled RDB Object type: 42\n"
              "debug: Unhandled RDB Object type: -1\n"
              "debug: Eeeeeek! The RDB object was NULL\n");
}

TEST_F(RplTocCli, ExportWritesTheMarkedSectionsAsTextAndAsOneHtmlPage) {
    std::string file = report("h.json", R"({"name": "h", "root": {"type": 1, "name": "Top", "children": [
        {"type": 3, "name": "<b>&amp;", "header": "a \"quoted\" head"},
        {"type": 1, "name": "Sub", "children": [{"type": 5, "name": "Chart"}, {"type": 7, "name": "Hidden"}]},
        {"type": 4, "name": "Kept", "columns": 2}]}})");
    ASSERT_EQ(toc({"unmark", file, "||Top||Sub||Hidden"}).code, 0);
    ASSERT_EQ(toc({"set", file, "||Top||Kept", "--orientation", "2"}).code, 0);
    std::string text = files_.file("h.txt"), page = files_.file("h.html");
    Result r = toc({"export", file, "--text", text});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "info: Writing Report file " + text + "\n");
    EXPECT_EQ(read_file(text),
              "Report \"h\", type 0 (generic)\n"
              "5 sections marked for output, in reading order.\n"
              "\n1 Top  [folder]\n"
              "\n  1.1 <b>&amp;  [text]\n      header: a \"quoted\" head\n      HTML: no\n"
              "\n  1.2 Sub  [folder]\n"
              "\n    1.2.1 Chart  [chart]\n          chart type: 1\n"
              "\n  1.3 Kept  [table]\n      orientation: 2\n      columns: 2\n      row test failed: no\n");

    EXPECT_EQ(toc({"export", file, "--html", page}).err, "info: Writing Report file " + page + "\n");
    std::string html = read_file(page);
    EXPECT_EQ(html.rfind("<!DOCTYPE html>", 0), 0u);
    EXPECT_NE(html.find("&lt;b&gt;&amp;amp;"), std::string::npos);
    EXPECT_NE(html.find("a &quot;quoted&quot; head"), std::string::npos);
    // Unmarked sections stay out, and the page fetches nothing from elsewhere.
    for (const char* absent : {"<b>", "Hidden", "src=", "<link", "@import", "http:", "https:"})
        EXPECT_EQ(html.find(absent), std::string::npos) << absent;
    // Every entry of the table of contents leads to a section of the page.
    std::regex link("href=\"#([^\"]+)\"");
    std::set<std::string> targets;
    for (auto it = std::sregex_iterator(html.begin(), html.end(), link); it != std::sregex_iterator(); ++it)
        targets.insert((*it)[1]);
    EXPECT_EQ(targets, (std::set<std::string>{"contents", "s-1", "s-1-1", "s-1-2", "s-1-2-1", "s-1-3"}));
    for (const std::string& id : targets) EXPECT_NE(html.find("id=\"" + id + "\""), std::string::npos) << id;

    std::string lost = files_.file("no/such/dir/r.txt");
    Result refused = toc({"export", file, "--text", lost});
    EXPECT_EQ(refused.code, 2);
    EXPECT_EQ(refused.err, "info: Can't open Text-Format or HTML-Format Report File " + lost +
                               "\nrpl-toc: error: cannot open report file '" + lost +
                               "' for writing: No such file or directory\n");
}

// A picture of the exported page in headless Chromium, where it is
// installed. The screenshot stays in the test's working directory for a
// person to look at.
TEST_F(RplTocCli, ExportedHtmlRendersInChromium) {
    const char* chromium = "/usr/bin/chromium";
    if (access(chromium, X_OK) != 0) GTEST_SKIP() << "no " << chromium << ": the screenshot check needs Chromium";
    ASSERT_EQ(toc({"unmark", flow_, "||Design Flow||Resources"}).code, 0);
    std::string page = files_.file("design_flow.html"), png = "rpl_toc_export.png";
    ASSERT_EQ(toc({"export", flow_, "--html", page}).code, 0);
    TempDir profile;
    std::remove(png.c_str());
    Result r = spawn({"/usr/bin/timeout", "120", chromium, "--headless", "--no-sandbox", "--disable-gpu",
                      "--disable-quic", "--no-first-run", "--disable-background-networking",
                      "--disable-component-update", "--disable-sync", "--user-data-dir=" + profile.path(),
                      "--screenshot=" + png, "--window-size=1200,900", "file://" + page},
                     scratch_.path());
    ASSERT_EQ(r.code, 0) << r.err;
    std::string image = read_file(png);
    ASSERT_GT(image.size(), 24u);
    EXPECT_EQ(image.substr(0, 8), "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(image.substr(16, 8), std::string("\0\0\x04\xb0\0\0\x03\x84", 8)) << "1200 x 900";
    // A blank page compresses to a few kilobytes; the rendered report does not.
    EXPECT_GT(image.size(), 30000u);
}

}  // namespace
