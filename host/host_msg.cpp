// Message service of the stand-in host: everything is recorded in one log
// that tests read, and optionally echoed to stderr one line per entry.
#include <cstdio>
#include <cstring>
#include <utility>

#include "host/host.h"

namespace {

struct ECHO {
    bool debug = false;
    bool errors_and_info = false;
};

ECHO& echo() {
    static ECHO e;
    return e;
}

std::string vformat(const char* format, va_list args) {
    if (format == nullptr) return std::string();
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (n <= 0) return std::string();
    std::string out(static_cast<std::size_t>(n) + 1, '\0');
    std::vsnprintf(&out[0], out.size(), format, args);
    out.resize(static_cast<std::size_t>(n));
    return out;
}

// One placeholder of an information message body: "%N!conv!".
struct PLACEHOLDER {
    std::size_t start;
    std::size_t length;
    int number;
    std::string conversion;
};

std::vector<PLACEHOLDER> placeholders(const std::string& body) {
    std::vector<PLACEHOLDER> out;
    for (std::size_t i = 0; i < body.size(); ++i) {
        if (body[i] != '%') continue;
        if (i + 1 < body.size() && body[i + 1] == '%') {
            ++i;
            continue;
        }
        std::size_t j = i + 1;
        int number = 0;
        while (j < body.size() && body[j] >= '0' && body[j] <= '9') number = number * 10 + (body[j++] - '0');
        if (number == 0 || j >= body.size() || body[j] != '!') continue;
        std::size_t close = body.find('!', j + 1);
        if (close == std::string::npos) continue;
        out.push_back({i, close + 1 - i, number, body.substr(j + 1, close - j - 1)});
        i = close;
    }
    return out;
}

bool is_string_conversion(const std::string& conversion) {
    return !conversion.empty() && conversion.back() == 's';
}

}  // namespace

MSG_BASE::MSG_BASE(MSG_REPORT* report, bool is_debug)
    : m_report(report), m_is_debug(is_debug), m_number(0) {}

MSG_BASE::~MSG_BASE() = default;

MSG_I::MSG_I(MSG_REPORT* report) : MSG_BASE(report, false) {}
MSG_D::MSG_D(MSG_REPORT* report) : MSG_BASE(report, true) {}

void MSG_BASE::fill_args(const char* text, unsigned long number, ...) {
    m_text = text ? text : "";
    m_number = number;
    m_args.clear();
    std::vector<PLACEHOLDER> found = placeholders(body());
    int count = 0;
    for (const PLACEHOLDER& p : found) count = std::max(count, p.number);
    va_list args;
    va_start(args, number);
    for (int n = 1; n <= count; ++n) {
        std::string conversion = "d";
        for (const PLACEHOLDER& p : found)
            if (p.number == n) conversion = p.conversion;
        if (is_string_conversion(conversion)) {
            const char* s = va_arg(args, const char*);
            m_args.push_back(s ? s : "(null)");
        } else {
            m_args.push_back(std::to_string(va_arg(args, int)));
        }
    }
    va_end(args);
}

void MSG_BASE::fill_args(const char* format, va_list args) {
    m_text = vformat(format, args);
    m_number = 0;
    m_args.clear();
}

void MSG_BASE::set_module(const char* module) { m_module = module ? module : ""; }

std::string MSG_BASE::body() const {
    if (m_is_debug) return m_text;
    std::size_t slash = m_text.rfind('/');
    return slash == std::string::npos ? m_text : m_text.substr(0, slash);
}

std::string MSG_BASE::identifier() const {
    if (m_is_debug) return std::string();
    std::size_t slash = m_text.rfind('/');
    return slash == std::string::npos ? std::string() : m_text.substr(slash + 1);
}

std::string MSG_BASE::formatted() const {
    std::string text = body();
    if (m_is_debug) return text;
    std::string out;
    std::vector<PLACEHOLDER> found = placeholders(text);
    std::size_t at = 0;
    for (const PLACEHOLDER& p : found) {
        out.append(text, at, p.start - at);
        if (p.number >= 1 && static_cast<std::size_t>(p.number) <= m_args.size()) out += m_args[p.number - 1];
        at = p.start + p.length;
    }
    out.append(text, at, std::string::npos);
    std::string unescaped;
    for (std::size_t i = 0; i < out.size(); ++i) {
        unescaped += out[i];
        if (out[i] == '%' && i + 1 < out.size() && out[i + 1] == '%') ++i;
    }
    return unescaped;
}

namespace {

void keep_trace(HOST_DEBUG_TRACE trace) {
    HOST_MESSAGE_LOG& log = host_message_log();
    if (log.debug_traces.size() >= 2 * kHostKeptTraces) {
        log.debug_traces.erase(log.debug_traces.begin(), log.debug_traces.begin() + kHostKeptTraces);
        log.debug_traces_dropped += kHostKeptTraces;
    }
    log.debug_traces.push_back(std::move(trace));
}

}  // namespace

void MSG_BASE::issue() const {
    HOST_MESSAGE_LOG& log = host_message_log();
    if (m_is_debug) {
        keep_trace({m_module, m_text});
        if (echo().debug) std::fprintf(stderr, "debug: %s\n", m_text.c_str());
        return;
    }
    log.info_messages.push_back({m_text, m_number, m_args, formatted()});
    if (echo().errors_and_info) std::fprintf(stderr, "info: %s\n", formatted().c_str());
}

bool msg_local_vdebug(char* module, const char* format, va_list args) {
    std::string text = vformat(format, args);
    keep_trace({module ? module : "", text});
    if (echo().debug) std::fprintf(stderr, "debug: %s\n", text.c_str());
    return echo().debug;
}

void MSG_INTERNAL_ERROR::report(const char* condition, const char* module, const char* file, int line) {
    HOST_INTERNAL_ERROR e{condition ? condition : "", module ? module : "", file ? file : "", line};
    host_message_log().internal_errors.push_back(e);
    if (echo().errors_and_info)
        std::fprintf(stderr, "internal error: %s (%s, %s:%d)\n", e.condition.c_str(), e.module.c_str(),
                     e.file.c_str(), line);
}

HOST_MESSAGE_LOG& host_message_log() {
    static auto* log = new HOST_MESSAGE_LOG();  // never destroyed: messages may come at unload
    return *log;
}

void host_clear_messages() {
    HOST_MESSAGE_LOG& log = host_message_log();
    log.debug_traces.clear();
    log.debug_traces_dropped = 0;
    log.internal_errors.clear();
    log.info_messages.clear();
}

void host_set_message_echo(bool debug, bool errors_and_info) {
    echo().debug = debug;
    echo().errors_and_info = errors_and_info;
}
