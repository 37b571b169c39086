// The command-line host rpl-toc, driven as a user drives it: every test
// spawns the built binary and looks at its exit code, its stdout and stderr,
// and the files it leaves.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/test_support.h"

using nlohmann::json;
using rpltest::file_exists;
using rpltest::read_file;
using rpltest::TempDir;
using rpltest::write_file;

namespace {

struct Result {
    int code = -1;
    std::string out;
    std::string err;
};

enum class Stdout { file, terminal };

// Child side of a spawn: stdout and stderr go where they are told, then the
// binary replaces the child.
[[noreturn]] void exec_child(const std::vector<std::string>& argv, int out_fd, int err_fd) {
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

// Runs `argv`; stdout goes to a file, or to a pseudo-terminal.
Result spawn(const std::vector<std::string>& argv, const std::string& scratch, Stdout mode) {
    std::string out_path = scratch + "/stdout", err_path = scratch + "/stderr";
    int err_fd = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int out_fd = -1, master = -1;
    if (mode == Stdout::terminal) {
        master = posix_openpt(O_RDWR | O_NOCTTY);
        grantpt(master);
        unlockpt(master);
        out_fd = open(ptsname(master), O_RDWR | O_NOCTTY);
    } else {
        out_fd = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    }
    pid_t pid = fork();
    if (pid == 0) exec_child(argv, out_fd, err_fd);
    close(out_fd);
    close(err_fd);
    Result r;
    char buffer[4096];
    ssize_t n;
    // Reads until the child closes the terminal.
    while (mode == Stdout::terminal && (n = read(master, buffer, sizeof buffer)) > 0)
        r.out.append(buffer, static_cast<std::size_t>(n));
    int status = 0;
    waitpid(pid, &status, 0);
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    if (mode == Stdout::terminal)
        close(master);
    else
        r.out = read_file(out_path);
    r.err = read_file(err_path);
    return r;
}

std::string example(const std::string& name) {
#ifdef RPL_EXAMPLES_DIR
    return std::string(RPL_EXAMPLES_DIR) + "/" + name;
#else
    return name;
#endif
}

// True when `text` is one line ending in a line feed.
bool one_line(const std::string& text) { return !text.empty() && text.find('\n') == text.size() - 1; }

std::vector<std::string> section_paths(const json& toc) {
    std::vector<std::string> out;
    for (const json& s : toc.at("sections")) out.push_back(s.at("path"));
    return out;
}

const json& section_at(const json& toc, const std::string& path) {
    for (const json& s : toc.at("sections"))
        if (s.at("path") == path) return s;
    static const json none;
    ADD_FAILURE() << "no section " << path;
    return none;
}

constexpr const char* kSmall = "small.json";  // R: T1, F (C1, G), X1; report "small", type 3
constexpr const char* kDesignFlow = "design_flow.json";

class RplTocCli : public ::testing::Test {
protected:
    void SetUp() override {
#ifndef RPL_TOC_BINARY
        GTEST_SKIP() << "rpl-toc is not built (RPL_BUILD_TOOLS is off)";
#endif
    }

    // rpl-toc with exactly these arguments.
    Result raw(std::vector<std::string> args, Stdout mode = Stdout::file) {
#ifdef RPL_TOC_BINARY
        args.insert(args.begin(), RPL_TOC_BINARY);
#endif
        return spawn(args, scratch_.path(), mode);
    }
    // rpl-toc with the scratch database directory in front.
    Result toc(std::vector<std::string> args, Stdout mode = Stdout::file) {
        args.insert(args.begin(), {"--db-dir", db_.path()});
        return raw(args, mode);
    }
    json toc_json(std::vector<std::string> args) {
        args.insert(args.begin(), "--json");
        Result r = toc(args);
        EXPECT_EQ(r.code, 0) << r.err;
        return json::parse(r.out);
    }
    std::string report(const std::string& name, const std::string& text) {
        std::string path = files_.file(name);
        write_file(path, text);
        return path;
    }
    std::string settings(const std::string& key) { return read_file(db_.file(key + ".rplset")); }

    TempDir db_;       // the database directory of most tests
    TempDir files_;    // report files and report output
    TempDir scratch_;  // the spawned process's stdout and stderr
};

// ---- Help, version, usage errors -------------------------------------------------

TEST_F(RplTocCli, HelpAndVersionPrintOnStdoutAndSucceed) {
    struct Case {
        std::vector<std::string> args;
        std::string expect;
    };
    for (const Case& c : std::vector<Case>{{{"--help"}, "Usage: rpl-toc [OPTIONS] SUBCOMMAND"},
                                           {{"find", "--help"}, "Usage: rpl-toc find [OPTIONS] REPORT PATH"},
                                           {{"unmark", "--help"}, "REPORT PATH..."},
                                           {{"set", "--help"}, "--align I=L|R"},
                                           {{"export", "--help"}, "--html FILE"}}) {
        Result r = raw(c.args);
        EXPECT_EQ(r.code, 0) << c.args[0];
        EXPECT_NE(r.out.find(c.expect), std::string::npos) << c.args[0] << "\n" << r.out;
        EXPECT_EQ(r.err, "");
    }
    EXPECT_TRUE(std::regex_match(raw({"--version"}).out, std::regex("rpl-toc [0-9]+\\.[0-9]+\\.[0-9]+\n")));
}

TEST_F(RplTocCli, BadUsageIsOneErrorLineAndExitTwo) {
    std::string small = example(kSmall);
    struct Case {
        std::vector<std::string> args;
        std::string says;
    };
    for (const Case& c : std::vector<Case>{
             {{}, "A subcommand is required"},
             {{"frob", small}, "unknown command 'frob'"},
             {{"--frob", "show", small}, "--frob"},
             {{"show"}, "REPORT is required"},
             {{"show", small, "extra"}, "extra"},
             {{"find", small}, "PATH is required"},
             {{"mark", small}, "PATH is required"},
             {{"set", small, "||R||T1", "--orientation", "3"}, "--orientation"},
             {{"set", small, "||R||F||C1", "--chart-type", "two"}, "--chart-type"},
             {{"set", small, "||R||T1", "--width", "0=1", "1=2"}, "1=2"},
             {{"export", small}, "exactly one of --text FILE and --html FILE"},
             {{"export", small, "--text", "a", "--html", "b"}, "exactly one of --text FILE and --html FILE"},
             {{"--db-dir", "/no/such/dir", "show", small}, "database directory '/no/such/dir'"},
         }) {
        Result r = raw(c.args);
        std::string what = c.args.empty() ? "(none)" : c.args[0];
        EXPECT_EQ(r.code, 2) << what;
        EXPECT_EQ(r.out, "") << what;
        EXPECT_TRUE(one_line(r.err)) << r.err;
        EXPECT_EQ(r.err.rfind("rpl-toc: error: ", 0), 0u) << r.err;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
    }
}

TEST_F(RplTocCli, GlobalOptionsWorkBeforeAndAfterTheCommand) {
    Result before = raw({"--json", "--db-dir", db_.path(), "show", example(kSmall)});
    Result after = raw({"show", example(kSmall), "--json", "--db-dir", db_.path()});
    EXPECT_EQ(before.code, 0) << before.err;
    EXPECT_EQ(before.out, after.out);
    EXPECT_EQ(json::parse(after.out).at("settings_file"), db_.file("small@timing.rplset"));
}

// ---- Bad report files ------------------------------------------------------------------

TEST_F(RplTocCli, BadReportFilesNameThePlaceOfTheFault) {
    auto deep = [](int folders) {
        std::string text = "{\"root\":";
        for (int i = 0; i < folders; ++i) text += "{\"type\":1,\"children\":[";
        for (int i = 0; i < folders; ++i) text += "]}";
        return text + "}";
    };
    struct Case {
        std::string text;
        std::string error;
    };
    for (const Case& c : std::vector<Case>{
             {"{\"root\": {\"type\": 1, \"children\": [{\"type\": 4}, null, {\"type\": 4, \"columns\": -1}]}}",
              "/root/children/2/columns: expected an integer >= 0"},
             {"{\"root\": {\"type\": 1, \"children\": [{\"type\": 4, \"columns\": \"5\"}]}}",
              "/root/children/0/columns: expected an integer >= 0"},
             {"{\"root\": {\"type\": 1, \"children\": [{\"type\": 4, \"columns\": 2.5}]}}",
              "/root/children/0/columns: expected an integer >= 0"},
             {"{\"root\": {\"type\": 1, \"children\": [{\"type\": 4, \"columns\": 4294967296}]}}",
              "/root/children/0/columns: expected an integer <= 4294967295"},
             {"{\"root\": {\"type\": 1, \"children\": [{\"name\": \"no type\"}]}}", "/root/children/0: missing \"type\""},
             {"{\"root\": {\"type\": 1, \"children\": [{\"type\": 3, \"colour\": 1}]}}",
              "/root/children/0/colour: unknown field"},
             {"{\"root\": {\"type\": 1, \"children\": [{\"type\": 3, \"a/b~\": 1}]}}",
              "/root/children/0/a~1b~0: unknown field"},
             {"{\"root\": {\"type\": 3, \"a\\nb\": 1}}", "/root/a\\nb: unknown field"},
             {"{\"root\": {\"type\": 3, \"columns\": 1}}", "/root/columns: not a field of an object of type 3"},
             {"{\"root\": {\"type\": 1, \"children\": [7]}}", "/root/children/0: expected an object or null"},
             {"{\"root\": {\"type\": 1, \"children\": {}}}", "/root/children: expected an array"},
             {"{\"root\": {\"type\": 1, \"link\": 1}}", "/root/link: expected true or false"},
             {"{\"root\": {\"type\": 1, \"name\": 5}}", "/root/name: expected a string"},
             {"{\"root\": {\"type\": \"1\"}}", "/root/type: expected an integer"},
             {"{\"root\": {\"type\": 9, \"gauges\": [true, 0]}}", "/root/gauges/1: expected true or false"},
             {"{\"root\": {\"type\": 4, \"row_test\": true}}", "/root/row_test: expected an array of true and false"},
             {"{\"type\": 2147483648}", "/type: expected an integer <= 2147483647"},
             {"{\"root\": 1}", "/root: expected an object or null"},
             {"{\"colour\": 1}", "/colour: unknown field"},
             {"[]", "top level: expected a JSON object"},
             {"", "invalid JSON at line 1, column 1: "},
             {"{\"name\": \"x\",\n \"type\": tru}", "invalid JSON at line 2, column 13: "},
             {deep(1002), "line 1, column 22031: nesting too deep: rpl-toc reads folders at most 1000 levels below "
                          "the main folder"},
         }) {
        std::string file = report("bad.json", c.text);
        Result r = toc({"show", file});
        EXPECT_EQ(r.code, 2) << c.text.substr(0, 80);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err.rfind("rpl-toc: error: " + file + ": " + c.error, 0), 0u) << r.err;
        EXPECT_TRUE(one_line(r.err)) << r.err;
    }
    Result deepest = toc({"show", report("deep.json", deep(1001))});  // 1000 levels below the main folder
    EXPECT_EQ(deepest.code, 0) << deepest.err;
}

TEST_F(RplTocCli, UnreadableReportFilesAreErrors) {
    for (const std::string& path : {files_.file("absent.json"), files_.path()}) {
        Result r = toc({"show", path});
        EXPECT_EQ(r.code, 2);
        EXPECT_EQ(r.err.rfind("rpl-toc: error: cannot read report file '" + path + "'", 0), 0u) << r.err;
    }
}

// ---- show ----------------------------------------------------------------------------------

TEST_F(RplTocCli, ShowPrintsATreeWithMarksNamesAndKinds) {
    ASSERT_EQ(toc({"unmark", example(kSmall), "||R||F||G"}).code, 0);
    Result r = toc({"show", example(kSmall)});
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
    EXPECT_NE(toc({"show", "--paths", example(kSmall)}).out.find("│   └── [ ] ||R||F||G"), std::string::npos);
}

TEST_F(RplTocCli, ShowColoursOnlyOnATerminal) {
    EXPECT_EQ(toc({"show", example(kSmall)}).out.find("\x1b["), std::string::npos);
    Result terminal = toc({"show", example(kSmall)}, Stdout::terminal);
    EXPECT_EQ(terminal.code, 0);
    EXPECT_NE(terminal.out.find("\x1b[32m[x]\x1b[0m"), std::string::npos) << terminal.out;
}

TEST_F(RplTocCli, ShowJsonHoldsEverySectionInIndexOrderWithItsKindsValues) {
    json tree = toc_json({"show", example(kDesignFlow)});
    EXPECT_EQ(tree.at("report"), "design_flow");
    EXPECT_EQ(tree.at("type"), 1);
    EXPECT_EQ(tree.at("settings_file"), db_.file("design_flow@compilation.rplset"));
    std::vector<std::string> paths = section_paths(tree);
    ASSERT_EQ(paths.size(), 20u);
    EXPECT_EQ(paths[0], "||Design Flow");
    EXPECT_EQ(paths[2], "||Design Flow||Timing");
    EXPECT_EQ(paths[3], "||Design Flow||Timing||Setup Slack");
    EXPECT_EQ(paths[19], "||Design Flow||Power||Power Trend");

    const std::set<std::string> common{"path",   "name",   "kind",   "object_type", "depth",           "marked",
                                       "marking", "orientation", "header", "footer", "settings_changed"};
    struct Case {
        std::string path;
        std::string kind;
        json values;  // the kind's own fields, exactly
    };
    for (const Case& c : std::vector<Case>{
             {"||Design Flow", "folder", json::object()},
             {"||Design Flow||Flow Summary", "summary", json::object()},
             {"||Design Flow||Timing||Hold Slack", "table",
              {{"columns", 5}, {"widths", json::array()}, {"alignments", json::array()}, {"order", json::array()},
               {"row_test_failed", false}}},
             {"||Design Flow||Timing||Slack Histogram", "chart", {{"chart_type", 1}}},
             {"||Design Flow||Timing||Timing Margins", "gauges", {{"percentages", {true, true, false}}}},
             {"||Design Flow||Messages||Warnings", "text", {{"html", true}}},
             {"||Design Flow||Messages||Information", "text", {{"html", false}}},
             {"||Design Flow||Floorplan", "embedded", {{"embedded_type", 1}, {"info", "floorplan.png, 1600 x 1200"}}},
         }) {
        const json& s = section_at(tree, c.path);
        EXPECT_EQ(s.at("kind"), c.kind) << c.path;
        std::set<std::string> keys;
        for (auto it = s.begin(); it != s.end(); ++it) keys.insert(it.key());
        std::set<std::string> expected = common;
        for (auto it = c.values.begin(); it != c.values.end(); ++it) {
            expected.insert(it.key());
            EXPECT_EQ(s.at(it.key()), it.value()) << c.path << " " << it.key();
        }
        EXPECT_EQ(keys, expected) << c.path;
    }
    const json& slack = section_at(tree, "||Design Flow||Timing||Setup Slack");
    EXPECT_EQ(slack, json::parse(R"json({"path": "||Design Flow||Timing||Setup Slack", "name": "Setup Slack",
        "kind": "table", "object_type": 4, "depth": 2, "marked": true, "marking": 2, "orientation": 1,
        "header": "Worst setup slack per clock domain (ns)", "footer": "Negative slack is a violation",
        "settings_changed": false, "columns": 5, "widths": [], "alignments": [], "order": [],
        "row_test_failed": true})json"));
    // A freshly built chart counts as changed; its report's chart type 2
    // gives way to the absent settings' type 1.
    EXPECT_EQ(section_at(tree, "||Design Flow||Timing||Slack Histogram").at("settings_changed"), true);
    EXPECT_FALSE(file_exists(db_.file("design_flow@compilation.rplset")));
}

TEST_F(RplTocCli, OddReportsBuildAsTheLibraryDefines) {
    json tree = toc_json({"show", example("odd_cases.json")});
    std::vector<std::string> paths = section_paths(tree);
    EXPECT_EQ(paths, (std::vector<std::string>{
                         "||Odd Cases", "||Odd Cases||Twin", "||Odd Cases||Twin", "||Odd Cases||",
                         "||Odd Cases||Empty Folder", "||Odd Cases||Empty Names", "||Odd Cases||Empty Names||",
                         "||Odd Cases||Empty Names||No Gauges", "||Odd Cases||No Columns", "||Odd Cases||One Row",
                         "||Odd Cases||Summary Without Default Name", "||Odd Cases||Unknown Embedded",
                         "||Odd Cases||Chart Type Zero", "||Odd Cases||Link With Nothing"}));
    EXPECT_EQ(section_at(tree, "||Odd Cases||No Columns").at("row_test_failed"), true);
    EXPECT_EQ(section_at(tree, "||Odd Cases||One Row").at("row_test_failed"), false);  // row 0 is never asked
    EXPECT_EQ(section_at(tree, "||Odd Cases||Summary Without Default Name").at("name"), "Summary Without Default Name");
    // Of two sections with one path, lookup finds the first.
    json twin = toc_json({"find", example("odd_cases.json"), "||Odd Cases||Twin"});
    EXPECT_EQ(twin.at("columns"), 2);
}

TEST_F(RplTocCli, AReportWithoutAMainFolderHasNoSections) {
    std::string file = report("empty.json", "{\"name\": \"e\", \"type\": 2}");
    Result show = toc({"show", file});
    EXPECT_EQ(show.code, 0);
    EXPECT_EQ(show.out, "report \"e\", type 2 (synthesis), 0 sections\n(no sections: the report has no main folder)\n");
    EXPECT_EQ(toc_json({"show", file}).at("sections"), json::array());
    EXPECT_EQ(toc({"next", file, "||x"}).code, 1);
    EXPECT_EQ(toc({"mark", file, "||x"}).code, 2);
}

// ---- find, next, prev ------------------------------------------------------------------------

TEST_F(RplTocCli, FindPrintsTheSectionWithExactlyThatPath) {
    Result found = toc({"find", example(kSmall), "||R||F||C1"});
    EXPECT_EQ(found.code, 0);
    EXPECT_NE(found.out.find("kind:          chart (object type 5)\n"), std::string::npos) << found.out;
    EXPECT_EQ(toc_json({"find", example(kSmall), "||R||F||C1"}).at("path"), "||R||F||C1");
    for (const char* missing : {"R||F||C1", "||r||F||C1", "||R||F||C1 ", "||R||F||C1||", ""}) {
        Result r = toc({"find", example(kSmall), missing});
        EXPECT_EQ(r.code, 1) << missing;
        EXPECT_EQ(r.out, "") << missing;
        EXPECT_EQ(r.err, "") << missing;
    }
}

TEST_F(RplTocCli, NextAndPrevStepOverFolders) {
    struct Case {
        const char* command;
        const char* from;
        const char* to;  // "" : nothing, exit 1
    };
    for (const Case& c : std::vector<Case>{{"next", "||R", "||R||T1"},
                                           {"next", "||R||T1", "||R||F||C1"},
                                           {"next", "||R||F", "||R||F||C1"},
                                           {"next", "||R||F||C1", "||R||X1"},
                                           {"next", "||R||F||G", "||R||X1"},
                                           {"next", "||R||X1", ""},
                                           {"next", "||r||T1", ""},
                                           {"prev", "||R||X1", "||R||F||C1"},
                                           {"prev", "||R||F||C1", "||R||T1"},
                                           {"prev", "||R||T1", ""},
                                           {"prev", "||R", ""}}) {
        Result r = toc({c.command, example(kSmall), c.from});
        std::string to = c.to;
        EXPECT_EQ(r.code, to.empty() ? 1 : 0) << c.command << " " << c.from;
        EXPECT_EQ(r.out, to.empty() ? "" : to + "\n") << c.command << " " << c.from;
        EXPECT_EQ(r.err, "");
    }
}

// ---- mark, unmark, set, settings ----------------------------------------------------------

const char* const kAfterUnmarkF =
    "[||R]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
    "[||R||F]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
    "[||R||F||C1]\nCHART_TYPE=0\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
    "[||R||F||G]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n";

TEST_F(RplTocCli, MarkAndUnmarkWriteThroughToTheSettingsFile) {
    Result unmark = toc({"unmark", example(kSmall), "||R||F"});
    EXPECT_EQ(unmark.code, 0) << unmark.err;
    EXPECT_EQ(unmark.out, "||R||F  unmarked (subtree: none)\n");
    EXPECT_EQ(settings("small@timing"), kAfterUnmarkF);

    json marked = toc_json({"mark", example(kSmall), "||R||F||C1"});
    EXPECT_EQ(section_at(marked, "||R||F").at("marking"), 1);
    EXPECT_EQ(section_at(marked, "||R||F||G").at("marked"), false);
    EXPECT_EQ(section_at(marked, "||R").at("marking"), 1);
    EXPECT_EQ(settings("small@timing"),
              "[||R]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||R||F]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||R||F||C1]\nCHART_TYPE=0\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||R||F||G]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");

    // Paths apply in the order given: the last word on ||R||T1 wins.
    json both = toc_json({"unmark", example(kSmall), "||R", "||R||T1"});
    EXPECT_EQ(section_at(both, "||R").at("marking"), 0);
}

TEST_F(RplTocCli, SetChangesLayoutAndSavesOnce) {
    json table = toc_json({"set", example(kSmall), "||R||T1", "--orientation", "2", "--width", "0=120", "--width",
                           "1=80", "--width", "2=60", "--align", "1=R", "--order", "0=0", "--order", "1=2", "--order",
                           "2=1"});
    const json& t1 = section_at(table, "||R||T1");
    EXPECT_EQ(t1.at("orientation"), 2);
    EXPECT_EQ(t1.at("widths"), json({120, 80, 60}));
    EXPECT_EQ(t1.at("alignments"), json({"L", "R"}));  // as stored: not padded to the columns
    EXPECT_EQ(t1.at("order"), json({0, 2, 1}));
    EXPECT_EQ(t1.at("settings_changed"), true);

    json chart = toc_json({"set", example(kSmall), "||R||F||C1", "--chart-type", "2"});
    EXPECT_EQ(section_at(chart, "||R||F||C1").at("chart_type"), 2);
    EXPECT_EQ(settings("small@timing"),
              "[||R||F||C1]\nCHART_TYPE=1\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||R||T1]\nCOLUMN_ORDER=0,2,1,\nCOLUMN_WIDTHS=120L,80R,60L,\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=1\n");

    // The next run reads it all back.
    json again = toc_json({"show", example(kSmall)});
    EXPECT_EQ(section_at(again, "||R||T1").at("widths"), json({120, 80, 60}));
    EXPECT_EQ(section_at(again, "||R||T1").at("alignments"), json({"L", "R", "L"}));
    EXPECT_EQ(section_at(again, "||R||T1").at("orientation"), 2);
    EXPECT_EQ(section_at(again, "||R||F||C1").at("chart_type"), 2);
}

TEST_F(RplTocCli, SetWithAShortWidthListLeavesTheStoredWidths) {
    json t = toc_json({"set", example(kSmall), "||R||T1", "--width", "1=50"});
    EXPECT_EQ(section_at(t, "||R||T1").at("widths"), json({0, 50}));
    EXPECT_EQ(settings("small@timing"), "[||R||T1]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n");
}

TEST_F(RplTocCli, RefusedCommandsWriteNothing) {
    std::string small = example(kSmall);
    ASSERT_EQ(toc({"unmark", small, "||R||F"}).code, 0);
    struct Case {
        std::vector<std::string> args;
        std::string error;
    };
    for (const Case& c : std::vector<Case>{
             {{"mark", small, "||R||F", "||R||nope"}, "no section with the path '||R||nope'"},
             {{"unmark", small, "||R||T1", "R||X1"}, "no section with the path 'R||X1'"},
             {{"set", small, "||R||nope", "--orientation", "2"}, "no section with the path '||R||nope'"},
             {{"set", small, "||R||T1", "--orientation", "2", "--align", "0=X"}, "--align '0=X': the alignment must be L or R"},
             {{"set", small, "||R||T1", "--align", "1=l"}, "the alignment must be L or R"},
             {{"set", small, "||R||T1", "--width", "3=10"}, "no column 3; the table has 3 columns"},
             {{"set", small, "||R||T1", "--width", "x=10"}, "expected I=W"},
             {{"set", small, "||R||T1", "--order", "0=9999999999"}, "expected I=D"},
             {{"set", small, "||R||T1", "--chart-type", "2"}, "--chart-type applies to charts only"},
             {{"set", small, "||R||F||C1", "--width", "0=1"}, "apply to tables only"},
         }) {
        Result r = toc(c.args);
        EXPECT_EQ(r.code, 2) << c.error;
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err.rfind("rpl-toc: error: ", 0), 0u);
        EXPECT_NE(r.err.find(c.error), std::string::npos) << r.err;
        EXPECT_EQ(settings("small@timing"), kAfterUnmarkF) << c.error;
    }
}

TEST_F(RplTocCli, SettingsShowsThePathAndTheContent) {
    std::string path = db_.file("small@timing.rplset");
    Result before = toc({"settings", example(kSmall)});
    EXPECT_EQ(before.code, 0);
    EXPECT_EQ(before.out, "settings file: " + path + " does not exist yet\n");
    ASSERT_EQ(toc({"unmark", example(kSmall), "||R||F"}).code, 0);
    EXPECT_EQ(toc({"settings", example(kSmall)}).out, "settings file: " + path + "\n" + kAfterUnmarkF);
    json j = toc_json({"settings", example(kSmall)});
    EXPECT_EQ(j.at("settings_file"), path);
    EXPECT_EQ(j.at("exists"), true);
    EXPECT_EQ(j.at("content"), kAfterUnmarkF);
}

TEST_F(RplTocCli, CommandsInARowShareTheDatabaseDirectory) {
    // By default the settings live beside the report file.
    std::string file = report("r.json", read_file(example(kSmall)));
    ASSERT_EQ(raw({"unmark", file, "||R||X1"}).code, 0);
    EXPECT_TRUE(file_exists(files_.file("small@timing.rplset")));
    json shown = json::parse(raw({"--json", "show", file}).out);
    EXPECT_EQ(section_at(shown, "||R||X1").at("marked"), false);
    EXPECT_EQ(shown.at("settings_file"), files_.file("small@timing.rplset"));
    // With --db-dir they live there instead, apart from the others.
    EXPECT_EQ(section_at(toc_json({"show", file}), "||R||X1").at("marked"), true);
    ASSERT_EQ(toc({"set", file, "||R||T1", "--orientation", "2"}).code, 0);
    EXPECT_EQ(section_at(toc_json({"show", file}), "||R||T1").at("orientation"), 2);
    EXPECT_EQ(section_at(shown, "||R||T1").at("orientation"), 1);
}

// ---- Messages ------------------------------------------------------------------------------

TEST_F(RplTocCli, DebugTracesShowOnlyWithDebug) {
    EXPECT_EQ(toc({"show", example("odd_cases.json")}).err, "");
    Result r = toc({"--debug", "show", example("odd_cases.json")});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.err,
              "debug: Eeeeeek! The RDB object was NULL\n"
              "debug: Unhandled RDB Object type: 2\n"
              "debug: Unhandled RDB Object type: 42\n"
              "debug: Unhandled RDB Object type: -1\n"
              "debug: Eeeeeek! The RDB object was NULL\n");
    Result unknown = toc({"--debug", "set", example(kSmall), "||R||F||C1", "--chart-type", "7"});
    EXPECT_EQ(unknown.code, 0);
    EXPECT_EQ(unknown.err, "debug: Warning: Unknown chart type.\n");
    EXPECT_EQ(toc({"set", example(kSmall), "||R||F||C1", "--chart-type", "7"}).err, "");
}

// ---- export --------------------------------------------------------------------------------

TEST_F(RplTocCli, ExportWritesTheMarkedSectionsAsText) {
    ASSERT_EQ(toc({"unmark", example(kSmall), "||R||F||G"}).code, 0);
    ASSERT_EQ(toc({"set", example(kSmall), "||R||T1", "--orientation", "2"}).code, 0);
    std::string out = files_.file("small.txt");
    Result r = toc({"export", example(kSmall), "--text", out});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "info: Writing Report file " + out + "\n");
    EXPECT_EQ(read_file(out),
              "Report \"small\", type 3 (timing)\n"
              "5 sections marked for output, in reading order.\n"
              "\n1 R  [folder]\n"
              "\n  1.1 T1  [table]\n      orientation: 2\n      columns: 3\n      row test failed: no\n"
              "\n  1.2 F  [folder]\n"
              "\n    1.2.1 C1  [chart]\n          chart type: 1\n"
              "\n  1.3 X1  [text]\n      HTML: no\n");
}

TEST_F(RplTocCli, ExportWritesOneHtmlPageWithAWorkingTableOfContents) {
    std::string file = report("html.json",
                              "{\"name\": \"h\", \"root\": {\"type\": 1, \"name\": \"Top\", \"children\": ["
                              "{\"type\": 3, \"name\": \"<b>&amp;\", \"header\": \"a \\\"quoted\\\" head\"},"
                              "{\"type\": 1, \"name\": \"Gone\", \"children\": [{\"type\": 7, \"name\": \"Hidden\"}]},"
                              "{\"type\": 4, \"name\": \"Kept\", \"columns\": 2}]}}");
    ASSERT_EQ(toc({"unmark", file, "||Top||Gone"}).code, 0);
    std::string out = files_.file("h.html");
    Result r = toc({"export", file, "--html", out});
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err, "info: Writing Report file " + out + "\n");
    std::string html = read_file(out);
    EXPECT_EQ(html.rfind("<!DOCTYPE html>", 0), 0u);
    EXPECT_NE(html.find("&lt;b&gt;&amp;amp;"), std::string::npos);
    EXPECT_NE(html.find("a &quot;quoted&quot; head"), std::string::npos);
    EXPECT_EQ(html.find("<b>"), std::string::npos);
    EXPECT_EQ(html.find("Hidden"), std::string::npos);
    EXPECT_EQ(html.find("Gone"), std::string::npos);
    // Self-contained: nothing is fetched from elsewhere.
    for (const char* outside : {"src=", "<link", "@import", "http:", "https:"})
        EXPECT_EQ(html.find(outside), std::string::npos) << outside;
    // Every entry of the table of contents leads to a section of the page.
    std::regex link("href=\"#([^\"]+)\"");
    std::set<std::string> targets;
    for (auto it = std::sregex_iterator(html.begin(), html.end(), link); it != std::sregex_iterator(); ++it)
        targets.insert((*it)[1]);
    EXPECT_EQ(targets, (std::set<std::string>{"contents", "s-1", "s-1-1", "s-1-2"}));
    for (const std::string& id : targets) EXPECT_NE(html.find("id=\"" + id + "\""), std::string::npos) << id;
}

TEST_F(RplTocCli, ExportToAFileThatCannotBeOpenedFails) {
    std::string out = files_.file("no/such/dir/r.txt");
    Result r = toc({"export", example(kSmall), "--text", out});
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(r.err, "info: Can't open Text-Format or HTML-Format Report File " + out +
                         "\nrpl-toc: error: cannot open report file '" + out +
                         "' for writing: No such file or directory\n");
}

// A picture of the exported page in headless Chromium, where it is
// installed. The screenshot stays in the test's working directory for a
// person to look at.
TEST_F(RplTocCli, ExportedHtmlRendersInChromium) {
    const char* chromium = "/usr/bin/chromium";
    if (access(chromium, X_OK) != 0) GTEST_SKIP() << "no " << chromium << ": the screenshot check needs Chromium";
    ASSERT_EQ(toc({"unmark", example(kDesignFlow), "||Design Flow||Resources"}).code, 0);
    std::string page = files_.file("design_flow.html");
    ASSERT_EQ(toc({"export", example(kDesignFlow), "--html", page}).code, 0);
    TempDir profile;
    std::string png = "rpl_toc_export.png";
    std::remove(png.c_str());
    Result r = spawn({"/usr/bin/timeout", "120", chromium, "--headless", "--no-sandbox", "--disable-gpu",
                      "--disable-quic", "--no-first-run", "--disable-background-networking",
                      "--disable-component-update", "--disable-sync", "--user-data-dir=" + profile.path(),
                      "--screenshot=" + png, "--window-size=1200,900", "file://" + page},
                     scratch_.path(), Stdout::file);
    ASSERT_EQ(r.code, 0) << r.err;
    std::string image = read_file(png);
    ASSERT_GT(image.size(), 24u);
    EXPECT_EQ(image.substr(0, 8), "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(image.substr(16, 8), std::string("\0\0\x04\xb0\0\0\x03\x84", 8)) << "1200 x 900";
    // A blank page compresses to a few kilobytes; the rendered report does not.
    EXPECT_GT(image.size(), 30000u);
}

}  // namespace
