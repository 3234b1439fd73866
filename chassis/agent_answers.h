// What a board's process answers to valid requests. Knows no transport.
#ifndef CHASSIS_AGENT_ANSWERS_H
#define CHASSIS_AGENT_ANSWERS_H

#include "messages.h"
#include "road_trace.h"
#include "simulation.h"

#include <cstdint>
#include <span>

namespace chassis {

struct AgentCounters {
    std::uint32_t received = 0;
    std::uint32_t queue_refusals = 0;
    std::uint32_t handled = 0;
    std::uint32_t refused = 0;
    std::uint32_t beats = 0;
};

// What the answers of one process share.
struct BoardContext {
    std::uint32_t slot = 0;
    bool backup = false;        // the backup management process, which keeps records in step
    bool private_mount = false; // the fixed paths are this board's own
    bool warm_start = false;    // not the first start of the process since the board booted
    AgentCounters counters;
    Simulation simulation;
    RoadTrace trace;
};

struct Answer {
    std::uint8_t net_fn;
    std::uint16_t command;
    Frame (*make)(const Frame &request, BoardContext &board);
};

// Each in a source of its own: readings and the diagnostic manager, what testers ask, what service engineers ask, and
// the backup's.
std::span<const Answer> board_answers();
std::span<const Answer> tester_answers();
std::span<const Answer> service_answers();
std::span<const Answer> backup_answers();

Header reply_header(const BoardContext &board, std::uint32_t word);

// The reply that carries a code only.
Frame make_result(const BoardContext &board, std::uint16_t sequence, std::uint32_t code);

// The reply to a request in host order whose header was found valid.
Frame answer(const Frame &request, BoardContext &board);

// Lets so many seconds pass on the diagnostic manager's clock.
void advance_clock(std::uint32_t seconds);

} // namespace chassis

#endif
