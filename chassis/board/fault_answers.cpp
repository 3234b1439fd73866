// What a board's process answers when it is told to fail, and what it tells of itself while it does.
#include "board/agent_answers.h"
#include "board/figures.h"

#include "miro_host.h"
#include "orva_comm.h"

#include <algorithm>
#include <array>

namespace chassis {

namespace {

std::uint32_t fault_key(std::uint32_t kind, std::uint32_t number) {
    return kind << 8 | number;
}

Frame sensor_fault(const Frame &request, BoardContext &board) {
    const auto body = request.body<SensorFaultBody>();
    const auto kind = static_cast<SensorKind>(body.sensor_kind);
    const auto number = static_cast<std::uint8_t>(body.sensor_number);
    if (find_sensor(board.hardware.sensors, kind, number) == nullptr ||
        body.fault > static_cast<std::uint32_t>(SensorFaultKind::kDrift)) {
        return make_result(board, request.sequence(), kRefusedArgument);
    }
    board.faults[fault_key(body.sensor_kind, body.sensor_number)] = {static_cast<SensorFaultKind>(body.fault),
                                                                     body.value, board.clock.now()};
    return make_result(board, request.sequence(), ORVA_OK);
}

Frame exhaust(const Frame &request, BoardContext &board) {
    const Frame reply = make_result(board, request.sequence(), ORVA_OK);
    board.hoard.use_up();
    return reply;
}

Frame figures(const Frame &request, BoardContext &board) {
    FiguresBody body{};
    body.header = reply_header(board, ORVA_OK);
    measure_process(body, static_cast<int>(board.queue));
    return make_frame(kNetFnChassisReply, kCmdFigures, request.sequence(), body);
}

constexpr std::array kFaultAnswers = {
    Answer{kNetFnChassis, kCmdSensorFault, sensor_fault},
    Answer{kNetFnChassis, kCmdExhaust, exhaust},
    Answer{kNetFnChassis, kCmdFigures, figures},
};

} // namespace

std::span<const Answer> fault_answers() {
    return kFaultAnswers;
}

SensorFault BoardContext::fault(const Sensor &sensor) const {
    const auto found = faults.find(fault_key(static_cast<std::uint32_t>(sensor.kind), sensor.number));
    return found != faults.end() ? found->second : SensorFault{};
}

} // namespace chassis
