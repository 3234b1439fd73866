/*
 * Diagnostic records, and the manager that restrains repeated ones.
 *
 * A record that repeats is first put to the manager: for each diagnostic id and key it keeps a sliding one-hour count
 * of thirteen five-minute buckets, lets 48 records an hour through, counts what it drops, and once an hour writes one
 * summary for each key that dropped anything. The manager is one record per process and lives until the process ends.
 *
 * Initialise the manager before other threads use it. After that, its mutex guards the nodes, the zone, the clock,
 * the five-minute pass and every insertion into a tree; looking an item up and counting happen outside the mutex.
 */
#ifndef ORVA_DIAG_H
#define ORVA_DIAG_H

#include "miro.h"
#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_DIAG_MAX_RECORDS 48u    /* records let through per key and hour */
#define ORVA_DIAG_ZONES 13u          /* buckets: twelve closed ones and the current one */
#define ORVA_DIAG_ZONE_SECONDS 300u  /* length of a bucket */
#define ORVA_DIAG_HOUR_SECONDS 3600u /* length of the window */
#define ORVA_DIAG_MAX_NODES 167u     /* ids that ORVA_DiagMgrInit covers at most */
#define ORVA_DIAG_MAX_SIZE 0x100000u /* bytes of a manager at most */
#define ORVA_DIAG_MUTEX_TAG 0x18009u /* tag under which the manager's mutex is registered */
#define ORVA_DIAG_THREAD_MS 1000u    /* period of the manager's thread */

#define ORVA_ERR_DIAG_MGR_MEMORY ORVA_RESULT(0x132u, ORVA_REASON_NULL)  /* no memory */
#define ORVA_ERR_DIAG_MGR_MUTEX ORVA_RESULT(0x13Du, ORVA_REASON_OTHER)  /* no mutex */
#define ORVA_ERR_DIAG_MGR_THREAD ORVA_RESULT(0x149u, ORVA_REASON_OTHER) /* no thread */
#define ORVA_ERR_DIAG_INIT_WRAP ORVA_RESULT(0x15Au, ORVA_REASON_OTHER)  /* the size would wrap */
#define ORVA_ERR_DIAG_INIT_SIZE ORVA_RESULT(0x15Bu, ORVA_REASON_OTHER)  /* the size is too large */
#define ORVA_ERR_DIAG_INIT_MEMORY ORVA_RESULT(0x15Eu, ORVA_REASON_NULL) /* no memory */
#define ORVA_ERR_DIAG_INIT_MUTEX ORVA_RESULT(0x169u, ORVA_REASON_OTHER) /* no mutex */

/* What uiErrLine holds after an internal failure. */
#define ORVA_DIAG_ERR_LINE_DUPLICATE 91u /* the key was inserted by someone else meanwhile */
#define ORVA_DIAG_ERR_LINE_NO_NODE 150u  /* id out of range, or no memory for its node */
#define ORVA_DIAG_ERR_LINE_NO_TEXT 159u  /* the first record's text could not be formatted */
#define ORVA_DIAG_ERR_LINE_NO_ITEM 167u  /* no item for the key */

#pragma pack(push, 4)
/* One key under a diagnostic id. Packed to 4 bytes. */
typedef struct {
    MIRO_AVL_NODE link;            /* in the node's tree; its key is keyId */
    uint32_t keyId;                /* the key */
    uint32_t successNum;           /* records let through in the last hour */
    uint32_t dropNum;              /* records dropped since the last summary */
    uint8_t zone[ORVA_DIAG_ZONES]; /* records let through in each bucket */
} OrvaDiagItem;
#pragma pack(pop)

/* One diagnostic id, made on its first record. */
typedef struct {
    uint32_t diagId;
    uint32_t itemCount; /* items in the tree */
    uint32_t line;      /* source line of the first caller */
    char file[32];      /* source file of the first caller, zero-terminated */
    char text[64];      /* text of the first record, at most 63 characters */
    MIRO_AVL_TREE tree; /* items by key, unsigned ascending */
} OrvaDiagNode;

/* C++ knows a flexible array as an extension only. */
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wc99-extensions"
#endif
/* The manager; its node table of nodeCount pointers follows it in the same allocation. */
typedef struct {
    uint32_t uiSwitch;   /* 1 = records are restrained, 0 = nothing is */
    uint32_t nodeCount;  /* diagnostic ids covered */
    uint32_t uiErrCount; /* internal failures so far */
    uint32_t uiErrLine;  /* the last of them, ORVA_DIAG_ERR_LINE_... */
    uint32_t startTime;  /* seconds within the current hour, 0 to 3599 */
    uint32_t curZone;    /* current bucket, 0 to 12 */
    uint32_t baseDiagId; /* diagnostic id of the first node */
    void *mutex;
    __extension__ OrvaDiagNode *nodes[]; /* the node of baseDiagId + i, or null until its first record */
} OrvaDiagMgr;
#if defined(__clang__)
#pragma clang diagnostic pop
#endif

/* The manager of the process, null until one of the two initialisers succeeds. */
ORVA_API extern OrvaDiagMgr *g_orvaDiagMgr;

/*
 * Starts the manager with a thread of its own ("OrvaDiagThread") that drives its clock.
 * In single-process mode (ORVA_GetSingleProcess not 0) it covers the `count` ids, at most 167, from `baseDiagId` on;
 * in any other mode both arguments are ignored and ids 0 to 166 are covered. Memory handle and partition must be set.
 * Returns ORVA_OK, also when a manager exists already, which then stays as it is; ORVA_ERR_DIAG_MGR_MEMORY when there
 * is no memory handle or no memory; ORVA_ERR_DIAG_MGR_MUTEX when the mutex cannot be made; ORVA_ERR_DIAG_MGR_THREAD
 * when the thread cannot be started. After a failure there is no manager and nothing stays allocated or registered.
 * Call it from one thread, before others use the manager.
 */
ORVA_API uint32_t ORVA_DiagMgrInit(uint32_t count, uint32_t baseDiagId);

/*
 * Starts the manager without a thread, over the `count` ids from `baseDiagId` on; the process then calls
 * ORVA_DiagMgrTimerSchdule once a second.
 * Returns ORVA_OK, also when a manager exists already, which then stays as it is; ORVA_ERR_DIAG_INIT_WRAP when count
 * * 8 in 32 bits is 0xFFFFFFD8; ORVA_ERR_DIAG_INIT_SIZE when count * 8 + 40 is above ORVA_DIAG_MAX_SIZE (both are
 * recorded in the system log); ORVA_ERR_DIAG_INIT_MEMORY when there is no memory handle or no memory;
 * ORVA_ERR_DIAG_INIT_MUTEX when the mutex cannot be made. After a failure there is no manager. Call it from one
 * thread, before others use the manager.
 */
ORVA_API uint32_t ORVA_DiagInit(uint32_t count, uint32_t baseDiagId);

/* Switches restraint on. Does nothing without a manager. Any thread. */
ORVA_API void ORVA_DiagMgrSwitchOn(void);

/* Switches restraint off: every record is let through, counters and buckets are kept. Nothing without a manager. Any
 * thread. */
ORVA_API void ORVA_DiagMgrSwitchOff(void);

/*
 * Decides whether a record is dropped.
 * `diagId` and `keyId` say which record it is; `file` (kept to 31 characters, may be null) and `line` are the
 * caller's source, kept from the id's first record; `format` and its arguments are those of printf, formatted for the
 * id's first record only and kept to 63 characters. Returns 1 when the caller must drop its record, or 0 when it may
 * write it: there is no manager or it is switched off; fewer than 48 records of this id and key were let through in
 * the last hour; or the manager could not keep count (see uiErrCount and uiErrLine). Any thread.
 */
ORVA_PRINTF(5)
ORVA_API uint32_t ORVA_DiagMgrNeedRestrain(uint32_t diagId, uint32_t keyId, const char *file, uint32_t line,
                                           const char *format, ...);

/*
 * Writes a diagnostic record to the platform's diagnostic log, with the board's position in front:
 * "[Position: chassis/slot]text", or "[Position: -/slot]text" on a board whose chassis number is 0.
 * `a1` to `a5` are handed on unchanged; `format` and its arguments are those of printf, the text is cut at 511
 * characters.
 * Returns the log's result, or ORVA_FAILED when the text is empty or cannot be formatted, or when the record cannot
 * be built, which is recorded in the system log. Any thread.
 */
ORVA_PRINTF(6)
ORVA_API uint32_t ORVA_DIAGLOG(uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5, const char *format,
                               ...);

/*
 * Returns the node of `diagId`, made on first use with the caller's `file` (may be null) and `line`. A file name of
 * more than 31 characters is recorded in the system log and left empty. Null when there is no manager, the id is not
 * covered, or there is no memory; a later call tries again. The node belongs to the manager. Call it with the
 * manager's mutex held.
 */
ORVA_API OrvaDiagNode *ORVA_DiagMgrGetNode(uint32_t diagId, const char *file, uint32_t line);

/*
 * Returns the item of `keyId` under `node`, made on first use.
 * Null when `node` is null or there is no memory. The item belongs to the manager. Any thread, with or without the
 * manager's mutex: an insertion takes it.
 * Kept: null also when another thread inserted the key meanwhile; its item is not returned, and the failure is
 * counted with ORVA_DIAG_ERR_LINE_DUPLICATE, so that this one record is let through uncounted.
 */
ORVA_API OrvaDiagItem *ORVA_DiagMgrGetItem(uint32_t keyId, OrvaDiagNode *node);

/*
 * Orders two keys (uint32_t, host byte order) of a node's tree.
 * Returns 0 when *a equals *b, 1 when *a is greater, -1 when it is smaller, compared unsigned; 1 when a pointer is
 * null. Any thread.
 */
ORVA_API int32_t ORVA_DiagTreeKeyCompare(const void *a, const void *b);

/*
 * Advances the manager's clock by one second; every 300 seconds the next bucket becomes the current one, every 3600
 * the summaries are written. For processes that started the manager with ORVA_DiagInit: call it once a second, from
 * one thread. Does nothing without a manager.
 */
ORVA_API void ORVA_DiagMgrTimerSchdule(void);

/*
 * Body of the manager's thread: gives up two capabilities of the thread (17 and 21), then drives the clock once a
 * second in single-process mode. Never returns. Kept: in any other mode the clock stands, so that each key stops at
 * 48 records for good.
 */
ORVA_API void ORVA_DiagMgrTimerThread(void);

/*
 * The five-minute pass over every item: its summary when the hour is full, then the current bucket is emptied and
 * successNum becomes the sum of the other twelve. Does nothing without a manager. Call it with the manager's mutex
 * held.
 */
ORVA_API void ORVA_DiagMgrTimerProcNode(void);

/* The five-minute pass on one `item` of `node`. Nothing without a manager or with a null argument. Call it with the
 * manager's mutex held. */
ORVA_API void ORVA_DiagMgrTimerProcItem(const OrvaDiagNode *node, OrvaDiagItem *item);

/*
 * Writes the hourly summary of `item` under `node` as a diagnostic record and zeroes its dropNum; nothing when it
 * dropped nothing or an argument is null. Call it with the manager's mutex held.
 */
ORVA_API void ORVA_DiagMgrTimerOutput(const OrvaDiagNode *node, OrvaDiagItem *item);

/*
 * Writes the manager, its nodes and their items to the process log. Does nothing without a manager. Any thread: the
 * manager's mutex is held meanwhile.
 */
ORVA_API void ORVA_DiagMgrPrintLocalData(void);

ORVA_END_DECLS

#define ORVA_LAYOUT_DIAG
#include "orva_layout.h"

#endif
