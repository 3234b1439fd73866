#include "events/log.h"

#include <algorithm>

namespace chassis {

namespace {

// Enough for the events around a failure and for the page's list; a long run must not grow.
constexpr std::size_t kRecent = 4096;

} // namespace

int EventLog::subscribe(Subscriber subscriber, bool packets) {
    subscribers_.push_back({next_number_, packets, true, std::move(subscriber)});
    return next_number_++;
}

void EventLog::unsubscribe(int number) {
    // Not erased: the call may come from the subscriber itself.
    for (Entry &entry : subscribers_) {
        entry.active = entry.active && entry.number != number;
    }
}

bool EventLog::wants_packets() const {
    return std::ranges::any_of(subscribers_, [](const Entry &entry) { return entry.packets && entry.active; });
}

void EventLog::add(EventKind kind, std::int32_t slot, std::vector<Field> fields) {
    Event event;
    event.kind = kind;
    event.slot = slot;
    event.fields = std::move(fields);
    add(std::move(event));
}

void EventLog::add_packet(std::int32_t slot, std::vector<Field> fields, std::span<const std::uint8_t> bytes) {
    if (!wants_packets()) {
        return;
    }
    Event event;
    event.kind = EventKind::kPacket;
    event.slot = slot;
    event.fields = std::move(fields);
    event.bytes.assign(bytes.begin(), bytes.end());
    add(std::move(event));
}

void EventLog::add(Event event) {
    event.time = clock_.now();
    waiting_.push_back(std::move(event));
    if (delivering_) {
        return;
    }
    delivering_ = true;
    while (!waiting_.empty()) {
        Event next = std::move(waiting_.front());
        waiting_.pop_front();
        if (next.kind != EventKind::kPacket) {
            next.number = ++count_;
        }
        deliver(next);
        if (next.kind != EventKind::kPacket) {
            recent_.push_back(std::move(next));
        }
        if (recent_.size() > kRecent) {
            recent_.pop_front();
        }
    }
    delivering_ = false;
}

void EventLog::deliver(const Event &event) {
    for (std::size_t i = 0; i < subscribers_.size(); ++i) {
        const Entry &entry = subscribers_[i];
        if (entry.active && (entry.packets || event.kind != EventKind::kPacket)) {
            entry.subscriber(event);
        }
    }
}

} // namespace chassis
