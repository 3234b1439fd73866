/*
 * OS layer of the platform: memory partitions, tasks, time, ordered trees, relative timers, unzip.
 *
 * Declarations only. The library leaves these symbols undefined; the process brings an implementation
 * (the host platform under platform/host/miro is one). Every uint32_t result is 0 on success.
 */
#ifndef MIRO_H
#define MIRO_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Memory partitions ------------------------------------------------------------------------- */

/* Creates a partition of `size` bytes named `name`, owned by `owner`, and stores its number (1 to 255) in
 * `*number`. `start` is null for memory of the platform's choosing, `config` is null for the default. */
uint32_t MIRO_MemPtCreateEx(const char *name, const char *owner, void *start, const void *config, uint32_t size,
                            uint8_t *number);

/* Sets the debug options of a partition; level 3 keeps the accounting per source file and line. */
uint32_t MIRO_MemDbgOptSet(uint8_t number, uint32_t option);

/* Switches automatic growth on (`enable` 1) or off (0). `limit` bounds the growth in bytes, 0 means no limit. The
 * three reserved pointers are null. */
uint32_t MIRO_MemPtAutoFlexSetEx(uint8_t number, uint32_t enable, uint32_t limit, void *r1, void *r2, void *r3);

/* Deletes a partition and everything that is still allocated in it. */
uint32_t MIRO_MemPtDelete(uint8_t number);

/* Allocates `size` bytes from a partition for the call site (`file`, `line`), or returns null. The content is
 * unspecified. `handle` is any non-zero memory handle; partition 0 never yields memory. */
void *MIRO_MemAlloc_F(uint32_t handle, uint8_t partition, size_t size, const char *file, uint32_t line);

/* Returns a block. A block that is unknown, foreign or already freed is refused with a non-zero code. */
uint32_t MIRO_MemFree_F(uint32_t handle, void *block, const char *file, uint32_t line);

/* ---- Tasks ------------------------------------------------------------------------------------- */

typedef void (*MIRO_TASK_ENTRY)(void *argument);

/* Starts a task. `stackSize` is in bytes; `priority` is the platform's class; `options` is 0. */
uint32_t MIRO_TaskCreate(const char *name, uint32_t *taskId, MIRO_TASK_ENTRY entry, uint32_t priority,
                         uint32_t stackSize, uint32_t options, void *argument);

/* ---- Time -------------------------------------------------------------------------------------- */

/* Calendar time, 12 bytes, host byte order. month 1 to 12, day 1 to 31, hour 0 to 23. */
typedef struct {
    uint16_t year;
    uint8_t month, day, hour, minute, second, reserved;
    uint32_t extra;
} MIRO_SYSTIME;

/* Zone time, 12 bytes, opaque to the library and copied whole. */
typedef struct {
    uint8_t bytes[12];
} MIRO_ZONETIME;

uint32_t MIRO_SystimeGet(MIRO_SYSTIME *time); /* calendar time of the system clock */
uint32_t MIRO_TzLmtGet(MIRO_ZONETIME *time);  /* local mean time */
uint32_t MIRO_TzGmtGet(MIRO_ZONETIME *time);  /* Greenwich mean time */

/* ---- Ordered tree with embedded nodes ---------------------------------------------------------- */

#pragma pack(push, 4)
/* 44 bytes, 4-byte alignment. A node that is in no tree has null links and both heights -1. */
typedef struct MIRO_AVL_NODE {
    struct MIRO_AVL_NODE *parent, *left, *right;
    int16_t leftHeight, rightHeight;
    void *self; /* the item that embeds the node */
    void *key;  /* what the tree's compare callback receives */
} MIRO_AVL_NODE;
#pragma pack(pop)

/* Negative, 0 or positive as *a orders before, with or after *b. */
typedef int32_t (*MIRO_AVL_COMPARE)(const void *a, const void *b);

/* 32 bytes. An empty tree has null root, first and last; its maker zeroes it and sets `compare`. */
typedef struct {
    MIRO_AVL_COMPARE compare;
    MIRO_AVL_NODE *root, *first, *last;
} MIRO_AVL_TREE;

void *MIRO_AVL_Find(MIRO_AVL_TREE *tree, const void *key);               /* the item, or null */
void *MIRO_AVL_Insert_Or_Find(MIRO_AVL_TREE *tree, MIRO_AVL_NODE *node); /* null when inserted, or the equal item */
void MIRO_AVL_Delete(MIRO_AVL_TREE *tree, MIRO_AVL_NODE *node);          /* unlinks; frees nothing */
void *MIRO_AVL_Next(MIRO_AVL_NODE *node);                                /* the next item in order, or null */

/* ---- Dead-loop brackets ------------------------------------------------------------------------ */

void MIRO_DeadLoopTaskCheckBegin(void); /* the calling thread enters one watched pass */
void MIRO_DeadLoopTaskCheckEnd(void);   /* the calling thread leaves it */

/* ---- Relative timers --------------------------------------------------------------------------- */

typedef uint64_t MIRO_TIMER_ID;
typedef uint32_t (*MIRO_TIMER_CALLBACK)(void);

#define MIRO_TIMER_ONCE 0u
#define MIRO_TIMER_PERIODIC 1u

/* Registers a module by name and stores its handle, never 0, in `*module`. */
uint32_t MIRO_HandleInitialize(const char *name, uint32_t *module);

/* Starts a relative timer of `lengthMs` milliseconds; `mode` is MIRO_TIMER_ONCE or MIRO_TIMER_PERIODIC. The callback
 * runs on the platform's timer thread. `param` and `argument` are kept for the platform, 0 and null here. */
uint32_t MIRO_ReltmrCbkStart(MIRO_TIMER_ID *timer, uint32_t module, uint32_t lengthMs, uint32_t param, void *argument,
                             uint32_t mode, MIRO_TIMER_CALLBACK callback);

/* ---- Archives ---------------------------------------------------------------------------------- */

/* Unpacks `zipFile` below `dstPath`; `option` is 0. */
uint32_t MIRO_Unzip(const char *zipFile, const char *dstPath, uint32_t option);

#ifdef __cplusplus
}
#endif

#endif
