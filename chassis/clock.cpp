#include "clock.h"

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

std::int64_t whole_seconds(Time time) {
    return std::chrono::floor<std::chrono::seconds>(time).count();
}

std::int64_t whole_milliseconds(Time time) {
    return std::chrono::floor<std::chrono::milliseconds>(time).count();
}

} // namespace chassis
