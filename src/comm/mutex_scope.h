// Holds one of the library's recursive mutexes for a scope, or up to release(). A null mutex, or one that cannot be
// locked, is not held and not unlocked either.
#ifndef ORVA_MUTEX_SCOPE_H
#define ORVA_MUTEX_SCOPE_H

#include "orva_comm.h"

namespace orva {

class MutexScope {
public:
    explicit MutexScope(void *mutex) : mutex_(ORVA_MutexP(mutex) == ORVA_OK ? mutex : nullptr) {}
    ~MutexScope() {
        release();
    }
    MutexScope(const MutexScope &) = delete;
    MutexScope &operator=(const MutexScope &) = delete;

    void release() {
        if (mutex_ != nullptr) {
            ORVA_MutexV(mutex_);
            mutex_ = nullptr;
        }
    }

private:
    void *mutex_;
};

} // namespace orva

#endif
