#include "operator.h"

#include "hardware.h"
#include "report.h"
#include "table.h"

#include "orva_api_stub.h"
#include "orva_debugging.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <stdexcept>

namespace chassis {

namespace {

constexpr std::chrono::milliseconds kPatience{5000};

std::int64_t number(const std::string &word) {
    std::size_t used = 0;
    const long long value = std::stoll(word, &used, 0);
    if (used != word.size()) {
        throw std::invalid_argument(word);
    }
    return value;
}

std::uint32_t word_or(const std::vector<std::string> &words, std::size_t index, std::uint32_t fallback) {
    return index < words.size() ? static_cast<std::uint32_t>(number(words[index])) : fallback;
}

std::string stub_line(const OrvaStubItem &stub) {
    return "stub " + std::string(stub.stubName) + " (type " + std::to_string(stub.stubType) +
           ") = " + std::to_string(stub.stubValue) + "\n";
}

std::span<OrvaStubItem> used(SimulateBody &list) {
    return std::span<OrvaStubItem>(list.stubs).first(std::min(list.count, ORVA_SIMULATE_STUBS));
}

void put_stub(SimulateBody &list, const std::string &name, std::int32_t value) {
    OrvaStubItem item{};
    if (ORVA_STUB_GetStubType(name.c_str(), &item.stubType) == 0 || name.size() >= ORVA_SIMULATE_STUB_NAME) {
        throw std::runtime_error("there is no stub named " + name);
    }
    item.stubValue = value;
    name.copy(item.stubName, ORVA_SIMULATE_STUB_NAME - 1);
    const auto present = used(list);
    const auto same = std::ranges::find_if(present, [&](const OrvaStubItem &stub) { return name == stub.stubName; });
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
void take_stub(SimulateBody &list, const std::string &name) {
    SimulateBody left{};
    for (const OrvaStubItem &stub : used(list)) {
        if (!name.empty() && name != stub.stubName) {
            left.stubs[left.count++] = stub;
        }
    }
    if (!name.empty() && left.count == list.count) {
        throw std::runtime_error("no such stub is set: " + name);
    }
    list = left;
}

const Sensor &sensor_named(const std::string &name) {
    for (const SensorKind kind : {SensorKind::kTemperature, SensorKind::kVoltage}) {
        for (const Sensor &sensor : sensors_of(kind)) {
            if (name == sensor.name) {
                return sensor;
            }
        }
    }
    throw std::runtime_error("there is no sensor named " + name);
}

std::string sensor_line(const ListedSensor &listed) {
    const Sensor *sensor = find_sensor(static_cast<SensorKind>(listed.key[0]), listed.key[3]);
    return "sensor " + (sensor != nullptr ? std::string(sensor->name) : "number " + std::to_string(listed.key[3])) +
           " = " + std::to_string(listed.value) + "\n";
}

std::string pair_line(const OrvaBoardOnlinePair &pair) {
    return "board " + std::to_string(pair.slot) + (pair.state != 0 ? " online\n" : " offline\n");
}

std::string or_none(const std::string &text) {
    return text.empty() ? "none\n" : text;
}

constexpr std::array kBuses = {"udp", "south", "ipmb", "rs485", "can"};

} // namespace

CommandResult Operator::execute(const Words &words) {
    try {
        if (words.size() == 1 && words[0] == "table") {
            return table();
        }
        if (words.size() >= 3 && words[0] == "stub") {
            return stub(words);
        }
        if (words.size() >= 3 && words[0] == "sensor") {
            return sensor(words);
        }
        if (words.size() >= 3 && words[0] == "online") {
            return online(words);
        }
        if (words.size() >= 4 && words[0] == "debug") {
            return debug(words);
        }
        return {2, "unknown command\n"};
    } catch (const std::logic_error &) {
        return {2, "a value is no number or out of range\n"};
    } catch (const std::runtime_error &error) {
        return {1, std::string(error.what()) + "\n"};
    }
}

CommandResult Operator::table() {
    manager_.poll_boards();
    return {0, table_text(manager_.boards())};
}

Board &Operator::board(const std::string &slot) {
    Board *found = manager_.board(static_cast<std::uint32_t>(number(slot)));
    if (found == nullptr || found->state != BoardState::kOnline) {
        throw std::runtime_error("no board is online in slot " + slot);
    }
    return *found;
}

Frame Operator::ask(Board &board, const Frame &frame) {
    const auto reply = manager_.exchange(board, frame, kPatience);
    if (!reply) {
        throw std::runtime_error("slot " + std::to_string(board.slot) + " does not answer");
    }
    if (reply->type->command == kCmdResult && reply->header().word != ORVA_OK) {
        throw std::runtime_error("slot " + std::to_string(board.slot) + " refuses with " +
                                 hex_text(reply->header().word));
    }
    return *reply;
}

SimulateBody Operator::stubs_of(Board &board) {
    return ask(board, manager_.request_frame(board, kNetFnChassis, kCmdStubList)).body<SimulateBody>();
}

std::string Operator::send_stubs(Board &board, const SimulateBody &list) {
    ask(board, make_frame(kNetFnAgent, kCmdSimulate, manager_.next_sequence(), list));
    return "slot " + std::to_string(board.slot) + ": stubs set: " + std::to_string(list.count) + "\n";
}

// What a board has set is asked of the board, so that every list shows what is really there.
CommandResult Operator::stub(const Words &words) {
    Board &target = board(words[2]);
    SimulateBody list = stubs_of(target);
    if (words[1] == "set" && words.size() == 5) {
        put_stub(list, words[3], static_cast<std::int32_t>(number(words[4])));
        return {0, send_stubs(target, list)};
    }
    if (words[1] == "clear" && words.size() <= 4) {
        take_stub(list, words.size() == 4 ? words[3] : "");
        return {0, send_stubs(target, list)};
    }
    std::string text;
    for (const OrvaStubItem &stub : used(list)) {
        text += stub_line(stub);
    }
    return {0, or_none(text)};
}

std::string Operator::set_sensor(Board &board, const Sensor &sensor, bool set, std::int32_t value) {
    SetSensorBody body{};
    body.header.word = set ? 1 : 0;
    body.request.slotId = board.slot;
    body.request.sensorType = static_cast<std::uint32_t>(sensor.kind);
    body.request.sensorNum = sensor.number;
    body.request.sensorMask = 1;
    body.value = value;
    ask(board, manager_.request_frame(board, kNetFnChassis, kCmdSetSensor, body));
    return "slot " + std::to_string(board.slot) + ": sensor " + sensor.name +
           (set ? " reads " + value_text(sensor.kind, value) : " reads the hardware") + "\n";
}

CommandResult Operator::sensor(const Words &words) {
    Board &target = board(words[2]);
    if (words[1] == "set" && words.size() == 5) {
        return {0, set_sensor(target, sensor_named(words[3]), true, static_cast<std::int32_t>(number(words[4])))};
    }
    if (words[1] == "clear" && words.size() == 4) {
        return {0, set_sensor(target, sensor_named(words[3]), false, 0)};
    }
    const auto list =
        ask(target, manager_.request_frame(target, kNetFnChassis, kCmdSensorList)).body<SensorListBody>();
    std::string text;
    for (std::uint32_t i = 0; i < std::min<std::size_t>(list.count, std::size(list.sensors)); ++i) {
        const Sensor *sensor = find_sensor(static_cast<SensorKind>(list.sensors[i].key[0]), list.sensors[i].key[3]);
        text += words[1] == "clear" && sensor != nullptr ? set_sensor(target, *sensor, false, 0)
                                                         : sensor_line(list.sensors[i]);
    }
    return {0, or_none(text)};
}

OnlineBody Operator::pairs_of(Board &board) {
    return ask(board, manager_.request_frame(board, kNetFnChassis, kCmdOnlineList)).body<OnlineBody>();
}

std::string Operator::send_pairs(Board &board, const OnlineBody &list) {
    ask(board, manager_.request_frame(board, kNetFnChassis, kCmdSetOnline, list));
    const auto set = std::ranges::count_if(list.pairs, [](const auto &pair) { return pair.slot != kNoSlot; });
    return "slot " + std::to_string(board.slot) + ": online pairs set: " + std::to_string(set) + "\n";
}

CommandResult Operator::online(const Words &words) {
    Board &target = board(words[2]);
    OnlineBody list = pairs_of(target);
    const bool all = words.size() == 3;
    const auto slot = static_cast<std::uint8_t>(word_or(words, 3, kNoSlot));
    if (words[1] == "set" && words.size() == 5) {
        auto *place = std::ranges::find(list.pairs, slot, &OrvaBoardOnlinePair::slot);
        if (place == std::end(list.pairs)) {
            place = std::ranges::find(list.pairs, kNoSlot, &OrvaBoardOnlinePair::slot);
        }
        *place = {slot, static_cast<std::uint8_t>(number(words[4]))}; // more places than slots: there is one
        return {0, send_pairs(target, list)};
    }
    std::string text;
    for (OrvaBoardOnlinePair &pair : list.pairs) {
        text += pair.slot != kNoSlot ? pair_line(pair) : "";
        pair = all || pair.slot == slot ? OrvaBoardOnlinePair{kNoSlot, 0} : pair;
    }
    return {0, words[1] == "clear" ? send_pairs(target, list) : or_none(text)};
}

CommandResult Operator::debug(const Words &words) {
    const std::uint32_t on = words[2] == "on" ? 1 : 0;
    const auto slot = static_cast<std::uint32_t>(number(words[3]));
    return words[1] == "log" ? debug_log(slot, on, words) : debug_packet(slot, on, words);
}

// Slot 0 is the management process itself.
CommandResult Operator::debug_log(std::uint32_t slot, std::uint32_t on, const Words &words) {
    constexpr std::uint32_t kOwnModule = 0x10000;
    DebugLogBody body{};
    body.on = on;
    body.module_mask = word_or(words, 4, kOwnModule);
    body.slot = word_or(words, 5, slot);
    if (slot == kMainSlot) {
        ORVA_CLI_ProcessDebugDeviceOrvaLog(body.on, body.module_mask, body.slot);
    } else {
        Board &target = board(words[3]);
        ask(target, manager_.request_frame(target, kNetFnChassis, kCmdDebugLog, body));
    }
    return {0, "slot " + words[3] + ": log switch " + words[2] + " for modules " + hex_text(body.module_mask) + "\n"};
}

CommandResult Operator::debug_packet(std::uint32_t slot, std::uint32_t on, const Words &words) {
    constexpr std::uint32_t kEveryNetFn = 0x20;
    constexpr std::uint32_t kEveryCommand = 0xFF;
    const auto bus =
        std::ranges::find_if(kBuses, [&](const char *name) { return words.size() > 4 && words[4] == name; });
    if (bus == kBuses.end()) {
        throw std::runtime_error("there is no such bus");
    }
    DebugPacketBody body{};
    body.on = on;
    body.type = static_cast<std::uint32_t>(bus - kBuses.begin());
    body.net_fn = word_or(words, 5, kEveryNetFn);
    body.command = word_or(words, 6, kEveryCommand);
    if (slot == kMainSlot) {
        ORVA_CLI_ProcessDebugDeviceOrvaPacket(body.on, static_cast<std::uint8_t>(body.type), body.net_fn,
                                              body.command);
    } else {
        Board &target = board(words[3]);
        ask(target, manager_.request_frame(target, kNetFnChassis, kCmdDebugPacket, body));
    }
    return {0, "slot " + words[3] + ": packet switch " + words[2] + " for " + words[4] + "\n"};
}

} // namespace chassis
