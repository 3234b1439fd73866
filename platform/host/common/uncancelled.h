// Holds a thread's cancellation off: nobody is cancelled with a lock or a half-written line in hand.
#ifndef HOST_UNCANCELLED_H
#define HOST_UNCANCELLED_H

#include <pthread.h>

namespace host {

class Uncancelled {
public:
    Uncancelled() {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previous_);
    }
    ~Uncancelled() {
        pthread_setcancelstate(previous_, nullptr);
    }
    Uncancelled(const Uncancelled &) = delete;
    Uncancelled &operator=(const Uncancelled &) = delete;

private:
    int previous_ = PTHREAD_CANCEL_ENABLE;
};

} // namespace host

#endif
