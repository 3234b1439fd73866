#include "orva_file.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "debug_sink.h"
#include "orva_debugging.h"
#include "platform_double.h"

namespace {

using namespace orva_test;
using Lines = std::vector<std::string>;

class File : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        platform().slot = 3;
        char pattern[] = "/tmp/orva_file_XXXXXX";
        folder_ = mkdtemp(pattern);
    }

    void TearDown() override {
        PlatformTest::TearDown();
        EXPECT_EQ(std::system(("rm -rf " + folder_).c_str()), 0);
    }

    std::string path(const std::string &name) const {
        return folder_ + "/" + name;
    }

    static std::string content(const std::string &name) {
        std::string result;
        const int fd = ::open(name.c_str(), O_RDONLY);
        char buffer[4096];
        for (ssize_t count = 0; fd >= 0 && (count = ::read(fd, buffer, sizeof buffer)) > 0;) {
            result.append(buffer, static_cast<std::size_t>(count));
        }
        ::close(fd);
        return result;
    }

    void touch(const std::string &name) const {
        ::close(::open(path(name).c_str(), O_WRONLY | O_CREAT, 0644));
    }

    static unsigned mode_of(const std::string &name) {
        struct stat status = {};
        EXPECT_EQ(::stat(name.c_str(), &status), 0) << name;
        return status.st_mode & 07777;
    }

    // A failure as it is written twice.
    static Lines twice(const std::string &text) {
        return {"PLog(0x3, orva, 0x10000, 0x0) " + text,
                "DLog(0x0, 0xce41001, 0x3, 0x10000, 0x0) [Position: -/3]" + text};
    }

    static void expect_error(const std::string &text) {
        const Lines logs = take_logs();
        ASSERT_EQ(logs.size(), 1u);
        EXPECT_EQ(logs[0].rfind("WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]" + text, 0), 0u) << logs[0];
    }

    static std::size_t open_descriptors() {
        std::size_t count = 0;
        for (int fd = 0; fd < 256; ++fd) {
            count += ::fcntl(fd, F_GETFD, 0L) != -1;
        }
        return count;
    }

    std::string folder_;
};

// ---- Paths

TEST_F(File, IsCmdStrParaHasInvalidChar_FindsEachUnsafeCharacter) {
    const std::string unsafe = "|;&$<>()[]`\\\"'~?*!\n";
    ASSERT_EQ(unsafe.size(), 19u);
    for (const char character : unsafe) {
        EXPECT_EQ(ORVA_IsCmdStrParaHasInvalidChar((std::string("ab") + character).c_str()), 1u) << character;
        EXPECT_EQ(ORVA_IsCmdStrParaHasInvalidChar((std::string(1, character) + "ab").c_str()), 1u) << character;
    }
}

TEST_F(File, IsCmdStrParaHasInvalidChar_AcceptsEveryOtherCharacter) {
    const std::string unsafe = "|;&$<>()[]`\\\"'~?*!\n";
    for (int value = 1; value < 256; ++value) {
        const char text[] = {static_cast<char>(value), '\0'};
        const std::uint32_t expected = unsafe.find(static_cast<char>(value)) == std::string::npos ? 0 : 1;
        EXPECT_EQ(ORVA_IsCmdStrParaHasInvalidChar(text), expected) << value;
    }
    EXPECT_EQ(ORVA_IsCmdStrParaHasInvalidChar("abc XYZ 019 - /var/log"), 0u);
    EXPECT_EQ(ORVA_IsCmdStrParaHasInvalidChar(""), 0u);
    EXPECT_EQ(ORVA_IsCmdStrParaHasInvalidChar(nullptr), 0u);
}

TEST_F(File, IsValidDirFile_RefusesLinksUnsafeAndMissingPaths) {
    touch("plain");
    touch("a$b");
    ASSERT_EQ(symlink(folder_.c_str(), path("link").c_str()), 0);
    EXPECT_EQ(ORVA_IsValidDirFile(folder_.c_str()), 1u);
    EXPECT_EQ(ORVA_IsValidDirFile(path("plain").c_str()), 1u);
    EXPECT_EQ(ORVA_IsValidDirFile(path("link").c_str()), 0u);
    EXPECT_EQ(ORVA_IsValidDirFile(path("a$b").c_str()), 0u);
    EXPECT_EQ(ORVA_IsValidDirFile(path("missing").c_str()), 0u);
    EXPECT_EQ(ORVA_IsValidDirFile(""), 0u);
    EXPECT_EQ(ORVA_IsValidDirFile(nullptr), 0u);
    fail("lstat", 1, -1, EIO);
    EXPECT_EQ(ORVA_IsValidDirFile(folder_.c_str()), 0u);
}

TEST_F(File, IsFileExistAndIsDirExist_FollowLinks) {
    touch("plain");
    ASSERT_EQ(symlink(folder_.c_str(), path("link").c_str()), 0);
    EXPECT_EQ(ORVA_IsFileExist(path("plain").c_str()), 1u);
    EXPECT_EQ(ORVA_IsFileExist(folder_.c_str()), 1u);
    EXPECT_EQ(ORVA_IsFileExist(path("missing").c_str()), 0u);
    EXPECT_EQ(ORVA_IsFileExist(nullptr), 0u);
    EXPECT_EQ(ORVA_IsDirExist(path("plain").c_str()), 0u);
    EXPECT_EQ(ORVA_IsDirExist(folder_.c_str()), 1u);
    EXPECT_EQ(ORVA_IsDirExist(path("link").c_str()), 1u);
    EXPECT_EQ(ORVA_IsDirExist(path("missing").c_str()), 0u);
    EXPECT_EQ(ORVA_IsDirExist(nullptr), 0u);
}

TEST_F(File, GetFileSize_KeepsTheLow32Bits) {
    std::uint32_t size = 77;
    EXPECT_EQ(ORVA_WriteBufToFile(path("f").c_str(), "12345", 5, "w"), 0u);
    EXPECT_EQ(ORVA_GetFileSize(path("f").c_str(), &size), 0u);
    EXPECT_EQ(size, 5u);
    ASSERT_EQ(truncate(path("f").c_str(), 0x100000007), 0);
    EXPECT_EQ(ORVA_GetFileSize(path("f").c_str(), &size), 0u);
    EXPECT_EQ(size, 7u);
    EXPECT_EQ(ORVA_GetFileSize(path("missing").c_str(), &size), 1u);
    EXPECT_EQ(ORVA_GetFileSize(nullptr, &size), 1u);
    EXPECT_EQ(ORVA_GetFileSize(path("f").c_str(), nullptr), 1u);
    EXPECT_EQ(size, 7u);
}

// ---- Files

TEST_F(File, WriteBufToFile_WritesByTheCallersMode) {
    const std::string name = path("out");
    EXPECT_EQ(ORVA_WriteBufToFile(name.c_str(), "abc", 3, "w"), 0u);
    EXPECT_EQ(ORVA_WriteBufToFile(name.c_str(), "de", 2, "a"), 0u);
    EXPECT_EQ(content(name), "abcde");
    EXPECT_EQ(ORVA_WriteBufToFile(name.c_str(), "x", 0, "a"), 0u);
    EXPECT_EQ(content(name), "abcde");
    EXPECT_EQ(ORVA_WriteBufToFile(name.c_str(), "x", 0, "w"), 0u);
    EXPECT_EQ(content(name), "");
    EXPECT_EQ(ORVA_WriteBufToFile(path("new").c_str(), "x", 0, "w"), 0u);
    EXPECT_EQ(ORVA_IsFileExist(path("new").c_str()), 1u);
}

TEST_F(File, WriteBufToFile_GivesItsCodes) {
    EXPECT_EQ(ORVA_WriteBufToFile(nullptr, "a", 1, "w"), ORVA_ERR_WRITE_FILE_NULL);
    EXPECT_EQ(ORVA_WriteBufToFile(path("f").c_str(), nullptr, 1, "w"), ORVA_ERR_WRITE_FILE_NULL);
    EXPECT_EQ(ORVA_WriteBufToFile(path("no/f").c_str(), "a", 1, "w"), ORVA_ERR_WRITE_FILE_OPEN);
    EXPECT_EQ(ORVA_WriteBufToFile(path("f").c_str(), "a", 1, nullptr), ORVA_ERR_WRITE_FILE_OPEN);
    const std::size_t before = open_descriptors();
    fail("fwrite", 1, 2);
    EXPECT_EQ(ORVA_WriteBufToFile(path("f").c_str(), "abc", 3, "w"), ORVA_ERR_WRITE_FILE_SHORT);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(File, DeleFile_IsContentWhenThereIsNothing) {
    touch("f");
    EXPECT_EQ(ORVA_DeleFile(nullptr), 1);
    EXPECT_EQ(ORVA_DeleFile(path("missing").c_str()), 0);
    EXPECT_EQ(calls_of("remove"), 0u);
    EXPECT_EQ(ORVA_DeleFile(path("f").c_str()), 0);
    EXPECT_EQ(ORVA_IsFileExist(path("f").c_str()), 0u);
    EXPECT_EQ(ORVA_DeleFile(folder_.c_str()), 0);
    ASSERT_EQ(::mkdir(folder_.c_str(), 0700), 0);
    touch("f");
    EXPECT_EQ(ORVA_DeleFile(folder_.c_str()), -1) << "a folder with a file in it";
}

TEST_F(File, Unzip_ChecksItsArgumentsAndReportsTwice) {
    EXPECT_EQ(ORVA_Unzip(nullptr, "/d"), ORVA_ERR_UNZIP_FILE_NULL);
    expect_error("check ptr error, l=");
    EXPECT_EQ(ORVA_Unzip("/z", nullptr), ORVA_ERR_UNZIP_PATH_NULL);
    expect_error("check ptr error, l=");
    EXPECT_EQ(ORVA_Unzip("/z.zip", "/d"), 0u);
    EXPECT_EQ(platform().calls, Lines{"MIRO_Unzip(\"/z.zip\", \"/d\", 0x0)"});
    EXPECT_TRUE(take_logs().empty());
    fail("MIRO_Unzip", 1, 0xBEEF);
    EXPECT_EQ(ORVA_Unzip("/z.zip", "/d"), 0xBEEFu);
    EXPECT_EQ(take_logs(), twice("Unzip file is not success.(uiRet=0xbeef, ZipFileName=/z.zip, DstPath=/d)"));
}

// ---- Directories and permissions

TEST_F(File, MkDir_CreatesEveryMissingFolder) {
    EXPECT_EQ(ORVA_MkDir(path("b/c").c_str(), 0750), 0u);
    EXPECT_EQ(ORVA_IsDirExist(path("b").c_str()), 1u);
    EXPECT_EQ(ORVA_IsDirExist(path("b/c").c_str()), 1u);
    EXPECT_EQ(mode_of(path("b/c")), 0750u);
    EXPECT_EQ(ORVA_MkDir(path("b/c").c_str(), 0750), 0u) << "existing folders are no error";
    EXPECT_EQ(ORVA_MkDir(path("d/").c_str(), 0700), 0u) << "a trailing separator";
    EXPECT_EQ(ORVA_MkDir("/", 0700), 0u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(File, MkDir_AsksForTheErrnoOfAFailureOnly) {
    libc().mkdir = [](const char *, mode_t) {
        errno = EACCES;
        return 0;
    };
    EXPECT_EQ(ORVA_MkDir(path("b").c_str(), 0750), 0u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(File, MkDir_PassesTheModeThroughTheUmask) {
    const mode_t mask = ::umask(027);
    EXPECT_EQ(ORVA_MkDir(path("m").c_str(), 0777), 0u);
    ::umask(mask);
    EXPECT_EQ(mode_of(path("m")), 0750u);
}

TEST_F(File, MkDir_RefusesPathsWithItsCodes) {
    EXPECT_EQ(ORVA_MkDir(nullptr, 0700), ORVA_ERR_MKDIR_NULL);
    EXPECT_TRUE(take_logs().empty());
    const std::string tooLong = "/" + std::string(127, 'a');
    EXPECT_EQ(ORVA_MkDir(tooLong.c_str(), 0700), ORVA_ERR_MKDIR_TOO_LONG);
    EXPECT_EQ(take_logs(), twice("The path name length of " + tooLong + " is 128 and is invalid. "));
    EXPECT_EQ(ORVA_MkDir("a/b", 0700), ORVA_ERR_MKDIR_RELATIVE);
    EXPECT_EQ(take_logs(), twice("The path name a/b is invalid,it should be full path. "));
    EXPECT_EQ(ORVA_MkDir("", 0700), ORVA_ERR_MKDIR_RELATIVE);
    EXPECT_EQ(take_logs(), twice("The path name  is invalid,it should be full path. "));
    fail("snprintf_s", 1, -1);
    EXPECT_EQ(ORVA_MkDir(path("x").c_str(), 0700), ORVA_ERR_MKDIR_COPY);
    EXPECT_EQ(take_logs(), twice("Print pcPathname failed.pcPathname=" + path("x") + " "));
    EXPECT_EQ(calls_of("mkdir"), 0u);
}

TEST_F(File, MkDir_TakesAPathOf127Characters) {
    const std::string longest = path(std::string(127 - folder_.size() - 1, 'a'));
    ASSERT_EQ(longest.size(), 127u);
    EXPECT_EQ(ORVA_MkDir(longest.c_str(), 0700), 0u);
    EXPECT_EQ(ORVA_IsDirExist(longest.c_str()), 1u);
}

TEST_F(File, MkDir_StopsAtTheFolderThatCannotBeMade) {
    touch("f");
    EXPECT_EQ(ORVA_MkDir(path("ok/../f/sub/x").c_str(), 0700), ORVA_ERR_MKDIR_CREATE);
    EXPECT_EQ(take_logs(), twice("Create " + path("ok/../f/sub/x") +
                                 " directory no success, errno = " + std::to_string(ENOTDIR) + ". "));
    EXPECT_EQ(ORVA_IsDirExist(path("ok").c_str()), 1u) << "what was made before stays";
    fail("mkdir", 1, -1, EACCES);
    EXPECT_EQ(ORVA_MkDir("/tmp/x", 0700), ORVA_ERR_MKDIR_CREATE);
    EXPECT_EQ(take_logs(), twice("Create /tmp/x directory no success, errno = " + std::to_string(EACCES) + ". "));
}

TEST_F(File, Fchmod_ChangesTheFileThatALinkResolvesTo) {
    touch("f");
    ASSERT_EQ(symlink(path("f").c_str(), path("link").c_str()), 0);
    const std::size_t before = open_descriptors();
    EXPECT_EQ(ORVA_Fchmod(path("link").c_str(), 0640), 0u);
    EXPECT_EQ(mode_of(path("f")), 0640u);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(platform().calls[0], "SetFdOwner(0x1)");
    EXPECT_EQ(platform().calls[1], "fchmod_s(0x1a0)");
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(File, Fchmod_ReportsEachFailureTwiceAndKeepsNothingOpen) {
    touch("f");
    const std::string name = path("f");
    const std::size_t before = open_descriptors();
    const std::string access = std::strerror(EACCES);
    EXPECT_EQ(ORVA_Fchmod(path("missing").c_str(), 0600), ORVA_ERR_FCHMOD_RESOLVE);
    EXPECT_EQ(take_logs(), twice("Get abolute path(" + path("missing") +
                                 ") unsuccessfully, errno: " + std::strerror(ENOENT) + "."));
    fail("open", 1, -1, EACCES);
    EXPECT_EQ(ORVA_Fchmod(name.c_str(), 0600), ORVA_ERR_FCHMOD_OPEN);
    EXPECT_EQ(take_logs(), twice("Open file " + name + " unsuccessfully. errno: " + access));
    fail("safeio_fd_owner_assemble", 1, -1, EACCES);
    EXPECT_EQ(ORVA_Fchmod(name.c_str(), 0600), ORVA_ERR_FCHMOD_OPEN);
    EXPECT_EQ(take_logs(), twice("Open file " + name + " unsuccessfully. errno: " + access));
    fail("fchmod_s", 1, -1, EACCES);
    EXPECT_EQ(ORVA_Fchmod(name.c_str(), 0600), ORVA_ERR_FCHMOD_CHANGE);
    EXPECT_EQ(take_logs(), twice("fchmod file " + name + " unsuccessfully. errno: " + access));
    EXPECT_EQ(mode_of(name), 0644u);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(File, Fchmod_OfANullNameIsReportedAsAnEmptyOne) {
    EXPECT_EQ(ORVA_Fchmod(nullptr, 0600), ORVA_ERR_FCHMOD_RESOLVE);
    EXPECT_EQ(take_logs(),
              twice(std::string("Get abolute path() unsuccessfully, errno: ") + std::strerror(EINVAL) + "."));
}

// The close that follows a failed registration must not replace its errno.
TEST_F(File, Fchmod_ReportsTheErrnoOfTheRegistration) {
    touch("f");
    libc().open = [](const char *, int, mode_t) { return 1 << 20; }; // not open: its close fails with EBADF
    fail("safeio_fd_owner_assemble", 1, -1, EACCES);
    EXPECT_EQ(ORVA_Fchmod(path("f").c_str(), 0600), ORVA_ERR_FCHMOD_OPEN);
    EXPECT_EQ(take_logs(), twice("Open file " + path("f") + " unsuccessfully. errno: " + std::strerror(EACCES)));
}

TEST_F(File, Fchmod_ZeroIsADescriptor) {
    touch("f");
    platform().fakeFds[0] = "";
    fail("safeio_fd_owner_assemble", 1, 0);
    EXPECT_EQ(ORVA_Fchmod(path("f").c_str(), 0640), 0u);
    EXPECT_EQ(platform().calls.back(), "close_s(0x0)");
}

TEST_F(File, Fchmod_GoesOnWithoutAnOwner) {
    touch("f");
    fail("SetFdOwner", 1, -1);
    EXPECT_EQ(ORVA_Fchmod(path("f").c_str(), 0640), 0u);
    EXPECT_EQ(mode_of(path("f")), 0640u);
}

// ---- File names

TEST_F(File, GetFileName_LeavesTheLastComponent) {
    struct Case {
        const char *path;
        std::uint32_t size;
        std::uint32_t code;
        const char *left;
    };
    constexpr Case kCases[] = {
        {"/var/log/x.log", 64, 0, "x.log"},
        {"x.log", 64, 0, "x.log"},
        {"/var/log/", 64, 0, ""},
        {"/", 64, 0, ""},
        {"", 64, 0, ""},
        {"a/b", 256, 0, "b"},
        {"/var/log/x.log", 6, 0, "x.log"},
        {"x.log", 0, 0, "x.log"},
        {"/var/x", 257, 1, "/var/x"},
    };
    for (const Case &row : kCases) {
        char buffer[512] = {};
        std::strcpy(buffer, row.path);
        EXPECT_EQ(ORVA_GetFileName(buffer, row.size), row.code) << row.path;
        EXPECT_STREQ(buffer, row.left) << row.path;
    }
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(File, GetFileName_GivesItsCodes) {
    EXPECT_EQ(ORVA_GetFileName(nullptr, 64), ORVA_ERR_FILE_NAME_NULL);
    expect_error("check ptr error, l=");
    std::string longest(255, 'a');
    EXPECT_EQ(ORVA_GetFileName(longest.data(), 256), 0u);
    std::string tooLong(256, 'a');
    EXPECT_EQ(ORVA_GetFileName(tooLong.data(), 256), ORVA_ERR_FILE_NAME_PATH);
    EXPECT_TRUE(take_logs().empty());
    char buffer[64] = "/var/log/x.log";
    EXPECT_EQ(ORVA_GetFileName(buffer, 3), ORVA_ERR_FILE_NAME_COPY);
    const Lines logs = take_logs();
    ASSERT_EQ(logs.size(), 1u);
    EXPECT_NE(logs[0].find("[ORVA_COMM][ORVA_LEVEL_ERR]check ret error, l="), std::string::npos);
    EXPECT_NE(logs[0].find(", Ret = " + std::to_string(ERANGE)), std::string::npos) << logs[0];
}

// ---- Hex text

TEST_F(File, HexToString_BreaksLinesAfterTheGivenBytes) {
    const std::uint8_t data[] = {1, 2, 3};
    char out[16] = {};
    EXPECT_EQ(ORVA_HexToString(data, 3, 2, out, sizeof out), 0u);
    EXPECT_STREQ(out, "01 02\r\n03\r\n");
    char appended[32] = "x:";
    EXPECT_EQ(ORVA_HexToString(data, 2, 16, appended, sizeof appended), 0u);
    EXPECT_STREQ(appended, "x:01 02\r\n");
    char eachLine[32] = {};
    const std::uint8_t high[] = {0xAB, 0xFF};
    EXPECT_EQ(ORVA_HexToString(high, 2, 1, eachLine, sizeof eachLine), 0u);
    EXPECT_STREQ(eachLine, "ab\r\nff\r\n");
}

TEST_F(File, HexToString_RefusesZeroAndNullArguments) {
    const std::uint8_t data[] = {1};
    char out[16] = "keep";
    EXPECT_EQ(ORVA_HexToString(nullptr, 1, 1, out, sizeof out), ORVA_ERR_HEX_ARGUMENT);
    EXPECT_EQ(ORVA_HexToString(data, 0, 1, out, sizeof out), ORVA_ERR_HEX_ARGUMENT);
    EXPECT_EQ(ORVA_HexToString(data, 1, 0, out, sizeof out), ORVA_ERR_HEX_ARGUMENT);
    EXPECT_EQ(ORVA_HexToString(data, 1, 1, nullptr, sizeof out), ORVA_ERR_HEX_ARGUMENT);
    EXPECT_EQ(ORVA_HexToString(data, 1, 1, out, 0), ORVA_ERR_HEX_ARGUMENT);
    EXPECT_STREQ(out, "keep");
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(File, HexToString_ChecksTheSizeBeforeItAppends) {
    const std::uint8_t data[] = {1, 2, 3, 4};
    char out[64] = {};
    EXPECT_EQ(ORVA_HexToString(data, 4, 2, out, 13), ORVA_ERR_HEX_TOO_SMALL) << "4 / 2 + 3 * 4 is 14";
    EXPECT_STREQ(out, "");
    EXPECT_EQ(ORVA_HexToString(data, 0x60000000, 1, out, 64), ORVA_ERR_HEX_TOO_SMALL) << "the product passes 32 bits";
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(File, HexToString_FailsOnTheLastAppendOfAnExactBuffer) {
    const std::uint8_t data[] = {1, 2, 3, 4};
    char out[64] = {};
    EXPECT_EQ(ORVA_HexToString(data, 4, 2, out, 14), ORVA_ERR_HEX_APPEND);
    EXPECT_EQ(take_logs(), Lines{"DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: -/3]orva hex to string operation "
                                 "unsuccess ret=" +
                                 std::to_string(ERANGE) + "."});
    std::memset(out, 0, sizeof out);
    EXPECT_EQ(ORVA_HexToString(data, 4, 2, out, 15), 0u);
    fail("strcat_s", 2, 22);
    EXPECT_EQ(ORVA_HexToString(data, 4, 2, out, 64), ORVA_ERR_HEX_APPEND);
    EXPECT_EQ(take_logs().size(), 1u);
}

// ---- Black box

TEST_F(File, PmbusBBox_WritesChunksOf128Bytes) {
    std::vector<std::uint8_t> data(300);
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<std::uint8_t>(i);
    }
    ORVA_PmbusBBoxHexToStringAndDlog(0x103, 0x201, data.data(), 300, 1000);
    const auto line = [&](std::uint32_t first, std::uint32_t end) {
        std::string text = "DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: -/3]PMBUS-BLACK-BOX[slot=3 fru=1]: log[" +
                           std::to_string(first) + "/300] = ";
        for (std::uint32_t i = first; i < end; ++i) {
            char byte[8];
            std::snprintf(byte, sizeof byte, "%02x ", unsigned{data[i]});
            text += byte;
        }
        return text;
    };
    EXPECT_EQ(take_logs(), (Lines{line(0, 128), line(128, 256), line(256, 300)}));
}

TEST_F(File, PmbusBBox_StopsAtTheSmallerLengthAndPrintsTheGivenOne) {
    const std::vector<std::uint8_t> data(200, 0x5A);
    ORVA_PmbusBBoxHexToStringAndDlog(1, 2, data.data(), 200, 2);
    EXPECT_EQ(take_logs(), Lines{"DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: -/3]PMBUS-BLACK-BOX[slot=1 fru=2]: "
                                 "log[0/200] = 5a 5a "});
    ORVA_PmbusBBoxHexToStringAndDlog(1, 2, data.data(), 128, 128);
    EXPECT_EQ(take_logs().size(), 1u) << "one full chunk and no partial one";
    ORVA_PmbusBBoxHexToStringAndDlog(1, 2, nullptr, 200, 2);
    ORVA_PmbusBBoxHexToStringAndDlog(1, 2, data.data(), 0, 2);
    ORVA_PmbusBBoxHexToStringAndDlog(1, 2, data.data(), 200, 0);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(File, PmbusBBox_StopsWhenAByteCannotBeFormatted) {
    const std::vector<std::uint8_t> data(200, 0x5A);
    fail("sprintf_s", 130, -1);
    ORVA_PmbusBBoxHexToStringAndDlog(1, 2, data.data(), 200, 200);
    const Lines logs = take_logs();
    ASSERT_EQ(logs.size(), 2u);
    EXPECT_NE(logs[0].find("log[0/200]"), std::string::npos);
    EXPECT_EQ(logs[1].rfind("WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]sprintf error, f=orva_file, l=", 0),
              0u)
        << logs[1];
    EXPECT_NE(logs[1].find(", ret=-1"), std::string::npos);
}

// ---- Fan log. The fixed folder is played by the double; the log file is a real one.

class FanLog : public File {
protected:
    void SetUp() override {
        File::SetUp();
        libc().access = [this](const char *name, int mode) {
            EXPECT_STREQ(name, "/opt/keldv8/tmp/CmuLogzip");
            EXPECT_EQ(mode, F_OK);
            errno = ENOENT;
            return exists_ ? 0 : -1;
        };
        libc().mkdir = [this](const char *name, mode_t mode) {
            EXPECT_STREQ(name, "/opt/keldv8/tmp/CmuLogzip");
            EXPECT_EQ(mode, mode_t{0770});
            EXPECT_EQ(mask_, mode_t{0}) << "made under an empty umask";
            exists_ = appears_;
            return 0;
        };
        libc().chmod = [this](const char *name, mode_t mode) {
            EXPECT_STREQ(name, "/opt/keldv8/tmp/CmuLogzip");
            EXPECT_EQ(mode, mode_t{0770});
            ++changes_;
            return 0;
        };
        libc().umask = [this](mode_t mask) { return std::exchange(mask_, mask); };
    }

    void write(const void *data, std::uint32_t length, std::uint8_t mode) {
        ORVA_FAN_WriteLog(path("log").c_str(), static_cast<const std::uint8_t *>(data), length, mode);
    }

    bool exists_ = false, appears_ = true;
    unsigned changes_ = 0;
    mode_t mask_ = 022;
};

TEST_F(FanLog, WriteLog_AppendsATextLine) {
    write("first", 0, 0);
    write("second", 0, 0);
    EXPECT_EQ(content(path("log")), "first\r\n second\r\n ");
    EXPECT_EQ(calls_of("mkdir"), 1u);
    EXPECT_EQ(changes_, 2u) << "the mode is set again on every call";
    EXPECT_EQ(mask_, mode_t{022}) << "the umask is restored";
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(FanLog, WriteLog_DumpsSixteenBytesALine) {
    std::uint8_t data[17];
    for (unsigned i = 0; i < 17; ++i) {
        data[i] = static_cast<std::uint8_t>(i + 0xF0);
    }
    write(data, 17, 1);
    EXPECT_EQ(content(path("log")), "f0 f1 f2 f3 f4 f5 f6 f7 f8 f9 fa fb fc fd fe ff\r\n 00\r\n ");
    EXPECT_EQ(ORVA_DeleFile(path("log").c_str()), 0);
    write(data, 16, 1);
    EXPECT_EQ(content(path("log")), "f0 f1 f2 f3 f4 f5 f6 f7 f8 f9 fa fb fc fd fe ff\r\n ");
}

TEST_F(FanLog, WriteLog_WritesNothingForLength0AndOtherModes) {
    write("x", 0, 1);
    write("x", 1, 2);
    EXPECT_EQ(content(path("log")), "");
    EXPECT_EQ(ORVA_IsFileExist(path("log").c_str()), 1u);
    write(nullptr, 1, 0);
    ORVA_FAN_WriteLog(nullptr, reinterpret_cast<const std::uint8_t *>("x"), 1, 0);
    EXPECT_EQ(content(path("log")), "");
}

TEST_F(FanLog, WriteLog_IsSilentWhenTheFileCannotBeOpened) {
    fail("fopen", 1, 0, EACCES);
    write("x", 1, 0);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(FanLog, WriteLog_RecordsAFolderThatCannotBeMade) {
    fail("mkdir", 1, -1, EROFS);
    write("x", 1, 0);
    EXPECT_EQ(take_logs(),
              Lines{"WriteLog(0x400, 0x4) [ORVA_FAN][ORVA_LEVEL_DEBUG][SEL SaveFile]Failed to mkdir, err: " +
                    std::string(std::strerror(EROFS)) + "."});
    EXPECT_EQ(mask_, mode_t{022});
    EXPECT_EQ(ORVA_IsFileExist(path("log").c_str()), 0u);
}

TEST_F(FanLog, WriteLog_RecordsAFolderThatCannotBeAccessed) {
    appears_ = false;
    write("x", 1, 0);
    EXPECT_EQ(take_logs(),
              Lines{"WriteLog(0x400, 0x4) [ORVA_FAN][ORVA_LEVEL_DEBUG][SEL SaveFile]Failed to acess dir, err: " +
                    std::string(std::strerror(ENOENT)) + "."});
    EXPECT_EQ(changes_, 0u);
    EXPECT_EQ(ORVA_IsFileExist(path("log").c_str()), 0u) << "no file is written";
}

TEST_F(FanLog, WriteLog_RecordsGoToTheDebugOutputWhileTheGateIsOpen) {
    bind_debug_sink();
    ORVA_DEBUG_SetLogSwitchOn(0x400, 0);
    fail("mkdir", 1, -1, EROFS);
    write("x", 1, 0);
    appears_ = false;
    write("x", 1, 0);
    const std::string head = "DebugSink(0x0, 0xce4200b, NULL, 0xce4bc006) [Position: 0/3][ORVA_FAN][SEL SaveFile]";
    EXPECT_EQ(take_logs(), (Lines{head + "Failed to mkdir, err: " + std::strerror(EROFS) + ".",
                                  head + "Failed to acess dir, err: " + std::strerror(ENOENT) + "."}));
    ORVA_DEBUG_SetLogSwitchOff(0);
}

TEST_F(FanLog, WriteLog_GoesOnWhenModeOrTextCannotBeWritten) {
    exists_ = true;
    fail("chmod", 1, -1, EPERM);
    write("first", 0, 0);
    fail("fprintf", 1, -1, ENOSPC);
    const unsigned closed = calls_of("fclose");
    write("lost", 0, 0);
    EXPECT_EQ(calls_of("fclose") - closed, 1u);
    EXPECT_EQ(content(path("log")), "first\r\n ");
    EXPECT_TRUE(take_logs().empty());
}

} // namespace
