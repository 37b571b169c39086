// The settings file on disk: what a load keeps of a file, what a save
// writes (byte for byte), and how loading and saving behave when the file
// is absent, unnamed or not a file.
#include "support/test_support.h"

#include <filesystem>

using namespace rpltest;
using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

class SettingsFile : public HostTest {
protected:
    std::string path() const { return db_->file("report.rplset"); }

    // Loads `content` from the file into `settings`, checking the load succeeds.
    void load(RPL_REPORT_SETTINGS_FILE& settings, const std::string& content) {
        write_file(path(), content);
        settings.m_filename = to_rpl(path());
        ASSERT_TRUE(settings.read_from_disk());
    }
};

std::string get(RPL_REPORT_SETTINGS_FILE& settings, const char* section, const char* key) {
    return to_std(settings.get_value_str(section, key));
}

}  // namespace

TEST_F(SettingsFile, LoadThenSaveWritesOnlyKeyLinesUnderHeadersSortedByteForByte) {
    const struct {
        const char* what;
        std::string file;
        std::string saved;
    } kCases[] = {
        {"lines before the first header, blank lines, lines without =; sorted by strcmp",
         "K0=v\nstray\n\n[b]\nno equals here\nz=1\n\n_=2\nB=3\n[B]\n[A]\nk=v\n", "[A]\nk=v\n[B]\n[b]\nB=3\n_=2\nz=1\n"},
        {"blanks around = belong to key and value", "[S]\nkey = value \n", "[S]\nkey = value \n"},
        {"first of a duplicate key wins", "[S]\nk=1\nk=2\n", "[S]\nk=1\n"},
        {"keys under a repeated header are dropped", "[S]\na=1\n[T]\nt=1\n[S]\na=2\nb=2\n", "[S]\na=1\n[T]\nt=1\n"},
        {"header with trailing text is kept whole", "[X] more\nk=v\n", "[X] more\nk=v\n"},
        {"a leading blank makes no header; no comment syntax", " [A]\nk=v\n[B]\n#c=1\n;d\n", "[B]\n#c=1\n"},
        {"carriage returns are kept", "[A]\r\nk=v\r\n\r\n", "[A]\r\nk=v\r\n"},
        {"last line without line feed", "[A]\nk=v", "[A]\nk=v\n"},
        {"a NUL byte ends a line's text", "[A\0x]\nk\0=v\nkey=val\0ue\n\0[B]\nx=1\n"s, "[A\nkey=val\nx=1\n"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        RPL_REPORT_SETTINGS_FILE settings;
        load(settings, c.file);
        EXPECT_TRUE(settings.write_to_disk());
        EXPECT_EQ(read_file(path()), c.saved);
    }
}

TEST_F(SettingsFile, LongLinesAreReadAndWrittenWhole) {
    for (std::size_t length : {8192u, 100000u}) {
        SCOPED_TRACE(length);
        // The line after the long one must not be taken for its continuation.
        // (Compared with EXPECT_TRUE: a failure would print megabytes.)
        const std::string value(length, 'v');
        const std::string file = "[A]\nk=" + value + "\n[B]\nafter=1\n";
        RPL_REPORT_SETTINGS_FILE settings;
        load(settings, file);
        EXPECT_TRUE(get(settings, "A", "k") == value);
        EXPECT_EQ(get(settings, "B", "after"), "1");
        EXPECT_TRUE(settings.write_to_disk());
        EXPECT_TRUE(read_file(path()) == file);
    }
}

TEST_F(SettingsFile, UnnamedOrDirectoryFileFailsToLoadAndToSaveAndEmptiesTheStore) {
    // A directory opens but fails on the first read: a read error part-way.
    fs::create_directory(path());
    for (const std::string& name : {std::string(), path()}) {
        SCOPED_TRACE(name);
        RPL_REPORT_SETTINGS_FILE settings;
        settings.m_filename = to_rpl(name);
        settings.set_value_str("Old", "k", "v");
        EXPECT_FALSE(settings.read_from_disk());
        EXPECT_TRUE(settings.m_sections.empty());
        settings.set_value_str("S", "k", "v");
        EXPECT_FALSE(settings.write_to_disk());
        EXPECT_TRUE(settings.m_sections.empty());
    }
    EXPECT_TRUE(fs::is_empty(path()));
}

TEST_F(SettingsFile, AbsentFileLoadsAsEmptyAndSavingCreatesItAndEmptiesTheStore) {
    RPL_REPORT_SETTINGS_FILE settings;
    settings.m_filename = to_rpl(path());
    settings.set_value_str("Old", "k", "v");  // discarded by the load
    ASSERT_TRUE(settings.read_from_disk());
    EXPECT_TRUE(settings.m_sections.empty());
    EXPECT_FALSE(file_exists(path()));

    settings.set_value_str("||A", "K", "1");
    EXPECT_TRUE(settings.write_to_disk());
    EXPECT_EQ(read_file(path()), "[||A]\nK=1\n");
    // The values come back only by loading again.
    EXPECT_EQ(get(settings, "||A", "K"), "");
    ASSERT_TRUE(settings.read_from_disk());
    EXPECT_EQ(get(settings, "||A", "K"), "1");
}
