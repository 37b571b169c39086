#include "rpl/rpl_msg.h"

#include <cstdarg>

namespace {

char s_module[] = "RPL";

}  // namespace

namespace MSG_RPL {
namespace I {

MSG_I* REPORT_STATUS(const char* name, int percent, const char* elapsed) {
    MSG_I* msg = new MSG_I(nullptr);
    msg->fill_args("Status report: %1!s! is at %2!d!%% with elapsed time %3!s!./IRPL_REPORT_STATUS", 1, name,
                   percent, elapsed);
    return msg;
}

MSG_I* WRITE_REPORT_FILE(const char* file_name) {
    MSG_I* msg = new MSG_I(nullptr);
    msg->fill_args("Writing Report file %1!s!/IRPL_WRITE_REPORT_FILE", 2, file_name);
    return msg;
}

MSG_I* REPORT_FILE_NOT_OPENED(const char* file_name) {
    MSG_I* msg = new MSG_I(nullptr);
    msg->fill_args("Can't open Text-Format or HTML-Format Report File %1!s!/IRPL_REPORT_FILE_NOT_OPENED", 3,
                   file_name);
    return msg;
}

}  // namespace I

MSG_D* DEBUG_MSG(const char* format, ...) {
    MSG_D* msg = new MSG_D(nullptr);
    va_list args;
    va_start(args, format);
    msg->fill_args(format, args);
    va_end(args);
    msg->set_module(s_module);
    return msg;
}

}  // namespace MSG_RPL

bool rpl_msg_debug(const char* format, ...) {
    va_list args;
    va_start(args, format);
    bool shown = msg_local_vdebug(s_module, format, args);
    va_end(args);
    return shown;
}
