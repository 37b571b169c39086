#include "rpl/rpl_report_toc.h"

#include "h/fio.h"
#include "rpl/rpl_chart.h"
#include "rpl/rpl_cmp_summary.h"
#include "rpl/rpl_embedded.h"
#include "rpl/rpl_folder.h"
#include "rpl/rpl_gauges.h"
#include "rpl/rpl_msg.h"
#include "rpl/rpl_table.h"
#include "rpl/rpl_text.h"

#include <new>

#define RPL_SOURCE_FILE "rpl_report_toc.cpp"

// The library registers with the memory manager before any other static
// object of its own exists, and leaves it after all of them are gone. Both
// definitions sit in this one file, in this order, because the order of
// construction within a file is the order of definition.
static MEM_INITIALIZER s_rpl_mem_initializer("RPL");
RPL_TOC_LIST RPL_REPORT_TOC::m_toc_list;

namespace {

const char* const MODULE = "RPL";

// ---- Building one section ---------------------------------------------------------

void set_report_name(RPL_REPORT_SECTION* section, const RPL_REPORT_TOC* toc) {
    section->m_report_name = toc->m_report_name;
}

// The common fields after the report name, in the order the builder sets
// them: object type, rdb path, TOC, header, footer.
void set_place(RPL_REPORT_SECTION* section, RDB_OBJECT* child, const string& parent_path, RPL_REPORT_TOC* toc) {
    section->m_rdb_object_type = child->get_type();
    section->m_rdb_path = parent_path;
    section->m_rdb_path += "||";
    section->m_rdb_path += child->get_name();
    section->m_toc = toc;
    section->m_header = child->get_header();
    section->m_footer = child->get_footer();
}

void set_common_fields(RPL_REPORT_SECTION* section, RDB_OBJECT* child, const string& parent_path,
                       RPL_REPORT_TOC* toc) {
    set_report_name(section, toc);
    set_place(section, child, parent_path, toc);
}

// Each maker constructs its kind, fills it in its own order and reads its
// settings; it returns null only when the section could not be made. A
// downcast that is null although the type promises the class is reported
// and the section keeps its constructor's values.

RPL_REPORT_SECTION* make_folder(RDB_OBJECT* child, const string& path, RPL_REPORT_TOC* toc) {
    RPL_FOLDER* section = new (std::nothrow) RPL_FOLDER(child->get_name());
    if (!RPL_CHECK(section != NULL)) return nullptr;
    set_common_fields(section, child, path, toc);
    section->read_acf_settings();
    return section;
}

RPL_REPORT_SECTION* make_text(RDB_OBJECT* child, const string& path, RPL_REPORT_TOC* toc) {
    RPL_TEXT* text_section = new (std::nothrow) RPL_TEXT(child->get_name());
    if (!RPL_CHECK(text_section != NULL)) return nullptr;
    RDB_TEXT_OBJECT* text_object = child->dynamic_cast_to_RDB_TEXT_OBJECT();
    RPL_CHECK(text_object != NULL);
    set_common_fields(text_section, child, path, toc);
    if (text_object != nullptr) text_section->m_is_html = text_object->is_html();
    text_section->read_acf_settings();
    return text_section;
}

// Asks rows 1 up to rows - 1 and stops at the first false answer. Row 0 is
// never asked.
void run_row_test(RPL_TABLE* table_section, RDB_TABLE_OBJECT* table_object) {
    RDB_ROW_TEST_OBJECT* row_test = table_object->dynamic_cast_to_RDB_ROW_TEST_OBJECT();
    if (row_test == nullptr) return;
    int rows = table_object->get_number_of_rows();
    for (int row = 1; row < rows; ++row) {
        if (!row_test->test_row(row)) {
            table_section->m_row_test_failed = true;
            return;
        }
    }
}

RPL_REPORT_SECTION* make_table(RDB_OBJECT* child, const string& path, RPL_REPORT_TOC* toc) {
    RPL_TABLE* table_section = new (std::nothrow) RPL_TABLE(child->get_name());
    if (!RPL_CHECK(table_section != NULL)) return nullptr;
    RDB_TABLE_OBJECT* table_object = child->dynamic_cast_to_RDB_TABLE_OBJECT();
    RPL_CHECK(table_object != NULL);
    set_common_fields(table_section, child, path, toc);
    if (table_object != nullptr) table_section->m_num_columns = table_object->get_number_of_columns();
    table_section->read_acf_settings();
    if (table_object != nullptr) run_row_test(table_section, table_object);
    return table_section;
}

RPL_REPORT_SECTION* make_chart(RDB_OBJECT* child, const string& path, RPL_REPORT_TOC* toc) {
    RPL_CHART* chart_section = new (std::nothrow) RPL_CHART(child->get_name());
    if (!RPL_CHECK(chart_section != NULL)) return nullptr;
    RDB_CHART_TABLE_OBJECT* chart = child->dynamic_cast_to_RDB_CHART_TABLE_OBJECT();
    RPL_CHECK(chart != NULL);
    set_common_fields(chart_section, child, path, toc);
    if (chart != nullptr) chart_section->m_chart_type = chart->get_default_chart_type();
    // A freshly built chart writes all its settings on its next write.
    chart_section->m_settings_changed = true;
    chart_section->read_acf_settings();
    return chart_section;
}

RPL_REPORT_SECTION* make_embedded(RDB_OBJECT* child, const string& path, RPL_REPORT_TOC* toc) {
    RPL_EMBEDDED* em_section = new (std::nothrow) RPL_EMBEDDED(child->get_name());
    if (!RPL_CHECK(em_section != NULL)) return nullptr;
    set_report_name(em_section, toc);
    RDB_EMBEDDED_OBJECT* em_object = child->dynamic_cast_to_RDB_EMBEDDED_OBJECT();
    if (RPL_CHECK(em_object != NULL)) {
        em_section->m_info_str = em_object->get_info_str();
        em_section->m_embedded_type = em_object->get_embedded_type();
    }
    set_place(em_section, child, path, toc);
    em_section->read_acf_settings();
    return em_section;
}

RPL_REPORT_SECTION* make_summary(RDB_OBJECT* child, const string& path, RPL_REPORT_TOC* toc) {
    RPL_CMP_SUMMARY* section = new (std::nothrow) RPL_CMP_SUMMARY(child->get_name());
    if (!RPL_CHECK(section != NULL)) return nullptr;
    set_common_fields(section, child, path, toc);
    section->read_acf_settings();
    return section;
}

RPL_REPORT_SECTION* make_gauges(RDB_OBJECT* child, const string& path, RPL_REPORT_TOC* toc) {
    RPL_GAUGES* gauges_section = new (std::nothrow) RPL_GAUGES(child->get_name());
    if (!RPL_CHECK(gauges_section != NULL)) return nullptr;
    RDB_GAUGES_OBJECT* gauges_object = child->dynamic_cast_to_RDB_GAUGES_OBJECT();
    RPL_CHECK(gauges_object != NULL);
    set_common_fields(gauges_section, child, path, toc);
    gauges_section->init_percentages(gauges_object);
    gauges_section->read_acf_settings();
    return gauges_section;
}

}  // namespace

// ---- Construction, registry, tree ---------------------------------------------------

RPL_REPORT_TOC::RPL_REPORT_TOC() { init(static_cast<RDB_REPORT_TYPE>(0), string()); }

RPL_REPORT_TOC::RPL_REPORT_TOC(RDB_REPORT_TYPE report_type, const string& report_name) {
    init(report_type, report_name);
}

void RPL_REPORT_TOC::init(RDB_REPORT_TYPE report_type, const string& report_name) {
    m_children = nullptr;
    m_report_name = report_name;
    m_report_type = report_type;
    m_children = new (std::nothrow) RPL_SECTION_LIST();
    RPL_CHECK(m_children != NULL);
    m_toc_list.push_back(this);
}

RPL_REPORT_TOC::~RPL_REPORT_TOC() {
    clear_children();
    if (RPL_CHECK(m_children != NULL)) {
        delete m_children;
        m_children = nullptr;
    }
    m_toc_list.remove(this);
}

void RPL_REPORT_TOC::clear_children() {
    if (RPL_CHECK(m_children != NULL)) {
        while (!m_children->empty()) {
            RPL_REPORT_SECTION* rs = m_children->front();
            if (RPL_CHECK(rs != NULL)) delete rs;
            m_children->pop_front();
        }
    }
    RPL_SECTION_VECTOR().swap(m_section_index);
}

void RPL_REPORT_TOC::generate_toc(bool /*flag*/) {
    clear_children();
    build_rdb_toc();
}

RDB_REPORT* RPL_REPORT_TOC::get_rdb_report() {
    DBMUI_MANAGER* manager = DBMUI_MANAGER::get_dbmui_manager();
    if (manager == nullptr) return nullptr;
    return manager->get_rdb_report(m_report_type, MODULE);
}

void RPL_REPORT_TOC::free_rdb_report() {
    DBMUI_MANAGER* manager = DBMUI_MANAGER::get_dbmui_manager();
    if (manager == nullptr) return;
    manager->unget_rdb_report(m_report_type, MODULE);
}

bool RPL_REPORT_TOC::is_valid_pointer(RPL_REPORT_TOC* toc) {
    for (RPL_REPORT_TOC* live : m_toc_list)
        if (live == toc) return true;
    return false;
}

// ---- Building ---------------------------------------------------------------------

void RPL_REPORT_TOC::build_rdb_toc() {
    string path = "||";
    clear_children();
    DBMUI_MANAGER* manager = DBMUI_MANAGER::get_dbmui_manager();
    RDB_REPORT* report = manager ? manager->get_rdb_report(m_report_type, MODULE) : nullptr;
    if (report == nullptr) {
        rpl_msg_debug("RPL_REPORT_TOC::build_rdb_toc: RDB_REPORT* is NULL");
    } else {
        RDB_FOLDER_OBJECT* main_folder = report->get_main_folder();
        if (main_folder == nullptr || main_folder->get_type() != RDB_OBJECT_TYPE_FOLDER)
            rpl_msg_debug("No root folder in report.");
        else
            build_root(main_folder, path);
    }
    // The report goes back whenever there is a manager, also when it gave none.
    manager = DBMUI_MANAGER::get_dbmui_manager();
    if (manager != nullptr) manager->unget_rdb_report(m_report_type, MODULE);
}

void RPL_REPORT_TOC::build_root(RDB_FOLDER_OBJECT* main_folder, string path) {
    RPL_FOLDER* root = new (std::nothrow) RPL_FOLDER(main_folder->get_name());
    bool have_root = RPL_CHECK(root != NULL);
    bool have_list = RPL_CHECK(m_children != NULL);
    // Without a root list nobody would own the tree: build nothing.
    if (!have_root || !have_list) {
        delete root;
        return;
    }
    m_children->push_back(root);
    m_section_index.push_back(root);
    path += main_folder->get_name();
    root->m_report_name = m_report_name;
    root->m_rdb_object_type = main_folder->get_type();
    root->m_rdb_path = path;
    root->m_toc = this;
    root->read_acf_settings();
    build_folder(main_folder, root, path);
}

RPL_REPORT_SECTION* RPL_REPORT_TOC::build_section(RDB_OBJECT* child, const string& parent_path) {
    switch (child->get_type()) {
        case RDB_OBJECT_TYPE_FOLDER: return make_folder(child, parent_path, this);
        case RDB_OBJECT_TYPE_TEXT: return make_text(child, parent_path, this);
        case RDB_OBJECT_TYPE_TABLE:
        case RDB_OBJECT_TYPE_TABLE_2:
        case RDB_OBJECT_TYPE_TABLE_3: return make_table(child, parent_path, this);
        case RDB_OBJECT_TYPE_CHART: return make_chart(child, parent_path, this);
        case RDB_OBJECT_TYPE_EMBEDDED: return make_embedded(child, parent_path, this);
        case RDB_OBJECT_TYPE_CMP_SUMMARY: return make_summary(child, parent_path, this);
        case RDB_OBJECT_TYPE_GAUGES: return make_gauges(child, parent_path, this);
        default:
            rpl_msg_debug("Unhandled RDB Object type: %d", child->get_type());
            return nullptr;
    }
}

void RPL_REPORT_TOC::build_folder(RDB_FOLDER_OBJECT* folder, RPL_REPORT_SECTION* parent, string parent_path) {
    bool have_folder = RPL_CHECK(folder != NULL);
    bool have_parent = RPL_CHECK(parent != NULL);
    if (!have_folder || !have_parent) return;

    for (RDB_FOLDER_OBJECT::iterator it = folder->begin(); it != folder->end(); ++it) {
        RDB_OBJECT* child = *it;
        if (child == nullptr) {
            rpl_msg_debug("Eeeeeek! The RDB object was NULL");
            continue;
        }
        RPL_REPORT_SECTION* section = build_section(child, parent_path);
        if (section == nullptr) continue;
        parent->add_child(section);
        m_section_index.push_back(section);
        if (section->m_rdb_object_type == RDB_OBJECT_TYPE_FOLDER && section->dynamic_cast_to_RPL_FOLDER() != nullptr)
            build_folder(child->dynamic_cast_to_RDB_FOLDER_OBJECT(), section, section->m_rdb_path);
    }
    // A linked report's contents are released at the end of its own walk,
    // so nested links go innermost first.
    if (RDB_LINK_RPT_OBJECT* link = folder->dynamic_cast_to_RDB_LINK_RPT_OBJECT()) link->free_report();
}

// ---- Lookup and navigation ---------------------------------------------------------

RPL_REPORT_SECTION* RPL_REPORT_TOC::section_exists(const string& rdb_path) {
    if (m_children == nullptr) return nullptr;
    for (RPL_REPORT_SECTION* root : *m_children) {
        if (root == nullptr) continue;
        if (RPL_REPORT_SECTION* found = root->section_exists(rdb_path)) return found;
    }
    return nullptr;
}

int RPL_REPORT_TOC::find_anchor(const string& rdb_path) const {
    for (std::size_t k = 0; k < m_section_index.size(); ++k)
        if (m_section_index[k]->m_rdb_path == rdb_path) return static_cast<int>(k);
    return -1;
}

string RPL_REPORT_TOC::get_next_section(const string& rdb_path) {
    int anchor = find_anchor(rdb_path);
    if (anchor < 0) return string();
    for (std::size_t k = static_cast<std::size_t>(anchor) + 1; k < m_section_index.size(); ++k)
        if (m_section_index[k]->m_rdb_object_type != RDB_OBJECT_TYPE_FOLDER) return m_section_index[k]->m_rdb_path;
    return string();
}

string RPL_REPORT_TOC::get_previous_section(const string& rdb_path) {
    int anchor = find_anchor(rdb_path);
    if (anchor <= 0) return string();
    for (int k = anchor - 1; k >= 0; --k)
        if (m_section_index[k]->m_rdb_object_type != RDB_OBJECT_TYPE_FOLDER) return m_section_index[k]->m_rdb_path;
    return string();
}

// ---- Settings file location ---------------------------------------------------------

string RPL_REPORT_TOC::get_settings_filename() {
    FIO_PATH path = gen_get_db_dir_path();
    string type_text = rdb_report_type_to_string(m_report_type);
    string key = rdb_make_report_key(m_report_name, type_text);
    path.base(key);
    path.extension(FIO_EXTENSION_REPORT_SETTINGS, FIO_EXTENSION_NONE);
    return path.fullpath();
}
