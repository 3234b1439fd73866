/*
 * Stepped clock of the host platform: time that passes only while every process that joined it waits.
 *
 * Link `miro_clock` before every other library (the CMake target `host_clock` comes first), or preload it. Without a
 * started clock it passes every call on to the C library. docs/host_clock.md explains the model and its limits.
 */
#ifndef MIRO_HOST_CLOCK_H
#define MIRO_HOST_CLOCK_H

#include <stdint.h>

#include "miro_host.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Names the file of the clock that a process joins at its start; "new" starts one. */
#define MIRO_HOST_CLOCK_VARIABLE "MIRO_CLOCK"

/* Where the clocks start: 2026-01-01 00:00:00 UTC, and 1000 s after the system's start. */
#define MIRO_HOST_CLOCK_START_SECONDS 1767225600
#define MIRO_HOST_CLOCK_START_UPTIME_SECONDS 1000

typedef struct {
    int64_t startSeconds; /* wall clock at the start, seconds since 1970 UTC; 0: MIRO_HOST_CLOCK_START_SECONDS */
    const char *file;     /* absolute path of the shared file to make; null: a name of its own in /dev/shm */
} MIRO_HOST_CLOCK_CONFIG;

typedef struct {
    uint64_t nowNs;     /* virtual time since the clock's start, nanoseconds */
    uint64_t handovers; /* times that the clock let another thread run */
    uint64_t advances;  /* times that the clock moved on */
    uint32_t processes; /* that are joined now */
    uint32_t threads;   /* that are joined now */
} MIRO_HOST_CLOCK_STATS;

/**
 * Starts a stepped clock and joins it with the calling thread. From here on the time, timers and waits of this
 * process follow it, and so do the processes that this one starts: the call sets MIRO_CLOCK and puts the library into
 * LD_PRELOAD. The file is removed when this process exits.
 *
 * @param config read during the call only; null for the defaults.
 *
 * @retval MIRO_HOST_OK started, or this process has joined a clock already.
 * @retval MIRO_HOST_ERR_SYSTEM the shared file cannot be made; errno says why.
 * @retval MIRO_HOST_ERR_UNSUPPORTED the calls of this program do not come here: the library is linked too late, or a
 *   sanitizer comes before it.
 *
 * Call it before other threads start: those that run already stay outside the clock.
 */
MIRO_HOST_API uint32_t MIRO_HostClockStart(const MIRO_HOST_CLOCK_CONFIG *config);

/** Returns 1 when the calling thread follows a stepped clock, else 0. Any thread. */
MIRO_HOST_API uint32_t MIRO_HostClockIsStepped(void);

/**
 * Lets virtual time pass. All joined threads of all processes run, in an order that is always the same, until each
 * waits for something that happens later; what is due at the last instant is done too.
 *
 * @param milliseconds virtual time to pass; 0 lets everybody finish what is due now.
 *
 * @retval MIRO_HOST_OK the time has passed.
 * @retval MIRO_HOST_ERR_UNSUPPORTED the calling thread does not follow a stepped clock.
 *
 * Any thread.
 */
MIRO_HOST_API uint32_t MIRO_HostClockStep(uint64_t milliseconds);

/**
 * Takes the calling thread out of the clock: its waits and its time are real again, and nobody waits for it. For
 * threads that serve the world outside, such as a web page of a simulation.
 *
 * A descriptor that it writes, or a lock that it releases, is noticed by threads that follow the clock within a few
 * real milliseconds, at a virtual time that nobody can foretell.
 */
MIRO_HOST_API void MIRO_HostClockLeave(void);

/** Takes the calling thread in (again). The same results as MIRO_HostClockStep. */
MIRO_HOST_API uint32_t MIRO_HostClockJoin(void);

/** Returns the machine's own monotonic time in nanoseconds, whatever clock the caller follows. Any thread. */
MIRO_HOST_API uint64_t MIRO_HostClockRealNs(void);

/**
 * Copies the figures of the clock.
 *
 * @param stats not null.
 *
 * @retval MIRO_HOST_OK copied.
 * @retval MIRO_HOST_ERR_ARGUMENT stats is null.
 * @retval MIRO_HOST_ERR_UNSUPPORTED this process has joined no clock.
 *
 * Any thread.
 */
MIRO_HOST_API uint32_t MIRO_HostClockStats(MIRO_HOST_CLOCK_STATS *stats);

#ifdef __cplusplus
}
#endif

#endif
