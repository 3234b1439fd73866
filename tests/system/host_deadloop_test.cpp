// The two sample dead-loop libraries, opened at run time as a process opens them.
#include "deadloop.h"
#include "deadloop_host.h"
#include "system_support.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using orva_test::in_child;
using orva_test::run_in_child;
using orva_test::ScratchFolder;
using orva_test::without_stamp;

struct Library {
    explicit Library(const char *name)
        : handle(dlopen((std::string(ORVA_TEST_LIBRARY_DIR "/") + name).c_str(), RTLD_LAZY)) {}
    void *symbol(const char *name) const {
        void *found = handle != nullptr ? dlsym(handle, name) : nullptr;
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    void *handle;
};

struct Libraries {
    Library qarl{"libqarl_sysdiag_agent_native.so"};
    Library zebbase{"libzebbase.so"};
    decltype(&QARL_CheckAndRepairDeadloop) check =
        reinterpret_cast<decltype(&QARL_CheckAndRepairDeadloop)>(qarl.symbol("QARL_CheckAndRepairDeadloop"));
    decltype(&QARL_RegDeadloopMonCallback) register_callback =
        reinterpret_cast<decltype(&QARL_RegDeadloopMonCallback)>(qarl.symbol("QARL_RegDeadloopMonCallback"));
    const QarlDmOperations *operations = static_cast<const QarlDmOperations *>(qarl.symbol("QARL_DmOpers"));
    decltype(&ZEB_DeadLoopUsrHookReg) register_hook =
        reinterpret_cast<decltype(&ZEB_DeadLoopUsrHookReg)>(zebbase.symbol("ZEB_DeadLoopUsrHookReg"));
    decltype(&ZEB_HostReportDeadLoop) report =
        reinterpret_cast<decltype(&ZEB_HostReportDeadLoop)>(zebbase.symbol("ZEB_HostReportDeadLoop"));

    OrvaDeadLoopHook hook() const {
        return {qarl.symbol("QARL_RegDeadloopMonCallback"), qarl.symbol("QARL_DmOpers"), nullptr, nullptr};
    }
};

std::vector<std::string> lines_of(const std::string &path) {
    std::vector<std::string> lines = orva_test::lines_of(path);
    for (std::string &line : lines) {
        line = without_stamp(line, "0000-00-00 00:00:00 [" + std::to_string(getpid()) + "] ");
    }
    return lines;
}

std::vector<uint32_t> g_repaired;
uint32_t g_refused_task = 0;

uint32_t repair(const QarlDeadLoop *dead_loop) {
    if (dead_loop->taskId == g_refused_task) {
        return 1;
    }
    g_repaired.push_back(dead_loop->taskId);
    return 0;
}

class HostDeadloop : public testing::Test {
protected:
    void SetUp() override {
        unsetenv("ORVA_HOST_ZEB_RESULT");
        unsetenv("ORVA_HOST_QARL_RESULT");
        setenv("ORVA_HOST_DEADLOOP_LOG", log.c_str(), 1);
    }
    ScratchFolder scratch;
    std::string log = scratch.file("deadloop.log");
};

} // namespace

TEST_F(HostDeadloop, HookReg_RefusesEveryInvalidInput) {
    in_child([&] {
        const Libraries libraries;
        EXPECT_EQ(libraries.register_hook(1, nullptr), ZEB_HOOK_INVALID_INPUT);
        for (const uint32_t kind : {0u, 2u, 0xFFFFFFFFu}) {
            OrvaDeadLoopHook hook = libraries.hook();
            EXPECT_EQ(libraries.register_hook(kind, &hook), ZEB_HOOK_INVALID_INPUT) << kind;
        }
        void *some = &log;
        const OrvaDeadLoopHook broken[] = {{nullptr, some, nullptr, nullptr},
                                           {some, nullptr, nullptr, nullptr},
                                           {some, some, some, nullptr},
                                           {some, some, nullptr, some}};
        for (OrvaDeadLoopHook hook : broken) {
            EXPECT_EQ(libraries.register_hook(1, &hook), ZEB_HOOK_INVALID_INPUT);
        }
        OrvaDeadLoopHook good = libraries.hook();
        EXPECT_EQ(libraries.register_hook(1, &good), ZEB_HOOK_REGISTERED) << "a refused hook takes no place";
        const auto lines = lines_of(log);
        ASSERT_EQ(lines.size(), 9u);
        EXPECT_EQ(lines[0], "zebbase hook registration: kind=1 result=22");
        EXPECT_EQ(lines[2], "zebbase hook registration: kind=2 result=22");
        EXPECT_EQ(lines[8], "zebbase hook registration: kind=1 result=0");
    });
}

TEST_F(HostDeadloop, HookReg_RefusesASecondHook) {
    in_child([&] {
        const Libraries libraries;
        OrvaDeadLoopHook first = libraries.hook();
        EXPECT_EQ(libraries.register_hook(1, &first), ZEB_HOOK_REGISTERED);
        EXPECT_EQ(libraries.register_hook(1, &first), ZEB_HOOK_TAKEN);
        OrvaDeadLoopHook second = libraries.hook();
        EXPECT_EQ(libraries.register_hook(1, &second), ZEB_HOOK_TAKEN);
        EXPECT_EQ(libraries.register_hook(2, &second), ZEB_HOOK_INVALID_INPUT) << "input is judged first";
    });
}

TEST_F(HostDeadloop, HookReg_KeepsACopy) {
    in_child([&] {
        const Libraries libraries;
        QarlDeadLoop dead_loop{7, 5000, "spinner"};
        EXPECT_EQ(libraries.report(&dead_loop), ZEB_NO_HOOK);
        {
            OrvaDeadLoopHook hook = libraries.hook();
            ASSERT_EQ(libraries.register_hook(1, &hook), ZEB_HOOK_REGISTERED);
            std::memset(&hook, 0xFF, sizeof hook);
        }
        EXPECT_EQ(libraries.report(&dead_loop), QARL_OK);
        EXPECT_EQ(libraries.operations->pending(), 1u);
    });
}

TEST_F(HostDeadloop, HookReg_ReturnsTheForcedResultAndRegistersNothing) {
    in_child([&] {
        const Libraries libraries;
        OrvaDeadLoopHook hook = libraries.hook();
        for (const char *forced : {"1", "22", "5", "0xFFFFFFFF"}) {
            setenv("ORVA_HOST_ZEB_RESULT", forced, 1);
            EXPECT_EQ(libraries.register_hook(1, &hook), static_cast<uint32_t>(std::strtoul(forced, nullptr, 0)));
        }
        setenv("ORVA_HOST_ZEB_RESULT", "0", 1);
        EXPECT_EQ(libraries.register_hook(1, &hook), ZEB_HOOK_REGISTERED);
        EXPECT_EQ(libraries.register_hook(1, &hook), ZEB_HOOK_TAKEN) << "0 forces nothing";
    });
}

TEST_F(HostDeadloop, HookReg_OfAMonitorOfAnotherVersionIsNotCalled) {
    in_child([&] {
        const Libraries libraries;
        QarlDmOperations other = *libraries.operations;
        other.version = 2;
        OrvaDeadLoopHook hook = {libraries.hook().regMonCallback, &other, nullptr, nullptr};
        ASSERT_EQ(libraries.register_hook(1, &hook), ZEB_HOOK_REGISTERED);
        const QarlDeadLoop dead_loop{7, 5000, "spinner"};
        EXPECT_EQ(libraries.report(&dead_loop), ZEB_NO_HOOK);
        other.version = QARL_OPERS_VERSION;
        other.size = sizeof(QarlDmOperations) - 1;
        EXPECT_EQ(libraries.report(&dead_loop), ZEB_NO_HOOK);
    });
}

TEST_F(HostDeadloop, DmOpers_DescribeThemselves) {
    in_child([&] {
        const Libraries libraries;
        ASSERT_NE(libraries.operations, nullptr);
        EXPECT_EQ(libraries.operations->version, QARL_OPERS_VERSION);
        EXPECT_EQ(libraries.operations->size, sizeof(QarlDmOperations));
        EXPECT_EQ(libraries.operations->pending(), 0u);
    });
}

TEST_F(HostDeadloop, RegDeadloopMonCallback_TakesOne) {
    in_child([&] {
        const Libraries libraries;
        EXPECT_EQ(libraries.register_callback(nullptr), QARL_INVALID);
        EXPECT_EQ(libraries.register_callback(repair), QARL_OK);
        EXPECT_EQ(libraries.register_callback(repair), QARL_TAKEN);
    });
}

TEST_F(HostDeadloop, CheckAndRepair_WithNothingReportedSucceeds) {
    in_child([&] {
        const Libraries libraries;
        EXPECT_EQ(libraries.check(), 0u);
        EXPECT_EQ(lines_of(log), (std::vector<std::string>{"qarl check and repair: result=0"}));
    });
}

TEST_F(HostDeadloop, CheckAndRepair_GivesEachReportToTheCallbackOnce) {
    in_child([&] {
        const Libraries libraries;
        OrvaDeadLoopHook hook = libraries.hook();
        ASSERT_EQ(libraries.register_hook(1, &hook), ZEB_HOOK_REGISTERED);
        ASSERT_EQ(libraries.register_callback(repair), QARL_OK);
        for (uint32_t task = 1; task <= 3; ++task) {
            QarlDeadLoop dead_loop{task, task * 1000, "t"};
            dead_loop.taskName[0] = static_cast<char>('a' + task);
            EXPECT_EQ(libraries.report(&dead_loop), QARL_OK);
        }
        g_refused_task = 2;
        EXPECT_EQ(libraries.check(), QARL_UNREPAIRED);
        EXPECT_EQ(g_repaired, (std::vector<uint32_t>{1, 3}));
        EXPECT_EQ(libraries.operations->pending(), 1u);
        g_refused_task = 0;
        EXPECT_EQ(libraries.check(), QARL_OK);
        EXPECT_EQ(g_repaired, (std::vector<uint32_t>{1, 3, 2}));
        EXPECT_EQ(libraries.operations->pending(), 0u);
        EXPECT_EQ(lines_of(log), (std::vector<std::string>{
                                     "zebbase hook registration: kind=1 result=0",
                                     "qarl reported task=1 name=b spinning-ms=1000",
                                     "qarl reported task=2 name=c spinning-ms=2000",
                                     "qarl reported task=3 name=d spinning-ms=3000",
                                     "qarl repaired task=1 name=b spinning-ms=1000",
                                     "qarl not repaired task=2 name=c spinning-ms=2000",
                                     "qarl repaired task=3 name=d spinning-ms=3000",
                                     "qarl check and repair: result=1",
                                     "qarl repaired task=2 name=c spinning-ms=2000",
                                     "qarl check and repair: result=0",
                                 }));
    });
}

TEST_F(HostDeadloop, CheckAndRepair_WithoutACallbackKeepsTheReports) {
    in_child([&] {
        const Libraries libraries;
        const QarlDeadLoop dead_loop{9, 1, "x"};
        ASSERT_EQ(libraries.operations->report(&dead_loop), QARL_OK);
        EXPECT_EQ(libraries.check(), QARL_UNREPAIRED);
        EXPECT_EQ(libraries.operations->pending(), 1u);
    });
}

TEST_F(HostDeadloop, CheckAndRepair_ReturnsTheForcedResultAndChecksNothing) {
    in_child([&] {
        const Libraries libraries;
        const QarlDeadLoop dead_loop{9, 1, "x"};
        ASSERT_EQ(libraries.operations->report(&dead_loop), QARL_OK);
        ASSERT_EQ(libraries.register_callback(repair), QARL_OK);
        for (const char *forced : {"0", "7", "0xFFFFFFFF"}) {
            setenv("ORVA_HOST_QARL_RESULT", forced, 1);
            EXPECT_EQ(libraries.check(), static_cast<uint32_t>(std::strtoul(forced, nullptr, 0)));
        }
        EXPECT_EQ(libraries.operations->pending(), 1u);
        EXPECT_TRUE(g_repaired.empty());
    });
}

TEST_F(HostDeadloop, Report_ChecksItsInputAndIsBounded) {
    in_child([&] {
        const Libraries libraries;
        QarlDeadLoop dead_loop{1, 1, "x"};
        EXPECT_EQ(libraries.operations->report(nullptr), QARL_INVALID);
        std::memset(dead_loop.taskName, 'n', sizeof dead_loop.taskName);
        EXPECT_EQ(libraries.operations->report(&dead_loop), QARL_INVALID);
        dead_loop.taskName[15] = '\0';
        for (uint32_t i = 0; i < QARL_MAX_REPORTS; ++i) {
            EXPECT_EQ(libraries.operations->report(&dead_loop), QARL_OK);
        }
        EXPECT_EQ(libraries.operations->report(&dead_loop), QARL_FULL);
        EXPECT_EQ(libraries.operations->pending(), QARL_MAX_REPORTS);
    });
}

TEST_F(HostDeadloop, Log_IsOnlyWrittenWhenAskedForAndChangesNoResult) {
    in_child([&] {
        unsetenv("ORVA_HOST_DEADLOOP_LOG");
        ASSERT_EQ(chdir(scratch.path().c_str()), 0);
        const Libraries libraries;
        OrvaDeadLoopHook hook = libraries.hook();
        EXPECT_EQ(libraries.register_hook(1, &hook), ZEB_HOOK_REGISTERED);
        EXPECT_EQ(libraries.check(), 0u);
        setenv("ORVA_HOST_DEADLOOP_LOG", "/no/such/folder/log", 1);
        EXPECT_EQ(libraries.register_hook(1, &hook), ZEB_HOOK_TAKEN);
        EXPECT_EQ(libraries.check(), 0u);
        EXPECT_EQ(rmdir(scratch.path().c_str()), 0) << "the folder is empty";
        ASSERT_EQ(mkdir(scratch.path().c_str(), 0700), 0);
    });
}

TEST_F(HostDeadloop, Registration_OfManyThreadsIsWonByOne) {
    in_child([&] {
        const Libraries libraries;
        std::vector<uint32_t> results(8, 99);
        std::vector<std::thread> threads;
        for (uint32_t &result : results) {
            threads.emplace_back([&] {
                OrvaDeadLoopHook hook = libraries.hook();
                result = libraries.register_hook(1, &hook);
                const QarlDeadLoop dead_loop{1, 1, "x"};
                libraries.operations->report(&dead_loop);
                libraries.check();
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        EXPECT_EQ(std::count(results.begin(), results.end(), ZEB_HOOK_REGISTERED), 1);
        EXPECT_EQ(std::count(results.begin(), results.end(), ZEB_HOOK_TAKEN), 7);
        EXPECT_EQ(libraries.operations->pending(), 8u);
    });
}

TEST_F(HostDeadloop, AChildProcess_CallsWhileOthersDid) {
    in_child([&] {
        const Libraries libraries;
        std::atomic<bool> done{false};
        std::thread monitored([&] {
            while (!done) {
                const QarlDeadLoop dead_loop{1, 1, "x"};
                libraries.operations->report(&dead_loop);
            }
        });
        std::thread registering([&] {
            while (!done) {
                libraries.register_hook(1, nullptr);
            }
        });
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(run_in_child([&] {
                          alarm(20);
                          libraries.check();
                          return libraries.register_hook(1, nullptr) == ZEB_HOOK_INVALID_INPUT ? 0 : 1;
                      }),
                      0);
        }
        done = true;
        monitored.join();
        registering.join();
    });
}

TEST_F(HostDeadloop, Library_IsFoundByItsBareNameOverTheSearchPath) {
    orva_test::expect_found_by_bare_names({"libqarl_sysdiag_agent_native.so", "libzebbase.so"},
                                          ORVA_TEST_LIBRARY_DIR);
}
