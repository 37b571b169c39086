#include "tools/cli/import_command.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "host/host_strings.h"
#include "tools/cli/refusal_text.h"
#include "tools/core/progress_words.h"
#include "tools/cli/status_line.h"
#include "tools/core/import_inputs.h"
#include "tools/core/import_layout.h"
#include "tools/core/section_info.h"

namespace rpl_toc {
namespace {

void note(const std::string& text) { std::cerr << "rpl-toc: note: " << printable(text) << '\n'; }
void warn(const std::string& text) { std::cerr << "rpl-toc: warning: " << printable(text) << '\n'; }

void write_report(const std::string& file, const std::string& text) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    if (out) out.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (out) out.close();
    if (!out) throw CommandError(kExitError, "cannot write " + printable(file) + ": " + std::strerror(errno));
}

bool exists(const std::string& path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0;
}

// Saves the first layout beside a report that has no settings yet; a
// settings file already there holds someone's choices and is left alone.
void save_first_layouts(const std::string& report_file, const std::string& db_dir, const Import& import) {
    Outcome<std::unique_ptr<Session>> session = open_session(report_file, db_dir);
    if (!session.ok()) refuse(session.refusal());
    std::string settings = session.result()->settings_file();
    if (exists(settings)) {
        note("the settings file " + settings + " is there already, so the import leaves its layout as it is");
        return;
    }
    std::vector<SectionLayout> layouts = first_layouts(import.report);
    for (const std::string& problem : write_first_layouts(*session.result(), layouts))
        warn("a layout was not saved: " + problem);
    std::cerr << "rpl-toc: wrote " << printable(report_file) << " and the layout of its " << layouts.size()
              << " tables to " << printable(settings) << '\n';
}

}  // namespace

int run_import(const std::vector<std::string>& inputs, const std::string& report_file, const std::string& db_dir,
               const Output& output) {
    Import import;
    {
        StatusLine status(output.progress, [](double seconds) { return progress_words(Progress{"importing", 0, 0, seconds}); });
        import = import_inputs(inputs);
    }
    if (!import.ok()) throw CommandError(kExitError, printable(import.error));
    for (const std::string& line : import.notes) note(line);
    if (report_file.empty() || report_file == "-") {
        std::cout << import.text;
        return kExitOk;
    }
    write_report(report_file, import.text);
    save_first_layouts(report_file, db_dir, import);
    return kExitOk;
}

}  // namespace rpl_toc
