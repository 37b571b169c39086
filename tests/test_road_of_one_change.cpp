// One change end to end, on a report built through the report database: a
// viewer unmarks a table, the table writes its settings in two load-change-
// save cycles, and its folder and the root recompute their marks and write
// them, each in a cycle of its own.
#include "support/test_support.h"
#include "support/file_events.h"

#include <memory>

using namespace rpltest;

namespace {

// Report { Timing { Paths (table, 3 columns), Notes (text) } }
class RoadOfOneChange : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        auto* root = new RDB_FOLDER_OBJECT("Report");
        auto* timing = root->add(new RDB_FOLDER_OBJECT("Timing"));
        timing->add(new RDB_TABLE_OBJECT("Paths", 3, 10));
        timing->add(new RDB_TEXT_OBJECT("Notes", false));
        install_report(RDB_REPORT_TIMING, root);
        toc_ = std::make_unique<RPL_REPORT_TOC>(RDB_REPORT_TIMING, "timing");
        toc_->generate_toc(true);
        file_ = Std(toc_->get_settings_filename());
        table_ = toc_->section_exists("||Report||Timing||Paths")->dynamic_cast_to_RPL_TABLE();
        ASSERT_NE(table_, nullptr);
    }
    void TearDown() override {
        toc_.reset();
        HostTest::TearDown();
    }
    std::unique_ptr<RPL_REPORT_TOC> toc_;
    std::string file_;
    RPL_TABLE* table_ = nullptr;
};

}  // namespace

TEST_F(RoadOfOneChange, UnmarkingATableWritesItThenItsFolderThenTheRoot) {
    ASSERT_FALSE(file_exists(file_)) << "a report without a settings file yet";
    FileEvents events(file_);
    ASSERT_TRUE(events.ok());

    table_->set_marked_for_output(false);

    // The table's base part and its column part, then the folder and the
    // root: four whole cycles, each load followed by its own save. The
    // first load finds no file (so the watch sees no read) and the first
    // save creates it.
    EXPECT_EQ(events.take().order, "SLSLSLS");
    EXPECT_EQ(read_file(file_),
              "[||Report]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||Report||Timing]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||Report||Timing||Paths]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");
    EXPECT_TRUE(table_->m_settings_changed);
    EXPECT_EQ(toc_->section_exists("||Report")->get_num_marked_for_output(), 1);
}

TEST_F(RoadOfOneChange, TableWithChangedColumnsWritesThemInItsSecondCycle) {
    table_->m_page_orientation = 2;
    for (int i = 0; i < 3; ++i) {
        table_->set_column_width(i, 120 - 30 * i);
        table_->set_display_column(i, (3 - i) % 3);
    }
    table_->set_alignment(1, RPL_TABLE::RIGHT);

    write_file(file_, "");
    FileEvents events(file_);
    table_->set_marked_for_output(false);
    EXPECT_EQ(events.take().order, "LSLSLSLS");
    EXPECT_EQ(read_file(file_),
              "[||Report]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||Report||Timing]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||Report||Timing||Paths]\nCOLUMN_ORDER=0,2,1,\nCOLUMN_WIDTHS=120L,90R,60L,\n"
              "OUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n");

    // A write of the table alone is the two cycles of the road.
    events.take();
    table_->write_acf_settings();
    EXPECT_EQ(events.take().order, "LSLS");
}

TEST_F(RoadOfOneChange, UnmarkingTheFolderWritesEveryChildAndRecomputesTheRootEachTime) {
    FileEvents events(file_);
    toc_->section_exists("||Report||Timing")->set_marked_for_output(false);
    EXPECT_EQ(read_file(file_),
              "[||Report]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
              "[||Report||Timing]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
              "[||Report||Timing||Notes]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
              "[||Report||Timing||Paths]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");
    // Folder; table (two cycles), folder, root; text, folder, root; root.
    EXPECT_EQ(events.take().saves, 9);
}

TEST_F(RoadOfOneChange, NextBuildRestoresTheChange) {
    for (int i = 0; i < 3; ++i) table_->set_column_width(i, 5 + i);
    table_->set_marked_for_output(false);

    RPL_REPORT_TOC next(RDB_REPORT_TIMING, "timing");
    next.generate_toc(true);
    RPL_TABLE* table = next.section_exists("||Report||Timing||Paths")->dynamic_cast_to_RPL_TABLE();
    ASSERT_NE(table, nullptr);
    EXPECT_FALSE(table->m_marked_for_output);
    EXPECT_EQ(std::vector<int>(table->m_column_width.begin(), table->m_column_width.end()),
              (std::vector<int>{5, 6, 7}));
    EXPECT_EQ(next.section_exists("||Report")->get_num_marked_for_output(), 1);
    EXPECT_FALSE(table->m_settings_changed) << "restoring is no change";
}
