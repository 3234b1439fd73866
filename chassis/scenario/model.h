// A scenario as values: boards, and steps that act, make boards fail and expect events.
#ifndef CHASSIS_SCENARIO_MODEL_H
#define CHASSIS_SCENARIO_MODEL_H

#include "events/event.h"
#include "manager/chassis.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace chassis {

enum class Comparison : std::uint8_t { kEqual, kNot, kMin, kMax, kContains };

struct Condition {
    std::string field;
    Comparison comparison = Comparison::kEqual;
    Value value;
};

struct Expectation {
    EventKind kind = EventKind::kNote;
    std::string slot; // a number, "first" or "last"; empty: any
    std::vector<Condition> where;
    std::optional<std::uint32_t> count; // exactly so often
    std::optional<std::uint32_t> at_least;
    std::optional<std::uint32_t> at_most; // 0: never
    bool every_board = false;             // at least once for each board of the chassis
    Time by = std::chrono::seconds(10);   // after the step's commands are done
    std::string text;
    std::uint32_t line = 0; // of the scenario's file
};

struct PlannedFault {
    FaultSetting setting; // its slot counts when `slot` is a number
    std::string slot;
    Time at{0};                     // after the step's begin
    std::optional<Duration> length; // none: to the end of the step
};

struct Step {
    std::string title;
    std::optional<Time> at; // not before this chassis time
    bool rest = false;      // lasts until the scenario's seconds are over
    bool needs_private_mount = false;
    std::vector<std::string> commands;
    std::vector<PlannedFault> faults;
    std::vector<Expectation> expectations;
};

struct Scenario {
    std::string name;
    std::string text;
    std::string source; // the whole text that it was read from
    std::uint32_t seconds = 10;
    std::uint32_t seed = 1;
    bool restart = true;
    bool invariants = false;
    Duration poll = std::chrono::seconds(1);
    std::vector<BoardPlan> boards;
    std::vector<Step> steps;
};

// Gives the scenario n boards: the first of its own, and default ones after them.
void set_boards(Scenario &scenario, std::uint32_t boards);

} // namespace chassis

#endif
