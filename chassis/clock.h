// The clock that everything in a chassis is timed by; nothing else asks the machine for the time. In virtual time the
// host platform's stepped clock is in force, and every process of the chassis follows it.
#ifndef CHASSIS_CLOCK_H
#define CHASSIS_CLOCK_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <poll.h>
#include <span>

namespace chassis {

using Duration = std::chrono::nanoseconds;
using Time = std::chrono::nanoseconds; // since power-on

class Clock {
public:
    using Settle = std::function<void()>;

    // Power-on is now. Real time; or virtual time, where `settle` lets every other process do what it does at this
    // instant.
    explicit Clock(Settle settle = nullptr);
    // Power-on was at this reading of the monotonic clock: for a process that joins a chassis.
    explicit Clock(Duration power_on);

    Time now() const;
    Duration power_on() const {
        return power_on_;
    }
    bool is_virtual() const {
        return settle_ != nullptr;
    }
    // In virtual time: nobody else has anything left to do at this instant.
    void settle() const {
        if (settle_) {
            settle_();
        }
    }

private:
    Settle settle_;
    Duration power_on_;
};

// As poll(), in the machine's own time: virtual time stands still meanwhile, and nobody else of the chassis runs.
int poll_outside(std::span<pollfd> sources, std::chrono::milliseconds patience);

std::int64_t whole_seconds(Time time);
std::int64_t whole_milliseconds(Time time);

} // namespace chassis

#endif
