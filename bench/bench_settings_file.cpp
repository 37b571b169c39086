// One load and one save of a settings file, side by side with two INI
// libraries and with the bare file operations as the floor. Every run uses
// the same bytes: a file of N blocks shaped like the library's own.
//
//   bare_read        open, read the whole file into memory, close
//   rpl_read         RPL_REPORT_SETTINGS_FILE::read_from_disk
//   inih_parse       ini_parse with a callback that stores nothing
//   simpleini_load   CSimpleIniA::LoadFile
//   bare_write       new file beside the target, one write, rename over it
//   rpl_write        RPL_REPORT_SETTINGS_FILE::write_to_disk of the loaded store
//   simpleini_save   CSimpleIniA::SaveFile of the loaded store
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bench_support.h"

#ifdef RPL_BENCH_HAVE_SIMPLEINI
#define SI_IMPLEMENTATION
#define SI_NO_CONVERSION
#include <SimpleIni.h>
#endif
#ifdef RPL_BENCH_HAVE_INIH
#include <ini.h>
#endif

namespace {

using rplbench::ScratchDir;

const std::size_t KEYS_PER_BLOCK = 4;

ScratchDir* g_scratch = nullptr;

struct TestFile {
    std::string path;
    std::string text;
};

// The file of `blocks` blocks, made on first use and kept for the run.
const TestFile& test_file(std::size_t blocks) {
    static std::map<std::size_t, TestFile> files;
    TestFile& file = files[blocks];
    if (file.path.empty()) {
        file.path = g_scratch->file("blocks_" + std::to_string(blocks) + ".rplset");
        file.text = rplbench::settings_text(blocks);
        rplbench::write_file(file.path, file.text);
    }
    return file;
}

std::size_t blocks_of(const benchmark::State& state) { return static_cast<std::size_t>(state.range(0)); }

void set_processed(benchmark::State& state, const TestFile& file) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * file.text.size()));
    state.counters["blocks"] = static_cast<double>(blocks_of(state));
}

// ---- Loading --------------------------------------------------------------------------

void bare_read(benchmark::State& state) {
    const TestFile& file = test_file(blocks_of(state));
    for (auto _ : state) {
        int fd = ::open(file.path.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat st;
        ::fstat(fd, &st);
        std::unique_ptr<char[]> buffer(new char[static_cast<std::size_t>(st.st_size)]);
        ssize_t n = ::read(fd, buffer.get(), static_cast<std::size_t>(st.st_size));
        ::close(fd);
        if (n != st.st_size) state.SkipWithError("short read");
        benchmark::DoNotOptimize(buffer.get());
    }
    set_processed(state, file);
}

void rpl_read(benchmark::State& state) {
    const TestFile& file = test_file(blocks_of(state));
    RPL_REPORT_SETTINGS_FILE settings;
    settings.m_filename = file.path.c_str();
    for (auto _ : state) {
        // Each load first frees what the previous one stored, as a fresh
        // object's destruction would.
        if (!settings.read_from_disk()) state.SkipWithError("read_from_disk failed");
    }
    if (settings.m_sections.size() != blocks_of(state)) state.SkipWithError("wrong number of sections");
    set_processed(state, file);
}

#ifdef RPL_BENCH_HAVE_INIH
int count_pair(void* user, const char*, const char*, const char*) {
    ++*static_cast<std::size_t*>(user);
    return 1;
}

void inih_parse(benchmark::State& state) {
    const TestFile& file = test_file(blocks_of(state));
    std::size_t pairs = 0;
    for (auto _ : state) {
        pairs = 0;
        if (ini_parse(file.path.c_str(), count_pair, &pairs) != 0) state.SkipWithError("ini_parse failed");
    }
    if (pairs != blocks_of(state) * KEYS_PER_BLOCK) state.SkipWithError("wrong number of pairs");
    set_processed(state, file);
}
#endif

#ifdef RPL_BENCH_HAVE_SIMPLEINI
void simpleini_load(benchmark::State& state) {
    const TestFile& file = test_file(blocks_of(state));
    CSimpleIniA ini;
    for (auto _ : state) {
        ini.Reset();
        if (ini.LoadFile(file.path.c_str()) != SI_OK) state.SkipWithError("LoadFile failed");
    }
    CSimpleIniA::TNamesDepend sections;
    ini.GetAllSections(sections);
    if (sections.size() != blocks_of(state)) state.SkipWithError("wrong number of sections");
    set_processed(state, file);
}
#endif

// ---- Saving ---------------------------------------------------------------------------

void bare_write(benchmark::State& state) {
    const TestFile& file = test_file(blocks_of(state));
    std::string target = g_scratch->file("bare_write.rplset");
    for (auto _ : state) {
        if (!rplbench::bare_replace(target, file.text)) state.SkipWithError("bare write failed");
    }
    set_processed(state, file);
}

void rpl_write(benchmark::State& state) {
    const TestFile& file = test_file(blocks_of(state));
    std::string target = g_scratch->file("rpl_write.rplset");
    rplbench::write_file(target, file.text);
    RPL_REPORT_SETTINGS_FILE settings;
    settings.m_filename = target.c_str();
    for (auto _ : state) {
        // A save empties the store, so every save needs a load first.
        state.PauseTiming();
        if (!settings.read_from_disk()) state.SkipWithError("read_from_disk failed");
        state.ResumeTiming();
        if (!settings.write_to_disk()) state.SkipWithError("write_to_disk failed");
    }
    set_processed(state, file);
}

#ifdef RPL_BENCH_HAVE_SIMPLEINI
void simpleini_save(benchmark::State& state) {
    const TestFile& file = test_file(blocks_of(state));
    std::string target = g_scratch->file("simpleini_save.ini");
    CSimpleIniA ini;
    if (ini.LoadFile(file.path.c_str()) != SI_OK) state.SkipWithError("LoadFile failed");
    for (auto _ : state) {
        if (ini.SaveFile(target.c_str(), false) != SI_OK) state.SkipWithError("SaveFile failed");
    }
    set_processed(state, file);
}
#endif

void sizes(benchmark::internal::Benchmark* b) {
    for (std::int64_t blocks : {100, 1000, 10000, 100000}) b->Arg(blocks);
    b->UseRealTime()->Unit(benchmark::kMicrosecond);
}

}  // namespace

BENCHMARK(bare_read)->Apply(sizes);
BENCHMARK(rpl_read)->Apply(sizes);
#ifdef RPL_BENCH_HAVE_INIH
BENCHMARK(inih_parse)->Apply(sizes);
#endif
#ifdef RPL_BENCH_HAVE_SIMPLEINI
BENCHMARK(simpleini_load)->Apply(sizes);
#endif
BENCHMARK(bare_write)->Apply(sizes);
BENCHMARK(rpl_write)->Apply(sizes);
#ifdef RPL_BENCH_HAVE_SIMPLEINI
BENCHMARK(simpleini_save)->Apply(sizes);
#endif

int main(int argc, char** argv) {
    std::string skipped;
#ifndef RPL_BENCH_HAVE_SIMPLEINI
    skipped += " SimpleIni";
#endif
#ifndef RPL_BENCH_HAVE_INIH
    skipped += " inih";
#endif
    if (!skipped.empty()) std::fprintf(stderr, "peers skipped (not found at configure time):%s\n", skipped.c_str());
    benchmark::AddCustomContext("peers_skipped", skipped.empty() ? "none" : skipped.substr(1));

    ScratchDir scratch;
    g_scratch = &scratch;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    g_scratch = nullptr;
    return 0;
}
