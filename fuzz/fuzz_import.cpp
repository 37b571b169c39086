// Any bytes through both roads of `rpl-toc import`: as a file of the flow
// (Yosys's stat, nextpnr's report, either log) and as the files of a
// folder (.csv, .txt, .html, .json, one folder down). Whatever the bytes,
// the import must not crash, must answer either a report that loads as any
// report file does, with a first layout worked out from it, or one error
// line that names the file; and the CSV reader must give back no more
// bytes than it was given.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "fuzz_files.h"
#include "tools/core/csv_reader.h"
#include "tools/core/import_inputs.h"
#include "tools/core/import_layout.h"
#include "tools/core/report_json.h"

namespace {

void check(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "import broken: %s\n", what);
    std::abort();
}

bool one_line(const std::string& text) { return text.find('\n') == std::string::npos; }

void check_import(const rpl_toc::Import& import, const std::string& named) {
    if (!import.ok()) {
        check(one_line(import.error), "an error of more than one line");
        check(import.error.rfind(named, 0) == 0, "an error that does not name the input");
        return;
    }
    check(rpl_toc::load_report_json(import.text).ok(), "an imported report that does not load");
    for (const rpl_toc::SectionLayout& layout : rpl_toc::first_layouts(import.report))
        check(!layout.change.names_nothing(), "an empty layout");
    for (const std::string& note : import.notes) check(one_line(note), "a note of more than one line");
}

void check_csv(const std::string& bytes) {
    std::size_t kept = 0;
    for (const rpl_toc::CsvRecord& record : rpl_toc::read_csv(bytes))
        for (const std::string& field : record) kept += field.size();
    check(kept <= bytes.size(), "the CSV reader made bytes up");
}

// The input split at each "\n--8<--\n" into the files of a folder.
std::vector<std::string> parts_of(const std::string& bytes) {
    const std::string cut = "\n--8<--\n";
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t at; (at = bytes.find(cut, start)) != std::string::npos; start = at + cut.size())
        parts.push_back(bytes.substr(start, at - start));
    parts.push_back(bytes.substr(start));
    return parts;
}

void check_folder(const std::string& scratch, const std::string& bytes) {
    static const char* const kNames[] = {"a.csv", "b.txt", "c.html", "d.json", "sub/e.csv", "sub/f.json", "g.log"};
    std::string folder = scratch + "/folder";
    for (const char* name : kNames) std::remove((folder + "/" + name).c_str());
    ::mkdir(folder.c_str(), 0755);
    ::mkdir((folder + "/sub").c_str(), 0755);
    std::vector<std::string> parts = parts_of(bytes);
    for (std::size_t i = 0; i < parts.size() && i < sizeof kNames / sizeof *kNames; ++i)
        fuzz_write_file(folder + "/" + kNames[i], parts[i].data(), parts[i].size());
    check_import(rpl_toc::import_inputs({folder}), folder);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string scratch = fuzz_scratch_dir("import");
    std::string bytes(reinterpret_cast<const char*>(data), size);
    check_csv(bytes);
    std::string file = scratch + "/input";
    fuzz_write_file(file, data, size);
    check_import(rpl_toc::import_inputs({file}), file);
    check_folder(scratch, bytes);
    return 0;
}
