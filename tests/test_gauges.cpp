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

// Each row calls init_percentages once per layout, null standing for no
// object at all.
TEST_F(Gauges, InitPercentagesAppendsTheFlagsUpToTheFirstMissingRecord) {
    const struct {
        std::vector<const char*> layouts;
        std::vector<bool> flags;
    } kCases[] = {
        {{"tft"}, {true, false, true}}, {{""}, {}},         {{"_t"}, {}},
        {{"tt_f"}, {true, true}},       {{nullptr}, {}},    {{"tf", nullptr, "tf"}, {true, false, true, false}},
    };
    for (const auto& c : kCases) {
        RPL_GAUGES section(to_rpl("G"));
        std::string trace;
        for (const char* layout : c.layouts) {
            trace += layout ? "'" + std::string(layout) + "' " : "null ";
            section.init_percentages(layout ? gauges_object(layout).get() : nullptr);
        }
        EXPECT_EQ(flags(section), c.flags) << trace;
    }
}
