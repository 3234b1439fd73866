// Dead-loop monitor hooks: binds two optional platform libraries to each other. Knows their symbols by name only, and
// nothing of what the monitor does.

#include "orva_deadloop.h"

#include <dlfcn.h>

#include "log_record.h"
#include "optional_library.h"

OrvaDeadLoopRecord g_orvaQarlDeadLoop;
OrvaDeadLoopRecord g_orvaWendoDeadLoop;

namespace {

constexpr char kQarlLibrary[] = "libqarl_sysdiag_agent_native.so";
constexpr char kWendoLibrary[] = "libzebbase.so";
constexpr std::uint32_t kErrorCode = 2;

using HookRegistration = std::uint32_t (*)(std::uint32_t kind, OrvaDeadLoopHook *hook);
using CheckAndRepair = std::uint32_t (*)();

// Error record of the process log.
#define LOG_DEADLOOP(text, ...)                                                                                      \
    ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kLogModule, kErrorCode, text __VA_OPT__(, ) __VA_ARGS__)

// A failed look-up of the loader: one record, and one more with the loader's text when it has one.
#define LOG_LOADER_FAILURE(log, text, textWithReason)                                                                \
    do {                                                                                                             \
        const orva::LoaderReason reason;                                                                             \
        log(text);                                                                                                   \
        if (reason.is_present()) {                                                                                   \
            log(textWithReason, reason.words());                                                                     \
        }                                                                                                            \
    } while (false)

} // namespace

void *ORVA_GetQarlDeadLoopHandle(void) {
    if (g_orvaQarlDeadLoop.handle == nullptr) {
        g_orvaQarlDeadLoop.handle = orva::open_library(kQarlLibrary);
        if (g_orvaQarlDeadLoop.handle == nullptr) {
            LOG_LOADER_FAILURE(ORVA_LOG_GATED_ERROR, "dlopen qarldeadloop so fail!",
                               "dlopen qarldeadloop so fail for %s!");
        }
    }
    return g_orvaQarlDeadLoop.handle;
}

void *ORVA_GetWendoDeadLoopHandle(void) {
    if (g_orvaWendoDeadLoop.handle == nullptr) {
        g_orvaWendoDeadLoop.handle = orva::open_library(kWendoLibrary);
        if (g_orvaWendoDeadLoop.handle == nullptr) {
            LOG_LOADER_FAILURE(LOG_DEADLOOP, "dlopen wendoBase so fail!", "dlopen wendoBase so fail for %s!");
        }
    }
    return g_orvaWendoDeadLoop.handle;
}

uint32_t ORVA_GetQarlDeadLoopHookFunc(OrvaDeadLoopHook *hook) {
    if (hook == nullptr) {
        return ORVA_FAILED;
    }
    void *const library = ORVA_GetQarlDeadLoopHandle();
    if (library == nullptr) {
        return ORVA_FAILED;
    }
    hook->regMonCallback = dlsym(library, "QARL_RegDeadloopMonCallback");
    if (hook->regMonCallback == nullptr) {
        LOG_LOADER_FAILURE(LOG_DEADLOOP, "dlsym reg deadloop callback fail!",
                           "dlsym reg deadloop callback fail for %s!");
        return ORVA_FAILED;
    }
    hook->dmOpers = dlsym(library, "QARL_DmOpers");
    if (hook->dmOpers == nullptr) {
        LOG_LOADER_FAILURE(LOG_DEADLOOP, "dlsym deadloop opers fail!", "dlsym deadloop opers fail for %s!");
        return ORVA_FAILED;
    }
    hook->reserved1 = nullptr;
    hook->reserved2 = nullptr;
    return ORVA_OK;
}

// Compat: callers' code. The name says Qarl, although it works on the other library.
uint32_t ORVA_GetQarlDeadLoopHookRegFunc(void) {
    void *const library = ORVA_GetWendoDeadLoopHandle();
    if (library == nullptr) {
        return ORVA_FAILED;
    }
    g_orvaWendoDeadLoop.entry = dlsym(library, "ZEB_DeadLoopUsrHookReg");
    if (g_orvaWendoDeadLoop.entry == nullptr) {
        LOG_LOADER_FAILURE(LOG_DEADLOOP, "dlsym wendo deadloop usrHook reg fail!",
                           "dlsym wendo deadloop usrHook reg fail for %s!");
        return ORVA_FAILED;
    }
    return ORVA_OK;
}

void ORVA_RegWendoDeadloop(void) {
    OrvaDeadLoopHook hook{};
    std::uint32_t result = ORVA_GetQarlDeadLoopHookFunc(&hook);
    if (result != ORVA_OK) {
        LOG_DEADLOOP("Get Qarl deadloop hook func, ret : 0x%x", result);
        return;
    }
    result = ORVA_GetQarlDeadLoopHookRegFunc();
    if (result != ORVA_OK) {
        LOG_DEADLOOP("Get Wendo deadloop hook reg func, ret : 0x%x", result);
        return;
    }
    result = orva::as_entry<HookRegistration>(g_orvaWendoDeadLoop.entry)(ZEB_HOOK_KIND_DEADLOOP, &hook);
    if (result == ZEB_HOOK_INVALID_INPUT) {
        LOG_DEADLOOP("ORVA RegWendoDeadloop: Input invalid.");
    } else if (result == ZEB_HOOK_TAKEN) {
        // Compat: texts that others parse. "registerd" is spelled so.
        LOG_DEADLOOP("ORVA RegWendoDeadloop: Hook registerd by others.");
    }
}

void ORVA_CheckAndRepairDeadloop(void) {
    void *const library = ORVA_GetQarlDeadLoopHandle();
    if (library == nullptr) {
        return;
    }
    g_orvaQarlDeadLoop.entry = dlsym(library, "QARL_CheckAndRepairDeadloop");
    if (g_orvaQarlDeadLoop.entry == nullptr) {
        LOG_LOADER_FAILURE(ORVA_LOG_GATED_ERROR, "dlsym qarl deadloop check and repaire func return NULL!",
                           "dlsym qarl deadloop check and repaire func for %s!");
        return;
    }
    const std::uint32_t result = orva::as_entry<CheckAndRepair>(g_orvaQarlDeadLoop.entry)();
    // Compat: texts that others parse. "repaire" is spelled so, and a result of 0 is an error record too: every
    // attempt leaves a trace.
    ORVA_LOG_GATED_ERROR("deadloop check and repaire ret : 0x%x", result);
}
