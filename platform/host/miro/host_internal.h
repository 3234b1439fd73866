// What the sources of the OS layer share.
#ifndef HOST_INTERNAL_H
#define HOST_INTERNAL_H

#include "reporter.h"

#include <cstdint>
#include <mutex>
#include <pthread.h>

#define MIRO_EXPORT extern "C" __attribute__((visibility("default")))

namespace host {

// Where every source of the OS layer reports misuse.
extern Reporter g_reporter;

// Keeps a lock usable in a child process, whatever the other threads were doing at the fork.
template <std::mutex &lock>
void keep_usable_after_fork() {
    pthread_atfork([] { lock.lock(); }, [] { lock.unlock(); }, [] { lock.unlock(); });
}

// Starts a detached thread of the platform's own, with every signal blocked. False, with errno set, on failure.
bool start_service_thread(const char *name, void (*body)(void *unused));

// The time since the system started, in nanoseconds.
std::int64_t monotonic_ns();

inline constexpr std::int64_t kNsPerMs = 1'000'000;

} // namespace host

#endif
