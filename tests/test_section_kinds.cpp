// The section kinds: the checked downcast family that tells them apart.
#include "support/test_support.h"

using namespace rpltest;

namespace {

class SectionKinds : public HostTest {};

// Which casts answer, in the order section, folder, chart, text, table,
// embedded, summary, gauges: '1' the object itself, '0' null, 'x' another
// pointer. SECTION is the base class, const or not, to reach both forms.
template <class SECTION>
std::string answers(SECTION* s) {
    std::string out;
    auto note = [&](auto* cast) { out += cast == nullptr ? '0' : cast == s ? '1' : 'x'; };
    note(s->dynamic_cast_to_RPL_REPORT_SECTION());
    note(s->dynamic_cast_to_RPL_FOLDER());
    note(s->dynamic_cast_to_RPL_CHART());
    note(s->dynamic_cast_to_RPL_TEXT());
    note(s->dynamic_cast_to_RPL_TABLE());
    note(s->dynamic_cast_to_RPL_EMBEDDED());
    note(s->dynamic_cast_to_RPL_CMP_SUMMARY());
    note(s->dynamic_cast_to_RPL_GAUGES());
    return out;
}

}  // namespace

TEST_F(SectionKinds, EachCastAnswersForItsOwnKindAndTheBaseOnly) {
    const struct {
        std::unique_ptr<RPL_REPORT_SECTION> section;
        const char* casts;  // what answers() gives for it
    } kCases[] = {
        {std::make_unique<RPL_REPORT_SECTION>(), "10000000"}, {std::make_unique<RPL_FOLDER>(), "11000000"},
        {std::make_unique<RPL_CHART>(), "10100000"},          {std::make_unique<RPL_TEXT>(), "10010000"},
        {std::make_unique<RPL_TABLE>(), "10001000"},          {std::make_unique<RPL_EMBEDDED>(), "10000100"},
        {std::make_unique<RPL_CMP_SUMMARY>(), "10000010"},    {std::make_unique<RPL_GAUGES>(), "10000001"},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(answers(c.section.get()), c.casts);
        EXPECT_EQ(answers(static_cast<const RPL_REPORT_SECTION*>(c.section.get())), c.casts) << "const";
        EXPECT_EQ(c.section->m_non_text_flag, c.section->dynamic_cast_to_RPL_TEXT() == nullptr) << "texts clear it";
    }
}

// The embedded kind is not a persisted setting.
TEST_F(SectionKinds, SetEmbeddedTypeStoresTheKindAndLeavesSettingsAlone) {
    for (bool changed_before : {false, true}) {
        RPL_EMBEDDED section(to_rpl("E"));
        section.m_settings_changed = changed_before;
        for (auto type : {RDB_EMBEDDED_IMAGE, static_cast<RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM>(-5)}) {
            section.set_embedded_type(type);
            EXPECT_EQ(section.m_embedded_type, type);
            EXPECT_EQ(section.m_settings_changed, changed_before);
        }
    }
}
