#include "tools/core/section_info.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "tools/core/section_kinds.h"
#include "tools/core/settings_rules.h"

namespace rpl_toc {

namespace {

// The length of a UTF-8 sequence at `i` that a terminal would obey rather
// than show: a C1 control (U+0080 to U+009F, CSI among them) or a
// bidirectional override or isolate (U+202A to U+202E, U+2066 to U+2069),
// which reorders the text around it. 0 for anything else.
std::size_t steering_sequence(const std::string& text, std::size_t i) {
    auto byte = [&text](std::size_t k) { return k < text.size() ? static_cast<unsigned char>(text[k]) : 0u; };
    if (byte(i) == 0xC2 && byte(i + 1) >= 0x80 && byte(i + 1) <= 0x9F) return 2;
    if (byte(i) == 0xE2 && byte(i + 1) == 0x80 && byte(i + 2) >= 0xAA && byte(i + 2) <= 0xAE) return 3;
    if (byte(i) == 0xE2 && byte(i + 1) == 0x81 && byte(i + 2) >= 0xA6 && byte(i + 2) <= 0xA9) return 3;
    return 0;
}

// "\u202e" for the code point of a 2- or 3-byte sequence.
std::string code_point_escape(const std::string& text, std::size_t i, std::size_t length) {
    unsigned long code = length == 2 ? ((text[i] & 0x1Fu) << 6) | (text[i + 1] & 0x3Fu)
                                     : ((text[i] & 0x0Fu) << 12) | ((text[i + 1] & 0x3Fu) << 6) | (text[i + 2] & 0x3Fu);
    char out[8];
    std::snprintf(out, sizeof out, "\\u%04lx", code);
    return out;
}

// Control bytes and steering sequences as C escapes. `shell`: as the
// shell's $'...' reads them, with a backslash and a quote escaped too.
std::string escaped(const std::string& text, bool shell) {
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (std::size_t length = steering_sequence(text, i)) {
            out += code_point_escape(text, i, length);
            i += length - 1;
        } else if (shell && (c == '\\' || c == '\'')) {
            out += '\\';
            out += text[i];
        } else if (c >= 0x20 && c != 0x7f) {
            out += text[i];
        } else if (c == '\n' || c == '\t' || (shell && c == '\r')) {
            out += c == '\n' ? "\\n" : c == '\t' ? "\\t" : "\\r";
        } else {
            out += "\\x";
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

bool shell_safe(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("%+,-./:=@_^").find(c) != std::string_view::npos;
}

}  // namespace

std::string printable(const std::string& text) { return escaped(text, false); }

std::string quoted(const std::string& text) { return "'" + printable(text) + "'"; }

std::string shell_word(const std::string& text) {
    if (!text.empty() && std::all_of(text.begin(), text.end(), shell_safe)) return text;
    if (printable(text) != text) return "$'" + escaped(text, true) + "'";
    std::string out = "'";
    for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

const char* section_kind(const RPL_REPORT_SECTION& section) {
    const SectionKind* kind = kind_of(section);
    return kind ? kind->name : "section";
}

int section_depth(const RPL_REPORT_SECTION& section) {
    int depth = 0;
    for (const RPL_REPORT_SECTION* p = section.m_parent; p; p = p->m_parent) ++depth;
    return depth;
}

const char* marking_word(int marking) {
    if (marking == 2) return "all";
    if (marking == 1) return "partly";
    return "none";
}

std::vector<std::pair<std::string, std::string>> kind_values(const RPL_REPORT_SECTION& section,
                                                             bool with_empty_lists) {
    const SectionKind* kind = kind_of(section);
    return kind ? kind->values(section, with_empty_lists) : LabelledValues();
}

std::string kind_summary(const RPL_REPORT_SECTION& section) {
    const SectionKind* kind = kind_of(section);
    std::string out = kind ? kind->summary(section) : "section";
    if (section.m_page_orientation == kLandscape) out += ", orientation 2";
    return out;
}

std::string with_separators(std::size_t n) {
    std::string digits = std::to_string(n);
    for (std::size_t at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, ",");
    return digits;
}

std::string html_escape(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            case '\'': out += "&#39;"; break;
            default: out += c;
        }
    }
    return out;
}

}  // namespace rpl_toc
