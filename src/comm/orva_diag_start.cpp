// The start of the diagnostic manager: its record, its mutex, its thread, and the switch.
#include "orva_diag.h"

#include <cstdint>
#include <pthread.h>

#include "diag_lock.h"
#include "log_record.h"
#include "orva_comm.h"
#include "partition_memory.h"
#include "relaxed.h"

using orva::relaxed_store;

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_diag");

// Call-site numbers that log records carry. They are fixed, not __LINE__.
constexpr std::uint32_t kWrapLine = 346;
constexpr std::uint32_t kSizeLine = 347;

constexpr std::uint32_t kThreadParam = 0x10000;

std::size_t manager_size(std::uint32_t count) {
    return sizeof(OrvaDiagMgr) + std::size_t{count} * sizeof(OrvaDiagNode *);
}

// Makes the manager, switched off.
std::uint32_t make_manager(std::uint32_t count, std::uint32_t baseDiagId, std::uint32_t noMemory,
                           std::uint32_t noMutex) {
    auto *manager = static_cast<OrvaDiagMgr *>(orva::partition_allocate(kArea, manager_size(count)));
    if (manager == nullptr) {
        return noMemory;
    }
    manager->nodeCount = count;
    manager->baseDiagId = baseDiagId;
    if (ORVA_CreatMutex(ORVA_DIAG_MUTEX_TAG, &manager->mutex) != ORVA_OK) {
        orva::partition_free(kArea, manager);
        return noMutex;
    }
    g_orvaDiagMgr = manager;
    orva::diag_watch_forks_and_ends();
    return ORVA_OK;
}

// The mutex leaves the table of synchronisation objects too: its memory is used for something else afterwards.
void unmake_manager() {
    OrvaDiagMgr *manager = g_orvaDiagMgr;
    g_orvaDiagMgr = nullptr;
    OrvaSemEntry *entry = ORVA_FindSemById(reinterpret_cast<std::uintptr_t>(manager->mutex));
    if (entry != nullptr) {
        *entry = {};
    }
    pthread_mutex_destroy(static_cast<pthread_mutex_t *>(manager->mutex));
    orva::partition_free(kArea, manager->mutex);
    orva::partition_free(kArea, manager);
}

void timer_task(void *) {
    ORVA_DiagMgrTimerThread();
}

} // namespace

uint32_t ORVA_DiagMgrInit(uint32_t count, uint32_t baseDiagId) {
    if (g_orvaDiagMgr != nullptr) {
        return ORVA_OK;
    }
    const bool single = ORVA_GetSingleProcess() != 0;
    const std::uint32_t covered = single && count < ORVA_DIAG_MAX_NODES ? count : ORVA_DIAG_MAX_NODES;
    const std::uint32_t result =
        make_manager(covered, single ? baseDiagId : 0, ORVA_ERR_DIAG_MGR_MEMORY, ORVA_ERR_DIAG_MGR_MUTEX);
    if (result != ORVA_OK) {
        return result;
    }
    std::uint32_t taskId = 0;
    if (ORVA_CreatThreadNew(timer_task, nullptr, "OrvaDiagThread", kThreadParam, &taskId) != 0) {
        unmake_manager();
        return ORVA_ERR_DIAG_MGR_THREAD;
    }
    ORVA_DiagMgrSwitchOn();
    return ORVA_OK;
}

uint32_t ORVA_DiagInit(uint32_t count, uint32_t baseDiagId) {
    if (g_orvaDiagMgr != nullptr) {
        return ORVA_OK;
    }
    // Compat: callers' code. The test for a wrapped size is made in 32 bits, the next one in 64.
    constexpr auto kHead = static_cast<std::uint32_t>(sizeof(OrvaDiagMgr));
    if (count * static_cast<std::uint32_t>(sizeof(OrvaDiagNode *)) == UINT32_MAX - kHead + 1) {
        orva::log_check_true_error(kWrapLine);
        return ORVA_ERR_DIAG_INIT_WRAP;
    }
    if (manager_size(count) > ORVA_DIAG_MAX_SIZE) {
        orva::log_check_true_error(kSizeLine);
        return ORVA_ERR_DIAG_INIT_SIZE;
    }
    const std::uint32_t result = make_manager(count, baseDiagId, ORVA_ERR_DIAG_INIT_MEMORY, ORVA_ERR_DIAG_INIT_MUTEX);
    if (result == ORVA_OK) {
        ORVA_DiagMgrSwitchOn();
    }
    return result;
}

void ORVA_DiagMgrSwitchOn(void) {
    if (g_orvaDiagMgr != nullptr) {
        relaxed_store(&g_orvaDiagMgr->uiSwitch, 1);
    }
}

void ORVA_DiagMgrSwitchOff(void) {
    if (g_orvaDiagMgr != nullptr) {
        relaxed_store(&g_orvaDiagMgr->uiSwitch, 0);
    }
}
