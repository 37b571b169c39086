// The host's report-file writer: the sections marked for output, in reading
// order, as a plain text file or as one self-contained HTML page.
#ifndef TOOLS_CORE_REPORT_WRITER_H
#define TOOLS_CORE_REPORT_WRITER_H

#include <string>

#include "rpl/rpl.h"

namespace rpl_toc {

enum class ReportFormat { text, html };

// The file's content: for every marked section its number (1, 1.2, 1.2.3,
// nested by folder), name, kind, header, footer, page orientation and the
// kind's values, then a short list of what was left out. A marked section
// under an unmarked folder is numbered as a child of the folder's nearest
// marked ancestor. Control characters, C1 controls and bidirectional
// overrides in the report's texts are shown as escapes, so a name can
// neither steer a terminal nor reorder what is printed around it.
std::string format_report(RPL_REPORT_TOC& toc, ReportFormat format);

struct ReportWritten {
    std::string error;  // one line; empty on success
    int sections = 0;   // sections written
    int left_out = 0;   // sections not marked for output
};

// Writes format_report to `path`; "-" writes standard output. Issues the
// library's WRITE_REPORT_FILE message once the file is open, or
// REPORT_FILE_NOT_OPENED when it cannot be opened, whose text, with the
// reason after it, is then the error.
ReportWritten write_report_file(RPL_REPORT_TOC& toc, const std::string& path, ReportFormat format);

}  // namespace rpl_toc

#endif
