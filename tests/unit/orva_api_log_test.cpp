#include "orva_api_log.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <set>
#include <vector>

#include "log_line.h"
#include "orva_comm.h"
#include "orva_drvadp_comm.h"
#include "platform_double.h"

namespace {

using namespace orva_test;
using Records = std::vector<std::string>;

class ApiLog : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        platform().slot = 3;
        ORVA_DRVADP_SetSelfChassisVar(1);
        ORVA_DRVADP_GetSelfSlotVar();
    }
};

// ---- Wording

// Code (hex) and name of every row, in order.
constexpr const char *kSensorTypes[] = {
    "01 temperature",
    "02 voltage",
    "03 current",
    "04 fan",
    "05 physical security",
    "06 platform security",
    "07 processor",
    "08 power supply",
    "09 power unit",
    "0A cooling device",
    "0B other unit based",
    "0C memory",
    "0D drive slot",
    "0E post memory resize",
    "0F system firmware progress",
    "10 event logging disabled",
    "11 watch dog1",
    "12 system event",
    "13 critical interrupt",
    "14 button",
    "15 module board",
    "16 microcontroller",
    "17 addin card",
    "18 chassis",
    "19 sensor chipset",
    "1A other fru",
    "1B cable",
    "1C terminator",
    "1D system boot initiated",
    "1E boot error",
    "1F os boot",
    "20 os critical stop",
    "21 slot",
    "22 acpi power state",
    "23 watch dog2",
    "24 platform alert",
    "25 entity presence",
    "26 monitor asic",
    "27 lan",
    "28 management subsystem",
    "29 battery",
    "30 71xx",
    "31 pbm",
    "53 single can invalid",
    "56 boardin alarm",
    "7C fan block",
    "7D blade reset",
    "7E io",
    "7F clock invalid",
    "80 48v check",
    "A0 pwr cpld PG signal",
    "A3 i2c invalid",
    "A5 gdq invalid",
    "A6 pwr cpld",
    "A7 pwr epld IIC",
    "A8 pwr epld power off flag",
    "A9 pwr epld ADC i2c invalid",
    "A2 current nobalance",
    "E0 oem e0",
    "ED oem ed",
    "EE oem ee",
    "EF oem ef",
    "F0 hotswap",
    "F1 can invalid",
    "F2 epld test",
    "F3 humidity",
    "F4 canbus communication invalid",
    "F5 all card i2c alert",
    "F6 vrm alert",
    "F7 e2prom alert",
    "F8 systemboard i2c alert",
    "F9 corroded voltage alert",
    "FA spi chan invalid",
    "FD 9555 i2c burnout",
    "FE poe burnout",
    "9E environment check",
    "9F salt fog check",
    "FF type end",
};

TEST_F(ApiLog, SensorTypeTable_HoldsItsRowsInOrder) {
    ASSERT_EQ(std::size(kSensorTypes), 78u);
    ASSERT_EQ(std::size(g_sensorTypeDesc), 78u);
    for (std::size_t i = 0; i < std::size(kSensorTypes); ++i) {
        char *name = nullptr;
        EXPECT_EQ(g_sensorTypeDesc[i].type, std::strtoul(kSensorTypes[i], &name, 16)) << i;
        EXPECT_STREQ(g_sensorTypeDesc[i].name, name + 1) << i;
    }
}

TEST_F(ApiLog, GetSensorTypeDesc_NamesEveryCodeAndNoOther) {
    std::set<unsigned long> known;
    for (const char *row : kSensorTypes) {
        char *name = nullptr;
        const unsigned long code = std::strtoul(row, &name, 16);
        known.insert(code);
        EXPECT_STREQ(ORVA_ALARM_GetSensorTypeDesc(static_cast<std::uint8_t>(code)), name + 1);
    }
    EXPECT_EQ(known.size(), 78u);
    for (unsigned code = 0; code <= 0xFF; ++code) {
        if (known.count(code) == 0) {
            EXPECT_STREQ(ORVA_ALARM_GetSensorTypeDesc(static_cast<std::uint8_t>(code)), "unknown") << code;
        }
    }
    EXPECT_STREQ(ORVA_ALARM_GetSensorTypeDesc(0xF3), "humidity");
    EXPECT_STREQ(ORVA_ALARM_GetSensorTypeDesc(0xFF), "type end");
    EXPECT_STREQ(ORVA_ALARM_GetSensorTypeDesc(0x2A), "unknown");
    EXPECT_STREQ(ORVA_ALARM_GetSensorTypeDesc(0), "unknown");
}

TEST_F(ApiLog, GetTypeDescByInfoId_ReturnsTheLegendOrNull) {
    const std::pair<std::uint32_t, const char *> legends[] = {
        {0xCE41018, "[0:AC 1:DC 2:HVDC 3/4:TRANSBOARD 5:UNKNOWN]"},
        {0xCE41008, "[0:POWER_OFF 1:POWER_ON 2:POWER_SLEEP 3:FAKE OFF 4:FAKE SLEEP]"},
        {0xCE4102A, "[0:PLUG_IN 1:PLUG_OUT]"},
        {0xCE4102C, "[0:PLUG_IN 1:PLUG_OUT]"},
    };
    ASSERT_EQ(std::size(g_dlogInfoDesc), 4u);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(g_dlogInfoDesc[i].infoId, legends[i].first);
        EXPECT_STREQ(g_dlogInfoDesc[i].legend, legends[i].second);
        EXPECT_EQ(ORVA_GetTypeDescByInfoId(legends[i].first), g_dlogInfoDesc[i].legend);
    }
    for (const std::uint32_t infoId : {0xCE41017u, 0xCE41019u, 0u, 1u, 0xFFFFFFFFu}) {
        EXPECT_EQ(ORVA_GetTypeDescByInfoId(infoId), nullptr) << infoId;
    }
}

OrvaPositionDesc unset_desc() {
    OrvaPositionDesc desc;
    std::memset(&desc, '#', sizeof desc);
    desc.idKind = 77;
    return desc;
}

TEST_F(ApiLog, GetIdDescByInfoId_WordsThePositionByKind) {
    OrvaPositionDesc desc = unset_desc();
    ORVA_GetIdDescByInfoId(1, &desc);
    EXPECT_EQ(desc.idKind, 1u);
    EXPECT_EQ(desc.infoId, 0xCE41017u);
    EXPECT_STREQ(desc.slotPrefix, "[DrvSlot=");
    EXPECT_STREQ(desc.fruPrefix, ", DrvFruId=");
    ORVA_GetIdDescByInfoId(2, &desc);
    EXPECT_EQ(desc.idKind, 2u);
    EXPECT_EQ(desc.infoId, 0xCE41017u);
    EXPECT_STREQ(desc.slotPrefix, "[PhySlot=");
    EXPECT_STREQ(desc.fruPrefix, ", PhyFruId=");
    for (const std::uint32_t infoId : {0u, 3u, 0xCE41008u, 0xFFFFFFFFu}) {
        desc = unset_desc();
        ORVA_GetIdDescByInfoId(infoId, &desc);
        EXPECT_EQ(desc.idKind, 77u);
        EXPECT_EQ(desc.infoId, infoId);
        EXPECT_STREQ(desc.slotPrefix, "[Slot=");
        EXPECT_STREQ(desc.fruPrefix, ", FruId=");
    }
    ORVA_GetIdDescByInfoId(1, nullptr);
    ORVA_GetIdDescByInfoId(3, nullptr);
}

TEST_F(ApiLog, EncodeDefaultDesc_RecordsAFailedCopyAndGoesOn) {
    OrvaPositionDesc desc = unset_desc();
    fail("strcpy_s", 1, 34);
    ORVA_EncodeDefaultDesc(0x1234, &desc);
    EXPECT_EQ(desc.idKind, 77u);
    EXPECT_EQ(desc.infoId, 0x1234u);
    EXPECT_EQ(desc.slotPrefix[0], '#');
    EXPECT_STREQ(desc.fruPrefix, ", FruId=");
    EXPECT_EQ(take_logs_without_lines(), Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]strcpy error, "
                                                 "f=orva_api_log, l=N, ret=34"});
    fail("strcpy_s", 2, 22);
    ORVA_EncodeDefaultDesc(0x1234, &desc);
    EXPECT_STREQ(desc.slotPrefix, "[Slot=");
    EXPECT_EQ(take_logs_without_lines(), Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]strcpy error, "
                                                 "f=orva_api_log, l=N, ret=22"});
    ORVA_EncodeDefaultDesc(1, nullptr);
}

// ---- What the five formatters share

// One formatter with fixed arguments around a text.
struct Formatter {
    const char *name;
    void (*report)(const char *text);
    std::vector<std::string> heads; // of the records that it writes, up to the text
    bool reportsEmptyTexts;
    bool reportsABuildFailure;
};

const Formatter kFormatters[] = {
    {"DiagFemaByType",
     [](const char *text) { ORVA_DiagFemaByType(0xCE41008, 3, 1, 9, 4, "%s", text); },
     {"DLog(0x0, 0xce41008, 0x4, 0x0, 0x0) [Position: 1/3][Slot=3, FruId=1], Type=9, "},
     false,
     false},
    {"SensorFemaByNoAndType",
     [](const char *text) { ORVA_SensorFemaByNoAndType(0xCE41009, 3, 1, 7, 9, 4, "%s", text); },
     {"DLog(0x0, 0xce41009, 0x4, 0x0, 0x0) [Position: 1/3][Slot=3, FruId=1], SensorNo=7, Type=9, "},
     true,
     true},
    {"DiagFema",
     [](const char *text) { ORVA_DiagFema(2, 4, 0, 5, "%s", text); },
     {"DLog(0x0, 0xce41017, 0x5, 0x0, 0x0) [Position: 1/3][PhySlot=4, PhyFruId=0], "},
     true,
     true},
    {"CardFemaByType",
     [](const char *text) { ORVA_CardFemaByType(0xCE4100A, 2, 9, 6, "%s", text); },
     {"DLog(0x0, 0xce4100a, 0x6, 0x0, 0x0) [Position: 1/3][CardId=2], Type=9, "},
     true,
     true},
    {"SecurityEventLog",
     [](const char *text) { ORVA_SecurityEventLog(0xCE4102A, 3, 1, 0, 7, "%s", text); },
     {"SecurityEventLog(0x0, 0xce4102a, 0x7, 0x0, 0x0) [Position: 1/3][Slot=3, FruId=1], Type=0[0:PLUG_IN "
      "1:PLUG_OUT], ",
      "LifeCycleLog(0x0, 0xce4102c, 0x7, 0x0, 0x0) [Position: 1/3][Slot=3, FruId=1], Type=0[0:PLUG_IN 1:PLUG_OUT], "},
     true,
     true},
};

Records records_of(const Formatter &formatter, const std::string &text) {
    Records records;
    for (const std::string &head : formatter.heads) {
        records.push_back(head + text);
    }
    return records;
}

TEST_F(ApiLog, Formatters_BuildTheirLineAroundTheText) {
    for (const Formatter &formatter : kFormatters) {
        SCOPED_TRACE(formatter.name);
        formatter.report("fault 7 of 100%");
        EXPECT_EQ(take_logs(), records_of(formatter, "fault 7 of 100%"));
        EXPECT_EQ(live_blocks(), 0u);
    }
}

TEST_F(ApiLog, Formatters_RemoveOneLineEnd) {
    for (const Formatter &formatter : kFormatters) {
        SCOPED_TRACE(formatter.name);
        formatter.report("fault\n");
        EXPECT_EQ(take_logs(), records_of(formatter, "fault"));
        formatter.report("fault\n\n");
        EXPECT_EQ(take_logs(), records_of(formatter, "fault\n"));
        formatter.report("\nfault");
        EXPECT_EQ(take_logs(), records_of(formatter, "\nfault"));
        formatter.report("fault\r\n");
        EXPECT_EQ(take_logs(), records_of(formatter, "fault\r"));
    }
}

TEST_F(ApiLog, Formatters_ReportEmptyTextsExceptOne) {
    for (const Formatter &formatter : kFormatters) {
        SCOPED_TRACE(formatter.name);
        for (const char *text : {"", "\n"}) {
            formatter.report(text);
            EXPECT_EQ(take_logs(), formatter.reportsEmptyTexts ? records_of(formatter, "") : Records{});
        }
    }
}

TEST_F(ApiLog, Formatters_TruncateTheTextAt511Characters) {
    // The diagnostic log keeps 511 characters of the line in its turn.
    for (const Formatter &formatter : kFormatters) {
        SCOPED_TRACE(formatter.name);
        formatter.report((std::string(511, 'x') + "\nmore").c_str());
        const Records records = take_logs();
        ASSERT_EQ(records.size(), formatter.heads.size());
        for (std::size_t i = 0; i < records.size(); ++i) {
            const std::string whole = formatter.heads[i] + std::string(511, 'x');
            const std::size_t position = whole.find("[Position: 1/3]") + 15;
            const bool isDlog = whole.rfind("DLog", 0) == 0;
            EXPECT_EQ(records[i], isDlog ? whole.substr(0, position + 511) : whole);
        }
    }
}

TEST_F(ApiLog, Formatters_SearchTheTruncatedTextForTheLineEnd) {
    for (const Formatter &formatter : kFormatters) {
        SCOPED_TRACE(formatter.name);
        formatter.report((std::string(400, 'x') + std::string(110, 'y') + "\n\n").c_str());
        for (const std::string &record : take_logs()) {
            EXPECT_EQ(record.find('\n'), std::string::npos);
        }
    }
}

TEST_F(ApiLog, Formatters_UseTwoBuffersOfThePartition) {
    for (const Formatter &formatter : kFormatters) {
        SCOPED_TRACE(formatter.name);
        platform().allocations.clear();
        formatter.report("x");
        ASSERT_EQ(platform().allocations.size(), 2u);
        EXPECT_EQ(platform().allocations[0].size, 512u);
        EXPECT_EQ(platform().allocations[1].size, 592u);
        EXPECT_EQ(platform().allocations[0].file, "src/comm/orva_api_log");
        EXPECT_EQ(platform().allocations[1].file, "src/comm/orva_api_log");
        take_logs();
    }
}

TEST_F(ApiLog, Formatters_WriteNothingWithoutMemory) {
    for (const Formatter &formatter : kFormatters) {
        SCOPED_TRACE(formatter.name);
        const unsigned walked = walk_allocation_failures([&] { formatter.report("x"); },
                                                         [&](unsigned) {
                                                             EXPECT_EQ(take_logs(), Records{});
                                                             EXPECT_EQ(live_blocks(), 0u);
                                                         });
        EXPECT_EQ(walked, 2u);
        EXPECT_EQ(take_logs(), records_of(formatter, "x"));
        const unsigned calls = calls_of("MIRO_MemAlloc_F");
        ORVA_SetMemHandle(0);
        formatter.report("x");
        EXPECT_EQ(take_logs(), Records{});
        EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), calls);
        ORVA_SetMemHandle(0x1234);
    }
}

TEST_F(ApiLog, Formatters_GiveUpSilentlyOnATextThatCannotBeFormatted) {
    for (const Formatter &formatter : kFormatters) {
        SCOPED_TRACE(formatter.name);
        fail("vsnprintf_s", 1, -1);
        formatter.report("x");
        EXPECT_EQ(take_logs(), Records{});
        EXPECT_EQ(live_blocks(), 0u);
    }
}

TEST_F(ApiLog, Formatters_RecordALineThatCannotBeBuiltExceptOne) {
    const Records failure{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]sprintf error, f=orva_api_log, l=N, "
                          "ret=-1"};
    for (const Formatter &formatter : kFormatters) {
        SCOPED_TRACE(formatter.name);
        fail("sprintf_s", 1, -1);
        formatter.report("x");
        EXPECT_EQ(take_logs_without_lines(), formatter.reportsABuildFailure ? failure : Records{});
        EXPECT_EQ(live_blocks(), 0u);
    }
}

TEST_F(ApiLog, Formatters_RecordARefusingLog) {
    platform().dlogResult = 0x31;
    platform().securityResult = 0x30;
    platform().lifeCycleResult = 0x01;
    for (const Formatter &formatter : kFormatters) {
        SCOPED_TRACE(formatter.name);
        formatter.report("x");
        Records expected = records_of(formatter, "x");
        expected.push_back("WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]mem copy error, f=orva_api_log, l=N, "
                           "Ret=49");
        EXPECT_EQ(take_logs_without_lines(), expected);
        EXPECT_EQ(live_blocks(), 0u);
    }
}

TEST_F(ApiLog, Formatters_NameTheirOwnLineInARecord) {
    std::set<std::string> records;
    for (const Formatter &formatter : kFormatters) {
        fail("TOVA_DLog", 1, 5);
        fail("TOVA_SecurityEventLog", 1, 5);
        formatter.report("x");
        records.insert(take_logs().back());
    }
    EXPECT_EQ(records.size(), std::size(kFormatters));
}

// ---- What each formatter has of its own

struct PowerCase {
    std::uint32_t type;
    const char *printed;
};

constexpr PowerCase kPowerCases[] = {{0xFF, "5"}, {0, "0"}, {5, "5"}, {0xFE, "254"}, {0x1FF, "511"}};

TEST_F(ApiLog, DiagFemaByType_PrintsTheLegendOfThePowerInput) {
    for (const PowerCase &row : kPowerCases) {
        ORVA_DiagFemaByType(0xCE41018, 3, 1, row.type, 0, "fault %d\n", 7);
        EXPECT_EQ(take_logs(), Records{std::string("DLog(0x0, 0xce41018, 0x0, 0x0, 0x0) [Position: 1/3][Slot=3, "
                                                   "FruId=1], Type=") +
                                       row.printed + "[0:AC 1:DC 2:HVDC 3/4:TRANSBOARD 5:UNKNOWN], fault 7"});
    }
}

TEST_F(ApiLog, DiagFemaByType_PrintsNoLegendForAnyOtherId) {
    ORVA_DiagFemaByType(0xCE4102A, 0xFFFFFFFF, 0x80000000, 0xFF, 0xFFFFFFFF, "x");
    EXPECT_EQ(take_logs(), Records{"DLog(0x0, 0xce4102a, 0xffffffff, 0x0, 0x0) [Position: 1/3][Slot=4294967295, "
                                   "FruId=2147483648], Type=255, x"});
}

TEST_F(ApiLog, DiagFemaByType_IsSilentWhenTheLineDoesNotFit) {
    // Beside a text of 511 characters there is room for 80, and these numbers and the legend take 97.
    ORVA_DiagFemaByType(0xCE41018, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0, "%s", std::string(511, 'x').c_str());
    EXPECT_EQ(take_logs(), Records{});
    EXPECT_EQ(live_blocks(), 0u);
}

TEST_F(ApiLog, DiagFema_ChoosesWordingAndIdByKind) {
    ORVA_DiagFema(1, 4, 0, 0, "x");
    ORVA_DiagFema(2, 4, 0, 0, "x");
    ORVA_DiagFema(0xCE41008, 4, 0, 0, "x");
    ORVA_DiagFema(0, 0xFFFFFFFF, 0xFFFFFFFF, 9, "%u", 0xFFFFFFFFu);
    EXPECT_EQ(take_logs(),
              (Records{"DLog(0x0, 0xce41017, 0x0, 0x0, 0x0) [Position: 1/3][DrvSlot=4, DrvFruId=0], x",
                       "DLog(0x0, 0xce41017, 0x0, 0x0, 0x0) [Position: 1/3][PhySlot=4, PhyFruId=0], x",
                       "DLog(0x0, 0xce41008, 0x0, 0x0, 0x0) [Position: 1/3][Slot=4, FruId=0], x",
                       "DLog(0x0, 0x0, 0x9, 0x0, 0x0) [Position: 1/3][Slot=4294967295, FruId=4294967295], "
                       "4294967295"}));
}

TEST_F(ApiLog, DiagFema_ReportsAPrefixThatCannotBeCopiedAndGoesOn) {
    fail("strcpy_s", 1, 22);
    ORVA_DiagFema(0xCE41008, 4, 0, 0, "x");
    EXPECT_EQ(take_logs_without_lines(),
              (Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]strcpy error, f=orva_api_log, l=N, ret=22",
                       "DLog(0x0, 0xce41008, 0x0, 0x0, 0x0) [Position: 1/3]4, FruId=0], x"}));
}

TEST_F(ApiLog, CardFemaByType_NamesTheCard) {
    ORVA_CardFemaByType(0xCE41001, 2, 9, 0, "y");
    EXPECT_EQ(take_logs(), Records{"DLog(0x0, 0xce41001, 0x0, 0x0, 0x0) [Position: 1/3][CardId=2], Type=9, y"});
}

TEST_F(ApiLog, Formatters_ReportARecordThatTheDiagnosticLogCannotForm) {
    fail("vsnprintf_s", 2, -1); // the second text is the record's
    ORVA_CardFemaByType(0xCE41001, 2, 9, 0, "y");
    EXPECT_EQ(
        take_logs_without_lines(),
        Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]mem copy error, f=orva_api_log, l=N, Ret=1"});
}

// ---- Security events

TEST_F(ApiLog, SecurityEventLog_PrintsAnEmptyLegendForAnyOtherId) {
    ORVA_SecurityEventLog(0xCE41017, 3, 1, 0xFF, 2, "x");
    EXPECT_EQ(take_logs(),
              (Records{"SecurityEventLog(0x0, 0xce41017, 0x2, 0x0, 0x0) [Position: 1/3][Slot=3, FruId=1], "
                       "Type=255, x",
                       "LifeCycleLog(0x0, 0xce4102c, 0x2, 0x0, 0x0) [Position: 1/3][Slot=3, FruId=1], "
                       "Type=255, x"}));
}

TEST_F(ApiLog, SecurityEventLog_SubstitutesNothingForThePowerInput) {
    ORVA_SecurityEventLog(0xCE41018, 3, 1, 0xFF, 2, "x");
    EXPECT_EQ(take_logs()[0], "SecurityEventLog(0x0, 0xce41018, 0x2, 0x0, 0x0) [Position: 1/3][Slot=3, FruId=1], "
                              "Type=255[0:AC 1:DC 2:HVDC 3/4:TRANSBOARD 5:UNKNOWN], x");
}

TEST_F(ApiLog, SecurityEventLog_PrintsChassisZeroAndAsksForItsSlotFirst) {
    ORVA_DRVADP_SetSelfChassisVar(0);
    g_selfBoardBase.selfSlot = ORVA_SELF_SLOT_UNKNOWN;
    platform().slot = 12;
    platform().calls.clear();
    ORVA_SecurityEventLog(1, 3, 1, 0, 0, "x");
    EXPECT_EQ(platform().calls, Records{"drv_board_get_self_logic_slotid()"});
    EXPECT_EQ(take_logs()[0],
              "SecurityEventLog(0x0, 0x1, 0x0, 0x0, 0x0) [Position: 0/12][Slot=3, FruId=1], Type=0, x");
}

TEST_F(ApiLog, SecurityEventLog_IsItsOwnFormatWithPercentSignsDoubled) {
    ORVA_SecurityEventLog(1, 3, 1, 0, 0, "%s", "100% of %s and %n%%");
    ASSERT_EQ(platform().formats.size(), 2u);
    for (const std::string &format : platform().formats) {
        EXPECT_EQ(format, "[Position: 1/3][Slot=3, FruId=1], Type=0, 100%% of %%s and %%n%%%%");
    }
    EXPECT_EQ(take_logs(), (Records{"SecurityEventLog(0x0, 0x1, 0x0, 0x0, 0x0) [Position: 1/3][Slot=3, FruId=1], "
                                    "Type=0, 100% of %s and %n%%",
                                    "LifeCycleLog(0x0, 0xce4102c, 0x0, 0x0, 0x0) [Position: 1/3][Slot=3, FruId=1], "
                                    "Type=0, 100% of %s and %n%%"}));
}

TEST_F(ApiLog, SecurityEventLog_DoublesALineThatIsFullOfPercentSigns) {
    ORVA_SecurityEventLog(1, 3, 1, 0, 0, "%s", std::string(600, '%').c_str());
    const Records records = take_logs();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0], "SecurityEventLog(0x0, 0x1, 0x0, 0x0, 0x0) [Position: 1/3][Slot=3, FruId=1], Type=0, " +
                              std::string(511, '%'));
}

TEST_F(ApiLog, SecurityEventLog_RecordsALineThatDoesNotFit) {
    const std::string head =
        "[Position: 1/3][Slot=3, FruId=1], Type=0[0:POWER_OFF 1:POWER_ON 2:POWER_SLEEP 3:FAKE OFF "
        "4:FAKE SLEEP], ";
    const std::string fill(591 - head.size(), 'x');
    ORVA_SecurityEventLog(0xCE41008, 3, 1, 0, 0, "%s", fill.c_str());
    EXPECT_EQ(take_logs(), (Records{"SecurityEventLog(0x0, 0xce41008, 0x0, 0x0, 0x0) " + head + fill,
                                    "LifeCycleLog(0x0, 0xce4102c, 0x0, 0x0, 0x0) " + head + fill}));
    ORVA_SecurityEventLog(0xCE41008, 3, 1, 0, 0, "%sx", fill.c_str());
    EXPECT_EQ(take_logs_without_lines(), Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]sprintf error, "
                                                 "f=orva_api_log, l=N, ret=-1"});
}

TEST_F(ApiLog, SecurityEventLog_WritesBothLogsWhateverTheFirstSays) {
    fail("TOVA_SecurityEventLog", 1, 6);
    ORVA_SecurityEventLog(1, 3, 1, 0, 0, "x");
    const Records records = take_logs_without_lines();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[1].rfind("LifeCycleLog(", 0), 0u);
    EXPECT_EQ(records[2],
              "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]mem copy error, f=orva_api_log, l=N, Ret=6");
}

} // namespace
