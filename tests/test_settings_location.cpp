// Where a report's settings file lies: in the database directory, named by
// the report's key with the settings extension, computed afresh each time
// and never created by asking.
#include "support/test_support.h"

#include <filesystem>

using namespace rpltest;
namespace fs = std::filesystem;

namespace {

class SettingsLocation : public HostTest {
protected:
    std::string path_of(RDB_REPORT_TYPE type, const std::string& name) {
        RPL_REPORT_TOC toc(type, S(name));
        return Std(toc.get_settings_filename());
    }
};

}  // namespace

TEST_F(SettingsLocation, FileIsTheReportKeyWithTheSettingsExtensionInTheDatabaseDirectory) {
    struct CASE {
        RDB_REPORT_TYPE type;
        const char* name;
        const char* file;
    };
    const CASE cases[] = {
        {RDB_REPORT_TIMING, "timing", "timing@timing.rplset"},
        {RDB_REPORT_SYNTHESIS, "top", "top@synthesis.rplset"},
        {RDB_REPORT_GENERIC, "", "@generic.rplset"},
    };
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(path_of(c.type, c.name), db_->path() + "/" + c.file);
    }
    RPL_REPORT_TOC default_toc;
    EXPECT_EQ(Std(default_toc.get_settings_filename()), db_->path() + "/@generic.rplset");
}

TEST_F(SettingsLocation, SameReportGivesTheSamePathAndTypeOrNameAnother) {
    RPL_REPORT_TOC first(RDB_REPORT_TIMING, "r");
    RPL_REPORT_TOC second(RDB_REPORT_TIMING, "r");
    EXPECT_EQ(Std(first.get_settings_filename()), Std(second.get_settings_filename()));
    EXPECT_EQ(Std(first.get_settings_filename()), Std(first.get_settings_filename()));
    EXPECT_NE(path_of(RDB_REPORT_POWER, "r"), path_of(RDB_REPORT_TIMING, "r"));
    EXPECT_NE(path_of(RDB_REPORT_TIMING, "R"), path_of(RDB_REPORT_TIMING, "r"));
    // The type reaches the path only through its text: an unnamed type has
    // a text of its own, different from every named one.
    EXPECT_NE(path_of(static_cast<RDB_REPORT_TYPE>(77), "r"), path_of(RDB_REPORT_GENERIC, "r"));
}

TEST_F(SettingsLocation, PathFollowsTheDatabaseDirectoryAndAReportRename) {
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, "r");
    const std::string before = Std(toc.get_settings_filename());
    TempDir other;
    host_set_db_dir(other.path());
    EXPECT_EQ(Std(toc.get_settings_filename()), other.path() + "/r@timing.rplset");
    toc.m_report_name = "renamed";
    EXPECT_EQ(Std(toc.get_settings_filename()), other.path() + "/renamed@timing.rplset");
    host_set_db_dir(db_->path());
    toc.m_report_name = "r";
    EXPECT_EQ(Std(toc.get_settings_filename()), before);
}

TEST_F(SettingsLocation, AskingCreatesNothingOnDisk) {
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, "r");
    for (int i = 0; i < 3; ++i) toc.get_settings_filename();
    EXPECT_TRUE(fs::is_empty(db_->path()));

    // Not even a database directory that is not there.
    const std::string missing = db_->file("missing");
    host_set_db_dir(missing);
    EXPECT_EQ(Std(toc.get_settings_filename()), missing + "/r@timing.rplset");
    EXPECT_FALSE(file_exists(missing));
}

TEST_F(SettingsLocation, ReportNameWithSlashesOrDotsStaysInsideTheDatabaseDirectory) {
    const char* const names[] = {"a/b", "../up", "/abs/path", "..", ".", "x\\y", "sp ace", "\xc3\xa9t\xc3\xa9"};
    for (const char* name : names) {
        SCOPED_TRACE(name);
        fs::path path = path_of(RDB_REPORT_TIMING, name);
        EXPECT_EQ(path.parent_path().string(), db_->path());
        const std::string file = path.filename().string();
        EXPECT_EQ(file.find('/'), std::string::npos);
        EXPECT_NE(file, "..");
        EXPECT_NE(file, ".");
        EXPECT_EQ(path.extension().string(), ".rplset");
    }
    // Names that differ only in such characters still get files of their own.
    EXPECT_NE(path_of(RDB_REPORT_TIMING, "a/b"), path_of(RDB_REPORT_TIMING, "a_b"));
    EXPECT_NE(path_of(RDB_REPORT_TIMING, "a/b"), path_of(RDB_REPORT_TIMING, "a.b"));
}

TEST_F(SettingsLocation, VeryLongReportNameStillGivesAUsableFileInside) {
    const std::string long_name(5000, 'n');
    fs::path path = path_of(RDB_REPORT_TIMING, long_name);
    EXPECT_EQ(path.parent_path().string(), db_->path());
    EXPECT_LE(path.filename().string().size(), 255u);
    EXPECT_NE(path_of(RDB_REPORT_TIMING, long_name), path_of(RDB_REPORT_TIMING, long_name + "x"));

    // A settings operation can really make that file.
    RPL_REPORT_SETTINGS_FILE settings;
    settings.m_filename = S(path.string());
    ASSERT_TRUE(settings.read_from_disk());
    settings.set_value_str("||R", "OUTPUT_SECTION", "0");
    EXPECT_TRUE(settings.write_to_disk());
    EXPECT_EQ(read_file(path.string()), "[||R]\nOUTPUT_SECTION=0\n");
}
