#include "tools/core/settings_blocks.h"

namespace rpl_toc {

std::string settings_block_text(const std::string& header, const std::map<std::string, std::string>& keys) {
    std::string text = header + "\n";
    for (const auto& key : keys) text += key.first + "=" + key.second + "\n";
    return text;
}

std::set<std::string> headers_of(const std::vector<const RPL_REPORT_SECTION*>& sections) {
    std::set<std::string> out;
    for (const RPL_REPORT_SECTION* section : sections) out.insert(settings_header_of(*section));
    return out;
}

Json settings_blocks_json(const std::string& settings_file, const Session::SettingsRead* read,
                          const std::set<std::string>& rewritten, bool whole) {
    Json blocks = Json::array();
    bool readable = read && read->loaded;
    const std::string* before = nullptr;
    if (readable)
        for (const auto& block : read->blocks) {
            bool is_rewritten = rewritten.count(block.first) > 0;
            if (whole || is_rewritten) {
                Json shown = {{"header", block.first},
                              {"text", settings_block_text(block.first, block.second)},
                              {"rewritten", is_rewritten}};
                if (!whole) shown["after"] = before ? Json(*before) : Json();
                blocks.push_back(std::move(shown));
            }
            before = &block.first;
        }
    return {{"settings_file", settings_file},
            {"exists", read ? read->stamp.exists : true},
            {"readable", readable},
            {"whole", whole},
            {"blocks", blocks}};
}

}  // namespace rpl_toc
