#include "tools/core/html_templates.h"

#include <map>
#include <memory>
#include <utility>

#include "tools/core/embedded_files.h"
#include "tools/core/section_info.h"

namespace rpl_toc {
namespace {

using Mustache = kainjow::mustache::mustache;

// A template file ends with a line feed, as text files do. When its last
// line is a closing tag alone, mustache drops that whole line, but the
// library keeps the file's final line feed; it is dropped here instead.
std::string template_text(const std::string& name) {
    const EmbeddedFile* file = find_template_file(name);
    std::string text = file ? file->text() : std::string();
    std::size_t last_line = text.size() > 1 ? text.rfind('\n', text.size() - 2) + 1 : 0;
    if (text.compare(last_line, 3, "{{/") == 0 && text.size() > 3 && text.compare(text.size() - 3, 3, "}}\n") == 0)
        text.pop_back();
    return text;
}

std::unique_ptr<Mustache> parsed(const std::string& text) {
    auto out = std::make_unique<Mustache>(text);
    out->set_custom_escape(html_escape);
    return out;
}

// A template cut at its slot: what comes before it and what after.
struct Halves {
    std::unique_ptr<Mustache> before;
    std::unique_ptr<Mustache> after;
};

// Rendering keeps state in the template object, so each thread (the
// viewer answers on several) holds its own.
const Halves& halves(const std::string& name, const std::string& slot) {
    thread_local std::map<std::pair<std::string, std::string>, Halves> cache;
    Halves& halves = cache[{name, slot}];
    if (!halves.before) {
        std::string text = template_text(name);
        std::string tag = slot.empty() ? std::string() : "{{{" + slot + "}}}";
        std::size_t at = tag.empty() ? std::string::npos : text.find(tag);
        halves.before = parsed(text.substr(0, at));
        halves.after = parsed(at == std::string::npos ? std::string() : text.substr(at + tag.size()));
    }
    return halves;
}

void render_into(std::string& out, Mustache& filled, const TemplateData& data) {
    filled.render(data, [&out](const std::string& piece) { out += piece; });
}

}  // namespace

std::string fill_template(const std::string& name, const TemplateData& data) {
    std::string out;
    render_into(out, *halves(name, std::string()).before, data);
    return out;
}

void append_filled(std::string& out, const std::string& name, const TemplateData& data, const std::string& slot,
                   const std::string& part) {
    const Halves& cut = halves(name, slot);
    render_into(out, *cut.before, data);
    out += part;
    render_into(out, *cut.after, data);
}

}  // namespace rpl_toc
