/*
 * Host OS layer: start-up, result codes, accounting, and what else a process on the host platform may ask of it.
 * Exists on the host platform only.
 */
#ifndef MIRO_HOST_H
#define MIRO_HOST_H

#include <stddef.h>
#include <stdint.h>

#include "miro.h"

#ifdef __cplusplus
extern "C" {
#define MIRO_HOST_ASSERT static_assert
#else
#define MIRO_HOST_ASSERT _Static_assert
#endif

#if defined(__GNUC__)
#define MIRO_HOST_API __attribute__((visibility("default")))
#else
#define MIRO_HOST_API
#endif

/* ---- Result codes of every host function, also those that miro.h declares --------------------------------- */

#define MIRO_HOST_OK 0u
#define MIRO_HOST_ERR_ARGUMENT 1u           /* a null pointer or a value out of range */
#define MIRO_HOST_ERR_NO_MEMORY 2u          /* the host has no memory */
#define MIRO_HOST_ERR_NO_PARTITION 3u       /* no partition has that number */
#define MIRO_HOST_ERR_PARTITIONS_USED_UP 4u /* all 255 partition numbers are in use */
#define MIRO_HOST_ERR_UNKNOWN_BLOCK 5u      /* no live block starts at that address */
#define MIRO_HOST_ERR_SYSTEM 6u             /* the kernel refused; errno says why */
#define MIRO_HOST_ERR_UNSUPPORTED 7u        /* a feature that the host does not have */
#define MIRO_HOST_ERR_NO_TIMER 8u           /* no running timer has that identifier */
#define MIRO_HOST_ERR_ARCHIVE 9u            /* not a zip archive, damaged, or encrypted */
#define MIRO_HOST_ERR_ENTRY_REFUSED 10u     /* an entry of the archive would leave the destination */
#define MIRO_HOST_ERR_WRITE 11u             /* an entry cannot be written */
#define MIRO_HOST_ERR_LIMIT 12u             /* an archive is beyond a limit of MIRO_HOST_CONFIG */

/* ---- Start ---------------------------------------------------------------------------------------------------- */

typedef struct {
    uint32_t leakReportAtExit; /* not 0: a leak report on standard error when the process exits */
    uint32_t deadLoopLimitMs;  /* longest time in one dead-loop bracket; 0: as it is, at first 5000 ms */
    /* What MIRO_Unzip takes from one archive. 0: as it is, at first the default. */
    uint64_t unzipMaxBytes;   /* sum of what is unpacked, bytes; MIRO_HOST_UNZIP_BYTES */
    uint32_t unzipMaxEntries; /* files, folders and links; MIRO_HOST_UNZIP_ENTRIES */
    uint32_t unzipMaxRatio;   /* unpacked bytes per byte of the archive, from 1 MiB on; MIRO_HOST_UNZIP_RATIO */
    uint32_t unzipMaxDepth;   /* parts of a name; MIRO_HOST_UNZIP_DEPTH */
} MIRO_HOST_CONFIG;

#define MIRO_HOST_UNZIP_BYTES (256ull * 1024u * 1024u)
#define MIRO_HOST_UNZIP_ENTRIES 10000u
#define MIRO_HOST_UNZIP_RATIO 200u
#define MIRO_HOST_UNZIP_DEPTH 32u

/*
 * Starts the OS layer for this process and stores the memory handle that allocations pass. Nothing needs to be
 * stopped, and a second call only changes the settings: the handle stays the same.
 *
 * config: read during the call only; null keeps the settings as they are.
 * memHandle: receives the handle, never 0; not null.
 *
 * MIRO_HOST_OK: started.
 * MIRO_HOST_ERR_ARGUMENT: memHandle is null; nothing changed.
 *
 * Any thread. The environment variable MIRO_LEAK_REPORT asks for the leak report at exit without a call: 1 for
 * standard error, else the name of a file that the report is appended to; unset, empty or 0 asks for nothing.
 */
MIRO_HOST_API uint32_t MIRO_HostStart(const MIRO_HOST_CONFIG *config, uint32_t *memHandle);

/* Receives one line of text without a line end; control characters are escaped. The text lives during the call. */
typedef void (*MIRO_HOST_REPORTER)(const char *line, void *context);

/*
 * Sets who hears of refused frees, misused trees, dead loops and archives that were not unpacked.
 *
 * reporter: called with no lock held on the thread that met the problem, or on the monitor's thread for dead loops;
 *   null gives the line to standard error again. It must stay callable for a call that is under way.
 * context: passed to the reporter unchanged.
 *
 * Any thread.
 */
MIRO_HOST_API void MIRO_HostSetReporter(MIRO_HOST_REPORTER reporter, void *context);

/* ---- Memory accounting ---------------------------------------------------------------------------------------- */

typedef struct {
    char name[32];              /* zero-terminated, at most 31 characters */
    char owner[32];             /* zero-terminated, at most 31 characters */
    uint64_t sizeBytes;         /* size the partition was made with */
    uint32_t grows;             /* 1 when automatic growth is on */
    uint32_t growthLimitBytes;  /* growth beyond the size in bytes, 0: no limit */
    uint32_t debugOption;       /* 0 to 3; 3 keeps the accounting per call site */
    uint32_t reserved;          /* 0 */
    uint64_t liveBytes;         /* bytes asked for and not freed yet */
    uint64_t peakBytes;         /* highest liveBytes ever */
    uint64_t liveBlocks;        /* blocks not freed yet */
    uint64_t totalBlocks;       /* blocks ever allocated */
    uint64_t failedAllocations; /* allocations refused: beyond the limit, or the host had no memory */
} MIRO_HOST_MEM_STATS;

/*
 * Copies the accounting of one partition.
 *
 * partition: 1 to 255. stats: not null.
 *
 * MIRO_HOST_OK: copied.
 * MIRO_HOST_ERR_ARGUMENT: stats is null.
 * MIRO_HOST_ERR_NO_PARTITION: no partition has that number; stats is as it was.
 *
 * Any thread.
 */
MIRO_HOST_API uint32_t MIRO_HostMemStats(uint8_t partition, MIRO_HOST_MEM_STATS *stats);

typedef struct {
    const char *file; /* call site as the allocation passed it; null sums what was allocated without debug option 3 */
    uint32_t line;
    uint8_t partition;
    uint64_t liveBytes;
    uint64_t peakBytes;
    uint64_t liveBlocks;
    uint64_t totalBlocks;
} MIRO_HOST_MEM_SITE;

/* Receives one call site; the record and its text live during the call. */
typedef void (*MIRO_HOST_MEM_VISITOR)(const MIRO_HOST_MEM_SITE *site, void *context);

/*
 * Visits every call site that ever allocated, by partition, file and line.
 *
 * partition: 1 to 255, or 0 for all.
 * visitor: called with no lock held, on a copy made at one moment; not null.
 * context: passed to the visitor unchanged.
 *
 * MIRO_HOST_OK: every site was visited.
 * MIRO_HOST_ERR_ARGUMENT: visitor is null.
 * MIRO_HOST_ERR_NO_PARTITION: no partition has that number.
 * MIRO_HOST_ERR_NO_MEMORY: there is no memory for the copy; nothing was visited.
 *
 * Any thread.
 */
MIRO_HOST_API uint32_t MIRO_HostMemWalk(uint8_t partition, MIRO_HOST_MEM_VISITOR visitor, void *context);

/*
 * Reports every call site with live blocks, the largest first, and then the sum: one line each. Blocks that the
 * library keeps for the life of the process, those of its diagnostic manager, are left out, and a last line says how
 * many.
 *
 * sink: receives the lines; null writes them to standard error.
 * context: passed to the sink unchanged.
 *
 * Returns the number of live blocks in all partitions that were reported. Any thread.
 */
MIRO_HOST_API uint64_t MIRO_HostLeakReport(MIRO_HOST_REPORTER sink, void *context);

/* ---- Time ----------------------------------------------------------------------------------------------------- */

/* What the host keeps in the 12 bytes of a MIRO_ZONETIME, in host byte order. */
typedef struct {
    uint16_t year;
    uint8_t month, day, hour, minute, second;
    uint8_t daylightSaving; /* 1 while daylight saving time is in force, else 0 */
    int16_t offsetMinutes;  /* minutes east of Greenwich, 0 in Greenwich mean time */
    uint16_t milliseconds;  /* 0 to 999 */
} MIRO_HOST_ZONETIME;

MIRO_HOST_ASSERT(sizeof(MIRO_HOST_ZONETIME) == sizeof(MIRO_ZONETIME), "copied into the opaque record");
MIRO_HOST_ASSERT(offsetof(MIRO_HOST_ZONETIME, month) == 2, "fixed layout");
MIRO_HOST_ASSERT(offsetof(MIRO_HOST_ZONETIME, second) == 6, "fixed layout");
MIRO_HOST_ASSERT(offsetof(MIRO_HOST_ZONETIME, daylightSaving) == 7, "fixed layout");
MIRO_HOST_ASSERT(offsetof(MIRO_HOST_ZONETIME, offsetMinutes) == 8, "fixed layout");
MIRO_HOST_ASSERT(offsetof(MIRO_HOST_ZONETIME, milliseconds) == 10, "fixed layout");

/* ---- Timers -----------------------------------------------------------------------------------------------------
 */

/*
 * Stops a timer. When the call returns, its callback is not running and will not run again, unless the call came
 * from that callback itself.
 *
 * timer: identifier that MIRO_ReltmrCbkStart stored.
 *
 * MIRO_HOST_OK: stopped.
 * MIRO_HOST_ERR_NO_TIMER: no such timer, or a one-shot timer that has fired; a callback under way has ended.
 *
 * Any thread, also from callbacks.
 */
MIRO_HOST_API uint32_t MIRO_HostTimerStop(MIRO_TIMER_ID timer);

/* ---- Dead loops -------------------------------------------------------------------------------------------------
 */

#define MIRO_HOST_DEAD_LOOP_LIMIT_MS 5000u /* limit at start */

/*
 * Sets how long a thread may stay in one dead-loop bracket before it is reported, once per bracket.
 *
 * limitMs: milliseconds; 0 switches the watch off.
 *
 * Any thread; in force within a second.
 */
MIRO_HOST_API void MIRO_HostSetDeadLoopLimit(uint32_t limitMs);

#ifdef __cplusplus
}
#endif

#undef MIRO_HOST_ASSERT

#endif
