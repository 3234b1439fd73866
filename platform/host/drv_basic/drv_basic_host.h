/*
 * Host driver layer: which board this process has. Exists on the host platform only.
 *
 * A process that calls nothing here has, from its first query on, the board described by the file named in the
 * environment variable ORVA_HOST_BOARD, or the built-in board where that is unset or empty. A description that
 * cannot be used is reported once on standard error, and every query fails with DRV_HOST_ERR_DESCRIPTION.
 */
#ifndef DRV_BASIC_HOST_H
#define DRV_BASIC_HOST_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define DRV_HOST_API __attribute__((visibility("default")))
#else
#define DRV_HOST_API
#endif

/* Results of the driver's functions on the host. */
#define DRV_HOST_ERR_ARGUMENT 0x0D01005Du    /* a pointer is null or a length is 0 */
#define DRV_HOST_ERR_ABSENT 0x0D0200F5u      /* the environment has no such key */
#define DRV_HOST_ERR_BUFFER 0x0D03007Du      /* the text and its zero do not fit; the buffer is as it was */
#define DRV_HOST_ERR_BOARD 0x0D040008u       /* no board is described for this slot */
#define DRV_HOST_ERR_LABEL 0x0D050008u       /* no such label is described */
#define DRV_HOST_ERR_DESCRIPTION 0x0D060084u /* the board description cannot be used */
#define DRV_HOST_ERR_NO_SLOT 0x0D0701A4u     /* the board has no slot number */

/*
 * Replaces the board by the one that a file describes.
 *
 * path: the file; null takes the one that ORVA_HOST_BOARD names; "", or null without the variable, the built-in
 *   board.
 *
 * 0: in force for every later query.
 * DRV_HOST_ERR_DESCRIPTION: the file cannot be read or used; the reason is on standard error and in
 *   DRV_HostDescriptionError. The board stays what it was.
 *
 * Any thread.
 */
DRV_HOST_API uint32_t DRV_HostLoadBoard(const char *path);

/*
 * The same for a description in memory; nothing is written to standard error.
 *
 * name: names the file in messages; null: "board". text: `length` bytes, read during the call only.
 *
 * 0, DRV_HOST_ERR_DESCRIPTION: as above. DRV_HOST_ERR_ARGUMENT: text is null.
 *
 * Any thread.
 */
DRV_HOST_API uint32_t DRV_HostLoadBoardText(const char *name, const char *text, size_t length);

/*
 * Copies why the last load failed, "file:line: [table] key: reason", as zero-terminated text truncated to the buffer;
 * empty when it succeeded or none was tried.
 *
 * 0: copied. DRV_HOST_ERR_ARGUMENT: buffer is null or bufferLen is 0.
 *
 * Any thread.
 */
DRV_HOST_API uint32_t DRV_HostDescriptionError(char *buffer, uint32_t bufferLen);

/* Receives one fault, "file:line: [table] key: reason", without a line end. The text lives during the call. */
typedef void (*DRV_HOST_FAULT_VISITOR)(const char *fault, void *context);

/*
 * Checks a description without using it, and visits every fault in the order of lines. A fault of the syntax hides
 * those after it.
 *
 * path: the file, not null. visitor: not null. context: passed to the visitor unchanged.
 *
 * 0: no fault. DRV_HOST_ERR_DESCRIPTION: there are faults. DRV_HOST_ERR_ARGUMENT: path or visitor is null.
 *
 * Any thread.
 */
DRV_HOST_API uint32_t DRV_HostCheckBoard(const char *path, DRV_HOST_FAULT_VISITOR visitor, void *context);

/* The description of the built-in board, zero-terminated; an example to begin with. Any thread. */
DRV_HOST_API const char *DRV_HostExampleBoard(void);

#ifdef __cplusplus
}
#endif

#endif
