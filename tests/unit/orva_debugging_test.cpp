#include "orva_debugging.h"

#include <cstring>
#include <vector>

#include "../../src/comm/log_record.h"
#include "debug_sink.h"
#include "log_line.h"
#include "orva_drvadp_comm.h"
#include "platform_double.h"

namespace {

using namespace orva_test;
using Records = std::vector<std::string>;

class Debugging : public PlatformTest {
protected:
    static bool everything_is_off() {
        const OrvaDebugSwitch off{};
        return std::memcmp(&g_sOrvaDebugSwtich, &off, sizeof off) == 0;
    }
};

// ---- Log switch

TEST_F(Debugging, SwitchRecord_IsAllOffAtLoad) {
    EXPECT_TRUE(everything_is_off());
    EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0x10000, 4), 0u);
    EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0xFFFFFFFF, 0xFFFFFFFF), 0u);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogModule(), 0u);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogLevel(), 0u);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogSlotId(), 0u);
}

TEST_F(Debugging, LogSetters_OverwriteTheirOwnFieldOnly) {
    ORVA_DEBUG_SetCurLogModule(0xF0F0F0F0);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogModule(), 0xF0F0F0F0u);
    ORVA_DEBUG_SetCurLogLevel(0xA5);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogLevel(), 0xA5u);
    ORVA_DEBUG_SetCurLogSlotId(0x12345678);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogSlotId(), 0x12345678u);

    OrvaDebugSwitch expected{};
    expected.logModuleMask = 0xF0F0F0F0;
    expected.logLevelMask = 0xA5;
    expected.logSlotId = 0x12345678;
    EXPECT_EQ(std::memcmp(&g_sOrvaDebugSwtich, &expected, sizeof expected), 0);

    ORVA_DEBUG_SetCurLogModule(1);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogModule(), 1u);
}

TEST_F(Debugging, SetLogSwitchOn_OpensTheGateForItsModulesAtEveryLevelBit) {
    ORVA_DEBUG_SetLogSwitchOn(0x10000, 5);
    EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0x10000, 4), 1u);
    EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0x10000, 2), 1u);
    EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0x30000, 0x80), 1u);
    EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0x20000, 4), 0u);
    EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0x10000, 0), 0u);
    EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0x10000, 0x100), 0u);
    EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0, 4), 0u);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogSlotId(), 5u);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogLevel(), 0xFFu);
}

TEST_F(Debugging, SetLogSwitchOn_AddsModulesAndReplacesTheSlot) {
    ORVA_DEBUG_SetLogSwitchOn(0x10000, 5);
    ORVA_DEBUG_SetCurLogLevel(0x02);
    ORVA_DEBUG_SetLogSwitchOn(0x00400, 9);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogModule(), 0x10400u);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogSlotId(), 9u);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogLevel(), 0xFFu);
}

TEST_F(Debugging, LogSwitchIsOn_TestsLevelsAsBits) {
    ORVA_DEBUG_SetLogSwitchOn(0x10000, 0);
    ORVA_DEBUG_SetCurLogLevel(0x02);
    EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0x10000, 2), 1u);
    EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0x10000, 1), 0u);
    EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0x10000, 4), 0u);
    EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0x10000, 6), 1u);
}

struct OffCase {
    const char *name;
    std::uint32_t mask;
    std::uint32_t module, level, slot; // afterwards, from 0x30000, 0xFF and 5
};

constexpr OffCase kOffCases[] = {
    {"one module", 0x10000, 0x20000, 0xFF, 5},
    {"a module that is not on", 0x00400, 0x30000, 0xFF, 5},
    {"nothing means everything", 0, 0, 0, 0},
    {"the top bit alone means everything", 0x80000000, 0, 0, 0},
    {"all bits clear modules only", 0xFFFFFFFF, 0, 0xFF, 5},
    {"top bit with another", 0x80010000, 0x20000, 0xFF, 5},
};

TEST_F(Debugging, SetLogSwitchOff_ClearsItsModulesOrEverything) {
    for (const OffCase &row : kOffCases) {
        SCOPED_TRACE(row.name);
        ORVA_DEBUG_SetLogSwitchOff(0);
        ORVA_DEBUG_SetLogSwitchOn(0x30000, 5);
        ORVA_DEBUG_SetLogSwitchOff(row.mask);
        EXPECT_EQ(ORVA_DEBUG_GetCurLogModule(), row.module);
        EXPECT_EQ(ORVA_DEBUG_GetCurLogLevel(), row.level);
        EXPECT_EQ(ORVA_DEBUG_GetCurLogSlotId(), row.slot);
        EXPECT_EQ(ORVA_DEBUG_LogSwitchIsOn(0x20000, 4), row.module == 0 ? 0u : 1u);
    }
}

TEST_F(Debugging, SetLogSwitchOff_WithTheTopBitClearsThatModuleBeforeEverything) {
    ORVA_DEBUG_SetLogSwitchOn(0x80000001, 7);
    ORVA_DEBUG_SetLogSwitchOff(0x80000000);
    EXPECT_TRUE(everything_is_off());
}

TEST_F(Debugging, CliLog_SwitchesOnForAnyNonZeroAndOffForZero) {
    EXPECT_EQ(ORVA_CLI_ProcessDebugDeviceOrvaLog(2, 0x30000, 8), 0u);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogModule(), 0x30000u);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogLevel(), 0xFFu);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogSlotId(), 8u);
    EXPECT_EQ(ORVA_CLI_ProcessDebugDeviceOrvaLog(0, 0x10000, 99), 0u);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogModule(), 0x20000u);
    EXPECT_EQ(ORVA_DEBUG_GetCurLogSlotId(), 8u);
    EXPECT_EQ(ORVA_CLI_ProcessDebugDeviceOrvaLog(0, 0, 99), 0u);
    EXPECT_TRUE(everything_is_off());
}

// ---- Packet switches

// A bus with a filter: how to set it, how to ask, and where it is kept.
struct FilteredBus {
    const char *name;
    std::uint32_t type;
    OrvaPacketSetFunc set;
    OrvaPacketIsOnFunc isOn;
    std::uint32_t OrvaDebugSwitch::*on;
    std::uint16_t OrvaDebugSwitch::*cmd;
    std::uint8_t OrvaDebugSwitch::*netFn;
};

const FilteredBus kFilteredBuses[] = {
    {"UDP", 0, ORVA_DEBUG_SetUdpPacketSwitch, ORVA_DEBUG_UdpPacketSwitchIsOn, &OrvaDebugSwitch::udpSwitch,
     &OrvaDebugSwitch::udpCmd, &OrvaDebugSwitch::udpNetFn},
    {"IPMB", 2, ORVA_DEBUG_SetIpmbPacketSwitch, ORVA_DEBUG_IpmbPacketSwitchIsOn, &OrvaDebugSwitch::ipmbSwitch,
     &OrvaDebugSwitch::ipmbCmd, &OrvaDebugSwitch::ipmbNetFn},
};

struct FilterCase {
    const char *name;
    std::uint32_t onOff, netFn, cmd; // what is set
    std::uint8_t packetNetFn;
    std::uint16_t packetCmd;
    std::uint32_t isOn;
};

constexpr FilterCase kFilterCases[] = {
    {"off", 0, 6, 1, 6, 1, 0},
    {"off lets nothing through, wildcard or not", 0, 0x20, 0xFF, 6, 1, 0},
    {"equal netFn and command", 1, 6, 1, 6, 1, 1},
    {"equal netFn, other command", 1, 6, 1, 6, 2, 0},
    {"other netFn, equal command", 1, 6, 1, 7, 1, 0},
    {"any command, equal netFn", 1, 6, 0xFF, 6, 1, 1},
    {"any command, equal netFn, wide command", 1, 6, 0xFF, 6, 0x1234, 1},
    {"any command, other netFn", 1, 6, 0xFF, 7, 1, 0},
    {"any netFn", 1, 0x20, 0, 7, 1, 1},
    {"any netFn, whatever the command filter", 1, 0x20, 0x33, 0x3F, 0xFFFF, 1},
    {"command 0xFFFF is not a wildcard", 1, 6, 0xFFFF, 6, 1, 0},
    {"only the low bits of the filter count", 1, 0x106, 0x10001, 6, 1, 1},
    {"filter of zero lets zero through", 1, 0, 0, 0, 0, 1},
};

TEST_F(Debugging, FilteredSwitches_LetPacketsThroughByNetFnAndCommand) {
    for (const FilteredBus &bus : kFilteredBuses) {
        for (const FilterCase &row : kFilterCases) {
            SCOPED_TRACE(std::string(bus.name) + ": " + row.name);
            bus.set(row.onOff, row.netFn, row.cmd);
            EXPECT_EQ(bus.isOn(row.packetNetFn, row.packetCmd), row.isOn);
            EXPECT_EQ(ORVA_DEBUG_PacketSwitchIsOn(bus.type, row.packetNetFn, row.packetCmd), row.isOn);
        }
    }
}

TEST_F(Debugging, FilteredSwitches_StoreTheLowBitsOfTheFilter) {
    for (const FilteredBus &bus : kFilteredBuses) {
        SCOPED_TRACE(bus.name);
        g_sOrvaDebugSwtich = {};
        bus.set(1, 0xABCD06, 0x98765432);
        OrvaDebugSwitch expected{};
        expected.*bus.on = 1;
        expected.*bus.netFn = 0x06;
        expected.*bus.cmd = 0x5432;
        EXPECT_EQ(std::memcmp(&g_sOrvaDebugSwtich, &expected, sizeof expected), 0);
    }
}

TEST_F(Debugging, FilteredSwitches_AreOnForOneOnly) {
    for (const FilteredBus &bus : kFilteredBuses) {
        for (const std::uint32_t onOff : {0u, 2u, 0xFFFFFFFFu, 0x101u}) {
            SCOPED_TRACE(std::string(bus.name) + " " + std::to_string(onOff));
            bus.set(1, 7, 9);
            bus.set(onOff, 7, 9);
            EXPECT_TRUE(everything_is_off());
        }
    }
}

TEST_F(Debugging, FilteredSwitches_TreatAnyStoredWordAsOn) {
    g_sOrvaDebugSwtich.udpSwitch = 5;
    EXPECT_EQ(ORVA_DEBUG_UdpPacketSwitchIsOn(0, 0), 1u);
    EXPECT_EQ(ORVA_DEBUG_UdpPacketSwitchIsOn(1, 0), 0u);
}

TEST_F(Debugging, PlainSwitches_AreOnForOneOnlyAndReturnTheStoredWord) {
    for (const std::uint32_t onOff : {1u, 0u, 1u, 2u, 1u, 0xFFFFFFFFu}) {
        ORVA_DEBUG_SetCanPacketSwitch(onOff);
        EXPECT_EQ(ORVA_DEBUG_CanPacketSwitchIsOn(), onOff == 1 ? 1u : 0u);
        EXPECT_EQ(g_sOrvaDebugSwtich.canSwitch, onOff == 1 ? 1u : 0u);
        EXPECT_EQ(ORVA_DEBUG_Rs485PacketSwitchIsOn(), 0u);
    }
    ORVA_DEBUG_SetCanPacketSwitch(0);
    for (const std::uint32_t onOff : {1u, 0u, 1u, 2u, 1u, 0xFFFFFFFFu}) {
        ORVA_DEBUG_SetRs485PacketSwitch(onOff);
        EXPECT_EQ(ORVA_DEBUG_Rs485PacketSwitchIsOn(), onOff == 1 ? 1u : 0u);
        EXPECT_EQ(g_sOrvaDebugSwtich.rs485Switch, onOff == 1 ? 1u : 0u);
        EXPECT_EQ(ORVA_DEBUG_CanPacketSwitchIsOn(), 0u);
    }
    g_sOrvaDebugSwtich.canSwitch = 0xDEAD;
    g_sOrvaDebugSwtich.rs485Switch = 0xBEEF;
    EXPECT_EQ(ORVA_DEBUG_CanPacketSwitchIsOn(), 0xDEADu);
    EXPECT_EQ(ORVA_DEBUG_Rs485PacketSwitchIsOn(), 0xBEEFu);
}

TEST_F(Debugging, SetSouthPacketSwitch_SetsAllSouthBusesAndLeavesUdpAlone) {
    ORVA_DEBUG_SetUdpPacketSwitch(1, 0x11, 0x22);
    ORVA_DEBUG_SetSouthPacketSwitch(1, 0x106, 0x100FF);
    OrvaDebugSwitch expected{};
    expected.udpSwitch = 1;
    expected.udpNetFn = 0x11;
    expected.udpCmd = 0x22;
    expected.ipmbSwitch = 1;
    expected.ipmbNetFn = 0x06;
    expected.ipmbCmd = 0x00FF;
    expected.canSwitch = 1;
    expected.rs485Switch = 1;
    EXPECT_EQ(std::memcmp(&g_sOrvaDebugSwtich, &expected, sizeof expected), 0);

    ORVA_DEBUG_SetSouthPacketSwitch(3, 1, 1);
    expected.ipmbSwitch = expected.canSwitch = expected.rs485Switch = 0;
    expected.ipmbNetFn = 0;
    expected.ipmbCmd = 0;
    EXPECT_EQ(std::memcmp(&g_sOrvaDebugSwtich, &expected, sizeof expected), 0);
}

void *address_of(void (*function)(void)) {
    return reinterpret_cast<void *>(function);
}
template <typename F>
void *address(F function) {
    return address_of(reinterpret_cast<void (*)(void)>(function));
}

TEST_F(Debugging, SwitchTables_HoldTheirRowsInOrder) {
    ASSERT_EQ(std::size(g_debugGetSwitchFunc), 4u);
    const std::pair<std::uint32_t, void *> isOn[] = {
        {0, address(ORVA_DEBUG_UdpPacketSwitchIsOn)},
        {2, address(ORVA_DEBUG_IpmbPacketSwitchIsOn)},
        {3, address(ORVA_DEBUG_Rs485PacketSwitchIsOn)},
        {4, address(ORVA_DEBUG_CanPacketSwitchIsOn)},
    };
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(g_debugGetSwitchFunc[i].type, isOn[i].first) << i;
        EXPECT_EQ(address(g_debugGetSwitchFunc[i].isOn), isOn[i].second) << i;
    }
    ASSERT_EQ(std::size(g_debugSetSwitchFunc), 5u);
    const std::pair<std::uint32_t, void *> set[] = {
        {0, address(ORVA_DEBUG_SetUdpPacketSwitch)},  {1, address(ORVA_DEBUG_SetSouthPacketSwitch)},
        {2, address(ORVA_DEBUG_SetIpmbPacketSwitch)}, {3, address(ORVA_DEBUG_SetRs485PacketSwitch)},
        {4, address(ORVA_DEBUG_SetCanPacketSwitch)},
    };
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(g_debugSetSwitchFunc[i].type, set[i].first) << i;
        EXPECT_EQ(address(g_debugSetSwitchFunc[i].set), set[i].second) << i;
    }
}

TEST_F(Debugging, PacketSwitchFuncs_AreFoundByTypeOrNull) {
    EXPECT_EQ(address(ORVA_DEBUG_GetPacketSwitchFunc(0)), address(ORVA_DEBUG_UdpPacketSwitchIsOn));
    EXPECT_EQ(ORVA_DEBUG_GetPacketSwitchFunc(1), nullptr);
    EXPECT_EQ(address(ORVA_DEBUG_GetPacketSwitchFunc(2)), address(ORVA_DEBUG_IpmbPacketSwitchIsOn));
    EXPECT_EQ(address(ORVA_DEBUG_GetPacketSwitchFunc(3)), address(ORVA_DEBUG_Rs485PacketSwitchIsOn));
    EXPECT_EQ(address(ORVA_DEBUG_GetPacketSwitchFunc(4)), address(ORVA_DEBUG_CanPacketSwitchIsOn));
    EXPECT_EQ(ORVA_DEBUG_GetPacketSwitchFunc(5), nullptr);
    EXPECT_EQ(ORVA_DEBUG_GetPacketSwitchFunc(0x100), nullptr);
    EXPECT_EQ(address(ORVA_DEBUG_SetPacketSwitchFunc(0)), address(ORVA_DEBUG_SetUdpPacketSwitch));
    EXPECT_EQ(address(ORVA_DEBUG_SetPacketSwitchFunc(1)), address(ORVA_DEBUG_SetSouthPacketSwitch));
    EXPECT_EQ(address(ORVA_DEBUG_SetPacketSwitchFunc(2)), address(ORVA_DEBUG_SetIpmbPacketSwitch));
    EXPECT_EQ(address(ORVA_DEBUG_SetPacketSwitchFunc(3)), address(ORVA_DEBUG_SetRs485PacketSwitch));
    EXPECT_EQ(address(ORVA_DEBUG_SetPacketSwitchFunc(4)), address(ORVA_DEBUG_SetCanPacketSwitch));
    EXPECT_EQ(ORVA_DEBUG_SetPacketSwitchFunc(5), nullptr);
    EXPECT_EQ(ORVA_DEBUG_SetPacketSwitchFunc(0x100), nullptr);
}

TEST_F(Debugging, PacketSwitchIsOn_IsOffForTypesWithoutARow) {
    ORVA_DEBUG_SetUdpPacketSwitch(1, 0x20, 0);
    ORVA_DEBUG_SetSouthPacketSwitch(1, 0x20, 0);
    EXPECT_EQ(ORVA_DEBUG_PacketSwitchIsOn(1, 6, 1), 0u);
    EXPECT_EQ(ORVA_DEBUG_PacketSwitchIsOn(5, 6, 1), 0u);
    EXPECT_EQ(ORVA_DEBUG_PacketSwitchIsOn(0xFFFFFFFF, 6, 1), 0u);
}

TEST_F(Debugging, PacketSwitchIsOn_PassesTheLowBitsAndIgnoresThemWithoutFilter) {
    ORVA_DEBUG_SetUdpPacketSwitch(1, 6, 1);
    EXPECT_EQ(ORVA_DEBUG_PacketSwitchIsOn(0, 0x106, 0x10001), 1u);
    EXPECT_EQ(ORVA_DEBUG_PacketSwitchIsOn(3, 6, 1), 0u);
    EXPECT_EQ(ORVA_DEBUG_PacketSwitchIsOn(4, 6, 1), 0u);
    g_sOrvaDebugSwtich.rs485Switch = 0x33;
    g_sOrvaDebugSwtich.canSwitch = 0x44;
    EXPECT_EQ(ORVA_DEBUG_PacketSwitchIsOn(3, 1, 2), 0x33u);
    EXPECT_EQ(ORVA_DEBUG_PacketSwitchIsOn(4, 1, 2), 0x44u);
}

TEST_F(Debugging, CliPacket_RefusesTypesWithoutARowAndChangesNothing) {
    for (const std::uint8_t type : {std::uint8_t{5}, std::uint8_t{7}, std::uint8_t{0xFF}}) {
        EXPECT_EQ(ORVA_CLI_ProcessDebugDeviceOrvaPacket(1, type, 0, 0), 1u);
        EXPECT_TRUE(everything_is_off());
    }
}

TEST_F(Debugging, CliPacket_SetsTheSwitchOfEachType) {
    EXPECT_EQ(ORVA_CLI_ProcessDebugDeviceOrvaPacket(1, 0, 6, 0xFF), 0u);
    EXPECT_EQ(g_sOrvaDebugSwtich.udpSwitch, 1u);
    EXPECT_EQ(g_sOrvaDebugSwtich.udpNetFn, 6);
    EXPECT_EQ(g_sOrvaDebugSwtich.udpCmd, 0xFF);
    EXPECT_EQ(g_sOrvaDebugSwtich.ipmbSwitch, 0u);

    EXPECT_EQ(ORVA_CLI_ProcessDebugDeviceOrvaPacket(1, 2, 7, 8), 0u);
    EXPECT_EQ(g_sOrvaDebugSwtich.ipmbSwitch, 1u);
    EXPECT_EQ(g_sOrvaDebugSwtich.ipmbNetFn, 7);
    EXPECT_EQ(g_sOrvaDebugSwtich.ipmbCmd, 8);

    EXPECT_EQ(ORVA_CLI_ProcessDebugDeviceOrvaPacket(1, 3, 7, 8), 0u);
    EXPECT_EQ(g_sOrvaDebugSwtich.rs485Switch, 1u);
    EXPECT_EQ(g_sOrvaDebugSwtich.canSwitch, 0u);

    EXPECT_EQ(ORVA_CLI_ProcessDebugDeviceOrvaPacket(1, 4, 7, 8), 0u);
    EXPECT_EQ(g_sOrvaDebugSwtich.canSwitch, 1u);

    EXPECT_EQ(ORVA_CLI_ProcessDebugDeviceOrvaPacket(0, 0, 0, 0), 0u);
    EXPECT_EQ(ORVA_CLI_ProcessDebugDeviceOrvaPacket(0, 1, 0, 0), 0u);
    EXPECT_TRUE(everything_is_off());
}

TEST_F(Debugging, CliPacket_SouthSwitchesItsThreeBusesTogether) {
    EXPECT_EQ(ORVA_CLI_ProcessDebugDeviceOrvaPacket(1, 1, 0x20, 0), 0u);
    EXPECT_EQ(g_sOrvaDebugSwtich.ipmbSwitch, 1u);
    EXPECT_EQ(g_sOrvaDebugSwtich.ipmbNetFn, 0x20);
    EXPECT_EQ(g_sOrvaDebugSwtich.canSwitch, 1u);
    EXPECT_EQ(g_sOrvaDebugSwtich.rs485Switch, 1u);
    EXPECT_EQ(g_sOrvaDebugSwtich.udpSwitch, 0u);
}

// ---- Records that every area writes

TEST_F(Debugging, GatedRecord_GoesToExactlyOneSink) {
    bind_debug_sink();
    platform().slot = 3;
    ORVA_LOG_DEBUG("The SrcSlot is invalid, SrcSlot: %u.", 31u);
    EXPECT_EQ(take_logs(), Records{"WriteLog(0x10000, 0x4) [ORVA_COMM][ORVA_LEVEL_DEBUG]The SrcSlot is invalid, "
                                   "SrcSlot: 31."});
    ORVA_DEBUG_SetLogSwitchOn(0x10000, 0);
    ORVA_LOG_DEBUG("The SrcSlot is invalid, SrcSlot: %u.", 31u);
    EXPECT_EQ(take_logs(),
              Records{"DebugSink(0x0, 0xce42011, NULL, 0xce4bc006) [Position: 0/3][ORVA_COMM]The SrcSlot "
                      "is invalid, SrcSlot: 31."});
}

TEST_F(Debugging, ErrorRecord_NeverAsksTheGate) {
    bind_debug_sink();
    ORVA_DEBUG_SetLogSwitchOn(0xFFFFFFFF, 0);
    orva::log_check_ptr_error(17);
    orva::log_check_ret_error(5, 18);
    orva::log_ret_code_error(6, 19);
    orva::log_check_true_error(20);
    EXPECT_EQ(take_logs(),
              (Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]check ptr error, l=17",
                       "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]check ret error, l=18, Ret = 5",
                       "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]retCode error, l=19, Ret=6",
                       "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]check true return error, "
                       "l=20"}));
}

// ---- Debug line

TEST_F(Debugging, OutLog_StampsThePositionAndReturnsTheSinksResult) {
    bind_debug_sink(0x4711);
    platform().slot = 3;
    ORVA_DRVADP_SetSelfChassisVar(2);
    EXPECT_EQ(ORVA_DEBUG_OutLog(0x10000, "fan %u of %s", 4u, "tray"), 0x4711u);
    EXPECT_EQ(platform().formats.back(), "%s");
    EXPECT_EQ(take_logs(), Records{"DebugSink(0x0, 0xce42011, NULL, 0xce4bc006) [Position: 2/3]fan 4 of tray"});
}

TEST_F(Debugging, OutLog_PrintsChassisZeroAndModulesWithoutSwitch) {
    bind_debug_sink();
    platform().slot = 3;
    EXPECT_EQ(ORVA_DEBUG_OutLog(0x6, "100%%"), 0u);
    EXPECT_EQ(take_logs(), Records{"DebugSink(0x0, 0xce42000, NULL, 0xce4bc006) [Position: 0/3]100%"});
}

TEST_F(Debugging, OutLog_ReportsAnEmptyText) {
    bind_debug_sink();
    platform().slot = 3;
    const std::string nothing;
    EXPECT_EQ(ORVA_DEBUG_OutLog(1, "%s", nothing.c_str()), 0u);
    EXPECT_EQ(take_logs(), Records{"DebugSink(0x0, 0xce42001, NULL, 0xce4bc006) [Position: 0/3]"});
}

TEST_F(Debugging, OutLog_TruncatesTheTextAt255Characters) {
    bind_debug_sink();
    platform().slot = 3;
    for (const std::size_t length : {254u, 255u, 256u, 1000u}) {
        EXPECT_EQ(ORVA_DEBUG_OutLog(1, "%s", std::string(length, 'x').c_str()), 0u);
        EXPECT_EQ(take_logs(), Records{"DebugSink(0x0, 0xce42001, NULL, 0xce4bc006) [Position: 0/3]" +
                                       std::string(std::min<std::size_t>(length, 255), 'x')});
    }
}

TEST_F(Debugging, OutLog_WritesNothingWithoutFormatOrSink) {
    platform().slot = 3;
    EXPECT_EQ(ORVA_DEBUG_OutLog(0x10000, "nobody listens"), 0u);
    bind_debug_sink(5);
    const char *const noFormat = nullptr;
    EXPECT_EQ(ORVA_DEBUG_OutLog(0x10000, noFormat), 0u);
    EXPECT_EQ(take_logs(), Records{});
}

TEST_F(Debugging, OutLog_ReturnsTheNegativeResultOfTheFormatter) {
    bind_debug_sink(5);
    fail("vsnprintf_s", 1, -7);
    EXPECT_EQ(ORVA_DEBUG_OutLog(0x10000, "text"), static_cast<std::uint32_t>(-7));
    EXPECT_EQ(take_logs(), Records{});
}

TEST_F(Debugging, OutLog_RecordsALineThatCannotBeBuilt) {
    bind_debug_sink(5);
    platform().slot = 3;
    platform().writeLogResult = 0x99;
    fail("sprintf_s", 1, -1);
    EXPECT_EQ(ORVA_DEBUG_OutLog(0x10000, "text"), 0x99u);
    EXPECT_EQ(take_logs_without_lines(), Records{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]sprintf error, "
                                                 "f=orva_debugging, l=N, ret=-1"});
}

} // namespace
