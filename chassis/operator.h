// Carries out the commands of testers and operators on a running chassis. Knows nothing of how they arrive.
#ifndef CHASSIS_OPERATOR_H
#define CHASSIS_OPERATOR_H

#include "manager.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace chassis {

struct CommandResult {
    int status = 0; // exit status for whoever gave the command
    std::string text;
};

class Operator {
public:
    explicit Operator(Manager &manager) : manager_(manager) {}

    // `words`: the command as it was typed, its values checked by the sender but not trusted.
    CommandResult execute(const std::vector<std::string> &words);

private:
    using Words = std::vector<std::string>;

    CommandResult table();
    CommandResult stub(const Words &words);
    CommandResult sensor(const Words &words);
    CommandResult online(const Words &words);
    CommandResult debug(const Words &words);
    CommandResult debug_log(std::uint32_t slot, std::uint32_t on, const Words &words);
    CommandResult debug_packet(std::uint32_t slot, std::uint32_t on, const Words &words);

    Board &board(const std::string &slot);
    // The reply; throws where there is none or it is a refusal.
    Frame ask(Board &board, const Frame &frame);
    SimulateBody stubs_of(Board &board);
    OnlineBody pairs_of(Board &board);
    std::string send_stubs(Board &board, const SimulateBody &list);
    std::string send_pairs(Board &board, const OnlineBody &list);
    std::string set_sensor(Board &board, const Sensor &sensor, bool set, std::int32_t value);

    Manager &manager_;
};

} // namespace chassis

#endif
