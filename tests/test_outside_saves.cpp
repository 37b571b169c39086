// Another program's save that lands while the viewer builds its TOC or
// makes a change: the viewer must see it, hold what the file holds, and
// never write its older values back. The window is held open on purpose:
// the other program saves when the library's walk reaches a folder, or
// when a mark has finished its first named section.
#include <sys/stat.h>

#include <cstdio>
#include <functional>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "support/test_support.h"
#include "tools/view/view_api.h"

using namespace rpltest;
using namespace rpl_toc;

namespace {

using json = nlohmann::json;

constexpr int kRounds = 100;

// A folder that runs an action when the library's walk next reaches it,
// once, or at every walk while `every_walk` is set.
class WalkTrap : public RDB_FOLDER_OBJECT {
public:
    using RDB_FOLDER_OBJECT::RDB_FOLDER_OBJECT;
    void arm(std::function<void()> action, bool every_walk = false) {
        action_ = std::move(action);
        every_walk_ = every_walk;
    }
    iterator begin() override {
        std::function<void()> action = every_walk_ ? action_ : std::exchange(action_, nullptr);
        if (action) action();
        return RDB_FOLDER_OBJECT::begin();
    }

private:
    std::function<void()> action_;
    bool every_walk_ = false;
};

// R: Early (a text the walk reads before the trap), A (a1, a2), Walked
// (the trap: w1), B (b1), Z (a text).
ReportFile outside_report(WalkTrap*& trap) {
    ReportFile report;
    report.name = "outside";
    report.type = RDB_REPORT_TIMING;
    report.main_folder = std::make_unique<RDB_FOLDER_OBJECT>("R");
    RDB_FOLDER_OBJECT& root = *report.main_folder;
    root.add(new RDB_TEXT_OBJECT("Early", false));
    RDB_FOLDER_OBJECT* a = root.add(new RDB_FOLDER_OBJECT("A"));
    a->add(new RDB_TEXT_OBJECT("a1", false));
    a->add(new RDB_TEXT_OBJECT("a2", false));
    trap = root.add(new WalkTrap("Walked"));
    trap->add(new RDB_TEXT_OBJECT("w1", false));
    root.add(new RDB_FOLDER_OBJECT("B"))->add(new RDB_TEXT_OBJECT("b1", false));
    root.add(new RDB_TEXT_OBJECT("Z", false));
    return report;
}

class OutsideSaves : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        session_ = std::make_unique<Session>(outside_report(trap_), db_->path());
        file_ = session_->settings_file();
        // Every section with a block, so that each later save rewrites one.
        ASSERT_EQ(api_mark(*session_, R"({"paths": ["||R"], "marked": true})", activity_, events_).status, 200);
    }
    void TearDown() override {
        session_.reset();
        HostTest::TearDown();
    }

    // Another program's save of one key of one section: the library's own
    // load and save of the whole file, as `rpl-toc unmark` makes it.
    void save_outside(const std::string& path, const std::string& key, const std::string& value) {
        RPL_REPORT_SETTINGS_FILE settings;
        settings.m_filename = to_rpl(file_);
        ASSERT_TRUE(settings.read_from_disk());
        settings.set_value_str(to_rpl(path), to_rpl(key), to_rpl(value));
        ASSERT_TRUE(settings.write_to_disk());
    }
    std::string value_in_file(const std::string& path, const std::string& key) {
        RPL_REPORT_SETTINGS_FILE settings;
        settings.m_filename = to_rpl(file_);
        EXPECT_TRUE(settings.read_from_disk());
        return to_std(settings.get_value_str(to_rpl(path), to_rpl(key)));
    }
    // Whether the library, reading the section back from the file, finds
    // it marked.
    bool marked_in_file(const std::string& path) {
        RPL_REPORT_SECTION read;
        read.m_rdb_path = to_rpl(path);
        read.m_toc = &session_->toc();
        read.read_acf_settings();
        return read.m_marked_for_output;
    }
    bool holds_what_file_holds(const std::string& path) {
        return session_->section(path)->m_marked_for_output == marked_in_file(path);
    }
    bool progress_says_outside_change() {
        return json::parse(api_progress(*session_, activity_).body)["outside_change"].get<bool>();
    }
    // The viewer's next changes: another section's orientation, then that
    // of `path`, each the other way round than it is.
    void change_other_then(const std::string& path) {
        for (const std::string& changed : {std::string("||R||Z"), path}) {
            int orientation = session_->section(changed)->m_page_orientation == 2 ? 1 : 2;
            json body = {{"path", changed}, {"orientation", orientation}};
            EXPECT_EQ(api_set(*session_, body.dump(), activity_, events_).status, 200);
        }
    }

    std::unique_ptr<Session> session_;
    WalkTrap* trap_ = nullptr;  // owned by the report
    std::string file_;
    Activity activity_;
    EventHub events_;
};

// The tallies of a run of rounds.
struct Rounds {
    int held_other = 0;     // the session held another value than the file for the section
    int not_told = 0;       // neither the answer nor the progress said so
    int silent_reverts = 0; // the viewer's next changes wrote its older value back
};

TEST_F(OutsideSaves, ASaveDuringAReloadIsSeenAndNeverUndone) {
    const std::string early = "||R||Early";
    Rounds rounds;
    for (int round = 0; round < kRounds; ++round) {
        std::string outside = session_->section(early)->m_marked_for_output ? "0" : "1";
        trap_->arm([&] { save_outside(early, "OUTPUT_SECTION", outside); });
        bool seen = session_->rebuild();
        rounds.held_other += !holds_what_file_holds(early);
        rounds.not_told += !seen && !progress_says_outside_change();
        change_other_then(early);
        rounds.silent_reverts += value_in_file(early, "OUTPUT_SECTION") != outside;
    }
    EXPECT_EQ(rounds.held_other, 0);
    EXPECT_EQ(rounds.not_told, 0);
    EXPECT_EQ(rounds.silent_reverts, 0);
}

TEST_F(OutsideSaves, ASaveDuringALongMarkIsSeenAndNeverUndone) {
    const std::string a1 = "||R||A||a1";
    Rounds rounds;
    for (int round = 0; round < kRounds; ++round) {
        bool saved = false;
        activity_.on_advance([&](std::size_t, std::size_t) {
            if (!std::exchange(saved, true)) save_outside(a1, "OUTPUT_SECTION", "0");  // after A, a1 among it
        });
        HttpResponse answer = api_mark(*session_, R"({"paths": ["||R||A", "||R||B"], "marked": true})", activity_, events_);
        activity_.on_advance(nullptr);
        ASSERT_EQ(answer.status, 200);
        ASSERT_TRUE(saved);
        rounds.held_other += !holds_what_file_holds(a1);
        rounds.not_told += !json::parse(answer.body)["reloaded"].get<bool>() && !progress_says_outside_change();
        change_other_then(a1);
        rounds.silent_reverts += value_in_file(a1, "OUTPUT_SECTION") != "0";
    }
    EXPECT_EQ(rounds.held_other, 0);
    EXPECT_EQ(rounds.not_told, 0);
    EXPECT_EQ(rounds.silent_reverts, 0);
}

TEST_F(OutsideSaves, ASaveOfASectionTheChangeDoesNotTouchIsSeenAndKept) {
    activity_.on_advance([&](std::size_t, std::size_t) { save_outside("||R||Z", "PAGE_ORIENTATION", "1"); });
    HttpResponse answer = api_mark(*session_, R"({"paths": ["||R||A"], "marked": false})", activity_, events_);
    activity_.on_advance(nullptr);
    ASSERT_EQ(answer.status, 200);
    EXPECT_EQ(json::parse(answer.body)["reloaded"], true);
    EXPECT_FALSE(header_value(answer.headers, "X-RPL-Unsaved"));
    EXPECT_EQ(session_->section("||R||Z")->m_page_orientation, 2);
    EXPECT_FALSE(session_->section("||R||A||a1")->m_marked_for_output);  // the change itself is in the file
    EXPECT_FALSE(progress_says_outside_change());
}

TEST_F(OutsideSaves, OwnChangesAreNoOutsideChange) {
    for (const char* body : {R"({"paths": ["||R||A"], "marked": false})", R"({"paths": ["||R"], "marked": true})"}) {
        HttpResponse answer = api_mark(*session_, body, activity_, events_);
        EXPECT_EQ(json::parse(answer.body)["reloaded"], false);
        EXPECT_FALSE(progress_says_outside_change());
    }
    HttpResponse set = api_set(*session_, R"({"path": "||R||Z", "orientation": 2})", activity_, events_);
    EXPECT_EQ(json::parse(set.body)["reloaded"], false);
    EXPECT_FALSE(progress_says_outside_change());
}

TEST_F(OutsideSaves, ASaveDuringEveryAttemptOfABuildStaysSeen) {
    int saves = 0;
    trap_->arm([&] { save_outside("||R||Early", "PAGE_ORIENTATION", std::to_string(++saves % 2)); }, true);
    EXPECT_TRUE(session_->rebuild());
    trap_->arm(nullptr);
    EXPECT_EQ(saves, Session::kReadAttempts);
    EXPECT_TRUE(progress_says_outside_change());
    HttpResponse answer = api_set(*session_, R"({"path": "||R||Z", "orientation": 2})", activity_, events_);
    EXPECT_EQ(json::parse(answer.body)["reloaded"], true);
    EXPECT_FALSE(progress_says_outside_change());
    EXPECT_TRUE(holds_what_file_holds("||R||Early"));
}

TEST_F(OutsideSaves, ASaveThatFailedIsUnsavedNotAnOutsideChange) {
    ASSERT_EQ(std::remove(file_.c_str()), 0);
    ASSERT_EQ(::mkdir(file_.c_str(), 0700), 0);  // a file the library cannot load, and never saves over
    session_->rebuild();
    HttpResponse answer = api_set(*session_, R"({"path": "||R||Z", "orientation": 2})", activity_, events_);
    ASSERT_EQ(answer.status, 200);
    EXPECT_EQ(json::parse(answer.body)["reloaded"], false);
    EXPECT_EQ(header_value(answer.headers, "X-RPL-Unsaved"), file_ + ": Is a directory");
    EXPECT_EQ(session_->section("||R||Z")->m_page_orientation, 2);  // kept in memory, as the library keeps it
    EXPECT_FALSE(progress_says_outside_change());
}

}  // namespace
