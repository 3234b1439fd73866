// The C library's own function of a name that this library defines too.
#ifndef HOST_NEXT_CALL_H
#define HOST_NEXT_CALL_H

#include <dlfcn.h>

#define MIRO_CLOCK_EXPORT extern "C" __attribute__((visibility("default")))

// Found at the first call: other libraries call before the constructors of this one ran.
#define MIRO_CLOCK_NEXT(function)                                                                                    \
    ([] {                                                                                                            \
        static decltype(&::function) miro_clock_found;                                                               \
        auto miro_clock_next = __atomic_load_n(&miro_clock_found, __ATOMIC_RELAXED);                                 \
        if (miro_clock_next == nullptr) {                                                                            \
            miro_clock_next = reinterpret_cast<decltype(miro_clock_next)>(dlsym(RTLD_NEXT, #function));              \
            __atomic_store_n(&miro_clock_found, miro_clock_next, __ATOMIC_RELAXED);                                  \
        }                                                                                                            \
        return miro_clock_next;                                                                                      \
    }())

#endif
