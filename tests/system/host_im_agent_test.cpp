// The sample interface-manager agent, opened at run time as a process opens it.
#include "im_agent.h"
#include "im_agent_host.h"
#include "miro.h"
#include "system_support.h"

#include <arpa/inet.h>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using orva_test::in_child;
using orva_test::lines_of;
using orva_test::read_file;
using orva_test::run_in_child;
using orva_test::ScratchFolder;
using orva_test::without_stamp;

constexpr char kLibrary[] = ORVA_TEST_LIBRARY_DIR "/libim_agent.so";

struct Agent {
    void *library = dlopen(kLibrary, RTLD_LAZY);
    template <typename Function>
    Function find(const char *name) const {
        void *symbol = library != nullptr ? dlsym(library, name) : nullptr;
        EXPECT_NE(symbol, nullptr) << name;
        return reinterpret_cast<Function>(symbol);
    }
    decltype(&IM_Agent_Init) init = find<decltype(&IM_Agent_Init)>("IM_Agent_Init");
    decltype(&IM_Agent_SetMainBoardIP) set_main_board =
        find<decltype(&IM_Agent_SetMainBoardIP)>("IM_Agent_SetMainBoardIP");
    decltype(&IM_Agent_SetLocalIP) set_local = find<decltype(&IM_Agent_SetLocalIP)>("IM_Agent_SetLocalIP");
    decltype(&IM_Agent_Debug) debug = find<decltype(&IM_Agent_Debug)>("IM_Agent_Debug");
    uint32_t (*set_process_info)(...) = find<uint32_t (*)(...)>("IM_Agent_SetProcessInfo");
    decltype(&IM_Agent_HostAddresses) addresses = find<decltype(&IM_Agent_HostAddresses)>("IM_Agent_HostAddresses");
};

uint32_t fixed_time(MIRO_SYSTIME *time) {
    *time = MIRO_SYSTIME{2024, 3, 5, 7, 8, 9, 0, 0};
    return 0;
}

uint32_t no_time(MIRO_SYSTIME *) {
    return 1;
}

OrvaImInitRecord good_record() {
    OrvaImInitRecord record{};
    std::strcpy(record.processName, "orva_process");
    record.initParam = 0x1234;
    record.getSysTime = reinterpret_cast<void (*)(void)>(&fixed_time);
    return record;
}

uint32_t address(const char *text) {
    return inet_addr(text);
}

std::string stamped(const std::string &text) {
    return "2024-03-05 07:08:09 [" + std::to_string(getpid()) + "] " + text;
}

std::string local_time(std::time_t seconds) {
    char text[32];
    tm calendar{};
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", localtime_r(&seconds, &calendar));
    return text;
}

// A line stamped by the system's clock, without its stamp.
std::string without_stamp(const std::string &line) {
    const std::string stamp = line.substr(0, 19);
    EXPECT_GE(stamp, local_time(std::time(nullptr) - 300));
    EXPECT_LE(stamp, local_time(std::time(nullptr)));
    return without_stamp(line, "0000-00-00 00:00:00 [" + std::to_string(getpid()) + "] ");
}

class HostImAgent : public testing::Test {
protected:
    void SetUp() override {
        unsetenv("ORVA_HOST_IM_FAIL_INIT");
        setenv("ORVA_HOST_IM_LOG", log.c_str(), 1);
    }
    ScratchFolder scratch;
    std::string log = scratch.file("im.log");
};

} // namespace

TEST_F(HostImAgent, Init_ReturnsAHandleAndLogsTheProcess) {
    in_child([&] {
        const Agent agent;
        const OrvaImInitRecord record = good_record();
        EXPECT_NE(agent.init(&record), 0u);
        EXPECT_EQ(read_file(log), stamped("init process=orva_process parameter=4660\n"));
    });
}

TEST_F(HostImAgent, Init_RefusesEveryFaultOfTheRecord) {
    struct Case {
        const char *name;
        std::size_t offset;
        std::size_t size;
        unsigned char fill;
        const char *line;
    };
    const Case cases[] = {
        {"name without its end", 0, 32, 'n', "init refused: the process name has no end"},
        {"word at 32", 32, 1, 1, "init refused: a reserved field is not zero"},
        {"last byte of the word at 32", 35, 1, 1, "init refused: a reserved field is not zero"},
        {"first byte at 38", 38, 1, 1, "init refused: a reserved field is not zero"},
        {"last byte before the time function", 63, 1, 1, "init refused: a reserved field is not zero"},
        {"pointer at 72", 72, 1, 1, "init refused: a reserved field is not zero"},
        {"word at 80", 80, 1, 1, "init refused: a reserved field is not zero"},
        {"first byte at 84", 84, 1, 1, "init refused: a reserved field is not zero"},
        {"last byte", 95, 1, 1, "init refused: a reserved field is not zero"},
        {"no time function", 64, 8, 0, "init refused: there is no time function"},
    };
    in_child([&] {
        const Agent agent;
        EXPECT_EQ(agent.init(nullptr), 0u);
        for (const Case &one : cases) {
            OrvaImInitRecord record = good_record();
            std::memset(reinterpret_cast<unsigned char *>(&record) + one.offset, one.fill, one.size);
            EXPECT_EQ(agent.init(&record), 0u) << one.name;
        }
        const auto lines = lines_of(log);
        ASSERT_EQ(lines.size(), 1 + std::size(cases));
        EXPECT_EQ(without_stamp(lines[0]), "init refused: no record");
        for (std::size_t i = 0; i < std::size(cases); ++i) {
            EXPECT_EQ(without_stamp(lines[i + 1]), cases[i].line) << cases[i].name;
        }
        OrvaImInitRecord longest = good_record();
        std::memset(longest.processName, 'n', 31);
        EXPECT_NE(agent.init(&longest), 0u) << "31 characters and their end fit";
    });
}

TEST_F(HostImAgent, Addresses_AreRememberedAndEachChangeIsLoggedOnce) {
    in_child([&] {
        const Agent agent;
        const OrvaImInitRecord record = good_record();
        const uint64_t handle = agent.init(&record);
        uint32_t main_board = 1;
        uint32_t local = 1;
        EXPECT_EQ(agent.addresses(handle, &main_board, &local), IM_AGENT_OK);
        EXPECT_EQ(main_board, 0u);
        EXPECT_EQ(local, 0u);
        EXPECT_EQ(agent.set_main_board(handle, address("10.0.0.5")), IM_AGENT_OK);
        EXPECT_EQ(agent.set_main_board(handle, address("10.0.0.5")), IM_AGENT_OK);
        EXPECT_EQ(agent.set_local(handle, address("172.16.3.7")), IM_AGENT_OK);
        EXPECT_EQ(agent.set_main_board(handle, address("10.0.0.6")), IM_AGENT_OK);
        EXPECT_EQ(agent.set_main_board(handle, 0xFFFFFFFF), IM_AGENT_OK);
        EXPECT_EQ(agent.addresses(handle, &main_board, &local), IM_AGENT_OK);
        EXPECT_EQ(main_board, 0xFFFFFFFFu);
        EXPECT_EQ(local, address("172.16.3.7"));
        EXPECT_EQ(lines_of(log),
                  (std::vector<std::string>{
                      stamped("init process=orva_process parameter=4660"),
                      stamped("main-board-ip process=orva_process old=0.0.0.0 new=10.0.0.5"),
                      stamped("local-ip process=orva_process old=0.0.0.0 new=172.16.3.7"),
                      stamped("main-board-ip process=orva_process old=10.0.0.5 new=10.0.0.6"),
                      stamped("main-board-ip process=orva_process old=10.0.0.6 new=255.255.255.255")}));
    });
}

TEST_F(HostImAgent, Handles_ThatAreUnknownAreRefused) {
    in_child([&] {
        const Agent agent;
        const OrvaImInitRecord record = good_record();
        const uint64_t handle = agent.init(&record);
        uint32_t main_board = 7;
        uint32_t local = 7;
        for (const uint64_t wrong : {uint64_t{0}, uint64_t{1}, handle + 1, handle - 1, ~uint64_t{0}}) {
            EXPECT_EQ(agent.set_main_board(wrong, 1), IM_AGENT_INVALID);
            EXPECT_EQ(agent.set_local(wrong, 1), IM_AGENT_INVALID);
            EXPECT_EQ(agent.addresses(wrong, &main_board, &local), IM_AGENT_INVALID);
        }
        EXPECT_EQ(agent.addresses(handle, nullptr, &local), IM_AGENT_INVALID);
        EXPECT_EQ(agent.addresses(handle, &main_board, nullptr), IM_AGENT_INVALID);
        EXPECT_EQ(main_board, 7u);
        EXPECT_EQ(local, 7u);
        const auto lines = lines_of(log);
        ASSERT_EQ(lines.size(), 11u);
        EXPECT_EQ(without_stamp(lines[1]), "main-board-ip refused: unknown handle");
        EXPECT_EQ(without_stamp(lines[2]), "local-ip refused: unknown handle");
    });
}

TEST_F(HostImAgent, Instances_AreIndependentAndBounded) {
    in_child([&] {
        const Agent agent;
        const OrvaImInitRecord record = good_record();
        std::vector<uint64_t> handles;
        for (uint32_t i = 0; i < IM_AGENT_MAX_INSTANCES; ++i) {
            handles.push_back(agent.init(&record));
            ASSERT_NE(handles.back(), 0u);
            EXPECT_EQ(agent.set_local(handles.back(), 100 + i), IM_AGENT_OK);
        }
        EXPECT_EQ(agent.init(&record), 0u);
        EXPECT_EQ(lines_of(log).back(), stamped("init refused: too many instances"));
        for (uint32_t i = 0; i < IM_AGENT_MAX_INSTANCES; ++i) {
            uint32_t main_board = 0;
            uint32_t local = 0;
            EXPECT_EQ(agent.addresses(handles[i], &main_board, &local), IM_AGENT_OK);
            EXPECT_EQ(local, 100 + i);
        }
    });
}

TEST_F(HostImAgent, FailInit_FailsThatManyCallsAlsoWhenTheLibraryIsClosedBetween) {
    in_child([&] {
        setenv("ORVA_HOST_IM_FAIL_INIT", "3", 1);
        for (int call = 1; call <= 5; ++call) {
            const Agent agent;
            const OrvaImInitRecord record = good_record();
            EXPECT_EQ(agent.init(&record) != 0, call > 3) << call;
            dlclose(agent.library);
        }
        const auto lines = lines_of(log);
        ASSERT_EQ(lines.size(), 5u);
        EXPECT_EQ(lines[0], stamped("init process=orva_process fails as asked, call 1"));
        EXPECT_EQ(lines[2], stamped("init process=orva_process fails as asked, call 3"));
        EXPECT_EQ(lines[3], stamped("init process=orva_process parameter=4660"));
    });
}

TEST_F(HostImAgent, Debug_WritesOneLineForEachText) {
    in_child([&] {
        const Agent agent;
        EXPECT_EQ(agent.debug({0, 0x0CE42001}, "NULL", 0xCE4BC006, "%s", "[Position: 1/3]a\nb\x1b"), IM_AGENT_OK);
        EXPECT_EQ(agent.debug({0, 1}, nullptr, 2, "%d/%d", 4, 5), IM_AGENT_OK);
        EXPECT_EQ(agent.debug({0, 1}, "long", 2, "%s", std::string(3000, 'z').c_str()), IM_AGENT_OK);
        const auto lines = lines_of(log);
        ASSERT_EQ(lines.size(), 3u);
        EXPECT_EQ(without_stamp(lines[0]),
                  "debug switch=0x0ce42001 id=0xce4bc006 name=NULL: [Position: 1/3]a\\nb\\x1b");
        EXPECT_EQ(without_stamp(lines[1]), "debug switch=0x00000001 id=0x00000002 name=-: 4/5");
        EXPECT_EQ(without_stamp(lines[2]),
                  "debug switch=0x00000001 id=0x00000002 name=long: " + std::string(3000, 'z'));
    });
}

TEST_F(HostImAgent, Debug_RefusesAnInvalidRecordAndNoFormat) {
    in_child([&] {
        const Agent agent;
        const char *no_format = nullptr;
        EXPECT_EQ(agent.debug({1, 0x0CE42001}, "NULL", 0, "x"), IM_AGENT_INVALID);
        EXPECT_EQ(agent.debug({0, 0x0CE42001}, "NULL", 0, no_format, 0), IM_AGENT_INVALID);
        EXPECT_EQ(read_file(log), "");
    });
}

TEST_F(HostImAgent, SetProcessInfo_IsLogged) {
    in_child([&] {
        const Agent agent;
        EXPECT_EQ(agent.set_process_info("name", 1), IM_AGENT_OK);
        EXPECT_EQ(without_stamp(lines_of(log).at(0)), "process information set");
    });
}

TEST_F(HostImAgent, Log_IsOnlyWrittenWhenAskedFor) {
    for (const bool empty : {false, true}) {
        in_child([&] {
            unsetenv("ORVA_HOST_IM_LOG");
            if (empty) {
                setenv("ORVA_HOST_IM_LOG", "", 1);
            }
            ASSERT_EQ(chdir(scratch.path().c_str()), 0);
            const Agent agent;
            const OrvaImInitRecord record = good_record();
            const uint64_t handle = agent.init(&record);
            EXPECT_NE(handle, 0u);
            EXPECT_EQ(agent.set_local(handle, 1), IM_AGENT_OK);
            EXPECT_EQ(agent.debug({0, 1}, "n", 2, "x"), IM_AGENT_OK);
            EXPECT_EQ(rmdir(scratch.path().c_str()), 0) << "the folder is empty";
            ASSERT_EQ(mkdir(scratch.path().c_str(), 0700), 0);
        });
    }
}

TEST_F(HostImAgent, Log_ThatCannotBeWrittenFailsTheCallAndKeepsTheAddress) {
    for (const char *path : {"/dev/full", "/no/such/folder/im.log"}) {
        in_child([&] {
            setenv("ORVA_HOST_IM_LOG", path, 1);
            const Agent agent;
            const OrvaImInitRecord record = good_record();
            const uint64_t handle = agent.init(&record);
            EXPECT_NE(handle, 0u) << "initialisation does not depend on the log";
            EXPECT_EQ(agent.set_local(handle, 9), IM_AGENT_NO_OUTPUT);
            EXPECT_EQ(agent.debug({0, 1}, "n", 2, "x"), IM_AGENT_NO_OUTPUT);
            EXPECT_EQ(agent.set_process_info(), IM_AGENT_NO_OUTPUT);
            uint32_t main_board = 0;
            uint32_t local = 0;
            EXPECT_EQ(agent.addresses(handle, &main_board, &local), IM_AGENT_OK);
            EXPECT_EQ(local, 9u);
        });
    }
}

TEST_F(HostImAgent, Log_TakesTheSystemsTimeWhereTheProcessHasNone) {
    in_child([&] {
        const Agent agent;
        OrvaImInitRecord record = good_record();
        record.getSysTime = reinterpret_cast<void (*)(void)>(&no_time);
        EXPECT_NE(agent.init(&record), 0u);
        EXPECT_EQ(without_stamp(lines_of(log).at(0)), "init process=orva_process parameter=4660");
    });
}

TEST_F(HostImAgent, Calls_OfManyThreadsLoseNothing) {
    in_child([&] {
        const Agent agent;
        const OrvaImInitRecord record = good_record();
        const uint64_t handle = agent.init(&record);
        std::vector<std::thread> threads;
        for (uint32_t thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&agent, handle, thread] {
                for (uint32_t i = 1; i <= 100; ++i) {
                    agent.set_local(handle, thread * 1000 + i);
                    agent.debug({0, thread}, "n", i, "text");
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        EXPECT_EQ(lines_of(log).size(), 1u + 4 * 100 * 2);
    });
}

TEST_F(HostImAgent, AChildProcess_CallsWhileOthersDid) {
    in_child([&] {
        const Agent agent;
        const OrvaImInitRecord record = good_record();
        const uint64_t handle = agent.init(&record);
        std::atomic<bool> done{false};
        std::thread busy([&] {
            for (uint32_t i = 1; !done; ++i) {
                agent.set_local(handle, i);
            }
        });
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(run_in_child([&] {
                          alarm(20);
                          return agent.set_main_board(handle, 7) == IM_AGENT_OK ? 0 : 1;
                      }),
                      0);
        }
        done = true;
        busy.join();
    });
}

TEST_F(HostImAgent, Library_IsFoundByItsBareNameOverTheSearchPath) {
    orva_test::expect_found_by_bare_names({"libim_agent.so"}, ORVA_TEST_LIBRARY_DIR);
}
