// What a board's process answers to a tester's and an operator's commands.
#include "board/agent_answers.h"

#include "orva_comm.h"
#include "orva_debugging.h"

#include <array>

namespace chassis {

namespace {

Frame set_stubs(const Frame &request, BoardContext &board) {
    board.simulation.set_stubs(request.body<OrvaWireSimulate>());
    return make_result(board, request.sequence(), ORVA_OK);
}

Frame list_stubs(const Frame &request, BoardContext &board) {
    return make_frame(kNetFnChassisReply, kCmdStubList, request.sequence(), board.simulation.stubs());
}

Frame set_sensor(const Frame &request, BoardContext &board) {
    const auto body = request.body<SetSensorBody>();
    if (body.header.word_12 == 0) {
        const bool removed = board.simulation.remove_sensor(body.request);
        return make_result(board, request.sequence(), removed ? ORVA_OK : ORVA_ERR_SIMULATE_NO_SENSOR);
    }
    board.simulation.set_sensor(body.request, body.value);
    return make_result(board, request.sequence(), ORVA_OK);
}

Frame list_sensors(const Frame &request, BoardContext &board) {
    SensorListBody list = board.simulation.sensors();
    list.header = reply_header(board, ORVA_OK);
    return make_frame(kNetFnChassisReply, kCmdSensorList, request.sequence(), list);
}

Frame set_online(const Frame &request, BoardContext &board) {
    board.simulation.set_pairs(request.body<OnlineBody>());
    return make_result(board, request.sequence(), ORVA_OK);
}

Frame list_online(const Frame &request, BoardContext &board) {
    OnlineBody list = board.simulation.pairs();
    list.header = reply_header(board, ORVA_OK);
    return make_frame(kNetFnChassisReply, kCmdOnlineList, request.sequence(), list);
}

Frame debug_log(const Frame &request, BoardContext &board) {
    const auto body = request.body<DebugLogBody>();
    return make_result(board, request.sequence(),
                       ORVA_CLI_ProcessDebugDeviceOrvaLog(body.on, body.module_mask, body.slot));
}

Frame debug_packet(const Frame &request, BoardContext &board) {
    const auto body = request.body<DebugPacketBody>();
    return make_result(board, request.sequence(),
                       ORVA_CLI_ProcessDebugDeviceOrvaPacket(body.on, static_cast<std::uint8_t>(body.type),
                                                             body.net_fn, body.command));
}

constexpr std::array kTesterAnswers = {
    Answer{kNetFnAgent, kCmdSimulate, set_stubs},     Answer{kNetFnChassis, kCmdStubList, list_stubs},
    Answer{kNetFnChassis, kCmdSetSensor, set_sensor}, Answer{kNetFnChassis, kCmdSensorList, list_sensors},
    Answer{kNetFnChassis, kCmdSetOnline, set_online}, Answer{kNetFnChassis, kCmdOnlineList, list_online},
    Answer{kNetFnChassis, kCmdDebugLog, debug_log},   Answer{kNetFnChassis, kCmdDebugPacket, debug_packet},
};

} // namespace

std::span<const Answer> tester_answers() {
    return kTesterAnswers;
}

} // namespace chassis
