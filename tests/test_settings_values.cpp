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
    struct CASE {
        const char* section;
        const char* key;
        int default_value;
    };
    const CASE cases[] = {{"||A", "K", 7}, {"", "", -3}, {"[A]", "OUTPUT_SECTION", 0}, {"||R||F", "", 2147483647}};
    for (const CASE& c : cases) {
        SCOPED_TRACE(std::string(c.section) + " / " + c.key);
        EXPECT_EQ(str(c.section, c.key), "");
        EXPECT_EQ(settings_.get_value_int(c.section, c.key, c.default_value), c.default_value);
    }
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
        EXPECT_EQ(settings_.get_value_int("||A", "K", 99), c.value);
        EXPECT_EQ(save_and_reload(), std::string("[||A]\nK=") + c.text + "\n");
        EXPECT_EQ(settings_.get_value_int("||A", "K", 99), c.value);
    }
}

TEST_F(SettingsValues, SettingAKeyAgainKeepsOnlyTheLastValue) {
    settings_.set_value_str("S", "K", "first");
    settings_.set_value_int("S", "K", 5);
    settings_.set_value_str("S", "K", "last");
    EXPECT_EQ(str("S", "K"), "last");
    EXPECT_EQ(save_and_reload(), "[S]\nK=last\n");
}

TEST_F(SettingsValues, EmptyValueIsStoredAndReadsAsTheDefault) {
    settings_.set_value_str("S", "K", "");
    EXPECT_EQ(settings_.m_sections.size(), 1u);
    EXPECT_EQ(settings_.get_value_int("S", "K", 4), 4);
    EXPECT_EQ(save_and_reload(), "[S]\nK=\n");
    EXPECT_EQ(str("S", "K"), "");
    EXPECT_EQ(settings_.get_value_int("S", "K", 4), 4);
}

TEST_F(SettingsValues, TextThatIsNotANumberReadsAsTheHostConvertsIt) {
    // Only an empty value gives the default; anything else is converted.
    const struct {
        const char* text;
        int number;
    } cases[] = {{"abc", 0}, {" 12abc", 12}, {"+3", 3}, {"1 2", 1}, {"=", 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        settings_.set_value_str("S", "K", c.text);
        EXPECT_EQ(settings_.get_value_int("S", "K", 99), c.number);
    }
}

TEST_F(SettingsValues, SectionNamesAndKeysAreCaseSensitive) {
    settings_.set_value_str("S", "k", "lower");
    settings_.set_value_str("s", "K", "other");
    EXPECT_EQ(str("S", "k"), "lower");
    EXPECT_EQ(str("S", "K"), "");
    EXPECT_EQ(str("s", "k"), "");
    EXPECT_EQ(str("s", "K"), "other");
    EXPECT_EQ(save_and_reload(), "[S]\nk=lower\n[s]\nK=other\n");
    EXPECT_EQ(str("S", "K"), "");
}

TEST_F(SettingsValues, SectionNameIsBracketedEvenWhenItHasBracketsAlready) {
    settings_.set_value_str("[A]", "K", "v");
    EXPECT_EQ(str("A", "K"), "");
    EXPECT_EQ(save_and_reload(), "[[A]]\nK=v\n");
    EXPECT_EQ(str("[A]", "K"), "v");
    EXPECT_EQ(str("A", "K"), "");
}

TEST_F(SettingsValues, SectionNameEndsAtItsFirstNulCharacter) {
    settings_.set_value_str(S(std::string("A\0B", 3)), "K", "v");
    EXPECT_EQ(str("A", "K"), "v");
    EXPECT_EQ(save_and_reload(), "[A]\nK=v\n");
}

TEST_F(SettingsValues, ValueWithALineFeedIsSplitByAReload) {
    struct CASE {
        const char* value;
        std::string file;
        std::string reloaded_value;
        std::string second_key;  // key the second part becomes, if any
        std::string second_value;
        std::size_t sections;  // after the reload
    };
    const CASE cases[] = {
        {"one\ntwo", "[S]\nK=one\ntwo\n", "one", "", "", 1},
        {"one\nX=2", "[S]\nK=one\nX=2\n", "one", "X", "2", 1},
        {"one\n[T]", "[S]\nK=one\n[T]\n", "one", "", "", 2},
    };
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.value);
        settings_.set_value_str("S", "K", c.value);
        EXPECT_EQ(str("S", "K"), c.value) << "stored unchanged";
        EXPECT_EQ(save_and_reload(), c.file);
        EXPECT_EQ(str("S", "K"), c.reloaded_value);
        if (!c.second_key.empty()) {
            EXPECT_EQ(str("S", c.second_key), c.second_value);
        }
        EXPECT_EQ(settings_.m_sections.size(), c.sections);
        settings_.free_storage();
    }
}

TEST_F(SettingsValues, KeyWithEqualsSignSplitsAtItByAReload) {
    settings_.set_value_str("S", "a=b", "c");
    EXPECT_EQ(str("S", "a=b"), "c");
    EXPECT_EQ(save_and_reload(), "[S]\na=b=c\n");
    EXPECT_EQ(str("S", "a=b"), "");
    EXPECT_EQ(str("S", "a"), "b=c");
}

TEST_F(SettingsValues, ReadingChangesNothingAndNothingIsReportedOnTheWay) {
    settings_.set_value_str("S", "K", "v");
    str("S", "other");
    str("T", "K");
    settings_.get_value_int("U", "K", 1);
    EXPECT_EQ(save_and_reload(), "[S]\nK=v\n");
    EXPECT_TRUE(internal_error_conditions().empty());
}
