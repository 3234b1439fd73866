// The TLV codec over any descriptor table: sizes, writing, walking. It knows no record, no transport and no
// receiver's structure, and it allocates nothing.
#include "orva_tlv_sensor_comm.h"

#include <cstring>

#include "bytes.h"
#include "sync_codec.h"
#include "sync_tables.h"

#define ORVA_TLV_INLINE [[gnu::always_inline]] inline

namespace {

using orva::tlv::Bytes;
using orva::tlv::ConstBytes;
using orva::tlv::item_length;
using orva::tlv::value_of;

constexpr std::uint32_t kReservedHeaderBytes = 8;

std::uint32_t fill_struct(Bytes dst, ConstBytes src, const OrvaTlvDes &row);

ORVA_TLV_INLINE bool is_base(std::uint32_t type) {
    return type - 1 < 3;
}

// For rows whose element size is at most the total length. The usual single element costs no division.
ORVA_TLV_INLINE std::uint32_t element_count(const OrvaTlvDes &row) {
    return row.elemSize == row.totalLen || row.elemSize == 0 ? 1 : row.totalLen / row.elemSize;
}

template <typename Element>
ORVA_TLV_INLINE std::uint32_t fill_elements(Bytes dst, ConstBytes src, std::uint32_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = i * sizeof(Element);
        orva::store_host(dst + at, orva::byte_swap(orva::load_host<Element>(src + at)));
    }
    return count * static_cast<std::uint32_t>(sizeof(Element));
}

template <>
ORVA_TLV_INLINE std::uint32_t fill_elements<std::uint8_t>(Bytes dst, ConstBytes src, std::uint32_t count) {
    if (count == 1) {
        *dst = *src;
    } else {
        std::memcpy(dst, src, count);
    }
    return count;
}

ORVA_TLV_INLINE std::uint32_t fill_base(Bytes dst, ConstBytes src, const OrvaTlvDes &row) {
    if (row.elemSize > row.totalLen) {
        return 0;
    }
    const std::uint32_t count = element_count(row);
    switch (row.type) {
    case ORVA_TLV_TYPE_U8:
        return fill_elements<std::uint8_t>(dst, src, count);
    case ORVA_TLV_TYPE_U16:
        return fill_elements<std::uint16_t>(dst, src, count);
    case ORVA_TLV_TYPE_U32:
        return fill_elements<std::uint32_t>(dst, src, count);
    default:
        return 0;
    }
}

ORVA_TLV_INLINE std::uint32_t fill_value(Bytes dst, ConstBytes src, const OrvaTlvDes &row) {
    return is_base(row.type) ? fill_base(dst, src, row) : fill_struct(dst, src, row);
}

// Header and items of one block.
ORVA_TLV_INLINE void write_block(Bytes out, ConstBytes src, const OrvaTlvDes *table, std::uint32_t rows,
                                 std::uint32_t size) {
    orva::store_be32(out, rows);
    orva::store_be32(out + 4, size);
    std::memset(out + 8, 0, kReservedHeaderBytes);
    Bytes cursor = out + ORVA_TLV_BLOCK_HEADER;
    for (const OrvaTlvDes *row = table; row != table + rows; ++row) {
        const std::uint32_t length = fill_value(cursor + ORVA_TLV_ITEM_HEADER, src + row->offset, *row);
        orva::store_be32(cursor, row->tag << 16 | (length & 0xFFFF));
        cursor += ORVA_TLV_ITEM_HEADER;
        cursor += length;
    }
}

std::uint32_t fill_struct(Bytes dst, ConstBytes src, const OrvaTlvDes &row) {
    if (row.elemSize > row.totalLen || dst == nullptr || src == nullptr || row.nested == nullptr) {
        return 0;
    }
    const std::uint32_t size = orva::block_size(row.nested, row.nestedRows);
    const std::uint32_t count = element_count(row);
    for (std::size_t k = 0; k < count; ++k) {
        write_block(dst + k * size, src + k * row.elemSize, row.nested, row.nestedRows, size);
    }
    return count * size;
}

} // namespace

std::uint32_t ORVA_TLV_IsBaseCtype(int type) {
    return is_base(static_cast<std::uint32_t>(type)) ? 1 : 0;
}

std::uint32_t ORVA_TLV_CalcTlvBufSize(const OrvaTlvDes *table, std::uint32_t rowCount) {
    return orva::block_size(table, rowCount);
}

std::uint32_t ORVA_TLV_Encode(const OrvaTlvDes *table, std::uint32_t rowCount, const void *hostStruct, void *outBuf) {
    if (table == nullptr || hostStruct == nullptr || outBuf == nullptr) {
        return 0;
    }
    // Compat: bytes on the wire. The header and the result carry the computed size, not the bytes written.
    const std::uint32_t size = orva::block_size(table, rowCount);
    write_block(static_cast<Bytes>(outBuf), static_cast<ConstBytes>(hostStruct), table, rowCount, size);
    return size;
}

std::uint32_t ORVA_TLV_FillValue(void *dst, const void *src, const OrvaTlvDes *row) {
    return fill_value(static_cast<Bytes>(dst), static_cast<ConstBytes>(src), *row);
}

std::uint32_t ORVA_TLV_FillBaseTypeValue(void *dst, const void *src, const OrvaTlvDes *row) {
    return fill_base(static_cast<Bytes>(dst), static_cast<ConstBytes>(src), *row);
}

std::uint32_t ORVA_TLV_FillStructTypeValue(void *dst, const void *src, const OrvaTlvDes *row) {
    return fill_struct(static_cast<Bytes>(dst), static_cast<ConstBytes>(src), *row);
}

std::uint32_t ORVA_TLV_Decode(const void *block, const OrvaTlvDes *, std::uint32_t, OrvaTlvCallback callback,
                              void *ctx) {
    if (block == nullptr) {
        return ORVA_FAILED;
    }
    const std::uint32_t count = orva::load_be32(block);
    if (count != 0 && callback == nullptr) {
        return ORVA_FAILED;
    }
    ConstBytes item = static_cast<ConstBytes>(block) + ORVA_TLV_BLOCK_HEADER;
    for (std::uint32_t left = count; left != 0; --left) {
        callback(item, ctx);
        const std::uint32_t length = item_length(item);
        if (length == 0) {
            return ORVA_FAILED;
        }
        item += ORVA_TLV_ITEM_HEADER + length;
    }
    return ORVA_OK;
}

const void *ORVA_TLV_Next(const void *item) {
    if (item == nullptr) {
        return nullptr;
    }
    const std::uint32_t length = item_length(static_cast<ConstBytes>(item));
    return length == 0 ? nullptr : value_of(item) + length;
}

std::uint32_t ORVA_TLV_GetTag(const void *item) {
    return item == nullptr ? ORVA_TLV_NO_ITEM : orva::load_be16(item);
}

std::uint32_t ORVA_TLV_GetLength(const void *item) {
    return item == nullptr ? ORVA_TLV_NO_ITEM : item_length(static_cast<ConstBytes>(item));
}

std::uint32_t ORVA_TLV_GetRemoteLength(const void *block) {
    return block == nullptr ? 0 : orva::load_be32(static_cast<ConstBytes>(block) + 4);
}

#undef ORVA_TLV_INLINE
