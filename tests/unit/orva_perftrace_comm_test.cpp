#include "orva_perftrace_comm.h"

#include <cerrno>
#include <ctime>

#include "orva_comm.h"
#include "platform_double.h"

namespace {

using namespace orva_test;

class PerfTrace : public PlatformTest {
protected:
    void TearDown() override {
        trace_.active = 1;
        EXPECT_EQ(ORVA_PerfTraceUnit(&trace_), 0u);
        PlatformTest::TearDown();
    }

    void start(std::uint32_t points) {
        ASSERT_EQ(ORVA_PerfTraceInit(&trace_, points), 0u);
        trace_.active = 1;
    }

    // What the thread CPU clock says from now on.
    static void set_clock(time_t seconds, long nanoseconds) {
        libc().clock_gettime = [=](clockid_t clock, timespec *time) {
            EXPECT_EQ(clock, CLOCK_THREAD_CPUTIME_ID);
            time->tv_sec = seconds;
            time->tv_nsec = nanoseconds;
            return 0;
        };
    }

    static void expect_statistics(const OrvaTracePoint &point, std::uint32_t count, std::uint64_t min,
                                  std::uint64_t max, std::uint64_t avg, std::uint64_t total) {
        EXPECT_EQ(point.count, count);
        EXPECT_EQ(point.min, min);
        EXPECT_EQ(point.max, max);
        EXPECT_EQ(point.avg, avg);
        EXPECT_EQ(point.total, total);
    }

    OrvaTrace trace_{};
};

TEST_F(PerfTrace, Init_ZeroesTheArrayAndStoresTheCount) {
    start(3);
    EXPECT_EQ(trace_.nodeCount, 3u);
    ASSERT_EQ(platform().allocations.size(), 1u);
    EXPECT_EQ(platform().allocations[0].size, 3u * 56);
    EXPECT_EQ(platform().allocations[0].file, "src/comm/orva_perftrace_comm");
    for (std::uint32_t i = 0; i < 3; ++i) {
        expect_statistics(trace_.nodes[i], 0, 0, 0, 0, 0);
        EXPECT_EQ(trace_.nodes[i].reserved, 0u);
    }
    EXPECT_EQ(ORVA_PerfTraceInit(&trace_, 9), 0u) << "while active";
    EXPECT_EQ(trace_.nodeCount, 3u);
    EXPECT_EQ(platform().allocations.size(), 1u);
}

TEST_F(PerfTrace, Init_RefusesSizesWithTheirCodes) {
    struct Case {
        const char *name;
        std::uint32_t count, code;
    };
    constexpr Case kCases[] = {
        {"none", 0, ORVA_ERR_PERFTRACE_INIT_EMPTY},
        {"the product wraps to 0", 0x20000000, ORVA_ERR_PERFTRACE_INIT_EMPTY},
        {"one too many", 18725, ORVA_ERR_PERFTRACE_INIT_TOO_LARGE},
        {"the product wraps into range", 0x20000001, ORVA_ERR_PERFTRACE_INIT_TOO_LARGE},
        {"the largest count", 0xFFFFFFFF, ORVA_ERR_PERFTRACE_INIT_TOO_LARGE},
    };
    for (const Case &row : kCases) {
        EXPECT_EQ(ORVA_PerfTraceInit(&trace_, row.count), row.code) << row.name;
        const auto logs = take_logs();
        ASSERT_EQ(logs.size(), 1u) << row.name;
        EXPECT_EQ(logs[0].rfind("WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]check true return error, l=", 0),
                  0u)
            << logs[0];
        EXPECT_EQ(trace_.nodes, nullptr);
        EXPECT_EQ(trace_.nodeCount, 0u);
    }
    EXPECT_EQ(ORVA_PerfTraceInit(nullptr, 1), ORVA_ERR_PERFTRACE_INIT_NULL);
    EXPECT_TRUE(take_logs().empty());
    EXPECT_TRUE(platform().allocations.empty());
}

TEST_F(PerfTrace, Init_TakesTheLargestArray) {
    start(18724);
    EXPECT_EQ(platform().allocations[0].size, 18724u * 56);
}

TEST_F(PerfTrace, Init_LeavesNoArrayWithoutMemory) {
    OrvaTracePoint stale{};
    trace_.nodes = &stale;
    fail("MIRO_MemAlloc_F", 1, 0);
    EXPECT_EQ(ORVA_PerfTraceInit(&trace_, 2), ORVA_ERR_PERFTRACE_INIT_MEMORY);
    EXPECT_EQ(trace_.nodes, nullptr);
    EXPECT_EQ(trace_.nodeCount, 0u);
    trace_.nodes = &stale;
    ORVA_SetMemHandle(0);
    EXPECT_EQ(ORVA_PerfTraceInit(&trace_, 2), ORVA_ERR_PERFTRACE_INIT_MEMORY);
    EXPECT_EQ(trace_.nodes, nullptr);
    EXPECT_TRUE(take_logs().empty());
    ORVA_SetMemHandle(0x1234);
}

TEST_F(PerfTrace, Unit_ReleasesOnlyWhileActive) {
    EXPECT_EQ(ORVA_PerfTraceUnit(nullptr), ORVA_ERR_PERFTRACE_UNIT_NULL);
    ASSERT_EQ(ORVA_PerfTraceInit(&trace_, 2), 0u);
    EXPECT_EQ(ORVA_PerfTraceUnit(&trace_), 0u);
    EXPECT_NE(trace_.nodes, nullptr) << "not active yet";
    trace_.active = 1;
    EXPECT_EQ(ORVA_PerfTraceUnit(&trace_), 0u);
    EXPECT_EQ(trace_.nodes, nullptr);
    EXPECT_EQ(trace_.nodeCount, 0u);
    EXPECT_EQ(trace_.active, 1u) << "the word is the caller's";
    EXPECT_EQ(live_blocks(), 0u);
    EXPECT_EQ(ORVA_PerfTraceUnit(&trace_), 0u) << "nothing left to free";
}

TEST_F(PerfTrace, GetNode_ChecksTraceIndexAndArray) {
    start(2);
    EXPECT_EQ(ORVA_PerfTraceGetNode(&trace_, 0), trace_.nodes);
    EXPECT_EQ(ORVA_PerfTraceGetNode(&trace_, 1), trace_.nodes + 1);
    EXPECT_EQ(ORVA_PerfTraceGetNode(&trace_, 2), nullptr);
    EXPECT_EQ(ORVA_PerfTraceGetNode(nullptr, 0), nullptr);
    const OrvaTrace noArray{1, 5, nullptr};
    EXPECT_EQ(ORVA_PerfTraceGetNode(&noArray, 0), nullptr);
}

TEST_F(PerfTrace, BeginAndEnd_MeasureTheThreadCpuClock) {
    start(1);
    OrvaTracePoint &point = trace_.nodes[0];
    set_clock(5, 999'999'900);
    ORVA_PerfTraceRecordBegin(&trace_, 0);
    EXPECT_EQ(point.beginSec, 5u);
    EXPECT_EQ(point.beginNsec, 999'999'900u);
    EXPECT_EQ(point.count, 0u);
    set_clock(6, 400);
    ORVA_PerfTraceRecordEnd(&trace_, 0);
    EXPECT_EQ(point.endSec, 6u);
    EXPECT_EQ(point.endNsec, 400u);
    EXPECT_EQ(point.beginSec, 0u);
    EXPECT_EQ(point.beginNsec, 0u);
    expect_statistics(point, 1, 500, 500, 500, 500);
    set_clock(6, 1000);
    ORVA_PerfTraceRecordBegin(&trace_, 0);
    set_clock(6, 1100);
    ORVA_PerfTraceRecordEnd(&trace_, 0);
    expect_statistics(point, 2, 100, 500, 300, 600);
}

TEST_F(PerfTrace, End_KeepsTheLow32BitsOfALongSample) {
    start(1);
    set_clock(1, 0);
    ORVA_PerfTraceRecordBegin(&trace_, 0);
    set_clock(6, 0); // 5,000,000,000 ns
    ORVA_PerfTraceRecordEnd(&trace_, 0);
    const std::uint64_t wrapped = 5'000'000'000 - 4'294'967'296;
    expect_statistics(trace_.nodes[0], 1, wrapped, wrapped, wrapped, wrapped);
}

TEST_F(PerfTrace, End_WithoutABeginChangesNothing) {
    start(1);
    set_clock(6, 1);
    ORVA_PerfTraceRecordEnd(&trace_, 0);
    expect_statistics(trace_.nodes[0], 0, 0, 0, 0, 0);
    EXPECT_EQ(trace_.nodes[0].endSec, 0u);
    EXPECT_EQ(calls_of("clock_gettime"), 0u);
    ORVA_PerfTraceRecordBegin(&trace_, 0);
    ORVA_PerfTraceRecordEnd(&trace_, 0);
    ORVA_PerfTraceRecordEnd(&trace_, 0);
    EXPECT_EQ(trace_.nodes[0].count, 1u);
}

TEST_F(PerfTrace, Begin_WithAFailedClockBeginsNothing) {
    start(1);
    fail("clock_gettime", 1, -1, EINVAL);
    ORVA_PerfTraceRecordBegin(&trace_, 0);
    ORVA_PerfTraceRecordEnd(&trace_, 0);
    EXPECT_EQ(calls_of("clock_gettime"), 1u);
    expect_statistics(trace_.nodes[0], 0, 0, 0, 0, 0);
}

TEST_F(PerfTrace, BeginAndEnd_IgnoreInvalidPoints) {
    start(1);
    set_clock(6, 1);
    ORVA_PerfTraceRecordBegin(&trace_, 1);
    ORVA_PerfTraceRecordEnd(&trace_, 1);
    ORVA_PerfTraceRecordBegin(nullptr, 0);
    ORVA_PerfTraceRecordEnd(nullptr, 0);
    EXPECT_EQ(calls_of("clock_gettime"), 0u);
}

TEST_F(PerfTrace, SetNodeValue_AddsSamplesOf64Bits) {
    OrvaTracePoint point{};
    point.beginSec = 3;
    point.beginNsec = 4;
    ORVA_PerfTraceSetNodeValue(&point, 500);
    expect_statistics(point, 1, 500, 500, 500, 500);
    EXPECT_EQ(point.beginSec, 0u);
    EXPECT_EQ(point.beginNsec, 0u);
    ORVA_PerfTraceSetNodeValue(&point, 100);
    expect_statistics(point, 2, 100, 500, 300, 600);
    ORVA_PerfTraceSetNodeValue(&point, 0x200000000);
    expect_statistics(point, 3, 100, 0x200000000, (0x200000000 + 600) / 3, 0x200000000 + 600);
}

TEST_F(PerfTrace, SetNodeValue_StartsAgainAfterTheLastCount) {
    OrvaTracePoint point{};
    point.count = 0xFFFFFFFF;
    point.min = 1;
    point.max = 9;
    point.avg = 4;
    point.total = 77;
    ORVA_PerfTraceSetNodeValue(&point, 5);
    expect_statistics(point, 0, 0, 0, 0, 0);
    ORVA_PerfTraceSetNodeValue(&point, 5);
    expect_statistics(point, 1, 5, 5, 5, 5);
}

TEST_F(PerfTrace, Begin_ReadsARealClockThatGrows) {
    start(1);
    for (int i = 0; i < 1000; ++i) {
        ORVA_PerfTraceRecordBegin(&trace_, 0);
        ORVA_PerfTraceRecordEnd(&trace_, 0);
    }
    const OrvaTracePoint &point = trace_.nodes[0];
    EXPECT_EQ(point.count, 1000u);
    EXPECT_LE(point.min, point.avg);
    EXPECT_LE(point.avg, point.max);
    EXPECT_EQ(point.avg, point.total / 1000);
}

} // namespace
