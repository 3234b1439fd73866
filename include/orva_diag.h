/**
 * @file
 * Diagnostic records, and the manager that limits repeated ones (restraint).
 *
 * A record that repeats is first put to the manager. For each diagnostic id and key it keeps a sliding one-hour count
 * of thirteen five-minute buckets, lets 48 records an hour through, counts what it drops, and once an hour writes one
 * summary for each key that dropped anything. There is one manager per process; it lives until the process ends.
 *
 * Initialise the manager before other threads use it. After that its mutex guards the nodes, the current bucket, the
 * clock, the five-minute pass and every insertion into a tree. Looking an item up and counting happen outside the
 * mutex.
 */
#ifndef ORVA_DIAG_H
#define ORVA_DIAG_H

#include "miro.h"
#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_DIAG_MAX_RECORDS 48u    /**< Records let through per key and hour. */
#define ORVA_DIAG_ZONES 13u          /**< Buckets: twelve closed ones and the current one. */
#define ORVA_DIAG_ZONE_SECONDS 300u  /**< Length of a bucket, seconds. */
#define ORVA_DIAG_HOUR_SECONDS 3600u /**< Length of the window, seconds. */
#define ORVA_DIAG_MAX_NODES 167u     /**< Ids that ORVA_DiagMgrInit covers at most. */
#define ORVA_DIAG_MAX_SIZE 0x100000u /**< Bytes of a manager at most. */
#define ORVA_DIAG_MUTEX_TAG 0x18009u /**< Tag under which the manager's mutex is registered. */
#define ORVA_DIAG_THREAD_MS 1000u    /**< Period of the manager's thread, milliseconds. */

#define ORVA_ERR_DIAG_MGR_MEMORY ORVA_RESULT(0x132u, ORVA_REASON_NULL)  /**< No memory. */
#define ORVA_ERR_DIAG_MGR_MUTEX ORVA_RESULT(0x13Du, ORVA_REASON_OTHER)  /**< No mutex. */
#define ORVA_ERR_DIAG_MGR_THREAD ORVA_RESULT(0x149u, ORVA_REASON_OTHER) /**< No thread. */
#define ORVA_ERR_DIAG_INIT_WRAP ORVA_RESULT(0x15Au, ORVA_REASON_OTHER)  /**< The size would wrap. */
#define ORVA_ERR_DIAG_INIT_SIZE ORVA_RESULT(0x15Bu, ORVA_REASON_OTHER)  /**< The size is too large. */
#define ORVA_ERR_DIAG_INIT_MEMORY ORVA_RESULT(0x15Eu, ORVA_REASON_NULL) /**< No memory. */
#define ORVA_ERR_DIAG_INIT_MUTEX ORVA_RESULT(0x169u, ORVA_REASON_OTHER) /**< No mutex. */

#define ORVA_DIAG_ERR_LINE_DUPLICATE 91u /**< In uiErrLine: another thread inserted the key meanwhile. */
#define ORVA_DIAG_ERR_LINE_NO_NODE 150u  /**< In uiErrLine: id out of range, or no memory for its node. */
#define ORVA_DIAG_ERR_LINE_NO_TEXT 159u  /**< In uiErrLine: the first record's text could not be formatted. */
#define ORVA_DIAG_ERR_LINE_NO_ITEM 167u  /**< In uiErrLine: no item for the key. */

#pragma pack(push, 4)
/** One key under a diagnostic id. Packed to 4 bytes. */
typedef struct {
    MIRO_AVL_NODE link;            /**< In the node's tree; its key is keyId. */
    uint32_t keyId;                /**< The key. */
    uint32_t successNum;           /**< Records let through in the last hour. */
    uint32_t dropNum;              /**< Records dropped since the last summary. */
    uint8_t zone[ORVA_DIAG_ZONES]; /**< Records let through in each bucket. */
} OrvaDiagItem;
#pragma pack(pop)

/** One diagnostic id, made on its first record. */
typedef struct {
    uint32_t diagId;    /**< The id. */
    uint32_t itemCount; /**< Items in the tree. */
    uint32_t line;      /**< Source line of the first caller. */
    char file[32];      /**< Source file of the first caller, zero-terminated; empty when its name is too long. */
    char text[64];      /**< Text of the first record, at most 63 characters. */
    MIRO_AVL_TREE tree; /**< Items by key, unsigned ascending. */
} OrvaDiagNode;

/* C++ knows a flexible array as an extension only. */
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wc99-extensions"
#endif
/** The manager; its node table of nodeCount pointers follows it in the same allocation. */
typedef struct {
    uint32_t uiSwitch;                   /**< 1 = records are limited, 0 = none is. */
    uint32_t nodeCount;                  /**< Diagnostic ids covered. */
    uint32_t uiErrCount;                 /**< Internal failures so far. */
    uint32_t uiErrLine;                  /**< The last of them, ORVA_DIAG_ERR_LINE_... */
    uint32_t startTime;                  /**< Seconds within the current hour, 0 to 3599. */
    uint32_t curZone;                    /**< Current bucket, 0 to 12. */
    uint32_t baseDiagId;                 /**< Diagnostic id of the first node. */
    void *mutex;                         /**< Mutex of ORVA_CreatMutex. */
    __extension__ OrvaDiagNode *nodes[]; /**< The node of baseDiagId + i, or null until its first record. */
} OrvaDiagMgr;
#if defined(__clang__)
#pragma clang diagnostic pop
#endif

/** The manager of the process, null until one of the two initialisers succeeds. */
ORVA_API extern OrvaDiagMgr *g_orvaDiagMgr;

/**
 * Starts the manager with a thread of its own ("OrvaDiagThread") that drives its clock. Not thread-safe. Part of
 * start-up, after memory handle, partition and single-process flag.
 *
 * After a failure there is no manager and nothing stays allocated or registered.
 *
 * @param[in] count      Ids to cover, at most ORVA_DIAG_MAX_NODES. Outside single-process mode it is ignored, and
 *                       ORVA_DIAG_MAX_NODES ids are covered.
 * @param[in] baseDiagId First id. Outside single-process mode it is ignored, and the first id is 0.
 * @retval ORVA_OK                  The manager runs. One that existed before stays as it is.
 * @retval ORVA_ERR_DIAG_MGR_MEMORY There is no memory handle or no memory.
 * @retval ORVA_ERR_DIAG_MGR_MUTEX  The mutex cannot be made.
 * @retval ORVA_ERR_DIAG_MGR_THREAD The thread cannot be started.
 */
ORVA_API uint32_t ORVA_DiagMgrInit(uint32_t count, uint32_t baseDiagId);

/**
 * Starts the manager without a thread; the process then calls ORVA_DiagMgrTimerSchdule once a second. Not
 * thread-safe. Part of start-up, after memory handle and partition.
 *
 * After a failure there is no manager. The two size failures are recorded in the system log.
 *
 * @param[in] count      Ids to cover, at most 131067.
 * @param[in] baseDiagId First id.
 * @retval ORVA_OK                   The manager is ready. One that existed before stays as it is.
 * @retval ORVA_ERR_DIAG_INIT_WRAP   count * 8 in 32 bits is 0xFFFFFFD8.
 * @retval ORVA_ERR_DIAG_INIT_SIZE   count * 8 + 40 is above ORVA_DIAG_MAX_SIZE.
 * @retval ORVA_ERR_DIAG_INIT_MEMORY There is no memory handle or no memory.
 * @retval ORVA_ERR_DIAG_INIT_MUTEX  The mutex cannot be made.
 */
ORVA_API uint32_t ORVA_DiagInit(uint32_t count, uint32_t baseDiagId);

/** Switches restraint on. Thread-safe after start-up. Does nothing without a manager. */
ORVA_API void ORVA_DiagMgrSwitchOn(void);

/**
 * Switches restraint off: every record is let through. Thread-safe after start-up. Counters and buckets keep their
 * values. Does nothing without a manager.
 */
ORVA_API void ORVA_DiagMgrSwitchOff(void);

/**
 * Decides whether a record is dropped. Thread-safe after start-up.
 *
 * It may also be called from a signal handler, and in the child of a fork. It never waits for a look-up of another
 * thread for more than 2 milliseconds: a new key that would have to is let through and counted as a failure
 * (ORVA_DIAG_ERR_LINE_NO_ITEM), and so is a record of a handler that interrupted its own thread in the manager.
 *
 * @param[in] diagId Diagnostic id of the record.
 * @param[in] keyId  Key under the id; each key has a quota of its own.
 * @param[in] file   Source file of the caller, or null. Stored with the id's first record only. A name of more than
 *                   31 characters is not truncated: it is recorded in the system log and stored as an empty one.
 * @param[in] line   Source line of the caller, stored with the id's first record only.
 * @param[in] format Format in the manner of printf. It is formatted for the id's first record only, and truncated to
 *                   63 characters.
 * @param[in] ...    Its arguments.
 * @retval 1 Drop the record: 48 records of this id and key were let through in the last hour.
 * @retval 0 Write the record: the quota is not spent, there is no manager or it is switched off, or the manager could
 *           not count the record (see uiErrCount and uiErrLine).
 */
ORVA_PRINTF(5)
ORVA_API uint32_t ORVA_DiagMgrNeedRestrain(uint32_t diagId, uint32_t keyId, const char *file, uint32_t line,
                                           const char *format, ...);

/**
 * Writes a diagnostic record to the platform's diagnostic log: "[Position: chassis/slot]text", or "[Position:
 * -/slot]text" on a board whose chassis number is 0. Thread-safe after start-up.
 *
 * @param[in] a1     First word of the record, passed on unchanged, as the others.
 * @param[in] a2     Second word.
 * @param[in] a3     Third word.
 * @param[in] a4     Fourth word.
 * @param[in] a5     Fifth word.
 * @param[in] format Format in the manner of printf; the text is truncated to 511 characters.
 * @param[in] ...    Its arguments.
 * @retval ORVA_FAILED The text is empty or cannot be formatted, or the record cannot be built, which is recorded in
 *                     the system log.
 * @retval other       The log's result, 0 on success.
 */
ORVA_PRINTF(6)
ORVA_API uint32_t ORVA_DIAGLOG(uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5, const char *format,
                               ...);

/**
 * Finds the node of a diagnostic id; makes it on first use. Not thread-safe. Hold the manager's mutex.
 *
 * @param[in] diagId The id.
 * @param[in] file   Source file of the caller, or null; stored in a new node. A name of more than 31 characters is
 *                   recorded in the system log and stored as an empty one.
 * @param[in] line   Source line of the caller, stored in a new node.
 * @return The node, which stays the manager's; null when there is no manager, the id is not covered, or there is no
 *         memory handle or no memory. A later call tries again.
 */
ORVA_API OrvaDiagNode *ORVA_DiagMgrGetNode(uint32_t diagId, const char *file, uint32_t line);

/**
 * Finds the item of a key under a node; makes it on first use. Thread-safe after start-up. Without a manager nothing
 * is locked.
 *
 * It takes the manager's mutex itself.
 *
 * When another thread inserts the same key at the same time, the result is null and not that thread's item. The
 * failure is counted with ORVA_DIAG_ERR_LINE_DUPLICATE, and the caller's record is let through uncounted.
 *
 * @param[in]     keyId The key.
 * @param[in,out] node  The node, or null.
 * @return The item, which stays the manager's; null when `node` is null, there is no memory handle or no memory, the
 *         item could not be inserted within 2 milliseconds because of look-ups of other threads, or in a signal
 *         handler that interrupted its own thread in the manager.
 */
ORVA_API OrvaDiagItem *ORVA_DiagMgrGetItem(uint32_t keyId, OrvaDiagNode *node);

/**
 * Orders two keys of a node's tree. Thread-safe.
 *
 * @param[in] a A key (uint32_t, host byte order), or null.
 * @param[in] b A key (uint32_t, host byte order), or null.
 * @retval 0  The keys are equal.
 * @retval 1  *a is greater, compared unsigned, or a pointer is null.
 * @retval -1 *a is smaller.
 */
ORVA_API int32_t ORVA_DiagTreeKeyCompare(const void *a, const void *b);

/**
 * Advances the manager's clock by one second. Not thread-safe. Call it once a second, from one thread.
 *
 * It is for processes that started the manager with ORVA_DiagInit. Every 300 seconds the next bucket becomes the
 * current one; every 3600 seconds the summaries are written, with the manager's mutex held. Does nothing without a
 * manager.
 */
ORVA_API void ORVA_DiagMgrTimerSchdule(void);

/**
 * Body of the manager's thread; never returns. Not thread-safe. One thread per process runs it.
 *
 * It drops two capabilities of the thread (17 and 21), then drives the clock once a second in single-process mode.
 * Outside single-process mode it does not advance the clock, so each key is muted after 48 records.
 */
ORVA_API void ORVA_DiagMgrTimerThread(void);

/**
 * The five-minute pass over every item. Not thread-safe. Hold the manager's mutex.
 *
 * For each item it writes the summary when the hour is full, empties the current bucket, and sets successNum to the
 * sum of the other twelve. Does nothing without a manager.
 */
ORVA_API void ORVA_DiagMgrTimerProcNode(void);

/**
 * The five-minute pass on one item. Not thread-safe. Hold the manager's mutex. Does nothing without a manager.
 *
 * @param[in]     node Node of the item; null does nothing.
 * @param[in,out] item The item; null does nothing.
 */
ORVA_API void ORVA_DiagMgrTimerProcItem(const OrvaDiagNode *node, OrvaDiagItem *item);

/**
 * Writes the hourly summary of an item as a diagnostic record and zeroes its dropNum. Not thread-safe. Hold the
 * manager's mutex.
 *
 * @param[in]     node Node of the item; null does nothing.
 * @param[in,out] item The item; null, or one that dropped nothing, does nothing.
 */
ORVA_API void ORVA_DiagMgrTimerOutput(const OrvaDiagNode *node, OrvaDiagItem *item);

/**
 * Writes the manager, its nodes and their items to the process log. Thread-safe after start-up. Does nothing without
 * a manager.
 *
 * Figures are copied with the manager's mutex held and written without it, so the log may ask the manager. Records of
 * other threads go on meanwhile and may show in later lines.
 */
ORVA_API void ORVA_DiagMgrPrintLocalData(void);

ORVA_END_DECLS

#define ORVA_LAYOUT_DIAG
#include "orva_layout.h"

#endif
