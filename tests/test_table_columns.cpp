// A table section's three column lists: widths, display columns and
// alignments. Each grows on demand with its fill value, reads its fill value
// past its end, and is independent of the other two and of the column count.
#include "support/test_support.h"

#include <climits>
#include <functional>
#include <iterator>

using namespace rpltest;

namespace {

class TableColumns : public HostTest {};

template <class LIST>
std::vector<int> as_ints(const LIST& list) {
    return std::vector<int>(list.begin(), list.end());
}

// The getter/setter family, each member seen through ints so one table of
// cases serves all three.
const struct {
    const char* name;
    std::function<int(RPL_TABLE&, unsigned)> get;
    std::function<void(RPL_TABLE&, unsigned, int)> set;
    std::function<std::vector<int>(const RPL_TABLE&)> list;
    int value;  // one value other than the fill value
} kFamilies[] = {
    {"width", [](RPL_TABLE& t, unsigned i) { return t.get_column_width(i); },
     [](RPL_TABLE& t, unsigned i, int v) { t.set_column_width(i, v); },
     [](const RPL_TABLE& t) { return as_ints(t.m_column_width); }, 120},
    {"display column", [](RPL_TABLE& t, unsigned i) { return t.get_display_column(i); },
     [](RPL_TABLE& t, unsigned i, int v) { t.set_display_column(i, v); },
     [](const RPL_TABLE& t) { return as_ints(t.m_display_column); }, 3},
    {"alignment", [](RPL_TABLE& t, unsigned i) { return static_cast<int>(t.get_alignment(i)); },
     [](RPL_TABLE& t, unsigned i, int v) { t.set_alignment(i, static_cast<RPL_TABLE::ALIGNMENT>(v)); },
     [](const RPL_TABLE& t) { return as_ints(t.m_column_alignment); }, RPL_TABLE::RIGHT},
};

// The lengths of the three lists, in family order.
std::vector<std::size_t> lengths(const RPL_TABLE& t) {
    return {t.m_column_width.size(), t.m_display_column.size(), t.m_column_alignment.size()};
}

}  // namespace

// The fill values are 0 and LEFT (0 too); the column count is the report's,
// and the lists follow the indices given.
TEST_F(TableColumns, SetterGrowsOnlyItsOwnListWithFillValuesAndOverwritesInPlace) {
    for (std::size_t f = 0; f < std::size(kFamilies); ++f) {
        const auto& family = kFamilies[f];
        SCOPED_TRACE(family.name);
        RPL_TABLE table(to_rpl("T"));
        for (unsigned index : {0u, 5u, UINT_MAX}) EXPECT_EQ(family.get(table, index), 0) << "new table, " << index;
        table.m_num_columns = 2;
        family.set(table, 5, family.value);
        EXPECT_EQ(family.list(table), (std::vector<int>{0, 0, 0, 0, 0, family.value}));
        EXPECT_EQ(family.get(table, 5), family.value);
        EXPECT_EQ(family.get(table, 6), 0);
        std::vector<std::size_t> expected_lengths = {0, 0, 0};
        expected_lengths[f] = 6;
        EXPECT_EQ(lengths(table), expected_lengths) << "getters grow nothing, the other lists stay empty";
        EXPECT_EQ(table.m_num_columns, 2u);

        family.set(table, 5, 0);
        family.set(table, 1, family.value);
        EXPECT_EQ(family.list(table), (std::vector<int>{0, family.value, 0, 0, 0, 0}));
    }
    RPL_TABLE table(to_rpl("T"));
    table.set_alignment(2, RPL_TABLE::RIGHT);
    EXPECT_EQ(as_ints(table.m_column_alignment), (std::vector<int>{RPL_TABLE::LEFT, RPL_TABLE::LEFT, RPL_TABLE::RIGHT}));
}

// Saving is write_acf_settings' part: a setter only marks the change, even
// when it writes the value already there.
TEST_F(TableColumns, EverySetterMarksTheSettingsChangedAndWritesNothing) {
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, to_rpl("columns"));
    for (const auto& family : kFamilies) {
        SCOPED_TRACE(family.name);
        RPL_TABLE table(to_rpl("T"));
        table.m_toc = &toc;
        table.m_rdb_path = to_rpl("||R||T");
        family.set(table, 4, 0);
        EXPECT_TRUE(table.m_settings_changed) << "writing the fill value past the end";
        table.m_settings_changed = false;
        family.set(table, 4, 0);
        EXPECT_TRUE(table.m_settings_changed) << "writing the value already stored";
    }
    EXPECT_FALSE(file_exists(to_std(toc.get_settings_filename())));
}
