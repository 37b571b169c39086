#include "tools/core/flow_files.h"

namespace rpl_toc {
namespace {

template <class Value>
void take_once(std::optional<Value>& slot, Value value, const char* what) {
    if (slot) throw ImportError{"", std::string("a second ") + what + "; give one of each"};
    slot = std::move(value);
}

FlowFile add_json(FlowInputs& flow, const std::string& bytes) {
    ToolJson doc = parse_tool_json(bytes);
    if (is_yosys_stat(doc)) {
        take_once(flow.stat, read_yosys_stat(doc), "Yosys stat file");
        return FlowFile::added;
    }
    if (is_nextpnr_report(doc)) {
        take_once(flow.report, read_nextpnr_report(doc), "nextpnr report");
        return FlowFile::added;
    }
    return FlowFile::not_recognised;
}

}  // namespace

bool looks_like_json(const std::string& bytes) {
    std::size_t first = bytes.find_first_not_of(" \t\r\n");
    if (bytes.compare(0, 3, "\xEF\xBB\xBF") == 0) first = bytes.find_first_not_of(" \t\r\n", 3);
    return first != std::string::npos && (bytes[first] == '{' || bytes[first] == '[');
}

FlowFile add_flow_file(FlowInputs& flow, const std::string& bytes) {
    if (looks_like_json(bytes)) return add_json(flow, bytes);
    std::optional<LogTool> tool = recognise_log(bytes);
    if (!tool) return FlowFile::not_recognised;
    if (*tool == LogTool::yosys)
        take_once(flow.yosys_log, read_flow_log(bytes, *tool), "Yosys log");
    else
        take_once(flow.nextpnr_log, read_flow_log(bytes, *tool), "nextpnr log");
    return FlowFile::added;
}

}  // namespace rpl_toc
