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
    EXPECT_EQ(path_of(RDB_REPORT_TIMING, "timing"), db_->file("timing@timing.rplset"));
    EXPECT_EQ(path_of(RDB_REPORT_SYNTHESIS, "top"), db_->file("top@synthesis.rplset"));
    EXPECT_EQ(Std(RPL_REPORT_TOC().get_settings_filename()), db_->file("@generic.rplset"));
    EXPECT_NE(path_of(RDB_REPORT_TIMING, "R"), path_of(RDB_REPORT_TIMING, "r"));
    // The type reaches the path only through its text: an unnamed type has
    // a text of its own, different from every named one.
    EXPECT_NE(path_of(static_cast<RDB_REPORT_TYPE>(77), "r"), path_of(RDB_REPORT_GENERIC, "r"));
}

TEST_F(SettingsLocation, PathFollowsTheDatabaseDirectoryAndAReportRenameAndCreatesNothing) {
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, "r");
    const std::string missing = db_->file("missing");
    host_set_db_dir(missing);
    EXPECT_EQ(Std(toc.get_settings_filename()), missing + "/r@timing.rplset");
    toc.m_report_name = "renamed";
    EXPECT_EQ(Std(toc.get_settings_filename()), missing + "/renamed@timing.rplset");
    // Asking makes neither the file nor a database directory that is not there.
    EXPECT_TRUE(fs::is_empty(db_->path()));
}

TEST_F(SettingsLocation, ReportNameWithSlashesOrDotsStaysInsideTheDatabaseDirectory) {
    const std::string names[] = {"a/b", "../up", "/abs/path", "..", ".", "x\\y", "\xc3\xa9t\xc3\xa9",
                                 std::string(5000, 'n')};
    for (const std::string& name : names) {
        SCOPED_TRACE(name.substr(0, 20));
        fs::path path = path_of(RDB_REPORT_TIMING, name);
        EXPECT_EQ(path.parent_path().string(), db_->path());
        const std::string file = path.filename().string();
        EXPECT_TRUE(file != ".." && file != "." && file.size() <= 255u) << file;
        EXPECT_EQ(path.extension().string(), ".rplset");
    }
    // Names that differ only in such characters still get files of their own.
    EXPECT_NE(path_of(RDB_REPORT_TIMING, "a/b"), path_of(RDB_REPORT_TIMING, "a_b"));
    EXPECT_NE(path_of(RDB_REPORT_TIMING, "a/b"), path_of(RDB_REPORT_TIMING, "a.b"));
    EXPECT_NE(path_of(RDB_REPORT_TIMING, names[7]), path_of(RDB_REPORT_TIMING, names[7] + "x"));

    // A settings operation can really make the file of a very long name.
    RPL_REPORT_SETTINGS_FILE settings;
    settings.m_filename = S(path_of(RDB_REPORT_TIMING, names[7]));
    settings.set_value_str("||R", "OUTPUT_SECTION", "0");
    EXPECT_TRUE(settings.write_to_disk());
    EXPECT_EQ(read_file(Std(settings.m_filename)), "[||R]\nOUTPUT_SECTION=0\n");
}
