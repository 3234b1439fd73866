#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <pthread.h>
#include <string>
#include <thread>
#include <vector>

#include "log_line.h"
#include "orva_comm.h"
#include "platform_double.h"

using namespace orva_test;
using Records = std::vector<std::string>;

namespace {

void entry(void *) {}

std::uint64_t key_of(const void *object) {
    return reinterpret_cast<std::uintptr_t>(object);
}

} // namespace

class Thread : public PlatformTest {};
class Mutex : public PlatformTest {};

// ---- Threads

TEST_F(Thread, CreatThreadNew_PassesEverythingToThePlatform) {
    int argument = 0;
    std::uint32_t id = 0;
    EXPECT_EQ(ORVA_CreatThreadNew(entry, &argument, "OrvaThread", 0x20000, &id), 0u);
    EXPECT_EQ(id, 0x51u);
    EXPECT_EQ(platform().calls, Records{"MIRO_TaskCreate(\"OrvaThread\", 0xff, 0x20000, 0x0, set)"});
    EXPECT_EQ(platform().lastTaskEntry, entry);
    EXPECT_EQ(platform().lastTaskArgument, &argument);
}

TEST_F(Thread, CreatThreadNew_TruncatesTheNameAt29Characters) {
    std::uint32_t id = 0;
    const std::string name = "0123456789012345678901234567890123456789";
    for (const std::size_t length : {0u, 28u, 29u, 30u, 40u}) {
        platform().calls.clear();
        EXPECT_EQ(ORVA_CreatThreadNew(entry, nullptr, name.substr(0, length).c_str(), 0, &id), 0u);
        EXPECT_EQ(platform().calls, Records{"MIRO_TaskCreate(\"" + name.substr(0, std::min<std::size_t>(length, 29)) +
                                            "\", 0xff, 0x0, 0x0, 0)"});
    }
}

TEST_F(Thread, CreatThreadNew_NameIsNotAFormat) {
    std::uint32_t id = 0;
    EXPECT_EQ(ORVA_CreatThreadNew(entry, nullptr, "%s%n%d", 0, &id), 0u);
    EXPECT_EQ(platform().calls, Records{"MIRO_TaskCreate(\"%s%n%d\", 0xff, 0x0, 0x0, 0)"});
}

TEST_F(Thread, CreatThreadNew_NullArgumentsHaveTheirCode) {
    std::uint32_t id = 77;
    EXPECT_EQ(ORVA_CreatThreadNew(nullptr, nullptr, "name", 0, &id), ORVA_ERR_THREAD_ARGUMENT);
    EXPECT_EQ(ORVA_CreatThreadNew(entry, nullptr, nullptr, 0, &id), ORVA_ERR_THREAD_ARGUMENT);
    EXPECT_EQ(ORVA_CreatThreadNew(entry, nullptr, "name", 0, nullptr), ORVA_ERR_THREAD_ARGUMENT);
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(calls_of("MIRO_TaskCreate"), 0u);
}

TEST_F(Thread, CreatThreadNew_FormatFailureStartsNothing) {
    std::uint32_t id = 77;
    fail("snprintf_s", 1, -1);
    EXPECT_EQ(ORVA_CreatThreadNew(entry, nullptr, "name", 0, &id), 1u);
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(calls_of("MIRO_TaskCreate"), 0u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Thread, CreatThreadNew_PlatformCodeIsReturnedUnchanged) {
    std::uint32_t id = 77;
    fail("MIRO_TaskCreate", 1, 0xDEADBEEF);
    EXPECT_EQ(ORVA_CreatThreadNew(entry, nullptr, "name", 0, &id), 0xDEADBEEFu);
    EXPECT_EQ(id, 77u);
}

// ---- Mutexes

TEST_F(Mutex, CreatMutex_RegistersTheObjectInTheFirstFreeEntry) {
    void *first = nullptr;
    void *second = nullptr;
    ASSERT_EQ(ORVA_CreatMutex(0xAA, &first), 0u);
    ASSERT_EQ(ORVA_CreatMutex(0xBB, &second), 0u);
    expect_live_blocks(2);
    EXPECT_EQ(g_orvaCommLocal.semTable[0].key, key_of(first));
    EXPECT_EQ(g_orvaCommLocal.semTable[0].tag, 0xAAu);
    EXPECT_EQ(g_orvaCommLocal.semTable[0].inUse, 1u);
    EXPECT_EQ(g_orvaCommLocal.semTable[1].key, key_of(second));
    EXPECT_EQ(g_orvaCommLocal.semTable[1].tag, 0xBBu);
    EXPECT_EQ(g_orvaCommLocal.semTable[2].inUse, 0u);
    EXPECT_EQ(ORVA_FindSemById(key_of(second)), &g_orvaCommLocal.semTable[1]);
    EXPECT_EQ(platform().allocations[0].size, sizeof(pthread_mutex_t));
    EXPECT_EQ(platform().allocations[0].file, "src/comm/orva_comm");
    EXPECT_EQ(calls_of("pthread_mutexattr_destroy"), 0u);
}

TEST_F(Mutex, CreatMutex_NullPointerHasItsCode) {
    EXPECT_EQ(ORVA_CreatMutex(1, nullptr), ORVA_ERR_MUTEX_CREATE_ARGUMENT);
    EXPECT_EQ(calls_of("pthread_mutexattr_init"), 0u);
}

TEST_F(Mutex, CreatMutex_WithoutMemoryDestroysTheAttribute) {
    void *mutex = &mutex;
    fail("MIRO_MemAlloc_F", 1, 0);
    EXPECT_EQ(ORVA_CreatMutex(1, &mutex), ORVA_ERR_MUTEX_CREATE_MEMORY);
    ORVA_SetMemHandle(0);
    EXPECT_EQ(ORVA_CreatMutex(1, &mutex), ORVA_ERR_MUTEX_CREATE_MEMORY);
    EXPECT_EQ(mutex, &mutex);
    EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), 1u);
    EXPECT_EQ(calls_of("pthread_mutexattr_destroy"), 2u);
    EXPECT_EQ(calls_of("pthread_mutex_init"), 0u);
    EXPECT_EQ(g_orvaCommLocal.semTable[0].inUse, 0u);
    EXPECT_TRUE(take_logs().empty());
}

struct MutexFailure {
    const char *call;
    int error;
    const char *record;
    unsigned destroyed;
};

constexpr MutexFailure kMutexFailures[] = {
    {"pthread_mutexattr_init", 12, "PLog(0x3, orva, 0x8, 0x2) Failed to init mutex attr: ret is 0xc", 0},
    {"pthread_mutexattr_settype", 22, "PLog(0x3, orva, 0x8, 0x2) Failed to set mutex attr: ret is 0x16", 1},
    {"pthread_mutex_init", 11, "PLog(0x3, orva, 0x8, 0x2) Failed to init mutex : ret is 0xb", 1},
};

TEST_F(Mutex, CreatMutex_PosixFailureIsRecordedAndReturned) {
    for (const MutexFailure &failure : kMutexFailures) {
        SCOPED_TRACE(failure.call);
        const unsigned before = calls_of("pthread_mutexattr_destroy");
        void *mutex = &mutex;
        fail(failure.call, 1, failure.error);
        EXPECT_EQ(ORVA_CreatMutex(1, &mutex), static_cast<std::uint32_t>(failure.error));
        EXPECT_EQ(mutex, &mutex);
        EXPECT_EQ(take_logs(), Records{failure.record});
        EXPECT_EQ(calls_of("pthread_mutexattr_destroy") - before, failure.destroyed);
        EXPECT_EQ(live_blocks(), 0u);
        EXPECT_EQ(g_orvaCommLocal.semTable[0].inUse, 0u);
    }
}

TEST_F(Mutex, CreatMutex_FailedInitialisationDestroysTheAttributeBeforeItFreesTheObject) {
    std::size_t liveAtDestroy = 0;
    libc().pthread_mutexattr_destroy = [&](pthread_mutexattr_t *) {
        liveAtDestroy = live_blocks();
        return 0;
    };
    void *mutex = nullptr;
    fail("pthread_mutex_init", 1, 12);
    ORVA_CreatMutex(1, &mutex);
    EXPECT_EQ(liveAtDestroy, 1u);
}

TEST_F(Mutex, AllocationWalk_FailureLeavesNothingBehind) {
    void *mutex = nullptr;
    std::uint32_t result = 0;
    EXPECT_EQ(walk_allocation_failures([&] { result = ORVA_CreatMutex(1, &mutex); },
                                       [&](unsigned) {
                                           EXPECT_EQ(result, ORVA_ERR_MUTEX_CREATE_MEMORY);
                                           EXPECT_EQ(mutex, nullptr);
                                           EXPECT_EQ(live_blocks(), 0u);
                                           EXPECT_EQ(g_orvaCommLocal.semTable[0].inUse, 0u);
                                       }),
              1u);
    expect_live_blocks(1);
}

TEST_F(Mutex, Locks_CountPerThread) {
    void *mutex = nullptr;
    ASSERT_EQ(ORVA_CreatMutex(1, &mutex), 0u);
    expect_live_blocks(1);
    ASSERT_EQ(ORVA_MutexP(mutex), 0u);
    ASSERT_EQ(ORVA_MutexP(mutex), 0u);
    int free = 0;
    const auto try_from_another_thread = [&] {
        std::thread([&] {
            free = pthread_mutex_trylock(static_cast<pthread_mutex_t *>(mutex));
            if (free == 0) {
                pthread_mutex_unlock(static_cast<pthread_mutex_t *>(mutex));
            }
        }).join();
        return free;
    };
    EXPECT_EQ(try_from_another_thread(), EBUSY);
    EXPECT_EQ(ORVA_MutexV(mutex), 0);
    EXPECT_EQ(try_from_another_thread(), EBUSY);
    EXPECT_EQ(ORVA_MutexV(mutex), 0);
    EXPECT_EQ(try_from_another_thread(), 0);
}

TEST_F(Mutex, MutexP_WaitsForTheOwnerAndGuardsWhatItProtects) {
    void *mutex = nullptr;
    ASSERT_EQ(ORVA_CreatMutex(1, &mutex), 0u);
    expect_live_blocks(1);
    constexpr int kRounds = 2000;
    int shared = 0;
    const auto count = [&] {
        for (int i = 0; i < kRounds; ++i) {
            ASSERT_EQ(ORVA_MutexP(mutex), 0u);
            const int seen = shared;
            shared = seen + 1;
            ASSERT_EQ(ORVA_MutexV(mutex), 0);
        }
    };
    std::thread other(count);
    count();
    other.join();
    EXPECT_EQ(shared, 2 * kRounds);
}

TEST_F(Mutex, MutexP_InvalidPointersHaveTheirCode) {
    EXPECT_EQ(ORVA_MutexP(nullptr), ORVA_ERR_MUTEX_INVALID);
    EXPECT_EQ(ORVA_MutexP(reinterpret_cast<void *>(UINTPTR_MAX)), ORVA_ERR_MUTEX_INVALID);
    EXPECT_EQ(calls_of("pthread_mutex_lock"), 0u);
}

TEST_F(Mutex, MutexP_FailedLockHasItsCode) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    fail("pthread_mutex_lock", 1, EDEADLK);
    EXPECT_EQ(ORVA_MutexP(&mutex), ORVA_ERR_MUTEX_LOCK);
}

TEST_F(Mutex, MutexV_ReturnsThePosixResult) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    for (const int error : {EPERM, EINVAL, -1}) {
        fail("pthread_mutex_unlock", 1, error);
        EXPECT_EQ(ORVA_MutexV(&mutex), error);
    }
}

// ---- Registration

TEST_F(Mutex, FullTable_StillGivesAUsableMutexThatIsNotFound) {
    for (std::uint32_t i = 0; i < 1024; ++i) {
        ORVA_AddSemTable(i + 1, i);
    }
    EXPECT_EQ(g_orvaCommLocal.semTable[1023].key, 1024u);
    EXPECT_EQ(g_orvaCommLocal.semTable[1023].tag, 1023u);
    const OrvaCommLocal before = g_orvaCommLocal;
    void *mutex = nullptr;
    EXPECT_EQ(ORVA_CreatMutex(5, &mutex), 0u);
    expect_live_blocks(1);
    EXPECT_EQ(std::memcmp(&before, &g_orvaCommLocal, sizeof before), 0);
    EXPECT_EQ(ORVA_FindSemById(key_of(mutex)), nullptr);
    EXPECT_EQ(ORVA_MutexP(mutex), 0u);
    EXPECT_EQ(ORVA_MutexV(mutex), 0);
}

TEST_F(Mutex, AddSemTable_FillsTheFirstGap) {
    ORVA_AddSemTable(10, 1);
    ORVA_AddSemTable(20, 2);
    ORVA_AddSemTable(30, 3);
    g_orvaCommLocal.semTable[1].inUse = 0;
    EXPECT_EQ(ORVA_FindSemById(20), nullptr);
    ORVA_AddSemTable(40, 4);
    EXPECT_EQ(g_orvaCommLocal.semTable[1].key, 40u);
    EXPECT_EQ(g_orvaCommLocal.semTable[1].tag, 4u);
    EXPECT_EQ(g_orvaCommLocal.semTable[1].inUse, 1u);
    EXPECT_EQ(g_orvaCommLocal.semTable[3].inUse, 0u);
}

TEST_F(Mutex, FindSemById_GivesTheFirstEntryOfTheKey) {
    EXPECT_EQ(ORVA_FindSemById(0), nullptr);
    ORVA_AddSemTable(7, 1);
    ORVA_AddSemTable(7, 2);
    ORVA_AddSemTable(0x100000007, 3);
    EXPECT_EQ(ORVA_FindSemById(7), &g_orvaCommLocal.semTable[0]);
    EXPECT_EQ(ORVA_FindSemById(0x100000007), &g_orvaCommLocal.semTable[2]);
    EXPECT_EQ(ORVA_FindSemById(8), nullptr);
}
