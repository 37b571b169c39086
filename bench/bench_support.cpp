#include "bench_support.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <sys/resource.h>
#include <unistd.h>

namespace rplbench {

namespace {

// Keeps the compiler from dropping a read whose bytes nobody looks at.
void benchmark_keep(const void* p) { asm volatile("" : : "g"(p) : "memory"); }

}  // namespace

// ---- Scratch directory ------------------------------------------------------------

namespace {

int remove_entry(const char* path, const struct stat*, int, struct FTW*) { return ::remove(path); }

}  // namespace

ScratchDir::ScratchDir() {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/rpl-bench-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (::mkdtemp(buffer.data()) == nullptr) throw std::runtime_error("cannot make a scratch directory");
    path_ = buffer.data();
    host_set_db_dir(path_);
}

ScratchDir::~ScratchDir() { ::nftw(path_.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS); }

// ---- Settings files -----------------------------------------------------------------

namespace {

// The rdb path of the i-th leaf of a report laid out as install_report lays
// it out: groups of ten folders of eight leaves.
std::string leaf_path(std::size_t i) {
    char path[128];
    std::snprintf(path, sizeof path, "||timing_main||Setup Group %03zu||Domain clk_core_%02zu||Worst Paths %06zu",
                  i / 80, (i / 8) % 10, i);
    return path;
}

}  // namespace

std::string settings_text(std::size_t blocks) {
    std::vector<std::string> headers;
    headers.reserve(blocks);
    for (std::size_t i = 0; i < blocks; ++i) headers.push_back("[" + leaf_path(i) + "]");
    // The library writes sections in strcmp order; so does this.
    std::sort(headers.begin(), headers.end(),
              [](const std::string& a, const std::string& b) { return std::strcmp(a.c_str(), b.c_str()) < 0; });
    std::string text;
    text.reserve(blocks * 170);
    for (std::size_t i = 0; i < blocks; ++i) {
        text += headers[i];
        text += "\nCOLUMN_ORDER=0,1,2,3,\nCOLUMN_WIDTHS=120L,80R,60L,200R,\nOUTPUT_SECTION=";
        text += i % 7 == 3 ? "0" : "1";
        text += "\nPAGE_ORIENTATION=";
        text += i % 5 == 1 ? "1" : "0";
        text += "\n";
    }
    return text;
}

void write_file(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!out) throw std::runtime_error("cannot write " + path);
}

bool bare_replace(const std::string& target, const std::string& content) {
    std::string slash_dir = target.substr(0, target.rfind('/') + 1);
    std::string temp = slash_dir + ".bare-write.tmp";
    int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) return false;
    const char* p = content.data();
    std::size_t left = content.size();
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        p += n;
        left -= static_cast<std::size_t>(n);
    }
    bool ok = ::close(fd) == 0 && left == 0;
    return ::rename(temp.c_str(), target.c_str()) == 0 && ok;
}

// ---- Generated reports ----------------------------------------------------------------

namespace {

const std::size_t FOLDERS_PER_GROUP = 10;
const std::size_t LEAVES_PER_FOLDER = 8;

// The i-th leaf: three in eight are tables (of all three table types), one
// a chart, and one each a text, an embedded object, gauges and a summary.
RDB_OBJECT* make_leaf(std::size_t i, ReportShape& shape) {
    char name[64];
    std::snprintf(name, sizeof name, "Worst Paths %06zu", i);
    switch (i % 8) {
        case 0: ++shape.tables; return new RDB_TABLE_OBJECT(name, 4, 12, 4);
        case 1: ++shape.charts; return new RDB_CHART_TABLE_OBJECT(name, 2);
        case 2: return new RDB_TEXT_OBJECT(name, i % 16 == 2);
        case 3: ++shape.tables; return new RDB_ROW_TEST_TABLE_OBJECT(name, 4, std::vector<bool>(12, true), 8);
        case 4: return new RDB_EMBEDDED_OBJECT(name, RDB_EMBEDDED_IMAGE, "image/png 640x480");
        case 5: {
            auto* gauges = new RDB_GAUGES_OBJECT(name);
            gauges->add_gauge(true);
            gauges->add_gauge(false);
            gauges->add_gauge(true);
            return gauges;
        }
        case 6: return new RDB_OBJECT(7, name);
        default: ++shape.tables; return new RDB_TABLE_OBJECT(name, 4, 12, 14);
    }
}

}  // namespace

ReportShape install_report(std::size_t sections) {
    ReportShape shape;
    auto* root = new RDB_FOLDER_OBJECT("timing_main");
    shape.sections = 1;
    shape.folders = 1;
    std::size_t leaf = 0;
    for (std::size_t g = 0; shape.sections < sections; ++g) {
        char name[64];
        std::snprintf(name, sizeof name, "Setup Group %03zu", g);
        RDB_FOLDER_OBJECT* group = root->add(new RDB_FOLDER_OBJECT(name));
        ++shape.sections;
        ++shape.folders;
        for (std::size_t d = 0; d < FOLDERS_PER_GROUP && shape.sections < sections; ++d) {
            std::snprintf(name, sizeof name, "Domain clk_core_%02zu", d);
            RDB_FOLDER_OBJECT* domain = group->add(new RDB_FOLDER_OBJECT(name));
            ++shape.sections;
            ++shape.folders;
            for (std::size_t l = 0; l < LEAVES_PER_FOLDER && shape.sections < sections; ++l) {
                domain->add(make_leaf(leaf++, shape));
                ++shape.sections;
            }
        }
    }
    host_rdb_set_report(bench_report_type(), std::make_unique<RDB_REPORT>(root));
    return shape;
}

ReportShape install_folders_report(std::size_t folders, std::size_t items) {
    ReportShape shape;
    auto* root = new RDB_FOLDER_OBJECT("Design");
    shape.sections = shape.folders = 1;
    for (std::size_t f = 0; f < folders; ++f) {
        char name[64];
        std::snprintf(name, sizeof name, "Folder %02zu", f);
        RDB_FOLDER_OBJECT* folder = root->add(new RDB_FOLDER_OBJECT(name));
        ++shape.sections;
        ++shape.folders;
        for (std::size_t i = 0; i < items; ++i, ++shape.sections) {
            std::snprintf(name, sizeof name, "Item %03zu", i);
            switch (i % 3) {
                case 0: ++shape.tables; folder->add(new RDB_TABLE_OBJECT(name, 4, 12, 4)); break;
                case 1: ++shape.charts; folder->add(new RDB_CHART_TABLE_OBJECT(name, 2)); break;
                default: folder->add(new RDB_TEXT_OBJECT(name, false)); break;
            }
        }
    }
    host_rdb_set_report(bench_report_type(), std::make_unique<RDB_REPORT>(root));
    return shape;
}

bool bare_read(const std::string& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st;
    bool ok = ::fstat(fd, &st) == 0;
    std::size_t size = ok ? static_cast<std::size_t>(st.st_size) : 0;
    std::unique_ptr<char[]> buffer(new char[size + 1]);
    std::size_t used = 0;
    while (ok) {
        ssize_t n = ::read(fd, buffer.get() + used, size + 1 - used);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        used += static_cast<std::size_t>(n);
        if (used == size + 1) break;
    }
    ::close(fd);
    benchmark_keep(buffer.get());
    return ok && used == size;
}

RDB_REPORT_TYPE bench_report_type() { return RDB_REPORT_TIMING; }
string bench_report_name() { return "timing"; }

void write_full_settings(RPL_REPORT_TOC& toc) {
    RPL_REPORT_SETTINGS_FILE file;
    file.m_filename = toc.get_settings_filename();
    for (RPL_REPORT_SECTION* section : toc.m_section_index) {
        const string& path = section->m_rdb_path;
        file.set_value_str(path, "OUTPUT_SECTION", "1");
        file.set_value_str(path, "PAGE_ORIENTATION", "0");
        if (section->dynamic_cast_to_RPL_CHART() != nullptr) file.set_value_str(path, "CHART_TYPE", "1");
        if (RPL_TABLE* table = section->dynamic_cast_to_RPL_TABLE()) {
            string widths, order;
            for (std::uint32_t c = 0; c < table->m_num_columns; ++c) {
                widths += std::to_string(60 + 20 * c).c_str();
                widths += c % 2 ? "R," : "L,";
                order += std::to_string(c).c_str();
                order += ",";
            }
            file.set_value_str(path, "COLUMN_WIDTHS", widths);
            file.set_value_str(path, "COLUMN_ORDER", order);
        }
    }
    if (!file.write_to_disk()) throw std::runtime_error("cannot write the settings file");
}

// ---- Memory -----------------------------------------------------------------------------

std::size_t current_rss_bytes() {
    std::FILE* f = std::fopen("/proc/self/statm", "r");
    if (f == nullptr) return 0;
    unsigned long size = 0, resident = 0;
    int got = std::fscanf(f, "%lu %lu", &size, &resident);
    std::fclose(f);
    return got == 2 ? resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) : 0;
}

std::size_t peak_rss_bytes() {
    struct rusage usage;
    if (::getrusage(RUSAGE_SELF, &usage) != 0) return 0;
    return static_cast<std::size_t>(usage.ru_maxrss) * 1024;
}

}  // namespace rplbench
