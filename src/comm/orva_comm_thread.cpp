// Threads, recursive mutexes and their table, wake-up pipes, and the closing of sockets and streams.
#include "orva_comm.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include "log_record.h"
#include "miro.h"
#include "partition_memory.h"
#include "safeio.h"
#include "tova.h"

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_comm");

constexpr std::uint32_t kErrorCode = 2;

// A POSIX failure as a process record, and its number as the code.
#define LOG_MUTEX_FAILURE(text, result)                                                                              \
    ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kRuntimeLogModule, kErrorCode, text ": ret is 0x%x",                     \
                     static_cast<unsigned>(result))

int init_recursive(pthread_mutexattr_t &attribute) {
    int result = pthread_mutexattr_init(&attribute);
    if (result != 0) {
        LOG_MUTEX_FAILURE("Failed to init mutex attr", result);
        return result;
    }
    result = pthread_mutexattr_settype(&attribute, PTHREAD_MUTEX_RECURSIVE);
    if (result != 0) {
        LOG_MUTEX_FAILURE("Failed to set mutex attr", result);
        pthread_mutexattr_destroy(&attribute);
    }
    return result;
}

std::uint64_t address_of(const void *object) {
    return reinterpret_cast<std::uintptr_t>(object);
}

bool make_nonblocking(int fd) {
    const int flags = fcntl(fd, F_GETFL, 0);
    return flags != -1 && fcntl(fd, F_SETFL, flags | O_NONBLOCK) != -1;
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
        LOG_MUTEX_FAILURE("Failed to init mutex ", result);
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

int32_t ORVA_CreatePipe(int32_t *fds, uint64_t count) {
    int ends[2] = {-1, -1};
    int result = pipe_s(ends);
    if (result < 0) {
        return result;
    }
    if (!make_nonblocking(ends[1])) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kRuntimeLogModule, kErrorCode,
                         "Failed to change pipe mode to nonblock type. ErrorNo = %d.", errno);
    }
    // Compat: callers' code. With fewer than two entries the pipe is created, stays open, and `fds` is unchanged.
    result = memcpy_s(fds, count * sizeof *fds, ends, sizeof ends);
    if (result != 0) {
        orva::log_mem_copy_error(kArea, result);
        return ORVA_FAILED;
    }
    return 0;
}

void ORVA_DeletePipe(int32_t *fds, uint64_t count) {
    for (std::uint64_t i = 0; i < count; ++i) {
        if (fds[i] != -1) {
            close_s(fds[i]);
        }
    }
}

int64_t ORVA_WritePipe(int32_t fd) {
    const char wake = 0;
    return write_s(fd, &wake, sizeof wake);
}

int64_t ORVA_ReadPipe(int32_t fd, void *buffer, uint32_t length) {
    return read_s(fd, buffer, length);
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

int32_t ORVA_CloseSock(int32_t fd) {
    return close_s(fd);
}

int32_t ORVA_FileClose(FILE *file) {
    return file == nullptr ? EOF : fclose(file);
}
