// What a board's process answers to a service engineer: its trace, a power module's black box, the fan log.
#include "board/agent_answers.h"

#include "orva_comm.h"
#include "orva_file.h"

#include <array>
#include <string>

namespace chassis {

namespace {

constexpr std::size_t kBlackBoxBytes = 300;
constexpr const char *kFanLog = "/opt/keldv8/tmp/CmuLogzip/fan.log";

Frame trace(const Frame &request, BoardContext &board) {
    TraceBody body{};
    body.header = reply_header(board, ORVA_OK);
    for (std::uint32_t i = 0; i < kStages; ++i) {
        body.stages[i] = board.trace.stage(static_cast<Stage>(i));
    }
    return make_frame(kNetFnChassisReply, kCmdTrace, request.sequence(), body);
}

// The box of a module that the chassis does not have: each byte tells where it is.
Frame black_box(const Frame &request, BoardContext &board) {
    std::array<std::uint8_t, kBlackBoxBytes> box{};
    for (std::size_t i = 0; i < box.size(); ++i) {
        box[i] = static_cast<std::uint8_t>(i);
    }
    ORVA_PmbusBBoxHexToStringAndDlog(board.slot, request.header().word_12, box.data(), box.size(), box.size());
    return make_result(board, request.sequence(), ORVA_OK);
}

// Its folder is one of the fixed ones.
Frame fan_log(const Frame &request, BoardContext &board) {
    if (!board.private_mount) {
        return make_result(board, request.sequence(), kRefusedNoPrivateMount);
    }
    const std::string line = "fan 1 of slot " + std::to_string(board.slot) + ": 4200 rpm";
    const std::array<std::uint8_t, 17> registers = {0x10, 0x68, 0x02, 0x07};
    ORVA_FAN_WriteLog(kFanLog, reinterpret_cast<const std::uint8_t *>(line.c_str()),
                      static_cast<std::uint32_t>(line.size()), 0);
    ORVA_FAN_WriteLog(kFanLog, registers.data(), registers.size(), 1);
    return make_result(board, request.sequence(), ORVA_OK);
}

constexpr std::array kServiceAnswers = {
    Answer{kNetFnChassis, kCmdTrace, trace},
    Answer{kNetFnChassis, kCmdBlackBox, black_box},
    Answer{kNetFnChassis, kCmdFanLog, fan_log},
};

} // namespace

std::span<const Answer> service_answers() {
    return kServiceAnswers;
}

} // namespace chassis
