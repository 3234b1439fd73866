// A clock that moves only when a test steps it, or when the code under test pauses.
#ifndef ORVA_CLOCK_DOUBLE_H
#define ORVA_CLOCK_DOUBLE_H

#include <cstdint>

namespace orva_test {

// Stops the clock until the next reset. Every clock of the C library gives this time since 1970, and so does the
// platform's calendar. A pause returns at once and moves the clock by its length.
void stop_clock(std::uint64_t seconds, std::uint32_t nanoseconds = 0);

// Moves the stopped clock forward. Thread-safe.
void step_clock_ms(std::uint64_t ms);

} // namespace orva_test

#endif
