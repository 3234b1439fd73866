// The named result codes and reasons of the public headers. A new macro of a header needs a row here.
#include "code_table.h"

#include "orva_comm.h"
#include "orva_diag.h"
#include "orva_drvadp_comm.h"
#include "orva_elabel_comm.h"
#include "orva_file.h"
#include "orva_list.h"
#include "orva_perftrace_comm.h"
#include "orva_sensor.h"
#include "orva_simulate_comm.h"
#include "orva_types.h"
#include "orva_util.h"

#include <algorithm>

namespace inspect {

namespace {

#define CODE(name, header, functions)                                                                                \
    { name, #name, header, functions }
#define REASON(name, text)                                                                                           \
    { name, #name, text }

constexpr CodeName kCodes[] = {
    CODE(ORVA_OK, "orva_types.h", ""),
    CODE(ORVA_FAILED, "orva_types.h", ""),
    CODE(ORVA_ERR_QUEUE_WRITE_ARGUMENT, "orva_comm.h",
         "ORVA_QueueWrite ORVA_QueueSynWrite ORVA_QueueAsyWrite ORVA_AGENT_WriteQueue"),
    CODE(ORVA_ERR_QUEUE_WRITE_MEMORY, "orva_comm.h",
         "ORVA_QueueWrite ORVA_QueueSynWrite ORVA_QueueAsyWrite ORVA_AGENT_WriteQueue"),
    CODE(ORVA_ERR_QUEUE_WRITE_SEND, "orva_comm.h",
         "ORVA_QueueWrite ORVA_QueueSynWrite ORVA_QueueAsyWrite ORVA_AGENT_WriteQueue"),
    CODE(ORVA_ERR_QUEUE_TRY_GET, "orva_comm.h", "ORVA_QueueCreate ORVA_QueueCreateTry"),
    CODE(ORVA_ERR_QUEUE_TRY_ZERO, "orva_comm.h", "ORVA_QueueCreate ORVA_QueueCreateTry"),
    CODE(ORVA_ERR_QUEUE_CLEAR_MEMORY, "orva_comm.h", "ORVA_QueueCreate ORVA_QueueClear"),
    CODE(ORVA_ERR_QUEUE_CREATE_ARGUMENT, "orva_comm.h", "ORVA_QueueCreate"),
    CODE(ORVA_ERR_QUEUE_CREATE_FOLDER, "orva_comm.h", "ORVA_QueueCreate"),
    CODE(ORVA_ERR_THREAD_ARGUMENT, "orva_comm.h", "ORVA_CreatThreadNew"),
    CODE(ORVA_ERR_MUTEX_CREATE_ARGUMENT, "orva_comm.h", "ORVA_CreatMutex"),
    CODE(ORVA_ERR_MUTEX_CREATE_MEMORY, "orva_comm.h", "ORVA_CreatMutex"),
    CODE(ORVA_ERR_MUTEX_INVALID, "orva_comm.h", "ORVA_MutexP"),
    CODE(ORVA_ERR_MUTEX_LOCK, "orva_comm.h", "ORVA_MutexP"),
    CODE(ORVA_ERR_TICK, "orva_comm.h", "ORVA_TickGet"),
    CODE(ORVA_ERR_TIME_ARGUMENT, "orva_comm.h", "ORVA_GMT_SystimeGet"),
    CODE(ORVA_ERR_REQ_KIND, "orva_comm.h", "ORVA_AGENT_CheckReqMsgValidity"),
    CODE(ORVA_ERR_REQ_SRC_SLOT, "orva_comm.h", "ORVA_AGENT_CheckReqMsgValidity"),
    CODE(ORVA_ERR_REQ_DEST_SLOT, "orva_comm.h", "ORVA_AGENT_CheckReqMsgValidity"),
    CODE(ORVA_ERR_ACK_KIND, "orva_comm.h", "ORVA_AGENT_CheckAckMsgValidity"),
    CODE(ORVA_ERR_ACK_SRC_SLOT, "orva_comm.h", "ORVA_AGENT_CheckAckMsgValidity"),
    CODE(ORVA_ERR_ACK_DEST_SLOT, "orva_comm.h", "ORVA_AGENT_CheckAckMsgValidity"),
    CODE(ORVA_ERR_PACKET_LENGTH, "orva_comm.h", "ORVA_CheckPakcetLenByMsg"),
    CODE(ORVA_ERR_IPMB_NULL, "orva_comm.h", "ORVA_TRANS_CheckIpmbSum"),
    CODE(ORVA_ERR_IPMB_HEADER_SUM, "orva_comm.h", "ORVA_TRANS_CheckIpmbSum"),
    CODE(ORVA_ERR_IPMB_DATA_SUM, "orva_comm.h", "ORVA_TRANS_CheckIpmbSum"),
    CODE(ORVA_ERR_DIAG_MGR_MEMORY, "orva_diag.h", "ORVA_DiagMgrInit"),
    CODE(ORVA_ERR_DIAG_MGR_MUTEX, "orva_diag.h", "ORVA_DiagMgrInit"),
    CODE(ORVA_ERR_DIAG_MGR_THREAD, "orva_diag.h", "ORVA_DiagMgrInit"),
    CODE(ORVA_ERR_DIAG_INIT_WRAP, "orva_diag.h", "ORVA_DiagInit"),
    CODE(ORVA_ERR_DIAG_INIT_SIZE, "orva_diag.h", "ORVA_DiagInit"),
    CODE(ORVA_ERR_DIAG_INIT_MEMORY, "orva_diag.h", "ORVA_DiagInit"),
    CODE(ORVA_ERR_DIAG_INIT_MUTEX, "orva_diag.h", "ORVA_DiagInit"),
    CODE(ORVA_ERR_BOARD_STACK_ARGUMENT, "orva_drvadp_comm.h", "ORVA_GetBoardStackID"),
    CODE(ORVA_ERR_BOARD_STACK_NO_ADDRESS, "orva_drvadp_comm.h", "ORVA_GetBoardStackID"),
    CODE(ORVA_ERR_BOARD_TYPE_NULL, "orva_drvadp_comm.h", "ORVA_DRVADP_GetBoardType"),
    CODE(ORVA_ERR_CHASSIS_TYPE_NULL, "orva_drvadp_comm.h", "ORVA_DRVADP_GetChassisType"),
    CODE(ORVA_ERR_CHASSIS_ID_NULL, "orva_drvadp_comm.h", "ORVA_DRVADP_GetChassisID"),
    CODE(ORVA_ERR_ENV_CHASSIS_ID_NULL, "orva_drvadp_comm.h",
         "ORVA_DRVADP_GetChassisIdFromEnv ORVA_DRVADP_GetEnvOfChassisId"),
    CODE(ORVA_ERR_ENV_STACK_ID_NULL, "orva_drvadp_comm.h", "ORVA_DRVADP_GetEnvOfStackId"),
    CODE(ORVA_ERR_ENV_STACK_ENABLE_NULL, "orva_drvadp_comm.h", "ORVA_DRVADP_GetEnvOfStackEnable"),
    CODE(ORVA_ERR_ENV_CPU_ID_NULL, "orva_drvadp_comm.h", "ORVA_DRVADP_GetEnvOfCpuId"),
    CODE(ORVA_ERR_ENV_SLOT_ID_NULL, "orva_drvadp_comm.h", "ORVA_DRVADP_GetEnvOfSlotId"),
    CODE(ORVA_ERR_ELABEL_LABEL_NULL, "orva_elabel_comm.h", "ORVA_GetElabelElement"),
    CODE(ORVA_ERR_ELABEL_KEY_NULL, "orva_elabel_comm.h", "ORVA_GetElabelElement"),
    CODE(ORVA_ERR_ELABEL_VALUE_NULL, "orva_elabel_comm.h", "ORVA_GetElabelElement"),
    CODE(ORVA_ERR_ELABEL_EMPTY, "orva_elabel_comm.h", "ORVA_GetElabelElement"),
    CODE(ORVA_ERR_ELABEL_KEY_ABSENT, "orva_elabel_comm.h", "ORVA_GetElabelElement"),
    CODE(ORVA_ERR_WRITE_FILE_NULL, "orva_file.h", "ORVA_WriteBufToFile"),
    CODE(ORVA_ERR_WRITE_FILE_OPEN, "orva_file.h", "ORVA_WriteBufToFile"),
    CODE(ORVA_ERR_WRITE_FILE_SHORT, "orva_file.h", "ORVA_WriteBufToFile"),
    CODE(ORVA_ERR_UNZIP_FILE_NULL, "orva_file.h", "ORVA_Unzip"),
    CODE(ORVA_ERR_UNZIP_PATH_NULL, "orva_file.h", "ORVA_Unzip"),
    CODE(ORVA_ERR_MKDIR_NULL, "orva_file.h", "ORVA_MkDir"),
    CODE(ORVA_ERR_MKDIR_TOO_LONG, "orva_file.h", "ORVA_MkDir"),
    CODE(ORVA_ERR_MKDIR_RELATIVE, "orva_file.h", "ORVA_MkDir"),
    CODE(ORVA_ERR_MKDIR_COPY, "orva_file.h", "ORVA_MkDir"),
    CODE(ORVA_ERR_MKDIR_CREATE, "orva_file.h", "ORVA_MkDir"),
    CODE(ORVA_ERR_FCHMOD_RESOLVE, "orva_file.h", "ORVA_Fchmod"),
    CODE(ORVA_ERR_FCHMOD_OPEN, "orva_file.h", "ORVA_Fchmod"),
    CODE(ORVA_ERR_FCHMOD_CHANGE, "orva_file.h", "ORVA_Fchmod"),
    CODE(ORVA_ERR_FILE_NAME_NULL, "orva_file.h", "ORVA_GetFileName"),
    CODE(ORVA_ERR_FILE_NAME_PATH, "orva_file.h", "ORVA_GetFileName"),
    CODE(ORVA_ERR_FILE_NAME_COPY, "orva_file.h", "ORVA_GetFileName"),
    CODE(ORVA_ERR_HEX_ARGUMENT, "orva_file.h", "ORVA_HexToString"),
    CODE(ORVA_ERR_HEX_TOO_SMALL, "orva_file.h", "ORVA_HexToString"),
    CODE(ORVA_ERR_HEX_APPEND, "orva_file.h", "ORVA_HexToString"),
    CODE(ORVA_ERR_LIST_DELETE_NULL, "orva_list.h", "ORVA_DeleteList"),
    CODE(ORVA_ERR_LIST_DELETE_ALL_NULL, "orva_list.h", "ORVA_DeleteListAllNode"),
    CODE(ORVA_ERR_LIST_DELETE_NODE_NULL, "orva_list.h", "ORVA_DeleteNodeInList"),
    CODE(ORVA_ERR_LIST_DELETE_NODE_ABSENT, "orva_list.h", "ORVA_DeleteNodeInList"),
    CODE(ORVA_ERR_LIST_DELETE_ID_NULL, "orva_list.h", "ORVA_DeleteNodeInListById"),
    CODE(ORVA_ERR_LIST_DELETE_ID_ABSENT, "orva_list.h", "ORVA_DeleteNodeInListById"),
    CODE(ORVA_ERR_LIST_INSERT_NULL, "orva_list.h", "ORVA_InsertDataToList"),
    CODE(ORVA_ERR_LIST_INSERT_MEMORY, "orva_list.h", "ORVA_InsertDataToList"),
    CODE(ORVA_ERR_LIST_INSERT_ID_NULL, "orva_list.h", "ORVA_InsertDataToListWithId"),
    CODE(ORVA_ERR_LIST_INSERT_ID_MEMORY, "orva_list.h", "ORVA_InsertDataToListWithId"),
    CODE(ORVA_ERR_LIST_HEAD_NULL, "orva_list.h", "ORVA_InsertDataAtHeadOfListWithId"),
    CODE(ORVA_ERR_LIST_HEAD_MEMORY, "orva_list.h", "ORVA_InsertDataAtHeadOfListWithId"),
    CODE(ORVA_ERR_LIST_APPEND_NULL, "orva_list.h", "ORVA_AppendDataAtEndOfListWithId"),
    CODE(ORVA_ERR_LIST_APPEND_MEMORY, "orva_list.h", "ORVA_AppendDataAtEndOfListWithId"),
    CODE(ORVA_ERR_LIST_APPEND_EMPTY_NULL, "orva_list.h", "ORVA_AppendNullNodeAtEndOfListWithId"),
    CODE(ORVA_ERR_LIST_APPEND_EMPTY_MEMORY, "orva_list.h", "ORVA_AppendNullNodeAtEndOfListWithId"),
    CODE(ORVA_ERR_LIST_MEMBER_NULL, "orva_list.h", "ORVA_IsNodeInList"),
    CODE(ORVA_ERR_LIST_MEMBER_ABSENT, "orva_list.h", "ORVA_IsNodeInList"),
    CODE(ORVA_ERR_PERFTRACE_INIT_NULL, "orva_perftrace_comm.h", "ORVA_PerfTraceInit"),
    CODE(ORVA_ERR_PERFTRACE_INIT_EMPTY, "orva_perftrace_comm.h", "ORVA_PerfTraceInit"),
    CODE(ORVA_ERR_PERFTRACE_INIT_TOO_LARGE, "orva_perftrace_comm.h", "ORVA_PerfTraceInit"),
    CODE(ORVA_ERR_PERFTRACE_INIT_MEMORY, "orva_perftrace_comm.h", "ORVA_PerfTraceInit"),
    CODE(ORVA_ERR_PERFTRACE_UNIT_NULL, "orva_perftrace_comm.h", "ORVA_PerfTraceUnit"),
    CODE(ORVA_ERR_LINEAR16_NULL, "orva_sensor.h", "ORVA_SENSOR_LastWordsFormatLinear16Q9"),
    CODE(ORVA_ERR_LINEAR16_LENGTH, "orva_sensor.h", "ORVA_SENSOR_LastWordsFormatLinear16Q9"),
    CODE(ORVA_ERR_SIMULATE_NULL_ROOT, "orva_simulate_comm.h", "ORVA_SimulateSensorDelItem"),
    CODE(ORVA_ERR_SIMULATE_NULL_VALUE, "orva_simulate_comm.h", "ORVA_SimulateSensorDelItem"),
    CODE(ORVA_ERR_SIMULATE_NO_SENSOR, "orva_simulate_comm.h", "ORVA_SimulateSensorDelItem"),
    CODE(ORVA_ERR_FILE_CONTENT_PATH_NULL, "orva_util.h", "ORVA_FUNC_GetFileContent"),
    CODE(ORVA_ERR_FILE_CONTENT_CONTENT_NULL, "orva_util.h", "ORVA_FUNC_GetFileContent"),
    CODE(ORVA_ERR_FILE_CONTENT_LENGTH_NULL, "orva_util.h", "ORVA_FUNC_GetFileContent"),
    CODE(ORVA_ERR_FILE_CONTENT_PATH_MEMORY, "orva_util.h", "ORVA_FUNC_GetFileContent"),
    CODE(ORVA_ERR_FILE_CONTENT_RESOLVE, "orva_util.h", "ORVA_FUNC_GetFileContent"),
    CODE(ORVA_ERR_FILE_CONTENT_OPEN, "orva_util.h", "ORVA_FUNC_GetFileContent"),
    CODE(ORVA_ERR_FILE_CONTENT_SEEK_END, "orva_util.h", "ORVA_FUNC_GetFileContent"),
    CODE(ORVA_ERR_FILE_CONTENT_EMPTY, "orva_util.h", "ORVA_FUNC_GetFileContent"),
    CODE(ORVA_ERR_FILE_CONTENT_MEMORY, "orva_util.h", "ORVA_FUNC_GetFileContent"),
    CODE(ORVA_ERR_FILE_CONTENT_SEEK_BEGIN, "orva_util.h", "ORVA_FUNC_GetFileContent"),
    CODE(ORVA_ERR_FILE_CONTENT_READ, "orva_util.h", "ORVA_FUNC_GetFileContent"),
};

constexpr ReasonName kReasons[] = {
    REASON(ORVA_REASON_OTHER, "other failure, or lock failed"),
    REASON(ORVA_REASON_CHECK, "invalid header, or check failed"),
    REASON(ORVA_REASON_NOT_FOUND, "no such entry"),
    REASON(ORVA_REASON_NULL, "null argument; in some areas no memory"),
    REASON(ORVA_REASON_NO_ADDRESS, "the interface has no address"),
    REASON(ORVA_REASON_NO_MEMORY, "out of memory"),
    REASON(ORVA_REASON_BUFFER_MEMORY, "memory of a mutex or a buffer unavailable"),
    REASON(ORVA_REASON_ARGUMENT, "invalid argument"),
    REASON(ORVA_REASON_SYSTEM, "system call failed"),
    REASON(ORVA_REASON_CHECKSUM, "checksum mismatch"),
    REASON(ORVA_REASON_COPY, "copy, seek or size failure"),
    REASON(ORVA_REASON_READ, "short read"),
    REASON(ORVA_REASON_OPEN, "file cannot be opened for reading"),
    REASON(ORVA_REASON_LENGTH, "invalid packet length"),
    REASON(ORVA_REASON_FILE, "file or directory cannot be opened or made"),
    REASON(ORVA_REASON_WRITE, "short write"),
    REASON(ORVA_REASON_EMPTY, "empty input"),
    REASON(ORVA_REASON_ABSENT, "key absent"),
};

#undef CODE
#undef REASON

consteval bool reasons_ascend() {
    return std::ranges::is_sorted(kReasons, std::ranges::less_equal{}, &ReasonName::reason);
}
static_assert(reasons_ascend());

} // namespace

std::span<const CodeName> code_names() {
    return kCodes;
}

const ReasonName *find_reason(std::uint32_t reason) {
    const auto *const row = std::ranges::find(kReasons, reason, &ReasonName::reason);
    return row != std::end(kReasons) ? row : nullptr;
}

} // namespace inspect
