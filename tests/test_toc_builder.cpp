// Building a TOC from a report of the stand-in database: the order of the
// index, what every kind of section copies from its object, the row test,
// link-report folders, the report's give-back, the traces and internal
// errors for bad objects, rebuilding and a very deep report.
#include "support/test_support.h"

#include <climits>
#include <functional>
#include <iterator>

using namespace rpltest;

namespace {

class TocBuilder : public HostTest {};

const RDB_REPORT_TYPE kType = RDB_REPORT_TIMING;
const std::string kReportName = "rpt";
using Paths = std::vector<std::string>;

// Gives an object the header "h NAME" and the footer "f NAME".
template <class T>
T* titled(T* object) {
    object->set_header("h " + to_std(object->get_name()));
    object->set_footer("f " + to_std(object->get_name()));
    return object;
}

// A section's kind and the values only that kind copies from its object.
std::string describe(RPL_REPORT_SECTION* s) {
    if (RPL_TEXT* t = s->dynamic_cast_to_RPL_TEXT()) return t->m_is_html ? "text html" : "text plain";
    if (RPL_TABLE* t = s->dynamic_cast_to_RPL_TABLE()) return "table " + std::to_string(t->m_num_columns);
    if (RPL_CHART* c = s->dynamic_cast_to_RPL_CHART()) return "chart " + std::to_string(c->m_chart_type);
    if (RPL_EMBEDDED* e = s->dynamic_cast_to_RPL_EMBEDDED())
        return "embedded " + std::to_string(e->m_embedded_type) + " " + to_std(e->m_info_str);
    if (RPL_GAUGES* g = s->dynamic_cast_to_RPL_GAUGES()) {
        std::string flags = "gauges ";
        for (bool p : g->m_percentages) flags += p ? '1' : '0';
        return flags;
    }
    if (s->dynamic_cast_to_RPL_CMP_SUMMARY()) return "summary";
    return s->dynamic_cast_to_RPL_FOLDER() ? "folder" : "plain";
}

// A table whose row test runs `on_ask` when row 1 is asked: while the
// builder is at this table, after the table has read its settings.
class AskingTable : public RDB_ROW_TEST_TABLE_OBJECT {
public:
    AskingTable(const std::string& name, std::function<void()> on_ask)
        : RDB_ROW_TEST_TABLE_OBJECT(name, 3, {true, false}), on_ask_(std::move(on_ask)) {}
    bool test_row(int row) override {
        on_ask_();
        return RDB_ROW_TEST_TABLE_OBJECT::test_row(row);
    }
    std::function<void()> on_ask_;
};

}  // namespace

TEST_F(TocBuilder, IndexIsDepthFirstAndEverySectionCopiesItsObject) {
    auto* r = titled(new RDB_FOLDER_OBJECT("R"));
    titled(r->add(new RDB_TEXT_OBJECT("Intro", true)));
    titled(r->add(new RDB_TABLE_OBJECT("Clocks", 7, 1)));
    auto* sub = titled(r->add(new RDB_FOLDER_OBJECT("Sub")));
    titled(sub->add(new RDB_TEXT_OBJECT("Inner", false)));
    sub->add(new RDB_FOLDER_OBJECT("Empty"));
    r->add<RDB_OBJECT>(nullptr);
    r->add(new RDB_TABLE_OBJECT("Paths", 3, 0, 14));
    r->add(new RDB_OBJECT(12, "skipped"));
    titled(r->add(new RDB_CHART_TABLE_OBJECT("Chart", 2)));
    r->add(new RDB_CHART_TABLE_OBJECT("Chart0", 2));
    titled(r->add(new RDB_EMBEDDED_OBJECT("Pic", RDB_EMBEDDED_IMAGE, "info text")));
    titled(r->add(new RDB_OBJECT(7, "Compile summary")));
    auto* meters = r->add(new RDB_GAUGES_OBJECT("Meters"));
    for (bool p : {true, false, true}) meters->add_gauge(p);
    install_report(kType, r);
    // A stored chart type other than 0 and 1 leaves the report's in place;
    // 0 replaces it, as settings are read after the kind's values are set.
    write_file(settings_path(kType, kReportName),
               "[||R]\nOUTPUT_SECTION=0\n[||R||Chart]\nCHART_TYPE=9\n[||R||Chart0]\nCHART_TYPE=0\n");

    RPL_REPORT_TOC toc(kType, to_rpl(kReportName));
    toc.generate_toc(true);
    const Paths first = index_paths(toc);
    toc.generate_toc(false);
    EXPECT_EQ(index_paths(toc), first) << "a second build makes the same tree";

    // Each folder before its contents, skipped objects leave no gap.
    const struct {
        std::string path, describe;
        int type;
        bool titled;
    } kRows[] = {
        {"||R", "folder", 1, false},  // the root takes no header or footer although R has them
        {"||R||Intro", "text html", 3, true},
        {"||R||Clocks", "table 7", 4, true},
        {"||R||Sub", "folder", 1, true},
        {"||R||Sub||Inner", "text plain", 3, true},
        {"||R||Sub||Empty", "folder", 1, false},
        {"||R||Paths", "table 3", 14, false},
        {"||R||Chart", "chart 2", 5, true},
        {"||R||Chart0", "chart 1", 5, false},
        {"||R||Pic", "embedded 1 info text", 6, true},
        {"||R||Compile summary", "summary", 7, true},  // its own name, not the default "Summary"
        {"||R||Meters", "gauges 101", 9, false},
    };
    ASSERT_EQ(toc.m_section_index.size(), std::size(kRows));
    for (std::size_t i = 0; i < std::size(kRows); ++i) {
        const std::string& path = kRows[i].path;
        const std::string name = path.substr(path.rfind("||") + 2);
        RPL_REPORT_SECTION* s = toc.m_section_index[i];
        SCOPED_TRACE(path);
        EXPECT_EQ(to_std(s->m_rdb_path), path);
        EXPECT_EQ(to_std(s->m_name), name);
        EXPECT_EQ(describe(s), kRows[i].describe);
        EXPECT_EQ(s->m_rdb_object_type, kRows[i].type);
        EXPECT_EQ(to_std(s->m_header) + "|" + to_std(s->m_footer), kRows[i].titled ? "h " + name + "|f " + name : "|");
        EXPECT_EQ(to_std(s->m_report_name), kReportName);
        EXPECT_EQ(s->m_toc, &toc);
        EXPECT_EQ(s->m_settings_changed, kRows[i].type == 5) << "only charts, whatever the file held";
        EXPECT_EQ(s->m_parent ? to_std(s->m_parent->m_rdb_path) : "none", i ? path.substr(0, path.rfind("||")) : "none");
        Paths listed, children;  // every child list holds the index's order
        if (s->m_children != nullptr)
            for (RPL_REPORT_SECTION* c : *s->m_children) listed.push_back(to_std(c->m_rdb_path));
        for (RPL_REPORT_SECTION* c : toc.m_section_index)
            if (c->m_parent == s) children.push_back(to_std(c->m_rdb_path));
        EXPECT_EQ(listed, children);
    }
    EXPECT_EQ(*toc.m_children, RPL_SECTION_LIST(1, toc.m_section_index[0]));
    EXPECT_FALSE(toc.m_section_index[0]->m_marked_for_output) << "the root reads its settings too";
    EXPECT_EQ(find_section(toc, "||R||Sub||Empty")->m_children, nullptr) << "an empty folder gets no child list";
    EXPECT_EQ(internal_error_conditions(), Paths{});
}

TEST_F(TocBuilder, RowTestAsksFromRowOneAndStopsAtTheFirstFalse) {
    const struct {
        const char* name;
        std::vector<bool> answers;  // one per row, row 0 first
        bool failed;
        std::vector<int> asked;
    } kCases[] = {
        {"one row", {false}, false, {}},
        {"row zero false", {false, true}, false, {1}},
        {"all true", {true, true, true}, false, {1, 2}},
        {"row three false", {true, true, true, false, true}, true, {1, 2, 3}},
    };
    const std::string file = settings_path(kType, kReportName);
    write_file(file, "[||R||T]\nPAGE_ORIENTATION=1\n");
    auto* r = new RDB_FOLDER_OBJECT("R");
    // A table that read its settings only after the row test would miss them.
    auto* t = r->add(new AskingTable("T", [&] { write_file(file, ""); }));
    std::vector<RDB_ROW_TEST_TABLE_OBJECT*> tables;
    for (const auto& c : kCases) tables.push_back(r->add(new RDB_ROW_TEST_TABLE_OBJECT(c.name, 2, c.answers, 8)));
    r->add(new RDB_ROW_TEST_TABLE_OBJECT("negative row count", 2, {true, false}))->set_number_of_rows(-3);
    r->add(new RDB_TABLE_OBJECT("no row-test view", 2, 5));
    install_report(kType, r);

    RPL_REPORT_TOC toc(kType, to_rpl(kReportName));
    toc.generate_toc(true);
    RPL_TABLE* table = find_section(toc, "||R||T")->dynamic_cast_to_RPL_TABLE();
    EXPECT_EQ(table->m_page_orientation, 2) << "read before the row test emptied the file";
    EXPECT_TRUE(table->m_row_test_failed);
    EXPECT_EQ(t->rows_asked(), std::vector<int>{1});
    std::size_t total_asked = 1;
    for (std::size_t i = 0; i < std::size(kCases); ++i) {
        SCOPED_TRACE(kCases[i].name);
        EXPECT_EQ(find_section(toc, std::string("||R||") + kCases[i].name)->dynamic_cast_to_RPL_TABLE()->m_row_test_failed,
                  kCases[i].failed);
        EXPECT_EQ(tables[i]->rows_asked(), kCases[i].asked);
        total_asked += kCases[i].asked.size();
    }
    for (const char* name : {"||R||negative row count", "||R||no row-test view"})
        EXPECT_FALSE(find_section(toc, name)->dynamic_cast_to_RPL_TABLE()->m_row_test_failed) << name;
    EXPECT_EQ(static_cast<std::size_t>(host_rdb_test_row_count()), total_asked) << "no other table was asked";
}

// The main folder is a link too: it is freed once, after everything below.
TEST_F(TocBuilder, LinkFoldersAreFreedAtTheEndOfTheirOwnWalkInnermostFirst) {
    auto* main_link = new RDB_LINK_RPT_OBJECT("R");
    auto* l1 = main_link->add(new RDB_LINK_RPT_OBJECT("L1"));
    auto* l2 = l1->add(new RDB_LINK_RPT_OBJECT("L2"));
    auto* l3 = l2->add(new RDB_LINK_RPT_OBJECT("L3"));
    std::vector<std::size_t> frees_seen;  // when the builder reached the two tables
    auto note_frees = [&] { frees_seen.push_back(host_rdb_free_report_calls().size()); };
    l1->add(new AskingTable("after L2", note_frees));
    auto* l4 = main_link->add(new RDB_LINK_RPT_OBJECT("L4"));
    l4->add(new AskingTable("in L4", note_frees));
    install_report(kType, main_link);

    RPL_REPORT_TOC toc(kType, to_rpl(kReportName));
    toc.generate_toc(true);
    EXPECT_EQ(host_rdb_free_report_calls(), (std::vector<const RDB_LINK_RPT_OBJECT*>{l3, l2, l1, l4, main_link}));
    EXPECT_EQ(frees_seen, (std::vector<std::size_t>{2, 3})) << "L3 and L2 went before their next sibling, L1 before L4";
    EXPECT_EQ(index_paths(toc), (Paths{"||R", "||R||L1", "||R||L1||L2", "||R||L1||L2||L3", "||R||L1||after L2",
                                       "||R||L4", "||R||L4||in L4"}));
    EXPECT_EQ(host_rdb_counts(kType).ungets, 1);
}

TEST_F(TocBuilder, ReportIsGivenBackOncePerBuildWheneverThereIsAManager) {
    const std::string no_report = "RPL_REPORT_TOC::build_rdb_toc: RDB_REPORT* is NULL";
    const std::string no_root = "No root folder in report.";
    const struct {
        bool manager, install;
        int main_folder_type;  // 0: no main folder
        std::string trace;     // none when the report is built
    } kCases[] = {
        {true, true, 1, ""},  {true, false, 1, no_report}, {false, true, 1, no_report},
        {true, true, 0, no_root}, {true, true, 2, no_root},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.manager << c.install << c.main_folder_type);
        // A tree from an earlier build, which a failed build must not leave.
        install_report(kType, new RDB_FOLDER_OBJECT("Old"));
        RPL_REPORT_TOC toc(kType, to_rpl(kReportName));
        toc.generate_toc(true);
        host_rdb_remove_all_reports();
        host_rdb_reset_counts();
        host_clear_messages();
        if (c.install)
            install_report(kType, c.main_folder_type ? new RDB_FOLDER_OBJECT("R", c.main_folder_type) : nullptr);

        host_rdb_set_manager_enabled(c.manager);
        toc.generate_toc(true);
        host_rdb_set_manager_enabled(true);
        EXPECT_EQ(index_paths(toc), c.trace.empty() ? Paths{"||R"} : Paths{});
        EXPECT_EQ(toc.m_children->size(), c.trace.empty() ? 1u : 0u);
        EXPECT_EQ(debug_texts(), c.trace.empty() ? Paths{} : Paths{c.trace});
        EXPECT_EQ(host_rdb_counts(kType).gets, c.manager ? 1 : 0);
        EXPECT_EQ(host_rdb_counts(kType).ungets, c.manager ? 1 : 0);
        EXPECT_EQ(host_rdb_counts(kType).requesters, Paths(c.manager ? 2 : 0, "RPL"));
        EXPECT_EQ(host_rdb_reports_held(), 0);
        EXPECT_EQ(internal_error_conditions(), Paths{});
    }
}

TEST_F(TocBuilder, BadObjectsAreTracedOrReportedAndTheWalkGoesOn) {
    // Null entries and types without a section kind are traced and skipped
    // with all below them. Names are used as they are: equal, empty, with "||".
    auto* r = new RDB_FOLDER_OBJECT("R");
    r->add(new RDB_TABLE_OBJECT("t", 1, 0));
    r->add(new RDB_OBJECT(2, "two"));
    r->add(new RDB_TABLE_OBJECT("t", 1, 0, 8));
    r->add<RDB_OBJECT>(nullptr);
    for (int type : {10, 15, -1, 0, INT_MIN}) r->add(new RDB_OBJECT(type, "skipped"));
    r->add(new RDB_FOLDER_OBJECT("odd folder", 13))->add(new RDB_TEXT_OBJECT("hidden", false));
    // Objects whose type promises a class they are not: an internal error,
    // and a section keeping its constructor's values for what the object
    // could not give (a chart without a stored type reads as type 1).
    const struct {
        int type;
        std::string condition, describe;
    } kCases[] = {
        {3, "text_object != NULL", "text plain"}, {4, "table_object != NULL", "table 0"},
        {8, "table_object != NULL", "table 0"},   {14, "table_object != NULL", "table 0"},
        {5, "chart != NULL", "chart 1"},          {6, "em_object != NULL", "embedded 0 "},
        {9, "gauges_object != NULL", "gauges "},  {1, "folder != NULL", "folder"},
    };
    Paths expected_paths = {"||R", "||R||t", "||R||t"}, expected_errors;
    for (const auto& c : kCases) {
        r->add(new RDB_OBJECT(c.type, std::to_string(c.type), "h", "f"));
        expected_paths.push_back("||R||" + std::to_string(c.type));
        expected_errors.push_back(c.condition);
    }
    auto* sub = r->add(new RDB_FOLDER_OBJECT(""));
    sub->add<RDB_OBJECT>(nullptr);
    sub->add(new RDB_TEXT_OBJECT("a||b", false));
    expected_paths.insert(expected_paths.end(), {"||R||", "||R||||a||b"});
    install_report(kType, r);

    RPL_REPORT_TOC toc(kType, to_rpl(kReportName));
    toc.generate_toc(true);
    EXPECT_EQ(index_paths(toc), expected_paths);
    EXPECT_EQ(find_section(toc, "||R||t"), toc.m_section_index[1]) << "the first of two equal paths is found";
    EXPECT_EQ(debug_texts(), (Paths{"Unhandled RDB Object type: 2", "Eeeeeek! The RDB object was NULL",
                                    "Unhandled RDB Object type: 10", "Unhandled RDB Object type: 15",
                                    "Unhandled RDB Object type: -1", "Unhandled RDB Object type: 0",
                                    "Unhandled RDB Object type: -2147483648", "Unhandled RDB Object type: 13",
                                    "Eeeeeek! The RDB object was NULL"}));
    EXPECT_EQ(internal_error_conditions(), expected_errors);
    EXPECT_EQ(host_message_log().internal_errors.at(0).file, "rpl_report_toc.cpp");
    for (const auto& c : kCases) {
        RPL_REPORT_SECTION* s = find_section(toc, "||R||" + std::to_string(c.type));
        EXPECT_EQ(describe(s), c.describe) << c.type;
        EXPECT_EQ(to_std(s->m_header) + to_std(s->m_footer), "hf") << c.type << ": the common values are still copied";
    }
    EXPECT_EQ(host_rdb_counts(kType).ungets, 1);
}

TEST_F(TocBuilder, MissingFolderParentOrRootListIsReportedAndNothingIsBuilt) {
    install_report(kType, new RDB_FOLDER_OBJECT("a main folder with a long name"));
    RPL_REPORT_TOC toc(kType, to_rpl(kReportName));
    RPL_FOLDER parent(to_rpl("P"));
    RDB_LINK_RPT_OBJECT link("L");
    link.add(new RDB_TEXT_OBJECT("x", false));
    toc.build_folder(nullptr, nullptr, to_rpl("||P"));
    toc.build_folder(&link, nullptr, to_rpl("||P"));
    toc.build_folder(nullptr, &parent, to_rpl("||P"));
    EXPECT_EQ(internal_error_conditions(),
              (Paths{"folder != NULL", "parent != NULL", "parent != NULL", "folder != NULL"}));
    EXPECT_TRUE(host_rdb_free_report_calls().empty()) << "a folder that is not walked is not freed";
    EXPECT_EQ(parent.m_children, nullptr);

    // A root left without a list to own it would show in the memory
    // accounts: its name is too long to fit inside a string object.
    host_clear_messages();
    RPL_SECTION_LIST* roots = toc.m_children;
    toc.m_children = nullptr;
    const std::size_t blocks_before = host_mem_live_blocks();
    toc.generate_toc(true);
    EXPECT_EQ(host_mem_live_blocks(), blocks_before);
    toc.m_children = roots;
    EXPECT_TRUE(toc.m_section_index.empty());
    // From emptying the TOC (twice) and from entering the root.
    EXPECT_EQ(internal_error_conditions(), Paths(3, "m_children != NULL"));
    EXPECT_EQ(host_rdb_counts(kType).ungets, 1);
}

// Building, reading settings, lookup, stepping, marking and destruction all
// recurse once per level and must fit the default stack.
TEST_F(TocBuilder, ReportFiveThousandFoldersDeepBuildsNavigatesMarksAndGoes) {
    auto* main_folder = new RDB_FOLDER_OBJECT("R");
    RDB_FOLDER_OBJECT* folder = main_folder;
    std::string leaf_path = "||R";
    for (int level = 0; level < 5000; ++level, leaf_path += "||f") folder = folder->add(new RDB_FOLDER_OBJECT("f"));
    folder->add(new RDB_TEXT_OBJECT("leaf", false));
    leaf_path += "||leaf";
    install_report(kType, main_folder);
    write_file(settings_path(kType, kReportName), "[" + leaf_path + "]\nOUTPUT_SECTION=0\n");

    const std::size_t blocks_before = host_mem_live_blocks();
    {
        RPL_REPORT_TOC toc(kType, to_rpl(kReportName));
        toc.generate_toc(true);
        ASSERT_EQ(toc.m_section_index.size(), 5002u);
        RPL_REPORT_SECTION* leaf = find_section(toc, leaf_path);
        ASSERT_EQ(leaf, toc.m_section_index.back());
        EXPECT_FALSE(leaf->m_marked_for_output) << "the deepest block is read";
        EXPECT_EQ(to_std(toc.get_next_section(to_rpl("||R"))), leaf_path) << "stepping passes over every folder";

        // With the database directory missing nothing is saved (every
        // ancestor would rewrite a file of thousands of long paths) and the
        // marks stay in memory, which is what this is about.
        host_set_db_dir(db_->file("missing"));
        RPL_REPORT_SECTION* root = toc.m_section_index.front();
        leaf->set_marked_for_output(true);
        EXPECT_EQ(root->get_num_marked_for_output(), 2) << "every ancestor followed the leaf";
        leaf->set_marked_for_output(false);
        EXPECT_FALSE(root->m_marked_for_output);
        EXPECT_EQ(internal_error_conditions(), Paths{});
    }
    EXPECT_EQ(host_mem_live_blocks(), blocks_before) << "the whole chain was destroyed";
}
