#include "tools/view/view_http.h"

#include <cctype>

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

// Form decoding; false when a "%" is not followed by two hex digits.
bool decode_component(const std::string& text, std::string* out) {
    out->clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '+') {
            *out += ' ';
        } else if (c != '%') {
            *out += c;
        } else {
            if (i + 2 >= text.size()) return false;
            int high = hex_digit(text[i + 1]);
            int low = hex_digit(text[i + 2]);
            if (high < 0 || low < 0) return false;
            *out += static_cast<char>(high * 16 + low);
            i += 2;
        }
    }
    return true;
}

std::string trimmed(const std::string& text) {
    std::size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string::npos) return std::string();
    std::size_t end = text.find_last_not_of(" \t");
    return text.substr(begin, end - begin + 1);
}

// Calls `each` with every piece of `text` between separators.
template <class Each>
void split(const std::string& text, char separator, Each each) {
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find(separator, start);
        if (end == std::string::npos) end = text.size();
        each(text.substr(start, end - start));
        start = end + 1;
    }
}

}  // namespace

std::optional<std::string> header_value(const HttpHeaders& headers, const std::string& name) {
    for (const auto& header : headers)
        if (same_name(header.first, name)) return header.second;
    return std::nullopt;
}

std::optional<std::string> query_value(const std::string& query, const std::string& name, bool* bad) {
    std::optional<std::string> found;
    *bad = false;
    split(query, '&', [&](const std::string& pair) {
        std::size_t eq = pair.find('=');
        std::string key, value;
        bool ok = decode_component(pair.substr(0, eq), &key);
        if (eq != std::string::npos) ok = decode_component(pair.substr(eq + 1), &value) && ok;
        if (!ok) *bad = true;
        if (ok && !found && key == name) found = value;
    });
    if (*bad) return std::nullopt;
    return found;
}

std::vector<std::string> cookie_values(const std::string& cookie_header, const std::string& name) {
    std::vector<std::string> out;
    split(cookie_header, ';', [&](const std::string& pair) {
        std::size_t eq = pair.find('=');
        if (eq != std::string::npos && trimmed(pair.substr(0, eq)) == name) out.push_back(trimmed(pair.substr(eq + 1)));
    });
    return out;
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
