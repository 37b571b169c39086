// The sections' road through the settings file (one block taken from the
// bytes, the bytes saved with that block rewritten) against the whole
// store's: the same load results, values and saved bytes on files of every
// shape, in the written form and not.
#include "support/settings_roads.h"
#include "support/test_support.h"

#include <random>

using namespace rpltest;
using namespace std::string_literals;

namespace {

class SettingsRoads : public HostTest {
protected:
    // Runs `operation` down both roads from the same `file` (absent when
    // null) and expects the same outcome.
    SettingsOutcome expect_same(const std::string* file, const SettingsOperation& operation) {
        std::string whole = db_->file("whole.rplset"), block = db_->file("block.rplset");
        std::remove(whole.c_str());
        std::remove(block.c_str());
        if (file != nullptr) {
            write_file(whole, *file);
            write_file(block, *file);
        }
        SettingsOutcome expected = run_settings_operation(SettingsRoad::WholeStore, whole, operation);
        SettingsOutcome got = run_settings_operation(SettingsRoad::SectionBlock, block, operation);
        EXPECT_EQ(got.loaded, expected.loaded);
        EXPECT_EQ(got.values, expected.values);
        EXPECT_EQ(got.saved, expected.saved);
        EXPECT_EQ(got.file_exists, expected.file_exists);
        EXPECT_EQ(got.file_bytes, expected.file_bytes);
        return got;
    }
};

const char* const kKeys[] = {"OUTPUT_SECTION", "PAGE_ORIENTATION", "CHART_TYPE", "COLUMN_WIDTHS", "k"};

SettingsOperation change_of(const std::string& section) {
    SettingsOperation operation;
    operation.section = section;
    operation.keys_read = {"OUTPUT_SECTION", "PAGE_ORIENTATION", "k"};
    operation.changes = {{section, "OUTPUT_SECTION", "0"}, {section, "PAGE_ORIENTATION", "1"}};
    operation.save = true;
    return operation;
}

}  // namespace

TEST_F(SettingsRoads, AgreeOnFilesOfEveryShape) {
    const struct {
        const char* what;
        std::string file;
        const char* section;
        const char* saved;  // what both roads save, checked byte for byte
    } kCases[] = {
        {"written form, block in the middle", "[||A]\nOUTPUT_SECTION=1\n[||B]\nk=v\n[||C]\nx=1\n", "||B",
         "[||A]\nOUTPUT_SECTION=1\n[||B]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\nk=v\n[||C]\nx=1\n"},
        {"written form, new block first", "[||B]\nk=v\n", "||A",
         "[||A]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n[||B]\nk=v\n"},
        {"written form, new block last", "[||A]\nk=v\n", "||B",
         "[||A]\nk=v\n[||B]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n"},
        {"written form, empty block last", "[||A]\nk=v\n[||B]\n", "||B",
         "[||A]\nk=v\n[||B]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n"},
        {"written form, a name that only starts another", "[||AB]\nk=2\n[||A]\nk=1\n", "||A",
         "[||AB]\nk=2\n[||A]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\nk=1\n"},
        {"empty file", "", "||A", "[||A]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n"},
        {"repeated header: the first holds", "[||A]\nk=1\n[||B]\n[||A]\nk=2\nOUTPUT_SECTION=7\n", "||A",
         "[||A]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\nk=1\n[||B]\n"},
        {"repeated key: the first holds", "[||A]\nk=1\nk=2\n", "||A",
         "[||A]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\nk=1\n"},
        {"carriage returns stay in the text", "[||A]\r\nk=1\r\n[||A]\nk=2\n", "||A",
         "[||A]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\nk=2\n[||A]\r\nk=1\r\n"},
        {"a NUL byte ends a line's text", "[||A]\0junk\nk=1\0=x\n\0[||B]\nk\0=2\n"s, "||A",
         "[||A]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\nk=1\n"},
        {"stray lines, lines before the first header, no final line feed", "k=0\n[||A]\nno equals\n\nk=1", "||A",
         "[||A]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\nk=1\n"},
        {"unsorted", "[||B]\nk=1\n[||A]\nk=2\n", "||B",
         "[||A]\nk=2\n[||B]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\nk=1\n"},
        {"header inside a value is no header", "[||B]\nk=[||A]\n", "||A",
         "[||A]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n[||B]\nk=[||A]\n"},
        {"header with text after its bracket", "[||A] x\nk=1\n", "||A",
         "[||A]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n[||A] x\nk=1\n"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        SettingsOutcome got = expect_same(&c.file, change_of(c.section));
        EXPECT_EQ(got.file_bytes, c.saved);
    }
}

TEST_F(SettingsRoads, AgreeOnAbsentFilesLongLinesAndOtherSections) {
    SettingsOutcome created = expect_same(nullptr, change_of("||A"));
    EXPECT_EQ(created.file_bytes, "[||A]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n");

    std::string long_value(100000, 'w');
    std::string file = "[||A]\nCOLUMN_WIDTHS=" + long_value + "\n[||B]\nk=v\n";
    SettingsOperation read_long;
    read_long.section = "||A";
    read_long.keys_read = {"COLUMN_WIDTHS"};
    EXPECT_EQ(expect_same(&file, read_long).values.front(), long_value);

    // A change of another section than the one loaded is not the sections'
    // use, but the class still gives the whole store's result.
    SettingsOperation other = change_of("||A");
    other.changes.push_back({"||B", "k", "w"});
    other.changes.push_back({"||C", "CHART_TYPE", "1", true});
    expect_same(&file, other);

    // A name with a line feed never matches a line, on either road.
    std::string split = "[||x\ny]\nk=1\n";
    SettingsOperation odd = change_of("||x\ny");
    expect_same(&split, odd);
}

// Files made of lines that each road treats differently when it is wrong:
// headers near the one loaded, repeats, key lines with and without "=",
// carriage returns, NUL bytes, blank lines; half of them first put in the
// written form by a whole-store save, so the block road's splice is taken.
TEST_F(SettingsRoads, AgreeOnRandomFilesAndChanges) {
    const std::vector<std::string> line_pool = {
        "[||A]",  "[||A||b]", "[||B]", "[||A]\r", "[||A] x", "[||", "[]",      "OUTPUT_SECTION=1", "OUTPUT_SECTION=0",
        "k=v=w",  "k=",       "=v",    "junk",    "",        " [||A]", "\0[||A]"s, "PAGE_ORIENTATION=1\r",
        "CHART_TYPE=5", "COLUMN_WIDTHS=1L,2R,", "[||A\0]"s, "k\0=1"s};
    const std::vector<std::string> sections = {"||A", "||A||b", "||B", "||C", "", "||A] x"};
    std::mt19937 random(20261123);
    auto pick = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };
    for (int round = 0; round < 1500; ++round) {
        std::string file;
        for (std::size_t lines = pick(12); lines > 0; --lines) file += line_pool[pick(line_pool.size())] + "\n";
        if (!file.empty() && pick(4) == 0) file.pop_back();
        if (pick(2) == 0) {
            std::string path = db_->file("form.rplset");
            write_file(path, file);
            RPL_REPORT_SETTINGS_FILE written;
            written.m_filename = to_rpl(path);
            ASSERT_TRUE(written.read_from_disk());
            written.write_to_disk();
            file = read_file(path);
        }
        SettingsOperation operation;
        operation.section = sections[pick(sections.size())];
        for (std::size_t n = pick(3); n > 0; --n) operation.keys_read.push_back(kKeys[pick(5)]);
        for (std::size_t n = pick(4); n > 0; --n) {
            std::string section = pick(6) == 0 ? sections[pick(sections.size())] : operation.section;
            operation.changes.push_back({section, kKeys[pick(5)], std::to_string(pick(3)), pick(3) == 0});
        }
        operation.save = pick(4) != 0;
        SCOPED_TRACE(testing::Message() << "round " << round << ", section " << operation.section);
        expect_same(&file, operation);
        if (HasFailure()) break;
    }
}
