// The viewer's HTTP interface. Most tests hand requests straight to the
// request handler, as the server does; the last ones start `rpl-toc view`
// and talk to it over sockets, for what only the real server does: listen,
// refuse and close at the transport, hold its bounds under bad clients, and
// stop on a signal.
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <iostream>
#include <memory>
#include <mutex>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "support/file_events.h"
#include "support/rpl_toc.h"
#include "support/test_support.h"
#include "tools/core/session.h"
#include "tools/view/view_api.h"
#include "tools/view/view_handler.h"
#include "tools/view/view_refusals.h"

#ifndef RPL_TOC_BINARY
#define RPL_TOC_BINARY ""
#define RPL_EXAMPLES_DIR ""
#endif

using nlohmann::json;
using rpl_toc::HttpHeaders;
using rpl_toc::HttpRequest;
using rpl_toc::HttpResponse;
using namespace rpltest;

namespace {

constexpr int kPort = 43117;
const std::string kToken = "00112233445566778899aabbccddeeff";
const std::string kHost = "127.0.0.1:43117";
const std::string kOrigin = "http://127.0.0.1:43117";

std::string header(const HttpResponse& response, const std::string& name) {
    return rpl_toc::header_value(response.headers, name).value_or("");
}

// The method, path and query parameters of a request for `target`.
HttpRequest target_request(const std::string& method, const std::string& target) {
    return rpl_toc::request_for_target(method, target);
}

class ViewerHttp : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::string(RPL_TOC_BINARY).empty()) GTEST_SKIP() << "rpl-toc is not built";
        session_ = std::move(rpl_toc::open_session(small_, db_.path()).result());
        handler_ = std::make_unique<rpl_toc::ViewHandler>(*session_, kToken, kPort);
    }

    // A request as the viewer's page sends it; `headers` replace or add to
    // the page's own (an empty value leaves a header out).
    HttpResponse call(const std::string& method, const std::string& target, const std::string& body = "",
                      const HttpHeaders& headers = {}) {
        HttpRequest request = target_request(method, target);
        request.body = body;
        HttpHeaders all = {{"Host", kHost}, {"X-RPL-Token", kToken}};
        if (method == "POST") all.insert(all.end(), {{"Content-Type", "application/json"}, {"Origin", kOrigin}});
        for (const auto& extra : headers) {
            bool replaced = false;
            for (auto& h : all)
                if (h.first == extra.first) h.second = extra.second, replaced = true;
            if (!replaced) all.push_back(extra);
        }
        for (const auto& h : all)
            if (!h.second.empty()) request.headers.push_back(h);
        return handler_->handle(request);
    }
    json call_json(const std::string& method, const std::string& target, const std::string& body = "") {
        HttpResponse response = call(method, target, body);
        EXPECT_EQ(response.status, 200) << target << ": " << response.body;
        EXPECT_EQ(header(response, "Content-Type"), "application/json; charset=utf-8");
        return json::parse(response.body);
    }
    // What the command line prints for the same question, with the same
    // database directory.
    std::string cli(std::vector<std::string> args) {
        args.insert(args.begin(), {RPL_TOC_BINARY, "--db-dir", db_.path()});
        return spawn(args, scratch_.path()).out;
    }
    std::string settings() { return read_file(db_.file("small@timing.rplset")); }
    bool has_settings() { return file_exists(db_.file("small@timing.rplset")); }

    const std::string small_ = RPL_EXAMPLES_DIR "/small.json";  // R: T1 (3 columns), F (C1, G), X1
    TempDir db_;
    TempDir scratch_;  // the command line's stdout and stderr
    std::unique_ptr<rpl_toc::Session> session_;
    std::unique_ptr<rpl_toc::ViewHandler> handler_;
};

// Every refusal: its status, a JSON error of one sentence, and nothing
// changed on disk.
TEST_F(ViewerHttp, RefusesWhatDoesNotComeFromItsOwnPage) {
    const std::string mark = R"({"paths": ["||R||F"], "marked": false})";
    struct Case {
        const char* what;
        std::string method, target, body;
        HttpHeaders headers;
        int status;
    };
    const std::vector<Case> cases = {
        {"no token", "GET", "/api/toc", "", {{"X-RPL-Token", ""}}, 401},
        {"wrong token", "GET", "/api/toc", "", {{"X-RPL-Token", "00112233445566778899aabbccddeefe"}}, 401},
        {"short token", "GET", "/api/toc", "", {{"X-RPL-Token", "0011"}}, 401},
        {"the token in a cookie", "GET", "/api/toc", "",
         {{"X-RPL-Token", ""}, {"Cookie", "rpl_token_43117=" + kToken}}, 401},
        {"the token in the query", "GET", "/api/toc?token=" + kToken, "", {{"X-RPL-Token", ""}}, 401},
        {"a rebound name", "GET", "/api/toc", "", {{"Host", "attacker.example:43117"}}, 403},
        {"another port", "GET", "/api/toc", "", {{"Host", "127.0.0.1:80"}}, 403},
        {"no Host", "GET", "/", "", {{"Host", ""}}, 403},
        {"a foreign Origin", "POST", "/api/mark", mark, {{"Origin", "http://attacker.example"}}, 403},
        {"an empty Origin", "POST", "/api/mark", mark, {{"Origin", " "}}, 403},
        {"an opaque Origin", "POST", "/api/mark", mark, {{"Origin", "null"}}, 403},
        {"a form's content type", "POST", "/api/mark", mark, {{"Content-Type", "text/plain"}}, 403},
        {"no content type", "POST", "/api/mark", mark, {{"Content-Type", ""}}, 403},
        {"a body over 64 KiB", "POST", "/api/mark", std::string(64 * 1024 + 1, ' '), {}, 413},
        {"an unknown request", "GET", "/api/nothing", "", {}, 404},
        {"a file of the disk", "GET", "/etc/passwd", "", {}, 404},
        {"a way out of the page", "GET", "/js/../../etc/passwd", "", {}, 404},
        {"the wrong method", "GET", "/api/mark", "", {}, 405},
        {"a POST to a GET", "POST", "/api/toc", "{}", {}, 405},
        {"bad JSON", "POST", "/api/mark", "{\"paths\": [", {}, 400},
        {"not an object", "POST", "/api/mark", "[]", {}, 400},
        {"an unknown member", "POST", "/api/mark", R"({"paths": ["||R"], "marked": false, "all": 1})", {}, 400},
        {"a mark without a value", "POST", "/api/mark", R"({"paths": ["||R"]})", {}, 400},
        {"an unknown section to mark", "POST", "/api/mark", R"({"paths": ["||R||F", "||R||nope"], "marked": false})",
         {}, 404},
        {"an unknown section to show", "GET", "/api/section?path=%7C%7CR%7C%7Cnope", "", {}, 404},
        {"no path to step from", "GET", "/api/next", "", {}, 400},
        {"a column the table lacks", "POST", "/api/set", R"({"path": "||R||T1", "widths": [[3, 10]]})", {}, 400},
        {"a width that is no number", "POST", "/api/set", R"({"path": "||R||T1", "widths": [[0, "wide"]]})", {}, 400},
        {"an alignment that is no letter", "POST", "/api/set",
         R"({"path": "||R||T1", "aligns": [[0, "X"], [1, "L"], [2, "L"]]})", {}, 400},
        {"a third orientation", "POST", "/api/set", R"({"path": "||R||T1", "orientation": 3})", {}, 400},
        {"nothing to change", "POST", "/api/set", R"({"path": "||R||T1"})", {}, 400},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        HttpResponse response = call(c.method, c.target, c.body, c.headers);
        EXPECT_EQ(response.status, c.status) << response.body;
        EXPECT_EQ(header(response, "Connection"), "close");
        nlohmann::ordered_json error = nlohmann::ordered_json::parse(response.body, nullptr, false);
        ASSERT_TRUE(error.is_object()) << response.body;
        EXPECT_EQ(error.begin().key(), "format");
        EXPECT_EQ(error.value("format", 0), 1);
        std::string message = error.value("error", "");
        EXPECT_FALSE(message.empty());
        EXPECT_EQ(message.find('\n'), std::string::npos);
        EXPECT_FALSE(has_settings());
    }
    EXPECT_NE(call("POST", "/api/set", R"({"path": "||R||T1", "widths": [[3, 10]]})").body.find("no column 3"),
              std::string::npos);
}

// A request that two readers could take in two ways is refused, whichever
// of its values is the server's own.
TEST_F(ViewerHttp, RefusesARequestThatReadsTwoWays) {
    const std::string mark = R"({"paths": ["||R||F"], "marked": false})";
    const std::vector<std::pair<const char*, HttpHeaders>> cases = {
        {"two Hosts", {{"Host2", ""}}},
        {"two Origins", {{"Origin2", ""}}},
        {"two tokens", {{"X-RPL-Token2", ""}}},
        {"a length and chunks", {{"Content-Length", "38"}, {"Transfer-Encoding", "chunked"}}},
    };
    for (const auto& [what, extra] : cases) {
        SCOPED_TRACE(what);
        HttpRequest request = target_request("POST", "/api/mark");
        request.body = mark;
        request.headers = {{"Host", kHost}, {"X-RPL-Token", kToken}, {"Content-Type", "application/json"}, {"Origin", kOrigin}};
        for (const auto& h : extra) {
            if (h.first == "Host2") request.headers.emplace_back("host", "localhost:43117");
            else if (h.first == "Origin2") request.headers.emplace_back("ORIGIN", kOrigin);
            else if (h.first == "X-RPL-Token2") request.headers.emplace_back("x-rpl-token", kToken);
            else request.headers.push_back(h);
        }
        HttpResponse response = handler_->handle(request);
        EXPECT_EQ(response.status, 400) << response.body;
        EXPECT_EQ(header(response, "Connection"), "close");
        EXPECT_FALSE(has_settings());
    }
    HttpRequest many = target_request("GET", "/api/toc");
    many.headers = {{"Host", kHost}, {"X-RPL-Token", kToken}};
    for (std::size_t i = 0; i < rpl_toc::kMaxHeaderLines; ++i) many.headers.emplace_back("X-Line", "a");
    EXPECT_EQ(handler_->handle(many).status, 431);
}

TEST_F(ViewerHttp, AcceptsTheTokenAsAHeaderAndTheServersOwnNames) {
    const std::vector<std::pair<const char*, HttpHeaders>> cases = {
        {"header", {}},
        {"localhost", {{"Host", "localhost:43117"}, {"Origin", "http://localhost:43117"}}},
        {"no Origin", {{"Origin", ""}}},
        {"a charset", {{"Content-Type", "application/json; charset=utf-8"}}},
    };
    for (const auto& [what, headers] : cases) {
        SCOPED_TRACE(what);
        EXPECT_EQ(call("POST", "/api/reload", "{}", headers).status, 200);
    }
}

// The page is served to anyone who asks (it holds no data) and sets no
// cookie; a token in the query is no token.
TEST_F(ViewerHttp, ThePageSetsNoCookie) {
    for (const std::string& target : {std::string("/"), "/?token=" + kToken}) {
        SCOPED_TRACE(target);
        HttpResponse page = call("GET", target, "", {{"X-RPL-Token", ""}});
        EXPECT_EQ(page.status, 200);
        EXPECT_EQ(header(page, "Content-Type"), "text/html; charset=utf-8");
        EXPECT_NE(page.body.find("role=\"tree\""), std::string::npos);
        EXPECT_NE(header(page, "Content-Security-Policy").find("script-src 'self'"), std::string::npos);
        EXPECT_EQ(header(page, "Set-Cookie"), "");
        EXPECT_EQ(header(page, "Connection"), "");
    }
    HttpResponse script = call("GET", "/js/main.js", "", {{"X-RPL-Token", ""}});
    EXPECT_EQ(script.status, 200);
    EXPECT_EQ(header(script, "Content-Type"), "text/javascript; charset=utf-8");
    EXPECT_EQ(header(script, "Cache-Control"), "no-store");
}

// The documents are those of `rpl-toc --json`, byte for byte.
TEST_F(ViewerHttp, AnswersWhatTheCommandLinePrints) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
        {"/api/toc", {"--json", "show", small_}},
        {"/api/section?path=%7C%7CR%7C%7CF%7C%7CC1", {"--json", "find", small_, "||R||F||C1"}},
        {"/api/next?path=%7C%7CR%7C%7CT1", {"--json", "next", small_, "||R||T1"}},  // over folder F
        {"/api/prev?path=%7C%7CR%7C%7CT1", {"--json", "prev", small_, "||R||T1"}},  // none: null
        {"/api/export.txt", {"export", small_, "--text", "-"}},
        {"/api/export.html", {"export", small_, "--html", "-"}},
    };
    for (const auto& [target, args] : cases) {
        SCOPED_TRACE(target);
        HttpResponse response = call("GET", target);
        EXPECT_EQ(response.status, 200);
        EXPECT_EQ(response.body, cli(args));
    }
    EXPECT_FALSE(has_settings());
}

// The file block by block, as the library reads it: a file the library
// wrote reads back as its very bytes; one written by hand shows what the
// library makes of it; one it cannot read shows no block.
TEST_F(ViewerHttp, SettingsAnswerShowsTheFileBlockByBlockAsTheLibraryReadsIt) {
    auto joined = [](const json& settings) {
        std::string out;
        for (const json& block : settings["blocks"]) out += block["text"].get<std::string>();
        return out;
    };
    call_json("POST", "/api/mark", R"({"paths": ["||R||F"], "marked": false})");
    call_json("POST", "/api/set", R"({"path": "||R||T1", "widths": [[0, 1], [1, 2], [2, 3]], "orientation": 2})");
    json written = call_json("GET", "/api/settings");
    EXPECT_EQ(joined(written), settings());
    for (const json& block : written["blocks"]) EXPECT_EQ(block["rewritten"], false);

    write_file(db_.file("small@timing.rplset"), "junk\n[||R||X1]\nOUTPUT_SECTION=0\nOUTPUT_SECTION=1\n\n[||A]\nz=1\na=2\n");
    json by_hand = call_json("GET", "/api/settings");
    EXPECT_EQ(joined(by_hand), "[||A]\na=2\nz=1\n[||R||X1]\nOUTPUT_SECTION=0\n");  // a key's first value holds
    EXPECT_EQ(by_hand["blocks"][1]["header"], "[||R||X1]");

    std::filesystem::remove(db_.file("small@timing.rplset"));
    std::filesystem::create_directory(db_.file("small@timing.rplset"));
    EXPECT_EQ(call_json("GET", "/api/settings"), json({{"format", 1}, {"settings_file", db_.file("small@timing.rplset")},
                                                       {"exists", true}, {"readable", false}, {"whole", true},
                                                       {"blocks", json::array()}}));
}

// The answer holds the marks that the file, read back, gives.
TEST_F(ViewerHttp, MarkWritesTheSettingsFileAndAnswersTheTree) {
    EXPECT_EQ(call_json("GET", "/api/settings"), json({{"format", 1}, {"settings_file", db_.file("small@timing.rplset")},
                                                       {"exists", false}, {"readable", true}, {"whole", true},
                                                       {"blocks", json::array()}}));
    json toc = call_json("POST", "/api/mark", R"({"paths": ["||R||F"], "marked": false})");
    EXPECT_EQ(settings(), kSmallAfterUnmarkF);
    json read_back = json::parse(cli({"--json", "show", small_}));
    auto marks = [](const json& document) {
        std::vector<std::tuple<std::string, bool, int>> out;
        for (const json& s : document["sections"]) out.emplace_back(s["path"], s["marked"], s["marking"]);
        return out;
    };
    // The answer is what the change touched: F, its two sections and R.
    std::vector<std::tuple<std::string, bool, int>> touched;
    for (const auto& entry : marks(read_back))
        if (std::get<0>(entry) != "||R||T1" && std::get<0>(entry) != "||R||X1") touched.push_back(entry);
    auto sorted = [](std::vector<std::tuple<std::string, bool, int>> v) { std::sort(v.begin(), v.end()); return v; };
    EXPECT_EQ(sorted(marks(toc)), sorted(touched));
    EXPECT_EQ(toc["reloaded"], false);
    EXPECT_FALSE(toc.contains("unsaved"));
    // The blocks the change rewrote, each with the header before it in the
    // file: one request per click, a few hundred bytes, no TOC document.
    json whole = call_json("GET", "/api/settings");
    std::string file;
    std::map<std::string, json> before;  // header -> the header before it
    json previous = nullptr;
    for (const json& block : whole["blocks"]) {
        file += block["text"].get<std::string>();
        before[block["header"]] = previous;
        previous = block["header"];
    }
    EXPECT_EQ(file, kSmallAfterUnmarkF);
    EXPECT_EQ(toc["settings"]["whole"], false);
    std::set<std::string> rewritten;
    for (const json& block : toc["settings"]["blocks"]) {
        EXPECT_EQ(block["rewritten"], true);
        EXPECT_EQ(block["after"], before[block["header"]]) << block["header"];
        rewritten.insert(block["header"]);
    }
    EXPECT_EQ(rewritten, (std::set<std::string>{"[||R]", "[||R||F]", "[||R||F||C1]", "[||R||F||G]"}));
    EXPECT_EQ(toc.size(), 5u);  // format, reloaded, sections, change, settings
    EXPECT_GT(call_json("POST", "/api/mark", R"({"paths": ["||R||X1"], "marked": false})")["change"], toc["change"]);
}

// Each SECTION of a change's answer is the TOC document's, member for member.
TEST_F(ViewerHttp, AChangeAnswersTheSectionsItTouchedAsTheTocHasThem) {
    json answer = call_json("POST", "/api/set", R"({"path": "||R||F||C1", "chart_type": 2})");
    ASSERT_EQ(answer["sections"].size(), 1u);
    EXPECT_EQ(answer["sections"][0], section_at(call_json("GET", "/api/toc"), "||R||F||C1"));
    json leaf = call_json("POST", "/api/mark", R"({"paths": ["||R||F||G"], "marked": false})");
    std::vector<std::string> paths;
    for (const json& s : leaf["sections"]) paths.push_back(s["path"]);
    EXPECT_EQ(paths, (std::vector<std::string>{"||R||F||G", "||R||F", "||R"}));
    json toc = call_json("GET", "/api/toc");
    for (const json& s : leaf["sections"]) EXPECT_EQ(s, section_at(toc, s["path"]));
}

// Viewer B, built before viewer A's finished change, must not undo it:
// before its own change it sees that the file changed, builds its TOC
// again from the file and says so.
TEST_F(ViewerHttp, ALaterChangeKeepsAnotherViewersFinishedChange) {
    EXPECT_EQ(call_json("GET", "/api/progress"), json({{"format", 1}, {"busy", false}, {"outside_change", false}}));
    auto other = std::move(rpl_toc::open_session(small_, db_.path()).result());
    rpl_toc::ViewHandler a(*other, kToken, kPort);
    HttpRequest set{"POST", "/api/set", {}, {{"Host", kHost}, {"X-RPL-Token", kToken}, {"Content-Type", "application/json"}},
                    R"({"path": "||R||F||C1", "chart_type": 2, "orientation": 2})"};
    ASSERT_EQ(a.handle(set).status, 200);
    EXPECT_NE(settings().find("[||R||F||C1]\nCHART_TYPE=1\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=1\n"), std::string::npos);
    EXPECT_EQ(call_json("GET", "/api/progress")["outside_change"], true);

    json b = call_json("POST", "/api/mark", R"({"paths": ["||R||F||C1"], "marked": false})");
    EXPECT_EQ(b["reloaded"], true);
    EXPECT_EQ(b["sections"].size(), call_json("GET", "/api/toc")["sections"].size());  // every section
    EXPECT_NE(settings().find("[||R||F||C1]\nCHART_TYPE=1\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n"), std::string::npos)
        << settings();
    EXPECT_EQ(call_json("GET", "/api/progress")["outside_change"], false);  // its own save is no outside change
    EXPECT_EQ(call_json("POST", "/api/mark", R"({"paths": ["||R||X1"], "marked": false})")["reloaded"], false);
}

TEST_F(ViewerHttp, SetWritesTheColumnsAndOrientation) {
    call_json("POST", "/api/set",
              R"({"path": "||R||T1", "orientation": 2, "widths": [[0, 120], [1, 80], [2, 60]],
                  "aligns": [[0, "L"], [1, "R"], [2, "L"]], "orders": [[0, 0], [1, 2], [2, 1]]})");
    EXPECT_EQ(settings(),
              "[||R||T1]\nCOLUMN_ORDER=0,2,1,\nCOLUMN_WIDTHS=120L,80R,60L,\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=1\n");
    call_json("POST", "/api/set", R"({"path": "||R||F||C1", "chart_type": 2})");
    EXPECT_NE(settings().find("[||R||F||C1]\nCHART_TYPE=1\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"), std::string::npos);
    json t1 = json::parse(call("GET", "/api/section?path=%7C%7CR%7C%7CT1").body);
    EXPECT_EQ(json({t1["widths"], t1["alignments"], t1["orientation"]}), json::parse(R"([[120, 80, 60], ["L", "R", "L"], 2])"));
}

TEST_F(ViewerHttp, ReloadShowsWhatAnotherProgramWroteToTheSettingsFile) {
    call_json("POST", "/api/mark", R"({"paths": ["||R||X1"], "marked": false})");
    write_file(db_.file("small@timing.rplset"), "[||R||X1]\nOUTPUT_SECTION=1\n[||R||T1]\nOUTPUT_SECTION=0\n");
    EXPECT_EQ(section_at(call_json("GET", "/api/toc"), "||R||X1")["marked"], false);  // not read again by itself
    json reload = call_json("POST", "/api/reload", "{}");
    EXPECT_EQ(section_at(reload["toc"], "||R||X1")["marked"], true);
    EXPECT_EQ(section_at(reload["toc"], "||R||T1")["marked"], false);
    EXPECT_EQ(reload["notice"], "Another program saved the settings file; 2 sections now show what it holds: "
                                "||R||T1, ||R||X1.");
    EXPECT_EQ(reload["settings"]["blocks"].size(), 2u);
    EXPECT_FALSE(call_json("POST", "/api/reload", "{}").contains("notice"));  // nothing new the second time
}

// The library keeps a change in memory when the file cannot be read; the
// answer says so, in its document and a header, and /api/settings shows
// no block.
TEST_F(ViewerHttp, ReportsAChangeThatWasNotSaved) {
    std::filesystem::create_directory(db_.file("small@timing.rplset"));
    HttpResponse response = call("POST", "/api/mark", R"({"paths": ["||R||X1"], "marked": false})");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(section_at(json::parse(response.body), "||R||X1")["marked"], false);
    std::string unsaved = header(response, "X-RPL-Unsaved");
    EXPECT_NE(unsaved.find("small@timing.rplset"), std::string::npos) << unsaved;
    for (char c : unsaved) EXPECT_TRUE(c >= 0x20 && c < 0x7f) << unsaved;

    EXPECT_EQ(json::parse(response.body)["unsaved"], json(db_.file("small@timing.rplset") + ": " + "Is a directory"));
    json settings = call_json("GET", "/api/settings");
    EXPECT_EQ(settings, json({{"format", 1}, {"settings_file", db_.file("small@timing.rplset")}, {"exists", true},
                              {"readable", false}, {"whole", true}, {"blocks", json::array()}}));
    EXPECT_EQ(header(call("POST", "/api/mark", R"({"paths": ["||R||X1"], "marked": true})"), "X-RPL-Unsaved"),
              unsaved);
}

// What a request that finds the library busy is told, and /api/progress.
TEST(ViewerActivity, SaysWhatHoldsTheLibraryTheSavesExpectedAndTheTimeSoFar) {
    rpl_toc::Activity activity;
    EXPECT_EQ(activity.document(), rpl_toc::Json::parse(R"({"format": 1, "busy": false})"));
    activity.begin("unmarking ||Big", 4041);
    activity.landed(41);
    EXPECT_TRUE(std::regex_match(activity.sentence(),
                                 std::regex("busy: unmarking \\|\\|Big, 41 of 4,041 saves(, [0-9]+\\.[0-9] s so far)?")))
        << activity.sentence();
    rpl_toc::Json busy = activity.document();
    EXPECT_EQ(busy["busy"], true);
    EXPECT_EQ(busy["expected_saves"], 4041);
    EXPECT_EQ(busy["saves_done"], 41);
    EXPECT_GE(busy["elapsed_ms"].get<long>(), 0);
    activity.end();
    EXPECT_EQ(activity.document()["busy"], false);
}

// ---- The server itself -------------------------------------------------------

struct Server {
    pid_t pid = -1;
    int port = 0;
    std::string token;
    std::string line;  // the first line it printed
};

// Starts `rpl-toc view` on small.json and reads the address line it prints.
Server start_view(const std::string& db, const std::vector<std::string>& extra = {},
                  const std::string& report = RPL_EXAMPLES_DIR "/small.json") {
    std::vector<std::string> argv = {RPL_TOC_BINARY, "--db-dir", db, "view", report, "--no-open"};
    argv.insert(argv.end(), extra.begin(), extra.end());
    int out[2];
    if (pipe2(out, O_CLOEXEC) != 0) return {};
    Server server;
    server.pid = start_process(argv, {}, out[1], out[1]);
    close(out[1]);
    char c;
    while (read(out[0], &c, 1) == 1 && c != '\n') server.line += c;
    close(out[0]);
    std::smatch match;
    if (std::regex_match(server.line, match,
                         std::regex("rpl-toc: viewing .* at http://127\\.0\\.0\\.1:([0-9]+)/#token=([0-9a-f]{32})"))) {
        server.port = std::stoi(match[1]);
        server.token = match[2];
    }
    return server;
}

int wait_exit(pid_t pid) {
    int status = 0;
    for (int i = 0; i < 200; ++i) {
        if (waitpid(pid, &status, WNOHANG) == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    return -1;
}

// The status of an answer, 0 for none; a refusal must be in the interface's
// JSON form.
int status_of(const httplib::Result& answer) {
    if (!answer) return 0;
    json body = json::parse(answer->body, nullptr, false);
    EXPECT_TRUE(answer->status < 400 || (body.is_object() && body.value("format", 0) == 1)) << answer->body;
    return answer->status;
}

class ViewerServer : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::string(RPL_TOC_BINARY).empty()) GTEST_SKIP() << "rpl-toc is not built";
        signal(SIGPIPE, SIG_IGN);  // a write to a connection the server closed must fail, not end the test
    }
    Server start() {
        Server server = start_view(db_.path());
        EXPECT_GT(server.port, 0) << server.line;
        return server;
    }
    TempDir db_;
};

// What the transport refuses before the handler sees it still answers in
// the interface's form, and the server serves on until a signal.
TEST_F(ViewerServer, RefusesAtTheTransportServesOnAndEndsCleanlyOnASignal) {
    for (int signal : {SIGINT, SIGTERM}) {
        SCOPED_TRACE(signal);
        Server server = start();
        const std::string port = std::to_string(server.port);
        httplib::Client client("127.0.0.1", server.port);
        const httplib::Headers token = {{"X-RPL-Token", server.token}};
        EXPECT_EQ(status_of(client.Get("/api/toc", {{"X-RPL-Token", server.token}, {"Host", "rebound.example:" + port}})),
                  403);
        EXPECT_EQ(status_of(client.Get("/a%0Ab")), 404);
        auto toc = client.Get("/api/toc", token);
        ASSERT_EQ(status_of(toc), 200);
        EXPECT_EQ(json::parse(toc->body)["report"], "small");
        kill(server.pid, signal);
        EXPECT_EQ(wait_exit(server.pid), 0);
    }
}

TEST_F(ViewerServer, APortInUseIsOneErrorLine) {
    Server first = start();
    Server second = start_view(db_.path(), {"--port", std::to_string(first.port)});
    EXPECT_EQ(wait_exit(second.pid), 2);
    EXPECT_EQ(second.line, "rpl-toc: error: cannot listen on 127.0.0.1:" + std::to_string(first.port) +
                               " (the port is in use or not allowed)");
    kill(first.pid, SIGTERM);
    EXPECT_EQ(wait_exit(first.pid), 0);
}

// ---- Under load --------------------------------------------------------------

// A section named again in one mark is written once: the same saves as
// naming it once, and the list's length is capped.
TEST_F(ViewerHttp, AMarkTakesEachPathOnceAndCapsTheirNumber) {
    FileEvents events(db_.file("small@timing.rplset"));
    ASSERT_TRUE(events.ok());
    call_json("POST", "/api/mark", R"({"paths": ["||R||F"], "marked": false})");
    const int once = events.take().saves;
    call_json("POST", "/api/mark", R"({"paths": ["||R||F", "||R||F", "||R||F"], "marked": true})");
    EXPECT_EQ(events.take().saves, once);

    auto listing = [](std::size_t count) {
        json request = {{"paths", json::array()}, {"marked", false}};
        for (std::size_t i = 0; i < count; ++i) request["paths"].push_back("||R");
        return request.dump();
    };
    EXPECT_EQ(call("POST", "/api/mark", listing(rpl_toc::kMaxMarkPaths)).status, 200);
    HttpResponse over = call("POST", "/api/mark", listing(rpl_toc::kMaxMarkPaths + 1));
    EXPECT_EQ(over.status, 413);
    EXPECT_EQ(json::parse(over.body)["error"], "\"paths\" lists 10001 paths; one mark takes at most 10000.");
}

// A connection to the server that sends what a client library would not:
// any bytes, one at a time, or requests that read two ways.
class RawClient {
public:
    explicit RawClient(int port) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected_ = fd_ >= 0 && connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    ~RawClient() {
        if (fd_ >= 0) close(fd_);
    }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    bool connected() const { return connected_; }
    bool send_text(const std::string& text) {
        return connected_ && send(fd_, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    }
    // The next byte of a request whose header lines never end.
    void send_byte() {
        static const std::string request = "GET /api/toc HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ";
        char byte = sent_ < request.size() ? request[sent_] : 'a';
        if (send(fd_, &byte, 1, MSG_NOSIGNAL) == 1) ++sent_;
    }
    // What the server sends until it closes the connection, or until
    // `wait` has passed (then `closed` is false).
    std::string read_all(std::chrono::milliseconds wait, bool* closed) {
        const auto until = std::chrono::steady_clock::now() + wait;
        std::string got;
        *closed = false;
        for (;;) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
            pollfd one = {fd_, POLLIN, 0};
            if (left.count() <= 0 || poll(&one, 1, static_cast<int>(left.count())) <= 0) return got;
            char buffer[4096];
            ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
            if (n <= 0) {
                *closed = true;
                return got;
            }
            got.append(buffer, static_cast<std::size_t>(n));
        }
    }
    // Whether the server has closed the connection, waiting up to `wait`.
    bool closed_by_server(std::chrono::milliseconds wait) {
        pollfd one = {fd_, POLLIN, 0};
        if (poll(&one, 1, static_cast<int>(wait.count())) <= 0) return false;
        char byte;
        return recv(fd_, &byte, 1, MSG_DONTWAIT) <= 0;
    }

private:
    int fd_;
    bool connected_ = false;
    std::size_t sent_ = 0;
};

// The status lines in what a server sent.
std::vector<std::string> status_lines(const std::string& received) {
    std::vector<std::string> out;
    std::regex line("HTTP/1\\.1 [0-9]{3}[^\\r]*");
    for (auto it = std::sregex_iterator(received.begin(), received.end(), line); it != std::sregex_iterator(); ++it)
        out.push_back(it->str());
    return out;
}

// The server's resident memory in bytes, from /proc.
std::size_t resident_bytes(pid_t pid) {
    std::string status = read_file("/proc/" + std::to_string(pid) + "/status");
    std::smatch match;
    if (!std::regex_search(status, match, std::regex("VmRSS:\\s+([0-9]+) kB"))) return 0;
    return std::stoul(match[1]) * 1024;
}

// After any refusal the connection is closed: a request sent behind the
// refused one on the same connection is never read.
TEST_F(ViewerServer, ARefusalClosesTheConnection) {
    Server server = start();
    const std::string host = "Host: 127.0.0.1:" + std::to_string(server.port) + "\r\n";
    const std::string token = "X-RPL-Token: " + server.token + "\r\n";
    const std::string post = "POST /api/reload HTTP/1.1\r\n" + host + token + "Content-Type: application/json\r\n";
    const std::string next = "GET /api/progress HTTP/1.1\r\n" + host + token + "\r\n";
    struct Case {
        const char* what;
        std::string request;
        const char* status;  // "" for none
    };
    const std::vector<Case> cases = {
        {"no token", "GET /api/toc HTTP/1.1\r\n" + host + "\r\n", "401"},
        {"the token in a cookie", "GET /api/toc HTTP/1.1\r\n" + host + "Cookie: rpl_token=" + server.token + "\r\n\r\n", "401"},
        {"a foreign Host", "GET /api/toc HTTP/1.1\r\nHost: rebound.example\r\n" + token + "\r\n", "403"},
        {"two Hosts", "GET /api/toc HTTP/1.1\r\n" + host + host + token + "\r\n", "400"},
        {"two Origins", post + "Origin: http://127.0.0.1:" + std::to_string(server.port) + "\r\nOrigin: http://a.example\r\n"
                             "Content-Length: 2\r\n\r\n{}", "400"},
        {"an empty Origin", post + "Origin: \r\nContent-Length: 2\r\n\r\n{}", "403"},
        {"a length and chunks", post + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n", "400"},
        {"a body over 64 KiB", post + "Content-Length: 1048576\r\n\r\n{}", "413"},
        {"a request line that is no request", "GET\r\n\r\n", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        RawClient client(server.port);
        ASSERT_TRUE(client.send_text(c.request + next));
        bool closed = false;
        std::vector<std::string> answers = status_lines(client.read_all(std::chrono::seconds(10), &closed));
        EXPECT_TRUE(closed);
        if (*c.status) {
            ASSERT_EQ(answers.size(), 1u);
            EXPECT_EQ(answers[0].substr(9, 3), c.status) << answers[0];
        } else {
            EXPECT_LE(answers.size(), 1u);
            for (const std::string& answer : answers) EXPECT_EQ(answer[9], '4') << answer;
        }
    }
    RawClient good(server.port);  // and a request that is answered keeps its connection
    ASSERT_TRUE(good.send_text(next + next));
    bool closed = false;
    EXPECT_EQ(status_lines(good.read_all(std::chrono::milliseconds(500), &closed)).size(), 2u);
    EXPECT_FALSE(closed);
    kill(server.pid, SIGTERM);
    EXPECT_EQ(wait_exit(server.pid), 0);
}

// A connection carries at most 100 requests: the hundredth answer closes it.
TEST_F(ViewerServer, AConnectionCarriesAtMostAHundredRequests) {
    Server server = start();
    std::string next = "GET /api/progress HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server.port) +
                       "\r\nX-RPL-Token: " + server.token + "\r\n\r\n";
    RawClient client(server.port);
    std::string pipelined;
    for (int i = 0; i < 101; ++i) pipelined += next;
    ASSERT_TRUE(client.send_text(pipelined));
    bool closed = false;
    std::string received = client.read_all(std::chrono::seconds(10), &closed);
    EXPECT_TRUE(closed);
    EXPECT_EQ(status_lines(received).size(), 100u);
    EXPECT_NE(received.rfind("Connection: close"), std::string::npos);
    kill(server.pid, SIGTERM);
    EXPECT_EQ(wait_exit(server.pid), 0);
}

// Bad clients of two kinds, kept up from a thread of their own until
// stopped: keep-alive clients that send a tokenless request a second (and
// connect again when it is refused and closed), and slow clients that send
// the header lines of a request a byte a second (and connect again when
// cut off).
class Crowd {
public:
    Crowd(int port, int keep_alive, int slow) : port_(port) {
        for (int i = 0; i < keep_alive; ++i) knocking_.push_back(std::make_unique<RawClient>(port));
        for (int i = 0; i < slow; ++i) slow_.push_back(std::make_unique<RawClient>(port));
        thread_ = std::thread([this] { run(); });
    }
    ~Crowd() {
        {
            std::lock_guard<std::mutex> lock(lock_);
            stop_ = true;
        }
        wake_.notify_all();
        thread_.join();
    }
    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;

    // Waits until every client has sent in at least `rounds` rounds.
    bool wait_rounds(int rounds) {
        std::unique_lock<std::mutex> lock(lock_);
        return wake_.wait_for(lock, std::chrono::seconds(60), [&] { return rounds_ >= rounds; });
    }
    int connected() const { return connected_; }

private:
    void run() {
        const std::string knock = "GET /api/toc HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) + "\r\n\r\n";
        std::unique_lock<std::mutex> lock(lock_);
        while (!stop_) {
            lock.unlock();
            int connected = 0;
            for (auto& client : knocking_) {
                if (client->closed_by_server(std::chrono::milliseconds(0)) || !client->connected())
                    client = std::make_unique<RawClient>(port_);
                client->send_text(knock);
                connected += client->connected() ? 1 : 0;
            }
            for (auto& client : slow_) {
                if (client->closed_by_server(std::chrono::milliseconds(0)) || !client->connected())
                    client = std::make_unique<RawClient>(port_);
                client->send_byte();
                connected += client->connected() ? 1 : 0;
            }
            connected_ = connected;
            lock.lock();
            ++rounds_;
            wake_.notify_all();
            wake_.wait_for(lock, std::chrono::seconds(1), [this] { return stop_; });  // the attack's own rhythm
        }
    }

    const int port_;
    std::vector<std::unique_ptr<RawClient>> knocking_, slow_;
    std::mutex lock_;
    std::condition_variable wake_;
    bool stop_ = false;
    int rounds_ = 0;
    std::atomic<int> connected_{0};
    std::thread thread_;
};

// A good client's request, timed.
std::chrono::microseconds timed_request(int port, const std::string& token, int* status) {
    httplib::Client client("127.0.0.1", port);
    client.set_read_timeout(10, 0);
    auto started = std::chrono::steady_clock::now();
    *status = status_of(client.Get("/api/toc", {{"X-RPL-Token", token}}));
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - started);
}

// A thousand tokenless keep-alive clients and a thousand slow ones: a good
// client is answered all the while, never held behind them (they once held
// it for a minute). The 100 ms target is shown by make bench
// (bench/viewer_bounds.py); the bound here is loose enough for a busy
// machine and tight enough to catch a lockout.
TEST_F(ViewerServer, AGoodClientIsAnsweredAmongAThousandKeepAliveAndAThousandSlowClients) {
    Server server = start();
    std::vector<long> latencies;
    {
        Crowd crowd(server.port, 1000, 1000);
        ASSERT_TRUE(crowd.wait_rounds(2));
        EXPECT_EQ(crowd.connected(), 2000);
        for (int i = 0; i < 20; ++i) {
            int status = 0;
            latencies.push_back(timed_request(server.port, server.token, &status).count());
            EXPECT_EQ(status, 200);
            if (i % 5 == 4) crowd.wait_rounds(2 + i / 5);  // spread over the attack's rounds
        }
    }
    std::sort(latencies.begin(), latencies.end());
    std::cout << "good client among 2,000 bad ones: median " << latencies[latencies.size() / 2] / 1000.0 << " ms, worst "
              << latencies.back() / 1000.0 << " ms\n";
    EXPECT_LT(latencies[latencies.size() * 9 / 10], 5'000'000);
    kill(server.pid, SIGTERM);
    EXPECT_EQ(wait_exit(server.pid), 0);
}

// Clients dribbling the header lines of a request, a byte a second, never
// finishing: each is cut off once its connection has lived 10 s.
TEST_F(ViewerServer, SlowConnectionsAreCutOff) {
    Server server = start();
    std::vector<std::unique_ptr<RawClient>> slow;
    for (int i = 0; i < 100; ++i) {
        slow.push_back(std::make_unique<RawClient>(server.port));
        ASSERT_TRUE(slow.back()->connected());
        slow.back()->send_byte();
    }
    const auto started = std::chrono::steady_clock::now();
    const auto give_up = started + std::chrono::seconds(20);
    int cut_off = 0;
    for (auto& one : slow) {
        while (std::chrono::steady_clock::now() < give_up && !one->closed_by_server(std::chrono::milliseconds(900)))
            one->send_byte();
        cut_off += std::chrono::steady_clock::now() < give_up ? 1 : 0;
    }
    EXPECT_EQ(cut_off, 100);
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::seconds(9));  // not before their time
    kill(server.pid, SIGTERM);
    EXPECT_EQ(wait_exit(server.pid), 0);
}

// AddressSanitizer adds shadow memory and holds freed blocks in
// quarantine, so a server built with it says nothing about its own memory.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kMemoryMeasurable = false;
#else
constexpr bool kMemoryMeasurable = true;
#endif

// Connections that send header lines without end: each is refused when
// its lines pass its memory, and the server's memory stays under 100 MB
// and comes back after.
TEST_F(ViewerServer, AHeaderFloodKeepsMemoryBounded) {
    Server server = start();
    int status = 0;
    timed_request(server.port, server.token, &status);
    const std::size_t before = resident_bytes(server.pid);
    ASSERT_GT(before, 0u);
    std::size_t peak = before;
    const std::string line = "X-Flood: " + std::string(100, 'a') + "\r\n";
    std::string lines;
    for (int i = 0; i < 40; ++i) lines += line;  // 4 KiB
    std::vector<std::unique_ptr<RawClient>> flood;
    for (int i = 0; i < 1000; ++i) flood.push_back(std::make_unique<RawClient>(server.port));
    // Each connection sends 48 KiB of header lines, three times its memory.
    for (int round = 0; round < 12; ++round) {
        for (auto& client : flood) client->send_text(round == 0 ? "GET /api/toc HTTP/1.1\r\n" + lines : lines);
        peak = std::max(peak, resident_bytes(server.pid));
    }
    std::size_t refused = 0;
    for (auto& client : flood) {
        bool closed = false;
        std::vector<std::string> answers = status_lines(client->read_all(std::chrono::seconds(10), &closed));
        refused += answers.size() == 1 && answers[0].substr(9, 3) == "431" ? 1 : 0;
        peak = std::max(peak, resident_bytes(server.pid));
    }
    flood.clear();
    EXPECT_EQ(refused, 1000u);
    if (kMemoryMeasurable) {
        EXPECT_LT(peak, 100u << 20);
    }
    std::size_t after = resident_bytes(server.pid);
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (kMemoryMeasurable && after > before + (8u << 20) && std::chrono::steady_clock::now() < give_up) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the server closes the flood's connections
        after = resident_bytes(server.pid);
    }
    timed_request(server.port, server.token, &status);
    std::cout << "header flood: " << before / 1024 << " KiB before, " << peak / 1024 << " KiB at most, " << after / 1024
              << " KiB after\n";
    if (kMemoryMeasurable) {
        EXPECT_LT(after, before + (8u << 20));
    }
    EXPECT_EQ(status, 200);
    kill(server.pid, SIGTERM);
    EXPECT_EQ(wait_exit(server.pid), 0);
}

// Two hundred clients at once, each request on a connection of its own:
// every one is answered, none reset or dropped while it waits its turn.
TEST_F(ViewerServer, ABurstOfParallelRequestsIsAnsweredWhole) {
    Server server = start();
    constexpr int kClients = 200, kRequestsEach = 10;
    std::atomic<int> answered{0};
    std::vector<std::thread> clients;
    for (int i = 0; i < kClients; ++i)
        clients.emplace_back([&] {
            for (int request = 0; request < kRequestsEach; ++request) {
                httplib::Client client("127.0.0.1", server.port);
                auto answer = client.Get("/api/toc", {{"X-RPL-Token", server.token}});
                if (answer && answer->status == 200) ++answered;
            }
        });
    for (auto& client : clients) client.join();
    EXPECT_EQ(answered, kClients * kRequestsEach);
    kill(server.pid, SIGTERM);
    EXPECT_EQ(wait_exit(server.pid), 0);
}

}  // namespace

// A long change holds the library: a reading request is answered at once
// with 503 and what the viewer is busy with, /api/progress tells the same,
// and the change ends as it would have.
TEST_F(ViewerServer, ARequestDuringALongChangeIsToldThatTheViewerIsBusy) {
    std::string report = db_.file("wide.json");
    std::string children;
    for (int i = 0; i < 1500; ++i) children += std::string(i ? "," : "") + R"({"type": 3, "name": "T)" + std::to_string(i) + "\"}";
    write_file(report, R"({"name": "wide", "type": 3, "root": {"type": 1, "name": "W", "children": [)" + children + "]}}");
    Server server = start_view(db_.path(), {}, report);
    ASSERT_GT(server.port, 0) << server.line;
    httplib::Headers token = {{"X-RPL-Token", server.token}};
    httplib::Client marker("127.0.0.1", server.port), reader("127.0.0.1", server.port);
    marker.set_read_timeout(120, 0);
    int marked_status = 0;
    std::size_t marked_sections = 0;
    std::thread mark([&] {
        httplib::Result r = marker.Post("/api/mark", token, R"({"paths": ["||W"], "marked": false})", "application/json");
        marked_status = r ? r->status : 0;
        if (r && r->status == 200) marked_sections = json::parse(r->body)["sections"].size();
    });
    json progress;
    for (int i = 0; i < 400; ++i) {
        httplib::Result p = reader.Get("/api/progress", token);
        EXPECT_EQ(status_of(p), 200);
        if (!p || p->status != 200) break;
        progress = json::parse(p->body);
        if (progress["busy"] == true) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (progress.value("busy", false) != true) {
        mark.join();
        kill(server.pid, SIGTERM);
        wait_exit(server.pid);
        FAIL() << "the mark ended before it was seen";
    }
    EXPECT_EQ(progress["what"], "unmarking ||W");
    EXPECT_EQ(progress["expected_saves"], 3001);  // the root, then each text and the root again
    auto started = std::chrono::steady_clock::now();
    httplib::Result busy = reader.Get("/api/toc", token);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(1));
    if (status_of(busy) == 503) {  // unless the mark ended in between
        EXPECT_TRUE(std::regex_search(json::parse(busy->body)["error"].get<std::string>(),
                                      std::regex("^busy: unmarking \\|\\|W, ([0-9,]+ of 3,001 saves|3,001 saves expected)(, [0-9.]+ s so far)?\\.$")))
            << busy->body;
        EXPECT_EQ(busy->get_header_value("Retry-After"), "1");
    } else {
        EXPECT_EQ(status_of(busy), 200);
    }
    mark.join();
    EXPECT_EQ(marked_status, 200);
    EXPECT_EQ(marked_sections, 1501u);
    EXPECT_EQ(status_of(reader.Get("/api/toc", token)), 200);
    kill(server.pid, SIGTERM);
    EXPECT_EQ(wait_exit(server.pid), 0);
}

// A table of billions of columns: the page names the first few missing
// columns and counts the rest, as the command line does.
TEST(ViewerRefusals, AListShortOfAHugeTableNamesAFewColumnsAndCountsTheRest) {
    rpl_toc::Refusal refusal{rpl_toc::Refused::columns_missing, "||R||T"};
    refusal.setting = rpl_toc::Setting::widths;
    refusal.missing = {1, 2, 3, 4, 5};
    refusal.missing_more = 4294967289u;
    rpl_toc::HttpResponse answer = rpl_toc::refusal_response(refusal);
    EXPECT_EQ(answer.status, 400);
    EXPECT_NE(answer.body.find("give Width for columns 1, 2, 3, 4, 5 and 4,294,967,289 more too."), std::string::npos)
        << answer.body;
    refusal.missing = {1, 2};
    refusal.missing_more = 0;
    EXPECT_NE(rpl_toc::refusal_response(refusal).body.find("columns 1 and 2 too."), std::string::npos);
}
