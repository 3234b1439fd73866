// Lets threads read a structure without a mutex that its writers hold.
//
// A thread marks itself while it holds the mutex, leaves the mutex, reads, and takes its mark back. A writer, which
// holds the mutex, waits until every mark is gone before it changes anything; no new mark can appear meanwhile. A
// reader pays a byte load and two byte stores and never waits for anything, so the wait ends. One byte has one owner
// at a time: it is taken with the mutex held and given back by its owner only.
#ifndef ORVA_LOOKUP_MARKS_H
#define ORVA_LOOKUP_MARKS_H

#include <cstddef>
#include <cstdint>
#include <sched.h>
#include <time.h>

namespace orva {

inline constexpr std::size_t kLookupMarks = 64; // threads that can read at the same time
inline constexpr unsigned kYieldsBeforeSleep = 100;
inline constexpr long kMarkSleepNs = 50000;

struct alignas(64) LookupMarks {
    std::uint8_t taken[kLookupMarks]; // 1 = a thread is reading

    // Marks the calling thread, which holds the mutex; null when every mark is taken.
    std::uint8_t *begin() {
        for (std::uint8_t &mark : taken) {
            if (__atomic_load_n(&mark, __ATOMIC_ACQUIRE) == 0) {
                __atomic_store_n(&mark, std::uint8_t{1}, __ATOMIC_RELAXED);
                return &mark;
            }
        }
        return nullptr;
    }

    static void end(std::uint8_t *mark) {
        __atomic_store_n(mark, std::uint8_t{0}, __ATOMIC_RELEASE);
    }

    // Returns, with the mutex held, when no thread reads. Sleeping lets a reader of lower priority go on.
    void wait_until_none() const {
        for (const std::uint8_t &mark : taken) {
            for (unsigned tries = 0; __atomic_load_n(&mark, __ATOMIC_ACQUIRE) != 0; ++tries) {
                if (tries < kYieldsBeforeSleep) {
                    sched_yield();
                } else {
                    const timespec pause{0, kMarkSleepNs};
                    nanosleep(&pause, nullptr);
                }
            }
        }
    }
};

} // namespace orva

#endif
