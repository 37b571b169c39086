// Text and number conversion of the stand-in host.
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "host/host.h"

namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

// atoi over [first, last): blanks, sign, digits; clamped to int.
template <class IT>
int parse_int(IT& first, IT last) {
    while (first != last && is_blank(*first)) ++first;
    bool negative = false;
    if (first != last && (*first == '+' || *first == '-')) {
        negative = *first == '-';
        ++first;
    }
    long long value = 0;
    while (first != last && *first >= '0' && *first <= '9') {
        if (value <= static_cast<long long>(INT_MAX) + 1) value = value * 10 + (*first - '0');
        ++first;
    }
    if (negative) value = -value;
    if (value > INT_MAX) return INT_MAX;
    if (value < INT_MIN) return INT_MIN;
    return static_cast<int>(value);
}

}  // namespace

void gen_sprintf(string* out, const char* format, ...) {
    if (out == nullptr) return;
    char small[256];
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(small, sizeof small, format, args);
    va_end(args);
    if (n < 0) {
        out->clear();
    } else if (static_cast<std::size_t>(n) < sizeof small) {
        out->assign(small, static_cast<std::size_t>(n));
    } else {
        out->resize(static_cast<std::size_t>(n) + 1);
        std::vsnprintf(&(*out)[0], out->size(), format, copy);
        out->resize(static_cast<std::size_t>(n));
    }
    va_end(copy);
}

void gen_itoa(int value, string& out, int base) {
    if (base < 2 || base > 36) base = 10;
    char digits[40];
    int at = sizeof digits;
    long long v = value;
    bool negative = v < 0;
    if (negative) v = -v;
    do {
        int d = static_cast<int>(v % base);
        digits[--at] = static_cast<char>(d < 10 ? '0' + d : 'a' + d - 10);
        v /= base;
    } while (v != 0);
    if (negative) digits[--at] = '-';
    out.assign(digits + at, sizeof digits - at);
}

int gen_local_atoi(const char* text) {
    if (text == nullptr) return 0;
    const char* end = text;
    while (*end != '\0') ++end;
    return parse_int(text, end);
}

int gen_atoi(const string& text, string::const_iterator* pos) {
    string::const_iterator it = pos ? *pos : text.begin();
    int value = parse_int(it, text.end());
    if (pos) *pos = it;
    return value;
}

bool gen_local_isalpha(int c) {
    unsigned char u = static_cast<unsigned char>(c);
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z');
}
