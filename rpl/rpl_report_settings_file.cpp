#include "rpl/rpl_report_settings_file.h"

#include <cstring>

#include "h/fio.h"
#include "rpl/rpl_file.h"
#include "rpl/rpl_msg.h"

#define RPL_SOURCE_FILE "rpl_report_settings_file.cpp"

// ---- The store ----------------------------------------------------------------------------

RPL_REPORT_SETTINGS_FILE::RPL_REPORT_SETTINGS_FILE() {}

RPL_REPORT_SETTINGS_FILE::~RPL_REPORT_SETTINGS_FILE() { free_storage(); }

void RPL_REPORT_SETTINGS_FILE::free_storage() {
    for (SECTIONS::value_type& section : m_sections) {
        KEY_VALUES* map = section.second;
        if (!RPL_CHECK(map != NULL)) continue;
        map->clear();
        delete map;
    }
    m_sections.clear();
}

bool RPL_REPORT_SETTINGS_FILE::read_from_disk() {
    free_storage();
    if (m_filename.empty()) return false;
    string text;
    switch (rpl_read_file(m_filename.c_str(), text)) {
        case RPL_READ_NOT_OPENED:
            // An absent file is an empty settings file; one that is there but
            // cannot be opened must not be taken for empty.
            return !FIO_FILE_SYSTEM::exists(m_filename.c_str());
        case RPL_READ_FAILED:
            return false;
        case RPL_READ_DONE:
            break;
    }
    parse(text.data(), text.size());
    return true;
}

// One loop over the lines, each classified as the format has it: empty,
// header, key line, anything else. Nothing is trimmed; a line feed ends a
// line and nothing else does (a carriage return stays in the text). The
// texts are C strings: a line's text ends at its first NUL byte, and the
// rest of the line up to its line feed is not read.
void RPL_REPORT_SETTINGS_FILE::parse(const char* text, std::size_t size) {
    const char* end = text + size;
    KEY_VALUES* current = nullptr;  // null before the first header and under a repeated one
    for (const char* line = text; line < end;) {
        const char* newline = static_cast<const char*>(std::memchr(line, '\n', static_cast<std::size_t>(end - line)));
        const char* line_end = newline ? newline : end;
        const char* nul = static_cast<const char*>(std::memchr(line, '\0', static_cast<std::size_t>(line_end - line)));
        const char* text_end = nul ? nul : line_end;
        std::size_t length = static_cast<std::size_t>(text_end - line);

        if (length == 0) {
            // empty line
        } else if (line[0] == '[') {
            // A file this library wrote is sorted, so the end is the right
            // hint. emplace_hint checks the hint once (try_emplace checks it
            // twice over); a repeated header, which the library never writes,
            // then costs a node made and dropped.
            SECTIONS::iterator it = m_sections.emplace_hint(m_sections.end(), string(line, length), nullptr);
            current = nullptr;
            if (it->second == nullptr) current = it->second = new KEY_VALUES();
        } else if (current != nullptr) {
            const char* equals = static_cast<const char*>(std::memchr(line, '=', length));
            if (equals != nullptr) {
                // The first value of a key stays; later ones are not stored.
                current->emplace_hint(current->end(), string(line, static_cast<std::size_t>(equals - line)),
                                      string(equals + 1, static_cast<std::size_t>(text_end - equals - 1)));
            }
        }
        line = newline ? newline + 1 : end;
    }
}

bool RPL_REPORT_SETTINGS_FILE::write_to_disk() {
    if (m_filename.empty()) {
        free_storage();
        return false;
    }
    // The text goes before the store: freeing one large block while many
    // small ones wait freed makes the C library merge them all there and then.
    bool saved;
    {
        string text;
        format(text);
        saved = rpl_save_file(m_filename, text);
    }
    free_storage();
    return saved;
}

// The whole store as the file holds it: sections in order, each header on
// its own line followed by its keys in order as "key=value". Each text is
// a C string: it is written up to its first NUL byte.
void RPL_REPORT_SETTINGS_FILE::format(string& text) {
    std::size_t size = 0;
    for (const SECTIONS::value_type& section : m_sections) {
        size += section.first.size() + 1;
        if (section.second == nullptr) continue;
        for (const KEY_VALUES::value_type& pair : *section.second) size += pair.first.size() + pair.second.size() + 2;
    }
    text.reserve(size);
    for (const SECTIONS::value_type& section : m_sections) {
        text += section.first.c_str();
        text += '\n';
        KEY_VALUES* key_values = section.second;
        if (!RPL_CHECK(key_values != NULL)) continue;
        for (const KEY_VALUES::value_type& pair : *key_values) {
            text += pair.first.c_str();
            text += '=';
            text += pair.second.c_str();
            text += '\n';
        }
    }
}

// ---- Typed access -------------------------------------------------------------------------

string RPL_REPORT_SETTINGS_FILE::get_value_str(const string& section, const string& key) {
    string header;
    gen_sprintf(&header, "[%s]", section.c_str());
    SECTIONS::iterator it = m_sections.find(header);
    if (it == m_sections.end()) return string();
    KEY_VALUES* key_values = it->second;
    if (!RPL_CHECK(key_values != NULL)) return string();
    KEY_VALUES::iterator pair = key_values->find(key);
    return pair == key_values->end() ? string() : pair->second;
}

int RPL_REPORT_SETTINGS_FILE::get_value_int(const string& section, const string& key, int default_value) {
    string value = get_value_str(section, key);
    return value.empty() ? default_value : gen_local_atoi(value.c_str());
}

void RPL_REPORT_SETTINGS_FILE::set_value_str(const string& section, const string& key, string value) {
    string header;
    gen_sprintf(&header, "[%s]", section.c_str());
    SECTIONS::iterator it = m_sections.find(header);
    if (it == m_sections.end()) it = m_sections.emplace(std::move(header), new KEY_VALUES()).first;
    KEY_VALUES* key_values = it->second;
    if (!RPL_CHECK(key_values != NULL)) return;
    (*key_values)[key] = std::move(value);
}

void RPL_REPORT_SETTINGS_FILE::set_value_int(const string& section, const string& key, int value) {
    string text;
    gen_itoa(value, text, 10);
    set_value_str(section, key, text);
}
