#include "support/test_support.h"

using namespace rpltest;

class Smoke : public HostTest {};

TEST_F(Smoke, BuildsAndMarks) {
    auto* root = new RDB_FOLDER_OBJECT("R");
    root->add(new RDB_TABLE_OBJECT("T1", 3, 5));
    auto* f = root->add(new RDB_FOLDER_OBJECT("F"));
    f->add(new RDB_CHART_TABLE_OBJECT("C1", 2));
    install_report(RDB_REPORT_TIMING, root);
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, "timing");
    toc.generate_toc(true);
    EXPECT_EQ(index_paths(toc), (std::vector<std::string>{"||R", "||R||T1", "||R||F", "||R||F||C1"}));
    toc.section_exists("||R||T1")->set_marked_for_output(false);
    std::cout << read_file(Std(toc.get_settings_filename()));
}
