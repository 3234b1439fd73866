// The host platform's tasks, clocks, relative timers and dead-loop brackets.
#include "miro.h"
#include "miro_host.h"
#include "system_support.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <limits.h>
#include <mutex>
#include <pthread.h>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::chrono_literals;

#if !defined(__has_feature)
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
constexpr bool kThreadsAfterFork = false; // the sanitizer does not support it
constexpr bool kLimitsApply = false;
#elif defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
constexpr bool kThreadsAfterFork = true;
constexpr bool kLimitsApply = false;
#else
constexpr bool kThreadsAfterFork = true;
constexpr bool kLimitsApply = true;
#endif

// Counts events and lets a test wait for them; the wait is a bound for a broken build, not a measure.
class Events {
public:
    void add() {
        // Notified under the lock: who waits may end the life of this object at once.
        const std::lock_guard<std::mutex> guard(lock_);
        ++count_;
        changed_.notify_all();
    }
    bool wait_for(int count) {
        std::unique_lock<std::mutex> lock(lock_);
        return changed_.wait_until(lock, std::chrono::system_clock::now() + 30s, [&] { return count_ >= count; });
    }
    int count() {
        const std::lock_guard<std::mutex> guard(lock_);
        return count_;
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    int count_ = 0;
};

class HostMiroTask : public testing::Test {};

struct TaskView {
    Events ended;
    std::string name;
    size_t stack_bytes = 0;
    void *argument = nullptr;
    bool detached = false;
};

void look_around(void *argument) {
    auto &view = *static_cast<TaskView *>(argument);
    char name[32] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    view.name = name;
    view.argument = argument;
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
        pthread_attr_getstacksize(&attributes, &view.stack_bytes);
        int state = 0;
        pthread_attr_getdetachstate(&attributes, &state);
        view.detached = state == PTHREAD_CREATE_DETACHED;
        pthread_attr_destroy(&attributes);
    }
    view.ended.add();
}

TEST_F(HostMiroTask, TaskCreate_RunsTheEntryDetachedUnderItsName) {
    struct {
        const char *name;
        const char *seen;
    } const cases[] = {{"OrvaDiagThread", "OrvaDiagThread"},
                       {"exactly15chars.", "exactly15chars."},
                       {"a name that the kernel has to cut", "a name that the"}};
    for (const auto &c : cases) {
        TaskView view;
        uint32_t id = 0;
        ASSERT_EQ(MIRO_TaskCreate(c.name, &id, look_around, 255, 0x10000, 0, &view), MIRO_HOST_OK);
        EXPECT_NE(id, 0u);
        ASSERT_TRUE(view.ended.wait_for(1));
        EXPECT_EQ(view.name, c.seen);
        EXPECT_EQ(view.argument, &view);
        EXPECT_TRUE(view.detached);
    }
}

TEST_F(HostMiroTask, TaskCreate_RaisesTheStackAndKeepsALargerOne) {
    struct {
        uint32_t asked;
        size_t at_least;
    } const cases[] = {{1, static_cast<size_t>(sysconf(_SC_THREAD_STACK_MIN))},
                       {0x10000, 0x10000},
                       {8 << 20, 8 << 20},
                       {(8 << 20) + 1, (8 << 20) + 1}};
    for (const auto &c : cases) {
        TaskView view;
        uint32_t id = 0;
        ASSERT_EQ(MIRO_TaskCreate("stack", &id, look_around, 255, c.asked, 0, &view), MIRO_HOST_OK);
        ASSERT_TRUE(view.ended.wait_for(1));
        EXPECT_GE(view.stack_bytes, c.at_least);
    }
}

TEST_F(HostMiroTask, TaskCreate_OfStackSize0TakesTheSystemsDefault) {
    pthread_attr_t attributes;
    size_t expected = 0;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    pthread_attr_getstacksize(&attributes, &expected);
    pthread_attr_destroy(&attributes);
    TaskView view;
    uint32_t id = 0;
    ASSERT_EQ(MIRO_TaskCreate("stack", &id, look_around, 255, 0, 0, &view), MIRO_HOST_OK);
    ASSERT_TRUE(view.ended.wait_for(1));
    EXPECT_GE(view.stack_bytes, expected);
}

TEST_F(HostMiroTask, TaskCreate_LeavesItsStackToAProcessThatUsesIt) {
    // A record of the log sinks needs a few ten kilobytes of the smallest stack.
    static Events ended;
    uint32_t id = 0;
    ASSERT_EQ(MIRO_TaskCreate(
                  "deep", &id,
                  [](void *) {
                      volatile char room[64 * 1024];
                      for (size_t i = 0; i < sizeof room; i += 512) {
                          room[i] = 1;
                      }
                      ended.add();
                  },
                  255, 1, 0, nullptr),
              MIRO_HOST_OK);
    EXPECT_TRUE(ended.wait_for(1));
}

TEST_F(HostMiroTask, TaskCreate_GivesEachTaskItsOwnIdentifier) {
    TaskView view;
    uint32_t ids[3] = {};
    for (uint32_t &id : ids) {
        ASSERT_EQ(MIRO_TaskCreate(
                      nullptr, &id, [](void *v) { static_cast<TaskView *>(v)->ended.add(); }, 255, 0, 0, &view),
                  MIRO_HOST_OK);
    }
    ASSERT_TRUE(view.ended.wait_for(3));
    EXPECT_NE(ids[0], ids[1]);
    EXPECT_NE(ids[1], ids[2]);
}

TEST_F(HostMiroTask, TaskCreate_RefusesWhatItCannotUse) {
    uint32_t id = 77;
    EXPECT_EQ(MIRO_TaskCreate("t", &id, nullptr, 255, 0, 0, nullptr), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_TaskCreate("t", nullptr, look_around, 255, 0, 0, nullptr), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_TaskCreate("t", &id, look_around, 255, 0, 1, nullptr), MIRO_HOST_ERR_UNSUPPORTED);
    EXPECT_EQ(id, 77u);
}

TEST_F(HostMiroTask, TaskCreate_FailsWithoutAddressSpaceForTheStack) {
    if (!kLimitsApply) {
        GTEST_SKIP() << "sanitizers need all address space";
    }
    const int status = orva_test::run_in_child([] {
        const rlimit limit{.rlim_cur = 1 << 30, .rlim_max = 1 << 30};
        if (setrlimit(RLIMIT_AS, &limit) != 0) {
            return 1;
        }
        uint32_t id = 77;
        TaskView view;
        const uint32_t code = MIRO_TaskCreate("large", &id, look_around, 255, UINT32_MAX, 0, &view);
        return code == MIRO_HOST_ERR_SYSTEM && id == 77 ? 0 : 2;
    });
    EXPECT_EQ(status, 0);
}

class HostMiroTime : public testing::Test {
protected:
    static void use_zone(const char *zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
};

// Seconds since the epoch of a broken-down time in Greenwich mean time.
template <typename Time>
std::time_t seconds_of(const Time &time) {
    std::tm calendar{};
    calendar.tm_year = time.year - 1900;
    calendar.tm_mon = time.month - 1;
    calendar.tm_mday = time.day;
    calendar.tm_hour = time.hour;
    calendar.tm_min = time.minute;
    calendar.tm_sec = time.second;
    return timegm(&calendar);
}

TEST_F(HostMiroTime, SystimeGet_IsTheLocalCalendarTime) {
    use_zone("ORV-5:30");
    MIRO_SYSTIME time;
    std::fill_n(reinterpret_cast<unsigned char *>(&time), sizeof time, 0xEE);
    const std::time_t before = std::time(nullptr);
    ASSERT_EQ(MIRO_SystimeGet(&time), MIRO_HOST_OK);
    const std::time_t after = std::time(nullptr);
    EXPECT_GE(seconds_of(time), before + 19800);
    EXPECT_LE(seconds_of(time), after + 19800);
    EXPECT_EQ(time.reserved, 0);
    EXPECT_LT(time.extra, 1000u);
    EXPECT_EQ(MIRO_SystimeGet(nullptr), MIRO_HOST_ERR_ARGUMENT);
}

TEST_F(HostMiroTime, ZoneTimes_DifferByTheOffset) {
    struct {
        const char *zone;
        int offset_minutes;
        int daylight_saving;
    } const cases[] = {{"ORV-5:30", 330, 0},
                       {"ORV8", -480, 0},
                       {"UTC0", 0, 0},
                       // Daylight saving time all the year round.
                       {"ORV8ORD,0/0,J365/25", -420, 1}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.zone);
        use_zone(c.zone);
        MIRO_ZONETIME local_bytes{};
        MIRO_ZONETIME gmt_bytes{};
        const std::time_t before = std::time(nullptr);
        ASSERT_EQ(MIRO_TzLmtGet(&local_bytes), MIRO_HOST_OK);
        ASSERT_EQ(MIRO_TzGmtGet(&gmt_bytes), MIRO_HOST_OK);
        const std::time_t after = std::time(nullptr);
        const auto local = std::bit_cast<MIRO_HOST_ZONETIME>(local_bytes);
        const auto gmt = std::bit_cast<MIRO_HOST_ZONETIME>(gmt_bytes);
        EXPECT_EQ(local.offsetMinutes, c.offset_minutes);
        EXPECT_EQ(local.daylightSaving, c.daylight_saving);
        EXPECT_GE(seconds_of(local), before + c.offset_minutes * 60);
        EXPECT_LE(seconds_of(local), after + c.offset_minutes * 60);
        EXPECT_EQ(gmt.offsetMinutes, 0);
        EXPECT_EQ(gmt.daylightSaving, 0);
        EXPECT_GE(seconds_of(gmt), before);
        EXPECT_LE(seconds_of(gmt), after);
        EXPECT_LT(local.milliseconds, 1000);
    }
    EXPECT_EQ(MIRO_TzLmtGet(nullptr), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_TzGmtGet(nullptr), MIRO_HOST_ERR_ARGUMENT);
}

// Callbacks take no argument, so what they see is global; every case runs in a process of its own.
Events g_fired;
Events g_fired_too;
MIRO_TIMER_ID g_own_timer = 0;
std::atomic<uint32_t> g_stop_result{99};

class HostMiroTimer : public testing::Test {
protected:
    HostMiroTimer() {
        EXPECT_EQ(MIRO_HandleInitialize("TestTimers", &module), MIRO_HOST_OK);
    }
    MIRO_TIMER_ID start(uint32_t length_ms, uint32_t mode, MIRO_TIMER_CALLBACK callback) {
        MIRO_TIMER_ID timer = 0;
        EXPECT_EQ(MIRO_ReltmrCbkStart(&timer, module, length_ms, 0, nullptr, mode, callback), MIRO_HOST_OK);
        EXPECT_NE(timer, 0u);
        return timer;
    }
    uint32_t module = 0;
};

uint32_t count_fired() {
    g_fired.add();
    return 0;
}

uint32_t count_fired_too() {
    g_fired_too.add();
    return 1;
}

TEST_F(HostMiroTimer, HandleInitialize_GivesHandlesThatAreNotZero) {
    uint32_t other = 0;
    EXPECT_EQ(MIRO_HandleInitialize("PlimImlib_orva", &other), MIRO_HOST_OK);
    EXPECT_NE(module, 0u);
    EXPECT_NE(other, 0u);
    EXPECT_NE(other, module);
    EXPECT_EQ(MIRO_HandleInitialize(nullptr, &other), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_HandleInitialize("x", nullptr), MIRO_HOST_ERR_ARGUMENT);
}

TEST_F(HostMiroTimer, OneShot_FiresOnceAndNotBeforeItsTime) {
    const auto before = std::chrono::steady_clock::now();
    const MIRO_TIMER_ID timer = start(30, MIRO_TIMER_ONCE, count_fired);
    ASSERT_TRUE(g_fired.wait_for(1));
    EXPECT_GE(std::chrono::steady_clock::now() - before, 30ms);
    start(60, MIRO_TIMER_ONCE, count_fired_too);
    ASSERT_TRUE(g_fired_too.wait_for(1));
    EXPECT_EQ(g_fired.count(), 1);
    EXPECT_EQ(MIRO_HostTimerStop(timer), MIRO_HOST_ERR_NO_TIMER);
}

TEST_F(HostMiroTimer, Periodic_FiresAgainWhateverTheCallbackReturns) {
    const auto before = std::chrono::steady_clock::now();
    const MIRO_TIMER_ID timer = start(10, MIRO_TIMER_PERIODIC, count_fired_too);
    ASSERT_TRUE(g_fired_too.wait_for(5));
    EXPECT_GE(std::chrono::steady_clock::now() - before, 50ms);
    EXPECT_EQ(MIRO_HostTimerStop(timer), MIRO_HOST_OK);
    const int count = g_fired_too.count();
    start(40, MIRO_TIMER_ONCE, count_fired);
    ASSERT_TRUE(g_fired.wait_for(1));
    EXPECT_EQ(g_fired_too.count(), count);
    EXPECT_EQ(MIRO_HostTimerStop(timer), MIRO_HOST_ERR_NO_TIMER);
}

TEST_F(HostMiroTimer, ANearerTimer_OvertakesAFarOne) {
    const MIRO_TIMER_ID far = start(3600 * 1000, MIRO_TIMER_ONCE, count_fired_too);
    start(10, MIRO_TIMER_ONCE, count_fired);
    ASSERT_TRUE(g_fired.wait_for(1));
    EXPECT_EQ(g_fired_too.count(), 0);
    EXPECT_EQ(MIRO_HostTimerStop(far), MIRO_HOST_OK);
}

TEST_F(HostMiroTimer, Callbacks_RunOnOneThreadWithSignalsBlocked) {
    static std::atomic<bool> same{true};
    static std::atomic<pthread_t> thread{};
    static std::atomic<bool> blocked{false};
    const MIRO_TIMER_CALLBACK look = [] {
        pthread_t expected{};
        same =
            thread.compare_exchange_strong(expected, pthread_self()) || pthread_equal(expected, pthread_self()) != 0;
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        blocked = sigismember(&mask, SIGTERM) == 1 && sigismember(&mask, SIGINT) == 1;
        g_fired.add();
        return 0u;
    };
    const MIRO_TIMER_ID first = start(5, MIRO_TIMER_PERIODIC, look);
    const MIRO_TIMER_ID second = start(7, MIRO_TIMER_PERIODIC, look);
    ASSERT_TRUE(g_fired.wait_for(10));
    EXPECT_TRUE(same);
    EXPECT_TRUE(blocked);
    EXPECT_EQ(MIRO_HostTimerStop(first), MIRO_HOST_OK);
    EXPECT_EQ(MIRO_HostTimerStop(second), MIRO_HOST_OK);
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGTERM), 0);
}

TEST_F(HostMiroTimer, Stop_WaitsForACallbackUnderWay) {
    static std::atomic<bool> inside{false};
    const MIRO_TIMER_ID timer = start(1, MIRO_TIMER_PERIODIC, [] {
        inside = true;
        g_fired.add();
        std::this_thread::sleep_for(50ms);
        inside = false;
        return 0u;
    });
    ASSERT_TRUE(g_fired.wait_for(1));
    EXPECT_EQ(MIRO_HostTimerStop(timer), MIRO_HOST_OK);
    EXPECT_FALSE(inside);
}

TEST_F(HostMiroTimer, Stop_FromTheTimersOwnCallbackReturns) {
    // Started from a callback too, so that g_own_timer is set before its callback reads it.
    start(1, MIRO_TIMER_ONCE, [] {
        uint32_t own_module = 0;
        MIRO_HandleInitialize("own", &own_module);
        return MIRO_ReltmrCbkStart(&g_own_timer, own_module, 5, 0, nullptr, MIRO_TIMER_PERIODIC, [] {
            g_stop_result = MIRO_HostTimerStop(g_own_timer);
            g_fired.add();
            return 0u;
        });
    });
    ASSERT_TRUE(g_fired.wait_for(1));
    EXPECT_EQ(g_stop_result, MIRO_HOST_OK);
    start(40, MIRO_TIMER_ONCE, count_fired_too);
    ASSERT_TRUE(g_fired_too.wait_for(1));
    EXPECT_EQ(g_fired.count(), 1);
}

TEST_F(HostMiroTimer, ASlowCallback_DoesNotMakeUpMissedPasses) {
    static std::vector<std::chrono::steady_clock::time_point> ends;
    const auto before = std::chrono::steady_clock::now();
    const MIRO_TIMER_ID timer = start(20, MIRO_TIMER_PERIODIC, [] {
        if (g_fired.count() == 0) {
            std::this_thread::sleep_for(130ms);
        }
        ends.push_back(std::chrono::steady_clock::now());
        g_fired.add();
        return 0u;
    });
    ASSERT_TRUE(g_fired.wait_for(4));
    EXPECT_EQ(MIRO_HostTimerStop(timer), MIRO_HOST_OK);
    // The slow pass ends after 150 ms, one late pass follows it, and the next ones are those of 160 and 180 ms. If
    // missed passes were made up for, they would all come at once.
    EXPECT_GE(ends[3] - before, 180ms);
}

TEST_F(HostMiroTimer, ReltmrCbkStart_RefusesWhatItCannotUse) {
    MIRO_TIMER_ID timer = 77;
    EXPECT_EQ(MIRO_ReltmrCbkStart(nullptr, module, 10, 0, nullptr, 1, count_fired), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_ReltmrCbkStart(&timer, 0, 10, 0, nullptr, 1, count_fired), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_ReltmrCbkStart(&timer, module + 1, 10, 0, nullptr, 1, count_fired), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_ReltmrCbkStart(&timer, module, 0, 0, nullptr, 1, count_fired), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_ReltmrCbkStart(&timer, module, 10, 0, nullptr, 2, count_fired), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_ReltmrCbkStart(&timer, module, 10, 0, nullptr, 1, nullptr), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(timer, 77u);
    EXPECT_EQ(MIRO_HostTimerStop(77), MIRO_HOST_ERR_NO_TIMER);
    EXPECT_EQ(MIRO_HostTimerStop(0), MIRO_HOST_ERR_NO_TIMER);
}

TEST_F(HostMiroTimer, ReltmrCbkStart_FailsWithoutADescriptorAndWorksLater) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
    MIRO_TIMER_ID timer = 77;
    const uint32_t handle = module; // a sanitizer that looks at this object meanwhile would need a descriptor
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const uint32_t code = MIRO_ReltmrCbkStart(&timer, handle, 10, 0, nullptr, MIRO_TIMER_PERIODIC, count_fired);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(code, MIRO_HOST_ERR_SYSTEM);
    EXPECT_EQ(timer, 77u);
    const MIRO_TIMER_ID later = start(5, MIRO_TIMER_PERIODIC, count_fired);
    EXPECT_TRUE(g_fired.wait_for(1));
    EXPECT_EQ(MIRO_HostTimerStop(later), MIRO_HOST_OK);
}

TEST_F(HostMiroTimer, AChildProcess_StartsWithoutTimersAndCanStartItsOwn) {
    if (!kThreadsAfterFork) {
        GTEST_SKIP() << "the thread sanitizer allows no threads after a fork";
    }
    const MIRO_TIMER_ID timer = start(5, MIRO_TIMER_PERIODIC, count_fired);
    ASSERT_TRUE(g_fired.wait_for(1));
    const int status = orva_test::run_in_child([&] {
        alarm(30);
        if (MIRO_HostTimerStop(timer) != MIRO_HOST_ERR_NO_TIMER) {
            return 1;
        }
        MIRO_TIMER_ID own = 0;
        if (MIRO_ReltmrCbkStart(&own, module, 5, 0, nullptr, MIRO_TIMER_PERIODIC, count_fired_too) != MIRO_HOST_OK) {
            return 2;
        }
        return g_fired_too.wait_for(2) ? 0 : 3;
    });
    EXPECT_EQ(status, 0);
    const int count = g_fired.count();
    EXPECT_TRUE(g_fired.wait_for(count + 2));
    EXPECT_EQ(MIRO_HostTimerStop(timer), MIRO_HOST_OK);
}

// What the reporter heard. Kept for ever: a call may be under way when a case ends.
struct Heard {
    std::mutex lock;
    std::vector<std::string> lines;
    Events reports;
};

class HostMiroDeadLoop : public testing::Test {
protected:
    HostMiroDeadLoop() : heard(*kept().emplace_back(new Heard)), reports(heard.reports) {
        MIRO_HostSetReporter(
            [](const char *line, void *context) {
                auto &own = *static_cast<Heard *>(context);
                {
                    const std::lock_guard<std::mutex> guard(own.lock);
                    own.lines.push_back(line);
                }
                own.reports.add();
            },
            &heard);
    }
    ~HostMiroDeadLoop() override {
        MIRO_HostSetDeadLoopLimit(0);
        MIRO_HostSetReporter(nullptr, nullptr);
    }
    std::string line(size_t index) {
        const std::lock_guard<std::mutex> guard(heard.lock);
        return index < heard.lines.size() ? heard.lines[index] : "";
    }
    static std::vector<Heard *> &kept() {
        static std::vector<Heard *> &all = *new std::vector<Heard *>;
        return all;
    }
    Heard &heard;
    Events &reports;
};

TEST_F(HostMiroDeadLoop, StayingInOneBracket_IsReportedOnceAndAgainWhenLeft) {
    MIRO_HostSetDeadLoopLimit(40);
    Events leave;
    pid_t id = 0;
    std::thread stuck([&] {
        pthread_setname_np(pthread_self(), "stuck\ttask");
        id = gettid();
        MIRO_DeadLoopTaskCheckBegin();
        leave.wait_for(1);
        MIRO_DeadLoopTaskCheckEnd();
    });
    ASSERT_TRUE(reports.wait_for(1));
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(reports.count(), 1);
    leave.add();
    stuck.join();
    ASSERT_EQ(reports.count(), 2);
    const std::string thread = "dead loop: thread " + std::to_string(id);
    EXPECT_EQ(line(0).rfind(thread + " \"stuck\\ttask\" is in one pass for ", 0), 0u) << line(0);
    EXPECT_EQ(line(1).rfind(thread + " has left its pass after ", 0), 0u) << line(1);
}

TEST_F(HostMiroDeadLoop, ShortBrackets_AreNotReportedHoweverMany) {
    MIRO_HostSetDeadLoopLimit(10000);
    for (int i = 0; i < 1000; ++i) {
        MIRO_DeadLoopTaskCheckBegin();
        MIRO_DeadLoopTaskCheckEnd();
    }
    MIRO_DeadLoopTaskCheckEnd(); // without a beginning
    EXPECT_EQ(reports.count(), 0);
}

TEST_F(HostMiroDeadLoop, ASecondBegin_StartsTheBracketAfresh) {
    MIRO_HostSetDeadLoopLimit(1000);
    for (int i = 0; i < 6; ++i) {
        MIRO_DeadLoopTaskCheckBegin();
        std::this_thread::sleep_for(250ms);
    }
    MIRO_DeadLoopTaskCheckEnd();
    EXPECT_EQ(reports.count(), 0);
}

TEST_F(HostMiroDeadLoop, Limit0_SwitchesTheWatchOff) {
    MIRO_HostSetDeadLoopLimit(0);
    MIRO_DeadLoopTaskCheckBegin();
    std::this_thread::sleep_for(50ms);
    MIRO_DeadLoopTaskCheckEnd();
    EXPECT_EQ(reports.count(), 0);
}

TEST_F(HostMiroDeadLoop, ThreadsThatEnd_AreForgotten) {
    MIRO_HostSetDeadLoopLimit(20);
    for (int i = 0; i < 20; ++i) {
        std::thread([] { MIRO_DeadLoopTaskCheckBegin(); }).join(); // ended inside its bracket
    }
    const int before = reports.count();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(reports.count(), before);
}

TEST_F(HostMiroDeadLoop, ABracketInTheLastDestructorsOfAThread_IsNotWatched) {
    MIRO_HostSetDeadLoopLimit(20);
    // The destructors of keys run after those of thread-local objects.
    static pthread_key_t key;
    ASSERT_EQ(pthread_key_create(&key,
                                 [](void *) {
                                     MIRO_DeadLoopTaskCheckBegin();
                                     std::this_thread::sleep_for(60ms);
                                     MIRO_DeadLoopTaskCheckEnd();
                                 }),
              0);
    std::thread([] {
        MIRO_DeadLoopTaskCheckBegin();
        MIRO_DeadLoopTaskCheckEnd();
        pthread_setspecific(key, &key);
    }).join();
    EXPECT_EQ(reports.count(), 0);
}

TEST_F(HostMiroDeadLoop, AChildProcess_IsWatchedByAMonitorOfItsOwn) {
    if (!kThreadsAfterFork) {
        GTEST_SKIP() << "the thread sanitizer allows no threads after a fork";
    }
    MIRO_HostSetDeadLoopLimit(30);
    MIRO_DeadLoopTaskCheckBegin();
    ASSERT_TRUE(reports.wait_for(1)) << "the parent's monitor runs: no fork in the middle of its start";
    MIRO_DeadLoopTaskCheckEnd();
    ASSERT_TRUE(reports.wait_for(2)) << "the pass was left";
    MIRO_HostSetDeadLoopLimit(60000); // the parent is not reported again, however slow the machine
    MIRO_DeadLoopTaskCheckBegin();
    const int status = orva_test::run_in_child([&] {
        alarm(30);
        MIRO_HostSetDeadLoopLimit(30);
        MIRO_DeadLoopTaskCheckBegin();
        const std::string own_thread = "thread " + std::to_string(getpid()) + " ";
        for (int count = 3; reports.wait_for(count); ++count) {
            if (line(static_cast<std::size_t>(count) - 1).find(own_thread) != std::string::npos) {
                return 0;
            }
        }
        return 1;
    });
    MIRO_DeadLoopTaskCheckEnd();
    EXPECT_EQ(status, 0);
}

TEST_F(HostMiroDeadLoop, HostStart_SetsTheLimit) {
    MIRO_HOST_CONFIG config{};
    config.deadLoopLimitMs = 30;
    uint32_t handle = 0;
    ASSERT_EQ(MIRO_HostStart(&config, &handle), MIRO_HOST_OK);
    MIRO_DeadLoopTaskCheckBegin();
    EXPECT_TRUE(reports.wait_for(1));
    MIRO_DeadLoopTaskCheckEnd();
}

} // namespace
