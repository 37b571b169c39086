#include "tools/cli/toc_tree.h"

#include <algorithm>
#include <cwchar>
#include <string>
#include <vector>

#include "tools/core/section_info.h"

namespace rpl_toc {
namespace {

struct Row {
    std::string prefix;  // tree lines
    int marking;
    std::string label;
    std::string summary;
    bool folder;
};

// Kinds line up in one column, unless a line is so long that padding the
// others to it would not help.
constexpr std::size_t kMaxKindColumn = 64;

// Tree lines, as box-drawing characters or in plain ASCII.
struct TreeLines {
    const char* branch;
    const char* last;
    const char* through;
    const char* blank;
};
const TreeLines kBoxLines{"├── ", "└── ", "│   ", "    "};
const TreeLines kAsciiLines{"|-- ", "`-- ", "|   ", "    "};

// The code point of the UTF-8 sequence at `i`, moving `i` past it; a byte
// that starts no valid sequence is taken alone, as -1.
long next_code_point(const std::string& text, std::size_t& i) {
    unsigned char c = static_cast<unsigned char>(text[i++]);
    int more = c >= 0xF0 && c < 0xF8 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    if (c < 0x80) return c;
    if (more == 0 || i + static_cast<std::size_t>(more) > text.size()) return -1;
    long code = c & (0x3F >> more);
    for (int k = 0; k < more; ++k) {
        unsigned char next = static_cast<unsigned char>(text[i + static_cast<std::size_t>(k)]);
        if ((next & 0xC0) != 0x80) return -1;
        code = (code << 6) | (next & 0x3F);
    }
    i += static_cast<std::size_t>(more);
    return code;
}

// Terminal columns of UTF-8 text: wide characters take two, combining
// marks none; what the locale cannot tell takes one.
std::size_t width(const std::string& text) {
    std::size_t n = 0;
    for (std::size_t i = 0; i < text.size();) {
        long code = next_code_point(text, i);
        int w = code < 0 ? 1 : ::wcwidth(static_cast<wchar_t>(code));
        n += w < 0 ? 1 : static_cast<std::size_t>(w);
    }
    return n;
}

// An empty name shows as "" so that the line does not look cut off.
std::string label(const string& text) { return text.empty() ? "\"\"" : printable(to_std(text)); }

void collect(const RPL_REPORT_SECTION& section, const std::string& prefix, const std::string& lead,
             const TreeStyle& style, const TreeLines& lines, std::vector<Row>& rows) {
    rows.push_back({prefix, section.get_num_marked_for_output(),
                    label(style.paths ? section.m_rdb_path : section.m_name), kind_summary(section),
                    section.dynamic_cast_to_RPL_FOLDER() != nullptr});
    if (!section.m_children) return;
    std::size_t left = section.m_children->size();
    for (const RPL_REPORT_SECTION* child : *section.m_children) {
        bool last = --left == 0;
        if (child)
            collect(*child, lead + (last ? lines.last : lines.branch), lead + (last ? lines.blank : lines.through),
                    style, lines, rows);
    }
}

const char* mark(int marking) {
    if (marking == 2) return "[x]";
    if (marking == 1) return "[~]";
    return "[ ]";
}

std::string paint(const std::string& text, const char* code, bool colour) {
    return colour ? std::string("\x1b[") + code + "m" + text + "\x1b[0m" : text;
}

const char* mark_colour(int marking) {
    if (marking == 2) return "32";
    if (marking == 1) return "33";
    return "2";
}

void print_row(std::ostream& out, const Row& row, std::size_t kind_column, bool colour) {
    std::size_t used = width(row.prefix) + 4 + width(row.label);
    std::string gap(used < kind_column ? kind_column - used + 2 : 2, ' ');
    out << paint(row.prefix, "2", colour) << paint(mark(row.marking), mark_colour(row.marking), colour) << ' '
        << paint(row.label, row.folder ? "1" : "0", colour) << gap << paint(row.summary, "36", colour) << '\n';
}

void print_heading(std::ostream& out, RPL_REPORT_TOC& toc) {
    std::size_t n = toc.m_section_index.size();
    out << "report \"" << printable(to_std(toc.m_report_name)) << "\", type " << toc.m_report_type << " ("
        << rdb_report_type_to_string(toc.m_report_type) << "), " << n << (n == 1 ? " section" : " sections")
        << '\n';
}

}  // namespace

void print_tree(std::ostream& out, RPL_REPORT_TOC& toc, const TreeStyle& style) {
    print_heading(out, toc);
    std::vector<Row> rows;
    if (toc.m_children)
        for (const RPL_REPORT_SECTION* root : *toc.m_children)
            if (root) collect(*root, "", "", style, style.boxes ? kBoxLines : kAsciiLines, rows);
    if (rows.empty()) {
        out << "(no sections: the report has no main folder)\n";
        return;
    }
    std::size_t kind_column = 0;
    for (const Row& row : rows) {
        std::size_t used = width(row.prefix) + 4 + width(row.label);
        if (used <= kMaxKindColumn) kind_column = std::max(kind_column, used);
    }
    for (const Row& row : rows) print_row(out, row, kind_column, style.colour);
    out << paint("[x] all marked for output   [~] partly   [ ] none", "2", style.colour) << '\n';
}

}  // namespace rpl_toc
