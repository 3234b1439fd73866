/**
 * @file
 * Dead-loop monitor hooks: passes the system-diagnosis agent's monitor entries to the hook registration of the
 * device-management base library, and runs the check-and-repair pass on demand.
 *
 * Both libraries are optional: "libqarl_sysdiag_agent_native.so" and "libzebbase.so" are opened at first use and stay
 * open for the life of the process. A missing library or symbol is logged and the feature is skipped; the next call
 * tries again. Nothing locks: of racing first calls one keeps its handle, the others close theirs.
 */
#ifndef ORVA_DEADLOOP_H
#define ORVA_DEADLOOP_H

#include "deadloop.h"
#include "orva_types.h"

ORVA_BEGIN_DECLS

/** What is known of an optional library; both words null at load. */
typedef struct OrvaDeadLoopRecord {
    void *handle; /**< Handle of the library. */
    void *entry;  /**< Address of its entry. */
} OrvaDeadLoopRecord;

/** The system-diagnosis agent. Every check-and-repair call looks its entry, QARL_CheckAndRepairDeadloop, up again. */
ORVA_API extern OrvaDeadLoopRecord g_orvaQarlDeadLoop;

/** The device-management base library. Its entry is ZEB_DeadLoopUsrHookReg. */
ORVA_API extern OrvaDeadLoopRecord g_orvaWendoDeadLoop;

/**
 * Handle of the system-diagnosis agent, opened on first use. Thread-safe.
 *
 * @return The handle; null, with a record, when the library cannot be opened.
 */
ORVA_API void *ORVA_GetQarlDeadLoopHandle(void);

/**
 * Handle of the device-management base library, opened on first use. Thread-safe.
 *
 * @return The handle; null, with a record, when the library cannot be opened.
 */
ORVA_API void *ORVA_GetWendoDeadLoopHandle(void);

/**
 * Fills a hook record from the system-diagnosis agent. Thread-safe.
 *
 * @param[out] hook The caller's record; its reserved words become null. A failure may leave some of it written.
 * @retval ORVA_OK     The record is filled.
 * @retval ORVA_FAILED The library or one of its two symbols is missing, with a record, or `hook` is null.
 */
ORVA_API uint32_t ORVA_GetQarlDeadLoopHookFunc(OrvaDeadLoopHook *hook);

/**
 * Opens the device-management base library and looks its registration entry up. Thread-safe.
 *
 * Its name says Qarl, although it works on the other library.
 *
 * @retval ORVA_OK     The entry is known.
 * @retval ORVA_FAILED The library or its symbol is missing, with a record.
 */
ORVA_API uint32_t ORVA_GetQarlDeadLoopHookRegFunc(void);

/**
 * Registers the monitor: fills a hook record and passes it to the registration entry. Not thread-safe. Part of
 * start-up, once per process.
 *
 * The outcome is logged, except for success and unknown codes.
 */
ORVA_API void ORVA_RegWendoDeadloop(void);

/**
 * Runs the system-diagnosis agent's check-and-repair pass. Thread-safe. So must be the agent's entry.
 *
 * Its result is logged as an error even when it is 0, so that every attempt leaves a trace.
 */
ORVA_API void ORVA_CheckAndRepairDeadloop(void);

ORVA_END_DECLS

#define ORVA_LAYOUT_DEADLOOP
#include "orva_layout.h"

#endif
