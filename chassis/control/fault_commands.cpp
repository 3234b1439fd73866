// Commands that make boards fail: faults, pulled boards, restarted processes, packets that must be refused.
#include "control/command_support.h"
#include "orva_comm.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace chassis {

namespace {

constexpr std::uint32_t kStrangeSlot = 31;
constexpr std::uint32_t kExtraBytes = 40;
constexpr std::uint32_t kMaxCount = 100000;

FaultSetting setting_of(Chassis &chassis, const Words &words) {
    FaultSetting setting;
    setting.slot = any_board(chassis, words[0]).slot;
    setting.kind = words[1];
    const bool sensor = find_fault_type(setting.kind)->target == FaultTarget::kSensor;
    const std::size_t value = sensor ? 3 : 2;
    if (sensor && words.size() < 3) {
        throw std::runtime_error("a fault of this kind needs a sensor");
    }
    setting.sensor = sensor ? words[2] : "";
    if (words.size() > value) {
        setting.value = stub_value(words[value]);
        if (!setting.value) {
            throw std::runtime_error(words[value] + " is not a number");
        }
    }
    return setting;
}

std::string fault_start(Chassis &chassis, const Words &words) {
    const FaultSetting setting = setting_of(chassis, words);
    chassis.faults.start(setting);
    return "slot " + std::to_string(setting.slot) + ": " + setting.kind + " begins\n";
}

std::string fault_end(Chassis &chassis, const Words &words) {
    const FaultSetting setting = setting_of(chassis, words);
    chassis.faults.end(setting);
    return "slot " + std::to_string(setting.slot) + ": " + setting.kind + " ends\n";
}

std::string pull(Chassis &chassis, const Words &words) {
    Board &board = any_board(chassis, words[0]);
    chassis.supervisor.pull(board);
    return slot_text(board) + " is empty\n";
}

std::string plug(Chassis &chassis, const Words &words) {
    Board &board = any_board(chassis, words[0]);
    chassis.supervisor.plug(board);
    return slot_text(board) + " holds its board\n";
}

std::string kill_agent(Chassis &chassis, const Words &words) {
    Board &board = any_board(chassis, words[0]);
    chassis.supervisor.kill_process(board);
    return slot_text(board) + ": its process is killed\n";
}

std::string restart(Chassis &chassis, const Words &words) {
    Board &board = online_board(chassis, words[0]);
    const bool ended = chassis.supervisor.restart(board);
    chassis.loop.wait(chassis.loop.now() + std::chrono::seconds(30),
                      [&] { return board.state != BoardState::kStarting; });
    if (!ended || board.state != BoardState::kOnline) {
        throw std::runtime_error(slot_text(board) + " does not come back");
    }
    return slot_text(board) + ": its process was started again\n";
}

struct WrongPacket {
    const char *name;
    void (*spoil)(OrvaWireHeader &header);
};

constexpr std::array kWrongPackets = {
    WrongPacket{"wrong-destination", [](OrvaWireHeader &header) { ++header.dest_slot; }},
    WrongPacket{"reply-flag", [](OrvaWireHeader &header) { header.req_or_reply = ORVA_AGENT_REPLY; }},
    WrongPacket{"wrong-source", [](OrvaWireHeader &header) { header.src_slot = kStrangeSlot; }},
};
constexpr std::array kPackets = {"wrong-destination", "reply-flag", "wrong-source", "long", "short", "sound"};

Frame packet_of(Chassis &chassis, Board &board, const std::string &kind) {
    Frame frame = chassis.links.request_frame(board, kNetFnAgent, kCmdTemperature);
    const auto wrong = std::ranges::find_if(kWrongPackets, [&](const WrongPacket &row) { return kind == row.name; });
    if (wrong != kWrongPackets.end()) {
        auto body = frame.body<OrvaWireReq>();
        wrong->spoil(body.header);
        return make_frame(kNetFnAgent, kCmdTemperature, frame.sequence(), body);
    }
    if (kind == "long") {
        frame.length += kExtraBytes;
    } else if (kind == "short") {
        frame.length = kPrefixBytes + sizeof(OrvaWireHeader) - sizeof(std::uint32_t);
    }
    return frame;
}

// Each packet waits for the answer to the one before, so the board's queue never fills.
std::string send(Chassis &chassis, const Words &words) {
    Board &board = online_board(chassis, words[0]);
    const std::uint32_t count = std::min(word_or(words, 2, 1), kMaxCount);
    std::uint32_t refused = 0;
    std::uint32_t answered = 0;
    for (std::uint32_t i = 0; i < count && board.state == BoardState::kOnline; ++i) {
        const auto reply = chassis.links.ask_and_wait(board, packet_of(chassis, board, words[1]));
        answered += reply ? 1U : 0U;
        refused += reply && result_code(&*reply) != ORVA_OK ? 1U : 0U;
    }
    return slot_text(board) + ": " + std::to_string(answered) + " answered, of these " + std::to_string(refused) +
           " refused\n";
}

constexpr Argument kFaultName = {"fault", "Kind of the fault", ArgumentType::kChoice, true, kFaultNames};
constexpr std::array kFault = {kBoardArgument, kFaultName,
                               Argument{"sensor", "Its sensor, or its value", ArgumentType::kSensor, false},
                               Argument{"value", "Its value", ArgumentType::kValue, false}};
constexpr std::array kSend = {kBoardArgument,
                              Argument{"packet", "Kind of the packet", ArgumentType::kChoice, true, kPackets},
                              Argument{"count", "How many, one after the other", ArgumentType::kNumber, false}};

constexpr std::array kFaultCommands = {
    Command{"fault start", "Begin a fault", kFault, true, fault_start},
    Command{"fault end", "End a fault", kFault, true, fault_end},
    Command{"pull", "Pull a board", kOneBoard, true, pull},
    Command{"plug", "Plug a pulled board", kOneBoard, true, plug},
    Command{"kill", "Kill a board's process", kOneBoard, true, kill_agent},
    Command{"restart", "Stop a board's process and start it again", kOneBoard, true, restart},
    Command{"send", "Send packets and wait for the answers", kSend, true, send},
};

} // namespace

std::span<const Command> fault_commands() {
    return kFaultCommands;
}

} // namespace chassis
