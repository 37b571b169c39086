// What the benchmarks share: a scratch database directory, settings files
// shaped like the ones the library writes, and generated reports of every
// section kind.
#ifndef BENCH_BENCH_SUPPORT_H
#define BENCH_BENCH_SUPPORT_H

#include <cstddef>
#include <string>

#include "host/host.h"
#include "host/host_strings.h"
#include "rpl/rpl.h"

namespace rplbench {

// A fresh directory under $TMPDIR (or /tmp), made the host's database
// directory; removed with its files when the object goes.
class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// The text of a settings file of `blocks` sections as the library writes
// them: an rdb-path header of about 70 characters and four keys each,
// sections and keys in sorted order. About 165 bytes a block.
std::string settings_text(std::size_t blocks);

void write_file(const std::string& path, const std::string& content);

// The floor a save is measured against: the same file steps as a save of
// the library (a new file beside the target, one write, close, rename over
// the target), without forming any text.
bool bare_replace(const std::string& target, const std::string& content);

// The kinds of section a generated report holds, counted.
struct ReportShape {
    std::size_t sections = 0;  // root and folders included
    std::size_t folders = 0;
    std::size_t tables = 0;
    std::size_t charts = 0;
    // Settings-file loads a build performs once the file exists: one per
    // section, a second one per table and per chart.
    std::size_t loads() const { return sections + tables + charts; }
};

// Installs a report of exactly `sections` sections as the stand-in
// database's timing report: a root folder, groups of ten folders of eight
// leaves each, the leaves cycling through every kind (three in eight are
// tables, one a chart). Returns what it holds.
ReportShape install_report(std::size_t sections);

// Installs, as the timing report, a main folder of `folders` folders of
// `items` leaves each, every folder's leaves taking tables (four columns),
// charts and texts in turn: the shape of a large report of a design tool.
ReportShape install_folders_report(std::size_t folders, std::size_t items);

// The floor a load is measured against: open the file, read every byte
// into a fresh buffer, close it. False when the file cannot be read.
bool bare_read(const std::string& path);

// The TOC every benchmark builds: the timing report, named "timing".
RDB_REPORT_TYPE bench_report_type();
string bench_report_name();

// Writes, in one save, a settings file holding every key each section of a
// built TOC stores: output mark and orientation, a chart's type, a table's
// column widths and order.
void write_full_settings(RPL_REPORT_TOC& toc);

// Resident memory of this process, now and at its peak, in bytes.
std::size_t current_rss_bytes();
std::size_t peak_rss_bytes();

}  // namespace rplbench

#endif
