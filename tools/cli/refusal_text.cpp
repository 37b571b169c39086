#include "tools/cli/refusal_text.h"

#include "tools/core/section_info.h"

namespace rpl_toc {
namespace {

std::string source_name(const std::string& file) {
    return file == "-" ? "standard input" : "report file " + quoted(file);
}

// 99995 as "99,995".
std::string with_thousands(std::uint64_t n) {
    std::string digits = std::to_string(n), out;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0) out += ',';
        out += digits[i];
    }
    return out;
}

// "column 3", "columns 1, 2, 3" or "columns 1, 2, 3, 4, 5 and 99,995 more".
std::string column_list(const std::vector<std::uint32_t>& columns, std::uint64_t more) {
    std::string out = columns.size() == 1 && more == 0 ? "column " : "columns ";
    for (std::size_t i = 0; i < columns.size(); ++i) out += (i ? ", " : "") + std::to_string(columns[i]);
    if (more > 0) out += " and " + with_thousands(more) + " more";
    return out;
}

std::string wrong_kind(const Refusal& r) {
    std::string what = "; " + quoted(r.value) + " is a " + r.kind;
    if (r.setting == Setting::chart_type) return "--chart-type applies to charts only" + what;
    return "--width, --align and --order apply to tables only" + what;
}

std::string columns_missing(const Refusal& r, const SetOptions& set) {
    std::string given = option_given(set, r.setting) + ": ";
    std::string missing = column_list(r.missing, r.missing_more) + " too";
    switch (r.setting) {
        case Setting::alignments:
            return given + "alignments are stored with the widths, only when every column has a width; give --width for " +
                   missing;
        case Setting::order:
            return given + "display columns are stored only when every column has one; give --order for " + missing;
        default:
            return given + "widths are stored only when every column has one; give --width for " + missing;
    }
}

std::string setting_refused(const Refusal& r, const SetOptions& set) {
    switch (r.what) {
        case Refused::nothing_to_change:
            return "set needs at least one of --orientation, --chart-type, --width, --align, --order";
        case Refused::bad_value:
            return option_given(set, r.setting) + ": the value must be 1 or 2";
        case Refused::wrong_kind:
            return wrong_kind(r);
        case Refused::no_such_column:
            return option_given(set, r.setting, r.column) + ": no column " + std::to_string(r.column) +
                   "; the table has " + std::to_string(r.columns) + " columns, numbered from 0";
        default:
            return columns_missing(r, set);
    }
}

}  // namespace

std::string refusal_text(const Refusal& r, const SetOptions* set) {
    switch (r.what) {
        case Refused::report_unreadable:
            return "cannot read " + source_name(r.value) + ": " + r.detail;
        case Refused::report_too_large:
            return source_name(r.value) + " is larger than " + r.detail;
        case Refused::report_invalid:
            return (r.value == "-" ? std::string("standard input") : printable(r.value)) + ": " + printable(r.detail);
        case Refused::no_database_directory:
            return "database directory " + quoted(r.value) + " does not exist or is not a directory";
        case Refused::unknown_path:
            return "no section with the path " + quoted(r.value) + " (rpl-toc list --all prints every path)";
        case Refused::report_not_written:
            return printable(r.detail);
        default:
            return setting_refused(r, set ? *set : SetOptions());
    }
}

}  // namespace rpl_toc
