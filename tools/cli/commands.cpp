#include "tools/cli/commands.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <iostream>

#include "host/host.h"
#include "host/host_strings.h"
#include "tools/cli/refusal_text.h"
#include "tools/cli/status_line.h"
#include "tools/cli/toc_tree.h"
#include "tools/core/operations.h"
#include "tools/core/progress_words.h"
#include "tools/core/section_info.h"
#include "tools/core/settings_probe.h"
#include "tools/core/toc_json.h"

namespace rpl_toc {
namespace {

void print_json(const Json& document) { std::cout << dump_json(document); }

// ---- Warnings and notes on stderr ---------------------------------------------------

void warn(const std::string& text) { std::cerr << "rpl-toc: warning: " << printable(text) << '\n'; }

// The library then works on defaults and would not save a change.
void warn_if_settings_unreadable(Session& session) {
    std::string path = session.settings_file();
    std::string reason = unreadable_reason(path);
    if (!reason.empty()) warn("the settings file cannot be read, so defaults are used: " + path + ": " + reason);
}

void note(const std::string& text) { std::cerr << "rpl-toc: note: " << text << '\n'; }

// What of the report the TOC does not show. Without a main folder (none in
// the file, or a root that is not a folder) the TOC is empty.
void note_what_is_not_shown(Session& session, const Output& output) {
    if (session.toc().m_section_index.empty()) {
        note("the report has no main folder, so its table of contents is empty");
        return;
    }
    int n = session.objects_left_out();
    if (n <= 0) return;
    note(std::to_string(n) + (n == 1 ? " object of the report was" : " objects of the report were") + " left out" +
         (output.debug ? "" : " (run with --debug to see which)"));
}

// A path as printed for a script to give back: the bytes as they are; for
// a person's terminal, a shell word that pastes back. A name holds no line
// feed (the report reader refuses one), so a line is always one path.
std::string script_path(const std::string& path, const Output& output) {
    return output.terminal ? shell_word(path) : path;
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

void check_saved(const Change& change) {
    if (!change.save.saved())
        throw CommandError(kExitError, "the change was not saved: " +
                                           printable(change.save.settings_file + ": " + change.save.unsaved));
}

// ---- Progress -------------------------------------------------------------------------

// A mark of a large subtree saves the settings file thousands of times;
// the status line says how many, and how far the mark is.
Outcome<Change> mark_with_progress(Session& session, const std::vector<std::string>& paths, bool marked,
                                   const Output& output) {
    std::size_t expected = output.progress ? saves_of_mark(session, paths) : 0;
    std::string what = mark_activity(paths, marked);
    std::atomic<std::size_t> written{0}, total{expected};
    StatusLine status(output.progress, [&](double seconds) { return progress_words({what, written, total, seconds}); });
    return mark_sections(session, paths, marked, [&](std::size_t done, std::size_t of) {
        written = done;
        total = of;
    });
}

// ---- Messages of the library held back ----------------------------------------------

// The library announces a report file ("Writing Report file F") before it
// writes it. Its messages are held back while it does, so that a failed
// export prints only the error; internal errors always follow.
class HeldMessages {
public:
    explicit HeldMessages(const Output& output)
        : m_debug(output.debug),
          m_infos(host_message_log().info_messages.size()),
          m_errors(host_message_log().internal_errors.size()) {
        host_set_message_echo(m_debug, false);
    }
    ~HeldMessages() { host_set_message_echo(m_debug, true); }
    HeldMessages(const HeldMessages&) = delete;
    HeldMessages& operator=(const HeldMessages&) = delete;

    // Internal errors in the host's echo form; the library's information
    // as the tool's own lines, and not beside a JSON document on standard
    // output, where a script reads only warnings and errors on stderr.
    void print(bool with_information) const {
        const HOST_MESSAGE_LOG& log = host_message_log();
        for (std::size_t i = m_errors; i < log.internal_errors.size(); ++i) {
            const HOST_INTERNAL_ERROR& e = log.internal_errors[i];
            std::fprintf(stderr, "internal error: %s (%s, %s:%d)\n", e.condition.c_str(), e.module.c_str(),
                         e.file.c_str(), e.line);
        }
        for (std::size_t i = m_infos; with_information && i < log.info_messages.size(); ++i)
            std::fprintf(stderr, "rpl-toc: %s\n", printable(log.info_messages[i].formatted).c_str());
    }

private:
    bool m_debug;
    std::size_t m_infos, m_errors;
};

}  // namespace

void refuse(const Refusal& refusal, const SetOptions* set) {
    throw CommandError(kExitError, refusal_text(refusal, set));
}

// ---- Commands -----------------------------------------------------------------------

int run_show(Session& session, const Output& output, bool paths) {
    warn_if_settings_unreadable(session);
    if (output.json || !session.toc().m_section_index.empty())  // else the tree says it has no main folder
        note_what_is_not_shown(session, output);
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

int run_list(Session& session, const Output& output, bool all, bool null) {
    if (null && output.json) throw CommandError(kExitError, "list -z prints paths, not JSON: give -z or --json");
    warn_if_settings_unreadable(session);
    note_what_is_not_shown(session, output);
    std::vector<const RPL_REPORT_SECTION*> sections;
    for (const RPL_REPORT_SECTION* s : session.toc().m_section_index)
        if (all || !s->dynamic_cast_to_RPL_FOLDER()) sections.push_back(s);
    if (output.json) {
        print_json(sections_document(sections));
        return kExitOk;
    }
    for (const RPL_REPORT_SECTION* s : sections) {
        if (null)
            std::cout << to_std(s->m_rdb_path) << '\0';
        else
            std::cout << script_path(to_std(s->m_rdb_path), output) << '\n';
    }
    return kExitOk;
}

int run_find(Session& session, const Output& output, const std::string& path) {
    warn_if_settings_unreadable(session);
    Outcome<RPL_REPORT_SECTION*> found = find_section(session, path);
    if (!found.ok()) {  // a search that found nothing, said so on stderr: not an error
        note(refusal_text(found.refusal()));
        if (output.json) print_json(path_document(nullptr));
        return kExitNotFound;
    }
    if (output.json)
        print_json(section_document(*found.result()));
    else
        print_section(*found.result());
    return kExitOk;
}

int run_step(Session& session, const Output& output, const std::string& path, bool forward) {
    warn_if_settings_unreadable(session);
    Outcome<std::optional<std::string>> step = step_from_section(session, path, forward);
    if (!step.ok()) refuse(step.refusal());
    const std::optional<std::string>& next = step.result();
    if (output.json)
        print_json(path_document(next ? &*next : nullptr));
    else if (next)
        std::cout << script_path(*next, output) << '\n';
    return next ? kExitOk : kExitNotFound;
}

int run_mark(Session& session, const Output& output, const std::vector<std::string>& paths, bool marked) {
    Outcome<Change> marking = mark_with_progress(session, paths, marked, output);
    if (!marking.ok()) refuse(marking.refusal());
    check_saved(marking.result());
    if (output.json) {
        print_json(toc_json(session.toc()));
        return kExitOk;
    }
    for (const RPL_REPORT_SECTION* s : marking.result().sections)
        std::cout << printable(to_std(s->m_rdb_path)) << "  " << (s->m_marked_for_output ? "marked" : "unmarked")
                  << " (subtree: " << marking_word(s->get_num_marked_for_output()) << ")\n";
    return kExitOk;
}

int run_set(Session& session, const Output& output, const std::string& path, const SetOptions& options) {
    Outcome<Change> change = change_settings(session, path, settings_change(options));
    if (!change.ok()) refuse(change.refusal(), &options);
    check_saved(change.result());
    if (output.json)
        print_json(toc_json(session.toc()));
    else
        print_section(*change.result().sections.front());
    return kExitOk;
}

int run_settings(Session& session, const Output& output, bool raw) {
    SettingsFileRead read = read_settings_file(session);
    const std::string& path = read.settings_file;
    const SettingsFileState& file = read.state;
    if (!file.unreadable.empty()) warn("the settings file cannot be read: " + path + ": " + file.unreadable);
    bool shown = file.exists && file.unreadable.empty();
    if (output.json) {
        print_json(settings_file_document(read));
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
    ReportFormat format = html_file.empty() ? ReportFormat::text : ReportFormat::html;
    const std::string& file = html_file.empty() ? text_file : html_file;
    HeldMessages held(output);
    Outcome<ReportWritten> written = export_report(session, format, file);
    held.print(written.ok() && !output.json);
    if (!written.ok()) refuse(written.refusal());
    if (output.json) print_json(export_document(file, format, written.result()));
    return kExitOk;
}

}  // namespace rpl_toc
