#include "tools/core/progress_words.h"

#include <cstdio>

#include "tools/core/section_info.h"

namespace rpl_toc {

const char* const kReadingReport = "reading the report and building its table of contents";

std::string progress_words(const Progress& p) {
    std::string out = printable(p.what);
    if (p.saves_expected > 0 && p.saves_done > 0)
        out += ", " + with_separators(p.saves_done) + " of " + with_separators(p.saves_expected) + " saves";
    else if (p.saves_expected > 0)
        out += ", " + with_separators(p.saves_expected) + (p.saves_expected == 1 ? " save" : " saves") + " expected";
    if (p.seconds < 1) return out;  // a moment is not worth a number
    char elapsed[48];
    std::snprintf(elapsed, sizeof elapsed, ", %.1f s so far", p.seconds);
    return out + elapsed;
}

std::string mark_activity(const std::vector<std::string>& paths, bool marked) {
    std::string out = marked ? "marking" : "unmarking";
    if (paths.empty()) return out;
    out += " " + paths.front();
    if (paths.size() > 1) out += " and " + with_separators(paths.size() - 1) + " more";
    return out;
}

}  // namespace rpl_toc
