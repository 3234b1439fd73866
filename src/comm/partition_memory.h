// Partition memory: the one place that knows the memory handle, the zero fill and the source and line arguments.
// Fresh memory is zeroed; a zero memory handle counts as a failed allocation.
#ifndef ORVA_PARTITION_MEMORY_H
#define ORVA_PARTITION_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

#include "miro.h"
#include "orva_comm.h"
#include "safeio.h"

namespace orva {

// Where an area lives: its source path for allocations, and the name that its error records carry.
struct Area {
    const char *path;
    const char *name;
};

inline constexpr char kSourceFolder[] = "src/comm/";

template <std::size_t N>
consteval Area make_area(const char (&path)[N]) {
    return {path, path + sizeof kSourceFolder - 1};
}

// Zeroed memory of `size` bytes, or null. `line` identifies the call site in the platform's leak reports.
inline void *partition_allocate(const Area &area, std::size_t size, std::uint32_t line = __builtin_LINE()) {
    const std::uint32_t handle = ORVA_GetMemHandle();
    if (handle == 0) {
        return nullptr;
    }
    void *block = MIRO_MemAlloc_F(handle, static_cast<std::uint8_t>(ORVA_GetMemPtr()), size, area.path, line);
    if (block != nullptr) {
        memset_s(block, size, 0, size);
    }
    return block;
}

inline std::uint32_t partition_free(const Area &area, void *block, std::uint32_t line = __builtin_LINE()) {
    return MIRO_MemFree_F(ORVA_GetMemHandle(), block, area.path, line);
}

struct PartitionDeleter {
    const Area *area;
    std::uint32_t line; // of the release, set by release_block()
    void operator()(void *block) const {
        MIRO_MemFree_F(ORVA_GetMemHandle(), block, area->path, line);
    }
};

// Owns a block. release() passes the memory to someone else, release_block() frees it; the destructor is the safety
// net, which can only report the line of the allocation.
template <typename T>
using PartitionPtr = std::unique_ptr<T, PartitionDeleter>;

// Frees a block under the line of the call. A null block is left alone.
template <typename T>
void release_block(PartitionPtr<T> &block, std::uint32_t line = __builtin_LINE()) {
    block.get_deleter().line = line;
    block.reset();
}

// A zeroed T, or null. T is a plain record.
template <typename T>
PartitionPtr<T> make_partition(const Area &area, std::uint32_t line = __builtin_LINE()) {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);
    return {static_cast<T *>(partition_allocate(area, sizeof(T), line)), PartitionDeleter{&area, line}};
}

// A zeroed buffer of `size` bytes, or null.
template <typename T = char>
PartitionPtr<T> make_partition_buffer(const Area &area, std::size_t size, std::uint32_t line = __builtin_LINE()) {
    static_assert(sizeof(T) == 1);
    return {static_cast<T *>(partition_allocate(area, size, line)), PartitionDeleter{&area, line}};
}

} // namespace orva

#endif
