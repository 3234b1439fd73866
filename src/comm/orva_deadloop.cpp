// Dead-loop monitor hooks: binds two optional platform libraries to each other. Knows their symbols by name only, and
// nothing of what the monitor does.

#include "orva_deadloop.h"

#include <dlfcn.h>

#include "log_record.h"
#include "optional_library.h"
#include "relaxed.h"

OrvaDeadLoopRecord g_orvaQarlDeadLoop;
OrvaDeadLoopRecord g_orvaWendoDeadLoop;

namespace {

constexpr char kQarlLibrary[] = "libqarl_sysdiag_agent_native.so";
constexpr char kWendoLibrary[] = "libzebbase.so";

using HookRegistration = std::uint32_t (*)(std::uint32_t kind, OrvaDeadLoopHook *hook);
using CheckAndRepair = std::uint32_t (*)();

// Error record of the process log.
#define ORVA_DEADLOOP_LOG(text, ...)                                                                                 \
    ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kLogModule, orva::kCodeError, text __VA_OPT__(, ) __VA_ARGS__)

// A failed look-up of the loader: one record, and one more with the loader's text when it has one.
#define ORVA_DEADLOOP_LOG_LOADER(log, text, textWithReason)                                                          \
    do {                                                                                                             \
        const orva::LoaderReason reason;                                                                             \
        log(text);                                                                                                   \
        if (reason.is_present()) {                                                                                   \
            log(textWithReason, reason.words());                                                                     \
        }                                                                                                            \
    } while (false)

// The record's library, opened by the first caller that finds it; null while it is missing. Of two first callers, one
// closes its handle again.
void *open_once(OrvaDeadLoopRecord &record, const char *library) {
    void *present = __atomic_load_n(&record.handle, __ATOMIC_ACQUIRE);
    if (present != nullptr) {
        return present;
    }
    orva::OptionalLibrary opened(orva::open_library(library));
    if (opened != nullptr && __atomic_compare_exchange_n(&record.handle, &present, opened.get(), false,
                                                         __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE)) {
        return opened.release(); // stays open for the life of the process
    }
    return present;
}

// Looks a symbol up and keeps it in the record, also a null one.
void *find_entry(OrvaDeadLoopRecord &record, void *library, const char *symbol) {
    void *const entry = dlsym(library, symbol);
    orva::relaxed_store(&record.entry, entry);
    return entry;
}

} // namespace

void *ORVA_GetQarlDeadLoopHandle(void) {
    void *const handle = open_once(g_orvaQarlDeadLoop, kQarlLibrary);
    if (handle == nullptr) {
        ORVA_DEADLOOP_LOG_LOADER(ORVA_LOG_GATED_ERROR, "dlopen qarldeadloop so fail!",
                                 "dlopen qarldeadloop so fail for %s!");
    }
    return handle;
}

void *ORVA_GetWendoDeadLoopHandle(void) {
    void *const handle = open_once(g_orvaWendoDeadLoop, kWendoLibrary);
    if (handle == nullptr) {
        ORVA_DEADLOOP_LOG_LOADER(ORVA_DEADLOOP_LOG, "dlopen wendoBase so fail!", "dlopen wendoBase so fail for %s!");
    }
    return handle;
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
        ORVA_DEADLOOP_LOG_LOADER(ORVA_DEADLOOP_LOG, "dlsym reg deadloop callback fail!",
                                 "dlsym reg deadloop callback fail for %s!");
        return ORVA_FAILED;
    }
    hook->dmOpers = dlsym(library, "QARL_DmOpers");
    if (hook->dmOpers == nullptr) {
        ORVA_DEADLOOP_LOG_LOADER(ORVA_DEADLOOP_LOG, "dlsym deadloop opers fail!",
                                 "dlsym deadloop opers fail for %s!");
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
    if (find_entry(g_orvaWendoDeadLoop, library, "ZEB_DeadLoopUsrHookReg") == nullptr) {
        ORVA_DEADLOOP_LOG_LOADER(ORVA_DEADLOOP_LOG, "dlsym wendo deadloop usrHook reg fail!",
                                 "dlsym wendo deadloop usrHook reg fail for %s!");
        return ORVA_FAILED;
    }
    return ORVA_OK;
}

void ORVA_RegWendoDeadloop(void) {
    OrvaDeadLoopHook hook{};
    std::uint32_t result = ORVA_GetQarlDeadLoopHookFunc(&hook);
    if (result != ORVA_OK) {
        ORVA_DEADLOOP_LOG("Get Qarl deadloop hook func, ret : 0x%x", result);
        return;
    }
    result = ORVA_GetQarlDeadLoopHookRegFunc();
    if (result != ORVA_OK) {
        ORVA_DEADLOOP_LOG("Get Wendo deadloop hook reg func, ret : 0x%x", result);
        return;
    }
    result = orva::as_entry<HookRegistration>(orva::relaxed_load(&g_orvaWendoDeadLoop.entry))(ZEB_HOOK_KIND_DEADLOOP,
                                                                                              &hook);
    if (result == ZEB_HOOK_INVALID_INPUT) {
        ORVA_DEADLOOP_LOG("ORVA RegWendoDeadloop: Input invalid.");
    } else if (result == ZEB_HOOK_TAKEN) {
        // Compat: texts that others parse. "registerd" is spelled so.
        ORVA_DEADLOOP_LOG("ORVA RegWendoDeadloop: Hook registerd by others.");
    }
}

void ORVA_CheckAndRepairDeadloop(void) {
    void *const library = ORVA_GetQarlDeadLoopHandle();
    if (library == nullptr) {
        return;
    }
    void *const entry = find_entry(g_orvaQarlDeadLoop, library, "QARL_CheckAndRepairDeadloop");
    if (entry == nullptr) {
        ORVA_DEADLOOP_LOG_LOADER(ORVA_LOG_GATED_ERROR, "dlsym qarl deadloop check and repaire func return NULL!",
                                 "dlsym qarl deadloop check and repaire func for %s!");
        return;
    }
    const std::uint32_t result = orva::as_entry<CheckAndRepair>(entry)();
    // Compat: texts that others parse. "repaire" is spelled so, and a result of 0 is an error record too: every
    // attempt leaves a trace.
    ORVA_LOG_GATED_ERROR("deadloop check and repaire ret : 0x%x", result);
}

#undef ORVA_DEADLOOP_LOG

#undef ORVA_DEADLOOP_LOG_LOADER
