#include "tools/view/view_api.h"

#include <cctype>
#include <cstdint>
#include <vector>

#include "tools/core/operations.h"
#include "tools/core/section_info.h"
#include "tools/core/toc_json.h"
#include "tools/view/view_refusals.h"

namespace rpl_toc {
namespace {

using InJson = nlohmann::json;

// A request the viewer refuses before it reaches an operation: answered
// with its status and one sentence.
struct BadRequest {
    int status;
    std::string message;
};

HttpResponse toc_response(Session& session) { return json_response(200, toc_json(session.toc())); }

// The TOC after a change, with why the change did not reach the file when
// it did not: the change stays in memory, as the library keeps it.
HttpResponse change_response(Session& session, const Outcome<Change>& change) {
    if (!change.ok()) return refusal_response(change.refusal());
    HttpResponse response = toc_response(session);
    const SaveCheck& save = change.result().save;
    if (!save.saved())
        response.headers.emplace_back("X-RPL-Unsaved", header_text(save.settings_file + ": " + save.unsaved));
    return response;
}

std::string path_parameter(const std::string& query) {
    bool bad = false;
    std::optional<std::string> path = query_value(query, "path", &bad);
    if (bad) throw BadRequest{400, "The query is not properly percent-encoded."};
    if (!path) throw BadRequest{400, "Give the section's rdb path as the query parameter \"path\"."};
    return *path;
}


InJson body_object(const std::string& body, std::initializer_list<const char*> members) {
    InJson document = InJson::parse(body, nullptr, false);
    if (document.is_discarded()) throw BadRequest{400, "The request body is not valid JSON."};
    if (!document.is_object()) throw BadRequest{400, "The request body must be a JSON object."};
    for (const auto& member : document.items()) {
        bool known = false;
        for (const char* name : members) known = known || member.key() == name;
        if (!known) throw BadRequest{400, "The request has an unknown member " + quoted(member.key()) + "."};
    }
    return document;
}

// ---- set ------------------------------------------------------------------------

// A column index: an integer from 0 up, within 32 bits.
std::optional<std::uint32_t> column_index(const InJson& value) {
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > UINT32_MAX) return std::nullopt;
    return static_cast<std::uint32_t>(value.get<std::uint64_t>());
}

// [[i, v], ...]: `item` makes one entry of a column and its value, or
// nullopt when the value has the wrong type.
template <class Entry, class MakeEntry>
std::vector<Entry> column_list(const InJson& request, const char* member, const char* shape, MakeEntry item) {
    std::vector<Entry> out;
    if (!request.contains(member)) return out;
    const InJson& list = request[member];
    std::string refused = std::string("\"") + member + "\" must be a list of " + shape + " pairs.";
    if (!list.is_array()) throw BadRequest{400, refused};
    for (const InJson& pair : list) {
        if (!pair.is_array() || pair.size() != 2) throw BadRequest{400, refused};
        std::optional<std::uint32_t> column = column_index(pair[0]);
        std::optional<Entry> entry = column ? item(*column, pair[1]) : std::nullopt;
        if (!entry) throw BadRequest{400, refused};
        out.push_back(*entry);
    }
    return out;
}

std::optional<ColumnValue> integer_entry(std::uint32_t column, const InJson& value) {
    if (!value.is_number_integer() || value.get<std::int64_t>() < INT32_MIN || value.get<std::int64_t>() > INT32_MAX)
        return std::nullopt;
    return ColumnValue{column, value.get<int>()};
}

std::optional<ColumnAlignment> alignment_entry(std::uint32_t column, const InJson& value) {
    if (value == "L") return ColumnAlignment{column, RPL_TABLE::LEFT};
    if (value == "R") return ColumnAlignment{column, RPL_TABLE::RIGHT};
    return std::nullopt;
}

// An integer member, when the request has it; the operation checks its value.
std::optional<int> integer_member(const InJson& request, const char* key) {
    if (!request.contains(key)) return std::nullopt;
    const InJson& value = request[key];
    if (!value.is_number_integer() || value.get<std::int64_t>() < INT32_MIN || value.get<std::int64_t>() > INT32_MAX)
        throw BadRequest{400, std::string("\"") + key + "\" must be 1 or 2."};
    return value.get<int>();
}

SettingsChange settings_change(const InJson& request) {
    SettingsChange out;
    out.orientation = integer_member(request, "orientation");
    out.chart_type = integer_member(request, "chart_type");
    out.widths = column_list<ColumnValue>(request, "widths", "[column, width]", integer_entry);
    out.alignments = column_list<ColumnAlignment>(request, "aligns", "[column, \"L\" or \"R\"]", alignment_entry);
    out.order = column_list<ColumnValue>(request, "orders", "[column, display column]", integer_entry);
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
    } catch (const BadRequest& refusal) {
        return error_response(refusal.status, refusal.message);
    }
}

}  // namespace

HttpResponse api_toc(Session& session) { return toc_response(session); }

HttpResponse api_section(Session& session, const std::string& query) {
    return answered([&] {
        Outcome<RPL_REPORT_SECTION*> found = find_section(session, path_parameter(query));
        if (!found.ok()) return refusal_response(found.refusal());
        return json_response(200, section_document(*found.result()));
    });
}

HttpResponse api_step(Session& session, const std::string& query, bool forward) {
    return answered([&] {
        std::optional<std::string> to = step_from(session, path_parameter(query), forward);
        return json_response(200, path_document(to ? &*to : nullptr));
    });
}

HttpResponse api_mark(Session& session, const std::string& body) {
    return answered([&] {
        InJson request = body_object(body, {"paths", "marked"});
        if (!request.contains("marked") || !request["marked"].is_boolean())
            throw BadRequest{400, "\"marked\" must be true or false."};
        const InJson& paths = request.contains("paths") ? request["paths"] : InJson();
        if (!paths.is_array() || paths.empty()) throw BadRequest{400, "\"paths\" must list at least one rdb path."};
        if (paths.size() > kMaxMarkPaths)
            throw BadRequest{413, "\"paths\" lists " + std::to_string(paths.size()) + " paths; one mark takes at most " +
                                      std::to_string(kMaxMarkPaths) + "."};
        std::vector<std::string> named;
        for (const InJson& path : paths) {
            if (!path.is_string()) throw BadRequest{400, "\"paths\" must list rdb paths, as strings."};
            named.push_back(path.get<std::string>());
        }
        return change_response(session, mark_sections(session, named, request["marked"].get<bool>()));
    });
}

HttpResponse api_set(Session& session, const std::string& body) {
    return answered([&] {
        InJson request = body_object(body, {"path", "orientation", "chart_type", "widths", "aligns", "orders"});
        if (!request.contains("path") || !request["path"].is_string())
            throw BadRequest{400, "\"path\" must be the section's rdb path, as a string."};
        SettingsChange change = settings_change(request);
        return change_response(session, change_settings(session, request["path"].get<std::string>(), change));
    });
}

HttpResponse api_settings(Session& session) { return json_response(200, settings_file_document(read_settings_file(session))); }

HttpResponse api_reload(Session& session) {
    session.rebuild();
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
