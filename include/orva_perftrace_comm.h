/*
 * Performance trace: trace points that keep count, minimum, maximum, average and total of a code path's time.
 *
 * The time is the calling thread's CPU time, in nanoseconds: a thread that sleeps between begin and end is not
 * charged for the sleep. A trace point is meant for one thread; nothing locks. All memory is taken at init.
 *
 * Sequence: the caller zeroes its record, calls ORVA_PerfTraceInit, sets `active` to 1, runs begin and end pairs,
 * calls ORVA_PerfTraceUnit and clears `active`.
 */
#ifndef ORVA_PERFTRACE_COMM_H
#define ORVA_PERFTRACE_COMM_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_PERFTRACE_MAX_BYTES 0x100000u /* size limit of the array of trace points: 18724 of them */

#define ORVA_ERR_PERFTRACE_INIT_NULL ORVA_RESULT(0x29u, ORVA_REASON_CHECK)
#define ORVA_ERR_PERFTRACE_INIT_EMPTY ORVA_RESULT(0x30u, ORVA_REASON_OTHER)
#define ORVA_ERR_PERFTRACE_INIT_TOO_LARGE ORVA_RESULT(0x31u, ORVA_REASON_OTHER)
#define ORVA_ERR_PERFTRACE_INIT_MEMORY ORVA_RESULT(0x34u, ORVA_REASON_NULL)
#define ORVA_ERR_PERFTRACE_UNIT_NULL ORVA_RESULT(0x3Eu, ORVA_REASON_CHECK)

/* A trace point. Times in nanoseconds; begin 0/0 means that no begin is pending. */
typedef struct OrvaTracePoint {
    uint32_t reserved;  /* the caller's; zeroed at allocation */
    uint32_t count;     /* samples taken */
    uint32_t beginNsec; /* begin time, low 32 bits each */
    uint32_t beginSec;
    uint32_t endNsec; /* last end time, low 32 bits each */
    uint32_t endSec;
    uint64_t min;
    uint64_t max;
    uint64_t avg; /* total / count, integer division */
    uint64_t total;
} OrvaTracePoint;

/* A trace, owned by the caller. */
typedef struct OrvaTrace {
    uint32_t active;       /* the caller's state word: the library reads it and never writes it */
    uint32_t nodeCount;    /* trace points in the array, 0 when none */
    OrvaTracePoint *nodes; /* from the library's partition */
} OrvaTrace;

/*
 * Allocates and zeroes the trace points.
 * trace: the caller's record, zeroed. nodeCount: 1 to 18724.
 * The array is the library's until ORVA_PerfTraceUnit.
 * Returns ORVA_OK, also without doing anything while `active` is not 0; ORVA_ERR_PERFTRACE_INIT_NULL for a null
 * trace; ORVA_ERR_PERFTRACE_INIT_EMPTY when the array's size, formed in 32 bits, is 0, and
 * ORVA_ERR_PERFTRACE_INIT_TOO_LARGE when it is above ORVA_PERFTRACE_MAX_BYTES, also when the product wraps: both
 * write an error record; ORVA_ERR_PERFTRACE_INIT_MEMORY without a memory handle and when the allocation fails,
 * `nodes` is null then. Not locked.
 */
ORVA_API uint32_t ORVA_PerfTraceInit(OrvaTrace *trace, uint32_t nodeCount);

/*
 * Frees the trace points.
 * trace: the caller's record.
 * Returns ORVA_OK, also without doing anything while `active` is 0; ORVA_ERR_PERFTRACE_UNIT_NULL for a null trace.
 * Not locked.
 */
ORVA_API uint32_t ORVA_PerfTraceUnit(OrvaTrace *trace);

/*
 * A trace point of a trace.
 * trace: the record, or null. index: 0 to nodeCount - 1.
 * Returns the trace point, which stays the trace's; null for a null trace, an index out of range and a null array.
 * Not locked.
 */
ORVA_API OrvaTracePoint *ORVA_PerfTraceGetNode(const OrvaTrace *trace, uint32_t index);

/*
 * Stores the calling thread's CPU time as a trace point's begin time; an invalid trace point is ignored.
 * trace, index: as in ORVA_PerfTraceGetNode.
 * One thread per trace point; not locked.
 */
ORVA_API void ORVA_PerfTraceRecordBegin(OrvaTrace *trace, uint32_t index);

/*
 * Closes the pending measurement of a trace point and adds its sample; ignored without a pending begin and for an
 * invalid trace point.
 * trace, index: as in ORVA_PerfTraceGetNode.
 * Kept: a sample is formed in 32 bits and wraps at 2^32 ns, about 4.29 s. The trace is meant for short paths.
 * One thread per trace point, the one that began; not locked.
 */
ORVA_API void ORVA_PerfTraceRecordEnd(OrvaTrace *trace, uint32_t index);

/*
 * Adds one sample that the caller measured, and forgets a pending begin.
 * node: a trace point, not checked. value: any unit that the caller keeps to.
 * After 2^32 samples count and statistics start again from 0.
 * Not locked.
 */
ORVA_API void ORVA_PerfTraceSetNodeValue(OrvaTracePoint *node, uint64_t value);

ORVA_END_DECLS

#define ORVA_LAYOUT_PERFTRACE_COMM
#include "orva_layout.h"

#endif
