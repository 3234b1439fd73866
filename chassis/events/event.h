// What happens in a chassis, as typed records: a kind, a time, a slot where there is one, and named values. The table
// of kinds says which values each kind has; scenarios, documents and the schema are checked against it.
#ifndef CHASSIS_EVENTS_EVENT_H
#define CHASSIS_EVENTS_EVENT_H

#include "clock.h"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace chassis {

enum class EventKind : std::uint8_t {
    kRun,
    kEnd,
    kStep,
    kNote,
    kCheck,
    kSkipped,
    kAction,
    kFault,
    kBoard,
    kProcess,
    kRequest,
    kReading,
    kHeartBeat,
    kFigures,
    kTrace,
    kSync,
    kLog,
    kPacket,
};

using Value = std::variant<bool, std::int64_t, std::string>;

enum class ValueType : std::uint8_t { kBool, kNumber, kText };

struct Field {
    const char *name; // a name from the table of kinds
    Value value;
};

inline constexpr std::int32_t kNoBoard = -1;

struct Event {
    std::uint64_t number = 0; // from 1, without a gap
    Time time{0};
    EventKind kind = EventKind::kNote;
    std::int32_t slot = kNoBoard;
    std::vector<Field> fields;
    std::vector<std::uint8_t> bytes; // of a packet

    // Null when the event has no such value.
    const Value *find(std::string_view name) const;
    // The value's type must be the one in the table; a default value when there is none.
    bool flag(std::string_view name) const;
    std::int64_t number_of(std::string_view name) const;
    std::string text(std::string_view name) const;
};

struct FieldType {
    const char *name;
    ValueType type;
    const char *help;
};

struct EventType {
    EventKind kind;
    const char *name;
    const char *help;
    std::span<const FieldType> fields;
};

std::span<const EventType> event_types();
std::span<const char *const> event_names();
const EventType &event_type(EventKind kind);
// Null when there is no such kind.
const EventType *find_event_type(std::string_view name);
const FieldType *find_field(const EventType &type, std::string_view name);

Field number_field(const char *name, std::uint64_t value);
Field text_field(const char *name, std::string value);
Field flag_field(const char *name, bool value);

// For people: "true", "12", "text".
std::string value_text(const Value &value);
// For people, one line: "12.345 s request slot=2 message=...".
std::string event_text(const Event &event);

} // namespace chassis

#endif
