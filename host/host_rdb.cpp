// The stand-in report database: objects built in code, one manager that
// holds reports by type and counts the holding protocol.
#include <cstdio>
#include <cstring>
#include <map>

#include "host/host.h"
#include "host/host_strings.h"

namespace {

// What the stand-in manager holds and has been asked.
struct STAND_IN {
    bool enabled = true;
    std::map<std::int32_t, std::unique_ptr<RDB_REPORT>> reports;
    std::map<std::int32_t, RDB_MANAGER_COUNTS> counts;
    std::vector<const RDB_LINK_RPT_OBJECT*> free_calls;
    std::int64_t test_rows = 0;
};

STAND_IN& stand_in() {
    static auto* state = new STAND_IN();  // never destroyed: used at unload
    return *state;
}

}  // namespace

// ---- Objects ----------------------------------------------------------------

RDB_OBJECT::RDB_OBJECT(int type, const std::string& name, const std::string& header, const std::string& footer)
    : m_type(type), m_name(name), m_header(header), m_footer(footer) {}
RDB_OBJECT::~RDB_OBJECT() = default;

RDB_FOLDER_OBJECT* RDB_OBJECT::dynamic_cast_to_RDB_FOLDER_OBJECT() { return nullptr; }
RDB_LINK_RPT_OBJECT* RDB_OBJECT::dynamic_cast_to_RDB_LINK_RPT_OBJECT() { return nullptr; }
RDB_TEXT_OBJECT* RDB_OBJECT::dynamic_cast_to_RDB_TEXT_OBJECT() { return nullptr; }
RDB_TABLE_OBJECT* RDB_OBJECT::dynamic_cast_to_RDB_TABLE_OBJECT() { return nullptr; }
RDB_ROW_TEST_OBJECT* RDB_OBJECT::dynamic_cast_to_RDB_ROW_TEST_OBJECT() { return nullptr; }
RDB_CHART_TABLE_OBJECT* RDB_OBJECT::dynamic_cast_to_RDB_CHART_TABLE_OBJECT() { return nullptr; }
RDB_GAUGES_OBJECT* RDB_OBJECT::dynamic_cast_to_RDB_GAUGES_OBJECT() { return nullptr; }
RDB_EMBEDDED_OBJECT* RDB_OBJECT::dynamic_cast_to_RDB_EMBEDDED_OBJECT() { return nullptr; }
RDB_CMP_SUMMARY_OBJECT* RDB_OBJECT::dynamic_cast_to_RDB_CMP_SUMMARY_OBJECT() { return nullptr; }

int RDB_OBJECT::get_type() const { return m_type; }
string RDB_OBJECT::get_name() const { return to_rpl(m_name); }
string RDB_OBJECT::get_header() { return to_rpl(m_header); }
string RDB_OBJECT::get_footer() { return to_rpl(m_footer); }

RDB_FOLDER_OBJECT::RDB_FOLDER_OBJECT(const std::string& name, int type) : RDB_OBJECT(type, name) {}
RDB_FOLDER_OBJECT::~RDB_FOLDER_OBJECT() {
    for (RDB_OBJECT* child : m_children) delete child;
}
RDB_FOLDER_OBJECT* RDB_FOLDER_OBJECT::dynamic_cast_to_RDB_FOLDER_OBJECT() { return this; }
RDB_FOLDER_OBJECT::iterator RDB_FOLDER_OBJECT::begin() { return m_children.begin(); }
RDB_FOLDER_OBJECT::iterator RDB_FOLDER_OBJECT::end() { return m_children.end(); }

RDB_LINK_RPT_OBJECT::RDB_LINK_RPT_OBJECT(const std::string& name) : RDB_FOLDER_OBJECT(name, RDB_OBJECT_TYPE_FOLDER) {}
RDB_LINK_RPT_OBJECT* RDB_LINK_RPT_OBJECT::dynamic_cast_to_RDB_LINK_RPT_OBJECT() { return this; }
void RDB_LINK_RPT_OBJECT::free_report() { stand_in().free_calls.push_back(this); }

RDB_TEXT_OBJECT::RDB_TEXT_OBJECT(const std::string& name, bool html) : RDB_OBJECT(RDB_OBJECT_TYPE_TEXT, name), m_html(html) {}
RDB_TEXT_OBJECT* RDB_TEXT_OBJECT::dynamic_cast_to_RDB_TEXT_OBJECT() { return this; }
bool RDB_TEXT_OBJECT::is_html() const { return m_html; }

RDB_TABLE_OBJECT::RDB_TABLE_OBJECT(const std::string& name, std::uint32_t columns, int rows, int type)
    : RDB_OBJECT(type, name), m_columns(columns), m_rows(rows) {}
RDB_TABLE_OBJECT* RDB_TABLE_OBJECT::dynamic_cast_to_RDB_TABLE_OBJECT() { return this; }
std::uint32_t RDB_TABLE_OBJECT::get_number_of_columns() const { return m_columns; }
int RDB_TABLE_OBJECT::get_number_of_rows() const { return m_rows; }

RDB_ROW_TEST_OBJECT::~RDB_ROW_TEST_OBJECT() = default;

RDB_ROW_TEST_TABLE_OBJECT::RDB_ROW_TEST_TABLE_OBJECT(const std::string& name, std::uint32_t columns,
                                                     const std::vector<bool>& answers, int type)
    : RDB_TABLE_OBJECT(name, columns, static_cast<int>(answers.size()), type), m_answers(answers) {}
RDB_ROW_TEST_OBJECT* RDB_ROW_TEST_TABLE_OBJECT::dynamic_cast_to_RDB_ROW_TEST_OBJECT() { return this; }
bool RDB_ROW_TEST_TABLE_OBJECT::test_row(int row) {
    // A row that follows the last one asked extends its run.
    if (!m_runs_asked.empty() && m_runs_asked.back().first + m_runs_asked.back().count == row)
        m_runs_asked.back().count++;
    else
        m_runs_asked.push_back({row, 1});
    stand_in().test_rows++;
    if (row < 0 || static_cast<std::size_t>(row) >= m_answers.size()) return true;
    return m_answers[static_cast<std::size_t>(row)];
}
std::vector<int> RDB_ROW_TEST_TABLE_OBJECT::rows_asked() const {
    std::vector<int> rows;
    for (const RUN& run : m_runs_asked)
        for (std::int64_t i = 0; i < run.count; ++i) rows.push_back(static_cast<int>(run.first + i));
    return rows;
}
RDB_CHART_TABLE_OBJECT::RDB_CHART_TABLE_OBJECT(const std::string& name, int default_chart_type)
    : RDB_TABLE_OBJECT(name, 0, 0, RDB_OBJECT_TYPE_CHART), m_default_chart_type(default_chart_type) {}
RDB_CHART_TABLE_OBJECT* RDB_CHART_TABLE_OBJECT::dynamic_cast_to_RDB_CHART_TABLE_OBJECT() { return this; }
int RDB_CHART_TABLE_OBJECT::get_default_chart_type() const { return m_default_chart_type; }

RDB_GAUGES_OBJECT::RDB_GAUGES_OBJECT(const std::string& name) : RDB_OBJECT(RDB_OBJECT_TYPE_GAUGES, name) {}
RDB_GAUGES_OBJECT* RDB_GAUGES_OBJECT::dynamic_cast_to_RDB_GAUGES_OBJECT() { return this; }
RDB_GAUGE_DATA* RDB_GAUGES_OBJECT::get_data_at(unsigned int index) {
    return index < m_gauges.size() ? m_gauges[index].get() : nullptr;
}
void RDB_GAUGES_OBJECT::add_gauge(bool is_percentage) {
    auto gauge = std::make_unique<RDB_GAUGE_DATA>();
    gauge->is_percentage = is_percentage;
    m_gauges.push_back(std::move(gauge));
}
void RDB_GAUGES_OBJECT::add_gauge(const RDB_GAUGE_DATA& gauge) {
    m_gauges.push_back(std::make_unique<RDB_GAUGE_DATA>(gauge));
}
void RDB_GAUGES_OBJECT::add_gap() { m_gauges.push_back(nullptr); }

RDB_EMBEDDED_OBJECT::RDB_EMBEDDED_OBJECT(const std::string& name, RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM type,
                                         const std::string& info)
    : RDB_OBJECT(RDB_OBJECT_TYPE_EMBEDDED, name), m_embedded_type(type), m_info(info) {}
RDB_EMBEDDED_OBJECT* RDB_EMBEDDED_OBJECT::dynamic_cast_to_RDB_EMBEDDED_OBJECT() { return this; }
RDB_EMBEDDED_OBJECT_EMBEDDED_TYPE_ENUM RDB_EMBEDDED_OBJECT::get_embedded_type() const { return m_embedded_type; }
string RDB_EMBEDDED_OBJECT::get_info_str() const { return to_rpl(m_info); }

RDB_CMP_SUMMARY_OBJECT::RDB_CMP_SUMMARY_OBJECT(const std::string& name)
    : RDB_OBJECT(RDB_OBJECT_TYPE_CMP_SUMMARY, name) {}
RDB_CMP_SUMMARY_OBJECT* RDB_CMP_SUMMARY_OBJECT::dynamic_cast_to_RDB_CMP_SUMMARY_OBJECT() { return this; }

RDB_REPORT::RDB_REPORT(RDB_FOLDER_OBJECT* main_folder) : m_main_folder(main_folder) {}
RDB_REPORT::~RDB_REPORT() { delete m_main_folder; }
RDB_FOLDER_OBJECT* RDB_REPORT::get_main_folder() const { return m_main_folder; }

// ---- Manager ------------------------------------------------------------------

DBMUI_MANAGER* DBMUI_MANAGER::get_dbmui_manager() {
    static auto* manager = new DBMUI_MANAGER();  // never destroyed: used at unload
    return stand_in().enabled ? manager : nullptr;
}

RDB_REPORT* DBMUI_MANAGER::get_rdb_report(RDB_REPORT_TYPE type, const char* requester) {
    RDB_MANAGER_COUNTS& c = stand_in().counts[type];
    c.gets++;
    c.requesters.push_back(requester ? requester : "");
    auto it = stand_in().reports.find(type);
    if (it == stand_in().reports.end() || !it->second) return nullptr;
    c.held++;
    return it->second.get();
}

void DBMUI_MANAGER::unget_rdb_report(RDB_REPORT_TYPE type, const char* requester) {
    RDB_MANAGER_COUNTS& c = stand_in().counts[type];
    c.ungets++;
    c.requesters.push_back(requester ? requester : "");
    if (c.held > 0) c.held--;
}

void host_rdb_set_report(RDB_REPORT_TYPE type, std::unique_ptr<RDB_REPORT> report) {
    stand_in().reports[type] = std::move(report);
}
void host_rdb_remove_report(RDB_REPORT_TYPE type) { stand_in().reports.erase(type); }
void host_rdb_remove_all_reports() { stand_in().reports.clear(); }
void host_rdb_set_manager_enabled(bool enabled) { stand_in().enabled = enabled; }
const RDB_MANAGER_COUNTS& host_rdb_counts(RDB_REPORT_TYPE type) { return stand_in().counts[type]; }

int host_rdb_reports_held() {
    int held = 0;
    for (const auto& entry : stand_in().counts) held += entry.second.held;
    return held;
}

const std::vector<const RDB_LINK_RPT_OBJECT*>& host_rdb_free_report_calls() { return stand_in().free_calls; }
std::int64_t host_rdb_test_row_count() { return stand_in().test_rows; }

void host_rdb_reset_counts() {
    stand_in().counts.clear();
    stand_in().free_calls.clear();
    stand_in().test_rows = 0;
}

// ---- Report keys ------------------------------------------------------------

const char* rdb_report_type_to_string(RDB_REPORT_TYPE type) {
    switch (type) {
        case RDB_REPORT_GENERIC: return "generic";
        case RDB_REPORT_COMPILATION: return "compilation";
        case RDB_REPORT_SYNTHESIS: return "synthesis";
        case RDB_REPORT_TIMING: return "timing";
        case RDB_REPORT_POWER: return "power";
        case RDB_REPORT_SIMULATION: return "simulation";
        default: break;
    }
    // Texts of unnamed types are made once and kept for the process's life.
    static auto* texts = new std::map<std::int32_t, std::string>();
    auto it = texts->find(type);
    if (it == texts->end()) it = texts->emplace(type, "type" + std::to_string(static_cast<long>(type))).first;
    return it->second.c_str();
}

namespace {

void escape_into(std::string& out, const string& text) {
    static const char hex[] = "0123456789ABCDEF";
    for (char ch : text) {
        unsigned char c = static_cast<unsigned char>(ch);
        bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
        if (plain) {
            out += ch;
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
}

std::uint64_t fnv1a(const std::string& text) {
    std::uint64_t h = 1469598103934665603ull;
    for (unsigned char c : text) {
        h ^= c;
        h *= 1099511628211ull;
    }
    return h;
}

}  // namespace

string rdb_make_report_key(const string& report_name, const string& report_type_text) {
    const std::size_t limit = 200;
    std::string key;
    escape_into(key, report_name);
    key += '@';
    escape_into(key, report_type_text);
    if (key.size() > limit) {
        char hash[24];
        std::snprintf(hash, sizeof hash, "~%016llx", static_cast<unsigned long long>(fnv1a(key)));
        key.resize(limit - std::strlen(hash));
        // Never cut an escape in half: it would leave a stray "%".
        std::size_t pct = key.rfind('%');
        if (pct != std::string::npos && pct + 3 > key.size()) key.resize(pct);
        key += hash;
    }
    return to_rpl(key);
}
