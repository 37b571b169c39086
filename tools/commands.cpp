#include "tools/commands.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <utility>

#include "host/host.h"
#include "tools/report_json.h"
#include "tools/report_writer.h"
#include "tools/section_info.h"
#include "tools/toc_json.h"
#include "tools/toc_tree.h"

namespace rpl_toc {
namespace {

namespace fs = std::filesystem;

// Report files beyond this size are refused rather than read into memory.
constexpr std::uintmax_t kMaxReportFileBytes = 256u << 20;

std::string quoted(const std::string& text) { return "'" + printable(text) + "'"; }

std::string read_report_file(const std::string& path) {
    std::error_code ec;
    if (fs::is_directory(path, ec)) throw CommandError(kExitError, "cannot read report file " + quoted(path) + ": it is a directory");
    std::uintmax_t size = fs::file_size(path, ec);
    if (!ec && size > kMaxReportFileBytes)
        throw CommandError(kExitError, "report file " + quoted(path) + " is larger than 256 MiB");
    std::ifstream in(path, std::ios::binary);
    if (!in) throw CommandError(kExitError, "cannot read report file " + quoted(path) + ": " + std::strerror(errno));
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) throw CommandError(kExitError, "cannot read report file " + quoted(path));
    return text.str();
}

std::string database_directory(const std::string& report_file, const std::string& db_dir) {
    if (db_dir.empty()) {
        std::string parent = fs::path(report_file).parent_path().string();
        return parent.empty() ? "." : parent;
    }
    std::error_code ec;
    if (!fs::is_directory(db_dir, ec))
        throw CommandError(kExitError, "database directory " + quoted(db_dir) + " does not exist or is not a directory");
    return db_dir;
}

// ---- Text output ------------------------------------------------------------------

void print_field(const std::string& label, const std::string& value) {
    std::string padded = label + ":";
    padded.resize(std::max<std::size_t>(padded.size() + 1, 15), ' ');
    std::cout << padded << printable(value) << '\n';
}

void print_section(const RPL_REPORT_SECTION& s) {
    print_field("path", to_std(s.m_rdb_path));
    print_field("name", to_std(s.m_name));
    print_field("kind", std::string(section_kind(s)) + " (object type " + std::to_string(s.m_rdb_object_type) + ")");
    print_field("depth", std::to_string(section_depth(s)));
    print_field("marked", std::string(s.m_marked_for_output ? "yes" : "no") + " (subtree: " +
                              marking_word(s.get_num_marked_for_output()) + ")");
    print_field("orientation", std::to_string(s.m_page_orientation));
    print_field("header", to_std(s.m_header));
    print_field("footer", to_std(s.m_footer));
    for (const auto& value : kind_values(s)) print_field(value.first, value.second);
    print_field("settings", s.m_settings_changed ? "changed" : "unchanged");
}

void print_toc_json(Session& session) { std::cout << dump_json(toc_json(session.toc())); }

// ---- set ----------------------------------------------------------------------------

// The validated changes of one `set`, ready to apply.
struct SetPlan {
    std::vector<std::pair<unsigned int, int>> widths;
    std::vector<std::pair<unsigned int, RPL_TABLE::ALIGNMENT>> aligns;
    std::vector<std::pair<unsigned int, int>> orders;
};

bool parse_int(const std::string& text, long long lo, long long hi, long long* out) {
    std::size_t i = (!text.empty() && text[0] == '-') ? 1 : 0;
    if (i == text.size() || text.size() - i > 10) return false;
    for (std::size_t k = i; k < text.size(); ++k)
        if (text[k] < '0' || text[k] > '9') return false;
    long long value = std::stoll(text);
    if (value < lo || value > hi) return false;
    *out = value;
    return true;
}

// Splits "I=VALUE" and checks that I is a column of the table.
std::pair<unsigned int, std::string> column_option(const char* option, const std::string& text, const char* form,
                                                   std::uint32_t columns) {
    std::size_t eq = text.find('=');
    long long index = 0;
    if (eq == std::string::npos || !parse_int(text.substr(0, eq), 0, UINT32_MAX, &index))
        throw CommandError(kExitError, std::string(option) + " " + quoted(text) + ": expected " + form);
    if (index >= columns)
        throw CommandError(kExitError, std::string(option) + " " + quoted(text) + ": no column " +
                                           std::to_string(index) + "; the table has " + std::to_string(columns) +
                                           " columns, numbered from 0");
    return {static_cast<unsigned int>(index), text.substr(eq + 1)};
}

std::vector<std::pair<unsigned int, int>> integer_columns(const char* option, const std::vector<std::string>& texts,
                                                          const char* form, std::uint32_t columns) {
    std::vector<std::pair<unsigned int, int>> out;
    for (const std::string& text : texts) {
        auto column = column_option(option, text, form, columns);
        long long value = 0;
        if (!parse_int(column.second, INT_MIN, INT_MAX, &value))
            throw CommandError(kExitError, std::string(option) + " " + quoted(text) + ": expected " + form);
        out.emplace_back(column.first, static_cast<int>(value));
    }
    return out;
}

std::vector<std::pair<unsigned int, RPL_TABLE::ALIGNMENT>> align_columns(const std::vector<std::string>& texts,
                                                                         std::uint32_t columns) {
    std::vector<std::pair<unsigned int, RPL_TABLE::ALIGNMENT>> out;
    for (const std::string& text : texts) {
        auto column = column_option("--align", text, "I=L or I=R", columns);
        if (column.second != "L" && column.second != "R")
            throw CommandError(kExitError, "--align " + quoted(text) + ": the alignment must be L or R");
        out.emplace_back(column.first, column.second == "L" ? RPL_TABLE::LEFT : RPL_TABLE::RIGHT);
    }
    return out;
}

// Checks every option against the section before anything is changed, so
// a refused command leaves the settings file as it was.
SetPlan plan_set(RPL_REPORT_SECTION& section, const SetRequest& request) {
    std::string what = quoted(to_std(section.m_rdb_path)) + " is a " + section_kind(section);
    if (request.has_chart_type && !section.dynamic_cast_to_RPL_CHART())
        throw CommandError(kExitError, "--chart-type applies to charts only; " + what);
    bool columns = !request.widths.empty() || !request.aligns.empty() || !request.orders.empty();
    RPL_TABLE* table = section.dynamic_cast_to_RPL_TABLE();
    SetPlan plan;
    if (!columns) return plan;
    if (!table) throw CommandError(kExitError, "--width, --align and --order apply to tables only; " + what);
    plan.widths = integer_columns("--width", request.widths, "I=W, a column index and a width", table->m_num_columns);
    plan.aligns = align_columns(request.aligns, table->m_num_columns);
    plan.orders = integer_columns("--order", request.orders, "I=D, a column index and a display column",
                                  table->m_num_columns);
    return plan;
}

void apply_set(RPL_REPORT_SECTION& section, const SetRequest& request, const SetPlan& plan) {
    if (request.has_orientation) section.m_page_orientation = request.orientation;
    if (request.has_chart_type) section.dynamic_cast_to_RPL_CHART()->m_chart_type = request.chart_type;
    if (RPL_TABLE* table = section.dynamic_cast_to_RPL_TABLE()) {
        for (const auto& w : plan.widths) table->set_column_width(w.first, w.second);
        for (const auto& a : plan.aligns) table->set_alignment(a.first, a.second);
        for (const auto& o : plan.orders) table->set_display_column(o.first, o.second);
    }
    section.m_settings_changed = true;
    section.write_acf_settings();
}

std::string settings_content(const std::string& path, bool* exists) {
    std::error_code ec;
    *exists = fs::exists(path, ec);
    if (!*exists) return std::string();
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    if (in) text << in.rdbuf();
    if (!in || in.bad()) throw CommandError(kExitError, "cannot read settings file " + quoted(path));
    return text.str();
}

}  // namespace

// ---- Session ----------------------------------------------------------------------

Session::Session(const std::string& report_file, const std::string& db_dir) {
    std::string text = read_report_file(report_file);
    ReportLoad load = load_report_json(text);
    if (!load.ok()) throw CommandError(kExitError, printable(report_file) + ": " + printable(load.error));
    host_set_db_dir(database_directory(report_file, db_dir));
    auto type = static_cast<RDB_REPORT_TYPE>(load.report.type);
    host_rdb_set_report(type, std::make_unique<RDB_REPORT>(load.report.main_folder.release()));
    m_toc = std::make_unique<RPL_REPORT_TOC>(type, to_rpl(load.report.name));
    m_toc->generate_toc(true);
}

Session::~Session() {
    RDB_REPORT_TYPE type = m_toc->m_report_type;
    m_toc.reset();
    host_rdb_remove_report(type);
}

RPL_REPORT_SECTION& Session::section(const std::string& path) {
    RPL_REPORT_SECTION* found = m_toc->section_exists(to_rpl(path));
    if (!found) throw CommandError(kExitError, "no section with the path " + quoted(path));
    return *found;
}

// ---- Commands -----------------------------------------------------------------------

int run_show(Session& session, const Output& output, bool paths) {
    if (output.json) {
        print_toc_json(session);
        return kExitOk;
    }
    TreeStyle style;
    style.colour = output.colour;
    style.paths = paths;
    print_tree(std::cout, session.toc(), style);
    return kExitOk;
}

int run_find(Session& session, const Output& output, const std::string& path) {
    RPL_REPORT_SECTION* section = session.toc().section_exists(to_rpl(path));
    if (!section) return kExitNotFound;
    if (output.json)
        std::cout << dump_json(section_json(*section));
    else
        print_section(*section);
    return kExitOk;
}

int run_step(Session& session, const std::string& path, bool forward) {
    string next = forward ? session.toc().get_next_section(to_rpl(path))
                          : session.toc().get_previous_section(to_rpl(path));
    if (next.empty()) return kExitNotFound;
    std::cout << to_std(next) << '\n';
    return kExitOk;
}

int run_mark(Session& session, const Output& output, const std::vector<std::string>& paths, bool marked) {
    std::vector<RPL_REPORT_SECTION*> sections;
    for (const std::string& path : paths) sections.push_back(&session.section(path));  // all known first
    for (RPL_REPORT_SECTION* section : sections) section->set_marked_for_output(marked);
    if (output.json) {
        print_toc_json(session);
        return kExitOk;
    }
    for (const RPL_REPORT_SECTION* s : sections)
        std::cout << printable(to_std(s->m_rdb_path)) << "  " << (s->m_marked_for_output ? "marked" : "unmarked")
                  << " (subtree: " << marking_word(s->get_num_marked_for_output()) << ")\n";
    return kExitOk;
}

int run_set(Session& session, const Output& output, const std::string& path, const SetRequest& request) {
    RPL_REPORT_SECTION& section = session.section(path);
    SetPlan plan = plan_set(section, request);
    apply_set(section, request, plan);
    if (output.json)
        print_toc_json(session);
    else
        print_section(section);
    return kExitOk;
}

int run_settings(Session& session, const Output& output) {
    std::string path = to_std(session.toc().get_settings_filename());
    bool exists = false;
    std::string content = settings_content(path, &exists);
    if (output.json) {
        Json out = {{"settings_file", path}, {"exists", exists}, {"content", exists ? Json(content) : Json()}};
        std::cout << dump_json(out);
    } else if (exists) {
        std::cout << "settings file: " << printable(path) << '\n' << content;
    } else {
        std::cout << "settings file: " << printable(path) << " does not exist yet\n";
    }
    return kExitOk;
}

int run_export(Session& session, const std::string& text_file, const std::string& html_file) {
    if (text_file.empty() == html_file.empty())  // the command line checks this too
        throw CommandError(kExitError, "export needs exactly one of --text FILE and --html FILE");
    bool html = !html_file.empty();
    std::string error = write_report_file(session.toc(), html ? html_file : text_file,
                                          html ? ReportFormat::html : ReportFormat::text);
    if (!error.empty()) throw CommandError(kExitError, printable(error));
    return kExitOk;
}

}  // namespace rpl_toc
