// Runtime services over the platform layer, and the agent messages: the library's state record, queues, threads,
// time, checksums, start mode, message checks and conversion. Knows nothing of boards beyond their slot numbers, and
// keeps no state but the record, the single-process flag and the exported tables.
#include "orva_comm.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <pthread.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "bytes.h"
#include "crc_engine.h"
#include "line_reader.h"
#include "log_record.h"
#include "message_layout.h"
#include "miro.h"
#include "orva_diag.h"
#include "orva_drvadp_comm.h"
#include "orva_file.h"
#include "partition_memory.h"
#include "safeio.h"
#include "tova.h"

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_comm");

} // namespace

// ---- Memory

OrvaCommLocal g_orvaCommLocal;

namespace {

constexpr std::uint32_t kMemoryLogModule = 0x1000;
constexpr std::uint32_t kDebugOption = 3;

// Switches the accounting and the growth of a fresh partition on.
bool set_up_partition(std::uint8_t number) {
    std::uint32_t result = MIRO_MemDbgOptSet(number, kDebugOption);
    if (result != 0) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, kMemoryLogModule, result, "MIRO mem dbg opt set failed.");
        return false;
    }
    result = MIRO_MemPtAutoFlexSetEx(number, 1, 0, nullptr, nullptr, nullptr);
    if (result != 0) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, kMemoryLogModule, result, "orva mem pt auto flex setex failed.");
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
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, kMemoryLogModule, 0, "Mem pt %u ", present);
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

// ---- Queues

uint32_t g_orvaIsSingleProcess;

namespace {

constexpr std::uint32_t kRuntimeLogModule = 8; // of the process records of queues, mutexes and pipes
constexpr std::uint32_t kInfoCode = 1;
constexpr std::uint32_t kErrorCode = 2;
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

// Copies a received payload out, or gives the message up.
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
    const key_t key = ftok(path, static_cast<int>(module));
    std::uint32_t id = 0;
    result = ORVA_QueueCreateTry(key, &id);
    if (result != ORVA_OK) {
        return result;
    }
    *queueId = id;
    ORVA_LOG_PROCESS(TOVA_PLOG_INFO, kRuntimeLogModule, kInfoCode, "keyvalue is 0x%x module is 0x%x queue is %d.",
                     static_cast<unsigned>(key), module, static_cast<int>(id));
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
        remove_queue(0);
    }
    return ORVA_ERR_QUEUE_TRY_ZERO;
}

uint32_t ORVA_QueueRead(uint32_t queueId, void *buffer, uint32_t bufferSize, int32_t messageType, int32_t flags) {
    if (queueId == ORVA_QUEUE_NONE || buffer == nullptr || bufferSize > ORVA_QUEUE_PAYLOAD_MAX) {
        return 0;
    }
    const auto message = orva::make_partition<OrvaQueueMessage>(kArea);
    if (message == nullptr) {
        return 0;
    }
    const ssize_t received =
        msgrcv(static_cast<int>(queueId), message.get(), ORVA_QUEUE_PAYLOAD_MAX, messageType, flags);
    return received < 1 ? 0 : deliver(*message, received, queueId, buffer, bufferSize);
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
        message.reset();
        orva::log_mem_copy_error(kArea, result);
        return ORVA_FAILED;
    }
    if (msgsnd(static_cast<int>(queueId), message.get(), length, flags) != 0) {
        return ORVA_ERR_QUEUE_WRITE_SEND;
    }
    return ORVA_OK;
}

uint32_t ORVA_QueueSynWrite(uint32_t queueId, const void *payload, uint32_t length) {
    return ORVA_QueueWrite(queueId, payload, length, 0);
}

uint32_t ORVA_QueueAsyWrite(uint32_t queueId, const void *payload, uint32_t length) {
    return ORVA_QueueWrite(queueId, payload, length, IPC_NOWAIT);
}

uint32_t ORVA_QueueClear(uint32_t queueId) {
    const auto buffer = orva::make_partition_buffer(kArea, ORVA_QUEUE_PAYLOAD_MAX);
    if (buffer == nullptr) {
        return ORVA_ERR_QUEUE_CLEAR_MEMORY;
    }
    while (ORVA_QueueAsyRead(queueId, buffer.get(), ORVA_QUEUE_PAYLOAD_MAX, 0) != 0) {
    }
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
    ORVA_WritePipe(pipeFd);
    return ORVA_OK;
}

void ORVA_SafeSleep(uint32_t milliseconds) {
    int result = 0;
    do {
        timeval timeout{static_cast<time_t>(milliseconds / 1000),
                        static_cast<suseconds_t>(milliseconds % 1000) * 1000};
        result = select(0, nullptr, nullptr, nullptr, &timeout);
    } while (result == -1 && errno == EINTR);
}

// ---- Threads, mutexes, pipes

namespace {

// A POSIX failure as a process record, and its number as the code.
#define LOG_MUTEX_FAILURE(text, result)                                                                              \
    ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, kRuntimeLogModule, kErrorCode, text ": ret is 0x%x",                           \
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
        LOG_MUTEX_FAILURE("Failed to init mutex ", result);
        pthread_mutexattr_destroy(&attribute);
        return static_cast<std::uint32_t>(result);
    }
    *mutex = object.get();
    ORVA_AddSemTable(address_of(object.release()), tag);
    return ORVA_OK; // Kept: the attribute is left as it is here.
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
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, kRuntimeLogModule, kErrorCode,
                         "Failed to change pipe mode to nonblock type. ErrorNo = %d.", errno);
    }
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

uint32_t ORVA_TickGet(void) {
    timeval now{};
    if (gettimeofday(&now, nullptr) != 0) {
        return ORVA_ERR_TICK;
    }
    return static_cast<std::uint32_t>(now.tv_sec) * 1000000u + static_cast<std::uint32_t>(now.tv_usec);
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

// ---- Time

namespace {

// The text form of a date and time; negative, with an error record, when it does not fit.
int format_time(char *text, std::size_t size, unsigned year, unsigned month, unsigned day, unsigned hour,
                unsigned minute, unsigned second) {
    const int result = sprintf_s(text, size, "%04u-%02u-%02u %02u:%02u:%02u", year, month, day, hour, minute, second);
    if (result < 0) {
        orva::log_sprintf_error(kArea, result);
    }
    return result;
}

std::uint32_t get_zone_time(std::uint32_t (*query)(MIRO_ZONETIME *), MIRO_ZONETIME *time) {
    if (time == nullptr) {
        return ORVA_ERR_TIME_ARGUMENT;
    }
    MIRO_ZONETIME now{};
    if (query(&now) != 0) {
        return ORVA_ERR_TIME_ARGUMENT;
    }
    *time = now;
    return ORVA_OK;
}

} // namespace

uint32_t ORVA_GetSysTime(MIRO_SYSTIME *time) {
    if (time == nullptr) {
        return ORVA_FAILED;
    }
    MIRO_SYSTIME now{};
    if (MIRO_SystimeGet(&now) != 0) {
        return ORVA_FAILED;
    }
    now.reserved = time->reserved;
    *time = now;
    return ORVA_OK;
}

uint32_t KELD_LOCAL_SystimeGet(MIRO_ZONETIME *time) {
    return get_zone_time(MIRO_TzLmtGet, time);
}

uint32_t ORVA_GMT_SystimeGet(MIRO_ZONETIME *time) {
    return get_zone_time(MIRO_TzGmtGet, time);
}

uint32_t ORVA_GetCurrentTime(uint32_t *seconds) {
    if (seconds == nullptr) {
        return ORVA_FAILED;
    }
    timeval now{};
    if (gettimeofday(&now, nullptr) != 0) {
        *seconds = 0;
        return ORVA_FAILED;
    }
    *seconds = static_cast<std::uint32_t>(now.tv_sec);
    return ORVA_OK;
}

void ORVA_TransSecToDayAndHour(uint32_t seconds, uint32_t *days, uint32_t *hours, uint32_t *minutes) {
    const std::uint32_t rest = seconds % 86400;
    *days = seconds / 86400;
    *hours = rest / 3600;
    *minutes = rest % 3600 / 60;
}

void ORVA_TransSysTimeToStr(char *text, size_t size, OrvaCalendarTime time) {
    if (text != nullptr) {
        format_time(text, size, time.year, time.month, time.day, time.hour, time.minute, time.second);
    }
}

int32_t ORVA_TransSecToLocalTime(time_t seconds, char *text, uint32_t size) {
    tm local{};
    if (localtime_r(&seconds, &local) == nullptr) {
        orva::log_sprintf_error(kArea, -1);
        return -1;
    }
    // Unsigned before the sum: the last year that a calendar form can hold is INT_MAX.
    return format_time(text, size, static_cast<unsigned>(local.tm_year) + 1900,
                       static_cast<unsigned>(local.tm_mon) + 1, static_cast<unsigned>(local.tm_mday),
                       static_cast<unsigned>(local.tm_hour), static_cast<unsigned>(local.tm_min),
                       static_cast<unsigned>(local.tm_sec));
}

// ---- Checksums

uint16_t g_ausCRC16Table[ORVA_CRC_TABLE_ENTRIES];
uint32_t g_auiCRC32Table[ORVA_CRC_TABLE_ENTRIES];

namespace {

namespace crc = orva::crc;

bool g_isCrc16TableBuilt;

// From these lengths the compare of the exported table, 512 and 1024 bytes, costs less than the fast form saves.
constexpr std::uint32_t kCrc16FastBytes = 16;
constexpr std::uint32_t kCrc32FastBytes = 24;

// Entries that hold their value already are not written, so that checksums may run while a table is built again.
template <typename Register>
void build_table(Register (&table)[ORVA_CRC_TABLE_ENTRIES], const Register (&standard)[ORVA_CRC_TABLE_ENTRIES]) {
    for (std::size_t i = 0; i < ORVA_CRC_TABLE_ENTRIES; ++i) {
        if (__atomic_load_n(&table[i], __ATOMIC_RELAXED) != standard[i]) {
            __atomic_store_n(&table[i], standard[i], __ATOMIC_RELAXED);
        }
    }
}

bool is_crc16_fast(std::uint32_t length) {
    return length >= kCrc16FastBytes && crc::is_standard(g_ausCRC16Table, crc::kTables<crc::Crc16>);
}

std::uint16_t shift_in(std::uint16_t r, std::uint8_t byte) {
    return static_cast<std::uint16_t>((r << 8 | byte) ^ g_ausCRC16Table[r >> 8]);
}

} // namespace

void ORVA_COMM_InitCrc16Table() {
    if (__atomic_load_n(&g_isCrc16TableBuilt, __ATOMIC_ACQUIRE)) {
        return;
    }
    build_table(g_ausCRC16Table, crc::kTables<crc::Crc16>.near[0]);
    __atomic_store_n(&g_isCrc16TableBuilt, true, __ATOMIC_RELEASE);
}

void ORVA_COMM_InitCrc32Table() {
    build_table(g_auiCRC32Table, crc::kTables<crc::Crc32>.near[0]);
}

void ORVA_COMM_Crc16CheckSum(const uint8_t *data, uint32_t length, uint16_t *crc) {
    if (length == 0 || data == nullptr || crc == nullptr) {
        return;
    }
    std::uint16_t r = *crc;
    if (is_crc16_fast(length)) {
        *crc = crc::advance<crc::Crc16>(r, data, length);
        return;
    }
    for (std::uint32_t i = 0; i < length; ++i) {
        r = static_cast<std::uint16_t>(g_ausCRC16Table[data[i] ^ r >> 8] ^ r << 8);
    }
    *crc = r;
}

void ORVA_PWR_CheckCrc16Sum(const uint8_t *data, uint32_t length, uint16_t *crc) {
    std::uint16_t r = *crc;
    if (is_crc16_fast(length)) {
        // Shifting a message in is the direct form over all but its last two bytes, entered with the start value
        // behind two zero bytes; the last two bytes then stand in the register as they are.
        r = shift_in(shift_in(r, 0), 0);
        *crc = crc::advance<crc::Crc16>(r, data, length - 2) ^ orva::load_be16(data + length - 2);
        return;
    }
    for (std::uint32_t i = 0; i < length; ++i) {
        r = shift_in(r, data[i]);
    }
    *crc = r;
}

uint16_t ORVA_LOAD_CalcAppCrc16Sum(const uint8_t *data, uint32_t length) {
    if (is_crc16_fast(length)) {
        return crc::advance<crc::Crc16>(0, data, length);
    }
    std::uint16_t r = 0;
    for (std::uint32_t i = 0; i < length; ++i) {
        r = shift_in(r, data[i]);
    }
    return shift_in(shift_in(r, 0), 0);
}

uint32_t ORVA_COMM_Crc32CheckSum(const uint8_t *data, uint32_t length) {
    if (length == 0) {
        return 0;
    }
    std::uint32_t r = 0xFFFFFFFF;
    if (length >= kCrc32FastBytes && crc::is_standard(g_auiCRC32Table, crc::kTables<crc::Crc32>)) {
        return ~crc::advance_crc32(r, data, length);
    }
    for (std::uint32_t i = 0; i < length; ++i) {
        r = g_auiCRC32Table[(data[i] ^ r) & 0xFF] ^ r >> 8;
    }
    return ~r;
}

// ---- Start mode and run flags

namespace {

constexpr std::uint32_t kStartLogCode = 4;
constexpr const char *kMarkerFiles[] = {"/tmp/orva_init_ok", "/tmp/orva_agent_init_ok"};
constexpr char kConfigFile[] = "/opt/keldv8/data/ORVA_CFG.ini";
constexpr std::uint32_t kMarkerMode = 0600;

// The marker of a process kind, or null.
const char *marker_file(std::uint32_t kind) {
    return kind <= ORVA_PROCESS_AGENT ? kMarkerFiles[kind] : nullptr;
}

} // namespace

void ORVA_COMM_InitProcessStartMode(uint32_t kind, uint32_t *warm) {
    *warm = ORVA_START_COLD;
    const char *const marker = marker_file(kind);
    if (marker == nullptr) {
        return;
    }
    FILE *const file = fopen(marker, "r");
    if (file == nullptr) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, kStartLogCode, "Get reboot flag file fopen null");
        return;
    }
    *warm = ORVA_START_WARM;
    ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, kStartLogCode,
                     "Reboot flag file already exists and orva start mode warm");
    ORVA_FileClose(file);
}

void ORVA_COMM_SetProcessStartMode(uint32_t kind) {
    const char *const marker = marker_file(kind);
    if (marker == nullptr) {
        return;
    }
    FILE *const file = fopen(marker, "a+");
    if (file == nullptr) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, kStartLogCode, "Reboot flag file fopen null");
        return;
    }
    orva::LineReader lines(file);
    if (lines.next() == nullptr) {
        ORVA_Fchmod(marker, kMarkerMode);
        fputs("5\n", file);
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, kStartLogCode, "Reboot flag file is created");
    }
}

uint32_t ORVA_GetIndependPwrOffFlag(uint8_t slot, uint8_t index) {
    if (slot > ORVA_INDEPEND_SLOT_MAX || index > ORVA_INDEPEND_INDEX_MAX) {
        return 0;
    }
    FILE *const file = fopen(kConfigFile, "r");
    if (file == nullptr) {
        return 0;
    }
    orva::LineReader lines(file);
    while (const char *line = lines.next()) {
        unsigned lineSlot = 0;
        unsigned lineIndex = 0;
        unsigned flag = 0;
        const int parsed = sscanf_s(line, "independ_%u_%u:%u;", &lineSlot, &lineIndex, &flag);
        if (parsed < 0) {
            return 0;
        }
        if (parsed == 3 && lineSlot == slot && lineIndex == index && flag == 1) {
            return 1;
        }
    }
    return 0;
}

uint32_t ORVA_CheckIsCaseTemp(int8_t sensorType) {
    return sensorType == ORVA_CASE_TEMP_TYPE_A || sensorType == ORVA_CASE_TEMP_TYPE_B ? 1 : 0;
}

uint32_t liborva_comm_PAT_C2HSyncHookFunc(void) {
    return 0;
}

// ---- Agent message header and checks

namespace {

constexpr char kPacketModules[][12] = {"TQ9XA", "TQ9XB", "FAN", "PM", "AGENT", "MBUS", "AGENT_MGR"};
constexpr std::uint32_t kPacketLengthLine = 994;
constexpr char kPacketLengthText[] = "Invalid packet length, module: %s, realLen: %u, pktLen: %u, netFn: %u, cmd: %u";

constexpr std::uint32_t kChassisNet = 0xAC100000; // 172.16.0.0/16

constexpr std::uint8_t kFirstI2cMode = 3;
constexpr std::uint8_t kIsCheckedI2cMode[] = {1, 1, 0, 0, 0, 0, 1, 0, 1, 1}; // modes 3 to 12

struct HeaderWords {
    std::uint32_t kind;
    std::uint32_t srcSlot;
    std::uint32_t destSlot;
};

// The low 8 bits of the sum of the bytes from `begin` up to `end`.
std::uint8_t byte_sum(const std::uint8_t *frame, std::uint32_t begin, std::uint32_t end) {
    std::uint8_t sum = 0;
    for (std::uint32_t i = begin; i < end; ++i) {
        sum = static_cast<std::uint8_t>(sum + frame[i]);
    }
    return sum;
}

} // namespace

uint32_t ORVA_AGENT_CheckReqMsgValidity(uint8_t ownSlot, const uint32_t *header) {
    ORVA_AGENT_CheckReqMsgValidityPath();
    const auto words = orva::load_host<HeaderWords>(header);
    if (words.kind != ORVA_AGENT_REQUEST) {
        ORVA_LOG_DEBUG("The ReqOrReply flag is invalid, ReqOrReply: %u.", words.kind);
        return ORVA_ERR_REQ_KIND;
    }
    if (words.srcSlot > ORVA_AGENT_SLOT_MAX) {
        ORVA_LOG_DEBUG("The SrcSlot is invalid, SrcSlot: %u.", words.srcSlot);
        return ORVA_ERR_REQ_SRC_SLOT;
    }
    if (words.destSlot != ORVA_AGENT_ALL_SLOTS && words.destSlot != ownSlot) {
        ORVA_LOG_DEBUG("The DestSlot is invalid, DestSlot: %u.", words.destSlot);
        return ORVA_ERR_REQ_DEST_SLOT;
    }
    return ORVA_OK;
}

void ORVA_AGENT_CheckReqMsgValidityPath() {}

uint32_t ORVA_AGENT_CheckAckMsgValidity(uint8_t ownSlot, const uint32_t *header) {
    const auto words = orva::load_host<HeaderWords>(header);
    if (words.kind != ORVA_AGENT_REPLY) {
        ORVA_LOG_DEBUG("The ReqOrReply flag is invalid, ReqOrReply: %u.", words.kind);
        return ORVA_ERR_ACK_KIND;
    }
    if (words.srcSlot > ORVA_AGENT_SLOT_MAX) {
        ORVA_LOG_DEBUG("The SrcSlot is invalid, SrcSlot: %u.", words.srcSlot);
        return ORVA_ERR_ACK_SRC_SLOT;
    }
    if (words.destSlot != ownSlot) {
        ORVA_LOG_DEBUG("The DestSlot is invalid, DestSlot: %u.", words.destSlot);
        return ORVA_ERR_ACK_DEST_SLOT;
    }
    return ORVA_OK;
}

uint32_t ORVA_CheckPakcetLen(uint32_t module, uint32_t realLen, uint32_t pktLen) {
    if (realLen <= pktLen) {
        return ORVA_OK;
    }
    ORVA_LOG_DEBUG("Invalid packet length, module: %s, realLen: %u, pktLen: %u", kPacketModules[module], realLen,
                   pktLen);
    return ORVA_FAILED;
}

uint32_t ORVA_CheckPakcetLenByMsg(uint32_t module, uint32_t realLen, uint32_t pktLen, uint32_t netFn, uint32_t cmd) {
    if (realLen <= pktLen) {
        return ORVA_OK;
    }
    const char *const name = kPacketModules[module];
    if (ORVA_DiagMgrNeedRestrain(ORVA_DIAG_ID_PACKET_LENGTH, 0, kArea.name, kPacketLengthLine, kPacketLengthText,
                                 name, realLen, pktLen, netFn, cmd) == 0) {
        ORVA_DIAGLOG(0, orva::kDiagCode, 0, 0, 0, kPacketLengthText, name, realLen, pktLen, netFn, cmd);
    }
    return ORVA_ERR_PACKET_LENGTH;
}

uint32_t ORVA_TRANS_CheckIpmbSum(const uint8_t *frame, uint32_t length) {
    if (frame == nullptr) {
        return ORVA_ERR_IPMB_NULL;
    }
    if (byte_sum(frame, 0, 3) != 0) {
        return ORVA_ERR_IPMB_HEADER_SUM;
    }
    return byte_sum(frame, 3, length) == 0 ? ORVA_OK : ORVA_ERR_IPMB_DATA_SUM;
}

uint32_t ORVA_GetAddressFromSlot(uint8_t slot, uint8_t subSlot) {
    const bool isBoxStack = ORVA_DRVADP_GetIsBoxStackVar() == 1;
    if (subSlot == 0) {
        return kChassisNet + slot * 256u + 250u;
    }
    return isBoxStack ? kChassisNet + 256u + slot : kChassisNet + slot * 256u + subSlot;
}

uint32_t ORVA_AGENT_IsCheckBetweenBoardI2cMode(uint8_t mode) {
    if (mode < kFirstI2cMode || mode >= kFirstI2cMode + sizeof kIsCheckedI2cMode) {
        return 0;
    }
    return kIsCheckedI2cMode[mode - kFirstI2cMode];
}

// ---- Byte-order conversion

void ORVA_AGENT_ChgSwitchOverMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kSwitchOverToHost>(body);
}

void ORVA_AGENT_ChgSwitchOverMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kSwitchOverToNet>(frame);
}

void ORVA_AGENT_ChgSenAlmReqMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kSenAlmReqToHost>(body);
}

void ORVA_AGENT_ChgSenAlmReqMsgToNet(void *body) {
    orva::convert_message<orva::Converter::kSenAlmReqToNet>(body);
}

void ORVA_AGENT_ChgAddrRegMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kAddrRegToHost>(body);
}

void ORVA_AGENT_ChgAddrAckMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kAddrAckToNet>(frame);
}

void ORVA_AGENT_ChgTempInfoMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kTempInfoToHost>(body);
}

void ORVA_AGENT_ChgTempInfoMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kTempInfoToNet>(frame);
}

void ORVA_AGENT_ChgVltInfoMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kVltInfoToHost>(body);
}

void ORVA_AGENT_ChgVltInfoMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kVltInfoToNet>(frame);
}

void ORVA_AGENT_ChgMpuMngSensorInfoToHost(void *body) {
    orva::convert_message<orva::Converter::kMpuMngSensorInfoToHost>(body);
}

void ORVA_AGENT_ChgMpuMngSensorInfoToNet(void *body) {
    orva::convert_message<orva::Converter::kMpuMngSensorInfoToNet>(body);
}

void ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kMpuMngSensorInfoMsgToNet>(frame);
}

void ORVA_AGENT_ChgSubCardInfoMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kSubCardInfoToHost>(body);
}

void ORVA_AGENT_ChgSubCardInfoMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kSubCardInfoToNet>(frame);
}

void ORVA_AGENT_ChgCardAttrMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kCardAttrToHost>(body);
}

void ORVA_AGENT_ChgCardAttrMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kCardAttrToNet>(frame);
}

void ORVA_AGENT_ChgCardHumidMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kCardHumidToHost>(body);
}

void ORVA_AGENT_ChgCardHumidMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kCardHumidToNet>(frame);
}

void ORVA_AGENT_ChgSimulateMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kSimulateToHost>(body);
}

void ORVA_AGENT_ChgSimulateMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kSimulateToNet>(frame);
}

void ORVA_AGENT_ChgSoNameReqToHost(void *body) {
    orva::convert_message<orva::Converter::kSoNameReqToHost>(body);
}

void ORVA_AGENT_ChgSoNameReqToNet(void *frame) {
    orva::convert_message<orva::Converter::kSoNameReqToNet>(frame);
}

void ORVA_AGENT_ChgSoNameAckToHost(void *body) {
    orva::convert_message<orva::Converter::kSoNameAckToHost>(body);
}

void ORVA_AGENT_ChgSoNameAckToNet(void *frame) {
    orva::convert_message<orva::Converter::kSoNameAckToNet>(frame);
}

void ORVA_AGENT_ChgFrameAttrMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kFrameAttrToHost>(body);
}

void ORVA_AGENT_ChgReqFrameAtrrMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kFrameAttrReqToNet>(frame);
}

void ORVA_AGENT_ChgReqMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kReqToHost>(body);
}

void ORVA_AGENT_ChgReqMsgToNet(void *body) {
    orva::convert_message<orva::Converter::kReqToNet>(body);
}

void ORVA_AGENT_ChgFrameCardPowerStateMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kFrameCardPowerStateToHost>(body);
}

void ORVA_AGENT_ChgFrameCardPowerStateMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kFrameCardPowerStateToNet>(frame);
}

void ORVA_AGENT_ChgPowerStateMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kPowerStateToNet>(frame);
}

void ORVA_AGENT_ChgPwrSenCfgMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kPwrSenCfgToHost>(body);
}

void ORVA_AGENT_ChgPwrSenCfgMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kPwrSenCfgToNet>(frame);
}

void ORVA_AGENT_ChgHeartBeatMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kHeartBeatToHost>(body);
}

void ORVA_AGENT_ChgHeartBeatMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kHeartBeatToNet>(frame);
}

void ORVA_AGENT_ChgSensorCtrlMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kSensorCtrlToHost>(body);
}

void ORVA_AGENT_ChgSensorCtrlMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kSensorCtrlToNet>(frame);
}

void ORVA_AGENT_ChgSwitchOverMsgToHostPath() {}

void ORVA_AGENT_ChgSwitchOverMsgToNetPath() {}

void ORVA_AGENT_ChgAddrRegMsgToHostPath() {}

void ORVA_AGENT_ChgAddrAckMsgToNetPath() {}

void ORVA_AGENT_ChgTempInfoMsgToHostPath() {}

void ORVA_AGENT_ChgTempInfoMsgToNetPath() {}

void ORVA_AGENT_ChgSubCardInfoMsgToNetPath() {}

void ORVA_AGENT_ChgHeartBeatMsgToHostPath() {}

void ORVA_AGENT_ChgHeartBeatMsgToNetPath() {}

void ORVA_AGENT_ChgPowerStateMsgToNetPath() {}

// ---- Configuration nibbles

void ORVA_AGENT_SetGlobalCfgByFourBit(uint8_t value, uint8_t *bitmap, uint32_t startBit) {
    for (std::uint32_t k = 0; k < 4; ++k) {
        const std::uint64_t bit = std::uint64_t{startBit} + k;
        if ((value >> k & 1u) != 0) {
            bitmap[bit / 8] = static_cast<std::uint8_t>(bitmap[bit / 8] | 1u << bit % 8);
        }
    }
}

uint32_t ORVA_AGENT_GetGlobalCfgByFourBit(const uint8_t *bitmap, uint32_t startBit) {
    std::uint32_t value = 0;
    for (std::uint32_t k = 0; k < 4; ++k) {
        const std::uint64_t bit = std::uint64_t{startBit} + k;
        value |= (bitmap[bit / 8] >> bit % 8 & 1u) << k;
    }
    return value;
}
