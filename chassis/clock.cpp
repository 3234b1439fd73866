#include "clock.h"

#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace chassis {

namespace {

Duration monotonic() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

} // namespace

Clock::Clock(Settle settle) : settle_(std::move(settle)), power_on_(monotonic()) {}

Clock::Clock(Duration power_on) : power_on_(power_on) {}

Time Clock::now() const {
    return monotonic() - power_on_;
}

// The system call itself, which the stepped clock does not see.
int poll_outside(std::span<pollfd> sources, std::chrono::milliseconds patience) {
    const std::int64_t ms = patience.count();
    timespec timeout = {ms / 1000, ms % 1000 * 1'000'000};
    return static_cast<int>(syscall(SYS_ppoll, sources.data(), sources.size(), &timeout, nullptr, 0));
}

std::int64_t whole_seconds(Time time) {
    return std::chrono::floor<std::chrono::seconds>(time).count();
}

std::int64_t whole_milliseconds(Time time) {
    return std::chrono::floor<std::chrono::milliseconds>(time).count();
}

} // namespace chassis
