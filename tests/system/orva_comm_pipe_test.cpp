// Pipes and the wake-up of an agent on the real kernel.
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "orva_comm.h"
#include "system_support.h"

using namespace orva_test;

namespace {

constexpr int kPollMs = 60000;

bool is_readable(int fd, int timeoutMs) {
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, timeoutMs) == 1 && (entry.revents & POLLIN) != 0;
}

// Writes until the pipe takes no more; how many bytes it took.
int fill(int fd) {
    int count = 0;
    while (ORVA_WritePipe(fd) == 1) {
        ++count;
    }
    return count;
}

} // namespace

class Pipe : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(ORVA_CreatePipe(fds_, 2), 0);
    }
    void TearDown() override {
        ORVA_DeletePipe(fds_, 2);
    }

    std::int32_t fds_[2] = {-1, -1};
};

TEST_F(Pipe, WritePipe_FullPipeFailsInsteadOfWaiting) {
    const int capacity = fcntl(fds_[1], F_GETPIPE_SZ);
    EXPECT_EQ(fill(fds_[1]), capacity);
    errno = 0;
    EXPECT_EQ(ORVA_WritePipe(fds_[1]), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_TRUE(is_readable(fds_[0], 0));
}

TEST_F(Pipe, ReadPipe_GivesTheZeroBytesBack) {
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(ORVA_WritePipe(fds_[1]), 1);
    }
    char bytes[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    EXPECT_EQ(ORVA_ReadPipe(fds_[0], bytes, sizeof bytes), 3);
    EXPECT_EQ(std::string(bytes, 4), std::string("\0\0\0\1", 4));
    EXPECT_FALSE(is_readable(fds_[0], 0));
}

TEST_F(Pipe, ReadPipe_WaitsForAByte) {
    std::int64_t result = 0;
    char byte = 1;
    std::thread reader([&] { result = ORVA_ReadPipe(fds_[0], &byte, 1); });
    EXPECT_EQ(ORVA_WritePipe(fds_[1]), 1);
    reader.join();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(byte, 0);
}

TEST_F(Pipe, DeletePipe_ClosesBothEndsAndKeepsTheArray) {
    const std::int32_t before[2] = {fds_[0], fds_[1]};
    ORVA_DeletePipe(fds_, 2);
    EXPECT_EQ(fds_[0], before[0]);
    EXPECT_EQ(fds_[1], before[1]);
    EXPECT_EQ(fcntl(before[0], F_GETFD), -1);
    EXPECT_EQ(fcntl(before[1], F_GETFD), -1);
    fds_[0] = fds_[1] = -1;
}

// ---- Queue and pipe together

class Wake : public Pipe {
protected:
    void SetUp() override {
        ORVA_ENTER_NAMESPACES_OR_SKIP(CLONE_NEWIPC);
        Pipe::SetUp();
        ORVA_SetMemHandle(1);
        ASSERT_EQ(ORVA_CreateMemPt(), 0u);
        ASSERT_EQ(ORVA_QueueCreateTry(0x77, &queue_), 0u);
    }

    std::uint32_t queue_ = 0;
};

TEST_F(Wake, WriteQueue_WakesAPollThatThenFindsTheMessage) {
    bool woken = false;
    std::uint32_t length = 0;
    char buffer[16] = {};
    std::thread agent([&] {
        char byte = 1;
        woken = is_readable(fds_[0], kPollMs) && ORVA_ReadPipe(fds_[0], &byte, 1) == 1 && byte == 0;
        length = ORVA_QueueAsyRead(queue_, buffer, sizeof buffer, 0);
    });
    EXPECT_EQ(ORVA_AGENT_WriteQueue(fds_[1], queue_, "request", 8), 0u);
    agent.join();
    EXPECT_TRUE(woken);
    EXPECT_EQ(length, 8u);
    EXPECT_STREQ(buffer, "request");
}

TEST_F(Wake, WriteQueue_WakesAPollOfAnotherProcess) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        char buffer[16] = {};
        _exit(is_readable(fds_[0], kPollMs) && ORVA_QueueAsyRead(queue_, buffer, sizeof buffer, 0) == 8 ? 0 : 1);
    }
    ASSERT_GT(child, 0);
    EXPECT_EQ(ORVA_AGENT_WriteQueue(fds_[1], queue_, "request", 8), 0u);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(Wake, WriteQueue_FullPipeLosesNoMessageAndDoesNotWait) {
    fill(fds_[1]);
    EXPECT_EQ(ORVA_AGENT_WriteQueue(fds_[1], queue_, "request", 8), 0u);
    EXPECT_TRUE(is_readable(fds_[0], 0));
    char buffer[16] = {};
    EXPECT_EQ(ORVA_QueueAsyRead(queue_, buffer, sizeof buffer, 0), 8u);
}

TEST_F(Wake, WriteQueue_FullQueueIsRefusedWithoutAWake) {
    const std::string payload(2560, 'x');
    while (ORVA_QueueAsyWrite(queue_, payload.data(), 2560) == 0) {
    }
    EXPECT_EQ(ORVA_AGENT_WriteQueue(fds_[1], queue_, payload.data(), 2560), ORVA_ERR_QUEUE_WRITE_SEND);
    EXPECT_EQ(ORVA_AGENT_WriteQueue(fds_[1], queue_, payload.data(), 2561), ORVA_ERR_QUEUE_WRITE_ARGUMENT);
    EXPECT_FALSE(is_readable(fds_[0], 0));
}
