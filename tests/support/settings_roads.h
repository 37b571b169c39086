// One settings operation taken down either road of RPL_REPORT_SETTINGS_FILE:
// the whole store (read_from_disk, write_to_disk) or one section's block
// (read_section_from_disk, write_section_to_disk), as the sections take it.
// The two must agree on everything a caller can see: what the load
// returns, every value read, what the save returns and the bytes it leaves.
// Shared by the differential test and the differential fuzz harness.
#ifndef TESTS_SUPPORT_SETTINGS_ROADS_H
#define TESTS_SUPPORT_SETTINGS_ROADS_H

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/host_strings.h"
#include "rpl/rpl.h"

namespace rpltest {

enum class SettingsRoad { WholeStore, SectionBlock };

struct SettingsChange {
    std::string section;  // usually the section loaded; any other takes the whole-store road
    std::string key;
    std::string value;
    bool as_int = false;  // set_value_int of the value's number instead of set_value_str
};

struct SettingsOperation {
    std::string section;                // the section whose block is loaded
    std::vector<std::string> keys_read;  // read after the load, as text and as a number
    std::vector<SettingsChange> changes;
    bool save = false;  // saved after the changes (never after a failed load)
};

struct SettingsOutcome {
    bool loaded = false;
    std::vector<std::string> values;
    bool saved = false;
    bool file_exists = false;
    std::string file_bytes;

    bool operator==(const SettingsOutcome& o) const {
        return loaded == o.loaded && values == o.values && saved == o.saved && file_exists == o.file_exists &&
               file_bytes == o.file_bytes;
    }
};

inline bool read_whole_file(const std::string& path, std::string& bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream text;
    text << in.rdbuf();
    bytes = text.str();
    return true;
}

inline SettingsOutcome run_settings_operation(SettingsRoad road, const std::string& path,
                                              const SettingsOperation& operation) {
    SettingsOutcome outcome;
    {
        RPL_REPORT_SETTINGS_FILE file;
        file.m_filename = to_rpl(path);
        string section = to_rpl(operation.section);
        outcome.loaded =
            road == SettingsRoad::WholeStore ? file.read_from_disk() : file.read_section_from_disk(section);
        if (outcome.loaded) {
            for (const std::string& key : operation.keys_read) {
                outcome.values.push_back(to_std(file.get_value_str(section, to_rpl(key))));
                outcome.values.push_back(std::to_string(file.get_value_int(section, to_rpl(key), -7)));
            }
            for (const SettingsChange& change : operation.changes) {
                if (change.as_int)
                    file.set_value_int(to_rpl(change.section), to_rpl(change.key), std::atoi(change.value.c_str()));
                else
                    file.set_value_str(to_rpl(change.section), to_rpl(change.key), to_rpl(change.value));
            }
            if (operation.save)
                outcome.saved =
                    road == SettingsRoad::WholeStore ? file.write_to_disk() : file.write_section_to_disk();
        }
    }
    outcome.file_exists = read_whole_file(path, outcome.file_bytes);
    return outcome;
}

}  // namespace rpltest

#endif
