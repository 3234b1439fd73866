/**
 * @file
 * Additions of this project to the system's interface: checks that make received TLV blocks safe to decode.
 *
 * Nothing here is exported by the library or part of its binary interface. Everything is compiled into its caller.
 */
#ifndef ORVA_ADDITIONS_H
#define ORVA_ADDITIONS_H

#include "orva_tlv_sensor_comm.h"

ORVA_BEGIN_DECLS

/**
 * Finds the row of a tag. Thread-safe.
 *
 * @param[in] table    Descriptor table of `rowCount` rows; may be null when `rowCount` is 0.
 * @param[in] rowCount Number of rows.
 * @param[in] tag      The tag, host byte order.
 * @return The first row with this tag, which stays the table's; null when there is none.
 */
static inline const OrvaTlvDes *orva_tlv_row(const OrvaTlvDes *table, uint32_t rowCount, uint32_t tag) {
    uint32_t i;

    for (i = 0; i < rowCount; i++) {
        if (table[i].tag == tag) {
            return &table[i];
        }
    }
    return NULL;
}

/**
 * Tells whether a received block can be decoded safely. Thread-safe.
 *
 * A block is whole when it lies inside the received bytes, every item lies inside the block, no item is empty, an
 * item whose tag is in the table carries at least as many bytes as the table gives its field, and the nested block of
 * a structure item is whole in the same sense. Items with other tags may carry anything. Nothing outside the received
 * bytes is read. A nested block is checked only as deep as the table nests.
 *
 * @param[in] block    The received bytes, at any address, or null.
 * @param[in] received Number of bytes at `block`.
 * @param[in] table    Descriptor table of the record.
 * @param[in] rowCount Number of rows.
 * @retval 1 The block is whole: a decoder of the same table reads nothing outside it.
 * @retval 0 The block is null, truncated, or one of its lengths is wrong.
 */
static inline int orva_tlv_block_is_whole(const void *block, size_t received, const OrvaTlvDes *table,
                                          uint32_t rowCount) {
    const uint8_t *bytes = (const uint8_t *)block;
    uint32_t length, count, i;
    uint32_t at = ORVA_TLV_BLOCK_HEADER;

    if (block == NULL || received < ORVA_TLV_BLOCK_HEADER) {
        return 0;
    }
    length = ORVA_TLV_GetRemoteLength(block);
    if (length < ORVA_TLV_BLOCK_HEADER || length > received) {
        return 0;
    }
    count = ((uint32_t)bytes[0] << 24) | ((uint32_t)bytes[1] << 16) | ((uint32_t)bytes[2] << 8) | bytes[3];
    for (i = 0; i < count; i++) {
        const OrvaTlvDes *row;
        uint32_t valueLength;

        if (length - at < ORVA_TLV_ITEM_HEADER) {
            return 0;
        }
        valueLength = ORVA_TLV_GetLength(bytes + at);
        if (valueLength == 0 || valueLength > length - at - ORVA_TLV_ITEM_HEADER) {
            return 0;
        }
        row = orva_tlv_row(table, rowCount, ORVA_TLV_GetTag(bytes + at));
        if (row != NULL && row->nested == NULL && valueLength < row->totalLen) {
            return 0;
        }
        if (row != NULL && row->nested != NULL &&
            !orva_tlv_block_is_whole(bytes + at + ORVA_TLV_ITEM_HEADER, valueLength, row->nested, row->nestedRows)) {
            return 0;
        }
        at += ORVA_TLV_ITEM_HEADER + valueLength;
    }
    return 1;
}

ORVA_END_DECLS

#endif
