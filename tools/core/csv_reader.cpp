#include "tools/core/csv_reader.h"

namespace rpl_toc {
namespace {

// One pass over the bytes, a field at a time.
class CsvScanner {
public:
    explicit CsvScanner(const std::string& bytes) : m_bytes(bytes) {
        if (m_bytes.compare(0, 3, "\xEF\xBB\xBF") == 0) m_at = 3;
    }

    std::vector<CsvRecord> records() {
        std::vector<CsvRecord> out;
        CsvRecord record;
        while (m_at < m_bytes.size()) {
            if (at_line_break()) {  // a line without a byte
                skip_line_break();
                continue;
            }
            record.push_back(field());
            if (m_at < m_bytes.size() && m_bytes[m_at] == ',') {
                ++m_at;
                if (m_at == m_bytes.size() || at_line_break()) record.emplace_back();  // "a,b," ends in an empty field
                else continue;
            }
            skip_line_break();
            out.push_back(std::move(record));
            record.clear();
        }
        return out;
    }

private:
    const std::string& m_bytes;
    std::size_t m_at = 0;

    bool at_line_break() const { return m_bytes[m_at] == '\n' || m_bytes[m_at] == '\r'; }

    void skip_line_break() {
        if (m_at < m_bytes.size() && m_bytes[m_at] == '\r') ++m_at;
        if (m_at < m_bytes.size() && m_bytes[m_at] == '\n') ++m_at;
    }

    // From here to the next comma or line break, quoted text first if any.
    std::string field() {
        std::string text;
        if (m_bytes[m_at] == '"') text = quoted();
        while (m_at < m_bytes.size() && m_bytes[m_at] != ',' && !at_line_break()) text += m_bytes[m_at++];
        return text;
    }

    // From an opening quote to its closing one; "" is one quote.
    std::string quoted() {
        std::string text;
        ++m_at;
        while (m_at < m_bytes.size()) {
            char c = m_bytes[m_at++];
            if (c != '"') {
                text += c;
            } else if (m_at < m_bytes.size() && m_bytes[m_at] == '"') {
                text += '"';
                ++m_at;
            } else {
                break;
            }
        }
        return text;
    }
};

}  // namespace

std::vector<CsvRecord> read_csv(const std::string& bytes) { return CsvScanner(bytes).records(); }

}  // namespace rpl_toc
