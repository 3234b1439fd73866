// Holds one of the library's recursive mutexes for a scope. A null mutex, or one that cannot be locked, is not held
// and not unlocked either.
#ifndef ORVA_MUTEX_SCOPE_H
#define ORVA_MUTEX_SCOPE_H

#include <pthread.h>

#include "orva_comm.h"

namespace orva {

class MutexScope {
public:
    explicit MutexScope(void *mutex) : mutex_(ORVA_MutexP(mutex) == ORVA_OK ? mutex : nullptr) {}
    ~MutexScope() {
        if (mutex_ != nullptr) {
            ORVA_MutexV(mutex_);
        }
    }
    MutexScope(const MutexScope &) = delete;
    MutexScope &operator=(const MutexScope &) = delete;

private:
    void *mutex_;
};

// Makes a recursive mutex anew in the child of a fork. Unlocking it would not do: it knows its owner by a number that
// the child's thread does not have.
inline void remake_recursive_mutex(void *mutex) {
    pthread_mutexattr_t attribute;
    pthread_mutexattr_init(&attribute);
    pthread_mutexattr_settype(&attribute, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(static_cast<pthread_mutex_t *>(mutex), &attribute);
    pthread_mutexattr_destroy(&attribute);
}

} // namespace orva

#endif
