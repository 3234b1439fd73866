// Locks that stay usable in a child process, whatever the other threads were doing at the fork. One set of handlers
// per library: each library of the host platform compiles it in.
#ifndef HOST_FORK_GUARD_H
#define HOST_FORK_GUARD_H

#include <mutex>

namespace host {

// Takes `lock` before a fork and releases it in both processes. `in_child` runs in the child with the lock still
// held, to mend what the threads that stayed in the parent leave behind. Called by constructors; of two locks that
// one thread may hold together the outer one comes first.
void keep_usable_after_fork(std::mutex &lock, void (*in_child)() = nullptr);

// Runs in the child only, for state that no lock of the parent protects.
void after_fork_in_child(void (*in_child)());

} // namespace host

#endif
