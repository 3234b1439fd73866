/*
 * The test kit: unit tests of a program that uses the library, without a board.
 *
 * The program under test is linked with `orva_comm_testing` in place of the library. The archive holds the library
 * and a recording double of everything that the library imports: memory, tasks, time, log sinks, drivers, safe I/O.
 * It also wraps the C library calls of wrapped_calls.txt. A test makes the n-th call of any of them fail, stops and
 * steps the clock, puts run-time libraries and message queues in memory, and reads what was called and logged.
 *
 * This header is for C and C++. C++ tests have the same with containers and a GoogleTest fixture in
 * platform_double.h.
 *
 * A test calls these functions from one thread while no other thread uses the library, except where a function says
 * otherwise. Faults and counters may be hit from any thread.
 */
#ifndef ORVA_TESTING_H
#define ORVA_TESTING_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

/**
 * Starts a fresh test: nothing is recorded, no fault is armed, every wrapped call reaches the C library, the board
 * has no slot, type, label or environment, the library has memory handle 0x1234 and partition 9. Blocks that are
 * still allocated stay allocated and counted.
 *
 * Thread safety: set-up.
 */
void orva_testing_reset(void);

/**
 * Sets who is told of what the kit finds wrong: a double free, a write past a block, an unknown name of a call.
 *
 * @param handler  gets one line without an end; the text is valid during the call. Null: the line is printed on the
 *                 standard error and the process aborts, as before the first call.
 *
 * Thread safety: set-up.
 */
void orva_testing_on_failure(void (*handler)(const char *text));

/* ---- Faults ------------------------------------------------------------------------------------ */

/**
 * Makes one call fail.
 *
 * @param call    name of an imported or wrapped function, such as "MIRO_MemAlloc_F" or "msgsnd"; an unknown name is
 *                reported as a failure
 * @param nth     1 for the next call from now on, 2 for the one after it, and so on; 0 disarms
 * @param result  what the call returns, converted to its result type; 0 is the null pointer
 * @param error   what the call leaves in `errno`
 *
 * Thread safety: set-up; the fault may be hit from any thread.
 */
void orva_testing_fail(const char *call, unsigned nth, int64_t result, int error);

/**
 * Makes every call fail until the next reset. Arguments as orva_testing_fail.
 *
 * Thread safety: set-up; the fault may be hit from any thread.
 */
void orva_testing_fail_always(const char *call, int64_t result, int error);

/**
 * Counts calls since the last reset, failed ones included.
 *
 * @param call  as in orva_testing_fail
 * @return the number of calls; 0 for an unknown name, which is reported as a failure
 *
 * Thread safety: any thread.
 */
unsigned orva_testing_calls_of(const char *call);

/* ---- What was recorded ------------------------------------------------------------------------- */

/* Kinds of records. */
#define ORVA_TESTING_LOGS                                                                                            \
    0 /* log records, with sink, numbers in hexadecimal and text: "WriteLog(0x10000, 0x2) text" */
#define ORVA_TESTING_CALLS 1 /* platform calls with arguments: "drv_env_get(\"cpuid\", 0x20)" */

/**
 * Counts the records of a kind.
 *
 * @param kind  ORVA_TESTING_LOGS or ORVA_TESTING_CALLS
 * @return the number of records since the last reset or the last orva_testing_forget_records
 *
 * Thread safety: set-up.
 */
size_t orva_testing_record_count(int kind);

/**
 * Reads a record.
 *
 * @param kind   ORVA_TESTING_LOGS or ORVA_TESTING_CALLS
 * @param index  0 for the oldest
 * @return the record, owned by the kit and valid until the next record, reset or forget; null past the newest
 *
 * Thread safety: set-up.
 */
const char *orva_testing_record(int kind, size_t index);

/**
 * Forgets the records of both kinds.
 *
 * Thread safety: set-up.
 */
void orva_testing_forget_records(void);

/**
 * Counts the partition blocks that are allocated and not freed. A test compares the number at its end.
 *
 * @return the number of blocks, over all tests of the process
 *
 * Thread safety: any thread.
 */
size_t orva_testing_live_blocks(void);

/* ---- The board --------------------------------------------------------------------------------- */

/* What a board has. */
#define ORVA_TESTING_SLOT 0           /* drv_board_get_self_logic_slotid */
#define ORVA_TESTING_BOARD_TYPE 1     /* drv_board_get_type */
#define ORVA_TESTING_BACKPLANE_TYPE 2 /* drv_backplane_get_type */

/**
 * Sets a number that the drivers answer.
 *
 * @param what   ORVA_TESTING_SLOT, ORVA_TESTING_BOARD_TYPE or ORVA_TESTING_BACKPLANE_TYPE
 * @param value  0 to 0xFFFFFFFF; a negative value makes the driver fail with 1
 *
 * Thread safety: set-up.
 */
void orva_testing_set_board(int what, int64_t value);

/**
 * Sets a value of the boot environment, which drv_env_get reads.
 *
 * @param key    name of the value; copied
 * @param value  text; copied. Null: the key is absent and the driver fails with 1.
 *
 * Thread safety: set-up.
 */
void orva_testing_set_environment(const char *key, const char *value);

/**
 * Sets the electronic label, which drv_elabel_read reads.
 *
 * @param label  text; copied. Null: the driver fails with 1.
 *
 * Thread safety: set-up.
 */
void orva_testing_set_elabel(const char *label);

/* ---- The clock --------------------------------------------------------------------------------- */

/**
 * Stops the clock until the next reset. From then on every clock of the C library and MIRO_SystimeGet give this time,
 * and a pause (`select` without descriptors, `nanosleep`, `usleep`) returns at once and moves the clock by its
 * length.
 *
 * @param seconds  since 1970-01-01 00:00:00 UTC
 *
 * Thread safety: set-up.
 */
void orva_testing_clock_stop(uint64_t seconds);

/**
 * Moves the stopped clock forward.
 *
 * @param ms  milliseconds
 *
 * Thread safety: any thread.
 */
void orva_testing_clock_step(uint64_t ms);

/* ---- Run-time libraries ------------------------------------------------------------------------ */

/**
 * Puts a symbol in a library that `dlopen` finds. From the first call until the next reset, `dlopen` finds libraries
 * made this way and no others; the dynamic linker is not asked.
 *
 * @param library  name as given to `dlopen`; copied
 * @param symbol   name as given to `dlsym`; copied. Null: the library has no symbol yet.
 * @param address  of the function or object; the test owns it
 *
 * Thread safety: set-up.
 */
void orva_testing_add_symbol(const char *library, const char *symbol, void *address);

/* ---- Message queues ---------------------------------------------------------------------------- */

/**
 * Keeps message queues in memory until the next reset; the kernel is not asked and key files need not exist. A read
 * of an empty queue fails with ENOMSG even where it would wait.
 *
 * Thread safety: set-up.
 */
void orva_testing_use_queues(void);

/**
 * Puts a message in a queue, as another process would.
 *
 * @param queueId  as ORVA_QueueCreate stored it
 * @param type     message type, 1 or more
 * @param payload  copied
 * @param length   bytes
 * @retval 0   the message is the newest of the queue
 * @retval -1  there is no such queue
 *
 * Thread safety: set-up.
 */
int orva_testing_queue_put(int queueId, long type, const void *payload, size_t length);

/**
 * Takes the oldest message of a queue, whatever its type.
 *
 * @param queueId  as ORVA_QueueCreate stored it
 * @param type     gets the message type; null when it is of no interest
 * @param payload  gets the first `size` bytes of the message
 * @param size     bytes in `payload`
 * @return length of the whole message; -1 when the queue is empty or there is none
 *
 * Thread safety: set-up.
 */
int64_t orva_testing_queue_take(int queueId, long *type, void *payload, size_t size);

ORVA_END_DECLS

#endif
