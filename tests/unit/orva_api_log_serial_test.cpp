#include "orva_api_log.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

#include "orva_comm.h"
#include "platform_double.h"

namespace {

using namespace orva_test;
using Records = std::vector<std::string>;

constexpr int kCommandLineFd = 70;
constexpr int kConsoleFd = 71;
constexpr std::uint32_t kTrackedConsole = 0x50000 | kConsoleFd; // the double's owner is 5

// A kernel command line and a console device, both descriptors of the double.
class Serial : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        libc().open = [this](const char *path, int flags, mode_t) {
            opened_.push_back(std::string(path) + " " + std::to_string(flags));
            const int fd = std::strcmp(path, "/proc/cmdline") == 0 ? kCommandLineFd : kConsoleFd;
            platform().fakeFds[fd] = fd == kCommandLineFd ? commandLine_ : "";
            return fd;
        };
        libc().realpath = [this](const char *path, char *resolved) -> char * {
            resolved_.push_back(path);
            return std::strcpy(resolved, "/dev/the-console");
        };
    }

    std::uint32_t find(const std::string &commandLine) {
        commandLine_ = commandLine;
        resolved_.clear();
        path_[0] = '\0';
        return ORVA_GetTtyPath(path_, sizeof path_);
    }

    std::string commandLine_ = "root=/dev/sda console=ttyAMA0,115200";
    std::vector<std::string> opened_, resolved_;
    char path_[4097] = {};
};

const std::string kOpenCommandLine = "/proc/cmdline " + std::to_string(O_RDONLY | O_NONBLOCK);
const std::string kOpenConsole = "/dev/the-console " + std::to_string(O_WRONLY | O_NOCTTY);

// ---- Path

struct FoundCase {
    const char *name, *commandLine, *device;
};

constexpr FoundCase kFoundCases[] = {
    {"in the middle", "root=/dev/sda console=ttyAMA0,115200", "/dev/ttyAMA0"},
    {"at the start", "console=ttyS0,115200n8", "/dev/ttyS0"},
    {"empty name", "console=,115200", "/dev/"},
    {"15 characters", "console=tty456789012345,1", "/dev/tty456789012345"},
    {"first of several", "console=tty1,9600 console=ttyS0,115200", "/dev/tty1"},
    {"blank in the name", "console=tty0 quiet,x", "/dev/tty0 quiet"},
    {"any character after the word", "consoles=ttyS0,1", "/dev/=ttyS0"},
    {"word inside another", "xconsole=tty1,1", "/dev/tty1"},
    {"comma is the last character", "console=ttyS0,", "/dev/ttyS0"},
};

TEST_F(Serial, GetTtyPath_ResolvesTheNameUpToTheComma) {
    for (const FoundCase &row : kFoundCases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(find(row.commandLine), 0u);
        EXPECT_EQ(resolved_, Records{row.device});
        EXPECT_STREQ(path_, "/dev/the-console");
    }
}

struct MissingCase {
    const char *name, *commandLine;
};

constexpr MissingCase kMissingCases[] = {
    {"empty", ""},
    {"no console", "root=/dev/sda quiet,x"},
    {"no comma", "console=ttyS0"},
    {"blank and no nearby comma", "console=ttyS0 quiet splash ro,x"},
    {"16 characters", "console=tty4567890123456,1"},
    {"word at the very end", "root=/dev/sda,x console"},
    {"word and equals sign at the very end", "root=/dev/sda,x console="},
};

TEST_F(Serial, GetTtyPath_FailsWithoutANameInThisForm) {
    for (const MissingCase &row : kMissingCases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(find(row.commandLine), 1u);
        EXPECT_EQ(resolved_, Records{});
    }
}

TEST_F(Serial, GetTtyPath_ReadsTheFirst1023Characters) {
    const std::string name = "console=ttyS0,";
    EXPECT_EQ(find(std::string(1023 - name.size(), 'x') + name), 0u);
    EXPECT_EQ(resolved_, Records{"/dev/ttyS0"});
    EXPECT_EQ(find(std::string(1024 - name.size(), 'x') + name), 1u);
    EXPECT_EQ(find(std::string(1023 - 7, 'x') + "console=ttyS0,"), 1u);
    EXPECT_EQ(find(std::string(1022 - 7, 'x') + "console=ttyS0,"), 1u);
    EXPECT_EQ(find(std::string(5000, 'x')), 1u);
}

TEST_F(Serial, GetTtyPath_RegistersReadsAndClosesTheCommandLine) {
    std::size_t asked = 0;
    platform().onRead = [&](int fd, void *buffer, std::size_t length) -> ssize_t {
        EXPECT_EQ(fd, 0x50000 | kCommandLineFd);
        asked = length;
        std::memcpy(buffer, "console=a,", 10);
        return 10;
    };
    EXPECT_EQ(find(""), 0u);
    EXPECT_EQ(asked, 1023u);
    EXPECT_EQ(opened_, Records{kOpenCommandLine});
    EXPECT_EQ(platform().calls, (Records{"SetFdOwner(0x1)", "close_s(0x50046)"}));
}

struct StepCase {
    const char *name, *call;
    std::int64_t result;
    Records calls; // of the descriptor
};

TEST_F(Serial, GetTtyPath_FailsWhenAStepFailsAndClosesWhatItOpened) {
    const StepCase steps[] = {
        {"open", "open", -1, {}},
        {"owner", "SetFdOwner", -1, {"SetFdOwner(0x1)"}},
        {"tracking", "safeio_fd_owner_assemble", -1, {"SetFdOwner(0x1)"}},
        {"read", "read_s", -1, {"SetFdOwner(0x1)", "close_s(0x50046)"}},
        {"close", "close_s", -1, {"SetFdOwner(0x1)", "close_s(0x50046)"}},
        {"format", "sprintf_s", -1, {"SetFdOwner(0x1)", "close_s(0x50046)"}},
        {"resolve", "realpath", 0, {"SetFdOwner(0x1)", "close_s(0x50046)"}},
    };
    for (const StepCase &step : steps) {
        SCOPED_TRACE(step.name);
        platform().calls.clear();
        fail(step.call, 1, step.result, EIO);
        EXPECT_EQ(find("console=ttyS0,1"), 1u);
        EXPECT_EQ(platform().calls, step.calls);
        EXPECT_STREQ(path_, "");
    }
    EXPECT_EQ(take_logs(), Records{});
}

TEST_F(Serial, GetTtyPath_DoesNotConsultTheLengthAndRefusesNoBuffer) {
    commandLine_ = "console=ttyS0,1";
    EXPECT_EQ(ORVA_GetTtyPath(path_, 0), 0u);
    EXPECT_STREQ(path_, "/dev/the-console");
    EXPECT_EQ(ORVA_GetTtyPath(nullptr, 4097), 1u);
}

TEST_F(Serial, GetTtyPath_ZeroIsADescriptor) {
    fail("safeio_fd_owner_assemble", 1, 0);
    platform().fakeFds[0] = "console=ttyS0,1";
    EXPECT_EQ(ORVA_GetTtyPath(path_, sizeof path_), 0u);
    EXPECT_EQ(resolved_, Records{"/dev/ttyS0"});
    EXPECT_EQ(platform().calls.back(), "close_s(0x0)");
}

// ---- Descriptor

TEST_F(Serial, GetSerialFd_OpensTheConsoleForWritingAndTracksIt) {
    EXPECT_EQ(ORVA_GetSerialFd(), kTrackedConsole);
    EXPECT_EQ(opened_, (Records{kOpenCommandLine, kOpenConsole}));
    EXPECT_EQ(platform().calls, (Records{"SetFdOwner(0x1)", "close_s(0x50046)", "SetFdOwner(0x1)"}));
    ASSERT_EQ(platform().allocations.size(), 1u);
    EXPECT_EQ(platform().allocations[0].size, 4097u);
    EXPECT_EQ(platform().allocations[0].file, "src/comm/orva_api_log");
    EXPECT_EQ(live_blocks(), 0u);
}

TEST_F(Serial, GetSerialFd_ZeroIsADescriptor) {
    fail("safeio_fd_owner_assemble", 2, 0);
    EXPECT_EQ(ORVA_GetSerialFd(), 0u);
}

struct FdCase {
    const char *name, *call;
    unsigned nth;
    std::int64_t result;
    const char *lastCall; // of the descriptors
};

constexpr FdCase kFdCases[] = {
    {"memory", "MIRO_MemAlloc_F", 1, 0, nullptr},
    {"path", "realpath", 1, 0, "close_s(0x50046)"},
    {"open", "open", 2, -1, "close_s(0x50046)"},
    {"owner", "SetFdOwner", 2, -1, "SetFdOwner(0x1)"},
    {"tracking", "safeio_fd_owner_assemble", 2, -1, "SetFdOwner(0x1)"},
};

// A plain number is closed with close: close_s would take a large one for a tracked descriptor.
TEST_F(Serial, GetTtyPath_ClosesADescriptorThatCannotBeRegisteredItself) {
    int opened = -1;
    libc().open = [&](const char *, int, mode_t) { return opened = ::dup(STDERR_FILENO); };
    for (const char *step : {"SetFdOwner", "safeio_fd_owner_assemble"}) {
        SCOPED_TRACE(step);
        fail(step, 1, -1, EIO);
        EXPECT_EQ(ORVA_GetTtyPath(path_, sizeof path_), 1u);
        ASSERT_GE(opened, 0);
        EXPECT_EQ(::fcntl(opened, F_GETFD, 0), -1) << "descriptor " << opened << " is still open";
    }
    EXPECT_EQ(calls_of("close_s"), 0u);
}

TEST_F(Serial, GetSerialFd_FailsWhenAStepFailsAndLeavesNothingOpen) {
    for (const FdCase &row : kFdCases) {
        SCOPED_TRACE(row.name);
        platform().calls.clear();
        fail(row.call, row.nth, row.result, EIO);
        EXPECT_EQ(ORVA_GetSerialFd(), 0xFFFFFFFFu);
        EXPECT_EQ(live_blocks(), 0u);
        if (row.lastCall != nullptr) {
            EXPECT_EQ(platform().calls.back(), row.lastCall);
        } else {
            EXPECT_EQ(platform().calls, Records{});
        }
    }
}

TEST_F(Serial, GetSerialFd_NeedsTheMemoryHandle) {
    ORVA_SetMemHandle(0);
    EXPECT_EQ(ORVA_GetSerialFd(), 0xFFFFFFFFu);
    EXPECT_EQ(opened_, Records{});
    EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), 0u);
}

TEST_F(Serial, CloseSerialFd_PassesTheMissingDescriptorOver) {
    ORVA_CloseSerialFd(0xFFFFFFFF);
    EXPECT_EQ(platform().calls, Records{});
    platform().fakeFds[kConsoleFd] = "";
    ORVA_CloseSerialFd(kTrackedConsole);
    EXPECT_EQ(platform().calls, Records{"close_s(0x50047)"});
}

// ---- Message

TEST_F(Serial, SerialLog_WritesOneMessageAndHoldsNothingOpen) {
    ORVA_SerialLog("fan %u of %s\r\n", 4u, "tray");
    EXPECT_EQ(platform().written, Records{"fan 4 of tray\r\n"});
    EXPECT_EQ(platform().calls.back(), "close_s(0x50047)");
    ORVA_SerialLog("again");
    EXPECT_EQ(platform().written, (Records{"fan 4 of tray\r\n", "again"}));
    EXPECT_EQ(opened_.size(), 4u);
    EXPECT_EQ(platform().allocations[0].size, 512u);
    EXPECT_EQ(platform().allocations[1].size, 4097u);
    EXPECT_EQ(live_blocks(), 0u);
}

TEST_F(Serial, SerialLog_TruncatesTheMessageAt511Characters) {
    for (const std::size_t length : {510u, 511u, 512u, 3000u}) {
        platform().written.clear();
        ORVA_SerialLog("%s", std::string(length, 'x').c_str());
        EXPECT_EQ(platform().written, Records{std::string(std::min<std::size_t>(length, 511), 'x')});
    }
}

TEST_F(Serial, SerialLog_WritesAnEmptyMessageLikeAnyOther) {
    ORVA_SerialLog("%s", "");
    EXPECT_EQ(platform().written, Records{""});
    EXPECT_EQ(platform().calls.back(), "close_s(0x50047)");
    EXPECT_EQ(live_blocks(), 0u);
}

TEST_F(Serial, SerialLog_DropsTheMessageSilentlyWithoutConsole) {
    commandLine_ = "quiet";
    ORVA_SerialLog("lost");
    EXPECT_EQ(platform().written, Records{});
    EXPECT_EQ(take_logs(), Records{});
    EXPECT_EQ(live_blocks(), 0u);
}

TEST_F(Serial, SerialLog_DropsAMessageThatCannotBeFormatted) {
    fail("vsnprintf_s", 1, -1);
    ORVA_SerialLog("lost");
    EXPECT_EQ(opened_, Records{});
    EXPECT_EQ(platform().written, Records{});
    EXPECT_EQ(live_blocks(), 0u);
}

TEST_F(Serial, SerialLog_ClosesTheConsoleWhenTheWriteFails) {
    fail("write_s", 1, -1, EIO);
    ORVA_SerialLog("lost");
    EXPECT_EQ(platform().calls.back(), "close_s(0x50047)");
    EXPECT_EQ(live_blocks(), 0u);
}

TEST_F(Serial, SerialLog_WritesNothingWithoutMemory) {
    const unsigned walked = walk_allocation_failures([] { ORVA_SerialLog("text"); },
                                                     [](unsigned) {
                                                         EXPECT_EQ(platform().written, Records{});
                                                         EXPECT_EQ(live_blocks(), 0u);
                                                     });
    EXPECT_EQ(walked, 2u);
    EXPECT_EQ(platform().written, Records{"text"});
    ORVA_SetMemHandle(0);
    ORVA_SerialLog("text");
    EXPECT_EQ(platform().written.size(), 1u);
}

} // namespace
