#include "tools/cli/refusal_text.h"

#include "tools/core/refusal_words.h"

namespace rpl_toc {
namespace {

// The command line names a setting by its flag, and what was given by the
// option as typed.
class CommandLineNames : public FrontNames {
public:
    explicit CommandLineNames(const SetOptions& set) : m_set(set) {}
    std::string field(Setting setting) const override { return option_flag(setting); }
    std::string given(Setting setting, std::optional<std::uint64_t> column) const override {
        return option_given(m_set, setting, column);
    }
    std::string where_paths_are() const override { return " (rpl-toc list --all prints every path)"; }
    bool sentences() const override { return false; }

private:
    const SetOptions& m_set;
};

}  // namespace

std::string refusal_text(const Refusal& r, const SetOptions* set) {
    SetOptions none;
    return refusal_words(r, CommandLineNames(set ? *set : none));
}

}  // namespace rpl_toc
