// Reports and settings a viewer should never meet but may: names that look
// like paths or hold control bytes, huge names and column counts, objects
// that are not what their type says, and stored values that are not numbers.
// The TOC is built as the data says and the settings file stays inside the
// database directory and loads again.
#include "support/test_support.h"

#include <climits>
#include <cstdint>
#include <filesystem>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace rpltest;
namespace fs = std::filesystem;

namespace {

class BadReports : public HostTest {};

const RDB_REPORT_TYPE kType = RDB_REPORT_TIMING;

template <class V>
std::vector<typename V::value_type> items(const V& v) { return {v.begin(), v.end()}; }

// Runs `body` in a child process. Gives the most memory the child held, in
// KiB, or -1 when `body` returned false or the child did not end normally.
long peak_memory_of(const std::function<bool()>& body) {
    pid_t pid = ::fork();
    if (pid == 0) ::_exit(body() ? 0 : 1);
    int status = 0;
    struct rusage usage = {};
    if (::wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
    return usage.ru_maxrss;
}

}  // namespace

TEST_F(BadReports, ReportNamesKeepTheSettingsFileInsideTheDatabaseDirectory) {
    const std::vector<std::string> names = {
        "a/b", "../escape", "..", ".", "", "/absolute/path", "../../../../../../../../../../etc/passwd",
        std::string("nul\0one", 7), std::string("nul\0two", 7), "a%2Fb",
        "line\nfeed\rreturn\ttab\x01\x1b[31m\x7f", "\xff\xfe high bytes",
        std::string(5000, 'x'), std::string(5000, 'x') + "y",
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
            RPL_REPORT_TOC toc(kType, to_rpl(name));
            EXPECT_EQ(fs::path(to_std(toc.get_settings_filename())).parent_path().string(), db_dir);
            toc.generate_toc(true);
            find_section(toc, "||R||X")->set_marked_for_output(false);
        }
        RPL_REPORT_TOC again(kType, to_rpl(name));
        again.generate_toc(true);
        EXPECT_FALSE(find_section(again, "||R||X")->m_marked_for_output) << "the saved mark loads again";
    }
    EXPECT_EQ(entries_of(db_dir).size(), names.size()) << "one file per report, none shared";
    EXPECT_EQ(entries_of(outer), std::vector<std::string>{"db"});
    EXPECT_EQ(entries_of(db_->path()), std::vector<std::string>{"outer"});
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

    RPL_REPORT_TOC toc(kType, to_rpl("huge"));
    toc.generate_toc(true);
    ASSERT_EQ(index_paths(toc), (std::vector<std::string>{"||R", table_path, "||R||" + chart_name}));
    RPL_TABLE* table = find_section(toc, table_path)->dynamic_cast_to_RPL_TABLE();
    EXPECT_EQ(table->m_num_columns, UINT32_MAX);
    EXPECT_EQ(items(table->m_column_width), (std::vector<int>{10, 20}));
    EXPECT_EQ(items(table->m_display_column), (std::vector<int>{1, 0}));
    EXPECT_EQ(table->get_alignment(1), RPL_TABLE::RIGHT);

    // Unmarking writes the base keys; the column lists are shorter than the
    // column count, so their keys stay as stored.
    table->set_marked_for_output(false);
    EXPECT_EQ(read_file(file), "[||R]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n" + table_block +
                                   "OUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");
}

TEST_F(BadReports, OddObjectsAndMalformedValuesStillGiveATreeAndALoadableFile) {
    auto* root = new RDB_FOLDER_OBJECT("R");
    root->add(new RDB_OBJECT(4, "table in name only"));
    root->add(new RDB_GAUGES_OBJECT("gauges with gaps"))->add_gap();
    root->add(new RDB_EMBEDDED_OBJECT("odd embedded", static_cast<RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM>(77), ""));
    root->add(new RDB_TEXT_OBJECT("X", false));
    root->add(new RDB_CHART_TABLE_OBJECT("C", 2));
    root->add(new RDB_TABLE_OBJECT("T", 6, 1));
    install_report(kType, root);
    const std::string file = settings_path(kType, "odd");
    write_file(file,
               "[||R||C]\nCHART_TYPE=-1\nOUTPUT_SECTION=\nPAGE_ORIENTATION=1junk\n"
               "[||R||T]\nCOLUMN_ORDER=a,,99999999999,-4,\nCOLUMN_WIDTHS=,,L,5R,x7,-3r,\nOUTPUT_SECTION=+1\n"
               "[||R||X]\nOUTPUT_SECTION=yes\nPAGE_ORIENTATION=99999999999999999999\n");

    RPL_REPORT_TOC toc(kType, to_rpl("odd"));
    toc.generate_toc(true);
    EXPECT_EQ(index_paths(toc),
              (std::vector<std::string>{"||R", "||R||table in name only", "||R||gauges with gaps", "||R||odd embedded",
                                        "||R||X", "||R||C", "||R||T"}));
    EXPECT_EQ(internal_error_conditions(), (std::vector<std::string>{"table_object != NULL"}));

    RPL_REPORT_SECTION* text = find_section(toc, "||R||X");
    EXPECT_FALSE(text->m_marked_for_output) << "\"yes\" is no number";
    EXPECT_EQ(text->m_page_orientation, 1) << "a number beyond int is clamped, not 1";
    RPL_CHART* chart = find_section(toc, "||R||C")->dynamic_cast_to_RPL_CHART();
    EXPECT_EQ(chart->m_chart_type, 2) << "an unknown stored type leaves the report's";
    EXPECT_TRUE(chart->m_marked_for_output) << "an empty value reads as absent";
    EXPECT_EQ(chart->m_page_orientation, 2) << "the number at the start counts";
    RPL_TABLE* table = find_section(toc, "||R||T")->dynamic_cast_to_RPL_TABLE();
    EXPECT_TRUE(table->m_marked_for_output);
    EXPECT_EQ(items(table->m_column_width), (std::vector<int>{0, 0, 0, 5, 0, -3}));
    EXPECT_EQ(items(table->m_column_alignment),
              (std::vector<RPL_TABLE::ALIGNMENT>{RPL_TABLE::LEFT, RPL_TABLE::RIGHT, RPL_TABLE::RIGHT}))
        << "only items ending in a letter give an alignment";
    EXPECT_EQ(items(table->m_display_column), (std::vector<int>{0, 0, INT_MAX, -4}));

    // Marking the whole odd tree saves a file that loads again.
    find_section(toc, "||R")->set_marked_for_output(false);
    EXPECT_EQ(find_section(toc, "||R")->get_num_marked_for_output(), 0);
    RPL_REPORT_SETTINGS_FILE settings;
    settings.m_filename = to_rpl(file);
    EXPECT_TRUE(settings.read_from_disk());
    EXPECT_EQ(settings.m_sections.size(), 7u);
}

// A report of a few bytes may give a row-tested table 2^31-1 rows, all
// true: the builder then asks about every one of them, and what the
// stand-in keeps of those questions must not grow with them.
TEST_F(BadReports, RowTestOverManyRowsKeepsTheStandInsMemoryFlat) {
    auto build = [](int rows) {
        return [rows] {
            auto* root = new RDB_FOLDER_OBJECT("R");
            root->add(new RDB_ROW_TEST_TABLE_OBJECT("T", 1, {true}))->set_number_of_rows(rows);
            install_report(kType, root);
            RPL_REPORT_TOC toc(kType, to_rpl("rows"));
            toc.generate_toc(true);
            return !find_section(toc, "||R||T")->dynamic_cast_to_RPL_TABLE()->m_row_test_failed &&
                   host_rdb_test_row_count() == rows - 1;
        };
    };
    // 2^25 rows kept one by one would take 128 MiB or more.
    const long few = peak_memory_of(build(2));
    const long many = peak_memory_of(build(1 << 25));
    ASSERT_GT(few, 0);
    ASSERT_GT(many, 0) << "every row asked, none failed";
    EXPECT_LT(many - few, 16 * 1024) << "KiB more for 2^25 rows than for 2";
}
