// `rpl-toc import`: the files of a design flow and folders of report files
// made into one report file (docs/import.md). Files named as inputs are the
// flow's outputs, imported together (import_flow); each folder named is
// imported as import_folder says. The report's text is checked to load as
// any report file does before it is handed out.
#ifndef TOOLS_CORE_IMPORT_INPUTS_H
#define TOOLS_CORE_IMPORT_INPUTS_H

#include <string>
#include <vector>

#include "tools/core/imported_sections.h"

namespace rpl_toc {

struct Import {
    ReportJson report;
    std::string text;                // the report file's bytes
    std::vector<std::string> notes;  // what was left out and why, one line each
    // One line when an input is not what it claims to be: the file, the
    // place in it and what was wrong ("report.json: /fmax/clk/achieved:
    // expected a number, found a string"). Empty on success.
    std::string error;
    bool ok() const { return error.empty(); }
};

// Imports `inputs`, files and folders, in the order given:
//   - only folders, one: the report is that folder, named after it (type 0,
//     generic); several: a main folder "Reports" holding each;
//   - any file: a main folder "Design Flow" (type 1, compilation) holding
//     the flow's sections, then each folder given. The report is named
//     after the design's top module, or "design_flow".
Import import_inputs(const std::vector<std::string>& inputs);

// The report's file text, or an error when it would not load again (a
// report past rpl-toc's size limit, or a fault of the import).
Import finish_import(Import import);

}  // namespace rpl_toc

#endif
