// The TLV sync codec and the records built on it: descriptor tables, encoders, decoders, per-item callbacks and store
// functions. It knows nothing of transports or of who keeps the records, and it allocates nothing.
#include "orva_tlv_sensor_comm.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "bytes.h"
#include "log_record.h"
#include "orva_diag.h"
#include "safeio.h"
#include "sync_tables.h"

#define ALWAYS_INLINE [[gnu::always_inline]] inline

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_tlv_sensor_comm");

constexpr std::uint32_t kReservedHeaderBytes = 8;

using Bytes = std::uint8_t *;
using ConstBytes = const std::uint8_t *;

// ---- Reading items

ALWAYS_INLINE std::uint32_t item_length(ConstBytes item) {
    return orva::load_be16(item + 2);
}

ALWAYS_INLINE ConstBytes value_of(const void *item) {
    return static_cast<ConstBytes>(item) + ORVA_TLV_ITEM_HEADER;
}

// ---- Writing blocks

std::uint32_t fill_struct(Bytes dst, ConstBytes src, const OrvaTlvDes &row);

ALWAYS_INLINE bool is_base(std::uint32_t type) {
    return type - 1 < 3;
}

// For rows whose element size is at most the total length. The usual single element costs no division.
ALWAYS_INLINE std::uint32_t element_count(const OrvaTlvDes &row) {
    return row.elemSize == row.totalLen || row.elemSize == 0 ? 1 : row.totalLen / row.elemSize;
}

template <typename Element>
ALWAYS_INLINE std::uint32_t fill_elements(Bytes dst, ConstBytes src, std::uint32_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = i * sizeof(Element);
        orva::store_host(dst + at, orva::byte_swap(orva::load_host<Element>(src + at)));
    }
    return count * static_cast<std::uint32_t>(sizeof(Element));
}

template <>
ALWAYS_INLINE std::uint32_t fill_elements<std::uint8_t>(Bytes dst, ConstBytes src, std::uint32_t count) {
    if (count == 1) {
        *dst = *src;
    } else {
        std::memcpy(dst, src, count);
    }
    return count;
}

ALWAYS_INLINE std::uint32_t fill_base(Bytes dst, ConstBytes src, const OrvaTlvDes &row) {
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

ALWAYS_INLINE std::uint32_t fill_value(Bytes dst, ConstBytes src, const OrvaTlvDes &row) {
    return is_base(row.type) ? fill_base(dst, src, row) : fill_struct(dst, src, row);
}

// Header and items of one block.
ALWAYS_INLINE void write_block(Bytes out, ConstBytes src, const OrvaTlvDes *table, std::uint32_t rows,
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

// ---- Records: storing

void store_value(const void *item, std::uint8_t &member) {
    member = *value_of(item);
}

void store_value(const void *item, std::uint16_t &member) {
    std::uint16_t value_be16 = 0;
    const int ret = memcpy_s(&value_be16, sizeof value_be16, value_of(item), sizeof value_be16);
    if (ret != 0) {
        orva::log_mem_copy_error(kArea, ret);
        return;
    }
    member = orva::byte_swap(value_be16);
}

// Stores a single integer through its descriptor row.
ALWAYS_INLINE void store_by_row(const OrvaTlvDes &row, const void *item, void *record) {
    const Bytes member = static_cast<Bytes>(record) + row.offset;
    if (row.type == ORVA_TLV_TYPE_U32) {
        orva::store_host(member, orva::load_be32(value_of(item)));
    } else {
        *member = *value_of(item);
    }
}

template <std::size_t N>
void store_slots(std::uint8_t (&slots)[N], std::uint8_t count, const void *item) {
    std::memcpy(slots, value_of(item), std::min<std::size_t>(count, N));
}

template <typename Record>
using Store = void (*)(Record *, const void *);

// Calls the store function of the item's tag. A tag without one yields the tag.
template <typename Record, std::size_t N>
std::uint32_t dispatch(const Store<Record> (&stores)[N], const void *item, void *cfg) {
    const std::uint32_t tag = ORVA_TLV_GetTag(item);
    if (tag - 1 >= N || stores[tag - 1] == nullptr) {
        return tag;
    }
    stores[tag - 1](static_cast<Record *>(cfg), item);
    return 0;
}

// ---- Records: whole blocks

template <std::size_t N>
std::uint32_t encode(const OrvaTlvDes (&table)[N], const void *record, void *out) {
    return ORVA_TLV_Encode(table, N, record, out);
}

// For the two encoders that hand back the record's address when there is nowhere to write.
template <std::size_t N>
std::uint32_t encode_or_address(const OrvaTlvDes (&table)[N], const void *record, void *out) {
    if (out == nullptr) {
        return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(record));
    }
    return encode(table, record, out);
}

template <std::size_t N>
std::uint32_t decode(const OrvaTlvDes (&table)[N], const void *block, OrvaTlvCallback callback, void *record) {
    if (block == nullptr || record == nullptr) {
        return ORVA_FAILED;
    }
    return ORVA_TLV_Decode(block, table, N, callback, record);
}

// ---- Stand-alone items: a fixed tag and length, and one value byte

constexpr std::uint8_t kSensorNumHead[] = {0x00, 0x08, 0x00, 0x01};
constexpr std::uint8_t kFruHead[] = {0x00, 0x09, 0x00, 0x01};
static_assert(sizeof kSensorNumHead + 1 == ORVA_TLV_SENSOR_NUM_LENGTH && sizeof kFruHead + 1 == ORVA_TLV_FRU_LENGTH);

template <std::size_t N>
void write_single(void *to, const std::uint8_t (&head)[N], std::uint8_t value) {
    std::memcpy(to, head, N);
    static_cast<Bytes>(to)[N] = value;
}

template <std::size_t N>
bool starts_with(const void *item, const std::uint8_t (&head)[N]) {
    return std::memcmp(item, head, N) == 0;
}

} // namespace

// ---- Tables

#define ROW(record, tag, member) orva::base_row<decltype(record::member)>(tag, offsetof(record, member))
#define SENT_ROW(record, tag, member) ROW(record, tag, member),
#define STORED_ROW(record, tag, member, function) ROW(record, tag, member),

constexpr OrvaTlvDes g_orvaTempSyncDataDes[] = {ORVA_TEMP_FIELDS(STORED_ROW)};
constexpr OrvaTlvDes g_orvaVltSyncDataDes[] = {ORVA_VLT_FIELDS(STORED_ROW, SENT_ROW)};
constexpr OrvaTlvDes g_orvaFmeaSyncDataDes[] = {ORVA_FMEA_FIELDS(STORED_ROW)};
constexpr OrvaTlvDes g_orvaPwrSupSyncDataDes[] = {ORVA_PWR_SUP_FIELDS(STORED_ROW)};

// Kept: the tags of this record start at 4.
constexpr OrvaTlvDes g_orvaDelayPowerOnDes[] = {
    ROW(OrvaDelayPowerOn, 4, delayFlag),
    ROW(OrvaDelayPowerOn, 5, delayTime),
};

constexpr OrvaTlvDes g_orvaBoardInfoSyncToBakDataDes[] = {
    ROW(OrvaBoardInfoSync, 1, info1),
    ROW(OrvaBoardInfoSync, 2, info2),
    orva::struct_row<OrvaDelayPowerOn>(3, offsetof(OrvaBoardInfoSync, delayPowerOn), g_orvaDelayPowerOnDes),
};

constexpr OrvaTlvDes g_orvaPwrsSyncToBakDataDes[] = {
    ROW(OrvaPwrsPwrSync, 1, pwr1),
    ROW(OrvaPwrsPwrSync, 2, pwr2),
    ROW(OrvaPwrsPwrSync, 3, pwr3),
};

constexpr OrvaTlvDes g_orvaAgentModelCtlTlvDes[] = {
    ROW(OrvaAgentModelCtl, 1, ctlWord1),      ROW(OrvaAgentModelCtl, 2, ctlWord2),
    ROW(OrvaAgentModelCtl, 3, ctlByte3),      ROW(OrvaAgentModelCtl, 4, mngSlotNum),
    ROW(OrvaAgentModelCtl, 5, mngSlot),       ROW(OrvaAgentModelCtl, 6, mngSlotType),
    ROW(OrvaAgentModelCtl, 7, ctlByte7),      ROW(OrvaAgentModelCtl, 8, ctlByte8),
    ROW(OrvaAgentModelCtl, 9, ctlByte9),      ROW(OrvaAgentModelCtl, 10, ctlByte10),
    ROW(OrvaAgentModelCtl, 11, ctlByte11),    ROW(OrvaAgentModelCtl, 12, ctlByte12),
    ROW(OrvaAgentModelCtl, 13, ctlByte13),    ROW(OrvaAgentModelCtl, 14, ctlByte14),
    ROW(OrvaAgentModelCtl, 15, ctlByte15),    ROW(OrvaAgentModelCtl, 16, ctlByte16),
    ROW(OrvaAgentModelCtl, 17, stackSlotNum), ROW(OrvaAgentModelCtl, 18, stackSlot),
};

#define ASSERT_TABLE(table, record, firstTag, rows, length)                                                          \
    static_assert(std::size(table) == (rows) && orva::table_is_sound<record>(table, firstTag) &&                     \
                  orva::block_size(table, rows) == (length))
ASSERT_TABLE(g_orvaTempSyncDataDes, OrvaTempSensorCfg, 1, 24, 138);
ASSERT_TABLE(g_orvaVltSyncDataDes, OrvaVltSensorCfg, 1, 22, 128);
ASSERT_TABLE(g_orvaFmeaSyncDataDes, OrvaVltSensorCfg, 1, 5, 41);
ASSERT_TABLE(g_orvaPwrSupSyncDataDes, OrvaVltSensorCfg, 1, 2, 26);
ASSERT_TABLE(g_orvaDelayPowerOnDes, OrvaDelayPowerOn, 4, 2, 29);
ASSERT_TABLE(g_orvaBoardInfoSyncToBakDataDes, OrvaBoardInfoSync, 1, 3, 59);
ASSERT_TABLE(g_orvaPwrsSyncToBakDataDes, OrvaPwrsPwrSync, 1, 3, 31);
ASSERT_TABLE(g_orvaAgentModelCtlTlvDes, OrvaAgentModelCtl, 1, 18, 182);
static_assert(ORVA_TEMP_SYNC_LENGTH == 138 && ORVA_VLT_SYNC_LENGTH == 128 && ORVA_FMEA_SYNC_LENGTH == 41 &&
              ORVA_PWR_SUP_SYNC_LENGTH == 26 && ORVA_DELAY_POWER_ON_LENGTH == 29 &&
              ORVA_BOARD_INFO_SYNC_LENGTH == 59 && ORVA_PWRS_SYNC_LENGTH == 31 && ORVA_MODEL_CTL_LENGTH == 182);

// ---- Codec

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
    std::uint32_t left = orva::load_be32(block);
    if (left != 0 && callback == nullptr) {
        return ORVA_FAILED;
    }
    ConstBytes item = static_cast<ConstBytes>(block) + ORVA_TLV_BLOCK_HEADER;
    for (; left != 0; --left) {
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

// ---- Sensor configuration records

#define STORE_FUNCTION(record, tag, member, function)                                                                \
    void function(record *cfg, const void *item) {                                                                   \
        store_value(item, cfg->member);                                                                              \
    }
#define NO_FUNCTION(record, tag, member)

ORVA_TEMP_FIELDS(STORE_FUNCTION)
ORVA_VLT_FIELDS(STORE_FUNCTION, NO_FUNCTION)
ORVA_FMEA_FIELDS(STORE_FUNCTION)
ORVA_PWR_SUP_FIELDS(STORE_FUNCTION)

#define STORE_ENTRY(record, tag, member, function) function,
#define NO_ENTRY(record, tag, member) nullptr,

namespace {

constexpr Store<OrvaTempSensorCfg> kTempStores[ORVA_TEMP_SYNC_ROWS] = {ORVA_TEMP_FIELDS(STORE_ENTRY)};
constexpr Store<OrvaVltSensorCfg> kVltStores[ORVA_VLT_SYNC_ROWS] = {ORVA_VLT_FIELDS(STORE_ENTRY, NO_ENTRY)};
constexpr Store<OrvaVltSensorCfg> kFmeaStores[ORVA_FMEA_SYNC_ROWS] = {ORVA_FMEA_FIELDS(STORE_ENTRY)};
constexpr Store<OrvaVltSensorCfg> kPwrSupStores[ORVA_PWR_SUP_SYNC_ROWS] = {ORVA_PWR_SUP_FIELDS(STORE_ENTRY)};

} // namespace

std::uint32_t ORVA_TempCfg_SyncDataDecode(const void *item, void *cfg) {
    return dispatch(kTempStores, item, cfg);
}

std::uint32_t ORVA_VltCfg_SyncDataDecode(const void *item, void *cfg) {
    return dispatch(kVltStores, item, cfg);
}

std::uint32_t ORVA_TLV_SyncFmeaSensorDataDecode(const void *item, void *cfg) {
    return dispatch(kFmeaStores, item, cfg);
}

std::uint32_t ORVA_TLV_SyncPowerSupplyDataDecode(const void *item, void *cfg) {
    return dispatch(kPwrSupStores, item, cfg);
}

std::uint32_t ORVA_TLV_SyncTempCfgDataEncode(const OrvaTempSensorCfg *cfg, void *out) {
    return encode(g_orvaTempSyncDataDes, cfg, out);
}

std::uint32_t ORVA_TLV_SyncVltCfgDataEncode(const OrvaVltSensorCfg *cfg, void *out) {
    return encode(g_orvaVltSyncDataDes, cfg, out);
}

std::uint32_t ORVA_TLV_SyncFmeaDataEncode(const OrvaVltSensorCfg *cfg, void *out) {
    return encode(g_orvaFmeaSyncDataDes, cfg, out);
}

std::uint32_t ORVA_TLV_SyncPowerSupplyEncode(const OrvaVltSensorCfg *cfg, void *out) {
    return encode(g_orvaPwrSupSyncDataDes, cfg, out);
}

std::uint32_t ORVA_TLV_SyncTempCfgDataDecode(const void *block, OrvaTempSensorCfg *cfg) {
    return decode(g_orvaTempSyncDataDes, block, ORVA_TempCfg_SyncDataDecode, cfg);
}

std::uint32_t ORVA_TLV_SyncVltCfgDataDecode(const void *block, OrvaVltSensorCfg *cfg) {
    return decode(g_orvaVltSyncDataDes, block, ORVA_VltCfg_SyncDataDecode, cfg);
}

std::uint32_t ORVA_TLV_SyncFmeaDataDecode(const void *block, OrvaVltSensorCfg *cfg) {
    return decode(g_orvaFmeaSyncDataDes, block, ORVA_TLV_SyncFmeaSensorDataDecode, cfg);
}

std::uint32_t ORVA_TLV_SyncPowerSupplyDecode(const void *block, OrvaVltSensorCfg *cfg) {
    return decode(g_orvaPwrSupSyncDataDes, block, ORVA_TLV_SyncPowerSupplyDataDecode, cfg);
}

std::uint32_t ORVA_TLV_TempSensor_CalcTlvBufSize(void) {
    return ORVA_TLV_CalcTlvBufSize(g_orvaTempSyncDataDes, ORVA_TEMP_SYNC_ROWS);
}

std::uint32_t ORVA_TLV_VltSensor_CalcTlvBufSize(void) {
    return ORVA_TLV_CalcTlvBufSize(g_orvaVltSyncDataDes, ORVA_VLT_SYNC_ROWS);
}

std::uint32_t ORVA_TLV_FmeaSensor_CalcTlvBufSize(void) {
    return ORVA_TLV_CalcTlvBufSize(g_orvaFmeaSyncDataDes, ORVA_FMEA_SYNC_ROWS);
}

std::uint32_t ORVA_TLV_PowerSupply_CalcTlvBufSize(void) {
    return ORVA_TLV_CalcTlvBufSize(g_orvaPwrSupSyncDataDes, ORVA_PWR_SUP_SYNC_ROWS);
}

std::uint32_t ORVA_TLV_SensorNumEncode(void *buf, std::uint32_t bufLen, std::uint8_t sensorNum) {
    if (bufLen < ORVA_TLV_SENSOR_NUM_LENGTH) {
        // Kept: the wording says "is enough" although the buffer is too small.
        ORVA_DIAGLOG(0, orva::kDiagCode, 1, 0, 0,
                     "ORVA_TLV_OverSpecSensorNumEncode buf is enough. buflen = %u sensorNumDataLen = %u", bufLen,
                     ORVA_TLV_SENSOR_NUM_LENGTH);
        return 0;
    }
    if (buf == nullptr) {
        return 0;
    }
    write_single(buf, kSensorNumHead, sensorNum);
    return ORVA_TLV_SENSOR_NUM_LENGTH;
}

std::uint32_t ORVA_TLV_SensorNumDecode(const void *item, std::uint32_t *remaining, std::uint8_t *sensorNum,
                                       std::uint32_t *consumed) {
    if (item == nullptr || remaining == nullptr || sensorNum == nullptr || consumed == nullptr) {
        return ORVA_FAILED;
    }
    if (*remaining < ORVA_TLV_SENSOR_NUM_LENGTH || !starts_with(item, kSensorNumHead)) {
        return ORVA_FAILED;
    }
    *sensorNum = *value_of(item);
    *remaining -= ORVA_TLV_SENSOR_NUM_LENGTH;
    *consumed = ORVA_TLV_SENSOR_NUM_LENGTH;
    return ORVA_OK;
}

// ---- Board, power and model-control records

std::uint32_t ORVA_DelayPowerOn_SyncDataDecode(const void *item, void *delayPowerOn) {
    const std::uint32_t tag = ORVA_TLV_GetTag(item);
    if (tag == 4 || tag == 5) {
        store_by_row(g_orvaDelayPowerOnDes[tag - 4], item, delayPowerOn);
    }
    return tag;
}

std::uint32_t ORVA_BoardInfo_SyncDataDecode(const void *item, void *info) {
    const std::uint32_t tag = ORVA_TLV_GetTag(item);
    if (tag == 1 || tag == 2) {
        store_by_row(g_orvaBoardInfoSyncToBakDataDes[tag - 1], item, info);
    } else if (tag == 3) {
        // Starts as what the receiver has, so a nested block that lacks a tag leaves that member as it was.
        auto *const board = static_cast<OrvaBoardInfoSync *>(info);
        OrvaDelayPowerOn received = board->delayPowerOn;
        ORVA_TLV_Decode(value_of(item), g_orvaDelayPowerOnDes, ORVA_DELAY_POWER_ON_ROWS,
                        ORVA_DelayPowerOn_SyncDataDecode, &received);
        board->delayPowerOn = received;
    }
    return tag;
}

std::uint32_t ORVA_TLV_SyncPwrsPwrDataDecodeFunc(const void *item, void *pwr) {
    const std::uint32_t tag = ORVA_TLV_GetTag(item);
    if (tag - 1 < ORVA_PWRS_SYNC_ROWS) {
        store_by_row(g_orvaPwrsSyncToBakDataDes[tag - 1], item, pwr);
    }
    return tag;
}

void ORVA_ProcMngSlotTLV(OrvaAgentModelCtl *ctl, const void *item) {
    store_slots(ctl->mngSlot, ctl->mngSlotNum, item);
}

void ORVA_ProcMngSlotTypeTLV(OrvaAgentModelCtl *ctl, const void *item) {
    store_slots(ctl->mngSlotType, ctl->mngSlotNum, item);
}

void ORVA_ProcMngStackSlotTLV(OrvaAgentModelCtl *ctl, const void *item) {
    store_slots(ctl->stackSlot, ctl->stackSlotNum, item);
}

std::uint32_t ORVA_OrvaAgt_ModelCtlDecode(const void *item, void *ctl) {
    const std::uint32_t tag = ORVA_TLV_GetTag(item);
    if (tag < 1 || tag > 15) {
        return ORVA_OrvaAgt_ModelCtlDecodeAdd(item, ctl);
    }
    switch (tag) {
    case 5:
        ORVA_ProcMngSlotTLV(static_cast<OrvaAgentModelCtl *>(ctl), item);
        break;
    case 6:
        ORVA_ProcMngSlotTypeTLV(static_cast<OrvaAgentModelCtl *>(ctl), item);
        break;
    case 14: // Kept: sent, never stored.
        break;
    default:
        store_by_row(g_orvaAgentModelCtlTlvDes[tag - 1], item, ctl);
        break;
    }
    return tag;
}

std::uint32_t ORVA_OrvaAgt_ModelCtlDecodeAdd(const void *item, void *ctl) {
    const std::uint32_t tag = ORVA_TLV_GetTag(item);
    if (tag == 16 || tag == 17) {
        store_by_row(g_orvaAgentModelCtlTlvDes[tag - 1], item, ctl);
    } else if (tag == 18) {
        ORVA_ProcMngStackSlotTLV(static_cast<OrvaAgentModelCtl *>(ctl), item);
    }
    return tag;
}

std::uint32_t ORVA_TLV_SyncBoardInfoToBakEncode(const OrvaBoardInfoSync *info, void *out) {
    return encode_or_address(g_orvaBoardInfoSyncToBakDataDes, info, out);
}

std::uint32_t ORVA_TLV_SyncPwrsPwrDataToBakEncode(const OrvaPwrsPwrSync *pwr, void *out) {
    return encode_or_address(g_orvaPwrsSyncToBakDataDes, pwr, out);
}

std::uint32_t ORVA_OrvaAgt_ModelCtlTlvDataEncode(const OrvaAgentModelCtl *ctl, void *out) {
    return encode(g_orvaAgentModelCtlTlvDes, ctl, out);
}

std::uint32_t ORVA_TLV_SyncBoardInfoToBakDecode(const void *block, OrvaBoardInfoSync *info) {
    return decode(g_orvaBoardInfoSyncToBakDataDes, block, ORVA_BoardInfo_SyncDataDecode, info);
}

std::uint32_t ORVA_TLV_SyncPwrsPwrDataDecode(const void *block, OrvaPwrsPwrSync *pwr) {
    return decode(g_orvaPwrsSyncToBakDataDes, block, ORVA_TLV_SyncPwrsPwrDataDecodeFunc, pwr);
}

std::uint32_t ORVA_OrvaAgt_ModelCtlTlvDataDecode(const void *block, OrvaAgentModelCtl *ctl) {
    return decode(g_orvaAgentModelCtlTlvDes, block, ORVA_OrvaAgt_ModelCtlDecode, ctl);
}

std::uint32_t ORVA_TLV_CalBoardInfoTlvLen(void) {
    return ORVA_TLV_CalcTlvBufSize(g_orvaBoardInfoSyncToBakDataDes, ORVA_BOARD_INFO_SYNC_ROWS);
}

std::uint32_t ORVA_TLV_CalPwrsPwrDataTlvLen(void) {
    return ORVA_TLV_CalcTlvBufSize(g_orvaPwrsSyncToBakDataDes, ORVA_PWRS_SYNC_ROWS);
}

std::uint32_t ORVA_OrvaAgt_GetModelCtlTlvBufSize(void) {
    return ORVA_TLV_CalcTlvBufSize(g_orvaAgentModelCtlTlvDes, ORVA_MODEL_CTL_ROWS);
}

// ---- FRU item

void ORVA_OrvaAgt_AppendFruTlvForE2prom(void *buf, std::uint8_t fru) {
    if (buf != nullptr) {
        write_single(buf, kFruHead, fru);
    }
}

void ORVA_OrvaAgt_HandleFruTlvForE2prom(const void *item, std::uint8_t *fru, std::uint32_t len) {
    const bool valid = item != nullptr && len >= ORVA_TLV_FRU_LENGTH && starts_with(item, kFruHead);
    *fru = valid ? *value_of(item) : std::uint8_t{0};
}
