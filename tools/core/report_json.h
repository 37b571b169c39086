// The report file of rpl-toc: a report written as JSON, turned into the
// stand-in report database's objects.
//
//   { "name": "timing", "type": 3, "root": OBJECT }
//
// OBJECT is null or an object with "type" (required, any 32-bit integer),
// "name", "header", "footer" (strings) and, by type: 1 "children" (array of
// OBJECT), "link" (bool); 3 "html" (bool); 4, 8, 14 "columns", "rows"
// (integers >= 0; the "rows" of the tables with a "row_test" add up to at
// most kMaxRowTestedRows), "row_test" (array of bool); 5 "chart_type" (integer);
// 6 "embedded_type" (integer), "info" (string); 9 "gauges" (array of bool).
// Any other field is an error, and so is a name holding a line feed or a
// NUL byte, which the settings file cannot keep apart from other names.
#ifndef TOOLS_CORE_REPORT_JSON_H
#define TOOLS_CORE_REPORT_JSON_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "h/rdb.h"

namespace rpl_toc {

// How deep a report file's objects may lie: at most this many levels below
// the main folder (level 0), folders and every other object alike; the
// bracket count of the JSON text is what is checked, before it is parsed.
// Marking a subtree saves the settings file once per section and once
// more per ancestor of each, sum(1 + depth) saves of a file that grows
// with the report: a mark of the root of a chain 100 deep is 5,151 saves,
// about two seconds; 200 deep takes about ten, 400 deep minutes. The limit
// keeps the slowest mark within seconds. docs/report-format.md states it.
constexpr int kMaxObjectDepth = 100;

// The most rows the row-tested tables of one report may have together.
// The library asks a table's row test about every row up to the first
// that fails, about 5 ns a row, so this bounds that part of a build to
// some 50 ms whatever the report. docs/report-format.md states it.
constexpr std::int64_t kMaxRowTestedRows = 10'000'000;

// Report files beyond this size are refused, before a byte is read when
// the file says its size. What reading costs is what the document, its
// objects and the table of contents hold at once: about 6 times the file
// for names and texts, and up to 40 times for a file of nothing but tiny
// values ("null," children, "0," cells). At this size the largest report
// stays within about 700 MB of memory; bench/README.md has the figures.
constexpr std::size_t kMaxReportFileBytes = std::size_t{16} << 20;
// The limit as messages say it.
extern const char* const kMaxReportFileSize;  // "16 MiB"

struct ReportFile {
    std::string name;
    std::int32_t type = 0;
    std::unique_ptr<RDB_FOLDER_OBJECT> main_folder;  // owned; null when the file has no "root"
};

struct ReportLoad {
    ReportFile report;  // meaningful only when ok()
    std::string error;  // one line, empty on success
    bool ok() const { return error.empty(); }
};

// Builds the report that `json_text` describes. On failure the error names
// the place: a JSON pointer and what was expected there
// ("/root/children/2/columns: expected an integer >= 0"), or the line and
// column of invalid JSON or of nesting deeper than `max_depth` levels. Never throws and never prints, so a fuzz harness can call it on
// any bytes.
ReportLoad load_report_json(const std::string& json_text, int max_depth = kMaxObjectDepth);

}  // namespace rpl_toc

#endif
