#include "agent_answers.h"

#include "hardware.h"
#include "runtime.h"

#include "orva_comm.h"
#include "orva_diag.h"

#include <array>

namespace chassis {

namespace {

// A request for more is a mistake: the summary comes after one hour.
constexpr std::uint32_t kMaxAdvance = 2 * ORVA_DIAG_HOUR_SECONDS;

Header reply_header(std::uint32_t slot, std::uint32_t word) {
    return {ORVA_AGENT_REPLY, slot, kMainSlot, word};
}

std::uint32_t uptime_seconds() {
    return static_cast<std::uint32_t>(uptime_ms() / 1000);
}

template <typename Body>
Frame readings(const Frame &request, std::uint32_t slot, SensorKind kind) {
    Body body{};
    body.header = reply_header(slot, 0);
    for (const Sensor &sensor : sensors_of(kind)) {
        const std::int32_t value = read_sensor(sensor, slot, uptime_seconds());
        body.readings[body.count++] = {value, sensor.number, static_cast<std::uint8_t>(judge(sensor, value)), {}};
    }
    return make_frame(kNetFnAgentReply, request.type->command, request.sequence(), body,
                      offsetof(Body, readings) + body.count * sizeof(Reading));
}

Frame temperatures(const Frame &request, std::uint32_t slot, AgentCounters &) {
    return readings<TemperatureBody>(request, slot, SensorKind::kTemperature);
}

Frame voltages(const Frame &request, std::uint32_t slot, AgentCounters &) {
    return readings<VoltageBody>(request, slot, SensorKind::kVoltage);
}

Frame heart_beat(const Frame &request, std::uint32_t slot, AgentCounters &counters) {
    HeartBeatBody body{};
    body.header = reply_header(slot, 0);
    body.beat = ++counters.beats;
    body.uptime_seconds = uptime_seconds();
    body.requests = counters.handled;
    body.refused = counters.refused;
    body.version[0] = 1;
    body.queue_refusals = counters.queue_refusals;
    return make_frame(kNetFnAgentReply, kCmdHeartBeat, request.sequence(), body);
}

Frame clock_advance(const Frame &request, std::uint32_t slot, AgentCounters &) {
    const std::uint32_t seconds = request.header().word;
    if (seconds > kMaxAdvance) {
        return make_result(slot, request.sequence(), kRefusedArgument);
    }
    advance_clock(seconds);
    return make_result(slot, request.sequence(), ORVA_OK);
}

Frame diag_dump(const Frame &request, std::uint32_t slot, AgentCounters &) {
    ORVA_DiagMgrPrintLocalData();
    return make_result(slot, request.sequence(), ORVA_OK);
}

Frame statistics(const Frame &request, std::uint32_t slot, AgentCounters &counters) {
    return make_frame(kNetFnChassisReply, kCmdStatistics, request.sequence(),
                      StatisticsBody{reply_header(slot, 0), counters.received, counters.queue_refusals,
                                     counters.handled, counters.refused});
}

struct Answer {
    std::uint8_t net_fn;
    std::uint16_t command;
    Frame (*make)(const Frame &request, std::uint32_t slot, AgentCounters &counters);
};

constexpr std::array kAnswers = {
    Answer{kNetFnAgent, kCmdTemperature, temperatures}, Answer{kNetFnAgent, kCmdVoltage, voltages},
    Answer{kNetFnAgent, kCmdHeartBeat, heart_beat},     Answer{kNetFnChassis, kCmdAdvanceClock, clock_advance},
    Answer{kNetFnChassis, kCmdPrintDiag, diag_dump},    Answer{kNetFnChassis, kCmdStatistics, statistics},
};

} // namespace

Frame make_result(std::uint32_t slot, std::uint16_t sequence, std::uint32_t code) {
    return make_frame(kNetFnAgentReply, kCmdResult, sequence, RequestBody{reply_header(slot, code)});
}

Frame answer(const Frame &request, std::uint32_t slot, AgentCounters &counters) {
    for (const Answer &row : kAnswers) {
        if (row.net_fn == request.type->net_fn && row.command == request.type->command) {
            return row.make(request, slot, counters);
        }
    }
    return make_result(slot, request.sequence(), kRefusedUnknown);
}

void advance_clock(std::uint32_t seconds) {
    for (std::uint32_t i = 0; i < seconds; ++i) {
        ORVA_DiagMgrTimerSchdule();
    }
}

} // namespace chassis
