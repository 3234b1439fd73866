// A TLV block taken apart without trusting it: every read is bounded by the bytes at hand.
#ifndef INSPECT_TLV_BLOCK_H
#define INSPECT_TLV_BLOCK_H

#include "record_members.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace inspect {

struct TlvBlock;

struct TlvItem {
    std::size_t at; // in the input
    std::uint32_t tag;
    std::uint32_t length;
    std::span<const std::uint8_t> value;
    const OrvaTlvDes *row; // of the record, or null
    const Member *member;  // or null
    std::vector<TlvBlock> blocks;
};

struct TlvBlock {
    std::size_t at; // in the input
    std::uint32_t count;
    std::uint32_t length;
    std::vector<TlvItem> items;
    std::vector<std::string> notes;  // odd, but decodable
    std::vector<std::string> faults; // truncated or inconsistent
};

// Takes the block at the start of `bytes` apart as far as it goes. `at`: position of `bytes` in the input. `record`
// gives members and nested blocks, or is null.
TlvBlock take_apart_block(std::span<const std::uint8_t> bytes, std::size_t at, const Record *record);

// The faults of a block and of the blocks inside it, in their order.
std::vector<std::string> faults_of(const TlvBlock &block);

} // namespace inspect

#endif
