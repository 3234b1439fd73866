#include "orva_api_stub.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "log_line.h"
#include "platform_double.h"

namespace {

using orva_test::take_logs;
using orva_test::without_line;
using Texts = std::vector<std::string>;

// Stub types and names, kept apart from the library's table.
constexpr char kNames[] =
    "0 pmSwitch, 1 pmCable, 2 pmComStatus, 3 fanPresent, 4 pmBitAlarm, 5 pmInputaAlarm, 6 pmInputbAlarm, "
    "7 pmInputVolt, 8 pmPresent, 9 pemPresent, 10 pmmatch, 11 corrodedtimer, 12 spiStatus, 13 "
    "canbusComsta, 14 i2cAirTemp, 15 volSensorSts, 16 fanSpeedVal, 17 fanIndex, 18 i2cPowerSts, 19 "
    "tmpSensorSts, 20 dcVolLowAlarm, 21 commonRetOK, 22 fanNotPlugIn, 23 fanFileNull, 24 fanI2cFail, 25 "
    "pwrLightAlarm, 26 pwrLooseCheck, 27 pmOutputVolt, 28 timerValue, 29 pmcansta, 30 fanNotEnough, 31 "
    "fanFail, 32 caseTemp, 33 fanCable, 34 fanPresentData, 35 fanCommuicate, 36 Tq9XElabelResult, 37 "
    "pmTempValue, 38 Slave9555I2cErr, 39 pwrI2cDeviceEepromIoErr, 40 pwrI2cDeviceMcuIoErr, 41 "
    "pwrOutVoltValue, 42 pwrGoodHistory, 43 pwrAlarmHistory, 44 tempRange, 45 slotId, 46 fruId, 47 "
    "proc5stimermsgOnehour, 48 cardE2PAlam, 49 cardI2cE2pStat, 50 cardI2cPac955Stat, 51 "
    "cardClientVltFailReason, 52 pwrI2cDeviceTempErr, 53 acFanSpeed, 54 lowTempAdjFanSpeed, 55 "
    "lowTempAdjChipTempratue, 56 lowTempAdjPidValue, 57 dustdoor, 58 fanMaxSpeed, 59 realRatedPwr, 60 "
    "airdirection, 61 pwrOutputAlarm, 62 maxOpticalValue, 63 OpticalType, 64 VrmAert, 65 cpldVbsta, 66 "
    "cardSpiSta, 67 hardDiskTemp, 68 fanAirDuctDirection, 69 backplanestatus, 70 dcCurrentAlarm, 71 "
    "pmInputVoltA, 72 pmInputVoltB, 73 realPowerStatus, 74 poepowervalue, 75 fruOnlineStatus, 76 "
    "poeBurnoutTrig, 77 allSensorFail, 78 voltValue, 79 boardSpeedResult, 80 platformTypeResult, 81 "
    "canbusAbnormal, 82 alarmInfoAssertExcp, 83 cardType, 84 fanPowerCheck, 85 rzPmSingleInputVol, 86 "
    "dataTempIndex, 87 powerOffReason, 88 lowVolAlarm, 89 fani2cstatus, 90 fani2cresult, 91 "
    "flashEraseNum, 92 flashEraseTime, 93 fanItemNotMatch, 94 realPwrSlot, 95 realPwrValue, 96 perfTrace, "
    "97 getFanLogRet, 98 jtagChainState, 99 chipsPerChain, 100 9555i2cBurnOut, 101 pwrOutCurrent, 102 "
    "brdOnlineSlot, 103 brdOnlineRet, 104 brdOnlineStatus, 105 brdOfflineSlot, 106 brdofflineRegFlag, 107 "
    "brdOfflineStatus, 108 workPwrRate, 109 avsStatus, 110 fruTypeRet, 111 pwrMfrPscFault, 112 "
    "syncAllAlmGone, 113 syncSignalAlmGone, 114 sensorNum, 115 syncAllFmeaAlmGone, 116 "
    "syncSignalFmeaAlmGone, 117 reconcilRet, 118 volIICStatus, 119 fanFlashEraseNum, 120 powerVltValue, "
    "121 reconInterval, 122 boardId, 123 inProcThreshold, 124 outProcThreshold, 125 pwrFanInfo, 126 "
    "readPwrFanInfo, 127 sensorType, 128 boardHardId, 129 uartStatus, 130 getBoardTypeResult, 131 "
    "boardBomcode, 132 adjVoltRet, 133 remoteSupplyRet, 134 fanType, 135 pmLowNoiseDrvRet, 136 "
    "loadCrcPktStatus, 137 tq9xHandShakeStatus, 138 adjustFanPmRealPwr, 139 adjustFanPmMaxTemp, 140 "
    "reservedStubValue1, 141 fanHalfHourCheck, 142 fanShift, 143 fanInitCheckRet, 144 loadType, 145 "
    "upgradeEnd, 146 autoUpgrade, 147 powerInputMode, 148 fanSetPowerRet, 149 powerSingleInput, 150 "
    "loadfanappSendDataFail, 151 loadfanappSendDataLost, 152 transboardType, 153 pwrTypeMixAlarm, 154 "
    "pwrRatedPowerRet, 155 pwrOutVolt, 156 fanVoltStat, 157 waterCablePresent, 158 "
    "waterCableLiquidLeakRegTrig, 159 waterCableLiquidLeakTrig, 160 boardLiquidLeak, 161 quickSyncTime, "
    "162 quickReadPmbusBBox, 163 rsvDependOnSfu, 164 pmRelaTempValue, 165 setSpdStablyFilterCnt, 166 "
    "spdAbnAlarmFilterCnt, 167 fanRotorActSpd, 168 pmResetStub, 169 uhdVolCheckRegTrig, 170 "
    "uhdVolCheckTrig, 171 pwrInCommState, 172 inputModOperTimes, 173 pwrMainInput, 174 syncAllAlarm, 175 "
    "powerInitRet, 176 arbitrationSwitch, 177 powerInputAMode, 178 powerInputBMode, 179 powerInputAAlarm, "
    "180 powerInputBAlarm, 181 poeTotalRatedPwr, 182 allFanOffline, 183 powerVinBoundDiff, 184 "
    "powerTempSensorNum, 185 powerTempSensorValue, 186 9555SwitchChkInValue, 187 environmentCheck, 188 "
    "saltCorrosionFail, 189 VoltHisMinValue, 190 pwrNotIdentify, 191 getFmeaErrCnt, 192 envHumidityValue, "
    "193 envHumiditRet, 194 CurrentValue, 195 Coefficient, 196 allCardI2cFault, 197 switchOverReason, 198 "
    "pwrHeartClose, 199 masterTq9xAComm, 200 masterTq9xBComm, 201 slaveTq9xAComm, 202 slaveTq9xBComm, 203 "
    "valveAlarmBit, 204 valveIndex, 205 valveI2cFault, 206 waterCableLiquidLeakCnt, 207 "
    "LiquidLeakCheckCnt, 208 PicOverVltPowerOff, 209 pwrSrmosTmp, 210 pwrEnvTmp, 211 "
    "pwrWindAblCheckCycle, 212 opticalAlm";

std::vector<std::string> expected_names() {
    std::vector<std::string> names;
    std::istringstream stream(kNames);
    std::string entry;
    while (std::getline(stream >> std::ws, entry, ',')) {
        const std::size_t blank = entry.find(' ');
        EXPECT_EQ(std::stoul(entry.substr(0, blank)), names.size());
        names.push_back(entry.substr(blank + 1));
    }
    return names;
}

struct Stub : orva_test::PlatformTest {
    void install() {
        ORVA_simulateSetRoot(&root);
        ORVA_simulateSetRootForAgent(&agentRoot);
    }

    static void set(OrvaSimulateRoot &to, std::uint32_t type, std::int32_t value, const char *name) {
        OrvaStubItem &item = to.stubs[to.stubCount++];
        item.stubType = type;
        item.stubValue = value;
        std::memset(item.stubName, 0, sizeof item.stubName);
        std::strncpy(item.stubName, name, sizeof item.stubName - 1);
    }

    OrvaSimulateRoot root{};
    OrvaSimulateRoot agentRoot{};
};

// ---- Name table

TEST_F(Stub, Table_HoldsEveryNameInItsRow) {
    const std::vector<std::string> names = expected_names();
    ASSERT_EQ(names.size(), 213u);
    ASSERT_EQ(sizeof g_acStubParaBuf, 10650u);
    for (std::size_t i = 0; i < names.size(); ++i) {
        char row[50] = {};
        std::memcpy(row, names[i].data(), names[i].size());
        EXPECT_EQ(std::memcmp(g_acStubParaBuf[i], row, sizeof row), 0) << i << " " << names[i];
    }
}

TEST_F(Stub, GetStubType_FindsEveryNameBareAndComposed) {
    const std::vector<std::string> names = expected_names();
    for (std::uint32_t i = 0; i < names.size(); ++i) {
        for (const std::string &name : {names[i], "3_1_" + names[i], "30_255_7_" + names[i]}) {
            std::uint32_t type = 999;
            EXPECT_EQ(ORVA_STUB_GetStubType(name.c_str(), &type), 1u) << name;
            EXPECT_EQ(type, i) << name;
        }
    }
}

TEST_F(Stub, GetStubType_MatchesTheFirstOccurrenceAtTheEndOnly) {
    const struct {
        const char *name;
        std::uint32_t result, type;
    } cases[] = {
        {"pmSwitch", 1, 0},
        {"7_2_opticalAlm", 1, 212},
        {"fanPresentData", 1, 34},
        {"2_fanPresentData", 1, 34},
        {"2_fanPresent_fanPresent", 0, 999}, // occurs earlier too
        {"pmSwitchpmSwitch", 0, 999},
        {"xpmSwitch", 1, 0},
        {"pmSwitch_", 0, 999},
        {"pmswitch", 0, 999},
        {"pmSwitc", 0, 999},
        {"pwrOutVoltValue", 1, 41}, // not pwrOutVolt
        {"pwrOutVolt", 1, 155},
        {"pmCable_pmSwitch", 1, 0},
        {"pmSwitch_pmCable", 1, 1},
        {"unknown", 0, 999},
        {"", 0, 999},
    };
    for (const auto &c : cases) {
        std::uint32_t type = 999;
        EXPECT_EQ(ORVA_STUB_GetStubType(c.name, &type), c.result) << c.name;
        EXPECT_EQ(type, c.type) << c.name;
    }
    std::uint32_t type = 999;
    EXPECT_EQ(ORVA_STUB_GetStubType(nullptr, &type), 0u);
    EXPECT_EQ(ORVA_STUB_GetStubType("pmSwitch", nullptr), 0u);
    EXPECT_EQ(type, 999u);
}

TEST_F(Stub, IsDigit_HoldsForTheCharactersOfSignedHexadecimalNumbers) {
    const std::string digits = "-0123456789ABCDEFabcdef";
    for (unsigned c = 0; c < 256; ++c) {
        const bool expected = c != 0 && digits.find(static_cast<char>(c)) != std::string::npos;
        EXPECT_EQ(ORVA_STUB_IsDigit(static_cast<std::uint8_t>(c)), expected ? 1u : 0u) << c;
    }
}

// ---- Values

TEST_F(Stub, GetCaseValue_StoresAtTheWidth) {
    const struct {
        std::uint32_t width;
        std::vector<std::uint8_t> expected;
    } cases[] = {{0, {0xEE, 0xFC, 0xEE, 0xEE, 0xEE, 0xEE}},
                 {1, {0xEE, 0xFC, 0xFA, 0xEE, 0xEE, 0xEE}},
                 {2, {0xEE, 0xFC, 0xFA, 0xFF, 0xFF, 0xEE}},
                 {3, {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}},
                 {0xFFFFFFFF, {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}}};
    for (const auto &c : cases) {
        for (const std::uint32_t type : {0u, 212u, 213u, 0xFFFFFFFFu}) { // the type does not matter
            std::vector<std::uint8_t> buffer(6, 0xEE);
            ORVA_STUB_GetCaseValue(type, buffer.data() + 1, c.width, -1284);
            EXPECT_EQ(buffer, c.expected) << c.width;
        }
    }
    ORVA_STUB_GetCaseValue(0, nullptr, 0, 1);
}

// The five readers under one form; slot 3, FRU 1, index 2.
struct Reader {
    const char *name;
    std::uint32_t (*read)(std::uint32_t stubType, std::uint32_t *value);
    bool agent;
    const char *key; // of stub type 0
    std::uint32_t tooLarge;
};

const Reader kReaders[] = {
    {"GetStubValue", [](std::uint32_t type, std::uint32_t *value) { return ORVA_STUB_GetStubValue(type, value, 2); },
     false, "pmSwitch", 213},
    {"GetStubValueAtSlotFru",
     [](std::uint32_t type, std::uint32_t *value) {
         return ORVA_STUB_GetStubValueAtSlotFru(0x103, 1, type, value, 2);
     },
     false, "3_1_pmSwitch", 0x103},
    {"GetIntStubValueAtSlotFruIndex",
     [](std::uint32_t type, std::uint32_t *value) {
         return ORVA_STUB_GetIntStubValueAtSlotFruIndex(0x103, 1, 2, type, value);
     },
     false, "3_1_2_pmSwitch", 0x103},
    {"GetAgentStubValue",
     [](std::uint32_t type, std::uint32_t *value) { return ORVA_STUB_GetAgentStubValue(type, value, 2); }, true,
     "pmSwitch", 213},
    {"GetAgentStubValueAtSlotFru",
     [](std::uint32_t type, std::uint32_t *value) {
         return ORVA_STUB_GetAgentStubValueAtSlotFru(0x103, 1, type, value, 2);
     },
     true, "3_1_pmSwitch", 0x103},
};

TEST_F(Stub, Readers_AnswerTwoWithoutARootAndOneWithoutAStub) {
    for (const Reader &reader : kReaders) {
        ORVA_simulateSetRoot(reader.agent ? &root : nullptr); // the other side's root does not answer
        ORVA_simulateSetRootForAgent(reader.agent ? nullptr : &agentRoot);
        std::uint32_t value = 99;
        EXPECT_EQ(reader.read(0, &value), 2u) << reader.name;
        install();
        EXPECT_EQ(reader.read(0, &value), 1u) << reader.name;
        EXPECT_EQ(value, 99u) << reader.name;
    }
}

TEST_F(Stub, Readers_AnswerFromTheirRootUnderTheirNameOnly) {
    install();
    for (const Reader &reader : kReaders) {
        root = OrvaSimulateRoot{};
        agentRoot = OrvaSimulateRoot{};
        set(reader.agent ? root : agentRoot, 0, 11, reader.key); // the wrong root
        OrvaSimulateRoot &right = reader.agent ? agentRoot : root;
        set(right, 1, 22, reader.key); // the wrong type
        for (const char *key : {"pmSwitch", "3_1_pmSwitch", "3_1_2_pmSwitch", "259_1_pmSwitch", "259_1_2_pmSwitch"}) {
            if (std::strcmp(key, reader.key) != 0) {
                set(right, 0, 33, key);
            }
        }
        std::uint32_t value = 99;
        EXPECT_EQ(reader.read(0, &value), 1u) << reader.name;
        EXPECT_EQ(value, 99u) << reader.name;
        set(right, 0, -44, reader.key);
        EXPECT_EQ(reader.read(0, &value), 0u) << reader.name;
        EXPECT_EQ(value, static_cast<std::uint32_t>(-44)) << reader.name;
    }
    EXPECT_EQ(take_logs(), Texts{});
}

TEST_F(Stub, Readers_ReturnTheirFirstArgumentForATypeAbove212) {
    for (const bool installed : {false, true}) {
        if (installed) {
            install();
            set(root, 213, 5, "");
            set(agentRoot, 213, 5, "");
        }
        for (const Reader &reader : kReaders) {
            std::uint32_t value = 99;
            EXPECT_EQ(reader.read(213, &value), reader.tooLarge) << reader.name;
            EXPECT_EQ(value, 99u) << reader.name;
        }
    }
    std::uint32_t value = 99;
    EXPECT_EQ(ORVA_STUB_GetStubValue(0xFFFFFFFF, &value, 2), 0xFFFFFFFFu);
    EXPECT_EQ(ORVA_STUB_GetStubValueAtSlotFru(0, 1, 213, &value, 2), 0u); // slot 0
    EXPECT_EQ(value, 99u);
}

TEST_F(Stub, Readers_TakeEveryType) {
    install();
    const std::vector<std::string> names = expected_names();
    for (std::uint32_t type = 0; type < names.size(); ++type) {
        root.stubCount = 0;
        set(root, type, static_cast<std::int32_t>(type + 1000), names[type].c_str());
        set(root, type, static_cast<std::int32_t>(type + 2000), ("0_255_" + names[type]).c_str());
        std::uint32_t value = 0;
        EXPECT_EQ(ORVA_STUB_GetStubValue(type, &value, 2), 0u) << names[type];
        EXPECT_EQ(value, type + 1000);
        if (names[type].size() + 6 < ORVA_SIMULATE_STUB_NAME) { // longer names do not fit a stub entry
            EXPECT_EQ(ORVA_STUB_GetStubValueAtSlotFru(256, 255, type, &value, 2), 0u) << names[type];
            EXPECT_EQ(value, type + 2000);
        }
    }
}

TEST_F(Stub, Readers_StoreAtTheWidth) {
    install();
    set(root, 16, 1500, "fanSpeedVal");
    set(root, 16, 1500, "3_1_fanSpeedVal");
    set(agentRoot, 16, 1500, "fanSpeedVal");
    set(agentRoot, 16, 1500, "3_1_fanSpeedVal");
    using Read = std::uint32_t (*)(void *, std::uint32_t);
    const Read reads[] = {
        [](void *dst, std::uint32_t width) { return ORVA_STUB_GetStubValue(16, dst, width); },
        [](void *dst, std::uint32_t width) { return ORVA_STUB_GetStubValueAtSlotFru(3, 1, 16, dst, width); },
        [](void *dst, std::uint32_t width) { return ORVA_STUB_GetAgentStubValue(16, dst, width); },
        [](void *dst, std::uint32_t width) { return ORVA_STUB_GetAgentStubValueAtSlotFru(3, 1, 16, dst, width); },
    };
    for (const Read read : reads) {
        std::uint8_t byte[2] = {0xEE, 0xEE};
        std::uint16_t half[2] = {0xEEEE, 0xEEEE};
        std::uint32_t word = 0xEEEEEEEE;
        std::uint32_t none = 0xEEEEEEEE;
        EXPECT_EQ(read(byte, 0), 0u);
        EXPECT_EQ(read(half, 1), 0u);
        EXPECT_EQ(read(&word, 2), 0u);
        EXPECT_EQ(read(&none, 3), 0u);
        EXPECT_EQ(byte[0], 0xDC);
        EXPECT_EQ(byte[1], 0xEE);
        EXPECT_EQ(half[0], 1500);
        EXPECT_EQ(half[1], 0xEEEE);
        EXPECT_EQ(word, 1500u);
        EXPECT_EQ(none, 0xEEEEEEEE);
    }
}

TEST_F(Stub, Readers_LogANameThatCannotBeFormattedAndReturnTheLogsResult) {
    install();
    for (const Reader &reader : kReaders) {
        root = OrvaSimulateRoot{};
        agentRoot = OrvaSimulateRoot{};
        set(root, 0, 5, reader.key);
        set(agentRoot, 0, 5, reader.key);
        const bool composed = std::strcmp(reader.key, "pmSwitch") != 0;
        orva_test::fail_always("sprintf_s", -1);
        std::uint32_t value = 99;
        EXPECT_EQ(reader.read(0, &value), composed ? 0x77u : 0u) << reader.name; // a bare name is not formatted
        orva_test::reset_calls();
        Texts logs = take_logs();
        ASSERT_EQ(logs.size(), composed ? 1u : 0u) << reader.name;
        if (composed) {
            EXPECT_EQ(value, 99u) << reader.name;
            EXPECT_EQ(
                without_line(logs[0]),
                "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]sprintf error, f=orva_api_stub, l=N, ret=-1");
        }
    }
}

// ---- Board-online pairs

TEST_F(Stub, BrdOnlineStatus_FindsAPairAnywhereInTheList) {
    for (std::uint8_t i = 0; i < 32; ++i) {
        root.boardOnline[i] = {static_cast<std::uint8_t>(100 + i), static_cast<std::uint8_t>(200 + i)};
    }
    for (std::uint8_t i = 0; i < 32; ++i) {
        std::uint8_t isSet = 0x55;
        ORVA_STUB_GetStubBrdOnlineStatus(&root, static_cast<std::uint8_t>(100 + i),
                                         static_cast<std::uint8_t>(200 + i), &isSet);
        EXPECT_EQ(isSet, 1) << int{i};
    }
}

TEST_F(Stub, BrdOnlineStatus_LeavesTheFlagWithoutAPair) {
    root.boardOnline[3] = {5, 1};
    for (const auto &[slot, state] : {std::pair<std::uint8_t, std::uint8_t>{5, 0}, {1, 5}, {4, 1}, {5, 2}}) {
        std::uint8_t isSet = 0x55;
        ORVA_STUB_GetStubBrdOnlineStatus(&root, slot, state, &isSet);
        EXPECT_EQ(isSet, 0x55) << int{slot} << " " << int{state};
    }
    std::uint8_t isSet = 0x55;
    ORVA_STUB_GetStubBrdOnlineStatus(nullptr, 5, 1, &isSet);
    EXPECT_EQ(isSet, 0x55);
    ORVA_STUB_GetStubBrdOnlineStatus(&root, 5, 1, nullptr);
}

} // namespace
