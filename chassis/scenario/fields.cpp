#include "scenario/fields.h"

#include "manager/faults.h"

#include <array>

namespace chassis {

namespace {

constexpr double kMaxSeconds = 86400;
constexpr double kMaxCount = 1000000;
constexpr double kMaxReading = 100000;

constexpr std::array kKinds = {"temperature", "voltage"};
constexpr std::array kCurves = {"constant", "ramp", "sine", "triangle", "noise", "table"};
constexpr std::array kNeeds = {"private mount"};

constexpr KeySpec integer(const char *name, const char *help, double min, double max, bool required = false) {
    return {name, KeyType::kInteger, help, required, min, max};
}

constexpr KeySpec seconds(const char *name, const char *help, double min = 0, double max = kMaxSeconds) {
    return {name, KeyType::kSeconds, help, false, min, max};
}

constexpr KeySpec text(const char *name, const char *help, bool required = false) {
    return {name, KeyType::kText, help, required};
}

constexpr KeySpec flag(const char *name, const char *help) {
    return {name, KeyType::kFlag, help};
}

constexpr KeySpec choice(const char *name, const char *help, std::span<const char *const> choices, bool required) {
    return {name, KeyType::kChoice, help, required, 0, 0, choices};
}

constexpr KeySpec tables(const char *name, const TableSpec &table) {
    return {name, KeyType::kTables, table.help, false, 0, 0, {}, &table};
}

constexpr std::array kSensorKeys = {
    text("name", "name of the sensor, in commands and events", true),
    choice("kind", "what it measures: temperature in tenths of a degree Celsius, voltage in millivolts", kKinds,
           true),
    choice("curve", "what the hardware says over time; constant when nothing is said", kCurves, false),
    integer("value", "the middle of the curve, or where a ramp starts", -kMaxReading, kMaxReading),
    integer("swing", "how far sine, triangle and noise go to either side", 0, kMaxReading),
    integer("to", "where a ramp ends and stays", -kMaxReading, kMaxReading),
    seconds("period", "period of sine and triangle, length of a ramp; 16 when nothing is said", 0.002),
    seconds("shift", "how much later the curve starts", -kMaxSeconds),
    KeySpec{"points", KeyType::kPoints,
            "a table's points: [seconds, value], in the order of time; lines between them"},
    integer("low", "readings below are low", -kMaxReading, kMaxReading),
    integer("high", "readings above are high", -kMaxReading, kMaxReading),
    text("stub", "name of the stub that overrides it"),
};
constexpr TableSpec kSensor = {"board.sensor", "the sensors of the board; without one it has the usual six",
                               kSensorKeys};

constexpr std::array kBoardKeys = {
    integer("slot", "slot of the board", 1, kLastSlot, true),
    integer("type", "board type", 0, 4294967295.0),
    tables("sensor", kSensor),
};
constexpr TableSpec kBoard = {"board", "boards that are not like the others", kBoardKeys};

constexpr std::array kFaultKeys = {
    choice("kind", "kind of the fault", kFaultNames, true),
    KeySpec{"slot", KeyType::kSlot, "slot of the board, or first or last (of those that are online)", true},
    text("sensor", "sensor of stuck, noise and drift"),
    integer("value", "how much; see the kinds of faults", -kMaxReading, kMaxReading),
    seconds("at", "seconds after the step's begin; 0 when nothing is said"),
    seconds("for", "how long; to the end of the step when nothing is said", 0.001),
};
constexpr TableSpec kFault = {"step.fault", "faults that begin in this step", kFaultKeys};

constexpr std::array kExpectKeys = {
    KeySpec{"event", KeyType::kEvent, "kind of the event", true},
    KeySpec{"slot", KeyType::kSlot, "slot of the event's board; any when nothing is said"},
    KeySpec{"where", KeyType::kWhere,
            "values that the event has: name = value, or name = { min, max, not, contains }"},
    integer("count", "exactly so often; the step ends early once it is reached", 1, kMaxCount),
    integer("at_least", "so often or more; 1 when nothing is said", 1, kMaxCount),
    integer("at_most", "so often or less, until `by`", 0, kMaxCount),
    flag("never", "not once, until `by`"),
    flag("every_board", "at least once for each board"),
    seconds("by", "seconds after the step's commands are done; 10 when nothing is said"),
    text("text", "what is shown; {name} stands for a value of the last such event, {count} for their number"),
};
constexpr TableSpec kExpect = {"step.expect", "what must happen, or must not", kExpectKeys};

constexpr std::array kStepKeys = {
    text("title", "headline of the step", true),
    seconds("at", "not before this time after power-on"),
    KeySpec{"do", KeyType::kCommands, "commands, carried out one after the other; each must succeed"},
    flag("rest", "the step lasts until the scenario's `seconds` are over"),
    choice("needs", "what the machine must allow; the step is skipped where it does not", kNeeds, false),
    tables("fault", kFault),
    tables("expect", kExpect),
};
constexpr TableSpec kStep = {
    "step", "steps, one after the other; one ends when its commands are done and its expectations are decided",
    kStepKeys};

constexpr std::array kScenarioKeys = {
    text("name", "name of the scenario", true),
    text("text", "what it shows, in a line", true),
    integer("boards", "boards beside the main board; 4 when nothing is said", 1, kLastSlot),
    integer("seconds", "how long a step with `rest` lets it last; 10 when nothing is said", 0, kMaxSeconds),
    integer("seed", "what every random number comes from; 1 when nothing is said", 0, 4294967295.0),
    flag("restart", "a board's process that ends is started again; true when nothing is said"),
    seconds("poll", "seconds from one round of requests to the next; 1 when nothing is said, 0 for none"),
    flag("invariants", "what holds in every chassis is checked all the while; false when nothing is said"),
    tables("board", kBoard),
    tables("step", kStep),
};
constexpr TableSpec kScenario = {"", "the scenario", kScenarioKeys};

} // namespace

const TableSpec &scenario_spec() {
    return kScenario;
}

} // namespace chassis
