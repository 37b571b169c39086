// The viewer's requests and responses as plain values, with the small
// pieces of HTTP the request handler needs: header lookup and JSON answers.
// The server (libmicrohttpd) parses the request line, the header lines and
// the query; nothing here touches a socket.
#ifndef TOOLS_VIEW_VIEW_HTTP_H
#define TOOLS_VIEW_VIEW_HTTP_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/core/toc_json.h"

namespace rpl_toc {

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;
// Query parameters, decoded, in the order sent.
using HttpArguments = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
    std::string method;
    std::string path;  // decoded; no query
    HttpArguments arguments;
    HttpHeaders headers;  // every header line, repeated names included
    std::string body;
};

struct HttpResponse {
    int status = 200;
    HttpHeaders headers;
    std::string body;
    // The answer is the event stream (GET /api/events): the server sends
    // the headers, then the hub's events as they come, and never `body`.
    bool event_stream = false;
};

// The value of the first header of that name (names compare without regard
// to case), or nullopt.
std::optional<std::string> header_value(const HttpHeaders& headers, const std::string& name);
// How many header lines have that name.
std::size_t header_count(const HttpHeaders& headers, const std::string& name);

// The value of the first query parameter of that name, or nullopt.
std::optional<std::string> argument_value(const HttpArguments& arguments, const std::string& name);

// Form decoding in place, as a page's URLSearchParams writes a query ("+"
// a space, "%XX" a byte); a "%" without two hex digits stays as it is. The
// result is never longer than the text.
std::size_t form_decode(char* text);

// A request for `target` ("/api/section?path=%7C%7CR") as the server hands
// it to the handler: the path and each query parameter form-decoded, in
// order. For callers that drive the handler without a socket (the tests,
// the fuzz harness).
HttpRequest request_for_target(const std::string& method, const std::string& target);

// `text` fit for a header value: bytes outside printable ASCII, and "%",
// as "%XX", so that a page reads it back with decodeURIComponent.
std::string header_text(const std::string& text);

// `bytes` random bytes from the system's random source as hex digits;
// nullopt when it cannot be read.
std::optional<std::string> random_hex(std::size_t bytes);

// Whether two secrets are equal, in time that depends on their lengths only.
bool same_secret(const std::string& a, const std::string& b);

// A JSON answer: the document dumped, Content-Type application/json.
HttpResponse json_response(int status, const Json& document);
// {"format": 1, "error": MESSAGE}, one sentence.
HttpResponse error_response(int status, const std::string& message);

}  // namespace rpl_toc

#endif
