// The host platform's safe-I/O library: bounded texts, and descriptors with a tracked owner on the real kernel.
#include "safeio.h"
#include "safeio_host.h"
#include "system_support.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr char kFill = '#';

std::string bytes_of(const char *buffer, std::size_t size) {
    return std::string(buffer, size);
}

class HostSafeioText : public testing::Test {
protected:
    HostSafeioText() {
        std::memset(buffer, kFill, sizeof buffer);
    }
    char buffer[16];
};

TEST_F(HostSafeioText, MemcpyS_CopiesUpToTheWholeDestination) {
    EXPECT_EQ(memcpy_s(buffer, 4, "abcd", 4), 0);
    EXPECT_EQ(bytes_of(buffer, 5), "abcd#");
    EXPECT_EQ(memcpy_s(buffer, 0, "x", 0), 0);
    EXPECT_EQ(bytes_of(buffer, 5), "abcd#");
}

TEST_F(HostSafeioText, MemcpyS_LeavesTheDestinationOnFailure) {
    EXPECT_EQ(memcpy_s(buffer, 4, "abcde", 5), ERANGE);
    EXPECT_EQ(memcpy_s(buffer, 4, nullptr, 2), EINVAL);
    EXPECT_EQ(memcpy_s(buffer, 4, nullptr, 0), EINVAL);
    EXPECT_EQ(memcpy_s(nullptr, 4, "a", 0), EINVAL);
    EXPECT_EQ(memcpy_s(buffer, 4, "a", SIZE_MAX), ERANGE);
    EXPECT_EQ(bytes_of(buffer, sizeof buffer), std::string(sizeof buffer, kFill));
}

TEST_F(HostSafeioText, MemcpyS_CopiesBetweenOverlappingRangesWhole) {
    std::memcpy(buffer, "0123456789", 10);
    EXPECT_EQ(memcpy_s(buffer + 2, 14, buffer, 8), 0);
    EXPECT_EQ(bytes_of(buffer, 10), "0101234567");
}

TEST_F(HostSafeioText, MemsetS_FillsOrLeavesTheDestination) {
    EXPECT_EQ(memset_s(buffer, 4, 'z', 3), 0);
    EXPECT_EQ(bytes_of(buffer, 4), "zzz#");
    EXPECT_EQ(memset_s(buffer, 4, 'y', 5), ERANGE);
    EXPECT_EQ(memset_s(nullptr, 4, 'y', 0), EINVAL);
    EXPECT_EQ(bytes_of(buffer, 5), "zzz##");
}

struct TextCase {
    const char *name;
    std::size_t dst_size;
    const char *present; // what strcat_s finds
    const char *src;
    std::size_t count; // for strncpy_s
    int result;
    const char *text; // null: the destination is untouched
};

TEST_F(HostSafeioText, StrcpyS_CopiesWhatFitsWithItsZero) {
    constexpr TextCase kCases[] = {
        {"fits", 4, nullptr, "abc", 0, 0, "abc"},
        {"empty source", 1, nullptr, "", 0, 0, ""},
        {"no room for the zero", 3, nullptr, "abc", 0, ERANGE, ""},
        {"much too long", 3, nullptr, "abcdefgh", 0, ERANGE, ""},
        {"no destination room", 0, nullptr, "abc", 0, ERANGE, nullptr},
        {"null source", 4, nullptr, nullptr, 0, EINVAL, ""},
        {"null source, no room", 0, nullptr, nullptr, 0, EINVAL, nullptr},
    };
    for (const TextCase &c : kCases) {
        SCOPED_TRACE(c.name);
        std::memset(buffer, kFill, sizeof buffer);
        EXPECT_EQ(strcpy_s(buffer, c.dst_size, c.src), c.result);
        const std::string expected = c.text != nullptr ? std::string(c.text) + '\0' : "";
        EXPECT_EQ(bytes_of(buffer, expected.size()), expected);
        EXPECT_EQ(buffer[std::max(expected.size(), c.dst_size)], kFill);
    }
    EXPECT_EQ(strcpy_s(nullptr, 4, "abc"), EINVAL);
}

TEST_F(HostSafeioText, StrncpyS_CopiesAtMostCountCharactersAndTerminates) {
    constexpr TextCase kCases[] = {
        {"source shorter than count", 8, nullptr, "abc", 5, 0, "abc"},
        {"count shorter than source", 8, nullptr, "abcdef", 3, 0, "abc"},
        {"count fills all but the zero", 4, nullptr, "abcdef", 3, 0, "abc"},
        {"count needs the place of the zero", 4, nullptr, "abcdef", 4, ERANGE, ""},
        {"source too long for any count", 4, nullptr, "abcdef", 100, ERANGE, ""},
        {"large count, short source", 4, nullptr, "ab", SIZE_MAX, 0, "ab"},
        {"count of 0", 4, nullptr, "abc", 0, 0, ""},
        {"null source with count 0", 4, nullptr, nullptr, 0, EINVAL, ""},
        {"no destination room", 0, nullptr, "abc", 1, ERANGE, nullptr},
    };
    for (const TextCase &c : kCases) {
        SCOPED_TRACE(c.name);
        std::memset(buffer, kFill, sizeof buffer);
        EXPECT_EQ(strncpy_s(buffer, c.dst_size, c.src, c.count), c.result);
        const std::string expected = c.text != nullptr ? std::string(c.text) + '\0' : "";
        EXPECT_EQ(bytes_of(buffer, expected.size()), expected);
        EXPECT_EQ(buffer[std::max(expected.size(), c.dst_size)], kFill);
    }
    EXPECT_EQ(strncpy_s(nullptr, 4, "abc", 0), EINVAL);
}

TEST_F(HostSafeioText, StrncpyS_ReadsNoMoreThanCountCharactersOfTheSource) {
    const char unterminated[3] = {'a', 'b', 'c'};
    EXPECT_EQ(strncpy_s(buffer, sizeof buffer, unterminated, 3), 0);
    EXPECT_STREQ(buffer, "abc");
}

TEST_F(HostSafeioText, StrcatS_AppendsOrEmptiesTheDestination) {
    constexpr TextCase kCases[] = {
        {"fits", 8, "abc", "def", 0, 0, "abcdef"},
        {"fits to the last byte", 7, "abc", "def", 0, 0, "abcdef"},
        {"one byte short", 6, "abc", "def", 0, ERANGE, ""},
        {"empty source", 4, "abc", "", 0, 0, "abc"},
        {"null source", 8, "abc", nullptr, 0, EINVAL, ""},
        {"destination without a zero", 3, "abc", "", 0, EINVAL, ""},
    };
    for (const TextCase &c : kCases) {
        SCOPED_TRACE(c.name);
        std::memset(buffer, kFill, sizeof buffer);
        std::memcpy(buffer, c.present, std::strlen(c.present) + 1);
        EXPECT_EQ(strcat_s(buffer, c.dst_size, c.src), c.result);
        EXPECT_STREQ(buffer, c.text);
        EXPECT_EQ(buffer[8], kFill);
    }
    EXPECT_EQ(strcat_s(nullptr, 4, "abc"), EINVAL);
    EXPECT_EQ(strcat_s(buffer, 0, "abc"), EINVAL);
}

TEST_F(HostSafeioText, SprintfS_RefusesATextThatDoesNotFit) {
    EXPECT_EQ(sprintf_s(buffer, 6, "%u-%s", 12u, "ab"), 5);
    EXPECT_STREQ(buffer, "12-ab");
    EXPECT_EQ(buffer[6], kFill);
    EXPECT_EQ(sprintf_s(buffer, 5, "%u-%s", 12u, "ab"), -1);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_STREQ(buffer, "");
}

TEST_F(HostSafeioText, SprintfS_RefusesArgumentsThatCannotBeUsed) {
    const char *const volatile no_format = nullptr;
    EXPECT_EQ(sprintf_s(nullptr, 5, "a"), -1);
    EXPECT_EQ(sprintf_s(buffer, 0, "a"), -1);
    EXPECT_EQ(buffer[0], kFill);
    EXPECT_EQ(sprintf_s(buffer, 5, no_format), -1);
    EXPECT_STREQ(buffer, "");
}

struct CutCase {
    const char *name;
    std::size_t dst_size, count;
    int result;
    const char *text;
};

constexpr CutCase kCutCases[] = {
    {"fits below count", 8, 7, 6, "123456"},
    {"exactly count", 8, 6, 6, "123456"},
    {"cut at count", 8, 3, 3, "123"},
    {"count of 0", 8, 0, 0, ""},
    {"cut by count just below the size", 4, 3, 3, "123"},
    {"count is the size, text fits", 7, 7, 6, "123456"},
    {"count is the size, text does not fit", 6, 6, -1, ""},
    {"no limit, text fits", 7, SIZE_MAX, 6, "123456"},
    {"no limit, text does not fit", 6, SIZE_MAX, -1, ""},
};

TEST_F(HostSafeioText, SnprintfS_TruncatesAtCountAndFailsAtTheSize) {
    for (const CutCase &c : kCutCases) {
        SCOPED_TRACE(c.name);
        std::memset(buffer, kFill, sizeof buffer);
        EXPECT_EQ(snprintf_s(buffer, c.dst_size, c.count, "%d%s", 123, "456"), c.result);
        EXPECT_STREQ(buffer, c.text);
        EXPECT_EQ(buffer[c.dst_size], kFill);
    }
    const char *const volatile no_format = nullptr;
    EXPECT_EQ(snprintf_s(nullptr, 4, 3, "a"), -1);
    EXPECT_EQ(snprintf_s(buffer, 0, 0, "a"), -1);
    std::memset(buffer, kFill, sizeof buffer);
    EXPECT_EQ(snprintf_s(buffer, 4, 3, no_format), -1);
    EXPECT_STREQ(buffer, "");
}

SAFEIO_PRINTF(4, 5)
int through_list(char *dst, std::size_t dst_size, std::size_t count, const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int result = vsnprintf_s(dst, dst_size, count, format, args);
    va_end(args);
    return result;
}

TEST_F(HostSafeioText, VsnprintfS_TruncatesAtCountAndFailsAtTheSize) {
    for (const CutCase &c : kCutCases) {
        SCOPED_TRACE(c.name);
        std::memset(buffer, kFill, sizeof buffer);
        EXPECT_EQ(through_list(buffer, c.dst_size, c.count, "%d%s", 123, "456"), c.result);
        EXPECT_STREQ(buffer, c.text);
        EXPECT_EQ(buffer[c.dst_size], kFill);
    }
}

TEST_F(HostSafeioText, SscanfS_ReadsNumbersAsSscanfDoes) {
    int a = -1;
    unsigned b = 9;
    EXPECT_EQ(sscanf_s("12 0x1F", "%d %x", &a, &b), 2);
    EXPECT_EQ(a, 12);
    EXPECT_EQ(b, 0x1Fu);
    EXPECT_EQ(sscanf_s("7 x", "%d %u", &a, &b), 1);
    EXPECT_EQ(a, 7);
    EXPECT_EQ(sscanf_s("x", "%d", &a), 0);
    EXPECT_EQ(sscanf_s("", "%d", &a), EOF);
    EXPECT_EQ(a, 7);
    const char *const volatile nothing = nullptr;
    EXPECT_EQ(sscanf_s(nothing, "%d", &a), -1);
    EXPECT_EQ(sscanf_s("1", nothing), -1);
}

TEST_F(HostSafeioText, SscanfS_StoresTextsOnlyWithAWidth) {
    int number = 0;
    EXPECT_EQ(sscanf_s("key=abcdefgh 5", "key=%4s", buffer), 1);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(sscanf_s("ab]c 5", "%3[]ab]", buffer), 1);
    EXPECT_STREQ(buffer, "ab]");
    EXPECT_EQ(sscanf_s("word 5 100%", "%*s %d %*u%%", &number), 1);
    EXPECT_EQ(number, 5);
    EXPECT_EQ(sscanf_s("xyz", "%c", buffer), 1);
    EXPECT_EQ(buffer[0], 'x');
    std::memset(buffer, kFill, sizeof buffer);
    const char *const refused[] = {"%s",   "%d %s",  "%[a-z]", "%ls", "%0s",   "%1$s",
                                   "%%%s", "%*d %s", "%'s",    "%S",  "%[]a]", "%4[s]%s"};
    for (const char *format : refused) {
        errno = 0;
        EXPECT_EQ(sscanf_s("1 abc", format, buffer, buffer, buffer), -1) << format;
        EXPECT_EQ(errno, EINVAL) << format;
    }
    EXPECT_EQ(bytes_of(buffer, sizeof buffer), std::string(sizeof buffer, kFill));
}

class HostSafeioDescriptor : public testing::Test {
protected:
    HostSafeioDescriptor() {
        SAFEIO_HostSetReporter(
            [](const char *line, void *context) {
                static_cast<HostSafeioDescriptor *>(context)->lines.push_back(line);
            },
            this);
    }
    ~HostSafeioDescriptor() override {
        SAFEIO_HostSetReporter(nullptr, nullptr);
    }
    static bool is_open(int fd) {
        return fcntl(fd & SAFEIO_KERNEL_FD_MASK, F_GETFD) >= 0;
    }
    int tracked_file(const std::string &path, std::uint32_t module = 1) {
        const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        std::uint32_t owner = 0;
        EXPECT_EQ(SetFdOwner(fd, module, &owner), 0);
        return safeio_fd_owner_assemble(fd, owner);
    }

    orva_test::ScratchFolder folder;
    std::vector<std::string> lines;
};

std::string number(int value) {
    return std::to_string(value);
}

TEST_F(HostSafeioDescriptor, Assemble_PutsTheOwnerAboveBit15) {
    EXPECT_EQ(safeio_fd_owner_assemble(5, 3), 5 | 3 << 16);
    EXPECT_EQ(safeio_fd_owner_assemble(0xFFFF, 0x7FFF), INT_MAX);
    EXPECT_EQ(safeio_fd_owner_assemble(0, 1), 0x10000);
    EXPECT_LT(safeio_fd_owner_assemble(-1, 1), 0);
    EXPECT_LT(safeio_fd_owner_assemble(0x10000, 1), 0);
    EXPECT_LT(safeio_fd_owner_assemble(5, 0x8000), 0);
    EXPECT_LT(safeio_fd_owner_assemble(5, UINT32_MAX), 0);
}

TEST_F(HostSafeioDescriptor, SetFdOwner_RefusesWhatIsNotADescriptor) {
    std::uint32_t owner = 77;
    EXPECT_EQ(SetFdOwner(-1, 1, &owner), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(SetFdOwner(0x10000, 1, &owner), -1);
    EXPECT_EQ(SetFdOwner(1, 1, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(owner, 77u);
    EXPECT_EQ(SAFEIO_HostWalkTracked(nullptr, nullptr), 0u);
}

TEST_F(HostSafeioDescriptor, TrackedFile_IsWrittenReadChangedAndClosed) {
    const std::string path = folder.file("f");
    const int fd = tracked_file(path);
    ASSERT_GT(fd, 0xFFFF);
    EXPECT_EQ(write_s(fd, "hello", 5), 5);
    EXPECT_EQ(lseek(fd & SAFEIO_KERNEL_FD_MASK, 0, SEEK_SET), 0);
    char text[8] = {};
    EXPECT_EQ(read_s(fd, text, sizeof text), 5);
    EXPECT_STREQ(text, "hello");
    EXPECT_EQ(fchmod_s(fd, 0640), 0);
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 0640u);
    EXPECT_EQ(close_s(fd), 0);
    EXPECT_FALSE(is_open(fd));
    EXPECT_TRUE(lines.empty());
}

TEST_F(HostSafeioDescriptor, CloseS_TwiceIsReportedAndRefused) {
    const int fd = tracked_file(folder.file("f"));
    EXPECT_EQ(close_s(fd), 0);
    errno = 0;
    EXPECT_EQ(close_s(fd), -1);
    EXPECT_EQ(errno, EBADF);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "close of descriptor " + number(fd & 0xFFFF) + " by owner " + number(fd >> 16) +
                            ", who has closed it already or never had it");
}

TEST_F(HostSafeioDescriptor, CloseS_OfAReusedNumberLeavesTheNewOwnersDescriptorOpen) {
    const int first = tracked_file(folder.file("f"));
    EXPECT_EQ(close_s(first), 0);
    const int second = tracked_file(folder.file("g"), 0x2A);
    ASSERT_EQ(first & 0xFFFF, second & 0xFFFF);
    ASSERT_NE(first, second);
    EXPECT_EQ(close_s(first), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_TRUE(is_open(second));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "close of descriptor " + number(first & 0xFFFF) + " by owner " + number(first >> 16) +
                            ": it belongs to owner " + number(second >> 16) + " of module 0x2a");
    EXPECT_EQ(close_s(second), 0);
}

TEST_F(HostSafeioDescriptor, ReadWriteChange_ByTheWrongOwnerAreReportedAndRefused) {
    const int fd = tracked_file(folder.file("f"));
    const int wrong = fd ^ 0x40000000;
    char byte = 0;
    EXPECT_EQ(write_s(wrong, "x", 1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(read_s(wrong, &byte, 1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(fchmod_s(wrong, 0600), -1);
    EXPECT_EQ(errno, EBADF);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].rfind("write of descriptor ", 0), 0u) << lines[0];
    EXPECT_EQ(lines[1].rfind("read of descriptor ", 0), 0u) << lines[1];
    EXPECT_EQ(lines[2].rfind("fchmod of descriptor ", 0), 0u) << lines[2];
    EXPECT_EQ(orva_test::read_file(folder.file("f")), "");
    EXPECT_EQ(close_s(fd), 0);
}

TEST_F(HostSafeioDescriptor, NegativeNumbers_FailWithoutAReport) {
    char byte = 0;
    EXPECT_EQ(read_s(-1, &byte, 1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(write_s(-1, &byte, 1), -1);
    EXPECT_EQ(fchmod_s(-1, 0600), -1);
    EXPECT_EQ(close_s(-1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_TRUE(lines.empty());
}

TEST_F(HostSafeioDescriptor, PipeS_GivesPlainNumbersThatCloseSTakes) {
    int fds[2] = {-1, -1};
    ASSERT_EQ(pipe_s(fds), 0);
    EXPECT_LE(fds[0], 0xFFFF);
    EXPECT_LE(fds[1], 0xFFFF);
    char byte = 0;
    EXPECT_EQ(write_s(fds[1], "p", 1), 1);
    EXPECT_EQ(read_s(fds[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'p');
    EXPECT_EQ(close_s(fds[0]), 0);
    EXPECT_EQ(close_s(fds[1]), 0);
    EXPECT_FALSE(is_open(fds[0]));
    EXPECT_EQ(close_s(fds[1]), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(lines.size(), 1u) << "the second close is told";
    EXPECT_EQ(pipe_s(nullptr), -1);
}

TEST_F(HostSafeioDescriptor, SocketS_GivesATrackedDescriptor) {
    const int fd = socket_s(AF_UNIX, SOCK_DGRAM, 0);
    ASSERT_GT(fd, 0xFFFF);
    int type = 0;
    socklen_t length = sizeof type;
    EXPECT_EQ(getsockopt(fd & SAFEIO_KERNEL_FD_MASK, SOL_SOCKET, SO_TYPE, &type, &length), 0);
    EXPECT_EQ(type, SOCK_DGRAM);
    uint32_t module = 77;
    EXPECT_EQ(SAFEIO_HostWalkTracked(
                  [](int, uint32_t, uint32_t owning, void *context) { *static_cast<uint32_t *>(context) = owning; },
                  &module),
              1u);
    EXPECT_EQ(module, 0u);
    EXPECT_EQ(close_s(fd), 0);
    EXPECT_FALSE(is_open(fd));
    EXPECT_EQ(socket_s(AF_UNIX, 12345, 0), -1);
    EXPECT_TRUE(lines.empty());
}

TEST_F(HostSafeioDescriptor, CloseS_OfTheOwnersDescriptorByItsPlainNumberClosesItAndSaysSo) {
    const int fd = tracked_file(folder.file("f"), 8);
    EXPECT_EQ(close_s(fd & 0xFFFF), 0);
    EXPECT_FALSE(is_open(fd));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "close of descriptor " + number(fd & 0xFFFF) + " by its plain number: it belonged to owner " +
                            number(fd >> 16) + " of module 0x8");
    EXPECT_EQ(close_s(fd), -1);
    EXPECT_EQ(SAFEIO_HostWalkTracked(nullptr, nullptr), 0u);
}

TEST_F(HostSafeioDescriptor, CloseS_OfAPipeClosedTwiceNamesWhatItClosed) {
    int ends[2];
    ASSERT_EQ(pipe_s(ends), 0);
    EXPECT_EQ(close_s(ends[0]), 0);
    EXPECT_EQ(close_s(ends[1]), 0);
    EXPECT_EQ(close_s(ends[1]), -1);
    EXPECT_EQ(errno, EBADF);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "close of descriptor " + number(ends[1]) +
                            " by its plain number: nothing is open there; closed twice?");
    const int stranger = tracked_file(folder.file("stranger"), 9);
    ASSERT_EQ(stranger & 0xFFFF, std::min(ends[0], ends[1]));
    EXPECT_EQ(close_s(std::min(ends[0], ends[1])), 0);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1], "close of descriptor " + number(stranger & 0xFFFF) +
                            " by its plain number: it belonged to owner " + number(stranger >> 16) +
                            " of module 0x9");
}

TEST_F(HostSafeioDescriptor, ReadS_TakesThePlainNumberOfATrackedDescriptor) {
    const int fd = tracked_file(folder.file("f"));
    EXPECT_EQ(write_s(fd & 0xFFFF, "x", 1), 1);
    EXPECT_EQ(close_s(fd), 0);
    EXPECT_TRUE(lines.empty());
}

TEST_F(HostSafeioDescriptor, CloseS_AfterAPlainCloseIsReported) {
    const int fd = tracked_file(folder.file("f"));
    close(fd & 0xFFFF);
    EXPECT_EQ(close_s(fd), -1);
    EXPECT_EQ(errno, EBADF);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "close of descriptor " + number(fd & 0xFFFF) + " by owner " + number(fd >> 16) +
                            ": it was closed without the tracking");
    EXPECT_EQ(SAFEIO_HostWalkTracked(nullptr, nullptr), 0u);
}

TEST_F(HostSafeioDescriptor, CloseS_LeavesANumberThatSomeoneElseReusesOpen) {
    const int fd = tracked_file(folder.file("f"));
    close(fd & 0xFFFF);
    const int other = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(other, fd & 0xFFFF);
    EXPECT_EQ(close_s(fd), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_TRUE(is_open(other));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("its number is in use by someone else"), std::string::npos) << lines[0];
    EXPECT_EQ(close_s(other), 0);
    EXPECT_EQ(lines.size(), 1u);
}

TEST_F(HostSafeioDescriptor, CloseS_OfAnUntrackedDescriptorUnderAStaleNumberWorks) {
    const int first = socket_s(AF_UNIX, SOCK_DGRAM, 0);
    close(first & 0xFFFF);
    const int second = socket(AF_UNIX, SOCK_DGRAM, 0);
    ASSERT_EQ(second, first & 0xFFFF);
    EXPECT_EQ(close_s(second), 0);
    EXPECT_FALSE(is_open(second));
    EXPECT_TRUE(lines.empty());
}

TEST_F(HostSafeioDescriptor, PipeS_ForgetsAStaleOwnerOfItsNumbers) {
    const int fd = tracked_file(folder.file("f"));
    close(fd & 0xFFFF);
    int fds[2] = {-1, -1};
    ASSERT_EQ(pipe_s(fds), 0);
    ASSERT_EQ(fds[0], fd & 0xFFFF);
    EXPECT_EQ(close_s(fd), -1);
    EXPECT_TRUE(is_open(fds[0]));
    EXPECT_EQ(close_s(fds[0]), 0);
    EXPECT_EQ(close_s(fds[1]), 0);
    EXPECT_EQ(lines.size(), 1u);
}

TEST_F(HostSafeioDescriptor, SetFdOwner_GivesTheNumberToTheLastOwner) {
    const int fd = tracked_file(folder.file("f"));
    std::uint32_t owner = 0;
    ASSERT_EQ(SetFdOwner(fd & 0xFFFF, 2, &owner), 0);
    EXPECT_EQ(close_s(fd), -1);
    EXPECT_EQ(close_s(safeio_fd_owner_assemble(fd & 0xFFFF, owner)), 0);
    EXPECT_EQ(lines.size(), 1u);
}

TEST_F(HostSafeioDescriptor, SetFdOwner_StaysBelow0x8000ForEver) {
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    std::uint32_t previous = 0;
    for (int i = 0; i < 0x8000 + 10; ++i) {
        std::uint32_t owner = 0;
        ASSERT_EQ(SetFdOwner(fd, 1, &owner), 0);
        ASSERT_GT(owner, 0u);
        ASSERT_LT(owner, 0x8000u);
        ASSERT_NE(owner, previous);
        previous = owner;
    }
    EXPECT_EQ(close_s(safeio_fd_owner_assemble(fd, previous)), 0);
}

TEST_F(HostSafeioDescriptor, SetFdOwner_GivesAClosedNumberAnotherOwnerAlsoAfterAllOthers) {
    const int first = tracked_file(folder.file("f"));
    EXPECT_EQ(close_s(first), 0);
    const int other = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(other, first & 0xFFFF);
    const int third = open("/dev/null", O_RDONLY | O_CLOEXEC);
    std::uint32_t owner = 0;
    for (int i = 0; i < 0x7FFE; ++i) {
        ASSERT_EQ(SetFdOwner(third, 1, &owner), 0);
    }
    ASSERT_EQ(SetFdOwner(other, 1, &owner), 0);
    EXPECT_NE(safeio_fd_owner_assemble(other, owner), first);
    close(third);
    close(other);
}

TEST_F(HostSafeioDescriptor, PipeAndSocket_FailWhenTheProcessHasNoDescriptorLeft) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    int fds[2] = {-7, -7};
    const int pipe_result = pipe_s(fds);
    const int pipe_error = errno;
    const int socket_result = socket_s(AF_UNIX, SOCK_DGRAM, 0);
    const int socket_error = errno;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(pipe_result, -1);
    EXPECT_EQ(pipe_error, EMFILE);
    EXPECT_EQ(fds[0], -7);
    EXPECT_EQ(fds[1], -7);
    EXPECT_EQ(socket_result, -1);
    EXPECT_EQ(socket_error, EMFILE);
    EXPECT_EQ(SAFEIO_HostWalkTracked(nullptr, nullptr), 0u);
}

TEST_F(HostSafeioDescriptor, NumbersAbove16Bits_AreNotReturned) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = 0x10010;
    limit.rlim_max = std::max(limit.rlim_max, limit.rlim_cur);
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        GTEST_SKIP() << "the kernel refuses " << limit.rlim_cur << " descriptors, errno " << errno;
    }
    const int zero = open("/dev/null", O_RDONLY | O_CLOEXEC);
    std::vector<int> held;
    for (int fd = dup(zero); fd < 0xFFFF; fd = dup(zero)) {
        ASSERT_GE(fd, 0);
        held.push_back(fd);
    }
    int fds[2] = {-1, -1};
    EXPECT_EQ(pipe_s(fds), -1);
    EXPECT_EQ(errno, EMFILE);
    EXPECT_EQ(fds[0], -1);
    EXPECT_EQ(socket_s(AF_UNIX, SOCK_DGRAM, 0), -1);
    EXPECT_EQ(errno, EMFILE);
    const int next = dup(zero);
    EXPECT_EQ(next, 0x10000);
    for (int fd = zero; fd <= next; ++fd) {
        close(fd);
    }
}

TEST_F(HostSafeioDescriptor, WalkTracked_ShowsOwnerAndModule) {
    const int a = tracked_file(folder.file("a"), 0x11);
    const int b = tracked_file(folder.file("b"), 0x22);
    struct Seen {
        std::vector<std::vector<std::uint32_t>> rows;
    } seen;
    const uint32_t count = SAFEIO_HostWalkTracked(
        [](int fd, uint32_t owner, uint32_t module, void *context) {
            static_cast<Seen *>(context)->rows.push_back({static_cast<uint32_t>(fd), owner, module});
        },
        &seen);
    EXPECT_EQ(count, 2u);
    const std::vector<std::vector<std::uint32_t>> expected = {
        {static_cast<uint32_t>(a & 0xFFFF), static_cast<uint32_t>(a >> 16), 0x11},
        {static_cast<uint32_t>(b & 0xFFFF), static_cast<uint32_t>(b >> 16), 0x22}};
    EXPECT_EQ(seen.rows, expected);
    EXPECT_EQ(close_s(a), 0);
    EXPECT_EQ(close_s(b), 0);
}

TEST_F(HostSafeioDescriptor, Reports_GoToStandardErrorWithoutAReporter) {
    SAFEIO_HostSetReporter(nullptr, nullptr);
    int fds[2] = {-1, -1};
    ASSERT_EQ(pipe(fds), 0);
    const int saved = dup(STDERR_FILENO);
    dup2(fds[1], STDERR_FILENO);
    EXPECT_EQ(close_s(9 | 5 << 16), -1);
    dup2(saved, STDERR_FILENO);
    close(saved);
    close(fds[1]);
    char text[256] = {};
    ASSERT_GT(read(fds[0], text, sizeof text - 1), 0);
    close(fds[0]);
    EXPECT_STREQ(text, "safeio: close of descriptor 9 by owner 5, who has closed it already or never had it\n");
}

TEST_F(HostSafeioDescriptor, CloseS_ByManyThreadsSucceedsOnce) {
    for (int round = 0; round < 50; ++round) {
        std::atomic<int> reports{0};
        std::atomic<int> closed{0};
        SAFEIO_HostSetReporter([](const char *, void *context) { ++*static_cast<std::atomic<int> *>(context); },
                               &reports);
        const int fd = tracked_file(folder.file("f"));
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] { closed += close_s(fd) == 0 ? 1 : 0; });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        EXPECT_EQ(closed, 1);
        EXPECT_EQ(reports, 3);
        EXPECT_FALSE(is_open(fd));
    }
}

TEST_F(HostSafeioDescriptor, ManyThreads_OpenUseAndCloseTheirOwn) {
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 300; ++round) {
                const int fd = socket_s(AF_UNIX, SOCK_DGRAM, 0);
                int fds[2] = {-1, -1};
                failures += pipe_s(fds) != 0 ? 1 : 0;
                failures += write_s(fds[1], "x", 1) != 1 ? 1 : 0;
                failures += close_s(fd) != 0 ? 1 : 0;
                failures += close_s(fds[0]) != 0 || close_s(fds[1]) != 0 ? 1 : 0;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
    EXPECT_TRUE(lines.empty());
    EXPECT_EQ(SAFEIO_HostWalkTracked(nullptr, nullptr), 0u);
}

TEST_F(HostSafeioDescriptor, AChildProcess_ClosesWhatItInherited) {
    const int fd = tracked_file(folder.file("f"));
    EXPECT_EQ(orva_test::run_in_child([&] { return close_s(fd) == 0 && !is_open(fd) ? 0 : 1; }), 0);
    EXPECT_TRUE(is_open(fd));
    EXPECT_EQ(close_s(fd), 0);
    EXPECT_TRUE(lines.empty());
}

TEST_F(HostSafeioDescriptor, Descriptor0_IsTrackedLikeOthers) {
    const int saved = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    const int fd = tracked_file(folder.file("f"), 0x33);
    EXPECT_EQ(fd & SAFEIO_KERNEL_FD_MASK, 0);
    EXPECT_EQ(SAFEIO_HostWalkTracked(nullptr, nullptr), 1u);
    EXPECT_EQ(write_s(fd, "x", 1), 1);
    EXPECT_EQ(close_s(fd), 0);
    EXPECT_FALSE(is_open(fd));
    dup2(saved, STDIN_FILENO);
    close(saved);
    EXPECT_TRUE(lines.empty());
}

TEST_F(HostSafeioDescriptor, CloseS_LeavesItsErrorWhateverTheReporterDoes) {
    const int fd = dup(STDIN_FILENO);
    close(fd);
    SAFEIO_HostSetReporter([](const char *, void *) { errno = ENOTTY; }, nullptr);
    EXPECT_EQ(close_s(fd), -1);
    EXPECT_EQ(errno, EBADF);
}

} // namespace
