// The operations both front ends offer on a session: find, step, mark,
// change settings, read the settings file and export. (Opening a session is
// in session.h.) Each returns its result or a Refusal; the command line and
// the viewer only word them.
#ifndef TOOLS_CORE_OPERATIONS_H
#define TOOLS_CORE_OPERATIONS_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "rpl/rpl.h"
#include "tools/core/refusal.h"
#include "tools/core/report_writer.h"
#include "tools/core/session.h"
#include "tools/core/settings_probe.h"

namespace rpl_toc {

// The section with that rdb path. Refused: unknown_path.
Outcome<RPL_REPORT_SECTION*> find_section(Session& session, const std::string& path);

// The path of the next (or previous) section that is not a folder; nullopt
// at either end and for a path no section has, as the library answers.
std::optional<std::string> step_from(Session& session, const std::string& path, bool forward);

// As step_from, but a path no section has is refused rather than answered
// like an end, so that a mistyped path does not read as "none after it".
// Refused: unknown_path.
Outcome<std::optional<std::string>> step_from_section(Session& session, const std::string& path, bool forward);

// Whether the settings file holds what the library meant to save.
struct SaveCheck {
    std::string settings_file;
    std::string unsaved;  // empty when saved; otherwise why not: "Permission denied" and the like
    bool saved() const { return unsaved.empty(); }
};

// What a mark or a settings change did. The change is made in memory even
// when the save failed: the library keeps what it holds.
struct Change {
    std::vector<RPL_REPORT_SECTION*> sections;        // the sections named, each once, in the order first given
    std::vector<const RPL_REPORT_SECTION*> changed;  // every section whose state the change altered
    SaveCheck save;
};

// Called after each named section is done: how many of the sections a
// mark writes are written, of how many. A mark writes every section of
// each subtree and every ancestor of each, sum(1 + depth) saves.
using MarkProgress = std::function<void(std::size_t written, std::size_t total)>;

// How many times a mark of `paths` saves the settings file: once for each
// section of each subtree (twice for a table or a chart, which save their
// own keys apart) and once more for each of that section's ancestors,
// sum(1 + depth) over the subtree and one per table and chart. A path
// named twice counts once; a path no section has counts nothing. Changes
// nothing.
std::size_t saves_of_mark(Session& session, const std::vector<std::string>& paths);

// Where a mark of `paths` stands as its saves land, in the order the
// library makes them: once `saves` saves have landed, every section of
// `section`'s subtree is written (its ancestors' saves follow). One entry
// per section of each subtree named, in the order their writing ends; the
// saves of the last entry and of its ancestors make saves_of_mark. For a
// viewer that follows a long mark by counting the file's replacements.
struct MarkCheckpoint {
    std::size_t saves;
    const RPL_REPORT_SECTION* section;
};
std::vector<MarkCheckpoint> mark_checkpoints(Session& session, const std::vector<std::string>& paths);

// Marks (or unmarks) each section of `paths` with its subtree, in order,
// a section named more than once only where first named. Every path is
// looked up before anything changes. Refused: unknown_path.
Outcome<Change> mark_sections(Session& session, const std::vector<std::string>& paths, bool marked,
                              const MarkProgress& progress = MarkProgress());

// A column and its value as a front end read them: any whole numbers, so
// that the range checks (settings_rules.h) are made, and worded, here.
struct ColumnValue {
    std::uint64_t column;
    std::int64_t value;
};

struct ColumnAlignment {
    std::uint64_t column;
    RPL_TABLE::ALIGNMENT alignment;
};

// A change of one section's layout: what is given is changed, in the order
// orientation, chart type, widths, alignments, order.
struct SettingsChange {
    std::optional<std::int64_t> orientation;  // 1 portrait, 2 landscape
    std::optional<std::int64_t> chart_type;   // 1 or 2, charts only
    std::vector<ColumnValue> widths;
    std::vector<ColumnAlignment> alignments;  // saved with the widths
    std::vector<ColumnValue> order;           // display columns
    bool names_nothing() const;
};

// Checks the whole change against the section and settings_rules.h before
// anything changes, then applies it and saves it through the library.
// Refused: unknown_path, nothing_to_change, out_of_range, wrong_kind,
// no_such_column, column_repeated, columns_missing (the library stores a
// column list only when it reaches every column, and alignments only with
// the widths) and display_column_shared. The checks cost what the change
// names, and the table's stored lists, whatever column count it declares.
Outcome<Change> change_settings(Session& session, const std::string& path, const SettingsChange& change);

// The settings file as a person would find it on disk.
struct SettingsFileRead {
    std::string settings_file;
    SettingsFileState state;
};
SettingsFileRead read_settings_file(Session& session);

// Writes the marked sections to `file` ("-": standard output). Refused:
// report_not_written.
Outcome<ReportWritten> export_report(Session& session, ReportFormat format, const std::string& file);

}  // namespace rpl_toc

#endif
