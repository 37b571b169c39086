// Reading and changing single values of a settings store by section name
// and key, and what a save and a reload make of values the format cannot
// hold as they are.
#include "support/test_support.h"

using namespace rpltest;

namespace {

class SettingsValues : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        settings_.m_filename = S(db_->file("values.rplset"));
    }

    // Saves the store, returns the file, and loads it back into the store.
    std::string save_and_reload() {
        EXPECT_TRUE(settings_.write_to_disk());
        std::string text = read_file(Std(settings_.m_filename));
        EXPECT_TRUE(settings_.read_from_disk());
        return text;
    }

    std::string str(const std::string& section, const std::string& key) {
        return Std(settings_.get_value_str(S(section), S(key)));
    }

    RPL_REPORT_SETTINGS_FILE settings_;
};

}  // namespace

TEST_F(SettingsValues, EmptyStoreAnswersEmptyTextAndTheGivenDefault) {
    EXPECT_EQ(str("||A", "K"), "");
    EXPECT_EQ(settings_.get_value_int("||A", "K", 7), 7);
    EXPECT_EQ(settings_.get_value_int("", "", -3), -3);
    EXPECT_TRUE(settings_.m_sections.empty()) << "reading creates no section";
}

TEST_F(SettingsValues, IntegerIsStoredAsDecimalTextAndReadBackEitherWay) {
    const struct {
        int value;
        const char* text;
    } cases[] = {{12, "12"}, {0, "0"}, {-7, "-7"}, {2147483647, "2147483647"}, {-2147483647 - 1, "-2147483648"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        settings_.set_value_int("||A", "K", c.value);
        EXPECT_EQ(str("||A", "K"), c.text);
        EXPECT_EQ(save_and_reload(), std::string("[||A]\nK=") + c.text + "\n");
        EXPECT_EQ(settings_.get_value_int("||A", "K", 99), c.value);
    }
}

TEST_F(SettingsValues, SettingAKeyAgainKeepsOnlyTheLastValue) {
    settings_.set_value_str("S", "K", "first");
    settings_.set_value_int("S", "K", 5);
    settings_.set_value_str("S", "K", "last");
    EXPECT_EQ(save_and_reload(), "[S]\nK=last\n");
}

TEST_F(SettingsValues, OnlyAnEmptyValueReadsAsTheDefaultAnyOtherAsTheHostConvertsIt) {
    const struct {
        const char* text;
        int number;
    } cases[] = {{"", 99}, {"abc", 0}, {" 12abc", 12}, {"+3", 3}, {"1 2", 1}, {"=", 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        settings_.set_value_str("S", "K", c.text);
        EXPECT_EQ(settings_.get_value_int("S", "K", 99), c.number);
    }
    // An empty value is still stored and saved.
    EXPECT_EQ(save_and_reload(), "[S]\nK==\n");
    settings_.set_value_str("S", "K", "");
    EXPECT_EQ(save_and_reload(), "[S]\nK=\n");
}

TEST_F(SettingsValues, SectionNameIsCaseSensitiveAlwaysBracketedAndEndsAtANul) {
    settings_.set_value_str("S", "k", "lower");
    settings_.set_value_str("s", "K", "other");
    settings_.set_value_str("[A]", "K", "v");
    settings_.set_value_str(S(std::string("B\0C", 3)), "K", "b");
    EXPECT_EQ(str("S", "K") + str("s", "k") + str("A", "K"), "");
    EXPECT_EQ(save_and_reload(), "[B]\nK=b\n[S]\nk=lower\n[[A]]\nK=v\n[s]\nK=other\n");
    EXPECT_EQ(str("S", "k"), "lower");
    EXPECT_EQ(str("[A]", "K"), "v");
    EXPECT_EQ(str("B", "K"), "b");
}

TEST_F(SettingsValues, LineFeedInAValueOrEqualsSignInAKeyIsSplitByAReload) {
    struct CASE {
        const char* key;
        const char* value;
        std::string file;
        std::vector<std::pair<std::string, std::string>> reloaded;  // key -> value after the reload
        std::size_t sections;
    };
    const CASE cases[] = {
        {"K", "one\ntwo", "[S]\nK=one\ntwo\n", {{"K", "one"}}, 1},
        {"K", "one\nX=2", "[S]\nK=one\nX=2\n", {{"K", "one"}, {"X", "2"}}, 1},
        {"K", "one\n[T]", "[S]\nK=one\n[T]\n", {{"K", "one"}}, 2},
        {"a=b", "c", "[S]\na=b=c\n", {{"a=b", ""}, {"a", "b=c"}}, 1},
    };
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.value);
        settings_.set_value_str("S", c.key, c.value);
        EXPECT_EQ(str("S", c.key), c.value) << "stored unchanged";
        EXPECT_EQ(save_and_reload(), c.file);
        for (const auto& pair : c.reloaded) EXPECT_EQ(str("S", pair.first), pair.second);
        EXPECT_EQ(settings_.m_sections.size(), c.sections);
        settings_.free_storage();
    }
}
