// Where a report's settings file lies: in the database directory, named by
// the report's key with the settings extension, computed afresh each time
// and never created by asking.
#include "support/test_support.h"

#include <filesystem>

using namespace rpltest;
namespace fs = std::filesystem;

class SettingsLocation : public HostTest {};

TEST_F(SettingsLocation, FileIsTheReportKeyWithTheSettingsExtensionInTheDatabaseDirectory) {
    EXPECT_EQ(settings_path(RDB_REPORT_TIMING, "timing"), db_->file("timing@timing.rplset"));
    EXPECT_EQ(settings_path(RDB_REPORT_SYNTHESIS, "top"), db_->file("top@synthesis.rplset"));
    EXPECT_EQ(to_std(RPL_REPORT_TOC().get_settings_filename()), db_->file("@generic.rplset"));
    EXPECT_NE(settings_path(RDB_REPORT_TIMING, "R"), settings_path(RDB_REPORT_TIMING, "r"));

    // Two TOCs of one report share the file; the path follows the database
    // directory, and asking creates neither the file nor the directory.
    RPL_REPORT_TOC first(RDB_REPORT_TIMING, "r"), second(RDB_REPORT_TIMING, "r");
    const std::string missing = db_->file("missing");
    host_set_db_dir(missing);
    EXPECT_EQ(to_std(first.get_settings_filename()), missing + "/r@timing.rplset");
    EXPECT_EQ(to_std(second.get_settings_filename()), missing + "/r@timing.rplset");
    EXPECT_TRUE(fs::is_empty(db_->path()));
}
