// Reading and changing single values of a settings store by section name
// and key, and what a save and a reload make of values the format cannot
// hold as they are.
#include "support/test_support.h"

using namespace rpltest;
using namespace std::string_literals;

namespace {

class SettingsValues : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        settings_.m_filename = to_rpl(db_->file("values.rplset"));
    }

    // Saves the store, returns the file, and loads it back into the store.
    std::string save_and_reload() {
        EXPECT_TRUE(settings_.write_to_disk());
        std::string text = read_file(to_std(settings_.m_filename));
        EXPECT_TRUE(settings_.read_from_disk());
        return text;
    }

    std::string str(const std::string& section, const std::string& key) {
        return to_std(settings_.get_value_str(to_rpl(section), to_rpl(key)));
    }

    RPL_REPORT_SETTINGS_FILE settings_;
};

}  // namespace

TEST_F(SettingsValues, ValuesAreDecimalTextTheLastSetWinsAndEmptyReadsAsTheDefault) {
    EXPECT_EQ(str("||A", "K"), "");
    EXPECT_EQ(settings_.get_value_int("||A", "K", 7), 7);
    EXPECT_TRUE(settings_.m_sections.empty()) << "reading creates no section";

    settings_.set_value_int("||A", "K", 12);
    EXPECT_EQ(str("||A", "K"), "12");
    EXPECT_EQ(settings_.get_value_int("||A", "K", 99), 12);
    settings_.set_value_int("||A", "N", -2147483647 - 1);
    settings_.set_value_str("||A", "L", "first");
    settings_.set_value_int("||A", "L", 5);
    settings_.set_value_str("||A", "L", "last");
    settings_.set_value_str("||A", "E", "");
    EXPECT_EQ(settings_.get_value_int("||A", "E", 99), 99);

    EXPECT_EQ(save_and_reload(), "[||A]\nE=\nK=12\nL=last\nN=-2147483648\n");
    EXPECT_EQ(settings_.get_value_int("||A", "N", 99), -2147483647 - 1);
    EXPECT_EQ(settings_.get_value_int("||A", "E", 99), 99);
}

TEST_F(SettingsValues, SectionNameIsCaseSensitiveAlwaysBracketedAndEndsAtANul) {
    settings_.set_value_str("S", "k", "lower");
    settings_.set_value_str("s", "K", "other");
    settings_.set_value_str("[A]", "K", "v");
    settings_.set_value_str(to_rpl("B\0C"s), "K", "b");
    settings_.m_sections.emplace(to_rpl("[C]\0D"s), new RPL_REPORT_SETTINGS_FILE::KEY_VALUES());
    EXPECT_EQ(str("S", "K") + str("s", "k") + str("A", "K"), "");
    EXPECT_EQ(save_and_reload(), "[B]\nK=b\n[C]\n[S]\nk=lower\n[[A]]\nK=v\n[s]\nK=other\n");
    EXPECT_EQ(str("[A]", "K"), "v");
}

TEST_F(SettingsValues, LineFeedOrEqualsSignIsSplitByAReloadAndANulEndsAKeyOrValue) {
    const struct {
        std::string key;
        std::string value;
        std::string file;
        std::vector<std::pair<std::string, std::string>> reloaded;  // key -> value after the reload
    } kCases[] = {
        {"K", "one\ntwo", "[S]\nK=one\ntwo\n", {{"K", "one"}, {"two", ""}}},
        {"K", "one\nX=2", "[S]\nK=one\nX=2\n", {{"K", "one"}, {"X", "2"}}},
        {"a=b", "c", "[S]\na=b=c\n", {{"a=b", ""}, {"a", "b=c"}}},
        {"k\0ey"s, "v\0alue"s, "[S]\nk=v\n", {{"k", "v"}}},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.value);
        settings_.set_value_str("S", to_rpl(c.key), to_rpl(c.value));
        EXPECT_EQ(str("S", c.key), c.value) << "stored unchanged";
        EXPECT_EQ(save_and_reload(), c.file);
        for (const auto& pair : c.reloaded) EXPECT_EQ(str("S", pair.first), pair.second);
        settings_.free_storage();
    }
}
