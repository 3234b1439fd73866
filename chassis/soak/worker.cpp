#include "soak/worker.h"

#include "board/board_folder.h"
#include "board/memory_hoard.h"
#include "runtime.h"

#include "miro_host.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <exception>
#include <random>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <thread>

namespace chassis {

namespace {

constexpr int kLeakStatus = 3;

struct Message {
    std::uint32_t sender;
    std::uint32_t target;
    std::uint32_t generation;
    std::uint32_t length;
    std::uint64_t number;
    std::array<std::uint8_t, 200> filling;
};
constexpr std::uint32_t kLeastBytes = offsetof(Message, filling);

std::uint8_t filling_of(const Message &message, std::size_t at) {
    return static_cast<std::uint8_t>(message.number * 31 + message.sender * 7 + at);
}

std::uint64_t live_blocks() {
    MIRO_HOST_MEM_STATS stats{};
    MIRO_HostMemStats(static_cast<std::uint8_t>(ORVA_GetMemPtr()), &stats);
    return stats.liveBlocks;
}

class Worker {
public:
    Worker(Ledger &ledger, std::uint32_t worker, std::uint32_t seed)
        : ledger_(ledger), seat_(ledger.seats[worker]), own_(worker), random_(seed), blocks_(live_blocks()) {}

    // Every second one has a thread that waits in the kernel for messages, as an agent has.
    int run() {
        if (own_ % 2 == 0) {
            send_and_read();
        } else {
            std::thread reader([this] { read_waiting(); });
            send_only();
            reader.join();
        }
        return live_blocks() == blocks_ ? 0 : kLeakStatus;
    }

private:
    bool is(SoakState state) const {
        return ledger_.state.load() == state;
    }

    void send_and_read() {
        while (!is(SoakState::kEnds)) {
            heed_exhaustion();
            const bool sent = is(SoakState::kRuns) && send_one();
            const bool read = has_queue() && read_one(ORVA_QueueAsyRead);
            if (!sent && !read) {
                sched_yield();
            }
        }
        hoard_.free();
    }

    void send_only() {
        while (!is(SoakState::kEnds)) {
            heed_exhaustion();
            if (!is(SoakState::kRuns) || !send_one()) {
                sched_yield();
            }
        }
        hoard_.free();
    }

    void read_waiting() {
        while (!is(SoakState::kEnds)) {
            if (!has_queue() || !read_one(ORVA_QueueSynRead)) {
                sched_yield();
            }
        }
    }

    void heed_exhaustion() {
        const bool wanted = seat_.exhausted.load();
        if (wanted != exhausted_) {
            wanted ? hoard_.use_up() : hoard_.free();
            exhausted_ = wanted;
        }
    }

    // Makes a queue in the place of one that was deleted.
    bool has_queue() {
        const std::uint64_t address = seat_.address.load();
        queue_ = queue_in(address);
        generation_ = generation_in(address);
        if (queue_ == ORVA_QUEUE_NONE && !is(SoakState::kEnds)) {
            if (ORVA_QueueCreate(module_of(own_), &queue_) != ORVA_OK) {
                queue_ = ORVA_QUEUE_NONE;
                return false;
            }
            seat_.address.store(address_of(generation_, queue_));
        }
        return queue_ != ORVA_QUEUE_NONE;
    }

    bool send_one() {
        const std::uint32_t target = static_cast<std::uint32_t>(random_()) % kWorkers;
        const std::uint64_t address = ledger_.seats[target].address.load();
        if (target == own_ || queue_in(address) == ORVA_QUEUE_NONE) {
            return false;
        }
        const std::uint32_t place = Ledger::place(generation_in(address), target, own_);
        PairCount &pair = ledger_.pairs[place];
        Message message{};
        message.sender = own_;
        message.target = target;
        message.generation = generation_in(address);
        message.length = kLeastBytes + static_cast<std::uint32_t>(random_() % message.filling.size());
        message.number = pair.sent.load() + 1;
        for (std::size_t i = 0; i < message.length - kLeastBytes; ++i) {
            message.filling[i] = filling_of(message, i);
        }
        seat_.sending.store(place + 1);
        const bool sent = ORVA_QueueAsyWrite(queue_in(address), &message, message.length) == ORVA_OK;
        if (sent) {
            pair.sent.store(message.number);
        }
        seat_.sending.store(0);
        return sent;
    }

    bool read_one(std::uint32_t (*read)(std::uint32_t, void *, std::uint32_t, std::int32_t)) {
        Message message{};
        seat_.reading.store(true);
        const std::uint32_t length = read(queue_, &message, sizeof message, ORVA_QUEUE_MESSAGE_TYPE);
        if (length != 0) {
            take(message, length);
        }
        seat_.reading.store(false);
        return length != 0;
    }

    void take(const Message &message, std::uint32_t length) {
        if (length < kLeastBytes || message.length != length || message.target != own_ ||
            message.generation != generation_ || message.sender >= kWorkers) {
            return note_wrong(message, length, "is not for this queue");
        }
        for (std::size_t i = 0; i < length - kLeastBytes; ++i) {
            if (message.filling[i] != filling_of(message, i)) {
                return note_wrong(message, length, "has other bytes");
            }
        }
        PairCount &pair = ledger_.pair(generation_, own_, message.sender);
        if (message.number <= pair.last.load()) {
            return note_wrong(message, length, "came before");
        }
        pair.last.store(message.number);
        pair.received.fetch_add(1);
    }

    void note_wrong(const Message &message, std::uint32_t length, const char *what) {
        if (!ledger_.wrong.exchange(true)) {
            std::snprintf(ledger_.wrong_text, sizeof ledger_.wrong_text,
                          "worker %u, queue %u: message %llu of worker %u, %u bytes, %s", own_, generation_,
                          static_cast<unsigned long long>(message.number), message.sender, length, what);
        }
    }

    Ledger &ledger_;
    Seat &seat_;
    const std::uint32_t own_;
    std::mt19937 random_;
    const std::uint64_t blocks_;
    MemoryHoard hoard_;
    bool exhausted_ = false;
    // The reader's.
    std::uint32_t queue_ = ORVA_QUEUE_NONE;
    std::uint32_t generation_ = 0;
};

} // namespace

int run_worker(Ledger &ledger, std::uint32_t worker, const std::filesystem::path &folder, std::uint32_t seed) {
    try {
        start_runtime(folder, "worker" + std::to_string(worker));
        make_key_file(module_of(worker));
        return Worker(ledger, worker, seed).run();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "orva-chassis: worker %u: %s\n", worker, error.what());
        return 1;
    }
}

} // namespace chassis
