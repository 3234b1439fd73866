// The record that the library keeps for its process, and its partition: handle, number, creation.
#include "orva_comm.h"

#include <cstdint>

#include "log_record.h"
#include "miro.h"
#include "tova.h"

OrvaCommLocal g_orvaCommLocal;

namespace {

constexpr std::uint32_t kDebugOption = 3;

// Switches the accounting and the growth of a fresh partition on.
bool set_up_partition(std::uint8_t number) {
    std::uint32_t result = MIRO_MemDbgOptSet(number, kDebugOption);
    if (result != 0) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kMemoryLogModule, result, "MIRO mem dbg opt set failed.");
        return false;
    }
    result = MIRO_MemPtAutoFlexSetEx(number, 1, 0, nullptr, nullptr, nullptr);
    if (result != 0) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kMemoryLogModule, result, "orva mem pt auto flex setex failed.");
        return false;
    }
    return true;
}

} // namespace

uint32_t ORVA_GetMemHandle(void) {
    return g_orvaCommLocal.memHandle;
}

void ORVA_SetMemHandle(uint32_t handle) {
    g_orvaCommLocal.memHandle = handle;
}

uint32_t ORVA_GetOmaMemHandle(void) {
    return g_orvaCommLocal.omaMemHandle;
}

void ORVA_SetOmaMemHandle(uint32_t handle) {
    g_orvaCommLocal.omaMemHandle = handle;
}

uint32_t ORVA_GetMemPtr(void) {
    return g_orvaCommLocal.memPartition;
}

void ORVA_SetMemPtr(uint8_t partition) {
    g_orvaCommLocal.memPartition = partition;
}

uint32_t ORVA_CreateMemPt(void) {
    const std::uint32_t present = ORVA_GetMemPtr();
    if (present != 0) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kMemoryLogModule, 0, "Mem pt %u ", present);
        return ORVA_OK;
    }
    std::uint8_t number = 0;
    if (MIRO_MemPtCreateEx("orvaCommonPt", "HIM", nullptr, nullptr, ORVA_MEM_PARTITION_SIZE, &number) != 0) {
        return ORVA_FAILED;
    }
    if (!set_up_partition(number)) {
        MIRO_MemPtDelete(number);
        return ORVA_FAILED;
    }
    ORVA_SetMemPtr(number);
    return ORVA_OK;
}
