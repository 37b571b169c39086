#include "tools/view_api.h"

#include <cctype>
#include <cstdint>
#include <vector>

#include "tools/section_info.h"
#include "tools/settings_probe.h"

namespace rpl_toc {
namespace {

using InJson = nlohmann::json;

// A request the viewer refuses: answered with its status and one sentence.
struct Refusal {
    int status;
    std::string message;
};

std::string quoted(const std::string& text) { return "'" + printable(text) + "'"; }

HttpResponse toc_response(Session& session, const std::string& unsaved = std::string()) {
    HttpResponse response = json_response(200, toc_json(session.toc()));
    if (!unsaved.empty()) response.headers.emplace_back("X-RPL-Unsaved", header_text(unsaved));
    return response;
}

std::string path_parameter(const std::string& query) {
    bool bad = false;
    std::optional<std::string> path = query_value(query, "path", &bad);
    if (bad) throw Refusal{400, "The query is not properly percent-encoded."};
    if (!path) throw Refusal{400, "Give the section's rdb path as the query parameter \"path\"."};
    return *path;
}

RPL_REPORT_SECTION& known_section(Session& session, const std::string& path) {
    RPL_REPORT_SECTION* section = session.toc().section_exists(to_rpl(path));
    if (!section) throw Refusal{404, "No section has the path " + quoted(path) + "."};
    return *section;
}

InJson body_object(const std::string& body, std::initializer_list<const char*> members) {
    InJson document = InJson::parse(body, nullptr, false);
    if (document.is_discarded()) throw Refusal{400, "The request body is not valid JSON."};
    if (!document.is_object()) throw Refusal{400, "The request body must be a JSON object."};
    for (const auto& member : document.items()) {
        bool known = false;
        for (const char* name : members) known = known || member.key() == name;
        if (!known) throw Refusal{400, "The request has an unknown member " + quoted(member.key()) + "."};
    }
    return document;
}

// ---- set ------------------------------------------------------------------------

std::string integer_text(const InJson& value) {
    if (value.is_number_unsigned()) return std::to_string(value.get<std::uint64_t>());
    if (value.is_number_integer()) return std::to_string(value.get<std::int64_t>());
    return std::string();
}

// [[i, v], ...] as the command line's "I=V" options; `value_text` gives the
// text of v, or "" when v has the wrong type.
template <class ValueText>
std::vector<std::string> column_options(const InJson& request, const char* member, const char* shape,
                                        ValueText value_text) {
    std::vector<std::string> out;
    if (!request.contains(member)) return out;
    const InJson& list = request[member];
    std::string refused = std::string("\"") + member + "\" must be a list of " + shape + " pairs.";
    if (!list.is_array()) throw Refusal{400, refused};
    for (const InJson& pair : list) {
        if (!pair.is_array() || pair.size() != 2) throw Refusal{400, refused};
        std::string index = integer_text(pair[0]);
        std::string value = value_text(pair[1]);
        if (index.empty() || value.empty()) throw Refusal{400, refused};
        out.push_back(index + "=" + value);
    }
    return out;
}

// Reads `key` into `out` when the request has it; it must be 1 or 2.
bool one_or_two(const InJson& request, const char* key, const char* refused, int& out) {
    if (!request.contains(key)) return false;
    const InJson& value = request[key];
    if (!value.is_number_integer() || (value.get<std::int64_t>() != 1 && value.get<std::int64_t>() != 2))
        throw Refusal{400, refused};
    out = value.get<int>();
    return true;
}

SetRequest set_request(const InJson& request) {
    SetRequest out;
    out.has_orientation = one_or_two(request, "orientation", "\"orientation\" must be 1 (portrait) or 2 (landscape).",
                                     out.orientation);
    out.has_chart_type = one_or_two(request, "chart_type", "\"chart_type\" must be 1 or 2.", out.chart_type);
    out.widths = column_options(request, "widths", "[column, width]", integer_text);
    out.aligns = column_options(request, "aligns", "[column, \"L\" or \"R\"]", [](const InJson& v) {
        return v.is_string() ? v.get<std::string>() : std::string();
    });
    out.orders = column_options(request, "orders", "[column, display column]", integer_text);
    if (!out.has_orientation && !out.has_chart_type && out.widths.empty() && out.aligns.empty() && out.orders.empty())
        throw Refusal{400, "The request changes nothing; give orientation, chart_type, widths, aligns or orders."};
    return out;
}

std::string file_stem(const std::string& name) {
    std::string out;
    for (char c : name)
        out += (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_') ? c : '_';
    return out.empty() ? "report" : out;
}

template <class Answer>
HttpResponse answered(Answer answer) {
    try {
        return answer();
    } catch (const Refusal& refusal) {
        return error_response(refusal.status, refusal.message);
    } catch (const CommandError& e) {
        return error_response(400, e.what());
    }
}

}  // namespace

HttpResponse api_toc(Session& session) { return toc_response(session); }

HttpResponse api_section(Session& session, const std::string& query) {
    return answered([&] {
        RPL_REPORT_SECTION& section = known_section(session, path_parameter(query));
        return json_response(200, section_document(section));
    });
}

HttpResponse api_step(Session& session, const std::string& query, bool forward) {
    return answered([&] {
        string from = to_rpl(path_parameter(query));
        string to = forward ? session.toc().get_next_section(from) : session.toc().get_previous_section(from);
        std::string path = to_std(to);
        return json_response(200, path_document(to.empty() ? nullptr : &path));
    });
}

HttpResponse api_mark(Session& session, const std::string& body) {
    return answered([&] {
        InJson request = body_object(body, {"paths", "marked"});
        if (!request.contains("marked") || !request["marked"].is_boolean())
            throw Refusal{400, "\"marked\" must be true or false."};
        const InJson& paths = request.contains("paths") ? request["paths"] : InJson();
        if (!paths.is_array() || paths.empty()) throw Refusal{400, "\"paths\" must list at least one rdb path."};
        std::vector<RPL_REPORT_SECTION*> sections;
        for (const InJson& path : paths) {  // every path known before anything changes
            if (!path.is_string()) throw Refusal{400, "\"paths\" must list rdb paths, as strings."};
            sections.push_back(&known_section(session, path.get<std::string>()));
        }
        bool marked = request["marked"].get<bool>();
        for (RPL_REPORT_SECTION* section : sections) section->set_marked_for_output(marked);
        return toc_response(session, unsaved_reason(session, marked_sections(sections)));
    });
}

HttpResponse api_set(Session& session, const std::string& body) {
    return answered([&] {
        InJson request = body_object(body, {"path", "orientation", "chart_type", "widths", "aligns", "orders"});
        if (!request.contains("path") || !request["path"].is_string())
            throw Refusal{400, "\"path\" must be the section's rdb path, as a string."};
        SetRequest change = set_request(request);
        RPL_REPORT_SECTION& section = known_section(session, request["path"].get<std::string>());
        change_settings(section, change);
        return toc_response(session, unsaved_reason(session, {&section}));
    });
}

HttpResponse api_settings(Session& session) {
    std::string path = to_std(session.toc().get_settings_filename());
    SettingsFileState state = settings_file_state(path);
    bool shown = state.exists && state.unreadable.empty();
    return json_response(200, json_document({{"path", path},
                                             {"exists", state.exists},
                                             {"readable", state.unreadable.empty()},
                                             {"content", shown ? Json(state.content) : Json()}}));
}

HttpResponse api_reload(Session& session) {
    session.toc().generate_toc(true);
    return toc_response(session);
}

HttpResponse api_export(Session& session, ReportFormat format) {
    bool html = format == ReportFormat::html;
    HttpResponse response;
    response.body = format_report(session.toc(), format);
    response.headers.emplace_back("Content-Type", html ? "text/html; charset=utf-8" : "text/plain; charset=utf-8");
    response.headers.emplace_back("Content-Disposition", "inline; filename=\"" +
                                                             file_stem(to_std(session.toc().m_report_name)) +
                                                             (html ? ".html\"" : ".txt\""));
    // The export is the user's data, not the viewer: it runs no script and
    // loads nothing from anywhere.
    response.headers.emplace_back("Content-Security-Policy",
                                  "sandbox; default-src 'none'; style-src 'unsafe-inline'; img-src data:");
    return response;
}

}  // namespace rpl_toc
