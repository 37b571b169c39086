// rpl-toc import: the outputs of a design flow and folders of report files
// made into a report file (tools/core/import_inputs.h), with the first
// layout of its tables saved beside it.
#ifndef TOOLS_CLI_IMPORT_COMMAND_H
#define TOOLS_CLI_IMPORT_COMMAND_H

#include <string>
#include <vector>

#include "tools/cli/commands.h"

namespace rpl_toc {

// Writes the report to `report_file` ("" or "-": standard output). With a
// file, and when the report's settings file (in `db_dir`, or the report
// file's directory) does not exist yet, also saves there the column widths,
// alignments and page orientations of its tables. An input that cannot be
// read or is not what it claims to be is a CommandError (kExitError).
int run_import(const std::vector<std::string>& inputs, const std::string& report_file, const std::string& db_dir,
               const Output& output);

}  // namespace rpl_toc

#endif
