/**
 * @file
 * Performance trace: trace points that keep count, minimum, maximum, average and total of a code path's time.
 *
 * The time is the calling thread's CPU time in nanoseconds: a thread that sleeps between begin and end is not charged
 * for the sleep. A trace point is meant for one thread. All memory is taken at init.
 *
 * Sequence: the caller zeroes its record, calls ORVA_PerfTraceInit, sets `active` to 1, runs begin and end pairs,
 * calls ORVA_PerfTraceUnit and clears `active`.
 */
#ifndef ORVA_PERFTRACE_COMM_H
#define ORVA_PERFTRACE_COMM_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_PERFTRACE_MAX_BYTES 0x100000u /**< Size limit of the array of trace points: 18724 of them. */

#define ORVA_ERR_PERFTRACE_INIT_NULL ORVA_RESULT(0x29u, ORVA_REASON_CHECK)      /**< Null trace at init. */
#define ORVA_ERR_PERFTRACE_INIT_EMPTY ORVA_RESULT(0x30u, ORVA_REASON_OTHER)     /**< No trace points. */
#define ORVA_ERR_PERFTRACE_INIT_TOO_LARGE ORVA_RESULT(0x31u, ORVA_REASON_OTHER) /**< Too many trace points. */
#define ORVA_ERR_PERFTRACE_INIT_MEMORY ORVA_RESULT(0x34u, ORVA_REASON_NULL)     /**< No memory. */
#define ORVA_ERR_PERFTRACE_UNIT_NULL ORVA_RESULT(0x3Eu, ORVA_REASON_CHECK)      /**< Null trace at release. */

/**
 * A trace point. The statistics are in nanoseconds, or in the unit of the values that the caller adds.
 *
 * A begin time of 0 s and 0 ns means that no begin is pending.
 */
typedef struct OrvaTracePoint {
    uint32_t reserved;  /**< The caller's; zeroed at allocation. */
    uint32_t count;     /**< Samples taken. */
    uint32_t beginNsec; /**< Nanosecond part of the begin time. */
    uint32_t beginSec;  /**< Second part of the begin time, low 32 bits. */
    uint32_t endNsec;   /**< Nanosecond part of the last end time. */
    uint32_t endSec;    /**< Second part of the last end time, low 32 bits. */
    uint64_t min;       /**< Smallest sample. */
    uint64_t max;       /**< Largest sample. */
    uint64_t avg;       /**< total / count, integer division. */
    uint64_t total;     /**< Sum of the samples. */
} OrvaTracePoint;

/** A trace, owned by the caller. */
typedef struct OrvaTrace {
    uint32_t active;       /**< The caller's state word: the library reads it and never writes it. */
    uint32_t nodeCount;    /**< Trace points in the array, 0 when none. */
    OrvaTracePoint *nodes; /**< The array, from the library's partition. */
} OrvaTrace;

/**
 * Allocates and zeroes the trace points. Thread-safe for distinct objects.
 *
 * The array is the library's until ORVA_PerfTraceUnit. Its size is computed in 32 bits. Two of the failures write an
 * error record.
 *
 * @param[in,out] trace     The caller's record, zeroed before the first call.
 * @param[in]     nodeCount Number of trace points, 1 to 18724.
 * @retval ORVA_OK                           The array is ready, or `active` is not 0 and nothing was done.
 * @retval ORVA_ERR_PERFTRACE_INIT_NULL      `trace` is null.
 * @retval ORVA_ERR_PERFTRACE_INIT_EMPTY     The size is 0, also because it wrapped to 0; an error record says so.
 * @retval ORVA_ERR_PERFTRACE_INIT_TOO_LARGE `nodeCount` is above 18724 and the size is not 0; an error record says
 *                                           so.
 * @retval ORVA_ERR_PERFTRACE_INIT_MEMORY    There is no memory handle or no memory; `nodes` is null.
 */
ORVA_API uint32_t ORVA_PerfTraceInit(OrvaTrace *trace, uint32_t nodeCount);

/**
 * Frees the trace points. Thread-safe for distinct objects.
 *
 * @param[in,out] trace The caller's record.
 * @retval ORVA_OK                      The array is freed, or `active` is 0 and nothing was done.
 * @retval ORVA_ERR_PERFTRACE_UNIT_NULL `trace` is null.
 */
ORVA_API uint32_t ORVA_PerfTraceUnit(OrvaTrace *trace);

/**
 * Finds a trace point of a trace. Thread-safe for distinct objects.
 *
 * @param[in] trace The record, or null.
 * @param[in] index Number of the trace point, 0 to nodeCount - 1.
 * @return The trace point, which stays the trace's; null for a null trace, an index out of range and a null array.
 */
ORVA_API OrvaTracePoint *ORVA_PerfTraceGetNode(const OrvaTrace *trace, uint32_t index);

/**
 * Stores the calling thread's CPU time as a trace point's begin time. Thread-safe for distinct objects. A trace point
 * belongs to one thread.
 *
 * @param[in,out] trace As for ORVA_PerfTraceGetNode; an invalid trace point is ignored.
 * @param[in]     index As for ORVA_PerfTraceGetNode.
 */
ORVA_API void ORVA_PerfTraceRecordBegin(OrvaTrace *trace, uint32_t index);

/**
 * Closes the pending measurement of a trace point and adds its sample. Thread-safe for distinct objects. Call it on
 * the thread that began.
 *
 * The sample is computed in 32 bits and wraps at 2^32 ns, about 4.29 s: the trace is meant for short paths. Without a
 * pending begin nothing is done.
 *
 * @param[in,out] trace As for ORVA_PerfTraceGetNode; an invalid trace point is ignored.
 * @param[in]     index As for ORVA_PerfTraceGetNode.
 */
ORVA_API void ORVA_PerfTraceRecordEnd(OrvaTrace *trace, uint32_t index);

/**
 * Adds one sample that the caller measured, and drops a pending begin. Thread-safe for distinct objects.
 *
 * After 2^32 samples count and statistics start again from 0.
 *
 * @param[in,out] node  A trace point; not checked for null.
 * @param[in]     value The sample, in any unit that the caller keeps to.
 */
ORVA_API void ORVA_PerfTraceSetNodeValue(OrvaTracePoint *node, uint64_t value);

ORVA_END_DECLS

#define ORVA_LAYOUT_PERFTRACE_COMM
#include "orva_layout.h"

#endif
