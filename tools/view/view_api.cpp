#include "tools/view/view_api.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <set>
#include <vector>

#include "tools/core/operations.h"
#include "tools/core/save_check.h"
#include "tools/core/presentation.h"
#include "tools/core/progress_words.h"
#include "tools/core/section_info.h"
#include "tools/core/settings_blocks.h"
#include "tools/core/toc_json.h"
#include "tools/view/view_live.h"
#include "tools/view/view_refusals.h"

namespace rpl_toc {
namespace {

using InJson = nlohmann::json;

// A request the viewer refuses before it reaches an operation: answered
// with its status and one sentence.
// What a change's answer is told beside the change: its number; and what
// the other pages are to hear of it, sent once the change has ended, so
// that a page that asks for more is not told the viewer is busy.
struct ChangeContext {
    std::uint64_t change;
    Json* told;
};

struct BadRequest {
    int status;
    std::string message;
};

HttpResponse toc_response(Session& session) { return json_response(200, toc_json(session.toc())); }

// Another program's finished change must not be undone by a save of what
// this session holds: each save rewrites a section's whole block from
// memory. The TOC is built again from the file when it changed.
std::optional<Rebuilt> reload_if_changed_outside(Session& session) {
    if (!session.settings_file_changed_outside()) return std::nullopt;
    return rebuild_and_compare(session);
}

enum class ChangeKind { mark, set };

void add_subtree(const RPL_REPORT_SECTION& section, std::vector<const RPL_REPORT_SECTION*>& out) {
    out.push_back(&section);
    if (section.m_children)
        for (const RPL_REPORT_SECTION* child : *section.m_children)
            if (child) add_subtree(*child, out);
}

// The sections whose blocks a change saved: a set saves its section; a
// mark each named section's subtree, then each of its ancestors.
std::vector<const RPL_REPORT_SECTION*> saved_by(const Change& change, ChangeKind kind) {
    if (kind == ChangeKind::set) return {change.sections.begin(), change.sections.end()};
    std::vector<const RPL_REPORT_SECTION*> out;
    for (const RPL_REPORT_SECTION* named : change.sections) {
        add_subtree(*named, out);
        for (const RPL_REPORT_SECTION* p = named->m_parent; p; p = p->m_parent) out.push_back(p);
    }
    return out;
}

// The settings file after a change: whether it holds each section the
// change saved, as the library reads them back, and its blocks, both
// taken from the same bytes; nullopt when other saves kept landing.
struct FileAfterChange {
    SaveCheck save;
    Session::SettingsRead read;
};

std::optional<FileAfterChange> read_after_change(Session& session, const std::vector<const RPL_REPORT_SECTION*>& saved) {
    for (int attempt = 0; attempt < Session::kReadAttempts; ++attempt) {
        Session::FileStamp before = session.settings_file_stamp();
        SaveCheck save = check_saved(session, saved);
        std::optional<Session::SettingsRead> read = session.read_settings();
        if (read && read->stamp == before) return FileAfterChange{save, std::move(*read)};
    }
    return std::nullopt;
}

// What the settings file tells of a change just made.
struct ChangeInFile {
    bool saved_outside = false;  // another program saved the file while the change ran
    SaveCheck save;              // whether the file holds the change
};

// The file may differ from what this session last read only in the blocks
// the change saved, and those must hold what the session holds. A save
// that failed (the library never saves over a file it cannot load, nor
// where it may not write) leaves the file as it was. Anything else is
// taken as another program's save (or a change saved only in part): the
// caller builds the TOC again, so that the session never holds, unseen,
// other values than the file. Otherwise the file as the change left it is
// what this session last read.
ChangeInFile look_at_file_after(Session& session, const std::vector<const RPL_REPORT_SECTION*>& saved,
                                const SaveCheck& save_during_change) {
    std::optional<FileAfterChange> after = read_after_change(session, saved);
    const Session::SettingsRead* last = session.last_read();
    if (!after || !last) return {true, save_during_change};
    const Session::SettingsRead& now = after->read;
    bool file_unchanged = now.stamp == last->stamp;
    if (!now.loaded) return {!file_unchanged, after->save};
    if (!session.others_as_last_read(now, saved)) return {true, after->save};
    if (!after->save.saved()) return {!file_unchanged, after->save};
    session.note_read(now);
    return {false, after->save};
}

// What a change touched (every section when the TOC was built again,
// before the change or after it because another program saved meanwhile),
// with why the change did not reach the file when it did not: the change
// stays in memory, as the library keeps it. The answer carries the
// settings file as it now is, the blocks the change rewrote marked, so
// that a page shows all of it from one request; the other pages are sent
// it as the event "changed".
HttpResponse change_response(Session& session, const Outcome<Change>& change, ChangeKind kind,
                             std::optional<Rebuilt> reloaded, const ChangeContext& context) {
    if (!change.ok()) {
        HttpResponse refused = refusal_response(change.refusal());
        if (reloaded) refused.headers.emplace_back("X-RPL-Reloaded", "1");
        return refused;
    }
    std::vector<const RPL_REPORT_SECTION*> saved = saved_by(change.result(), kind);
    ChangeInFile in_file = look_at_file_after(session, saved, change.result().save);
    // Built again, the TOC holds what the file holds: nothing is unsaved.
    if (in_file.saved_outside) reloaded = rebuild_and_compare(session);
    std::vector<const RPL_REPORT_SECTION*> touched;
    std::set<std::string> rewritten;
    if (reloaded) {
        touched.assign(session.toc().m_section_index.begin(), session.toc().m_section_index.end());
        rewritten = headers_of(reloaded->changed);
    } else {
        std::set<const RPL_REPORT_SECTION*> seen;
        for (const RPL_REPORT_SECTION* s : change.result().sections)
            if (seen.insert(s).second) touched.push_back(s);
        for (const RPL_REPORT_SECTION* s : change.result().changed)
            if (seen.insert(s).second) touched.push_back(s);
        if (in_file.save.saved()) rewritten = headers_of(saved);
    }
    Json document = change_document(touched, reloaded.has_value());
    document["change"] = context.change;
    if (reloaded && !reloaded->notice.empty()) document["notice"] = reloaded->notice;
    document["settings"] = settings_blocks_json(session.settings_file(), session.last_read(), rewritten, reloaded.has_value());
    const SaveCheck& save = in_file.save;
    bool unsaved = !save.saved() && !in_file.saved_outside;
    if (unsaved) document["unsaved"] = save.settings_file + ": " + save.unsaved;
    HttpResponse response = json_response(200, document);
    if (unsaved) response.headers.emplace_back("X-RPL-Unsaved", header_text(save.settings_file + ": " + save.unsaved));
    *context.told = std::move(document);
    return response;
}

std::string path_parameter(const HttpArguments& arguments) {
    std::optional<std::string> path = argument_value(arguments, "path");
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

// A column index: a whole number from 0 up; the operation checks it
// against the table.
std::optional<std::uint64_t> column_index(const InJson& value) {
    if (!value.is_number_unsigned()) return std::nullopt;
    return value.get<std::uint64_t>();
}

// Any whole number, one past what 64 bits hold read as the nearest they
// hold: the operation checks every value's range and words it.
std::optional<std::int64_t> whole_number(const InJson& value) {
    if (value.is_number_unsigned())
        return static_cast<std::int64_t>(std::min<std::uint64_t>(value.get<std::uint64_t>(), INT64_MAX));
    if (value.is_number_integer()) return value.get<std::int64_t>();
    return std::nullopt;
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
        std::optional<std::uint64_t> column = column_index(pair[0]);
        std::optional<Entry> entry = column ? item(*column, pair[1]) : std::nullopt;
        if (!entry) throw BadRequest{400, refused};
        out.push_back(*entry);
    }
    return out;
}

std::optional<ColumnValue> integer_entry(std::uint64_t column, const InJson& value) {
    std::optional<std::int64_t> number = whole_number(value);
    if (!number) return std::nullopt;
    return ColumnValue{column, *number};
}

std::optional<ColumnAlignment> alignment_entry(std::uint64_t column, const InJson& value) {
    if (value == "L") return ColumnAlignment{column, RPL_TABLE::LEFT};
    if (value == "R") return ColumnAlignment{column, RPL_TABLE::RIGHT};
    return std::nullopt;
}

// A whole-number member, when the request has it; the operation checks its value.
std::optional<std::int64_t> integer_member(const InJson& request, const char* key) {
    if (!request.contains(key)) return std::nullopt;
    std::optional<std::int64_t> number = whole_number(request[key]);
    if (!number) throw BadRequest{400, std::string("\"") + key + "\" must be a whole number."};
    return number;
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

// Runs `work` (given the change's number) as the activity `what`, ended
// however it ends.
template <class Work>
HttpResponse as_activity(Activity& activity, const std::string& what, std::size_t expected,
                         std::vector<ActivityCheckpoint> checkpoints, bool marked, Work work) {
    std::uint64_t change = activity.begin(what, expected, std::move(checkpoints), marked);
    try {
        HttpResponse out = work(change);
        activity.end();
        return out;
    } catch (...) {
        activity.end();
        throw;
    }
}

// A change that was made (a refused one has nothing to tell).
void tell_other_pages(EventHub& events, const Json& told) {
    if (!told.is_null()) events.publish("changed", told);
}

std::vector<ActivityCheckpoint> checkpoints_of_mark(Session& session, const std::vector<std::string>& paths) {
    std::vector<ActivityCheckpoint> out;
    for (const MarkCheckpoint& point : mark_checkpoints(session, paths))
        out.push_back({point.saves, to_std(point.section->m_rdb_path)});
    return out;
}

}  // namespace

HttpResponse api_toc(Session& session) { return toc_response(session); }

HttpResponse api_section(Session& session, const HttpArguments& arguments) {
    return answered([&] {
        Outcome<RPL_REPORT_SECTION*> found = find_section(session, path_parameter(arguments));
        if (!found.ok()) return refusal_response(found.refusal());
        return json_response(200, section_document(*found.result()));
    });
}

HttpResponse api_step(Session& session, const HttpArguments& arguments, bool forward) {
    return answered([&] {
        std::optional<std::string> to = step_from(session, path_parameter(arguments), forward);
        return json_response(200, path_document(to ? &*to : nullptr));
    });
}

HttpResponse api_mark(Session& session, const std::string& body, Activity& activity, EventHub& events) {
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
        bool marked = request["marked"].get<bool>();
        std::string what = mark_activity(named, marked);
        Json told;
        HttpResponse answer = as_activity(activity, what, saves_of_mark(session, named), checkpoints_of_mark(session, named), marked,
                           [&](std::uint64_t change) {
                               std::optional<Rebuilt> reloaded = reload_if_changed_outside(session);
                               MarkProgress progress = [&](std::size_t written, std::size_t total) {
                                   activity.advance(written, total);
                               };
                               return change_response(session, mark_sections(session, named, marked, progress),
                                                      ChangeKind::mark, std::move(reloaded), {change, &told});
                           });
        tell_other_pages(events, told);
        return answer;
    });
}

HttpResponse api_set(Session& session, const std::string& body, Activity& activity, EventHub& events) {
    return answered([&] {
        InJson request = body_object(body, {"path", "orientation", "chart_type", "widths", "aligns", "orders"});
        if (!request.contains("path") || !request["path"].is_string())
            throw BadRequest{400, "\"path\" must be the section's rdb path, as a string."};
        SettingsChange change = settings_change(request);
        std::string path = request["path"].get<std::string>();
        Json told;
        HttpResponse answer = as_activity(activity, "changing the settings of " + path, 1, {}, false, [&](std::uint64_t number) {
            std::optional<Rebuilt> reloaded = reload_if_changed_outside(session);
            return change_response(session, change_settings(session, path, change), ChangeKind::set,
                                   std::move(reloaded), {number, &told});
        });
        tell_other_pages(events, told);
        return answer;
    });
}

HttpResponse api_settings(Session& session) {
    std::optional<Session::SettingsRead> read = session.read_settings();
    return json_response(200, json_document(settings_blocks_json(session.settings_file(), read ? &*read : nullptr, {})));
}

HttpResponse api_reload(Session& session) {
    bool outside = session.settings_file_changed_outside();
    Rebuilt rebuilt = rebuild_and_compare(session);
    Json document = json_document({{"toc", toc_json(session.toc())}});
    if (outside && !rebuilt.notice.empty()) document["notice"] = rebuilt.notice;
    document["settings"] = settings_blocks_json(session.settings_file(), session.last_read(), headers_of(rebuilt.changed));
    return json_response(200, document);
}

HttpResponse api_progress(const Session& session, const Activity& activity) {
    // While this viewer saves, the file is its own work in progress: an
    // outside change is told only when no change of its own ran meanwhile.
    std::pair<bool, std::uint64_t> before = activity.state();
    bool changed = !before.first && session.settings_file_changed_outside();
    std::pair<bool, std::uint64_t> after = activity.state();
    Json out = activity.document();
    out["outside_change"] = changed && !after.first && after.second == before.second;
    return json_response(200, out);
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

HttpResponse api_preview(Session& session, const std::string& body) {
    return answered([&] {
        InJson request = body_object(body, {"path", "orientation", "chart_type", "widths", "aligns", "orders", "rows"});
        if (!request.contains("path") || !request["path"].is_string())
            throw BadRequest{400, "\"path\" must be the section's rdb path, as a string."};
        std::size_t rows = kPreviewRows;
        if (request.contains("rows")) {
            const InJson& asked = request["rows"];
            if (!asked.is_number_unsigned() || asked.get<std::uint64_t>() > kMaxPreviewRows)
                throw BadRequest{400, "\"rows\" must be a whole number from 0 to " + std::to_string(kMaxPreviewRows) + "."};
            rows = static_cast<std::size_t>(asked.get<std::uint64_t>());
        }
        Outcome<Preview> preview = preview_section(session, request["path"].get<std::string>(), settings_change(request), rows);
        if (!preview.ok()) return refusal_response(preview.refusal());
        return json_response(200, preview_document(preview.result()));
    });
}

}  // namespace rpl_toc
