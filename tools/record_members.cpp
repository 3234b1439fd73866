// The descriptor tables know tags, offsets and types; here are the names. A member is found by its offset, so that
// the library's table alone says which tag carries it.
#include "record_members.h"

#include <algorithm>

namespace inspect {

namespace {

#define MEMBER(structure, member)                                                                                    \
    { offsetof(structure, member), #member, false }
#define NAMED(structure, member, name)                                                                               \
    { offsetof(structure, member), #member " (" name ")", false }
#define IGNORED(structure, member)                                                                                   \
    { offsetof(structure, member), #member, true }

#define TEMP(member) MEMBER(OrvaTempSensorCfg, member)
#define VLT(member) MEMBER(OrvaVltSensorCfg, member)
#define MODEL(member) MEMBER(OrvaAgentModelCtl, member)

constexpr Member kTemp[] = {
    TEMP(tempNodeType), TEMP(queryByChip),        TEMP(chipIndex),         TEMP(cpuIndex),
    TEMP(ownerId),      TEMP(ownerLun),           TEMP(sensorNum),         TEMP(sensorInitia),
    TEMP(sensorType),   TEMP(assertionEventMask), TEMP(sensorUnit3),       TEMP(deassertionEventMask),
    TEMP(uprFatalAlm),  TEMP(uprMajorAlm),        TEMP(uprMinorAlm),       TEMP(lwrFatalAlm),
    TEMP(lwrMajorAlm),  TEMP(lwrMinorAlm),        TEMP(positivegoingThre), TEMP(negativegoingThre),
    TEMP(busId),        TEMP(deviceModifier),     TEMP(i2cChannel),        TEMP(reserve),
};

constexpr Member kVlt[] = {
    VLT(sensorNum),
    VLT(sensorInitia),
    VLT(sensorType),
    VLT(assertionEventMask),
    VLT(deassertionEventMask),
    VLT(sensorUnit3),
    VLT(sensorMLS),
    VLT(rexpBexp),
    VLT(nominalReading),
    VLT(uprFatalAlm),
    VLT(uprMajorAlm),
    VLT(uprMinorAlm),
    VLT(lwrFatalAlm),
    VLT(lwrMajorAlm),
    VLT(lwrMinorAlm),
    VLT(positiveGoingThre),
    VLT(negativegoingThre),
    VLT(deviceModifier),
    VLT(voltageId),
    IGNORED(OrvaVltSensorCfg, extra1),
    IGNORED(OrvaVltSensorCfg, extra2),
    IGNORED(OrvaVltSensorCfg, extra3),
};

constexpr Member kFmea[] = {
    NAMED(OrvaVltSensorCfg, sensorNum, "sensor id"), VLT(sensorType), VLT(busId),
    NAMED(OrvaVltSensorCfg, voltageId, "reserve"),   VLT(slotId),
};

constexpr Member kPwrSup[] = {
    NAMED(OrvaVltSensorCfg, slotId, "slave address"),
    NAMED(OrvaVltSensorCfg, voltageId, "reserve"),
};

constexpr Member kDelay[] = {MEMBER(OrvaDelayPowerOn, delayFlag), MEMBER(OrvaDelayPowerOn, delayTime)};

constexpr Member kBoard[] = {
    MEMBER(OrvaBoardInfoSync, info1),
    MEMBER(OrvaBoardInfoSync, info2),
    MEMBER(OrvaBoardInfoSync, delayPowerOn),
};

constexpr Member kPwrs[] = {
    MEMBER(OrvaPwrsPwrSync, pwr1),
    MEMBER(OrvaPwrsPwrSync, pwr2),
    MEMBER(OrvaPwrsPwrSync, pwr3),
};

constexpr Member kModel[] = {
    MODEL(ctlWord1),   MODEL(ctlWord2),  MODEL(ctlByte3),     MODEL(mngSlot),   MODEL(mngSlotType),
    MODEL(mngSlotNum), MODEL(ctlByte7),  MODEL(ctlByte8),     MODEL(ctlByte9),  MODEL(ctlByte10),
    MODEL(ctlByte11),  MODEL(ctlByte12), MODEL(ctlByte13),    MODEL(ctlByte15), IGNORED(OrvaAgentModelCtl, ctlByte14),
    MODEL(ctlByte16),  MODEL(stackSlot), MODEL(stackSlotNum),
};

#undef MEMBER
#undef NAMED
#undef IGNORED
#undef TEMP
#undef VLT
#undef MODEL

const Record kDelayRecord = {"delay", g_orvaDelayPowerOnDes, ORVA_DELAY_POWER_ON_ROWS, kDelay, nullptr};

const Record kRecords[] = {
    {"temp", g_orvaTempSyncDataDes, ORVA_TEMP_SYNC_ROWS, kTemp, nullptr},
    {"vlt", g_orvaVltSyncDataDes, ORVA_VLT_SYNC_ROWS, kVlt, nullptr},
    {"fmea", g_orvaFmeaSyncDataDes, ORVA_FMEA_SYNC_ROWS, kFmea, nullptr},
    {"pwrsup", g_orvaPwrSupSyncDataDes, ORVA_PWR_SUP_SYNC_ROWS, kPwrSup, nullptr},
    kDelayRecord,
    {"board", g_orvaBoardInfoSyncToBakDataDes, ORVA_BOARD_INFO_SYNC_ROWS, kBoard, &kDelayRecord},
    {"pwrs", g_orvaPwrsSyncToBakDataDes, ORVA_PWRS_SYNC_ROWS, kPwrs, nullptr},
    {"model", g_orvaAgentModelCtlTlvDes, ORVA_MODEL_CTL_ROWS, kModel, nullptr},
};

} // namespace

const Record *find_record(std::string_view key) {
    const auto *const record = std::ranges::find(kRecords, key, &Record::key);
    return record != std::end(kRecords) ? record : nullptr;
}

std::vector<std::string_view> record_keys() {
    std::vector<std::string_view> keys;
    for (const Record &record : kRecords) {
        keys.emplace_back(record.key);
    }
    return keys;
}

const Member *find_member(const Record &record, const OrvaTlvDes &row) {
    const auto found = std::ranges::find(record.members, std::size_t{row.offset}, &Member::offset);
    return found != record.members.end() ? &*found : nullptr;
}

} // namespace inspect
