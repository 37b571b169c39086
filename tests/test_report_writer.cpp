// The report-file writer of rpl-toc: what goes into the text and the HTML
// export of a TOC, where it goes, and what the caller is told.
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/test_support.h"
#include "tools/core/session.h"
#include "tools/core/report_writer.h"

using namespace rpltest;
namespace fs = std::filesystem;
using rpl_toc::ReportFormat;
using rpl_toc::Session;

namespace {

// Names carrying an escape (C0), a next-line (C1, U+0085), a right-to-left
// override (U+202E) and a first-strong isolate (U+2068).
const char* const kReport = R"({"name": "w", "type": 3, "root": {"type": 1, "name": "Top", "children": [
    {"type": 3, "name": "<b>&amp;", "header": "a \"quoted\" head"},
    {"type": 1, "name": "Sub", "header": "by block", "children": [
        {"type": 5, "name": "Chart"},
        {"type": 1, "name": "Gone", "children": [{"type": 7, "name": "G1"}, {"type": 7, "name": "G2"}]}]},
    {"type": 4, "name": "Wide", "columns": 2},
    {"type": 7, "name": "Bell\u0007 next\u0085 txt.\u202Eexe \u2068iso"},
    {"type": 7, "name": "Hidden"}]}})";

class ReportWriter : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        write_file(files_.file("w.json"), kReport);
        session_ = std::move(rpl_toc::open_session(files_.file("w.json"), db_->path()).result());
        session_->section("||Top||Sub||Gone")->set_marked_for_output(false);
        session_->section("||Top||Hidden")->set_marked_for_output(false);
        RPL_REPORT_SECTION& wide = *session_->section("||Top||Wide");
        wide.m_page_orientation = 2;
    }
    void TearDown() override {
        session_.reset();
        HostTest::TearDown();
    }
    std::string html() { return rpl_toc::format_report(session_->toc(), ReportFormat::html); }

    TempDir files_;
    std::unique_ptr<Session> session_;
};

TEST_F(ReportWriter, TextNumbersTheMarkedSectionsEscapesHiddenCharactersAndListsWhatWasLeftOut) {
    EXPECT_EQ(rpl_toc::format_report(session_->toc(), ReportFormat::text),
              "Report \"w\", type 3 (timing)\n"
              "6 sections marked for output, in reading order; 4 left out.\n"
              "\n1 Top  [folder]\n"
              "\n  1.1 <b>&amp;  [text]\n      a \"quoted\" head\n"
              "\n  1.2 Sub  [folder]\n      header: by block\n"
              "\n    1.2.1 Chart  [chart]\n          No numeric data to chart.\n"
              "\n  1.3 Wide  [table]  (landscape page)\n      (no rows)\n"
              "\n  1.4 Bell\\x07 next\\u0085 txt.\\u202eexe \\u2068iso  [summary]\n"
              "\nLeft out of the output:\n"
              "  ||Top||Sub||Gone  [folder, and the 2 sections below it]\n"
              "  ||Top||Hidden  [summary]\n");
}

TEST_F(ReportWriter, HtmlNamesOrientationsHeadsFoldersAndLinksOnlyWithinThePage) {
    std::string page = html();
    struct CASE {
        const char* what;
        const char* text;
        bool present;
    };
    const CASE cases[] = {
        {"an orientation by its name", "<span class=\"page\">landscape</span>", true},
        {"a landscape page's contents laid out for it", "<div class=\"rpl-page rpl-landscape\">", true},
        {"a landscape section marked for print", "class=\"card landscape\"", true},
        {"a folder as a heading, its header on one line", "<p>header: by block</p>", true},
        {"the first folder of a level below the root starts a printed page", "id=\"s-1-2\" class=\"folder top\"", true},
        {"the root does not", "id=\"s-1\" class=\"folder\"", true},
        {"a left-out folder linked to the folder it is in",
         "<li>Gone (folder, and the 2 sections below it), from <a href=\"#s-1-2\">1.2 Sub</a></li>", true},
        {"a left-out section linked to the root", "<li>Hidden (summary), from <a href=\"#s-1\">1 Top</a></li>", true},
        {"names escaped for HTML", "&lt;b&gt;&amp;amp;", true},
        {"texts escaped for HTML", "<p class=\"rpl-header\">a &quot;quoted&quot; head</p>", true},
        {"a right-to-left override shown, not obeyed", "txt.\\u202eexe", true},
        {"raw markup of a name", "<b>", false},
        {"a left-out section among the cards", "id=\"s-1-5\"", false},
        {"anything fetched from elsewhere", "src=", false},
        {"a stylesheet from elsewhere", "<link", false},
        {"an import", "@import", false},
        {"a web address", "http", false},
    };
    for (const CASE& c : cases) EXPECT_EQ(page.find(c.text) != std::string::npos, c.present) << c.what;
    EXPECT_EQ(page.find("rpl-page", page.find("id=\"s-1-2\"")), page.find("rpl-page", page.find("id=\"s-1-2-1\"")))
        << "a folder has no contents of its own";
    // Every link leads to a section of the page.
    std::regex link("href=\"#([^\"]+)\"");
    std::set<std::string> targets;
    for (auto it = std::sregex_iterator(page.begin(), page.end(), link); it != std::sregex_iterator(); ++it)
        targets.insert((*it)[1]);
    EXPECT_EQ(targets, (std::set<std::string>{"contents", "s-1", "s-1-1", "s-1-2", "s-1-2-1", "s-1-3", "s-1-4"}));
    for (const std::string& id : targets) EXPECT_NE(page.find("id=\"" + id + "\""), std::string::npos) << id;
}

// The page is a template filled in once: a name or a text that looks like
// one of its tags is shown as it is, escaped, and fills in nothing.
TEST_F(ReportWriter, HtmlShowsNamesThatLookLikeTheTemplatesTagsAsTheyAre) {
    write_file(files_.file("tags.json"), R"({"name": "{{title}}", "type": 3, "root": {"type": 1, "name": "{{{styles}}}",
        "children": [{"type": 3, "name": "{{#sections}}<i>", "text": "{{body}}"}]}})");
    std::unique_ptr<Session> tags = std::move(rpl_toc::open_session(files_.file("tags.json"), db_->path()).result());
    std::string page = rpl_toc::format_report(tags->toc(), ReportFormat::html);
    for (const char* shown : {"<title>Report &quot;{{title}}&quot;, type 3", "<span class=\"num\">1</span> {{{styles}}}</a>",
                              "<span class=\"num\">1.1</span> {{#sections}}&lt;i&gt; <span", "<div class=\"rpl-plain\">{{body}}</div>"})
        EXPECT_NE(page.find(shown), std::string::npos) << shown;
    EXPECT_EQ(page.find("<i>"), std::string::npos);
}

TEST_F(ReportWriter, WritingSaysWhereAndHowManyOrWhyNot) {
    struct CASE {
        const char* what;
        std::string path;
        std::string error;  // empty: written
        const char* message;  // null: none
    };
    std::string lost = files_.file("no/such/dir/r.txt");
    const CASE cases[] = {
        {"a file", files_.file("r.txt"), "", "Writing Report file "},
        {"standard output", "-", "", nullptr},
        {"a missing directory", lost,
         "Can't open Text-Format or HTML-Format Report File " + lost + ": No such file or directory",
         "Can't open Text-Format or HTML-Format Report File "},
        {"a directory", files_.path(), "Can't open Text-Format or HTML-Format Report File " + files_.path() + ": Is a directory",
         "Can't open Text-Format or HTML-Format Report File "},
    };
    for (const CASE& c : cases) {
        host_clear_messages();
        testing::internal::CaptureStdout();
        rpl_toc::ReportWritten written = rpl_toc::write_report_file(session_->toc(), c.path, ReportFormat::text);
        std::string out = testing::internal::GetCapturedStdout();
        EXPECT_EQ(written.error, c.error) << c.what;
        EXPECT_EQ(written.sections, c.error.empty() ? 6 : 0) << c.what;
        EXPECT_EQ(written.left_out, c.error.empty() ? 4 : 0) << c.what;
        std::string expected = c.error.empty() ? rpl_toc::format_report(session_->toc(), ReportFormat::text) : "";
        EXPECT_EQ(c.path == "-" ? out : read_file(c.path), c.path == "-" || c.error.empty() ? expected : "")
            << c.what;
        const auto& messages = host_message_log().info_messages;
        ASSERT_EQ(messages.size(), c.message ? 1u : 0u) << c.what;
        if (c.message) {
            EXPECT_EQ(messages[0].formatted, c.message + c.path) << c.what;
        }
    }
}

// The export replaces its file as a save replaces the settings file: a new
// file and a rename (the inode changes, the permission bits stay, an own
// link stays and its target is replaced), and it refuses, in one line and
// without waiting, a FIFO (with or without a reader), a device and a link
// of another user, leaving each as it was and nothing beside it.
TEST_F(ReportWriter, WritingReplacesTheFileAndRefusesWhatIsNoFileOfTheUsers) {
    const std::string text = rpl_toc::format_report(session_->toc(), ReportFormat::text);
    TempDir dir;
    auto inode = [](const std::string& path) {
        struct stat st = {};
        return ::lstat(path.c_str(), &st) == 0 ? st.st_ino : ino_t(0);
    };
    const std::string file = dir.file("r.txt");
    write_file(file, "old");
    ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
    ino_t before = inode(file);
    EXPECT_EQ(rpl_toc::write_report_file(session_->toc(), file, ReportFormat::text).error, "");
    EXPECT_EQ(read_file(file), text);
    EXPECT_NE(inode(file), before) << "written in place";
    struct stat st = {};
    ASSERT_EQ(::stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    const std::string link = dir.file("link.txt");
    ASSERT_EQ(::symlink("r.txt", link.c_str()), 0);
    write_file(file, "old");
    EXPECT_EQ(rpl_toc::write_report_file(session_->toc(), link, ReportFormat::text).error, "");
    EXPECT_EQ(read_file(file), text);
    EXPECT_EQ(fs::read_symlink(link).string(), "r.txt");
    EXPECT_EQ(entries_of(dir.path()), (std::vector<std::string>{"link.txt", "r.txt"}));

    const std::string fifo = dir.file("fifo"), victim = dir.file("victim"), planted = dir.file("planted");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0666), 0);
    write_file(victim, "theirs");
    const bool other_user = ::symlink("victim", planted.c_str()) == 0 && ::lchown(planted.c_str(), 4242, 4242) == 0;
    const struct {
        const char* what;
        std::string path;
        bool reader;
        std::string reason;
    } kRefused[] = {
        {"a FIFO", fifo, false, "not a regular file"},
        {"a FIFO someone reads", fifo, true, "not a regular file"},
        {"a device", "/dev/null", false, "not a regular file"},
        {"a link of another user", planted, false, "a link owned by another user"},
    };
    for (const auto& c : kRefused) {
        SCOPED_TRACE(c.what);
        if (c.path == planted && !other_user) continue;  // links keep their owner only for root
        int reader = c.reader ? ::open(c.path.c_str(), O_RDONLY | O_NONBLOCK) : -1;
        // In a child, so that an export that waits fails the test (after a
        // minute) instead of hanging it.
        const std::string expected = "Can't open Text-Format or HTML-Format Report File " + c.path + ": " + c.reason;
        EXPECT_EQ(run_in_child([&] {
                      host_clear_messages();
                      rpl_toc::ReportWritten w = rpl_toc::write_report_file(session_->toc(), c.path, ReportFormat::text);
                      const auto& messages = host_message_log().info_messages;
                      return w.error == expected && messages.size() == 1 &&
                             messages[0].formatted == "Can't open Text-Format or HTML-Format Report File " + c.path;
                  }),
                  0);
        if (reader >= 0) {
            char buffer[16];
            EXPECT_LE(::read(reader, buffer, sizeof buffer), 0) << "the report went into the FIFO";
            ::close(reader);
        }
    }
    EXPECT_EQ(read_file(victim), "theirs");
    std::vector<std::string> left = {"fifo", "link.txt", "r.txt", "victim"};
    if (other_user) left.insert(left.begin() + 2, "planted");
    EXPECT_EQ(entries_of(dir.path()), left);
}

}  // namespace
