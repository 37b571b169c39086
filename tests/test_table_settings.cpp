// A table's column widths, alignments and order in the settings file: how
// "COLUMN_WIDTHS" and "COLUMN_ORDER" are read item by item and written from
// the lists, and what is left alone when a list falls short.
#include "support/test_support.h"

#include <memory>

using namespace rpltest;

namespace {

const RPL_TABLE::ALIGNMENT L = RPL_TABLE::LEFT;
const RPL_TABLE::ALIGNMENT R = RPL_TABLE::RIGHT;

typedef std::vector<int> INTS;
typedef std::vector<RPL_TABLE::ALIGNMENT> ALIGNMENTS;

class TableSettings : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        file_ = to_std(toc_.get_settings_filename());
    }

    std::unique_ptr<RPL_TABLE> make(std::uint32_t columns) {
        auto table = std::make_unique<RPL_TABLE>(to_rpl("T"));
        table->m_rdb_path = "||R||T";
        table->m_toc = &toc_;
        table->m_num_columns = columns;
        return table;
    }

    RPL_REPORT_TOC toc_{RDB_REPORT_TIMING, "r"};
    std::string file_;
};

}  // namespace

TEST_F(TableSettings, ReadingTakesCommaEndedItemsUpToTheColumnCount) {
    // Every table starts with widths {9, 9}, alignments {RIGHT}, order {8}.
    const struct {
        const char* what;
        std::uint32_t columns;
        const char* widths;  // stored values, null for absent
        const char* order;
        INTS expect_widths;
        ALIGNMENTS expect_alignments;
        INTS expect_order;
        bool result;
    } kCases[] = {
        {"three columns, left right left", 3, "120L,80R,60L,", "0,2,1,", {120, 80, 60}, {L, R, L}, {0, 2, 1}, true},
        {"items beyond the columns are ignored", 2, "100L,200R,300L,", "1,0,2,", {100, 200}, {L, R}, {1, 0}, true},
        {"text after the last comma is no item", 2, "100L,200R", "1,0", {100}, {L}, {1}, true},
        {"any letter but L is right", 3, "120l,5x,7L,", nullptr, {120, 5, 7}, {R, R, L}, {8}, true},
        {"letters go to the first columns in turn", 3, "10,20R,30,", nullptr, {10, 20, 30}, {R}, {8}, true},
        {"empty items read as zero without alignment", 2, ",5L,", ",3,", {0, 5}, {L}, {0, 3}, true},
        {"zero columns empties the lists", 0, "1L,2R,", "0,1,", {}, {}, {}, true},
        {"absent keys leave the lists", 2, nullptr, nullptr, {9, 9}, {R}, {8}, false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        std::string file = "[||R||T]\n";
        if (c.order) file += std::string("COLUMN_ORDER=") + c.order + "\n";
        if (c.widths) file += std::string("COLUMN_WIDTHS=") + c.widths + "\n";
        write_file(file_, file);
        auto table = make(c.columns);
        table->m_column_width = {9, 9};
        table->m_column_alignment = {R};
        table->m_display_column = {8};
        // A second read replaces the lists rather than adding to them.
        for (int pass = 0; pass < 2; ++pass) EXPECT_EQ(table->read_acf_settings(), c.result);
        EXPECT_EQ(INTS(table->m_column_width.begin(), table->m_column_width.end()), c.expect_widths);
        EXPECT_EQ(ALIGNMENTS(table->m_column_alignment.begin(), table->m_column_alignment.end()),
                  c.expect_alignments);
        EXPECT_EQ(INTS(table->m_display_column.begin(), table->m_display_column.end()), c.expect_order);
        EXPECT_FALSE(table->m_settings_changed) << "reading is no change";
        EXPECT_EQ(read_file(file_), file) << "reading writes nothing";
    }
}

TEST_F(TableSettings, WritingFormatsEveryColumnAndLeavesAShortListsKeyAlone) {
    const struct {
        const char* what;
        std::uint32_t columns;
        INTS widths;
        ALIGNMENTS aligned;
        INTS order;
        const char* order_line;  // after "COLUMN_ORDER="
        const char* widths_line;
    } kCases[] = {
        {"three columns, left right left", 3, {120, 80, 60}, {L, R, L}, {0, 2, 1}, "0,2,1,", "120L,80R,60L,"},
        {"widths too short", 3, {1, 2}, {}, {0, 1, 2}, "0,1,2,", "old"},
        {"zero columns", 0, {1}, {R}, {0}, "old", "old"},
        {"missing alignments are L", 3, {1, 2, 3}, {R}, {2, 1, 0}, "2,1,0,", "1R,2L,3L,"},
        {"entries beyond the columns", 2, {1, 2, 3}, {R, R, R}, {0, 1, 2}, "0,1,", "1R,2R,"},
    };
    for (const auto& c : kCases) {
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
}
