// What the families of commands share.
#ifndef CHASSIS_CONTROL_COMMAND_SUPPORT_H
#define CHASSIS_CONTROL_COMMAND_SUPPORT_H

#include "control/commands.h"

#include <array>

namespace chassis {

std::span<const Command> tester_commands();  // stubs, simulated sensors, online pairs
std::span<const Command> debug_commands();   // switches
std::span<const Command> service_commands(); // backup, switch-over, clocks, logs, traces
std::span<const Command> fault_commands();   // boards, faults, packets

inline constexpr Argument kBoardArgument = {"slot", "Slot of the board, first or last", ArgumentType::kBoard};
inline constexpr std::array kOneBoard = {kBoardArgument};

std::int64_t number_of(const std::string &word);
// A stub's value: decimal, or hexadecimal where it holds such a digit.
std::optional<std::int32_t> stub_value(const std::string &word);
std::uint32_t word_or(const Words &words, std::size_t index, std::uint32_t fallback);

// Throws when there is none, or it is not online.
Board &any_board(Chassis &chassis, const std::string &slot);
Board &online_board(Chassis &chassis, const std::string &slot);
// The reply; throws when there is none or it is a refusal.
Frame ask(Chassis &chassis, Board &board, const Frame &frame);
// "slot 3".
std::string slot_text(const Board &board);

} // namespace chassis

#endif
