// Clocks and sleeps of the C library on the stepped clock.
#include "next_call.h"
#include "waits.h"

#include <algorithm>
#include <sys/time.h>
#include <unistd.h>

namespace host_clock {

namespace {

constexpr std::int64_t kUptimeNs = 1000 * kNsPerSecond;

std::int64_t offset_ns(clockid_t clock) {
    const bool wall = clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE || clock == CLOCK_TAI;
    return wall ? start_seconds() * kNsPerSecond : kUptimeNs;
}

} // namespace

bool is_virtual(clockid_t clock) {
    switch (clock) {
    case CLOCK_REALTIME:
    case CLOCK_REALTIME_COARSE:
    case CLOCK_TAI:
    case CLOCK_MONOTONIC:
    case CLOCK_MONOTONIC_COARSE:
    case CLOCK_MONOTONIC_RAW:
    case CLOCK_BOOTTIME:
        return true;
    default:
        return false;
    }
}

std::int64_t as_ns(const timespec &time) {
    std::int64_t ns = 0;
    const bool wraps = __builtin_mul_overflow(std::int64_t{time.tv_sec}, kNsPerSecond, &ns) ||
                       __builtin_add_overflow(ns, std::int64_t{time.tv_nsec}, &ns);
    return wraps ? kNever : ns;
}

timespec as_timespec(std::int64_t ns) {
    return {.tv_sec = ns / kNsPerSecond, .tv_nsec = ns % kNsPerSecond};
}

timespec reading(clockid_t clock, std::int64_t at_ns) {
    return as_timespec(offset_ns(clock) + at_ns);
}

std::int64_t instant_of(clockid_t clock, const timespec &time) {
    const std::int64_t ns = as_ns(time);
    return ns == kNever ? kNever : ns - offset_ns(clock);
}

clockid_t likely_clock(const timespec &time) {
    return time.tv_sec > start_seconds() / 2 ? CLOCK_REALTIME : CLOCK_MONOTONIC;
}

std::int64_t instant_after(const timespec &length) {
    const std::int64_t ns = std::max<std::int64_t>(as_ns(length), 0);
    const std::int64_t now = now_ns();
    return ns >= kNever - now ? kNever : now + ns;
}

bool sleep_until(std::int64_t instant) {
    return wait_until({}, instant, [] { return false; }) != Woken::kInterrupted;
}

} // namespace host_clock

using namespace host_clock;

MIRO_CLOCK_EXPORT int clock_gettime(clockid_t clock, timespec *time) noexcept {
    if (!follows() || !is_virtual(clock)) {
        return MIRO_CLOCK_NEXT(clock_gettime)(clock, time);
    }
    *time = reading(clock, now_ns());
    return 0;
}

MIRO_CLOCK_EXPORT int gettimeofday(timeval *__restrict time, void *__restrict zone) noexcept {
    if (!follows()) {
        return MIRO_CLOCK_NEXT(gettimeofday)(time, zone);
    }
    const timespec now = reading(CLOCK_REALTIME, now_ns());
    *time = {.tv_sec = now.tv_sec, .tv_usec = now.tv_nsec / 1000};
    return 0;
}

MIRO_CLOCK_EXPORT time_t time(time_t *out) noexcept {
    if (!follows()) {
        return MIRO_CLOCK_NEXT(time)(out);
    }
    const time_t now = reading(CLOCK_REALTIME, now_ns()).tv_sec;
    if (out != nullptr) {
        *out = now;
    }
    return now;
}

MIRO_CLOCK_EXPORT int timespec_get(timespec *time, int base) noexcept {
    if (!follows() || base != TIME_UTC) {
        return MIRO_CLOCK_NEXT(timespec_get)(time, base);
    }
    *time = reading(CLOCK_REALTIME, now_ns());
    return base;
}

namespace {

bool is_length(const timespec &length) {
    return length.tv_sec >= 0 && length.tv_nsec >= 0 && length.tv_nsec < kNsPerSecond;
}

// An error number.
int sleep_for(const timespec &length, timespec *left) {
    const std::int64_t until = instant_after(length);
    if (sleep_until(until)) {
        return 0;
    }
    if (left != nullptr) {
        *left = as_timespec(until - now_ns());
    }
    return EINTR;
}

} // namespace

MIRO_CLOCK_EXPORT int nanosleep(const timespec *length, timespec *left) {
    if (!follows() || !is_length(*length)) {
        return MIRO_CLOCK_NEXT(nanosleep)(length, left);
    }
    const int error = sleep_for(*length, left);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return 0;
}

MIRO_CLOCK_EXPORT int clock_nanosleep(clockid_t clock, int flags, const timespec *time, timespec *left) {
    if (!follows() || !is_virtual(clock) || !is_length(*time)) {
        return MIRO_CLOCK_NEXT(clock_nanosleep)(clock, flags, time, left);
    }
    if ((flags & TIMER_ABSTIME) == 0) {
        return sleep_for(*time, left);
    }
    return sleep_until(instant_of(clock, *time)) ? 0 : EINTR;
}

MIRO_CLOCK_EXPORT int usleep(useconds_t microseconds) {
    const timespec length = as_timespec(std::int64_t{microseconds} * 1000);
    return nanosleep(&length, nullptr);
}

MIRO_CLOCK_EXPORT unsigned int sleep(unsigned int seconds) {
    const timespec length{.tv_sec = static_cast<time_t>(seconds), .tv_nsec = 0};
    timespec left{};
    return nanosleep(&length, &left) == 0 ? 0u : static_cast<unsigned int>(left.tv_sec + (left.tv_nsec != 0 ? 1 : 0));
}

MIRO_CLOCK_EXPORT int sched_yield() noexcept {
    if (!follows()) {
        return MIRO_CLOCK_NEXT(sched_yield)();
    }
    block({}, now_ns(), true);
    note_idle_call();
    return 0;
}
