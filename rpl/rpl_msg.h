// The library's messages, debug traces and internal-error reports.
#ifndef RPL_MSG_H
#define RPL_MSG_H

#include "h/msg.h"
#include "rpl/rpl_export.h"

namespace MSG_RPL {

// Information messages the host's report-file writer issues. Each returns a
// new message with no report attached; the caller owns it.
namespace I {
RPL_EXPORT MSG_I* REPORT_STATUS(const char* name, int percent, const char* elapsed);
RPL_EXPORT MSG_I* WRITE_REPORT_FILE(const char* file_name);
RPL_EXPORT MSG_I* REPORT_FILE_NOT_OPENED(const char* file_name);
}  // namespace I

// A new debug message from a printf-style format, tagged with the module
// "RPL". The caller owns it.
RPL_EXPORT MSG_D* DEBUG_MSG(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

}  // namespace MSG_RPL

// A debug trace of the library, through the host's msg_local_vdebug under
// the module "RPL". Returns the host's answer; the library ignores it.
RPL_EXPORT bool rpl_msg_debug(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

// Checks an invariant. When it does not hold, the condition text exactly as
// written, the module "RPL", the source file and the line go to the host's
// internal-error service, and the expression yields false so the caller can
// take its fallback path. It never throws or stops.
#define RPL_CHECK(condition) \
    ((condition) ? true : (MSG_INTERNAL_ERROR::report(#condition, "RPL", RPL_SOURCE_FILE, __LINE__), false))

#endif
