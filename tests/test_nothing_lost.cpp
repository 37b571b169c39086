// No user's settings are ever destroyed: a settings file that exists but
// cannot be read is left exactly as it is by every operation, and what
// another TOC of the same report wrote survives this TOC's saves.
#include "support/test_support.h"

#include "rpl/rpl_file.h"

#include <cstring>
#include <filesystem>
#include <functional>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace rpltest;
namespace fs = std::filesystem;

namespace {

// Not as the library would write it (a stray line, unsorted keys), so a
// rewrite would show even if it kept every value.
const std::string kUserText =
    "stray\n[||R||F||X]\nPAGE_ORIENTATION=1\nOUTPUT_SECTION=0\n[||R||F||T]\nCOLUMN_WIDTHS=1L,2R,3L,\n";

// R { F { X (text), T (table, 3 columns), C (chart) } }
RDB_FOLDER_OBJECT* report() {
    auto* root = new RDB_FOLDER_OBJECT("R");
    auto* f = root->add(new RDB_FOLDER_OBJECT("F"));
    f->add(new RDB_TEXT_OBJECT("X", false));
    f->add(new RDB_TABLE_OBJECT("T", 3, 1));
    f->add(new RDB_CHART_TABLE_OBJECT("C", 2));
    return root;
}

typedef std::function<void(RPL_REPORT_TOC&)> OPERATION;

// The operations that load or save the settings file, each run on a TOC
// just built (building is the first of them) and followed by a read of
// every section. Unmarking the root writes every kind of section; the
// table's setters give its column part something to write.
const struct {
    const char* what;
    OPERATION run;
} kOperations[] = {
    {"generate_toc", [](RPL_REPORT_TOC&) {}},
    {"unmark a leaf", [](RPL_REPORT_TOC& t) { find_section(t, "||R||F||X")->set_marked_for_output(false); }},
    {"unmark the root", [](RPL_REPORT_TOC& t) { find_section(t, "||R")->set_marked_for_output(false); }},
    {"set one folder", [](RPL_REPORT_TOC& t) { find_section(t, "||R||F")->internal_set_marked_for_output(false); }},
    {"update from a leaf", [](RPL_REPORT_TOC& t) { find_section(t, "||R||F||C")->update_marked_for_output(); }},
    {"write a table after its setters",
     [](RPL_REPORT_TOC& t) {
         RPL_TABLE* table = find_section(t, "||R||F||T")->dynamic_cast_to_RPL_TABLE();
         for (unsigned int i = 0; i < 3; ++i) table->set_column_width(i, 10);
         table->write_acf_settings();
     }},
};

// Runs `op` on a TOC built for the report; true when the build kept the
// default marks and every read the TOC then makes fails.
bool run_on_fresh_toc(const OPERATION& op) {
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, "r");
    toc.generate_toc(true);
    bool ok = true;
    for (RPL_REPORT_SECTION* s : toc.m_section_index) ok = ok && s->m_marked_for_output;
    op(toc);
    for (RPL_REPORT_SECTION* s : toc.m_section_index) ok = ok && !s->read_acf_settings();
    return ok;
}

class NothingLost : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        install_report(RDB_REPORT_TIMING, report());
        path_ = settings_path(RDB_REPORT_TIMING, "r");
    }
    std::string path_;
};

}  // namespace

TEST_F(NothingLost, FileItsUserMayNotReadIsLeftByteForByte) {
    // Let a save make a temporary file beside the settings file, and leave
    // the file writable, so that only the rule "never save after a failed
    // load" keeps it.
    ASSERT_EQ(::chmod(db_->path().c_str(), 0777), 0);
    write_file(path_, kUserText);
    ASSERT_EQ(::chmod(path_.c_str(), 0222), 0);
    for (const auto& op : kOperations) {
        SCOPED_TRACE(op.what);
        EXPECT_EQ(run_as_nobody([&] { return run_on_fresh_toc(op.run); }), 0);
        EXPECT_EQ(read_file(path_), kUserText);
        EXPECT_EQ(entries_of(db_->path()).size(), 1u);
    }
    // Once it may read the file, the same user does rewrite it: the file
    // above was kept by the rule, not by a directory it could not reach.
    ASSERT_EQ(::chmod(path_.c_str(), 0666), 0);
    EXPECT_EQ(run_as_nobody([&] { return !run_on_fresh_toc(kOperations[1].run); }), 0);
    EXPECT_NE(read_file(path_), kUserText);
}

// A file past the size limit counts as one that cannot be read, and its
// size alone says so: not a byte of it is read (a sparse file of a
// gigabyte would take seconds and a gigabyte for every load) nor written.
TEST_F(NothingLost, FileLargerThanTheLimitIsNeitherLoadedNorWrittenOver) {
    const struct {
        const char* what;
        off_t size;
        bool loads;
    } kSizes[] = {
        {"at the limit", static_cast<off_t>(RPL_MAX_FILE_SIZE), true},
        {"one byte past the limit", static_cast<off_t>(RPL_MAX_FILE_SIZE) + 1, false},
        {"a gigabyte", off_t(1) << 30, false},
    };
    auto make_sparse = [this](off_t size) {
        write_file(path_, "");
        ASSERT_EQ(::truncate(path_.c_str(), size), 0);
    };
    for (const auto& c : kSizes) {
        SCOPED_TRACE(c.what);
        make_sparse(c.size);
        RPL_REPORT_SETTINGS_FILE file;
        file.m_filename = to_rpl(path_);
        EXPECT_EQ(file.read_from_disk(), c.loads);
        if (c.loads) continue;
        struct stat before = {};
        ASSERT_EQ(::stat(path_.c_str(), &before), 0);
        for (const auto& op : kOperations) {
            SCOPED_TRACE(op.what);
            EXPECT_TRUE(run_on_fresh_toc(op.run));
            struct stat after = {};
            ASSERT_EQ(::stat(path_.c_str(), &after), 0);
            EXPECT_EQ(after.st_ino, before.st_ino) << "not replaced";
            EXPECT_EQ(after.st_size, c.size);
            EXPECT_EQ(after.st_blocks, 0) << "not a byte written";
            EXPECT_EQ(entries_of(db_->path()).size(), 1u);
        }
    }
}

// None of them is read (a pipe would block the open, a device never end)
// nor written: each operation returns at once and leaves it as it was.
TEST_F(NothingLost, WhatIsNotARegularFileIsNeitherReadNorReplaced) {
    const struct {
        const char* what;
        std::function<void(const std::string&)> make;
        fs::file_type type;
    } kCases[] = {
        {"directory",
         [](const std::string& path) {
             fs::create_directory(path);
             write_file(path + "/inside", kUserText);
         },
         fs::file_type::directory},
        {"pipe", [](const std::string& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0666), 0); }, fs::file_type::fifo},
        {"link to /dev/zero", [](const std::string& path) { fs::create_symlink("/dev/zero", path); },
         fs::file_type::character},
        {"socket",
         [](const std::string& path) {
             sockaddr_un address = {};
             address.sun_family = AF_UNIX;
             ASSERT_LT(path.size(), sizeof address.sun_path);
             std::strcpy(address.sun_path, path.c_str());
             int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
             ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
             ::close(fd);
         },
         fs::file_type::socket},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        c.make(path_);
        for (const auto& op : kOperations) {
            SCOPED_TRACE(op.what);
            EXPECT_EQ(run_in_child([&] { return run_on_fresh_toc(op.run); }), 0);
            EXPECT_EQ(fs::status(path_).type(), c.type);
            EXPECT_EQ(entries_of(db_->path()).size(), 1u);
        }
        if (c.type == fs::file_type::directory) {
            EXPECT_EQ(read_file(path_ + "/inside"), kUserText);
        }
        fs::remove_all(path_);
    }
}

TEST_F(NothingLost, BlocksWrittenByAnotherTocOfTheSameReportSurvive) {
    RPL_REPORT_TOC mine(RDB_REPORT_TIMING, "r");
    mine.generate_toc(true);
    // The other TOC was built from a later state of the report, with a
    // section this TOC does not know.
    auto* newer = report();
    newer->add(new RDB_TEXT_OBJECT("Z", false));
    install_report(RDB_REPORT_TIMING, newer);
    RPL_REPORT_TOC other(RDB_REPORT_TIMING, "r");
    other.generate_toc(true);

    find_section(mine, "||R||F||X")->set_marked_for_output(false);
    find_section(other, "||R||Z")->set_marked_for_output(false);
    RPL_TABLE* other_table = find_section(other, "||R||F||T")->dynamic_cast_to_RPL_TABLE();
    for (unsigned int i = 0; i < 3; ++i) other_table->set_column_width(i, 7 + static_cast<int>(i));
    other_table->write_acf_settings();

    // This TOC's next operation keeps the other's blocks and keys, and the
    // other, which still holds X as marked, never wrote X.
    find_section(mine, "||R||F||T")->set_marked_for_output(false);
    EXPECT_EQ(read_file(path_),
              "[||R]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||R||F]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"
              "[||R||F||T]\nCOLUMN_WIDTHS=7L,8L,9L,\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
              "[||R||F||X]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
              "[||R||Z]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");
}

// A save whose text would pass the limit is refused before a byte is
// written: the file just under the limit keeps its bytes, so it still
// loads, and the library says why in a trace. (A save that changes nothing,
// such as a table's columns it has none of, still rewrites the same bytes.)
// Both ways of saving a section are refused (the block alone, and the
// whole store), and so is the first save of a file, whatever it holds.
TEST_F(NothingLost, SaveThatWouldPassTheLimitWritesNothing) {
    const std::string head = "[||R||F||X]\nOUTPUT_SECTION=1\nV=";
    const std::string text = head + std::string(RPL_MAX_FILE_SIZE - head.size() - 10, 'v') + "\n";
    ASSERT_LE(text.size(), RPL_MAX_FILE_SIZE);
    write_file(path_, text);
    for (const auto& op : kOperations) {
        SCOPED_TRACE(op.what);
        RPL_REPORT_TOC toc(RDB_REPORT_TIMING, "r");
        toc.generate_toc(true);
        host_clear_messages();
        op.run(toc);
        EXPECT_TRUE(read_file(path_) == text) << "the file changed";
        EXPECT_EQ(entries_of(db_->path()).size(), 1u);
        if (std::strcmp(op.what, "generate_toc") == 0) continue;  // no save
        ASSERT_FALSE(debug_texts().empty());
        EXPECT_NE(debug_texts().back().find("larger than 16 MiB"), std::string::npos) << debug_texts().back();
    }
    // Straight through the file object: a store that formats past the limit.
    RPL_REPORT_SETTINGS_FILE file;
    file.m_filename = to_rpl(db_->file("new.rplset"));
    file.set_value_str("||R", "V", to_rpl(std::string(RPL_MAX_FILE_SIZE, 'v')));
    EXPECT_FALSE(file.write_to_disk());
    EXPECT_FALSE(file_exists(db_->file("new.rplset")));
}
