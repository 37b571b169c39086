// The section kinds: the checked downcast family that tells them apart, and
// what each kind holds when it is constructed.
#include "support/test_support.h"

using namespace rpltest;

namespace {

class SectionKinds : public HostTest {};

// One member of the downcast family, in both forms, and the object seen as
// that class by the language (only asked of objects of that class).
struct CAST {
    const char* name;
    std::function<const void*(RPL_REPORT_SECTION*)> cast;
    std::function<const void*(const RPL_REPORT_SECTION*)> const_cast_;
    std::function<const void*(RPL_REPORT_SECTION*)> as_class;
};

#define RPL_CAST_ROW(K)                                                                \
    CAST {                                                                             \
        #K, [](RPL_REPORT_SECTION* s) -> const void* { return s->dynamic_cast_to_##K(); }, \
            [](const RPL_REPORT_SECTION* s) -> const void* { return s->dynamic_cast_to_##K(); }, \
            [](RPL_REPORT_SECTION* s) -> const void* { return static_cast<K*>(s); }    \
    }

// In the order of the family's slots; a kind's position here is its index.
const std::vector<CAST>& family() {
    static const std::vector<CAST> casts = {
        RPL_CAST_ROW(RPL_REPORT_SECTION), RPL_CAST_ROW(RPL_FOLDER),   RPL_CAST_ROW(RPL_CHART),
        RPL_CAST_ROW(RPL_TEXT),           RPL_CAST_ROW(RPL_TABLE),    RPL_CAST_ROW(RPL_EMBEDDED),
        RPL_CAST_ROW(RPL_CMP_SUMMARY),    RPL_CAST_ROW(RPL_GAUGES),
    };
    return casts;
}

struct KIND {
    std::size_t index;  // into family()
    std::function<RPL_REPORT_SECTION*()> make_default;
    std::function<RPL_REPORT_SECTION*(const string&)> make_named;
};

template <class K>
KIND kind(std::size_t index) {
    return {index, [] { return new K(); }, [](const string& name) { return new K(name); }};
}

const std::vector<KIND>& kinds() {
    static const std::vector<KIND> all = {
        kind<RPL_REPORT_SECTION>(0), kind<RPL_FOLDER>(1), kind<RPL_CHART>(2),       kind<RPL_TEXT>(3),
        kind<RPL_TABLE>(4),          kind<RPL_EMBEDDED>(5), kind<RPL_CMP_SUMMARY>(6), kind<RPL_GAUGES>(7),
    };
    return all;
}

// Both constructors of every kind.
std::vector<std::pair<std::size_t, std::unique_ptr<RPL_REPORT_SECTION>>> one_of_each() {
    std::vector<std::pair<std::size_t, std::unique_ptr<RPL_REPORT_SECTION>>> out;
    for (const KIND& k : kinds()) {
        out.emplace_back(k.index, std::unique_ptr<RPL_REPORT_SECTION>(k.make_default()));
        out.emplace_back(k.index, std::unique_ptr<RPL_REPORT_SECTION>(k.make_named(S("named"))));
    }
    return out;
}

}  // namespace

TEST_F(SectionKinds, EachCastAnswersForItsOwnKindAndTheBaseOnly) {
    for (const auto& entry : one_of_each()) {
        RPL_REPORT_SECTION* s = entry.second.get();
        const RPL_REPORT_SECTION* cs = s;
        const std::size_t own = entry.first;
        for (std::size_t j = 0; j < family().size(); ++j) {
            const CAST& cast = family()[j];
            const bool answers = j == 0 || j == own;
            const void* expected = answers ? cast.as_class(s) : nullptr;
            EXPECT_EQ(cast.cast(s), expected) << family()[own].name << " asked " << cast.name;
            EXPECT_EQ(cast.const_cast_(cs), expected) << family()[own].name << " asked " << cast.name << " const";
        }
    }
}

TEST_F(SectionKinds, EveryKindStartsWithTheSectionDefaults) {
    for (const auto& entry : one_of_each()) {
        const RPL_REPORT_SECTION& s = *entry.second;
        const bool is_text = entry.first == 3;
        SCOPED_TRACE(family()[entry.first].name);
        EXPECT_EQ(s.m_non_text_flag, !is_text) << "only texts clear it";
        EXPECT_EQ(s.m_children, nullptr);
        EXPECT_TRUE(s.m_marked_for_output);
        EXPECT_FALSE(s.m_spare_flag);
        EXPECT_EQ(s.m_parent, nullptr);
        EXPECT_EQ(s.m_toc, nullptr);
        EXPECT_EQ(s.m_rdb_object_type, 0);
        EXPECT_TRUE(s.m_rdb_path.empty());
        EXPECT_EQ(s.m_page_orientation, 1);
        EXPECT_FALSE(s.m_settings_changed);
    }
}

TEST_F(SectionKinds, NamesComeFromTheConstructorAndSummaryDefaultsToSummary) {
    const std::vector<std::pair<std::size_t, std::string>> default_names = {
        {0, ""}, {1, ""}, {2, ""}, {3, ""}, {4, ""}, {5, ""}, {6, "Summary"}, {7, ""},
    };
    for (const auto& expected : default_names) {
        const KIND& k = kinds()[expected.first];
        std::unique_ptr<RPL_REPORT_SECTION> unnamed(k.make_default());
        std::unique_ptr<RPL_REPORT_SECTION> named(k.make_named(S("Timing||Clocks")));
        EXPECT_EQ(Std(unnamed->m_name), expected.second) << family()[k.index].name;
        EXPECT_EQ(Std(named->m_name), "Timing||Clocks") << family()[k.index].name;
        EXPECT_TRUE(unnamed->m_rdb_path.empty()) << "no path until a builder gives one";
    }
}

TEST_F(SectionKinds, KindSpecificFieldsStartEmpty) {
    for (bool named : {false, true}) {
        SCOPED_TRACE(named ? "named" : "default");
        std::unique_ptr<RPL_TEXT> text(named ? new RPL_TEXT(S("t")) : new RPL_TEXT());
        EXPECT_FALSE(text->m_is_html);
        EXPECT_FALSE(text->m_non_text_flag);

        std::unique_ptr<RPL_CHART> chart(named ? new RPL_CHART(S("c")) : new RPL_CHART());
        EXPECT_EQ(chart->m_chart_type, 0);

        std::unique_ptr<RPL_EMBEDDED> embedded(named ? new RPL_EMBEDDED(S("e")) : new RPL_EMBEDDED());
        EXPECT_EQ(embedded->m_embedded_type, static_cast<RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM>(0));
        EXPECT_TRUE(embedded->m_info_str.empty());

        std::unique_ptr<RPL_TABLE> table(named ? new RPL_TABLE(S("t")) : new RPL_TABLE());
        EXPECT_EQ(table->m_num_columns, 0u);
        EXPECT_TRUE(table->m_column_width.empty());
        EXPECT_TRUE(table->m_display_column.empty());
        EXPECT_TRUE(table->m_column_alignment.empty());
        EXPECT_FALSE(table->m_row_test_failed);

        std::unique_ptr<RPL_GAUGES> gauges(named ? new RPL_GAUGES(S("g")) : new RPL_GAUGES());
        EXPECT_TRUE(gauges->m_percentages.empty());
    }
}

TEST_F(SectionKinds, SetEmbeddedTypeStoresTheKindAndPersistsNothing) {
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, S("r"));
    for (bool changed_before : {false, true}) {
        RPL_EMBEDDED section(S("E"));
        section.m_toc = &toc;
        section.m_rdb_path = S("||R||E");
        section.m_settings_changed = changed_before;
        for (RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM type :
             {RDB_EMBEDDED_IMAGE, RDB_EMBEDDED_DOCUMENT, static_cast<RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM>(-5)}) {
            section.set_embedded_type(type);
            EXPECT_EQ(section.m_embedded_type, type);
            EXPECT_EQ(section.m_settings_changed, changed_before);
        }
    }
    EXPECT_FALSE(file_exists(Std(toc.get_settings_filename()))) << "the settings file is not touched";
}
