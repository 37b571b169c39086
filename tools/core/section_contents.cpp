#include "tools/core/section_contents.h"

#include "host/host_strings.h"

namespace rpl_toc {

BorrowedReport::BorrowedReport(RPL_REPORT_TOC& toc) : m_toc(&toc), m_section(nullptr), m_report(toc.get_rdb_report()) {}

BorrowedReport::BorrowedReport(RPL_REPORT_SECTION& section)
    : m_toc(section.get_report_toc()), m_section(&section), m_report(section.get_rdb_report()) {}

BorrowedReport::~BorrowedReport() {
    if (m_section)
        m_section->free_rdb_report();
    else
        m_toc->free_rdb_report();
}

// The same walk as the TOC's build: the main folder, then each folder's
// entries in order, depth first, into every folder that is one; null
// entries and types no section is made for are passed over.
void BorrowedReport::walk(RDB_OBJECT* object, const std::string& path) {
    m_objects[path].push_back(object);
    if (object->get_type() != RDB_OBJECT_TYPE_FOLDER) return;
    RDB_FOLDER_OBJECT* folder = object->dynamic_cast_to_RDB_FOLDER_OBJECT();
    if (!folder) return;
    for (RDB_FOLDER_OBJECT::iterator it = folder->begin(); it != folder->end(); ++it) {
        RDB_OBJECT* child = *it;
        if (!child) continue;
        int type = child->get_type();
        bool presented = type == RDB_OBJECT_TYPE_FOLDER || type == RDB_OBJECT_TYPE_TEXT ||
                         type == RDB_OBJECT_TYPE_TABLE || type == RDB_OBJECT_TYPE_TABLE_2 ||
                         type == RDB_OBJECT_TYPE_TABLE_3 || type == RDB_OBJECT_TYPE_CHART ||
                         type == RDB_OBJECT_TYPE_EMBEDDED || type == RDB_OBJECT_TYPE_CMP_SUMMARY ||
                         type == RDB_OBJECT_TYPE_GAUGES;
        if (presented) walk(child, path + "||" + to_std(child->get_name()));
    }
}

void BorrowedReport::index_objects() {
    RDB_FOLDER_OBJECT* main_folder = m_report ? m_report->get_main_folder() : nullptr;
    if (main_folder && main_folder->get_type() == RDB_OBJECT_TYPE_FOLDER)
        walk(main_folder, "||" + to_std(main_folder->get_name()));
}

void BorrowedReport::index_sections() {
    if (!m_toc) return;
    std::unordered_map<std::string, std::size_t> seen;
    for (const RPL_REPORT_SECTION* s : m_toc->m_section_index) m_ordinal[s] = seen[to_std(s->m_rdb_path)]++;
}

RDB_OBJECT* BorrowedReport::object_of(const RPL_REPORT_SECTION& section) {
    if (!m_report) return nullptr;
    if (!m_indexed) {
        index_objects();
        index_sections();
        m_indexed = true;
    }
    auto objects = m_objects.find(to_std(section.m_rdb_path));
    auto ordinal = m_ordinal.find(&section);
    if (objects == m_objects.end() || ordinal == m_ordinal.end() || ordinal->second >= objects->second.size())
        return nullptr;
    return objects->second[ordinal->second];
}

}  // namespace rpl_toc
