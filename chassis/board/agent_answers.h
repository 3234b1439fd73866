// What a board's process answers to valid requests. Knows no transport.
#ifndef CHASSIS_BOARD_AGENT_ANSWERS_H
#define CHASSIS_BOARD_AGENT_ANSWERS_H

#include "board/memory_hoard.h"
#include "board/request_trace.h"
#include "board/sensor_file.h"
#include "board/simulation.h"
#include "clock.h"
#include "wire/messages.h"

#include <cstdint>
#include <map>
#include <span>
#include <vector>

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
    std::uint32_t queue = 0;
    Clock clock{Duration(0)}; // since power-on of the chassis
    Time start{0};            // of this process
    AgentCounters counters;
    Simulation simulation;
    RequestTrace trace;
    Hardware hardware;
    std::map<std::uint32_t, SensorFault> faults; // by kind and number
    MemoryHoard hoard;                           // what keeps the partition exhausted

    SensorFault fault(const Sensor &sensor) const;
    std::uint32_t uptime_seconds() const {
        return static_cast<std::uint32_t>(whole_seconds(clock.now() - start));
    }
};

struct Answer {
    std::uint8_t net_fn;
    std::uint16_t command;
    Frame (*make)(const Frame &request, BoardContext &board);
};

// Each in a source of its own: readings and the diagnostic manager, what testers ask, what service engineers ask,
// what makes the board fail, and the backup's.
std::span<const Answer> board_answers();
std::span<const Answer> tester_answers();
std::span<const Answer> service_answers();
std::span<const Answer> fault_answers();
std::span<const Answer> backup_answers();

OrvaWireHeader reply_header(const BoardContext &board, std::uint32_t word);

// The reply that carries a code only.
Frame make_result(const BoardContext &board, std::uint16_t sequence, std::uint32_t code);

// The reply to a request in host order whose header was found valid.
Frame answer(const Frame &request, BoardContext &board);

// Lets n seconds pass on the diagnostic manager's clock.
void advance_clock(std::uint32_t seconds);

} // namespace chassis

#endif
