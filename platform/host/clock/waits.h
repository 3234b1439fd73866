// What the calls that this library defines share: virtual clocks, deadlines, and waits for descriptors.
#ifndef HOST_CLOCK_WAITS_H
#define HOST_CLOCK_WAITS_H

#include "shared_clock.h"

#include <ctime>
#include <poll.h>

namespace host_clock {

// True for the clocks that the stepped clock replaces; the processor's own are left alone.
bool is_virtual(clockid_t clock);

// The reading of such a clock at `at_ns` of the stepped one.
timespec reading(clockid_t clock, std::int64_t at_ns);

// When such a clock shows `time`, in nanoseconds of the stepped clock.
std::int64_t instant_of(clockid_t clock, const timespec &time);

// The clock that a time which names none is meant for: wall clock readings are far beyond those since system start.
clockid_t likely_clock(const timespec &time);

// The instant a length from now; never before now.
std::int64_t instant_after(const timespec &length);

std::int64_t as_ns(const timespec &time);
timespec as_timespec(std::int64_t ns);

// Sleeps until the instant. False when a signal interrupted it.
bool sleep_until(std::int64_t instant);

// poll() with an instant in the place of the timeout.
int poll_until(pollfd *descriptors, nfds_t count, std::int64_t instant);

// Adds what a wait for the descriptor to become readable or writable waits for.
void add_descriptor(Keys &keys, int fd, bool for_room);

// Lets those look again that wait for the other end of what was written.
void touch_peer(int fd);

// The same after a read, for those that wait for room.
void touch_writers(int fd);

// Waits until a blocking descriptor is ready for the events. False, with errno set, when a signal interrupted it or
// the time limit of a socket is over.
bool wait_ready(int fd, short events);

// ---- Timer descriptors of this process

// Fires those that are due.
void fire_timers();

// The next instant at which the descriptor fires, kNever for others; of all of them.
std::int64_t timer_instant(int fd);
std::int64_t earliest_timer();

// What a wait for a timer descriptor waits for. False for other descriptors.
bool add_timer(Keys &keys, int fd);

void forget_timer(int fd);

} // namespace host_clock

#endif
