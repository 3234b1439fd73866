// Tasks, time, timers, dead-loop brackets and archives.
#include "port_check.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <pthread.h>
#include <string_view>
#include <thread>
#include <unistd.h>

namespace port_check {

namespace {

constexpr std::uint32_t kPriority = 255;          // as the library asks
constexpr std::uint32_t kStackBytes = 256 * 1024; // more than a processor's least

// True once the condition holds; waits for it, not for a length of time.
template <typename Condition>
bool comes(Condition condition) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(g_patience_s);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > until) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

std::atomic<void *> g_argument{nullptr};
std::atomic<bool> g_own_thread{false};
std::atomic<bool> g_done{false};
pthread_t g_caller;

void start_task(MIRO_TASK_ENTRY entry, void *argument) {
    std::uint32_t id = 0;
    const std::uint32_t code =
        PORT_CHECK_IMPORT(MIRO_TaskCreate)("portCheck", &id, entry, kPriority, kStackBytes, 0, argument);
    require(code == 0, "MIRO_TaskCreate gives " + std::to_string(code));
}

void task() {
    static int token = 0;
    g_caller = pthread_self();
    start_task(
        [](void *argument) {
            g_own_thread = pthread_equal(pthread_self(), g_caller) == 0;
            g_argument = argument;
        },
        &token);
    require(comes([] { return g_argument.load() != nullptr; }), "the entry is not called with the argument");
    require(g_argument == &token, "the entry gets another argument");
    require(g_own_thread, "the entry runs on the caller's thread");
}

void task_stack() {
    start_task(
        [](void *) {
            char used[kStackBytes - 16 * 1024];
            std::memset(used, 1, sizeof used);
            __asm__ volatile("" : : "r"(used) : "memory");
            g_done = true;
        },
        nullptr);
    needs(comes([] { return g_done.load(); }), "task-entry");
}

void system_time() {
    const std::time_t before = std::time(nullptr);
    MIRO_SYSTIME time{};
    const std::uint32_t code = PORT_CHECK_IMPORT(MIRO_SystimeGet)(&time);
    require(code == 0, "MIRO_SystimeGet gives " + std::to_string(code));
    require(time.month >= 1 && time.month <= 12 && time.day >= 1 && time.day <= 31 && time.hour <= 23 &&
                time.minute <= 59 && time.second <= 60,
            "a part of the time is out of range");
    std::tm calendar{};
    calendar.tm_year = time.year - 1900;
    calendar.tm_mon = time.month - 1;
    calendar.tm_mday = time.day;
    calendar.tm_hour = time.hour;
    calendar.tm_min = time.minute;
    calendar.tm_sec = time.second;
    const double away = std::difftime(timegm(&calendar), before);
    require(std::abs(away) < 24 * 3600, "the time is a day or more from the system clock's");
}

void zone_time() {
    MIRO_ZONETIME time{};
    require(PORT_CHECK_IMPORT(MIRO_TzLmtGet)(&time) == 0, "MIRO_TzLmtGet fails");
    require(PORT_CHECK_IMPORT(MIRO_TzGmtGet)(&time) == 0, "MIRO_TzGmtGet fails");
}

// ---- Timers

std::atomic<int> g_calls{0};
std::atomic<int> g_inside{0};
std::atomic<bool> g_overlap{false};
std::atomic<bool> g_on_caller{false};

std::uint32_t timer_module() {
    std::uint32_t module = 0;
    needs(PORT_CHECK_IMPORT(MIRO_HandleInitialize)("portCheck", &module) == 0, "timer-module");
    return module;
}

void start_timer(std::uint32_t length_ms, MIRO_TIMER_CALLBACK callback) {
    MIRO_TIMER_ID timer = 0;
    const std::uint32_t code = PORT_CHECK_IMPORT(MIRO_ReltmrCbkStart)(&timer, timer_module(), length_ms, 0, nullptr,
                                                                      MIRO_TIMER_PERIODIC, callback);
    require(code == 0, "MIRO_ReltmrCbkStart gives " + std::to_string(code));
}

void module_handle() {
    std::uint32_t module = 0;
    require(PORT_CHECK_IMPORT(MIRO_HandleInitialize)("portCheck", &module) == 0, "MIRO_HandleInitialize fails");
    require(module != 0, "the handle is 0");
}

void periodic() {
    g_caller = pthread_self();
    start_timer(10, []() -> std::uint32_t {
        g_on_caller = g_on_caller || pthread_equal(pthread_self(), g_caller) != 0;
        ++g_calls;
        return 0;
    });
    require(comes([] { return g_calls >= 3; }), "a periodic timer calls back " + std::to_string(g_calls) + " times");
    require(!g_on_caller, "the callback runs on the caller's thread");
}

void no_overlap() {
    start_timer(5, []() -> std::uint32_t {
        g_overlap = ++g_inside > 1 || g_overlap;
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        --g_inside;
        ++g_calls;
        return 0;
    });
    needs(comes([] { return g_calls >= 4 || g_overlap; }), "timer-periodic");
    require(!g_overlap, "a callback begins before the one before it has ended");
}

void brackets() {
    const auto begin = PORT_CHECK_IMPORT(MIRO_DeadLoopTaskCheckBegin);
    const auto end = PORT_CHECK_IMPORT(MIRO_DeadLoopTaskCheckEnd);
    g_done = false;
    std::thread other([&] {
        for (int i = 0; i < 1000; ++i) {
            begin();
            end();
        }
        g_done = true;
    });
    const bool ended = comes([] { return g_done.load(); });
    if (!ended) {
        other.detach();
    } else {
        other.join();
    }
    require(ended, "a thread does not come out of its brackets");
}

// ---- Archives

// One stored entry, "a/b" with "text".
constexpr std::string_view kArchive{
    "PK\x03\x04\x14\0\0\0\0\0\0\0\x21\x58\xC7\xA7\x8B\x3B\x04\0\0\0\x04\0\0\0\x03\0\0\0"
    "a/btext"
    "PK\x01\x02\x14\x03\x14\0\0\0\0\0\0\0\x21\x58\xC7\xA7\x8B\x3B\x04\0\0\0\x04\0\0\0\x03\0\0\0\0\0\0\0\0\0\0\0\xA4"
    "\x81"
    "\0\0\0\0a/b"
    "PK\x05\x06\0\0\0\0\x01\0\x01\0\x31\0\0\0\x25\0\0\0\0\0",
    30 + 7 + 46 + 3 + 22};

void unzip() {
    char folder[] = "/tmp/port_check_XXXXXX";
    needs(mkdtemp(folder) != nullptr, "a folder below /tmp");
    const std::filesystem::path path(folder);
    std::ofstream(path / "a.zip", std::ios::binary) << kArchive;
    const std::string out = path / "out";
    const std::uint32_t code = PORT_CHECK_IMPORT(MIRO_Unzip)((path / "a.zip").c_str(), out.c_str(), 0);
    std::string text;
    std::ifstream(path / "out/a/b") >> text;
    std::filesystem::remove_all(path);
    require(code == 0, "MIRO_Unzip gives " + std::to_string(code));
    require(text == "text", "the entry is not below the folder");
}

constexpr Case kCases[] = {
    {"task-entry", "MIRO_TaskCreate runs the entry with the argument on a thread of its own", task},
    {"task-stack", "a task has the stack that was asked for", task_stack},
    {"time-system", "MIRO_SystimeGet gives the system clock's time", system_time},
    {"time-zone", "MIRO_TzLmtGet and MIRO_TzGmtGet succeed", zone_time},
    {"timer-module", "MIRO_HandleInitialize never hands out 0", module_handle},
    {"timer-periodic", "a periodic timer calls back again and again, on a thread of the platform's", periodic},
    {"timer-overlap", "callbacks of one timer never overlap", no_overlap},
    {"dead-loop-brackets", "a thread may enter and leave the dead-loop bracket", brackets},
    {"unzip", "MIRO_Unzip unpacks an archive below a folder", unzip},
};

} // namespace

std::span<const Case> task_cases() {
    return kCases;
}

} // namespace port_check
