// Any bytes as a settings file: load them, save, and load the saved file
// into a second object. The second load must hold exactly what the first
// did, a second save must write the same bytes as the first, no NUL byte
// may be written, and nothing may crash or leak.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "fuzz_files.h"
#include "host/host_strings.h"
#include "rpl/rpl.h"

namespace {

typedef std::vector<std::pair<std::string, std::vector<std::pair<std::string, std::string>>>> SNAPSHOT;

// The store in its own order, copied out of the tracked allocator.
SNAPSHOT snapshot(const RPL_REPORT_SETTINGS_FILE& file) {
    SNAPSHOT out;
    for (const auto& section : file.m_sections) {
        out.emplace_back(to_std(section.first), std::vector<std::pair<std::string, std::string>>());
        if (section.second == nullptr) continue;
        for (const auto& pair : *section.second) out.back().second.emplace_back(to_std(pair.first), to_std(pair.second));
    }
    return out;
}

const std::string& scratch_path() {
    static const std::string path = fuzz_scratch_dir("settings") + "/settings.rplset";
    return path;
}

std::string read_bytes(const std::string& path) {
    std::string text;
    FILE* in = std::fopen(path.c_str(), "rb");
    if (in == nullptr) std::abort();
    char buffer[65536];
    for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, in)) > 0;) text.append(buffer, n);
    std::fclose(in);
    return text;
}

void check(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "settings-file round trip broken: %s\n", what);
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& path = scratch_path();
    fuzz_write_file(path, data, size);

    SNAPSHOT loaded;
    std::string saved;
    {
        RPL_REPORT_SETTINGS_FILE first;
        first.m_filename = to_rpl(path);
        check(first.read_from_disk(), "a regular file did not load");
        loaded = snapshot(first);
        check(first.write_to_disk(), "the loaded store could not be saved");
        check(first.m_sections.empty(), "saving left the store filled");
        saved = read_bytes(path);
        check(saved.find('\0') == std::string::npos, "a NUL byte was written");
    }
    RPL_REPORT_SETTINGS_FILE second;
    second.m_filename = to_rpl(path);
    check(second.read_from_disk(), "the saved file did not load");
    check(snapshot(second) == loaded, "the saved file loads into another store");
    check(second.write_to_disk(), "the reloaded store could not be saved");
    check(read_bytes(path) == saved, "saving the reloaded store wrote other bytes");
    return 0;
}
