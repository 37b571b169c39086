// Saving the settings file when things go wrong: a file that cannot be
// read, a write that fails part-way, read-only files, links, permissions,
// a process killed mid-save and two processes saving at once. Whatever
// happens, the file on disk is the old one or the new one, byte for byte,
// and no temporary file is left behind by a save that ran to its end.
#include "support/test_support.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <set>

#include <pwd.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace rpltest;
namespace fs = std::filesystem;

namespace {

const RDB_REPORT_TYPE kType = RDB_REPORT_TIMING;
const char* const kName = "timing";

// Not what the library would write (a stray line, unsorted keys), so that
// any rewrite of it shows.
const std::string kOldText = "stray line\n[||R||X]\nPAGE_ORIENTATION=0\nOUTPUT_SECTION=1\n";

class FaultInjection : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        auto* root = new RDB_FOLDER_OBJECT("R");
        root->add(new RDB_TEXT_OBJECT("X", false));
        root->add(new RDB_TABLE_OBJECT("T", 3, 1));
        root->add(new RDB_CHART_TABLE_OBJECT("C", 1));
        install_report(kType, root);
        path_ = settings_path(kType, kName);
        base_ = fs::path(path_).filename().string();
    }

    std::vector<std::string> db_entries() const { return entries(db_->path()); }

    static std::vector<std::string> entries(const std::string& dir) {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(dir)) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string path_;  // the report's settings file
    std::string base_;  // its name in the database directory
};

const struct passwd& nobody() {
    static const struct passwd* p = ::getpwnam("nobody");
    return *p;
}

struct stat stat_of(const std::string& path) {
    struct stat st = {};
    ::lstat(path.c_str(), &st);
    return st;
}
mode_t mode_of(const std::string& path) { return stat_of(path).st_mode & 07777; }
uid_t owner_of(const std::string& path) { return stat_of(path).st_uid; }

// Saves a store of `sections` blocks, each with the two base keys, straight
// through the settings-file object; returns write_to_disk's result.
bool save_store(const std::string& path, int sections, const char* mark) {
    RPL_REPORT_SETTINGS_FILE file;
    file.m_filename = S(path);
    for (int i = 0; i < sections; ++i) {
        string name;
        gen_sprintf(&name, "||R||section %05d", i);
        file.set_value_str(name, "OUTPUT_SECTION", mark);
        file.set_value_str(name, "PAGE_ORIENTATION", "0");
    }
    return file.write_to_disk();
}

// What save_store writes.
std::string store_text(int sections, const char* mark) {
    std::string text;
    for (int i = 0; i < sections; ++i) {
        char header[64];
        std::snprintf(header, sizeof header, "[||R||section %05d]\n", i);
        text += header + std::string("OUTPUT_SECTION=") + mark + "\nPAGE_ORIENTATION=0\n";
    }
    return text;
}

// A section operation on a TOC just built: it loads the settings file, and
// saves it when the load succeeded.
void on_fresh_toc(const char* path, const std::function<void(RPL_REPORT_SECTION&)>& operation) {
    RPL_REPORT_TOC toc(kType, S(kName));
    toc.generate_toc(true);
    operation(*toc.section_exists(S(path)));
}

}  // namespace

TEST_F(FaultInjection, SaveThatFailsPartWayKeepsTheOldFile) {
    // In the child every write past 16 bytes fails with EFBIG (SIGXFSZ is
    // ignored), so each save below breaks off after its first bytes.
    auto with_small_file_size_limit = [](const std::function<bool()>& body) {
        pid_t pid = ::fork();
        if (pid == 0) {
            ::signal(SIGXFSZ, SIG_IGN);
            struct rlimit limit = {16, 16};
            ::_exit(::setrlimit(RLIMIT_FSIZE, &limit) == 0 && body() ? 0 : 1);
        }
        int status = 0;
        ::waitpid(pid, &status, 0);
        return status;
    };
    const std::function<bool(const std::string&)> direct_save = [](const std::string& path) {
        return save_store(path, 40, "1");  // a plain save reports only whether the file could be opened
    };
    const std::function<bool(const std::string&)> marking = [](const std::string&) {
        on_fresh_toc("||R", [](RPL_REPORT_SECTION& root) { root.set_marked_for_output(false); });
        return true;
    };
    // After each case the file holds what it held before, or is still
    // absent; only a save with nothing to write (the table's column save
    // of an empty store) completes, and it writes an empty file.
    const struct {
        const char* name;
        bool file_before;
        std::function<bool(const std::string&)> save;
        std::optional<std::string> after;
    } cases[] = {
        {"direct save over an old file", true, direct_save, kOldText},
        {"direct save of a new file", false, direct_save, std::nullopt},
        {"marking over an old file", true, marking, kOldText},
        {"marking without a file", false, marking, std::string()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.file_before) write_file(path_, kOldText);
        EXPECT_EQ(with_small_file_size_limit([&] { return c.save(path_); }), 0);
        if (c.after) {
            EXPECT_EQ(read_file(path_), *c.after);
            EXPECT_EQ(db_entries(), std::vector<std::string>{base_}) << "the temporary files are removed";
        } else {
            EXPECT_EQ(db_entries(), std::vector<std::string>{}) << "neither the file nor a temporary one";
        }
        fs::remove(path_);
    }
}

TEST_F(FaultInjection, SettingsFileItsUserMayNotWriteIsLeftAsItIs) {
    ASSERT_EQ(::chmod(db_->path().c_str(), 0777), 0) << "the directory itself would allow a rename";
    const struct {
        const char* name;
        uid_t owner;
        mode_t mode;
    } cases[] = {
        {"read-only for its owner", nobody().pw_uid, 0444},
        {"another user's file", 0, 0644},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        write_file(path_, kOldText);
        ASSERT_EQ(::chown(path_.c_str(), c.owner, c.owner == 0 ? 0 : nobody().pw_gid), 0);
        ASSERT_EQ(::chmod(path_.c_str(), c.mode), 0);
        EXPECT_EQ(run_as_nobody([&] {
                      RPL_REPORT_SETTINGS_FILE file;
                      file.m_filename = S(path_);
                      bool loaded = file.read_from_disk();
                      file.set_value_str("||R||X", "OUTPUT_SECTION", "0");
                      bool saved = file.write_to_disk();
                      on_fresh_toc("||R||X", [](RPL_REPORT_SECTION& x) { x.set_marked_for_output(false); });
                      return loaded && !saved && file.m_sections.empty();
                  }),
                  0)
            << "loads, but write_to_disk is false and empties the store";
        EXPECT_EQ(read_file(path_), kOldText);
        EXPECT_EQ(mode_of(path_), c.mode);
        EXPECT_EQ(owner_of(path_), c.owner);
        EXPECT_EQ(db_entries(), std::vector<std::string>{base_});
        fs::remove(path_);
    }
}

TEST_F(FaultInjection, SymbolicLinkStaysAndItsTargetReceivesTheText) {
    const std::string elsewhere = db_->file("elsewhere");
    fs::create_directory(elsewhere);
    const std::string real = elsewhere + "/real.rplset";
    const std::string expected = store_text(3, "0");
    const struct {
        const char* name;
        std::vector<std::pair<std::string, std::string>> links;  // link -> what it points to
        bool target_before;
    } cases[] = {
        {"absolute link", {{path_, real}}, true},
        {"relative link", {{path_, "elsewhere/real.rplset"}}, true},
        {"link to a link", {{path_, "middle"}, {db_->file("middle"), real}}, true},
        {"dangling link", {{path_, "elsewhere/real.rplset"}}, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.target_before) write_file(real, kOldText);
        for (const auto& link : c.links) fs::create_symlink(link.second, link.first);

        EXPECT_TRUE(save_store(path_, 3, "0"));

        for (const auto& link : c.links) {
            EXPECT_TRUE(fs::is_symlink(link.first)) << link.first;
            EXPECT_EQ(fs::read_symlink(link.first).string(), link.second);
        }
        EXPECT_EQ(read_file(real), expected);
        EXPECT_EQ(entries(elsewhere), std::vector<std::string>{"real.rplset"});
        for (const auto& link : c.links) fs::remove(link.first);
        fs::remove(real);
        EXPECT_EQ(db_entries(), std::vector<std::string>{"elsewhere"});
    }
}

TEST_F(FaultInjection, DeviceBehindALinkIsWrittenToNotReplaced) {
    const std::string device = db_->file("null-device");
    if (::mknod(device.c_str(), S_IFCHR | 0666, makedev(1, 3)) != 0) GTEST_SKIP() << "cannot make a device node here";
    fs::create_symlink(device, path_);
    save_store(path_, 2, "1");
    struct stat st;
    ASSERT_EQ(::lstat(device.c_str(), &st), 0);
    EXPECT_TRUE(S_ISCHR(st.st_mode)) << "the device node itself stays";
    EXPECT_EQ(db_entries(), (std::vector<std::string>{"null-device", base_}));
}

TEST_F(FaultInjection, SavingKeepsPermissionBitsAndGivesNewFilesTheUmasks) {
    for (mode_t mode : {0640, 0604, 0750, 0400}) {
        SCOPED_TRACE(mode);
        write_file(path_, kOldText);
        ASSERT_EQ(::chmod(path_.c_str(), mode), 0);
        EXPECT_TRUE(save_store(path_, 2, "1")) << "root may write any file";
        EXPECT_EQ(read_file(path_), store_text(2, "1"));
        EXPECT_EQ(mode_of(path_), mode);
        EXPECT_EQ(db_entries(), std::vector<std::string>{base_});
        fs::remove(path_);
    }
    const std::pair<mode_t, mode_t> umasks[] = {{022, 0644}, {077, 0600}, {0, 0666}};
    for (const auto& u : umasks) {
        SCOPED_TRACE(u.first);
        mode_t previous = ::umask(u.first);
        bool saved = save_store(path_, 2, "1");
        ::umask(previous);
        EXPECT_TRUE(saved);
        EXPECT_EQ(mode_of(path_), u.second);
        fs::remove(path_);
    }
}

TEST_F(FaultInjection, SavingKeepsTheOwner) {
    ASSERT_EQ(::chmod(db_->path().c_str(), 0777), 0);
    // Root replaces the file and hands it back to its owner.
    write_file(path_, kOldText);
    ASSERT_EQ(::chown(path_.c_str(), nobody().pw_uid, nobody().pw_gid), 0);
    ASSERT_EQ(::chmod(path_.c_str(), 0640), 0);
    EXPECT_TRUE(save_store(path_, 2, "1"));
    EXPECT_EQ(owner_of(path_), nobody().pw_uid);
    EXPECT_EQ(mode_of(path_), 0640u);
    EXPECT_EQ(read_file(path_), store_text(2, "1"));

    // Another user may not hand a new file to root: the file is written in
    // place rather than taken from its owner.
    ASSERT_EQ(::chown(path_.c_str(), 0, 0), 0);
    ASSERT_EQ(::chmod(path_.c_str(), 0666), 0);
    EXPECT_EQ(run_as_nobody([&] { return save_store(path_, 3, "0"); }), 0);
    EXPECT_EQ(owner_of(path_), 0u);
    EXPECT_EQ(mode_of(path_), 0666u);
    EXPECT_EQ(read_file(path_), store_text(3, "0"));
    EXPECT_EQ(db_entries(), std::vector<std::string>{base_});
}

TEST_F(FaultInjection, DirectoryWithoutWritePermissionFallsBackToWritingInPlace) {
    ASSERT_EQ(::chmod(db_->path().c_str(), 0755), 0) << "nobody may not create files here";
    write_file(path_, kOldText);
    ASSERT_EQ(::chown(path_.c_str(), nobody().pw_uid, nobody().pw_gid), 0);
    EXPECT_EQ(run_as_nobody([&] {
                  on_fresh_toc("||R||X", [](RPL_REPORT_SECTION& x) { x.internal_set_marked_for_output(false); });
                  return save_store(path_ + ".direct", 1, "1") == false;  // no file, and none can be made
              }),
              0);
    EXPECT_EQ(read_file(path_), "[||R||X]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");
    EXPECT_EQ(db_entries(), std::vector<std::string>{base_});
}

TEST_F(FaultInjection, ProcessKilledWhileSavingLeavesTheOldOrTheNewFile) {
    // Few sections with long values: cheap to build, long to write, so that
    // many kills land inside the write.
    const std::size_t value_size = 1 << 20;
    auto save_big = [&](char fill) {
        RPL_REPORT_SETTINGS_FILE file;
        file.m_filename = S(path_);
        for (const char* section : {"||R||A", "||R||B"}) file.set_value_str(section, "V", string(value_size, fill));
        return file.write_to_disk();
    };
    auto big_text = [&](char fill) {
        const std::string value(value_size, fill);
        return "[||R||A]\nV=" + value + "\n[||R||B]\nV=" + value + "\n";
    };
    const std::string old_text = big_text('o');
    const std::string new_text = big_text('n');
    int rounds = 12;
    if (const char* env = std::getenv("RPL_KILL_LOOP_ROUNDS")) rounds = std::max(1, std::atoi(env));
    std::random_device seed_source;
    const unsigned seed = seed_source();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);

    write_file(path_, old_text);
    for (int round = 0; round < rounds; ++round) {
        // The child reports every finished save; the kill comes at a random
        // moment of a save cycle as long as the one between its first two.
        int report[2];
        ASSERT_EQ(::pipe(report), 0);
        pid_t pid = ::fork();
        if (pid == 0) {
            ::close(report[0]);
            for (int i = 0;; ++i) {
                save_big(i % 2 ? 'o' : 'n');
                if (::write(report[1], "s", 1) != 1) ::_exit(1);
            }
        }
        ::close(report[1]);
        char byte;
        ASSERT_EQ(::read(report[0], &byte, 1), 1);
        auto first = std::chrono::steady_clock::now();
        ASSERT_EQ(::read(report[0], &byte, 1), 1);
        auto cycle = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - first);
        ::usleep(static_cast<useconds_t>(std::uniform_int_distribution<long>(0, cycle.count())(random)));
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
        ::close(report[0]);

        std::string text = read_file(path_);
        ASSERT_TRUE(text == old_text || text == new_text) << "round " << round << ": a torn file of " << text.size()
                                                          << " bytes";
        RPL_REPORT_SETTINGS_FILE file;
        file.m_filename = S(path_);
        ASSERT_TRUE(file.read_from_disk());
        EXPECT_EQ(file.m_sections.size(), 2u);
    }
    // A killed save cannot clean up after itself; its temporary file may
    // stay beside the settings file, but nothing else does.
    for (const std::string& name : db_entries()) {
        if (name == base_) continue;
        EXPECT_EQ(name.compare(0, base_.size() + 1, "." + base_), 0) << name;
    }
}

TEST_F(FaultInjection, TwoProcessesMarkingOneReportLeaveAWholeFile) {
    // Each process flips its own section's mark and orientation together, so
    // a whole block always holds two equal values; the last flip of each is
    // "0" and "0". The initial file holds both blocks as "1" and "1".
    const int flips = 200;  // even: the last flip unmarks
    const std::string x_on = "[||R||X]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=1\n";
    const std::string x_off = "[||R||X]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n";
    const std::string c_on = "[||R||C]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=1\n";
    const std::string c_off = "[||R||C]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n";
    write_file(path_, c_on + x_on);

    // The base operation saves the two keys in one go (a chart's own save
    // would add a key in a second one).
    auto flipper = [&](const char* section_path) {
        pid_t pid = ::fork();
        if (pid != 0) return pid;
        RPL_REPORT_TOC toc(kType, S(kName));
        toc.generate_toc(true);
        RPL_REPORT_SECTION& section = *toc.section_exists(S(section_path));
        for (int i = 1; i <= flips; ++i) {
            section.m_page_orientation = i % 2 == 1 ? 2 : 1;
            section.m_marked_for_output = i % 2 == 1;
            section.m_settings_changed = true;
            section.RPL_REPORT_SECTION::write_acf_settings();
        }
        ::_exit(0);
    };
    for (pid_t pid : {flipper("||R||X"), flipper("||R||C")}) {
        int status = -1;
        ::waitpid(pid, &status, 0);
        EXPECT_EQ(status, 0);
    }

    // The last writer's block holds its last flip; the other's holds one of
    // its flips, whole (its last one may have been lost to the last writer).
    const std::set<std::string> allowed = {c_off + x_off, c_on + x_off, c_off + x_on};
    EXPECT_EQ(allowed.count(read_file(path_)), 1u) << read_file(path_);
    EXPECT_EQ(db_entries(), std::vector<std::string>{base_});
}
