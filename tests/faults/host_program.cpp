// A program that uses the library on the host platform once through: memory, files, queue, pipe, mutex, logs,
// archive, board description, task, timer. A step that fails is named on the standard error, undone, and makes the
// exit status 1.
#include "drv_basic_host.h"
#include "miro_host.h"
#include "orva_comm.h"
#include "orva_debugging.h"
#include "orva_diag.h"
#include "orva_file.h"
#include "orva_list.h"
#include "orva_util.h"
#include "tova.h"
#include "tova_host.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

bool refused(const char *step, std::uint32_t code) {
    if (code != ORVA_OK) {
        std::fprintf(stderr, "host_program: %s failed with 0x%x\n", step, code);
    }
    return code != ORVA_OK;
}

bool use_memory() {
    std::uint32_t handle = 0;
    if (refused("start of the host platform", MIRO_HostStart(nullptr, &handle))) {
        return false;
    }
    ORVA_SetMemHandle(handle);
    if (refused("partition", ORVA_CreateMemPt())) {
        return false;
    }
    void *const block = MIRO_MemAlloc_F(handle, static_cast<std::uint8_t>(ORVA_GetMemPtr()), 100, "host_program", 1);
    return !refused("allocation", block == nullptr ? 1 : 0) &&
           !refused("free", MIRO_MemFree_F(handle, block, "host_program", 2));
}

bool use_files() {
    if (refused("write of data", ORVA_WriteBufToFile("data", "content", 7, "w"))) {
        return false;
    }
    char *content = nullptr;
    std::uint32_t length = 0;
    if (refused("read of data", ORVA_FUNC_GetFileContent("data", &content, &length))) {
        return false;
    }
    const bool same = length == 7 && std::memcmp(content, "content", 7) == 0;
    MIRO_MemFree_F(ORVA_GetMemHandle(), content, "host_program", 3);
    return !refused("comparison of data", same ? 0 : 1);
}

bool use_queue() {
    std::uint32_t queue = 0;
    ORVA_SetSingleProcess(1);
    const bool made = !refused("queue", ORVA_QueueCreate(1, &queue));
    char text[8] = "";
    const bool used = made && !refused("write to the queue", ORVA_QueueAsyWrite(queue, "message", 8)) &&
                      !refused("read from the queue",
                               ORVA_QueueAsyRead(queue, text, sizeof text, ORVA_QUEUE_MESSAGE_TYPE) == 8 ? 0 : 1);
    if (queue != 0) {
        ORVA_QueueDelete(static_cast<std::int32_t>(queue));
    }
    return used;
}

bool use_pipe() {
    std::int32_t fds[2] = {-1, -1};
    if (refused("pipe", static_cast<std::uint32_t>(ORVA_CreatePipe(fds, 2)))) {
        return false;
    }
    ORVA_DeletePipe(fds, 2);
    return true;
}

bool use_logs() {
    bool done = !refused("log folder", access("logs", F_OK) == 0 ? 0 : 1);
    done = done && !refused("diagnostic manager", ORVA_DiagInit(8, 0));
    done = done && !refused("diagnostic record", TOVA_DLog(0, 1, 1, 0, 0, "text %d", 1));
    done = done && !refused("process record", TOVA_PLogByProcName(TOVA_PLOG_ERROR, "host_program", 1, 1, "text"));
    TOVA_HostStop();
    return done && !refused("records of the log", TOVA_HostFailedRecords() == 0 ? 0 : 1);
}

bool use_archive() {
    return !refused("archive", ORVA_Unzip("archive.zip", "unpacked"));
}

bool use_board() {
    return !refused("board description", DRV_HostLoadBoard("board.toml"));
}

std::atomic<int> g_runs{0};

void task(void *) {
    ++g_runs;
}

std::uint32_t timer() {
    ++g_runs;
    return 0;
}

bool use_tasks() {
    std::uint32_t id = 0, module = 0;
    MIRO_TIMER_ID timerId = 0;
    if (refused("task", MIRO_TaskCreate("host_program", &id, task, 1, 65536, 0, nullptr)) ||
        refused("module", MIRO_HandleInitialize("host_program", &module)) ||
        refused("timer", MIRO_ReltmrCbkStart(&timerId, module, 10, 0, nullptr, MIRO_TIMER_ONCE, timer))) {
        return false;
    }
    while (g_runs < 2) {
        ORVA_SafeSleep(1);
    }
    return true;
}

} // namespace

int main() {
    constexpr bool (*kSteps[])() = {use_memory, use_files,   use_queue, use_pipe,
                                    use_logs,   use_archive, use_board, use_tasks};
    for (const auto &step : kSteps) {
        if (!step()) {
            return 1;
        }
    }
    if (std::puts("all steps done") < 0 || std::fflush(stdout) != 0) {
        std::fprintf(stderr, "host_program: the output cannot be written\n");
        return 1;
    }
    return 0;
}
