/*
 * Miscellaneous helpers: whole-file read, capability drop, trimming, rounding, calibration line, random value.
 */
#ifndef ORVA_UTIL_H
#define ORVA_UTIL_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_ERR_FILE_CONTENT_PATH_NULL ORVA_RESULT(0x5Au, ORVA_REASON_NULL)
#define ORVA_ERR_FILE_CONTENT_CONTENT_NULL ORVA_RESULT(0x5Bu, ORVA_REASON_NULL)
#define ORVA_ERR_FILE_CONTENT_LENGTH_NULL ORVA_RESULT(0x5Cu, ORVA_REASON_NULL)
#define ORVA_ERR_FILE_CONTENT_PATH_MEMORY ORVA_RESULT(0x61u, ORVA_REASON_BUFFER_MEMORY)
#define ORVA_ERR_FILE_CONTENT_RESOLVE ORVA_RESULT(0x69u, ORVA_REASON_NULL)
#define ORVA_ERR_FILE_CONTENT_OPEN ORVA_RESULT(0x71u, ORVA_REASON_OPEN)
#define ORVA_ERR_FILE_CONTENT_SEEK_END ORVA_RESULT(0x7Au, ORVA_REASON_COPY)
#define ORVA_ERR_FILE_CONTENT_EMPTY ORVA_RESULT(0x82u, ORVA_REASON_COPY)
#define ORVA_ERR_FILE_CONTENT_MEMORY ORVA_RESULT(0x8Bu, ORVA_REASON_BUFFER_MEMORY)
#define ORVA_ERR_FILE_CONTENT_SEEK_BEGIN ORVA_RESULT(0x97u, ORVA_REASON_COPY)
#define ORVA_ERR_FILE_CONTENT_READ ORVA_RESULT(0xA3u, ORVA_REASON_READ)

#define ORVA_CAPABILITY_MAX 40u           /* the highest capability that ORVA_DeleteCap accepts */
#define ORVA_LINE_POINT_ABSENT 0x7FFFFFFF /* in x1 or x2: the point is absent */

/* Reads a whole file.
 * path: zero-terminated; resolved first, so links are followed.
 * content: receives the bytes with a zero behind them, from the library's memory partition; the caller frees them
 * with MIRO_MemFree_F. length: receives the size in bytes, without that zero. Both are written on success only.
 * Returns ORVA_OK; ORVA_ERR_FILE_CONTENT_PATH_NULL, ORVA_ERR_FILE_CONTENT_CONTENT_NULL or
 * ORVA_ERR_FILE_CONTENT_LENGTH_NULL for a null argument; ORVA_ERR_FILE_CONTENT_PATH_MEMORY without a memory handle or
 * memory for the path; ORVA_ERR_FILE_CONTENT_RESOLVE when the path does not resolve; ORVA_ERR_FILE_CONTENT_OPEN;
 * ORVA_ERR_FILE_CONTENT_SEEK_END; ORVA_ERR_FILE_CONTENT_EMPTY for an empty file or one without a size;
 * ORVA_ERR_FILE_CONTENT_MEMORY when there is no memory for the content or its size does not fit 32 bits;
 * ORVA_ERR_FILE_CONTENT_SEEK_BEGIN; ORVA_ERR_FILE_CONTENT_READ when fewer bytes arrive. All but the null arguments,
 * the unresolved path and the empty file are recorded in the process log.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_FUNC_GetFileContent(const char *path, char **content, uint32_t *length);

/* Removes one capability from the effective, permitted and inheritable sets.
 * ofThisProcess: non-zero names the process by its id, 0 the calling thread.
 * capability: 0 to ORVA_CAPABILITY_MAX.
 * Returns ORVA_OK; ofThisProcess for a capability out of range; after a failed system call the result of the process
 * log's sink.
 * Kept: the first, 32-bit capability format is used, so capabilities 32 to 40 clear bits 0 to 8.
 * Thread safety: any thread; the system changes the calling thread only, so a non-zero ofThisProcess succeeds on the
 * process's first thread. */
ORVA_API uint32_t ORVA_DeleteCap(uint32_t ofThisProcess, uint32_t capability);

/* Trims spaces (0x20 only) on both sides, in place.
 * str: buffer of size bytes; its last byte becomes 0 first, also where that cuts the text.
 * size: bytes of the buffer.
 * Returns str, or null for a null str or a size of 0.
 * Thread safety: the buffer is the caller's. */
ORVA_API char *ORVA_StrTrim(char *str, uint32_t size);

/* Rounds on the first decimal only: 3.94 gives 4, 2.45 gives 2.
 * Returns the rounded value; values beyond the 32-bit range saturate after the multiplication by ten, NaN gives 0.
 * Kept: negative values are truncated toward zero, -2.5 gives -2.
 * Thread safety: any thread. */
ORVA_API double ORVA_Rounding(double value);

/* Checks a calibration line through two points, either of which may be absent.
 * Returns 0 (valid) for one absent point or two rising ones; 1 (invalid) when both are absent, x1 > x2 or y1 > y2.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_CheckLineAdjPara(int32_t x1, int32_t y1, int32_t x2, int32_t y2);

/* Maps x through the line of two points; with one point the result is that point's y.
 * x: not limited to x1 to x2. y: receives the value, untouched on failure.
 * Returns ORVA_OK; ORVA_FAILED for a null y or a line that ORVA_CheckLineAdjPara calls invalid.
 * Kept: a division that leaves a remainder adds 1, also below zero; the arithmetic wraps at 32 bits.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_CalValueByLineAdj(int32_t x1, int32_t y1, int32_t x2, int32_t y2, int32_t x, int32_t *y);

/* A random 32-bit value from "/dev/urandom"; 0 when it cannot be opened or tracked.
 * Kept: a descriptor that cannot be tracked stays open.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_GetRandValue(void);

ORVA_END_DECLS

#endif
