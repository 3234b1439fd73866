// Threads, recursive mutexes and their table.
#include "orva_comm.h"

#include <cstdint>
#include <pthread.h>

#include "log_record.h"
#include "miro.h"
#include "partition_memory.h"
#include "safeio.h"
#include "tova.h"

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_comm");

// A POSIX failure as a process record, and its number as the code.
#define ORVA_COMM_LOG_MUTEX(text, result)                                                                            \
    ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kRuntimeLogModule, orva::kCodeError, text ": ret is 0x%x",               \
                     static_cast<unsigned>(result))

int init_recursive(pthread_mutexattr_t &attribute) {
    int result = pthread_mutexattr_init(&attribute);
    if (result != 0) {
        ORVA_COMM_LOG_MUTEX("Failed to init mutex attr", result);
        return result;
    }
    result = pthread_mutexattr_settype(&attribute, PTHREAD_MUTEX_RECURSIVE);
    if (result != 0) {
        ORVA_COMM_LOG_MUTEX("Failed to set mutex attr", result);
        pthread_mutexattr_destroy(&attribute);
    }
    return result;
}

std::uint64_t address_of(const void *object) {
    return reinterpret_cast<std::uintptr_t>(object);
}

} // namespace

uint32_t ORVA_CreatThreadNew(MIRO_TASK_ENTRY entry, void *argument, const char *name, uint32_t param,
                             uint32_t *taskId) {
    if (name == nullptr || entry == nullptr || taskId == nullptr) {
        return ORVA_ERR_THREAD_ARGUMENT;
    }
    char taskName[ORVA_THREAD_NAME_MAX + 1] = {};
    if (snprintf_s(taskName, sizeof taskName, ORVA_THREAD_NAME_MAX, "%s", name) < 0) {
        return ORVA_FAILED;
    }
    std::uint32_t newId = 0;
    const std::uint32_t result = MIRO_TaskCreate(taskName, &newId, entry, ORVA_THREAD_PRIORITY, param, 0, argument);
    if (result == 0) {
        *taskId = newId;
    }
    return result;
}

uint32_t ORVA_CreatMutex(uint32_t tag, void **mutex) {
    if (mutex == nullptr) {
        return ORVA_ERR_MUTEX_CREATE_ARGUMENT;
    }
    pthread_mutexattr_t attribute;
    int result = init_recursive(attribute);
    if (result != 0) {
        return static_cast<std::uint32_t>(result);
    }
    auto object = orva::make_partition<pthread_mutex_t>(kArea);
    if (object == nullptr) {
        pthread_mutexattr_destroy(&attribute);
        return ORVA_ERR_MUTEX_CREATE_MEMORY;
    }
    result = pthread_mutex_init(object.get(), &attribute);
    if (result != 0) {
        // Compat: texts that others parse. The text has a blank before the colon.
        ORVA_COMM_LOG_MUTEX("Failed to init mutex ", result);
        pthread_mutexattr_destroy(&attribute);
        orva::release_block(object);
        return static_cast<std::uint32_t>(result);
    }
    *mutex = object.get();
    ORVA_AddSemTable(address_of(object.release()), tag);
    return ORVA_OK; // The attribute owns no memory and is not destroyed here.
}

uint32_t ORVA_MutexP(void *mutex) {
    if (mutex == nullptr || address_of(mutex) == UINTPTR_MAX) {
        return ORVA_ERR_MUTEX_INVALID;
    }
    return pthread_mutex_lock(static_cast<pthread_mutex_t *>(mutex)) != 0 ? ORVA_ERR_MUTEX_LOCK : ORVA_OK;
}

int32_t ORVA_MutexV(void *mutex) {
    return pthread_mutex_unlock(static_cast<pthread_mutex_t *>(mutex));
}

void ORVA_AddSemTable(uint64_t key, uint32_t tag) {
    for (OrvaSemEntry &entry : g_orvaCommLocal.semTable) {
        if (entry.inUse == 0) {
            entry = OrvaSemEntry{key, tag, 1};
            return;
        }
    }
}

OrvaSemEntry *ORVA_FindSemById(uint64_t key) {
    for (OrvaSemEntry &entry : g_orvaCommLocal.semTable) {
        if (entry.inUse != 0 && entry.key == key) {
            return &entry;
        }
    }
    return nullptr;
}

#undef ORVA_COMM_LOG_MUTEX
