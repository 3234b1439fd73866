#include "board/figures.h"

#include "miro_host.h"
#include "orva_diag.h"

#include <filesystem>
#include <iterator>
#include <sys/msg.h>
#include <system_error>

namespace chassis {

namespace {

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

void measure_queue(FiguresBody &figures, int queue) {
    msqid_ds description{};
    if (queue >= 0 && msgctl(queue, IPC_STAT, &description) == 0) {
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

} // namespace

void measure_process(FiguresBody &figures, int queue) {
    count_records(figures);
    measure_queue(figures, queue);
    measure_memory(figures);
    figures.descriptors = open_descriptors();
}

} // namespace chassis
