// Any bytes as a report file of the command-line host: what the loader
// accepts is installed in the stand-in database and built into a TOC. The
// TOC must hold exactly the sections the report's tree calls for, in
// depth-first order with their rdb paths, the report must be given back,
// and marking a small tree must write a settings file that loads again.
// What rpl-toc shows of a rejected file or of a path is one clean line.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/host.h"
#include "host/host_strings.h"
#include "rpl/rpl.h"
#include "tools/core/report_json.h"
#include "tools/core/section_info.h"

namespace {

bool presented(int type) {
    switch (type) {
        case RDB_OBJECT_TYPE_FOLDER:
        case RDB_OBJECT_TYPE_TEXT:
        case RDB_OBJECT_TYPE_TABLE:
        case RDB_OBJECT_TYPE_CHART:
        case RDB_OBJECT_TYPE_EMBEDDED:
        case RDB_OBJECT_TYPE_CMP_SUMMARY:
        case RDB_OBJECT_TYPE_TABLE_2:
        case RDB_OBJECT_TYPE_GAUGES:
        case RDB_OBJECT_TYPE_TABLE_3: return true;
        default: return false;
    }
}

// The rdb paths a build must give, worked out from the tree on its own.
void expected_paths(RDB_FOLDER_OBJECT* folder, const std::string& path, std::vector<std::string>& out) {
    for (RDB_FOLDER_OBJECT::iterator it = folder->begin(); it != folder->end(); ++it) {
        RDB_OBJECT* child = *it;
        if (child == nullptr || !presented(child->get_type())) continue;
        std::string child_path = path + "||" + to_std(child->get_name());
        out.push_back(child_path);
        RDB_FOLDER_OBJECT* sub = child->get_type() == RDB_OBJECT_TYPE_FOLDER ? child->dynamic_cast_to_RDB_FOLDER_OBJECT() : nullptr;
        if (sub != nullptr) expected_paths(sub, child_path, out);
    }
}

// No control character: shown on a terminal, the text is one plain line.
bool one_clean_line(const std::string& text) {
    for (char c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return false;
    return true;
}

void check(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "report build broken: %s\n", what);
    std::abort();
}

// A scratch database directory on a memory file system when there is one.
void use_scratch_db_dir() {
    static bool done = [] {
        char pattern[] = "/dev/shm/rpl-fuzz-XXXXXX";
        char fallback[] = "/tmp/rpl-fuzz-XXXXXX";
        const char* dir = ::mkdtemp(pattern);
        if (dir == nullptr) dir = ::mkdtemp(fallback);
        if (dir == nullptr) std::abort();
        host_set_db_dir(dir);
        return true;
    }();
    (void)done;
}

// Unmarks the whole tree, then builds it again from the settings file:
// every section must read back as unmarked.
void check_marking_round_trip(RPL_REPORT_TOC& toc, RDB_REPORT_TYPE type) {
    string file = toc.get_settings_filename();
    std::remove(file.c_str());
    toc.m_section_index.front()->set_marked_for_output(false);
    RPL_REPORT_TOC again(type, toc.m_report_name);
    again.generate_toc(true);
    check(again.m_section_index.size() == toc.m_section_index.size(), "a rebuild gave another tree");
    for (RPL_REPORT_SECTION* section : again.m_section_index)
        check(!section->m_marked_for_output, "a saved mark did not load again");
    std::remove(file.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    use_scratch_db_dir();
    rpl_toc::ReportLoad load = rpl_toc::load_report_json(std::string(reinterpret_cast<const char*>(data), size));
    if (!load.ok()) {
        // The loader keeps the offending key as it is (a newline included);
        // rpl-toc shows the error through printable().
        check(!load.error.empty() && one_clean_line(rpl_toc::printable(load.error)),
              "an error shown on more than one line");
        return 0;
    }
    const RDB_REPORT_TYPE type = static_cast<RDB_REPORT_TYPE>(load.report.type);
    std::vector<std::string> expected;
    RDB_FOLDER_OBJECT* main_folder = load.report.main_folder.get();
    if (main_folder != nullptr && main_folder->get_type() == RDB_OBJECT_TYPE_FOLDER) {
        const std::string root_path = "||" + to_std(main_folder->get_name());
        expected.push_back(root_path);
        expected_paths(main_folder, root_path, expected);
    }

    host_rdb_set_report(type, std::make_unique<RDB_REPORT>(load.report.main_folder.release()));
    host_rdb_reset_counts();
    {
        const std::string& name = load.report.name;
        RPL_REPORT_TOC toc(type, to_rpl(name));
        toc.generate_toc(true);
        std::vector<std::string> paths;
        for (RPL_REPORT_SECTION* section : toc.m_section_index) {
            paths.push_back(to_std(section->m_rdb_path));
            check(one_clean_line(rpl_toc::printable(paths.back())), "a path shown on more than one line");
        }
        if (paths != expected) {
            for (const std::string& p : expected) std::fprintf(stderr, "expected %s\n", p.c_str());
            for (const std::string& p : paths) std::fprintf(stderr, "built    %s\n", p.c_str());
            check(false, "the index differs from the report's tree");
        }
        check(host_rdb_counts(type).held == 0, "the report was not given back");
        if (!paths.empty()) {
            check(toc.section_exists(toc.m_section_index.front()->m_rdb_path) == toc.m_section_index.front(),
                  "the root is not found by its path");
            // The settings file escapes nothing: the loader must refuse the
            // names that would split a header or end it early.
            for (const std::string& path : paths)
                check(path.find('\n') == std::string::npos && path.find('\0') == std::string::npos,
                      "a name with a line feed or a NUL byte was accepted");
            if (paths.size() <= 64) check_marking_round_trip(toc, type);
        }
    }
    host_rdb_remove_all_reports();
    host_rdb_reset_counts();
    host_clear_messages();
    return 0;
}
