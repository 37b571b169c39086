// The operations that only look: find, step, read the settings file, and
// export, which writes a file of its own but changes nothing the library
// holds.
#include "tools/core/operations.h"

#include "host/host_strings.h"

namespace rpl_toc {

Outcome<RPL_REPORT_SECTION*> find_section(Session& session, const std::string& path) {
    RPL_REPORT_SECTION* section = session.section(path);
    if (!section) return Refusal{Refused::unknown_path, path};
    return section;
}

std::optional<std::string> step_from(Session& session, const std::string& path, bool forward) {
    string from = to_rpl(path);
    string to = forward ? session.toc().get_next_section(from) : session.toc().get_previous_section(from);
    if (to.empty()) return std::nullopt;
    return to_std(to);
}

SettingsFileRead read_settings_file(Session& session) {
    SettingsFileRead out;
    out.settings_file = session.settings_file();
    out.state = settings_file_state(out.settings_file);
    return out;
}

Outcome<ReportWritten> export_report(Session& session, ReportFormat format, const std::string& file) {
    ReportWritten written = write_report_file(session.toc(), file, format);
    if (written.error.empty()) return written;
    Refusal refusal{Refused::report_not_written, file};
    refusal.detail = written.error;
    return refusal;
}

}  // namespace rpl_toc
