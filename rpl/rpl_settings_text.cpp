#include "rpl/rpl_settings_text.h"

#include <cstring>

namespace {

// Whether `a` comes strictly before `b` in the order of the settings file's
// headers and keys: byte by byte, as strcmp orders texts without NUL bytes.
bool ascending(const char* a, std::size_t a_length, const char* b, std::size_t b_length) {
    int order = std::memcmp(a, b, a_length < b_length ? a_length : b_length);
    return order < 0 || (order == 0 && a_length < b_length);
}

const char* find_bytes(const char* from, const char* end, const char* what, std::size_t length) {
    return static_cast<const char*>(memmem(from, static_cast<std::size_t>(end - from), what, length));
}

}  // namespace

RPL_SETTINGS_LINE rpl_settings_line(const char* line, const char* end) {
    const char* newline = static_cast<const char*>(std::memchr(line, '\n', static_cast<std::size_t>(end - line)));
    const char* line_end = newline ? newline : end;
    const char* nul = static_cast<const char*>(std::memchr(line, '\0', static_cast<std::size_t>(line_end - line)));
    RPL_SETTINGS_LINE result;
    result.text = line;
    result.length = static_cast<std::size_t>((nul ? nul : line_end) - line);
    result.next = newline ? newline + 1 : end;
    return result;
}

// The header's text is searched for as bytes; a match counts when it is a
// whole line's text: at a line's start, and followed by the line's end or
// by a NUL byte, which ends the line's text.
bool rpl_settings_find_block(const char* text, std::size_t size, const char* header, std::size_t header_length,
                             std::size_t* lines_begin, std::size_t* lines_end) {
    if (header_length == 0 || std::memchr(header, '\n', header_length) != nullptr) return false;
    const char* end = text + size;
    for (const char* hit = text; (hit = find_bytes(hit, end, header, header_length)) != nullptr; ++hit) {
        const char* after = hit + header_length;
        bool starts_line = hit == text || hit[-1] == '\n';
        bool ends_text = after == end || *after == '\n' || *after == '\0';
        if (!starts_line || !ends_text) continue;

        const char* first = rpl_settings_line(hit, end).next;
        const char* next_header = end;
        if (first < end && *first == '[') {
            next_header = first;
        } else if (const char* newline = find_bytes(first, end, "\n[", 2)) {
            next_header = newline + 1;
        }
        *lines_begin = static_cast<std::size_t>(first - text);
        *lines_end = static_cast<std::size_t>(next_header - text);
        return true;
    }
    return false;
}

// One pass over the lines, each compared with the one before it of its
// kind; the file is hundreds of thousands of bytes in short lines, so the
// loop calls nothing per line but memchr.
bool rpl_settings_canonical_place(const char* text, std::size_t size, const char* header,
                                  std::size_t header_length, std::size_t* block_begin, std::size_t* block_end) {
    const char* end = text + size;
    *block_begin = *block_end = size;
    if (size == 0) return true;
    if (end[-1] != '\n' || std::memchr(text, '\0', size) != nullptr) return false;

    enum { BEFORE, INSIDE, AFTER } place = BEFORE;  // where the lines are against header's block
    const char* last_header = nullptr;
    std::size_t last_header_length = 0;
    const char* last_key = nullptr;
    std::size_t last_key_length = 0;
    for (const char* line = text; line < end;) {
        const char* newline = static_cast<const char*>(std::memchr(line, '\n', static_cast<std::size_t>(end - line)));
        std::size_t length = static_cast<std::size_t>(newline - line);
        if (length == 0) return false;
        if (line[0] == '[') {
            if (last_header != nullptr && !ascending(last_header, last_header_length, line, length)) return false;
            std::size_t offset = static_cast<std::size_t>(line - text);
            if (place == INSIDE) {
                *block_end = offset;
                place = AFTER;
            } else if (place == BEFORE && !ascending(line, length, header, header_length)) {
                *block_begin = *block_end = offset;
                place = ascending(header, header_length, line, length) ? AFTER : INSIDE;
            }
            last_header = line;
            last_header_length = length;
            last_key = nullptr;
        } else {
            const char* equals = static_cast<const char*>(std::memchr(line, '=', length));
            if (last_header == nullptr || equals == nullptr) return false;
            std::size_t key_length = static_cast<std::size_t>(equals - line);
            if (last_key != nullptr && !ascending(last_key, last_key_length, line, key_length)) return false;
            last_key = line;
            last_key_length = key_length;
        }
        line = newline + 1;
    }
    if (place == INSIDE) *block_end = size;
    return true;
}
