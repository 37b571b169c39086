// The first view of an imported report: for every table, column widths that
// fit its headings and cells and columns of numbers (or of text that reads
// as numbers) aligned to the right, and a
// landscape page for a table too wide for a portrait one; for every chart,
// the chart type the import proposed. The report file has no place for
// layout: it goes to the report's settings file, written through the
// library by the same operation as `rpl-toc set` (operations.h).
#ifndef TOOLS_CORE_IMPORT_LAYOUT_H
#define TOOLS_CORE_IMPORT_LAYOUT_H

#include <optional>
#include <string>
#include <vector>

#include "tools/core/imported_sections.h"
#include "tools/core/operations.h"
#include "tools/core/session.h"

namespace rpl_toc {

// Widths are in pixels, 8 a character as the export draws text: a column
// is as wide as its heading or its widest cell, from 3 to kMaxColumnChars
// characters, and kRoomChars more, the 24 px the page adds to a column
// without a width for its padding and bold headings (presentation.md).
constexpr int kPixelsPerChar = 8;
constexpr int kMaxColumnChars = 40;
constexpr int kRoomChars = 3;
// Tables with more columns than the export draws get no widths.
constexpr std::size_t kMaxLaidOutColumns = 256;

struct SectionLayout {
    std::string path;  // the section's rdb path
    SettingsChange change;
};

// The layouts of the report's tables and charts, in reading order. A path
// that two sections share is laid out once, by the first.
std::vector<SectionLayout> first_layouts(const ReportJson& report);

// Applies each layout to the session's report and saves it. Returns the
// reasons of the changes that were refused or not saved, one line each.
std::vector<std::string> write_first_layouts(Session& session, const std::vector<SectionLayout>& layouts);

}  // namespace rpl_toc

#endif
