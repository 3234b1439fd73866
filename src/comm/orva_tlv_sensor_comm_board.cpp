// The board, power and model-control records: descriptor tables, encoders, decoders, per-item callbacks, slot lists;
// and the stand-alone FRU item. The tables are made from the lists in wire_records.h.
#include "orva_tlv_sensor_comm.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "single_item.h"
#include "sync_codec.h"
#include "sync_tables.h"
#include "wire_records.h"

namespace tlv = orva::tlv;
namespace wire = orva::wire;

// ---- Tables

constexpr OrvaTlvDes g_orvaDelayPowerOnDes[] = {ORVA_WIRE_DELAY(ORVA_SYNC_ROW)};
constexpr OrvaTlvDes g_orvaBoardInfoSyncToBakDataDes[] = {ORVA_WIRE_BOARD(ORVA_SYNC_ROW, ORVA_SYNC_STRUCT_ROW)};
constexpr OrvaTlvDes g_orvaPwrsSyncToBakDataDes[] = {ORVA_WIRE_PWRS(ORVA_SYNC_ROW)};
constexpr OrvaTlvDes g_orvaAgentModelCtlTlvDes[] = {ORVA_WIRE_MODEL(ORVA_SYNC_ROW, ORVA_SYNC_ROW, ORVA_SYNC_ROW)};

ORVA_SYNC_ASSERT_TABLE(g_orvaDelayPowerOnDes, OrvaDelayPowerOn, 4, ORVA_DELAY_POWER_ON_ROWS,
                       ORVA_DELAY_POWER_ON_LENGTH);
ORVA_SYNC_ASSERT_TABLE(g_orvaBoardInfoSyncToBakDataDes, OrvaBoardInfoSync, 1, ORVA_BOARD_INFO_SYNC_ROWS,
                       ORVA_BOARD_INFO_SYNC_LENGTH);
ORVA_SYNC_ASSERT_TABLE(g_orvaPwrsSyncToBakDataDes, OrvaPwrsPwrSync, 1, ORVA_PWRS_SYNC_ROWS, ORVA_PWRS_SYNC_LENGTH);
ORVA_SYNC_ASSERT_TABLE(g_orvaAgentModelCtlTlvDes, OrvaAgentModelCtl, 1, ORVA_MODEL_CTL_ROWS, ORVA_MODEL_CTL_LENGTH);
static_assert(ORVA_DELAY_POWER_ON_ROWS == 2 && ORVA_BOARD_INFO_SYNC_ROWS == 3 && ORVA_PWRS_SYNC_ROWS == 3 &&
              ORVA_MODEL_CTL_ROWS == 18);
static_assert(ORVA_DELAY_POWER_ON_LENGTH == 29 && ORVA_BOARD_INFO_SYNC_LENGTH == 59 && ORVA_PWRS_SYNC_LENGTH == 31 &&
              ORVA_MODEL_CTL_LENGTH == 182);

namespace {

constexpr std::uint8_t kFruHead[] = {0x00, 0x09, 0x00, 0x01};
static_assert(sizeof kFruHead + 1 == ORVA_TLV_FRU_LENGTH);

// Stores a single integer through its descriptor row; these records have none of 16 bits.
[[gnu::always_inline]] inline void store_by_row(const OrvaTlvDes &row, const void *item, void *record) {
    auto *const member = static_cast<std::uint8_t *>(record) + row.offset;
    if (row.type == ORVA_TLV_TYPE_U32) {
        orva::store_host(member, orva::load_be32(tlv::value_of(item)));
    } else {
        *member = *tlv::value_of(item);
    }
}

template <std::size_t N>
void store_slots(std::uint8_t (&slots)[N], std::uint8_t count, const void *item) {
    std::memcpy(slots, tlv::value_of(item), std::min<std::size_t>(count, N));
}

// Compat: callers' code. Two encoders return the low word of the record's address when `out` is null.
template <const auto &kTable>
std::uint32_t encode_or_address(const void *record, void *out) {
    if (out == nullptr) {
        return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(record));
    }
    return tlv::encode<kTable>(record, out);
}

} // namespace

// ---- Callbacks

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
        ORVA_TLV_Decode(tlv::value_of(item), g_orvaDelayPowerOnDes, ORVA_DELAY_POWER_ON_ROWS,
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
    case 14: // sent, never stored
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

// ---- Whole blocks

std::uint32_t ORVA_TLV_SyncBoardInfoToBakEncode(const OrvaBoardInfoSync *info, void *out) {
    return encode_or_address<g_orvaBoardInfoSyncToBakDataDes>(info, out);
}

std::uint32_t ORVA_TLV_SyncPwrsPwrDataToBakEncode(const OrvaPwrsPwrSync *pwr, void *out) {
    return encode_or_address<g_orvaPwrsSyncToBakDataDes>(pwr, out);
}

std::uint32_t ORVA_OrvaAgt_ModelCtlTlvDataEncode(const OrvaAgentModelCtl *ctl, void *out) {
    return tlv::encode<g_orvaAgentModelCtlTlvDes>(ctl, out);
}

std::uint32_t ORVA_TLV_SyncBoardInfoToBakDecode(const void *block, OrvaBoardInfoSync *info) {
    return tlv::decode<g_orvaBoardInfoSyncToBakDataDes, wire::kBoardMembers>(block, ORVA_BoardInfo_SyncDataDecode,
                                                                             info);
}

std::uint32_t ORVA_TLV_SyncPwrsPwrDataDecode(const void *block, OrvaPwrsPwrSync *pwr) {
    return tlv::decode<g_orvaPwrsSyncToBakDataDes, wire::kPwrsMembers>(block, ORVA_TLV_SyncPwrsPwrDataDecodeFunc,
                                                                       pwr);
}

std::uint32_t ORVA_OrvaAgt_ModelCtlTlvDataDecode(const void *block, OrvaAgentModelCtl *ctl) {
    return tlv::decode<g_orvaAgentModelCtlTlvDes, wire::kModelMembers>(block, ORVA_OrvaAgt_ModelCtlDecode, ctl);
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
        orva::write_single(buf, kFruHead, fru);
    }
}

void ORVA_OrvaAgt_HandleFruTlvForE2prom(const void *item, std::uint8_t *fru, std::uint32_t len) {
    const bool valid = item != nullptr && len >= ORVA_TLV_FRU_LENGTH && orva::starts_with(item, kFruHead);
    *fru = valid ? *tlv::value_of(item) : std::uint8_t{0};
}
