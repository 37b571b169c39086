#include "tools/view/view_refusals.h"

#include "tools/core/section_info.h"

namespace rpl_toc {
namespace {

// "column 3" or "columns 1, 2 and 3".
// "columns 1, 2 and 3", or with the count of those not named: "columns 1,
// 2, 3, 4, 5 and 4,294,967,289 more".
std::string columns_named(const std::vector<std::uint32_t>& columns, std::uint64_t more) {
    std::string out = columns.size() == 1 && more == 0 ? "column " : "columns ";
    for (std::size_t i = 0; i < columns.size(); ++i) {
        bool last = i + 1 == columns.size() && more == 0;
        out += (i == 0 ? "" : last ? " and " : ", ") + std::to_string(columns[i]);
    }
    if (more > 0) out += " and " + with_separators(static_cast<std::size_t>(more)) + " more";
    return out;
}

// The form's name for a setting.
const char* field_name(Setting setting) {
    switch (setting) {
        case Setting::orientation: return "Page orientation";
        case Setting::chart_type: return "Chart type";
        case Setting::widths: return "Width";
        case Setting::alignments: return "Alignment";
        case Setting::order: return "Display column";
        case Setting::none: break;
    }
    return "The change";
}

std::string wrong_kind(const Refusal& r) {
    std::string what = quoted(r.value) + " is a " + r.kind + ".";
    if (r.setting == Setting::chart_type) return "A chart type applies to charts only; " + what;
    return "Widths, alignments and display columns apply to tables only; " + what;
}

std::string columns_missing(const Refusal& r) {
    std::string missing = columns_named(r.missing, r.missing_more) + " too.";
    if (r.setting == Setting::alignments)
        return "Alignments are stored with the widths, only when every column has a width; fill in the Width of " +
               missing;
    if (r.setting == Setting::order)
        return "Display columns are stored only when every column has one; fill in the Display column of " + missing;
    return "Column widths are stored only when every column has one; fill in the Width of " + missing;
}

std::string sentence(const Refusal& r) {
    switch (r.what) {
        case Refused::nothing_to_change:
            return "The request changes nothing; give orientation, chart_type, widths, aligns or orders.";
        case Refused::bad_value:
            return std::string(field_name(r.setting)) + " " + r.value + " is not one of the choices, 1 and 2.";
        case Refused::wrong_kind:
            return wrong_kind(r);
        case Refused::no_such_column:
            return std::string(field_name(r.setting)) + ": the table has no column " + std::to_string(r.column) +
                   "; its " + std::to_string(r.columns) + " columns are numbered from 0.";
        case Refused::columns_missing:
            return columns_missing(r);
        default:
            return "The viewer could not do that: " + printable(r.detail.empty() ? r.value : r.detail) + ".";
    }
}

int status(Refused what) {
    switch (what) {
        case Refused::unknown_path: return 404;
        case Refused::nothing_to_change:
        case Refused::bad_value:
        case Refused::wrong_kind:
        case Refused::no_such_column:
        case Refused::columns_missing: return 400;
        default: return 500;
    }
}

}  // namespace

HttpResponse refusal_response(const Refusal& refusal) {
    if (refusal.what == Refused::unknown_path)
        return error_response(404, "No section has the path " + quoted(refusal.value) + ".");
    return error_response(status(refusal.what), sentence(refusal));
}

}  // namespace rpl_toc
