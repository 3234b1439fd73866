// What the sources of the OS layer share.
#ifndef HOST_INTERNAL_H
#define HOST_INTERNAL_H

#include "fork_guard.h"
#include "reporter.h"

#include <cstdint>
#include <mutex>
#include <pthread.h>

#define MIRO_EXPORT extern "C" __attribute__((visibility("default")))

namespace host {

// Where every source of the OS layer reports misuse.
extern Reporter g_reporter;

// What MIRO_Unzip takes from one archive.
struct UnzipLimits {
    std::uint64_t bytes;
    std::uint32_t entries;
    std::uint32_t ratio;
    std::uint32_t depth;
};

UnzipLimits unzip_limits();

// Starts a detached thread of the platform's own, with every signal blocked. False, with errno set, on failure.
bool start_service_thread(const char *name, void (*body)(void *unused));

// The time since the system started, in nanoseconds.
std::int64_t monotonic_ns();

inline constexpr std::int64_t kNsPerMs = 1'000'000;

} // namespace host

#endif
