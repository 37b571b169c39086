// A CSV file's records and fields as RFC 4180 describes them: fields
// separated by commas, records by line breaks; a field in double quotes may
// hold commas, line breaks and doubled quotes ("") that stand for one. Any
// bytes read: nothing is refused, so a file a spreadsheet wrote carelessly
// still reads as a person would expect:
//   - a UTF-8 byte-order mark at the start is dropped;
//   - a record ends at CRLF, LF or a lone CR; a file's last line break
//     makes no empty record, and lines without a byte are skipped;
//   - records may have different numbers of fields (ragged rows);
//   - a quote inside an unquoted field is kept as it is, and the bytes after
//     a closing quote up to the next comma are kept after the quoted text;
//   - an opening quote that is never closed takes the rest of the file;
//   - bytes are kept as they are: no trimming, no decoding.
#ifndef TOOLS_CORE_CSV_READER_H
#define TOOLS_CORE_CSV_READER_H

#include <string>
#include <vector>

namespace rpl_toc {

using CsvRecord = std::vector<std::string>;

std::vector<CsvRecord> read_csv(const std::string& bytes);

}  // namespace rpl_toc

#endif
