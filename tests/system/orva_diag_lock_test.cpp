// The diagnostic manager beside fork, signal handlers, cancellation, stopped readers and slow sinks. A record never
// waits for ever, and none waits for a key that is not its own.
#include "orva_diag.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "miro_host.h"
#include "orva_comm.h"
#include "orva_drvadp_comm.h"
#include "system_support.h"
#include "tova.h"

namespace {

std::atomic<bool> g_isDumpSlow{false};
std::atomic<unsigned> g_dumpLines{0};
void on_dump_line();

} // namespace

// In the place of the platform's: the dump's sink.
extern "C" uint32_t TOVA_PLogByProcName(uint32_t, const char *, uint32_t, uint32_t, const char *, ...) {
    ++g_dumpLines;
    if (g_isDumpSlow) {
        on_dump_line();
    }
    return 0;
}

namespace {

using namespace orva_test;

constexpr std::uint32_t kDiagId = 5;
constexpr std::uint32_t kOtherId = 6;
constexpr unsigned kPatienceSeconds = 60; // a hang ends the test case by its alarm

std::uint32_t now(const std::uint32_t &field) {
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
}

std::uint32_t ask(std::uint32_t diagId, std::uint32_t keyId) {
    return ORVA_DiagMgrNeedRestrain(diagId, keyId, "orva_diag_lock_test", 1, "key %u", keyId);
}

OrvaDiagNode *node_of(std::uint32_t diagId) {
    return g_orvaDiagMgr->nodes[diagId];
}

// The item of a key; nothing else may use the tree meanwhile.
OrvaDiagItem *item_of(std::uint32_t diagId, std::uint32_t keyId) {
    return static_cast<OrvaDiagItem *>(MIRO_AVL_Find(&node_of(diagId)->tree, &keyId));
}

bool mutex_is_free() {
    if (pthread_mutex_trylock(static_cast<pthread_mutex_t *>(g_orvaDiagMgr->mutex)) != 0) {
        return false;
    }
    ORVA_MutexV(g_orvaDiagMgr->mutex);
    return true;
}

void wait_until(const std::function<bool()> &condition) {
    while (!condition()) {
        std::this_thread::yield();
    }
}

// ---- A hook inside the platform's look-up and insertion

thread_local void (*t_hook)() = nullptr; // called once by the next comparison of the thread

std::int32_t hooked_compare(const void *a, const void *b) {
    if (t_hook != nullptr) {
        void (*const hook)() = t_hook;
        t_hook = nullptr;
        hook();
    }
    return ORVA_DiagTreeKeyCompare(a, b);
}

std::atomic<unsigned> g_stopped{0};
std::atomic<bool> g_mayGoOn{false};

void stop_here() {
    ++g_stopped;
    wait_until([] { return g_mayGoOn.load(); });
}

class DiagLock : public ::testing::Test {
protected:
    void SetUp() override {
        alarm(kPatienceSeconds);
        std::uint32_t handle = 0;
        ASSERT_EQ(MIRO_HostStart(nullptr, &handle), MIRO_HOST_OK);
        ORVA_SetMemHandle(handle);
        ASSERT_EQ(ORVA_CreateMemPt(), ORVA_OK);
        ORVA_DRVADP_GetSelfSlotVar();
        ASSERT_EQ(ORVA_DiagInit(10, 0), ORVA_OK);
        for (const std::uint32_t diagId : {kDiagId, kOtherId}) {
            ASSERT_EQ(ask(diagId, 1), 0u);
            ASSERT_EQ(ask(diagId, 2), 0u);
            node_of(diagId)->tree.compare = hooked_compare;
        }
    }
    void TearDown() override {
        alarm(0);
    }

    static void expect_failures(std::uint32_t count, std::uint32_t line) {
        EXPECT_EQ(now(g_orvaDiagMgr->uiErrCount), count);
        EXPECT_EQ(now(g_orvaDiagMgr->uiErrLine), line);
    }
};

// ---- Stopped readers

TEST_F(DiagLock, StoppedReader_HoldsUpNoRecordAndNewKeysAreLetThrough) {
    std::thread reader([] {
        t_hook = stop_here;
        EXPECT_EQ(ask(kDiagId, 1), 0u);
    });
    wait_until([] { return g_stopped == 1; });
    for (std::uint32_t key = 100; key < 105; ++key) {
        EXPECT_EQ(ask(kOtherId, 1), 0u);
        EXPECT_EQ(ask(kOtherId, key), 0u);
    }
    expect_failures(5, ORVA_DIAG_ERR_LINE_NO_ITEM);
    EXPECT_TRUE(mutex_is_free());
    EXPECT_EQ(now(node_of(kOtherId)->itemCount), 2u);

    g_mayGoOn = true;
    reader.join();
    EXPECT_EQ(ask(kOtherId, 100), 0u);
    expect_failures(5, ORVA_DIAG_ERR_LINE_NO_ITEM);
    ASSERT_NE(item_of(kOtherId, 100), nullptr);
    EXPECT_EQ(item_of(kOtherId, 1)->successNum, 6u);
}

// Two processors of this process, or fewer.
std::vector<int> processors() {
    cpu_set_t set;
    CPU_ZERO(&set);
    sched_getaffinity(0, sizeof set, &set);
    std::vector<int> found;
    for (int cpu = 0; cpu < CPU_SETSIZE && found.size() < 2; ++cpu) {
        if (CPU_ISSET(cpu, &set)) {
            found.push_back(cpu);
        }
    }
    return found;
}

void run_on(int cpu) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    ASSERT_EQ(sched_setaffinity(0, sizeof set, &set), 0);
}

// The reader is ready to run, but a real-time thread does not leave its processor.
TEST_F(DiagLock, HoggedReader_HoldsUpNoRecord) {
    const std::vector<int> cpus = processors();
    if (cpus.size() < 2) {
        GTEST_SKIP() << "one processor only";
    }
    run_on(cpus[0]);
    std::thread reader([&] {
        run_on(cpus[1]);
        t_hook = stop_here;
        EXPECT_EQ(ask(kDiagId, 1), 0u);
    });
    wait_until([] { return g_stopped == 1; });
    std::atomic<int> hogState{0};
    std::thread hog([&] {
        run_on(cpus[1]);
        const sched_param priority{.sched_priority = 1};
        if (pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority) != 0) {
            hogState = -1;
            return;
        }
        hogState = 1;
        while (hogState == 1) {
        }
    });
    wait_until([&] { return hogState != 0; });
    if (hogState == 1) {
        EXPECT_EQ(ask(kOtherId, 1), 0u);
        EXPECT_EQ(ask(kOtherId, 100), 0u);
        expect_failures(1, ORVA_DIAG_ERR_LINE_NO_ITEM);
        EXPECT_TRUE(mutex_is_free());
        hogState = 2;
    }
    hog.join();
    g_mayGoOn = true;
    reader.join();
    if (hogState == -1) {
        GTEST_SKIP() << "real-time scheduling is not allowed";
    }
}

// ---- Signal handlers

std::uint32_t g_handlersDiagId, g_handlersKey, g_handlersResult;

void log_in_handler(int) {
    g_handlersResult = ask(g_handlersDiagId, g_handlersKey);
}

void raise_signal() {
    raise(SIGUSR1);
}

// Asks for a key while a handler that asks for another one interrupts the next comparison.
void ask_with_handler(std::uint32_t keyId, std::uint32_t handlersDiagId, std::uint32_t handlersKey) {
    signal(SIGUSR1, log_in_handler);
    g_handlersDiagId = handlersDiagId;
    g_handlersKey = handlersKey;
    g_handlersResult = 99;
    t_hook = raise_signal;
    EXPECT_EQ(ask(kDiagId, keyId), 0u);
    EXPECT_EQ(t_hook, nullptr);
    EXPECT_EQ(g_handlersResult, 0u);
    EXPECT_TRUE(mutex_is_free());
}

TEST_F(DiagLock, Handler_OfAReadersThreadCountsKnownKeysAndLetsNewOnesThrough) {
    ask_with_handler(1, kDiagId, 2);
    EXPECT_EQ(item_of(kDiagId, 2)->successNum, 2u);
    expect_failures(0, 0);
    ask_with_handler(1, kDiagId, 77);
    expect_failures(1, ORVA_DIAG_ERR_LINE_NO_ITEM);
    ask_with_handler(1, kOtherId, 77);
    expect_failures(2, ORVA_DIAG_ERR_LINE_NO_ITEM);
    ask_with_handler(1, 9, 77); // an id without a node: none is allocated
    expect_failures(3, ORVA_DIAG_ERR_LINE_NO_NODE);
    EXPECT_EQ(node_of(9), nullptr);
    EXPECT_EQ(ask(kDiagId, 77), 0u);
    EXPECT_EQ(item_of(kDiagId, 77)->successNum, 1u);
    EXPECT_EQ(item_of(kDiagId, 1)->successNum, 5u);
}

unsigned g_comparisons;

// The first comparison of a new key is its look-up's; this hook waits for the insertion's.
void raise_in_insertion() {
    if (++g_comparisons < 3) {
        t_hook = raise_in_insertion;
        return;
    }
    raise(SIGUSR1);
}

TEST_F(DiagLock, Handler_OfAnInsertersThreadLetsEveryRecordThrough) {
    signal(SIGUSR1, log_in_handler);
    g_handlersDiagId = kDiagId;
    g_handlersKey = 1;
    g_handlersResult = 99;
    t_hook = raise_in_insertion; // two items: at most two comparisons in the look-up
    EXPECT_EQ(ask(kDiagId, 50), 0u);
    EXPECT_EQ(t_hook, nullptr);
    EXPECT_EQ(g_handlersResult, 0u);
    expect_failures(1, ORVA_DIAG_ERR_LINE_NO_ITEM);
    EXPECT_EQ(item_of(kDiagId, 1)->successNum, 1u);
    EXPECT_EQ(item_of(kDiagId, 50)->successNum, 1u);
    EXPECT_EQ(ask(kDiagId, 1), 0u);
    EXPECT_EQ(item_of(kDiagId, 1)->successNum, 2u);
}

// ---- Cancellation

void stop_at_a_cancellation_point() {
    ++g_stopped;
    while (!g_mayGoOn) {
        pthread_testcancel();
        std::this_thread::yield();
    }
    pthread_testcancel();
}

void *read_and_wait(void *) {
    t_hook = stop_at_a_cancellation_point;
    ask(kDiagId, 1);
    for (;;) {
        pause(); // a cancellation point
    }
}

TEST_F(DiagLock, Cancelled_ReaderLeavesNoMark) {
    pthread_t reader;
    ASSERT_EQ(pthread_create(&reader, nullptr, read_and_wait, nullptr), 0);
    wait_until([] { return g_stopped == 1; });
    EXPECT_EQ(ask(kDiagId, 76), 0u); // its mark is set
    expect_failures(1, ORVA_DIAG_ERR_LINE_NO_ITEM);
    ASSERT_EQ(pthread_cancel(reader), 0);
    void *result = nullptr;
    ASSERT_EQ(pthread_join(reader, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_TRUE(mutex_is_free());
    EXPECT_EQ(ask(kDiagId, 77), 0u);
    EXPECT_NE(item_of(kDiagId, 77), nullptr);
    expect_failures(1, ORVA_DIAG_ERR_LINE_NO_ITEM);
}

// A handler of a reader's thread looks up inside the mutex, and there cancellation is held off.
void decide_in_handler(int) {
    t_hook = stop_at_a_cancellation_point;
    ask(kDiagId, 1);
}

void *read_and_be_interrupted(void *) {
    t_hook = [] { raise(SIGUSR1); };
    ask(kDiagId, 1);
    for (;;) {
        pause();
    }
}

TEST_F(DiagLock, Cancelled_HandlerOfAReaderLeavesNeitherMutexNorMark) {
    struct sigaction action = {};
    action.sa_handler = decide_in_handler;
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    pthread_t reader;
    ASSERT_EQ(pthread_create(&reader, nullptr, read_and_be_interrupted, nullptr), 0);
    wait_until([] { return g_stopped == 1; });
    ASSERT_EQ(pthread_cancel(reader), 0);
    g_mayGoOn = true;
    ASSERT_EQ(pthread_join(reader, nullptr), 0);
    EXPECT_TRUE(mutex_is_free());
    EXPECT_EQ(ask(kDiagId, 77), 0u);
    EXPECT_NE(item_of(kDiagId, 77), nullptr);
    expect_failures(0, 0);
}

void *insert_for_ever(void *) {
    for (std::uint32_t key = 1000;; ++key) {
        ask(kOtherId, key);
        pthread_testcancel();
    }
}

// The writer is nearly always in its pause between two tries.
TEST_F(DiagLock, Cancelled_WriterLeavesTheMutexFree) {
    std::thread reader([] {
        t_hook = stop_here;
        EXPECT_EQ(ask(kDiagId, 1), 0u);
    });
    wait_until([] { return g_stopped == 1; });
    pthread_t writer;
    ASSERT_EQ(pthread_create(&writer, nullptr, insert_for_ever, nullptr), 0);
    wait_until([] { return now(g_orvaDiagMgr->uiErrCount) >= 3; });
    ASSERT_EQ(pthread_cancel(writer), 0);
    ASSERT_EQ(pthread_join(writer, nullptr), 0);
    EXPECT_TRUE(mutex_is_free());
    g_mayGoOn = true;
    reader.join();
    EXPECT_EQ(ask(kOtherId, 77), 0u);
    EXPECT_NE(item_of(kOtherId, 77), nullptr);
}

// ---- Fork

constexpr int kChildOk = 0;

// What a child does that was forked while other threads log: new keys and ids are counted, known ones decided.
int log_in_child(std::uint32_t round) {
    const std::uint32_t failures = g_orvaDiagMgr->uiErrCount;
    const std::uint32_t key = 0x80000000 + round;
    for (const std::uint32_t diagId : {kDiagId, kOtherId, 9u}) {
        if (ask(diagId, key) != 0 || item_of(diagId, key) == nullptr || item_of(diagId, key)->successNum != 1) {
            return 1;
        }
    }
    ask(kDiagId, 1);
    ORVA_DiagMgrTimerSchdule();
    return g_orvaDiagMgr->uiErrCount == failures && mutex_is_free() ? kChildOk : 2;
}

TEST_F(DiagLock, Fork_ChildrenOfALoggingProcessLogNewKeys) {
    constexpr std::uint32_t kForks = 300;
    constexpr std::uint32_t kThreads = 3;
    std::atomic<bool> isDone{false};
    std::vector<std::thread> threads;
    for (std::uint32_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (std::uint32_t key = 0; !isDone; ++key) {
                ask(kDiagId, 1);
                ask(kOtherId, 10000 * thread + key % 10000);
            }
        });
    }
    unsigned broken = 0;
    for (std::uint32_t round = 0; round < kForks; ++round) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            alarm(10);
            _exit(log_in_child(round));
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        broken += WIFEXITED(status) && WEXITSTATUS(status) == kChildOk ? 0 : 1;
    }
    isDone = true;
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(broken, 0u);
    EXPECT_TRUE(mutex_is_free());
}

void fork_here() {
    const pid_t child = fork();
    if (child == 0) {
        alarm(10);
        const bool isLetThrough = ask(kDiagId, 300) == 0 && ask(kDiagId, 1) == 0;
        _exit(isLetThrough ? kChildOk : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == kChildOk);
}

// As a signal handler may.
TEST_F(DiagLock, Fork_InsideALookupHangsNeitherProcess) {
    t_hook = fork_here;
    EXPECT_EQ(ask(kDiagId, 1), 0u);
    EXPECT_TRUE(mutex_is_free());
    EXPECT_EQ(ask(kDiagId, 50), 0u);
    EXPECT_NE(item_of(kDiagId, 50), nullptr);
}

// ---- Dump

std::uint32_t g_nextKey = 5000;

// A sink that waits for a thread which asks the manager.
void on_dump_line() {
    EXPECT_TRUE(mutex_is_free());
    std::thread([] {
        EXPECT_EQ(ask(kDiagId, g_nextKey), 0u);
        EXPECT_EQ(ask(kOtherId, g_nextKey++), 0u);
    }).join();
}

TEST_F(DiagLock, Dump_HoldsNoMutexWhileItPrints) {
    g_isDumpSlow = true;
    ORVA_DiagMgrPrintLocalData();
    g_isDumpSlow = false;
    // Manager, two nodes, their items and the end. Each line before a node's items adds one; the dump still ends.
    EXPECT_GE(g_dumpLines, 8u);
    EXPECT_LE(g_dumpLines, 1000u);
    expect_failures(0, 0);
}

TEST_F(DiagLock, Dump_PrintsEveryItemOfALargeNodeOnce) {
    constexpr std::uint32_t kKeys = 1000;
    for (std::uint32_t key = 3; key <= kKeys; ++key) {
        ASSERT_EQ(ask(kDiagId, key), 0u);
    }
    ORVA_DiagMgrPrintLocalData();
    EXPECT_EQ(g_dumpLines, 1 + 1 + kKeys + 1 + 2 + 1);
}

} // namespace
