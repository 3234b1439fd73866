// System V queues, and the process mode that chooses their key file. It knows no message but its type and length.
#include "orva_comm.h"

#include <cerrno>
#include <cstdint>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/stat.h>
#include <unistd.h>

#include "log_record.h"
#include "partition_memory.h"
#include "safeio.h"
#include "tova.h"

uint32_t g_orvaIsSingleProcess;

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_comm");

constexpr std::size_t kPathSize = 256;
constexpr char kSeparateKeyFile[] = "/usr/local/lib64/liborva_agent_lib.so";
constexpr char kSingleKeyFile[] = "/orva_agent"; // below the working folder
constexpr int kQueueFlags = IPC_CREAT | 0600;
constexpr int kCreateTries = 5;

void remove_queue(int queueId) {
    msqid_ds descriptor{};
    msgctl(queueId, IPC_RMID, &descriptor);
}

// The key file of the process mode; ORVA_OK, or the code of the step that failed.
std::uint32_t key_path(char (&path)[kPathSize]) {
    if (getcwd(path, sizeof path) == nullptr) {
        return ORVA_ERR_QUEUE_CREATE_FOLDER;
    }
    int result = strcat_s(path, sizeof path, kSingleKeyFile);
    if (result != 0) {
        orva::log_strcat_error(kArea, result);
        return ORVA_FAILED;
    }
    if (ORVA_GetSingleProcess() == 0) {
        result = strcpy_s(path, sizeof path, kSeparateKeyFile);
        if (result != 0) {
            orva::log_strcpy_error(kArea, result);
        }
    }
    return ORVA_OK;
}

// Copies a received payload out, or discards the message.
std::uint32_t deliver(const OrvaQueueMessage &message, ssize_t received, std::uint32_t queueId, void *buffer,
                      std::uint32_t bufferSize) {
    const auto count = static_cast<std::size_t>(received);
    if (count > bufferSize || message.type != ORVA_QUEUE_MESSAGE_TYPE) [[unlikely]] {
        ORVA_LOG_DEBUG("Recv msg from queue failed, queId:%d, recvSize:%d, msgType:%d", static_cast<int>(queueId),
                       static_cast<int>(received), static_cast<int>(message.type));
        return 0;
    }
    const int result = memcpy_s(buffer, bufferSize, message.payload, count);
    if (result != 0) [[unlikely]] {
        orva::log_mem_copy_error(kArea, result);
        return 0;
    }
    return static_cast<std::uint32_t>(received);
}

} // namespace

uint32_t ORVA_GetSingleProcess(void) {
    return g_orvaIsSingleProcess;
}

void ORVA_SetSingleProcess(uint32_t flag) {
    g_orvaIsSingleProcess = flag;
}

uint32_t ORVA_QueueCreate(uint32_t module, uint32_t *queueId) {
    if (module > ORVA_QUEUE_MODULE_MAX || queueId == nullptr) {
        return ORVA_ERR_QUEUE_CREATE_ARGUMENT;
    }
    char path[kPathSize] = {};
    std::uint32_t result = key_path(path);
    if (result != ORVA_OK) {
        return result;
    }
    // Compat: callers' code. A missing key file gives the key -1, which is used like any other; processes without the
    // file meet on it.
    const key_t key = ftok(path, static_cast<int>(module));
    std::uint32_t id = 0;
    result = ORVA_QueueCreateTry(key, &id);
    if (result != ORVA_OK) {
        return result;
    }
    *queueId = id;
    ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kRuntimeLogModule, orva::kCodeDone,
                     "keyvalue is 0x%x module is 0x%x queue is %d.", static_cast<unsigned>(key), module,
                     static_cast<int>(id));
    return ORVA_QueueClear(id);
}

uint32_t ORVA_QueueCreateTry(int32_t key, uint32_t *queueId) {
    if (queueId == nullptr) {
        return ORVA_FAILED;
    }
    for (int attempt = 0; attempt < kCreateTries; ++attempt) {
        const int id = msgget(key, kQueueFlags);
        if (id < 0) {
            return ORVA_ERR_QUEUE_TRY_GET;
        }
        if (id > 0) {
            *queueId = static_cast<std::uint32_t>(id);
            return ORVA_OK;
        }
        // Compat: callers' code. Identifier 0 means no queue in their records, so a queue 0 is never returned.
        remove_queue(0);
    }
    return ORVA_ERR_QUEUE_TRY_ZERO;
}

uint32_t ORVA_QueueRead(uint32_t queueId, void *buffer, uint32_t bufferSize, int32_t messageType, int32_t flags) {
    if (queueId == ORVA_QUEUE_NONE || buffer == nullptr || bufferSize > ORVA_QUEUE_PAYLOAD_MAX) {
        return 0;
    }
    auto message = orva::make_partition<OrvaQueueMessage>(kArea);
    if (message == nullptr) {
        return 0;
    }
    const ssize_t received =
        msgrcv(static_cast<int>(queueId), message.get(), ORVA_QUEUE_PAYLOAD_MAX, messageType, flags);
    const std::uint32_t count = received < 1 ? 0 : deliver(*message, received, queueId, buffer, bufferSize);
    orva::release_block(message);
    return count;
}

uint32_t ORVA_QueueSynRead(uint32_t queueId, void *buffer, uint32_t bufferSize, int32_t messageType) {
    return ORVA_QueueRead(queueId, buffer, bufferSize, messageType, 0);
}

uint32_t ORVA_QueueAsyRead(uint32_t queueId, void *buffer, uint32_t bufferSize, int32_t messageType) {
    return ORVA_QueueRead(queueId, buffer, bufferSize, messageType, IPC_NOWAIT);
}

uint32_t ORVA_QueueWrite(uint32_t queueId, const void *payload, uint32_t length, int32_t flags) {
    if (payload == nullptr || length > ORVA_QUEUE_PAYLOAD_MAX) {
        return ORVA_ERR_QUEUE_WRITE_ARGUMENT;
    }
    auto message = orva::make_partition<OrvaQueueMessage>(kArea);
    if (message == nullptr) {
        return ORVA_ERR_QUEUE_WRITE_MEMORY;
    }
    message->type = ORVA_QUEUE_MESSAGE_TYPE;
    const int result = memcpy_s(message->payload, sizeof message->payload, payload, length);
    if (result != 0) [[unlikely]] {
        orva::release_block(message);
        orva::log_mem_copy_error(kArea, result);
        return ORVA_FAILED;
    }
    const bool isSent = msgsnd(static_cast<int>(queueId), message.get(), length, flags) == 0;
    orva::release_block(message);
    return isSent ? ORVA_OK : ORVA_ERR_QUEUE_WRITE_SEND;
}

uint32_t ORVA_QueueSynWrite(uint32_t queueId, const void *payload, uint32_t length) {
    return ORVA_QueueWrite(queueId, payload, length, 0);
}

uint32_t ORVA_QueueAsyWrite(uint32_t queueId, const void *payload, uint32_t length) {
    return ORVA_QueueWrite(queueId, payload, length, IPC_NOWAIT);
}

uint32_t ORVA_QueueClear(uint32_t queueId) {
    auto buffer = orva::make_partition_buffer(kArea, ORVA_QUEUE_PAYLOAD_MAX);
    if (buffer == nullptr) {
        return ORVA_ERR_QUEUE_CLEAR_MEMORY;
    }
    // Compat: callers' code. The pass ends at the first read that gives 0; a foreign or an empty message ends it.
    while (ORVA_QueueAsyRead(queueId, buffer.get(), ORVA_QUEUE_PAYLOAD_MAX, 0) != 0) {
    }
    orva::release_block(buffer);
    return ORVA_OK;
}

void ORVA_QueueDelete(int32_t queueId) {
    if (queueId >= 0) {
        remove_queue(queueId);
    }
}

uint32_t ORVA_AGENT_WriteQueue(int32_t pipeFd, uint32_t queueId, const void *payload, uint32_t length) {
    const std::uint32_t result = ORVA_QueueAsyWrite(queueId, payload, length);
    if (result != ORVA_OK) {
        return result;
    }
    // Compat: callers' code. The result of the wake-up is ignored; a full pipe wakes its reader anyway.
    ORVA_WritePipe(pipeFd);
    return ORVA_OK;
}
