// The four sensor records: descriptor tables, encoders, decoders, per-item callbacks and store functions, all made
// from the lists in wire_records.h; and the stand-alone sensor-number item.
#include "orva_tlv_sensor_comm.h"

#include <iterator>

#include "orva_diag.h"
#include "single_item.h"
#include "sync_codec.h"
#include "sync_tables.h"
#include "wire_records.h"

namespace tlv = orva::tlv;
namespace wire = orva::wire;

// ---- Tables

constexpr OrvaTlvDes g_orvaTempSyncDataDes[] = {ORVA_WIRE_TEMP(ORVA_SYNC_ROW)};
constexpr OrvaTlvDes g_orvaVltSyncDataDes[] = {ORVA_WIRE_VLT(ORVA_SYNC_ROW, ORVA_SYNC_ROW)};
constexpr OrvaTlvDes g_orvaFmeaSyncDataDes[] = {ORVA_WIRE_FMEA(ORVA_SYNC_ROW)};
constexpr OrvaTlvDes g_orvaPwrSupSyncDataDes[] = {ORVA_WIRE_PWR_SUP(ORVA_SYNC_ROW)};

ORVA_SYNC_ASSERT_TABLE(g_orvaTempSyncDataDes, OrvaTempSensorCfg, 1, ORVA_TEMP_SYNC_ROWS, ORVA_TEMP_SYNC_LENGTH);
ORVA_SYNC_ASSERT_TABLE(g_orvaVltSyncDataDes, OrvaVltSensorCfg, 1, ORVA_VLT_SYNC_ROWS, ORVA_VLT_SYNC_LENGTH);
ORVA_SYNC_ASSERT_TABLE(g_orvaFmeaSyncDataDes, OrvaVltSensorCfg, 1, ORVA_FMEA_SYNC_ROWS, ORVA_FMEA_SYNC_LENGTH);
ORVA_SYNC_ASSERT_TABLE(g_orvaPwrSupSyncDataDes, OrvaVltSensorCfg, 1, ORVA_PWR_SUP_SYNC_ROWS,
                       ORVA_PWR_SUP_SYNC_LENGTH);
static_assert(ORVA_TEMP_SYNC_ROWS == 24 && ORVA_VLT_SYNC_ROWS == 22 && ORVA_FMEA_SYNC_ROWS == 5 &&
              ORVA_PWR_SUP_SYNC_ROWS == 2);
static_assert(ORVA_TEMP_SYNC_LENGTH == 138 && ORVA_VLT_SYNC_LENGTH == 128 && ORVA_FMEA_SYNC_LENGTH == 41 &&
              ORVA_PWR_SUP_SYNC_LENGTH == 26);

// ---- Store functions

// NOLINTBEGIN(bugprone-macro-parentheses): a type takes none
#define ORVA_TLV_STORE_FUNCTION(record, tag, member, also, text, function)                                           \
    void function(record *cfg, const void *item) {                                                                   \
        tlv::store_value(item, cfg->member);                                                                         \
    }
#define ORVA_TLV_NO_FUNCTION(record, tag, member, also, text)
// NOLINTEND(bugprone-macro-parentheses)

ORVA_WIRE_TEMP(ORVA_TLV_STORE_FUNCTION)
ORVA_WIRE_VLT(ORVA_TLV_STORE_FUNCTION, ORVA_TLV_NO_FUNCTION)
ORVA_WIRE_FMEA(ORVA_TLV_STORE_FUNCTION)
ORVA_WIRE_PWR_SUP(ORVA_TLV_STORE_FUNCTION)

#undef ORVA_TLV_STORE_FUNCTION
#undef ORVA_TLV_NO_FUNCTION

// ---- Callbacks

namespace {

constexpr std::uint8_t kSensorNumHead[] = {0x00, 0x08, 0x00, 0x01};
static_assert(sizeof kSensorNumHead + 1 == ORVA_TLV_SENSOR_NUM_LENGTH);

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

#define ORVA_TLV_STORE_ENTRY(record, tag, member, also, text, function) function,
#define ORVA_TLV_NO_ENTRY(record, tag, member, also, text) nullptr,

constexpr Store<OrvaTempSensorCfg> kTempStores[ORVA_TEMP_SYNC_ROWS] = {ORVA_WIRE_TEMP(ORVA_TLV_STORE_ENTRY)};
constexpr Store<OrvaVltSensorCfg> kVltStores[ORVA_VLT_SYNC_ROWS] = {
    ORVA_WIRE_VLT(ORVA_TLV_STORE_ENTRY, ORVA_TLV_NO_ENTRY)};
constexpr Store<OrvaVltSensorCfg> kFmeaStores[ORVA_FMEA_SYNC_ROWS] = {ORVA_WIRE_FMEA(ORVA_TLV_STORE_ENTRY)};
constexpr Store<OrvaVltSensorCfg> kPwrSupStores[ORVA_PWR_SUP_SYNC_ROWS] = {ORVA_WIRE_PWR_SUP(ORVA_TLV_STORE_ENTRY)};

#undef ORVA_TLV_STORE_ENTRY
#undef ORVA_TLV_NO_ENTRY

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

// ---- Whole blocks

std::uint32_t ORVA_TLV_SyncTempCfgDataEncode(const OrvaTempSensorCfg *cfg, void *out) {
    return tlv::encode<g_orvaTempSyncDataDes>(cfg, out);
}

std::uint32_t ORVA_TLV_SyncVltCfgDataEncode(const OrvaVltSensorCfg *cfg, void *out) {
    return tlv::encode<g_orvaVltSyncDataDes>(cfg, out);
}

std::uint32_t ORVA_TLV_SyncFmeaDataEncode(const OrvaVltSensorCfg *cfg, void *out) {
    return tlv::encode<g_orvaFmeaSyncDataDes>(cfg, out);
}

std::uint32_t ORVA_TLV_SyncPowerSupplyEncode(const OrvaVltSensorCfg *cfg, void *out) {
    return tlv::encode<g_orvaPwrSupSyncDataDes>(cfg, out);
}

std::uint32_t ORVA_TLV_SyncTempCfgDataDecode(const void *block, OrvaTempSensorCfg *cfg) {
    return tlv::decode<g_orvaTempSyncDataDes, wire::kTempMembers>(block, ORVA_TempCfg_SyncDataDecode, cfg);
}

std::uint32_t ORVA_TLV_SyncVltCfgDataDecode(const void *block, OrvaVltSensorCfg *cfg) {
    return tlv::decode<g_orvaVltSyncDataDes, wire::kVltMembers>(block, ORVA_VltCfg_SyncDataDecode, cfg);
}

std::uint32_t ORVA_TLV_SyncFmeaDataDecode(const void *block, OrvaVltSensorCfg *cfg) {
    return tlv::decode<g_orvaFmeaSyncDataDes, wire::kFmeaMembers>(block, ORVA_TLV_SyncFmeaSensorDataDecode, cfg);
}

std::uint32_t ORVA_TLV_SyncPowerSupplyDecode(const void *block, OrvaVltSensorCfg *cfg) {
    return tlv::decode<g_orvaPwrSupSyncDataDes, wire::kPwrSupMembers>(block, ORVA_TLV_SyncPowerSupplyDataDecode, cfg);
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

// ---- Sensor-number item

std::uint32_t ORVA_TLV_SensorNumEncode(void *buf, std::uint32_t bufLen, std::uint8_t sensorNum) {
    if (bufLen < ORVA_TLV_SENSOR_NUM_LENGTH) {
        // Compat: texts that others parse. The wording says "is enough" although the buffer is too small.
        ORVA_DIAGLOG(0, orva::kDiagCode, 1, 0, 0,
                     "ORVA_TLV_OverSpecSensorNumEncode buf is enough. buflen = %u sensorNumDataLen = %u", bufLen,
                     ORVA_TLV_SENSOR_NUM_LENGTH);
        return 0;
    }
    if (buf == nullptr) {
        return 0;
    }
    orva::write_single(buf, kSensorNumHead, sensorNum);
    return ORVA_TLV_SENSOR_NUM_LENGTH;
}

std::uint32_t ORVA_TLV_SensorNumDecode(const void *item, std::uint32_t *remaining, std::uint8_t *sensorNum,
                                       std::uint32_t *consumed) {
    if (item == nullptr || remaining == nullptr || sensorNum == nullptr || consumed == nullptr) {
        return ORVA_FAILED;
    }
    if (*remaining < ORVA_TLV_SENSOR_NUM_LENGTH || !orva::starts_with(item, kSensorNumHead)) {
        return ORVA_FAILED;
    }
    *sensorNum = *tlv::value_of(item);
    *remaining -= ORVA_TLV_SENSOR_NUM_LENGTH;
    *consumed = ORVA_TLV_SENSOR_NUM_LENGTH;
    return ORVA_OK;
}
