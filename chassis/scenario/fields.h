// The keys that a scenario's tables may have. The checker, the JSON Schema and docs/scenarios.md are made from this.
#ifndef CHASSIS_SCENARIO_FIELDS_H
#define CHASSIS_SCENARIO_FIELDS_H

#include <cstdint>
#include <span>

namespace chassis {

enum class KeyType : std::uint8_t {
    kText,
    kFlag,
    kInteger,
    kSeconds, // a number with or without a fraction
    kChoice,
    kEvent,    // a kind of event
    kSlot,     // 1 to 30, or "first" or "last"
    kCommands, // an array of command lines
    kPoints,   // an array of [seconds, value]
    kWhere,    // conditions on an event's values
    kTables,   // an array of tables
};

struct TableSpec;

struct KeySpec {
    const char *name;
    KeyType type;
    const char *help;
    bool required = false;
    double min = 0;
    double max = 0;
    std::span<const char *const> choices = {};
    const TableSpec *table = nullptr;
};

struct TableSpec {
    const char *name; // "step", "step.fault"
    const char *help;
    std::span<const KeySpec> keys;
};

const TableSpec &scenario_spec();

} // namespace chassis

#endif
