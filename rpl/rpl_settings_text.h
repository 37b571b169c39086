// A settings file's text read in place, line by line, without building a
// store: what the settings file needs to take one section's block straight
// from the bytes, and to rewrite it there.
//
// The reading rules are the settings file's own: a line feed alone ends a
// line (a carriage return stays in the text); a line's text ends at its
// first NUL byte; a line whose text starts with "[" is a header; the first
// line with a header's text opens that section's block, and the block's
// lines run to the next header line.
#ifndef RPL_SETTINGS_TEXT_H
#define RPL_SETTINGS_TEXT_H

#include <cstddef>

// One line of the text: its text (up to its first NUL byte or its line
// feed) and where the next line starts.
struct RPL_SETTINGS_LINE {
    const char* text;
    std::size_t length;
    const char* next;
};

// The line that starts at `line`, which is before `end`.
RPL_SETTINGS_LINE rpl_settings_line(const char* line, const char* end);

// Where the lines of the block that `header` opens start (the line after
// its first header line) and end (the next header line, or the end of the
// text). False when no line has that text; a header holding a line feed is
// never a line's text.
bool rpl_settings_find_block(const char* text, std::size_t size, const char* header, std::size_t header_length,
                             std::size_t* lines_begin, std::size_t* lines_end);

// Whether the text is in the form the settings file writes (then loading
// it and saving it again gives the same bytes): every line ended by a line
// feed, no NUL byte, no empty line, a header first, headers in increasing
// order, and under each header only "key=value" lines with the keys in
// increasing order. When it is, `block_begin` and `block_end` give the
// bytes of `header`'s block, header line included, or, when there is none,
// the place where it would go in the order (both the same).
bool rpl_settings_canonical_place(const char* text, std::size_t size, const char* header,
                                  std::size_t header_length, std::size_t* block_begin, std::size_t* block_end);

#endif
