#include "tools/view/view_events.h"

#include <algorithm>

#include "tools/view/view_http.h"

namespace rpl_toc {
namespace {

// Compact, and bytes that are not UTF-8 replaced, as every answer has them.
std::string dump_json_line(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

}  // namespace

std::string event_text(const std::string& name, const std::string& data) {
    // A JSON text dumped on one line holds no line break, which would end
    // the data line.
    return "event: " + name + "\ndata: " + data + "\n\n";
}

void EventHub::publish(const std::string& name, const Json& data) {
    std::string text = event_text(name, dump_json_line(data));
    if (text.size() > kMaxEventBytes) {
        // The page that made the change has its answer: it knows the event
        // by the change's number.
        Json instead = json_document();
        if (data.is_object() && data.contains("change")) instead["change"] = data["change"];
        text = event_text("resync", dump_json_line(instead));
    }
    std::function<void()> listener;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_kept_bytes += text.size();
        m_kept.push_back({++m_newest, std::make_shared<const std::string>(std::move(text))});
        while (m_kept.size() > kKept || (m_kept.size() > 1 && m_kept_bytes > kKeptBytes)) {
            m_kept_bytes -= m_kept.front().text->size();
            m_kept.pop_front();
        }
        listener = m_listener;
    }
    if (listener) listener();
}

std::uint64_t EventHub::newest() const {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_newest;
}

std::string EventHub::take(std::uint64_t& cursor) const {
    std::lock_guard<std::mutex> lock(m_lock);
    if (cursor >= m_newest) return "";
    std::string out;
    if (m_kept.empty() || cursor + 1 < m_kept.front().sequence) {
        cursor = m_newest;
        return event_text("resync", dump_json_line(json_document()));
    }
    for (const Kept& kept : m_kept)
        if (kept.sequence > cursor) out += *kept.text;
    cursor = m_newest;
    return out;
}

void EventHub::on_publish(std::function<void()> listener) {
    std::lock_guard<std::mutex> lock(m_lock);
    m_listener = std::move(listener);
}

std::string EventHub::new_ticket() {
    std::optional<std::string> value = random_hex(16);
    if (!value) return "";
    std::lock_guard<std::mutex> lock(m_lock);
    m_tickets.push_back({*value, std::chrono::steady_clock::now()});
    while (m_tickets.size() > kMaxTickets) m_tickets.pop_front();
    return *value;
}

bool EventHub::redeem(const std::string& ticket) {
    std::lock_guard<std::mutex> lock(m_lock);
    const auto now = std::chrono::steady_clock::now();
    bool good = false;
    for (auto it = m_tickets.begin(); it != m_tickets.end();) {
        bool expired = now - it->made > kTicketLife;
        if (!expired && !good && same_secret(it->value, ticket)) {
            good = true;
            it = m_tickets.erase(it);
        } else if (expired) {
            it = m_tickets.erase(it);
        } else {
            ++it;
        }
    }
    return good;
}

}  // namespace rpl_toc
