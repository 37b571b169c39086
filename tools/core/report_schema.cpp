// Applying the report schema, and naming the place of a fault in the
// schema's terms.
#include "tools/core/report_schema.h"

#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include "tools/core/embedded_files.h"
#include "tools/core/json_text.h"

namespace rpl_toc {
namespace {

using nlohmann::json;

// The schema as a document, for wording faults, and as valijson's
// compiled form; both are read once and never change.
struct ReportSchema {
    json doc;
    valijson::Schema compiled;
};

const ReportSchema& report_schema() {
    static const ReportSchema* schema = [] {
        const EmbeddedFile* file = find_schema_file("report.schema.json");
        auto* out = new ReportSchema;  // lives as long as the program
        out->doc = json::parse(file->text());
        valijson::SchemaParser parser;
        parser.populateSchema(valijson::adapters::NlohmannJsonAdapter(out->doc), out->compiled);
        return out;
    }();
    return *schema;
}

bool valid(const json& doc, valijson::ValidationResults* results) {
    valijson::Validator validator;
    return validator.validate(report_schema().compiled, valijson::adapters::NlohmannJsonAdapter(doc), results);
}

// Sets aside all but the first `budget` values of a document in document
// order (an array's items and an object's members in turn, depth first)
// and every object's "type", and puts them back when it goes. Under the
// report schema a part of a valid document is valid, so the smallest part
// that is not ends at a value that is at fault.
class Prefix {
public:
    Prefix(json& doc, std::size_t budget) { keep(doc, budget); }
    ~Prefix() {
        // The deepest container was cut first; putting it back first keeps
        // the outer containers, whose items may move, untouched until then.
        for (Cut& cut : m_cuts) {
            if (cut.container->is_array()) {
                auto& items = cut.container->get_ref<json::array_t&>();
                items.insert(items.end(), std::make_move_iterator(cut.items.begin()),
                             std::make_move_iterator(cut.items.end()));
            } else {
                for (auto& member : cut.members) (*cut.container)[member.first] = std::move(member.second);
            }
        }
    }
    Prefix(const Prefix&) = delete;
    Prefix& operator=(const Prefix&) = delete;

    bool whole() const { return m_cuts.empty(); }

private:
    struct Cut {
        json* container;  // not owned
        std::vector<json> items;
        std::vector<std::pair<std::string, json>> members;
    };

    void keep(json& value, std::size_t& budget) {
        --budget;
        if (value.is_array()) {
            auto& items = value.get_ref<json::array_t&>();
            for (std::size_t i = 0; i < items.size(); ++i) {
                if (budget == 0) {
                    Cut cut{&value, {}, {}};
                    cut.items.assign(std::make_move_iterator(items.begin() + static_cast<std::ptrdiff_t>(i)),
                                     std::make_move_iterator(items.end()));
                    items.erase(items.begin() + static_cast<std::ptrdiff_t>(i), items.end());
                    m_cuts.push_back(std::move(cut));
                    return;
                }
                keep(items[i], budget);
            }
        } else if (value.is_object()) {
            Cut cut{&value, {}, {}};
            auto& members = value.get_ref<json::object_t&>();
            for (auto it = members.begin(); it != members.end();) {
                if (budget > 0) {
                    keep(it->second, budget);
                    ++it;
                } else if (it->first == "type") {  // what the object's other fields mean depends on it
                    ++it;
                } else {
                    cut.members.emplace_back(it->first, std::move(it->second));
                    it = members.erase(it);
                }
            }
            if (!cut.members.empty()) m_cuts.push_back(std::move(cut));
        }
    }

    std::vector<Cut> m_cuts;  // deepest first
};

// How many values of the document the last check takes in at most. The
// validator records every fault it meets, a few hundred bytes each, so
// the place of a fault is narrowed to a part of the document this small
// before it is asked for them.
constexpr std::size_t kFaultWindow = 16384;

// The faults of the smallest part of `doc` (in Prefix's terms) that is
// invalid, to within kFaultWindow values. Time: the parts checked grow
// fourfold up to the first invalid one, then halve the distance to the
// last valid one, so a fault at the n-th value costs O(n log(n / window)).
valijson::ValidationResults faults_of_first_invalid_part(json& doc) {
    std::size_t good = 0;
    std::size_t bad = 0;
    for (std::size_t budget = kFaultWindow;; budget *= 4) {
        Prefix part(doc, budget);
        if (part.whole() || !valid(doc, nullptr)) {
            bad = budget;
            break;
        }
        good = budget;
    }
    while (bad - good > kFaultWindow) {
        std::size_t middle = good + (bad - good) / 2;
        Prefix part(doc, middle);
        (valid(doc, nullptr) ? good : bad) = middle;
    }
    Prefix part(doc, bad);
    valijson::ValidationResults results;
    valid(doc, &results);
    return results;
}

// ---- Wording ------------------------------------------------------------------

bool starts_with(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

// The text between the first and the last single quote of a validator's
// message: the property it names.
std::string quoted(const std::string& text, const char* after) {
    std::size_t open = text.find('\'', text.find(after));
    std::size_t close = text.rfind('\'');
    return open != std::string::npos && close > open ? text.substr(open + 1, close - open - 1) : std::string();
}

// The schema nodes that apply to a value described by `node`: itself, what
// it refers to and what it combines.
void expand(const json& node, std::vector<const json*>& out) {
    if (!node.is_object()) return;
    out.push_back(&node);
    auto ref = node.find("$ref");
    if (ref != node.end() && ref->is_string() && starts_with(ref->get<std::string>(), "#"))
        expand(report_schema().doc.at(json::json_pointer(ref->get<std::string>().substr(1))), out);
    for (const char* key : {"allOf", "anyOf", "oneOf"}) {
        auto list = node.find(key);
        if (list != node.end() && list->is_array())
            for (const json& each : *list) expand(each, out);
    }
    auto then = node.find("then");
    if (then != node.end()) expand(*then, out);
}

bool is_index(const std::string& token) {
    return !token.empty() && token.size() < 19 && token.find_first_not_of("0123456789") == std::string::npos;
}

// The schema nodes that apply at the place `tokens` names.
std::vector<const json*> schema_at(const std::vector<std::string>& tokens) {
    std::vector<const json*> nodes;
    expand(report_schema().doc, nodes);
    for (const std::string& token : tokens) {
        std::vector<const json*> next;
        for (const json* node : nodes) {
            auto properties = node->find("properties");
            if (properties != node->end() && properties->contains(token)) expand((*properties)[token], next);
            auto items = node->find("items");
            if (items != node->end() && is_index(token)) expand(*items, next);
        }
        nodes = std::move(next);
    }
    return nodes;
}

const json* value_at(const json& doc, const std::vector<std::string>& tokens) {
    const json* value = &doc;
    for (const std::string& token : tokens) {
        if (value->is_object() && value->contains(token))
            value = &(*value)[token];
        else if (value->is_array() && is_index(token) && std::stoull(token) < value->size())
            value = &(*value)[std::stoull(token)];
        else
            return nullptr;
    }
    return value;
}

std::string one_of(const std::vector<std::string>& words) {
    std::string out;
    for (std::size_t i = 0; i < words.size(); ++i)
        out += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
    return out;
}

// "a string, a number or null": the types the schema allows at a place.
std::string allowed_types(const std::vector<const json*>& nodes) {
    std::vector<std::string> words;
    auto add = [&words](const std::string& word) {
        for (const std::string& w : words)
            if (w == word) return;
        words.push_back(word);
    };
    auto add_type = [&add](const std::string& type) {
        if (type == "boolean") {
            add("true");
            add("false");
        } else if (type == "null") {
            add("null");
        } else {
            add((type == "integer" || type == "object" || type == "array" ? "an " : "a ") + type);
        }
    };
    for (const json* node : nodes) {
        auto type = node->find("type");
        if (type == node->end()) continue;
        if (type->is_string()) add_type(type->get<std::string>());
        if (type->is_array())
            for (const json& each : *type)
                if (each.is_string()) add_type(each.get<std::string>());
    }
    return words.empty() ? "another kind of value" : one_of(words);
}

// "an integer >= 0": the bound the value at the place lies beyond.
std::string allowed_range(const std::vector<const json*>& nodes, const char* bound, const char* sign) {
    std::string what = allowed_types(nodes);
    for (const json* node : nodes) {
        auto limit = node->find(bound);
        if (limit != node->end()) return what + " " + sign + " " + limit->dump();
    }
    return what;
}

// What a node with a "description" beside its rule says; the validator's
// own words otherwise.
std::string described_rule(const std::vector<const json*>& nodes, const std::string& fallback) {
    for (const json* node : nodes) {
        auto description = node->find("description");
        if (description != node->end() && description->is_string() && (node->contains("not") || node->contains("pattern")))
            return description->get<std::string>();
    }
    return fallback;
}

// A field the object's definition knows, but not for this object's type.
bool known_field(const std::vector<const json*>& nodes, const std::string& key) {
    for (const json* node : nodes) {
        auto properties = node->find("properties");
        if (properties != node->end() && properties->contains(key) && !(*properties)[key].empty()) return true;
    }
    return false;
}

std::string pointer_text(const std::vector<std::string>& tokens) {
    if (tokens.empty()) return "top level";
    std::string out;
    for (const std::string& token : tokens) out += "/" + json_pointer_token(token);
    return out;
}

// The validator's fault in this tool's words. Its place ("<root>",
// "[root]", "[children]", "[0]") becomes a JSON pointer; its kind, told by
// its message, is worded with what the schema says at that place.
std::string worded(const json& doc, const valijson::ValidationResults::Error& error) {
    std::vector<std::string> tokens;
    for (std::size_t i = 1; i < error.context.size(); ++i) {
        const std::string& step = error.context[i];
        tokens.push_back(step.size() >= 2 ? step.substr(1, step.size() - 2) : step);
    }
    const std::string& says = error.description;
    std::vector<const json*> nodes = schema_at(tokens);
    std::string what;
    if (starts_with(says, "Value type not permitted")) {
        what = "expected " + allowed_types(nodes);
    } else if (starts_with(says, "Expected number greater")) {
        what = "expected " + allowed_range(nodes, "minimum", ">=");
    } else if (starts_with(says, "Expected number less")) {
        what = "expected " + allowed_range(nodes, "maximum", "<=");
    } else if (starts_with(says, "Missing required property")) {
        what = "missing \"" + quoted(says, "property") + "\"";
    } else if (starts_with(says, "Object contains a property")) {
        std::string key = quoted(says, "constraints:");
        const json* object = value_at(doc, tokens);
        const json* type = object && object->is_object() && object->contains("type") ? &(*object)["type"] : nullptr;
        what = known_field(nodes, key) && type && type->is_number_integer()
                   ? "not a field of an object of type " + type->dump()
                   : "unknown field";
        tokens.push_back(key);
    } else if (starts_with(says, "Target should not validate") || starts_with(says, "Failed to match regex")) {
        what = described_rule(nodes, says);
    } else {
        what = says;
        if (!what.empty() && what.back() == '.') what.pop_back();
    }
    return pointer_text(tokens) + ": " + what;
}

// The fault to name: the first the validator met that is not only the
// consequence of another ("Failed to validate item #0 in array").
const valijson::ValidationResults::Error* first_fault(const valijson::ValidationResults& results) {
    const valijson::ValidationResults::Error* first = nullptr;
    for (const auto& error : results) {
        if (!starts_with(error.description, "Failed to validate")) return &error;
        if (!first) first = &error;
    }
    return first;
}

}  // namespace

std::string report_schema_error(json& doc) {
    if (valid(doc, nullptr)) return std::string();
    valijson::ValidationResults results = faults_of_first_invalid_part(doc);
    const valijson::ValidationResults::Error* fault = first_fault(results);
    return fault ? worded(doc, *fault) : "top level: not a report file";
}

}  // namespace rpl_toc
