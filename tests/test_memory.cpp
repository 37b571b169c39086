// The tracked allocator: the library registers with the host's memory
// manager, every container allocates through per-type tracking records, and
// a TOC gives back everything it took.
#include "support/test_support.h"

#include <algorithm>
#include <cstring>
#include <map>

using namespace rpltest;

namespace {

class Memory : public HostTest {};

// Live blocks and bytes per tracking record.
typedef std::map<const MEM_TRACKER_THUNK*, std::pair<std::size_t, std::size_t>> LIVE;

LIVE live_by_record() {
    LIVE out;
    for (const HOST_MEM_ACCOUNT& a : host_mem_accounts()) out[a.thunk] = {a.live_blocks, a.live_bytes};
    return out;
}

// A report with every kind of object, with names long enough that their
// strings live on the heap.
void install_rich_report() {
    auto* root = new RDB_FOLDER_OBJECT("A report main folder name");
    auto* folder = root->add(new RDB_FOLDER_OBJECT("A folder with a long name"));
    folder->add(new RDB_TEXT_OBJECT("Some text object of the report", true));
    folder->add(new RDB_ROW_TEST_TABLE_OBJECT("A table answering row tests", 4, {true, true, false}));
    auto* link = root->add(new RDB_LINK_RPT_OBJECT("A linked report folder"));
    link->add(new RDB_CHART_TABLE_OBJECT("A chart in the linked report", 2));
    link->add(static_cast<RDB_OBJECT*>(nullptr));
    root->add(new RDB_TABLE_OBJECT("A plain table with columns", 6, 10, 8));
    root->add(new RDB_EMBEDDED_OBJECT("An embedded object here", RDB_EMBEDDED_DOCUMENT, "information string"));
    root->add(new RDB_OBJECT(7, "The compilation summary", "a header of some length", "a footer of some length"));
    auto* gauges = root->add(new RDB_GAUGES_OBJECT("Gauges with percentages"));
    gauges->add_gauge(true);
    gauges->add_gauge(false);
    root->add(new RDB_OBJECT(2, "An object that is not presented"));
    install_report(RDB_REPORT_TIMING, root);
}

// Changes that make sections write their settings and tables grow lists.
void exercise(RPL_REPORT_TOC& toc) {
    for (RPL_REPORT_SECTION* s : toc.m_section_index) {
        if (RPL_TABLE* table = s->dynamic_cast_to_RPL_TABLE()) {
            table->set_column_width(5, 120);
            table->set_display_column(3, 1);
            table->set_alignment(4, RPL_TABLE::RIGHT);
        }
    }
    toc.m_section_index.back()->set_marked_for_output(false);
    toc.m_section_index.front()->write_acf_settings();
}

struct PROBE {
    char bytes[24];
};

}  // namespace

TEST_F(Memory, LibraryIsRegisteredAsRpl) {
    std::vector<std::string> modules = host_mem_modules();
    EXPECT_EQ(std::count(modules.begin(), modules.end(), "RPL"), 1);
}

TEST_F(Memory, TrackingRecordsHoldSizeCategoryModuleAndFlags) {
    struct CASE {
        const char* type;
        const MEM_TRACKER_THUNK* record;
        std::size_t size;
    };
    const std::vector<CASE> cases = {
        {"unsigned int", &MEM_TRACKER_TEMPLATE_RPL<unsigned int, 1255, 1>::s_thunk, sizeof(unsigned int)},
        {"int", &MEM_TRACKER_TEMPLATE_RPL<int, 1255, 1>::s_thunk, sizeof(int)},
        {"char", &MEM_TRACKER_TEMPLATE_RPL<char, 1255, 1>::s_thunk, sizeof(char)},
        {"RPL_REPORT_SECTION*", &MEM_TRACKER_TEMPLATE_RPL<RPL_REPORT_SECTION*, 1255, 1>::s_thunk,
         sizeof(RPL_REPORT_SECTION*)},
        {"RPL_TABLE::ALIGNMENT", &MEM_TRACKER_TEMPLATE_RPL<RPL_TABLE::ALIGNMENT, 1255, 1>::s_thunk,
         sizeof(RPL_TABLE::ALIGNMENT)},
    };
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.type);
        EXPECT_EQ(c.record->m_type_size, c.size);
        EXPECT_EQ(c.record->m_category, 1255u);
        EXPECT_EQ(c.record->m_reserved_4, 0u);
        ASSERT_NE(c.record->m_module, nullptr);
        EXPECT_STREQ(c.record->m_module, "RPL");
        EXPECT_EQ(c.record->m_reserved_6, 0u);
        EXPECT_EQ(c.record->m_reserved_7, 1u);
    }
}

TEST_F(Memory, EveryRecordTheLibraryUsesIsItsOwnAndTyped) {
    install_rich_report();
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, S("a report name longer than the inline buffer"));
    toc.generate_toc(true);
    exercise(toc);
    toc.generate_toc(true);

    // The records the test names are the very ones the library fills.
    EXPECT_GT(host_mem_account(&MEM_TRACKER_TEMPLATE_RPL<char, 1255, 1>::s_thunk).total_allocations, 0u);
    EXPECT_GT(host_mem_account(&MEM_TRACKER_TEMPLATE_RPL<RPL_REPORT_SECTION*, 1255, 1>::s_thunk).total_allocations,
              0u);
    EXPECT_GT(host_mem_account(&MEM_TRACKER_TEMPLATE_RPL<int, 1255, 1>::s_thunk).total_allocations, 0u);

    // List and tree nodes have records too; all of them are well formed.
    std::vector<HOST_MEM_ACCOUNT> accounts = host_mem_accounts();
    EXPECT_GE(accounts.size(), 6u);
    for (const HOST_MEM_ACCOUNT& a : accounts) {
        const MEM_TRACKER_THUNK* r = a.thunk;
        SCOPED_TRACE(r->m_type_info ? r->m_type_info->name() : "(no type)");
        EXPECT_NE(r->m_type_info, nullptr) << "a record that allocated knows its type";
        EXPECT_GT(r->m_type_size, 0u);
        EXPECT_EQ(r->m_category, 1255u);
        EXPECT_STREQ(r->m_module, "RPL");
        EXPECT_EQ(r->m_reserved_4, 0u);
        EXPECT_EQ(r->m_reserved_6, 0u);
        EXPECT_EQ(r->m_reserved_7, 1u);
    }
}

TEST_F(Memory, FirstAllocationFillsTheTypeFieldAndLaterOnesLeaveIt) {
    struct NEVER_ALLOCATED {};
    EXPECT_EQ((MEM_TRACKER_TEMPLATE_RPL<NEVER_ALLOCATED, 1255, 1>::s_thunk.m_type_info), nullptr)
        << "a record starts without a type";

    MEM_TRACKER_THUNK& record = MEM_TRACKER_TEMPLATE_RPL<PROBE, 1255, 1>::s_thunk;
    record.m_type_info = nullptr;  // as if PROBE had never been allocated
    const HOST_MEM_ACCOUNT start = host_mem_account(&record);
    MEM_STL_ALLOCATOR<PROBE> allocator;

    PROBE* first = allocator.allocate(3);
    ASSERT_NE(record.m_type_info, nullptr);
    EXPECT_TRUE(*record.m_type_info == typeid(PROBE));
    HOST_MEM_ACCOUNT account = host_mem_account(&record);
    EXPECT_EQ(account.live_blocks, start.live_blocks + 1);
    EXPECT_EQ(account.live_bytes, start.live_bytes + 3 * sizeof(PROBE)) << "n elements of the record's type";

    // Whatever the field holds now is left alone by later allocations.
    const std::type_info* planted = &typeid(int);
    record.m_type_info = planted;
    PROBE* second = allocator.allocate(1);
    EXPECT_EQ(record.m_type_info, planted);

    allocator.deallocate(first, 3);
    allocator.deallocate(second, 1);
    account = host_mem_account(&record);
    EXPECT_EQ(account.live_blocks, start.live_blocks);
    EXPECT_EQ(account.live_bytes, start.live_bytes);
    EXPECT_EQ(account.total_allocations, start.total_allocations + 2);
    record.m_type_info = &typeid(PROBE);
}

TEST_F(Memory, BuildingAndDestroyingATocLeavesNothingLive) {
    install_rich_report();
    const LIVE before = live_by_record();
    const std::size_t blocks_before = host_mem_live_blocks();
    const std::size_t bytes_before = host_mem_live_bytes();
    const std::size_t total_before = host_mem_total_allocations();
    {
        RPL_REPORT_TOC toc(RDB_REPORT_TIMING, S("a report name longer than the inline buffer"));
        toc.generate_toc(true);
        ASSERT_EQ(toc.m_section_index.size(), 10u);
        exercise(toc);
        EXPECT_GT(host_mem_live_blocks(), blocks_before);
    }
    EXPECT_GT(host_mem_total_allocations(), total_before);
    EXPECT_EQ(host_mem_live_blocks(), blocks_before);
    EXPECT_EQ(host_mem_live_bytes(), bytes_before);
    LIVE after = live_by_record();
    for (const auto& entry : after) {
        auto was = before.find(entry.first);
        std::pair<std::size_t, std::size_t> expected = was == before.end() ? std::pair<std::size_t, std::size_t>{} : was->second;
        EXPECT_EQ(entry.second, expected) << (entry.first->m_type_info ? entry.first->m_type_info->name() : "?");
    }
}

TEST_F(Memory, SecondBuildLeavesNothingOfTheFirstLive) {
    install_rich_report();
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, S("a report name longer than the inline buffer"));
    const LIVE empty = live_by_record();

    toc.generate_toc(true);
    exercise(toc);  // writes a settings file, which the next builds read
    ASSERT_TRUE(file_exists(Std(toc.get_settings_filename())));
    toc.generate_toc(true);
    const LIVE built = live_by_record();
    const std::size_t total_after_build = host_mem_total_allocations();

    // The same report and settings again: a new tree exactly as big as the
    // old one, so anything of the old one still live would show.
    toc.generate_toc(false);
    EXPECT_GT(host_mem_total_allocations(), total_after_build) << "the second build allocated afresh";
    EXPECT_EQ(live_by_record(), built);

    toc.clear_children();
    LIVE cleared = live_by_record();
    for (const auto& entry : cleared) {
        auto was = empty.find(entry.first);
        std::pair<std::size_t, std::size_t> expected = was == empty.end() ? std::pair<std::size_t, std::size_t>{} : was->second;
        EXPECT_EQ(entry.second, expected) << (entry.first->m_type_info ? entry.first->m_type_info->name() : "?");
    }
}
