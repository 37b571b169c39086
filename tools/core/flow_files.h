// Which of the flow's outputs a file is, told by its content, not its name:
// JSON (its first byte that is not white space is `{`) is Yosys's stat or
// nextpnr's report; text is Yosys's or nextpnr's log.
#ifndef TOOLS_CORE_FLOW_FILES_H
#define TOOLS_CORE_FLOW_FILES_H

#include <string>

#include "tools/core/import_flow.h"

namespace rpl_toc {

enum class FlowFile { added, not_recognised };

// Reads `bytes` into `flow` when they are one of its outputs. Throws
// ImportError when they are JSON that is invalid or a known file with a
// field of the wrong type (the place and what), or a second file of a
// kind already read. JSON of another shape, and text that is neither
// tool's log, are not recognised.
FlowFile add_flow_file(FlowInputs& flow, const std::string& bytes);

// Whether `bytes` look like JSON: `{` or `[` first after white space.
bool looks_like_json(const std::string& bytes);

}  // namespace rpl_toc

#endif
