// A large report against the bare file operations its settings rules
// amount to: 40 folders of 100 items (tables, charts and texts in turn;
// 4,041 sections) with a settings file holding every section's block.
//
//   scale_build          generate_toc; counter "loads" (one per section, a
//                        second one per table and chart)
//   scale_build_floor    that many bare reads of the file (open, read every
//                        byte, close)
//   scale_leaf_mark      set_marked_for_output on one table, in turn off and
//                        on; counters "loads" and "saves" (the table's two
//                        cycles, then one per ancestor)
//   scale_leaf_floor     that many bare reads and bare replaces (a new file
//                        beside the old one, renamed over it)
#include <benchmark/benchmark.h>

#include <fstream>
#include <memory>
#include <sstream>

#include "bench_support.h"

namespace {

const std::size_t FOLDERS = 40;
const std::size_t ITEMS = 100;

struct ScaleReport {
    rplbench::ReportShape shape;
    std::unique_ptr<RPL_REPORT_TOC> toc;
    std::string settings_path;
};

ScaleReport& scale_report() {
    static ScaleReport report = [] {
        ScaleReport r;
        r.shape = rplbench::install_folders_report(FOLDERS, ITEMS);
        r.toc = std::make_unique<RPL_REPORT_TOC>(rplbench::bench_report_type(), rplbench::bench_report_name());
        r.settings_path = to_std(r.toc->get_settings_filename());
        std::remove(r.settings_path.c_str());
        r.toc->generate_toc(true);
        rplbench::write_full_settings(*r.toc);
        r.toc->generate_toc(true);
        return r;
    }();
    return report;
}

bool read_text(const std::string& path, std::string& text) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    text = out.str();
    return static_cast<bool>(in);
}

RPL_REPORT_SECTION* middle_table(RPL_REPORT_TOC& toc) {
    std::size_t tables = 0, wanted = scale_report().shape.tables / 2;
    for (RPL_REPORT_SECTION* section : toc.m_section_index)
        if (section->dynamic_cast_to_RPL_TABLE() != nullptr && tables++ == wanted) return section;
    return nullptr;
}

std::size_t depth_of(const RPL_REPORT_SECTION* section) {
    std::size_t depth = 0;
    for (const RPL_REPORT_SECTION* s = section->m_parent; s != nullptr; s = s->m_parent) ++depth;
    return depth;
}

// A table writes its settings in two cycles, then every ancestor in one.
std::size_t leaf_cycles(const RPL_REPORT_SECTION* table) { return 2 + depth_of(table); }

void scale_build(benchmark::State& state) {
    ScaleReport& r = scale_report();
    for (auto _ : state) r.toc->generate_toc(true);
    if (r.toc->m_section_index.size() != r.shape.sections) state.SkipWithError("wrong number of sections");
    state.counters["sections"] = static_cast<double>(r.shape.sections);
    state.counters["loads"] = static_cast<double>(r.shape.loads());
}

void scale_build_floor(benchmark::State& state) {
    ScaleReport& r = scale_report();
    std::size_t loads = r.shape.loads();
    for (auto _ : state)
        for (std::size_t i = 0; i < loads; ++i)
            if (!rplbench::bare_read(r.settings_path)) return state.SkipWithError("bare read failed");
    state.counters["loads"] = static_cast<double>(loads);
}

void scale_leaf_mark(benchmark::State& state) {
    ScaleReport& r = scale_report();
    RPL_REPORT_SECTION* table = middle_table(*r.toc);
    if (table == nullptr) return state.SkipWithError("no table");
    for (auto _ : state) table->set_marked_for_output(!table->m_marked_for_output);
    if (!table->m_marked_for_output) table->set_marked_for_output(true);
    state.counters["loads"] = state.counters["saves"] = static_cast<double>(leaf_cycles(table));
}

void scale_leaf_floor(benchmark::State& state) {
    ScaleReport& r = scale_report();
    RPL_REPORT_SECTION* table = middle_table(*r.toc);
    if (table == nullptr) return state.SkipWithError("no table");
    std::string content;
    if (!read_text(r.settings_path, content)) return state.SkipWithError("cannot read the settings file");
    std::size_t cycles = leaf_cycles(table);
    for (auto _ : state)
        for (std::size_t i = 0; i < cycles; ++i)
            if (!rplbench::bare_read(r.settings_path) || !rplbench::bare_replace(r.settings_path, content))
                return state.SkipWithError("bare read or replace failed");
    state.counters["loads"] = state.counters["saves"] = static_cast<double>(cycles);
}

void common(benchmark::internal::Benchmark* b) { b->UseRealTime()->Unit(benchmark::kMillisecond); }

}  // namespace

BENCHMARK(scale_build)->Apply(common);
BENCHMARK(scale_build_floor)->Apply(common);
BENCHMARK(scale_leaf_mark)->Apply(common);
BENCHMARK(scale_leaf_floor)->Apply(common);

int main(int argc, char** argv) {
    rplbench::ScratchDir scratch;  // the database directory of the whole run
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
