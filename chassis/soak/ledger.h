// What the processes over queues write down of every message, in memory that they share: it outlives each of them.
#ifndef CHASSIS_SOAK_LEDGER_H
#define CHASSIS_SOAK_LEDGER_H

#include "orva_comm.h"

#include <atomic>
#include <cstdint>

namespace chassis {

inline constexpr std::uint32_t kWorkers = 16;
// How often the queue of one worker is made. Each has counts of its own.
inline constexpr std::uint32_t kGenerations = 4096;

// Messages of one sender to one queue. They carry their number, from 1 on.
struct PairCount {
    std::atomic<std::uint64_t> sent;
    std::atomic<std::uint64_t> received;
    std::atomic<std::uint64_t> last; // number of the last one received
};

// A queue and which one of its worker it is, in one word, so that nobody sees half of a change.
constexpr std::uint64_t address_of(std::uint32_t generation, std::uint32_t queue) {
    return std::uint64_t{generation} << 32 | queue;
}
constexpr std::uint32_t queue_in(std::uint64_t address) {
    return static_cast<std::uint32_t>(address);
}
constexpr std::uint32_t generation_in(std::uint64_t address) {
    return static_cast<std::uint32_t>(address >> 32);
}

struct Seat {
    std::atomic<std::uint64_t> address; // ORVA_QUEUE_NONE: the worker makes a queue
    std::atomic<std::uint64_t> sending; // 1 plus the place of the pair while a message is on its way
    std::atomic<bool> reading;          // while a message may be in the worker's hands
    std::atomic<bool> exhausted;        // its partition is full, as long as this is set
};

enum class SoakState : std::uint32_t { kRuns, kDrains, kEnds };

struct Ledger {
    std::atomic<SoakState> state;
    std::atomic<bool> wrong;
    char wrong_text[200]; // of the first message that is not as it should be
    Seat seats[kWorkers];
    PairCount pairs[kGenerations * kWorkers * kWorkers];

    static constexpr std::uint32_t place(std::uint32_t generation, std::uint32_t target, std::uint32_t sender) {
        return (generation * kWorkers + target) * kWorkers + sender;
    }
    PairCount &pair(std::uint32_t generation, std::uint32_t target, std::uint32_t sender) {
        return pairs[place(generation, target, sender)];
    }
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

} // namespace chassis

#endif
