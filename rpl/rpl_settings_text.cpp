#include "rpl/rpl_settings_text.h"

#include <cstring>

namespace {

// The order of the settings file's headers and keys: byte by byte, as
// strcmp orders texts without NUL bytes.
int compare_texts(const char* a, std::size_t a_length, const char* b, std::size_t b_length) {
    int order = std::memcmp(a, b, a_length < b_length ? a_length : b_length);
    if (order != 0) return order;
    return a_length < b_length ? -1 : (a_length > b_length ? 1 : 0);
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

bool rpl_settings_canonical_place(const char* text, std::size_t size, const char* header,
                                  std::size_t header_length, std::size_t* block_begin, std::size_t* block_end) {
    const char* end = text + size;
    *block_begin = *block_end = size;
    if (size == 0) return true;
    if (end[-1] != '\n' || std::memchr(text, '\0', size) != nullptr) return false;

    bool placed = false;   // block_begin is known
    bool closed = false;   // block_end is known
    bool found = false;    // the header is in the text
    const char* last_header = nullptr;
    std::size_t last_header_length = 0;
    const char* last_key = nullptr;
    std::size_t last_key_length = 0;
    for (const char* line = text; line < end;) {
        RPL_SETTINGS_LINE current = rpl_settings_line(line, end);
        std::size_t offset = static_cast<std::size_t>(line - text);
        if (current.length == 0) return false;
        if (line[0] == '[') {
            if (last_header != nullptr &&
                compare_texts(last_header, last_header_length, line, current.length) >= 0)
                return false;
            if (found && !closed) {
                *block_end = offset;
                closed = true;
            }
            int order = compare_texts(line, current.length, header, header_length);
            if (!placed && order >= 0) {
                *block_begin = offset;
                placed = true;
                found = order == 0;
                if (!found) {
                    *block_end = offset;
                    closed = true;
                }
            }
            last_header = line;
            last_header_length = current.length;
            last_key = nullptr;
        } else {
            const char* equals = static_cast<const char*>(std::memchr(line, '=', current.length));
            if (last_header == nullptr || equals == nullptr) return false;
            std::size_t key_length = static_cast<std::size_t>(equals - line);
            if (last_key != nullptr && compare_texts(last_key, last_key_length, line, key_length) >= 0)
                return false;
            last_key = line;
            last_key_length = key_length;
        }
        line = current.next;
    }
    return true;
}
