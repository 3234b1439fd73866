#include "record/replay.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace chassis {

namespace {

constexpr std::chrono::seconds kPowerOnPatience{30};
constexpr std::chrono::seconds kLastAnswers{2};
constexpr std::uint64_t kMostReported = 200;
constexpr std::size_t kRunAt = 4;
constexpr std::array<std::string_view, 3> kSpoiling = {"bad-length", "wrong-header", "wrong-slot"};

// The recorded run's number becomes this run's; a wrong one stays wrong.
void renumber(std::vector<std::uint8_t> &datagram, std::uint32_t recorded, std::uint32_t now) {
    const std::uint32_t before = htonl(recorded);
    const std::uint32_t after = htonl(now);
    if (datagram.size() >= kTransportHeaderBytes && std::memcmp(&datagram[kRunAt], &before, sizeof before) == 0) {
        std::memcpy(&datagram[kRunAt], &after, sizeof after);
    }
}

std::string slot_name(std::uint32_t slot) {
    return slot == kMainSlot ? "the backup" : "slot " + std::to_string(slot);
}

} // namespace

Replay::Replay(Chassis &chassis, const Recording &recording, std::ostream &output)
    : chassis_(chassis), recording_(recording), output_(output),
      subscription_(chassis.log.subscribe([this](const Event &event) { note_now(event); }, true)) {}

Replay::~Replay() {
    chassis_.log.unsubscribe(subscription_);
}

ReplayFigures Replay::play() {
    if (!recording_.items.empty()) {
        wait_until(recording_.items.front().time);
    }
    power_on();
    for (const Recorded &item : recording_.items) {
        wait_until(item.time);
        play(item);
    }
    wait_until(chassis_.loop.now() + kLastAnswers);
    for (Exchange &exchange : exchanges_) {
        compare(exchange);
    }
    if (reported_ > kMostReported) {
        output_ << "... and " << reported_ - kMostReported << " more\n";
    }
    return figures_;
}

void Replay::power_on() {
    chassis_.power_on();
    chassis_.loop.wait(chassis_.loop.now() + kPowerOnPatience, [this] { return !chassis_.boards.any_starting(); });
}

void Replay::wait_until(Time time) {
    if (time > chassis_.loop.now()) {
        chassis_.loop.wait(time, [] { return false; });
    }
}

// At one instant the order of the capture decides: what came from a board came before what follows.
void Replay::play(const Recorded &item) {
    switch (item.kind) {
    case Recorded::Kind::kToBoard:
        return send(item);
    case Recorded::Kind::kFromBoard:
        return note_recorded(item);
    case Recorded::Kind::kEvent:
        return carry_out(item.event);
    case Recorded::Kind::kRegistration:
        if (const Board *board = board_in(item.slot)) {
            chassis_.loop.wait(chassis_.loop.now() + std::chrono::seconds(1),
                               [board] { return board->state != BoardState::kStarting; });
        }
    }
}

Board *Replay::board_in(std::uint32_t slot) {
    return slot == kMainSlot ? &chassis_.boards.backup() : chassis_.boards.find(slot);
}

Replay::Exchange *Replay::exchange_of(std::uint32_t slot, std::span<const std::uint8_t> datagram) {
    if (datagram.size() < kTransportHeaderBytes + sizeof(std::uint16_t)) {
        return nullptr;
    }
    const auto found = last_.find({slot, net_sequence(datagram.subspan(kTransportHeaderBytes))});
    return found != last_.end() ? found->second : nullptr;
}

void Replay::send(const Recorded &item) {
    Board *board = board_in(item.slot);
    if (board == nullptr || board->peer.sin_port == 0) {
        ++figures_.nobody;
        return;
    }
    ++figures_.requests;
    Exchange *exchange = exchange_of(item.slot, item.bytes);
    if (exchange == nullptr || exchange->request->bytes != item.bytes) {
        exchange = &exchanges_.emplace_back(Exchange{&item, {}, {}});
        if (item.bytes.size() >= kTransportHeaderBytes + sizeof(std::uint16_t)) {
            last_[{item.slot, net_sequence(std::span(item.bytes).subspan(kTransportHeaderBytes))}] = exchange;
        }
    }
    note_faults(*exchange);
    std::vector<std::uint8_t> datagram = item.bytes;
    renumber(datagram, recording_.run.run, chassis_.links.run());
    chassis_.links.send_datagram(*board, datagram);
}

void Replay::note_faults(Exchange &exchange) const {
    exchange.may_miss = exchange.may_miss || !recording_.run.virtual_time;
    for (const auto &[slot, kind] : faults_) {
        if (slot == exchange.request->slot) {
            const bool spoils = std::ranges::find(kSpoiling, kind) != kSpoiling.end();
            exchange.may_differ = exchange.may_differ || spoils;
            exchange.may_miss = exchange.may_miss || !spoils;
        }
    }
}

void Replay::note_recorded(const Recorded &item) {
    Exchange *exchange = exchange_of(item.slot, item.bytes);
    if (exchange == nullptr) {
        return; // nothing that was asked for
    }
    note_faults(*exchange);
    exchange->recorded.push_back({item.bytes, item.packet, {}});
    if (exchange->now.size() < exchange->recorded.size()) {
        chassis_.loop.serve_instant();
    }
}

void Replay::note_now(const Event &packet) {
    if (packet.kind != EventKind::kPacket || packet.text("direction") != "from") {
        return;
    }
    const MessageType *type = announced(packet.bytes);
    const bool registration = type != nullptr && type->net_fn == kNetFnAgent;
    Exchange *exchange = registration ? nullptr : exchange_of(static_cast<std::uint32_t>(packet.slot), packet.bytes);
    if (exchange != nullptr) {
        exchange->now.push_back({{}, 0, packet.bytes});
    }
}

// What a fault did to a process is done again; what it did to datagrams is in the capture.
void Replay::carry_out(const EventNote &event) {
    Board *board = board_in(event.slot);
    if (board == nullptr) {
        return;
    }
    Supervisor &supervisor = chassis_.supervisor;
    const bool begins = event.what == Happened::kFaultBegins;
    switch (event.what) {
    case Happened::kStarted:
        return board->process != 0 ? static_cast<void>(supervisor.restart(*board)) : supervisor.plug(*board);
    case Happened::kKilled:
        return supervisor.kill_process(*board);
    case Happened::kPulled:
        return supervisor.pull(*board);
    default:
        break;
    }
    const FaultType *type = find_fault_type(event.fault);
    if (type->target == FaultTarget::kLink && begins) {
        faults_.emplace(event.slot, event.fault);
    } else if (type->target == FaultTarget::kLink) {
        faults_.erase({event.slot, event.fault});
    } else if (event.fault == "stopped") {
        begins ? supervisor.suspend(*board) : supervisor.resume(*board);
    } else if (event.fault == "queue-deleted" && begins) {
        supervisor.delete_queue(*board);
    } else if (event.fault == "partition-exhausted" && !begins) {
        supervisor.free_memory(*board);
    }
}

// One of now that nothing else equals, where there is one; a recorded answer may have been doubled.
Replay::Answer *Replay::equal_of(Exchange &exchange, const Answer &recorded) const {
    Answer *found = nullptr;
    for (Answer &now : exchange.now) {
        const bool better = found == nullptr || (found->matched && !now.matched);
        if (better && compare_answers(recorded.bytes, now.own, !recording_.run.virtual_time).empty()) {
            found = &now;
        }
    }
    return found;
}

void Replay::compare(Exchange &exchange) {
    for (Answer &recorded : exchange.recorded) {
        if (Answer *now = equal_of(exchange, recorded)) {
            recorded.matched = now->matched = true;
            ++figures_.equal;
        }
    }
    for (Answer &recorded : exchange.recorded) {
        if (!recorded.matched) {
            compare_recorded(exchange, recorded);
        }
    }
    for (const Answer &now : exchange.now) {
        if (now.matched || is_left_out(now.own)) {
            continue;
        }
        if (exchange.may_miss) {
            ++figures_.excused;
        } else {
            ++figures_.differing;
            report(exchange, {"answer", "nothing", message_name(now.own)});
        }
    }
}

// An answer that equals none of now, beside the first one of now that is left.
void Replay::compare_recorded(Exchange &exchange, Answer &recorded) {
    const auto left = std::ranges::find(exchange.now, false, &Answer::matched);
    if (left != exchange.now.end()) {
        left->matched = true;
    }
    if (exchange.may_differ) {
        ++figures_.excused;
        return;
    }
    ++figures_.differing;
    if (left == exchange.now.end()) {
        return report(exchange, {"answer", message_name(recorded.bytes), "nothing"});
    }
    for (const FieldDifference &difference :
         compare_answers(recorded.bytes, left->own, !recording_.run.virtual_time)) {
        report(exchange, difference);
    }
}

void Replay::report(const Exchange &exchange, const FieldDifference &difference) {
    if (++reported_ > kMostReported) {
        return;
    }
    const Recorded &request = *exchange.request;
    const Answer *answer = exchange.recorded.empty() ? nullptr : &exchange.recorded.front();
    char time[32];
    std::snprintf(time, sizeof time, "%.3f", static_cast<double>(whole_milliseconds(request.time)) / 1000);
    output_ << slot_name(request.slot) << ", " << time << " s, "
            << (answer != nullptr ? message_name(answer->bytes) + " (packet " + std::to_string(answer->packet) + ")"
                                  : message_name(request.bytes) + " (packet " + std::to_string(request.packet) + ")")
            << ": " << difference.field << ": recorded " << difference.recorded << ", now " << difference.now << '\n';
}

} // namespace chassis
