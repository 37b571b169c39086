// A gauges section's percentage flags, copied from the report's gauges
// object one record at a time until the first missing record.
#include "support/test_support.h"

using namespace rpltest;

namespace {

class Gauges : public HostTest {};

std::vector<bool> flags(const RPL_GAUGES& g) { return std::vector<bool>(g.m_percentages.begin(), g.m_percentages.end()); }

// A gauges object from a description: 't' and 'f' are gauges, '_' a
// missing record.
std::unique_ptr<RDB_GAUGES_OBJECT> gauges_object(const std::string& layout) {
    auto object = std::make_unique<RDB_GAUGES_OBJECT>("G");
    for (char c : layout) {
        if (c == '_')
            object->add_gap();
        else
            object->add_gauge(c == 't');
    }
    return object;
}

}  // namespace

TEST_F(Gauges, InitPercentagesCopiesTheFlagsUpToTheFirstMissingRecord) {
    struct Case {
        std::string layout;
        std::vector<bool> expected;
    };
    const std::vector<Case> cases = {
        {"tft", {true, false, true}},
        {"", {}},
        {"_t", {}},
        {"f", {false}},
        {"tt_f", {true, true}},
        {"ff_", {false, false}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("'" + c.layout + "'");
        auto object = gauges_object(c.layout);
        RPL_GAUGES section(S("G"));
        section.init_percentages(object.get());
        EXPECT_EQ(flags(section), c.expected);
    }
}

TEST_F(Gauges, InitPercentagesWithoutObjectChangesNothingAndSaysNothing) {
    RPL_GAUGES empty;
    empty.init_percentages(nullptr);
    EXPECT_TRUE(empty.m_percentages.empty());

    RPL_GAUGES filled;
    filled.m_percentages.push_back(true);
    filled.init_percentages(nullptr);
    EXPECT_EQ(flags(filled), std::vector<bool>{true});
    EXPECT_FALSE(filled.m_settings_changed);
    EXPECT_EQ(internal_error_conditions(), std::vector<std::string>{});
    EXPECT_EQ(debug_texts(), std::vector<std::string>{});
}

TEST_F(Gauges, InitPercentagesAppendsToWhatIsThere) {
    auto object = gauges_object("tf");
    RPL_GAUGES section(S("G"));
    section.init_percentages(object.get());
    section.init_percentages(object.get());
    EXPECT_EQ(flags(section), (std::vector<bool>{true, false, true, false}));
}

TEST_F(Gauges, FlagsAreReleasedWithTheSection) {
    auto object = gauges_object(std::string(100, 't'));
    const std::size_t blocks_before = host_mem_live_blocks();
    const std::size_t bytes_before = host_mem_live_bytes();
    {
        RPL_GAUGES section(S("G"));
        section.init_percentages(object.get());
        ASSERT_EQ(section.m_percentages.size(), 100u);
        EXPECT_GT(host_mem_live_blocks(), blocks_before) << "the flags use the tracked allocator";
    }
    EXPECT_EQ(host_mem_live_blocks(), blocks_before);
    EXPECT_EQ(host_mem_live_bytes(), bytes_before);
}
