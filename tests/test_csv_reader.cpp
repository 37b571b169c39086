// The CSV reader: records and fields as RFC 4180 says, and what it makes of
// the files a careless writer leaves. Each group is a table of bytes and
// the records read from them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/core/csv_reader.h"

using rpl_toc::CsvRecord;
using rpl_toc::read_csv;

namespace {

struct Case {
    std::string bytes;
    std::vector<CsvRecord> records;
};

void expect_all(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        EXPECT_EQ(read_csv(c.bytes), c.records);
    }
}

TEST(CsvReader, FieldsAndRecordsSplitAtCommasAndLineBreaks) {
    expect_all({
        {"", {}},
        {"a", {{"a"}}},
        {"a,b,c", {{"a", "b", "c"}}},
        {"a,b\nc,d\n", {{"a", "b"}, {"c", "d"}}},
        {"a,b\r\nc,d\r\n", {{"a", "b"}, {"c", "d"}}},
        {"a,b\rc,d", {{"a", "b"}, {"c", "d"}}},
        {" a , b ", {{" a ", " b "}}},  // nothing is trimmed
    });
}

TEST(CsvReader, QuotedFieldsHoldCommasLineBreaksAndDoubledQuotes) {
    expect_all({
        {"\"a,b\",c", {{"a,b", "c"}}},
        {"\"say \"\"hi\"\"\"", {{"say \"hi\""}}},
        {"\"two\nlines\",x\r\n", {{"two\nlines", "x"}}},
        {"\"two\r\nlines\"", {{"two\r\nlines"}}},
        {"\"\",\"\"", {{"", ""}}},
        {"\"\"\"\"", {{"\""}}},
    });
}

TEST(CsvReader, EmptyFieldsAreKept) {
    expect_all({
        {",", {{"", ""}}},
        {"a,,b", {{"a", "", "b"}}},
        {"a,b,\n", {{"a", "b", ""}}},
        {",\n,", {{"", ""}, {"", ""}}},
    });
}

TEST(CsvReader, RaggedRowsKeepTheirOwnLength) {
    expect_all({
        {"a,b,c\n1\n1,2,3,4\n", {{"a", "b", "c"}, {"1"}, {"1", "2", "3", "4"}}},
    });
}

TEST(CsvReader, LinesWithoutABytesAreSkipped) {
    expect_all({
        {"a\n\nb\n", {{"a"}, {"b"}}},
        {"\r\n\r\na\r\n\r\n", {{"a"}}},
        {"\n", {}},
    });
}

TEST(CsvReader, AByteOrderMarkAtTheStartIsDropped) {
    expect_all({
        {"\xEF\xBB\xBF" "a,b\n1,2", {{"a", "b"}, {"1", "2"}}},
        {"\xEF\xBB\xBF", {}},
        {"a,\xEF\xBB\xBF" "b", {{"a", "\xEF\xBB\xBF" "b"}}},  // only at the start
    });
}

TEST(CsvReader, BytesAreKeptAsTheyAre) {
    expect_all({
        {"d\xe9" "but,\xff\xfe\n", {{"d\xe9" "but", "\xff\xfe"}}},
        {std::string("a\0b,c", 5), {{std::string("a\0b", 3), "c"}}},
    });
}

TEST(CsvReader, CarelessQuotingReadsAsAPersonWouldExpect) {
    expect_all({
        {"5\" disk,x", {{"5\" disk", "x"}}},              // a quote inside an unquoted field
        {"\"quoted\" tail,x", {{"quoted tail", "x"}}},    // text after the closing quote
        {"\"never closed,a\nb", {{"never closed,a\nb"}}},  // runs to the end
        {"\"", {{""}}},
    });
}

}  // namespace
