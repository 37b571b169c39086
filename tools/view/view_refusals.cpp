#include "tools/view/view_refusals.h"

#include "tools/core/refusal_words.h"

namespace rpl_toc {
namespace {

// The page names a setting by its form's field, and what was given by the
// field and its column, as the form labels them.
class PageNames : public FrontNames {
public:
    std::string field(Setting setting) const override {
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
    std::string given(Setting setting, std::optional<std::uint64_t> column) const override {
        bool list = setting == Setting::widths || setting == Setting::alignments || setting == Setting::order;
        if (!list || !column) return field(setting);
        return field(setting) + " of column " + std::to_string(*column);
    }
    bool sentences() const override { return true; }
};

int status(Refused what) {
    switch (what) {
        case Refused::unknown_path: return 404;
        case Refused::nothing_to_change:
        case Refused::out_of_range:
        case Refused::wrong_kind:
        case Refused::no_such_column:
        case Refused::column_repeated:
        case Refused::columns_missing:
        case Refused::display_column_shared: return 400;
        default: return 500;
    }
}

}  // namespace

std::string refusal_sentence(const Refusal& refusal) { return refusal_words(refusal, PageNames()); }

HttpResponse refusal_response(const Refusal& refusal) {
    return error_response(status(refusal.what), refusal_sentence(refusal));
}

}  // namespace rpl_toc
