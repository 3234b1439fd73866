// The eight sync records as one table, with the library's descriptor tables, encoders and decoders. For whoever works
// on records by name; the library itself includes the lists only.
#ifndef ORVA_WIRE_RECORD_TABLE_H
#define ORVA_WIRE_RECORD_TABLE_H

#include "wire_records.h"

namespace orva::wire {

// A record type: its members in the order of its descriptor table.
struct Record {
    const char *key;   // short name
    const char *title; // as people call it
    const char *text;
    const char *structure;
    std::uint32_t size; // bytes of the structure
    const char *table_name;
    const OrvaTlvDes *table;
    std::uint32_t length; // bytes of the block
    std::span<const Member> members;
    // Null in the record that travels only inside another.
    std::uint32_t (*encode)(const void *record, void *block);
    std::uint32_t (*decode)(const void *block, void *record);
};

template <typename Structure, std::uint32_t (*kEncode)(const Structure *, void *)>
std::uint32_t encode_any(const void *record, void *block) {
    return kEncode(static_cast<const Structure *>(record), block);
}

template <typename Structure, std::uint32_t (*kDecode)(const void *, Structure *)>
std::uint32_t decode_any(const void *block, void *record) {
    return kDecode(block, static_cast<Structure *>(record));
}

inline constexpr std::array<Record, 8> kRecords{{
    {"temp", "temperature", "Configuration of a temperature sensor", "OrvaTempSensorCfg", sizeof(OrvaTempSensorCfg),
     "g_orvaTempSyncDataDes", g_orvaTempSyncDataDes, ORVA_TEMP_SYNC_LENGTH, kTempMembers,
     encode_any<OrvaTempSensorCfg, ORVA_TLV_SyncTempCfgDataEncode>,
     decode_any<OrvaTempSensorCfg, ORVA_TLV_SyncTempCfgDataDecode>},
    {"vlt", "voltage", "Configuration of a voltage sensor", "OrvaVltSensorCfg", sizeof(OrvaVltSensorCfg),
     "g_orvaVltSyncDataDes", g_orvaVltSyncDataDes, ORVA_VLT_SYNC_LENGTH, kVltMembers,
     encode_any<OrvaVltSensorCfg, ORVA_TLV_SyncVltCfgDataEncode>,
     decode_any<OrvaVltSensorCfg, ORVA_TLV_SyncVltCfgDataDecode>},
    {"fmea", "FMEA", "Configuration of an FMEA sensor", "OrvaVltSensorCfg", sizeof(OrvaVltSensorCfg),
     "g_orvaFmeaSyncDataDes", g_orvaFmeaSyncDataDes, ORVA_FMEA_SYNC_LENGTH, kFmeaMembers,
     encode_any<OrvaVltSensorCfg, ORVA_TLV_SyncFmeaDataEncode>,
     decode_any<OrvaVltSensorCfg, ORVA_TLV_SyncFmeaDataDecode>},
    {"pwrsup", "power supply", "Configuration of a power supply", "OrvaVltSensorCfg", sizeof(OrvaVltSensorCfg),
     "g_orvaPwrSupSyncDataDes", g_orvaPwrSupSyncDataDes, ORVA_PWR_SUP_SYNC_LENGTH, kPwrSupMembers,
     encode_any<OrvaVltSensorCfg, ORVA_TLV_SyncPowerSupplyEncode>,
     decode_any<OrvaVltSensorCfg, ORVA_TLV_SyncPowerSupplyDecode>},
    {"delay", "delayed power-on", "Delayed power-on setting; travels inside the board record", "OrvaDelayPowerOn",
     sizeof(OrvaDelayPowerOn), "g_orvaDelayPowerOnDes", g_orvaDelayPowerOnDes, ORVA_DELAY_POWER_ON_LENGTH,
     kDelayMembers, nullptr, nullptr},
    {"board", "board", "Board information for the backup board", "OrvaBoardInfoSync", sizeof(OrvaBoardInfoSync),
     "g_orvaBoardInfoSyncToBakDataDes", g_orvaBoardInfoSyncToBakDataDes, ORVA_BOARD_INFO_SYNC_LENGTH, kBoardMembers,
     encode_any<OrvaBoardInfoSync, ORVA_TLV_SyncBoardInfoToBakEncode>,
     decode_any<OrvaBoardInfoSync, ORVA_TLV_SyncBoardInfoToBakDecode>},
    {"pwrs", "power", "Power data of the power modules", "OrvaPwrsPwrSync", sizeof(OrvaPwrsPwrSync),
     "g_orvaPwrsSyncToBakDataDes", g_orvaPwrsSyncToBakDataDes, ORVA_PWRS_SYNC_LENGTH, kPwrsMembers,
     encode_any<OrvaPwrsPwrSync, ORVA_TLV_SyncPwrsPwrDataToBakEncode>,
     decode_any<OrvaPwrsPwrSync, ORVA_TLV_SyncPwrsPwrDataDecode>},
    {"model", "model control", "Agent model control with its slot lists", "OrvaAgentModelCtl",
     sizeof(OrvaAgentModelCtl), "g_orvaAgentModelCtlTlvDes", g_orvaAgentModelCtlTlvDes, ORVA_MODEL_CTL_LENGTH,
     kModelMembers, encode_any<OrvaAgentModelCtl, ORVA_OrvaAgt_ModelCtlTlvDataEncode>,
     decode_any<OrvaAgentModelCtl, ORVA_OrvaAgt_ModelCtlTlvDataDecode>},
}};

// The record of a descriptor table, or null.
constexpr const Record *record_of(const OrvaTlvDes *table) {
    for (const Record &record : kRecords) {
        if (record.table == table) {
            return &record;
        }
    }
    return nullptr;
}

} // namespace orva::wire

#endif
