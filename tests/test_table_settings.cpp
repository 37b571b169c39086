// A table's column widths, alignments and order in the settings file: how
// "COLUMN_WIDTHS" and "COLUMN_ORDER" are read item by item and written from
// the lists, and what is left alone when a list or a value falls short.
#include "support/test_support.h"

#include <memory>

using namespace rpltest;

namespace {

const char* const kPath = "||R||T";
const RPL_TABLE::ALIGNMENT L = RPL_TABLE::LEFT;
const RPL_TABLE::ALIGNMENT R = RPL_TABLE::RIGHT;

typedef std::vector<int> INTS;
typedef std::vector<RPL_TABLE::ALIGNMENT> ALIGNMENTS;

INTS ints(const RPL_INT_VECTOR& list) { return INTS(list.begin(), list.end()); }
ALIGNMENTS alignments(const RPL_TABLE::ALIGNMENT_VECTOR& list) { return ALIGNMENTS(list.begin(), list.end()); }

class TableSettings : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        toc_ = std::make_unique<RPL_REPORT_TOC>(RDB_REPORT_TIMING, "r");
        file_ = Std(toc_->get_settings_filename());
    }
    void TearDown() override {
        toc_.reset();
        HostTest::TearDown();
    }

    std::unique_ptr<RPL_TABLE> make(std::uint32_t columns) {
        auto table = std::make_unique<RPL_TABLE>(S("T"));
        table->m_rdb_path = kPath;
        table->m_toc = toc_.get();
        table->m_num_columns = columns;
        return table;
    }

    std::unique_ptr<RPL_REPORT_TOC> toc_;
    std::string file_;
};

}  // namespace

TEST_F(TableSettings, ReadingTakesCommaEndedItemsUpToTheColumnCount) {
    struct CASE {
        const char* what;
        std::uint32_t columns;
        const char* widths;  // stored values, null for absent
        const char* order;
        INTS expect_widths;
        ALIGNMENTS expect_alignments;
        INTS expect_order;
        bool result;
    };
    // Every table starts with widths {9, 9}, alignments {RIGHT}, order {8}.
    const CASE cases[] = {
        {"three columns, left right left", 3, "120L,80R,60L,", "0,2,1,", {120, 80, 60}, {L, R, L}, {0, 2, 1}, true},
        {"items beyond the columns are ignored", 2, "100L,200R,300L,", "1,0,2,", {100, 200}, {L, R}, {1, 0}, true},
        {"text after the last comma is no item", 2, "100L,200R", "1,0", {100}, {L}, {1}, true},
        {"no comma at all empties the lists", 2, "100L", "1", {}, {}, {}, true},
        {"short lists stay short", 3, "100L,", "2,", {100}, {L}, {2}, true},
        {"any letter but L is right", 3, "120l,5x,7L,", nullptr, {120, 5, 7}, {R, R, L}, {8}, true},
        {"letters go to the first columns in turn", 3, "10,20R,30,", nullptr, {10, 20, 30}, {R}, {8}, true},
        {"zero columns reads no item", 0, "1L,2R,", "0,1,", {}, {}, {}, true},
        {"absent keys leave the lists", 2, nullptr, nullptr, {9, 9}, {R}, {8}, false},
        {"empty values leave the lists", 2, "", "", {9, 9}, {R}, {8}, false},
        {"only an order", 2, nullptr, "1,0,", {9, 9}, {R}, {1, 0}, true},
        {"empty items read as zero without alignment", 2, ",5L,", ",3,", {0, 5}, {L}, {0, 3}, true},
        {"malformed items read as the host converts them", 2, "abc,-5L,", "x1,+2,", {0, -5}, {R, L}, {0, 2}, true},
        {"leading blanks", 2, " 7L, 8 R,", " 1, 0,", {7, 8}, {L, R}, {1, 0}, true},
    };
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.what);
        std::string file = std::string("[") + kPath + "]\n";
        if (c.order) file += std::string("COLUMN_ORDER=") + c.order + "\n";
        if (c.widths) file += std::string("COLUMN_WIDTHS=") + c.widths + "\n";
        write_file(file_, file);
        auto table = make(c.columns);
        table->m_column_width = {9, 9};
        table->m_column_alignment = {R};
        table->m_display_column = {8};
        EXPECT_EQ(table->read_acf_settings(), c.result);
        EXPECT_EQ(ints(table->m_column_width), c.expect_widths);
        EXPECT_EQ(alignments(table->m_column_alignment), c.expect_alignments);
        EXPECT_EQ(ints(table->m_display_column), c.expect_order);
        EXPECT_FALSE(table->m_settings_changed) << "reading is no change";
        EXPECT_EQ(read_file(file_), file) << "reading writes nothing";
    }
}

TEST_F(TableSettings, WritingFormatsEveryColumnAndLeavesAShortListsKeyAlone) {
    struct CASE {
        const char* what;
        std::uint32_t columns;
        INTS widths;
        ALIGNMENTS aligned;
        INTS order;
        const char* order_line;  // after "COLUMN_ORDER="
        const char* widths_line;
    };
    const CASE cases[] = {
        {"three columns, left right left", 3, {120, 80, 60}, {L, R, L}, {0, 2, 1}, "0,2,1,", "120L,80R,60L,"},
        {"widths too short", 3, {1, 2}, {}, {0, 1, 2}, "0,1,2,", "old"},
        {"order too short", 3, {1, 2, 3}, {}, {0}, "old", "1L,2L,3L,"},
        {"zero columns", 0, {1}, {R}, {0}, "old", "old"},
        {"missing alignments are L", 3, {1, 2, 3}, {R}, {2, 1, 0}, "2,1,0,", "1R,2L,3L,"},
        {"entries beyond the columns", 2, {1, 2, 3}, {R, R, R}, {0, 1, 2}, "0,1,", "1R,2R,"},
        {"signed numbers", 2, {-1, 0}, {L, L}, {-3, 2147483647}, "-3,2147483647,", "-1L,0L,"},
    };
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.what);
        write_file(file_, "[||R||T]\nCOLUMN_ORDER=old\nCOLUMN_WIDTHS=old\n");
        auto table = make(c.columns);
        table->m_column_width.assign(c.widths.begin(), c.widths.end());
        table->m_column_alignment.assign(c.aligned.begin(), c.aligned.end());
        table->m_display_column.assign(c.order.begin(), c.order.end());
        table->m_settings_changed = true;
        table->write_acf_settings();
        EXPECT_EQ(read_file(file_), std::string("[||R||T]\nCOLUMN_ORDER=") + c.order_line + "\nCOLUMN_WIDTHS=" +
                                        c.widths_line + "\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n");
    }
    EXPECT_TRUE(internal_error_conditions().empty());
}

TEST_F(TableSettings, InvalidAlignmentIsAnInternalErrorAndWritesR) {
    auto table = make(3);
    table->m_column_width = {5, 6, 7};
    table->m_column_alignment = {static_cast<RPL_TABLE::ALIGNMENT>(7), L, static_cast<RPL_TABLE::ALIGNMENT>(-1)};
    table->m_settings_changed = true;
    table->write_acf_settings();
    EXPECT_EQ(read_file(file_), "[||R||T]\nCOLUMN_WIDTHS=5R,6L,7R,\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n");
    EXPECT_EQ(internal_error_conditions(), std::vector<std::string>(2, "m_column_alignment[i] == RIGHT"));
}

TEST_F(TableSettings, SettersFillSkippedColumnsAndMarkTheTableChanged) {
    auto writer = make(3);
    writer->set_column_width(0, 120);
    writer->set_column_width(2, 60);  // column 1 is filled with 0
    writer->set_alignment(1, R);
    writer->set_display_column(2, 1);
    writer->set_display_column(1, 2);
    EXPECT_TRUE(writer->m_settings_changed);
    writer->write_acf_settings();
    EXPECT_EQ(read_file(file_),
              "[||R||T]\nCOLUMN_ORDER=0,2,1,\nCOLUMN_WIDTHS=120L,0R,60L,\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n");
}

TEST_F(TableSettings, TableOfManyColumnsRoundTripsThroughAVeryLongLine) {
    const std::uint32_t columns = 20000;
    auto writer = make(columns);
    for (std::uint32_t i = 0; i < columns; ++i) {
        writer->set_column_width(i, 100 + static_cast<int>(i % 7));
        writer->set_alignment(i, i % 3 == 0 ? R : L);
        writer->set_display_column(i, static_cast<int>(columns - 1 - i));
    }
    writer->write_acf_settings();

    auto reader = make(columns);
    EXPECT_TRUE(reader->read_acf_settings());
    EXPECT_TRUE(ints(reader->m_column_width) == ints(writer->m_column_width));
    EXPECT_TRUE(alignments(reader->m_column_alignment) == alignments(writer->m_column_alignment));
    EXPECT_TRUE(ints(reader->m_display_column) == ints(writer->m_display_column));
}

TEST_F(TableSettings, BuildingTheTocReadsTheColumnsForTheReportsColumnCount) {
    auto* root = new RDB_FOLDER_OBJECT("R");
    root->add(new RDB_TABLE_OBJECT("T", 2, 4));
    install_report(RDB_REPORT_TIMING, root);
    write_file(file_, "[||R||T]\nCOLUMN_ORDER=1,0,5,\nCOLUMN_WIDTHS=30R,40L,50L,\nOUTPUT_SECTION=0\n");

    toc_->generate_toc(true);
    RPL_TABLE* table = toc_->section_exists("||R||T")->dynamic_cast_to_RPL_TABLE();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->m_num_columns, 2u);
    EXPECT_EQ(ints(table->m_column_width), (INTS{30, 40}));
    EXPECT_EQ(alignments(table->m_column_alignment), (ALIGNMENTS{R, L}));
    EXPECT_EQ(ints(table->m_display_column), (INTS{1, 0}));
    EXPECT_FALSE(table->m_marked_for_output);
}
