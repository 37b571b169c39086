// What a built TOC of 100,000 sections costs in memory. Runs alone in its
// process, so the peak resident size is the build's and nothing else's.
//
// Counters (bytes unless named otherwise):
//   peak_rss_MiB             the process's peak resident size after the build
//   report_rss_MiB           resident size with the stand-in report in memory,
//                            before the build (the database's share)
//   rss_per_section          growth of the resident size over the build
//   tracked_live_per_section bytes the TOC keeps through the tracked allocator
//   tracked_blocks_per_section  blocks it keeps
//   tracked_alloc_per_section   bytes the build allocated in all, transient
//                            strings and settings-file objects included
//   allocs_per_section       allocations the build made
#include <benchmark/benchmark.h>

#include "bench_support.h"

namespace {

void toc_memory(benchmark::State& state) {
    std::size_t sections = static_cast<std::size_t>(state.range(0));
    rplbench::ReportShape shape = rplbench::install_report(sections);
    RPL_REPORT_TOC toc(rplbench::bench_report_type(), rplbench::bench_report_name());

    std::size_t rss_before = rplbench::current_rss_bytes();
    std::size_t live_before = host_mem_live_bytes();
    std::size_t blocks_before = host_mem_live_blocks();
    std::size_t total_before = host_mem_total_bytes();
    std::size_t allocs_before = host_mem_total_allocations();
    for (auto _ : state) toc.generate_toc(true);
    if (toc.m_section_index.size() != shape.sections) state.SkipWithError("wrong number of sections");

    double n = static_cast<double>(shape.sections);
    const double mib = 1024.0 * 1024.0;
    state.counters["sections"] = n;
    state.counters["peak_rss_MiB"] = static_cast<double>(rplbench::peak_rss_bytes()) / mib;
    state.counters["report_rss_MiB"] = static_cast<double>(rss_before) / mib;
    state.counters["rss_per_section"] =
        (static_cast<double>(rplbench::current_rss_bytes()) - static_cast<double>(rss_before)) / n;
    state.counters["tracked_live_per_section"] = static_cast<double>(host_mem_live_bytes() - live_before) / n;
    state.counters["tracked_blocks_per_section"] = static_cast<double>(host_mem_live_blocks() - blocks_before) / n;
    state.counters["tracked_alloc_per_section"] = static_cast<double>(host_mem_total_bytes() - total_before) / n;
    state.counters["allocs_per_section"] = static_cast<double>(host_mem_total_allocations() - allocs_before) / n;
}

}  // namespace

// One build: a second one would measure the first one's freed memory.
BENCHMARK(toc_memory)->Arg(100000)->Iterations(1)->Repetitions(1)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    rplbench::ScratchDir scratch;  // no settings file: the build stores nothing but the tree
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
