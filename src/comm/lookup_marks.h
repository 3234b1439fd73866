// Lets threads read a structure without the mutex that its writers hold.
//
// A reader sets a mark while it holds the mutex, releases the mutex, reads, then clears the mark. A writer holds the
// mutex and changes the structure only when no mark is set; with one set it releases the mutex and tries again later.
// A reader pays a byte load and two byte stores and never waits. One mark has one owner at a time: it is set with the
// mutex held and cleared by its owner only, or by clear() in a process where no other thread is left.
#ifndef ORVA_LOOKUP_MARKS_H
#define ORVA_LOOKUP_MARKS_H

#include <cstddef>
#include <cstdint>

namespace orva {

inline constexpr std::size_t kLookupMarks = 64; // threads that can read at the same time

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

    // Whether a writer, which holds the mutex, may change the structure.
    [[nodiscard]] bool is_free() const {
        for (const std::uint8_t &mark : taken) {
            if (__atomic_load_n(&mark, __ATOMIC_ACQUIRE) != 0) {
                return false;
            }
        }
        return true;
    }

    // For the child of a fork: the readers were threads of the parent.
    void clear() {
        for (std::uint8_t &mark : taken) {
            end(&mark);
        }
    }
};

} // namespace orva

#endif
