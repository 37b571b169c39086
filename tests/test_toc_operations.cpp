// The operations of tools/core that both rpl-toc and its viewer run: what
// a mark and a settings change alter, what they refuse and in which terms,
// and whether the file holds a change, as the library reads it back.
#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/fanotify.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "support/file_events.h"
#include "support/test_support.h"
#include "tools/core/operations.h"
#include "tools/core/section_info.h"
#include "tools/core/settings_probe.h"

using namespace rpltest;
using namespace rpl_toc;

namespace {

// small.json: R holds T1 (a table of 3 columns), F (C1, a chart of type 2,
// and G, an empty folder) and X1 (a text).
const std::string kSmall = RPL_EXAMPLES_DIR "/small.json";

class TocOperations : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        open(kSmall);
    }
    void TearDown() override {
        session_.reset();
        HostTest::TearDown();
    }
    void open(const std::string& report) {
        session_.reset();
        Outcome<std::unique_ptr<Session>> opened = open_session(report, db_->path());
        ASSERT_TRUE(opened.ok());
        session_ = std::move(opened.result());
    }
    std::string settings_file() { return db_->file("small@timing.rplset"); }

    std::unique_ptr<Session> session_;
};

std::vector<std::string> paths_of(const std::vector<const RPL_REPORT_SECTION*>& sections) {
    std::vector<std::string> out;
    for (const RPL_REPORT_SECTION* s : sections) out.push_back(to_std(s->m_rdb_path));
    return out;
}

// ---- Opening a session ------------------------------------------------------------

TEST_F(TocOperations, OpeningRefusesWithTheFileAndTheReason) {
    TempDir files;
    write_file(files.file("bad.json"), R"({"name": "b", "type": 3, "root": {"type": 1, "name": 7}})");
    struct Case {
        std::string report, db_dir;
        Refused what;
        std::string value, detail;
    };
    for (const Case& c : std::vector<Case>{
             {files.file("none.json"), "", Refused::report_unreadable, files.file("none.json"),
              "No such file or directory"},
             {files.path(), "", Refused::report_unreadable, files.path(), "it is a directory"},
             {files.file("bad.json"), "", Refused::report_invalid, files.file("bad.json"),
              "/root/name: expected a string"},
             {kSmall, files.file("nowhere"), Refused::no_database_directory, files.file("nowhere"), ""},
         }) {
        SCOPED_TRACE(c.report);
        Outcome<std::unique_ptr<Session>> opened = open_session(c.report, c.db_dir);
        ASSERT_FALSE(opened.ok());
        EXPECT_EQ(opened.refusal().what, c.what);
        EXPECT_EQ(opened.refusal().value, c.value);
        EXPECT_EQ(opened.refusal().detail, c.detail);
    }
}

// ---- Marking ------------------------------------------------------------------------

TEST_F(TocOperations, MarkNamesExactlyTheSectionsItChanged) {
    Outcome<Change> unmark = mark_sections(*session_, {"||R||F"}, false);
    ASSERT_TRUE(unmark.ok());
    EXPECT_TRUE(unmark.result().save.saved()) << unmark.result().save.unsaved;
    // F's subtree flips; R stays marked but its subtree is now partly marked.
    EXPECT_EQ(paths_of(unmark.result().changed), (std::vector<std::string>{"||R||F", "||R||F||C1", "||R||F||G", "||R"}));

    Outcome<Change> again = mark_sections(*session_, {"||R||F"}, false);
    ASSERT_TRUE(again.ok());
    EXPECT_TRUE(again.result().changed.empty());

    Outcome<Change> child = mark_sections(*session_, {"||R||F||G"}, true);
    ASSERT_TRUE(child.ok());
    EXPECT_EQ(paths_of(child.result().changed), (std::vector<std::string>{"||R||F||G", "||R||F"}));
}

TEST_F(TocOperations, MarkReportsProgressAfterEachSectionNamed) {
    std::vector<std::pair<std::size_t, std::size_t>> reports;
    auto progress = [&reports](std::size_t written, std::size_t total) { reports.emplace_back(written, total); };
    // F: itself, C1, G and R above it; X1: itself and R.
    ASSERT_TRUE(mark_sections(*session_, {"||R||F", "||R||X1"}, false, progress).ok());
    EXPECT_EQ(reports, (std::vector<std::pair<std::size_t, std::size_t>>{{4, 6}, {6, 6}}));
}

// The count a mark's status line gives is the number of saves the library
// makes, as the settings file's directory sees them: 1 + depth for each
// section below the path, one more for a table or a chart.
TEST_F(TocOperations, SavesOfAMarkAreTheSavesItMakes) {
    for (const auto& [paths, saves] : std::vector<std::pair<std::vector<std::string>, std::size_t>>{
             {{"||R"}, 1 + (2 + 1) + 2 + (3 + 1) + 3 + 2},  // R, T1, F, C1, G, X1
             {{"||R||F"}, 2 + (3 + 1) + 3},
             {{"||R||F||G", "||R||X1"}, 3 + 2},
             {{"||R||nope"}, 0},
         }) {
        SCOPED_TRACE(paths.front());
        EXPECT_EQ(saves_of_mark(*session_, paths), saves);
        if (saves == 0) continue;
        FileEvents events(settings_file());
        ASSERT_TRUE(mark_sections(*session_, paths, false).ok());
        EXPECT_EQ(static_cast<std::size_t>(events.take().saves), saves);
    }
}

// A step from a path no section has is refused, not taken for the end.
TEST_F(TocOperations, StepFromAnUnknownPathIsRefused) {
    for (bool forward : {true, false}) {
        Outcome<std::optional<std::string>> step = step_from_section(*session_, "||R||f", forward);
        ASSERT_FALSE(step.ok());
        EXPECT_EQ(step.refusal().what, Refused::unknown_path);
        EXPECT_EQ(step.refusal().value, "||R||f");
    }
    Outcome<std::optional<std::string>> last = step_from_section(*session_, "||R||X1", true);
    ASSERT_TRUE(last.ok());
    EXPECT_EQ(last.result(), std::nullopt);
}

TEST_F(TocOperations, AnUnknownPathRefusesTheWholeMarkBeforeAnythingChanges) {
    Outcome<Change> mark = mark_sections(*session_, {"||R||F", "||R||nope"}, false);
    ASSERT_FALSE(mark.ok());
    EXPECT_EQ(mark.refusal().what, Refused::unknown_path);
    EXPECT_EQ(mark.refusal().value, "||R||nope");
    EXPECT_TRUE(session_->section("||R||F")->m_marked_for_output);
    EXPECT_FALSE(file_exists(settings_file()));
}

// ---- Changing settings ------------------------------------------------------------

SettingsChange widths(std::vector<ColumnValue> values) {
    SettingsChange change;
    change.widths = std::move(values);
    return change;
}

TEST_F(TocOperations, ChangesAreRefusedInNeutralTermsAndChangeNothing) {
    SettingsChange chart_type, orientation, alignments, order, nothing;
    chart_type.chart_type = 2;
    orientation.orientation = 3;
    alignments.alignments = {{2, RPL_TABLE::RIGHT}};
    order.order = {{1, 0}};
    struct Case {
        const char* what;
        std::string path;
        SettingsChange change;
        Refused refused;
        Setting setting;
        std::string value, kind;
        std::uint64_t column;
        std::uint32_t columns;
        std::vector<std::uint32_t> missing;
    };
    SettingsChange order_shared;
    order_shared.order = {{0, 1}, {1, 1}, {2, 0}};
    SettingsChange order_past;
    order_past.order = {{0, 9}, {1, 1}, {2, 0}};
    SettingsChange align_twice;
    align_twice.alignments = {{1, RPL_TABLE::RIGHT}, {1, RPL_TABLE::LEFT}};
    for (const Case& c : std::vector<Case>{
             {"unknown path", "||R||nope", chart_type, Refused::unknown_path, Setting::none, "||R||nope", "", 0, 0, {}},
             {"chart type of a table", "||R||T1", chart_type, Refused::wrong_kind, Setting::chart_type, "||R||T1",
              "table", 0, 0, {}},
             {"widths of a chart", "||R||F||C1", widths({{0, 1}}), Refused::wrong_kind, Setting::widths,
              "||R||F||C1", "chart", 0, 0, {}},
             {"a third orientation", "||R||T1", orientation, Refused::out_of_range, Setting::orientation, "3", "", 0, 0,
              {}},
             {"a negative width", "||R||T1", widths({{0, 1}, {1, -5}, {2, 1}}), Refused::out_of_range,
              Setting::widths, "-5", "", 1, 3, {}},
             {"a width past the maximum", "||R||T1", widths({{0, 1}, {1, 99999999999}, {2, 1}}),
              Refused::out_of_range, Setting::widths, "99999999999", "", 1, 3, {}},
             {"a width given twice", "||R||T1", widths({{0, 1}, {1, 2}, {0, 3}, {2, 1}}), Refused::column_repeated,
              Setting::widths, "", "", 0, 3, {}},
             {"an alignment given twice", "||R||T1", align_twice, Refused::column_repeated, Setting::alignments, "",
              "", 1, 3, {}},
             {"a column past 32 bits", "||R||T1", widths({{4294967296, 1}}), Refused::no_such_column,
              Setting::widths, "", "", 4294967296, 3, {}},
             {"a display column past the last", "||R||T1", order_past, Refused::out_of_range, Setting::order, "9", "",
              0, 3, {}},
             {"a display column used twice", "||R||T1", order_shared, Refused::display_column_shared, Setting::order,
              "1", "", 1, 0, {}},
             {"a column the table lacks", "||R||T1", widths({{0, 1}, {3, 10}}), Refused::no_such_column,
              Setting::widths, "", "", 3, 3, {}},
             {"a short width list", "||R||T1", widths({{0, 120}}), Refused::columns_missing, Setting::widths, "", "",
              0, 0, {1, 2}},
             {"alignments without widths", "||R||T1", alignments, Refused::columns_missing, Setting::alignments, "",
              "", 0, 0, {0, 1, 2}},
             {"a short order", "||R||T1", order, Refused::columns_missing, Setting::order, "", "", 0, 0, {0, 2}},
             {"nothing", "||R||T1", nothing, Refused::nothing_to_change, Setting::none, "", "", 0, 0, {}},
         }) {
        SCOPED_TRACE(c.what);
        Outcome<Change> change = change_settings(*session_, c.path, c.change);
        ASSERT_FALSE(change.ok());
        const Refusal& r = change.refusal();
        EXPECT_EQ(r.what, c.refused);
        EXPECT_EQ(r.setting, c.setting);
        EXPECT_EQ(r.value, c.value);
        EXPECT_EQ(r.kind, c.kind);
        EXPECT_EQ(r.column, c.column);
        EXPECT_EQ(r.columns, c.columns);
        EXPECT_EQ(r.missing, c.missing);
    }
    EXPECT_FALSE(session_->section("||R||T1")->m_settings_changed);
    EXPECT_FALSE(file_exists(settings_file()));
}

// The library keeps a column list only when it covers every column: once a
// list is held in full, it changes one column at a time.
TEST_F(TocOperations, ColumnListsChangeOneColumnAtATimeOnceStoredInFull) {
    SettingsChange full = widths({{0, 120}, {1, 80}, {2, 60}});
    full.alignments = {{1, RPL_TABLE::RIGHT}};
    full.orientation = 2;
    for (const SettingsChange& change : {full, widths({{2, 99}})}) {
        Outcome<Change> done = change_settings(*session_, "||R||T1", change);
        ASSERT_TRUE(done.ok());
        EXPECT_TRUE(done.result().save.saved()) << done.result().save.unsaved;
        EXPECT_EQ(paths_of(done.result().changed), std::vector<std::string>{"||R||T1"});
    }
    EXPECT_EQ(read_file(settings_file()),
              "[||R||T1]\nCOLUMN_WIDTHS=120L,80R,99L,\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=1\n");
    SettingsChange order;
    order.order = {{0, 1}};
    EXPECT_EQ(change_settings(*session_, "||R||T1", order).refusal().missing, (std::vector<std::uint32_t>{1, 2}));
}

// A refusal costs what the change names, not what the table declares: on a
// table of 10^9 columns a short list is refused with the first few missing
// columns and a count of the rest, and no list of all of them is made (it
// took 40 s and 2.9 GB for 10^8 columns). Widths and order are stored with
// none yet, so every column from 0 counts.
TEST_F(TocOperations, ARefusalOnAHugeTableNamesAFewColumnsAndCountsTheRest) {
    TempDir files;
    write_file(files.file("huge.json"),
               R"({"name": "huge", "type": 3, "root": {"type": 1, "name": "R", "children": [)"
               R"({"type": 4, "name": "T", "columns": 1000000000}]}})");
    open(files.file("huge.json"));
    const struct {
        const char* what;
        SettingsChange change;
        std::vector<std::uint32_t> missing;
        std::uint64_t more;
    } kCases[] = {
        {"one width", widths({{0, 1}}), {1, 2, 3, 4, 5}, 1000000000 - 6},
        {"widths with gaps", widths({{1, 1}, {3, 1}, {999999999, 1}}), {0, 2, 4, 5, 6}, 1000000000 - 8},
        {"widths at the end", widths({{999999998, 1}}), {0, 1, 2, 3, 4}, 1000000000 - 6},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        Outcome<Change> change = change_settings(*session_, "||R||T", c.change);
        ASSERT_FALSE(change.ok());
        EXPECT_EQ(change.refusal().what, Refused::columns_missing);
        EXPECT_EQ(change.refusal().missing, c.missing);
        EXPECT_EQ(change.refusal().missing_more, c.more);
    }
    // A short table still names every missing column, none counted.
    open(kSmall);
    Outcome<Change> small = change_settings(*session_, "||R||T1", widths({{0, 1}}));
    EXPECT_EQ(small.refusal().missing, (std::vector<std::uint32_t>{1, 2}));
    EXPECT_EQ(small.refusal().missing_more, 0u);
}

// ---- Reading no more than the library reads ------------------------------------

// Grows the file at `path` to 64 MiB (sparse) just before its `grow_at`-th
// open goes ahead, whoever opens it: the file another program enlarges
// between a check of its size and a read. The kernel holds each open until
// this answers it (fanotify's permission events, for root).
class GrowsAtOpen {
public:
    GrowsAtOpen(const std::string& path, int grow_at) : path_(path), grow_at_(grow_at) {
        fd_ = ::fanotify_init(FAN_CLASS_CONTENT | FAN_CLOEXEC, O_RDONLY | O_LARGEFILE);
        if (fd_ >= 0 && ::fanotify_mark(fd_, FAN_MARK_ADD, FAN_OPEN_PERM, AT_FDCWD, path.c_str()) != 0) {
            ::close(fd_);
            fd_ = -1;
        }
        if (fd_ >= 0) thread_ = std::thread([this] { answer(); });
    }
    ~GrowsAtOpen() {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
        if (fd_ >= 0) ::close(fd_);
    }
    GrowsAtOpen(const GrowsAtOpen&) = delete;
    GrowsAtOpen& operator=(const GrowsAtOpen&) = delete;
    bool ok() const { return fd_ >= 0; }

private:
    void answer() {
        alignas(struct fanotify_event_metadata) char buffer[4096];
        while (!stop_) {
            struct pollfd p = {fd_, POLLIN, 0};
            if (::poll(&p, 1, 20) <= 0) continue;
            ssize_t n = ::read(fd_, buffer, sizeof buffer);
            auto* event = reinterpret_cast<struct fanotify_event_metadata*>(buffer);
            for (; n > 0 && FAN_EVENT_OK(event, n); event = FAN_EVENT_NEXT(event, n)) {
                if (++opens_ == grow_at_) ::truncate(path_.c_str(), off_t{64} << 20);
                struct fanotify_response response = {event->fd, FAN_ALLOW};
                ssize_t written = ::write(fd_, &response, sizeof response);
                (void)written;
                ::close(event->fd);
            }
        }
    }

    std::string path_;
    int grow_at_;
    int fd_ = -1;
    int opens_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

// What `rpl-toc settings` shows of the file is never more than the library
// reads: a file that grows past the limit between the checks and the read,
// at whichever of the reader's opens, is read no further (before, its
// second reading took every byte there was).
TEST_F(TocOperations, TheSettingsFileShownIsNeverReadPastTheLimit) {
    const std::string file = settings_file();
    const std::string text = "[||R||T1]\nOUTPUT_SECTION=0\n";
    for (int grow_at = 1; grow_at <= 4; ++grow_at) {
        SCOPED_TRACE(grow_at);
        write_file(file, text);
        SettingsFileState state;
        {
            GrowsAtOpen grows(file, grow_at);
            if (!grows.ok()) GTEST_SKIP() << "no fanotify permission events here";
            state = settings_file_state(file);
        }
        EXPECT_TRUE(state.exists);
        EXPECT_LE(state.content.size(), kMaxSettingsFileBytes);
        EXPECT_TRUE(state.content.empty() || state.content == text) << state.content.size() << " bytes";
        EXPECT_EQ(state.content.empty(), !state.unreadable.empty());
    }
}

// Reads of the settings file, as inotify reports them (IN_ACCESS).
int reads_of(int watch, const std::string& name) {
    int reads = 0;
    alignas(struct inotify_event) char buffer[16384];
    for (ssize_t n; (n = ::read(watch, buffer, sizeof buffer)) > 0;) {
        for (char* at = buffer; at < buffer + n;) {
            auto* event = reinterpret_cast<struct inotify_event*>(at);
            if (event->len > 0 && name == event->name && (event->mask & IN_ACCESS)) ++reads;
            at += sizeof(struct inotify_event) + event->len;
        }
    }
    return reads;
}

// A settings file of 10 GB (sparse) is known by its size alone: building,
// the identity of the change detection, the check for another program's
// change, a read of the settings and what `settings` shows all end at once,
// and not one read reaches the file. (The issue measured 35.6 s for a
// show.) One read of a small file is seen, so the watch works.
TEST_F(TocOperations, ASettingsFileOfTenGigabytesIsNeverRead) {
    const std::string file = settings_file();
    write_file(file, "[||R||T1]\nOUTPUT_SECTION=0\n");
    ASSERT_EQ(::truncate(file.c_str(), off_t{10} << 30), 0);
    int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(watch, 0);
    ASSERT_GE(::inotify_add_watch(watch, db_->path().c_str(), IN_ACCESS), 0);
    const std::string name = std::filesystem::path(file).filename().string();

    session_->rebuild();
    Session::FileStamp stamp = session_->settings_file_stamp();
    EXPECT_TRUE(stamp.exists);
    EXPECT_EQ(stamp.size, std::uint64_t{10} << 30);
    EXPECT_EQ(stamp.hash, 0u) << "hashed";
    EXPECT_FALSE(session_->settings_file_changed_outside());
    std::optional<Session::SettingsRead> read = session_->read_settings();
    ASSERT_TRUE(read.has_value());
    EXPECT_FALSE(read->loaded);
    SettingsFileState state = settings_file_state(file);
    EXPECT_EQ(state.unreadable, "larger than 16 MiB, the most a settings file may be");
    EXPECT_TRUE(session_->section("||R||T1")->m_marked_for_output) << "defaults";
    EXPECT_EQ(reads_of(watch, name), 0);

    ASSERT_EQ(::truncate(file.c_str(), 20), 0);
    session_->settings_file_stamp();
    EXPECT_GT(reads_of(watch, name), 0) << "the watch sees reads";
    ::close(watch);
}

// ---- Whether a change reached the file ----------------------------------------------

TEST_F(TocOperations, AChangeTheFileDoesNotHoldIsKeptInMemoryAndReportedUnsaved) {
    std::filesystem::create_directory(settings_file());  // exists, cannot be read
    SettingsChange landscape;
    landscape.orientation = 2;
    Outcome<Change> change = change_settings(*session_, "||R||T1", landscape);
    ASSERT_TRUE(change.ok());
    EXPECT_EQ(change.result().save.settings_file, settings_file());
    EXPECT_EQ(change.result().save.unsaved, "Is a directory");
    EXPECT_EQ(session_->section("||R||T1")->m_page_orientation, 2);
}

// A chart type the library does not save (kept from the report because the
// file holds a type it does not know) is no reason to call a save failed.
TEST_F(TocOperations, AValueTheLibraryDoesNotSaveIsNotCountedAsUnsaved) {
    TempDir files;
    write_file(files.file("odd.json"),
               R"({"name": "small", "type": 3, "root": {"type": 1, "name": "R", "children": [
                   {"type": 5, "name": "C", "chart_type": 5}]}})");
    write_file(settings_file(), "[||R||C]\nCHART_TYPE=7\n");
    open(files.file("odd.json"));
    ASSERT_EQ(session_->section("||R||C")->dynamic_cast_to_RPL_CHART()->m_chart_type, 5);
    Outcome<Change> mark = mark_sections(*session_, {"||R||C"}, false);
    ASSERT_TRUE(mark.ok());
    EXPECT_TRUE(mark.result().save.saved()) << mark.result().save.unsaved;
}

}  // namespace
