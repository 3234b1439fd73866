// One of the processes over queues: sends to all others as fast as it can, and reads its own queue.
#ifndef CHASSIS_SOAK_WORKER_H
#define CHASSIS_SOAK_WORKER_H

#include "soak/ledger.h"

#include <cstdint>
#include <filesystem>

namespace chassis {

// The module number of the worker's queue.
constexpr std::uint32_t module_of(std::uint32_t worker) {
    return 100 + worker;
}

// The body of a forked process: its exit status. It ends when the ledger says so.
int run_worker(Ledger &ledger, std::uint32_t worker, const std::filesystem::path &folder, std::uint32_t seed);

} // namespace chassis

#endif
