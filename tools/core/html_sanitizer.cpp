// The allow-list: gumbo reads the untrusted text the way a browser would,
// as the content of a <div>, and the tree it builds is written out again
// keeping only what the lists below allow. Reading it as a browser would is
// the point: a hand-made scanner and the browser would disagree on broken
// markup, and that disagreement is where scripts slip through.
#include "tools/core/html_sanitizer.h"

#include <gumbo.h>

#include <algorithm>
#include <csetjmp>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/core/section_info.h"

namespace rpl_toc {
namespace {

// Deeper elements are unwrapped: a report text has no use for more, and
// the browser that lays the page out pays for every level.
constexpr int kMaxOutputDepth = 100;
// gumbo's tree builder scans its stack of open elements for many tags, so
// its time grows with tags times depth; past this many '<' the text is
// shown as plain text instead.
constexpr std::size_t kMaxTagOpenings = 10000;
// Misnested formatting elements make gumbo clone them again and again (as
// browsers do): memory grows with the square of the tags. A parse that
// needs more than this is abandoned.
constexpr std::size_t kFixedParseBudget = std::size_t{16} << 20;
constexpr std::size_t kParseBudgetPerInputByte = 8;
// gumbo takes no more than 4 GiB, and the plain-text fallback may grow the
// text fourfold.
constexpr std::size_t kMaxInputBytes = std::size_t{256} << 20;

// Kept with their allowed attributes: what a report's text needs to be
// laid out, headings included.
constexpr std::string_view kKeptElements[] = {
    "p", "br", "hr", "b", "strong", "i", "em", "u", "s", "small", "sub", "sup", "code", "pre",
    "kbd", "samp", "span", "div", "blockquote", "abbr", "a",
    "ul", "ol", "li", "dl", "dt", "dd", "h1", "h2", "h3", "h4", "h5", "h6",
    "table", "thead", "tbody", "tfoot", "tr", "th", "td", "caption"};

// Dropped with everything inside: their content is code, styles, another
// document, something loaded from elsewhere, or a form that posts.
constexpr std::string_view kDroppedElements[] = {
    "script", "style", "template", "noscript", "noembed", "noframes", "xmp", "plaintext",
    "iframe", "frame", "frameset", "object", "embed", "applet", "svg", "math",
    "img", "image", "picture", "video", "audio", "source", "track", "canvas",
    "form", "input", "button", "textarea", "select",
    "head", "title", "meta", "link", "base"};

// Kept elements that have no end tag.
constexpr std::string_view kVoidElements[] = {"br", "hr"};

template <std::size_t N>
const std::string_view* find_name(std::string_view name, const std::string_view (&names)[N]) {
    const std::string_view* found = std::find(std::begin(names), std::end(names), name);
    return found == std::end(names) ? nullptr : found;
}

char ascii_lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string ascii_lower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), [](char c) { return ascii_lower(c); });
    return out;
}

bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }
bool is_space_or_control(char c) { return c == ' ' || is_control(c); }

// Controls that are not line or tab breaks show nothing, and a browser
// reading them back may make them U+FFFD: they are left out.
bool is_stray_control(char c) { return is_control(c) && c != '\t' && c != '\n' && c != '\f' && c != '\r'; }

void append_escaped(std::string& out, std::string_view text) {
    std::string kept;
    kept.reserve(text.size());
    for (char c : text)
        if (!is_stray_control(c)) kept += c;
    out += html_escape(kept);
}

// ---- Links

// The address as a browser reads it before looking for a scheme: spaces and
// controls around it cut, tabs and newlines inside ignored. Any other
// control inside goes too: no real address holds one.
std::string address_as_read(std::string_view raw) {
    auto first = std::find_if_not(raw.begin(), raw.end(), is_space_or_control);
    auto last = std::find_if_not(raw.rbegin(), raw.rend(), is_space_or_control).base();
    std::string out;
    if (first < last) std::copy_if(first, last, std::back_inserter(out), [](char c) { return !is_control(c); });
    return out;
}

// "http:path" and "http:/path" are read relative to the page's own address
// when the page is served over http: only "http://host" leaves it.
bool names_a_host(std::string_view after_scheme) {
    auto is_slash = [](char c) { return c == '/' || c == '\\'; };
    return after_scheme.size() >= 2 && is_slash(after_scheme[0]) && is_slash(after_scheme[1]);
}

// Fragments, and absolute http, https and mailto addresses. Anything
// relative would reach into the viewer's own origin; any other scheme may
// run code (javascript:, vbscript:) or carry a document (data:).
std::optional<std::string> safe_link(std::string_view raw) {
    std::string address = address_as_read(raw);
    if (!address.empty() && address.front() == '#') return address;
    const std::size_t colon = address.find(':');
    if (colon == std::string::npos) return std::nullopt;
    const std::string scheme = ascii_lower(std::string_view(address).substr(0, colon));
    const std::string_view rest = std::string_view(address).substr(colon + 1);
    if (scheme == "mailto" || ((scheme == "http" || scheme == "https") && names_a_host(rest))) return address;
    return std::nullopt;
}

// ---- Attributes

// Digits only, no sign or spaces, so that no browser reads it differently.
std::optional<std::string> number_within(std::string_view text, unsigned long min, unsigned long max) {
    if (text.empty() || text.size() > 9) return std::nullopt;
    unsigned long value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        value = value * 10 + static_cast<unsigned long>(c - '0');
    }
    if (value < min || value > max) return std::nullopt;
    return std::to_string(value);
}

std::optional<std::string> kept_attribute(std::string_view element, const GumboAttribute& attribute) {
    if (attribute.attr_namespace != GUMBO_ATTR_NAMESPACE_NONE) return std::nullopt;
    const std::string_view name = attribute.name;
    const std::string_view value = attribute.value;
    if (name == "title") return std::string(value);
    if (element == "a" && name == "href") return safe_link(value);
    if ((element == "th" || element == "td") && (name == "colspan" || name == "rowspan"))
        return number_within(value, 1, 1000);
    if (element == "ol" && name == "start") return number_within(value, 0, 999999999);
    return std::nullopt;
}

// ---- Elements

// The lower-case name; gumbo names only the elements it knows, the others
// keep theirs in the original tag text.
std::string element_name(const GumboElement& element) {
    if (element.tag != GUMBO_TAG_UNKNOWN) return gumbo_normalized_tagname(element.tag);
    GumboStringPiece tag = element.original_tag;
    if (tag.length < 2 || tag.data[0] != '<') return std::string();
    gumbo_tag_from_original_text(&tag);
    return ascii_lower(std::string_view(tag.data, tag.length));
}

// Writes what the allow-list keeps of a tree, depth first, with its own stack: gumbo
// nests as deep as the markup does.
class AllowedWriter {
public:
    std::string write(const GumboNode& root) {
        push_children(root.v.element);
        while (!m_pending.empty()) {
            const Step step = m_pending.back();
            m_pending.pop_back();
            if (step.node)
                take(*step.node);
            else
                close(step.end_tag);
        }
        return std::move(m_out);
    }

private:
    // A node to take, or (node null) an end tag to write.
    struct Step {
        const GumboNode* node;
        std::string_view end_tag;
    };

    void push_children(const GumboElement& element) {
        for (unsigned int i = element.children.length; i > 0; --i)
            m_pending.push_back({static_cast<const GumboNode*>(element.children.data[i - 1]), {}});
    }

    void take(const GumboNode& node) {
        switch (node.type) {
            case GUMBO_NODE_TEXT:
            case GUMBO_NODE_WHITESPACE:
            case GUMBO_NODE_CDATA: write_text(node.v.text.text); break;
            case GUMBO_NODE_ELEMENT:
            case GUMBO_NODE_TEMPLATE: take_element(node.v.element); break;
            default: break;  // comments show nothing
        }
    }

    void take_element(const GumboElement& element) {
        if (element.tag_namespace != GUMBO_NAMESPACE_HTML) return;  // inside svg or math
        const std::string name = element_name(element);
        if (find_name(name, kDroppedElements)) return;
        const std::string_view* kept = find_name(name, kKeptElements);
        if (kept && m_depth < kMaxOutputDepth) {
            open(*kept, element);
            if (find_name(*kept, kVoidElements)) return;
            ++m_depth;
            m_pending.push_back({nullptr, *kept});
        }
        push_children(element);
    }

    void open(std::string_view name, const GumboElement& element) {
        m_out += '<';
        m_out += name;
        bool leaves_page = false;
        for (unsigned int i = 0; i < element.attributes.length; ++i) {
            const auto& attribute = *static_cast<const GumboAttribute*>(element.attributes.data[i]);
            const std::optional<std::string> value = kept_attribute(name, attribute);
            if (!value) continue;
            write_attribute(attribute.name, *value);
            if (std::string_view(attribute.name) == "href" && value->front() != '#') leaves_page = true;
        }
        // The page opened must not reach back to the viewer's window.
        if (leaves_page) m_out += " rel=\"noopener noreferrer\" target=\"_blank\"";
        m_out += '>';
        if (name == "pre") m_pre_content_at = m_out.size();
    }

    void write_text(std::string_view text) {
        // A browser drops one newline right after <pre>: one more keeps the
        // text's own.
        if (m_out.size() == m_pre_content_at && !text.empty() && text.front() == '\n') m_out += '\n';
        append_escaped(m_out, text);
    }

    void write_attribute(std::string_view name, std::string_view value) {
        m_out += ' ';
        m_out += name;
        m_out += "=\"";
        append_escaped(m_out, value);
        m_out += '"';
    }

    void close(std::string_view name) {
        m_out += "</";
        m_out += name;
        m_out += '>';
        --m_depth;
    }

    std::vector<Step> m_pending;
    std::string m_out;
    int m_depth = 0;
    std::size_t m_pre_content_at = std::string::npos;
};

// ---- Parsing

// Holds every block gumbo asks for, so that the whole tree is freed in one
// loop (gumbo frees its tree recursively, which exhausts the stack on deep
// markup) and so that a parse past its budget, or out of memory, can be
// left at once (gumbo does not check for a failed allocation).
class ParseArena {
public:
    explicit ParseArena(std::size_t budget) : m_budget(budget) {}
    ParseArena(const ParseArena&) = delete;
    ParseArena& operator=(const ParseArena&) = delete;
    ~ParseArena() {
        while (m_newest) std::free(unlink(m_newest));
    }

    GumboOptions options() {
        GumboOptions options = kGumboDefaultOptions;
        options.allocator = &ParseArena::allocate;
        options.deallocator = &ParseArena::release;
        options.userdata = this;
        return options;
    }

    // Where allocate() returns to when a block is refused.
    std::jmp_buf refused;

private:
    struct alignas(std::max_align_t) Block {
        Block* older;
        Block* newer;
        std::size_t size;
    };

    static void* allocate(void* userdata, std::size_t size) {
        auto& arena = *static_cast<ParseArena*>(userdata);
        // Zeroed: in tables gumbo reads a field it never wrote, and it
        // should read the same thing every time.
        void* memory = size <= arena.m_budget - arena.m_used ? std::calloc(1, sizeof(Block) + size) : nullptr;
        if (!memory) std::longjmp(arena.refused, 1);
        auto* block = new (memory) Block{arena.m_newest, nullptr, size};
        if (arena.m_newest) arena.m_newest->newer = block;
        arena.m_newest = block;
        arena.m_used += size;
        return block + 1;
    }

    static void release(void* userdata, void* payload) {
        if (payload) std::free(static_cast<ParseArena*>(userdata)->unlink(static_cast<Block*>(payload) - 1));
    }

    Block* unlink(Block* block) {
        if (block->newer) block->newer->older = block->older;
        if (block->older) block->older->newer = block->newer;
        if (block == m_newest) m_newest = block->older;
        m_used -= block->size;
        return block;
    }

    std::size_t m_budget;
    std::size_t m_used = 0;
    Block* m_newest = nullptr;
};

// The fragment's tree, or null when the arena refused a block. Nothing
// here or in gumbo has a destructor for the jump to skip.
const GumboOutput* parse_fragment(ParseArena& arena, const std::string& html) {
    GumboOptions options = arena.options();
    options.fragment_context = GUMBO_TAG_DIV;
    options.max_errors = 0;  // the errors are not read: no need to keep them
    if (setjmp(arena.refused) != 0) return nullptr;
    return gumbo_parse_with_options(&options, html.data(), html.size());
}

std::optional<std::string> allowed_markup(const std::string& html) {
    ParseArena arena(kFixedParseBudget + kParseBudgetPerInputByte * html.size());
    const GumboOutput* output = parse_fragment(arena, html);
    if (!output) return std::nullopt;
    return AllowedWriter().write(*output->root);
}

// The same text with every tag turned into text, for markup too costly to
// parse; gumbo still decodes its entities and mends its UTF-8.
std::string as_plain_text(const std::string& html) {
    std::string out;
    for (char c : html) {
        if (c == '<')
            out += "&lt;";
        else
            out += c;
    }
    return out;
}

}  // namespace

std::string sanitize_html(const std::string& untrusted) {
    try {
        if (untrusted.size() > kMaxInputBytes) return std::string();
        std::optional<std::string> kept;
        if (static_cast<std::size_t>(std::count(untrusted.begin(), untrusted.end(), '<')) <= kMaxTagOpenings)
            kept = allowed_markup(untrusted);
        if (!kept) kept = allowed_markup(as_plain_text(untrusted));
        return kept.value_or(std::string());
    } catch (...) {
        return std::string();
    }
}

}  // namespace rpl_toc
