// A section laid out by its settings: a table's columns in display order
// with their widths and alignments, a chart as its type says, gauges and a
// summary, as text byte for byte and as HTML that runs nothing; the export
// carries it, and the viewer's preview changes nothing on disk.
#include <sys/stat.h>

#include <regex>
#include <string>
#include <vector>

#include "support/test_support.h"
#include "tools/core/operations.h"
#include "tools/core/presentation.h"
#include "tools/core/section_contents.h"
#include "tools/core/section_info.h"
#include "tools/core/settings_rules.h"

using namespace rpltest;
using namespace rpl_toc;

namespace {

// One folder R holding, by name: T (3 columns), two tables named "Twin"
// with different cells, C (a chart), G (gauges), S (a summary), X (a
// plain text), H (an HTML text) and Bare (a table without contents).
const char* const kReport = R"({"name": "p", "type": 3, "root": {"type": 1, "name": "R", "children": [
  {"type": 4, "name": "T", "headings": ["A", "Bee", "C"],
   "cells": [["a1", 10, "long text here"], ["a2", null, "z"], ["a3", -2.50]]},
  {"type": 4, "name": "Twin", "headings": ["First"], "cells": [["one"]]},
  {"type": 4, "name": "Twin", "headings": ["Second"], "cells": [["two"]]},
  {"type": 5, "name": "C", "chart_type": 1, "headings": ["x", "y", "label"],
   "cells": [["p", 1, "n"], ["q", null, "n"], ["r", 4, "n"], ["s", 2]]},
  {"type": 9, "name": "G", "gauges": [{"name": "LUT", "value": 50, "maximum": 200, "percentage": true},
                                     {"name": "PLL", "value": 1, "maximum": 2}, {"value": 7}, true]},
  {"type": 7, "name": "S", "items": [{"name": "Tool", "value": "synth 1.0"}, {"name": "Fmax", "value": 104.25}]},
  {"type": 3, "name": "X", "text": "one two three four five\nsecond line"},
  {"type": 3, "name": "H", "html": true, "text": "<p>kept <b>bold</b></p><script>alert(1)</script><ul><li>item</li></ul>"},
  {"type": 4, "name": "Bare", "columns": 2}
]}})";

class Presentation : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        open(kReport);
    }
    void TearDown() override {
        session_.reset();
        HostTest::TearDown();
    }
    void open(const std::string& json) {
        session_.reset();
        write_file(db_->file("report.json"), json);
        Outcome<std::unique_ptr<Session>> opened = open_session(db_->file("report.json"), db_->path());
        ASSERT_TRUE(opened.ok()) << opened.refusal().detail;
        session_ = std::move(opened.result());
    }
    RPL_REPORT_SECTION& section(const std::string& name) { return *session_->section("||R||" + name); }
    // The section as text, with `layout` (its own settings when absent).
    std::string text(const std::string& name, const Layout* layout = nullptr, std::size_t width = 80) {
        RPL_REPORT_SECTION& s = section(name);
        BorrowedReport report(s);
        return render_text(s, report.object_of(s), layout ? *layout : layout_of(s), width);
    }
    std::string html(const std::string& name) {
        RPL_REPORT_SECTION& s = section(name);
        BorrowedReport report(s);
        return render_html(s, report.object_of(s), layout_of(s));
    }

    std::unique_ptr<Session> session_;
};

Layout table_layout(std::vector<int> widths, std::vector<int> order, std::vector<RPL_TABLE::ALIGNMENT> alignments) {
    Layout out;
    out.widths.stored = std::move(widths);
    out.order.stored = std::move(order);
    out.alignments.stored = std::move(alignments);
    return out;
}

constexpr auto L = RPL_TABLE::LEFT;
constexpr auto R = RPL_TABLE::RIGHT;

// ---- Tables ---------------------------------------------------------------------------

TEST_F(Presentation, TablesDrawInDisplayOrderWithTheirWidthsAndAlignments) {
    struct Case {
        const char* what;
        Layout layout;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {"nothing stored: widths from the contents, left-aligned", table_layout({}, {}, {}),
         "A    Bee   C\n"
         "---  ----  --------------\n"
         "a1   10    long text here\n"
         "a2         z\n"
         "a3   -2.5\n"},
        {"order reversed, widths in pixels of 8, right-aligned numbers",
         table_layout({32, 48, 40}, {2, 1, 0}, {L, R, L}),
         "C         Bee  A\n"
         "-----  ------  ----\n"
         "long…      10  a1\n"
         "z              a2\n"
         "         -2.5  a3\n"},
        {"an order shorter than the columns: the rest at display column 0, by index",
         table_layout({}, {1}, {}),
         "Bee   C               A\n"
         "----  --------------  ---\n"
         "10    long text here  a1\n"
         "      z               a2\n"
         "-2.5                  a3\n"},
        {"duplicate display columns keep their index order; a width of 8 is one character; extra widths unused",
         table_layout({8, 0, 0, 99}, {1, 1, 0}, {}),
         "C               A  Bee\n"
         "--------------  -  ----\n"
         "long text here  …  10\n"
         "z               …\n"
         "                …  -2.5\n"},
    };
    for (const Case& c : cases) EXPECT_EQ(text("T", &c.layout), c.expected) << c.what;
}

TEST_F(Presentation, ACellLongerThanItsColumnIsCutWithAMarkAndNeverInsideACharacter) {
    open(R"({"name": "p", "type": 3, "root": {"type": 1, "name": "R", "children": [
      {"type": 4, "name": "T", "headings": ["Größe"], "cells": [["ÄÖÜäöü"], ["ok"]]}]}})");
    Layout layout = table_layout({32}, {}, {R});
    EXPECT_EQ(text("T", &layout),
              "Grö…\n"
              "----\n"
              "ÄÖÜ…\n"
              "  ok\n");
    RPL_REPORT_SECTION& t = section("T");
    BorrowedReport report(t);
    EXPECT_NE(render_html(t, report.object_of(t), layout).find("title=\"ÄÖÜäöü\""), std::string::npos)
        << "a cut cell keeps its text as a tooltip";
}

TEST_F(Presentation, OnlyTheColumnsThatCanBeDrawnAreLookedAt) {
    Layout layout;
    layout.order.typed[4000000000u] = -1;  // typed, not applied: drawn first
    std::vector<std::uint32_t> order = display_order(4294967295u, layout.order, 3);
    EXPECT_EQ(order, (std::vector<std::uint32_t>{4000000000u, 0, 1}));
    layout.order.stored = {5, 4};
    EXPECT_EQ(display_order(2, layout.order, 256), (std::vector<std::uint32_t>{1, 0}));
}

TEST_F(Presentation, SectionsThatShareAPathFindTheirOwnObject) {
    const auto& index = session_->toc().m_section_index;
    std::vector<std::string> drawn;
    BorrowedReport report(session_->toc());
    for (const RPL_REPORT_SECTION* s : index)
        if (to_std(s->m_rdb_path) == "||R||Twin") drawn.push_back(render_text(*s, report.object_of(*s), layout_of(*s), 80));
    ASSERT_EQ(drawn.size(), 2u);
    EXPECT_NE(drawn[0].find("one"), std::string::npos);
    EXPECT_NE(drawn[1].find("two"), std::string::npos);
}

TEST_F(Presentation, BorrowingTheReportGivesItBackOnce) {
    host_rdb_reset_counts();
    { BorrowedReport report(section("T")); }
    const RDB_MANAGER_COUNTS& counts = host_rdb_counts(static_cast<RDB_REPORT_TYPE>(3));
    EXPECT_EQ(counts.gets, 1);
    EXPECT_EQ(counts.ungets, 1);
    EXPECT_EQ(host_rdb_reports_held(), 0);
}

// ---- Charts, gauges, summaries, texts --------------------------------------------------

TEST_F(Presentation, AChartIsDrawnAsItsTypeSaysAndANonNumberIsAGap) {
    Layout bars = layout_of(section("C"));
    bars.chart_type = 1;
    EXPECT_EQ(text("C", &bars, 40),
              "p  ██████ 1\n"
              "q\n"
              "r  ███████████████████████ 4\n"
              "s  ████████████ 2\n");
    Layout lines = bars;
    lines.chart_type = 2;
    EXPECT_EQ(text("C", &lines), "y  ▁ █▃  1 to 4\n   from p to s\n");
    Layout unknown = bars;
    unknown.chart_type = 7;
    std::string other = text("C", &unknown);
    EXPECT_EQ(other.rfind("Chart type 7 is not one this writer draws (1 bar, 2 line); its data:\nx    y    label\n", 0), 0u)
        << other;
}

TEST_F(Presentation, ChartTypesDrawDifferentSvg) {
    RPL_REPORT_SECTION& chart = section("C");
    BorrowedReport report(chart);
    Layout layout = layout_of(chart);
    layout.chart_type = 1;
    std::string bar = render_html(chart, report.object_of(chart), layout);
    layout.chart_type = 2;
    std::string line = render_html(chart, report.object_of(chart), layout);
    EXPECT_NE(bar.find("<svg"), std::string::npos);
    EXPECT_NE(line.find("<svg"), std::string::npos);
    EXPECT_NE(bar, line);
}

TEST_F(Presentation, GaugesSummariesAndTextsReadAsAPersonWouldWriteThem) {
    EXPECT_EQ(text("G"),
              "LUT      [#####...............]  25 % (50 of 200)\n"
              "PLL      [##########..........]  1 of 2\n"
              "Gauge 3  7\n"
              "Gauge 4  [....................]  0 %\n");
    EXPECT_EQ(text("S"), "Tool  synth 1.0\nFmax  104.25\n");
    EXPECT_EQ(text("X", nullptr, 10), "one two\nthree four\nfive\nsecond\nline\n");
    EXPECT_EQ(text("X", nullptr, 0).substr(0, 8), "o\nn\ne\nt\n") << "no width still ends";
    EXPECT_EQ(text("H"), "kept bold\n\n- item\n");
    EXPECT_EQ(text("Bare"), "(no rows)\n") << "no contents: no headings, no rows";
}

// The HTML is the templates filled in: its bytes, line feeds included,
// are what a change to a template or to what fills it in must keep.
TEST_F(Presentation, EachKindsHtmlIsItsTemplateFilledInByteForByte) {
    Layout layout = table_layout({32, 0, 40}, {2, 1, 0}, {L, R, L});
    layout.orientation = kLandscape;
    Extent two_rows;
    two_rows.max_rows = 2;
    RPL_REPORT_SECTION& t = section("T");
    BorrowedReport report(t);
    EXPECT_EQ(render_html(t, report.object_of(t), layout, two_rows),
              "<div class=\"rpl-page rpl-landscape\">\n"
              "<div class=\"rpl-table-wrap\"><table class=\"rpl-table\" style=\"width:120px\"><colgroup>"
              "<col style=\"width:40px\"><col style=\"width:48px\"><col style=\"width:32px\"></colgroup>\n"
              "<thead><tr><th class=\"l\">C</th><th class=\"r\">Bee</th><th class=\"l\">A</th></tr></thead>\n"
              "<tbody>\n"
              "<tr><td class=\"l\" title=\"long text here\">long text here</td><td class=\"r\">10</td><td class=\"l\">a1</td></tr>\n"
              "<tr><td class=\"l\">z</td><td class=\"r\"></td><td class=\"l\">a2</td></tr>\n"
              "</tbody></table></div>\n"
              "<p class=\"rpl-more\">2 rows of 3 shown; 1 more row not shown.</p>\n"
              "</div>\n");
    EXPECT_EQ(html("Bare"),
              "<div class=\"rpl-page rpl-portrait\">\n"
              "<div class=\"rpl-table-wrap\"><table class=\"rpl-table\" style=\"width:96px\"><colgroup>"
              "<col style=\"width:48px\"><col style=\"width:48px\"></colgroup>\n"
              "<tbody>\n"
              "</tbody></table></div>\n"
              "<p class=\"rpl-note\">No rows.</p>\n"
              "</div>\n");
    const char* const bar = "<span class=\"rpl-gauge-bar\" role=\"meter\" aria-valuemin=\"0\" aria-valuemax=\"100\" ";
    EXPECT_EQ(html("G"),
              std::string("<div class=\"rpl-page rpl-portrait\">\n<div class=\"rpl-gauges\">\n") +
                  "<div class=\"rpl-gauge\"><span class=\"rpl-gauge-name\">LUT</span>" + bar +
                  "aria-valuenow=\"25\"><span style=\"width:25%\"></span></span>"
                  "<span class=\"rpl-gauge-value\">25 % (50 of 200)</span></div>\n"
                  "<div class=\"rpl-gauge\"><span class=\"rpl-gauge-name\">PLL</span>" + bar +
                  "aria-valuenow=\"50\"><span style=\"width:50%\"></span></span>"
                  "<span class=\"rpl-gauge-value\">1 of 2</span></div>\n"
                  "<div class=\"rpl-gauge\"><span class=\"rpl-gauge-name\">Gauge 3</span><span class=\"rpl-gauge-none\"></span>"
                  "<span class=\"rpl-gauge-value\">7</span></div>\n"
                  "<div class=\"rpl-gauge\"><span class=\"rpl-gauge-name\">Gauge 4</span>" + bar +
                  "aria-valuenow=\"0\"><span style=\"width:0%\"></span></span>"
                  "<span class=\"rpl-gauge-value\">0 %</span></div>\n"
                  "</div>\n</div>\n");
    EXPECT_EQ(html("S"),
              "<div class=\"rpl-page rpl-portrait\">\n<table class=\"rpl-summary\"><tbody>\n"
              "<tr><th scope=\"row\">Tool</th><td>synth 1.0</td></tr>\n"
              "<tr><th scope=\"row\">Fmax</th><td>104.25</td></tr>\n"
              "</tbody></table>\n</div>\n");
    EXPECT_EQ(html("X"), "<div class=\"rpl-page rpl-portrait\">\n<div class=\"rpl-plain\">one two three four five\nsecond line</div>\n</div>\n");
    EXPECT_EQ(html("H"),
              "<div class=\"rpl-page rpl-portrait\">\n<div class=\"rpl-html\"><p>kept <b>bold</b></p><ul><li>item</li></ul></div>\n</div>\n");
    std::string chart = html("C");
    EXPECT_EQ(chart.rfind("<div class=\"rpl-page rpl-portrait\">\n<figure class=\"rpl-chart-figure\"><svg ", 0), 0u) << chart;
    EXPECT_NE(chart.find("</svg>\n</figure>\n</div>\n"), std::string::npos) << chart;
}

TEST_F(Presentation, OrientationSetsThePageWidth) {
    EXPECT_EQ(page_width(1), 80u);
    EXPECT_EQ(page_width(2), 132u);
    Layout landscape = layout_of(section("T"));
    landscape.orientation = 2;
    RPL_REPORT_SECTION& t = section("T");
    BorrowedReport report(t);
    EXPECT_NE(render_html(t, report.object_of(t), landscape).find("rpl-landscape"), std::string::npos);
}

// ---- Hostile text ----------------------------------------------------------------------

TEST_F(Presentation, NoNameHeadingCellOrTextOfTheReportBecomesMarkup) {
    open(R"json({"name": "p", "type": 3, "root": {"type": 1, "name": "R", "children": [
      {"type": 4, "name": "T", "header": "<img src=x onerror=alert(1)>",
       "headings": ["<script>alert(1)</script>", "\"onmouseover=\"alert(2)"],
       "cells": [["</td><script>alert(3)</script>", "\u001b[31mred\u202e"]]},
      {"type": 5, "name": "C", "chart_type": 2, "headings": ["x", "<svg onload=alert(4)>"],
       "cells": [["<script>", 1], ["'", 2]]},
      {"type": 3, "name": "X", "text": "<b>not bold</b>"},
      {"type": 3, "name": "H", "html": true, "text": "<a href=\"javascript:alert(5)\" onclick=\"alert(6)\">x</a><iframe src=//e></iframe>"},
      {"type": 9, "name": "G", "gauges": [{"name": "<b>g</b>", "value": 1}]},
      {"type": 7, "name": "S", "items": [{"name": "<i>", "value": "</table>"}]}]}})json");
    const std::regex event_attribute(R"(<[^>]*\son[a-z]+\s*=)", std::regex::icase);
    for (const char* name : {"T", "C", "X", "H", "G", "S"}) {
        std::string out = html(name);
        for (const char* never : {"<script", "<img", "<iframe", "<svg onload", "javascript:", "<b>", "<i>", "\x1b"})
            EXPECT_EQ(out.find(never), std::string::npos) << name << " holds " << never << ":\n" << out;
        EXPECT_FALSE(std::regex_search(out, event_attribute)) << name << " has an event attribute:\n" << out;
    }
    EXPECT_NE(html("T").find("\\x1b[31mred\\u202e"), std::string::npos);
}

// ---- The export and the preview ------------------------------------------------------------

TEST_F(Presentation, TheExportShowsWhatTheSettingsChange) {
    std::string before = format_report(session_->toc(), ReportFormat::text);
    EXPECT_NE(before.find("A    Bee   C\n"), std::string::npos) << before;
    SettingsChange change;
    change.order = {{0, 2}, {1, 1}, {2, 0}};
    ASSERT_TRUE(change_settings(*session_, "||R||T", change).ok());
    std::string after = format_report(session_->toc(), ReportFormat::text);
    EXPECT_NE(after.find("C               Bee   A\n"), std::string::npos) << after;
    EXPECT_NE(format_report(session_->toc(), ReportFormat::html).find("<table class=\"rpl-table\""), std::string::npos);
}

TEST_F(Presentation, APreviewDrawsTypedValuesAndChangesNothing) {
    const std::string file = session_->settings_file();
    SettingsChange typed;
    typed.widths = {{0, 8}, {1, 8}, {2, 8}};
    typed.order = {{0, 2}, {1, 1}, {2, 0}};
    typed.alignments = {{1, R}};
    typed.orientation = 2;
    struct stat before {};
    bool existed = ::stat(file.c_str(), &before) == 0;
    std::string bytes = existed ? read_file(file) : std::string();
    Outcome<Preview> preview = preview_section(*session_, "||R||T", typed, 200);
    ASSERT_TRUE(preview.ok());
    EXPECT_NE(preview.result().html.find("rpl-landscape"), std::string::npos);
    EXPECT_NE(preview.result().html.find("<col style=\"width:8px\">"), std::string::npos);
    struct stat after {};
    EXPECT_EQ(::stat(file.c_str(), &after) == 0, existed);
    if (existed) {
        EXPECT_EQ(read_file(file), bytes);
        EXPECT_EQ(after.st_ino, before.st_ino);
        EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    }
    const RPL_TABLE& table = *section("T").dynamic_cast_to_RPL_TABLE();
    EXPECT_TRUE(table.m_column_width.empty());
    EXPECT_EQ(section("T").m_page_orientation, 1);
    EXPECT_EQ(preview_section(*session_, "||R||none", typed, 200).refusal().what, Refused::unknown_path);
}

TEST_F(Presentation, APreviewOfALongTableDrawsItsStartAndCountsTheRest) {
    std::string json = R"({"name": "p", "type": 3, "root": {"type": 1, "name": "R", "children": [
      {"type": 4, "name": "T", "headings": ["n"], "cells": [)";
    for (int i = 0; i < 100000; ++i) json += (i ? ",[" : "[") + std::to_string(i) + "]";
    open(json + "]}]}}");
    Outcome<Preview> preview = preview_section(*session_, "||R||T", SettingsChange(), 200);
    ASSERT_TRUE(preview.ok());
    EXPECT_EQ(preview.result().drawn.rows_shown, 200u);
    EXPECT_EQ(preview.result().drawn.rows_total, 100000u);
    EXPECT_NE(preview.result().html.find("200 rows of 100,000 shown; 99,800 more rows not shown."), std::string::npos);
}

// ---- The report file's contents --------------------------------------------------------

TEST_F(Presentation, ARowWiderThanTheTableIsRefusedByItsPointer) {
    struct Case {
        std::string object, error;
    };
    for (const Case& c : std::vector<Case>{
             {R"({"type": 4, "columns": 2, "cells": [["a"], ["a", "b", "c"]]})",
              "/root/children/0/cells/1: a row of 3 cells; the table has 2 columns"},
             {R"({"type": 4, "columns": 1, "headings": ["a", "b"]})", "/root/children/0/headings: 2 headings; the table has 1 column"},
             {R"({"type": 4, "cells": [[{"x": 1}]]})", "/root/children/0/cells/0/0: expected a string, a number or null"},
             {R"({"type": 9, "gauges": [{"value": "high"}]})", "/root/children/0/gauges/0/value: expected a number"},
             {R"({"type": 7, "items": [{"name": "a", "value": true}]})", "/root/children/0/items/0/value: expected a string, a number or null"},
             {R"({"type": 1, "text": "x"})", "/root/children/0/text: not a field of an object of type 1"},
         }) {
        ReportLoad load = load_report_json(R"({"root": {"type": 1, "children": [)" + c.object + "]}}");
        EXPECT_EQ(load.error, c.error) << c.object;
    }
    ReportLoad widest = load_report_json(R"({"root": {"type": 1, "children": [{"type": 4, "headings": ["a"], "cells": [[1, 2, 3], []]}]}})");
    ASSERT_TRUE(widest.ok()) << widest.error;
}

}  // namespace
