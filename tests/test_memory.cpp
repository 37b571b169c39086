// The tracked allocator: the library registers with the host's memory
// manager, every container allocates through per-type tracking records, and
// a TOC gives back everything it took.
#include "support/test_support.h"

#include <algorithm>
#include <map>
#include <tuple>

using namespace rpltest;

namespace {

class Memory : public HostTest {};

// Live blocks and bytes per tracking record, leaving out records with
// nothing live, so that two snapshots compare whole.
typedef std::map<const MEM_TRACKER_THUNK*, std::pair<std::size_t, std::size_t>> LIVE;

LIVE live_by_record() {
    LIVE out;
    for (const HOST_MEM_ACCOUNT& a : host_mem_accounts())
        if (a.live_blocks != 0) out[a.thunk] = {a.live_blocks, a.live_bytes};
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
    root->add(new RDB_TABLE_OBJECT("A plain table with columns", 6, 10, 8));
    root->add(new RDB_EMBEDDED_OBJECT("An embedded object here", RDB_EMBEDDED_DOCUMENT, "information string"));
    root->add(new RDB_OBJECT(7, "The compilation summary", "a header of some length", "a footer of some length"));
    auto* gauges = root->add(new RDB_GAUGES_OBJECT("Gauges with percentages"));
    gauges->add_gauge(true);
    gauges->add_gauge(false);
    install_report(RDB_REPORT_TIMING, root);
}

// Builds the rich report and makes its tables grow their lists and its
// sections write their settings file, which later builds read.
void build_and_exercise(RPL_REPORT_TOC& toc) {
    toc.generate_toc(true);
    ASSERT_EQ(toc.m_section_index.size(), 10u);
    for (RPL_REPORT_SECTION* s : toc.m_section_index) {
        if (RPL_TABLE* table = s->dynamic_cast_to_RPL_TABLE()) {
            table->set_column_width(5, 120);
            table->set_display_column(3, 1);
            table->set_alignment(4, RPL_TABLE::RIGHT);
        }
    }
    toc.m_section_index.back()->set_marked_for_output(false);
    toc.m_section_index.front()->write_acf_settings();
    ASSERT_TRUE(file_exists(to_std(toc.get_settings_filename())));
}

}  // namespace

// The library's static initialiser registers it before main, so this holds
// only if the host's memory manager works that early.
TEST_F(Memory, LibraryRegisteredAsRplBeforeMain) {
    std::vector<std::string> modules = host_mem_modules();
    EXPECT_EQ(std::count(modules.begin(), modules.end(), "RPL"), 1);
}

TEST_F(Memory, FirstAllocationFillsTheTypeFieldAndLaterOnesLeaveIt) {
    struct PROBE {
        char bytes[24];
    };
    MEM_TRACKER_THUNK& record = MEM_TRACKER_TEMPLATE_RPL<PROBE, 1255, 1>::s_thunk;
    record.m_type_info = nullptr;  // as if PROBE had never been allocated, also on a repeated run
    const HOST_MEM_ACCOUNT start = host_mem_account(&record);
    MEM_STL_ALLOCATOR<PROBE> allocator;
    PROBE* first = allocator.allocate(3);
    ASSERT_NE(record.m_type_info, nullptr);
    EXPECT_TRUE(*record.m_type_info == typeid(PROBE));
    EXPECT_EQ(host_mem_account(&record).live_bytes, start.live_bytes + 3 * sizeof(PROBE));

    // Whatever the field holds now is left alone by later allocations.
    const std::type_info* planted = &typeid(int);
    record.m_type_info = planted;
    PROBE* second = allocator.allocate(1);
    EXPECT_EQ(record.m_type_info, planted);

    allocator.deallocate(first, 3);
    allocator.deallocate(second, 1);
    const HOST_MEM_ACCOUNT end = host_mem_account(&record);
    EXPECT_EQ(std::make_tuple(end.live_blocks, end.live_bytes, end.total_allocations),
              std::make_tuple(start.live_blocks, start.live_bytes, start.total_allocations + 2));
}

TEST_F(Memory, TocAllocatesThroughRplRecordsAndGivesEverythingBack) {
    install_rich_report();
    const LIVE before = live_by_record();
    {
        RPL_REPORT_TOC toc(RDB_REPORT_TIMING, to_rpl("a report name longer than the inline buffer"));
        const LIVE empty = live_by_record();
        build_and_exercise(toc);
        // One record per type in the process, not one per shared library:
        // the library's allocations land in the records the header names.
        EXPECT_GT(host_mem_account(&MEM_TRACKER_TEMPLATE_RPL<RPL_REPORT_SECTION*, 1255, 1>::s_thunk).live_blocks, 0u);
        for (const HOST_MEM_ACCOUNT& a : host_mem_accounts()) {
            EXPECT_NE(a.thunk->m_type_info, nullptr) << "a record that allocated knows its type";
            EXPECT_STREQ(a.thunk->m_module, "RPL");
        }

        // The same report and settings again give a tree exactly as big as
        // the old one, so anything of the old one still live would show.
        toc.generate_toc(true);
        const LIVE built = live_by_record();
        const std::size_t total_after_build = host_mem_total_allocations();
        toc.generate_toc(false);
        EXPECT_GT(host_mem_total_allocations(), total_after_build) << "the build allocated afresh";
        EXPECT_EQ(live_by_record(), built);

        toc.clear_children();
        EXPECT_EQ(live_by_record(), empty);
        build_and_exercise(toc);
    }
    EXPECT_EQ(live_by_record(), before);
}
