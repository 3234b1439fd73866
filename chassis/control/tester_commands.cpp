// The tester's commands: stubs, simulated sensors, online pairs. What a board has set is asked of the board, so that
// every list shows what is really there.
#include "control/command_support.h"
#include "orva_api_stub.h"
#include "wire/message_bodies.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <stdexcept>

namespace chassis {

namespace {

using Stub = OrvaWireSimulateStubsEntry;

std::string stub_line(const Stub &stub) {
    return "stub " + std::string(stub.name) + " (type " + std::to_string(stub.type) +
           ") = " + std::to_string(static_cast<std::int32_t>(stub.value)) + "\n";
}

std::span<Stub> used(OrvaWireSimulate &list) {
    return std::span<Stub>(list.stubs).first(std::min(std::uint32_t{list.count}, ORVA_SIMULATE_STUBS));
}

void put_stub(OrvaWireSimulate &list, const std::string &name, std::int32_t value) {
    std::uint32_t type = 0;
    if (ORVA_STUB_GetStubType(name.c_str(), &type) == 0 || name.size() >= ORVA_SIMULATE_STUB_NAME) {
        throw std::runtime_error("there is no stub named " + name);
    }
    Stub item{type, static_cast<std::uint32_t>(value), {}};
    name.copy(item.name, ORVA_SIMULATE_STUB_NAME - 1);
    const auto present = used(list);
    const auto same = std::ranges::find_if(present, [&](const Stub &stub) { return name == stub.name; });
    if (same != present.end()) {
        *same = item;
        return;
    }
    if (list.count >= ORVA_SIMULATE_STUBS) {
        throw std::runtime_error("the board has " + std::to_string(ORVA_SIMULATE_STUBS) + " stubs already");
    }
    list.stubs[list.count++] = item;
}

// An empty name takes all.
void take_stub(OrvaWireSimulate &list, const std::string &name) {
    OrvaWireSimulate left{};
    for (const Stub &stub : used(list)) {
        if (!name.empty() && name != stub.name) {
            left.stubs[left.count++] = stub;
        }
    }
    if (!name.empty() && left.count == list.count) {
        throw std::runtime_error("no such stub is set: " + name);
    }
    list = left;
}

const Sensor &sensor_named(const Board &board, const std::string &name) {
    const Sensor *sensor = find_sensor(board.sensors, name);
    if (sensor == nullptr) {
        throw std::runtime_error(slot_text(board) + " has no sensor named " + name);
    }
    return *sensor;
}

const Sensor *sensor_of(const Board &board, const ListedSensor &listed) {
    return find_sensor(board.sensors, static_cast<SensorKind>(listed.key[0]), listed.key[3]);
}

std::string sensor_line(const Board &board, const ListedSensor &listed) {
    const Sensor *sensor = sensor_of(board, listed);
    return "sensor " + (sensor != nullptr ? sensor->name : "number " + std::to_string(listed.key[3])) + " = " +
           std::to_string(listed.value) + "\n";
}

std::string pair_line(const OrvaBoardOnlinePair &pair) {
    return "board " + std::to_string(pair.slot) + (pair.state != 0 ? " online\n" : " offline\n");
}

std::string or_none(const std::string &text) {
    return text.empty() ? "none\n" : text;
}

OrvaWireSimulate stubs_of(Chassis &chassis, Board &board) {
    return ask(chassis, board, chassis.links.request_frame(board, kNetFnChassis, kCmdStubList))
        .body<OrvaWireSimulate>();
}

std::string send_stubs(Chassis &chassis, Board &board, const OrvaWireSimulate &list) {
    ask(chassis, board, make_frame(kNetFnAgent, kCmdSimulate, chassis.links.next_sequence(), list));
    return slot_text(board) + ": stubs set: " + std::to_string(list.count) + "\n";
}

std::string stub_set(Chassis &chassis, const Words &words) {
    Board &board = online_board(chassis, words[0]);
    OrvaWireSimulate list = stubs_of(chassis, board);
    put_stub(list, words[1], stub_value(words[2]).value_or(0));
    return send_stubs(chassis, board, list);
}

std::string stub_list(Chassis &chassis, const Words &words) {
    OrvaWireSimulate list = stubs_of(chassis, online_board(chassis, words[0]));
    std::string text;
    for (const Stub &stub : used(list)) {
        text += stub_line(stub);
    }
    return or_none(text);
}

std::string stub_clear(Chassis &chassis, const Words &words) {
    Board &board = online_board(chassis, words[0]);
    OrvaWireSimulate list = stubs_of(chassis, board);
    take_stub(list, words.size() > 1 ? words[1] : "");
    return send_stubs(chassis, board, list);
}

std::string simulate(Chassis &chassis, Board &board, const Sensor &sensor, std::optional<std::int32_t> value) {
    SetSensorBody body{};
    body.header.word_12 = value ? 1 : 0;
    body.request.slotId = board.slot;
    body.request.sensorType = static_cast<std::uint32_t>(sensor.kind);
    body.request.sensorNum = sensor.number;
    body.request.sensorMask = 1;
    body.value = value.value_or(0);
    ask(chassis, board, chassis.links.request_frame(board, kNetFnChassis, kCmdSetSensor, body));
    return slot_text(board) + ": sensor " + sensor.name +
           (value ? " reads " + value_text(sensor.kind, *value) : " reads the hardware") + "\n";
}

SensorListBody simulated(Chassis &chassis, Board &board) {
    auto list =
        ask(chassis, board, chassis.links.request_frame(board, kNetFnChassis, kCmdSensorList)).body<SensorListBody>();
    list.count = std::min<std::uint32_t>(list.count, std::size(list.sensors));
    return list;
}

std::string sensor_set(Chassis &chassis, const Words &words) {
    Board &board = online_board(chassis, words[0]);
    return simulate(chassis, board, sensor_named(board, words[1]), stub_value(words[2]));
}

std::string sensor_list(Chassis &chassis, const Words &words) {
    Board &board = online_board(chassis, words[0]);
    const SensorListBody list = simulated(chassis, board);
    std::string text;
    for (std::uint32_t i = 0; i < list.count; ++i) {
        text += sensor_line(board, list.sensors[i]);
    }
    return or_none(text);
}

std::string sensor_clear(Chassis &chassis, const Words &words) {
    Board &board = online_board(chassis, words[0]);
    if (words.size() > 1) {
        return simulate(chassis, board, sensor_named(board, words[1]), std::nullopt);
    }
    const SensorListBody list = simulated(chassis, board);
    std::string text;
    for (std::uint32_t i = 0; i < list.count; ++i) {
        const Sensor *sensor = sensor_of(board, list.sensors[i]);
        text += sensor != nullptr ? simulate(chassis, board, *sensor, std::nullopt) : "";
    }
    return or_none(text);
}

OnlineBody pairs_of(Chassis &chassis, Board &board) {
    return ask(chassis, board, chassis.links.request_frame(board, kNetFnChassis, kCmdOnlineList)).body<OnlineBody>();
}

std::string send_pairs(Chassis &chassis, Board &board, const OnlineBody &list) {
    ask(chassis, board, chassis.links.request_frame(board, kNetFnChassis, kCmdSetOnline, list));
    const auto set = std::ranges::count_if(list.pairs, [](const auto &pair) { return pair.slot != kNoSlot; });
    return slot_text(board) + ": online pairs set: " + std::to_string(set) + "\n";
}

// The slot that a pair is about; "first" and "last" too.
std::uint8_t pair_slot(Chassis &chassis, const std::string &word) {
    const bool named = word == "first" || word == "last";
    return static_cast<std::uint8_t>(named ? any_board(chassis, word).slot : number_of(word));
}

std::string online_set(Chassis &chassis, const Words &words) {
    Board &board = online_board(chassis, words[0]);
    OnlineBody list = pairs_of(chassis, board);
    const std::uint8_t slot = pair_slot(chassis, words[1]);
    auto *place = std::ranges::find(list.pairs, slot, &OrvaBoardOnlinePair::slot);
    if (place == std::end(list.pairs)) {
        place = std::ranges::find(list.pairs, kNoSlot, &OrvaBoardOnlinePair::slot);
    }
    *place = {slot, static_cast<std::uint8_t>(number_of(words[2]))}; // more places than slots: there is one
    return send_pairs(chassis, board, list);
}

std::string online_list(Chassis &chassis, const Words &words) {
    std::string text;
    for (const OrvaBoardOnlinePair &pair : pairs_of(chassis, online_board(chassis, words[0])).pairs) {
        text += pair.slot != kNoSlot ? pair_line(pair) : "";
    }
    return or_none(text);
}

std::string online_clear(Chassis &chassis, const Words &words) {
    Board &board = online_board(chassis, words[0]);
    OnlineBody list = pairs_of(chassis, board);
    for (OrvaBoardOnlinePair &pair : list.pairs) {
        const bool taken = words.size() == 1 || pair.slot == pair_slot(chassis, words[1]);
        pair = taken ? OrvaBoardOnlinePair{kNoSlot, 0} : pair;
    }
    return send_pairs(chassis, board, list);
}

constexpr std::array kStates = {"0", "1"};
constexpr Argument kStub = {"name", "Name of the stub, or slot_sensor_name", ArgumentType::kStub};
constexpr Argument kAnyStub = {"name", "Name of the stub; all without it", ArgumentType::kStub, false};
constexpr Argument kSensor = {"sensor", "Name of the sensor", ArgumentType::kSensor};
constexpr Argument kAnySensor = {"sensor", "Name of the sensor; all without it", ArgumentType::kSensor, false};
constexpr Argument kAbout = {"board", "Slot of the board that it is about", ArgumentType::kSlot};
constexpr Argument kAnyAbout = {"board", "Slot of the board that it is about; all without it", ArgumentType::kSlot,
                                false};
constexpr std::array kStubSet = {kBoardArgument, kStub, Argument{"value", "Its value", ArgumentType::kValue}};
constexpr std::array kStubClear = {kBoardArgument, kAnyStub};
constexpr std::array kSensorSet = {
    kBoardArgument, kSensor, Argument{"value", "Tenths of a degree Celsius, or millivolts", ArgumentType::kValue}};
constexpr std::array kSensorClear = {kBoardArgument, kAnySensor};
constexpr std::array kOnlineSet = {kBoardArgument, kAbout,
                                   Argument{"state", "0 or 1", ArgumentType::kChoice, true, kStates}};
constexpr std::array kOnlineClear = {kBoardArgument, kAnyAbout};

constexpr std::array kTesterCommands = {
    Command{"stub set", "Set a stub of a board", kStubSet, true, stub_set},
    Command{"stub list", "Show the stubs that a board has", kOneBoard, false, stub_list},
    Command{"stub clear", "Take one stub back, or all", kStubClear, true, stub_clear},
    Command{"sensor set", "Simulate a sensor of a board", kSensorSet, true, sensor_set},
    Command{"sensor list", "Show what is simulated", kOneBoard, false, sensor_list},
    Command{"sensor clear", "Stop simulating one sensor, or all", kSensorClear, true, sensor_clear},
    Command{"online set", "Say to a board that a board is online (1) or not (0)", kOnlineSet, true, online_set},
    Command{"online list", "Show a board's online pairs", kOneBoard, false, online_list},
    Command{"online clear", "Take one pair back, or all", kOnlineClear, true, online_clear},
};

} // namespace

std::span<const Command> tester_commands() {
    return kTesterCommands;
}

} // namespace chassis
