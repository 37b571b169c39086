// A table of the report: its column count and three per-column lists the
// host lays the table out with (widths, display columns, alignments). The
// lists grow on demand and are independent of each other and of the column
// count; a position a list does not reach reads as 0 or LEFT.
#ifndef RPL_TABLE_H
#define RPL_TABLE_H

#include "rpl/rpl_report_section.h"

class RPL_EXPORT RPL_TABLE : public RPL_REPORT_SECTION {
public:
    enum ALIGNMENT : std::int32_t { LEFT = 0, RIGHT = 1 };
    typedef std::vector<ALIGNMENT, MEM_STL_ALLOCATOR<ALIGNMENT>> ALIGNMENT_VECTOR;

    RPL_TABLE();
    explicit RPL_TABLE(const string& name);
    ~RPL_TABLE() override;

    RPL_TABLE* dynamic_cast_to_RPL_TABLE() override;
    const RPL_TABLE* dynamic_cast_to_RPL_TABLE() const override;

    // The base settings, then "COLUMN_WIDTHS" and "COLUMN_ORDER". True when
    // a non-empty value of either key was read. Does not mark the settings
    // as changed.
    bool read_acf_settings() override;
    // The base settings, then the column keys in a second load and save. A
    // list shorter than m_num_columns leaves its key as stored.
    void write_acf_settings() override;

    // Getters answer 0 (or LEFT) past the end of their list and never grow
    // it. Setters grow their own list with 0 (or LEFT) up to the index, store
    // the value and mark the settings as changed, on every call. No index is
    // checked against m_num_columns: that is the caller's part.
    int get_column_width(unsigned int column);
    void set_column_width(unsigned int column, int width);
    int get_display_column(unsigned int column);
    void set_display_column(unsigned int column, int display_column);
    ALIGNMENT get_alignment(unsigned int column);
    void set_alignment(unsigned int column, ALIGNMENT alignment);

    std::uint32_t m_num_columns;      // bounds what is read and written, not the lists
    RPL_INT_VECTOR m_column_width;
    RPL_INT_VECTOR m_display_column;
    ALIGNMENT_VECTOR m_column_alignment;
    bool m_row_test_failed;           // set by the builder's row test, never reset
};

#endif
