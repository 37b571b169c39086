#include "tools/core/report_writer.h"

#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <vector>

#include "tools/core/embedded_files.h"
#include "tools/core/file_replace.h"
#include "tools/core/html_templates.h"
#include "tools/core/presentation.h"
#include "tools/core/section_contents.h"
#include "tools/core/section_info.h"
#include "tools/core/settings_rules.h"

namespace rpl_toc {
namespace {

// A section that goes into the file, with its number and nesting level.
struct Entry {
    const RPL_REPORT_SECTION* section;
    std::string number;
    int level;
};

// A section left out of the output whose parent is in it (or which has no
// parent): listing these names every unmarked section once, a folder
// standing for everything below it.
struct LeftOut {
    const RPL_REPORT_SECTION* section;
    const Entry* parent;  // the parent's entry; null for a root
    int below;            // sections below it, all left out with it or lifted
};

struct Contents {
    std::vector<Entry> entries;
    std::vector<LeftOut> left_out;
    int left_out_count = 0;  // every section not marked for output
};

void number_list(const RPL_SECTION_LIST* list, const std::string& prefix, int level, int& count,
                 std::vector<Entry>& out) {
    if (!list) return;
    for (const RPL_REPORT_SECTION* child : *list) {
        if (!child) continue;
        if (!child->m_marked_for_output) {
            // Lifted: its marked descendants continue the numbering here.
            number_list(child->m_children, prefix, level, count, out);
            continue;
        }
        std::string number = (prefix.empty() ? "" : prefix + ".") + std::to_string(++count);
        out.push_back({child, number, level});
        int child_count = 0;
        number_list(child->m_children, number, level + 1, child_count, out);
    }
}

int count_below(const RPL_REPORT_SECTION& section) {
    int n = 0;
    if (section.m_children)
        for (const RPL_REPORT_SECTION* child : *section.m_children)
            if (child) n += 1 + count_below(*child);
    return n;
}

Contents contents_of(RPL_REPORT_TOC& toc) {
    Contents out;
    int count = 0;
    number_list(toc.m_children, "", 0, count, out.entries);
    std::map<const RPL_REPORT_SECTION*, const Entry*> entry_of;
    for (const Entry& e : out.entries) entry_of[e.section] = &e;
    for (const RPL_REPORT_SECTION* s : toc.m_section_index) {
        if (s->m_marked_for_output) continue;
        ++out.left_out_count;
        if (s->m_parent && !s->m_parent->m_marked_for_output) continue;  // named by its folder's line
        auto parent = s->m_parent ? entry_of.find(s->m_parent) : entry_of.end();
        out.left_out.push_back({s, parent == entry_of.end() ? nullptr : parent->second, count_below(*s)});
    }
    return out;
}

std::string name_of(const RPL_REPORT_SECTION& section) { return printable(to_std(section.m_name)); }

// Orientation as print settings number it.
std::string orientation_name(int orientation) {
    if (orientation == kPortrait) return "portrait";
    if (orientation == kLandscape) return "landscape";
    return "orientation " + std::to_string(orientation);
}

// A folder has no contents of its own: its header and footer stand for it.
std::vector<std::pair<std::string, std::string>> folder_details(const RPL_REPORT_SECTION& section) {
    std::vector<std::pair<std::string, std::string>> out;
    if (!section.m_header.empty()) out.emplace_back("header", printable(to_std(section.m_header)));
    if (!section.m_footer.empty()) out.emplace_back("footer", printable(to_std(section.m_footer)));
    return out;
}

bool is_folder(const RPL_REPORT_SECTION& section) { return section.dynamic_cast_to_RPL_FOLDER() != nullptr; }

std::string report_title(RPL_REPORT_TOC& toc) {
    return "Report \"" + printable(to_std(toc.m_report_name)) + "\", type " + std::to_string(toc.m_report_type) + " (" +
           rdb_report_type_to_string(toc.m_report_type) + ")";
}

std::string sections(std::size_t n) { return std::to_string(n) + (n == 1 ? " section" : " sections"); }

std::string count_line(const Contents& c) {
    std::string out = c.entries.empty() ? "No section is marked for output"
                                        : sections(c.entries.size()) + " marked for output, in reading order";
    if (c.left_out_count > 0) out += "; " + std::to_string(c.left_out_count) + " left out";
    return out + ".";
}

// "Resources (folder, and the 4 sections below it)"
std::string left_out_label(const LeftOut& l) {
    std::string out = std::string(section_kind(*l.section));
    if (l.below > 0) out += ", and the " + sections(static_cast<std::size_t>(l.below)) + " below it";
    return out;
}

// ---- Text ---------------------------------------------------------------------

// A section's contents go under its title, indented as its number is;
// the page's width, less that indent, is what a text line may fill.
void text_entry(std::ostream& out, const Entry& entry, BorrowedReport& report) {
    std::string indent(2 * static_cast<std::size_t>(entry.level), ' ');
    const RPL_REPORT_SECTION& s = *entry.section;
    out << '\n' << indent << entry.number << ' ' << name_of(s) << "  [" << section_kind(s) << "]";
    if (s.m_page_orientation != 1) out << "  (" << orientation_name(s.m_page_orientation) << " page)";
    out << '\n';
    std::string body_indent = indent + std::string(entry.number.size() + 1, ' ');
    if (is_folder(s)) {
        for (const auto& value : folder_details(s)) out << body_indent << value.first << ": " << value.second << '\n';
        return;
    }
    Layout layout = layout_of(s);
    std::size_t page = page_width(layout.orientation);
    std::size_t width = page > body_indent.size() + 20 ? page - body_indent.size() : 20;
    std::string body = render_text(s, report.object_of(s), layout, width);
    for (std::size_t start = 0; start < body.size();) {
        std::size_t end = body.find('\n', start);
        if (end == std::string::npos) end = body.size();
        std::string line = body.substr(start, end - start);
        out << (line.empty() ? "" : body_indent) << line << '\n';
        start = end + 1;
    }
}

void text_left_out(std::ostream& out, const Contents& c) {
    if (c.left_out.empty()) return;
    out << "\nLeft out of the output:\n";
    for (const LeftOut& l : c.left_out) {
        out << "  " << printable(to_std(l.section->m_rdb_path)) << "  [" << left_out_label(l) << "]\n";
    }
}

std::string text_report(RPL_REPORT_TOC& toc, const Contents& c, BorrowedReport& report) {
    std::ostringstream out;
    out << report_title(toc) << '\n' << count_line(c) << '\n';
    for (const Entry& entry : c.entries) text_entry(out, entry, report);
    text_left_out(out, c);
    return out.str();
}

// ---- HTML ---------------------------------------------------------------------
// The page is templates/export.html and each section on it
// export_section.html, filled in with mustache; what goes into them is
// worked out here. A value in two braces is escaped with html_escape as it
// is filled in.

using Data = TemplateData;
using List = TemplateList;

std::string anchor(const Entry& entry) {
    std::string out = "s-" + entry.number;
    for (char& c : out)
        if (c == '.') c = '-';
    return out;
}

// A section as the contents and the left-out list link to it.
Data link_to(const Entry& e) {
    Data out;
    out.set("anchor", anchor(e));
    out.set("number", e.number);
    out.set("name", name_of(*e.section));
    out.set("level", std::to_string(e.level));
    return out;
}

Data left_out_data(const Contents& c) {
    List out;
    for (const LeftOut& l : c.left_out) {
        Data item;
        item.set("name", name_of(*l.section));
        item.set("label", left_out_label(l));
        item.set("parent", l.parent ? link_to(*l.parent) : Data(false));
        out.push_back(item);
    }
    return out;
}

// The classes of a section: a folder is a heading line, anything else a
// card; the folders of the first level after the first entry start a new
// printed page.
std::string section_classes(const Entry& e, bool first) {
    bool folder = e.section->dynamic_cast_to_RPL_FOLDER() != nullptr;
    std::string out = folder ? "folder" : "card";
    if (folder && e.level <= 1 && !first) out += " top";
    if (e.section->m_page_orientation == kLandscape) out += " landscape";
    return out;
}

// A section's heading and body, appended to `out`. A folder has no output
// of its own: its header and footer, if any, show on one line each.
void append_section(std::string& out, const Entry& e, bool first, BorrowedReport& report) {
    const RPL_REPORT_SECTION& s = *e.section;
    Data section = link_to(e);
    section.set("classes", section_classes(e, first));
    section.set("kind", section_kind(s));
    section.set("landscape", s.m_page_orientation == kLandscape);
    List details;
    if (is_folder(s)) {
        for (const auto& value : folder_details(s)) {
            Data detail;
            detail.set("label", value.first);
            detail.set("value", value.second);
            details.push_back(std::move(detail));
        }
    }
    section.set("details", details);
    append_filled(out, "export_section.html", section, "body",
                  is_folder(s) ? std::string() : render_html(s, report.object_of(s), layout_of(s)));
}

std::string html_report(RPL_REPORT_TOC& toc, const Contents& c, BorrowedReport& report) {
    Data page;
    page.set("title", report_title(toc));
    page.set("styles", style_text("export.css") + style_text("presentation.css"));
    page.set("count", count_line(c));
    List contents;
    std::string sections;
    for (std::size_t i = 0; i < c.entries.size(); ++i) {
        contents.push_back(link_to(c.entries[i]));
        append_section(sections, c.entries[i], i == 0, report);
    }
    page.set("contents", contents);
    page.set("any_left_out", !c.left_out.empty());
    page.set("left_out", left_out_data(c));
    std::string out;
    append_filled(out, "export.html", page, "sections", sections);
    return out;
}

// Issues the message and gives its text, so that a refusal can say what
// the library said.
std::string issue(MSG_I* message) {
    std::unique_ptr<MSG_I> owned(message);  // the factories hand the message to their caller
    if (!owned) return std::string();
    owned->issue();
    return owned->formatted();
}

// The report is borrowed once for the whole file and given back before
// the file is written.
std::string format(RPL_REPORT_TOC& toc, const Contents& c, ReportFormat format) {
    BorrowedReport report(toc);
    return format == ReportFormat::html ? html_report(toc, c, report) : text_report(toc, c, report);
}

// Writes `content` to standard output or to the file; the error, or empty.
// The file is replaced through a new file and a rename, as a settings file
// is saved (file_replace.h): a link of another user, a FIFO or a device in
// its place is refused in one line, and nothing waits on it.
std::string write_content(const std::string& path, const std::string& content) {
    if (path == "-") {  // no file to name: the report is the output
        std::cout.write(content.data(), static_cast<std::streamsize>(content.size()));
        std::cout.flush();
        return std::cout ? std::string() : "cannot write the report to standard output";
    }
    FileReplacement file(path);
    if (!file.error().empty()) {
        return issue(MSG_RPL::I::REPORT_FILE_NOT_OPENED(path.c_str())) + ": " + file.error();
    }
    issue(MSG_RPL::I::WRITE_REPORT_FILE(path.c_str()));
    std::string error = file.commit(content);
    if (!error.empty()) return "cannot write report file '" + printable(path) + "': " + error;
    return std::string();
}

}  // namespace

std::string format_report(RPL_REPORT_TOC& toc, ReportFormat format_wanted) {
    return format(toc, contents_of(toc), format_wanted);
}

ReportWritten write_report_file(RPL_REPORT_TOC& toc, const std::string& path, ReportFormat format_wanted) {
    Contents c = contents_of(toc);
    ReportWritten out;
    out.error = write_content(path, format(toc, c, format_wanted));
    if (out.error.empty()) {
        out.sections = static_cast<int>(c.entries.size());
        out.left_out = c.left_out_count;
    }
    return out;
}

}  // namespace rpl_toc
