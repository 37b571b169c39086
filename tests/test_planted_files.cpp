// What another user can put in a settings file's place, or in the places of
// its temporary files, never stops a save and never pushes it off the
// rename road: a FIFO planted at the file's path while a save runs, a FIFO
// with a reader, and files at every temporary name a save could once be
// predicted to use. (The other user is this one here: the library treats a
// FIFO or a file alike whoever made it.)
#include "support/test_support.h"

#include "rpl/rpl_file.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <filesystem>
#include <regex>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace rpltest;
namespace fs = std::filesystem;

namespace {

const char* const kName = "planted";
const RDB_REPORT_TYPE kType = RDB_REPORT_TIMING;
const std::string kOldText = "[||R||A]\nV=old\n";

// What saving `value` under one section writes.
std::string value_text(const std::string& value) { return "[||R||A]\nV=" + value + "\n"; }

bool save_value(const std::string& path, const std::string& value) {
    RPL_REPORT_SETTINGS_FILE file;
    file.m_filename = to_rpl(path);
    file.set_value_str("||R||A", "V", to_rpl(value));
    return file.write_to_disk();
}

ino_t inode_of(const std::string& path) {
    struct stat st = {};
    return ::lstat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

// The names older saves of `path` by process `pid` tried in turn: the
// file's name after a dot, the PID and a counter from 1.
std::string predictable_name(const std::string& path, pid_t pid, int n) {
    std::string::size_type slash = path.rfind('/');
    return path.substr(0, slash + 1) + "." + path.substr(slash + 1) + "." + std::to_string(pid) + "." +
           std::to_string(n) + ".tmp";
}

// A child that saves once `go` gives it a byte, so the names it could be
// predicted to use can be planted first. A save that blocks is ended by
// SIGALRM after a deadline that no save comes near: the test then fails
// instead of hanging.
class SavingChild {
public:
    SavingChild(const std::string& path, int deadline_seconds) {
        int fds[2];
        if (::pipe(fds) != 0) return;
        m_pid = ::fork();
        if (m_pid == 0) {
            ::close(fds[1]);
            ::alarm(static_cast<unsigned>(deadline_seconds));
            char byte;
            while (::read(fds[0], &byte, 1) < 0 && errno == EINTR) {
            }
            save_value(path, "new");
            ::_exit(0);
        }
        ::close(fds[0]);
        m_go = fds[1];
    }
    ~SavingChild() {
        if (m_go >= 0) ::close(m_go);
    }
    SavingChild(const SavingChild&) = delete;
    SavingChild& operator=(const SavingChild&) = delete;

    pid_t pid() const { return m_pid; }
    void go() {
        ssize_t written = ::write(m_go, "g", 1);
        (void)written;
    }
    // 0 when the save ran to its end; 128 plus the signal that ended it.
    int wait() {
        int status = 0;
        ::waitpid(m_pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    pid_t m_pid = -1;
    int m_go = -1;
};

class PlantedFiles : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        path_ = settings_path(kType, kName);
    }
    std::string path_;
};

// The attack of a shared directory with no settings file yet: every name
// the save could be predicted to try is taken, and a FIFO keeps coming back
// at the file's path while the save runs. No round may block.
TEST_F(PlantedFiles, FifoPlantedWhileSavingNeverBlocksTheSave) {
    const int kRounds = 100;
    int hangs = 0, failed = 0;
    for (int round = 0; round < kRounds; ++round) {
        SavingChild child(path_, 10);
        ASSERT_GT(child.pid(), 0);
        for (int n = 1; n <= 64; ++n) write_file(predictable_name(path_, child.pid(), n), "");
        std::atomic<bool> saved{false};
        std::thread planter([&] {
            while (!saved) ::mkfifo(path_.c_str(), 0666);  // fails while the path is taken
        });
        child.go();
        int status = child.wait();
        saved = true;
        planter.join();
        if (status == 128 + SIGALRM) ++hangs;
        else if (status != 0) ++failed;
        for (const std::string& name : entries_of(db_->path())) ::unlink(db_->file(name).c_str());
    }
    EXPECT_EQ(hangs, 0) << "saves that blocked on the FIFO, of " << kRounds;
    EXPECT_EQ(failed, 0);
}

// A FIFO that someone reads is no settings file: the save writes nothing
// into it and fails.
TEST_F(PlantedFiles, FifoWithAReaderTakesNothing) {
    ASSERT_EQ(::mkfifo(path_.c_str(), 0666), 0);
    int reader = ::open(path_.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    EXPECT_FALSE(save_value(path_, "new"));
    char buffer[64];
    EXPECT_LE(::read(reader, buffer, sizeof buffer), 0) << "the text went into the FIFO";
    ::close(reader);
    struct stat st = {};
    ASSERT_EQ(::lstat(path_.c_str(), &st), 0);
    EXPECT_TRUE(S_ISFIFO(st.st_mode));
}

// Files at the 1,000 first names older saves of this process would have
// tried: the save still goes through a new file and a rename (the file's
// inode changes), and leaves the planted files alone.
TEST_F(PlantedFiles, PlantedTemporaryNamesKeepTheRenameRoad) {
    const int kPlanted = 1000;
    for (int n = 1; n <= kPlanted; ++n) write_file(predictable_name(path_, ::getpid(), n), "planted");
    for (const bool file_there : {true, false}) {
        SCOPED_TRACE(file_there ? "a file to replace" : "no file yet");
        if (file_there) write_file(path_, kOldText);
        ino_t before = inode_of(path_);
        ASSERT_TRUE(save_value(path_, "new"));
        EXPECT_EQ(read_file(path_), value_text("new"));
        if (file_there) {
            EXPECT_NE(inode_of(path_), before) << "written in place";
        }
        EXPECT_EQ(entries_of(db_->path()).size(), static_cast<std::size_t>(kPlanted) + 1);
        for (int n = 1; n <= kPlanted; n += 111) EXPECT_EQ(read_file(predictable_name(path_, ::getpid(), n)), "planted");
        ::unlink(path_.c_str());
    }
}

// The name a save gives its new file carries 16 random hexadecimal digits
// after the PID: two saves never take the same one, so nobody can tell it
// ahead. The names are seen as the directory reports what is made in it.
TEST_F(PlantedFiles, TemporaryNamesCarryARandomPart) {
    int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(watch, 0);
    ASSERT_GE(::inotify_add_watch(watch, db_->path().c_str(), IN_CREATE), 0);
    ASSERT_TRUE(save_value(path_, "1"));
    ASSERT_TRUE(save_value(path_, "2"));
    std::vector<std::string> made;
    alignas(struct inotify_event) char buffer[4096];
    for (ssize_t n; (n = ::read(watch, buffer, sizeof buffer)) > 0;) {
        for (char* at = buffer; at < buffer + n;) {
            auto* event = reinterpret_cast<struct inotify_event*>(at);
            if (event->len > 0) made.push_back(event->name);
            at += sizeof(struct inotify_event) + event->len;
        }
    }
    ::close(watch);
    ASSERT_EQ(made.size(), 2u);
    const std::string start = "." + fs::path(path_).filename().string() + "." + std::to_string(::getpid()) + ".";
    const std::regex kRest("[0-9a-f]{16}\\.tmp");
    for (const std::string& name : made) {
        EXPECT_EQ(name.compare(0, start.size(), start), 0) << name;
        EXPECT_TRUE(std::regex_match(name.substr(std::min(start.size(), name.size())), kRest)) << name;
    }
    EXPECT_NE(made[0], made[1]);
}

}  // namespace
