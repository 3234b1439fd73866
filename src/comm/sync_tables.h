// Descriptor rows of the sync records: how a row is made from a member, how long a table's block is, and what each
// table proves at compile time. Which members travel is said in wire_records.h.
#ifndef ORVA_SYNC_TABLES_H
#define ORVA_SYNC_TABLES_H

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include "orva_tlv_sensor_comm.h"

namespace orva {

// The row of an integer member, or of an array of them.
template <typename Member>
consteval OrvaTlvDes base_row(std::uint32_t tag, std::size_t offset) {
    using Element = std::remove_extent_t<Member>;
    static_assert(std::is_unsigned_v<Element> && sizeof(Element) <= 4);
    constexpr std::uint32_t type = sizeof(Element) == 1   ? ORVA_TLV_TYPE_U8
                                   : sizeof(Element) == 2 ? ORVA_TLV_TYPE_U16
                                                          : ORVA_TLV_TYPE_U32;
    return {.flag = 1,
            .tag = tag,
            .offset = static_cast<std::uint32_t>(offset),
            .type = type,
            .elemSize = sizeof(Element),
            .totalLen = sizeof(Member),
            .nested = nullptr,
            .nestedRows = 0,
            .reserved = 0};
}

// The row of one nested structure.
template <typename Member, std::size_t N>
consteval OrvaTlvDes struct_row(std::uint32_t tag, std::size_t offset, const OrvaTlvDes (&nested)[N]) {
    return {.flag = 1,
            .tag = tag,
            .offset = static_cast<std::uint32_t>(offset),
            .type = ORVA_TLV_TYPE_STRUCT,
            .elemSize = sizeof(Member),
            .totalLen = sizeof(Member),
            .nested = nested,
            .nestedRows = N,
            .reserved = 0};
}

// The nested-table pointer, not the type code, decides what a row counts.
constexpr std::uint32_t block_size(const OrvaTlvDes *table, std::uint32_t rows) {
    if (table == nullptr) {
        return 0;
    }
    std::uint32_t size = ORVA_TLV_BLOCK_HEADER;
    for (const OrvaTlvDes *row = table; row != table + rows; ++row) {
        size += ORVA_TLV_ITEM_HEADER;
        if (row->nested == nullptr) {
            size += row->totalLen;
        } else if (row->elemSize != 0) {
            size += row->totalLen / row->elemSize * block_size(row->nested, row->nestedRows);
        }
    }
    return size;
}

// Tags run up from `firstTag` without a gap, every field lies inside the record, and no field is counted twice.
template <typename Record, std::size_t N>
constexpr bool table_is_sound(const OrvaTlvDes (&table)[N], std::uint32_t firstTag) {
    bool taken[sizeof(Record)] = {};
    for (std::uint32_t i = 0; i < N; ++i) {
        const OrvaTlvDes &row = table[i];
        if (row.flag != 1 || row.tag != firstTag + i || row.elemSize == 0 || row.totalLen % row.elemSize != 0 ||
            row.offset + row.totalLen > sizeof(Record) || row.offset % row.elemSize % alignof(Record) != 0) {
            return false;
        }
        for (std::uint32_t byte = row.offset; byte < row.offset + row.totalLen; ++byte) {
            if (taken[byte]) {
                return false;
            }
            taken[byte] = true;
        }
    }
    return true;
}

} // namespace orva

// A descriptor row of a list in wire_records.h, and what a table proves about itself.
#define ORVA_SYNC_ROW(record, tag, member, ...)                                                                      \
    ::orva::base_row<decltype(record::member)>(tag, offsetof(record, member)),
#define ORVA_SYNC_STRUCT_ROW(record, tag, member, also, text, nested)                                                \
    ::orva::struct_row<decltype(record::member)>(tag, offsetof(record, member), nested),
#define ORVA_SYNC_ASSERT_TABLE(table, record, firstTag, rows, length)                                                \
    static_assert(std::size(table) == (rows) && ::orva::table_is_sound<record>(table, firstTag) &&                   \
                  ::orva::block_size(table, rows) == (length))

#endif
