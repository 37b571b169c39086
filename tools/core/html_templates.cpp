#include "tools/core/html_templates.h"

#include <map>
#include <memory>

#include "tools/core/embedded_files.h"
#include "tools/core/section_info.h"

namespace rpl_toc {
namespace {

// A template file ends with a line feed, as text files do. When its last
// line is a closing tag alone, mustache drops that whole line, but the
// library keeps the file's final line feed; it is dropped here instead.
std::string template_text(const EmbeddedFile* file) {
    std::string text = file ? file->text() : std::string();
    std::size_t last_line = text.size() > 1 ? text.rfind('\n', text.size() - 2) + 1 : 0;
    if (text.compare(last_line, 3, "{{/") == 0 && text.size() > 3 && text.compare(text.size() - 3, 3, "}}\n") == 0)
        text.pop_back();
    return text;
}

}  // namespace

std::string fill_template(const std::string& name, const TemplateData& data) {
    // Rendering keeps state in the template object, so each thread (the
    // viewer answers on several) holds its own.
    thread_local std::map<std::string, std::unique_ptr<kainjow::mustache::mustache>> parsed;
    std::unique_ptr<kainjow::mustache::mustache>& filled = parsed[name];
    if (!filled) {
        filled = std::make_unique<kainjow::mustache::mustache>(template_text(find_template_file(name)));
        filled->set_custom_escape(html_escape);
    }
    return filled->render(data);
}

}  // namespace rpl_toc
