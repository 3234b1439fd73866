/*
 * Runtime services and agent messages: memory, queues, threads, time, checksums, start mode; the message header, its
 * checks, byte-order conversion and configuration nibbles.
 *
 * Set-up, from one thread and before any other use: the memory handle, the partition, the single-process flag. A
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

#define ORVA_SEM_TABLE_SIZE 1024u
#define ORVA_MEM_PARTITION_SIZE 0x80000u /* bytes of the library's own partition before it grows */

/* One registered synchronisation object. */
typedef struct {
    uint64_t key;   /* address of the object */
    uint32_t tag;   /* identifier that its creator passed */
    uint32_t inUse; /* 1 = occupied, 0 = free */
} OrvaSemEntry;

/* The library's state, all zero at load and never cleared. */
typedef struct {
    OrvaSemEntry semTable[ORVA_SEM_TABLE_SIZE];
    uint32_t memHandle;    /* handle of every allocation, 0 = not configured */
    uint8_t memPartition;  /* partition of every allocation, 0 = none yet */
    uint32_t omaMemHandle; /* kept for users, the library allocates nothing from it */
} OrvaCommLocal;

ORVA_API extern OrvaCommLocal g_orvaCommLocal;

/* Returns the platform memory handle of every allocation, 0 when none is set. Takes no lock. */
ORVA_API uint32_t ORVA_GetMemHandle(void);

/* Stores the platform memory `handle`; 0 makes every allocation fail. Set-up only: takes no lock. */
ORVA_API void ORVA_SetMemHandle(uint32_t handle);

/* Returns the memory handle kept for users of the library, 0 when none is set. Takes no lock. */
ORVA_API uint32_t ORVA_GetOmaMemHandle(void);

/* Stores a memory `handle` for users of the library, which allocates nothing from it. Set-up only: takes no lock. */
ORVA_API void ORVA_SetOmaMemHandle(uint32_t handle);

/* Returns the partition number, 0 to 255 in a full word, 0 when there is no partition yet. Takes no lock. */
ORVA_API uint32_t ORVA_GetMemPtr(void);

/* Stores `partition`, 0 to 255, as the partition of every allocation. Set-up only: takes no lock. */
ORVA_API void ORVA_SetMemPtr(uint8_t partition);

/*
 * Creates the library's growing partition "orvaCommonPt" of ORVA_MEM_PARTITION_SIZE bytes, once; a partition that is
 * already stored is kept. The partition lives as long as the process.
 *
 * Result: ORVA_OK when the partition stands; ORVA_FAILED when the platform could not create it or set it up, in which
 * case nothing is stored and a later call tries again.
 * Set-up only: two concurrent first calls could each create a partition.
 */
ORVA_API uint32_t ORVA_CreateMemPt(void);

/* ---- Queues */

#define ORVA_QUEUE_PAYLOAD_MAX 2560u
#define ORVA_QUEUE_MESSAGE_TYPE 100
#define ORVA_QUEUE_NONE 0xFFFFFFFFu /* identifier that stands for no queue */
#define ORVA_QUEUE_MODULE_MAX 255u

#define ORVA_ERR_QUEUE_WRITE_ARGUMENT ORVA_RESULT(0xD6u, ORVA_REASON_ARGUMENT)
#define ORVA_ERR_QUEUE_WRITE_MEMORY ORVA_RESULT(0xDBu, ORVA_REASON_NO_MEMORY)
#define ORVA_ERR_QUEUE_WRITE_SEND ORVA_RESULT(0xEBu, ORVA_REASON_SYSTEM)
#define ORVA_ERR_QUEUE_TRY_GET ORVA_RESULT(0x151u, ORVA_REASON_SYSTEM)
#define ORVA_ERR_QUEUE_TRY_ZERO ORVA_RESULT(0x161u, ORVA_REASON_SYSTEM)
#define ORVA_ERR_QUEUE_CLEAR_MEMORY ORVA_RESULT(0x17Cu, ORVA_REASON_NO_MEMORY)
#define ORVA_ERR_QUEUE_CREATE_ARGUMENT ORVA_RESULT(0x19Cu, ORVA_REASON_ARGUMENT)
#define ORVA_ERR_QUEUE_CREATE_FOLDER ORVA_RESULT(0x1A1u, ORVA_REASON_NULL)

/* A message as the kernel's System V queues carry it. */
typedef struct {
    int64_t type;
    uint8_t payload[ORVA_QUEUE_PAYLOAD_MAX];
} OrvaQueueMessage;

/* Non-zero: the management process and the agents are one process. 0 at load. */
ORVA_API extern uint32_t g_orvaIsSingleProcess;

/* Returns the single-process flag. Takes no lock. */
ORVA_API uint32_t ORVA_GetSingleProcess(void);

/* Stores the single-process `flag`, 0 or not 0. Set-up only, before the first queue is created: takes no lock. */
ORVA_API void ORVA_SetSingleProcess(uint32_t flag);

/*
 * Creates or opens the queue of a module and empties it.
 *
 * The key is `ftok` over the installed agent library for separate processes, or over "orva_agent" in the working
 * folder for a single process. Kept: a key file that is missing gives the key -1, which is used like any other.
 *
 * module: 0 to ORVA_QUEUE_MODULE_MAX, the project number of the key.
 * queueId: receives the identifier, never 0; written as soon as the queue exists, also when emptying it then fails.
 * Result: ORVA_OK; ORVA_ERR_QUEUE_CREATE_ARGUMENT for a module out of range or a null `queueId`;
 * ORVA_ERR_QUEUE_CREATE_FOLDER when the working folder cannot be read or is too long; ORVA_FAILED when the key path
 * does not fit; ORVA_ERR_QUEUE_TRY_GET and ORVA_ERR_QUEUE_TRY_ZERO as ORVA_QueueCreateTry;
 * ORVA_ERR_QUEUE_CLEAR_MEMORY as ORVA_QueueClear. The queue outlives the process. May run on any thread.
 */
ORVA_API uint32_t ORVA_QueueCreate(uint32_t module, uint32_t *queueId);

/*
 * Creates or opens the queue of a key, with permissions octal 600.
 *
 * key: a `key_t`.
 * queueId: receives the identifier. Kept: identifier 0 stands for no queue in the callers' records, so a queue 0 is
 * removed and asked for again, at most five times in all.
 * Result: ORVA_OK; ORVA_ERR_QUEUE_TRY_GET when `msgget` failed; ORVA_ERR_QUEUE_TRY_ZERO when the system gave 0 five
 * times; ORVA_FAILED for a null `queueId`.
 * May run on any thread.
 */
ORVA_API uint32_t ORVA_QueueCreateTry(int32_t key, uint32_t *queueId);

/*
 * Takes one message from a queue.
 *
 * queueId: ORVA_QUEUE_NONE reads nothing.
 * buffer: receives the payload, `bufferSize` bytes, at most ORVA_QUEUE_PAYLOAD_MAX.
 * messageType, flags: as `msgrcv` takes them; MSG_NOERROR is not meant, so that a longer message stays queued.
 * Result: the number of payload bytes, or 0 for every failure: bad argument, no memory, empty queue, interrupted
 * wait, copy failure. A message that was taken but is longer than the buffer or not of ORVA_QUEUE_MESSAGE_TYPE is
 * lost, and so is an empty one. May run on any thread; several may share a queue.
 */
ORVA_API uint32_t ORVA_QueueRead(uint32_t queueId, void *buffer, uint32_t bufferSize, int32_t messageType,
                                 int32_t flags);

/* ORVA_QueueRead that waits for a message: flags 0. May run on any thread. */
ORVA_API uint32_t ORVA_QueueSynRead(uint32_t queueId, void *buffer, uint32_t bufferSize, int32_t messageType);

/* ORVA_QueueRead that does not wait: flags IPC_NOWAIT. May run on any thread. */
ORVA_API uint32_t ORVA_QueueAsyRead(uint32_t queueId, void *buffer, uint32_t bufferSize, int32_t messageType);

/*
 * Puts one message of ORVA_QUEUE_MESSAGE_TYPE into a queue.
 *
 * payload: `length` bytes, 0 to ORVA_QUEUE_PAYLOAD_MAX; read only during the call. An empty message is sent, and lost
 * when ORVA_QueueRead takes it.
 * flags: as `msgsnd` takes them.
 * Result: ORVA_OK; ORVA_ERR_QUEUE_WRITE_ARGUMENT for a null payload or one that is too long;
 * ORVA_ERR_QUEUE_WRITE_MEMORY when no message buffer was to be had; ORVA_FAILED when the payload could not be copied;
 * ORVA_ERR_QUEUE_WRITE_SEND when `msgsnd` failed, also for a full queue that is not waited for.
 * May run on any thread; several may share a queue.
 */
ORVA_API uint32_t ORVA_QueueWrite(uint32_t queueId, const void *payload, uint32_t length, int32_t flags);

/*
 * ORVA_QueueWrite that waits for room: flags 0.
 *
 * Result, as there: ORVA_OK, ORVA_ERR_QUEUE_WRITE_ARGUMENT, ORVA_ERR_QUEUE_WRITE_MEMORY, ORVA_FAILED or
 * ORVA_ERR_QUEUE_WRITE_SEND. May run on any thread.
 */
ORVA_API uint32_t ORVA_QueueSynWrite(uint32_t queueId, const void *payload, uint32_t length);

/*
 * ORVA_QueueWrite that does not wait: flags IPC_NOWAIT.
 *
 * Result, as there: ORVA_OK, ORVA_ERR_QUEUE_WRITE_ARGUMENT, ORVA_ERR_QUEUE_WRITE_MEMORY, ORVA_FAILED or
 * ORVA_ERR_QUEUE_WRITE_SEND. May run on any thread.
 */
ORVA_API uint32_t ORVA_QueueAsyWrite(uint32_t queueId, const void *payload, uint32_t length);

/*
 * Discards the waiting messages of a queue.
 *
 * Kept: it reads until a read gives 0, so an empty message or one of a foreign type is discarded and ends the pass.
 * Result: ORVA_OK; ORVA_ERR_QUEUE_CLEAR_MEMORY when no buffer was to be had.
 * May run on any thread.
 */
ORVA_API uint32_t ORVA_QueueClear(uint32_t queueId);

/* Removes a queue and what waits in it; a negative `queueId` does nothing. May run on any thread. */
ORVA_API void ORVA_QueueDelete(int32_t queueId);

/*
 * Puts one message into an agent's queue without waiting, then wakes the agent through its pipe.
 *
 * pipeFd: write end of a pipe of ORVA_CreatePipe. Kept: a failed write to it is ignored, since a full pipe already
 * wakes the reader.
 * Result: that of ORVA_QueueAsyWrite; the pipe is written only after ORVA_OK. Failures:
 * ORVA_ERR_QUEUE_WRITE_ARGUMENT, ORVA_ERR_QUEUE_WRITE_MEMORY, ORVA_FAILED, ORVA_ERR_QUEUE_WRITE_SEND.
 * May run on any thread.
 */
ORVA_API uint32_t ORVA_AGENT_WriteQueue(int32_t pipeFd, uint32_t queueId, const void *payload, uint32_t length);

/*
 * Sleeps at least the given number of milliseconds.
 *
 * Kept: a sleep that a signal interrupts starts again at its full length. May run on any thread.
 */
ORVA_API void ORVA_SafeSleep(uint32_t milliseconds);

/* ---- Threads, mutexes, pipes */

#define ORVA_THREAD_NAME_MAX 29u  /* characters of a thread name that are kept */
#define ORVA_THREAD_PRIORITY 255u /* priority class handed to the platform */

#define ORVA_ERR_THREAD_ARGUMENT ORVA_RESULT(0x1D4u, ORVA_REASON_ARGUMENT)
#define ORVA_ERR_MUTEX_CREATE_ARGUMENT ORVA_RESULT(0x1F5u, ORVA_REASON_ARGUMENT)
#define ORVA_ERR_MUTEX_CREATE_MEMORY ORVA_RESULT(0x20Au, ORVA_REASON_BUFFER_MEMORY)
#define ORVA_ERR_MUTEX_INVALID ORVA_RESULT(0x229u, ORVA_REASON_OTHER)
#define ORVA_ERR_MUTEX_LOCK ORVA_RESULT(0x22Eu, ORVA_REASON_OTHER)
#define ORVA_ERR_TICK ORVA_RESULT(0x254u, ORVA_REASON_SYSTEM)

/*
 * Starts a platform task.
 *
 * entry: runs on the new task with `argument`, which may be null and must outlive what `entry` does with it.
 * name: cut to ORVA_THREAD_NAME_MAX characters.
 * param: the platform's stack size in bytes.
 * taskId: receives the platform's identifier, on success only.
 * Result: ORVA_OK; ORVA_ERR_THREAD_ARGUMENT for a null entry, name or `taskId`; ORVA_FAILED when the name could not
 * be formatted; otherwise the platform's code. May run on any thread.
 */
ORVA_API uint32_t ORVA_CreatThreadNew(MIRO_TASK_ENTRY entry, void *argument, const char *name, uint32_t param,
                                      uint32_t *taskId);

/*
 * Creates a recursive mutex and registers it in `g_orvaCommLocal`; a full table is no error.
 *
 * tag: the caller's identifier, kept in the table.
 * mutex: receives the mutex, which lives until the process ends.
 * Result: ORVA_OK; ORVA_ERR_MUTEX_CREATE_ARGUMENT for a null `mutex`; ORVA_ERR_MUTEX_CREATE_MEMORY when the mutex
 * could not be allocated; otherwise the POSIX error number of the step that failed. Set-up only: the table takes no
 * lock.
 */
ORVA_API uint32_t ORVA_CreatMutex(uint32_t tag, void **mutex);

/*
 * Locks a mutex of ORVA_CreatMutex, as often as its owner likes, waiting for another owner.
 *
 * Result: ORVA_OK; ORVA_ERR_MUTEX_INVALID for a null or all-ones pointer; ORVA_ERR_MUTEX_LOCK when the lock failed.
 * May run on any thread.
 */
ORVA_API uint32_t ORVA_MutexP(void *mutex);

/* Unlocks a mutex once and returns the POSIX result unchanged; `mutex` is not checked. May run on any thread. */
ORVA_API int32_t ORVA_MutexV(void *mutex);

/*
 * Creates a wake-up pipe whose write end never blocks.
 *
 * fds: receives the read end and the write end, which the caller closes with ORVA_DeletePipe.
 * count: entries of `fds`, at least 2. Kept: with fewer the pipe is created, stays open and `fds` is left as it was.
 * Result: 0; 1 (ORVA_FAILED) when the descriptors could not be copied; the negative result of the pipe call
 * otherwise. A write end that cannot be made non-blocking is recorded and used as it is. May run on any thread.
 */
ORVA_API int32_t ORVA_CreatePipe(int32_t *fds, uint64_t count);

/* Closes each of the `count` descriptors that is not -1 and leaves the array as it is. May run on any thread. */
ORVA_API void ORVA_DeletePipe(int32_t *fds, uint64_t count);

/* Writes one zero byte to a pipe and returns the result of the write, negative when it failed. May run on any thread.
 */
ORVA_API int64_t ORVA_WritePipe(int32_t fd);

/*
 * Reads up to `length` bytes from a pipe into `buffer` and returns the result of the read, negative when it failed.
 * May run on any thread.
 */
ORVA_API int64_t ORVA_ReadPipe(int32_t fd, void *buffer, uint32_t length);

/*
 * Returns the wall clock in microseconds, modulo 2^32; only differences mean something.
 *
 * Kept: ORVA_ERR_TICK when the clock could not be read, a value that a tick may have too. May run on any thread.
 */
ORVA_API uint32_t ORVA_TickGet(void);

/* Registers an object under its address `key`; does nothing when the table is full. Set-up only: takes no lock. */
ORVA_API void ORVA_AddSemTable(uint64_t key, uint32_t tag);

/* Returns the first occupied table entry of `key`, or null; the library owns the entry. Takes no lock. */
ORVA_API OrvaSemEntry *ORVA_FindSemById(uint64_t key);

/* Closes a socket, tracked or plain, and returns the result of `close_s`. May run on any thread. */
ORVA_API int32_t ORVA_CloseSock(int32_t fd);

/* Closes a stream and returns the result of `fclose`; EOF for a null `file`. May run on any thread. */
ORVA_API int32_t ORVA_FileClose(FILE *file);

/* ---- Time */

#define ORVA_ERR_TIME_ARGUMENT 22u /* EINVAL: null record, or the platform has no zone time */

/* Calendar time without the platform's further field, host byte order; passed by value. */
typedef struct {
    uint16_t year;
    uint8_t month; /* 1 to 12 */
    uint8_t day;
    uint8_t hour;
    uint8_t minute;
    uint8_t second;
    uint8_t reserved;
} OrvaCalendarTime;

/*
 * Reads the platform's calendar time.
 *
 * time: receives the record, on success only. Kept: its byte 7 (`reserved`) stays as the caller had it.
 * Result: ORVA_OK; ORVA_FAILED for a null `time` or when the platform's clock failed.
 * May run on any thread.
 */
ORVA_API uint32_t ORVA_GetSysTime(MIRO_SYSTIME *time);

/*
 * Reads the platform's local zone time.
 *
 * time: receives the whole record, on success only.
 * Result: ORVA_OK; ORVA_ERR_TIME_ARGUMENT for a null `time` or when the platform failed.
 * May run on any thread.
 */
ORVA_API uint32_t KELD_LOCAL_SystimeGet(MIRO_ZONETIME *time);

/*
 * Reads the platform's Greenwich zone time.
 *
 * time: receives the whole record, on success only.
 * Result: ORVA_OK; ORVA_ERR_TIME_ARGUMENT for a null `time` or when the platform failed.
 * May run on any thread.
 */
ORVA_API uint32_t ORVA_GMT_SystimeGet(MIRO_ZONETIME *time);

/*
 * Reads the wall clock in seconds since 1970-01-01 00:00 UTC.
 *
 * seconds: receives the low 32 bits, or 0 when the clock could not be read.
 * Result: ORVA_OK; ORVA_FAILED for a null `seconds` or when the clock could not be read.
 * May run on any thread.
 */
ORVA_API uint32_t ORVA_GetCurrentTime(uint32_t *seconds);

/*
 * Splits `seconds` into whole days, hours (0 to 23) and minutes (0 to 59); the rest is dropped. The pointers are not
 * checked. May run on any thread.
 */
ORVA_API void ORVA_TransSecToDayAndHour(uint32_t seconds, uint32_t *days, uint32_t *hours, uint32_t *minutes);

/*
 * Writes a calendar time as "2024-03-05 07:08:09".
 *
 * text: receives the text and its zero, within `size` bytes, 20 for an ordinary year; a null `text` does nothing.
 * When it does not fit the text is left empty and an error record is written. May run on any thread.
 */
ORVA_API void ORVA_TransSysTimeToStr(char *text, size_t size, OrvaCalendarTime time);

/*
 * Writes seconds since 1970-01-01 00:00 UTC as the text "2024-03-05 07:08:09" in the time zone of the process.
 *
 * text: receives the text and its zero, within `size` bytes, 20 for an ordinary year; not checked.
 * Result: the number of characters; negative, with an error record, when the text does not fit or the time has no
 * calendar form.
 * May run on any thread.
 */
ORVA_API int32_t ORVA_TransSecToLocalTime(time_t seconds, char *text, uint32_t size);

/* ---- Checksums */

/*
 * CRC-16 (polynomial 0x1021, most significant bit first, not reflected) and the reflected CRC-32 of IEEE 802.3
 * (polynomial 0xEDB88320). Call both initialisation functions once at start, before any checksum.
 *
 * Kept: the exported tables govern. They are zero until built, a checksum taken before that is wrong and does not
 * fail, and a table that somebody alters changes the results. Checksums may run on any thread once the tables are
 * built, also while a table is built again.
 */
#define ORVA_CRC_TABLE_ENTRIES 256u

/* Entry i is the register that byte i, in the high byte of a zero register, leaves after eight steps. */
ORVA_API extern uint16_t g_ausCRC16Table[ORVA_CRC_TABLE_ENTRIES];

/* Entry i is the register that byte i, in the low byte of a zero register, leaves after eight steps. */
ORVA_API extern uint32_t g_auiCRC32Table[ORVA_CRC_TABLE_ENTRIES];

/* Builds g_ausCRC16Table on the first call of the process; later calls do nothing. May run on any thread. */
ORVA_API void ORVA_COMM_InitCrc16Table(void);

/* Builds g_auiCRC32Table, anew on every call. May run on any thread. */
ORVA_API void ORVA_COMM_InitCrc32Table(void);

/*
 * Continues the CRC-16 in `crc` over `length` bytes of `data`, without a final inversion.
 *
 * crc: in the start value, out the result, host byte order: 0xFFFF to start CRC-16/CCITT-FALSE, 0 to start
 * CRC-16/XMODEM. A length of 0 and null pointers leave it as it is. May run on any thread.
 */
ORVA_API void ORVA_COMM_Crc16CheckSum(const uint8_t *data, uint32_t length, uint16_t *crc);

/*
 * Continues the augmented (shift-in) CRC-16 in `crc` over `length` bytes of `data`.
 *
 * crc: in the start value, out the register, host byte order. From 0 over a message and its two CRC bytes, high byte
 * first, it ends at 0; over a message and two zero bytes it is the message's CRC-16/XMODEM. No pointer is checked;
 * `crc` is written for a length of 0 too. May run on any thread.
 */
ORVA_API void ORVA_PWR_CheckCrc16Sum(const uint8_t *data, uint32_t length, uint16_t *crc);

/*
 * Returns the CRC-16/XMODEM of `length` bytes of `data`, host byte order; 0 for a length of 0. A null pointer is
 * allowed with a length of 0 only. May run on any thread.
 */
ORVA_API uint16_t ORVA_LOAD_CalcAppCrc16Sum(const uint8_t *data, uint32_t length);

/*
 * Returns the CRC-32 (IEEE 802.3) of `length` bytes of `data`, host byte order; 0 for a length of 0, whatever `data`
 * is. A null pointer is not checked otherwise. May run on any thread.
 */
ORVA_API uint32_t ORVA_COMM_Crc32CheckSum(const uint8_t *data, uint32_t length);

/* ---- Start mode and run flags */

#define ORVA_PROCESS_MANAGEMENT 0u /* process kinds */
#define ORVA_PROCESS_AGENT 1u
#define ORVA_START_COLD 0u /* start modes */
#define ORVA_START_WARM 1u
#define ORVA_INDEPEND_SLOT_MAX 29u
#define ORVA_INDEPEND_INDEX_MAX 4u
#define ORVA_CASE_TEMP_TYPE_A 0x20
#define ORVA_CASE_TEMP_TYPE_B 0x08

/*
 * Tells whether the process starts cold, first since the board booted, or warm.
 *
 * kind: ORVA_PROCESS_MANAGEMENT or ORVA_PROCESS_AGENT; any other kind starts cold.
 * warm: receives ORVA_START_WARM when the marker file of the kind exists, else ORVA_START_COLD; not checked.
 * May run on any thread.
 */
ORVA_API void ORVA_COMM_InitProcessStartMode(uint32_t kind, uint32_t *warm);

/*
 * Leaves the marker file of the kind, permissions octal 600, so that later starts before the next boot are warm; a
 * marker that holds a line stays as it is, and so does everything for an unknown `kind`. To be called once the
 * process is initialised. May run on any thread.
 */
ORVA_API void ORVA_COMM_SetProcessStartMode(uint32_t kind);

/*
 * Returns 1 when the configuration file switches independent power-off on for `slot` (0 to ORVA_INDEPEND_SLOT_MAX)
 * and `index` (0 to ORVA_INDEPEND_INDEX_MAX), else 0, also for arguments out of range and without the file.
 *
 * Kept: a matching line that says off does not end the search, an unreadable line does. May run on any thread.
 */
ORVA_API uint32_t ORVA_GetIndependPwrOffFlag(uint8_t slot, uint8_t index);

/* Returns 1 for the two sensor types of a case temperature, else 0. May run on any thread. */
ORVA_API uint32_t ORVA_CheckIsCaseTemp(int8_t sensorType);

/* Entry for the platform's synchronisation hook: does nothing and returns 0. May run on any thread. */
ORVA_API uint32_t liborva_comm_PAT_C2HSyncHookFunc(void);

/* ---- Agent message header and checks */

/*
 * A message body begins with four 32-bit words: the kind, the sender's slot, the receiver's slot and a word of the
 * message family; big-endian on the wire, host byte order after conversion. The checks read the first three.
 */
#define ORVA_AGENT_REQUEST 1u
#define ORVA_AGENT_REPLY 2u
#define ORVA_AGENT_SLOT_MAX 30u
#define ORVA_AGENT_ALL_SLOTS 0xFFFFFFFFu /* receiver of a request to every board */

#define ORVA_PACKET_MODULE_TQ9XA 0u /* modules of the packet-length checks */
#define ORVA_PACKET_MODULE_TQ9XB 1u
#define ORVA_PACKET_MODULE_FAN 2u
#define ORVA_PACKET_MODULE_PM 3u
#define ORVA_PACKET_MODULE_AGENT 4u
#define ORVA_PACKET_MODULE_MBUS 5u
#define ORVA_PACKET_MODULE_AGENT_MGR 6u

#define ORVA_DIAG_ID_PACKET_LENGTH 371u /* diagnostic item of ORVA_CheckPakcetLenByMsg */

#define ORVA_ERR_REQ_KIND ORVA_RESULT(0x1CCu, ORVA_REASON_CHECK)
#define ORVA_ERR_REQ_SRC_SLOT ORVA_RESULT(0x1D1u, ORVA_REASON_CHECK)
#define ORVA_ERR_REQ_DEST_SLOT ORVA_RESULT(0x1DAu, ORVA_REASON_CHECK)
#define ORVA_ERR_ACK_KIND ORVA_RESULT(0x1ECu, ORVA_REASON_CHECK)
#define ORVA_ERR_ACK_SRC_SLOT ORVA_RESULT(0x1F1u, ORVA_REASON_CHECK)
#define ORVA_ERR_ACK_DEST_SLOT ORVA_RESULT(0x1F6u, ORVA_REASON_CHECK)
#define ORVA_ERR_PACKET_LENGTH ORVA_RESULT(0x3E3u, ORVA_REASON_LENGTH)
#define ORVA_ERR_IPMB_NULL ORVA_RESULT(0x323u, ORVA_REASON_ARGUMENT)
#define ORVA_ERR_IPMB_HEADER_SUM ORVA_RESULT(0x32Du, ORVA_REASON_CHECKSUM)
#define ORVA_ERR_IPMB_DATA_SUM ORVA_RESULT(0x337u, ORVA_REASON_CHECKSUM)

/*
 * Checks the header of a request to the board in slot `ownSlot`. The first failure decides and leaves a debug record.
 *
 * header: three words in host byte order; not checked for null.
 * Returns ORVA_OK; ORVA_ERR_REQ_KIND when the kind is not ORVA_AGENT_REQUEST; ORVA_ERR_REQ_SRC_SLOT for a sender
 * above ORVA_AGENT_SLOT_MAX; ORVA_ERR_REQ_DEST_SLOT when the receiver is neither ORVA_AGENT_ALL_SLOTS nor `ownSlot`.
 * Begins with a call of ORVA_AGENT_CheckReqMsgValidityPath. May run on any thread.
 */
ORVA_API uint32_t ORVA_AGENT_CheckReqMsgValidity(uint8_t ownSlot, const uint32_t *header);

/* Hook of the request check, see the hooks of the converters below. Does nothing. */
ORVA_API void ORVA_AGENT_CheckReqMsgValidityPath(void);

/*
 * Checks the header of a reply to the board in slot `ownSlot`. The first failure decides and leaves a debug record.
 *
 * header: three words in host byte order; not checked for null.
 * Returns ORVA_OK; ORVA_ERR_ACK_KIND when the kind is not ORVA_AGENT_REPLY; ORVA_ERR_ACK_SRC_SLOT for a sender above
 * ORVA_AGENT_SLOT_MAX; ORVA_ERR_ACK_DEST_SLOT when the receiver is not `ownSlot`.
 * Kept: it calls no hook and refuses a reply to all boards. May run on any thread.
 */
ORVA_API uint32_t ORVA_AGENT_CheckAckMsgValidity(uint8_t ownSlot, const uint32_t *header);

/*
 * Checks a received length, in bytes, against the length of the packet.
 *
 * module: ORVA_PACKET_MODULE_TQ9XA to ORVA_PACKET_MODULE_AGENT_MGR; not checked.
 * Returns ORVA_OK; ORVA_FAILED, with a debug record, when `realLen` is above `pktLen`. May run on any thread.
 */
ORVA_API uint32_t ORVA_CheckPakcetLen(uint32_t module, uint32_t realLen, uint32_t pktLen);

/*
 * Checks a received length, in bytes, against the length of the packet and leaves a diagnostic record, restrained per
 * hour under ORVA_DIAG_ID_PACKET_LENGTH.
 *
 * module: ORVA_PACKET_MODULE_TQ9XA to ORVA_PACKET_MODULE_AGENT_MGR; not checked. netFn, cmd: for the record only.
 * Returns ORVA_OK; ORVA_ERR_PACKET_LENGTH when `realLen` is above `pktLen`. May run on any thread.
 */
ORVA_API uint32_t ORVA_CheckPakcetLenByMsg(uint32_t module, uint32_t realLen, uint32_t pktLen, uint32_t netFn,
                                           uint32_t cmd);

/*
 * Checks the two checksums of an IPMB frame (IPMI, Intelligent Platform Management Bus): the first three bytes, and
 * the bytes from the fourth on, each sum to 0 modulo 256.
 *
 * frame: at least 3 bytes, whatever `length` says. length: bytes of the frame; below 4 there is no second part.
 * Returns ORVA_OK; ORVA_ERR_IPMB_NULL for a null frame; ORVA_ERR_IPMB_HEADER_SUM; ORVA_ERR_IPMB_DATA_SUM.
 * May run on any thread.
 */
ORVA_API uint32_t ORVA_TRANS_CheckIpmbSum(const uint8_t *frame, uint32_t length);

/*
 * Returns the board's internal IPv4 address, host byte order: 172.16.slot.250 for a `subSlot` of 0, else
 * 172.16.1.slot on a box stack and 172.16.slot.subSlot elsewhere. Asks ORVA_DRVADP_GetIsBoxStackVar on every call.
 */
ORVA_API uint32_t ORVA_GetAddressFromSlot(uint8_t slot, uint8_t subSlot);

/* Returns 1 for the I2C modes 3, 4, 9, 11 and 12, between whose boards the link is checked, else 0. Any thread. */
ORVA_API uint32_t ORVA_AGENT_IsCheckBetweenBoardI2cMode(uint8_t mode);

/* ---- Byte-order conversion */

/*
 * Every converter changes one agent message in place: it swaps the 16- and 32-bit fields that its comment lists (S
 * and L, byte offsets) and leaves every other byte as it is. Rules that hold for all of them:
 * - The buffer may lie at any address and must be as large as stated; the caller owns it, a null pointer is not
 *   checked. An array is touched only as far as its count and its bound say.
 * - `body` is the message as a receiver handles it; `frame` is a net frame: an 8-byte prefix, of which the 16-bit
 *   field at 0 is swapped, and the body. Offsets of a frame count from its first byte.
 * - A count is one unconverted byte unless stated otherwise. The bound limits the loop; the count keeps its value.
 * - Nothing is allocated, nothing can fail. Calls on different buffers may run at the same time.
 * - Some converters end with a call of an empty hook of their own name and `Path`. It is made through the public
 *   symbol, so a library loaded ahead of this one may put its own function there.
 */

/* To host order: L0, 4, 8, 12, 16. `body`: 20 bytes. Calls ORVA_AGENT_ChgSwitchOverMsgToHostPath. */
ORVA_API void ORVA_AGENT_ChgSwitchOverMsgToHost(void *body);

/* To net order: S0; L8, 12, 16, 20, 24. `frame`: 28 bytes. Calls ORVA_AGENT_ChgSwitchOverMsgToNetPath. */
ORVA_API void ORVA_AGENT_ChgSwitchOverMsgToNet(void *frame);

/* To host order: L0, 4, 8, 12. `body`: 16 bytes. */
ORVA_API void ORVA_AGENT_ChgSenAlmReqMsgToHost(void *body);

/* To net order: L0, 4, 8, 12. `body`: 16 bytes. Kept: it takes a body, this message goes out without a prefix. */
ORVA_API void ORVA_AGENT_ChgSenAlmReqMsgToNet(void *body);

/* To host order: L0, 4, 8, 12, 16. `body`: 20 bytes. Calls ORVA_AGENT_ChgAddrRegMsgToHostPath. */
ORVA_API void ORVA_AGENT_ChgAddrRegMsgToHost(void *body);

/* To net order: S0; L8, 12, 16, 20, 24. `frame`: 28 bytes. Calls ORVA_AGENT_ChgAddrAckMsgToNetPath. */
ORVA_API void ORVA_AGENT_ChgAddrAckMsgToNet(void *frame);

/*
 * To host order: L(24 + 8i) for i below the count at 19, 68 at most; then L0, 4, 8, 12. `body`: 564 bytes for a full
 * array. Calls ORVA_AGENT_ChgTempInfoMsgToHostPath.
 */
ORVA_API void ORVA_AGENT_ChgTempInfoMsgToHost(void *body);

/*
 * To net order: S0; L8, 12, 16, 20; L(32 + 8i) for i below the count at 27, 68 at most. `frame`: 572 bytes for a full
 * array. Calls ORVA_AGENT_ChgTempInfoMsgToNetPath.
 */
ORVA_API void ORVA_AGENT_ChgTempInfoMsgToNet(void *frame);

/*
 * To host order: L(24 + 8i) for i below the count at 19, 168 at most; then L0, 4, 8, 12. `body`: 1364 bytes for a
 * full array.
 */
ORVA_API void ORVA_AGENT_ChgVltInfoMsgToHost(void *body);

/*
 * To net order: S0; L8, 12, 16, 20; L(32 + 8i) for i below the count at 27, 168 at most. `frame`: 1372 bytes for a
 * full array.
 */
ORVA_API void ORVA_AGENT_ChgVltInfoMsgToNet(void *frame);

/*
 * To host order: L0, 4, 8, 12; S(24 + 12i) and L(28 + 12i) for i below the count at 16, 68 at most; S(840 + 12i) and
 * L(844 + 12i) for i below the count at 17, 168 at most. `body`: 2852 bytes for full arrays.
 */
ORVA_API void ORVA_AGENT_ChgMpuMngSensorInfoToHost(void *body);

/*
 * To net order, the same fields as ORVA_AGENT_ChgMpuMngSensorInfoToHost. `body`: 2852 bytes for full arrays.
 * Kept: it takes a body; ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet is the variant with a prefix.
 */
ORVA_API void ORVA_AGENT_ChgMpuMngSensorInfoToNet(void *body);

/*
 * To net order: S0; L8, 12, 16, 20; S(32 + 12i) and L(36 + 12i) for i below the count at 24, 68 at most; S(848 + 12i)
 * and L(852 + 12i) for i below the count at 25, 168 at most. `frame`: 2860 bytes for full arrays.
 */
ORVA_API void ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet(void *frame);

/*
 * To host order: L0, 4, 8, 12, 16; L(24 + 8i) for i below the count at 21, 14 at most; for i below the count at 22
 * S(140 + 22i) and S(142 + 22i), 168 at most, and S(3838 + 22i) and S(3840 + 22i), 68 at most. `body`: 5316 bytes for
 * full arrays. Kept: no hook in this direction.
 */
ORVA_API void ORVA_AGENT_ChgSubCardInfoMsgToHost(void *body);

/*
 * To net order: S0; L8, 12, 16, 20, 24; L(32 + 8i) for i below the count at 29, 14 at most; for i below the count at
 * 30 S(148 + 22i) and S(150 + 22i), 168 at most, and S(3846 + 22i) and S(3848 + 22i), 68 at most. `frame`: 5324 bytes
 * for full arrays. Calls ORVA_AGENT_ChgSubCardInfoMsgToNetPath.
 */
ORVA_API void ORVA_AGENT_ChgSubCardInfoMsgToNet(void *frame);

/* To host order: L0, 4, 8, 12, 20 (16 stays). `body`: 24 bytes. */
ORVA_API void ORVA_AGENT_ChgCardAttrMsgToHost(void *body);

/* To net order: S0; L8, 12, 16, 20, 28 (24 stays). `frame`: 32 bytes. */
ORVA_API void ORVA_AGENT_ChgCardAttrMsgToNet(void *frame);

/* To host order: L0, 4, 8, 12, 20 (16 stays). `body`: 24 bytes. */
ORVA_API void ORVA_AGENT_ChgCardHumidMsgToHost(void *body);

/* To net order: S0; L8, 12, 16, 20, 28 (24 stays). `frame`: 32 bytes. */
ORVA_API void ORVA_AGENT_ChgCardHumidMsgToNet(void *frame);

/*
 * To host order: L0, which is the count; then L(4 + 40i) and L(8 + 40i) for i below it, 32 at most. `body`: 1252
 * bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgSimulateMsgToHost(void *body);

/*
 * To net order: S0; L(12 + 40i) and L(16 + 40i) for i below the count, the word at 8 in host order, 32 at most; then
 * L8. `frame`: 1260 bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgSimulateMsgToNet(void *frame);

/* To host order: L0. `body`: 4 bytes. */
ORVA_API void ORVA_AGENT_ChgSoNameReqToHost(void *body);

/* To net order: S0; L8. `frame`: 12 bytes. */
ORVA_API void ORVA_AGENT_ChgSoNameReqToNet(void *frame);

/*
 * To host order: L0, which is the count; then S(68 + 68i) and S(70 + 68i) for i below it, 32 at most. `body`: 2180
 * bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgSoNameAckToHost(void *body);

/*
 * To net order: S0; S(76 + 68i) and S(78 + 68i) for i below the count, the word at 8 in host order, 32 at most; then
 * L8. `frame`: 2188 bytes for a full array.
 */
ORVA_API void ORVA_AGENT_ChgSoNameAckToNet(void *frame);

/* To host order: L0, 4, 8, 12, 140. `body`: 144 bytes. */
ORVA_API void ORVA_AGENT_ChgFrameAttrMsgToHost(void *body);

/* To net order: S0; L8, 12, 16, 20, 148. `frame`: 152 bytes. */
ORVA_API void ORVA_AGENT_ChgReqFrameAtrrMsgToNet(void *frame);

/* To host order: L0, 4, 8, 12. `body`: 16 bytes. */
ORVA_API void ORVA_AGENT_ChgReqMsgToHost(void *body);

/* To net order: L0, 4, 8, 12. `body`: 16 bytes. Kept: it takes a body, this message goes out without a prefix. */
ORVA_API void ORVA_AGENT_ChgReqMsgToNet(void *body);

/* To host order: L0, 4, 8, 12. `body`: 16 bytes. */
ORVA_API void ORVA_AGENT_ChgFrameCardPowerStateMsgToHost(void *body);

/* To net order: S0; L8, 12, 16, 20. `frame`: 24 bytes. */
ORVA_API void ORVA_AGENT_ChgFrameCardPowerStateMsgToNet(void *frame);

/* To net order: S0; L8, 12, 16, 20, 24, 56. `frame`: 60 bytes. Calls ORVA_AGENT_ChgPowerStateMsgToNetPath. */
ORVA_API void ORVA_AGENT_ChgPowerStateMsgToNet(void *frame);

/*
 * To host order: L0, 4, 8, 12, 80; S(2206 + 22i) and S(2208 + 22i) for i below the count at 87. `body`: 4300 bytes
 * for a full array. Kept: a count of 97 or more becomes 96 in the buffer too.
 */
ORVA_API void ORVA_AGENT_ChgPwrSenCfgMsgToHost(void *body);

/*
 * To net order: S0; L8, 12, 16, 20, 88; S(2214 + 22i) and S(2216 + 22i) for i below the count at 95. `frame`: 4308
 * bytes for a full array. Kept: a count of 97 or more becomes 96 in the frame too.
 */
ORVA_API void ORVA_AGENT_ChgPwrSenCfgMsgToNet(void *frame);

/*
 * To host order: L0, 4, 8, 12, 16, 20, 24, 28, 36, 40 (32 stays). `body`: 44 bytes.
 * Calls ORVA_AGENT_ChgHeartBeatMsgToHostPath.
 */
ORVA_API void ORVA_AGENT_ChgHeartBeatMsgToHost(void *body);

/*
 * To net order: S0; L8, 12, 16, 20, 24, 28, 32. `frame`: 36 bytes. Calls ORVA_AGENT_ChgHeartBeatMsgToNetPath.
 * Kept: the body words at 28, 36 and 40 stay in host order, so this does not undo the other direction.
 */
ORVA_API void ORVA_AGENT_ChgHeartBeatMsgToNet(void *frame);

/* To host order: L0, 4, 8, 12, 16, 20, 24. `body`: 28 bytes. */
ORVA_API void ORVA_AGENT_ChgSensorCtrlMsgToHost(void *body);

/* To net order: S0; L8, 12, 16, 20, 24, 28, 32. `frame`: 36 bytes. */
ORVA_API void ORVA_AGENT_ChgSensorCtrlMsgToNet(void *frame);

/* The hooks. They do nothing; a library loaded ahead of this one may define them. */
ORVA_API void ORVA_AGENT_ChgSwitchOverMsgToHostPath(void);

ORVA_API void ORVA_AGENT_ChgSwitchOverMsgToNetPath(void);

ORVA_API void ORVA_AGENT_ChgAddrRegMsgToHostPath(void);

ORVA_API void ORVA_AGENT_ChgAddrAckMsgToNetPath(void);

ORVA_API void ORVA_AGENT_ChgTempInfoMsgToHostPath(void);

ORVA_API void ORVA_AGENT_ChgTempInfoMsgToNetPath(void);

ORVA_API void ORVA_AGENT_ChgSubCardInfoMsgToNetPath(void);

ORVA_API void ORVA_AGENT_ChgHeartBeatMsgToHostPath(void);

ORVA_API void ORVA_AGENT_ChgHeartBeatMsgToNetPath(void);

ORVA_API void ORVA_AGENT_ChgPowerStateMsgToNetPath(void);

/* ---- Configuration nibbles */

/*
 * Sets the bits of the 4-bit group at bit `startBit` of `bitmap` that are 1 in `value`, least significant bit first.
 *
 * value: bits 4 to 7 are ignored. Kept: bits that are 0 are not cleared, so a caller that lowers an item clears its
 * group first. Neither the pointer nor the bitmap's length is checked: bytes up to (startBit + 3) / 8 must exist.
 * Takes no lock.
 */
ORVA_API void ORVA_AGENT_SetGlobalCfgByFourBit(uint8_t value, uint8_t *bitmap, uint32_t startBit);

/*
 * Returns the 4-bit group, 0 to 15, at bit `startBit` of `bitmap`, least significant bit first. Neither the pointer
 * nor the bitmap's length is checked: bytes up to (startBit + 3) / 8 must exist. Takes no lock.
 */
ORVA_API uint32_t ORVA_AGENT_GetGlobalCfgByFourBit(const uint8_t *bitmap, uint32_t startBit);

ORVA_END_DECLS

#define ORVA_LAYOUT_COMM
#include "orva_layout.h"

#endif
