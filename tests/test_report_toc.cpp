// The TOC object: its registry of live TOCs, and destroying its tree while
// it still counts as live.
#include "support/test_support.h"

#include <type_traits>

using namespace rpltest;

namespace {

class ReportToc : public HostTest {};

static_assert(!std::is_copy_constructible<RPL_REPORT_TOC>::value, "a TOC registers its own address");
static_assert(!std::is_copy_assignable<RPL_REPORT_TOC>::value, "a TOC owns its sections");

// A section that logs, as its destruction begins, whether its TOC is still
// live and still its own.
class Watching : public RPL_FOLDER {
public:
    Watching(const std::string& name, RPL_REPORT_TOC* toc, std::vector<std::string>* log)
        : RPL_FOLDER(to_rpl(name)), log_(log) {
        m_toc = toc;
    }
    ~Watching() override {
        const bool live = RPL_REPORT_TOC::is_valid_pointer(m_toc) && get_report_toc() == m_toc;
        log_->push_back(to_std(m_name) + (live ? "" : " (TOC gone)"));
    }

private:
    std::vector<std::string>* log_;
};

}  // namespace

TEST_F(ReportToc, RegistryHoldsExactlyTheLiveTocs) {
    EXPECT_FALSE(RPL_REPORT_TOC::is_valid_pointer(nullptr));
    auto* first = new RPL_REPORT_TOC(RDB_REPORT_TIMING, to_rpl("same"));
    auto* second = new RPL_REPORT_TOC(RDB_REPORT_TIMING, to_rpl("same"));  // two TOCs of one report
    auto* third = new RPL_REPORT_TOC();
    EXPECT_EQ(std::vector<RPL_REPORT_TOC*>(RPL_REPORT_TOC::m_toc_list.begin(), RPL_REPORT_TOC::m_toc_list.end()),
              (std::vector<RPL_REPORT_TOC*>{first, second, third}));

    delete second;  // from the middle, while the others live
    EXPECT_TRUE(RPL_REPORT_TOC::is_valid_pointer(first));
    EXPECT_FALSE(RPL_REPORT_TOC::is_valid_pointer(second));
    EXPECT_TRUE(RPL_REPORT_TOC::is_valid_pointer(third));
    delete first;
    delete third;
    EXPECT_FALSE(RPL_REPORT_TOC::is_valid_pointer(third));
    EXPECT_TRUE(RPL_REPORT_TOC::m_toc_list.empty());
}

// Every section goes once, roots in order, each with its subtree, all while
// the TOC still counts as live.
TEST_F(ReportToc, DestroyingDeletesEverySectionOnceWhileItStillCountsAsLive) {
    std::vector<std::string> seen;
    auto* toc = new RPL_REPORT_TOC(RDB_REPORT_TIMING, to_rpl("t"));
    for (const std::string root_name : {"R1", "R2"}) {  // entered as a build would enter them
        auto* root = new Watching(root_name, toc, &seen);
        toc->m_children->push_back(root);
        toc->m_section_index.push_back(root);
        for (const char* leaf : {"a", "b"}) {
            root->add_child(new Watching(root_name + leaf, toc, &seen));
            toc->m_section_index.push_back(root->m_children->back());
        }
    }
    delete toc;
    EXPECT_EQ(seen, (std::vector<std::string>{"R1", "R1a", "R1b", "R2", "R2a", "R2b"}));
    EXPECT_TRUE(host_message_log().internal_errors.empty());
}
