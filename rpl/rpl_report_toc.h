// The table of contents of one report: the section tree built from the
// report database, a flat index of every section in reading order, and the
// registry of live TOCs that lets sections tell whether theirs still exists.
#ifndef RPL_REPORT_TOC_H
#define RPL_REPORT_TOC_H

#include "h/rdb.h"
#include "rpl/rpl_types.h"

class RPL_EXPORT RPL_REPORT_TOC {
public:
    // An empty TOC, entered in the registry. The default one has type 0 and
    // an empty name.
    RPL_REPORT_TOC();
    RPL_REPORT_TOC(RDB_REPORT_TYPE report_type, const string& report_name);
    // Destroys the tree, then leaves the registry: while the sections go,
    // their TOC still counts as live.
    ~RPL_REPORT_TOC();
    RPL_REPORT_TOC(const RPL_REPORT_TOC&) = delete;
    RPL_REPORT_TOC& operator=(const RPL_REPORT_TOC&) = delete;

    // Replaces the tree by one built from the report. The flag is ignored.
    void generate_toc(bool flag);
    // Destroys every section and empties the index; the TOC stays usable.
    void clear_children();

    // The report from the database manager (asked anew on every call), or
    // null. Pair every call with free_rdb_report.
    RDB_REPORT* get_rdb_report();
    void free_rdb_report();

    // Whether `toc` is a live TOC. Only compares: null and dangling
    // pointers are fine.
    static bool is_valid_pointer(RPL_REPORT_TOC* toc);

    // Building (depth-first, each folder before its contents).
    void build_rdb_toc();
    void build_folder(RDB_FOLDER_OBJECT* folder, RPL_REPORT_SECTION* parent, string parent_path);

    // Lookup and navigation by rdb path, exact and case-sensitive. Stepping
    // passes over folders; an unknown path or an end gives "".
    RPL_REPORT_SECTION* section_exists(const string& rdb_path);
    string get_next_section(const string& rdb_path);
    string get_previous_section(const string& rdb_path);

    // The full path of the report's settings file, computed afresh on every
    // call: database directory, report key, settings extension.
    string get_settings_filename();

    RPL_SECTION_LIST* m_children;        // owned, with the whole tree below it
    string m_report_name;
    RDB_REPORT_TYPE m_report_type;
    RPL_SECTION_VECTOR m_section_index;  // not owned: aliases the tree, root first

    static RPL_TOC_LIST m_toc_list;      // every live TOC, in order of construction

private:
    RPL_LOCAL void init(RDB_REPORT_TYPE report_type, const string& report_name);
    RPL_LOCAL void build_root(RDB_FOLDER_OBJECT* main_folder, string path);
    RPL_LOCAL RPL_REPORT_SECTION* build_section(RDB_OBJECT* child, const string& parent_path);
    RPL_LOCAL int find_anchor(const string& rdb_path) const;
};

#endif
