// The one append-only log of a run. Whoever shows, checks, counts or writes what happens subscribes to it, and
// subscribers know nothing of each other.
#ifndef CHASSIS_EVENTS_LOG_H
#define CHASSIS_EVENTS_LOG_H

#include "events/event.h"

#include <deque>
#include <functional>
#include <initializer_list>

namespace chassis {

class EventLog {
public:
    using Subscriber = std::function<void(const Event &)>;

    explicit EventLog(const Clock &clock) : clock_(clock) {}
    EventLog(const EventLog &) = delete;
    EventLog &operator=(const EventLog &) = delete;

    // The subscriber gets every event from now on, in order, on the loop's thread. Packets go to those only that ask
    // for them. Returns a number for `unsubscribe`.
    int subscribe(Subscriber subscriber, bool packets = false);
    void unsubscribe(int number);

    // An event that a subscriber adds follows the one that it was given.
    void add(EventKind kind, std::int32_t slot, std::vector<Field> fields);
    void add_packet(std::int32_t slot, std::vector<Field> fields, std::span<const std::uint8_t> bytes);
    bool wants_packets() const;

    // The last events, packets apart, oldest first.
    const std::deque<Event> &recent() const {
        return recent_;
    }
    std::uint64_t count() const {
        return count_;
    }

private:
    struct Entry {
        int number;
        bool packets;
        bool active;
        Subscriber subscriber;
    };
    void add(Event event);
    void deliver(const Event &event);

    const Clock &clock_;
    std::deque<Entry> subscribers_; // stays in place while it grows
    std::deque<Event> recent_;
    std::deque<Event> waiting_;
    std::uint64_t count_ = 0;
    int next_number_ = 1;
    bool delivering_ = false;
};

} // namespace chassis

#endif
