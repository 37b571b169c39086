// Host text and number conversion, and the host's string ordering.
// All functions may be called before main and keep no state of their own.
#ifndef H_GEN_H
#define H_GEN_H

#include <cstring>

#include "h/gen_string.h"

// Default visibility: these are the host's symbols, also where a module
// built with hidden visibility includes them (see h/mem_alloc_sys.h).
#pragma GCC visibility push(default)

// Orders strings by strcmp of their NUL-terminated texts: byte by byte,
// case-sensitive. Text after an embedded NUL is not compared.
struct STL_CASE_SENSITIVE_LESS {
    bool operator()(const string& a, const string& b) const {
        return std::strcmp(a.c_str(), b.c_str()) < 0;
    }
};

// printf-style formatting into *out, replacing its content. `out` must not
// be null.
void gen_sprintf(string* out, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

// The text of `value` in `base` (2 to 36; other bases give base 10) into
// `out`, replacing its content. Negative values get a leading "-".
void gen_itoa(int value, string& out, int base);

// The integer at the start of a NUL-terminated text, as atoi reads it:
// leading blanks, an optional sign, then decimal digits up to the first
// other character. No digits give 0; values beyond int are clamped.
// `text` may be null (gives 0).
int gen_local_atoi(const char* text);

// The integer that starts at *pos in `text`, read as gen_local_atoi reads
// it, stopping at the end of `text`. If `pos` is null the reading starts at
// the beginning. On return *pos is past the last character used.
int gen_atoi(const string& text, string::const_iterator* pos);

// Whether the character is an ASCII letter, in the "C" locale whatever the
// process locale is. Takes a char value as int, negative values allowed.
bool gen_local_isalpha(int c);

#pragma GCC visibility pop

#endif
