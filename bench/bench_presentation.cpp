// The report writer and the viewer's preview on large reports: the export
// of 4,041 sections holding 1,000,000 cells, as text and as HTML, against
// writing a file of the same number of bytes; and the preview of a table
// of 100,000 rows, which draws its first 200.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bench_support.h"
#include "tools/core/operations.h"
#include "tools/core/presentation.h"
#include "tools/core/report_writer.h"

namespace {

using rpl_toc::ReportFormat;

constexpr std::size_t kFolders = 40;
constexpr std::size_t kItems = 100;
constexpr std::size_t kCells = 1'000'000;
constexpr std::size_t kChartRows = 10;
constexpr std::size_t kLongRows = 100'000;

RDB_CELL number_cell(double value) {
    RDB_CELL cell;
    cell.kind = RDB_CELL::NUMBER;
    cell.number = value;
    cell.text = std::to_string(value);
    return cell;
}

RDB_CELL text_cell(const std::string& text) {
    RDB_CELL cell;
    cell.kind = RDB_CELL::TEXT;
    cell.text = text;
    return cell;
}

// A row of a timing table: a net's name and three numbers.
std::vector<RDB_CELL> table_row(std::size_t n) {
    return {text_cell("u_core/path_" + std::to_string(n)), number_cell(0.001 * static_cast<double>(n % 4000)),
            number_cell(static_cast<double>(n % 97)), number_cell(1.5 + static_cast<double>(n % 13))};
}

std::vector<std::vector<RDB_CELL>> rows(std::size_t count, std::size_t first) {
    std::vector<std::vector<RDB_CELL>> out;
    out.reserve(count);
    for (std::size_t r = 0; r < count; ++r) out.push_back(table_row(first + r));
    return out;
}

// Puts contents into the installed folders report: every chart ten points,
// every text a paragraph, and the tables the rest of kCells, spread evenly.
std::size_t fill_folders_report(const rplbench::ReportShape& shape) {
    DBMUI_MANAGER* manager = DBMUI_MANAGER::get_dbmui_manager();
    RDB_REPORT* report = manager->get_rdb_report(rplbench::bench_report_type(), "bench");
    std::size_t table_rows = (kCells - shape.charts * kChartRows * 2) / 4, tables_left = shape.tables, cells = 0;
    for (RDB_OBJECT* folder_object : *report->get_main_folder()) {
        for (RDB_OBJECT* item : *folder_object->dynamic_cast_to_RDB_FOLDER_OBJECT()) {
            if (RDB_CHART_TABLE_OBJECT* chart = item->dynamic_cast_to_RDB_CHART_TABLE_OBJECT()) {
                std::vector<std::vector<RDB_CELL>> points;
                for (std::size_t p = 0; p < kChartRows; ++p)
                    points.push_back({text_cell(std::to_string(p)), number_cell(static_cast<double>(p * p % 17))});
                chart->set_number_of_columns(2);
                chart->set_headings({"Bin", "Paths"});
                chart->set_cells(std::move(points));
                cells += kChartRows * 2;
            } else if (RDB_TABLE_OBJECT* table = item->dynamic_cast_to_RDB_TABLE_OBJECT()) {
                std::size_t count = table_rows / tables_left--;
                table_rows -= count;
                table->set_headings({"Net", "Slack (ns)", "Fanout", "Delay (ns)"});
                table->set_cells(rows(count, cells));
                cells += count * 4;
            } else if (RDB_TEXT_OBJECT* text = item->dynamic_cast_to_RDB_TEXT_OBJECT()) {
                text->set_text("Placement finished; the critical path runs through u_core.\nRouting used 14 passes.");
            }
        }
    }
    manager->unget_rdb_report(rplbench::bench_report_type(), "bench");
    return cells;
}

struct LargeExport {
    rplbench::ScratchDir dir;
    std::unique_ptr<RPL_REPORT_TOC> toc;
    std::size_t cells = 0;
};

LargeExport& large_export() {
    static LargeExport* made = [] {
        auto* out = new LargeExport;
        rplbench::ReportShape shape = rplbench::install_folders_report(kFolders, kItems);
        out->cells = fill_folders_report(shape);
        out->toc = std::make_unique<RPL_REPORT_TOC>(rplbench::bench_report_type(), rplbench::bench_report_name());
        out->toc->generate_toc(true);
        return out;
    }();
    return *made;
}

ReportFormat format_of(const benchmark::State& state) { return state.range(0) ? ReportFormat::html : ReportFormat::text; }

void export_report(benchmark::State& state) {
    LargeExport& large = large_export();
    std::string file = large.dir.file(state.range(0) ? "export.html" : "export.txt");
    rpl_toc::ReportWritten written;
    for (auto _ : state) written = rpl_toc::write_report_file(*large.toc, file, format_of(state));
    if (!written.error.empty()) return state.SkipWithError(written.error.c_str());
    std::ifstream in(file, std::ios::binary | std::ios::ate);
    state.counters["sections"] = static_cast<double>(written.sections);
    state.counters["cells"] = static_cast<double>(large.cells);
    state.counters["bytes"] = static_cast<double>(in.tellg());
}

// The floor: a file of as many bytes as the export writes, written whole.
void export_bytes_floor(benchmark::State& state) {
    LargeExport& large = large_export();
    std::string content = rpl_toc::format_report(*large.toc, format_of(state));
    std::string file = large.dir.file("floor");
    for (auto _ : state) {
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        out.write(content.data(), static_cast<std::streamsize>(content.size()));
        out.close();
        if (!out) return state.SkipWithError("cannot write the floor's file");
    }
    state.counters["bytes"] = static_cast<double>(content.size());
}

// One folder holding one table of kLongRows rows, opened as the viewer
// opens a report.
std::unique_ptr<rpl_toc::Session> long_table_session(const rplbench::ScratchDir& dir) {
    rpl_toc::ReportFile report;
    report.name = "long";
    report.type = 3;
    report.main_folder = std::make_unique<RDB_FOLDER_OBJECT>("R");
    auto* table = report.main_folder->add(new RDB_TABLE_OBJECT("Paths", 4, static_cast<int>(kLongRows)));
    table->set_headings({"Net", "Slack (ns)", "Fanout", "Delay (ns)"});
    table->set_cells(rows(kLongRows, 0));
    return std::make_unique<rpl_toc::Session>(std::move(report), dir.path());
}

void preview_long_table(benchmark::State& state) {
    rplbench::ScratchDir dir;
    std::unique_ptr<rpl_toc::Session> session = long_table_session(dir);
    rpl_toc::SettingsChange typed;
    typed.widths = {{0, 160}, {1, 80}, {2, 64}, {3, 80}};
    typed.order = {{0, 0}, {1, 3}, {2, 2}, {3, 1}};
    std::size_t shown = 0;
    for (auto _ : state) {
        rpl_toc::Outcome<rpl_toc::Preview> preview = rpl_toc::preview_section(*session, "||R||Paths", typed, 200);
        if (!preview.ok()) return state.SkipWithError("no preview");
        shown = preview.result().drawn.rows_shown;
        benchmark::DoNotOptimize(preview.result().html.data());
    }
    state.counters["rows"] = static_cast<double>(kLongRows);
    state.counters["rows_shown"] = static_cast<double>(shown);
}

void common(benchmark::internal::Benchmark* b) { b->UseRealTime()->Unit(benchmark::kMillisecond); }

}  // namespace

BENCHMARK(export_report)->Arg(0)->Arg(1)->Iterations(1)->Apply(common);
BENCHMARK(export_bytes_floor)->Arg(0)->Arg(1)->Apply(common);
BENCHMARK(preview_long_table)->Apply(common);

BENCHMARK_MAIN();
