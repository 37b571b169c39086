// The section tree: fields, ownership of children, lookup by rdb path, the
// short path, the owning TOC and borrowing the report through it.
#include "support/test_support.h"

#include <tuple>

using namespace rpltest;

namespace {

class ReportSection : public HostTest {};

// A section of any kind that notes its destruction in a shared log.
template <class KIND>
class Logged : public KIND {
public:
    Logged(const std::string& name, std::vector<std::string>* log) : KIND(S(name)), log_(log) {}
    ~Logged() override { log_->push_back(Std(this->m_name)); }

private:
    std::vector<std::string>* log_;
};

RPL_REPORT_SECTION* with_path(RPL_REPORT_SECTION* s, const std::string& path) {
    s->m_rdb_path = S(path);
    return s;
}

std::vector<RPL_REPORT_SECTION*> children_of(const RPL_REPORT_SECTION& s) {
    if (s.m_children == nullptr) return {};
    return std::vector<RPL_REPORT_SECTION*>(s.m_children->begin(), s.m_children->end());
}

}  // namespace

TEST_F(ReportSection, AddChildAppendsInOrderAndSetsOnlyTheParent) {
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, S("r"));
    RPL_FOLDER parent(S("P"));
    parent.m_marked_for_output = false;
    std::vector<RPL_REPORT_SECTION*> added;
    for (const char* name : {"one", "two", "three"}) {
        auto* child = new RPL_TABLE(S(name));
        child->m_rdb_path = S(std::string("||elsewhere||") + name);
        child->m_toc = &toc;
        parent.add_child(child);
        added.push_back(child);
    }
    EXPECT_EQ(children_of(parent), added);
    for (RPL_REPORT_SECTION* child : added) {
        EXPECT_EQ(child->m_parent, &parent);
        EXPECT_EQ(Std(child->m_rdb_path), "||elsewhere||" + Std(child->m_name)) << "the path is not recomputed";
    }
    EXPECT_FALSE(parent.m_marked_for_output) << "the parent's mark is not updated";
    EXPECT_FALSE(file_exists(Std(toc.get_settings_filename()))) << "nothing is written";
}

TEST_F(ReportSection, SectionExistsFindsTheFirstInPreOrderAndIsExact) {
    // ||R
    //   ||R||A          A1 ||R||A||X, A2 ||R||A (repeats its parent's path)
    //   ||R||A||X  (B, repeats A1's path)
    //   ||R||C          C1 ||R||C||D
    //   ||R||C||D  (D, repeats C1's path)
    RPL_FOLDER root;
    with_path(&root, "||R");
    RPL_REPORT_SECTION* a = with_path(new RPL_FOLDER(S("A")), "||R||A");
    RPL_REPORT_SECTION* a1 = with_path(new RPL_TABLE(S("X")), "||R||A||X");
    RPL_REPORT_SECTION* a2 = with_path(new RPL_TEXT(S("A")), "||R||A");
    RPL_REPORT_SECTION* b = with_path(new RPL_CHART(S("B")), "||R||A||X");
    RPL_REPORT_SECTION* c = with_path(new RPL_FOLDER(S("C")), "||R||C");
    RPL_REPORT_SECTION* c1 = with_path(new RPL_TEXT(S("D")), "||R||C||D");
    RPL_REPORT_SECTION* d = with_path(new RPL_GAUGES(S("D")), "||R||C||D");
    root.add_child(a);
    a->add_child(a1);
    a->add_child(a2);
    root.add_child(b);
    root.add_child(c);
    c->add_child(c1);
    root.add_child(d);

    struct CASE {
        RPL_REPORT_SECTION* from;
        std::string path;
        RPL_REPORT_SECTION* found;
    };
    const std::vector<CASE> cases = {
        {&root, "||R", &root},
        {&root, "||R||A", a},        // the ancestor before its descendant
        {&root, "||R||A||X", a1},    // the earlier subtree before a later sibling
        {&root, "||R||C||D", c1},    // a child of an earlier sibling before a later one
        {&root, "||R||C", c},
        {&root, "R||A", nullptr},    // the short path is not a path
        {&root, "||R||A||", nullptr}, {&root, "||r||a", nullptr}, {&root, "||R ||A", nullptr},
        {&root, std::string("||R||C\0", 7), nullptr},  // same bytes and same length
        {&root, "", nullptr},
        {a2, "||R||A", a2},          // a section without children compares only itself
        {a2, "||R||A||X", nullptr},
        {b, "||R||A||X", b},
        {c, "||R||A", nullptr},      // only its own subtree is searched
        {c, "||R||C||D", c1},
    };
    for (const CASE& k : cases)
        EXPECT_EQ(k.from->section_exists(S(k.path)), k.found) << "from " << Std(k.from->m_rdb_path) << " for '"
                                                              << k.path << "'";

    RPL_REPORT_SECTION unpathed;
    EXPECT_EQ(unpathed.section_exists(S("")), &unpathed) << "an empty path is a path like any other";
}

TEST_F(ReportSection, ShortPathDropsOneLeadingPairOfBars) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"||Report||Timing||Clocks", "Report||Timing||Clocks"}, {"||R", "R"}, {"||", ""}, {"", ""},
        {"|x", "|x"}, {"||||x", "||x"}, {"|||x", "|x"}, {"R||x", "R||x"}, {" ||R", " ||R"},
        {std::string("||\0a", 4), std::string("\0a", 2)},
    };
    for (const auto& c : cases) {
        RPL_REPORT_SECTION s;
        s.m_rdb_path = S(c.first);
        EXPECT_EQ(Std(s.get_short_rdb_path()), c.second) << "'" << c.first << "'";
        EXPECT_EQ(Std(s.m_rdb_path), c.first) << "the section keeps its path";
    }
}

TEST_F(ReportSection, DestroyingDeletesTheSubtreeInListOrderExactlyOnce) {
    // R ── A ── A1 ── A1a
    //   │    └─ A2
    //   ├─ B
    //   └─ C ── C1
    std::vector<std::string> log;
    auto* r = new Logged<RPL_FOLDER>("R", &log);
    auto* a = new Logged<RPL_FOLDER>("A", &log);
    auto* a1 = new Logged<RPL_FOLDER>("A1", &log);
    auto* c = new Logged<RPL_FOLDER>("C", &log);
    r->add_child(a);
    a->add_child(a1);
    a1->add_child(new Logged<RPL_TABLE>("A1a", &log));
    a->add_child(new Logged<RPL_CHART>("A2", &log));
    r->add_child(new Logged<RPL_TEXT>("B", &log));
    r->add_child(c);
    c->add_child(new Logged<RPL_GAUGES>("C1", &log));

    delete static_cast<RPL_REPORT_SECTION*>(r);
    // Each section is logged as its destruction begins, before its children
    // go: so each child's whole subtree appears before the next child.
    EXPECT_EQ(log, (std::vector<std::string>{"R", "A", "A1", "A1a", "A2", "B", "C", "C1"}));
    EXPECT_TRUE(host_message_log().internal_errors.empty());
}

TEST_F(ReportSection, ReportTocIsTheTocOnlyWhileItLives) {
    RPL_REPORT_SECTION never_built;
    EXPECT_EQ(never_built.get_report_toc(), nullptr);

    RPL_REPORT_SECTION outliving;
    auto* toc = new RPL_REPORT_TOC(RDB_REPORT_TIMING, S("r"));
    RPL_REPORT_TOC other(RDB_REPORT_TIMING, S("r"));
    outliving.m_toc = toc;
    EXPECT_EQ(outliving.get_report_toc(), toc);
    delete toc;
    EXPECT_EQ(outliving.get_report_toc(), nullptr);
    EXPECT_EQ(outliving.m_toc, toc) << "the old address stays; it is only no longer trusted";
}

TEST_F(ReportSection, BorrowingTheReportGoesThroughTheOwningTocsType) {
    install_report(RDB_REPORT_POWER, new RDB_FOLDER_OBJECT("R"));
    RPL_REPORT_TOC toc(RDB_REPORT_POWER, S("r"));
    RPL_TABLE section(S("T"));
    section.m_toc = &toc;
    section.m_rdb_object_type = 4;  // the object type plays no part

    RDB_REPORT* first = section.get_rdb_report();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(Std(first->get_main_folder()->get_name()), "R");
    EXPECT_EQ(section.get_rdb_report(), first);
    section.free_rdb_report();
    section.free_rdb_report();
    const RDB_MANAGER_COUNTS& counts = manager_.counts(RDB_REPORT_POWER);
    EXPECT_EQ(counts.gets, 2) << "nothing is cached";
    EXPECT_EQ(counts.requesters, (std::vector<std::string>{"RPL", "RPL", "RPL", "RPL"}));
    EXPECT_EQ(manager_.reports_held(), 0);
}

TEST_F(ReportSection, BorrowingWithoutLiveTocOrManagerAsksNobody) {
    install_report(RDB_REPORT_POWER, new RDB_FOLDER_OBJECT("R"));
    auto* gone = new RPL_REPORT_TOC(RDB_REPORT_POWER, S("r"));
    int not_a_toc = 0;
    RPL_REPORT_TOC live(RDB_REPORT_POWER, S("r"));
    const std::vector<std::tuple<const char*, RPL_REPORT_TOC*, bool>> cases = {
        {"never built", nullptr, true},
        {"not a TOC", reinterpret_cast<RPL_REPORT_TOC*>(&not_a_toc), true},
        {"TOC destroyed", gone, true},
        {"no manager", &live, false},
    };
    delete gone;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::get<0>(c));
        manager_.reset_counts();
        host_rdb_set_manager_enabled(std::get<2>(c));
        RPL_REPORT_SECTION section;
        section.m_toc = std::get<1>(c);
        EXPECT_EQ(section.get_rdb_report(), nullptr);
        section.free_rdb_report();
        EXPECT_EQ(manager_.counts(RDB_REPORT_POWER).gets + manager_.counts(RDB_REPORT_POWER).ungets, 0);
        EXPECT_EQ(manager_.counts(static_cast<RDB_REPORT_TYPE>(0)).gets, 0);
        EXPECT_TRUE(host_message_log().internal_errors.empty()) << "none of this is an internal error";
    }
    host_rdb_set_manager_enabled(true);
}
