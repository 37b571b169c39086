// The JSON documents of both front ends, `rpl-toc --json` and the viewer's
// /api/: a section, the whole TOC as it is in memory, the settings file.
// Every document printed starts with "format": 1, the version of these
// shapes, so a script can check what it reads.
#ifndef TOOLS_CORE_TOC_JSON_H
#define TOOLS_CORE_TOC_JSON_H

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "rpl/rpl.h"
#include "tools/core/operations.h"
#include "tools/core/presentation.h"

namespace rpl_toc {

// Keys stay in the order written, so a person reads "format", "path" and
// "name" first.
using Json = nlohmann::ordered_json;

constexpr int kJsonFormat = 1;

// A SECTION: {"path", "name", "kind", "object_type", "depth", "marked",
// "marking", "orientation", "header", "footer", "settings_changed"} and the
// kind's values: text "html"; table "columns", "widths", "alignments",
// "order", "row_test_failed"; chart "chart_type"; embedded "embedded_type",
// "info"; gauges "percentages". The column lists are given as stored, not
// padded. No "format": it is a part of the documents below.
Json section_json(const RPL_REPORT_SECTION& section);

// A document of its own: {"format": 1} followed by `members`.
Json json_document(const Json& members = Json::object());

// {"format", "report", "type", "settings_file", "sections"}, the sections
// in the order of the TOC's index.
Json toc_json(RPL_REPORT_TOC& toc);
// One section as a document: SECTION with "format" first.
Json section_document(const RPL_REPORT_SECTION& section);
// {"format", "sections"}: the given sections.
Json sections_document(const std::vector<const RPL_REPORT_SECTION*>& sections);
// {"format", "reloaded", "sections"}: what a change in the viewer touched
// (/api/mark, /api/set). `reloaded`: the TOC was built again from the
// settings file first, because another program had changed it; then
// `sections` is every section, in the order of the TOC's index.
Json change_document(const std::vector<const RPL_REPORT_SECTION*>& sections, bool reloaded);
// {"format", "path"}: a path, or null for none.
Json path_document(const std::string* path);

// {"format", "settings_file", "exists", "readable", "content"}: the
// settings file's path, whether a file is there, whether the library can
// load it, and its bytes (null when it is absent or cannot be read).
Json settings_file_document(const SettingsFileRead& read);
// {"format", "file", "as", "sections", "left_out"}: where an export went,
// "text" or "html", the sections written and those left out.
Json export_document(const std::string& file, ReportFormat format, const ReportWritten& written);

// {"format", "path", "kind", "html", "rows_shown", "rows_total",
// "columns_shown", "columns_total"}: a section as the viewer's preview
// shows it (/api/preview). The counts are 0 for kinds without rows.
Json preview_document(const Preview& preview);

// One JSON text with a final line feed. Bytes that are not UTF-8 (a
// database directory may hold such) are replaced, never a failure.
std::string dump_json(const Json& value);

}  // namespace rpl_toc

#endif
