// rpl-toc's JSON output: a section, or the whole TOC, as it is in memory.
#ifndef TOOLS_TOC_JSON_H
#define TOOLS_TOC_JSON_H

#include <nlohmann/json.hpp>

#include "rpl/rpl.h"

namespace rpl_toc {

// Keys stay in the order written, so a person reads "path" and "name" first.
using Json = nlohmann::ordered_json;

// {"path", "name", "kind", "object_type", "depth", "marked", "marking",
//  "orientation", "header", "footer", "settings_changed"} and the kind's
// values: text "html"; table "columns", "widths", "alignments", "order",
// "row_test_failed"; chart "chart_type"; embedded "embedded_type", "info";
// gauges "percentages". The column lists are given as stored, not padded.
Json section_json(const RPL_REPORT_SECTION& section);

// {"report", "type", "settings_file", "sections"}, the sections in the
// order of the TOC's index.
Json toc_json(RPL_REPORT_TOC& toc);

// One JSON text with a final line feed. Bytes that are not UTF-8 (a
// database directory may hold such) are replaced, never a failure.
std::string dump_json(const Json& value);

}  // namespace rpl_toc

#endif
