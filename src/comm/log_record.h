// Log records: the tags, modules, levels and codes of the library's own records, each named here and nowhere else.
//
// An error record always goes to the system log. A gated record asks the log gate first: open, the text goes to the
// debug output under the short tag, otherwise to the system log under the long one; it is never suppressed. A process
// record goes to the process log under the process name. The three are macros so that the tags are joined and the
// format is checked at compile time.
#ifndef ORVA_LOG_RECORD_H
#define ORVA_LOG_RECORD_H

#include <cstdint>

#include "orva_debugging.h"
#include "orva_write_log.h"
#include "partition_memory.h"
#include "tova.h"

namespace orva {

// Modules.
inline constexpr std::uint32_t kLogModule = 0x10000;            // the library as a whole
inline constexpr std::uint32_t kRuntimeLogModule = 8;           // queues, mutexes, pipes, ports, the agent library
inline constexpr std::uint32_t kFanLogModule = 0x400;           // fans
inline constexpr std::uint32_t kBoardLogModule = 0x800;         // board identity, process information
inline constexpr std::uint32_t kMemoryLogModule = 0x1000;       // the partition
inline constexpr std::uint32_t kPathMemoryLogModule = 0x400000; // memory for a path

// Levels of system log records.
inline constexpr std::uint32_t kLevelError = 2;
inline constexpr std::uint32_t kLevelDebug = 4;

// Process records: a type beside TOVA_PLOG_INFO and TOVA_PLOG_ERROR, and the codes in the place of a level.
inline constexpr std::uint32_t kCapabilityLogType = 2;
inline constexpr std::uint32_t kCodeNone = 0;
inline constexpr std::uint32_t kCodeDone = 1;
inline constexpr std::uint32_t kCodeError = 2;
inline constexpr std::uint32_t kCodeState = 4; // start mode, capabilities

// Diagnostic records: the code that marks the library's own, and their third word.
inline constexpr std::uint32_t kDiagCode = 0x0CE41001;
inline constexpr std::uint32_t kDiagWord3Event = 1;
inline constexpr std::uint32_t kDiagWord3Report = 3;

inline constexpr char kProcessName[] = "orva";

} // namespace orva

#define ORVA_TAG "[ORVA_COMM]"
#define ORVA_TAG_ERROR "[ORVA_COMM][ORVA_LEVEL_ERR]"
#define ORVA_TAG_DEBUG "[ORVA_COMM][ORVA_LEVEL_DEBUG]"
#define ORVA_FAN_TAG "[ORVA_FAN]"
#define ORVA_FAN_TAG_DEBUG "[ORVA_FAN][ORVA_LEVEL_DEBUG]"

// Error record; yields the sink's result.
#define ORVA_LOG_ERROR(text, ...)                                                                                    \
    ORVA_WriteLog(::orva::kLogModule, ::orva::kLevelError, ORVA_TAG_ERROR text __VA_OPT__(, ) __VA_ARGS__)

// Gated record of one text under a short tag (debug output) or a long one (system log).
#define ORVA_LOG_GATED(module, level, shortTag, longTag, text, ...)                                                  \
    (ORVA_DEBUG_LogSwitchIsOn((module), (level)) == 1                                                                \
         ? ORVA_DEBUG_OutLog((module), shortTag text __VA_OPT__(, ) __VA_ARGS__)                                     \
         : ORVA_WriteLog((module), (level), longTag text __VA_OPT__(, ) __VA_ARGS__))

// Debug record, through the gate.
#define ORVA_LOG_DEBUG(text, ...)                                                                                    \
    ORVA_LOG_GATED(::orva::kLogModule, ::orva::kLevelDebug, ORVA_TAG, ORVA_TAG_DEBUG, text __VA_OPT__(, ) __VA_ARGS__)

// Error text that has a debug form: the gate chooses between the two.
#define ORVA_LOG_GATED_ERROR(text, ...)                                                                              \
    ORVA_LOG_GATED(::orva::kLogModule, ::orva::kLevelError, ORVA_TAG, ORVA_TAG_ERROR, text __VA_OPT__(, ) __VA_ARGS__)

// Debug text of the fan module, through the gate.
#define ORVA_LOG_FAN_DEBUG(text, ...)                                                                                \
    ORVA_LOG_GATED(::orva::kFanLogModule, ::orva::kLevelDebug, ORVA_FAN_TAG, ORVA_FAN_TAG_DEBUG,                     \
                   text __VA_OPT__(, ) __VA_ARGS__)

// Process record; yields the sink's result.
#define ORVA_LOG_PROCESS(type, module, level, text, ...)                                                             \
    TOVA_PLogByProcName((type), ::orva::kProcessName, (module), (level), text __VA_OPT__(, ) __VA_ARGS__)

namespace orva {

// The error records that every area shares. `line` is the line of the call unless an area fixes it.
inline std::uint32_t log_mem_copy_error(const Area &area, int ret, std::uint32_t line = __builtin_LINE()) {
    return ORVA_LOG_ERROR("mem copy error, f=%s, l=%u, ret=%d", area.name, line, ret);
}
inline std::uint32_t log_mem_copy_code_error(const Area &area, std::uint32_t ret,
                                             std::uint32_t line = __builtin_LINE()) {
    return ORVA_LOG_ERROR("mem copy error, f=%s, l=%u, Ret=%u", area.name, line, ret);
}
inline std::uint32_t log_strcpy_error(const Area &area, int ret, std::uint32_t line = __builtin_LINE()) {
    return ORVA_LOG_ERROR("strcpy error, f=%s, l=%u, ret=%d", area.name, line, ret);
}
inline std::uint32_t log_strcat_error(const Area &area, int ret, std::uint32_t line = __builtin_LINE()) {
    return ORVA_LOG_ERROR("strcat error, f=%s, l=%u, ret=%d", area.name, line, ret);
}
inline std::uint32_t log_sprintf_error(const Area &area, int ret, std::uint32_t line = __builtin_LINE()) {
    return ORVA_LOG_ERROR("sprintf error, f=%s, l=%u, ret=%d", area.name, line, ret);
}
inline std::uint32_t log_check_ptr_error(std::uint32_t line = __builtin_LINE()) {
    return ORVA_LOG_ERROR("check ptr error, l=%u", line);
}
inline std::uint32_t log_check_ret_error(std::uint32_t ret, std::uint32_t line = __builtin_LINE()) {
    return ORVA_LOG_ERROR("check ret error, l=%u, Ret = %u", line, ret);
}
inline std::uint32_t log_ret_code_error(std::uint32_t ret, std::uint32_t line = __builtin_LINE()) {
    return ORVA_LOG_ERROR("retCode error, l=%u, Ret=%u", line, ret);
}
inline std::uint32_t log_check_true_error(std::uint32_t line = __builtin_LINE()) {
    return ORVA_LOG_ERROR("check true return error, l=%u", line);
}

} // namespace orva

#endif
