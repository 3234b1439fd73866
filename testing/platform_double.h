// A recording double of everything that the library imports, with fault injection (call_control.h) and a scriptable
// board. Unit tests derive from PlatformTest: every test starts from a reset double with a memory handle and a
// partition set, and ends with a check that nothing leaked.
//
// Records are kept as lines, integers always in hex, so that a test compares sink, module, level and text whole:
//   WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]strcpy error, f=orva_comm, l=120, ret=34
//   PLog(0x3, orva, 0x800, 0x2) Failed to query self board id.
//   DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: 1/3]text
//   SecurityEventLog(...) and LifeCycleLog(...) like DLog, DebugSink(0x0, 0xce40001, NULL, 0xce4bc006) text
// Other calls are kept by name and arguments, e.g. MIRO_MemPtCreateEx("orvaCommonPt", "HIM", 0, 0, 0x80000).
#ifndef ORVA_PLATFORM_DOUBLE_H
#define ORVA_PLATFORM_DOUBLE_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#if __has_include(<gtest/gtest.h>)
#include <gtest/gtest.h>
#endif

#include "call_control.h"
#include "libc_double.h"
#include "miro.h"

namespace orva_test {

struct Allocation {
    std::size_t size;
    std::string file;
    std::uint32_t line;
};

struct Platform {
    // What was recorded.
    std::vector<std::string> logs;    // records of all log sinks, in order
    std::vector<std::string> formats; // the format of each of them
    std::vector<std::string> calls;   // other recorded calls, in order
    std::vector<Allocation> allocations;
    std::vector<Allocation> frees;    // size of the block, file and line of the free
    std::vector<std::string> written; // what write_s wrote to descriptors in `fakeFds`

    // What the platform answers.
    std::map<std::string, std::string> environment; // drv_env_get; a missing key fails with 1
    std::optional<std::uint32_t> slot;              // drv_board_get_self_logic_slotid; none fails with slotCode
    std::uint32_t slotCode = 1;
    std::optional<std::uint32_t> slotBesideCode; // stored although the query fails
    std::optional<std::uint32_t> boardType;      // drv_board_get_type; none fails with 1
    std::optional<std::uint32_t> backplaneType;  // drv_backplane_get_type; none fails with 1
    std::optional<std::string> elabel;           // drv_elabel_read; none fails with 1
    MIRO_SYSTIME sysTime{};
    MIRO_ZONETIME localTime{}, gmtTime{};
    std::uint8_t nextPartition = 7; // number that MIRO_MemPtCreateEx hands out
    std::uint32_t nextTaskId = 0x51;
    std::uint32_t writeLogResult = 0x77, plogResult = 0x66, dlogResult = 0, securityResult = 0, lifeCycleResult = 0;
    std::map<int, std::string> fakeFds;      // descriptors that read_s serves from a text; close_s accepts
    MIRO_TASK_ENTRY lastTaskEntry = nullptr; // of MIRO_TaskCreate, which starts nothing
    void *lastTaskArgument = nullptr;
    MIRO_TIMER_CALLBACK lastTimerCallback = nullptr;
    // Called in place of the default answer when set (after recording and faults).
    std::function<ssize_t(int, void *, std::size_t)> onRead;
    std::function<std::uint32_t(const char *, char *, std::uint32_t)> onEnvGet;
    std::function<void *(MIRO_AVL_TREE *, MIRO_AVL_NODE *)> onAvlInsert;
    std::function<void()> onLog; // called after a record was kept, without a lock of the double
    std::function<void(MIRO_SYSTIME *)> onSystime;
};

Platform &platform();

std::size_t live_blocks();            // allocated and not freed
std::string live_report();            // where they were allocated
std::vector<std::string> take_logs(); // the records so far, which are then forgotten

// A fresh platform: nothing recorded, no fault, default answers, memory handle 0x1234 and partition 9 in the library.
void reset_platform();

// Runs `body` with the 1st, 2nd, 3rd ... allocation failing until a run in which no allocation failed; `check` sees
// after each failing run which allocation (1, 2, ...) failed. Returns the number of failing runs.
unsigned walk_allocation_failures(const std::function<void()> &body, const std::function<void(unsigned)> &check);

#if __has_include(<gtest/gtest.h>)
// The fixture for GoogleTest: every test starts from a fresh platform and ends with a check that nothing leaked.
class PlatformTest : public ::testing::Test {
protected:
    void SetUp() override {
        set_failure_handler([](const char *text) { ADD_FAILURE() << text; });
        reset_platform();
    }
    void TearDown() override {
        reset_calls();
        EXPECT_EQ(live_blocks(), expectedLive_) << live_report();
    }
    // For tests of what lives until the process ends (mutexes, nodes).
    void expect_live_blocks(std::size_t count) {
        expectedLive_ = count;
    }

private:
    std::size_t expectedLive_ = 0;
};
#endif

} // namespace orva_test

#endif
