#include "tools/view/view_http.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>

namespace rpl_toc {
namespace {

bool same_name(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

std::optional<std::string> header_value(const HttpHeaders& headers, const std::string& name) {
    for (const auto& header : headers)
        if (same_name(header.first, name)) return header.second;
    return std::nullopt;
}

std::size_t header_count(const HttpHeaders& headers, const std::string& name) {
    std::size_t count = 0;
    for (const auto& header : headers) count += same_name(header.first, name) ? 1 : 0;
    return count;
}

std::optional<std::string> argument_value(const HttpArguments& arguments, const std::string& name) {
    for (const auto& argument : arguments)
        if (argument.first == name) return argument.second;
    return std::nullopt;
}

std::size_t form_decode(char* text) {
    std::size_t out = 0;
    for (std::size_t in = 0; text[in] != '\0'; ++in) {
        char c = text[in];
        int high = c == '%' ? hex_digit(text[in + 1]) : -1;
        int low = high >= 0 ? hex_digit(text[in + 2]) : -1;
        if (c == '+') {
            text[out++] = ' ';
        } else if (low >= 0) {
            text[out++] = static_cast<char>(high * 16 + low);
            in += 2;
        } else {
            text[out++] = c;
        }
    }
    text[out] = '\0';
    return out;
}

namespace {

std::string form_decoded(std::string text) {
    text.resize(form_decode(text.data()));
    return text;
}

}  // namespace

HttpRequest request_for_target(const std::string& method, const std::string& target) {
    HttpRequest request;
    request.method = method;
    std::size_t question = target.find('?');
    request.path = form_decoded(target.substr(0, question));
    std::string query = question == std::string::npos ? "" : target.substr(question + 1);
    for (std::size_t start = 0; start < query.size();) {
        std::size_t end = std::min(query.find('&', start), query.size());
        std::string pair = query.substr(start, end - start);
        std::size_t eq = pair.find('=');
        request.arguments.emplace_back(form_decoded(pair.substr(0, eq)),
                                       eq == std::string::npos ? "" : form_decoded(pair.substr(eq + 1)));
        start = end + 1;
    }
    return request;
}

std::string header_text(const std::string& text) {
    static const char hex[] = "0123456789ABCDEF";
    std::string out;
    for (char ch : text) {
        unsigned char c = static_cast<unsigned char>(ch);
        if (c >= 0x20 && c < 0x7f && c != '%') {
            out += ch;
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

namespace {

bool read_random(unsigned char* bytes, std::size_t size) {
    std::size_t got = 0;
    while (got < size) {
        ssize_t n = getrandom(bytes + got, size - got, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) break;
        got += static_cast<std::size_t>(n);
    }
    if (got == size) return true;
    int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    got = 0;
    ssize_t n = 0;
    while (got < size && (n = read(fd, bytes + got, size - got)) > 0) got += static_cast<std::size_t>(n);
    close(fd);
    return got == size;
}

}  // namespace

std::optional<std::string> random_hex(std::size_t bytes) {
    std::vector<unsigned char> random(bytes);
    if (!read_random(random.data(), bytes)) return std::nullopt;
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (unsigned char b : random) {
        out += hex[b >> 4];
        out += hex[b & 15];
    }
    return out;
}

bool same_secret(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    unsigned char difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

HttpResponse json_response(int status, const Json& document) {
    HttpResponse response;
    response.status = status;
    response.headers.emplace_back("Content-Type", "application/json; charset=utf-8");
    response.body = dump_json(document);
    return response;
}

HttpResponse error_response(int status, const std::string& message) {
    return json_response(status, json_document({{"error", message}}));
}

}  // namespace rpl_toc
