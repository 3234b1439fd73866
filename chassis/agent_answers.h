// What an agent answers to a valid request. Knows no transport.
#ifndef CHASSIS_AGENT_ANSWERS_H
#define CHASSIS_AGENT_ANSWERS_H

#include "messages.h"

#include <cstdint>

namespace chassis {

struct AgentCounters {
    std::uint32_t received = 0;
    std::uint32_t queue_refusals = 0;
    std::uint32_t handled = 0;
    std::uint32_t refused = 0;
    std::uint32_t beats = 0;
};

// The reply that carries a code only.
Frame make_result(std::uint32_t slot, std::uint16_t sequence, std::uint32_t code);

// The reply to a request in host order whose header was found valid.
Frame answer(const Frame &request, std::uint32_t slot, AgentCounters &counters);

// Lets so many seconds pass on the diagnostic manager's clock.
void advance_clock(std::uint32_t seconds);

} // namespace chassis

#endif
