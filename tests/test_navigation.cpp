// Looking sections up by rdb path and stepping through the index to the
// next or previous section that is not a folder.
#include "support/test_support.h"

using namespace rpltest;

namespace {

const RDB_REPORT_TYPE kType = RDB_REPORT_SYNTHESIS;

// The report "R": a table T1, a folder F holding a chart C1 and an empty
// folder G, then a text X1.
class Navigation : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        auto* r = new RDB_FOLDER_OBJECT("R");
        r->add(new RDB_TABLE_OBJECT("T1", 2, 1));
        auto* f = r->add(new RDB_FOLDER_OBJECT("F"));
        f->add(new RDB_CHART_TABLE_OBJECT("C1", 1));
        f->add(new RDB_FOLDER_OBJECT("G"));
        r->add(new RDB_TEXT_OBJECT("X1", false));
        install_report(kType, r);
    }

    std::string next(RPL_REPORT_TOC& toc, const std::string& path) { return Std(toc.get_next_section(S(path))); }
    std::string previous(RPL_REPORT_TOC& toc, const std::string& path) {
        return Std(toc.get_previous_section(S(path)));
    }
};

struct Step {
    std::string from, next, previous;
};

// Every way to name a section that is not exactly its path.
const std::vector<std::string> kNoMatch = {"",          "||r||T1", "||R||T1 ", " ||R||T1", "R||T1", "||R||T",
                                           "||R||T1||", "||R||",   "||",       "||R||G",  "||R||F||X1"};

}  // namespace

TEST_F(Navigation, IndexOfTheExampleReport) {
    RPL_REPORT_TOC toc(kType, S("r"));
    toc.generate_toc(true);
    EXPECT_EQ(index_paths(toc),
              (std::vector<std::string>{"||R", "||R||T1", "||R||F", "||R||F||C1", "||R||F||G", "||R||X1"}));
}

TEST_F(Navigation, SteppingPassesOverFoldersInBothDirections) {
    RPL_REPORT_TOC toc(kType, S("r"));
    toc.generate_toc(true);
    const std::vector<Step> steps = {
        {"||R", "||R||T1", ""},
        {"||R||T1", "||R||F||C1", ""},
        {"||R||F", "||R||F||C1", "||R||T1"},
        {"||R||F||C1", "||R||X1", "||R||T1"},
        {"||R||F||G", "||R||X1", "||R||F||C1"},
        {"||R||X1", "", "||R||F||C1"},
    };
    for (const Step& s : steps) {
        SCOPED_TRACE(s.from);
        EXPECT_EQ(next(toc, s.from), s.next);
        EXPECT_EQ(previous(toc, s.from), s.previous);
    }
    for (const std::string& path : kNoMatch) {
        SCOPED_TRACE("'" + path + "'");
        EXPECT_EQ(next(toc, path), "");
        EXPECT_EQ(previous(toc, path), "");
    }
}

TEST_F(Navigation, SteppingTellsFoldersByTheirObjectType) {
    RPL_REPORT_TOC toc(kType, S("r"));
    toc.generate_toc(true);
    // The object type decides, not the section's kind.
    toc.section_exists(S("||R||X1"))->m_rdb_object_type = 1;
    toc.section_exists(S("||R||F"))->m_rdb_object_type = 3;
    EXPECT_EQ(next(toc, "||R||F||C1"), "");
    EXPECT_EQ(next(toc, "||R||T1"), "||R||F");
    EXPECT_EQ(previous(toc, "||R||X1"), "||R||F||C1");
    EXPECT_EQ(previous(toc, "||R||F||C1"), "||R||F");
}

TEST_F(Navigation, SectionExistsFindsOnlyTheExactPath) {
    RPL_REPORT_TOC toc(kType, S("r"));
    toc.generate_toc(true);
    for (std::size_t i = 0; i < toc.m_section_index.size(); ++i) {
        RPL_REPORT_SECTION* s = toc.m_section_index[i];
        EXPECT_EQ(toc.section_exists(s->m_rdb_path), s) << Std(s->m_rdb_path);
    }
    RPL_REPORT_SECTION* chart = toc.section_exists(S("||R||F||C1"));
    ASSERT_NE(chart, nullptr);
    EXPECT_NE(chart->dynamic_cast_to_RPL_CHART(), nullptr);
    for (const std::string& path : kNoMatch) EXPECT_EQ(toc.section_exists(S(path)), nullptr) << "'" << path << "'";
    EXPECT_EQ(toc.section_exists(S("R||F")), nullptr) << "the leading || belongs to the path";
}

TEST_F(Navigation, TocThatHoldsNoTreeFindsNothing) {
    RPL_REPORT_TOC never(kType, S("r"));
    RPL_REPORT_TOC cleared(kType, S("r"));
    cleared.generate_toc(true);
    cleared.clear_children();
    RPL_REPORT_TOC failed(RDB_REPORT_POWER, S("r"));  // no report of that type
    failed.generate_toc(true);

    for (RPL_REPORT_TOC* toc : {&never, &cleared, &failed}) {
        for (const char* path : {"||R", "||R||T1", "||R||X1", ""}) {
            SCOPED_TRACE(path);
            EXPECT_EQ(toc->section_exists(S(path)), nullptr);
            EXPECT_EQ(next(*toc, path), "");
            EXPECT_EQ(previous(*toc, path), "");
        }
    }

    // Without a root list at all lookup still answers null.
    RPL_SECTION_LIST* roots = never.m_children;
    never.m_children = nullptr;
    EXPECT_EQ(never.section_exists(S("||R")), nullptr);
    never.m_children = roots;
}

TEST_F(Navigation, FirstOfTwoEqualPathsIsTheAnchor) {
    auto* r = new RDB_FOLDER_OBJECT("D");
    r->add(new RDB_TEXT_OBJECT("A", false));
    r->add(new RDB_TABLE_OBJECT("A", 1, 0));
    r->add(new RDB_FOLDER_OBJECT("sub"));
    r->add(new RDB_TEXT_OBJECT("B", false));
    install_report(RDB_REPORT_POWER, r);
    RPL_REPORT_TOC toc(RDB_REPORT_POWER, S("dup"));
    toc.generate_toc(true);

    EXPECT_EQ(toc.section_exists(S("||D||A")), toc.m_section_index[1]);
    EXPECT_EQ(next(toc, "||D||A"), "||D||A") << "the step from the first lands on the second";
    EXPECT_EQ(next(toc, "||D||D"), "");
    EXPECT_EQ(previous(toc, "||D||A"), "") << "the second can never be the anchor";
    EXPECT_EQ(previous(toc, "||D||B"), "||D||A");
    EXPECT_EQ(previous(toc, "||D||sub"), "||D||A");
    EXPECT_EQ(next(toc, "||D||sub"), "||D||B");
}

TEST_F(Navigation, ReportOfFoldersOnlyHasNothingToStepTo) {
    auto* r = new RDB_FOLDER_OBJECT("E");
    r->add(new RDB_FOLDER_OBJECT("a"))->add(new RDB_FOLDER_OBJECT("b"));
    install_report(RDB_REPORT_POWER, r);
    RPL_REPORT_TOC toc(RDB_REPORT_POWER, S("folders"));
    toc.generate_toc(true);
    ASSERT_EQ(toc.m_section_index.size(), 3u);
    for (const char* path : {"||E", "||E||a", "||E||a||b"}) {
        EXPECT_EQ(next(toc, path), "") << path;
        EXPECT_EQ(previous(toc, path), "") << path;
    }
}
