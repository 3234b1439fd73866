// The sample hook registration of the device-management base: keeps one dead-loop hook and passes dead loops to
// the monitor.
#include "deadloop.h"

#include "deadloop_host.h"
#include "fork_guard.h"
#include "line_text.h"

#include <climits>
#include <exception>
#include <mutex>
#include <optional>
#include <string>

namespace {

constinit std::mutex g_mutex;
constinit std::optional<OrvaDeadLoopHook> g_hook;
constinit host::LineLog g_log{"ORVA_HOST_DEADLOOP_LOG"};

[[gnu::constructor]] void keep_locks_usable_after_fork() {
    host::keep_usable_after_fork(g_mutex);
    host::keep_usable_after_fork(g_log.lock());
}

// The log is a convenience: a line that cannot be written changes no result.
void log_registration(std::uint32_t kind, std::uint32_t result) {
    try {
        g_log.write({},
                    "zebbase hook registration: kind=" + std::to_string(kind) + " result=" + std::to_string(result));
    } catch (const std::exception &) {
    }
}

bool is_valid(std::uint32_t kind, const OrvaDeadLoopHook *hook) {
    return kind == ZEB_HOOK_KIND_DEADLOOP && hook != nullptr && hook->regMonCallback != nullptr &&
           hook->dmOpers != nullptr && hook->reserved1 == nullptr && hook->reserved2 == nullptr;
}

std::uint32_t register_hook(std::uint32_t kind, const OrvaDeadLoopHook *hook) {
    const auto forced = static_cast<std::uint32_t>(
        host::environment_number("ORVA_HOST_ZEB_RESULT", 0, UINT_MAX, ZEB_HOOK_REGISTERED));
    if (forced != ZEB_HOOK_REGISTERED) {
        return forced;
    }
    if (!is_valid(kind, hook)) {
        return ZEB_HOOK_INVALID_INPUT;
    }
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (g_hook) {
        return ZEB_HOOK_TAKEN;
    }
    g_hook = *hook;
    return ZEB_HOOK_REGISTERED;
}

// The registered monitor's operations, or null.
const QarlDmOperations *monitor_operations() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (!g_hook) {
        return nullptr;
    }
    const auto *operations = static_cast<const QarlDmOperations *>(g_hook->dmOpers);
    const bool known = operations->version == QARL_OPERS_VERSION && operations->size >= sizeof(QarlDmOperations);
    return known ? operations : nullptr;
}

} // namespace

extern "C" __attribute__((visibility("default"))) uint32_t ZEB_DeadLoopUsrHookReg(uint32_t kind,
                                                                                  OrvaDeadLoopHook *hook) {
    const std::uint32_t result = register_hook(kind, hook);
    log_registration(kind, result);
    return result;
}

uint32_t ZEB_HostReportDeadLoop(const QarlDeadLoop *deadLoop) {
    const QarlDmOperations *operations = monitor_operations();
    return operations != nullptr ? operations->report(deadLoop) : ZEB_NO_HOOK;
}
