// Timer descriptors on the stepped clock: an event counter that this process fills when the time has come.
#include "next_call.h"
#include "waits.h"

#include <algorithm>
#include <atomic>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace host_clock {

namespace {

constexpr int kMost = 256;

struct TimerDescriptor {
    int fd; // below 0: free
    clockid_t clock;
    std::int64_t next_ns;
    std::int64_t interval_ns;
};

// Written only by threads that have their turn.
TimerDescriptor g_timers[kMost];
std::atomic<int> g_top{0};

TimerDescriptor *find(int fd) {
    for (int i = 0; i < g_top.load(std::memory_order_acquire); ++i) {
        if (g_timers[i].fd == fd) {
            return &g_timers[i];
        }
    }
    return nullptr;
}

TimerDescriptor *free_place() {
    if (TimerDescriptor *found = find(-1); found != nullptr) {
        return found;
    }
    const int top = g_top.load();
    if (top == kMost) {
        return nullptr;
    }
    g_timers[top].fd = -1;
    g_top.store(top + 1, std::memory_order_release);
    return &g_timers[top];
}

itimerspec setting_of(const TimerDescriptor &timer) {
    itimerspec setting{};
    if (timer.next_ns != kNever) {
        setting.it_value = as_timespec(std::max<std::int64_t>(timer.next_ns - now_ns(), 1));
        setting.it_interval = as_timespec(timer.interval_ns);
    }
    return setting;
}

struct TimerName {
    pid_t process;
    int fd;
};

std::uint32_t timer_key(int fd) {
    return key_for(kTimerKey, TimerName{getpid(), fd});
}

// What it counted so far is gone with a new setting.
void drain(int fd) {
    pollfd one{.fd = fd, .events = POLLIN, .revents = 0};
    std::uint64_t count = 0;
    if (MIRO_CLOCK_NEXT(poll)(&one, 1, 0) == 1) {
        [[maybe_unused]] const ssize_t size = MIRO_CLOCK_NEXT(read)(fd, &count, sizeof count);
    }
}

} // namespace

void fire_timers() {
    const std::int64_t now = now_ns();
    for (int i = 0; i < g_top.load(std::memory_order_acquire); ++i) {
        TimerDescriptor &timer = g_timers[i];
        if (timer.fd < 0 || timer.next_ns > now) {
            continue;
        }
        std::uint64_t count = 1;
        if (timer.interval_ns == 0) {
            timer.next_ns = kNever;
        } else {
            count += static_cast<std::uint64_t>((now - timer.next_ns) / timer.interval_ns);
            timer.next_ns += static_cast<std::int64_t>(count) * timer.interval_ns;
        }
        [[maybe_unused]] const ssize_t size = MIRO_CLOCK_NEXT(write)(timer.fd, &count, sizeof count);
    }
}

std::int64_t timer_instant(int fd) {
    const TimerDescriptor *timer = fd < 0 ? nullptr : find(fd);
    return timer != nullptr ? timer->next_ns : kNever;
}

std::int64_t earliest_timer() {
    std::int64_t earliest = kNever;
    for (int i = 0; i < g_top.load(std::memory_order_acquire); ++i) {
        if (g_timers[i].fd >= 0) {
            earliest = std::min(earliest, g_timers[i].next_ns);
        }
    }
    return earliest;
}

bool add_timer(Keys &keys, int fd) {
    const bool known = find(fd) != nullptr;
    if (known) {
        keys.add(timer_key(fd));
    }
    return known;
}

void forget_timer(int fd) {
    if (TimerDescriptor *timer = fd < 0 ? nullptr : find(fd); timer != nullptr) {
        timer->fd = -1;
    }
}

} // namespace host_clock

using namespace host_clock;

MIRO_CLOCK_EXPORT int timerfd_create(int clock, int flags) noexcept {
    TimerDescriptor *place = follows() && is_virtual(clock) ? free_place() : nullptr;
    if (place == nullptr) {
        return MIRO_CLOCK_NEXT(timerfd_create)(clock, flags);
    }
    static_assert(int{TFD_CLOEXEC} == int{EFD_CLOEXEC} && int{TFD_NONBLOCK} == int{EFD_NONBLOCK});
    const int fd = eventfd(0, flags);
    if (fd >= 0) {
        *place = {.fd = fd, .clock = clock, .next_ns = kNever, .interval_ns = 0};
    }
    return fd;
}

MIRO_CLOCK_EXPORT int timerfd_settime(int fd, int flags, const itimerspec *setting, itimerspec *old) noexcept {
    TimerDescriptor *timer = fd < 0 ? nullptr : find(fd);
    if (!joined() || timer == nullptr) {
        return MIRO_CLOCK_NEXT(timerfd_settime)(fd, flags, setting, old);
    }
    if (old != nullptr) {
        *old = setting_of(*timer);
    }
    drain(fd);
    timer->interval_ns = as_ns(setting->it_interval);
    if (setting->it_value.tv_sec == 0 && setting->it_value.tv_nsec == 0) {
        timer->next_ns = kNever;
    } else if ((flags & TFD_TIMER_ABSTIME) != 0) {
        timer->next_ns = instant_of(timer->clock, setting->it_value);
    } else {
        timer->next_ns = instant_after(setting->it_value);
    }
    // Those that wait for it wait for another time now.
    touch(timer_key(fd));
    return 0;
}

MIRO_CLOCK_EXPORT int timerfd_gettime(int fd, itimerspec *setting) noexcept {
    const TimerDescriptor *timer = fd < 0 ? nullptr : find(fd);
    if (!joined() || timer == nullptr) {
        return MIRO_CLOCK_NEXT(timerfd_gettime)(fd, setting);
    }
    *setting = setting_of(*timer);
    return 0;
}
