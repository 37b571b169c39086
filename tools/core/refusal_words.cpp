#include "tools/core/refusal_words.h"

#include <cctype>

#include "tools/core/section_info.h"
#include "tools/core/settings_rules.h"

namespace rpl_toc {
namespace {

std::string source_name(const std::string& file) {
    return file == "-" ? "standard input" : "report file " + quoted(file);
}

std::string count_of(std::uint64_t n, const char* one, const char* many) {
    return with_separators(static_cast<std::size_t>(n)) + " " + (n == 1 ? one : many);
}

// "column 3", "columns 1, 2 and 3" or "columns 1, 2, 3, 4, 5 and 99,995 more".
std::string column_list(const std::vector<std::uint32_t>& columns, std::uint64_t more) {
    std::vector<std::string> items;
    for (std::uint32_t c : columns) items.push_back(std::to_string(c));
    if (more > 0) items.push_back(with_separators(static_cast<std::size_t>(more)) + " more");
    return (items.size() == 1 ? "column " : "columns ") + joined_list(items);
}

// What settings_rules.h allows for `setting`.
std::string allowed(Setting setting, std::uint32_t columns) {
    switch (setting) {
        case Setting::orientation: return "the page orientation is 1 (portrait) or 2 (landscape)";
        case Setting::chart_type: return "the chart type is 1 (bar) or 2 (line)";
        case Setting::widths: return "a width runs from 0 to " + with_separators(kMaxColumnWidth);
        default:
            return "display columns run from 0 to " + std::to_string(columns == 0 ? 0 : columns - 1) +
                   ", one for each of the table's " + count_of(columns, "column", "columns");
    }
}

std::string wrong_kind(const Refusal& r, const FrontNames& names) {
    std::string what = "; " + quoted(r.value) + " is a " + r.kind;
    if (r.setting == Setting::chart_type) return names.field(Setting::chart_type) + " applies to charts only" + what;
    return joined_list({names.field(Setting::widths), names.field(Setting::alignments), names.field(Setting::order)}) +
           " apply to tables only" + what;
}

std::string columns_missing(const Refusal& r, const FrontNames& names) {
    std::string given = names.given(r.setting, std::nullopt) + ": ";
    std::string missing = column_list(r.missing, r.missing_more) + " too";
    switch (r.setting) {
        case Setting::alignments:
            return given + "alignments are stored with the widths, only when every column has a width; give " +
                   names.field(Setting::widths) + " for " + missing;
        case Setting::order:
            return given + "display columns are stored only when every column has one; give " +
                   names.field(Setting::order) + " for " + missing;
        default:
            return given + "widths are stored only when every column has one; give " + names.field(Setting::widths) +
                   " for " + missing;
    }
}

std::string setting_refused(const Refusal& r, const FrontNames& names) {
    std::string given = names.given(r.setting, r.column);
    switch (r.what) {
        case Refused::nothing_to_change:
            return "the change names no setting; give at least one of " +
                   joined_list({names.field(Setting::orientation), names.field(Setting::chart_type),
                                names.field(Setting::widths), names.field(Setting::alignments),
                                names.field(Setting::order)});
        case Refused::out_of_range:
            return given + ": out of range; " + allowed(r.setting, r.columns);
        case Refused::wrong_kind:
            return wrong_kind(r, names);
        case Refused::no_such_column:
            return given + ": no column " + std::to_string(r.column) + "; the table has " +
                   count_of(r.columns, "column", "columns") + ", numbered from 0";
        case Refused::column_repeated:
            return names.field(r.setting) + ": column " + std::to_string(r.column) + " is given more than once";
        case Refused::display_column_shared:
            return given + ": display column " + r.value + " would also be that of column " +
                   std::to_string(r.other_column) + "; each display column is used once";
        default:
            return columns_missing(r, names);
    }
}

std::string line(const Refusal& r, const FrontNames& names) {
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
            return "no section has the path " + quoted(r.value) + names.where_paths_are();
        case Refused::report_not_written:
            return printable(r.detail);
        default:
            return setting_refused(r, names);
    }
}

}  // namespace

std::string joined_list(const std::vector<std::string>& items) {
    std::string out;
    for (std::size_t i = 0; i < items.size(); ++i)
        out += (i == 0 ? "" : i + 1 == items.size() ? " and " : ", ") + items[i];
    return out;
}

std::string refusal_words(const Refusal& refusal, const FrontNames& names) {
    std::string out = line(refusal, names);
    if (!names.sentences() || out.empty()) return out;
    out[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(out[0])));
    return out + ".";
}

}  // namespace rpl_toc
