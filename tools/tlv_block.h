// A TLV block taken apart without trusting it: every read is bounded by the bytes at hand.
#ifndef INSPECT_TLV_BLOCK_H
#define INSPECT_TLV_BLOCK_H

#include "parts.h"
#include "wire_record_table.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace inspect {

using orva::wire::Member;
using orva::wire::Record;

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
    std::vector<std::string> notes; // odd, but decodable
    std::vector<Fault> faults;      // truncated or inconsistent
};

// Takes the block at the start of `bytes` apart as far as it goes. `at`: position of `bytes` in the input. `record`
// gives members and nested blocks, or is null.
TlvBlock take_apart_block(std::span<const std::uint8_t> bytes, std::size_t at, const Record *record);

// The record of this key, or null.
const Record *find_record(std::string_view key);

// What people call a member: its name, and in brackets its other name in the record.
std::string name_of(const Member &member);

// The faults of a block and of the blocks inside it, in their order.
std::vector<Fault> faults_of(const TlvBlock &block);

// The block's bytes in order, members with their paths.
std::vector<Part> parts_of(const TlvBlock &block);

// The block as a document, {"record": ..., ...}, which `encode` reads back; null when a rule is broken or the block
// is not what an encoder writes: each member once and of its length.
nlohmann::ordered_json document_of(const TlvBlock &block, const Record &record);

} // namespace inspect

#endif
