/**
 * @file
 * TLV sync codec: configuration records as self-describing tag-length-value blocks, for the backup board and for the
 * agents.
 *
 * A block, all integers big-endian, without alignment or padding:
 *
 * | part   | bytes                                                                              |
 * |--------|------------------------------------------------------------------------------------|
 * | header | 16: 32-bit item count, 32-bit block length (header included), 8 zero bytes         |
 * | items  | one after another: 16-bit tag, 16-bit length, then as many value bytes as it says  |
 *
 * A value is the field's elements in order, each 1, 2 or 4 bytes wide, or one complete nested block per element. The
 * wire carries no type information: sender and receiver agree on each tag.
 *
 * A record type is a constant table of OrvaTlvDes rows, one row per field. One codec walks the table to encode. To
 * decode it walks the block and passes each item to a callback, which reads the value at item + 4 and ignores tags
 * that it does not handle.
 *
 * The codec trusts its caller: it believes every count and length of a block. Check a block from outside first, with
 * the table of its own record:
 *
 * @code
 * if (!orva_tlv_block_is_whole(buffer, received, g_orvaTempSyncDataDes, ORVA_TEMP_SYNC_ROWS)) {
 *     return; // truncated, too long, or an item too short
 * }
 * ORVA_TLV_SyncTempCfgDataDecode(buffer, &cfg);
 * @endcode
 *
 * After this check (orva_additions.h) the decoder of that record reads nothing outside the received bytes.
 *
 * The codec keeps no state and allocates nothing.
 */
#ifndef ORVA_TLV_SENSOR_COMM_H
#define ORVA_TLV_SENSOR_COMM_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

/* ---- Codec */

#define ORVA_TLV_BLOCK_HEADER 16u /**< Bytes of a block's header. */
#define ORVA_TLV_ITEM_HEADER 4u   /**< Bytes of an item's tag and length. */

#define ORVA_TLV_NO_ITEM 0xFFFFFFFFu /**< Tag and length of a null item. */

#define ORVA_TLV_TYPE_U8 1u     /**< Type code of a row: 8-bit elements. */
#define ORVA_TLV_TYPE_U16 2u    /**< 16-bit elements. */
#define ORVA_TLV_TYPE_U32 3u    /**< 32-bit elements. */
#define ORVA_TLV_TYPE_STRUCT 4u /**< Nested structures; every other code is treated like this one. */

/** One field of a host structure. */
typedef struct OrvaTlvDes {
    uint32_t flag;                   /**< 1; never read. */
    uint32_t tag;                    /**< Unique in its table, in table order; the low 16 bits are sent. */
    uint32_t offset;                 /**< Offset of the field in the host structure, bytes. */
    uint32_t type;                   /**< ORVA_TLV_TYPE_... */
    uint32_t elemSize;               /**< Bytes of one element: the width of the type code, or of the structure. */
    uint32_t totalLen;               /**< Bytes of the whole field. */
    const struct OrvaTlvDes *nested; /**< Rows of a nested structure, null for base types. */
    uint32_t nestedRows;             /**< Number of those rows. */
    uint32_t reserved;               /**< 0. */
} OrvaTlvDes;

/**
 * Receives one item of a block under decoding.
 *
 * @param[in]     item The item; its value is at item + 4. It lives as long as the block.
 * @param[in,out] ctx  The last argument of ORVA_TLV_Decode.
 * @return Ignored by ORVA_TLV_Decode.
 */
typedef uint32_t (*OrvaTlvCallback)(const void *item, void *ctx);

/**
 * Tells whether a type code is one of the three base types. Thread-safe.
 *
 * @param[in] type Any value.
 * @retval 1 ORVA_TLV_TYPE_U8, ORVA_TLV_TYPE_U16 or ORVA_TLV_TYPE_U32.
 * @retval 0 Any other value.
 */
ORVA_API uint32_t ORVA_TLV_IsBaseCtype(int type);

/**
 * Number of bytes of a block of a table; senders size their buffer with it. Thread-safe.
 *
 * A row without a nested table counts its total length. A row with one counts (total length / element size) nested
 * blocks, none for an element size of 0. Each row adds 4 bytes, the header 16. The arithmetic is unsigned 32-bit and
 * wraps.
 *
 * The nested-table pointer decides here, the type code decides in the writers. A table in which the two disagree, or
 * whose element sizes are not the widths of its types, is written at another length:
 * - a structure row without a nested table is written empty: fewer bytes than computed;
 * - a row with a nested table and element size 0 is written as one block: more bytes than computed;
 * - a base row whose element size is smaller than its type's width is written at that width: more bytes than
 *   computed.
 *
 * The tables of this header have no such row.
 *
 * @param[in] table    Descriptor table, or null.
 * @param[in] rowCount Number of rows.
 * @return The block length in bytes; 16 for 0 rows; 0 for a null table.
 */
ORVA_API uint32_t ORVA_TLV_CalcTlvBufSize(const OrvaTlvDes *table, uint32_t rowCount);

/**
 * Writes one block for a host structure. Thread-safe for distinct objects.
 *
 * The result is the computed size, not a count of the bytes written: see ORVA_TLV_CalcTlvBufSize for the tables whose
 * two sizes differ. An item's length field holds the low 16 bits of its value's length, so a value of 65536 bytes or
 * more gives a block that no receiver can walk.
 *
 * @param[in]  table      Descriptor table.
 * @param[in]  rowCount   Number of rows.
 * @param[in]  hostStruct The structure that the table describes, host byte order, at any address.
 * @param[out] outBuf     At any address, with room for ORVA_TLV_CalcTlvBufSize(table, rowCount) bytes; the size is
 *                        not checked.
 * @retval 0     A pointer is null; nothing is written.
 * @retval other The block length, ORVA_TLV_CalcTlvBufSize(table, rowCount), which the header's length field holds
 *               too.
 */
ORVA_API uint32_t ORVA_TLV_Encode(const OrvaTlvDes *table, uint32_t rowCount, const void *hostStruct, void *outBuf);

/**
 * Writes one item's value: ORVA_TLV_FillBaseTypeValue for the base types, else ORVA_TLV_FillStructTypeValue.
 * Thread-safe for distinct objects.
 *
 * @param[out] dst At any address, with room for the value; must not be null.
 * @param[in]  src The field, host byte order, at any address; must not be null.
 * @param[in]  row The field's row; must not be null.
 * @return Number of value bytes.
 */
ORVA_API uint32_t ORVA_TLV_FillValue(void *dst, const void *src, const OrvaTlvDes *row);

/**
 * Writes the elements of a base field one after another, in network byte order. Thread-safe for distinct objects.
 *
 * There are (total length / element size) elements, one for an element size of 0. Each is read and written at the
 * width of the type code, whatever the element size.
 *
 * @param[out] dst At any address, with room for the value; must not be null.
 * @param[in]  src The field, host byte order, at any address; must not be null.
 * @param[in]  row The field's row; must not be null.
 * @return Number of bytes written; 0 for any other type and when the element size exceeds the total length.
 */
ORVA_API uint32_t ORVA_TLV_FillBaseTypeValue(void *dst, const void *src, const OrvaTlvDes *row);

/**
 * Writes one nested block for each element of a structure field, to any depth. Thread-safe for distinct objects.
 *
 * There are (total length / element size) elements, one for an element size of 0.
 *
 * @param[out] dst At any address, with room for the blocks, or null.
 * @param[in]  src The field, host byte order, at any address, or null.
 * @param[in]  row The field's row; must not be null.
 * @return The bytes accounted: ORVA_TLV_CalcTlvBufSize of the nested table for each element; 0, with nothing written,
 *         when `dst`, `src` or the nested table is null or the element size exceeds the total length.
 */
ORVA_API uint32_t ORVA_TLV_FillStructTypeValue(void *dst, const void *src, const OrvaTlvDes *row);

/**
 * Walks the items of a received block in order and passes each to the callback. Thread-safe for distinct objects.
 *
 * The walk believes the item count and every length. Check a block from outside first (orva_additions.h).
 *
 * @param[in]     block    At any address, or null.
 * @param[in]     table    Not used.
 * @param[in]     rowCount Not used.
 * @param[in]     callback Called as callback(item, ctx); its result is ignored. May be null for a block without
 *                         items.
 * @param[in,out] ctx      Passed to the callback.
 * @retval ORVA_OK     All items were passed, or the block has none.
 * @retval ORVA_FAILED An item has length 0: the callback has seen it, and what it stored so far stays stored. Also
 *                     for a null block, and for a null callback when there are items.
 */
ORVA_API uint32_t ORVA_TLV_Decode(const void *block, const OrvaTlvDes *table, uint32_t rowCount,
                                  OrvaTlvCallback callback, void *ctx);

/**
 * Finds the item after an item. Thread-safe.
 *
 * @param[in] item An item at any address, or null.
 * @return item + 4 + length, also after the last item; null for a null item and for an item of length 0.
 */
ORVA_API const void *ORVA_TLV_Next(const void *item);

/**
 * Reads an item's tag. Thread-safe.
 *
 * @param[in] item An item at any address, or null.
 * @return The tag, host byte order, 0 to 0xFFFF; ORVA_TLV_NO_ITEM for a null item.
 */
ORVA_API uint32_t ORVA_TLV_GetTag(const void *item);

/**
 * Reads the number of value bytes of an item. Thread-safe.
 *
 * @param[in] item An item at any address, or null.
 * @return The length, host byte order, 0 to 0xFFFF; ORVA_TLV_NO_ITEM for a null item.
 */
ORVA_API uint32_t ORVA_TLV_GetLength(const void *item);

/**
 * Reads the length that the sender gave a received block. Thread-safe.
 *
 * @param[in] block At least 8 bytes at any address, or null.
 * @return The block length field, host byte order, header included; 0 for a null block.
 */
ORVA_API uint32_t ORVA_TLV_GetRemoteLength(const void *block);

/* ---- Sensor configuration records */

#define ORVA_TEMP_SYNC_ROWS 24u   /**< Rows of g_orvaTempSyncDataDes. */
#define ORVA_VLT_SYNC_ROWS 22u    /**< Rows of g_orvaVltSyncDataDes. */
#define ORVA_FMEA_SYNC_ROWS 5u    /**< Rows of g_orvaFmeaSyncDataDes. */
#define ORVA_PWR_SUP_SYNC_ROWS 2u /**< Rows of g_orvaPwrSupSyncDataDes. */

#define ORVA_TEMP_SYNC_LENGTH 138u   /**< Block length of the temperature record, bytes. */
#define ORVA_VLT_SYNC_LENGTH 128u    /**< Block length of the voltage record, bytes. */
#define ORVA_FMEA_SYNC_LENGTH 41u    /**< Block length of the FMEA record, bytes. */
#define ORVA_PWR_SUP_SYNC_LENGTH 26u /**< Block length of the power-supply record, bytes. */

/** Temperature sensor configuration. Thresholds are the sensor's raw codes. */
typedef struct OrvaTempSensorCfg {
    uint8_t tempNodeType;          /**< Kind of the temperature node. */
    uint8_t queryByChip;           /**< Whether the chip is queried. */
    uint8_t chipIndex;             /**< Index of the chip. */
    uint8_t cpuIndex;              /**< Index of the processor. */
    uint8_t ownerId;               /**< Owner id (IPMI). */
    uint8_t ownerLun;              /**< Owner LUN (IPMI). */
    uint8_t sensorNum;             /**< Sensor number. */
    uint8_t sensorInitia;          /**< Initialisation of the sensor. */
    uint8_t sensorType;            /**< Sensor type. */
    uint16_t assertionEventMask;   /**< Events that are reported when asserted. */
    uint16_t deassertionEventMask; /**< Events that are reported when deasserted. */
    uint8_t sensorUnit3;           /**< Third unit byte (IPMI). */
    uint8_t uprFatalAlm;           /**< Upper fatal threshold. */
    uint8_t uprMajorAlm;           /**< Upper major threshold. */
    uint8_t uprMinorAlm;           /**< Upper minor threshold. */
    uint8_t lwrFatalAlm;           /**< Lower fatal threshold. */
    uint8_t lwrMajorAlm;           /**< Lower major threshold. */
    uint8_t lwrMinorAlm;           /**< Lower minor threshold. */
    uint8_t positivegoingThre;     /**< Hysteresis of rising readings. */
    uint8_t negativegoingThre;     /**< Hysteresis of falling readings. */
    uint8_t busId;                 /**< Bus of the sensor. */
    uint8_t deviceModifier;        /**< Device modifier. */
    uint8_t i2cChannel;            /**< I2C channel. */
    uint8_t reserve;               /**< Reserved; sent and stored. */
} OrvaTempSensorCfg;

/**
 * Voltage sensor configuration. The FMEA and power-supply records are views of the same structure: the FMEA sensor id
 * is sensorNum, the FMEA slot id and the power supply's slave address are slotId, and the reserve byte of both is
 * voltageId.
 */
typedef struct OrvaVltSensorCfg {
    uint8_t sensorNum;             /**< Sensor number; FMEA: sensor id. */
    uint8_t sensorInitia;          /**< Initialisation of the sensor. */
    uint8_t sensorType;            /**< Sensor type. */
    uint16_t assertionEventMask;   /**< Events that are reported when asserted. */
    uint16_t deassertionEventMask; /**< Events that are reported when deasserted. */
    uint8_t sensorUnit3;           /**< Third unit byte (IPMI). */
    uint8_t sensorMLS;             /**< Low bits of the multiplier. */
    uint8_t rexpBexp;              /**< Exponents of result and offset. */
    uint8_t nominalReading;        /**< Nominal reading. */
    uint8_t uprFatalAlm;           /**< Upper fatal threshold. */
    uint8_t uprMajorAlm;           /**< Upper major threshold. */
    uint8_t uprMinorAlm;           /**< Upper minor threshold. */
    uint8_t lwrFatalAlm;           /**< Lower fatal threshold. */
    uint8_t lwrMajorAlm;           /**< Lower major threshold. */
    uint8_t lwrMinorAlm;           /**< Lower minor threshold. */
    uint8_t positiveGoingThre;     /**< Hysteresis of rising readings. */
    uint8_t negativegoingThre;     /**< Hysteresis of falling readings. */
    uint8_t busId;                 /**< Bus of the sensor. */
    uint8_t slotId;                /**< Slot; power supply: slave address. */
    uint8_t deviceModifier;        /**< Device modifier. */
    uint8_t voltageId;             /**< Voltage id; FMEA and power supply: reserve byte. */
    uint8_t extra1;                /**< Opaque; sent, never stored. */
    uint8_t extra2;                /**< Opaque; sent, never stored. */
    uint8_t extra3;                /**< Opaque; sent, never stored. */
} OrvaVltSensorCfg;

/** Descriptor table of the temperature record, constant. */
extern ORVA_API const OrvaTlvDes g_orvaTempSyncDataDes[ORVA_TEMP_SYNC_ROWS];
/** Descriptor table of the voltage record, constant. */
extern ORVA_API const OrvaTlvDes g_orvaVltSyncDataDes[ORVA_VLT_SYNC_ROWS];
/** Descriptor table of the FMEA record, constant. */
extern ORVA_API const OrvaTlvDes g_orvaFmeaSyncDataDes[ORVA_FMEA_SYNC_ROWS];
/** Descriptor table of the power-supply record, constant. */
extern ORVA_API const OrvaTlvDes g_orvaPwrSupSyncDataDes[ORVA_PWR_SUP_SYNC_ROWS];

/** Block length of the temperature record. Thread-safe. @return ORVA_TEMP_SYNC_LENGTH. */
ORVA_API uint32_t ORVA_TLV_TempSensor_CalcTlvBufSize(void);

/** Block length of the voltage record. Thread-safe. @return ORVA_VLT_SYNC_LENGTH. */
ORVA_API uint32_t ORVA_TLV_VltSensor_CalcTlvBufSize(void);

/** Block length of the FMEA record. Thread-safe. @return ORVA_FMEA_SYNC_LENGTH. */
ORVA_API uint32_t ORVA_TLV_FmeaSensor_CalcTlvBufSize(void);

/** Block length of the power-supply record. Thread-safe. @return ORVA_PWR_SUP_SYNC_LENGTH. */
ORVA_API uint32_t ORVA_TLV_PowerSupply_CalcTlvBufSize(void);

/**
 * Writes a temperature configuration as a block. Thread-safe for distinct objects.
 *
 * @param[in]  cfg The configuration, host byte order.
 * @param[out] out At any address, with room for ORVA_TEMP_SYNC_LENGTH bytes; the size is not checked.
 * @retval 0     A pointer is null; nothing is written.
 * @retval other The block length, ORVA_TEMP_SYNC_LENGTH.
 */
ORVA_API uint32_t ORVA_TLV_SyncTempCfgDataEncode(const OrvaTempSensorCfg *cfg, void *out);

/**
 * Writes a voltage configuration as a block. Thread-safe for distinct objects.
 *
 * @param[in]  cfg The configuration, host byte order.
 * @param[out] out At any address, with room for ORVA_VLT_SYNC_LENGTH bytes; the size is not checked.
 * @retval 0     A pointer is null; nothing is written.
 * @retval other The block length, ORVA_VLT_SYNC_LENGTH.
 */
ORVA_API uint32_t ORVA_TLV_SyncVltCfgDataEncode(const OrvaVltSensorCfg *cfg, void *out);

/**
 * Writes the FMEA view of a configuration as a block. Thread-safe for distinct objects.
 *
 * @param[in]  cfg The configuration, host byte order.
 * @param[out] out At any address, with room for ORVA_FMEA_SYNC_LENGTH bytes; the size is not checked.
 * @retval 0     A pointer is null; nothing is written.
 * @retval other The block length, ORVA_FMEA_SYNC_LENGTH.
 */
ORVA_API uint32_t ORVA_TLV_SyncFmeaDataEncode(const OrvaVltSensorCfg *cfg, void *out);

/**
 * Writes the power-supply view of a configuration as a block. Thread-safe for distinct objects.
 *
 * @param[in]  cfg The configuration, host byte order.
 * @param[out] out At any address, with room for ORVA_PWR_SUP_SYNC_LENGTH bytes; the size is not checked.
 * @retval 0     A pointer is null; nothing is written.
 * @retval other The block length, ORVA_PWR_SUP_SYNC_LENGTH.
 */
ORVA_API uint32_t ORVA_TLV_SyncPowerSupplyEncode(const OrvaVltSensorCfg *cfg, void *out);

/**
 * Stores the items of a temperature block. Thread-safe for distinct objects.
 *
 * @param[in]     block At any address. Check a block from outside first (orva_additions.h).
 * @param[in,out] cfg   Receives the values, host byte order; members whose tags are absent keep theirs.
 * @retval ORVA_OK     All items were visited.
 * @retval ORVA_FAILED A pointer is null, or an item has length 0; what was stored before stays stored.
 */
ORVA_API uint32_t ORVA_TLV_SyncTempCfgDataDecode(const void *block, OrvaTempSensorCfg *cfg);

/**
 * Stores the items of a voltage block. Thread-safe for distinct objects.
 *
 * Tags 18 to 20 (extra1 to extra3) are not stored.
 *
 * @param[in]     block At any address. Check a block from outside first (orva_additions.h).
 * @param[in,out] cfg   Receives the values, host byte order; members whose tags are absent, and extra1 to extra3,
 *                      keep theirs.
 * @retval ORVA_OK     All items were visited.
 * @retval ORVA_FAILED A pointer is null, or an item has length 0; what was stored before stays stored.
 */
ORVA_API uint32_t ORVA_TLV_SyncVltCfgDataDecode(const void *block, OrvaVltSensorCfg *cfg);

/**
 * Stores the items of an FMEA block into the members of its view. Thread-safe for distinct objects.
 *
 * @param[in]     block At any address. Check a block from outside first (orva_additions.h).
 * @param[in,out] cfg   Receives the values, host byte order; all other members keep theirs.
 * @retval ORVA_OK     All items were visited.
 * @retval ORVA_FAILED A pointer is null, or an item has length 0; what was stored before stays stored.
 */
ORVA_API uint32_t ORVA_TLV_SyncFmeaDataDecode(const void *block, OrvaVltSensorCfg *cfg);

/**
 * Stores the items of a power-supply block into the members of its view. Thread-safe for distinct objects.
 *
 * @param[in]     block At any address. Check a block from outside first (orva_additions.h).
 * @param[in,out] cfg   Receives the values, host byte order; all other members keep theirs.
 * @retval ORVA_OK     All items were visited.
 * @retval ORVA_FAILED A pointer is null, or an item has length 0; what was stored before stays stored.
 */
ORVA_API uint32_t ORVA_TLV_SyncPowerSupplyDecode(const void *block, OrvaVltSensorCfg *cfg);

/** @name Callbacks of the sensor records
 * @{ */
/**
 * Stores one item: the callback of the decoders, one for each of the four records. Thread-safe for distinct objects.
 *
 * @param[in]     item An item; its length is not looked at.
 * @param[in,out] cfg  OrvaTempSensorCfg for the temperature record, OrvaVltSensorCfg for the others; must not be
 *                     null.
 * @retval 0     The item's tag has a store function, which was called.
 * @retval other The item's tag; nothing is stored.
 */
ORVA_API uint32_t ORVA_TempCfg_SyncDataDecode(const void *item, void *cfg);
ORVA_API uint32_t ORVA_VltCfg_SyncDataDecode(const void *item, void *cfg);
ORVA_API uint32_t ORVA_TLV_SyncFmeaSensorDataDecode(const void *item, void *cfg);
ORVA_API uint32_t ORVA_TLV_SyncPowerSupplyDataDecode(const void *item, void *cfg);
/** @} */

/** @name Store functions of the temperature record
 * @{ */
/**
 * Stores the value of one item into the member that the function's name tells. Thread-safe for distinct objects.
 *
 * An 8-bit member takes the first value byte, a 16-bit member the first two, big-endian. A failed 16-bit copy is
 * logged and leaves the member as it was.
 *
 * @param[in,out] cfg  The receiver's configuration; not checked for null.
 * @param[in]     item An item; neither its tag nor its length is looked at.
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
/** @} */

/** @name Store functions of the voltage record
 * @{ */
/**
 * Stores the value of one item into the member that the function's name tells. Thread-safe for distinct objects.
 *
 * An 8-bit member takes the first value byte, a 16-bit member the first two, big-endian. A failed 16-bit copy is
 * logged and leaves the member as it was.
 *
 * @param[in,out] cfg  The receiver's configuration; not checked for null.
 * @param[in]     item An item; neither its tag nor its length is looked at.
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
/** @} */

/** @name Store functions of the FMEA record
 * @{ */
/**
 * Stores the first value byte: sensorNum, sensorType, busId, voltageId (reserve) and slotId. Thread-safe for distinct
 * objects.
 *
 * @param[in,out] cfg  The receiver's configuration; not checked for null.
 * @param[in]     item An item; neither its tag nor its length is looked at.
 */
ORVA_API void ORVA_TLV_DecodeFmeaSensorId(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TLV_DecodeFmeaSensorType(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TLV_DecodeFmeaBusId(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TLV_DecodeFmeaReserve(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TLV_DecodeFmeaSlotId(OrvaVltSensorCfg *cfg, const void *item);
/** @} */

/** @name Store functions of the power-supply record
 * @{ */
/**
 * Stores the first value byte: slotId (the slave address) and voltageId (reserve). Thread-safe for distinct objects.
 *
 * @param[in,out] cfg  The receiver's configuration; not checked for null.
 * @param[in]     item An item; neither its tag nor its length is looked at.
 */
ORVA_API void ORVA_TLV_DecodePowerSupplySlaveAddr(OrvaVltSensorCfg *cfg, const void *item);
ORVA_API void ORVA_TLV_DecodePowerSupplyReserve(OrvaVltSensorCfg *cfg, const void *item);
/** @} */

/* ---- Sensor-number item */

#define ORVA_TLV_SENSOR_NUM_LENGTH 5u /**< Bytes of the item: 00 08 00 01 and the number. */

/**
 * Writes the stand-alone sensor-number item. Thread-safe for distinct objects.
 *
 * @param[out] buf       At any address, or null.
 * @param[in]  bufLen    Bytes at `buf`. Fewer than 5 leave a diagnostic record of level 1.
 * @param[in]  sensorNum Sensor number.
 * @retval ORVA_TLV_SENSOR_NUM_LENGTH The item is written.
 * @retval 0                          `bufLen` is below 5 or `buf` is null; nothing is written.
 */
ORVA_API uint32_t ORVA_TLV_SensorNumEncode(void *buf, uint32_t bufLen, uint8_t sensorNum);

/**
 * Reads the stand-alone sensor-number item. Thread-safe for distinct objects.
 *
 * @param[in]     item      `*remaining` bytes at any address.
 * @param[in,out] remaining In the bytes left in the buffer, out 5 fewer, on success only.
 * @param[out]    sensorNum Receives the number, on success only.
 * @param[out]    consumed  Receives 5, on success only.
 * @retval ORVA_OK     The item is read.
 * @retval ORVA_FAILED Fewer than 5 bytes remain, the item does not begin with 00 08 00 01, or a pointer is null.
 */
ORVA_API uint32_t ORVA_TLV_SensorNumDecode(const void *item, uint32_t *remaining, uint8_t *sensorNum,
                                           uint32_t *consumed);

/* ---- Board, power and model-control records */

#define ORVA_DELAY_POWER_ON_ROWS 2u  /**< Rows of g_orvaDelayPowerOnDes. */
#define ORVA_BOARD_INFO_SYNC_ROWS 3u /**< Rows of g_orvaBoardInfoSyncToBakDataDes. */
#define ORVA_PWRS_SYNC_ROWS 3u       /**< Rows of g_orvaPwrsSyncToBakDataDes. */
#define ORVA_MODEL_CTL_ROWS 18u      /**< Rows of g_orvaAgentModelCtlTlvDes. */

#define ORVA_DELAY_POWER_ON_LENGTH 29u  /**< Block length of the delayed power-on record, bytes. */
#define ORVA_BOARD_INFO_SYNC_LENGTH 59u /**< Block length of the board information record, bytes. */
#define ORVA_PWRS_SYNC_LENGTH 31u       /**< Block length of the power-module power record, bytes. */
#define ORVA_MODEL_CTL_LENGTH 182u      /**< Block length of the model-control record, bytes. */

#define ORVA_MNG_SLOTS 29u   /**< Capacity of the management slot lists. */
#define ORVA_STACK_SLOTS 15u /**< Capacity of the stack slot list. */

/** Delayed power-on setting. */
typedef struct OrvaDelayPowerOn {
    uint8_t delayFlag;  /**< Whether the delay is on. */
    uint32_t delayTime; /**< The delay; its unit is the caller's. */
} OrvaDelayPowerOn;

/** Board information that the management process copies to its backup board. */
typedef struct OrvaBoardInfoSync {
    uint8_t info1;                 /**< Opaque. */
    uint8_t info2;                 /**< Opaque. */
    OrvaDelayPowerOn delayPowerOn; /**< Sent as a nested block. */
} OrvaBoardInfoSync;

/** Power data of the power modules. */
typedef struct OrvaPwrsPwrSync {
    uint8_t pwr1; /**< Opaque. */
    uint8_t pwr2; /**< Opaque. */
    uint8_t pwr3; /**< Opaque. */
} OrvaPwrsPwrSync;

/** Agent model control with its slot lists. The control members are opaque numbers here. */
typedef struct OrvaAgentModelCtl {
    uint32_t ctlWord1;                   /**< Opaque. */
    uint32_t ctlWord2;                   /**< Opaque. */
    uint8_t ctlByte3;                    /**< Opaque. */
    uint8_t mngSlotNum;                  /**< Entries that count in mngSlot and mngSlotType. */
    uint8_t mngSlot[ORVA_MNG_SLOTS];     /**< Slots of the management boards. */
    uint8_t mngSlotType[ORVA_MNG_SLOTS]; /**< Their types. */
    uint8_t ctlByte7;                    /**< Opaque. */
    uint8_t ctlByte8;                    /**< Opaque. */
    uint8_t ctlByte9;                    /**< Opaque. */
    uint8_t ctlByte10;                   /**< Opaque. */
    uint8_t ctlByte11;                   /**< Opaque. */
    uint8_t ctlByte12;                   /**< Opaque. */
    uint8_t ctlByte13;                   /**< Opaque. */
    uint8_t ctlByte14;                   /**< Opaque; sent, never stored. */
    uint8_t ctlByte15;                   /**< Opaque. */
    uint8_t ctlByte16;                   /**< Opaque. */
    uint8_t stackSlotNum;                /**< Entries that count in stackSlot. */
    uint8_t stackSlot[ORVA_STACK_SLOTS]; /**< Slots of a stack. */
} OrvaAgentModelCtl;

/** Descriptor table of the delayed power-on record, constant. Its tags are 4 and 5; they do not start at 1. */
extern ORVA_API const OrvaTlvDes g_orvaDelayPowerOnDes[ORVA_DELAY_POWER_ON_ROWS];
/** Descriptor table of the board information record, constant. */
extern ORVA_API const OrvaTlvDes g_orvaBoardInfoSyncToBakDataDes[ORVA_BOARD_INFO_SYNC_ROWS];
/** Descriptor table of the power-module power record, constant. */
extern ORVA_API const OrvaTlvDes g_orvaPwrsSyncToBakDataDes[ORVA_PWRS_SYNC_ROWS];
/** Descriptor table of the model-control record, constant. */
extern ORVA_API const OrvaTlvDes g_orvaAgentModelCtlTlvDes[ORVA_MODEL_CTL_ROWS];

/** Block length of the board information record. Thread-safe. @return ORVA_BOARD_INFO_SYNC_LENGTH. */
ORVA_API uint32_t ORVA_TLV_CalBoardInfoTlvLen(void);

/** Block length of the power-module power record. Thread-safe. @return ORVA_PWRS_SYNC_LENGTH. */
ORVA_API uint32_t ORVA_TLV_CalPwrsPwrDataTlvLen(void);

/** Block length of the model-control record. Thread-safe. @return ORVA_MODEL_CTL_LENGTH. */
ORVA_API uint32_t ORVA_OrvaAgt_GetModelCtlTlvBufSize(void);

/**
 * Writes board information as a block, the delayed power-on setting as a block inside it. Thread-safe for distinct
 * objects.
 *
 * @param[in]  info The record, host byte order.
 * @param[out] out  At any address, with room for ORVA_BOARD_INFO_SYNC_LENGTH bytes; the size is not checked.
 * @retval 0     `info` is null; nothing is written.
 * @retval other The block length. When only `out` is null: the low 32 bits of `info`, which is not a length. Check
 *               `out` before the call.
 */
ORVA_API uint32_t ORVA_TLV_SyncBoardInfoToBakEncode(const OrvaBoardInfoSync *info, void *out);

/**
 * Writes the power data of the power modules as a block. Thread-safe for distinct objects.
 *
 * @param[in]  pwr The record.
 * @param[out] out At any address, with room for ORVA_PWRS_SYNC_LENGTH bytes; the size is not checked.
 * @retval 0     `pwr` is null; nothing is written.
 * @retval other The block length. When only `out` is null: the low 32 bits of `pwr`, which is not a length. Check
 *               `out` before the call.
 */
ORVA_API uint32_t ORVA_TLV_SyncPwrsPwrDataToBakEncode(const OrvaPwrsPwrSync *pwr, void *out);

/**
 * Writes a model-control record as a block. Thread-safe for distinct objects. The slot lists are sent whole.
 *
 * @param[in]  ctl The record, host byte order.
 * @param[out] out At any address, with room for ORVA_MODEL_CTL_LENGTH bytes; the size is not checked.
 * @retval 0     A pointer is null; nothing is written.
 * @retval other The block length, ORVA_MODEL_CTL_LENGTH.
 */
ORVA_API uint32_t ORVA_OrvaAgt_ModelCtlTlvDataEncode(const OrvaAgentModelCtl *ctl, void *out);

/**
 * Stores the items of a board information block. Thread-safe for distinct objects.
 *
 * @param[in]     block At any address. Check a block from outside first (orva_additions.h).
 * @param[in,out] info  Receives the values, host byte order; members whose tags are absent keep theirs, also those of
 *                      the nested record.
 * @retval ORVA_OK     All items of the outer block were visited.
 * @retval ORVA_FAILED A pointer is null, or an item of the outer block has length 0.
 */
ORVA_API uint32_t ORVA_TLV_SyncBoardInfoToBakDecode(const void *block, OrvaBoardInfoSync *info);

/**
 * Stores the items of a power-module power block. Thread-safe for distinct objects.
 *
 * @param[in]     block At any address. Check a block from outside first (orva_additions.h).
 * @param[in,out] pwr   Receives the values; members whose tags are absent keep theirs.
 * @retval ORVA_OK     All items were visited.
 * @retval ORVA_FAILED A pointer is null, or an item has length 0.
 */
ORVA_API uint32_t ORVA_TLV_SyncPwrsPwrDataDecode(const void *block, OrvaPwrsPwrSync *pwr);

/**
 * Stores the items of a model-control block. Thread-safe for distinct objects.
 *
 * Of a slot list only as many entries are copied as its count member says, at most the list's capacity; the rest of
 * the receiver's list stays. The count is the receiver's, so it must arrive before its list. Tag 14 (ctlByte14) is
 * not stored.
 *
 * @param[in]     block At any address. Check a block from outside first (orva_additions.h).
 * @param[in,out] ctl   Receives the values, host byte order; members whose tags are absent keep theirs.
 * @retval ORVA_OK     All items were visited.
 * @retval ORVA_FAILED A pointer is null, or an item has length 0.
 */
ORVA_API uint32_t ORVA_OrvaAgt_ModelCtlTlvDataDecode(const void *block, OrvaAgentModelCtl *ctl);

/**
 * Stores one item of a delayed power-on block: tag 4 into delayFlag, tag 5 into delayTime (big-endian word).
 * Thread-safe for distinct objects.
 *
 * @param[in]     item         An item; its length is not looked at.
 * @param[in,out] delayPowerOn An OrvaDelayPowerOn; must not be null.
 * @return The item's tag, stored or not.
 */
ORVA_API uint32_t ORVA_DelayPowerOn_SyncDataDecode(const void *item, void *delayPowerOn);

/**
 * Stores one item of a board information block: tags 1 and 2 into info1 and info2, tag 3 (a nested block) into
 * delayPowerOn. Thread-safe for distinct objects.
 *
 * Members of delayPowerOn whose tags the nested block lacks keep their values.
 *
 * @param[in]     item An item; its length is not looked at.
 * @param[in,out] info An OrvaBoardInfoSync; must not be null.
 * @return The item's tag, stored or not.
 */
ORVA_API uint32_t ORVA_BoardInfo_SyncDataDecode(const void *item, void *info);

/**
 * Stores one item of a power-module power block: tags 1 to 3 into pwr1 to pwr3. Thread-safe for distinct objects.
 *
 * @param[in]     item An item; its length is not looked at.
 * @param[in,out] pwr  An OrvaPwrsPwrSync; must not be null.
 * @return The item's tag, stored or not.
 */
ORVA_API uint32_t ORVA_TLV_SyncPwrsPwrDataDecodeFunc(const void *item, void *pwr);

/**
 * Stores one item of a model-control block: tags 1 to 18 without 14. Thread-safe for distinct objects.
 *
 * @param[in]     item An item; its length is not looked at.
 * @param[in,out] ctl  An OrvaAgentModelCtl, whose mngSlotNum and stackSlotNum bound the slot lists; must not be null.
 * @return The item's tag, stored or not.
 */
ORVA_API uint32_t ORVA_OrvaAgt_ModelCtlDecode(const void *item, void *ctl);

/**
 * Stores one item of the tail of a model-control block: tags 16 to 18. Thread-safe for distinct objects.
 *
 * @param[in]     item An item; its length is not looked at.
 * @param[in,out] ctl  An OrvaAgentModelCtl, whose stackSlotNum bounds the slot list; must not be null.
 * @return The item's tag, stored or not.
 */
ORVA_API uint32_t ORVA_OrvaAgt_ModelCtlDecodeAdd(const void *item, void *ctl);

/** @name Store functions of the slot lists
 * @{ */
/**
 * Stores a slot list: min(mngSlotNum, 29) value bytes into mngSlot or mngSlotType, or min(stackSlotNum, 15) into
 * stackSlot. Thread-safe for distinct objects. The rest of the list stays.
 *
 * @param[in,out] ctl  The receiver's record with its counts; must not be null.
 * @param[in]     item An item; neither its tag nor its length is looked at.
 */
ORVA_API void ORVA_ProcMngSlotTLV(OrvaAgentModelCtl *ctl, const void *item);
ORVA_API void ORVA_ProcMngSlotTypeTLV(OrvaAgentModelCtl *ctl, const void *item);
ORVA_API void ORVA_ProcMngStackSlotTLV(OrvaAgentModelCtl *ctl, const void *item);
/** @} */

/* ---- FRU item */

#define ORVA_TLV_FRU_LENGTH 5u /**< Bytes of the item: 00 09 00 01 and the FRU number. */

/**
 * Writes the stand-alone FRU item of the E2PROM. Thread-safe for distinct objects.
 *
 * @param[out] buf At any address, with room for ORVA_TLV_FRU_LENGTH bytes, which is not checked; null writes nothing.
 * @param[in]  fru FRU number.
 */
ORVA_API void ORVA_OrvaAgt_AppendFruTlvForE2prom(void *buf, uint8_t fru);

/**
 * Reads the stand-alone FRU item of the E2PROM. Thread-safe for distinct objects.
 *
 * @param[in]  item `len` bytes at any address, or null.
 * @param[out] fru  Receives the FRU number; 0 when `item` is null, `len` is below 5 or the item does not begin with
 *                  00 09 00 01. Must not be null.
 * @param[in]  len  Bytes at `item`.
 */
ORVA_API void ORVA_OrvaAgt_HandleFruTlvForE2prom(const void *item, uint8_t *fru, uint32_t len);

ORVA_END_DECLS

#define ORVA_LAYOUT_TLV_SENSOR_COMM
#include "orva_layout.h"

#endif
