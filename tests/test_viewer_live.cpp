// What the viewer tells its pages without being asked: the event hub and
// its tickets, another program's save found through the directory watch
// and read in at once, and a long mark's saves counted as they land. The
// parts are put together as the viewer puts them, without sockets.
#include <chrono>
#include <cstdio>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/test_support.h"
#include "tools/core/operations.h"
#include "tools/core/section_info.h"
#include "tools/view/view_api.h"
#include "tools/view/view_handler.h"
#include "tools/view/view_live.h"
#include "tools/view/view_watch.h"

using namespace rpltest;
using namespace rpl_toc;

namespace {

using json = nlohmann::json;

// Long enough for any loaded machine; the tests wait for a condition, and
// only a fault lets this pass.
constexpr std::chrono::seconds kPatience{60};

struct Event {
    std::string name;
    json data;
};

// Splits a stream's text into its events.
std::vector<Event> events_in(const std::string& text) {
    std::vector<Event> out;
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t end = text.find("\n\n", at);
        if (end == std::string::npos) break;
        std::string block = text.substr(at, end - at);
        at = end + 2;
        std::size_t data = block.find("\ndata: ");
        if (block.compare(0, 7, "event: ") != 0 || data == std::string::npos) continue;
        out.push_back({block.substr(7, data - 7), json::parse(block.substr(data + 7))});
    }
    return out;
}

// A page's stream: every event the hub publishes, kept, and waited on.
class Listener {
public:
    explicit Listener(EventHub& hub) : hub_(hub), cursor_(hub.newest()) {
        hub.on_publish([this] {
            std::lock_guard<std::mutex> lock(lock_);
            for (Event& e : events_in(hub_.take(cursor_))) events_.push_back(std::move(e));
            changed_.notify_all();
        });
    }
    ~Listener() { hub_.on_publish(nullptr); }

    // Waits until `done(events)` holds; false when it never does.
    template <class Done>
    bool wait_for(Done done) {
        std::unique_lock<std::mutex> lock(lock_);
        return changed_.wait_for(lock, kPatience, [&] { return done(events_); });
    }
    std::vector<Event> events() {
        std::lock_guard<std::mutex> lock(lock_);
        return events_;
    }

private:
    EventHub& hub_;
    std::uint64_t cursor_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<Event> events_;
};

bool has_event(const std::vector<Event>& events, const std::string& name) {
    for (const Event& e : events)
        if (e.name == name) return true;
    return false;
}

// R: folders F0..F(folders-1), each of `texts` texts t0, t1, ...
ReportFile wide_report(int folders, int texts) {
    ReportFile report;
    report.name = "live";
    report.type = RDB_REPORT_TIMING;
    report.main_folder = std::make_unique<RDB_FOLDER_OBJECT>("R");
    for (int f = 0; f < folders; ++f) {
        RDB_FOLDER_OBJECT* folder = report.main_folder->add(new RDB_FOLDER_OBJECT("F" + std::to_string(f)));
        for (int t = 0; t < texts; ++t) folder->add(new RDB_TEXT_OBJECT("t" + std::to_string(t), false));
    }
    return report;
}

const std::string kToken = "0123456789abcdef0123456789abcdef";

}  // namespace

TEST(EventHub, KeepsOrderTellsALateReaderToReadAgainAndTicketsOpenOneStream) {
    EventHub hub;
    std::uint64_t cursor = hub.newest();
    EXPECT_EQ(hub.take(cursor), "");
    hub.publish("idle", {{"change", 1}});
    hub.publish("outside", {{"notice", "line\nbreak"}});
    std::vector<Event> read = events_in(hub.take(cursor));
    ASSERT_EQ(read.size(), 2u);
    EXPECT_EQ(read[0].name, "idle");
    EXPECT_EQ(read[1].data["notice"], "line\nbreak");  // a break in a value stays inside the data line
    EXPECT_EQ(hub.take(cursor), "");

    std::uint64_t late = cursor;
    for (std::size_t i = 0; i <= EventHub::kKept; ++i) hub.publish("progress", {{"i", i}});
    read = events_in(hub.take(late));
    ASSERT_EQ(read.size(), 1u);
    EXPECT_EQ(read[0].name, "resync");
    EXPECT_EQ(late, hub.newest());

    // Large events are kept by their bytes too: a slow reader falls behind sooner.
    for (std::size_t i = 0; i < 9; ++i) hub.publish("changed", {{"change", i}, {"text", std::string(EventHub::kKeptBytes / 8, 'x')}});
    read = events_in(hub.take(late));
    ASSERT_EQ(read.size(), 1u);
    EXPECT_EQ(read[0].name, "resync");

    hub.publish("changed", {{"change", 9}, {"text", std::string(EventHub::kMaxEventBytes, 'x')}});
    read = events_in(hub.take(late));
    ASSERT_EQ(read.size(), 1u);
    EXPECT_EQ(read[0].name, "resync");  // too large to send: the page reads the state instead
    EXPECT_EQ(read[0].data, json({{"format", 1}, {"change", 9}}));

    std::string ticket = hub.new_ticket();
    ASSERT_EQ(ticket.size(), 32u);
    EXPECT_FALSE(hub.redeem(""));
    EXPECT_FALSE(hub.redeem(ticket.substr(1)));
    EXPECT_TRUE(hub.redeem(ticket));
    EXPECT_FALSE(hub.redeem(ticket));  // one stream per ticket
    std::string oldest = hub.new_ticket();
    for (std::size_t i = 0; i < EventHub::kMaxTickets; ++i) hub.new_ticket();
    EXPECT_FALSE(hub.redeem(oldest));  // given up for a newer one
}

// A stream needs a ticket, and a ticket needs the token.
TEST(EventHub, TheStreamOpensWithATicketOnly) {
    TempDir db;
    Session session(wide_report(1, 1), db.path());
    ViewHandler handler(session, kToken, 43117);
    auto request = [&handler](const std::string& method, const std::string& target, HttpHeaders headers) {
        HttpRequest r = request_for_target(method, target);
        r.headers = std::move(headers);
        r.headers.emplace_back("Host", "127.0.0.1:43117");
        if (method == "POST") {
            r.headers.emplace_back("Content-Type", "application/json");
            r.body = "{}";
        }
        return handler.handle(r);
    };
    EXPECT_EQ(request("POST", "/api/events/ticket", {}).status, 401);
    HttpResponse ticket = request("POST", "/api/events/ticket", {{"X-RPL-Token", kToken}});
    ASSERT_EQ(ticket.status, 200);
    std::string value = json::parse(ticket.body)["ticket"];
    EXPECT_EQ(request("GET", "/api/events", {}).status, 401);
    EXPECT_EQ(request("GET", "/api/events?ticket=" + kToken, {}).status, 401);  // the token is no ticket
    HttpResponse stream = request("GET", "/api/events?ticket=" + value, {});
    EXPECT_EQ(stream.status, 200);
    EXPECT_TRUE(stream.event_stream);
    EXPECT_EQ(request("GET", "/api/events?ticket=" + value, {}).status, 401);
    EXPECT_EQ(request("GET", "/api/events?ticket=" + value, {{"Origin", "http://evil.example"}}).status, 403);
}

class LiveViewer : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        session_ = std::make_unique<Session>(wide_report(10, 30), db_->path());
        handler_ = std::make_unique<ViewHandler>(*session_, kToken, 43117);
        listener_ = std::make_unique<Listener>(handler_->events());
        watcher_ = handler_->watch_settings_file();
        ASSERT_TRUE(watcher_);
    }
    void TearDown() override {
        watcher_.reset();
        listener_.reset();
        handler_.reset();
        session_.reset();
        HostTest::TearDown();
    }

    HttpResponse post(const std::string& path, const std::string& body) {
        HttpRequest r = request_for_target("POST", path);
        r.headers = {{"Host", "127.0.0.1:43117"}, {"X-RPL-Token", kToken}, {"Content-Type", "application/json"}};
        r.body = body;
        return handler_->handle(r);
    }

    // Another program's save, as such programs make it: the file written
    // whole under another name and renamed over it. (Not through the
    // library: it serves one thread, and the watcher's is another.)
    void save_outside(const std::string& content) {
        std::string temporary = db_->file("other-program.tmp");
        write_file(temporary, content);
        ASSERT_EQ(std::rename(temporary.c_str(), session_->settings_file().c_str()), 0);
    }

    std::unique_ptr<Session> session_;
    std::unique_ptr<ViewHandler> handler_;
    std::unique_ptr<Listener> listener_;
    std::unique_ptr<FileWatcher> watcher_;
};

TEST_F(LiveViewer, AnotherProgramsSaveIsReadInAtOnceAndThePagesAreToldWhatChanged) {
    save_outside("[||R||F3||t7]\nOUTPUT_SECTION=0\n");
    ASSERT_TRUE(listener_->wait_for([](const std::vector<Event>& events) {
        for (const Event& e : events)
            if (e.name == "outside" && e.data.contains("notice")) return true;
        return false;
    }));
    json told;
    for (const Event& e : listener_->events())
        if (e.name == "outside" && e.data.contains("notice")) told = e.data;
    EXPECT_EQ(told["notice"], "Another program saved the settings file; 3 sections now show what it holds: ||R, ||R||F3, "
                              "||R||F3||t7.");
    std::vector<std::string> paths;
    for (const json& s : told["sections"]) paths.push_back(s["path"]);
    EXPECT_EQ(paths, (std::vector<std::string>{"||R", "||R||F3", "||R||F3||t7"}));
    EXPECT_EQ(told["sections"][2]["marked"], false);
    EXPECT_FALSE(session_->section("||R||F3||t7")->m_marked_for_output);  // the session holds it too
    EXPECT_FALSE(session_->settings_file_changed_outside());
    std::string shown;
    for (const json& block : told["settings"]["blocks"]) shown += block["text"].get<std::string>();
    EXPECT_EQ(shown, read_file(session_->settings_file()));
}

// The viewer's own saves are no news of another program, however late
// their events come; the other pages hear of the change itself.
TEST_F(LiveViewer, OwnChangesAreSentAsChangesNeverAsAnotherProgramsSave) {
    HttpResponse own = post("/api/mark", R"({"paths": ["||R||F1"], "marked": false})");
    ASSERT_EQ(own.status, 200);
    std::uint64_t number = json::parse(own.body)["change"];
    // A marker: its event comes after every event of the own change.
    save_outside(read_file(session_->settings_file()) + "[||Z]\nOUTPUT_SECTION=0\n");
    ASSERT_TRUE(listener_->wait_for([](const std::vector<Event>& events) { return has_event(events, "outside"); }));
    // The change's own progress (on a slow machine) aside, the pages hear
    // of the change once, and then only of the marker.
    std::vector<Event> events;
    for (Event& e : listener_->events())
        if (e.name != "progress" && e.name != "idle") events.push_back(std::move(e));
    ASSERT_GE(events.size(), 2u);
    EXPECT_EQ(events[0].name, "changed");
    EXPECT_EQ(events[0].data["change"], number);
    EXPECT_EQ(events[0].data["settings"], json::parse(own.body)["settings"]);
    for (std::size_t i = 1; i < events.size(); ++i) {
        EXPECT_NE(events[i].name, "changed");
        if (events[i].name != "outside") continue;
        // No section of the report has the block [||Z]: read again, the
        // sections only no longer have changes of their own to write.
        EXPECT_FALSE(events[i].data.contains("notice"));
        for (const json& section : events[i].data["sections"]) EXPECT_EQ(section["settings_changed"], false);
    }
}

// The saves of a long mark are counted as the file's replacements land,
// and the sections they finish are sent as they are finished, in the
// order of the checkpoints; the count and the checkpoints agree with the
// saves the mark really makes.
TEST_F(HostTest, ALongMarkStreamsItsSavesAsTheyLand) {
    auto session_ = std::make_unique<Session>(wide_report(10, 30), db_->path());
    std::vector<std::string> named;
    for (int f = 0; f < 10; ++f) named.push_back("||R||F" + std::to_string(f));
    const std::size_t expected = saves_of_mark(*session_, named);
    std::vector<std::string> finishing;
    for (const MarkCheckpoint& point : mark_checkpoints(*session_, named)) finishing.push_back(to_std(point.section->m_rdb_path));

    // Each named folder ends only once the pages were told of its saves,
    // counted as they landed.
    Activity activity;
    EventHub hub;
    std::mutex library;
    LiveUpdates live(*session_, library, activity, hub);
    Listener listener(hub);
    std::size_t landed = 0;
    FileWatcher watcher(session_->settings_file(),
                        {[&](std::size_t saves, std::size_t other) {
                             landed += saves;
                             live.file_changed(saves, other);
                         },
                         [&] { live.tick(); }, [&] { return live.ticking(); }},
                        LiveUpdates::kTickEvery);
    ASSERT_TRUE(watcher.start());
    activity.on_begin([&] { watcher.wake(); });
    bool told_each = true;
    std::size_t folders_done = 0;
    activity.on_advance([&](std::size_t, std::size_t) {
        const std::string folder = named[folders_done++];
        told_each = told_each && listener.wait_for([&](const std::vector<Event>& events) {
            for (const Event& e : events)
                if (e.name == "progress" && e.data.contains("written"))
                    for (const json& path : e.data["written"]["paths"])
                        if (path == folder) return true;
            return false;
        });
    });
    json body = {{"paths", named}, {"marked", false}};
    HttpResponse answer = api_mark(*session_, body.dump(), activity, hub);
    ASSERT_EQ(answer.status, 200);
    EXPECT_TRUE(told_each);
    ASSERT_TRUE(listener.wait_for([](const std::vector<Event>& events) { return has_event(events, "idle"); }));

    std::size_t done = 0;
    std::vector<std::string> written;
    for (const Event& e : listener.events()) {
        if (e.name != "progress") continue;
        EXPECT_GE(e.data["saves_done"].get<std::size_t>(), done);
        done = e.data["saves_done"];
        EXPECT_LE(done, expected);
        EXPECT_EQ(e.data["expected_saves"], expected);
        std::string sentence = e.data["sentence"];
        EXPECT_TRUE(sentence.find("of " + with_separators(expected) + " saves") != std::string::npos ||
                    sentence.find(with_separators(expected) + " saves expected") != std::string::npos)
            << sentence;
        if (!e.data.contains("written")) continue;
        EXPECT_EQ(e.data["written"]["marked"], false);
        EXPECT_EQ(e.data["written"]["marking"], 0);
        for (const json& path : e.data["written"]["paths"]) written.push_back(path);
    }
    EXPECT_EQ(landed, expected);  // every save the mark was expected to make landed, and no other
    EXPECT_EQ(written, finishing);
    watcher.stop();
}

// Saves are counted as they land, never past what is expected.
TEST(ViewerActivity, CountsTheSavesThatLandAndPassesTheCheckpointsTheyReach) {
    Activity activity;
    activity.begin("marking ||R", 10, {{3, "||R||A"}, {7, "||R||B"}, {9, "||R"}}, true);
    activity.landed(4);
    ActivityProgress progress = activity.take_progress();
    EXPECT_EQ(progress.saves_done, 4u);
    EXPECT_EQ(progress.passed, std::vector<std::string>{"||R||A"});
    EXPECT_TRUE(progress.marked);
    EXPECT_EQ(progress.sentence, "marking ||R, 4 of 10 saves");
    activity.advance(8, 10);  // sections written, not saves
    EXPECT_EQ(activity.take_progress().passed, std::vector<std::string>{});
    activity.landed(3);
    EXPECT_EQ(activity.take_progress().passed, std::vector<std::string>{"||R||B"});
    activity.landed(100);
    progress = activity.take_progress();
    EXPECT_EQ(progress.saves_done, 10u);
    EXPECT_EQ(progress.passed, std::vector<std::string>{"||R"});
    activity.end();
    activity.landed(5);  // after the change: no longer its saves
    activity.begin("marking ||R", 10);
    EXPECT_EQ(activity.take_progress().saves_done, 0u);
}
