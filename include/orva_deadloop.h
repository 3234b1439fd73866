/*
 * Dead-loop monitor hooks: hands the system-diagnosis agent's monitor entries to the device-management base library's
 * hook registration, and runs the check-and-repair pass on demand.
 *
 * Both libraries are optional: "libqarl_sysdiag_agent_native.so" and "libzebbase.so" are opened at first use and stay
 * open for the life of the process; a missing library or symbol is logged, the feature is skipped, and the next call
 * tries again. Nothing locks: two threads that race on a first call each open the library, which the loader counts.
 */
#ifndef ORVA_DEADLOOP_H
#define ORVA_DEADLOOP_H

#include "deadloop.h"
#include "orva_types.h"

ORVA_BEGIN_DECLS

/* What is known of an optional library; both words null at load. */
typedef struct OrvaDeadLoopRecord {
    void *handle; /* of the library */
    void *entry;  /* address of its entry */
} OrvaDeadLoopRecord;

/* The system-diagnosis agent; entry is QARL_CheckAndRepairDeadloop, looked up anew by every check-and-repair call. */
ORVA_API extern OrvaDeadLoopRecord g_orvaQarlDeadLoop;

/* The device-management base library; entry is ZEB_DeadLoopUsrHookReg. */
ORVA_API extern OrvaDeadLoopRecord g_orvaWendoDeadLoop;

/*
 * The handle of the system-diagnosis agent, which is opened on first use.
 * Returns the handle, or null, with a record, when the library cannot be opened.
 * Thread-safe but for a reference too many in a race.
 */
ORVA_API void *ORVA_GetQarlDeadLoopHandle(void);

/*
 * The handle of the device-management base library, which is opened on first use.
 * Returns the handle, or null, with a record, when the library cannot be opened.
 * Thread-safe but for a reference too many in a race.
 */
ORVA_API void *ORVA_GetWendoDeadLoopHandle(void);

/*
 * Fills a hook record from the system-diagnosis agent.
 * hook: out, the caller's. Its reserved words become null.
 * Returns ORVA_OK; ORVA_FAILED, with a record, without the library or one of its two symbols, and for a null hook.
 * Thread-safe but for a reference too many in a race.
 */
ORVA_API uint32_t ORVA_GetQarlDeadLoopHookFunc(OrvaDeadLoopHook *hook);

/*
 * Makes sure that the device-management base library is open and its registration entry known.
 * Kept: the name says Qarl although the function works on the other library.
 * Returns ORVA_OK; ORVA_FAILED, with a record, without the library or its symbol.
 * Thread-safe but for a reference too many in a race.
 */
ORVA_API uint32_t ORVA_GetQarlDeadLoopHookRegFunc(void);

/*
 * Registers the monitor: fills a hook record and hands it to the registration entry. The outcome is logged, but for
 * a success and unknown codes.
 * Meant to run once, from the thread that starts the process.
 */
ORVA_API void ORVA_RegWendoDeadloop(void);

/*
 * Runs the system-diagnosis agent's check-and-repair pass.
 * Kept: its result is logged as an error even when it is 0, so that every attempt leaves a trace.
 * Thread-safe as far as the agent is.
 */
ORVA_API void ORVA_CheckAndRepairDeadloop(void);

ORVA_END_DECLS

#define ORVA_LAYOUT_DEADLOOP
#include "orva_layout.h"

#endif
