// The settings file on disk: what a load keeps of a file, what a save
// writes (byte for byte), and how loading and saving behave when the file
// is absent, unnamed or not a file.
#include "support/test_support.h"

#include <filesystem>
#include <map>

using namespace rpltest;
namespace fs = std::filesystem;

namespace {

typedef std::map<std::string, std::map<std::string, std::string>> STORE;

// The store as plain maps: header text -> key -> value.
STORE store_of(const RPL_REPORT_SETTINGS_FILE& settings) {
    STORE out;
    for (const auto& section : settings.m_sections) {
        auto& keys = out[Std(section.first)];
        if (section.second == nullptr) continue;
        for (const auto& pair : *section.second) keys[Std(pair.first)] = Std(pair.second);
    }
    return out;
}

class SettingsFile : public HostTest {
protected:
    std::string path() const { return db_->file("report.rplset"); }

    // Loads `content` from the file, checking the load succeeds.
    void load(RPL_REPORT_SETTINGS_FILE& settings, const std::string& content) {
        write_file(path(), content);
        settings.m_filename = S(path());
        ASSERT_TRUE(settings.read_from_disk());
    }

    // The file as a load followed by a save leaves it.
    std::string resaved(const std::string& content) {
        RPL_REPORT_SETTINGS_FILE settings;
        load(settings, content);
        EXPECT_TRUE(settings.write_to_disk());
        return read_file(path());
    }
};

}  // namespace

TEST_F(SettingsFile, LoadThenSaveWritesOnlyKeyLinesUnderHeadersSortedByteForByte) {
    struct CASE {
        const char* what;
        std::string file;
        std::string saved;
    };
    const CASE cases[] = {
        {"empty file", "", ""},
        {"section without keys stays", "[A]\n", "[A]\n"},
        {"lines before the first header, blank lines, lines without =",
         "K0=v\nstray\n\n[B]\nno equals here\nz=1\n\n\na=2\n[A]\nk=v\n", "[A]\nk=v\n[B]\na=2\nz=1\n"},
        {"sections and keys in strcmp order, upper case first", "[b]\nb=1\nB=1\n_=1\n[B]\n[a]\n[A]\n",
         "[A]\n[B]\n[a]\n[b]\nB=1\n_=1\nb=1\n"},
        {"a header sorts before the headers of its subfolders", "[||R||F]\nk=1\n[||R]\nk=2\n",
         "[||R]\nk=2\n[||R||F]\nk=1\n"},
        {"a key sorts before longer keys it starts", "[S]\nAB=1\nA=2\n", "[S]\nA=2\nAB=1\n"},
        {"empty key and empty value", "[S]\n=v\nk=\n", "[S]\n=v\nk=\n"},
        {"first of a duplicate key wins", "[S]\nk=1\nk=2\n", "[S]\nk=1\n"},
        {"keys under a repeated header are dropped", "[S]\na=1\n[T]\nt=1\n[S]\na=2\nb=2\n[U]\nu=1\n",
         "[S]\na=1\n[T]\nt=1\n[U]\nu=1\n"},
        {"header with trailing text is kept whole", "[X] more\nk=v\n", "[X] more\nk=v\n"},
        {"a leading blank makes no header", " [A]\nk=v\n", ""},
        {"a line starting with [ is a header even with =", "[A]\n[k=v\n", "[A]\n[k=v\n"},
        {"no comment syntax", "[A]\n#c=1\n;d\n", "[A]\n#c=1\n"},
        {"carriage returns are kept", "[A]\r\nk=v\r\n\r\n", "[A]\r\nk=v\r\n"},
        {"last line without line feed", "[A]\nk=v", "[A]\nk=v\n"},
        {"header as last line without line feed", "[A]\nk=v\n[B]", "[A]\nk=v\n[B]\n"},
    };
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(resaved(c.file), c.saved);
    }
}
TEST_F(SettingsFile, LoadStoresHeadersKeysAndValuesCharacterForCharacter) {
    struct CASE {
        const char* what;
        std::string file;
        STORE store;
    };
    const CASE cases[] = {
        {"value holding =", "[S]\na=b=c\n", {{"[S]", {{"a", "b=c"}}}}},
        {"blanks belong to key and value", "[S]\nkey = value \n", {{"[S]", {{"key ", " value "}}}}},
        {"repeated header keeps its first keys", "[S]\na=1\n[S]\na=2\nb=2\n", {{"[S]", {{"a", "1"}}}}},
        {"header text is the whole line", "[X] more\nk=v\n", {{"[X] more", {{"k", "v"}}}}},
        {"carriage return stays in header and value", "[A]\r\nk=v\r\n", {{"[A]\r", {{"k", "v\r"}}}}},
    };
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.what);
        RPL_REPORT_SETTINGS_FILE settings;
        load(settings, c.file);
        EXPECT_EQ(store_of(settings), c.store);
    }
    // So a section is found only under its exact header text.
    RPL_REPORT_SETTINGS_FILE settings;
    load(settings, "[X] more\nk=1\n[A]\r\nk=2\r\n[B]\nk=3\n");
    EXPECT_EQ(Std(settings.get_value_str("X", "k")) + Std(settings.get_value_str("A", "k")), "");
    EXPECT_EQ(Std(settings.get_value_str("B", "k")), "3");
}

TEST_F(SettingsFile, LongLinesAroundTheOldBufferSizesAreReadAndWrittenWhole) {
    for (std::size_t length : {8191u, 8192u, 8193u, 16384u, 16385u, 100000u}) {
        SCOPED_TRACE(length);
        // A long header, and a long key line followed by a line that must
        // not be mistaken for its continuation.
        // (Compared without printing: a failure would show megabytes.)
        const std::string header = "[A" + std::string(length - 3, 'h') + "]";
        const std::string value(length - 2, 'v');
        const std::string file = header + "\nk=" + value + "\n[B]\nafter=1\n";
        RPL_REPORT_SETTINGS_FILE settings;
        load(settings, file);
        EXPECT_TRUE(store_of(settings) == (STORE{{header, {{"k", value}}}, {"[B]", {{"after", "1"}}}}));
        EXPECT_TRUE(settings.write_to_disk());
        EXPECT_TRUE(read_file(path()) == file);
    }
}

TEST_F(SettingsFile, UnnamedOrDirectoryFileFailsToLoadAndToSaveAndEmptiesTheStore) {
    fs::create_directory(path());
    write_file(path() + "/inside", "[A]\nk=v\n");
    for (const std::string& name : {std::string(), path()}) {
        SCOPED_TRACE(name);
        RPL_REPORT_SETTINGS_FILE settings;
        settings.m_filename = S(name);
        settings.set_value_str("Old", "k", "v");
        EXPECT_FALSE(settings.read_from_disk());
        EXPECT_TRUE(settings.m_sections.empty());
        settings.set_value_str("S", "k", "v");
        EXPECT_FALSE(settings.write_to_disk());
        EXPECT_TRUE(settings.m_sections.empty());
    }
    EXPECT_EQ(read_file(path() + "/inside"), "[A]\nk=v\n");
    EXPECT_EQ(std::distance(fs::directory_iterator(db_->path()), fs::directory_iterator()), 1);
}

TEST_F(SettingsFile, AbsentFileLoadsAsEmptyAndSavingCreatesIt) {
    RPL_REPORT_SETTINGS_FILE settings;
    settings.m_filename = S(path());
    settings.set_value_str("Old", "k", "v");  // discarded by the load
    ASSERT_TRUE(settings.read_from_disk());
    EXPECT_TRUE(settings.m_sections.empty());
    EXPECT_FALSE(file_exists(path()));
    settings.set_value_int("||A", "K", 12);
    EXPECT_TRUE(settings.write_to_disk());
    EXPECT_EQ(read_file(path()), "[||A]\nK=12\n");

    // An empty store saves as an empty file.
    settings.m_filename = S(db_->file("empty.rplset"));
    EXPECT_TRUE(settings.write_to_disk());
    bool ok = false;
    EXPECT_EQ(read_file(db_->file("empty.rplset"), &ok), "");
    EXPECT_TRUE(ok);
}

TEST_F(SettingsFile, SavingAndFreeStorageEmptyTheStoreAndKeepTheFileName) {
    RPL_REPORT_SETTINGS_FILE settings;
    load(settings, "[||A]\nK=1\n");
    EXPECT_TRUE(settings.write_to_disk());
    EXPECT_EQ(Std(settings.get_value_str("||A", "K")), "");
    EXPECT_EQ(Std(settings.m_filename), path());
    // The values come back only by loading again.
    ASSERT_TRUE(settings.read_from_disk());
    EXPECT_EQ(Std(settings.get_value_str("||A", "K")), "1");

    settings.free_storage();
    settings.free_storage();  // twice is harmless
    EXPECT_TRUE(settings.m_sections.empty());
    EXPECT_EQ(Std(settings.m_filename), path());
    EXPECT_TRUE(internal_error_conditions().empty());
}

TEST_F(SettingsFile, SectionWithoutItsMapIsAnInternalErrorAndTheRestGoesOn) {
    RPL_REPORT_SETTINGS_FILE settings;
    settings.m_filename = S(path());
    settings.set_value_str("A", "k", "1");
    settings.m_sections[S("[N]")] = nullptr;

    EXPECT_EQ(Std(settings.get_value_str("N", "k")), "");
    settings.set_value_str("N", "k", "v");
    EXPECT_EQ(internal_error_conditions(), (std::vector<std::string>{"key_values != NULL", "key_values != NULL"}));
    host_clear_messages();

    // The save writes the header, reports the missing map, and goes on; the
    // store is then emptied, which reports it once more.
    EXPECT_TRUE(settings.write_to_disk());
    EXPECT_EQ(read_file(path()), "[A]\nk=1\n[N]\n");
    EXPECT_EQ(internal_error_conditions(), (std::vector<std::string>{"key_values != NULL", "map != NULL"}));
    EXPECT_TRUE(settings.m_sections.empty());
}
