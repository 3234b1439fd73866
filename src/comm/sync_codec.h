// Straight-line encoders and decoders of the records whose descriptor tables are constants. Encoding copies the bytes
// that are the same in every block of the record and stores the values into them. Decoding stores the values of a
// block whose items come as our encoder writes them; any other block is walked. Tables of callers take the generic
// codec.
#ifndef ORVA_SYNC_CODEC_H
#define ORVA_SYNC_CODEC_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>

#include "bytes.h"
#include "log_record.h"
#include "orva_tlv_sensor_comm.h"
#include "safeio.h"
#include "sync_tables.h"
#include "wire_records.h"

namespace orva::tlv {

inline constexpr Area kArea = make_area("src/comm/orva_tlv_sensor_comm");

using Bytes = std::uint8_t *;
using ConstBytes = const std::uint8_t *;

[[gnu::always_inline]] inline std::uint32_t item_length(ConstBytes item) {
    return load_be16(item + 2);
}

[[gnu::always_inline]] inline ConstBytes value_of(const void *item) {
    return static_cast<ConstBytes>(item) + ORVA_TLV_ITEM_HEADER;
}

// ---- Storing one value

[[gnu::always_inline]] inline void store_value(const void *item, std::uint8_t &member) {
    member = *value_of(item);
}

[[gnu::always_inline]] inline void store_value(const void *item, std::uint16_t &member) {
    std::uint16_t value_be16 = 0;
    const int ret = memcpy_s(&value_be16, sizeof value_be16, value_of(item), sizeof value_be16);
    if (ret != 0) [[unlikely]] {
        log_mem_copy_error(kArea, ret);
        return;
    }
    member = byte_swap(value_be16);
}

[[gnu::always_inline]] inline void store_value(const void *item, std::uint32_t &member) {
    member = load_be32(value_of(item));
}

// ---- Encoding

// A value's place in the block and in the record.
struct Move {
    std::uint32_t to;
    std::uint32_t from;
    std::uint32_t width; // of an element
    std::uint32_t bytes;
};

constexpr std::uint32_t count_moves(const OrvaTlvDes *table, std::uint32_t rows) {
    std::uint32_t count = 0;
    for (const OrvaTlvDes *row = table; row != table + rows; ++row) {
        count += row->nested == nullptr ? 1 : count_moves(row->nested, row->nestedRows);
    }
    return count;
}

template <std::size_t kSize, std::size_t kMoves>
struct Plan {
    std::array<std::uint8_t, kSize> image{}; // the block with every value 0
    std::array<Move, kMoves> moves{};
    std::uint32_t bytes = 0;
    std::uint32_t used = 0;

    constexpr void put(std::uint32_t value, std::uint32_t width) {
        for (std::uint32_t shift = 8 * width; shift != 0; shift -= 8) {
            image.at(bytes++) = static_cast<std::uint8_t>(value >> (shift - 8));
        }
    }

    constexpr void add_block(const OrvaTlvDes *table, std::uint32_t rows, std::uint32_t from) {
        put(rows, 4);
        put(block_size(table, rows), 4);
        bytes += 8;
        for (const OrvaTlvDes *row = table; row != table + rows; ++row) {
            const std::uint32_t length =
                row->nested == nullptr ? row->totalLen : block_size(row->nested, row->nestedRows);
            put(row->tag, 2);
            put(length, 2);
            if (row->nested != nullptr) {
                add_block(row->nested, row->nestedRows, from + row->offset);
            } else {
                moves.at(used++) = {bytes, from + row->offset, row->elemSize, row->totalLen};
                bytes += length;
            }
        }
    }
};

template <const auto &kTable>
consteval auto plan_of() {
    constexpr std::uint32_t kRows = std::size(kTable);
    Plan<block_size(kTable, kRows), count_moves(kTable, kRows)> plan;
    plan.add_block(kTable, kRows, 0);
    return plan;
}

template <const auto &kTable>
inline constexpr auto kMoves = plan_of<kTable>().moves;

// On its own, so that the library holds these bytes only.
template <const auto &kTable>
inline constexpr auto kImage = plan_of<kTable>().image;

template <const auto &kTable, std::size_t kIndex>
[[gnu::always_inline]] inline void move_value(Bytes block, ConstBytes record) {
    constexpr Move kMove = kMoves<kTable>[kIndex];
    const Bytes to = block + kMove.to;
    const ConstBytes from = record + kMove.from;
    if constexpr (kMove.width == 1) {
        std::memcpy(to, from, kMove.bytes);
    } else if constexpr (kMove.width == 2) {
        static_assert(kMove.bytes == 2);
        store_be16(to, load_host<std::uint16_t>(from));
    } else {
        static_assert(kMove.width == 4 && kMove.bytes == 4);
        store_be32(to, load_host<std::uint32_t>(from));
    }
}

// As ORVA_TLV_Encode over the table.
template <const auto &kTable>
[[gnu::always_inline]] inline std::uint32_t encode(const void *record, void *out) {
    if (record == nullptr || out == nullptr) {
        return 0;
    }
    const auto block = static_cast<Bytes>(out);
    std::memcpy(block, kImage<kTable>.data(), kImage<kTable>.size());
    [&]<std::size_t... kIndex>(std::index_sequence<kIndex...>) {
        (move_value<kTable, kIndex>(block, static_cast<ConstBytes>(record)), ...);
    }
    (std::make_index_sequence<kMoves<kTable>.size()>{});
    return kImage<kTable>.size();
}

// ---- Decoding

// The value of a row that is one integer.
template <const auto &kTable, std::size_t kIndex>
[[gnu::always_inline]] inline void store_row(ConstBytes item, void *record) {
    constexpr const OrvaTlvDes &kRow = kTable[kIndex];
    const Bytes member = static_cast<Bytes>(record) + kRow.offset;
    static_assert(kRow.elemSize == kRow.totalLen);
    if constexpr (kRow.type == ORVA_TLV_TYPE_U8) {
        store_value(item, *member);
    } else if constexpr (kRow.type == ORVA_TLV_TYPE_U16) {
        store_value(item, *reinterpret_cast<std::uint16_t *>(member));
    } else {
        store_value(item, *reinterpret_cast<std::uint32_t *>(member));
    }
}

// Where the item of a row is in a block as our encoder writes it. Its tag and length are the four bytes there.
template <const auto &kTable>
constexpr std::uint32_t item_offset(std::size_t index) {
    return block_size(kTable, static_cast<std::uint32_t>(index));
}

template <const auto &kTable, std::size_t kIndex>
[[gnu::always_inline]] inline bool has_item(ConstBytes block) {
    constexpr std::uint32_t kAt = item_offset<kTable>(kIndex);
    constexpr auto &kBytes = kImage<kTable>;
    constexpr std::uint32_t kHead = static_cast<std::uint32_t>(kBytes[kAt]) << 24 |
                                    static_cast<std::uint32_t>(kBytes[kAt + 1]) << 16 |
                                    static_cast<std::uint32_t>(kBytes[kAt + 2]) << 8 | kBytes[kAt + 3];
    return load_be32(block + kAt) == kHead;
}

template <const auto &kTable, const auto &kMembers, std::size_t kIndex>
[[gnu::always_inline]] inline void take_item(ConstBytes block, OrvaTlvCallback callback, void *record) {
    const ConstBytes item = block + item_offset<kTable>(kIndex);
    if constexpr (kMembers[kIndex].kept == wire::Kept::kStored) {
        store_row<kTable, kIndex>(item, record);
    } else if constexpr (kMembers[kIndex].kept != wire::Kept::kSent) {
        callback(item, record);
    }
}

// As ORVA_TLV_Decode with the record's callback. An item is looked at only after those before it were the expected
// ones, so this reads no byte that the walk would not read.
template <const auto &kTable, const auto &kMembers>
[[gnu::always_inline]] inline std::uint32_t decode(const void *block, OrvaTlvCallback callback, void *record) {
    if (block == nullptr || record == nullptr) {
        return ORVA_FAILED;
    }
    constexpr std::uint32_t kRows = std::size(kTable);
    static_assert(kMembers.size() == kRows);
    const auto bytes = static_cast<ConstBytes>(block);
    return [&]<std::size_t... kIndex>(std::index_sequence<kIndex...>) {
        if (load_be32(bytes) == kRows && (has_item<kTable, kIndex>(bytes) && ...)) [[likely]] {
            (take_item<kTable, kMembers, kIndex>(bytes, callback, record), ...);
            return ORVA_OK;
        }
        return ORVA_TLV_Decode(block, kTable, kRows, callback, record);
    }
    (std::make_index_sequence<kRows>{});
}

} // namespace orva::tlv

#endif
