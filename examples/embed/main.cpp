// Embedding RPL: a report put into the stand-in report database, its table
// of contents built, stepped through and a folder unmarked; then the
// settings file the library wrote through at once.
//   embed DATABASE_DIRECTORY
#include <rpl/rpl.h>
#include <host/host.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: embed DATABASE_DIRECTORY\n";
        return 2;
    }
    if (!std::filesystem::is_directory(argv[1])) {
        std::cerr << "embed: " << argv[1] << ": not a directory\n";
        return 2;
    }
    host_set_db_dir(argv[1]);  // the settings file goes here

    // A report as the design tool's database would hold it. A real host
    // has its reports already; the stand-in is given one.
    auto* root = new RDB_FOLDER_OBJECT("Report");
    RDB_FOLDER_OBJECT* timing = root->add(new RDB_FOLDER_OBJECT("Timing"));
    timing->add(new RDB_TABLE_OBJECT("Setup Slack", 5, 12));
    timing->add(new RDB_CHART_TABLE_OBJECT("Slack Histogram", 1));
    root->add(new RDB_TEXT_OBJECT("Notes", false));
    host_rdb_set_report(RDB_REPORT_TIMING, std::make_unique<RDB_REPORT>(root));

    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, "timing");
    toc.generate_toc(true);
    std::cout << "RPL " << RPL_VERSION_STRING << ": " << toc.m_section_index.size() << " sections\n";
    // Stepping passes over folders; an empty path means there is no next one.
    for (string path = toc.get_next_section("||Report"); !path.empty(); path = toc.get_next_section(path))
        std::cout << "  " << path << "\n";

    // Unmarking a folder unmarks everything below it; every change is saved.
    toc.section_exists("||Report||Timing")->set_marked_for_output(false);
    // The library says nothing when a save fails (a directory it may not
    // write, a full disk): a host that must know reads the file back, here
    // through a second TOC.
    RPL_REPORT_TOC again(RDB_REPORT_TIMING, "timing");
    again.generate_toc(true);
    if (again.section_exists("||Report||Timing")->m_marked_for_output) {
        std::cerr << "embed: the settings file " << toc.get_settings_filename() << " was not written\n";
        return 1;
    }
    std::cout << "settings file " << toc.get_settings_filename() << ":\n"
              << std::ifstream(toc.get_settings_filename().c_str()).rdbuf();
    return 0;
}
