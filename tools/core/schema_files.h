// The JSON Schemas of docs/ that rpl-toc applies, built into the binary:
// report.schema.json, the definition of a report file. Generated at build
// time by cmake/embed_files.cmake.
#ifndef TOOLS_CORE_SCHEMA_FILES_H
#define TOOLS_CORE_SCHEMA_FILES_H

#include <cstddef>
#include <string>

namespace rpl_toc {

struct SchemaFile {
    const char* name;  // file name under docs/, e.g. "report.schema.json"
    const unsigned char* data;
    std::size_t size;
};

// The file of that name, or null.
const SchemaFile* find_schema_file(const std::string& name);

}  // namespace rpl_toc

#endif
