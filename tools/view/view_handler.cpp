#include "tools/view/view_handler.h"

#include <cctype>
#include <cstdint>
#include <chrono>
#include <exception>
#include <thread>
#include <utility>

#include "tools/view/view_api.h"
#include "tools/view/view_web.h"
#include "tools/core/embedded_files.h"

namespace rpl_toc {
namespace {

// The page may load its own files and talk to its own server, and nothing
// else: no inline script, no other origin, no framing. A preview's columns
// and gauges take their widths from style attributes, which carry no
// script; style elements stay forbidden.
const char* const kPagePolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; style-src-attr 'unsafe-inline'; img-src 'self' data:; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

// What an endpoint may use beside the session.
struct ApiContext {
    Activity& activity;
    EventHub& events;
};

struct Endpoint {
    const char* path;
    const char* method;
    HttpResponse (*run)(Session& session, const HttpRequest& request, ApiContext& context);
    bool needs_library = true;  // false: answered at once, without the library's lock
};

HttpResponse events_ticket(EventHub& events) {
    std::string ticket = events.new_ticket();
    if (ticket.empty()) return error_response(500, "The system's random source cannot be read.");
    return json_response(200, json_document({{"ticket", ticket}}));
}

// The stream itself is the server's: the answer only says it may begin.
HttpResponse event_stream(EventHub& events, const HttpArguments& arguments) {
    if (!events.redeem(argument_value(arguments, "ticket").value_or("")))
        return error_response(401, "The event stream needs a fresh ticket from POST /api/events/ticket.");
    HttpResponse response;
    response.headers.emplace_back("Content-Type", "text/event-stream; charset=utf-8");
    response.event_stream = true;
    return response;
}

const Endpoint kEndpoints[] = {
    {"/api/toc", "GET", [](Session& s, const HttpRequest&, ApiContext&) { return api_toc(s); }},
    {"/api/section", "GET", [](Session& s, const HttpRequest& r, ApiContext&) { return api_section(s, r.arguments); }},
    {"/api/next", "GET", [](Session& s, const HttpRequest& r, ApiContext&) { return api_step(s, r.arguments, true); }},
    {"/api/prev", "GET", [](Session& s, const HttpRequest& r, ApiContext&) { return api_step(s, r.arguments, false); }},
    {"/api/mark", "POST", [](Session& s, const HttpRequest& r, ApiContext& c) { return api_mark(s, r.body, c.activity, c.events); }},
    {"/api/set", "POST", [](Session& s, const HttpRequest& r, ApiContext& c) { return api_set(s, r.body, c.activity, c.events); }},
    {"/api/settings", "GET", [](Session& s, const HttpRequest&, ApiContext&) { return api_settings(s); }},
    {"/api/progress", "GET", [](Session& s, const HttpRequest&, ApiContext& c) { return api_progress(s, c.activity); }, false},
    {"/api/reload", "POST", [](Session& s, const HttpRequest&, ApiContext&) { return api_reload(s); }},
    {"/api/export.html", "GET", [](Session& s, const HttpRequest&, ApiContext&) { return api_export(s, ReportFormat::html); }},
    {"/api/export.txt", "GET", [](Session& s, const HttpRequest&, ApiContext&) { return api_export(s, ReportFormat::text); }},
    {"/api/preview", "POST", [](Session& s, const HttpRequest& r, ApiContext&) { return api_preview(s, r.body); }},
    {"/api/events/ticket", "POST", [](Session&, const HttpRequest&, ApiContext& c) { return events_ticket(c.events); }, false},
    {kEventStreamPath, "GET", [](Session&, const HttpRequest& r, ApiContext& c) { return event_stream(c.events, r.arguments); }, false},
};

const Endpoint* find_endpoint(const std::string& path) {
    for (const Endpoint& endpoint : kEndpoints)
        if (path == endpoint.path) return &endpoint;
    return nullptr;
}

std::string lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// HEAD asks what GET would answer.
bool is_get(const std::string& method) { return method == "GET" || method == "HEAD"; }

bool json_content(const HttpRequest& request) {
    std::string type = lower(header_value(request.headers, "Content-Type").value_or(""));
    type = type.substr(0, type.find(';'));
    while (!type.empty() && (type.back() == ' ' || type.back() == '\t')) type.pop_back();
    return type == "application/json";
}

const char* media_type(const std::string& name) {
    auto ends_with = [&](const char* suffix) {
        std::string s(suffix);
        return name.size() >= s.size() && name.compare(name.size() - s.size(), s.size(), s) == 0;
    };
    if (ends_with(".html")) return "text/html; charset=utf-8";
    if (ends_with(".css")) return "text/css; charset=utf-8";
    if (ends_with(".js")) return "text/javascript; charset=utf-8";
    if (ends_with(".svg")) return "image/svg+xml";
    return "application/octet-stream";
}

HttpResponse web_file(const EmbeddedFile& file) {
    HttpResponse response;
    response.body = file.text();
    response.headers.emplace_back("Content-Type", media_type(file.name));
    response.headers.emplace_back("Content-Security-Policy", kPagePolicy);
    return response;
}

// The presented sections' style sheet is the report writer's own, so the
// preview looks as the export does.
const char* const kPresentationStyle = "presentation.css";

HttpResponse method_not_allowed(const char* allowed) {
    HttpResponse response = error_response(405, std::string("This address answers ") + allowed + " only.");
    response.headers.emplace_back("Allow", std::string(allowed) == "GET" ? "GET, HEAD" : allowed);
    return response;
}

// A request that two parties could read in two ways: a proxy or a browser
// may take the first Host, Origin or length and this server another.
// Nullopt when there is no such doubt.
std::optional<std::string> ambiguous_shape(const HttpHeaders& headers) {
    for (const char* name : {"Host", "Origin", "Content-Length", "Transfer-Encoding", "X-RPL-Token"})
        if (header_count(headers, name) > 1) return std::string("A request may have one ") + name + " header only.";
    if (header_count(headers, "Content-Length") && header_count(headers, "Transfer-Encoding"))
        return std::string("A request may not have both Content-Length and Transfer-Encoding.");
    return std::nullopt;
}

// The body's length that Content-Length declares, 0 when none does; a
// length past what a size can hold counts as the largest.
std::size_t declared_length(const HttpHeaders& headers) {
    std::string text = header_value(headers, "Content-Length").value_or("");
    std::size_t length = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return length;
        if (length > (SIZE_MAX - 9) / 10) return SIZE_MAX;
        length = length * 10 + static_cast<std::size_t>(c - '0');
    }
    return length;
}

HttpResponse presentation_style(const HttpRequest& request) {
    if (!is_get(request.method)) return method_not_allowed("GET");
    HttpResponse response;
    response.body = style_text(kPresentationStyle);
    response.headers.emplace_back("Content-Type", media_type(kPresentationStyle));
    response.headers.emplace_back("Content-Security-Policy", kPagePolicy);
    return response;
}

}  // namespace

ViewHandler::ViewHandler(Session& session, std::string token, int port)
    : m_session(session), m_token(std::move(token)), m_port(port), m_live(session, m_library, m_activity, m_events) {}

HttpResponse ViewHandler::handle(const HttpRequest& request) {
    HttpResponse response;
    try {
        std::optional<HttpResponse> refusal = refuse_head(request);
        response = refusal ? *refusal : route(request);
    } catch (const std::exception& e) {
        response = error_response(500, std::string("The viewer failed on this request: ") + e.what());
    }
    // Answers are the library's state at one moment: never reuse them.
    response.headers.emplace_back("Cache-Control", "no-store");
    response.headers.emplace_back("X-Content-Type-Options", "nosniff");
    response.headers.emplace_back("Referrer-Policy", "no-referrer");
    response.headers.emplace_back("X-Frame-Options", "DENY");
    if (closes_connection(response.status)) response.headers.emplace_back("Connection", "close");
    return response;
}

std::unique_ptr<FileWatcher> ViewHandler::watch_settings_file() {
    LiveUpdates& live = m_live;
    FileWatcher::Hooks hooks{[&live](std::size_t saves, std::size_t other) { live.file_changed(saves, other); },
                             [&live] { live.tick(); }, [&live] { return live.ticking(); }};
    auto watcher = std::make_unique<FileWatcher>(m_session.settings_file(), std::move(hooks), LiveUpdates::kTickEvery);
    if (!watcher->start()) return nullptr;
    FileWatcher* woken = watcher.get();
    m_activity.on_begin([woken] { woken->wake(); });
    return watcher;
}

bool ViewHandler::closes_connection(int status) { return status >= 400 && status != 503; }

std::optional<HttpResponse> ViewHandler::refuse_head(const HttpRequest& request) const {
    if (std::optional<std::string> shape = ambiguous_shape(request.headers)) return error_response(400, *shape);
    if (request.headers.size() > kMaxHeaderLines)
        return error_response(431, "A request may have at most " + std::to_string(kMaxHeaderLines) + " header lines.");
    if (!own_host(request))
        return error_response(403, "This server answers requests for 127.0.0.1:" + std::to_string(m_port) +
                                       " and localhost:" + std::to_string(m_port) + " only.");
    if (request.body.size() > kMaxRequestBodyBytes || declared_length(request.headers) > kMaxRequestBodyBytes)
        return error_response(413, "The request body is larger than 64 KiB.");
    if (request.path.compare(0, 5, "/api/") != 0) return std::nullopt;
    // An EventSource cannot send the token: its stream is opened with a
    // ticket instead, which only a request with the token gets.
    if (request.path != kEventStreamPath && !has_token(request))
        return error_response(401, "This request needs the session's token: open the address that rpl-toc view "
                                   "printed, or send the token as X-RPL-Token.");
    if (!own_origin(request)) return error_response(403, "Requests from other sites are refused.");
    return std::nullopt;
}

HttpResponse ViewHandler::route(const HttpRequest& request) {
    if (request.path.compare(0, 5, "/api/") == 0) return api(request);
    return page(request);
}

HttpResponse ViewHandler::page(const HttpRequest& request) {
    std::string name = request.path == "/" ? "index.html" : request.path.substr(request.path.empty() ? 0 : 1);
    if (name == kPresentationStyle) return presentation_style(request);
    const EmbeddedFile* file = request.path.size() > 1 && name == "index.html" ? nullptr : find_web_file(name);
    if (!file) return error_response(404, "There is nothing at this address.");
    if (!is_get(request.method)) return method_not_allowed("GET");
    return web_file(*file);
}

HttpResponse ViewHandler::api(const HttpRequest& request) {
    const Endpoint* endpoint = find_endpoint(request.path);
    if (!endpoint) return error_response(404, "There is no such request in the viewer's interface.");
    bool get = std::string(endpoint->method) == "GET";
    if (get ? !is_get(request.method) : request.method != endpoint->method) return method_not_allowed(endpoint->method);
    if (!get && !json_content(request)) return error_response(403, "A POST request must have the content type application/json.");
    ApiContext context{m_activity, m_events};
    if (!endpoint->needs_library) return endpoint->run(m_session, request, context);
    // A request never waits behind a long change: it says what holds the
    // library. Behind another short request it waits its turn.
    std::unique_lock<std::mutex> lock(m_library, std::defer_lock);
    while (!lock.try_lock()) {
        if (m_activity.state().first) {
            HttpResponse busy = error_response(503, m_activity.sentence() + ".");
            m_live.told_busy();
            busy.headers.emplace_back("Retry-After", "1");
            return busy;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return endpoint->run(m_session, request, context);
}

// Whether `value` names this server, "127.0.0.1:PORT" or "localhost:PORT"
// after `scheme`, in any letter case.
bool ViewHandler::is_own_address(const std::string& value, const std::string& scheme) const {
    std::string port = ":" + std::to_string(m_port);
    std::string address = lower(value);
    return address == scheme + "127.0.0.1" + port || address == scheme + "localhost" + port;
}

bool ViewHandler::own_host(const HttpRequest& request) const {
    std::optional<std::string> host = header_value(request.headers, "Host");
    return host && is_own_address(*host, "");
}

// No Origin is a client that is no browser, or a browser's own navigation;
// an Origin that is there names this server, and an empty one names none.
bool ViewHandler::own_origin(const HttpRequest& request) const {
    std::optional<std::string> origin = header_value(request.headers, "Origin");
    return !origin || is_own_address(*origin, "http://");
}

bool ViewHandler::has_token(const HttpRequest& request) const {
    std::optional<std::string> header = header_value(request.headers, "X-RPL-Token");
    return header_count(request.headers, "X-RPL-Token") == 1 && same_secret(*header, m_token);
}

}  // namespace rpl_toc
