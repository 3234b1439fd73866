#include <array>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <linux/capability.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "orva_comm.h"
#include "orva_util.h"
#include "platform_double.h"

using namespace orva_test;
using Records = std::vector<std::string>;

namespace {

constexpr std::int32_t kAbsent = 0x7FFFFFFF;
constexpr std::int32_t kMin = INT32_MIN;

class OrvaUtil : public PlatformTest {};

// ---- Whole-file read

class FileContent : public OrvaUtil {
protected:
    void SetUp() override {
        OrvaUtil::SetUp();
        std::snprintf(path, sizeof path, "/tmp/orva_util_XXXXXX");
        const int fd = mkstemp(path);
        ASSERT_GE(fd, 0);
        close(fd);
        store("content of a file");
    }
    void TearDown() override {
        EXPECT_EQ(calls_of("fopen"), calls_of("fclose") + refused) << "every opened file is closed";
        unlink(path);
        OrvaUtil::TearDown();
    }
    void store(const std::string &text) {
        const int fd = open(path, O_WRONLY | O_TRUNC);
        ASSERT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        close(fd);
    }
    std::uint32_t read() {
        return ORVA_FUNC_GetFileContent(path, &content, &length);
    }
    void expect_untouched() {
        EXPECT_EQ(content, sentinel);
        EXPECT_EQ(length, 0xDEADBEEFu);
        EXPECT_EQ(live_blocks(), 0u);
    }
    char path[32];
    char sentinel[1] = {};
    char *content = sentinel;
    std::uint32_t length = 0xDEADBEEF;
    unsigned refused = 0; // opens that failed
};

TEST_F(FileContent, GetFileContent_GivesTheBytesWithAZeroAfterThem) {
    const std::string bytes("a\0b\r\n\xFF", 6);
    for (const std::string &text :
         {std::string("x"), std::string("content of a file\n"), bytes, std::string(70000, 'q')}) {
        store(text);
        ASSERT_EQ(read(), 0u);
        EXPECT_EQ(length, text.size());
        EXPECT_EQ(std::string(content, length + 1), text + std::string(1, '\0'));
        EXPECT_EQ(live_blocks(), 1u);
        ASSERT_EQ(platform().allocations.size(), 2u);
        EXPECT_EQ(platform().allocations[0].size, 4097u);
        EXPECT_EQ(platform().allocations[1].size, text.size() + 1);
        ASSERT_EQ(platform().frees.size(), 1u);
        EXPECT_EQ(platform().frees[0].size, 4097u);
        for (const Allocation &allocation : platform().allocations) {
            EXPECT_EQ(allocation.file, "src/comm/orva_util");
        }
        EXPECT_EQ(platform().frees[0].file, "src/comm/orva_util");
        MIRO_MemFree_F(ORVA_GetMemHandle(), content, "src/comm/orva_util_test", 0);
        platform().allocations.clear();
        platform().frees.clear();
    }
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(FileContent, GetFileContent_ChecksItsPointersInOrder) {
    const struct {
        const char *path;
        char **content;
        std::uint32_t *length;
        std::uint32_t code;
    } cases[] = {
        {nullptr, nullptr, nullptr, ORVA_ERR_FILE_CONTENT_PATH_NULL},
        {nullptr, &content, &length, ORVA_ERR_FILE_CONTENT_PATH_NULL},
        {path, nullptr, nullptr, ORVA_ERR_FILE_CONTENT_CONTENT_NULL},
        {path, nullptr, &length, ORVA_ERR_FILE_CONTENT_CONTENT_NULL},
        {path, &content, nullptr, ORVA_ERR_FILE_CONTENT_LENGTH_NULL},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ORVA_FUNC_GetFileContent(c.path, c.content, c.length), c.code);
    }
    expect_untouched();
    EXPECT_TRUE(platform().allocations.empty());
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(FileContent, GetFileContent_WithoutAMemoryHandleNothingIsOpened) {
    ORVA_SetMemHandle(0);
    EXPECT_EQ(read(), ORVA_ERR_FILE_CONTENT_PATH_MEMORY);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x3, orva, 0x400000, 0x2) [Func] malloc elabel memory failed."}));
    expect_untouched();
    EXPECT_EQ(calls_of("realpath"), 0u);
}

TEST_F(FileContent, GetFileContent_EveryAllocationMayFail) {
    const unsigned failures = walk_allocation_failures(
        [&] {
            content = sentinel;
            length = 0xDEADBEEF;
            const std::uint32_t code = read();
            if (code == 0) {
                MIRO_MemFree_F(ORVA_GetMemHandle(), content, "src/comm/orva_util_test", 0);
            }
        },
        [&](unsigned nth) {
            expect_untouched();
            EXPECT_EQ(take_logs(),
                      nth == 1 ? (Records{"PLog(0x3, orva, 0x400000, 0x2) [Func] malloc elabel memory failed."})
                               : (Records{"PLog(0x3, orva, 0x10000, 0x2) [GetFileContent]Malloc File Content Fail"}));
        });
    EXPECT_EQ(failures, 2u);
    fail("MIRO_MemAlloc_F", 1, 0);
    EXPECT_EQ(read(), ORVA_ERR_FILE_CONTENT_PATH_MEMORY);
    fail("MIRO_MemAlloc_F", 2, 0);
    EXPECT_EQ(read(), ORVA_ERR_FILE_CONTENT_MEMORY);
}

TEST_F(FileContent, GetFileContent_EveryFailedCallHasItsCodeAndText) {
    const std::string head = "PLog(0x3, orva, 0x10000, 0x2) [GetFileContent]";
    const std::string reason = std::string(", err: ") + std::strerror(EIO) + ".";
    const struct {
        const char *what, *call;
        unsigned nth;
        std::int64_t result;
        std::uint32_t code;
        std::string log; // empty: no record
    } cases[] = {
        {"the path does not resolve", "realpath", 1, 0, ORVA_ERR_FILE_CONTENT_RESOLVE, ""},
        {"open", "fopen", 1, 0, ORVA_ERR_FILE_CONTENT_OPEN, head + "Open File Fail" + reason},
        {"seek to the end", "fseek", 1, -1, ORVA_ERR_FILE_CONTENT_SEEK_END, head + "Seek to File End Fail" + reason},
        {"no position", "ftell", 1, -1, ORVA_ERR_FILE_CONTENT_EMPTY, ""},
        {"position 0", "ftell", 1, 0, ORVA_ERR_FILE_CONTENT_EMPTY, ""},
        {"a size beyond 32 bits", "ftell", 1, 0xFFFFFFFF, ORVA_ERR_FILE_CONTENT_MEMORY,
         head + "Malloc File Content Fail"},
        {"the size of a folder", "ftell", 1, INT64_MAX, ORVA_ERR_FILE_CONTENT_MEMORY,
         head + "Malloc File Content Fail"},
        {"seek to the beginning", "fseek", 2, -1, ORVA_ERR_FILE_CONTENT_SEEK_BEGIN,
         head + "Seek to File Begin Fail" + reason},
        {"short read", "fread", 1, 16, ORVA_ERR_FILE_CONTENT_READ, head + "Read File Buffer Fail" + reason},
        {"no read", "fread", 1, 0, ORVA_ERR_FILE_CONTENT_READ, head + "Read File Buffer Fail" + reason},
    };
    for (const auto &c : cases) {
        fail(c.call, c.nth, c.result, EIO);
        refused += std::string(c.call) == "fopen" ? 1 : 0;
        EXPECT_EQ(read(), c.code) << c.what;
        expect_untouched();
        EXPECT_EQ(take_logs(), c.log.empty() ? Records{} : Records{c.log}) << c.what;
    }
}

// A file that became shorter is not a failed call: errno says so, whatever it was before.
TEST_F(FileContent, GetFileContent_AFileThatEndsEarlyHasNoErrno) {
    store("short");
    libc().ftell = [](FILE *) { return 100L; };
    libc().fseek = [](FILE *file, long, int) {
        std::rewind(file);
        errno = EIO;
        return 0;
    };
    EXPECT_EQ(read(), ORVA_ERR_FILE_CONTENT_READ);
    EXPECT_EQ(take_logs(), Records{std::string("PLog(0x3, orva, 0x10000, 0x2) [GetFileContent]Read File Buffer Fail, "
                                               "err: ") +
                                   std::strerror(0) + "."});
}

TEST_F(FileContent, GetFileContent_EmptyAndMissingFilesAreNotLogged) {
    store("");
    EXPECT_EQ(read(), ORVA_ERR_FILE_CONTENT_EMPTY);
    expect_untouched();
    unlink(path);
    EXPECT_EQ(read(), ORVA_ERR_FILE_CONTENT_RESOLVE);
    expect_untouched();
    EXPECT_TRUE(take_logs().empty());
}

// ---- Capability drop

struct Capabilities {
    std::array<std::uint32_t, 3> before{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}; // effective, permitted, inheritable
    std::array<std::uint32_t, 3> after{};
    std::vector<std::pair<std::uint32_t, int>> headers; // version and process id of each call

    void install() {
        libc().capget = [this](void *header, void *data) {
            note(header);
            auto *sets = static_cast<__user_cap_data_struct *>(data);
            *sets = {before[0], before[1], before[2]};
            return 0;
        };
        libc().capset = [this](void *header, const void *data) {
            note(header);
            const auto *sets = static_cast<const __user_cap_data_struct *>(data);
            after = {sets->effective, sets->permitted, sets->inheritable};
            return 0;
        };
        libc().getpid = [] { return 4711; };
    }

private:
    void note(const void *header) {
        const auto *record = static_cast<const __user_cap_header_struct *>(header);
        headers.emplace_back(record->version, record->pid);
    }
};

TEST_F(OrvaUtil, DeleteCap_ClearsOneBitInAllThreeSets) {
    Capabilities capabilities;
    capabilities.install();
    for (std::uint32_t capability = 0; capability <= 40; ++capability) {
        const std::uint32_t bit = 1u << (capability % 32);
        capabilities.before = {0xFFFFFFFF, 0x0F0F0F0F | bit, bit};
        EXPECT_EQ(ORVA_DeleteCap(0, capability), 0u);
        EXPECT_EQ(capabilities.after, (std::array<std::uint32_t, 3>{~bit, (0x0F0F0F0F | bit) & ~bit, 0}))
            << capability;
    }
    // A bit that is clear stays clear and touches no other.
    capabilities.before = {0x12345678, 0, 0x80000000};
    EXPECT_EQ(ORVA_DeleteCap(0, 0), 0u);
    EXPECT_EQ(capabilities.after, (std::array<std::uint32_t, 3>{0x12345678, 0, 0x80000000}));
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaUtil, DeleteCap_NamesTheThreadOrTheProcess) {
    Capabilities capabilities;
    capabilities.install();
    for (const auto &[ofThisProcess, pid] : {std::pair{0u, 0}, {1u, 4711}, {0xFFFFFFFFu, 4711}}) {
        capabilities.headers.clear();
        EXPECT_EQ(ORVA_DeleteCap(ofThisProcess, 17), 0u);
        const std::pair<std::uint32_t, int> header{0x19980330, pid};
        EXPECT_EQ(capabilities.headers, (std::vector{header, header}));
    }
}

TEST_F(OrvaUtil, DeleteCap_OutOfRangeReturnsTheFirstArgument) {
    Capabilities capabilities;
    capabilities.install();
    for (const std::uint32_t capability : {41u, 64u, 0xFFFFFFFFu}) {
        EXPECT_EQ(ORVA_DeleteCap(0, capability), 0u);
        EXPECT_EQ(ORVA_DeleteCap(7, capability), 7u);
    }
    EXPECT_TRUE(capabilities.headers.empty());
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaUtil, DeleteCap_FailuresGiveTheSinksResult) {
    Capabilities capabilities;
    capabilities.install();
    platform().plogResult = 0x5151;
    fail("capget", 1, -1, EPERM);
    EXPECT_EQ(ORVA_DeleteCap(0, 17), 0x5151u);
    EXPECT_EQ(take_logs(), (Records{std::string("PLog(0x2, orva, 0x10000, 0x4) [ChangeCap] capget unsuccessfully, "
                                                "return 4294967295 strerr: ") +
                                    std::strerror(EPERM) + "."}));
    EXPECT_EQ(calls_of("capset"), 0u);
    fail("capset", 1, -1, EINVAL);
    EXPECT_EQ(ORVA_DeleteCap(0, 17), 0x5151u);
    EXPECT_EQ(take_logs(), (Records{std::string("PLog(0x2, orva, 0x10000, 0x4) capset unsuccessfully,  return "
                                                "4294967295, strerr: ") +
                                    std::strerror(EINVAL)}));
}

// ---- Trimming

TEST_F(OrvaUtil, StrTrim_TakesSpacesFromBothEnds) {
    const struct {
        const char *text;
        std::uint32_t size;
        const char *expected;
    } cases[] = {
        {"  ab c  ", 9, "ab c"}, {"  ab c  ", 4, "a"}, {"  ab c  ", 3, ""},
        {"  ab c  ", 1, ""},     {"ab", 16, "ab"},     {"", 16, ""},
        {"     ", 16, ""},       {" ", 2, ""},         {"\t ab \n ", 16, "\t ab \n"},
        {"a b", 4, "a b"},       {"a  ", 16, "a"},     {"  a", 16, "a"},
    };
    for (const auto &c : cases) {
        char buffer[17];
        std::memset(buffer, 'x', sizeof buffer);
        std::memcpy(buffer, c.text, std::strlen(c.text) + 1);
        EXPECT_EQ(ORVA_StrTrim(buffer, c.size), buffer) << c.text;
        EXPECT_STREQ(buffer, c.expected) << c.text;
        EXPECT_EQ(buffer[c.size - 1], '\0');
    }
}

TEST_F(OrvaUtil, StrTrim_TerminatesABufferThatIsFull) {
    char buffer[6] = {' ', 'a', 'b', ' ', 'c', 'x'};
    EXPECT_STREQ(ORVA_StrTrim(buffer, 5), "ab");
    EXPECT_EQ(buffer[5], 'x');
    char text[] = " a ";
    EXPECT_EQ(ORVA_StrTrim(text, 0), nullptr);
    EXPECT_STREQ(text, " a ");
    EXPECT_EQ(ORVA_StrTrim(nullptr, 4), nullptr);
}

// ---- Rounding

TEST_F(OrvaUtil, Rounding_LooksAtTheFirstDecimalOnly) {
    const double infinity = std::numeric_limits<double>::infinity();
    const struct {
        double value, expected;
    } cases[] = {
        {2.45, 2},
        {2.5, 3},
        {3.5, 4},
        {3.4, 3},
        {3.94, 4},
        {3.96, 4},
        {0, 0},
        {0.4, 0},
        {0.5, 1},
        {0.99, 1},
        {1, 1},
        {-2.5, -2},
        {-3.96, -3},
        {-0.9, 0},
        {-1, -1},
        {-10.99, -10},
        {214748364.4, 214748364},
        {214748364.6, 214748365},
        {1e12, 214748365},
        {-1e12, -214748364},
        {infinity, 214748365},
        {-infinity, -214748364},
        {std::nan(""), 0},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ORVA_Rounding(c.value), c.expected) << c.value;
    }
}

// ---- Calibration line

TEST_F(OrvaUtil, CheckLineAdjPara_WantsOnePointOrTwoRisingOnes) {
    const struct {
        std::int32_t x1, y1, x2, y2;
        std::uint32_t result;
    } cases[] = {
        {kAbsent, 0, kAbsent, 0, 1},
        {kAbsent, 0, 5, 5, 0},
        {5, 5, kAbsent, 0, 0},
        {kAbsent, 9, 5, 1, 0},
        {5, 9, kAbsent, 1, 0},
        {0, 0, 10, 5, 0},
        {0, 0, 0, 0, 0},
        {10, 5, 0, 9, 1},
        {0, 9, 10, 5, 1},
        {10, 9, 0, 5, 1},
        {kMin, kMin, 0, 0, 0},
        {0, kAbsent, 1, kAbsent, 0},
        {0, kAbsent, 1, 0, 1},
        {kAbsent - 1, 0, 0, 0, 1},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ORVA_CheckLineAdjPara(c.x1, c.y1, c.x2, c.y2), c.result)
            << c.x1 << " " << c.y1 << " " << c.x2 << " " << c.y2;
    }
}

TEST_F(OrvaUtil, CalValueByLineAdj_MapsAlongTheLine) {
    const struct {
        const char *what;
        std::int32_t x1, y1, x2, y2, x, y;
    } cases[] = {
        {"a remainder adds 1", 0, 0, 10, 5, 3, 2},
        {"no remainder", 0, 0, 10, 5, 4, 2},
        {"the first point", 0, 0, 10, 5, 0, 0},
        {"the second point", 0, 0, 10, 5, 10, 5},
        {"beyond the second point", 0, 0, 10, 5, 30, 15},
        {"below the first point", 0, 0, 10, 5, -4, -2},
        {"below, with a remainder", 0, 0, 10, 5, -3, 0}, // -15 / 10 = -1, and 1
        {"below, with a small remainder", 0, 100, 10, 105, -1, 101},
        {"another start", 5, 100, 15, 200, 8, 130},
        {"the first point absent", kAbsent, 1, 5, 42, 3, 42},
        {"the second point absent", 5, 43, kAbsent, 1, 3, 43},
        {"equal x", 5, 7, 5, 9, 100, 7},
        {"equal y", 5, 7, 9, 7, 100, 7},
        {"a product that wraps", 0, 0, 0x10000, 0x10000, 0x10001, 1}, // 0x100010000 is 0x10000 in 32 bits
        {"a run that wraps", kMin, 0, 0x7FFFFFFE, 1, 0, 0x40000000},  // -2^31 / -2
    };
    for (const auto &c : cases) {
        std::int32_t y = 0x5A5A5A5A;
        EXPECT_EQ(ORVA_CalValueByLineAdj(c.x1, c.y1, c.x2, c.y2, c.x, &y), 0u) << c.what;
        EXPECT_EQ(y, c.y) << c.what;
    }
}

TEST_F(OrvaUtil, CalValueByLineAdj_RefusesWhatIsNotARisingLine) {
    std::int32_t y = 0x5A5A5A5A;
    EXPECT_EQ(ORVA_CalValueByLineAdj(kAbsent, 0, kAbsent, 0, 3, &y), 1u);
    EXPECT_EQ(ORVA_CalValueByLineAdj(10, 5, 0, 9, 3, &y), 1u);
    EXPECT_EQ(ORVA_CalValueByLineAdj(0, 9, 10, 5, 3, &y), 1u);
    EXPECT_EQ(y, 0x5A5A5A5A);
    EXPECT_EQ(ORVA_CalValueByLineAdj(0, 0, 10, 5, 3, nullptr), 1u);
}

// ---- Random value

class RandomValue : public OrvaUtil {
protected:
    void SetUp() override {
        OrvaUtil::SetUp();
        libc().open = [this](const char *path, int flags, mode_t) {
            opened.push_back(std::string(path) + " " + std::to_string(flags));
            return 77;
        };
        platform().fakeFds[77] = "\x11\x22\x33\x44\x55";
    }
    Records opened;
};

TEST_F(RandomValue, GetRandValue_ReadsFourBytesOfATrackedDescriptor) {
    EXPECT_EQ(ORVA_GetRandValue(), 0x44332211u);
    EXPECT_EQ(opened, (Records{"/dev/urandom " + std::to_string(O_RDONLY)}));
    EXPECT_EQ(platform().calls, (Records{"SetFdOwner(0x1)", "close_s(0x5004d)"}));
    EXPECT_EQ(platform().fakeFds[77], "\x55");
}

TEST_F(RandomValue, GetRandValue_AShortReadKeepsTheZeroStart) {
    platform().fakeFds[77] = "\x11\x22";
    EXPECT_EQ(ORVA_GetRandValue(), 0x2211u);
    EXPECT_EQ(ORVA_GetRandValue(), 0u); // nothing left
    fail("read_s", 1, -1, EIO);
    EXPECT_EQ(ORVA_GetRandValue(), 0u);
    EXPECT_EQ(platform().calls.size(), 6u); // closed each time
}

TEST_F(RandomValue, GetRandValue_WithoutADeviceIs0) {
    fail("open", 1, -1, ENOENT);
    EXPECT_EQ(ORVA_GetRandValue(), 0u);
    EXPECT_TRUE(platform().calls.empty());
}

TEST_F(RandomValue, GetRandValue_ZeroIsADescriptor) {
    fail("safeio_fd_owner_assemble", 1, 0);
    platform().fakeFds[0] = "\x01\x02\x03\x04";
    EXPECT_EQ(ORVA_GetRandValue(), 0x04030201u);
    libc().open = [](const char *, int, mode_t) { return 0; };
    platform().fakeFds[0] = "\x01\x02\x03\x04";
    EXPECT_EQ(ORVA_GetRandValue(), 0x04030201u);
    EXPECT_EQ(platform().calls.back(), "close_s(0x50000)");
}

TEST_F(RandomValue, GetRandValue_AnUntrackedDescriptorStaysOpen) {
    fail("safeio_fd_owner_assemble", 1, -1);
    EXPECT_EQ(ORVA_GetRandValue(), 0u);
    EXPECT_EQ(platform().calls, (Records{"SetFdOwner(0x1)"}));
    EXPECT_EQ(calls_of("read_s"), 0u);
    EXPECT_EQ(calls_of("close_s"), 0u);
    // A registration that fails does not fail the call by itself.
    fail("SetFdOwner", 1, -1);
    EXPECT_EQ(ORVA_GetRandValue(), 0x44332211u);
}

} // namespace
