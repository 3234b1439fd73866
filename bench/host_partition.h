// The host platform and the library's partition, started the way a process starts them.
#ifndef ORVA_BENCH_HOST_PARTITION_H
#define ORVA_BENCH_HOST_PARTITION_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "miro.h"
#include "miro_host.h"
#include "orva_comm.h"

namespace orva_bench {

[[noreturn]] inline void give_up(const char *what) {
    std::fprintf(stderr, "%s failed\n", what);
    std::exit(1);
}

inline void start_partition() {
    std::uint32_t handle = 0;
    if (MIRO_HostStart(nullptr, &handle) != MIRO_HOST_OK) {
        give_up("MIRO_HostStart");
    }
    ORVA_SetMemHandle(handle);
    if (ORVA_CreateMemPt() != ORVA_OK) {
        give_up("ORVA_CreateMemPt");
    }
}

// A block of the library's partition, as it comes: not cleared.
inline void *allocate(std::size_t size, const char *caller, std::uint32_t line = __builtin_LINE()) {
    const auto partition = static_cast<std::uint8_t>(ORVA_GetMemPtr());
    void *const block = MIRO_MemAlloc_F(ORVA_GetMemHandle(), partition, size, caller, line);
    if (block == nullptr) {
        give_up("MIRO_MemAlloc_F");
    }
    return block;
}

inline void release(void *block, const char *caller, std::uint32_t line = __builtin_LINE()) {
    MIRO_MemFree_F(ORVA_GetMemHandle(), block, caller, line);
}

} // namespace orva_bench

#endif
