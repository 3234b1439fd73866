#include "fork_guard.h"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <pthread.h>

namespace host {

namespace {

struct Guarded {
    std::mutex *lock; // null: none
    void (*in_child)();
};

constexpr std::size_t kMost = 8;

constinit std::array<Guarded, kMost> g_guarded{};
constinit std::size_t g_count = 0;

void before_fork() {
    for (std::size_t i = 0; i < g_count; ++i) {
        if (g_guarded[i].lock != nullptr) {
            g_guarded[i].lock->lock();
        }
    }
}

void release(bool is_child) {
    for (std::size_t i = g_count; i-- > 0;) {
        if (is_child && g_guarded[i].in_child != nullptr) {
            g_guarded[i].in_child();
        }
        if (g_guarded[i].lock != nullptr) {
            g_guarded[i].lock->unlock();
        }
    }
}

void add(Guarded guarded) {
    if (g_count == 0) {
        pthread_atfork(
            before_fork, [] { release(false); }, [] { release(true); });
    }
    if (g_count == kMost) {
        std::abort(); // a library of ours has more locks than it said
    }
    g_guarded[g_count++] = guarded;
}

} // namespace

void keep_usable_after_fork(std::mutex &lock, void (*in_child)()) {
    add({&lock, in_child});
}

void after_fork_in_child(void (*in_child)()) {
    add({nullptr, in_child});
}

} // namespace host
