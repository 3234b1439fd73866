#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "log_line.h"
#include "orva_comm.h"
#include "platform_double.h"

using namespace orva_test;
using Records = std::vector<std::string>;

namespace {

bool is_open(int fd) {
    return fcntl(fd, F_GETFD, 0) != -1;
}

} // namespace

class Pipe : public PlatformTest {};
class Close : public PlatformTest {};

TEST_F(Pipe, CreatePipe_OnlyTheWriteEndIsNonBlocking) {
    std::int32_t fds[3] = {-7, -7, -7};
    ASSERT_EQ(ORVA_CreatePipe(fds, 3), 0);
    EXPECT_EQ(fcntl(fds[0], F_GETFL, 0) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(fds[1], F_GETFL, 0) & O_NONBLOCK, O_NONBLOCK);
    EXPECT_EQ(fds[2], -7);
    EXPECT_EQ(write(fds[1], "x", 1), 1);
    char byte = 0;
    EXPECT_EQ(read(fds[0], &byte, 1), 1);
    ORVA_DeletePipe(fds, 2);
}

TEST_F(Pipe, CreatePipe_FailedCallIsReturned) {
    std::int32_t fds[2] = {-7, -7};
    fail("pipe_s", 1, -5);
    EXPECT_EQ(ORVA_CreatePipe(fds, 2), -5);
    EXPECT_EQ(fds[0], -7);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Pipe, CreatePipe_GoesOnWhenTheModeCannotBeChanged) {
    for (const unsigned nth : {1u, 2u}) { // reading the flags, setting them
        std::int32_t fds[2] = {-7, -7};
        fail("fcntl", nth, -1, nth == 1 ? 9 : 22);
        ASSERT_EQ(ORVA_CreatePipe(fds, 2), 0);
        EXPECT_EQ(take_logs(), Records{"PLog(0x3, orva, 0x8, 0x2) Failed to change pipe mode to nonblock type. "
                                       "ErrorNo = " +
                                       std::string(nth == 1 ? "9." : "22.")});
        EXPECT_EQ(fcntl(fds[1], F_GETFL, 0) & O_NONBLOCK, 0);
        ORVA_DeletePipe(fds, 2);
    }
}

TEST_F(Pipe, CreatePipe_KeepsTheOtherFlagsOfTheWriteEnd) {
    long set = 0;
    libc().fcntl = [&](int, int command, long argument) {
        set = command == F_SETFL ? argument : set;
        return command == F_GETFL ? 0x8401 : 0;
    };
    std::int32_t fds[2];
    ASSERT_EQ(ORVA_CreatePipe(fds, 2), 0);
    EXPECT_EQ(set, 0x8401 | O_NONBLOCK);
    ORVA_DeletePipe(fds, 2);
}

TEST_F(Pipe, CreatePipe_TooShortAnArrayLeavesItAsItWasAndThePipeOpen) {
    int made[2] = {-1, -1};
    for (const std::uint64_t count : {0u, 1u}) {
        libc().fcntl = [&](int fd, int, long) {
            made[1] = fd;
            return 0;
        };
        std::int32_t fds[2] = {-7, -7};
        EXPECT_EQ(ORVA_CreatePipe(fds, count), 1);
        EXPECT_EQ(fds[0], -7);
        EXPECT_EQ(fds[1], -7);
        EXPECT_EQ(take_logs_without_lines(),
                  Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]mem copy error, f=orva_comm, l=N, "
                          "ret=34"});
        libc().fcntl = nullptr;
        EXPECT_TRUE(is_open(made[1]));
        EXPECT_TRUE(is_open(made[1] - 1));
        close(made[1] - 1);
        close(made[1]);
    }
}

TEST_F(Pipe, DeletePipe_ClosesWhatIsNotMinusOneAndLeavesTheArray) {
    std::int32_t fds[2];
    ASSERT_EQ(ORVA_CreatePipe(fds, 2), 0);
    platform().calls.clear();
    std::int32_t array[4] = {-1, fds[0], -1, fds[1]};
    ORVA_DeletePipe(array, 4);
    EXPECT_FALSE(is_open(fds[0]));
    EXPECT_FALSE(is_open(fds[1]));
    EXPECT_EQ(platform().calls.size(), 2u);
    EXPECT_EQ(array[1], fds[0]);
    EXPECT_EQ(array[3], fds[1]);
    EXPECT_EQ(array[0], -1);
    ORVA_DeletePipe(array, 0);
    EXPECT_EQ(platform().calls.size(), 2u);
}

TEST_F(Pipe, DeletePipe_SkipsOnlyMinusOne) {
    std::int32_t array[2] = {-2, -1};
    ORVA_DeletePipe(array, 2);
    EXPECT_EQ(platform().calls, Records{"close_s(0xfffffffe)"});
}

TEST_F(Pipe, DeletePipe_GoesOnAfterAFailedClose) {
    platform().fakeFds = {{5, ""}, {6, ""}};
    fail("close_s", 1, -1, EIO);
    std::int32_t fds[2] = {5, 6};
    ORVA_DeletePipe(fds, 2);
    EXPECT_EQ(platform().calls, (Records{"close_s(0x5)", "close_s(0x6)"}));
}

TEST_F(Pipe, WritePipe_WritesOneZeroByteAndReturnsTheResult) {
    platform().fakeFds = {{5, ""}};
    EXPECT_EQ(ORVA_WritePipe(5), 1);
    EXPECT_EQ(platform().written, std::vector<std::string>{std::string(1, '\0')});
    fail("write_s", 1, -1, EAGAIN);
    EXPECT_EQ(ORVA_WritePipe(5), -1);
}

TEST_F(Pipe, ReadPipe_ReadsUpToTheLengthAndReturnsTheResult) {
    platform().fakeFds = {{5, "abcdef"}};
    char buffer[8] = "#######";
    EXPECT_EQ(ORVA_ReadPipe(5, buffer, 4), 4);
    EXPECT_STREQ(buffer, "abcd###");
    EXPECT_EQ(ORVA_ReadPipe(5, buffer, 7), 2);
    EXPECT_STREQ(buffer, "efcd###");
    fail("read_s", 1, -1, EINTR);
    EXPECT_EQ(ORVA_ReadPipe(5, buffer, 4), -1);
}

// ---- Close

TEST_F(Close, CloseSock_PassesTheDescriptorAndTheResult) {
    platform().fakeFds = {{6, ""}};
    EXPECT_EQ(ORVA_CloseSock(0x50006), 0);
    EXPECT_EQ(platform().calls, Records{"close_s(0x50006)"});
    fail("close_s", 1, -1, EBADF);
    EXPECT_EQ(ORVA_CloseSock(6), -1);
}

TEST_F(Close, FileClose_ReturnsTheResultOfTheClose) {
    FILE *file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    const int fd = fileno(file);
    EXPECT_EQ(ORVA_FileClose(file), 0);
    EXPECT_FALSE(is_open(fd));
    file = std::tmpfile();
    fail("fclose", 1, EOF, EIO);
    EXPECT_EQ(ORVA_FileClose(file), EOF);
    EXPECT_EQ(std::fclose(file), 0);
    EXPECT_EQ(ORVA_FileClose(nullptr), EOF);
    EXPECT_EQ(calls_of("fclose"), 3u);
}
