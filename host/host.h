// The stand-in host's own controls: what tests and the command-line host
// use to set the host up and to see what the library did through it.
#ifndef HOST_HOST_H
#define HOST_HOST_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "h/fio.h"
#include "h/gen.h"
#include "h/mem_alloc_sys.h"
#include "h/msg.h"
#include "h/rdb.h"

// ---- Files and the database directory ----------------------------------------
void host_set_db_dir(const std::string& directory);
std::string host_db_dir();
// The text the catalogue gives for an extension type, without the dot;
// empty for types it does not know.
const char* fio_extension_text(FIO_EXTENSION_TYPE type);

// ---- Messages -------------------------------------------------------------
struct HOST_DEBUG_TRACE {
    std::string module;
    std::string text;
};

struct HOST_INTERNAL_ERROR {
    std::string condition;
    std::string module;
    std::string file;
    int line;
};

struct HOST_INFO_MESSAGE {
    std::string text;  // as filled
    unsigned long number;
    std::vector<std::string> args;
    std::string formatted;
};

// The newest traces are kept: a build traces every null or unknown object
// of a report, and a report of ten million of them would otherwise hold
// about 1 GB of traces. Between kHostKeptTraces and twice as many are kept.
constexpr std::size_t kHostKeptTraces = 100000;

struct HOST_MESSAGE_LOG {
    std::vector<HOST_DEBUG_TRACE> debug_traces;  // traces and issued debug messages, the newest
    std::size_t debug_traces_dropped = 0;        // older ones no longer kept
    std::vector<HOST_INTERNAL_ERROR> internal_errors;
    std::vector<HOST_INFO_MESSAGE> info_messages;  // issued information messages
};

// The log of everything the host was told since the last clear.
HOST_MESSAGE_LOG& host_message_log();
void host_clear_messages();
// What is echoed to stderr, one line each: "debug: TEXT" when `debug` is
// on; "internal error: CONDITION (MODULE, FILE:LINE)" and "info: TEXT" when
// `errors_and_info` is on.
void host_set_message_echo(bool debug, bool errors_and_info);

// ---- Memory accounts --------------------------------------------------------
struct HOST_MEM_ACCOUNT {
    const MEM_TRACKER_THUNK* thunk = nullptr;
    std::size_t live_blocks = 0;
    std::size_t live_bytes = 0;
    std::size_t total_allocations = 0;
    std::size_t total_bytes = 0;
};

// The account of one tracking record (all zero if it was never used).
HOST_MEM_ACCOUNT host_mem_account(const MEM_TRACKER_THUNK* thunk);
// Every account in use, in order of first use.
std::vector<HOST_MEM_ACCOUNT> host_mem_accounts();
std::size_t host_mem_live_blocks();
std::size_t host_mem_live_bytes();
std::size_t host_mem_total_allocations();
std::size_t host_mem_total_bytes();
// Modules registered with MEM_INITIALIZER and not yet unregistered.
std::vector<std::string> host_mem_modules();

// ---- Report database -----------------------------------------------------
// Installs (replacing) or removes the report of a type.
void host_rdb_set_report(RDB_REPORT_TYPE type, std::unique_ptr<RDB_REPORT> report);
void host_rdb_remove_report(RDB_REPORT_TYPE type);
void host_rdb_remove_all_reports();
// Switches the manager on or off: while off, get_dbmui_manager answers null.
void host_rdb_set_manager_enabled(bool enabled);

// Per report type, what the manager was asked.
struct RDB_MANAGER_COUNTS {
    int gets = 0;
    int ungets = 0;
    int held = 0;  // reports given out and not given back; an unget after
                   // a get that gave nothing holds nothing
    std::vector<std::string> requesters;
};
const RDB_MANAGER_COUNTS& host_rdb_counts(RDB_REPORT_TYPE type);
// Reports given out and not yet given back, over every type.
int host_rdb_reports_held();
// The link folders given free_report, in call order.
const std::vector<const RDB_LINK_RPT_OBJECT*>& host_rdb_free_report_calls();
// Rows asked by every row test.
std::int64_t host_rdb_test_row_count();
// Clears the counts, the free_report calls and the rows asked.
void host_rdb_reset_counts();

#endif
