#include "rpl/rpl_table.h"

#include "rpl/rpl_msg.h"
#include "rpl/rpl_report_settings_file.h"

#define RPL_SOURCE_FILE "rpl_table.cpp"

namespace {

const char* const KEY_COLUMN_WIDTHS = "COLUMN_WIDTHS";
const char* const KEY_COLUMN_ORDER = "COLUMN_ORDER";

template <class LIST, class VALUE>
VALUE get_entry(const LIST& list, unsigned int index, VALUE fill) {
    return index < list.size() ? list[index] : fill;
}

template <class LIST, class VALUE>
void set_entry(LIST& list, unsigned int index, VALUE value, VALUE fill) {
    if (index >= list.size()) list.resize(static_cast<std::size_t>(index) + 1, fill);
    list[index] = value;
}

// Calls take_item(item) for each comma-ended item of `value`, at most
// `limit` of them. Text after the last comma is not an item.
template <class TAKE>
void for_each_item(const string& value, std::uint32_t limit, TAKE take_item) {
    std::size_t position = 0;
    for (std::uint32_t count = 0; count < limit; ++count) {
        std::size_t comma = value.find(',', position);
        if (comma == string::npos) return;
        take_item(value.substr(position, comma - position));
        position = comma + 1;
    }
}

int item_number(const string& item) {
    string::const_iterator start = item.begin();
    return gen_atoi(item, &start);
}

}  // namespace

RPL_TABLE::RPL_TABLE() : m_num_columns(0), m_row_test_failed(false) {}
RPL_TABLE::RPL_TABLE(const string& name) : RPL_REPORT_SECTION(name), m_num_columns(0), m_row_test_failed(false) {}

RPL_TABLE::~RPL_TABLE() {}

RPL_TABLE* RPL_TABLE::dynamic_cast_to_RPL_TABLE() { return this; }
const RPL_TABLE* RPL_TABLE::dynamic_cast_to_RPL_TABLE() const { return this; }

// ---- Columns ------------------------------------------------------------------

int RPL_TABLE::get_column_width(unsigned int column) { return get_entry(m_column_width, column, 0); }

void RPL_TABLE::set_column_width(unsigned int column, int width) {
    m_settings_changed = true;
    set_entry(m_column_width, column, width, 0);
}

int RPL_TABLE::get_display_column(unsigned int column) { return get_entry(m_display_column, column, 0); }

void RPL_TABLE::set_display_column(unsigned int column, int display_column) {
    m_settings_changed = true;
    set_entry(m_display_column, column, display_column, 0);
}

RPL_TABLE::ALIGNMENT RPL_TABLE::get_alignment(unsigned int column) {
    return get_entry(m_column_alignment, column, LEFT);
}

void RPL_TABLE::set_alignment(unsigned int column, ALIGNMENT alignment) {
    m_settings_changed = true;
    set_entry(m_column_alignment, column, alignment, LEFT);
}

// ---- Settings: column widths, alignments and order ------------------------------

bool RPL_TABLE::read_acf_settings() {
    bool found = false;
    RPL_REPORT_SECTION::read_acf_settings();
    RPL_REPORT_SETTINGS_FILE settings;
    if (!load_settings(settings)) return false;

    string widths = settings.get_value_str(m_rdb_path, KEY_COLUMN_WIDTHS);
    if (!widths.empty()) {
        m_column_width.clear();
        m_column_alignment.clear();
        // An item ending in a letter also carries an alignment: "L" is left,
        // any other letter right. An item without one (or an empty item)
        // gives a width only, so later letters go to earlier columns.
        for_each_item(widths, m_num_columns, [this](const string& item) {
            if (!item.empty() && gen_local_isalpha(static_cast<signed char>(item.back())))
                m_column_alignment.push_back(item.back() == 'L' ? LEFT : RIGHT);
            m_column_width.push_back(item_number(item));
        });
        found = true;
    }
    string order = settings.get_value_str(m_rdb_path, KEY_COLUMN_ORDER);
    if (!order.empty()) {
        m_display_column.clear();
        for_each_item(order, m_num_columns,
                      [this](const string& item) { m_display_column.push_back(item_number(item)); });
        found = true;
    }
    return found;
}

void RPL_TABLE::write_acf_settings() {
    RPL_REPORT_SECTION::write_acf_settings();
    if (get_report_toc() == nullptr || !m_settings_changed) return;

    string widths;
    string order;
    string item;
    if (m_num_columns != 0 && m_column_width.size() >= m_num_columns) {
        for (std::uint32_t i = 0; i < m_num_columns; ++i) {
            char letter = 'L';
            if (i < m_column_alignment.size() && m_column_alignment[i] != LEFT) {
                RPL_CHECK(m_column_alignment[i] == RIGHT);
                letter = 'R';
            }
            gen_sprintf(&item, "%d%c%c", m_column_width[i], letter, ',');
            widths += item;
        }
    }
    if (m_num_columns != 0 && m_display_column.size() >= m_num_columns) {
        for (std::uint32_t i = 0; i < m_num_columns; ++i) {
            gen_sprintf(&item, "%d%c", m_display_column[i], ',');
            order += item;
        }
    }

    RPL_REPORT_SETTINGS_FILE settings;
    if (!load_settings(settings)) return;
    if (!widths.empty()) settings.set_value_str(m_rdb_path, KEY_COLUMN_WIDTHS, widths);
    if (!order.empty()) settings.set_value_str(m_rdb_path, KEY_COLUMN_ORDER, order);
    settings.write_section_to_disk();
}
