// The sample dead-loop monitor: keeps the dead loops that were reported to it and, when asked for a pass, has each
// one repaired by the registered callback.
#include "deadloop.h"

#include "deadloop_host.h"
#include "fork_guard.h"
#include "line_text.h"

#include <array>
#include <climits>
#include <cstring>
#include <exception>
#include <mutex>
#include <string>

namespace {

struct Monitor {
    std::mutex mutex;
    QarlDeadLoopCallback callback = nullptr;
    std::array<QarlDeadLoop, QARL_MAX_REPORTS> reports{};
    std::uint32_t count = 0;
};

constinit Monitor g_monitor;
constinit host::LineLog g_log{"ORVA_HOST_DEADLOOP_LOG"};

[[gnu::constructor]] void keep_locks_usable_after_fork() {
    host::keep_usable_after_fork(g_monitor.mutex);
    host::keep_usable_after_fork(g_log.lock());
}

// The log is a convenience: a line that cannot be written changes no result.
template <typename MakeText>
void log_line(MakeText make_text) {
    try {
        g_log.write({}, make_text());
    } catch (const std::exception &) {
    }
}

std::string describe(const QarlDeadLoop &dead_loop) {
    return "task=" + std::to_string(dead_loop.taskId) + " name=" + dead_loop.taskName +
           " spinning-ms=" + std::to_string(dead_loop.spinningMs);
}

bool keep(const QarlDeadLoop &dead_loop) {
    const std::lock_guard<std::mutex> lock(g_monitor.mutex);
    if (g_monitor.count == g_monitor.reports.size()) {
        return false;
    }
    g_monitor.reports[g_monitor.count++] = dead_loop;
    return true;
}

std::uint32_t report(const QarlDeadLoop *dead_loop) {
    if (dead_loop == nullptr || std::memchr(dead_loop->taskName, 0, sizeof dead_loop->taskName) == nullptr) {
        return QARL_INVALID;
    }
    if (!keep(*dead_loop)) {
        log_line([&] { return "qarl has no room for " + describe(*dead_loop); });
        return QARL_FULL;
    }
    log_line([&] { return "qarl reported " + describe(*dead_loop); });
    return QARL_OK;
}

std::uint32_t pending() {
    const std::lock_guard<std::mutex> lock(g_monitor.mutex);
    return g_monitor.count;
}

// Takes the oldest report out; false when none is left.
bool take_oldest(QarlDeadLoop &dead_loop, QarlDeadLoopCallback &callback) {
    const std::lock_guard<std::mutex> lock(g_monitor.mutex);
    callback = g_monitor.callback;
    if (g_monitor.count == 0) {
        return false;
    }
    dead_loop = g_monitor.reports[0];
    --g_monitor.count;
    std::memmove(&g_monitor.reports[0], &g_monitor.reports[1], g_monitor.count * sizeof(QarlDeadLoop));
    return true;
}

std::uint32_t repair_pending() {
    std::uint32_t result = QARL_OK;
    // As many as waited at the start: one that is put back or newly reported belongs to the next pass.
    for (std::uint32_t left = pending(); left > 0; --left) {
        QarlDeadLoop dead_loop;
        QarlDeadLoopCallback callback = nullptr;
        if (!take_oldest(dead_loop, callback)) {
            break;
        }
        const bool repaired = callback != nullptr && callback(&dead_loop) == 0;
        log_line([&] { return (repaired ? "qarl repaired " : "qarl not repaired ") + describe(dead_loop); });
        if (!repaired) {
            // Where other reports took all the room meanwhile, this one is lost; the line above tells.
            keep(dead_loop);
            result = QARL_UNREPAIRED;
        }
    }
    return result;
}

} // namespace

const QarlDmOperations QARL_DmOpers = {QARL_OPERS_VERSION, sizeof(QarlDmOperations), report, pending};

uint32_t QARL_RegDeadloopMonCallback(QarlDeadLoopCallback callback) {
    if (callback == nullptr) {
        return QARL_INVALID;
    }
    const std::lock_guard<std::mutex> lock(g_monitor.mutex);
    if (g_monitor.callback != nullptr) {
        return QARL_TAKEN;
    }
    g_monitor.callback = callback;
    return QARL_OK;
}

extern "C" __attribute__((visibility("default"))) uint32_t QARL_CheckAndRepairDeadloop(void) {
    const unsigned long forced = host::environment_number("ORVA_HOST_QARL_RESULT", 0, UINT_MAX, ULONG_MAX);
    const std::uint32_t result = forced <= UINT_MAX ? static_cast<std::uint32_t>(forced) : repair_pending();
    log_line([&] { return "qarl check and repair: result=" + std::to_string(result); });
    return result;
}
