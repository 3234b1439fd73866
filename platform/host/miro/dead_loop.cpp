// Dead-loop brackets: each thread notes when it entered its bracket; a monitor thread, started with the first one,
// reports who stays too long.
#include "miro_host.h"

#include "host_internal.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <ctime>
#include <exception>
#include <list>
#include <mutex>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Guard = std::lock_guard<std::mutex>;

constexpr std::int64_t kLongestPauseNs = 1'000 * host::kNsPerMs;
constexpr std::int64_t kShortestPauseNs = 5 * host::kNsPerMs;

std::mutex g_lock;
std::atomic<std::uint32_t> g_limit_ms{MIRO_HOST_DEAD_LOOP_LIMIT_MS};
std::atomic<bool> g_monitor_started{false};

// One thread's bracket.
struct Watch {
    std::atomic<std::int64_t> entered_ns{0};  // 0: outside
    std::atomic<std::int64_t> reported_ns{0}; // the entry that was reported
    pthread_t thread{};
    pid_t id = 0;
};

// The watches of the threads that ever were in a bracket. Never destroyed: threads end after main does.
std::list<Watch> &watches() {
    static std::list<Watch> &all = *new std::list<Watch>;
    return all;
}

// Set when this thread's watch is gone: the destructors of other thread-local objects may still enter a bracket.
thread_local bool t_watch_ended = false;

class OwnWatch {
public:
    OwnWatch() {
        const Guard guard(g_lock);
        place_ = watches().emplace(watches().end());
        place_->thread = pthread_self();
        place_->id = gettid();
    }
    ~OwnWatch() {
        t_watch_ended = true;
        const Guard guard(g_lock);
        watches().erase(place_);
    }
    OwnWatch(const OwnWatch &) = delete;
    OwnWatch &operator=(const OwnWatch &) = delete;
    Watch &watch() {
        return *place_;
    }

private:
    std::list<Watch>::iterator place_;
};

Watch &own_watch() {
    thread_local OwnWatch own;
    return own.watch();
}

// Only the forking thread is in the child; the watches of the others, and the monitor, stayed in the parent.
void keep_own_watch_in_child() {
    watches().remove_if([](const Watch &watch) { return pthread_equal(watch.thread, pthread_self()) == 0; });
    for (Watch &watch : watches()) {
        watch.id = gettid();
    }
    g_monitor_started = false;
}

[[gnu::constructor]] void prepare_fork() {
    watches();
    host::keep_usable_after_fork(g_lock, keep_own_watch_in_child);
}

struct Finding {
    pid_t id;
    char name[16];
    std::int64_t stayed_ms;
};

std::vector<Finding> find_dead_loops(std::int64_t limit_ns) {
    std::vector<Finding> findings;
    const Guard guard(g_lock);
    findings.reserve(watches().size()); // whoever is marked as reported below is reported
    const std::int64_t now = host::monotonic_ns();
    for (Watch &watch : watches()) {
        const std::int64_t entered = watch.entered_ns.load();
        if (entered == 0 || now - entered < limit_ns || watch.reported_ns.load() == entered) {
            continue;
        }
        Finding finding{watch.id, {}, (now - entered) / host::kNsPerMs};
        pthread_getname_np(watch.thread, finding.name, sizeof finding.name);
        findings.push_back(finding);
        watch.reported_ns.store(entered);
    }
    return findings;
}

void watch_threads(void * /*unused*/) {
    for (;;) {
        const std::int64_t limit_ns = g_limit_ms * host::kNsPerMs;
        const std::int64_t pause_ns =
            limit_ns != 0 ? std::clamp(limit_ns / 4, kShortestPauseNs, kLongestPauseNs) : kLongestPauseNs;
        const timespec pause{.tv_sec = pause_ns / 1'000'000'000, .tv_nsec = pause_ns % 1'000'000'000};
        nanosleep(&pause, nullptr);
        if (limit_ns == 0) {
            continue;
        }
        try {
            for (const Finding &finding : find_dead_loops(limit_ns)) {
                host::g_reporter.line("dead loop: thread %d \"%s\" is in one pass for %lld ms", finding.id,
                                      finding.name, static_cast<long long>(finding.stayed_ms));
            }
        } catch (const std::exception &) {
            // No memory for the list: the next pass sees the same threads.
        }
    }
}

void ensure_monitor() {
    if (g_monitor_started) {
        return;
    }
    const Guard guard(g_lock);
    if (!g_monitor_started) {
        g_monitor_started = host::start_service_thread("miroDeadLoop", watch_threads);
    }
}

} // namespace

MIRO_EXPORT void MIRO_DeadLoopTaskCheckBegin(void) {
    if (t_watch_ended) {
        return;
    }
    try {
        Watch &watch = own_watch();
        watch.entered_ns.store(host::monotonic_ns());
        ensure_monitor();
    } catch (const std::exception &) {
        host::g_reporter.line("dead loop: no memory to watch thread %d", gettid());
    }
}

MIRO_EXPORT void MIRO_DeadLoopTaskCheckEnd(void) {
    if (t_watch_ended) {
        return;
    }
    try {
        Watch &watch = own_watch();
        const std::int64_t entered = watch.entered_ns.exchange(0);
        if (entered != 0 && watch.reported_ns.load() == entered) {
            host::g_reporter.line("dead loop: thread %d has left its pass after %lld ms", watch.id,
                                  static_cast<long long>((host::monotonic_ns() - entered) / host::kNsPerMs));
        }
    } catch (const std::exception &) {
        host::g_reporter.line("dead loop: no memory to watch thread %d", gettid());
    }
}

MIRO_EXPORT void MIRO_HostSetDeadLoopLimit(uint32_t limitMs) {
    g_limit_ms = limitMs;
}
