// Memory partitions.
#include "port_check.h"

#include <cstdint>
#include <cstring>
#include <map>
#include <vector>

namespace port_check {

namespace {

constexpr std::uint32_t kSize = 1024;

std::uint8_t make_partition() {
    std::uint8_t number = 0;
    needs(PORT_CHECK_IMPORT(MIRO_MemPtCreateEx)("portCheckPt", "portCheck", nullptr, nullptr, kSize, &number) == 0,
          "memory-partition");
    return number;
}

void partition() {
    std::uint8_t number = 0;
    const std::uint32_t code =
        PORT_CHECK_IMPORT(MIRO_MemPtCreateEx)("portCheckPt", "portCheck", nullptr, nullptr, kSize, &number);
    require(code == 0, "MIRO_MemPtCreateEx gives " + std::to_string(code));
    require(number != 0, "the partition's number is 0");
}

void debug_option() {
    require(PORT_CHECK_IMPORT(MIRO_MemDbgOptSet)(make_partition(), 3) == 0, "option 3 is refused");
}

void growth() {
    const std::uint8_t number = make_partition();
    require(PORT_CHECK_IMPORT(MIRO_MemPtAutoFlexSetEx)(number, 1, 0, nullptr, nullptr, nullptr) == 0,
            "growth without a limit is refused");
    const auto allocate = PORT_CHECK_IMPORT(MIRO_MemAlloc_F);
    for (int i = 0; i < 64; ++i) {
        require(allocate(kHandle, number, kSize, kFile, 1) != nullptr,
                "no memory beyond " + std::to_string(i) + " times the size");
    }
}

void deletion() {
    const Partition own;
    own.allocate(100);
    require(PORT_CHECK_IMPORT(MIRO_MemPtDelete)(own.number) == 0, "a partition with a block is not deleted");
}

void alignment() {
    const Partition own;
    for (std::size_t size = 1; size <= 4096; size = size * 3 / 2 + 1) {
        const auto address = reinterpret_cast<std::uintptr_t>(own.allocate(size));
        require(address % alignof(std::max_align_t) == 0,
                std::to_string(size) + " bytes begin at a multiple of " + std::to_string(address & -address));
    }
}

void contents() {
    const Partition own;
    std::map<unsigned char *, std::size_t> blocks;
    for (std::size_t size = 1; size <= 3000; size += 7) {
        auto *block = static_cast<unsigned char *>(own.allocate(size));
        std::memset(block, static_cast<int>(size & 0xFF), size);
        blocks.emplace(block, size);
    }
    for (const auto &[block, size] : blocks) {
        for (std::size_t i = 0; i < size; ++i) {
            require(block[i] == (size & 0xFF), "a block of " + std::to_string(size) + " bytes lost its content");
        }
    }
}

void release() {
    const Partition own;
    const std::uint32_t code = PORT_CHECK_IMPORT(MIRO_MemFree_F)(kHandle, own.allocate(40), kFile, 2);
    require(code == 0, "the free of a live block gives " + std::to_string(code));
}

void foreign_free() {
    const Partition own;
    alignas(16) static char foreign[64];
    const auto release_block = PORT_CHECK_IMPORT(MIRO_MemFree_F);
    require(release_block(kHandle, foreign, kFile, 3) != 0, "the free of a foreign block succeeds");
    void *block = own.allocate(40);
    release_block(kHandle, block, kFile, 4);
    release_block(kHandle, block, kFile, 5);
    own.allocate(40);
}

constexpr Case kCases[] = {
    {"memory-partition", "MIRO_MemPtCreateEx makes a partition and stores its number, which is not 0", partition},
    {"memory-debug-option", "MIRO_MemDbgOptSet takes option 3", debug_option},
    {"memory-growth", "a partition with automatic growth yields memory beyond its size", growth},
    {"memory-delete", "MIRO_MemPtDelete takes a partition with live blocks", deletion},
    {"memory-alignment", "blocks are aligned for any scalar", alignment},
    {"memory-content", "a block is its owner's alone, and keeps what was written", contents},
    {"memory-free", "the free of a live block succeeds", release},
    {"memory-foreign-free", "the free of a foreign or freed block is refused and does no harm", foreign_free},
};

} // namespace

Partition::Partition() : number(make_partition()) {
    needs(PORT_CHECK_IMPORT(MIRO_MemPtAutoFlexSetEx)(number, 1, 0, nullptr, nullptr, nullptr) == 0, "memory-growth");
}

void *Partition::allocate(std::size_t size) const {
    void *block = PORT_CHECK_IMPORT(MIRO_MemAlloc_F)(kHandle, number, size, kFile, 1);
    needs(block != nullptr, "memory-growth");
    return block;
}

std::span<const Case> memory_cases() {
    return kCases;
}

} // namespace port_check
