#include "tools/section_info.h"

#include "tools/section_kinds.h"

namespace rpl_toc {

std::string printable(const std::string& text) {
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (char ch : text) {
        unsigned char c = static_cast<unsigned char>(ch);
        if (c >= 0x20 && c != 0x7f) {
            out += ch;
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else {
            out += "\\x";
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
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
    if (section.m_page_orientation == 2) out += ", orientation 2";
    return out;
}

}  // namespace rpl_toc
