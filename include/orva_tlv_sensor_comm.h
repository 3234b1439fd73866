/*
 * TLV sync codec: configuration records as self-describing tag-length-value blocks, for the backup board and for the
 * agents.
 *
 * A block, all integers big-endian, no alignment or padding anywhere:
 *   header  16 bytes: u32 item count, u32 block length (header included), 8 zero bytes
 *   items   back to back: u16 tag, u16 length, `length` value bytes
 * A value is the field's elements in order, each 1, 2 or 4 bytes wide, or one complete nested block per element. The
 * wire carries no type information: sender and receiver agree on each tag.
 *
 * A record type is a constant table of OrvaTlvDes rows, one row per field. One codec walks the table to encode; to
 * decode it walks the block and hands each item to a callback, which reads the value at item + 4 and ignores tags
 * that it does not handle.
 *
 * The codec trusts its caller. Receiving a block from outside takes three steps:
 *
 *     if (!orva_tlv_block_is_whole(buffer, received, g_orvaTempSyncDataDes, ORVA_TEMP_SYNC_ROWS)) {
 *         return;                                               (cut, overlong, or an item too short)
 *     }
 *     ORVA_TLV_SyncTempCfgDataDecode(buffer, &cfg);
 *
 * orva_tlv_block_is_whole, at the end of this header, has at least 16 bytes, bounds by ORVA_TLV_GetRemoteLength and
 * walks every item's length before anything is decoded; after it no decoder reads past the received bytes.
 *
 * Thread safety, for everything here: no state; any number of threads may work at once, each on records and buffers
 * of its own. Nothing is allocated.
 */
#ifndef ORVA_TLV_SENSOR_COMM_H
#define ORVA_TLV_SENSOR_COMM_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

/* ---- Codec ------------------------------------------------------------------------------------- */

#define ORVA_TLV_BLOCK_HEADER 16u /* bytes of a block's header */
#define ORVA_TLV_ITEM_HEADER 4u   /* bytes of an item's tag and length */

#define ORVA_TLV_NO_ITEM 0xFFFFFFFFu /* tag and length of a null item */

/* Type codes of a row; every other value is treated as a structure. */
#define ORVA_TLV_TYPE_U8 1u
#define ORVA_TLV_TYPE_U16 2u
#define ORVA_TLV_TYPE_U32 3u
#define ORVA_TLV_TYPE_STRUCT 4u

/* One field of a host structure. */
typedef struct OrvaTlvDes {
    uint32_t flag;                   /* 1; never read */
    uint32_t tag;                    /* the low 16 bits travel */
    uint32_t offset;                 /* of the field in the host structure, bytes */
    uint32_t type;                   /* ORVA_TLV_TYPE_... */
    uint32_t elemSize;               /* bytes of one element */
    uint32_t totalLen;               /* bytes of the whole field */
    const struct OrvaTlvDes *nested; /* rows of a nested structure, null for base types */
    uint32_t nestedRows;             /* number of those rows */
    uint32_t reserved;               /* 0 */
} OrvaTlvDes;

/* Receives one item of a block under decoding; its result is ignored by ORVA_TLV_Decode. */
typedef uint32_t (*OrvaTlvCallback)(const void *item, void *ctx);

/*
 * Tells whether a type code is one of the three base types.
 *
 * type: any value.
 * Returns 1 for 1 to 3, else 0.
 */
ORVA_API uint32_t ORVA_TLV_IsBaseCtype(int type);

/*
 * The number of bytes that a block of this table occupies; senders size their buffer with it.
 *
 * A row without a nested table counts its total length, a row with one counts (total length / element size) nested
 * blocks; 4 bytes are added per row and 16 for the header. The arithmetic is unsigned 32-bit and wraps.
 * Kept: the nested-table pointer decides here, the type code decides in the writers; a structure row whose nested
 * table is null is therefore counted at its total length but written empty.
 *
 * table: rowCount rows, or null.
 * Returns the block length in bytes; 16 for 0 rows; 0 for a null table.
 */
ORVA_API uint32_t ORVA_TLV_CalcTlvBufSize(const OrvaTlvDes *table, uint32_t rowCount);

/*
 * Writes one block for a host structure.
 *
 * table:      rowCount rows.
 * hostStruct: the structure that the table describes, host byte order.
 * outBuf:     any address, room for ORVA_TLV_CalcTlvBufSize(table, rowCount) bytes; not checked.
 * Returns the block length, ORVA_TLV_CalcTlvBufSize(table, rowCount), which is also the header's length field; 0 when
 * a pointer is null, and nothing is written.
 * Kept: the result is the computed size, not a count of the bytes written (the two differ where a row is written
 * empty).
 */
ORVA_API uint32_t ORVA_TLV_Encode(const OrvaTlvDes *table, uint32_t rowCount, const void *hostStruct, void *outBuf);

/*
 * Writes one item's value: ORVA_TLV_FillBaseTypeValue for types 1 to 3, else ORVA_TLV_FillStructTypeValue.
 *
 * dst: any address, room for the value. src: the field, host byte order. row: its row. None is null.
 * Returns the number of value bytes.
 */
ORVA_API uint32_t ORVA_TLV_FillValue(void *dst, const void *src, const OrvaTlvDes *row);

/*
 * Writes the elements of a base field one after another, multi-byte elements big-endian.
 *
 * dst: any address, room for the value. src: the field, host byte order, any address. row: its row. None is null.
 * Returns the number of bytes written: (total length / element size) elements, at least one, of the width that the
 * type code gives; 0 for any other type and when the element size exceeds the total length.
 */
ORVA_API uint32_t ORVA_TLV_FillBaseTypeValue(void *dst, const void *src, const OrvaTlvDes *row);

/*
 * Writes one nested block for each element of a structure field, to any depth.
 *
 * dst: any address, room for the blocks. src: the field, host byte order. row: its row, not null.
 * Returns the bytes accounted, ORVA_TLV_CalcTlvBufSize of the nested table for each of the (total length / element
 * size, at least one) elements; 0, with nothing written, when dst, src or the nested table is null or the element
 * size exceeds the total length.
 */
ORVA_API uint32_t ORVA_TLV_FillStructTypeValue(void *dst, const void *src, const OrvaTlvDes *row);

/*
 * Walks the items of a received block in order and hands each to the callback.
 *
 * block:    any address. The walk believes the item count and every length: bound the block first (see
 *           orva_tlv_block_is_whole).
 * table:    accepted for symmetry with the encoder, not used; the same for rowCount.
 * callback: called as callback(item, ctx); its result is ignored.
 * Returns 0 (ORVA_OK) when all items were handed over, also for a block of 0 items, whatever the callback; 1
 * (ORVA_FAILED) after an item of length 0, which the callback has still seen (what earlier items stored stays
 * stored), for a null block, and for a null callback when the block has items.
 */
ORVA_API uint32_t ORVA_TLV_Decode(const void *block, const OrvaTlvDes *table, uint32_t rowCount,
                                  OrvaTlvCallback callback, void *ctx);

/*
 * The item behind an item.
 *
 * item: an item at any address, or null.
 * Returns item + 4 + length; null for a null item and for an item of length 0.
 */
ORVA_API const void *ORVA_TLV_Next(const void *item);

/*
 * An item's tag.
 *
 * item: an item at any address, or null.
 * Returns the tag in host order, 0 to 0xFFFF; ORVA_TLV_NO_ITEM for a null item.
 */
ORVA_API uint32_t ORVA_TLV_GetTag(const void *item);

/*
 * The number of value bytes of an item.
 *
 * item: an item at any address, or null.
 * Returns the length in host order, 0 to 0xFFFF; ORVA_TLV_NO_ITEM for a null item.
 */
ORVA_API uint32_t ORVA_TLV_GetLength(const void *item);

/*
 * The length that the sender gave a received block.
 *
 * block: at least 16 bytes at any address, or null.
 * Returns the block length field in host order, header included; 0 for a null block.
 */
ORVA_API uint32_t ORVA_TLV_GetRemoteLength(const void *block);

/* ---- Sensor configuration records -------------------------------------------------------------- */

#define ORVA_TEMP_SYNC_ROWS 24u
#define ORVA_VLT_SYNC_ROWS 22u
#define ORVA_FMEA_SYNC_ROWS 5u
#define ORVA_PWR_SUP_SYNC_ROWS 2u

#define ORVA_TEMP_SYNC_LENGTH 138u /* block lengths, bytes */
#define ORVA_VLT_SYNC_LENGTH 128u
#define ORVA_FMEA_SYNC_LENGTH 41u
#define ORVA_PWR_SUP_SYNC_LENGTH 26u

/* Temperature sensor configuration. Thresholds and readings are the sensor's raw codes. */
typedef struct OrvaTempSensorCfg {
    uint8_t tempNodeType;
    uint8_t queryByChip;
    uint8_t chipIndex;
    uint8_t cpuIndex;
    uint8_t ownerId;
    uint8_t ownerLun;
    uint8_t sensorNum;
    uint8_t sensorInitia;
    uint8_t sensorType;
    uint16_t assertionEventMask;
    uint16_t deassertionEventMask;
    uint8_t sensorUnit3;
    uint8_t uprFatalAlm;
    uint8_t uprMajorAlm;
    uint8_t uprMinorAlm;
    uint8_t lwrFatalAlm;
    uint8_t lwrMajorAlm;
    uint8_t lwrMinorAlm;
    uint8_t positivegoingThre;
    uint8_t negativegoingThre;
    uint8_t busId;
    uint8_t deviceModifier;
    uint8_t i2cChannel;
    uint8_t reserve;
} OrvaTempSensorCfg;

/*
 * Voltage sensor configuration. The FMEA and power-supply records are views of the same structure: the FMEA sensor id
 * is sensorNum, the FMEA slot id and the power supply's slave address are slotId, and the reserve byte of both is
 * voltageId.
 */
typedef struct OrvaVltSensorCfg {
    uint8_t sensorNum;
    uint8_t sensorInitia;
    uint8_t sensorType;
    uint16_t assertionEventMask;
    uint16_t deassertionEventMask;
    uint8_t sensorUnit3;
    uint8_t sensorMLS;
    uint8_t rexpBexp;
    uint8_t nominalReading;
    uint8_t uprFatalAlm;
    uint8_t uprMajorAlm;
    uint8_t uprMinorAlm;
    uint8_t lwrFatalAlm;
    uint8_t lwrMajorAlm;
    uint8_t lwrMinorAlm;
    uint8_t positiveGoingThre;
    uint8_t negativegoingThre;
    uint8_t busId;
    uint8_t slotId;
    uint8_t deviceModifier;
    uint8_t voltageId;
    uint8_t extra1;
    uint8_t extra2;
    uint8_t extra3;
} OrvaVltSensorCfg;

/* The four descriptor tables; constant, shared by all callers. */
extern ORVA_API const OrvaTlvDes g_orvaTempSyncDataDes[ORVA_TEMP_SYNC_ROWS];
extern ORVA_API const OrvaTlvDes g_orvaVltSyncDataDes[ORVA_VLT_SYNC_ROWS];
extern ORVA_API const OrvaTlvDes g_orvaFmeaSyncDataDes[ORVA_FMEA_SYNC_ROWS];
extern ORVA_API const OrvaTlvDes g_orvaPwrSupSyncDataDes[ORVA_PWR_SUP_SYNC_ROWS];

/* The block length of the temperature record: ORVA_TEMP_SYNC_LENGTH bytes. */
ORVA_API uint32_t ORVA_TLV_TempSensor_CalcTlvBufSize(void);

/* The block length of the voltage record: ORVA_VLT_SYNC_LENGTH bytes. */
ORVA_API uint32_t ORVA_TLV_VltSensor_CalcTlvBufSize(void);

/* The block length of the FMEA record: ORVA_FMEA_SYNC_LENGTH bytes. */
ORVA_API uint32_t ORVA_TLV_FmeaSensor_CalcTlvBufSize(void);

/* The block length of the power-supply record: ORVA_PWR_SUP_SYNC_LENGTH bytes. */
ORVA_API uint32_t ORVA_TLV_PowerSupply_CalcTlvBufSize(void);

/*
 * Writes a temperature configuration as a block.
 *
 * cfg: host byte order. out: any address, room for ORVA_TEMP_SYNC_LENGTH bytes; not checked.
 * Returns the block length; 0 when a pointer is null, and nothing is written.
 */
ORVA_API uint32_t ORVA_TLV_SyncTempCfgDataEncode(const OrvaTempSensorCfg *cfg, void *out);

/*
 * Writes a voltage configuration as a block.
 *
 * cfg: host byte order. out: any address, room for ORVA_VLT_SYNC_LENGTH bytes; not checked.
 * Returns the block length; 0 when a pointer is null, and nothing is written.
 */
ORVA_API uint32_t ORVA_TLV_SyncVltCfgDataEncode(const OrvaVltSensorCfg *cfg, void *out);

/*
 * Writes the FMEA view of a configuration as a block.
 *
 * cfg: host byte order. out: any address, room for ORVA_FMEA_SYNC_LENGTH bytes; not checked.
 * Returns the block length; 0 when a pointer is null, and nothing is written.
 */
ORVA_API uint32_t ORVA_TLV_SyncFmeaDataEncode(const OrvaVltSensorCfg *cfg, void *out);

/*
 * Writes the power-supply view of a configuration as a block.
 *
 * cfg: host byte order. out: any address, room for ORVA_PWR_SUP_SYNC_LENGTH bytes; not checked.
 * Returns the block length; 0 when a pointer is null, and nothing is written.
 */
ORVA_API uint32_t ORVA_TLV_SyncPowerSupplyEncode(const OrvaVltSensorCfg *cfg, void *out);

/*
 * Stores the items of a temperature block into a configuration.
 *
 * block: any address, bounded by the caller (see orva_tlv_block_is_whole). cfg: members whose tags are absent stay.
 * Returns 0 (ORVA_OK); 1 (ORVA_FAILED) when a pointer is null or an item has length 0.
 */
ORVA_API uint32_t ORVA_TLV_SyncTempCfgDataDecode(const void *block, OrvaTempSensorCfg *cfg);

/*
 * Stores the items of a voltage block into a configuration.
 *
 * Kept: tags 18 to 20 (extra1 to extra3) travel but are not stored; the receiver's three members stay as they were.
 *
 * block: any address, bounded by the caller (see orva_tlv_block_is_whole). cfg: members whose tags are absent stay.
 * Returns 0 (ORVA_OK); 1 (ORVA_FAILED) when a pointer is null or an item has length 0.
 */
ORVA_API uint32_t ORVA_TLV_SyncVltCfgDataDecode(const void *block, OrvaVltSensorCfg *cfg);

/*
 * Stores the items of an FMEA block into the members of its view.
 *
 * block: any address, bounded by the caller (see orva_tlv_block_is_whole). cfg: all other members stay.
 * Returns 0 (ORVA_OK); 1 (ORVA_FAILED) when a pointer is null or an item has length 0.
 */
ORVA_API uint32_t ORVA_TLV_SyncFmeaDataDecode(const void *block, OrvaVltSensorCfg *cfg);

/*
 * Stores the items of a power-supply block into the members of its view.
 *
 * block: any address, bounded by the caller (see orva_tlv_block_is_whole). cfg: all other members stay.
 * Returns 0 (ORVA_OK); 1 (ORVA_FAILED) when a pointer is null or an item has length 0.
 */
ORVA_API uint32_t ORVA_TLV_SyncPowerSupplyDecode(const void *block, OrvaVltSensorCfg *cfg);

/*
 * The per-item callbacks of the four records: hand an item to the store function of its tag.
 *
 * item: an item, its length not looked at. cfg: OrvaTempSensorCfg for the temperature record, OrvaVltSensorCfg for
 * the others, not null.
 * Returns 0 for a tag that has a store function; the tag, with nothing stored, for any other.
 */
ORVA_API uint32_t ORVA_TempCfg_SyncDataDecode(const void *item, void *cfg);
ORVA_API uint32_t ORVA_VltCfg_SyncDataDecode(const void *item, void *cfg);
ORVA_API uint32_t ORVA_TLV_SyncFmeaSensorDataDecode(const void *item, void *cfg);
ORVA_API uint32_t ORVA_TLV_SyncPowerSupplyDataDecode(const void *item, void *cfg);

/*
 * Store functions of the temperature record, one per tag: the member named by the function takes the item's value.
 *
 * cfg:  the receiver's configuration; not checked.
 * item: an item; neither its tag nor its length is looked at. An 8-bit member takes the first value byte, a 16-bit
 *       member the first two, big-endian. A failed 16-bit copy is logged and leaves the member as it was.
 */
ORVA_API void ORVA_TEMP_ProcTempNodeType(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcQueryByChip(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcSensorNum(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcSensorType(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcChipIndex(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcSensorInitia(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcAssertionEventMask(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcDeAssertionEventMask(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcUprMinorAlm(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcUprMajorAlm(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcUprFatalAlm(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcBusId(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcNegativegoingthre(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcPositivegoingthre(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcLwrMinorAlm(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcLwrMajorAlm(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcLwrFatalAlm(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcCpuIndex(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcOwnerId(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcOwnerLun(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcI2cChannel(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcReserve(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcDeviceModifier(OrvaTempSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TEMP_ProcSensorUnit3(OrvaTempSensorCfg *cfg, const void *item);

/*
 * Store functions of the voltage record, one per stored tag: the member named by the function takes the item's value.
 *
 * cfg:  the receiver's configuration; not checked.
 * item: an item; neither its tag nor its length is looked at. An 8-bit member takes the first value byte, a 16-bit
 *       member the first two, big-endian. A failed 16-bit copy is logged and leaves the member as it was.
 */
ORVA_API void ORVA_VLT_ProcSensorNum(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcSensorMLS(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcRexpBexp(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcVoltageId(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcAssertionEventMask(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcDeAssertionEventMask(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcSensorInitia(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcNominalReading(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcUprMinorAlm(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcUprMajorAlm(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcUprFatalAlm(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcSensorType(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcNegativegoingthre(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcPositiveGoingThre(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcLwrMinorAlm(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcLwrMajorAlm(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcLwrFatalAlm(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcDeviceModifier(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_VLT_ProcSensorUnit3(OrvaVltSensorCfg *cfg, const void *item);

/*
 * Store functions of the FMEA record: sensorNum, sensorType, busId, voltageId and slotId take the first value byte.
 *
 * cfg: the receiver's configuration; not checked. item: an item; neither its tag nor its length is looked at.
 */
ORVA_API void ORVA_TLV_DecodeFmeaSensorId(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TLV_DecodeFmeaSensorType(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TLV_DecodeFmeaBusId(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TLV_DecodeFmeaReserve(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TLV_DecodeFmeaSlotId(OrvaVltSensorCfg *cfg, const void *item);

/*
 * Store functions of the power-supply record: slotId (the slave address) and voltageId take the first value byte.
 *
 * cfg: the receiver's configuration; not checked. item: an item; neither its tag nor its length is looked at.
 */
ORVA_API void ORVA_TLV_DecodePowerSupplySlaveAddr(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TLV_DecodePowerSupplyReserve(OrvaVltSensorCfg *cfg, const void *item);

/* ---- Sensor-number item ------------------------------------------------------------------------ */

#define ORVA_TLV_SENSOR_NUM_LENGTH 5u /* bytes: 00 08 00 01 and the number */

/*
 * Writes the stand-alone sensor-number item.
 *
 * buf: any address, bufLen bytes.
 * Returns 5 (ORVA_TLV_SENSOR_NUM_LENGTH); 0, with nothing written, when bufLen is below 5 (a diagnostic record of
 * level 1 says so) or buf is null.
 */
ORVA_API uint32_t ORVA_TLV_SensorNumEncode(void *buf, uint32_t bufLen, uint8_t sensorNum);

/*
 * Reads the stand-alone sensor-number item.
 *
 * item:      *remaining bytes at any address.
 * remaining: in: bytes left in the buffer; out: 5 fewer.
 * sensorNum: out: the number. consumed: out: 5.
 * Returns 0 (ORVA_OK); 1 (ORVA_FAILED), with nothing changed, when fewer than 5 bytes remain, when the item does not
 * begin with 00 08 00 01, or when a pointer is null.
 */
ORVA_API uint32_t ORVA_TLV_SensorNumDecode(const void *item, uint32_t *remaining, uint8_t *sensorNum,
                                           uint32_t *consumed);

/* ---- Board, power and model-control records ---------------------------------------------------- */

#define ORVA_DELAY_POWER_ON_ROWS 2u
#define ORVA_BOARD_INFO_SYNC_ROWS 3u
#define ORVA_PWRS_SYNC_ROWS 3u
#define ORVA_MODEL_CTL_ROWS 18u

#define ORVA_DELAY_POWER_ON_LENGTH 29u /* block lengths, bytes */
#define ORVA_BOARD_INFO_SYNC_LENGTH 59u
#define ORVA_PWRS_SYNC_LENGTH 31u
#define ORVA_MODEL_CTL_LENGTH 182u

#define ORVA_MNG_SLOTS 29u   /* capacity of the management slot lists */
#define ORVA_STACK_SLOTS 15u /* capacity of the stack slot list */

/* Delayed power-on setting. */
typedef struct OrvaDelayPowerOn {
    uint8_t delayFlag;
    uint32_t delayTime;
} OrvaDelayPowerOn;

/* Board information that the management process copies to its backup board. */
typedef struct OrvaBoardInfoSync {
    uint8_t info1;
    uint8_t info2;
    OrvaDelayPowerOn delayPowerOn;
} OrvaBoardInfoSync;

/* Power data of the power modules. */
typedef struct OrvaPwrsPwrSync {
    uint8_t pwr1;
    uint8_t pwr2;
    uint8_t pwr3;
} OrvaPwrsPwrSync;

/* Agent model control with its slot lists. The control members are opaque numbers here. */
typedef struct OrvaAgentModelCtl {
    uint32_t ctlWord1;
    uint32_t ctlWord2;
    uint8_t ctlByte3;
    uint8_t mngSlotNum; /* entries that count in mngSlot and mngSlotType */
    uint8_t mngSlot[ORVA_MNG_SLOTS];
    uint8_t mngSlotType[ORVA_MNG_SLOTS];
    uint8_t ctlByte7;
    uint8_t ctlByte8;
    uint8_t ctlByte9;
    uint8_t ctlByte10;
    uint8_t ctlByte11;
    uint8_t ctlByte12;
    uint8_t ctlByte13;
    uint8_t ctlByte14;
    uint8_t ctlByte15;
    uint8_t ctlByte16;
    uint8_t stackSlotNum; /* entries that count in stackSlot */
    uint8_t stackSlot[ORVA_STACK_SLOTS];
} OrvaAgentModelCtl;

/*
 * The four descriptor tables; constant, shared by all callers.
 * Kept: the tags of the delayed power-on record are 4 and 5; they do not start at 1.
 */
extern ORVA_API const OrvaTlvDes g_orvaDelayPowerOnDes[ORVA_DELAY_POWER_ON_ROWS];
extern ORVA_API const OrvaTlvDes g_orvaBoardInfoSyncToBakDataDes[ORVA_BOARD_INFO_SYNC_ROWS];
extern ORVA_API const OrvaTlvDes g_orvaPwrsSyncToBakDataDes[ORVA_PWRS_SYNC_ROWS];
extern ORVA_API const OrvaTlvDes g_orvaAgentModelCtlTlvDes[ORVA_MODEL_CTL_ROWS];

/* The block length of the board information record: ORVA_BOARD_INFO_SYNC_LENGTH bytes. */
ORVA_API uint32_t ORVA_TLV_CalBoardInfoTlvLen(void);

/* The block length of the power-module power record: ORVA_PWRS_SYNC_LENGTH bytes. */
ORVA_API uint32_t ORVA_TLV_CalPwrsPwrDataTlvLen(void);

/* The block length of the model-control record: ORVA_MODEL_CTL_LENGTH bytes. */
ORVA_API uint32_t ORVA_OrvaAgt_GetModelCtlTlvBufSize(void);

/*
 * Writes board information as a block, the delayed power-on setting as a block inside it.
 *
 * Kept: with a null `out` the result is not 0 but the low 32 bits of `info`. Callers check `out` themselves.
 *
 * info: host byte order. out: any address, room for ORVA_BOARD_INFO_SYNC_LENGTH bytes; not checked.
 * Returns the block length; 0 when info is null; the low 32 bits of info when only out is null.
 */
ORVA_API uint32_t ORVA_TLV_SyncBoardInfoToBakEncode(const OrvaBoardInfoSync *info, void *out);

/*
 * Writes the power data of the power modules as a block.
 *
 * Kept: with a null `out` the result is not 0 but the low 32 bits of `pwr`. Callers check `out` themselves.
 *
 * pwr: the record. out: any address, room for ORVA_PWRS_SYNC_LENGTH bytes; not checked.
 * Returns the block length; 0 when pwr is null; the low 32 bits of pwr when only out is null.
 */
ORVA_API uint32_t ORVA_TLV_SyncPwrsPwrDataToBakEncode(const OrvaPwrsPwrSync *pwr, void *out);

/*
 * Writes a model-control record as a block; the slot lists always travel whole.
 *
 * ctl: host byte order. out: any address, room for ORVA_MODEL_CTL_LENGTH bytes; not checked.
 * Returns the block length; 0 when a pointer is null, and nothing is written.
 */
ORVA_API uint32_t ORVA_OrvaAgt_ModelCtlTlvDataEncode(const OrvaAgentModelCtl *ctl, void *out);

/*
 * Stores the items of a board information block.
 *
 * block: any address, bounded by the caller (see orva_tlv_block_is_whole). info: members whose tags are absent stay,
 * also those of the nested record.
 * Returns 0 (ORVA_OK); 1 (ORVA_FAILED) when a pointer is null or an item of the outer block has length 0.
 */
ORVA_API uint32_t ORVA_TLV_SyncBoardInfoToBakDecode(const void *block, OrvaBoardInfoSync *info);

/*
 * Stores the items of a power-module power block.
 *
 * block: any address, bounded by the caller (see orva_tlv_block_is_whole). pwr: members whose tags are absent stay.
 * Returns 0 (ORVA_OK); 1 (ORVA_FAILED) when a pointer is null or an item has length 0.
 */
ORVA_API uint32_t ORVA_TLV_SyncPwrsPwrDataDecode(const void *block, OrvaPwrsPwrSync *pwr);

/*
 * Stores the items of a model-control block.
 *
 * Of a slot list only as many entries are copied as the count member, received before it, says, at most the list's
 * capacity; the rest of the receiver's list stays.
 * Kept: tag 14 (ctlByte14) travels but is not stored; the receiver's member stays as it was.
 *
 * block: any address, bounded by the caller (see orva_tlv_block_is_whole). ctl: members whose tags are absent stay.
 * Returns 0 (ORVA_OK); 1 (ORVA_FAILED) when a pointer is null or an item has length 0.
 */
ORVA_API uint32_t ORVA_OrvaAgt_ModelCtlTlvDataDecode(const void *block, OrvaAgentModelCtl *ctl);

/*
 * Stores one item of a delayed power-on block: tag 4 into delayFlag, tag 5 into delayTime (big-endian word).
 *
 * item: an item, its length not looked at. delayPowerOn: an OrvaDelayPowerOn, not null.
 * Returns the item's tag, stored or not.
 */
ORVA_API uint32_t ORVA_DelayPowerOn_SyncDataDecode(const void *item, void *delayPowerOn);

/*
 * Stores one item of a board information block: tags 1 and 2 into info1 and info2, tag 3 (a nested block) into
 * delayPowerOn, whose members stay where the nested block lacks their tags.
 *
 * item: an item, its length not looked at. info: an OrvaBoardInfoSync, not null.
 * Returns the item's tag, stored or not.
 */
ORVA_API uint32_t ORVA_BoardInfo_SyncDataDecode(const void *item, void *info);

/*
 * Stores one item of a power-module power block: tags 1 to 3 into pwr1 to pwr3.
 *
 * item: an item, its length not looked at. pwr: an OrvaPwrsPwrSync, not null.
 * Returns the item's tag, stored or not.
 */
ORVA_API uint32_t ORVA_TLV_SyncPwrsPwrDataDecodeFunc(const void *item, void *pwr);

/*
 * Stores one item of a model-control block, tags 1 to 18 without 14.
 *
 * item: an item, its length not looked at. ctl: an OrvaAgentModelCtl, not null; the counts mngSlotNum and
 * stackSlotNum that it holds bound the slot lists.
 * Returns the item's tag, stored or not.
 */
ORVA_API uint32_t ORVA_OrvaAgt_ModelCtlDecode(const void *item, void *ctl);

/*
 * Stores one item of the tail of a model-control block only: tags 16 to 18.
 *
 * item: an item, its length not looked at. ctl: an OrvaAgentModelCtl, not null.
 * Returns the item's tag, stored or not.
 */
ORVA_API uint32_t ORVA_OrvaAgt_ModelCtlDecodeAdd(const void *item, void *ctl);

/*
 * Stores of the three slot lists: copies min(mngSlotNum, 29) value bytes into mngSlot or mngSlotType, or
 * min(stackSlotNum, 15) into stackSlot; the rest of the list stays.
 *
 * ctl: the receiver's record with its counts, not null. item: an item, neither its tag nor its length is looked at.
 */
ORVA_API void ORVA_ProcMngSlotTLV(OrvaAgentModelCtl *ctl, const void *item);
ORVA_API void ORVA_ProcMngSlotTypeTLV(OrvaAgentModelCtl *ctl, const void *item);
ORVA_API void ORVA_ProcMngStackSlotTLV(OrvaAgentModelCtl *ctl, const void *item);

/* ---- FRU item ---------------------------------------------------------------------------------- */

#define ORVA_TLV_FRU_LENGTH 5u /* bytes: 00 09 00 01 and the FRU number */

/*
 * Writes the stand-alone FRU item of the E2PROM.
 *
 * buf: any address, room for 5 bytes (ORVA_TLV_FRU_LENGTH), not checked; null writes nothing. fru: the FRU number.
 */
ORVA_API void ORVA_OrvaAgt_AppendFruTlvForE2prom(void *buf, uint8_t fru);

/*
 * Reads the stand-alone FRU item of the E2PROM.
 *
 * item: len bytes at any address, or null.
 * fru:  out, not null: the FRU number; 0 when item is null, len is below 5 or the item does not begin with
 *       00 09 00 01.
 */
ORVA_API void ORVA_OrvaAgt_HandleFruTlvForE2prom(const void *item, uint8_t *fru, uint32_t len);

ORVA_END_DECLS

#define ORVA_LAYOUT_TLV_SENSOR_COMM
#include "orva_layout.h"

#endif
