// No user's settings are ever destroyed: a settings file that exists but
// cannot be read is left exactly as it is by every operation, and what
// another TOC of the same report wrote survives this TOC's saves.
#include "support/test_support.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>

#include <sys/stat.h>

using namespace rpltest;
namespace fs = std::filesystem;

namespace {

const RDB_REPORT_TYPE kType = RDB_REPORT_TIMING;
const char* const kName = "r";

// Not as the library would write it (a stray line, unsorted keys), so a
// rewrite would show even if it kept every value.
const std::string kUserText =
    "stray\n[||R||F||X]\nPAGE_ORIENTATION=1\nOUTPUT_SECTION=0\n[||R||F||T]\nCOLUMN_WIDTHS=1L,2R,3L,\n";

// R { F { X (text), T (table, 3 columns), C (chart) } }
RDB_FOLDER_OBJECT* report() {
    auto* root = new RDB_FOLDER_OBJECT("R");
    auto* f = root->add(new RDB_FOLDER_OBJECT("F"));
    f->add(new RDB_TEXT_OBJECT("X", false));
    f->add(new RDB_TABLE_OBJECT("T", 3, 1));
    f->add(new RDB_CHART_TABLE_OBJECT("C", 2));
    return root;
}

struct OPERATION {
    const char* name;
    std::function<void(RPL_REPORT_TOC&)> run;
};

RPL_REPORT_SECTION* at(RPL_REPORT_TOC& toc, const char* path) { return toc.section_exists(S(path)); }

// Every operation that loads or saves the settings file, each run on a TOC
// just built (building is the first of them).
std::vector<OPERATION> operations() {
    return {
        {"generate_toc", [](RPL_REPORT_TOC&) {}},
        {"unmark a leaf", [](RPL_REPORT_TOC& t) { at(t, "||R||F||X")->set_marked_for_output(false); }},
        {"unmark the root", [](RPL_REPORT_TOC& t) { at(t, "||R")->set_marked_for_output(false); }},
        {"set one folder", [](RPL_REPORT_TOC& t) { at(t, "||R||F")->internal_set_marked_for_output(false); }},
        {"update from a leaf", [](RPL_REPORT_TOC& t) { at(t, "||R||F||C")->update_marked_for_output(); }},
        {"write a changed text",
         [](RPL_REPORT_TOC& t) {
             RPL_REPORT_SECTION* x = at(t, "||R||F||X");
             x->m_settings_changed = true;
             x->write_acf_settings();
         }},
        {"write a table after its setters",
         [](RPL_REPORT_TOC& t) {
             RPL_TABLE* table = at(t, "||R||F||T")->dynamic_cast_to_RPL_TABLE();
             for (unsigned int i = 0; i < 3; ++i) table->set_column_width(i, 10);
             table->write_acf_settings();
         }},
        {"write a chart of unknown type",
         [](RPL_REPORT_TOC& t) {
             at(t, "||R||F||C")->dynamic_cast_to_RPL_CHART()->m_chart_type = 0;
             at(t, "||R||F||C")->write_acf_settings();
         }},
        {"read every section again",
         [](RPL_REPORT_TOC& t) {
             for (RPL_REPORT_SECTION* s : t.m_section_index) s->read_acf_settings();
         }},
    };
}

// Runs `op` on a TOC built for the report; true when every read that the
// TOC then makes fails and leaves the fields as built.
bool run_on_fresh_toc(const OPERATION& op) {
    RPL_REPORT_TOC toc(kType, S(kName));
    toc.generate_toc(true);
    bool defaults = true;
    for (RPL_REPORT_SECTION* s : toc.m_section_index) defaults = defaults && s->m_marked_for_output;
    op.run(toc);
    bool reads_fail = true;
    for (RPL_REPORT_SECTION* s : toc.m_section_index) reads_fail = reads_fail && !s->read_acf_settings();
    return defaults && reads_fail;
}

std::vector<std::string> entries(const std::string& directory) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

unsigned mode_of(const std::string& path) {
    struct stat st = {};
    ::stat(path.c_str(), &st);
    return st.st_mode & 07777;
}

class NothingLost : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        install_report(kType, report());
        path_ = settings_path(kType, kName);
        name_ = fs::path(path_).filename().string();
    }

    std::string path_;
    std::string name_;
};

}  // namespace

TEST_F(NothingLost, FileItsUserMayNotReadIsLeftByteForByte) {
    // Let a save make its temporary file beside the settings file, so that
    // only the rule "never save after a failed load" keeps the file.
    ASSERT_EQ(::chmod(db_->path().c_str(), 0777), 0);
    for (unsigned mode : {0222u, 0000u}) {
        for (const OPERATION& op : operations()) {
            SCOPED_TRACE(std::string(op.name) + (mode ? " (write-only file)" : " (no permission at all)"));
            write_file(path_, kUserText);
            ASSERT_EQ(::chmod(path_.c_str(), mode), 0);
            EXPECT_EQ(run_as_nobody([&] { return run_on_fresh_toc(op); }), 0);
            EXPECT_EQ(read_file(path_), kUserText);
            EXPECT_EQ(mode_of(path_), mode);
            EXPECT_EQ(entries(db_->path()), std::vector<std::string>{name_});
            fs::remove(path_);
        }
    }
    // The same user does rewrite the file once it may read it: the file
    // above was kept by the rule, not by a directory it could not reach.
    write_file(path_, kUserText);
    ASSERT_EQ(::chmod(path_.c_str(), 0666), 0);
    EXPECT_EQ(run_as_nobody([&] { return !run_on_fresh_toc(operations()[1]); }), 0);
    EXPECT_NE(read_file(path_), kUserText);
}

TEST_F(NothingLost, DirectoryInPlaceOfTheFileIsLeftAsItIs) {
    for (const OPERATION& op : operations()) {
        SCOPED_TRACE(op.name);
        fs::create_directory(path_);
        write_file(path_ + "/inside", kUserText);
        EXPECT_TRUE(run_on_fresh_toc(op));
        EXPECT_EQ(entries(path_), std::vector<std::string>{"inside"});
        EXPECT_EQ(read_file(path_ + "/inside"), kUserText);
        EXPECT_EQ(entries(db_->path()), std::vector<std::string>{name_});
        fs::remove_all(path_);
    }
}

TEST_F(NothingLost, ChartWarnsOfAnUnknownTypeEvenWhenItCannotSave) {
    fs::create_directory(path_);
    RPL_REPORT_TOC toc(kType, S(kName));
    toc.generate_toc(true);
    RPL_CHART* chart = at(toc, "||R||F||C")->dynamic_cast_to_RPL_CHART();
    chart->m_chart_type = 0;
    host_clear_messages();
    chart->write_acf_settings();
    EXPECT_EQ(debug_texts(), std::vector<std::string>{"Warning: Unknown chart type."});
    EXPECT_TRUE(fs::is_empty(path_));
}

TEST_F(NothingLost, BlocksWrittenByAnotherTocOfTheSameReportSurvive) {
    RPL_REPORT_TOC mine(kType, S(kName));
    mine.generate_toc(true);
    // The other TOC was built from a later state of the report, with a
    // section this TOC does not know.
    auto* newer = report();
    newer->add(new RDB_TEXT_OBJECT("Z", false));
    install_report(kType, newer);
    RPL_REPORT_TOC other(kType, S(kName));
    other.generate_toc(true);

    at(mine, "||R||F||X")->set_marked_for_output(false);
    const std::string after_mine = read_file(path_);

    at(other, "||R||Z")->set_marked_for_output(false);
    RPL_TABLE* other_table = at(other, "||R||F||T")->dynamic_cast_to_RPL_TABLE();
    for (unsigned int i = 0; i < 3; ++i) other_table->set_column_width(i, 7 + static_cast<int>(i));
    other_table->write_acf_settings();
    // The other TOC still holds X as marked, but it never wrote X.
    EXPECT_NE(read_file(path_).find("[||R||F||X]\nOUTPUT_SECTION=0\n"), std::string::npos);

    // This TOC's next operations keep the other's blocks and keys.
    at(mine, "||R||F||T")->set_marked_for_output(false);
    EXPECT_EQ(read_file(path_),
              "[||R]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||R||F]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||R||F||T]\nCOLUMN_WIDTHS=7L,8L,9L,\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
              "[||R||F||X]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
              "[||R||Z]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");
    EXPECT_NE(after_mine, read_file(path_));

    // And a TOC built afterwards sees both TOCs' choices.
    RPL_REPORT_TOC later(kType, S(kName));
    later.generate_toc(true);
    for (const char* path : {"||R||F||X", "||R||F||T", "||R||Z"}) EXPECT_FALSE(at(later, path)->m_marked_for_output);
    RPL_TABLE* later_table = at(later, "||R||F||T")->dynamic_cast_to_RPL_TABLE();
    EXPECT_EQ(std::vector<int>(later_table->m_column_width.begin(), later_table->m_column_width.end()),
              (std::vector<int>{7, 8, 9}));
}
