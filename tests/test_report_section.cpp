// The section tree: ownership of children, lookup by rdb path, the short
// path, the owning TOC and borrowing the report through it.
#include "support/test_support.h"

#include <tuple>

using namespace rpltest;

namespace {

class ReportSection : public HostTest {};

RPL_REPORT_SECTION* with_path(RPL_REPORT_SECTION* s, const std::string& path) {
    s->m_rdb_path = to_rpl(path);
    return s;
}

}  // namespace

TEST_F(ReportSection, SectionExistsFindsTheFirstInPreOrderAndIsExact) {
    // ||R
    //   ||R||A         children ||R||A||X, then ||R||A again
    //   ||R||A||X      (repeats the path of A's first child)
    RPL_FOLDER root;
    with_path(&root, "||R");
    RPL_REPORT_SECTION* a = with_path(new RPL_FOLDER(to_rpl("A")), "||R||A");
    RPL_REPORT_SECTION* a1 = with_path(new RPL_TABLE(to_rpl("X")), "||R||A||X");
    RPL_REPORT_SECTION* a2 = with_path(new RPL_TEXT(to_rpl("A")), "||R||A");
    RPL_REPORT_SECTION* b = with_path(new RPL_CHART(to_rpl("B")), "||R||A||X");
    root.add_child(a);
    a->add_child(a1);
    a->add_child(a2);
    root.add_child(b);

    const struct {
        RPL_REPORT_SECTION* from;
        std::string path;
        RPL_REPORT_SECTION* found;
    } kCases[] = {
        {&root, "||R", &root},
        {&root, "||R||A", a},      // the ancestor before its descendant
        {&root, "||R||A||X", a1},  // the earlier subtree before a later sibling
        {&root, "||R||Z", nullptr},   {&root, "R||A", nullptr},  // unknown; the short path is not a path
        {&root, "||R||A||", nullptr}, {&root, "||r||a", nullptr},
        {a2, "||R||A", a2},        // a section without children compares only itself
        {b, "||R||A", nullptr},    // only its own subtree is searched
    };
    for (const auto& c : kCases)
        EXPECT_EQ(c.from->section_exists(to_rpl(c.path)), c.found)
            << "from " << to_std(c.from->m_rdb_path) << " for '" << c.path << "'";
}

TEST_F(ReportSection, ShortPathDropsOneLeadingPairOfBars) {
    const struct {
        std::string path, short_path;
    } kCases[] = {{"||Report||Timing", "Report||Timing"}, {"||", ""}, {"", ""}, {"||||x", "||x"}, {"Rx", "Rx"}};
    for (const auto& c : kCases) {
        RPL_REPORT_SECTION s;
        s.m_rdb_path = to_rpl(c.path);
        EXPECT_EQ(to_std(s.get_short_rdb_path()), c.short_path) << "'" << c.path << "'";
        EXPECT_EQ(to_std(s.m_rdb_path), c.path) << "the section keeps its path";
    }
}

TEST_F(ReportSection, ChildrenAreAppendedOwnedAndDestroyedInListOrderOnce) {
    // R ── A ── A1
    //   │    └─ A2
    //   └─ B
    std::vector<std::string> log;
    auto* r = new LoggedSection("R", &log);
    auto* a = new LoggedSection("A", &log);
    auto* b = new LoggedSection("B", &log);
    r->add_child(a);
    r->add_child(b);
    a->add_child(new LoggedSection("A1", &log));
    a->add_child(new LoggedSection("A2", &log));
    EXPECT_EQ(std::vector<RPL_REPORT_SECTION*>(r->m_children->begin(), r->m_children->end()),
              (std::vector<RPL_REPORT_SECTION*>{a, b}));
    EXPECT_EQ(std::make_tuple(a->m_parent, b->m_parent, a->m_children->back()->m_parent),
              std::make_tuple(r, r, static_cast<RPL_REPORT_SECTION*>(a)));

    delete static_cast<RPL_REPORT_SECTION*>(r);
    // Each section is logged as its destruction begins, so each child's
    // whole subtree appears before the next child.
    EXPECT_EQ(log, (std::vector<std::string>{"R", "A", "A1", "A2", "B"}));
}

// A section asks through its TOC's type, anew on every call, and checks its
// TOC before every use: once the TOC is gone it has none and borrows nothing,
// and without a manager nobody is asked.
TEST_F(ReportSection, BorrowingTheReportNeedsALiveTocAndAManager) {
    install_report(RDB_REPORT_POWER, new RDB_FOLDER_OBJECT("R"));
    auto* gone = new RPL_REPORT_TOC(RDB_REPORT_POWER, to_rpl("r"));
    RPL_REPORT_TOC live(RDB_REPORT_POWER, to_rpl("r"));
    const struct {
        const char* what;
        RPL_REPORT_TOC* toc;
        bool manager;
        RPL_REPORT_TOC* report_toc;  // what get_report_toc answers
        std::size_t asked;           // gets and give-backs for two borrowings
    } kCases[] = {{"live TOC", &live, true, &live, 4},
                  {"never built", nullptr, true, nullptr, 0},
                  {"TOC destroyed", gone, true, nullptr, 0},
                  {"no manager", &live, false, &live, 0}};
    delete gone;
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        host_rdb_reset_counts();
        host_rdb_set_manager_enabled(c.manager);
        RPL_TABLE section(to_rpl("T"));
        section.m_toc = c.toc;
        EXPECT_EQ(section.get_report_toc(), c.report_toc);
        RDB_REPORT* first = section.get_rdb_report();
        EXPECT_EQ(first != nullptr, c.asked != 0);
        EXPECT_EQ(section.get_rdb_report(), first);
        section.free_rdb_report();
        section.free_rdb_report();
        EXPECT_EQ(host_rdb_counts(RDB_REPORT_POWER).requesters, std::vector<std::string>(c.asked, "RPL"));
        EXPECT_EQ(host_rdb_counts(static_cast<RDB_REPORT_TYPE>(0)).gets, 0);
        EXPECT_EQ(host_rdb_reports_held(), 0);
    }
}
