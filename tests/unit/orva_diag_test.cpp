#include "orva_diag.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <functional>
#include <semaphore.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "log_line.h"
#include "orva_comm.h"
#include "orva_drvadp_comm.h"
#include "platform_double.h"

extern "C" int __real_pthread_mutex_lock(pthread_mutex_t *mutex);

namespace {

using namespace orva_test;
using Records = std::vector<std::string>;

constexpr char kLengthText[] = "Invalid packet length, module: %s, realLen: %u, pktLen: %u, netFn: %u, cmd: %u";

class Diag : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        platform().slot = 3;
        ORVA_DRVADP_SetSelfChassisVar(1);
        ORVA_DRVADP_GetSelfSlotVar();
        ORVA_SetSingleProcess(1);
        platform().calls.clear();
    }

    // Manager, mutex, nodes and items live on.
    void TearDown() override {
        expect_live_blocks(live_blocks());
        PlatformTest::TearDown();
    }

    static void start(std::uint32_t count = 10, std::uint32_t base = 100) {
        ASSERT_EQ(ORVA_DiagInit(count, base), 0u);
    }

    static std::uint32_t ask(std::uint32_t diagId, std::uint32_t keyId, const char *text = "fault") {
        return ORVA_DiagMgrNeedRestrain(diagId, keyId, "orva_comm", 77, "%s", text);
    }

    static OrvaDiagNode *node_of(std::uint32_t diagId) {
        return g_orvaDiagMgr->nodes[diagId - g_orvaDiagMgr->baseDiagId];
    }

    // The item of a key, found without the library's help.
    static OrvaDiagItem *item_of(std::uint32_t diagId, std::uint32_t keyId) {
        OrvaDiagNode *node = node_of(diagId);
        return node == nullptr ? nullptr : static_cast<OrvaDiagItem *>(MIRO_AVL_Find(&node->tree, &keyId));
    }

    static void seconds(unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            ORVA_DiagMgrTimerSchdule();
        }
    }

    std::uint32_t last_ = 0; // result of the walked call

    static void expect_failures(std::uint32_t count, std::uint32_t line) {
        EXPECT_EQ(g_orvaDiagMgr->uiErrCount, count);
        EXPECT_EQ(g_orvaDiagMgr->uiErrLine, line);
    }
};

// ---- Start

TEST_F(Diag, Manager_IsAbsentAtLoadAndEverythingIsQuiet) {
    EXPECT_EQ(g_orvaDiagMgr, nullptr);
    EXPECT_EQ(ask(1, 2), 0u);
    ORVA_DiagMgrSwitchOn();
    ORVA_DiagMgrSwitchOff();
    ORVA_DiagMgrTimerSchdule();
    ORVA_DiagMgrTimerProcNode();
    OrvaDiagNode node{};
    OrvaDiagItem item{};
    item.successNum = 9;
    ORVA_DiagMgrTimerProcItem(&node, &item);
    EXPECT_EQ(item.successNum, 9u);
    ORVA_DiagMgrPrintLocalData();
    EXPECT_EQ(ORVA_DiagMgrGetNode(0, "f", 1), nullptr);
    EXPECT_EQ(take_logs(), Records{});
    EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), 0u);
}

struct CoverCase {
    const char *name;
    std::uint32_t single, count, base;
    std::uint32_t nodeCount, firstId;
};

constexpr CoverCase kCoverCases[] = {
    {"few ids", 1, 5, 9, 5, 9},
    {"166 ids", 1, 166, 9, 166, 9},
    {"167 ids", 1, 167, 9, 167, 9},
    {"more than 167", 1, 500, 9, 167, 9},
    {"no id", 1, 0, 9, 0, 9},
    {"any non-zero flag is single-process mode", 2, 5, 9, 5, 9},
    {"several processes ignore both arguments", 0, 5, 9, 167, 0},
};

TEST_F(Diag, DiagMgrInit_CoversIdsByMode) {
    for (const CoverCase &row : kCoverCases) {
        SCOPED_TRACE(row.name);
        g_orvaDiagMgr = nullptr; // the manager of the case before is not freed
        platform().allocations.clear();
        ORVA_SetSingleProcess(row.single);
        ASSERT_EQ(ORVA_DiagMgrInit(row.count, row.base), 0u);
        ASSERT_NE(g_orvaDiagMgr, nullptr);
        EXPECT_EQ(g_orvaDiagMgr->nodeCount, row.nodeCount);
        EXPECT_EQ(g_orvaDiagMgr->baseDiagId, row.firstId);
        EXPECT_EQ(g_orvaDiagMgr->uiSwitch, 1u);
        EXPECT_EQ(platform().allocations[0].size, 40u + 8 * row.nodeCount);
        EXPECT_EQ(platform().allocations[0].file, "src/comm/orva_diag");
        if (row.nodeCount > 0) {
            EXPECT_NE(ORVA_DiagMgrGetNode(row.firstId, "f", 1), nullptr);
            EXPECT_NE(ORVA_DiagMgrGetNode(row.firstId + row.nodeCount - 1, "f", 1), nullptr);
        }
        EXPECT_EQ(ORVA_DiagMgrGetNode(row.firstId - 1, "f", 1), nullptr);
        EXPECT_EQ(ORVA_DiagMgrGetNode(row.firstId + row.nodeCount, "f", 1), nullptr);
    }
}

TEST_F(Diag, DiagMgrInit_MakesAMutexAndAThread) {
    ASSERT_EQ(ORVA_DiagMgrInit(3, 7), 0u);
    const OrvaSemEntry *entry = ORVA_FindSemById(reinterpret_cast<std::uintptr_t>(g_orvaDiagMgr->mutex));
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->tag, 0x18009u);
    EXPECT_EQ(platform().calls, Records{"MIRO_TaskCreate(\"OrvaDiagThread\", 0xff, 0x10000, 0x0, 0)"});
    for (std::uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(g_orvaDiagMgr->nodes[i], nullptr);
    }
    EXPECT_EQ(g_orvaDiagMgr->startTime, 0u);
    EXPECT_EQ(g_orvaDiagMgr->curZone, 0u);
    expect_failures(0, 0);
}

TEST_F(Diag, DiagMgrInit_KeepsAnExistingManager) {
    start(4, 50);
    OrvaDiagMgr *first = g_orvaDiagMgr;
    ORVA_DiagMgrSwitchOff();
    EXPECT_EQ(ORVA_DiagMgrInit(9, 9), 0u);
    EXPECT_EQ(ORVA_DiagInit(9, 9), 0u);
    EXPECT_EQ(ORVA_DiagInit(0x1FFFFFFB, 0), 0u);
    EXPECT_EQ(g_orvaDiagMgr, first);
    EXPECT_EQ(first->nodeCount, 4u);
    EXPECT_EQ(first->baseDiagId, 50u);
    EXPECT_EQ(first->uiSwitch, 0u);
    EXPECT_EQ(platform().calls, Records{});
}

TEST_F(Diag, DiagMgrInit_FailsWithoutMemoryOrMutexOrThread) {
    ORVA_SetMemHandle(0);
    EXPECT_EQ(ORVA_DiagMgrInit(3, 7), ORVA_ERR_DIAG_MGR_MEMORY);
    EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), 0u);
    ORVA_SetMemHandle(0x1234);

    const std::uint32_t codes[] = {ORVA_ERR_DIAG_MGR_MEMORY, ORVA_ERR_DIAG_MGR_MUTEX}; // manager, mutex object
    const unsigned walked = walk_allocation_failures(
        [&] {
            if (g_orvaDiagMgr == nullptr) {
                last_ = ORVA_DiagMgrInit(3, 7);
            }
        },
        [&](unsigned failing) {
            EXPECT_EQ(last_, codes[failing - 1]);
            EXPECT_EQ(g_orvaDiagMgr, nullptr);
            EXPECT_EQ(live_blocks(), 0u);
            EXPECT_EQ(g_orvaCommLocal.semTable[0].inUse, 0u);
        });
    EXPECT_EQ(walked, 2u);
    EXPECT_EQ(last_, 0u);
    EXPECT_EQ(take_logs(), Records{});
}

TEST_F(Diag, DiagMgrInit_FailsWhenTheMutexCannotBeInitialised) {
    fail("pthread_mutexattr_init", 1, 12);
    EXPECT_EQ(ORVA_DiagMgrInit(3, 7), ORVA_ERR_DIAG_MGR_MUTEX);
    fail("pthread_mutex_init", 1, 12);
    EXPECT_EQ(ORVA_DiagMgrInit(3, 7), ORVA_ERR_DIAG_MGR_MUTEX);
    EXPECT_EQ(g_orvaDiagMgr, nullptr);
    EXPECT_EQ(live_blocks(), 0u);
}

TEST_F(Diag, DiagMgrInit_LeavesNothingBehindWhenTheThreadCannotBeStarted) {
    fail("MIRO_TaskCreate", 1, 5);
    EXPECT_EQ(ORVA_DiagMgrInit(3, 7), ORVA_ERR_DIAG_MGR_THREAD);
    EXPECT_EQ(g_orvaDiagMgr, nullptr);
    EXPECT_EQ(live_blocks(), 0u);
    EXPECT_EQ(calls_of("pthread_mutex_destroy"), 1u);
    for (const OrvaSemEntry &entry : g_orvaCommLocal.semTable) {
        ASSERT_TRUE(entry.key == 0 && entry.tag == 0 && entry.inUse == 0);
    }
    for (const Allocation &block : platform().frees) {
        EXPECT_EQ(block.file, "src/comm/orva_diag");
    }
}

TEST_F(Diag, DiagMgrInit_AlsoFailsWithAFullTableOfMutexes) {
    for (OrvaSemEntry &entry : g_orvaCommLocal.semTable) {
        entry = {1, 2, 1};
    }
    fail("MIRO_TaskCreate", 1, 5);
    EXPECT_EQ(ORVA_DiagMgrInit(3, 7), ORVA_ERR_DIAG_MGR_THREAD);
    EXPECT_EQ(live_blocks(), 0u);
    for (const OrvaSemEntry &entry : g_orvaCommLocal.semTable) {
        ASSERT_TRUE(entry.key == 1 && entry.tag == 2 && entry.inUse == 1);
    }
}

TEST_F(Diag, DiagInit_CoversExactlyWhatIsAskedAndStartsNoThread) {
    ORVA_SetSingleProcess(0);
    ASSERT_EQ(ORVA_DiagInit(500, 9), 0u);
    EXPECT_EQ(g_orvaDiagMgr->nodeCount, 500u);
    EXPECT_EQ(g_orvaDiagMgr->baseDiagId, 9u);
    EXPECT_EQ(g_orvaDiagMgr->uiSwitch, 1u);
    EXPECT_EQ(platform().allocations[0].size, 4040u);
    EXPECT_EQ(platform().calls, Records{});
    EXPECT_EQ(ORVA_FindSemById(reinterpret_cast<std::uintptr_t>(g_orvaDiagMgr->mutex))->tag, 0x18009u);
}

struct SizeCase {
    std::uint32_t count, result;
    const char *record;
};

constexpr char kWrapRecord[] = "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]check true return error, l=346";
constexpr char kSizeRecord[] = "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]check true return error, l=347";

constexpr SizeCase kSizeCases[] = {
    {0x1FFFFFFB, ORVA_ERR_DIAG_INIT_WRAP, kWrapRecord}, {0x3FFFFFFB, ORVA_ERR_DIAG_INIT_WRAP, kWrapRecord},
    {0xFFFFFFFB, ORVA_ERR_DIAG_INIT_WRAP, kWrapRecord}, {131068, ORVA_ERR_DIAG_INIT_SIZE, kSizeRecord},
    {0x1FFFFFFA, ORVA_ERR_DIAG_INIT_SIZE, kSizeRecord}, {0x20000000, ORVA_ERR_DIAG_INIT_SIZE, kSizeRecord},
    {0xFFFFFFFF, ORVA_ERR_DIAG_INIT_SIZE, kSizeRecord},
};

TEST_F(Diag, DiagInit_RefusesSizesThatWrapOrAreTooLarge) {
    for (const SizeCase &row : kSizeCases) {
        EXPECT_EQ(ORVA_DiagInit(row.count, 0), row.result) << row.count;
        EXPECT_EQ(take_logs(), Records{row.record}) << row.count;
        EXPECT_EQ(g_orvaDiagMgr, nullptr);
    }
    EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), 0u);
    EXPECT_EQ(ORVA_DiagInit(131067, 0), 0u);
    EXPECT_EQ(platform().allocations[0].size, 0x100000u);
}

TEST_F(Diag, DiagInit_FailsWithoutMemoryOrMutex) {
    ORVA_SetMemHandle(0);
    EXPECT_EQ(ORVA_DiagInit(3, 7), ORVA_ERR_DIAG_INIT_MEMORY);
    ORVA_SetMemHandle(0x1234);
    const std::uint32_t codes[] = {ORVA_ERR_DIAG_INIT_MEMORY, ORVA_ERR_DIAG_INIT_MUTEX};
    const unsigned walked = walk_allocation_failures(
        [&] {
            if (g_orvaDiagMgr == nullptr) {
                last_ = ORVA_DiagInit(3, 7);
            }
        },
        [&](unsigned failing) {
            EXPECT_EQ(last_, codes[failing - 1]);
            EXPECT_EQ(g_orvaDiagMgr, nullptr);
            EXPECT_EQ(live_blocks(), 0u);
        });
    EXPECT_EQ(walked, 2u);
    EXPECT_EQ(last_, 0u);
}

TEST_F(Diag, DiagInit_CoversNothingForACountOfZero) {
    start(0, 100);
    EXPECT_EQ(ask(100, 1), 0u);
    expect_failures(1, 150);
}

// ---- Decision

TEST_F(Diag, NeedRestrain_Lets48RecordsAnHourThrough) {
    start();
    for (int i = 0; i < 48; ++i) {
        ASSERT_EQ(ask(101, 5), 0u) << i;
    }
    EXPECT_EQ(ask(101, 5), 1u);
    EXPECT_EQ(ask(101, 5), 1u);
    const OrvaDiagItem *item = item_of(101, 5);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->successNum, 48u);
    EXPECT_EQ(item->dropNum, 2u);
    EXPECT_EQ(item->zone[0], 48);
    expect_failures(0, 0);
}

TEST_F(Diag, NeedRestrain_CountsEveryKeyAndIdByItself) {
    start();
    for (int i = 0; i < 48; ++i) {
        ask(101, 5);
    }
    EXPECT_EQ(ask(101, 6), 0u);
    EXPECT_EQ(ask(102, 5), 0u);
    EXPECT_EQ(ask(101, 5), 1u);
    EXPECT_EQ(node_of(101)->itemCount, 2u);
    EXPECT_EQ(node_of(102)->itemCount, 1u);
    EXPECT_EQ(item_of(101, 6)->successNum, 1u);
}

TEST_F(Diag, NeedRestrain_CountsNothingWhileSwitchedOff) {
    start();
    ORVA_DiagMgrSwitchOff();
    EXPECT_EQ(g_orvaDiagMgr->uiSwitch, 0u);
    for (int i = 0; i < 60; ++i) {
        EXPECT_EQ(ask(101, 5), 0u);
    }
    EXPECT_EQ(node_of(101), nullptr);
    ORVA_DiagMgrSwitchOn();
    for (int i = 0; i < 48; ++i) {
        EXPECT_EQ(ask(101, 5), 0u);
    }
    ORVA_DiagMgrSwitchOff();
    EXPECT_EQ(ask(101, 5), 0u);
    ORVA_DiagMgrSwitchOn();
    EXPECT_EQ(ask(101, 5), 1u);
}

TEST_F(Diag, NeedRestrain_KeepsTheFirstRecordsSourceAndText) {
    start();
    EXPECT_EQ(ORVA_DiagMgrNeedRestrain(101, 5, "orva_comm", 0x80000001, kLengthText, "fan", 1u, 2u, 3u, 4u), 0u);
    EXPECT_EQ(ORVA_DiagMgrNeedRestrain(101, 6, "other", 9, "later"), 0u);
    const OrvaDiagNode *node = node_of(101);
    EXPECT_EQ(node->diagId, 101u);
    EXPECT_EQ(node->line, 0x80000001u);
    EXPECT_STREQ(node->file, "orva_comm");
    EXPECT_EQ(std::string(node->text), "Invalid packet length, module: fan, realLen: 1, pktLen: 2, netF");
    EXPECT_EQ(node->text[63], '\0');
}

TEST_F(Diag, NeedRestrain_LetsUncoveredIdsThroughAndCountsThem) {
    start(10, 100);
    for (const std::uint32_t diagId : {99u, 110u, 0u, 0xFFFFFFFFu}) {
        EXPECT_EQ(ask(diagId, 1), 0u);
    }
    expect_failures(4, 150);
}

TEST_F(Diag, NeedRestrain_CoversIdsUpToTheHighest) {
    start(10, 0xFFFFFFFA);
    EXPECT_EQ(ask(0xFFFFFFFF, 1), 0u);
    EXPECT_EQ(item_of(0xFFFFFFFF, 1)->successNum, 1u);
    EXPECT_EQ(ask(0, 1), 0u);
    expect_failures(1, 150);
}

TEST_F(Diag, NeedRestrain_GoesOnWithoutTheFirstText) {
    start();
    EXPECT_EQ(ask(101, 5, ""), 0u);
    expect_failures(1, 159);
    EXPECT_EQ(item_of(101, 5)->successNum, 1u);
    EXPECT_STREQ(node_of(101)->text, "");
    fail("vsnprintf_s", 1, -1);
    EXPECT_EQ(ask(102, 5), 0u);
    expect_failures(2, 159);
    EXPECT_EQ(item_of(102, 5)->successNum, 1u);
    const char *const noFormat = nullptr;
    EXPECT_EQ(ORVA_DiagMgrNeedRestrain(103, 5, "f", 1, noFormat), 0u);
    expect_failures(3, 159);
}

TEST_F(Diag, NeedRestrain_FormatsTheFirstRecordOnly) {
    start();
    ask(101, 5);
    ask(101, 5);
    ask(101, 6);
    EXPECT_EQ(calls_of("vsnprintf_s"), 1u);
}

TEST_F(Diag, NeedRestrain_LetsRecordsThroughWithoutMemoryAndTriesAgain) {
    start();
    const std::size_t before = live_blocks();
    fail("MIRO_MemAlloc_F", 1, 0); // node
    EXPECT_EQ(ask(101, 5), 0u);
    expect_failures(1, 150);
    EXPECT_EQ(node_of(101), nullptr);
    EXPECT_EQ(live_blocks(), before);
    fail("MIRO_MemAlloc_F", 2, 0); // item
    EXPECT_EQ(ask(101, 5, "first"), 0u);
    expect_failures(2, 167);
    ASSERT_NE(node_of(101), nullptr);
    EXPECT_EQ(node_of(101)->itemCount, 0u);
    EXPECT_EQ(live_blocks(), before + 1);
    EXPECT_EQ(ask(101, 5, "second"), 0u);
    expect_failures(2, 167);
    EXPECT_STREQ(node_of(101)->text, "second");
    EXPECT_EQ(item_of(101, 5)->successNum, 1u);

    ORVA_SetMemHandle(0);
    EXPECT_EQ(ask(101, 6), 0u);
    expect_failures(3, 167);
    EXPECT_EQ(ask(102, 6), 0u);
    expect_failures(4, 150);
    ORVA_SetMemHandle(0x1234);
}

TEST_F(Diag, NeedRestrain_LeavesRecordsOfADuplicateKeyUncounted) {
    start();
    ask(101, 5);
    const std::size_t before = live_blocks();
    platform().frees.clear();
    platform().onAvlInsert = [](MIRO_AVL_TREE *tree, MIRO_AVL_NODE *) { return tree->first->self; };
    EXPECT_EQ(ask(101, 6), 0u);
    expect_failures(2, 167); // the insertion (91), then the missing item
    ASSERT_EQ(platform().frees.size(), 1u);
    EXPECT_EQ(platform().frees[0].line, 89u);
    EXPECT_EQ(platform().frees[0].size, 72u);
    EXPECT_EQ(platform().frees[0].file, "src/comm/orva_diag");
    EXPECT_EQ(live_blocks(), before);
    EXPECT_EQ(node_of(101)->itemCount, 1u);
    EXPECT_EQ(item_of(101, 5)->successNum, 1u);
}

TEST_F(Diag, NeedRestrain_LetsARecordThroughWithoutABucketInAZoneOutOfRange) {
    start();
    g_orvaDiagMgr->curZone = 13;
    EXPECT_EQ(ask(101, 5), 0u);
    const OrvaDiagItem *item = item_of(101, 5);
    EXPECT_EQ(item->successNum, 1u);
    for (const std::uint8_t zone : item->zone) {
        EXPECT_EQ(zone, 0);
    }
    g_orvaDiagMgr->curZone = 12;
    EXPECT_EQ(ask(101, 5), 0u);
    EXPECT_EQ(item->zone[12], 1);
}

TEST_F(Diag, NeedRestrain_LocksOnceForAKnownKey) {
    start();
    ask(101, 5);
    const unsigned locks = calls_of("pthread_mutex_lock");
    const unsigned unlocks = calls_of("pthread_mutex_unlock");
    ask(101, 5);
    EXPECT_EQ(calls_of("pthread_mutex_lock"), locks + 1);
    EXPECT_EQ(calls_of("pthread_mutex_unlock"), unlocks + 1);
}

TEST_F(Diag, NeedRestrain_UnlocksOnlyWhatItLocked) {
    start();
    fail("pthread_mutex_lock", 1, EAGAIN);
    EXPECT_EQ(ask(101, 5), 0u);
    EXPECT_EQ(calls_of("pthread_mutex_lock"), calls_of("pthread_mutex_unlock") + 1);
    EXPECT_EQ(item_of(101, 5)->successNum, 1u);
}

// The quota is taken without a lock: of two threads that ask at once, neither takes a record that the other took.
TEST_F(Diag, NeedRestrain_TwoThreadsTakeExactly48RecordsOfAKey) {
    constexpr std::uint32_t kKeys = 400;
    start();
    ORVA_DiagMgrGetNode(101, "orva_comm", 77);
    for (std::uint32_t key = 0; key < kKeys; ++key) {
        ASSERT_EQ(ask(101, key), 0u);
        std::atomic<unsigned> ready{0}, let{1};
        const auto run = [&] {
            ++ready;
            while (ready != 2) {
            }
            for (int i = 0; i < 40; ++i) {
                let += ask(101, key) == 0 ? 1u : 0u;
            }
        };
        std::thread other(run);
        run();
        other.join();
        ASSERT_EQ(let, 48u);
        ASSERT_EQ(item_of(101, key)->successNum, 48u);
        ASSERT_EQ(item_of(101, key)->zone[0], 48);
        ASSERT_EQ(item_of(101, key)->dropNum, 81u - 48u);
    }
}

// ---- Lookups outside the mutex

thread_local bool t_stopsInLookup = false;
std::atomic<unsigned> g_stopped{0};
std::atomic<bool> g_mayGoOn{false};

std::int32_t stopping_compare(const void *a, const void *b) {
    if (t_stopsInLookup) {
        ++g_stopped;
        while (!g_mayGoOn) {
            std::this_thread::yield();
        }
        t_stopsInLookup = false;
    }
    return ORVA_DiagTreeKeyCompare(a, b);
}

void wait_for_stopped(unsigned count) {
    while (g_stopped != count) {
        std::this_thread::yield();
    }
}

TEST_F(Diag, NeedRestrain_LetsNewKeysThroughWhileALookupIsStoppedAndDecidesKnownOnes) {
    start();
    ask(101, 5);
    ask(102, 9);
    node_of(101)->tree.compare = stopping_compare;
    std::thread reader([] {
        t_stopsInLookup = true;
        EXPECT_EQ(ask(101, 5), 0u);
    });
    wait_for_stopped(1);
    EXPECT_EQ(ask(102, 9), 0u) << "another thread's lookup holds the mutex";
    EXPECT_EQ(item_of(102, 9)->successNum, 2u);
    expect_failures(0, 0);

    const std::size_t before = live_blocks();
    platform().onAvlInsert = [](MIRO_AVL_TREE *, MIRO_AVL_NODE *) -> void * {
        ADD_FAILURE() << "inserted beside a lookup";
        return nullptr;
    };
    EXPECT_EQ(ask(102, 10), 0u);
    expect_failures(1, 167);
    EXPECT_EQ(live_blocks(), before);
    EXPECT_EQ(node_of(102)->itemCount, 1u);
    EXPECT_EQ(pthread_mutex_trylock(static_cast<pthread_mutex_t *>(g_orvaDiagMgr->mutex)), 0);
    EXPECT_EQ(ORVA_MutexV(g_orvaDiagMgr->mutex), 0);

    platform().onAvlInsert = nullptr;
    g_mayGoOn = true;
    reader.join();
    EXPECT_EQ(ask(102, 10), 0u);
    expect_failures(1, 167);
    EXPECT_EQ(item_of(102, 10)->successNum, 1u);
}

// Another thread's look-up of a known key is stopped.
class DiagBesideAReader : public Diag {
protected:
    void SetUp() override {
        Diag::SetUp();
        start();
        ask(101, 5);
        node_of(101)->tree.compare = stopping_compare;
        reader_ = std::thread([] {
            t_stopsInLookup = true;
            ask(101, 5);
        });
        wait_for_stopped(1);
    }

    void TearDown() override {
        g_mayGoOn = true;
        reader_.join();
        Diag::TearDown();
    }

    // How often a new key that is let through takes the manager's mutex.
    static unsigned locks_of_a_new_key() {
        unsigned locks = 0;
        libc().pthread_mutex_lock = [&](pthread_mutex_t *mutex) {
            locks += mutex == g_orvaDiagMgr->mutex ? 1 : 0;
            return __real_pthread_mutex_lock(mutex);
        };
        EXPECT_EQ(ask(101, 6), 0u);
        libc().pthread_mutex_lock = nullptr;
        expect_failures(1, 167);
        return locks;
    }

    std::thread reader_;
};

TEST_F(DiagBesideAReader, Insertion_IsTriedABoundedNumberOfTimes) {
    libc().clock_gettime = [](clockid_t, timespec *now) {
        *now = {7, 0};
        return 0;
    };
    unsigned pauses = 0;
    libc().nanosleep = [&](const timespec *pause, timespec *) {
        EXPECT_EQ(pause->tv_sec, 0);
        EXPECT_EQ(pause->tv_nsec, 50000);
        ++pauses;
        return 0;
    };
    EXPECT_EQ(locks_of_a_new_key(), 122u); // the look-up, the first try and 120 more
    EXPECT_EQ(pauses, 20u);                // the tries before only leave the processor
}

TEST_F(DiagBesideAReader, Insertion_IsTriedForTwoMilliseconds) {
    constexpr timespec kTimes[] = {{7, 999000000}, {8, 999999}, {8, 1000000}};
    std::size_t reads = 0;
    libc().clock_gettime = [&](clockid_t clock, timespec *now) {
        EXPECT_EQ(clock, CLOCK_MONOTONIC);
        *now = kTimes[std::min(reads++, std::size(kTimes) - 1)];
        return 0;
    };
    EXPECT_EQ(locks_of_a_new_key(), 4u); // the look-up, the first try and one after each later time
}

// How a child ended, as the kernel says it.
int status_of(pid_t child) {
    int status = -1;
    return ::waitpid(child, &status, 0) == child ? status : -1;
}

TEST_F(DiagBesideAReader, Fork_ChildStartsWithAFreeMutexAndWithoutMarks) {
    for (const int cancelState : {PTHREAD_CANCEL_ENABLE, PTHREAD_CANCEL_DISABLE}) {
        const unsigned locks = calls_of("pthread_mutex_lock");
        const unsigned unlocks = calls_of("pthread_mutex_unlock");
        pthread_setcancelstate(cancelState, nullptr);
        const pid_t child = ::fork();
        int afterwards = -1;
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &afterwards);
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::alarm(30);
            const bool isCounted = ask(101, 6) == 0 && item_of(101, 6) != nullptr &&
                                   item_of(101, 6)->successNum == 1 && g_orvaDiagMgr->uiErrCount == 0;
            ::_exit(isCounted && afterwards == cancelState ? 0 : 1);
        }
        EXPECT_EQ(afterwards, cancelState);
        EXPECT_EQ(calls_of("pthread_mutex_lock"), locks + 1);
        EXPECT_EQ(calls_of("pthread_mutex_unlock"), unlocks + 1);
        EXPECT_EQ(status_of(child), 0);
    }
}

TEST_F(Diag, Fork_AfterAFailedStartTouchesNothing) {
    fail("MIRO_TaskCreate", 1, 5);
    ASSERT_EQ(ORVA_DiagMgrInit(3, 7), ORVA_ERR_DIAG_MGR_THREAD);
    const unsigned locks = calls_of("pthread_mutex_lock");
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::_exit(0);
    }
    EXPECT_EQ(status_of(child), 0);
    EXPECT_EQ(calls_of("pthread_mutex_lock"), locks);
}

std::int32_t pausing_compare(const void *a, const void *b) {
    while (t_stopsInLookup) {
        ++g_stopped;
        ::pause(); // a cancellation point
    }
    return ORVA_DiagTreeKeyCompare(a, b);
}

void *pause_in_a_lookup(void *) {
    t_stopsInLookup = true;
    ORVA_DiagMgrNeedRestrain(101, 5, "orva_comm", 77, "text");
    return nullptr;
}

TEST_F(Diag, NeedRestrain_ACancelledReaderLeavesNoMark) {
    start();
    ask(101, 5);
    node_of(101)->tree.compare = pausing_compare;
    pthread_t reader{};
    ASSERT_EQ(pthread_create(&reader, nullptr, pause_in_a_lookup, nullptr), 0);
    wait_for_stopped(1);
    ASSERT_EQ(pthread_cancel(reader), 0);
    void *result = nullptr;
    ASSERT_EQ(pthread_join(reader, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(ask(101, 6), 0u);
    expect_failures(0, 0);
    EXPECT_EQ(item_of(101, 6)->successNum, 1u);
}

// ---- Handlers of the thread that is in the manager, as its compare function and its insertion

std::function<void()> g_handler; // called once

std::int32_t interrupted_compare(const void *a, const void *b) {
    if (g_handler) {
        std::exchange(g_handler, nullptr)();
    }
    return ORVA_DiagTreeKeyCompare(a, b);
}

int try_mutex_in_another_thread() {
    int result = -1;
    std::thread([&] {
        auto *mutex = static_cast<pthread_mutex_t *>(g_orvaDiagMgr->mutex);
        result = pthread_mutex_trylock(mutex);
        if (result == 0) {
            ORVA_MutexV(mutex);
        }
    }).join();
    return result;
}

TEST_F(Diag, NeedRestrain_AHandlerInALookupDecidesKnownKeysAndLetsNewOnesThrough) {
    start();
    ask(101, 5);
    ORVA_DiagMgrGetNode(103, "f", 1);
    node_of(101)->tree.compare = interrupted_compare;
    const unsigned allocations = calls_of("MIRO_MemAlloc_F");
    g_handler = [&] {
        EXPECT_EQ(try_mutex_in_another_thread(), 0);
        g_handler = [] { EXPECT_EQ(try_mutex_in_another_thread(), EBUSY) << "the thread has one mark only"; };
        EXPECT_EQ(ask(101, 5), 0u);
        EXPECT_EQ(item_of(101, 5)->successNum, 2u);
        expect_failures(0, 0);
        EXPECT_EQ(ask(101, 6), 0u);
        expect_failures(1, 167);
        EXPECT_EQ(ask(103, 6), 0u) << "an id without a key";
        expect_failures(2, 167);
        EXPECT_EQ(ask(102, 6), 0u) << "an id without a node";
        expect_failures(3, 150);
    };
    EXPECT_EQ(ask(101, 5), 0u);
    EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), allocations);
    EXPECT_EQ(node_of(102), nullptr);
    EXPECT_EQ(item_of(101, 5)->successNum, 3u);
    EXPECT_EQ(ask(101, 6), 0u);
    expect_failures(3, 150);
    EXPECT_EQ(item_of(101, 6)->successNum, 1u);
}

TEST_F(Diag, NeedRestrain_AHandlerInAnInsertionLetsEveryRecordThroughAndMayFork) {
    start();
    ask(101, 5);
    platform().onAvlInsert = [&](MIRO_AVL_TREE *, MIRO_AVL_NODE *) -> void * {
        const unsigned locks = calls_of("pthread_mutex_lock");
        EXPECT_EQ(ask(101, 5), 0u);
        expect_failures(1, 167);
        EXPECT_EQ(ORVA_DiagMgrGetItem(5, node_of(101)), nullptr);
        const pid_t child = ::fork();
        if (child == 0) {
            ::_exit(0);
        }
        EXPECT_EQ(status_of(child), 0);
        EXPECT_EQ(calls_of("pthread_mutex_lock"), locks);
        return nullptr;
    };
    EXPECT_EQ(ask(101, 6), 0u);
    EXPECT_EQ(item_of(101, 5)->successNum, 1u);
    expect_failures(1, 167);
}

// ---- Look-ups and mutex

std::atomic<unsigned> g_lookups{0}; // of the key below
constexpr std::uint32_t kCountedKey = 6;

// The double's look-up passes the wanted key first, its insertion second.
std::int32_t counting_compare(const void *a, const void *b) {
    if (*static_cast<const std::uint32_t *>(a) == kCountedKey) {
        ++g_lookups;
    }
    return ORVA_DiagTreeKeyCompare(a, b);
}

TEST_F(Diag, NeedRestrain_TakesOneLookupAndTwoLocksForANewKeyOfAKnownId) {
    start();
    ask(101, 5);
    node_of(101)->tree.compare = counting_compare;
    unsigned locks = 0;
    libc().pthread_mutex_lock = [&](pthread_mutex_t *mutex) {
        locks += mutex == g_orvaDiagMgr->mutex ? 1 : 0;
        return __real_pthread_mutex_lock(mutex);
    };
    EXPECT_EQ(ask(101, kCountedKey), 0u);
    libc().pthread_mutex_lock = nullptr;
    EXPECT_EQ(locks, 2u);
    EXPECT_EQ(g_lookups, 1u);
    EXPECT_EQ(item_of(101, kCountedKey)->successNum, 1u);
}

TEST_F(Diag, NeedRestrain_LooksUpInsideTheMutexWhenTooManyThreadsDo) {
    constexpr unsigned kReaders = 65; // one more than can be outside
    start();
    ask(101, 5);
    node_of(101)->tree.compare = stopping_compare;
    std::vector<std::thread> readers;
    for (unsigned i = 0; i < kReaders; ++i) {
        readers.emplace_back([] {
            t_stopsInLookup = true;
            ask(101, 5);
        });
    }
    wait_for_stopped(kReaders);
    EXPECT_EQ(pthread_mutex_trylock(static_cast<pthread_mutex_t *>(g_orvaDiagMgr->mutex)), EBUSY);
    g_mayGoOn = true;
    for (std::thread &reader : readers) {
        reader.join();
    }
    const OrvaDiagItem *item = item_of(101, 5);
    EXPECT_EQ(item->successNum, 48u);
    EXPECT_EQ(item->dropNum, 1 + kReaders - 48);
    EXPECT_EQ(pthread_mutex_trylock(static_cast<pthread_mutex_t *>(g_orvaDiagMgr->mutex)), 0);
}

std::int32_t yielding_compare(const void *a, const void *b) {
    std::this_thread::yield();
    return ORVA_DiagTreeKeyCompare(a, b);
}

// The double's tree is made of plain links: a reader beside a writer would be a data race.
TEST_F(Diag, NeedRestrain_KeepsAPlainTreeWholeUnderConcurrentFirstRecords) {
    constexpr unsigned kThreads = 8;
    constexpr std::uint32_t kKeys = 60;
    start();
    ORVA_DiagMgrGetNode(101, "orva_comm", 77)->tree.compare = yielding_compare;
    std::atomic<bool> mayStart{false};
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            while (!mayStart) {
                std::this_thread::yield();
            }
            for (std::uint32_t i = 0; i < kKeys; ++i) {
                ask(101, thread % 2 == 0 ? i : kKeys - 1 - i);
            }
        });
    }
    mayStart = true;
    for (std::thread &thread : threads) {
        thread.join();
    }
    std::uint32_t let = 0, items = 0;
    for (std::uint32_t key = 0; key < kKeys; ++key) {
        ask(101, key); // whatever was let through before is counted now
        ASSERT_NE(item_of(101, key), nullptr);
        let += item_of(101, key)->successNum - 1;
        ++items;
    }
    EXPECT_EQ(node_of(101)->itemCount, items);
    // A record that met a look-up for too long counts as one failure, one whose key came meanwhile as two.
    const std::uint32_t uncounted = kThreads * kKeys - let;
    EXPECT_GE(g_orvaDiagMgr->uiErrCount, uncounted);
    EXPECT_LE(g_orvaDiagMgr->uiErrCount, 2 * uncounted);
}

// ---- Nodes, items and their order

TEST_F(Diag, DiagMgrGetNode_MakesANodeOnce) {
    start();
    OrvaDiagNode *node = ORVA_DiagMgrGetNode(103, "orva_file", 12);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(ORVA_DiagMgrGetNode(103, "other", 13), node);
    EXPECT_EQ(node_of(103), node);
    EXPECT_EQ(node->diagId, 103u);
    EXPECT_EQ(node->line, 12u);
    EXPECT_STREQ(node->file, "orva_file");
    EXPECT_EQ(node->itemCount, 0u);
    EXPECT_EQ(node->tree.compare, ORVA_DiagTreeKeyCompare);
    EXPECT_TRUE(node->tree.root == nullptr && node->tree.first == nullptr && node->tree.last == nullptr);
    const Allocation &allocation = platform().allocations.back();
    EXPECT_EQ(allocation.size, 144u);
    EXPECT_EQ(allocation.line, 111u);
    EXPECT_EQ(allocation.file, "src/comm/orva_diag");
}

TEST_F(Diag, DiagMgrGetNode_TakesNamesOf31CharactersAndNone) {
    start();
    EXPECT_STREQ(ORVA_DiagMgrGetNode(101, std::string(31, 'n').c_str(), 1)->file, std::string(31, 'n').c_str());
    EXPECT_STREQ(ORVA_DiagMgrGetNode(102, nullptr, 1)->file, "");
    EXPECT_EQ(take_logs(), Records{});
}

TEST_F(Diag, DiagMgrGetNode_RecordsANameThatCannotBeCopiedAndGoesOn) {
    start();
    OrvaDiagNode *node = ORVA_DiagMgrGetNode(101, std::string(32, 'n').c_str(), 7);
    ASSERT_NE(node, nullptr);
    EXPECT_STREQ(node->file, "");
    EXPECT_EQ(node->line, 7u);
    EXPECT_EQ(take_logs(), Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]strcpy error, f=orva_diag, "
                                   "l=120, ret=34"});
    fail("strcpy_s", 1, 22);
    EXPECT_NE(ORVA_DiagMgrGetNode(102, "name", 7), nullptr);
    EXPECT_EQ(take_logs(), Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]strcpy error, f=orva_diag, "
                                   "l=120, ret=22"});
}

TEST_F(Diag, DiagMgrGetItem_MakesAnItemOnce) {
    start();
    OrvaDiagNode *node = ORVA_DiagMgrGetNode(101, "f", 1);
    OrvaDiagItem *item = ORVA_DiagMgrGetItem(0xFFFFFFFF, node);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(ORVA_DiagMgrGetItem(0xFFFFFFFF, node), item);
    EXPECT_EQ(item->keyId, 0xFFFFFFFFu);
    const void *self = item->link.self; // copies: the fields lie at multiples of four bytes
    const void *key = item->link.key;
    EXPECT_EQ(self, item);
    EXPECT_EQ(key, &item->keyId);
    EXPECT_EQ(item->successNum, 0u);
    EXPECT_EQ(item->dropNum, 0u);
    EXPECT_EQ(node->itemCount, 1u);
    const Allocation &allocation = platform().allocations.back();
    EXPECT_EQ(allocation.size, 72u);
    EXPECT_EQ(allocation.line, 81u);
    EXPECT_EQ(allocation.file, "src/comm/orva_diag");
}

TEST_F(Diag, DiagMgrGetItem_InsertsANodeThatIsInNoTree) {
    start();
    platform().onAvlInsert = [](MIRO_AVL_TREE *, MIRO_AVL_NODE *node) -> void * {
        EXPECT_EQ(node->leftHeight, -1);
        EXPECT_EQ(node->rightHeight, -1);
        EXPECT_TRUE(node->parent == nullptr && node->left == nullptr && node->right == nullptr);
        return nullptr;
    };
    EXPECT_NE(ORVA_DiagMgrGetItem(1, ORVA_DiagMgrGetNode(101, "f", 1)), nullptr);
}

TEST_F(Diag, DiagMgrGetItem_FailsWithoutNodeOrMemory) {
    start();
    EXPECT_EQ(ORVA_DiagMgrGetItem(1, nullptr), nullptr);
    OrvaDiagNode *node = ORVA_DiagMgrGetNode(101, "f", 1);
    fail("MIRO_MemAlloc_F", 1, 0);
    EXPECT_EQ(ORVA_DiagMgrGetItem(1, node), nullptr);
    ORVA_SetMemHandle(0);
    EXPECT_EQ(ORVA_DiagMgrGetItem(1, node), nullptr);
    ORVA_SetMemHandle(0x1234);
    EXPECT_EQ(node->itemCount, 0u);
    expect_failures(0, 0);
}

TEST_F(Diag, DiagMgrGetItem_ReportsADuplicateAndReturnsNothing) {
    start();
    OrvaDiagNode *node = ORVA_DiagMgrGetNode(101, "f", 1);
    OrvaDiagItem *first = ORVA_DiagMgrGetItem(1, node);
    platform().onAvlInsert = [&](MIRO_AVL_TREE *, MIRO_AVL_NODE *) { return first; };
    EXPECT_EQ(ORVA_DiagMgrGetItem(2, node), nullptr);
    expect_failures(1, 91);
    EXPECT_EQ(node->itemCount, 1u);
}

TEST_F(Diag, DiagMgrGetItem_WorksOnANodeWithoutAManager) {
    OrvaDiagNode node{};
    node.tree.compare = ORVA_DiagTreeKeyCompare;
    OrvaDiagItem *item = ORVA_DiagMgrGetItem(4, &node);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(ORVA_DiagMgrGetItem(4, &node), item);
    platform().onAvlInsert = [&](MIRO_AVL_TREE *, MIRO_AVL_NODE *) { return item; };
    EXPECT_EQ(ORVA_DiagMgrGetItem(5, &node), nullptr);
}

TEST_F(Diag, DiagMgrGetItem_MayBeCalledWithTheMutexHeld) {
    start();
    ASSERT_EQ(ORVA_MutexP(g_orvaDiagMgr->mutex), 0u);
    OrvaDiagNode *node = ORVA_DiagMgrGetNode(101, "f", 1);
    EXPECT_NE(ORVA_DiagMgrGetItem(1, node), nullptr);
    EXPECT_NE(ORVA_DiagMgrGetItem(2, node), nullptr);
    EXPECT_EQ(ORVA_MutexV(g_orvaDiagMgr->mutex), 0);
    EXPECT_EQ(calls_of("pthread_mutex_lock"), calls_of("pthread_mutex_unlock"));
}

TEST_F(Diag, DiagTreeKeyCompare_OrdersUnsigned) {
    const std::uint32_t low = 1, high = 0x80000000;
    const MIRO_AVL_COMPARE compare = ORVA_DiagTreeKeyCompare;
    EXPECT_EQ(compare(&low, &low), 0);
    EXPECT_EQ(compare(&high, &low), 1);
    EXPECT_EQ(compare(&low, &high), -1);
    EXPECT_EQ(compare(nullptr, &low), 1);
    EXPECT_EQ(compare(&low, nullptr), 1);
    EXPECT_EQ(compare(nullptr, nullptr), 1);
}

// ---- Records

TEST_F(Diag, DIAGLOG_StampsThePositionAndPassesTheWordsOn) {
    platform().dlogResult = 0x55;
    EXPECT_EQ(ORVA_DIAGLOG(1, 2, 3, 4, 5, "fan %u %s", 7u, "100%"), 0x55u);
    EXPECT_EQ(platform().formats, Records{"%s"});
    EXPECT_EQ(take_logs(), Records{"DLog(0x1, 0x2, 0x3, 0x4, 0x5) [Position: 1/3]fan 7 100%"});
}

TEST_F(Diag, DIAGLOG_PrintsADashForChassisZero) {
    ORVA_DRVADP_SetSelfChassisVar(0);
    EXPECT_EQ(ORVA_DIAGLOG(0, 0xCE41001, 0, 0, 0, "t"), 0u); // the shortest text
    EXPECT_EQ(take_logs(), Records{"DLog(0x0, 0xce41001, 0x0, 0x0, 0x0) [Position: -/3]t"});
}

TEST_F(Diag, DIAGLOG_TruncatesTheTextAt511Characters) {
    for (const std::size_t length : {510u, 511u, 512u, 2000u}) {
        EXPECT_EQ(ORVA_DIAGLOG(0, 0, 0, 0, 0, "%s", std::string(length, 'x').c_str()), 0u);
        EXPECT_EQ(take_logs(), Records{"DLog(0x0, 0x0, 0x0, 0x0, 0x0) [Position: 1/3]" +
                                       std::string(std::min<std::size_t>(length, 511), 'x')});
    }
}

TEST_F(Diag, DIAGLOG_FailsOnAnEmptyOrUnformattableText) {
    const std::string nothing;
    EXPECT_EQ(ORVA_DIAGLOG(0, 0, 0, 0, 0, "%s", nothing.c_str()), 1u);
    const char *const noFormat = nullptr;
    EXPECT_EQ(ORVA_DIAGLOG(0, 0, 0, 0, 0, noFormat), 1u);
    fail("vsnprintf_s", 1, -1);
    EXPECT_EQ(ORVA_DIAGLOG(0, 0, 0, 0, 0, "text"), 1u);
    EXPECT_EQ(take_logs(), Records{});
}

TEST_F(Diag, DIAGLOG_RecordsARecordThatCannotBeBuilt) {
    for (const std::uint32_t chassis : {0u, 1u}) {
        ORVA_DRVADP_SetSelfChassisVar(chassis);
        fail("sprintf_s", 1, -3);
        EXPECT_EQ(ORVA_DIAGLOG(0, 0, 0, 0, 0, "text"), 1u);
        EXPECT_EQ(take_logs(), Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]sprintf error, "
                                       "f=orva_diag, l=443, ret=-3"});
    }
}

// ---- Clock

TEST_F(Diag, TimerSchdule_MovesToTheNextZoneEvery300Seconds) {
    start();
    ask(101, 5);
    OrvaDiagItem *item = item_of(101, 5);
    item->zone[1] = 7;
    seconds(299);
    EXPECT_EQ(g_orvaDiagMgr->startTime, 299u);
    EXPECT_EQ(g_orvaDiagMgr->curZone, 0u);
    EXPECT_EQ(item->zone[1], 7);
    EXPECT_EQ(item->successNum, 1u);
    seconds(1);
    EXPECT_EQ(g_orvaDiagMgr->startTime, 300u);
    EXPECT_EQ(g_orvaDiagMgr->curZone, 1u);
    EXPECT_EQ(item->zone[1], 0);
    EXPECT_EQ(item->zone[0], 1);
    EXPECT_EQ(item->successNum, 1u);
}

TEST_F(Diag, TimerSchdule_GoesThroughThirteenZones) {
    start();
    for (std::uint32_t step = 1; step <= 27; ++step) {
        seconds(300);
        EXPECT_EQ(g_orvaDiagMgr->curZone, step % 13);
        EXPECT_EQ(g_orvaDiagMgr->startTime, step * 300 % 3600);
    }
}

TEST_F(Diag, TimerSchdule_LocksOnlyWhenAZoneCloses) {
    start();
    const unsigned locks = calls_of("pthread_mutex_lock");
    seconds(299);
    EXPECT_EQ(calls_of("pthread_mutex_lock"), locks);
    seconds(1);
    EXPECT_EQ(calls_of("pthread_mutex_lock"), locks + 1);
    EXPECT_EQ(calls_of("pthread_mutex_unlock"), locks + 1);
}

TEST_F(Diag, TimerSchdule_GivesTheQuotaBackWhenItsZoneIsOverAnHourOld) {
    start();
    for (int i = 0; i < 40; ++i) {
        ask(101, 5);
    }
    seconds(300);
    for (int i = 0; i < 20; ++i) {
        ask(101, 5);
    }
    const OrvaDiagItem *item = item_of(101, 5);
    EXPECT_EQ(item->zone[0], 40);
    EXPECT_EQ(item->zone[1], 8);
    EXPECT_EQ(item->dropNum, 12u);
    seconds(11 * 300); // zone 12
    EXPECT_EQ(item->successNum, 48u);
    EXPECT_EQ(ask(101, 5), 1u);
    seconds(300); // zone 0 again: its 40 records are forgotten
    EXPECT_EQ(item->successNum, 8u);
    EXPECT_EQ(item->zone[0], 0);
    EXPECT_EQ(ask(101, 5), 0u);
    EXPECT_EQ(item->zone[0], 1);
    EXPECT_EQ(item->successNum, 9u);
}

TEST_F(Diag, TimerSchdule_WritesOneSummaryForEachDroppingKeyEveryHour) {
    start();
    for (const std::uint32_t key : {0x80000000u, 7u, 9u}) {
        for (std::uint32_t i = 0; i < 48 + (key == 9 ? 0 : key == 7 ? 2 : 3); ++i) {
            ORVA_DiagMgrNeedRestrain(103, key, "orva_comm", 1, kLengthText, "fan", 1u, 2u, 3u, 4u);
        }
    }
    for (int i = 0; i < 50; ++i) {
        ask(101, 1, "100%n");
    }
    take_logs();
    seconds(3599);
    EXPECT_EQ(take_logs(), Records{});
    seconds(1);
    EXPECT_EQ(
        take_logs(),
        (Records{"DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: 1/3][OrvaDiagMgr] DiagID:101 drop: 2 logs in a "
                 "hour. keyID: 1 format: 100%n",
                 "DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: 1/3][OrvaDiagMgr] DiagID:103 drop: 2 logs in a "
                 "hour. keyID: 7 format: Invalid packet length, module: fan, realLen: 1, pktLen: 2, netF",
                 "DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: 1/3][OrvaDiagMgr] DiagID:103 drop: 3 logs in a "
                 "hour. keyID: 2147483648 format: Invalid packet length, module: fan, realLen: 1, pktLen: 2, "
                 "netF"}));
    EXPECT_EQ(item_of(103, 7)->dropNum, 0u);
    EXPECT_EQ(g_orvaDiagMgr->startTime, 0u);
    seconds(3600);
    EXPECT_EQ(take_logs(), Records{});
}

TEST_F(Diag, TimerProcNode_WalksAtMostItemCountItemsAndSkipsEmptyTrees) {
    start();
    ORVA_DiagMgrGetNode(100, "f", 1); // a node without items
    for (const std::uint32_t key : {1u, 2u, 3u}) {
        ask(101, key);
        item_of(101, key)->successNum = 40;
    }
    node_of(101)->itemCount = 2;
    g_orvaDiagMgr->curZone = 5;
    ORVA_DiagMgrTimerProcNode();
    EXPECT_EQ(item_of(101, 1)->successNum, 1u);
    EXPECT_EQ(item_of(101, 2)->successNum, 1u);
    EXPECT_EQ(item_of(101, 3)->successNum, 40u);
    node_of(101)->itemCount = 9; // more than there are
    ORVA_DiagMgrTimerProcNode();
    EXPECT_EQ(item_of(101, 3)->successNum, 1u);
}

TEST_F(Diag, TimerProcNode_WalksTheFirstAndTheLastNode) {
    start(3, 100);
    for (const std::uint32_t diagId : {100u, 101u, 102u}) {
        ask(diagId, 1);
        item_of(diagId, 1)->successNum = 40;
    }
    g_orvaDiagMgr->curZone = 5;
    ORVA_DiagMgrTimerProcNode();
    for (const std::uint32_t diagId : {100u, 101u, 102u}) {
        EXPECT_EQ(item_of(diagId, 1)->successNum, 1u) << diagId;
    }
}

TEST_F(Diag, TimerProcItem_SumsTheOtherTwelveZones) {
    start();
    OrvaDiagNode node{};
    OrvaDiagItem item;
    std::memset(&item, 0xFF, sizeof item); // what lies behind the zones does not count
    item.keyId = 0;
    for (std::size_t i = 0; i < 13; ++i) {
        item.zone[i] = static_cast<std::uint8_t>(i + 1);
    }
    item.dropNum = 4;
    g_orvaDiagMgr->curZone = 12;
    g_orvaDiagMgr->startTime = 3599;
    ORVA_DiagMgrTimerProcItem(&node, &item);
    EXPECT_EQ(item.successNum, 78u);
    EXPECT_EQ(item.zone[12], 0);
    EXPECT_EQ(item.dropNum, 4u);
    EXPECT_EQ(take_logs(), Records{});
    g_orvaDiagMgr->startTime = 3600;
    g_orvaDiagMgr->curZone = 0;
    ORVA_DiagMgrTimerProcItem(&node, &item);
    EXPECT_EQ(item.successNum, 77u);
    EXPECT_EQ(item.dropNum, 0u);
    EXPECT_EQ(take_logs(),
              Records{"DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: 1/3][OrvaDiagMgr] DiagID:0 drop: 4 "
                      "logs in a hour. keyID: 0 format: "});
    ORVA_DiagMgrTimerProcItem(nullptr, &item);
    ORVA_DiagMgrTimerProcItem(&node, nullptr);
}

TEST_F(Diag, TimerOutput_WritesNothingWhenNothingWasDropped) {
    OrvaDiagNode node{};
    OrvaDiagItem item{};
    ORVA_DiagMgrTimerOutput(&node, &item);
    item.dropNum = 1;
    ORVA_DiagMgrTimerOutput(nullptr, &item);
    ORVA_DiagMgrTimerOutput(&node, nullptr);
    EXPECT_EQ(take_logs(), Records{});
    EXPECT_EQ(item.dropNum, 1u);
}

// ---- Thread

sem_t g_passDone;
std::atomic<unsigned> g_passes{0};

// Lets the thread make three passes and then holds it for good.
void hold_after_three_passes() {
    sem_init(&g_passDone, 0, 0);
    libc().select = [](int, fd_set *, fd_set *, fd_set *, struct timeval *pause) {
        EXPECT_EQ(pause->tv_sec * 1000 + pause->tv_usec / 1000, 1000);
        if (++g_passes == 3) {
            sem_post(&g_passDone);
            for (;;) {
                ::pause();
            }
        }
        return 0;
    };
}

Records run_three_passes() {
    std::vector<std::uint32_t> capabilities;
    libc().capget = [](void *, void *data) {
        std::memset(data, 0xFF, 12);
        return 0;
    };
    libc().capset = [&](void *header, const void *data) {
        std::uint32_t words[3], head[2];
        std::memcpy(words, data, sizeof words);
        std::memcpy(head, header, sizeof head);
        EXPECT_EQ(head[1], 0u);
        capabilities.push_back(~words[0]);
        return 0;
    };
    hold_after_three_passes();
    std::thread(platform().lastTaskEntry, platform().lastTaskArgument).detach();
    sem_wait(&g_passDone);
    EXPECT_EQ(capabilities, (std::vector<std::uint32_t>{1u << 17, 1u << 21}));
    libc().capset = nullptr;
    Records brackets;
    for (const std::string &call : platform().calls) {
        if (call.rfind("MIRO_DeadLoop", 0) == 0) {
            brackets.push_back(call);
        }
    }
    return brackets;
}

const Records kThreeBrackets{
    "MIRO_DeadLoopTaskCheckBegin()", "MIRO_DeadLoopTaskCheckEnd()",   "MIRO_DeadLoopTaskCheckBegin()",
    "MIRO_DeadLoopTaskCheckEnd()",   "MIRO_DeadLoopTaskCheckBegin()", "MIRO_DeadLoopTaskCheckEnd()",
};

TEST_F(Diag, TimerThread_DrivesTheClockInSingleProcessMode) {
    ASSERT_EQ(ORVA_DiagMgrInit(3, 7), 0u);
    EXPECT_EQ(run_three_passes(), kThreeBrackets);
    EXPECT_EQ(g_orvaDiagMgr->startTime, 3u);
}

TEST_F(Diag, TimerThread_LeavesTheClockAloneInAnyOtherMode) {
    ORVA_SetSingleProcess(0);
    ASSERT_EQ(ORVA_DiagMgrInit(3, 7), 0u);
    EXPECT_EQ(run_three_passes(), kThreeBrackets);
    EXPECT_EQ(g_orvaDiagMgr->startTime, 0u);
}

TEST_F(Diag, TimerThread_WantsExactlyOneAsTheSingleProcessFlag) {
    ORVA_SetSingleProcess(2);
    ASSERT_EQ(ORVA_DiagMgrInit(3, 7), 0u);
    run_three_passes();
    EXPECT_EQ(g_orvaDiagMgr->startTime, 0u);
}

// ---- Dump

TEST_F(Diag, PrintLocalData_WritesManagerNodesAndItems) {
    start(10, 100);
    for (int i = 0; i < 49; ++i) {
        ORVA_DiagMgrNeedRestrain(104, 0xFFFFFFFF, "orva_comm", 0xFFFFFFFF, "second %u", 2u);
    }
    ORVA_DiagMgrNeedRestrain(104, 3, "x", 1, "x");
    ask(101, 5, "first");
    item_of(101, 5)->zone[12] = 255;
    ORVA_DiagMgrGetNode(109, nullptr, 4);
    ask(99, 1);
    seconds(7);
    take_logs();
    ORVA_DiagMgrPrintLocalData();
    EXPECT_EQ(
        take_logs(),
        (Records{
            "PLog(0x1, orva, 0x10000, 0x0) OrvaDiagMgr uiSwitch:1, nodeCount:10, curZone:0, uiErrCount:1 "
            "uiErrLine:150 startTime:7",
            "PLog(0x1, orva, 0x10000, 0x0) orva_comm:77 diagId:101 first",
            "PLog(0x1, orva, 0x10000, 0x0)     KeyID:5 SuccessNum:1, dropNum:0 [ 1  0  0  0  0  0  0  0  0  0  0  "
            "0 255]",
            "PLog(0x1, orva, 0x10000, 0x0) orva_comm:-1 diagId:104 second 2",
            "PLog(0x1, orva, 0x10000, 0x0)     KeyID:3 SuccessNum:1, dropNum:0 [ 1  0  0  0  0  0  0  0  0  0  0  "
            "0  0]",
            "PLog(0x1, orva, 0x10000, 0x0)     KeyID:4294967295 SuccessNum:48, dropNum:1 [48  0  0  0  0  0  0  0 "
            " 0  0  0  0  0]",
            "PLog(0x1, orva, 0x10000, 0x0) :4 diagId:109 ",
            "PLog(0x1, orva, 0x10000, 0x0) OrvaDiagMgr local data end."}));
    EXPECT_EQ(calls_of("pthread_mutex_lock"), calls_of("pthread_mutex_unlock"));
}

TEST_F(Diag, PrintLocalData_WritesThirteenBucketsInOrder) {
    start();
    ask(101, 5, "first");
    OrvaDiagItem *item = item_of(101, 5);
    for (std::size_t zone = 0; zone < std::size(item->zone); ++zone) {
        item->zone[zone] = static_cast<std::uint8_t>(10 + zone);
    }
    take_logs();
    ORVA_DiagMgrPrintLocalData();
    const Records records = take_logs();
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[2],
              "PLog(0x1, orva, 0x10000, 0x0)     KeyID:5 SuccessNum:1, dropNum:0 [10 11 12 13 14 15 16 17 "
              "18 19 20 21 22]");
}

TEST_F(Diag, PrintLocalData_EndsWithTheTreeWhenTheCountSaysMore) {
    start();
    ask(101, 5, "first");
    node_of(101)->itemCount = 3;
    take_logs();
    ORVA_DiagMgrPrintLocalData();
    const Records records = take_logs();
    ASSERT_EQ(records.size(), 4u);
    EXPECT_NE(records[2].find("KeyID:5 SuccessNum:1, dropNum:0"), std::string::npos);
    EXPECT_NE(records[3].find("local data end."), std::string::npos);
    node_of(101)->itemCount = 1;
}

// A sink may wait for a thread that asks the manager.
TEST_F(Diag, PrintLocalData_HoldsNoMutexInTheSink) {
    start();
    ask(101, 5, "first");
    unsigned free = 0;
    platform().onLog = [&] {
        std::thread([&] {
            if (pthread_mutex_trylock(static_cast<pthread_mutex_t *>(g_orvaDiagMgr->mutex)) == 0) {
                ++free;
                ORVA_MutexV(g_orvaDiagMgr->mutex);
            }
        }).join();
    };
    ORVA_DiagMgrPrintLocalData();
    EXPECT_EQ(free, 4u);
}

TEST_F(Diag, PrintLocalData_WritesTwoLinesForAnEmptyManager) {
    start(0, 5);
    ORVA_DiagMgrSwitchOff();
    ORVA_DiagMgrPrintLocalData();
    EXPECT_EQ(take_logs(), (Records{"PLog(0x1, orva, 0x10000, 0x0) OrvaDiagMgr uiSwitch:0, nodeCount:0, curZone:0, "
                                    "uiErrCount:0 uiErrLine:0 startTime:0",
                                    "PLog(0x1, orva, 0x10000, 0x0) OrvaDiagMgr local data end."}));
}

} // namespace
