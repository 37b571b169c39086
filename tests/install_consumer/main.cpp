// Builds a small report through the stand-in database, makes its table of
// contents and checks what came out, using only the installed headers and
// libraries. Prints each section, then "ok"; exits non-zero on a mismatch.
//
//   app <database directory>
#include <rpl/rpl.h>
#include <host/host.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

const char* kind_of(RPL_REPORT_SECTION* s) {
    if (s->dynamic_cast_to_RPL_FOLDER()) return "folder";
    if (s->dynamic_cast_to_RPL_TABLE()) return "table";
    if (s->dynamic_cast_to_RPL_CHART()) return "chart";
    if (s->dynamic_cast_to_RPL_TEXT()) return "text";
    return "other";
}

void install_report() {
    auto* root = new RDB_FOLDER_OBJECT("Report");
    auto* timing = root->add(new RDB_FOLDER_OBJECT("Timing"));
    timing->add(new RDB_TABLE_OBJECT("Clocks", 3, 4));
    timing->add(new RDB_CHART_TABLE_OBJECT("Slack", 2));
    root->add(new RDB_TEXT_OBJECT("Notes", true));
    host_rdb_set_report(RDB_REPORT_TIMING, std::make_unique<RDB_REPORT>(root));
}

bool check(bool condition, const char* what) {
    if (!condition) std::cerr << "app: " << what << "\n";
    return condition;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: app <database directory>\n";
        return 2;
    }
    host_set_db_dir(argv[1]);
    install_report();

    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, "timing");
    toc.generate_toc(true);
    std::vector<std::string> paths;
    for (RPL_REPORT_SECTION* s : toc.m_section_index) {
        paths.emplace_back(s->m_rdb_path.data(), s->m_rdb_path.size());
        std::cout << kind_of(s) << " " << s->m_rdb_path << "\n";
    }
    const std::vector<std::string> expected = {"||Report", "||Report||Timing", "||Report||Timing||Clocks",
                                               "||Report||Timing||Slack", "||Report||Notes"};
    bool ok = check(paths == expected, "unexpected sections");

    // A mark change is written through to the settings file and survives a
    // rebuild.
    RPL_REPORT_SECTION* clocks = toc.section_exists("||Report||Timing||Clocks");
    ok = check(clocks != nullptr, "Clocks not found") && ok;
    if (clocks != nullptr) clocks->set_marked_for_output(false);
    string settings = toc.get_settings_filename();
    ok = check(FIO_FILE_SYSTEM::exists(settings.c_str()), "no settings file written") && ok;
    toc.generate_toc(true);
    clocks = toc.section_exists("||Report||Timing||Clocks");
    ok = check(clocks != nullptr && !clocks->m_marked_for_output, "the mark did not persist") && ok;
    ok = check(host_message_log().internal_errors.empty(), "internal errors reported") && ok;

    std::cout << "settings " << settings << "\n" << (ok ? "ok" : "FAILED") << "\n";
    return ok ? 0 : 1;
}
