// Holds deferred cancellation of the calling thread off for a scope, so that a thread cannot end with a lock taken.
#ifndef ORVA_CANCEL_HOLD_H
#define ORVA_CANCEL_HOLD_H

#include <pthread.h>

namespace orva {

class CancelHold {
public:
    CancelHold() {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previous_);
    }
    ~CancelHold() {
        pthread_setcancelstate(previous_, nullptr);
    }
    CancelHold(const CancelHold &) = delete;
    CancelHold &operator=(const CancelHold &) = delete;

private:
    int previous_ = PTHREAD_CANCEL_ENABLE;
};

} // namespace orva

#endif
