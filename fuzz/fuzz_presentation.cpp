// Any bytes as a report file, drawn as the export and the viewer's preview
// draw it: every section of what the loader accepts, as text and as HTML,
// with its own settings and with typed ones taken from the input. Whatever
// the report holds, the HTML holds no script, no event attribute and no
// address a browser would run, and the text no control character but the
// line feed.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "fuzz_files.h"
#include "tools/core/presentation.h"
#include "tools/core/report_json.h"
#include "tools/core/section_contents.h"
#include "tools/core/session.h"

namespace {

void check(bool condition, const char* what, const std::string& output) {
    if (condition) return;
    std::fprintf(stderr, "presentation broken: %s\n%s\n", what, output.c_str());
    std::abort();
}

std::string lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// An event attribute inside a tag: " on" then letters then "=", before the
// tag's ">" and outside a quoted value (a title may hold any text: its
// quotes are escaped, so it cannot end early).
bool has_event_attribute(const std::string& html) {
    bool in_tag = false, in_value = false;
    for (std::size_t i = 0; i < html.size(); ++i) {
        char c = html[i];
        if (in_value) {
            in_value = c != '"';
            continue;
        }
        if (c == '<') in_tag = true;
        if (c == '>') in_tag = false;
        if (in_tag && c == '"') in_value = true;
        if (!in_tag || !std::isspace(static_cast<unsigned char>(c)) || html.compare(i + 1, 2, "on") != 0) continue;
        std::size_t j = i + 3;
        while (j < html.size() && std::isalpha(static_cast<unsigned char>(html[j]))) ++j;
        if (j > i + 3 && j < html.size() && html[j] == '=') return true;
    }
    return false;
}

void check_html(const std::string& html) {
    std::string text = lower(html);
    for (const char* never : {"<script", "<iframe", "<object", "<embed", "<img", "<link", "<meta", "<base", "<style",
                              "javascript:", "vbscript:", "href=\"data:"})
        check(text.find(never) == std::string::npos, never, html);
    check(!has_event_attribute(text), "an event attribute", html);
}

void check_text(const std::string& text) {
    for (char c : text)
        check(c == '\n' || (static_cast<unsigned char>(c) >= 0x20 && c != 0x7f), "a control character", text);
}

// Typed values from the input's bytes, as a page may send any.
rpl_toc::SettingsChange typed_from(const std::uint8_t* data, std::size_t size) {
    rpl_toc::SettingsChange typed;
    for (std::size_t i = 0; i + 2 < size && typed.order.size() < 8; i += 3) {
        typed.order.push_back({data[i], static_cast<int>(static_cast<std::int8_t>(data[i + 1]))});
        typed.widths.push_back({data[i + 1], static_cast<int>(data[i + 2]) * 4 - 200});
    }
    if (size > 0) typed.chart_type = data[0] % 4;
    if (size > 1) typed.orientation = data[1] % 3;
    return typed;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string directory = fuzz_scratch_dir("presentation");
    rpl_toc::ReportLoad load = rpl_toc::load_report_json(std::string(reinterpret_cast<const char*>(data), size));
    if (!load.ok()) return 0;
    rpl_toc::Session session(std::move(load.report), directory);
    rpl_toc::SettingsChange typed = typed_from(data, size);
    rpl_toc::Extent extent;
    extent.max_rows = 50;
    extent.max_columns = 16;
    rpl_toc::BorrowedReport report(session.toc());
    for (RPL_REPORT_SECTION* section : session.toc().m_section_index) {
        RDB_OBJECT* object = report.object_of(*section);
        for (const rpl_toc::Layout& layout : {rpl_toc::layout_of(*section),
                                              rpl_toc::with_change(rpl_toc::layout_of(*section), typed)}) {
            check_html(rpl_toc::render_html(*section, object, layout, extent));
            check_text(rpl_toc::render_text(*section, object, layout, 40, extent));
        }
    }
    return 0;
}
