// Locks that stay usable in a child process, whatever the other threads were doing at the fork. One set of handlers
// per library: each library of the host platform compiles it in.
#ifndef HOST_FORK_GUARD_H
#define HOST_FORK_GUARD_H

namespace host {

// Takes `lock` before a fork and releases it in both processes. `in_child` runs in the child with the lock still
// held, to repair what threads that exist only in the parent were changing. Called by constructors; of two locks that
// one thread may hold together the outer one comes first.
struct GuardedLock {
    void *lock; // null: none
    void (*take)(void *lock);
    void (*release)(void *lock);
    void (*in_child)();
};

void guard_at_fork(const GuardedLock &guarded);

template <typename Lock>
void keep_usable_after_fork(Lock &lock, void (*in_child)() = nullptr) {
    guard_at_fork({.lock = &lock,
                   .take = [](void *taken) { static_cast<Lock *>(taken)->lock(); },
                   .release = [](void *taken) { static_cast<Lock *>(taken)->unlock(); },
                   .in_child = in_child});
}

// Runs in the child only, for state that no lock of the parent protects.
void after_fork_in_child(void (*in_child)());

} // namespace host

#endif
