#include "board/memory_hoard.h"

#include "miro_host.h"
#include "orva_comm.h"

#include <cstdint>

namespace chassis {

namespace {

constexpr std::uint32_t kBlockBytes = 0x10000;
constexpr std::uint32_t kSmallestBlock = 16;
constexpr std::size_t kMaxBlocks = 0x10000;

std::uint8_t partition() {
    return static_cast<std::uint8_t>(ORVA_GetMemPtr());
}

} // namespace

// The partition grows no more; blocks then get smaller until nothing at all is left.
void MemoryHoard::use_up() {
    MIRO_MemPtAutoFlexSetEx(partition(), 0, 0, nullptr, nullptr, nullptr);
    for (std::uint32_t bytes = kBlockBytes; bytes >= kSmallestBlock && blocks_.size() < kMaxBlocks;) {
        void *block = MIRO_MemAlloc_F(ORVA_GetMemHandle(), partition(), bytes, "chassis", __LINE__);
        if (block != nullptr) {
            blocks_.push_back(block);
        } else {
            bytes /= 2;
        }
    }
}

void MemoryHoard::free() {
    for (void *block : blocks_) {
        MIRO_MemFree_F(ORVA_GetMemHandle(), block, "chassis", __LINE__);
    }
    blocks_.clear();
    MIRO_MemPtAutoFlexSetEx(partition(), 1, 0, nullptr, nullptr, nullptr);
}

} // namespace chassis
