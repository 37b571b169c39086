// A refusal of tools/core worded for the viewer's page: the names of the
// form's fields, a sentence a person reads, and an HTTP status.
#ifndef TOOLS_VIEW_VIEW_REFUSALS_H
#define TOOLS_VIEW_VIEW_REFUSALS_H

#include "tools/core/refusal.h"
#include "tools/view/view_http.h"

namespace rpl_toc {

// The refusal as the page says it, in its form's words (refusal_words.h).
std::string refusal_sentence(const Refusal& refusal);

// {"format": 1, "error": refusal_sentence}: 404 for a path no section has, 400 for
// a change the section cannot take, 500 for anything else.
HttpResponse refusal_response(const Refusal& refusal);

}  // namespace rpl_toc

#endif
