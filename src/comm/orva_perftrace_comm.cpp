// Performance trace: statistics over the thread CPU clock. Begin and end sit on hot paths, so they read the clock and
// store; they neither allocate nor log.

#include "orva_perftrace_comm.h"

#include <ctime>

#include "log_record.h"
#include "partition_memory.h"

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_perftrace_comm");
constexpr std::uint32_t kNanosecondsPerSecond = 1'000'000'000;

struct ThreadTime {
    std::uint32_t sec, nsec;
};

ThreadTime thread_time() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return {static_cast<std::uint32_t>(now.tv_sec), static_cast<std::uint32_t>(now.tv_nsec)};
}

inline OrvaTracePoint *point_of(const OrvaTrace *trace, std::uint32_t index) {
    if (trace == nullptr || index >= trace->nodeCount || trace->nodes == nullptr) {
        return nullptr;
    }
    return trace->nodes + index;
}

inline void add_sample(OrvaTracePoint &point, std::uint64_t sample) {
    if (sample < point.min || point.count == 0) {
        point.min = sample;
    }
    if (sample > point.max) {
        point.max = sample;
    }
    point.beginNsec = 0;
    point.beginSec = 0;
    point.total += sample;
    ++point.count;
    if (point.count == 0) {
        point.min = 0;
        point.max = 0;
        point.avg = 0;
        point.total = 0;
    } else {
        point.avg = point.total / point.count;
    }
}

} // namespace

uint32_t ORVA_PerfTraceInit(OrvaTrace *trace, uint32_t nodeCount) {
    if (trace == nullptr) {
        return ORVA_ERR_PERFTRACE_INIT_NULL;
    }
    if (trace->active != 0) {
        return ORVA_OK;
    }
    const std::uint32_t size = nodeCount * static_cast<std::uint32_t>(sizeof(OrvaTracePoint));
    if (size == 0) {
        orva::log_check_true_error();
        return ORVA_ERR_PERFTRACE_INIT_EMPTY;
    }
    // A product that wraps around is too large too, although its low word is in range.
    if (nodeCount > ORVA_PERFTRACE_MAX_BYTES / sizeof(OrvaTracePoint)) {
        orva::log_check_true_error();
        return ORVA_ERR_PERFTRACE_INIT_TOO_LARGE;
    }
    trace->nodes = static_cast<OrvaTracePoint *>(orva::partition_allocate(kArea, size));
    if (trace->nodes == nullptr) {
        return ORVA_ERR_PERFTRACE_INIT_MEMORY;
    }
    trace->nodeCount = nodeCount;
    return ORVA_OK;
}

uint32_t ORVA_PerfTraceUnit(OrvaTrace *trace) {
    if (trace == nullptr) {
        return ORVA_ERR_PERFTRACE_UNIT_NULL;
    }
    if (trace->active == 0) {
        return ORVA_OK;
    }
    if (trace->nodes != nullptr) {
        orva::partition_free(kArea, trace->nodes);
    }
    trace->nodes = nullptr;
    trace->nodeCount = 0;
    return ORVA_OK;
}

OrvaTracePoint *ORVA_PerfTraceGetNode(const OrvaTrace *trace, uint32_t index) {
    return point_of(trace, index);
}

void ORVA_PerfTraceRecordBegin(OrvaTrace *trace, uint32_t index) {
    OrvaTracePoint *const point = point_of(trace, index);
    if (point == nullptr) {
        return;
    }
    const ThreadTime now = thread_time();
    point->beginNsec = now.nsec;
    point->beginSec = now.sec;
}

void ORVA_PerfTraceRecordEnd(OrvaTrace *trace, uint32_t index) {
    OrvaTracePoint *const point = point_of(trace, index);
    if (point == nullptr || (point->beginSec == 0 && point->beginNsec == 0)) {
        return;
    }
    const ThreadTime now = thread_time();
    point->endNsec = now.nsec;
    point->endSec = now.sec;
    // Compat: bytes in memory. A sample is computed in 32 bits and wraps at about 4.29 s.
    const std::uint32_t sample =
        (point->endSec - point->beginSec) * kNanosecondsPerSecond + (point->endNsec - point->beginNsec);
    add_sample(*point, sample);
}

void ORVA_PerfTraceSetNodeValue(OrvaTracePoint *node, uint64_t value) {
    add_sample(*node, value);
}
