#include "manager/faults.h"

#include "orva_comm.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace chassis {

namespace {

constexpr std::int32_t kTenths = 10;

// Requests that make a board fail are not traffic of the chassis: other faults do not affect them.
constexpr Patience kOrders{.undisturbed = true};

struct LinkFaultName {
    const char *name;
    LinkFault fault;
};

constexpr std::array kLinkFaults = {
    LinkFaultName{"no-answer", LinkFault::kNoAnswer},
    LinkFaultName{"late", LinkFault::kLate},
    LinkFaultName{"lost", LinkFault::kLost},
    LinkFaultName{"doubled", LinkFault::kDoubled},
    LinkFaultName{"out-of-order", LinkFault::kOutOfOrder},
    LinkFaultName{"bad-length", LinkFault::kBadLength},
    LinkFaultName{"wrong-header", LinkFault::kWrongHeader},
    LinkFaultName{"wrong-slot", LinkFault::kWrongSlot},
};

LinkFault link_fault(const std::string &name) {
    return std::ranges::find_if(kLinkFaults, [&](const LinkFaultName &row) { return name == row.name; })->fault;
}

const FaultType &type_of(const FaultSetting &setting) {
    const FaultType *type = find_fault_type(setting.kind);
    if (type == nullptr) {
        throw std::runtime_error("there is no fault named " + setting.kind);
    }
    return *type;
}

bool same(const FaultSetting &a, const FaultSetting &b) {
    return a.slot == b.slot && a.kind == b.kind && a.sensor == b.sensor;
}

} // namespace

const FaultType *find_fault_type(std::string_view name) {
    const auto found = std::ranges::find_if(kFaultTypes, [&](const FaultType &type) { return name == type.name; });
    return found != kFaultTypes.end() ? &*found : nullptr;
}

Faults::Faults(Loop &loop, EventLog &log, Boards &boards, Links &links, Supervisor &supervisor, std::uint32_t seed)
    : loop_(loop), log_(log), boards_(boards), links_(links), supervisor_(supervisor), link_faults_(seed) {
    links_.disturb([this](Direction direction, const Board &board, std::span<const std::uint8_t> datagram) {
        return link_faults_.disturb(direction, board, datagram);
    });
}

Board &Faults::board(const FaultSetting &setting) {
    Board *found = boards_.find(setting.slot);
    if (found == nullptr) {
        throw std::runtime_error("there is no board in slot " + std::to_string(setting.slot));
    }
    return *found;
}

void Faults::start(const FaultSetting &setting) {
    const FaultType &type = type_of(setting);
    Board &target = board(setting);
    note(setting, true);
    if (type.target == FaultTarget::kSensor) {
        set_sensor_fault(target, setting, true);
    } else if (type.target == FaultTarget::kLink) {
        link_faults_.start(setting.slot, link_fault(setting.kind), setting.value.value_or(type.value));
    } else {
        set_process_fault(target, setting, true);
    }
    std::erase_if(on_, [&](const FaultSetting &each) { return same(each, setting); });
    on_.push_back(setting);
}

void Faults::end(const FaultSetting &setting) {
    const FaultType &type = type_of(setting);
    Board &target = board(setting);
    std::erase_if(on_, [&](const FaultSetting &each) { return same(each, setting); });
    if (type.target == FaultTarget::kSensor) {
        set_sensor_fault(target, setting, false);
    } else if (type.target == FaultTarget::kLink) {
        link_faults_.end(setting.slot, link_fault(setting.kind));
    } else {
        set_process_fault(target, setting, false);
    }
    note(setting, false);
}

void Faults::end_all() {
    for (const FaultSetting &setting : std::vector<FaultSetting>(on_)) {
        end(setting);
    }
}

void Faults::note(const FaultSetting &setting, bool on) {
    const FaultType &type = type_of(setting);
    std::string text = setting.kind + (setting.sensor.empty() ? "" : " " + setting.sensor);
    if (type.value_help != nullptr) {
        text += " " + std::to_string(setting.value.value_or(type.value)) + " " + type.value_help;
    }
    log_.add(EventKind::kFault, static_cast<std::int32_t>(setting.slot),
             {text_field("fault", setting.kind), flag_field("on", on), text_field("sensor", setting.sensor),
              text_field("text", text)});
}

// A process that is not there yet, or is stopped, cannot be told anything.
bool Faults::takes_orders(const Board &board) const {
    const bool stopped = std::ranges::any_of(
        on_, [&](const FaultSetting &each) { return each.slot == board.slot && each.kind == "stopped"; });
    const bool registered = board.state == BoardState::kOnline || board.state == BoardState::kLost;
    return registered && (board.process != 0 || board.foreign) && !stopped;
}

// A process that is started again has sound sensors.
void Faults::set_sensor_fault(Board &board, const FaultSetting &setting, bool on) {
    const Sensor *sensor = find_sensor(board.sensors, setting.sensor);
    if (sensor == nullptr) {
        throw std::runtime_error("slot " + std::to_string(board.slot) + " has no sensor named " + setting.sensor);
    }
    if (!takes_orders(board)) {
        return;
    }
    constexpr std::array kKinds = {"stuck", "noise", "drift"};
    const auto kind = std::ranges::find(kKinds, setting.kind) - kKinds.begin() + 1;
    SensorFaultBody body{};
    body.sensor_kind = static_cast<std::uint32_t>(sensor->kind);
    body.sensor_number = sensor->number;
    body.fault = on ? static_cast<std::uint32_t>(kind) : 0;
    body.value = setting.value.value_or(type_of(setting).value);
    const auto reply =
        links_.ask_and_wait(board, links_.request_frame(board, kNetFnChassis, kCmdSensorFault, body), kOrders);
    if (reply && !is_done(reply)) {
        throw std::runtime_error("slot " + std::to_string(board.slot) + " refuses the fault with " +
                                 hex_text(result_code(&*reply)));
    }
}

void Faults::set_process_fault(Board &board, const FaultSetting &setting, bool on) {
    if (setting.kind == "flood") {
        loop_.cancel(floods_[board.slot]);
        if (on) {
            flood(board, setting.value.value_or(type_of(setting).value));
        }
    } else if (setting.kind == "stopped") {
        on ? supervisor_.suspend(board) : supervisor_.resume(board);
    } else if (setting.kind == "pulled") {
        on ? supervisor_.pull(board) : supervisor_.plug(board);
    } else if (setting.kind == "partition-exhausted") {
        on ? exhaust(board) : free_memory(board);
    } else if (setting.kind == "killed" && on) {
        supervisor_.kill_process(board);
    } else if (setting.kind == "queue-deleted" && on) {
        supervisor_.delete_queue(board);
    }
}

void Faults::exhaust(Board &board) {
    if (!takes_orders(board)) {
        return;
    }
    exhausted_[board.slot] = board.process;
    const auto reply = links_.ask_and_wait(board, links_.request_frame(board, kNetFnChassis, kCmdExhaust), kOrders);
    if (reply && !is_done(reply)) {
        throw std::runtime_error("slot " + std::to_string(board.slot) + " refuses the fault with " +
                                 hex_text(result_code(&*reply)));
    }
}

// The process that was exhausted, not one that followed it.
void Faults::free_memory(Board &board) {
    const auto found = exhausted_.find(board.slot);
    if (found != exhausted_.end() && found->second == board.process) {
        supervisor_.free_memory(board);
    }
    exhausted_.erase(board.slot);
}

// Ten times a second as many packets as belong to a tenth of a second. Nobody waits for the refusals.
void Faults::flood(Board &board, std::int32_t per_second) {
    constexpr std::uint32_t kExtraBytes = 40;
    for (std::int32_t i = 0; i < std::max(1, per_second / kTenths) && board.state == BoardState::kOnline; ++i) {
        Frame frame = links_.request_frame(board, kNetFnAgent, kCmdTemperature);
        frame.length += kExtraBytes;
        links_.send_datagram(board, make_datagram(frame, links_.run()));
    }
    floods_[board.slot] = loop_.after(std::chrono::milliseconds(1000 / kTenths),
                                      [this, &board, per_second] { flood(board, per_second); });
}

} // namespace chassis
