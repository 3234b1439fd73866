#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <numeric>
#include <string>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>
#include <vector>

#include "log_line.h"
#include "orva_comm.h"
#include "orva_debugging.h"
#include "orva_drvadp_comm.h"
#include "orva_imlib.h"
#include "platform_double.h"

using namespace orva_test;
using Records = std::vector<std::string>;

namespace {

struct Message {
    std::int64_t type;
    std::string payload;
};

constexpr int kQueue = 0x17;

// One queue of the kernel's, in memory: serves msgsnd, msgrcv, msgget and msgctl and keeps how they were called.
struct FakeQueue {
    std::deque<Message> waiting;
    std::vector<int> sendFlags, receiveFlags, ids, removed;
    std::vector<long> receiveTypes;
    std::deque<int> identifiers; // what msgget returns, then kQueue

    void serve() {
        libc().msgsnd = [this](int id, const void *message, size_t size, int flags) {
            ids.push_back(id);
            sendFlags.push_back(flags);
            std::int64_t type = 0;
            std::memcpy(&type, message, sizeof type);
            waiting.push_back({type, std::string(static_cast<const char *>(message) + sizeof type, size)});
            return 0;
        };
        libc().msgrcv = [this](int id, void *message, size_t size, long type, int flags) -> ssize_t {
            ids.push_back(id);
            receiveFlags.push_back(flags);
            receiveTypes.push_back(type);
            if (waiting.empty()) {
                errno = ENOMSG;
                return -1;
            }
            if (waiting.front().payload.size() > size) {
                errno = E2BIG;
                return -1;
            }
            const Message taken = waiting.front();
            waiting.pop_front();
            std::memcpy(message, &taken.type, sizeof taken.type);
            std::memcpy(static_cast<char *>(message) + sizeof taken.type, taken.payload.data(), taken.payload.size());
            return static_cast<ssize_t>(taken.payload.size());
        };
        libc().msgget = [this](key_t, int) {
            if (identifiers.empty()) {
                return kQueue;
            }
            const int id = identifiers.front();
            identifiers.pop_front();
            return id;
        };
        libc().msgctl = [this](int id, int command, struct msqid_ds *descriptor) {
            EXPECT_EQ(command, IPC_RMID);
            const msqid_ds zeroed{};
            EXPECT_NE(descriptor, nullptr);
            EXPECT_EQ(std::memcmp(descriptor, &zeroed, sizeof zeroed), 0);
            removed.push_back(id);
            return 0;
        };
    }
};

std::string g_debugText;

std::uint32_t keep_debug_text(OrvaDebugRecord record, const char *name, std::uint32_t id, const char *format, ...) {
    char text[600];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    g_debugText = std::to_string(record.zero) + " " + name + " " + std::to_string(id) + " " + text;
    return 0;
}

} // namespace

class Queue : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        queue_.serve();
    }

    FakeQueue queue_;
};

TEST(QueueAtLoad, SingleProcessFlag_IsOff) {
    EXPECT_EQ(g_orvaIsSingleProcess, 0u);
    EXPECT_EQ(ORVA_GetSingleProcess(), 0u);
}

TEST_F(Queue, SetSingleProcess_StoresTheWholeWord) {
    for (const std::uint32_t flag : {1u, 0x80000000u, 0u}) {
        ORVA_SetSingleProcess(flag);
        EXPECT_EQ(ORVA_GetSingleProcess(), flag);
        EXPECT_EQ(g_orvaIsSingleProcess, flag);
    }
}

// ---- Write

TEST_F(Queue, Write_SendsTypeAndPayloadFromOneClearedBufferThatIsFreed) {
    bool cleared = false;
    libc().msgsnd = [&](int id, const void *message, size_t size, int flags) {
        const auto *bytes = static_cast<const unsigned char *>(message);
        const std::array<unsigned char, 11> expected = {100, 0, 0, 0, 0, 0, 0, 0, 'a', 'b', 'c'};
        EXPECT_EQ(std::memcmp(bytes, expected.data(), expected.size()), 0);
        cleared = std::count(bytes + 11, bytes + 2568, 0) == 2557;
        EXPECT_EQ(id, kQueue);
        EXPECT_EQ(size, 3u);
        EXPECT_EQ(flags, 0x1000);
        return 0;
    };
    EXPECT_EQ(ORVA_QueueWrite(kQueue, "abc", 3, 0x1000), 0u);
    EXPECT_TRUE(cleared);
    ASSERT_EQ(platform().allocations.size(), 1u);
    EXPECT_EQ(platform().allocations[0].size, 2568u);
    EXPECT_EQ(platform().allocations[0].file, "src/comm/orva_comm");
    ASSERT_EQ(platform().frees.size(), 1u);
    EXPECT_EQ(platform().frees[0].file, "src/comm/orva_comm");
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Queue, Write_TakesLengthsUpToTheBound) {
    const std::string payload(2561, 'x');
    for (const std::uint32_t length : {0u, 1u, 2559u, 2560u}) {
        EXPECT_EQ(ORVA_QueueWrite(kQueue, payload.data(), length, 0), 0u) << length;
        ASSERT_EQ(queue_.waiting.size(), 1u);
        EXPECT_EQ(queue_.waiting[0].payload, payload.substr(0, length));
        EXPECT_EQ(queue_.waiting[0].type, 100);
        queue_.waiting.clear();
    }
    for (const std::uint32_t length : {2561u, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(ORVA_QueueWrite(kQueue, payload.data(), length, 0), ORVA_ERR_QUEUE_WRITE_ARGUMENT) << length;
    }
    EXPECT_TRUE(queue_.waiting.empty());
}

TEST_F(Queue, Write_NullPayloadIsRefusedBeforeAnythingElse) {
    EXPECT_EQ(ORVA_QueueWrite(kQueue, nullptr, 0, 0), ORVA_ERR_QUEUE_WRITE_ARGUMENT);
    EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), 0u);
    EXPECT_EQ(calls_of("msgsnd"), 0u);
}

TEST_F(Queue, Write_WithoutMemoryHasItsCode) {
    fail("MIRO_MemAlloc_F", 1, 0);
    EXPECT_EQ(ORVA_QueueWrite(kQueue, "abc", 3, 0), ORVA_ERR_QUEUE_WRITE_MEMORY);
    ORVA_SetMemHandle(0);
    EXPECT_EQ(ORVA_QueueWrite(kQueue, "abc", 3, 0), ORVA_ERR_QUEUE_WRITE_MEMORY);
    EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), 1u);
    EXPECT_EQ(calls_of("msgsnd"), 0u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Queue, Write_CopyFailureIsRecordedAndSendsNothing) {
    fail("memcpy_s", 1, 34);
    EXPECT_EQ(ORVA_QueueWrite(kQueue, "abc", 3, 0), 1u);
    EXPECT_EQ(calls_of("msgsnd"), 0u);
    EXPECT_EQ(take_logs_without_lines(),
              Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]mem copy error, f=orva_comm, l=N, ret=34"});
}

TEST_F(Queue, Write_CopyFailureFreesBeforeItIsRecorded) {
    std::size_t freed = 0;
    platform().onLog = [&] { freed = platform().frees.size(); };
    fail("memcpy_s", 1, 34);
    EXPECT_EQ(ORVA_QueueWrite(kQueue, "abc", 3, 0), 1u);
    EXPECT_EQ(freed, 1u);
}

TEST_F(Queue, Write_SendFailureHasItsCode) {
    fail("msgsnd", 1, -1, EAGAIN);
    EXPECT_EQ(ORVA_QueueWrite(kQueue, "abc", 3, IPC_NOWAIT), ORVA_ERR_QUEUE_WRITE_SEND);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Queue, SynAndAsyWrite_ChooseTheFlags) {
    EXPECT_EQ(ORVA_QueueSynWrite(kQueue, "abc", 3), 0u);
    EXPECT_EQ(ORVA_QueueAsyWrite(kQueue, "de", 2), 0u);
    EXPECT_EQ(queue_.sendFlags, (std::vector<int>{0, 0x800}));
    ASSERT_EQ(queue_.waiting.size(), 2u);
    EXPECT_EQ(queue_.waiting[0].payload, "abc");
    EXPECT_EQ(queue_.waiting[1].payload, "de");
    EXPECT_EQ(ORVA_QueueSynWrite(kQueue, nullptr, 3), ORVA_ERR_QUEUE_WRITE_ARGUMENT);
    EXPECT_EQ(ORVA_QueueAsyWrite(kQueue, nullptr, 3), ORVA_ERR_QUEUE_WRITE_ARGUMENT);
}

// ---- Read

struct ReadCase {
    const char *name;
    std::int64_t type;
    std::size_t length;
    std::uint32_t bufferSize;
    std::uint32_t expected;
    const char *record; // or null
};

constexpr ReadCase kReads[] = {
    {"one byte", 100, 1, 1, 1, nullptr},
    {"shorter than the buffer", 100, 5, 100, 5, nullptr},
    {"as long as the buffer", 100, 100, 100, 100, nullptr},
    {"longest", 100, 2560, 2560, 2560, nullptr},
    {"empty", 100, 0, 100, 0, nullptr},
    {"longer than the buffer", 100, 200, 100, 0,
     "WriteLog(0x10000, 0x4) [ORVA_COMM][ORVA_LEVEL_DEBUG]Recv msg from queue failed, queId:23, recvSize:200, "
     "msgType:100"},
    {"buffer of no bytes", 100, 1, 0, 0,
     "WriteLog(0x10000, 0x4) [ORVA_COMM][ORVA_LEVEL_DEBUG]Recv msg from queue failed, queId:23, recvSize:1, "
     "msgType:100"},
    {"foreign type", 99, 4, 100, 0,
     "WriteLog(0x10000, 0x4) [ORVA_COMM][ORVA_LEVEL_DEBUG]Recv msg from queue failed, queId:23, recvSize:4, "
     "msgType:99"},
    {"foreign type that ends like ours", 0x100000064, 4, 100, 0,
     "WriteLog(0x10000, 0x4) [ORVA_COMM][ORVA_LEVEL_DEBUG]Recv msg from queue failed, queId:23, recvSize:4, "
     "msgType:100"},
    {"empty of a foreign type", 99, 0, 100, 0, nullptr},
};

TEST_F(Queue, Read_GivesThePayloadOrDiscardsTheMessage) {
    for (const ReadCase &read : kReads) {
        SCOPED_TRACE(read.name);
        std::string payload(read.length, '\0');
        std::iota(payload.begin(), payload.end(), 'A');
        queue_.waiting = {{read.type, payload}};
        std::string buffer(2561, '#');
        EXPECT_EQ(ORVA_QueueRead(kQueue, buffer.data(), read.bufferSize, 0, 0), read.expected);
        EXPECT_EQ(buffer, payload.substr(0, read.expected) + std::string(2561 - read.expected, '#'));
        EXPECT_TRUE(queue_.waiting.empty());
        EXPECT_EQ(take_logs(), read.record == nullptr ? Records{} : Records{read.record});
        EXPECT_EQ(live_blocks(), 0u);
    }
    for (const Allocation &allocation : platform().allocations) {
        EXPECT_EQ(allocation.size, 2568u);
        EXPECT_EQ(allocation.file, "src/comm/orva_comm");
    }
}

TEST_F(Queue, Read_InvalidArgumentsReceiveNothing) {
    queue_.waiting = {{100, "x"}};
    char buffer[8] = {};
    EXPECT_EQ(ORVA_QueueRead(0xFFFFFFFF, buffer, sizeof buffer, 0, 0), 0u);
    EXPECT_EQ(ORVA_QueueRead(kQueue, nullptr, 8, 0, 0), 0u);
    EXPECT_EQ(ORVA_QueueRead(kQueue, buffer, 2561, 0, 0), 0u);
    EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), 0u);
    EXPECT_EQ(calls_of("msgrcv"), 0u);
    EXPECT_EQ(queue_.waiting.size(), 1u);
}

TEST_F(Queue, Read_WithoutMemoryReceivesNothing) {
    queue_.waiting = {{100, "x"}};
    char buffer[8] = {};
    fail("MIRO_MemAlloc_F", 1, 0);
    EXPECT_EQ(ORVA_QueueRead(kQueue, buffer, sizeof buffer, 0, 0), 0u);
    EXPECT_EQ(calls_of("msgrcv"), 0u);
    EXPECT_EQ(queue_.waiting.size(), 1u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Queue, Read_BufferIsClearedBeforeTheKernelFillsIt) {
    char buffer[8] = {};
    libc().msgrcv = [](int, void *message, size_t, long, int) -> ssize_t {
        const auto *bytes = static_cast<const unsigned char *>(message);
        EXPECT_EQ(std::count(bytes, bytes + 2568, 0), 2568);
        return -1;
    };
    EXPECT_EQ(ORVA_QueueRead(kQueue, buffer, sizeof buffer, 0, 0), 0u);
}

TEST_F(Queue, Read_FailedCallIsZeroWithoutARecord) {
    char buffer[8] = {};
    for (const int error : {ENOMSG, EINTR, EIDRM, EINVAL, E2BIG}) {
        fail("msgrcv", 1, -1, error);
        EXPECT_EQ(ORVA_QueueRead(kQueue, buffer, sizeof buffer, 0, 0), 0u) << error;
    }
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Queue, Read_CopyFailureIsRecorded) {
    queue_.waiting = {{100, "abc"}};
    char buffer[8] = {};
    fail("memcpy_s", 1, 22);
    EXPECT_EQ(ORVA_QueueRead(kQueue, buffer, sizeof buffer, 0, 0), 0u);
    EXPECT_TRUE(queue_.waiting.empty());
    EXPECT_EQ(take_logs_without_lines(),
              Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]mem copy error, f=orva_comm, l=N, ret=22"});
}

TEST_F(Queue, Read_DiscardRecordGoesToTheDebugOutputWhenTheGateIsOpen) {
    ORVA_DEBUG_SetLogSwitchOn(0x10000, 0);
    g_selfBoardBase.selfChassis = 1;
    g_selfBoardBase.selfSlot = 3;
    g_OrvaImlib.debug = keep_debug_text;
    queue_.waiting = {{7, "abcd"}};
    char buffer[8] = {};
    EXPECT_EQ(ORVA_QueueRead(kQueue, buffer, sizeof buffer, 0, 0), 0u);
    EXPECT_TRUE(take_logs().empty());
    EXPECT_EQ(g_debugText, "0 NULL 3461070854 [Position: 1/3][ORVA_COMM]Recv msg from queue failed, queId:23, "
                           "recvSize:4, msgType:7");
}

TEST_F(Queue, Read_PassesTypeAndFlagsThroughAndAsksForTheLongestPayload) {
    char buffer[8] = {};
    libc().msgrcv = [](int id, void *, size_t size, long type, int flags) -> ssize_t {
        EXPECT_EQ(id, kQueue);
        EXPECT_EQ(size, 2560u);
        EXPECT_EQ(type, -5);
        EXPECT_EQ(flags, 0x2000);
        return -1;
    };
    ORVA_QueueRead(kQueue, buffer, sizeof buffer, -5, 0x2000);
    EXPECT_EQ(calls_of("msgrcv"), 1u);
}

TEST_F(Queue, SynAndAsyRead_ChooseTheFlags) {
    queue_.waiting = {{100, "abc"}, {100, "de"}};
    char buffer[8] = {};
    EXPECT_EQ(ORVA_QueueSynRead(kQueue, buffer, sizeof buffer, 100), 3u);
    EXPECT_EQ(ORVA_QueueAsyRead(kQueue, buffer, sizeof buffer, 0), 2u);
    EXPECT_EQ(queue_.receiveFlags, (std::vector<int>{0, 0x800}));
    EXPECT_EQ(queue_.receiveTypes, (std::vector<long>{100, 0}));
}

// ---- Clear, delete

TEST_F(Queue, Clear_ReadsUntilNothingIsLeft) {
    queue_.waiting = {{100, "a"}, {100, std::string(2560, 'b')}, {100, "c"}};
    EXPECT_EQ(ORVA_QueueClear(kQueue), 0u);
    EXPECT_TRUE(queue_.waiting.empty());
    EXPECT_EQ(queue_.receiveFlags, std::vector<int>(4, 0x800));
    EXPECT_EQ(queue_.receiveTypes, std::vector<long>(4, 0));
    EXPECT_EQ(platform().allocations.front().size, 2560u);
}

TEST_F(Queue, Clear_EndsAtAForeignOrAnEmptyMessage) {
    queue_.waiting = {{100, "a"}, {5, "foreign"}, {100, "b"}};
    EXPECT_EQ(ORVA_QueueClear(kQueue), 0u);
    EXPECT_EQ(queue_.waiting.size(), 1u);
    queue_.waiting = {{100, ""}, {100, "b"}};
    EXPECT_EQ(ORVA_QueueClear(kQueue), 0u);
    EXPECT_EQ(queue_.waiting.size(), 1u);
}

TEST_F(Queue, Clear_WithoutMemoryHasItsCode) {
    fail("MIRO_MemAlloc_F", 1, 0);
    EXPECT_EQ(ORVA_QueueClear(kQueue), ORVA_ERR_QUEUE_CLEAR_MEMORY);
    ORVA_SetMemHandle(0);
    EXPECT_EQ(ORVA_QueueClear(kQueue), ORVA_ERR_QUEUE_CLEAR_MEMORY);
    EXPECT_EQ(calls_of("msgrcv"), 0u);
}

TEST_F(Queue, Delete_RemovesAQueueAndIgnoresTheResult) {
    ORVA_QueueDelete(kQueue);
    ORVA_QueueDelete(0);
    EXPECT_EQ(queue_.removed, (std::vector<int>{kQueue, 0}));
    fail("msgctl", 1, -1, EPERM);
    ORVA_QueueDelete(kQueue);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Queue, Delete_OfNoQueueDoesNothing) {
    ORVA_QueueDelete(-1);
    ORVA_QueueDelete(INT32_MIN);
    EXPECT_EQ(calls_of("msgctl"), 0u);
}

// ---- Create

TEST_F(Queue, CreateTry_AsksForAPrivateQueueOfTheKey) {
    libc().msgget = [](key_t key, int flags) {
        EXPECT_EQ(key, -0x1234);
        EXPECT_EQ(flags, 0x380);
        return kQueue;
    };
    std::uint32_t id = 0;
    EXPECT_EQ(ORVA_QueueCreateTry(-0x1234, &id), 0u);
    EXPECT_EQ(id, static_cast<std::uint32_t>(kQueue));
    EXPECT_TRUE(queue_.removed.empty());
}

TEST_F(Queue, CreateTry_FailedCallHasItsCode) {
    fail("msgget", 1, -1, EACCES);
    std::uint32_t id = 77;
    EXPECT_EQ(ORVA_QueueCreateTry(1, &id), ORVA_ERR_QUEUE_TRY_GET);
    EXPECT_EQ(id, 77u);
    queue_.identifiers = {0};
    fail("msgget", 2, -1, EACCES);
    EXPECT_EQ(ORVA_QueueCreateTry(1, &id), ORVA_ERR_QUEUE_TRY_GET);
    EXPECT_EQ(queue_.removed, std::vector<int>{0});
    EXPECT_EQ(id, 77u);
}

TEST_F(Queue, CreateTry_HandsOutTheLowestIdentifierAboveZero) {
    queue_.identifiers = {1};
    std::uint32_t id = 77;
    EXPECT_EQ(ORVA_QueueCreateTry(1, &id), 0u);
    EXPECT_EQ(id, 1u);
    EXPECT_TRUE(queue_.removed.empty());
}

TEST_F(Queue, CreateTry_RemovesQueueZeroAndAsksAgain) {
    for (int zeros = 1; zeros <= 4; ++zeros) {
        queue_.identifiers.assign(static_cast<std::size_t>(zeros), 0);
        queue_.removed.clear();
        std::uint32_t id = 77;
        const unsigned before = calls_of("msgget");
        EXPECT_EQ(ORVA_QueueCreateTry(1, &id), 0u);
        EXPECT_EQ(id, static_cast<std::uint32_t>(kQueue));
        EXPECT_EQ(queue_.removed, std::vector<int>(static_cast<std::size_t>(zeros), 0));
        EXPECT_EQ(calls_of("msgget") - before, static_cast<unsigned>(zeros) + 1);
    }
}

TEST_F(Queue, CreateTry_FailsAfterFiveZeros) {
    queue_.identifiers.assign(6, 0);
    std::uint32_t id = 77;
    EXPECT_EQ(ORVA_QueueCreateTry(1, &id), ORVA_ERR_QUEUE_TRY_ZERO);
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(calls_of("msgget"), 5u);
    EXPECT_EQ(queue_.removed, std::vector<int>(5, 0));
}

TEST_F(Queue, CreateTry_NullResultPointerCreatesNothing) {
    EXPECT_EQ(ORVA_QueueCreateTry(1, nullptr), 1u);
    EXPECT_EQ(calls_of("msgget"), 0u);
}

TEST_F(Queue, Create_InvalidArgumentsHaveTheirCode) {
    std::uint32_t id = 77;
    EXPECT_EQ(ORVA_QueueCreate(256, &id), ORVA_ERR_QUEUE_CREATE_ARGUMENT);
    EXPECT_EQ(ORVA_QueueCreate(0xFFFFFFFF, &id), ORVA_ERR_QUEUE_CREATE_ARGUMENT);
    EXPECT_EQ(ORVA_QueueCreate(0, nullptr), ORVA_ERR_QUEUE_CREATE_ARGUMENT);
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(calls_of("getcwd"), 0u);
}

struct KeyCase {
    std::uint32_t singleProcess;
    std::uint32_t module;
    const char *path;
};

constexpr KeyCase kKeys[] = {
    {0, 0, "/usr/local/lib64/liborva_agent_lib.so"},
    {0, 255, "/usr/local/lib64/liborva_agent_lib.so"},
    {1, 3, "/some/folder/orva_agent"},
    {2, 255, "/some/folder/orva_agent"},
};

TEST_F(Queue, Create_TakesTheKeyFromTheFileOfTheProcessMode) {
    libc().getcwd = [](char *buffer, size_t size) {
        EXPECT_EQ(size, 256u);
        return std::strcpy(buffer, "/some/folder");
    };
    for (const KeyCase &row : kKeys) {
        std::string path;
        int project = -1;
        libc().ftok = [&](const char *file, int number) -> key_t {
            path = file;
            project = number;
            return 0x5A010203;
        };
        libc().msgget = [](key_t key, int) { return key == 0x5A010203 ? kQueue : -1; };
        ORVA_SetSingleProcess(row.singleProcess);
        std::uint32_t id = 0;
        EXPECT_EQ(ORVA_QueueCreate(row.module, &id), 0u);
        EXPECT_EQ(id, static_cast<std::uint32_t>(kQueue));
        EXPECT_EQ(path, row.path);
        EXPECT_EQ(project, static_cast<int>(row.module));
        char record[100];
        std::snprintf(record, sizeof record,
                      "PLog(0x1, orva, 0x8, 0x1) keyvalue is 0x5a010203 module is 0x%x queue is 23.", row.module);
        EXPECT_EQ(take_logs(), Records{record});
    }
}

TEST_F(Queue, Create_EmptiesTheQueue) {
    queue_.waiting = {{100, "old"}, {100, "older"}};
    std::uint32_t id = 0;
    EXPECT_EQ(ORVA_QueueCreate(1, &id), 0u);
    EXPECT_TRUE(queue_.waiting.empty());
    EXPECT_EQ(queue_.ids, (std::vector<int>{kQueue, kQueue, kQueue}));
}

TEST_F(Queue, Create_MissingKeyFileIsUsedAsKeyMinusOne) {
    libc().ftok = [](const char *, int) { return -1; };
    key_t asked = 0;
    libc().msgget = [&](key_t key, int) {
        asked = key;
        return kQueue;
    };
    std::uint32_t id = 0;
    EXPECT_EQ(ORVA_QueueCreate(0x20, &id), 0u);
    EXPECT_EQ(asked, -1);
    EXPECT_EQ(take_logs(), Records{"PLog(0x1, orva, 0x8, 0x1) keyvalue is 0xffffffff module is 0x20 queue is 23."});
}

TEST_F(Queue, Create_UnreadableFolderHasItsCode) {
    std::uint32_t id = 77;
    fail("getcwd", 1, 0, ERANGE);
    EXPECT_EQ(ORVA_QueueCreate(1, &id), ORVA_ERR_QUEUE_CREATE_FOLDER);
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(calls_of("ftok"), 0u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Queue, Create_FolderThatLeavesNoRoomIsRecorded) {
    // 244 characters and "/orva_agent" are 255; one more does not fit.
    for (const std::size_t length : {244u, 245u}) {
        libc().getcwd = [length](char *buffer, size_t) {
            std::memset(buffer, 'd', length);
            buffer[length] = '\0';
            return buffer;
        };
        std::uint32_t id = 77;
        const std::uint32_t result = ORVA_QueueCreate(1, &id);
        EXPECT_EQ(result, length == 244 ? 0u : 1u);
        EXPECT_EQ(id, length == 244 ? static_cast<std::uint32_t>(kQueue) : 77u);
    }
    EXPECT_EQ(take_logs_without_lines()[1],
              "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]strcat error, f=orva_comm, l=N, ret=34");
}

TEST_F(Queue, Create_FailedCopyOfTheFixedPathGoesOnWithWhatIsThere) {
    libc().getcwd = [](char *buffer, size_t) { return std::strcpy(buffer, "/some/folder"); };
    std::string path;
    libc().ftok = [&](const char *file, int) {
        path = file;
        return 0x11;
    };
    fail("strcpy_s", 1, 22);
    std::uint32_t id = 0;
    EXPECT_EQ(ORVA_QueueCreate(1, &id), 0u);
    EXPECT_EQ(path, "/some/folder/orva_agent");
    EXPECT_EQ(take_logs_without_lines(),
              (Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]strcpy error, f=orva_comm, l=N, ret=22",
                       "PLog(0x1, orva, 0x8, 0x1) keyvalue is 0x11 module is 0x1 queue is 23."}));
}

TEST_F(Queue, Create_PassesOnWhyThereIsNoQueue) {
    std::uint32_t id = 77;
    fail("msgget", 1, -1, ENOSPC);
    EXPECT_EQ(ORVA_QueueCreate(1, &id), ORVA_ERR_QUEUE_TRY_GET);
    queue_.identifiers.assign(5, 0);
    EXPECT_EQ(ORVA_QueueCreate(1, &id), ORVA_ERR_QUEUE_TRY_ZERO);
    EXPECT_EQ(id, 77u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Queue, Create_StoresTheIdentifierAlsoWhenClearingFails) {
    std::uint32_t id = 77;
    fail("MIRO_MemAlloc_F", 1, 0);
    EXPECT_EQ(ORVA_QueueCreate(1, &id), ORVA_ERR_QUEUE_CLEAR_MEMORY);
    EXPECT_EQ(id, static_cast<std::uint32_t>(kQueue));
}

// ---- Allocation failures

TEST_F(Queue, AllocationWalk_EveryFailureLeavesNothingBehind) {
    std::uint32_t result = 0;
    const auto nothing_live = [](unsigned) { EXPECT_EQ(live_blocks(), 0u); };
    EXPECT_EQ(walk_allocation_failures([&] { result = ORVA_QueueSynWrite(kQueue, "abc", 3); },
                                       [&](unsigned nth) {
                                           nothing_live(nth);
                                           EXPECT_EQ(result, ORVA_ERR_QUEUE_WRITE_MEMORY);
                                           EXPECT_TRUE(queue_.waiting.empty());
                                       }),
              1u);
    queue_.waiting = {{100, "abc"}};
    char buffer[8] = {};
    EXPECT_EQ(walk_allocation_failures([&] { result = ORVA_QueueAsyRead(kQueue, buffer, sizeof buffer, 0); },
                                       [&](unsigned nth) {
                                           nothing_live(nth);
                                           EXPECT_EQ(result, 0u);
                                           EXPECT_EQ(queue_.waiting.size(), 1u);
                                       }),
              1u);
    // The buffer of the pass, then one for each read: a failed read ends the pass without a failure.
    const std::deque<Message> two = {{100, "a"}, {100, "b"}};
    EXPECT_EQ(walk_allocation_failures(
                  [&] {
                      queue_.waiting = two;
                      result = ORVA_QueueClear(kQueue);
                  },
                  [&](unsigned nth) {
                      nothing_live(nth);
                      EXPECT_EQ(result, nth == 1 ? ORVA_ERR_QUEUE_CLEAR_MEMORY : ORVA_OK);
                      EXPECT_EQ(queue_.waiting.size(), nth == 1 ? 2u : 4u - nth);
                  }),
              4u);
    EXPECT_TRUE(take_logs().empty());
}

// ---- Write and wake, sleep

TEST_F(Queue, AgentWriteQueue_WritesWithoutWaitingAndWakes) {
    platform().fakeFds = {{5, ""}};
    EXPECT_EQ(ORVA_AGENT_WriteQueue(5, kQueue, "abc", 3), 0u);
    EXPECT_EQ(queue_.sendFlags, std::vector<int>{0x800});
    EXPECT_EQ(platform().written, std::vector<std::string>{std::string(1, '\0')});
}

TEST_F(Queue, AgentWriteQueue_FailedWriteWakesNobody) {
    platform().fakeFds = {{5, ""}};
    EXPECT_EQ(ORVA_AGENT_WriteQueue(5, kQueue, nullptr, 3), ORVA_ERR_QUEUE_WRITE_ARGUMENT);
    fail("msgsnd", 1, -1, EAGAIN);
    EXPECT_EQ(ORVA_AGENT_WriteQueue(5, kQueue, "abc", 3), ORVA_ERR_QUEUE_WRITE_SEND);
    fail("MIRO_MemAlloc_F", 1, 0);
    EXPECT_EQ(ORVA_AGENT_WriteQueue(5, kQueue, "abc", 3), ORVA_ERR_QUEUE_WRITE_MEMORY);
    fail("memcpy_s", 1, 34);
    EXPECT_EQ(ORVA_AGENT_WriteQueue(5, kQueue, "abc", 3), 1u);
    EXPECT_TRUE(platform().written.empty());
    EXPECT_EQ(calls_of("write_s"), 0u);
}

TEST_F(Queue, AgentWriteQueue_IgnoresAFailedWake) {
    fail("write_s", 1, -1, EAGAIN);
    EXPECT_EQ(ORVA_AGENT_WriteQueue(5, kQueue, "abc", 3), 0u);
    EXPECT_EQ(queue_.waiting.size(), 1u);
}

struct SleepCase {
    std::uint32_t milliseconds;
    long seconds, microseconds;
};

constexpr SleepCase kSleeps[] = {{0, 0, 0},    {1, 0, 1000},      {999, 0, 999000},
                                 {1000, 1, 0}, {1500, 1, 500000}, {4294967295u, 4294967, 295000}};

TEST_F(Queue, SafeSleep_SelectsForTheWholeTime) {
    for (const SleepCase &sleep : kSleeps) {
        const unsigned before = calls_of("select");
        libc().select = [&](int count, fd_set *in, fd_set *out, fd_set *except, struct timeval *timeout) {
            EXPECT_EQ(count, 0);
            EXPECT_TRUE(in == nullptr && out == nullptr && except == nullptr);
            EXPECT_EQ(timeout->tv_sec, sleep.seconds);
            EXPECT_EQ(timeout->tv_usec, sleep.microseconds);
            return 0;
        };
        ORVA_SafeSleep(sleep.milliseconds);
        EXPECT_EQ(calls_of("select") - before, 1u);
    }
}

TEST_F(Queue, SafeSleep_StartsAgainAtFullLengthAfterASignal) {
    int calls = 0;
    libc().select = [&](int, fd_set *, fd_set *, fd_set *, struct timeval *timeout) {
        EXPECT_EQ(timeout->tv_sec, 1);
        EXPECT_EQ(timeout->tv_usec, 500000);
        *timeout = {0, 7}; // the kernel leaves what remained
        errno = EINTR;
        return ++calls < 4 ? -1 : 0;
    };
    ORVA_SafeSleep(1500);
    EXPECT_EQ(calls, 4);
}

TEST_F(Queue, SafeSleep_OtherFailuresEndIt) {
    fail("select", 1, -1, EINVAL);
    ORVA_SafeSleep(1500);
    EXPECT_EQ(calls_of("select"), 1u);
}
