// Each class of thread safety that the headers claim, tried by 16 threads that walk through its functions from
// different starts. Under the thread sanitizer a race ends the case; docs/concurrency.md names the classes, and every
// function of a class is here.
#include <barrier>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sched.h>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <sys/ipc.h>
#include <thread>
#include <type_traits>
#include <vector>

#include "miro.h"
#include "miro_host.h"
#include "orva_api_log.h"
#include "orva_api_stub.h"
#include "orva_comm.h"
#include "orva_deadloop.h"
#include "orva_debugging.h"
#include "orva_diag.h"
#include "orva_drvadp_comm.h"
#include "orva_elabel_comm.h"
#include "orva_file.h"
#include "orva_imlib.h"
#include "orva_list.h"
#include "orva_perftrace_comm.h"
#include "orva_power_fan_cfg.h"
#include "orva_sensor.h"
#include "orva_simulate_comm.h"
#include "orva_tlv_sensor_comm.h"
#include "orva_util.h"
#include "system_support.h"

namespace {

using namespace orva_test;

constexpr unsigned kThreads = 16;
constexpr std::size_t kObjectSize = 16384; // larger than any record or message body with zero counts
constexpr std::size_t kObjects = 8;        // more than a function has pointers
constexpr std::uint32_t kDiagId = 3;

alignas(16) constexpr std::uint8_t kShared[kObjectSize] = {}; // what every thread reads
constexpr char kSharedText[] = "/opt/thread_safety/no/such/file";
void *g_mutex;
unsigned g_guarded; // by g_mutex

// What one thread has for itself.
struct Thread {
    std::uint32_t number;
    std::uint32_t queue = 0;
    std::int32_t pipe[2] = {-1, -1};
    std::string path;
    std::unique_ptr<std::byte[]> memory = std::make_unique<std::byte[]>(kObjectSize * kObjects);
    std::size_t next = 0;

    void *object() {
        return memory.get() + kObjectSize * (next++ % kObjects);
    }
    char *text() {
        return reinterpret_cast<char *>(memory.get());
    }
};

// An argument: 1 for numbers, the shared bytes for what is read only, the thread's own zeros for what may be written.
template <typename T>
T argument(Thread &thread) {
    if constexpr (std::is_same_v<T, const char *>) {
        return kSharedText;
    } else if constexpr (std::is_pointer_v<T>) {
        using Object = std::remove_pointer_t<T>;
        if constexpr (std::is_const_v<Object>) {
            return reinterpret_cast<T>(kShared);
        } else {
            return static_cast<T>(thread.object());
        }
    } else {
        return static_cast<T>(1);
    }
}

template <typename Result, typename... Arguments>
void call(Result (*function)(Arguments...), Thread &thread) {
    std::memset(thread.memory.get(), 0, kObjectSize * kObjects);
    static_cast<void>(function(argument<Arguments>(thread)...));
}

struct Call {
    const char *names; // of the functions that it calls, with blanks between
    void (*run)(Thread &thread);
};

#define AUTO(function)                                                                                               \
    {                                                                                                                \
#function, [](Thread & thread) { call(function, thread); }                                                   \
    }

void use_a_list(Thread &) {
    const auto data = [] {
        return MIRO_MemAlloc_F(ORVA_GetMemHandle(), static_cast<std::uint8_t>(ORVA_GetMemPtr()), 8, __FILE__,
                               __LINE__);
    };
    OrvaList *list = ORVA_CreateList(ORVA_LIST_KIND);
    ASSERT_NE(list, nullptr);
    ORVA_AppendDataAtEndOfListWithId(list, data(), 1);
    ORVA_InsertDataAtHeadOfListWithId(list, data(), 2);
    ORVA_InsertDataToList(list, data(), ORVA_GetNodeAtHeadOfList(list));
    ORVA_InsertDataToListWithId(list, 4, data(), nullptr);
    ORVA_AppendNullNodeAtEndOfListWithId(list, 5);
    OrvaListNode *node = ORVA_SearchIdInList(list, 4);
    EXPECT_EQ(ORVA_IsNodeInList(list, node), ORVA_OK);
    EXPECT_NE(ORVA_GetNextNodeInList(list, node), nullptr);
    EXPECT_EQ(ORVA_SearchDataInList(list, node->data), node);
    ORVA_DeleteOneNodeDirectly(list, node);
    ORVA_DeleteNode(node);
    ORVA_DeleteNodeInList(list, ORVA_SearchIdInList(list, 5));
    ORVA_DeleteNodeInListById(list, 1);
    ORVA_DeleteListAllNode(list);
    EXPECT_EQ(ORVA_IsListEmpty(list), 1u);
    ORVA_DeleteList(list);
}

void use_a_simulation_root(Thread &) {
    const auto root = std::make_unique<OrvaSimulateRoot>();
    root->sensorTree.compare = ORVA_simulateSensorCompare;
    OrvaSimulateSensorReq request{};
    ORVA_SimulateSensorAddItem(root.get(), &request, 7);
    ORVA_SimulatePrintLocal(root.get());
    std::int32_t value = 0;
    std::uint8_t status = 0;
    ORVA_simulateGetValue(root.get(), "name", 1, &value, 4);
    ORVA_STUB_GetStubBrdOnlineStatus(root.get(), 1, 1, &status);
    EXPECT_EQ(ORVA_SimulateSensorDelItem(root.get(), &request, &value), ORVA_OK);
}

void use_the_codec(Thread &thread) {
    OrvaVltSensorCfg cfg{};
    ORVA_TLV_Encode(g_orvaFmeaSyncDataDes, ORVA_FMEA_SYNC_ROWS, &cfg, thread.text());
    EXPECT_EQ(ORVA_TLV_Decode(thread.text(), g_orvaFmeaSyncDataDes, ORVA_FMEA_SYNC_ROWS,
                              ORVA_TLV_SyncFmeaSensorDataDecode, &cfg),
              ORVA_OK);
}

void ask_the_manager(Thread &thread) {
    for (std::uint32_t key = 0; key < 20; ++key) {
        ORVA_DiagMgrNeedRestrain(kDiagId, key % 2 == 0 ? key : thread.number * 100 + key, "thread_safety", 1, "text");
    }
}

const Call kAnyThread[] = {
    {"ORVA_GetSerialFd", [](Thread &) { ORVA_CloseSerialFd(ORVA_GetSerialFd()); }},
    {"ORVA_SerialLog", [](Thread &) { ORVA_SerialLog("%s", ""); }},
    {"ORVA_DiagFemaByType", [](Thread &) { ORVA_DiagFemaByType(ORVA_INFO_POWER_INPUT, 1, 1, 1, 1, "text"); }},
    {"ORVA_SensorFemaByNoAndType", [](Thread &) { ORVA_SensorFemaByNoAndType(1, 1, 1, 1, 1, 1, "text"); }},
    {"ORVA_DiagFema", [](Thread &) { ORVA_DiagFema(1, 1, 1, 1, "text"); }},
    {"ORVA_CardFemaByType", [](Thread &) { ORVA_CardFemaByType(1, 1, 1, 1, "text"); }},
    {"ORVA_SecurityEventLog", [](Thread &) { ORVA_SecurityEventLog(ORVA_INFO_PLUG, 1, 1, 1, 1, "text"); }},
    {"ORVA_QueueCreate ORVA_QueueCreateTry",
     [](Thread &) {
         std::uint32_t id = 0;
         ORVA_QueueCreate(ORVA_QUEUE_MODULE_MAX, &id);
         ORVA_QueueCreateTry(0x51515151, &id);
     }},
    {"ORVA_QueueWrite ORVA_QueueAsyWrite ORVA_QueueSynWrite ORVA_AGENT_WriteQueue",
     [](Thread &thread) {
         ORVA_QueueWrite(thread.queue, "a", 1, IPC_NOWAIT);
         ORVA_QueueAsyWrite(thread.queue, "a", 1);
         ORVA_QueueSynWrite(thread.queue, "a", 1);
         ORVA_AGENT_WriteQueue(thread.pipe[1], thread.queue, "a", 1);
     }},
    {"ORVA_QueueRead ORVA_QueueAsyRead ORVA_QueueSynRead",
     [](Thread &thread) {
         char text[8];
         ORVA_QueueWrite(thread.queue, "a", 1, 0);
         ORVA_QueueSynRead(thread.queue, text, sizeof text, 0);
         ORVA_QueueAsyRead(thread.queue, text, sizeof text, 0);
         ORVA_QueueRead(thread.queue, text, sizeof text, 0, IPC_NOWAIT);
     }},
    {"ORVA_QueueClear", [](Thread &thread) { ORVA_QueueClear(thread.queue); }},
    {"ORVA_QueueDelete", [](Thread &) { ORVA_QueueDelete(-1); }},
    {"ORVA_SafeSleep", [](Thread &) { ORVA_SafeSleep(0); }},
    {"ORVA_CreatThreadNew",
     [](Thread &) {
         std::uint32_t id = 0;
         ORVA_CreatThreadNew([](void *) {}, nullptr, "thread_safety", 0x10000, &id);
     }},
    {"ORVA_MutexP ORVA_MutexV",
     [](Thread &) {
         EXPECT_EQ(ORVA_MutexP(g_mutex), ORVA_OK);
         ++g_guarded;
         EXPECT_EQ(ORVA_MutexV(g_mutex), 0);
     }},
    {"ORVA_CreatePipe ORVA_CloseSock",
     [](Thread &) {
         std::int32_t ends[2] = {-1, -1};
         ASSERT_EQ(ORVA_CreatePipe(ends, 2), 0);
         ORVA_CloseSock(ends[0]);
         ORVA_CloseSock(ends[1]);
     }},
    {"ORVA_WritePipe ORVA_ReadPipe",
     [](Thread &thread) {
         char woken = 0;
         ORVA_WritePipe(thread.pipe[1]);
         ORVA_ReadPipe(thread.pipe[0], &woken, 1);
     }},
    {"ORVA_DEBUG_OutLog", [](Thread &) { ORVA_DEBUG_OutLog(1, "%s", "text"); }},
    {"ORVA_DeleteCap", [](Thread &) { ORVA_DeleteCap(0, 5); }},
    {"ORVA_CheckElabelString", [](Thread &) { ORVA_CheckElabelString("Item=1", "Item"); }},
    {"ORVA_TLV_CalcTlvBufSize", [](Thread &) { ORVA_TLV_CalcTlvBufSize(g_orvaFmeaSyncDataDes, 5); }},
    AUTO(ORVA_GetTypeDescByInfoId),
    AUTO(ORVA_ALARM_GetSensorTypeDesc),
    AUTO(ORVA_STUB_IsDigit),
    AUTO(ORVA_TickGet),
    AUTO(ORVA_COMM_InitCrc16Table),
    AUTO(ORVA_COMM_InitCrc32Table),
    AUTO(ORVA_COMM_SetProcessStartMode),
    AUTO(ORVA_GetIndependPwrOffFlag),
    AUTO(ORVA_CheckIsCaseTemp),
    AUTO(liborva_comm_PAT_C2HSyncHookFunc),
    AUTO(ORVA_AGENT_CheckReqMsgValidity),
    AUTO(ORVA_AGENT_CheckReqMsgValidityPath),
    AUTO(ORVA_AGENT_CheckAckMsgValidity),
    AUTO(ORVA_CheckPakcetLen),
    AUTO(ORVA_CheckPakcetLenByMsg),
    AUTO(ORVA_TRANS_CheckIpmbSum),
    AUTO(ORVA_AGENT_IsCheckBetweenBoardI2cMode),
    AUTO(ORVA_AGENT_ChgSwitchOverMsgToHostPath),
    AUTO(ORVA_AGENT_ChgSwitchOverMsgToNetPath),
    AUTO(ORVA_AGENT_ChgAddrRegMsgToHostPath),
    AUTO(ORVA_AGENT_ChgAddrAckMsgToNetPath),
    AUTO(ORVA_AGENT_ChgTempInfoMsgToHostPath),
    AUTO(ORVA_AGENT_ChgTempInfoMsgToNetPath),
    AUTO(ORVA_AGENT_ChgSubCardInfoMsgToNetPath),
    AUTO(ORVA_AGENT_ChgPowerStateMsgToNetPath),
    AUTO(ORVA_AGENT_ChgHeartBeatMsgToHostPath),
    AUTO(ORVA_AGENT_ChgHeartBeatMsgToNetPath),
    AUTO(ORVA_GetQarlDeadLoopHandle),
    AUTO(ORVA_GetWendoDeadLoopHandle),
    AUTO(ORVA_GetQarlDeadLoopHookFunc),
    AUTO(ORVA_GetQarlDeadLoopHookRegFunc),
    AUTO(ORVA_CheckAndRepairDeadloop),
    AUTO(ORVA_DEBUG_GetCurLogModule),
    AUTO(ORVA_DEBUG_SetCurLogModule),
    AUTO(ORVA_DEBUG_GetCurLogLevel),
    AUTO(ORVA_DEBUG_SetCurLogLevel),
    AUTO(ORVA_DEBUG_GetCurLogSlotId),
    AUTO(ORVA_DEBUG_SetCurLogSlotId),
    AUTO(ORVA_DEBUG_SetLogSwitchOn),
    AUTO(ORVA_DEBUG_SetLogSwitchOff),
    AUTO(ORVA_DEBUG_LogSwitchIsOn),
    AUTO(ORVA_CLI_ProcessDebugDeviceOrvaLog),
    AUTO(ORVA_DEBUG_UdpPacketSwitchIsOn),
    AUTO(ORVA_DEBUG_IpmbPacketSwitchIsOn),
    AUTO(ORVA_DEBUG_CanPacketSwitchIsOn),
    AUTO(ORVA_DEBUG_Rs485PacketSwitchIsOn),
    AUTO(ORVA_DEBUG_SetUdpPacketSwitch),
    AUTO(ORVA_DEBUG_SetIpmbPacketSwitch),
    AUTO(ORVA_DEBUG_SetCanPacketSwitch),
    AUTO(ORVA_DEBUG_SetRs485PacketSwitch),
    AUTO(ORVA_DEBUG_SetSouthPacketSwitch),
    AUTO(ORVA_DEBUG_GetPacketSwitchFunc),
    AUTO(ORVA_DEBUG_SetPacketSwitchFunc),
    AUTO(ORVA_DEBUG_PacketSwitchIsOn),
    AUTO(ORVA_CLI_ProcessDebugDeviceOrvaPacket),
    AUTO(ORVA_DEBUG_OutPacket),
    AUTO(ORVA_DEBUG_OutUdpPacket),
    AUTO(ORVA_DEBUG_OutIpmbPacket),
    AUTO(ORVA_DEBUG_OutFanPacket),
    AUTO(ORVA_DEBUG_OutPmPacket),
    AUTO(ORVA_DiagTreeKeyCompare),
    AUTO(ORVA_GetDeviceRunState),
    AUTO(ORVA_IsPtnTypeDevice),
    AUTO(ORVA_IsRouterUseHardBoardRoleDevice),
    AUTO(ORVA_DRVADP_GetSelfSlotVar),
    AUTO(ORVA_DRVADP_IsRzFrame),
    AUTO(ORVA_DRVADP_IsMatrixBoard),
    AUTO(ORVA_DRVADP_GetFrameTypeVar),
    AUTO(ORVA_DRVADP_GetSelfChassisVar),
    AUTO(ORVA_DRVADP_SetSelfChassisVar),
    AUTO(ORVA_DRVADP_GetIsBoxStackVar),
    AUTO(ORVA_DRVADP_SetIsBoxStackVar),
    AUTO(ORVA_DRVADP_IsQ1m),
    AUTO(ORVA_DRVADP_IsQ2m),
    AUTO(ORVA_DRVADP_IsQxm),
    AUTO(ORVA_DRVADP_Is1uHalcy),
    AUTO(ORVA_DRVADP_Is3uHalcy),
    AUTO(ORVA_DRVADP_Is5uHalcy),
    AUTO(ORVA_DRVADP_Is2u3u5uHalcy),
    AUTO(ORVA_DRVADP_IsRzBox),
    AUTO(ORVA_DRVADP_IsSupportGetFanElabel),
    AUTO(ORVA_GetBoardEthInfo),
    AUTO(ORVA_GetEthPortIpAddr),
    AUTO(ORVA_ComputerSubNetIpAddress),
    AUTO(ORVA_GetSubNetIpAddress),
    AUTO(ORVA_IsCmdStrParaHasInvalidChar),
    AUTO(ORVA_IsValidDirFile),
    AUTO(ORVA_IsFileExist),
    AUTO(ORVA_IsDirExist),
    AUTO(ORVA_DeleFile),
    AUTO(ORVA_Unzip),
    AUTO(ORVA_MkDir),
    AUTO(ORVA_Fchmod),
    AUTO(ORVA_FAN_WriteLog),
    AUTO(ORVA_PmbusBBoxHexToStringAndDlog),
    AUTO(ORVA_CreateList),
    AUTO(ORVA_CFG_Is550WPower),
    AUTO(ORVA_GetCalThresholdPara),
    AUTO(ORVA_IsWindCheckPower),
    AUTO(ORVA_IsSpecBrdGetBrdType),
    AUTO(ORVA_SENSOR_GetSensorOwnerSysID),
    AUTO(ORVA_SENSOR_GetSensorOwnerLun),
    AUTO(ORVA_SENSOR_IsOnFixCard),
    AUTO(ORVA_SENSOR_JudgeDeviceModifier),
    AUTO(ORVA_SENSOR_Linear2Uint),
    AUTO(ORVA_IsOppositePgPower),
    AUTO(ORVA_simulateSensorCompare),
    AUTO(ORVA_TLV_IsBaseCtype),
    AUTO(ORVA_TLV_Next),
    AUTO(ORVA_TLV_GetTag),
    AUTO(ORVA_TLV_GetLength),
    AUTO(ORVA_TLV_GetRemoteLength),
    AUTO(ORVA_TLV_TempSensor_CalcTlvBufSize),
    AUTO(ORVA_TLV_VltSensor_CalcTlvBufSize),
    AUTO(ORVA_TLV_FmeaSensor_CalcTlvBufSize),
    AUTO(ORVA_TLV_PowerSupply_CalcTlvBufSize),
    AUTO(ORVA_TLV_CalBoardInfoTlvLen),
    AUTO(ORVA_TLV_CalPwrsPwrDataTlvLen),
    AUTO(ORVA_OrvaAgt_GetModelCtlTlvBufSize),
    AUTO(ORVA_Rounding),
    AUTO(ORVA_CheckLineAdjPara),
    AUTO(ORVA_GetRandValue),
};

const Call kDistinctObjects[] = {
    {"ORVA_CloseSerialFd", [](Thread &) { ORVA_CloseSerialFd(ORVA_SERIAL_NO_FD); }},
    {"ORVA_DeletePipe",
     [](Thread &) {
         std::int32_t ends[2] = {-1, -1};
         ASSERT_EQ(ORVA_CreatePipe(ends, 2), 0);
         ORVA_DeletePipe(ends, 2);
     }},
    {"ORVA_FileClose", [](Thread &) { ORVA_FileClose(std::tmpfile()); }},
    {"ORVA_TransSysTimeToStr", [](Thread &thread) { ORVA_TransSysTimeToStr(thread.text(), 64, OrvaCalendarTime{}); }},
    {"ORVA_GetFileName", [](Thread &thread) { ORVA_GetFileName(std::strcpy(thread.text(), "/a/b"), 64); }},
    {"ORVA_GetTtyPath", [](Thread &thread) { ORVA_GetTtyPath(thread.text(), ORVA_TTY_PATH_SIZE); }},
    {"ORVA_GetElabelElement",
     [](Thread &thread) { ORVA_GetElabelElement("Item=1\n", 7, "Item=", thread.text(), 64); }},
    {"ORVA_VER_TransformItemLabel", [](Thread &thread) { ORVA_VER_TransformItemLabel("a-b", thread.text(), 64); }},
    {"ORVA_HexToString", [](Thread &thread) { ORVA_HexToString(kShared, 4, 4, thread.text(), 64); }},
    {"ORVA_DRVADP_GetBoardElabelItem",
     [](Thread &thread) { ORVA_DRVADP_GetBoardElabelItem(thread.text(), ORVA_BOARD_ITEM_LEN); }},
    {"ORVA_STUB_GetStubType",
     [](Thread &) {
         std::uint32_t type = 0;
         ORVA_STUB_GetStubType("fanFail", &type);
     }},
    {"ORVA_DEUBG_FormatPacketToString",
     [](Thread &thread) {
         std::uint32_t left = 16;
         ORVA_DEUBG_FormatPacketToString(kShared, 16, &left, thread.text(), 64);
     }},
    {"ORVA_WriteBufToFile ORVA_GetFileSize ORVA_FUNC_GetFileContent",
     [](Thread &thread) {
         std::uint32_t size = 0;
         char *content = nullptr;
         EXPECT_EQ(ORVA_WriteBufToFile(thread.path.c_str(), "abc", 3, "w"), ORVA_OK);
         EXPECT_EQ(ORVA_GetFileSize(thread.path.c_str(), &size), ORVA_OK);
         EXPECT_EQ(ORVA_FUNC_GetFileContent(thread.path.c_str(), &content, &size), ORVA_OK);
         MIRO_MemFree_F(ORVA_GetMemHandle(), content, __FILE__, __LINE__);
     }},
    {"ORVA_DeleteList ORVA_DeleteListAllNode ORVA_DeleteNode ORVA_DeleteNodeInList ORVA_DeleteOneNodeDirectly "
     "ORVA_DeleteNodeInListById ORVA_InsertDataToList ORVA_InsertDataToListWithId ORVA_InsertDataAtHeadOfListWithId "
     "ORVA_AppendDataAtEndOfListWithId ORVA_AppendNullNodeAtEndOfListWithId ORVA_GetNodeAtHeadOfList "
     "ORVA_GetNextNodeInList ORVA_IsNodeInList ORVA_SearchDataInList ORVA_SearchIdInList ORVA_IsListEmpty",
     use_a_list},
    {"ORVA_PerfTraceInit ORVA_PerfTraceUnit ORVA_PerfTraceGetNode ORVA_PerfTraceRecordBegin ORVA_PerfTraceRecordEnd "
     "ORVA_PerfTraceSetNodeValue",
     [](Thread &) {
         OrvaTrace trace{};
         ORVA_PerfTraceInit(&trace, 4);
         ORVA_PerfTraceRecordBegin(&trace, 1);
         ORVA_PerfTraceRecordEnd(&trace, 1);
         ORVA_PerfTraceSetNodeValue(ORVA_PerfTraceGetNode(&trace, 1), 7);
         ORVA_PerfTraceUnit(&trace);
     }},
    {"ORVA_SimulateSensorAddItem ORVA_SimulateSensorDelItem ORVA_SimulatePrintLocal ORVA_simulateGetValue "
     "ORVA_STUB_GetStubBrdOnlineStatus",
     use_a_simulation_root},
    {"ORVA_TLV_Encode ORVA_TLV_Decode", use_the_codec},
    {"ORVA_SENSOR_LastWordsFormatLinear16Q9",
     [](Thread &) {
         const std::uint16_t raw = 512;
         double value = 0;
         ORVA_SENSOR_LastWordsFormatLinear16Q9(&raw, 2, &value);
     }},
    {"ORVA_TLV_FillValue ORVA_TLV_FillBaseTypeValue ORVA_TLV_FillStructTypeValue",
     [](Thread &thread) {
         ORVA_TLV_FillValue(thread.text(), kShared, &g_orvaFmeaSyncDataDes[0]);
         ORVA_TLV_FillBaseTypeValue(thread.text(), kShared, &g_orvaFmeaSyncDataDes[0]);
         ORVA_TLV_FillStructTypeValue(thread.text(), kShared, &g_orvaBoardInfoSyncToBakDataDes[2]);
     }},
    {"ORVA_TLV_SensorNumEncode ORVA_TLV_SensorNumDecode",
     [](Thread &thread) {
         std::uint32_t left = ORVA_TLV_SENSOR_NUM_LENGTH, consumed = 0;
         std::uint8_t number = 0;
         ORVA_TLV_SensorNumEncode(thread.text(), 64, 7);
         EXPECT_EQ(ORVA_TLV_SensorNumDecode(thread.text(), &left, &number, &consumed), ORVA_OK);
     }},
    AUTO(ORVA_EncodeDefaultDesc),
    AUTO(ORVA_GetIdDescByInfoId),
    AUTO(ORVA_STUB_GetCaseValue),
    AUTO(ORVA_GetSysTime),
    AUTO(KELD_LOCAL_SystimeGet),
    AUTO(ORVA_GMT_SystimeGet),
    AUTO(ORVA_GetCurrentTime),
    AUTO(ORVA_TransSecToDayAndHour),
    AUTO(ORVA_TransSecToLocalTime),
    AUTO(ORVA_COMM_InitProcessStartMode),
    AUTO(ORVA_AGENT_ChgSwitchOverMsgToHost),
    AUTO(ORVA_AGENT_ChgSwitchOverMsgToNet),
    AUTO(ORVA_AGENT_ChgSenAlmReqMsgToHost),
    AUTO(ORVA_AGENT_ChgSenAlmReqMsgToNet),
    AUTO(ORVA_AGENT_ChgAddrRegMsgToHost),
    AUTO(ORVA_AGENT_ChgAddrAckMsgToNet),
    AUTO(ORVA_AGENT_ChgTempInfoMsgToHost),
    AUTO(ORVA_AGENT_ChgTempInfoMsgToNet),
    AUTO(ORVA_AGENT_ChgVltInfoMsgToHost),
    AUTO(ORVA_AGENT_ChgVltInfoMsgToNet),
    AUTO(ORVA_AGENT_ChgMpuMngSensorInfoToHost),
    AUTO(ORVA_AGENT_ChgMpuMngSensorInfoToNet),
    AUTO(ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet),
    AUTO(ORVA_AGENT_ChgSubCardInfoMsgToHost),
    AUTO(ORVA_AGENT_ChgSubCardInfoMsgToNet),
    AUTO(ORVA_AGENT_ChgCardAttrMsgToHost),
    AUTO(ORVA_AGENT_ChgCardAttrMsgToNet),
    AUTO(ORVA_AGENT_ChgCardHumidMsgToHost),
    AUTO(ORVA_AGENT_ChgCardHumidMsgToNet),
    AUTO(ORVA_AGENT_ChgSimulateMsgToHost),
    AUTO(ORVA_AGENT_ChgSimulateMsgToNet),
    AUTO(ORVA_AGENT_ChgSoNameReqToHost),
    AUTO(ORVA_AGENT_ChgSoNameReqToNet),
    AUTO(ORVA_AGENT_ChgSoNameAckToHost),
    AUTO(ORVA_AGENT_ChgSoNameAckToNet),
    AUTO(ORVA_AGENT_ChgFrameAttrMsgToHost),
    AUTO(ORVA_AGENT_ChgReqFrameAtrrMsgToNet),
    AUTO(ORVA_AGENT_ChgReqMsgToHost),
    AUTO(ORVA_AGENT_ChgReqMsgToNet),
    AUTO(ORVA_AGENT_ChgFrameCardPowerStateMsgToHost),
    AUTO(ORVA_AGENT_ChgFrameCardPowerStateMsgToNet),
    AUTO(ORVA_AGENT_ChgPowerStateMsgToNet),
    AUTO(ORVA_AGENT_ChgPwrSenCfgMsgToHost),
    AUTO(ORVA_AGENT_ChgPwrSenCfgMsgToNet),
    AUTO(ORVA_AGENT_ChgHeartBeatMsgToHost),
    AUTO(ORVA_AGENT_ChgHeartBeatMsgToNet),
    AUTO(ORVA_AGENT_ChgSensorCtrlMsgToHost),
    AUTO(ORVA_AGENT_ChgSensorCtrlMsgToNet),
    AUTO(ORVA_AGENT_SetGlobalCfgByFourBit),
    AUTO(ORVA_AGENT_GetGlobalCfgByFourBit),
    AUTO(ORVA_DEBUG_GetNetFnAndCmdFromUdp),
    AUTO(ORVA_DEBUG_GetNetFnAndCmdFromIpmb),
    AUTO(ORVA_DRVADP_GetSelfSlotID),
    AUTO(ORVA_DRVADP_GetBoardType),
    AUTO(ORVA_DRVADP_GetChassisType),
    AUTO(ORVA_DRVADP_GetChassisID),
    AUTO(ORVA_DRVADP_GetChassisIdFromEnv),
    AUTO(ORVA_DRVADP_GetEnvOfChassisId),
    AUTO(ORVA_DRVADP_GetEnvOfStackId),
    AUTO(ORVA_DRVADP_GetEnvOfStackEnable),
    AUTO(ORVA_DRVADP_GetEnvOfCpuId),
    AUTO(ORVA_DRVADP_GetEnvOfSlotId),
    AUTO(ORVA_GetBoardStackID),
    AUTO(ORVA_QueryEthPortCfg),
    AUTO(ORVA_GetIpAddress),
    AUTO(ORVA_GetBakEthInfoMask),
    AUTO(ORVA_GetSubNetMask),
    AUTO(ORVA_COMM_BoardNameToBoardId),
    AUTO(ORVA_GetLocalIpAddr),
    AUTO(ORVA_GetActMpuIpAddr),
    AUTO(ORVA_ChoseActMpuIp),
    AUTO(ORVA_GetActMpuIpAddrFromFile),
    AUTO(ORVA_GetActMpuIpAddrFromEnv),
    AUTO(ORVA_GetIpAddrFromEnv),
    AUTO(ORVA_CFG_GetSpecPowerFanMinSpeed),
    AUTO(ORVA_TLV_SyncTempCfgDataEncode),
    AUTO(ORVA_TLV_SyncVltCfgDataEncode),
    AUTO(ORVA_TLV_SyncFmeaDataEncode),
    AUTO(ORVA_TLV_SyncPowerSupplyEncode),
    AUTO(ORVA_TLV_SyncTempCfgDataDecode),
    AUTO(ORVA_TLV_SyncVltCfgDataDecode),
    AUTO(ORVA_TLV_SyncFmeaDataDecode),
    AUTO(ORVA_TLV_SyncPowerSupplyDecode),
    AUTO(ORVA_TempCfg_SyncDataDecode),
    AUTO(ORVA_VltCfg_SyncDataDecode),
    AUTO(ORVA_TLV_SyncFmeaSensorDataDecode),
    AUTO(ORVA_TLV_SyncPowerSupplyDataDecode),
    AUTO(ORVA_TEMP_ProcTempNodeType),
    AUTO(ORVA_TEMP_ProcQueryByChip),
    AUTO(ORVA_TEMP_ProcSensorNum),
    AUTO(ORVA_TEMP_ProcSensorType),
    AUTO(ORVA_TEMP_ProcChipIndex),
    AUTO(ORVA_TEMP_ProcSensorInitia),
    AUTO(ORVA_TEMP_ProcAssertionEventMask),
    AUTO(ORVA_TEMP_ProcDeAssertionEventMask),
    AUTO(ORVA_TEMP_ProcUprMinorAlm),
    AUTO(ORVA_TEMP_ProcUprMajorAlm),
    AUTO(ORVA_TEMP_ProcUprFatalAlm),
    AUTO(ORVA_TEMP_ProcBusId),
    AUTO(ORVA_TEMP_ProcNegativegoingthre),
    AUTO(ORVA_TEMP_ProcPositivegoingthre),
    AUTO(ORVA_TEMP_ProcLwrMinorAlm),
    AUTO(ORVA_TEMP_ProcLwrMajorAlm),
    AUTO(ORVA_TEMP_ProcLwrFatalAlm),
    AUTO(ORVA_TEMP_ProcCpuIndex),
    AUTO(ORVA_TEMP_ProcOwnerId),
    AUTO(ORVA_TEMP_ProcOwnerLun),
    AUTO(ORVA_TEMP_ProcI2cChannel),
    AUTO(ORVA_TEMP_ProcReserve),
    AUTO(ORVA_TEMP_ProcDeviceModifier),
    AUTO(ORVA_TEMP_ProcSensorUnit3),
    AUTO(ORVA_VLT_ProcSensorNum),
    AUTO(ORVA_VLT_ProcSensorMLS),
    AUTO(ORVA_VLT_ProcRexpBexp),
    AUTO(ORVA_VLT_ProcVoltageId),
    AUTO(ORVA_VLT_ProcAssertionEventMask),
    AUTO(ORVA_VLT_ProcDeAssertionEventMask),
    AUTO(ORVA_VLT_ProcSensorInitia),
    AUTO(ORVA_VLT_ProcNominalReading),
    AUTO(ORVA_VLT_ProcUprMinorAlm),
    AUTO(ORVA_VLT_ProcUprMajorAlm),
    AUTO(ORVA_VLT_ProcUprFatalAlm),
    AUTO(ORVA_VLT_ProcSensorType),
    AUTO(ORVA_VLT_ProcNegativegoingthre),
    AUTO(ORVA_VLT_ProcPositiveGoingThre),
    AUTO(ORVA_VLT_ProcLwrMinorAlm),
    AUTO(ORVA_VLT_ProcLwrMajorAlm),
    AUTO(ORVA_VLT_ProcLwrFatalAlm),
    AUTO(ORVA_VLT_ProcDeviceModifier),
    AUTO(ORVA_VLT_ProcSensorUnit3),
    AUTO(ORVA_TLV_DecodeFmeaSensorId),
    AUTO(ORVA_TLV_DecodeFmeaSensorType),
    AUTO(ORVA_TLV_DecodeFmeaBusId),
    AUTO(ORVA_TLV_DecodeFmeaReserve),
    AUTO(ORVA_TLV_DecodeFmeaSlotId),
    AUTO(ORVA_TLV_DecodePowerSupplySlaveAddr),
    AUTO(ORVA_TLV_DecodePowerSupplyReserve),
    AUTO(ORVA_TLV_SyncBoardInfoToBakEncode),
    AUTO(ORVA_TLV_SyncPwrsPwrDataToBakEncode),
    AUTO(ORVA_OrvaAgt_ModelCtlTlvDataEncode),
    AUTO(ORVA_TLV_SyncBoardInfoToBakDecode),
    AUTO(ORVA_TLV_SyncPwrsPwrDataDecode),
    AUTO(ORVA_OrvaAgt_ModelCtlTlvDataDecode),
    AUTO(ORVA_DelayPowerOn_SyncDataDecode),
    AUTO(ORVA_BoardInfo_SyncDataDecode),
    AUTO(ORVA_TLV_SyncPwrsPwrDataDecodeFunc),
    AUTO(ORVA_OrvaAgt_ModelCtlDecode),
    AUTO(ORVA_OrvaAgt_ModelCtlDecodeAdd),
    AUTO(ORVA_ProcMngSlotTLV),
    AUTO(ORVA_ProcMngSlotTypeTLV),
    AUTO(ORVA_ProcMngStackSlotTLV),
    AUTO(ORVA_OrvaAgt_AppendFruTlvForE2prom),
    AUTO(ORVA_OrvaAgt_HandleFruTlvForE2prom),
    AUTO(ORVA_StrTrim),
    AUTO(ORVA_CalValueByLineAdj),
};

const Call kAfterStartUp[] = {
    {"ORVA_DiagMgrNeedRestrain", ask_the_manager},
    {"ORVA_DIAGLOG", [](Thread &) { ORVA_DIAGLOG(0, 1, 0, 0, 0, "%s", "text"); }},
    {"ORVA_DiagMgrGetItem",
     [](Thread &thread) { ORVA_DiagMgrGetItem(thread.number, g_orvaDiagMgr->nodes[kDiagId]); }},
    {"ORVA_InitImlib", [](Thread &) { ORVA_InitImlib("no_such_agent.so", 1, "thread_safety", 1); }},
    {"ORVA_FindSemById", [](Thread &) { ORVA_FindSemById(reinterpret_cast<std::uintptr_t>(g_mutex)); }},
    {"ORVA_COMM_Crc16CheckSum ORVA_PWR_CheckCrc16Sum ORVA_LOAD_CalcAppCrc16Sum ORVA_COMM_Crc32CheckSum",
     [](Thread &) {
         std::uint16_t crc = 0;
         ORVA_COMM_Crc16CheckSum(kShared, sizeof kShared, &crc);
         ORVA_PWR_CheckCrc16Sum(kShared, sizeof kShared, &crc);
         ORVA_LOAD_CalcAppCrc16Sum(kShared, sizeof kShared);
         ORVA_COMM_Crc32CheckSum(kShared, sizeof kShared);
     }},
    {"ORVA_STUB_GetStubValue ORVA_STUB_GetAgentStubValue ORVA_STUB_GetStubValueAtSlotFru "
     "ORVA_STUB_GetAgentStubValueAtSlotFru ORVA_STUB_GetIntStubValueAtSlotFruIndex",
     [](Thread &) {
         std::uint32_t value = 0;
         ORVA_STUB_GetStubValue(1, &value, 4);
         ORVA_STUB_GetAgentStubValue(1, &value, 4);
         ORVA_STUB_GetStubValueAtSlotFru(1, 1, 1, &value, 4);
         ORVA_STUB_GetAgentStubValueAtSlotFru(1, 1, 1, &value, 4);
         ORVA_STUB_GetIntStubValueAtSlotFruIndex(1, 1, 1, 1, &value);
     }},
    AUTO(ORVA_GetMemHandle),
    AUTO(ORVA_GetOmaMemHandle),
    AUTO(ORVA_GetMemPtr),
    AUTO(ORVA_GetSingleProcess),
    AUTO(ORVA_GetAddressFromSlot),
    AUTO(ORVA_DiagMgrSwitchOn),
    AUTO(ORVA_DiagMgrSwitchOff),
    AUTO(ORVA_DiagMgrPrintLocalData),
    AUTO(ORVA_InitImlibAndSetIpAddrChk),
    AUTO(ORVA_GetImHandle),
    AUTO(ORVA_GetDebugFunc),
    AUTO(ORVA_GetSetProcessInfoFunc),
    AUTO(ORVA_GetDebugSwitchId),
    AUTO(ORVA_SetMainBoardIpAddr),
    AUTO(ORVA_SetLocalIpAddr),
    AUTO(ORVA_simulateGetRoot),
    AUTO(ORVA_simulateGetRootForAgent),
};

// ---- The classes

std::set<std::string> names_of(std::span<const Call> calls) {
    std::set<std::string> names;
    for (const Call &call : calls) {
        std::istringstream words(call.names);
        for (std::string word; words >> word;) {
            names.insert(word);
        }
    }
    return names;
}

// Read before a case hides /tmp, where the sources may be.
const std::string kPage = orva_test::read_file(std::string(ORVA_TEST_SOURCE_DIR) + "/docs/concurrency.md");

// The functions below a heading of docs/concurrency.md.
std::set<std::string> names_on_the_page(const std::string &phrase) {
    std::istringstream page(kPage);
    std::set<std::string> names;
    bool isInClass = false;
    for (std::string line; std::getline(page, line);) {
        if (line.rfind("###", 0) == 0) {
            isInClass = line == "### " + phrase;
        }
        for (std::size_t at = 0; isInClass && line.rfind("- ", 0) == 0 && (at = line.find('`', at)) != line.npos;) {
            const std::size_t end = line.find('`', at + 1);
            names.insert(line.substr(at + 1, end - at - 1));
            at = end + 1;
        }
    }
    return names;
}

class ThreadSafety : public ::testing::Test {
protected:
    void SetUp() override {
        ORVA_ENTER_NAMESPACES_OR_SKIP(CLONE_NEWNS | CLONE_NEWIPC | CLONE_NEWNET);
        ASSERT_TRUE(mount_tmpfs("/opt"));
        ASSERT_TRUE(mount_tmpfs("/tmp"));
        std::uint32_t handle = 0;
        ASSERT_EQ(MIRO_HostStart(nullptr, &handle), MIRO_HOST_OK);
        ORVA_SetMemHandle(handle);
        ASSERT_EQ(ORVA_CreateMemPt(), ORVA_OK);
        ORVA_SetSingleProcess(1);
        ORVA_COMM_InitCrc16Table();
        ORVA_COMM_InitCrc32Table();
        ASSERT_EQ(ORVA_CreatMutex(1, &g_mutex), ORVA_OK);
        ASSERT_EQ(ORVA_DiagInit(10, 0), ORVA_OK);
        ORVA_DiagMgrNeedRestrain(kDiagId, 0, "thread_safety", 1, "text");
    }

    // Every thread calls every function, each from another start, so that any two meet.
    static void run_at_once(std::span<const Call> calls, unsigned rounds) {
        std::barrier start(kThreads);
        std::vector<std::thread> threads;
        for (unsigned number = 0; number < kThreads; ++number) {
            threads.emplace_back([&, number] {
                Thread thread{.number = number, .path = "/tmp/thread_safety." + std::to_string(number)};
                ORVA_QueueCreateTry(static_cast<std::int32_t>(0x1000 + number), &thread.queue);
                ORVA_CreatePipe(thread.pipe, 2);
                start.arrive_and_wait();
                for (std::size_t i = 0; i < rounds * calls.size(); ++i) {
                    calls[(i + number * calls.size() / kThreads) % calls.size()].run(thread);
                }
                ORVA_DeletePipe(thread.pipe, 2);
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
    }
};

TEST_F(ThreadSafety, AnyThreads_MayCallWithTheSameArguments) {
    constexpr unsigned kRounds = 3;
    EXPECT_EQ(names_of(kAnyThread), names_on_the_page("Thread-safe."));
    run_at_once(kAnyThread, kRounds);
    EXPECT_EQ(g_guarded, kThreads * kRounds);
}

TEST_F(ThreadSafety, AnyThreads_MayCallWithDistinctObjects) {
    EXPECT_EQ(names_of(kDistinctObjects), names_on_the_page("Thread-safe for distinct objects."));
    run_at_once(kDistinctObjects, 3);
}

TEST_F(ThreadSafety, AnyThreads_MayCallAfterStartUp) {
    EXPECT_EQ(names_of(kAfterStartUp), names_on_the_page("Thread-safe after start-up."));
    run_at_once(kAfterStartUp, 3);
}

} // namespace
