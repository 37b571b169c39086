// The stand-in host: the services the library calls by name, as the design
// tool would provide them. The library's own tests lean on these, so their
// contracts are pinned down here.
#include "support/test_support.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <climits>
#include <cstdint>
#include <map>
#include <set>
#include <tuple>

using namespace rpltest;

namespace {

class HostServices : public HostTest {
protected:
    void TearDown() override {
        host_set_message_echo(false, false);
        HostTest::TearDown();
    }
};

// Why a key could not serve as a file base name, or "" when it can.
std::string key_unsafe_reason(const std::string& key) {
    if (key.empty()) return "empty";
    if (key.size() > 200) return "longer than 200 bytes";
    if (key.find('/') != std::string::npos) return "contains '/'";
    if (key.find("..") != std::string::npos) return "contains '..'";
    for (std::size_t i = 0; i < key.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(key[i]);
        if (c < 0x21 || c > 0x7e) return "byte " + std::to_string(c) + " at " + std::to_string(i);
        // A cut escape would make two keys differ only in how they were cut.
        if (c == '%' && (i + 2 >= key.size() || !std::isxdigit(static_cast<unsigned char>(key[i + 1])) ||
                         !std::isxdigit(static_cast<unsigned char>(key[i + 2]))))
            return "stray '%' at " + std::to_string(i);
    }
    return "";
}

std::string key_of(const std::string& name, const std::string& type_text) {
    return Std(rdb_make_report_key(S(name), S(type_text)));
}

// Report names a hostile or careless caller might give.
std::vector<std::string> awkward_names() {
    std::vector<std::string> names = {
        "",        "timing",       "../../etc/x", "..",          ".",          "/",
        "/etc/passwd", "a/../../b", "a/b",        "a_b",         "a.b",        "a%2Eb",
        "a@b",     "a%40b",        "A",           "a",           " lead",      "trail ",
        "tab\there", "new\nline",  "cr\rret",     "del\x7f",     "\x1b[31m",   "caf\xc3\xa9",
        "\x80\x9f", "\xff",        "%",           "%%",          "%4",         "~",
        "con:",    "nul",          "...",         "....//",      "\\..\\x",     "*?<>|\"'",
    };
    names.push_back(std::string("nul\0byte", 8));
    names.push_back(std::string("\0", 1));
    names.push_back(std::string(1000, '/'));
    names.push_back(std::string(500, '.'));
    names.push_back(std::string(300, '\n'));
    // Long names whose keys get cut and hashed: same prefix, different
    // endings and lengths; and escapes falling across the cut point.
    for (int length = 190; length <= 215; ++length) names.push_back(std::string(length, 'q'));
    for (char last : std::string("xyz/.\n")) names.push_back(std::string(400, 'q') + last);
    for (int shift = 0; shift < 4; ++shift) names.push_back(std::string(shift, 'q') + std::string(150, '/'));
    return names;
}

}  // namespace

// ---- Report keys ---------------------------------------------------------------

TEST_F(HostServices, ReportKeyIsASafeFileBaseNameWhateverTheName) {
    for (const std::string& name : awkward_names()) {
        for (const char* type_text : {"timing", "type-7", "", "a/../b", "x\ny"}) {
            std::string key = key_of(name, type_text);
            EXPECT_EQ(key_unsafe_reason(key), "") << "name of " << name.size() << " bytes: key " << key;
            EXPECT_EQ(key, key_of(name, type_text)) << "the key must not depend on the call";
        }
    }
}

TEST_F(HostServices, DistinctNameAndTypePairsGiveDistinctKeys) {
    std::map<std::string, std::pair<std::string, std::string>> seen;
    for (const std::string& name : awkward_names()) {
        for (const std::string type : {"timing", "power", "", "a@b", "b", "@"}) {
            auto inserted = seen.emplace(key_of(name, type), std::make_pair(name, type));
            EXPECT_TRUE(inserted.second) << "(" << name << ", " << type << ") and (" << inserted.first->second.first
                                         << ", " << inserted.first->second.second << ") share a key";
        }
    }
    // Pairs a naive join would confuse: name, type, other name, other type.
    const std::vector<std::vector<std::string>> confusable = {
        {"a@b", "c", "a", "b@c"}, {"ab", "", "a", "b"}, {"a", "@b", "a@", "b"},
        {"a/b", "t", "a_b", "t"}, {"a/b", "t", "a%2Fb", "t"}};
    for (const auto& c : confusable) EXPECT_NE(key_of(c[0], c[1]), key_of(c[2], c[3])) << c[0] << " / " << c[2];
}

TEST_F(HostServices, ReportTypeTextsAreStableDistinctAndNeverNull) {
    const std::vector<std::int32_t> types = {0, 1, 2, 3, 4, 5, 6, 42, -7, INT32_MAX, INT32_MIN};
    std::map<std::int32_t, std::pair<const char*, std::string>> first;
    std::set<std::string> texts;
    for (std::int32_t type : types) {
        const char* text = rdb_report_type_to_string(static_cast<RDB_REPORT_TYPE>(type));
        ASSERT_NE(text, nullptr);
        EXPECT_STRNE(text, "");
        first[type] = {text, text};
        texts.insert(text);
    }
    EXPECT_EQ(texts.size(), types.size());
    EXPECT_STREQ(rdb_report_type_to_string(RDB_REPORT_TIMING), "timing");

    // Many other types later, the first texts are still where they were.
    for (std::int32_t other = 1000; other < 3000; ++other) rdb_report_type_to_string(static_cast<RDB_REPORT_TYPE>(other));
    for (std::int32_t type : types) {
        EXPECT_EQ(rdb_report_type_to_string(static_cast<RDB_REPORT_TYPE>(type)), first[type].first) << type;
        EXPECT_EQ(std::string(first[type].first), first[type].second) << type;
    }
}

// ---- Text and number conversion ------------------------------------------------

TEST_F(HostServices, LocalAtoiReadsLikeAtoiAndClamps) {
    const std::vector<std::pair<const char*, int>> cases = {
        {"42", 42},          {"  -17x", -17},       {"+5", 5},
        {"", 0},             {"abc", 0},            {"\t\n\v\f\r 8", 8},
        {"- 5", 0},          {"12 34", 12},         {"0x1F", 0},
        {"2147483647", INT_MAX}, {"-2147483648", INT_MIN}, {"2147483648", INT_MAX},
        {"99999999999999999999", INT_MAX}, {"-99999999999999999999", INT_MIN}, {nullptr, 0},
    };
    for (const auto& c : cases) EXPECT_EQ(gen_local_atoi(c.first), c.second) << (c.first ? c.first : "(null)");
}

TEST_F(HostServices, AtoiWithPositionStepsThroughAText) {
    const string text = S("12,-3, +40;x");
    string::const_iterator pos = text.begin();
    // Value read, then where the position stops.
    for (const std::pair<int, std::ptrdiff_t>& step : std::vector<std::pair<int, std::ptrdiff_t>>{
             {12, 2}, {-3, 5}, {40, 10}, {0, 11}}) {
        EXPECT_EQ(gen_atoi(text, &pos), step.first);
        EXPECT_EQ(pos - text.begin(), step.second);
        ++pos;  // past the separator
    }
    EXPECT_EQ(gen_atoi(S("  77 and more"), nullptr), 77) << "a null position reads from the start";

    // Reading stops at the end of the string, not at a terminator further on.
    const std::string longer = "12345";
    const string cut(longer.data(), 3);
    string::const_iterator at = cut.begin();
    EXPECT_EQ(gen_atoi(cut, &at), 123);
    EXPECT_TRUE(at == cut.end());
}

TEST_F(HostServices, ItoaWritesInTheGivenBaseAndReplacesTheOutput) {
    const std::vector<std::tuple<int, int, const char*>> cases = {
        {0, 10, "0"},       {-42, 10, "-42"},      {255, 16, "ff"},         {5, 2, "101"},
        {35, 36, "z"},      {-255, 16, "-ff"},     {10, 1, "10"},           {10, 37, "10"},
        {INT_MAX, 10, "2147483647"}, {INT_MIN, 10, "-2147483648"}, {INT_MIN, 2, "-10000000000000000000000000000000"},
    };
    for (const auto& c : cases) {
        string out = S("previous content");
        gen_itoa(std::get<0>(c), out, std::get<1>(c));
        EXPECT_EQ(Std(out), std::get<2>(c)) << std::get<0>(c) << " in base " << std::get<1>(c);
    }
}

TEST_F(HostServices, SprintfFormatsOutputsOfAnyLength) {
    // Around the stand-in's inner buffer and far beyond it.
    for (std::size_t length : {0u, 1u, 255u, 256u, 257u, 70000u}) {
        const std::string payload(length, 'p');
        string out = S("previous content");
        gen_sprintf(&out, "<%s|%d>", payload.c_str(), 7);
        EXPECT_EQ(Std(out), "<" + payload + "|7>") << length;
    }
}

TEST_F(HostServices, IsalphaKnowsAsciiLettersOnlyAndLessComparesBytesUpToNul) {
    for (int c : {'a', 'z', 'A', 'Z'}) EXPECT_TRUE(gen_local_isalpha(c)) << c;
    for (int c : std::vector<int>{'0', '@', '[', '`', '{', 0, -1, static_cast<char>(0xE9), 0xE9, 0xC1})
        EXPECT_FALSE(gen_local_isalpha(c)) << c;

    STL_CASE_SENSITIVE_LESS less;
    const std::vector<std::tuple<std::string, std::string, bool>> cases = {
        {"a", "b", true},       {"B", "a", true},   {"a", "B", false}, {"a", "a", false},
        {"", "a", true},        {"a", "ab", true},
        {"\x7f", "\x80", true},  // bytes compare unsigned
        {std::string("a\0x", 3), std::string("a\0y", 3), false},  // nothing after a NUL counts
        {std::string("a\0y", 3), std::string("a\0x", 3), false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(less(S(std::get<0>(c)), S(std::get<1>(c))), std::get<2>(c))
            << "'" << std::get<0>(c) << "' < '" << std::get<1>(c) << "'";
}

// ---- Files and paths -------------------------------------------------------------

TEST_F(HostServices, PathJoinsDirectoryBaseAndExtension) {
    const FIO_EXTENSION_TYPE unknown = static_cast<FIO_EXTENSION_TYPE>(5);
    const FIO_EXTENSION_TYPE set = FIO_EXTENSION_REPORT_SETTINGS, none = FIO_EXTENSION_NONE;
    // Directory (null: the default path), extension, alternative, full path.
    const std::vector<std::tuple<const char*, FIO_EXTENSION_TYPE, FIO_EXTENSION_TYPE, const char*>> cases = {
        {"/tmp/db", set, none, "/tmp/db/key.rplset"}, {"/tmp/db/", set, none, "/tmp/db/key.rplset"},
        {"", set, none, "key.rplset"},                {nullptr, set, none, "key.rplset"},
        {"db", unknown, none, "db/key"},              {"db", unknown, set, "db/key.rplset"},
        {"/", set, none, "/key.rplset"},
    };
    for (const auto& c : cases) {
        FIO_PATH path = std::get<0>(c) ? FIO_PATH(std::get<0>(c)) : FIO_PATH();
        path.base(S("key"));
        path.extension(std::get<1>(c), std::get<2>(c));
        EXPECT_EQ(Std(path.fullpath()), std::get<3>(c)) << (std::get<0>(c) ? std::get<0>(c) : "(default)");
    }
}

TEST_F(HostServices, ExistsSeesFilesAndDirectoriesThroughLinksEvenUnreadable) {
    write_file(db_->file("file"), "x");
    ASSERT_EQ(::mkdir(db_->file("dir").c_str(), 0755), 0);
    ASSERT_EQ(::symlink("file", db_->file("link").c_str()), 0);
    ASSERT_EQ(::symlink("missing", db_->file("dangling").c_str()), 0);
    const std::vector<std::pair<std::string, bool>> cases = {
        {db_->file("file"), true},     {db_->file("dir"), true},       {db_->file("link"), true},
        {db_->file("dangling"), false}, {db_->file("missing"), false}, {db_->file("file/below"), false},
        {"", false},
    };
    for (const auto& c : cases) EXPECT_EQ(FIO_FILE_SYSTEM::exists(c.first.c_str()), c.second) << c.first;
    EXPECT_FALSE(FIO_FILE_SYSTEM::exists(nullptr));

    const std::string locked = db_->file("file");
    ASSERT_EQ(::chmod(locked.c_str(), 0), 0);
    ASSERT_EQ(::chmod(db_->path().c_str(), 0755), 0);
    EXPECT_EQ(run_as_nobody([&] { return FIO_FILE_SYSTEM::exists(locked.c_str()) && ::access(locked.c_str(), R_OK) != 0; }),
              0);
}

// ---- Report database manager ---------------------------------------------------

TEST_F(HostServices, ManagerCountsEveryGetAndUngetPerType) {
    auto* root = new RDB_FOLDER_OBJECT("R");
    install_report(RDB_REPORT_TIMING, root);
    DBMUI_MANAGER* manager = DBMUI_MANAGER::get_dbmui_manager();
    ASSERT_EQ(manager, &manager_);

    RDB_REPORT* report = manager->get_rdb_report(RDB_REPORT_TIMING, "RPL");
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(report->get_main_folder(), root);
    EXPECT_EQ(manager->get_rdb_report(RDB_REPORT_POWER, "other"), nullptr);
    manager->unget_rdb_report(RDB_REPORT_POWER, "other");  // also after a get that gave nothing
    EXPECT_EQ(manager->reports_held(), 1) << "giving back what was never given out releases nothing";
    manager->unget_rdb_report(RDB_REPORT_TIMING, "RPL");
    EXPECT_EQ(manager->reports_held(), 0);

    const RDB_MANAGER_COUNTS& timing = manager->counts(RDB_REPORT_TIMING);
    EXPECT_EQ(std::make_tuple(timing.gets, timing.gets_answered, timing.ungets), std::make_tuple(1, 1, 1));
    EXPECT_EQ(timing.requesters, (std::vector<std::string>{"RPL", "RPL"}));
    const RDB_MANAGER_COUNTS& power = manager->counts(RDB_REPORT_POWER);
    EXPECT_EQ(std::make_tuple(power.gets, power.gets_answered, power.ungets), std::make_tuple(1, 0, 1));

    // Switched off, the manager is null; switched on again, reports are kept.
    host_rdb_set_manager_enabled(false);
    EXPECT_EQ(DBMUI_MANAGER::get_dbmui_manager(), nullptr);
    host_rdb_set_manager_enabled(true);
    EXPECT_EQ(DBMUI_MANAGER::get_dbmui_manager()->get_rdb_report(RDB_REPORT_TIMING, "RPL"), report);
    manager->unget_rdb_report(RDB_REPORT_TIMING, "RPL");
}

TEST_F(HostServices, ReportObjectsCountFreeReportAndRowTests) {
    RDB_LINK_RPT_OBJECT link("L");
    link.free_report();
    link.free_report();
    EXPECT_EQ(link.free_count(), 2);
    EXPECT_EQ(manager_.free_report_calls(), (std::vector<const RDB_LINK_RPT_OBJECT*>{&link, &link}));

    RDB_ROW_TEST_TABLE_OBJECT table("T", 3, {true, false, true});
    RDB_ROW_TEST_OBJECT* rows = table.dynamic_cast_to_RDB_ROW_TEST_OBJECT();
    ASSERT_NE(rows, nullptr);
    // Rows beyond the answers answer true.
    const std::vector<std::pair<int, bool>> answers = {{1, false}, {2, true}, {0, true}, {7, true}};
    for (const auto& a : answers) EXPECT_EQ(rows->test_row(a.first), a.second) << a.first;
    EXPECT_EQ(table.rows_asked(), (std::vector<int>{1, 2, 0, 7}));
    EXPECT_EQ(manager_.test_row_count(), 4);
}

TEST_F(HostServices, ReportObjectDowncastsAnswerForTheirOwnClassOnly) {
    RDB_OBJECT plain(4, "promises a table");
    RDB_FOLDER_OBJECT folder("F");
    RDB_LINK_RPT_OBJECT link("L");
    RDB_TEXT_OBJECT text("X", true);
    RDB_TABLE_OBJECT table("T", 2, 2);
    RDB_ROW_TEST_TABLE_OBJECT row_table("RT", 2, {true});
    RDB_CHART_TABLE_OBJECT chart("C", 1);
    RDB_GAUGES_OBJECT gauges("G");
    RDB_EMBEDDED_OBJECT embedded("E", RDB_EMBEDDED_IMAGE, "info");

    // Which downcasts answer, in the order folder, link, text, table, row
    // test, chart, gauges, embedded.
    const std::vector<std::pair<RDB_OBJECT*, std::string>> cases = {
        {&plain, "00000000"},  {&folder, "10000000"}, {&link, "11000000"},  {&text, "00100000"},
        {&table, "00010000"},  {&row_table, "00011000"}, {&chart, "00010100"}, {&gauges, "00000010"},
        {&embedded, "00000001"},
    };
    for (const auto& c : cases) {
        RDB_OBJECT* o = c.first;
        std::string answers;
        for (bool answered : {o->dynamic_cast_to_RDB_FOLDER_OBJECT() != nullptr,
                              o->dynamic_cast_to_RDB_LINK_RPT_OBJECT() != nullptr,
                              o->dynamic_cast_to_RDB_TEXT_OBJECT() != nullptr,
                              o->dynamic_cast_to_RDB_TABLE_OBJECT() != nullptr,
                              o->dynamic_cast_to_RDB_ROW_TEST_OBJECT() != nullptr,
                              o->dynamic_cast_to_RDB_CHART_TABLE_OBJECT() != nullptr,
                              o->dynamic_cast_to_RDB_GAUGES_OBJECT() != nullptr,
                              o->dynamic_cast_to_RDB_EMBEDDED_OBJECT() != nullptr})
            answers += answered ? '1' : '0';
        EXPECT_EQ(answers, c.second) << Std(o->get_name());
    }
}

// ---- Message service -------------------------------------------------------------

TEST_F(HostServices, MessagesAreRecordedAndEchoedInTheirFormats) {
    const std::vector<std::tuple<bool, bool, const char*>> cases = {
        {false, false, ""},
        {true, false, "debug: trace 3\ndebug: made 4\n"},
        {false, true, "internal error: x != NULL (RPL, rpl_x.cpp:12)\ninfo: Writing Report file out.txt\n"},
        {true, true,
         "debug: trace 3\ninternal error: x != NULL (RPL, rpl_x.cpp:12)\ninfo: Writing Report file out.txt\n"
         "debug: made 4\n"},
    };
    for (const auto& c : cases) {
        const bool debug = std::get<0>(c);
        host_clear_messages();
        host_set_message_echo(debug, std::get<1>(c));
        testing::internal::CaptureStderr();
        bool shown = rpl_msg_debug("trace %d", 3);
        MSG_INTERNAL_ERROR::report("x != NULL", "RPL", "rpl_x.cpp", 12);
        std::unique_ptr<MSG_I>(MSG_RPL::I::WRITE_REPORT_FILE("out.txt"))->issue();
        std::unique_ptr<MSG_D>(MSG_RPL::DEBUG_MSG("made %d", 4))->issue();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), std::get<2>(c)) << debug << std::get<1>(c);
        EXPECT_EQ(shown, debug) << "msg_local_vdebug answers whether tracing is on";

        // Recorded whatever is echoed.
        const HOST_MESSAGE_LOG& log = host_message_log();
        EXPECT_EQ(debug_texts(), (std::vector<std::string>{"trace 3", "made 4"}));
        ASSERT_EQ(log.internal_errors.size(), 1u);
        EXPECT_EQ(log.internal_errors[0].line, 12);
        ASSERT_EQ(log.info_messages.size(), 1u);
        EXPECT_EQ(log.info_messages[0].formatted, "Writing Report file out.txt");
    }
}
