// A begin and an end of the performance trace against two plain reads of the thread CPU clock.
#include <cstdint>
#include <ctime>

#include "host_partition.h"
#include "orva_perftrace_comm.h"
#include "ratio_report.h"

namespace {

constexpr double kGoal = 1.05;
constexpr std::uint32_t kPoints = 8;
constexpr std::uint32_t kPoint = 3;

OrvaTrace g_trace;

void begin_and_end(std::uint64_t times) {
    for (; times > 0; --times) {
        ORVA_PerfTraceRecordBegin(&g_trace, kPoint);
        ORVA_PerfTraceRecordEnd(&g_trace, kPoint);
    }
}

void two_reads(std::uint64_t times) {
    timespec begin{}, end{};
    for (; times > 0; --times) {
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &begin);
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
        benchmark::DoNotOptimize(begin);
        benchmark::DoNotOptimize(end);
    }
}

// Every pair must have left a sample, or the time says nothing.
bool samples_are_taken() {
    constexpr std::uint64_t kSamples = 3;
    const OrvaTracePoint *const point = ORVA_PerfTraceGetNode(&g_trace, kPoint);
    begin_and_end(kSamples);
    return point != nullptr && point->count == kSamples && point->total > 0;
}

} // namespace

int main(int argc, char **argv) {
    orva_bench::start_partition();
    if (ORVA_PerfTraceInit(&g_trace, kPoints) != ORVA_OK) {
        orva_bench::give_up("ORVA_PerfTraceInit");
    }
    g_trace.active = 1;
    if (!samples_are_taken()) {
        orva_bench::give_up("the check of the trace point");
    }
    orva_bench::RatioReport report;
    report.add("perf trace begin + end", "2 clock reads", begin_and_end, two_reads, orva_bench::Goal::kAtMostTime,
               kGoal);
    const int result = report.run(argc, argv);
    ORVA_PerfTraceUnit(&g_trace);
    return result;
}
