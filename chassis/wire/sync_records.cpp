#include "wire/sync_records.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <random>

namespace chassis {

namespace {

#define STORED(type, member)                                                                                         \
    Member {                                                                                                         \
#member, offsetof(type, member), sizeof(type::member), true                                                  \
    }
#define SENT_ONLY(type, member)                                                                                      \
    Member {                                                                                                         \
#member, offsetof(type, member), sizeof(type::member), false                                                 \
    }

constexpr std::array kTemperature = {
    STORED(OrvaTempSensorCfg, tempNodeType),
    STORED(OrvaTempSensorCfg, queryByChip),
    STORED(OrvaTempSensorCfg, chipIndex),
    STORED(OrvaTempSensorCfg, cpuIndex),
    STORED(OrvaTempSensorCfg, ownerId),
    STORED(OrvaTempSensorCfg, ownerLun),
    STORED(OrvaTempSensorCfg, sensorNum),
    STORED(OrvaTempSensorCfg, sensorInitia),
    STORED(OrvaTempSensorCfg, sensorType),
    STORED(OrvaTempSensorCfg, assertionEventMask),
    STORED(OrvaTempSensorCfg, deassertionEventMask),
    STORED(OrvaTempSensorCfg, sensorUnit3),
    STORED(OrvaTempSensorCfg, uprFatalAlm),
    STORED(OrvaTempSensorCfg, uprMajorAlm),
    STORED(OrvaTempSensorCfg, uprMinorAlm),
    STORED(OrvaTempSensorCfg, lwrFatalAlm),
    STORED(OrvaTempSensorCfg, lwrMajorAlm),
    STORED(OrvaTempSensorCfg, lwrMinorAlm),
    STORED(OrvaTempSensorCfg, positivegoingThre),
    STORED(OrvaTempSensorCfg, negativegoingThre),
    STORED(OrvaTempSensorCfg, busId),
    STORED(OrvaTempSensorCfg, deviceModifier),
    STORED(OrvaTempSensorCfg, i2cChannel),
    STORED(OrvaTempSensorCfg, reserve),
};

constexpr std::array kVoltage = {
    STORED(OrvaVltSensorCfg, sensorNum),
    STORED(OrvaVltSensorCfg, sensorInitia),
    STORED(OrvaVltSensorCfg, sensorType),
    STORED(OrvaVltSensorCfg, assertionEventMask),
    STORED(OrvaVltSensorCfg, deassertionEventMask),
    STORED(OrvaVltSensorCfg, sensorUnit3),
    STORED(OrvaVltSensorCfg, sensorMLS),
    STORED(OrvaVltSensorCfg, rexpBexp),
    STORED(OrvaVltSensorCfg, nominalReading),
    STORED(OrvaVltSensorCfg, uprFatalAlm),
    STORED(OrvaVltSensorCfg, uprMajorAlm),
    STORED(OrvaVltSensorCfg, uprMinorAlm),
    STORED(OrvaVltSensorCfg, lwrFatalAlm),
    STORED(OrvaVltSensorCfg, lwrMajorAlm),
    STORED(OrvaVltSensorCfg, lwrMinorAlm),
    STORED(OrvaVltSensorCfg, positiveGoingThre),
    STORED(OrvaVltSensorCfg, negativegoingThre),
    STORED(OrvaVltSensorCfg, deviceModifier),
    STORED(OrvaVltSensorCfg, voltageId),
    SENT_ONLY(OrvaVltSensorCfg, extra1),
    SENT_ONLY(OrvaVltSensorCfg, extra2),
    SENT_ONLY(OrvaVltSensorCfg, extra3),
};

constexpr std::array kFmea = {
    STORED(OrvaVltSensorCfg, sensorNum), STORED(OrvaVltSensorCfg, sensorType), STORED(OrvaVltSensorCfg, busId),
    STORED(OrvaVltSensorCfg, voltageId), STORED(OrvaVltSensorCfg, slotId),
};

constexpr std::array kPowerSupply = {
    STORED(OrvaVltSensorCfg, slotId),
    STORED(OrvaVltSensorCfg, voltageId),
};

constexpr std::array kBoard = {
    STORED(OrvaBoardInfoSync, info1),
    STORED(OrvaBoardInfoSync, info2),
    STORED(OrvaBoardInfoSync, delayPowerOn.delayFlag),
    STORED(OrvaBoardInfoSync, delayPowerOn.delayTime),
};

constexpr std::array kPower = {
    STORED(OrvaPwrsPwrSync, pwr1),
    STORED(OrvaPwrsPwrSync, pwr2),
    STORED(OrvaPwrsPwrSync, pwr3),
};

constexpr std::array kModelControl = {
    STORED(OrvaAgentModelCtl, ctlWord1),     STORED(OrvaAgentModelCtl, ctlWord2),
    STORED(OrvaAgentModelCtl, ctlByte3),     STORED(OrvaAgentModelCtl, mngSlotNum),
    STORED(OrvaAgentModelCtl, mngSlot),      STORED(OrvaAgentModelCtl, mngSlotType),
    STORED(OrvaAgentModelCtl, ctlByte7),     STORED(OrvaAgentModelCtl, ctlByte8),
    STORED(OrvaAgentModelCtl, ctlByte9),     STORED(OrvaAgentModelCtl, ctlByte10),
    STORED(OrvaAgentModelCtl, ctlByte11),    STORED(OrvaAgentModelCtl, ctlByte12),
    STORED(OrvaAgentModelCtl, ctlByte13),    SENT_ONLY(OrvaAgentModelCtl, ctlByte14),
    STORED(OrvaAgentModelCtl, ctlByte15),    STORED(OrvaAgentModelCtl, ctlByte16),
    STORED(OrvaAgentModelCtl, stackSlotNum), STORED(OrvaAgentModelCtl, stackSlot),
};

#undef STORED
#undef SENT_ONLY

template <typename Record, std::uint32_t (*kEncode)(const Record *, void *)>
std::uint32_t encode_any(const void *record, void *block) {
    return kEncode(static_cast<const Record *>(record), block);
}

template <typename Record, std::uint32_t (*kDecode)(const void *, Record *)>
std::uint32_t decode_any(const void *block, void *record) {
    return kDecode(block, static_cast<Record *>(record));
}

void finish_model_control(void *record) {
    auto *control = static_cast<OrvaAgentModelCtl *>(record);
    control->mngSlotNum = static_cast<std::uint8_t>(1 + control->mngSlotNum % std::size(control->mngSlot));
    control->stackSlotNum = static_cast<std::uint8_t>(1 + control->stackSlotNum % std::size(control->stackSlot));
}

// The slot lists travel whole; the receiver takes as many entries as their counts say.
std::size_t taken_of_model_control(const void *record, const Member &member) {
    const auto *control = static_cast<const OrvaAgentModelCtl *>(record);
    if (member.offset == offsetof(OrvaAgentModelCtl, mngSlot) ||
        member.offset == offsetof(OrvaAgentModelCtl, mngSlotType)) {
        return control->mngSlotNum;
    }
    return member.offset == offsetof(OrvaAgentModelCtl, stackSlot) ? control->stackSlotNum : member.size;
}

template <typename Record, std::uint32_t (*kEncode)(const Record *, void *),
          std::uint32_t (*kDecode)(const void *, Record *)>
constexpr SyncRecord row(const char *key, const char *name, const OrvaTlvDes *table, std::uint32_t rows,
                         std::span<const Member> members) {
    return {key,     name,    sizeof(Record), table, rows, encode_any<Record, kEncode>, decode_any<Record, kDecode>,
            nullptr, nullptr, members};
}

const std::array<SyncRecord, 7> &records() {
    static const std::array<SyncRecord, 7> all = [] {
        std::array<SyncRecord, 7> rows = {
            row<OrvaTempSensorCfg, ORVA_TLV_SyncTempCfgDataEncode, ORVA_TLV_SyncTempCfgDataDecode>(
                "temperature", "temperature", g_orvaTempSyncDataDes, ORVA_TEMP_SYNC_ROWS, kTemperature),
            row<OrvaVltSensorCfg, ORVA_TLV_SyncVltCfgDataEncode, ORVA_TLV_SyncVltCfgDataDecode>(
                "voltage", "voltage", g_orvaVltSyncDataDes, ORVA_VLT_SYNC_ROWS, kVoltage),
            row<OrvaVltSensorCfg, ORVA_TLV_SyncFmeaDataEncode, ORVA_TLV_SyncFmeaDataDecode>(
                "fmea", "FMEA", g_orvaFmeaSyncDataDes, ORVA_FMEA_SYNC_ROWS, kFmea),
            row<OrvaVltSensorCfg, ORVA_TLV_SyncPowerSupplyEncode, ORVA_TLV_SyncPowerSupplyDecode>(
                "power-supply", "power supply", g_orvaPwrSupSyncDataDes, ORVA_PWR_SUP_SYNC_ROWS, kPowerSupply),
            row<OrvaBoardInfoSync, ORVA_TLV_SyncBoardInfoToBakEncode, ORVA_TLV_SyncBoardInfoToBakDecode>(
                "board", "board", g_orvaBoardInfoSyncToBakDataDes, ORVA_BOARD_INFO_SYNC_ROWS, kBoard),
            row<OrvaPwrsPwrSync, ORVA_TLV_SyncPwrsPwrDataToBakEncode, ORVA_TLV_SyncPwrsPwrDataDecode>(
                "power", "power", g_orvaPwrsSyncToBakDataDes, ORVA_PWRS_SYNC_ROWS, kPower),
            row<OrvaAgentModelCtl, ORVA_OrvaAgt_ModelCtlTlvDataEncode, ORVA_OrvaAgt_ModelCtlTlvDataDecode>(
                "model-control", "model control", g_orvaAgentModelCtlTlvDes, ORVA_MODEL_CTL_ROWS, kModelControl),
        };
        rows.back().finish = finish_model_control;
        rows.back().taken = taken_of_model_control;
        return rows;
    }();
    return all;
}

} // namespace

std::span<const SyncRecord> sync_records() {
    return records();
}

std::vector<std::uint8_t> make_record(const SyncRecord &record, std::uint32_t seed) {
    std::mt19937 numbers(seed);
    std::vector<std::uint8_t> bytes(record.size);
    std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(numbers()); });
    if (record.finish != nullptr) {
        record.finish(bytes.data());
    }
    return bytes;
}

} // namespace chassis
