// The viewer's HTTP interface. Most tests hand requests straight to the
// request handler, as the server does; the last ones start `rpl-toc view`
// and talk to it over a socket, for what only the real server does: listen,
// refuse at the transport, and stop on a signal.
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
#include <regex>
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
        HttpRequest request;
        request.method = method;
        std::size_t question = target.find('?');
        request.path = target.substr(0, question);
        if (question != std::string::npos) request.query = target.substr(question + 1);
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
        {"token of no cookie of this port", "GET", "/api/toc", "",
         {{"X-RPL-Token", ""}, {"Cookie", "rpl_token_1=" + kToken}}, 401},
        {"wrong token in the cookie", "POST", "/api/mark", mark,
         {{"X-RPL-Token", ""}, {"Cookie", "rpl_token_43117=ffff2233445566778899aabbccddeeff"}}, 401},
        {"a rebound name", "GET", "/api/toc", "", {{"Host", "attacker.example:43117"}}, 403},
        {"another port", "GET", "/api/toc", "", {{"Host", "127.0.0.1:80"}}, 403},
        {"no Host", "GET", "/", "", {{"Host", ""}}, 403},
        {"a foreign Origin", "POST", "/api/mark", mark, {{"Origin", "http://attacker.example"}}, 403},
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
        {"a broken query", "GET", "/api/next?path=%7", "", {}, 400},
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

TEST_F(ViewerHttp, AcceptsTheTokenAsHeaderOrCookieAndTheServersOwnNames) {
    const std::vector<std::pair<const char*, HttpHeaders>> cases = {
        {"header", {}},
        {"cookie", {{"X-RPL-Token", ""}, {"Cookie", "a=b; rpl_token_43117=" + kToken + "; c=d"}}},
        {"localhost", {{"Host", "localhost:43117"}, {"Origin", "http://localhost:43117"}}},
        {"no Origin", {{"Origin", ""}}},
        {"a charset", {{"Content-Type", "application/json; charset=utf-8"}}},
    };
    for (const auto& [what, headers] : cases) {
        SCOPED_TRACE(what);
        EXPECT_EQ(call("POST", "/api/reload", "{}", headers).status, 200);
    }
}

// GET /?token= moves the token into a cookie the page's scripts cannot
// read, and takes it out of the address.
TEST_F(ViewerHttp, ThePageTradesTheTokenForACookie) {
    HttpResponse page = call("GET", "/", "", {{"X-RPL-Token", ""}});
    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(header(page, "Content-Type"), "text/html; charset=utf-8");
    EXPECT_NE(page.body.find("role=\"tree\""), std::string::npos);
    EXPECT_NE(header(page, "Content-Security-Policy").find("script-src 'self'"), std::string::npos);
    EXPECT_EQ(header(page, "Set-Cookie"), "");

    HttpResponse login = call("GET", "/?token=" + kToken, "", {{"X-RPL-Token", ""}});
    EXPECT_EQ(login.status, 303);
    EXPECT_EQ(header(login, "Location"), "/");
    EXPECT_EQ(header(login, "Set-Cookie"), "rpl_token_43117=" + kToken + "; Path=/; HttpOnly; SameSite=Strict");

    HttpResponse wrong = call("GET", "/?token=" + std::string(32, '0'), "", {{"X-RPL-Token", ""}});
    EXPECT_EQ(wrong.status, 401);
    EXPECT_EQ(header(wrong, "Set-Cookie"), "");

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
        {"/api/settings", {"--json", "settings", small_}},  // no file yet
    };
    for (const auto& [target, args] : cases) {
        SCOPED_TRACE(target);
        HttpResponse response = call("GET", target);
        EXPECT_EQ(response.status, 200);
        EXPECT_EQ(response.body, cli(args));
    }
    EXPECT_FALSE(has_settings());
}

// One document, member for member, whatever state the file is in.
TEST_F(ViewerHttp, SettingsAnswerIsTheCommandLinesDocument) {
    write_file(db_.file("small@timing.rplset"), "[||R||X1]\nOUTPUT_SECTION=0\n");
    EXPECT_EQ(call("GET", "/api/settings").body, cli({"--json", "settings", small_}));
    std::filesystem::remove(db_.file("small@timing.rplset"));
    std::filesystem::create_directory(db_.file("small@timing.rplset"));
    HttpResponse unreadable = call("GET", "/api/settings");
    EXPECT_EQ(json::parse(unreadable.body)["readable"], false);
    EXPECT_EQ(unreadable.body, cli({"--json", "settings", small_}));
}

// The answer holds the marks that the file, read back, gives.
TEST_F(ViewerHttp, MarkWritesTheSettingsFileAndAnswersTheTree) {
    EXPECT_EQ(call_json("GET", "/api/settings"), json({{"format", 1}, {"settings_file", db_.file("small@timing.rplset")},
                                                       {"exists", false}, {"readable", true}, {"content", nullptr}}));
    json toc = call_json("POST", "/api/mark", R"({"paths": ["||R||F"], "marked": false})");
    EXPECT_EQ(settings(), kSmallAfterUnmarkF);
    EXPECT_EQ(call_json("GET", "/api/settings")["content"], kSmallAfterUnmarkF);
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
    EXPECT_EQ(toc.size(), 3u);  // format, reloaded, sections: no TOC document
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
    HttpRequest set{"POST", "/api/set", "", {{"Host", kHost}, {"X-RPL-Token", kToken}, {"Content-Type", "application/json"}},
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
    json toc = call_json("POST", "/api/reload", "{}");
    EXPECT_EQ(section_at(toc, "||R||X1")["marked"], true);
    EXPECT_EQ(section_at(toc, "||R||T1")["marked"], false);
}

// The library keeps a change in memory when the file cannot be read; the
// answer says so in a header and /api/settings shows why.
TEST_F(ViewerHttp, ReportsAChangeThatWasNotSaved) {
    std::filesystem::create_directory(db_.file("small@timing.rplset"));
    HttpResponse response = call("POST", "/api/mark", R"({"paths": ["||R||X1"], "marked": false})");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(section_at(json::parse(response.body), "||R||X1")["marked"], false);
    std::string unsaved = header(response, "X-RPL-Unsaved");
    EXPECT_NE(unsaved.find("small@timing.rplset"), std::string::npos) << unsaved;
    for (char c : unsaved) EXPECT_TRUE(c >= 0x20 && c < 0x7f) << unsaved;

    json settings = call_json("GET", "/api/settings");
    EXPECT_EQ(settings, json({{"format", 1}, {"settings_file", db_.file("small@timing.rplset")}, {"exists", true},
                              {"readable", false}, {"content", nullptr}}));
    EXPECT_EQ(header(call("POST", "/api/mark", R"({"paths": ["||R||X1"], "marked": true})"), "X-RPL-Unsaved"),
              unsaved);
}

// What a request that finds the library busy is told, and /api/progress.
TEST(ViewerActivity, SaysWhatHoldsTheLibraryTheSavesExpectedAndTheTimeSoFar) {
    rpl_toc::Activity activity;
    EXPECT_EQ(activity.document(), rpl_toc::Json::parse(R"({"format": 1, "busy": false})"));
    activity.begin("unmarking ||Big", 4041);
    activity.advance(41, 4041);
    EXPECT_TRUE(std::regex_match(activity.sentence(),
                                 std::regex("busy: unmarking \\|\\|Big, 4,041 saves expected, [0-9]+\\.[0-9] s so far")))
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
                         std::regex("rpl-toc: viewing .* at http://127\\.0\\.0\\.1:([0-9]+)/\\?token=([0-9a-f]{32})"))) {
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
        const httplib::Headers page = {{"X-RPL-Token", server.token}, {"Origin", "http://127.0.0.1:" + port}};
        EXPECT_EQ(status_of(client.Post("/api/mark", page, std::string(1 << 20, ' '), "application/json")), 413);
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

// A connection to the server that sends one byte at a time.
class SlowClient {
public:
    explicit SlowClient(int port) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected_ = fd_ >= 0 && connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    ~SlowClient() {
        if (fd_ >= 0) close(fd_);
    }
    SlowClient(const SlowClient&) = delete;
    SlowClient& operator=(const SlowClient&) = delete;

    bool connected() const { return connected_; }
    // The next byte of a request whose headers never end.
    void send_byte() {
        static const std::string request = "GET /api/toc HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ";
        char byte = sent_ < request.size() ? request[sent_] : 'a';
        if (send(fd_, &byte, 1, MSG_NOSIGNAL) == 1) ++sent_;
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

// A hundred clients dribbling the headers of a request, a byte a second,
// never finishing: others are answered while they are still connected, and
// each is cut off when its request has taken too long.
TEST_F(ViewerServer, SlowConnectionsLeaveOthersServedAndAreCutOff) {
    Server server = start();
    std::vector<std::unique_ptr<SlowClient>> slow;
    for (int i = 0; i < 100; ++i) {
        slow.push_back(std::make_unique<SlowClient>(server.port));
        ASSERT_TRUE(slow.back()->connected());
        slow.back()->send_byte();
    }
    std::atomic<bool> dribbling{true};
    std::thread dribble([&] {
        while (dribbling) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            for (auto& client : slow) client->send_byte();
        }
    });

    httplib::Client client("127.0.0.1", server.port);
    client.set_read_timeout(10, 0);  // a bound on the wait, far above the answer's time
    EXPECT_EQ(status_of(client.Get("/api/toc", {{"X-RPL-Token", server.token}})), 200);
    int still_open = 0;
    for (auto& one : slow) still_open += one->closed_by_server(std::chrono::milliseconds(0)) ? 0 : 1;
    EXPECT_EQ(still_open, 100);  // answered while they held their connections

    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    int cut_off = 0;
    for (auto& one : slow) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(give_up - std::chrono::steady_clock::now());
        cut_off += one->closed_by_server(std::max(left, std::chrono::milliseconds(0))) ? 1 : 0;
    }
    EXPECT_EQ(cut_off, 100);
    dribbling = false;
    dribble.join();
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
                                      std::regex("^busy: unmarking \\|\\|W, 3,001 saves expected, [0-9.]+ s so far\\.$")))
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
    EXPECT_NE(answer.body.find("fill in the Width of columns 1, 2, 3, 4, 5 and 4,294,967,289 more too."), std::string::npos)
        << answer.body;
    refusal.missing = {1, 2};
    refusal.missing_more = 0;
    EXPECT_NE(rpl_toc::refusal_response(refusal).body.find("columns 1 and 2 too."), std::string::npos);
}
