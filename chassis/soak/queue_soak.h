// The parent of the processes over queues: kills, stops and starts them, deletes their queues, fills their
// partitions, and counts at the end.
#ifndef CHASSIS_SOAK_QUEUE_SOAK_H
#define CHASSIS_SOAK_QUEUE_SOAK_H

#include "manager/loop.h"
#include "soak/ledger.h"
#include "soak/process_watch.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace chassis {

// Every message is in one of these places.
struct MessageCount {
    std::uint64_t sent = 0;
    std::uint64_t received = 0;
    std::uint64_t deleted = 0;  // were in a queue when it was deleted
    std::uint64_t in_hands = 0; // of a process that was killed while it sent or read
};

class QueueSoak {
public:
    QueueSoak(Loop &loop, const std::filesystem::path &folder, std::uint32_t seed);
    ~QueueSoak();
    QueueSoak(const QueueSoak &) = delete;
    QueueSoak &operator=(const QueueSoak &) = delete;

    // Comes back when every worker has its queue, or the patience is at its end.
    void start();
    // To be called when a child has ended.
    void note_ended();
    // Lets the queues run empty, ends every process and removes every queue.
    void finish();

    MessageCount counted();
    std::string disturbances() const;
    // What is not as it should be, a line each.
    const std::vector<std::string> &mistakes() const {
        return mistakes_;
    }

private:
    struct Worker {
        pid_t process = 0;
        bool stopped = false;
        std::uint32_t starts = 0;
        ProcessWatch watch;
    };
    using Queue = std::pair<std::uint32_t, std::uint32_t>; // worker and generation

    void start(std::uint32_t worker);
    void disturb();
    void look();
    void kill_one(std::uint32_t worker);
    void stop_one(std::uint32_t worker);
    void delete_one(std::uint32_t worker);
    void exhaust_one(std::uint32_t worker);
    template <typename Work>
    void while_all_stand(Work work);
    bool stand_still(std::uint32_t worker);
    void remove_queue(std::uint32_t worker);
    void note_hands(std::uint32_t worker);
    bool all_have_queues() const;
    bool all_empty() const;
    void mistake(const std::string &text);

    Loop &loop_;
    const std::filesystem::path folder_;
    const std::uint32_t seed_;
    std::mt19937 random_;
    Ledger *ledger_;
    std::array<Worker, kWorkers> workers_;
    std::map<Queue, std::uint64_t> deleted_;  // messages in it at its end
    std::map<Queue, std::uint64_t> in_hands_; // at most
    std::array<std::uint32_t, 4> disturbances_{};
    std::vector<std::string> mistakes_;
    bool finishing_ = false;
};

} // namespace chassis

#endif
