// The section kinds: the checked downcast family that tells them apart, and
// what each kind holds when it is constructed.
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

struct KIND {
    const char* name;
    const char* casts;         // what answers() gives for it
    const char* default_name;  // m_name after the default constructor
    std::function<RPL_REPORT_SECTION*(const char* name)> make;  // null: the default constructor
};

template <class K>
KIND kind(const char* name, const char* casts, const char* default_name = "") {
    return {name, casts, default_name,
            [](const char* n) -> RPL_REPORT_SECTION* { return n ? new K(to_rpl(n)) : new K(); }};
}

const std::vector<KIND> kKinds = {
    kind<RPL_REPORT_SECTION>("section", "10000000"), kind<RPL_FOLDER>("folder", "11000000"),
    kind<RPL_CHART>("chart", "10100000"),            kind<RPL_TEXT>("text", "10010000"),
    kind<RPL_TABLE>("table", "10001000"),            kind<RPL_EMBEDDED>("embedded", "10000100"),
    kind<RPL_CMP_SUMMARY>("summary", "10000010", "Summary"), kind<RPL_GAUGES>("gauges", "10000001"),
};

}  // namespace

TEST_F(SectionKinds, EachCastAnswersForItsOwnKindAndTheBaseOnly) {
    for (const KIND& k : kKinds) {
        std::unique_ptr<RPL_REPORT_SECTION> s(k.make(nullptr));
        EXPECT_EQ(answers(s.get()), k.casts) << k.name;
        EXPECT_EQ(answers(static_cast<const RPL_REPORT_SECTION*>(s.get())), k.casts) << k.name << " const";
    }
}

TEST_F(SectionKinds, EveryKindStartsWithTheSectionDefaults) {
    for (const KIND& k : kKinds) {
        for (const char* name : {static_cast<const char*>(nullptr), "Timing||Clocks"}) {
            SCOPED_TRACE(std::string(k.name) + (name ? " named" : " default"));
            std::unique_ptr<RPL_REPORT_SECTION> s(k.make(name));
            EXPECT_EQ(to_std(s->m_name), name ? name : k.default_name);
            EXPECT_EQ(s->m_non_text_flag, std::string(k.name) != "text") << "only texts clear it";
            EXPECT_TRUE(s->m_marked_for_output);
            EXPECT_FALSE(s->m_spare_flag);
            EXPECT_FALSE(s->m_settings_changed);
            EXPECT_EQ(s->m_page_orientation, 1);
            EXPECT_EQ(s->m_rdb_object_type, 0);
            EXPECT_TRUE(s->m_rdb_path.empty()) << "no path until a builder gives one";
            EXPECT_EQ(std::make_tuple(s->m_children, s->m_parent, s->m_toc),
                      std::make_tuple(nullptr, nullptr, nullptr));
        }
    }
}

TEST_F(SectionKinds, KindSpecificFieldsStartEmpty) {
    EXPECT_EQ(RPL_CHART().m_chart_type, 0);
    EXPECT_FALSE(RPL_TEXT().m_is_html);
    EXPECT_EQ(RPL_EMBEDDED().m_embedded_type, RDB_EMBEDDED_NONE);
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
