// Shared helpers of the test suites: a scratch database directory, file
// contents, report building through the stand-in database, and a fresh host
// state for every test.
#ifndef TESTS_SUPPORT_TEST_SUPPORT_H
#define TESTS_SUPPORT_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/host.h"
#include "host/host_strings.h"
#include "rpl/rpl.h"

namespace rpltest {

// A fresh directory under the system's temporary directory, removed with
// everything in it when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// Whole file content; `ok` is false when it could not be read.
std::string read_file(const std::string& path, bool* ok = nullptr);
void write_file(const std::string& path, const std::string& content);
bool file_exists(const std::string& path);
// The names in a directory, sorted.
std::vector<std::string> entries_of(const std::string& dir);
// Writes to `path` until its file system is full.
void fill_up(const std::string& path);

// Installs `main_folder` as the report of `type` in the stand-in manager.
void install_report(RDB_REPORT_TYPE type, RDB_FOLDER_OBJECT* main_folder);

// The section at an rdb path, or null.
RPL_REPORT_SECTION* find_section(RPL_REPORT_TOC& toc, const std::string& path);
// The rdb paths of a TOC's index, in order.
std::vector<std::string> index_paths(const RPL_REPORT_TOC& toc);

// Conditions of the internal errors logged since the last clear.
std::vector<std::string> internal_error_conditions();
// Texts of the debug traces logged since the last clear.
std::vector<std::string> debug_texts();

// In a child process that runs as root: becomes the user "nobody", without
// root's groups, so that file permissions bind. False when that failed.
bool become_nobody();
// Runs `body` in a child process, as the user "nobody" when `as_nobody` is
// set, so that file permissions bind even when the suite runs as root.
// Returns the child's exit status: 0 when `body` returned true, 128 plus
// the signal when it was killed (SIGALRM after a minute: it blocked).
int run_in_child(const std::function<bool()>& body, bool as_nobody = false);
inline int run_as_nobody(const std::function<bool()>& body) { return run_in_child(body, true); }

// A folder section that writes its name to `log` when it is destroyed, so
// a test can see which sections went and in what order.
class LoggedSection : public RPL_FOLDER {
public:
    LoggedSection(const std::string& name, std::vector<std::string>* log) : RPL_FOLDER(to_rpl(name)), log_(log) {}
    ~LoggedSection() override { log_->push_back(to_std(m_name)); }

private:
    std::vector<std::string>* log_;  // not owned
};

// Every test starts with a clean host: manager on and empty, counters and
// messages cleared, a scratch database directory.
class HostTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    std::string settings_path(RDB_REPORT_TYPE type, const std::string& name) const;

    std::unique_ptr<TempDir> db_;
};

}  // namespace rpltest

#endif
