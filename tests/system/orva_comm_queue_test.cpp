// Queues on the real kernel: every case in an IPC namespace of its own, which the kernel empties at the end.
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <gtest/gtest.h>
#include <numeric>
#include <pthread.h>
#include <sched.h>
#include <string>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "orva_comm.h"
#include "system_support.h"

using namespace orva_test;

namespace {

constexpr key_t kKey = 0x0a0b0c0d;

struct RawMessage {
    long type;
    char payload[4096];
};

int send_raw(std::uint32_t queue, long type, std::size_t length) {
    RawMessage message{};
    message.type = type;
    std::memset(message.payload, 'r', sizeof message.payload);
    return msgsnd(static_cast<int>(queue), &message, length, IPC_NOWAIT);
}

msqid_ds state_of(std::uint32_t queue) {
    msqid_ds state{};
    EXPECT_EQ(msgctl(static_cast<int>(queue), IPC_STAT, &state), 0) << std::strerror(errno);
    return state;
}

std::string text_of(std::size_t length, unsigned seed) {
    std::string text(length, '\0');
    std::iota(text.begin(), text.end(), static_cast<char>(seed));
    return text;
}

std::int64_t now_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

// A signal that only interrupts.
void catch_signal(int signal) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(signal, &action, nullptr);
}

// Everything that the log sinks wrote below a folder.
std::string logged(const std::string &folder) {
    std::string content;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            content += read_file(entry.path().string());
        }
    }
    return content;
}

} // namespace

class Queue : public ::testing::Test {
protected:
    void SetUp() override {
        ORVA_ENTER_NAMESPACES_OR_SKIP(CLONE_NEWIPC);
        setenv("ORVA_HOST_LOG_DIR", logs_.path().c_str(), 1);
        ORVA_SetMemHandle(1);
        ASSERT_EQ(ORVA_CreateMemPt(), 0u);
    }

    // Never 0: the library refuses it.
    std::uint32_t make_queue() {
        std::uint32_t queue = 0;
        EXPECT_EQ(ORVA_QueueCreateTry(kKey, &queue), 0u);
        return queue;
    }

    ScratchFolder logs_;
};

TEST_F(Queue, FirstIdentifierOfANamespaceIsZero) {
    EXPECT_EQ(msgget(kKey, IPC_CREAT | 0600), 0);
}

TEST_F(Queue, CreateTry_RefusesTheZeroThatTheKernelReturns) {
    std::uint32_t queue = 0;
    ASSERT_EQ(ORVA_QueueCreateTry(kKey, &queue), 0u);
    EXPECT_NE(queue, 0u);
    msqid_ds state{};
    EXPECT_EQ(msgctl(0, IPC_STAT, &state), -1);
    msginfo info{};
    msgctl(0, MSG_INFO, reinterpret_cast<msqid_ds *>(&info));
    EXPECT_EQ(info.msgpool, 1); // queue 0 was removed, one is left
    EXPECT_EQ(msgget(kKey, 0), static_cast<int>(queue));
    std::uint32_t again = 0;
    EXPECT_EQ(ORVA_QueueCreateTry(kKey, &again), 0u);
    EXPECT_EQ(again, queue);
}

TEST_F(Queue, CreateTry_QueueIsPrivateToItsUser) {
    EXPECT_EQ(state_of(make_queue()).msg_perm.mode & 0777, 0600);
}

TEST_F(Queue, WriteAndRead_CarryEveryLengthUpToTheBound) {
    const std::uint32_t queue = make_queue();
    for (const std::uint32_t length : {1u, 2u, 100u, 2559u, 2560u}) {
        const std::string sent = text_of(length, length);
        ASSERT_EQ(ORVA_QueueAsyWrite(queue, sent.data(), length), 0u);
        std::string received(2560, '#');
        EXPECT_EQ(ORVA_QueueAsyRead(queue, received.data(), 2560, 100), length);
        EXPECT_EQ(received.substr(0, length), sent);
    }
    EXPECT_EQ(ORVA_QueueAsyWrite(queue, text_of(2561, 0).data(), 2561), ORVA_ERR_QUEUE_WRITE_ARGUMENT);
    EXPECT_EQ(state_of(queue).msg_qnum, 0u);
}

TEST_F(Queue, Read_LongerForeignMessageStaysQueued) {
    const std::uint32_t queue = make_queue();
    ASSERT_EQ(send_raw(queue, 100, 2561), 0);
    char buffer[2560];
    EXPECT_EQ(ORVA_QueueAsyRead(queue, buffer, sizeof buffer, 0), 0u);
    EXPECT_EQ(state_of(queue).msg_qnum, 1u);
    RawMessage message{};
    EXPECT_EQ(msgrcv(static_cast<int>(queue), &message, sizeof message.payload, 0, IPC_NOWAIT), 2561);
}

TEST_F(Queue, Read_MessageLongerThanTheBufferIsLost) {
    const std::uint32_t queue = make_queue();
    ASSERT_EQ(ORVA_QueueAsyWrite(queue, text_of(200, 1).data(), 200), 0u);
    char buffer[100] = {};
    EXPECT_EQ(ORVA_QueueAsyRead(queue, buffer, sizeof buffer, 0), 0u);
    EXPECT_EQ(state_of(queue).msg_qnum, 0u);
}

TEST_F(Queue, Read_ForeignTypeIsDiscardedWithARecord) {
    const std::uint32_t queue = make_queue();
    EXPECT_EQ(run_in_child([&] { return send_raw(queue, 7, 12); }), 0);
    char buffer[100] = {};
    EXPECT_EQ(ORVA_QueueAsyRead(queue, buffer, sizeof buffer, 0), 0u);
    EXPECT_EQ(state_of(queue).msg_qnum, 0u);
    EXPECT_NE(logged(logs_.path())
                  .find("[ORVA_COMM][ORVA_LEVEL_DEBUG]Recv msg from queue failed, queId:" + std::to_string(queue) +
                        ", recvSize:12, msgType:7"),
              std::string::npos);
}

TEST_F(Queue, Read_OfOneTypeLeavesTheOthersWaiting) {
    const std::uint32_t queue = make_queue();
    ASSERT_EQ(send_raw(queue, 7, 12), 0);
    ASSERT_EQ(ORVA_QueueAsyWrite(queue, "abc", 3), 0u);
    char buffer[100] = {};
    EXPECT_EQ(ORVA_QueueAsyRead(queue, buffer, sizeof buffer, 100), 3u);
    EXPECT_EQ(state_of(queue).msg_qnum, 1u);
}

TEST_F(Queue, EmptyMessage_TravelsAndIsLost) {
    const std::uint32_t queue = make_queue();
    ASSERT_EQ(ORVA_QueueAsyWrite(queue, "", 0), 0u);
    EXPECT_EQ(state_of(queue).msg_qnum, 1u);
    char buffer[4] = {};
    EXPECT_EQ(ORVA_QueueSynRead(queue, buffer, sizeof buffer, 0), 0u);
    EXPECT_EQ(state_of(queue).msg_qnum, 0u);
}

TEST_F(Queue, AsyWrite_FullQueueIsRefusedUntilThereIsRoom) {
    const std::uint32_t queue = make_queue();
    const std::string payload = text_of(2560, 3);
    const auto room = static_cast<unsigned>(state_of(queue).msg_qbytes / 2560);
    for (unsigned i = 0; i < room; ++i) {
        ASSERT_EQ(ORVA_QueueAsyWrite(queue, payload.data(), 2560), 0u) << i;
    }
    EXPECT_EQ(ORVA_QueueAsyWrite(queue, payload.data(), 2560), ORVA_ERR_QUEUE_WRITE_SEND);
    EXPECT_EQ(state_of(queue).msg_qnum, room);
    char buffer[2560];
    EXPECT_EQ(ORVA_QueueAsyRead(queue, buffer, sizeof buffer, 0), 2560u);
    EXPECT_EQ(ORVA_QueueAsyWrite(queue, payload.data(), 2560), 0u);
}

TEST_F(Queue, SynWrite_WaitsForRoom) {
    const std::uint32_t queue = make_queue();
    const std::string payload = text_of(2560, 3);
    while (ORVA_QueueAsyWrite(queue, payload.data(), 2560) == 0) {
    }
    const auto full = state_of(queue).msg_qnum;
    std::uint32_t result = 77;
    std::thread writer([&] { result = ORVA_QueueSynWrite(queue, payload.data(), 2560); });
    char buffer[2560];
    EXPECT_EQ(ORVA_QueueSynRead(queue, buffer, sizeof buffer, 0), 2560u);
    writer.join();
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(state_of(queue).msg_qnum, full);
}

TEST_F(Queue, AsyRead_OfAnEmptyQueueIsZeroAtOnce) {
    char buffer[4];
    EXPECT_EQ(ORVA_QueueAsyRead(make_queue(), buffer, sizeof buffer, 0), 0u);
}

TEST_F(Queue, SynRead_EndsWhenTheQueueGoes) {
    const std::uint32_t queue = make_queue();
    char buffer[4];
    std::uint32_t result = 77;
    std::thread reader([&] { result = ORVA_QueueSynRead(queue, buffer, sizeof buffer, 0); });
    ORVA_QueueDelete(static_cast<std::int32_t>(queue));
    reader.join();
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(ORVA_QueueAsyWrite(queue, "a", 1), ORVA_ERR_QUEUE_WRITE_SEND);
    EXPECT_EQ(ORVA_QueueClear(queue), 0u);
}

TEST_F(Queue, SynRead_EndsAtASignal) {
    const std::uint32_t queue = make_queue();
    catch_signal(SIGUSR1);
    std::atomic<bool> done{false};
    std::uint32_t result = 77;
    std::thread reader([&] {
        char buffer[4];
        result = ORVA_QueueSynRead(queue, buffer, sizeof buffer, 0);
        done = true;
    });
    while (!done) {
        pthread_kill(reader.native_handle(), SIGUSR1);
        std::this_thread::yield();
    }
    reader.join();
    EXPECT_EQ(result, 0u);
}

TEST_F(Queue, Delete_OfNoQueueTouchesNone) {
    const std::uint32_t queue = make_queue();
    ORVA_QueueDelete(-1);
    EXPECT_EQ(state_of(queue).msg_qnum, 0u);
}

// ---- The key file of a single process

class SingleProcessQueue : public Queue {
protected:
    void SetUp() override {
        Queue::SetUp();
        if (IsSkipped()) {
            return;
        }
        ASSERT_EQ(chdir(folder_.path().c_str()), 0);
        ORVA_SetSingleProcess(1);
    }
    void TearDown() override {
        ASSERT_EQ(chdir("/"), 0);
    }

    ScratchFolder folder_;
};

TEST_F(SingleProcessQueue, Create_ModulesHaveQueuesOfTheirOwn) {
    write_file(folder_.file("orva_agent"), "");
    std::uint32_t first = 0, second = 0, again = 0;
    ASSERT_EQ(ORVA_QueueCreate(1, &first), 0u);
    ASSERT_EQ(ORVA_QueueCreate(255, &second), 0u);
    ASSERT_EQ(ORVA_QueueCreate(1, &again), 0u);
    EXPECT_NE(first, 0u);
    EXPECT_NE(first, second);
    EXPECT_EQ(first, again);
    EXPECT_EQ(msgget(ftok(folder_.file("orva_agent").c_str(), 255), 0), static_cast<int>(second));
    EXPECT_EQ(ORVA_QueueCreate(256, &again), ORVA_ERR_QUEUE_CREATE_ARGUMENT);
}

TEST_F(SingleProcessQueue, Create_WithoutTheKeyFileAllModulesShareTheQueueOfKeyMinusOne) {
    std::uint32_t first = 0, second = 0;
    ASSERT_EQ(ORVA_QueueCreate(1, &first), 0u);
    ASSERT_EQ(ORVA_QueueCreate(2, &second), 0u);
    EXPECT_EQ(first, second);
    EXPECT_EQ(msgget(-1, 0), static_cast<int>(first));
}

TEST_F(SingleProcessQueue, Create_EmptiesWhatAnEarlierProcessLeft) {
    write_file(folder_.file("orva_agent"), "");
    ASSERT_EQ(run_in_child([] {
                  std::uint32_t queue = 0;
                  std::uint32_t result = ORVA_QueueCreate(3, &queue);
                  for (int i = 0; i < 3; ++i) {
                      result |= ORVA_QueueAsyWrite(queue, "left", 4);
                  }
                  return result == 0 ? 0 : 1;
              }),
              0);
    const int survived = msgget(ftok(folder_.file("orva_agent").c_str(), 3), 0);
    ASSERT_GT(survived, 0);
    EXPECT_EQ(state_of(static_cast<std::uint32_t>(survived)).msg_qnum, 3u);
    std::uint32_t queue = 0;
    EXPECT_EQ(ORVA_QueueCreate(3, &queue), 0u);
    EXPECT_EQ(queue, static_cast<std::uint32_t>(survived));
    EXPECT_EQ(state_of(queue).msg_qnum, 0u);
    EXPECT_NE(logged(logs_.path()).find(" module is 0x3 queue is " + std::to_string(queue) + "."), std::string::npos);
}

TEST_F(SingleProcessQueue, TwoProcesses_ExchangeMessagesOverOneQueueEachWay) {
    write_file(folder_.file("orva_agent"), "");
    std::uint32_t there = 0, back = 0;
    ASSERT_EQ(ORVA_QueueCreate(10, &there), 0u);
    ASSERT_EQ(ORVA_QueueCreate(11, &back), 0u);
    const pid_t child = fork();
    if (child == 0) { // echoes until the message of one byte
        alarm(60);
        std::uint32_t in = 0, out = 0;
        if (ORVA_QueueCreateTry(ftok("orva_agent", 10), &in) != 0 ||
            ORVA_QueueCreateTry(ftok("orva_agent", 11), &out) != 0) {
            _exit(2);
        }
        char buffer[2560];
        std::uint32_t length = 0;
        do {
            length = ORVA_QueueSynRead(in, buffer, sizeof buffer, 100);
            if (length == 0 || ORVA_QueueSynWrite(out, buffer, length) != 0) {
                _exit(3);
            }
        } while (length != 1);
        _exit(0);
    }
    ASSERT_GT(child, 0);
    char buffer[2560];
    for (std::uint32_t length = 2560; length >= 1; length = length > 40 ? length - 37 : length - 1) {
        const std::string sent = text_of(length, length * 7);
        ASSERT_EQ(ORVA_QueueSynWrite(there, sent.data(), length), 0u);
        ASSERT_EQ(ORVA_QueueSynRead(back, buffer, sizeof buffer, 100), length);
        ASSERT_EQ(std::string(buffer, length), sent);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(SingleProcessQueue, ManyThreads_LoseAndInventNothing) {
    const std::uint32_t queue = make_queue();
    constexpr std::uint32_t kWriters = 3, kEach = 400;
    std::vector<std::thread> threads;
    for (std::uint32_t writer = 0; writer < kWriters; ++writer) {
        threads.emplace_back([=] {
            for (std::uint32_t i = 0; i < kEach; ++i) {
                const std::uint32_t number = writer * kEach + i;
                ASSERT_EQ(ORVA_QueueSynWrite(queue, &number, sizeof number), 0u);
            }
        });
    }
    std::vector<std::atomic<unsigned>> seen(kWriters * kEach);
    for (unsigned reader = 0; reader < 2; ++reader) {
        threads.emplace_back([&] {
            for (std::uint32_t i = 0; i < kWriters * kEach / 2; ++i) {
                std::uint32_t number = 0;
                ASSERT_EQ(ORVA_QueueSynRead(queue, &number, sizeof number, 0), sizeof number);
                ASSERT_LT(number, kWriters * kEach);
                ++seen[number];
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (const auto &count : seen) {
        EXPECT_EQ(count, 1u);
    }
}

// ---- Sleep

// Either the signal falls into the sleep, which then lasts its full length again, or the sleep began after it.
TEST(SafeSleep, InterruptedSleepLastsItsFullLengthAfterTheSignal) {
    catch_signal(SIGALRM);
    constexpr std::int64_t kSignalMs = 100, kSleepMs = 300;
    const itimerval once = {{0, 0}, {0, kSignalMs * 1000}};
    const std::int64_t start = now_ns();
    ASSERT_EQ(setitimer(ITIMER_REAL, &once, nullptr), 0);
    ORVA_SafeSleep(kSleepMs);
    EXPECT_GE(now_ns() - start, (kSignalMs + kSleepMs) * 1000000);
}
