// Relative timers: one thread waits on one kernel timer, which is armed for the nearest deadline.
#include "miro_host.h"

#include "host_internal.h"

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <new>
#include <poll.h>
#include <set>
#include <sys/timerfd.h>
#include <unistd.h>
#include <utility>

namespace {

using Lock = std::unique_lock<std::mutex>;

struct Timer {
    std::int64_t deadline_ns;
    std::int64_t period_ns; // 0: fires once
    MIRO_TIMER_CALLBACK callback;
};

struct Timers {
    std::map<MIRO_TIMER_ID, Timer> by_id;
    std::set<std::pair<std::int64_t, MIRO_TIMER_ID>> by_deadline;
    MIRO_TIMER_ID last_id = 0;
    MIRO_TIMER_ID running = 0; // whose callback is under way
    pthread_t thread{};
    int descriptor = -1;       // below 0: the thread was not started yet
    std::uint64_t process = 0; // counts forks, so that a callback that forked finds itself in the child
    std::condition_variable idle;
};

std::mutex g_lock;
std::atomic<std::uint32_t> g_last_module{0};

// Never destroyed: the thread uses it until the process is gone.
Timers &timers() {
    static Timers &state = *new Timers;
    return state;
}

// The thread stayed in the parent, and the kernel's timer still belongs to it: the child starts with none.
void start_afresh_in_child() {
    Timers &state = timers();
    if (state.descriptor >= 0) {
        close(state.descriptor);
        state.descriptor = -1;
    }
    state.by_id.clear();
    state.by_deadline.clear();
    state.running = 0;
    ++state.process;
    // Its waiters stayed in the parent too, so it cannot be destroyed in order.
    new (&state.idle) std::condition_variable;
}

[[gnu::constructor]] void prepare_fork() {
    timers();
    host::keep_usable_after_fork(g_lock, start_afresh_in_child);
}

// Sets the kernel's timer to the nearest deadline, or stops it.
void arm(const Timers &state) {
    itimerspec next{};
    if (!state.by_deadline.empty()) {
        const std::int64_t deadline = state.by_deadline.begin()->first;
        next.it_value.tv_sec = deadline / 1'000'000'000;
        next.it_value.tv_nsec = deadline % 1'000'000'000;
    }
    timerfd_settime(state.descriptor, TFD_TIMER_ABSTIME, &next, nullptr);
}

// Moves a periodic timer to its next deadline after `now`: passes that were missed are not made up.
void schedule_again(Timers &state, MIRO_TIMER_ID id, Timer &timer, std::int64_t now) {
    // The node is moved, not made anew: this cannot run out of memory.
    auto node = state.by_deadline.extract({timer.deadline_ns, id});
    timer.deadline_ns += ((now - timer.deadline_ns) / timer.period_ns + 1) * timer.period_ns;
    node.value().first = timer.deadline_ns;
    state.by_deadline.insert(std::move(node));
}

// Fires the timers that are due, one after the other. False when this thread is no longer the timer thread.
bool fire_due(Timers &state, Lock &lock) {
    const std::uint64_t process = state.process;
    while (!state.by_deadline.empty()) {
        const std::int64_t now = host::monotonic_ns();
        const auto [deadline, id] = *state.by_deadline.begin();
        if (deadline > now) {
            break;
        }
        const auto found = state.by_id.find(id);
        const MIRO_TIMER_CALLBACK callback = found->second.callback;
        if (found->second.period_ns != 0) {
            schedule_again(state, id, found->second, now);
        } else {
            state.by_deadline.erase(state.by_deadline.begin());
            state.by_id.erase(found);
        }
        state.running = id;
        lock.unlock();
        callback();
        lock.lock();
        if (state.process != process) {
            return false;
        }
        state.running = 0;
        state.idle.notify_all();
    }
    return true;
}

void run_timers(void * /*unused*/) {
    Timers &state = timers();
    Lock lock(g_lock);
    const int descriptor = state.descriptor;
    state.thread = pthread_self();
    for (;;) {
        arm(state);
        lock.unlock();
        pollfd wait{.fd = descriptor, .events = POLLIN, .revents = 0};
        poll(&wait, 1, -1);
        // Whether it expired or was armed anew in between does not matter: the deadlines say what is due.
        std::uint64_t expirations = 0;
        [[maybe_unused]] const ssize_t size = read(descriptor, &expirations, sizeof expirations);
        lock.lock();
        if (!fire_due(state, lock)) {
            return;
        }
    }
}

// Makes the kernel's timer and the thread at the first start.
bool ensure_thread(Timers &state) {
    if (state.descriptor >= 0) {
        return true;
    }
    state.descriptor = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    if (state.descriptor < 0) {
        return false;
    }
    if (!host::start_service_thread("miroTimer", run_timers)) {
        const int error = errno;
        close(state.descriptor);
        state.descriptor = -1;
        errno = error;
        return false;
    }
    return true;
}

void add(Timers &state, MIRO_TIMER_ID id, const Timer &timer) {
    state.by_id.emplace(id, timer);
    try {
        state.by_deadline.emplace(timer.deadline_ns, id);
    } catch (...) {
        state.by_id.erase(id);
        throw;
    }
}

} // namespace

MIRO_EXPORT uint32_t MIRO_HandleInitialize(const char *name, uint32_t *module) {
    if (name == nullptr || module == nullptr) {
        return MIRO_HOST_ERR_ARGUMENT;
    }
    *module = ++g_last_module;
    return MIRO_HOST_OK;
}

MIRO_EXPORT uint32_t MIRO_ReltmrCbkStart(MIRO_TIMER_ID *timer, uint32_t module, uint32_t lengthMs, uint32_t /*param*/,
                                         void * /*argument*/, uint32_t mode, MIRO_TIMER_CALLBACK callback) {
    const bool known_mode = mode == MIRO_TIMER_ONCE || mode == MIRO_TIMER_PERIODIC;
    if (timer == nullptr || callback == nullptr || lengthMs == 0 || !known_mode || module == 0 ||
        module > g_last_module) {
        return MIRO_HOST_ERR_ARGUMENT;
    }
    const std::int64_t length_ns = lengthMs * host::kNsPerMs;
    try {
        Timers &state = timers();
        const Lock lock(g_lock);
        if (!ensure_thread(state)) {
            return MIRO_HOST_ERR_SYSTEM;
        }
        const MIRO_TIMER_ID id = state.last_id + 1;
        add(state, id,
            {.deadline_ns = host::monotonic_ns() + length_ns,
             .period_ns = mode == MIRO_TIMER_PERIODIC ? length_ns : 0,
             .callback = callback});
        state.last_id = id;
        *timer = id;
        arm(state);
        return MIRO_HOST_OK;
    } catch (const std::exception &) {
        return MIRO_HOST_ERR_NO_MEMORY;
    }
}

MIRO_EXPORT uint32_t MIRO_HostTimerStop(MIRO_TIMER_ID timer) {
    Timers &state = timers();
    Lock lock(g_lock);
    const auto found = state.by_id.find(timer);
    const bool known = found != state.by_id.end();
    if (known) {
        state.by_deadline.erase({found->second.deadline_ns, timer});
        state.by_id.erase(found);
        arm(state);
    }
    if (state.running == timer && timer != 0 && pthread_equal(state.thread, pthread_self()) == 0) {
        state.idle.wait(lock, [&] { return state.running != timer; });
    }
    return known ? MIRO_HOST_OK : MIRO_HOST_ERR_NO_TIMER;
}
