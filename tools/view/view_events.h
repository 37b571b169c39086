// What the viewer tells its pages without being asked: another program's
// save, the progress of a long change, a change made from another page.
// Events go out as Server-Sent Events on GET /api/events; the hub keeps the
// latest few, so a page that reads slowly or reconnects misses none of them
// or is told to read everything again.
#ifndef TOOLS_VIEW_VIEW_EVENTS_H
#define TOOLS_VIEW_VIEW_EVENTS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "tools/core/toc_json.h"

namespace rpl_toc {

class EventHub {
public:
    // Events kept for streams that have not read them yet, and their bytes
    // at most. A stream that falls further behind (a page on a busy
    // machine reads slowly) is sent "resync", after which it reads on from
    // the newest event.
    static constexpr std::size_t kKept = 256;
    static constexpr std::size_t kKeptBytes = 4 * 1024 * 1024;
    // An event whose text is longer is sent as "resync" instead (with the
    // change's number, when it tells of one): the page reads the state
    // whole, which costs it two requests.
    static constexpr std::size_t kMaxEventBytes = 1024 * 1024;

    // Appends an event, "event: NAME\ndata: JSON\n\n", and calls the
    // listener. Safe from any thread.
    void publish(const std::string& name, const Json& data);
    // The sequence number of the newest event (0: none yet): a stream that
    // opens reads what comes after it.
    std::uint64_t newest() const;
    // The text of every event after `cursor`, which moves past them; ""
    // when there is none. Safe from any thread.
    std::string take(std::uint64_t& cursor) const;
    // Called after each publish, outside the hub's lock: the server wakes
    // its waiting streams. Set it before any publish.
    void on_publish(std::function<void()> listener);

    // One-use tickets for opening a stream: a page's EventSource cannot send
    // the session's token as a header, and the token must never travel in
    // an address. A ticket is good for `kTicketLife` after it is made and
    // for one stream; at most kMaxTickets are outstanding, the oldest given
    // up first.
    static constexpr std::size_t kMaxTickets = 16;
    static constexpr std::chrono::seconds kTicketLife{30};
    // A new ticket (32 hex digits), or "" when the system's random source
    // cannot be read.
    std::string new_ticket();
    // Whether `ticket` is outstanding; it no longer is after this.
    bool redeem(const std::string& ticket);

private:
    struct Kept {
        std::uint64_t sequence;
        std::shared_ptr<const std::string> text;
    };
    struct Ticket {
        std::string value;
        std::chrono::steady_clock::time_point made;
    };
    mutable std::mutex m_lock;
    std::deque<Kept> m_kept;
    std::size_t m_kept_bytes = 0;
    std::uint64_t m_newest = 0;
    std::deque<Ticket> m_tickets;
    std::function<void()> m_listener;
};

// One event as the stream sends it.
std::string event_text(const std::string& name, const std::string& data);

}  // namespace rpl_toc

#endif
