// The host's log sinks with real files: lines, escaping, rotation, failures, several threads and processes.
#include "orva_write_log.h"
#include "system_support.h"
#include "tova.h"
#include "tova_host.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <set>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using orva_test::in_child;
using orva_test::lines_of;
using orva_test::mode_of;
using orva_test::read_file;
using orva_test::run_in_child;
using orva_test::ScratchFolder;
using orva_test::standard_error_to;
using orva_test::without_stamp;

void clear_environment() {
    for (const char *name : {"ORVA_HOST_LOG_DIR", "ORVA_HOST_LOG_CONSOLE", "ORVA_HOST_LOG_SINKS",
                             "ORVA_HOST_LOG_LEVEL", "ORVA_HOST_LOG_SIZE", "ORVA_HOST_LOG_FILES"}) {
        unsetenv(name);
    }
}

std::set<std::string> names_in(const std::string &folder) {
    std::set<std::string> names;
    for (const auto &entry : fs::directory_iterator(folder)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

// A line without its time, which must have the right form.
std::string without_time(const std::string &line) {
    const std::string rest = without_stamp(line, "0000-00-00 00:00:00.000 +00:00 ");
    return rest.starts_with("no stamp") ? without_stamp(line, "0000-00-00 00:00:00.000 -00:00 ") : rest;
}

std::string process_prefix(const std::string &name) {
    return name + "[" + std::to_string(getpid()) + "] ";
}

uint32_t start(const std::string &folder, uint32_t file_bytes = 0, uint32_t older_files = 5, uint32_t console = 0) {
    TovaHostConfig config{};
    config.folder = folder.c_str();
    config.processName = "tester";
    config.console = console;
    config.fileBytes = file_bytes;
    config.olderFiles = older_files;
    return TOVA_HostStart(&config);
}

std::string last_error() {
    char text[512];
    EXPECT_EQ(TOVA_HostLastError(text, sizeof text), TOVA_HOST_OK);
    return text;
}

// Fills a file up to a limit that holds for every file of this process.
void no_room_for(const std::string &path) {
    constexpr rlim_t kLimit = 65536;
    orva_test::write_file(path, std::string(kLimit - 1, 'x') + "\n");
    const rlimit limit{.rlim_cur = kLimit, .rlim_max = kLimit};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    signal(SIGXFSZ, SIG_IGN);
}

class HostTova : public testing::Test {
protected:
    void SetUp() override {
        clear_environment();
    }
    ScratchFolder scratch;
};

} // namespace

TEST_F(HostTova, Records_WithoutConfigurationGoToStandardErrorAfterALineThatSaysHowToSendThemElsewhere) {
    in_child([&] {
        standard_error_to(scratch.file("stderr"));
        EXPECT_EQ(TOVA_DLog(0, 0xCE41001, 3, 0, 0, "text"), 0u);
        EXPECT_GT(ORVA_WriteLog(0x10000, 2, "text"), 0u);
        const auto lines = lines_of(scratch.file("stderr"));
        ASSERT_EQ(lines.size(), 3u);
        EXPECT_EQ(lines[0], "tova: log records go to standard error; set ORVA_HOST_LOG_DIR to a folder for files, "
                            "ORVA_HOST_LOG_SINKS to syslog or journal, or ORVA_HOST_LOG_CONSOLE=0 for none");
        EXPECT_EQ(without_time(lines[1]), process_prefix(program_invocation_short_name) +
                                              "diagnostic a1=0 id=0x0ce41001 word3=3 a4=0 a5=0: text");
        EXPECT_EQ(run_in_child([] { return TOVA_DLog(0, 0, 0, 0, 0, "child") == 0 ? 0 : 1; }), 0);
        EXPECT_EQ(lines_of(scratch.file("stderr")).size(), 4u) << "the line comes once";
    });
}

TEST_F(HostTova, Records_WithTheConsoleOffGoNowhereAndSucceed) {
    in_child([&] {
        setenv("ORVA_HOST_LOG_CONSOLE", "0", 1);
        standard_error_to(scratch.file("stderr"));
        const std::string folder = scratch.file("current");
        fs::create_directory(folder);
        ASSERT_EQ(chdir(folder.c_str()), 0);
        EXPECT_EQ(TOVA_DLog(0, 0xCE41001, 3, 0, 0, "text"), 0u);
        EXPECT_EQ(TOVA_SecurityEventLog(0, 0xCE41018, 0, 0, 0, "text"), 0u);
        EXPECT_EQ(TOVA_LifeCycleLog(0, 0xCE4102C, 0, 0, 0, "text"), 0u);
        EXPECT_EQ(TOVA_PLogByProcName(1, "orva", 8, 1, "text"), 0u);
        EXPECT_GT(ORVA_WriteLog(0x10000, 2, "text"), 0u);
        EXPECT_TRUE(fs::is_empty(folder));
        EXPECT_EQ(read_file(scratch.file("stderr")), "");
        EXPECT_EQ(TOVA_HostFailedRecords(), 0u);
    });
}

TEST_F(HostTova, Records_GoToTheFileOfTheirKindWithEveryInteger) {
    in_child([&] {
        const std::string folder = scratch.file("made/below");
        ASSERT_EQ(start(folder), TOVA_HOST_OK);
        EXPECT_EQ(TOVA_PLogByProcName(3, "orva", 0x800, 4000000000u, "value %d %s", -7, "x"), 0u);
        EXPECT_EQ(TOVA_DLog(1, 0xCE41001, 2, 0x10000, 4294967295u, "d %u", 9u), 0u);
        EXPECT_EQ(TOVA_SecurityEventLog(5, 0xCE41018, 6, 7, 8, "s"), 0u);
        EXPECT_EQ(TOVA_LifeCycleLog(0, 0xCE4102C, 10, 11, 12, "100%%"), 0u);
        EXPECT_GT(ORVA_WriteLog(0x10000, 2, "[ORVA_COMM][ORVA_LEVEL_ERR]x, f=%s, l=%u", "orva_comm", 12u), 0u);

        const std::string prefix = process_prefix("tester");
        const std::pair<const char *, std::string> expected[] = {
            {"process", "process type=3 name=orva module=0x00000800 level=4000000000: value -7 x"},
            {"diagnostic", "diagnostic a1=1 id=0x0ce41001 word3=2 a4=65536 a5=4294967295: d 9"},
            {"security", "security a1=5 id=0x0ce41018 word3=6 a4=7 a5=8: s"},
            {"lifecycle", "life-cycle a1=0 id=0x0ce4102c word3=10 a4=11 a5=12: 100%"},
            {"system", "system module=0x00010000 level=2: [ORVA_COMM][ORVA_LEVEL_ERR]x, f=orva_comm, l=12"},
        };
        for (const auto &[kind, text] : expected) {
            const auto lines = lines_of(folder + "/" + kind + ".log");
            ASSERT_EQ(lines.size(), 1u) << kind;
            EXPECT_EQ(without_time(lines[0]), prefix + text);
        }
        EXPECT_EQ(names_in(folder), (std::set<std::string>{"diagnostic.log", "lifecycle.log", "process.log",
                                                           "security.log", "system.log", "tova.lock"}));
    });
}

TEST_F(HostTova, WriteLog_ReturnsTheBytesThatItWrote) {
    in_child([&] {
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        const uint32_t first = ORVA_WriteLog(1, 4, "one");
        const uint32_t second = ORVA_WriteLog(1, 4, "a longer\nsecond");
        EXPECT_EQ(read_file(scratch.file("system.log")).size(), first + second);
    });
}

TEST_F(HostTova, Records_StayOnOneLineAndCannotSteerATerminal) {
    struct Case {
        const char *name;
        std::string text;
        const char *line;
    };
    const Case cases[] = {
        {"line ends", "a\nb\r\n", "a\\nb\\r\\n"},
        {"tab and backslash", "a\tb\\n", "a\\tb\\\\n"},
        {"escape sequence", "\x1b[31mred\x7f\x01", "\\x1b[31mred\\x7f\\x01"},
        {"UTF-8 text", "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80", "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80"},
        {"single high bytes",
         "\x9b"
         "31m\xff",
         "\\x9b31m\\xff"},
        {"control characters as UTF-8", "\xc2\x9b\xe2\x80\xa8\xe2\x80\xa9",
         "\\xc2\\x9b\\xe2\\x80\\xa8\\xe2\\x80\\xa9"},
        {"cut UTF-8", "x\xe2\x82", "x\\xe2\\x82"},
        {"overlong UTF-8", "\xc0\x8a\xe0\x80\x8a\xf0\x80\x80\x8a", "\\xc0\\x8a\\xe0\\x80\\x8a\\xf0\\x80\\x80\\x8a"},
        {"surrogate and too large", "\xed\xa0\x80\xf4\x90\x80\x80", "\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80"},
        {"empty", "", ""},
    };
    in_child([&] {
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        std::vector<std::string> expected;
        for (const Case &one : cases) {
            EXPECT_GT(ORVA_WriteLog(0, 0, "%s", one.text.c_str()), 0u) << one.name;
            expected.push_back(process_prefix("tester") + "system module=0x00000000 level=0: " + one.line);
        }
        const auto lines = lines_of(scratch.file("system.log"));
        ASSERT_EQ(lines.size(), expected.size());
        for (std::size_t i = 0; i < lines.size(); ++i) {
            EXPECT_EQ(without_time(lines[i]), expected[i]) << cases[i].name;
        }
    });
}

TEST_F(HostTova, PLogByProcName_TakesAnyName) {
    in_child([&] {
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        EXPECT_EQ(TOVA_PLogByProcName(1, nullptr, 0, 0, "x"), 0u);
        EXPECT_EQ(TOVA_PLogByProcName(1, "a\nb", 0, 0, "x"), 0u);
        EXPECT_EQ(TOVA_PLogByProcName(1, std::string(1000, 'n').c_str(), 0, 0, "x"), 0u);
        const auto lines = lines_of(scratch.file("process.log"));
        ASSERT_EQ(lines.size(), 3u);
        const std::string head = process_prefix("tester") + "process type=1 name=";
        const std::string tail = " module=0x00000000 level=0: x";
        EXPECT_EQ(without_time(lines[0]), head + "-" + tail);
        EXPECT_EQ(without_time(lines[1]), head + "a\\nb" + tail);
        EXPECT_EQ(without_time(lines[2]), head + std::string(256, 'n') + tail);
    });
}

TEST_F(HostTova, Records_OfAnyLengthAreWrittenWholeUpToTheBoundAndTruncatedBeyond) {
    in_child([&] {
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        const std::size_t lengths[] = {1023, 1024, 1025, 4095, 4096, 65535, 65536, 65537, 200000};
        for (const std::size_t length : lengths) {
            EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "%s", std::string(length, 'y').c_str()), 0u);
        }
        const auto lines = lines_of(scratch.file("diagnostic.log"));
        ASSERT_EQ(lines.size(), std::size(lengths));
        const std::string head = process_prefix("tester") + "diagnostic a1=0 id=0x00000000 word3=0 a4=0 a5=0: ";
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const std::string cut =
                lengths[i] > 65536 ? " [cut, " + std::to_string(lengths[i]) + " bytes]" : std::string();
            EXPECT_TRUE(without_time(lines[i]) ==
                        head + std::string(std::min<std::size_t>(lengths[i], 65536), 'y') + cut)
                << lengths[i];
        }
    });
}

TEST_F(HostTova, Records_WithAFormatThatCannotBePrintedFail) {
    in_child([&] {
        standard_error_to(scratch.file("stderr"));
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        const char *no_format = nullptr;
        const char *no_character = "%lc";
        EXPECT_EQ(TOVA_PLogByProcName(1, "orva", 0, 0, no_format, 0), 1u);
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, no_format, 0), 1u);
        EXPECT_EQ(TOVA_SecurityEventLog(0, 0, 0, 0, 0, no_format, 0), 1u);
        EXPECT_EQ(TOVA_LifeCycleLog(0, 0, 0, 0, 0, no_format, 0), 1u);
        EXPECT_GT(ORVA_WriteLog(0, 0, no_format, 0), 0u);
        EXPECT_GT(ORVA_WriteLog(0, 0, no_character, 0x7FFFFFFF), 0u);
        EXPECT_EQ(TOVA_HostFailedRecords(), 6u);
        EXPECT_EQ(last_error(), "a format is null or invalid");
        EXPECT_EQ(names_in(scratch.path()), (std::set<std::string>{"stderr", "tova.lock"}));
    });
}

TEST_F(HostTova, Environment_ChoosesFolderConsoleAndRotation) {
    in_child([&] {
        standard_error_to(scratch.file("stderr"));
        setenv("ORVA_HOST_LOG_DIR", scratch.file("logs").c_str(), 1);
        setenv("ORVA_HOST_LOG_CONSOLE", "1", 1);
        setenv("ORVA_HOST_LOG_SIZE", "1024", 1);
        setenv("ORVA_HOST_LOG_FILES", "2", 1);
        for (int i = 0; i < 200; ++i) {
            EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "%d", i), 0u);
        }
        EXPECT_EQ(names_in(scratch.file("logs")),
                  (std::set<std::string>{"diagnostic.log", "diagnostic.1.log", "diagnostic.2.log", "tova.lock"}));
        const auto console = lines_of(scratch.file("stderr"));
        ASSERT_EQ(console.size(), 200u);
        const std::string head = process_prefix(program_invocation_short_name);
        EXPECT_EQ(without_time(console[199]), head + "diagnostic a1=0 id=0x00000000 word3=0 a4=0 a5=0: 199");
        EXPECT_EQ(lines_of(scratch.file("logs/diagnostic.log")).back(), console[199]);
    });
}

TEST_F(HostTova, Environment_ConsoleAloneWritesNoFile) {
    in_child([&] {
        standard_error_to(scratch.file("stderr"));
        setenv("ORVA_HOST_LOG_CONSOLE", "1", 1);
        const uint32_t bytes = ORVA_WriteLog(0x10000, 4, "shown");
        EXPECT_EQ(read_file(scratch.file("stderr")).size(), bytes);
        EXPECT_EQ(names_in(scratch.path()), (std::set<std::string>{"stderr"}));
    });
}

TEST_F(HostTova, Environment_WithValuesOutOfRangeIsReportedOnceAndTakenAsUnset) {
    in_child([&] {
        standard_error_to(scratch.file("stderr"));
        setenv("ORVA_HOST_LOG_DIR", scratch.file("logs").c_str(), 1);
        setenv("ORVA_HOST_LOG_CONSOLE", "yes", 1);
        setenv("ORVA_HOST_LOG_SIZE", "1023", 1);
        setenv("ORVA_HOST_LOG_FILES", "-1", 1);
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "one"), 0u);
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "two"), 0u);
        EXPECT_EQ(read_file(scratch.file("stderr")),
                  "ORVA_HOST_LOG_CONSOLE: \"yes\" is not a number from 0 to 1; taken as unset\n"
                  "ORVA_HOST_LOG_SIZE: \"1023\" is not a number from 1024 to 1073741824; taken as unset\n"
                  "ORVA_HOST_LOG_FILES: \"-1\" is not a number from 0 to 1000; taken as unset\n");
        EXPECT_EQ(lines_of(scratch.file("logs/diagnostic.log")).size(), 2u);
    });
}

TEST_F(HostTova, Rotation_KeepsEveryLineWholeAndEveryFileWithinItsSize) {
    in_child([&] {
        ASSERT_EQ(start(scratch.path(), 2048, 1000), TOVA_HOST_OK);
        constexpr int kLines = 500;
        for (int i = 0; i < kLines; ++i) {
            ASSERT_GT(ORVA_WriteLog(0, 0, "number %d", i), 0u);
        }
        const std::size_t files = names_in(scratch.path()).size() - 1; // without the lock
        ASSERT_GT(files, 10u);
        int next = 0;
        for (std::size_t older = files; older-- > 0;) {
            const std::string path =
                scratch.file(older == 0 ? "system.log" : "system." + std::to_string(older) + ".log");
            EXPECT_LE(fs::file_size(path), 2048u);
            for (const std::string &line : lines_of(path)) {
                EXPECT_TRUE(line.ends_with(": number " + std::to_string(next))) << line;
                ++next;
            }
        }
        EXPECT_EQ(next, kLines);
    });
}

TEST_F(HostTova, Rotation_BeginsBehindTheLastByteOfTheSize) {
    in_child([&] {
        ASSERT_EQ(start(scratch.path(), 1024, 5), TOVA_HOST_OK);
        ASSERT_GT(ORVA_WriteLog(0, 0, "x"), 0u);
        const auto line = fs::file_size(scratch.file("system.log"));
        const std::string rest(1024 - 2 * line + 1, 'x');
        ASSERT_GT(ORVA_WriteLog(0, 0, "%s", rest.c_str()), 0u);
        EXPECT_EQ(fs::file_size(scratch.file("system.log")), 1024u);
        EXPECT_FALSE(fs::exists(scratch.file("system.1.log")));
        ASSERT_GT(ORVA_WriteLog(0, 0, "x"), 0u);
        EXPECT_EQ(fs::file_size(scratch.file("system.log")), line);
        EXPECT_EQ(fs::file_size(scratch.file("system.1.log")), 1024u);
    });
}

TEST_F(HostTova, Rotation_KeepsNoMoreOlderFilesThanAskedFor) {
    in_child([&] {
        for (const uint32_t older : {0u, 1u, 3u}) {
            const std::string folder = scratch.file(std::to_string(older));
            ASSERT_EQ(start(folder, 1024, older), TOVA_HOST_OK);
            for (int i = 0; i < 200; ++i) {
                ASSERT_GT(ORVA_WriteLog(0, 0, "number %d", i), 0u);
            }
            EXPECT_EQ(names_in(folder).size(), older + 2u); // the current file and the lock
            EXPECT_TRUE(lines_of(folder + "/system.log").back().ends_with(": number 199"));
        }
    });
}

TEST_F(HostTova, Rotation_GoesOnFromAnEarlierRunsFile) {
    in_child([&] {
        orva_test::write_file(scratch.file("system.log"), std::string(1000, 'o') + "\n");
        ASSERT_EQ(start(scratch.path(), 1024, 5), TOVA_HOST_OK);
        EXPECT_GT(ORVA_WriteLog(0, 0, "first of this run"), 0u);
        EXPECT_EQ(read_file(scratch.file("system.1.log")), std::string(1000, 'o') + "\n");
        EXPECT_EQ(lines_of(scratch.file("system.log")).size(), 1u);
    });
}

TEST_F(HostTova, Files_ThatEndInsideALineGetItsEndFirst) {
    in_child([&] {
        orva_test::write_file(scratch.file("system.log"), "a line that was cut");
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        EXPECT_GT(ORVA_WriteLog(0, 0, "next"), 0u);
        const auto lines = lines_of(scratch.file("system.log"));
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0], "a line that was cut");
        EXPECT_EQ(without_time(lines[1]), process_prefix("tester") + "system module=0x00000000 level=0: next");
    });
}

TEST_F(HostTova, Records_FailWithOneMessageWhereTheFolderCannotBeMade) {
    in_child([&] {
        standard_error_to(scratch.file("stderr"));
        orva_test::write_file(scratch.file("file"), "");
        setenv("ORVA_HOST_LOG_DIR", scratch.file("file/below").c_str(), 1);
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "x"), 1u);
        EXPECT_EQ(TOVA_SecurityEventLog(0, 0, 0, 0, 0, "x"), 1u);
        EXPECT_EQ(TOVA_LifeCycleLog(0, 0, 0, 0, 0, "x"), 1u);
        EXPECT_EQ(TOVA_PLogByProcName(0, "orva", 0, 0, "x"), 1u);
        EXPECT_GT(ORVA_WriteLog(0, 0, "x"), 0u) << "its result is never 0";
        EXPECT_EQ(TOVA_HostFailedRecords(), 5u);
        const auto messages = lines_of(scratch.file("stderr"));
        ASSERT_EQ(messages.size(), 1u);
        EXPECT_TRUE(messages[0].starts_with("tova: a record cannot be written: ")) << messages[0];
        EXPECT_NE(last_error().find("Not a directory"), std::string::npos) << last_error();

        ASSERT_EQ(start(scratch.file("good")), TOVA_HOST_OK);
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "x"), 0u);
        EXPECT_EQ(TOVA_HostFailedRecords(), 5u);
    });
}

TEST_F(HostTova, Records_FailOnAFullDiskAndGoOnWhenThereIsRoomAgain) {
    in_child([&] {
        standard_error_to(scratch.file("stderr"));
        no_room_for(scratch.file("system.log"));
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        ORVA_WriteLog(0, 0, "lost");
        ORVA_WriteLog(0, 0, "lost");
        EXPECT_NE(last_error().find("File too large"), std::string::npos) << last_error();
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "other files are not affected"), 0u);

        fs::remove(scratch.file("system.log"));
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        ORVA_WriteLog(0, 0, "written");
        EXPECT_EQ(lines_of(scratch.file("system.log")).size(), 1u);
        EXPECT_EQ(TOVA_HostFailedRecords(), 2u);
    });
}

TEST_F(HostTova, Records_OfOtherKindsDoNotRepeatTheMessageOfAnOutage) {
    in_child([&] {
        standard_error_to(scratch.file("stderr"));
        no_room_for(scratch.file("system.log"));
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        for (int i = 0; i < 3; ++i) {
            ORVA_WriteLog(0, 0, "lost");
            EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "written"), 0u);
        }
        EXPECT_EQ(lines_of(scratch.file("stderr")).size(), 1u);
        EXPECT_EQ(TOVA_HostFailedRecords(), 3u);
    });
}

TEST_F(HostTova, Console_OfABrokenPipeFailsTheRecordAndSparesTheProcess) {
    in_child([&] {
        int fds[2];
        ASSERT_EQ(pipe(fds), 0);
        close(fds[0]);
        const int kept = dup(STDERR_FILENO);
        dup2(fds[1], STDERR_FILENO);
        signal(SIGPIPE, SIG_DFL);
        const uint32_t started = start(scratch.path(), 0, 5, 1);
        const uint32_t bytes = ORVA_WriteLog(0, 0, "x");
        dup2(kept, STDERR_FILENO);
        EXPECT_EQ(started, TOVA_HOST_OK);
        EXPECT_GT(bytes, 0u);
        EXPECT_EQ(TOVA_HostFailedRecords(), 1u);
        EXPECT_EQ(last_error(), "standard error: Broken pipe");
        EXPECT_EQ(lines_of(scratch.file("system.log")).size(), 1u) << "the file still takes the record";
        sigset_t pending;
        sigpending(&pending);
        EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    });
}

TEST_F(HostTova, HostStart_RefusesValuesOutOfRangeAndChangesNothing) {
    in_child([&] {
        ASSERT_EQ(start(scratch.file("good")), TOVA_HOST_OK);
        EXPECT_EQ(start(scratch.file("bad"), 1023), TOVA_HOST_INVALID);
        EXPECT_EQ(last_error(), "fileBytes, olderFiles or sinks is out of range");
        EXPECT_EQ(start(scratch.file("bad"), 1024u * 1024u * 1024u + 1), TOVA_HOST_INVALID);
        EXPECT_EQ(start(scratch.file("bad"), 0, 1001), TOVA_HOST_INVALID);
        TovaHostConfig config{};
        const std::string bad = scratch.file("bad");
        config.folder = bad.c_str();
        config.sinks = 2 * (TOVA_HOST_SINK_SYSLOG | TOVA_HOST_SINK_JOURNAL);
        EXPECT_EQ(TOVA_HostStart(&config), TOVA_HOST_INVALID);
        orva_test::write_file(scratch.file("file"), "");
        EXPECT_EQ(start(scratch.file("file/below")), TOVA_HOST_FOLDER);
        EXPECT_EQ(start("/proc/no/such"), TOVA_HOST_FOLDER);
        EXPECT_FALSE(fs::exists(scratch.file("bad")));
        EXPECT_GT(ORVA_WriteLog(0, 0, "x"), 0u);
        EXPECT_EQ(lines_of(scratch.file("good/system.log")).size(), 1u);
    });
}

TEST_F(HostTova, HostStart_MovesTheRecordsAndKeepsItsPlaceInTheSameFolder) {
    in_child([&] {
        ASSERT_EQ(start(scratch.file("a")), TOVA_HOST_OK);
        ORVA_WriteLog(0, 0, "1");
        ASSERT_EQ(start(scratch.file("a")), TOVA_HOST_OK);
        ORVA_WriteLog(0, 0, "2");
        ASSERT_EQ(start(scratch.file("b")), TOVA_HOST_OK);
        ORVA_WriteLog(0, 0, "3");
        ASSERT_EQ(start(scratch.file("b/../a")), TOVA_HOST_OK);
        ORVA_WriteLog(0, 0, "4");
        EXPECT_EQ(lines_of(scratch.file("a/system.log")).size(), 3u);
        EXPECT_EQ(lines_of(scratch.file("b/system.log")).size(), 1u);
        EXPECT_EQ(names_in(scratch.file("a")).size(), 2u);
    });
}

TEST_F(HostTova, HostStart_TakesARelativeFolderFromTheCurrentOneAtThatMoment) {
    in_child([&] {
        ASSERT_EQ(chdir(scratch.path().c_str()), 0);
        ASSERT_EQ(start("logs"), TOVA_HOST_OK);
        ASSERT_EQ(chdir("/"), 0);
        EXPECT_GT(ORVA_WriteLog(0, 0, "x"), 0u);
        EXPECT_EQ(lines_of(scratch.file("logs/system.log")).size(), 1u);
    });
}

TEST_F(HostTova, HostStart_WithoutAConfigurationReadsTheEnvironmentAnew) {
    in_child([&] {
        ASSERT_EQ(start(scratch.file("first")), TOVA_HOST_OK);
        setenv("ORVA_HOST_LOG_DIR", scratch.file("second").c_str(), 1);
        ASSERT_EQ(TOVA_HostStart(nullptr), TOVA_HOST_OK);
        EXPECT_GT(ORVA_WriteLog(0, 0, "x"), 0u);
        const auto lines = lines_of(scratch.file("second/system.log"));
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_TRUE(without_time(lines[0]).starts_with(process_prefix(program_invocation_short_name)));
    });
}

TEST_F(HostTova, HostStop_DropsWhatFollowsUntilTheNextStart) {
    in_child([&] {
        setenv("ORVA_HOST_LOG_DIR", scratch.file("environment").c_str(), 1);
        ASSERT_EQ(start(scratch.file("a")), TOVA_HOST_OK);
        ORVA_WriteLog(0, 0, "1");
        TOVA_HostStop();
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "dropped"), 0u);
        EXPECT_GT(ORVA_WriteLog(0, 0, "dropped"), 0u);
        EXPECT_EQ(names_in(scratch.path()), (std::set<std::string>{"a"}));
        ASSERT_EQ(start(scratch.file("a")), TOVA_HOST_OK);
        ORVA_WriteLog(0, 0, "2");
        EXPECT_EQ(lines_of(scratch.file("a/system.log")).size(), 2u);
    });
}

TEST_F(HostTova, HostLastError_IsTruncatedToItsBufferAndChecksIt) {
    in_child([&] {
        orva_test::write_file(scratch.file("file"), "");
        char text[4] = {'?', '?', '?', '?'};
        EXPECT_EQ(TOVA_HostLastError(nullptr, 4), TOVA_HOST_INVALID);
        EXPECT_EQ(TOVA_HostLastError(text, 0), TOVA_HOST_INVALID);
        EXPECT_EQ(text[0], '?');
        EXPECT_EQ(TOVA_HostLastError(text, sizeof text), TOVA_HOST_OK);
        EXPECT_STREQ(text, "");
        EXPECT_EQ(start(scratch.file("file/below")), TOVA_HOST_FOLDER);
        EXPECT_EQ(TOVA_HostLastError(text, sizeof text), TOVA_HOST_OK);
        EXPECT_EQ(std::string(text).size(), 3u);
    });
}

TEST_F(HostTova, Records_OfManyThreadsAllArriveWhole) {
    in_child([&] {
        ASSERT_EQ(start(scratch.path(), 4096, 1000), TOVA_HOST_OK);
        constexpr int kThreads = 8;
        constexpr int kRecords = 200;
        std::atomic<uint64_t> bytes{0};
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&bytes, thread] {
                for (int i = 0; i < kRecords; ++i) {
                    bytes += ORVA_WriteLog(0, 0, "thread %d record %d", thread, i);
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        std::set<std::string> texts;
        uint64_t found_bytes = 0;
        for (const std::string &name : names_in(scratch.path())) {
            found_bytes += name == "tova.lock" ? 0 : fs::file_size(scratch.file(name));
            for (const std::string &line : lines_of(scratch.file(name))) {
                texts.insert(without_time(line));
            }
        }
        EXPECT_EQ(texts.size(), static_cast<std::size_t>(kThreads * kRecords));
        EXPECT_EQ(found_bytes, bytes);
        EXPECT_EQ(texts.count(process_prefix("tester") + "system module=0x00000000 level=0: thread 7 record 199"),
                  1u);
    });
}

TEST_F(HostTova, Folder_SharedByProcessesGivesEachItsOwnFiles) {
    in_child([&] {
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        EXPECT_GT(ORVA_WriteLog(0, 0, "parent"), 0u);
        // A forked child inherits the settings, not the files.
        EXPECT_EQ(run_in_child([] { return ORVA_WriteLog(0, 0, "child %d", getpid()) > 0 ? 0 : 1; }), 0);
        EXPECT_GT(ORVA_WriteLog(0, 0, "parent"), 0u);
        EXPECT_EQ(lines_of(scratch.file("system.log")).size(), 2u);
        std::string child_file;
        for (const std::string &name : names_in(scratch.path())) {
            if (name.starts_with("system-")) {
                child_file = name;
            }
        }
        ASSERT_NE(child_file, "");
        const auto lines = lines_of(scratch.file(child_file));
        ASSERT_EQ(lines.size(), 1u);
        const std::string pid = child_file.substr(7, child_file.size() - 11);
        EXPECT_EQ(without_time(lines[0]), "tester[" + pid + "] system module=0x00000000 level=0: child " + pid);
    });
}

TEST_F(HostTova, AChildProcess_WritesAtOnceHoweverSoonItWasForked) {
    in_child([&] {
        setenv("ORVA_HOST_LOG_DIR", scratch.path().c_str(), 1);
        EXPECT_GT(ORVA_WriteLog(0, 0, "parent"), 0u);
        EXPECT_EQ(run_in_child([] {
                      const bool written = ORVA_WriteLog(0, 0, "child") > 0;
                      return written && run_in_child([] { return ORVA_WriteLog(0, 0, "its child") > 0 ? 0 : 1; }) == 0
                                 ? 0
                                 : 1;
                  }),
                  0);
    });
}

TEST_F(HostTova, Folder_IsFreeAgainWhenItsProcessIsGone) {
    for (int run = 1; run <= 2; ++run) {
        in_child([&] {
            ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
            EXPECT_GT(ORVA_WriteLog(0, 0, "run"), 0u);
        });
    }
    EXPECT_EQ(lines_of(scratch.file("system.log")).size(), 2u);
}

TEST_F(HostTova, Files_HaveTheirModesWhateverTheMask) {
    for (const mode_t mask : {0000, 0022, 0077, 0777}) {
        in_child([&] {
            umask(mask);
            const std::string folder = scratch.file("mask" + std::to_string(mask));
            ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
            ASSERT_EQ(chmod(folder.c_str(), 0700), 0);
            ASSERT_EQ(start(folder), TOVA_HOST_OK);
            TOVA_SecurityEventLog(0, 0, 0, 0, 0, "secret");
            TOVA_DLog(0, 0, 0, 0, 0, "open");
            EXPECT_EQ(mode_of(folder + "/security.log"), 0600u);
            EXPECT_EQ(mode_of(folder + "/diagnostic.log"), 0640u);
            EXPECT_EQ(mode_of(folder + "/tova.lock"), 0640u);
        });
    }
}

TEST_F(HostTova, Files_ThatAreLinksAreRefusedAndTheirTargetsUntouched) {
    in_child([&] {
        standard_error_to(scratch.file("stderr"));
        orva_test::write_file(scratch.file("victim"), "kept");
        fs::create_directory(scratch.file("logs"));
        fs::create_symlink(scratch.file("victim"), scratch.file("logs/system.log"));
        ASSERT_EQ(start(scratch.file("logs")), TOVA_HOST_OK);
        ORVA_WriteLog(0, 0, "x");
        EXPECT_EQ(TOVA_HostFailedRecords(), 1u);
        EXPECT_NE(last_error().find("Too many levels of symbolic links"), std::string::npos) << last_error();
        fs::create_directory(scratch.file("locked"));
        fs::create_symlink(scratch.file("victim"), scratch.file("locked/tova.lock"));
        EXPECT_EQ(start(scratch.file("locked")), TOVA_HOST_FOLDER);
        EXPECT_EQ(read_file(scratch.file("victim")), "kept");
    });
}

TEST_F(HostTova, Files_ThatSomebodyMovedAreMadeAgainAtTheNextRecord) {
    in_child([&] {
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        ORVA_WriteLog(0, 0, "before");
        fs::rename(scratch.file("system.log"), scratch.file("system.log.old"));
        ORVA_WriteLog(0, 0, "after");
        fs::remove(scratch.file("system.log"));
        ORVA_WriteLog(0, 0, "last");
        EXPECT_EQ(lines_of(scratch.file("system.log.old")).size(), 1u);
        const auto lines = lines_of(scratch.file("system.log"));
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_TRUE(lines[0].ends_with("last")) << lines[0];
    });
}

TEST_F(HostTova, Folder_KeepsTheFilesOfTheLatestProcessesThatAreGone) {
    std::vector<std::string> gone;
    for (int i = 0; i < 4; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            _exit(0);
        }
        waitpid(child, nullptr, 0);
        gone.push_back(std::to_string(child));
        orva_test::write_file(scratch.file("system-" + gone.back() + ".log"), "x\n");
        orva_test::write_file(scratch.file("system-" + gone.back() + ".1.log"), "x\n");
        for (const char *end : {".log", ".1.log"}) {
            fs::last_write_time(scratch.file("system-" + gone.back() + end),
                                fs::file_time_type::clock::now() - std::chrono::hours(10 - i));
        }
    }
    const std::string own = "process-" + std::to_string(getpid()) + ".log";
    for (const std::string &name : {own, std::string("other-1.log"), std::string("system-x.log")}) {
        orva_test::write_file(scratch.file(name), "x\n");
    }
    in_child([&] {
        ASSERT_EQ(start(scratch.path(), 0, 2), TOVA_HOST_OK);
        EXPECT_EQ(names_in(scratch.path()),
                  (std::set<std::string>{"system-" + gone[2] + ".log", "system-" + gone[2] + ".1.log",
                                         "system-" + gone[3] + ".log", "system-" + gone[3] + ".1.log", own,
                                         "other-1.log", "system-x.log", "tova.lock"}));
    });
}

TEST_F(HostTova, Levels_AboveTheSettingAreLeftOut) {
    in_child([&] {
        setenv("ORVA_HOST_LOG_DIR", scratch.path().c_str(), 1);
        setenv("ORVA_HOST_LOG_LEVEL", "2", 1);
        EXPECT_GT(ORVA_WriteLog(0x10000, 4, "debug"), 0u);
        EXPECT_GT(ORVA_WriteLog(0x10000, 2, "error"), 0u);
        EXPECT_EQ(TOVA_DLog(0, 0xCE41001, 3, 0, 0, "warning"), 0u);
        EXPECT_EQ(TOVA_PLogByProcName(1, "orva", 8, 5, "detail"), 0u);
        EXPECT_EQ(TOVA_SecurityEventLog(0, 0, 9, 0, 0, "security records have no level"), 0u);
        EXPECT_EQ(lines_of(scratch.file("system.log")).size(), 1u);
        EXPECT_EQ(names_in(scratch.path()), (std::set<std::string>{"security.log", "system.log", "tova.lock"}));
        EXPECT_EQ(TOVA_HostFailedRecords(), 0u);
    });
}

// A datagram socket at a path, in the place of the machine's own log.
class LogSocket {
public:
    explicit LogSocket(const std::string &path) : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        fs::create_directories(fs::path(path).parent_path());
        EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0) << path;
    }
    ~LogSocket() {
        close(fd_);
    }
    LogSocket(const LogSocket &) = delete;
    LogSocket &operator=(const LogSocket &) = delete;
    std::string receive() const {
        char text[4096];
        const ssize_t count = recv(fd_, text, sizeof text, MSG_DONTWAIT);
        return count < 0 ? std::string("nothing") : std::string(text, static_cast<std::size_t>(count));
    }

private:
    int fd_;
};

TEST_F(HostTova, Syslog_TakesRecordsWithTheirPriority) {
    in_child([&] {
        if (!orva_test::enter_namespaces(CLONE_NEWNS) || !orva_test::mount_tmpfs("/dev")) {
            GTEST_SKIP() << "no private /dev";
        }
        const LogSocket syslog("/dev/log");
        setenv("ORVA_HOST_LOG_SINKS", "syslog", 1);
        EXPECT_GT(ORVA_WriteLog(0x10000, 2, "an error 100%%"), 0u);
        const std::string error = syslog.receive();
        EXPECT_TRUE(error.starts_with("<27>")) << error; // LOG_DAEMON, LOG_ERR
        EXPECT_TRUE(error.ends_with("system module=0x00010000 level=2: an error 100%")) << error;
        EXPECT_EQ(TOVA_SecurityEventLog(0, 0xCE41018, 0, 0, 0, "s"), 0u);
        EXPECT_TRUE(syslog.receive().starts_with("<85>")); // LOG_AUTHPRIV, LOG_NOTICE
    });
}

TEST_F(HostTova, Journal_TakesRecordsWithTheirFields) {
    in_child([&] {
        if (dlopen("libsystemd.so.0", RTLD_NOW) == nullptr) {
            GTEST_SKIP() << "libsystemd.so.0 is not installed";
        }
        if (!orva_test::enter_namespaces(CLONE_NEWNS) || !orva_test::mount_tmpfs("/run")) {
            GTEST_SKIP() << "no private /run";
        }
        const LogSocket journal("/run/systemd/journal/socket");
        setenv("ORVA_HOST_LOG_SINKS", "journal", 1);
        EXPECT_GT(ORVA_WriteLog(0x10000, 3, "a warning"), 0u);
        const std::string fields = journal.receive();
        EXPECT_NE(fields.find("MESSAGE=system module=0x00010000 level=3: a warning\n"), std::string::npos) << fields;
        EXPECT_NE(fields.find("PRIORITY=4\n"), std::string::npos) << fields;
        EXPECT_NE(fields.find("ORVA_KIND=system\n"), std::string::npos) << fields;
    });
}

TEST_F(HostTova, Sinks_OfUnknownNamesAreReportedAndLeftOut) {
    in_child([&] {
        standard_error_to(scratch.file("stderr"));
        setenv("ORVA_HOST_LOG_SINKS", "printer", 1);
        setenv("ORVA_HOST_LOG_CONSOLE", "0", 1);
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "x"), 0u);
        EXPECT_EQ(read_file(scratch.file("stderr")),
                  "ORVA_HOST_LOG_SINKS: \"printer\" is neither syslog nor journal; left out\n");
    });
}

std::atomic<int> g_from_handler{0};

TEST_F(HostTova, ASignalHandler_MayLogWhileItsThreadDoes) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer rejects that a sink allocates in a handler";
#endif
    in_child([&] {
        standard_error_to(scratch.file("stderr"));
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        struct sigaction action {};
        action.sa_handler = [](int) {
            ++g_from_handler;
            TOVA_DLog(0, 0, 0, 0, 0, "handler");
        };
        ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
        const itimerval often{.it_interval = {.tv_sec = 0, .tv_usec = 50}, .it_value = {.tv_sec = 0, .tv_usec = 50}};
        setitimer(ITIMER_REAL, &often, nullptr);
        int own = 0;
        while (g_from_handler < 500) {
            TOVA_DLog(0, 0, 0, 0, 0, "own");
            ++own;
        }
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
        const auto written = lines_of(scratch.file("diagnostic.log"));
        EXPECT_EQ(written.size() + TOVA_HostFailedRecords(), static_cast<std::size_t>(own + g_from_handler));
        EXPECT_GE(written.size(), static_cast<std::size_t>(own));
    });
}

TEST_F(HostTova, ACancelledThread_LeavesTheSinksUsable) {
    in_child([&] {
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        for (int i = 0; i < 50; ++i) {
            pthread_t thread{};
            ASSERT_EQ(pthread_create(
                          &thread, nullptr,
                          [](void *) -> void * {
                              for (;;) {
                                  TOVA_DLog(0, 0, 0, 0, 0, "again");
                                  pthread_testcancel();
                              }
                          },
                          nullptr),
                      0);
            std::this_thread::yield();
            ASSERT_EQ(pthread_cancel(thread), 0);
            void *result = nullptr;
            ASSERT_EQ(pthread_join(thread, &result), 0);
            ASSERT_EQ(result, PTHREAD_CANCELED);
            ASSERT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "mine"), 0u);
        }
        for (const std::string &line : lines_of(scratch.file("diagnostic.log"))) {
            EXPECT_TRUE(line.ends_with(": again") || line.ends_with(": mine")) << line;
        }
    });
}

TEST_F(HostTova, Files_MayHaveDescriptor0) {
    in_child([&] {
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        close(STDIN_FILENO);
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "first"), 0u);
        ASSERT_EQ(fs::read_symlink("/proc/self/fd/0").filename(), "diagnostic.log");
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "second"), 0u);
        EXPECT_EQ(lines_of(scratch.file("diagnostic.log")).size(), 2u);
        EXPECT_EQ(TOVA_HostFailedRecords(), 0u);
    });
}

TEST_F(HostTova, Files_StayOpenFromRecordToRecord) {
    in_child([&] {
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        close(STDIN_FILENO);
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "first"), 0u);
        ASSERT_EQ(fcntl(STDIN_FILENO, F_GETFD), FD_CLOEXEC);
        ASSERT_EQ(fcntl(STDIN_FILENO, F_SETFD, 0), 0); // a mark that another opening would not have
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "second"), 0u);
        EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), 0);
    });
}

TEST_F(HostTova, Records_KeepTheFirstCharacterOfEachLength) {
    in_child([&] {
        ASSERT_EQ(start(scratch.path()), TOVA_HOST_OK);
        const std::string first = "\xC2\xA0 \xE0\xA0\x80 \xF0\x90\x80\x80";
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, first.c_str()), 0u);
        EXPECT_EQ(TOVA_DLog(0, 0, 0, 0, 0, "\xE0\x9F\xBF"), 0u); // shorter when written well
        const auto lines = lines_of(scratch.file("diagnostic.log"));
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_TRUE(lines[0].ends_with(": " + first)) << lines[0];
        EXPECT_TRUE(lines[1].ends_with(": \\xe0\\x9f\\xbf")) << lines[1];
    });
}
