#include "rpl/rpl_report_settings_file.h"

#include <cstring>

#include "h/fio.h"
#include "rpl/rpl_file.h"
#include "rpl/rpl_msg.h"
#include "rpl/rpl_settings_text.h"

#define RPL_SOURCE_FILE "rpl_report_settings_file.cpp"

// ---- The store ----------------------------------------------------------------------------

RPL_REPORT_SETTINGS_FILE::RPL_REPORT_SETTINGS_FILE() : m_section_loaded(false) {}

RPL_REPORT_SETTINGS_FILE::~RPL_REPORT_SETTINGS_FILE() { free_storage(); }

void RPL_REPORT_SETTINGS_FILE::free_storage() {
    for (SECTIONS::value_type& section : m_sections) {
        KEY_VALUES* map = section.second;
        if (!RPL_CHECK(map != NULL)) continue;
        map->clear();
        delete map;
    }
    m_sections.clear();
    m_file_text.clear();
    m_loaded_header.clear();
    m_section_loaded = false;
}

// The whole file's bytes into `text`. True when they are there, or when
// there is no file (no bytes).
bool RPL_REPORT_SETTINGS_FILE::read_bytes(string& text) {
    if (m_filename.empty()) return false;
    switch (rpl_read_file(m_filename.c_str(), text)) {
        case RPL_READ_NOT_OPENED:
            // An absent file is an empty settings file; one that is there but
            // cannot be opened must not be taken for empty.
            text.clear();
            return !FIO_FILE_SYSTEM::exists(m_filename.c_str());
        case RPL_READ_FAILED:
            text.clear();
            return false;
        case RPL_READ_DONE:
            break;
    }
    return true;
}

bool RPL_REPORT_SETTINGS_FILE::read_from_disk() {
    free_storage();
    string text;
    if (!read_bytes(text)) return false;
    parse(text.data(), text.size());
    return true;
}

namespace {

// A key line's pair into `key_values`, unless the key is there already: the
// first value of a key stays. Lines without "=" are not key lines.
void store_key_line(RPL_REPORT_SETTINGS_FILE::KEY_VALUES& key_values, const RPL_SETTINGS_LINE& line) {
    const char* equals = static_cast<const char*>(std::memchr(line.text, '=', line.length));
    if (equals == nullptr) return;
    // A file this library wrote is sorted, so the end is the right hint.
    key_values.emplace_hint(key_values.end(), string(line.text, static_cast<std::size_t>(equals - line.text)),
                            string(equals + 1, static_cast<std::size_t>(line.text + line.length - equals - 1)));
}

}  // namespace

// One loop over the lines, each classified as the format has it: empty,
// header, key line, anything else. Nothing is trimmed.
void RPL_REPORT_SETTINGS_FILE::parse(const char* text, std::size_t size) {
    const char* end = text + size;
    KEY_VALUES* current = nullptr;  // null before the first header and under a repeated one
    for (const char* start = text; start < end;) {
        RPL_SETTINGS_LINE line = rpl_settings_line(start, end);
        if (line.length == 0) {
            // empty line
        } else if (line.text[0] == '[') {
            // emplace_hint checks the hint once (try_emplace checks it twice
            // over); a repeated header, which the library never writes, then
            // costs a node made and dropped.
            SECTIONS::iterator it = m_sections.emplace_hint(m_sections.end(), string(line.text, line.length), nullptr);
            current = nullptr;
            if (it->second == nullptr) current = it->second = new KEY_VALUES();
        } else if (current != nullptr) {
            store_key_line(*current, line);
        }
        start = line.next;
    }
}

bool RPL_REPORT_SETTINGS_FILE::read_section_from_disk(const string& section) {
    free_storage();
    if (!read_bytes(m_file_text)) return false;
    gen_sprintf(&m_loaded_header, "[%s]", section.c_str());
    m_section_loaded = true;

    const char* text = m_file_text.data();
    std::size_t lines_begin, lines_end;
    if (!rpl_settings_find_block(text, m_file_text.size(), m_loaded_header.data(), m_loaded_header.size(),
                                 &lines_begin, &lines_end))
        return true;
    KEY_VALUES* key_values = new KEY_VALUES();
    m_sections.emplace(m_loaded_header, key_values);
    // No header line lies inside the block, so every line is empty, a key
    // line or ignored.
    for (const char* start = text + lines_begin; start < text + lines_end;) {
        RPL_SETTINGS_LINE line = rpl_settings_line(start, text + lines_end);
        if (line.length != 0) store_key_line(*key_values, line);
        start = line.next;
    }
    return true;
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

bool RPL_REPORT_SETTINGS_FILE::write_section_to_disk() {
    if (!m_section_loaded) return write_to_disk();
    if (m_filename.empty()) {
        free_storage();
        return false;
    }
    bool only_loaded = m_sections.empty() || (m_sections.size() == 1 && m_sections.begin()->first == m_loaded_header);
    std::size_t block_begin, block_end;
    if (!only_loaded || !rpl_settings_canonical_place(m_file_text.data(), m_file_text.size(), m_loaded_header.data(),
                                                      m_loaded_header.size(), &block_begin, &block_end))
        return save_whole_store();

    // The file is in the form format() writes, so every other block would be
    // written back as it stands: only this one's bytes change.
    bool saved;
    {
        string text;
        text.reserve(m_file_text.size() + 256);
        text.append(m_file_text, 0, block_begin);
        format(text);
        text.append(m_file_text, block_end, string::npos);
        saved = rpl_save_file(m_filename, text);
    }
    free_storage();
    return saved;
}

// The whole-store road from the kept bytes: the store the file gives, with
// every value set since the load put over it, saved whole.
bool RPL_REPORT_SETTINGS_FILE::save_whole_store() {
    SECTIONS changed;
    changed.swap(m_sections);
    parse(m_file_text.data(), m_file_text.size());
    for (SECTIONS::value_type& section : changed) {
        KEY_VALUES* changes = section.second;
        if (!RPL_CHECK(changes != NULL)) continue;
        SECTIONS::iterator it = m_sections.find(section.first);
        if (it == m_sections.end()) it = m_sections.emplace(section.first, new KEY_VALUES()).first;
        for (KEY_VALUES::value_type& pair : *changes) (*it->second)[pair.first] = pair.second;
        delete changes;
    }
    return write_to_disk();
}

// The whole store as the file holds it, after what `text` holds already:
// sections in order, each header on its own line followed by its keys in
// order as "key=value". Each text is a C string: it is written up to its
// first NUL byte.
void RPL_REPORT_SETTINGS_FILE::format(string& text) {
    std::size_t size = text.size();
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
