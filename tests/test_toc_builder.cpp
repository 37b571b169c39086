// Building a TOC from a report of the stand-in database: the order of the
// index, what every kind of section copies from its object, the row test,
// link-report folders, the report's give-back, the traces and internal
// errors for bad objects, rebuilding, odd names and a very deep report.
#include "support/test_support.h"

#include <climits>

using namespace rpltest;

namespace {

class TocBuilder : public HostTest {};

const RDB_REPORT_TYPE kType = RDB_REPORT_TIMING;
const std::string kReportName = "rpt";
using Paths = std::vector<std::string>;

template <class T>
T* titled(T* object, const std::string& header, const std::string& footer) {
    object->set_header(header);
    object->set_footer(footer);
    return object;
}

RPL_REPORT_SECTION* find(RPL_REPORT_TOC& toc, const std::string& path) { return toc.section_exists(S(path)); }

std::string kind_of(RPL_REPORT_SECTION* s) {
    if (s->dynamic_cast_to_RPL_FOLDER()) return "folder";
    if (s->dynamic_cast_to_RPL_TEXT()) return "text";
    if (s->dynamic_cast_to_RPL_TABLE()) return "table";
    if (s->dynamic_cast_to_RPL_CHART()) return "chart";
    if (s->dynamic_cast_to_RPL_EMBEDDED()) return "embedded";
    if (s->dynamic_cast_to_RPL_CMP_SUMMARY()) return "summary";
    if (s->dynamic_cast_to_RPL_GAUGES()) return "gauges";
    return "plain";
}

Paths child_paths(const RPL_REPORT_SECTION* s) {
    Paths out;
    if (s->m_children == nullptr) return out;
    for (RPL_REPORT_SECTION* c : *s->m_children) out.push_back(Std(c->m_rdb_path));
    return out;
}

std::vector<bool> flags(const RPL_BOOL_VECTOR& v) { return std::vector<bool>(v.begin(), v.end()); }

// A text that notes, when the builder looks at it, how many link folders
// had been freed by then.
class FreeWatchingText : public RDB_TEXT_OBJECT {
public:
    explicit FreeWatchingText(const std::string& name) : RDB_TEXT_OBJECT(name, false) {}
    RDB_TEXT_OBJECT* dynamic_cast_to_RDB_TEXT_OBJECT() override {
        frees_seen.push_back(rdb_stand_in_manager().free_report_calls().size());
        return this;
    }
    std::vector<std::size_t> frees_seen;
};

// A report holding every kind, a skipped type, a null entry and a nested
// folder, each leaf with its own header and footer.
void install_every_kind() {
    auto* r = titled(new RDB_FOLDER_OBJECT("R"), "main header", "main footer");
    titled(r->add(new RDB_TEXT_OBJECT("Intro", true)), "h intro", "f intro");
    r->add(new RDB_TEXT_OBJECT("Plain", false));
    titled(r->add(new RDB_TABLE_OBJECT("Clocks", 7, 1)), "h clocks", "f clocks");
    auto* sub = titled(r->add(new RDB_FOLDER_OBJECT("Sub")), "h sub", "f sub");
    sub->add(new RDB_OBJECT(2, "skipped"));
    titled(sub->add(new RDB_TEXT_OBJECT("Inner", false)), "h inner", "");
    sub->add(new RDB_FOLDER_OBJECT("Empty"));
    r->add<RDB_OBJECT>(nullptr);
    r->add(new RDB_TABLE_OBJECT("Paths", 3, 0, 8));
    r->add(new RDB_TABLE_OBJECT("Slack", 0, 0, 14));
    titled(r->add(new RDB_CHART_TABLE_OBJECT("Chart", 2)), "h chart", "f chart");
    titled(r->add(new RDB_EMBEDDED_OBJECT("Pic", RDB_EMBEDDED_IMAGE, "info text")), "h pic", "f pic");
    r->add(new RDB_OBJECT(7, "Compile summary", "h sum", "f sum"));
    auto* meters = r->add(new RDB_GAUGES_OBJECT("Meters"));
    for (bool p : {true, false, true}) meters->add_gauge(p);
    install_report(kType, r);
}

}  // namespace

TEST_F(TocBuilder, IndexIsDepthFirstAndEverySectionCopiesItsObject) {
    install_every_kind();
    RPL_REPORT_TOC toc(kType, S(kReportName));
    toc.generate_toc(true);

    // In index order: each folder before its contents, no gaps. The root
    // takes no header or footer although its object has them.
    struct Row {
        std::string path, name, kind;
        int type;
        std::string header, footer;
    };
    const std::vector<Row> rows = {
        {"||R", "R", "folder", 1, "", ""},
        {"||R||Intro", "Intro", "text", 3, "h intro", "f intro"},
        {"||R||Plain", "Plain", "text", 3, "", ""},
        {"||R||Clocks", "Clocks", "table", 4, "h clocks", "f clocks"},
        {"||R||Sub", "Sub", "folder", 1, "h sub", "f sub"},
        {"||R||Sub||Inner", "Inner", "text", 3, "h inner", ""},
        {"||R||Sub||Empty", "Empty", "folder", 1, "", ""},
        {"||R||Paths", "Paths", "table", 8, "", ""},
        {"||R||Slack", "Slack", "table", 14, "", ""},
        {"||R||Chart", "Chart", "chart", 5, "h chart", "f chart"},
        {"||R||Pic", "Pic", "embedded", 6, "h pic", "f pic"},
        {"||R||Compile summary", "Compile summary", "summary", 7, "h sum", "f sum"},
        {"||R||Meters", "Meters", "gauges", 9, "", ""},
    };
    ASSERT_EQ(toc.m_section_index.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Row& row = rows[i];
        RPL_REPORT_SECTION* s = toc.m_section_index[i];
        SCOPED_TRACE(row.path);
        EXPECT_EQ(Std(s->m_rdb_path), row.path);
        EXPECT_EQ(Std(s->m_name), row.name);
        EXPECT_EQ(kind_of(s), row.kind);
        EXPECT_EQ(s->m_rdb_object_type, row.type);
        EXPECT_EQ(Std(s->m_header), row.header);
        EXPECT_EQ(Std(s->m_footer), row.footer);
        EXPECT_EQ(Std(s->m_report_name), kReportName);
        EXPECT_EQ(s->m_toc, &toc);
        EXPECT_EQ(s->m_settings_changed, row.kind == "chart") << "only charts are built as changed";
        if (i == 0) continue;
        ASSERT_NE(s->m_parent, nullptr);
        EXPECT_EQ(Std(s->m_parent->m_rdb_path), row.path.substr(0, row.path.rfind("||")));
    }
    ASSERT_EQ(toc.m_children->size(), 1u);
    EXPECT_EQ(toc.m_children->front(), toc.m_section_index[0]);
    EXPECT_EQ(toc.m_section_index[0]->m_parent, nullptr);
    EXPECT_EQ(child_paths(find(toc, "||R||Sub")), (Paths{"||R||Sub||Inner", "||R||Sub||Empty"}));
    EXPECT_EQ(find(toc, "||R||Sub||Empty")->m_children, nullptr) << "an empty folder gets no child list";
    EXPECT_EQ(internal_error_conditions(), Paths{});
}

TEST_F(TocBuilder, KindSpecificValuesComeFromTheObject) {
    install_every_kind();
    // A stored chart type other than 0 and 1 leaves the report's default.
    write_file(settings_path(kType, kReportName), "[||R||Chart]\nCHART_TYPE=9\n");
    RPL_REPORT_TOC toc(kType, S(kReportName));
    toc.generate_toc(true);

    EXPECT_TRUE(find(toc, "||R||Intro")->dynamic_cast_to_RPL_TEXT()->m_is_html);
    EXPECT_FALSE(find(toc, "||R||Plain")->dynamic_cast_to_RPL_TEXT()->m_is_html);
    EXPECT_EQ(find(toc, "||R||Clocks")->dynamic_cast_to_RPL_TABLE()->m_num_columns, 7u);
    EXPECT_EQ(find(toc, "||R||Paths")->dynamic_cast_to_RPL_TABLE()->m_num_columns, 3u);
    EXPECT_EQ(find(toc, "||R||Slack")->dynamic_cast_to_RPL_TABLE()->m_num_columns, 0u);
    RPL_CHART* chart = find(toc, "||R||Chart")->dynamic_cast_to_RPL_CHART();
    EXPECT_EQ(chart->m_chart_type, 2);
    EXPECT_TRUE(chart->m_settings_changed);
    RPL_EMBEDDED* pic = find(toc, "||R||Pic")->dynamic_cast_to_RPL_EMBEDDED();
    EXPECT_EQ(pic->m_embedded_type, RDB_EMBEDDED_IMAGE);
    EXPECT_EQ(Std(pic->m_info_str), "info text");
    EXPECT_EQ(flags(find(toc, "||R||Meters")->dynamic_cast_to_RPL_GAUGES()->m_percentages),
              (std::vector<bool>{true, false, true}));
    EXPECT_EQ(Std(find(toc, "||R||Compile summary")->m_name), "Compile summary") << "not the default name";
}

TEST_F(TocBuilder, SettingsAreReadForEverySectionAfterItsKindValues) {
    auto* r = new RDB_FOLDER_OBJECT("R");
    r->add(new RDB_TABLE_OBJECT("T", 3, 0));
    r->add(new RDB_CHART_TABLE_OBJECT("C0", 2));
    r->add(new RDB_CHART_TABLE_OBJECT("C9", 2));
    r->add(new RDB_TEXT_OBJECT("X", false));
    install_report(kType, r);
    write_file(settings_path(kType, kReportName),
               "[||R]\nOUTPUT_SECTION=0\n"
               "[||R||C0]\nCHART_TYPE=0\nOUTPUT_SECTION=0\n"
               "[||R||C9]\nCHART_TYPE=9\n"
               "[||R||T]\nCOLUMN_WIDTHS=10L,20R,30L,40R,\nPAGE_ORIENTATION=1\n"
               "[||R||X]\nPAGE_ORIENTATION=1\n");
    RPL_REPORT_TOC toc(kType, S(kReportName));
    toc.generate_toc(true);

    EXPECT_FALSE(find(toc, "||R")->m_marked_for_output) << "the root reads its settings too";
    RPL_TABLE* table = find(toc, "||R||T")->dynamic_cast_to_RPL_TABLE();
    EXPECT_EQ(std::vector<int>(table->m_column_width.begin(), table->m_column_width.end()),
              (std::vector<int>{10, 20, 30}))
        << "the column count is known when the widths are read";
    EXPECT_EQ(table->m_page_orientation, 2);
    EXPECT_FALSE(table->m_settings_changed);
    RPL_CHART* c0 = find(toc, "||R||C0")->dynamic_cast_to_RPL_CHART();
    EXPECT_EQ(c0->m_chart_type, 1) << "the stored type replaces the report's";
    EXPECT_FALSE(c0->m_marked_for_output);
    EXPECT_TRUE(c0->m_settings_changed) << "whatever the file held";
    EXPECT_EQ(find(toc, "||R||C9")->dynamic_cast_to_RPL_CHART()->m_chart_type, 2);
    EXPECT_EQ(find(toc, "||R||X")->m_page_orientation, 2);
}

TEST_F(TocBuilder, RowTestAsksFromRowOneAndStopsAtTheFirstFalse) {
    struct Case {
        const char* name;
        std::vector<bool> answers;  // one per row; row 0 first
        int rows_override;          // -100: as many rows as answers
        bool failed;
        std::vector<int> asked;
    };
    const std::vector<Case> cases = {
        {"no rows", {}, -100, false, {}},
        {"one row", {false}, -100, false, {}},
        {"row zero false", {false, true}, -100, false, {1}},
        {"all true", {true, true, true}, -100, false, {1, 2}},
        {"row one false", {true, false, false, true}, -100, true, {1}},
        {"row three false", {true, true, true, false, true}, -100, true, {1, 2, 3}},
        {"last row false", {true, true, false}, -100, true, {1, 2}},
        {"negative row count", {true, false}, -3, false, {}},
        {"rows beyond the answers", {true, true}, 4, false, {1, 2, 3}},
    };
    auto* r = new RDB_FOLDER_OBJECT("R");
    std::vector<RDB_ROW_TEST_TABLE_OBJECT*> tables;
    const int table_types[] = {4, 8, 14};
    for (const Case& c : cases) {
        const int type = table_types[tables.size() % 3];
        auto* t = r->add(new RDB_ROW_TEST_TABLE_OBJECT(c.name, 2, c.answers, type));
        if (c.rows_override != -100) t->set_number_of_rows(c.rows_override);
        tables.push_back(t);
    }
    r->add(new RDB_TABLE_OBJECT("no row-test view", 2, 5));
    install_report(kType, r);

    RPL_REPORT_TOC toc(kType, S(kReportName));
    toc.generate_toc(true);
    std::size_t total_asked = 0;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(cases[i].name);
        RPL_TABLE* table = find(toc, std::string("||R||") + cases[i].name)->dynamic_cast_to_RPL_TABLE();
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(table->m_row_test_failed, cases[i].failed);
        EXPECT_EQ(tables[i]->rows_asked(), cases[i].asked);
        total_asked += cases[i].asked.size();
    }
    EXPECT_FALSE(find(toc, "||R||no row-test view")->dynamic_cast_to_RPL_TABLE()->m_row_test_failed);
    EXPECT_EQ(static_cast<std::size_t>(manager_.test_row_count()), total_asked) << "no other table was asked";
}

TEST_F(TocBuilder, LinkFoldersAreFreedAtTheEndOfTheirOwnWalkInnermostFirst) {
    auto* r = new RDB_FOLDER_OBJECT("R");
    auto* l1 = r->add(new RDB_LINK_RPT_OBJECT("L1"));
    l1->add(new RDB_TEXT_OBJECT("a", false));
    auto* l2 = l1->add(new RDB_LINK_RPT_OBJECT("L2"));
    l2->add(new RDB_TEXT_OBJECT("b", false));
    auto* l3 = l2->add(new RDB_LINK_RPT_OBJECT("L3"));
    auto* after_l2 = l1->add(new FreeWatchingText("after L2"));
    auto* l4 = r->add(new RDB_LINK_RPT_OBJECT("L4"));
    auto* in_l4 = l4->add(new FreeWatchingText("in L4"));
    r->add(new RDB_FOLDER_OBJECT("plain folder"))->add(new RDB_TEXT_OBJECT("c", false));
    install_report(kType, r);

    RPL_REPORT_TOC toc(kType, S(kReportName));
    toc.generate_toc(true);
    using Calls = std::vector<const RDB_LINK_RPT_OBJECT*>;
    EXPECT_EQ(manager_.free_report_calls(), (Calls{l3, l2, l1, l4}));
    EXPECT_EQ(after_l2->frees_seen, (std::vector<std::size_t>{2})) << "L3 and L2 went before their next sibling";
    EXPECT_EQ(in_l4->frees_seen, (std::vector<std::size_t>{3})) << "L1 went before L4 was walked";
    EXPECT_EQ(index_paths(toc).size(), 11u) << "link folders are walked like folders";
    EXPECT_EQ(Std(find(toc, "||R||L1||L2||b")->m_rdb_path), "||R||L1||L2||b");

    // Each build walks, and frees, every link once more.
    toc.generate_toc(true);
    EXPECT_EQ(manager_.free_report_calls(), (Calls{l3, l2, l1, l4, l3, l2, l1, l4}));
    for (auto* link : {l1, l2, l3, l4}) EXPECT_EQ(link->free_count(), 2);
}

TEST_F(TocBuilder, MainFolderThatIsALinkIsFreedLastAndOnce) {
    auto* main_link = new RDB_LINK_RPT_OBJECT("R");
    auto* inner = main_link->add(new RDB_FOLDER_OBJECT("F"))->add(new RDB_LINK_RPT_OBJECT("inner"));
    main_link->add(new RDB_TEXT_OBJECT("X", false));
    install_report(kType, main_link);

    RPL_REPORT_TOC toc(kType, S(kReportName));
    toc.generate_toc(true);
    EXPECT_EQ(index_paths(toc), (Paths{"||R", "||R||F", "||R||F||inner", "||R||X"}));
    EXPECT_EQ(manager_.free_report_calls(), (std::vector<const RDB_LINK_RPT_OBJECT*>{inner, main_link}));
    EXPECT_EQ(main_link->free_count(), 1);
    EXPECT_EQ(manager_.counts(kType).ungets, 1);
}

TEST_F(TocBuilder, ReportIsGivenBackOncePerBuildWheneverThereIsAManager) {
    struct Case {
        const char* name;
        bool manager;
        std::function<void()> install;
        std::string trace;
        std::size_t sections;
        int gets, ungets;
    };
    const std::vector<Case> cases = {
        {"a report", true, [] { install_report(kType, new RDB_FOLDER_OBJECT("R")); }, "", 1, 1, 1},
        {"no report", true, [] {}, "RPL_REPORT_TOC::build_rdb_toc: RDB_REPORT* is NULL", 0, 1, 1},
        {"no manager", false, [] { install_report(kType, new RDB_FOLDER_OBJECT("R")); },
         "RPL_REPORT_TOC::build_rdb_toc: RDB_REPORT* is NULL", 0, 0, 0},
        {"no main folder", true, [] { install_report(kType, nullptr); }, "No root folder in report.", 0, 1, 1},
        {"main folder of type 2", true, [] { install_report(kType, new RDB_FOLDER_OBJECT("R", 2)); },
         "No root folder in report.", 0, 1, 1},
        {"main folder of type 0", true, [] { install_report(kType, new RDB_FOLDER_OBJECT("R", 0)); },
         "No root folder in report.", 0, 1, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        manager_.remove_all_reports();
        manager_.reset_counts();
        c.install();
        // A TOC built before keeps nothing of that build.
        auto* previous = new RDB_FOLDER_OBJECT("Old");
        previous->add(new RDB_TEXT_OBJECT("x", false));
        install_report(RDB_REPORT_POWER, previous);
        RPL_REPORT_TOC toc(kType, S(kReportName));
        toc.m_report_type = RDB_REPORT_POWER;
        toc.generate_toc(true);
        ASSERT_EQ(toc.m_section_index.size(), 2u);
        toc.m_report_type = kType;

        host_clear_messages();
        host_rdb_set_manager_enabled(c.manager);
        toc.generate_toc(true);
        host_rdb_set_manager_enabled(true);

        EXPECT_EQ(toc.m_section_index.size(), c.sections);
        EXPECT_EQ(toc.m_children->size(), c.sections);
        EXPECT_EQ(debug_texts(), c.trace.empty() ? Paths{} : Paths{c.trace});
        EXPECT_EQ(manager_.counts(kType).gets, c.gets);
        EXPECT_EQ(manager_.counts(kType).ungets, c.ungets);
        EXPECT_EQ(manager_.reports_held(), 0);
        for (const std::string& requester : manager_.counts(kType).requesters) EXPECT_EQ(requester, "RPL");
        EXPECT_EQ(internal_error_conditions(), Paths{});
    }
}

TEST_F(TocBuilder, NullAndUnhandledObjectsAreTracedAndSkipped) {
    auto* r = new RDB_FOLDER_OBJECT("R");
    r->add(new RDB_TEXT_OBJECT("first", false));
    r->add<RDB_OBJECT>(nullptr);
    for (int type : {2, 10, -1, 0, INT_MIN}) r->add(new RDB_OBJECT(type, "type " + std::to_string(type)));
    // A folder-like object of an unhandled type: nothing below it is built.
    r->add(new RDB_FOLDER_OBJECT("odd folder", 13))->add(new RDB_TEXT_OBJECT("hidden", false));
    auto* sub = r->add(new RDB_FOLDER_OBJECT("sub"));
    sub->add<RDB_OBJECT>(nullptr);
    sub->add(new RDB_TEXT_OBJECT("deep", false));
    install_report(kType, r);

    RPL_REPORT_TOC toc(kType, S(kReportName));
    toc.generate_toc(true);
    EXPECT_EQ(index_paths(toc), (Paths{"||R", "||R||first", "||R||sub", "||R||sub||deep"}));
    EXPECT_EQ(debug_texts(), (Paths{"Eeeeeek! The RDB object was NULL", "Unhandled RDB Object type: 2",
                                    "Unhandled RDB Object type: 10", "Unhandled RDB Object type: -1",
                                    "Unhandled RDB Object type: 0", "Unhandled RDB Object type: -2147483648",
                                    "Unhandled RDB Object type: 13", "Eeeeeek! The RDB object was NULL"}));
    for (const HOST_DEBUG_TRACE& trace : host_message_log().debug_traces) EXPECT_EQ(trace.module, "RPL");
    EXPECT_EQ(internal_error_conditions(), Paths{}) << "bad data is traced, not an internal error";
}

TEST_F(TocBuilder, ObjectsWhoseTypePromisesAnotherClassAreReportedAndTheWalkGoesOn) {
    struct Case {
        int type;
        std::string condition, kind;
    };
    const std::vector<Case> cases = {
        {3, "text_object != NULL", "text"},     {4, "table_object != NULL", "table"},
        {8, "table_object != NULL", "table"},   {14, "table_object != NULL", "table"},
        {5, "chart != NULL", "chart"},          {6, "em_object != NULL", "embedded"},
        {9, "gauges_object != NULL", "gauges"}, {1, "folder != NULL", "folder"},
    };
    auto* r = new RDB_FOLDER_OBJECT("R");
    Paths expected_paths = {"||R"};
    Paths expected_errors;
    for (const Case& c : cases) {
        const std::string name = "type " + std::to_string(c.type);
        r->add(new RDB_OBJECT(c.type, name, "h", "f"));
        r->add(new RDB_TEXT_OBJECT("after " + name, false));
        expected_paths.push_back("||R||" + name);
        expected_paths.push_back("||R||after " + name);
        expected_errors.push_back(c.condition);
    }
    install_report(kType, r);

    RPL_REPORT_TOC toc(kType, S(kReportName));
    toc.generate_toc(true);
    EXPECT_EQ(index_paths(toc), expected_paths);
    EXPECT_EQ(internal_error_conditions(), expected_errors);
    for (const HOST_INTERNAL_ERROR& e : host_message_log().internal_errors) EXPECT_EQ(e.file, "rpl_report_toc.cpp");
    EXPECT_EQ(debug_texts(), Paths{});
    EXPECT_EQ(manager_.counts(kType).ungets, 1);

    // The sections keep their constructors' values for what the object
    // could not give, and everything common to all kinds.
    for (const Case& c : cases) {
        RPL_REPORT_SECTION* s = find(toc, "||R||type " + std::to_string(c.type));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(kind_of(s), c.kind) << c.type;
        EXPECT_EQ(s->m_rdb_object_type, c.type);
        EXPECT_EQ(Std(s->m_header) + Std(s->m_footer), "hf") << c.type;
    }
    EXPECT_EQ(find(toc, "||R||type 4")->dynamic_cast_to_RPL_TABLE()->m_num_columns, 0u);
    EXPECT_EQ(find(toc, "||R||type 6")->dynamic_cast_to_RPL_EMBEDDED()->m_embedded_type, RDB_EMBEDDED_NONE);
}

TEST_F(TocBuilder, BuildFolderWithoutFolderOrParentReportsAndDoesNothing) {
    RPL_REPORT_TOC toc(kType, S(kReportName));
    RPL_FOLDER parent(S("P"));
    RDB_LINK_RPT_OBJECT link("L");
    link.add(new RDB_TEXT_OBJECT("x", false));

    toc.build_folder(nullptr, nullptr, S("||P"));
    EXPECT_EQ(internal_error_conditions(), (Paths{"folder != NULL", "parent != NULL"}));
    host_clear_messages();
    toc.build_folder(&link, nullptr, S("||P"));
    EXPECT_EQ(internal_error_conditions(), Paths{"parent != NULL"});
    host_clear_messages();
    toc.build_folder(nullptr, &parent, S("||P"));
    EXPECT_EQ(internal_error_conditions(), Paths{"folder != NULL"});
    EXPECT_EQ(link.free_count(), 0) << "a folder that is not walked is not freed";
    EXPECT_EQ(parent.m_children, nullptr);
    EXPECT_TRUE(toc.m_section_index.empty());
}

TEST_F(TocBuilder, TocWithoutRootListBuildsNothingAndGivesTheReportBack) {
    // A name too long to fit inside a string object, so a root left behind
    // would show in the memory accounts.
    install_report(kType, new RDB_FOLDER_OBJECT("a main folder with a long name"));
    RPL_REPORT_TOC toc(kType, S(kReportName));
    RPL_SECTION_LIST* roots = toc.m_children;
    toc.m_children = nullptr;
    const std::size_t blocks_before = host_mem_live_blocks();
    toc.generate_toc(true);
    EXPECT_EQ(host_mem_live_blocks(), blocks_before) << "no section left without an owner";
    toc.m_children = roots;

    EXPECT_TRUE(toc.m_section_index.empty());
    EXPECT_TRUE(toc.m_children->empty());
    // Twice from emptying the TOC (before and at the start of the build),
    // once from entering the root.
    EXPECT_EQ(internal_error_conditions(), Paths(3, "m_children != NULL"));
    EXPECT_EQ(manager_.counts(kType).ungets, 1);
    EXPECT_EQ(manager_.reports_held(), 0);
}

TEST_F(TocBuilder, NamesAreUsedAsTheyAre) {
    auto* r = new RDB_FOLDER_OBJECT("R");
    r->add(new RDB_TEXT_OBJECT("same", false));
    r->add(new RDB_TABLE_OBJECT("same", 1, 0));
    r->add(new RDB_TEXT_OBJECT("", false));
    r->add(new RDB_FOLDER_OBJECT("a"))->add(new RDB_TEXT_OBJECT("b", false));
    r->add(new RDB_CHART_TABLE_OBJECT("a||b", 1));
    r->add(new RDB_TEXT_OBJECT(" spaced ", false));
    install_report(kType, r);

    RPL_REPORT_TOC toc(kType, S(kReportName));
    toc.generate_toc(true);
    EXPECT_EQ(index_paths(toc),
              (Paths{"||R", "||R||same", "||R||same", "||R||", "||R||a", "||R||a||b", "||R||a||b", "||R|| spaced "}));
    EXPECT_EQ(kind_of(find(toc, "||R||same")), "text") << "the first of two equal paths is found";
    EXPECT_EQ(kind_of(find(toc, "||R||a||b")), "text") << "a name holding || is not told from two names";
    EXPECT_EQ(Std(find(toc, "||R||")->m_name), "");
    EXPECT_EQ(Std(toc.m_section_index[6]->m_name), "a||b");
}

TEST_F(TocBuilder, EmptyMainFolderNameGivesTheBarePath) {
    auto* r = new RDB_FOLDER_OBJECT("");
    r->add(new RDB_TEXT_OBJECT("x", false));
    install_report(kType, r);
    RPL_REPORT_TOC toc(kType, S(kReportName));
    toc.generate_toc(true);
    EXPECT_EQ(index_paths(toc), (Paths{"||", "||||x"}));
}

// A chain of folders far deeper than any real report, with a leaf at the
// bottom: building, reading settings, lookup, stepping, marking and
// destruction all recurse once per level and must fit the default stack.
TEST_F(TocBuilder, ReportFiveThousandFoldersDeepBuildsNavigatesMarksAndGoes) {
    const int depth = 5000;
    auto* main_folder = new RDB_FOLDER_OBJECT("R");
    RDB_FOLDER_OBJECT* folder = main_folder;
    std::string leaf_path = "||R";
    for (int level = 0; level < depth; ++level, leaf_path += "||f") folder = folder->add(new RDB_FOLDER_OBJECT("f"));
    folder->add(new RDB_TEXT_OBJECT("leaf", false));
    leaf_path += "||leaf";
    install_report(kType, main_folder);
    write_file(settings_path(kType, kReportName), "[" + leaf_path + "]\nOUTPUT_SECTION=0\n");

    const std::size_t blocks_before = host_mem_live_blocks();
    {
        RPL_REPORT_TOC toc(kType, S(kReportName));
        toc.generate_toc(true);
        ASSERT_EQ(toc.m_section_index.size(), static_cast<std::size_t>(depth) + 2);
        RPL_REPORT_SECTION* leaf = find(toc, leaf_path);
        ASSERT_NE(leaf, nullptr);
        EXPECT_EQ(leaf, toc.m_section_index.back());
        RPL_REPORT_SECTION* root = toc.m_section_index.front();
        EXPECT_FALSE(leaf->m_marked_for_output) << "the deepest block is read";
        EXPECT_EQ(root->get_num_marked_for_output(), 1);
        EXPECT_EQ(Std(toc.get_next_section(S("||R"))), leaf_path) << "stepping passes over every folder";
        EXPECT_EQ(Std(toc.get_previous_section(S(leaf_path))), "");

        // Each ancestor a mark reaches rewrites the whole settings file, with
        // paths up to 15 KB long. With the database directory missing nothing
        // is saved and the marks stay in memory, which is what this is about.
        host_set_db_dir(db_->file("missing"));
        leaf->set_marked_for_output(true);
        EXPECT_EQ(root->get_num_marked_for_output(), 2) << "every ancestor followed the leaf";
        leaf->set_marked_for_output(false);
        EXPECT_FALSE(root->m_marked_for_output);
        EXPECT_EQ(internal_error_conditions(), Paths{});
    }
    EXPECT_EQ(host_mem_live_blocks(), blocks_before) << "the whole chain was destroyed";
    EXPECT_EQ(manager_.reports_held(), 0);
}
