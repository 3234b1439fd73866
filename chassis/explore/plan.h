// What one seed does to a chassis: boards, load, and faults. Written as a scenario, which anybody may run.
#ifndef CHASSIS_EXPLORE_PLAN_H
#define CHASSIS_EXPLORE_PLAN_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace chassis {

struct DrawnFault {
    std::uint32_t slot = 0;
    std::string kind;
    std::string sensor; // of a sensor's fault
    std::optional<std::int32_t> value;
    std::uint32_t at_ms = 0; // after the phase's begin
    std::uint32_t length_ms = 0;
};

// Some commands, and faults that begin and end within its length.
struct Phase {
    std::uint32_t length_ms = 0;
    std::vector<std::string> commands;
    std::vector<DrawnFault> faults;
};

struct Plan {
    std::uint32_t seed = 0;
    std::uint32_t boards = 1;
    std::uint32_t poll_ms = 1000;
    bool own_agent = false; // of the user's own: it need not know the chassis's own messages
    std::string name = "explore";
    std::vector<Phase> phases;
};

Plan draw_plan(std::uint32_t seed, bool own_agent);

// Rounds without a pause for n seconds, while processes are killed, stopped and started again, queues deleted
// and partitions full.
Plan draw_soak(std::uint32_t seed, std::uint32_t boards, std::uint32_t seconds, bool own_agent);

// The scenario, in TOML.
std::string scenario_text(const Plan &plan);

std::size_t faults_of(const Plan &plan);
// Of chassis time, the calm at the end as well.
std::uint32_t seconds_of(const Plan &plan);
// "3 boards, 4 faults, 143 s".
std::string summary_of(const Plan &plan);

} // namespace chassis

#endif
