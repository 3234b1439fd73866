// Rows of the sync records: each field of the sensor records is listed once, with its tag, its member and its store
// function; descriptor rows, dispatch tables and store functions are all made from these lists. The row builders and
// the checks that the tables prove at compile time are here too.
#ifndef ORVA_SYNC_TABLES_H
#define ORVA_SYNC_TABLES_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "orva_tlv_sensor_comm.h"

// STORED(record, tag, member, store function) and SENT(record, tag, member) for fields that the receiver ignores.
#define ORVA_TEMP_FIELDS(STORED)                                                                                     \
    STORED(OrvaTempSensorCfg, 1, tempNodeType, ORVA_TEMP_ProcTempNodeType)                                           \
    STORED(OrvaTempSensorCfg, 2, queryByChip, ORVA_TEMP_ProcQueryByChip)                                             \
    STORED(OrvaTempSensorCfg, 3, sensorNum, ORVA_TEMP_ProcSensorNum)                                                 \
    STORED(OrvaTempSensorCfg, 4, sensorType, ORVA_TEMP_ProcSensorType)                                               \
    STORED(OrvaTempSensorCfg, 5, chipIndex, ORVA_TEMP_ProcChipIndex)                                                 \
    STORED(OrvaTempSensorCfg, 6, sensorInitia, ORVA_TEMP_ProcSensorInitia)                                           \
    STORED(OrvaTempSensorCfg, 7, assertionEventMask, ORVA_TEMP_ProcAssertionEventMask)                               \
    STORED(OrvaTempSensorCfg, 8, deassertionEventMask, ORVA_TEMP_ProcDeAssertionEventMask)                           \
    STORED(OrvaTempSensorCfg, 9, uprMinorAlm, ORVA_TEMP_ProcUprMinorAlm)                                             \
    STORED(OrvaTempSensorCfg, 10, uprMajorAlm, ORVA_TEMP_ProcUprMajorAlm)                                            \
    STORED(OrvaTempSensorCfg, 11, uprFatalAlm, ORVA_TEMP_ProcUprFatalAlm)                                            \
    STORED(OrvaTempSensorCfg, 12, busId, ORVA_TEMP_ProcBusId)                                                        \
    STORED(OrvaTempSensorCfg, 13, negativegoingThre, ORVA_TEMP_ProcNegativegoingthre)                                \
    STORED(OrvaTempSensorCfg, 14, positivegoingThre, ORVA_TEMP_ProcPositivegoingthre)                                \
    STORED(OrvaTempSensorCfg, 15, lwrMinorAlm, ORVA_TEMP_ProcLwrMinorAlm)                                            \
    STORED(OrvaTempSensorCfg, 16, lwrMajorAlm, ORVA_TEMP_ProcLwrMajorAlm)                                            \
    STORED(OrvaTempSensorCfg, 17, lwrFatalAlm, ORVA_TEMP_ProcLwrFatalAlm)                                            \
    STORED(OrvaTempSensorCfg, 18, cpuIndex, ORVA_TEMP_ProcCpuIndex)                                                  \
    STORED(OrvaTempSensorCfg, 19, ownerId, ORVA_TEMP_ProcOwnerId)                                                    \
    STORED(OrvaTempSensorCfg, 20, ownerLun, ORVA_TEMP_ProcOwnerLun)                                                  \
    STORED(OrvaTempSensorCfg, 21, i2cChannel, ORVA_TEMP_ProcI2cChannel)                                              \
    STORED(OrvaTempSensorCfg, 22, reserve, ORVA_TEMP_ProcReserve)                                                    \
    STORED(OrvaTempSensorCfg, 23, deviceModifier, ORVA_TEMP_ProcDeviceModifier)                                      \
    STORED(OrvaTempSensorCfg, 24, sensorUnit3, ORVA_TEMP_ProcSensorUnit3)

#define ORVA_VLT_FIELDS(STORED, SENT)                                                                                \
    STORED(OrvaVltSensorCfg, 1, sensorNum, ORVA_VLT_ProcSensorNum)                                                   \
    STORED(OrvaVltSensorCfg, 2, sensorMLS, ORVA_VLT_ProcSensorMLS)                                                   \
    STORED(OrvaVltSensorCfg, 3, rexpBexp, ORVA_VLT_ProcRexpBexp)                                                     \
    STORED(OrvaVltSensorCfg, 4, voltageId, ORVA_VLT_ProcVoltageId)                                                   \
    STORED(OrvaVltSensorCfg, 5, assertionEventMask, ORVA_VLT_ProcAssertionEventMask)                                 \
    STORED(OrvaVltSensorCfg, 6, deassertionEventMask, ORVA_VLT_ProcDeAssertionEventMask)                             \
    STORED(OrvaVltSensorCfg, 7, sensorInitia, ORVA_VLT_ProcSensorInitia)                                             \
    STORED(OrvaVltSensorCfg, 8, nominalReading, ORVA_VLT_ProcNominalReading)                                         \
    STORED(OrvaVltSensorCfg, 9, uprMinorAlm, ORVA_VLT_ProcUprMinorAlm)                                               \
    STORED(OrvaVltSensorCfg, 10, uprMajorAlm, ORVA_VLT_ProcUprMajorAlm)                                              \
    STORED(OrvaVltSensorCfg, 11, uprFatalAlm, ORVA_VLT_ProcUprFatalAlm)                                              \
    STORED(OrvaVltSensorCfg, 12, sensorType, ORVA_VLT_ProcSensorType)                                                \
    STORED(OrvaVltSensorCfg, 13, negativegoingThre, ORVA_VLT_ProcNegativegoingthre)                                  \
    STORED(OrvaVltSensorCfg, 14, positiveGoingThre, ORVA_VLT_ProcPositiveGoingThre)                                  \
    STORED(OrvaVltSensorCfg, 15, lwrMinorAlm, ORVA_VLT_ProcLwrMinorAlm)                                              \
    STORED(OrvaVltSensorCfg, 16, lwrMajorAlm, ORVA_VLT_ProcLwrMajorAlm)                                              \
    STORED(OrvaVltSensorCfg, 17, lwrFatalAlm, ORVA_VLT_ProcLwrFatalAlm)                                              \
    SENT(OrvaVltSensorCfg, 18, extra1)                                                                               \
    SENT(OrvaVltSensorCfg, 19, extra2)                                                                               \
    SENT(OrvaVltSensorCfg, 20, extra3)                                                                               \
    STORED(OrvaVltSensorCfg, 21, deviceModifier, ORVA_VLT_ProcDeviceModifier)                                        \
    STORED(OrvaVltSensorCfg, 22, sensorUnit3, ORVA_VLT_ProcSensorUnit3)

#define ORVA_FMEA_FIELDS(STORED)                                                                                     \
    STORED(OrvaVltSensorCfg, 1, sensorNum, ORVA_TLV_DecodeFmeaSensorId)                                              \
    STORED(OrvaVltSensorCfg, 2, sensorType, ORVA_TLV_DecodeFmeaSensorType)                                           \
    STORED(OrvaVltSensorCfg, 3, busId, ORVA_TLV_DecodeFmeaBusId)                                                     \
    STORED(OrvaVltSensorCfg, 4, voltageId, ORVA_TLV_DecodeFmeaReserve)                                               \
    STORED(OrvaVltSensorCfg, 5, slotId, ORVA_TLV_DecodeFmeaSlotId)

#define ORVA_PWR_SUP_FIELDS(STORED)                                                                                  \
    STORED(OrvaVltSensorCfg, 1, slotId, ORVA_TLV_DecodePowerSupplySlaveAddr)                                         \
    STORED(OrvaVltSensorCfg, 2, voltageId, ORVA_TLV_DecodePowerSupplyReserve)

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
consteval bool table_is_sound(const OrvaTlvDes (&table)[N], std::uint32_t firstTag) {
    bool taken[sizeof(Record)] = {};
    for (std::uint32_t i = 0; i < N; ++i) {
        const OrvaTlvDes &row = table[i];
        if (row.flag != 1 || row.tag != firstTag + i || row.totalLen % row.elemSize != 0 ||
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

#endif
