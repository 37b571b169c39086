// The viewer's requests and responses as plain values, with the small
// pieces of HTTP the request handler needs: query parameters, cookies,
// header lookup and JSON answers. Nothing here touches a socket.
#ifndef TOOLS_VIEW_VIEW_HTTP_H
#define TOOLS_VIEW_VIEW_HTTP_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/core/toc_json.h"

namespace rpl_toc {

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
    std::string method;
    std::string path;   // as sent, still percent-encoded; no query
    std::string query;  // the text after "?", still percent-encoded
    HttpHeaders headers;
    std::string body;
};

struct HttpResponse {
    int status = 200;
    HttpHeaders headers;
    std::string body;
};

// The value of the first header of that name (names compare without regard
// to case), or nullopt.
std::optional<std::string> header_value(const HttpHeaders& headers, const std::string& name);

// The decoded value of the first query parameter of that name, as a page's
// URLSearchParams writes it ("+" a space, "%XX" a byte). Nullopt when the
// parameter is absent; `bad` is set when the query's encoding is broken.
std::optional<std::string> query_value(const std::string& query, const std::string& name, bool* bad);

// Every value of cookies of that name in a Cookie header, in order: a
// browser sends one cookie per name and path, a client may send several.
std::vector<std::string> cookie_values(const std::string& cookie_header, const std::string& name);

// `text` fit for a header value: bytes outside printable ASCII, and "%",
// as "%XX", so that a page reads it back with decodeURIComponent.
std::string header_text(const std::string& text);

// Whether two secrets are equal, in time that depends on their lengths only.
bool same_secret(const std::string& a, const std::string& b);

// A JSON answer: the document dumped, Content-Type application/json.
HttpResponse json_response(int status, const Json& document);
// {"format": 1, "error": MESSAGE}, one sentence.
HttpResponse error_response(int status, const std::string& message);

}  // namespace rpl_toc

#endif
