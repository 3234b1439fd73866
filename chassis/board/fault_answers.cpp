// What a board's process answers when it is told to fail, and what it tells of itself while it does.
#include "board/agent_answers.h"

#include "miro_host.h"
#include "orva_comm.h"
#include "orva_diag.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <sys/msg.h>

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

void count_records(FiguresBody &figures) {
    const OrvaDiagMgr *manager = g_orvaDiagMgr;
    for (std::uint32_t i = 0; manager != nullptr && i < manager->nodeCount; ++i) {
        const OrvaDiagNode *node = manager->nodes[i];
        if (node == nullptr || node->tree.first == nullptr) {
            continue;
        }
        for (auto *item = static_cast<OrvaDiagItem *>(node->tree.first->self); item != nullptr;
             item = static_cast<OrvaDiagItem *>(MIRO_AVL_Next(&item->link))) {
            figures.passed += item->successNum;
            figures.dropped += item->dropNum;
        }
    }
}

void measure_queue(FiguresBody &figures, std::uint32_t queue) {
    msqid_ds description{};
    if (msgctl(static_cast<int>(queue), IPC_STAT, &description) == 0) {
        figures.queue_messages = static_cast<std::uint32_t>(description.msg_qnum);
        figures.queue_bytes = static_cast<std::uint32_t>(description.__msg_cbytes);
    }
}

// The sums over all partitions of the process.
void measure_memory(FiguresBody &figures) {
    for (std::uint32_t partition = 1; partition <= 255; ++partition) {
        MIRO_HOST_MEM_STATS stats{};
        if (MIRO_HostMemStats(static_cast<std::uint8_t>(partition), &stats) == MIRO_HOST_OK) {
            figures.memory_bytes += static_cast<std::uint32_t>(stats.liveBytes);
            figures.memory_blocks += static_cast<std::uint32_t>(stats.liveBlocks);
            figures.memory_failures += static_cast<std::uint32_t>(stats.failedAllocations);
        }
    }
}

std::uint32_t open_descriptors() {
    std::error_code error;
    const std::filesystem::directory_iterator folder("/proc/self/fd", error);
    return error ? 0 : static_cast<std::uint32_t>(std::distance(begin(folder), end(folder))) - 1;
}

Frame figures(const Frame &request, BoardContext &board) {
    FiguresBody body{};
    body.header = reply_header(board, ORVA_OK);
    count_records(body);
    measure_queue(body, board.queue);
    measure_memory(body);
    body.descriptors = open_descriptors();
    return make_frame(kNetFnChassisReply, kCmdFigures, request.sequence(), body);
}

constexpr std::array kAnswers = {
    Answer{kNetFnChassis, kCmdSensorFault, sensor_fault},
    Answer{kNetFnChassis, kCmdExhaust, exhaust},
    Answer{kNetFnChassis, kCmdFigures, figures},
};

} // namespace

std::span<const Answer> fault_answers() {
    return kAnswers;
}

SensorFault BoardContext::fault(const Sensor &sensor) const {
    const auto found = faults.find(fault_key(static_cast<std::uint32_t>(sensor.kind), sensor.number));
    return found != faults.end() ? found->second : SensorFault{};
}

} // namespace chassis
