// A folder of report files as a report, for the files of any tool: a folder
// becomes a folder section, a .csv file a table (its first record the
// headings), a .txt or .log file a plain text, a .html or .htm file an HTML
// text (stored as given: the renderer sanitises HTML when it draws it), and
// a .json file that the flow importer recognises a folder of the sections
// import_flow makes of it. Entries come in the order of their names, byte by
// byte, and keep their names. Links to folders are not followed, so a loop
// of links cannot make the walk endless.
#ifndef TOOLS_CORE_IMPORT_FOLDER_H
#define TOOLS_CORE_IMPORT_FOLDER_H

#include <string>
#include <vector>

#include "tools/core/imported_sections.h"

namespace rpl_toc {

// How many folders deep the walk goes below the folder given. A report
// holds objects at most 100 levels below its main folder (report_json.h);
// the sections a flow file brings add 4 below its own folder.
constexpr int kMaxFolderDepth = 64;

struct FolderImport {
    ReportJson folder;               // a folder object of the report file
    std::vector<std::string> notes;  // what was left out and why, one line each
    std::string error;               // a file that is not what it claims, with its place; empty on success
    bool ok() const { return error.empty(); }
};

// The folder at `path` as a folder section named `name`.
FolderImport import_folder(const std::string& path, const std::string& name);

// The section a file named `name` becomes, from its bytes; null (and a
// note) for a file the road does not take. Throws ImportError for a flow
// file that is broken. `path` names the file in notes.
ReportJson file_section(const std::string& path, const std::string& name, const std::string& bytes,
                        std::vector<std::string>& notes);

// A table of a CSV file's records: the first record the headings.
ReportJson csv_table(const std::string& name, const std::string& bytes);

}  // namespace rpl_toc

#endif
