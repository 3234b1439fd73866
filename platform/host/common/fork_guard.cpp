#include "fork_guard.h"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <pthread.h>

namespace host {

namespace {

constexpr std::size_t kMost = 8;

constinit std::array<GuardedLock, kMost> g_guarded{};
constinit std::size_t g_count = 0;

void before_fork() {
    for (std::size_t i = 0; i < g_count; ++i) {
        if (g_guarded[i].lock != nullptr) {
            g_guarded[i].take(g_guarded[i].lock);
        }
    }
}

void release(bool is_child) {
    for (std::size_t i = g_count; i-- > 0;) {
        if (is_child && g_guarded[i].in_child != nullptr) {
            g_guarded[i].in_child();
        }
        if (g_guarded[i].lock != nullptr) {
            g_guarded[i].release(g_guarded[i].lock);
        }
    }
}

} // namespace

void guard_at_fork(const GuardedLock &guarded) {
    if (g_count == 0) {
        pthread_atfork(
            before_fork, [] { release(false); }, [] { release(true); });
    }
    if (g_count == kMost) {
        std::abort(); // a library of ours has more locks than it said
    }
    g_guarded[g_count++] = guarded;
}

void after_fork_in_child(void (*in_child)()) {
    guard_at_fork({.lock = nullptr, .take = nullptr, .release = nullptr, .in_child = in_child});
}

} // namespace host
