// The TOC at work on generated reports of every section kind.
//
//   generate_toc/N/0     build without a settings file
//   generate_toc/N/1     build with a full settings file (every section's
//                        keys): loads the file once per section, twice per
//                        table and chart; counter "loads"
//   toc_file_read/N      one read_from_disk of that full file, the unit the
//                        build's cost is compared with
//   unmark_root/N        set_marked_for_output(false) on the root: one save
//                        per section and per ancestor recomputation;
//                        counter "saves"
//   unmark_leaf/N        set_marked_for_output(false) on the last table
//   next_section_walk/N  get_next_section from the root to the end of the
//                        index; counter "steps"
//
// And a large report against the bare file operations its settings rules
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
#include <string>

#include "bench_support.h"

namespace {

using rplbench::ReportShape;

std::string read_file(const string& path) {
    std::ifstream in(path.c_str(), std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// A generated report of `sections` sections in the database, and its TOC
// built; with `full_file` the report's settings file holds every key of
// every section, otherwise there is no settings file.
struct Prepared {
    ReportShape shape;
    std::unique_ptr<RPL_REPORT_TOC> toc;
    std::string settings_path;
    std::string settings_text;  // empty without a file
};

Prepared prepare(std::size_t sections, bool full_file) {
    Prepared p;
    p.shape = rplbench::install_report(sections);
    p.toc = std::make_unique<RPL_REPORT_TOC>(rplbench::bench_report_type(), rplbench::bench_report_name());
    string path = p.toc->get_settings_filename();
    p.settings_path = to_std(path);
    std::remove(p.settings_path.c_str());
    p.toc->generate_toc(true);
    if (full_file) {
        rplbench::write_full_settings(*p.toc);
        p.settings_text = read_file(path);
        p.toc->generate_toc(true);
    }
    return p;
}

std::size_t sections_of(const benchmark::State& state) { return static_cast<std::size_t>(state.range(0)); }

bool loads_file_twice(const RPL_REPORT_SECTION* section) {
    return section->dynamic_cast_to_RPL_TABLE() != nullptr || section->dynamic_cast_to_RPL_CHART() != nullptr;
}

std::size_t depth_of(const RPL_REPORT_SECTION* section) {
    std::size_t depth = 0;
    for (const RPL_REPORT_SECTION* s = section->m_parent; s != nullptr; s = s->m_parent) ++depth;
    return depth;
}

// The saves set_marked_for_output makes on a subtree: each section writes
// its own settings (a table or chart twice), then has every ancestor
// recomputed and written.
std::size_t saves_of_marking(const RPL_REPORT_SECTION* section) {
    std::size_t saves = (loads_file_twice(section) ? 2 : 1) + depth_of(section);
    if (section->m_children != nullptr)
        for (const RPL_REPORT_SECTION* child : *section->m_children) saves += saves_of_marking(child);
    return saves;
}

void set_all_marked(RPL_REPORT_TOC& toc) {
    for (RPL_REPORT_SECTION* section : toc.m_section_index) section->m_marked_for_output = true;
}

// ---- Building ---------------------------------------------------------------------------

void generate_toc(benchmark::State& state) {
    bool full_file = state.range(1) != 0;
    Prepared p = prepare(sections_of(state), full_file);
    for (auto _ : state) p.toc->generate_toc(true);
    if (p.toc->m_section_index.size() != p.shape.sections) state.SkipWithError("wrong number of sections");
    state.counters["sections"] = static_cast<double>(p.shape.sections);
    state.counters["loads"] = static_cast<double>(full_file ? p.shape.loads() : 0);
}

void toc_file_read(benchmark::State& state) {
    Prepared p = prepare(sections_of(state), true);
    RPL_REPORT_SETTINGS_FILE settings;
    settings.m_filename = p.toc->get_settings_filename();
    for (auto _ : state)
        if (!settings.read_from_disk()) state.SkipWithError("read_from_disk failed");
    state.counters["file_bytes"] = static_cast<double>(p.settings_text.size());
}

// ---- Marking ----------------------------------------------------------------------------

// Unmarks `section` once per iteration; between iterations (untimed) the
// file and the marks are put back as they were.
void unmark(benchmark::State& state, Prepared& p, RPL_REPORT_SECTION* section) {
    for (auto _ : state) {
        state.PauseTiming();
        rplbench::write_file(p.settings_path, p.settings_text);
        set_all_marked(*p.toc);
        state.ResumeTiming();
        section->set_marked_for_output(false);
    }
    if (section->get_num_marked_for_output() != 0) state.SkipWithError("the section is still marked");
    state.counters["saves"] = static_cast<double>(saves_of_marking(section));
}

void unmark_root(benchmark::State& state) {
    Prepared p = prepare(sections_of(state), true);
    unmark(state, p, p.toc->m_section_index.front());
}

void unmark_leaf(benchmark::State& state) {
    Prepared p = prepare(sections_of(state), true);
    RPL_REPORT_SECTION* leaf = nullptr;
    for (RPL_REPORT_SECTION* section : p.toc->m_section_index)
        if (section->dynamic_cast_to_RPL_TABLE() != nullptr) leaf = section;
    if (leaf == nullptr) return state.SkipWithError("no table in the report");
    unmark(state, p, leaf);
}

// ---- Navigation -------------------------------------------------------------------------

void next_section_walk(benchmark::State& state) {
    Prepared p = prepare(sections_of(state), false);
    std::size_t steps = 0;
    for (auto _ : state) {
        steps = 0;
        string path = p.toc->m_section_index.front()->m_rdb_path;
        while (!(path = p.toc->get_next_section(path)).empty()) ++steps;
    }
    if (steps != p.shape.sections - p.shape.folders) state.SkipWithError("the walk missed sections");
    state.counters["steps"] = static_cast<double>(steps);
}

// ---- A large report against its bare file operations -------------------------------------

const std::size_t FOLDERS = 40;
const std::size_t ITEMS = 100;

struct ScaleReport {
    rplbench::ReportShape shape;
    std::unique_ptr<RPL_REPORT_TOC> toc;
    std::string settings_path;
};

// Made anew for every run: the other benchmarks install reports of their
// own under the same name.
ScaleReport make_scale_report() {
    ScaleReport r;
    r.shape = rplbench::install_folders_report(FOLDERS, ITEMS);
    r.toc = std::make_unique<RPL_REPORT_TOC>(rplbench::bench_report_type(), rplbench::bench_report_name());
    r.settings_path = to_std(r.toc->get_settings_filename());
    std::remove(r.settings_path.c_str());
    r.toc->generate_toc(true);
    rplbench::write_full_settings(*r.toc);
    r.toc->generate_toc(true);
    return r;
}

RPL_REPORT_SECTION* middle_table(const ScaleReport& r) {
    std::size_t tables = 0, wanted = r.shape.tables / 2;
    for (RPL_REPORT_SECTION* section : r.toc->m_section_index)
        if (section->dynamic_cast_to_RPL_TABLE() != nullptr && tables++ == wanted) return section;
    return nullptr;
}

// A table writes its settings in two cycles, then every ancestor in one.
std::size_t leaf_cycles(const RPL_REPORT_SECTION* table) { return 2 + depth_of(table); }

void scale_build(benchmark::State& state) {
    ScaleReport r = make_scale_report();
    for (auto _ : state) r.toc->generate_toc(true);
    if (r.toc->m_section_index.size() != r.shape.sections) state.SkipWithError("wrong number of sections");
    state.counters["sections"] = static_cast<double>(r.shape.sections);
    state.counters["loads"] = static_cast<double>(r.shape.loads());
}

void scale_build_floor(benchmark::State& state) {
    ScaleReport r = make_scale_report();
    std::size_t loads = r.shape.loads();
    for (auto _ : state)
        for (std::size_t i = 0; i < loads; ++i)
            if (!rplbench::bare_read(r.settings_path)) return state.SkipWithError("bare read failed");
    state.counters["loads"] = static_cast<double>(loads);
}

void scale_leaf_mark(benchmark::State& state) {
    ScaleReport r = make_scale_report();
    RPL_REPORT_SECTION* table = middle_table(r);
    if (table == nullptr) return state.SkipWithError("no table");
    for (auto _ : state) table->set_marked_for_output(!table->m_marked_for_output);
    if (!table->m_marked_for_output) table->set_marked_for_output(true);
    state.counters["loads"] = state.counters["saves"] = static_cast<double>(leaf_cycles(table));
}

void scale_leaf_floor(benchmark::State& state) {
    ScaleReport r = make_scale_report();
    RPL_REPORT_SECTION* table = middle_table(r);
    if (table == nullptr) return state.SkipWithError("no table");
    std::string content = read_file(to_rpl(r.settings_path));
    if (content.empty()) return state.SkipWithError("cannot read the settings file");
    std::size_t cycles = leaf_cycles(table);
    for (auto _ : state)
        for (std::size_t i = 0; i < cycles; ++i)
            if (!rplbench::bare_read(r.settings_path) || !rplbench::bare_replace(r.settings_path, content))
                return state.SkipWithError("bare read or replace failed");
    state.counters["loads"] = state.counters["saves"] = static_cast<double>(cycles);
}

void common(benchmark::internal::Benchmark* b) { b->UseRealTime()->Unit(benchmark::kMicrosecond); }

}  // namespace

BENCHMARK(generate_toc)->Args({100, 0})->Args({1000, 0})->Args({10000, 0})->Apply(common);
BENCHMARK(generate_toc)->Args({100, 1})->Args({1000, 1})->Apply(common);
// About fourteen thousand loads of a 1.2 MB file: one timed build is enough.
BENCHMARK(generate_toc)->Args({10000, 1})->Iterations(1)->Repetitions(1)->Apply(common);
BENCHMARK(toc_file_read)->Arg(100)->Arg(1000)->Arg(10000)->Apply(common);
// Unmarking the root saves the file a few times per section: quadratic in
// the report's size by design, so it stops at 1,000 sections.
BENCHMARK(unmark_root)->Arg(100)->Arg(1000)->Apply(common);
BENCHMARK(unmark_leaf)->Arg(100)->Arg(1000)->Arg(10000)->Apply(common);
BENCHMARK(next_section_walk)->Arg(100)->Arg(1000)->Arg(10000)->Apply(common);
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
