// A report's HTML texts come from the tool that wrote the report, not from
// us: before they reach a page they pass an allow-list. Only a short list
// of formatting elements and attributes survives; everything else is
// dropped (scripts, styles, frames, forms, embedded media, event
// attributes) or reduced to its text. Links keep only http, https and
// mailto addresses and fragments; nothing that a browser would load from
// elsewhere is kept. The page that shows the result adds a
// Content-Security-Policy, so a slip here still runs nothing.
#ifndef TOOLS_CORE_HTML_SANITIZER_H
#define TOOLS_CORE_HTML_SANITIZER_H

#include <string>

namespace rpl_toc {

// The HTML fragment `untrusted` (any bytes, any markup, well-formed or not)
// as a fragment that holds only allowed elements and attributes, with every
// text and attribute value escaped again. Markup too costly to parse (more
// than ten thousand '<', or tangled so that the parser's tree outgrows a
// fixed memory budget) comes back as its text, escaped; more than 256 MiB
// comes back empty. Elements nested more than 100 deep are reduced to their
// content. Never throws.
std::string sanitize_html(const std::string& untrusted);

}  // namespace rpl_toc

#endif
