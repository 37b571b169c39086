#include "tools/report_writer.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <vector>

#include "tools/section_info.h"

namespace rpl_toc {
namespace {

// A section that goes into the file, with its number and nesting level.
struct Entry {
    const RPL_REPORT_SECTION* section;
    std::string number;
    int level;
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

std::vector<Entry> marked_entries(RPL_REPORT_TOC& toc) {
    std::vector<Entry> out;
    int count = 0;
    number_list(toc.m_children, "", 0, count, out);
    return out;
}

// Every labelled value a section has in the file, header and footer first.
std::vector<std::pair<std::string, std::string>> details(const RPL_REPORT_SECTION& section) {
    std::vector<std::pair<std::string, std::string>> out;
    if (!section.m_header.empty()) out.emplace_back("header", to_std(section.m_header));
    if (!section.m_footer.empty()) out.emplace_back("footer", to_std(section.m_footer));
    if (section.m_page_orientation != 1) out.emplace_back("orientation", std::to_string(section.m_page_orientation));
    for (auto& value : kind_values(section, false)) out.push_back(value);
    return out;
}

std::string report_title(RPL_REPORT_TOC& toc) {
    return "Report \"" + to_std(toc.m_report_name) + "\", type " + std::to_string(toc.m_report_type) + " (" +
           rdb_report_type_to_string(toc.m_report_type) + ")";
}

std::string count_line(std::size_t n) {
    if (n == 0) return "No section is marked for output.";
    return std::to_string(n) + (n == 1 ? " section" : " sections") + " marked for output, in reading order.";
}

// ---- Text ---------------------------------------------------------------------

void text_entry(std::ostream& out, const Entry& entry) {
    std::string indent(2 * static_cast<std::size_t>(entry.level), ' ');
    const RPL_REPORT_SECTION& s = *entry.section;
    out << '\n' << indent << entry.number << ' ' << printable(to_std(s.m_name)) << "  [" << section_kind(s) << "]\n";
    std::string detail_indent = indent + std::string(entry.number.size() + 1, ' ');
    for (const auto& value : details(s)) out << detail_indent << value.first << ": " << printable(value.second) << '\n';
}

std::string text_report(RPL_REPORT_TOC& toc, const std::vector<Entry>& entries) {
    std::ostringstream out;
    out << printable(report_title(toc)) << '\n' << count_line(entries.size()) << '\n';
    for (const Entry& entry : entries) text_entry(out, entry);
    return out.str();
}

// ---- HTML ---------------------------------------------------------------------

std::string html_escape(const std::string& text) {
    std::string out;
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

std::string anchor(const Entry& entry) {
    std::string out = "s-" + entry.number;
    for (char& c : out)
        if (c == '.') c = '-';
    return out;
}

const char* const kStyle = R"(
:root { --ink: #1f2933; --muted: #616e7c; --line: #d9e2ec; --accent: #2563eb; }
* { box-sizing: border-box; }
body { margin: 0; font: 15px/1.5 system-ui, sans-serif; color: var(--ink); background: #f5f7fa;
       display: grid; grid-template-columns: 320px 1fr; min-height: 100vh; }
nav { position: sticky; top: 0; height: 100vh; overflow-y: auto; padding: 20px 16px;
      background: #fff; border-right: 1px solid var(--line); }
nav h2 { font-size: 13px; text-transform: uppercase; letter-spacing: .08em; color: var(--muted); margin: 0 0 10px; }
nav ol { list-style: none; margin: 0; padding: 0; }
nav a { display: block; padding: 3px 6px 3px calc(6px + var(--level) * 16px); border-radius: 4px;
        color: var(--ink); text-decoration: none; white-space: nowrap; overflow: hidden; text-overflow: ellipsis; }
nav a:hover { background: #e8f0fe; color: var(--accent); }
main { padding: 24px 40px 80vh; max-width: 980px; }
header h1 { margin: 0 0 4px; font-size: 26px; }
header p { margin: 0 0 24px; color: var(--muted); }
section { background: #fff; border: 1px solid var(--line); border-radius: 8px; padding: 12px 18px;
          margin: 0 0 12px calc(var(--level) * 24px); scroll-margin-top: 12px; }
section:target { border-color: var(--accent); box-shadow: 0 0 0 3px #bfdbfe; }
section h2 { font-size: 17px; margin: 0 0 6px; display: flex; gap: 10px; align-items: baseline; }
.num { color: var(--muted); font-variant-numeric: tabular-nums; }
.kind { font-size: 12px; font-weight: 600; padding: 1px 8px; border-radius: 10px; background: #e4e7eb; }
.kind.folder { background: #fef3c7; } .kind.table { background: #dbeafe; } .kind.chart { background: #dcfce7; }
.kind.text { background: #f3e8ff; } .kind.gauges { background: #ffe4e6; } .kind.embedded { background: #e0f2fe; }
.kind.summary { background: #fde68a; }
.up { margin-left: auto; font-size: 12px; font-weight: normal; color: var(--muted); text-decoration: none; }
dl { display: grid; grid-template-columns: 9em 1fr; gap: 2px 16px; margin: 0; }
dt { color: var(--muted); } dd { margin: 0; }
)";

void html_nav(std::ostream& out, const std::vector<Entry>& entries) {
    out << "<nav id=\"contents\" aria-label=\"Contents\">\n<h2>Contents</h2>\n<ol>\n";
    for (const Entry& e : entries)
        out << "<li><a style=\"--level:" << e.level << "\" href=\"#" << anchor(e) << "\"><span class=\"num\">"
            << e.number << "</span> " << html_escape(to_std(e.section->m_name)) << "</a></li>\n";
    out << "</ol>\n</nav>\n";
}

void html_section(std::ostream& out, const Entry& e) {
    const char* kind = section_kind(*e.section);
    out << "<section id=\"" << anchor(e) << "\" style=\"--level:" << e.level << "\">\n<h2><span class=\"num\">"
        << e.number << "</span> " << html_escape(to_std(e.section->m_name)) << " <span class=\"kind " << kind
        << "\">" << kind << "</span><a class=\"up\" href=\"#contents\">contents</a></h2>\n<dl>\n";
    for (const auto& value : details(*e.section))
        out << "<dt>" << html_escape(value.first) << "</dt><dd>" << html_escape(value.second) << "</dd>\n";
    out << "</dl>\n</section>\n";
}

std::string html_report(RPL_REPORT_TOC& toc, const std::vector<Entry>& entries) {
    std::ostringstream out;
    std::string title = html_escape(report_title(toc));
    out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" << title
        << "</title>\n<style>" << kStyle << "</style>\n</head>\n<body>\n";
    html_nav(out, entries);
    out << "<main>\n<header><h1>" << title << "</h1><p>" << count_line(entries.size()) << "</p></header>\n";
    for (const Entry& entry : entries) html_section(out, entry);
    out << "</main>\n</body>\n</html>\n";
    return out.str();
}

void issue(MSG_I* message) {
    std::unique_ptr<MSG_I> owned(message);  // the factories hand the message to their caller
    if (owned) owned->issue();
}

}  // namespace

std::string format_report(RPL_REPORT_TOC& toc, ReportFormat format) {
    std::vector<Entry> entries = marked_entries(toc);
    return format == ReportFormat::html ? html_report(toc, entries) : text_report(toc, entries);
}

ReportWritten write_report_file(RPL_REPORT_TOC& toc, const std::string& path, ReportFormat format) {
    std::vector<Entry> entries = marked_entries(toc);
    ReportWritten written;
    written.sections = static_cast<int>(entries.size());
    written.left_out = static_cast<int>(toc.m_section_index.size() - entries.size());
    std::string content = format == ReportFormat::html ? html_report(toc, entries) : text_report(toc, entries);
    if (path == "-") {
        std::cout.write(content.data(), static_cast<std::streamsize>(content.size()));
        std::cout.flush();
        if (!std::cout) written.error = "cannot write the report to standard output";
        return written;
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) {
        std::string reason = std::strerror(errno);
        issue(MSG_RPL::I::REPORT_FILE_NOT_OPENED(path.c_str()));
        written.error = "cannot open report file '" + path + "' for writing: " + reason;
        return written;
    }
    issue(MSG_RPL::I::WRITE_REPORT_FILE(path.c_str()));
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    if (!out) written.error = "cannot write report file '" + path + "'";
    return written;
}

}  // namespace rpl_toc
