#include "clock_double.h"

#include <atomic>

#include "libc_double.h"
#include "platform_double.h"

extern "C" int __real_select(int count, fd_set *in, fd_set *out, fd_set *except, struct timeval *timeout);

namespace orva_test {

namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000, kNsPerUs = 1'000, kNsPerMs = 1'000'000;

std::atomic<std::int64_t> g_nowNs{0};

timespec now() {
    const std::int64_t ns = g_nowNs;
    return {static_cast<time_t>(ns / kNsPerSecond), static_cast<long>(ns % kNsPerSecond)};
}

void step_ns(std::int64_t ns) {
    g_nowNs += ns;
}

void answer_clocks() {
    libc().clock_gettime = [](clockid_t, timespec *time) {
        *time = now();
        return 0;
    };
    libc().gettimeofday = [](timeval *time, void *) {
        const timespec at = now();
        *time = {at.tv_sec, static_cast<suseconds_t>(at.tv_nsec / kNsPerUs)};
        return 0;
    };
    libc().time = [](time_t *seconds) {
        const time_t at = now().tv_sec;
        if (seconds != nullptr) {
            *seconds = at;
        }
        return at;
    };
    platform().onSystime = [](MIRO_SYSTIME *time) {
        const time_t seconds = now().tv_sec;
        tm parts{};
        gmtime_r(&seconds, &parts);
        *time = {static_cast<std::uint16_t>(parts.tm_year + 1900),
                 static_cast<std::uint8_t>(parts.tm_mon + 1),
                 static_cast<std::uint8_t>(parts.tm_mday),
                 static_cast<std::uint8_t>(parts.tm_hour),
                 static_cast<std::uint8_t>(parts.tm_min),
                 static_cast<std::uint8_t>(parts.tm_sec),
                 0,
                 0};
    };
}

void answer_pauses() {
    libc().select = [](int count, fd_set *in, fd_set *out, fd_set *except, timeval *timeout) {
        if (count != 0 || timeout == nullptr) {
            return __real_select(count, in, out, except, timeout);
        }
        step_ns(timeout->tv_sec * kNsPerSecond + timeout->tv_usec * kNsPerUs);
        *timeout = {0, 0};
        return 0;
    };
    libc().nanosleep = [](const timespec *pause, timespec *) {
        step_ns(pause->tv_sec * kNsPerSecond + pause->tv_nsec);
        return 0;
    };
    libc().usleep = [](useconds_t us) {
        step_ns(us * kNsPerUs);
        return 0;
    };
}

} // namespace

void stop_clock(std::uint64_t seconds, std::uint32_t nanoseconds) {
    g_nowNs = static_cast<std::int64_t>(seconds) * kNsPerSecond + nanoseconds;
    answer_clocks();
    answer_pauses();
}

void step_clock_ms(std::uint64_t ms) {
    step_ns(static_cast<std::int64_t>(ms) * kNsPerMs);
}

} // namespace orva_test
