/**
 * @file
 * Miscellaneous helpers: whole-file read, capability drop, trimming, rounding, calibration line, random value.
 */
#ifndef ORVA_UTIL_H
#define ORVA_UTIL_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_ERR_FILE_CONTENT_PATH_NULL ORVA_RESULT(0x5Au, ORVA_REASON_NULL)    /**< Null path. */
#define ORVA_ERR_FILE_CONTENT_CONTENT_NULL ORVA_RESULT(0x5Bu, ORVA_REASON_NULL) /**< Null content output. */
#define ORVA_ERR_FILE_CONTENT_LENGTH_NULL ORVA_RESULT(0x5Cu, ORVA_REASON_NULL)  /**< Null length output. */
#define ORVA_ERR_FILE_CONTENT_PATH_MEMORY                                                                            \
    ORVA_RESULT(0x61u, ORVA_REASON_BUFFER_MEMORY)                                  /**< No memory for the path. */
#define ORVA_ERR_FILE_CONTENT_RESOLVE ORVA_RESULT(0x69u, ORVA_REASON_NULL)         /**< Unresolved path. */
#define ORVA_ERR_FILE_CONTENT_OPEN ORVA_RESULT(0x71u, ORVA_REASON_OPEN)            /**< The open failed. */
#define ORVA_ERR_FILE_CONTENT_SEEK_END ORVA_RESULT(0x7Au, ORVA_REASON_COPY)        /**< The file has no end. */
#define ORVA_ERR_FILE_CONTENT_EMPTY ORVA_RESULT(0x82u, ORVA_REASON_COPY)           /**< Empty file. */
#define ORVA_ERR_FILE_CONTENT_MEMORY ORVA_RESULT(0x8Bu, ORVA_REASON_BUFFER_MEMORY) /**< No memory, too large. */
#define ORVA_ERR_FILE_CONTENT_SEEK_BEGIN ORVA_RESULT(0x97u, ORVA_REASON_COPY)      /**< The way back failed. */
#define ORVA_ERR_FILE_CONTENT_READ ORVA_RESULT(0xA3u, ORVA_REASON_READ)            /**< Fewer bytes arrived. */

#define ORVA_CAPABILITY_MAX 40u           /**< Highest capability that ORVA_DeleteCap accepts. */
#define ORVA_LINE_POINT_ABSENT 0x7FFFFFFF /**< In x1 or x2: the point is absent. */

/**
 * Reads a whole file. Thread-safe for distinct objects.
 *
 * Symbolic links are followed. A failure is recorded in the process log, except null arguments, an unresolved path
 * and an empty file.
 *
 * @param[in]  path    Path of the file, zero-terminated.
 * @param[out] content Receives the bytes and a zero after them, on success only. They are from the library's
 *                     partition: the caller releases them with MIRO_MemFree_F.
 * @param[out] length  Receives the size in bytes without that zero, on success only.
 * @retval ORVA_OK                            The file is read.
 * @retval ORVA_ERR_FILE_CONTENT_PATH_NULL    `path` is null.
 * @retval ORVA_ERR_FILE_CONTENT_CONTENT_NULL `content` is null.
 * @retval ORVA_ERR_FILE_CONTENT_LENGTH_NULL  `length` is null.
 * @retval ORVA_ERR_FILE_CONTENT_PATH_MEMORY  There is no memory handle, or no memory for the path.
 * @retval ORVA_ERR_FILE_CONTENT_RESOLVE      The path does not resolve.
 * @retval ORVA_ERR_FILE_CONTENT_OPEN         The file cannot be opened.
 * @retval ORVA_ERR_FILE_CONTENT_SEEK_END     Seeking to the end failed.
 * @retval ORVA_ERR_FILE_CONTENT_EMPTY        The file is empty or tells no size, such as those below "/proc".
 * @retval ORVA_ERR_FILE_CONTENT_MEMORY       There is no memory for the content, or the file has 4294967295 bytes or
 *                                            more.
 * @retval ORVA_ERR_FILE_CONTENT_SEEK_BEGIN   Seeking to the start failed.
 * @retval ORVA_ERR_FILE_CONTENT_READ         Fewer bytes arrived than the file has.
 */
ORVA_API uint32_t ORVA_FUNC_GetFileContent(const char *path, char **content, uint32_t *length);

/**
 * Removes one capability from the effective, permitted and inheritable sets of the calling thread. Thread-safe.
 *
 * The kernel's first, 32-bit capability format is used. It has two effects: a capability of 32 to 40 clears bit 0 to
 * 8 instead, and every successful call drops all capabilities above 31.
 *
 * @param[in] ofThisProcess 0 names the calling thread. Any other value names it by the id of the process, which the
 *                          system accepts on the process's first thread only.
 * @param[in] capability    Number of the capability, 0 to ORVA_CAPABILITY_MAX.
 * @retval ORVA_OK       The capability is removed.
 * @retval ofThisProcess `capability` is out of range; nothing is changed.
 * @retval other         A system call failed: the result of the process log, which is 0 when the record was written.
 *                       A result of 0 therefore does not prove success; read the sets with `capget`.
 */
ORVA_API uint32_t ORVA_DeleteCap(uint32_t ofThisProcess, uint32_t capability);

/**
 * Trims spaces (0x20 only) on both sides, in place. Thread-safe for distinct objects.
 *
 * @param[in,out] str  Text in a buffer of `size` bytes, or null. The buffer's last byte becomes 0 first, also where
 *                     that truncates the text.
 * @param[in]     size Bytes of the buffer.
 * @return `str`; null for a null `str` or a size of 0.
 */
ORVA_API char *ORVA_StrTrim(char *str, uint32_t size);

/**
 * Rounds on the first decimal only: 3.94 gives 4, 2.45 gives 2. Thread-safe.
 *
 * Negative values are truncated toward zero: -2.5 gives -2.
 *
 * @param[in] value The value. It saturates at the 32-bit range after the multiplication by ten; NaN counts as 0.
 * @return The rounded value.
 */
ORVA_API double ORVA_Rounding(double value);

/**
 * Checks a calibration line through two points, either of which may be absent. Thread-safe.
 *
 * @param[in] x1 First point; ORVA_LINE_POINT_ABSENT for none.
 * @param[in] y1 First point.
 * @param[in] x2 Second point; ORVA_LINE_POINT_ABSENT for none.
 * @param[in] y2 Second point.
 * @retval 0 Valid: exactly one point is absent, or neither x nor y falls from the first to the second.
 * @retval 1 Invalid: both are absent, x1 > x2, or y1 > y2.
 */
ORVA_API uint32_t ORVA_CheckLineAdjPara(int32_t x1, int32_t y1, int32_t x2, int32_t y2);

/**
 * Maps a value through the line of two points. Thread-safe for distinct objects.
 *
 * With one point the result is that point's y. With two points of equal x or equal y it is y1. Otherwise it is y1 +
 * (x - x1) * (y2 - y1) / (x2 - x1), where the division truncates and a remainder adds 1, also below zero. The
 * arithmetic wraps at 32 bits.
 *
 * @param[in]  x1 First point; ORVA_LINE_POINT_ABSENT for none.
 * @param[in]  y1 First point.
 * @param[in]  x2 Second point; ORVA_LINE_POINT_ABSENT for none.
 * @param[in]  y2 Second point.
 * @param[in]  x  The value, not limited to x1 to x2.
 * @param[out] y  Receives the result, on success only.
 * @retval ORVA_OK     `y` is written.
 * @retval ORVA_FAILED `y` is null, or ORVA_CheckLineAdjPara calls the line invalid.
 */
ORVA_API uint32_t ORVA_CalValueByLineAdj(int32_t x1, int32_t y1, int32_t x2, int32_t y2, int32_t x, int32_t *y);

/**
 * Random 32-bit value from "/dev/urandom". Thread-safe.
 *
 * A descriptor that was opened but cannot be registered stays open.
 *
 * @return The value; 0 when the device cannot be opened or its descriptor not be registered. After a short read the
 *         missing bytes are 0.
 */
ORVA_API uint32_t ORVA_GetRandValue(void);

ORVA_END_DECLS

#endif
