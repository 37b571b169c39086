// What an operation of tools/core answers when it will not do what it was
// asked: what was wrong, with which value, and which columns, in neutral
// terms. refusal_words.h words it once for every front end, with the names
// a front end hands in (the command line's flags, the page's fields).
#ifndef TOOLS_CORE_REFUSAL_H
#define TOOLS_CORE_REFUSAL_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace rpl_toc {

enum class Refused {
    report_unreadable,      // `value` the report file ("-": standard input), `detail` the system's reason
    report_too_large,       // `value` the report file; `detail` the limit, kMaxReportFileSize
    report_invalid,         // `value` the report file; `detail` where and what, "/root/name: expected a string"
    no_database_directory,  // `value` the directory given
    unknown_path,           // `value` the rdb path no section has
    nothing_to_change,      // a settings change that names no setting
    out_of_range,           // `setting` (and `column` of a list) given `value`, which settings_rules.h does not allow; `columns` the table's count
    wrong_kind,             // `setting` applies to another kind; `value` the path, `kind` the section's kind
    no_such_column,         // `setting`, `column`; `columns` the table's count
    column_repeated,        // `setting` names `column` more than once
    display_column_shared,  // display column `value` would be that of `column` and of `other_column` too
    columns_missing,        // `setting`'s list would leave out `missing` and `missing_more` others, so the library would not store it
    report_not_written,     // `value` the output file; `detail` the system's reason
};

// The most columns a columns_missing refusal names one by one.
constexpr std::size_t kMissingNamed = 5;

// The settings a change request names.
enum class Setting { none, orientation, chart_type, widths, alignments, order };

struct Refusal {
    explicit Refusal(Refused what_refused, std::string refused_value = std::string())
        : what(what_refused), value(std::move(refused_value)) {}

    Refused what;
    std::string value;
    Setting setting = Setting::none;
    std::string kind;
    std::uint64_t column = 0;  // a column as given, which may lie past any table
    std::uint64_t other_column = 0;
    std::uint32_t columns = 0;
    // columns_missing: the first few columns left out, in order (at most
    // kMissingNamed), and how many more there are, so that a refusal costs
    // what the change names, never what the table declares.
    std::vector<std::uint32_t> missing;
    std::uint64_t missing_more = 0;
    std::string detail;
};

// An operation's result, or its refusal.
template <class Result>
class Outcome {
public:
    Outcome(Result result) : m_answer(std::move(result)) {}
    Outcome(Refusal refusal) : m_answer(std::move(refusal)) {}

    bool ok() const { return std::holds_alternative<Result>(m_answer); }
    Result& result() { return std::get<Result>(m_answer); }
    const Result& result() const { return std::get<Result>(m_answer); }
    const Refusal& refusal() const { return std::get<Refusal>(m_answer); }

private:
    std::variant<Result, Refusal> m_answer;
};

}  // namespace rpl_toc

#endif
