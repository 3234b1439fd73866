// The diagnostic manager's mutex, for a scope, safe beside signal handlers, cancellation and fork.
//
// A signal handler may interrupt its own thread anywhere in the manager. It must neither wait for that thread nor
// read what the thread is changing. So each thread says where it is: outside, or inside (from before the mutex is
// taken until after it is released, and while memory is allocated). A reader is outside with a mark set. In a handler
// that interrupts a reader, known keys are decided as usual and new ones are let through; in a handler that
// interrupts its thread inside, every record is let through. A thread that is cancelled leaves no lock and no mark.
#ifndef ORVA_DIAG_LOCK_H
#define ORVA_DIAG_LOCK_H

#include <cstdint>

#include "cancel_hold.h"
#include "orva_comm.h"
#include "orva_diag.h"

namespace orva {

enum class DiagPlace : std::uint8_t { kOutside, kInside };

// Of the calling thread.
extern constinit thread_local DiagPlace t_diagPlace;

[[nodiscard]] inline DiagPlace diag_place() {
    DiagPlace place;
    __atomic_load(&t_diagPlace, &place, __ATOMIC_RELAXED);
    __atomic_signal_fence(__ATOMIC_SEQ_CST);
    return place;
}

inline void set_diag_place(DiagPlace place) {
    __atomic_signal_fence(__ATOMIC_SEQ_CST);
    __atomic_store(&t_diagPlace, &place, __ATOMIC_RELAXED);
    __atomic_signal_fence(__ATOMIC_SEQ_CST);
}

// Sets the calling thread's place for a scope.
class DiagPlaceScope {
public:
    explicit DiagPlaceScope(DiagPlace place) : previous_(diag_place()) {
        set_diag_place(place);
    }
    ~DiagPlaceScope() {
        set_diag_place(previous_);
    }
    DiagPlaceScope(const DiagPlaceScope &) = delete;
    DiagPlaceScope &operator=(const DiagPlaceScope &) = delete;

private:
    DiagPlace previous_;
};

// Holds the manager's mutex for a scope, or up to release(), around code without a cancellation point. Without a
// manager, or when the mutex cannot be locked, only the place remains. The thread stays inside to the end of the
// scope.
class DiagMutex {
public:
    explicit DiagMutex(const OrvaDiagMgr *manager)
        : previous_(diag_place()), mutex_(manager == nullptr ? nullptr : manager->mutex) {
        set_diag_place(DiagPlace::kInside);
        mutex_ = ORVA_MutexP(mutex_) == ORVA_OK ? mutex_ : nullptr;
    }
    ~DiagMutex() {
        if (isInside_) {
            release();
        }
    }
    DiagMutex(const DiagMutex &) = delete;
    DiagMutex &operator=(const DiagMutex &) = delete;

    void release() {
        if (mutex_ != nullptr) {
            ORVA_MutexV(mutex_);
        }
        set_diag_place(previous_);
        isInside_ = false;
    }

private:
    DiagPlace previous_;
    void *mutex_;
    bool isInside_ = true;
};

// The same around any code: cancellation is held off to the end of the scope.
class DiagLock {
public:
    explicit DiagLock(const OrvaDiagMgr *manager) : mutex_(manager) {}
    DiagLock(const DiagLock &) = delete;
    DiagLock &operator=(const DiagLock &) = delete;

private:
    CancelHold cancelHold_;
    DiagMutex mutex_;
};

// Makes the manager's mutex and marks usable in the child of a fork, and clears the mark of a thread that ends in a
// look-up. Called when the manager is made; a second call does nothing.
void diag_watch_forks_and_ends();

} // namespace orva

#endif
