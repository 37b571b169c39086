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
        toc_.generate_toc(true);
    }

    std::string next(RPL_REPORT_TOC& toc, const std::string& path) { return to_std(toc.get_next_section(to_rpl(path))); }
    std::string previous(RPL_REPORT_TOC& toc, const std::string& path) {
        return to_std(toc.get_previous_section(to_rpl(path)));
    }

    RPL_REPORT_TOC toc_{kType, to_rpl("r")};
};

}  // namespace

TEST_F(Navigation, SteppingPassesOverFoldersAndNeedsTheExactPath) {
    ASSERT_EQ(index_paths(toc_),
              (std::vector<std::string>{"||R", "||R||T1", "||R||F", "||R||F||C1", "||R||F||G", "||R||X1"}));
    const struct {
        std::string from, next, previous;
        bool exists;
    } kSteps[] = {
        {"||R", "||R||T1", "", true},
        {"||R||T1", "||R||F||C1", "", true},
        {"||R||F", "||R||F||C1", "||R||T1", true},
        {"||R||F||C1", "||R||X1", "||R||T1", true},
        {"||R||F||G", "||R||X1", "||R||F||C1", true},
        {"||R||X1", "", "||R||F||C1", true},
        // No match without exact equality.
        {"||r||T1", "", "", false},
        {"||R||T1 ", "", "", false},
        {"R||F", "", "", false},  // the leading || belongs to the path
        {"||R||", "", "", false},
        {"", "", "", false},
    };
    for (const auto& s : kSteps) {
        SCOPED_TRACE("'" + s.from + "'");
        EXPECT_EQ(next(toc_, s.from), s.next);
        EXPECT_EQ(previous(toc_, s.from), s.previous);
        RPL_REPORT_SECTION* found = toc_.section_exists(to_rpl(s.from));
        EXPECT_EQ(found ? to_std(found->m_rdb_path) : "none", s.exists ? s.from : "none");
    }
    EXPECT_NE(toc_.section_exists(to_rpl("||R||F||C1"))->dynamic_cast_to_RPL_CHART(), nullptr);

    // The object type tells a folder, not the section's kind.
    toc_.section_exists(to_rpl("||R||X1"))->m_rdb_object_type = 1;
    toc_.section_exists(to_rpl("||R||F"))->m_rdb_object_type = 3;
    EXPECT_EQ(next(toc_, "||R||F||C1"), "");
    EXPECT_EQ(previous(toc_, "||R||F||C1"), "||R||F");
}

TEST_F(Navigation, TocThatHoldsNoTreeFindsNothing) {
    RPL_REPORT_TOC never(kType, to_rpl("r"));
    RPL_REPORT_TOC cleared(kType, to_rpl("r"));
    cleared.generate_toc(true);
    cleared.clear_children();
    for (RPL_REPORT_TOC* toc : {&never, &cleared}) {
        for (const char* path : {"||R", "||R||T1", ""}) {
            SCOPED_TRACE(path);
            EXPECT_EQ(toc->section_exists(to_rpl(path)), nullptr);
            EXPECT_EQ(next(*toc, path), "");
            EXPECT_EQ(previous(*toc, path), "");
        }
    }
}

TEST_F(Navigation, FirstOfTwoEqualPathsIsTheAnchor) {
    auto* r = new RDB_FOLDER_OBJECT("D");
    r->add(new RDB_TEXT_OBJECT("A", false));
    r->add(new RDB_TABLE_OBJECT("A", 1, 0));
    r->add(new RDB_FOLDER_OBJECT("sub"));
    r->add(new RDB_TEXT_OBJECT("B", false));
    install_report(RDB_REPORT_POWER, r);
    RPL_REPORT_TOC toc(RDB_REPORT_POWER, to_rpl("dup"));
    toc.generate_toc(true);

    EXPECT_EQ(toc.section_exists(to_rpl("||D||A")), toc.m_section_index[1]);
    EXPECT_EQ(next(toc, "||D||A"), "||D||A") << "the step from the first lands on the second";
    EXPECT_EQ(previous(toc, "||D||A"), "") << "the second can never be the anchor";
    EXPECT_EQ(previous(toc, "||D||B"), "||D||A");
    EXPECT_EQ(next(toc, "||D||sub"), "||D||B");
}
