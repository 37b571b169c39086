#include "rpl/rpl_report_section.h"

#include "rpl/rpl_msg.h"
#include "rpl/rpl_report_settings_file.h"
#include "rpl/rpl_report_toc.h"

#define RPL_SOURCE_FILE "rpl_report_section.cpp"

namespace {

// Settings keys every section persists.
const char* const KEY_OUTPUT_SECTION = "OUTPUT_SECTION";
const char* const KEY_PAGE_ORIENTATION = "PAGE_ORIENTATION";

// A stored value as a number, `absent` when it is empty.
int stored_number(const string& value, int absent) {
    return value.empty() ? absent : gen_local_atoi(value.c_str());
}

}  // namespace

// ---- Construction and the tree ------------------------------------------------

RPL_REPORT_SECTION::RPL_REPORT_SECTION() { init_defaults(); }

RPL_REPORT_SECTION::RPL_REPORT_SECTION(const string& name) : m_name(name) { init_defaults(); }

void RPL_REPORT_SECTION::init_defaults() {
    m_children = nullptr;
    m_marked_for_output = true;
    m_non_text_flag = true;
    m_spare_flag = false;
    m_parent = nullptr;
    m_rdb_object_type = 0;
    m_toc = nullptr;
    m_page_orientation = 1;
    m_settings_changed = false;
}

RPL_REPORT_SECTION::~RPL_REPORT_SECTION() {
    if (m_children != nullptr) {
        while (!m_children->empty()) {
            RPL_REPORT_SECTION* rs = m_children->front();
            if (RPL_CHECK(rs != NULL)) delete rs;
            m_children->pop_front();
        }
        delete m_children;
        m_children = nullptr;
    }
    m_parent = nullptr;
    m_toc = nullptr;
}

void RPL_REPORT_SECTION::add_child(RPL_REPORT_SECTION* child) {
    if (!RPL_CHECK(child != NULL)) return;
    if (m_children == nullptr) m_children = new RPL_SECTION_LIST();
    m_children->push_back(child);
    child->m_parent = this;
}

RPL_REPORT_SECTION* RPL_REPORT_SECTION::section_exists(const string& rdb_path) {
    if (m_rdb_path == rdb_path) return this;
    if (m_children == nullptr) return nullptr;
    for (RPL_REPORT_SECTION* child : *m_children) {
        if (child == nullptr) continue;
        if (RPL_REPORT_SECTION* found = child->section_exists(rdb_path)) return found;
    }
    return nullptr;
}

RPL_REPORT_TOC* RPL_REPORT_SECTION::get_report_toc() {
    return RPL_REPORT_TOC::is_valid_pointer(m_toc) ? m_toc : nullptr;
}

RDB_REPORT* RPL_REPORT_SECTION::get_rdb_report() {
    RPL_REPORT_TOC* toc = get_report_toc();
    return toc == nullptr ? nullptr : toc->get_rdb_report();
}

void RPL_REPORT_SECTION::free_rdb_report() {
    if (RPL_REPORT_TOC* toc = get_report_toc()) toc->free_rdb_report();
}

string RPL_REPORT_SECTION::get_short_rdb_path() {
    string path = m_rdb_path;
    if (path.compare(0, 2, "||") == 0) path.erase(0, 2);
    return path;
}

// ---- Downcasts: only the section's own kind answers -----------------------------

RPL_REPORT_SECTION* RPL_REPORT_SECTION::dynamic_cast_to_RPL_REPORT_SECTION() { return this; }
const RPL_REPORT_SECTION* RPL_REPORT_SECTION::dynamic_cast_to_RPL_REPORT_SECTION() const { return this; }
RPL_FOLDER* RPL_REPORT_SECTION::dynamic_cast_to_RPL_FOLDER() { return nullptr; }
const RPL_FOLDER* RPL_REPORT_SECTION::dynamic_cast_to_RPL_FOLDER() const { return nullptr; }
RPL_CHART* RPL_REPORT_SECTION::dynamic_cast_to_RPL_CHART() { return nullptr; }
const RPL_CHART* RPL_REPORT_SECTION::dynamic_cast_to_RPL_CHART() const { return nullptr; }
RPL_TEXT* RPL_REPORT_SECTION::dynamic_cast_to_RPL_TEXT() { return nullptr; }
const RPL_TEXT* RPL_REPORT_SECTION::dynamic_cast_to_RPL_TEXT() const { return nullptr; }
RPL_TABLE* RPL_REPORT_SECTION::dynamic_cast_to_RPL_TABLE() { return nullptr; }
const RPL_TABLE* RPL_REPORT_SECTION::dynamic_cast_to_RPL_TABLE() const { return nullptr; }
RPL_EMBEDDED* RPL_REPORT_SECTION::dynamic_cast_to_RPL_EMBEDDED() { return nullptr; }
const RPL_EMBEDDED* RPL_REPORT_SECTION::dynamic_cast_to_RPL_EMBEDDED() const { return nullptr; }
RPL_CMP_SUMMARY* RPL_REPORT_SECTION::dynamic_cast_to_RPL_CMP_SUMMARY() { return nullptr; }
const RPL_CMP_SUMMARY* RPL_REPORT_SECTION::dynamic_cast_to_RPL_CMP_SUMMARY() const { return nullptr; }
RPL_GAUGES* RPL_REPORT_SECTION::dynamic_cast_to_RPL_GAUGES() { return nullptr; }
const RPL_GAUGES* RPL_REPORT_SECTION::dynamic_cast_to_RPL_GAUGES() const { return nullptr; }

// ---- Settings: output mark and page orientation ---------------------------------

bool RPL_REPORT_SECTION::load_settings(RPL_REPORT_SETTINGS_FILE& settings) {
    RPL_REPORT_TOC* toc = get_report_toc();
    if (toc == nullptr) return false;
    settings.m_filename = toc->get_settings_filename();
    return settings.read_section_from_disk(m_rdb_path);
}

bool RPL_REPORT_SECTION::read_acf_settings() {
    RPL_REPORT_SETTINGS_FILE settings;
    if (!load_settings(settings)) return false;

    int output = stored_number(settings.get_value_str(m_rdb_path, KEY_OUTPUT_SECTION), 1);
    m_marked_for_output = output == 1;
    int orientation = stored_number(settings.get_value_str(m_rdb_path, KEY_PAGE_ORIENTATION), 0);
    m_page_orientation = orientation == 1 ? 2 : 1;

    settings.free_storage();
    return true;
}

void RPL_REPORT_SECTION::write_acf_settings() {
    if (!m_settings_changed) return;
    RPL_REPORT_SETTINGS_FILE settings;
    if (!load_settings(settings)) return;

    settings.set_value_str(m_rdb_path, KEY_OUTPUT_SECTION, m_marked_for_output ? "1" : "0");
    settings.set_value_str(m_rdb_path, KEY_PAGE_ORIENTATION, m_page_orientation == 2 ? "1" : "0");
    settings.write_section_to_disk();
}

// ---- Output marking --------------------------------------------------------------

int RPL_REPORT_SECTION::get_num_marked_for_output() const {
    int state = m_marked_for_output ? 2 : 0;
    if (m_children == nullptr) return state;
    // Every child is visited; any child that disagrees makes the subtree mixed.
    int result = state;
    for (const RPL_REPORT_SECTION* child : *m_children) {
        if (child == nullptr) continue;
        int child_state = child->get_num_marked_for_output();
        if (child_state != state) result = 1;
    }
    return result;
}

void RPL_REPORT_SECTION::set_marked_for_output(bool marked) {
    m_marked_for_output = marked;
    m_settings_changed = true;
    write_acf_settings();
    if (m_children != nullptr) {
        for (RPL_REPORT_SECTION* child : *m_children)
            if (child != nullptr) child->set_marked_for_output(marked);
    }
    if (m_parent != nullptr) m_parent->update_marked_for_output();
}

void RPL_REPORT_SECTION::internal_set_marked_for_output(bool marked) {
    m_marked_for_output = marked;
    m_settings_changed = true;
    write_acf_settings();
}

void RPL_REPORT_SECTION::update_marked_for_output() {
    // Iterative over the ancestors: a deep tree must not cost stack here.
    for (RPL_REPORT_SECTION* section = this; section != nullptr; section = section->m_parent) {
        if (section->m_children == nullptr) continue;
        bool any_marked = false;
        for (const RPL_REPORT_SECTION* child : *section->m_children)
            if (child != nullptr && child->m_marked_for_output) any_marked = true;
        section->m_marked_for_output = any_marked;
        section->m_settings_changed = true;
        section->write_acf_settings();
    }
}
