// The node of a report's table of contents, and the root of the seven
// section kinds.
//
// A section is identified by its rdb path: "||" and the root folder's name,
// then "||" and the name of every object below it down to the section. The
// path is set by the TOC builder and never recomputed.
#ifndef RPL_REPORT_SECTION_H
#define RPL_REPORT_SECTION_H

#include "h/rdb.h"
#include "rpl/rpl_types.h"

class RPL_FOLDER;
class RPL_CHART;
class RPL_TEXT;
class RPL_TABLE;
class RPL_EMBEDDED;
class RPL_CMP_SUMMARY;
class RPL_GAUGES;
class RPL_REPORT_SETTINGS_FILE;

class RPL_EXPORT RPL_REPORT_SECTION {
public:
    RPL_REPORT_SECTION();
    explicit RPL_REPORT_SECTION(const string& name);
    RPL_REPORT_SECTION(const RPL_REPORT_SECTION&) = delete;
    RPL_REPORT_SECTION& operator=(const RPL_REPORT_SECTION&) = delete;

    // Checked downcasts: the section seen as that kind, or null. They stand
    // in for the language's run-time type checks.
    virtual RPL_REPORT_SECTION* dynamic_cast_to_RPL_REPORT_SECTION();
    virtual const RPL_REPORT_SECTION* dynamic_cast_to_RPL_REPORT_SECTION() const;
    virtual RPL_FOLDER* dynamic_cast_to_RPL_FOLDER();
    virtual const RPL_FOLDER* dynamic_cast_to_RPL_FOLDER() const;
    virtual RPL_CHART* dynamic_cast_to_RPL_CHART();
    virtual const RPL_CHART* dynamic_cast_to_RPL_CHART() const;
    virtual RPL_TEXT* dynamic_cast_to_RPL_TEXT();
    virtual const RPL_TEXT* dynamic_cast_to_RPL_TEXT() const;
    virtual RPL_TABLE* dynamic_cast_to_RPL_TABLE();
    virtual const RPL_TABLE* dynamic_cast_to_RPL_TABLE() const;
    virtual RPL_EMBEDDED* dynamic_cast_to_RPL_EMBEDDED();
    virtual const RPL_EMBEDDED* dynamic_cast_to_RPL_EMBEDDED() const;
    virtual RPL_CMP_SUMMARY* dynamic_cast_to_RPL_CMP_SUMMARY();
    virtual const RPL_CMP_SUMMARY* dynamic_cast_to_RPL_CMP_SUMMARY() const;
    virtual RPL_GAUGES* dynamic_cast_to_RPL_GAUGES();
    virtual const RPL_GAUGES* dynamic_cast_to_RPL_GAUGES() const;

    // Deletes the whole subtree: children in list order, each with its own
    // subtree first. The section is not taken out of its parent's list or
    // its TOC's index: only its owner destroys it.
    virtual ~RPL_REPORT_SECTION();

    // Restores the output mark and page orientation from the report's
    // settings file. True when the file was loaded (or does not exist yet);
    // false without a live TOC or when the file exists but cannot be read.
    virtual bool read_acf_settings();
    // Stores the output mark and page orientation, once m_settings_changed
    // is set and the TOC is live. Nothing is saved when the file cannot be
    // loaded whole.
    virtual void write_acf_settings();

    // Appends `child` to the children and takes ownership of it.
    void add_child(RPL_REPORT_SECTION* child);
    // The first section of this subtree, in pre-order, whose rdb path equals
    // `rdb_path` byte for byte, or null.
    RPL_REPORT_SECTION* section_exists(const string& rdb_path);
    // m_toc while it is a live TOC, otherwise null.
    RPL_REPORT_TOC* get_report_toc();
    // The report of the owning TOC, borrowed from the report database, or
    // null (also without a live TOC). Pair every call with free_rdb_report.
    RDB_REPORT* get_rdb_report();
    void free_rdb_report();
    // The rdb path without its one leading "||".
    string get_short_rdb_path();

    // Output marking. The state of a subtree is 0 (nothing marked),
    // 1 (partly) or 2 (all); the section itself counts.
    int get_num_marked_for_output() const;
    // Marks or unmarks the whole subtree, persisting every section, then
    // recomputes the ancestors.
    void set_marked_for_output(bool marked);
    // Marks or unmarks this section alone and persists it.
    void internal_set_marked_for_output(bool marked);
    // A section with a child list is marked when any child is; recompute
    // this section (if it has a list) and every ancestor, persisting each.
    void update_marked_for_output();

    RPL_SECTION_LIST* m_children;   // owned; null until the first add_child
    string m_name;
    bool m_marked_for_output;
    bool m_non_text_flag;           // false on texts only; for the library's callers
    bool m_spare_flag;              // for the library's callers
    RPL_REPORT_SECTION* m_parent;   // not owned: back-reference, null on a root
    string m_report_name;
    std::int32_t m_rdb_object_type;
    string m_rdb_path;
    RPL_REPORT_TOC* m_toc;          // not owned: checked with is_valid_pointer before every use
    std::int32_t m_page_orientation;  // 1 or 2
    string m_header;
    string m_footer;
    bool m_settings_changed;        // never cleared once set

protected:
    // Loads the report's settings file into `settings`, which keeps only
    // this section's block (a section reads and changes nothing else; the
    // save is then write_section_to_disk). False without a live TOC or when
    // the file cannot be loaded whole; then nothing may be read from it,
    // nor saved.
    bool load_settings(RPL_REPORT_SETTINGS_FILE& settings);

private:
    RPL_LOCAL void init_defaults();
};

#endif
