// A report's settings file held in memory: sections of key=value pairs,
// loaded from and saved to a plain text file of "[header]" lines and
// "key=value" lines.
//
// The object lives for one settings operation: set m_filename, load, read or
// change values, save if something changed, destroy. Nothing is cached. A
// caller never saves after a failed load, so a file that exists but cannot
// be read whole is never overwritten. Headers, keys and values are C
// strings in the file: each ends at its first NUL byte.
//
// Two roads through one load-change-save cycle, with the same reads and
// saves of the file and the same results:
//   - read_from_disk / write_to_disk build and save the whole store. Any
//     caller may use them, and they are the definition of what a cycle does.
//   - read_section_from_disk / write_section_to_disk are what the library's
//     sections use. A section only ever reads and changes its own block, yet
//     it loads the file once or twice per section while a TOC is built and
//     saves it once or twice per section a mark reaches; building the whole
//     store each time (about nine tracked blocks per block of the file) cost
//     a hundred times reading the bytes. These load the whole file but store
//     only the named section's block, keeping the bytes; the save writes the
//     bytes with that block rewritten, when the file is in the form this
//     class writes (then the whole store would write the very same bytes),
//     and takes the whole-store road otherwise, which also puts the file in
//     that form. The typed access works on either, unchanged.
#ifndef RPL_REPORT_SETTINGS_FILE_H
#define RPL_REPORT_SETTINGS_FILE_H

#include "rpl/rpl_types.h"

class RPL_EXPORT RPL_REPORT_SETTINGS_FILE {
public:
    typedef std::map<string, string, STL_CASE_SENSITIVE_LESS,
                     MEM_STL_ALLOCATOR<std::pair<const string, string>>>
        KEY_VALUES;
    typedef std::map<string, KEY_VALUES*, STL_CASE_SENSITIVE_LESS,
                     MEM_STL_ALLOCATOR<std::pair<const string, KEY_VALUES*>>>
        SECTIONS;

    RPL_REPORT_SETTINGS_FILE();
    ~RPL_REPORT_SETTINGS_FILE();
    RPL_REPORT_SETTINGS_FILE(const RPL_REPORT_SETTINGS_FILE&) = delete;
    RPL_REPORT_SETTINGS_FILE& operator=(const RPL_REPORT_SETTINGS_FILE&) = delete;

    // Empties the store, then loads the whole file. True when the store now
    // reflects the file, or when no file exists (an empty store). False for
    // an empty file name, a file that exists but cannot be opened, one that
    // is not a regular file (a pipe, a device, a directory), and a read
    // error part-way (the store is then empty).
    bool read_from_disk();
    // Saves the whole store, sorted, and empties it whatever happens; how
    // the file is replaced, and what a failure leaves, is rpl_save_file's.
    // False for an empty file name or a file that cannot be opened for
    // writing (then the file is unchanged).
    bool write_to_disk();
    // Empties the store; m_filename stays.
    void free_storage();

    // Empties the store, then loads the whole file as read_from_disk does,
    // with the same results, but stores only the block of `section` (the
    // block its header "[section]" opens first in the file) and keeps the
    // file's bytes for write_section_to_disk.
    bool read_section_from_disk(const string& section);
    // Saves what write_to_disk would save had the whole file been loaded
    // and the same values set: the kept bytes with the loaded section's
    // block rewritten in its place in the order, or, when the bytes are not
    // in the form this class writes, the whole store. Without a loaded
    // section it is write_to_disk. Empties the store whatever happens.
    bool write_section_to_disk();

    // Typed access by section name (formatted to the header "[name]") and
    // key. Absent sections and keys read as "" or `default_value`.
    string get_value_str(const string& section, const string& key);
    int get_value_int(const string& section, const string& key, int default_value);
    void set_value_str(const string& section, const string& key, string value);
    void set_value_int(const string& section, const string& key, int value);

    string m_filename;    // the settings file's path; set by the user of the object
    SECTIONS m_sections;  // header text -> owned key/value map (never null)

private:
    RPL_LOCAL void parse(const char* text, std::size_t size);
    RPL_LOCAL void format(string& text);
    RPL_LOCAL bool read_bytes(string& text);
    RPL_LOCAL bool save_whole_store();

    // Set by read_section_from_disk only; free_storage clears them.
    string m_file_text;       // the bytes of the file loaded, kept for the save
    string m_loaded_header;   // the header of the section loaded
    bool m_section_loaded;    // whether m_sections holds only that section's block
};

#endif
