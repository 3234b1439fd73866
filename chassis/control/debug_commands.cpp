// Debug switches of the library, in a board's process or in the management process.
#include "control/command_support.h"
#include "orva_debugging.h"
#include "text.h"
#include "wire/message_bodies.h"

#include <algorithm>
#include <array>

namespace chassis {

namespace {

constexpr std::uint32_t kOwnModule = 0x10000;
constexpr std::uint32_t kEveryNetFn = 0x20;
constexpr std::uint32_t kEveryCommand = 0xFF;
constexpr std::array kBuses = {"udp", "south", "ipmb", "rs485", "can"};
constexpr const char *kMainBoard = "0";

std::string slot_word(Chassis &chassis, const std::string &word) {
    return std::to_string(word == kMainBoard ? kMainSlot : any_board(chassis, word).slot);
}

std::string log_switch(Chassis &chassis, const Words &words, std::uint32_t on) {
    DebugLogBody body{};
    body.on = on;
    body.module_mask = word_or(words, 1, kOwnModule);
    body.slot =
        words.size() > 2 ? word_or(words, 2, 0) : static_cast<std::uint32_t>(number_of(slot_word(chassis, words[0])));
    if (words[0] == kMainBoard) {
        ORVA_CLI_ProcessDebugDeviceOrvaLog(body.on, body.module_mask, body.slot);
    } else {
        Board &board = online_board(chassis, words[0]);
        ask(chassis, board, chassis.links.request_frame(board, kNetFnChassis, kCmdDebugLog, body));
    }
    return "slot " + slot_word(chassis, words[0]) + ": log switch " + (on != 0 ? "on" : "off") + " for modules " +
           hex_text(body.module_mask) + "\n";
}

std::string packet_switch(Chassis &chassis, const Words &words, std::uint32_t on) {
    DebugPacketBody body{};
    body.on = on;
    body.type = static_cast<std::uint32_t>(std::ranges::find(kBuses, words[1]) - kBuses.begin());
    body.net_fn = word_or(words, 2, kEveryNetFn);
    body.command = word_or(words, 3, kEveryCommand);
    if (words[0] == kMainBoard) {
        ORVA_CLI_ProcessDebugDeviceOrvaPacket(body.on, static_cast<std::uint8_t>(body.type), body.net_fn,
                                              body.command);
    } else {
        Board &board = online_board(chassis, words[0]);
        ask(chassis, board, chassis.links.request_frame(board, kNetFnChassis, kCmdDebugPacket, body));
    }
    return "slot " + slot_word(chassis, words[0]) + ": packet switch " + (on != 0 ? "on" : "off") + " for " +
           words[1] + "\n";
}

std::string log_on(Chassis &chassis, const Words &words) {
    return log_switch(chassis, words, 1);
}

std::string log_off(Chassis &chassis, const Words &words) {
    return log_switch(chassis, words, 0);
}

std::string packet_on(Chassis &chassis, const Words &words) {
    return packet_switch(chassis, words, 1);
}

std::string packet_off(Chassis &chassis, const Words &words) {
    return packet_switch(chassis, words, 0);
}

constexpr Argument kProcess = {"slot", "Slot of the process; 0 is the management process", ArgumentType::kSlot};
constexpr std::array kLog = {kProcess,
                             Argument{"modules", "Mask of modules (default 0x10000)", ArgumentType::kNumber, false},
                             Argument{"log-slot", "Slot kept with the switch", ArgumentType::kNumber, false}};
constexpr std::array kPacket = {
    kProcess, Argument{"bus", "Bus", ArgumentType::kChoice, true, kBuses},
    Argument{"netfn", "Network function (default 0x20, all)", ArgumentType::kNumber, false},
    Argument{"command", "Command (default 0xFF, all)", ArgumentType::kNumber, false}};

constexpr std::array kDebugCommands = {
    Command{"debug log on", "Send debug texts to the interface manager", kLog, true, log_on},
    Command{"debug log off", "Send no debug texts any more", kLog, true, log_off},
    Command{"debug packet on", "Send packet dumps to the interface manager", kPacket, true, packet_on},
    Command{"debug packet off", "Send no packet dumps any more", kPacket, true, packet_off},
};

} // namespace

std::span<const Command> debug_commands() {
    return kDebugCommands;
}

} // namespace chassis
