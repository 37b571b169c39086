// The sections' road through the settings file against the whole store's:
// any bytes as a settings file (as they come, or first put in the written
// form by a whole-store save), a section to load (one of the file's own
// headers or any name), values to read and changes to save. Both roads
// must return the same from the load and the save, read the same values
// and leave the same bytes; anything else stops the run.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "../tests/support/settings_roads.h"
#include "fuzz_files.h"

namespace {

using rpltest::SettingsOperation;
using rpltest::SettingsRoad;

const std::string& scratch_dir() {
    static const std::string dir = fuzz_scratch_dir("roads");
    return dir;
}

void write_bytes(const std::string& path, const std::string& bytes) {
    fuzz_write_file(path, bytes.data(), bytes.size());
}

// The file's bytes as a whole-store load and save leave them.
std::string written_form(const std::string& path, const std::string& bytes) {
    write_bytes(path, bytes);
    {
        RPL_REPORT_SETTINGS_FILE file;
        file.m_filename = to_rpl(path);
        if (file.read_from_disk()) file.write_to_disk();
    }
    std::string out;
    rpltest::read_whole_file(path, out);
    return out;
}

// The names of the file's header lines, so that the section loaded is often
// one the file holds.
std::vector<std::string> header_names(const std::string& bytes) {
    std::vector<std::string> names;
    for (std::size_t start = 0; start < bytes.size();) {
        std::size_t end = bytes.find('\n', start);
        if (end == std::string::npos) end = bytes.size();
        std::string line = bytes.substr(start, end - start);
        line = line.substr(0, line.find('\0'));
        if (line.size() >= 2 && line.front() == '[' && line.back() == ']') names.push_back(line.substr(1, line.size() - 2));
        start = end + 1;
    }
    return names;
}

const char* const kKeys[] = {"OUTPUT_SECTION", "PAGE_ORIENTATION", "CHART_TYPE", "COLUMN_WIDTHS", "COLUMN_ORDER"};

std::string key_from(FuzzedDataProvider& input) {
    if (input.ConsumeBool()) return input.ConsumeRandomLengthString(12);
    return kKeys[input.ConsumeIntegralInRange<std::size_t>(0, 4)];
}

SettingsOperation operation_from(FuzzedDataProvider& input, const std::vector<std::string>& names) {
    SettingsOperation operation;
    if (!names.empty() && input.ConsumeBool())
        operation.section = names[input.ConsumeIntegralInRange<std::size_t>(0, names.size() - 1)];
    else
        operation.section = input.ConsumeRandomLengthString(24);
    for (int n = input.ConsumeIntegralInRange(0, 3); n > 0; --n) operation.keys_read.push_back(key_from(input));
    for (int n = input.ConsumeIntegralInRange(0, 4); n > 0; --n) {
        std::string section = input.ConsumeIntegralInRange(0, 7) == 0 ? input.ConsumeRandomLengthString(24)
                                                                      : operation.section;
        std::string key = key_from(input);
        bool as_int = input.ConsumeBool();
        operation.changes.push_back({section, key, input.ConsumeRandomLengthString(16), as_int});
    }
    operation.save = input.ConsumeIntegralInRange(0, 3) != 0;
    return operation;
}

void check(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "the two settings-file roads disagree: %s\n", what);
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    const std::string whole = scratch_dir() + "/whole.rplset";
    const std::string block = scratch_dir() + "/block.rplset";
    bool absent = input.ConsumeIntegralInRange(0, 15) == 0;
    bool in_written_form = input.ConsumeBool();
    std::string bytes = input.ConsumeRandomLengthString(1 << 17);
    if (in_written_form) bytes = written_form(whole, bytes);
    SettingsOperation operation = operation_from(input, header_names(bytes));

    std::remove(whole.c_str());
    std::remove(block.c_str());
    if (!absent) {
        write_bytes(whole, bytes);
        write_bytes(block, bytes);
    }
    rpltest::SettingsOutcome expected = rpltest::run_settings_operation(SettingsRoad::WholeStore, whole, operation);
    rpltest::SettingsOutcome got = rpltest::run_settings_operation(SettingsRoad::SectionBlock, block, operation);
    check(got.loaded == expected.loaded, "the load's result");
    check(got.values == expected.values, "the values read");
    check(got.saved == expected.saved, "the save's result");
    check(got.file_exists == expected.file_exists, "whether the file is there");
    check(got.file_bytes == expected.file_bytes, "the bytes saved");
    return 0;
}
