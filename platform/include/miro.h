/**
 * @file
 * OS layer of the platform: memory partitions, tasks, time, ordered trees, relative timers, unzip.
 *
 * Declarations only. The library leaves these symbols undefined; the process brings an implementation (the host
 * platform under platform/host/miro is one). Every uint32_t result is 0 on success; what other values mean is the
 * platform's.
 */
#ifndef MIRO_H
#define MIRO_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Memory partitions */

/**
 * Creates a memory partition. Thread-safe.
 *
 * @param[in]  name   Name of the partition, zero-terminated.
 * @param[in]  owner  Tag of its owner, zero-terminated.
 * @param[in]  start  Memory to use; null for memory of the platform's choosing.
 * @param[in]  config Null for the default.
 * @param[in]  size   Bytes of the partition.
 * @param[out] number Receives the partition's number, 1 to 255, on success only.
 * @retval 0     The partition exists until MIRO_MemPtDelete.
 * @retval other It was not created.
 */
uint32_t MIRO_MemPtCreateEx(const char *name, const char *owner, void *start, const void *config, uint32_t size,
                            uint8_t *number);

/**
 * Sets the debug options of a partition. Thread-safe.
 *
 * @param[in] number Partition number.
 * @param[in] option Debug level; 3 keeps accounts per source file and line.
 * @retval 0     The option is set.
 * @retval other It is not.
 */
uint32_t MIRO_MemDbgOptSet(uint8_t number, uint32_t option);

/**
 * Switches the automatic growth of a partition. Thread-safe.
 *
 * @param[in] number Partition number.
 * @param[in] enable 1 = on, 0 = off.
 * @param[in] limit  Bytes that the growth may add; 0 means no limit.
 * @param[in] r1     Reserved, null.
 * @param[in] r2     Reserved, null.
 * @param[in] r3     Reserved, null.
 * @retval 0     The switch is set.
 * @retval other It is not.
 */
uint32_t MIRO_MemPtAutoFlexSetEx(uint8_t number, uint32_t enable, uint32_t limit, void *r1, void *r2, void *r3);

/**
 * Deletes a partition and everything that is still allocated in it. Thread-safe. Nobody may use its blocks any more.
 *
 * @param[in] number Partition number.
 * @retval 0     The partition is deleted.
 * @retval other There is none of this number.
 */
uint32_t MIRO_MemPtDelete(uint8_t number);

/**
 * Allocates from a partition. Thread-safe.
 *
 * @param[in] handle    Memory handle, any value except 0.
 * @param[in] partition Partition number; 0 never yields memory.
 * @param[in] size      Bytes.
 * @param[in] file      Call site for leak reports; valid as long as the block.
 * @param[in] line      Call site for leak reports.
 * @return The block, aligned for any type, its content unspecified; the caller releases it with MIRO_MemFree_F. Null
 *         when there is no memory.
 */
void *MIRO_MemAlloc_F(uint32_t handle, uint8_t partition, size_t size, const char *file, uint32_t line);

/**
 * Releases a block. Thread-safe.
 *
 * @param[in] handle Memory handle.
 * @param[in] block  Block of MIRO_MemAlloc_F.
 * @param[in] file   Call site for reports; valid during the call only.
 * @param[in] line   Call site for reports.
 * @retval 0     The block is released.
 * @retval other The block is unknown, belongs to somebody else, or is released already; nothing is changed.
 */
uint32_t MIRO_MemFree_F(uint32_t handle, void *block, const char *file, uint32_t line);

/* ---- Tasks */

/** Body of a task; `argument` is that of MIRO_TaskCreate. */
typedef void (*MIRO_TASK_ENTRY)(void *argument);

/**
 * Starts a task. Thread-safe.
 *
 * @param[in]  name      Name of the task, zero-terminated; valid during the call only.
 * @param[out] taskId    Receives the task's identifier, on success only.
 * @param[in]  entry     Body of the task.
 * @param[in]  priority  The platform's priority class.
 * @param[in]  stackSize Bytes of stack.
 * @param[in]  options   0.
 * @param[in]  argument  Passed to `entry`.
 * @retval 0     The task is started.
 * @retval other It is not.
 */
uint32_t MIRO_TaskCreate(const char *name, uint32_t *taskId, MIRO_TASK_ENTRY entry, uint32_t priority,
                         uint32_t stackSize, uint32_t options, void *argument);

/* ---- Time */

/** Calendar time, 12 bytes, host byte order. */
typedef struct {
    uint16_t year;    /**< Year. */
    uint8_t month;    /**< 1 to 12. */
    uint8_t day;      /**< 1 to 31. */
    uint8_t hour;     /**< 0 to 23. */
    uint8_t minute;   /**< 0 to 59. */
    uint8_t second;   /**< 0 to 60. */
    uint8_t reserved; /**< The platform's. */
    uint32_t extra;   /**< The platform's. */
} MIRO_SYSTIME;

/** Zone time, 12 bytes, opaque to the library and copied whole. */
typedef struct {
    uint8_t bytes[12]; /**< The platform's. */
} MIRO_ZONETIME;

/**
 * Calendar time of the system clock. Thread-safe for distinct objects.
 *
 * @param[out] time Receives the time.
 * @retval 0     `time` is written.
 * @retval other The clock could not be read.
 */
uint32_t MIRO_SystimeGet(MIRO_SYSTIME *time);

/**
 * Local zone time. Thread-safe for distinct objects.
 *
 * @param[out] time Receives the time.
 * @retval 0     `time` is written.
 * @retval other There is no such time.
 */
uint32_t MIRO_TzLmtGet(MIRO_ZONETIME *time);

/**
 * Greenwich zone time. Thread-safe for distinct objects.
 *
 * @param[out] time Receives the time.
 * @retval 0     `time` is written.
 * @retval other There is no such time.
 */
uint32_t MIRO_TzGmtGet(MIRO_ZONETIME *time);

/* ---- Ordered tree with embedded nodes */

#pragma pack(push, 4)
/** Tree node, 44 bytes, 4-byte alignment. A node that is in no tree has null links and both heights -1. */
typedef struct MIRO_AVL_NODE {
    struct MIRO_AVL_NODE *parent; /**< Parent, null at the root. */
    struct MIRO_AVL_NODE *left;   /**< Left child, or null. */
    struct MIRO_AVL_NODE *right;  /**< Right child, or null. */
    int16_t leftHeight;           /**< Height of the left subtree, -1 when empty. */
    int16_t rightHeight;          /**< Height of the right subtree, -1 when empty. */
    void *self;                   /**< The item that embeds the node. */
    void *key;                    /**< What the tree's compare callback receives. */
} MIRO_AVL_NODE;
#pragma pack(pop)

/**
 * Orders two keys.
 *
 * @param[in] a A key.
 * @param[in] b A key.
 * @return Negative, 0 or positive as *a orders before, with or after *b.
 */
typedef int32_t (*MIRO_AVL_COMPARE)(const void *a, const void *b);

/** Tree, 32 bytes. An empty tree has null root, first and last; its maker zeroes it and sets `compare`. */
typedef struct {
    MIRO_AVL_COMPARE compare; /**< Order of the keys. */
    MIRO_AVL_NODE *root;      /**< Root, null when empty. */
    MIRO_AVL_NODE *first;     /**< Smallest node, null when empty. */
    MIRO_AVL_NODE *last;      /**< Largest node, null when empty. */
} MIRO_AVL_TREE;

/**
 * Finds an item. Thread-safe for distinct objects. Several threads may search one tree while nobody changes it.
 *
 * @param[in] tree The tree.
 * @param[in] key  Key to search for.
 * @return The item (`self`) of the node with an equal key; null when there is none.
 */
void *MIRO_AVL_Find(MIRO_AVL_TREE *tree, const void *key);

/**
 * Inserts a node unless its key is present. Thread-safe for distinct objects.
 *
 * @param[in,out] tree The tree.
 * @param[in,out] node A node that is in no tree; the tree links it and does not own it.
 * @return Null when it was inserted; else the item of the equal node, and nothing is changed.
 */
void *MIRO_AVL_Insert_Or_Find(MIRO_AVL_TREE *tree, MIRO_AVL_NODE *node);

/**
 * Unlinks a node; frees nothing. Thread-safe for distinct objects.
 *
 * @param[in,out] tree The tree.
 * @param[in,out] node A node of the tree.
 */
void MIRO_AVL_Delete(MIRO_AVL_TREE *tree, MIRO_AVL_NODE *node);

/**
 * Finds the next item in order. Thread-safe for distinct objects. Several threads may walk one tree while nobody
 * changes it.
 *
 * @param[in] node A node of a tree.
 * @return The next item; null after the last.
 */
void *MIRO_AVL_Next(MIRO_AVL_NODE *node);

/* ---- Dead-loop brackets */

/** Tells the dead-loop monitor that the calling thread enters one watched pass. Thread-safe. */
void MIRO_DeadLoopTaskCheckBegin(void);

/** Tells the dead-loop monitor that the calling thread leaves its watched pass. Thread-safe. */
void MIRO_DeadLoopTaskCheckEnd(void);

/* ---- Relative timers */

/** Identifier of a timer. */
typedef uint64_t MIRO_TIMER_ID;
/** Callback of a timer; its result is not used. */
typedef uint32_t (*MIRO_TIMER_CALLBACK)(void);

#define MIRO_TIMER_ONCE 0u     /**< Timer mode: expires once. */
#define MIRO_TIMER_PERIODIC 1u /**< Timer mode: expires again and again. */

/**
 * Registers a module by name. Thread-safe.
 *
 * @param[in]  name   Name, zero-terminated.
 * @param[out] module Receives the module's handle, never 0, on success only.
 * @retval 0     The module is registered.
 * @retval other It is not.
 */
uint32_t MIRO_HandleInitialize(const char *name, uint32_t *module);

/**
 * Starts a relative timer. Thread-safe.
 *
 * @param[out] timer    Receives the timer's identifier, on success only.
 * @param[in]  module   Handle of MIRO_HandleInitialize.
 * @param[in]  lengthMs Length in milliseconds.
 * @param[in]  param    The platform's, 0.
 * @param[in]  argument The platform's, null.
 * @param[in]  mode     MIRO_TIMER_ONCE or MIRO_TIMER_PERIODIC.
 * @param[in]  callback Runs on the platform's timer thread.
 * @retval 0     The timer runs.
 * @retval other It does not.
 */
uint32_t MIRO_ReltmrCbkStart(MIRO_TIMER_ID *timer, uint32_t module, uint32_t lengthMs, uint32_t param, void *argument,
                             uint32_t mode, MIRO_TIMER_CALLBACK callback);

/* ---- Archives */

/**
 * Unpacks an archive. Thread-safe.
 *
 * @param[in] zipFile Path of the archive, zero-terminated.
 * @param[in] dstPath Directory to unpack into, zero-terminated.
 * @param[in] option  0.
 * @retval 0     The archive is unpacked.
 * @retval other It is not.
 */
uint32_t MIRO_Unzip(const char *zipFile, const char *dstPath, uint32_t option);

#ifdef __cplusplus
}
#endif

#endif
