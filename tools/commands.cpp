#include "tools/commands.h"

#include <algorithm>
#include <iostream>

#include "host/host_strings.h"
#include "tools/report_writer.h"
#include "tools/section_info.h"
#include "tools/settings_probe.h"
#include "tools/toc_json.h"
#include "tools/toc_tree.h"

namespace rpl_toc {
namespace {

void print_json(const Json& document) { std::cout << dump_json(document); }

// ---- Warnings and notes on stderr ---------------------------------------------------

void warn(const std::string& text) { std::cerr << "rpl-toc: warning: " << printable(text) << '\n'; }

// The library then works on defaults and would not save a change.
void warn_if_settings_unreadable(Session& session) {
    std::string path = to_std(session.toc().get_settings_filename());
    std::string reason = unreadable_reason(path);
    if (!reason.empty()) warn("the settings file cannot be read, so defaults are used: " + path + ": " + reason);
}

void note_objects_left_out(Session& session, const Output& output) {
    int n = session.objects_left_out();
    if (n <= 0) return;
    std::cerr << "rpl-toc: note: " << n << (n == 1 ? " object of the report was" : " objects of the report were")
              << " left out" << (output.debug ? "" : " (run with --debug to see which)") << '\n';
}

// ---- Text output ------------------------------------------------------------------

void print_field(const std::string& label, const std::string& value) {
    std::string padded = label + ":";
    padded.resize(std::max<std::size_t>(padded.size() + 1, 18), ' ');
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

// Every line shown with its control bytes escaped, the line feeds kept.
std::string printable_lines(const std::string& text) {
    std::string out;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos) return out + printable(text.substr(start));
        out += printable(text.substr(start, end - start)) + '\n';
        start = end + 1;
    }
    return out;
}

// ---- Changes ----------------------------------------------------------------------

void add_subtree(const RPL_REPORT_SECTION& section, std::vector<const RPL_REPORT_SECTION*>& out) {
    out.push_back(&section);
    if (section.m_children)
        for (const RPL_REPORT_SECTION* child : *section.m_children)
            if (child) add_subtree(*child, out);
}

void check_saved(Session& session, const std::vector<const RPL_REPORT_SECTION*>& changed) {
    std::string reason = unsaved_reason(session, changed);
    if (!reason.empty()) throw CommandError(kExitError, "the change was not saved: " + printable(reason));
}

}  // namespace

// A mark writes every section of the subtree and recomputes every ancestor.
std::vector<const RPL_REPORT_SECTION*> marked_sections(const std::vector<RPL_REPORT_SECTION*>& roots) {
    std::vector<const RPL_REPORT_SECTION*> out;
    for (const RPL_REPORT_SECTION* root : roots) {
        add_subtree(*root, out);
        for (const RPL_REPORT_SECTION* p = root->m_parent; p; p = p->m_parent) out.push_back(p);
    }
    return out;
}

// ---- Commands -----------------------------------------------------------------------

int run_show(Session& session, const Output& output, bool paths) {
    warn_if_settings_unreadable(session);
    note_objects_left_out(session, output);
    if (output.json) {
        print_json(toc_json(session.toc()));
        return kExitOk;
    }
    TreeStyle style;
    style.colour = output.colour;
    style.boxes = output.boxes;
    style.paths = paths;
    print_tree(std::cout, session.toc(), style);
    return kExitOk;
}

int run_list(Session& session, const Output& output, bool all) {
    warn_if_settings_unreadable(session);
    note_objects_left_out(session, output);
    std::vector<const RPL_REPORT_SECTION*> sections;
    for (const RPL_REPORT_SECTION* s : session.toc().m_section_index)
        if (all || !s->dynamic_cast_to_RPL_FOLDER()) sections.push_back(s);
    if (output.json) {
        print_json(sections_document(sections));
        return kExitOk;
    }
    for (const RPL_REPORT_SECTION* s : sections) std::cout << printable(to_std(s->m_rdb_path)) << '\n';
    return kExitOk;
}

int run_find(Session& session, const Output& output, const std::string& path) {
    warn_if_settings_unreadable(session);
    RPL_REPORT_SECTION* section = session.toc().section_exists(to_rpl(path));
    if (!section) return kExitNotFound;
    if (output.json)
        print_json(section_document(*section));
    else
        print_section(*section);
    return kExitOk;
}

int run_step(Session& session, const Output& output, const std::string& path, bool forward) {
    warn_if_settings_unreadable(session);
    string next_path = forward ? session.toc().get_next_section(to_rpl(path))
                               : session.toc().get_previous_section(to_rpl(path));
    std::string next = to_std(next_path);
    if (output.json)
        print_json(path_document(next.empty() ? nullptr : &next));
    else if (!next.empty())
        std::cout << printable(next) << '\n';
    return next.empty() ? kExitNotFound : kExitOk;
}

int run_mark(Session& session, const Output& output, const std::vector<std::string>& paths, bool marked) {
    std::vector<RPL_REPORT_SECTION*> sections;
    for (const std::string& path : paths) sections.push_back(&session.section(path));  // all known first
    for (RPL_REPORT_SECTION* section : sections) section->set_marked_for_output(marked);
    check_saved(session, marked_sections(sections));
    if (output.json) {
        print_json(toc_json(session.toc()));
        return kExitOk;
    }
    for (const RPL_REPORT_SECTION* s : sections)
        std::cout << printable(to_std(s->m_rdb_path)) << "  " << (s->m_marked_for_output ? "marked" : "unmarked")
                  << " (subtree: " << marking_word(s->get_num_marked_for_output()) << ")\n";
    return kExitOk;
}

int run_set(Session& session, const Output& output, const std::string& path, const SetRequest& request) {
    RPL_REPORT_SECTION& section = session.section(path);
    change_settings(section, request);
    check_saved(session, {&section});
    if (output.json)
        print_json(toc_json(session.toc()));
    else
        print_section(section);
    return kExitOk;
}

int run_settings(Session& session, const Output& output, bool raw) {
    std::string path = to_std(session.toc().get_settings_filename());
    SettingsFileState file = settings_file_state(path);
    if (!file.unreadable.empty()) warn("the settings file cannot be read: " + path + ": " + file.unreadable);
    bool shown = file.exists && file.unreadable.empty();
    if (output.json) {
        Json members = {{"settings_file", path},
                        {"exists", file.exists},
                        {"readable", file.unreadable.empty()},
                        {"content", shown ? Json(file.content) : Json()}};
        print_json(json_document(members));
    } else if (shown) {
        std::cout << "settings file: " << printable(path) << '\n'
                  << (raw ? file.content : printable_lines(file.content));
    } else if (file.exists) {
        std::cout << "settings file: " << printable(path) << " cannot be read\n";
    } else {
        std::cout << "settings file: " << printable(path) << " does not exist yet\n";
    }
    return kExitOk;
}

int run_export(Session& session, const Output& output, const std::string& text_file, const std::string& html_file) {
    warn_if_settings_unreadable(session);
    bool html = !html_file.empty();
    const std::string& path = html ? html_file : text_file;
    ReportWritten written = write_report_file(session.toc(), path, html ? ReportFormat::html : ReportFormat::text);
    if (!written.error.empty()) throw CommandError(kExitError, printable(written.error));
    if (output.json)
        print_json(json_document({{"file", path},
                                  {"as", html ? "html" : "text"},
                                  {"sections", written.sections},
                                  {"left_out", written.left_out}}));
    return kExitOk;
}

}  // namespace rpl_toc
