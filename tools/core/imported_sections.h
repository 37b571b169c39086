// The report-file objects an import writes (docs/report-format.md): folders,
// tables, charts, texts, summaries and gauges built from the values read
// from other tools' files. A report file is JSON, so every text is made
// valid UTF-8 here: bytes that are not are written as the text \xNN.
#ifndef TOOLS_CORE_IMPORTED_SECTIONS_H
#define TOOLS_CORE_IMPORTED_SECTIONS_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace rpl_toc {

using ReportJson = nlohmann::ordered_json;

// Report types and object types of docs/report-format.md.
constexpr int kGenericReport = 0;
constexpr int kCompilationReport = 1;
constexpr int kBarChart = 1;

// `bytes` with every valid UTF-8 sequence kept as it is and every other byte
// (and NUL, which a report's C strings would end at) written as \xNN.
std::string as_text(const std::string& bytes);
// As as_text, and a line feed as \x0a too: a section's name is one line of
// the settings file.
std::string as_name(const std::string& bytes);

// `value` rounded to `decimals` places, so that a float of the tool
// (171.05712890625) reads as the tool prints it (171.06); a value too large
// to round is kept.
double rounded(double value, int decimals);

using Cells = std::vector<ReportJson>;  // strings, numbers and nulls

ReportJson report_document(const std::string& name, int type, ReportJson root);
ReportJson folder_object(const std::string& name, const std::string& header = std::string());
void add_child(ReportJson& folder, ReportJson child);
ReportJson table_object(const std::string& name, const std::vector<std::string>& headings,
                        const std::vector<Cells>& rows);
ReportJson chart_object(const std::string& name, int chart_type, const std::vector<std::string>& headings,
                        const std::vector<Cells>& rows);
ReportJson text_object(const std::string& name, const std::string& text, bool html);
ReportJson summary_object(const std::string& name, const std::vector<std::pair<std::string, ReportJson>>& items);

struct Gauge {
    std::string name;
    double value = 0, maximum = 0;
};
// Gauges that each read as a percentage of their maximum.
ReportJson percent_gauges_object(const std::string& name, const std::vector<Gauge>& gauges);

void set_header(ReportJson& object, const std::string& header);
void set_footer(ReportJson& object, const std::string& footer);

// A cell of text, made valid UTF-8.
ReportJson text_cell(const std::string& text);

}  // namespace rpl_toc

#endif
