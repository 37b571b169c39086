// Saving the settings file when things go wrong: a full disk or the file
// size limit on every way of saving, read-only files, links, permissions,
// owners, extended attributes, a process killed mid-save and two processes
// saving at once. Whatever happens, the file on disk is the old one or the
// new one, byte for byte, and no temporary file is left behind by a save
// that ran to its end; only a kill during a save in place may leave new
// bytes followed by old ones.
#include "support/test_support.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <tuple>

#include <pwd.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <sys/xattr.h>
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
        root->add(new RDB_CHART_TABLE_OBJECT("C", 1));
        install_report(kType, root);
        path_ = settings_path(kType, kName);
        base_ = fs::path(path_).filename().string();
    }
    std::vector<std::string> db_entries() const { return entries_of(db_->path()); }
    void kill_while_saving(const char* way, bool in_place);

    std::string path_;  // the report's settings file
    std::string base_;  // its name in the database directory
};

const struct passwd& nobody() { return *::getpwnam("nobody"); }
struct stat stat_of(const std::string& path) {
    struct stat st = {};
    ::lstat(path.c_str(), &st);
    return st;
}
mode_t mode_of(const std::string& path) { return stat_of(path).st_mode & 07777; }

// ---- Every way of saving, with and without room ------------------------------------

// What a save of two blocks holding `value` writes, straight through the
// settings-file object.
std::string value_text(const std::string& value) { return "[||R||A]\nV=" + value + "\n[||R||B]\nV=" + value + "\n"; }

bool save_value(const std::string& path, const std::string& value) {
    RPL_REPORT_SETTINGS_FILE file;
    file.m_filename = to_rpl(path);
    for (const char* section : {"||R||A", "||R||B"}) file.set_value_str(section, "V", to_rpl(value));
    return file.write_to_disk();
}

// A file of `size` bytes the library would not write, so a rewrite shows.
std::string old_text(std::size_t size) {
    std::string text = kOldText + "PAD=";
    text.resize(size - 1, 'o');
    return text + "\n";
}

// The rename, and the three ways that write the file in place. Each
// prepares the old file at `file` in `dir` and says what else the directory
// holds.
struct SAVE_WAY {
    const char* name;
    bool in_place;
    bool as_nobody;
    std::function<void(const std::string& dir, const std::string& file)> prepare;
};

const SAVE_WAY kWays[] = {
    {"rename", false, false, [](const std::string&, const std::string&) {}},
    {"second hard link", true, false,
     [](const std::string& dir, const std::string& file) { ASSERT_EQ(::link(file.c_str(), (dir + "/link").c_str()), 0); }},
    {"directory its user may not write", true, true,
     [](const std::string& dir, const std::string& file) {
         ASSERT_EQ(::chown(file.c_str(), nobody().pw_uid, nobody().pw_gid), 0);
         ASSERT_EQ(::chmod(dir.c_str(), 0755), 0);
     }},
    {"owner its user cannot keep", true, true,
     [](const std::string&, const std::string& file) { ASSERT_EQ(::chmod(file.c_str(), 0666), 0); }},
};

struct ROOM {
    const char* name;
    std::size_t old_size, new_size;
    rlim_t size_limit;  // RLIM_INFINITY: none
    bool fits;          // the new text is saved
};

// Saves a text of about room.new_size bytes over a file of room.old_size bytes in
// `dir`, the way `way` has it, with SIGXFSZ ignored and the size limit set.
// Expects the new text, or the old one where there is no room, byte for
// byte, and no other file in `dir` than before. Empties `dir` afterwards.
void save_and_check(const std::string& dir, const SAVE_WAY& way, const ROOM& room,
                    const std::function<void()>& fill_disk = {}) {
    SCOPED_TRACE(std::string(way.name) + ", " + room.name);
    const std::string file = dir + "/settings.rplset";
    const std::string old = old_text(room.old_size), value(room.new_size / 2, 'n');
    ASSERT_EQ(::chmod(dir.c_str(), 0777), 0);
    write_file(file, old);
    way.prepare(dir, file);
    if (fill_disk) fill_disk();
    const std::vector<std::string> names = entries_of(dir);
    const ino_t inode = stat_of(file).st_ino;

    EXPECT_EQ(run_in_child(
                  [&] {
                      ::signal(SIGXFSZ, SIG_IGN);
                      struct rlimit limit = {room.size_limit, room.size_limit};
                      if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) return false;
                      save_value(file, value);
                      return true;
                  },
                  way.as_nobody),
              0);
    const std::string expected = room.fits ? value_text(value) : old;
    const std::string text = read_file(file);
    EXPECT_TRUE(text == expected) << text.size() << " bytes, not " << expected.size();
    const bool same_file = stat_of(file).st_ino == inode;
    EXPECT_EQ(same_file, way.in_place || !room.fits) << "in place, or replaced";
    if (file_exists(dir + "/link")) {
        EXPECT_TRUE(read_file(dir + "/link") == text) << "both names show one file";
    }
    EXPECT_EQ(entries_of(dir), names) << "no temporary file is left";

    ::chmod(dir.c_str(), 0777);
    for (const std::string& name : entries_of(dir)) fs::remove(dir + "/" + name);
}

// Values of every extended attribute the file has, by name.
std::map<std::string, std::string> attributes(const std::string& path) {
    std::map<std::string, std::string> out;
    char names[4096];
    ssize_t size = ::listxattr(path.c_str(), names, sizeof names);
    for (const char* name = names; size > 0 && name < names + size; name += std::strlen(name) + 1) {
        char value[4096];
        ssize_t length = ::getxattr(path.c_str(), name, value, sizeof value);
        out[name] = std::string(value, length > 0 ? static_cast<std::size_t>(length) : 0);
    }
    return out;
}

// An access ACL in the kernel's form: the owner, the user "nobody", the
// group, a mask and others.
std::string acl_giving_nobody_write() {
    struct ENTRY {
        std::uint16_t tag, perm;
        std::uint32_t id;
    };
    const std::uint32_t version = 2;
    const ENTRY entries[] = {{0x01, 6, ~0u}, {0x02, 6, nobody().pw_uid}, {0x04, 4, ~0u}, {0x10, 6, ~0u}, {0x20, 4, ~0u}};
    std::string out(reinterpret_cast<const char*>(&version), sizeof version);
    for (const ENTRY& e : entries) out.append(reinterpret_cast<const char*>(&e), sizeof e);
    return out;
}

}  // namespace

TEST_F(FaultInjection, EveryWayOfSavingWritesTheTextOrWithinTheSizeLimitKeepsTheOldFile) {
    // Past the limit a write fails with EFBIG, also where it does not make
    // the file longer: then no reservation sees the limit.
    const ROOM kRooms[] = {
        {"no limit", 100, 5000, RLIM_INFINITY, true},
        {"limit between the old and the new length", 100, 5000, 1000, false},
        {"limit below both lengths, new text shorter", 5000, 3000, 16, false},
    };
    for (const SAVE_WAY& way : kWays)
        for (const ROOM& room : kRooms) save_and_check(db_->path(), way, room);
}

TEST_F(FaultInjection, EveryWayOfSavingOnAFullDiskKeepsTheOldFile) {
    // A small memory file system, mounted where only this process sees it.
    const std::string dir = db_->file("full");
    fs::create_directory(dir);
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tmpfs", dir.c_str(), "tmpfs", 0, "size=256k") != 0)
        GTEST_SKIP() << "no file system of a set size can be mounted here: " << std::strerror(errno);
    // Every block taken but those the old file holds.
    for (const SAVE_WAY& way : kWays)
        save_and_check(dir, way, {"full disk", 100, 64 * 1024, RLIM_INFINITY, false}, [&] { fill_up(dir + "/filler"); });
    ::umount2(dir.c_str(), MNT_DETACH);
}

TEST_F(FaultInjection, ExtendedAttributesAndTheAclComeAlongOrTheFileIsWrittenInPlace) {
    write_file(path_, kOldText);
    if (::setxattr(path_.c_str(), "user.rpl", "kept", 4, 0) != 0)
        GTEST_SKIP() << "no extended attributes on " << db_->path() << ": " << std::strerror(errno);
    const std::string acl = acl_giving_nobody_write();
    const bool with_acl = ::setxattr(path_.c_str(), "system.posix_acl_access", acl.data(), acl.size(), 0) == 0;
    const auto before = attributes(path_);
    ino_t inode = stat_of(path_).st_ino;
    EXPECT_TRUE(save_value(path_, "1"));
    EXPECT_EQ(read_file(path_), value_text("1"));
    EXPECT_NE(stat_of(path_).st_ino, inode) << "replaced";
    EXPECT_EQ(attributes(path_), before);
    EXPECT_EQ(before.count("system.posix_acl_access"), with_acl ? 1u : 0u);

    // One its user may read but not set: kept by writing in place.
    ASSERT_EQ(::chmod(db_->path().c_str(), 0777), 0);
    ASSERT_EQ(::chown(path_.c_str(), nobody().pw_uid, nobody().pw_gid), 0);
    if (::setxattr(path_.c_str(), "security.rpl", "root's", 6, 0) != 0)
        GTEST_SKIP() << "no security attributes on " << db_->path() << ": " << std::strerror(errno);
    const auto owned = attributes(path_);
    inode = stat_of(path_).st_ino;
    EXPECT_EQ(run_as_nobody([&] { return save_value(path_, "0"); }), 0);
    EXPECT_EQ(read_file(path_), value_text("0"));
    EXPECT_EQ(stat_of(path_).st_ino, inode) << "written in place";
    EXPECT_EQ(attributes(path_), owned);
    EXPECT_EQ(db_entries(), std::vector<std::string>{base_});
}

TEST_F(FaultInjection, SettingsFileItsUserMayNotWriteIsLeftAsItIs) {
    ASSERT_EQ(::chmod(db_->path().c_str(), 0777), 0) << "the directory itself would allow a rename";
    // A file read-only for its owner, and another user's file.
    for (const auto& [owner, mode] : {std::pair<uid_t, mode_t>{nobody().pw_uid, 0444}, {0, 0644}}) {
        SCOPED_TRACE(owner);
        write_file(path_, kOldText);
        ASSERT_EQ(::chown(path_.c_str(), owner, owner == 0 ? 0 : nobody().pw_gid), 0);
        ASSERT_EQ(::chmod(path_.c_str(), mode), 0);
        EXPECT_EQ(run_as_nobody([&] {
                      RPL_REPORT_SETTINGS_FILE file;
                      file.m_filename = to_rpl(path_);
                      bool loaded = file.read_from_disk();
                      file.set_value_str("||R||X", "OUTPUT_SECTION", "0");
                      bool saved = file.write_to_disk();
                      RPL_REPORT_TOC toc(kType, to_rpl(kName));  // a load, and saves after it
                      toc.generate_toc(true);
                      toc.section_exists("||R||X")->set_marked_for_output(false);
                      return loaded && !saved && file.m_sections.empty();
                  }),
                  0)
            << "loads, but write_to_disk is false and empties the store";
        EXPECT_EQ(read_file(path_), kOldText);
        EXPECT_EQ(mode_of(path_), mode);
        EXPECT_EQ(stat_of(path_).st_uid, owner);
        EXPECT_EQ(db_entries(), std::vector<std::string>{base_});
        fs::remove(path_);
    }
    // No file yet, and none may be made in the directory.
    ASSERT_EQ(::chmod(db_->path().c_str(), 0755), 0);
    EXPECT_EQ(run_as_nobody([&] { return !save_value(path_, "1"); }), 0);
    EXPECT_EQ(db_entries(), std::vector<std::string>{});
}

TEST_F(FaultInjection, SymbolicLinksStayAndTheirTargetReceivesTheText) {
    // A relative link to an absolute one, which leads out of the directory.
    const std::string elsewhere = db_->file("elsewhere");
    const std::string real = elsewhere + "/real.rplset";
    fs::create_directory(elsewhere);
    write_file(real, kOldText);
    fs::create_symlink("middle", path_);
    fs::create_symlink(real, db_->file("middle"));
    EXPECT_TRUE(save_value(path_, "0"));
    EXPECT_EQ(fs::read_symlink(path_).string(), "middle");
    EXPECT_EQ(fs::read_symlink(db_->file("middle")).string(), real);
    EXPECT_EQ(read_file(real), value_text("0"));
    EXPECT_EQ(entries_of(elsewhere), std::vector<std::string>{"real.rplset"});
    EXPECT_EQ(db_entries(), (std::vector<std::string>{"elsewhere", "middle", base_}));

    // A device behind a link is written to, not replaced.
    const std::string device = db_->file("null-device");
    if (::mknod(device.c_str(), S_IFCHR | 0666, makedev(1, 3)) != 0) GTEST_SKIP() << "cannot make a device node";
    fs::remove(path_);
    fs::create_symlink(device, path_);
    save_value(path_, "1");
    EXPECT_TRUE(S_ISCHR(stat_of(device).st_mode));
    EXPECT_EQ(fs::read_symlink(path_).string(), device);
    EXPECT_EQ(db_entries(), (std::vector<std::string>{"elsewhere", "middle", "null-device", base_}));
}

// A link in the settings file's place is followed only when it is the
// saving user's or the directory owner's (the kernel's rule for sticky
// directories, applied in every directory). Another user's link fails the
// save: nothing is written where it leads and nothing is created there.
TEST_F(FaultInjection, LinksOfAnotherUserInTheFilesPlaceAreNotFollowed) {
    // Links are made by root or by "nobody" in a directory owned by root or
    // by "nobody", and lead to `victim` (root's file, writable by nobody)
    // or to `absent`; then root or "nobody" saves.
    const std::string elsewhere = db_->file("elsewhere");
    const std::string victim = elsewhere + "/victim", absent = elsewhere + "/absent";
    const struct {
        const char* name;
        bool nobodys_directory;
        mode_t directory_mode;
        bool nobody_saves;
        // Each link: who makes it, its name in the directory, what it holds.
        std::vector<std::tuple<bool, const char*, std::string>> links;
        bool followed;
    } kCases[] = {
        {"another user's link", false, 0777, false, {{true, "settings", victim}}, false},
        {"another user's link, sticky directory", false, 01777, false, {{true, "settings", victim}}, false},
        {"another user's dangling link", false, 0777, false, {{true, "settings", absent}}, false},
        {"own link to another user's link", false, 0777, false, {{false, "settings", "middle"}, {true, "middle", victim}},
         false},
        {"another user's link in the saver's own directory", true, 0777, true, {{false, "settings", victim}}, false},
        {"own link", false, 0777, false, {{false, "settings", victim}}, true},
        {"own link of another user", false, 0777, true, {{true, "settings", victim}}, true},
        {"own dangling link", false, 0777, false, {{false, "settings", absent}}, true},
        {"the directory owner's link", true, 0777, false, {{true, "settings", victim}}, true},
        {"the directory owner's link, saved by another user", false, 0777, true, {{false, "settings", victim}}, true},
    };
    ASSERT_EQ(::chmod(db_->path().c_str(), 0755), 0);
    fs::create_directory(elsewhere);
    ASSERT_EQ(::chmod(elsewhere.c_str(), 0777), 0);
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        const std::string dir = db_->file("db");
        fs::create_directory(dir);
        ASSERT_EQ(::chown(dir.c_str(), c.nobodys_directory ? nobody().pw_uid : 0, 0), 0);
        ASSERT_EQ(::chmod(dir.c_str(), c.directory_mode), 0);
        write_file(victim, kOldText);
        ASSERT_EQ(::chmod(victim.c_str(), 0666), 0);
        for (const auto& [by_nobody, name, holds] : c.links) {
            const std::string link = dir + "/" + name;
            ASSERT_EQ(run_in_child([&] { return ::symlink(holds.c_str(), link.c_str()) == 0; }, by_nobody), 0);
            ASSERT_EQ(stat_of(link).st_uid, by_nobody ? nobody().pw_uid : 0u);
        }
        const std::vector<std::string> names = entries_of(dir);
        const std::string file = dir + "/settings";

        EXPECT_EQ(run_in_child([&] { return save_value(file, "1") == c.followed; }, c.nobody_saves), 0)
            << "the save says whether it wrote";
        const bool to_victim = std::get<2>(c.links.back()) == victim;
        EXPECT_EQ(read_file(victim), c.followed && to_victim ? value_text("1") : kOldText);
        EXPECT_EQ(file_exists(absent), c.followed && !to_victim);
        EXPECT_TRUE(fs::is_symlink(file)) << "the link stays";
        EXPECT_EQ(entries_of(dir), names);
        EXPECT_EQ(entries_of(elsewhere),
                  c.followed && !to_victim ? (std::vector<std::string>{"absent", "victim"})
                                           : std::vector<std::string>{"victim"});
        fs::remove_all(dir);
        fs::remove(absent);
    }
}

TEST_F(FaultInjection, SavingKeepsPermissionBitsAndOwnerAndGivesNewFilesTheUmasks) {
    ASSERT_EQ(::chmod(db_->path().c_str(), 0777), 0);
    for (mode_t mode : {0640, 0604, 0400, 0444}) {
        SCOPED_TRACE(mode);
        write_file(path_, kOldText);
        ASSERT_EQ(::chown(path_.c_str(), nobody().pw_uid, nobody().pw_gid), 0);
        ASSERT_EQ(::chmod(path_.c_str(), mode), 0);
        // Root may write any file and hand it back to its owner, but one
        // without a write bit is kept as it is, as for anyone else.
        bool writable = (mode & 0222) != 0;
        EXPECT_EQ(save_value(path_, "1"), writable);
        EXPECT_EQ(read_file(path_), writable ? value_text("1") : kOldText);
        EXPECT_EQ(mode_of(path_), mode);
        EXPECT_EQ(stat_of(path_).st_uid, nobody().pw_uid);
        EXPECT_EQ(db_entries(), std::vector<std::string>{base_});
    }
    fs::remove(path_);

    for (const auto& u : {std::pair<mode_t, mode_t>{022, 0644}, {077, 0600}}) {
        mode_t previous = ::umask(u.first);
        EXPECT_TRUE(save_value(path_, "1"));
        ::umask(previous);
        EXPECT_EQ(mode_of(path_), u.second) << "umask " << u.first;
        fs::remove(path_);
    }
}

// What a kill during a save in place can leave: new bytes then old ones
// from mid-line, NUL bytes where the file was being lengthened, a key or a
// header garbled at the junction. Such a file loads, and the next save
// writes what it loaded in the file's form: sorted, one line per key, no
// NUL bytes and no stray lines; a garbled key or header that parses as one
// stays as a key or a section of its own.
TEST_F(FaultInjection, TornFileLoadsAndTheNextSaveWritesItInTheFilesForm) {
    const std::string nuls(64, '\0');
    const struct {
        const char* what;
        std::string torn;
        std::string saved;  // after setting OUTPUT_SECTION=1 in ||R||X
    } kCases[] = {
        {"old tail from mid-line", "[||R||X]\nPAGE_ORIENTATION=2\nOUTPUT_SECTION=0\nATION=1\n[||R||Z]\nOUTPUT_SECTION=1\n",
         "[||R||X]\nATION=1\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=2\n[||R||Z]\nOUTPUT_SECTION=1\n"},
        {"NUL bytes after a cut line", "[||R||X]\nPAGE_ORIENTATION=2\nOUTPUT_SEC" + nuls,
         "[||R||X]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=2\n"},
        {"NUL bytes after whole lines", "[||R||Z]\nOUTPUT_SECTION=0\n" + nuls + "\n" + nuls,
         "[||R||X]\nOUTPUT_SECTION=1\n[||R||Z]\nOUTPUT_SECTION=0\n"},
        {"NUL bytes in a value", "[||R||X]\nPAGE_ORIENTATION=1" + nuls + "2\n",
         "[||R||X]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=1\n"},
        {"garbled key", "[||R||X]\nOUTPUT_SECTION=0\nPAGE_ORIENTOUTPUT_SECTION=1\n",
         "[||R||X]\nOUTPUT_SECTION=1\nPAGE_ORIENTOUTPUT_SECTION=1\n"},
        {"junk header", "[||R||X]\nOUTPUT_SECTION=0\n[||R||X]NTATION=1\nOUTPUT_SECTION=0\n",
         "[||R||X]\nOUTPUT_SECTION=1\n[||R||X]NTATION=1\nOUTPUT_SECTION=0\n"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        write_file(path_, c.torn);
        RPL_REPORT_SETTINGS_FILE file;
        file.m_filename = to_rpl(path_);
        ASSERT_TRUE(file.read_from_disk());
        file.set_value_str("||R||X", "OUTPUT_SECTION", "1");
        EXPECT_TRUE(file.write_to_disk());
        EXPECT_EQ(read_file(path_), c.saved);
    }
}

// The id of a process that has ended and been waited for.
pid_t ended_process() {
    pid_t pid = ::fork();
    if (pid == 0) ::_exit(0);
    ::waitpid(pid, nullptr, 0);
    return pid;
}

// A save removes what saves of the same file that were killed left beside
// it, and nothing else: not a running process's file, not another user's,
// not a link, not a directory, not a name that only looks alike.
TEST_F(FaultInjection, SaveRemovesTemporaryFilesThatKilledSavesLeft) {
    const std::string dead = std::to_string(ended_process());
    const std::string live = std::to_string(::getpid());
    const std::string mine = "." + base_ + ".";
    const struct {
        const char* what;
        std::string name;
        std::function<void(const std::string&)> make;
        bool removed;
    } kEntries[] = {
        {"ended process's", mine + dead + ".3.tmp", [](const std::string& p) { write_file(p, kOldText); }, true},
        {"ended process's, empty", mine + dead + ".12.tmp", [](const std::string& p) { write_file(p, ""); }, true},
        {"running process's", mine + live + ".3.tmp", [](const std::string& p) { write_file(p, kOldText); }, false},
        {"another user's",
         mine + dead + ".4.tmp",
         [](const std::string& p) {
             write_file(p, kOldText);
             ASSERT_EQ(::chown(p.c_str(), nobody().pw_uid, nobody().pw_gid), 0);
         },
         false},
        {"link", mine + dead + ".5.tmp", [](const std::string& p) { fs::create_symlink(p + ".target", p); }, false},
        {"link's target", mine + dead + ".5.tmp.target", [](const std::string& p) { write_file(p, ""); }, false},
        {"directory", mine + dead + ".6.tmp", [](const std::string& p) { fs::create_directory(p); }, false},
        {"another file's", ".other.rplset." + dead + ".3.tmp", [](const std::string& p) { write_file(p, ""); }, false},
    };
    const std::vector<std::string> kLookAlikes = {
        mine + dead + ".tmp",    mine + dead + ".3.tmp~", mine + dead + "x.3.tmp", mine + "-" + dead + ".3.tmp",
        mine + dead + ".3.TMP",  base_ + "." + dead + ".3.tmp", mine + "99999999999.3.tmp", mine + "0.3.tmp",
    };
    // A file to replace, none yet, and a file written in place.
    const struct {
        const char* name;
        std::function<void()> prepare;
    } kWaysOfSaving[] = {
        {"rename", [&] { write_file(path_, kOldText); }},
        {"new file", [] {}},
        {"in place", [&] {
             write_file(path_, kOldText);
             ASSERT_EQ(::link(path_.c_str(), db_->file("link").c_str()), 0);
         }},
    };
    for (const auto& way : kWaysOfSaving) {
        SCOPED_TRACE(way.name);
        way.prepare();
        std::vector<std::string> kept = entries_of(db_->path());
        for (const auto& e : kEntries) {
            e.make(db_->file(e.name));
            if (!e.removed) kept.push_back(e.name);
        }
        for (const std::string& name : kLookAlikes) {
            write_file(db_->file(name), "");
            kept.push_back(name);
        }
        if (!file_exists(path_)) kept.push_back(base_);
        std::sort(kept.begin(), kept.end());

        EXPECT_TRUE(save_value(path_, "1"));
        EXPECT_EQ(read_file(path_), value_text("1"));
        EXPECT_EQ(entries_of(db_->path()), kept);
        for (const std::string& name : entries_of(db_->path())) fs::remove_all(db_->file(name));
    }
}

// The time of the directory's last change, as a save sees it.
std::pair<long long, long> changed_at(const std::string& directory) {
    struct stat st;
    if (::stat(directory.c_str(), &st) != 0) return {-1, -1};
    return {static_cast<long long>(st.st_mtim.tv_sec), st.st_mtim.tv_nsec};
}

// A save skips its sweep only while nothing in the directory has changed
// since the process's last save of the file; a leftover that appears
// between two saves made in quick succession is therefore still removed by
// the second, and saves in a row keep removing the ones that follow.
TEST_F(FaultInjection, LeftoverPlantedBetweenQuickSavesIsStillRemoved) {
    const std::string mine = "." + base_ + ".";
    write_file(path_, kOldText);
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        ASSERT_TRUE(save_value(path_, std::to_string(round)));
        const auto before = changed_at(db_->path());
        const std::string leftover = db_->file(mine + std::to_string(ended_process()) + ".3.tmp");
        write_file(leftover, kOldText);
        // Where the file system keeps coarse times, a change within the
        // same tick as the save's leaves the time as it was: change the
        // directory again until its time shows it.
        while (changed_at(db_->path()) == before) {
            write_file(db_->file("nudge"), "");
            fs::remove(db_->file("nudge"));
        }
        EXPECT_TRUE(save_value(path_, std::to_string(round) + "x"));
        EXPECT_FALSE(file_exists(leftover));
        EXPECT_EQ(read_file(path_), value_text(std::to_string(round) + "x"));
    }
}

// Kills a process that saves over and over, at a random moment of a save,
// RPL_KILL_LOOP_ROUNDS times (12 by default). Every file left must be the
// old text or the new one; in place (a second hard link) it may also be the
// one overwritten by the other up to some byte, and those are counted.
// Prints "kill figures: WAY: T torn of N kills, L temporary files left, R
// after a save" for the kill loop.
void FaultInjection::kill_while_saving(const char* way, bool in_place) {
    // Few sections with long values: cheap to build, long to write, so that
    // many kills land inside the write.
    const std::string value_o(1 << 20, 'o'), value_n(1 << 20, 'n');
    const std::string old_text = value_text(value_o), new_text = value_text(value_n);
    // `first` overwritten by `second` from the start up to some byte.
    auto overwritten = [](const std::string& text, const std::string& first, const std::string& second) {
        std::size_t k = 0;
        while (k < text.size() && k < second.size() && text[k] == second[k]) ++k;
        return text.size() == first.size() && text.compare(k, std::string::npos, first, k, std::string::npos) == 0;
    };
    int rounds = 12;
    if (const char* env = std::getenv("RPL_KILL_LOOP_ROUNDS")) rounds = std::max(1, std::atoi(env));
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);

    write_file(path_, old_text);
    ASSERT_TRUE(!in_place || ::link(path_.c_str(), db_->file("link").c_str()) == 0);
    int torn = 0;
    for (int round = 0; round < rounds; ++round) {
        // The child reports every finished save; the kill comes at a random
        // moment of a save cycle as long as the one between its first two.
        int report[2];
        ASSERT_EQ(::pipe(report), 0);
        pid_t pid = ::fork();
        if (pid == 0) {
            ::close(report[0]);
            for (int i = 0;; ++i)
                if (!save_value(path_, i % 2 ? value_o : value_n) || ::write(report[1], "s", 1) != 1) ::_exit(1);
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

        const std::string text = read_file(path_);
        if (text == old_text || text == new_text) continue;
        ++torn;
        ASSERT_TRUE(in_place) << "round " << round << ": torn, " << text.size() << " bytes";
        ASSERT_TRUE(overwritten(text, old_text, new_text) || overwritten(text, new_text, old_text))
            << "round " << round << ": " << text.size() << " bytes, not the old text overwritten by the new";
    }
    // A killed save may leave its temporary file beside the settings file,
    // but nothing else, and the next save removes it (each round's saves
    // remove what the rounds before left).
    auto temporaries = [this] {
        int count = 0;
        for (const std::string& name : db_entries()) {
            bool temporary = name.compare(0, base_.size() + 1, "." + base_) == 0;
            EXPECT_TRUE(name == base_ || name == "link" || temporary) << name;
            count += temporary;
        }
        return count;
    };
    const int left = temporaries();
    EXPECT_LE(left, 1) << "only the last kill's";
    EXPECT_TRUE(save_value(path_, "saved"));
    const int left_after_a_save = temporaries();
    EXPECT_EQ(left_after_a_save, 0);
    std::printf("kill figures: %s: %d torn of %d kills, %d temporary files left, %d after a save\n", way, torn, rounds,
                left, left_after_a_save);
}

TEST_F(FaultInjection, ProcessKilledWhileSavingLeavesTheOldOrTheNewFile) { kill_while_saving("rename", false); }

TEST_F(FaultInjection, ProcessKilledWhileSavingInPlaceLeavesNewBytesThenOldOnes) {
    kill_while_saving("in place", true);
}

TEST_F(FaultInjection, TwoProcessesMarkingOneReportLeaveAWholeFile) {
    // Each process flips its own section's mark and orientation together,
    // so a whole block always holds two equal values; the last flip is 0.
    auto block = [](char section, char value) {
        return std::string("[||R||") + section + "]\nOUTPUT_SECTION=" + value + "\nPAGE_ORIENTATION=" + value + "\n";
    };
    write_file(path_, block('C', '1') + block('X', '1'));
    auto flipper = [&](const char* section_path) {
        pid_t pid = ::fork();
        if (pid != 0) return pid;
        RPL_REPORT_TOC toc(kType, to_rpl(kName));
        toc.generate_toc(true);
        RPL_REPORT_SECTION& section = *toc.section_exists(to_rpl(section_path));
        for (int i = 1; i <= 200; ++i) {
            section.m_page_orientation = i % 2 == 1 ? 2 : 1;
            section.m_marked_for_output = i % 2 == 1;
            section.m_settings_changed = true;
            section.RPL_REPORT_SECTION::write_acf_settings();  // the two keys in one save
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
    const std::set<std::string> allowed = {block('C', '0') + block('X', '0'), block('C', '1') + block('X', '0'),
                                           block('C', '0') + block('X', '1')};
    EXPECT_EQ(allowed.count(read_file(path_)), 1u) << read_file(path_);
    EXPECT_EQ(db_entries(), std::vector<std::string>{base_});
}
