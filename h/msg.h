// Host message service: information and debug messages, debug traces and
// internal-error reports. Every entry point may be called before main.
#ifndef H_MSG_H
#define H_MSG_H

#include <cstdarg>
#include <string>
#include <vector>

// Default visibility: these are the host's symbols, also where a module
// built with hidden visibility includes them (see h/mem_alloc_sys.h).
#pragma GCC visibility push(default)

// A report a message may be attached to. Modules pass null.
class MSG_REPORT;

// A message of the host. Created by a module, filled, then owned and issued
// by whoever the module hands it to.
class MSG_BASE {
public:
    virtual ~MSG_BASE();
    MSG_BASE(const MSG_BASE&) = delete;
    MSG_BASE& operator=(const MSG_BASE&) = delete;

    // Sets an information message: `text` is the body, "/" and the message
    // identifier. Placeholders in the body are "%N!conv!" with N the
    // argument's number (from 1) and conv a printf conversion ("s", "d");
    // "%%" is a percent sign. The arguments follow in the order of their
    // numbers and are bound at once (strings are copied).
    void fill_args(const char* text, unsigned long number, ...);
    // Sets a debug message from a printf-style format and its arguments.
    void fill_args(const char* format, va_list args);
    // Tags the message with the module that made it.
    void set_module(const char* module);

    // Hands the message to the host's log (and its echo, if switched on).
    void issue() const;

    const std::string& text() const { return m_text; }  // as filled, identifier included
    unsigned long number() const { return m_number; }
    const std::vector<std::string>& args() const { return m_args; }
    const std::string& module() const { return m_module; }
    // The body before the last "/", and the identifier after it.
    std::string body() const;
    std::string identifier() const;
    // The body with every placeholder replaced by its bound argument.
    std::string formatted() const;
    MSG_REPORT* report() const { return m_report; }

protected:
    MSG_BASE(MSG_REPORT* report, bool is_debug);

private:
    MSG_REPORT* m_report;  // not owned; null for module messages
    bool m_is_debug;
    std::string m_text;
    unsigned long m_number;
    std::vector<std::string> m_args;
    std::string m_module;
};

// An information message.
class MSG_I : public MSG_BASE {
public:
    explicit MSG_I(MSG_REPORT* report);
};

// A debug message.
class MSG_D : public MSG_BASE {
public:
    explicit MSG_D(MSG_REPORT* report);
};

// Emits a debug trace for `module` from a printf-style format. Returns
// whether debug tracing is switched on (the trace is recorded either way).
bool msg_local_vdebug(char* module, const char* format, va_list args);

class MSG_INTERNAL_ERROR {
public:
    // Reports a broken invariant: the condition text as written in the
    // check, the module, the source file and the line. Always returns to
    // the caller, who carries on.
    static void report(const char* condition, const char* module, const char* file, int line);
};

#pragma GCC visibility pop

#endif
