/**
 * @file
 * Runtime services and agent messages: memory, queues, threads, time, checksums and start mode; the message header,
 * its checks, byte-order conversion and configuration nibbles.
 *
 * Start-up, from one thread and before any other use: the memory handle, the partition, the single-process flag. A
 * function that allocates frees before it returns, unless it says otherwise.
 */
#ifndef ORVA_COMM_H
#define ORVA_COMM_H

#include <stdio.h>
#include <time.h>

#include "miro.h"
#include "orva_types.h"

ORVA_BEGIN_DECLS

/* ---- Memory */

#define ORVA_SEM_TABLE_SIZE 1024u        /**< Entries of the table of synchronisation objects. */
#define ORVA_MEM_PARTITION_SIZE 0x80000u /**< Bytes of the library's own partition before it grows. */

/** One registered synchronisation object. */
typedef struct {
    uint64_t key;   /**< Address of the object. */
    uint32_t tag;   /**< Identifier that its creator passed. */
    uint32_t inUse; /**< 1 = occupied, 0 = free. */
} OrvaSemEntry;

/** The library's state, all zero at load and never cleared. */
typedef struct {
    OrvaSemEntry semTable[ORVA_SEM_TABLE_SIZE]; /**< Synchronisation objects, in order of creation. */
    uint32_t memHandle;                         /**< Handle of every allocation, 0 = not configured. */
    uint8_t memPartition;                       /**< Partition of every allocation, 0 = none yet. */
    uint32_t omaMemHandle;                      /**< Handle for users; the library allocates nothing from it. */
} OrvaCommLocal;

/** The library's state. Written at start-up only. */
ORVA_API extern OrvaCommLocal g_orvaCommLocal;

/** Memory handle of every allocation. Thread-safe after start-up. @return The handle; 0 when none is set. */
ORVA_API uint32_t ORVA_GetMemHandle(void);

/**
 * Stores the platform's memory handle. Not thread-safe. Part of start-up.
 *
 * @param[in] handle The handle of every later allocation; with 0 every allocation fails.
 */
ORVA_API void ORVA_SetMemHandle(uint32_t handle);

/** Memory handle for users of the library. Thread-safe after start-up. @return The handle; 0 when none is set. */
ORVA_API uint32_t ORVA_GetOmaMemHandle(void);

/**
 * Stores a memory handle for users of the library, which allocates nothing from it. Not thread-safe. Part of
 * start-up.
 *
 * @param[in] handle Any value.
 */
ORVA_API void ORVA_SetOmaMemHandle(uint32_t handle);

/** Partition of every allocation. Thread-safe after start-up. @return Its number, 0 to 255; 0 when there is none. */
ORVA_API uint32_t ORVA_GetMemPtr(void);

/**
 * Stores the partition of every allocation. Not thread-safe. Part of start-up.
 *
 * @param[in] partition Partition number, 0 to 255.
 */
ORVA_API void ORVA_SetMemPtr(uint8_t partition);

/**
 * Creates the library's growing partition "orvaCommonPt" of ORVA_MEM_PARTITION_SIZE bytes. Not thread-safe. Two
 * concurrent first calls could each create a partition.
 *
 * A partition that is already stored is kept. The partition lives as long as the process.
 *
 * @retval ORVA_OK     A partition is stored.
 * @retval ORVA_FAILED The platform could not create the partition or set it up. Nothing is stored, and a later call
 *                     tries again.
 */
ORVA_API uint32_t ORVA_CreateMemPt(void);

/* ---- Queues */

#define ORVA_QUEUE_PAYLOAD_MAX 2560u /**< Payload bytes of a message at most. */
#define ORVA_QUEUE_MESSAGE_TYPE 100  /**< Type of every message that the library sends. */
#define ORVA_QUEUE_NONE 0xFFFFFFFFu  /**< Queue identifier that means no queue. */
#define ORVA_QUEUE_MODULE_MAX 255u   /**< Highest module number. */

#define ORVA_ERR_QUEUE_WRITE_ARGUMENT ORVA_RESULT(0xD6u, ORVA_REASON_ARGUMENT)   /**< Bad payload. */
#define ORVA_ERR_QUEUE_WRITE_MEMORY ORVA_RESULT(0xDBu, ORVA_REASON_NO_MEMORY)    /**< No message buffer. */
#define ORVA_ERR_QUEUE_WRITE_SEND ORVA_RESULT(0xEBu, ORVA_REASON_SYSTEM)         /**< `msgsnd` failed. */
#define ORVA_ERR_QUEUE_TRY_GET ORVA_RESULT(0x151u, ORVA_REASON_SYSTEM)           /**< `msgget` failed. */
#define ORVA_ERR_QUEUE_TRY_ZERO ORVA_RESULT(0x161u, ORVA_REASON_SYSTEM)          /**< Identifier 0 five times. */
#define ORVA_ERR_QUEUE_CLEAR_MEMORY ORVA_RESULT(0x17Cu, ORVA_REASON_NO_MEMORY)   /**< No buffer to read into. */
#define ORVA_ERR_QUEUE_CREATE_ARGUMENT ORVA_RESULT(0x19Cu, ORVA_REASON_ARGUMENT) /**< Bad module or output. */
#define ORVA_ERR_QUEUE_CREATE_FOLDER ORVA_RESULT(0x1A1u, ORVA_REASON_NULL)       /**< No working folder. */

/** A message as the kernel's System V queues carry it. */
typedef struct {
    int64_t type;                            /**< ORVA_QUEUE_MESSAGE_TYPE. */
    uint8_t payload[ORVA_QUEUE_PAYLOAD_MAX]; /**< The caller's bytes, unconverted. */
} OrvaQueueMessage;

/** Non-zero: the management process and the agents are one process. 0 at load. */
ORVA_API extern uint32_t g_orvaIsSingleProcess;

/** Single-process flag. Thread-safe after start-up. @return g_orvaIsSingleProcess. */
ORVA_API uint32_t ORVA_GetSingleProcess(void);

/**
 * Stores the single-process flag. Not thread-safe. Part of start-up, before the first queue is created.
 *
 * @param[in] flag 0 for separate processes, any other value for a single one.
 */
ORVA_API void ORVA_SetSingleProcess(uint32_t flag);

/**
 * Creates or opens the queue of a module, then discards what waits in it as ORVA_QueueClear does. Thread-safe.
 *
 * The key is `ftok` of a key file and the module: "/usr/local/lib64/liborva_agent_lib.so" for separate processes,
 * "orva_agent" in the working folder for a single process. A missing key file gives the key -1 for every module, so
 * that all modules share one queue. The working folder is read in both modes. The queue outlives the process.
 *
 * @param[in]  module  Module number, 0 to ORVA_QUEUE_MODULE_MAX.
 * @param[out] queueId Receives the identifier, never 0. It is written as soon as the queue exists, also when
 *                     discarding the messages fails afterwards.
 * @retval ORVA_OK                        The queue exists. A message may still wait in it: see ORVA_QueueClear.
 * @retval ORVA_ERR_QUEUE_CREATE_ARGUMENT `module` is out of range or `queueId` is null.
 * @retval ORVA_ERR_QUEUE_CREATE_FOLDER   The working folder cannot be read, or its path has 256 bytes or more.
 * @retval ORVA_FAILED                    The working folder's path with "/orva_agent" has 256 bytes or more.
 * @retval ORVA_ERR_QUEUE_TRY_GET         The system refused a queue.
 * @retval ORVA_ERR_QUEUE_TRY_ZERO        The system gave identifier 0 five times.
 * @retval ORVA_ERR_QUEUE_CLEAR_MEMORY    The queue exists, but there is no buffer to discard its messages.
 */
ORVA_API uint32_t ORVA_QueueCreate(uint32_t module, uint32_t *queueId);

/**
 * Creates or opens the queue of a key, with permissions octal 600. Thread-safe.
 *
 * Identifier 0 means no queue in the records of the callers. A queue 0 is removed and another one requested, five
 * times at most.
 *
 * @param[in]  key     A System V key (`key_t`).
 * @param[out] queueId Receives the identifier, on success only.
 * @retval ORVA_OK                 The queue exists.
 * @retval ORVA_ERR_QUEUE_TRY_GET  `msgget` failed.
 * @retval ORVA_ERR_QUEUE_TRY_ZERO The system gave identifier 0 five times.
 * @retval ORVA_FAILED             `queueId` is null.
 */
ORVA_API uint32_t ORVA_QueueCreateTry(int32_t key, uint32_t *queueId);

/**
 * Takes one message from a queue. Thread-safe. Several threads may share a queue.
 *
 * A message that was taken is lost when it is empty, longer than the buffer, or not of ORVA_QUEUE_MESSAGE_TYPE. The
 * last two leave a debug record.
 *
 * @param[in]  queueId     Queue identifier; nothing is read from ORVA_QUEUE_NONE.
 * @param[out] buffer      Receives the payload.
 * @param[in]  bufferSize  Bytes at `buffer`, 0 to ORVA_QUEUE_PAYLOAD_MAX.
 * @param[in]  messageType Type to take, as `msgrcv` understands it; 0 takes any.
 * @param[in]  flags       Flags of `msgrcv`. Without MSG_NOERROR a message of more than ORVA_QUEUE_PAYLOAD_MAX bytes
 *                         stays queued.
 * @return Number of payload bytes; 0 for a bad argument, without memory, for an empty queue, after an interrupted
 *         wait, and for a message that was lost.
 */
ORVA_API uint32_t ORVA_QueueRead(uint32_t queueId, void *buffer, uint32_t bufferSize, int32_t messageType,
                                 int32_t flags);

/**
 * Takes one message from a queue and waits for it: ORVA_QueueRead with flags 0. Thread-safe.
 *
 * @param[in]  queueId     As for ORVA_QueueRead.
 * @param[out] buffer      As for ORVA_QueueRead.
 * @param[in]  bufferSize  As for ORVA_QueueRead.
 * @param[in]  messageType As for ORVA_QueueRead.
 * @return As ORVA_QueueRead.
 */
ORVA_API uint32_t ORVA_QueueSynRead(uint32_t queueId, void *buffer, uint32_t bufferSize, int32_t messageType);

/**
 * Takes one message from a queue without waiting: ORVA_QueueRead with flags IPC_NOWAIT. Thread-safe.
 *
 * @param[in]  queueId     As for ORVA_QueueRead.
 * @param[out] buffer      As for ORVA_QueueRead.
 * @param[in]  bufferSize  As for ORVA_QueueRead.
 * @param[in]  messageType As for ORVA_QueueRead.
 * @return As ORVA_QueueRead.
 */
ORVA_API uint32_t ORVA_QueueAsyRead(uint32_t queueId, void *buffer, uint32_t bufferSize, int32_t messageType);

/**
 * Puts one message of ORVA_QUEUE_MESSAGE_TYPE into a queue. Thread-safe. Several threads may share a queue.
 *
 * @param[in] queueId Queue identifier.
 * @param[in] payload The bytes; read during the call only.
 * @param[in] length  Number of bytes, 0 to ORVA_QUEUE_PAYLOAD_MAX. An empty message is sent, but ORVA_QueueRead loses
 *                    it.
 * @param[in] flags   Flags of `msgsnd`.
 * @retval ORVA_OK                       The message is in the queue.
 * @retval ORVA_ERR_QUEUE_WRITE_ARGUMENT `payload` is null or `length` is too large.
 * @retval ORVA_ERR_QUEUE_WRITE_MEMORY   There is no memory handle or no memory for the message.
 * @retval ORVA_FAILED                   The payload could not be copied.
 * @retval ORVA_ERR_QUEUE_WRITE_SEND     `msgsnd` failed, also because the queue is full and `flags` has IPC_NOWAIT.
 */
ORVA_API uint32_t ORVA_QueueWrite(uint32_t queueId, const void *payload, uint32_t length, int32_t flags);

/**
 * Puts one message into a queue and waits for room: ORVA_QueueWrite with flags 0. Thread-safe.
 *
 * @param[in] queueId As for ORVA_QueueWrite.
 * @param[in] payload As for ORVA_QueueWrite.
 * @param[in] length  As for ORVA_QueueWrite.
 * @retval ORVA_OK                       The message is in the queue.
 * @retval ORVA_ERR_QUEUE_WRITE_ARGUMENT As ORVA_QueueWrite.
 * @retval ORVA_ERR_QUEUE_WRITE_MEMORY   As ORVA_QueueWrite.
 * @retval ORVA_FAILED                   As ORVA_QueueWrite.
 * @retval ORVA_ERR_QUEUE_WRITE_SEND     `msgsnd` failed, also because a signal interrupted the wait.
 */
ORVA_API uint32_t ORVA_QueueSynWrite(uint32_t queueId, const void *payload, uint32_t length);

/**
 * Puts one message into a queue without waiting: ORVA_QueueWrite with flags IPC_NOWAIT. Thread-safe.
 *
 * @param[in] queueId As for ORVA_QueueWrite.
 * @param[in] payload As for ORVA_QueueWrite.
 * @param[in] length  As for ORVA_QueueWrite.
 * @retval ORVA_OK                       The message is in the queue.
 * @retval ORVA_ERR_QUEUE_WRITE_ARGUMENT As ORVA_QueueWrite.
 * @retval ORVA_ERR_QUEUE_WRITE_MEMORY   As ORVA_QueueWrite.
 * @retval ORVA_FAILED                   As ORVA_QueueWrite.
 * @retval ORVA_ERR_QUEUE_WRITE_SEND     `msgsnd` failed, also because the queue is full.
 */
ORVA_API uint32_t ORVA_QueueAsyWrite(uint32_t queueId, const void *payload, uint32_t length);

/**
 * Discards the waiting messages of a queue. Thread-safe.
 *
 * It reads until a read gives 0. A message that ORVA_QueueRead loses is discarded and ends the pass; the messages
 * after it stay.
 *
 * @param[in] queueId Queue identifier.
 * @retval ORVA_OK                     The pass has ended.
 * @retval ORVA_ERR_QUEUE_CLEAR_MEMORY There is no memory handle or no buffer to read into.
 */
ORVA_API uint32_t ORVA_QueueClear(uint32_t queueId);

/**
 * Removes a queue and what waits in it. Thread-safe. A reader that waits on the queue gets 0.
 *
 * @param[in] queueId Queue identifier; a negative one does nothing.
 */
ORVA_API void ORVA_QueueDelete(int32_t queueId);

/**
 * Puts one message into an agent's queue without waiting, then wakes the agent through its pipe. Thread-safe.
 *
 * The pipe is written only after the message is in the queue. A failed write to it is ignored: a full pipe wakes its
 * reader anyway.
 *
 * @param[in] pipeFd  Write end of a pipe of ORVA_CreatePipe.
 * @param[in] queueId As for ORVA_QueueWrite.
 * @param[in] payload As for ORVA_QueueWrite.
 * @param[in] length  As for ORVA_QueueWrite.
 * @retval ORVA_OK                       The message is in the queue.
 * @retval ORVA_ERR_QUEUE_WRITE_ARGUMENT As ORVA_QueueAsyWrite.
 * @retval ORVA_ERR_QUEUE_WRITE_MEMORY   As ORVA_QueueAsyWrite.
 * @retval ORVA_FAILED                   As ORVA_QueueAsyWrite.
 * @retval ORVA_ERR_QUEUE_WRITE_SEND     As ORVA_QueueAsyWrite.
 */
ORVA_API uint32_t ORVA_AGENT_WriteQueue(int32_t pipeFd, uint32_t queueId, const void *payload, uint32_t length);

/**
 * Sleeps at least the given time. Thread-safe. A sleep that a signal interrupts starts again at its full length.
 *
 * @param[in] milliseconds Time in milliseconds.
 */
ORVA_API void ORVA_SafeSleep(uint32_t milliseconds);

/* ---- Threads, mutexes, pipes */

#define ORVA_THREAD_NAME_MAX 29u  /**< Characters of a thread name that are kept. */
#define ORVA_THREAD_PRIORITY 255u /**< Priority class passed to the platform. */

#define ORVA_ERR_THREAD_ARGUMENT ORVA_RESULT(0x1D4u, ORVA_REASON_ARGUMENT)          /**< Null argument. */
#define ORVA_ERR_MUTEX_CREATE_ARGUMENT ORVA_RESULT(0x1F5u, ORVA_REASON_ARGUMENT)    /**< Null output. */
#define ORVA_ERR_MUTEX_CREATE_MEMORY ORVA_RESULT(0x20Au, ORVA_REASON_BUFFER_MEMORY) /**< No memory. */
#define ORVA_ERR_MUTEX_INVALID ORVA_RESULT(0x229u, ORVA_REASON_OTHER)               /**< Not a mutex. */
#define ORVA_ERR_MUTEX_LOCK ORVA_RESULT(0x22Eu, ORVA_REASON_OTHER)                  /**< The lock failed. */
#define ORVA_ERR_TICK ORVA_RESULT(0x254u, ORVA_REASON_SYSTEM)                       /**< No clock. */

/**
 * Starts a platform task. Thread-safe.
 *
 * @param[in]  entry    Runs on the new task.
 * @param[in]  argument Passed to `entry`; may be null, and must live as long as `entry` uses it.
 * @param[in]  name     Name of the task; ORVA_THREAD_NAME_MAX characters are kept.
 * @param[in]  param    The platform's stack size in bytes.
 * @param[out] taskId   Receives the platform's identifier, on success only.
 * @retval ORVA_OK                  The task is started.
 * @retval ORVA_ERR_THREAD_ARGUMENT `entry`, `name` or `taskId` is null.
 * @retval ORVA_FAILED              The name could not be formatted.
 * @retval other                    The platform's code.
 */
ORVA_API uint32_t ORVA_CreatThreadNew(MIRO_TASK_ENTRY entry, void *argument, const char *name, uint32_t param,
                                      uint32_t *taskId);

/**
 * Creates a recursive mutex and registers it in g_orvaCommLocal. Not thread-safe. Part of start-up, since the table
 * takes no lock.
 *
 * With a full table the mutex is created but not registered.
 *
 * @param[in]  tag   The caller's identifier, kept in the table.
 * @param[out] mutex Receives the mutex, on success only. It lives until the process ends; nothing destroys it.
 * @retval ORVA_OK                        The mutex is ready.
 * @retval ORVA_ERR_MUTEX_CREATE_ARGUMENT `mutex` is null.
 * @retval ORVA_ERR_MUTEX_CREATE_MEMORY   There is no memory handle or no memory.
 * @retval other                          The POSIX error number of the step that failed.
 */
ORVA_API uint32_t ORVA_CreatMutex(uint32_t tag, void **mutex);

/**
 * Locks a mutex of ORVA_CreatMutex and waits while another thread owns it. Thread-safe.
 *
 * Its owner may lock it again, and unlocks it as often.
 *
 * @param[in] mutex The mutex.
 * @retval ORVA_OK                The caller owns the mutex.
 * @retval ORVA_ERR_MUTEX_INVALID `mutex` is null or all ones.
 * @retval ORVA_ERR_MUTEX_LOCK    The lock failed.
 */
ORVA_API uint32_t ORVA_MutexP(void *mutex);

/**
 * Unlocks a mutex of ORVA_CreatMutex once. Thread-safe.
 *
 * @param[in] mutex The mutex; not checked.
 * @return The result of `pthread_mutex_unlock`: 0, or a POSIX error number.
 */
ORVA_API int32_t ORVA_MutexV(void *mutex);

/**
 * Creates a wake-up pipe. Thread-safe.
 *
 * The write end is made non-blocking. When that fails the pipe is used as it is, and a process record says so: its
 * writer may then block. The read end blocks. Both are plain descriptors.
 *
 * @param[out] fds   Receives the read end, then the write end. The caller closes them with ORVA_DeletePipe.
 * @param[in]  count Entries of `fds`, at least 2.
 * @retval 0           The pipe is ready.
 * @retval ORVA_FAILED `fds` is null or `count` is below 2 or impossibly large. `fds` is unchanged, and the pipe stays
 *                     open with nobody to close it.
 * @retval negative    The pipe could not be created.
 */
ORVA_API int32_t ORVA_CreatePipe(int32_t *fds, uint64_t count);

/**
 * Closes each descriptor of an array that is not -1. Thread-safe for distinct objects.
 *
 * The array keeps its values. A second call with the same array closes those numbers again, and by then they may
 * belong to descriptors that somebody else opened: set the entries to -1 after the first call.
 *
 * @param[in] fds   Descriptors; not checked for null unless `count` is 0.
 * @param[in] count Entries of `fds`.
 */
ORVA_API void ORVA_DeletePipe(int32_t *fds, uint64_t count);

/**
 * Writes one zero byte to a pipe. Thread-safe.
 *
 * @param[in] fd Write end.
 * @return 1; negative when the write failed, also because the pipe is full.
 */
ORVA_API int64_t ORVA_WritePipe(int32_t fd);

/**
 * Reads from a pipe; waits while it is empty. Thread-safe.
 *
 * @param[in]  fd     Read end.
 * @param[out] buffer Receives the bytes.
 * @param[in]  length Bytes at `buffer`.
 * @return Number of bytes read; 0 when the write end is closed; negative when the read failed.
 */
ORVA_API int64_t ORVA_ReadPipe(int32_t fd, void *buffer, uint32_t length);

/**
 * Wall clock in microseconds, modulo 2^32. Thread-safe. Only differences have a meaning.
 *
 * @retval ORVA_ERR_TICK The clock could not be read. A tick may have this value too.
 * @retval other         The tick.
 */
ORVA_API uint32_t ORVA_TickGet(void);

/**
 * Registers a synchronisation object; does nothing when the table is full. Not thread-safe. Part of start-up.
 *
 * @param[in] key Address of the object.
 * @param[in] tag The caller's identifier.
 */
ORVA_API void ORVA_AddSemTable(uint64_t key, uint32_t tag);

/**
 * Finds a registered synchronisation object. Thread-safe after start-up.
 *
 * @param[in] key Address of the object.
 * @return The first occupied entry with this key, which stays the library's; null when there is none.
 */
ORVA_API OrvaSemEntry *ORVA_FindSemById(uint64_t key);

/**
 * Closes a socket. Thread-safe.
 *
 * @param[in] fd Tracked or plain descriptor.
 * @return The result of `close_s`.
 */
ORVA_API int32_t ORVA_CloseSock(int32_t fd);

/**
 * Closes a stream. Thread-safe for distinct objects.
 *
 * @param[in] file The stream, not to be used afterwards; or null.
 * @return The result of `fclose`; EOF for null.
 */
ORVA_API int32_t ORVA_FileClose(FILE *file);

/* ---- Time */

#define ORVA_ERR_TIME_ARGUMENT 22u /**< EINVAL: null record, or the platform has no zone time. */

/** Calendar time without the platform's last field, host byte order; passed by value. */
typedef struct {
    uint16_t year;    /**< Year. */
    uint8_t month;    /**< 1 to 12. */
    uint8_t day;      /**< 1 to 31. */
    uint8_t hour;     /**< 0 to 23. */
    uint8_t minute;   /**< 0 to 59. */
    uint8_t second;   /**< 0 to 60. */
    uint8_t reserved; /**< The platform's. */
} OrvaCalendarTime;

/**
 * Reads the platform's calendar time. Thread-safe for distinct objects.
 *
 * @param[in,out] time Receives the record, on success only, host byte order. Its byte 7 (`reserved`) keeps the
 *                     caller's value.
 * @retval ORVA_OK     `time` is written.
 * @retval ORVA_FAILED `time` is null, or the platform's clock failed.
 */
ORVA_API uint32_t ORVA_GetSysTime(MIRO_SYSTIME *time);

/**
 * Reads the platform's local zone time. Thread-safe for distinct objects.
 *
 * @param[out] time Receives the whole record, on success only.
 * @retval ORVA_OK                `time` is written.
 * @retval ORVA_ERR_TIME_ARGUMENT `time` is null, or the platform failed.
 */
ORVA_API uint32_t KELD_LOCAL_SystimeGet(MIRO_ZONETIME *time);

/**
 * Reads the platform's Greenwich zone time. Thread-safe for distinct objects.
 *
 * @param[out] time Receives the whole record, on success only.
 * @retval ORVA_OK                `time` is written.
 * @retval ORVA_ERR_TIME_ARGUMENT `time` is null, or the platform failed.
 */
ORVA_API uint32_t ORVA_GMT_SystimeGet(MIRO_ZONETIME *time);

/**
 * Reads the wall clock. Thread-safe for distinct objects.
 *
 * @param[out] seconds Receives the low 32 bits of the seconds since 1970-01-01 00:00 UTC; 0 when the clock could not
 *                     be read.
 * @retval ORVA_OK     `seconds` holds the time.
 * @retval ORVA_FAILED `seconds` is null, or the clock could not be read.
 */
ORVA_API uint32_t ORVA_GetCurrentTime(uint32_t *seconds);

/**
 * Splits seconds into days, hours and minutes; the remaining seconds are dropped. Thread-safe for distinct objects.
 *
 * @param[in]  seconds Any value.
 * @param[out] days    Whole days; not checked for null.
 * @param[out] hours   Hours, 0 to 23; not checked for null.
 * @param[out] minutes Minutes, 0 to 59; not checked for null.
 */
ORVA_API void ORVA_TransSecToDayAndHour(uint32_t seconds, uint32_t *days, uint32_t *hours, uint32_t *minutes);

/**
 * Writes a calendar time as "2024-03-05 07:08:09". Thread-safe for distinct objects.
 *
 * A text that does not fit is left empty, and an error record is written.
 *
 * @param[out] text Receives the text and its zero, 20 bytes for a year up to 9999; null does nothing.
 * @param[in]  size Bytes at `text`.
 * @param[in]  time The time; its fields are printed unchecked.
 */
ORVA_API void ORVA_TransSysTimeToStr(char *text, size_t size, OrvaCalendarTime time);

/**
 * Writes a time as "2024-03-05 07:08:09" in the time zone of the process. Thread-safe for distinct objects.
 *
 * @param[in]  seconds Seconds since 1970-01-01 00:00 UTC; negative ones are before.
 * @param[out] text    Receives the text and its zero, 20 bytes for a year up to 9999. It is left empty when the text
 *                     does not fit, and unchanged when the time has no calendar form. Must not be null.
 * @param[in]  size    Bytes at `text`.
 * @return Number of characters without the zero; negative, with an error record, when the text does not fit or the
 *         time has no calendar form.
 */
ORVA_API int32_t ORVA_TransSecToLocalTime(time_t seconds, char *text, uint32_t size);

/* ---- Checksums */

/*
 * CRC-16 (polynomial 0x1021, most significant bit first, not reflected) and the reflected CRC-32 of IEEE 802.3
 * (polynomial 0xEDB88320). Call both initialisation functions once at start-up, before any checksum.
 */
#define ORVA_CRC_TABLE_ENTRIES 256u /**< Entries of each table. */

/**
 * CRC-16 table: entry i is the register that byte i, in the high byte of a zero register, leaves after eight steps.
 *
 * The exported tables govern. They are zero until built, a checksum taken before that is wrong and does not fail, and
 * a table that somebody alters changes the results.
 */
ORVA_API extern uint16_t g_ausCRC16Table[ORVA_CRC_TABLE_ENTRIES];

/** CRC-32 table: entry i is the register that byte i, in the low byte of a zero register, leaves after eight steps.
 */
ORVA_API extern uint32_t g_auiCRC32Table[ORVA_CRC_TABLE_ENTRIES];

/** Builds g_ausCRC16Table on the first call of the process; later calls do nothing. Thread-safe. */
ORVA_API void ORVA_COMM_InitCrc16Table(void);

/** Builds g_auiCRC32Table, anew on every call. Thread-safe. Checksums may run meanwhile once it was built. */
ORVA_API void ORVA_COMM_InitCrc32Table(void);

/**
 * Continues a CRC-16, without a final inversion. Thread-safe after start-up.
 *
 * @param[in]     data   The bytes, at any address.
 * @param[in]     length Number of bytes.
 * @param[in,out] crc    In the start value, out the result, host byte order: 0xFFFF to start CRC-16/CCITT-FALSE, 0 to
 *                       start CRC-16/XMODEM. It is unchanged for a length of 0 and for a null pointer.
 */
ORVA_API void ORVA_COMM_Crc16CheckSum(const uint8_t *data, uint32_t length, uint16_t *crc);

/**
 * Continues an augmented (shift-in) CRC-16. Thread-safe after start-up.
 *
 * From 0 over a message and its two CRC bytes, high byte first, the register ends at 0. Over a message and two zero
 * bytes it is the message's CRC-16/XMODEM.
 *
 * @param[in]     data   The bytes, at any address; not checked for null.
 * @param[in]     length Number of bytes.
 * @param[in,out] crc    In the start value, out the register, host byte order; not checked for null, and written for
 *                       a length of 0 too.
 */
ORVA_API void ORVA_PWR_CheckCrc16Sum(const uint8_t *data, uint32_t length, uint16_t *crc);

/**
 * CRC-16/XMODEM of a load file. Thread-safe after start-up.
 *
 * @param[in] data   The bytes, at any address; null only with a length of 0.
 * @param[in] length Number of bytes.
 * @return The CRC, host byte order; 0 for a length of 0.
 */
ORVA_API uint16_t ORVA_LOAD_CalcAppCrc16Sum(const uint8_t *data, uint32_t length);

/**
 * CRC-32 of IEEE 802.3. Thread-safe after start-up.
 *
 * @param[in] data   The bytes, at any address; not checked for null unless the length is 0.
 * @param[in] length Number of bytes.
 * @return The CRC, host byte order; 0 for a length of 0.
 */
ORVA_API uint32_t ORVA_COMM_Crc32CheckSum(const uint8_t *data, uint32_t length);

/* ---- Start mode and run flags */

#define ORVA_PROCESS_MANAGEMENT 0u /**< Process kind: the management process. */
#define ORVA_PROCESS_AGENT 1u      /**< Process kind: an agent. */
#define ORVA_START_COLD 0u         /**< First start of the process since the board booted. */
#define ORVA_START_WARM 1u         /**< A later start. */
#define ORVA_INDEPEND_SLOT_MAX 29u /**< Highest slot with a power-off flag. */
#define ORVA_INDEPEND_INDEX_MAX 4u /**< Highest index of a power-off flag. */
#define ORVA_CASE_TEMP_TYPE_A 0x20 /**< Sensor type of a case temperature. */
#define ORVA_CASE_TEMP_TYPE_B 0x08 /**< The other one. */

/**
 * Tells whether the process starts cold, first since the board booted, or warm. Thread-safe for distinct objects.
 *
 * A start is warm when the marker file of the kind can be opened for reading: "/tmp/orva_init_ok" for the management
 * process, "/tmp/orva_agent_init_ok" for an agent. Its content is not looked at. A marker that exists but cannot be
 * opened gives a cold start. Symbolic links are followed.
 *
 * @param[in]  kind ORVA_PROCESS_MANAGEMENT or ORVA_PROCESS_AGENT; any other kind starts cold.
 * @param[out] warm Receives ORVA_START_WARM or ORVA_START_COLD; not checked for null.
 */
ORVA_API void ORVA_COMM_InitProcessStartMode(uint32_t kind, uint32_t *warm);

/**
 * Leaves the marker file of a process kind, so that later starts before the next boot are warm. Thread-safe.
 *
 * Call it when the initialisation is complete. A marker without a line gets permissions octal 600 and the line "5";
 * one that holds a line keeps its content and its permissions. The file is created with the permissions that the
 * umask leaves and restricted afterwards. Symbolic links are followed, so that whoever may write to "/tmp" chooses
 * which file is opened. A file that cannot be opened leaves a process record only.
 *
 * @param[in] kind ORVA_PROCESS_MANAGEMENT or ORVA_PROCESS_AGENT; any other kind does nothing.
 */
ORVA_API void ORVA_COMM_SetProcessStartMode(uint32_t kind);

/**
 * Tells whether the configuration file switches independent power-off on. Thread-safe.
 *
 * The file "/opt/keldv8/data/ORVA_CFG.ini" is read anew on every call. A line "independ_3_1:1;" switches index 1 of
 * slot 3 on. The first such line decides; a line that switches off does not end the search, and a line of another
 * form is skipped. An empty or blank line ends the search. Numbers wrap at 2^32.
 *
 * @param[in] slot  Slot, 0 to ORVA_INDEPEND_SLOT_MAX.
 * @param[in] index Index, 0 to ORVA_INDEPEND_INDEX_MAX.
 * @retval 1 The flag is on.
 * @retval 0 It is not, the file cannot be read, or an argument is out of range.
 */
ORVA_API uint32_t ORVA_GetIndependPwrOffFlag(uint8_t slot, uint8_t index);

/**
 * Tells whether a sensor measures a case temperature. Thread-safe.
 *
 * @param[in] sensorType Sensor type.
 * @retval 1 ORVA_CASE_TEMP_TYPE_A or ORVA_CASE_TEMP_TYPE_B.
 * @retval 0 Any other type.
 */
ORVA_API uint32_t ORVA_CheckIsCaseTemp(int8_t sensorType);

/** Entry for the platform's synchronisation hook; does nothing. Thread-safe. @return 0. */
ORVA_API uint32_t liborva_comm_PAT_C2HSyncHookFunc(void);

/* ---- Agent message header and checks */

/*
 * A message body begins with four 32-bit words: the kind, the sender's slot, the receiver's slot and a word of the
 * message family; network byte order on the wire, host byte order after conversion. The checks read the first three.
 */
#define ORVA_AGENT_REQUEST 1u            /**< Kind of a request. */
#define ORVA_AGENT_REPLY 2u              /**< Kind of a reply. */
#define ORVA_AGENT_SLOT_MAX 30u          /**< Highest slot of a sender. */
#define ORVA_AGENT_ALL_SLOTS 0xFFFFFFFFu /**< Receiver of a request to every board. */

#define ORVA_PACKET_MODULE_TQ9XA 0u     /**< Module of the packet-length checks: "TQ9XA". */
#define ORVA_PACKET_MODULE_TQ9XB 1u     /**< "TQ9XB". */
#define ORVA_PACKET_MODULE_FAN 2u       /**< "FAN". */
#define ORVA_PACKET_MODULE_PM 3u        /**< "PM", the power modules. */
#define ORVA_PACKET_MODULE_AGENT 4u     /**< "AGENT". */
#define ORVA_PACKET_MODULE_MBUS 5u      /**< "MBUS". */
#define ORVA_PACKET_MODULE_AGENT_MGR 6u /**< "AGENT_MGR", the highest module number. */

#define ORVA_DIAG_ID_PACKET_LENGTH 371u /**< Diagnostic id of ORVA_CheckPakcetLenByMsg. */

#define ORVA_ERR_REQ_KIND ORVA_RESULT(0x1CCu, ORVA_REASON_CHECK)           /**< Not a request. */
#define ORVA_ERR_REQ_SRC_SLOT ORVA_RESULT(0x1D1u, ORVA_REASON_CHECK)       /**< Sender of a request out of range. */
#define ORVA_ERR_REQ_DEST_SLOT ORVA_RESULT(0x1DAu, ORVA_REASON_CHECK)      /**< Request to another board. */
#define ORVA_ERR_ACK_KIND ORVA_RESULT(0x1ECu, ORVA_REASON_CHECK)           /**< Not a reply. */
#define ORVA_ERR_ACK_SRC_SLOT ORVA_RESULT(0x1F1u, ORVA_REASON_CHECK)       /**< Sender of a reply out of range. */
#define ORVA_ERR_ACK_DEST_SLOT ORVA_RESULT(0x1F6u, ORVA_REASON_CHECK)      /**< Reply to another board. */
#define ORVA_ERR_PACKET_LENGTH ORVA_RESULT(0x3E3u, ORVA_REASON_LENGTH)     /**< More bytes than the packet has. */
#define ORVA_ERR_IPMB_NULL ORVA_RESULT(0x323u, ORVA_REASON_ARGUMENT)       /**< Null frame. */
#define ORVA_ERR_IPMB_HEADER_SUM ORVA_RESULT(0x32Du, ORVA_REASON_CHECKSUM) /**< First checksum wrong. */
#define ORVA_ERR_IPMB_DATA_SUM ORVA_RESULT(0x337u, ORVA_REASON_CHECKSUM)   /**< Second checksum wrong. */

/**
 * Checks the header of a request. Thread-safe. It first calls ORVA_AGENT_CheckReqMsgValidityPath.
 *
 * The first failure decides and leaves a debug record.
 *
 * @param[in] ownSlot Slot of the own board.
 * @param[in] header  Three words in host byte order, at any address; not checked for null.
 * @retval ORVA_OK                A request for this board or for all boards.
 * @retval ORVA_ERR_REQ_KIND      The kind is not ORVA_AGENT_REQUEST.
 * @retval ORVA_ERR_REQ_SRC_SLOT  The sender's slot is above ORVA_AGENT_SLOT_MAX.
 * @retval ORVA_ERR_REQ_DEST_SLOT The receiver's slot is neither ORVA_AGENT_ALL_SLOTS nor `ownSlot`.
 */
ORVA_API uint32_t ORVA_AGENT_CheckReqMsgValidity(uint8_t ownSlot, const uint32_t *header);

/** Hook of the request check; does nothing. Thread-safe. A library loaded ahead of this one may define it. */
ORVA_API void ORVA_AGENT_CheckReqMsgValidityPath(void);

/**
 * Checks the header of a reply. Thread-safe. Unlike the check of a request it calls no hook.
 *
 * The first failure decides and leaves a debug record. A reply to all boards is refused.
 *
 * @param[in] ownSlot Slot of the own board.
 * @param[in] header  Three words in host byte order, at any address; not checked for null.
 * @retval ORVA_OK                A reply for this board.
 * @retval ORVA_ERR_ACK_KIND      The kind is not ORVA_AGENT_REPLY.
 * @retval ORVA_ERR_ACK_SRC_SLOT  The sender's slot is above ORVA_AGENT_SLOT_MAX.
 * @retval ORVA_ERR_ACK_DEST_SLOT The receiver's slot is not `ownSlot`.
 */
ORVA_API uint32_t ORVA_AGENT_CheckAckMsgValidity(uint8_t ownSlot, const uint32_t *header);

/**
 * Checks a received length against the length of the packet; a failure leaves a debug record. Thread-safe.
 *
 * @param[in] module  ORVA_PACKET_MODULE_TQ9XA to ORVA_PACKET_MODULE_AGENT_MGR. It indexes a table of names unchecked:
 *                    a higher number reads outside the table when the check fails.
 * @param[in] realLen Received bytes.
 * @param[in] pktLen  Bytes of the packet.
 * @retval ORVA_OK     `realLen` is at most `pktLen`.
 * @retval ORVA_FAILED `realLen` is above `pktLen`.
 */
ORVA_API uint32_t ORVA_CheckPakcetLen(uint32_t module, uint32_t realLen, uint32_t pktLen);

/**
 * Checks a received length against the length of the packet; a failure leaves a diagnostic record. Thread-safe.
 *
 * The records are limited per hour (restraint, orva_diag.h) under ORVA_DIAG_ID_PACKET_LENGTH and key 0.
 *
 * @param[in] module  As for ORVA_CheckPakcetLen, and as unchecked.
 * @param[in] realLen Received bytes.
 * @param[in] pktLen  Bytes of the packet.
 * @param[in] netFn   Network function of the packet (IPMI), for the record only.
 * @param[in] cmd     Command of the packet, for the record only.
 * @retval ORVA_OK                `realLen` is at most `pktLen`.
 * @retval ORVA_ERR_PACKET_LENGTH `realLen` is above `pktLen`.
 */
ORVA_API uint32_t ORVA_CheckPakcetLenByMsg(uint32_t module, uint32_t realLen, uint32_t pktLen, uint32_t netFn,
                                           uint32_t cmd);

/**
 * Checks the two checksums of an IPMB frame (IPMI, Intelligent Platform Management Bus). Thread-safe.
 *
 * The first three bytes, and the bytes from the fourth on, each sum to 0 modulo 256.
 *
 * @param[in] frame  The frame, at least 3 bytes whatever `length` says.
 * @param[in] length Bytes of the frame; below 4 there is no second part.
 * @retval ORVA_OK                  Both sums are right.
 * @retval ORVA_ERR_IPMB_NULL       `frame` is null.
 * @retval ORVA_ERR_IPMB_HEADER_SUM The first three bytes do not sum to 0.
 * @retval ORVA_ERR_IPMB_DATA_SUM   The bytes from the fourth on do not sum to 0.
 */
ORVA_API uint32_t ORVA_TRANS_CheckIpmbSum(const uint8_t *frame, uint32_t length);

/**
 * Internal IPv4 address of a board. Thread-safe after start-up. It calls ORVA_DRVADP_GetIsBoxStackVar every time.
 *
 * @param[in] slot    Slot of the board.
 * @param[in] subSlot 0 for the board itself, else the sub-slot.
 * @return 172.16.slot.250 for sub-slot 0, else 172.16.1.slot on a box stack and 172.16.slot.subSlot elsewhere; host
 *         byte order.
 */
ORVA_API uint32_t ORVA_GetAddressFromSlot(uint8_t slot, uint8_t subSlot);

/**
 * Tells whether the link between the boards of an I2C mode is checked. Thread-safe.
 *
 * @param[in] mode I2C mode.
 * @retval 1 Modes 3, 4, 9, 11 and 12.
 * @retval 0 Any other mode.
 */
ORVA_API uint32_t ORVA_AGENT_IsCheckBetweenBoardI2cMode(uint8_t mode);

/* ---- Byte-order conversion */

/*
 * Every converter changes one agent message in place: it swaps the 16- and 32-bit fields that its comment lists (S
 * and L, byte offsets, in this order) and leaves every other byte as it is. Rules that hold for all of them:
 * - The buffer may be at any address and must be as large as stated; the caller owns it, a null pointer is not
 * checked. An array is touched only as far as its count and its bound say.
 * - `body` is the message as a receiver handles it. `frame` is a net frame: an 8-byte prefix, of which the 16-bit
 * field at 0 is swapped, and the body. Offsets in a frame count from its first byte.
 * - A count is one unconverted byte unless stated otherwise. The bound limits the loop; the count keeps its value.
 * - Nothing is allocated and nothing can fail.
 * - Some converters end with a call of an empty hook of their own name and `Path`. The call goes through the public
 *   symbol, so a library loaded ahead of this one may define the hook.
 */

/**
 * SwitchOver, to host byte order: L0, 4, 8, 12, 16. Thread-safe for distinct objects.
 *
 * Calls ORVA_AGENT_ChgSwitchOverMsgToHostPath.
 *
 * @param[in,out] body 20 bytes.
 */
ORVA_API void ORVA_AGENT_ChgSwitchOverMsgToHost(void *body);

/**
 * SwitchOver, to network byte order: S0; L8, 12, 16, 20, 24. Thread-safe for distinct objects.
 *
 * Calls ORVA_AGENT_ChgSwitchOverMsgToNetPath.
 *
 * @param[in,out] frame 28 bytes.
 */
ORVA_API void ORVA_AGENT_ChgSwitchOverMsgToNet(void *frame);

/**
 * SenAlmReq, to host byte order: L0, 4, 8, 12. Thread-safe for distinct objects.
 *
 * @param[in,out] body 16 bytes.
 */
ORVA_API void ORVA_AGENT_ChgSenAlmReqMsgToHost(void *body);

/**
 * SenAlmReq, to network byte order: L0, 4, 8, 12. Thread-safe for distinct objects.
 *
 * The message goes out without a prefix.
 *
 * @param[in,out] body 16 bytes.
 */
ORVA_API void ORVA_AGENT_ChgSenAlmReqMsgToNet(void *body);

/**
 * AddrReg, to host byte order: L0, 4, 8, 12, 16. Thread-safe for distinct objects.
 *
 * Calls ORVA_AGENT_ChgAddrRegMsgToHostPath.
 *
 * @param[in,out] body 20 bytes.
 */
ORVA_API void ORVA_AGENT_ChgAddrRegMsgToHost(void *body);

/**
 * AddrAck, to network byte order: S0; L8, 12, 16, 20, 24. Thread-safe for distinct objects.
 *
 * Calls ORVA_AGENT_ChgAddrAckMsgToNetPath.
 *
 * @param[in,out] frame 28 bytes.
 */
ORVA_API void ORVA_AGENT_ChgAddrAckMsgToNet(void *frame);

/**
 * TempInfo, to host byte order: L(24 + 8i) for i below the count at 19, 68 at most; then L0, 4, 8, 12. Thread-safe
 * for distinct objects.
 *
 * Calls ORVA_AGENT_ChgTempInfoMsgToHostPath.
 *
 * @param[in,out] body 564 bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgTempInfoMsgToHost(void *body);

/**
 * TempInfo, to network byte order: S0; L8, 12, 16, 20; L(32 + 8i) for i below the count at 27, 68 at most.
 * Thread-safe for distinct objects.
 *
 * Calls ORVA_AGENT_ChgTempInfoMsgToNetPath.
 *
 * @param[in,out] frame 572 bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgTempInfoMsgToNet(void *frame);

/**
 * VltInfo, to host byte order: L(24 + 8i) for i below the count at 19, 168 at most; then L0, 4, 8, 12. Thread-safe
 * for distinct objects.
 *
 * @param[in,out] body 1364 bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgVltInfoMsgToHost(void *body);

/**
 * VltInfo, to network byte order: S0; L8, 12, 16, 20; L(32 + 8i) for i below the count at 27, 168 at most.
 * Thread-safe for distinct objects.
 *
 * @param[in,out] frame 1372 bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgVltInfoMsgToNet(void *frame);

/**
 * MpuMngSensorInfo, to host byte order: L0, 4, 8, 12; S(24 + 12i) and L(28 + 12i) for i below the count at 16, 68 at
 * most; S(840 + 12i) and L(844 + 12i) for i below the count at 17, 168 at most. Thread-safe for distinct objects.
 *
 * @param[in,out] body 2852 bytes for full arrays.
 */
ORVA_API void ORVA_AGENT_ChgMpuMngSensorInfoToHost(void *body);

/**
 * MpuMngSensorInfo, to network byte order: the fields of ORVA_AGENT_ChgMpuMngSensorInfoToHost. Thread-safe for
 * distinct objects.
 *
 * The message goes out without a prefix; ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet is the variant with one.
 *
 * @param[in,out] body 2852 bytes for full arrays.
 */
ORVA_API void ORVA_AGENT_ChgMpuMngSensorInfoToNet(void *body);

/**
 * MpuMngSensorInfo, to network byte order: S0; L8, 12, 16, 20; S(32 + 12i) and L(36 + 12i) for i below the count at
 * 24, 68 at most; S(848 + 12i) and L(852 + 12i) for i below the count at 25, 168 at most. Thread-safe for distinct
 * objects.
 *
 * @param[in,out] frame 2860 bytes for full arrays.
 */
ORVA_API void ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet(void *frame);

/**
 * SubCardInfo, to host byte order: L0, 4, 8, 12, 16; L(24 + 8i) for i below the count at 21, 14 at most; for i below
 * the count at 22 S(140 + 22i) and S(142 + 22i), 168 at most, and S(3838 + 22i) and S(3840 + 22i), 68 at most.
 * Thread-safe for distinct objects.
 *
 * It calls no hook, unlike the other direction.
 *
 * @param[in,out] body 5316 bytes for full arrays.
 */
ORVA_API void ORVA_AGENT_ChgSubCardInfoMsgToHost(void *body);

/**
 * SubCardInfo, to network byte order: S0; L8, 12, 16, 20, 24; L(32 + 8i) for i below the count at 29, 14 at most; for
 * i below the count at 30 S(148 + 22i) and S(150 + 22i), 168 at most, and S(3846 + 22i) and S(3848 + 22i), 68 at
 * most. Thread-safe for distinct objects.
 *
 * Calls ORVA_AGENT_ChgSubCardInfoMsgToNetPath.
 *
 * @param[in,out] frame 5324 bytes for full arrays.
 */
ORVA_API void ORVA_AGENT_ChgSubCardInfoMsgToNet(void *frame);

/**
 * CardAttr, to host byte order: L0, 4, 8, 12, 20 (not 16). Thread-safe for distinct objects.
 *
 * @param[in,out] body 24 bytes.
 */
ORVA_API void ORVA_AGENT_ChgCardAttrMsgToHost(void *body);

/**
 * CardAttr, to network byte order: S0; L8, 12, 16, 20, 28 (not 24). Thread-safe for distinct objects.
 *
 * @param[in,out] frame 32 bytes.
 */
ORVA_API void ORVA_AGENT_ChgCardAttrMsgToNet(void *frame);

/**
 * CardHumid, to host byte order: L0, 4, 8, 12, 20 (not 16). Thread-safe for distinct objects.
 *
 * @param[in,out] body 24 bytes.
 */
ORVA_API void ORVA_AGENT_ChgCardHumidMsgToHost(void *body);

/**
 * CardHumid, to network byte order: S0; L8, 12, 16, 20, 28 (not 24). Thread-safe for distinct objects.
 *
 * @param[in,out] frame 32 bytes.
 */
ORVA_API void ORVA_AGENT_ChgCardHumidMsgToNet(void *frame);

/**
 * Simulate, to host byte order: L0, which is the count; then L(4 + 40i) and L(8 + 40i) for i below it, 32 at most.
 * Thread-safe for distinct objects.
 *
 * @param[in,out] body 1252 bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgSimulateMsgToHost(void *body);

/**
 * Simulate, to network byte order: S0; L(12 + 40i) and L(16 + 40i) for i below the count, the word at 8 in host byte
 * order, 32 at most; then L8. Thread-safe for distinct objects.
 *
 * @param[in,out] frame 1260 bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgSimulateMsgToNet(void *frame);

/**
 * SoNameReq, to host byte order: L0. Thread-safe for distinct objects.
 *
 * @param[in,out] body 4 bytes.
 */
ORVA_API void ORVA_AGENT_ChgSoNameReqToHost(void *body);

/**
 * SoNameReq, to network byte order: S0; L8. Thread-safe for distinct objects.
 *
 * @param[in,out] frame 12 bytes.
 */
ORVA_API void ORVA_AGENT_ChgSoNameReqToNet(void *frame);

/**
 * SoNameAck, to host byte order: L0, which is the count; then S(68 + 68i) and S(70 + 68i) for i below it, 32 at most.
 * Thread-safe for distinct objects.
 *
 * @param[in,out] body 2180 bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgSoNameAckToHost(void *body);

/**
 * SoNameAck, to network byte order: S0; S(76 + 68i) and S(78 + 68i) for i below the count, the word at 8 in host byte
 * order, 32 at most; then L8. Thread-safe for distinct objects.
 *
 * @param[in,out] frame 2188 bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgSoNameAckToNet(void *frame);

/**
 * FrameAttr, to host byte order: L0, 4, 8, 12, 140. Thread-safe for distinct objects.
 *
 * @param[in,out] body 144 bytes.
 */
ORVA_API void ORVA_AGENT_ChgFrameAttrMsgToHost(void *body);

/**
 * FrameAttr, to network byte order: S0; L8, 12, 16, 20, 148. Thread-safe for distinct objects.
 *
 * @param[in,out] frame 152 bytes.
 */
ORVA_API void ORVA_AGENT_ChgReqFrameAtrrMsgToNet(void *frame);

/**
 * Req, to host byte order: L0, 4, 8, 12. Thread-safe for distinct objects.
 *
 * @param[in,out] body 16 bytes.
 */
ORVA_API void ORVA_AGENT_ChgReqMsgToHost(void *body);

/**
 * Req, to network byte order: L0, 4, 8, 12. Thread-safe for distinct objects.
 *
 * The message goes out without a prefix.
 *
 * @param[in,out] body 16 bytes.
 */
ORVA_API void ORVA_AGENT_ChgReqMsgToNet(void *body);

/**
 * FrameCardPowerState, to host byte order: L0, 4, 8, 12. Thread-safe for distinct objects.
 *
 * @param[in,out] body 16 bytes.
 */
ORVA_API void ORVA_AGENT_ChgFrameCardPowerStateMsgToHost(void *body);

/**
 * FrameCardPowerState, to network byte order: S0; L8, 12, 16, 20. Thread-safe for distinct objects.
 *
 * @param[in,out] frame 24 bytes.
 */
ORVA_API void ORVA_AGENT_ChgFrameCardPowerStateMsgToNet(void *frame);

/**
 * PowerState, to network byte order: S0; L8, 12, 16, 20, 24, 56. Thread-safe for distinct objects.
 *
 * Calls ORVA_AGENT_ChgPowerStateMsgToNetPath.
 *
 * @param[in,out] frame 60 bytes.
 */
ORVA_API void ORVA_AGENT_ChgPowerStateMsgToNet(void *frame);

/**
 * PwrSenCfg, to host byte order: L0, 4, 8, 12, 80; S(2206 + 22i) and S(2208 + 22i) for i below the count at 87.
 * Thread-safe for distinct objects.
 *
 * A count of 97 or more becomes 96, in the buffer too.
 *
 * @param[in,out] body 4300 bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgPwrSenCfgMsgToHost(void *body);

/**
 * PwrSenCfg, to network byte order: S0; L8, 12, 16, 20, 88; S(2214 + 22i) and S(2216 + 22i) for i below the count at
 * 95. Thread-safe for distinct objects.
 *
 * A count of 97 or more becomes 96, in the frame too.
 *
 * @param[in,out] frame 4308 bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgPwrSenCfgMsgToNet(void *frame);

/**
 * HeartBeat, to host byte order: L0, 4, 8, 12, 16, 20, 24, 28, 36, 40 (not 32). Thread-safe for distinct objects.
 *
 * Calls ORVA_AGENT_ChgHeartBeatMsgToHostPath.
 *
 * @param[in,out] body 44 bytes.
 */
ORVA_API void ORVA_AGENT_ChgHeartBeatMsgToHost(void *body);

/**
 * HeartBeat, to network byte order: S0; L8, 12, 16, 20, 24, 28, 32. Thread-safe for distinct objects.
 *
 * The body words at 28, 36 and 40 stay in host byte order: this does not undo the other direction. Calls
 * ORVA_AGENT_ChgHeartBeatMsgToNetPath.
 *
 * @param[in,out] frame 36 bytes.
 */
ORVA_API void ORVA_AGENT_ChgHeartBeatMsgToNet(void *frame);

/**
 * SensorCtrl, to host byte order: L0, 4, 8, 12, 16, 20, 24. Thread-safe for distinct objects.
 *
 * @param[in,out] body 28 bytes.
 */
ORVA_API void ORVA_AGENT_ChgSensorCtrlMsgToHost(void *body);

/**
 * SensorCtrl, to network byte order: S0; L8, 12, 16, 20, 24, 28, 32. Thread-safe for distinct objects.
 *
 * @param[in,out] frame 36 bytes.
 */
ORVA_API void ORVA_AGENT_ChgSensorCtrlMsgToNet(void *frame);

/** @name Hooks of the converters
 * @{ */
/** Hook of a converter; does nothing. Thread-safe. A library loaded ahead of this one may define it. */
ORVA_API void ORVA_AGENT_ChgSwitchOverMsgToHostPath(void);
ORVA_API void ORVA_AGENT_ChgSwitchOverMsgToNetPath(void);
ORVA_API void ORVA_AGENT_ChgAddrRegMsgToHostPath(void);
ORVA_API void ORVA_AGENT_ChgAddrAckMsgToNetPath(void);
ORVA_API void ORVA_AGENT_ChgTempInfoMsgToHostPath(void);
ORVA_API void ORVA_AGENT_ChgTempInfoMsgToNetPath(void);
ORVA_API void ORVA_AGENT_ChgSubCardInfoMsgToNetPath(void);
ORVA_API void ORVA_AGENT_ChgPowerStateMsgToNetPath(void);
ORVA_API void ORVA_AGENT_ChgHeartBeatMsgToHostPath(void);
ORVA_API void ORVA_AGENT_ChgHeartBeatMsgToNetPath(void);
/** @} */

/* ---- Configuration nibbles */

/**
 * Sets bits of a 4-bit group of a bitmap, least significant bit first. Thread-safe for distinct objects.
 *
 * Only the bits that are 1 in `value` are set; bits that are 0 stay as they are. A caller that lowers an item clears
 * its group first.
 *
 * @param[in]     value    Bits 0 to 3 count.
 * @param[in,out] bitmap   The bitmap; neither the pointer nor the length is checked. The bytes up to (startBit + 3) /
 *                         8 must exist.
 * @param[in]     startBit First bit of the group.
 */
ORVA_API void ORVA_AGENT_SetGlobalCfgByFourBit(uint8_t value, uint8_t *bitmap, uint32_t startBit);

/**
 * Reads a 4-bit group of a bitmap, least significant bit first. Thread-safe for distinct objects.
 *
 * @param[in] bitmap   The bitmap; neither the pointer nor the length is checked. The bytes up to (startBit + 3) / 8
 *                     must exist.
 * @param[in] startBit First bit of the group.
 * @return The group, 0 to 15.
 */
ORVA_API uint32_t ORVA_AGENT_GetGlobalCfgByFourBit(const uint8_t *bitmap, uint32_t startBit);

ORVA_END_DECLS

#define ORVA_LAYOUT_COMM
#include "orva_layout.h"

#endif
