// A report's settings file held in memory: sections of key=value pairs,
// loaded from and saved to a plain text file of "[header]" lines and
// "key=value" lines.
//
// The object lives for one settings operation: set m_filename, load, read or
// change values, save if something changed, destroy. Nothing is cached. A
// caller never saves after a failed load, so a file that exists but cannot
// be read whole is never overwritten. Headers, keys and values are C
// strings in the file: each ends at its first NUL byte.
#ifndef RPL_REPORT_SETTINGS_FILE_H
#define RPL_REPORT_SETTINGS_FILE_H

#include "rpl/rpl_types.h"

class RPL_REPORT_SETTINGS_FILE {
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

    // Typed access by section name (formatted to the header "[name]") and
    // key. Absent sections and keys read as "" or `default_value`.
    string get_value_str(const string& section, const string& key);
    int get_value_int(const string& section, const string& key, int default_value);
    void set_value_str(const string& section, const string& key, string value);
    void set_value_int(const string& section, const string& key, int value);

    string m_filename;    // the settings file's path; set by the user of the object
    SECTIONS m_sections;  // header text -> owned key/value map (never null)

private:
    void parse(const char* text, std::size_t size);
    void format(string& text);
};

#endif
