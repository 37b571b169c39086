// What a long operation is doing, in one line, the same for every front
// end: the command line's status line and the viewer's answer to a request
// that finds it busy.
#ifndef TOOLS_CORE_PROGRESS_WORDS_H
#define TOOLS_CORE_PROGRESS_WORDS_H

#include <cstddef>
#include <string>
#include <vector>

namespace rpl_toc {

struct Progress {
    std::string what;           // mark_activity's words, or "reading the report"
    std::size_t saves_done = 0;
    std::size_t saves_expected = 0;  // 0: the operation does not count saves
    double seconds = 0;              // since it began
};

// "unmarking ||R||F, 1,200 of 4,041 saves, 2.3 s so far"; before the first
// save "unmarking ||R||F, 4,041 saves expected, 1.4 s so far", and without
// saves "reading the report, 1.5 s so far". The time is left out for the
// first second. Control characters of a path are escaped.
std::string progress_words(const Progress& progress);

// "marking ||R||F" or "unmarking ||R||F and 3 more": a mark of `paths`.
std::string mark_activity(const std::vector<std::string>& paths, bool marked);

// What reading a report file and building its table of contents is called.
extern const char* const kReadingReport;

}  // namespace rpl_toc

#endif
