/*
 * Sample dead-loop libraries: what the host platform adds to the two entries that a management process uses. All of
 * it is looked up by name.
 *
 * The path of one dead loop: whoever finds a thread that spins calls ZEB_HostReportDeadLoop (libzebbase.so), which
 * passes it through the registered hook to the monitor (libqarl_sysdiag_agent_native.so). The monitor keeps it until
 * the next QARL_CheckAndRepairDeadloop, which gives it to the callback registered with QARL_RegDeadloopMonCallback.
 *
 * Environment, read at each use:
 *   ORVA_HOST_DEADLOOP_LOG  file that both libraries append what happened to; unset or empty: none; the file
 *                           of a library's first line stays its file
 *   ORVA_HOST_ZEB_RESULT    result of ZEB_DeadLoopUsrHookReg; not 0: nothing is registered
 *   ORVA_HOST_QARL_RESULT   result of QARL_CheckAndRepairDeadloop; nothing is checked
 */
#ifndef DEADLOOP_HOST_H
#define DEADLOOP_HOST_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define DEADLOOP_HOST_API __attribute__((visibility("default")))
#else
#define DEADLOOP_HOST_API
#endif

#define QARL_OK 0u
#define QARL_UNREPAIRED 1u /* a reported dead loop was not repaired and stays reported */
#define QARL_TAKEN 1u      /* a callback is registered already */
#define QARL_FULL 2u       /* no room for a further report */
#define QARL_INVALID 22u   /* null callback; null report, or one whose name has no end */
#define ZEB_NO_HOOK 1u     /* no hook is registered, or it is none of this version */

#define QARL_MAX_REPORTS 64u
#define QARL_OPERS_VERSION 1u

/* One thread that spins. */
typedef struct {
    uint32_t taskId;
    uint32_t spinningMs;
    char taskName[16]; /* zero-terminated */
} QarlDeadLoop;

/* Repairs one dead loop; 0 when it did. Called without a lock held, on the thread that asked for the pass. */
typedef uint32_t (*QarlDeadLoopCallback)(const QarlDeadLoop *deadLoop);

/* The monitor's operations. */
typedef struct {
    uint32_t version; /* QARL_OPERS_VERSION */
    uint32_t size;    /* of this record */
    /* Takes a report: QARL_OK, QARL_INVALID or QARL_FULL. Any thread. */
    uint32_t (*report)(const QarlDeadLoop *deadLoop);
    /* The number of reports that wait for a pass. Any thread. */
    uint32_t (*pending)(void);
} QarlDmOperations;

DEADLOOP_HOST_API extern const QarlDmOperations QARL_DmOpers;

/*
 * Registers who repairs dead loops. QARL_OK: registered. QARL_TAKEN: another callback is. QARL_INVALID: null.
 * Any thread.
 */
DEADLOOP_HOST_API uint32_t QARL_RegDeadloopMonCallback(QarlDeadLoopCallback callback);

/*
 * Passes one dead loop to the registered hook's monitor.
 *
 * ZEB_NO_HOOK: there is none. Otherwise the result of the monitor's report operation. Any thread.
 */
DEADLOOP_HOST_API uint32_t ZEB_HostReportDeadLoop(const QarlDeadLoop *deadLoop);

#ifdef __cplusplus
}
#endif

#endif
