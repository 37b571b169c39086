// Reports and settings a viewer should never meet but may: names that look
// like paths or hold control bytes, huge names and column counts, objects
// that are not what their type says, and stored values that are not numbers. The TOC is built as the data says,
// the settings file stays inside the database directory and loads again,
// and nothing crashes.
#include "support/test_support.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <filesystem>

using namespace rpltest;
namespace fs = std::filesystem;

namespace {

class BadReports : public HostTest {};

const RDB_REPORT_TYPE kType = RDB_REPORT_TIMING;

std::vector<std::string> entries(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir)) names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

RPL_REPORT_SECTION* find(RPL_REPORT_TOC& toc, const std::string& path) { return toc.section_exists(S(path)); }

}  // namespace

TEST_F(BadReports, ReportNamesKeepTheSettingsFileInsideTheDatabaseDirectory) {
    const std::vector<std::string> names = {
        "a/b", "../escape", "..", ".", "", "/absolute/path", "../../../../../../../../../../etc/passwd",
        std::string("nul\0one", 7), std::string("nul\0two", 7), "a%2Fb",
        "line\nfeed\rreturn\ttab\x01\x1b[31m\x7f", "\xff\xfe high bytes",
        std::string(5000, 'x'), std::string(5000, 'x') + "y", "name with spaces",
    };
    // The database directory sits two levels down, so a file that escaped
    // it would show in the levels above.
    const std::string outer = db_->file("outer");
    const std::string db_dir = outer + "/db";
    fs::create_directories(db_dir);
    host_set_db_dir(db_dir);

    auto* root = new RDB_FOLDER_OBJECT("R");
    root->add(new RDB_TEXT_OBJECT("X", false));
    install_report(kType, root);

    for (const std::string& name : names) {
        SCOPED_TRACE(testing::PrintToString(name.substr(0, 40)));
        {
            RPL_REPORT_TOC toc(kType, S(name));
            const fs::path path(Std(toc.get_settings_filename()));
            EXPECT_EQ(path.parent_path().string(), db_dir);
            toc.generate_toc(true);
            ASSERT_NE(find(toc, "||R||X"), nullptr);
            find(toc, "||R||X")->set_marked_for_output(false);
            EXPECT_TRUE(fs::is_regular_file(path));
        }
        RPL_REPORT_TOC again(kType, S(name));
        again.generate_toc(true);
        ASSERT_NE(find(again, "||R||X"), nullptr);
        EXPECT_FALSE(find(again, "||R||X")->m_marked_for_output) << "the saved mark loads again";
    }
    EXPECT_EQ(entries(db_dir).size(), names.size()) << "one file per report, none shared";
    EXPECT_EQ(entries(outer), std::vector<std::string>{"db"});
    EXPECT_EQ(entries(db_->path()), std::vector<std::string>{"outer"});
}

TEST_F(BadReports, HugeNamesAndColumnCountsAreKeptWhole) {
    const std::string table_name(1 << 20, 'n');
    const std::string chart_name(1 << 20, 'c');
    auto* root = new RDB_FOLDER_OBJECT("R");
    root->add(new RDB_TABLE_OBJECT(table_name, UINT32_MAX, 2));
    root->add(new RDB_CHART_TABLE_OBJECT(chart_name, 2));
    install_report(kType, root);

    // Stored lines far beyond any line buffer; the widths lose their last
    // item, which no comma ends.
    const std::string table_path = "||R||" + table_name;
    const std::string table_block = "[" + table_path + "]\nCOLUMN_ORDER=1,0,\nCOLUMN_WIDTHS=10L,20R,30\n";
    const std::string file = settings_path(kType, "huge");
    write_file(file, table_block);

    RPL_REPORT_TOC toc(kType, S("huge"));
    toc.generate_toc(true);
    ASSERT_EQ(index_paths(toc), (std::vector<std::string>{"||R", table_path, "||R||" + chart_name}));
    RPL_TABLE* table = find(toc, table_path)->dynamic_cast_to_RPL_TABLE();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->m_num_columns, UINT32_MAX);
    EXPECT_EQ(std::vector<int>(table->m_column_width.begin(), table->m_column_width.end()), (std::vector<int>{10, 20}));
    EXPECT_EQ(std::vector<int>(table->m_display_column.begin(), table->m_display_column.end()),
              (std::vector<int>{1, 0}));
    EXPECT_EQ(table->get_alignment(1), RPL_TABLE::RIGHT);

    // Unmarking writes the base keys; the column lists are shorter than the
    // column count, so their keys stay as stored.
    table->set_marked_for_output(false);
    EXPECT_EQ(read_file(file), "[||R]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n" + table_block +
                                   "OUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");

    RPL_REPORT_TOC again(kType, S("huge"));
    again.generate_toc(true);
    ASSERT_NE(find(again, table_path), nullptr);
    EXPECT_FALSE(find(again, table_path)->m_marked_for_output);
    EXPECT_TRUE(find(again, "||R||" + chart_name)->m_marked_for_output);
}

TEST_F(BadReports, LineFeedInASectionNameIsWrittenUnescaped) {
    // Names go into the file as they are, so a line feed splits the
    // section's header: the file still loads, the next save drops the tail
    // of the header, and that section's block is never found again.
    auto* root = new RDB_FOLDER_OBJECT("R");
    root->add(new RDB_TEXT_OBJECT("a\nb", false));
    root->add(new RDB_TEXT_OBJECT("c", false));
    install_report(kType, root);
    const std::string file = settings_path(kType, "line feed");
    {
        RPL_REPORT_TOC toc(kType, S("line feed"));
        toc.generate_toc(true);
        find(toc, "||R||a\nb")->internal_set_marked_for_output(false);
        EXPECT_EQ(read_file(file), "[||R||a\nb]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");
        find(toc, "||R||c")->internal_set_marked_for_output(false);
        EXPECT_EQ(read_file(file),
                  "[||R||a\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n[||R||c]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");
    }
    RPL_REPORT_TOC again(kType, S("line feed"));
    again.generate_toc(true);
    EXPECT_EQ(index_paths(again), (std::vector<std::string>{"||R", "||R||a\nb", "||R||c"}));
    EXPECT_TRUE(find(again, "||R||a\nb")->m_marked_for_output);
    EXPECT_FALSE(find(again, "||R||c")->m_marked_for_output);
}

TEST_F(BadReports, OddTreeIsBuiltTheSameTwiceAndItsMarksSaveALoadableFile) {
    auto* root = new RDB_FOLDER_OBJECT("R");
    root->add(new RDB_OBJECT(4, "table in name only"));
    root->add<RDB_OBJECT>(nullptr);
    root->add(new RDB_OBJECT(INT_MAX, "huge type"));
    auto* gauges = root->add(new RDB_GAUGES_OBJECT("gauges with gaps"));
    gauges->add_gap();
    gauges->add_gauge(true);
    root->add(new RDB_TABLE_OBJECT("negative rows", 2, -5));
    root->add(new RDB_EMBEDDED_OBJECT("odd embedded", static_cast<RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM>(77), ""));
    install_report(kType, root);

    for (int build = 0; build < 2; ++build) {
        SCOPED_TRACE(build == 0 ? "first build" : "rebuild");
        host_clear_messages();
        RPL_REPORT_TOC toc(kType, S("odd"));
        toc.generate_toc(true);
        EXPECT_EQ(index_paths(toc), (std::vector<std::string>{"||R", "||R||table in name only", "||R||gauges with gaps",
                                                              "||R||negative rows", "||R||odd embedded"}));
        EXPECT_EQ(internal_error_conditions(), (std::vector<std::string>{"table_object != NULL"}));
        EXPECT_FALSE(find(toc, "||R||negative rows")->dynamic_cast_to_RPL_TABLE()->m_row_test_failed);
        find(toc, "||R")->set_marked_for_output(false);
        EXPECT_EQ(find(toc, "||R")->get_num_marked_for_output(), 0);
    }
    RPL_REPORT_SETTINGS_FILE file;
    file.m_filename = S(settings_path(kType, "odd"));
    EXPECT_TRUE(file.read_from_disk());
    EXPECT_EQ(file.m_sections.size(), 5u);
}

TEST_F(BadReports, MalformedStoredValuesReadAsTheirNumberOrTheDefault) {
    auto* root = new RDB_FOLDER_OBJECT("R");
    root->add(new RDB_TEXT_OBJECT("X", false));
    root->add(new RDB_CHART_TABLE_OBJECT("C", 2));
    root->add(new RDB_TABLE_OBJECT("T", 6, 1));
    install_report(kType, root);
    write_file(settings_path(kType, "malformed"),
               "[||R||C]\nCHART_TYPE=-1\nOUTPUT_SECTION=\nPAGE_ORIENTATION=1junk\n"
               "[||R||T]\nCOLUMN_ORDER=a,,99999999999,-4,\nCOLUMN_WIDTHS=,,L,5R,x7,-3r,\nOUTPUT_SECTION=+1\n"
               "[||R||X]\nOUTPUT_SECTION=yes\nPAGE_ORIENTATION=99999999999999999999\n");

    RPL_REPORT_TOC toc(kType, S("malformed"));
    toc.generate_toc(true);
    ASSERT_EQ(index_paths(toc).size(), 4u);
    RPL_REPORT_SECTION* text = find(toc, "||R||X");
    EXPECT_FALSE(text->m_marked_for_output) << "\"yes\" is no number";
    EXPECT_EQ(text->m_page_orientation, 1) << "a number beyond int is clamped, not 1";

    RPL_CHART* chart = find(toc, "||R||C")->dynamic_cast_to_RPL_CHART();
    EXPECT_EQ(chart->m_chart_type, 2) << "an unknown stored type leaves the report's";
    EXPECT_TRUE(chart->m_marked_for_output) << "an empty value reads as absent";
    EXPECT_EQ(chart->m_page_orientation, 2) << "the number at the start counts";

    RPL_TABLE* table = find(toc, "||R||T")->dynamic_cast_to_RPL_TABLE();
    EXPECT_TRUE(table->m_marked_for_output);
    EXPECT_EQ(std::vector<int>(table->m_column_width.begin(), table->m_column_width.end()),
              (std::vector<int>{0, 0, 0, 5, 0, -3}));
    EXPECT_EQ(std::vector<RPL_TABLE::ALIGNMENT>(table->m_column_alignment.begin(), table->m_column_alignment.end()),
              (std::vector<RPL_TABLE::ALIGNMENT>{RPL_TABLE::LEFT, RPL_TABLE::RIGHT, RPL_TABLE::RIGHT}))
        << "only items ending in a letter give an alignment";
    EXPECT_EQ(std::vector<int>(table->m_display_column.begin(), table->m_display_column.end()),
              (std::vector<int>{0, 0, INT_MAX, -4}));
}
