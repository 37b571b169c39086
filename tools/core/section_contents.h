// What a section shows lives in the report, not in the section: the
// library copies names, counts and flags, never a table's cells or a
// text. The viewer and the report writer reach it as the design tool's
// own writer would: they borrow the report through the library, find the
// object the section was built from, read it and give the report back.
#ifndef TOOLS_CORE_SECTION_CONTENTS_H
#define TOOLS_CORE_SECTION_CONTENTS_H

#include <string>
#include <unordered_map>
#include <vector>

#include "h/rdb.h"
#include "rpl/rpl.h"

namespace rpl_toc {

// The report, held from construction to destruction: borrowed through the
// TOC (for a whole export) or through one section (for one preview), and
// given back once, as the library pairs get_rdb_report and
// free_rdb_report. Object pointers it answers are valid while it lives.
class BorrowedReport {
public:
    explicit BorrowedReport(RPL_REPORT_TOC& toc);
    explicit BorrowedReport(RPL_REPORT_SECTION& section);
    ~BorrowedReport();
    BorrowedReport(const BorrowedReport&) = delete;
    BorrowedReport& operator=(const BorrowedReport&) = delete;

    // The report object `section` was built from, or null when there is
    // no report or it no longer holds such an object. Sections that share
    // a path are told apart by their order: the k-th section with a path
    // in reading order was built from the k-th object with that path in
    // the report's depth-first order, as the library walks it.
    RDB_OBJECT* object_of(const RPL_REPORT_SECTION& section);

private:
    void index_objects();
    void index_sections();
    void walk(RDB_OBJECT* object, const std::string& path);

    RPL_REPORT_TOC* m_toc;            // not owned
    RPL_REPORT_SECTION* m_section;    // not owned: the borrower, or null for the TOC
    RDB_REPORT* m_report;             // not owned: the database's, held until destruction
    bool m_indexed = false;
    std::unordered_map<std::string, std::vector<RDB_OBJECT*>> m_objects;  // by path, in walk order
    std::unordered_map<const RPL_REPORT_SECTION*, std::size_t> m_ordinal;      // among sections of its path
};

}  // namespace rpl_toc

#endif
