// One change end to end, on a report built through the report database: a
// viewer unmarks a table, the table writes its settings in two load-change-
// save cycles, and its folder and the root recompute their marks and write
// them, each in a cycle of its own.
#include "support/test_support.h"
#include "support/file_events.h"

using namespace rpltest;

class RoadOfOneChange : public HostTest {};

TEST_F(RoadOfOneChange, UnmarkingATableWritesItThenItsFolderThenTheRootAndTheNextBuildRestoresIt) {
    // Report { Timing { Paths (table, 3 columns), Notes (text) } }
    auto* root = new RDB_FOLDER_OBJECT("Report");
    auto* timing = root->add(new RDB_FOLDER_OBJECT("Timing"));
    timing->add(new RDB_TABLE_OBJECT("Paths", 3, 10));
    timing->add(new RDB_TEXT_OBJECT("Notes", false));
    install_report(RDB_REPORT_TIMING, root);
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, "timing");
    toc.generate_toc(true);
    const std::string file = to_std(toc.get_settings_filename());
    ASSERT_FALSE(file_exists(file)) << "a report without a settings file yet";

    RPL_TABLE* table = toc.section_exists("||Report||Timing||Paths")->dynamic_cast_to_RPL_TABLE();
    table->m_page_orientation = 2;
    for (int i = 0; i < 3; ++i) {
        table->set_column_width(i, 120 - 30 * i);
        table->set_display_column(i, (3 - i) % 3);
    }
    table->set_alignment(1, RPL_TABLE::RIGHT);
    FileEvents events(file);
    ASSERT_TRUE(events.ok());

    table->set_marked_for_output(false);
    // The table's base part and its column part, then the folder and the
    // root: four whole cycles, each load followed by its own save. The first
    // load finds no file (so the watch sees no read) and its save creates it.
    EXPECT_EQ(events.take().order, "SLSLSLS");
    EXPECT_EQ(read_file(file),
              "[||Report]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||Report||Timing]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||Report||Timing||Paths]\nCOLUMN_ORDER=0,2,1,\nCOLUMN_WIDTHS=120L,90R,60L,\n"
              "OUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n");

    RPL_REPORT_TOC next(RDB_REPORT_TIMING, "timing");
    next.generate_toc(true);
    RPL_TABLE* restored = next.section_exists("||Report||Timing||Paths")->dynamic_cast_to_RPL_TABLE();
    EXPECT_FALSE(restored->m_marked_for_output);
    EXPECT_EQ(restored->m_page_orientation, 2);
    EXPECT_EQ(std::vector<int>(restored->m_column_width.begin(), restored->m_column_width.end()),
              (std::vector<int>{120, 90, 60}));
    EXPECT_EQ(next.section_exists("||Report")->get_num_marked_for_output(), 1);
}
