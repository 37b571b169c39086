// Any bytes as a request to the viewer's request handler, without sockets.
// The input reads as an HTTP request: a line "METHOD TARGET", header lines
// "Name: value" (a name may repeat), an empty line and the body. Every
// answer must have a status the interface names, JSON documents must
// parse, every refusal must be {"format": 1, "error": ONE LINE} and close
// its connection, no answer sets a cookie; the handler must never fail.
// Each input starts from the same state: no settings file, a fresh TOC.
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/core/session.h"
#include "tools/view/view_handler.h"

namespace {

// A small report with every kind the page edits: a table, a chart, nested
// folders.
const char* const kReport = R"({"name": "fuzz", "type": 3, "root": {"type": 1, "name": "R", "children": [
  {"type": 4, "name": "T1", "columns": 3, "rows": 2},
  {"type": 1, "name": "F", "children": [{"type": 5, "name": "C1", "chart_type": 2}, {"type": 1, "name": "G"}]},
  {"type": 3, "name": "X1", "html": true}]}})";

constexpr int kPort = 8080;
const char* const kToken = "0123456789abcdef0123456789abcdef";

struct World {
    std::string dir;
    std::unique_ptr<rpl_toc::Session> session;
    std::unique_ptr<rpl_toc::ViewHandler> handler;
};

World* world = nullptr;

void fail(const char* what, const rpl_toc::HttpResponse& response) {
    std::fprintf(stderr, "%s: status %d, body: %s\n", what, response.status, response.body.c_str());
    std::abort();
}

std::string line_at(const std::string& text, std::size_t* position) {
    std::size_t end = text.find('\n', *position);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(*position, end - *position);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    *position = end < text.size() ? end + 1 : end;
    return line;
}

// The request as the server hands it over: the target split into a
// decoded path and decoded parameters, every header line kept, repeats too.
rpl_toc::HttpRequest parse_request(const std::string& text) {
    std::size_t position = 0;
    std::string first = line_at(text, &position);
    std::size_t space = first.find(' ');
    rpl_toc::HttpRequest request = rpl_toc::request_for_target(
        first.substr(0, space), space == std::string::npos ? "/" : first.substr(space + 1));
    while (position < text.size()) {
        std::string line = line_at(text, &position);
        if (line.empty()) break;
        std::size_t colon = line.find(':');
        std::size_t value = line.find_first_not_of(' ', colon == std::string::npos ? line.size() : colon + 1);
        request.headers.emplace_back(line.substr(0, colon), value == std::string::npos ? "" : line.substr(value));
    }
    request.body = text.substr(position);
    return request;
}

void check(const rpl_toc::HttpResponse& response) {
    static const std::set<int> statuses = {200, 400, 401, 403, 404, 405, 413, 431};
    if (!statuses.count(response.status)) fail("a status outside the interface", response);
    bool closes = rpl_toc::header_value(response.headers, "Connection") == std::optional<std::string>("close");
    if (closes != (response.status >= 400)) fail("a refusal that keeps its connection, or an answer that closes it", response);
    if (rpl_toc::header_value(response.headers, "Set-Cookie")) fail("an answer that sets a cookie", response);
    auto type = rpl_toc::header_value(response.headers, "Content-Type");
    bool is_json = type && type->rfind("application/json", 0) == 0;
    if (response.status >= 400) {
        if (!is_json) fail("a refusal that is not JSON", response);
        nlohmann::json error = nlohmann::json::parse(response.body, nullptr, false);
        if (!error.is_object() || error.value("format", 0) != 1 || !error.contains("error") ||
            !error["error"].is_string() || error["error"].get<std::string>().find('\n') != std::string::npos)
            fail("a refusal not in the interface's form", response);
    } else if (is_json && nlohmann::json::parse(response.body, nullptr, false).is_discarded()) {
        fail("a JSON answer that does not parse", response);
    }
}

void remove_world() { std::filesystem::remove_all(world->dir); }

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    world = new World;
    char pattern[] = "/tmp/rpl-fuzz-view-XXXXXX";
    if (!mkdtemp(pattern)) std::abort();
    world->dir = pattern;
    std::atexit(remove_world);
    std::string report = world->dir + "/fuzz.json";
    FILE* out = std::fopen(report.c_str(), "w");
    if (!out) std::abort();
    std::fputs(kReport, out);
    std::fclose(out);
    world->session = std::move(rpl_toc::open_session(report, world->dir).result());
    world->handler = std::make_unique<rpl_toc::ViewHandler>(*world->session, kToken, kPort);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::remove((world->dir + "/fuzz@timing.rplset").c_str());
    world->session->toc().generate_toc(true);
    std::string text(reinterpret_cast<const char*>(data), size);
    check(world->handler->handle(parse_request(text)));
    return 0;
}
