// The stand-in host: the services the library calls by name, as the design
// tool would provide them. The library's tests and the command-line host
// lean on these, so the contracts they rely on are pinned down here.
#include "support/test_support.h"

#include <unistd.h>

#include <climits>
#include <regex>
#include <set>

using namespace rpltest;

namespace {

class HostServices : public HostTest {};

// A settings file is named by its key, so a key may hold only what keeps it
// one file in the database directory: letters, digits, "_-@~" and whole
// "%XX" escapes (a cut escape would let two keys differ only in the cut).
bool safe_file_base_name(const std::string& key) {
    return key.size() <= 200 && std::regex_match(key, std::regex("([A-Za-z0-9_@~-]|%[0-9A-Fa-f]{2})+"));
}

std::string key_of(const std::string& name, const std::string& type_text) {
    return to_std(rdb_make_report_key(to_rpl(name), to_rpl(type_text)));
}

}  // namespace

TEST_F(HostServices, ReportKeysAreSafeFileBaseNamesAndDistinct) {
    std::vector<std::string> names = {"",   "timing", "..",  ".",         "/",           "../../etc/x", "a/b", "ab",
                                      "a_b", "a%2Fb", "a@b", "new\nline", "caf\xc3\xa9", "\xff",       "%",   "a"};
    names.push_back(std::string("nul\0byte", 8));
    names.push_back(std::string(1000, '/'));
    // Long names are cut and hashed: same prefix with other lengths, and
    // escapes falling across the cut point.
    for (int length = 190; length <= 215; ++length) names.push_back(std::string(length, 'q'));
    for (int shift = 0; shift < 4; ++shift) names.push_back(std::string(shift, 'q') + std::string(150, '/'));
    // The host's texts of named and unnamed types, which must differ for the
    // keys to; and with the names, pairs a naive join would confuse:
    // (a@b, b) and (a, b@b), (ab, "") and (a, b).
    EXPECT_STREQ(rdb_report_type_to_string(RDB_REPORT_TIMING), "timing");
    std::vector<std::string> types = {"", "b", "b@b"};
    for (std::int32_t type : {0, 3, 42, -7}) types.push_back(rdb_report_type_to_string(static_cast<RDB_REPORT_TYPE>(type)));

    std::set<std::string> keys;
    for (const std::string& name : names) {
        for (const std::string& type : types) {
            const std::string key = key_of(name, type);
            EXPECT_TRUE(safe_file_base_name(key)) << "name of " << name.size() << " bytes: " << key;
            keys.insert(key);
        }
    }
    EXPECT_EQ(keys.size(), names.size() * types.size()) << "distinct (name, type) pairs share no key";
}

// Settings values are read with it, from files people may edit.
TEST_F(HostServices, LocalAtoiReadsLikeAtoiAndClamps) {
    const struct {
        const char* text;
        int value;
    } kCases[] = {{"42", 42},     {"  -17x", -17},        {"+5", 5},       {"", 0},
                  {"abc", 0},     {"- 5", 0},             {"\t\n\v\f\r 8", 8}, {"0x1F", 0},
                  {"2147483648", INT_MAX}, {"-99999999999999999999", INT_MIN}, {nullptr, 0}};
    for (const auto& c : kCases) EXPECT_EQ(gen_local_atoi(c.text), c.value) << (c.text ? c.text : "(null)");
}

// Settings headers are formatted here, and rdb paths have no length limit.
TEST_F(HostServices, SprintfReplacesTheOutputWhateverItsLength) {
    for (std::size_t length : {0u, 255u, 256u, 70000u}) {
        const std::string payload(length, 'p');
        string out = to_rpl("previous content");
        gen_sprintf(&out, "[%s|%d]", payload.c_str(), 7);
        EXPECT_EQ(to_std(out), "[" + payload + "|7]") << length;
    }
}

// Settings maps are ordered with this less, so it fixes the order of the file.
TEST_F(HostServices, IsalphaKnowsAsciiLettersOnlyAndLessComparesBytesUpToNul) {
    std::string letters;
    for (int c = -128; c < 256; ++c)
        if (gen_local_isalpha(c)) letters += static_cast<char>(c);
    EXPECT_EQ(letters, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz") << "ASCII only, high bytes either sign";

    STL_CASE_SENSITIVE_LESS less;
    const struct {
        std::string a, b;
        bool less;
    } kCases[] = {
        {"B", "a", true}, {"a", "B", false}, {"a", "a", false}, {"a", "ab", true},
        {"\x7f", "\x80", true},                                   // bytes compare unsigned
        {std::string("a\0y", 3), std::string("a\0x", 3), false},  // nothing after a NUL counts
    };
    for (const auto& c : kCases) EXPECT_EQ(less(to_rpl(c.a), to_rpl(c.b)), c.less) << "'" << c.a << "' < '" << c.b << "'";
}

// A dangling link is no settings file: the library then writes a new one.
TEST_F(HostServices, ExistsFollowsLinks) {
    write_file(db_->file("file"), "x");
    ASSERT_EQ(::symlink("file", db_->file("link").c_str()), 0);
    ASSERT_EQ(::symlink("missing", db_->file("dangling").c_str()), 0);
    const struct {
        std::string path;
        bool exists;
    } kCases[] = {{db_->file("link"), true}, {db_->file("dangling"), false}, {db_->file("file/below"), false}};
    for (const auto& c : kCases) EXPECT_EQ(FIO_FILE_SYSTEM::exists(c.path.c_str()), c.exists) << c.path;
    EXPECT_FALSE(FIO_FILE_SYSTEM::exists(nullptr));
}
