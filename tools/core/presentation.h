// A section laid out as its settings say: a table's columns in their
// display order, widths and alignments, a chart drawn as the chart type
// says, the page's orientation, a text, gauges and a summary. One set of
// rules, in two forms: text, for the text report file, and an HTML
// fragment, for the HTML report file and the viewer's preview.
// docs/presentation.md states the rules for the people who read the output.
#ifndef TOOLS_CORE_PRESENTATION_H
#define TOOLS_CORE_PRESENTATION_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "h/rdb.h"
#include "rpl/rpl.h"
#include "tools/core/operations.h"

namespace rpl_toc {

// One of a table's column lists as the section stores it, with the
// columns a person has typed and not applied put over it. A column that
// neither reaches reads as the library's getters read it: `fill`.
template <class T>
struct ColumnList {
    std::vector<T> stored;
    std::map<std::uint32_t, T> typed;  // sparse: a column may be any index
    T fill{};

    T at(std::uint32_t column) const {
        auto it = typed.find(column);
        if (it != typed.end()) return it->second;
        return column < stored.size() ? stored[column] : fill;
    }
};

// A section's layout: what it holds, or that and what a person has typed.
struct Layout {
    int orientation = 1;  // 1 portrait, 2 landscape
    int chart_type = 0;   // charts: 1 bar, 2 line
    ColumnList<int> widths;
    ColumnList<int> order;
    ColumnList<RPL_TABLE::ALIGNMENT> alignments{{}, {}, RPL_TABLE::LEFT};
};

Layout layout_of(const RPL_REPORT_SECTION& section);
// `layout` with the values `change` names put over it, as the change
// would set them; nothing is checked or saved.
Layout with_change(Layout layout, const SettingsChange& change);

// How much of a section to draw: the rows and columns beyond these are
// counted, not drawn.
struct Extent {
    std::size_t max_rows = std::numeric_limits<std::size_t>::max();
    std::size_t max_columns = 256;
};

// What was drawn of a table or chart, for the reader to say what is left.
struct Drawn {
    std::uint64_t rows_shown = 0;
    std::uint64_t rows_total = 0;
    std::uint64_t columns_shown = 0;
    std::uint64_t columns_total = 0;
};

// The columns of a table in display order: display column ascending, ties
// by column index, the first `max_columns` of them. Only the columns that
// can be among those are looked at, whatever column count the table
// declares.
std::vector<std::uint32_t> display_order(std::uint32_t columns, const ColumnList<int>& order, std::size_t max_columns);

// Characters a text line may hold: 80 on a portrait page, 132 on a
// landscape one.
std::size_t page_width(int orientation);

// The section's header, contents and footer as lines of text, each at most
// `width` characters where the contents allow (a table keeps its widths).
// `object` is the report object the section was built from, or null.
std::string render_text(const RPL_REPORT_SECTION& section, RDB_OBJECT* object, const Layout& layout,
                        std::size_t width, const Extent& extent = Extent(), Drawn* drawn = nullptr);

// The same as an HTML fragment: every text of the report escaped, HTML
// texts sanitized, charts as inline SVG; no script, nothing loaded.
std::string render_html(const RPL_REPORT_SECTION& section, RDB_OBJECT* object, const Layout& layout,
                        const Extent& extent = Extent(), Drawn* drawn = nullptr);

// What the viewer's preview shows of one section.
struct Preview {
    const RPL_REPORT_SECTION* section = nullptr;
    std::string html;  // render_html's fragment
    Drawn drawn;
};

// The section at `path` as the export draws it, with `typed` put over its
// settings (what a person has typed and not applied) and at most
// `max_rows` rows of a table or chart. Nothing is checked against the
// library's rules and nothing is saved: Apply does that. The report is
// borrowed through the section and given back before this returns.
// Refused: unknown_path.
Outcome<Preview> preview_section(Session& session, const std::string& path, const SettingsChange& typed,
                                 std::size_t max_rows);

}  // namespace rpl_toc

#endif
