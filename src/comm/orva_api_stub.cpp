// Stub values: the name table and the readers over the two simulation roots. Roots and values belong to the
// simulation area; who fills them is not known here.
#include "orva_api_stub.h"

#include <cstddef>
#include <cstring>
#include <string_view>

#include "bytes.h"
#include "log_record.h"
#include "safeio.h"

// Compat: callers' code. Testers' scripts use the names, odd spellings and casing included.
constexpr char g_acStubParaBuf[ORVA_STUB_TYPES][ORVA_STUB_NAME_SIZE] = {
    "pmSwitch",                    // 0
    "pmCable",                     // 1
    "pmComStatus",                 // 2
    "fanPresent",                  // 3
    "pmBitAlarm",                  // 4
    "pmInputaAlarm",               // 5
    "pmInputbAlarm",               // 6
    "pmInputVolt",                 // 7
    "pmPresent",                   // 8
    "pemPresent",                  // 9
    "pmmatch",                     // 10
    "corrodedtimer",               // 11
    "spiStatus",                   // 12
    "canbusComsta",                // 13
    "i2cAirTemp",                  // 14
    "volSensorSts",                // 15
    "fanSpeedVal",                 // 16
    "fanIndex",                    // 17
    "i2cPowerSts",                 // 18
    "tmpSensorSts",                // 19
    "dcVolLowAlarm",               // 20
    "commonRetOK",                 // 21
    "fanNotPlugIn",                // 22
    "fanFileNull",                 // 23
    "fanI2cFail",                  // 24
    "pwrLightAlarm",               // 25
    "pwrLooseCheck",               // 26
    "pmOutputVolt",                // 27
    "timerValue",                  // 28
    "pmcansta",                    // 29
    "fanNotEnough",                // 30
    "fanFail",                     // 31
    "caseTemp",                    // 32
    "fanCable",                    // 33
    "fanPresentData",              // 34
    "fanCommuicate",               // 35
    "Tq9XElabelResult",            // 36
    "pmTempValue",                 // 37
    "Slave9555I2cErr",             // 38
    "pwrI2cDeviceEepromIoErr",     // 39
    "pwrI2cDeviceMcuIoErr",        // 40
    "pwrOutVoltValue",             // 41
    "pwrGoodHistory",              // 42
    "pwrAlarmHistory",             // 43
    "tempRange",                   // 44
    "slotId",                      // 45
    "fruId",                       // 46
    "proc5stimermsgOnehour",       // 47
    "cardE2PAlam",                 // 48
    "cardI2cE2pStat",              // 49
    "cardI2cPac955Stat",           // 50
    "cardClientVltFailReason",     // 51
    "pwrI2cDeviceTempErr",         // 52
    "acFanSpeed",                  // 53
    "lowTempAdjFanSpeed",          // 54
    "lowTempAdjChipTempratue",     // 55
    "lowTempAdjPidValue",          // 56
    "dustdoor",                    // 57
    "fanMaxSpeed",                 // 58
    "realRatedPwr",                // 59
    "airdirection",                // 60
    "pwrOutputAlarm",              // 61
    "maxOpticalValue",             // 62
    "OpticalType",                 // 63
    "VrmAert",                     // 64
    "cpldVbsta",                   // 65
    "cardSpiSta",                  // 66
    "hardDiskTemp",                // 67
    "fanAirDuctDirection",         // 68
    "backplanestatus",             // 69
    "dcCurrentAlarm",              // 70
    "pmInputVoltA",                // 71
    "pmInputVoltB",                // 72
    "realPowerStatus",             // 73
    "poepowervalue",               // 74
    "fruOnlineStatus",             // 75
    "poeBurnoutTrig",              // 76
    "allSensorFail",               // 77
    "voltValue",                   // 78
    "boardSpeedResult",            // 79
    "platformTypeResult",          // 80
    "canbusAbnormal",              // 81
    "alarmInfoAssertExcp",         // 82
    "cardType",                    // 83
    "fanPowerCheck",               // 84
    "rzPmSingleInputVol",          // 85
    "dataTempIndex",               // 86
    "powerOffReason",              // 87
    "lowVolAlarm",                 // 88
    "fani2cstatus",                // 89
    "fani2cresult",                // 90
    "flashEraseNum",               // 91
    "flashEraseTime",              // 92
    "fanItemNotMatch",             // 93
    "realPwrSlot",                 // 94
    "realPwrValue",                // 95
    "perfTrace",                   // 96
    "getFanLogRet",                // 97
    "jtagChainState",              // 98
    "chipsPerChain",               // 99
    "9555i2cBurnOut",              // 100
    "pwrOutCurrent",               // 101
    "brdOnlineSlot",               // 102
    "brdOnlineRet",                // 103
    "brdOnlineStatus",             // 104
    "brdOfflineSlot",              // 105
    "brdofflineRegFlag",           // 106
    "brdOfflineStatus",            // 107
    "workPwrRate",                 // 108
    "avsStatus",                   // 109
    "fruTypeRet",                  // 110
    "pwrMfrPscFault",              // 111
    "syncAllAlmGone",              // 112
    "syncSignalAlmGone",           // 113
    "sensorNum",                   // 114
    "syncAllFmeaAlmGone",          // 115
    "syncSignalFmeaAlmGone",       // 116
    "reconcilRet",                 // 117
    "volIICStatus",                // 118
    "fanFlashEraseNum",            // 119
    "powerVltValue",               // 120
    "reconInterval",               // 121
    "boardId",                     // 122
    "inProcThreshold",             // 123
    "outProcThreshold",            // 124
    "pwrFanInfo",                  // 125
    "readPwrFanInfo",              // 126
    "sensorType",                  // 127
    "boardHardId",                 // 128
    "uartStatus",                  // 129
    "getBoardTypeResult",          // 130
    "boardBomcode",                // 131
    "adjVoltRet",                  // 132
    "remoteSupplyRet",             // 133
    "fanType",                     // 134
    "pmLowNoiseDrvRet",            // 135
    "loadCrcPktStatus",            // 136
    "tq9xHandShakeStatus",         // 137
    "adjustFanPmRealPwr",          // 138
    "adjustFanPmMaxTemp",          // 139
    "reservedStubValue1",          // 140
    "fanHalfHourCheck",            // 141
    "fanShift",                    // 142
    "fanInitCheckRet",             // 143
    "loadType",                    // 144
    "upgradeEnd",                  // 145
    "autoUpgrade",                 // 146
    "powerInputMode",              // 147
    "fanSetPowerRet",              // 148
    "powerSingleInput",            // 149
    "loadfanappSendDataFail",      // 150
    "loadfanappSendDataLost",      // 151
    "transboardType",              // 152
    "pwrTypeMixAlarm",             // 153
    "pwrRatedPowerRet",            // 154
    "pwrOutVolt",                  // 155
    "fanVoltStat",                 // 156
    "waterCablePresent",           // 157
    "waterCableLiquidLeakRegTrig", // 158
    "waterCableLiquidLeakTrig",    // 159
    "boardLiquidLeak",             // 160
    "quickSyncTime",               // 161
    "quickReadPmbusBBox",          // 162
    "rsvDependOnSfu",              // 163
    "pmRelaTempValue",             // 164
    "setSpdStablyFilterCnt",       // 165
    "spdAbnAlarmFilterCnt",        // 166
    "fanRotorActSpd",              // 167
    "pmResetStub",                 // 168
    "uhdVolCheckRegTrig",          // 169
    "uhdVolCheckTrig",             // 170
    "pwrInCommState",              // 171
    "inputModOperTimes",           // 172
    "pwrMainInput",                // 173
    "syncAllAlarm",                // 174
    "powerInitRet",                // 175
    "arbitrationSwitch",           // 176
    "powerInputAMode",             // 177
    "powerInputBMode",             // 178
    "powerInputAAlarm",            // 179
    "powerInputBAlarm",            // 180
    "poeTotalRatedPwr",            // 181
    "allFanOffline",               // 182
    "powerVinBoundDiff",           // 183
    "powerTempSensorNum",          // 184
    "powerTempSensorValue",        // 185
    "9555SwitchChkInValue",        // 186
    "environmentCheck",            // 187
    "saltCorrosionFail",           // 188
    "VoltHisMinValue",             // 189
    "pwrNotIdentify",              // 190
    "getFmeaErrCnt",               // 191
    "envHumidityValue",            // 192
    "envHumiditRet",               // 193
    "CurrentValue",                // 194
    "Coefficient",                 // 195
    "allCardI2cFault",             // 196
    "switchOverReason",            // 197
    "pwrHeartClose",               // 198
    "masterTq9xAComm",             // 199
    "masterTq9xBComm",             // 200
    "slaveTq9xAComm",              // 201
    "slaveTq9xBComm",              // 202
    "valveAlarmBit",               // 203
    "valveIndex",                  // 204
    "valveI2cFault",               // 205
    "waterCableLiquidLeakCnt",     // 206
    "LiquidLeakCheckCnt",          // 207
    "PicOverVltPowerOff",          // 208
    "pwrSrmosTmp",                 // 209
    "pwrEnvTmp",                   // 210
    "pwrWindAblCheckCycle",        // 211
    "opticalAlm",                  // 212
};

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_api_stub");

// No row is empty (an empty name would match everything), and no name occurs twice.
consteval bool names_are_distinct() {
    for (std::size_t i = 0; i < ORVA_STUB_TYPES; ++i) {
        const std::string_view name = g_acStubParaBuf[i];
        if (name.empty()) {
            return false;
        }
        for (std::size_t k = 0; k < i; ++k) {
            if (g_acStubParaBuf[k][0] == name[0] && g_acStubParaBuf[k] == name) {
                return false;
            }
        }
    }
    return true;
}
static_assert(names_are_distinct());

// Compat: callers' code. A name in which a row's name occurs twice does not match that row: only the first occurrence
// counts.
bool ends_with_row(const char *name, const char *rowName) {
    const char *const first = std::strstr(name, rowName);
    return first != nullptr && first[std::strlen(rowName)] == '\0';
}

std::uint32_t value_at_slot_fru(const OrvaSimulateRoot *root, std::uint32_t slot, std::uint8_t fru,
                                std::uint32_t stubType, void *dst, std::uint32_t widthCode) {
    if (stubType >= ORVA_STUB_TYPES) {
        return slot;
    }
    char name[ORVA_STUB_NAME_SIZE] = {};
    const int ret = sprintf_s(name, sizeof name, "%u_%u_%s", slot & 0xFF, fru, g_acStubParaBuf[stubType]);
    if (ret < 0) {
        return orva::log_sprintf_error(kArea, ret);
    }
    return ORVA_simulateGetValue(root, name, stubType, dst, widthCode);
}

std::uint32_t value_of(const OrvaSimulateRoot *root, std::uint32_t stubType, void *dst, std::uint32_t widthCode) {
    if (stubType >= ORVA_STUB_TYPES) {
        return stubType;
    }
    return ORVA_simulateGetValue(root, g_acStubParaBuf[stubType], stubType, dst, widthCode);
}

} // namespace

std::uint32_t ORVA_STUB_GetStubType(const char *name, std::uint32_t *stubType) {
    if (name == nullptr || stubType == nullptr) {
        return 0;
    }
    for (std::uint32_t i = 0; i < ORVA_STUB_TYPES; ++i) {
        if (ends_with_row(name, g_acStubParaBuf[i])) {
            *stubType = i;
            return 1;
        }
    }
    return 0;
}

std::uint32_t ORVA_STUB_IsDigit(std::uint8_t c) {
    return c == '-' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f') ? 1 : 0;
}

void ORVA_STUB_GetCaseValue(std::uint32_t, void *dst, std::uint32_t widthCode, std::int32_t value) {
    if (dst == nullptr) {
        return;
    }
    switch (widthCode) {
    case ORVA_STUB_WIDTH_8:
        orva::store_host(dst, static_cast<std::uint8_t>(value));
        break;
    case ORVA_STUB_WIDTH_16:
        orva::store_host(dst, static_cast<std::uint16_t>(value));
        break;
    case ORVA_STUB_WIDTH_32:
        orva::store_host(dst, static_cast<std::uint32_t>(value));
        break;
    default:
        break;
    }
}

// Compat: callers' code. For a stub type above 212 each reader returns its first argument; only 0 means that a stub
// is set.
std::uint32_t ORVA_STUB_GetStubValue(std::uint32_t stubType, void *dst, std::uint32_t widthCode) {
    return value_of(ORVA_simulateGetRoot(), stubType, dst, widthCode);
}

std::uint32_t ORVA_STUB_GetStubValueAtSlotFru(std::uint32_t slot, std::uint8_t fru, std::uint32_t stubType, void *dst,
                                              std::uint32_t widthCode) {
    return value_at_slot_fru(ORVA_simulateGetRoot(), slot, fru, stubType, dst, widthCode);
}

std::uint32_t ORVA_STUB_GetIntStubValueAtSlotFruIndex(std::uint32_t slot, std::uint8_t fru, std::uint8_t index,
                                                      std::uint32_t stubType, std::uint32_t *dst) {
    if (stubType >= ORVA_STUB_TYPES) {
        return slot;
    }
    char name[ORVA_STUB_NAME_SIZE] = {};
    const int ret = sprintf_s(name, sizeof name, "%u_%u_%u_%s", slot & 0xFF, fru, index, g_acStubParaBuf[stubType]);
    if (ret < 0) {
        return orva::log_sprintf_error(kArea, ret);
    }
    return ORVA_simulateGetValue(ORVA_simulateGetRoot(), name, stubType, dst, ORVA_STUB_WIDTH_32);
}

std::uint32_t ORVA_STUB_GetAgentStubValue(std::uint32_t stubType, void *dst, std::uint32_t widthCode) {
    return value_of(ORVA_simulateGetRootForAgent(), stubType, dst, widthCode);
}

std::uint32_t ORVA_STUB_GetAgentStubValueAtSlotFru(std::uint32_t slot, std::uint8_t fru, std::uint32_t stubType,
                                                   void *dst, std::uint32_t widthCode) {
    return value_at_slot_fru(ORVA_simulateGetRootForAgent(), slot, fru, stubType, dst, widthCode);
}

void ORVA_STUB_GetStubBrdOnlineStatus(const OrvaSimulateRoot *root, std::uint8_t slot, std::uint8_t state,
                                      std::uint8_t *isSet) {
    if (root == nullptr || isSet == nullptr) {
        return;
    }
    for (const OrvaBoardOnlinePair &pair : root->boardOnline) {
        if (pair.slot == slot && pair.state == state) {
            *isSet = 1;
            return;
        }
    }
}
