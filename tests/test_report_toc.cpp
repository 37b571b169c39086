// The TOC object: its registry of live TOCs, its root list and index, and
// borrowing its report from the database manager.
#include "support/test_support.h"

#include <type_traits>

using namespace rpltest;

namespace {

class ReportToc : public HostTest {};

static_assert(!std::is_copy_constructible<RPL_REPORT_TOC>::value, "a TOC registers its own address");
static_assert(!std::is_copy_assignable<RPL_REPORT_TOC>::value, "a TOC owns its sections");

std::vector<RPL_REPORT_TOC*> registry() {
    return std::vector<RPL_REPORT_TOC*>(RPL_REPORT_TOC::m_toc_list.begin(), RPL_REPORT_TOC::m_toc_list.end());
}

// What a section saw of its TOC as its destruction began.
struct SEEN {
    std::string name;
    bool toc_valid;
    bool toc_reachable;
    bool operator==(const SEEN& o) const {
        return name == o.name && toc_valid == o.toc_valid && toc_reachable == o.toc_reachable;
    }
};

std::ostream& operator<<(std::ostream& out, const SEEN& s) {
    return out << s.name << (s.toc_valid ? " valid" : " invalid") << (s.toc_reachable ? " reachable" : " gone");
}

class Watching : public RPL_FOLDER {
public:
    Watching(const std::string& name, RPL_REPORT_TOC* toc, std::vector<SEEN>* log) : RPL_FOLDER(S(name)), log_(log) {
        m_toc = toc;
    }
    ~Watching() override {
        log_->push_back({Std(m_name), RPL_REPORT_TOC::is_valid_pointer(m_toc), get_report_toc() == m_toc});
    }

private:
    std::vector<SEEN>* log_;
};

// Two roots with children, entered as a build would enter them.
void plant_tree(RPL_REPORT_TOC* toc, std::vector<SEEN>* log) {
    for (const char* root_name : {"R1", "R2"}) {
        auto* root = new Watching(root_name, toc, log);
        toc->m_children->push_back(root);
        toc->m_section_index.push_back(root);
        for (const char* leaf : {"a", "b"}) {
            auto* child = new Watching(std::string(root_name) + leaf, toc, log);
            root->add_child(child);
            toc->m_section_index.push_back(child);
        }
    }
}

void install_small_report(RDB_REPORT_TYPE type) {
    auto* root = new RDB_FOLDER_OBJECT("R");
    root->add(new RDB_TEXT_OBJECT("T", false));
    root->add(new RDB_FOLDER_OBJECT("F"))->add(new RDB_TABLE_OBJECT("X", 2, 1));
    install_report(type, root);
}

}  // namespace

TEST_F(ReportToc, RegistryHoldsExactlyTheLiveTocsInOrderOfConstruction) {
    EXPECT_FALSE(RPL_REPORT_TOC::is_valid_pointer(nullptr));
    ASSERT_TRUE(registry().empty());

    auto* first = new RPL_REPORT_TOC(RDB_REPORT_TIMING, S("same"));
    auto* second = new RPL_REPORT_TOC(RDB_REPORT_TIMING, S("same"));  // the same report twice
    auto* third = new RPL_REPORT_TOC();
    EXPECT_EQ(registry(), (std::vector<RPL_REPORT_TOC*>{first, second, third}));

    struct STEP {
        RPL_REPORT_TOC* destroy;
        std::vector<RPL_REPORT_TOC*> live;
    };
    const std::vector<STEP> steps = {
        {second, {first, third}},  // from the middle
        {first, {third}},          // from the front
        {third, {}},
    };
    std::vector<RPL_REPORT_TOC*> destroyed;
    for (const STEP& step : steps) {
        delete step.destroy;
        destroyed.push_back(step.destroy);
        EXPECT_EQ(registry(), step.live);
        for (RPL_REPORT_TOC* toc : step.live) EXPECT_TRUE(RPL_REPORT_TOC::is_valid_pointer(toc));
        for (RPL_REPORT_TOC* toc : destroyed) EXPECT_FALSE(RPL_REPORT_TOC::is_valid_pointer(toc));
    }
}

TEST_F(ReportToc, ConstructorsSetNameTypeAndAnEmptyRootList) {
    const std::string odd_name("a||b\0c", 6);
    RPL_REPORT_TOC unnamed;
    RPL_REPORT_TOC named(static_cast<RDB_REPORT_TYPE>(-9), S(odd_name));
    EXPECT_EQ(unnamed.m_report_type, 0);
    EXPECT_EQ(named.m_report_type, -9);
    EXPECT_EQ(Std(named.m_report_name), odd_name) << "the whole name";
    for (const RPL_REPORT_TOC* toc : {&unnamed, &named}) {
        ASSERT_NE(toc->m_children, nullptr);
        EXPECT_TRUE(toc->m_children->empty());
    }
}

TEST_F(ReportToc, GetRdbReportAsksTheManagerForItsTypeEveryTime) {
    install_report(static_cast<RDB_REPORT_TYPE>(0), new RDB_FOLDER_OBJECT("zero"));
    install_report(RDB_REPORT_TIMING, new RDB_FOLDER_OBJECT("timing"));
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, S("name plays no part"));
    RDB_REPORT* first = toc.get_rdb_report();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(Std(first->get_main_folder()->get_name()), "timing");
    EXPECT_EQ(toc.get_rdb_report(), first);
    EXPECT_EQ(manager_.reports_held(), 2) << "each call is a hold of its own";
    toc.free_rdb_report();
    toc.free_rdb_report();
    EXPECT_EQ(manager_.counts(RDB_REPORT_TIMING).ungets, 2);
    EXPECT_EQ(manager_.reports_held(), 0);

    RPL_REPORT_TOC by_default;
    EXPECT_EQ(Std(by_default.get_rdb_report()->get_main_folder()->get_name()), "zero") << "the default type is 0";
    by_default.free_rdb_report();
    EXPECT_EQ(manager_.counts(static_cast<RDB_REPORT_TYPE>(0)).requesters, (std::vector<std::string>{"RPL", "RPL"}));

    RPL_REPORT_TOC absent(RDB_REPORT_POWER, S("p"));
    EXPECT_EQ(absent.get_rdb_report(), nullptr) << "no report of that type: asked, answered null";
    EXPECT_EQ(manager_.counts(RDB_REPORT_POWER).gets, 1);
}

TEST_F(ReportToc, ClearChildrenEmptiesTheTocQuietlyAndItCanBeBuiltAgain) {
    install_small_report(RDB_REPORT_TIMING);
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, S("t"));
    RPL_SECTION_LIST* roots = toc.m_children;
    toc.clear_children();  // on an empty TOC
    toc.generate_toc(true);
    const std::vector<std::string> built = index_paths(toc);
    ASSERT_EQ(built, (std::vector<std::string>{"||R", "||R||T", "||R||F", "||R||F||X"}));
    toc.clear_children();
    toc.clear_children();
    EXPECT_EQ(toc.m_children, roots) << "the root list itself stays";
    EXPECT_TRUE(toc.m_children->empty());
    EXPECT_TRUE(toc.m_section_index.empty());
    EXPECT_TRUE(host_message_log().internal_errors.empty());
    EXPECT_EQ(manager_.counts(RDB_REPORT_TIMING).gets, 1) << "clearing does not touch the database";
    toc.generate_toc(true);
    EXPECT_EQ(index_paths(toc), built);
}

TEST_F(ReportToc, GenerateTocReplacesTheTreeWhateverTheFlag) {
    install_small_report(RDB_REPORT_TIMING);
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, S("t"));
    std::vector<std::vector<std::string>> builds;
    for (bool flag : {true, false, true}) {
        toc.generate_toc(flag);
        builds.push_back(index_paths(toc));
        EXPECT_EQ(toc.m_children->size(), 1u) << "one root, not one per build";
    }
    EXPECT_EQ(builds[1], builds[0]);
    EXPECT_EQ(builds[2], builds[0]);
    EXPECT_EQ(manager_.counts(RDB_REPORT_TIMING).gets, 3);
    EXPECT_EQ(manager_.counts(RDB_REPORT_TIMING).ungets, 3);
}

TEST_F(ReportToc, SectionsBeingDestroyedStillSeeTheirTocLive) {
    const std::vector<SEEN> expected = {
        {"R1", true, true}, {"R1a", true, true}, {"R1b", true, true},
        {"R2", true, true}, {"R2a", true, true}, {"R2b", true, true},
    };

    // Destroying the TOC: every section once, roots in order, each with its
    // subtree, all while the TOC is still registered.
    std::vector<SEEN> seen;
    auto* toc = new RPL_REPORT_TOC(RDB_REPORT_TIMING, S("t"));
    plant_tree(toc, &seen);
    delete toc;
    EXPECT_EQ(seen, expected);
    EXPECT_FALSE(RPL_REPORT_TOC::is_valid_pointer(toc));

    // Clearing: the same, and the TOC stays.
    seen.clear();
    RPL_REPORT_TOC kept(RDB_REPORT_TIMING, S("t"));
    plant_tree(&kept, &seen);
    kept.clear_children();
    EXPECT_EQ(seen, expected);
    EXPECT_TRUE(kept.m_section_index.empty());
    EXPECT_TRUE(host_message_log().internal_errors.empty());
}
