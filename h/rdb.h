// Host report database: the manager that gives out reports, and the objects
// of a report tree.
//
// Object pointers belong to the database and are valid while the report is
// held (between get_rdb_report and unget_rdb_report). Strings are returned by
// value. The stand-in host lets tests and tools build reports in code: every
// class below has a public constructor, and a folder owns its children.
#ifndef H_RDB_H
#define H_RDB_H

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "h/gen_string.h"

// Default visibility: these are the host's symbols, also where a module
// built with hidden visibility includes them (see h/mem_alloc_sys.h).
#pragma GCC visibility push(default)

// Kinds of report. Any 32-bit value may be used; these are the named ones.
enum RDB_REPORT_TYPE : std::int32_t {
    RDB_REPORT_GENERIC = 0,
    RDB_REPORT_COMPILATION = 1,
    RDB_REPORT_SYNTHESIS = 2,
    RDB_REPORT_TIMING = 3,
    RDB_REPORT_POWER = 4,
    RDB_REPORT_SIMULATION = 5,
};

// Kinds of embedded object; copied, never interpreted, by the library.
enum RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM : std::int32_t {
    RDB_EMBEDDED_NONE = 0,
    RDB_EMBEDDED_IMAGE = 1,
    RDB_EMBEDDED_DOCUMENT = 2,
};

// The object type codes of the report database that sections are made for.
enum RDB_OBJECT_TYPE : std::int32_t {
    RDB_OBJECT_TYPE_FOLDER = 1,
    RDB_OBJECT_TYPE_TEXT = 3,
    RDB_OBJECT_TYPE_TABLE = 4,
    RDB_OBJECT_TYPE_CHART = 5,
    RDB_OBJECT_TYPE_EMBEDDED = 6,
    RDB_OBJECT_TYPE_CMP_SUMMARY = 7,
    RDB_OBJECT_TYPE_TABLE_2 = 8,
    RDB_OBJECT_TYPE_GAUGES = 9,
    RDB_OBJECT_TYPE_TABLE_3 = 14,
};

class RDB_FOLDER_OBJECT;
class RDB_LINK_RPT_OBJECT;
class RDB_TEXT_OBJECT;
class RDB_TABLE_OBJECT;
class RDB_ROW_TEST_OBJECT;
class RDB_CHART_TABLE_OBJECT;
class RDB_GAUGES_OBJECT;
class RDB_EMBEDDED_OBJECT;
class RDB_CMP_SUMMARY_OBJECT;

// ---- Contents --------------------------------------------------------------
// What a report's objects show: a table's headings and cells, a text, a
// gauge's reading, a summary's items. The library never reads them; the
// host's report viewer and report-file writer do, through the accessors
// marked "contents" below, while they hold the report.

// One cell of a table: empty, a text, or a number together with the text
// it is shown as.
struct RDB_CELL {
    enum KIND : unsigned char { EMPTY, TEXT, NUMBER };
    KIND kind = EMPTY;
    double number = 0.0;
    std::string text;
};

// Base of every object of a report tree. A plain RDB_OBJECT may carry any
// type code: its downcasts are all null, which is how tests make an object
// whose type promises a class it is not.
class RDB_OBJECT {
public:
    RDB_OBJECT(int type, const std::string& name, const std::string& header = "",
               const std::string& footer = "");
    virtual ~RDB_OBJECT();
    RDB_OBJECT(const RDB_OBJECT&) = delete;
    RDB_OBJECT& operator=(const RDB_OBJECT&) = delete;

    // Checked downcasts: the object seen as that class, or null.
    virtual RDB_FOLDER_OBJECT* dynamic_cast_to_RDB_FOLDER_OBJECT();
    virtual RDB_LINK_RPT_OBJECT* dynamic_cast_to_RDB_LINK_RPT_OBJECT();
    virtual RDB_TEXT_OBJECT* dynamic_cast_to_RDB_TEXT_OBJECT();
    virtual RDB_TABLE_OBJECT* dynamic_cast_to_RDB_TABLE_OBJECT();
    virtual RDB_ROW_TEST_OBJECT* dynamic_cast_to_RDB_ROW_TEST_OBJECT();
    virtual RDB_CHART_TABLE_OBJECT* dynamic_cast_to_RDB_CHART_TABLE_OBJECT();
    virtual RDB_GAUGES_OBJECT* dynamic_cast_to_RDB_GAUGES_OBJECT();
    virtual RDB_EMBEDDED_OBJECT* dynamic_cast_to_RDB_EMBEDDED_OBJECT();
    // Contents: the summary's view, for the viewer and writer. Kept after
    // the library's downcasts so their places in the table of virtual
    // operations stay as the library expects.
    virtual RDB_CMP_SUMMARY_OBJECT* dynamic_cast_to_RDB_CMP_SUMMARY_OBJECT();

    // The object type code; the same value on every call.
    int get_type() const;
    string get_name() const;
    string get_header();
    string get_footer();

    // Stand-in administration.
    void set_header(const std::string& header) { m_header = header; }
    void set_footer(const std::string& footer) { m_footer = footer; }

private:
    int m_type;
    std::string m_name;
    std::string m_header;
    std::string m_footer;
};

// A folder: an ordered sequence of children, null entries allowed.
class RDB_FOLDER_OBJECT : public RDB_OBJECT {
public:
    typedef std::vector<RDB_OBJECT*>::iterator iterator;

    // `type` is RDB_OBJECT_TYPE_FOLDER for every real folder; tests give
    // other codes to make a main folder that is not a folder.
    explicit RDB_FOLDER_OBJECT(const std::string& name, int type = RDB_OBJECT_TYPE_FOLDER);
    ~RDB_FOLDER_OBJECT() override;

    RDB_FOLDER_OBJECT* dynamic_cast_to_RDB_FOLDER_OBJECT() override;

    virtual iterator begin();
    virtual iterator end();

    // Appends a child and takes ownership of it; null is stored as a null
    // entry. Returns the child, for chaining.
    template <class T>
    T* add(T* child) {
        m_children.push_back(child);
        return child;
    }
    std::size_t size() const { return m_children.size(); }

private:
    std::vector<RDB_OBJECT*> m_children;  // owned, in report order
};

// A folder whose contents are linked in from another report.
class RDB_LINK_RPT_OBJECT : public RDB_FOLDER_OBJECT {
public:
    explicit RDB_LINK_RPT_OBJECT(const std::string& name);

    RDB_LINK_RPT_OBJECT* dynamic_cast_to_RDB_LINK_RPT_OBJECT() override;

    // Releases what the link holds of the linked report; the object stays
    // valid.
    void free_report();
};

class RDB_TEXT_OBJECT : public RDB_OBJECT {
public:
    RDB_TEXT_OBJECT(const std::string& name, bool html);
    RDB_TEXT_OBJECT* dynamic_cast_to_RDB_TEXT_OBJECT() override;
    bool is_html() const;

    // Contents: the text itself, plain or HTML as is_html says.
    const std::string& get_text() const { return m_text; }
    void set_text(const std::string& text) { m_text = text; }

private:
    bool m_html;
    std::string m_text;
};

// A table. `type` is RDB_OBJECT_TYPE_TABLE, _TABLE_2 or _TABLE_3.
class RDB_TABLE_OBJECT : public RDB_OBJECT {
public:
    RDB_TABLE_OBJECT(const std::string& name, std::uint32_t columns, int rows, int type = RDB_OBJECT_TYPE_TABLE);
    RDB_TABLE_OBJECT* dynamic_cast_to_RDB_TABLE_OBJECT() override;
    std::uint32_t get_number_of_columns() const;
    int get_number_of_rows() const;
    void set_number_of_rows(int rows) { m_rows = rows; }  // stand-in administration
    void set_number_of_columns(std::uint32_t columns) { m_columns = columns; }

    // Contents: one heading per column (fewer when not every column has
    // one) and the rows of cells as given; a row may be shorter than the
    // columns, its missing cells read as empty.
    const std::vector<std::string>& get_headings() const { return m_headings; }
    const std::vector<std::vector<RDB_CELL>>& get_cells() const { return m_cells; }
    void set_headings(std::vector<std::string> headings) { m_headings = std::move(headings); }
    void set_cells(std::vector<std::vector<RDB_CELL>> cells) { m_cells = std::move(cells); }

private:
    std::uint32_t m_columns;
    int m_rows;
    std::vector<std::string> m_headings;
    std::vector<std::vector<RDB_CELL>> m_cells;
};

// The yes/no-per-row view some tables offer.
class RDB_ROW_TEST_OBJECT {
public:
    virtual ~RDB_ROW_TEST_OBJECT();
    virtual bool test_row(int row) = 0;
};

// A table with a row-test view: one answer per row, rows beyond the answers
// answer true. The questions are recorded as runs of consecutive rows, so a
// table asked about every one of 2^31 rows costs no more memory than one
// asked about a single row: what a table costs to hold stays proportional
// to its answers, whatever row count it is given.
class RDB_ROW_TEST_TABLE_OBJECT : public RDB_TABLE_OBJECT, public RDB_ROW_TEST_OBJECT {
public:
    RDB_ROW_TEST_TABLE_OBJECT(const std::string& name, std::uint32_t columns,
                              const std::vector<bool>& answers, int type = RDB_OBJECT_TYPE_TABLE);
    RDB_ROW_TEST_OBJECT* dynamic_cast_to_RDB_ROW_TEST_OBJECT() override;
    bool test_row(int row) override;
    // Every row asked, in order; meant for tables asked about a few rows.
    std::vector<int> rows_asked() const;

private:
    struct RUN {
        int first;
        std::int64_t count;
    };
    std::vector<bool> m_answers;
    std::vector<RUN> m_runs_asked;
};

class RDB_CHART_TABLE_OBJECT : public RDB_TABLE_OBJECT {
public:
    RDB_CHART_TABLE_OBJECT(const std::string& name, int default_chart_type);
    RDB_CHART_TABLE_OBJECT* dynamic_cast_to_RDB_CHART_TABLE_OBJECT() override;
    int get_default_chart_type() const;

private:
    int m_default_chart_type;
};

// The record of one gauge; the library reads is_percentage only.
struct RDB_GAUGE_DATA {
    double m_value = 0.0;
    double m_limit = 0.0;  // the gauge's maximum; 0 when the report gives none
    bool is_percentage = false;
    std::string m_name;  // contents: what the gauge measures
};

class RDB_GAUGES_OBJECT : public RDB_OBJECT {
public:
    explicit RDB_GAUGES_OBJECT(const std::string& name);
    RDB_GAUGES_OBJECT* dynamic_cast_to_RDB_GAUGES_OBJECT() override;
    // The gauge at `index`, or null past the last one (or at a gap).
    RDB_GAUGE_DATA* get_data_at(unsigned int index);

    void add_gauge(bool is_percentage);
    // Contents: a gauge with its reading.
    void add_gauge(const RDB_GAUGE_DATA& gauge);
    // A missing record: get_data_at answers null at this index.
    void add_gap();

private:
    std::vector<std::unique_ptr<RDB_GAUGE_DATA>> m_gauges;
};

class RDB_EMBEDDED_OBJECT : public RDB_OBJECT {
public:
    RDB_EMBEDDED_OBJECT(const std::string& name, RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM type,
                        const std::string& info);
    RDB_EMBEDDED_OBJECT* dynamic_cast_to_RDB_EMBEDDED_OBJECT() override;
    RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM get_embedded_type() const;
    string get_info_str() const;

private:
    RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM m_embedded_type;
    std::string m_info;
};

// A compilation summary: name and value pairs, in order. The library
// builds its section from the type code alone and never downcasts to it.
class RDB_CMP_SUMMARY_OBJECT : public RDB_OBJECT {
public:
    explicit RDB_CMP_SUMMARY_OBJECT(const std::string& name);
    RDB_CMP_SUMMARY_OBJECT* dynamic_cast_to_RDB_CMP_SUMMARY_OBJECT() override;

    // Contents.
    const std::vector<std::pair<std::string, std::string>>& get_items() const { return m_items; }
    void add_item(const std::string& name, const std::string& value) { m_items.emplace_back(name, value); }

private:
    std::vector<std::pair<std::string, std::string>> m_items;
};

// One report: a main folder (owned, may be absent).
class RDB_REPORT {
public:
    explicit RDB_REPORT(RDB_FOLDER_OBJECT* main_folder);
    ~RDB_REPORT();
    RDB_REPORT(const RDB_REPORT&) = delete;
    RDB_REPORT& operator=(const RDB_REPORT&) = delete;

    RDB_FOLDER_OBJECT* get_main_folder() const;

private:
    RDB_FOLDER_OBJECT* m_main_folder;  // owned
};

// The report database manager.
class DBMUI_MANAGER {
public:
    // The one manager, or null when the host has none to give. May be
    // called before main.
    static DBMUI_MANAGER* get_dbmui_manager();

    // The report of `type` for `requester`, or null when there is none.
    RDB_REPORT* get_rdb_report(RDB_REPORT_TYPE type, const char* requester);
    // Gives a report back; also accepted after a get that returned null.
    void unget_rdb_report(RDB_REPORT_TYPE type, const char* requester);

    DBMUI_MANAGER(const DBMUI_MANAGER&) = delete;
    DBMUI_MANAGER& operator=(const DBMUI_MANAGER&) = delete;

private:
    DBMUI_MANAGER() = default;
};

// A stable, never-null text for a report type ("timing" and so on, or
// "type<N>" for values without a name). The host owns it.
const char* rdb_report_type_to_string(RDB_REPORT_TYPE type);

// A key naming a report, safe as a file base name: bytes other than ASCII
// letters, digits, "_" and "-" are escaped as "%XX", and the two parts are
// joined with "@". Distinct (name, type text) pairs give distinct keys. A
// key that would exceed 200 bytes is cut and ends in a hash of the whole.
string rdb_make_report_key(const string& report_name, const string& report_type_text);

#pragma GCC visibility pop

#endif
