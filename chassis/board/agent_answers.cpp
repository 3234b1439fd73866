#include "board/agent_answers.h"

#include "text.h"

#include "orva_comm.h"
#include "orva_diag.h"
#include "orva_imlib.h"

#include <array>
#include <bit>
#include <fstream>
#include <iterator>
#include <type_traits>

namespace chassis {

namespace {

// A request for more is a mistake: the summary comes after one hour.
constexpr std::uint32_t kMaxAdvance = 2 * ORVA_DIAG_HOUR_SECONDS;

template <typename Entry>
Entry reading(const Sensor &sensor, std::int32_t value, Source source) {
    return std::bit_cast<Entry>(
        Reading{value, sensor.number, static_cast<std::uint8_t>(judge(sensor, value)), source, 0});
}

template <typename Body>
Frame readings(const Frame &request, BoardContext &board, SensorKind kind) {
    using Entry = std::remove_extent_t<decltype(Body::readings)>;
    Body body{};
    body.header = reply_header(board, ORVA_OK);
    for (const Sensor &sensor : board.hardware.sensors) {
        if (sensor.kind != kind || body.count + 2U > std::size(body.readings)) {
            continue;
        }
        const std::int32_t hardware =
            read_sensor(sensor, board.fault(sensor), board.clock.now(), board.hardware.seed);
        if (const auto set = board.simulation.find(sensor, board.slot)) {
            body.readings[body.count++] = reading<Entry>(sensor, set->value, set->source);
            body.readings[body.count++] = reading<Entry>(sensor, hardware, Source::kBesideOverride);
        } else {
            body.readings[body.count++] = reading<Entry>(sensor, hardware, Source::kHardware);
        }
    }
    return make_frame(kNetFnAgentReply, request.type->command, request.sequence(), body,
                      offsetof(Body, readings) + body.count * sizeof(Entry));
}

Frame temperatures(const Frame &request, BoardContext &board) {
    return readings<OrvaWireTempInfo>(request, board, SensorKind::kTemperature);
}

Frame voltages(const Frame &request, BoardContext &board) {
    return readings<OrvaWireVltInfo>(request, board, SensorKind::kVoltage);
}

Frame heart_beat(const Frame &request, BoardContext &board) {
    const auto pair = board.simulation.online(board.slot);
    HeartBeat beat{};
    beat.beat = ++board.counters.beats;
    beat.uptime_seconds = board.uptime_seconds();
    beat.requests = board.counters.handled;
    beat.refused = board.counters.refused;
    beat.hardware_online = true;
    beat.pair_set = pair.has_value();
    beat.online = pair.value_or(true);
    beat.private_mount = board.private_mount;
    beat.queue_refusals = board.counters.queue_refusals;
    beat.start_mode = board.warm_start ? ORVA_START_WARM : ORVA_START_COLD;
    return make_frame(kNetFnAgentReply, kCmdHeartBeat, request.sequence(),
                      heart_beat_body(reply_header(board, ORVA_OK), beat));
}

// The interface manager hears of it from the library, which reads the file again and again.
Frame switch_over(const Frame &request, BoardContext &board) {
    if (!board.private_mount) {
        return make_result(board, request.sequence(), kRefusedNoPrivateMount);
    }
    std::ofstream file(ORVA_ACT_MPU_FILE);
    file << address_text(request.body<OrvaWireSwitchOver>().word_16) << '\n';
    return make_result(board, request.sequence(), file.flush() ? ORVA_OK : kRefusedFile);
}

Frame clock_advance(const Frame &request, BoardContext &board) {
    const std::uint32_t seconds = request.header().word_12;
    if (seconds > kMaxAdvance) {
        return make_result(board, request.sequence(), kRefusedArgument);
    }
    advance_clock(seconds);
    return make_result(board, request.sequence(), ORVA_OK);
}

Frame diag_dump(const Frame &request, BoardContext &board) {
    ORVA_DiagMgrPrintLocalData();
    return make_result(board, request.sequence(), ORVA_OK);
}

Frame statistics(const Frame &request, BoardContext &board) {
    const AgentCounters &counters = board.counters;
    return make_frame(kNetFnChassisReply, kCmdStatistics, request.sequence(),
                      StatisticsBody{reply_header(board, ORVA_OK), counters.received, counters.queue_refusals,
                                     counters.handled, counters.refused});
}

constexpr std::array kAgentAnswers = {
    Answer{kNetFnAgent, kCmdTemperature, temperatures},     Answer{kNetFnAgent, kCmdVoltage, voltages},
    Answer{kNetFnAgent, kCmdHeartBeat, heart_beat},         Answer{kNetFnAgent, kCmdSwitchOver, switch_over},
    Answer{kNetFnChassis, kCmdAdvanceClock, clock_advance}, Answer{kNetFnChassis, kCmdPrintDiag, diag_dump},
    Answer{kNetFnChassis, kCmdStatistics, statistics},
};

} // namespace

std::span<const Answer> board_answers() {
    return kAgentAnswers;
}

OrvaWireHeader reply_header(const BoardContext &board, std::uint32_t word) {
    return {ORVA_AGENT_REPLY, board.slot, kMainSlot, word};
}

Frame make_result(const BoardContext &board, std::uint16_t sequence, std::uint32_t code) {
    return make_frame(kNetFnAgentReply, kCmdResult, sequence, OrvaWireReq{reply_header(board, code)});
}

Frame answer(const Frame &request, BoardContext &board) {
    const std::array own = {board.backup ? backup_answers() : board_answers(), tester_answers(), service_answers(),
                            fault_answers()};
    for (const auto &answers : own) {
        for (const Answer &row : answers) {
            if (row.net_fn == request.type->net_fn && row.command == request.type->command) {
                return row.make(request, board);
            }
        }
    }
    return make_result(board, request.sequence(), kRefusedUnknown);
}

void advance_clock(std::uint32_t seconds) {
    for (std::uint32_t i = 0; i < seconds; ++i) {
        ORVA_DiagMgrTimerSchdule();
    }
}

} // namespace chassis
