#include "support/test_support.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace rpltest {

TempDir::TempDir() {
    std::string pattern = (fs::temp_directory_path() / "rpl-test-XXXXXX").string();
    char* made = ::mkdtemp(&pattern[0]);
    if (made == nullptr) std::abort();
    path_ = made;
}

TempDir::~TempDir() {
    std::error_code ec;
    // Give back any permission a test took away, so the tree can go.
    for (auto it = fs::recursive_directory_iterator(path_, ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec)) {
        if (!it->is_symlink(ec)) fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ec);
    }
    fs::remove_all(path_, ec);
}

std::string read_file(const std::string& path, bool* ok) {
    std::ifstream in(path, std::ios::binary);
    if (ok) *ok = static_cast<bool>(in);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void write_file(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

bool file_exists(const std::string& path) {
    std::error_code ec;
    return fs::exists(fs::symlink_status(path, ec));
}

std::vector<std::string> entries_of(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

void fill_up(const std::string& path) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::string block(4096, 'x');
    while (::write(fd, block.data(), block.size()) > 0) {
    }
    ::close(fd);
}

void install_report(RDB_REPORT_TYPE type, RDB_FOLDER_OBJECT* main_folder) {
    host_rdb_set_report(type, std::make_unique<RDB_REPORT>(main_folder));
}

RPL_REPORT_SECTION* find_section(RPL_REPORT_TOC& toc, const std::string& path) {
    return toc.section_exists(to_rpl(path));
}

std::vector<std::string> index_paths(const RPL_REPORT_TOC& toc) {
    std::vector<std::string> out;
    for (RPL_REPORT_SECTION* s : toc.m_section_index) out.push_back(to_std(s->m_rdb_path));
    return out;
}

std::vector<std::string> internal_error_conditions() {
    std::vector<std::string> out;
    for (const auto& e : host_message_log().internal_errors) out.push_back(e.condition);
    return out;
}

std::vector<std::string> debug_texts() {
    std::vector<std::string> out;
    for (const auto& t : host_message_log().debug_traces) out.push_back(t.text);
    return out;
}

bool become_nobody() {
    if (::geteuid() != 0) return true;
    struct passwd* nobody = ::getpwnam("nobody");
    return ::setgroups(0, nullptr) == 0 && ::setgid(nobody ? nobody->pw_gid : 65534) == 0 &&
           ::setuid(nobody ? nobody->pw_uid : 65534) == 0;
}

int run_in_child(const std::function<bool()>& body, bool as_nobody) {
    pid_t pid = ::fork();
    if (pid == 0) {
        ::alarm(60);
        if (as_nobody && !become_nobody()) ::_exit(3);
        ::_exit(body() ? 0 : 1);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void HostTest::SetUp() {
    db_ = std::make_unique<TempDir>();
    host_set_db_dir(db_->path());
    host_rdb_set_manager_enabled(true);
    host_rdb_remove_all_reports();
    host_rdb_reset_counts();
    host_clear_messages();
}

void HostTest::TearDown() {
    host_rdb_remove_all_reports();
    host_rdb_reset_counts();
    host_rdb_set_manager_enabled(true);
    host_set_db_dir(".");
    db_.reset();
}

std::string HostTest::settings_path(RDB_REPORT_TYPE type, const std::string& name) const {
    RPL_REPORT_TOC toc(type, to_rpl(name));
    return to_std(toc.get_settings_filename());
}

}  // namespace rpltest
