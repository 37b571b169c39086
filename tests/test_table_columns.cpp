// A table section's three column lists: widths, display columns and
// alignments. Each grows on demand with its fill value, reads its fill value
// past its end, and is independent of the other two and of the column count.
#include "support/test_support.h"

#include <climits>
#include <functional>

using namespace rpltest;

namespace {

class TableColumns : public HostTest {};

// One member of the getter/setter family, seen through ints so one table of
// cases serves all three.
struct Family {
    const char* name;
    std::function<int(RPL_TABLE&, unsigned)> get;
    std::function<void(RPL_TABLE&, unsigned, int)> set;
    std::function<std::vector<int>(const RPL_TABLE&)> list;
    int value_a;  // two values other than the fill value
    int value_b;
};

template <class LIST>
std::vector<int> as_ints(const LIST& list) {
    std::vector<int> out;
    for (auto v : list) out.push_back(static_cast<int>(v));
    return out;
}

const std::vector<Family>& families() {
    static const std::vector<Family> all = {
        {"width", [](RPL_TABLE& t, unsigned i) { return t.get_column_width(i); },
         [](RPL_TABLE& t, unsigned i, int v) { t.set_column_width(i, v); },
         [](const RPL_TABLE& t) { return as_ints(t.m_column_width); }, 120, -7},
        {"display column", [](RPL_TABLE& t, unsigned i) { return t.get_display_column(i); },
         [](RPL_TABLE& t, unsigned i, int v) { t.set_display_column(i, v); },
         [](const RPL_TABLE& t) { return as_ints(t.m_display_column); }, 3, INT_MAX},
        {"alignment", [](RPL_TABLE& t, unsigned i) { return static_cast<int>(t.get_alignment(i)); },
         [](RPL_TABLE& t, unsigned i, int v) { t.set_alignment(i, static_cast<RPL_TABLE::ALIGNMENT>(v)); },
         [](const RPL_TABLE& t) { return as_ints(t.m_column_alignment); }, RPL_TABLE::RIGHT, RPL_TABLE::RIGHT},
    };
    return all;
}

// The lengths of the three lists, in family order.
std::vector<std::size_t> lengths(const RPL_TABLE& t) {
    return {t.m_column_width.size(), t.m_display_column.size(), t.m_column_alignment.size()};
}

}  // namespace

TEST_F(TableColumns, NewTableReadsFillValuesEverywhere) {
    for (RPL_TABLE* table : {new RPL_TABLE(), new RPL_TABLE(S("T"))}) {
        EXPECT_EQ(table->m_num_columns, 0u);
        EXPECT_FALSE(table->m_row_test_failed);
        for (unsigned index : {0u, 1u, 5u, 1000u, UINT_MAX}) {
            EXPECT_EQ(table->get_column_width(index), 0) << index;
            EXPECT_EQ(table->get_display_column(index), 0) << index;
            EXPECT_EQ(table->get_alignment(index), RPL_TABLE::LEFT) << index;
        }
        EXPECT_EQ(lengths(*table), (std::vector<std::size_t>{0, 0, 0})) << "getters never grow a list";
        EXPECT_FALSE(table->m_settings_changed);
        delete table;
    }
}

TEST_F(TableColumns, SetterGrowsOnlyItsOwnListWithFillValues) {
    for (std::size_t f = 0; f < families().size(); ++f) {
        const Family& family = families()[f];
        SCOPED_TRACE(family.name);
        RPL_TABLE table(S("T"));
        family.set(table, 5, family.value_a);
        EXPECT_EQ(family.list(table), (std::vector<int>{0, 0, 0, 0, 0, family.value_a}));
        EXPECT_EQ(family.get(table, 3), 0);
        EXPECT_EQ(family.get(table, 5), family.value_a);
        EXPECT_EQ(family.get(table, 6), 0);
        std::vector<std::size_t> expected_lengths = {0, 0, 0};
        expected_lengths[f] = 6;
        EXPECT_EQ(lengths(table), expected_lengths) << "the other lists stay empty";
    }
}

TEST_F(TableColumns, AlignmentGrowsWithLeft) {
    RPL_TABLE table(S("T"));
    table.set_alignment(2, RPL_TABLE::RIGHT);
    EXPECT_EQ(std::vector<RPL_TABLE::ALIGNMENT>(table.m_column_alignment.begin(), table.m_column_alignment.end()),
              (std::vector<RPL_TABLE::ALIGNMENT>{RPL_TABLE::LEFT, RPL_TABLE::LEFT, RPL_TABLE::RIGHT}));
    EXPECT_TRUE(table.m_column_width.empty());
}

TEST_F(TableColumns, SetterWithinTheListOverwritesInPlace) {
    for (const Family& family : families()) {
        SCOPED_TRACE(family.name);
        RPL_TABLE table(S("T"));
        family.set(table, 3, family.value_a);
        family.set(table, 1, family.value_b);
        family.set(table, 3, 0);
        family.set(table, 0, family.value_a);
        EXPECT_EQ(family.list(table), (std::vector<int>{family.value_a, family.value_b, 0, 0}));
    }
}

TEST_F(TableColumns, EverySetterMarksTheSettingsChangedEvenWithTheStoredValue) {
    for (const Family& family : families()) {
        for (unsigned index : {0u, 4u}) {
            SCOPED_TRACE(std::string(family.name) + " at " + std::to_string(index));
            RPL_TABLE table(S("T"));
            family.set(table, index, 0);
            EXPECT_TRUE(table.m_settings_changed) << "writing the fill value past the end";
            table.m_settings_changed = false;
            family.set(table, index, 0);
            EXPECT_TRUE(table.m_settings_changed) << "writing the value already stored";
        }
    }
}

TEST_F(TableColumns, IndexBeyondTheColumnCountStillGrowsTheList) {
    for (const Family& family : families()) {
        SCOPED_TRACE(family.name);
        RPL_TABLE table(S("T"));
        table.m_num_columns = 2;
        family.set(table, 9, family.value_a);
        EXPECT_EQ(family.list(table).size(), 10u);
        EXPECT_EQ(family.get(table, 9), family.value_a);
        EXPECT_EQ(table.m_num_columns, 2u);
    }
}

TEST_F(TableColumns, SettersChangeOnlyMemory) {
    auto* r = new RDB_FOLDER_OBJECT("R");
    r->add(new RDB_TABLE_OBJECT("T", 2, 1));
    install_report(RDB_REPORT_TIMING, r);
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, S("columns"));
    toc.generate_toc(true);
    RPL_TABLE* table = toc.section_exists(S("||R||T"))->dynamic_cast_to_RPL_TABLE();
    ASSERT_NE(table, nullptr);
    for (const Family& family : families()) family.set(*table, 1, family.value_a);
    EXPECT_FALSE(file_exists(settings_path(RDB_REPORT_TIMING, "columns"))) << "saving is write_acf_settings' part";
}
